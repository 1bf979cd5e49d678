// What an application can see of a board, as comparable snapshots: every
// exported parameter of both ports read in the form its record describes,
// and every field of every registry record.
#ifndef ORV_TESTS_BOARD_SNAPSHOT_H
#define ORV_TESTS_BOARD_SNAPSHOT_H

#include <cinttypes>
#include <cstdio>
#include <map>
#include <set>

#include "board_fixture.h"
#include "record_text.h"

namespace orvtest {

const int kTextBuffer = 4096;

struct Parameter {
    std::string name;
    int id;
};

// The exported parameters of the board.
inline std::vector<Parameter> exportedParameters(Board& b) {
    std::vector<Parameter> out;
    const int n = Fg_getNrOfParameter(b.fg());
    for (int i = 0; i < n; ++i) {
        const char* name = Fg_getParameterName(b.fg(), i);
        out.push_back({name ? name : "", Fg_getParameterId(b.fg(), i)});
    }
    return out;
}

// A typed read of a number: "rc:bytes".
template <class T>
std::string readNumberBytes(Board& b, int id, int port, FgParamTypes type, T fill) {
    T v = fill;
    const int rc = Fg_getParameterWithType(b.fg(), id, &v, port, type);
    return std::to_string(rc) + ":" + std::string(reinterpret_cast<const char*>(&v), sizeof v);
}

// A read of a whole field through an access record: "rc:bytes".
template <class T>
std::string readFieldBytes(Board& b, int id, int port, FgParamTypes vtype, int count, T fill) {
    std::vector<T> t(static_cast<size_t>(count > 0 ? count : 0), fill);
    FieldParameterAccess a = fieldAccess(vtype, 0, unsigned(t.size()), t.data());
    const int rc = Fg_getParameterWithType(b.fg(), id, &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    return std::to_string(rc) + ":" + std::string(reinterpret_cast<const char*>(t.data()), t.size() * sizeof(T));
}

// One typed read of a parameter in the form its record describes, as bytes.
inline std::string readBack(Board& b, int id, int port) {
    const RegisterInfo* r = b.record(port, id);
    switch (r ? int(r->format) : int(REG_FORMAT_UINT)) {
    case REG_FORMAT_DOUBLE: return readNumberBytes<double>(b, id, port, FG_PARAM_TYPE_DOUBLE, -1.25);
    case REG_FORMAT_UINT64:
        return readNumberBytes<uint64_t>(b, id, port, FG_PARAM_TYPE_UINT64_T, 0x5A5A5A5A5A5A5A5Aull);
    case REG_FORMAT_STRING: {
        std::vector<char> text(kTextBuffer, 0);
        const int rc = Fg_getParameterWithType(b.fg(), id, text.data(), port, FG_PARAM_TYPE_CHAR_PTR);
        text.back() = 0;
        return std::to_string(rc) + ":" + text.data();
    }
    case REG_FORMAT_UINTFIELD:
        return readFieldBytes<uint32_t>(b, id, port, FG_PARAM_TYPE_UINT32_T, r->u.uifReg.nrOfElements, 0xA5A5A5A5u);
    case REG_FORMAT_DOUBLEFIELD:
        return readFieldBytes<double>(b, id, port, FG_PARAM_TYPE_DOUBLE, r->u.dfReg.nrOfElements, -1.5);
    default: return readNumberBytes<uint32_t>(b, id, port, FG_PARAM_TYPE_UINT32_T, 0xA5A5A5A5u);
    }
}

// A readable form of a read-back for messages.
inline std::string show(const std::string& raw) {
    std::string out;
    const size_t n = raw.size() < 40 ? raw.size() : 40;
    char hex[4];
    for (size_t i = 0; i < n; ++i) {
        unsigned char c = static_cast<unsigned char>(raw[i]);
        if (c >= 32 && c < 127) {
            out += static_cast<char>(c);
        } else {
            std::snprintf(hex, sizeof hex, "%02x", c);
            out += "\\";
            out += hex;
        }
    }
    if (raw.size() > n) out += "...";
    return out;
}

typedef std::map<std::string, std::string> Snapshot;  // "port/NAME" -> value

// The keys in which two snapshots differ, with both values (at most a few).
inline std::string differences(const Snapshot& want, const Snapshot& got) {
    std::string out;
    int shown = 0;
    std::set<std::string> keys;
    for (const auto& kv : want) keys.insert(kv.first);
    for (const auto& kv : got) keys.insert(kv.first);
    for (const std::string& k : keys) {
        const auto w = want.find(k), g = got.find(k);
        const std::string wv = w == want.end() ? "<none>" : show(w->second);
        const std::string gv = g == got.end() ? "<none>" : show(g->second);
        if (wv == gv) continue;
        if (++shown > 8) {
            out += "\n  ...";
            break;
        }
        out += "\n  " + k + ": want " + wv + ", got " + gv;
    }
    return out;
}

inline Snapshot readAll(Board& b, const std::vector<Parameter>& params) {
    Snapshot s;
    for (int port = 0; port < 2; ++port)
        for (const Parameter& p : params) s[std::to_string(port) + "/" + p.name] = readBack(b, p.id, port);
    return s;
}

// Registry records, field by field: "port/NAME.field" -> value.
inline void recordFields(const RegisterInfo* r, int port, Snapshot& out, const std::string& path) {
    if (r == nullptr) return;
    if (r->format == REG_FORMAT_GROUP) {
        const std::string here = path + "/" + (r->name ? r->name : "");
        out[std::to_string(port) + here + ".elements"] = std::to_string(r->u.gReg.nrOfElements);
        for (int i = 0; i < r->u.gReg.nrOfElements; ++i) recordFields(r->u.gReg.elements[i], port, out, here);
        return;
    }
    const std::string key = std::to_string(port) + "/" + (r->parameterName ? r->parameterName : "?");
    out[key + ".flags"] =
        std::to_string(r->accessFlags) + "/" + std::to_string(r->rangeFlags) + "/" + std::to_string(r->visibilityFlags);
    out[key + ".group"] = path;
    out[key + ".value"] = valueText(r);
}

inline Snapshot registry(Board& b) {
    Snapshot s;
    for (int port = 0; port < 2; ++port)
        for (RegisterInfo* g = Fg_getParameterInfo(b.fg(), port); g; g = g->next) recordFields(g, port, s, "");
    return s;
}

// Every exported parameter of both ports and every registry record.
inline Snapshot boardSnapshot(Board& b) {
    Snapshot s = readAll(b, exportedParameters(b));
    for (const auto& kv : registry(b)) s[kv.first] = kv.second;
    return s;
}

}  // namespace orvtest

#endif
