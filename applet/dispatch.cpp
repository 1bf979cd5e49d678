// The typed parameter access of the applet object: the lock, the two debug
// identity ranges, and the table dispatch to the per-port handlers.
#include <cstring>

#include "AppletWrapper.h"

namespace {

inline uint32_t asUInt(const void* v) {
    uint32_t x;
    std::memcpy(&x, v, sizeof x);
    return x;
}
inline double asDouble(const void* v) {
    double x;
    std::memcpy(&x, v, sizeof x);
    return x;
}

}  // namespace

// One typed access: NULL refused before the lock; then, under the lock, the
// host's own identities, the register identities (when enabled) or the table.
// Table errors arrive as int exceptions; the result goes to the error store.
template <class Value, class Host, class Register, class Table>
int FgQorWrapperImpl::typedAccess(int Param, Value* Value_, Host&& host, Register&& reg, Table&& table) {
    if (Value_ == nullptr) {
        setError(FG_ERR_INVALID_PARAMETER);
        return FG_ERR_INVALID_PARAMETER;
    }
    tervik::templates::platform::CriticalSectionGuard guard(&mParameterLock);
    int result = 0;
    if (Param > FG_DQORA_ID_BASE) {
        result = host(Param - FG_DQORA_ID_BASE);
    } else if (draEnabled && Param > FG_DRA_ID_BASE) {
        result = reg();
    } else {
        try {
            table();
        } catch (int code) {
            result = code;
        }
    }
    setError(result);
    return result;
}

int FgQorWrapperImpl::Fg_setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type) {
    return typedAccess(
        Param, Value, [&](int id) { return setUnwrappedParameterWithType(id, Value, CamPort, Type); },
        [&] { return directRegisterWrite(Param, Value); },
        [&] { setParameterWithType(Param, Value, CamPort, Type); });
}

int FgQorWrapperImpl::Fg_getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) {
    return typedAccess(
        Param, Value, [&](int id) { return getUnwrappedParameterWithType(id, Value, CamPort, Type); },
        [&] { return directRegisterRead(Param, Value); },
        [&] { getParameterWithType(Param, Value, CamPort, Type); });
}

// ---- writes ----

#define ORV_DISPATCH_SET_READONLY(NAME, TYPE) throw int(FG_ERR_NOT_AVAILABLE);
#define ORV_DISPATCH_SET_HANDLER(NAME, TYPE) ORV_DISPATCH_SET_##TYPE(NAME)
#define ORV_DISPATCH_SET_U32(NAME) set_##NAME(process, asUInt(Value), true);
#define ORV_DISPATCH_SET_DOUBLE(NAME) set_##NAME(process, asDouble(Value), true);
#define ORV_DISPATCH_SET_TEXT(NAME) set_##NAME(process, static_cast<const char*>(Value), true);
#define ORV_DISPATCH_SET_UFIELD(NAME)                                                \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                               \
        set_##NAME(process, static_cast<const FieldParameterAccess*>(Value), true); \
    else                                                                             \
        setLutElement(process, static_cast<const FieldParameterInt*>(Value));

void FgQorWrapperImpl::setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type) {
    const int process = mapDmaToProcess(CamPort);
    (void)Type;
    switch (Param) {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    case ID:                                                \
        ORV_DISPATCH_SET_##WRITE(NAME, TYPE) break;
#include "sdk_params.def"
    case FG_PARAMETER_DESCRIPTION_QUERY:
        throw int(FG_ERR_NOT_AVAILABLE);
    default:
        throw int(FG_ERR_INVALID_PARAMETER);
    }
}

// A single lookup-table element: checked, cached and written on its own.
void FgQorWrapperImpl::setLutElement(int port, const FieldParameterInt* element) {
    if (element->index >= kLutSize || element->value >= kLutSize) throw int(FG_ERR_VALUE_OUT_OF_RANGE);
    uint32_t& slot = port_[port].cache_FG_LUT_VALUE[element->index];
    commit(slot, element->value, true, [&] {
        designWrite(qorPort(port, DP_LookupTable_LookupTable_LUTcontent), element, port,
                    FG_PARAM_TYPE_STRUCT_FIELDPARAMINT);
    });
}

// ---- reads ----

#define ORV_DISPATCH_GET_HANDLER(NAME, TYPE) ORV_DISPATCH_GET_##TYPE(NAME)
#define ORV_DISPATCH_GET_CONST0(NAME, TYPE) storeConst(Value, 0);
#define ORV_DISPATCH_GET_CONST3(NAME, TYPE) storeConst(Value, 3);
#define ORV_DISPATCH_GET_CONST12(NAME, TYPE) storeConst(Value, 12);
#define ORV_DISPATCH_GET_HOST(NAME, TYPE)                                           \
    if (int r = getUnwrappedParameterWithType(Param, Value, CamPort, Type)) throw r;
#define ORV_DISPATCH_GET_U32(NAME) get_##NAME(process, static_cast<uint32_t*>(Value));
#define ORV_DISPATCH_GET_DOUBLE(NAME) get_##NAME(process, static_cast<double*>(Value));
#define ORV_DISPATCH_GET_TEXT(NAME) get_##NAME(process, static_cast<char*>(Value));
#define ORV_DISPATCH_GET_U64(NAME) get_##NAME(process, static_cast<uint64_t*>(Value));
#define ORV_DISPATCH_GET_UFIELD(NAME)                                          \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                         \
        get_##NAME(process, static_cast<FieldParameterAccess*>(Value));        \
    else                                                                       \
        get_##NAME(process, static_cast<FieldParameterInt*>(Value));
#define ORV_DISPATCH_GET_DFIELD(NAME)                                          \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                         \
        get_##NAME(process, static_cast<FieldParameterAccess*>(Value));        \
    else                                                                       \
        get_##NAME(process, static_cast<FieldParameterDouble*>(Value));

namespace {
inline void storeConst(void* value, uint32_t c) { std::memcpy(value, &c, sizeof c); }
}  // namespace

void FgQorWrapperImpl::getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) {
    const int process = mapDmaToProcess(CamPort);
    switch (Param) {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    case ID:                                                \
        ORV_DISPATCH_GET_##READ(NAME, TYPE) break;
#include "sdk_params.def"
    case FG_PARAMETER_DESCRIPTION_QUERY:
        describe(process, static_cast<char*>(Value));
        break;
    default:
        throw int(FG_ERR_INVALID_PARAMETER);
    }
}
