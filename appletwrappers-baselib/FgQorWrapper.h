// FgQorWrapper: the reusable base of every applet object. It binds the applet
// to the host runtime (opened by name, entries taken with dlsym), keeps the
// host board handle, the design handle, the error store, the parameter
// registry and the dynamic range map, and offers derived applets the typed
// host calls through which they reach design parameters.
#ifndef FG_QOR_WRAPPER_H
#define FG_QOR_WRAPPER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory_resource>

#include "Fg_Arena.h"
#include "Fg_Error.h"
#include "fg_platform.h"
#include "fg_types.h"

class Fg_ParameterInfo;
class Fg_ConfigFileParser;

// The host runtime's entry points, one pointer per name, in the order in
// which initializeDllFunctions looks them up.
// clang-format off
#define FG_HOST_ENTRIES(X)                                                                        \
    X(Fg_getAppletId) X(Fg_setParameter) X(Fg_setParameterWithType) X(Fg_getParameter)           \
    X(Fg_getParameterWithType) X(Fg_saveConfig) X(Fg_loadConfig) X(Fg_Acquire) X(Fg_stopAcquire)  \
    X(Fg_getLastPicNumberBlockingEx) X(Fg_getLastPicNumberEx) X(Fg_FreeGrabber)                   \
    X(Fg_getLastErrorNumber) X(Fg_getStatusEx) X(Fg_AcquireEx) X(Fg_stopAcquireEx)                \
    X(Fg_getParameterInfo) X(Fg_AllocShading) X(Fg_FreeShading) X(Shad_SetSubValueLine)          \
    X(Shad_SetMultValueLine) X(Shad_SetFixedPatternNoiseLine) X(Shad_GetMaxLine)                   \
    X(Shad_GetAccess) X(Shad_FreeAccess) X(Shad_WriteActLine)
// clang-format on

// The binding record: the host entries the applet forwards to or calls back.
struct FgHostEntries {
#define FG_HOST_ENTRY_FIELD(name) name##_t DLL_##name;
    FG_HOST_ENTRIES(FG_HOST_ENTRY_FIELD)
#undef FG_HOST_ENTRY_FIELD
};

struct FgQorWrapperPrivate;

// Port -> SDK identity -> record; its nodes come from an arena of the applet
// object (a board enters some two hundred records when it opens).
typedef std::pmr::map<int, std::pmr::map<int, RegisterInfo*> > RegisterInfoMap;

class FgQorWrapper {
public:
    FgQorWrapper();

    // ---- virtual operations, in slot order ----
    virtual bool loadConfig(Fg_ConfigFileParser& parser) = 0;
    virtual void saveConfig(Fg_ConfigFileParser& parser) = 0;
    virtual int processChannelToDma(int, int) = 0;
    virtual int mapDmaToFormat(int) = 0;
    virtual void setDmaAlignment(int, int) = 0;
    virtual int getDmaAlignment(int) = 0;
    // May report misuse of the parameter lock (held at destruction) as std::logic_error.
    virtual ~FgQorWrapper() noexcept(false);
    virtual void createUserParameters() = 0;
    virtual int Fg_setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type) = 0;
    virtual int Fg_getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) = 0;
    virtual int Fg_getParameterIdByName(const char* name) = 0;
    virtual const char* Fg_getParameterName(int index) = 0;
    virtual int Fg_getParameterId(int index) = 0;
    virtual int Fg_getParameterCount() = 0;
    virtual int Fg_saveConfig(Fg_Struct* Fg, const char* Filename);
    virtual int Fg_loadConfig(Fg_Struct* Fg, const char* Filename);
    virtual int Fg_getParameterInfoXML(Fg_Struct* Fg, int port, char* infoBuffer, size_t* infoBufferSize);
    virtual ShadingMaster* Fg_AllocShading(int set, int port);
    virtual int Fg_FreeShading(ShadingMaster* sm);
    virtual int Shad_SetSubValueLine(ShadingMaster* sm, int x, int channel, float sub);
    virtual int Shad_SetMultValueLine(ShadingMaster* sm, int x, int channel, float mult);
    virtual int Shad_SetFixedPatternNoiseLine(ShadingMaster* sm, int x, int channel, int on);
    virtual int Shad_GetMaxLine(ShadingMaster* sm);
    virtual int Shad_GetAccess(ShadingMaster* sm);
    virtual int Shad_FreeAccess(ShadingMaster* sm);
    virtual int Shad_WriteActLine(ShadingMaster* sm, int line);
    virtual uint64_t Fg_getEventMask(const char* name);
    virtual const char* Fg_getEventName(uint64_t mask);
    virtual const char* getManufacturer() = 0;
    virtual const char* getCameraType() = 0;
    virtual const char* getCameraVersion() = 0;
    virtual int getAppletID() = 0;

    // ---- binding and handles ----
    int initializeDllFunctions(const char* dllName);
    int runFgInit(const char* hapName, QORdevice* hwhandle, fpga_design* design, int flags);
    void initHandles(QORdevice* hwhandle, fpga_design* design);
    RegisterInfo* Fg_getParameterInfo(int CamPort);
    int Fg_getLastErrorNumberQor();
    int Fg_getLastErrorNumber();
    void setError(int error) { hot_.error->setErr(error); }
    Fg_Struct* wrapperFg();  // the binding record, seen as the host's structure
    const FgHostEntries& hostEntries() const;
    Fg_Struct* talrunFg();  // the host board handle
    static QORdevice* accessDeviceHandle(QORdevice* h);
    static fpga_design* accessDesignHandle(fpga_design* h);

private:
    Fg_Arena mRangeMapMemory;  // the nodes of register_info_map

public:
    // The dynamic range map: port -> SDK identity -> record (not owned).
    RegisterInfoMap register_info_map{&mRangeMapMemory};
    bool draEnabled;

    // Looks a record up in register_info_map; NULL when none is registered.
    RegisterInfo* registeredInfo(int port, int id);

    // The temporary-name generator of the base (also used by createTempFile).
    static int mkstemps(char* templ, int suffix_len);

protected:
    int getParameterIdByName(const char* name);
    fpga_design* designHandle();
    QORdevice* boardHandle();
    Fg_Error& fgError();
    Fg_ParameterInfo* parameterInfo();

    // The typed host calls of derived applets: the host's answer, or -12 when
    // the host runtime offers no such entry (the entry is then a stand-in
    // answering -12, so that the call needs no test).
    int setUnwrappedParameterWithType(int id, const void* value, int dma, FgParamTypes type) {
        return hot_.setTyped(hot_.board, id, value, dma, type);
    }
    int getUnwrappedParameterWithType(int id, void* value, int dma, FgParamTypes type) {
        return hot_.getTyped(hot_.board, id, value, dma, type);
    }
    int setUnwrappedParameter(int id, const void* value, int dma);
    int getUnwrappedParameter(int id, void* value, int dma);
    RegisterInfo* getUnwrappedParameterInfo();

    void setFieldCache(uint32_t* cache, const FieldParameterInt* record);
    void getFieldCache(const uint32_t* cache, FieldParameterInt* record);
    void setFieldCache(double* cache, const FieldParameterDouble* record);
    void getFieldCache(const double* cache, FieldParameterDouble* record);
    void setFieldCache(void* cache, const FieldParameterAccess* record);
    void getFieldCache(const void* cache, FieldParameterAccess* record);

    char* createTempFile();
    void deleteTempFile(char* path);

private:
    FgQorWrapper(const FgQorWrapper&);
    FgQorWrapper& operator=(const FgQorWrapper&);

    FgQorWrapperPrivate* d;

    // What every typed access uses, copied from the private and binding
    // records where those are set (the binding record's two typed entries,
    // the host board handle, the error store), so that the hot path reads it
    // in one load instead of a chain of three.
    static int missingSetTyped(Fg_Struct*, int, const void*, unsigned int, FgParamTypes);
    static int missingGetTyped(Fg_Struct*, int, void*, unsigned int, FgParamTypes);
    struct HotPath {
        Fg_setParameterWithType_t setTyped = &missingSetTyped;
        Fg_getParameterWithType_t getTyped = &missingGetTyped;
        Fg_Struct* board = nullptr;
        Fg_Error* error = nullptr;
    } hot_;
};

#endif
