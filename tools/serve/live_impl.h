// The live view's server as its files share it (see live_server.h): the
// board it serves, the state of each port's acquisition, and the parts of the
// server by job: access (live_access.cpp), the JSON parameter views
// (live_params.cpp), the frame stream (live_frames.cpp), the HTTP routes
// (live_routes.cpp), start and stop (live_server.cpp).
#ifndef APPLETCTL_LIVE_IMPL_H
#define APPLETCTL_LIVE_IMPL_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "board.h"
#include "live_server.h"
#include "sim_board.h"

namespace httplib {
class Server;
}

namespace appletctl {

using json = nlohmann::json;
using Clock = std::chrono::steady_clock;

const int kPorts = 2;

struct PortState {
    dma_mem* ring = nullptr;
    FgFrameFormat format{};
    bool running = false;
    frameindex_t last = 0;  // newest complete picture
    uint64_t lost = 0;
    double fps = 0;
    frameindex_t rateFrom = 0;  // picture and time the rate is measured from
    Clock::time_point rateSince;
    std::vector<unsigned char> copy;  // the newest picture as served
};

struct LiveServer::Impl {
    Board& board;
    ServeOptions opt;
    std::string token;
    std::string directory;  // resolved
    int boundPort = 0;
    std::unique_ptr<httplib::Server> http;
    std::thread serving, polling;
    std::mutex lock;  // every board access
    std::condition_variable wake;
    bool quit = false;
    PortState ports[kPorts];

    Impl(Board& b, const ServeOptions& o);
    ~Impl();

    // ---- access (live_access.cpp) ------------------------------------------------

    // The names this server answers to: an IP literal or localhost (and the
    // machine's own name when listening beyond the loopback), with our port.
    bool hostAllowed(const std::string& hostPort) const;
    // A file of the named directory: a plain name, no path, no hidden file, no
    // link leading elsewhere. Empty with the reason otherwise.
    std::string fileIn(const std::string& name, std::string* why) const;
    // Refuses what is not ours before any handler runs (installs the check).
    void admitOnlyOurs();

    // ---- parameters (live_params.cpp) ----------------------------------------------

    json paramJson(unsigned port, const RegisterInfo* r);
    json treeJson(unsigned port, const RegisterInfo* r, std::set<const RegisterInfo*>& seen, int depth);
    json tree(unsigned port);
    json setParameter(unsigned port, const std::string& name, const std::string& text);

    // ---- acquisition (live_frames.cpp) ---------------------------------------------

    json startAcquisition(unsigned port);
    void stopAcquisition(unsigned port);
    // Takes every picture as it arrives (so that only pictures the server
    // could not keep up with count as lost) and measures the rate.
    void poll();
    json status();
    // The newest picture into the port's copy; its number, or 0 when none.
    frameindex_t copyNewest(unsigned port, void* into = nullptr);
    json grab(std::unique_lock<std::mutex>& g, unsigned port, unsigned count, const std::string& prefix);
    // Runs `f` with every running port stopped and restarts them afterwards
    // (a configuration load may change their frames).
    json withPortsStopped(const std::function<json()>& f);

    // ---- routes (live_routes.cpp) ----------------------------------------------------

    json files();
    void routes();
};

}  // namespace appletctl

#endif  // APPLETCTL_LIVE_IMPL_H
