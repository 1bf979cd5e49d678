// The dispatch's own cost on reads that make no handler work: a constant and
// a host-level parameter, beside the floor of the same work (the bare host
// call, if any, plus one lock and unlock), on the null host and on the
// simulated runtime.
#include <benchmark/benchmark.h>

#include "bench_cases.h"

using namespace orvbench;

namespace {

// Reads of a constant and of a host-level parameter with their floors, on the
// null host or on the simulated runtime.
class EngineBench {
public:
    explicit EngineBench(Host host) : board_(1), lock_(mutexOf(host)) {
        if (host == Host::kNull) {
            null_.reset(new NullBoard(1));
            fg_ = &null_->fg;
            get_ = null_->x.get;
            calls_ = NullBoard::hostCalls();
        } else {
            fg_ = board_.fg;
            get_ = board_.x.get;
            calls_ = board_.host;
        }
    }
    void constantExport() {
        get_(fg_, FG_APPLET_VERSION, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v_);
    }
    void constantFloor() {
        lock_.lock();
        v_ = 3;
        benchmark::DoNotOptimize(v_);
        lock_.unlock();
    }
    void hostLevelExport() {
        get_(fg_, FG_NR_OF_DMAS, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        benchmark::DoNotOptimize(v_);
    }
    void hostLevelFloor() {
        lock_.lock();
        calls_.get(calls_.board, FG_NR_OF_DMAS, &v_, 0, FG_PARAM_TYPE_UINT32_T);
        lock_.unlock();
        benchmark::DoNotOptimize(v_);
    }

private:
    BenchBoard board_;
    std::unique_ptr<NullBoard> null_;
    Fg_Struct* fg_ = nullptr;
    decltype(AppletExports::get) get_ = nullptr;
    HostCalls calls_;
    FloorLock lock_;
    uint32_t v_ = 0;
};

}  // namespace

// BM_<PREFIX>ConstantRead_Export / _Floor / _Paired and the host-level reads, on one host.
#define ORV_ENGINE_BENCHMARKS(PREFIX, HOST)                                                  \
    static void BM_##PREFIX##ConstantRead_Export(benchmark::State& state) {                  \
        EngineBench e(HOST);                                                                 \
        for (auto _ : state) e.constantExport();                                             \
    }                                                                                        \
    static void BM_##PREFIX##ConstantRead_Floor(benchmark::State& state) {                   \
        EngineBench e(HOST);                                                                 \
        for (auto _ : state) e.constantFloor();                                              \
    }                                                                                        \
    static void BM_##PREFIX##ConstantRead_Paired(benchmark::State& state) {                  \
        EngineBench e(HOST);                                                                 \
        measurePaired(                                                                       \
            state, kPairedBlock, [&] { e.constantExport(); }, [&] { e.constantFloor(); });   \
    }                                                                                        \
    static void BM_##PREFIX##HostLevelRead_Export(benchmark::State& state) {                 \
        EngineBench e(HOST);                                                                 \
        for (auto _ : state) e.hostLevelExport();                                            \
    }                                                                                        \
    static void BM_##PREFIX##HostLevelRead_Floor(benchmark::State& state) {                  \
        EngineBench e(HOST);                                                                 \
        for (auto _ : state) e.hostLevelFloor();                                             \
    }                                                                                        \
    static void BM_##PREFIX##HostLevelRead_Paired(benchmark::State& state) {                 \
        EngineBench e(HOST);                                                                 \
        measurePaired(                                                                       \
            state, kPairedBlock, [&] { e.hostLevelExport(); }, [&] { e.hostLevelFloor(); }); \
    }                                                                                        \
    BENCHMARK(BM_##PREFIX##ConstantRead_Export);                                             \
    BENCHMARK(BM_##PREFIX##ConstantRead_Floor);                                              \
    BENCHMARK(BM_##PREFIX##ConstantRead_Paired);                                             \
    BENCHMARK(BM_##PREFIX##HostLevelRead_Export);                                            \
    BENCHMARK(BM_##PREFIX##HostLevelRead_Floor);                                             \
    BENCHMARK(BM_##PREFIX##HostLevelRead_Paired)

ORV_ENGINE_BENCHMARKS(Null_, Host::kNull);
ORV_ENGINE_BENCHMARKS(, Host::kSimulated);

ORV_COMPARE_NULL_FLOOR("constant read (FG_APPLET_VERSION)", BM_Null_ConstantRead_Export, BM_Null_ConstantRead_Floor,
                       BM_Null_ConstantRead_Paired, 0);
ORV_COMPARE_NULL_FLOOR("host-level read (FG_NR_OF_DMAS)", BM_Null_HostLevelRead_Export, BM_Null_HostLevelRead_Floor,
                       BM_Null_HostLevelRead_Paired, 0);
ORV_COMPARE_FLOOR("constant read (FG_APPLET_VERSION)", BM_ConstantRead_Export, BM_ConstantRead_Floor,
                  BM_ConstantRead_Paired, 0);
ORV_COMPARE_FLOOR("host-level read (FG_NR_OF_DMAS)", BM_HostLevelRead_Export, BM_HostLevelRead_Floor,
                  BM_HostLevelRead_Paired, 0);
