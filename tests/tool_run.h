// Running appletctl as a user runs it, for the tool tests: the built program
// started as a child process, its output and status, and helpers to read it.
#ifndef TOOL_RUN_H
#define TOOL_RUN_H

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <sstream>
#include <string>
#include <vector>
#include "test_files.h"

namespace tooltest {

using orvtest::readFile;
using orvtest::writeFile;

struct Outcome {
    bool exited = false;  // false: killed by a signal (or not started)
    int status = -1;      // exit status when exited
    std::string out, err;
};

// The words of a command line: a text split at its spaces, or the words one by one.
struct Args : std::vector<std::string> {
    Args() = default;
    Args(const char* line) {  // NOLINT(google-explicit-constructor)
        std::istringstream in(line);
        for (std::string w; in >> w;) push_back(w);
    }
    Args(const std::string& line) : Args(line.c_str()) {}  // NOLINT(google-explicit-constructor)
    Args(std::initializer_list<std::string> words) : std::vector<std::string>(words) {}
};

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// Whether `text` contains the parts (separated by '|') one after the other.
inline ::testing::AssertionResult hasParts(const std::string& text, const std::string& parts) {
    std::stringstream ss(parts);
    size_t at = 0;
    for (std::string part; std::getline(ss, part, '|'); at += part.size())
        if ((at = text.find(part, at)) == std::string::npos)
            return ::testing::AssertionFailure() << "no '" << part << "' (in this order) in:\n" << text;
    return ::testing::AssertionSuccess();
}

inline const char* tool() {
    const char* t = std::getenv("APPLETCTL");
    return t ? t : "";
}

// A word as the shell reads it back unchanged.
inline std::string quoted(const std::string& word) {
    std::string q = "'";
    for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// Runs a program (argv[0] a path) with `input` on standard input, in the
// user's environment without a library path (the tool finds the runtime and
// the applet by itself) and without the switches that change the applet's
// parameter set.
inline Outcome runProgram(const Args& argv, const std::string& input) {
    for (const char* v : {"LD_LIBRARY_PATH", "TERVIK_APPLET_PATH", "TERVIK_ENABLE_DRA", "TERVIK_ENABLE_DQORA",
                          "__TERVIK_FORCE_EXTERNAL_HAP"})
        unsetenv(v);
    static int serial = 0;
    const std::string base = "run" + std::to_string(getpid()) + "_" + std::to_string(++serial);
    std::string command = "exec";
    for (const std::string& a : argv) command += " " + quoted(a);
    writeFile(base + ".in", input);
    const int st = std::system((command + " <" + base + ".in >" + base + ".out 2>" + base + ".err").c_str());
    Outcome r;
    r.exited = WIFEXITED(st);
    r.status = r.exited ? WEXITSTATUS(st) : -WTERMSIG(st);
    r.out = readFile(base + ".out");
    r.err = readFile(base + ".err");
    for (const char* f : {".in", ".out", ".err"}) std::remove((base + f).c_str());
    return r;
}

// Runs appletctl with the arguments and `input` on standard input.
inline Outcome run(const Args& args, const std::string& input = std::string()) {
    Args argv = {tool()};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, input);
}

// Runs appletctl on a terminal (standard input and standard error; standard
// output goes to a file) with `typed` typed on it: `err` is what the terminal
// showed, the typing echoed included.
inline Outcome runOnTerminal(const std::string& args, const std::string& typed) {
    Outcome r =
        runProgram({"/usr/bin/script", "-qec", "exec \"$APPLETCTL\" " + args + " >tty.out", "/dev/null"}, typed);
    r.err = r.out;
    r.out = readFile("tty.out");
    std::remove("tty.out");
    return r;
}

inline std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream ss(text);
    for (std::string l; std::getline(ss, l);) out.push_back(l);
    return out;
}

inline std::string joined(const std::vector<std::string>& ls) {
    std::string s;
    for (const std::string& l : ls) s += l + "\n";
    return s;
}

// The line of `list` output for one parameter (empty when missing).
inline std::string row(const std::string& listing, const std::string& name) {
    for (const std::string& l : lines(listing))
        if (l.compare(0, name.size() + 1, name + " ") == 0) return l;
    return std::string();
}

// Whether the bytes are valid UTF-8 (what a UTF-8 terminal can show).
inline bool validUtf8(const std::string& s) {
    for (size_t i = 0; i < s.size();) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        size_t n = c < 0x80                   ? 0
                   : (c >= 0xC2 && c <= 0xDF) ? 1
                   : (c >= 0xE0 && c <= 0xEF) ? 2
                   : (c >= 0xF0 && c <= 0xF4) ? 3
                                              : 9;
        if (n == 9) return false;
        for (size_t k = 1; k <= n; ++k)
            if (i + k >= s.size() || (static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        i += n + 1;
    }
    return true;
}

// The temporary files ".NAME.*" a replacing write left in the working directory.
inline size_t temporaryFilesOf(const std::string& name) {
    Outcome ls = runProgram({"/bin/sh", "-c", "ls -a | grep -c '^\\." + name + "\\.' || true"}, "");
    return std::strtoul(ls.out.c_str(), nullptr, 10);
}

// The 1-based line of KEY= after the section line (of the section line for no key).
inline unsigned lineOf(const std::vector<std::string>& ls, const std::string& section, const std::string& key) {
    size_t i = 0;
    while (i < ls.size() && ls[i] != section) ++i;
    if (key.empty()) return static_cast<unsigned>(i + 1);
    for (++i; i < ls.size(); ++i)
        if (ls[i].compare(0, key.size() + 1, key + "=") == 0) return static_cast<unsigned>(i + 1);
    return 0;
}

// The lines of a lookup-table file of n entries 4095, 4094, ...
inline std::vector<std::string> lutLines(unsigned n) {
    std::vector<unsigned> entries;
    for (unsigned i = 0; i < n; ++i) entries.push_back(4095 - i);
    return lines(orvtest::lutFileText(entries));
}
const unsigned kFirstEntryLine = 11;  // line of entry 0 in lutLines

#define EXPECT_RUN(r, code)                                                                \
    do {                                                                                   \
        ASSERT_TRUE((r).exited) << "killed by signal " << -(r).status << "\n" << (r).err;  \
        EXPECT_EQ((code), (r).status) << "stdout:\n" << (r).out << "stderr:\n" << (r).err; \
    } while (0)

// The lines of a configuration file the board saved with its default values.
inline std::vector<std::string> savedDefaults() {
    std::remove("base.mcf");
    EXPECT_EQ(0, run("save base.mcf").status);
    return lines(readFile("base.mcf"));
}

}  // namespace tooltest

#endif
