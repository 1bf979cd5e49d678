// Type selectors and element types as a C host may pass them: any 32-bit
// number, also far outside the values the enumeration names. The applet must
// read them as numbers (in the sanitizer build, reading such a value as the
// C++ enumeration aborts the test): selectors it does not know are ignored for
// its own parameters, refused by the host for the host's, and element types
// it does not know are refused, with nothing written.
#include <gtest/gtest.h>

#include <climits>

#include "board_fixture.h"
#include "hostile_calls.h"

using namespace orvtest;

namespace {

const int32_t kSelectors[] = {INT32_MIN, -16385, -2, 77, 16383, 16384, 0x40000000, INT32_MAX};
const int kHostBase = 2000000;

class HostileSelectors : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }
    Board b;
};

TEST_F(HostileSelectors, AnySelectorIsIgnoredForTheAppletsOwnParameters) {
    uint32_t width = 1024;
    for (int32_t selector : kSelectors) {
        SCOPED_TRACE(selector);
        width = width == 1024 ? 2048 : 1024;
        ASSERT_EQ(0, hostileSet(b.fg(), FG_WIDTH, &width, 1, selector));
        uint32_t back = 0;
        ASSERT_EQ(0, hostileGet(b.fg(), FG_WIDTH, &back, 1, selector));
        EXPECT_EQ(width, back);
        EXPECT_EQ(0, b.lastError());
        double period = 0;
        ASSERT_EQ(0, hostileGet(b.fg(), FG_LINEPERIODE, &period, 0, selector));
        EXPECT_EQ(b.dbl(FG_LINEPERIODE, 0), period);
    }
}

TEST_F(HostileSelectors, TheHostRefusesSelectorsItDoesNotKnowAndNothingIsWritten) {
    const std::string name = dp(0, "Buffer_0_DRAM_A_0_XLength");
    const int hostId = SimBoard_ParameterId(b.dev(), name.c_str());
    ASSERT_GT(hostId, 0);
    const uint32_t before = b.designU32(name.c_str());
    for (int32_t selector : kSelectors) {
        SCOPED_TRACE(selector);
        uint32_t v = before + 16;
        const int rc = hostileSet(b.fg(), kHostBase + hostId, &v, 0, selector);
        EXPECT_NE(0, rc);
        EXPECT_EQ(rc, b.lastError());
        EXPECT_EQ(before, b.designU32(name.c_str()));
        uint64_t back[4] = {0, 0, 0, 0};
        const int rr = hostileGet(b.fg(), kHostBase + hostId, back, 0, selector);
        EXPECT_NE(0, rr);
        EXPECT_EQ(rr, b.lastError());
    }
    // The named selector still works.
    uint32_t v = before + 16;
    EXPECT_EQ(0, hostileSet(b.fg(), kHostBase + hostId, &v, 0, FG_PARAM_TYPE_UINT32_T));
    EXPECT_EQ(before + 16, b.designU32(name.c_str()));
}

TEST_F(HostileSelectors, UnknownElementTypesOfTableRecordsAreRefused) {
    std::vector<uint32_t> table(4096, 0);
    FieldParameterAccess all = fieldAccess(FG_PARAM_TYPE_UINT32_T, 0, 4096, table.data());
    ASSERT_EQ(0, Fg_getParameterWithType(b.fg(), FG_LUT_VALUE, &all, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    const std::vector<uint32_t> before = table;

    const std::string lut = dp(0, "LookupTable_LookupTable_LUTcontent");
    const int lutId = SimBoard_ParameterId(b.dev(), lut.c_str());
    ASSERT_GT(lutId, 0);
    for (int32_t vtype : kSelectors) {
        SCOPED_TRACE(vtype);
        uint32_t elements[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        FieldParameterAccess a = fieldAccess(FG_PARAM_TYPE_UINT32_T, 100, 4, elements);
        hostileElementType(&a, vtype);
        // The applet's table: refused on write and on read.
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER,
                  Fg_setParameterWithType(b.fg(), FG_LUT_VALUE, &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER,
                  Fg_getParameterWithType(b.fg(), FG_LUT_VALUE, &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
        // The design's table through the host range: refused by the host.
        EXPECT_NE(0, Fg_setParameterWithType(b.fg(), kHostBase + lutId, &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
        EXPECT_NE(0, Fg_getParameterWithType(b.fg(), kHostBase + lutId, &a, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
        EXPECT_EQ(1u, elements[0]);
    }
    ASSERT_EQ(0, Fg_getParameterWithType(b.fg(), FG_LUT_VALUE, &all, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS));
    EXPECT_EQ(before, table) << "a refused record changed the table";
    for (int i = 100; i < 104; ++i) {
        double v = -1;
        ASSERT_EQ(0, SimBoard_GetFieldElement(b.dev(), lut.c_str(), i, &v));
        EXPECT_EQ(double(before[i]), v) << i;
    }
}

TEST_F(HostileSelectors, TheSimulatedRuntimeReadsSelectorsAsNumbers) {
    const std::string name = dp(1, "Buffer_0_DRAM_A_0_XLength");
    const int hostId = SimBoard_ParameterId(b.dev(), name.c_str());
    ASSERT_GT(hostId, 0);
    Fg_Struct* host = SimBoard_HostHandleOf(b.dev());
    ASSERT_NE(nullptr, host);
    const uint32_t before = b.designU32(name.c_str());
    for (int32_t selector : kSelectors) {
        SCOPED_TRACE(selector);
        uint32_t v = before + 16;
        uint64_t back[4] = {0, 0, 0, 0};
        // The host face refuses the selector, the board keeps its value.
        EXPECT_NE(0, hostileRuntimeSet(host, hostId, &v, 1, selector));
        EXPECT_NE(0, hostileRuntimeGet(host, hostId, back, 1, selector));
        EXPECT_NE(0, hostileSimSet(b.dev(), name.c_str(), &v, selector));
        EXPECT_EQ(before, b.designU32(name.c_str()));
        // The application face hands the call on to the applet.
        uint32_t width = 512;
        EXPECT_EQ(0, hostileRuntimeSet(b.fg(), FG_WIDTH, &width, 0, selector));
        EXPECT_EQ(512u, b.u32(FG_WIDTH, 0));
    }
}

}  // namespace
