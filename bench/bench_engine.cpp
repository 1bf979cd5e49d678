// The dispatch's own cost: typed reads through the applet's export beside the
// floor of the same work (the bare host call plus one lock and unlock).
#include <benchmark/benchmark.h>

#include "bench_support.h"
#include "sdk_ids.h"

using namespace orvbench;

static void BM_ConstantRead_Export(benchmark::State& state) {
    BenchBoard b(1);
    uint32_t v = 0;
    for (auto _ : state) {
        b.x.get(b.fg, FG_APPLET_VERSION, &v, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_ConstantRead_Export);

static void BM_ConstantRead_Floor(benchmark::State& state) {
    FloorLock lock;
    uint32_t v = 0;
    for (auto _ : state) {
        lock.lock();
        v = 3;
        benchmark::DoNotOptimize(v);
        lock.unlock();
    }
}
BENCHMARK(BM_ConstantRead_Floor);

static void BM_HostLevelRead_Export(benchmark::State& state) {
    BenchBoard b(1);
    uint32_t v = 0;
    for (auto _ : state) {
        b.x.get(b.fg, FG_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_HostLevelRead_Export);

static void BM_HostLevelRead_Floor(benchmark::State& state) {
    BenchBoard b(1);
    FloorLock lock;
    uint32_t v = 0;
    for (auto _ : state) {
        lock.lock();
        b.hostGet(b.host, FG_NR_OF_DMAS, &v, 0, FG_PARAM_TYPE_UINT32_T);
        lock.unlock();
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_HostLevelRead_Floor);

