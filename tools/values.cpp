#include "values.h"

#include <cfloat>
#include <cstring>

#include "board.h"
#include "sim_board.h"
#include "text_util.h"

namespace appletctl {
namespace {
const size_t kTextBuffer = 65536;   // reads of text parameters
const size_t kMaxTextValue = 1023;  // longest text the tool writes
const int kMaxFieldElements = 1 << 20;
}  // namespace

Kind kindOf(const RegisterInfo* r) {
    if (!r) return Kind::UInt32;  // parameters without a record (host-level ones)
    switch (r->format) {
    case REG_FORMAT_UINT: return Kind::UInt32;
    case REG_FORMAT_INT: return Kind::Int32;
    case REG_FORMAT_ENUM: return Kind::Enum;
    case REG_FORMAT_STRING: return Kind::Text;
    case REG_FORMAT_DOUBLE:
    case REG_FORMAT_FLOAT: return Kind::Double;
    case REG_FORMAT_UINT64: return Kind::UInt64;
    case REG_FORMAT_INT64: return Kind::Int64;
    case REG_FORMAT_UINTFIELD: return Kind::UIntField;
    case REG_FORMAT_INTFIELD: return Kind::IntField;
    case REG_FORMAT_DOUBLEFIELD: return Kind::DoubleField;
    default: return Kind::Unsupported;
    }
}

int fieldSize(const RegisterInfo* r) {
    switch (r->format) {
    case REG_FORMAT_UINTFIELD: return r->u.uifReg.nrOfElements;
    case REG_FORMAT_INTFIELD: return r->u.ifReg.nrOfElements;
    case REG_FORMAT_DOUBLEFIELD: return r->u.dfReg.nrOfElements;
    default: return 0;
    }
}

// The entry of an enumeration with the given value (-1 when none).
int enumEntry(const RegisterInfo* r, uint32_t value) {
    const EnumReg& e = r->u.eReg;
    if (!e.enumValues) return -1;
    for (int i = 0; i < e.nrOfElements && i < 100000; ++i) {
        if (static_cast<uint32_t>(e.enumValues[i]) == value) return i;
    }
    return -1;
}

std::string enumConstant(const RegisterInfo* r, int i) {
    const EnumReg& e = r->u.eReg;
    if (e.enumDefName && e.enumDefName[i]) return toUtf8(e.enumDefName[i]);
    if (e.enumNames && e.enumNames[i]) return "\"" + toUtf8(e.enumNames[i]) + "\"";
    return std::to_string(e.enumValues[i]);
}

// An enumeration value printed as a number: negative when an entry says so.
std::string enumNumber(const RegisterInfo* r, uint32_t v) {
    int i = enumEntry(r, v);
    if (i >= 0 && r->u.eReg.enumValues[i] < 0) return std::to_string(r->u.eReg.enumValues[i]);
    return std::to_string(v);
}

// Reads a number as type T and widens it into `out`; the read's code.
namespace {
template <class T, class Out>
int readNumber(Fg_Struct* fg, int id, unsigned port, FgParamTypes type, Out& out) {
    T x = 0;
    const int code = Fg_getParameterWithType(fg, id, &x, port, type);
    out = x;
    return code;
}
}  // namespace

Value readValue(Board& b, int id, unsigned port, const RegisterInfo* r) {
    Value v;
    v.kind = kindOf(r);
    Fg_Struct* fg = b.fg();
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::Enum: v.code = readNumber<uint32_t>(fg, id, port, FG_PARAM_TYPE_UINT32_T, v.u); break;
    case Kind::Int32: v.code = readNumber<int32_t>(fg, id, port, FG_PARAM_TYPE_INT32_T, v.i); break;
    case Kind::UInt64: v.code = readNumber<uint64_t>(fg, id, port, FG_PARAM_TYPE_UINT64_T, v.u); break;
    case Kind::Int64: v.code = readNumber<int64_t>(fg, id, port, FG_PARAM_TYPE_INT64_T, v.i); break;
    case Kind::Double: v.code = readNumber<double>(fg, id, port, FG_PARAM_TYPE_DOUBLE, v.d); break;
    case Kind::Text: {
        std::vector<char> buf(kTextBuffer, '\0');
        v.code = Fg_getParameterWithType(fg, id, buf.data(), port, FG_PARAM_TYPE_CHAR_PTR);
        buf.back() = '\0';
        v.text = buf.data();
        break;
    }
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField: {
        int n = fieldSize(r);
        v.fieldTotal = n;
        if (n <= 0 || n > kMaxFieldElements) break;
        FieldParameterAccess a;
        std::memset(&a, 0, sizeof a);
        a.index = 0;
        a.count = static_cast<unsigned>(n);
        std::vector<uint32_t> u32;
        std::vector<int32_t> i32;
        std::vector<double> dbl;
        if (v.kind == Kind::UIntField) {
            u32.assign(static_cast<size_t>(n), 0);
            a.vtype = FG_PARAM_TYPE_UINT32_T;
            a.p_uint32_t = u32.data();
        } else if (v.kind == Kind::IntField) {
            i32.assign(static_cast<size_t>(n), 0);
            a.vtype = FG_PARAM_TYPE_INT32_T;
            a.p_int32_t = i32.data();
        } else {
            dbl.assign(static_cast<size_t>(n), 0.0);
            a.vtype = FG_PARAM_TYPE_DOUBLE;
            a.p_double = dbl.data();
        }
        v.code = Fg_getParameterWithType(fg, id, &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
        if (v.code == 0) {
            for (int k = 0; k < n; ++k) {
                v.field.push_back(v.kind == Kind::UIntField  ? static_cast<double>(u32[static_cast<size_t>(k)])
                                  : v.kind == Kind::IntField ? static_cast<double>(i32[static_cast<size_t>(k)])
                                                             : dbl[static_cast<size_t>(k)]);
            }
        }
        break;
    }
    case Kind::Unsupported: v.code = FG_ERR_NOT_SUPPORTED; break;
    }
    return v;
}

static std::string fieldSummary(const Value& v) {
    std::string s = std::to_string(v.fieldTotal) + (v.fieldTotal == 1 ? " value" : " values");
    if (v.field.empty()) return s;
    s += ": ";
    const size_t n = v.field.size();
    auto item = [&](size_t k) { return formatDouble(v.field[k]); };
    if (n <= 8) {
        for (size_t k = 0; k < n; ++k) s += (k ? ", " : "") + item(k);
    } else {
        for (size_t k = 0; k < 4; ++k) s += item(k) + ", ";
        s += "..., " + item(n - 1);
    }
    return s;
}

// The value as `get` prints it (enumerations with constant name and number).
std::string showValue(const Value& v, const RegisterInfo* r, bool withNumber) {
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::UInt64: return std::to_string(v.u);
    case Kind::Int32:
    case Kind::Int64: return std::to_string(v.i);
    case Kind::Double: return formatDouble(v.d);
    case Kind::Enum: {
        uint32_t x = static_cast<uint32_t>(v.u);
        int i = enumEntry(r, x);
        if (i < 0) return enumNumber(r, x);
        std::string s = enumConstant(r, i);
        if (withNumber) s += " (" + enumNumber(r, x) + ")";
        return s;
    }
    case Kind::Text: return quoted(toUtf8(v.text));
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField: return fieldSummary(v);
    case Kind::Unsupported: break;
    }
    return "?";
}

bool parseValue(const std::string& text, const RegisterInfo* r, Written* w, std::string* why) {
    Kind k = kindOf(r);
    switch (k) {
    case Kind::UInt32: {
        uint64_t x = 0;
        if (!parseUnsigned(text, &x) || x > 0xFFFFFFFFull) {
            *why = "expected an unsigned 32-bit integer";
            return false;
        }
        w->type = FG_PARAM_TYPE_UINT32_T;
        w->u32 = static_cast<uint32_t>(x);
        return true;
    }
    case Kind::UInt64: {
        if (!parseUnsigned(text, &w->u64)) {
            *why = "expected an unsigned 64-bit integer";
            return false;
        }
        w->type = FG_PARAM_TYPE_UINT64_T;
        return true;
    }
    case Kind::Int32:
    case Kind::Int64: {
        int64_t x = 0;
        if (!parseSigned(text, &x) || (k == Kind::Int32 && (x < INT32_MIN || x > INT32_MAX))) {
            *why = "expected an integer";
            return false;
        }
        w->type = k == Kind::Int32 ? FG_PARAM_TYPE_INT32_T : FG_PARAM_TYPE_INT64_T;
        w->i32 = static_cast<int32_t>(x);
        w->i64 = x;
        return true;
    }
    case Kind::Double: {
        if (!parseDouble(text, &w->d)) {
            *why = "expected a finite number";
            return false;
        }
        w->type = FG_PARAM_TYPE_DOUBLE;
        return true;
    }
    case Kind::Enum: {
        const EnumReg& e = r->u.eReg;
        w->type = FG_PARAM_TYPE_UINT32_T;
        // Constant name (exact, then any case), then display name, then number.
        for (int pass = 0; pass < 3; ++pass) {
            for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
                const char* def = e.enumDefName ? e.enumDefName[i] : nullptr;
                const char* disp = e.enumNames ? e.enumNames[i] : nullptr;
                bool hit = (pass == 0 && def && text == def) ||
                           (pass == 1 && def && upperCase(text) == upperCase(def)) ||
                           (pass == 2 && disp && upperCase(text) == upperCase(toUtf8(disp)));
                if (hit) {
                    w->u32 = static_cast<uint32_t>(e.enumValues[i]);
                    return true;
                }
            }
        }
        int64_t x = 0;
        if (parseSigned(text, &x) && x >= INT32_MIN && x <= static_cast<int64_t>(UINT32_MAX)) {
            w->u32 = static_cast<uint32_t>(x);
            return true;
        }
        std::string names;
        for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
            names += (i ? ", " : "") + enumConstant(r, i);
        }
        *why = "not an entry of the enumeration (" + names + ")";
        return false;
    }
    case Kind::Text: {
        if (text.size() > kMaxTextValue) {
            *why = "text longer than " + std::to_string(kMaxTextValue) + " characters";
            return false;
        }
        if (text.find('\0') != std::string::npos) {
            *why = "text contains a NUL character";
            return false;
        }
        w->type = FG_PARAM_TYPE_CHAR_PTR;
        w->text = text;
        return true;
    }
    case Kind::UIntField:
    case Kind::IntField:
    case Kind::DoubleField:
        *why = "a field of " + std::to_string(fieldSize(r)) +
               " elements cannot be set from here (for the lookup table use 'lut load')";
        return false;
    case Kind::Unsupported: break;
    }
    *why = "parameter kind " + std::to_string(r ? static_cast<int>(r->format) : -1) + " is not supported";
    return false;
}

const void* Written::ptr() const {
    switch (type) {
    case FG_PARAM_TYPE_INT32_T: return &i32;
    case FG_PARAM_TYPE_UINT64_T: return &u64;
    case FG_PARAM_TYPE_INT64_T: return &i64;
    case FG_PARAM_TYPE_DOUBLE: return &d;
    case FG_PARAM_TYPE_CHAR_PTR: return text.c_str();
    default: return &u32;
    }
}

bool writtenOf(const Value& v, Written* w) {
    switch (v.kind) {
    case Kind::UInt32:
    case Kind::Enum:
        w->type = FG_PARAM_TYPE_UINT32_T;
        w->u32 = static_cast<uint32_t>(v.u);
        return true;
    case Kind::Int32:
        w->type = FG_PARAM_TYPE_INT32_T;
        w->i32 = static_cast<int32_t>(v.i);
        return true;
    case Kind::UInt64:
        w->type = FG_PARAM_TYPE_UINT64_T;
        w->u64 = v.u;
        return true;
    case Kind::Int64:
        w->type = FG_PARAM_TYPE_INT64_T;
        w->i64 = v.i;
        return true;
    case Kind::Double:
        w->type = FG_PARAM_TYPE_DOUBLE;
        w->d = v.d;
        return true;
    case Kind::Text:
        w->type = FG_PARAM_TYPE_CHAR_PTR;
        w->text = v.text;
        return true;
    default: return false;
    }
}

std::string accessText(const RegisterInfo* r) {
    if (!r) return "r";
    switch (r->accessFlags & 3) {
    case 3: return "rw";
    case 1: return "r";
    case 2: return "w";
    default: return "-";
    }
}

std::string rangeText(const RegisterInfo* r) {
    if (!r) return "";
    auto withStep = [](const std::string& from, const std::string& to, const std::string& step) {
        std::string s = from + ".." + to;
        if (!step.empty()) s += " step " + step;
        return s;
    };
    switch (r->format) {
    case REG_FORMAT_UINT: {
        const UIntReg& u = r->u.uiReg;
        return withStep(std::to_string(u.from), std::to_string(u.to),
                        u.steps > 1 ? std::to_string(u.steps) : std::string());
    }
    case REG_FORMAT_INT: {
        const IntReg& u = r->u.iReg;
        return withStep(std::to_string(u.from), std::to_string(u.to),
                        u.steps > 1 ? std::to_string(u.steps) : std::string());
    }
    case REG_FORMAT_UINT64: {
        const IntReg64& u = r->u.iReg64;
        return withStep(std::to_string(u.from), std::to_string(u.to),
                        u.steps > 1 ? std::to_string(u.steps) : std::string());
    }
    case REG_FORMAT_INT64: {
        const IntReg64& u = r->u.iReg64;
        return withStep(
            std::to_string(static_cast<int64_t>(u.from)), std::to_string(static_cast<int64_t>(u.to)),
            static_cast<int64_t>(u.steps) > 1 ? std::to_string(static_cast<int64_t>(u.steps)) : std::string());
    }
    case REG_FORMAT_DOUBLE: {
        const DoubleReg& u = r->u.dReg;
        // A step of the double epsilon stands for a continuous range.
        return withStep(formatDouble(u.from), formatDouble(u.to),
                        u.steps > DBL_EPSILON ? formatDouble(u.steps) : std::string());
    }
    case REG_FORMAT_FLOAT: {
        const FloatReg& u = r->u.fReg;
        return withStep(formatDouble(u.from), formatDouble(u.to),
                        u.steps > FLT_EPSILON ? formatDouble(u.steps) : std::string());
    }
    case REG_FORMAT_ENUM: {
        std::string s;
        const EnumReg& e = r->u.eReg;
        for (int i = 0; e.enumValues && i < e.nrOfElements && i < 100000; ++i) {
            if (i) s += ' ';
            s += enumConstant(r, i) + "=" + std::to_string(e.enumValues[i]);
        }
        return s;
    }
    case REG_FORMAT_STRING: {
        const char* ext = r->u.sReg.FileExtension;
        return ext && *ext ? "file " + toUtf8(ext) : "text";
    }
    case REG_FORMAT_UINTFIELD: {
        const UIntFieldReg& u = r->u.uifReg;
        return std::to_string(u.nrOfElements) + " x " + std::to_string(u.from) + ".." + std::to_string(u.to);
    }
    case REG_FORMAT_INTFIELD: {
        const IntFieldReg& u = r->u.ifReg;
        return std::to_string(u.nrOfElements) + " x " + std::to_string(u.from) + ".." + std::to_string(u.to);
    }
    case REG_FORMAT_DOUBLEFIELD: {
        const DoubleFieldReg& u = r->u.dfReg;
        return std::to_string(u.nrOfElements) + " x " + formatDouble(u.from) + ".." + formatDouble(u.to);
    }
    default: return "kind " + std::to_string(static_cast<int>(r->format));
    }
}

std::string rangeNote(const RegisterInfo* r) {
    if (!r) return std::string();
    switch (r->format) {
    case REG_FORMAT_UINT:
    case REG_FORMAT_INT:
    case REG_FORMAT_UINT64:
    case REG_FORMAT_INT64:
    case REG_FORMAT_DOUBLE:
    case REG_FORMAT_FLOAT: return ", range " + rangeText(r);
    case REG_FORMAT_ENUM: return ", entries " + rangeText(r);
    default: return std::string();
    }
}

std::string kindText(const RegisterInfo* r) {
    switch (kindOf(r)) {
    case Kind::UInt32: return r ? "unsigned 32-bit integer" : "unsigned 32-bit integer (no record)";
    case Kind::Int32: return "signed 32-bit integer";
    case Kind::UInt64: return "unsigned 64-bit integer";
    case Kind::Int64: return "signed 64-bit integer";
    case Kind::Double: return "floating-point number";
    case Kind::Enum: return "enumeration";
    case Kind::Text: return r->u.sReg.FileExtension && *r->u.sReg.FileExtension ? "file name" : "text";
    case Kind::UIntField: return "field of " + std::to_string(fieldSize(r)) + " unsigned integers";
    case Kind::IntField: return "field of " + std::to_string(fieldSize(r)) + " integers";
    case Kind::DoubleField: return "field of " + std::to_string(fieldSize(r)) + " floating-point numbers";
    case Kind::Unsupported: break;
    }
    return "kind " + std::to_string(r ? static_cast<int>(r->format) : -1);
}

}  // namespace appletctl
