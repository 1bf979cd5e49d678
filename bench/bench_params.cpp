// Typed writes and reads through the applet's export, each beside its floor:
// the design writes the call causes, made directly on the host board handle,
// plus one uncontended lock and unlock of an error-checking mutex.
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

void writeExport(benchmark::State& state, const WriteCase& c) {
    WriteBench w(c);
    for (auto _ : state) {
        if (!w.exportWrite()) {
            state.SkipWithError("the write failed");
            break;
        }
    }
}

void writeFloor(benchmark::State& state, const WriteCase& c) {
    WriteBench w(c);
    if (const char* problem = w.floorProblem()) {
        state.SkipWithError(problem);
        return;
    }
    state.counters["host_writes"] = static_cast<double>(w.hostWrites());
    state.counters["host_reads"] = w.hostReads();
    for (auto _ : state) w.floorWrite();
}

void writePaired(benchmark::State& state, const WriteCase& c, int block) {
    WriteBench w(c);
    if (const char* problem = w.floorProblem()) {
        state.SkipWithError(problem);
        return;
    }
    bool failed = false;
    measurePaired(
        state, block, [&] { failed |= !w.exportWrite(); }, [&] { w.floorWrite(); });
    if (failed) state.SkipWithError("the write failed");
}

void readExport(benchmark::State& state, int id, bool isDouble, bool processingLut) {
    ReadBench r(id, isDouble, processingLut);
    for (auto _ : state) {
        if (!r.exportRead()) {
            state.SkipWithError("the read failed");
            break;
        }
    }
    if (r.calledHost()) state.SkipWithError("the read calls the host; the lock alone is not its floor");
}

void readPaired(benchmark::State& state, int id, bool isDouble, bool processingLut) {
    ReadBench r(id, isDouble, processingLut);
    bool failed = false;
    measurePaired(
        state, kPairedBlock, [&] { failed |= !r.exportRead(); }, [&] { r.floorRead(); });
    if (failed) state.SkipWithError("the read failed");
    if (r.calledHost()) state.SkipWithError("the read calls the host; the lock alone is not its floor");
}

}  // namespace

// ---- writes ----

#define ORV_WRITE_BENCHMARKS(NAME, CASE, BLOCK)                                                        \
    static void BM_##NAME##_Write_Export(benchmark::State& s) { writeExport(s, CASE); }                \
    static void BM_##NAME##_Write_Floor(benchmark::State& s) { writeFloor(s, CASE); }                  \
    static void BM_##NAME##_Write_Paired(benchmark::State& s) { writePaired(s, CASE, BLOCK); }         \
    BENCHMARK(BM_##NAME##_Write_Export);                                                               \
    BENCHMARK(BM_##NAME##_Write_Floor);                                                                \
    BENCHMARK(BM_##NAME##_Write_Paired)

ORV_WRITE_BENCHMARKS(SoftwareTrigger, kSoftwareTrigger, kPairedBlock);
ORV_WRITE_BENCHMARKS(LineExposure, kLineExposure, kPairedBlock);
ORV_WRITE_BENCHMARKS(Width, kWidth, kPairedBlock);
ORV_WRITE_BENCHMARKS(Gamma, kGamma, 4);
ORV_WRITE_BENCHMARKS(SimulatorMode, kSelectMode, kPairedBlock);

ORV_COMPARE_FLOOR("FG_SENDSOFTWARETRIGGER write", BM_SoftwareTrigger_Write_Export, BM_SoftwareTrigger_Write_Floor,
                  BM_SoftwareTrigger_Write_Paired, 1.5);
ORV_COMPARE_FLOOR("FG_LINEEXPOSURE write", BM_LineExposure_Write_Export, BM_LineExposure_Write_Floor,
                  BM_LineExposure_Write_Paired, 1.5);
ORV_COMPARE_FLOOR("FG_WIDTH write (7 design writes)", BM_Width_Write_Export, BM_Width_Write_Floor,
                  BM_Width_Write_Paired, 0);
ORV_COMPARE_FLOOR("FG_PROCESSING_GAMMA write (table)", BM_Gamma_Write_Export, BM_Gamma_Write_Floor,
                  BM_Gamma_Write_Paired, 0);
ORV_COMPARE_FLOOR("FG_CAMERASIMULATOR_SELECT_MODE write", BM_SimulatorMode_Write_Export,
                  BM_SimulatorMode_Write_Floor, BM_SimulatorMode_Write_Paired, 0);

// ---- reads of kept values ----

// The floor of a read of a kept value: the lock and the copy.
static void BM_KeptValueRead_Floor(benchmark::State& state) {
    ReadBench r(FG_WIDTH, false, false);
    for (auto _ : state) r.floorRead();
}
BENCHMARK(BM_KeptValueRead_Floor);

#define ORV_READ_BENCHMARKS(NAME, ID, IS_DOUBLE, LUT)                                                   \
    static void BM_##NAME##_Read_Export(benchmark::State& s) { readExport(s, ID, IS_DOUBLE, LUT); }     \
    static void BM_##NAME##_Read_Paired(benchmark::State& s) { readPaired(s, ID, IS_DOUBLE, LUT); }     \
    BENCHMARK(BM_##NAME##_Read_Export);                                                                 \
    BENCHMARK(BM_##NAME##_Read_Paired)

ORV_READ_BENCHMARKS(SoftwareTrigger, FG_SENDSOFTWARETRIGGER, false, false);
ORV_READ_BENCHMARKS(LineExposure, FG_LINEEXPOSURE, true, false);
ORV_READ_BENCHMARKS(Width, FG_WIDTH, false, false);
ORV_READ_BENCHMARKS(Gamma, FG_PROCESSING_GAMMA, true, true);
ORV_READ_BENCHMARKS(SimulatorMode, FG_CAMERASIMULATOR_SELECT_MODE, false, false);

ORV_COMPARE_FLOOR("FG_SENDSOFTWARETRIGGER read", BM_SoftwareTrigger_Read_Export, BM_KeptValueRead_Floor,
                  BM_SoftwareTrigger_Read_Paired, 0);
ORV_COMPARE_FLOOR("FG_LINEEXPOSURE read", BM_LineExposure_Read_Export, BM_KeptValueRead_Floor,
                  BM_LineExposure_Read_Paired, 0);
ORV_COMPARE_FLOOR("FG_WIDTH read", BM_Width_Read_Export, BM_KeptValueRead_Floor, BM_Width_Read_Paired, 0);
ORV_COMPARE_FLOOR("FG_PROCESSING_GAMMA read", BM_Gamma_Read_Export, BM_KeptValueRead_Floor,
                  BM_Gamma_Read_Paired, 0);
ORV_COMPARE_FLOOR("FG_CAMERASIMULATOR_SELECT_MODE read", BM_SimulatorMode_Read_Export, BM_KeptValueRead_Floor,
                  BM_SimulatorMode_Read_Paired, 0);
