// Helpers of the configuration file tests: the file's texts, its keys and the
// start values, and the design state of a board read as text.
#ifndef CONFIG_SUPPORT_H
#define CONFIG_SUPPORT_H

#include <fstream>
#include <iterator>
#include <sstream>

#include "board_fixture.h"
#include "board_snapshot.h"
#include "test_files.h"

namespace configtest {

using orvtest::readFile;
using orvtest::writeFile;

using orvtest::Board;
using orvtest::boardSnapshot;
using orvtest::differences;
using orvtest::dp;
using orvtest::Snapshot;

const int kFileNotFound = -2076;
const int kLoadFailed = -5000;
const int kSaveFailed = -5001;

const uint32_t kSoftwareTrigger = 0xFFFFFFFFu;

// The line "KEY=...;\n" of a key in a section ("[Port A]" / "[Port B]"): its
// offset and length, or npos. Only a line that begins with the key and '=' counts.
inline std::pair<size_t, size_t> findKey(const std::string& text, const std::string& section, const std::string& key) {
    const size_t begin = text.find(section + "\n");
    const size_t end = begin == std::string::npos ? begin : text.find("\n[", begin);
    const size_t at = begin == std::string::npos ? begin : text.find("\n" + key + "=", begin);
    if (at == std::string::npos || at >= end) return {std::string::npos, 0};
    return {at + 1, text.find('\n', at + 1) - at};
}

inline std::string keyLine(const std::string& text, const std::string& section, const std::string& key) {
    const std::pair<size_t, size_t> at = findKey(text, section, key);
    return at.first == std::string::npos ? std::string() : text.substr(at.first, at.second);
}

// The text with the key's line replaced by `line`, or removed when `line` is empty.
inline std::string withLine(std::string text, const std::string& section, const std::string& key,
                            const std::string& line) {
    const std::pair<size_t, size_t> at = findKey(text, section, key);
    EXPECT_NE(std::string::npos, at.first) << key << " in " << section;
    if (at.first != std::string::npos) text.replace(at.first, at.second, line.empty() ? line : line + "\n");
    return text;
}

inline std::string toCrLf(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

const char kHeader[] =
    "[Kamerasektion]\n"
    "\n"
    "ConfigFileVersion=2.0;\n"
    "Hersteller='Tervik GmbH';\n"
    "Typ='Orvindel';\n"
    "Version='2.4';\n"
    "LoadAppletId=0;\n"
    "AktivePort=0;\n";

struct KeyValue {
    const char* key;
    const char* value;  // as written after the equals sign, without the semicolon
};

// The 63 keys of a port section in file order, with the values of a port after
// start-up: the simulator width 1024 is in use as 1032 (the next multiple of
// the 12 pixels per clock); the simulator is in line-rate mode at 10240 Hz, which the design
// holds as 12207 clocks of 8 ns per line; the file keeps the rates the design
// gives back: 1 / (12207 x 8e-9) = 10240.0262145 lines and that / 1024 frames
// per second. Outside pixel-frequency mode the pixel frequency is full speed
// (1500 MHz) and the active / passive clocks are 0.
const KeyValue kStartSection[] = {
    {"FG_PIXELFORMAT", "257"},
    {"FG_CXP_TRIGGER_PACKET_MODE", "0"},
    {"FG_TIMEOUT", "1000000"},
    {"FG_IMG_SELECT_PERIOD", "1"},
    {"FG_IMG_SELECT", "0"},
    {"FG_WIDTH", "1024"},
    {"FG_HEIGHT", "1024"},
    {"FG_XOFFSET", "0"},
    {"FG_YOFFSET", "0"},
    {"FG_REVERSE_X", "0"},
    {"FG_FORMAT", "3"},
    {"FG_BITALIGNMENT", "1"},
    {"FG_CAMERASIMULATOR_ENABLE", "0"},
    {"FG_CAMERASIMULATOR_WIDTH", "1032"},
    {"FG_CAMERASIMULATOR_LINE_GAP", "0"},
    {"FG_CAMERASIMULATOR_HEIGHT", "1024"},
    {"FG_CAMERASIMULATOR_FRAME_GAP", "0"},
    {"FG_CAMERASIMULATOR_PATTERN", "3"},
    {"FG_CAMERASIMULATOR_PATTERN_OFFSET", "0"},
    {"FG_CAMERASIMULATOR_ROLL", "1"},
    {"FG_CAMERASIMULATOR_SELECT_MODE", "1"},
    {"FG_CAMERASIMULATOR_PIXEL_FREQUENCY", "1500"},
    {"FG_CAMERASIMULATOR_LINERATE", "10240.0262145"},
    {"FG_CAMERASIMULATOR_FRAMERATE", "10.0000256001"},
    {"FG_CAMERASIMULATOR_TRIGGER_MODE", "0"},
    {"FG_CAMERASIMULATOR_ACTIVE", "0"},
    {"FG_CAMERASIMULATOR_PASSIVE", "0"},
    {"FG_LUT_TYPE", "3"},
    {"FG_LUT_CUSTOM_FILE", "''"},
    {"FG_PROCESSING_OFFSET", "0"},
    {"FG_PROCESSING_GAIN", "1"},
    {"FG_PROCESSING_GAMMA", "1"},
    {"FG_PROCESSING_INVERT", "0"},
    {"FG_LINETRIGGERMODE", "1"},
    {"FG_EXSYNCON", "1"},
    {"FG_LINETRIGGERINSRC", "1"},
    {"FG_LINETRIGGERINPOLARITY", "0"},
    {"FG_LINETRIGGERDEBOUNCING", "0.112"},
    {"FG_LINE_DOWNSCALE", "1"},
    {"FG_LINE_DOWNSCALEINIT", "1"},
    {"FG_SHAFTENCODERON", "0"},
    {"FG_SHAFTENCODERMODE", "1"},
    {"FG_SHAFTENCODERINSRC", "2"},
    {"FG_SHAFTENCODERLEADING", "0"},
    {"FG_SHAFTENCODER_COMPENSATION_ENABLE", "1"},
    {"FG_SHAFTENCODER_COMPENSATION_COUNT", "0"},
    {"FG_LINEPERIODE", "200"},
    {"FG_LINEEXPOSURE", "19"},
    {"FG_EXSYNCPOLARITY", "1"},
    {"FG_LINETRIGGERDELAY", "0"},
    {"FG_IMGTRIGGERMODE", "0"},
    {"FG_IMGTRIGGERON", "1"},
    {"FG_FLASHON", "1"},
    {"FG_IMGTRIGGER_ASYNC_HEIGHT", "1024"},
    {"FG_IMGTRIGGERINSRC", "0"},
    {"FG_IMGTRIGGERINPOLARITY", "0"},
    {"FG_IMGTRIGGERGATEDELAY", "0"},
    {"FG_IMGTRIGGERDEBOUNCING", "0.112"},
    {"FG_FLASH_POLARITY", "1"},
    {"FG_STROBEPULSEDELAY", "0"},
    {"FG_SETSOFTWARETRIGGER", "0"},
    {"FG_DIGIO_OUTPUT", "3"},
    {"FG_DIGIO_INPUT", "0"},
};

// Keys that a load ignores.
const std::set<std::string> kNotRead = {"FG_CAMERASIMULATOR_ACTIVE", "FG_CAMERASIMULATOR_PASSIVE", "FG_DIGIO_INPUT"};

inline std::string startStateFile() {
    std::string text = kHeader;
    for (const char* section : {"[Port A]", "[Port B]"}) {
        text += std::string("\n") + section + "\n";
        for (const KeyValue& kv : kStartSection) text += std::string(kv.key) + "=" + kv.value + ";\n";
    }
    return text;
}

// The values of the design parameters the applet uses, as the simulated board holds them.
inline std::map<std::string, std::string> designState(Board& b) {
    std::map<std::string, std::string> state;
    auto add = [&](const std::string& name, const std::string& kind, int count) {
        std::ostringstream v;
        v.precision(17);
        for (int i = 0; i < count && kind.find("FIELD") != std::string::npos; ++i) {
            double x = 0;
            v << SimBoard_GetFieldElement(b.dev(), name.c_str(), unsigned(i), &x) << ":" << x << ",";
        }
        if (kind.find("FIELD") == std::string::npos) {
            // A number as its bytes, a text up to its end.
            alignas(8) char buf[512] = {0};
            const FgParamTypes type = kind == "U32"      ? FG_PARAM_TYPE_UINT32_T
                                      : kind == "U64"    ? FG_PARAM_TYPE_UINT64_T
                                      : kind == "DOUBLE" ? FG_PARAM_TYPE_DOUBLE
                                                         : FG_PARAM_TYPE_CHAR_PTR;
            const int rc = SimBoard_GetValue(b.dev(), name.c_str(), type, buf);
            v << rc << ":" << std::string(buf, type == FG_PARAM_TYPE_CHAR_PTR ? std::strlen(buf) : 8);
        }
        state[name] = v.str();
    };
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS) \
    add("Device1_Process0_" #NAME, #KIND, COUNT);    \
    add("Device1_Process1_" #NAME, #KIND, COUNT);
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) add("Device1_Process0_" #NAME, #KIND, COUNT);
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) add("Device1_Process2_" #NAME, #KIND, COUNT);
#include "design_params.def"
    return state;
}

// The file a fresh board saves after `setup` (empty when anything fails).
inline std::string savedFile(const std::function<void(Board&)>& setup = [](Board&) {}) {
    Board b;
    EXPECT_TRUE(b.ok());
    if (!b.ok()) return "";
    setup(b);
    EXPECT_EQ(0, Fg_saveConfig(b.fg(), "saved.mcf"));
    return ::testing::Test::HasFailure() ? "" : readFile("saved.mcf");
}

}  // namespace configtest

#endif
