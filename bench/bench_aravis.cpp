// The peer: the GenICam fake camera of Aravis 0.8 ("Fake_1" on the "Fake"
// interface), in the same run as the applet. Opening it loads and parses its
// GenICam document; a feature access goes through that document's nodes to
// the camera's simulated registers, as the applet's goes through its handler
// to the simulated board.
#include <arv.h>
#include <benchmark/benchmark.h>

#include "bench_cases.h"

using namespace orvbench;

namespace {

// The fake camera, opened for the benchmark's lifetime; every failure ends
// the benchmark with the peer's message.
class FakeCamera {
public:
    explicit FakeCamera(benchmark::State& state) : state_(state) {
        arv_enable_interface("Fake");
        camera_ = arv_camera_new("Fake_1", &error_);
        if (camera_ == nullptr) failed();
    }
    ~FakeCamera() {
        if (camera_) g_object_unref(camera_);
    }
    FakeCamera(const FakeCamera&) = delete;
    FakeCamera& operator=(const FakeCamera&) = delete;
    bool ok() const { return camera_ != nullptr && !failed_; }

    void writeWidth() {
        arv_camera_set_integer(camera_, "Width", (next_++ & 1u) ? 2048 : 1024, &error_);
        failed();
    }
    void readWidth() {
        benchmark::DoNotOptimize(arv_camera_get_integer(camera_, "Width", &error_));
        failed();
    }
    void triggerSoftware() {
        arv_camera_execute_command(camera_, "TriggerSoftware", &error_);
        failed();
    }
    // Opening and closing a second instance of the camera.
    static bool openClose(GError** error) {
        ArvCamera* camera = arv_camera_new("Fake_1", error);
        if (camera == nullptr) return false;
        g_object_unref(camera);
        return true;
    }

private:
    bool failed() {
        if (error_ == nullptr) return false;
        if (!failed_) state_.SkipWithError(error_->message);
        failed_ = true;
        g_error_free(error_);
        error_ = nullptr;
        return true;
    }

    benchmark::State& state_;
    ArvCamera* camera_ = nullptr;
    GError* error_ = nullptr;
    bool failed_ = false;
    unsigned next_ = 0;
};

}  // namespace

static void BM_Open_Aravis(benchmark::State& state) {
    arv_enable_interface("Fake");
    for (auto _ : state) {
        GError* error = nullptr;
        if (!FakeCamera::openClose(&error)) {
            state.SkipWithError(error ? error->message : "cannot open the fake camera");
            if (error) g_error_free(error);
            break;
        }
    }
}
BENCHMARK(BM_Open_Aravis)->Unit(benchmark::kMicrosecond);

static void BM_Width_Write_Aravis(benchmark::State& state) {
    FakeCamera camera(state);
    for (auto _ : state) {
        if (!camera.ok()) break;
        camera.writeWidth();
    }
}
BENCHMARK(BM_Width_Write_Aravis);

static void BM_Width_Read_Aravis(benchmark::State& state) {
    FakeCamera camera(state);
    for (auto _ : state) {
        if (!camera.ok()) break;
        camera.readWidth();
    }
}
BENCHMARK(BM_Width_Read_Aravis);

static void BM_SoftwareTrigger_Aravis(benchmark::State& state) {
    FakeCamera camera(state);
    for (auto _ : state) {
        if (!camera.ok()) break;
        camera.triggerSoftware();
    }
}
BENCHMARK(BM_SoftwareTrigger_Aravis);

// ---- the applet and the peer at the same moments ----

const int kPeerBlock = 64;

static void BM_Width_Write_VsAravis(benchmark::State& state) {
    WriteBench applet(kWidth, Host::kSimulated);
    FakeCamera camera(state);
    if (!camera.ok()) return;
    bool failed = false;
    measurePaired(
        state, kPeerBlock, [&] { failed |= !applet.exportWrite(); }, [&] { camera.writeWidth(); });
    if (failed) state.SkipWithError("the write failed");
}
BENCHMARK(BM_Width_Write_VsAravis);

static void BM_Width_Read_VsAravis(benchmark::State& state) {
    ReadBench applet(FG_WIDTH, false, false, Host::kSimulated);
    FakeCamera camera(state);
    if (!camera.ok()) return;
    bool failed = false;
    measurePaired(
        state, kPeerBlock, [&] { failed |= !applet.exportRead(); }, [&] { camera.readWidth(); });
    if (failed) state.SkipWithError("the read failed");
}
BENCHMARK(BM_Width_Read_VsAravis);

static void BM_SoftwareTrigger_VsAravis(benchmark::State& state) {
    WriteBench applet(kSoftwareTrigger, Host::kSimulated);
    FakeCamera camera(state);
    if (!camera.ok()) return;
    bool failed = false;
    measurePaired(
        state, kPeerBlock, [&] { failed |= !applet.exportWrite(); }, [&] { camera.triggerSoftware(); });
    if (failed) state.SkipWithError("the write failed");
}
BENCHMARK(BM_SoftwareTrigger_VsAravis);

static void openVsAravis(benchmark::State& state, int flags, Host host) {
    OpenClose applet(flags, host);
    arv_enable_interface("Fake");
    GError* error = nullptr;
    bool failed = false;
    measurePaired<ThreadCpuClock>(
        state, 1, [&] { failed |= !applet.once(); }, [&] { failed |= !FakeCamera::openClose(&error); });
    if (error) g_error_free(error);
    if (failed) state.SkipWithError("an open failed");
}
static void BM_Null_Open_VsAravis(benchmark::State& s) { openVsAravis(s, 0, Host::kNull); }
static void BM_Null_Open_NoDefaults_VsAravis(benchmark::State& s) { openVsAravis(s, 1, Host::kNull); }
static void BM_Open_VsAravis(benchmark::State& s) { openVsAravis(s, 0, Host::kSimulated); }
BENCHMARK(BM_Null_Open_VsAravis)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Null_Open_NoDefaults_VsAravis)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Open_VsAravis)->Unit(benchmark::kMicrosecond);

ORV_COMPARE_PEER("FG_WIDTH write vs Aravis \"Width\"", BM_Width_Write_Export, BM_Width_Write_Aravis,
                 BM_Width_Write_VsAravis, 10);
ORV_COMPARE_PEER("FG_WIDTH read vs Aravis \"Width\"", BM_Width_Read_Export, BM_Width_Read_Aravis,
                 BM_Width_Read_VsAravis, 10);
ORV_COMPARE_PEER("FG_SENDSOFTWARETRIGGER vs \"TriggerSoftware\"", BM_SoftwareTrigger_Write_Export,
                 BM_SoftwareTrigger_Aravis, BM_SoftwareTrigger_VsAravis, 10);
ORV_COMPARE_PEER("open + close, null host, vs Aravis", BM_Null_Open_StdEntry_Defaults, BM_Open_Aravis,
                 BM_Null_Open_VsAravis, 10);
ORV_COMPARE_PEER("open + close (no defaults), null host", BM_Null_Open_StdEntry_NoDefaults, BM_Open_Aravis,
                 BM_Null_Open_NoDefaults_VsAravis, 0);
ORV_COMPARE_PEER("open + close vs Aravis open + close", BM_Open_StdEntry_Defaults, BM_Open_Aravis, BM_Open_VsAravis, 2);
ORV_COMPARE_PEER("open + close (no defaults) vs Aravis", BM_Open_StdEntry_NoDefaults, BM_Open_Aravis, , 0);
ORV_COMPARE_PEER("application open + close vs Aravis", BM_Open_Application, BM_Open_Aravis, , 0);
