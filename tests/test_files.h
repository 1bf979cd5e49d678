// Whole files as strings, for the tests that compare what a save wrote or
// hand a reader a file.
#ifndef ORV_TESTS_TEST_FILES_H
#define ORV_TESTS_TEST_FILES_H

#include <dirent.h>

#include <cstdio>
#include <string>
#include <vector>

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

// A lookup-table file in the single-table form the format defines.
inline std::string lutFileText(const std::vector<unsigned>& entries) {
    std::string s = "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=" + std::to_string(entries.size()) +
                    ";\nformat=0;\nnumber=0;\n";
    for (size_t i = 0; i < entries.size(); ++i) s += std::to_string(i) + "," + std::to_string(entries[i]) + ";\n";
    return s;
}

// The number of names in a directory, hidden ones included (not "." and "..").
inline int entriesIn(const std::string& dir) {
    int n = 0;
    DIR* d = opendir(dir.c_str());
    // readdir64: the 32-bit build's readdir fails on 64-bit directory offsets.
    while (dirent64* e = d != nullptr ? readdir64(d) : nullptr)
        n += std::string(e->d_name) != "." && std::string(e->d_name) != "..";
    if (d != nullptr) closedir(d);
    return n;
}

}  // namespace orvtest

#endif
