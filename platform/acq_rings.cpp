// The acquisition engine's rings (see acq_engine.h): the frame buffers an
// application allocates and frees, and its reads of them (a buffer, a
// picture, a copy of a picture), checked against what the producer writes.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

#include "acq_internal.h"

namespace simhost {

namespace {
// The largest buffer, ring and number of buffers an application may allocate.
constexpr size_t kMaxBufferSize = size_t(1) << 30;
constexpr uint64_t kMaxRingBytes = sizeof(void*) == 8 ? (uint64_t(1) << 32) : (uint64_t(1) << 30);
constexpr frameindex_t kMaxBuffers = 65536;
}  // namespace

Ring::~Ring() {
    magic = 0;
    for (uint8_t* b : buffers) std::free(b);
}

AcqBoard::~AcqBoard() {
    for (Ring* r : rings) delete r;
}

dma_mem* ringAlloc(Device* d, size_t size, frameindex_t count, int* error) {
    if (size == 0 || size > kMaxBufferSize || count < 1 || count > kMaxBuffers ||
        uint64_t(size) * uint64_t(count) > kMaxRingBytes) {
        *error = FG_ERR_INVALID_PARAMETER;
        return nullptr;
    }
    std::unique_ptr<Ring> r(new (std::nothrow) Ring);
    if (!r) {
        *error = FG_ERR_BUFFER_TOO_SMALL;
        return nullptr;
    }
    try {
        r->size = size;
        r->picture.assign(static_cast<size_t>(count), 0);
        r->bufferLocks.reset(new std::mutex[static_cast<size_t>(count)]);
        const size_t rounded = (size + 63) / 64 * 64;
        for (frameindex_t i = 0; i < count; ++i) {
            void* b = std::aligned_alloc(64, rounded);
            if (b == nullptr) throw std::bad_alloc();
            r->buffers.push_back(static_cast<uint8_t*>(b));
            std::memset(b, 0, rounded);
        }
        std::lock_guard<std::mutex> lk(d->m);
        board(d).rings.push_back(r.get());
    } catch (...) {
        *error = FG_ERR_BUFFER_TOO_SMALL;
        return nullptr;
    }
    return reinterpret_cast<dma_mem*>(r.release());
}

int ringFree(Device* d, dma_mem* mem) {
    std::lock_guard<std::mutex> lk(d->m);
    Ring* r = findRing(d, mem);
    if (r == nullptr) return FG_ERR_INVALID_PARAMETER;
    if (r->channel >= 0) {
        Channel& ch = channel(d, r->channel);
        std::lock_guard<std::mutex> cl(ch.m);
        if (ch.alive) return SIM_ERR_BUSY;
        ch.ring = nullptr;
    }
    std::vector<Ring*>& rings = board(d).rings;
    rings.erase(std::find(rings.begin(), rings.end(), r));
    delete r;
    return FG_OK;
}

void* ringBuffer(Device* d, dma_mem* mem, frameindex_t index) {
    std::lock_guard<std::mutex> lk(d->m);
    Ring* r = findRing(d, mem);
    if (r == nullptr || index < 0 || static_cast<size_t>(index) >= r->buffers.size()) return nullptr;
    return r->buffers[static_cast<size_t>(index)];
}

void* ringPicture(Device* d, dma_mem* mem, int dma, frameindex_t picNr) {
    if (dma < 0 || dma >= kNrOfDmas) return nullptr;
    std::lock_guard<std::mutex> lk(d->m);
    Ring* r = findRing(d, mem);
    if (r == nullptr) return nullptr;
    Channel& ch = channel(d, dma);
    std::lock_guard<std::mutex> cl(ch.m);
    if (ch.ring != r) return nullptr;
    const int b = heldIndex(r, picNr);
    if (b < 0) return nullptr;
    ch.taken = std::max(ch.taken, picNr);
    return r->buffers[static_cast<size_t>(b)];
}

frameindex_t ringCopy(Device* d, dma_mem* mem, int dma, frameindex_t picNr, void* dst, size_t size) {
    if (dma < 0 || dma >= kNrOfDmas || dst == nullptr) return FG_ERR_INVALID_PARAMETER;
    // The newest picture may be overwritten between choosing it and locking its
    // buffer; then the newest one is chosen again (a bounded number of times).
    const int attempts = picNr <= 0 ? 1000 : 1;
    for (int attempt = 0;; ++attempt) {
        Ring* r;
        int b;
        frameindex_t p;
        size_t bytes;
        {
            std::lock_guard<std::mutex> lk(d->m);
            r = findRing(d, mem);
            if (r == nullptr) return FG_ERR_INVALID_PARAMETER;
            Channel& ch = channel(d, dma);
            std::lock_guard<std::mutex> cl(ch.m);
            if (ch.ring != r) return FG_ERR_INVALID_PARAMETER;
            p = picNr <= 0 ? ch.last : picNr;
            b = heldIndex(r, p);
            if (b < 0) return FG_ERR_INVALID_PARAMETER;
            bytes = std::min<size_t>(static_cast<size_t>(ch.format.frameBytes()), r->size);
            if (size < bytes) return FG_ERR_BUFFER_TOO_SMALL;
        }
        // The buffer lock keeps the producer out; the picture is checked again
        // under it (the producer marks a buffer before it writes it). The ring
        // cannot go away meanwhile: it is freed only while no acquisition runs,
        // and the application must not free it while it copies from it.
        std::mutex& bufferLock = r->bufferLocks[static_cast<size_t>(b)];
        Channel& ch = channel(d, dma);
        bool overwritten = false;
        for (;;) {
            const bool locked = bufferLock.try_lock();
            {
                std::lock_guard<std::mutex> cl(ch.m);
                if (heldIndex(r, p) != b) {
                    if (locked) bufferLock.unlock();
                    overwritten = true;
                    break;
                }
                if (locked) ch.taken = std::max(ch.taken, p);
            }
            if (locked) break;
            std::this_thread::yield();
        }
        if (overwritten) {
            if (attempt + 1 < attempts) continue;
            return FG_ERR_INVALID_PARAMETER;
        }
        std::lock_guard<std::mutex> bl(bufferLock, std::adopt_lock);
        std::memcpy(dst, r->buffers[static_cast<size_t>(b)], bytes);
        return p;
    }
}

}  // namespace simhost
