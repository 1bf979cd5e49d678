// Pixel and output format, trigger packet mode, image timeout and image
// selector of both ports: the design value each accepted value becomes, the
// values refused, and the phase/period coupling of the image selector.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "board_fixture.h"

using namespace orvtest;

namespace {

class OutputFormat : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }
    void put(int id, uint32_t v, int port) { ASSERT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port; }
    Board b;
};

TEST_F(OutputFormat, EachAcceptedValueWritesItsDesignValueOnItsPort) {
    expectSingleWrites(b, {
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

TEST_F(OutputFormat, ValuesOutsideTheEnumerationsAndRangesAreRefused) {
    expectRejects(b, {
                         {FG_PIXELFORMAT, 258, {0, 1, 256, 260, 0x0201, 0x0103 | 0x10000, 0xFFFFFFFFu}},
                         {FG_CXP_TRIGGER_PACKET_MODE, 1, {2, 3, 0xFFFFFFFFu}},
                         {FG_FORMAT, 21, {0, 2, 8, 20, 23, 0xFFFFFFFFu}},
                         {FG_BITALIGNMENT, 0, {2, 3, 0xFFFFFFFFu}},
                         {FG_TIMEOUT, 5000, {0, 1, 2147483647u, 2147483648u, 0xFFFFFFFFu}},
                     });
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
