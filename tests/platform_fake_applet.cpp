// A stand-in applet library (see platform_fake_applet.h). Built twice: as
// libPlatformFake.so, and with PLATFORM_FAKE_NO_ENTRY as libPlatformNoEntry.so,
// which has no Std_entry.

#include <dlfcn.h>

#include <cstring>

#include "fg_applet.h"
#include "fg_platform.h"
#include "platform_fake_applet.h"

namespace {

FakeAppletRecord g_record;

const char kDesign[] =
    "TERVIK-HAP 1\n"
    "param Device1_Process0_Fake_Value U32 1 RW 5\n"
    "param Device1_Process1_Fake_Value U32 1 RW 6\n"
    "end\n";

struct FakeMaster {
    void* host = nullptr;
    Fg_Struct* hostFg = nullptr;
    fpga_design* design = nullptr;
    Fg_FreeGrabber_t free = nullptr;
    Fg_setParameterWithType_t set = nullptr;
    Fg_getParameterWithType_t get = nullptr;
    Fg_AcquireEx_t acquire = nullptr;
    Fg_getLastPicNumberEx_t lastPic = nullptr;
};

// Notes the handle of a routed call and returns the stand-in's board, if any.
FakeMaster* master(Fg_Struct* fg) {
    g_record.lastFg = fg;
    return fg ? reinterpret_cast<FakeMaster*>(fg->Master) : nullptr;
}

// Parameter access is recorded and passed on to the host board.
FakeMaster* routed(Fg_Struct* fg, int& calls, int id, unsigned int dma, FgParamTypes type) {
    FakeMaster* m = master(fg);
    if (m != nullptr) {
        calls++;
        g_record.lastId = id;
        g_record.lastDma = dma;
        g_record.lastType = type;
    }
    return m;
}

template <typename T>
T entry(void* lib, const char* name) {
    return reinterpret_cast<T>(dlsym(lib, name));
}

}  // namespace

extern "C" {

FG_APPLET_EXPORT FakeAppletRecord* FakeApplet_Record(void) { return &g_record; }

#ifndef PLATFORM_FAKE_NO_ENTRY
FG_APPLET_EXPORT Fg_Master* Std_entry(QORdevice* hw, int* err, int flags) {
    int local = 0;
    if (err == nullptr) err = &local;
    g_record.stdEntryCalls++;
    g_record.lastFlags = flags;
    g_record.lastDevice = hw;
    if (flags & FAKE_APPLET_FAIL) {
        *err = -1234;
        return nullptr;
    }
    if (flags & FAKE_APPLET_THROW) throw 7;
    void* host = dlopen(FG_HOST_RUNTIME_LIBRARY, RTLD_NOW);
    if (host == nullptr) {
        *err = FG_ERR_RUNTIME_MISSING;
        return nullptr;
    }
    fpga_design* design = HapLoadDesignFromBuffer(kDesign, sizeof kDesign - 1, 1);
    auto init = entry<Fg_InitHandleSlaveAware_t>(host, "Fg_InitHandleSlaveAware");
    Fg_Struct* hostFg = (init && design) ? init("Fake.hap", hw, design, flags) : nullptr;
    if (hostFg == nullptr) {
        auto lastError = entry<Fg_getLastErrorNumber_t>(host, "Fg_getLastErrorNumber");
        *err = lastError ? lastError(nullptr) : FG_ERR_INIT_FAILED;
        HapUnloadHapFile(design);
        dlclose(host);
        return nullptr;
    }
    FakeMaster* m = new FakeMaster;
    m->host = host;
    m->hostFg = hostFg;
    m->design = design;
    m->free = entry<Fg_FreeGrabber_t>(host, "Fg_FreeGrabber");
    m->set = entry<Fg_setParameterWithType_t>(host, "Fg_setParameterWithType");
    m->get = entry<Fg_getParameterWithType_t>(host, "Fg_getParameterWithType");
    m->acquire = entry<Fg_AcquireEx_t>(host, "Fg_AcquireEx");
    m->lastPic = entry<Fg_getLastPicNumberEx_t>(host, "Fg_getLastPicNumberEx");
    *err = 0;
    return reinterpret_cast<Fg_Master*>(m);
}
#endif

FG_APPLET_EXPORT int Fg_FreeGrabber(Fg_Struct* fg) {
    FakeMaster* m = master(fg);
    if (m == nullptr) return FG_ERR_INVALID_BOARD;
    g_record.freeCalls++;
    int rc = m->free ? m->free(m->hostFg) : 0;
    HapUnloadHapFile(m->design);
    dlclose(m->host);
    delete m;
    fg->Master = nullptr;
    return rc;
}

FG_APPLET_EXPORT int Fg_getLastErrorNumber(Fg_Struct* fg) {
    return master(fg) ? FAKE_APPLET_LAST_ERROR : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_setParameterWithType(Fg_Struct* fg, const int id, const void* value, const unsigned int dma,
                                             const FgParamTypes type) {
    FakeMaster* m = routed(fg, g_record.setCalls, id, dma, type);
    return m ? m->set(m->hostFg, id, value, dma, type) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_getParameterWithType(Fg_Struct* fg, const int id, void* value, const unsigned int dma,
                                             const FgParamTypes type) {
    FakeMaster* m = routed(fg, g_record.getCalls, id, dma, type);
    return m ? m->get(m->hostFg, id, value, dma, type) : FG_ERR_INVALID_BOARD;
}

FG_APPLET_EXPORT int Fg_getNrOfParameter(Fg_Struct* fg) {
    master(fg);
    return 42;
}

FG_APPLET_EXPORT const char* Fg_getParameterName(Fg_Struct* fg, int index) {
    master(fg);
    return index == 0 ? "FAKE_PARAMETER" : nullptr;
}

FG_APPLET_EXPORT uint64_t Fg_getEventMask(Fg_Struct* fg, const char* name) {
    master(fg);
    return name && std::strcmp(name, "FAKE_EVENT") == 0 ? 0x20 : 0;
}

FG_APPLET_EXPORT int Fg_AcquireEx(Fg_Struct* fg, int camPort, const frameindex_t picCount, int flag, dma_mem* mem) {
    FakeMaster* m = master(fg);
    if (m == nullptr) return FG_ERR_INVALID_BOARD;
    g_record.acquireCalls++;
    return m->acquire(m->hostFg, camPort, picCount, flag, mem);
}

FG_APPLET_EXPORT frameindex_t Fg_getLastPicNumberEx(Fg_Struct* fg, int camPort, dma_mem* mem) {
    FakeMaster* m = master(fg);
    return m ? m->lastPic(m->hostFg, camPort, mem) : FG_ERR_INVALID_BOARD;
}

}  // extern "C"
