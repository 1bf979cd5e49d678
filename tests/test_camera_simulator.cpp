// Camera simulator of both ports: the design writes of each setter in order,
// the rate arithmetic (compared exactly), the 12-pixel rounding of widths and
// gaps, the speed mode with its access flags and the maxima it narrows, and
// what is kept or put back when a design access fails. Boards open without the
// default-value pass: speed mode 1 cached, width and height 1024, no gaps,
// 10 frames per second, nothing written to the design.

#include <cmath>
#include <limits>

#include "board_fixture.h"

using namespace orvtest;

namespace {

const int kHostFault = -4711;
const int kSkipDefaults = 1;
const int kReadWrite = 7;
const int kReadOnly = 1;

class CamSim : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }

    static Write w(int port, const char* rest, uint64_t v) {
        return u32w(dp(port, (std::string("CameraSimulator_") + rest).c_str()), v, port);
    }
    // The two writes of the line geometry and of the frame geometry.
    static std::vector<Write> widthWrites(int port, uint32_t width, uint32_t gap) {
        return {w(port, "Size_ImageWidth", (width + gap) / 12), w(port, "LineGap_Number", width / 12)};
    }
    static std::vector<Write> heightWrites(int port, uint32_t height, uint32_t gap) {
        return {w(port, "Size_ImageHeight", height + gap), w(port, "FrameGap_Number", height)};
    }
    // Sequence length then one active clock (line-rate and frame-rate mode).
    static std::vector<Write> clockWrites(int port, uint32_t clocks) {
        return {w(port, "PixelFrequency_SequenceLength_ImageWidth", clocks),
                w(port, "PixelFrequency_ActivePixel_Number", 1)};
    }
    static std::vector<Write> cat(std::initializer_list<std::vector<Write>> parts) {
        std::vector<Write> out;
        for (const std::vector<Write>& p : parts) out.insert(out.end(), p.begin(), p.end());
        return out;
    }

    void put(int id, uint32_t v, int port = 0) {
        ASSERT_EQ(0, b.set(id, v, port)) << id << " = " << v << " port " << port;
    }
    void putD(int id, double v, int port = 0) {
        ASSERT_EQ(0, b.setD(id, v, port)) << id << " = " << v << " port " << port;
    }
    void mode(uint32_t m, int port = 0) { put(FG_CAMERASIMULATOR_SELECT_MODE, m, port); }
    // Clocks per line as the design holds them.
    uint32_t clocks(int port = 0) {
        return b.designU32(dp(port, "CameraSimulator_PixelFrequency_SequenceLength_ImageWidth").c_str());
    }
    // Upper bounds of width, line gap, height and frame gap.
    std::vector<unsigned> maxima(int port) {
        std::vector<unsigned> out;
        for (int id : {FG_CAMERASIMULATOR_WIDTH, FG_CAMERASIMULATOR_LINE_GAP, FG_CAMERASIMULATOR_HEIGHT,
                       FG_CAMERASIMULATOR_FRAME_GAP})
            out.push_back(uintMax(b, id, port));
        return out;
    }
    // Pixel frequency, line rate, frame rate, line gap, frame gap.
    std::vector<int> speedFlags(int port) {
        std::vector<int> out;
        for (int id : {FG_CAMERASIMULATOR_PIXEL_FREQUENCY, FG_CAMERASIMULATOR_LINERATE, FG_CAMERASIMULATOR_FRAMERATE,
                       FG_CAMERASIMULATOR_LINE_GAP, FG_CAMERASIMULATOR_FRAME_GAP})
            out.push_back(flagsOf(b, id, port));
        return out;
    }

    Board b{kSkipDefaults};
};

// Pixel frequency in MHz for an on time, as the getter computes it.
double pixelMHz(uint32_t onTime) { return onTime * 12.0 / 2000.0 / 8e-9 / 1e6; }

TEST_F(CamSim, SourcePatternOffsetRollAndTriggerModeWriteTheirPortsDesignValues) {
    struct Case {
        int id;
        uint32_t v;
        std::vector<std::pair<const char*, uint64_t>> writes;
    };
    const char *freeRun = "TriggerValve_FreeRun_Select", *valveMode = "TriggerValve_TriggerValve_Mode";
    const Case cases[] = {
        {FG_CAMERASIMULATOR_ENABLE, 1, {{"Enable_SelectSource", 1}}},
        {FG_CAMERASIMULATOR_ENABLE, 0, {{"Enable_SelectSource", 0}}},
        {FG_CAMERASIMULATOR_PATTERN, 1, {{"EnableX_Enable_Value", 1}, {"Y_Divisor", 1}}},    // horizontal
        {FG_CAMERASIMULATOR_PATTERN, 2, {{"EnableX_Enable_Value", 0}, {"Y_Divisor", 256}}},  // vertical
        {FG_CAMERASIMULATOR_PATTERN, 3, {{"EnableX_Enable_Value", 1}, {"Y_Divisor", 256}}},  // diagonal
        {FG_CAMERASIMULATOR_PATTERN_OFFSET, 255, {{"Offset_Value", 255}}},
        {FG_CAMERASIMULATOR_ROLL, 0, {{"Frame_Divisor", 1}}},
        {FG_CAMERASIMULATOR_ROLL, 1, {{"Frame_Divisor", 256}}},
        {FG_CAMERASIMULATOR_TRIGGER_MODE, 8, {{freeRun, 0}, {valveMode, 1}}},
        {FG_CAMERASIMULATOR_TRIGGER_MODE, 9, {{freeRun, 0}, {valveMode, 2}}},
        {FG_CAMERASIMULATOR_TRIGGER_MODE, 0, {{freeRun, 1}, {valveMode, 2}}},
    };
    for (int port = 0; port < 2; ++port)
        for (const Case& c : cases) {
            std::vector<Write> expected;
            for (const auto& x : c.writes) expected.push_back(w(port, x.first, x.second));
            EXPECT_EQ(expected, writesOf(b, c.id, c.v, port)) << "port " << port;
            EXPECT_EQ(c.v, b.u32(c.id, port));
        }
}

TEST_F(CamSim, RefusedPictureValuesAndReadOnlyGatingKeepEverything) {
    expectRejects(b, {{FG_CAMERASIMULATOR_ENABLE, 1, {2}},
                      {FG_CAMERASIMULATOR_PATTERN, 2, {0, 4}},
                      {FG_CAMERASIMULATOR_PATTERN_OFFSET, 17, {256}},
                      {FG_CAMERASIMULATOR_ROLL, 0, {2}},
                      {FG_CAMERASIMULATOR_TRIGGER_MODE, 8, {1, 7, 10}}});
    for (int port = 0; port < 2; ++port) {
        expectRejected(b, FG_CAMERASIMULATOR_ACTIVE, 100, port, FG_ERR_NOT_AVAILABLE);
        expectRejected(b, FG_CAMERASIMULATOR_PASSIVE, 100, port, FG_ERR_NOT_AVAILABLE);
    }
}

TEST_F(CamSim, SpeedModeSetsTheAccessFlagsOfItsPortOnly) {
    const std::vector<int> catalogued = {kReadWrite, kReadWrite, kReadWrite, kReadWrite, kReadWrite};
    ASSERT_EQ(catalogued, speedFlags(0));
    ASSERT_EQ(catalogued, speedFlags(1));

    // Order: pixel frequency, line rate, frame rate, line gap, frame gap.
    mode(0, 1);
    EXPECT_EQ((std::vector<int>{kReadWrite, kReadOnly, kReadOnly, kReadWrite, kReadWrite}), speedFlags(1));
    mode(1, 1);
    EXPECT_EQ((std::vector<int>{kReadOnly, kReadWrite, kReadOnly, kReadOnly, kReadWrite}), speedFlags(1));
    mode(2, 1);
    EXPECT_EQ((std::vector<int>{kReadOnly, kReadOnly, kReadWrite, kReadOnly, kReadOnly}), speedFlags(1));
    EXPECT_EQ(2u, b.u32(FG_CAMERASIMULATOR_SELECT_MODE, 1));
    EXPECT_EQ(catalogued, speedFlags(0));
    EXPECT_EQ(1u, b.u32(FG_CAMERASIMULATOR_SELECT_MODE, 0));

    expectRejected(b, FG_CAMERASIMULATOR_SELECT_MODE, 3, 1);
    EXPECT_EQ((std::vector<int>{kReadOnly, kReadOnly, kReadWrite, kReadOnly, kReadOnly}), speedFlags(1));
}

TEST_F(CamSim, PixelFrequencyModeProgramsGeometryAndTheCachedFrequency) {
    // Width 1024 of start-up becomes 1032, 86 clocks of 12 pixels; 40 MHz
    // is 53 active clocks of 2000, divisor 2000 / 53 = 37.
    const std::vector<Write> expected =
        cat({{w(1, "ControlPixelClock_Mode", 0)},
             widthWrites(1, 1032, 0),
             heightWrites(1, 1024, 0),
             {w(1, "PixelFrequency_ActivePixel_Number", 53), w(1, "PixelFrequency_RepeatPat_Divisor", 37),
              w(1, "PixelFrequency_SequenceLength_ImageWidth", 2000)}});
    EXPECT_EQ(expected, writesOf(b, FG_CAMERASIMULATOR_SELECT_MODE, 0, 1));

    EXPECT_EQ(pixelMHz(53), b.dbl(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 1));
    EXPECT_EQ(53u, b.u32(FG_CAMERASIMULATOR_ACTIVE, 1));
    EXPECT_EQ(2000u - 53u, b.u32(FG_CAMERASIMULATOR_PASSIVE, 1));
    EXPECT_EQ(1032u, b.u32(FG_CAMERASIMULATOR_WIDTH, 1));
    EXPECT_EQ(pixelMHz(53) * 1e6 / 1032.0, b.dbl(FG_CAMERASIMULATOR_LINERATE, 1));
    EXPECT_EQ(pixelMHz(53) * 1e6 / double(1032u * 1024u), b.dbl(FG_CAMERASIMULATOR_FRAMERATE, 1));

    // Maxima: the gaps take what the geometry leaves.
    EXPECT_EQ((std::vector<unsigned>{65536, 65536 - 1032, 65536, 65536 - 1024}), maxima(1));
}

TEST_F(CamSim, FrameRateModeAppliesTheFrameRateOfStartUp) {
    // 10 Hz at 1024 lines: 1 / (10 * 8 ns) / 1024 = 12207.03 clocks per line.
    const std::vector<Write> expected = cat({{w(1, "ControlPixelClock_Mode", 1)},
                                             widthWrites(1, 1032, 0),
                                             heightWrites(1, 1024, 0),
                                             clockWrites(1, 12207),
                                             widthWrites(1, 1032, 0),
                                             heightWrites(1, 1024, 0)});
    EXPECT_EQ(expected, writesOf(b, FG_CAMERASIMULATOR_SELECT_MODE, 2, 1));

    EXPECT_EQ(1 / (double(1024u * 12207u) * 8e-9), b.dbl(FG_CAMERASIMULATOR_FRAMERATE, 1));
    EXPECT_EQ(12 / (1032 * 8e-9), b.dbl(FG_CAMERASIMULATOR_LINERATE, 1));
    EXPECT_EQ(1500.0, b.dbl(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 1));
    EXPECT_EQ((std::vector<unsigned>{65536, 0, 65536, 0}), maxima(1));
}

TEST_F(CamSim, GapsReadZeroWhereTheModeIgnoresThemAndComeBackInPixelFrequencyMode) {
    mode(0);
    put(FG_CAMERASIMULATOR_LINE_GAP, 100);  // 108 in use
    put(FG_CAMERASIMULATOR_FRAME_GAP, 50);
    EXPECT_EQ(108u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));
    EXPECT_EQ(50u, b.u32(FG_CAMERASIMULATOR_FRAME_GAP));

    mode(2);
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_FRAME_GAP));
    expectRejected(b, FG_CAMERASIMULATOR_LINE_GAP, 1);
    expectRejected(b, FG_CAMERASIMULATOR_FRAME_GAP, 1);
    EXPECT_EQ(1024u, b.designU32(dp(0, "CameraSimulator_Size_ImageHeight").c_str()));

    // Back in mode 0 the requested gaps are programmed again.
    const std::vector<Write> restore =
        cat({{w(0, "ControlPixelClock_Mode", 0)}, widthWrites(0, 1032, 108), heightWrites(0, 1024, 50)});
    std::vector<Write> got = writesOf(b, FG_CAMERASIMULATOR_SELECT_MODE, 0);
    ASSERT_GE(got.size(), restore.size());
    EXPECT_EQ(restore, std::vector<Write>(got.begin(), got.begin() + restore.size()));
    EXPECT_EQ(108u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));
    EXPECT_EQ(50u, b.u32(FG_CAMERASIMULATOR_FRAME_GAP));

    // Line-rate mode drops the line gap and keeps the frame gap, whose
    // maximum is 0 although the record is writable.
    mode(1);
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));
    EXPECT_EQ(50u, b.u32(FG_CAMERASIMULATOR_FRAME_GAP));
    EXPECT_EQ(kReadWrite, flagsOf(b, FG_CAMERASIMULATOR_FRAME_GAP));
    EXPECT_EQ(0u, uintMax(b, FG_CAMERASIMULATOR_FRAME_GAP));
    expectRejected(b, FG_CAMERASIMULATOR_FRAME_GAP, 1);
    put(FG_CAMERASIMULATOR_FRAME_GAP, 0);
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_FRAME_GAP));
}

TEST_F(CamSim, PixelFrequencyProgramsOnTimeAndDivisor) {
    mode(0, 1);
    struct Case {
        double mhz;
        uint32_t onTime, divisor;
    };
    // On time = value * 4/3 rounded; 0.375 MHz is the smallest with one clock.
    for (const Case& c : {Case{1500.0, 2000, 1}, Case{40.0, 53, 37}, Case{0.375, 1, 2000}, Case{4000.0, 5333, 0}}) {
        SCOPED_TRACE(c.mhz);
        const std::vector<Write> expected = {w(1, "PixelFrequency_ActivePixel_Number", c.onTime),
                                             w(1, "PixelFrequency_RepeatPat_Divisor", c.divisor),
                                             w(1, "PixelFrequency_SequenceLength_ImageWidth", 2000)};
        EXPECT_EQ(expected, writesOfD(b, FG_CAMERASIMULATOR_PIXEL_FREQUENCY, c.mhz, 1));
        EXPECT_EQ(pixelMHz(c.onTime), b.dbl(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 1));
        EXPECT_EQ(c.onTime, b.u32(FG_CAMERASIMULATOR_ACTIVE, 1));
    }
    EXPECT_EQ(1500.0, doubleMax(b, FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 1));
}

TEST_F(CamSim, PixelFrequencyWithoutAnActiveClockOrOutOfRangeIsRefused) {
    mode(0);
    for (double v : {-0.5, 0.0, 0.3, 0.37, 4000.001, std::numeric_limits<double>::quiet_NaN(),
                     std::numeric_limits<double>::infinity()})
        expectRejectedD(b, FG_CAMERASIMULATOR_PIXEL_FREQUENCY, v);
    EXPECT_EQ(53u, b.u32(FG_CAMERASIMULATOR_ACTIVE));
    // The refused values were not cached: mode 0 applies 40 MHz again.
    mode(1);
    mode(0);
    EXPECT_EQ(53u, b.u32(FG_CAMERASIMULATOR_ACTIVE));
}

TEST_F(CamSim, OutsidePixelFrequencyModeTheFrequencyReadsFullSpeedAndGatingIsNotReported) {
    mode(1);
    b.clearLog();
    EXPECT_EQ(1500.0, b.dbl(FG_CAMERASIMULATOR_PIXEL_FREQUENCY));
    uint32_t active = 4242, passive = 4343;
    EXPECT_EQ(0, b.get(FG_CAMERASIMULATOR_ACTIVE, &active));
    EXPECT_EQ(0, b.get(FG_CAMERASIMULATOR_PASSIVE, &passive));
    EXPECT_EQ(4242u, active);
    EXPECT_EQ(4343u, passive);

    // The setter does not look at the mode: it programs the gating anyway,
    // and the line rate of mode 1 now follows the 2000-clock sequence.
    const std::vector<Write> expected = {w(0, "PixelFrequency_ActivePixel_Number", 1000),
                                         w(0, "PixelFrequency_RepeatPat_Divisor", 2),
                                         w(0, "PixelFrequency_SequenceLength_ImageWidth", 2000)};
    EXPECT_EQ(expected, writesOfD(b, FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 750.0));
    EXPECT_EQ(1 / (2000 * 8e-9), b.dbl(FG_CAMERASIMULATOR_LINERATE));
    EXPECT_EQ(1500.0, b.dbl(FG_CAMERASIMULATOR_PIXEL_FREQUENCY));
}

TEST_F(CamSim, FrameRateModeStartsAtTheFrameRateLastProgrammed) {
    // Pixel frequency 40 MHz over 1200 x 1000 pixels: 33.125 frames per second.
    mode(0);
    put(FG_CAMERASIMULATOR_WIDTH, 1200);
    put(FG_CAMERASIMULATOR_HEIGHT, 1000);
    putD(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 40.0);
    const double fps = pixelMHz(53) * 1e6 / double(1200u * 1000u);
    EXPECT_EQ(fps, b.dbl(FG_CAMERASIMULATOR_FRAMERATE));
    EXPECT_EQ(33.125, fps);

    // 1 / (33.125 * 8 ns) / 1000 = 3774.08 clocks per line.
    mode(2);
    EXPECT_EQ(3774u, clocks());
    EXPECT_EQ(1 / (double(1000u * 3774u) * 8e-9), b.dbl(FG_CAMERASIMULATOR_FRAMERATE));

    // A frame rate set in mode 2 is not what mode 2 comes back to.
    putD(FG_CAMERASIMULATOR_FRAMERATE, 500.0);
    EXPECT_EQ(250u, clocks());
    mode(2);
    EXPECT_EQ(3774u, clocks());

    // A line rate refreshes it: 10240 Hz over 1024 lines is 10.0000256 Hz,
    // 12207 clocks per line again.
    put(FG_CAMERASIMULATOR_HEIGHT, 1024);
    mode(1);
    putD(FG_CAMERASIMULATOR_LINERATE, 10240.0);
    mode(2);
    EXPECT_EQ(12207u, clocks());
}

TEST_F(CamSim, LineRateLimitsAtTheStartUpWidth) {
    // Width 1024 in use: at most 1.5e9 / (1024 + 12) = 1447876.4 lines per second.
    const double top = 1.5e9 / 1036;
    for (double v : {0.09, 0.0999, 1447877.0, std::nextafter(top, 2e6), std::numeric_limits<double>::quiet_NaN()})
        expectRejectedD(b, FG_CAMERASIMULATOR_LINERATE, v);

    // The maximum itself and the minimum 0.1 are accepted; 86.83 clocks round to 86.
    const std::vector<Write> expected = cat({clockWrites(0, 86), widthWrites(0, 1032, 0)});
    EXPECT_EQ(expected, writesOfD(b, FG_CAMERASIMULATOR_LINERATE, top));
    // Now 1032 in use: the maximum moved to 1.5e9 / 1044.
    expectRejectedD(b, FG_CAMERASIMULATOR_LINERATE, top);
    EXPECT_EQ(cat({clockWrites(0, 1250000000), widthWrites(0, 1032, 0)}),
              writesOfD(b, FG_CAMERASIMULATOR_LINERATE, 0.1));
}

TEST_F(CamSim, UnprogrammedClocksPerLineLeaveTheGeometryBounds) {
    // Start-up caches mode 1 without programming a line: the design holds 0
    // clocks per line, the rate is infinite and max_pf / rate - 12 negative.
    // The geometry bounds decide then.
    ASSERT_EQ(0u, clocks(1));
    EXPECT_EQ(widthWrites(1, 1200, 0), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 1200, 1));
    EXPECT_EQ(widthWrites(1, 1200, 1200), writesOf(b, FG_CAMERASIMULATOR_LINE_GAP, 1200, 1));
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_LINE_GAP, 1));
}

TEST_F(CamSim, VerySlowLineRateLeavesTheGeometryBounds) {
    mode(1);
    // 357913943 clocks per line: 12 pixels per clock make more than 2^32
    // pixels, which does not shrink the width maximum below 65536.
    putD(FG_CAMERASIMULATOR_LINERATE, 1 / (357913943 * 8e-9));
    EXPECT_EQ(357913943u, clocks());
    EXPECT_EQ(65536u, uintMax(b, FG_CAMERASIMULATOR_WIDTH));
    EXPECT_EQ(65536u - 1032u, uintMax(b, FG_CAMERASIMULATOR_LINE_GAP));
    // 65536 itself rounds up to 65544 pixels.
    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 65536);
    put(FG_CAMERASIMULATOR_WIDTH, 65532);
    EXPECT_EQ(65532u, b.u32(FG_CAMERASIMULATOR_WIDTH));
}

TEST_F(CamSim, FastLineRateNarrowsWidthAndLineGap) {
    mode(1, 1);
    // 100 kHz: 1250 clocks, 15000 pixels per line.
    putD(FG_CAMERASIMULATOR_LINERATE, 100000.0, 1);
    EXPECT_EQ(15000u - 12u, uintMax(b, FG_CAMERASIMULATOR_WIDTH, 1));
    EXPECT_EQ(15000u - 1032u - 12u, uintMax(b, FG_CAMERASIMULATOR_LINE_GAP, 1));
    EXPECT_EQ(65536u, uintMax(b, FG_CAMERASIMULATOR_WIDTH, 0));

    expectRejected(b, FG_CAMERASIMULATOR_LINE_GAP, 13957, 1);
    put(FG_CAMERASIMULATOR_LINE_GAP, 13956, 1);
    EXPECT_EQ(0u, b.u32(FG_CAMERASIMULATOR_LINE_GAP, 1));

    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 14989, 1);
    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 0, 1);
    EXPECT_EQ(widthWrites(1, 14988, 0), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 14988, 1));
    EXPECT_EQ(14988u, b.u32(FG_CAMERASIMULATOR_WIDTH, 1));
    // The width sets the rate limits.
    EXPECT_EQ(1.5e9 / 15000, doubleMax(b, FG_CAMERASIMULATOR_LINERATE, 1));
    EXPECT_EQ(1.5e9 / double(15000u * 1024u), doubleMax(b, FG_CAMERASIMULATOR_FRAMERATE, 1));
    EXPECT_EQ(10000000.0, doubleMax(b, FG_CAMERASIMULATOR_LINERATE, 0));
}

TEST_F(CamSim, FrameRateProgramsClocksPerLineAndNarrowsWidthAndHeight) {
    mode(2);
    const double top = 1.5e9 / double(1044u * 1024u);
    for (double v : {0.09, std::nextafter(top, 1e9), std::numeric_limits<double>::quiet_NaN()})
        expectRejectedD(b, FG_CAMERASIMULATOR_FRAMERATE, v);

    // 1 / (1000 * 8 ns) / 1024 = 122.07 clocks per line.
    EXPECT_EQ(cat({clockWrites(0, 122), widthWrites(0, 1032, 0), heightWrites(0, 1024, 0)}),
              writesOfD(b, FG_CAMERASIMULATOR_FRAMERATE, 1000.0));
    const double fps = 1 / (double(1024u * 122u) * 8e-9);
    EXPECT_EQ(fps, b.dbl(FG_CAMERASIMULATOR_FRAMERATE));
    EXPECT_EQ(1452u, uintMax(b, FG_CAMERASIMULATOR_WIDTH));   // 1464 pixels per line, less 12
    EXPECT_EQ(1435u, uintMax(b, FG_CAMERASIMULATOR_HEIGHT));  // 1.5e9 / (1044 * fps)

    // A new height re-applies the frame rate with its own clocks per line.
    expectRejected(b, FG_CAMERASIMULATOR_HEIGHT, 1436);
    EXPECT_EQ(cat({heightWrites(0, 512, 0), clockWrites(0, 244), widthWrites(0, 1032, 0), heightWrites(0, 512, 0)}),
              writesOf(b, FG_CAMERASIMULATOR_HEIGHT, 512));
    EXPECT_EQ(512u, b.u32(FG_CAMERASIMULATOR_HEIGHT));
    EXPECT_EQ(2916u, uintMax(b, FG_CAMERASIMULATOR_WIDTH));
    EXPECT_EQ(0u, uintMax(b, FG_CAMERASIMULATOR_FRAME_GAP));
    EXPECT_EQ(1.5e9 / double(1044u * 512u), doubleMax(b, FG_CAMERASIMULATOR_FRAMERATE));
}

TEST_F(CamSim, WidthAndLineGapAreRoundedUpToTwelvePixels) {
    mode(0, 1);
    EXPECT_EQ(widthWrites(1, 1032, 24), writesOf(b, FG_CAMERASIMULATOR_LINE_GAP, 20, 1));
    EXPECT_EQ(24u, b.u32(FG_CAMERASIMULATOR_LINE_GAP, 1));
    EXPECT_EQ(65536u - 24u, uintMax(b, FG_CAMERASIMULATOR_WIDTH, 1));

    // 1000 becomes 1008: (1008 + 24) / 12 = 86 clocks per line, 84 of them pixels.
    EXPECT_EQ(widthWrites(1, 1008, 24), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 1000, 1));
    EXPECT_EQ(1008u, b.u32(FG_CAMERASIMULATOR_WIDTH, 1));
    EXPECT_EQ(65536u - 1008u, uintMax(b, FG_CAMERASIMULATOR_LINE_GAP, 1));
    EXPECT_EQ(65536u, uintMax(b, FG_CAMERASIMULATOR_HEIGHT, 1));
    EXPECT_EQ(1.5e9 / 1020, doubleMax(b, FG_CAMERASIMULATOR_LINERATE, 1));
    EXPECT_EQ(1.5e9 / double(1020u * 1024u), doubleMax(b, FG_CAMERASIMULATOR_FRAMERATE, 1));
    EXPECT_EQ(pixelMHz(53) * 1e6 / 1032.0, b.dbl(FG_CAMERASIMULATOR_LINERATE, 1));
    // A multiple of 12 stays as it is.
    EXPECT_EQ(widthWrites(1, 1200, 24), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 1200, 1));
}

TEST_F(CamSim, WidthPlusLineGapStaysWithin65536) {
    mode(0);
    put(FG_CAMERASIMULATOR_LINE_GAP, 24);
    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 65513);
    // 65509 passes the check but rounds to 65520: 65544 pixels, refused
    // before anything is written.
    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 65509);
    EXPECT_EQ(1032u, b.u32(FG_CAMERASIMULATOR_WIDTH));
    EXPECT_EQ(widthWrites(0, 65508, 24), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 65508));
    EXPECT_EQ(28u, uintMax(b, FG_CAMERASIMULATOR_LINE_GAP));
    expectRejected(b, FG_CAMERASIMULATOR_LINE_GAP, 29);
    // 28 rounds to 36: too much for the line.
    expectRejected(b, FG_CAMERASIMULATOR_LINE_GAP, 28);
    EXPECT_EQ(widthWrites(0, 65508, 0), writesOf(b, FG_CAMERASIMULATOR_LINE_GAP, 0));
    EXPECT_EQ(widthWrites(0, 65532, 0), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 65530));
    EXPECT_EQ(widthWrites(0, 65532, 0), writesOf(b, FG_CAMERASIMULATOR_WIDTH, 65532));
}

TEST_F(CamSim, HeightPlusFrameGapStaysWithin65536) {
    mode(0, 1);
    EXPECT_EQ(heightWrites(1, 1024, 100), writesOf(b, FG_CAMERASIMULATOR_FRAME_GAP, 100, 1));
    EXPECT_EQ(65436u, uintMax(b, FG_CAMERASIMULATOR_HEIGHT, 1));
    expectRejected(b, FG_CAMERASIMULATOR_HEIGHT, 65437, 1);
    expectRejected(b, FG_CAMERASIMULATOR_HEIGHT, 0, 1);
    EXPECT_EQ(heightWrites(1, 65436, 100), writesOf(b, FG_CAMERASIMULATOR_HEIGHT, 65436, 1));
    EXPECT_EQ(65436u, b.u32(FG_CAMERASIMULATOR_HEIGHT, 1));
    EXPECT_EQ(100u, uintMax(b, FG_CAMERASIMULATOR_FRAME_GAP, 1));
    EXPECT_EQ(1.5e9 / double(1044u * 65436u), doubleMax(b, FG_CAMERASIMULATOR_FRAMERATE, 1));
    expectRejected(b, FG_CAMERASIMULATOR_FRAME_GAP, 101, 1);
    EXPECT_EQ(heightWrites(1, 65436, 0), writesOf(b, FG_CAMERASIMULATOR_FRAME_GAP, 0, 1));
    EXPECT_EQ(65536u, uintMax(b, FG_CAMERASIMULATOR_HEIGHT, 1));
}

TEST_F(CamSim, FailingWriteRestoresOnlyTheSettersCachedValue) {
    QORdevice* dev = b.dev();

    // Pattern: EnableX is written, the divisor fails, the pattern stays 3.
    SimBoard_FailParameter(dev, dp(0, "CameraSimulator_Y_Divisor").c_str(), 1, kHostFault);
    b.clearLog();
    EXPECT_EQ(kHostFault, b.set(FG_CAMERASIMULATOR_PATTERN, 2));
    EXPECT_EQ(kHostFault, b.lastError());
    EXPECT_EQ(std::vector<Write>{w(0, "EnableX_Enable_Value", 0)}, writes(b.log()));
    EXPECT_EQ(3u, b.u32(FG_CAMERASIMULATOR_PATTERN));
    SimBoard_ClearFaults(dev);

    // Height: the frame writes fail halfway; the height reads as before.
    SimBoard_FailParameter(dev, dp(0, "CameraSimulator_FrameGap_Number").c_str(), 1, kHostFault);
    EXPECT_EQ(kHostFault, b.set(FG_CAMERASIMULATOR_HEIGHT, 2000));
    EXPECT_EQ(1024u, b.u32(FG_CAMERASIMULATOR_HEIGHT));
    EXPECT_EQ(2000u, b.designU32(dp(0, "CameraSimulator_Size_ImageHeight").c_str()));
    SimBoard_ClearFaults(dev);

    // Speed mode: the mode stays 1, the access flags of mode 0 stay too.
    SimBoard_FailParameter(dev, dp(0, "CameraSimulator_ControlPixelClock_Mode").c_str(), 1, kHostFault);
    EXPECT_EQ(kHostFault, b.set(FG_CAMERASIMULATOR_SELECT_MODE, 0));
    EXPECT_EQ(1u, b.u32(FG_CAMERASIMULATOR_SELECT_MODE));
    EXPECT_EQ((std::vector<int>{kReadWrite, kReadOnly, kReadOnly, kReadWrite, kReadWrite}), speedFlags(0));
    SimBoard_ClearFaults(dev);

    // Pixel frequency: the divisor write (second host call) fails; 40 MHz
    // stays cached and is what mode 0 applies.
    SimBoard_FailNthHostCall(dev, 2, kHostFault);
    EXPECT_EQ(kHostFault, b.setD(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 750.0));
    mode(0);
    EXPECT_EQ(53u, b.u32(FG_CAMERASIMULATOR_ACTIVE));

    // Line gap: the working gap is changed before the failing write, the
    // requested one is not; it comes back after a round through mode 2.
    put(FG_CAMERASIMULATOR_LINE_GAP, 12);
    SimBoard_FailParameter(dev, dp(0, "CameraSimulator_LineGap_Number").c_str(), 1, kHostFault);
    EXPECT_EQ(kHostFault, b.set(FG_CAMERASIMULATOR_LINE_GAP, 120));
    EXPECT_EQ(120u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));
    SimBoard_ClearFaults(dev);
    mode(2);
    mode(0);
    EXPECT_EQ(12u, b.u32(FG_CAMERASIMULATOR_LINE_GAP));

    // Line rate: the clocks are written, the active clock fails; the cached
    // 10240 Hz is what mode 1 applies.
    mode(1);
    SimBoard_FailParameter(dev, dp(0, "CameraSimulator_PixelFrequency_ActivePixel_Number").c_str(), 1, kHostFault);
    EXPECT_EQ(kHostFault, b.setD(FG_CAMERASIMULATOR_LINERATE, 20000.0));
    EXPECT_EQ(6250u, clocks());
    SimBoard_ClearFaults(dev);
    mode(0);
    mode(1);
    EXPECT_EQ(12207u, clocks());
}

TEST_F(CamSim, FailingRateReadFailsWhatNeedsTheRateAndSkipsRangeUpdates) {
    QORdevice* dev = b.dev();
    mode(1, 1);
    putD(FG_CAMERASIMULATOR_LINERATE, 100000.0, 1);
    ASSERT_EQ(14988u, uintMax(b, FG_CAMERASIMULATOR_WIDTH, 1));

    SimBoard_FailParameter(dev, dp(1, "CameraSimulator_PixelFrequency_SequenceLength_ImageWidth").c_str(), 0,
                           kHostFault);
    double rate = -1.0;
    EXPECT_EQ(kHostFault, b.getD(FG_CAMERASIMULATOR_LINERATE, &rate, 1));
    EXPECT_EQ(kHostFault, b.getD(FG_CAMERASIMULATOR_FRAMERATE, &rate, 1));
    EXPECT_EQ(-1.0, rate);
    expectRejected(b, FG_CAMERASIMULATOR_WIDTH, 1200, 1, kHostFault);
    expectRejected(b, FG_CAMERASIMULATOR_LINE_GAP, 0, 1, kHostFault);

    // The height does not need the rate; the width maximum it would update
    // cannot be computed and keeps its value.
    EXPECT_EQ(heightWrites(1, 2048, 0), writesOf(b, FG_CAMERASIMULATOR_HEIGHT, 2048, 1));
    EXPECT_EQ(14988u, uintMax(b, FG_CAMERASIMULATOR_WIDTH, 1));
    EXPECT_EQ(0u, uintMax(b, FG_CAMERASIMULATOR_FRAME_GAP, 1));
    EXPECT_EQ(1.5e9 / double(1044u * 2048u), doubleMax(b, FG_CAMERASIMULATOR_FRAMERATE, 1));

    // The line rate is written, but the frame rate it keeps cannot be read.
    b.clearLog();
    EXPECT_EQ(kHostFault, b.setD(FG_CAMERASIMULATOR_LINERATE, 50000.0, 1));
    EXPECT_EQ(cat({clockWrites(1, 2500), widthWrites(1, 1032, 0)}), writes(b.log()));
    SimBoard_ClearFaults(dev);
    EXPECT_EQ(1 / (2500 * 8e-9), b.dbl(FG_CAMERASIMULATOR_LINERATE, 1));
}

}  // namespace
