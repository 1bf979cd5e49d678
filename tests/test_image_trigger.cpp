// Image trigger, flash and software trigger of both camera ports, as an
// application sees them: typed writes and reads through the exports, the
// design writes in the board's log, and the parameter records the host gets.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4712;  // an error code the simulated host is told to answer
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const uint32_t kSoftwareSource = 0xFFFFFFFFu;  // SDK source -1

const int kTriggerInputParams[] = {FG_IMGTRIGGERINSRC, FG_IMGTRIGGERINPOLARITY, FG_IMGTRIGGERGATEDELAY,
                                   FG_IMGTRIGGERDEBOUNCING};

std::string trig(int port, const char* name) { return dp(port, (std::string("Trigger_Trigger_") + name).c_str()); }

class ImageTrigger : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    void expectTriggerInputAccess(int port, int flags) {
        for (int id : kTriggerInputParams) EXPECT_EQ(flags, flagsOf(b, id, port)) << "parameter " << id;
    }
    // The writes of a mode change: the design mode, the gated-height switch,
    // then the frame cutting for the port's ROI.
    std::vector<Write> modeWrites(int port, uint32_t hw, uint32_t gated, uint32_t triggerHeight, uint32_t yOffset,
                                  uint32_t height) {
        return {u32w(trig(port, "ImgTriggerMode"), hw, port), u32w(trig(port, "MaxGatedHeight"), gated, port),
                u32w(trig(port, "YOffset"), 0, port),         u32w(trig(port, "YLength"), triggerHeight, port),
                u32w(trig(port, "YOffset"), yOffset, port),   u32w(dp(port, "ImageHeight_ImageHeight"), height, port)};
    }
    // Height 500, y-offset 7, async height 2000 in free-run mode.
    void setGeometry(int port) {
        for (auto iv : {std::make_pair(FG_IMGTRIGGERMODE, 0u), std::make_pair(FG_HEIGHT, 500u),
                        std::make_pair(FG_YOFFSET, 7u), std::make_pair(FG_IMGTRIGGER_ASYNC_HEIGHT, 2000u)})
            ASSERT_EQ(0, b.set(iv.first, iv.second, port));
    }

    Board b;
};

// ---- rejected values ---------------------------------------------------------

TEST_F(ImageTrigger, RejectedValuesChangeNothing) {
    expectRejects(b, {
                         {FG_IMGTRIGGERMODE, 2, {1, 3, 4, 7, 9, 0xFFFFFFFFu}},
                         {FG_IMGTRIGGERON, 0, {2, 0xFFFFFFFFu}},
                         {FG_FLASHON, 0, {2}},
                         {FG_IMGTRIGGERINSRC, 6, {8, 9, 0xFFFFFFFEu, 0x7FFFFFFFu}},
                         {FG_IMGTRIGGERINSRC, kSoftwareSource, {8}},
                         {FG_IMGTRIGGERINPOLARITY, 1, {2}},
                         {FG_IMGTRIGGERGATEDELAY, 65535, {65536, 0xFFFFFFFFu}},
                         {FG_FLASH_POLARITY, 0, {2}},
                         {FG_STROBEPULSEDELAY, 65535, {65536, 0xFFFFFFFFu}},
                         {FG_SETSOFTWARETRIGGER, 1, {2, 0xFFFFFFFFu}},
                         {FG_SENDSOFTWARETRIGGER, 1, {0, 2, 0xFFFFFFFFu}},
                     });
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.setD(FG_IMGTRIGGERDEBOUNCING, 2.5, port));
        for (double bad : {0.0, 0.0079, 30.000001, 30.008, -1.0, kNaN, kInf, -kInf})
            expectRejectedD(b, FG_IMGTRIGGERDEBOUNCING, bad, port);
        // A refused mode leaves the records of the mode in force.
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 8, port));
        expectRejected(b, FG_IMGTRIGGERMODE, 1, port);
        expectTriggerInputAccess(port, 7);
        EXPECT_EQ(7, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, port));
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
        expectRejected(b, FG_IMGTRIGGERMODE, 3, port);
        expectTriggerInputAccess(port, 1);
        EXPECT_EQ(1, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, port));
    }
}

// ---- accepted values reach the design ----------------------------------------

TEST_F(ImageTrigger, AcceptedValuesReachTheDesignOnTheirPort) {
    expectSingleWrites(b, {
                              {FG_IMGTRIGGERON, 0, "Trigger_Trigger_ImgTriggerEnable", 0},
                              {FG_IMGTRIGGERON, 1, "Trigger_Trigger_ImgTriggerEnable", 1},
                              {FG_FLASHON, 0, "Trigger_Trigger_FlashEnable", 0},
                              {FG_FLASHON, 1, "Trigger_Trigger_FlashEnable", 1},
                              // Trigger input polarity is passed as it is (0 high active, 1 low active).
                              {FG_IMGTRIGGERINPOLARITY, 1, "Trigger_Trigger_ImgTrgInPolarity", 1},
                              {FG_IMGTRIGGERINPOLARITY, 0, "Trigger_Trigger_ImgTrgInPolarity", 0},
                              // Flash polarity: the design bit means low active.
                              {FG_FLASH_POLARITY, 0, "Trigger_Trigger_FlashPolarity", 1},
                              {FG_FLASH_POLARITY, 1, "Trigger_Trigger_FlashPolarity", 0},
                              {FG_IMGTRIGGERGATEDELAY, 65535, "Trigger_Trigger_ImgTrgDelay", 65535},
                              {FG_IMGTRIGGERGATEDELAY, 0, "Trigger_Trigger_ImgTrgDelay", 0},
                              {FG_STROBEPULSEDELAY, 65535, "Trigger_Trigger_FlashDelay", 65535},
                              {FG_STROBEPULSEDELAY, 0, "Trigger_Trigger_FlashDelay", 0},
                              {FG_SETSOFTWARETRIGGER, 1, "Trigger_Trigger_SoftwareTrgInput", 1},
                              {FG_SETSOFTWARETRIGGER, 0, "Trigger_Trigger_SoftwareTrgInput", 0},
                          });
    // The debouncing time reaches the design unchanged.
    for (int port : {0, 1})
        for (double v : {0.008, 30.0, 0.112, 0.1 + 0.2})
            expectDoubleWrite(b, FG_IMGTRIGGERDEBOUNCING, v, trig(port, "ImgTrgDebouncingTime"), port);
}

TEST_F(ImageTrigger, SourceMapPutsTheSoftwareTriggerAtDesignSourceFour) {
    const uint32_t sdk[] = {0, 1, 2, 3, 4, 5, 6, 7, kSoftwareSource};
    const uint32_t design[] = {0, 1, 2, 3, 5, 6, 7, 8, 4};
    for (int port : {0, 1}) {
        for (int i = 0; i < 9; ++i) {
            SCOPED_TRACE("source " + std::to_string(sdk[i]) + " port " + std::to_string(port));
            b.clearLog();
            ASSERT_EQ(0, b.set(FG_IMGTRIGGERINSRC, sdk[i], port));
            EXPECT_EQ(std::vector<Write>{u32w(trig(port, "ImgTrgInSource"), design[i], port)}, writes(b.log()));
            // The SDK value reads back (the software source as 4294967295).
            EXPECT_EQ(sdk[i], b.u32(FG_IMGTRIGGERINSRC, port));
        }
    }
}

// ---- image trigger mode --------------------------------------------------------

TEST_F(ImageTrigger, ModeWritesDesignModeGatedHeightAndFrameCutting) {
    struct Case {
        uint32_t mode, hw, gated, triggerHeight;
    };
    // Height 500, async height 2000.
    const Case cases[] = {
        {2, 1, 0, 500}, {8, 1, 0, 2000}, {5, 2, 0, 500}, {6, 2, 1, 65535}, {0, 0, 0, 500}, {6, 2, 1, 65535},
    };
    setGeometry(1);
    for (const Case& c : cases) {
        SCOPED_TRACE("mode " + std::to_string(c.mode));
        b.clearLog();
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, c.mode, 1));
        EXPECT_EQ(modeWrites(1, c.hw, c.gated, c.triggerHeight, 7, 500), writes(b.log()));
        EXPECT_EQ(c.mode, b.u32(FG_IMGTRIGGERMODE, 1));
    }
}

TEST_F(ImageTrigger, ModeSetsTriggerInputAndAsyncHeightAccess) {
    struct Case {
        uint32_t mode;
        int inputs, asyncHeight;
    };
    const Case cases[] = {{0, 1, 1}, {2, 7, 1}, {8, 7, 7}, {2, 7, 1}, {5, 7, 1},
                          {8, 7, 7}, {6, 7, 1}, {0, 1, 1}, {8, 7, 7}, {0, 1, 1}};
    for (int port : {0, 1}) {
        const int other = 1 - port;
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, other));
        for (const Case& c : cases) {
            SCOPED_TRACE("mode " + std::to_string(c.mode) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, c.mode, port));
            expectTriggerInputAccess(port, c.inputs);
            EXPECT_EQ(c.asyncHeight, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, port));
            // The other port keeps its free-run records.
            expectTriggerInputAccess(other, 1);
            EXPECT_EQ(1, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, other));
        }
    }
}

// ---- software trigger and busy flag ----------------------------------------------

TEST_F(ImageTrigger, EverySoftwareTriggerPulseReachesTheDesign) {
    for (int port : {0, 1}) {
        b.clearLog();
        for (int i = 0; i < 3; ++i) ASSERT_EQ(0, b.set(FG_SENDSOFTWARETRIGGER, 1, port));
        const Write pulse = u32w(trig(port, "SoftwareTrgPulse"), 1, port);
        EXPECT_EQ((std::vector<Write>{pulse, pulse, pulse}), writes(b.log()));
        EXPECT_EQ(1u, b.u32(FG_SENDSOFTWARETRIGGER, port));
    }
}

TEST_F(ImageTrigger, BusyFlagIsReadFromTheDesignAndCannotBeWritten) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        const std::string name = trig(port, "ImgTrgIsBusy");
        b.setDesignU32(name.c_str(), 1);
        b.setDesignU32(trig(1 - port, "ImgTrgIsBusy").c_str(), 0);
        EXPECT_EQ(1u, b.u32(FG_IMGTRIGGER_IS_BUSY, port));
        EXPECT_EQ(0u, b.u32(FG_IMGTRIGGER_IS_BUSY, 1 - port));
        b.setDesignU32(name.c_str(), 0);
        EXPECT_EQ(0u, b.u32(FG_IMGTRIGGER_IS_BUSY, port));

        expectRejected(b, FG_IMGTRIGGER_IS_BUSY, 1, port, FG_ERR_NOT_AVAILABLE);

        SimBoard_FailParameter(b.dev(), name.c_str(), 0, kHostFault);
        uint32_t v = 0;
        EXPECT_EQ(kHostFault, b.get(FG_IMGTRIGGER_IS_BUSY, &v, port));
        EXPECT_EQ(kHostFault, b.lastError());
        SimBoard_ClearFaults(b.dev());
    }
}

// ---- failing design writes ------------------------------------------------------------

// The sweep (test_fault_sweep) checks the code, the kept mode and that only the
// writes before the failing one were made; here the records, which are changed
// before the design mode is written and stay changed when that write fails.
TEST_F(ImageTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    setGeometry(1);
    expectTriggerInputAccess(1, 1);
    expectFailingCall(b, 1, FG_IMGTRIGGERMODE, 8, 1, kHostFault);
    expectTriggerInputAccess(1, 7);
    EXPECT_EQ(7, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, 1));
}

}  // namespace
