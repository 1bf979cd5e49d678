// The acquisition engine (see acq_engine.h): rings, producers, waits, status.

#include "acq_engine.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host_params.h"

namespace simhost {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMaxBufferSize = size_t(1) << 30;
constexpr uint64_t kMaxRingBytes = sizeof(void*) == 8 ? (uint64_t(1) << 32) : (uint64_t(1) << 30);
constexpr frameindex_t kMaxBuffers = 65536;
// How often a producer waiting for pulses, a gate or a rate looks again.
constexpr auto kPoll = std::chrono::milliseconds(1);
// Lines a producer takes per look at the design (changes apply from the next look).
constexpr uint32_t kLineBatch = 1024;

AcqBoard& board(Device* d) { return *d->acqEngine; }
Channel& channel(Device* d, int dma) { return d->acqEngine->ch[dma]; }

// The ring behind an application's handle, if it is one of the device's (device lock held).
Ring* findRing(Device* d, dma_mem* mem) {
    if (mem == nullptr) return nullptr;
    for (Ring* r : board(d).rings)
        if (reinterpret_cast<dma_mem*>(r) == mem) return r;
    return nullptr;
}

// The board input of a design trigger source (0..3, 5..8); -1 for the
// software source 4 and anything else.
int inputOf(uint32_t source) {
    if (source <= 3) return static_cast<int>(source);
    if (source >= 5 && source <= 8) return static_cast<int>(source) - 1;
    return -1;
}

bool active(const BoardInputs& in, int input, uint32_t polarity) {
    if (input < 0) return false;
    return polarity == 0 ? in.level[input] != 0 : in.level[input] == 0;
}

// The design parameter `rest` of the port (device lock held).
Param* portParam(Device* d, int port, const char* rest) {
    char name[160];
    std::snprintf(name, sizeof name, "Device1_Process%d_%s", port, rest);
    return paramByName(d, name);
}

void fireEvent(Device* d, const std::string& name) {
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = d->design ? HapGetEvent(d->design, i) : nullptr;
        if (ev != nullptr && name == ev->name) board(d).events[i]++;
    }
}

// One producer: the source, the trigger block and the image selector of a
// port, writing into the ring.
class Producer {
public:
    Producer(Device* d, int port) : d_(d), port_(port), ch_(channel(d, port)) {}
    void run();

private:
    enum class Wait { Ready, Stop };

    // Re-reads the design values when they changed (device lock held).
    void refreshLocked();
    void refresh() {
        std::lock_guard<std::mutex> lk(d_->m);
        refreshLocked();
    }
    bool stopRequested() {
        std::lock_guard<std::mutex> lk(ch_.m);
        return ch_.stop;
    }
    // Sleeps until `until` or a stop; Stop when stopped.
    Wait sleepUntil(Clock::time_point until) {
        std::unique_lock<std::mutex> lk(ch_.m);
        return ch_.cv.wait_until(lk, until, [&] { return ch_.stop; }) ? Wait::Stop : Wait::Ready;
    }
    Wait poll() { return sleepUntil(Clock::now() + kPoll); }
    bool unpaced() const { return pacing_ == SIM_PACE_UNPACED; }
    double now() const { return std::chrono::duration<double>(Clock::now() - t0_).count(); }

    // ---- the line source ----
    bool timeDriven() const;
    double linePeriod() const;
    uint64_t pulsesLocked();
    // Waits for the next source line; Stop when stopped.
    Wait nextLine();
    // In paced mode, the lines the source emitted while the producer waited.
    void catchUp();

    // ---- the trigger block ----
    Wait waitImageStart();
    bool gateOpenLocked();
    uint64_t gateOpeningsLocked();

    void writeLine(uint8_t* row, uint64_t line);
    bool deliver(Ring* ring, frameindex_t pic, size_t buffer, uint32_t lines);

    Device* d_;
    int port_;
    Channel& ch_;
    Programmed p_;
    uint64_t version_ = UINT64_MAX;
    int pacing_ = SIM_PACE_REALTIME;
    std::shared_ptr<const std::vector<CameraPicture>> camera_;
    Clock::time_point t0_ = Clock::now();
    double vt_ = 0;            // time the last source line completed, seconds since t0_
    uint64_t line_ = 0;        // next source line
    uint64_t pulsesUsed_ = 0;  // line pulses consumed
    uint32_t ready_ = 0;       // lines granted at the last look at the design
    BoardInputs start_;        // the inputs when acquisition started
    uint64_t softStart_ = 0, triggersUsed_ = 0;
    uint64_t imageNo_ = 0;
    uint64_t gateMark_ = UINT64_MAX;  // gated single images: the openings when the last began
    uint64_t keyLine_ = UINT64_MAX - 1, keyFrame_ = 0;
    uint32_t keyY_ = 0, keyHeight_ = 0;
    std::vector<uint16_t> px_;
};

void Producer::refreshLocked() {
    pacing_ = board(d_).pacing;
    camera_ = board(d_).camera[port_];
    if (d_->designVersion == version_) return;
    version_ = d_->designVersion;
    ready_ = 0;                          // lines granted under the old values are asked for again
    const Programmed keep = ch_.format;  // region and format stay those of the start
    readProgrammed(d_, port_, p_);
    p_.xOffset = keep.xOffset;
    p_.width = keep.width;
    p_.height = keep.height;
    p_.formatSelect = keep.formatSelect;
    p_.leftAligned = keep.leftAligned;
}

bool Producer::timeDriven() const {
    if (p_.simulator && p_.simFreeRun == 1) return true;
    return p_.lineTriggerMode == 0 || p_.lineTriggerMode == 2;
}

double Producer::linePeriod() const {
    if (p_.simulator && p_.simFreeRun == 1) return p_.simLineSeconds();
    return p_.exsyncEnable ? p_.exsyncPeriodUs * 1e-6 : 0.0;
}

// Line pulses of the external modes since the start: downscaled edges of
// input A, or encoder steps (device lock held).
uint64_t Producer::pulsesLocked() {
    const BoardInputs& in = board(d_).inputs;
    const int a = inputOf(p_.lineInputA);
    if (a < 0) return 0;
    uint64_t pulses;
    if (p_.encoderMode != 0) {
        const uint64_t factor = p_.encoderMode == 3 ? 4 : p_.encoderMode;
        int64_t steps;
        if (p_.encoderLead == 0)
            steps = p_.encoderCompensation ? in.highest[a] - start_.highest[a] : in.forward[a] - start_.forward[a];
        else
            steps = p_.encoderCompensation ? start_.lowest[a] - in.lowest[a] : in.backward[a] - start_.backward[a];
        pulses = static_cast<uint64_t>(std::max<int64_t>(steps, 0)) * factor;
    } else {
        const uint64_t edges = in.edges[a] - start_.edges[a];
        const uint64_t n = p_.downscale, phase = (p_.downscalePhase + n - 1) % n + 1;
        pulses = edges >= phase ? (edges - phase) / n + 1 : 0;
    }
    // The simulator's valve in frame mode: one generated frame per pulse.
    if (p_.simulator && p_.simValveMode == 2) pulses *= std::max<uint32_t>(p_.simHeight, 1);
    return pulses;
}

Producer::Wait Producer::nextLine() {
    for (;;) {
        if (ready_ > 0) {
            // A line granted under the last look at the design: no lock needed.
            --ready_;
            if (timeDriven()) {
                const double period = linePeriod();
                vt_ += period;
                // the generator's frame gap: dead lines after each frame
                if (p_.simulator && p_.simFreeRun == 1 && p_.simHeight > 0 && (line_ + 1) % p_.simHeight == 0)
                    vt_ += period * (p_.simFrameLines - p_.simHeight);
            } else {
                ++pulsesUsed_;
                vt_ = std::max(vt_, now());
            }
            ++line_;
            return Wait::Ready;
        }
        {
            std::lock_guard<std::mutex> lk(d_->m);
            refreshLocked();
            if (timeDriven()) {
                // Lines come with time; a gated ExSync asks for each line.
                const bool gated = !(p_.simulator && p_.simFreeRun == 1) && p_.lineTriggerMode == 2;
                if (linePeriod() > 0 &&
                    (!gated || active(board(d_).inputs, inputOf(p_.lineInputA), p_.lineInputPolarity)))
                    ready_ = gated ? 1 : kLineBatch;
            } else {
                const bool gated = p_.lineTriggerMode == 3;
                const uint64_t pulses = pulsesLocked();
                if (pulses > pulsesUsed_ &&
                    (!gated || active(board(d_).inputs, inputOf(p_.lineInputB), p_.lineInputPolarity)))
                    ready_ = gated ? 1 : static_cast<uint32_t>(std::min<uint64_t>(pulses - pulsesUsed_, kLineBatch));
                else if (gated)
                    pulsesUsed_ = pulses;  // pulses outside the gate make no line
            }
        }
        if (ready_ > 0) continue;
        if (poll() == Wait::Stop) return Wait::Stop;
        catchUp();
    }
}

void Producer::catchUp() {
    if (unpaced() || !timeDriven()) return;
    const double period = linePeriod(), t = now();
    if (period <= 0 || vt_ >= t) return;
    const double perLine = p_.simulator && p_.simFreeRun == 1 && p_.simHeight > 0
                               ? period * double(p_.simFrameLines) / double(p_.simHeight)
                               : period;
    const uint64_t missed = static_cast<uint64_t>((t - vt_) / perLine);
    line_ += missed;
    vt_ += double(missed) * perLine;
}

// Counts the gate's openings: rising edges of the input, writes of the software gate.
uint64_t Producer::gateOpeningsLocked() {
    if (p_.imgInput == 4) {
        Param* gate = portParam(d_, port_, "Trigger_Trigger_SoftwareTrgInput");
        return gate ? gate->writes : 0;
    }
    const int in = inputOf(p_.imgInput);
    return in >= 0 ? board(d_).inputs.edges[in] : 0;
}

bool Producer::gateOpenLocked() {
    if (p_.imgInput == 4) return p_.softwareGate == 1;
    return active(board(d_).inputs, inputOf(p_.imgInput), p_.imgInputPolarity);
}

Producer::Wait Producer::waitImageStart() {
    for (bool waited = false;; waited = true) {
        if (waited) catchUp();  // the source ran on while the trigger block waited
        {
            std::lock_guard<std::mutex> lk(d_->m);
            refreshLocked();
            if (p_.imgTriggerMode == 0) return Wait::Ready;
            if (p_.imgTriggerMode == 2) {
                // A single gated image per opening: the next one waits for another.
                const uint64_t openings = gateOpeningsLocked();
                if (gateOpenLocked() && (gateMark_ == UINT64_MAX || openings > gateMark_)) {
                    if (p_.maxGatedHeight == 0) gateMark_ = openings;
                    return Wait::Ready;
                }
            } else {
                uint64_t triggers = 0;
                if (p_.imgTriggerEnable) {
                    if (p_.imgInput == 4) {
                        Param* pulse = portParam(d_, port_, "Trigger_Trigger_SoftwareTrgPulse");
                        triggers = pulse ? pulse->writes - softStart_ : 0;
                    } else if (inputOf(p_.imgInput) >= 0) {
                        const int in = inputOf(p_.imgInput);
                        triggers = board(d_).inputs.edges[in] - start_.edges[in];
                    }
                }
                if (triggers > triggersUsed_) {
                    // Paced: triggers that came while the last image was cut are lost.
                    const uint64_t waiting = triggers - triggersUsed_;
                    if (!unpaced() && waiting > 1) {
                        for (uint64_t k = 1; k < waiting; ++k)
                            fireEvent(d_, "Device1_Process" + std::to_string(port_) + "_Trigger_ImageTriggerLost");
                        triggersUsed_ = triggers;
                    } else {
                        ++triggersUsed_;
                    }
                    return Wait::Ready;
                }
            }
        }
        if (poll() == Wait::Stop) return Wait::Stop;
    }
}

void Producer::writeLine(uint8_t* row, uint64_t line) {
    const uint32_t w = p_.width;
    if (p_.simulator) {
        // The channel keeps its lines from one acquisition to the next while
        // the design stays as it was.
        LineCache& cache = ch_.lines;
        if (ch_.linesVersion != version_) {
            cache.reset(p_.lineBytes(), 1u << p_.pixelDepth);
            ch_.linesVersion = version_;
        }
        // The generated frame and line of `line`, counted on from the last
        // line instead of divided out (lines mostly follow each other).
        const uint32_t h = std::max<uint32_t>(p_.simHeight, 1);
        if (line != keyLine_ + 1 || h != keyHeight_) {
            keyFrame_ = line / h;
            keyY_ = static_cast<uint32_t>(line % h);
            keyHeight_ = h;
        } else if (++keyY_ == h) {
            keyY_ = 0;
            ++keyFrame_;
        }
        keyLine_ = line;
        uint8_t* slot = nullptr;
        if (const uint8_t* hit = cache.find(patternKeyAt(p_, keyFrame_, keyY_), &slot)) {
            std::memcpy(row, hit, p_.lineBytes());
            return;
        }
        patternLine(p_, line, p_.xOffset, w, px_.data());
        lookupLine(p_, px_.data(), w);
        formatLine(p_, px_.data(), slot);
        std::memcpy(row, slot, p_.lineBytes());
        return;
    }
    static const std::vector<CameraPicture> scene;
    cameraLine(p_, camera_ ? *camera_ : scene, line, p_.xOffset, w, px_.data());
    lookupLine(p_, px_.data(), w);
    formatLine(p_, px_.data(), row);
}

// Publishes picture `pic` in `buffer`; false when the acquisition is done.
bool Producer::deliver(Ring* ring, frameindex_t pic, size_t buffer, uint32_t lines) {
    if (!unpaced()) {
        const auto until = t0_ + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(vt_));
        if (sleepUntil(until) == Wait::Stop) return false;
    } else {
        vt_ = now();  // virtual time follows the clock, for a switch to paced
    }
    const bool last = ch_.picCount > 0 && pic >= ch_.picCount;
    frameindex_t taken;
    {
        std::lock_guard<std::mutex> lk(ch_.m);
        taken = ch_.taken;
    }
    {
        std::lock_guard<std::mutex> lk(d_->m);
        d_->transferLen[port_] = uint64_t(lines) * p_.lineBytes();
        const uint64_t pending = static_cast<uint64_t>(std::max<frameindex_t>(pic - taken, 0));
        const uint64_t fill = std::min<uint64_t>(100, pending * 100 / ring->buffers.size());
        for (const char* level : {"Buffer_0_DRAM_A_0_FillLevel", "Buffer_0_DRAM_A_1_FillLevel"})
            if (Param* f = portParam(d_, port_, level)) f->u = fill;
        if (last) d_->acq.running[port_] = 0;
    }
    std::lock_guard<std::mutex> lk(ch_.m);
    ring->picture[buffer] = pic;
    ch_.last = pic;
    if (last) ch_.alive = false;
    ch_.cv.notify_all();
    return !last && !ch_.stop;
}

void Producer::run() {
    Ring* ring;
    {
        std::lock_guard<std::mutex> lk(d_->m);
        ring = ch_.ring;
        start_ = ch_.inputsAtStart;
        softStart_ = ch_.softwarePulsesAtStart;
        refreshLocked();
    }
    px_.assign(p_.width, 0);
    const size_t count = ring->buffers.size();
    frameindex_t pic = 0;
    bool going = true;
    while (going) {
        if (waitImageStart() == Wait::Stop) break;
        // Lines after the start: y-offset lines skipped, then up to y-length
        // lines (while a gate stays open), in buffers of `height` lines.
        uint32_t skip = p_.yOffset;
        uint64_t left = p_.yLength;
        const bool gated = p_.imgTriggerMode == 2;
        while (going && left > 0) {
            if (stopRequested()) {
                going = false;
                break;
            }
            const bool selected = imageNo_ % p_.selectPeriod == p_.selectPhase % p_.selectPeriod;
            ++imageNo_;
            {
                std::lock_guard<std::mutex> lk(ch_.m);
                ch_.images++;
            }
            size_t buffer = 0;
            uint8_t* dst = nullptr;
            std::unique_lock<std::mutex> bufferLock;
            if (selected) {
                buffer = static_cast<size_t>(pic) % count;  // picture pic + 1
                bool lostOne = false;
                {
                    std::lock_guard<std::mutex> lk(ch_.m);
                    if (ring->picture[buffer] > ch_.taken) {
                        ch_.lost++;
                        lostOne = true;
                    }
                    ring->picture[buffer] = 0;
                }
                if (lostOne) {
                    std::lock_guard<std::mutex> lk(d_->m);
                    if (Param* o = portParam(d_, port_, "Overflow_OverflowOccurred")) o->u = 1;
                    fireEvent(d_, "Device1_Process" + std::to_string(port_) + "_Overflow_Overflow");
                }
                bufferLock = std::unique_lock<std::mutex>(ring->bufferLocks[buffer]);
                dst = ring->buffers[buffer];
            }
            uint32_t rows = 0;
            while (rows < p_.height && left > 0) {
                if (gated) {
                    std::lock_guard<std::mutex> lk(d_->m);
                    refreshLocked();
                    if (!gateOpenLocked()) {
                        left = 0;
                        break;
                    }
                }
                if (nextLine() == Wait::Stop) {
                    going = false;
                    break;
                }
                if (skip > 0) {
                    --skip;
                    continue;
                }
                if (dst) writeLine(dst + size_t(rows) * p_.lineBytes(), line_ - 1);
                ++rows;
                --left;
            }
            if (bufferLock.owns_lock()) bufferLock.unlock();
            if (!going || !selected || rows == 0) continue;
            ++pic;
            going = deliver(ring, pic, buffer, rows);
        }
    }
    {
        std::lock_guard<std::mutex> lk(d_->m);
        d_->acq.running[port_] = 0;
    }
    std::lock_guard<std::mutex> lk(ch_.m);
    ch_.alive = false;
    ch_.cv.notify_all();
}

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

// The ring index of picture p, if the ring still holds it (channel lock held).
int heldIndex(const Ring* r, frameindex_t p) {
    if (p <= 0) return -1;
    const size_t b = static_cast<size_t>(p - 1) % r->buffers.size();
    return r->picture[b] == p ? static_cast<int>(b) : -1;
}

}  // namespace

// ---- rings -----------------------------------------------------------------------

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
                Producer(d, dma).run();
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

// ---- control -------------------------------------------------------------------

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
