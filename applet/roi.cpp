// Region of interest of a camera port: width, height, x- and y-offset, x
// mirroring and the frame height of the multi-buffer trigger mode. The setters
// size the two image buffers, the line-mirror memories and the frame cutting
// of the trigger block; width and x-offset narrow each other's registered
// maximum so that width + x-offset never exceeds the line memory.
#include "AppletWrapper.h"

namespace {

// Pixels of one line memory, the registered width maximum: width + x-offset
// never exceed it.
const uint32_t kLineMemory = catalogue::FG_WIDTH::to;
// Width and x-offset are counted in units of 16 pixels by the design, the
// registered step of both.
const uint32_t kPixelGranule = catalogue::FG_WIDTH::steps;
static_assert(catalogue::FG_XOFFSET::steps == kPixelGranule, "width and x-offset share the design's unit");

// The image trigger modes decide the frame length of the trigger block.
using ImgTriggerMode = sdk::ImageTriggerModesWithMultiBuffer;
// Frame length of the gated multi-buffer mode: the gate ends the frame.
const uint32_t kGatedMultiFrameLength = 65535;

}  // namespace

// ---- width and x-offset ----

void FgQorWrapperImpl::set_FG_WIDTH(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (value < catalogue::FG_WIDTH::from || value > kLineMemory - s.cache_FG_XOFFSET) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    if ((value & (kPixelGranule - 1)) != 0) {
        reject(FG_ERR_NOT_MULTIPLE_OF_16, throwOnError);
        return;
    }
    commit(s.cache_FG_WIDTH, value, throwOnError, [&] {
        const uint32_t granules = value / kPixelGranule;
        writeU32(port, DP_Buffer_0_DRAM_A_0_XLength, value);
        writeU32(port, DP_Buffer_0_DRAM_A_1_XLength, value);
        writeU32(port, DP_LineMirrorX_Memory_Mem0_XLength, granules);
        writeU32(port, DP_LineMirrorX_Memory_Mem1_XLength, granules);
        writeU32(port, DP_LineMirrorX_Memory_Mem2_XLength, granules);
        writeU32(port, DP_LineMirrorX_Memory_Mem3_XLength, granules);
        writeU32(port, DP_LineMirrorX_AddrGen_LineWidthMinus1_Value, granules - 1);
        // Only once the design holds the new width may the offset grow into the rest.
        if (RegisterInfo* r = info(port, FG_XOFFSET)) r->u.uiReg.to = kLineMemory - value;
    });
}

void FgQorWrapperImpl::set_FG_XOFFSET(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (value > kLineMemory - s.cache_FG_WIDTH) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    if ((value & (kPixelGranule - 1)) != 0) {
        reject(FG_ERR_NOT_MULTIPLE_OF_16, throwOnError);
        return;
    }
    commit(s.cache_FG_XOFFSET, value, throwOnError, [&] {
        writeU32(port, DP_Buffer_0_DRAM_A_0_XOffset, value);
        writeU32(port, DP_Buffer_0_DRAM_A_1_XOffset, value);
        if (RegisterInfo* r = info(port, FG_WIDTH)) r->u.uiReg.to = kLineMemory - value;
    });
}

// ---- height, y-offset and the frame cutting of the trigger block ----

void FgQorWrapperImpl::set_FG_HEIGHT(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (!catalogue::inRange<catalogue::FG_HEIGHT>(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(s.cache_FG_HEIGHT, value, throwOnError, [&] {
        writeU32(port, DP_Buffer_0_DRAM_A_0_YLength, value);
        writeU32(port, DP_Buffer_0_DRAM_A_1_YLength, value);
        setTriggerHeightAndOffset(port, s.cache_FG_YOFFSET, value, s.cache_FG_IMGTRIGGERMODE);
    });
}

void FgQorWrapperImpl::set_FG_YOFFSET(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (value > catalogue::FG_YOFFSET::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(s.cache_FG_YOFFSET, value, throwOnError,
           [&] { setTriggerHeightAndOffset(port, value, s.cache_FG_HEIGHT, s.cache_FG_IMGTRIGGERMODE); });
}

void FgQorWrapperImpl::setTriggerHeightAndOffset(int port, uint32_t yOffset, uint32_t height, uint32_t imgTriggerMode) {
    uint32_t triggerHeight;
    switch (imgTriggerMode) {
    case sdk::value(ImgTriggerMode::FREE_RUN):
    case sdk::value(ImgTriggerMode::ASYNC_TRIGGER):
    case sdk::value(ImgTriggerMode::ASYNC_GATED): triggerHeight = height; break;
    case sdk::value(ImgTriggerMode::ASYNC_GATED_MULTIFRAME): triggerHeight = kGatedMultiFrameLength; break;
    case sdk::value(ImgTriggerMode::ASYNC_TRIGGER_MULTIFRAME):
        triggerHeight = port_[port].cache_FG_IMGTRIGGER_ASYNC_HEIGHT;
        break;
    default: throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    }
    // The y-offset is held at 0 while the frame length changes.
    writeU32(port, DP_Trigger_Trigger_YOffset, 0);
    writeU32(port, DP_Trigger_Trigger_YLength, triggerHeight);
    writeU32(port, DP_Trigger_Trigger_YOffset, yOffset);
    writeU32(port, DP_ImageHeight_ImageHeight, height);
}

void FgQorWrapperImpl::set_FG_IMGTRIGGER_ASYNC_HEIGHT(int port, uint32_t value, bool throwOnError) {
    PortState& s = port_[port];
    if (!catalogue::inRange<catalogue::FG_IMGTRIGGER_ASYNC_HEIGHT>(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(s.cache_FG_IMGTRIGGER_ASYNC_HEIGHT, value, throwOnError, [&] {
        // In the other modes the value waits in the cache until the multi-buffer trigger mode is chosen.
        if (s.cache_FG_IMGTRIGGERMODE != sdk::value(ImgTriggerMode::ASYNC_TRIGGER_MULTIFRAME)) return;
        writeU32(port, DP_Trigger_Trigger_YOffset, 0);
        writeU32(port, DP_Trigger_Trigger_YLength, value);
        writeU32(port, DP_Trigger_Trigger_YOffset, s.cache_FG_YOFFSET);
    });
}

// ---- mirroring ----

void FgQorWrapperImpl::set_FG_REVERSE_X(int port, uint32_t value, bool throwOnError) {
    if (!enum_tables::FalseTrue.contains(value)) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    const uint32_t mirror = value == sdk::value(sdk::FalseTrue::FG_TRUE) ? 1u : 0u;
    commit(port_[port].cache_FG_REVERSE_X, value, throwOnError,
           [&] { writeU32(port, DP_LineMirrorX_Enable_SelectSource, mirror); });
}

// ---- reads: the last accepted values ----

void FgQorWrapperImpl::get_FG_WIDTH(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_WIDTH); }
void FgQorWrapperImpl::get_FG_HEIGHT(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_HEIGHT); }
void FgQorWrapperImpl::get_FG_XOFFSET(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_XOFFSET); }
void FgQorWrapperImpl::get_FG_YOFFSET(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_YOFFSET); }
void FgQorWrapperImpl::get_FG_REVERSE_X(int port, uint32_t* value) { readCache(value, port_[port].cache_FG_REVERSE_X); }
void FgQorWrapperImpl::get_FG_IMGTRIGGER_ASYNC_HEIGHT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_IMGTRIGGER_ASYNC_HEIGHT);
}
