#include "FgQorWrapper.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "Fg_Error.h"
#include "parameterInfo.h"

struct FgQorWrapperPrivate {
    FgHostEntries* mWrapperFg = nullptr;  // the binding record
    Fg_Struct* mTalrunFg = nullptr;       // the host board handle
    QORdevice* mBoardHandle = nullptr;
    fpga_design* mDesignHandle = nullptr;
    void* dll = nullptr;
    Fg_InitHandleSlaveAware_t Fg_Init_Func_Slave_Aware = nullptr;
    Fg_InitHandle_t Fg_Init_Func = nullptr;
    Fg_getParameterIdByName_t DLL_Fg_getParameterIdByName = nullptr;
    Fg_getLastErrorNumber_t DLL_Fg_getLastErrorNumber = nullptr;
    Fg_ParameterInfo* mParameterInfo = nullptr;
    Fg_Error* mError = nullptr;
};

namespace {
// Process-wide: the handles of the board initialised last (read by Info).
QORdevice* g_deviceHandleSlot = nullptr;
fpga_design* g_designHandleSlot = nullptr;
// Process-wide counter of the temporary-name generator.
uint64_t g_tempNameCounter = 0;
}  // namespace

FgQorWrapper::FgQorWrapper() : draEnabled(false), d(new FgQorWrapperPrivate) {
    d->mWrapperFg = static_cast<FgHostEntries*>(std::malloc(sizeof(FgHostEntries)));
    std::memset(d->mWrapperFg, 0, sizeof(FgHostEntries));
    d->mParameterInfo = new Fg_ParameterInfo();
    d->mError = new Fg_Error();
    hot_.error = d->mError;
}

FgQorWrapper::~FgQorWrapper() noexcept(false) {
    if (d->dll) dlclose(d->dll);
    if (d->mDesignHandle) HapUnloadHapFile(d->mDesignHandle);
    std::free(d->mWrapperFg);
    delete d->mParameterInfo;
    delete d->mError;
    delete d;
}

int FgQorWrapper::initializeDllFunctions(const char* dllName) {
    d->dll = dlopen(dllName, RTLD_NOW);
    if (!d->dll) {
        setError(FG_ERR_RUNTIME_MISSING);
        return FG_ERR_RUNTIME_MISSING;
    }
    FgHostEntries& e = *d->mWrapperFg;
#define FG_HOST_ENTRY_LOOKUP(name) e.DLL_##name = reinterpret_cast<name##_t>(dlsym(d->dll, #name));
    FG_HOST_ENTRIES(FG_HOST_ENTRY_LOOKUP)
#undef FG_HOST_ENTRY_LOOKUP
    d->DLL_Fg_getParameterIdByName =
        reinterpret_cast<Fg_getParameterIdByName_t>(dlsym(d->dll, "Fg_getParameterIdByName"));
    hot_.setTyped = e.DLL_Fg_setParameterWithType ? e.DLL_Fg_setParameterWithType : &missingSetTyped;
    hot_.getTyped = e.DLL_Fg_getParameterWithType ? e.DLL_Fg_getParameterWithType : &missingGetTyped;
    return 0;
}

int FgQorWrapper::missingSetTyped(Fg_Struct*, int, const void*, unsigned int, FgParamTypes) {
    return FG_ERR_NOT_AVAILABLE;
}
int FgQorWrapper::missingGetTyped(Fg_Struct*, int, void*, unsigned int, FgParamTypes) { return FG_ERR_NOT_AVAILABLE; }

int FgQorWrapper::runFgInit(const char* hapName, QORdevice* hwhandle, fpga_design* design, int flags) {
    d->Fg_Init_Func_Slave_Aware = reinterpret_cast<Fg_InitHandleSlaveAware_t>(dlsym(d->dll, "Fg_InitHandleSlaveAware"));
    d->Fg_Init_Func = reinterpret_cast<Fg_InitHandle_t>(dlsym(d->dll, "Fg_InitHandle"));
    d->DLL_Fg_getLastErrorNumber = reinterpret_cast<Fg_getLastErrorNumber_t>(dlsym(d->dll, "Fg_getLastErrorNumber"));

    Fg_Struct* board;
    if (d->Fg_Init_Func_Slave_Aware) {
        board = d->Fg_Init_Func_Slave_Aware(hapName, hwhandle, design, flags);
    } else if (d->Fg_Init_Func) {
        board = d->Fg_Init_Func(hapName, hwhandle, design);
    } else {
        setError(FG_ERR_RUNTIME_MISSING);
        return FG_ERR_RUNTIME_MISSING;
    }
    d->mTalrunFg = board;
    hot_.board = board;
    if (board == nullptr) {
        int code = d->DLL_Fg_getLastErrorNumber ? d->DLL_Fg_getLastErrorNumber(nullptr) : FG_ERR_INIT_FAILED;
        // A host that fails without saying why still failed: never go on
        // with no board.
        if (code == 0) code = FG_ERR_INIT_FAILED;
        setError(code);
        return code;
    }
    accessDeviceHandle(hwhandle);
    accessDesignHandle(design);
    return 0;
}

void FgQorWrapper::initHandles(QORdevice* hwhandle, fpga_design* design) {
    d->mBoardHandle = hwhandle;
    d->mDesignHandle = design;
}

RegisterInfo* FgQorWrapper::Fg_getParameterInfo(int CamPort) { return d->mParameterInfo->getRegisterInfo(CamPort); }

int FgQorWrapper::Fg_getLastErrorNumberQor() {
    if (d->mWrapperFg->DLL_Fg_getLastErrorNumber == nullptr || d->mTalrunFg == nullptr) return FG_ERR_NOT_AVAILABLE;
    return d->mWrapperFg->DLL_Fg_getLastErrorNumber(d->mTalrunFg);
}

int FgQorWrapper::Fg_getLastErrorNumber() { return d->mError->getErrorNumberBuffer(); }
Fg_Struct* FgQorWrapper::wrapperFg() { return reinterpret_cast<Fg_Struct*>(d->mWrapperFg); }
const FgHostEntries& FgQorWrapper::hostEntries() const { return *d->mWrapperFg; }
Fg_Struct* FgQorWrapper::talrunFg() { return d->mTalrunFg; }

QORdevice* FgQorWrapper::accessDeviceHandle(QORdevice* h) {
    if (h) g_deviceHandleSlot = h;
    return g_deviceHandleSlot;
}

fpga_design* FgQorWrapper::accessDesignHandle(fpga_design* h) {
    if (h) g_designHandleSlot = h;
    return g_designHandleSlot;
}

RegisterInfo* FgQorWrapper::registeredInfo(int port, int id) {
    RegisterInfoMap::iterator p = register_info_map.find(port);
    if (p == register_info_map.end()) return nullptr;
    std::map<int, RegisterInfo*>::iterator r = p->second.find(id);
    return r == p->second.end() ? nullptr : r->second;
}

// A host without the entry knows no design parameter.
int FgQorWrapper::getParameterIdByName(const char* name) {
    return d->DLL_Fg_getParameterIdByName ? d->DLL_Fg_getParameterIdByName(d->mTalrunFg, name) : 0;
}
fpga_design* FgQorWrapper::designHandle() { return d->mDesignHandle; }
QORdevice* FgQorWrapper::boardHandle() { return d->mBoardHandle; }
Fg_Error& FgQorWrapper::fgError() { return *d->mError; }
Fg_ParameterInfo* FgQorWrapper::parameterInfo() { return d->mParameterInfo; }

// The untyped host calls of derived applets. A host runtime without the entry
// answers -12 (NULL for the description tree) instead of crashing. (The typed
// calls are inline in the header.)
int FgQorWrapper::setUnwrappedParameter(int id, const void* value, int dma) {
    Fg_setParameter_t f = d->mWrapperFg->DLL_Fg_setParameter;
    return f ? f(d->mTalrunFg, id, value, dma) : FG_ERR_NOT_AVAILABLE;
}
int FgQorWrapper::getUnwrappedParameter(int id, void* value, int dma) {
    Fg_getParameter_t f = d->mWrapperFg->DLL_Fg_getParameter;
    return f ? f(d->mTalrunFg, id, value, dma) : FG_ERR_NOT_AVAILABLE;
}
RegisterInfo* FgQorWrapper::getUnwrappedParameterInfo() {
    Fg_getParameterInfo_t f = d->mWrapperFg->DLL_Fg_getParameterInfo;
    return f ? f(d->mTalrunFg, 0) : nullptr;
}

// ---- field caches ----

void FgQorWrapper::setFieldCache(uint32_t* cache, const FieldParameterInt* record) {
    if (record) cache[record->index] = record->value;
}
void FgQorWrapper::getFieldCache(const uint32_t* cache, FieldParameterInt* record) {
    if (record) record->value = cache[record->index];
}
void FgQorWrapper::setFieldCache(double* cache, const FieldParameterDouble* record) {
    if (record) cache[record->index] = record->value;
}
void FgQorWrapper::getFieldCache(const double* cache, FieldParameterDouble* record) {
    if (record) record->value = cache[record->index];
}

namespace {
size_t fieldElementSize(FgParamTypes t) {
    switch (t) {
    case FG_PARAM_TYPE_INT64_T:
    case FG_PARAM_TYPE_UINT64_T: return 8;
    case FG_PARAM_TYPE_INT32_T:
    case FG_PARAM_TYPE_UINT32_T: return 4;
    case FG_PARAM_TYPE_DOUBLE: return sizeof(double);
    default: return 0;
    }
}
}  // namespace

void FgQorWrapper::setFieldCache(void* cache, const FieldParameterAccess* record) {
    if (!record) return;
    size_t size = fieldElementSize(record->vtype);
    if (size == 0 || record->count == 0) return;
    std::memcpy(static_cast<char*>(cache) + size * record->index, record->ptr, size * record->count);
}
void FgQorWrapper::getFieldCache(const void* cache, FieldParameterAccess* record) {
    if (!record) return;
    size_t size = fieldElementSize(record->vtype);
    if (size == 0 || record->count == 0) return;
    std::memcpy(record->ptr, static_cast<const char*>(cache) + size * record->index, size * record->count);
}

// ---- temporary files ----

int FgQorWrapper::mkstemps(char* templ, int suffix_len) {
    static const char letters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    size_t len = std::strlen(templ);
    if (suffix_len < 0 || len < static_cast<size_t>(suffix_len) + 6) return -1;
    char* x = templ + len - suffix_len - 6;
    if (std::strncmp(x, "XXXXXX", 6) != 0) return -1;

    struct sysinfo si;
    long uptime = (sysinfo(&si) == 0) ? si.uptime : 0;
    g_tempNameCounter += static_cast<uint64_t>(static_cast<int64_t>(uptime));

    for (int attempt = 0; attempt < 62 * 62 * 62; ++attempt) {
        uint64_t v = g_tempNameCounter;
        for (int i = 0; i < 6; ++i) {
            x[i] = letters[v % 62];
            v /= 62;
        }
        int fd = open(templ, O_RDWR | O_CREAT | O_EXCL, 0600);
        if (fd >= 0) return fd;
        g_tempNameCounter += 7777;
    }
    templ[0] = '\0';
    return -1;
}

char* FgQorWrapper::createTempFile() {
    char* name = static_cast<char*>(std::malloc(32));
    if (!name) return nullptr;
    std::strcpy(name, "/tmp/coef-XXXXXX.tiff");
    int fd = mkstemps(name, 5);
    if (fd >= 0) {
        close(fd);
        return name;
    }
    std::free(name);
    return nullptr;
}

void FgQorWrapper::deleteTempFile(char* path) {
    if (!path) return;
    unlink(path);
    std::free(path);
}

// ---- base behaviour of the virtual operations ----

ShadingMaster* FgQorWrapper::Fg_AllocShading(int, int) { return nullptr; }
int FgQorWrapper::Fg_FreeShading(ShadingMaster*) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_SetSubValueLine(ShadingMaster*, int, int, float) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_SetMultValueLine(ShadingMaster*, int, int, float) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_SetFixedPatternNoiseLine(ShadingMaster*, int, int, int) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_GetMaxLine(ShadingMaster*) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_GetAccess(ShadingMaster*) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_FreeAccess(ShadingMaster*) { return FG_ERR_NOT_SUPPORTED; }
int FgQorWrapper::Shad_WriteActLine(ShadingMaster*, int) { return FG_ERR_NOT_SUPPORTED; }

uint64_t FgQorWrapper::Fg_getEventMask(const char* name) {
    if (name == nullptr) return 0;
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = HapGetEvent(d->mDesignHandle, i);
        if (ev && ev->name && std::strcmp(ev->name, name) == 0) return uint64_t(1) << i;
    }
    return 0;
}

const char* FgQorWrapper::Fg_getEventName(uint64_t mask) {
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = HapGetEvent(d->mDesignHandle, i);
        if (ev && mask == (uint64_t(1) << i)) return ev->name;
    }
    return nullptr;
}
