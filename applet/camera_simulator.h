// The camera simulator model: the timing of the design's pattern generator,
// the working values of each port, the rate formulas and the simulator of
// one port (CamSim) that the handlers of camera_simulator.cpp and the
// configuration save use.
//
// Timing model of the design: the simulator runs on an 8 ns clock and emits
// 12 pixels per clock, so widths and line gaps are programmed in steps of 12
// pixels. In pixel-frequency mode the pixel output is gated over a repeating
// sequence of 2000 clocks of which `on time` clocks are active; in line-rate
// and frame-rate mode one pixel clock is active and the sequence length is the
// number of clocks per line. Width + line gap and height + frame gap are each
// limited to 65536.
#ifndef CAMERA_SIMULATOR_H
#define CAMERA_SIMULATOR_H

#include <cstdint>

#include "sdk_enums.h"

class FgQorWrapperImpl;
struct PortState;

namespace camsim {

constexpr double kClockPeriod = 8e-9;       // seconds per simulator clock
constexpr uint32_t kPixelsPerClock = 12;    // granularity of widths and line gaps
constexpr uint32_t kSequenceClocks = 2000;  // gating sequence in pixel-frequency mode
// Width + line gap and height + frame gap: the registry shows each alone up to
// this (catalogue.def), the handlers also hold the sums to it.
constexpr uint32_t kGeometryLimit = 65536;
constexpr double kHzPerMHz = 1e6;
// The fastest pixel rate (Hz): 12 pixels per 8 ns clock.
constexpr double kMaxPixelFrequency = 1.5e9;
// The pixel frequency (MHz) reported outside pixel-frequency mode: full speed.
constexpr double kFullSpeedMHz = kMaxPixelFrequency / kHzPerMHz;

// The speed modes: which of the three speed quantities the application sets.
constexpr uint32_t kPixelFrequencyMode = sdk::value(sdk::CameraSimulatorMode::FG_PIXEL_FREQUENCY);
constexpr uint32_t kLineRateMode = sdk::value(sdk::CameraSimulatorMode::FG_LINERATE);
constexpr uint32_t kFrameRateMode = sdk::value(sdk::CameraSimulatorMode::FG_FRAMERATE);

// ---- rate formulas ----

// Pixel frequency (MHz) of `onTime` active clocks per gating sequence.
inline double gatedPixelFrequency(uint32_t onTime) {
    return double(onTime) * kPixelsPerClock / kSequenceClocks / kClockPeriod / kHzPerMHz;
}
// Active clocks per gating sequence for a pixel frequency (MHz), before rounding.
inline double onTimeFor(double pixelFrequencyMHz) {
    return pixelFrequencyMHz * kHzPerMHz * kSequenceClocks * kClockPeriod / kPixelsPerClock;
}
// Rate (Hz) of an event that takes `clocks` simulator clocks, and its inverse.
inline double rateOfClocks(double clocks) { return 1 / (clocks * kClockPeriod); }
inline double clocksForRate(double rate) { return 1 / (rate * kClockPeriod); }
// Line rate (Hz) of a line of `width` pixels at full speed, 12 pixels per clock.
inline double fullSpeedLineRate(uint32_t width) { return kPixelsPerClock / (double(width) * kClockPeriod); }

}  // namespace camsim

// The working values of one port's simulator: what is actually programmed.
// CamSim::start() gives them their start values.
struct CamSimWorkingValues {
    uint32_t used_width = 0;     // width rounded up to a multiple of 12
    uint32_t used_line_gap = 0;  // a multiple of 12; 0 outside pixel-frequency mode
    uint32_t used_height = 0;
    uint32_t used_frame_gap = 0;
    double max_pixelFrequency = 0.0;  // Hz
    double used_framerate = 0.0;      // what frame-rate mode applies when it is selected
};

// The simulator of one port: its rate computations, geometry writers and
// range updaters. Reads of the design raise their host code; a speed mode
// outside the table raises -2075.
class CamSim {
public:
    CamSim(FgQorWrapperImpl& w, int port);  // an unknown port raises -2070

    // The start values: the geometry and frame rate the port's caches are
    // constructed with, the fastest pixel rate, and its registered maximum.
    void start();

    uint32_t mode() const;

    // ---- the speed quantities in a mode ----
    double pixelFrequency(uint32_t m);  // MHz
    double lineRate(uint32_t m);        // Hz
    double frameRate(uint32_t m);       // Hz

    // ---- what the getters report and a configuration file holds ----
    uint32_t width() const { return working().used_width; }
    uint32_t lineGap() const;   // 0 outside pixel-frequency mode
    uint32_t frameGap() const;  // 0 in frame-rate mode
    // The pixel frequency of pixel-frequency mode, else full speed.
    double pixelFrequencyOrFullSpeed();
    // Active and passive clocks of the gating sequence in pixel-frequency mode, else 0.
    uint32_t activeClocks();
    uint32_t passiveClocks();

    // ---- geometry writers (always raise on failure) ----
    void setWidth(uint32_t width, uint32_t lineGap);
    void setHeight(uint32_t h, uint32_t frameGap);

    // ---- maxima of the dependent parameters (a failing rate raises) ----
    uint32_t widthMax();
    uint32_t lineGapMax();
    uint32_t heightMax();
    uint32_t frameGapMax() const;
    double lineRateMax() const;
    double frameRateMax() const;

    // ---- range updaters: rewrite the registered maximum, never raise ----
    void updateWidthRange();
    void updateLineGapRange();
    void updateHeightRange();
    void updateFrameGapRange();
    void updateLineRateRange();
    void updateFrameRateRange();

    // ---- design reads and writes ----
    uint32_t onTime();
    uint32_t sequenceLength();
    // Writes the gating of the pixel clock: the sequence length, then one
    // active clock (line-rate and frame-rate mode).
    void writeClocksPerLine(uint32_t clocks);

private:
    const CamSimWorkingValues& working() const;
    double maxPf() const;
    uint32_t height() const;
    void updateUInt(int id, uint32_t (CamSim::*maximum)());
    void updateDouble(int id, double maximum);

    FgQorWrapperImpl& w_;
    const int port_;

public:
    PortState& s;
};

#endif
