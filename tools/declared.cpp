#include "declared.h"

#include <cfloat>
#include <cstring>
#include <vector>

#include "text_util.h"

namespace appletctl {
namespace {

namespace entries {
#define ENUM_TABLE(NAME) const DeclaredEntry NAME[] = {
#define ENUM_ENTRY(DISPLAY, VALUE, CONSTANT) {DISPLAY, VALUE, #CONSTANT},
#define ENUM_TABLE_END() \
    }                    \
    ;
#include "enums.def"
}  // namespace entries

const Declared kDeclared[] = {
#define CAT_UINT(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    {#NAME, DeclaredKind::UInt, double(FROM), double(TO), double(STEPS), nullptr, 0, 0},
#define CAT_UINT64(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    {#NAME, DeclaredKind::UInt64, double(FROM), double(TO), double(STEPS), nullptr, 0, 0},
#define CAT_DOUBLE(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FROM, TO, STEPS, UNIT) \
    {#NAME, DeclaredKind::Double, FROM, TO, STEPS, nullptr, 0, 0},
#define CAT_ENUM(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, TABLE) \
    {#NAME, DeclaredKind::Enum, 0, 0, 0, entries::TABLE, int(sizeof entries::TABLE / sizeof entries::TABLE[0]), 0},
#define CAT_STRING(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, FILTER, UNIT) \
    {#NAME, DeclaredKind::Text, 0, 0, 0, nullptr, 0, 0},
#define CAT_UFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT) \
    {#NAME, DeclaredKind::UIntField, double(FROM), double(TO), double(STEPS), nullptr, 0, SIZE},
#define CAT_DFIELD(PATH, DISPLAY, NAME, ACCESS, RANGEFLAG, SIZE, FROM, TO, STEPS, UNIT) \
    {#NAME, DeclaredKind::DoubleField, FROM, TO, STEPS, nullptr, 0, SIZE},
#include "catalogue.def"
};

// The keys of a port section, in file order, from the applet's per-port
// table (rows that are not in the file are marked and skipped).
#define ORV_KEY_KIND_U32 KeyKind::Int
#define ORV_KEY_KIND_DOUBLE KeyKind::Double
#define ORV_KEY_SAVED_CACHED true
#define ORV_KEY_SAVED_LIVE false
#define ORV_KEY_SAVED_SPECIAL false
#define ORV_KEY_SAVED_NONE false
#define ORV_KEY_IN_FILE_CACHED true
#define ORV_KEY_IN_FILE_LIVE true
#define ORV_KEY_IN_FILE_SPECIAL true
#define ORV_KEY_IN_FILE_NONE false
#define ORV_KEY_LOAD_APPLIED KeyLoad::Applied
#define ORV_KEY_LOAD_CACHED_ONLY KeyLoad::CachedOnly
#define ORV_KEY_LOAD_NOT_READ KeyLoad::NotRead
#define ORV_KEY_LOAD_NONE KeyLoad::NotRead
struct KeyRow {
    ConfigKey key;
    bool inFile;
};
const KeyRow kKeyRows[] = {
#define PORT_CACHE(NAME, TYPE, VALUE, DEFAULT, SAVED, ON_LOAD) \
    {{#NAME, ORV_KEY_KIND_##TYPE, ORV_KEY_SAVED_##SAVED, ORV_KEY_LOAD_##ON_LOAD}, ORV_KEY_IN_FILE_##SAVED},
#define PORT_CACHE_TEXT(NAME, SAVED, ON_LOAD) \
    {{#NAME, KeyKind::Text, ORV_KEY_SAVED_##SAVED, ORV_KEY_LOAD_##ON_LOAD}, ORV_KEY_IN_FILE_##SAVED},
#define PORT_FILE_KEY(NAME, TYPE, SAVED) {{#NAME, ORV_KEY_KIND_##TYPE, false, KeyLoad::NotRead}, true},
#include "port_cache.def"
};

std::vector<ConfigKey> fileKeys() {
    std::vector<ConfigKey> keys;
    for (const KeyRow& r : kKeyRows)
        if (r.inFile) keys.push_back(r.key);
    return keys;
}
const std::vector<ConfigKey> kConfigKeys = fileKeys();

}  // namespace

const Declared* declared(const std::string& name) {
    for (const Declared& d : kDeclared) {
        if (name == d.name) return &d;
    }
    return nullptr;
}

const ConfigKey* configKeys() { return kConfigKeys.data(); }
int configKeyCount() { return int(kConfigKeys.size()); }
const ConfigKey* configKey(const std::string& name) {
    for (const ConfigKey& k : kConfigKeys) {
        if (name == k.name) return &k;
    }
    return nullptr;
}

std::string declaredRange(const Declared& d) {
    if (d.kind == DeclaredKind::Enum) {
        std::string s;
        for (int i = 0; i < d.entryCount; ++i) {
            if (i) s += ' ';
            s += std::string(d.entries[i].constant) + "=" +
                 (d.entries[i].value > 0x7FFFFFFFu ? std::to_string(int32_t(d.entries[i].value))
                                                   : std::to_string(d.entries[i].value));
        }
        return s;
    }
    if (d.kind == DeclaredKind::Text) return "text";
    std::string s = formatDouble(d.from) + ".." + formatDouble(d.to);
    const bool continuous =
        d.kind == DeclaredKind::Double || d.kind == DeclaredKind::DoubleField ? d.steps <= DBL_EPSILON : d.steps <= 1;
    if (!continuous) s += " step " + formatDouble(d.steps);
    return s;
}

}  // namespace appletctl
