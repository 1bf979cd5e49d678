// Line trigger, ExSync generation and shaft encoder of both camera ports: typed
// writes and reads through the exports, the design writes in the board's log,
// and the parameter records the host gets.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

const int kExternalTriggerParams[] = {FG_LINETRIGGERINSRC, FG_LINETRIGGERINPOLARITY, FG_LINETRIGGERDEBOUNCING,
                                      FG_LINE_DOWNSCALE,   FG_LINE_DOWNSCALEINIT,    FG_SHAFTENCODERON};
const int kShaftEncoderParams[] = {FG_SHAFTENCODERMODE, FG_SHAFTENCODERINSRC, FG_SHAFTENCODERLEADING,
                                   FG_SHAFTENCODER_COMPENSATION_ENABLE, FG_SHAFTENCODER_COMPENSATION_COUNT};

std::string trig(int port, const char* name) { return dp(port, (std::string("Trigger_Trigger_") + name).c_str()); }

class LineTrigger : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    void expectExternalAccess(int port, int flags) {
        for (int id : kExternalTriggerParams) EXPECT_EQ(flags, flagsOf(b, id, port)) << "parameter " << id;
    }
    void expectEncoderAccess(int port, int flags) {
        for (int id : kShaftEncoderParams) EXPECT_EQ(flags, flagsOf(b, id, port)) << "parameter " << id;
    }
    double exposureBound(int port) { return doubleMax(b, FG_LINEEXPOSURE, port); }

    Board b;
};

// ---- rejected values ---------------------------------------------------------

TEST_F(LineTrigger, RejectedIntegerValuesChangeNothing) {
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
                     });
}

TEST_F(LineTrigger, RejectedTimesChangeNothing) {
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

// ---- accepted values reach the design ----------------------------------------

TEST_F(LineTrigger, IntegerWritesReachTheDesignOnTheirPort) {
    expectSingleWrites(
        b, {
               {FG_EXSYNCON, 0, "Trigger_Trigger_ExsyncEnable", 0},
               {FG_EXSYNCON, 1, "Trigger_Trigger_ExsyncEnable", 1},
               // ExSync polarity: the design bit means low active.
               {FG_EXSYNCPOLARITY, 0, "Trigger_Trigger_ExsyncPolarity", 1},
               {FG_EXSYNCPOLARITY, 1, "Trigger_Trigger_ExsyncPolarity", 0},
               // Trigger input polarity is passed as it is (0 high active, 1 low active).
               {FG_LINETRIGGERINPOLARITY, 1, "Trigger_Trigger_LineTrgInPolarity", 1},
               {FG_LINETRIGGERINPOLARITY, 0, "Trigger_Trigger_LineTrgInPolarity", 0},
               {FG_LINE_DOWNSCALE, 1, "Trigger_Trigger_LineTrgDownscaler", 1},
               {FG_LINE_DOWNSCALE, 255, "Trigger_Trigger_LineTrgDownscaler", 255},
               {FG_LINE_DOWNSCALEINIT, 1, "Trigger_Trigger_LineTrgPhase", 1},
               {FG_LINE_DOWNSCALEINIT, 255, "Trigger_Trigger_LineTrgPhase", 255},
               {FG_SHAFTENCODERLEADING, 1, "Trigger_Trigger_EncoderABLead", 1},
               {FG_SHAFTENCODERLEADING, 0, "Trigger_Trigger_EncoderABLead", 0},
               {FG_SHAFTENCODER_COMPENSATION_ENABLE, 0, "Trigger_Trigger_EncoderCompensation", 0},
               {FG_SHAFTENCODER_COMPENSATION_ENABLE, 1, "Trigger_Trigger_EncoderCompensation", 1},
               {FG_SHAFTENCODER_COMPENSATION_COUNT, 1048575, "Trigger_Trigger_EncoderCompensationCount", 1048575},
               {FG_SHAFTENCODER_COMPENSATION_COUNT, 0, "Trigger_Trigger_EncoderCompensationCount", 0},
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

TEST_F(LineTrigger, TimesReachTheDesignUnchanged) {
    struct Case {
        int id;
        double value;
        const char* design;
    };
    const Case cases[] = {
        {FG_LINETRIGGERDEBOUNCING, 0.008, "LineTrgDebouncingTime"},
        {FG_LINETRIGGERDEBOUNCING, 30.0, "LineTrgDebouncingTime"},
        {FG_LINETRIGGERDEBOUNCING, 0.112, "LineTrgDebouncingTime"},
        {FG_LINETRIGGERDELAY, 0.0, "Exsync2Delay"},
        {FG_LINETRIGGERDELAY, 1048.568, "Exsync2Delay"},
        {FG_LINETRIGGERDELAY, 0.1 + 0.2, "Exsync2Delay"},
        {FG_LINEPERIODE, 2097.144, "ExsyncPeriod"},
        {FG_LINEPERIODE, 0.512, "ExsyncPeriod"},
        {FG_LINEEXPOSURE, 0.512, "ExsyncExposure"},
        {FG_LINEPERIODE, 200.0, "ExsyncPeriod"},
        {FG_LINEEXPOSURE, 19.0, "ExsyncExposure"},
    };
    for (int port : {0, 1}) {
        for (const Case& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            expectDoubleWrite(b, c.id, c.value, trig(port, c.design), port);
        }
    }
}

// ---- line trigger mode and shaft encoder ------------------------------------------

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
            expectExternalAccess(port, c.access);
            // The other port keeps its own mode and records.
            EXPECT_EQ(1u, b.u32(FG_LINETRIGGERMODE, other));
            expectExternalAccess(other, 1);
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
            if (s.external) expectExternalAccess(port, s.external);
            if (s.encoder) expectEncoderAccess(port, s.encoder);
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

// ---- exposure maximum -------------------------------------------------------------

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

// ---- failing design writes ------------------------------------------------------------

// The sweep (test_fault_sweep) checks the code, the kept mode and the writes;
// here the records, which the failed write leaves on the new mode's side while
// the exposure bound stays on the old one's.
TEST_F(LineTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, 1));
    ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, 1));
    ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, 1));
    expectExternalAccess(1, 1);

    expectFailingCall(b, 1, FG_LINETRIGGERMODE, 2, 1, kHostFault);
    expectExternalAccess(1, 7);
    expectEncoderAccess(1, 7);
    EXPECT_EQ(100.0, exposureBound(1));
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, 1));
}

}  // namespace
