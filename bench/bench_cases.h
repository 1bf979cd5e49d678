// The cases the benchmarks measure, shared by the benchmark files: typed
// writes and reads through the applet's export with their floors, and
// opening and closing a board.
#ifndef ORV_BENCH_CASES_H
#define ORV_BENCH_CASES_H

#include <memory>

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

// Which host a benchmark's applet board runs on, and its floor is taken on.
enum class Host { kSimulated, kNull };

// The mutex calls of the C library the applet on `host` runs with.
inline MutexCalls mutexOf(Host host) { return host == Host::kNull ? MutexCalls() : SimPlatform::get().mutex; }

// A board prepared for one write case: the write through the export and its
// floor, each alternating between the two values. The host work of each value
// is recorded on the simulated board (its runtime logs every write); on the
// null host the floor makes the same calls, which the null host answers at
// once. (The cases here make the same host calls whatever the host answers to
// reads.)
class WriteBench {
public:
    WriteBench(const WriteCase& c, Host host)
        : c_(c), board_(1), trim_(board_.dev, c.processingLut ? 8 : 256), lock_(mutexOf(host)), calls_(board_.host) {
        if (host == Host::kNull) {
            null_.reset(new NullBoard(1));
            calls_ = NullBoard::hostCalls();
            fg_ = &null_->fg;
            set_ = null_->x.set;
        } else {
            fg_ = board_.fg;
            set_ = board_.x.set;
        }
        if (c.processingLut) {
            board_.setU32(FG_LUT_TYPE, 3);
            if (null_) null_->setU32(FG_LUT_TYPE, 3);
        }
        values_[0] = c.a;
        values_[1] = c.b;
        words_[0] = static_cast<uint32_t>(c.a);
        words_[1] = static_cast<uint32_t>(c.b);
        // Each value's design writes, recorded from the state the other value left.
        write(board_.fg, board_.x.set, 1);
        work_[0] = captureHostWork(board_, [&] { write(board_.fg, board_.x.set, 0); });
        work_[1] = captureHostWork(board_, [&] { write(board_.fg, board_.x.set, 1); });
        floorComplete_ = work_[0].complete() && work_[1].complete();
        if (null_) write(fg_, set_, 1);
        logs_ = !null_;
    }

    // NULL when the floor is complete; else why not.
    const char* floorProblem() const {
        return floorComplete_ ? nullptr : "the write reads from the host but writes no 32-bit parameter to read back";
    }
    size_t hostWrites() const { return work_[0].writes.size(); }
    int hostReads() const { return work_[0].reads; }

    // One write through the applet's export; false when it failed.
    bool exportWrite() {
        const int rc = write(fg_, set_, next_++ & 1u);
        if (logs_) trim_.tick();
        return rc == 0;
    }
    // The floor of one write: the same host calls, under one lock.
    void floorWrite() {
        lock_.lock();
        replay(calls_, work_[nextFloor_++ & 1u]);
        lock_.unlock();
        if (logs_) trim_.tick();
    }

private:
    int write(Fg_Struct* fg, decltype(AppletExports::set) set, unsigned k) {
        if (c_.isDouble) return set(fg, c_.id, &values_[k], 0, FG_PARAM_TYPE_DOUBLE);
        return set(fg, c_.id, &words_[k], 0, FG_PARAM_TYPE_UINT32_T);
    }

    const WriteCase c_;
    BenchBoard board_;
    std::unique_ptr<NullBoard> null_;
    LogTrim trim_;
    FloorLock lock_;
    HostCalls calls_;
    Fg_Struct* fg_ = nullptr;
    decltype(AppletExports::set) set_ = nullptr;
    bool logs_ = true;  // the simulated runtime logs the writes, the null host does not
    double values_[2];
    uint32_t words_[2];
    HostWork work_[2];
    bool floorComplete_ = false;
    unsigned next_ = 0;
    unsigned nextFloor_ = 0;
};

// A read of a value the applet keeps; its floor is the lock and the copy.
// Whether the read calls the host is checked on the simulated board.
class ReadBench {
public:
    ReadBench(int id, bool isDouble, bool processingLut, Host host)
        : id_(id), isDouble_(isDouble), board_(1), lock_(mutexOf(host)) {
        if (host == Host::kNull) null_.reset(new NullBoard(1));
        if (processingLut) {
            board_.setU32(FG_LUT_TYPE, 3);
            if (null_) null_->setU32(FG_LUT_TYPE, 3);
        }
        fg_ = null_ ? &null_->fg : board_.fg;
        get_ = null_ ? null_->x.get : board_.x.get;
        hostCalls_ = board_.sim.SimBoard_HostCallCount(board_.dev);
        read(board_.fg, board_.x.get);
        calledHost_ = board_.sim.SimBoard_HostCallCount(board_.dev) != hostCalls_;
    }
    bool exportRead() { return read(fg_, get_); }
    void floorRead() {
        lock_.lock();
        u_ = kept_;
        lock_.unlock();
        benchmark::DoNotOptimize(u_);
    }
    // The lock alone is the floor only if the read does not call the host.
    bool calledHost() const { return calledHost_ || board_.sim.SimBoard_HostCallCount(board_.dev) != hostCalls_; }

private:
    bool read(Fg_Struct* fg, decltype(AppletExports::get) get) {
        int rc;
        if (isDouble_) {
            rc = get(fg, id_, &d_, 0, FG_PARAM_TYPE_DOUBLE);
            benchmark::DoNotOptimize(d_);
        } else {
            rc = get(fg, id_, &u_, 0, FG_PARAM_TYPE_UINT32_T);
            benchmark::DoNotOptimize(u_);
        }
        return rc == 0;
    }

    int id_;
    bool isDouble_;
    BenchBoard board_;
    std::unique_ptr<NullBoard> null_;
    Fg_Struct* fg_ = nullptr;
    decltype(AppletExports::get) get_ = nullptr;
    FloorLock lock_;
    int hostCalls_ = 0;
    bool calledHost_ = false;
    uint32_t u_ = 0;
    double d_ = 0;
    volatile uint32_t kept_ = 1024;
};

// Std_entry + Fg_FreeGrabber through the applet's exports. On the simulated
// platform each time on a fresh simulated device (the host runtime keeps a
// design table per board initialisation of a device, as a real board keeps
// its state); on the null host on the device handle only it sees.
class OpenClose {
public:
    OpenClose(int flags, Host host) : flags_(flags), null_(host == Host::kNull) {
        if (null_) NullHost::get();
    }
    bool once() {
        const SimPlatform& sim = loaded_.sim;
        const AppletExports& x = null_ ? NullHost::get().x : loaded_.x;
        QORdevice* dev = null_ ? NullHost::device() : sim.SimBoard_CreateDevice(7);
        int status = 0;
        Fg_Struct fg;
        fg.Master = x.std_entry(dev, &status, flags_);
        const bool ok = fg.Master != nullptr;
        if (ok) x.free_grabber(&fg);
        if (!null_) sim.SimBoard_DestroyDevice(dev);
        return ok;
    }

private:
    int flags_;
    bool null_;
    BenchBoard loaded_{1};  // keeps the simulated platform's applet and runtimes loaded
};

}  // namespace orvbench

#endif
