// Parameter values as the tool reads, shows and parses them, by the kind the
// parameter's RegisterInfo record gives it.
#ifndef APPLETCTL_VALUES_H
#define APPLETCTL_VALUES_H

#include <cstdint>
#include <string>
#include <vector>

#include "fg_types.h"

namespace appletctl {

class Board;

// How a parameter's value is exchanged, from its record's format.
enum class Kind { UInt32, Int32, UInt64, Int64, Double, Enum, Text, UIntField, IntField, DoubleField, Unsupported };

Kind kindOf(const RegisterInfo* r);
int fieldSize(const RegisterInfo* r);
// The entry of an enumeration with the given value (-1 when none).
int enumEntry(const RegisterInfo* r, uint32_t value);
std::string enumConstant(const RegisterInfo* r, int i);
// An enumeration value printed as a number: negative when an entry says so.
std::string enumNumber(const RegisterInfo* r, uint32_t v);

struct Value {
    int code = 0;  // 0 or the error code of the read
    Kind kind = Kind::UInt32;
    uint64_t u = 0;
    int64_t i = 0;
    double d = 0;
    std::string text;
    std::vector<double> field;  // field elements (integers are exact in a double)
    int fieldTotal = 0;

    bool operator==(const Value& o) const {
        return code == o.code && kind == o.kind && u == o.u && i == o.i && d == o.d && text == o.text &&
               field == o.field;
    }
    bool operator!=(const Value& o) const { return !(*this == o); }
};

Value readValue(Board& b, int id, unsigned port, const RegisterInfo* r);
// The value as `get` prints it (enumerations with constant name and number).
std::string showValue(const Value& v, const RegisterInfo* r, bool withNumber);

// A value ready for Fg_setParameterWithType.
struct Written {
    FgParamTypes type = FG_PARAM_TYPE_UINT32_T;
    uint32_t u32 = 0;
    int32_t i32 = 0;
    uint64_t u64 = 0;
    int64_t i64 = 0;
    double d = 0;
    std::string text;
    const void* ptr() const;
};

// Parses VALUE for a write. Returns false with the reason in *why.
bool parseValue(const std::string& text, const RegisterInfo* r, Written* w, std::string* why);
// The value read back as a write of it (fields cannot be written back).
bool writtenOf(const Value& v, Written* w);

// "rw", "r", ...
std::string accessText(const RegisterInfo* r);
// "32..16384 step 16", enumeration entries, "file *.lut", ...
std::string rangeText(const RegisterInfo* r);
// ", range 32..16384 step 16" for numbers; empty otherwise.
std::string rangeNote(const RegisterInfo* r);
// "unsigned 32-bit integer", "enumeration", ...
std::string kindText(const RegisterInfo* r);

}  // namespace appletctl

#endif  // APPLETCTL_VALUES_H
