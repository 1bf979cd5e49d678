// Pixel and output format, trigger packet mode, image timeout and image
// selector of both ports: the design value each accepted value becomes, the
// values refused, the phase/period coupling of the image selector, and the
// cached value after a failing write.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;

class OutputFormat : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    void put(int id, uint32_t v, int port) { ASSERT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port; }

    std::vector<Write> writesOf(int id, uint32_t v, int port) {
        b.clearLog();
        EXPECT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port;
        return writes(b.log());
    }

    void expectRejected(int id, uint32_t v, int port, int code = FG_ERR_VALUE_OUT_OF_RANGE) {
        const uint32_t before = b.u32(id, port);
        b.clearLog();
        EXPECT_EQ(code, b.set(id, v, port)) << id << " = " << v << " port " << port;
        EXPECT_EQ(code, b.lastError());
        EXPECT_TRUE(b.log().empty()) << id << " = " << v << " wrote something";
        EXPECT_EQ(before, b.u32(id, port)) << id << " = " << v;
    }

    Board b;
};

// One accepted value and the single design write it becomes.
struct Mapping {
    int id;
    uint32_t value;
    const char* design;  // without the process prefix
    uint32_t written;
};

TEST_F(OutputFormat, EachAcceptedValueWritesItsDesignValueOnItsPort)
{
    const Mapping mappings[] = {
        {FG_PIXELFORMAT, 259, "12BitSelector_PixelFormat_SelectSource", 2},
        {FG_PIXELFORMAT, 258, "12BitSelector_PixelFormat_SelectSource", 1},
        {FG_PIXELFORMAT, 257, "12BitSelector_PixelFormat_SelectSource", 0},
        {FG_CXP_TRIGGER_PACKET_MODE, 1, "Camera_Camera_TxTriggerPacketMode", 1},
        {FG_CXP_TRIGGER_PACKET_MODE, 0, "Camera_Camera_TxTriggerPacketMode", 0},
        {FG_FORMAT, 1, "OutputFormat_FG_FORMAT_SelectSource", 0},
        {FG_FORMAT, 22, "OutputFormat_FG_FORMAT_SelectSource", 3},
        {FG_FORMAT, 21, "OutputFormat_FG_FORMAT_SelectSource", 2},
        {FG_FORMAT, 3, "OutputFormat_FG_FORMAT_SelectSource", 1},
        {FG_BITALIGNMENT, 0, "OutputFormat_FG_BITALIGNMENT_Value", 0},
        {FG_BITALIGNMENT, 1, "OutputFormat_FG_BITALIGNMENT_Value", 1},
        {FG_IMG_SELECT_PERIOD, 7, "ImageSelector_FG_IMG_SELECT_PERIOD_Divisor", 7},
        {FG_IMG_SELECT, 6, "ImageSelector_FG_IMG_SELECT_PHASE_Number", 6},
    };
    for (int port = 0; port < 2; ++port) {
        for (const Mapping& m : mappings) {
            SCOPED_TRACE(std::to_string(m.id) + " = " + std::to_string(m.value) + " port " + std::to_string(port));
            EXPECT_EQ(std::vector<Write>{u32w(dp(port, m.design), m.written, port)}, writesOf(m.id, m.value, port));
            EXPECT_EQ(m.value, b.u32(m.id, port));
        }
    }
}

TEST_F(OutputFormat, PortsKeepTheirOwnValues)
{
    put(FG_PIXELFORMAT, 259, 1);
    put(FG_FORMAT, 22, 1);
    put(FG_BITALIGNMENT, 0, 1);
    put(FG_CXP_TRIGGER_PACKET_MODE, 1, 1);
    put(FG_TIMEOUT, 77, 1);
    put(FG_IMG_SELECT_PERIOD, 9, 1);
    put(FG_IMG_SELECT, 8, 1);
    // Port 0 still reads what the applet was constructed with.
    EXPECT_EQ(257u, b.u32(FG_PIXELFORMAT, 0));
    EXPECT_EQ(3u, b.u32(FG_FORMAT, 0));
    EXPECT_EQ(1u, b.u32(FG_BITALIGNMENT, 0));
    EXPECT_EQ(0u, b.u32(FG_CXP_TRIGGER_PACKET_MODE, 0));
    EXPECT_EQ(1000000u, b.u32(FG_TIMEOUT, 0));
    EXPECT_EQ(1u, b.u32(FG_IMG_SELECT_PERIOD, 0));
    EXPECT_EQ(0u, b.u32(FG_IMG_SELECT, 0));
    // ... and its phase is still bound by its own period.
    expectRejected(FG_IMG_SELECT, 8, 0);
}

TEST_F(OutputFormat, ValuesOutsideTheEnumerationsAreRefused)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_PIXELFORMAT, 258, port);
        for (uint32_t v : {0u, 1u, 256u, 260u, 0x0201u, 0x0103u | 0x10000u, 0xFFFFFFFFu})
            expectRejected(FG_PIXELFORMAT, v, port);
        EXPECT_EQ(258u, b.u32(FG_PIXELFORMAT, port));

        for (uint32_t v : {2u, 3u, 0xFFFFFFFFu}) expectRejected(FG_CXP_TRIGGER_PACKET_MODE, v, port);

        put(FG_FORMAT, 21, port);
        for (uint32_t v : {0u, 2u, 8u, 20u, 23u, 0xFFFFFFFFu}) expectRejected(FG_FORMAT, v, port);
        EXPECT_EQ(21u, b.u32(FG_FORMAT, port));

        for (uint32_t v : {2u, 3u, 0xFFFFFFFFu}) expectRejected(FG_BITALIGNMENT, v, port);
    }
}

TEST_F(OutputFormat, PixelDepthIsTwelveWhateverThePixelFormat)
{
    for (int port = 0; port < 2; ++port) {
        for (uint32_t format : {257u, 258u, 259u}) {
            put(FG_PIXELFORMAT, format, port);
            EXPECT_EQ(12u, b.u32(FG_PIXELDEPTH, port));
        }
        b.clearLog();
        EXPECT_EQ(FG_ERR_NOT_AVAILABLE, b.set(FG_PIXELDEPTH, 8, port));
        EXPECT_TRUE(b.log().empty());
        EXPECT_EQ(12u, b.u32(FG_PIXELDEPTH, port));
    }
}

TEST_F(OutputFormat, TimeoutIsHandedToTheHostsOwnTimeoutOfThePort)
{
    for (int port = 0; port < 2; ++port) {
        for (uint32_t v : {2u, 2147483646u, 5000u}) {
            std::vector<Write> w = writesOf(FG_TIMEOUT, v, port);
            ASSERT_EQ(1u, w.size());
            EXPECT_EQ("FG_TIMEOUT", w[0].name);
            EXPECT_EQ(v, w[0].value);
            EXPECT_EQ(unsigned(port), w[0].dma);
            EXPECT_EQ(FG_PARAM_TYPE_UINT32_T, w[0].type);
            EXPECT_EQ(v, b.u32(FG_TIMEOUT, port));
        }
        for (uint32_t v : {0u, 1u, 2147483647u, 2147483648u, 0xFFFFFFFFu}) expectRejected(FG_TIMEOUT, v, port);
        EXPECT_EQ(5000u, b.u32(FG_TIMEOUT, port));
    }
}

TEST_F(OutputFormat, ImageSelectorPhaseStaysBelowThePeriod)
{
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE("port " + std::to_string(port));
        // From period 1, phase 0: the phase cannot move first.
        expectRejected(FG_IMG_SELECT, 1, port);
        put(FG_IMG_SELECT_PERIOD, 2, port);
        put(FG_IMG_SELECT, 1, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 1, port);
        EXPECT_EQ(2u, b.u32(FG_IMG_SELECT_PERIOD, port));
        expectRejected(FG_IMG_SELECT, 2, port);
        EXPECT_EQ(1u, b.u32(FG_IMG_SELECT, port));

        // Going from period 4, phase 3 to period 2, phase 1 lowers the phase first.
        put(FG_IMG_SELECT_PERIOD, 4, port);
        put(FG_IMG_SELECT, 3, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 2, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 3, port);
        put(FG_IMG_SELECT, 1, port);
        put(FG_IMG_SELECT_PERIOD, 2, port);

        // Limits of the period and the phase.
        expectRejected(FG_IMG_SELECT_PERIOD, 0, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 257, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 0xFFFFFFFFu, port);
        expectRejected(FG_IMG_SELECT, 255, port);
        put(FG_IMG_SELECT_PERIOD, 256, port);
        put(FG_IMG_SELECT, 255, port);
        expectRejected(FG_IMG_SELECT, 256, port);
        expectRejected(FG_IMG_SELECT, 0xFFFFFFFFu, port);
        expectRejected(FG_IMG_SELECT_PERIOD, 255, port);
        put(FG_IMG_SELECT, 0, port);
        put(FG_IMG_SELECT_PERIOD, 1, port);
    }
}

// A failing host write: the error comes back, the old value stays cached and
// a later write of the same value reaches the design again.
TEST_F(OutputFormat, AFailingWriteKeepsTheOldValue)
{
    struct Case {
        int id;
        uint32_t oldValue;
        uint32_t newValue;
    } const cases[] = {
        {FG_PIXELFORMAT, 257, 259},      {FG_CXP_TRIGGER_PACKET_MODE, 0, 1}, {FG_FORMAT, 3, 22},
        {FG_BITALIGNMENT, 1, 0},         {FG_TIMEOUT, 1000000, 42},          {FG_IMG_SELECT_PERIOD, 1, 16},
        {FG_IMG_SELECT, 0, 1},
    };
    for (int port = 0; port < 2; ++port) {
        put(FG_IMG_SELECT_PERIOD, 16, port);  // room for the phase
        for (const Case& c : cases) {
            SCOPED_TRACE(std::to_string(c.id) + " port " + std::to_string(port));
            if (c.id == FG_IMG_SELECT_PERIOD) {
                put(FG_IMG_SELECT, 0, port);
                put(FG_IMG_SELECT_PERIOD, 1, port);
            } else {
                put(c.id, c.oldValue, port);
            }
            b.clearLog();
            SimBoard_FailNthHostCall(b.dev(), 1, kHostFault);
            EXPECT_EQ(kHostFault, b.set(c.id, c.newValue, port));
            SimBoard_ClearFaults(b.dev());
            EXPECT_EQ(kHostFault, b.lastError());
            EXPECT_TRUE(b.log().empty());
            EXPECT_EQ(c.oldValue, b.u32(c.id, port));
            EXPECT_EQ(1u, writesOf(c.id, c.newValue, port).size());
            if (c.id == FG_IMG_SELECT_PERIOD) put(FG_IMG_SELECT_PERIOD, 16, port);
        }
    }
}

TEST_F(OutputFormat, ARefusedDesignParameterReportsTheHostCode)
{
    for (int port = 0; port < 2; ++port) {
        SimBoard_FailParameter(b.dev(), dp(port, "OutputFormat_FG_FORMAT_SelectSource").c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_FORMAT, 1, port));
        EXPECT_EQ(3u, b.u32(FG_FORMAT, port));
        // The other port is not affected.
        const int other = 1 - port;
        EXPECT_EQ(0, b.set(FG_FORMAT, 21, other));
        EXPECT_EQ(21u, b.u32(FG_FORMAT, other));
        SimBoard_ClearFaults(b.dev());
        put(FG_FORMAT, 3, other);
    }
}

}  // namespace
