// The dispatch's own cost on reads that make no handler work: a constant and
// a host-level parameter, beside the floor of the same work (the bare host
// call, if any, plus one lock and unlock).
#include <benchmark/benchmark.h>

#include "bench_cases.h"

using namespace orvbench;

namespace {

// Reads of a constant and of a host-level parameter with their floors.
class EngineBench {
public:
    EngineBench() : board_(1) {}
    void constantExport() {
        board_.x.get(board_.fg, FG_APPLET_VERSION, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v_);
    }
    void constantFloor() {
        lock_.lock();
        v_ = 3;
        benchmark::DoNotOptimize(v_);
        lock_.unlock();
    }
    void hostLevelExport() {
        board_.x.get(board_.fg, FG_NR_OF_DMAS, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v_);
    }
    void hostLevelFloor() {
        lock_.lock();
        board_.hostGet(board_.host, FG_NR_OF_DMAS, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        lock_.unlock();
        benchmark::DoNotOptimize(v_);
    }

private:
    BenchBoard board_;
    FloorLock lock_;
    uint32_t v_ = 0;
};

}  // namespace

static void BM_ConstantRead_Export(benchmark::State& state) {
    EngineBench e;
    for (auto _ : state) e.constantExport();
}
static void BM_ConstantRead_Floor(benchmark::State& state) {
    EngineBench e;
    for (auto _ : state) e.constantFloor();
}
static void BM_ConstantRead_Paired(benchmark::State& state) {
    EngineBench e;
    measurePaired(
        state, kPairedBlock, [&] { e.constantExport(); }, [&] { e.constantFloor(); });
}
BENCHMARK(BM_ConstantRead_Export);
BENCHMARK(BM_ConstantRead_Floor);
BENCHMARK(BM_ConstantRead_Paired);

static void BM_HostLevelRead_Export(benchmark::State& state) {
    EngineBench e;
    for (auto _ : state) e.hostLevelExport();
}
static void BM_HostLevelRead_Floor(benchmark::State& state) {
    EngineBench e;
    for (auto _ : state) e.hostLevelFloor();
}
static void BM_HostLevelRead_Paired(benchmark::State& state) {
    EngineBench e;
    measurePaired(
        state, kPairedBlock, [&] { e.hostLevelExport(); }, [&] { e.hostLevelFloor(); });
}
BENCHMARK(BM_HostLevelRead_Export);
BENCHMARK(BM_HostLevelRead_Floor);
BENCHMARK(BM_HostLevelRead_Paired);

ORV_COMPARE_FLOOR("constant read (FG_APPLET_VERSION)", BM_ConstantRead_Export, BM_ConstantRead_Floor,
                  BM_ConstantRead_Paired, 0);
ORV_COMPARE_FLOOR("host-level read (FG_NR_OF_DMAS)", BM_HostLevelRead_Export, BM_HostLevelRead_Floor,
                  BM_HostLevelRead_Paired, 0);
