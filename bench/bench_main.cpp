// The benchmark program: Google Benchmark's console output, then a summary
// table of the comparisons the benchmark files registered, from the medians of
// this one run.
//
// Without flags of its own choosing the program runs every benchmark in
// several repetitions, interleaved in random order (so that a slow phase of a
// loaded machine does not fall on one side of a ratio only), and prints the
// aggregates. Ratios are taken on CPU time (the time the benchmark thread was
// running); real-time ratios are shown beside them.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "bench_support.h"

namespace {

struct Median {
    double cpuNs = 0;
    double realNs = 0;
    double ratio = 0;  // paired benchmarks: subject / reference
};

// The console reporter that also keeps each benchmark's median.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.error_occurred) continue;
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
            if (!median && !single) continue;
            const double toNs = 1e9 / benchmark::GetTimeUnitMultiplier(r.time_unit);
            Median m{r.GetAdjustedCPUTime() * toNs, r.GetAdjustedRealTime() * toNs, 0};
            benchmark::UserCounters::const_iterator ratio = r.counters.find("ratio");
            if (ratio != r.counters.end()) m.ratio = ratio->second.value;
            medians_[r.run_name.function_name] = m;
        }
    }
    const Median* find(const std::string& name) const {
        std::map<std::string, Median>::const_iterator it = medians_.find(name);
        return it == medians_.end() ? nullptr : &it->second;
    }

private:
    std::map<std::string, Median> medians_;
};

std::string duration(double ns) {
    char buf[32];
    if (ns < 1e3)
        std::snprintf(buf, sizeof buf, "%.1f ns", ns);
    else if (ns < 1e6)
        std::snprintf(buf, sizeof buf, "%.2f us", ns / 1e3);
    else
        std::snprintf(buf, sizeof buf, "%.2f ms", ns / 1e6);
    return buf;
}

std::string times(double x) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2fx", x);
    return buf;
}

std::string cpuModel() {
    std::ifstream in("/proc/cpuinfo");
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, 10, "model name") == 0) {
            std::string::size_type colon = line.find(':');
            if (colon != std::string::npos) return line.substr(colon + 2);
        }
    }
    return "unknown";
}

std::string loadAverage() {
    std::ifstream in("/proc/loadavg");
    std::string a, b, c;
    in >> a >> b >> c;
    return a + " " + b + " " + c;
}

void printSummary(const SummaryReporter& reporter) {
    std::vector<orvbench::Comparison> list = orvbench::comparisons();
    std::stable_sort(list.begin(), list.end(), [](const orvbench::Comparison& a, const orvbench::Comparison& b) {
        return a.kind < b.kind;
    });
    std::printf("\nSummary of this run: %s, %ld CPUs, load average %s\n", cpuModel().c_str(),
                sysconf(_SC_NPROCESSORS_ONLN), loadAverage().c_str());
    std::printf("  medians of the separate benchmarks (CPU time) and their ratio; \"paired\": the ratio of the\n"
                "  two measured in alternating blocks at the same moments, on which the goal is judged\n");
    const char* rule =
        "------------------------------------------------------------------------------------------------"
        "-------------\n";
    orvbench::Comparison::Kind kind = orvbench::Comparison::kFloor;
    bool first = true;
    for (const orvbench::Comparison& c : list) {
        const bool floor = c.kind == orvbench::Comparison::kFloor;
        if (first || c.kind != kind) {
            kind = c.kind;
            first = false;
            std::printf("%s", rule);
            std::printf("%-42s %11s %11s %9s %9s  %s\n", floor ? "applet against its floor" : "applet against the peer",
                        "applet", floor ? "floor" : "Aravis", floor ? "x floor" : "faster", "paired", "goal");
            std::printf("%s", rule);
        }
        const Median* s = reporter.find(c.subject);
        const Median* r = reporter.find(c.reference);
        const Median* p = c.paired.empty() ? nullptr : reporter.find(c.paired);
        std::string ratio = "-", paired = "-", goal;
        double judged = 0;
        if (s && r) {
            const double x = floor ? s->cpuNs / r->cpuNs : r->cpuNs / s->cpuNs;
            ratio = times(x);
            judged = x;
        }
        if (p && p->ratio > 0) {
            const double x = floor ? p->ratio : 1 / p->ratio;
            paired = times(x);
            judged = x;
        }
        if (c.goal > 0 && judged > 0) {
            const bool met = floor ? judged <= c.goal : judged >= c.goal;
            char buf[48];
            std::snprintf(buf, sizeof buf, "%s %.1fx: %s", floor ? "<=" : ">=", c.goal, met ? "met" : "MISSED");
            goal = buf;
        }
        std::printf("%-42s %11s %11s %9s %9s  %s\n", c.label.c_str(), s ? duration(s->cpuNs).c_str() : "(not run)",
                    r ? duration(r->cpuNs).c_str() : "(not run)", ratio.c_str(), paired.c_str(), goal.c_str());
    }
    std::printf("%s", rule);
}

bool hasFlag(int argc, char** argv, const char* name) {
    const size_t n = std::strlen(name);
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], name, n) == 0) return true;
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    // Defaults for the flags the caller did not give.
    static const char* const kDefaults[][2] = {
        {"--benchmark_repetitions", "--benchmark_repetitions=7"},
        {"--benchmark_min_time", "--benchmark_min_time=0.1"},
        {"--benchmark_enable_random_interleaving", "--benchmark_enable_random_interleaving=true"},
        {"--benchmark_display_aggregates_only", "--benchmark_display_aggregates_only=true"},
    };
    std::vector<char*> args(argv, argv + argc);
    for (const auto& d : kDefaults)
        if (!hasFlag(argc, argv, d[0])) args.push_back(const_cast<char*>(d[1]));
    int n = static_cast<int>(args.size());
    args.push_back(nullptr);

    benchmark::Initialize(&n, args.data());
    if (benchmark::ReportUnrecognizedArguments(n, args.data())) return 1;
    SummaryReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    benchmark::Shutdown();
    return 0;
}
