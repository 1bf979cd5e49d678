// appletctl run as a user runs it: the built program is started as a child
// process without LD_LIBRARY_PATH, with its standard input taken from a file,
// and its exit status, standard output and standard error are checked.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
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

// Runs appletctl with the arguments and `input` on standard input.
Outcome run(const std::vector<std::string>& args, const std::string& input = std::string()) {
    static int serial = 0;
    const std::string base = "run" + std::to_string(getpid()) + "_" + std::to_string(++serial);
    const std::string in = base + ".in", out = base + ".out", err = base + ".err";
    writeFile(in, input);

    std::vector<char*> argv = {const_cast<char*>(tool())};
    for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
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
        r.err = std::string("cannot start ") + tool() + ": " + std::strerror(rc);
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

const char* const kCommandWords[] = {"info", "list", "get", "set", "describe", "xml", "save", "load", "lut", "help"};

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
        {{"get"}, "get: missing argument"},
        {{"set", "FG_WIDTH"}, "set: expected NAME=VALUE"},
        {{"set", "="}, "set: missing parameter name"},
        {{"lut", "copy", "x.lut"}, "lut: expected 'save' or 'load'"},
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
        {{"list", "--port", "2"}, "-2075 no parameter description for the port", ""},
        {{"save", "settings.txt"}, "save settings.txt: -5001 configuration save failed", ".mcf"},
        {{"load", "absent.mcf"}, "load absent.mcf: -2076 file missing", ""},
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

TEST(ToolParameters, DescribePrintsTheLongDescription) {
    Outcome r = run({"describe", "FG_WIDTH@1", "describe", "FG_LUT_CUSTOM_FILE", "describe", "FG_NR_OF_DMAS"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ("FG_WIDTH: Image width of the acquisition ROI.\n"
              "FG_LUT_CUSTOM_FILE: Filename with custom lookup table values.\n"
              "FG_NR_OF_DMAS: (no description)\n",
              r.out);
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
    EXPECT_TRUE(contains(missing.err, "lut load absent.lut: -2076 file missing")) << missing.err;
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

    Outcome usage = run({"-k", "-"}, "bogus\nget FG_WIDTH extra\nget \"FG_WIDTH\nget FG_HEIGHT\n");
    EXPECT_RUN(usage, 2);
    EXPECT_TRUE(contains(usage.err, "<stdin>:1: unknown command 'bogus'")) << usage.err;
    EXPECT_TRUE(contains(usage.err, "<stdin>:2: unexpected 'extra'")) << usage.err;
    EXPECT_TRUE(contains(usage.err, "<stdin>:3: unterminated double quote")) << usage.err;
    EXPECT_EQ("FG_HEIGHT@0 = 1024\n", usage.out);
}

TEST(ToolScript, ScriptFilesRunInTheirPlaceAmongTheCommands) {
    writeFile("script.txt", "set FG_HEIGHT=77\nget FG_HEIGHT\n");
    Outcome r = run({"get", "FG_HEIGHT", "--script", "script.txt", "get", "FG_HEIGHT@1"});
    EXPECT_RUN(r, 0);
    EXPECT_EQ("FG_HEIGHT@0 = 1024\nFG_HEIGHT@0 = 77\nFG_HEIGHT@0 = 77\nFG_HEIGHT@1 = 1024\n", r.out);

    Outcome nested = run({"-"}, "--script script.txt\n");
    EXPECT_RUN(nested, 2);
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
