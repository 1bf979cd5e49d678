// A host runtime that does no work, for the benchmarks only: every entry an
// applet binds from "libtalrun5.so", each answering success at once. Board
// initialisation hands out a distinct board handle, identity look-ups answer
// distinct identities, reads write a value of the requested type (zero).
// With it, a benchmark's floor is the least the host can cost, and what is
// left above the floor is the applet's own work.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "fg_platform.h"
#include "platform_export.h"

namespace {

// A board handle: the public part, and the next identity to hand out.
struct NullBoard {
    Fg_Struct fg;
    int nextId;
};

// Design identities start here, clear of the public numbering.
const int kFirstDesignId = 5000000;

size_t scalarSize(FgParamTypes type) {
    switch (type) {
    case FG_PARAM_TYPE_INT32_T:
    case FG_PARAM_TYPE_UINT32_T: return 4;
    case FG_PARAM_TYPE_INT64_T:
    case FG_PARAM_TYPE_UINT64_T:
    case FG_PARAM_TYPE_DOUBLE: return 8;
    case FG_PARAM_TYPE_SIZE_T: return sizeof(size_t);
    case FG_PARAM_TYPE_CHAR_PTR: return 1;  // an empty text
    default: return 0;
    }
}

}  // namespace

extern "C" {

PLATFORM_EXPORT Fg_Struct* Fg_InitHandleSlaveAware(const char*, QORdevice*, fpga_design*, int) {
    NullBoard* b = static_cast<NullBoard*>(std::calloc(1, sizeof(NullBoard)));
    if (b) b->nextId = kFirstDesignId;
    return b ? &b->fg : nullptr;
}
PLATFORM_EXPORT Fg_Struct* Fg_InitHandle(const char* hapName, QORdevice* hw, fpga_design* design) {
    return Fg_InitHandleSlaveAware(hapName, hw, design, 0);
}
PLATFORM_EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    std::free(reinterpret_cast<NullBoard*>(fg));
    return FG_OK;
}
PLATFORM_EXPORT int Fg_getParameterIdByName(Fg_Struct* fg, const char*) {
    return fg ? reinterpret_cast<NullBoard*>(fg)->nextId++ : 0;
}
PLATFORM_EXPORT int Fg_getLastErrorNumber(Fg_Struct*) { return FG_OK; }

PLATFORM_EXPORT int Fg_setParameterWithType(Fg_Struct*, int, const void*, unsigned int, FgParamTypes) { return FG_OK; }
PLATFORM_EXPORT int Fg_getParameterWithType(Fg_Struct*, int, void* value, unsigned int, FgParamTypes type) {
    if (value == nullptr) return FG_OK;
    switch (type) {
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: static_cast<FieldParameterInt*>(value)->value = 0; break;
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE: static_cast<FieldParameterDouble*>(value)->value = 0; break;
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS: {
        FieldParameterAccess* a = static_cast<FieldParameterAccess*>(value);
        const size_t size = scalarSize(a->vtype);
        if (a->ptr && size > 1) std::memset(a->ptr, 0, size * a->count);
        break;
    }
    default: std::memset(value, 0, scalarSize(type)); break;
    }
    return FG_OK;
}
PLATFORM_EXPORT int Fg_setParameter(Fg_Struct*, int, const void*, unsigned int) { return FG_OK; }
PLATFORM_EXPORT int Fg_getParameter(Fg_Struct*, int, void* value, unsigned int) {
    if (value) std::memset(value, 0, 4);
    return FG_OK;
}
PLATFORM_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct*, int) { return nullptr; }

PLATFORM_EXPORT int Fg_getAppletId(Fg_Struct*, const char*) { return 0; }
PLATFORM_EXPORT int Fg_saveConfig(Fg_Struct*, const char*) { return FG_OK; }
PLATFORM_EXPORT int Fg_loadConfig(Fg_Struct*, const char*) { return FG_OK; }
PLATFORM_EXPORT int Fg_Acquire(Fg_Struct*, int, frameindex_t) { return FG_OK; }
PLATFORM_EXPORT int Fg_stopAcquire(Fg_Struct*, int) { return FG_OK; }
PLATFORM_EXPORT int Fg_AcquireEx(Fg_Struct*, int, frameindex_t, int, dma_mem*) { return FG_OK; }
PLATFORM_EXPORT int Fg_stopAcquireEx(Fg_Struct*, int, dma_mem*, int) { return FG_OK; }
PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct*, frameindex_t, int, int, dma_mem*) { return 0; }
PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct*, int, dma_mem*) { return 0; }
PLATFORM_EXPORT frameindex_t Fg_getStatusEx(Fg_Struct*, int, frameindex_t, unsigned int, dma_mem*) { return 0; }

PLATFORM_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct*, int, int) { return nullptr; }
PLATFORM_EXPORT int Fg_FreeShading(Fg_Struct*, ShadingMaster*) { return FG_OK; }
PLATFORM_EXPORT int Shad_SetSubValueLine(Fg_Struct*, ShadingMaster*, int, int, float) { return FG_OK; }
PLATFORM_EXPORT int Shad_SetMultValueLine(Fg_Struct*, ShadingMaster*, int, int, float) { return FG_OK; }
PLATFORM_EXPORT int Shad_SetFixedPatternNoiseLine(Fg_Struct*, ShadingMaster*, int, int, int) { return FG_OK; }
PLATFORM_EXPORT int Shad_GetMaxLine(Fg_Struct*, ShadingMaster*) { return 0; }
PLATFORM_EXPORT int Shad_GetAccess(Fg_Struct*, ShadingMaster*) { return FG_OK; }
PLATFORM_EXPORT int Shad_FreeAccess(Fg_Struct*, ShadingMaster*) { return FG_OK; }
PLATFORM_EXPORT int Shad_WriteActLine(Fg_Struct*, ShadingMaster*, int) { return FG_OK; }

}  // extern "C"
