// The SDK enumeration constants, derived from enums.def: one scoped
// enumeration per table (sdk::OnOff::FG_ON == 1, ...), for handlers, the
// default list and tests to name a value instead of spelling its number.
#ifndef SDK_ENUMS_H
#define SDK_ENUMS_H

#include <cstdint>

namespace sdk {

#define ENUM_TABLE(NAME) enum class NAME : uint32_t {
#define ENUM_ENTRY(DISPLAY, VALUE, CONSTANT) CONSTANT = VALUE,
#define ENUM_TABLE_END() \
    }                    \
    ;
#include "enums.def"

// The SDK value of a constant: sdk::value(sdk::OnOff::FG_ON) == 1u.
template <class E>
constexpr uint32_t value(E constant) {
    return static_cast<uint32_t>(constant);
}

}  // namespace sdk

#endif
