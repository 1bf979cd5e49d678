// Region of interest of both ports: the design writes of each setter in order,
// the range and alignment limits, the mutual narrowing of width and x-offset
// in the registry, the frame cutting of the trigger block per image trigger
// mode. Pixel and output format, trigger packet mode, image timeout and image
// selector: the design value each accepted value becomes, the values refused,
// and the phase/period coupling of the image selector.

#include "board_fixture.h"

using namespace orvtest;

namespace {

class Roi : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    void put(int id, uint32_t v, int port) { ASSERT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port; }

    // The frame-cutting writes of the trigger block.
    static std::vector<Write> triggerFrame(int port, uint32_t yOffset, uint32_t triggerHeight, uint32_t height) {
        return {u32w(dp(port, "Trigger_Trigger_YOffset"), 0, port),
                u32w(dp(port, "Trigger_Trigger_YLength"), triggerHeight, port),
                u32w(dp(port, "Trigger_Trigger_YOffset"), yOffset, port),
                u32w(dp(port, "ImageHeight_ImageHeight"), height, port)};
    }
    static std::vector<Write> concat(std::vector<Write> a, const std::vector<Write>& c) {
        a.insert(a.end(), c.begin(), c.end());
        return a;
    }

    Board b;
};
typedef Roi OutputFormat;

TEST_F(Roi, WidthAndXOffsetSizeAndMoveTheBuffersAndMirrorOfTheirPortOnly) {
    for (int port = 0; port < 2; ++port) {
        const std::vector<Write> expected = {
            u32w(dp(port, "Buffer_0_DRAM_A_0_XLength"), 2048, port),
            u32w(dp(port, "Buffer_0_DRAM_A_1_XLength"), 2048, port),
            u32w(dp(port, "LineMirrorX_Memory_Mem0_XLength"), 128, port),
            u32w(dp(port, "LineMirrorX_Memory_Mem1_XLength"), 128, port),
            u32w(dp(port, "LineMirrorX_Memory_Mem2_XLength"), 128, port),
            u32w(dp(port, "LineMirrorX_Memory_Mem3_XLength"), 128, port),
            u32w(dp(port, "LineMirrorX_AddrGen_LineWidthMinus1_Value"), 127, port),
        };
        EXPECT_EQ(expected, writesOf(b, FG_WIDTH, 2048, port)) << "port " << port;
        EXPECT_EQ(2048u, b.u32(FG_WIDTH, port));
        const std::vector<Write> offsets = {u32w(dp(port, "Buffer_0_DRAM_A_0_XOffset"), 4096, port),
                                            u32w(dp(port, "Buffer_0_DRAM_A_1_XOffset"), 4096, port)};
        EXPECT_EQ(offsets, writesOf(b, FG_XOFFSET, 4096, port)) << "port " << port;
        EXPECT_EQ(4096u, b.u32(FG_XOFFSET, port));
    }
    // The smallest width is two granules: line width register 1.
    std::vector<Write> w = writesOf(b, FG_WIDTH, 32, 1);
    ASSERT_EQ(7u, w.size());
    EXPECT_EQ(u32w(dp(1, "LineMirrorX_Memory_Mem3_XLength"), 2, 1), w[5]);
    EXPECT_EQ(u32w(dp(1, "LineMirrorX_AddrGen_LineWidthMinus1_Value"), 1, 1), w[6]);
    EXPECT_EQ(2048u, b.u32(FG_WIDTH, 0));
}

TEST_F(Roi, RangeLimitsComeBeforeAlignmentAndRefusedValuesChangeNothing) {
    for (int port = 0; port < 2; ++port) {
        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 32, port);
        put(FG_WIDTH, 16384, port);
        for (uint32_t v : {16u, 31u, 0u, 16385u, 16400u, 0xFFFFFFF0u}) expectRejected(b, FG_WIDTH, v, port);
        for (uint32_t v : {1000u, 40u, 16383u}) expectRejected(b, FG_WIDTH, v, port, FG_ERR_NOT_MULTIPLE_OF_16);
    }
    expectRejects(b, {{FG_HEIGHT, 8, {7, 0}},
                      {FG_HEIGHT, 65535, {65536}},
                      {FG_YOFFSET, 0, {}},
                      {FG_YOFFSET, 16777216, {16777217, 0xFFFFFFFFu}},  // not bounded by the height
                      {FG_IMGTRIGGER_ASYNC_HEIGHT, 8, {7, 0}},
                      {FG_IMGTRIGGER_ASYNC_HEIGHT, 16777216, {16777217}},
                      {FG_REVERSE_X, 1, {2, 0xFFFFFFFFu}},
                      {FG_PIXELFORMAT, 258, {0, 1, 256, 260, 0x0201, 0x0103 | 0x10000, 0xFFFFFFFFu}},
                      {FG_CXP_TRIGGER_PACKET_MODE, 1, {2, 3, 0xFFFFFFFFu}},
                      {FG_FORMAT, 21, {0, 2, 8, 20, 23, 0xFFFFFFFFu}},
                      {FG_BITALIGNMENT, 0, {2, 3, 0xFFFFFFFFu}},
                      {FG_TIMEOUT, 5000, {0, 1, 2147483647u, 2147483648u, 0xFFFFFFFFu}}});
}

TEST_F(Roi, WidthAndXOffsetShareTheLineMemory) {
    for (int port = 0; port < 2; ++port) {
        put(FG_WIDTH, 1024, port);
        put(FG_XOFFSET, 15360, port);
        expectRejected(b, FG_XOFFSET, 15376, port);
        expectRejected(b, FG_XOFFSET, 15368, port);  // too far before unaligned
        expectRejected(b, FG_XOFFSET, 8, port, FG_ERR_NOT_MULTIPLE_OF_16);
        expectRejected(b, FG_XOFFSET, 0xFFFFFFF0u, port);
        // The region must shrink or move left before it can grow.
        expectRejected(b, FG_WIDTH, 1040, port);
        put(FG_WIDTH, 1008, port);
        put(FG_XOFFSET, 15376, port);
        expectRejected(b, FG_WIDTH, 1024, port);
        put(FG_XOFFSET, 15360, port);
        put(FG_WIDTH, 1024, port);
        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 16384, port);
        // An offset of 0 fits any width; no other does beside a full line.
        expectRejected(b, FG_XOFFSET, 16, port);
    }
    // Each port checks against its own cached partner only.
    put(FG_WIDTH, 32, 0);
    put(FG_XOFFSET, 16352, 0);
    EXPECT_EQ(0u, b.u32(FG_XOFFSET, 1));
    EXPECT_EQ(16384u, b.u32(FG_WIDTH, 1));
}

TEST_F(Roi, WidthAndXOffsetNarrowEachOthersMaximumOnTheirPortOnly) {
    ASSERT_TRUE(b.record(1, FG_XOFFSET) && b.record(1, FG_WIDTH));
    const UIntReg xoffBefore = b.record(1, FG_XOFFSET)->u.uiReg;
    const UIntReg widthBefore = b.record(1, FG_WIDTH)->u.uiReg;
    const unsigned otherXoffMax = uintMax(b, FG_XOFFSET, 0), otherWidthMax = uintMax(b, FG_WIDTH, 0);

    put(FG_XOFFSET, 0, 1);
    put(FG_WIDTH, 1024, 1);
    EXPECT_EQ(15360u, uintMax(b, FG_XOFFSET, 1));
    put(FG_XOFFSET, 2048, 1);
    EXPECT_EQ(14336u, uintMax(b, FG_WIDTH, 1));
    put(FG_WIDTH, 14336, 1);
    EXPECT_EQ(2048u, uintMax(b, FG_XOFFSET, 1));
    // Only the maxima move.
    EXPECT_EQ(xoffBefore.from, b.record(1, FG_XOFFSET)->u.uiReg.from);
    EXPECT_EQ(xoffBefore.steps, b.record(1, FG_XOFFSET)->u.uiReg.steps);
    EXPECT_EQ(widthBefore.from, b.record(1, FG_WIDTH)->u.uiReg.from);
    EXPECT_EQ(widthBefore.steps, b.record(1, FG_WIDTH)->u.uiReg.steps);

    // Rejected writes leave the ranges alone.
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(FG_WIDTH, 16384, 1));
    EXPECT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, b.set(FG_XOFFSET, 8, 1));
    EXPECT_EQ(2048u, uintMax(b, FG_XOFFSET, 1));
    EXPECT_EQ(14336u, uintMax(b, FG_WIDTH, 1));
    EXPECT_EQ(otherXoffMax, uintMax(b, FG_XOFFSET, 0)) << "port 0";
    EXPECT_EQ(otherWidthMax, uintMax(b, FG_WIDTH, 0)) << "port 0";

    // The full line again.
    put(FG_XOFFSET, 0, 1);
    put(FG_WIDTH, 16384, 1);
    EXPECT_EQ(0u, uintMax(b, FG_XOFFSET, 1));
    EXPECT_EQ(16384u, uintMax(b, FG_WIDTH, 1));
}

// The height sizes the buffers, then cuts the frame with the cached y-offset;
// the y-offset recuts it with the cached height. The image height is the ROI
// height in every mode; the trigger block's length depends on the mode.
TEST_F(Roi, TriggerFrameLengthFollowsTheImageTriggerMode) {
    put(FG_HEIGHT, 400, 1);
    put(FG_YOFFSET, 13, 1);
    put(FG_IMGTRIGGER_ASYNC_HEIGHT, 5000, 1);
    const std::vector<Write> buffers = {u32w(dp(1, "Buffer_0_DRAM_A_0_YLength"), 500, 1),
                                        u32w(dp(1, "Buffer_0_DRAM_A_1_YLength"), 500, 1)};
    struct {
        uint32_t mode;
        uint32_t triggerHeight;
    } const modes[] = {{0, 500}, {2, 500}, {5, 500}, {6, 65535}, {8, 5000}};
    for (const auto& m : modes) {
        SCOPED_TRACE("mode " + std::to_string(m.mode));
        put(FG_IMGTRIGGERMODE, m.mode, 1);
        put(FG_HEIGHT, 400, 1);
        EXPECT_EQ(concat(buffers, triggerFrame(1, 13, m.triggerHeight, 500)), writesOf(b, FG_HEIGHT, 500, 1));
        EXPECT_EQ(triggerFrame(1, 20, m.triggerHeight, 500), writesOf(b, FG_YOFFSET, 20, 1));
        put(FG_YOFFSET, 13, 1);
    }
}

TEST_F(Roi, AsyncHeightTakesEffectInTheMultiBufferMode) {
    put(FG_HEIGHT, 256, 1);
    put(FG_YOFFSET, 3, 1);
    // Outside the mode the async height is only remembered; choosing the
    // mode cuts the frame with it (the image trigger tests).
    EXPECT_TRUE(writesOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, 4000, 1).empty());
    put(FG_IMGTRIGGERMODE, 8, 1);

    // In the mode itself the async height rewrites the frame length only.
    const std::vector<Write> expected = {
        u32w(dp(1, "Trigger_Trigger_YOffset"), 0, 1),
        u32w(dp(1, "Trigger_Trigger_YLength"), 9000, 1),
        u32w(dp(1, "Trigger_Trigger_YOffset"), 3, 1),
    };
    EXPECT_EQ(expected, writesOf(b, FG_IMGTRIGGER_ASYNC_HEIGHT, 9000, 1));
    EXPECT_EQ(9000u, b.u32(FG_IMGTRIGGER_ASYNC_HEIGHT, 1));
}

TEST_F(OutputFormat, EachAcceptedValueWritesItsDesignValueOnItsPort) {
    expectSingleWrites(b,
                       {
                           {FG_PIXELFORMAT, "12BitSelector_PixelFormat_SelectSource", {{259, 2}, {258, 1}, {257, 0}}},
                           {FG_CXP_TRIGGER_PACKET_MODE, "Camera_Camera_TxTriggerPacketMode", {{1, 1}, {0, 0}}},
                           {FG_FORMAT, "OutputFormat_FG_FORMAT_SelectSource", {{1, 0}, {22, 3}, {21, 2}, {3, 1}}},
                           {FG_BITALIGNMENT, "OutputFormat_FG_BITALIGNMENT_Value", {{0, 0}, {1, 1}}},
                           {FG_IMG_SELECT_PERIOD, "ImageSelector_FG_IMG_SELECT_PERIOD_Divisor", {{7, 7}}},
                           {FG_IMG_SELECT, "ImageSelector_FG_IMG_SELECT_PHASE_Number", {{6, 6}}},
                           // Reverse-x switches the line mirror.
                           {FG_REVERSE_X, "LineMirrorX_Enable_SelectSource", {{1, 1}, {0, 0}}},
                       });
    // The image timeout goes to the host's own timeout of the port.
    for (int port = 0; port < 2; ++port)
        for (uint32_t v : {2u, 2147483646u, 5000u})
            EXPECT_EQ(std::vector<Write>{u32w("FG_TIMEOUT", v, port)}, writesOf(b, FG_TIMEOUT, v, port));
    // The pixel depth is 12 whatever the pixel format.
    for (uint32_t format : {257u, 258u, 259u}) {
        put(FG_PIXELFORMAT, format, 1);
        EXPECT_EQ(12u, b.u32(FG_PIXELDEPTH, 1));
    }
}

TEST_F(OutputFormat, PortsKeepTheirOwnValues) {
    struct {
        int id;
        uint32_t port1, port0;
    } const values[] = {{FG_PIXELFORMAT, 259, 257}, {FG_FORMAT, 22, 3},
                        {FG_BITALIGNMENT, 0, 1},    {FG_CXP_TRIGGER_PACKET_MODE, 1, 0},
                        {FG_TIMEOUT, 77, 1000000},  {FG_IMG_SELECT_PERIOD, 9, 1},
                        {FG_IMG_SELECT, 8, 0}};
    for (const auto& v : values) put(v.id, v.port1, 1);
    // Port 0 still reads what the applet was constructed with ...
    for (const auto& v : values) EXPECT_EQ(v.port0, b.u32(v.id, 0)) << v.id;
    // ... and its phase is still bound by its own period.
    expectRejected(b, FG_IMG_SELECT, 8, 0);
}

// Port 1 here; PortsKeepTheirOwnValues shows port 0 bound by its own period.
TEST_F(OutputFormat, ImageSelectorPhaseStaysBelowThePeriod) {
    // From period 1, phase 0: the phase cannot move first.
    expectRejected(b, FG_IMG_SELECT, 1, 1);
    put(FG_IMG_SELECT_PERIOD, 2, 1);
    put(FG_IMG_SELECT, 1, 1);
    expectRejected(b, FG_IMG_SELECT_PERIOD, 1, 1);
    expectRejected(b, FG_IMG_SELECT, 2, 1);

    // Going from period 4, phase 3 to period 2, phase 1 lowers the phase first.
    put(FG_IMG_SELECT_PERIOD, 4, 1);
    put(FG_IMG_SELECT, 3, 1);
    expectRejected(b, FG_IMG_SELECT_PERIOD, 2, 1);
    expectRejected(b, FG_IMG_SELECT_PERIOD, 3, 1);
    put(FG_IMG_SELECT, 1, 1);
    put(FG_IMG_SELECT_PERIOD, 2, 1);

    // Limits of the period and the phase.
    for (uint32_t v : {0u, 257u, 0xFFFFFFFFu}) expectRejected(b, FG_IMG_SELECT_PERIOD, v, 1);
    expectRejected(b, FG_IMG_SELECT, 255, 1);
    put(FG_IMG_SELECT_PERIOD, 256, 1);
    put(FG_IMG_SELECT, 255, 1);
    expectRejected(b, FG_IMG_SELECT, 256, 1);
    expectRejected(b, FG_IMG_SELECT, 0xFFFFFFFFu, 1);
    expectRejected(b, FG_IMG_SELECT_PERIOD, 255, 1);
}

}  // namespace
