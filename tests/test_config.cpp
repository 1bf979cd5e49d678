// Camera configuration files: Fg_saveConfig / Fg_loadConfig on a board
// opened with the applet on the simulated platform.

#include "config_support.h"

using namespace configtest;

namespace {

TEST(ConfigSave, FileAfterStartUpHasTheLayoutAndTheStartValues) {
    Board b;
    ASSERT_TRUE(b.ok());
    // The live values of the start state.
    ASSERT_EQ(0u, b.designU32("Device1_Process2_Trigger_InputStatus_Status"));
    ASSERT_EQ(0u, b.designU32(dp(0, "Trigger_Trigger_EncoderCompensationCount").c_str()));
    ASSERT_EQ(0u, b.designU32(dp(1, "Trigger_Trigger_EncoderCompensationCount").c_str()));

    b.clearLog();
    ASSERT_EQ(0, Fg_saveConfig(b.fg(), "start.mcf"));
    EXPECT_EQ(0, b.lastError());
    EXPECT_EQ(startStateFile(), readFile("start.mcf"));
    // Saving writes nothing to the design.
    EXPECT_EQ(0, SimBoard_LogCount(b.dev()));

    // A second save of the unchanged board truncates and rewrites the file.
    writeFile("start.mcf", std::string(20000, 'x'));
    ASSERT_EQ(0, Fg_saveConfig(b.fg(), "start.mcf"));
    EXPECT_EQ(startStateFile(), readFile("start.mcf"));
}

TEST(ConfigSave, SimulatorValuesFollowTheSelectModeAndLiveValuesAreReadAtSaveTime) {
    Board b;
    ASSERT_TRUE(b.ok());
    // Port A in pixel-frequency mode: 300 MHz is an on time of 400 clocks of 2000.
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, 0, 0));
    ASSERT_EQ(0, b.setD(FG_CAMERASIMULATOR_PIXEL_FREQUENCY, 300.0, 0));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_WIDTH, 1000, 0));   // 1008 in use
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_LINE_GAP, 20, 0));  // 24 in use
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_FRAME_GAP, 5, 0));
    // Port B in frame-rate mode with gaps asked for in pixel-frequency mode before.
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, 0, 1));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_LINE_GAP, 36, 1));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_FRAME_GAP, 7, 1));
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, 2, 1));
    // Software image trigger on port A.
    ASSERT_EQ(0, b.set(FG_IMGTRIGGERMODE, 2, 0));
    ASSERT_EQ(0, b.set(FG_IMGTRIGGERINSRC, kSoftwareTrigger, 0));
    // Values only the design knows.
    b.setDesignU32("Device1_Process2_Trigger_InputStatus_Status", 0x81);
    b.setDesignU32(dp(1, "Trigger_Trigger_EncoderCompensationCount").c_str(), 4242);

    ASSERT_EQ(0, Fg_saveConfig(b.fg(), "modes.mcf"));
    const std::string text = readFile("modes.mcf");

    // Port A in pixel-frequency mode; port B in frame-rate mode: no gaps in use,
    // full speed, no gating. The software source goes through the signed form.
    // Live values: the shared input status on both ports, the count of port B
    // from the design although its cached value is 0.
    const char* const lines[][2] = {
        {"[Port A]", "FG_CAMERASIMULATOR_WIDTH=1008;"},
        {"[Port A]", "FG_CAMERASIMULATOR_LINE_GAP=24;"},
        {"[Port A]", "FG_CAMERASIMULATOR_FRAME_GAP=5;"},
        {"[Port A]", "FG_CAMERASIMULATOR_PIXEL_FREQUENCY=300;"},
        {"[Port A]", "FG_CAMERASIMULATOR_ACTIVE=400;"},
        {"[Port A]", "FG_CAMERASIMULATOR_PASSIVE=1600;"},
        {"[Port A]", "FG_CAMERASIMULATOR_LINERATE=290697.674419;"},  // 300 MHz over 1008 + 24 pixels
        {"[Port B]", "FG_CAMERASIMULATOR_LINE_GAP=0;"},
        {"[Port B]", "FG_CAMERASIMULATOR_FRAME_GAP=0;"},
        {"[Port B]", "FG_CAMERASIMULATOR_PIXEL_FREQUENCY=1500;"},
        {"[Port B]", "FG_CAMERASIMULATOR_ACTIVE=0;"},
        {"[Port B]", "FG_CAMERASIMULATOR_PASSIVE=0;"},
        {"[Port B]", "FG_CAMERASIMULATOR_SELECT_MODE=2;"},
        {"[Port A]", "FG_IMGTRIGGERINSRC=-1;"},
        {"[Port B]", "FG_IMGTRIGGERINSRC=0;"},
        {"[Port A]", "FG_DIGIO_INPUT=129;"},
        {"[Port B]", "FG_DIGIO_INPUT=129;"},
        {"[Port A]", "FG_SHAFTENCODER_COMPENSATION_COUNT=0;"},
        {"[Port B]", "FG_SHAFTENCODER_COMPENSATION_COUNT=4242;"},
    };
    for (const auto& l : lines) {
        const std::string line = l[1];
        EXPECT_EQ(line + "\n", keyLine(text, l[0], line.substr(0, line.find('='))));
    }
    // The frame rate: 300 MHz over (1008 + 24) x (1024 + 5) pixels.
    char expected[128];
    std::snprintf(expected, sizeof expected, "FG_CAMERASIMULATOR_FRAMERATE=%.12g;\n", 300e6 / (1032.0 * 1029.0));
    EXPECT_EQ(expected, keyLine(text, "[Port A]", "FG_CAMERASIMULATOR_FRAMERATE"));
}

TEST(ConfigSave, AKeyWhoseValueCannotBeReadIsLeftOut) {
    Board b;
    ASSERT_TRUE(b.ok());
    ASSERT_EQ(0, b.set(FG_CAMERASIMULATOR_SELECT_MODE, 0, 0));
    // The on time of port A and the shared input status cannot be read.
    SimBoard_FailParameter(b.dev(), dp(0, "CameraSimulator_PixelFrequency_ActivePixel_Number").c_str(), 0, -2110);
    SimBoard_FailParameter(b.dev(), "Device1_Process2_Trigger_InputStatus_Status", 0, -2110);

    ASSERT_EQ(0, Fg_saveConfig(b.fg(), "partial.mcf"));
    EXPECT_EQ(0, b.lastError());
    SimBoard_ClearFaults(b.dev());
    const std::string text = readFile("partial.mcf");

    // Port A loses every value computed from the on time, both ports the input.
    const std::set<std::string> goneA = {"FG_CAMERASIMULATOR_PIXEL_FREQUENCY", "FG_CAMERASIMULATOR_LINERATE",
                                         "FG_CAMERASIMULATOR_FRAMERATE",       "FG_CAMERASIMULATOR_ACTIVE",
                                         "FG_CAMERASIMULATOR_PASSIVE",         "FG_DIGIO_INPUT"};
    for (const KeyValue& kv : kStartSection) {
        const bool inA = !keyLine(text, "[Port A]", kv.key).empty();
        const bool inB = !keyLine(text, "[Port B]", kv.key).empty();
        EXPECT_EQ(goneA.count(kv.key) == 0, inA) << kv.key;
        EXPECT_EQ(std::string(kv.key) != "FG_DIGIO_INPUT", inB) << kv.key;
    }
    // Port B (line-rate mode) does not need the on time.
    EXPECT_EQ("FG_CAMERASIMULATOR_LINERATE=10240.0262145;\n", keyLine(text, "[Port B]", "FG_CAMERASIMULATOR_LINERATE"));
}

TEST(ConfigSave, FileThatCannotBeCreatedGives5001) {
    Board b;
    ASSERT_TRUE(b.ok());
    EXPECT_EQ(kSaveFailed, Fg_saveConfig(b.fg(), "no-such-directory/board.mcf"));
    EXPECT_EQ(kSaveFailed, b.lastError());
    // A name without the configuration type is refused before any file is made.
    EXPECT_EQ(kSaveFailed, Fg_saveConfig(b.fg(), "board.MCF"));
    EXPECT_EQ(kSaveFailed, b.lastError());
    EXPECT_FALSE(std::ifstream("board.MCF").good());
    EXPECT_EQ(kSaveFailed, Fg_saveConfig(b.fg(), nullptr));
    // A successful save clears the error store.
    EXPECT_EQ(0, Fg_saveConfig(b.fg(), "board.mcf"));
    EXPECT_EQ(0, b.lastError());
}

}  // namespace
