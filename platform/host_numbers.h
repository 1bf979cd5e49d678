// Number conversion of the simulated host runtime: the values an access
// passes (any numeric type, field records) converted to and from what a
// parameter holds, with the range checks of each type.
#ifndef HOST_NUMBERS_H
#define HOST_NUMBERS_H

#include <cmath>
#include <cstdint>
#include <cstring>

#include "host_internal.h"

namespace simhost {

// ---- numbers -----------------------------------------------------------------

struct Num {
    enum Kind { U, I, D } k = U;
    uint64_t u = 0;
    int64_t i = 0;
    double d = 0.0;
};

inline Num numU(uint64_t v) {
    Num n;
    n.k = Num::U;
    n.u = v;
    return n;
}
inline Num numI(int64_t v) {
    Num n;
    n.k = Num::I;
    n.i = v;
    return n;
}
inline Num numD(double v) {
    Num n;
    n.k = Num::D;
    n.d = v;
    return n;
}

inline bool isNumericType(FgParamTypes t) {
    switch (t) {
    case FG_PARAM_TYPE_INT32_T:
    case FG_PARAM_TYPE_UINT32_T:
    case FG_PARAM_TYPE_INT64_T:
    case FG_PARAM_TYPE_UINT64_T:
    case FG_PARAM_TYPE_DOUBLE:
    case FG_PARAM_TYPE_SIZE_T: return true;
    default: return false;
    }
}

// The value of type T at v, which need not be aligned.
template <class T>
inline T loadAs(const void* v) {
    T x;
    std::memcpy(&x, v, sizeof x);
    return x;
}

// Reads a number of type t at v (t must be numeric).
inline Num loadNum(FgParamTypes t, const void* v) {
    switch (t) {
    case FG_PARAM_TYPE_INT32_T: return numI(loadAs<int32_t>(v));
    case FG_PARAM_TYPE_UINT32_T: return numU(loadAs<uint32_t>(v));
    case FG_PARAM_TYPE_INT64_T: return numI(loadAs<int64_t>(v));
    case FG_PARAM_TYPE_UINT64_T: return numU(loadAs<uint64_t>(v));
    case FG_PARAM_TYPE_SIZE_T: return numU(loadAs<size_t>(v));
    default: return numD(loadAs<double>(v));
    }
}

// Unsigned value in [0, max]; doubles are rounded to the nearest integer.
inline bool toUnsigned(const Num& n, uint64_t max, uint64_t& out) {
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
        if (max == UINT64_MAX ? !(r < 18446744073709551616.0) : !(r <= static_cast<double>(max))) return false;
        out = static_cast<uint64_t>(r);
        return true;
    }
    }
}

inline bool toSigned(const Num& n, int64_t min, int64_t max, int64_t& out) {
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
        if (max == INT64_MAX ? !(r < 9223372036854775808.0) : !(r <= static_cast<double>(max))) return false;
        out = static_cast<int64_t>(r);
        return true;
    }
    }
}

inline double toDouble(const Num& n) {
    switch (n.k) {
    case Num::U: return static_cast<double>(n.u);
    case Num::I: return static_cast<double>(n.i);
    default: return n.d;
    }
}

// Stores x at out, which need not be aligned, as a T.
template <class T, class V>
inline int storeAs(void* out, V x) {
    const T t = static_cast<T>(x);
    std::memcpy(out, &t, sizeof t);
    return FG_OK;
}

// Stores n at out in type t (numeric). 0, or -6000 when it does not fit.
inline int storeNum(FgParamTypes t, void* out, const Num& n) {
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
    case FG_PARAM_TYPE_SIZE_T: return toUnsigned(n, SIZE_MAX, u) ? storeAs<size_t>(out, u) : FG_ERR_VALUE_OUT_OF_RANGE;
    case FG_PARAM_TYPE_DOUBLE: return storeAs<double>(out, toDouble(n));
    default: return FG_ERR_INVALID_PARAMETER;
    }
}

inline uint64_t bitsOf(double d) {
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
inline ElemType elemTypeOf(const FieldParameterAccess& a) {
    int32_t vtype;
    std::memcpy(&vtype, &a.vtype, sizeof vtype);
    ElemType e;
    switch (vtype) {
    case FG_PARAM_TYPE_INT32_T:
        e.size = 4;
        e.isSigned = true;
        break;
    case FG_PARAM_TYPE_UINT32_T:
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT: e.size = 4; break;
    case FG_PARAM_TYPE_INT64_T:
        e.size = 8;
        e.isSigned = true;
        break;
    case FG_PARAM_TYPE_UINT64_T:
    case FG_PARAM_TYPE_STRUCT_FIELDPARAMINT64: e.size = 8; break;
    case FG_PARAM_TYPE_DOUBLE:
        e.size = 8;
        e.isDouble = true;
        break;
    default: break;
    }
    return e;
}

inline Num loadElem(const FieldParameterAccess& a, const ElemType& e, size_t k) {
    if (e.isDouble) return numD(a.p_double[k]);
    if (e.size == 4) return e.isSigned ? numI(a.p_int32_t[k]) : numU(a.p_uint32_t[k]);
    return e.isSigned ? numI(a.p_int64_t[k]) : numU(a.p_uint64_t[k]);
}

// Stores n as element k of the caller's array; false when it does not fit.
inline bool storeElem(const FieldParameterAccess& a, const ElemType& e, size_t k, const Num& n) {
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

inline bool fieldRange(uint32_t size, unsigned int index, unsigned int count) {
    return index <= size && count <= size - index && (count == 0 || index < size);
}

inline Num elemNum(const Param& p, size_t k) { return p.kind == HAP_KIND_UFIELD ? numU(p.uf[k]) : numD(p.df[k]); }

}  // namespace simhost

#endif  // HOST_NUMBERS_H
