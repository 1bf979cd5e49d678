// The enumeration entry tables, expanded from enums.def.
#include "AppletWrapper.h"

namespace enum_tables {
namespace {
#define ENUM_TABLE(NAME) const EnumField NAME##_fields[] = {
#define ENUM_ENTRY(DISPLAY, VALUE, CONSTANT) {DISPLAY, VALUE, #CONSTANT},
#define ENUM_TABLE_END() \
    }                    \
    ;
#include "enums.def"
}  // namespace

#define ENUM_TABLE(NAME) \
    const EnumTable NAME = {#NAME, NAME##_fields, static_cast<int>(sizeof(NAME##_fields) / sizeof(EnumField))};
#include "enums.def"
}  // namespace enum_tables

const EnumTable* const kAllEnumTables[] = {
#define ENUM_TABLE(NAME) &enum_tables::NAME,
#include "enums.def"
};
const int kAllEnumTableCount = static_cast<int>(sizeof(kAllEnumTables) / sizeof(kAllEnumTables[0]));
