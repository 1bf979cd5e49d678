// Line trigger, ExSync generation and shaft encoder of both camera ports, as
// an application sees them: typed writes and reads through the exports, the
// design writes in the board's log, and the parameter records the host gets.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;  // an error code the simulated host is told to answer
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

const int kExternalTriggerParams[] = {FG_LINETRIGGERINSRC, FG_LINETRIGGERINPOLARITY, FG_LINETRIGGERDEBOUNCING,
                                      FG_LINE_DOWNSCALE,   FG_LINE_DOWNSCALEINIT,    FG_SHAFTENCODERON};
const int kShaftEncoderParams[] = {FG_SHAFTENCODERMODE, FG_SHAFTENCODERINSRC, FG_SHAFTENCODERLEADING,
                                   FG_SHAFTENCODER_COMPENSATION_ENABLE, FG_SHAFTENCODER_COMPENSATION_COUNT};

std::string trig(int port, const char* name) { return dp(port, (std::string("Trigger_Trigger_") + name).c_str()); }

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

class LineTrigger : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    int access(int port, int id) {
        RegisterInfo* r = b.record(port, id);
        EXPECT_NE(nullptr, r) << "no record for " << id << " on port " << port;
        return r ? r->accessFlags : -1;
    }
    void expectAccess(int port, const int* ids, int n, int flags) {
        for (int i = 0; i < n; ++i) EXPECT_EQ(flags, access(port, ids[i])) << "parameter " << ids[i];
    }
    void expectExternalAccess(int port, int flags) { expectAccess(port, kExternalTriggerParams, 6, flags); }
    void expectEncoderAccess(int port, int flags) { expectAccess(port, kShaftEncoderParams, 5, flags); }

    double exposureBound(int port) {
        RegisterInfo* r = b.record(port, FG_LINEEXPOSURE);
        EXPECT_NE(nullptr, r);
        if (!r) return -1.0;
        EXPECT_EQ(REG_FORMAT_DOUBLE, r->format);
        return r->u.dReg.to;
    }

    // A single logged double write.
    void expectDoubleWrite(const std::string& name, double v, int port) {
        std::vector<SimLogEntry> log = b.log();
        ASSERT_EQ(1u, log.size()) << name;
        EXPECT_EQ(name, log[0].name ? log[0].name : "");
        EXPECT_EQ(FG_PARAM_TYPE_DOUBLE, log[0].type);
        EXPECT_EQ(unsigned(port), log[0].dma);
        EXPECT_TRUE(sameBits(v, log[0].d)) << log[0].d << " written, " << v << " expected";
    }

    Board b;
};

// ---- rejected values ---------------------------------------------------------

struct U32Rejects {
    int id;
    uint32_t accepted;  // set first, must survive the rejected writes
    std::vector<uint32_t> rejected;
};

TEST_F(LineTrigger, RejectedIntegerValuesChangeNothing) {
    const U32Rejects cases[] = {
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

struct DoubleRejects {
    int id;
    double accepted;
    std::vector<double> rejected;
};

TEST_F(LineTrigger, RejectedTimesChangeNothing) {
    const DoubleRejects cases[] = {
        {FG_LINETRIGGERDEBOUNCING, 1.5, {0.0, 0.0079, 30.000001, 30.008, -1.0, kNaN, kInf, -kInf}},
        {FG_LINEPERIODE, 300.0, {0.504, 0.5119, 2097.152, 0.0, -200.0, kNaN, kInf}},
        {FG_LINEEXPOSURE, 25.0, {0.504, 0.0, -25.0, 300.008, 1048.568, kNaN, kInf, -kInf}},
        {FG_LINETRIGGERDELAY, 10.0, {-0.008, -1e-9, 1048.576, kNaN, kInf, -kInf}},
    };
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        for (const DoubleRejects& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.setD(c.id, c.accepted, port));
            const double bound = exposureBound(port);
            for (double bad : c.rejected) {
                b.clearLog();
                EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(c.id, bad, port)) << bad;
                EXPECT_TRUE(b.log().empty()) << bad;
                EXPECT_TRUE(sameBits(c.accepted, b.dbl(c.id, port))) << bad;
                EXPECT_EQ(bound, exposureBound(port)) << bad;
            }
        }
    }
}

// ---- accepted values reach the design ----------------------------------------

struct U32Write {
    int id;
    uint32_t value;
    const char* design;  // after "Trigger_Trigger_"
    uint32_t written;
};

TEST_F(LineTrigger, IntegerWritesReachTheDesignOnTheirPort) {
    const U32Write cases[] = {
        {FG_EXSYNCON, 0, "ExsyncEnable", 0},
        {FG_EXSYNCON, 1, "ExsyncEnable", 1},
        // ExSync polarity: the design bit means low active.
        {FG_EXSYNCPOLARITY, 0, "ExsyncPolarity", 1},
        {FG_EXSYNCPOLARITY, 1, "ExsyncPolarity", 0},
        // Trigger input polarity is passed as it is (0 high active, 1 low active).
        {FG_LINETRIGGERINPOLARITY, 1, "LineTrgInPolarity", 1},
        {FG_LINETRIGGERINPOLARITY, 0, "LineTrgInPolarity", 0},
        {FG_LINE_DOWNSCALE, 1, "LineTrgDownscaler", 1},
        {FG_LINE_DOWNSCALE, 255, "LineTrgDownscaler", 255},
        {FG_LINE_DOWNSCALEINIT, 1, "LineTrgPhase", 1},
        {FG_LINE_DOWNSCALEINIT, 255, "LineTrgPhase", 255},
        {FG_SHAFTENCODERLEADING, 1, "EncoderABLead", 1},
        {FG_SHAFTENCODERLEADING, 0, "EncoderABLead", 0},
        {FG_SHAFTENCODER_COMPENSATION_ENABLE, 0, "EncoderCompensation", 0},
        {FG_SHAFTENCODER_COMPENSATION_ENABLE, 1, "EncoderCompensation", 1},
        {FG_SHAFTENCODER_COMPENSATION_COUNT, 1048575, "EncoderCompensationCount", 1048575},
        {FG_SHAFTENCODER_COMPENSATION_COUNT, 0, "EncoderCompensationCount", 0},
    };
    for (int port : {0, 1}) {
        for (const U32Write& c : cases) {
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
            // Reads give the SDK source back.
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
            b.clearLog();
            ASSERT_EQ(0, b.setD(c.id, c.value, port));
            expectDoubleWrite(trig(port, c.design), c.value, port);
            EXPECT_TRUE(sameBits(c.value, b.dbl(c.id, port)));
        }
    }
}

// ---- line trigger mode ---------------------------------------------------------

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
            b.clearLog();
            ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, c.mode, port));
            EXPECT_EQ(std::vector<Write>{u32w(trig(port, "LineTriggerMode"), c.hw, port)}, writes(b.log()));
            EXPECT_EQ(c.mode, b.u32(FG_LINETRIGGERMODE, port));
            expectExternalAccess(port, c.access);
            // The other port keeps its own mode and records.
            EXPECT_EQ(1u, b.u32(FG_LINETRIGGERMODE, other));
            expectExternalAccess(other, 1);
        }
    }
}

TEST_F(LineTrigger, EncoderRecordsFollowTheModeOnlyWhileTheEncoderIsOn) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        expectEncoderAccess(port, 1);

        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 2, port));
        expectExternalAccess(port, 7);
        expectEncoderAccess(port, 1);  // encoder off: untouched by the mode

        // Switching on gives the encoder records the access of the switch.
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        expectEncoderAccess(port, 7);

        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 6, port));
        expectExternalAccess(port, 1);
        expectEncoderAccess(port, 1);

        // In a grabber-controlled mode the switch is read only, and so are the
        // encoder records after switching on.
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        expectEncoderAccess(port, 1);

        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 5, port));
        expectExternalAccess(port, 7);
        expectEncoderAccess(port, 7);

        // Off makes them read only whatever the mode.
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        expectEncoderAccess(port, 1);
        expectExternalAccess(port, 7);

        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        expectExternalAccess(port, 1);
        expectEncoderAccess(port, 1);
    }
}

TEST_F(LineTrigger, EncoderModeIsAppliedOnlyWhileTheEncoderIsOn) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        const std::string ab = trig(port, "EncoderABMode");
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));

        b.clearLog();
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERMODE, 2, port));
        EXPECT_TRUE(b.log().empty());
        EXPECT_EQ(2u, b.u32(FG_SHAFTENCODERMODE, port));

        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        EXPECT_EQ(std::vector<Write>{u32w(ab, 2, port)}, writes(b.log()));

        b.clearLog();
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERMODE, 3, port));
        EXPECT_EQ(std::vector<Write>{u32w(ab, 3, port)}, writes(b.log()));

        b.clearLog();
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        EXPECT_EQ(std::vector<Write>{u32w(ab, 0, port)}, writes(b.log()));
        EXPECT_EQ(0u, b.u32(FG_SHAFTENCODERON, port));
        EXPECT_EQ(3u, b.u32(FG_SHAFTENCODERMODE, port));

        b.clearLog();
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        EXPECT_EQ(std::vector<Write>{u32w(ab, 3, port)}, writes(b.log()));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
    }
}

// ---- exposure maximum -------------------------------------------------------------

TEST_F(LineTrigger, ExposureIsLimitedByThePeriodInGrabberControlledModes) {
    for (int port : {0, 1}) {
        for (uint32_t mode : {1u, 6u}) {
            SCOPED_TRACE("mode " + std::to_string(mode) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, mode, port));
            ASSERT_EQ(0, b.setD(FG_LINEEXPOSURE, 10.0, port));
            ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, port));
            EXPECT_EQ(100.0, exposureBound(port));

            EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 100.0, port));
            EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, port));
            EXPECT_EQ(100.0, b.dbl(FG_LINEEXPOSURE, port));

            // Above the exposure limit the period no longer bounds it.
            ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 2000.0, port));
            EXPECT_EQ(1048.568, exposureBound(port));
            EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 1048.568, port));
            EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 1048.576, port));
            EXPECT_EQ(1048.568, exposureBound(port));

            // A shorter period narrows the bound but keeps the cached exposure.
            ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 0.512, port));
            EXPECT_EQ(0.512, exposureBound(port));
            EXPECT_EQ(1048.568, b.dbl(FG_LINEEXPOSURE, port));
            EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 0.512, port));
            EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 0.52, port));
            ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 200.0, port));
        }
    }
}

TEST_F(LineTrigger, ExposureMaximumFollowsModeChanges) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        ASSERT_EQ(0, b.setD(FG_LINEEXPOSURE, 10.0, port));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, port));
        const double other = exposureBound(1 - port);

        for (uint32_t mode : {2u, 5u}) {
            ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, mode, port));
            EXPECT_EQ(1048.568, exposureBound(port)) << mode;
            EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 1048.568, port)) << mode;
            EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 1048.576, port)) << mode;
            EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 500.0, port)) << mode;
        }
        // Back in a grabber-controlled mode the period bounds again; the
        // cached exposure of 500 stays until it is written.
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 6, port));
        EXPECT_EQ(100.0, exposureBound(port));
        EXPECT_EQ(500.0, b.dbl(FG_LINEEXPOSURE, port));
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, port));
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        EXPECT_EQ(100.0, exposureBound(port));

        EXPECT_EQ(other, exposureBound(1 - port));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 200.0, port));
        ASSERT_EQ(0, b.setD(FG_LINEEXPOSURE, 19.0, port));
    }
}

// ---- live compensation count -------------------------------------------------------

TEST_F(LineTrigger, CompensationCountIsReadFromTheDesign) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        const std::string name = trig(port, "EncoderCompensationCount");
        ASSERT_EQ(0, b.set(FG_SHAFTENCODER_COMPENSATION_COUNT, 5, port));
        b.setDesignU32(name.c_str(), 777);
        EXPECT_EQ(777u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, port));

        SimBoard_FailParameter(b.dev(), name.c_str(), 0, kHostFault);
        uint32_t v = 0xABCD;
        EXPECT_EQ(kHostFault, b.get(FG_SHAFTENCODER_COMPENSATION_COUNT, &v, port));
        EXPECT_EQ(kHostFault, b.lastError());
        SimBoard_ClearFaults(b.dev());
        EXPECT_EQ(777u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, port));
    }
}

// ---- failing design writes ------------------------------------------------------------

TEST_F(LineTrigger, FailingDesignWriteKeepsTheOldValue) {
    struct Case {
        int id;
        uint32_t before, attempted;
        const char* design;
    };
    const Case cases[] = {
        {FG_EXSYNCON, 1, 0, "ExsyncEnable"},
        {FG_EXSYNCPOLARITY, 1, 0, "ExsyncPolarity"},
        {FG_LINETRIGGERINSRC, 1, 7, "LineTrgInSourceA"},
        {FG_LINETRIGGERINPOLARITY, 0, 1, "LineTrgInPolarity"},
        {FG_LINE_DOWNSCALE, 1, 200, "LineTrgDownscaler"},
        {FG_LINE_DOWNSCALEINIT, 1, 100, "LineTrgPhase"},
        {FG_SHAFTENCODERINSRC, 2, 4, "LineTrgInSourceB"},
        {FG_SHAFTENCODERLEADING, 0, 1, "EncoderABLead"},
        {FG_SHAFTENCODER_COMPENSATION_ENABLE, 1, 0, "EncoderCompensation"},
        {FG_LINETRIGGERMODE, 1, 2, "LineTriggerMode"},
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

            // The same write goes through once the design accepts it again.
            EXPECT_EQ(0, b.set(c.id, c.attempted, port));
            EXPECT_EQ(c.attempted, b.u32(c.id, port));
            ASSERT_EQ(0, b.set(c.id, c.before, port));
        }
    }
}

TEST_F(LineTrigger, FailingTimeWriteKeepsTheOldValueAndBound) {
    struct Case {
        int id;
        double before, attempted;
        const char* design;
    };
    const Case cases[] = {
        {FG_LINETRIGGERDEBOUNCING, 0.112, 5.0, "LineTrgDebouncingTime"},
        {FG_LINETRIGGERDELAY, 0.0, 3.0, "Exsync2Delay"},
        {FG_LINEPERIODE, 200.0, 50.0, "ExsyncPeriod"},
        {FG_LINEEXPOSURE, 19.0, 20.0, "ExsyncExposure"},
    };
    for (int port : {0, 1}) {
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        for (const Case& c : cases) {
            SCOPED_TRACE("parameter " + std::to_string(c.id) + " port " + std::to_string(port));
            ASSERT_EQ(0, b.setD(c.id, c.before, port));
            const double bound = exposureBound(port);
            SimBoard_FailParameter(b.dev(), trig(port, c.design).c_str(), 1, kHostFault);
            EXPECT_EQ(kHostFault, b.setD(c.id, c.attempted, port));
            EXPECT_EQ(c.before, b.dbl(c.id, port));
            EXPECT_EQ(bound, exposureBound(port));
            SimBoard_ClearFaults(b.dev());
        }
        // The failed period left the exposure limited by the old one.
        EXPECT_EQ(200.0, exposureBound(port));
        EXPECT_EQ(0, b.setD(FG_LINEEXPOSURE, 150.0, port));
        ASSERT_EQ(0, b.setD(FG_LINEEXPOSURE, 19.0, port));
    }
}

TEST_F(LineTrigger, FailingModeWriteKeepsTheModeButNotTheAccess) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 100.0, port));
        expectExternalAccess(port, 1);

        SimBoard_FailNthHostCall(b.dev(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_LINETRIGGERMODE, 2, port));
        EXPECT_EQ(1u, b.u32(FG_LINETRIGGERMODE, port));
        // The records were opened before the write and stay open; the exposure
        // bound is only moved after a successful write.
        expectExternalAccess(port, 7);
        expectEncoderAccess(port, 7);
        EXPECT_EQ(100.0, exposureBound(port));
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.setD(FG_LINEEXPOSURE, 100.008, port));

        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        ASSERT_EQ(0, b.setD(FG_LINEPERIODE, 200.0, port));
    }
}

TEST_F(LineTrigger, FailingEncoderSwitchKeepsStateAndAccess) {
    for (int port : {0, 1}) {
        SCOPED_TRACE("port " + std::to_string(port));
        const std::string ab = trig(port, "EncoderABMode");
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 2, port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        ASSERT_EQ(0, b.set(FG_SHAFTENCODERMODE, 2, port));

        SimBoard_FailParameter(b.dev(), ab.c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_SHAFTENCODERON, 1, port));
        EXPECT_EQ(0u, b.u32(FG_SHAFTENCODERON, port));
        expectEncoderAccess(port, 1);
        // With the encoder off the mode does not reach the design and cannot fail.
        EXPECT_EQ(0, b.set(FG_SHAFTENCODERMODE, 3, port));
        SimBoard_ClearFaults(b.dev());

        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, port));
        EXPECT_EQ(3u, b.designU32(ab.c_str()));
        expectEncoderAccess(port, 7);

        SimBoard_FailParameter(b.dev(), ab.c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_SHAFTENCODERMODE, 1, port));
        EXPECT_EQ(3u, b.u32(FG_SHAFTENCODERMODE, port));
        EXPECT_EQ(kHostFault, b.set(FG_SHAFTENCODERON, 0, port));
        EXPECT_EQ(1u, b.u32(FG_SHAFTENCODERON, port));
        expectEncoderAccess(port, 7);
        SimBoard_ClearFaults(b.dev());

        ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 0, port));
        ASSERT_EQ(0, b.set(FG_LINETRIGGERMODE, 1, port));
    }
}

TEST_F(LineTrigger, CompensationCountWriteFailureIsReported) {
    for (int port : {0, 1}) {
        const std::string name = trig(port, "EncoderCompensationCount");
        ASSERT_EQ(0, b.set(FG_SHAFTENCODER_COMPENSATION_COUNT, 10, port));
        SimBoard_FailParameter(b.dev(), name.c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_SHAFTENCODER_COMPENSATION_COUNT, 20, port));
        SimBoard_ClearFaults(b.dev());
        EXPECT_EQ(10u, b.u32(FG_SHAFTENCODER_COMPENSATION_COUNT, port));
    }
}

}  // namespace
