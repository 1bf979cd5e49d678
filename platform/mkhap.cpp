// Writes the design image of the Orvindel design (format: hap_internal.h).
//
//   mkhap <output file>
//
// The parameter list comes from applet/design_params.def; the image is padded
// with a fixed pseudo-random byte pattern to its exact size, so every build
// produces the same bytes.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr size_t kImageSize = 7866434;

struct Def {
    const char* name;
    const char* kind;
    unsigned count;
    const char* access;
    int scope;  // 0 per process, 1 board (process 0), 2 shared (process 2)
};

const Def kDefs[] = {
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS) {#NAME, #KIND, COUNT, #ACCESS, 0},
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) {#NAME, #KIND, COUNT, #ACCESS, 1},
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) {#NAME, #KIND, COUNT, #ACCESS, 2},
#include "../applet/design_params.def"
};

// Initial values of the live status values (by name without the process
// prefix); everything else starts at 0.
struct Initial {
    const char* name;
    const char* value;
};

const Initial kInitials[] = {
    {"AppletProperties_AppletUid", "d27e4a90-1c5b-4e38-2a6d-91f3b0c7e825"},
    {"AppletProperties_BuildTime", "2017-08-09 08:27:32"},
    {"BoardStatus_FpgaTemperature", "52.375"},
    {"BoardStatus_FpgaVccInt", "1.002"},
    {"BoardStatus_FpgaVccAux", "1.797"},
    {"BoardStatus_BoardPower", "12.125"},
    {"BoardStatus_CxpChipTemperature", "48.5"},
    {"BoardStatus_RamChipTemperature", "46.25"},
    {"BoardStatus_CxpPowerRegulatorTemperature", "55.75"},
    {"BoardStatus_PowerRegulatorTemperature", "57.5"},
    {"BoardStatus_FpgaDNA", "0x153A7C9E1F2B3D5"},
    {"BoardStatus_ChannelCurrent", "0.412,0.398,0.405,0.421"},
    {"BoardStatus_ChannelVoltage", "24.08,24.02,24.11,23.97"},
    {"Overflow_OverflowOccurred", "0"},
    {"Buffer_0_DRAM_A_0_FillLevel", "0"},
    {"Buffer_0_DRAM_A_1_FillLevel", "0"},
    {"Trigger_InputStatus_Status", "0"},
    {"Trigger_Trigger_ImgTrgIsBusy", "0"},
};

const char* const kEvents[] = {
    "event 0 1 Device1_Process0_Overflow_Overflow",        "event 1 1 Device1_Process1_Overflow_Overflow",
    "event 2 0 Device1_Process0_Trigger_ImageTriggerLost", "event 3 0 Device1_Process1_Trigger_ImageTriggerLost",
    "event 4 1 Device1_Process0_Camera_LinkLost",          "event 5 1 Device1_Process1_Camera_LinkLost",
    "event 6 0 Device1_Process2_Trigger_InputChanged",
};

// Positions 1..6; the numbers differ from the positions on purpose.
const char* const kRegisters[] = {
    "register 1 BoardIdentification 32 0",  "register 2 LedControl 8 2",       "register 4 TriggerDelayTicks 16 2",
    "register 7 SoftwareTriggerPulse 32 1", "register 9 EncoderPosition 40 2", "register 12 TimestampCounter 64 0",
};

std::string manifest() {
    std::string m = "TERVIK-HAP 1\n";
    m += "# Orvindel: two CoaXPress line-scan processes with 12 bit processing and lookup table\n";
    m += "design Orvindel\n";
    auto emit = [&m](const std::string& full, const Def& d) {
        m += "param " + full + " " + d.kind + " " + std::to_string(d.count) + " " + d.access;
        for (const Initial& in : kInitials)
            if (std::strcmp(in.name, d.name) == 0) {
                m += " ";
                m += in.value;
            }
        m += "\n";
    };
    for (const Def& d : kDefs) {
        if (d.scope == 0) {
            emit(std::string("Device1_Process0_") + d.name, d);
            emit(std::string("Device1_Process1_") + d.name, d);
        }
    }
    for (const Def& d : kDefs)
        if (d.scope == 1) emit(std::string("Device1_Process0_") + d.name, d);
    for (const Def& d : kDefs)
        if (d.scope == 2) emit(std::string("Device1_Process2_") + d.name, d);
    for (const char* e : kEvents) m += std::string(e) + "\n";
    for (const char* r : kRegisters) m += std::string(r) + "\n";
    m += "end\n";
    return m;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output file>\n", argv[0]);
        return 2;
    }
    std::string m = manifest();
    if (m.size() >= kImageSize) {
        std::fprintf(stderr, "mkhap: manifest larger than the image\n");
        return 1;
    }
    std::vector<unsigned char> image(kImageSize);
    std::memcpy(image.data(), m.data(), m.size());
    uint32_t x = 0x4f52564eu;  // fixed seed
    for (size_t i = m.size(); i < kImageSize; ++i) {
        x = x * 1664525u + 1013904223u;
        image[i] = static_cast<unsigned char>(x >> 24);
    }
    std::string tmp = std::string(argv[1]) + ".tmp";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (f == nullptr) {
        std::perror(tmp.c_str());
        return 1;
    }
    bool ok = std::fwrite(image.data(), 1, image.size(), f) == image.size();
    ok = (std::fclose(f) == 0) && ok;
    if (!ok || std::rename(tmp.c_str(), argv[1]) != 0) {
        std::perror(argv[1]);
        std::remove(tmp.c_str());
        return 1;
    }
    return 0;
}
