// Lifecycle soak: hundreds of board openings and closings in every switch
// variant, through the runtime and by calling Std_entry / Fg_FreeGrabber
// directly, also with a failing host initialisation. Open descriptors and
// (outside the sanitizer builds) the heap in use must not grow; LeakSanitizer
// checks the ASan run. ORV_SOAK_CYCLES sets the cycles per case.
#include <dirent.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>

#include "board_fixture.h"

using namespace orvtest;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORV_SANITIZED_HEAP 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORV_SANITIZED_HEAP 1
#endif
#endif

namespace {

int cycles(int normal) {
    const char* v = std::getenv("ORV_SOAK_CYCLES");
    return v && std::atoi(v) > 0 ? std::atoi(v) : normal;
}

// Open file descriptors of the process.
int openDescriptors() {
    int n = 0;
    DIR* d = opendir("/proc/self/fd");
    if (d == nullptr) return -1;
    while (dirent* e = readdir(d))
        if (e->d_name[0] != '.') ++n;
    closedir(d);
    return n - 1;  // the directory stream itself
}

// Heap bytes in use (0 where a sanitizer owns the heap or under valgrind,
// whose allocator glibc's statistics do not see).
size_t heapInUse() {
#ifdef ORV_SANITIZED_HEAP
    return 0;
#else
    struct mallinfo2 mi = mallinfo2();
    return mi.uordblks;
#endif
}

// Every combination of: no default values (bit 0), DRA (bit 1), DQORA (bit 2).
struct Variant {
    int flags;
    bool dra, dqora;
    std::string describe() const {
        return std::string(flags ? "no defaults" : "defaults") + (dra ? ", DRA" : "") + (dqora ? ", DQORA" : "");
    }
};

// What one cycle does with an open board: a write, a read, the description
// of a port and, with DRA, a register read, so that the allocations of those
// paths are part of the soak.
void exercise(Board& b, const Variant& v) {
    EXPECT_EQ(0, b.set(FG_WIDTH, 2048, 1));
    EXPECT_EQ(2048u, b.u32(FG_WIDTH, 1));
    size_t size = 0;
    EXPECT_EQ(0, Fg_getParameterInfoXML(b.fg(), 0, nullptr, &size));
    EXPECT_GT(size, 1000u);
    if (v.dra) {
        int registers = 0;
        for (int i = 0; i < Fg_getNrOfParameter(b.fg()) && registers < 3; ++i) {
            const char* name = Fg_getParameterName(b.fg(), i);
            if (name == nullptr || std::strncmp(name, "DRA_", 4) != 0) continue;
            uint64_t value = 0;
            const int id = Fg_getParameterId(b.fg(), i);
            EXPECT_EQ(0, Fg_getParameterWithType(b.fg(), id, &value, 0, FG_PARAM_TYPE_UINT64_T)) << name;
            ++registers;
        }
        EXPECT_EQ(3, registers) << "direct register access publishes the registers";
    }
}

struct Usage {
    int fds = openDescriptors();
    size_t heap = heapInUse();
};

void expectNoGrowth(const Usage& before, const Usage& after, int n, const std::string& what) {
    EXPECT_EQ(before.fds, after.fds) << what << ": open file descriptors after " << n << " cycles";
    // glibc counts the chunks parked in its per-thread caches as in use; the
    // test runs with those caches off (GLIBC_TUNABLES, see reliability.cmake)
    // and then allows only allocator bookkeeping. One applet object is more
    // than 100 KiB, so a leak of one per cycle shows either way.
    const char* tunables = std::getenv("GLIBC_TUNABLES");
    const bool noThreadCache = tunables != nullptr && std::strstr(tunables, "tcache_count=0") != nullptr;
    const size_t slack = noThreadCache ? 4096 : 65536;
    EXPECT_LE(after.heap, before.heap + slack) << what << ": heap in use after " << n << " cycles";
}

}  // namespace

// Through the runtime's application side (Fg_InitEx loads the applet library
// and calls Std_entry; Fg_FreeGrabber releases everything).
TEST(Soak, OpenCloseThroughTheRuntimeInEveryVariant) {
    const int n = cycles(60);
    for (int bits = 0; bits < 8; ++bits) {
        const Variant v{bits & 1, (bits & 2) != 0, (bits & 4) != 0};
        SCOPED_TRACE(v.describe());
        ScopedEnv dra("TERVIK_ENABLE_DRA", v.dra ? "yes" : ""), dqora("TERVIK_ENABLE_DQORA", v.dqora ? "yes" : "");
        for (int warm = 0; warm < 2; ++warm) {
            Board b(v.flags);
            ASSERT_TRUE(b.ok());
            exercise(b, v);
        }
        const Usage before;
        for (int i = 0; i < n; ++i) {
            Board b(v.flags);
            ASSERT_TRUE(b.ok()) << "cycle " << i;
            exercise(b, v);
            if (HasFailure()) return;
        }
        expectNoGrowth(before, Usage(), n, v.describe());
    }
}

// Std_entry and Fg_FreeGrabber called directly, as the host does, on a device
// made for each opening (the simulated device keeps every design table it was
// initialised with until it is destroyed), including start-ups that fail in
// the host's initialisation and must release what they had acquired.
TEST(Soak, StdEntryAndFreeGrabberDirectlyAlsoWhenInitialisationFails) {
    AppletLibrary lib;
    ASSERT_TRUE(lib.ok());
    auto cycle = [&](int flags, bool failInit) {
        DirectBoard d(lib);
        ASSERT_TRUE(d.ok());
        SimBoard_FailInit(d.dev, failInit ? -777 : 0);
        EXPECT_EQ(failInit, d.open(flags) == nullptr);
        EXPECT_EQ(failInit ? -777 : 0, d.status);
        EXPECT_EQ(0, d.fg.Master ? d.freeGrabber(&d.fg) : 0);
        EXPECT_EQ(nullptr, d.fg.Master);
    };

    const int n = cycles(60);
    for (int flags = 0; flags < 2; ++flags) {
        for (int failInit = 0; failInit < 2; ++failInit) {
            SCOPED_TRACE(std::string(flags ? "no defaults" : "defaults") + (failInit ? ", failing init" : ""));
            for (int warm = 0; warm < 2; ++warm) cycle(flags, failInit != 0);
            const Usage before;
            for (int i = 0; i < n && !HasFailure(); ++i) cycle(flags, failInit != 0);
            expectNoGrowth(before, Usage(), n, "direct");
        }
    }
}
