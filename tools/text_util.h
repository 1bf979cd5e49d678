// Text helpers of appletctl: number parsing and formatting independent of the
// process locale, Latin-1 to UTF-8 conversion, escaping, script line words.
#ifndef APPLETCTL_TEXT_UTIL_H
#define APPLETCTL_TEXT_UTIL_H

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace appletctl {

// Whether the bytes form valid UTF-8 (no overlong forms, no surrogates).
inline bool isUtf8(const std::string& s) {
    size_t i = 0;
    const size_t n = s.size();
    while (i < n) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        size_t len = 0;
        uint32_t cp = 0;
        if (c < 0x80) {
            ++i;
            continue;
        } else if (c >= 0xC2 && c <= 0xDF) {
            len = 1;
            cp = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            len = 2;
            cp = c & 0x0F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            len = 3;
            cp = c & 0x07;
        } else {
            return false;
        }
        if (i + len >= n) return false;
        for (size_t k = 1; k <= len; ++k) {
            unsigned char cc = static_cast<unsigned char>(s[i + k]);
            if ((cc & 0xC0) != 0x80) return false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        if ((len == 2 && cp < 0x800) || (len == 3 && (cp < 0x10000 || cp > 0x10FFFF)) ||
            (cp >= 0xD800 && cp <= 0xDFFF)) {
            return false;
        }
        i += len + 1;
    }
    return true;
}

// Texts of the applet are Latin-1 (the unit "µs" is the bytes B5 73); a text
// that is already valid UTF-8 is kept as it is.
inline std::string toUtf8(const std::string& s) {
    if (isUtf8(s)) return s;
    std::string out;
    out.reserve(s.size() + 8);
    for (char ch : s) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c < 0x80) {
            out += ch;
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}
inline std::string toUtf8(const char* s) { return s ? toUtf8(std::string(s)) : std::string(); }

// UTF-8 text with control characters shown as \xNN (for echoing user input).
inline std::string visible(const std::string& s) {
    std::string u = toUtf8(s), out;
    for (char ch : u) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (c < 0x20 || c == 0x7F) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", c);
            out += buf;
        } else {
            out += ch;
        }
    }
    return out;
}

// A text in double quotes, with \" \\ and control characters escaped.
inline std::string quoted(const std::string& s) {
    std::string out = "\"";
    for (char ch : s) {
        unsigned char c = static_cast<unsigned char>(ch);
        if (ch == '"' || ch == '\\') {
            out += '\\';
            out += ch;
        } else if (c < 0x20 || c == 0x7F) {
            char buf[8];
            std::snprintf(buf, sizeof buf, "\\x%02X", c);
            out += buf;
        } else {
            out += ch;
        }
    }
    return out + "\"";
}

// Long arguments are cut for messages (at a character boundary).
inline std::string shorten(const std::string& s, size_t max = 200) {
    if (s.size() <= max) return s;
    size_t cut = max;
    while (cut > 0 && (static_cast<unsigned char>(s[cut]) & 0xC0) == 0x80) --cut;
    return s.substr(0, cut) + "...";
}

// Columns a UTF-8 text takes in a terminal (one per character).
inline size_t displayWidth(const std::string& s) {
    size_t w = 0;
    for (char ch : s) {
        if ((static_cast<unsigned char>(ch) & 0xC0) != 0x80) ++w;
    }
    return w;
}

inline std::string upperCase(const std::string& s) {
    std::string out = s;
    for (char& c : out) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return out;
}

// Unsigned decimal or 0x hexadecimal, optional leading '+', nothing else.
inline bool parseUnsigned(const std::string& text, uint64_t* out) {
    size_t i = 0;
    if (i < text.size() && text[i] == '+') ++i;
    unsigned base = 10;
    if (i + 1 < text.size() && text[i] == '0' && (text[i + 1] == 'x' || text[i + 1] == 'X')) {
        base = 16;
        i += 2;
    }
    if (i >= text.size()) return false;
    uint64_t v = 0;
    for (; i < text.size(); ++i) {
        char c = text[i];
        unsigned d;
        if (c >= '0' && c <= '9') {
            d = static_cast<unsigned>(c - '0');
        } else if (base == 16 && c >= 'a' && c <= 'f') {
            d = static_cast<unsigned>(c - 'a' + 10);
        } else if (base == 16 && c >= 'A' && c <= 'F') {
            d = static_cast<unsigned>(c - 'A' + 10);
        } else {
            return false;
        }
        if (v > (UINT64_MAX - d) / base) return false;
        v = v * base + d;
    }
    *out = v;
    return true;
}

inline bool parseSigned(const std::string& text, int64_t* out) {
    bool neg = !text.empty() && text[0] == '-';
    uint64_t mag = 0;
    if (!parseUnsigned(neg ? text.substr(1) : text, &mag)) return false;
    if (neg && !text.empty() && text.size() > 1 && text[1] == '+') return false;
    if (neg) {
        if (mag > static_cast<uint64_t>(INT64_MAX) + 1u) return false;
        *out = mag == static_cast<uint64_t>(INT64_MAX) + 1u ? INT64_MIN : -static_cast<int64_t>(mag);
    } else {
        if (mag > static_cast<uint64_t>(INT64_MAX)) return false;
        *out = static_cast<int64_t>(mag);
    }
    return true;
}

// A finite decimal number ("12", "-0.5", "1e3"), read with '.' as decimal
// point whatever the locale.
inline bool parseDouble(const std::string& text, double* out) {
    if (text.empty() || text.size() > 400) return false;
    // Only the characters of a plain decimal number; strtod would also take
    // "inf", "nan" and hexadecimal forms.
    size_t i = 0;
    if (text[i] == '+' || text[i] == '-') ++i;
    bool digits = false;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i, digits = true;
    if (i < text.size() && text[i] == '.') {
        ++i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i, digits = true;
    }
    if (!digits) return false;
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) ++i;
        bool exp = false;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i, exp = true;
        if (!exp) return false;
    }
    if (i != text.size()) return false;
    // The number is converted in the "C" form; a locale whose decimal point is
    // not '.' is handled by swapping the point in.
    std::string t = text;
    const char* point = std::localeconv()->decimal_point;
    if (point && point[0] && std::string(point) != ".") {
        std::string::size_type dot = t.find('.');
        if (dot != std::string::npos) t.replace(dot, 1, point);
    }
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (!end || *end != '\0' || !std::isfinite(v)) return false;
    *out = v;
    return true;
}

// The shortest "%g" form that reads back as the same double, with '.' as
// decimal point.
inline std::string formatDouble(double v) {
    if (std::isnan(v)) return "nan";
    if (std::isinf(v)) return v < 0 ? "-inf" : "inf";
    char buf[64];
    for (int prec = 1; prec <= 17; ++prec) {
        std::snprintf(buf, sizeof buf, "%.*g", prec, v);
        if (std::strtod(buf, nullptr) == v) break;
    }
    // Plain notation where it stays short: 200 rather than 2e+02.
    const double mag = std::fabs(v);
    if (std::strchr(buf, 'e') && mag >= 1e-6 && mag < 1e15) {
        char fixed[64];
        for (int decimals = 0; decimals <= 24; ++decimals) {
            std::snprintf(fixed, sizeof fixed, "%.*f", decimals, v);
            if (std::strtod(fixed, nullptr) == v) {
                std::snprintf(buf, sizeof buf, "%s", fixed);
                break;
            }
        }
    }
    std::string s = buf;
    const char* point = std::localeconv()->decimal_point;
    if (point && point[0] && std::string(point) != ".") {
        std::string::size_type at = s.find(point);
        if (at != std::string::npos) s.replace(at, std::string(point).size(), ".");
    }
    return s;
}

// The words of a script line: separated by blanks, '...' and "..." quote
// (with \" and \\ inside double quotes), '#' at the start of a word begins a
// comment. False with the reason for an unterminated quote.
inline bool splitWords(const std::string& line, std::vector<std::string>* words, std::string* why) {
    words->clear();
    size_t i = 0;
    const size_t n = line.size();
    while (true) {
        while (i < n && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r' || line[i] == '\v' || line[i] == '\f'))
            ++i;
        if (i >= n || line[i] == '#') return true;
        std::string w;
        while (i < n && !(line[i] == ' ' || line[i] == '\t' || line[i] == '\r' || line[i] == '\v' || line[i] == '\f')) {
            char c = line[i];
            if (c == '\'' || c == '"') {
                const char q = c;
                ++i;
                bool closed = false;
                while (i < n) {
                    if (line[i] == q) {
                        closed = true;
                        ++i;
                        break;
                    }
                    if (q == '"' && line[i] == '\\' && i + 1 < n && (line[i + 1] == '"' || line[i + 1] == '\\')) ++i;
                    w += line[i++];
                }
                if (!closed) {
                    *why = std::string("unterminated ") + (q == '"' ? "double" : "single") + " quote";
                    return false;
                }
            } else {
                w += c;
                ++i;
            }
        }
        words->push_back(w);
    }
}

}  // namespace appletctl

#endif  // APPLETCTL_TEXT_UTIL_H
