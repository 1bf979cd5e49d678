// The device model of the simulated host runtime as its parts share it: the
// design parameters with their write log, the host-level parameters, the
// board handles. The common typed accesses are inline here (every host call
// takes them); the conversions and everything else live in host_device.cpp.
#ifndef HOST_PARAMS_H
#define HOST_PARAMS_H

#include <memory>

#include "host_internal.h"
#include "host_numbers.h"

namespace simhost {

// ---- write log ---------------------------------------------------------------

inline SimLogEntry& appendLog(Device* d, int id, const char* name, unsigned int dma, FgParamTypes type) {
    d->log.emplace_back();  // value-initialised: every field zero / NULL
    SimLogEntry& e = d->log.back();
    e.id = id;
    e.name = name;
    e.dma = dma;
    e.type = type;
    return e;
}

// ---- design parameters ---------------------------------------------------------

inline Param* paramById(Device* d, int id) {
    if (id < kDesignIdBase) return nullptr;
    size_t pos = static_cast<size_t>(id - kDesignIdBase);
    return pos < d->paramCount ? &d->params[pos] : nullptr;
}

inline Param* paramByName(Device* d, const char* name) {
    if (!d->table || name == nullptr) return nullptr;
    auto it = d->table->byName.find(name);
    return it == d->table->byName.end() ? nullptr : &d->table->params[static_cast<size_t>(it->second)];
}

inline FgParamTypes nativeType(const Param& p) {
    switch (p.kind) {
    case HAP_KIND_U32: return FG_PARAM_TYPE_UINT32_T;
    case HAP_KIND_U64: return FG_PARAM_TYPE_UINT64_T;
    case HAP_KIND_DOUBLE: return FG_PARAM_TYPE_DOUBLE;
    case HAP_KIND_TEXT: return FG_PARAM_TYPE_CHAR_PTR;
    default: return FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
    }
}

// Converts and stores a single number into a scalar parameter.
inline int storeScalar(Param& p, const Num& n) {
    switch (p.kind) {
    case HAP_KIND_U32: {
        uint64_t v;
        if (!toUnsigned(n, UINT32_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
        p.u = v;
        return FG_OK;
    }
    case HAP_KIND_U64: {
        uint64_t v;
        if (!toUnsigned(n, UINT64_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
        p.u = v;
        return FG_OK;
    }
    default: p.d = toDouble(n); return FG_OK;
    }
}

// Converts one element for a field; false when it does not fit.
inline bool elemFits(const Param& p, const Num& n, uint64_t& u, double& dv) {
    if (p.kind == HAP_KIND_UFIELD) return toUnsigned(n, UINT32_MAX, u);
    dv = toDouble(n);
    return true;
}

inline void setElem(Param& p, size_t k, uint64_t u, double dv) {
    if (p.kind == HAP_KIND_UFIELD)
        p.uf[k] = u;
    else
        p.df[k] = dv;
}

inline uint64_t elemLogValue(const Param& p, size_t k) { return p.kind == HAP_KIND_UFIELD ? p.uf[k] : bitsOf(p.df[k]); }

// An access record the field can serve: a known element type, a range
// inside the field, element memory for a non-empty range.
inline bool recordFits(const Param& p, const FieldParameterAccess& a, const ElemType& et) {
    return et.size != 0 && fieldRange(p.count, a.index, a.count) && (a.count == 0 || a.ptr != nullptr);
}

// Writes a design parameter with conversion (value not NULL, fault and

// Writes a design parameter with conversion (value not NULL, fault and
// access checks done). `log`: append the write to the log on success.
int writeDesignConverted(Device* d, Param& p, const void* value, unsigned int dma, FgParamTypes type, bool log);
// Reads a design parameter with conversion (value not NULL, fault check done).
int readDesignConverted(const Param& p, void* value, FgParamTypes type);

// A write that needs no conversion: the `T` at `value` stored in the
// parameter's and the log entry's field (u or d).
template <typename T, typename Field>
inline int writeDesignAsIs(Device* d, Param& p, Field Param::*field, Field SimLogEntry::*logged, const void* value,
                           unsigned int dma, FgParamTypes type, bool log) {
    T v;
    std::memcpy(&v, value, sizeof v);
    p.*field = v;
    if (log) appendLog(d, p.id, p.name.c_str(), dma, type).*logged = v;
    return FG_OK;
}

// Writes a design parameter (value not NULL, fault and access checks done).
// The common typed writes, a 32-bit parameter as UINT32_T and a double one as
// DOUBLE, need no conversion: they are stored and logged here as the general
// path would, without its detour through Num (this is the path of almost
// every applet call, so it is kept small and inline).
inline int writeDesign(Device* d, Param& p, const void* value, unsigned int dma, FgParamTypes type, bool log) {
    d->designVersion++;
    p.writes++;
    if (p.kind == HAP_KIND_U32 && type == FG_PARAM_TYPE_UINT32_T)
        return writeDesignAsIs<uint32_t>(d, p, &Param::u, &SimLogEntry::u, value, dma, type, log);
    if (p.kind == HAP_KIND_DOUBLE && type == FG_PARAM_TYPE_DOUBLE)
        return writeDesignAsIs<double>(d, p, &Param::d, &SimLogEntry::d, value, dma, type, log);
    return writeDesignConverted(d, p, value, dma, type, log);
}

// Reads a design parameter; the common typed reads (as for writes) inline.
inline int readDesign(const Param& p, void* value, FgParamTypes type) {
    if (p.kind == HAP_KIND_U32 && type == FG_PARAM_TYPE_UINT32_T) {
        if (p.u > UINT32_MAX) return FG_ERR_VALUE_OUT_OF_RANGE;
        const uint32_t v = static_cast<uint32_t>(p.u);
        std::memcpy(value, &v, sizeof v);
        return FG_OK;
    }
    if (p.kind == HAP_KIND_DOUBLE && type == FG_PARAM_TYPE_DOUBLE) {
        std::memcpy(value, &p.d, sizeof p.d);
        return FG_OK;
    }
    return readDesignConverted(p, value, type);
}

// ---- host-level parameters -------------------------------------------------

const char* hostLevelName(int id);
extern const int kHostLevelIds[9];
// A host-level parameter by identity (the design parameters are handled inline below).
int setHostLevelLocked(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type);
int getHostLevelLocked(Device* d, int id, void* value, unsigned int dma, FgParamTypes type);

inline int setLocked(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type) {
    if (Param* p = paramById(d, id)) {
        if (p->failWrite != 0) return p->failWrite;
        if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
        if (p->readOnly) return FG_ERR_NOT_AVAILABLE;
        return writeDesign(d, *p, value, dma, type, true);
    }
    return setHostLevelLocked(d, id, value, dma, type);
}

inline int getLocked(Device* d, int id, void* value, unsigned int dma, FgParamTypes type) {
    if (Param* p = paramById(d, id)) {
        if (p->failRead != 0) return p->failRead;
        if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
        return readDesign(*p, value, type);
    }
    return getHostLevelLocked(d, id, value, dma, type);
}

FgParamTypes untypedType(Device* d, int id);
void applyNamedFaults(Device* d);
std::unique_ptr<DesignTable> buildTable(fpga_design* design);
void loadRegisters(QORdevice* q, fpga_design* design);
void detach(Device* d, HostBoard* hb);
void deleteHostBoard(HostBoard* hb);

}  // namespace simhost

#endif  // HOST_PARAMS_H
