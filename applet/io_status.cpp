// Digital I/O, frame-buffer status, board monitor and applet identity.
//
// Everything here except the digital outputs is read only and read live from
// the design (or the host runtime) on every request; nothing but the last
// written output value is cached.
#include <cstring>

#include "AppletWrapper.h"

namespace {

const char kDesignFileName[] = "Orvindel.hap";

// The board monitor reports four channels (one per camera link): the
// registered size of both channel fields.
const unsigned kMonitorChannels = catalogue::FG_SYSTEMMONITOR_CHANNEL_CURRENT::size;
static_assert(catalogue::FG_SYSTEMMONITOR_CHANNEL_VOLTAGE::size == kMonitorChannels, "one channel count");

// Buffer status bits of the extended camera status word: 0 below 25 %,
// 1 from 25 %, 2 from 50 %, 3 from 75 %.
uint32_t bufferStatus(uint32_t fillLevel) {
    if (fillLevel < 25) return 0;
    if (fillLevel < 50) return 1;
    if (fillLevel < 75) return 2;
    return 3;
}

void requireOutput(const void* value) {
    if (value == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
}

// A field-access request on one of the four-channel monitor fields.
void checkChannelAccess(const FieldParameterAccess* access) {
    requireOutput(access);
    if (access->index >= kMonitorChannels || access->count > kMonitorChannels ||
        access->index + access->count > kMonitorChannels)
        throw int(FG_ERR_INVALID_PARAMETER);
}

void checkChannelElement(const FieldParameterDouble* element) {
    requireOutput(element);
    if (element->index >= kMonitorChannels) throw int(FG_ERR_INVALID_PARAMETER);
}

}  // namespace

// ---- digital outputs and inputs ----

// Both ports drive the same two outputs: bit 0 is output 3, bit 1 output 7.
// Each port remembers what was last written through it.
void FgQorWrapperImpl::set_FG_DIGIO_OUTPUT(int port, uint32_t value, bool throwOnError) {
    if (value > catalogue::FG_DIGIO_OUTPUT::to) {
        reject(FG_ERR_VALUE_OUT_OF_RANGE, throwOnError);
        return;
    }
    commit(port_[port].cache_FG_DIGIO_OUTPUT, value, throwOnError, [&] {
        uint32_t out3 = value & 1u;
        designWrite(qorShared(DS_Trigger_SetOut3_Mode), &out3, port, FG_PARAM_TYPE_UINT32_T);
        uint32_t out7 = (value >> 1) & 1u;
        designWrite(qorShared(DS_Trigger_SetOut7_Mode), &out7, port, FG_PARAM_TYPE_UINT32_T);
    });
}

void FgQorWrapperImpl::get_FG_DIGIO_OUTPUT(int port, uint32_t* value) {
    readCache(value, port_[port].cache_FG_DIGIO_OUTPUT);
}

void FgQorWrapperImpl::get_FG_DIGIO_INPUT(int port, uint32_t* value) {
    requireOutput(value);
    designRead(qorShared(DS_Trigger_InputStatus_Status), value, port, FG_PARAM_TYPE_UINT32_T);
}

// ---- frame buffer and camera status ----

void FgQorWrapperImpl::get_FG_OVERFLOW(int port, uint32_t* value) {
    requireOutput(value);
    *value = readU32(port, DP_Overflow_OverflowOccurred);
}

// Fill level of the port's frame buffer in percent: full (the registered
// maximum, 100) after an overflow, else the fuller of the two memory banks.
void FgQorWrapperImpl::get_FG_FILLLEVEL(int port, uint32_t* value) {
    requireOutput(value);
    if (readU32(port, DP_Overflow_OverflowOccurred) == 1) {
        *value = catalogue::FG_FILLLEVEL::to;
        return;
    }
    uint32_t bank0 = readU32(port, DP_Buffer_0_DRAM_A_0_FillLevel);
    uint32_t bank1 = readU32(port, DP_Buffer_0_DRAM_A_1_FillLevel);
    *value = bank0 > bank1 ? bank0 : bank1;
}

// Bit 0 is always set, bits 1 to 4 are never set in this design; bit 5 is the
// overflow flag and bits 6 and 7 the buffer status.
void FgQorWrapperImpl::get_FG_CAMSTATUS_EXTENDED(int port, uint32_t* value) {
    requireOutput(value);
    uint32_t fillLevel = 0;
    get_FG_FILLLEVEL(port, &fillLevel);
    uint32_t overflow = readU32(port, DP_Overflow_OverflowOccurred);
    *value = 1u | (overflow << 5) | (bufferStatus(fillLevel) << 6);
}

void FgQorWrapperImpl::get_FG_CAMSTATUS(int port, uint32_t* value) {
    requireOutput(value);
    uint32_t extended = 0;
    get_FG_CAMSTATUS_EXTENDED(port, &extended);
    *value = extended & 1u;
}

// The DMA status belongs to the host runtime itself.
void FgQorWrapperImpl::get_FG_DMASTATUS(int port, uint32_t* value) {
    requireOutput(value);
    if (int result = getUnwrappedParameterWithType(FG_DMASTATUS, value, port, FG_PARAM_TYPE_UINT32_T)) throw result;
}

// ---- applet identity ----

void FgQorWrapperImpl::get_FG_APPLET_ID(int port, char* value) {
    get_qor_param_Device1_Process0_AppletProperties_AppletUid(value, port, FG_PARAM_TYPE_CHAR_PTR, true);
}

void FgQorWrapperImpl::get_FG_APPLET_BUILD_TIME(int port, char* value) {
    get_qor_param_Device1_Process0_AppletProperties_BuildTime(value, port, FG_PARAM_TYPE_CHAR_PTR, true);
}

void FgQorWrapperImpl::get_FG_HAP_FILE(int, char* value) {
    requireOutput(value);
    std::memcpy(value, kDesignFileName, sizeof kDesignFileName);
}

// ---- board monitor: the design's values, unscaled ----

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_FPGA_TEMPERATURE(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_FpgaTemperature(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_FPGA_VCC_INT(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_FpgaVccInt(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_FPGA_VCC_AUX(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_FpgaVccAux(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_BOARD_POWER(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_BoardPower(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CXP_CHIP_TEMPERATURE(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_CxpChipTemperature(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_RAM_CHIP_TEMPERATURE(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_RamChipTemperature(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CXP_POWER_REGULATOR_TEMPERATURE(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_CxpPowerRegulatorTemperature(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_POWER_REGULATOR_TEMPERATURE(int port, double* value) {
    get_qor_param_Device1_Process0_BoardStatus_PowerRegulatorTemperature(value, port, FG_PARAM_TYPE_DOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_FPGA_DNA(int port, uint64_t* value) {
    get_qor_param_Device1_Process0_BoardStatus_FpgaDNA(value, port, FG_PARAM_TYPE_UINT64_T, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CHANNEL_CURRENT(int port, FieldParameterAccess* value) {
    checkChannelAccess(value);
    get_qor_param_Device1_Process0_BoardStatus_ChannelCurrent(value, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CHANNEL_CURRENT(int port, FieldParameterDouble* value) {
    checkChannelElement(value);
    get_qor_param_Device1_Process0_BoardStatus_ChannelCurrent(value, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CHANNEL_VOLTAGE(int port, FieldParameterAccess* value) {
    checkChannelAccess(value);
    get_qor_param_Device1_Process0_BoardStatus_ChannelVoltage(value, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, true);
}

void FgQorWrapperImpl::get_FG_SYSTEMMONITOR_CHANNEL_VOLTAGE(int port, FieldParameterDouble* value) {
    checkChannelElement(value);
    get_qor_param_Device1_Process0_BoardStatus_ChannelVoltage(value, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE, true);
}
