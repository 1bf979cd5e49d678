// The simulated host runtime: devices, board initialisation, the host face of
// parameter access with its write log and fault injection, and the
// acquisition counters.

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host_internal.h"

namespace simhost {

std::atomic<int> g_initError{0};

namespace {

constexpr size_t kLogReserve = 16384;

// ---- numbers -----------------------------------------------------------------

struct Num {
    enum Kind { U, I, D } k = U;
    uint64_t u = 0;
    int64_t i = 0;
    double d = 0.0;
};

Num numU(uint64_t v) {
    Num n;
    n.k = Num::U;
    n.u = v;
    return n;
}
Num numI(int64_t v) {
    Num n;
    n.k = Num::I;
    n.i = v;
    return n;
}
Num numD(double v) {
    Num n;
    n.k = Num::D;
    n.d = v;
    return n;
}

bool isNumericType(FgParamTypes t) {
    switch (t) {
        case FG_PARAM_TYPE_INT32_T:
        case FG_PARAM_TYPE_UINT32_T:
        case FG_PARAM_TYPE_INT64_T:
        case FG_PARAM_TYPE_UINT64_T:
        case FG_PARAM_TYPE_DOUBLE:
        case FG_PARAM_TYPE_SIZE_T:
            return true;
        default:
            return false;
    }
}

// The value of type T at v, which need not be aligned.
template <class T>
T loadAs(const void* v) {
    T x;
    std::memcpy(&x, v, sizeof x);
    return x;
}

// Reads a number of type t at v (t must be numeric).
Num loadNum(FgParamTypes t, const void* v) {
    switch (t) {
        case FG_PARAM_TYPE_INT32_T:
            return numI(loadAs<int32_t>(v));
        case FG_PARAM_TYPE_UINT32_T:
            return numU(loadAs<uint32_t>(v));
        case FG_PARAM_TYPE_INT64_T:
            return numI(loadAs<int64_t>(v));
        case FG_PARAM_TYPE_UINT64_T:
            return numU(loadAs<uint64_t>(v));
        case FG_PARAM_TYPE_SIZE_T:
            return numU(loadAs<size_t>(v));
        default:
            return numD(loadAs<double>(v));
    }
}

// Unsigned value in [0, max]; doubles are rounded to the nearest integer.
bool toUnsigned(const Num& n, uint64_t max, uint64_t& out) {
    switch (n.k) {
        case Num::U:
            if (n.u > max) return false;
            out = n.u;
            return true;
        case Num::I:
            if (n.i < 0 || static_cast<uint64_t>(n.i) > max) return false;
            out = static_cast<uint64_t>(n.i);
            return true;
        default: {
            double r = std::floor(n.d + 0.5);
            if (!(r >= 0.0)) return false;
            if (max == UINT64_MAX ? !(r < 18446744073709551616.0) : !(r <= static_cast<double>(max)))
                return false;
            out = static_cast<uint64_t>(r);
            return true;
        }
    }
}

bool toSigned(const Num& n, int64_t min, int64_t max, int64_t& out) {
    switch (n.k) {
        case Num::U:
            if (n.u > static_cast<uint64_t>(max)) return false;
            out = static_cast<int64_t>(n.u);
            return true;
        case Num::I:
            if (n.i < min || n.i > max) return false;
            out = n.i;
            return true;
        default: {
            double r = std::floor(n.d + 0.5);
            if (!(r >= static_cast<double>(min))) return false;
            if (max == INT64_MAX ? !(r < 9223372036854775808.0) : !(r <= static_cast<double>(max)))
                return false;
            out = static_cast<int64_t>(r);
            return true;
        }
    }
}

double toDouble(const Num& n) {
    switch (n.k) {
        case Num::U:
            return static_cast<double>(n.u);
        case Num::I:
            return static_cast<double>(n.i);
        default:
            return n.d;
    }
}

// Stores x at out, which need not be aligned, as a T.
template <class T, class V>
int storeAs(void* out, V x) {
    const T t = static_cast<T>(x);
    std::memcpy(out, &t, sizeof t);
    return FG_OK;
}

// Stores n at out in type t (numeric). 0, or -6000 when it does not fit.
int storeNum(FgParamTypes t, void* out, const Num& n) {
    int64_t i;
    uint64_t u;
    switch (t) {
        case FG_PARAM_TYPE_INT32_T:
            return toSigned(n, INT32_MIN, INT32_MAX, i) ? storeAs<int32_t>(out, i) : FG_ERR_VALUE_OUT_OF_RANGE;
        case FG_PARAM_TYPE_UINT32_T:
            return toUnsigned(n, UINT32_MAX, u) ? storeAs<uint32_t>(out, u) : FG_ERR_VALUE_OUT_OF_RANGE;
        case FG_PARAM_TYPE_INT64_T:
            return toSigned(n, INT64_MIN, INT64_MAX, i) ? storeAs<int64_t>(out, i) : FG_ERR_VALUE_OUT_OF_RANGE;
        case FG_PARAM_TYPE_UINT64_T:
            return toUnsigned(n, UINT64_MAX, u) ? storeAs<uint64_t>(out, u) : FG_ERR_VALUE_OUT_OF_RANGE;
        case FG_PARAM_TYPE_SIZE_T:
            return toUnsigned(n, SIZE_MAX, u) ? storeAs<size_t>(out, u) : FG_ERR_VALUE_OUT_OF_RANGE;
        case FG_PARAM_TYPE_DOUBLE:
            return storeAs<double>(out, toDouble(n));
        default:
            return FG_ERR_INVALID_PARAMETER;
    }
}

uint64_t bitsOf(double d) {
    uint64_t b;
    std::memcpy(&b, &d, sizeof b);
    return b;
}

// Element type of a FieldParameterAccess record: 32-bit, 64-bit or double
// elements, and whether they are signed.
struct ElemType {
    int size = 0;  // 4, 8; 0 = unsupported
    bool isSigned = false;
    bool isDouble = false;
};

// The element type an access record names. A caller may leave any number
// there; it is read as that number, since one the enumeration cannot hold
// must not be read as an FgParamTypes.
ElemType elemTypeOf(const FieldParameterAccess& a) {
    int32_t vtype;
    std::memcpy(&vtype, &a.vtype, sizeof vtype);
    ElemType e;
    switch (vtype) {
        case FG_PARAM_TYPE_INT32_T:
            e.size = 4;
            e.isSigned = true;
            break;
        case FG_PARAM_TYPE_UINT32_T:
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT:
            e.size = 4;
            break;
        case FG_PARAM_TYPE_INT64_T:
            e.size = 8;
            e.isSigned = true;
            break;
        case FG_PARAM_TYPE_UINT64_T:
        case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT64:
            e.size = 8;
            break;
        case FG_PARAM_TYPE_DOUBLE:
            e.size = 8;
            e.isDouble = true;
            break;
        default:
            break;
    }
    return e;
}

Num loadElem(const FieldParameterAccess& a, const ElemType& e, size_t k) {
    if (e.isDouble) return numD(a.p_double[k]);
    if (e.size == 4) return e.isSigned ? numI(a.p_int32_t[k]) : numU(a.p_uint32_t[k]);
    return e.isSigned ? numI(a.p_int64_t[k]) : numU(a.p_uint64_t[k]);
}

// Stores n as element k of the caller's array; false when it does not fit.
bool storeElem(const FieldParameterAccess& a, const ElemType& e, size_t k, const Num& n) {
    if (e.isDouble) {
        a.p_double[k] = toDouble(n);
        return true;
    }
    if (e.size == 4) {
        if (e.isSigned) {
            int64_t v;
            if (!toSigned(n, INT32_MIN, INT32_MAX, v)) return false;
            a.p_int32_t[k] = static_cast<int32_t>(v);
        } else {
            uint64_t v;
            if (!toUnsigned(n, UINT32_MAX, v)) return false;
            a.p_uint32_t[k] = static_cast<uint32_t>(v);
        }
        return true;
    }
    if (e.isSigned) {
        int64_t v;
        if (!toSigned(n, INT64_MIN, INT64_MAX, v)) return false;
        a.p_int64_t[k] = v;
    } else {
        uint64_t v;
        if (!toUnsigned(n, UINT64_MAX, v)) return false;
        a.p_uint64_t[k] = v;
    }
    return true;
}

bool fieldRange(uint32_t size, unsigned int index, unsigned int count) {
    return index <= size && count <= size - index && (count == 0 || index < size);
}

Num elemNum(const Param& p, size_t k) {
    return p.kind == HAP_KIND_UFIELD ? numU(p.uf[k]) : numD(p.df[k]);
}

// ---- write log ---------------------------------------------------------------

SimLogEntry& appendLog(Device* d, int id, const char* name, unsigned int dma, FgParamTypes type) {
    d->log.emplace_back();  // value-initialised: every field zero / NULL
    SimLogEntry& e = d->log.back();
    e.id = id;
    e.name = name;
    e.dma = dma;
    e.type = type;
    return e;
}

// ---- design parameters ---------------------------------------------------------

Param* paramById(Device* d, int id) {
    if (id < kDesignIdBase) return nullptr;
    size_t pos = static_cast<size_t>(id - kDesignIdBase);
    return pos < d->paramCount ? &d->params[pos] : nullptr;
}

Param* paramByName(Device* d, const char* name) {
    if (!d->table || name == nullptr) return nullptr;
    auto it = d->table->byName.find(name);
    return it == d->table->byName.end() ? nullptr : &d->table->params[static_cast<size_t>(it->second)];
}

FgParamTypes nativeType(const Param& p) {
    switch (p.kind) {
        case HAP_KIND_U32:
            return FG_PARAM_TYPE_UINT32_T;
        case HAP_KIND_U64:
            return FG_PARAM_TYPE_UINT64_T;
        case HAP_KIND_DOUBLE:
            return FG_PARAM_TYPE_DOUBLE;
        case HAP_KIND_TEXT:
            return FG_PARAM_TYPE_CHAR_PTR;
        default:
            return FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS;
    }
}

// Converts and stores a single number into a scalar parameter.
int storeScalar(Param& p, const Num& n) {
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
        default:
            p.d = toDouble(n);
            return FG_OK;
    }
}

// Converts one element for a field; false when it does not fit.
bool elemFits(const Param& p, const Num& n, uint64_t& u, double& dv) {
    if (p.kind == HAP_KIND_UFIELD) return toUnsigned(n, UINT32_MAX, u);
    dv = toDouble(n);
    return true;
}

void setElem(Param& p, size_t k, uint64_t u, double dv) {
    if (p.kind == HAP_KIND_UFIELD)
        p.uf[k] = u;
    else
        p.df[k] = dv;
}

uint64_t elemLogValue(const Param& p, size_t k) { return p.kind == HAP_KIND_UFIELD ? p.uf[k] : bitsOf(p.df[k]); }

// An access record the field can serve: a known element type, a range
// inside the field, element memory for a non-empty range.
bool recordFits(const Param& p, const FieldParameterAccess& a, const ElemType& et) {
    return et.size != 0 && fieldRange(p.count, a.index, a.count) && (a.count == 0 || a.ptr != nullptr);
}

// Writes a design parameter with conversion (value not NULL, fault and
// access checks done). `log`: append the write to the log on success.
[[gnu::noinline]] int writeDesignConverted(Device* d, Param& p, const void* value, unsigned int dma,
                                           FgParamTypes type, bool log) {
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? nativeType(p) : type;
    switch (p.kind) {
        case HAP_KIND_U32:
        case HAP_KIND_U64:
        case HAP_KIND_DOUBLE: {
            if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
            Num n = loadNum(t, value);
            int rc = storeScalar(p, n);
            if (rc != FG_OK) return rc;
            if (log) {
                SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
                if (n.k == Num::D)
                    e.d = n.d;
                else
                    e.u = n.k == Num::U ? n.u : static_cast<uint64_t>(n.i);
            }
            return FG_OK;
        }
        case HAP_KIND_TEXT: {
            if (t != FG_PARAM_TYPE_CHAR_PTR) return FG_ERR_INVALID_PARAMETER;
            const char* s = static_cast<const char*>(value);
            size_t len = strnlen(s, HAP_MAX_TEXT + 1);
            if (len > HAP_MAX_TEXT) return FG_ERR_VALUE_OUT_OF_RANGE;
            p.text.assign(s, len);
            if (log) {
                SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
                d->logTexts.push_back(p.text);
                e.text = d->logTexts.back().c_str();
            }
            return FG_OK;
        }
        default:
            break;
    }
    // field parameters
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
        const FieldParameterAccess& a = *static_cast<const FieldParameterAccess*>(value);
        const ElemType et = elemTypeOf(a);
        if (!recordFits(p, a, et)) return FG_ERR_INVALID_PARAMETER;
        if (p.kind == HAP_KIND_UFIELD && et.size == 4 && !et.isSigned) {
            // 32-bit unsigned elements always fit a field of 32-bit values:
            // copied as they are (a whole table at once is the usual case).
            std::copy(a.p_uint32_t, a.p_uint32_t + a.count, p.uf.begin() + a.index);
        } else {
            // All elements are checked before any is stored.
            for (size_t k = 0; k < a.count; ++k) {
                uint64_t u = 0;
                double dv = 0;
                if (!elemFits(p, loadElem(a, et, k), u, dv)) return FG_ERR_VALUE_OUT_OF_RANGE;
            }
            for (size_t k = 0; k < a.count; ++k) {
                uint64_t u = 0;
                double dv = 0;
                elemFits(p, loadElem(a, et, k), u, dv);
                setElem(p, a.index + k, u, dv);
            }
        }
        if (log) {
            SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
            e.fieldIndex = a.index;
            e.fieldCount = a.count;
            std::vector<uint64_t>& vals = d->logFields.next(a.count);
            if (p.kind == HAP_KIND_UFIELD)
                std::copy(p.uf.begin() + a.index, p.uf.begin() + a.index + a.count, vals.begin());
            else
                for (size_t k = 0; k < a.count; ++k) vals[k] = elemLogValue(p, a.index + k);
            e.fieldValues = vals.empty() ? nullptr : vals.data();
            if (a.count > 0) {
                if (p.kind == HAP_KIND_DFIELD)
                    e.d = p.df[a.index];
                else
                    e.u = p.uf[a.index];
            }
        }
        return FG_OK;
    }
    Num n;
    unsigned int index = 0;
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
        const FieldParameterInt& r = *static_cast<const FieldParameterInt*>(value);
        n = numU(r.value);
        index = r.index;
    } else if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE) {
        const FieldParameterDouble& r = *static_cast<const FieldParameterDouble*>(value);
        n = numD(r.value);
        index = r.index;
    } else {
        return FG_ERR_INVALID_PARAMETER;
    }
    if (index >= p.count) return FG_ERR_INVALID_PARAMETER;
    uint64_t u = 0;
    double dv = 0;
    if (!elemFits(p, n, u, dv)) return FG_ERR_VALUE_OUT_OF_RANGE;
    setElem(p, index, u, dv);
    if (log) {
        SimLogEntry& e = appendLog(d, p.id, p.name.c_str(), dma, type);
        if (n.k == Num::D)
            e.d = n.d;
        else
            e.u = n.u;
        e.fieldIndex = index;
        e.fieldCount = 1;
        std::vector<uint64_t>& vals = d->logFields.next(1);
        vals[0] = elemLogValue(p, index);
        e.fieldValues = vals.data();
    }
    return FG_OK;
}

// Writes a design parameter (value not NULL, fault and access checks done).
// The common typed writes, a 32-bit parameter as UINT32_T and a double one as
// DOUBLE, need no conversion: they are stored and logged here as the general
// path would, without its detour through Num (this is the path of almost
// every applet call, so it is kept small and inline).
inline int writeDesign(Device* d, Param& p, const void* value, unsigned int dma, FgParamTypes type, bool log) {
    if (p.kind == HAP_KIND_U32 && type == FG_PARAM_TYPE_UINT32_T) {
        uint32_t v;
        std::memcpy(&v, value, sizeof v);
        p.u = v;
        if (log) appendLog(d, p.id, p.name.c_str(), dma, type).u = v;
        return FG_OK;
    }
    if (p.kind == HAP_KIND_DOUBLE && type == FG_PARAM_TYPE_DOUBLE) {
        double v;
        std::memcpy(&v, value, sizeof v);
        p.d = v;
        if (log) appendLog(d, p.id, p.name.c_str(), dma, type).d = v;
        return FG_OK;
    }
    return writeDesignConverted(d, p, value, dma, type, log);
}

// Reads a design parameter with conversion (value not NULL, fault check done).
[[gnu::noinline]] int readDesignConverted(const Param& p, void* value, FgParamTypes type) {
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? nativeType(p) : type;
    switch (p.kind) {
        case HAP_KIND_U32:
        case HAP_KIND_U64:
            if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
            return storeNum(t, value, numU(p.u));
        case HAP_KIND_DOUBLE:
            if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
            return storeNum(t, value, numD(p.d));
        case HAP_KIND_TEXT:
            if (t != FG_PARAM_TYPE_CHAR_PTR) return FG_ERR_INVALID_PARAMETER;
            std::memcpy(value, p.text.c_str(), p.text.size() + 1);
            return FG_OK;
        default:
            break;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS) {
        const FieldParameterAccess& a = *static_cast<const FieldParameterAccess*>(value);
        const ElemType et = elemTypeOf(a);
        if (!recordFits(p, a, et)) return FG_ERR_INVALID_PARAMETER;
        for (size_t k = 0; k < a.count; ++k) {
            if (!storeElem(a, et, k, elemNum(p, a.index + k))) return FG_ERR_VALUE_OUT_OF_RANGE;
        }
        return FG_OK;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMINT) {
        FieldParameterInt& r = *static_cast<FieldParameterInt*>(value);
        if (r.index >= p.count) return FG_ERR_INVALID_PARAMETER;
        uint64_t v;
        if (!toUnsigned(elemNum(p, r.index), UINT32_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
        r.value = static_cast<uint32_t>(v);
        return FG_OK;
    }
    if (t == FG_PARAM_TYPE_STRUCT_FIELDPARAMDOUBLE) {
        FieldParameterDouble& r = *static_cast<FieldParameterDouble*>(value);
        if (r.index >= p.count) return FG_ERR_INVALID_PARAMETER;
        r.value = toDouble(elemNum(p, r.index));
        return FG_OK;
    }
    return FG_ERR_INVALID_PARAMETER;
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

const char* hostLevelName(int id) {
    switch (id) {
        case FG_HOST_TIMEOUT:
            return "FG_TIMEOUT";
        case FG_HOST_APC_STOP_TIMEOUT:
            return "FG_APC_STOP_TIMEOUT";
        case FG_HOST_NR_OF_DMAS:
            return "FG_NR_OF_DMAS";
        case FG_HOST_NR_OF_CAMS:
            return "FG_NR_OF_CAMS";
        case FG_HOST_NR_OF_PROCESSES:
            return "FG_NR_OF_PROCESSES";
        case FG_HOST_DMA_PORT:
            return "FG_DMA_PORT";
        case FG_HOST_CAM_PORT:
            return "FG_CAM_PORT";
        case FG_HOST_TRANSFER_LEN:
            return "FG_TRANSFER_LEN";
        case FG_HOST_DMASTATUS:
            return "FG_DMASTATUS";
        default:
            return nullptr;
    }
}

const int kHostLevelIds[] = {FG_HOST_TIMEOUT,         FG_HOST_APC_STOP_TIMEOUT, FG_HOST_NR_OF_DMAS,
                             FG_HOST_NR_OF_CAMS,      FG_HOST_NR_OF_PROCESSES,  FG_HOST_DMA_PORT,
                             FG_HOST_CAM_PORT,        FG_HOST_TRANSFER_LEN,     FG_HOST_DMASTATUS};

int writeHostLevel(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type) {
    uint64_t* slot = nullptr;
    if (id == FG_HOST_TIMEOUT)
        slot = d->timeout;
    else if (id == FG_HOST_APC_STOP_TIMEOUT)
        slot = d->apcStopTimeout;
    else
        return FG_ERR_NOT_AVAILABLE;  // read-only host value
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return FG_ERR_INVALID_PARAMETER;
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? FG_PARAM_TYPE_UINT32_T : type;
    if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
    Num n = loadNum(t, value);
    uint64_t v;
    if (!toUnsigned(n, UINT32_MAX, v)) return FG_ERR_VALUE_OUT_OF_RANGE;
    slot[dma] = v;
    SimLogEntry& e = appendLog(d, id, hostLevelName(id), dma, type);
    if (n.k == Num::D)
        e.d = n.d;
    else
        e.u = n.k == Num::U ? n.u : static_cast<uint64_t>(n.i);
    return FG_OK;
}

int readHostLevel(Device* d, int id, void* value, unsigned int dma, FgParamTypes type) {
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return FG_ERR_INVALID_PARAMETER;
    uint64_t v = 0;
    switch (id) {
        case FG_HOST_TIMEOUT:
            v = d->timeout[dma];
            break;
        case FG_HOST_APC_STOP_TIMEOUT:
            v = d->apcStopTimeout[dma];
            break;
        case FG_HOST_NR_OF_DMAS:
        case FG_HOST_NR_OF_CAMS:
        case FG_HOST_NR_OF_PROCESSES:
            v = kNrOfDmas;
            break;
        case FG_HOST_DMA_PORT:
        case FG_HOST_CAM_PORT:
            v = dma;
            break;
        case FG_HOST_TRANSFER_LEN:
            v = d->transferLen[dma];
            break;
        case FG_HOST_DMASTATUS:
            v = static_cast<uint64_t>(d->acq.running[dma]);
            break;
        default:
            return FG_ERR_INVALID_PARAMETER;
    }
    FgParamTypes t = type == FG_PARAM_TYPE_AUTO ? FG_PARAM_TYPE_UINT32_T : type;
    if (!isNumericType(t)) return FG_ERR_INVALID_PARAMETER;
    return storeNum(t, value, numU(v));
}

// A host-level parameter by identity (the design parameters are handled inline below).
[[gnu::noinline]] int setHostLevelLocked(Device* d, int id, const void* value, unsigned int dma, FgParamTypes type) {
    if (hostLevelName(id) == nullptr) return FG_ERR_INVALID_PARAMETER;
    if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
    return writeHostLevel(d, id, value, dma, type);
}

[[gnu::noinline]] int getHostLevelLocked(Device* d, int id, void* value, unsigned int dma, FgParamTypes type) {
    if (hostLevelName(id) == nullptr) return FG_ERR_INVALID_PARAMETER;
    if (value == nullptr) return FG_ERR_INVALID_PARAMETER;
    return readHostLevel(d, id, value, dma, type);
}

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

FgParamTypes untypedType(Device* d, int id) {
    if (Param* p = paramById(d, id)) return nativeType(*p);
    return FG_PARAM_TYPE_UINT32_T;
}

void applyNamedFaults(Device* d) {
    if (!d->table) return;
    for (Param& p : d->table->params) p.failRead = p.failWrite = 0;
    for (const NamedFault& f : d->namedFaults) {
        if (Param* p = paramByName(d, f.name.c_str())) {
            p->failRead = f.readCode;
            p->failWrite = f.writeCode;
        }
    }
}

std::unique_ptr<DesignTable> buildTable(fpga_design* design) {
    std::unique_ptr<DesignTable> t(new DesignTable);
    const int n = HapGetNrOfParameter(design);
    t->params.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const HapParameterInfo* info = HapGetParameter(design, i);
        Param& p = t->params[static_cast<size_t>(i)];
        if (info == nullptr) continue;
        p.name = info->name;
        p.id = kDesignIdBase + i;
        p.kind = info->kind;
        p.count = info->count;
        p.readOnly = info->readOnly != 0;
        p.u = info->initialU;
        p.d = info->initialD;
        p.text = info->initialText ? info->initialText : "";
        if (p.kind == HAP_KIND_UFIELD) {
            p.uf.assign(p.count, 0);
            for (unsigned int k = 0; k < info->nrOfInitialElements && k < p.count; ++k)
                p.uf[k] = info->initialUElements[k];
        } else if (p.kind == HAP_KIND_DFIELD) {
            p.df.assign(p.count, 0.0);
            for (unsigned int k = 0; k < info->nrOfInitialElements && k < p.count; ++k)
                p.df[k] = info->initialDElements[k];
        }
        t->byName.emplace(p.name, i);
    }
    return t;
}

void loadRegisters(QORdevice* q, fpga_design* design) {
    const int n = HapGetNrOfRegister(design);
    SimRegister* regs = nullptr;
    if (n > 0) {
        regs = static_cast<SimRegister*>(std::calloc(static_cast<size_t>(n), sizeof(SimRegister)));
        if (regs == nullptr) throw std::bad_alloc();
        for (int i = 0; i < n; ++i) {
            const HapRegisterInfo* r = HapGetRegisterInfo(design, i + 1);
            regs[i].number = r ? r->number : 0;
            regs[i].bits = r ? r->bits : 0;
            regs[i].direction = r ? r->direction : 0;
            regs[i].value = 0;
        }
    }
    pthread_mutex_lock(&q->regLock);
    std::free(q->regs);
    q->regs = regs;
    q->nrOfRegs = n > 0 ? n : 0;
    pthread_mutex_unlock(&q->regLock);
}

void detach(Device* d, HostBoard* hb) {
    for (size_t i = 0; i < d->handles.size(); ++i)
        if (d->handles[i] == hb) {
            d->handles.erase(d->handles.begin() + static_cast<std::ptrdiff_t>(i));
            break;
        }
    if (d->current == hb) d->current = nullptr;
}

void deleteHostBoard(HostBoard* hb) {
    hb->hdr.kind = kDeadKind;
    delete hb;
}

int noDevice(HostBoard* hb) {
    hb->lastError = FG_ERR_INVALID_BOARD;
    return FG_ERR_INVALID_BOARD;
}

// Locks the device of a host handle for one host call: counts it and applies
// the n-th-call fault. `rc` is 0 to go on, else the code to return.
class HostCall {
public:
    explicit HostCall(HostBoard* hb) : hb_(hb), dev_(hb->dev) {
        if (dev_ == nullptr) {
            rc_ = noDevice(hb);
            return;
        }
        dev_->m.lock();
        rc_ = beginHostCall(hb);
    }
    ~HostCall() {
        if (dev_ != nullptr) dev_->m.unlock();
    }
    HostCall(const HostCall&) = delete;
    HostCall& operator=(const HostCall&) = delete;
    int rc() const { return rc_; }
    Device* dev() const { return dev_; }
    // Records a failure as the board's last error and passes the code on.
    int fail(int code) {
        hb_->lastError = code;
        return code;
    }
    int result(int code) { return code < 0 ? fail(code) : code; }

private:
    HostBoard* hb_;
    Device* dev_;
    int rc_ = 0;
};

bool validDma(int dma) { return dma >= 0 && dma < kNrOfDmas; }

}  // namespace

// ---- devices ---------------------------------------------------------------

QORdevice* createDevice(unsigned int boardIndex) {
    QORdevice* q = static_cast<QORdevice*>(std::calloc(1, sizeof(QORdevice)));
    if (q == nullptr) return nullptr;
    Device* d = new (std::nothrow) Device;
    if (d == nullptr) {
        std::free(q);
        return nullptr;
    }
    pthread_mutex_init(&q->regLock, nullptr);
    q->boardIndex = boardIndex;
    q->host = d;
    d->q = q;
    q->magic = SIM_DEVICE_MAGIC;
    return q;
}

Device* deviceOf(QORdevice* q) {
    if (q == nullptr || q->magic != SIM_DEVICE_MAGIC) return nullptr;
    return static_cast<Device*>(q->host);
}

void destroyDevice(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    {
        std::lock_guard<std::mutex> lk(d->m);
        for (HostBoard* hb : d->handles) hb->dev = nullptr;
        d->handles.clear();
        d->current = nullptr;
    }
    q->magic = 0;
    q->host = nullptr;
    delete d;
    pthread_mutex_lock(&q->regLock);
    std::free(q->regs);
    q->regs = nullptr;
    q->nrOfRegs = 0;
    pthread_mutex_unlock(&q->regLock);
    pthread_mutex_destroy(&q->regLock);
    std::free(q);
}

void freeAttachedHandles(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::vector<HostBoard*> hs;
    {
        std::lock_guard<std::mutex> lk(d->m);
        hs.swap(d->handles);
        d->current = nullptr;
    }
    for (HostBoard* hb : hs) deleteHostBoard(hb);
}

Fg_Struct* initHostBoard(QORdevice* hw, fpga_design* design) {
    Device* d = deviceOf(hw);
    if (d == nullptr) {
        g_initError = FG_ERR_INVALID_BOARD;
        return nullptr;
    }
    if (design == nullptr) {
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
    try {
        std::lock_guard<std::mutex> lk(d->m);
        if (d->failInit != 0) {
            g_initError = d->failInit;
            return nullptr;
        }
        std::unique_ptr<DesignTable> table = buildTable(design);
        loadRegisters(hw, design);
        std::unique_ptr<HostBoard> hb(new HostBoard);
        hb->hdr.pub.Master = nullptr;
        hb->hdr.kind = kHostKind;
        hb->dev = d;
        if (d->table) d->retired.push_back(std::move(d->table));
        d->table = std::move(table);
        d->params = d->table->params.data();
        d->paramCount = d->table->params.size();
        d->design = design;
        applyNamedFaults(d);
        for (int i = 0; i < kNrOfDmas; ++i) {
            d->timeout[i] = kInitialTimeout;
            d->apcStopTimeout[i] = kInitialApcStopTimeout;
            d->transferLen[i] = 0;
            d->frames[i] = 0;
            d->picCount[i] = 0;
            d->acq.running[i] = 0;
        }
        if (d->log.capacity() < kLogReserve) d->log.reserve(kLogReserve);
        d->handles.push_back(hb.get());
        d->current = hb.get();
        return &hb.release()->hdr.pub;
    } catch (...) {
        g_initError = FG_ERR_INIT_FAILED;
        return nullptr;
    }
}

// ---- host face ---------------------------------------------------------------

int beginHostCall(HostBoard* hb) {
    Device* d = hb->dev;
    d->hostCalls++;
    if (d->failNth > 0 && --d->failNth == 0 && d->failNthCode != 0) {
        hb->lastError = d->failNthCode;
        return d->failNthCode;
    }
    return FG_OK;
}

int hostSetParameter(HostBoard* hb, int id, const void* value, unsigned int dma, FgParamTypes type) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(setLocked(c.dev(), id, value, dma, type));
}

int hostGetParameter(HostBoard* hb, int id, void* value, unsigned int dma, FgParamTypes type) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(getLocked(c.dev(), id, value, dma, type));
}

int hostSetParameterUntyped(HostBoard* hb, int id, const void* value, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(setLocked(c.dev(), id, value, dma, untypedType(c.dev(), id)));
}

int hostGetParameterUntyped(HostBoard* hb, int id, void* value, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(getLocked(c.dev(), id, value, dma, untypedType(c.dev(), id)));
}

int hostGetParameterIdByName(HostBoard* hb, const char* name) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    if (Param* p = paramByName(c.dev(), name)) return p->id;
    if (name != nullptr)
        for (int id : kHostLevelIds)
            if (std::strcmp(hostLevelName(id), name) == 0) return id;
    c.fail(FG_ERR_INVALID_PARAMETER);
    return 0;
}

int hostGetNrOfParameter(HostBoard* hb) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.dev()->table ? static_cast<int>(c.dev()->table->params.size()) : 0;
}

const char* hostGetParameterName(HostBoard* hb, int index) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    if (index < 0) {
        c.fail(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    Param* p = paramById(c.dev(), kDesignIdBase + index);
    if (p == nullptr) c.fail(FG_ERR_INVALID_PARAMETER);
    return p ? p->name.c_str() : nullptr;
}

int hostGetParameterId(HostBoard* hb, int index) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Param* p = index < 0 ? nullptr : paramById(c.dev(), kDesignIdBase + index);
    return p ? p->id : c.fail(FG_ERR_INVALID_PARAMETER);
}

int hostGetLastError(HostBoard* hb) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return hb->lastError;
}

int hostFreeGrabber(HostBoard* hb) {
    int rc = FG_OK;
    {
        HostCall c(hb);
        rc = c.rc();
        if (c.dev() != nullptr) detach(c.dev(), hb);
    }
    if (rc == FG_ERR_INVALID_BOARD && hb->dev == nullptr) rc = FG_OK;  // device already gone
    deleteHostBoard(hb);
    return rc;
}

RegisterInfo* hostGetParameterInfo(HostBoard* hb, int port) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    if (!validDma(port) || !c.dev()->table) {
        c.fail(FG_ERR_INVALID_PARAMETER);
        return nullptr;
    }
    std::unique_ptr<InfoTree>& tree = hb->info[port];
    if (!tree) {
        try {
            tree = buildInfoTree(*c.dev()->table, port);
        } catch (...) {
            c.fail(FG_ERR_BUFFER_TOO_SMALL);
            return nullptr;
        }
    }
    if (tree->root == nullptr) c.fail(FG_ERR_NO_DESCRIPTION);
    return tree->root;
}

uint64_t hostGetEventMask(HostBoard* hb, const char* name) {
    HostCall c(hb);
    if (c.rc() != 0 || name == nullptr) return 0;
    for (int i = 0; i < 64; ++i) {
        const HapEvent* ev = HapGetEvent(c.dev()->design, i);
        if (ev != nullptr && std::strcmp(ev->name, name) == 0) return uint64_t{1} << i;
    }
    c.fail(FG_ERR_INVALID_PARAMETER);
    return 0;
}

const char* hostGetEventName(HostBoard* hb, uint64_t mask) {
    HostCall c(hb);
    if (c.rc() != 0) return nullptr;
    for (int i = 0; i < 64; ++i) {
        if (mask != (uint64_t{1} << i)) continue;
        const HapEvent* ev = HapGetEvent(c.dev()->design, i);
        if (ev != nullptr) return ev->name;
    }
    c.fail(FG_ERR_INVALID_PARAMETER);
    return nullptr;
}

int hostUnsupported(HostBoard* hb, int code) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    return c.result(code);
}

// ---- acquisition ---------------------------------------------------------------

int hostAcquire(HostBoard* hb, int dma, frameindex_t picCount) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.acquireCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    d->acq.running[dma] = 1;
    d->frames[dma] = 0;
    d->picCount[dma] = picCount > 0 ? picCount : 0;
    return FG_OK;
}

int hostStopAcquire(HostBoard* hb, int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.stopCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    d->acq.running[dma] = 0;
    return FG_OK;
}

namespace {
// Produces frames on a running DMA up to `upTo`; a finite acquisition stops
// after its last frame.
void produceFrames(Device* d, int dma, frameindex_t upTo) {
    if (!d->acq.running[dma]) return;
    if (d->picCount[dma] > 0 && upTo > d->picCount[dma]) upTo = d->picCount[dma];
    if (upTo > d->frames[dma]) {
        d->frames[dma] = upTo;
        d->transferLen[dma] = kFrameBytes;
    }
    if (d->picCount[dma] > 0 && d->frames[dma] >= d->picCount[dma]) d->acq.running[dma] = 0;
}
}  // namespace

frameindex_t hostLastPicNumber(HostBoard* hb, int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.lastPicNumberCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    if (d->frames[dma] < INT32_MAX) produceFrames(d, dma, d->frames[dma] + 1);
    return d->frames[dma];
}

frameindex_t hostLastPicNumberBlocking(HostBoard* hb, frameindex_t picNr, int dma, int /*timeout*/) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.lastPicNumberCalls++;
    if (!validDma(dma)) return c.fail(FG_ERR_INVALID_PARAMETER);
    produceFrames(d, dma, picNr);
    if (d->frames[dma] < picNr) return c.fail(SIM_ERR_TIMEOUT);
    return d->frames[dma];
}

frameindex_t hostStatus(HostBoard* hb, int /*param*/, frameindex_t /*data*/, unsigned int dma) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    Device* d = c.dev();
    d->acq.statusCalls++;
    if (dma >= static_cast<unsigned int>(kNrOfDmas)) return c.fail(FG_ERR_INVALID_PARAMETER);
    return d->frames[dma];
}

int hostAppletId(HostBoard* hb, const char* /*name*/) {
    HostCall c(hb);
    if (c.rc() != 0) return c.rc();
    c.dev()->acq.appletIdCalls++;
    return 0;
}

// ---- SimBoard control (called from host_exports.cpp) ---------------------------

namespace sim {

int parameterId(QORdevice* q, const char* name) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    return p ? p->id : 0;
}

int getValue(QORdevice* q, const char* name, FgParamTypes type, void* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || p->kind == HAP_KIND_UFIELD || p->kind == HAP_KIND_DFIELD) return FG_ERR_INVALID_PARAMETER;
    return readDesign(*p, value, type) == FG_OK ? FG_OK : FG_ERR_INVALID_PARAMETER;
}

int setValue(QORdevice* q, const char* name, FgParamTypes type, const void* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || p->kind == HAP_KIND_UFIELD || p->kind == HAP_KIND_DFIELD) return FG_ERR_INVALID_PARAMETER;
    return writeDesign(d, *p, value, 0, type, false) == FG_OK ? FG_OK : FG_ERR_INVALID_PARAMETER;
}

int getFieldElement(QORdevice* q, const char* name, unsigned int index, double* value) {
    Device* d = deviceOf(q);
    if (d == nullptr || value == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || (p->kind != HAP_KIND_UFIELD && p->kind != HAP_KIND_DFIELD) || index >= p->count)
        return FG_ERR_INVALID_PARAMETER;
    *value = toDouble(elemNum(*p, index));
    return FG_OK;
}

int setFieldElement(QORdevice* q, const char* name, unsigned int index, double value) {
    Device* d = deviceOf(q);
    if (d == nullptr) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    Param* p = paramByName(d, name);
    if (p == nullptr || (p->kind != HAP_KIND_UFIELD && p->kind != HAP_KIND_DFIELD) || index >= p->count)
        return FG_ERR_INVALID_PARAMETER;
    uint64_t u = 0;
    double dv = 0;
    if (!elemFits(*p, numD(value), u, dv)) return FG_ERR_INVALID_PARAMETER;
    setElem(*p, index, u, dv);
    return FG_OK;
}

int logCount(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    return static_cast<int>(d->log.size());
}

int logEntry(QORdevice* q, int i, SimLogEntry* out) {
    Device* d = deviceOf(q);
    if (d == nullptr || out == nullptr || i < 0) return FG_ERR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> lk(d->m);
    if (static_cast<size_t>(i) >= d->log.size()) return FG_ERR_INVALID_PARAMETER;
    *out = d->log[static_cast<size_t>(i)];
    return FG_OK;
}

void logClear(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->log.clear();
    d->logTexts.clear();
    d->logFields.clear();
}

int hostCallCount(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return 0;
    std::lock_guard<std::mutex> lk(d->m);
    return d->hostCalls;
}

void failNthHostCall(QORdevice* q, int n, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->failNth = n > 0 ? n : 0;
    d->failNthCode = code;
}

void failParameter(QORdevice* q, const char* name, int isWrite, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr || name == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    NamedFault* f = nullptr;
    for (NamedFault& nf : d->namedFaults)
        if (nf.name == name) f = &nf;
    if (f == nullptr) {
        d->namedFaults.push_back(NamedFault{name, 0, 0});
        f = &d->namedFaults.back();
    }
    (isWrite ? f->writeCode : f->readCode) = code;
    applyNamedFaults(d);
}

void failInit(QORdevice* q, int code) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    d->failInit = code;
}

void clearFaults(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    {
        std::lock_guard<std::mutex> lk(d->m);
        d->failNth = 0;
        d->failNthCode = 0;
        d->failInit = 0;
        d->namedFaults.clear();
        applyNamedFaults(d);
    }
    pthread_mutex_lock(&q->regLock);
    q->regFailCode = 0;
    pthread_mutex_unlock(&q->regLock);
}

Fg_Struct* hostHandleOf(QORdevice* q) {
    Device* d = deviceOf(q);
    if (d == nullptr) return nullptr;
    std::lock_guard<std::mutex> lk(d->m);
    return d->current ? &d->current->hdr.pub : nullptr;
}

QORdevice* deviceOfHostHandle(Fg_Struct* fg) {
    HostBoard* hb = asHost(fg);
    return hb && hb->dev ? hb->dev->q : nullptr;
}

void acquisitionCounters(QORdevice* q, SimAcquisitionCounters* out) {
    if (out == nullptr) return;
    std::memset(out, 0, sizeof *out);
    Device* d = deviceOf(q);
    if (d == nullptr) return;
    std::lock_guard<std::mutex> lk(d->m);
    *out = d->acq;
}

}  // namespace sim

}  // namespace simhost
