// The acquisition engine of the simulated board: frame-buffer rings, one
// producer thread per running DMA channel that computes every image from the
// port's design values (acq_stages.h), picture numbers, blocking waits,
// overwrite and loss accounting, the design's overflow flag, fill levels and
// events, and the simulated trigger inputs, shaft encoders and cameras.
//
// Its files: acq_producer.cpp (the producer thread and its pacing),
// acq_rings.cpp (the rings and the application's reads of them),
// acq_channel.cpp (start, stop, waits, status queries, frame format),
// acq_control.cpp (the simulated board's controls); acq_internal.h is what
// they share.
//
// Locks, always taken in this order: the device lock (Device::m), then a
// channel's lock. A buffer's lock is taken before the device lock or a
// channel lock, never while holding one. The producer holds no lock while it
// sleeps; stop and free join it without the device lock.
#ifndef ACQ_ENGINE_H
#define ACQ_ENGINE_H

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "acq_stages.h"
#include "fg_types.h"
#include "sim_board.h"

namespace simhost {

struct Device;
struct HostBoard;

constexpr uint32_t kRingMagic = 0x474e4952u;  // "RING"
constexpr int kTriggerInputs = 8;

// A ring of frame buffers (the dma_mem handle an application gets).
struct Ring {
    uint32_t magic = kRingMagic;
    size_t size = 0;
    std::vector<uint8_t*> buffers;
    std::vector<frameindex_t> picture;          // picture held by each buffer (0: none); channel lock
    std::unique_ptr<std::mutex[]> bufferLocks;  // held while a buffer is written or copied out
    int channel = -1;                           // the DMA channel acquiring into it; device lock
    ~Ring();
};

// The simulated inputs of the board, shared by both ports (device lock).
struct BoardInputs {
    uint64_t edges[kTriggerInputs] = {};
    int level[kTriggerInputs] = {};
    // Shaft encoder on each input: forward and backward steps, and the
    // highest and lowest position reached.
    int64_t forward[kTriggerInputs] = {}, backward[kTriggerInputs] = {};
    int64_t highest[kTriggerInputs] = {}, lowest[kTriggerInputs] = {};
};

// Lines of one image line already in the buffer's format, by the pattern's
// line key (pattern lines repeat: the key says which).
class LineCache {
public:
    static constexpr size_t kBytes = size_t(16) << 20;
    void reset(size_t lineBytes, uint32_t keys) {
        lineBytes_ = lineBytes;
        slots_ =
            static_cast<uint32_t>(std::min<size_t>(keys, std::max<size_t>(1, kBytes / std::max<size_t>(lineBytes, 1))));
        key_.assign(slots_, UINT32_MAX);
        data_.resize(size_t(slots_) * lineBytes);
    }
    // The cached line of `key`, or NULL; `fill` then receives the slot to fill.
    const uint8_t* find(uint32_t key, uint8_t** fill) {
        const uint32_t s = key % slots_;
        uint8_t* slot = data_.data() + size_t(s) * lineBytes_;
        if (key_[s] == key) return slot;
        key_[s] = key;
        *fill = slot;
        return nullptr;
    }

private:
    size_t lineBytes_ = 0;
    uint32_t slots_ = 1;
    std::vector<uint32_t> key_;
    std::vector<uint8_t> data_;
};

struct Channel {
    std::mutex m;  // guards the fields below up to `th`
    std::condition_variable cv;
    bool engine = false;  // the last acquisition ran with a ring (else the counter model)
    bool alive = false;   // a producer runs
    bool stop = false;
    Ring* ring = nullptr;
    frameindex_t picCount = 0;
    frameindex_t last = 0;   // newest complete picture
    frameindex_t taken = 0;  // highest picture the application asked for
    uint64_t lost = 0;
    uint64_t images = 0;                 // images cut by the trigger block (delivered or not)
    Programmed format;                   // region and output format of the running acquisition
    BoardInputs inputsAtStart;           // the board's inputs and
    uint64_t softwarePulsesAtStart = 0;  // the port's software trigger pulses when it started
    // The producer's pattern lines, kept for the next acquisition while the
    // design is unchanged (only the channel's one producer touches them).
    LineCache lines;
    uint64_t linesVersion = UINT64_MAX;
    std::mutex joinM;  // serialises starting and joining the thread
    std::thread th;
};

struct AcqBoard {
    Channel ch[2];
    int pacing = SIM_PACE_REALTIME;  // device lock
    BoardInputs inputs;              // device lock
    std::vector<Ring*> rings;        // device lock
    // Image files of each port's camera; replaced whole, never changed in place.
    std::shared_ptr<const std::vector<CameraPicture>> camera[2];  // device lock
    uint64_t events[64] = {};                                     // device lock; by the design's event index
    ~AcqBoard();
};

// ---- the host face (each called inside a counted host call) --------------------

// Starts / stops the engine on a channel; `mem` NULL keeps the counter model.
int acqStart(Device* d, int dma, frameindex_t picCount, dma_mem* mem);
// Marks the channel stopped (device lock held); the caller joins afterwards.
void acqRequestStop(Device* d, int dma);
void acqJoin(Device* d, int dma);
// Stops and joins every producer of the device (device lock not held).
void acqShutdown(Device* d);

bool acqEngineChannel(Device* d, int dma);
frameindex_t acqLastPicture(Device* d, int dma);
// Waits without the device lock; SIM_ERR_TIMEOUT when picture `picNr` did
// not come within `timeout` seconds or the acquisition ended before it.
frameindex_t acqWait(Device* d, int dma, frameindex_t picNr, int timeout);
frameindex_t acqStatus(Device* d, int dma, int param, frameindex_t data);

// ---- application side ----------------------------------------------------------

dma_mem* ringAlloc(Device* d, size_t size, frameindex_t count, int* error);
int ringFree(Device* d, dma_mem* mem);
void* ringBuffer(Device* d, dma_mem* mem, frameindex_t index);
void* ringPicture(Device* d, dma_mem* mem, int dma, frameindex_t picNr);
frameindex_t ringCopy(Device* d, dma_mem* mem, int dma, frameindex_t picNr, void* dst, size_t size);
int frameFormat(Device* d, int dma, FgFrameFormat* out);

// ---- control -------------------------------------------------------------------

namespace sim {
int setPacing(QORdevice* q, int mode);
int addCameraImage(QORdevice* q, int port, const char* path);
int clearCameraImages(QORdevice* q, int port);
int pulseTriggerInput(QORdevice* q, int input, int count);
int setTriggerInputLevel(QORdevice* q, int input, int level);
int moveEncoder(QORdevice* q, int input, int steps);
int acquisitionStatus(QORdevice* q, int port, SimAcquisitionStatus* out);
uint64_t eventCount(QORdevice* q, uint64_t mask);
}  // namespace sim

}  // namespace simhost

#endif  // ACQ_ENGINE_H
