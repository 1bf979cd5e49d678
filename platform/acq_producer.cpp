// The acquisition engine's producer (see acq_engine.h): one thread per
// running DMA channel that follows the port's line source, trigger block and
// image selector, computes every line through the frame model's stages
// (acq_stages.h) and publishes each picture in the ring, paced in real time
// or as fast as it can.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "acq_internal.h"

namespace simhost {

namespace {

// How often a producer waiting for pulses, a gate or a rate looks again.
constexpr auto kPoll = std::chrono::milliseconds(1);
// Lines a producer takes per look at the design (changes apply from the next look).
constexpr uint32_t kLineBatch = 1024;

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

// Counts the design's event `rest` of the port (device lock held).
void fireEvent(Device* d, int port, const char* rest) {
    char name[160];
    portName(name, port, rest);
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = d->design ? HapGetEvent(d->design, i) : nullptr;
        if (ev != nullptr && std::strcmp(name, ev->name) == 0) board(d).events[i]++;
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
                        for (uint64_t k = 1; k < waiting; ++k) fireEvent(d_, port_, "Trigger_ImageTriggerLost");
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
                    fireEvent(d_, port_, "Overflow_Overflow");
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

}  // namespace

void runProducer(Device* d, int dma) { Producer(d, dma).run(); }

}  // namespace simhost
