// Acquisition on the simulated board: the delivered buffers against images
// computed here from the SDK values the test sets, for a table of programmed
// states; waits, stops, time-outs, losses, bad arguments, host faults, and
// both ports under load from other threads.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <thread>

#include "board_fixture.h"
#include "check_table.h"
#include "test_files.h"

using namespace orvtest;
using checktable::expectAll;
using checktable::expectNull;

namespace {

// ---- the SDK state a case programs, and the image it must give ----------------

constexpr uint32_t kSoftwareSource = 0xFFFFFFFFu;  // FG_IMGTRIGGERINSRC -1

struct Sdk {
    // source
    uint32_t simEnable = 1, simWidth = 96, simHeight = 8, pattern = 3, offset = 0, roll = 1;
    uint32_t pixelFormat = 257;  // Mono8, Mono10 258, Mono12 259
    // lookup table: processing values, or a custom table (non-empty)
    double gain = 1.0, gamma = 1.0, lutOffset = 0.0;
    uint32_t invert = 0;
    std::vector<uint32_t> custom;
    // region and output
    uint32_t width = 64, height = 8, xOffset = 0, yOffset = 0, reverseX = 0;
    uint32_t format = 3, alignment = 1;  // FG_GRAY; FG_LEFT_ALIGNED
    uint32_t selectPeriod = 1, selectPhase = 0;
    // triggers
    uint32_t imgTriggerMode = 0, asyncHeight = 16;
    uint32_t lineTriggerMode = 1, lineInput = 0, downscale = 1, downscaleInit = 1;
    double linePeriod = 200.0;
};

uint32_t depthOf(const Sdk& s) { return s.pixelFormat == 259 ? 12 : s.pixelFormat == 258 ? 10 : 8; }

std::vector<uint32_t> lutOf(const Sdk& s) {
    if (!s.custom.empty()) return s.custom;
    std::vector<uint32_t> t(4096);
    for (int i = 0; i < 4096; ++i) {
        const double base = (i / 4095.0 + s.lutOffset) * s.gain;
        double e = base < 0 ? 0.0 : std::pow(base, 1.0 / s.gamma) * 4095.0 + 0.5;
        e = std::min(std::max(std::trunc(e), -2147483648.0), 2147483647.0);
        if (s.invert) e = 4095 - e;
        t[i] = static_cast<uint32_t>(std::min(std::max(e, 0.0), 4095.0));
    }
    return t;
}

uint32_t bytesPerPixel(const Sdk& s) { return s.format == 3 ? 1 : 2; }
size_t frameBytes(const Sdk& s) { return size_t(s.width) * s.height * bytesPerPixel(s); }

// The source line of picture `pic` (1-based) at row `row`: pictures follow
// each other in the source's line stream, y-offset lines skipped before each
// trigger window, the image selector taking one image of each period.
uint64_t streamLine(const Sdk& s, uint32_t pic, uint32_t row) {
    if (s.imgTriggerMode == 8) {
        const uint32_t perWindow = (s.asyncHeight + s.height - 1) / s.height;
        const uint64_t window = (pic - 1) / perWindow, part = (pic - 1) % perWindow;
        return window * (s.yOffset + s.asyncHeight) + s.yOffset + part * s.height + row;
    }
    const uint64_t image = uint64_t(pic - 1) * s.selectPeriod + s.selectPhase;
    return image * (s.yOffset + s.height) + s.yOffset + row;
}

uint32_t sourcePixel(const Sdk& s, uint64_t line, uint32_t x) {
    const uint32_t d = depthOf(s), mask = (1u << d) - 1;
    if (s.simEnable) {
        if (x >= s.simWidth) return 0;
        const uint64_t frame = line / s.simHeight, y = line % s.simHeight;
        const uint64_t c =
            (s.pattern != 2 ? x : 0) + (s.pattern != 1 ? y % 256 : 0) + s.offset + (s.roll ? frame % 256 : 0);
        return static_cast<uint32_t>((c & mask) << (12 - d));
    }
    return static_cast<uint32_t>(((x + 3 * line) & mask) << (12 - d));  // the camera's test scene
}

std::vector<uint8_t> expectedPicture(const Sdk& s, uint32_t pic) {
    const std::vector<uint32_t> lut = lutOf(s);
    std::vector<uint8_t> out(frameBytes(s));
    for (uint32_t r = 0; r < s.height; ++r)
        for (uint32_t c = 0; c < s.width; ++c) {
            const uint32_t x = s.xOffset + (s.reverseX ? s.width - 1 - c : c);
            const uint32_t v = lut[sourcePixel(s, streamLine(s, pic, r), x)];
            const size_t i = size_t(r) * s.width + c;
            const bool left = s.alignment == 1;
            // gray 8: the top 8 bits; gray 10: the top 10; gray 12 and 16: all 12; the 16-bit
            // words little-endian, a left-aligned value at the top of its word
            const uint32_t w = s.format == 3    ? v >> 4
                               : s.format == 21 ? (v >> 2) << (left ? 6 : 0)
                                                : v << (left ? 4 : 0);
            out[bytesPerPixel(s) * i] = static_cast<uint8_t>(w & 0xFF);
            if (bytesPerPixel(s) == 2) out[2 * i + 1] = static_cast<uint8_t>(w >> 8);
        }
    return out;
}

// Picture `p` of a ring against the one computed for the state.
void expectPicture(Board& b, const Sdk& s, int port, dma_mem* mem, frameindex_t p) {
    const uint8_t* got = static_cast<const uint8_t*>(Fg_getPicturePtrEx(b.fg(), p, port, mem));
    ASSERT_NE(nullptr, got) << "picture " << p;
    const std::vector<uint8_t> want = expectedPicture(s, static_cast<uint32_t>(p));
    const size_t bad = static_cast<size_t>(std::mismatch(want.begin(), want.end(), got).first - want.begin());
    EXPECT_EQ(want.size(), bad) << "picture " << p << " differs first at byte " << bad << ": "
                                << int(bad < want.size() ? got[bad] : 0) << " instead of "
                                << int(bad < want.size() ? want[bad] : 0);
}

void writeLutFile(const char* path, const std::vector<uint32_t>& t) {
    std::string text = "# Lut data file v1.1\n[gray]\nid=3;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n";
    for (size_t i = 0; i < t.size(); ++i) text += std::to_string(i) + "," + std::to_string(t[i]) + ";\n";
    ASSERT_TRUE(writeFile(path, text));
}

// Programs the state through the applet's SDK parameters.
void program(Board& b, const Sdk& s, int port) {
    auto u = [&](int id, uint32_t v) { ASSERT_EQ(0, b.set(id, v, port)) << "parameter " << id << " = " << v; };
    auto d = [&](int id, double v) { ASSERT_EQ(0, b.setD(id, v, port)) << "parameter " << id << " = " << v; };
    using Field = uint32_t Sdk::*;
    const std::pair<int, Field> source[] = {{FG_CAMERASIMULATOR_ENABLE, &Sdk::simEnable},
                                            {FG_CAMERASIMULATOR_WIDTH, &Sdk::simWidth},
                                            {FG_CAMERASIMULATOR_HEIGHT, &Sdk::simHeight},
                                            {FG_CAMERASIMULATOR_PATTERN, &Sdk::pattern},
                                            {FG_CAMERASIMULATOR_PATTERN_OFFSET, &Sdk::offset},
                                            {FG_CAMERASIMULATOR_ROLL, &Sdk::roll},
                                            {FG_PIXELFORMAT, &Sdk::pixelFormat}};
    const std::pair<int, Field> region[] = {{FG_WIDTH, &Sdk::width},
                                            {FG_XOFFSET, &Sdk::xOffset},
                                            {FG_HEIGHT, &Sdk::height},
                                            {FG_YOFFSET, &Sdk::yOffset},
                                            {FG_REVERSE_X, &Sdk::reverseX},
                                            {FG_FORMAT, &Sdk::format},
                                            {FG_BITALIGNMENT, &Sdk::alignment},
                                            {FG_IMG_SELECT_PERIOD, &Sdk::selectPeriod},
                                            {FG_IMG_SELECT, &Sdk::selectPhase},
                                            {FG_LINETRIGGERMODE, &Sdk::lineTriggerMode}};
    for (const auto& f : source) u(f.first, s.*f.second);
    if (s.custom.empty()) {
        d(FG_PROCESSING_GAIN, s.gain);
        d(FG_PROCESSING_GAMMA, s.gamma);
        d(FG_PROCESSING_OFFSET, s.lutOffset);
        u(FG_PROCESSING_INVERT, s.invert);
    } else {
        const std::string file = "custom" + std::to_string(port) + ".lut";
        writeLutFile(file.c_str(), s.custom);
        u(FG_LUT_TYPE, 0);
        ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, file.c_str(), port));
    }
    for (const auto& f : region) u(f.first, s.*f.second);
    if (s.lineTriggerMode == 2) {
        u(FG_LINETRIGGERINSRC, s.lineInput);
        u(FG_LINE_DOWNSCALE, s.downscale);
        u(FG_LINE_DOWNSCALEINIT, s.downscaleInit);
    }
    d(FG_LINEPERIODE, s.linePeriod);
    u(FG_IMGTRIGGERMODE, s.imgTriggerMode);
    if (s.imgTriggerMode != 0) u(FG_IMGTRIGGERINSRC, kSoftwareSource);
    if (s.imgTriggerMode == 8) u(FG_IMGTRIGGER_ASYNC_HEIGHT, s.asyncHeight);
}

// A ring for one port of a board, freed at the end of the scope.
struct Ring {
    Ring(Board& b, size_t size, int count) : b_(b), mem(Fg_AllocRingEx(b.fg(), size, count)) {}
    ~Ring() {
        if (mem) {
            EXPECT_EQ(0, Fg_FreeRingEx(b_.fg(), mem));
        }
    }
    Board& b_;
    dma_mem* mem;
};

// What the case does to get its pictures after the start.
enum class Drive { FreeRun, SoftwareTriggers, SoftwareGate, TriggerInput };

struct Case {
    const char* name;
    std::function<void(Sdk&)> change;
    Drive drive = Drive::FreeRun;
    uint32_t pictures = 3;
};

Sdk stateOf(const Case& c) {
    Sdk s;
    if (c.change) c.change(s);
    return s;
}

std::vector<uint32_t> customTable() {
    std::vector<uint32_t> t(4096);
    for (uint32_t i = 0; i < 4096; ++i) t[i] = (i * 7 + 1000) % 4096;
    return t;
}

const std::vector<Case>& cases() {
    static const std::vector<Case> all = {
        {"horizontal", [](Sdk& s) { s.pattern = 1, s.roll = 0; }},
        {"horizontal rolling with offset", [](Sdk& s) { s.pattern = 1, s.offset = 200; }},
        {"vertical", [](Sdk& s) { s.pattern = 2, s.roll = 0, s.simHeight = 300, s.height = 100; }},
        {"vertical rolling with offset", [](Sdk& s) { s.pattern = 2, s.offset = 255; }},
        {"diagonal", [](Sdk& s) { s.roll = 0; }},
        {"diagonal rolling with offset", [](Sdk& s) { s.offset = 17; }},
        {"widest line", [](Sdk& s) { s.simWidth = 16392, s.width = 16384, s.pattern = 1; }},
        {"x-offset at its maximum", [](Sdk& s) { s.width = 32, s.xOffset = 16352, s.simWidth = 16380; }},
        {"region past the generated line", [](Sdk& s) { s.xOffset = 64, s.yOffset = 3; }},
        {"minimal height", [](Sdk& s) { s.height = 8, s.simHeight = 5; }},
        {"line mirror", [](Sdk& s) { s.reverseX = 1, s.xOffset = 16; }},
        {"gray 10 left", [](Sdk& s) { s.format = 21, s.pixelFormat = 258; }},
        {"gray 10 right", [](Sdk& s) { s.format = 21, s.alignment = 0, s.pixelFormat = 258; }},
        {"gray 12 left", [](Sdk& s) { s.format = 22, s.pixelFormat = 259; }},
        {"gray 12 right", [](Sdk& s) { s.format = 22, s.alignment = 0, s.pixelFormat = 259, s.pattern = 1; }},
        {"gray 16 left", [](Sdk& s) { s.format = 1, s.pixelFormat = 258; }},
        {"gray 16 right", [](Sdk& s) { s.format = 1, s.alignment = 0; }},
        {"gamma", [](Sdk& s) { s.gamma = 2.2, s.format = 22, s.pixelFormat = 259; }},
        {"invert with gain and offset", [](Sdk& s) { s.invert = 1, s.gain = 1.5, s.lutOffset = -0.1; }},
        {"custom table file", [](Sdk& s) { s.custom = customTable(), s.format = 1; }},
        {"image selector period 3 phase 2", [](Sdk& s) { s.selectPeriod = 3, s.selectPhase = 2; }},
        {"software trigger", [](Sdk& s) { s.imgTriggerMode = 2, s.yOffset = 2; }, Drive::SoftwareTriggers},
        {"software trigger, multi-buffer", [](Sdk& s) { s.imgTriggerMode = 8, s.asyncHeight = 16; },
         Drive::SoftwareTriggers, 6},
        {"software gate", [](Sdk& s) { s.imgTriggerMode = 5; }, Drive::SoftwareGate},
        {"software gate, multi-buffer", [](Sdk& s) { s.imgTriggerMode = 6; }, Drive::SoftwareGate},
        {"camera, ExSync period",
         [](Sdk& s) { s.simEnable = 0, s.linePeriod = 50.0, s.pixelFormat = 258, s.format = 21; }},
        {"camera, downscaled trigger input",
         [](Sdk& s) { s.simEnable = 0, s.lineTriggerMode = 2, s.lineInput = 3, s.downscale = 3, s.downscaleInit = 2; },
         Drive::TriggerInput, 2},
    };
    return all;
}

// Starts, drives and checks one case on `port`; the board is paced as set.
void runCase(Board& b, const Case& c, int port) {
    const Sdk s = stateOf(c);
    program(b, s, port);
    FgFrameFormat f;
    ASSERT_EQ(0, Fg_getFrameFormatEx(b.fg(), port, &f));
    EXPECT_EQ((std::vector<uint64_t>{s.width, s.height, frameBytes(s)}),
              (std::vector<uint64_t>{f.width, f.height, f.frameBytes}));
    const frameindex_t n = static_cast<frameindex_t>(c.pictures);
    Ring ring(b, frameBytes(s), static_cast<int>(n));
    ASSERT_NE(nullptr, ring.mem);
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), port, n, 0, ring.mem));
    switch (c.drive) {
    case Drive::FreeRun: break;
    case Drive::SoftwareTriggers:
        for (uint32_t t = 0; t < (s.imgTriggerMode == 8 ? 3u : c.pictures); ++t) {
            ASSERT_EQ(0, b.set(FG_SENDSOFTWARETRIGGER, 1, port));
            // each trigger's pictures before the next trigger
            const frameindex_t upTo = s.imgTriggerMode == 8 ? frameindex_t(2 * (t + 1)) : frameindex_t(t + 1);
            ASSERT_EQ(upTo, Fg_getLastPicNumberBlockingEx(b.fg(), upTo, port, 5, ring.mem));
        }
        break;
    case Drive::SoftwareGate:
        if (s.imgTriggerMode == 6) {
            ASSERT_EQ(0, b.set(FG_SETSOFTWARETRIGGER, 1, port));
            break;
        }
        for (frameindex_t p = 1; p <= n; ++p) {
            ASSERT_EQ(0, b.set(FG_SETSOFTWARETRIGGER, 1, port));
            ASSERT_EQ(p, Fg_getLastPicNumberBlockingEx(b.fg(), p, port, 5, ring.mem));
            ASSERT_EQ(0, b.set(FG_SETSOFTWARETRIGGER, 0, port));
        }
        break;
    case Drive::TriggerInput:
        // edges 2, 5, 8, ... make lines: 3 * lines edges make `lines` lines
        ASSERT_EQ(0, SimBoard_PulseTriggerInput(b.dev(), static_cast<int>(s.lineInput), int(3 * s.height * n)));
        break;
    }
    ASSERT_EQ(n, Fg_getLastPicNumberBlockingEx(b.fg(), n, port, 5, ring.mem));
    for (frameindex_t p = 1; p <= n; ++p) expectPicture(b, s, port, ring.mem, p);
    EXPECT_EQ(0, Fg_stopAcquireEx(b.fg(), port, ring.mem, 0));
    if (s.imgTriggerMode != 0) {
        EXPECT_EQ(0, b.set(FG_SETSOFTWARETRIGGER, 0, port));
    }
}

// A board paced in real time, and one whose producers run unpaced.
class PacedAcquisition : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }
    Board b;
};
class Acquisition : public PacedAcquisition {
protected:
    void SetUp() override {
        PacedAcquisition::SetUp();
        ASSERT_EQ(0, SimBoard_SetPacing(b.dev(), SIM_PACE_UNPACED));
    }
};

class Frames : public Acquisition, public ::testing::WithParamInterface<size_t> {};

TEST_P(Frames, MatchTheImageOfTheProgrammedState) {
    const Case& c = cases()[GetParam()];
    SCOPED_TRACE(c.name);
    runCase(b, c, static_cast<int>(GetParam() % 2));
}

INSTANTIATE_TEST_SUITE_P(States, Frames, ::testing::Range<size_t>(0, cases().size()),
                         [](const ::testing::TestParamInfo<size_t>& i) {
                             std::string n = cases()[i.param].name;
                             for (char& ch : n)
                                 if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
                             return n;
                         });

TEST_F(Acquisition, FramesOfBothPortsAtOnceWithTheirOwnSettings) {
    std::vector<Sdk> s(2);
    s[0].pattern = 1, s[0].format = 22, s[0].pixelFormat = 259, s[0].width = 48;
    s[1].reverseX = 1, s[1].invert = 1, s[1].height = 12, s[1].offset = 9;
    const frameindex_t n = 5;
    std::vector<std::unique_ptr<Ring>> rings;
    for (int port = 0; port < 2; ++port) {
        program(b, s[port], port);
        rings.emplace_back(new Ring(b, frameBytes(s[port]), n));
    }
    for (int port = 0; port < 2; ++port) ASSERT_EQ(0, Fg_AcquireEx(b.fg(), port, n, 0, rings[port]->mem));
    for (int port = 0; port < 2; ++port) {
        ASSERT_EQ(n, Fg_getLastPicNumberBlockingEx(b.fg(), n, port, 5, rings[port]->mem));
        std::vector<uint8_t> copy(frameBytes(s[port]));
        for (frameindex_t p = 1; p <= n; ++p) {
            ASSERT_EQ(p, Fg_copyPictureEx(b.fg(), p, port, copy.data(), copy.size(), rings[port]->mem));
            EXPECT_EQ(expectedPicture(s[port], static_cast<uint32_t>(p)), copy) << "port " << port << " picture " << p;
        }
    }
}

// ---- status, waits, stops -------------------------------------------------------

struct Running {
    Running(Board& b, int port, int buffers, frameindex_t picCount = 0) : b_(b), port_(port), ring(b, 64 * 8, buffers) {
        program(b, Sdk{}, port);
        EXPECT_EQ(0, Fg_AcquireEx(b.fg(), port, picCount, 0, ring.mem));
    }
    ~Running() { Fg_stopAcquireEx(b_.fg(), port_, ring.mem, 0); }
    Board& b_;
    int port_;
    Ring ring;
};

TEST_F(Acquisition, ARingTheApplicationFallsBehindOnOverwritesAndCountsTheLoss) {
    Running run(b, 1, 4, 40);
    const uint64_t overflowEvent = Fg_getEventMask(b.fg(), "FG_OVERFLOW_CAM1");
    // Nothing is taken: waiting for the end by polling, which takes nothing.
    for (int i = 0; i < 5000 && Fg_getLastPicNumberEx(b.fg(), 1, run.ring.mem) < 40; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_EQ(40, Fg_getLastPicNumberEx(b.fg(), 1, run.ring.mem));
    EXPECT_EQ(36, Fg_getStatusEx(b.fg(), SIM_STATUS_LOST, 0, 1, run.ring.mem));
    EXPECT_EQ(1u, b.u32(FG_OVERFLOW, 1));
    EXPECT_EQ(100u, b.u32(FG_FILLLEVEL, 1));
    EXPECT_EQ(36u, SimBoard_EventCount(b.dev(), overflowEvent));
    EXPECT_EQ(0u, b.u32(FG_OVERFLOW, 0)) << "the other port";
    // The ring holds the newest four; older pictures are gone.
    EXPECT_EQ(nullptr, Fg_getPicturePtrEx(b.fg(), 36, 1, run.ring.mem));
    EXPECT_EQ(3, Fg_getStatusEx(b.fg(), SIM_STATUS_BUFFER_OF, 40, 1, run.ring.mem));
    EXPECT_EQ(37, Fg_getStatusEx(b.fg(), SIM_STATUS_PICTURE_IN, 0, 1, run.ring.mem));
    EXPECT_NE(nullptr, Fg_getPicturePtrEx(b.fg(), 37, 1, run.ring.mem));
}

TEST_F(PacedAcquisition, AWaitOnAPortThatProducesNothingTimesOutOnTime) {
    Sdk s;
    s.simEnable = 0, s.lineTriggerMode = 2;  // camera lines only from trigger-input edges: none come
    program(b, s, 0);
    Ring ring(b, frameBytes(s), 2);
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), 0, 0, 0, ring.mem));
    const auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(SIM_ERR_TIMEOUT, Fg_getLastPicNumberBlockingEx(b.fg(), 1, 0, 1, ring.mem));
    const double s1 = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    EXPECT_GE(s1, 0.9);
    EXPECT_LE(s1, 1.1);
    EXPECT_EQ(SIM_ERR_TIMEOUT, b.lastError());
    // A stop wakes a long wait at once.
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(0, Fg_stopAcquireEx(b.fg(), 0, ring.mem, 0));
    });
    const auto t1 = std::chrono::steady_clock::now();
    EXPECT_EQ(SIM_ERR_TIMEOUT, Fg_getLastPicNumberBlockingEx(b.fg(), 1, 0, 30, ring.mem));
    EXPECT_LT(std::chrono::steady_clock::now() - t1, std::chrono::seconds(5));
    stopper.join();
}

TEST_F(PacedAcquisition, FramesComeAtTheProgrammedRate) {
    const Sdk s;  // 8 lines from a generator of 8 lines
    program(b, s, 0);
    ASSERT_EQ(0, b.setD(FG_CAMERASIMULATOR_LINERATE, 8000.0, 0));  // 1000 images of 8 lines per second
    Ring ring(b, frameBytes(s), 8);
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), 0, 50, 0, ring.mem));
    ASSERT_EQ(50, Fg_getLastPicNumberBlockingEx(b.fg(), 50, 0, 5, ring.mem));
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    // 50 ms: 15625 clocks of 8 ns per line; a loaded machine can only add to it
    const double programmed = 50 * 8 * 15625 * 8e-9;
    EXPECT_GE(seconds, programmed * 0.99);
    EXPECT_LT(seconds, programmed + 1.0);
}

TEST_F(Acquisition, BadHandlesIndicesAndSizesGetCodes) {
    Board other;
    ASSERT_TRUE(other.ok());
    Fg_Struct* host = SimBoard_HostHandleOf(b.dev());
    int junk = 0;
    dma_mem* bogus = reinterpret_cast<dma_mem*>(&junk);
    EXPECT_EQ(nullptr, Fg_AllocRingEx(nullptr, 64, 1));
    EXPECT_EQ(FG_ERR_INVALID_BOARD, Fg_getLastErrorNumber(nullptr));
    EXPECT_EQ(nullptr, Fg_AllocRingEx(host, 64, 1));
    for (auto bad : {std::make_pair(size_t(0), 1), std::make_pair(size_t(64), 0), std::make_pair(size_t(64), -1),
                     std::make_pair(size_t(1) << 31, 1), std::make_pair(size_t(1) << 29, 65)}) {
        EXPECT_EQ(nullptr, Fg_AllocRingEx(b.fg(), bad.first, bad.second)) << bad.first << " x " << bad.second;
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, Fg_getLastErrorNumber(nullptr));
    }
    Ring small(b, 16, 2);
    ASSERT_NE(nullptr, small.mem);
    Ring theirs(other, 1 << 20, 1);  // another board's ring
    expectNull({Fg_getBufferPtrEx(b.fg(), 2, small.mem), Fg_getBufferPtrEx(b.fg(), -1, small.mem),
                Fg_getBufferPtrEx(b.fg(), 0, bogus), Fg_getBufferPtrEx(b.fg(), 0, theirs.mem)});
    EXPECT_NE(nullptr, Fg_getBufferPtrEx(b.fg(), 1, small.mem));
    // starting: a ring too small for the frame, someone else's, a bad port
    EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, Fg_AcquireEx(b.fg(), 0, 1, 0, small.mem));
    expectAll(FG_ERR_INVALID_PARAMETER,
              {Fg_FreeRingEx(b.fg(), bogus), Fg_AcquireEx(b.fg(), 0, 1, 0, bogus),
               Fg_AcquireEx(b.fg(), 0, 1, 0, theirs.mem), Fg_AcquireEx(b.fg(), 2, 1, 0, theirs.mem),
               Fg_getStatusEx(b.fg(), 99, 0, 0, nullptr), Fg_getFrameFormatEx(b.fg(), 2, nullptr)});
    expectAll(FG_ERR_INVALID_BOARD, {Fg_FreeRingEx(nullptr, small.mem), Fg_getFrameFormatEx(host, 0, nullptr)});
    // a running acquisition: busy for a second start and for freeing its ring
    Running run(b, 0, 2);
    expectAll(SIM_ERR_BUSY, {Fg_AcquireEx(b.fg(), 0, 0, 0, run.ring.mem), Fg_AcquireEx(b.fg(), 1, 0, 0, run.ring.mem),
                             Fg_FreeRingEx(b.fg(), run.ring.mem)});
    ASSERT_GT(Fg_getLastPicNumberBlockingEx(b.fg(), 1, 0, 5, run.ring.mem), 0);
    std::vector<uint8_t> copy(64 * 8);
    EXPECT_EQ(FG_ERR_BUFFER_TOO_SMALL, Fg_copyPictureEx(b.fg(), 0, 0, copy.data(), 10, run.ring.mem));
    expectAll(FG_ERR_INVALID_PARAMETER, {Fg_copyPictureEx(b.fg(), 0, 0, nullptr, copy.size(), run.ring.mem),
                                         Fg_copyPictureEx(b.fg(), 0, 1, copy.data(), copy.size(), run.ring.mem)});
    EXPECT_GT(Fg_copyPictureEx(b.fg(), 0, 0, copy.data(), copy.size(), run.ring.mem), 0);
    expectNull({Fg_getPicturePtrEx(b.fg(), 0, 0, run.ring.mem), Fg_getPicturePtrEx(b.fg(), 1 << 30, 0, run.ring.mem)});
}

TEST_F(Acquisition, HostFaultsReachTheCallerAndStartNothing) {
    program(b, Sdk{}, 0);
    Ring ring(b, 64 * 8, 2);
    const int fault = -4242;
    const std::vector<std::pair<const char*, std::function<int()>>> calls = {
        {"acquire", [&] { return Fg_AcquireEx(b.fg(), 0, 0, 0, ring.mem); }},
        {"last picture", [&] { return Fg_getLastPicNumberEx(b.fg(), 0, ring.mem); }},
        {"wait", [&] { return Fg_getLastPicNumberBlockingEx(b.fg(), 1, 0, 1, ring.mem); }},
        {"status", [&] { return Fg_getStatusEx(b.fg(), SIM_STATUS_RUNNING, 0, 0, ring.mem); }},
        {"stop", [&] { return Fg_stopAcquireEx(b.fg(), 0, ring.mem, 0); }},
    };
    for (const auto& c : calls) {
        SimBoard_FailNthHostCall(b.dev(), 1, fault);
        EXPECT_EQ(fault, c.second()) << c.first;
        EXPECT_EQ(fault, b.lastError()) << c.first;
        SimBoard_ClearFaults(b.dev());
        EXPECT_EQ(0, Fg_getStatusEx(b.fg(), SIM_STATUS_RUNNING, 0, 0, ring.mem)) << c.first;
    }
    // without the fault the same calls run an acquisition
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), 0, 0, 0, ring.mem));
    EXPECT_GT(Fg_getLastPicNumberBlockingEx(b.fg(), 1, 0, 5, ring.mem), 0);
    SimBoard_FailNthHostCall(b.dev(), 1, fault);
    EXPECT_EQ(fault, Fg_stopAcquireEx(b.fg(), 0, ring.mem, 0));
    SimBoard_ClearFaults(b.dev());
    EXPECT_EQ(1, Fg_getStatusEx(b.fg(), SIM_STATUS_RUNNING, 0, 0, ring.mem)) << "a failed stop stops nothing";
    EXPECT_EQ(0, Fg_stopAcquireEx(b.fg(), 0, ring.mem, 0));
}

TEST_F(Acquisition, CameraPlaysImageFilesLineByLine) {
    // an 8-bit file of 3 lines and a 16-bit file of 2 lines, 70 pixels wide
    std::string f8 = "P5\n# scene\n70 3\n255\n", f16 = "P5 70 2 65535\n";
    auto value = [](uint32_t y, uint32_t x) { return y < 3 ? (x * 3 + y * 50) % 256 : (x * 900 + y * 7000) % 65536; };
    for (uint32_t y = 0; y < 5; ++y)
        for (uint32_t x = 0; x < 70; ++x)
            (y < 3 ? f8 : f16.append(1, char(value(y, x) >> 8))).append(1, char(value(y, x) & 0xFF));
    ASSERT_TRUE(writeFile("a.pgm", f8) && writeFile("b.pgm", f16) && writeFile("not-a-picture.txt", "P2 1 1 255 0\n"));
    EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, SimBoard_AddCameraImage(b.dev(), 0, "missing.pgm"));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_AddCameraImage(b.dev(), 2, "a.pgm"));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, SimBoard_AddCameraImage(b.dev(), 0, "not-a-picture.txt"));
    ASSERT_EQ(0, SimBoard_AddCameraImage(b.dev(), 0, "a.pgm"));
    ASSERT_EQ(0, SimBoard_AddCameraImage(b.dev(), 0, "b.pgm"));
    Sdk s;
    s.simEnable = 0, s.format = 1, s.alignment = 0, s.pixelFormat = 259;  // 12 bit, right aligned
    program(b, s, 0);
    Ring ring(b, frameBytes(s), 2);
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), 0, 2, 0, ring.mem));
    ASSERT_EQ(2, Fg_getLastPicNumberBlockingEx(b.fg(), 2, 0, 5, ring.mem));
    for (frameindex_t p = 1; p <= 2; ++p) {
        const uint16_t* px = static_cast<const uint16_t*>(Fg_getPicturePtrEx(b.fg(), p, 0, ring.mem));
        ASSERT_NE(nullptr, px);
        for (uint32_t r = 0; r < s.height; ++r)
            for (uint32_t x = 0; x < s.width; ++x) {
                const uint32_t line = (uint32_t(p - 1) * s.height + r) % 5, v = value(line, x);
                ASSERT_EQ(line < 3 ? v << 4 : v >> 4, px[r * s.width + x])
                    << "picture " << p << " row " << r << " x " << x;
            }
    }
}

TEST_F(Acquisition, ShaftEncoderStepsMakeCameraLinesWithRollbackCompensation) {
    Sdk s;
    s.simEnable = 0, s.lineTriggerMode = 2, s.lineInput = 5;
    program(b, s, 1);
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERON, 1, 1));
    ASSERT_EQ(0, b.set(FG_SHAFTENCODERMODE, 2, 1));  // x2: two lines per step
    Ring ring(b, frameBytes(s), 4);
    ASSERT_EQ(0, Fg_AcquireEx(b.fg(), 1, 0, 0, ring.mem));
    // 4 steps forward: lines 0..7; 3 back and 3 forward again: no line (the
    // rollback is compensated); 4 forward: lines 8..15.
    for (int steps : {4, -3, 3, 4}) ASSERT_EQ(0, SimBoard_MoveEncoder(b.dev(), 5, steps));
    ASSERT_EQ(2, Fg_getLastPicNumberBlockingEx(b.fg(), 2, 1, 5, ring.mem));
    for (frameindex_t p = 1; p <= 2; ++p) expectPicture(b, s, 1, ring.mem, p);
    ASSERT_EQ(0, SimBoard_MoveEncoder(b.dev(), 5, 3));  // 6 lines: no third picture
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(2, Fg_getLastPicNumberEx(b.fg(), 1, ring.mem));
    EXPECT_EQ(FG_ERR_INVALID_PARAMETER, SimBoard_MoveEncoder(b.dev(), 8, 1));
    EXPECT_EQ(0, Fg_stopAcquireEx(b.fg(), 1, ring.mem, 0));
}

// ---- threads (also under ThreadSanitizer) ----------------------------------------

TEST_F(Acquisition, ThreadsOnBothPortsWhileParametersChangeAndPicturesAreAwaited) {
    std::vector<std::unique_ptr<Ring>> rings;
    for (int port = 0; port < 2; ++port) {
        program(b, Sdk{}, port);
        rings.emplace_back(new Ring(b, 64 * 8, 4));
        ASSERT_EQ(0, Fg_AcquireEx(b.fg(), port, 0, 0, rings[port]->mem));
    }
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (uint32_t i = 0; i < 300; ++i) {
            const int port = static_cast<int>(i % 2);
            EXPECT_EQ(0, b.set(FG_CAMERASIMULATOR_PATTERN, 1 + i % 3, port));
            EXPECT_EQ(0, b.setD(FG_PROCESSING_GAMMA, i % 2 ? 1.0 : 0.5, port));
            EXPECT_EQ(0, b.set(FG_REVERSE_X, i % 2, port));
            EXPECT_EQ(0, b.set(FG_SENDSOFTWARETRIGGER, 1, port));
        }
        done = true;
    });
    std::thread waiter([&] {
        std::vector<uint8_t> copy(64 * 8);
        frameindex_t next[2] = {1, 1};
        while (!done) {
            for (int port = 0; port < 2; ++port) {
                const frameindex_t got = Fg_getLastPicNumberBlockingEx(b.fg(), next[port], port, 5, rings[port]->mem);
                EXPECT_GE(got, next[port]);
                next[port] = got + 1;
                Fg_copyPictureEx(b.fg(), 0, port, copy.data(), copy.size(), rings[port]->mem);
                SimAcquisitionStatus st;
                EXPECT_EQ(0, SimBoard_GetAcquisitionStatus(b.dev(), port, &st));
            }
        }
    });
    writer.join();
    waiter.join();
    for (int port = 0; port < 2; ++port) EXPECT_EQ(0, Fg_stopAcquireEx(b.fg(), port, rings[port]->mem, 0));
}

TEST(BoardClose, StopsTheProducersOfEveryPacing) {
    for (int i = 0; i < 3; ++i) {
        Board b;
        ASSERT_TRUE(b.ok());
        ASSERT_EQ(0, SimBoard_SetPacing(b.dev(), i == 0 ? SIM_PACE_REALTIME : SIM_PACE_UNPACED));
        dma_mem* mem = Fg_AllocRingEx(b.fg(), 1024 * 1024, 2);
        ASSERT_NE(nullptr, mem);
        ASSERT_EQ(0, Fg_AcquireEx(b.fg(), i % 2, 0, 0, mem));
    }  // closed while running; the ring goes with the board
}

}  // namespace
