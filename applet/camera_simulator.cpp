// The camera simulator of each port: a pattern generator in the design that
// can replace the camera as the image source.
//
// Timing model of the design: the simulator runs on an 8 ns clock and emits
// 12 pixels per clock, so widths and line gaps are programmed in steps of 12
// pixels. In pixel-frequency mode the pixel output is gated over a repeating
// sequence of 2000 clocks of which `on time` clocks are active; in line-rate
// and frame-rate mode one pixel clock is active and the sequence length is the
// number of clocks per line. Width + line gap and height + frame gap are each
// limited to 65536.
//
// The three speed quantities (pixel frequency, line rate, frame rate) are tied
// together by the geometry, so most setters recompute the others, rewrite
// several design parameters and narrow the registered maxima of the
// dependent parameters; the speed mode also decides which of them the
// application may write (registry access flags, descriptive only).
#include <algorithm>
#include <cfloat>
#include <cstdint>

#include "AppletWrapper.h"

namespace {

const double kClockPeriod = 8e-9;          // seconds per simulator clock
const uint32_t kPixelsPerClock = 12;       // granularity of widths and line gaps
const uint32_t kSequenceClocks = 2000;     // gating sequence in pixel-frequency mode
const uint32_t kGeometryLimit = 65536;     // width + line gap, height + frame gap
const double kFullSpeedMHz = 1500.0;       // pixel frequency outside pixel-frequency mode
const double kMaxRequestedMHz = 4000.0;    // the pixel-frequency setter's own limit
const double kMinRate = 0.1;               // lowest line rate and frame rate, Hz

const int kAccessReadWrite = 7;
const int kAccessReadOnly = 1;

enum SpeedMode { kPixelFrequencyMode = 0, kLineRateMode = 1, kFrameRateMode = 2 };

// A double truncated toward zero and taken as an unsigned 32-bit integer for
// the range arithmetic. A small negative result wraps around (as the
// conversion does on both targets), so that min(bound, x) picks the bound;
// results of 2^32 and above saturate, so that a very slow rate leaves the
// geometry bound in place; NaN and results beyond the 64-bit range give 0.
uint32_t truncU32(double x) {
    if (x >= 4294967296.0) return UINT32_MAX;
    if (!(x > -9223372036854775808.0)) return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(x));
}

// Rounded: add 0.5, then truncate.
uint32_t roundU32(double x) { return truncU32(x + 0.5); }

// Up to the next multiple of 12 (a multiple of 12 stays); wide enough for any
// 32-bit input.
uint64_t roundUp12(uint32_t v) {
    return (uint64_t(v) + kPixelsPerClock - 1) / kPixelsPerClock * kPixelsPerClock;
}

// The simulator of one port: its working values, rate computations, geometry
// writers and range updaters.
class CamSim {
public:
    CamSim(FgQorWrapperImpl& w, int port) : w_(w), port_(port), s(stateOf(w, port)) {}

    uint32_t mode() const { return s.cache_FG_CAMERASIMULATOR_SELECT_MODE; }

    // ---- rate computations (reads of the design raise their host code) ----

    // Pixel frequency in MHz.
    double pixelFrequency(uint32_t m) {
        switch (m) {
        case kPixelFrequencyMode:
            return double(onTime()) * 12.0 / 2000.0 / kClockPeriod / 1e6;
        case kLineRateMode:
        case kFrameRateMode:
            return kFullSpeedMHz;
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    // Line rate in Hz.
    double lineRate(uint32_t m) {
        switch (m) {
        case kPixelFrequencyMode:
            return pixelFrequency(m) * 1e6 / double(s.used_width + s.used_line_gap);
        case kLineRateMode:
            return 1 / (double(sequenceLength()) * kClockPeriod);
        case kFrameRateMode:
            return 12 / (double(s.used_width) * kClockPeriod);
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    // Frame rate in Hz.
    double frameRate(uint32_t m) {
        switch (m) {
        case kPixelFrequencyMode: {
            const uint32_t pixels = (s.used_width + s.used_line_gap) * (height() + s.used_frame_gap);
            return pixelFrequency(m) * 1e6 / double(pixels);
        }
        case kLineRateMode:
            return (1 / (double(sequenceLength()) * kClockPeriod)) / double(height() + s.used_frame_gap);
        case kFrameRateMode: {
            const uint32_t clocks = height() * sequenceLength();
            return 1 / (double(clocks) * kClockPeriod);
        }
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    // ---- geometry writers (always raise on failure) ----

    void setWidth(uint32_t width, uint32_t lineGap) {
        const uint64_t usedWidth = roundUp12(width);
        const uint64_t usedGap = roundUp12(lineGap);
        if (usedWidth + usedGap > kGeometryLimit) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
        s.used_width = static_cast<uint32_t>(usedWidth);
        s.used_line_gap = static_cast<uint32_t>(usedGap);
        w_.writeU32(port_, DP_CameraSimulator_Size_ImageWidth, (s.used_width + s.used_line_gap) / kPixelsPerClock);
        w_.writeU32(port_, DP_CameraSimulator_LineGap_Number, s.used_width / kPixelsPerClock);
    }

    void setHeight(uint32_t h, uint32_t frameGap) {
        if (uint64_t(h) + frameGap > kGeometryLimit) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
        s.used_height = h;
        s.used_frame_gap = frameGap;
        w_.writeU32(port_, DP_CameraSimulator_Size_ImageHeight, h + frameGap);
        w_.writeU32(port_, DP_CameraSimulator_FrameGap_Number, h);
    }

    // ---- maxima of the dependent parameters (a failing rate raises) ----

    uint32_t widthMax() {
        const uint32_t m = mode();
        switch (m) {
        case kPixelFrequencyMode:
            return kGeometryLimit - s.used_line_gap;
        case kLineRateMode:
            return std::min(kGeometryLimit, truncU32(maxPf() / lineRate(m) - 12));
        case kFrameRateMode:
            return std::min(kGeometryLimit, truncU32(maxPf() / (double(height()) * frameRate(m)) - 12));
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    uint32_t lineGapMax() {
        const uint32_t m = mode();
        switch (m) {
        case kPixelFrequencyMode:
            return kGeometryLimit - s.used_width;
        case kLineRateMode:
            return std::min(kGeometryLimit - s.used_width,
                            truncU32(maxPf() / lineRate(m) - double(s.used_width) - 12));
        case kFrameRateMode:
            return 0;
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    uint32_t heightMax() {
        const uint32_t m = mode();
        switch (m) {
        case kPixelFrequencyMode:
        case kLineRateMode:
            return kGeometryLimit - s.used_frame_gap;
        case kFrameRateMode:
            return std::min(kGeometryLimit,
                            truncU32(maxPf() / (double(s.used_width + 12) * frameRate(m))));
        default:
            throw int(FG_ERR_NO_DESCRIPTION);
        }
    }

    uint32_t frameGapMax() const { return mode() == kPixelFrequencyMode ? kGeometryLimit - height() : 0; }

    double lineRateMax() const { return maxPf() / double(s.used_width + 12); }

    double frameRateMax() const { return maxPf() / double((s.used_width + 12) * height()); }

    // ---- range updaters: rewrite the registered maximum, never raise ----

    void updateWidthRange() { updateUInt(FG_CAMERASIMULATOR_WIDTH, &CamSim::widthMax); }
    void updateLineGapRange() { updateUInt(FG_CAMERASIMULATOR_LINE_GAP, &CamSim::lineGapMax); }
    void updateHeightRange() { updateUInt(FG_CAMERASIMULATOR_HEIGHT, &CamSim::heightMax); }
    void updateFrameGapRange() {
        if (RegisterInfo* r = w_.info(port_, FG_CAMERASIMULATOR_FRAME_GAP)) r->u.uiReg.to = frameGapMax();
    }
    void updateLineRateRange() { updateDouble(FG_CAMERASIMULATOR_LINERATE, lineRateMax()); }
    void updateFrameRateRange() { updateDouble(FG_CAMERASIMULATOR_FRAMERATE, frameRateMax()); }

    // ---- design reads ----

    uint32_t onTime() { return w_.readU32(port_, DP_CameraSimulator_PixelFrequency_ActivePixel_Number); }
    uint32_t sequenceLength() {
        return w_.readU32(port_, DP_CameraSimulator_PixelFrequency_SequenceLength_ImageWidth);
    }

    // Writes the gating of the pixel clock: the sequence length, then one
    // active clock (line-rate and frame-rate mode).
    void writeClocksPerLine(uint32_t clocks) {
        w_.writeU32(port_, DP_CameraSimulator_PixelFrequency_SequenceLength_ImageWidth, clocks);
        w_.writeU32(port_, DP_CameraSimulator_PixelFrequency_ActivePixel_Number, 1);
    }

private:
    static PortState& stateOf(FgQorWrapperImpl& w, int port) {
        if (port < 0 || port >= kPortCount) throw int(FG_ERR_INVALID_PARAMETER);
        return w.port_[port];
    }

    double maxPf() const { return s.max_pixelFrequency; }
    uint32_t height() const { return s.cache_FG_CAMERASIMULATOR_HEIGHT; }

    void updateUInt(int id, uint32_t (CamSim::*maximum)()) {
        RegisterInfo* r = w_.info(port_, id);
        if (!r) return;
        try {
            r->u.uiReg.to = (this->*maximum)();
        } catch (int) {
            // The rate could not be computed: the registered range stays.
        }
    }

    void updateDouble(int id, double maximum) {
        if (maximum < DBL_MIN) maximum = DBL_MIN;
        if (RegisterInfo* r = w_.info(port_, id)) r->u.dReg.to = maximum;
    }

    FgQorWrapperImpl& w_;
    const int port_;

public:
    PortState& s;
};

}  // namespace

// ---- image source and picture ----

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_ENABLE(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!enum_tables::CameraSimulatorSource.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_ENABLE, value, throwOnError,
           [&] { writeU32(port, DP_CameraSimulator_Enable_SelectSource, value); });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_ENABLE(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_ENABLE);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_PATTERN(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!enum_tables::CameraSimulatorPattern.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    // Horizontal: x counts, lines equal; vertical: x still, y advances; diagonal: both.
    const uint32_t enableX = value == 2 ? 0 : 1;
    const uint32_t yDivisor = value == 1 ? 1 : 256;
    commit(sim.s.cache_FG_CAMERASIMULATOR_PATTERN, value, throwOnError, [&] {
        writeU32(port, DP_CameraSimulator_EnableX_Enable_Value, enableX);
        writeU32(port, DP_CameraSimulator_Y_Divisor, yDivisor);
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_PATTERN(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_PATTERN);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_PATTERN_OFFSET(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (value > 255) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_PATTERN_OFFSET, value, throwOnError,
           [&] { writeU32(port, DP_CameraSimulator_Offset_Value, value); });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_PATTERN_OFFSET(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_PATTERN_OFFSET);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_ROLL(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!enum_tables::OnOff.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_ROLL, value, throwOnError,
           [&] { writeU32(port, DP_CameraSimulator_Frame_Divisor, value ? 256u : 1u); });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_ROLL(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_ROLL);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_TRIGGER_MODE(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!enum_tables::CameraSimulatorTriggerMode.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    // Free run: the valve passes everything, in frame mode. Line trigger: one
    // line per rising edge. Frame trigger: one frame per rising edge.
    const uint32_t freeRun = value == 0 ? 1 : 0;
    const uint32_t valveMode = value == 8 ? 1 : 2;
    commit(sim.s.cache_FG_CAMERASIMULATOR_TRIGGER_MODE, value, throwOnError, [&] {
        writeU32(port, DP_CameraSimulator_TriggerValve_FreeRun_Select, freeRun);
        writeU32(port, DP_CameraSimulator_TriggerValve_TriggerValve_Mode, valveMode);
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_TRIGGER_MODE(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_TRIGGER_MODE);
}

// ---- speed ----

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_PIXEL_FREQUENCY(int port, double value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!(value >= 0.0 && value <= kMaxRequestedMHz)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    const uint32_t onTime = roundU32(value * 1e6 * 2000.0 * kClockPeriod / 12.0);
    if (onTime == 0) {
        // Below 0.375 MHz no clock of the sequence would be active.
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_PIXEL_FREQUENCY, value, throwOnError, [&] {
        writeU32(port, DP_CameraSimulator_PixelFrequency_ActivePixel_Number, onTime);
        writeU32(port, DP_CameraSimulator_PixelFrequency_RepeatPat_Divisor, kSequenceClocks / onTime);
        writeU32(port, DP_CameraSimulator_PixelFrequency_SequenceLength_ImageWidth, kSequenceClocks);
        sim.s.used_framerate = sim.frameRate(sim.mode());
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_PIXEL_FREQUENCY(int port, double* value) {
    CamSim sim(*this, port);
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    *value = sim.pixelFrequency(sim.mode());
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_LINERATE(int port, double value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!(value >= kMinRate && value <= sim.lineRateMax())) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_LINERATE, value, throwOnError, [&] {
        sim.writeClocksPerLine(roundU32(1 / (value * kClockPeriod)));
        sim.setWidth(sim.s.used_width, 0);
        sim.s.used_framerate = sim.frameRate(sim.mode());
        sim.updateWidthRange();
        sim.updateLineGapRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_LINERATE(int port, double* value) {
    CamSim sim(*this, port);
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    *value = sim.lineRate(sim.mode());
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_FRAMERATE(int port, double value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!(value >= kMinRate && value <= sim.frameRateMax())) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_FRAMERATE, value, throwOnError, [&] {
        const double height = sim.s.cache_FG_CAMERASIMULATOR_HEIGHT;
        sim.writeClocksPerLine(roundU32(1 / (value * kClockPeriod) / height));
        sim.setWidth(sim.s.used_width, 0);
        sim.setHeight(sim.s.cache_FG_CAMERASIMULATOR_HEIGHT, 0);
        sim.updateWidthRange();
        sim.updateHeightRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_FRAMERATE(int port, double* value) {
    CamSim sim(*this, port);
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    *value = sim.frameRate(sim.mode());
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_SELECT_MODE(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!enum_tables::CameraSimulatorMode.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    PortState& s = sim.s;
    commit(s.cache_FG_CAMERASIMULATOR_SELECT_MODE, value, throwOnError, [&] {
        // Which speed quantity (and which gaps) the application may write.
        static const int kFlags[3][5] = {
            // pixel frequency, line rate, frame rate, line gap, frame gap
            {kAccessReadWrite, kAccessReadOnly, kAccessReadOnly, kAccessReadWrite, kAccessReadWrite},
            {kAccessReadOnly, kAccessReadWrite, kAccessReadOnly, kAccessReadOnly, kAccessReadWrite},
            {kAccessReadOnly, kAccessReadOnly, kAccessReadWrite, kAccessReadOnly, kAccessReadOnly},
        };
        setAccess(port, FG_CAMERASIMULATOR_PIXEL_FREQUENCY, kFlags[value][0]);
        setAccess(port, FG_CAMERASIMULATOR_LINERATE, kFlags[value][1]);
        setAccess(port, FG_CAMERASIMULATOR_FRAMERATE, kFlags[value][2]);
        setAccess(port, FG_CAMERASIMULATOR_LINE_GAP, kFlags[value][3]);
        setAccess(port, FG_CAMERASIMULATOR_FRAME_GAP, kFlags[value][4]);

        writeU32(port, DP_CameraSimulator_ControlPixelClock_Mode, value == kPixelFrequencyMode ? 0u : 1u);

        // The gaps the application last asked for come back; the governing
        // rate below clears those its mode does not use.
        sim.setWidth(s.used_width, s.cache_FG_CAMERASIMULATOR_LINE_GAP);
        sim.setHeight(s.cache_FG_CAMERASIMULATOR_HEIGHT, s.cache_FG_CAMERASIMULATOR_FRAME_GAP);

        switch (value) {
        case kPixelFrequencyMode:
            set_FG_CAMERASIMULATOR_PIXEL_FREQUENCY(port, s.cache_FG_CAMERASIMULATOR_PIXEL_FREQUENCY, true);
            break;
        case kLineRateMode:
            set_FG_CAMERASIMULATOR_LINERATE(port, std::min(s.cache_FG_CAMERASIMULATOR_LINERATE, sim.lineRateMax()),
                                            true);
            break;
        default:
            // Frame-rate mode starts at the frame rate the simulator had.
            set_FG_CAMERASIMULATOR_FRAMERATE(port, s.used_framerate, true);
            break;
        }

        sim.updateWidthRange();
        sim.updateLineGapRange();
        sim.updateHeightRange();
        sim.updateFrameGapRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_SELECT_MODE(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_SELECT_MODE);
}

// ---- geometry ----

// A size from 1 up to the maximum `maximumOf` computes from the design; a
// failing computation refuses the value with its code.
template <class Maximum>
static bool sizeAccepted(uint32_t value, Maximum&& maximumOf, bool throwOnError) {
    uint32_t maximum;
    try {
        maximum = maximumOf();
    } catch (int code) {
        FgQorWrapperImpl::reject(code, throwOnError);
        return false;
    }
    if (value == 0 || value > maximum) {
        FgQorWrapperImpl::reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return false;
    }
    return true;
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_WIDTH(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!sizeAccepted(value, [&] { return sim.widthMax(); }, throwOnError)) return;
    PortState& s = sim.s;
    commit(s.cache_FG_CAMERASIMULATOR_WIDTH, value, throwOnError, [&] {
        sim.setWidth(value, sim.mode() == kPixelFrequencyMode ? s.used_line_gap : 0);
        sim.updateLineGapRange();
        sim.updateHeightRange();
        sim.updateLineRateRange();
        sim.updateFrameRateRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_WIDTH(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.used_width);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_HEIGHT(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!sizeAccepted(value, [&] { return sim.heightMax(); }, throwOnError)) return;
    PortState& s = sim.s;
    commit(s.cache_FG_CAMERASIMULATOR_HEIGHT, value, throwOnError, [&] {
        const bool frameRateMode = sim.mode() == kFrameRateMode;
        sim.setHeight(value, frameRateMode ? 0 : s.used_frame_gap);
        // The clocks per line of frame-rate mode depend on the height.
        if (frameRateMode) set_FG_CAMERASIMULATOR_FRAMERATE(port, s.cache_FG_CAMERASIMULATOR_FRAMERATE, true);
        sim.updateWidthRange();
        sim.updateFrameGapRange();
        sim.updateFrameRateRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_HEIGHT(int port, uint32_t* value) {
    readCache(value, CamSim(*this, port).s.cache_FG_CAMERASIMULATOR_HEIGHT);
}

// The two gap setters are reached only through the typed dispatch and always
// raise their failure.
void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_LINE_GAP(int port, uint32_t value, bool /*throwOnError*/) {
    CamSim sim(*this, port);
    if (value > sim.lineGapMax()) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    commit(sim.s.cache_FG_CAMERASIMULATOR_LINE_GAP, value, true, [&] {
        sim.setWidth(sim.s.used_width, value);
        sim.updateWidthRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_LINE_GAP(int port, uint32_t* value) {
    CamSim sim(*this, port);
    readCache(value, sim.mode() == kPixelFrequencyMode ? sim.s.used_line_gap : 0u);
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_FRAME_GAP(int port, uint32_t value, bool /*throwOnError*/) {
    CamSim sim(*this, port);
    if (value > sim.frameGapMax()) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    commit(sim.s.cache_FG_CAMERASIMULATOR_FRAME_GAP, value, true, [&] {
        sim.setHeight(sim.s.cache_FG_CAMERASIMULATOR_HEIGHT, value);
        sim.updateHeightRange();
    });
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_FRAME_GAP(int port, uint32_t* value) {
    CamSim sim(*this, port);
    readCache(value, sim.mode() == kFrameRateMode ? 0u : sim.s.used_frame_gap);
}

// ---- pixel clock gating (pixel-frequency mode only) ----

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_ACTIVE(int port, uint32_t* value) {
    CamSim sim(*this, port);
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    if (sim.mode() == kPixelFrequencyMode) *value = sim.onTime();
}

void FgQorWrapperImpl::get_FG_CAMERASIMULATOR_PASSIVE(int port, uint32_t* value) {
    CamSim sim(*this, port);
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    if (sim.mode() == kPixelFrequencyMode) *value = kSequenceClocks - sim.onTime();
}
