// The frame model of the simulated board: what the design's blocks do to a
// line, in their order, computed from the design values alone.
//
//   source        pattern generator (x enable, y divisor, offset, frame
//                 divisor) or the line-scan camera (image files, test scene),
//                 both through the 12-bit pixel path selector
//   processing    lookup table (12 bit in, 12 bit out)
//   capture       region (x-offset, width), line mirror, output format with
//                 bit alignment: the bytes of one buffer line
//
// The frame cutting of the trigger block and the image selector decide which
// lines form which image; they are in acq_producer.cpp, which drives the
// stages. Every stage reads a Programmed snapshot, taken under the device lock
// when acquisition starts or when design values change, never per pixel.
#ifndef ACQ_STAGES_H
#define ACQ_STAGES_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace simhost {

struct Device;

// The design values of one port the frame model reads (port prefix
// "Device1_Process<port>_" + the names in acq_stages.cpp).
struct Programmed {
    // 12-bit pixel path selector: camera pixel depth 8, 10 or 12.
    uint32_t pixelDepth = 8;
    // source
    bool simulator = false;
    uint32_t simWidth = 1024;       // pixels per generated line (LineGap_Number x 12)
    uint32_t simLinePixels = 1024;  // width + line gap (Size_ImageWidth x 12)
    uint32_t simHeight = 1024;      // lines per generated frame (FrameGap_Number)
    uint32_t simFrameLines = 1024;  // height + frame gap (Size_ImageHeight)
    uint32_t simClockMode = 1;      // 0 gated pixel clock, 1 one line per sequence
    uint32_t simOnTime = 1;         // active clocks per sequence (mode 0)
    uint32_t simSequence = 12207;   // sequence length in clocks
    uint32_t enableX = 1, yDivisor = 256, offset = 0, frameDivisor = 256;
    uint32_t simFreeRun = 1, simValveMode = 2;
    // line trigger block (camera lines)
    uint32_t lineTriggerMode = 0;  // 0 ExSync, 1 external, 2 ExSync gated, 3 external gated
    uint32_t exsyncEnable = 1;
    double exsyncPeriodUs = 200.0;
    uint32_t lineInputA = 1, lineInputB = 2;  // design source numbers
    uint32_t lineInputPolarity = 0;           // 0 high active, 1 low active
    uint32_t downscale = 1, downscalePhase = 1;
    uint32_t encoderMode = 0;  // 0 off, 1 x1, 2 x2, 3 x4
    uint32_t encoderLead = 0, encoderCompensation = 1;
    // image trigger block
    uint32_t imgTriggerMode = 0;  // 0 free run, 1 triggered, 2 gated
    uint32_t maxGatedHeight = 0;  // 1: gated multi-buffer
    uint32_t imgTriggerEnable = 1;
    uint32_t imgInput = 0;  // design source (4 = software)
    uint32_t imgInputPolarity = 0;
    uint32_t softwareGate = 0;
    uint32_t yOffset = 0, yLength = 1024;
    // image selector
    uint32_t selectPeriod = 1, selectPhase = 0;
    // buffer region, mirror, output format
    uint32_t xOffset = 0, width = 1024, height = 1024;
    bool mirror = false;
    uint32_t formatSelect = 1;  // 0 gray16, 1 gray8, 2 gray10, 3 gray12
    uint32_t leftAligned = 1;
    std::vector<uint16_t> lut = std::vector<uint16_t>(4096);

    // Derived.
    uint32_t bytesPerPixel() const { return formatSelect == 1 ? 1u : 2u; }
    uint32_t bitsPerPixel() const;
    size_t lineBytes() const { return size_t(width) * bytesPerPixel(); }
    size_t frameBytes() const { return lineBytes() * height; }
    // Time of one generated line and the dead time of a frame gap, in seconds
    // (0 when the generator emits nothing: no active clocks).
    double simLineSeconds() const;
};

// Reads the snapshot of `port` from the device's design (device lock held).
void readProgrammed(Device* d, int port, Programmed& out);

// Image files and scene of a simulated line-scan camera.
struct CameraPicture {
    uint32_t width = 0, height = 0;
    uint32_t bits = 8;              // 8 or 16
    std::vector<uint16_t> samples;  // row-major
};
// Reads a binary PGM (P5, maxval 1..65535). 0, -2076 (missing) or -5001 (malformed).
int readPgm(const std::string& path, CameraPicture& out);

// The width of the built-in test scene of the camera.
constexpr uint32_t kSceneWidth = 16384;

// One source line: the pixels [x0, x0 + n) of line `line` of the source,
// as 12-bit values after the pixel path selector.
//  pattern: line = generated line index since acquisition start (frame
//           number = line / height, y = line % height)
//  camera:  line = camera line index since acquisition start
void patternLine(const Programmed& p, uint64_t line, uint32_t x0, uint32_t n, uint16_t* out);
void cameraLine(const Programmed& p, const std::vector<CameraPicture>& pictures, uint64_t line, uint32_t x0, uint32_t n,
                uint16_t* out);

// The lookup table, then region, mirror and output format: one buffer line
// from `px` (the region's pixels, width of them).
void lookupLine(const Programmed& p, uint16_t* px, uint32_t n);
void formatLine(const Programmed& p, const uint16_t* px, uint8_t* out);

// The pattern's line key: lines with the same key are the same line (the
// generator's counter before x). The camera has no such key.
uint32_t patternKey(const Programmed& p, uint64_t line);
// The same from the generated frame f and line y in it (y < height).
inline uint32_t patternKeyAt(const Programmed& p, uint64_t f, uint32_t y) {
    return static_cast<uint32_t>((y % p.yDivisor + p.offset + f % p.frameDivisor) & ((1u << p.pixelDepth) - 1));
}

}  // namespace simhost

#endif  // ACQ_STAGES_H
