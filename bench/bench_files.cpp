// Configuration files that make the reader work: a load of a file with 5 MB
// of blank lines before its header, beside the load of the same file without
// them (BM_Config_Load), and a lookup-table save and load through the
// handlers.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "bench_support.h"
#include "sdk_ids.h"

using namespace orvbench;

namespace {

// A scratch directory in the temporary directory, removed with its files.
class ScratchDir {
public:
    ScratchDir() {
        char dir[] = "/tmp/orvbenchXXXXXX";
        if (mkdtemp(dir)) dir_ = dir;
    }
    ~ScratchDir() {
        for (const std::string& f : files_) unlink(f.c_str());
        if (!dir_.empty()) rmdir(dir_.c_str());
    }
    std::string file(const char* name) {
        files_.push_back(dir_ + "/" + name);
        return files_.back();
    }

private:
    std::string dir_;
    std::vector<std::string> files_;
};

bool prepend(const std::string& path, size_t blankLines) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) return false;
    std::string text(blankLines, '\n');
    for (int c; (c = std::fgetc(f)) != EOF;) text.push_back(static_cast<char>(c));
    std::fclose(f);
    f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace

static void BM_Config_Load_Padded5MB(benchmark::State& state) {
    BenchBoard b;
    ScratchDir dir;
    const std::string path = dir.file("padded.mcf");
    if (b.x.save(b.fg, path.c_str()) != 0 || !prepend(path, 5u << 20)) {
        state.SkipWithError("cannot write the padded configuration");
        return;
    }
    LogTrim trim(b.dev);
    for (auto _ : state) {
        if (b.x.load(b.fg, path.c_str()) != 0) {
            state.SkipWithError("Fg_loadConfig failed");
            break;
        }
        trim.tick();
    }
}
BENCHMARK(BM_Config_Load_Padded5MB)->Unit(benchmark::kMillisecond);

// The port's whole table to a file and back through FG_LUT_SAVE_FILE and
// FG_LUT_CUSTOM_FILE (4096 entries, one line each).
static void BM_Lut_SaveAndLoad(benchmark::State& state) {
    BenchBoard b;
    ScratchDir dir;
    const std::string path = dir.file("table.lut");
    uint32_t userFile = 0;
    if (b.x.set(b.fg, FG_LUT_TYPE, &userFile, 0, FG_PARAM_TYPE_UINT32_T) != 0) {
        state.SkipWithError("FG_LUT_TYPE refused");
        return;
    }
    LogTrim trim(b.dev);
    for (auto _ : state) {
        if (b.x.set(b.fg, FG_LUT_SAVE_FILE, path.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0 ||
            b.x.set(b.fg, FG_LUT_CUSTOM_FILE, path.c_str(), 0, FG_PARAM_TYPE_CHAR_PTR) != 0) {
            state.SkipWithError("table save or load failed");
            break;
        }
        trim.tick();
    }
}
BENCHMARK(BM_Lut_SaveAndLoad)->Unit(benchmark::kMillisecond);
