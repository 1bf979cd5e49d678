// What the acquisition engine's files share (see acq_engine.h): the engine
// state of a device and its channels, the rings an application holds, a
// port's design parameters by their per-port name. Kept inline: the
// producer's loop and the copy-out take them on every picture.
#ifndef ACQ_INTERNAL_H
#define ACQ_INTERNAL_H

#include <chrono>
#include <cstdio>

#include "host_params.h"

namespace simhost {

using Clock = std::chrono::steady_clock;

inline AcqBoard& board(Device* d) { return *d->acqEngine; }
inline Channel& channel(Device* d, int dma) { return d->acqEngine->ch[dma]; }

// The ring behind an application's handle, if it is one of the device's (device lock held).
inline Ring* findRing(Device* d, dma_mem* mem) {
    if (mem == nullptr) return nullptr;
    for (Ring* r : board(d).rings)
        if (reinterpret_cast<dma_mem*>(r) == mem) return r;
    return nullptr;
}

// The full name of the port's design parameter or event `rest`.
template <size_t N>
void portName(char (&out)[N], int port, const char* rest) {
    std::snprintf(out, N, "Device1_Process%d_%s", port, rest);
}

// The design parameter `rest` of the port (device lock held).
inline Param* portParam(Device* d, int port, const char* rest) {
    char name[160];
    portName(name, port, rest);
    return paramByName(d, name);
}

// The ring index of picture p, if the ring still holds it (channel lock held).
inline int heldIndex(const Ring* r, frameindex_t p) {
    if (p <= 0) return -1;
    const size_t b = static_cast<size_t>(p - 1) % r->buffers.size();
    return r->picture[b] == p ? static_cast<int>(b) : -1;
}

// Runs the producer of channel `dma` (acq_producer.cpp) until the acquisition
// ends or is stopped; throws when it finds no memory for its lines.
void runProducer(Device* d, int dma);

}  // namespace simhost

#endif  // ACQ_INTERNAL_H
