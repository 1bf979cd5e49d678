// appletctl run as a user runs it: the built program is started as a child
// process without LD_LIBRARY_PATH, with its standard input taken from a file,
// and its exit status, standard output and standard error are checked.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "test_files.h"

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
        size_t n = c < 0x80 ? 0 : (c >= 0xC2 && c <= 0xDF) ? 1 : (c >= 0xE0 && c <= 0xEF) ? 2 : (c >= 0xF0 && c <= 0xF4) ? 3 : 9;
        if (n == 9) return false;
        for (size_t k = 1; k <= n; ++k) {
            if (i + k >= s.size() || (static_cast<unsigned char>(s[i + k]) & 0xC0) != 0x80) return false;
        }
        i += n + 1;
    }
    return true;
}

#define EXPECT_RUN(r, code)                                                              \
    do {                                                                                 \
        ASSERT_TRUE((r).exited) << "killed by signal " << -(r).status << "\n" << (r).err; \
        EXPECT_EQ((code), (r).status) << "stdout:\n" << (r).out << "stderr:\n" << (r).err; \
    } while (0)

// ---- help and usage errors --------------------------------------------------

const char* const kCommandWords[] = {"info", "list", "get", "set", "describe", "reset", "diff", "check",
                                     "xml",  "save", "load", "lut", "help"};

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
    EXPECT_EQ("FG_WIDTH@0 = 1024\n"
              "FG_FORMAT@1 = FG_GRAY (3)\n"
              "FG_HEIGHT@0 = 1024\n"
              "FG_LUT_IN_BITS@1 = 12\n",
              r.out);
}

TEST(ToolParameters, SetAcceptsConstantNamesDisplayNamesAndNumbers) {
    Outcome r = run({"set", "FG_FORMAT=FG_GRAY16", "set", "FG_FORMAT=fg_gray12", "set", "FG_FORMAT=Gray 10bit",
                 "set", "FG_FORMAT=3", "set", "FG_IMGTRIGGERINSRC=TRGINSOFTWARE@1", "set", "FG_WIDTH=0x800",
                 "set", "FG_PROCESSING_GAIN=2.5"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ("FG_FORMAT@0 = FG_GRAY16 (1)\n"
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
        {{"set", "FG_APPLET_VERSION=4"}, "-12 host function or host board handle missing; write of a read-only parameter", ""},
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
    EXPECT_EQ("FG_FORMAT@1 = FG_GRAY16 (1)\n"
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
    for (const char* part : {"kind          unsigned 32-bit integer\n", "range         32..16384 step 16\n",
                             "unit          pixel\n", "default       1024\n", "value         1024\n",
                             "description   Image width of the acquisition ROI.\n", "FG_NR_OF_DMAS@0\n",
                             "(no description)"}) {
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
    Outcome save = run({"set", "FG_WIDTH=512@1", "set", "FG_HEIGHT=100", "set", "FG_FORMAT=FG_GRAY16",
                    "set", "FG_PROCESSING_GAIN=2.5@1", "save", "roundtrip.mcf"});
    EXPECT_RUN(save, 0);
    EXPECT_TRUE(contains(save.out, "configuration saved to roundtrip.mcf\n"));
    ASSERT_TRUE(fileExists("roundtrip.mcf"));

    // A second process starts with the default values and takes the file's.
    Outcome load = run({"get", "FG_WIDTH@1", "load", "roundtrip.mcf", "get", "FG_WIDTH@1", "get", "FG_HEIGHT",
                    "get", "FG_FORMAT", "get", "FG_PROCESSING_GAIN@1", "get", "FG_WIDTH"});
    EXPECT_RUN(load, 0);
    EXPECT_EQ("FG_WIDTH@1 = 1024\n"
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

    Outcome load = run({"lut", "load", "inverted.lut", "get", "FG_LUT_TYPE", "get", "FG_LUT_CUSTOM_FILE", "get",
                    "FG_LUT_VALUE"});
    EXPECT_RUN(load, 0);
    EXPECT_EQ("lookup table of port 0 loaded from inverted.lut (FG_LUT_TYPE = LUT_TYPE_CUSTOM)\n"
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
    EXPECT_TRUE(contains(r.err, "<stdin>:2: set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16"))
        << r.err;

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
    std::vector<std::string> ls = {"# Lut data file v1.1", "", "", "", "[gray]", "", "id=3;",
                                   "nrOfElements=" + std::to_string(n) + ";", "format=0;", "number=0;"};
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
    EXPECT_EQ("clean.mcf: no problems (configuration file)\nclean.lut: no problems (lookup-table file)\n"
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
        {"[Port B]", "FG_XOFFSET", "FG_XOFFSET=8;", "FG_XOFFSET=8 in [Port B]: not on the step grid of 0..16352 step 16"},
        {"[Port A]", "FG_FORMAT", "FG_FORMAT=4;", "not an entry of the enumeration (FG_GRAY=3 FG_GRAY10=21"},
        {"[Port A]", "FG_LINEPERIODE", "FG_LINEPERIODE=inf;", "FG_LINEPERIODE=inf in [Port A]: not a finite decimal"},
        {"[Port A]", "FG_LINEEXPOSURE", "FG_LINEEXPOSURE=2000;", "outside the range 0.512..1048 step 0.008"},
        {"[Port B]", "FG_HEIGHT", "FG_HEIGHT=12x;", "FG_HEIGHT=12x in [Port B]: not a whole number (the board reads 12)"},
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
    EXPECT_TRUE(contains(r.err, "warning: shifted.lut:" + std::to_string(kFirstEntryLine + 1) +
                                    ": entry 11 where entry 1 is expected"))
        << r.err;
    EXPECT_TRUE(contains(r.err, "entry 1 = 4094 (line " + std::to_string(kFirstEntryLine + 2) +
                                    "): the board holds 7"))
        << r.err;
    // The file says twice what entry 11 is; the first line is taken as the file's word.
    EXPECT_TRUE(contains(r.err, "entry 11 = 7 (line " + std::to_string(kFirstEntryLine + 1) + "): the board holds 4084"))
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
    const std::vector<std::string> changes = {"set", "FG_WIDTH=2048", "set", "FG_XOFFSET=512", "set",
                                              "FG_FORMAT=FG_GRAY12@1", "set", "FG_LINEPERIODE=100@1", "set",
                                              "FG_PROCESSING_GAIN=2", "set", "FG_CAMERASIMULATOR_SELECT_MODE=0@1"};
    const std::vector<std::string> reads = {"get", "FG_WIDTH",          "get", "FG_XOFFSET", "get",
                                            "FG_FORMAT@1",              "get", "FG_LINEPERIODE@1",
                                            "get", "FG_PROCESSING_GAIN", "get", "FG_LUT_VALUE",
                                            "get", "FG_CAMERASIMULATOR_SELECT_MODE@1"};
    const std::string defaults = "FG_WIDTH@0 = 1024\nFG_XOFFSET@0 = 0\nFG_FORMAT@1 = FG_GRAY (3)\n"
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
        {{"-"}, "get FG_WIDTH\nset FG_LUT_SAVE_FILE=" + std::string(5000, 'x') + "\n", 2,
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
