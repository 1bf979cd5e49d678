// Image trigger, flash and software trigger of both camera ports, as an
// application sees them: typed writes and reads through the exports, the
// design writes in the board's log, and the parameter records the host gets.
#include <gtest/gtest.h>

#include <cstring>
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

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class ImageTrigger : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    int access(int port, int id) {
        RegisterInfo* r = b.record(port, id);
        EXPECT_NE(nullptr, r) << "no record for " << id << " on port " << port;
        return r ? r->accessFlags : -1;
    }
    void expectTriggerInputAccess(int port, int flags) {
        for (int id : kTriggerInputParams) EXPECT_EQ(flags, access(port, id)) << "parameter " << id;
    }

    // The writes a mode change makes: the design mode, the gated-height
    // switch, then the frame cutting for the port's ROI.
    std::vector<Write> modeWrites(int port, uint32_t hw, uint32_t gated, uint32_t triggerHeight, uint32_t yOffset,
                                  uint32_t height) {
        return {u32w(trig(port, "ImgTriggerMode"), hw, port),
                u32w(trig(port, "MaxGatedHeight"), gated, port),
                u32w(trig(port, "YOffset"), 0, port),
                u32w(trig(port, "YLength"), triggerHeight, port),
                u32w(trig(port, "YOffset"), yOffset, port),
                u32w(dp(port, "ImageHeight_ImageHeight"), height, port)};
    }

    // Height 500, y-offset 7, async height 2000 in free-run mode.
    void setGeometry(int port) {
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
        ASSERT_EQ(0, b.set(FG_HEIGHT, 500, port));
        ASSERT_EQ(0, b.set(FG_YOFFSET, 7, port));
        ASSERT_EQ(0, b.set(FG_IMGTRIGGER_ASYNC_HEIGHT, 2000, port));
    }

    Board b;
};

// ---- rejected values ---------------------------------------------------------

struct U32Rejects {
    int id;
    uint32_t accepted;  // set first, must survive the rejected writes
    std::vector<uint32_t> rejected;
};

TEST_F(ImageTrigger, RejectedValuesChangeNothing) {
    const U32Rejects cases[] = {
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
    };
    for (int port : {0, 1}) {
        for (const U32Rejects& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.set(c.id, c.accepted, port));
            for (uint32_t bad : c.rejected) {
                b.clearLog();
                EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(c.id, bad, port)) << bad;
                EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.lastError());
                EXPECT_TRUE(b.log().empty()) << bad;
                EXPECT_EQ(c.accepted, b.u32(c.id, port)) << bad;
            }
        }
    }
}

TEST_F(ImageTrigger, RejectedDebouncingTimesChangeNothing) {
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.setD(FG_IMGTRIGGERDEBOUNCING, 2.5, port));
        for (double bad : {0.0, 0.0079, 30.000001, 30.008, -1.0, kNaN, kInf, -kInf}) {
            b.clearLog();
            EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_IMGTRIGGERDEBOUNCING, bad, port)) << bad;
            EXPECT_TRUE(b.log().empty()) << bad;
            EXPECT_EQ(2.5, b.dbl(FG_IMGTRIGGERDEBOUNCING, port)) << bad;
        }
    }
}

TEST_F(ImageTrigger, RejectedModeLeavesRecordsAlone) {
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 8, port));
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(FG_IMGTRIGGERMODE, 1, port));
        expectTriggerInputAccess(port, 7);
        EXPECT_EQ(7, access(port, FG_IMGTRIGGER_ASYNC_HEIGHT));
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(FG_IMGTRIGGERMODE, 3, port));
        expectTriggerInputAccess(port, 1);
        EXPECT_EQ(1, access(port, FG_IMGTRIGGER_ASYNC_HEIGHT));
    }
}

// ---- accepted values reach the design ----------------------------------------

TEST_F(ImageTrigger, IntegerWritesReachTheDesignOnTheirPort) {
    struct Case {
        int id;
        uint32_t value;
        const char* design;  // after "Trigger_Trigger_"
        uint32_t written;
    };
    const Case cases[] = {
        {FG_IMGTRIGGERON, 0, "ImgTriggerEnable", 0},
        {FG_IMGTRIGGERON, 1, "ImgTriggerEnable", 1},
        {FG_FLASHON, 0, "FlashEnable", 0},
        {FG_FLASHON, 1, "FlashEnable", 1},
        // Trigger input polarity is passed as it is (0 high active, 1 low active).
        {FG_IMGTRIGGERINPOLARITY, 1, "ImgTrgInPolarity", 1},
        {FG_IMGTRIGGERINPOLARITY, 0, "ImgTrgInPolarity", 0},
        // Flash polarity: the design bit means low active.
        {FG_FLASH_POLARITY, 0, "FlashPolarity", 1},
        {FG_FLASH_POLARITY, 1, "FlashPolarity", 0},
        {FG_IMGTRIGGERGATEDELAY, 65535, "ImgTrgDelay", 65535},
        {FG_IMGTRIGGERGATEDELAY, 0, "ImgTrgDelay", 0},
        {FG_STROBEPULSEDELAY, 65535, "FlashDelay", 65535},
        {FG_STROBEPULSEDELAY, 0, "FlashDelay", 0},
        {FG_SETSOFTWARETRIGGER, 1, "SoftwareTrgInput", 1},
        {FG_SETSOFTWARETRIGGER, 0, "SoftwareTrgInput", 0},
    };
    for (int port : {0, 1}) {
        for (const Case& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " = " + std::to_string(c.value) + " port " +
                         std::to_string(port));
            b.clearLog();
            ASSERT_EQ(0, b.set(c.id, c.value, port));
            EXPECT_EQ(0, b.lastError());
            EXPECT_EQ(std::vector<Write>{u32w(trig(port, c.design), c.written, port)}, writes(b.log()));
            EXPECT_EQ(c.written, b.designU32(trig(port, c.design).c_str()));
            EXPECT_EQ(c.value, b.u32(c.id, port));
        }
    }
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

TEST_F(ImageTrigger, DebouncingTimeReachesTheDesignUnchanged) {
    for (int port : {0, 1}) {
        for (double v : {0.008, 30.0, 0.112, 0.1 + 0.2}) {
            b.clearLog();
            ASSERT_EQ(0, b.setD(FG_IMGTRIGGERDEBOUNCING, v, port));
            std::vector<SimLogEntry> log = b.log();
            ASSERT_EQ(1u, log.size());
            EXPECT_EQ(trig(port, "ImgTrgDebouncingTime"), log[0].name ? log[0].name : "");
            EXPECT_EQ(FG_PARAM_TYPE_DOUBLE, log[0].type);
            EXPECT_EQ(unsigned(port), log[0].dma);
            EXPECT_TRUE(sameBits(v, log[0].d)) << v;
            EXPECT_TRUE(sameBits(v, b.dbl(FG_IMGTRIGGERDEBOUNCING, port))) << v;
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
    for (int port : {0, 1}) {
        setGeometry(port);
        for (const Case& c : cases) {
            SCOPED_TRACE("mode " + std::to_string(c.mode) + " port " + std::to_string(port));
            b.clearLog();
            ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, c.mode, port));
            EXPECT_EQ(modeWrites(port, c.hw, c.gated, c.triggerHeight, 7, 500), writes(b.log()));
            EXPECT_EQ(c.mode, b.u32(FG_IMGTRIGGERMODE, port));
        }
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
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
            EXPECT_EQ(c.asyncHeight, access(port, FG_IMGTRIGGER_ASYNC_HEIGHT));
            // The other port keeps its free-run records.
            expectTriggerInputAccess(other, 1);
            EXPECT_EQ(1, access(other, FG_IMGTRIGGER_ASYNC_HEIGHT));
        }
    }
}

TEST_F(ImageTrigger, LaterGeometryChangesFollowTheMode) {
    for (int port : {0, 1}) {
        setGeometry(port);
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 6, port));
        ASSERT_EQ(0, b.set(FG_HEIGHT, 300, port));
        EXPECT_EQ(65535u, b.designU32(dp(port, "Trigger_Trigger_YLength").c_str()));
        EXPECT_EQ(300u, b.designU32(dp(port, "ImageHeight_ImageHeight").c_str()));
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 2, port));
        EXPECT_EQ(300u, b.designU32(dp(port, "Trigger_Trigger_YLength").c_str()));
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
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

        b.clearLog();
        EXPECT_EQ(FG_ERR_NOT_AVAILABLE, b.set(FG_IMGTRIGGER_IS_BUSY, 1, port));
        EXPECT_TRUE(b.log().empty());

        SimBoard_FailParameter(b.dev(), name.c_str(), 0, kHostFault);
        uint32_t v = 0;
        EXPECT_EQ(kHostFault, b.get(FG_IMGTRIGGER_IS_BUSY, &v, port));
        EXPECT_EQ(kHostFault, b.lastError());
        SimBoard_ClearFaults(b.dev());
    }
}

// ---- failing design writes ------------------------------------------------------------

TEST_F(ImageTrigger, FailingDesignWriteKeepsTheOldValue) {
    struct Case {
        int id;
        uint32_t before, attempted;
        const char* design;
    };
    const Case cases[] = {
        {FG_IMGTRIGGERON, 1, 0, "ImgTriggerEnable"},
        {FG_FLASHON, 1, 0, "FlashEnable"},
        {FG_IMGTRIGGERINSRC, 0, kSoftwareSource, "ImgTrgInSource"},
        {FG_IMGTRIGGERINPOLARITY, 0, 1, "ImgTrgInPolarity"},
        {FG_IMGTRIGGERGATEDELAY, 0, 100, "ImgTrgDelay"},
        {FG_FLASH_POLARITY, 1, 0, "FlashPolarity"},
        {FG_STROBEPULSEDELAY, 0, 100, "FlashDelay"},
        {FG_SETSOFTWARETRIGGER, 0, 1, "SoftwareTrgInput"},
        {FG_SENDSOFTWARETRIGGER, 1, 1, "SoftwareTrgPulse"},
    };
    for (int port : {0, 1}) {
        for (const Case& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.set(c.id, c.before, port));
            SimBoard_FailParameter(b.dev(), trig(port, c.design).c_str(), 1, kHostFault);
            b.clearLog();
            EXPECT_EQ(kHostFault, b.set(c.id, c.attempted, port));
            EXPECT_EQ(kHostFault, b.lastError());
            EXPECT_TRUE(b.log().empty());
            EXPECT_EQ(c.before, b.u32(c.id, port));
            SimBoard_ClearFaults(b.dev());
            EXPECT_EQ(0, b.set(c.id, c.attempted, port));
            EXPECT_EQ(c.attempted, b.u32(c.id, port));
            ASSERT_EQ(0, b.set(c.id, c.before, port));
        }
    }
}

TEST_F(ImageTrigger, FailingDebouncingWriteKeepsTheOldValue) {
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.setD(FG_IMGTRIGGERDEBOUNCING, 0.112, port));
        SimBoard_FailParameter(b.dev(), trig(port, "ImgTrgDebouncingTime").c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.setD(FG_IMGTRIGGERDEBOUNCING, 4.0, port));
        EXPECT_EQ(0.112, b.dbl(FG_IMGTRIGGERDEBOUNCING, port));
        SimBoard_ClearFaults(b.dev());
    }
}

TEST_F(ImageTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        setGeometry(port);
        expectTriggerInputAccess(port, 1);

        // The design mode itself fails: nothing is written.
        SimBoard_FailParameter(b.dev(), trig(port, "ImgTriggerMode").c_str(), 1, kHostFault);
        b.clearLog();
        EXPECT_EQ(kHostFault, b.set(FG_IMGTRIGGERMODE, 8, port));
        EXPECT_EQ(kHostFault, b.lastError());
        EXPECT_TRUE(b.log().empty());
        EXPECT_EQ(0u, b.u32(FG_IMGTRIGGERMODE, port));
        // Records changed before the write stay changed.
        expectTriggerInputAccess(port, 7);
        EXPECT_EQ(7, access(port, FG_IMGTRIGGER_ASYNC_HEIGHT));
        SimBoard_ClearFaults(b.dev());

        // The gated-height switch fails: the mode write before it stays made.
        SimBoard_FailNthHostCall(b.dev(), 2, kHostFault);
        b.clearLog();
        EXPECT_EQ(kHostFault, b.set(FG_IMGTRIGGERMODE, 6, port));
        EXPECT_EQ(std::vector<Write>{u32w(trig(port, "ImgTriggerMode"), 2, port)}, writes(b.log()));
        EXPECT_EQ(0u, b.u32(FG_IMGTRIGGERMODE, port));
        SimBoard_ClearFaults(b.dev());

        // The frame cutting fails at its last write.
        SimBoard_FailParameter(b.dev(), dp(port, "ImageHeight_ImageHeight").c_str(), 1, kHostFault);
        b.clearLog();
        EXPECT_EQ(kHostFault, b.set(FG_IMGTRIGGERMODE, 8, port));
        std::vector<Write> expected = modeWrites(port, 1, 0, 2000, 7, 500);
        expected.pop_back();
        EXPECT_EQ(expected, writes(b.log()));
        EXPECT_EQ(0u, b.u32(FG_IMGTRIGGERMODE, port));
        SimBoard_ClearFaults(b.dev());

        // With the old mode still cached, the async height is only remembered.
        b.clearLog();
        ASSERT_EQ(0, b.set(FG_IMGTRIGGER_ASYNC_HEIGHT, 3000, port));
        EXPECT_TRUE(b.log().empty());
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, port));
        expectTriggerInputAccess(port, 1);
        EXPECT_EQ(1, access(port, FG_IMGTRIGGER_ASYNC_HEIGHT));
    }
}

}  // namespace
