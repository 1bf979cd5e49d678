// Shared set-up of the benchmarks: a board opened with the applet on the
// simulated platform, the applet's own exports (taken from its library, so the
// runtime's routing is not measured), and the floor every ratio is taken
// against: the bare simulated-runtime work plus one uncontended lock and
// unlock of an error-checking mutex.
#ifndef ORV_BENCH_SUPPORT_H
#define ORV_BENCH_SUPPORT_H

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <pthread.h>

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

// The runtime finds the applet next to the design and register runtimes
// (the benchmark runs from anywhere, without LD_LIBRARY_PATH).
inline void pointRuntimeAtApplet() {
    if (std::getenv("TERVIK_APPLET_PATH")) return;
    Dl_info info;
    void* hap = dlopen("libtervikhap.so", RTLD_NOW | RTLD_NOLOAD);
    if (hap && dladdr(dlsym(hap, "HapGetEvent"), &info) && info.dli_fname) {
        std::string dir(info.dli_fname);
        setenv("TERVIK_APPLET_PATH", dir.substr(0, dir.rfind('/')).c_str(), 1);
    }
    if (hap) dlclose(hap);
}

// A board with the applet; its exports and the host runtime's entries for the floor.
class BenchBoard {
public:
    explicit BenchBoard(int flags = 0) {
        pointRuntimeAtApplet();
        fg = Fg_InitEx("Orvindel", 0, flags);
        if (!fg) {
            std::fprintf(stderr, "cannot open a board with the applet (%d)\n", Fg_getLastErrorNumber(nullptr));
            std::exit(1);
        }
        dev = SimBoard_DeviceOf(fg);
        host = SimBoard_HostHandleOf(dev);
        void* lib = SimBoard_AppletLibraryOf(fg);
        x.set = reinterpret_cast<decltype(x.set)>(dlsym(lib, "Fg_setParameterWithType"));
        x.get = reinterpret_cast<decltype(x.get)>(dlsym(lib, "Fg_getParameterWithType"));
        x.std_entry = reinterpret_cast<decltype(x.std_entry)>(dlsym(lib, "Std_entry"));
        x.free_grabber = reinterpret_cast<decltype(x.free_grabber)>(dlsym(lib, "Fg_FreeGrabber"));
        x.xml = reinterpret_cast<decltype(x.xml)>(dlsym(lib, "Fg_getParameterInfoXML"));
        x.save = reinterpret_cast<decltype(x.save)>(dlsym(lib, "Fg_saveConfig"));
        x.load = reinterpret_cast<decltype(x.load)>(dlsym(lib, "Fg_loadConfig"));
        x.info = reinterpret_cast<decltype(x.info)>(dlsym(lib, "Info"));
        void* rt = dlopen("libtalrun5.so", RTLD_NOW | RTLD_NOLOAD);
        hostSet = reinterpret_cast<Fg_setParameterWithType_t>(dlsym(rt, "Fg_setParameterWithType"));
        hostGet = reinterpret_cast<Fg_getParameterWithType_t>(dlsym(rt, "Fg_getParameterWithType"));
        if (rt) dlclose(rt);
        SimBoard_LogClear(dev);
    }
    ~BenchBoard() { Fg_FreeGrabber(fg); }
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

    Fg_Struct* fg = nullptr;
    QORdevice* dev = nullptr;
    Fg_Struct* host = nullptr;
    AppletExports x;
    Fg_setParameterWithType_t hostSet = nullptr;
    Fg_getParameterWithType_t hostGet = nullptr;
};

// The one lock and unlock that every typed access costs at least.
class FloorLock {
public:
    FloorLock() {
        pthread_mutexattr_t a;
        pthread_mutexattr_init(&a);
        pthread_mutexattr_settype(&a, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&m_, &a);
        pthread_mutexattr_destroy(&a);
    }
    ~FloorLock() { pthread_mutex_destroy(&m_); }
    FloorLock(const FloorLock&) = delete;
    FloorLock& operator=(const FloorLock&) = delete;
    void lock() { pthread_mutex_lock(&m_); }
    void unlock() { pthread_mutex_unlock(&m_); }

private:
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
            SimBoard_LogClear(dev_);
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
    SimBoard_LogClear(b.dev);
    const int before = SimBoard_HostCallCount(b.dev);
    call();
    HostWork work;
    const int hostCalls = SimBoard_HostCallCount(b.dev) - before;
    const int n = SimBoard_LogCount(b.dev);
    work.reads = hostCalls - n;
    work.writes.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        SimLogEntry e;
        HostWrite& w = work.writes[static_cast<size_t>(i)];
        if (SimBoard_LogEntry(b.dev, i, &e) != 0) continue;
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
    SimBoard_LogClear(b.dev);
    return work;
}

// Makes the recorded host work again, directly on the host board handle.
inline void replay(const BenchBoard& b, const HostWork& work) {
    for (const HostWrite& w : work.writes) b.hostSet(b.host, w.id, w.value, w.dma, w.type);
    for (int i = 0; i < work.reads; ++i) {
        uint32_t v;
        b.hostGet(b.host, work.readId, &v, work.readDma, FG_PARAM_TYPE_UINT32_T);
    }
}

// ---- paired measurement -------------------------------------------------------------

// Measures two calls against each other at the same moments: timed blocks of
// `block` calls of each alternate (the subject first in even iterations, the
// reference first in odd ones), and each side's figure is the median of its
// blocks' per-call times. A slow phase of a loaded machine falls on both
// sides alike, and a block hit by an interrupt or a preemption is an outlier
// that does not move the median. Reported as counters: subject_ns,
// reference_ns and ratio (subject / reference).
template <class Subject, class Reference>
void measurePaired(benchmark::State& state, int block, Subject&& subject, Reference&& reference) {
    typedef std::chrono::steady_clock Clock;
    std::vector<double> s, r;
    bool subjectFirst = true;
    for (auto _ : state) {
        for (int side = 0; side < 2; ++side) {
            const bool runSubject = (side == 0) == subjectFirst;
            const Clock::time_point t0 = Clock::now();
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
//  - kFloor: the applet's cost against its floor; ratio = subject / reference,
//    the goal (if any) an upper bound of the ratio.
//  - kPeer: the applet against the peer doing the same job; ratio =
//    reference / subject (how many times faster), the goal (if any) a lower bound.
//  - kMemcpy: the acquisition engine's generation against the memcpy of the
//    same bytes; ratio = subject / reference, the goal an upper bound.
//  - kPaced: a paced acquisition's delivered frame period against the
//    programmed one; the goal the largest relative deviation (0.01: 1 %).
struct Comparison {
    enum Kind { kFloor, kPeer, kMemcpy, kPaced };
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
// ORV_COMPARE_FLOOR("label", BM_subject, BM_floor, BM_paired or "", largest ratio or 0)
#define ORV_COMPARE_FLOOR(label, subject, reference, paired, goal)                          \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __LINE__)(         \
        label, #subject, #reference, #paired, ::orvbench::Comparison::kFloor, goal)
// ORV_COMPARE_PEER("label", BM_applet, BM_peer, BM_paired or "", smallest speed-up or 0)
#define ORV_COMPARE_PEER(label, subject, reference, paired, goal)                           \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __LINE__)(         \
        label, #subject, #reference, #paired, ::orvbench::Comparison::kPeer, goal)

// ORV_COMPARE_MEMCPY("label", BM_paired, largest ratio): subject and reference of one paired benchmark.
#define ORV_COMPARE_MEMCPY(label, paired, goal)                                             \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __LINE__)(         \
        label, "", "", #paired, ::orvbench::Comparison::kMemcpy, goal)
// ORV_COMPARE_PACED("label", BM_paced, largest relative deviation)
#define ORV_COMPARE_PACED(label, bench, goal)                                               \
    static const ::orvbench::RegisterComparison ORV_CAT(orv_comparison_, __LINE__)(         \
        label, "", "", #bench, ::orvbench::Comparison::kPaced, goal)

#endif
