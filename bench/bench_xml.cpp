// The GenApi description of one port: building it through the applet's
// export (into a buffer large enough, so one build per call) beside an
// independent GenICam implementation parsing the same document into a node
// map (libaravis-0.8's arv_gc_new, loaded at run time; the benchmark reports
// an error when the library is not installed).
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstddef>
#include <string>
#include <vector>

#include "bench_support.h"

using namespace orvbench;

namespace {

// The document of a port, through the export (size query, then copy).
std::string portDocument(BenchBoard& b, int port) {
    size_t size = 0;
    if (b.x.xml(b.fg, port, nullptr, &size) != 0 || size == 0) return std::string();
    std::vector<char> buffer(size);
    if (b.x.xml(b.fg, port, buffer.data(), &size) != 0) return std::string();
    return std::string(buffer.data(), size - 1);
}

// arv_gc_new and g_object_unref from the installed libaravis-0.8.
struct Aravis {
    typedef void* (*GcNew)(void* device, const void* xml, size_t size);
    typedef void (*Unref)(void* object);

    Aravis() {
        lib = dlopen("libaravis-0.8.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!lib) return;
        gcNew = reinterpret_cast<GcNew>(dlsym(lib, "arv_gc_new"));
        unref = reinterpret_cast<Unref>(dlsym(lib, "g_object_unref"));  // found among its dependencies
    }
    // The library stays loaded: GLib's type system cannot be unloaded.
    bool ok() const { return gcNew && unref; }

    void* lib = nullptr;
    GcNew gcNew = nullptr;
    Unref unref = nullptr;
};

}  // namespace

static void BM_XmlDocument_Export(benchmark::State& state) {
    BenchBoard b;
    const std::string doc = portDocument(b, 0);
    if (doc.empty()) {
        state.SkipWithError("no document from the export");
        return;
    }
    std::vector<char> buffer(doc.size() + 1);
    for (auto _ : state) {
        size_t size = buffer.size();
        int rc = b.x.xml(b.fg, 0, buffer.data(), &size);
        benchmark::DoNotOptimize(rc);
        benchmark::DoNotOptimize(buffer.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(doc.size()));
    state.counters["doc_bytes"] = static_cast<double>(doc.size());
}
BENCHMARK(BM_XmlDocument_Export)->Unit(benchmark::kMicrosecond);

static void BM_XmlDocument_AravisParse(benchmark::State& state) {
    static Aravis aravis;
    if (!aravis.ok()) {
        state.SkipWithError("libaravis-0.8 not available");
        return;
    }
    std::string doc;
    {
        BenchBoard b;
        doc = portDocument(b, 0);
    }
    if (doc.empty()) {
        state.SkipWithError("no document from the export");
        return;
    }
    for (auto _ : state) {
        void* gc = aravis.gcNew(nullptr, doc.data(), doc.size());
        benchmark::DoNotOptimize(gc);
        if (!gc) {
            state.SkipWithError("arv_gc_new refused the document");
            break;
        }
        aravis.unref(gc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(doc.size()));
    state.counters["doc_bytes"] = static_cast<double>(doc.size());
}
BENCHMARK(BM_XmlDocument_AravisParse)->Unit(benchmark::kMicrosecond);
