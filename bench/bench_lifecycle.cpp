// The applet's one-time and occasional work: opening and closing a board
// (Std_entry + Fg_FreeGrabber, with and without the default values, on the
// null host and on the simulated runtime, and the whole application-side open), one port's GenApi document, a
// configuration save and load, and Info queries.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "bench_cases.h"

using namespace orvbench;

namespace {

// A scratch file name in the temporary directory, removed at the end.
class ScratchFile {
public:
    explicit ScratchFile(const char* suffix) {
        char dir[] = "/tmp/orvbenchXXXXXX";
        if (mkdtemp(dir)) dir_ = dir;
        path_ = dir_ + "/config" + suffix;
    }
    ~ScratchFile() {
        unlink(path_.c_str());
        if (!dir_.empty()) rmdir(dir_.c_str());
    }
    const char* path() const { return path_.c_str(); }

private:
    std::string dir_;
    std::string path_;
};

void openClose(benchmark::State& state, int flags, Host host) {
    OpenClose board(flags, host);
    for (auto _ : state) {
        if (!board.once()) {
            state.SkipWithError("Std_entry failed");
            break;
        }
    }
}
}  // namespace

static void BM_Null_Open_StdEntry_Defaults(benchmark::State& s) { openClose(s, 0, Host::kNull); }
static void BM_Null_Open_StdEntry_NoDefaults(benchmark::State& s) { openClose(s, 1, Host::kNull); }
static void BM_Open_StdEntry_Defaults(benchmark::State& s) { openClose(s, 0, Host::kSimulated); }
static void BM_Open_StdEntry_NoDefaults(benchmark::State& s) { openClose(s, 1, Host::kSimulated); }
BENCHMARK(BM_Null_Open_StdEntry_Defaults)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Null_Open_StdEntry_NoDefaults)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Open_StdEntry_Defaults)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Open_StdEntry_NoDefaults)->Unit(benchmark::kMicrosecond);

// The whole open as an application does it (Fg_InitEx + Fg_FreeGrabber): the
// runtime's own share (finding the applet library, binding its exports) on top.
static void BM_Open_Application(benchmark::State& state) {
    BenchBoard b(1);  // keeps the applet loaded, as in a program that opens a second board
    for (auto _ : state) {
        Fg_Struct* fg = b.sim.Fg_InitEx("Orvindel", 1, 0);
        if (fg == nullptr) {
            state.SkipWithError("Fg_InitEx failed");
            break;
        }
        b.sim.Fg_FreeGrabber(fg);
    }
}
BENCHMARK(BM_Open_Application)->Unit(benchmark::kMicrosecond);

// One port's GenApi document into a buffer large enough.
static void BM_GenApiXml_Port(benchmark::State& state) {
    BenchBoard b;
    size_t size = 0;
    if (b.x.xml(b.fg, 0, nullptr, &size) != 0 || size == 0) {
        state.SkipWithError("no description");
        return;
    }
    std::vector<char> buffer(size * 2);
    for (auto _ : state) {
        size_t n = buffer.size();
        if (b.x.xml(b.fg, 0, buffer.data(), &n) != 0) {
            state.SkipWithError("Fg_getParameterInfoXML failed");
            break;
        }
        benchmark::DoNotOptimize(buffer.data());
    }
    state.counters["bytes"] = static_cast<double>(size);
}
BENCHMARK(BM_GenApiXml_Port)->Unit(benchmark::kMicrosecond);

static void BM_Config_Save(benchmark::State& state) {
    BenchBoard b;
    ScratchFile file(".mcf");
    for (auto _ : state) {
        if (b.x.save(b.fg, file.path()) != 0) {
            state.SkipWithError("Fg_saveConfig failed");
            break;
        }
    }
}
BENCHMARK(BM_Config_Save)->Unit(benchmark::kMicrosecond);

static void BM_Config_Load(benchmark::State& state) {
    BenchBoard b;
    ScratchFile file(".mcf");
    if (b.x.save(b.fg, file.path()) != 0) {
        state.SkipWithError("Fg_saveConfig failed");
        return;
    }
    LogTrim trim(b.dev);
    for (auto _ : state) {
        if (b.x.load(b.fg, file.path()) != 0) {
            state.SkipWithError("Fg_loadConfig failed");
            break;
        }
        trim.tick();
    }
}
BENCHMARK(BM_Config_Load)->Unit(benchmark::kMicrosecond);

// ---- Info ----

static void BM_Info_Number(benchmark::State& state) {
    BenchBoard b(1);
    for (auto _ : state) benchmark::DoNotOptimize(b.x.info(GET_NR_OF_DMAS, 0, 0, nullptr, nullptr));
}
BENCHMARK(BM_Info_Number);

static void BM_Info_Text(benchmark::State& state) {
    BenchBoard b(1);
    const void* text = nullptr;
    for (auto _ : state) {
        b.x.info(GET_INFO_VERSIONSTRING, 0, 0, nullptr, &text);
        benchmark::DoNotOptimize(text);
    }
}
BENCHMARK(BM_Info_Text);

static void BM_Info_ResolveEnum(benchmark::State& state) {
    BenchBoard b(1);
    char name[] = "RISING_EDGE_TRIGGERS_FRAME";
    for (auto _ : state) benchmark::DoNotOptimize(b.x.info(GET_INFO_RESOLVE_ENUM, 0, 0, name, nullptr));
}
BENCHMARK(BM_Info_ResolveEnum);

static void BM_Info_EmbeddedDesign(benchmark::State& state) {
    BenchBoard b(1);
    uint32_t size = 0;
    const void* data = nullptr;
    for (auto _ : state) {
        b.x.info(GET_EMBEDDED_HAP, 0, 0, &size, &data);
        benchmark::DoNotOptimize(data);
    }
}
BENCHMARK(BM_Info_EmbeddedDesign);
