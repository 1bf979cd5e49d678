// The typed parameter access of the applet object: the lock, the two debug
// identity ranges, and the table dispatch to the per-port handlers.
//
// This is the path of every parameter access of an acquisition loop; its
// cost above the bare mutex pair and host calls is kept small: the lock is
// entered without guard bookkeeping (CriticalSectionScope), the row is found
// by a perfect hash, and the path makes no calls of its own (see below).
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

// ---- identity to position in the SDK table ----
//
// The table dispatch selects its row by the parameter's position in the SDK
// table, found through a perfect hash that the compiler builds from the same
// table: one multiplication and two loads instead of a search among 99
// sparse identities.

constexpr int kSdkIds[] = {
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) ID,
#include "sdk_params.def"
};
constexpr int kSdkCount = sizeof kSdkIds / sizeof kSdkIds[0];
static_assert(kSdkCount == SDK_PARAM_COUNT && kSdkCount < 255, "positions are kept in a byte");

// Every SDK identity lies below the debug ranges, so an identity found in the
// table is never a register or host identity: the typed access looks at the
// ranges only when the table has no row for it.
constexpr bool belowDebugRanges() {
    for (int id : kSdkIds)
        if (id > FG_DRA_ID_BASE) return false;
    return true;
}
static_assert(belowDebugRanges(), "an SDK identity in a debug identity range");

constexpr unsigned kSlotBits = 10;
constexpr unsigned kSlotCount = 1u << kSlotBits;

constexpr unsigned slotOf(int id, uint32_t multiplier) {
    return (static_cast<uint32_t>(id) * multiplier) >> (32 - kSlotBits);
}

// The first odd multiplier from the golden ratio on that gives every identity
// a slot of its own; 0 if none of the first 100,000 does.
constexpr uint32_t findMultiplier() {
    for (uint32_t m = 0x9E3779B1u, tries = 0; tries < 100000; m += 2, ++tries) {
        bool used[kSlotCount] = {};
        bool distinct = true;
        for (int i = 0; i < kSdkCount && distinct; ++i) {
            const unsigned slot = slotOf(kSdkIds[i], m);
            distinct = !used[slot];
            used[slot] = true;
        }
        if (distinct) return m;
    }
    return 0;
}
constexpr uint32_t kMultiplier = findMultiplier();
static_assert(kMultiplier != 0, "no perfect hash for the SDK identities: raise kSlotBits");

// Per slot: the row of the identity that hashes there, that is its position
// plus one (0: none); and per row its identity (row 0 stands for "none",
// whatever its identity entry says).
struct SlotTable {
    uint8_t row[kSlotCount];
    int id[kSdkCount + 1];
};
constexpr SlotTable buildSlots() {
    SlotTable t{};
    for (int i = 0; i < kSdkCount; ++i) {
        t.row[slotOf(kSdkIds[i], kMultiplier)] = static_cast<uint8_t>(i + 1);
        t.id[i + 1] = kSdkIds[i];
    }
    return t;
}
constexpr SlotTable kSlots = buildSlots();

// The row an identity hashes to (one multiplication and a load); it is the
// identity's own row when the row's identity is the identity itself.
[[gnu::always_inline]] inline unsigned slotRow(int id) { return kSlots.row[slotOf(id, kMultiplier)]; }

// The position of an SDK identity in the SDK table plus one, 0 for any other
// number.
[[gnu::always_inline]] inline unsigned sdkRow(int id) {
    const unsigned row = slotRow(id);
    return kSlots.id[row] == id ? row : 0;
}

}  // namespace

// One typed access: NULL refused before the lock; then, under the lock, the
// table row of the identity, or for an identity without one the host's own
// identities, the register identities (when enabled) or the table's answer
// for an unknown identity. (Row 0 stands for "none"; its identity entry is 0,
// an identity that has no row and lies in no debug range, so the one compare
// sends it to the table's answer for an unknown identity too.) Table errors
// arrive as int exceptions; the result goes to the error store.
template <class Value, class Host, class Register, class Table>
int FgQorWrapperImpl::typedAccess(int Param, Value* Value_, Host&& host, Register&& reg, Table&& table) {
    if (Value_ == nullptr) {
        setError(FG_ERR_INVALID_PARAMETER);
        return FG_ERR_INVALID_PARAMETER;
    }
    tervik::templates::platform::CriticalSectionScope scope(mParameterLock);
    int result = 0;
    unsigned row = slotRow(Param);
    bool inTable = true;
    if (__builtin_expect(kSlots.id[row] != Param, 0)) {
        row = 0;
        if (Param > FG_DQORA_ID_BASE) {
            result = host(Param - FG_DQORA_ID_BASE);
            inTable = false;
        } else if (draEnabled && Param > FG_DRA_ID_BASE) {
            result = reg();
            inTable = false;
        }
    }
    if (inTable) {
        try {
            table(row);
        } catch (int code) {
            result = code;
        }
    }
    setError(result);
    return result;
}

// The two typed accesses take every call of their path into their own body
// (flatten): the table dispatch and, where the library is optimised at link
// time, the handler of each row and its design access. A call and its return
// cost as much as a good part of the mutex pair; only the export's call, the
// mutex calls and the host's entries are left. (Helpers that keep a whole
// table on the stack stay out of line, see lookup_table.cpp.)
[[gnu::flatten]] int FgQorWrapperImpl::Fg_setParameterWithType(int Param, const void* Value, int CamPort,
                                                               FgParamTypes Type) {
    return typedAccess(
        Param, Value, [&](int id) { return setUnwrappedParameterWithType(id, Value, CamPort, Type); },
        [&] { return directRegisterWrite(Param, Value); },
        [&](unsigned row) { dispatchSet(row, Param, Value, CamPort, Type); });
}

[[gnu::flatten]] int FgQorWrapperImpl::Fg_getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) {
    return typedAccess(
        Param, Value, [&](int id) { return getUnwrappedParameterWithType(id, Value, CamPort, Type); },
        [&] { return directRegisterRead(Param, Value); },
        [&](unsigned row) { dispatchGet(row, Param, Value, CamPort, Type); });
}

// ---- writes ----

#define ORV_DISPATCH_SET_READONLY(NAME, TYPE) throw int(FG_ERR_NOT_AVAILABLE);
#define ORV_DISPATCH_SET_HANDLER(NAME, TYPE) ORV_DISPATCH_SET_##TYPE(NAME)
#define ORV_DISPATCH_SET_U32(NAME) set_##NAME(process, asUInt(Value), true);
#define ORV_DISPATCH_SET_DOUBLE(NAME) set_##NAME(process, asDouble(Value), true);
#define ORV_DISPATCH_SET_TEXT(NAME) set_##NAME(process, static_cast<const char*>(Value), true);
#define ORV_DISPATCH_SET_UFIELD(NAME)                                               \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                              \
        set_##NAME(process, static_cast<const FieldParameterAccess*>(Value), true); \
    else                                                                            \
        setLutElement(process, static_cast<const FieldParameterInt*>(Value));

void FgQorWrapperImpl::setParameterWithType(int Param, const void* Value, int CamPort, FgParamTypes Type) {
    dispatchSet(sdkRow(Param), Param, Value, CamPort, Type);
}

[[gnu::always_inline]] inline void FgQorWrapperImpl::dispatchSet(unsigned row, int Param, const void* Value,
                                                                 int CamPort, FgParamTypes Type) {
    const int process = mapDmaToProcess(CamPort);
    (void)Type;
    if (row > static_cast<unsigned>(kSdkCount)) __builtin_unreachable();
    switch (row) {
// clang-format off
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    case SDK_INDEX_##NAME + 1:                              \
        ORV_DISPATCH_SET_##WRITE(NAME, TYPE) break;
#include "sdk_params.def"
        // clang-format on
    default: throw int(Param == FG_PARAMETER_DESCRIPTION_QUERY ? FG_ERR_NOT_AVAILABLE : FG_ERR_INVALID_PARAMETER);
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
#define ORV_DISPATCH_GET_HOST(NAME, TYPE) \
    if (int r = getUnwrappedParameterWithType(Param, Value, CamPort, Type)) throw r;
#define ORV_DISPATCH_GET_U32(NAME) get_##NAME(process, static_cast<uint32_t*>(Value));
#define ORV_DISPATCH_GET_DOUBLE(NAME) get_##NAME(process, static_cast<double*>(Value));
#define ORV_DISPATCH_GET_TEXT(NAME) get_##NAME(process, static_cast<char*>(Value));
#define ORV_DISPATCH_GET_U64(NAME) get_##NAME(process, static_cast<uint64_t*>(Value));
#define ORV_DISPATCH_GET_UFIELD(NAME)                                   \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                  \
        get_##NAME(process, static_cast<FieldParameterAccess*>(Value)); \
    else                                                                \
        get_##NAME(process, static_cast<FieldParameterInt*>(Value));
#define ORV_DISPATCH_GET_DFIELD(NAME)                                   \
    if (Type == FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS)                  \
        get_##NAME(process, static_cast<FieldParameterAccess*>(Value)); \
    else                                                                \
        get_##NAME(process, static_cast<FieldParameterDouble*>(Value));

namespace {
inline void storeConst(void* value, uint32_t c) { std::memcpy(value, &c, sizeof c); }
}  // namespace

void FgQorWrapperImpl::getParameterWithType(int Param, void* Value, int CamPort, FgParamTypes Type) {
    dispatchGet(sdkRow(Param), Param, Value, CamPort, Type);
}

[[gnu::always_inline]] inline void FgQorWrapperImpl::dispatchGet(unsigned row, int Param, void* Value, int CamPort,
                                                                 FgParamTypes Type) {
    const int process = mapDmaToProcess(CamPort);
    if (row > static_cast<unsigned>(kSdkCount)) __builtin_unreachable();
    switch (row) {
// clang-format off
#define SDK_PARAM(NAME, ID, TYPE, WRITE, READ, OWNER, DESC) \
    case SDK_INDEX_##NAME + 1:                              \
        ORV_DISPATCH_GET_##READ(NAME, TYPE) break;
#include "sdk_params.def"
        // clang-format on
    default:
        if (Param != FG_PARAMETER_DESCRIPTION_QUERY) throw int(FG_ERR_INVALID_PARAMETER);
        describe(process, static_cast<char*>(Value));
        break;
    }
}
