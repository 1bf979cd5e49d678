// The benchmark program: Google Benchmark's console output, then a summary
// table of the comparisons the benchmark files registered, from the medians of
// this one run.
//
// Without flags of its own choosing the program runs every benchmark in
// several repetitions, interleaved in random order (so that a slow phase of a
// loaded machine does not fall on one side of a ratio only), and prints the
// aggregates. A comparison shows, where the pair has one, the paired
// benchmark's medians and ratio (both calls timed in alternating blocks at the
// same moments, see measurePaired), on which its goal is judged, and beside it
// the ratio of the two benchmarks run on their own (CPU time).
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
    // Paired benchmarks: the per-call medians of both sides and their ratio.
    double subjectNs = 0;
    double referenceNs = 0;
    double ratio = 0;
};

// The console reporter that also keeps each benchmark's median.
class SummaryReporter : public benchmark::ConsoleReporter {
public:
    explicit SummaryReporter(bool color) : ConsoleReporter(color ? OO_ColorTabular : OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs) {
            if (r.error_occurred) continue;
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single = r.run_type == Run::RT_Iteration && r.repetitions <= 1;
            if (!median && !single) continue;
            const double toNs = 1e9 / benchmark::GetTimeUnitMultiplier(r.time_unit);
            Median m;
            m.cpuNs = r.GetAdjustedCPUTime() * toNs;
            m.realNs = r.GetAdjustedRealTime() * toNs;
            m.subjectNs = counter(r, "subject_ns");
            m.referenceNs = counter(r, "reference_ns");
            m.ratio = counter(r, "ratio");
            medians_[r.run_name.function_name] = m;
        }
    }
    const Median* find(const std::string& name) const {
        std::map<std::string, Median>::const_iterator it = medians_.find(name);
        return it == medians_.end() ? nullptr : &it->second;
    }

private:
    static double counter(const Run& r, const char* name) {
        benchmark::UserCounters::const_iterator it = r.counters.find(name);
        return it == r.counters.end() ? 0 : it->second.value;
    }
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
    std::stable_sort(list.begin(), list.end(),
                     [](const orvbench::Comparison& a, const orvbench::Comparison& b) { return a.kind < b.kind; });
    std::printf("\nSummary of this run: %s, %ld CPUs, load average %s\n", cpuModel().c_str(),
                sysconf(_SC_NPROCESSORS_ONLN), loadAverage().c_str());
    std::printf(
        "  per call, median: both calls measured in alternating blocks at the same moments (paired),\n"
        "  the goal judged on their ratio; \"alone\": the ratio of the medians of the two benchmarks run\n"
        "  on their own (CPU time); rows without a paired measurement show those medians\n");
    const char* rule =
        "------------------------------------------------------------------------------------------------"
        "------------\n";
    orvbench::Comparison::Kind kind = orvbench::Comparison::kFloor;
    bool first = true;
    for (const orvbench::Comparison& c : list) {
        // The memcpy and paced rows read like floor rows: subject / reference.
        const bool floor = c.kind != orvbench::Comparison::kPeer;
        if (first || c.kind != kind) {
            kind = c.kind;
            first = false;
            static const char* const heads[][4] = {
                {"applet against its floor, null host", "applet", "floor", "x floor"},
                {"applet against its floor, simulated runtime", "applet", "floor", "x floor"},
                {"applet against the peer", "applet", "Aravis", "faster"},
                {"acquisition against memcpy (per call)", "engine", "memcpy", "x memcpy"},
                {"paced acquisition (frame period)", "delivered", "programmed", "ratio"}};
            std::printf("%s", rule);
            std::printf("%-42s %11s %11s %9s %9s  %s\n", heads[kind][0], heads[kind][1], heads[kind][2], heads[kind][3],
                        "(alone)", "goal");
            std::printf("%s", rule);
        }
        const Median* s = reporter.find(c.subject);
        const Median* r = reporter.find(c.reference);
        const Median* p = c.paired.empty() ? nullptr : reporter.find(c.paired);
        // A ratio as the row shows it: applet / floor, or peer / applet.
        auto shown = [floor](double applet, double reference) {
            return floor ? applet / reference : reference / applet;
        };
        std::string applet = c.subject.empty() ? "-" : "(not run)", reference = applet, ratio = "-", alone = "-", goal;
        double judged = 0;
        if (s) applet = duration(s->cpuNs);
        if (r) reference = duration(r->cpuNs);
        if (s && r) {
            judged = shown(s->cpuNs, r->cpuNs);
            alone = times(judged);
            ratio = alone;
        }
        if (p && p->ratio > 0) {
            applet = duration(p->subjectNs);
            reference = duration(p->referenceNs);
            judged = floor ? p->ratio : 1 / p->ratio;
            ratio = times(judged);
        }
        if (c.goal > 0 && judged > 0) {
            char buf[48];
            if (c.kind == orvbench::Comparison::kPaced) {
                const bool met = judged >= 1 - c.goal && judged <= 1 + c.goal;
                std::snprintf(buf, sizeof buf, "within %.0f %%: %s", c.goal * 100, met ? "met" : "MISSED");
            } else {
                const bool met = floor ? judged <= c.goal : judged >= c.goal;
                std::snprintf(buf, sizeof buf, "%s %.1fx: %s", floor ? "<=" : ">=", c.goal, met ? "met" : "MISSED");
            }
            goal = buf;
        }
        std::printf("%-42s %11s %11s %9s %9s  %s\n", c.label.c_str(), applet.c_str(), reference.c_str(), ratio.c_str(),
                    alone.c_str(), goal.c_str());
    }
    std::printf("%s", rule);
}

bool hasFlag(int argc, char** argv, const char* name) {
    const size_t n = std::strlen(name);
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], name, n) == 0) return true;
    return false;
}

// Colours on a terminal, unless --benchmark_color says otherwise.
bool wantsColor(int argc, char** argv) {
    const char kFlag[] = "--benchmark_color=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], kFlag, sizeof kFlag - 1) != 0) continue;
        const std::string v(argv[i] + sizeof kFlag - 1);
        return v == "true" || v == "yes" || v == "1" || (v == "auto" && isatty(STDOUT_FILENO));
    }
    return isatty(STDOUT_FILENO) != 0;
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
    SummaryReporter reporter(wantsColor(argc, argv));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printSummary(reporter);
    benchmark::Shutdown();
    return 0;
}
