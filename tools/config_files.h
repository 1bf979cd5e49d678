// Configuration files (.mcf) and lookup-table files (.lut) read strictly:
// every problem with its line, judged against the files the applet itself
// writes (its header, sections and keys) and against the kinds, ranges, steps
// and enumerations the applet declares. The board's own readers are lenient
// (a refused or malformed value is dropped or read as 0 without a word); these
// checks tell the user before it happens.
#ifndef APPLETCTL_CONFIG_FILES_H
#define APPLETCTL_CONFIG_FILES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace appletctl {

// Input files are read whole, up to this size.
const size_t kMaxInputFile = 4u << 20;

// Reads a regular file of at most `limit` bytes; false with the reason.
bool readInputFile(const std::string& path, size_t limit, std::string* content, std::string* why);

struct Problem {
    unsigned line;  // 0: the file as a whole
    std::string text;
};

// One key line of a configuration file.
struct KeyLine {
    std::string key;
    std::string value;  // as the board reads it (quotes and ';' removed)
    unsigned line = 0;
};

// A configuration file split into its parts, with its problems.
struct ConfigFile {
    std::vector<KeyLine> header;
    std::vector<std::string> sectionNames;  // in file order
    std::vector<unsigned> sectionLines;
    std::vector<std::vector<KeyLine>> sections;  // per section, in file order
    std::vector<Problem> problems;

    // The key in the named section (nullptr when missing).
    const KeyLine* find(const std::string& section, const std::string& key) const;
};

// What the applet writes: parsed from a file it saved.
struct ConfigReference {
    std::string headerLine;  // "[Kamerasektion]"
    std::vector<KeyLine> header;
    std::vector<std::string> sections;  // one per port, port 0 first
};
bool makeConfigReference(const std::string& saved, ConfigReference* ref);

// Parses `content` and collects every problem against the reference.
ConfigFile checkConfig(const std::string& content, const ConfigReference& ref, const std::string& appletName);

// Lookup-table files.
struct LutReference {
    std::string heading;        // "# Lut data file v1.1"
    std::string section;        // "[gray]"
    std::vector<KeyLine> keys;  // in order: id, nrOfElements, ...
    unsigned entries = 0;       // the entries the applet writes
};
bool makeLutReference(const std::string& saved, LutReference* ref);

struct LutFile {
    std::map<unsigned, std::pair<int64_t, unsigned>> entries;  // index -> value, line
    std::vector<Problem> problems;
};
LutFile checkLut(const std::string& content, const LutReference& ref);

// The numbers of a key value as the board converts them: leading blanks and
// sign, then digits; no digits give 0 (integers); strtod rules (doubles).
int32_t boardInt(const std::string& text);
double boardDouble(const std::string& text);

}  // namespace appletctl

#endif  // APPLETCTL_CONFIG_FILES_H
