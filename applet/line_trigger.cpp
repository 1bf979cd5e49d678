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

// The accepted ranges are the registered ones (catalogue.def), on the 8 ns
// grid of the trigger block, except the upper exposure limit: the registry
// advertises 1048 us, the exposure counter takes up to 131071 steps.
const double kExposureMax = 1048.568;

using LineTriggerMode = sdk::LineTriggerModes;

// SDK input source 0..7 to the design's source number: design source 4 is
// the software trigger, so the physical inputs 4..7 sit one above.
inline uint32_t designSource(uint32_t sdkSource) { return sdkSource < 4 ? sdkSource : sdkSource + 1; }

inline bool grabberControlled(uint32_t mode) {
    return mode == sdk::value(LineTriggerMode::GRABBER_CONTROLLED) ||
           mode == sdk::value(LineTriggerMode::GRABBER_CONTROLLED_GATED);
}

// The parameters whose access follows the line trigger mode, and those that
// follow the shaft encoder switch.
const int kExternalTriggerParams[] = {FG_LINETRIGGERINSRC, FG_LINETRIGGERINPOLARITY, FG_LINETRIGGERDEBOUNCING,
                                      FG_LINE_DOWNSCALE,   FG_LINE_DOWNSCALEINIT,    FG_SHAFTENCODERON};
const int kShaftEncoderParams[] = {FG_SHAFTENCODERMODE, FG_SHAFTENCODERINSRC, FG_SHAFTENCODERLEADING,
                                   FG_SHAFTENCODER_COMPENSATION_ENABLE, FG_SHAFTENCODER_COMPENSATION_COUNT};

// Upper bound of the exposure record: in the grabber-controlled modes the
// period (never above the exposure limit, never zero), else the limit.
double exposureBound(uint32_t mode, double period) {
    if (grabberControlled(mode)) return std::max(std::min(period, kExposureMax), std::numeric_limits<double>::min());
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
    int rwExtern = FG_PARAM_ACCESS_READ_ONLY;
    switch (value) {
    case sdk::value(LineTriggerMode::GRABBER_CONTROLLED): hwValue = 0; break;
    case sdk::value(LineTriggerMode::ASYNC_TRIGGER):
        hwValue = 1;
        rwExtern = FG_PARAM_ACCESS_READ_WRITE;
        break;
    case sdk::value(LineTriggerMode::GRABBER_CONTROLLED_GATED): hwValue = 2; break;
    case sdk::value(LineTriggerMode::ASYNC_GATED):
        hwValue = 3;
        rwExtern = FG_PARAM_ACCESS_READ_WRITE;
        break;
    }

    commit(ps.cache_FG_LINETRIGGERMODE, value, throwOnError, [&] {
        // The access changes stay even when the design write below fails.
        setAccessOf(*this, port, kExternalTriggerParams, rwExtern);
        if (ps.cache_FG_SHAFTENCODERON == sdk::value(sdk::OnOff::FG_ON))
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
    const uint32_t hwValue = value == sdk::value(sdk::LowOnZero::FG_LOW) ? 1 : 0;
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
    if (!catalogue::inRange<catalogue::FG_LINETRIGGERDEBOUNCING>(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERDEBOUNCING, value, throwOnError,
           [&] { writeDouble(port, DP_Trigger_Trigger_LineTrgDebouncingTime, value); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERDEBOUNCING(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERDEBOUNCING);
}

void FgQorWrapperImpl::set_FG_LINE_DOWNSCALE(int port, uint32_t value, bool throwOnError) {
    if (!catalogue::inRange<catalogue::FG_LINE_DOWNSCALE>(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINE_DOWNSCALE, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_LineTrgDownscaler, value); });
}

void FgQorWrapperImpl::get_FG_LINE_DOWNSCALE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_LINE_DOWNSCALE);
}

void FgQorWrapperImpl::set_FG_LINE_DOWNSCALEINIT(int port, uint32_t value, bool throwOnError) {
    if (!catalogue::inRange<catalogue::FG_LINE_DOWNSCALEINIT>(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
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
    int access = FG_PARAM_ACCESS_READ_ONLY;
    if (value == sdk::value(sdk::OnOff::FG_ON)) {
        hwValue = ps.cache_FG_SHAFTENCODERMODE;
        // The encoder parameters follow the access the line trigger mode gave the switch.
        const RegisterInfo* r = info(port, FG_SHAFTENCODERON);
        access = r ? r->accessFlags : FG_PARAM_ACCESS_READ_WRITE;
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
        if (ps.cache_FG_SHAFTENCODERON != sdk::value(sdk::OnOff::FG_OFF))
            writeU32(port, DP_Trigger_Trigger_EncoderABMode, value);
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
    if (value > catalogue::FG_SHAFTENCODER_COMPENSATION_COUNT::to)
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
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
    if (!catalogue::inRange<catalogue::FG_LINEPERIODE>(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
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
    if (!(value >= catalogue::FG_LINEEXPOSURE::from && value <= maximum))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
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
    if (!catalogue::inRange<catalogue::FG_LINETRIGGERDELAY>(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_LINETRIGGERDELAY, value, throwOnError,
           [&] { writeDouble(port, DP_Trigger_Trigger_Exsync2Delay, value); });
}

void FgQorWrapperImpl::get_FG_LINETRIGGERDELAY(int port, double* value) {
    readCache(value, port_[port].cache_FG_LINETRIGGERDELAY);
}
