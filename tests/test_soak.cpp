// Lifecycle soak: hundreds of board openings and closings, with and without
// the default values, with the direct register access and direct QOR access
// switches, through the application side of the runtime and by calling
// Std_entry / Fg_FreeGrabber directly, also when the host's initialisation
// fails. Open file descriptors and (outside the sanitizer builds) the heap in
// use must not grow; in the AddressSanitizer build LeakSanitizer checks the
// whole run for leaks.
//
// ORV_SOAK_CYCLES overrides the number of cycles per case (the valgrind run
// uses a few).
#include <dirent.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

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

// Sets the debugging switches for the boards opened in its scope.
class Switches {
public:
    Switches(bool dra, bool dqora) {
        set("TERVIK_ENABLE_DRA", dra);
        set("TERVIK_ENABLE_DQORA", dqora);
    }
    ~Switches() {
        unsetenv("TERVIK_ENABLE_DRA");
        unsetenv("TERVIK_ENABLE_DQORA");
    }

private:
    static void set(const char* name, bool on) {
        if (on)
            setenv(name, "yes", 1);
        else
            unsetenv(name);
    }
};

struct Variant {
    int flags;  // bit 0: no default values
    bool dra;
    bool dqora;
    std::string describe() const {
        return std::string(flags & 1 ? "no defaults" : "defaults") + (dra ? ", DRA" : "") + (dqora ? ", DQORA" : "");
    }
};

const Variant kVariants[] = {
    {0, false, false}, {1, false, false}, {0, true, false}, {1, true, false},
    {0, false, true},  {1, false, true},  {0, true, true},  {1, true, true},
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
        const int n = Fg_getNrOfParameter(b.fg());
        int registers = 0;
        for (int i = 0; i < n; ++i) {
            const char* name = Fg_getParameterName(b.fg(), i);
            if (name && std::strncmp(name, "DRA_", 4) == 0) {
                uint64_t value = 0;
                EXPECT_EQ(
                    0, Fg_getParameterWithType(b.fg(), Fg_getParameterId(b.fg(), i), &value, 0, FG_PARAM_TYPE_UINT64_T))
                    << name;
                if (++registers == 3) break;
            }
        }
        EXPECT_EQ(3, registers) << "direct register access publishes the registers";
    }
}

struct Usage {
    int fds;
    size_t heap;
};
Usage usage() { return {openDescriptors(), heapInUse()}; }

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
    for (const Variant& v : kVariants) {
        SCOPED_TRACE(v.describe());
        Switches sw(v.dra, v.dqora);
        for (int warm = 0; warm < 2; ++warm) {
            Board b(v.flags);
            ASSERT_TRUE(b.ok());
            exercise(b, v);
        }
        const Usage before = usage();
        for (int i = 0; i < n; ++i) {
            Board b(v.flags);
            ASSERT_TRUE(b.ok()) << "cycle " << i;
            exercise(b, v);
            if (HasFailure()) return;
        }
        expectNoGrowth(before, usage(), n, v.describe());
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
        if (d.fg.Master) {
            EXPECT_EQ(0, d.freeGrabber(&d.fg));
        }
        EXPECT_EQ(nullptr, d.fg.Master);
    };

    const int n = cycles(60);
    for (int flags = 0; flags < 2; ++flags) {
        for (int failInit = 0; failInit < 2; ++failInit) {
            SCOPED_TRACE(std::string(flags ? "no defaults" : "defaults") + (failInit ? ", failing init" : ""));
            cycle(flags, failInit != 0);
            cycle(flags, failInit != 0);
            const Usage before = usage();
            for (int i = 0; i < n && !HasFailure(); ++i) cycle(flags, failInit != 0);
            expectNoGrowth(before, usage(), n, "direct");
        }
    }
}
