// appletctl run as a user runs it: the built program is started as a child
// process without LD_LIBRARY_PATH, with its standard input taken from a file,
// and its exit status, standard output and standard error are checked.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "test_files.h"

#ifdef TEST_HAVE_PNG
#include <png.h>
#endif

extern char** environ;

namespace {

using orvtest::readFile;
using orvtest::writeFile;

struct Outcome {
    bool exited = false;  // false: killed by a signal (or not started)
    int status = -1;      // exit status when exited
    std::string out, err;
};

bool fileExists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

const char* tool() {
    const char* t = std::getenv("APPLETCTL");
    return t ? t : "";
}

// Runs a program (argv[0] a path) with `input` on standard input.
Outcome runProgram(const std::vector<std::string>& argvIn, const std::string& input);

// Runs appletctl with the arguments and `input` on standard input.
Outcome run(const std::vector<std::string>& args, const std::string& input = std::string()) {
    std::vector<std::string> argv = {tool()};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, input);
}

Outcome runProgram(const std::vector<std::string>& argvIn, const std::string& input) {
    static int serial = 0;
    const std::string base = "run" + std::to_string(getpid()) + "_" + std::to_string(++serial);
    const std::string in = base + ".in", out = base + ".out", err = base + ".err";
    writeFile(in, input);

    std::vector<char*> argv;
    for (const std::string& a : argvIn) argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    // The user's environment without a library path (the tool finds the
    // runtime and the applet by itself) and without the switches that change
    // the applet's parameter set.
    static const char* const dropped[] = {"LD_LIBRARY_PATH=", "TERVIK_APPLET_PATH=", "TERVIK_ENABLE_DRA=",
                                          "TERVIK_ENABLE_DQORA=", "__TERVIK_FORCE_EXTERNAL_HAP="};
    std::vector<char*> envp;
    for (char** e = environ; *e; ++e) {
        bool keep = true;
        for (const char* d : dropped) keep = keep && std::strncmp(*e, d, std::strlen(d)) != 0;
        if (keep) envp.push_back(*e);
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&fa, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    Outcome r;
    pid_t pid = 0;
    int rc = posix_spawn(&pid, argv[0], &fa, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&fa);
    if (rc != 0) {
        r.err = "cannot start " + argvIn[0] + ": " + std::strerror(rc);
        return r;
    }
    int st = 0;
    while (waitpid(pid, &st, 0) < 0) {
    }
    r.exited = WIFEXITED(st);
    r.status = r.exited ? WEXITSTATUS(st) : -WTERMSIG(st);
    r.out = readFile(out);
    r.err = readFile(err);
    for (const std::string& f : {in, out, err}) std::remove(f.c_str());
    return r;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::stringstream ss(text);
    std::string l;
    while (std::getline(ss, l)) out.push_back(l);
    return out;
}

// The line of `list` output for one parameter (empty when missing).
std::string row(const std::string& listing, const std::string& name) {
    for (const std::string& l : lines(listing)) {
        if (l.compare(0, name.size() + 1, name + " ") == 0) return l;
    }
    return std::string();
}

// Whether the bytes are valid UTF-8 (what a UTF-8 terminal can show).
bool validUtf8(const std::string& s) {
    for (size_t i = 0; i < s.size();) {
        unsigned char c = static_cast<unsigned char>(s[i]);
        size_t n = c < 0x80                   ? 0
                   : (c >= 0xC2 && c <= 0xDF) ? 1
                   : (c >= 0xE0 && c <= 0xEF) ? 2
                   : (c >= 0xF0 && c <= 0xF4) ? 3
                                              : 9;
        if (n == 9) return false;
        for (size_t k = 1; k <= n; ++k) {
            if (i + k >= s.size() || (static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        }
        i += n + 1;
    }
    return true;
}

#define EXPECT_RUN(r, code)                                                                \
    do {                                                                                   \
        ASSERT_TRUE((r).exited) << "killed by signal " << -(r).status << "\n" << (r).err;  \
        EXPECT_EQ((code), (r).status) << "stdout:\n" << (r).out << "stderr:\n" << (r).err; \
    } while (0)

// ---- help and usage errors --------------------------------------------------

const char* const kCommandWords[] = {"info", "list", "get",  "set", "describe", "reset", "diff", "check",
                                     "xml",  "save", "load", "lut", "grab",     "serve", "help"};

TEST(ToolUsage, HelpOfTheToolNamesEveryCommandAndTheExitStatus) {
    for (const char* flag : {"--help", "-h"}) {
        Outcome r = run({flag});
        EXPECT_RUN(r, 0);
        EXPECT_TRUE(contains(r.out, "Usage: appletctl")) << r.out;
        for (const char* w : kCommandWords) EXPECT_TRUE(contains(r.out, std::string("\n  ") + w)) << w;
        EXPECT_TRUE(contains(r.out, "Exit status")) << r.out;
        EXPECT_EQ("", r.err);
    }
    Outcome h = run({"help"});
    EXPECT_RUN(h, 0);
    EXPECT_TRUE(contains(h.out, "Usage: appletctl [OPTIONS]"));
}

TEST(ToolUsage, EveryCommandHasItsOwnHelp) {
    for (const char* w : kCommandWords) {
        const std::string usage = std::string("Usage: appletctl ") + w;
        Outcome a = run({w, "--help"});
        EXPECT_RUN(a, 0);
        EXPECT_EQ(0u, a.out.find(usage)) << a.out;
        Outcome b = run({"help", w});
        EXPECT_RUN(b, 0);
        EXPECT_EQ(a.out, b.out) << w;
    }
    // Help after the arguments, too; nothing is run.
    Outcome c = run({"set", "FG_WIDTH=1000", "--help"});
    EXPECT_RUN(c, 0);
    EXPECT_EQ(0u, c.out.find("Usage: appletctl set NAME=VALUE[@P]"));
    EXPECT_EQ("", c.err);
}

TEST(ToolUsage, UsageErrorsExitWithTwoAndRunNothing) {
    struct Case {
        std::vector<std::string> args;
        const char* message;
    } cases[] = {
        {{}, "no command given"},
        {{"get", "FG_WIDTH", "frobnicate"}, "unknown command 'frobnicate'"},
        {{"--frob", "info"}, "unknown option '--frob'"},
        {{"get"}, "get: missing NAME[@P]"},
        {{"set", "FG_WIDTH"}, "set: expected NAME=VALUE"},
        {{"set", "="}, "set: missing parameter name"},
        {{"lut", "copy", "x.lut"}, "lut: expected 'save' or 'load', not 'copy'"},
        {{"list", "--frob"}, "list: unknown option '--frob'"},
        {{"diff", "a.mcf"}, "diff: missing B"},
        {{"help", "frob"}, "unknown command 'frob'"},
        {{"xml", "-o"}, "xml: -o needs a value"},
        {{"list", "--port", "x"}, "list: bad port 'x'"},
        {{"--board", "zero", "info"}, "bad board number 'zero'"},
        {{"--script"}, "--script: missing FILE"},
    };
    for (const Case& c : cases) {
        Outcome r = run(c.args);
        EXPECT_RUN(r, 2);
        EXPECT_TRUE(contains(r.err, c.message)) << r.err;
        EXPECT_EQ("", r.out) << "nothing runs after a usage error";
    }
}

// ---- info --------------------------------------------------------------------

TEST(ToolInfo, InfoShowsIdentityAndLayout) {
    Outcome r = run({"info"});
    EXPECT_RUN(r, 0);
    const char* expected[] = {
        "applet          Orvindel\n",
        "version         3.0.2.4 (3.0.2.4.20170809.082732)\n",
        "category        Maravel:Line\n",
        "description     Acquisition Applet with support of Velox technology",
        "board type      0xA57\n",
        "ports           2\n",
        "processes       2\n",
        "process 1       camera port 1, DMA 1\n",
        "DMA channels    2\n",
        "DMA 0           GRAY8\n",
        "DMA 1           GRAY8\n",
    };
    for (const char* e : expected) EXPECT_TRUE(contains(r.out, e)) << e << "\nin:\n" << r.out;
    EXPECT_EQ("", r.err);
}

// ---- get, set, describe --------------------------------------------------------

TEST(ToolParameters, GetPrintsNumbersAndEnumerationsByConstantName) {
    Outcome r = run({"get", "FG_WIDTH", "get", "FG_FORMAT@1", "get", "fg_height@0", "get", "FG_LUT_IN_BITS@1"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ(
        "FG_WIDTH@0 = 1024\n"
        "FG_FORMAT@1 = FG_GRAY (3)\n"
        "FG_HEIGHT@0 = 1024\n"
        "FG_LUT_IN_BITS@1 = 12\n",
        r.out);
}

TEST(ToolParameters, SetAcceptsConstantNamesDisplayNamesAndNumbers) {
    Outcome r = run({"set", "FG_FORMAT=FG_GRAY16", "set", "FG_FORMAT=fg_gray12", "set", "FG_FORMAT=Gray 10bit", "set",
                     "FG_FORMAT=3", "set", "FG_IMGTRIGGERINSRC=TRGINSOFTWARE@1", "set", "FG_WIDTH=0x800", "set",
                     "FG_PROCESSING_GAIN=2.5"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ(
        "FG_FORMAT@0 = FG_GRAY16 (1)\n"
        "FG_FORMAT@0 = FG_GRAY12 (22)\n"
        "FG_FORMAT@0 = FG_GRAY10 (21)\n"
        "FG_FORMAT@0 = FG_GRAY (3)\n"
        "FG_IMGTRIGGERINSRC@1 = TRGINSOFTWARE (-1)\n"
        "FG_WIDTH@0 = 2048\n"
        "FG_PROCESSING_GAIN@0 = 2.5\n",
        r.out);
}

TEST(ToolParameters, FailuresPrintTheCodeWithItsMeaning) {
    writeFile("garbage.mcf", "this is no configuration\n");
    std::remove("absent.mcf");
    struct Case {
        std::vector<std::string> args;
        const char* message;
        const char* also;
    } cases[] = {
        {{"set", "FG_WIDTH=1000"}, "set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16", ""},
        {{"set", "FG_WIDTH=16"}, "set FG_WIDTH=16: -6000 value outside its range or not in its enumeration", ""},
        {{"set", "FG_APPLET_VERSION=4"},
         "-12 host function or host board handle missing; write of a read-only parameter",
         ""},
        {{"get", "FG_NO_SUCH_THING"}, "-2070 unknown parameter", "'FG_NO_SUCH_THING'"},
        {{"list", "--port", "2"}, "list --port 2: port 2 does not exist (ports 0 and 1)", ""},
        {{"get", "FG_WIDTH@7"}, "get FG_WIDTH@7: port 7 does not exist (ports 0 and 1)", ""},
        {{"set", "FG_WIDTH=16"}, "range 32..16384 step 16", ""},
        {{"save", "settings.txt"}, "save settings.txt: -5001 the configuration file could not be created", ".mcf"},
        {{"load", "absent.mcf"}, "load absent.mcf: -2076 configuration file missing", ""},
        {{"load", "."}, "load .: '.' is a directory", ""},
        {{"load", "/dev/null"}, "'/dev/null' is not a regular file", ""},
        {{"lut", "load", "/dev/zero"}, "'/dev/zero' is not a regular file", ""},
        {{"check", "."}, "cannot read '.': is a directory", ""},
        {{"load", "garbage.mcf"}, "load garbage.mcf: -5000 configuration load failed", ""},
        {{"xml", "-o", "no-such-dir/x.xml"}, "cannot write 'no-such-dir/x.xml'", ""},
        {{"--script", "no-such-script.txt"}, "cannot read script 'no-such-script.txt'", ""},
    };
    for (const Case& c : cases) {
        Outcome r = run(c.args);
        EXPECT_RUN(r, 1);
        EXPECT_TRUE(contains(r.err, c.message) && contains(r.err, c.also)) << r.err;
        EXPECT_EQ("", r.out);
    }
}

TEST(ToolParameters, BadValueTextIsRefusedBeforeAnythingIsWritten) {
    struct Case {
        const char* arg;
        const char* why;
    } cases[] = {
        {"FG_WIDTH=12x", "expected an unsigned 32-bit integer"},
        {"FG_WIDTH=-64", "expected an unsigned 32-bit integer"},
        {"FG_WIDTH=0x100000000", "expected an unsigned 32-bit integer"},
        {"FG_WIDTH=", "expected an unsigned 32-bit integer"},
        {"FG_PROCESSING_GAIN=nan", "expected a finite number"},
        {"FG_PROCESSING_GAIN=1,5", "expected a finite number"},
        {"FG_FORMAT=FG_PURPLE", "not an entry of the enumeration (FG_GRAY, FG_GRAY10, FG_GRAY12, FG_GRAY16)"},
        {"FG_LUT_VALUE=1", "cannot be set from here"},
    };
    for (const Case& c : cases) {
        Outcome r = run({"-k", "set", c.arg, "get", "FG_WIDTH", "get", "FG_PROCESSING_GAIN", "get", "FG_FORMAT"});
        EXPECT_RUN(r, 1);
        EXPECT_TRUE(contains(r.err, "bad value")) << r.err;
        EXPECT_TRUE(contains(r.err, c.why)) << r.err;
        EXPECT_EQ("FG_WIDTH@0 = 1024\nFG_PROCESSING_GAIN@0 = 1\nFG_FORMAT@0 = FG_GRAY (3)\n", r.out) << c.arg;
    }
}

TEST(ToolParameters, StopsAtTheFirstFailureUnlessKeepGoing) {
    Outcome stop = run({"set", "FG_WIDTH=1000", "get", "FG_WIDTH"});
    EXPECT_RUN(stop, 1);
    EXPECT_EQ("", stop.out);
    Outcome go = run({"--keep-going", "set", "FG_WIDTH=1000", "get", "FG_WIDTH"});
    EXPECT_RUN(go, 1);
    EXPECT_EQ("FG_WIDTH@0 = 1024\n", go.out);
}

TEST(ToolParameters, DescribeShowsEverythingAUserAsksBeforeWriting) {
    Outcome r = run({"set", "FG_FORMAT=FG_GRAY16@1", "describe", "FG_FORMAT@1", "describe", "fg_width", "describe",
                     "FG_NR_OF_DMAS"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ(
        "FG_FORMAT@1 = FG_GRAY16 (1)\n"
        "FG_FORMAT@1\n"
        "  display name  Output Format\n"
        "  identity      700\n"
        "  kind          enumeration\n"
        "  access        read and write\n"
        "  entries       FG_GRAY    \"Gray 8bit\"   3\n"
        "                FG_GRAY10  \"Gray 10bit\"  21\n"
        "                FG_GRAY12  \"Gray 12bit\"  22\n"
        "                FG_GRAY16  \"Gray 16bit\"  1\n"
        "  default       FG_GRAY (3)\n"
        "  value         FG_GRAY16 (1)\n"
        "  description   Pixel format of the output image.\n",
        r.out.substr(0, r.out.find("FG_WIDTH@0")));
    const std::string width = r.out.substr(r.out.find("FG_WIDTH@0"));
    for (const char* part :
         {"kind          unsigned 32-bit integer\n", "range         32..16384 step 16\n", "unit          pixel\n",
          "default       1024\n", "value         1024\n", "description   Image width of the acquisition ROI.\n",
          "FG_NR_OF_DMAS@0\n", "(no description)"}) {
        EXPECT_TRUE(contains(width, part)) << part << " in\n" << width;
    }
    // Without the default values written, the tool does not know them.
    Outcome n = run({"--no-defaults", "describe", "FG_WIDTH"});
    EXPECT_RUN(n, 0);
    EXPECT_TRUE(contains(n.out, "default       unknown (the board was opened with --no-defaults)")) << n.out;
}

// ---- list ------------------------------------------------------------------

TEST(ToolList, ListShowsEveryParameterOfPortZero) {
    Outcome r = run({"list"});
    EXPECT_RUN(r, 0);
    ASSERT_TRUE(validUtf8(r.out));
    std::vector<std::string> ls = lines(r.out);
    ASSERT_GE(ls.size(), 2u);
    EXPECT_EQ("port 0: 99 parameters", ls[0]);
    EXPECT_EQ(0u, ls[1].find("NAME")) << ls[1];
    EXPECT_EQ(101u, ls.size());

    std::string width = row(r.out, "FG_WIDTH");
    for (const char* part : {" 100 ", " rw ", " 1024 ", " pixel ", "32..16384 step 16"}) {
        EXPECT_TRUE(contains(width, part)) << part << " in " << width;
    }
    std::string format = row(r.out, "FG_FORMAT");
    EXPECT_TRUE(contains(format, " FG_GRAY ")) << format;
    EXPECT_TRUE(contains(format, "FG_GRAY=3 FG_GRAY10=21 FG_GRAY12=22 FG_GRAY16=1")) << format;
    // The Latin-1 unit µs (bytes B5 73) comes out as UTF-8 (C2 B5 73).
    std::string period = row(r.out, "FG_LINEPERIODE");
    EXPECT_TRUE(contains(period, " \xC2\xB5s ")) << period;
    EXPECT_TRUE(contains(period, "0.512..2097.144 step 0.008")) << period;
    EXPECT_TRUE(contains(row(r.out, "FG_APPLET_VERSION"), " r ")) << "read-only";
    EXPECT_TRUE(contains(row(r.out, "FG_LUT_VALUE"), "4096 values: 0, 1, 2, 3, ..., 4095"));
    EXPECT_TRUE(contains(row(r.out, "FG_LUT_SAVE_FILE"), "file *.lut"));
    EXPECT_TRUE(contains(row(r.out, "FG_IMGTRIGGERINSRC"), "TRGINSOFTWARE=-1"));
    EXPECT_FALSE(row(r.out, "FG_NR_OF_DMAS").empty()) << "host-level parameters are listed too";
}

TEST(ToolList, ListShowsEachPortsOwnValuesAndRanges) {
    Outcome r = run({"set", "FG_WIDTH=512@1", "list", "--port", "1", "list", "--port=0"});
    EXPECT_RUN(r, 0);
    size_t split = r.out.find("port 0: 99 parameters");
    ASSERT_NE(std::string::npos, split);
    const std::string port1 = r.out.substr(0, split), port0 = r.out.substr(split);
    EXPECT_TRUE(contains(port1, "port 1: 99 parameters"));
    EXPECT_TRUE(contains(row(port1, "FG_WIDTH"), " 512 ")) << row(port1, "FG_WIDTH");
    EXPECT_TRUE(contains(row(port1, "FG_XOFFSET"), "0..15872 step 16")) << row(port1, "FG_XOFFSET");
    EXPECT_TRUE(contains(row(port1, "FG_LINEEXPOSURE"), " \xC2\xB5s "));
    EXPECT_TRUE(contains(row(port0, "FG_WIDTH"), " 1024 ")) << row(port0, "FG_WIDTH");
    EXPECT_TRUE(contains(row(port0, "FG_XOFFSET"), "0..15360 step 16")) << row(port0, "FG_XOFFSET");
}

// ---- configuration files ---------------------------------------------------------

TEST(ToolFiles, ConfigurationRoundTripThroughTwoInvocations) {
    std::remove("roundtrip.mcf");
    Outcome save = run({"set", "FG_WIDTH=512@1", "set", "FG_HEIGHT=100", "set", "FG_FORMAT=FG_GRAY16", "set",
                        "FG_PROCESSING_GAIN=2.5@1", "save", "roundtrip.mcf"});
    EXPECT_RUN(save, 0);
    EXPECT_TRUE(contains(save.out, "configuration saved to roundtrip.mcf\n"));
    ASSERT_TRUE(fileExists("roundtrip.mcf"));

    // A second process starts with the default values and takes the file's.
    Outcome load = run({"get", "FG_WIDTH@1", "load", "roundtrip.mcf", "get", "FG_WIDTH@1", "get", "FG_HEIGHT", "get",
                        "FG_FORMAT", "get", "FG_PROCESSING_GAIN@1", "get", "FG_WIDTH"});
    EXPECT_RUN(load, 0);
    EXPECT_EQ(
        "FG_WIDTH@1 = 1024\n"
        "configuration loaded from roundtrip.mcf\n"
        "FG_WIDTH@1 = 512\n"
        "FG_HEIGHT@0 = 100\n"
        "FG_FORMAT@0 = FG_GRAY16 (1)\n"
        "FG_PROCESSING_GAIN@1 = 2.5\n"
        "FG_WIDTH@0 = 1024\n",
        load.out);
}

// ---- GenApi document and lookup-table files --------------------------------------

TEST(ToolFiles, XmlGoesToStandardOutputOrAFile) {
    std::remove("port0.xml");
    std::remove("port1.xml");
    Outcome r = run({"xml", "-o", "port0.xml", "xml", "--port", "1", "--output=port1.xml"});
    EXPECT_RUN(r, 0);
    EXPECT_TRUE(contains(r.out, "GenApi description of port 0 written to port0.xml (")) << r.out;
    const std::string p0 = readFile("port0.xml"), p1 = readFile("port1.xml");
    EXPECT_EQ(0u, p0.find("<?xml version=\"1.0\" encoding=\"utf-8\"?>")) << p0.substr(0, 80);
    EXPECT_TRUE(contains(p0, "<RegisterDescription"));
    EXPECT_TRUE(contains(p0, "FG_WIDTH"));
    EXPECT_FALSE(p1.empty());

    Outcome s = run({"xml"});
    EXPECT_RUN(s, 0);
    EXPECT_EQ(p0, s.out.substr(0, p0.size()));
}

TEST(ToolFiles, LookupTableSavedAndLoadedBack) {
    std::remove("inverted.lut");
    Outcome save = run({"set", "FG_PROCESSING_INVERT=FG_ON@1", "lut", "save", "inverted.lut", "--port", "1"});
    EXPECT_RUN(save, 0);
    EXPECT_TRUE(contains(save.out, "lookup table of port 1 saved to inverted.lut\n")) << save.out;
    const std::string file = readFile("inverted.lut");
    EXPECT_EQ(0u, file.find("# Lut data file v1.1\n")) << file.substr(0, 60);
    EXPECT_TRUE(contains(file, "\n0,4095;\n"));
    EXPECT_TRUE(contains(file, "\n4095,0;\n"));

    Outcome load =
        run({"lut", "load", "inverted.lut", "get", "FG_LUT_TYPE", "get", "FG_LUT_CUSTOM_FILE", "get", "FG_LUT_VALUE"});
    EXPECT_RUN(load, 0);
    EXPECT_EQ(
        "lookup table of port 0 loaded from inverted.lut (FG_LUT_TYPE = LUT_TYPE_CUSTOM)\n"
        "FG_LUT_TYPE@0 = LUT_TYPE_CUSTOM (0)\n"
        "FG_LUT_CUSTOM_FILE@0 = \"inverted.lut\"\n"
        "FG_LUT_VALUE@0 = 4096 values: 4095, 4094, 4093, 4092, ..., 0\n",
        load.out);

    // A missing file changes nothing: the type and the file name stay.
    std::remove("absent.lut");
    Outcome missing = run({"-k", "lut", "load", "absent.lut", "get", "FG_LUT_TYPE", "get", "FG_LUT_CUSTOM_FILE"});
    EXPECT_RUN(missing, 1);
    EXPECT_TRUE(contains(missing.err, "lut load absent.lut: -2076 lookup-table file missing")) << missing.err;
    EXPECT_EQ("FG_LUT_TYPE@0 = LUT_TYPE_PROCESSING (3)\nFG_LUT_CUSTOM_FILE@0 = \"\"\n", missing.out);
}

// ---- scripts -----------------------------------------------------------------------

TEST(ToolScript, ScriptFromStandardInput) {
    const std::string script =
        "# region of interest\n"
        "set FG_WIDTH=2048\n"
        "\n"
        "   get FG_XOFFSET   # trailing comment\n"
        "set 'FG_LUT_SAVE_FILE=with space.lut'@1\n"
        "set \"FG_FORMAT=Gray 16bit\"\n"
        "list --port 1\n";
    Outcome r = run({"-"}, script);
    EXPECT_RUN(r, 0);
    std::vector<std::string> ls = lines(r.out);
    ASSERT_GE(ls.size(), 5u);
    EXPECT_EQ("FG_WIDTH@0 = 2048", ls[0]);
    EXPECT_EQ("FG_XOFFSET@0 = 0", ls[1]);
    EXPECT_EQ("FG_LUT_SAVE_FILE@1 = \"with space.lut\"", ls[2]);
    EXPECT_EQ("FG_FORMAT@0 = FG_GRAY16 (1)", ls[3]);
    EXPECT_EQ("port 1: 99 parameters", ls[4]);
    EXPECT_TRUE(fileExists("with space.lut"));
    EXPECT_EQ("", r.err);
}

TEST(ToolScript, ScriptFailuresNameTheLine) {
    Outcome r = run({"-"}, "get FG_WIDTH\nset FG_WIDTH=1000\nget FG_HEIGHT\n");
    EXPECT_RUN(r, 1);
    EXPECT_EQ("FG_WIDTH@0 = 1024\n", r.out);
    EXPECT_TRUE(contains(r.err, "<stdin>:2: set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16")) << r.err;

    // Every usage error of a script is reported, and nothing runs, even with -k.
    Outcome usage = run({"-k", "-"}, "bogus\nget FG_WIDTH extra\nget \"FG_WIDTH\nget FG_HEIGHT\n");
    EXPECT_RUN(usage, 2);
    EXPECT_TRUE(contains(usage.err, "<stdin>:1: unknown command 'bogus'")) << usage.err;
    EXPECT_TRUE(contains(usage.err, "<stdin>:2: unexpected 'extra'")) << usage.err;
    EXPECT_TRUE(contains(usage.err, "<stdin>:3: unterminated double quote")) << usage.err;
    EXPECT_EQ("", usage.out);
}

TEST(ToolScript, ScriptFilesRunInTheirPlaceAmongTheCommands) {
    writeFile("script.txt", "set FG_HEIGHT=77\nget FG_HEIGHT\n");
    Outcome r = run({"get", "FG_HEIGHT", "--script", "script.txt", "get", "FG_HEIGHT@1"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ("FG_HEIGHT@0 = 1024\nFG_HEIGHT@0 = 77\nFG_HEIGHT@0 = 77\nFG_HEIGHT@1 = 1024\n", r.out);

    Outcome nested = run({"-"}, "--script script.txt\n");
    EXPECT_RUN(nested, 2);
}

// ---- check, load reports, diff, reset -------------------------------------------------

// The lines of a file and the 1-based line of KEY= after the section line.
unsigned lineOf(const std::vector<std::string>& ls, const std::string& section, const std::string& key) {
    size_t i = 0;
    while (i < ls.size() && ls[i] != section) ++i;
    if (key.empty()) return static_cast<unsigned>(i + 1);
    for (++i; i < ls.size(); ++i) {
        if (ls[i].compare(0, key.size() + 1, key + "=") == 0) return static_cast<unsigned>(i + 1);
    }
    return 0;
}

std::string joined(const std::vector<std::string>& ls) {
    std::string s;
    for (const std::string& l : ls) s += l + "\n";
    return s;
}

// A lookup-table file as the format describes it: heading, three empty lines,
// the section, an empty line, four keys, then "i,value;" lines.
std::vector<std::string> lutLines(unsigned n) {
    std::vector<std::string> ls = {"# Lut data file v1.1",
                                   "",
                                   "",
                                   "",
                                   "[gray]",
                                   "",
                                   "id=3;",
                                   "nrOfElements=" + std::to_string(n) + ";",
                                   "format=0;",
                                   "number=0;"};
    for (unsigned i = 0; i < n; ++i) ls.push_back(std::to_string(i) + "," + std::to_string(4095 - i) + ";");
    return ls;
}
const unsigned kFirstEntryLine = 11;  // line of entry 0 in lutLines

TEST(ToolCheck, FilesTheBoardWritesAreClean) {
    std::remove("clean.mcf");
    std::remove("clean.lut");
    Outcome w = run({"set", "FG_CAMERASIMULATOR_SELECT_MODE=FG_PIXEL_FREQUENCY@1", "set", "FG_WIDTH=512@1", "set",
                     "FG_IMGTRIGGERINSRC=TRGINSOFTWARE", "save", "clean.mcf", "lut", "save", "clean.lut"});
    EXPECT_RUN(w, 0);
    writeFile("own.lut", joined(lutLines(4096)));
    Outcome r = run({"check", "clean.mcf", "check", "clean.lut", "check", "own.lut"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ(
        "clean.mcf: no problems (configuration file)\nclean.lut: no problems (lookup-table file)\n"
        "own.lut: no problems (lookup-table file)\n",
        r.out);
    EXPECT_EQ("", r.err);
    // A file the board wrote loads back without a word.
    Outcome l = run({"load", "clean.mcf"});
    EXPECT_RUN(l, 0);
    EXPECT_EQ("", l.err);
}

TEST(ToolCheck, EachProblemOfAConfigurationFileIsNamedWithItsLine) {
    std::remove("base.mcf");
    EXPECT_RUN(run({"save", "base.mcf"}), 0);
    const std::vector<std::string> base = lines(readFile("base.mcf"));
    ASSERT_GT(base.size(), 100u);
    struct Case {
        const char* section;
        const char* key;      // the line replaced (empty: the section line itself)
        const char* replace;  // nullptr: the line is deleted; the problem is then on the section line
        const char* message;
    } cases[] = {
        {"[Port A]", "FG_WIDTH", "FG_WIDTH=99999;", "FG_WIDTH=99999 in [Port A]: outside the range 32..16384 step 16"},
        {"[Port B]", "FG_XOFFSET", "FG_XOFFSET=8;",
         "FG_XOFFSET=8 in [Port B]: not on the step grid of 0..16352 step 16"},
        {"[Port A]", "FG_FORMAT", "FG_FORMAT=4;", "not an entry of the enumeration (FG_GRAY=3 FG_GRAY10=21"},
        {"[Port A]", "FG_LINEPERIODE", "FG_LINEPERIODE=inf;", "FG_LINEPERIODE=inf in [Port A]: not a finite decimal"},
        {"[Port A]", "FG_LINEEXPOSURE", "FG_LINEEXPOSURE=2000;", "outside the range 0.512..1048 step 0.008"},
        {"[Port B]", "FG_HEIGHT", "FG_HEIGHT=12x;",
         "FG_HEIGHT=12x in [Port B]: not a whole number (the board reads 12)"},
        {"[Port B]", "FG_LUT_CUSTOM_FILE", "FG_LUT_CUSTOM_FILE='a;b.lut';", "cuts the text at its first quote"},
        {"[Port A]", "FG_TIMEOUT", "FG_TIMEOUT=5", "FG_TIMEOUT=5: no ';' at the end of the line"},
        {"[Port A]", "FG_YOFFSET", "FG_WIDTH=1024;", "FG_WIDTH=1024 in [Port A]: appears twice (first on line"},
        {"[Port A]", "FG_REVERSE_X", "FG_NO_SUCH_KEY=1;", "FG_NO_SUCH_KEY=1 in [Port A]: unknown key"},
        {"[Port A]", "FG_IMG_SELECT", "just words", "not a key line: 'just words'"},
        {"[Port B]", "FG_WIDTH", nullptr, "FG_WIDTH missing from [Port B] (the board refuses the file)"},
        {"[Port A]", "FG_HEIGHT", nullptr, "FG_HEIGHT missing from [Port A] (the board takes the value of [Port B]"},
        {"[Kamerasektion]", "Typ", "Typ='Other';", "the file is for another applet"},
        {"[Kamerasektion]", "AktivePort", nullptr, "header key AktivePort missing"},
        {"[Kamerasektion]", "", "[Camera]", "the file does not begin with [Kamerasektion]"},
        {"[Port B]", "", "[Port C]", "unknown section [Port C]"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> ls = base;
        const unsigned at = lineOf(ls, c.section, c.key);
        ASSERT_GT(at, 0u) << c.section << " " << c.key;
        unsigned expected = at;
        if (c.replace) {
            ls[at - 1] = c.replace;
        } else {
            ls.erase(ls.begin() + (at - 1));
            expected = lineOf(ls, c.section, "");
        }
        writeFile("broken.mcf", joined(ls));
        Outcome r = run({"check", "broken.mcf"});
        EXPECT_RUN(r, 1);
        const std::string want = "broken.mcf:" + std::to_string(expected) + ": ";
        bool found = false;
        for (const std::string& l : lines(r.out)) found = found || (l.find(want) == 0 && contains(l, c.message));
        EXPECT_TRUE(found) << want << c.message << "\nin:\n" << r.out;
        EXPECT_TRUE(contains(r.err, "check broken.mcf: ")) << r.err;
    }
    // The file as a whole: line ends and binary content.
    std::string crlf;
    for (const std::string& l : base) crlf += l + "\r\n";
    writeFile("crlf.mcf", crlf);
    writeFile("binary.mcf", std::string("[Kamerasektion]\n\0\x01\x02", 19));
    Outcome r = run({"-k", "check", "crlf.mcf", "check", "binary.mcf"});
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.out, "crlf.mcf:1: line ends with a carriage return")) << r.out;
    EXPECT_TRUE(contains(r.out, "binary.mcf: binary file")) << r.out;
}

TEST(ToolCheck, EachProblemOfALookupTableFileIsNamedWithItsLine) {
    struct Case {
        void (*edit)(std::vector<std::string>&);
        unsigned line;
        const char* message;
    } cases[] = {
        {[](std::vector<std::string>& ls) { ls[kFirstEntryLine + 99] = "100,5000;"; }, kFirstEntryLine + 100,
         "entry 100 = 5000 outside the range 0..4095"},
        {[](std::vector<std::string>& ls) { ls.erase(ls.begin() + kFirstEntryLine - 1 + 7); }, kFirstEntryLine + 7,
         "entry 8 where entry 7 is expected"},
        {[](std::vector<std::string>& ls) { std::swap(ls[kFirstEntryLine - 1 + 20], ls[kFirstEntryLine - 1 + 21]); },
         kFirstEntryLine + 20, "entry 21 where entry 20 is expected"},
        {[](std::vector<std::string>& ls) { ls[7] = "nrOfElements=100;"; }, 8,
         "nrOfElements=100 but the file has 4096 entries"},
        {[](std::vector<std::string>& ls) { ls[4] = "[red]"; }, 5, "unknown section [red]"},
        {[](std::vector<std::string>& ls) { ls[kFirstEntryLine + 9] = "10;10;"; }, kFirstEntryLine + 10,
         "not an entry line"},
        {[](std::vector<std::string>& ls) { ls[0] = "# something else"; }, 1, "the file does not begin with"},
        {[](std::vector<std::string>& ls) { ls.erase(ls.begin() + 6); }, 0, ""},  // id missing: on the section line
    };
    for (const Case& c : cases) {
        std::vector<std::string> ls = lutLines(4096);
        c.edit(ls);
        writeFile("broken.lut", joined(ls));
        Outcome r = run({"check", "broken.lut"});
        EXPECT_RUN(r, 1);
        const std::string want = c.line ? "broken.lut:" + std::to_string(c.line) + ": " + c.message
                                        : std::string("broken.lut:5: key id missing");
        EXPECT_TRUE(contains(r.out, want)) << want << "\nin:\n" << r.out;
    }
    // A short table: the count it states is right, but the table has 4096 entries.
    writeFile("short.lut", joined(lutLines(100)));
    Outcome r = run({"check", "short.lut"});
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.out, "short.lut:8: nrOfElements=100: the table has 4096 entries")) << r.out;
    EXPECT_TRUE(contains(r.out, "short.lut: 3996 of 4096 entries missing (first: 100)")) << r.out;
}

TEST(ToolLoad, LoadReportsEachValueTheBoardDidNotTake) {
    std::remove("base.mcf");
    EXPECT_RUN(run({"save", "base.mcf"}), 0);
    std::vector<std::string> ls = lines(readFile("base.mcf"));
    const unsigned width = lineOf(ls, "[Port A]", "FG_WIDTH"), format = lineOf(ls, "[Port B]", "FG_FORMAT");
    const unsigned height = lineOf(ls, "[Port B]", "FG_HEIGHT");
    ls[width - 1] = "FG_WIDTH=99999;";
    ls[format - 1] = "FG_FORMAT=4;";
    ls[height - 1] = "FG_HEIGHT=512;";
    writeFile("refused.mcf", joined(ls));
    Outcome r = run({"-k", "load", "refused.mcf", "get", "FG_HEIGHT@1"});
    EXPECT_RUN(r, 1);
    const std::string ws = std::to_string(width), fs = std::to_string(format);
    EXPECT_TRUE(contains(r.err, "warning: refused.mcf:" + ws + ": FG_WIDTH=99999 in [Port A]: outside the range"))
        << r.err;
    EXPECT_TRUE(contains(r.err, "load refused.mcf: FG_WIDTH=99999 in [Port A], line " + ws +
                                    ": refused (-6000 value outside its range or not in its enumeration, range "
                                    "32..16384 step 16); the board keeps 1024"))
        << r.err;
    EXPECT_TRUE(contains(r.err, "FG_FORMAT=4 in [Port B], line " + fs + ": refused (-6000")) << r.err;
    EXPECT_TRUE(contains(r.err, "the board keeps FG_GRAY (3)")) << r.err;
    EXPECT_FALSE(contains(r.err, "FG_HEIGHT")) << "a value the board took is not reported";
    EXPECT_EQ("configuration loaded from refused.mcf (2 values not taken)\nFG_HEIGHT@1 = 512\n", r.out);
}

TEST(ToolLoad, LutLoadReportsEntriesTheBoardReadDifferently) {
    // "11,7;" before the line of entry 1 is read by the board as entry 1
    // (the entry reader matches "1," anywhere in a line).
    std::vector<std::string> ls = lutLines(4096);
    ls.insert(ls.begin() + kFirstEntryLine, "11,7;");
    writeFile("shifted.lut", joined(ls));
    Outcome r = run({"-k", "lut", "load", "shifted.lut", "--port", "1"});
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(
        r.err, "warning: shifted.lut:" + std::to_string(kFirstEntryLine + 1) + ": entry 11 where entry 1 is expected"))
        << r.err;
    EXPECT_TRUE(contains(r.err, "entry 1 = 4094 (line " + std::to_string(kFirstEntryLine + 2) + "): the board holds 7"))
        << r.err;
    // The file says twice what entry 11 is; the first line is taken as the file's word.
    EXPECT_TRUE(
        contains(r.err, "entry 11 = 7 (line " + std::to_string(kFirstEntryLine + 1) + "): the board holds 4084"))
        << r.err;
    EXPECT_TRUE(contains(r.out, "(2 entries not as in the file)")) << r.out;
}

TEST(ToolDiffReset, DiffComparesFilesAndTheBoardParameterByParameter) {
    std::remove("a.mcf");
    std::remove("b.mcf");
    EXPECT_RUN(run({"save", "a.mcf", "set", "FG_WIDTH=512@1", "set", "FG_FORMAT=FG_GRAY16", "save", "b.mcf"}), 0);
    Outcome r = run({"diff", "a.mcf", "b.mcf", "diff", "b.mcf", "-", "diff", "a.mcf", "-"});
    EXPECT_RUN(r, 0);
    const std::vector<std::string> ls = lines(r.out);
    ASSERT_EQ(9u, ls.size()) << r.out;
    EXPECT_EQ("PARAMETER    a.mcf        b.mcf", ls[0]);
    EXPECT_EQ("FG_FORMAT@0  FG_GRAY (3)  FG_GRAY16 (1)", ls[1]);
    EXPECT_EQ("FG_WIDTH@1   1024         512", ls[2]);
    EXPECT_EQ(0u, ls[3].find("2 parameters differ (")) << ls[3];
    EXPECT_EQ("PARAMETER    b.mcf          board", ls[4]);
    EXPECT_EQ("FG_FORMAT@0  FG_GRAY16 (1)  FG_GRAY (3)", ls[5]);
    EXPECT_EQ(0u, ls[7].find("2 parameters differ")) << ls[7];
    EXPECT_EQ(0u, ls[8].find("no differences (120 parameters compared)")) << ls[8];
}

TEST(ToolDiffReset, ResetWritesTheDefaultValuesAgain) {
    const std::vector<std::string> changes = {
        "set", "FG_WIDTH=2048",        "set", "FG_XOFFSET=512",       "set", "FG_FORMAT=FG_GRAY12@1",
        "set", "FG_LINEPERIODE=100@1", "set", "FG_PROCESSING_GAIN=2", "set", "FG_CAMERASIMULATOR_SELECT_MODE=0@1"};
    const std::vector<std::string> reads = {"get", "FG_WIDTH",
                                            "get", "FG_XOFFSET",
                                            "get", "FG_FORMAT@1",
                                            "get", "FG_LINEPERIODE@1",
                                            "get", "FG_PROCESSING_GAIN",
                                            "get", "FG_LUT_VALUE",
                                            "get", "FG_CAMERASIMULATOR_SELECT_MODE@1"};
    const std::string defaults =
        "FG_WIDTH@0 = 1024\nFG_XOFFSET@0 = 0\nFG_FORMAT@1 = FG_GRAY (3)\n"
        "FG_LINEPERIODE@1 = 200\nFG_PROCESSING_GAIN@0 = 1\n"
        "FG_LUT_VALUE@0 = 4096 values: 0, 1, 2, 3, ..., 4095\n"
        "FG_CAMERASIMULATOR_SELECT_MODE@1 = FG_LINERATE (1)\n";
    std::vector<std::string> args = changes;
    args.push_back("reset");
    args.insert(args.end(), reads.begin(), reads.end());
    Outcome r = run(args);
    EXPECT_RUN(r, 0);
    EXPECT_EQ("", r.err);
    EXPECT_TRUE(contains(r.out, "port 0: default values written")) << r.out;
    EXPECT_EQ(defaults, r.out.substr(r.out.find("FG_WIDTH@0 = 1024")));
    // One port only: the other keeps its values.
    args = changes;
    args.insert(args.end(), {"reset", "--port", "1", "get", "FG_WIDTH", "get", "FG_FORMAT@1"});
    Outcome one = run(args);
    EXPECT_RUN(one, 0);
    EXPECT_TRUE(contains(one.out, "port 1: default values written")) << one.out;
    EXPECT_FALSE(contains(one.out, "port 0: default values written")) << one.out;
    EXPECT_TRUE(contains(one.out, "FG_WIDTH@0 = 2048\nFG_FORMAT@1 = FG_GRAY (3)\n")) << one.out;
    // Without the default values written at the start, they are not known.
    Outcome none = run({"--no-defaults", "reset"});
    EXPECT_RUN(none, 1);
    EXPECT_TRUE(contains(none.err, "the default values are not known")) << none.err;
}

// ---- scripts and files the tool writes ---------------------------------------------------

TEST(ToolScript, AUsageErrorAnywhereMeansNothingRuns) {
    std::remove("never.mcf");
    writeFile("late-error.txt", "set FG_WIDTH=2048\nsave never.mcf\n\nget FG_WIDTH extra\n");
    Outcome r = run({"info", "--script", "late-error.txt", "get", "FG_WIDTH"});
    EXPECT_RUN(r, 2);
    EXPECT_EQ("", r.out);
    EXPECT_TRUE(contains(r.err, "late-error.txt:4: unexpected 'extra'")) << r.err;
    EXPECT_FALSE(fileExists("never.mcf"));

    struct Case {
        std::vector<std::string> args;
        std::string input;
        int status;
        const char* message;
    } cases[] = {
        {{"--script", "."}, "", 1, "cannot read script '.': it is a directory"},
        {{"--script", "/dev/zero"}, "", 1, "not a regular file"},
        {{"-"}, std::string("get FG_WIDTH\n\0\n", 15), 2, "<stdin>:2: binary data"},
        {{"-"},
         "get FG_WIDTH\nset FG_LUT_SAVE_FILE=" + std::string(5000, 'x') + "\n",
         2,
         "<stdin>:2: line longer than 4096 characters"},
        {{"-", "-"}, "", 2, "standard input can be read only once"},
    };
    for (const Case& c : cases) {
        Outcome o = run(c.args, c.input);
        EXPECT_RUN(o, c.status);
        EXPECT_TRUE(contains(o.err, c.message)) << o.err;
        EXPECT_EQ("", o.out);
    }
}

TEST(ToolFiles, XmlOutputReplacesAFileOnlyWhenComplete) {
    writeFile("kept.xml", "the old document\n");
    ASSERT_EQ(0, chmod("kept.xml", 0640));
    // A file size limit makes the write fail part-way; the old file stays.
    Outcome r = runProgram({"/bin/sh", "-c", "ulimit -f 8; exec \"$0\" \"$@\"", tool(), "xml", "-o", "kept.xml"}, "");
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "xml -o kept.xml: cannot write 'kept.xml': File too large")) << r.err;
    EXPECT_EQ("the old document\n", readFile("kept.xml"));
    Outcome ls = runProgram({"/bin/sh", "-c", "ls -a | grep -c '^\\.kept\\.xml\\.' || true"}, "");
    EXPECT_EQ("0\n", ls.out) << "no temporary file is left behind";
    // A complete write replaces it and keeps its permission bits.
    Outcome ok = run({"xml", "-o", "kept.xml"});
    EXPECT_RUN(ok, 0);
    EXPECT_TRUE(contains(readFile("kept.xml"), "<RegisterDescription"));
    struct stat st;
    ASSERT_EQ(0, stat("kept.xml", &st));
    EXPECT_EQ(0640u, st.st_mode & 07777u);
}

// ---- interactive session, version, completion and manual page --------------------------

TEST(ToolSession, ATerminalSessionKeepsTheBoardOpenAndGoesOnAfterAMistake) {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(0, grantpt(master));
    ASSERT_EQ(0, unlockpt(master));
    const std::string slave = ptsname(master);
    const std::string out = "session.out", errFile = "session.err";
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 0, slave.c_str(), O_RDWR, 0);
    posix_spawn_file_actions_addopen(&fa, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&fa, 2, errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<char*> argv = {const_cast<char*>(tool()), const_cast<char*>("-"), nullptr};
    pid_t pid = 0;
    ASSERT_EQ(0, posix_spawn(&pid, argv[0], &fa, nullptr, argv.data(), environ));
    posix_spawn_file_actions_destroy(&fa);
    const std::string typed = "set FG_WIDTH=2048\nbogus\nget FG_WIDTH\n\x04";
    ASSERT_EQ(static_cast<ssize_t>(typed.size()), write(master, typed.data(), typed.size()));
    int st = 0;
    // The terminal echoes what was typed; read it so that nothing blocks.
    char buf[256];
    while (waitpid(pid, &st, WNOHANG) == 0) {
        if (read(master, buf, sizeof buf) <= 0) usleep(1000);
    }
    close(master);
    ASSERT_TRUE(WIFEXITED(st));
    EXPECT_EQ(2, WEXITSTATUS(st)) << "a mistake in the session shows in the exit status";
    EXPECT_EQ("FG_WIDTH@0 = 2048\nFG_WIDTH@0 = 2048\n", readFile(out));
    const std::string e = readFile(errFile);
    EXPECT_TRUE(contains(e, "appletctl> ")) << e;
    EXPECT_TRUE(contains(e, "<stdin>:2: unknown command 'bogus'")) << e;
}

TEST(ToolDocuments, VersionCompletionAndManualPage) {
    Outcome v = run({"--version"});
    EXPECT_RUN(v, 0);
    EXPECT_EQ(0u, v.out.find("appletctl ")) << v.out;
    EXPECT_GT(v.out.size(), std::string("appletctl \n").size());

    const char* completion = std::getenv("APPLETCTL_COMPLETION");
    const char* manpage = std::getenv("APPLETCTL_MANPAGE");
    ASSERT_TRUE(completion && manpage);
    EXPECT_EQ(readFile(completion), run({"--completion", "bash"}).out) << "the build tree holds the current script";
    struct Case {
        std::vector<std::string> words;  // after the tool; the last one is completed
        const char* expected;
    } cases[] = {
        {{"desc"}, "describe\n"},
        {{"get", "FG_WID"}, "FG_WIDTH\n"},
        {{"set", "FG_XOFF"}, "FG_XOFFSET=\n"},
        {{"lut", "lo"}, "load\n"},
        {{"list", "--po"}, "--port\n"},
        {{"help", "chec"}, "check\n"},
        {{"get", "FG_WIDTH", "res"}, "reset\n"},
        {{"xml", "--port", ""}, "0\n1\n"},
    };
    for (const Case& c : cases) {
        std::string words = "'" + std::string(tool()) + "'";
        for (const std::string& w : c.words) words += " '" + w + "'";
        const std::string script = "source '" + std::string(completion) + "'; COMP_WORDS=(" + words +
                                   "); COMP_CWORD=" + std::to_string(c.words.size()) +
                                   "; _appletctl; printf '%s\\n' \"${COMPREPLY[@]}\"";
        Outcome r = runProgram({"/bin/bash", "-c", script}, "");
        EXPECT_RUN(r, 0);
        EXPECT_EQ(c.expected, r.out) << words;
    }

    // The manual page renders without warnings and lists every command.
    Outcome m = runProgram({"/bin/sh", "-c", "MANWIDTH=200 man -l -P cat \"$0\" 2>&1", manpage}, "");
    EXPECT_RUN(m, 0);
    for (const char* part : {"appletctl - drive a frame-grabber board", "describe NAME[@P]", "lut load FILE [--port P]",
                             "--keep-going", "EXIT STATUS"}) {
        EXPECT_TRUE(contains(m.out, part)) << part;
    }
    Outcome g = runProgram({"/bin/sh", "-c", "groff -man -ww -z \"$0\" 2>&1", manpage}, "");
    EXPECT_EQ("", g.out);
}

// ---- odd input -----------------------------------------------------------------------

TEST(ToolRobustness, OddInputNeverCrashes) {
    const std::string longName(100000, 'A');
    const std::string longText = "FG_LUT_SAVE_FILE=" + std::string(5000, 'x') + ".lut";
    struct Case {
        std::vector<std::string> args;
        int status;
    } cases[] = {
        {{"set", "="}, 2},
        {{"get", "@"}, 1},
        {{"get", "@1"}, 2},
        {{"set", "FG_WIDTH=@9"}, 1},
        {{"set", "FG_WIDTH=1024@"}, 1},
        {{"set", "FG_WIDTH==1024"}, 1},
        {{"get", "FG_WIDTH@99999999999"}, 1},
        {{"get", longName}, 1},
        {{"set", "FG_WIDTH=" + longName}, 1},
        {{"set", longText}, 1},
        {{"save", longName + ".mcf"}, 1},
        {{"set", std::string("FG_WIDTH\x01=\xFF\xFE")}, 1},
        {{"set", "FG_LUT_SAVE_FILE=\xB5s.lut"}, 0},
    };
    for (const Case& c : cases) {
        Outcome r = run(c.args);
        EXPECT_RUN(r, c.status);
        EXPECT_LT(r.err.size(), 2000u) << "messages cut long arguments";
        EXPECT_TRUE(validUtf8(r.out) && validUtf8(r.err)) << r.err;
    }
    std::remove("\xB5s.lut");

    // Random bytes as a script.
    std::string noise;
    unsigned x = 12345;
    for (int i = 0; i < 20000; ++i) {
        x = x * 1103515245u + 12345u;
        noise += static_cast<char>((x >> 16) & 0xFF);
    }
    Outcome r = run({"-k", "-"}, noise);
    ASSERT_TRUE(r.exited);
    EXPECT_TRUE(r.status == 1 || r.status == 2) << r.status;
}

}  // namespace

// ---- grab ------------------------------------------------------------------------------

namespace {

// A decoded image file: its size, its bit depth (PGM: from maxval; PNG: the
// sample depth) and every sample.
struct Decoded {
    bool ok = false;
    std::string why;
    uint32_t width = 0, height = 0, maxval = 0, depth = 0;
    std::vector<uint32_t> samples;
};

Decoded readPgm(const std::string& path) {
    Decoded d;
    const std::string f = readFile(path);
    size_t pos = 0;
    auto number = [&](uint32_t* v) {
        while (pos < f.size() && std::isspace(static_cast<unsigned char>(f[pos]))) ++pos;
        if (pos >= f.size() || !std::isdigit(static_cast<unsigned char>(f[pos]))) return false;
        *v = 0;
        while (pos < f.size() && std::isdigit(static_cast<unsigned char>(f[pos]))) *v = *v * 10 + (f[pos++] - '0');
        return true;
    };
    if (f.compare(0, 2, "P5") != 0) return d.why = path + ": no binary PGM", d;
    pos = 2;
    if (!number(&d.width) || !number(&d.height) || !number(&d.maxval) || d.maxval == 0 || d.maxval > 65535)
        return d.why = path + ": bad header", d;
    ++pos;  // the one whitespace before the samples
    const size_t bytes = d.maxval > 255 ? 2 : 1, n = size_t(d.width) * d.height;
    if (f.size() - pos != n * bytes) return d.why = path + ": " + std::to_string(f.size() - pos) + " sample bytes", d;
    for (size_t i = 0; i < n; ++i) {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(f.data() + pos + i * bytes);
        d.samples.push_back(bytes == 1 ? p[0] : uint32_t(p[0]) << 8 | p[1]);
    }
    while ((1u << d.depth) - 1 < d.maxval) ++d.depth;
    d.ok = true;
    return d;
}

#ifdef TEST_HAVE_PNG
struct PngInput {
    std::string bytes;
    size_t pos = 0;
};

void pngFailed(png_structp png, png_const_charp) { png_longjmp(png, 1); }
void pngRead(png_structp png, png_bytep to, size_t n) {
    PngInput* in = static_cast<PngInput*>(png_get_io_ptr(png));
    if (n > in->bytes.size() - in->pos) png_error(png, "truncated");
    std::memcpy(to, in->bytes.data() + in->pos, n);
    in->pos += n;
}

Decoded readPng(const std::string& path) {
    Decoded d;
    PngInput in;
    in.bytes = readFile(path);
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, pngFailed, nullptr);
    png_infop info = png_create_info_struct(png);
    std::vector<png_byte> row;
    if (setjmp(png_jmpbuf(png))) {
        d.why = path + ": not a PNG libpng reads";
    } else {
        png_set_read_fn(png, &in, pngRead);
        png_read_info(png, info);
        d.width = png_get_image_width(png, info);
        d.height = png_get_image_height(png, info);
        d.depth = png_get_bit_depth(png, info);
        d.maxval = (1u << d.depth) - 1;
        if (png_get_color_type(png, info) != PNG_COLOR_TYPE_GRAY) png_error(png, "not grayscale");
        row.resize(png_get_rowbytes(png, info));
        for (uint32_t y = 0; y < d.height; ++y) {
            png_read_row(png, row.data(), nullptr);
            for (uint32_t x = 0; x < d.width; ++x)
                d.samples.push_back(d.depth == 16 ? uint32_t(row[2 * x]) << 8 | row[2 * x + 1] : row[x]);
        }
        png_read_end(png, nullptr);
        d.ok = true;
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return d;
}
#endif

Decoded readImage(const std::string& path) {
#ifdef TEST_HAVE_PNG
    if (path.size() > 4 && path.compare(path.size() - 4, 4, ".png") == 0) return readPng(path);
#endif
    return readPgm(path);
}

// What the test sets through the SDK: the camera simulator's pattern, the
// camera depth, the region and the output format; the processing table is
// the identity (gain 1, gamma 1, offset 0).
struct GrabCase {
    const char* name;
    unsigned port;
    uint32_t pixelFormat;  // Mono8 257, Mono10 258, Mono12 259
    uint32_t format;       // FG_GRAY 3, FG_GRAY10 21, FG_GRAY12 22, FG_GRAY16 1
    uint32_t alignment;    // right 0, left 1
    uint32_t pattern;      // horizontal 1, vertical 2, diagonal 3
    const char* type;      // ".pgm", ".png"
    bool strip;
    uint32_t frames;
};

const uint32_t kSimWidth = 96, kSimHeight = 8, kOffset = 200, kWidth = 64, kHeight = 8;

// The value of the 12-bit path at picture `pic` (from 1), region row and
// column: the simulator's counter (rolling one step per generated frame) as a
// pixel of the camera's depth at the top of the 12 bits.
uint32_t pathValue(const GrabCase& g, uint32_t pic, uint32_t row, uint32_t x) {
    if (x >= kSimWidth) return 0;
    const uint32_t depth = g.pixelFormat == 259 ? 12 : g.pixelFormat == 258 ? 10 : 8;
    const uint64_t line = uint64_t(pic - 1) * kHeight + row, frame = line / kSimHeight, y = line % kSimHeight;
    const uint64_t c = (g.pattern != 2 ? x : 0) + (g.pattern != 1 ? y % 256 : 0) + kOffset + frame % 256;
    return static_cast<uint32_t>((c & ((1u << depth) - 1)) << (12 - depth));
}

// The bits of the delivered pixels and the value a file holds for a pixel:
// PGM the value as the format carries it, PNG 16-bit that value scaled to 16 bits.
uint32_t formatBits(const GrabCase& g) { return g.format == 3 ? 8 : g.format == 21 ? 10 : g.format == 22 ? 12 : 16; }
uint32_t fileValue(const GrabCase& g, uint32_t v, bool png) {
    const uint32_t bits = formatBits(g);
    const uint32_t value = bits == 8 ? v >> 4 : bits == 10 ? v >> 2 : bits == 12 ? v : v << (g.alignment ? 4 : 0);
    return png && bits > 8 ? value << (16 - bits) : value;
}

std::vector<std::string> programArgs(const GrabCase& g) {
    const std::string at = "@" + std::to_string(g.port);
    std::vector<std::string> a;
    for (const std::string& s : std::vector<std::string>{
             "FG_CAMERASIMULATOR_ENABLE=1", "FG_CAMERASIMULATOR_WIDTH=" + std::to_string(kSimWidth),
             "FG_CAMERASIMULATOR_HEIGHT=" + std::to_string(kSimHeight),
             "FG_CAMERASIMULATOR_PATTERN=" + std::to_string(g.pattern),
             "FG_CAMERASIMULATOR_PATTERN_OFFSET=" + std::to_string(kOffset), "FG_CAMERASIMULATOR_ROLL=1",
             "FG_PIXELFORMAT=" + std::to_string(g.pixelFormat), "FG_WIDTH=" + std::to_string(kWidth),
             "FG_HEIGHT=" + std::to_string(kHeight), "FG_FORMAT=" + std::to_string(g.format),
             "FG_BITALIGNMENT=" + std::to_string(g.alignment)}) {
        a.push_back("set");
        a.push_back(s + at);
    }
    return a;
}

TEST(ToolGrab, FramesDecodeToTheImagesTheSdkValuesDescribe) {
    const GrabCase cases[] = {
        {"gray8", 0, 257, 3, 1, 3, ".pgm", false, 3},        {"gray10-right", 0, 258, 21, 0, 3, ".pgm", false, 2},
        {"gray10-left", 0, 258, 21, 1, 3, ".png", false, 2}, {"gray12-left", 1, 259, 22, 1, 1, ".pgm", false, 2},
        {"gray16-right", 0, 259, 1, 0, 3, ".png", false, 2}, {"gray16-left-strip", 0, 257, 1, 1, 3, ".pgm", true, 4},
        {"gray8-strip", 1, 257, 3, 0, 2, ".png", true, 3},
    };
    for (const GrabCase& g : cases) {
        SCOPED_TRACE(g.name);
        const std::string base = std::string("grab_") + g.name;
        const std::string pattern = base + (g.strip ? "" : "-%03d") + g.type;
        std::vector<std::string> args = programArgs(g);
        for (const char* a : {"grab", "--port", "", "-n", "", "-o", ""}) args.push_back(a);
        args[args.size() - 5] = std::to_string(g.port);
        args[args.size() - 3] = std::to_string(g.frames);
        args.back() = pattern;
        if (g.strip) args.push_back("--strip");
        const bool png = std::string(g.type) == ".png";
#ifndef TEST_HAVE_PNG
        if (png) {
            Outcome r = run(args);
            EXPECT_RUN(r, 2);
            EXPECT_TRUE(contains(r.err, "writes no PNG")) << r.err;
            continue;
        }
#endif
        Outcome r = run(args);
        EXPECT_RUN(r, 0);
        EXPECT_TRUE(contains(r.out, "port " + std::to_string(g.port) + ": " + std::to_string(g.frames) + " frames"))
            << r.out;
        EXPECT_EQ("", r.err) << "no progress line when standard error is no terminal";
        const uint32_t files = g.strip ? 1 : g.frames, rows = g.strip ? kHeight * g.frames : kHeight;
        const uint32_t depth = png ? (formatBits(g) > 8 ? 16 : 8) : formatBits(g);
        for (uint32_t k = 1; k <= files; ++k) {
            char name[128];
            std::snprintf(name, sizeof name, "%s-%03u%s", base.c_str(), k, g.type);
            const std::string path = g.strip ? base + g.type : name;
            const Decoded d = readImage(path);
            ASSERT_TRUE(d.ok) << d.why;
            EXPECT_EQ(kWidth, d.width);
            ASSERT_EQ(rows, d.height);
            EXPECT_EQ(depth, d.depth);
            EXPECT_EQ((1u << depth) - 1, d.maxval);
            size_t wrong = 0;
            for (uint32_t y = 0; y < rows; ++y)
                for (uint32_t x = 0; x < kWidth; ++x) {
                    const uint32_t pic = g.strip ? 1 + y / kHeight : k;
                    const uint32_t want = fileValue(g, pathValue(g, pic, y % kHeight, x), png);
                    if (d.samples[size_t(y) * kWidth + x] != want && wrong++ < 3)
                        ADD_FAILURE() << path << " pixel (" << x << ", " << y
                                      << "): " << d.samples[size_t(y) * kWidth + x] << ", expected " << want;
                }
            EXPECT_EQ(0u, wrong) << path;
        }
    }
}

size_t temporaryFilesOf(const std::string& name) {
    Outcome ls = runProgram({"/bin/sh", "-c", "ls -a | grep -c '^\\." + name + "\\.' || true"}, "");
    return std::strtoul(ls.out.c_str(), nullptr, 10);
}

TEST(ToolGrab, ATriggeredPortWithoutTriggerTimesOutAndLeavesTheOldStrip) {
    writeFile("grab_kept.pgm", "the old strip\n");
    const std::vector<std::string> triggered = {"set", "FG_HEIGHT=8",          "set", "FG_IMGTRIGGERMODE=ASYNC_TRIGGER",
                                                "set", "FG_IMGTRIGGERINSRC=-1"};
    std::vector<std::string> args = triggered;
    for (const char* a : {"grab", "-n", "2", "--timeout", "1", "--strip", "-o", "grab_kept.pgm"}) args.push_back(a);
    Outcome r = run(args);
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "time-out: picture 1 did not come within 1 s (0 of 2 frames written)")) << r.err;
    EXPECT_TRUE(contains(r.err, "grab_kept.pgm not written")) << r.err;
    EXPECT_EQ("the old strip\n", readFile("grab_kept.pgm"));
    EXPECT_EQ(0u, temporaryFilesOf("grab_kept\\.pgm"));

    // One software trigger per frame brings the frames.
    args = triggered;
    for (const char* a : {"grab", "-n", "3", "-t", "2", "--software-trigger", "-o", "grab_trig.pgm"}) args.push_back(a);
    r = run(args);
    EXPECT_RUN(r, 0);
    for (const char* f : {"grab_trig-0001.pgm", "grab_trig-0002.pgm", "grab_trig-0003.pgm"}) {
        const Decoded d = readPgm(f);
        ASSERT_TRUE(d.ok) << d.why;
        EXPECT_EQ(1024u, d.width);
        EXPECT_EQ(8u, d.height);
        EXPECT_EQ(255u, d.maxval);
    }
}

TEST(ToolGrab, LostFramesAndFailedWritesFailTheCommand) {
    // A ring of two buffers at a million lines per second: the board
    // overwrites frames long before the tool has written them.
    Outcome r = run({"set", "FG_CAMERASIMULATOR_ENABLE=1", "set", "FG_CAMERASIMULATOR_LINERATE=1000000", "set",
                     "FG_HEIGHT=8", "grab", "-n", "200", "--buffers", "2", "-o", "grab_lost-%d.pgm"});
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "frames lost")) << r.err;

    r = run({"grab", "-o", "grab_no_such_dir/frame.pgm"});
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "cannot write 'grab_no_such_dir/frame.pgm': No such file or directory")) << r.err;
}

TEST(ToolGrab, ProgressLineOnATerminal) {
    int master = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_GE(master, 0);
    ASSERT_EQ(0, grantpt(master));
    ASSERT_EQ(0, unlockpt(master));
    const std::string slave = ptsname(master);
    posix_spawn_file_actions_t fa;
    posix_spawn_file_actions_init(&fa);
    posix_spawn_file_actions_addopen(&fa, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&fa, 2, slave.c_str(), O_RDWR, 0);
    std::vector<std::string> args = {tool(), "set", "FG_HEIGHT=8", "grab", "-n", "3", "-o", "grab_tty-%d.pgm"};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    pid_t pid = 0;
    ASSERT_EQ(0, posix_spawn(&pid, argv[0], &fa, nullptr, argv.data(), environ));
    posix_spawn_file_actions_destroy(&fa);
    std::string shown;
    char buf[256];
    int st = 0;
    fcntl(master, F_SETFL, O_NONBLOCK);
    for (;;) {
        const ssize_t n = read(master, buf, sizeof buf);
        if (n > 0)
            shown.append(buf, static_cast<size_t>(n));
        else if (waitpid(pid, &st, WNOHANG) != 0)
            break;
        else
            usleep(1000);
    }
    close(master);
    ASSERT_TRUE(WIFEXITED(st));
    EXPECT_EQ(0, WEXITSTATUS(st));
    EXPECT_TRUE(contains(shown, "grab: 3/3 frames")) << shown;
    EXPECT_TRUE(contains(shown, " fps ")) << shown;
    EXPECT_TRUE(contains(shown, " MB/s  0 lost")) << shown;
}

TEST(ToolGrab, OptionErrorsRunNothing) {
    struct Case {
        std::vector<std::string> args;
        int status;
        const char* message;
    } cases[] = {
        {{"grab", "-o", "frame.tif"}, 2, "grab: 'frame.tif': the name must end in .pgm or .png"},
        {{"grab", "-o", "f%d-%d.pgm"}, 2, "one number directive"},
        {{"grab", "-o", "f%s.pgm"}, 2, "one number directive"},
        {{"grab", "-n", "0"}, 2, "expected a whole number from 1"},
        {{"grab", "--timeout", "-1"}, 2, "expected a number of seconds above 0"},
        {{"grab", "--strip", "yes"}, 2, "unknown command 'yes'"},
        {{"grab", "-o"}, 2, "-o needs a value"},
        {{"grab", "--port", "2"}, 1, "ports 0 and 1"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> args = {"set", "FG_WIDTH=64"};
        args.insert(args.end(), c.args.begin(), c.args.end());
        Outcome r = run(args);
        EXPECT_RUN(r, c.status);
        EXPECT_TRUE(contains(r.err, c.message)) << r.err;
        if (c.status == 2) {
            EXPECT_EQ("", r.out) << "nothing runs";
        }
    }
    EXPECT_FALSE(fileExists("frame-0001.pgm"));
}

}  // namespace
