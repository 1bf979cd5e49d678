// Start-up against host runtimes that are missing or incomplete. The same
// program runs once per runtime variant (see foundation.cmake); the variant's
// name comes in ORV_HOST_VARIANT.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <string>

#include "board_fixture.h"

using namespace orvtest;

namespace {

std::string variant() {
    const char* v = std::getenv("ORV_HOST_VARIANT");
    return v ? v : "";
}

// Any non-NULL hardware handle: these runtimes never look at it.
QORdevice* const kSomeDevice = reinterpret_cast<QORdevice*>(0x1000);

int startupStatus(AppletLibrary& lib, Fg_Master** master) {
    auto std_entry = lib.fn<decltype(&::Std_entry)>("Std_entry");
    int err = 12345;
    *master = std_entry(kSomeDevice, &err, 1);
    return err;
}

}  // namespace

TEST(StartupFailure, StatusMatchesTheRuntime) {
    AppletLibrary lib;
    ASSERT_TRUE(lib.ok()) << dlerror();
    Fg_Master* m = nullptr;
    int status = startupStatus(lib, &m);
    // The start-up status per runtime variant: no runtime or one without its
    // initialisation (-2031), one whose initialisation gives no board (its
    // last error -1234, or -100 when it has none), one with only that (0).
    const std::map<std::string, int> expected = {
        {"none", -2031}, {"noinit", -2031}, {"nullinit", -1234}, {"nullinit_noerr", -100}, {"initonly", 0}};
    const auto e = expected.find(variant());
    ASSERT_NE(expected.end(), e) << "unknown variant '" << variant() << "'";
    EXPECT_EQ(e->second, status);
    ASSERT_EQ(e->second != 0, m == nullptr);
    if (m == nullptr) return;
    Fg_Struct fg{m};
    auto acquire = lib.fn<decltype(&::Fg_AcquireEx)>("Fg_AcquireEx");
    auto last_error = lib.fn<decltype(&::Fg_getLastErrorNumber)>("Fg_getLastErrorNumber");
    auto info = lib.fn<decltype(&::Fg_getParameterInfo)>("Fg_getParameterInfo");
    auto set = lib.fn<decltype(&::Fg_setParameterWithType)>("Fg_setParameterWithType");
    auto free_grabber = lib.fn<decltype(&::Fg_FreeGrabber)>("Fg_FreeGrabber");
    // Entries the runtime lacks answer -12 and store it.
    EXPECT_EQ(-12, acquire(&fg, 0, 1, 0, nullptr));
    EXPECT_EQ(-12, last_error(&fg));
    EXPECT_EQ(nullptr, info(&fg, 0));
    // Parameter writes reach no host entry: the host's -12 comes back.
    uint32_t width = 1024;
    EXPECT_EQ(-12, set(&fg, FG_WIDTH, &width, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, free_grabber(&fg));
    EXPECT_EQ(nullptr, fg.Master);
}
