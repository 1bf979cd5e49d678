// Typed accesses that sit in acquisition loops allocate nothing: not in the
// applet, not in the runtime's routing, not in the simulated runtime (whose
// write log keeps its capacity). Counted through replacements of the global
// allocation functions, which the shared libraries' calls resolve to as well.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include "board_fixture.h"

namespace {
std::atomic<long> g_allocations{0};
}

// The sanitizers bring allocation functions of their own; the count is taken
// in the plain builds.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORV_COUNT_ALLOCATIONS 0
#else
#define ORV_COUNT_ALLOCATIONS 1

void* operator new(std::size_t n) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) { return operator new(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
#endif

using namespace orvtest;

namespace {

struct Access {
    const char* what;
    int id;
    bool write;
    bool isDouble;
    double a, b;  // a write alternates between the two
};

const Access kAccesses[] = {
    {"software trigger write", FG_SENDSOFTWARETRIGGER, true, false, 1, 1},
    {"line exposure write", FG_LINEEXPOSURE, true, true, 10.0, 20.0},
    {"line exposure read", FG_LINEEXPOSURE, false, true, 0, 0},
    {"width write", FG_WIDTH, true, false, 1024, 2048},
    {"width read", FG_WIDTH, false, false, 0, 0},
    {"gamma write", FG_PROCESSING_GAMMA, true, true, 1.0, 2.2},
    {"simulator mode write", FG_CAMERASIMULATOR_SELECT_MODE, true, false, 1, 2},
    {"constant read", FG_APPLET_VERSION, false, false, 0, 0},
    {"host-level read", FG_NR_OF_DMAS, false, false, 0, 0},
};

int access(Board& b, const Access& a, int round, int port) {
    const double v = round % 2 ? a.b : a.a;
    if (a.isDouble) {
        double d = v;
        return a.write ? b.setD(a.id, d, port) : b.getD(a.id, &d, port);
    }
    uint32_t u = static_cast<uint32_t>(v);
    return a.write ? b.set(a.id, u, port) : b.get(a.id, &u, port);
}

TEST(NoAllocation, HotTypedAccessesOfBothPorts) {
    if (!ORV_COUNT_ALLOCATIONS) GTEST_SKIP() << "allocations are counted in the plain builds";
    Board b;
    ASSERT_TRUE(b.ok());
    for (const Access& a : kAccesses) {
        SCOPED_TRACE(a.what);
        for (int port = 0; port < 2; ++port) {
            // The same rounds once to warm up (first-use initialisation, the
            // log's capacity), then again counted.
            SimBoard_LogClear(b.dev());
            for (int round = 0; round < 16; ++round) ASSERT_EQ(0, access(b, a, round, port));
            SimBoard_LogClear(b.dev());
            const long before = g_allocations.load();
            for (int round = 0; round < 16; ++round) ASSERT_EQ(0, access(b, a, round, port));
            EXPECT_EQ(before, g_allocations.load()) << "port " << port;
        }
    }
}

}  // namespace
