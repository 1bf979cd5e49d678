// The exported C entry points that the host runtime calls on a board opened
// with this applet. Each takes the host's board structure, finds the applet
// object in its Master field and either forwards the call to the host runtime
// (acquisition) or calls the applet object.
#include <cstring>

#include "FgQorWrapper.h"
#include "fg_applet.h"
#include "fg_param_type.h"

namespace {

inline FgQorWrapper* applet(Fg_Struct* Fg) { return Fg ? reinterpret_cast<FgQorWrapper*>(Fg->Master) : nullptr; }

// The forwarding pattern: no board -2001; host entry or host board missing
// -12 (stored); otherwise the host's result, with the host's last error
// stored after a failure and 0 after a success.
template <class Entry, class Call>
auto forward(Fg_Struct* Fg, Entry FgHostEntries::*entry, Call&& call) -> decltype(call(nullptr, nullptr)) {
    FgQorWrapper* w = applet(Fg);
    if (!w) return FG_ERR_INVALID_BOARD;
    Entry fn = w->hostEntries().*entry;
    Fg_Struct* host = w->talrunFg();
    if (fn == nullptr || host == nullptr) {
        w->setError(FG_ERR_NOT_AVAILABLE);
        return FG_ERR_NOT_AVAILABLE;
    }
    auto result = call(fn, host);
    w->setError(result < 0 ? w->Fg_getLastErrorNumberQor() : 0);
    return result;
}

}  // namespace

extern "C" {

FG_APPLET_EXPORT int Fg_getAppletId(Fg_Struct* Fg, const char* Appletname) {
    return forward(Fg, &FgHostEntries::DLL_Fg_getAppletId,
                   [&](Fg_getAppletId_t f, Fg_Struct* h) { return f(h, Appletname); });
}

FG_APPLET_EXPORT frameindex_t Fg_getStatusEx(Fg_Struct* Fg, const int Param, const frameindex_t Data,
                                             const unsigned int DmaIndex, dma_mem* pMem) {
    return forward(Fg, &FgHostEntries::DLL_Fg_getStatusEx,
                   [&](Fg_getStatusEx_t f, Fg_Struct* h) { return f(h, Param, Data, DmaIndex, pMem); });
}

FG_APPLET_EXPORT int Fg_AcquireEx(Fg_Struct* Fg, int CamPort, const frameindex_t PicCount, int nFlag,
                                  dma_mem* memHandle) {
    return forward(Fg, &FgHostEntries::DLL_Fg_AcquireEx,
                   [&](Fg_AcquireEx_t f, Fg_Struct* h) { return f(h, CamPort, PicCount, nFlag, memHandle); });
}

FG_APPLET_EXPORT int Fg_stopAcquireEx(Fg_Struct* Fg, int CamPort, dma_mem* memHandle, int nFlag) {
    return forward(Fg, &FgHostEntries::DLL_Fg_stopAcquireEx,
                   [&](Fg_stopAcquireEx_t f, Fg_Struct* h) { return f(h, CamPort, memHandle, nFlag); });
}

FG_APPLET_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct* Fg, int CamPort, dma_mem* pMem) {
    return forward(Fg, &FgHostEntries::DLL_Fg_getLastPicNumberEx,
                   [&](Fg_getLastPicNumberEx_t f, Fg_Struct* h) { return f(h, CamPort, pMem); });
}

FG_APPLET_EXPORT frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct* Fg, const frameindex_t PicNr, int CamPort,
                                                            int Timeout, dma_mem* pMem) {
    return forward(
        Fg, &FgHostEntries::DLL_Fg_getLastPicNumberBlockingEx,
        [&](Fg_getLastPicNumberBlockingEx_t f, Fg_Struct* h) { return f(h, PicNr, CamPort, Timeout, pMem); });
}

FG_APPLET_EXPORT int Fg_setParameterWithType(Fg_Struct* Fg, const int Parameter, const void* Value,
                                             const unsigned int DmaIndex, const FgParamTypes type) {
    FgQorWrapper* w = applet(Fg);
    if (!w) return FG_ERR_INVALID_BOARD;
    return w->Fg_setParameterWithType(Parameter, Value, DmaIndex, fgParamTypeOf(type));
}

FG_APPLET_EXPORT int Fg_getParameterWithType(Fg_Struct* Fg, const int Parameter, void* Value,
                                             const unsigned int DmaIndex, const FgParamTypes type) {
    FgQorWrapper* w = applet(Fg);
    if (!w) return FG_ERR_INVALID_BOARD;
    const FgParamTypes t = fgParamTypeOf(type);
    if ((t == FG_PARAM_TYPE_INT64_T || t == FG_PARAM_TYPE_UINT64_T) && Value) std::memset(Value, 0, 8);
    return w->Fg_getParameterWithType(Parameter, Value, DmaIndex, t);
}

FG_APPLET_EXPORT int Fg_getNrOfParameter(Fg_Struct* Fg) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getParameterCount() : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT const char* Fg_getParameterName(Fg_Struct* Fg, int index) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getParameterName(index) : nullptr;
}

FG_APPLET_EXPORT int Fg_getParameterId(Fg_Struct* Fg, int index) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getParameterId(index) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_getParameterIdByName(Fg_Struct* Fg, const char* name) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getParameterIdByName(name) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_saveConfig(Fg_Struct* Fg, const char* Filename) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_saveConfig(w->talrunFg(), Filename) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_loadConfig(Fg_Struct* Fg, const char* Filename) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_loadConfig(w->talrunFg(), Filename) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_getParameterInfoXML(Fg_Struct* Fg, int port, char* infoBuffer, size_t* infoBufferSize) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getParameterInfoXML(Fg, port, infoBuffer, infoBufferSize) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct* Fg, int set, int port) {
    FgQorWrapper* w = applet(Fg);
    if (!w) return nullptr;
    ShadingMaster* sm = w->Fg_AllocShading(set, port);
    w->setError(sm ? 0 : -1);
    return sm;
}

// The shading family: the applet's answer, also stored in the error store.
#define ORV_SHADING_EXPORT(NAME, PARAMS, ARGS) \
    FG_APPLET_EXPORT int NAME PARAMS {         \
        FgQorWrapper* w = applet(Fg);          \
        if (!w) return FG_ERR_INVALID_BOARD;   \
        int result = w->NAME ARGS;             \
        w->setError(result);                   \
        return result;                         \
    }
ORV_SHADING_EXPORT(Fg_FreeShading, (Fg_Struct * Fg, ShadingMaster* sm), (sm))
ORV_SHADING_EXPORT(Shad_SetSubValueLine, (Fg_Struct * Fg, ShadingMaster* sm, int x, int channel, float sub),
                   (sm, x, channel, sub))
ORV_SHADING_EXPORT(Shad_SetMultValueLine, (Fg_Struct * Fg, ShadingMaster* sm, int x, int channel, float mult),
                   (sm, x, channel, mult))
ORV_SHADING_EXPORT(Shad_SetFixedPatternNoiseLine, (Fg_Struct * Fg, ShadingMaster* sm, int x, int channel, int on),
                   (sm, x, channel, on))
ORV_SHADING_EXPORT(Shad_GetMaxLine, (Fg_Struct * Fg, ShadingMaster* sm), (sm))
ORV_SHADING_EXPORT(Shad_GetAccess, (Fg_Struct * Fg, ShadingMaster* sm), (sm))
ORV_SHADING_EXPORT(Shad_FreeAccess, (Fg_Struct * Fg, ShadingMaster* sm), (sm))
ORV_SHADING_EXPORT(Shad_WriteActLine, (Fg_Struct * Fg, ShadingMaster* sm, int line), (sm, line))
#undef ORV_SHADING_EXPORT

FG_APPLET_EXPORT uint64_t Fg_getEventMask(Fg_Struct* Fg, const char* name) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getEventMask(name) : 0;
}

FG_APPLET_EXPORT const char* Fg_getEventName(Fg_Struct* Fg, uint64_t mask) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getEventName(mask) : nullptr;
}

FG_APPLET_EXPORT int Fg_getLastErrorNumber(Fg_Struct* Fg) {
    FgQorWrapper* w = applet(Fg);
    return w ? w->Fg_getLastErrorNumber() : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct* Fg, int CamPort) {
    FgQorWrapper* w = applet(Fg);
    if (!w || w->hostEntries().DLL_Fg_getParameterInfo == nullptr || w->talrunFg() == nullptr) return nullptr;
    return w->Fg_getParameterInfo(CamPort);
}

FG_APPLET_EXPORT int Fg_FreeGrabber(Fg_Struct* Fg) {
    FgQorWrapper* w = applet(Fg);
    if (!w) return FG_ERR_INVALID_BOARD;
    int result = 0;
    if (w->hostEntries().DLL_Fg_FreeGrabber != nullptr && w->talrunFg() != nullptr)
        result = w->hostEntries().DLL_Fg_FreeGrabber(w->talrunFg());
    delete w;
    Fg->Master = nullptr;
    return result;
}

}  // extern "C"
