// Reduced host runtimes for failure tests. Each build of this file is a
// library named libtalrun5.so in its own directory under hostvariants/:
//
//   noinit/          the 27 entries an applet binds, but neither
//                    Fg_InitHandleSlaveAware nor Fg_InitHandle
//   initonly/        only Fg_InitHandle (returns a valid board handle),
//                    Fg_getLastErrorNumber and Fg_FreeGrabber
//   nullinit/        the 27 entries and Fg_InitHandleSlaveAware, which returns
//                    NULL; Fg_getLastErrorNumber(NULL) answers -1234
//   nullinit_noerr/  as nullinit, without Fg_getLastErrorNumber
//
// The stubs answer FG_ERR_NOT_AVAILABLE (NULL / 0 for pointers and counts).

#include <cstdlib>

#include "fg_platform.h"
#include "platform_export.h"

#if !defined(VARIANT_NOINIT) && !defined(VARIANT_INITONLY) && !defined(VARIANT_NULLINIT) && \
    !defined(VARIANT_NULLINIT_NOERR)
#error "define the host variant to build"
#endif

#if defined(VARIANT_NULLINIT_NOERR)
#define VARIANT_NULLINIT 1
#define VARIANT_NO_ERROR_FUNCTION 1
#endif

#if defined(VARIANT_NOINIT) || defined(VARIANT_NULLINIT)
#define VARIANT_BINDING_TABLE 1
#endif

extern "C" {

#if defined(VARIANT_NULLINIT)
PLATFORM_EXPORT Fg_Struct* Fg_InitHandleSlaveAware(const char*, QORdevice*, fpga_design*, int) { return nullptr; }
#endif

#if defined(VARIANT_INITONLY)
PLATFORM_EXPORT Fg_Struct* Fg_InitHandle(const char*, QORdevice*, fpga_design*) {
    Fg_Struct* fg = static_cast<Fg_Struct*>(std::calloc(1, sizeof(Fg_Struct)));
    return fg;
}

PLATFORM_EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    if (fg == nullptr) return FG_ERR_INVALID_BOARD;
    std::free(fg);
    return FG_OK;
}

PLATFORM_EXPORT int Fg_getLastErrorNumber(Fg_Struct*) { return FG_OK; }
#endif

#if defined(VARIANT_BINDING_TABLE)
PLATFORM_EXPORT int Fg_getAppletId(Fg_Struct*, const char*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_setParameter(Fg_Struct*, int, const void*, unsigned int) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_setParameterWithType(Fg_Struct*, int, const void*, unsigned int, FgParamTypes) {
    return FG_ERR_NOT_AVAILABLE;
}
PLATFORM_EXPORT int Fg_getParameter(Fg_Struct*, int, void*, unsigned int) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_getParameterWithType(Fg_Struct*, int, void*, unsigned int, FgParamTypes) {
    return FG_ERR_NOT_AVAILABLE;
}
PLATFORM_EXPORT int Fg_saveConfig(Fg_Struct*, const char*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_loadConfig(Fg_Struct*, const char*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_Acquire(Fg_Struct*, int, frameindex_t) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_stopAcquire(Fg_Struct*, int) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct*, frameindex_t, int, int, dma_mem*) {
    return FG_ERR_NOT_AVAILABLE;
}
PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct*, int, dma_mem*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_FreeGrabber(Fg_Struct*) { return FG_ERR_NOT_AVAILABLE; }
#if !defined(VARIANT_NO_ERROR_FUNCTION)
#if defined(VARIANT_NULLINIT)
PLATFORM_EXPORT int Fg_getLastErrorNumber(Fg_Struct* fg) { return fg == nullptr ? -1234 : FG_ERR_NOT_AVAILABLE; }
#else
PLATFORM_EXPORT int Fg_getLastErrorNumber(Fg_Struct*) { return FG_ERR_NOT_AVAILABLE; }
#endif
#endif
PLATFORM_EXPORT frameindex_t Fg_getStatusEx(Fg_Struct*, int, frameindex_t, unsigned int, dma_mem*) {
    return FG_ERR_NOT_AVAILABLE;
}
PLATFORM_EXPORT int Fg_AcquireEx(Fg_Struct*, int, frameindex_t, int, dma_mem*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_stopAcquireEx(Fg_Struct*, int, dma_mem*, int) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct*, int) { return nullptr; }
PLATFORM_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct*, int, int) { return nullptr; }
PLATFORM_EXPORT int Fg_FreeShading(Fg_Struct*, ShadingMaster*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_SetSubValueLine(Fg_Struct*, ShadingMaster*, int, int, float) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_SetMultValueLine(Fg_Struct*, ShadingMaster*, int, int, float) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_SetFixedPatternNoiseLine(Fg_Struct*, ShadingMaster*, int, int, int) {
    return FG_ERR_NOT_AVAILABLE;
}
PLATFORM_EXPORT int Shad_GetMaxLine(Fg_Struct*, ShadingMaster*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_GetAccess(Fg_Struct*, ShadingMaster*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_FreeAccess(Fg_Struct*, ShadingMaster*) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Shad_WriteActLine(Fg_Struct*, ShadingMaster*, int) { return FG_ERR_NOT_AVAILABLE; }
PLATFORM_EXPORT int Fg_getParameterIdByName(Fg_Struct*, const char*) { return 0; }
#endif

}  // extern "C"
