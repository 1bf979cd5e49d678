// Helpers of the tests of the file parsers and the log: a fresh scratch
// directory per test, and a log whose lines can be read back.
#ifndef ORV_TESTS_SUPPORT_FILES_H
#define ORV_TESTS_SUPPORT_FILES_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Fg_Log.h"

namespace supporttest {

// The whole content of a stream from its start ("<missing>" for none).
inline std::string readAll(std::FILE* f) {
    if (f == nullptr) return "<missing>";
    std::string s;
    std::rewind(f);
    for (int c; (c = std::fgetc(f)) != EOF;) s.push_back(static_cast<char>(c));
    return s;
}

// Each test works in a fresh directory below the working directory.
class ScratchDir : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, mkdtemp(m_dir)); }
    void TearDown() override { ASSERT_EQ(0, std::system((std::string("rm -rf ") + m_dir).c_str())); }
    std::string path(const std::string& name) const { return std::string(m_dir) + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const {
        const std::string p = path(name);
        std::FILE* f = std::fopen(p.c_str(), "wb");
        EXPECT_NE(nullptr, f) << p;
        if (f != nullptr) {
            std::fwrite(content.data(), 1, content.size(), f);
            std::fclose(f);
        }
        return p;
    }
    static std::string read(const std::string& p) {
        std::FILE* f = std::fopen(p.c_str(), "rb");
        const std::string s = readAll(f);
        if (f != nullptr) std::fclose(f);
        return s;
    }

    char m_dir[16] = "scratchXXXXXX";
};

// A log directed to an anonymous temporary stream, to see the lines an open
// log writes.
class CapturedLog : public Fg_Log {
public:
    CapturedLog() : m_stream(std::tmpfile()) { attachStream(m_stream); }
    std::string text() {
        std::fflush(m_stream);
        return readAll(m_stream);
    }

private:
    std::FILE* m_stream;
};

}  // namespace supporttest

#endif
