// The acquisition engine's channels (see acq_engine.h): starting and stopping
// a DMA channel's producer, the waits for a picture, the status queries and
// the frame format of a port.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <thread>

#include "acq_internal.h"

namespace simhost {

namespace {

// The frame format of a port's programmed values (device lock held).
void fillFormat(const Programmed& p, FgFrameFormat* out) {
    std::memset(out, 0, sizeof *out);
    out->width = p.width;
    out->height = p.height;
    out->bitsPerPixel = p.bitsPerPixel();
    out->bytesPerPixel = p.bytesPerPixel();
    out->leftAligned = p.formatSelect == 1 ? 0 : p.leftAligned;
    out->frameBytes = p.frameBytes();
}

}  // namespace

int frameFormat(Device* d, int dma, FgFrameFormat* out) {
    if (dma < 0 || dma >= kNrOfDmas || out == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Channel& ch = channel(d, dma);
    {
        std::lock_guard<std::mutex> cl(ch.m);
        if (ch.alive) {
            fillFormat(ch.format, out);
            return FG_OK;
        }
    }
    Programmed p;
    readProgrammed(d, dma, p);
    fillFormat(p, out);
    return FG_OK;
}

// ---- host face -------------------------------------------------------------------

int acqStart(Device* d, int dma, frameindex_t picCount, dma_mem* mem) {
    Channel& ch = channel(d, dma);
    Ring* r = nullptr;
    if (mem != nullptr) {
        r = findRing(d, mem);
        if (r == nullptr) return FG_ERR_INVALID_PARAMETER;
        if (r->channel >= 0 && r->channel != dma) {
            Channel& other = channel(d, r->channel);
            std::lock_guard<std::mutex> ol(other.m);
            if (other.alive) return SIM_ERR_BUSY;
        }
    }
    Programmed format;
    if (r != nullptr) {
        readProgrammed(d, dma, format);
        if (format.frameBytes() == 0 || format.frameBytes() > r->size) return FG_ERR_BUFFER_TOO_SMALL;
    }
    // Busy while a producer runs. One that cleared `alive` only returns: the
    // join below is quick, whoever holds joinM (a stop joins without the
    // device lock, so it never waits for this thread).
    {
        std::lock_guard<std::mutex> cl(ch.m);
        if (ch.alive) return SIM_ERR_BUSY;
    }
    std::lock_guard<std::mutex> jl(ch.joinM);
    if (ch.th.joinable()) ch.th.join();
    d->acq.running[dma] = 1;
    d->frames[dma] = 0;
    d->picCount[dma] = picCount > 0 ? picCount : 0;
    d->transferLen[dma] = 0;
    {
        std::lock_guard<std::mutex> cl(ch.m);
        ch.engine = r != nullptr;
        ch.ring = r;
        ch.picCount = picCount > 0 ? picCount : 0;
        ch.last = ch.taken = 0;
        ch.lost = ch.images = 0;
        ch.stop = false;
        ch.format = format;
        ch.inputsAtStart = board(d).inputs;
        Param* pulse = portParam(d, dma, "Trigger_Trigger_SoftwareTrgPulse");
        ch.softwarePulsesAtStart = pulse ? pulse->writes : 0;
    }
    if (r == nullptr) return FG_OK;
    r->channel = dma;
    std::fill(r->picture.begin(), r->picture.end(), 0);
    for (const char* name : {"Overflow_OverflowOccurred", "Buffer_0_DRAM_A_0_FillLevel", "Buffer_0_DRAM_A_1_FillLevel"})
        if (Param* p = portParam(d, dma, name)) p->u = 0;
    try {
        {
            std::lock_guard<std::mutex> cl(ch.m);
            ch.alive = true;
        }
        ch.th = std::thread([d, dma] {
            try {
                runProducer(d, dma);
            } catch (...) {
                // Out of memory for its lines: the acquisition ends.
                {
                    std::lock_guard<std::mutex> lk(d->m);
                    d->acq.running[dma] = 0;
                }
                Channel& c = channel(d, dma);
                std::lock_guard<std::mutex> cl(c.m);
                c.alive = false;
                c.cv.notify_all();
            }
        });
    } catch (...) {
        std::lock_guard<std::mutex> cl(ch.m);
        ch.alive = false;
        d->acq.running[dma] = 0;
        return FG_ERR_BUFFER_TOO_SMALL;
    }
    return FG_OK;
}

void acqRequestStop(Device* d, int dma) {
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> cl(ch.m);
    ch.stop = true;
    ch.cv.notify_all();
}

void acqJoin(Device* d, int dma) {
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> jl(ch.joinM);
    if (ch.th.joinable()) ch.th.join();
}

void acqShutdown(Device* d) {
    for (int dma = 0; dma < kNrOfDmas; ++dma) {
        acqRequestStop(d, dma);
        acqJoin(d, dma);
    }
}

bool acqEngineChannel(Device* d, int dma) {
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> cl(ch.m);
    return ch.engine;
}

frameindex_t acqLastPicture(Device* d, int dma) {
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> cl(ch.m);
    return ch.last;
}

frameindex_t acqWait(Device* d, int dma, frameindex_t picNr, int timeout) {
    Channel& ch = channel(d, dma);
    const auto until = Clock::now() + std::chrono::seconds(std::max(timeout, 0));
    std::unique_lock<std::mutex> lk(ch.m);
    ch.cv.wait_until(lk, until, [&] { return ch.last >= picNr || !ch.alive; });
    if (ch.last < picNr) return SIM_ERR_TIMEOUT;
    ch.taken = std::max(ch.taken, picNr);
    return ch.last;
}

frameindex_t acqStatus(Device* d, int dma, int param, frameindex_t data) {
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> cl(ch.m);
    switch (param) {
    case SIM_STATUS_LAST_PICTURE: return ch.engine ? ch.last : d->frames[dma];
    case SIM_STATUS_LOST: return static_cast<frameindex_t>(std::min<uint64_t>(ch.lost, INT32_MAX));
    case SIM_STATUS_RUNNING: return ch.engine ? (ch.alive ? 1 : 0) : d->acq.running[dma];
    case SIM_STATUS_BUFFER_OF: {
        const int b = ch.ring ? heldIndex(ch.ring, data) : -1;
        return b >= 0 ? b : FG_ERR_INVALID_PARAMETER;
    }
    case SIM_STATUS_PICTURE_IN:
        if (ch.ring == nullptr || data < 0 || static_cast<size_t>(data) >= ch.ring->buffers.size())
            return FG_ERR_INVALID_PARAMETER;
        return ch.ring->picture[static_cast<size_t>(data)];
    case SIM_STATUS_TAKEN: return ch.taken;
    case SIM_STATUS_IMAGES: return static_cast<frameindex_t>(std::min<uint64_t>(ch.images, INT32_MAX));
    default: return FG_ERR_INVALID_PARAMETER;
    }
}

}  // namespace simhost
