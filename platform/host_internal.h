// Internal state of the simulated host runtime (libtalrun5.so).
//
// A simulated device (QORdevice, sim_device.h) carries a Device: the design
// parameter table built from the design at board initialisation, the
// host-level parameters, the write log, the fault injection and the
// acquisition counters. Host board handles (HostBoard) and application handles
// (AppBoard) both begin with the public Fg_Struct followed by a kind tag, so
// every exported entry can tell them apart.
#ifndef HOST_INTERNAL_H
#define HOST_INTERNAL_H

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "acq_engine.h"
#include "fg_applet.h"
#include "fg_platform.h"
#include "hap_internal.h"
#include "sim_board.h"
#include "sim_device.h"

namespace simhost {

// Identities of design parameters: kDesignIdBase + position in the design.
// Far above every host-level and SDK identity.
constexpr int kDesignIdBase = 1048576;
constexpr int kNrOfDmas = 2;

// Initial values of the host-level parameters.
constexpr uint32_t kInitialTimeout = 1000000;
constexpr uint32_t kInitialApcStopTimeout = 5;
// Bytes per frame reported as FG_TRANSFER_LEN by the counter model.
constexpr uint64_t kFrameBytes = 1024u * 1024u;

enum HandleKind : uint32_t {
    kHostKind = 0x54534f48u,  // "HOST"
    kAppKind = 0x20505041u,   // "APP "
    kDeadKind = 0xdeaddeadu
};

struct HandleHeader {
    Fg_Struct pub;
    uint32_t kind;
};

struct Param {
    std::string name;
    int id = 0;
    int kind = HAP_KIND_U32;
    uint32_t count = 1;
    bool readOnly = false;
    uint64_t u = 0;
    double d = 0.0;
    std::string text;
    std::vector<uint64_t> uf;  // UFIELD elements
    std::vector<double> df;    // DFIELD elements
    int failRead = 0;
    int failWrite = 0;
    uint64_t writes = 0;  // writes since the design was loaded (the engine counts pulses by it)
};

struct DesignTable {
    std::vector<Param> params;
    std::unordered_map<std::string, int> byName;  // -> position
};

// The description tree of one port; every record and string is owned here.
// The element values of logged table writes. A cleared log keeps its
// buffers and hands them out again, so a table write logs without allocating
// once the log has held as many; a buffer's address stays valid until the
// next clear.
class FieldLog {
public:
    std::vector<uint64_t>& next(size_t count) {
        if (used_ == slots_.size()) slots_.emplace_back();
        std::vector<uint64_t>& v = slots_[used_++];
        v.resize(count);
        return v;
    }
    void clear() { used_ = 0; }

private:
    std::deque<std::vector<uint64_t>> slots_;
    size_t used_ = 0;
};

struct InfoTree {
    std::deque<RegisterInfo> recs;
    std::deque<std::string> strs;
    std::deque<std::vector<RegisterInfo*>> kids;
    std::deque<std::vector<char*>> charLists;
    std::deque<std::vector<int>> intLists;
    RegisterInfo* root = nullptr;
};

struct Device;

struct HostBoard {
    HandleHeader hdr;
    Device* dev = nullptr;  // NULL once the device was destroyed
    int lastError = 0;
    std::unique_ptr<InfoTree> info[kNrOfDmas];
};

struct NamedFault {
    std::string name;
    int readCode = 0;
    int writeCode = 0;
};

struct Device {
    QORdevice* q = nullptr;
    std::mutex m;

    std::unique_ptr<DesignTable> table;
    // The current table's parameters by position, for the lookup by identity
    // that every host call makes (set whenever `table` changes).
    Param* params = nullptr;
    size_t paramCount = 0;
    std::vector<std::unique_ptr<DesignTable>> retired;  // keeps logged names valid
    fpga_design* design = nullptr;                      // not owned
    HostBoard* current = nullptr;
    std::vector<HostBoard*> handles;

    // host-level parameters, per DMA
    uint64_t timeout[kNrOfDmas] = {kInitialTimeout, kInitialTimeout};
    uint64_t apcStopTimeout[kNrOfDmas] = {kInitialApcStopTimeout, kInitialApcStopTimeout};
    uint64_t transferLen[kNrOfDmas] = {0, 0};

    // write log (successful writes only)
    std::vector<SimLogEntry> log;
    std::deque<std::string> logTexts;
    FieldLog logFields;

    // host calls and faults
    int hostCalls = 0;
    int failNth = 0;
    int failNthCode = 0;
    int failInit = 0;
    std::vector<NamedFault> namedFaults;

    // Counts every design write: the acquisition engine reads the design
    // again when it changed.
    uint64_t designVersion = 0;

    // acquisition
    std::unique_ptr<AcqBoard> acqEngine{new AcqBoard};
    SimAcquisitionCounters acq{};
    int frames[kNrOfDmas] = {0, 0};
    int picCount[kNrOfDmas] = {0, 0};
};

struct AppletEntries {
    decltype(&::Fg_FreeGrabber) FreeGrabber = nullptr;
    decltype(&::Fg_getLastErrorNumber) getLastErrorNumber = nullptr;
    decltype(&::Fg_setParameterWithType) setParameterWithType = nullptr;
    decltype(&::Fg_getParameterWithType) getParameterWithType = nullptr;
    decltype(&::Fg_getNrOfParameter) getNrOfParameter = nullptr;
    decltype(&::Fg_getParameterName) getParameterName = nullptr;
    decltype(&::Fg_getParameterId) getParameterId = nullptr;
    decltype(&::Fg_getParameterIdByName) getParameterIdByName = nullptr;
    decltype(&::Fg_getParameterInfo) getParameterInfo = nullptr;
    decltype(&::Fg_getParameterInfoXML) getParameterInfoXML = nullptr;
    decltype(&::Fg_saveConfig) saveConfig = nullptr;
    decltype(&::Fg_loadConfig) loadConfig = nullptr;
    decltype(&::Fg_getEventMask) getEventMask = nullptr;
    decltype(&::Fg_getEventName) getEventName = nullptr;
    decltype(&::Fg_getAppletId) getAppletId = nullptr;
    decltype(&::Fg_getStatusEx) getStatusEx = nullptr;
    decltype(&::Fg_AcquireEx) AcquireEx = nullptr;
    decltype(&::Fg_stopAcquireEx) stopAcquireEx = nullptr;
    decltype(&::Fg_getLastPicNumberEx) getLastPicNumberEx = nullptr;
    decltype(&::Fg_getLastPicNumberBlockingEx) getLastPicNumberBlockingEx = nullptr;
    decltype(&::Fg_AllocShading) AllocShading = nullptr;
    decltype(&::Fg_FreeShading) FreeShading = nullptr;
    decltype(&::Shad_SetSubValueLine) SetSubValueLine = nullptr;
    decltype(&::Shad_SetMultValueLine) SetMultValueLine = nullptr;
    decltype(&::Shad_SetFixedPatternNoiseLine) SetFixedPatternNoiseLine = nullptr;
    decltype(&::Shad_GetMaxLine) GetMaxLine = nullptr;
    decltype(&::Shad_GetAccess) GetAccess = nullptr;
    decltype(&::Shad_FreeAccess) FreeAccess = nullptr;
    decltype(&::Shad_WriteActLine) WriteActLine = nullptr;
};

struct AppBoard {
    HandleHeader hdr;
    void* lib = nullptr;
    QORdevice* dev = nullptr;
    AppletEntries fn;
};

// ---- handles ---------------------------------------------------------------

inline uint32_t kindOf(Fg_Struct* fg) { return fg == nullptr ? 0u : reinterpret_cast<HandleHeader*>(fg)->kind; }
inline HostBoard* asHost(Fg_Struct* fg) { return kindOf(fg) == kHostKind ? reinterpret_cast<HostBoard*>(fg) : nullptr; }
inline AppBoard* asApp(Fg_Struct* fg) { return kindOf(fg) == kAppKind ? reinterpret_cast<AppBoard*>(fg) : nullptr; }

// The last error of a failed initialisation in this process.
extern std::atomic<int> g_initError;

// ---- devices (host_device.cpp) ---------------------------------------------

QORdevice* createDevice(unsigned int boardIndex);
void destroyDevice(QORdevice* q);
Device* deviceOf(QORdevice* q);  // NULL unless a live simulated device
Fg_Struct* initHostBoard(QORdevice* hw, fpga_design* design);
// Frees every host handle still attached to the device.
void freeAttachedHandles(QORdevice* q);

// ---- host face (host_face.cpp, host_info.cpp) -------------------------------

// Every host-face call begins with this under the device lock: counts the call
// and applies the n-th-call fault. 0 to go on, else the code to return.
int beginHostCall(HostBoard* hb);

int hostSetParameter(HostBoard* hb, int id, const void* value, unsigned int dma, FgParamTypes type);
int hostGetParameter(HostBoard* hb, int id, void* value, unsigned int dma, FgParamTypes type);
int hostSetParameterUntyped(HostBoard* hb, int id, const void* value, unsigned int dma);
int hostGetParameterUntyped(HostBoard* hb, int id, void* value, unsigned int dma);
int hostGetParameterIdByName(HostBoard* hb, const char* name);
int hostGetNrOfParameter(HostBoard* hb);
const char* hostGetParameterName(HostBoard* hb, int index);
int hostGetParameterId(HostBoard* hb, int index);
int hostGetLastError(HostBoard* hb);
int hostFreeGrabber(HostBoard* hb);
RegisterInfo* hostGetParameterInfo(HostBoard* hb, int port);
uint64_t hostGetEventMask(HostBoard* hb, const char* name);
const char* hostGetEventName(HostBoard* hb, uint64_t mask);
// Calls that only count, apply faults and answer `code` (shading, unsupported).
int hostUnsupported(HostBoard* hb, int code);

int hostAcquire(HostBoard* hb, int dma, frameindex_t picCount, dma_mem* mem);
int hostStopAcquire(HostBoard* hb, int dma);
frameindex_t hostLastPicNumber(HostBoard* hb, int dma);
frameindex_t hostLastPicNumberBlocking(HostBoard* hb, frameindex_t picNr, int dma, int timeout);
frameindex_t hostStatus(HostBoard* hb, int param, frameindex_t data, unsigned int dma);
int hostAppletId(HostBoard* hb, const char* name);

// SimBoard control (host_control.cpp), without counting calls or logging.
namespace sim {
int parameterId(QORdevice* q, const char* name);
int getValue(QORdevice* q, const char* name, FgParamTypes type, void* value);
int setValue(QORdevice* q, const char* name, FgParamTypes type, const void* value);
int getFieldElement(QORdevice* q, const char* name, unsigned int index, double* value);
int setFieldElement(QORdevice* q, const char* name, unsigned int index, double value);
int logCount(QORdevice* q);
int logEntry(QORdevice* q, int i, SimLogEntry* out);
void logClear(QORdevice* q);
int hostCallCount(QORdevice* q);
void failNthHostCall(QORdevice* q, int n, int code);
void failParameter(QORdevice* q, const char* name, int isWrite, int code);
void failInit(QORdevice* q, int code);
void clearFaults(QORdevice* q);
Fg_Struct* hostHandleOf(QORdevice* q);
QORdevice* deviceOfHostHandle(Fg_Struct* fg);
void acquisitionCounters(QORdevice* q, SimAcquisitionCounters* out);
}  // namespace sim

// Builds the description tree of one port from the parameter table.
std::unique_ptr<InfoTree> buildInfoTree(const DesignTable& table, int port);

}  // namespace simhost

#endif  // HOST_INTERNAL_H
