// Line trigger, ExSync generation and shaft encoder of a camera port.
//
// Every setter checks its value, caches it, writes the port's trigger block
// and keeps the dependent records (access of the external-trigger and shaft
// encoder parameters, upper bound of the exposure) in step with the line
// trigger mode. Times are microseconds and reach the design unchanged.
#include <algorithm>
#include <cstddef>
#include <limits>

#include "AppletWrapper.h"

namespace {

// Limits on the 8 ns grid of the trigger block, in microseconds.
const double kDebounceMin = 0.008;
const double kDebounceMax = 30.0;
const double kPeriodMin = 0.512;     // 64 steps
const double kPeriodMax = 2097.144;  // 262143 steps
const double kExposureMin = 0.512;   // 64 steps
const double kExposureMax = 1048.568;  // 131071 steps
const double kDelayMin = 0.0;
const double kDelayMax = 1048.568;

const uint32_t kDownscaleMin = 1;
const uint32_t kDownscaleMax = 255;
const uint32_t kCompensationCountMax = 1048575;  // 20-bit counter

const int kReadWrite = 7;
const int kReadOnly = 1;

enum LineTriggerMode : uint32_t {
    kGrabberControlled = 1,
    kAsyncTrigger = 2,
    kAsyncGated = 5,
    kGrabberControlledGated = 6,
};

// Inclusive range check that also refuses NaN.
inline bool inRange(double v, double lo, double hi) { return v >= lo && v <= hi; }
inline bool inRange(uint32_t v, uint32_t lo, uint32_t hi) { return v >= lo && v <= hi; }

// SDK input source 0..7 to the design's source number: design source 4 is
// the software trigger, so the physical inputs 4..7 sit one above.
inline uint32_t designSource(uint32_t sdkSource) { return sdkSource < 4 ? sdkSource : sdkSource + 1; }

inline bool grabberControlled(uint32_t mode) { return mode == kGrabberControlled || mode == kGrabberControlledGated; }

// The parameters whose access follows the line trigger mode, and those that
// follow the shaft encoder switch.
const int kExternalTriggerParams[] = {FG_LINETRIGGERINSRC, FG_LINETRIGGERINPOLARITY, FG_LINETRIGGERDEBOUNCING,
                                      FG_LINE_DOWNSCALE,   FG_LINE_DOWNSCALEINIT,    FG_SHAFTENCODERON};
const int kShaftEncoderParams[] = {FG_SHAFTENCODERMODE, FG_SHAFTENCODERINSRC, FG_SHAFTENCODERLEADING,
                                   FG_SHAFTENCODER_COMPENSATION_ENABLE, FG_SHAFTENCODER_COMPENSATION_COUNT};

// Upper bound of the exposure record: in the grabber-controlled modes the
// period (never above the exposure limit, never zero), else the limit.
double exposureBound(uint32_t mode, double period) {
    if (grabberControlled(mode))
        return std::max(std::min(period, kExposureMax), std::numeric_limits<double>::min());
    return kExposureMax;
}

template <size_t N>
void setAccessOf(FgQorWrapperImpl& self, int port, const int (&ids)[N], int flags) {
    for (int id : ids) self.setAccess(port, id, flags);
}

}  // namespace

// ---- mode and ExSync ----------------------------------------------------------

void FgQorWrapperImpl::set_FG_LINETRIGGERMODE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::LineTriggerModes.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    PortState& ps = port_[port];

    uint32_t hwValue = 0;
    int rwExtern = kReadOnly;
    switch (value) {
    case kGrabberControlled: hwValue = 0; rwExtern = kReadOnly; break;
    case kAsyncTrigger: hwValue = 1; rwExtern = kReadWrite; break;
    case kGrabberControlledGated: hwValue = 2; rwExtern = kReadOnly; break;
    case kAsyncGated: hwValue = 3; rwExtern = kReadWrite; break;
    }

    commit(ps.cache_FG_LINETRIGGERMODE, value, throwOnError, [&] {
        // The access changes stay even when the design write below fails.
        setAccessOf(*this, port, kExternalTriggerParams, rwExtern);
        if (ps.cache_FG_SHAFTENCODERON == 1)
            setAccessOf(*this, port, kShaftEncoderParams, rwExtern);
        writeU32(port, DP_Trigger_Trigger_LineTriggerMode, hwValue);
        if (RegisterInfo* r = info(port, FG_LINEEXPOSURE))
            r->u.dReg.to = exposureBound(ps.cache_FG_LINETRIGGERMODE, ps.cache_FG_LINEPERIODE);
    });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERMODE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERMODE);
}

void FgQorWrapperImpl::set_FG_EXSYNCON(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_EXSYNCON, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ExsyncEnable, value); });
}

void FgQorWrapperImpl::get_FG_EXSYNCON(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_EXSYNCON); }

void FgQorWrapperImpl::set_FG_EXSYNCPOLARITY(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::LowOnZero.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    // The design's ExSync polarity bit is set for low-active output.
    const uint32_t hwValue = value == 0 ? 1 : 0;
    commit(port_[port].cache_FG_EXSYNCPOLARITY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ExsyncPolarity, hwValue); });
}

void FgQorWrapperImpl::get_FG_EXSYNCPOLARITY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_EXSYNCPOLARITY);
}

// ---- line trigger input ---------------------------------------------------------

void FgQorWrapperImpl::set_FG_LINETRIGGERINSRC(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::LineTrgInSource.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERINSRC, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgInSourceA, designSource(value)); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERINSRC(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERINSRC);
}

void FgQorWrapperImpl::set_FG_LINETRIGGERINPOLARITY(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::HighOnZero.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERINPOLARITY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgInPolarity, value); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERINPOLARITY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERINPOLARITY);
}

void FgQorWrapperImpl::set_FG_LINETRIGGERDEBOUNCING(int port, double value, bool throwOnError) {
    if (!inRange(value, kDebounceMin, kDebounceMax)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERDEBOUNCING, value, throwOnError,
           [&] { writeDouble(port, DP_Trigger_Trigger_LineTrgDebouncingTime, value); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERDEBOUNCING(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERDEBOUNCING);
}

void FgQorWrapperImpl::set_FG_LINE_DOWNSCALE(int port, uint32_t value, bool throwOnError) {
    if (!inRange(value, kDownscaleMin, kDownscaleMax)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINE_DOWNSCALE, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgDownscaler, value); });
}

void FgQorWrapperImpl::get_FG_LINE_DOWNSCALE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINE_DOWNSCALE);
}

void FgQorWrapperImpl::set_FG_LINE_DOWNSCALEINIT(int port, uint32_t value, bool throwOnError) {
    if (!inRange(value, kDownscaleMin, kDownscaleMax)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINE_DOWNSCALEINIT, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgPhase, value); });
}

void FgQorWrapperImpl::get_FG_LINE_DOWNSCALEINIT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINE_DOWNSCALEINIT);
}

// ---- shaft encoder ------------------------------------------------------------------

void FgQorWrapperImpl::set_FG_SHAFTENCODERON(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    PortState& ps = port_[port];
    uint32_t hwValue = 0;  // encoder mode 0 switches the encoder off
    int access = kReadOnly;
    if (value == 1) {
        hwValue = ps.cache_FG_SHAFTENCODERMODE;
        // The encoder parameters follow the access the line trigger mode gave the switch.
        const RegisterInfo* r = info(port, FG_SHAFTENCODERON);
        access = r ? r->accessFlags : kReadWrite;
    }
    commit(ps.cache_FG_SHAFTENCODERON, value, throwOnError, [&] {
        writeU32(port, DP_Trigger_Trigger_EncoderABMode, hwValue);
        setAccessOf(*this, port, kShaftEncoderParams, access);
    });
}

void FgQorWrapperImpl::get_FG_SHAFTENCODERON(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SHAFTENCODERON);
}

void FgQorWrapperImpl::set_FG_SHAFTENCODERMODE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::ShaftEncoderMode.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    PortState& ps = port_[port];
    // With the encoder off the mode is only remembered; switching it on applies it.
    commit(ps.cache_FG_SHAFTENCODERMODE, value, throwOnError, [&] {
        if (ps.cache_FG_SHAFTENCODERON != 0) writeU32(port, DP_Trigger_Trigger_EncoderABMode, value);
    });
}

void FgQorWrapperImpl::get_FG_SHAFTENCODERMODE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SHAFTENCODERMODE);
}

void FgQorWrapperImpl::set_FG_SHAFTENCODERINSRC(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::ShaftEncoderInSource.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SHAFTENCODERINSRC, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgInSourceB, designSource(value)); });
}

void FgQorWrapperImpl::get_FG_SHAFTENCODERINSRC(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SHAFTENCODERINSRC);
}

void FgQorWrapperImpl::set_FG_SHAFTENCODERLEADING(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::ShaftEncoderLeadSource.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SHAFTENCODERLEADING, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_EncoderABLead, value); });
}

void FgQorWrapperImpl::get_FG_SHAFTENCODERLEADING(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SHAFTENCODERLEADING);
}

void FgQorWrapperImpl::set_FG_SHAFTENCODER_COMPENSATION_ENABLE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SHAFTENCODER_COMPENSATION_ENABLE, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_EncoderCompensation, value); });
}

void FgQorWrapperImpl::get_FG_SHAFTENCODER_COMPENSATION_ENABLE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SHAFTENCODER_COMPENSATION_ENABLE);
}

void FgQorWrapperImpl::set_FG_SHAFTENCODER_COMPENSATION_COUNT(int port, uint32_t value, bool throwOnError) {
    if (value > kCompensationCountMax) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SHAFTENCODER_COMPENSATION_COUNT, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_EncoderCompensationCount, value); });
}

// The count moves with the belt: it is read from the design, not the cache.
void FgQorWrapperImpl::get_FG_SHAFTENCODER_COMPENSATION_COUNT(int port, uint32_t* value) {
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    *value = readU32(port, DP_Trigger_Trigger_EncoderCompensationCount);
}

// ---- ExSync timing ----------------------------------------------------------------------

void FgQorWrapperImpl::set_FG_LINEPERIODE(int port, double value, bool throwOnError) {
    if (!inRange(value, kPeriodMin, kPeriodMax)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    PortState& ps = port_[port];
    // A cached exposure longer than the new period stays; it is checked when next written.
    commit(ps.cache_FG_LINEPERIODE, value, throwOnError, [&] {
        writeDouble(port, DP_Trigger_Trigger_ExsyncPeriod, value);
        if (RegisterInfo* r = info(port, FG_LINEEXPOSURE))
            r->u.dReg.to = exposureBound(ps.cache_FG_LINETRIGGERMODE, ps.cache_FG_LINEPERIODE);
    });
}

void FgQorWrapperImpl::get_FG_LINEPERIODE(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINEPERIODE);
}

void FgQorWrapperImpl::set_FG_LINEEXPOSURE(int port, double value, bool throwOnError) {
    PortState& ps = port_[port];
    // (Grabber-controlled is the mode the port starts in.)
    const double maximum = __builtin_expect(grabberControlled(ps.cache_FG_LINETRIGGERMODE), 1)
                               ? std::min(ps.cache_FG_LINEPERIODE, kExposureMax)
                               : kExposureMax;
    if (!(value >= kExposureMin && value <= maximum)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    // The exposure-maximum rule, from the mode and the period read once (the
    // design write does not change them): exposureBound() of the same two.
    const double bound = std::max(maximum, std::numeric_limits<double>::min());
    commit(ps.cache_FG_LINEEXPOSURE, value, throwOnError, [&] {
        writeDouble(port, DP_Trigger_Trigger_ExsyncExposure, value);
        if (RegisterInfo* r = info(port, FG_LINEEXPOSURE)) r->u.dReg.to = bound;
    });
}

void FgQorWrapperImpl::get_FG_LINEEXPOSURE(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINEEXPOSURE);
}

void FgQorWrapperImpl::set_FG_LINETRIGGERDELAY(int port, double value, bool throwOnError) {
    if (!inRange(value, kDelayMin, kDelayMax)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERDELAY, value, throwOnError,
           [&] { writeDouble(port, DP_Trigger_Trigger_Exsync2Delay, value); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERDELAY(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERDELAY);
}
