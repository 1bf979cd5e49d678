// The frame model's stages (see acq_stages.h).

#include "acq_stages.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "acq_internal.h"

namespace simhost {

namespace {

constexpr double kSimClockSeconds = 8e-9;  // the generator's clock; 12 pixels per clock

// How a 32-bit design value becomes the member it sets.
enum class Take {
    AsIs,
    AtLeastOne,  // a divisor or period: 0 counts as 1
    Pixels,      // a count of generator clocks, 12 pixels each
    Depth,       // the pixel path selector 0, 1, 2: 8, 10, 12 bits
};

struct U32Value {
    uint32_t Programmed::*member;
    const char* rest;   // the per-port name
    uint32_t fallback;  // when the design lacks it
    Take take;
};

// Every 32-bit design value of a port the frame model reads. The generated
// line and frame (simLinePixels, simFrameLines) are at least as long as the
// pixels and lines generated in them (simWidth, simHeight).
const U32Value kU32Values[] = {
    {&Programmed::pixelDepth, "12BitSelector_PixelFormat_SelectSource", 0, Take::Depth},
    // source
    {&Programmed::simWidth, "CameraSimulator_LineGap_Number", 0, Take::Pixels},
    {&Programmed::simLinePixels, "CameraSimulator_Size_ImageWidth", 0, Take::Pixels},
    {&Programmed::simHeight, "CameraSimulator_FrameGap_Number", 0, Take::AsIs},
    {&Programmed::simFrameLines, "CameraSimulator_Size_ImageHeight", 0, Take::AsIs},
    {&Programmed::simClockMode, "CameraSimulator_ControlPixelClock_Mode", 1, Take::AsIs},
    {&Programmed::simOnTime, "CameraSimulator_PixelFrequency_ActivePixel_Number", 1, Take::AsIs},
    {&Programmed::simSequence, "CameraSimulator_PixelFrequency_SequenceLength_ImageWidth", 1, Take::AsIs},
    {&Programmed::enableX, "CameraSimulator_EnableX_Enable_Value", 1, Take::AsIs},
    {&Programmed::yDivisor, "CameraSimulator_Y_Divisor", 1, Take::AtLeastOne},
    {&Programmed::offset, "CameraSimulator_Offset_Value", 0, Take::AsIs},
    {&Programmed::frameDivisor, "CameraSimulator_Frame_Divisor", 1, Take::AtLeastOne},
    {&Programmed::simFreeRun, "CameraSimulator_TriggerValve_FreeRun_Select", 1, Take::AsIs},
    {&Programmed::simValveMode, "CameraSimulator_TriggerValve_TriggerValve_Mode", 2, Take::AsIs},
    // line trigger block
    {&Programmed::lineTriggerMode, "Trigger_Trigger_LineTriggerMode", 0, Take::AsIs},
    {&Programmed::exsyncEnable, "Trigger_Trigger_ExsyncEnable", 1, Take::AsIs},
    {&Programmed::lineInputA, "Trigger_Trigger_LineTrgInSourceA", 1, Take::AsIs},
    {&Programmed::lineInputB, "Trigger_Trigger_LineTrgInSourceB", 2, Take::AsIs},
    {&Programmed::lineInputPolarity, "Trigger_Trigger_LineTrgInPolarity", 0, Take::AsIs},
    {&Programmed::downscale, "Trigger_Trigger_LineTrgDownscaler", 1, Take::AtLeastOne},
    {&Programmed::downscalePhase, "Trigger_Trigger_LineTrgPhase", 1, Take::AsIs},
    {&Programmed::encoderMode, "Trigger_Trigger_EncoderABMode", 0, Take::AsIs},
    {&Programmed::encoderLead, "Trigger_Trigger_EncoderABLead", 0, Take::AsIs},
    {&Programmed::encoderCompensation, "Trigger_Trigger_EncoderCompensation", 1, Take::AsIs},
    // image trigger block
    {&Programmed::imgTriggerMode, "Trigger_Trigger_ImgTriggerMode", 0, Take::AsIs},
    {&Programmed::maxGatedHeight, "Trigger_Trigger_MaxGatedHeight", 0, Take::AsIs},
    {&Programmed::imgTriggerEnable, "Trigger_Trigger_ImgTriggerEnable", 1, Take::AsIs},
    {&Programmed::imgInput, "Trigger_Trigger_ImgTrgInSource", 0, Take::AsIs},
    {&Programmed::imgInputPolarity, "Trigger_Trigger_ImgTrgInPolarity", 0, Take::AsIs},
    {&Programmed::softwareGate, "Trigger_Trigger_SoftwareTrgInput", 0, Take::AsIs},
    {&Programmed::yOffset, "Trigger_Trigger_YOffset", 0, Take::AsIs},
    {&Programmed::yLength, "Trigger_Trigger_YLength", 1024, Take::AsIs},
    // image selector
    {&Programmed::selectPeriod, "ImageSelector_FG_IMG_SELECT_PERIOD_Divisor", 1, Take::AtLeastOne},
    {&Programmed::selectPhase, "ImageSelector_FG_IMG_SELECT_PHASE_Number", 0, Take::AsIs},
    // buffer region and output format
    {&Programmed::xOffset, "Buffer_0_DRAM_A_0_XOffset", 0, Take::AsIs},
    {&Programmed::width, "Buffer_0_DRAM_A_0_XLength", 1024, Take::AsIs},
    {&Programmed::height, "Buffer_0_DRAM_A_0_YLength", 1024, Take::AsIs},
    {&Programmed::formatSelect, "OutputFormat_FG_FORMAT_SelectSource", 1, Take::AsIs},
    {&Programmed::leftAligned, "OutputFormat_FG_BITALIGNMENT_Value", 1, Take::AsIs},
};

// The switches of a port: on when their design value is 1 (off when the
// design lacks them).
const struct {
    bool Programmed::*member;
    const char* rest;
} kSwitches[] = {
    {&Programmed::simulator, "CameraSimulator_Enable_SelectSource"},
    {&Programmed::mirror, "LineMirrorX_Enable_SelectSource"},
};

uint32_t take(Take how, uint32_t v) {
    switch (how) {
    case Take::AtLeastOne: return std::max<uint32_t>(1, v);
    case Take::Pixels: return v * 12;
    case Take::Depth: return v == 2 ? 12 : v == 1 ? 10 : 8;
    default: return v;
    }
}

}  // namespace

uint32_t Programmed::bitsPerPixel() const {
    switch (formatSelect) {
    case 1: return 8;
    case 2: return 10;
    case 3: return 12;
    default: return 16;
    }
}

double Programmed::simLineSeconds() const {
    if (simClockMode == 0) {
        // Gated pixel clock: `simOnTime` active clocks of every `simSequence`,
        // 12 pixels per active clock, at most every clock.
        if (simOnTime == 0 || simSequence == 0) return 0.0;
        const double clocksPerPixel12 = std::max(1.0, double(simSequence) / double(simOnTime));
        return double(simLinePixels) / 12.0 * clocksPerPixel12 * kSimClockSeconds;
    }
    return double(std::max<uint32_t>(simSequence, 1)) * kSimClockSeconds;
}

void readProgrammed(Device* d, int port, Programmed& p) {
    for (const U32Value& v : kU32Values) {
        const Param* param = portParam(d, port, v.rest);
        p.*v.member = take(v.take, param ? static_cast<uint32_t>(param->u) : v.fallback);
    }
    p.simLinePixels = std::max(p.simWidth, p.simLinePixels);
    p.simFrameLines = std::max(p.simHeight, p.simFrameLines);
    for (const auto& s : kSwitches) {
        const Param* param = portParam(d, port, s.rest);
        p.*s.member = param && static_cast<uint32_t>(param->u) == 1;
    }
    const Param* period = portParam(d, port, "Trigger_Trigger_ExsyncPeriod");
    p.exsyncPeriodUs = period ? period->d : 200.0;

    const Param* lut = portParam(d, port, "LookupTable_LookupTable_LUTcontent");
    p.lut.resize(4096);
    for (size_t i = 0; i < 4096; ++i)
        p.lut[i] =
            lut && i < lut->uf.size() ? static_cast<uint16_t>(std::min<uint64_t>(lut->uf[i], 4095)) : uint16_t(i);
}

// ---- sources -------------------------------------------------------------------

uint32_t patternKey(const Programmed& p, uint64_t line) {
    const uint64_t height = std::max<uint32_t>(p.simHeight, 1);
    return patternKeyAt(p, line / height, static_cast<uint32_t>(line % height));
}

void patternLine(const Programmed& p, uint64_t line, uint32_t x0, uint32_t n, uint16_t* out) {
    // The generator's counter EnableX * x + (y mod Ydiv) + offset + (frame mod
    // Fdiv), taken by the selector as a pixel of the camera's depth (its low
    // bits) and placed in the 12-bit path.
    const uint32_t key = patternKey(p, line);
    const uint32_t mask = (1u << p.pixelDepth) - 1, shift = 12 - p.pixelDepth;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = x0 + i;
        out[i] = static_cast<uint16_t>(x < p.simWidth ? ((p.enableX * x + key) & mask) << shift : 0);
    }
}

void cameraLine(const Programmed& p, const std::vector<CameraPicture>& pictures, uint64_t line, uint32_t x0, uint32_t n,
                uint16_t* out) {
    const uint32_t depth = p.pixelDepth, mask = (1u << depth) - 1, shift = 12 - depth;
    if (pictures.empty()) {
        // Test scene: a ramp along the line that moves three pixels per line.
        for (uint32_t i = 0; i < n; ++i) {
            const uint64_t x = x0 + i;
            out[i] = static_cast<uint16_t>(x < kSceneWidth ? ((x + 3 * line) & mask) << shift : 0);
        }
        return;
    }
    uint64_t rows = 0;
    for (const CameraPicture& c : pictures) rows += c.height;
    uint64_t row = line % rows;
    size_t k = 0;
    while (row >= pictures[k].height) row -= pictures[k++].height;
    const CameraPicture& c = pictures[k];
    const uint16_t* src = c.samples.data() + row * c.width;
    for (uint32_t i = 0; i < n; ++i) {
        const uint32_t x = x0 + i;
        if (x >= c.width) {
            out[i] = 0;
            continue;
        }
        // The camera's pixel of its depth: an 8-bit sample in the top bits,
        // a 16-bit one cut to the top `depth` bits.
        const uint32_t s = src[x];
        const uint32_t v = c.bits == 8 ? (s << (depth - 8)) : (s >> (16 - depth));
        out[i] = static_cast<uint16_t>((v & mask) << shift);
    }
}

// ---- processing and capture ------------------------------------------------------

void lookupLine(const Programmed& p, uint16_t* px, uint32_t n) {
    const uint16_t* t = p.lut.data();
    for (uint32_t i = 0; i < n; ++i) px[i] = t[px[i] & 4095];
}

void formatLine(const Programmed& p, const uint16_t* px, uint8_t* out) {
    const uint32_t w = p.width;
    if (p.formatSelect == 1) {
        if (p.mirror)
            for (uint32_t i = 0; i < w; ++i) out[i] = static_cast<uint8_t>(px[w - 1 - i] >> 4);
        else
            for (uint32_t i = 0; i < w; ++i) out[i] = static_cast<uint8_t>(px[i] >> 4);
        return;
    }
    // 16-bit containers, little-endian: 10 bit keeps the top ten of the
    // twelve; left alignment puts the value's top bit at bit 15.
    const uint32_t bits = p.bitsPerPixel() == 10 ? 10 : 12;
    const uint32_t drop = 12 - bits;
    const uint32_t up = p.leftAligned ? 16 - bits : 0;
    for (uint32_t i = 0; i < w; ++i) {
        const uint16_t v = static_cast<uint16_t>((px[p.mirror ? w - 1 - i : i] >> drop) << up);
        out[2 * i] = static_cast<uint8_t>(v & 0xFF);
        out[2 * i + 1] = static_cast<uint8_t>(v >> 8);
    }
}

// ---- image files -------------------------------------------------------------------

namespace {

// The next header number of a PGM (whitespace and comments skipped); -1 on error.
long pgmNumber(FILE* f) {
    int c = std::fgetc(f);
    for (;;) {
        while (c == ' ' || c == '\t' || c == '\r' || c == '\n') c = std::fgetc(f);
        if (c != '#') break;
        while (c != '\n' && c != EOF) c = std::fgetc(f);
    }
    long v = 0;
    int digits = 0;
    while (c >= '0' && c <= '9' && digits < 9) {
        v = v * 10 + (c - '0');
        ++digits;
        c = std::fgetc(f);
    }
    if (digits == 0 || digits == 9 || !(c == ' ' || c == '\t' || c == '\r' || c == '\n')) return -1;
    return v;
}

}  // namespace

int readPgm(const std::string& path, CameraPicture& out) {
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return -2076;
    int rc = -5001;
    char magic[2] = {0, 0};
    if (std::fread(magic, 1, 2, f) == 2 && magic[0] == 'P' && magic[1] == '5') {
        const long w = pgmNumber(f), h = pgmNumber(f), maxval = pgmNumber(f);
        // At most a 16384 x 16384 picture (the widest line, half a GiB of samples).
        if (w > 0 && h > 0 && w <= 16384 && h <= 16384 && maxval > 0 && maxval <= 65535) {
            CameraPicture c;
            c.width = static_cast<uint32_t>(w);
            c.height = static_cast<uint32_t>(h);
            c.bits = maxval > 255 ? 16 : 8;
            const size_t count = size_t(w) * size_t(h), bpp = c.bits / 8;
            std::vector<uint8_t> raw(count * bpp);
            if (std::fread(raw.data(), 1, raw.size(), f) == raw.size()) {
                c.samples.resize(count);
                for (size_t i = 0; i < count; ++i)
                    c.samples[i] = static_cast<uint16_t>(bpp == 1 ? raw[i] : raw[2 * i] << 8 | raw[2 * i + 1]);
                out = std::move(c);
                rc = 0;
            }
        }
    }
    std::fclose(f);
    return rc;
}

}  // namespace simhost
