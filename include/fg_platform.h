/*
 * The board platform as an applet sees it: the design runtime and the
 * register I/O runtime (linked), and the host runtime (opened by name with the
 * dynamic loader, every entry taken with dlsym). A platform that provides
 * these names with these signatures can run any applet built against them.
 */
#ifndef FG_PLATFORM_H
#define FG_PLATFORM_H

#include "fg_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- design runtime ---------------------------------------------------- */

/* One event of a loaded design. Further members may follow. */
typedef struct HapEvent {
    const char* name;
    int kind;
} HapEvent;

fpga_design* HapLoadDesignFromBuffer(const void* data, uint32_t size, int flags);
fpga_design* HapLoadHapFileWithType(const char* file, int type, int flags);
void HapUnloadHapFile(fpga_design* design);
const HapEvent* HapGetEvent(fpga_design* design, int index);
int HapGetNrOfRegister(fpga_design* design);
const char* HapGetRegisterName(fpga_design* design, int position); /* positions 1..N */
int HapGetRegisterByName(fpga_design* design, const char* name);
int HapGetRegisterBitRange(fpga_design* design, int reg);
int HapGetRegisterDirection(fpga_design* design, int reg); /* 0: read-only */

/* ---- register I/O runtime ---------------------------------------------- */

int TervikRegisterWrite(QORdevice* board, int reg, uint64_t value);
int TervikRegisterRead(QORdevice* board, int reg, uint64_t* value);

/* ---- host runtime ("libtalrun5.so") ------------------------------------ */

#define FG_HOST_RUNTIME_LIBRARY "libtalrun5.so"

/* Entries an applet takes from the host runtime. */
typedef Fg_Struct* (*Fg_InitHandleSlaveAware_t)(const char* hapName, QORdevice* hw, fpga_design* design, int flags);
typedef Fg_Struct* (*Fg_InitHandle_t)(const char* hapName, QORdevice* hw, fpga_design* design);
typedef int (*Fg_getParameterIdByName_t)(Fg_Struct* fg, const char* name);
typedef int (*Fg_getLastErrorNumber_t)(Fg_Struct* fg);
typedef int (*Fg_setParameterWithType_t)(Fg_Struct* fg, int id, const void* value, unsigned int dma, FgParamTypes type);
typedef int (*Fg_getParameterWithType_t)(Fg_Struct* fg, int id, void* value, unsigned int dma, FgParamTypes type);
typedef int (*Fg_setParameter_t)(Fg_Struct* fg, int id, const void* value, unsigned int dma);
typedef int (*Fg_getParameter_t)(Fg_Struct* fg, int id, void* value, unsigned int dma);
typedef RegisterInfo* (*Fg_getParameterInfo_t)(Fg_Struct* fg, int port);
typedef int (*Fg_getAppletId_t)(Fg_Struct* fg, const char* appletName);
typedef int (*Fg_saveConfig_t)(Fg_Struct* fg, const char* file);
typedef int (*Fg_loadConfig_t)(Fg_Struct* fg, const char* file);
typedef int (*Fg_Acquire_t)(Fg_Struct* fg, int camPort, frameindex_t picCount);
typedef int (*Fg_stopAcquire_t)(Fg_Struct* fg, int camPort);
typedef frameindex_t (*Fg_getLastPicNumberBlockingEx_t)(Fg_Struct* fg, frameindex_t picNr, int camPort, int timeout,
                                                        dma_mem* mem);
typedef frameindex_t (*Fg_getLastPicNumberEx_t)(Fg_Struct* fg, int camPort, dma_mem* mem);
typedef int (*Fg_FreeGrabber_t)(Fg_Struct* fg);
typedef frameindex_t (*Fg_getStatusEx_t)(Fg_Struct* fg, int param, frameindex_t data, unsigned int dma, dma_mem* mem);
typedef int (*Fg_AcquireEx_t)(Fg_Struct* fg, int camPort, frameindex_t picCount, int flag, dma_mem* mem);
typedef int (*Fg_stopAcquireEx_t)(Fg_Struct* fg, int camPort, dma_mem* mem, int flag);
typedef ShadingMaster* (*Fg_AllocShading_t)(Fg_Struct* fg, int set, int port);
typedef int (*Fg_FreeShading_t)(Fg_Struct* fg, ShadingMaster* sm);
typedef int (*Shad_SetSubValueLine_t)(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, float sub);
typedef int (*Shad_SetMultValueLine_t)(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, float mult);
typedef int (*Shad_SetFixedPatternNoiseLine_t)(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, int on);
typedef int (*Shad_GetMaxLine_t)(Fg_Struct* fg, ShadingMaster* sm);
typedef int (*Shad_GetAccess_t)(Fg_Struct* fg, ShadingMaster* sm);
typedef int (*Shad_FreeAccess_t)(Fg_Struct* fg, ShadingMaster* sm);
typedef int (*Shad_WriteActLine_t)(Fg_Struct* fg, ShadingMaster* sm, int line);

/* The host-level parameters the host runtime answers itself. */
enum FgHostParameters {
    FG_HOST_TIMEOUT = 600,
    FG_HOST_APC_STOP_TIMEOUT = 601,
    FG_HOST_NR_OF_DMAS = 3050,
    FG_HOST_NR_OF_CAMS = 3060,
    FG_HOST_NR_OF_PROCESSES = 3070,
    FG_HOST_DMA_PORT = 3080,
    FG_HOST_CAM_PORT = 3090,
    FG_HOST_TRANSFER_LEN = 5210,
    FG_HOST_DMASTATUS = 24092
};

/* The design-file type code and flags an applet passes to the design runtime. */
#define HAP_FILE_TYPE_DEFAULT 2647

#ifdef __cplusplus
}
#endif

#endif /* FG_PLATFORM_H */
