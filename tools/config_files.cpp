#include "config_files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "declared.h"
#include "text_util.h"

namespace appletctl {

bool readInputFile(const std::string& path, size_t limit, std::string* content, std::string* why) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        *why = std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        *why = "is a directory";
        return false;
    }
    if (!S_ISREG(st.st_mode)) {
        *why = "not a regular file";
        return false;
    }
    if (static_cast<unsigned long long>(st.st_size) > limit) {
        *why = "larger than " + std::to_string(limit >> 20) + " MiB";
        return false;
    }
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (!f) {
        *why = std::strerror(errno);
        return false;
    }
    content->clear();
    char buf[65536];
    size_t n = 0;
    bool ok = true;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) {
        if (content->size() + n > limit) {
            *why = "larger than " + std::to_string(limit >> 20) + " MiB";
            ok = false;
            break;
        }
        content->append(buf, n);
    }
    if (ok && std::ferror(f)) {
        *why = std::strerror(errno ? errno : EIO);
        ok = false;
    }
    std::fclose(f);
    return ok;
}

int32_t boardInt(const std::string& text) {
    long long v = std::strtoll(text.c_str(), nullptr, 10);
    if (v > INT_MAX) v = INT_MAX;
    if (v < INT_MIN) v = INT_MIN;
    return static_cast<int32_t>(v);
}

double boardDouble(const std::string& text) {
    // The board reads under the locale it requests; the files it writes use
    // '.' as decimal point, which parseDouble reads in any locale.
    double v = 0.0;
    if (parseDouble(text, &v)) return v;
    return std::strtod(text.c_str(), nullptr);
}

namespace {

const size_t kBoardLinePiece = 255;  // the board reads lines in pieces of this size

struct Line {
    std::string text;
    bool cr = false;
};

std::vector<Line> splitLines(const std::string& content) {
    std::vector<Line> lines;
    size_t start = 0;
    while (start < content.size()) {
        size_t end = content.find('\n', start);
        if (end == std::string::npos) end = content.size();
        Line l;
        l.text = content.substr(start, end - start);
        if (!l.text.empty() && l.text.back() == '\r') {
            l.text.pop_back();
            l.cr = true;
        }
        lines.push_back(l);
        start = end + 1;
    }
    return lines;
}

bool isSectionLine(const std::string& s) { return s.size() >= 2 && s.front() == '[' && s.back() == ']'; }

bool isKeyName(const std::string& s) {
    if (s.empty() || !(std::isalpha(static_cast<unsigned char>(s[0])) || s[0] == '_')) return false;
    for (char c : s) {
        if (!(std::isalnum(static_cast<unsigned char>(c)) || c == '_')) return false;
    }
    return true;
}

// "KEY=VALUE;" split; false when the line is no key line at all.
bool splitKeyLine(const std::string& s, std::string* key, std::string* raw, bool* semicolon) {
    const size_t eq = s.find('=');
    if (eq == std::string::npos) return false;
    *key = s.substr(0, eq);
    if (!isKeyName(*key)) return false;
    *raw = s.substr(eq + 1);
    *semicolon = !raw->empty() && raw->back() == ';';
    if (*semicolon) raw->pop_back();
    return true;
}

// The value as the board's lookup takes it: leading '=', ';' and quotes
// skipped, up to the next '=', ';' or quote.
std::string boardValue(const std::string& raw) {
    size_t i = 0;
    while (i < raw.size() && (raw[i] == '=' || raw[i] == ';' || raw[i] == '\'')) ++i;
    size_t j = i;
    while (j < raw.size() && raw[j] != '=' && raw[j] != ';' && raw[j] != '\'') ++j;
    return raw.substr(i, j - i);
}

bool strictInt(const std::string& s, int64_t* v) {
    if (s.empty() || s[0] == '+' || s.size() > 20) return false;
    for (size_t i = s[0] == '-' ? 1 : 0; i < s.size(); ++i) {
        if (s[i] < '0' || s[i] > '9') return false;
    }
    return parseSigned(s, v);
}

std::string quote(const std::string& s) { return "'" + visible(shorten(s, 60)) + "'"; }

// The problems of one value against the applet's declaration.
void checkValue(const ConfigKey& k, const std::string& raw, std::vector<std::string>* out) {
    if (k.kind == KeyKind::Text) {
        if (raw.size() < 2 || raw.front() != '\'' || raw.back() != '\'') {
            out->push_back("a text must stand between single quotes");
            return;
        }
        const std::string inner = raw.substr(1, raw.size() - 2);
        if (inner.find_first_of("'=;") != std::string::npos) {
            out->push_back("the board cuts the text at its first quote, '=' or ';' (it reads " +
                           quote(boardValue(raw)) + ")");
        }
        if (inner.size() > 1023) out->push_back("longer than 1023 characters (the board keeps 1023)");
        return;
    }
    double v = 0.0;
    int64_t iv = 0;
    if (k.kind == KeyKind::Int) {
        if (!strictInt(raw, &iv)) {
            out->push_back("not a whole number (the board reads " + std::to_string(boardInt(boardValue(raw))) + ")");
            return;
        }
        if (iv < INT32_MIN || iv > INT32_MAX) {
            out->push_back("outside the signed 32-bit range (the board reads " +
                           std::to_string(boardInt(boardValue(raw))) + ")");
            return;
        }
        v = double(static_cast<uint32_t>(static_cast<int32_t>(iv)));  // unsigned values are written signed
    } else {
        if (!parseDouble(raw, &v)) {
            out->push_back("not a finite decimal number (the board reads " +
                           formatDouble(boardDouble(boardValue(raw))) + ")");
            return;
        }
    }
    if (k.load == KeyLoad::NotRead) return;  // a load ignores it: only its form matters
    const Declared* d = declared(k.name);
    if (!d) return;
    if (d->kind == DeclaredKind::Enum) {
        const uint32_t u = static_cast<uint32_t>(v);
        for (int i = 0; i < d->entryCount; ++i) {
            if (d->entries[i].value == u) return;
        }
        out->push_back("not an entry of the enumeration (" + declaredRange(*d) + ")");
        return;
    }
    if (d->kind != DeclaredKind::UInt && d->kind != DeclaredKind::Double && d->kind != DeclaredKind::UInt64) return;
    if (v < d->from || v > d->to) {
        out->push_back("outside the range " + declaredRange(*d));
        return;
    }
    const bool continuous = d->kind == DeclaredKind::Double ? d->steps <= DBL_EPSILON : d->steps <= 1;
    if (!continuous) {
        const double k2 = (v - d->from) / d->steps;
        if (std::fabs(k2 - std::round(k2)) > 1e-6) out->push_back("not on the step grid of " + declaredRange(*d));
    }
}

void problem(std::vector<Problem>* ps, unsigned line, const std::string& text) { ps->push_back({line, text}); }

// Problems every text file can have: binary content, carriage returns, long lines.
bool checkLines(const std::string& content, const std::vector<Line>& lines, std::vector<Problem>* ps) {
    if (content.find('\0') != std::string::npos) {
        problem(ps, 0, "binary file (it contains NUL bytes)");
        return false;
    }
    unsigned crCount = 0;
    for (size_t i = 0; i < lines.size(); ++i) {
        const unsigned n = static_cast<unsigned>(i + 1);
        if (lines[i].cr && crCount++ == 0) {
            problem(ps, n,
                    "line ends with a carriage return (the board then misses the header; write plain line feeds)");
        }
        if (lines[i].text.size() > kBoardLinePiece) {
            problem(ps, n,
                    "longer than " + std::to_string(kBoardLinePiece) + " characters (the board reads it in pieces)");
        }
    }
    return true;
}

}  // namespace

const KeyLine* ConfigFile::find(const std::string& section, const std::string& key) const {
    for (size_t s = 0; s < sectionNames.size(); ++s) {
        if (sectionNames[s] != section) continue;
        for (const KeyLine& k : sections[s]) {
            if (k.key == key) return &k;
        }
    }
    return nullptr;
}

bool makeConfigReference(const std::string& saved, ConfigReference* ref) {
    *ref = ConfigReference();
    std::vector<Line> lines = splitLines(saved);
    bool inHeader = false;
    for (const Line& l : lines) {
        if (isSectionLine(l.text)) {
            if (ref->headerLine.empty()) {
                ref->headerLine = l.text;
                inHeader = true;
            } else {
                ref->sections.push_back(l.text);
                inHeader = false;
            }
            continue;
        }
        std::string key, raw;
        bool semi = false;
        if (inHeader && splitKeyLine(l.text, &key, &raw, &semi)) ref->header.push_back({key, boardValue(raw), 0});
    }
    return !ref->headerLine.empty() && !ref->sections.empty();
}

ConfigFile checkConfig(const std::string& content, const ConfigReference& ref, const std::string& appletName) {
    ConfigFile f;
    std::vector<Problem>& ps = f.problems;
    const std::vector<Line> lines = splitLines(content);
    if (!checkLines(content, lines, &ps)) return f;
    if (lines.empty() || lines[0].text != ref.headerLine) {
        problem(&ps, lines.empty() ? 0 : 1,
                "the file does not begin with " + ref.headerLine + " (the board refuses it)");
    }
    // Where each line belongs: -1 before the header line, -2 the header, else a section.
    int current = -1;
    unsigned headerLineNo = 0;
    std::map<std::string, unsigned> headerSeen;
    for (size_t i = 0; i < lines.size(); ++i) {
        const unsigned n = static_cast<unsigned>(i + 1);
        const std::string& s = lines[i].text;
        if (s.empty()) continue;
        if (isSectionLine(s)) {
            if (s == ref.headerLine) {
                if (headerLineNo)
                    problem(&ps, n, s + " appears twice (first on line " + std::to_string(headerLineNo) + ")");
                else
                    headerLineNo = n;
                current = -2;
                continue;
            }
            bool known = false;
            for (const std::string& r : ref.sections) known = known || r == s;
            if (!known) {
                std::string names;
                for (const std::string& r : ref.sections) names += (names.empty() ? "" : ", ") + r;
                problem(&ps, n, "unknown section " + visible(shorten(s, 60)) + " (the applet writes " + names + ")");
                current = -3;  // its keys are not checked against a port
                continue;
            }
            for (size_t k = 0; k < f.sectionNames.size(); ++k) {
                if (f.sectionNames[k] == s) {
                    problem(&ps, n,
                            s + " appears twice (first on line " + std::to_string(f.sectionLines[k]) +
                                "; the board reads the first)");
                }
            }
            f.sectionNames.push_back(s);
            f.sectionLines.push_back(n);
            f.sections.emplace_back();
            current = static_cast<int>(f.sections.size() - 1);
            continue;
        }
        std::string key, raw;
        bool semi = false;
        if (!splitKeyLine(s, &key, &raw, &semi)) {
            problem(&ps, n, "not a key line: " + quote(s));
            continue;
        }
        const std::string subject = key + "=" + visible(shorten(raw, 60));
        if (!semi) problem(&ps, n, subject + ": no ';' at the end of the line");
        if (current == -2 || current == -1) {
            bool known = false;
            for (const KeyLine& h : ref.header) known = known || h.key == key;
            if (!known) {
                problem(&ps, n,
                        subject + ": " + (configKey(key) ? "a port key in the header section" : "unknown header key"));
                continue;
            }
            if (headerSeen.count(key)) {
                problem(
                    &ps, n,
                    subject + ": appears twice in the header (first on line " + std::to_string(headerSeen[key]) + ")");
                continue;
            }
            headerSeen[key] = n;
            f.header.push_back({key, boardValue(raw), n});
            continue;
        }
        if (current < 0) continue;
        const std::string& section = f.sectionNames[static_cast<size_t>(current)];
        const std::string where = subject + " in " + section;
        const ConfigKey* k = configKey(key);
        if (!k) {
            bool header = false;
            for (const KeyLine& h : ref.header) header = header || h.key == key;
            problem(&ps, n, where + ": " + (header ? "a header key in a port section" : "unknown key"));
            continue;
        }
        std::vector<KeyLine>& keys = f.sections[static_cast<size_t>(current)];
        bool twice = false;
        for (const KeyLine& o : keys) {
            if (o.key == key) {
                problem(&ps, n,
                        where + ": appears twice (first on line " + std::to_string(o.line) +
                            "; the board takes the first)");
                twice = true;
                break;
            }
        }
        if (twice) continue;
        keys.push_back({key, boardValue(raw), n});
        std::vector<std::string> why;
        checkValue(*k, raw, &why);
        for (const std::string& w : why) problem(&ps, n, where + ": " + w);
    }
    // What is missing.
    if (!headerLineNo) problem(&ps, 0, "no header section " + ref.headerLine);
    for (const KeyLine& h : ref.header) {
        auto it = headerSeen.find(h.key);
        if (it == headerSeen.end()) {
            problem(&ps, headerLineNo, "header key " + h.key + " missing");
            continue;
        }
        // The header key that names the applet must name this one.
        if (h.value == appletName) {
            for (const KeyLine& g : f.header) {
                if (g.key == h.key && g.value != appletName) {
                    problem(&ps, g.line,
                            h.key + "=" + quote(g.value) + ": the file is for another applet (this is " + appletName +
                                "; the board refuses the file)");
                }
            }
        }
    }
    for (const std::string& s : ref.sections) {
        size_t at = f.sectionNames.size();
        for (size_t k = 0; k < f.sectionNames.size(); ++k) {
            if (f.sectionNames[k] == s) {
                at = k;
                break;
            }
        }
        if (at == f.sectionNames.size()) {
            problem(&ps, 0, "section " + s + " missing (the board refuses the file)");
            continue;
        }
        for (int i = 0; i < configKeyCount(); ++i) {
            const ConfigKey& k = configKeys()[i];
            if (k.load == KeyLoad::NotRead) continue;
            bool found = false;
            for (const KeyLine& l : f.sections[at]) found = found || l.key == k.name;
            if (found) continue;
            // The board's lookup goes on into the sections after this one.
            std::string later;
            for (size_t o = at + 1; o < f.sections.size() && later.empty(); ++o) {
                for (const KeyLine& l : f.sections[o]) {
                    if (l.key == k.name) {
                        later = " (the board takes the value of " + f.sectionNames[o] + ", line " +
                                std::to_string(l.line) + ")";
                        break;
                    }
                }
            }
            problem(
                &ps, f.sectionLines[at],
                std::string(k.name) + " missing from " + s + (later.empty() ? " (the board refuses the file)" : later));
        }
    }
    return f;
}

bool makeLutReference(const std::string& saved, LutReference* ref) {
    *ref = LutReference();
    std::vector<Line> lines = splitLines(saved);
    if (lines.empty()) return false;
    ref->heading = lines[0].text;
    bool inSection = false;
    for (size_t i = 1; i < lines.size(); ++i) {
        const std::string& s = lines[i].text;
        if (isSectionLine(s) && ref->section.empty()) {
            ref->section = s;
            inSection = true;
            continue;
        }
        std::string key, raw;
        bool semi = false;
        if (inSection && splitKeyLine(s, &key, &raw, &semi)) {
            ref->keys.push_back({key, boardValue(raw), 0});
        } else if (inSection && s.find(',') != std::string::npos) {
            ++ref->entries;
        }
    }
    return !ref->section.empty() && ref->entries > 0;
}

LutFile checkLut(const std::string& content, const LutReference& ref) {
    LutFile f;
    std::vector<Problem>& ps = f.problems;
    const std::vector<Line> lines = splitLines(content);
    if (!checkLines(content, lines, &ps)) return f;
    if (lines.empty() || lines[0].text != ref.heading) {
        problem(&ps, lines.empty() ? 0 : 1, "the file does not begin with " + quote(ref.heading));
    }
    const Declared* d = declared("FG_LUT_VALUE");
    const double lo = d ? d->from : 0.0, hi = d ? d->to : double(UINT32_MAX);
    unsigned sectionLine = 0;
    std::map<std::string, std::pair<int64_t, unsigned>> keys;
    unsigned next = 0;        // the index expected next
    unsigned firstEntry = 0;  // line of the first entry
    for (size_t i = 1; i < lines.size(); ++i) {
        const unsigned n = static_cast<unsigned>(i + 1);
        const std::string& s = lines[i].text;
        if (s.empty()) continue;
        if (isSectionLine(s)) {
            if (s == ref.section && !sectionLine) {
                sectionLine = n;
            } else if (s == ref.section) {
                problem(&ps, n, s + " appears twice (first on line " + std::to_string(sectionLine) + ")");
            } else {
                problem(&ps, n,
                        "unknown section " + visible(shorten(s, 60)) + " (the board reads only " + ref.section + ")");
            }
            continue;
        }
        std::string key, raw;
        bool semi = false;
        if (splitKeyLine(s, &key, &raw, &semi)) {
            const std::string subject = key + "=" + visible(shorten(raw, 60));
            bool known = false;
            for (const KeyLine& k : ref.keys) known = known || k.key == key;
            int64_t v = 0;
            if (!known) {
                problem(&ps, n, subject + ": unknown key");
            } else if (!sectionLine) {
                problem(&ps, n, subject + ": before the section " + ref.section);
            } else if (firstEntry) {
                problem(&ps, n, subject + ": among the entries");
            } else if (keys.count(key)) {
                problem(&ps, n,
                        subject + ": appears twice (first on line " + std::to_string(keys[key].second) +
                            "; the board takes the first)");
            } else if (!semi || !strictInt(raw, &v) || v < INT32_MIN || v > INT32_MAX) {
                problem(&ps, n, subject + ": expected a whole number and ';'");
                keys[key] = {boardInt(boardValue(raw)), n};
            } else {
                keys[key] = {v, n};
            }
            continue;
        }
        // An entry "INDEX,VALUE;".
        const size_t comma = s.find(',');
        int64_t index = -1, value = 0;
        const bool semi2 = !s.empty() && s.back() == ';';
        if (comma == std::string::npos || !semi2 || !strictInt(s.substr(0, comma), &index) ||
            !strictInt(s.substr(comma + 1, s.size() - comma - 2), &value)) {
            problem(&ps, n, "not an entry line INDEX,VALUE; : " + quote(s));
            continue;
        }
        if (!sectionLine) {
            problem(&ps, n, "entry before the section " + ref.section + " (the board passes it over)");
            continue;
        }
        if (!firstEntry) firstEntry = n;
        if (index < 0 || index > 0x7FFFFFFF) {
            problem(&ps, n, "entry index " + std::to_string(index) + " is negative or too large");
            continue;
        }
        const unsigned idx = static_cast<unsigned>(index);
        if (f.entries.count(idx)) {
            problem(&ps, n,
                    "entry " + std::to_string(idx) + " appears twice (first on line " +
                        std::to_string(f.entries[idx].second) + ")");
            continue;
        }
        if (idx != next) {
            problem(&ps, n,
                    idx > next ? "entry " + std::to_string(idx) + " where entry " + std::to_string(next) +
                                     " is expected (entries missing or out of order)"
                               : "entry " + std::to_string(idx) + " out of order (after entry " +
                                     std::to_string(next - 1) + ")");
        }
        if (static_cast<double>(value) < lo || static_cast<double>(value) > hi) {
            problem(&ps, n,
                    "entry " + std::to_string(idx) + " = " + std::to_string(value) + " outside the range " +
                        formatDouble(lo) + ".." + formatDouble(hi));
        }
        f.entries[idx] = {value, n};
        next = idx + 1;
    }
    if (!sectionLine) problem(&ps, 0, "section " + ref.section + " missing (the board reads no entries)");
    for (const KeyLine& k : ref.keys) {
        if (!keys.count(k.key)) problem(&ps, sectionLine, "key " + k.key + " missing");
    }
    // The count the file states, the count it has and the table size.
    const unsigned size = d && d->size > 0 ? static_cast<unsigned>(d->size) : ref.entries;
    std::string countKey;
    for (const KeyLine& k : ref.keys) {
        if (boardInt(k.value) == static_cast<int32_t>(ref.entries) && countKey.empty()) countKey = k.key;
    }
    if (!countKey.empty() && keys.count(countKey)) {
        const int64_t stated = keys[countKey].first;
        const unsigned line = keys[countKey].second;
        if (stated != static_cast<int64_t>(f.entries.size())) {
            problem(&ps, line,
                    countKey + "=" + std::to_string(stated) + " but the file has " + std::to_string(f.entries.size()) +
                        " entries");
        }
        if (stated != static_cast<int64_t>(size)) {
            problem(&ps, line,
                    countKey + "=" + std::to_string(stated) + ": the table has " + std::to_string(size) + " entries");
        }
    }
    if (f.entries.size() < size && sectionLine) {
        unsigned missing = 0, first = 0;
        for (unsigned i = 0; i < size; ++i) {
            if (!f.entries.count(i) && missing++ == 0) first = i;
        }
        if (missing) {
            problem(&ps, 0,
                    std::to_string(missing) + " of " + std::to_string(size) +
                        " entries missing (first: " + std::to_string(first) + ")");
        }
    }
    return f;
}

}  // namespace appletctl
