// The shortcuts of typed access against the general paths they stand for: the
// record index against the range map (also with direct register access), and
// the runtime's direct 32-bit, double and table accesses against converted ones.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "applet_object.h"

namespace {

const int kSdkIds[] = {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) ID,
#include "sdk_params.def"
};

// An applet object started up on a simulated device, without default values.
class StartedApplet : public orvtest::AppletObjectTest {
protected:
    void start(bool directRegisterAccess) {
        if (directRegisterAccess) setenv("TERVIK_ENABLE_DRA", "1", 1);
        open();
        if (HasFatalFailure()) return;
        startUp();
        host = w->talrunFg();
    }
    void TearDown() override {
        close();
        unsetenv("TERVIK_ENABLE_DRA");
        host = nullptr;
    }

    // Host calls on the host board handle, as the applet makes them.
    int hostSet(const char* name, const void* v, FgParamTypes t) {
        return Fg_setParameterWithType(host, SimBoard_ParameterId(dev, name), v, 0, t);
    }
    int hostGet(const char* name, void* v, FgParamTypes t) {
        return Fg_getParameterWithType(host, SimBoard_ParameterId(dev, name), v, 0, t);
    }
    SimLogEntry lastLogged() {
        SimLogEntry e;
        std::memset(&e, 0, sizeof e);
        EXPECT_EQ(0, SimBoard_LogEntry(dev, SimBoard_LogCount(dev) - 1, &e));
        return e;
    }

    Fg_Struct* host = nullptr;
};

const char kPulse[] = "Device1_Process0_Trigger_Trigger_SoftwareTrgPulse";    // 32-bit
const char kExposure[] = "Device1_Process0_Trigger_Trigger_ExsyncExposure";   // double
const char kTable[] = "Device1_Process0_LookupTable_LookupTable_LUTcontent";  // 4096 x 32-bit

}  // namespace

TEST_F(StartedApplet, RecordIndexHoldsTheRangeMapsSdkRecords) {
    for (bool dra : {false, true}) {
        SCOPED_TRACE(dra ? "direct register access" : "plain");
        TearDown();
        start(dra);
        for (int port = 0; port < kPortCount; ++port) {
            for (int id : kSdkIds) {
                EXPECT_EQ(w->registeredInfo(port, id), w->info(port, id)) << "port " << port << " id " << id;
            }
            // Identities named as constants take the folded path.
            EXPECT_EQ(w->registeredInfo(port, FG_XOFFSET), w->info(port, FG_XOFFSET));
            EXPECT_NE(nullptr, w->info(port, FG_LINEEXPOSURE));
            // Other identities are looked up in the map: none, or the register records.
            EXPECT_EQ(nullptr, w->info(port, 12345));
            EXPECT_EQ(w->registeredInfo(port, 1000001), w->info(port, 1000001));
            EXPECT_EQ(dra, w->info(port, 1000001) != nullptr);
        }
        EXPECT_EQ(nullptr, w->info(2, FG_WIDTH));
        EXPECT_EQ(nullptr, w->info(-1, FG_WIDTH));
    }
}

TEST_F(StartedApplet, DirectScalarAccessMatchesTheConvertedOne) {
    start(false);
    // A 32-bit parameter written as UINT32_T (direct) and as UINT64_T (converted).
    const uint32_t direct = 0xFFFFFFFFu;
    ASSERT_EQ(0, hostSet(kPulse, &direct, FG_PARAM_TYPE_UINT32_T));
    const SimLogEntry d = lastLogged();
    const uint64_t wide = 0xFFFFFFFFu;
    ASSERT_EQ(0, hostSet(kPulse, &wide, FG_PARAM_TYPE_UINT64_T));
    const SimLogEntry c = lastLogged();
    EXPECT_EQ((std::vector<uint64_t>{c.u, uint64_t(c.id)}), (std::vector<uint64_t>{d.u, uint64_t(d.id)}));
    EXPECT_EQ(FG_PARAM_TYPE_UINT32_T, d.type);
    uint32_t back32 = 0;
    uint64_t back64 = 0;
    ASSERT_EQ(0, hostGet(kPulse, &back32, FG_PARAM_TYPE_UINT32_T));
    ASSERT_EQ(0, hostGet(kPulse, &back64, FG_PARAM_TYPE_UINT64_T));
    EXPECT_EQ((std::vector<uint64_t>{0xFFFFFFFFu, 0xFFFFFFFFu}), (std::vector<uint64_t>{back32, back64}));

    // A double parameter written as DOUBLE keeps every bit, as the design holds it.
    const double exposure = 19.000000000000004;
    ASSERT_EQ(0, hostSet(kExposure, &exposure, FG_PARAM_TYPE_DOUBLE));
    const SimLogEntry e = lastLogged();
    EXPECT_EQ(0, std::memcmp(&exposure, &e.d, sizeof exposure));
    double back = 0, held = 0;
    ASSERT_EQ(0, hostGet(kExposure, &back, FG_PARAM_TYPE_DOUBLE));
    ASSERT_EQ(0, SimBoard_GetValue(dev, kExposure, FG_PARAM_TYPE_DOUBLE, &held));
    EXPECT_EQ(0, std::memcmp(&exposure, &back, sizeof back));
    EXPECT_EQ(0, std::memcmp(&exposure, &held, sizeof held));
}

TEST_F(StartedApplet, DirectTableWriteMatchesTheConvertedOne) {
    start(false);
    // Part of the table from 32-bit unsigned elements (copied directly) and
    // the same part from 64-bit signed elements (converted one by one).
    std::vector<uint32_t> u32;
    for (uint32_t k = 0; k < 100; ++k) u32.push_back(4095 - k * 7);
    std::vector<int64_t> i64(u32.begin(), u32.end());
    FieldParameterAccess a;
    std::memset(&a, 0, sizeof a);
    a.index = 1000;
    a.count = 100;

    a.vtype = FG_PARAM_TYPE_UINT32_T;
    a.p_uint32_t = u32.data();
    ASSERT_EQ(0, hostSet(kTable, &a, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    const SimLogEntry direct = lastLogged();
    std::vector<uint64_t> directValues(direct.fieldValues, direct.fieldValues + direct.fieldCount);

    SimBoard_LogClear(dev);
    for (size_t k = 0; k < 100; ++k) EXPECT_EQ(0, SimBoard_SetFieldElement(dev, kTable, 1000 + k, 0));
    a.vtype = FG_PARAM_TYPE_INT64_T;
    a.p_int64_t = i64.data();
    ASSERT_EQ(0, hostSet(kTable, &a, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    const SimLogEntry converted = lastLogged();

    EXPECT_EQ(converted.fieldIndex, direct.fieldIndex);
    ASSERT_EQ(converted.fieldCount, direct.fieldCount);
    EXPECT_EQ(converted.u, direct.u);
    EXPECT_EQ(std::vector<uint64_t>(converted.fieldValues, converted.fieldValues + converted.fieldCount), directValues);
    for (size_t k = 0; k < 100; ++k) {
        double v = -1;
        ASSERT_EQ(0, SimBoard_GetFieldElement(dev, kTable, 1000 + k, &v));
        EXPECT_EQ(double(u32[k]), v) << "element " << 1000 + k;
    }
    // Elements around the range are untouched.
    for (unsigned k : {999u, 1100u}) {
        double v = -1;
        ASSERT_EQ(0, SimBoard_GetFieldElement(dev, kTable, k, &v));
        EXPECT_EQ(0.0, v) << "element " << k;
    }
}
