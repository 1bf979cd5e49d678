// The exported entries of the simulated host runtime.
//
// Each Fg_ / Shad_ name exists once. On a host board handle (the handle an
// applet receives from Fg_InitHandleSlaveAware) the runtime answers as the
// host; on an application handle (from Fg_Init / Fg_InitEx) it routes the call
// to the applet library's export of the same name; anything else is refused
// with FG_ERR_INVALID_BOARD (NULL / 0 for the pointer and mask answers).

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "fg_param_type.h"
#include "host_internal.h"
#include "platform_export.h"

using namespace simhost;

namespace {

template <typename T>
void bindEntry(void* lib, const char* name, T& slot) {
    slot = reinterpret_cast<T>(dlsym(lib, name));
}

void bindApplet(AppBoard* ab) {
    void* l = ab->lib;
    AppletEntries& f = ab->fn;
    bindEntry(l, "Fg_FreeGrabber", f.FreeGrabber);
    bindEntry(l, "Fg_getLastErrorNumber", f.getLastErrorNumber);
    bindEntry(l, "Fg_setParameterWithType", f.setParameterWithType);
    bindEntry(l, "Fg_getParameterWithType", f.getParameterWithType);
    bindEntry(l, "Fg_getNrOfParameter", f.getNrOfParameter);
    bindEntry(l, "Fg_getParameterName", f.getParameterName);
    bindEntry(l, "Fg_getParameterId", f.getParameterId);
    bindEntry(l, "Fg_getParameterIdByName", f.getParameterIdByName);
    bindEntry(l, "Fg_getParameterInfo", f.getParameterInfo);
    bindEntry(l, "Fg_getParameterInfoXML", f.getParameterInfoXML);
    bindEntry(l, "Fg_saveConfig", f.saveConfig);
    bindEntry(l, "Fg_loadConfig", f.loadConfig);
    bindEntry(l, "Fg_getEventMask", f.getEventMask);
    bindEntry(l, "Fg_getEventName", f.getEventName);
    bindEntry(l, "Fg_getAppletId", f.getAppletId);
    bindEntry(l, "Fg_getStatusEx", f.getStatusEx);
    bindEntry(l, "Fg_AcquireEx", f.AcquireEx);
    bindEntry(l, "Fg_stopAcquireEx", f.stopAcquireEx);
    bindEntry(l, "Fg_getLastPicNumberEx", f.getLastPicNumberEx);
    bindEntry(l, "Fg_getLastPicNumberBlockingEx", f.getLastPicNumberBlockingEx);
    bindEntry(l, "Fg_AllocShading", f.AllocShading);
    bindEntry(l, "Fg_FreeShading", f.FreeShading);
    bindEntry(l, "Shad_SetSubValueLine", f.SetSubValueLine);
    bindEntry(l, "Shad_SetMultValueLine", f.SetMultValueLine);
    bindEntry(l, "Shad_SetFixedPatternNoiseLine", f.SetFixedPatternNoiseLine);
    bindEntry(l, "Shad_GetMaxLine", f.GetMaxLine);
    bindEntry(l, "Shad_GetAccess", f.GetAccess);
    bindEntry(l, "Shad_FreeAccess", f.FreeAccess);
    bindEntry(l, "Shad_WriteActLine", f.WriteActLine);
}

void* openApplet(const std::string& libName) {
    const int mode = RTLD_NOW | RTLD_LOCAL;
    const char* path = std::getenv("TERVIK_APPLET_PATH");
    if (path != nullptr && *path != '\0') {
        std::string dirs(path);
        size_t pos = 0;
        while (pos <= dirs.size()) {
            size_t colon = dirs.find(':', pos);
            if (colon == std::string::npos) colon = dirs.size();
            std::string dir = dirs.substr(pos, colon - pos);
            pos = colon + 1;
            if (dir.empty()) continue;
            if (void* h = dlopen((dir + "/" + libName).c_str(), mode)) return h;
        }
    }
    return dlopen(libName.c_str(), mode);
}

void releaseApp(AppBoard* ab) {
    if (ab->dev != nullptr) {
        freeAttachedHandles(ab->dev);
        destroyDevice(ab->dev);
    }
    if (ab->lib != nullptr) dlclose(ab->lib);
    ab->hdr.kind = kDeadKind;
    delete ab;
}

Fg_Struct* initApplication(const char* appletName, unsigned int boardIndex, int flags) {
    if (appletName == nullptr || *appletName == '\0' || std::strchr(appletName, '/') != nullptr) {
        g_initError = FG_ERR_INVALID_PARAMETER;
        return nullptr;
    }
    AppBoard* ab = new (std::nothrow) AppBoard;
    if (ab == nullptr) {
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
    ab->hdr.pub.Master = nullptr;
    ab->hdr.kind = kAppKind;
    try {
        ab->lib = openApplet(std::string("lib") + appletName + ".so");
    } catch (...) {
        ab->lib = nullptr;
    }
    if (ab->lib == nullptr) {
        releaseApp(ab);
        g_initError = FG_ERR_FILE_NOT_FOUND;
        return nullptr;
    }
    decltype(&::Std_entry) entry = nullptr;
    bindEntry(ab->lib, "Std_entry", entry);
    if (entry == nullptr) {
        releaseApp(ab);
        g_initError = FG_ERR_RUNTIME_MISSING;
        return nullptr;
    }
    bindApplet(ab);
    ab->dev = createDevice(boardIndex);
    if (ab->dev == nullptr) {
        releaseApp(ab);
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
    int status = 0;
    Fg_Master* master = nullptr;
    try {
        master = entry(ab->dev, &status, flags);
    } catch (...) {
        master = nullptr;
        status = FG_ERR_INIT_FAILED;
    }
    if (master == nullptr) {
        releaseApp(ab);
        g_initError = status != 0 ? status : FG_ERR_INIT_FAILED;
        return nullptr;
    }
    ab->hdr.pub.Master = master;
    return &ab->hdr.pub;
}

int freeApplication(AppBoard* ab) {
    int rc = FG_ERR_NOT_AVAILABLE;
    if (ab->fn.FreeGrabber != nullptr) {
        try {
            rc = ab->fn.FreeGrabber(&ab->hdr.pub);
        } catch (...) {
            rc = FG_ERR_INIT_FAILED;
        }
    }
    releaseApp(ab);
    return rc;
}

// Runs `f` on the value of the device's register `reg` under the register
// lock; FG_ERR_INVALID_PARAMETER when the device has no such register.
template <typename F>
int withRegister(QORdevice* dev, int reg, F f) {
    int rc = FG_ERR_INVALID_PARAMETER;
    pthread_mutex_lock(&dev->regLock);
    for (int i = 0; i < dev->nrOfRegs; ++i)
        if (dev->regs[i].number == reg) {
            f(dev->regs[i].value);
            rc = FG_OK;
            break;
        }
    pthread_mutex_unlock(&dev->regLock);
    return rc;
}

}  // namespace

// The body of an export both faces share: on a host board handle the host
// answers (`host`, an expression of `hb`); on an application handle the call
// goes to the applet's entry `slot` with the arguments after it; anything
// else is refused. A missing entry answers FG_ERR_NOT_AVAILABLE and a foreign
// handle FG_ERR_INVALID_BOARD, or `none` for both (_ELSE: pointer and mask
// answers).
#define HOST_OR_APPLET_ANSWERS(missing, invalid, fg, host, slot, ...)                                      \
    if (HostBoard* hb = asHost(fg)) return host;                                                           \
    if (AppBoard* ab_ = asApp(fg)) return ab_->fn.slot != nullptr ? ab_->fn.slot(__VA_ARGS__) : (missing); \
    return invalid
#define HOST_OR_APPLET(fg, host, slot, ...) \
    HOST_OR_APPLET_ANSWERS(FG_ERR_NOT_AVAILABLE, FG_ERR_INVALID_BOARD, fg, host, slot, __VA_ARGS__)
#define HOST_OR_APPLET_ELSE(none, fg, host, slot, ...) HOST_OR_APPLET_ANSWERS(none, none, fg, host, slot, __VA_ARGS__)

extern "C" {

// ---- board initialisation (host face) -------------------------------------------

PLATFORM_EXPORT Fg_Struct* Fg_InitHandleSlaveAware(const char* /*hapName*/, QORdevice* hw, fpga_design* design,
                                                   int /*flags*/) {
    return initHostBoard(hw, design);
}

PLATFORM_EXPORT Fg_Struct* Fg_InitHandle(const char* /*hapName*/, QORdevice* hw, fpga_design* design) {
    return initHostBoard(hw, design);
}

// ---- application face -------------------------------------------------------------

PLATFORM_EXPORT Fg_Struct* Fg_Init(const char* appletName, unsigned int boardIndex) {
    return initApplication(appletName, boardIndex, 0);
}

PLATFORM_EXPORT Fg_Struct* Fg_InitEx(const char* appletName, unsigned int boardIndex, int flags) {
    return initApplication(appletName, boardIndex, flags);
}

// ---- the shared names -------------------------------------------------------------

PLATFORM_EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    if (HostBoard* hb = asHost(fg)) return hostFreeGrabber(hb);
    if (AppBoard* ab = asApp(fg)) return freeApplication(ab);
    return FG_ERR_INVALID_BOARD;
}

PLATFORM_EXPORT int Fg_getLastErrorNumber(Fg_Struct* fg) {
    if (fg == nullptr) return g_initError.load();
    HOST_OR_APPLET(fg, hostGetLastError(hb), getLastErrorNumber, fg);
}

PLATFORM_EXPORT int Fg_setParameterWithType(Fg_Struct* fg, const int id, const void* value, const unsigned int dma,
                                            const FgParamTypes callerType) {
    const FgParamTypes type = fgParamTypeOf(callerType);
    HOST_OR_APPLET(fg, hostSetParameter(hb, id, value, dma, type), setParameterWithType, fg, id, value, dma, type);
}

PLATFORM_EXPORT int Fg_getParameterWithType(Fg_Struct* fg, const int id, void* value, const unsigned int dma,
                                            const FgParamTypes callerType) {
    const FgParamTypes type = fgParamTypeOf(callerType);
    HOST_OR_APPLET(fg, hostGetParameter(hb, id, value, dma, type), getParameterWithType, fg, id, value, dma, type);
}

PLATFORM_EXPORT int Fg_setParameter(Fg_Struct* fg, int id, const void* value, unsigned int dma) {
    HOST_OR_APPLET(fg, hostSetParameterUntyped(hb, id, value, dma), setParameterWithType, fg, id, value, dma,
                   FG_PARAM_TYPE_AUTO);
}

PLATFORM_EXPORT int Fg_getParameter(Fg_Struct* fg, int id, void* value, unsigned int dma) {
    HOST_OR_APPLET(fg, hostGetParameterUntyped(hb, id, value, dma), getParameterWithType, fg, id, value, dma,
                   FG_PARAM_TYPE_AUTO);
}

PLATFORM_EXPORT int Fg_getNrOfParameter(Fg_Struct* fg) {
    HOST_OR_APPLET(fg, hostGetNrOfParameter(hb), getNrOfParameter, fg);
}

PLATFORM_EXPORT const char* Fg_getParameterName(Fg_Struct* fg, int index) {
    HOST_OR_APPLET_ELSE(nullptr, fg, hostGetParameterName(hb, index), getParameterName, fg, index);
}

PLATFORM_EXPORT int Fg_getParameterId(Fg_Struct* fg, int index) {
    HOST_OR_APPLET(fg, hostGetParameterId(hb, index), getParameterId, fg, index);
}

PLATFORM_EXPORT int Fg_getParameterIdByName(Fg_Struct* fg, const char* name) {
    HOST_OR_APPLET(fg, hostGetParameterIdByName(hb, name), getParameterIdByName, fg, name);
}

PLATFORM_EXPORT RegisterInfo* Fg_getParameterInfo(Fg_Struct* fg, int port) {
    HOST_OR_APPLET_ELSE(nullptr, fg, hostGetParameterInfo(hb, port), getParameterInfo, fg, port);
}

PLATFORM_EXPORT int Fg_getParameterInfoXML(Fg_Struct* fg, int port, char* buffer, size_t* size) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), getParameterInfoXML, fg, port, buffer, size);
}

PLATFORM_EXPORT int Fg_saveConfig(Fg_Struct* fg, const char* file) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), saveConfig, fg, file);
}

PLATFORM_EXPORT int Fg_loadConfig(Fg_Struct* fg, const char* file) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), loadConfig, fg, file);
}

PLATFORM_EXPORT uint64_t Fg_getEventMask(Fg_Struct* fg, const char* name) {
    HOST_OR_APPLET_ELSE(0, fg, hostGetEventMask(hb, name), getEventMask, fg, name);
}

PLATFORM_EXPORT const char* Fg_getEventName(Fg_Struct* fg, uint64_t mask) {
    HOST_OR_APPLET_ELSE(nullptr, fg, hostGetEventName(hb, mask), getEventName, fg, mask);
}

// ---- acquisition ----------------------------------------------------------------------

PLATFORM_EXPORT int Fg_getAppletId(Fg_Struct* fg, const char* name) {
    HOST_OR_APPLET(fg, hostAppletId(hb, name), getAppletId, fg, name);
}

PLATFORM_EXPORT int Fg_Acquire(Fg_Struct* fg, int camPort, frameindex_t picCount) {
    HOST_OR_APPLET(fg, hostAcquire(hb, camPort, picCount, nullptr), AcquireEx, fg, camPort, picCount, 0, nullptr);
}

PLATFORM_EXPORT int Fg_stopAcquire(Fg_Struct* fg, int camPort) {
    HOST_OR_APPLET(fg, hostStopAcquire(hb, camPort), stopAcquireEx, fg, camPort, nullptr, 0);
}

PLATFORM_EXPORT int Fg_AcquireEx(Fg_Struct* fg, int camPort, const frameindex_t picCount, int flag, dma_mem* mem) {
    HOST_OR_APPLET(fg, hostAcquire(hb, camPort, picCount, mem), AcquireEx, fg, camPort, picCount, flag, mem);
}

PLATFORM_EXPORT int Fg_stopAcquireEx(Fg_Struct* fg, int camPort, dma_mem* mem, int flag) {
    HOST_OR_APPLET(fg, hostStopAcquire(hb, camPort), stopAcquireEx, fg, camPort, mem, flag);
}

PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct* fg, int camPort, dma_mem* mem) {
    HOST_OR_APPLET(fg, hostLastPicNumber(hb, camPort), getLastPicNumberEx, fg, camPort, mem);
}

PLATFORM_EXPORT frameindex_t Fg_getLastPicNumberBlockingEx(Fg_Struct* fg, const frameindex_t picNr, int camPort,
                                                           int timeout, dma_mem* mem) {
    HOST_OR_APPLET(fg, hostLastPicNumberBlocking(hb, picNr, camPort, timeout), getLastPicNumberBlockingEx, fg, picNr,
                   camPort, timeout, mem);
}

PLATFORM_EXPORT frameindex_t Fg_getStatusEx(Fg_Struct* fg, const int param, const frameindex_t data,
                                            const unsigned int dma, dma_mem* mem) {
    HOST_OR_APPLET(fg, hostStatus(hb, param, data, dma), getStatusEx, fg, param, data, dma, mem);
}

// ---- frame-buffer rings (application side) ----------------------------------------------

namespace {
// The device of an application handle, or NULL with the application-side
// last error set.
Device* appDevice(Fg_Struct* fg) {
    AppBoard* ab = asApp(fg);
    Device* d = ab ? deviceOf(ab->dev) : nullptr;
    if (d == nullptr) g_initError = FG_ERR_INVALID_BOARD;
    return d;
}
}  // namespace

PLATFORM_EXPORT dma_mem* Fg_AllocRingEx(Fg_Struct* fg, size_t size, frameindex_t count) {
    Device* d = appDevice(fg);
    if (d == nullptr) return nullptr;
    int error = FG_OK;
    dma_mem* mem = ringAlloc(d, size, count, &error);
    if (mem == nullptr) g_initError = error;
    return mem;
}

PLATFORM_EXPORT int Fg_FreeRingEx(Fg_Struct* fg, dma_mem* mem) {
    Device* d = appDevice(fg);
    return d ? ringFree(d, mem) : FG_ERR_INVALID_BOARD;
}

PLATFORM_EXPORT void* Fg_getBufferPtrEx(Fg_Struct* fg, frameindex_t index, dma_mem* mem) {
    Device* d = appDevice(fg);
    return d ? ringBuffer(d, mem, index) : nullptr;
}

PLATFORM_EXPORT void* Fg_getPicturePtrEx(Fg_Struct* fg, frameindex_t picNr, int camPort, dma_mem* mem) {
    Device* d = appDevice(fg);
    return d ? ringPicture(d, mem, camPort, picNr) : nullptr;
}

PLATFORM_EXPORT frameindex_t Fg_copyPictureEx(Fg_Struct* fg, frameindex_t picNr, int camPort, void* dst, size_t size,
                                              dma_mem* mem) {
    Device* d = appDevice(fg);
    return d ? ringCopy(d, mem, camPort, picNr, dst, size) : FG_ERR_INVALID_BOARD;
}

PLATFORM_EXPORT int Fg_getFrameFormatEx(Fg_Struct* fg, int camPort, FgFrameFormat* out) {
    Device* d = appDevice(fg);
    return d ? frameFormat(d, camPort, out) : FG_ERR_INVALID_BOARD;
}

// ---- shading (not supported by the host) -------------------------------------------

PLATFORM_EXPORT ShadingMaster* Fg_AllocShading(Fg_Struct* fg, int set, int port) {
    HOST_OR_APPLET_ELSE(nullptr, fg, (hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), nullptr), AllocShading, fg, set, port);
}

PLATFORM_EXPORT int Fg_FreeShading(Fg_Struct* fg, ShadingMaster* sm) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), FreeShading, fg, sm);
}

PLATFORM_EXPORT int Shad_SetSubValueLine(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, float sub) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), SetSubValueLine, fg, sm, x, channel, sub);
}

PLATFORM_EXPORT int Shad_SetMultValueLine(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, float mult) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), SetMultValueLine, fg, sm, x, channel, mult);
}

PLATFORM_EXPORT int Shad_SetFixedPatternNoiseLine(Fg_Struct* fg, ShadingMaster* sm, int x, int channel, int on) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), SetFixedPatternNoiseLine, fg, sm, x, channel, on);
}

PLATFORM_EXPORT int Shad_GetMaxLine(Fg_Struct* fg, ShadingMaster* sm) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), GetMaxLine, fg, sm);
}

PLATFORM_EXPORT int Shad_GetAccess(Fg_Struct* fg, ShadingMaster* sm) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), GetAccess, fg, sm);
}

PLATFORM_EXPORT int Shad_FreeAccess(Fg_Struct* fg, ShadingMaster* sm) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), FreeAccess, fg, sm);
}

PLATFORM_EXPORT int Shad_WriteActLine(Fg_Struct* fg, ShadingMaster* sm, int line) {
    HOST_OR_APPLET(fg, hostUnsupported(hb, FG_ERR_NOT_SUPPORTED), WriteActLine, fg, sm, line);
}

// ---- SimBoard control ---------------------------------------------------------------

PLATFORM_EXPORT QORdevice* SimBoard_DeviceOf(Fg_Struct* appFg) {
    AppBoard* ab = asApp(appFg);
    return ab ? ab->dev : nullptr;
}

PLATFORM_EXPORT void* SimBoard_AppletLibraryOf(Fg_Struct* appFg) {
    AppBoard* ab = asApp(appFg);
    return ab ? ab->lib : nullptr;
}

PLATFORM_EXPORT QORdevice* SimBoard_CreateDevice(unsigned int boardIndex) { return createDevice(boardIndex); }

PLATFORM_EXPORT void SimBoard_DestroyDevice(QORdevice* dev) { destroyDevice(dev); }

PLATFORM_EXPORT Fg_Struct* SimBoard_HostHandleOf(QORdevice* dev) { return sim::hostHandleOf(dev); }

PLATFORM_EXPORT QORdevice* SimBoard_DeviceOfHostHandle(Fg_Struct* hostFg) { return sim::deviceOfHostHandle(hostFg); }

PLATFORM_EXPORT int SimBoard_ParameterId(QORdevice* dev, const char* name) { return sim::parameterId(dev, name); }

PLATFORM_EXPORT int SimBoard_GetValue(QORdevice* dev, const char* name, FgParamTypes type, void* value) {
    return sim::getValue(dev, name, fgParamTypeOf(type), value);
}

PLATFORM_EXPORT int SimBoard_SetValue(QORdevice* dev, const char* name, FgParamTypes type, const void* value) {
    return sim::setValue(dev, name, fgParamTypeOf(type), value);
}

PLATFORM_EXPORT int SimBoard_GetFieldElement(QORdevice* dev, const char* name, unsigned int index, double* value) {
    return sim::getFieldElement(dev, name, index, value);
}

PLATFORM_EXPORT int SimBoard_SetFieldElement(QORdevice* dev, const char* name, unsigned int index, double value) {
    return sim::setFieldElement(dev, name, index, value);
}

PLATFORM_EXPORT int SimBoard_LogCount(QORdevice* dev) { return sim::logCount(dev); }

PLATFORM_EXPORT int SimBoard_LogEntry(QORdevice* dev, int i, SimLogEntry* out) { return sim::logEntry(dev, i, out); }

PLATFORM_EXPORT void SimBoard_LogClear(QORdevice* dev) { sim::logClear(dev); }

PLATFORM_EXPORT int SimBoard_HostCallCount(QORdevice* dev) { return sim::hostCallCount(dev); }

PLATFORM_EXPORT void SimBoard_FailNthHostCall(QORdevice* dev, int n, int code) { sim::failNthHostCall(dev, n, code); }

PLATFORM_EXPORT void SimBoard_FailParameter(QORdevice* dev, const char* name, int isWrite, int code) {
    sim::failParameter(dev, name, isWrite, code);
}

PLATFORM_EXPORT void SimBoard_FailInit(QORdevice* dev, int code) { sim::failInit(dev, code); }

PLATFORM_EXPORT void SimBoard_ClearFaults(QORdevice* dev) { sim::clearFaults(dev); }

PLATFORM_EXPORT void SimBoard_GetAcquisitionCounters(QORdevice* dev, SimAcquisitionCounters* out) {
    sim::acquisitionCounters(dev, out);
}

PLATFORM_EXPORT int SimBoard_SetPacing(QORdevice* dev, int mode) { return sim::setPacing(dev, mode); }

PLATFORM_EXPORT int SimBoard_AddCameraImage(QORdevice* dev, int port, const char* path) {
    return sim::addCameraImage(dev, port, path);
}

PLATFORM_EXPORT int SimBoard_ClearCameraImages(QORdevice* dev, int port) { return sim::clearCameraImages(dev, port); }

PLATFORM_EXPORT int SimBoard_PulseTriggerInput(QORdevice* dev, int input, int count) {
    return sim::pulseTriggerInput(dev, input, count);
}

PLATFORM_EXPORT int SimBoard_SetTriggerInputLevel(QORdevice* dev, int input, int level) {
    return sim::setTriggerInputLevel(dev, input, level);
}

PLATFORM_EXPORT int SimBoard_MoveEncoder(QORdevice* dev, int input, int steps) {
    return sim::moveEncoder(dev, input, steps);
}

PLATFORM_EXPORT int SimBoard_GetAcquisitionStatus(QORdevice* dev, int port, SimAcquisitionStatus* out) {
    return sim::acquisitionStatus(dev, port, out);
}

PLATFORM_EXPORT uint64_t SimBoard_EventCount(QORdevice* dev, uint64_t mask) { return sim::eventCount(dev, mask); }

// ---- registers (backdoor: no fault injection, no write record) ---------------------------

PLATFORM_EXPORT int SimBoard_GetRegister(QORdevice* dev, int reg, uint64_t* value) {
    if (deviceOf(dev) == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    return withRegister(dev, reg, [value](uint64_t& r) { *value = r; });
}

PLATFORM_EXPORT int SimBoard_SetRegister(QORdevice* dev, int reg, uint64_t value) {
    if (deviceOf(dev) == nullptr) return FG_ERR_INVALID_PARAMETER;
    return withRegister(dev, reg, [value](uint64_t& r) { r = value; });
}

PLATFORM_EXPORT void SimBoard_FailRegisters(QORdevice* dev, int code) {
    if (deviceOf(dev) == nullptr) return;
    pthread_mutex_lock(&dev->regLock);
    dev->regFailCode = code;
    pthread_mutex_unlock(&dev->regLock);
}

}  // extern "C"
