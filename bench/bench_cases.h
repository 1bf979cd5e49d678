// The cases the benchmarks measure, shared by the benchmark files: typed
// writes and reads through the applet's export with their floors, and
// opening and closing a board.
#ifndef ORV_BENCH_CASES_H
#define ORV_BENCH_CASES_H

#include "bench_support.h"
#include "sdk_ids.h"

namespace orvbench {

// Calls per timed block of a paired measurement of fast calls.
const int kPairedBlock = 512;

// A write of one parameter on port 0 with two alternating values.
struct WriteCase {
    int id;
    bool isDouble;
    double a, b;
    bool processingLut;  // the processing parameters recompute the table only in processing mode
};

inline const WriteCase kSoftwareTrigger{FG_SENDSOFTWARETRIGGER, false, 1, 1, false};
inline const WriteCase kLineExposure{FG_LINEEXPOSURE, true, 10.0, 20.0, false};
inline const WriteCase kWidth{FG_WIDTH, false, 1024, 2048, false};
inline const WriteCase kGamma{FG_PROCESSING_GAMMA, true, 1.0, 2.2, true};
inline const WriteCase kSelectMode{FG_CAMERASIMULATOR_SELECT_MODE, false, 1, 2, false};

// A board prepared for one write case: the write through the export and its
// floor, each alternating between the two values.
class WriteBench {
public:
    explicit WriteBench(const WriteCase& c) : c_(c), board_(1), trim_(board_.dev, c.processingLut ? 8 : 256) {
        if (c.processingLut) board_.setU32(FG_LUT_TYPE, 3);
        values_[0] = c.a;
        values_[1] = c.b;
        words_[0] = static_cast<uint32_t>(c.a);
        words_[1] = static_cast<uint32_t>(c.b);
        // Each value's design writes, recorded from the state the other value left.
        write(1);
        work_[0] = captureHostWork(board_, [&] { write(0); });
        work_[1] = captureHostWork(board_, [&] { write(1); });
        floorComplete_ = work_[0].complete() && work_[1].complete();
    }

    // NULL when the floor is complete; else why not.
    const char* floorProblem() const {
        return floorComplete_ ? nullptr : "the write reads from the host but writes no 32-bit parameter to read back";
    }
    size_t hostWrites() const { return work_[0].writes.size(); }
    int hostReads() const { return work_[0].reads; }

    // One write through the applet's export; false when it failed.
    bool exportWrite() {
        const int rc = write(next_++ & 1u);
        trim_.tick();
        return rc == 0;
    }
    // The floor of one write: the same design writes, under one lock.
    void floorWrite() {
        lock_.lock();
        replay(board_, work_[nextFloor_++ & 1u]);
        lock_.unlock();
        trim_.tick();
    }

private:
    int write(unsigned k) {
        if (c_.isDouble) return board_.x.set(board_.fg, c_.id, &values_[k], 0, FG_PARAM_TYPE_DOUBLE);
        return board_.x.set(board_.fg, c_.id, &words_[k], 0, FG_PARAM_TYPE_UINT32_T);
    }

    const WriteCase c_;
    BenchBoard board_;
    LogTrim trim_;
    FloorLock lock_;
    double values_[2];
    uint32_t words_[2];
    HostWork work_[2];
    bool floorComplete_ = false;
    unsigned next_ = 0;
    unsigned nextFloor_ = 0;
};

// A read of a value the applet keeps; its floor is the lock and the copy.
class ReadBench {
public:
    ReadBench(int id, bool isDouble, bool processingLut) : id_(id), isDouble_(isDouble), board_(1) {
        if (processingLut) board_.setU32(FG_LUT_TYPE, 3);
        hostCalls_ = SimBoard_HostCallCount(board_.dev);
    }
    bool exportRead() {
        int rc;
        if (isDouble_) {
            rc = board_.x.get(board_.fg, id_, &d_, 0, FG_PARAM_TYPE_DOUBLE);
            benchmark::DoNotOptimize(d_);
        } else {
            rc = board_.x.get(board_.fg, id_, &u_, 0, FG_PARAM_TYPE_UINT32_T);
            benchmark::DoNotOptimize(u_);
        }
        return rc == 0;
    }
    void floorRead() {
        lock_.lock();
        u_ = kept_;
        lock_.unlock();
        benchmark::DoNotOptimize(u_);
    }
    // The lock alone is the floor only if the read did not call the host.
    bool calledHost() const { return SimBoard_HostCallCount(board_.dev) != hostCalls_; }

private:
    int id_;
    bool isDouble_;
    BenchBoard board_;
    FloorLock lock_;
    int hostCalls_ = 0;
    uint32_t u_ = 0;
    double d_ = 0;
    volatile uint32_t kept_ = 1024;
};

// Std_entry + Fg_FreeGrabber through the applet's exports, on a fresh
// simulated device each time (the host runtime keeps a design table per board
// initialisation of a device, as a real board keeps its state).
class OpenClose {
public:
    explicit OpenClose(int flags) : flags_(flags) {}
    bool once() {
        QORdevice* dev = SimBoard_CreateDevice(7);
        int status = 0;
        Fg_Struct fg;
        fg.Master = loaded_.x.std_entry(dev, &status, flags_);
        const bool ok = fg.Master != nullptr;
        if (ok) loaded_.x.free_grabber(&fg);
        SimBoard_DestroyDevice(dev);
        return ok;
    }

private:
    int flags_;
    BenchBoard loaded_{1};  // keeps the applet and the runtimes loaded
};

}  // namespace orvbench

#endif
