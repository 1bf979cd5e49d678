// The camera simulator of each port: a pattern generator in the design that
// can replace the camera as the image source. The timing model and the rate
// formulas are in camera_simulator.h.
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

using namespace camsim;

namespace {

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
uint64_t roundUp12(uint32_t v) { return (uint64_t(v) + kPixelsPerClock - 1) / kPixelsPerClock * kPixelsPerClock; }

PortState& stateOf(FgQorWrapperImpl& w, int port) {
    if (port < 0 || port >= kPortCount) throw int(FG_ERR_INVALID_PARAMETER);
    return w.port_[port];
}

}  // namespace

// ---- the simulator of one port ----

CamSim::CamSim(FgQorWrapperImpl& w, int port) : w_(w), port_(port), s(stateOf(w, port)) {}

void CamSim::start() {
    s.used_width = s.cache_FG_CAMERASIMULATOR_WIDTH;
    s.used_line_gap = s.cache_FG_CAMERASIMULATOR_LINE_GAP;
    s.used_height = s.cache_FG_CAMERASIMULATOR_HEIGHT;
    s.used_frame_gap = s.cache_FG_CAMERASIMULATOR_FRAME_GAP;
    s.max_pixelFrequency = kMaxPixelFrequency;
    if (RegisterInfo* r = w_.info(port_, FG_CAMERASIMULATOR_PIXEL_FREQUENCY))
        r->u.dReg.to = s.max_pixelFrequency / kHzPerMHz;
    s.used_framerate = s.cache_FG_CAMERASIMULATOR_FRAMERATE;
}

uint32_t CamSim::mode() const { return s.cache_FG_CAMERASIMULATOR_SELECT_MODE; }
const CamSimWorkingValues& CamSim::working() const { return s; }
double CamSim::maxPf() const { return s.max_pixelFrequency; }
uint32_t CamSim::height() const { return s.cache_FG_CAMERASIMULATOR_HEIGHT; }

double CamSim::pixelFrequency(uint32_t m) {
    switch (m) {
    case kPixelFrequencyMode: return gatedPixelFrequency(onTime());
    case kLineRateMode:
    case kFrameRateMode: return kFullSpeedMHz;
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

double CamSim::lineRate(uint32_t m) {
    switch (m) {
    case kPixelFrequencyMode: return pixelFrequency(m) * kHzPerMHz / double(s.used_width + s.used_line_gap);
    case kLineRateMode: return rateOfClocks(double(sequenceLength()));
    case kFrameRateMode: return fullSpeedLineRate(s.used_width);
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

double CamSim::frameRate(uint32_t m) {
    switch (m) {
    case kPixelFrequencyMode: {
        const uint32_t pixels = (s.used_width + s.used_line_gap) * (height() + s.used_frame_gap);
        return pixelFrequency(m) * kHzPerMHz / double(pixels);
    }
    case kLineRateMode: return rateOfClocks(double(sequenceLength())) / double(height() + s.used_frame_gap);
    case kFrameRateMode: {
        const uint32_t clocks = height() * sequenceLength();
        return rateOfClocks(double(clocks));
    }
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

uint32_t CamSim::lineGap() const { return mode() == kPixelFrequencyMode ? s.used_line_gap : 0u; }
uint32_t CamSim::frameGap() const { return mode() == kFrameRateMode ? 0u : s.used_frame_gap; }

double CamSim::pixelFrequencyOrFullSpeed() {
    return mode() == kPixelFrequencyMode ? pixelFrequency(kPixelFrequencyMode) : kFullSpeedMHz;
}
uint32_t CamSim::activeClocks() { return mode() == kPixelFrequencyMode ? onTime() : 0u; }
uint32_t CamSim::passiveClocks() { return mode() == kPixelFrequencyMode ? kSequenceClocks - onTime() : 0u; }

void CamSim::setWidth(uint32_t width, uint32_t lineGap) {
    const uint64_t usedWidth = roundUp12(width);
    const uint64_t usedGap = roundUp12(lineGap);
    if (usedWidth + usedGap > kGeometryLimit) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    s.used_width = static_cast<uint32_t>(usedWidth);
    s.used_line_gap = static_cast<uint32_t>(usedGap);
    w_.writeU32(port_, DP_CameraSimulator_Size_ImageWidth, (s.used_width + s.used_line_gap) / kPixelsPerClock);
    w_.writeU32(port_, DP_CameraSimulator_LineGap_Number, s.used_width / kPixelsPerClock);
}

void CamSim::setHeight(uint32_t h, uint32_t frameGap) {
    if (uint64_t(h) + frameGap > kGeometryLimit) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    s.used_height = h;
    s.used_frame_gap = frameGap;
    w_.writeU32(port_, DP_CameraSimulator_Size_ImageHeight, h + frameGap);
    w_.writeU32(port_, DP_CameraSimulator_FrameGap_Number, h);
}

uint32_t CamSim::widthMax() {
    const uint32_t m = mode();
    switch (m) {
    case kPixelFrequencyMode: return kGeometryLimit - s.used_line_gap;
    case kLineRateMode: return std::min(kGeometryLimit, truncU32(maxPf() / lineRate(m) - kPixelsPerClock));
    case kFrameRateMode:
        return std::min(kGeometryLimit, truncU32(maxPf() / (double(height()) * frameRate(m)) - kPixelsPerClock));
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

uint32_t CamSim::lineGapMax() {
    const uint32_t m = mode();
    switch (m) {
    case kPixelFrequencyMode: return kGeometryLimit - s.used_width;
    case kLineRateMode:
        return std::min(kGeometryLimit - s.used_width,
                        truncU32(maxPf() / lineRate(m) - double(s.used_width) - kPixelsPerClock));
    case kFrameRateMode: return 0;
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

uint32_t CamSim::heightMax() {
    const uint32_t m = mode();
    switch (m) {
    case kPixelFrequencyMode:
    case kLineRateMode: return kGeometryLimit - s.used_frame_gap;
    case kFrameRateMode:
        return std::min(kGeometryLimit, truncU32(maxPf() / (double(s.used_width + kPixelsPerClock) * frameRate(m))));
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

uint32_t CamSim::frameGapMax() const { return mode() == kPixelFrequencyMode ? kGeometryLimit - height() : 0; }

double CamSim::lineRateMax() const { return maxPf() / double(s.used_width + kPixelsPerClock); }

double CamSim::frameRateMax() const { return maxPf() / double((s.used_width + kPixelsPerClock) * height()); }

void CamSim::updateWidthRange() { updateUInt(FG_CAMERASIMULATOR_WIDTH, &CamSim::widthMax); }
void CamSim::updateLineGapRange() { updateUInt(FG_CAMERASIMULATOR_LINE_GAP, &CamSim::lineGapMax); }
void CamSim::updateHeightRange() { updateUInt(FG_CAMERASIMULATOR_HEIGHT, &CamSim::heightMax); }
void CamSim::updateFrameGapRange() {
    if (RegisterInfo* r = w_.info(port_, FG_CAMERASIMULATOR_FRAME_GAP)) r->u.uiReg.to = frameGapMax();
}
void CamSim::updateLineRateRange() { updateDouble(FG_CAMERASIMULATOR_LINERATE, lineRateMax()); }
void CamSim::updateFrameRateRange() { updateDouble(FG_CAMERASIMULATOR_FRAMERATE, frameRateMax()); }

uint32_t CamSim::onTime() { return w_.readU32(port_, DP_CameraSimulator_PixelFrequency_ActivePixel_Number); }
uint32_t CamSim::sequenceLength() {
    return w_.readU32(port_, DP_CameraSimulator_PixelFrequency_SequenceLength_ImageWidth);
}

void CamSim::writeClocksPerLine(uint32_t clocks) {
    w_.writeU32(port_, DP_CameraSimulator_PixelFrequency_SequenceLength_ImageWidth, clocks);
    w_.writeU32(port_, DP_CameraSimulator_PixelFrequency_ActivePixel_Number, 1);
}

void CamSim::updateUInt(int id, uint32_t (CamSim::*maximum)()) {
    RegisterInfo* r = w_.info(port_, id);
    if (!r) return;
    try {
        r->u.uiReg.to = (this->*maximum)();
    } catch (int) {
        // The rate could not be computed: the registered range stays.
    }
}

void CamSim::updateDouble(int id, double maximum) {
    if (maximum < DBL_MIN) maximum = DBL_MIN;
    if (RegisterInfo* r = w_.info(port_, id)) r->u.dReg.to = maximum;
}

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
    const uint32_t enableX = value == sdk::value(sdk::CameraSimulatorPattern::FG_VERTICAL) ? 0 : 1;
    const uint32_t yDivisor = value == sdk::value(sdk::CameraSimulatorPattern::FG_HORIZONTAL) ? 1 : 256;
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
    if (value > catalogue::FG_CAMERASIMULATOR_PATTERN_OFFSET::to) {
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
    const uint32_t frameDivisor = value == sdk::value(sdk::OnOff::FG_ON) ? 256u : 1u;
    commit(sim.s.cache_FG_CAMERASIMULATOR_ROLL, value, throwOnError,
           [&] { writeU32(port, DP_CameraSimulator_Frame_Divisor, frameDivisor); });
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
    const uint32_t freeRun = value == sdk::value(sdk::CameraSimulatorTriggerMode::SIMULATION_FREE_RUN) ? 1 : 0;
    const uint32_t valveMode = value == sdk::value(sdk::CameraSimulatorTriggerMode::RISING_EDGE_TRIGGERS_LINE) ? 1 : 2;
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
    if (!(value >= catalogue::FG_CAMERASIMULATOR_PIXEL_FREQUENCY::from &&
          value <= catalogue::FG_CAMERASIMULATOR_PIXEL_FREQUENCY::to)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    const uint32_t onTime = roundU32(onTimeFor(value));
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
    if (!(value >= catalogue::FG_CAMERASIMULATOR_LINERATE::from && value <= sim.lineRateMax())) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_LINERATE, value, throwOnError, [&] {
        sim.writeClocksPerLine(roundU32(clocksForRate(value)));
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
    if (!(value >= catalogue::FG_CAMERASIMULATOR_FRAMERATE::from && value <= sim.frameRateMax())) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(sim.s.cache_FG_CAMERASIMULATOR_FRAMERATE, value, throwOnError, [&] {
        const double height = sim.s.cache_FG_CAMERASIMULATOR_HEIGHT;
        sim.writeClocksPerLine(roundU32(clocksForRate(value) / height));
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
        constexpr int rw = FG_PARAM_ACCESS_READ_WRITE, ro = FG_PARAM_ACCESS_READ_ONLY;
        static const int kFlags[3][5] = {
            // pixel frequency, line rate, frame rate, line gap, frame gap
            {rw, ro, ro, rw, rw},
            {ro, rw, ro, ro, rw},
            {ro, ro, rw, ro, ro},
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

// A size from `minimum` up to the maximum `maximumOf` computes from the
// design; a failing computation refuses the value with its code.
template <class Maximum>
static bool sizeAccepted(uint32_t value, uint32_t minimum, Maximum&& maximumOf, bool throwOnError) {
    uint32_t maximum;
    try {
        maximum = maximumOf();
    } catch (int code) {
        FgQorWrapperImpl::reject(code, throwOnError);
        return false;
    }
    if (value < minimum || value > maximum) {
        FgQorWrapperImpl::reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return false;
    }
    return true;
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_WIDTH(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!sizeAccepted(
            value, catalogue::FG_CAMERASIMULATOR_WIDTH::from, [&] { return sim.widthMax(); }, throwOnError))
        return;
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
    readCache(value, CamSim(*this, port).width());
}

void FgQorWrapperImpl::set_FG_CAMERASIMULATOR_HEIGHT(int port, uint32_t value, bool throwOnError) {
    CamSim sim(*this, port);
    if (!sizeAccepted(
            value, catalogue::FG_CAMERASIMULATOR_HEIGHT::from, [&] { return sim.heightMax(); }, throwOnError))
        return;
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
    readCache(value, CamSim(*this, port).lineGap());
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
    readCache(value, CamSim(*this, port).frameGap());
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
