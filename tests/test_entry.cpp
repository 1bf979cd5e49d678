// Start-up, tear-down and the applet library's exports themselves.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "board_fixture.h"

using namespace orvtest;

namespace {

// The applet's own exports, taken from its library (the test process also has
// the host runtime's same-named application entry points).
// clang-format off
#define APPLET_EXPORTS(X)                                                                                   \
    X(std_entry, Std_entry) X(free_grabber, Fg_FreeGrabber) X(last_error, Fg_getLastErrorNumber)            \
    X(set, Fg_setParameterWithType) X(get, Fg_getParameterWithType) X(acquire, Fg_AcquireEx)                \
    X(stop, Fg_stopAcquireEx) X(last_pic, Fg_getLastPicNumberEx)                                            \
    X(last_pic_blocking, Fg_getLastPicNumberBlockingEx) X(status, Fg_getStatusEx)                           \
    X(applet_id, Fg_getAppletId) X(nr_params, Fg_getNrOfParameter) X(param_name, Fg_getParameterName)       \
    X(param_id, Fg_getParameterId) X(id_by_name, Fg_getParameterIdByName) X(info, Fg_getParameterInfo)      \
    X(info_xml, Fg_getParameterInfoXML) X(save, Fg_saveConfig) X(load, Fg_loadConfig)                       \
    X(event_mask, Fg_getEventMask) X(event_name, Fg_getEventName) X(alloc_shading, Fg_AllocShading)         \
    X(free_shading, Fg_FreeShading) X(shad_sub, Shad_SetSubValueLine) X(shad_mult, Shad_SetMultValueLine)   \
    X(shad_fpn, Shad_SetFixedPatternNoiseLine) X(shad_max, Shad_GetMaxLine) X(shad_get, Shad_GetAccess)     \
    X(shad_free, Shad_FreeAccess) X(shad_write, Shad_WriteActLine)
// clang-format on

struct Exports {
    explicit Exports(const AppletLibrary& l) : lib(l) {}
    const AppletLibrary& lib;
#define EXPORT_FIELD(field, name) decltype(&::name) field = lib.fn<decltype(&::name)>(#name);
    APPLET_EXPORTS(EXPORT_FIELD)
#undef EXPORT_FIELD
};

// A board opened by calling the applet's Std_entry directly on a device of our own.
class DirectBoardTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(lib.ok() && d.ok()) << dlerror(); }
    void open(int flags = 1) {
        ASSERT_NE(nullptr, d.open(flags));
        ASSERT_EQ(0, d.status);
    }

    AppletLibrary lib;
    Exports x{lib};
    DirectBoard d{lib};
    QORdevice* const dev = d.dev;
    Fg_Struct& fg = d.fg;
};

}  // namespace

TEST_F(DirectBoardTest, StdEntrySucceedsWithStatusZeroAndFreeGrabberClearsMaster) {
    open(0);
    EXPECT_EQ(0, x.last_error(&fg));
    EXPECT_NE(nullptr, SimBoard_HostHandleOf(dev));
    EXPECT_EQ(0, x.free_grabber(&fg));
    EXPECT_EQ(nullptr, fg.Master);
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev)) << "the host board must be released";
    EXPECT_EQ(-2001, x.free_grabber(&fg)) << "a second release finds no board";
}

TEST_F(DirectBoardTest, StdEntryAcceptsNullStatus) {
    fg.Master = x.std_entry(dev, nullptr, 1);
    EXPECT_NE(nullptr, fg.Master);
}

TEST_F(DirectBoardTest, DesignNotLoadableFromMissingExternalFileGivesMinus100) {
    // The test runs in its own empty working directory: there is no Orvindel.hap here.
    ASSERT_NE(0, access("Orvindel.hap", F_OK));
    {
        ScopedEnv force("__TERVIK_FORCE_EXTERNAL_HAP", "");
        EXPECT_EQ(nullptr, d.open());
    }
    EXPECT_EQ(-100, d.status);
    EXPECT_EQ(nullptr, SimBoard_HostHandleOf(dev));
}

TEST_F(DirectBoardTest, EveryExportAnswersNoBoardForNullOrEmptyStructure) {
    Fg_Struct empty{nullptr};
    for (Fg_Struct* f : {static_cast<Fg_Struct*>(nullptr), &empty}) {
        uint32_t v = 0;
        size_t size = 3;
        int call = 0;
        const auto noBoard = [&](std::initializer_list<int> codes) {
            for (int rc : codes) EXPECT_EQ(-2001, rc) << "call " << call++;
        };
        noBoard({x.free_grabber(f), x.last_error(f), x.set(f, FG_WIDTH, &v, 0, FG_PARAM_TYPE_UINT32_T),
                 x.get(f, FG_WIDTH, &v, 0, FG_PARAM_TYPE_UINT32_T), x.acquire(f, 0, 1, 0, nullptr),
                 x.stop(f, 0, nullptr, 0), x.last_pic(f, 0, nullptr), x.last_pic_blocking(f, 1, 0, 10, nullptr),
                 x.status(f, 0, 0, 0, nullptr), x.applet_id(f, "Orvindel"), x.nr_params(f), x.param_id(f, 0)});
        noBoard({x.id_by_name(f, "FG_WIDTH"), x.info_xml(f, 0, nullptr, &size), x.save(f, "x.mcf"), x.load(f, "x.mcf"),
                 x.free_shading(f, nullptr), x.shad_sub(f, nullptr, 0, 0, 1.0f), x.shad_mult(f, nullptr, 0, 0, 1.0f),
                 x.shad_fpn(f, nullptr, 0, 0, 1), x.shad_max(f, nullptr), x.shad_get(f, nullptr),
                 x.shad_free(f, nullptr), x.shad_write(f, nullptr, 0)});
        EXPECT_EQ(3u, size) << "the description's size is left alone";
        EXPECT_EQ(nullptr, x.param_name(f, 0));
        EXPECT_EQ(nullptr, x.info(f, 0));
        EXPECT_EQ(0u, x.event_mask(f, "FG_OVERFLOW_CAM0"));
        EXPECT_EQ(nullptr, x.event_name(f, 1));
        EXPECT_EQ(nullptr, x.alloc_shading(f, 0, 0));
    }
}

TEST_F(DirectBoardTest, ShadingIsNotSupportedAndStoresItsAnswer) {
    open();
    EXPECT_EQ(nullptr, x.alloc_shading(&fg, 0, 0));
    EXPECT_EQ(-1, x.last_error(&fg));
    EXPECT_EQ(-2130, x.free_shading(&fg, nullptr));
    EXPECT_EQ(-2130, x.last_error(&fg));
    int call = 0;
    for (int rc : {x.shad_sub(&fg, nullptr, 1, 0, 0.5f), x.shad_mult(&fg, nullptr, 1, 0, 0.5f),
                   x.shad_fpn(&fg, nullptr, 1, 0, 1), x.shad_max(&fg, nullptr), x.shad_get(&fg, nullptr),
                   x.shad_free(&fg, nullptr), x.shad_write(&fg, nullptr, 3)})
        EXPECT_EQ(-2130, rc) << "call " << call++;
}

TEST_F(DirectBoardTest, ForwardedCallsReachTheHostAndKeepItsLastError) {
    open();
    SimAcquisitionCounters before{}, after{};
    SimBoard_GetAcquisitionCounters(dev, &before);
    EXPECT_GE(x.acquire(&fg, 0, 10, 0, nullptr), 0);
    EXPECT_EQ(0, x.last_error(&fg));
    SimBoard_GetAcquisitionCounters(dev, &after);
    EXPECT_EQ(before.acquireCalls + 1, after.acquireCalls);

    // A failing host call leaves the host's last error in the store ...
    SimBoard_FailNthHostCall(dev, 1, -4711);
    EXPECT_LT(x.stop(&fg, 0, nullptr, 0), 0);
    EXPECT_EQ(-4711, x.last_error(&fg));
    // ... and a following success resets it.
    EXPECT_GE(x.stop(&fg, 0, nullptr, 0), 0);
    EXPECT_EQ(0, x.last_error(&fg));

    // An invalid DMA channel is refused by the host with its own error.
    EXPECT_LT(x.last_pic(&fg, 7, nullptr), 0);
    EXPECT_NE(0, x.last_error(&fg));
}

class DraSwitch : public DirectBoardTest, public ::testing::WithParamInterface<std::pair<const char*, bool>> {};

TEST_P(DraSwitch, EnablesOnlyForYesTrueOnOrOne) {
    {
        ScopedEnv dra("TERVIK_ENABLE_DRA", GetParam().first);
        open();
    }
    if (GetParam().second)
        EXPECT_GT(x.nr_params(&fg), 99) << GetParam().first;
    else
        EXPECT_EQ(99, x.nr_params(&fg)) << GetParam().first;
}

INSTANTIATE_TEST_SUITE_P(Values, DraSwitch,
                         ::testing::Values(std::make_pair("TRUE", true), std::make_pair("On", true),
                                           std::make_pair("1", true), std::make_pair("YES", true),
                                           std::make_pair("yes", true), std::make_pair("2", false),
                                           std::make_pair("enable", false), std::make_pair("", false),
                                           std::make_pair("true ", false)));

TEST(Symbols, OnlyCEntryPointsAreExported) {
    AppletLibrary lib;
    ASSERT_TRUE(lib.ok());
    Dl_info info;
    ASSERT_NE(0, dladdr(dlsym(lib.handle(), "Std_entry"), &info));
    std::string cmd = std::string("nm -D --defined-only '") + info.dli_fname + "'";
    FILE* p = popen(cmd.c_str(), "r");
    ASSERT_NE(nullptr, p);
    char line[512];
    int symbols = 0;
    while (std::fgets(line, sizeof line, p)) {
        std::string s(line);
        std::string name = s.substr(s.rfind(' ') + 1);
        name.erase(name.find_last_not_of("\n") + 1);
        ++symbols;
        EXPECT_EQ(std::string::npos, name.find("_Z")) << "C++ symbol exported: " << name;
        EXPECT_TRUE(name.rfind("Fg_", 0) == 0 || name.rfind("Shad_", 0) == 0 || name == "Std_entry" || name == "Info" ||
                    name.rfind("__", 0) == 0 || name.rfind("_", 0) == 0)
            << "unexpected export: " << name;
    }
    pclose(p);
    EXPECT_GE(symbols, 31);
}
