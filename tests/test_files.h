// Whole files as strings, for the tests that compare what a save wrote.
#ifndef ORV_TESTS_TEST_FILES_H
#define ORV_TESTS_TEST_FILES_H

#include <cstdio>
#include <string>

namespace orvtest {

// The bytes of a file, or "<missing>" when it cannot be opened.
inline std::string readFile(const std::string& path) {
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) return "<missing>";
    std::string s;
    for (int c; (c = std::fgetc(f)) != EOF;) s.push_back(static_cast<char>(c));
    std::fclose(f);
    return s;
}

// Creates or replaces a file with exactly `text`; false when it cannot.
inline bool writeFile(const std::string& path, const std::string& text) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    const bool ok = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace orvtest

#endif
