// The acquisition engine: frames and megapixels per second of unpaced
// generation (one port and both, 8- and 16-bit output, the default geometry
// and the widest line), each beside the memcpy of the same bytes in the same
// run; and the frame rate of paced acquisitions beside the programmed one,
// including the design's top pixel rate on both ports at once.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <vector>

#include "bench_cases.h"

using namespace orvbench;

namespace {

typedef std::chrono::steady_clock Clock;

struct Geometry {
    uint32_t width, height, format;  // FG_FORMAT: 3 gray 8, 1 gray 16
};

// A board whose ports show the simulator's pattern in the given geometry.
class AcqBench {
public:
    AcqBench(const Geometry& g, int ports, int pacing) : g_(g), ports_(ports) {
        b_.sim.SimBoard_SetPacing(b_.dev, pacing);
        for (int port = 0; port < ports; ++port) {
            b_.setU32(FG_CAMERASIMULATOR_ENABLE, 1, port);
            b_.setU32(FG_CAMERASIMULATOR_WIDTH, g.width, port);
            b_.setU32(FG_CAMERASIMULATOR_HEIGHT, g.height, port);
            b_.setU32(FG_WIDTH, g.width, port);
            b_.setU32(FG_HEIGHT, g.height, port);
            b_.setU32(FG_FORMAT, g.format, port);
            FgFrameFormat f;
            b_.sim.Fg_getFrameFormatEx(b_.fg, port, &f);
            bytes_ = f.frameBytes;
            ring_[port] = b_.sim.Fg_AllocRingEx(b_.fg, bytes_, kBuffers);
        }
        src_.assign(bytes_, 0x5A);
        dst_.assign(bytes_ * kBuffers, 0);
    }
    ~AcqBench() {
        for (int port = 0; port < ports_; ++port) {
            b_.sim.Fg_stopAcquireEx(b_.fg, port, ring_[port], 0);
            b_.sim.Fg_FreeRingEx(b_.fg, ring_[port]);
        }
    }
    // `frames` pictures on every port: start, wait for the last, stop.
    void grab(int frames) {
        for (int port = 0; port < ports_; ++port) b_.sim.Fg_AcquireEx(b_.fg, port, frames, 0, ring_[port]);
        for (int port = 0; port < ports_; ++port)
            b_.sim.Fg_getLastPicNumberBlockingEx(b_.fg, frames, port, 10, ring_[port]);
        for (int port = 0; port < ports_; ++port) b_.sim.Fg_stopAcquireEx(b_.fg, port, ring_[port], 0);
    }
    // The same bytes by memcpy, into as many buffers.
    void copy(int frames) {
        for (int k = 0; k < frames * ports_; ++k)
            std::memcpy(dst_.data() + (k % kBuffers) * bytes_, src_.data(), bytes_);
        benchmark::DoNotOptimize(dst_.data());
        benchmark::ClobberMemory();
    }
    // Delivered frames per second over about `seconds`, counted between two
    // pictures seen on every port (the start is not counted; the numbers the
    // waits answer, not the ones asked for, so a late look does not count a
    // picture twice); every picture is taken.
    double pacedRate(double seconds, uint64_t* lost) {
        for (int port = 0; port < ports_; ++port) b_.sim.Fg_AcquireEx(b_.fg, port, 0, 0, ring_[port]);
        frameindex_t first = 1;
        for (int port = 0; port < ports_; ++port)
            first = std::max(first, b_.sim.Fg_getLastPicNumberBlockingEx(b_.fg, first, port, 10, ring_[port]));
        const Clock::time_point t0 = Clock::now();
        frameindex_t pic = first, seen = first;
        while (std::chrono::duration<double>(Clock::now() - t0).count() < seconds) {
            ++pic;
            seen = pic;
            for (int port = 0; port < ports_; ++port)
                seen = std::min(seen, b_.sim.Fg_getLastPicNumberBlockingEx(b_.fg, pic, port, 10, ring_[port]));
        }
        const double elapsed = std::chrono::duration<double>(Clock::now() - t0).count();
        *lost = 0;
        for (int port = 0; port < ports_; ++port) {
            *lost += static_cast<uint64_t>(b_.sim.Fg_getStatusEx(b_.fg, SIM_STATUS_LOST, 0, port, ring_[port]));
            b_.sim.Fg_stopAcquireEx(b_.fg, port, ring_[port], 0);
        }
        return double(seen - first) / elapsed;
    }
    BenchBoard& board() { return b_; }
    uint64_t frameBytes() const { return bytes_; }

private:
    static const int kBuffers = 16;
    BenchBoard b_;
    Geometry g_;
    int ports_;
    uint64_t bytes_ = 0;
    dma_mem* ring_[2] = {nullptr, nullptr};
    std::vector<uint8_t> src_, dst_;
};

const Geometry kDefault8{1024, 1024, 3}, kDefault16{1024, 1024, 1}, kWidest8{16384, 64, 3}, kWidest16{16384, 64, 1};
// Enough frames per call that starting and joining the producer (a thread
// start and two wake-ups) weigh little.
const int kFramesPerCall = 128;

void unpaced(benchmark::State& state, const Geometry& g, int ports) {
    AcqBench a(g, ports, SIM_PACE_UNPACED);
    measurePaired(
        state, 1, [&] { a.grab(kFramesPerCall); }, [&] { a.copy(kFramesPerCall); });
    const double seconds = state.counters["subject_ns"].value * 1e-9;
    if (seconds > 0) {
        const double frames = double(kFramesPerCall) * ports;
        state.counters["frames_per_s"] = frames / seconds;
        state.counters["Mpixel_per_s"] = frames * g.width * g.height / seconds / 1e6;
        state.counters["memcpy_GB_per_s"] =
            frames * double(a.frameBytes()) / (state.counters["reference_ns"].value * 1e-9) / 1e9;
    }
}

// Delivered against programmed frame period, as the paired counters.
void reportPaced(benchmark::State& state, double delivered, double programmed, uint64_t lost) {
    state.counters["subject_ns"] = 1e9 / delivered;
    state.counters["reference_ns"] = 1e9 / programmed;
    state.counters["ratio"] = programmed / delivered;
    state.counters["frames_per_s"] = delivered;
    state.counters["programmed_per_s"] = programmed;
    state.counters["lost"] = double(lost);
}

double readD(BenchBoard& b, int id, int port = 0) {
    double v = 0;
    b.x.get(b.fg, id, &v, port, FG_PARAM_TYPE_DOUBLE);
    return v;
}
void setD(BenchBoard& b, int id, double v, int port = 0) {
    BenchBoard::check(b.x.set(b.fg, id, &v, port, FG_PARAM_TYPE_DOUBLE), id);
}

}  // namespace

#define ORV_UNPACED(NAME, GEOMETRY, PORTS)                                                  \
    static void BM_Acq_##NAME(benchmark::State& state) { unpaced(state, GEOMETRY, PORTS); } \
    BENCHMARK(BM_Acq_##NAME)->UseRealTime()
ORV_UNPACED(Port1_8bit_1024x1024, kDefault8, 1);
ORV_UNPACED(Port1_16bit_1024x1024, kDefault16, 1);
ORV_UNPACED(Port1_8bit_16384x64, kWidest8, 1);
ORV_UNPACED(Port1_16bit_16384x64, kWidest16, 1);
ORV_UNPACED(Ports2_8bit_1024x1024, kDefault8, 2);
ORV_UNPACED(Ports2_16bit_1024x1024, kDefault16, 2);
ORV_UNPACED(Ports2_8bit_16384x64, kWidest8, 2);
ORV_UNPACED(Ports2_16bit_16384x64, kWidest16, 2);
ORV_COMPARE_MEMCPY("unpaced, 1 port, 8 bit, 1024 x 1024", BM_Acq_Port1_8bit_1024x1024, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 1 port, 16 bit, 1024 x 1024", BM_Acq_Port1_16bit_1024x1024, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 1 port, 8 bit, 16384 x 64", BM_Acq_Port1_8bit_16384x64, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 1 port, 16 bit, 16384 x 64", BM_Acq_Port1_16bit_16384x64, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 2 ports, 8 bit, 1024 x 1024", BM_Acq_Ports2_8bit_1024x1024, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 2 ports, 16 bit, 1024 x 1024", BM_Acq_Ports2_16bit_1024x1024, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 2 ports, 8 bit, 16384 x 64", BM_Acq_Ports2_8bit_16384x64, 2.0);
ORV_COMPARE_MEMCPY("unpaced, 2 ports, 16 bit, 16384 x 64", BM_Acq_Ports2_16bit_16384x64, 2.0);

// The simulator's line rate: 100 kHz, 64-line images.
static void BM_Paced_LineRate(benchmark::State& state) {
    AcqBench a(Geometry{1024, 64, 3}, 1, SIM_PACE_REALTIME);
    setD(a.board(), FG_CAMERASIMULATOR_LINERATE, 100000.0);
    const double programmed = readD(a.board(), FG_CAMERASIMULATOR_LINERATE) / 64;
    for (auto _ : state) {
        uint64_t lost = 0;
        reportPaced(state, a.pacedRate(1.0, &lost), programmed, lost);
    }
}
BENCHMARK(BM_Paced_LineRate)->Iterations(1)->Repetitions(3)->UseRealTime();

// The simulator's frame rate mode: 500 images per second.
static void BM_Paced_FrameRate(benchmark::State& state) {
    AcqBench a(Geometry{1024, 64, 3}, 1, SIM_PACE_REALTIME);
    a.board().setU32(FG_CAMERASIMULATOR_SELECT_MODE, 2);
    setD(a.board(), FG_CAMERASIMULATOR_FRAMERATE, 500.0);
    const double programmed = readD(a.board(), FG_CAMERASIMULATOR_FRAMERATE);
    for (auto _ : state) {
        uint64_t lost = 0;
        reportPaced(state, a.pacedRate(1.0, &lost), programmed, lost);
    }
}
BENCHMARK(BM_Paced_FrameRate)->Iterations(1)->Repetitions(3)->UseRealTime();

// The camera at an ExSync period of 20 us: 64-line images at 781.25 per second.
static void BM_Paced_ExSync(benchmark::State& state) {
    AcqBench a(Geometry{1024, 64, 3}, 1, SIM_PACE_REALTIME);
    a.board().setU32(FG_CAMERASIMULATOR_ENABLE, 0);
    a.board().setU32(FG_LINETRIGGERMODE, 1);
    setD(a.board(), FG_LINEEXPOSURE, 10.0);
    setD(a.board(), FG_LINEPERIODE, 20.0);
    const double programmed = 1e6 / (20.0 * 64);
    for (auto _ : state) {
        uint64_t lost = 0;
        reportPaced(state, a.pacedRate(1.0, &lost), programmed, lost);
    }
}
BENCHMARK(BM_Paced_ExSync)->Iterations(1)->Repetitions(3)->UseRealTime();

// The design's top pixel rate, 1.5 Gpixel/s per port (pixel-frequency mode
// at 1500 MHz: 12 pixels per 8 ns clock), 8-bit, on both ports at once;
// lines of 1032 pixels (the generator's 12-pixel grid), regions of 1024.
static void BM_Paced_TopRateBothPorts(benchmark::State& state) {
    AcqBench a(Geometry{1024, 1024, 3}, 2, SIM_PACE_REALTIME);
    for (int port = 0; port < 2; ++port) {
        a.board().setU32(FG_CAMERASIMULATOR_SELECT_MODE, 0, port);
        setD(a.board(), FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 1500.0, port);
        a.board().setU32(FG_CAMERASIMULATOR_WIDTH, 1032, port);
    }
    const double programmed = readD(a.board(), FG_CAMERASIMULATOR_FRAMERATE);
    for (auto _ : state) {
        uint64_t lost = 0;
        reportPaced(state, a.pacedRate(1.0, &lost), programmed, lost);
        state.counters["Gpixel_per_s_per_port"] = state.counters["frames_per_s"].value * 1032.0 * 1024 / 1e9;
    }
}
BENCHMARK(BM_Paced_TopRateBothPorts)->Iterations(1)->Repetitions(3)->UseRealTime();

ORV_COMPARE_PACED("paced, simulator line rate 100 kHz", BM_Paced_LineRate, 0.01);
ORV_COMPARE_PACED("paced, simulator frame rate 500 Hz", BM_Paced_FrameRate, 0.01);
ORV_COMPARE_PACED("paced, camera ExSync period 20 us", BM_Paced_ExSync, 0.01);
ORV_COMPARE_PACED("paced, 1.5 Gpixel/s on both ports", BM_Paced_TopRateBothPorts, 0.01);
