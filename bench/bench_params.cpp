// Typed writes and reads through the applet's export, each beside its floor:
// the design writes the call causes, made directly on the host, plus one
// uncontended lock and unlock of an error-checking mutex. Every case runs on
// the null host (the floor then holds the least a host can cost, and what is
// above it is the applet's own work) and on the simulated runtime.
//
// Writes alternate between two values (a pulse parameter repeats its one
// value), so that every write is a real change; the floor replays the writes
// the runtime logged for the same two calls. Each pair is measured three
// ways: the applet alone, the floor alone, and both in alternating blocks
// (the paired figure the goals are judged on).
#include <benchmark/benchmark.h>

#include "bench_cases.h"

using namespace orvbench;

namespace {

void writeExport(benchmark::State& state, const WriteCase& c, Host host) {
    WriteBench w(c, host);
    for (auto _ : state) {
        if (!w.exportWrite()) {
            state.SkipWithError("the write failed");
            break;
        }
    }
}

void writeFloor(benchmark::State& state, const WriteCase& c, Host host) {
    WriteBench w(c, host);
    if (const char* problem = w.floorProblem()) {
        state.SkipWithError(problem);
        return;
    }
    state.counters["host_writes"] = static_cast<double>(w.hostWrites());
    state.counters["host_reads"] = w.hostReads();
    for (auto _ : state) w.floorWrite();
}

void writePaired(benchmark::State& state, const WriteCase& c, Host host, int block) {
    WriteBench w(c, host);
    if (const char* problem = w.floorProblem()) {
        state.SkipWithError(problem);
        return;
    }
    bool failed = false;
    measurePaired(
        state, block, [&] { failed |= !w.exportWrite(); }, [&] { w.floorWrite(); });
    if (failed) state.SkipWithError("the write failed");
}

void readExport(benchmark::State& state, int id, bool isDouble, bool processingLut, Host host) {
    ReadBench r(id, isDouble, processingLut, host);
    for (auto _ : state) {
        if (!r.exportRead()) {
            state.SkipWithError("the read failed");
            break;
        }
    }
    if (r.calledHost()) state.SkipWithError("the read calls the host; the lock alone is not its floor");
}

void readPaired(benchmark::State& state, int id, bool isDouble, bool processingLut, Host host) {
    ReadBench r(id, isDouble, processingLut, host);
    bool failed = false;
    measurePaired(
        state, kPairedBlock, [&] { failed |= !r.exportRead(); }, [&] { r.floorRead(); });
    if (failed) state.SkipWithError("the read failed");
    if (r.calledHost()) state.SkipWithError("the read calls the host; the lock alone is not its floor");
}

}  // namespace

// ---- writes ----

#define ORV_WRITE_BENCHMARKS_ON(PREFIX, HOST, NAME, CASE, BLOCK)                                             \
    static void BM_##PREFIX##NAME##_Write_Export(benchmark::State& s) { writeExport(s, CASE, HOST); }        \
    static void BM_##PREFIX##NAME##_Write_Floor(benchmark::State& s) { writeFloor(s, CASE, HOST); }          \
    static void BM_##PREFIX##NAME##_Write_Paired(benchmark::State& s) { writePaired(s, CASE, HOST, BLOCK); } \
    BENCHMARK(BM_##PREFIX##NAME##_Write_Export);                                                             \
    BENCHMARK(BM_##PREFIX##NAME##_Write_Floor);                                                              \
    BENCHMARK(BM_##PREFIX##NAME##_Write_Paired)
// BM_Null_<NAME>_Write_* on the null host, BM_<NAME>_Write_* on the simulated runtime.
#define ORV_WRITE_BENCHMARKS(NAME, CASE, BLOCK)                     \
    ORV_WRITE_BENCHMARKS_ON(Null_, Host::kNull, NAME, CASE, BLOCK); \
    ORV_WRITE_BENCHMARKS_ON(, Host::kSimulated, NAME, CASE, BLOCK)

ORV_WRITE_BENCHMARKS(SoftwareTrigger, kSoftwareTrigger, kPairedBlock);
ORV_WRITE_BENCHMARKS(LineExposure, kLineExposure, kPairedBlock);
ORV_WRITE_BENCHMARKS(Width, kWidth, kPairedBlock);
ORV_WRITE_BENCHMARKS(Gamma, kGamma, 4);
// On the simulated runtime only: switching the simulator's speed mode
// recomputes the rates from design values, which the null host answers with
// 0, and the switch is then refused.
ORV_WRITE_BENCHMARKS_ON(, Host::kSimulated, SimulatorMode, kSelectMode, kPairedBlock);

// The same rows against each floor: the goals are judged on the null host, where
// the floor hides none of the applet's cost.
#define ORV_COMPARE_WRITES(COMPARE, PREFIX, GOAL)                                                                   \
    COMPARE("FG_SENDSOFTWARETRIGGER write", BM_##PREFIX##SoftwareTrigger_Write_Export,                              \
            BM_##PREFIX##SoftwareTrigger_Write_Floor, BM_##PREFIX##SoftwareTrigger_Write_Paired, GOAL);             \
    COMPARE("FG_LINEEXPOSURE write", BM_##PREFIX##LineExposure_Write_Export, BM_##PREFIX##LineExposure_Write_Floor, \
            BM_##PREFIX##LineExposure_Write_Paired, GOAL);                                                          \
    COMPARE("FG_WIDTH write (7 design writes)", BM_##PREFIX##Width_Write_Export, BM_##PREFIX##Width_Write_Floor,    \
            BM_##PREFIX##Width_Write_Paired, 0);                                                                    \
    COMPARE("FG_PROCESSING_GAMMA write (table)", BM_##PREFIX##Gamma_Write_Export, BM_##PREFIX##Gamma_Write_Floor,   \
            BM_##PREFIX##Gamma_Write_Paired, 0)

ORV_COMPARE_WRITES(ORV_COMPARE_NULL_FLOOR, Null_, 1.5);
ORV_COMPARE_WRITES(ORV_COMPARE_FLOOR, , 1.5);
ORV_COMPARE_FLOOR("FG_CAMERASIMULATOR_SELECT_MODE write", BM_SimulatorMode_Write_Export, BM_SimulatorMode_Write_Floor,
                  BM_SimulatorMode_Write_Paired, 0);

// ---- reads of kept values ----

// The floor of a read of a kept value: the lock and the copy (no host call),
// through the C library of the null-host applet and of the simulated one.
static void BM_Null_KeptValueRead_Floor(benchmark::State& state) {
    ReadBench r(FG_WIDTH, false, false, Host::kNull);
    for (auto _ : state) r.floorRead();
}
static void BM_KeptValueRead_Floor(benchmark::State& state) {
    ReadBench r(FG_WIDTH, false, false, Host::kSimulated);
    for (auto _ : state) r.floorRead();
}
BENCHMARK(BM_Null_KeptValueRead_Floor);
BENCHMARK(BM_KeptValueRead_Floor);

#define ORV_READ_BENCHMARKS_ON(PREFIX, HOST, NAME, ID, IS_DOUBLE, LUT)                                            \
    static void BM_##PREFIX##NAME##_Read_Export(benchmark::State& s) { readExport(s, ID, IS_DOUBLE, LUT, HOST); } \
    static void BM_##PREFIX##NAME##_Read_Paired(benchmark::State& s) { readPaired(s, ID, IS_DOUBLE, LUT, HOST); } \
    BENCHMARK(BM_##PREFIX##NAME##_Read_Export);                                                                   \
    BENCHMARK(BM_##PREFIX##NAME##_Read_Paired)
#define ORV_READ_BENCHMARKS(NAME, ID, IS_DOUBLE, LUT)                     \
    ORV_READ_BENCHMARKS_ON(Null_, Host::kNull, NAME, ID, IS_DOUBLE, LUT); \
    ORV_READ_BENCHMARKS_ON(, Host::kSimulated, NAME, ID, IS_DOUBLE, LUT)

ORV_READ_BENCHMARKS(SoftwareTrigger, FG_SENDSOFTWARETRIGGER, false, false);
ORV_READ_BENCHMARKS(LineExposure, FG_LINEEXPOSURE, true, false);
ORV_READ_BENCHMARKS(Width, FG_WIDTH, false, false);
ORV_READ_BENCHMARKS(Gamma, FG_PROCESSING_GAMMA, true, true);
ORV_READ_BENCHMARKS(SimulatorMode, FG_CAMERASIMULATOR_SELECT_MODE, false, false);

#define ORV_COMPARE_READS(COMPARE, PREFIX, GOAL)                                                                       \
    COMPARE("FG_SENDSOFTWARETRIGGER read", BM_##PREFIX##SoftwareTrigger_Read_Export, BM_##PREFIX##KeptValueRead_Floor, \
            BM_##PREFIX##SoftwareTrigger_Read_Paired, 0);                                                              \
    COMPARE("FG_LINEEXPOSURE read", BM_##PREFIX##LineExposure_Read_Export, BM_##PREFIX##KeptValueRead_Floor,           \
            BM_##PREFIX##LineExposure_Read_Paired, 0);                                                                 \
    COMPARE("FG_WIDTH read", BM_##PREFIX##Width_Read_Export, BM_##PREFIX##KeptValueRead_Floor,                         \
            BM_##PREFIX##Width_Read_Paired, GOAL);                                                                     \
    COMPARE("FG_PROCESSING_GAMMA read", BM_##PREFIX##Gamma_Read_Export, BM_##PREFIX##KeptValueRead_Floor,              \
            BM_##PREFIX##Gamma_Read_Paired, 0);                                                                        \
    COMPARE("FG_CAMERASIMULATOR_SELECT_MODE read", BM_##PREFIX##SimulatorMode_Read_Export,                             \
            BM_##PREFIX##KeptValueRead_Floor, BM_##PREFIX##SimulatorMode_Read_Paired, 0)

ORV_COMPARE_READS(ORV_COMPARE_NULL_FLOOR, Null_, 1.5);
ORV_COMPARE_READS(ORV_COMPARE_FLOOR, , 0);
