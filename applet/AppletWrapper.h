// FgQorWrapperImpl: the Orvindel applet object. One per opened board.
//
// The vocabularies are tables (sdk_params.def, design_params.def,
// port_cache.def, catalogue.def, enums.def); the members below are derived
// from them. Every handler is written once with the port as an argument; the
// named _P0/_P1 entry points are generated from that one definition.
#ifndef APPLET_WRAPPER_H
#define APPLET_WRAPPER_H

#include <cstdint>
#include <map>
#include <memory_resource>
#include <string>

#include "FgQorWrapper.h"
#include "Fg_Arena.h"
#include "camera_simulator.h"
#include "catalogue_ranges.h"
#include "fg_types.h"
#include "sdk_enums.h"
#include "sdk_ids.h"
#include "templates/platform/CriticalSection.h"
#include "templates/platform/PropertiesFile.h"

class Fg_ConfigFileParser;

// True when an environment switch reads "yes", "true", "on" or "1" in any letter case.
bool orvSwitchEnabled(const char* value);

// ---- design parameters ------------------------------------------------------

// Per-process design parameters ("Device1_Process<port>_" + name).
enum DesignPort {
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS) DP_##NAME,
#include "design_params.def"
    DP_COUNT
};
// Board-wide design parameters of process 0.
enum DesignBoard {
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) DB_##NAME,
#include "design_params.def"
    DB_COUNT
};
// Design parameters of process 2, shared by both ports.
enum DesignShared {
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) DS_##NAME,
#include "design_params.def"
    DS_COUNT
};

enum { kPortCount = 2, kLutSize = catalogue::FG_LUT_VALUE::size };

// ---- enumeration tables ---------------------------------------------------------

struct EnumField {
    const char* name;     // display text
    uint32_t value;       // the SDK value
    const char* defName;  // the SDK constant name
};

struct EnumTable {
    const char* tableName;
    const EnumField* fields;
    int count;
    bool contains(uint32_t v) const {
        for (int i = 0; i < count; ++i)
            if (fields[i].value == v) return true;
        return false;
    }
};

namespace enum_tables {
#define ENUM_TABLE(NAME) extern const EnumTable NAME;
#include "enums.def"
}  // namespace enum_tables

// All enumeration tables, in table order (for name resolution and tests).
extern const EnumTable* const kAllEnumTables[];
extern const int kAllEnumTableCount;

// ---- per-port state ---------------------------------------------------------------

// The C types of the TYPE column of port_cache.def.
typedef uint32_t PortType_U32;
typedef double PortType_DOUBLE;

struct PortState : CamSimWorkingValues {
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) \
    PortType_##TYPE cache_##NAME = static_cast<PortType_##TYPE>(VALUE);
#define PORT_CACHE_LUT(NAME) uint32_t cache_##NAME[kLutSize] = {};
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) std::string cache_##NAME;
#include "port_cache.def"
};

// ---- handler declarations, derived from the SDK table -----------------------------

#define ORV_SET_U32(NAME) void set_##NAME(int port, uint32_t value, bool throwOnError);
#define ORV_SET_DOUBLE(NAME) void set_##NAME(int port, double value, bool throwOnError);
#define ORV_SET_TEXT(NAME) void set_##NAME(int port, const char* value, bool throwOnError);
#define ORV_SET_UFIELD(NAME) void set_##NAME(int port, const FieldParameterAccess* value, bool throwOnError);
#define ORV_SET_HANDLER(NAME, TYPE) ORV_SET_##TYPE(NAME)
#define ORV_SET_READONLY(NAME, TYPE)

#define ORV_GET_U32(NAME) void get_##NAME(int port, uint32_t* value);
#define ORV_GET_DOUBLE(NAME) void get_##NAME(int port, double* value);
#define ORV_GET_TEXT(NAME) void get_##NAME(int port, char* value);
#define ORV_GET_U64(NAME) void get_##NAME(int port, uint64_t* value);
#define ORV_GET_UFIELD(NAME)                                \
    void get_##NAME(int port, FieldParameterAccess* value); \
    void get_##NAME(int port, FieldParameterInt* value);
#define ORV_GET_DFIELD(NAME)                                \
    void get_##NAME(int port, FieldParameterAccess* value); \
    void get_##NAME(int port, FieldParameterDouble* value);
#define ORV_GET_HANDLER(NAME, TYPE) ORV_GET_##TYPE(NAME)
#define ORV_GET_CONST0(NAME, TYPE)
#define ORV_GET_CONST3(NAME, TYPE)
#define ORV_GET_CONST12(NAME, TYPE)
#define ORV_GET_HOST(NAME, TYPE)

// Named per-port entry points: set_sdk_param_<NAME>_P0 / _P1 and the getters.
#define ORV_TWIN_SET_U32(NAME) ORV_TWIN_SET(NAME, uint32_t)
#define ORV_TWIN_SET_DOUBLE(NAME) ORV_TWIN_SET(NAME, double)
#define ORV_TWIN_SET_TEXT(NAME) ORV_TWIN_SET(NAME, const char*)
#define ORV_TWIN_SET_UFIELD(NAME) ORV_TWIN_SET(NAME, const FieldParameterAccess*)
#define ORV_TWIN_SET(NAME, T)                                                                          \
    void set_sdk_param_##NAME##_P0(T value, bool throwOnError) { set_##NAME(0, value, throwOnError); } \
    void set_sdk_param_##NAME##_P1(T value, bool throwOnError) { set_##NAME(1, value, throwOnError); }
#define ORV_TWIN_SET_HANDLER(NAME, TYPE) ORV_TWIN_SET_##TYPE(NAME)
#define ORV_TWIN_SET_READONLY(NAME, TYPE)

#define ORV_TWIN_GET(NAME, T)                                          \
    void get_sdk_param_##NAME##_P0(T* value) { get_##NAME(0, value); } \
    void get_sdk_param_##NAME##_P1(T* value) { get_##NAME(1, value); }
#define ORV_TWIN_GET_U32(NAME) ORV_TWIN_GET(NAME, uint32_t)
#define ORV_TWIN_GET_DOUBLE(NAME) ORV_TWIN_GET(NAME, double)
#define ORV_TWIN_GET_TEXT(NAME) ORV_TWIN_GET(NAME, char)
#define ORV_TWIN_GET_U64(NAME) ORV_TWIN_GET(NAME, uint64_t)
#define ORV_TWIN_GET_UFIELD(NAME) ORV_TWIN_GET(NAME, FieldParameterAccess) ORV_TWIN_GET(NAME, FieldParameterInt)
#define ORV_TWIN_GET_DFIELD(NAME) ORV_TWIN_GET(NAME, FieldParameterAccess) ORV_TWIN_GET(NAME, FieldParameterDouble)
#define ORV_TWIN_GET_HANDLER(NAME, TYPE) ORV_TWIN_GET_##TYPE(NAME)
#define ORV_TWIN_GET_CONST0(NAME, TYPE)
#define ORV_TWIN_GET_CONST3(NAME, TYPE)
#define ORV_TWIN_GET_CONST12(NAME, TYPE)
#define ORV_TWIN_GET_HOST(NAME, TYPE)

class FgQorWrapperImpl : public FgQorWrapper {
public:
    FgQorWrapperImpl();
    ~FgQorWrapperImpl() override;

    // ---- virtual operations ----
    bool loadConfig(Fg_ConfigFileParser& parser) override;
    void saveConfig(Fg_ConfigFileParser& parser) override;
    int processChannelToDma(int, int) override;
    int mapDmaToFormat(int) override;
    void setDmaAlignment(int, int) override;
    int getDmaAlignment(int) override;
    void createUserParameters() override;
    int Fg_setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type) override;
    int Fg_getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) override;
    int Fg_getParameterIdByName(const char* name) override;
    const char* Fg_getParameterName(int index) override;
    int Fg_getParameterId(int index) override;
    int Fg_getParameterCount() override;
    uint64_t Fg_getEventMask(const char* name) override;
    const char* Fg_getEventName(uint64_t mask) override;
    const char* getManufacturer() override { return "Tervik GmbH"; }
    const char* getCameraType() override { return "Orvindel"; }
    const char* getCameraVersion() override { return "2.4"; }
    int getAppletID() override { return 0; }

    // ---- start-up ----
    void initInternalMaps();
    void retrieveIds();
    void setDefaultValues();
    // The process of a DMA index (map_dma_process); an unknown one raises -2070.
    int mapDmaToProcess(int dma) const {
        // (An unmapped DMA holds -1, which the unsigned comparison refuses; the
        // comparison also tells the compiler that the port is below kPortCount.)
        if (static_cast<unsigned>(dma) < static_cast<unsigned>(kPortCount) &&
            static_cast<unsigned>(dmaProcess_[dma]) < static_cast<unsigned>(kPortCount))
            return dmaProcess_[dma];
        throw int(FG_ERR_INVALID_PARAMETER);
    }

    // ---- table dispatch (report failure by raising an int code) ----
    void setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type);
    void getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type);

    // ---- handlers: one body per parameter, the port as data ----
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) ORV_SET_##WRITE(NAME, TYPE) ORV_GET_##READ(NAME, TYPE)
#include "sdk_params.def"

#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    ORV_TWIN_SET_##WRITE(NAME, TYPE) ORV_TWIN_GET_##READ(NAME, TYPE)
#include "sdk_params.def"

    // Writes the frame-cutting design parameters of a port (shared by the
    // height, y-offset and image trigger mode setters); always throws on failure.
    void setTriggerHeightAndOffset(int port, uint32_t yOffset, uint32_t height, uint32_t imgTriggerMode);
    void setTriggerHeightAndOffset_P0(uint32_t y, uint32_t h, uint32_t m) { setTriggerHeightAndOffset(0, y, h, m); }
    void setTriggerHeightAndOffset_P1(uint32_t y, uint32_t h, uint32_t m) { setTriggerHeightAndOffset(1, y, h, m); }

    // ---- design-parameter access ----
    int32_t qorPort(int port, DesignPort dp) const { return qorPort_[dp][port]; }
    int32_t qorBoard(DesignBoard db) const { return qorBoard_[db]; }
    int32_t qorShared(DesignShared ds) const { return qorShared_[ds]; }

    // Typed host access by design identity; a NULL value raises -2070, a host
    // failure its code (both only with throwOnError). Inline: every design
    // write and read of a handler takes this road.
    void designWrite(int32_t id, const void* value, int dma, FgParamTypes type, bool throwOnError = true) {
        if (value == nullptr) return reject(FG_ERR_INVALID_PARAMETER, throwOnError);
        if (int result = setUnwrappedParameterWithType(id, value, dma, type)) reject(result, throwOnError);
    }
    void designRead(int32_t id, void* value, int dma, FgParamTypes type, bool throwOnError = true) {
        if (value == nullptr) return reject(FG_ERR_INVALID_PARAMETER, throwOnError);
        if (int result = getUnwrappedParameterWithType(id, value, dma, type)) reject(result, throwOnError);
    }
    void writeU32(int port, DesignPort dp, uint32_t v) {
        designWrite(qorPort(port, dp), &v, port, FG_PARAM_TYPE_UINT32_T);
    }
    void writeDouble(int port, DesignPort dp, double v) {
        designWrite(qorPort(port, dp), &v, port, FG_PARAM_TYPE_DOUBLE);
    }
    uint32_t readU32(int port, DesignPort dp) {
        uint32_t v = 0;
        designRead(qorPort(port, dp), &v, port, FG_PARAM_TYPE_UINT32_T);
        return v;
    }

    // The set_qor_param_ / get_qor_param_ accessor family and the qor_id_
    // identities, generated from the design table.
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS)                                           \
    int32_t& qor_id_Device1_Process0_##NAME() { return qorPort_[DP_##NAME][0]; }               \
    int32_t& qor_id_Device1_Process1_##NAME() { return qorPort_[DP_##NAME][1]; }               \
    void set_qor_param_Device1_Process0_##NAME(const void* v, int process, int type, bool t) { \
        designWrite(qorPort_[DP_##NAME][0], v, process, FgParamTypes(type), t);                \
    }                                                                                          \
    void set_qor_param_Device1_Process1_##NAME(const void* v, int process, int type, bool t) { \
        designWrite(qorPort_[DP_##NAME][1], v, process, FgParamTypes(type), t);                \
    }                                                                                          \
    void get_qor_param_Device1_Process0_##NAME(void* v, int process, int type, bool t) {       \
        designRead(qorPort_[DP_##NAME][0], v, process, FgParamTypes(type), t);                 \
    }                                                                                          \
    void get_qor_param_Device1_Process1_##NAME(void* v, int process, int type, bool t) {       \
        designRead(qorPort_[DP_##NAME][1], v, process, FgParamTypes(type), t);                 \
    }
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS)                                          \
    int32_t& qor_id_Device1_Process0_##NAME() { return qorBoard_[DB_##NAME]; }                 \
    void set_qor_param_Device1_Process0_##NAME(const void* v, int process, int type, bool t) { \
        designWrite(qorBoard_[DB_##NAME], v, process, FgParamTypes(type), t);                  \
    }                                                                                          \
    void get_qor_param_Device1_Process0_##NAME(void* v, int process, int type, bool t) {       \
        designRead(qorBoard_[DB_##NAME], v, process, FgParamTypes(type), t);                   \
    }
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS)                                         \
    int32_t& qor_id_Device1_Process2_##NAME() { return qorShared_[DS_##NAME]; }                \
    void set_qor_param_Device1_Process2_##NAME(const void* v, int process, int type, bool t) { \
        designWrite(qorShared_[DS_##NAME], v, process, FgParamTypes(type), t);                 \
    }                                                                                          \
    void get_qor_param_Device1_Process2_##NAME(void* v, int process, int type, bool t) {       \
        designRead(qorShared_[DS_##NAME], v, process, FgParamTypes(type), t);                  \
    }
#include "design_params.def"

    // ---- helpers for handlers ----

    // Raises `code` when throwOnError, else returns quietly: for checks made
    // before anything was changed.
    static void reject(int code, bool throwOnError) {
        if (throwOnError) throw code;
    }
    // The setter pattern: keep the old cached value, cache the new one, run the
    // design writes; on failure put the old value back and raise or swallow.
    template <class T, class V, class Writes>
    static void commit(T& cache, const V& value, bool throwOnError, Writes&& writes) {
        T old = cache;
        cache = value;
        try {
            writes();
        } catch (int) {
            cache = old;
            if (throwOnError) throw;
        }
    }
    template <class T>
    static void readCache(T* out, const T& cache) {
        if (out == nullptr) throw int(FG_ERR_INVALID_PARAMETER);
        *out = cache;
    }
    // The registry record of (port, SDK identity), or NULL. Handlers call it
    // on every write that narrows a range or changes an access flag, so it
    // reads the index built with the catalogue instead of walking
    // register_info_map: for an identity named as a constant (the usual case)
    // the SDK position folds at compile time and the lookup is one load.
    [[gnu::always_inline]] RegisterInfo* info(int port, int id) {
        if (__builtin_constant_p(id)) return infoAt(port, sdkIndex(id), id);
        return infoOf(port, id);
    }
    RegisterInfo* infoAt(int port, int index, int id) {
        if (index >= 0 && static_cast<unsigned>(port) < static_cast<unsigned>(kPortCount)) return sdkInfo_[port][index];
        return registeredInfo(port, id);
    }
    RegisterInfo* infoOf(int port, int id);  // info() for an identity known only at run time
    // Position of an SDK identity in the SDK table, -1 for any other identity
    // (always inlined, so that a constant identity folds to its position).
    [[gnu::always_inline]] static constexpr int sdkIndex(int id) {
        switch (id) {
// clang-format off
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    case ID:                                                \
        return SDK_INDEX_##NAME;
#include "sdk_params.def"
            // clang-format on
        default: return -1;
        }
    }
    // Copies the SDK records of register_info_map into the index info() reads;
    // called once the catalogue is registered (the map is not changed later,
    // only the records it points to).
    void indexRegisteredInfo();
    void setAccess(int port, int id, int flags) {
        if (RegisterInfo* r = info(port, id)) r->accessFlags = flags;
    }

    PortState port_[kPortCount];

    // ---- maps (built by initInternalMaps) ----
    // Ordered maps whose nodes and texts come from an arena of the object
    // (mapMemory, given back as a whole with it): a board fills them with
    // some eight hundred nodes and texts when it opens. Names are looked up
    // without making a text of the key. The descriptions are the constant
    // texts of the SDK table themselves, the same for both ports and every
    // board, not copies of them.
    typedef std::pmr::map<int, int> IntToIntMap;
    typedef std::pmr::map<std::pmr::string, int, std::less<>> StringToIntMap;
    typedef std::pmr::map<int, std::pmr::string> IntToStringMap;
    typedef std::pmr::map<std::pmr::string, const char*, std::less<>> StringToStringMap;
    typedef std::pmr::map<std::pmr::string, uint64_t, std::less<>> EventNameToEventIdMap;
    typedef std::pmr::map<uint64_t, std::pmr::string> EventIdToEventNameMap;

    tervik::templates::platform::CriticalSection mParameterLock;
    tervik::templates::platform::PropertiesFile inspectProperties;
    std::string dllBaseName;

    Fg_Arena mapMemory;
    IntToIntMap map_dma_process{&mapMemory};
    StringToIntMap map_parameter_name_parameter_id{&mapMemory};
    StringToIntMap map_inspect_parameter_name_parameter_id{&mapMemory};
    IntToStringMap map_parameter_index_parameter_name{&mapMemory};
    StringToStringMap map_parameter_name_parameter_description[kPortCount] = {StringToStringMap{&mapMemory},
                                                                              StringToStringMap{&mapMemory}};
    EventNameToEventIdMap map_event_name_event_id{&mapMemory};
    EventIdToEventNameMap map_event_id_event_name{&mapMemory};

    // Direct QOR access: marks every eligible leaf of the host's description
    // tree in the properties store under `section`, and publishes the marked
    // names of `section` (exposed for tests with a non-empty section).
    void markInspectableParameters(const std::string& section);
    void publishInspectableParameters(const std::string& section);

private:
    template <class Value, class Host, class Register, class Table>
    int typedAccess(int Param, Value* value, Host&& host, Register&& reg, Table&& table);
    // The bodies of the table dispatch, inline in the typed access (dispatch.cpp only).
    inline void dispatchSet(unsigned row, int Param, const void* Value, int CamPort, FgParamTypes Type);
    inline void dispatchGet(unsigned row, int Param, void* Value, int CamPort, FgParamTypes Type);
    void addDirectRegisterRecords(int port, RegisterInfo* group);
    void addDirectQorRecords(int port, RegisterInfo* group);
    int directRegisterWrite(int id, const void* value);
    int directRegisterRead(int id, void* value);
    void setLutElement(int port, const FieldParameterInt* element);
    void describe(int port, char* buffer);

    int32_t qorPort_[DP_COUNT][kPortCount];
    int32_t qorBoard_[DB_COUNT];
    int32_t qorShared_[DS_COUNT];
    int dmaProcess_[kPortCount];                               // map_dma_process, as the typed path reads it
    RegisterInfo* sdkInfo_[kPortCount][SDK_PARAM_COUNT] = {};  // register_info_map by SDK position
};

#endif
