// The acquisition engine's control of the simulated board (see
// acq_engine.h and sim_board.h): pacing, camera image files, trigger inputs
// and shaft encoders, a port's acquisition status and the design's events.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "acq_internal.h"

namespace simhost {

namespace sim {

namespace {
bool validInput(int input) { return input >= 0 && input < kTriggerInputs; }
}  // namespace

int setPacing(QORdevice* q, int mode) {
    Device* d = deviceOf(q);
    if (d == nullptr || (mode != SIM_PACE_REALTIME && mode != SIM_PACE_UNPACED)) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    board(d).pacing = mode;
    return FG_OK;
}

int addCameraImage(QORdevice* q, int port, const char* path) {
    Device* d = deviceOf(q);
    if (d == nullptr || port < 0 || port >= kNrOfDmas || path == nullptr) return FG_ERR_INVALID_PARAMETER;
    try {
        CameraPicture c;
        const int rc = readPgm(path, c);
        if (rc != FG_OK) return rc;
        std::lock_guard<std::mutex> lk(d->m);
        auto next = std::make_shared<std::vector<CameraPicture>>();
        if (board(d).camera[port]) *next = *board(d).camera[port];
        next->push_back(std::move(c));
        board(d).camera[port] = next;
        return FG_OK;
    } catch (...) {
        return FG_ERR_BUFFER_TOO_SMALL;  // no memory for the picture
    }
}

int clearCameraImages(QORdevice* q, int port) {
    Device* d = deviceOf(q);
    if (d == nullptr || port < 0 || port >= kNrOfDmas) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    board(d).camera[port].reset();
    return FG_OK;
}

int pulseTriggerInput(QORdevice* q, int input, int count) {
    Device* d = deviceOf(q);
    if (d == nullptr || !validInput(input) || count < 0) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    board(d).inputs.edges[input] += static_cast<uint64_t>(count);
    return FG_OK;
}

int setTriggerInputLevel(QORdevice* q, int input, int level) {
    Device* d = deviceOf(q);
    if (d == nullptr || !validInput(input) || (level != 0 && level != 1)) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    BoardInputs& in = board(d).inputs;
    if (in.level[input] == 0 && level == 1) in.edges[input]++;
    in.level[input] = level;
    return FG_OK;
}

int moveEncoder(QORdevice* q, int input, int steps) {
    Device* d = deviceOf(q);
    if (d == nullptr || !validInput(input) || steps == INT32_MIN) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    BoardInputs& in = board(d).inputs;
    (steps >= 0 ? in.forward[input] : in.backward[input]) += std::abs(steps);
    const int64_t position = in.forward[input] - in.backward[input];
    in.highest[input] = std::max(in.highest[input], position);
    in.lowest[input] = std::min(in.lowest[input], position);
    return FG_OK;
}

int acquisitionStatus(QORdevice* q, int port, SimAcquisitionStatus* out) {
    Device* d = deviceOf(q);
    if (d == nullptr || port < 0 || port >= kNrOfDmas || out == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::memset(out, 0, sizeof *out);
    std::lock_guard<std::mutex> lk(d->m);
    if (Param* o = portParam(d, port, "Overflow_OverflowOccurred")) out->overflow = static_cast<uint32_t>(o->u);
    if (Param* f = portParam(d, port, "Buffer_0_DRAM_A_0_FillLevel")) out->fillLevel = static_cast<uint32_t>(f->u);
    Channel& ch = channel(d, port);
    std::lock_guard<std::mutex> cl(ch.m);
    out->running = ch.engine ? ch.alive : d->acq.running[port];
    out->engine = ch.engine;
    out->lastPicture = ch.engine ? ch.last : d->frames[port];
    out->taken = ch.taken;
    out->lost = ch.lost;
    out->images = ch.images;
    return FG_OK;
}

uint64_t eventCount(QORdevice* q, uint64_t mask) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    for (int i = 0; i < 64; ++i)
        if (mask == (uint64_t{1} << i)) return board(d).events[i];
    return 0;
}

}  // namespace sim

}  // namespace simhost
