// Shared set-up of the benchmarks. The applet runs twice in the program:
//  - on the null host (bench/null_host/: a host runtime that does no work,
//    built as "libtalrun5.so" in a directory of its own), in the program's own
//    link namespace: the program loads the null host first, as an application
//    has its host runtime loaded before the runtime loads an applet, and the
//    applet's unchanged dlopen("libtalrun5.so") then finds it by that name;
//  - on the simulated platform, loaded into a link namespace of its own
//    (dlmopen), where "libtalrun5.so" is the simulated runtime and the
//    runtime's application side opens boards with its own copy of the applet.
// Around them: the applet's own exports (taken from its library, so that the
// runtime's routing is not measured), and the floors the ratios are taken
// against: the bare host work (on the null host or on the simulated runtime)
// plus one uncontended lock and unlock of an error-checking mutex, taken
// through the C library the applet under test runs with.
#ifndef ORV_BENCH_SUPPORT_H
#define ORV_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <pthread.h>
#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fg_applet.h"
#include "fg_platform.h"
#include "sim_board.h"

namespace orvbench {

struct AppletExports {
    decltype(&::Fg_setParameterWithType) set = nullptr;
    decltype(&::Fg_getParameterWithType) get = nullptr;
    decltype(&::Std_entry) std_entry = nullptr;
    decltype(&::Fg_FreeGrabber) free_grabber = nullptr;
    decltype(&::Fg_getParameterInfoXML) xml = nullptr;
    decltype(&::Fg_saveConfig) save = nullptr;
    decltype(&::Fg_loadConfig) load = nullptr;
    decltype(&::Info) info = nullptr;
};

[[noreturn]] inline void fail(const char* what, const char* why) {
    std::fprintf(stderr, "orvindel_bench: %s: %s\n", what, why ? why : "unknown error");
    std::exit(1);
}

template <class F>
F entry(void* lib, const char* name) {
    void* f = lib ? dlsym(lib, name) : nullptr;
    if (!f) fail(name, "entry point missing");
    return reinterpret_cast<F>(f);
}

// The applet's exports in a loaded copy of its library.
inline AppletExports appletExports(void* lib) {
    AppletExports x;
    x.set = entry<decltype(x.set)>(lib, "Fg_setParameterWithType");
    x.get = entry<decltype(x.get)>(lib, "Fg_getParameterWithType");
    x.std_entry = entry<decltype(x.std_entry)>(lib, "Std_entry");
    x.free_grabber = entry<decltype(x.free_grabber)>(lib, "Fg_FreeGrabber");
    x.xml = entry<decltype(x.xml)>(lib, "Fg_getParameterInfoXML");
    x.save = entry<decltype(x.save)>(lib, "Fg_saveConfig");
    x.load = entry<decltype(x.load)>(lib, "Fg_loadConfig");
    x.info = entry<decltype(x.info)>(lib, "Info");
    return x;
}

// The typed entries of a host runtime and the board handle they are called
// with: what a floor calls.
struct HostCalls {
    Fg_Struct* board = nullptr;
    Fg_setParameterWithType_t set = nullptr;
    Fg_getParameterWithType_t get = nullptr;
};

// The mutex calls of one copy of the C library.
struct MutexCalls {
    int (*lock)(pthread_mutex_t*) = pthread_mutex_lock;
    int (*unlock)(pthread_mutex_t*) = pthread_mutex_unlock;
};

// ---- the simulated platform ---------------------------------------------------------

// The entries of the simulated runtime the benchmarks use (application side
// and board control), by their own names.
// clang-format off
#define ORV_SIM_ENTRIES(X)                                                                          \
    X(Fg_InitEx) X(Fg_FreeGrabber) X(Fg_getLastErrorNumber) X(SimBoard_DeviceOf)                    \
    X(SimBoard_AppletLibraryOf) X(SimBoard_HostHandleOf) X(SimBoard_CreateDevice)                   \
    X(SimBoard_DestroyDevice) X(SimBoard_LogCount) X(SimBoard_LogEntry) X(SimBoard_LogClear)        \
    X(SimBoard_HostCallCount) X(SimBoard_SetPacing) X(Fg_AllocRingEx) X(Fg_FreeRingEx)                \
    X(Fg_getFrameFormatEx) X(Fg_AcquireEx) X(Fg_stopAcquireEx) X(Fg_getLastPicNumberBlockingEx)     \
    X(Fg_getStatusEx)
// clang-format on

// The simulated runtime in a link namespace of its own, loaded once, on first
// use: its entries, its typed host entries, and the mutex calls of the C
// library of that namespace (which the applet's copy there locks with). A C
// library loaded into a second namespace cannot know that the process has
// one thread and always takes a mutex's atomic path; the program's own
// library takes the shorter single-thread path while the program has one
// thread. Each floor therefore locks through the library its applet uses.
class SimPlatform {
public:
    static SimPlatform& get() {
        static SimPlatform instance;
        return instance;
    }
#define ORV_SIM_ENTRY_FIELD(name) decltype(&::name) name = nullptr;
    ORV_SIM_ENTRIES(ORV_SIM_ENTRY_FIELD)
#undef ORV_SIM_ENTRY_FIELD
    Fg_setParameterWithType_t hostSet = nullptr;
    Fg_getParameterWithType_t hostGet = nullptr;
    MutexCalls mutex;

private:
    SimPlatform() {
        // Its application side finds the applet next to the design and register runtimes.
        setenv("TERVIK_APPLET_PATH", ORV_APPLET_DIR, 0);
        const std::string path = std::string(ORV_SIM_HOST_DIR) + "/libtalrun5.so";
        void* rt = dlmopen(LM_ID_NEWLM, path.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!rt) fail(path.c_str(), dlerror());
#define ORV_SIM_ENTRY_LOOKUP(name) name = entry<decltype(&::name)>(rt, #name);
        ORV_SIM_ENTRIES(ORV_SIM_ENTRY_LOOKUP)
#undef ORV_SIM_ENTRY_LOOKUP
        hostSet = entry<Fg_setParameterWithType_t>(rt, "Fg_setParameterWithType");
        hostGet = entry<Fg_getParameterWithType_t>(rt, "Fg_getParameterWithType");
        Lmid_t ns = 0;
        if (dlinfo(rt, RTLD_DI_LMID, &ns) != 0) fail(path.c_str(), dlerror());
        void* libc = dlmopen(ns, "libc.so.6", RTLD_NOW | RTLD_LOCAL);
        mutex.lock = entry<decltype(mutex.lock)>(libc, "pthread_mutex_lock");
        mutex.unlock = entry<decltype(mutex.unlock)>(libc, "pthread_mutex_unlock");
    }
};

// A board with the applet on the simulated platform; its exports and the host
// runtime's entries for the floor.
class BenchBoard {
public:
    explicit BenchBoard(int flags = 0) : sim(SimPlatform::get()) {
        fg = sim.Fg_InitEx("Orvindel", 0, flags);
        if (!fg) {
            std::fprintf(stderr, "cannot open a board with the applet (%d)\n", sim.Fg_getLastErrorNumber(nullptr));
            std::exit(1);
        }
        dev = sim.SimBoard_DeviceOf(fg);
        host.board = sim.SimBoard_HostHandleOf(dev);
        host.set = sim.hostSet;
        host.get = sim.hostGet;
        x = appletExports(sim.SimBoard_AppletLibraryOf(fg));
        sim.SimBoard_LogClear(dev);
    }
    ~BenchBoard() { sim.Fg_FreeGrabber(fg); }
    BenchBoard(const BenchBoard&) = delete;
    BenchBoard& operator=(const BenchBoard&) = delete;

    // A write through the applet's export that a benchmark's set-up needs; a
    // failure ends the program (a figure taken without it would be meaningless).
    void setU32(int id, uint32_t v, int port = 0) { check(x.set(fg, id, &v, port, FG_PARAM_TYPE_UINT32_T), id); }

    static void check(int rc, int id) {
        if (rc != 0) {
            std::fprintf(stderr, "parameter %d failed with %d\n", id, rc);
            std::exit(1);
        }
    }

    const SimPlatform& sim;
    Fg_Struct* fg = nullptr;
    QORdevice* dev = nullptr;
    AppletExports x;
    HostCalls host;  // the simulated runtime's typed entries on the host board handle
};

// ---- the null host ----------------------------------------------------------------

// The applet on the null host: the null host loaded from its directory, then
// the applet's library; the applet's Std_entry opens "libtalrun5.so" by name as
// it always does and gets the null host, the library of that name already
// loaded. Loaded once, on first use, and kept for the whole run.
class NullHost {
public:
    static NullHost& get() {
        static NullHost instance;
        return instance;
    }
    AppletExports x;
    HostCalls host;  // the null host's typed entries, on a board handle it ignores

private:
    NullHost() {
        const std::string hostPath = std::string(ORV_NULL_HOST_DIR) + "/libtalrun5.so";
        if (!dlopen(hostPath.c_str(), RTLD_NOW | RTLD_LOCAL)) fail(hostPath.c_str(), dlerror());
        const std::string appletPath = std::string(ORV_APPLET_DIR) + "/libOrvindel.so";
        void* lib = dlopen(appletPath.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!lib) fail(appletPath.c_str(), dlerror());
        x = appletExports(lib);
        // The host runtime the applet's first board opened: the null host, or
        // the library path is wrong and every null-host figure would be false.
        NullBoardHandle probe(x);
        void* rt = dlopen("libtalrun5.so", RTLD_NOW | RTLD_NOLOAD);
        if (!rt || dlsym(rt, "Fg_InitEx") != nullptr) fail("libtalrun5.so", "the applet did not bind the null host");
        host.set = entry<Fg_setParameterWithType_t>(rt, "Fg_setParameterWithType");
        host.get = entry<Fg_getParameterWithType_t>(rt, "Fg_getParameterWithType");
        static Fg_Struct ignored;
        host.board = &ignored;
        dlclose(rt);
    }
    // A board opened and closed again at once.
    struct NullBoardHandle {
        explicit NullBoardHandle(const AppletExports& x) : x_(x) {
            int status = 0;
            fg_.Master = x.std_entry(device(), &status, 1);
            if (!fg_.Master) fail("Std_entry on the null host", std::to_string(status).c_str());
        }
        ~NullBoardHandle() { x_.free_grabber(&fg_); }
        const AppletExports& x_;
        Fg_Struct fg_{};
    };

public:
    // The device handle of a null-host board: only the null host sees it, and it ignores it.
    static QORdevice* device() {
        static char dummy;
        return reinterpret_cast<QORdevice*>(&dummy);
    }
};

// A board opened with the applet on the null host.
class NullBoard {
public:
    explicit NullBoard(int flags = 0) : x(NullHost::get().x) {
        int status = 0;
        fg.Master = x.std_entry(NullHost::device(), &status, flags);
        if (!fg.Master) fail("Std_entry on the null host", std::to_string(status).c_str());
    }
    ~NullBoard() { x.free_grabber(&fg); }
    NullBoard(const NullBoard&) = delete;
    NullBoard& operator=(const NullBoard&) = delete;

    void setU32(int id, uint32_t v, int port = 0) {
        BenchBoard::check(x.set(&fg, id, &v, port, FG_PARAM_TYPE_UINT32_T), id);
    }
    static const HostCalls& hostCalls() { return NullHost::get().host; }

    Fg_Struct fg{};
    const AppletExports& x;
};

// The one lock and unlock that every typed access costs at least, through a
// given copy of the C library.
class FloorLock {
public:
    explicit FloorLock(MutexCalls calls = MutexCalls()) : calls_(calls) {
        pthread_mutexattr_t a;
        pthread_mutexattr_init(&a);
        pthread_mutexattr_settype(&a, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&m_, &a);
        pthread_mutexattr_destroy(&a);
    }
    ~FloorLock() { pthread_mutex_destroy(&m_); }
    FloorLock(const FloorLock&) = delete;
    FloorLock& operator=(const FloorLock&) = delete;
    void lock() { calls_.lock(&m_); }
    void unlock() { calls_.unlock(&m_); }

private:
    MutexCalls calls_;
    pthread_mutex_t m_;
};

// The simulated runtime logs every design write and keeps the log until it is
// cleared. A loop clears it every `every` calls so that memory stays flat
// (calls that log whole tables clear it more often); export and floor loops
// pay the same share of it.
class LogTrim {
public:
    explicit LogTrim(QORdevice* dev, unsigned every = 256) : dev_(dev), every_(every) {}
    void tick() {
        if (++n_ >= every_) {
            n_ = 0;
            SimPlatform::get().SimBoard_LogClear(dev_);
        }
    }

private:
    QORdevice* dev_;
    unsigned every_;
    unsigned n_ = 0;
};

// One design write as the host runtime saw it, ready to be made again
// directly on the host board handle.
struct HostWrite {
    int id = 0;
    unsigned dma = 0;
    FgParamTypes type = FG_PARAM_TYPE_INVALID;
    const void* value = nullptr;  // into the storage below, set once recorded
    uint32_t u32 = 0;
    uint64_t u64 = 0;
    double d = 0;
    std::string text;
    FieldParameterInt element{};
    FieldParameterAccess access{};
    std::vector<uint32_t> elements;
};

// The host work that one applet call causes: its design writes, and the
// reads it makes besides. The runtime logs writes only, so a read is made
// again as a read of a 32-bit design parameter the call wrote: the runtime's
// read costs the same for every 32-bit parameter, and the applet's own reads
// are of 32-bit parameters.
struct HostWork {
    HostWork() = default;
    // Each write's value points into the write itself: a HostWork is moved
    // (its writes stay where they are), never copied.
    HostWork(HostWork&&) = default;
    HostWork& operator=(HostWork&&) = default;
    HostWork(const HostWork&) = delete;
    HostWork& operator=(const HostWork&) = delete;

    std::vector<HostWrite> writes;
    int reads = 0;
    int readId = 0;  // 0: no 32-bit write to read back
    unsigned readDma = 0;
    // False when the call read from the host but wrote no 32-bit parameter
    // whose read could stand for its reads.
    bool complete() const { return reads == 0 || readId != 0; }
};

// Runs `call` once and records the design writes it made on the board's
// host, from the runtime's write log.
template <class Call>
HostWork captureHostWork(BenchBoard& b, Call&& call) {
    const SimPlatform& sim = b.sim;
    sim.SimBoard_LogClear(b.dev);
    const int before = sim.SimBoard_HostCallCount(b.dev);
    call();
    HostWork work;
    const int hostCalls = sim.SimBoard_HostCallCount(b.dev) - before;
    const int n = sim.SimBoard_LogCount(b.dev);
    work.reads = hostCalls - n;
    work.writes.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        SimLogEntry e;
        HostWrite& w = work.writes[static_cast<size_t>(i)];
        if (sim.SimBoard_LogEntry(b.dev, i, &e) != 0) continue;
        w.id = e.id;
        w.dma = e.dma;
        w.type = e.type;
        switch (e.type) {
        case FG_PARAM_TYPE_UINT32_T:
        case FG_PARAM_TYPE_INT32_T:
            w.u32 = static_cast<uint32_t>(e.u);
            w.value = &w.u32;
            if (work.readId == 0 && e.type == FG_PARAM_TYPE_UINT32_T) {
                work.readId = e.id;
                work.readDma = e.dma;
            }
            break;
        case FG_PARAM_TYPE_DOUBLE:
            w.d = e.d;
            w.value = &w.d;
            break;
        case FG_PARAM_TYPE_CHAR_PTR:
            w.text = e.text ? e.text : "";
            w.value = w.text.c_str();
            break;
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT:
            w.element.value = static_cast<uint32_t>(e.u);
            w.element.index = e.fieldIndex;
            w.value = &w.element;
            break;
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS:
            // The applet's tables are fields of 32-bit unsigned elements.
            w.elements.assign(e.fieldValues, e.fieldValues + e.fieldCount);
            w.access.vtype = FG_PARAM_TYPE_UINT32_T;
            w.access.index = e.fieldIndex;
            w.access.count = e.fieldCount;
            w.access.p_uint32_t = w.elements.data();
            w.value = &w.access;
            break;
        default:
            w.u64 = e.u;
            w.value = &w.u64;
            break;
        }
    }
    sim.SimBoard_LogClear(b.dev);
    return work;
}

// Makes the recorded host work again, directly on a host's board handle.
inline void replay(const HostCalls& h, const HostWork& work) {
    for (const HostWrite& w : work.writes) h.set(h.board, w.id, w.value, w.dma, w.type);
    for (int i = 0; i < work.reads; ++i) {
        uint32_t v;
        h.get(h.board, work.readId, &v, work.readDma, FG_PARAM_TYPE_UINT32_T);
    }
}

// ---- paired measurement -------------------------------------------------------------

// The CPU time of the calling thread, as a clock: for blocks long enough that
// on a loaded machine most of them would be preempted (an opening takes
// hundreds of microseconds), so that time spent waiting for a processor is
// not counted. Reading it is a system call, too slow for short blocks.
struct ThreadCpuClock {
    typedef std::chrono::nanoseconds duration;
    typedef std::chrono::time_point<ThreadCpuClock> time_point;
    static time_point now() {
        timespec t;
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
        return time_point(duration(static_cast<int64_t>(t.tv_sec) * 1000000000 + t.tv_nsec));
    }
};

// Measures two calls against each other at the same moments: timed blocks of
// `block` calls of each alternate (the subject first in even iterations, the
// reference first in odd ones), and each side's figure is the median of its
// blocks' per-call times. A slow phase of a loaded machine falls on both
// sides alike, and a block hit by an interrupt or a preemption is an outlier
// that does not move the median. Reported as counters: subject_ns,
// reference_ns and ratio (subject / reference). Blocks are timed by the wall
// clock unless another clock is named.
template <class Clock = std::chrono::steady_clock, class Subject, class Reference>
void measurePaired(benchmark::State& state, int block, Subject&& subject, Reference&& reference) {
    std::vector<double> s, r;
    bool subjectFirst = true;
    for (auto _ : state) {
        for (int side = 0; side < 2; ++side) {
            const bool runSubject = (side == 0) == subjectFirst;
            const typename Clock::time_point t0 = Clock::now();
            if (runSubject)
                for (int k = 0; k < block; ++k) subject();
            else
                for (int k = 0; k < block; ++k) reference();
            const double ns = std::chrono::duration<double, std::nano>(Clock::now() - t0).count() / block;
            (runSubject ? s : r).push_back(ns);
        }
        subjectFirst = !subjectFirst;
    }
    if (s.empty() || r.empty()) return;
    auto median = [](std::vector<double>& v) {
        std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2), v.end());
        return v[v.size() / 2];
    };
    const double ms = median(s), mr = median(r);
    state.counters["subject_ns"] = ms;
    state.counters["reference_ns"] = mr;
    state.counters["ratio"] = ms / mr;
}

// ---- the summary table ------------------------------------------------------------

// A pair of benchmarks whose medians the summary sets side by side, and the
// paired benchmark (measurePaired) that measures the same two calls at the
// same moments; the goal is judged on the paired ratio.
//  - kNullFloor, kFloor: the applet's cost against its floor on the null host
//    and on the simulated runtime; ratio = subject / reference, the goal (if
//    any) an upper bound of the ratio.
//  - kPeer: the applet against the peer doing the same job; ratio =
//    reference / subject (how many times faster), the goal (if any) a lower bound.
//  - kMemcpy: the acquisition engine's generation against the memcpy of the
//    same bytes; ratio = subject / reference, the goal an upper bound.
//  - kPaced: a paced acquisition's delivered frame period against the
//    programmed one; the goal the largest relative deviation (0.01: 1 %).
struct Comparison {
    enum Kind { kNullFloor, kFloor, kPeer, kMemcpy, kPaced };
    std::string label;
    std::string subject;
    std::string reference;
    std::string paired;
    Kind kind;
    double goal;  // 0: no goal
};

inline std::vector<Comparison>& comparisons() {
    static std::vector<Comparison> list;
    return list;
}

struct RegisterComparison {
    RegisterComparison(const char* label, const char* subject, const char* reference, const char* paired,
                       Comparison::Kind kind, double goal) {
        comparisons().push_back(Comparison{label, subject, reference, paired, kind, goal});
    }
};

}  // namespace orvbench

#define ORV_CAT2(a, b) a##b
#define ORV_CAT(a, b) ORV_CAT2(a, b)
// ORV_COMPARE_NULL_FLOOR / ORV_COMPARE_FLOOR("label", BM_subject, BM_floor, BM_paired or "",
// largest ratio or 0): against the floor on the null host / on the simulated runtime
#define ORV_COMPARE_NULL_FLOOR(label, subject, reference, paired, goal)                \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __COUNTER__)( \
        label, #subject, #reference, #paired, ::orvbench::Comparison::kNullFloor, goal)
#define ORV_COMPARE_FLOOR(label, subject, reference, paired, goal)                     \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __COUNTER__)( \
        label, #subject, #reference, #paired, ::orvbench::Comparison::kFloor, goal)
// ORV_COMPARE_PEER("label", BM_applet, BM_peer, BM_paired or "", smallest speed-up or 0)
#define ORV_COMPARE_PEER(label, subject, reference, paired, goal)                      \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __COUNTER__)( \
        label, #subject, #reference, #paired, ::orvbench::Comparison::kPeer, goal)

// ORV_COMPARE_MEMCPY("label", BM_paired, largest ratio): subject and reference of one paired benchmark.
#define ORV_COMPARE_MEMCPY(label, paired, goal)                                        \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __COUNTER__)( \
        label, "", "", #paired, ::orvbench::Comparison::kMemcpy, goal)
// ORV_COMPARE_PACED("label", BM_paced, largest relative deviation)
#define ORV_COMPARE_PACED(label, bench, goal)                                          \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __COUNTER__)( \
        label, "", "", #bench, ::orvbench::Comparison::kPaced, goal)

#endif
