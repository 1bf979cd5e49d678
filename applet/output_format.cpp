// What the camera delivers and what the DMA channel hands to the application:
// the camera's pixel format, the CoaXPress trigger packet mode, the output
// format and bit alignment, the image timeout of the host runtime and the
// image selector (one image out of every `period`, the one at `phase`).
#include "AppletWrapper.h"

namespace {

// CoaXPress pixel format codes: the second byte names the colour class
// (1: monochrome), the low four bits the depth. The 12-bit processing path
// selects its input conversion by depth: Mono8 0, Mono10 1, Mono12 2.
uint32_t pixelFormatSelector(uint32_t code) {
    const uint32_t monochrome = 0x01;
    if (((code >> 8) & 0xFF) != monochrome) throw int(FG_ERR_NO_DESCRIPTION);
    switch (code & 0xF) {
    case 1: return 0;
    case 2: return 1;
    case 3: return 2;
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

// The output format selector of the design for an FG_FORMAT value.
uint32_t outputFormatSelector(uint32_t format) {
    switch (format) {
    case sdk::value(sdk::FormatGray8_10_12_16::FG_GRAY16): return 0;
    case sdk::value(sdk::FormatGray8_10_12_16::FG_GRAY): return 1;
    case sdk::value(sdk::FormatGray8_10_12_16::FG_GRAY10): return 2;
    case sdk::value(sdk::FormatGray8_10_12_16::FG_GRAY12): return 3;
    default: throw int(FG_ERR_NO_DESCRIPTION);
    }
}

}  // namespace

void FgQorWrapperImpl::set_FG_PIXELFORMAT(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::cxp_pixel_format_mono8_10_12.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_PIXELFORMAT, value, throwOnError,
           [&] { writeU32(port, DP_12BitSelector_PixelFormat_SelectSource, pixelFormatSelector(value)); });
}

void FgQorWrapperImpl::set_FG_CXP_TRIGGER_PACKET_MODE(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::CXPTriggerPacketMode.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_CXP_TRIGGER_PACKET_MODE, value, throwOnError, [&] {
        uint32_t mode;
        switch (value) {
        case sdk::value(sdk::CXPTriggerPacketMode::FG_STANDARD): mode = 0; break;
        case sdk::value(sdk::CXPTriggerPacketMode::FG_RISING_EDGE_ONLY): mode = 1; break;
        default: throw int(FG_ERR_VALUE_OUT_OF_RANGE);
        }
        writeU32(port, DP_Camera_Camera_TxTriggerPacketMode, mode);
    });
}

void FgQorWrapperImpl::set_FG_FORMAT(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::FormatGray8_10_12_16.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_FORMAT, value, throwOnError,
           [&] { writeU32(port, DP_OutputFormat_FG_FORMAT_SelectSource, outputFormatSelector(value)); });
}

void FgQorWrapperImpl::set_FG_BITALIGNMENT(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::AlignmentModesBoth.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_BITALIGNMENT, value, throwOnError,
           [&] { writeU32(port, DP_OutputFormat_FG_BITALIGNMENT_Value, value); });
}

// The timeout belongs to the host runtime: checked and cached here, then
// handed to the host's own FG_TIMEOUT of the port's DMA channel.
void FgQorWrapperImpl::set_FG_TIMEOUT(int port, uint32_t value, bool throwOnError) {
    if (!catalogue::inRange<catalogue::FG_TIMEOUT>(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_TIMEOUT, value, throwOnError, [&] {
        const uint32_t timeout = value;
        if (int result = setUnwrappedParameterWithType(FG_TIMEOUT, &timeout, port, FG_PARAM_TYPE_UINT32_T))
            throw result;
    });
}

// The phase must stay below the period: a period is refused while the cached
// phase does not fit it, a phase while it does not fit the cached period.
void FgQorWrapperImpl::set_FG_IMG_SELECT_PERIOD(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (!catalogue::inRange<catalogue::FG_IMG_SELECT_PERIOD>(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(s.cache_FG_IMG_SELECT_PERIOD, value, throwOnError, [&] {
        if (s.cache_FG_IMG_SELECT >= value) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
        writeU32(port, DP_ImageSelector_FG_IMG_SELECT_PERIOD_Divisor, value);
    });
}

void FgQorWrapperImpl::set_FG_IMG_SELECT(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (value > catalogue::FG_IMG_SELECT::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(s.cache_FG_IMG_SELECT, value, throwOnError, [&] {
        if (s.cache_FG_IMG_SELECT_PERIOD <= value) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
        writeU32(port, DP_ImageSelector_FG_IMG_SELECT_PHASE_Number, value);
    });
}

// ---- reads: the last accepted values ----

void FgQorWrapperImpl::get_FG_PIXELFORMAT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_PIXELFORMAT);
}
void FgQorWrapperImpl::get_FG_CXP_TRIGGER_PACKET_MODE(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_CXP_TRIGGER_PACKET_MODE);
}
void FgQorWrapperImpl::get_FG_TIMEOUT(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_TIMEOUT); }
void FgQorWrapperImpl::get_FG_IMG_SELECT_PERIOD(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMG_SELECT_PERIOD);
}
void FgQorWrapperImpl::get_FG_IMG_SELECT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMG_SELECT);
}
void FgQorWrapperImpl::get_FG_FORMAT(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_FORMAT); }
void FgQorWrapperImpl::get_FG_BITALIGNMENT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_BITALIGNMENT);
}
