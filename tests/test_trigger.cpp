// Line trigger, ExSync generation, shaft encoder, image trigger, flash and
// software trigger of both camera ports, as an application sees them: typed
// writes and reads through the exports, the design writes in the board's log,
// and the parameter records the host gets.

#include <limits>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;  // an error code the simulated host is told to answer
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
const uint32_t kSoftwareSource = 0xFFFFFFFFu;  // SDK source -1

const int kExternalTriggerParams[] = {FG_LINETRIGGERINSRC, FG_LINETRIGGERINPOLARITY, FG_LINETRIGGERDEBOUNCING,
                                      FG_LINE_DOWNSCALE,   FG_LINE_DOWNSCALEINIT,    FG_SHAFTENCODERON};
const int kShaftEncoderParams[] = {FG_SHAFTENCODERMODE, FG_SHAFTENCODERINSRC, FG_SHAFTENCODERLEADING,
                                   FG_SHAFTENCODER_COMPENSATION_ENABLE, FG_SHAFTENCODER_COMPENSATION_COUNT};
const int kTriggerInputParams[] = {FG_IMGTRIGGERINSRC, FG_IMGTRIGGERINPOLARITY, FG_IMGTRIGGERGATEDELAY,
                                   FG_IMGTRIGGERDEBOUNCING};

std::string trig(int port, const char* name) { return dp(port, (std::string("Trigger_Trigger_") + name).c_str()); }

class TriggerTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    // The access flags of a list of parameters.
    template <size_t N>
    void expectAccess(const int (&ids)[N], int port, int flags) {
        for (int id : ids) EXPECT_EQ(flags, flagsOf(b, id, port)) << "parameter " << id;
    }
    double exposureBound(int port) { return doubleMax(b, FG_LINEEXPOSURE, port); }
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
typedef TriggerTest LineTrigger;
typedef TriggerTest ImageTrigger;

TEST_F(LineTrigger, RejectedIntegerValuesOfBothTriggersChangeNothing) {
    expectRejects(b, {
                         {FG_LINETRIGGERMODE, 2, {0, 3, 4, 7, 8, 0xFFFFFFFFu}},
                         {FG_EXSYNCON, 0, {2, 0xFFFFFFFFu}},
                         {FG_LINETRIGGERINSRC, 5, {8, 9, 0xFFFFFFFFu}},
                         {FG_LINETRIGGERINPOLARITY, 1, {2, 0xFFFFFFFFu}},
                         {FG_LINE_DOWNSCALE, 17, {0, 256, 0xFFFFFFFFu}},
                         {FG_LINE_DOWNSCALEINIT, 9, {0, 256, 0xFFFFFFFFu}},
                         {FG_SHAFTENCODERON, 1, {2, 0xFFFFFFFFu}},
                         {FG_SHAFTENCODERMODE, 3, {0, 4, 0xFFFFFFFFu}},
                         {FG_SHAFTENCODERINSRC, 6, {8, 0xFFFFFFFFu}},
                         {FG_SHAFTENCODERLEADING, 1, {2}},
                         {FG_SHAFTENCODER_COMPENSATION_ENABLE, 0, {2}},
                         {FG_SHAFTENCODER_COMPENSATION_COUNT, 12345, {1048576, 0xFFFFFFFFu}},
                         {FG_EXSYNCPOLARITY, 0, {2, 0xFFFFFFFFu}},
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
}

TEST_F(LineTrigger, RejectedTimesOfBothTriggersChangeNothing) {
    struct Case {
        int id;
        double accepted;
        std::vector<double> rejected;
    };
    const Case cases[] = {
        {FG_LINETRIGGERDEBOUNCING, 1.5, {0.0, 0.0079, 30.000001, 30.008, -1.0, kNaN, kInf, -kInf}},
        {FG_LINEPERIODE, 300.0, {0.504, 0.5119, 2097.152, 0.0, -200.0, kNaN, kInf}},
        {FG_LINEEXPOSURE, 25.0, {0.504, 0.0, -25.0, 300.008, 1048.568, kNaN, kInf, -kInf}},
        {FG_LINETRIGGERDELAY, 10.0, {-0.008, -1e-9, 1048.576, kNaN, kInf, -kInf}},
        {FG_IMGTRIGGERDEBOUNCING, 2.5, {0.0, 0.0079, 30.000001, 30.008, -1.0, kNaN, kInf, -kInf}},
    };
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        for (const Case& c : cases) {
            ASSERT_EQ(0, b.setD(c.id, c.accepted, port));
            const double bound = exposureBound(port);
            for (double bad : c.rejected) {
                expectRejectedD(b, c.id, bad, port);
                EXPECT_EQ(bound, exposureBound(port)) << bad;
            }
        }
    }
}

// ExSync and flash polarity: the design bit means low active; trigger input
// polarities are passed as they are (0 high active, 1 low active).
TEST_F(LineTrigger, IntegerWritesOfBothTriggersReachTheDesignOnTheirPort) {
    expectSingleWrites(
        b, {
               {FG_EXSYNCON, "Trigger_Trigger_ExsyncEnable", {{0, 0}, {1, 1}}},
               {FG_EXSYNCPOLARITY, "Trigger_Trigger_ExsyncPolarity", {{0, 1}, {1, 0}}},
               {FG_LINETRIGGERINPOLARITY, "Trigger_Trigger_LineTrgInPolarity", {{1, 1}, {0, 0}}},
               {FG_LINE_DOWNSCALE, "Trigger_Trigger_LineTrgDownscaler", {{1, 1}, {255, 255}}},
               {FG_LINE_DOWNSCALEINIT, "Trigger_Trigger_LineTrgPhase", {{1, 1}, {255, 255}}},
               {FG_SHAFTENCODERLEADING, "Trigger_Trigger_EncoderABLead", {{1, 1}, {0, 0}}},
               {FG_SHAFTENCODER_COMPENSATION_ENABLE, "Trigger_Trigger_EncoderCompensation", {{0, 0}, {1, 1}}},
               {FG_SHAFTENCODER_COMPENSATION_COUNT,
                "Trigger_Trigger_EncoderCompensationCount",
                {{1048575, 1048575}, {0, 0}}},
               {FG_IMGTRIGGERON, "Trigger_Trigger_ImgTriggerEnable", {{0, 0}, {1, 1}}},
               {FG_FLASHON, "Trigger_Trigger_FlashEnable", {{0, 0}, {1, 1}}},
               {FG_IMGTRIGGERINPOLARITY, "Trigger_Trigger_ImgTrgInPolarity", {{1, 1}, {0, 0}}},
               {FG_FLASH_POLARITY, "Trigger_Trigger_FlashPolarity", {{0, 1}, {1, 0}}},
               {FG_IMGTRIGGERGATEDELAY, "Trigger_Trigger_ImgTrgDelay", {{65535, 65535}, {0, 0}}},
               {FG_STROBEPULSEDELAY, "Trigger_Trigger_FlashDelay", {{65535, 65535}, {0, 0}}},
               {FG_SETSOFTWARETRIGGER, "Trigger_Trigger_SoftwareTrgInput", {{1, 1}, {0, 0}}},
           });
}

TEST_F(LineTrigger, InputSourcesSkipTheSoftwareTriggerSource) {
    const uint32_t designSource[8] = {0, 1, 2, 3, 5, 6, 7, 8};
    for (int port : {0, 1}) {
        for (uint32_t src = 0; src < 8; ++src) {
            SCOPED_TRACE("source " + std::to_string(src) + " port " + std::to_string(port));
            b.clearLog();
            ASSERT_EQ(0, b.set(FG_LINETRIGGERINSRC, src, port));
            ASSERT_EQ(0, b.set(FG_SHAFTENCODERINSRC, 7 - src, port));
            EXPECT_EQ((std::vector<Write>{u32w(trig(port, "LineTrgInSourceA"), designSource[src], port),
                                          u32w(trig(port, "LineTrgInSourceB"), designSource[7 - src], port)}),
                      writes(b.log()));
            EXPECT_EQ(src, b.u32(FG_LINETRIGGERINSRC, port));
            EXPECT_EQ(7 - src, b.u32(FG_SHAFTENCODERINSRC, port));
        }
    }
}

TEST_F(LineTrigger, TimesOfBothTriggersReachTheDesignUnchanged) {
    struct Case {
        int id;
        const char* design;
        std::vector<double> values;  // set in this order
    };
    const Case cases[] = {
        {FG_LINETRIGGERDEBOUNCING, "LineTrgDebouncingTime", {0.008, 30.0, 0.112}},
        {FG_LINETRIGGERDELAY, "Exsync2Delay", {0.0, 1048.568, 0.1 + 0.2}},
        {FG_LINEPERIODE, "ExsyncPeriod", {2097.144, 0.512}},
        {FG_LINEEXPOSURE, "ExsyncExposure", {0.512}},
        {FG_LINEPERIODE, "ExsyncPeriod", {200.0}},
        {FG_LINEEXPOSURE, "ExsyncExposure", {19.0}},
        {FG_IMGTRIGGERDEBOUNCING, "ImgTrgDebouncingTime", {0.008, 30.0, 0.112, 0.1 + 0.2}},
    };
    for (int port : {0, 1}) {
        for (const Case& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            for (double v : c.values) expectDoubleWrite(b, c.id, v, trig(port, c.design), port);
        }
    }
}

TEST_F(LineTrigger, ModeWritesItsDesignValueAndSetsExternalTriggerAccess) {
    struct Case {
        uint32_t mode, hw;
        int access;
    };
    const Case cases[] = {{2, 1, 7}, {1, 0, 1}, {5, 3, 7}, {6, 2, 1}, {2, 1, 7}};
    for (int port : {0, 1}) {
        const int other = 1 - port;
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, other));
        for (const Case& c : cases) {
            SCOPED_TRACE("mode " + std::to_string(c.mode) + " port " + std::to_string(port));
            EXPECT_EQ(std::vector<Write>{u32w(trig(port, "LineTriggerMode"), c.hw, port)},
                      writesOf(b, FG_LINETRIGGERMODE, c.mode, port));
            EXPECT_EQ(c.mode, b.u32(FG_LINETRIGGERMODE, port));
            expectAccess(kExternalTriggerParams, port, c.access);
            // The other port keeps its own mode and records.
            EXPECT_EQ(1u, b.u32(FG_LINETRIGGERMODE, other));
            expectAccess(kExternalTriggerParams, other, 1);
        }
    }
}

TEST_F(LineTrigger, EncoderRecordsFollowTheModeOnlyWhileTheEncoderIsOn) {
    // Steps: which parameter is set to what, then the external-trigger and the
    // encoder access (0: not checked).
    struct Step {
        int id;
        uint32_t v;
        int external, encoder;
    };
    const Step steps[] = {
        {FG_SHAFTENCODERON, 0, 0, 1},
        {FG_LINETRIGGERMODE, 2, 7, 1},  // encoder off: untouched by the mode
        {FG_SHAFTENCODERON, 1, 0, 7},   // switching on gives the records the access of the switch
        {FG_LINETRIGGERMODE, 6, 1, 1},
        // In a grabber-controlled mode the switch is read only, and so are the
        // encoder records after switching on.
        {FG_SHAFTENCODERON, 0, 0, 0},
        {FG_SHAFTENCODERON, 1, 0, 1},
        {FG_LINETRIGGERMODE, 5, 7, 7},
        {FG_SHAFTENCODERON, 0, 7, 1},  // off makes them read only whatever the mode
        {FG_LINETRIGGERMODE, 1, 1, 1},
    };
    for (int port : {0, 1}) {
        for (const Step& s : steps) {
            SCOPED_TRACE("parameter " + std::to_string(s.id) + " = " + std::to_string(s.v) + " port " +
                         std::to_string(port));
            ASSERT_EQ(0, b.set(s.id, s.v, port));
            if (s.external) expectAccess(kExternalTriggerParams, port, s.external);
            if (s.encoder) expectAccess(kShaftEncoderParams, port, s.encoder);
        }
    }
}

TEST_F(LineTrigger, EncoderModeIsAppliedOnlyWhileTheEncoderIsOn) {
    const std::vector<Write> none, ab2 = {u32w(trig(1, "EncoderABMode"), 2, 1)},
                                   ab3 = {u32w(trig(1, "EncoderABMode"), 3, 1)},
                                   ab0 = {u32w(trig(1, "EncoderABMode"), 0, 1)};
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, 1));
    EXPECT_EQ(none, writesOf(b, FG_SHAFTENCODERMODE, 2, 1));
    EXPECT_EQ(2u, b.u32(FG_SHAFTENCODERMODE, 1));
    EXPECT_EQ(ab2, writesOf(b, FG_SHAFTENCODERON, 1, 1));
    EXPECT_EQ(ab3, writesOf(b, FG_SHAFTENCODERMODE, 3, 1));
    EXPECT_EQ(ab0, writesOf(b, FG_SHAFTENCODERON, 0, 1));
    EXPECT_EQ(3u, b.u32(FG_SHAFTENCODERMODE, 1));
    EXPECT_EQ(ab3, writesOf(b, FG_SHAFTENCODERON, 1, 1));
}

// In the grabber-controlled modes (1, 6) the period bounds the exposure; in
// the others, and above the exposure limit, 1048.568 does. Port 1's changes
// leave port 0's bound alone.
TEST_F(LineTrigger, ExposureMaximumFollowsPeriodAndMode) {
    const double other = exposureBound(0);
    for (uint32_t mode : {1u, 6u}) {
        SCOPED_TRACE("mode " + std::to_string(mode));
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, mode, 1));
        ASSERT_EQ(0, b.setD(FG_LINEEXPOSURE, 10.0, 1));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, 1));
        EXPECT_EQ(100.0, exposureBound(1));
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 100.0, 1));
        expectRejectedD(b, FG_LINEEXPOSURE, 100.008, 1);
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 2000.0, 1));
        EXPECT_EQ(1048.568, exposureBound(1));
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 1048.568, 1));
        expectRejectedD(b, FG_LINEEXPOSURE, 1048.576, 1);
        // A shorter period narrows the bound but keeps the cached exposure.
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 0.512, 1));
        EXPECT_EQ(0.512, exposureBound(1));
        EXPECT_EQ(1048.568, b.dbl(FG_LINEEXPOSURE, 1));
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 0.512, 1));
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 0.52, 1));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, 1));
    }
    for (uint32_t mode : {2u, 5u}) {
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, mode, 1));
        EXPECT_EQ(1048.568, exposureBound(1)) << mode;
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 1048.568, 1)) << mode;
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 1048.576, 1)) << mode;
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 500.0, 1)) << mode;
    }
    // Back in a grabber-controlled mode the period bounds again; the
    // cached exposure of 500 stays until it is written.
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 6, 1));
    EXPECT_EQ(100.0, exposureBound(1));
    EXPECT_EQ(500.0, b.dbl(FG_LINEEXPOSURE, 1));
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, 1));
    EXPECT_EQ(other, exposureBound(0));
}

TEST_F(LineTrigger, CompensationCountIsReadFromTheDesign) {
    const std::string name = trig(1, "EncoderCompensationCount");
    ASSERT_EQ(0, b.set(FG_SHAFTENCODER_COMPENSATION_COUNT, 5, 1));
    b.setDesignU32(name.c_str(), 777);
    EXPECT_EQ(777u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, 1));

    SimBoard_FailParameter(b.dev(), name.c_str(), 0, kHostFault);
    uint32_t v = 0xABCD;
    EXPECT_EQ(kHostFault, b.get(FG_SHAFTENCODER_COMPENSATION_COUNT, &v, 1));
    EXPECT_EQ(kHostFault, b.lastError());
    EXPECT_EQ(0u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, 0)) << "port 0 reads its own count";
    SimBoard_ClearFaults(b.dev());
    EXPECT_EQ(777u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, 1));
}

// The sweep (test_fault_sweep) checks the code, the kept mode and the writes;
// here the records, which the failed write leaves on the new mode's side while
// the exposure bound stays on the old one's.
TEST_F(LineTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, 1));
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, 1));
    ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, 1));
    expectAccess(kExternalTriggerParams, 1, 1);

    expectFailingCall(b, 1, FG_LINETRIGGERMODE, 2, 1, kHostFault);
    expectAccess(kExternalTriggerParams, 1, 7);
    expectAccess(kShaftEncoderParams, 1, 7);
    EXPECT_EQ(100.0, exposureBound(1));
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, 1));
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
    // Modes 1 and 3 are refused and leave the records of the mode in force.
    const Case cases[] = {{0, 1, 1}, {2, 7, 1}, {8, 7, 7}, {1, 7, 7}, {2, 7, 1}, {5, 7, 1},
                          {8, 7, 7}, {6, 7, 1}, {0, 1, 1}, {3, 1, 1}, {8, 7, 7}, {0, 1, 1}};
    for (int port : {0, 1}) {
        const int other = 1 - port;
        ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 0, other));
        for (const Case& c : cases) {
            SCOPED_TRACE("mode " + std::to_string(c.mode) + " port " + std::to_string(port));
            if (c.mode == 1 || c.mode == 3)
                expectRejected(b, FG_IMGTRIGGERMODE, c.mode, port);
            else
                ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, c.mode, port));
            expectAccess(kTriggerInputParams, port, c.inputs);
            EXPECT_EQ(c.asyncHeight, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, port));
            // The other port keeps its free-run records.
            expectAccess(kTriggerInputParams, other, 1);
            EXPECT_EQ(1, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, other));
        }
    }
}

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

// The sweep (test_fault_sweep) checks the code, the kept mode and that only the
// writes before the failing one were made; here the records, which are changed
// before the design mode is written and stay changed when that write fails.
TEST_F(ImageTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    setGeometry(1);
    expectAccess(kTriggerInputParams, 1, 1);
    expectFailingCall(b, 1, FG_IMGTRIGGERMODE, 8, 1, kHostFault);
    expectAccess(kTriggerInputParams, 1, 7);
    EXPECT_EQ(7, flagsOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, 1));
}

}  // namespace
