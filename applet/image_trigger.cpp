// Image trigger, flash output and software trigger of a camera port.
//
// The image trigger mode decides when a frame starts (free run, external
// trigger, gate, with multi-buffer variants); it also sets which trigger-input
// records are writable and re-applies the frame-cutting of the trigger block.
#include "AppletWrapper.h"

namespace {

using ImgTriggerMode = sdk::ImageTriggerModesWithMultiBuffer;

const uint32_t kDesignSoftwareSource = 4;

// The trigger-input records, writable only when the mode uses the trigger.
const int kTriggerInputParams[] = {FG_IMGTRIGGERINSRC, FG_IMGTRIGGERINPOLARITY, FG_IMGTRIGGERGATEDELAY,
                                   FG_IMGTRIGGERDEBOUNCING};

// SDK image trigger source to the design's source number: the software
// trigger is design source 4, the physical inputs 4..7 sit one above it.
inline uint32_t designSource(uint32_t sdkSource) {
    if (sdkSource == sdk::value(sdk::ImageTrgInSource::TRGINSOFTWARE)) return kDesignSoftwareSource;
    return sdkSource < kDesignSoftwareSource ? sdkSource : sdkSource + 1;
}

// The design's trigger mode: 0 free run, 1 triggered, 2 gated.
inline uint32_t designMode(uint32_t mode) {
    switch (mode) {
    case sdk::value(ImgTriggerMode::ASYNC_TRIGGER):
    case sdk::value(ImgTriggerMode::ASYNC_TRIGGER_MULTIFRAME): return 1;
    case sdk::value(ImgTriggerMode::ASYNC_GATED):
    case sdk::value(ImgTriggerMode::ASYNC_GATED_MULTIFRAME): return 2;
    default: return 0;
    }
}

}  // namespace

// ---- mode ---------------------------------------------------------------------------

void FgQorWrapperImpl::set_FG_IMGTRIGGERMODE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::ImageTriggerModesWithMultiBuffer.contains(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    PortState& ps = port_[port];
    commit(ps.cache_FG_IMGTRIGGERMODE, value, throwOnError, [&] {
        // The access changes stay even when a write below fails.
        const int accessibility =
            value == sdk::value(ImgTriggerMode::FREE_RUN) ? FG_PARAM_ACCESS_READ_ONLY : FG_PARAM_ACCESS_READ_WRITE;
        for (int id : kTriggerInputParams) setAccess(port, id, accessibility);
        setAccess(port, FG_IMGTRIGGER_ASYNC_HEIGHT,
                  value == sdk::value(ImgTriggerMode::ASYNC_TRIGGER_MULTIFRAME) ? FG_PARAM_ACCESS_READ_WRITE
                                                                                : FG_PARAM_ACCESS_READ_ONLY);

        writeU32(port, DP_Trigger_Trigger_ImgTriggerMode, designMode(value));
        const uint32_t maxGateHeight = value == sdk::value(ImgTriggerMode::ASYNC_GATED_MULTIFRAME) ? 1 : 0;
        writeU32(port, DP_Trigger_Trigger_MaxGatedHeight, maxGateHeight);
        setTriggerHeightAndOffset(port, ps.cache_FG_YOFFSET, ps.cache_FG_HEIGHT, value);
    });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERMODE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERMODE);
}

// ---- enables ---------------------------------------------------------------------------

void FgQorWrapperImpl::set_FG_IMGTRIGGERON(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_IMGTRIGGERON, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ImgTriggerEnable, value); });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERON(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERON);
}

void FgQorWrapperImpl::set_FG_FLASHON(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::OnOff.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_FLASHON, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_FlashEnable, value); });
}

void FgQorWrapperImpl::get_FG_FLASHON(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_FLASHON); }

void FgQorWrapperImpl::set_FG_FLASH_POLARITY(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::LowOnZero.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    // The design's flash polarity bit is set for a low-active output.
    const uint32_t hwValue = value == sdk::value(sdk::LowOnZero::FG_LOW) ? 1 : 0;
    commit(port_[port].cache_FG_FLASH_POLARITY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_FlashPolarity, hwValue); });
}

void FgQorWrapperImpl::get_FG_FLASH_POLARITY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_FLASH_POLARITY);
}

void FgQorWrapperImpl::set_FG_STROBEPULSEDELAY(int port, uint32_t value, bool throwOnError) {
    if (value > catalogue::FG_STROBEPULSEDELAY::to) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_STROBEPULSEDELAY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_FlashDelay, value); });
}

void FgQorWrapperImpl::get_FG_STROBEPULSEDELAY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_STROBEPULSEDELAY);
}

// ---- trigger input ---------------------------------------------------------------------

void FgQorWrapperImpl::set_FG_IMGTRIGGERINSRC(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::ImageTrgInSource.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_IMGTRIGGERINSRC, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ImgTrgInSource, designSource(value)); });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERINSRC(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERINSRC);
}

void FgQorWrapperImpl::set_FG_IMGTRIGGERINPOLARITY(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::HighOnZero.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_IMGTRIGGERINPOLARITY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ImgTrgInPolarity, value); });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERINPOLARITY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERINPOLARITY);
}

void FgQorWrapperImpl::set_FG_IMGTRIGGERGATEDELAY(int port, uint32_t value, bool throwOnError) {
    if (value > catalogue::FG_IMGTRIGGERGATEDELAY::to) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_IMGTRIGGERGATEDELAY, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_ImgTrgDelay, value); });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERGATEDELAY(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERGATEDELAY);
}

void FgQorWrapperImpl::set_FG_IMGTRIGGERDEBOUNCING(int port, double value, bool throwOnError) {
    if (!catalogue::inRange<catalogue::FG_IMGTRIGGERDEBOUNCING>(value))
        return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_IMGTRIGGERDEBOUNCING, value, throwOnError,
           [&] { writeDouble(port, DP_Trigger_Trigger_ImgTrgDebouncingTime, value); });
}

void FgQorWrapperImpl::get_FG_IMGTRIGGERDEBOUNCING(int port, double* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGERDEBOUNCING);
}

// The busy flag changes while a frame is acquired: read from the design.
void FgQorWrapperImpl::get_FG_IMGTRIGGER_IS_BUSY(int port, uint32_t* value) {
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
    *value = readU32(port, DP_Trigger_Trigger_ImgTrgIsBusy);
}

// ---- software trigger ----------------------------------------------------------------------

// A pulse: every accepted write reaches the design, also when the cached
// value is already 1.
void FgQorWrapperImpl::set_FG_SENDSOFTWARETRIGGER(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::Apply.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SENDSOFTWARETRIGGER, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_SoftwareTrgPulse, value); });
}

void FgQorWrapperImpl::get_FG_SENDSOFTWARETRIGGER(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SENDSOFTWARETRIGGER);
}

void FgQorWrapperImpl::set_FG_SETSOFTWARETRIGGER(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::LowOnZero.contains(value)) return reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
    commit(port_[port].cache_FG_SETSOFTWARETRIGGER, value, throwOnError,
           [&] { writeU32(port, DP_Trigger_Trigger_SoftwareTrgInput, value); });
}

void FgQorWrapperImpl::get_FG_SETSOFTWARETRIGGER(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_SETSOFTWARETRIGGER);
}
