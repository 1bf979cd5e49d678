// What the applet declares about each parameter before any value narrows it:
// the kind, the range and step, the enumeration entries, as its catalogue
// registers them, and the role of each key of a configuration file. Expanded
// at compile time from the applet's own tables, so that a file can be judged
// on its own, whatever state the board is in (several ranges follow other
// values of the same port while the board runs).
#ifndef APPLETCTL_DECLARED_H
#define APPLETCTL_DECLARED_H

#include <cstdint>
#include <string>

namespace appletctl {

struct DeclaredEntry {
    const char* display;
    uint32_t value;
    const char* constant;
};

enum class DeclaredKind { UInt, UInt64, Double, Enum, Text, UIntField, DoubleField };

struct Declared {
    const char* name;
    DeclaredKind kind;
    double from, to, steps;  // exact for every bound below 2^53 (all but the FPGA DNA)
    const DeclaredEntry* entries;
    int entryCount;
    int size;  // elements of a field
};

// The declaration of an SDK parameter, or nullptr.
const Declared* declared(const std::string& name);

// How a configuration file key is written and what a load does with it.
enum class KeyKind { Int, Double, Text };
enum class KeyLoad { Applied, CachedOnly, NotRead };
struct ConfigKey {
    const char* name;
    KeyKind kind;
    bool savedAsCached;  // the file holds the cached value (not a computed or live one)
    KeyLoad load;
};
const ConfigKey* configKeys();
int configKeyCount();
const ConfigKey* configKey(const std::string& name);

// "32..16384 step 16", "FG_GRAY=3 FG_GRAY10=21 ..."
std::string declaredRange(const Declared& d);

}  // namespace appletctl

#endif  // APPLETCTL_DECLARED_H
