// The application side of the host runtime: Fg_Init / Fg_InitEx open an applet
// library and the calls on the returned handle reach the applet. A stand-in
// applet (platform_fake_applet.cpp) records what it receives.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "check_table.h"
#include "platform_fake_applet.h"
#include "platform_support.h"

using namespace platformtest;

namespace {

class AppFace : public ::testing::Test {
protected:
    void SetUp() override {
        // Keeps the stand-in loaded, so its record outlives Fg_FreeGrabber.
        lib_ = dlopen(env("ORV_FAKE_APPLET").c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, lib_) << dlerror();
        auto fn = reinterpret_cast<FakeApplet_Record_t>(dlsym(lib_, "FakeApplet_Record"));
        ASSERT_NE(nullptr, fn);
        rec_ = fn();
        *rec_ = FakeAppletRecord{};
    }
    void TearDown() override {
        if (lib_) dlclose(lib_);
    }
    void* lib_ = nullptr;
    FakeAppletRecord* rec_ = nullptr;
};

}  // namespace

TEST_F(AppFace, OpensTheAppletAndKeepsWhatItReturns) {
    Fg_Struct* fg = Fg_InitEx("PlatformFake", 3, 0x10);
    ASSERT_NE(nullptr, fg);
    EXPECT_NE(nullptr, fg->Master);
    EXPECT_EQ(1, rec_->stdEntryCalls);
    EXPECT_EQ(0x10, rec_->lastFlags);
    QORdevice* dev = SimBoard_DeviceOf(fg);
    ASSERT_NE(nullptr, dev);
    EXPECT_EQ(dev, rec_->lastDevice);
    EXPECT_EQ(lib_, SimBoard_AppletLibraryOf(fg));
    // the device lookups tell the application and host handles apart
    Fg_Struct* hostFg = SimBoard_HostHandleOf(dev);
    ASSERT_NE(nullptr, hostFg) << "the applet initialised its host board on the device";
    EXPECT_NE(fg, hostFg);
    EXPECT_EQ(dev, SimBoard_DeviceOfHostHandle(hostFg));
    checktable::expectNull({SimBoard_DeviceOfHostHandle(fg), SimBoard_DeviceOf(hostFg),
                            SimBoard_AppletLibraryOf(hostFg), SimBoard_DeviceOf(nullptr),
                            SimBoard_AppletLibraryOf(nullptr)});
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
    EXPECT_EQ(1, rec_->freeCalls);
    EXPECT_EQ(fg, rec_->lastFg);
}

TEST_F(AppFace, CallsOnTheApplicationHandleReachTheApplet) {
    Fg_Struct* fg = Fg_Init("PlatformFake", 0);
    ASSERT_NE(nullptr, fg);
    EXPECT_EQ(0, rec_->lastFlags);
    QORdevice* dev = SimBoard_DeviceOf(fg);
    const int valueId = SimBoard_ParameterId(dev, "Device1_Process1_Fake_Value");
    ASSERT_GT(valueId, 0);

    uint32_t v = 99;
    EXPECT_EQ(0, Fg_setParameterWithType(fg, valueId, &v, 1, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(fg, rec_->lastFg);
    EXPECT_EQ((std::vector<int>{1, valueId, 1, FG_PARAM_TYPE_UINT32_T}),
              (std::vector<int>{rec_->setCalls, rec_->lastId, int(rec_->lastDma), rec_->lastType}));
    EXPECT_EQ(std::vector<std::string>{"Device1_Process1_Fake_Value dma1 type2 99"}, writeLog(dev))
        << "the applet passed the write on to the host";

    uint32_t back = 0;
    EXPECT_EQ(0, Fg_getParameterWithType(fg, valueId, &back, 1, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(99u, back);
    EXPECT_EQ(1, rec_->getCalls);
    // untyped access goes to the typed entries with the AUTO type
    EXPECT_EQ(0, Fg_getParameter(fg, valueId, &back, 1));
    EXPECT_EQ(FG_PARAM_TYPE_AUTO, rec_->lastType);
    EXPECT_EQ(0, Fg_setParameter(fg, valueId, &v, 0));
    EXPECT_EQ(2, rec_->setCalls);

    EXPECT_EQ(FAKE_APPLET_LAST_ERROR, Fg_getLastErrorNumber(fg));
    EXPECT_EQ(42, Fg_getNrOfParameter(fg));
    EXPECT_STREQ("FAKE_PARAMETER", Fg_getParameterName(fg, 0));
    EXPECT_EQ(nullptr, Fg_getParameterName(fg, 1));
    EXPECT_EQ(0x20u, Fg_getEventMask(fg, "FAKE_EVENT"));

    EXPECT_EQ(0, Fg_AcquireEx(fg, 1, 0, 0, nullptr));
    EXPECT_EQ(1, rec_->acquireCalls);
    EXPECT_EQ(1, Fg_getLastPicNumberEx(fg, 1, nullptr));
    EXPECT_EQ(0, Fg_Acquire(fg, 0, 5));
    EXPECT_EQ(2, rec_->acquireCalls);
    SimAcquisitionCounters c;
    SimBoard_GetAcquisitionCounters(dev, &c);
    EXPECT_EQ(2, c.acquireCalls);
    EXPECT_EQ(1, c.running[1]);

    EXPECT_EQ(0, Fg_FreeGrabber(fg));
}

TEST_F(AppFace, EntriesTheAppletLacksAnswerNotAvailable) {
    Fg_Struct* fg = Fg_Init("PlatformFake", 0);
    ASSERT_NE(nullptr, fg);
    size_t size = 0;
    checktable::expectAll(
        FG_ERR_NOT_AVAILABLE,
        {Fg_getParameterInfoXML(fg, 0, nullptr, &size), Fg_saveConfig(fg, "x.mcf"), Fg_loadConfig(fg, "x.mcf"),
         Fg_getParameterId(fg, 0), Fg_getParameterIdByName(fg, "FG_WIDTH"), Fg_stopAcquireEx(fg, 0, nullptr, 0),
         Fg_getStatusEx(fg, 0, 0, 0, nullptr), Fg_getAppletId(fg, "x"),
         Fg_getLastPicNumberBlockingEx(fg, 1, 0, 1, nullptr), Shad_GetMaxLine(fg, nullptr)});
    checktable::expectNull({Fg_AllocShading(fg, 0, 0), Fg_getParameterInfo(fg, 0), Fg_getEventName(fg, 1)});
    EXPECT_EQ(0, Fg_FreeGrabber(fg));
}

TEST_F(AppFace, TwoBoardsAreIndependent) {
    Fg_Struct* a = Fg_InitEx("PlatformFake", 0, 0);
    Fg_Struct* b = Fg_InitEx("PlatformFake", 1, 0);
    ASSERT_NE(nullptr, a);
    ASSERT_NE(nullptr, b);
    QORdevice* da = SimBoard_DeviceOf(a);
    QORdevice* db = SimBoard_DeviceOf(b);
    ASSERT_NE(da, db);
    const int id = SimBoard_ParameterId(da, "Device1_Process0_Fake_Value");
    uint32_t v = 7;
    EXPECT_EQ(0, Fg_setParameterWithType(a, id, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(1, SimBoard_LogCount(da));
    EXPECT_EQ(0, SimBoard_LogCount(db));
    uint32_t inB = 0;
    EXPECT_EQ(0, SimBoard_GetValue(db, "Device1_Process0_Fake_Value", FG_PARAM_TYPE_UINT32_T, &inB));
    EXPECT_EQ(5u, inB);
    EXPECT_EQ(0, Fg_FreeGrabber(a));
    EXPECT_EQ(0, Fg_getParameterWithType(b, id, &inB, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(0, Fg_FreeGrabber(b));
    EXPECT_EQ(2, rec_->freeCalls);
}

TEST_F(AppFace, FailedOpeningsTellWhyAndReleaseEverything) {
    const struct {
        const char* name;
        int flags, error, entryCalls;
    } openings[] = {{nullptr, 0, FG_ERR_INVALID_PARAMETER, 0},
                    {"", 0, FG_ERR_INVALID_PARAMETER, 0},
                    {"../PlatformFake", 0, FG_ERR_INVALID_PARAMETER, 0},
                    {"NoSuchAppletAnywhere", 0, FG_ERR_FILE_NOT_FOUND, 0},
                    {"PlatformNoEntry", 0, FG_ERR_RUNTIME_MISSING, 0},
                    {"PlatformFake", FAKE_APPLET_FAIL, -1234, 1},
                    {"PlatformFake", FAKE_APPLET_THROW, FG_ERR_INIT_FAILED, 2}};
    for (const auto& o : openings) {
        SCOPED_TRACE(o.name ? o.name : "NULL");
        EXPECT_EQ(nullptr, o.flags ? Fg_InitEx(o.name, 0, o.flags) : Fg_Init(o.name, 0));
        EXPECT_EQ(o.error, Fg_getLastErrorNumber(nullptr));
        EXPECT_EQ(o.entryCalls, rec_->stdEntryCalls);
    }
    EXPECT_EQ(0, rec_->freeCalls);
}

TEST_F(AppFace, TheAppletPathIsSearchedBeforeTheLoader) {
    const std::string saved = env("TERVIK_APPLET_PATH");
    setenv("TERVIK_APPLET_PATH", ("/no/such/dir::" + saved).c_str(), 1);
    Fg_Struct* fg = Fg_Init("PlatformFake", 0);
    EXPECT_NE(nullptr, fg);
    if (fg) Fg_FreeGrabber(fg);
    EXPECT_EQ(nullptr, Fg_Init("PlatformNoEntry", 0));
    EXPECT_EQ(FG_ERR_RUNTIME_MISSING, Fg_getLastErrorNumber(nullptr)) << "found on the path";

    // Without the path the loader's own rules apply: the test library path does
    // not hold the stand-ins, but a library already loaded is found by name.
    unsetenv("TERVIK_APPLET_PATH");
    EXPECT_EQ(nullptr, Fg_Init("PlatformNoEntry", 0));
    EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, Fg_getLastErrorNumber(nullptr));
    fg = Fg_Init("PlatformFake", 0);
    EXPECT_NE(nullptr, fg);
    if (fg) Fg_FreeGrabber(fg);
    setenv("TERVIK_APPLET_PATH", saved.c_str(), 1);
}
