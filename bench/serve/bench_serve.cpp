// Serving does not slow acquisition: frames per second of an unpaced
// acquisition that the live view runs (1024 x 1024, gray 8, port 0), in
// alternating spans with no page connected and with a client that asks for
// images and status as the page does (the next image 40 ms after the last
// one arrived, the status every 400 ms). Both figures come from the same run,
// span by span, so that the load of the machine weighs on both alike. A
// program of its own: it runs the tool's server on the simulated platform.
#include <benchmark/benchmark.h>
#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include "board.h"
#include "live_server.h"
#include "sdk_ids.h"
#include "sim_board.h"

namespace {

typedef std::chrono::steady_clock Clock;

const double kSpanSeconds = 0.1;

// The newest picture of port 0.
frameindex_t newest(QORdevice* dev) {
    SimAcquisitionStatus st{};
    SimBoard_GetAcquisitionStatus(dev, 0, &st);
    return st.lastPicture;
}

void set(appletctl::Board& b, int id, uint32_t v) {
    if (Fg_setParameterWithType(b.fg(), id, &v, 0, FG_PARAM_TYPE_UINT32_T) != 0)
        std::fprintf(stderr, "set %d failed\n", id);
}

// Polls like the page while `connected` is set.
class PageClient {
public:
    PageClient(int port, const std::string& token) : c_("127.0.0.1", port) {
        headers_ = {{"X-Token", token}, {"Host", "127.0.0.1:" + std::to_string(port)}};
        thread_ = std::thread([this] { run(); });
    }
    ~PageClient() {
        quit_ = true;
        thread_.join();
    }
    std::atomic<bool> connected{false};
    std::atomic<uint64_t> images{0};

private:
    void run() {
        long long after = 0;
        Clock::time_point status = Clock::now();
        while (!quit_) {
            if (!connected) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            auto r = c_.Get(("/api/image?port=0&after=" + std::to_string(after)).c_str(), headers_);
            if (r && r->status == 200) {
                after = std::atoll(r->get_header_value("X-Frame").c_str());
                ++images;
            }
            if (Clock::now() - status > std::chrono::milliseconds(400)) {
                c_.Get("/api/status", headers_);
                status = Clock::now();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
        }
    }
    httplib::Client c_;
    httplib::Headers headers_;
    std::atomic<bool> quit_{false};
    std::thread thread_;
};

void BM_AcquisitionWhileServing(benchmark::State& state) {
    appletctl::Board board(0, 0);
    if (!board.open("bench")) {
        state.SkipWithError("cannot open the board");
        return;
    }
    QORdevice* dev = SimBoard_DeviceOf(board.fg());
    SimBoard_SetPacing(dev, SIM_PACE_UNPACED);
    set(board, FG_CAMERASIMULATOR_ENABLE, 1);
    set(board, FG_WIDTH, 1024);
    set(board, FG_HEIGHT, 1024);
    set(board, FG_FORMAT, 3);
    appletctl::ServeOptions o;
    o.port = 0;
    o.directory = "/tmp";
    appletctl::LiveServer server(board, o);
    std::string why;
    if (!server.start(&why)) {
        state.SkipWithError(why.c_str());
        return;
    }
    httplib::Client control("127.0.0.1", server.port());
    const httplib::Headers h{{"X-Token", server.token()}, {"Host", "127.0.0.1:" + std::to_string(server.port())}};
    auto started = control.Post("/api/acquisition", h, R"({"port": 0, "action": "start"})", "application/json");
    if (!started || started->status != 200) {
        state.SkipWithError("the acquisition did not start");
        return;
    }
    PageClient page(server.port(), server.token());
    double alone[2] = {0, 0}, served[2] = {0, 0};  // frames, seconds
    auto span = [&](double* into) {
        const frameindex_t f0 = newest(dev);
        const Clock::time_point t0 = Clock::now();
        std::this_thread::sleep_for(std::chrono::duration<double>(kSpanSeconds));
        into[0] += double(newest(dev) - f0);
        into[1] += std::chrono::duration<double>(Clock::now() - t0).count();
    };
    for (auto _ : state) {
        page.connected = false;
        span(alone);
        page.connected = true;
        span(served);
    }
    page.connected = false;
    state.counters["frames_per_s_alone"] = alone[0] / alone[1];
    state.counters["frames_per_s_served"] = served[0] / served[1];
    state.counters["served_vs_alone"] = (served[0] / served[1]) / (alone[0] / alone[1]);
    state.counters["images_served"] = double(page.images);
}

}  // namespace

BENCHMARK(BM_AcquisitionWhileServing)->Iterations(40)->Repetitions(3)->Unit(benchmark::kMillisecond)->UseRealTime();
