#include "parameterInfo.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

const int kErrBufferTooSmall = -500;     // a text copy could not be allocated
const int kErrInvalidParameter = -2070;  // missing record, entry or name

}  // namespace

void* Fg_ParameterInfo::Pool::allocate(size_t size) {
    void* piece;
    try {
        piece = arena_.allocate(size == 0 ? 1 : size, alignof(std::max_align_t));
    } catch (const std::bad_alloc&) {
        return NULL;
    }
    memset(piece, 0, size);
    return piece;
}

char* Fg_ParameterInfo::Pool::copy(const char* text, bool& failed) {
    if (text == NULL) return NULL;
    const size_t size = strlen(text) + 1;
    char* piece;
    try {
        piece = static_cast<char*>(arena_.allocate(size, 1));
    } catch (const std::bad_alloc&) {
        failed = true;
        return NULL;
    }
    memcpy(piece, text, size);
    return piece;
}

Fg_ParameterInfo::Fg_ParameterInfo() : groupAutoIndex(0) {
    for (int port = 0; port < NR_OF_PORTS; ++port) {
        mGlobRegInfo[port] = NULL;
        allRegFinalized[port] = false;
        init(port);
    }
}

Fg_ParameterInfo::~Fg_ParameterInfo() {
    for (int port = 0; port < NR_OF_PORTS; ++port) destroy(port);
}

bool Fg_ParameterInfo::validPort(int port) { return port >= 0 && port < NR_OF_PORTS; }

void Fg_ParameterInfo::init(int port) {
    if (!validPort(port)) return;
    destroy(port);
    mGlobRegInfo[port] = NULL;
    allRegFinalized[port] = false;
}

void Fg_ParameterInfo::freeRecord(RegisterInfo* reg) {
    // The record itself, its enumeration arrays and its texts live in the
    // slot's pool; only a group's element array is the record's own.
    if (reg != NULL && reg->format == REG_FORMAT_GROUP) free(reg->u.gReg.elements);
}

void Fg_ParameterInfo::destroy(int port) {
    if (!validPort(port)) return;
    std::vector<RegisterInfo*>& all = allRegInfo[port];
    for (size_t i = 0; i < all.size(); ++i) freeRecord(all[i]);
    all.clear();
    mPool[port].release();
}

RegisterInfo* Fg_ParameterInfo::newRecord(int port, REG_FORMAT format) {
    if (!validPort(port) || allRegFinalized[port]) return NULL;
    RegisterInfo* reg = static_cast<RegisterInfo*>(mPool[port].allocate(sizeof(RegisterInfo)));
    if (reg == NULL) return NULL;
    try {
        allRegInfo[port].push_back(reg);
    } catch (...) {
        return NULL;
    }
    reg->format = format;
    reg->port = port;
    return reg;
}

void Fg_ParameterInfo::discardNewest(int port) {
    if (!validPort(port) || allRegInfo[port].empty()) return;
    freeRecord(allRegInfo[port].back());
    allRegInfo[port].pop_back();
}

bool Fg_ParameterInfo::attachToParent(RegisterInfo* parent, RegisterInfo* child) {
    GroupReg& group = parent->u.gReg;
    // The child takes the next index; the array grows by exactly one entry.
    // A group whose bookkeeping was overwritten from outside is left alone.
    if (group.nrOfElements < 0 || group.autoIndex != group.nrOfElements ||
        (group.nrOfElements > 0 && group.elements == NULL))
        return false;
    const int count = group.nrOfElements + 1;
    RegisterInfo** grown =
        static_cast<RegisterInfo**>(realloc(group.elements, static_cast<size_t>(count) * sizeof(RegisterInfo*)));
    if (grown == NULL) return false;
    group.elements = grown;
    child->index = group.autoIndex++;
    group.nrOfElements = count;
    group.elements[child->index] = child;
    return true;
}

RegisterInfo* Fg_ParameterInfo::addGroupInfo(int port, RegisterInfo* parent, const char* name) {
    RegisterInfo* reg = newRecord(port, REG_FORMAT_GROUP);
    if (reg == NULL) return NULL;
    bool failed = false;
    reg->name = mPool[port].copy(name, failed);
    if (failed) {
        discardNewest(port);
        return NULL;
    }

    if (parent == NULL) {
        reg->depth = 0;
        reg->next = mGlobRegInfo[port];
        if (mGlobRegInfo[port] != NULL) mGlobRegInfo[port]->previous = reg;
        mGlobRegInfo[port] = reg;
        return reg;
    }

    // A group nests only in a group. The refused record stays with the slot
    // (it is released with the slot) but is attached nowhere.
    if (parent->format != REG_FORMAT_GROUP) return NULL;

    reg->depth = parent->depth + 1;
    reg->parentName = mPool[port].copy(parent->name, failed);
    if (failed || !attachToParent(parent, reg)) {
        discardNewest(port);
        return NULL;
    }
    return reg;
}

RegisterInfo* Fg_ParameterInfo::newParameter(RegisterInfo* parent, REG_FORMAT format, const char* name,
                                             const char* paramName, int accessFlags, int rangeFlags,
                                             int visibilityFlags, const char* unit, int id, int port) {
    // Parameters hang only below a group; every parameter has an SDK name.
    if (parent == NULL || parent->format != REG_FORMAT_GROUP || paramName == NULL) return NULL;
    RegisterInfo* reg = newRecord(port, format);
    if (reg == NULL) return NULL;
    bool failed = false;
    reg->name = mPool[port].copy(name, failed);
    reg->parameterName = mPool[port].copy(paramName, failed);
    reg->unit = mPool[port].copy(unit, failed);
    if (failed) {
        discardNewest(port);
        return NULL;
    }
    reg->accessFlags = accessFlags;
    reg->rangeFlags = rangeFlags;
    reg->visibilityFlags = visibilityFlags;
    reg->id = id;
    return reg;
}

template <class Fill>
RegisterInfo* Fg_ParameterInfo::addParameter(RegisterInfo* parent, REG_FORMAT format, const char* name,
                                             const char* paramName, int accessFlags, int rangeFlags,
                                             int visibilityFlags, const char* unit, int id, int port, Fill&& fill) {
    RegisterInfo* reg =
        newParameter(parent, format, name, paramName, accessFlags, rangeFlags, visibilityFlags, unit, id, port);
    if (reg == NULL) return NULL;
    if (!fill(*reg) || !attachToParent(parent, reg)) {
        discardNewest(port);
        return NULL;
    }
    return reg;
}

namespace {

// The range of a scalar record's variant.
template <class Range, class T>
bool setRange(Range& r, T from, T to, T steps) {
    r.from = from;
    r.to = to;
    r.steps = steps;
    return true;
}

// The range of a field record's variant; the shown element starts at index 0
// with the lower bound as its value.
template <class Field, class T>
bool setFieldRange(Field& f, int size, T from, T to) {
    f.from = from;
    f.to = to;
    f.nrOfElements = size;
    f.index = 0;
    f.value = from;
    return true;
}

}  // namespace

#define ORV_PARAMETER_ARGS accessFlags, rangeFlags, visibilityFlags, unit, id, port

RegisterInfo* Fg_ParameterInfo::addInfoInt(RegisterInfo* parent, const char* name, const char* paramName, int from,
                                           int to, int steps, int accessFlags, int rangeFlags, int visibilityFlags,
                                           const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_INT, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setRange(r.u.iReg, from, to, steps); });
}

RegisterInfo* Fg_ParameterInfo::addInfoUInt(RegisterInfo* parent, const char* name, const char* paramName,
                                            unsigned int from, unsigned int to, unsigned int steps, int accessFlags,
                                            int rangeFlags, int visibilityFlags, const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_UINT, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setRange(r.u.uiReg, from, to, steps); });
}

RegisterInfo* Fg_ParameterInfo::addInfoInt64(RegisterInfo* parent, const char* name, const char* paramName,
                                             int64_t from, int64_t to, int64_t steps, int accessFlags, int rangeFlags,
                                             int visibilityFlags, const char* unit, int id, int port) {
    // The 64-bit variant holds the bit patterns of the signed bounds.
    return addParameter(parent, REG_FORMAT_INT64, name, paramName, ORV_PARAMETER_ARGS, [&](RegisterInfo& r) {
        return setRange(r.u.iReg64, static_cast<uint64_t>(from), static_cast<uint64_t>(to),
                        static_cast<uint64_t>(steps));
    });
}

RegisterInfo* Fg_ParameterInfo::addInfoUInt64(RegisterInfo* parent, const char* name, const char* paramName,
                                              uint64_t from, uint64_t to, uint64_t steps, int accessFlags,
                                              int rangeFlags, int visibilityFlags, const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_UINT64, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setRange(r.u.iReg64, from, to, steps); });
}

RegisterInfo* Fg_ParameterInfo::addInfoDouble(RegisterInfo* parent, const char* name, const char* paramName,
                                              double from, double to, double steps, int accessFlags, int rangeFlags,
                                              int visibilityFlags, const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_DOUBLE, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setRange(r.u.dReg, from, to, steps); });
}

RegisterInfo* Fg_ParameterInfo::addInfoIntField(RegisterInfo* parent, const char* name, const char* paramName, int size,
                                                int from, int to, int /*steps*/, int accessFlags, int rangeFlags,
                                                int visibilityFlags, const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_INTFIELD, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setFieldRange(r.u.ifReg, size, from, to); });
}

RegisterInfo* Fg_ParameterInfo::addInfoUIntField(RegisterInfo* parent, const char* name, const char* paramName,
                                                 int size, unsigned int from, unsigned int to, unsigned int /*steps*/,
                                                 int accessFlags, int rangeFlags, int visibilityFlags, const char* unit,
                                                 int id, int port) {
    return addParameter(parent, REG_FORMAT_UINTFIELD, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setFieldRange(r.u.uifReg, size, from, to); });
}

RegisterInfo* Fg_ParameterInfo::addInfoDoubleField(RegisterInfo* parent, const char* name, const char* paramName,
                                                   int size, double from, double to, double /*steps*/, int accessFlags,
                                                   int rangeFlags, int visibilityFlags, const char* unit, int id,
                                                   int port) {
    return addParameter(parent, REG_FORMAT_DOUBLEFIELD, name, paramName, ORV_PARAMETER_ARGS,
                        [&](RegisterInfo& r) { return setFieldRange(r.u.dfReg, size, from, to); });
}

RegisterInfo* Fg_ParameterInfo::addInfoEnum(RegisterInfo* parent, const char* name, const char* paramName,
                                            int nrOfElements, int accessFlags, int rangeFlags, int visibilityFlags,
                                            const char* unit, int id, int port) {
    if (nrOfElements < 0) return NULL;
    return addParameter(parent, REG_FORMAT_ENUM, name, paramName, ORV_PARAMETER_ARGS, [&](RegisterInfo& r) {
        EnumReg& e = r.u.eReg;
        if (nrOfElements > 0) {
            const size_t n = static_cast<size_t>(nrOfElements);
            Pool& pool = mPool[port];
            e.enumNames = static_cast<char**>(pool.allocate(n * sizeof(char*)));
            e.enumDefName = static_cast<char**>(pool.allocate(n * sizeof(char*)));
            e.enumValues = static_cast<int*>(pool.allocate(n * sizeof(int)));
            // The entry count is set only with all three arrays in place, so
            // that releasing a half-built record never walks a missing array.
            if (e.enumNames == NULL || e.enumDefName == NULL || e.enumValues == NULL) return false;
        }
        e.nrOfElements = nrOfElements;
        e.absValue = 0;
        e.indexValue = 0;
        return true;
    });
}

RegisterInfo* Fg_ParameterInfo::addInfoString(RegisterInfo* parent, const char* name, const char* paramName,
                                              const char* fileExt, int accessFlags, int rangeFlags, int visibilityFlags,
                                              const char* unit, int id, int port) {
    return addParameter(parent, REG_FORMAT_STRING, name, paramName, ORV_PARAMETER_ARGS, [&](RegisterInfo& r) {
        bool failed = false;
        r.u.sReg.string = NULL;
        r.u.sReg.strLen = 0;
        r.u.sReg.FileExtension = mPool[port].copy(fileExt, failed);
        return !failed;
    });
}

#undef ORV_PARAMETER_ARGS

int Fg_ParameterInfo::addEnumNameValue(RegisterInfo* reg, int element, const char* name, int value,
                                       const char* defname) {
    if (reg == NULL || reg->format != REG_FORMAT_ENUM || name == NULL) return kErrInvalidParameter;
    EnumReg& e = reg->u.eReg;
    if (element < 0 || element >= e.nrOfElements || e.enumNames == NULL || e.enumValues == NULL ||
        e.enumDefName == NULL)
        return kErrInvalidParameter;

    // (An entry filled again takes new copies; the old ones stay in the pool
    // until the slot is destroyed. The catalogue fills each entry once.)
    Pool& pool = mPool[validPort(reg->port) ? reg->port : 0];
    bool failed = false;
    e.enumNames[element] = NULL;
    e.enumDefName[element] = NULL;
    e.enumNames[element] = pool.copy(name, failed);
    if (failed) return kErrBufferTooSmall;
    e.enumValues[element] = value;
    e.enumDefName[element] = pool.copy(defname, failed);
    if (failed) return kErrBufferTooSmall;
    return 0;
}

void Fg_ParameterInfo::finalize(int port) {
    if (validPort(port)) allRegFinalized[port] = true;
}

RegisterInfo* Fg_ParameterInfo::getRegisterInfo(int Port) { return validPort(Port) ? mGlobRegInfo[Port] : NULL; }

RegisterInfo* Fg_ParameterInfo::getNextRegisterInfo(RegisterInfo* reg, int Port) {
    if (reg == NULL) return getRegisterInfo(Port);
    return reg->next;
}

const std::vector<RegisterInfo*>& Fg_ParameterInfo::records(int port) const {
    static const std::vector<RegisterInfo*> none;
    return validPort(port) ? allRegInfo[port] : none;
}
