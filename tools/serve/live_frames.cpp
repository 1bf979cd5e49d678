// The live view's frame stream (see live_impl.h): each port's acquisition
// into its own ring, the poller that takes every picture as it arrives and
// measures the rate, the newest picture for the page, grabs into image
// files.

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "error_text.h"
#include "image_files.h"
#include "live_impl.h"
#include "sim_board.h"

namespace appletctl {

json LiveServer::Impl::startAcquisition(unsigned port) {
    PortState& p = ports[port];
    if (p.running) return {{"ok", true}, {"message", "port " + std::to_string(port) + " acquiring"}};
    Fg_Struct* fg = board.fg();
    int rc = Fg_getFrameFormatEx(fg, static_cast<int>(port), &p.format);
    if (rc == 0) {
        p.ring = Fg_AllocRingEx(fg, static_cast<size_t>(p.format.frameBytes), opt.buffers);
        if (!p.ring) rc = Fg_getLastErrorNumber(nullptr);
    }
    if (rc == 0) {
        rc = Fg_AcquireEx(fg, static_cast<int>(port), 0, 0, p.ring);
        if (rc != 0) {
            Fg_FreeRingEx(fg, p.ring);
            p.ring = nullptr;
        }
    }
    if (rc != 0) return {{"ok", false}, {"code", rc}, {"message", "acquisition start: " + errorText(rc)}};
    p.running = true;
    p.last = p.rateFrom = 0;
    p.lost = 0;
    p.fps = 0;
    p.rateSince = Clock::now();
    p.copy.assign(static_cast<size_t>(p.format.frameBytes), 0);
    return {{"ok", true}, {"message", "port " + std::to_string(port) + " acquiring"}};
}

void LiveServer::Impl::stopAcquisition(unsigned port) {
    PortState& p = ports[port];
    if (!p.running) return;
    Fg_stopAcquireEx(board.fg(), static_cast<int>(port), p.ring, 0);
    Fg_FreeRingEx(board.fg(), p.ring);
    p.ring = nullptr;
    p.running = false;
    p.fps = 0;
}

void LiveServer::Impl::poll() {
    std::unique_lock<std::mutex> g(lock);
    while (!quit) {
        for (unsigned port = 0; port < kPorts; ++port) {
            PortState& p = ports[port];
            if (!p.running) continue;
            const frameindex_t last = Fg_getStatusEx(board.fg(), SIM_STATUS_LAST_PICTURE, 0, port, p.ring);
            if (last > p.last) {
                Fg_getPicturePtrEx(board.fg(), last, static_cast<int>(port), p.ring);
                p.last = last;
            }
            const frameindex_t lost = Fg_getStatusEx(board.fg(), SIM_STATUS_LOST, 0, port, p.ring);
            if (lost >= 0) p.lost = static_cast<uint64_t>(lost);
            const double dt = std::chrono::duration<double>(Clock::now() - p.rateSince).count();
            if (dt >= 0.5) {
                p.fps = (p.last - p.rateFrom) / dt;
                p.rateFrom = p.last;
                p.rateSince = Clock::now();
            }
        }
        const bool any = std::any_of(std::begin(ports), std::end(ports), [](const PortState& p) { return p.running; });
        wake.wait_for(g, std::chrono::milliseconds(any ? 2 : 50));
    }
}

json LiveServer::Impl::status() {
    json out = json::array();
    for (unsigned port = 0; port < kPorts; ++port) {
        const PortState& p = ports[port];
        json j{{"port", port}, {"running", p.running}, {"frames", p.last}, {"lost", p.lost}, {"fps", p.fps}};
        if (p.running) {
            j["width"] = p.format.width, j["height"] = p.format.height, j["bits"] = p.format.bitsPerPixel;
        }
        out.push_back(j);
    }
    return out;
}

frameindex_t LiveServer::Impl::copyNewest(unsigned port, void* into) {
    PortState& p = ports[port];
    if (!p.running) return 0;
    const frameindex_t n =
        Fg_copyPictureEx(board.fg(), 0, static_cast<int>(port), into ? into : p.copy.data(), p.copy.size(), p.ring);
    if (n > p.last) p.last = n;
    return n > 0 ? n : 0;
}

json LiveServer::Impl::grab(std::unique_lock<std::mutex>& g, unsigned port, unsigned count, const std::string& prefix) {
    std::string why;
    if (fileIn(prefix + "-0001.pgm", &why).empty()) return {{"ok", false}, {"message", why}};
    if (!ports[port].running) return {{"ok", false}, {"message", "port " + std::to_string(port) + " is not acquiring"}};
    json files = json::array();
    frameindex_t previous = ports[port].last;
    for (unsigned i = 1; i <= count; ++i) {
        const Clock::time_point until = Clock::now() + std::chrono::seconds(5);
        frameindex_t n = 0;
        while (ports[port].running && (n = copyNewest(port)) <= previous && Clock::now() < until) {
            wake.wait_for(g, std::chrono::milliseconds(2));
        }
        if (!ports[port].running || n <= previous) {
            return {{"ok", false},
                    {"files", files},
                    {"message", "no new frame within 5 s after " + std::to_string(files.size()) + " files"}};
        }
        previous = n;
        char suffix[32];
        std::snprintf(suffix, sizeof suffix, "-%04u.pgm", i);
        const std::string path = fileIn(prefix + suffix, &why);
        const FgFrameFormat& f = ports[port].format;
        const PixelLayout layout{f.bitsPerPixel, f.bytesPerPixel, f.leftAligned != 0};
        if (path.empty() ||
            !writeImageFile(path, ImageType::Pgm, layout, f.width, f.height, ports[port].copy.data(), &why)) {
            return {{"ok", false}, {"files", files}, {"message", why}};
        }
        files.push_back(prefix + suffix);
    }
    return {{"ok", true}, {"files", files}};
}

json LiveServer::Impl::withPortsStopped(const std::function<json()>& f) {
    std::vector<unsigned> was;
    for (unsigned p = 0; p < kPorts; ++p) {
        if (ports[p].running) was.push_back(p), stopAcquisition(p);
    }
    json out = f();
    for (unsigned p : was) startAcquisition(p);
    return out;
}

}  // namespace appletctl
