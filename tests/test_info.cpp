// The applet information query, called as the host runtime calls it: looked up
// by name in the applet library, without an applet object.

#include <atomic>
#include <climits>
#include <thread>

#include "board_fixture.h"
#include "test_files.h"

using namespace orvtest;

namespace {

// The question code is taken as a plain int so that codes outside the
// enumeration can be asked.
typedef int (*InfoFn)(int cmd, int arg1, int arg2, void* vptr, const void** vptrptr);

InfoFn infoOf(const AppletLibrary& lib) { return lib.fn<InfoFn>("Info"); }

struct Constant {
    const char* name;
    int value;
};

// Every constant name of the enumeration tables the handlers accept values
// from, as the tables give it (the handler tests check the values themselves).
const Constant kConstants[] = {
#define ENUM_ENTRY(DISPLAY, VALUE, CONSTANT) {#CONSTANT, int(VALUE)},
#include "enums.def"
#undef ENUM_ENTRY
};

class InfoQuery : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(lib.ok()) << dlerror();
        ASSERT_NE(nullptr, info) << "Info is not exported";
    }
    int ask(int cmd, int arg1 = 0, int arg2 = 0) { return info(cmd, arg1, arg2, nullptr, nullptr); }
    std::string text(int cmd) {
        const void* p = nullptr;
        EXPECT_EQ(0, info(cmd, 0, 0, nullptr, &p)) << cmd;
        return p ? static_cast<const char*>(p) : "<null>";
    }

    AppletLibrary lib;
    InfoFn info = infoOf(lib);
};

TEST_F(InfoQuery, NumericAnswers) {
    struct Answer {
        int cmd;
        int expected;
    };
    const Answer answers[] = {
        {GET_ISCAM_COLOR, 0},   {GET_IS_SMART_APPLET, 0}, {GET_IS_ADVANCED_ACQUISITION_APPLET, 1},
        {GET_NR_OF_PORTS, 2},   {GET_NR_OF_CAMS, 2},      {GET_NR_OF_DMAS, 2},
        {GET_VERSION, 0x30000}, {GET_HAP_NAME, 0},        {GET_BOARD_TYPE, 0xA57},
        {GET_PX_TYPE, 0},       {GET_IS_CUSTOM, 0},       {GET_IS_AREA, 0},
        {GET_IS_MEDIUM, 0},     {GET_IS_FULL, 0},         {GET_INFO_NR_OF_PROCESSES, 2},
    };
    for (const Answer& a : answers) {
        EXPECT_EQ(a.expected, ask(a.cmd)) << std::hex << a.cmd;
        // The outputs are left alone.
        uint32_t out = 0xA5A5A5A5u;
        const void* pp = &out;
        EXPECT_EQ(a.expected, info(a.cmd, 7, -3, &out, &pp)) << std::hex << a.cmd;
        EXPECT_EQ(0xA5A5A5A5u, out) << std::hex << a.cmd;
        EXPECT_EQ(&out, pp) << std::hex << a.cmd;
    }
}

TEST_F(InfoQuery, UnknownQuestionsAreNotSupported) {
    for (int cmd : {9999, 0, -1, 1, 0x351, 0x416, 0x1271, 0x1110, INT_MIN, INT_MAX})
        EXPECT_EQ(FG_ERR_NOT_SUPPORTED, ask(cmd)) << cmd;
}

// Each process has one channel and one camera; channel and camera i map to
// DMA and port i; both DMAs carry 8-bit gray to the host. Other indices are
// refused.
TEST_F(InfoQuery, TopologyByIndex) {
    const int kBad = FG_ERR_INVALID_PARAMETER;
    // The answers for index 0 and 1; the counts and the DMA answers ignore the
    // second index (asked with `other` for index 1).
    const struct {
        int cmd, index0, index1, other;
    } answers[] = {{GET_INFO_NR_OF_PROCESS_CHANNELS, 1, 1, -5},
                   {GET_INFO_NR_OF_PROCESS_CAMERAS, 1, 1, -5},
                   {GET_INFO_PROCESS_CHANNEL_DMA, 0, 1, 0},
                   {GET_INFO_PROCESS_CAMERA_PORT, 0, 1, 0},
                   {GET_INFO_DMA_DIRECTION, 1, 1, 99},
                   {GET_INFO_DMA_DATATYPE, DMA_DATATYPE_GRAY8, DMA_DATATYPE_GRAY8, 99}};
    for (const auto& a : answers) {
        EXPECT_EQ(a.index0, ask(a.cmd, 0, 0)) << a.cmd;
        EXPECT_EQ(a.index1, ask(a.cmd, 1, a.other)) << a.cmd;
    }
    for (int cmd : {GET_INFO_NR_OF_PROCESS_CHANNELS, GET_INFO_NR_OF_PROCESS_CAMERAS, GET_INFO_DMA_DIRECTION,
                    GET_INFO_DMA_DATATYPE})
        for (int bad : {2, 3, -1, INT_MIN, INT_MAX}) EXPECT_EQ(kBad, ask(cmd, bad)) << cmd << " " << bad;
    // The mappings also look at the second index.
    const int badPairs[][2] = {{0, 1}, {1, 1}, {2, 0}, {-1, 0}, {0, -1}, {1, INT_MIN}, {INT_MIN, 0}, {INT_MAX, 0}};
    for (int cmd : {GET_INFO_PROCESS_CHANNEL_DMA, GET_INFO_PROCESS_CAMERA_PORT})
        for (const auto& p : badPairs) EXPECT_EQ(kBad, ask(cmd, p[0], p[1])) << cmd << " " << p[0] << "," << p[1];
}

TEST_F(InfoQuery, Texts) {
    EXPECT_EQ("Orvindel", text(GET_INFO_FRIENDLY_NAME));
    EXPECT_EQ("3.0.2.4", text(GET_INFO_VERSIONSTRING));
    EXPECT_EQ("3.0.2.4.20170809.082732", text(GET_INFO_VERSIONSTRING_DETAIL));
    EXPECT_EQ("Maravel:Line", text(GET_INFO_CATEGORY));
    EXPECT_EQ("class=standard,family=acquisition,type=dual,sensortype=line,color=gray,interface=cxp,lag=2",
              text(GET_INFO_TAGS));
    EXPECT_EQ(
        "Acquisition Applet with support of Velox technology, 12 bit image processing and lookup table "
        "for two CoaXPress grayscale line scan cameras with 2 ports and supported transfer speed of CXP-1 "
        "(1.250 Gbps) to CXP-6 (6.250 Gbps).",
        text(GET_INFO_DESCRIPTION));
    EXPECT_EQ("d27e4a90-1c5b-4e38-2a6d-91f3b0c7e825", text(GET_HAP_ID));
    EXPECT_EQ("3f1c9d20-7b4e-4a61-8d2f-5e0a7c6b9d14", text(GET_BITSTREAM_ID));
}

TEST_F(InfoQuery, PointerQuestionsWithoutOutputsAnswerZero) {
    for (int cmd : {GET_PNG_ICON, GET_EMBEDDED_HAP, GET_HAP_ID, GET_BITSTREAM_ID, GET_INFO_DESCRIPTION,
                    GET_INFO_CATEGORY, GET_INFO_TAGS, GET_INFO_DEVICE_HANDLE, GET_INFO_DESIGN_HANDLE,
                    GET_INFO_FRIENDLY_NAME, GET_INFO_VERSIONSTRING, GET_INFO_VERSIONSTRING_DETAIL})
        EXPECT_EQ(0, ask(cmd)) << std::hex << cmd;
}

// The embedded icon and design image are the generated files byte for byte
// (test_platform_design checks those files).
TEST_F(InfoQuery, EmbeddedIconAndDesignImageAreTheGeneratedFiles) {
    const char* dir = std::getenv("ORV_DESIGN_DIR");
    ASSERT_NE(nullptr, dir);
    const std::pair<int, const char*> images[] = {{GET_PNG_ICON, "/OrvindelIcon.png"},
                                                  {GET_EMBEDDED_HAP, "/Orvindel.hap"}};
    for (const auto& image : images) {
        SCOPED_TRACE(image.second);
        const std::string expected = readFile(dir + std::string(image.second));
        ASSERT_NE("<missing>", expected);
        // Size and pointer can be asked for one at a time or together.
        uint32_t size = 0, sizeAgain = 0;
        const void *p = nullptr, *again = nullptr;
        ASSERT_EQ(0, info(image.first, 0, 0, &size, nullptr));
        ASSERT_EQ(0, info(image.first, 0, 0, nullptr, &p));
        ASSERT_EQ(0, info(image.first, 0, 0, &sizeAgain, &again));
        EXPECT_EQ(size, sizeAgain);
        EXPECT_EQ(p, again);
        ASSERT_NE(nullptr, p);
        ASSERT_EQ(expected.size(), size);
        EXPECT_TRUE(expected == std::string(static_cast<const char*>(p), size)) << "contents differ";
    }
}

TEST_F(InfoQuery, EveryConstantNameResolvesToItsValue) {
    for (const Constant& c : kConstants) {
        std::string name = c.name;  // the name is read from the caller's own writable buffer
        EXPECT_EQ(c.value, info(GET_INFO_RESOLVE_ENUM, 0, 0, &name[0], nullptr)) << c.name;
    }
    // A few values the tables must hold, negative ones among them.
    const Constant spot[] = {{"Mono12", 259},  {"FG_GRAY16", 1}, {"ASYNC_TRIGGER_MULTIFRAME", 8},
                             {"FILTER_X4", 3}, {"FG_APPLY", 1},  {"TRGINSOFTWARE", -1}};
    for (const Constant& c : spot)
        EXPECT_EQ(c.value, info(GET_INFO_RESOLVE_ENUM, 0, 0, const_cast<char*>(c.name), nullptr)) << c.name;
}

TEST_F(InfoQuery, ConstantNamesAreExactAndCaseSensitive) {
    const char* unknown[] = {"fg_on",      "Fg_On",    "FG_ON ", " FG_ON",     "FG_O", "", "On", "Trigger Source 0",
                             "TRGINSRC_8", "FG_WIDTH", "MONO8",  "FG_ONFG_OFF"};
    for (const char* name : unknown)
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info(GET_INFO_RESOLVE_ENUM, 0, 0, const_cast<char*>(name), nullptr))
            << "'" << name << "'";
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info(GET_INFO_RESOLVE_ENUM, 0, 0, nullptr, nullptr));
    const void* p = &p;
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, info(GET_INFO_RESOLVE_ENUM, 0, 0, nullptr, &p));
}

// The first questions for constants come from several threads at once; each of
// them must see the complete map. Run in a fresh process so that this really is
// the first use of the map.
TEST(InfoFirstUse, ConcurrentFirstResolutionSeesTheWholeMap) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            AppletLibrary lib;
            InfoFn info = infoOf(lib);
            if (!info) std::_Exit(2);
            // Eight threads, each starting at a different name, all on their first question.
            std::atomic<int> ready(0);
            std::atomic<int> wrong(0);
            std::atomic<bool> go(false);
            std::vector<std::thread> threads;
            const int n = static_cast<int>(sizeof(kConstants) / sizeof(kConstants[0]));
            for (int t = 0; t < 8; ++t) {
                threads.emplace_back([&, t] {
                    ready.fetch_add(1);
                    while (!go.load()) std::this_thread::yield();
                    for (int k = 0; k < n; ++k) {
                        const Constant& c = kConstants[(k + t * 7) % n];
                        std::string name = c.name;
                        if (info(GET_INFO_RESOLVE_ENUM, 0, 0, &name[0], nullptr) != c.value) wrong.fetch_add(1);
                    }
                    std::string bad = "fg_on";
                    if (info(GET_INFO_RESOLVE_ENUM, 0, 0, &bad[0], nullptr) != FG_ERR_INVALID_PARAMETER)
                        wrong.fetch_add(1);
                });
            }
            while (ready.load() < 8) std::this_thread::yield();
            go.store(true);
            for (std::thread& th : threads) th.join();
            std::exit(wrong.load() == 0 ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(InfoFirstUse, HandlesAreNullBeforeAnyBoardWasOpened) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            AppletLibrary lib;
            InfoFn info = infoOf(lib);
            if (!info) std::_Exit(2);
            void* device = &lib;
            void* design = &lib;
            if (info(GET_INFO_DEVICE_HANDLE, 0, 0, &device, nullptr) != 0) std::_Exit(3);
            if (info(GET_INFO_DESIGN_HANDLE, 0, 0, &design, nullptr) != 0) std::_Exit(4);
            std::exit(device == nullptr && design == nullptr ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(InfoQuery, HandlesAreThoseOfTheLastOpenedBoard) {
    Board board;
    ASSERT_TRUE(board.ok());
    ASSERT_EQ(lib.handle(), SimBoard_AppletLibraryOf(board.fg())) << "the board uses the same applet library";
    void *device = nullptr, *design = nullptr;
    EXPECT_EQ(0, info(GET_INFO_DEVICE_HANDLE, 0, 0, &device, nullptr));
    EXPECT_EQ(0, info(GET_INFO_DESIGN_HANDLE, 0, 0, &design, nullptr));
    EXPECT_EQ(static_cast<void*>(board.dev()), device);
    EXPECT_NE(nullptr, design);

    // A board opened later takes over the slots.
    DirectBoard other(lib, 1);
    ASSERT_TRUE(other.ok());
    ASSERT_NE(nullptr, other.open()) << other.status;
    EXPECT_EQ(0, info(GET_INFO_DEVICE_HANDLE, 0, 0, &device, nullptr));
    EXPECT_EQ(static_cast<void*>(other.dev), device);
    void* otherDesign = nullptr;
    EXPECT_EQ(0, info(GET_INFO_DESIGN_HANDLE, 0, 0, &otherDesign, nullptr));
    EXPECT_NE(nullptr, otherDesign);
}

}  // namespace
