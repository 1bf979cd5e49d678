// Region of interest of both ports: the design writes of each setter in their
// order, the range and alignment limits, the mutual narrowing of width and
// x-offset in the registry, the frame cutting of the trigger block per image
// trigger mode, and the cached value after a failing design write.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;

class Roi : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    // Sets a parameter that must be accepted.
    void put(int id, uint32_t v, int port) { ASSERT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port; }

    // The design writes of a successful write of `id` = `v` on `port`.
    std::vector<Write> writesOf(int id, uint32_t v, int port) {
        b.clearLog();
        EXPECT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port;
        return writes(b.log());
    }

    // A rejected write: the code, nothing written, the cached value kept.
    void expectRejected(int id, uint32_t v, int port, int code) {
        const uint32_t before = b.u32(id, port);
        b.clearLog();
        EXPECT_EQ(code, b.set(id, v, port)) << id << " = " << v << " port " << port;
        EXPECT_EQ(code, b.lastError());
        EXPECT_TRUE(b.log().empty()) << id << " = " << v << " wrote to the design";
        EXPECT_EQ(before, b.u32(id, port)) << id << " = " << v;
    }

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

    // True when the image trigger mode can be chosen on this build (its
    // handler answers -2070 while the image trigger is not built in).
    bool selectMode(uint32_t mode, int port) {
        int r = b.set(FG_IMGTRIGGERMODE, mode, port);
        if (r == FG_ERR_INVALID_PARAMETER) return false;
        EXPECT_EQ(0, r) << "image trigger mode " << mode;
        return r == 0;
    }

    Board b;
};

// ---- the writes of each setter --------------------------------------------

TEST_F(Roi, WidthSizesBothBuffersAndTheMirrorMemoriesOfItsPortOnly)
{
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
        EXPECT_EQ(expected, writesOf(FG_WIDTH, 2048, port)) << "port " << port;
        EXPECT_EQ(2048u, b.u32(FG_WIDTH, port));
    }
    // The smallest width is two granules: line width register 1.
    std::vector<Write> w = writesOf(FG_WIDTH, 32, 1);
    ASSERT_EQ(7u, w.size());
    EXPECT_EQ(u32w(dp(1, "LineMirrorX_Memory_Mem3_XLength"), 2, 1), w[5]);
    EXPECT_EQ(u32w(dp(1, "LineMirrorX_AddrGen_LineWidthMinus1_Value"), 1, 1), w[6]);
    EXPECT_EQ(2048u, b.u32(FG_WIDTH, 0));
}

TEST_F(Roi, XOffsetMovesBothBuffers)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_WIDTH, 1024, port);
        const std::vector<Write> expected = {
            u32w(dp(port, "Buffer_0_DRAM_A_0_XOffset"), 4096, port),
            u32w(dp(port, "Buffer_0_DRAM_A_1_XOffset"), 4096, port),
        };
        EXPECT_EQ(expected, writesOf(FG_XOFFSET, 4096, port)) << "port " << port;
        EXPECT_EQ(4096u, b.u32(FG_XOFFSET, port));
    }
    EXPECT_EQ(4096u, b.u32(FG_XOFFSET, 0));
}

TEST_F(Roi, HeightSizesTheBuffersThenCutsTheFrameWithTheCachedYOffset)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_YOFFSET, 5 + port, port);
        const std::vector<Write> buffers = {
            u32w(dp(port, "Buffer_0_DRAM_A_0_YLength"), 300, port),
            u32w(dp(port, "Buffer_0_DRAM_A_1_YLength"), 300, port),
        };
        EXPECT_EQ(concat(buffers, triggerFrame(port, 5 + port, 300, 300)), writesOf(FG_HEIGHT, 300, port))
            << "port " << port;
        EXPECT_EQ(300u, b.u32(FG_HEIGHT, port));
    }
}

TEST_F(Roi, YOffsetRecutsTheFrameWithTheCachedHeight)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_HEIGHT, 64, port);
        EXPECT_EQ(triggerFrame(port, 1000, 64, 64), writesOf(FG_YOFFSET, 1000, port)) << "port " << port;
        EXPECT_EQ(1000u, b.u32(FG_YOFFSET, port));
        // The offset is not bounded by the height.
        EXPECT_EQ(triggerFrame(port, 16777216, 64, 64), writesOf(FG_YOFFSET, 16777216, port));
    }
}

TEST_F(Roi, ReverseXSwitchesTheLineMirror)
{
    for (int port = 0; port < 2; ++port) {
        EXPECT_EQ(std::vector<Write>{u32w(dp(port, "LineMirrorX_Enable_SelectSource"), 1, port)},
                  writesOf(FG_REVERSE_X, 1, port));
        EXPECT_EQ(1u, b.u32(FG_REVERSE_X, port));
        expectRejected(FG_REVERSE_X, 2, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_REVERSE_X, 0xFFFFFFFFu, port, FG_ERR_VALUE_OUT_OF_RANGE);
        EXPECT_EQ(std::vector<Write>{u32w(dp(port, "LineMirrorX_Enable_SelectSource"), 0, port)},
                  writesOf(FG_REVERSE_X, 0, port));
        EXPECT_EQ(0u, b.u32(FG_REVERSE_X, port));
    }
}

TEST_F(Roi, AsyncHeightOutsideTheMultiBufferModeIsOnlyKept)
{
    for (int port = 0; port < 2; ++port) {
        selectMode(0, port);  // without the mode handler the port stays in free run
        EXPECT_TRUE(writesOf(FG_IMGTRIGGER_ASYNC_HEIGHT, 777, port).empty());
        EXPECT_EQ(777u, b.u32(FG_IMGTRIGGER_ASYNC_HEIGHT, port));
        // ... and does not enter the frame cutting of the other modes.
        EXPECT_EQ(concat({u32w(dp(port, "Buffer_0_DRAM_A_0_YLength"), 50, port),
                          u32w(dp(port, "Buffer_0_DRAM_A_1_YLength"), 50, port)},
                         triggerFrame(port, 0, 50, 50)),
                  writesOf(FG_HEIGHT, 50, port));
    }
}

// ---- limits ---------------------------------------------------------------------

TEST_F(Roi, WidthLimitsComeBeforeAlignment)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 32, port);
        put(FG_WIDTH, 16384, port);
        expectRejected(FG_WIDTH, 16, port, FG_ERR_VALUE_OUT_OF_RANGE);  // too small before unaligned
        expectRejected(FG_WIDTH, 31, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_WIDTH, 0, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_WIDTH, 16385, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_WIDTH, 16400, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_WIDTH, 0xFFFFFFF0u, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_WIDTH, 1000, port, FG_ERR_NOT_MULTIPLE_OF_16);
        expectRejected(FG_WIDTH, 40, port, FG_ERR_NOT_MULTIPLE_OF_16);
        expectRejected(FG_WIDTH, 16383, port, FG_ERR_NOT_MULTIPLE_OF_16);
        EXPECT_EQ(16384u, b.u32(FG_WIDTH, port));
    }
}

TEST_F(Roi, WidthAndXOffsetShareTheLineMemory)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_WIDTH, 1024, port);
        put(FG_XOFFSET, 15360, port);
        expectRejected(FG_XOFFSET, 15376, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_XOFFSET, 15368, port, FG_ERR_VALUE_OUT_OF_RANGE);  // too far before unaligned
        expectRejected(FG_XOFFSET, 8, port, FG_ERR_NOT_MULTIPLE_OF_16);
        expectRejected(FG_XOFFSET, 0xFFFFFFF0u, port, FG_ERR_VALUE_OUT_OF_RANGE);
        // The region must shrink or move left before it can grow.
        expectRejected(FG_WIDTH, 1040, port, FG_ERR_VALUE_OUT_OF_RANGE);
        put(FG_WIDTH, 1008, port);
        put(FG_XOFFSET, 15376, port);
        expectRejected(FG_WIDTH, 1024, port, FG_ERR_VALUE_OUT_OF_RANGE);
        put(FG_XOFFSET, 15360, port);
        put(FG_WIDTH, 1024, port);
        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 16384, port);
        // An offset of 0 fits any width; no other does beside a full line.
        expectRejected(FG_XOFFSET, 16, port, FG_ERR_VALUE_OUT_OF_RANGE);
        put(FG_XOFFSET, 0, port);
    }
    // Each port checks against its own cached partner only.
    put(FG_WIDTH, 32, 0);
    put(FG_XOFFSET, 16352, 0);
    EXPECT_EQ(0u, b.u32(FG_XOFFSET, 1));
    EXPECT_EQ(16384u, b.u32(FG_WIDTH, 1));
}

TEST_F(Roi, HeightYOffsetAndAsyncHeightLimits)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_HEIGHT, 8, port);
        put(FG_HEIGHT, 65535, port);
        expectRejected(FG_HEIGHT, 7, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_HEIGHT, 0, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_HEIGHT, 65536, port, FG_ERR_VALUE_OUT_OF_RANGE);

        put(FG_YOFFSET, 0, port);
        put(FG_YOFFSET, 16777216, port);
        expectRejected(FG_YOFFSET, 16777217, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_YOFFSET, 0xFFFFFFFFu, port, FG_ERR_VALUE_OUT_OF_RANGE);

        put(FG_IMGTRIGGER_ASYNC_HEIGHT, 8, port);
        put(FG_IMGTRIGGER_ASYNC_HEIGHT, 16777216, port);
        expectRejected(FG_IMGTRIGGER_ASYNC_HEIGHT, 7, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_IMGTRIGGER_ASYNC_HEIGHT, 0, port, FG_ERR_VALUE_OUT_OF_RANGE);
        expectRejected(FG_IMGTRIGGER_ASYNC_HEIGHT, 16777217, port, FG_ERR_VALUE_OUT_OF_RANGE);
    }
}

// ---- registry ranges as the host sees them -----------------------------------------

TEST_F(Roi, WidthAndXOffsetNarrowEachOthersMaximumOnTheirPortOnly)
{
    for (int port = 0; port < 2; ++port) {
        const int other = 1 - port;
        RegisterInfo* xoff = b.record(port, FG_XOFFSET);
        RegisterInfo* width = b.record(port, FG_WIDTH);
        RegisterInfo* otherXoff = b.record(other, FG_XOFFSET);
        RegisterInfo* otherWidth = b.record(other, FG_WIDTH);
        ASSERT_TRUE(xoff && width && otherXoff && otherWidth);
        ASSERT_EQ(REG_FORMAT_UINT, xoff->format);
        ASSERT_EQ(REG_FORMAT_UINT, width->format);
        const UIntReg xoffBefore = xoff->u.uiReg;
        const UIntReg widthBefore = width->u.uiReg;
        const unsigned otherXoffMax = otherXoff->u.uiReg.to;
        const unsigned otherWidthMax = otherWidth->u.uiReg.to;

        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 1024, port);
        EXPECT_EQ(15360u, b.record(port, FG_XOFFSET)->u.uiReg.to);
        EXPECT_EQ(xoffBefore.from, b.record(port, FG_XOFFSET)->u.uiReg.from);
        EXPECT_EQ(xoffBefore.steps, b.record(port, FG_XOFFSET)->u.uiReg.steps);

        put(FG_XOFFSET, 2048, port);
        EXPECT_EQ(14336u, b.record(port, FG_WIDTH)->u.uiReg.to);
        EXPECT_EQ(widthBefore.from, b.record(port, FG_WIDTH)->u.uiReg.from);
        EXPECT_EQ(widthBefore.steps, b.record(port, FG_WIDTH)->u.uiReg.steps);

        put(FG_WIDTH, 14336, port);
        EXPECT_EQ(2048u, b.record(port, FG_XOFFSET)->u.uiReg.to);

        // Rejected writes leave the ranges alone.
        EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, b.set(FG_WIDTH, 16384, port));
        EXPECT_EQ(FG_ERR_NOT_MULTIPLE_OF_16, b.set(FG_XOFFSET, 8, port));
        EXPECT_EQ(2048u, b.record(port, FG_XOFFSET)->u.uiReg.to);
        EXPECT_EQ(14336u, b.record(port, FG_WIDTH)->u.uiReg.to);

        EXPECT_EQ(otherXoffMax, b.record(other, FG_XOFFSET)->u.uiReg.to) << "port " << other;
        EXPECT_EQ(otherWidthMax, b.record(other, FG_WIDTH)->u.uiReg.to) << "port " << other;

        // Back to the full line for the next round.
        put(FG_XOFFSET, 0, port);
        put(FG_WIDTH, 16384, port);
        EXPECT_EQ(0u, b.record(port, FG_XOFFSET)->u.uiReg.to);
        EXPECT_EQ(16384u, b.record(port, FG_WIDTH)->u.uiReg.to);
    }
}

// ---- failing design writes ---------------------------------------------------------

// For every position k of a setter's design writes: the k-th write fails, the
// earlier ones stay done, the error comes back and the cached value is the old one.
struct FailingWrite {
    const char* what;
    int id;
    uint32_t oldValue;
    uint32_t newValue;
    int writeCount;
};

TEST_F(Roi, AFailingKthWriteKeepsTheOldValue)
{
    const FailingWrite cases[] = {
        {"width", FG_WIDTH, 1024, 2048, 7},
        {"x-offset", FG_XOFFSET, 0, 512, 2},
        {"height", FG_HEIGHT, 1024, 100, 6},
        {"y-offset", FG_YOFFSET, 0, 9, 4},
        {"reverse-x", FG_REVERSE_X, 0, 1, 1},
    };
    for (int port = 0; port < 2; ++port) {
        for (const FailingWrite& c : cases) {
            for (int k = 1; k <= c.writeCount; ++k) {
                SCOPED_TRACE(std::string(c.what) + " port " + std::to_string(port) + " write " + std::to_string(k));
                put(FG_WIDTH, 1024, port);
                put(FG_XOFFSET, 0, port);
                put(FG_HEIGHT, 1024, port);
                put(FG_YOFFSET, 0, port);
                put(FG_REVERSE_X, 0, port);
                ASSERT_EQ(c.oldValue, b.u32(c.id, port));
                RegisterInfo* xoff = b.record(port, FG_XOFFSET);
                RegisterInfo* width = b.record(port, FG_WIDTH);
                ASSERT_TRUE(xoff && width);
                const unsigned xoffMax = xoff->u.uiReg.to;
                const unsigned widthMax = width->u.uiReg.to;

                b.clearLog();
                SimBoard_FailNthHostCall(b.dev(), k, kHostFault);
                EXPECT_EQ(kHostFault, b.set(c.id, c.newValue, port));
                SimBoard_ClearFaults(b.dev());
                EXPECT_EQ(kHostFault, b.lastError());
                EXPECT_EQ(size_t(k - 1), b.log().size()) << "writes before the failing one stay, none after";
                EXPECT_EQ(c.oldValue, b.u32(c.id, port));
                EXPECT_EQ(xoffMax, b.record(port, FG_XOFFSET)->u.uiReg.to);
                EXPECT_EQ(widthMax, b.record(port, FG_WIDTH)->u.uiReg.to);
            }
        }
    }
}

TEST_F(Roi, AFailingTriggerWriteUndoesOnlyTheHeightCache)
{
    for (int port = 0; port < 2; ++port) {
        put(FG_HEIGHT, 1024, port);
        SimBoard_FailParameter(b.dev(), dp(port, "Trigger_Trigger_YLength").c_str(), 1, kHostFault);
        EXPECT_EQ(kHostFault, b.set(FG_HEIGHT, 200, port));
        EXPECT_EQ(1024u, b.u32(FG_HEIGHT, port));
        // The buffer lengths written before the failure keep their new value.
        EXPECT_EQ(200u, b.designU32(dp(port, "Buffer_0_DRAM_A_0_YLength").c_str()));
        EXPECT_EQ(200u, b.designU32(dp(port, "Buffer_0_DRAM_A_1_YLength").c_str()));
        EXPECT_EQ(kHostFault, b.set(FG_YOFFSET, 3, port));
        EXPECT_EQ(0u, b.u32(FG_YOFFSET, port));
        SimBoard_ClearFaults(b.dev());
        put(FG_HEIGHT, 200, port);
        EXPECT_EQ(200u, b.designU32(dp(port, "ImageHeight_ImageHeight").c_str()));
    }
}

// ---- frame cutting per image trigger mode ---------------------------------------------

TEST_F(Roi, TriggerFrameLengthFollowsTheImageTriggerMode)
{
    if (!selectMode(0, 0)) GTEST_SKIP() << "no image trigger mode handler; free run is covered above";
    for (int port = 0; port < 2; ++port) {
        put(FG_HEIGHT, 400, port);
        put(FG_YOFFSET, 12, port);
        put(FG_IMGTRIGGER_ASYNC_HEIGHT, 5000, port);
        const std::vector<Write> buffers = {
            u32w(dp(port, "Buffer_0_DRAM_A_0_YLength"), 500, port),
            u32w(dp(port, "Buffer_0_DRAM_A_1_YLength"), 500, port),
        };
        struct {
            uint32_t mode;
            uint32_t triggerHeight;
        } const modes[] = {{0, 500}, {2, 500}, {5, 500}, {6, 65535}, {8, 5000}};
        for (const auto& m : modes) {
            SCOPED_TRACE("mode " + std::to_string(m.mode) + " port " + std::to_string(port));
            ASSERT_TRUE(selectMode(m.mode, port));
            put(FG_HEIGHT, 400, port);
            // The image height is the ROI height in every mode.
            EXPECT_EQ(concat(buffers, triggerFrame(port, 12, m.triggerHeight, 500)), writesOf(FG_HEIGHT, 500, port));
            EXPECT_EQ(triggerFrame(port, 20, m.triggerHeight, 500), writesOf(FG_YOFFSET, 20, port));
            put(FG_YOFFSET, 12, port);
        }
        ASSERT_TRUE(selectMode(0, port));
    }
}

TEST_F(Roi, AsyncHeightTakesEffectInTheMultiBufferMode)
{
    for (int port = 0; port < 2; ++port) {
        if (!selectMode(0, port)) GTEST_SKIP() << "no image trigger mode";
        put(FG_HEIGHT, 256, port);
        put(FG_YOFFSET, 3, port);
        put(FG_IMGTRIGGER_ASYNC_HEIGHT, 4000, port);

        // Choosing the mode later cuts the frame with the cached async height.
        b.clearLog();
        ASSERT_TRUE(selectMode(8, port));
        std::vector<Write> w = writes(b.log());
        ASSERT_GE(w.size(), 4u);
        EXPECT_EQ(triggerFrame(port, 3, 4000, 256), std::vector<Write>(w.end() - 4, w.end()));

        // In the mode itself the async height rewrites the frame length only.
        const std::vector<Write> expected = {
            u32w(dp(port, "Trigger_Trigger_YOffset"), 0, port),
            u32w(dp(port, "Trigger_Trigger_YLength"), 9000, port),
            u32w(dp(port, "Trigger_Trigger_YOffset"), 3, port),
        };
        EXPECT_EQ(expected, writesOf(FG_IMGTRIGGER_ASYNC_HEIGHT, 9000, port));
        EXPECT_EQ(9000u, b.u32(FG_IMGTRIGGER_ASYNC_HEIGHT, port));

        for (int k = 1; k <= 3; ++k) {
            SCOPED_TRACE("async height write " + std::to_string(k));
            SimBoard_FailNthHostCall(b.dev(), k, kHostFault);
            EXPECT_EQ(kHostFault, b.set(FG_IMGTRIGGER_ASYNC_HEIGHT, 100, port));
            SimBoard_ClearFaults(b.dev());
            EXPECT_EQ(9000u, b.u32(FG_IMGTRIGGER_ASYNC_HEIGHT, port));
        }
        ASSERT_TRUE(selectMode(0, port));
    }
}

}  // namespace
