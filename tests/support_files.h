// Helpers of the tests of the file parsers and the log: a fresh scratch
// directory per test, and a log whose lines can be read back.
#ifndef ORV_TESTS_SUPPORT_FILES_H
#define ORV_TESTS_SUPPORT_FILES_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "Fg_Log.h"
#include "test_files.h"

namespace supporttest {

// Each test works in a fresh directory below the working directory.
class ScratchDir : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_NE(nullptr, mkdtemp(m_dir)); }
    void TearDown() override { ASSERT_EQ(0, std::system((std::string("rm -rf ") + m_dir).c_str())); }
    std::string path(const std::string& name) const { return std::string(m_dir) + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const {
        const std::string p = path(name);
        EXPECT_TRUE(orvtest::writeFile(p, content)) << p;
        return p;
    }
    static std::string read(const std::string& p) { return orvtest::readFile(p); }

    char m_dir[16] = "scratchXXXXXX";
};

// A log directed to an anonymous temporary stream, to see the lines an open
// log writes.
class CapturedLog : public Fg_Log {
public:
    CapturedLog() : m_stream(std::tmpfile()) { attachStream(m_stream); }
    std::string text() {
        std::string s;
        std::fflush(m_stream);
        std::rewind(m_stream);
        for (int c; (c = std::fgetc(m_stream)) != EOF;) s.push_back(static_cast<char>(c));
        return s;
    }

private:
    std::FILE* m_stream;
};

}  // namespace supporttest

#endif
