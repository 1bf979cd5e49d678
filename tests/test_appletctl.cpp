// appletctl run as a user runs it: the built program is started as a child
// process without LD_LIBRARY_PATH, with its standard input taken from a file
// (or typed on a terminal), and its exit status, standard output and standard
// error are checked.
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
#include "tool_run.h"

using namespace tooltest;

namespace {

// ---- help ---------------------------------------------------------------------

const char* const kCommandWords[] = {"info", "list", "get",  "set", "describe", "reset", "diff", "check",
                                     "xml",  "save", "load", "lut", "grab",     "serve", "help"};

TEST(ToolUsage, HelpOfTheToolAndOfEveryCommand) {
    for (const char* flag : {"--help", "-h"}) {
        Outcome r = run({flag});
        EXPECT_RUN(r, 0);
        EXPECT_TRUE(contains(r.out, "Usage: appletctl [OPTIONS]")) << r.out;
        for (const char* w : kCommandWords) EXPECT_TRUE(contains(r.out, std::string("\n  ") + w)) << w;
        EXPECT_TRUE(contains(r.out, "Exit status")) << r.out;
        EXPECT_EQ("", r.err);
        EXPECT_EQ(r.out, run("help").out);
    }
    for (const char* w : kCommandWords) {
        Outcome a = run({w, "--help"});
        EXPECT_RUN(a, 0);
        EXPECT_EQ(0u, a.out.find(std::string("Usage: appletctl ") + w)) << a.out;
        EXPECT_EQ(a.out, run({"help", w}).out) << w;
    }
}

// ---- single calls: exit status, messages and output ------------------------------

// One call of the tool: its exit status, the parts standard error shows
// (separated by '|'; with status 0 it is empty), standard output exactly
// (nullptr: not checked), parts standard output shows in this order, and
// standard input. The calls run in turn: a file one writes, a later one reads.
struct Call {
    Args args;
    int status;
    const char* err;
    const char* out = "";
    const char* shows = "";
    std::string input = std::string();
};

const char *const kW = "FG_WIDTH@0 = 1024\n", *const kGain = "FG_PROCESSING_GAIN@0 = 1\n";
const std::string kChanges =
    "set FG_WIDTH=2048 set FG_XOFFSET=512 set FG_FORMAT=FG_GRAY12@1 set FG_LINEPERIODE=100@1 set "
    "FG_PROCESSING_GAIN=2 set FG_CAMERASIMULATOR_SELECT_MODE=0@1 ";
const std::string kLong(100000, 'A'), kLongText = "FG_LUT_SAVE_FILE=" + std::string(5000, 'x') + ".lut";

// Exit status 2: a usage error, nothing runs (and every usage error of a
// script is reported, even with -k). 1: a failure, named with its code and
// meaning. Messages cut long arguments and show odd bytes as valid UTF-8.
const Call kCalls[] = {
    {{}, 2, "no command given"},
    {"get FG_WIDTH frobnicate", 2, "unknown command 'frobnicate'"},
    {"--frob info", 2, "unknown option '--frob'"},
    {"get", 2, "get: missing NAME[@P]"},
    {"set FG_WIDTH", 2, "set: expected NAME=VALUE"},
    {"set =", 2, "set: missing parameter name"},
    {"lut copy x.lut", 2, "lut: expected 'save' or 'load', not 'copy'"},
    {"list --frob", 2, "list: unknown option '--frob'"},
    {"diff a.mcf", 2, "diff: missing B"},
    {"help frob", 2, "unknown command 'frob'"},
    {"xml -o", 2, "xml: -o needs a value"},
    {"list --port x", 2, "list: bad port 'x'"},
    {"--board zero info", 2, "bad board number 'zero'"},
    {"--script", 2, "--script: missing FILE"},
    {"get @1", 2, ""},
    // Help after the arguments, too; nothing is run.
    {"set FG_WIDTH=1000 --help", 0, "", nullptr, "Usage: appletctl set NAME=VALUE[@P]"},
    {"set FG_WIDTH=64 grab -o frame.tif", 2, "grab: 'frame.tif': the name must end in .pgm or .png"},
    {"set FG_WIDTH=64 grab -o f%d-%d.pgm", 2, "one number directive"},
    {"set FG_WIDTH=64 grab -o f%s.pgm", 2, "one number directive"},
    {"set FG_WIDTH=64 grab -n 0", 2, "expected a whole number from 1"},
    {"set FG_WIDTH=64 grab --timeout -1", 2, "expected a number of seconds above 0"},
    {"set FG_WIDTH=64 grab --strip yes", 2, "unknown command 'yes'"},
    {"set FG_WIDTH=64 grab -o", 2, "-o needs a value"},
    {"set FG_WIDTH=64 grab --port 2", 1, "ports 0 and 1", nullptr},
    {"info --script late-error.txt get FG_WIDTH", 2, "late-error.txt:4: unexpected 'extra'"},
    {"-", 2, "<stdin>:2: binary data", "", "", std::string("get FG_WIDTH\n\0\n", 15)},
    {"-", 2, "<stdin>:2: line longer than 4096 characters", "", "", "get FG_WIDTH\n" + kLongText + "\n"},
    {"- -", 2, "standard input can be read only once"},
    {"-", 2, "", "", "", "--script script.txt\n"},
    {"-k -", 2, "<stdin>:1: unknown command 'bogus'|<stdin>:2: unexpected 'extra'|<stdin>:3: unterminated double quote",
     "", "", "bogus\nget FG_WIDTH extra\nget \"FG_WIDTH\nget FG_HEIGHT\n"},
    // Failures stop the run unless it keeps going.
    {"set FG_WIDTH=1000 get FG_WIDTH", 1, "set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16"},
    {"--keep-going set FG_WIDTH=1000 get FG_WIDTH", 1, "-7080", kW},
    {"-", 1, "<stdin>:2: set FG_WIDTH=1000: -7080 width or x-offset not a multiple of 16", kW, "",
     "get FG_WIDTH\nset FG_WIDTH=1000\nget FG_HEIGHT\n"},
    {"set FG_WIDTH=16", 1,
     "set FG_WIDTH=16: -6000 value outside its range or not in its enumeration|range 32..16384 step 16"},
    {"set FG_APPLET_VERSION=4", 1, "-12 host function or host board handle missing; write of a read-only parameter"},
    {"get FG_NO_SUCH_THING", 1, "-2070 unknown parameter|'FG_NO_SUCH_THING'"},
    {"list --port 2", 1, "list --port 2: port 2 does not exist (ports 0 and 1)"},
    {"get FG_WIDTH@7", 1, "get FG_WIDTH@7: port 7 does not exist (ports 0 and 1)"},
    {"save settings.txt", 1, "save settings.txt: -5001 the configuration file could not be created|.mcf"},
    {"load absent.mcf", 1, "load absent.mcf: -2076 configuration file missing"},
    {"load .", 1, "load .: '.' is a directory"},
    {"load /dev/null", 1, "'/dev/null' is not a regular file"},
    {"lut load /dev/zero", 1, "'/dev/zero' is not a regular file"},
    // A missing table file changes nothing: the type and the file name stay.
    {"-k lut load absent.lut get FG_LUT_TYPE get FG_LUT_CUSTOM_FILE", 1,
     "lut load absent.lut: -2076 lookup-table file missing",
     "FG_LUT_TYPE@0 = LUT_TYPE_PROCESSING (3)\nFG_LUT_CUSTOM_FILE@0 = \"\"\n"},
    {"check .", 1, "cannot read '.': is a directory"},
    {"load garbage.mcf", 1, "load garbage.mcf: -5000 configuration load failed"},
    {"xml -o no-such-dir/x.xml", 1, "cannot write 'no-such-dir/x.xml'"},
    {"--script no-such-script.txt", 1, "cannot read script 'no-such-script.txt'"},
    {"--script .", 1, "cannot read script '.': it is a directory"},
    {"--script /dev/zero", 1, "not a regular file"},
    {"--no-defaults reset", 1, "the default values are not known", nullptr},
    {"grab -o grab_no_such_dir/frame.pgm", 1, "cannot write 'grab_no_such_dir/frame.pgm': No such file or directory"},
    // A ring of two buffers at a million lines per second: the board
    // overwrites frames long before the tool has written them.
    {"set FG_CAMERASIMULATOR_ENABLE=1 set FG_CAMERASIMULATOR_LINERATE=1000000 set FG_HEIGHT=8 grab -n 200 "
     "--buffers 2 -o grab_lost-%d.pgm",
     1, "frames lost", nullptr},
    // Value text the tool refuses before anything is written.
    {"-k set FG_WIDTH=12x get FG_WIDTH", 1, "bad value|expected an unsigned 32-bit integer", kW},
    {"-k set FG_WIDTH=-64 get FG_WIDTH", 1, "bad value|expected an unsigned 32-bit integer", kW},
    {"-k set FG_WIDTH=0x100000000 get FG_WIDTH", 1, "bad value|expected an unsigned 32-bit integer", kW},
    {"-k set FG_WIDTH= get FG_WIDTH", 1, "bad value|expected an unsigned 32-bit integer", kW},
    {"-k set FG_PROCESSING_GAIN=nan get FG_PROCESSING_GAIN", 1, "bad value|expected a finite number", kGain},
    {"-k set FG_PROCESSING_GAIN=1,5 get FG_PROCESSING_GAIN", 1, "bad value|expected a finite number", kGain},
    {"-k set FG_FORMAT=FG_PURPLE get FG_FORMAT", 1,
     "bad value|not an entry of the enumeration (FG_GRAY, FG_GRAY10, FG_GRAY12, FG_GRAY16)",
     "FG_FORMAT@0 = FG_GRAY (3)\n"},
    {"-k set FG_LUT_VALUE=1 get FG_WIDTH", 1, "bad value|cannot be set from here", kW},
    // Odd input.
    {"get @", 1, "", nullptr},
    {"set FG_WIDTH=@9", 1, "", nullptr},
    {"set FG_WIDTH=1024@", 1, "", nullptr},
    {"set FG_WIDTH==1024", 1, "", nullptr},
    {"get FG_WIDTH@99999999999", 1, "", nullptr},
    {{"get", kLong}, 1, "", nullptr},
    {{"set", "FG_WIDTH=" + kLong}, 1, "", nullptr},
    {{"set", kLongText}, 1, "", nullptr},
    {{"save", kLong + ".mcf"}, 1, "", nullptr},
    {{"set", "FG_WIDTH\x01=\xFF\xFE"}, 1, "", nullptr},
    {{"set", "FG_LUT_SAVE_FILE=\xB5s.lut"}, 0, "", nullptr},
    // Values read and written by constant name, display name or number.
    {"get FG_WIDTH get FG_FORMAT@1 get fg_height@0 get FG_LUT_IN_BITS@1", 0, "",
     "FG_WIDTH@0 = 1024\nFG_FORMAT@1 = FG_GRAY (3)\nFG_HEIGHT@0 = 1024\nFG_LUT_IN_BITS@1 = 12\n"},
    {{"set", "FG_FORMAT=FG_GRAY16", "set", "FG_FORMAT=fg_gray12", "set", "FG_FORMAT=Gray 10bit", "set", "FG_FORMAT=3",
      "set", "FG_IMGTRIGGERINSRC=TRGINSOFTWARE@1", "set", "FG_WIDTH=0x800", "set", "FG_PROCESSING_GAIN=2.5"},
     0,
     "",
     "FG_FORMAT@0 = FG_GRAY16 (1)\nFG_FORMAT@0 = FG_GRAY12 (22)\nFG_FORMAT@0 = FG_GRAY10 (21)\n"
     "FG_FORMAT@0 = FG_GRAY (3)\nFG_IMGTRIGGERINSRC@1 = TRGINSOFTWARE (-1)\nFG_WIDTH@0 = 2048\n"
     "FG_PROCESSING_GAIN@0 = 2.5\n"},
    // A script file runs in its place among the commands.
    {"get FG_HEIGHT --script script.txt get FG_HEIGHT@1", 0, "",
     "FG_HEIGHT@0 = 1024\nFG_HEIGHT@0 = 77\nFG_HEIGHT@0 = 77\nFG_HEIGHT@1 = 1024\n"},
    {"-", 0, "", nullptr,
     "FG_WIDTH@0 = 2048\nFG_XOFFSET@0 = 0\nFG_LUT_SAVE_FILE@1 = \"with space.lut\"\nFG_FORMAT@0 = FG_GRAY16 (1)\n"
     "port 1: 99 parameters\n",
     "# region of interest\nset FG_WIDTH=2048\n\n   get FG_XOFFSET   # trailing comment\n"
     "set 'FG_LUT_SAVE_FILE=with space.lut'@1\nset \"FG_FORMAT=Gray 16bit\"\nlist --port 1\n"},
    {"info", 0, "", nullptr,
     "applet          Orvindel\n|version         3.0.2.4 (3.0.2.4.20170809.082732)\n|category        Maravel:Line\n"
     "|description     Acquisition Applet with support of Velox technology|board type      0xA57\n|ports           2\n"
     "|processes       2\n|process 1       camera port 1, DMA 1\n|DMA channels    2\n|DMA 0           GRAY8\n"
     "|DMA 1           GRAY8\n"},
    // Without the default values written, the tool does not know them.
    {"--no-defaults describe FG_WIDTH", 0, "", nullptr,
     "default       unknown (the board was opened with --no-defaults)"},
    // A second process starts with the default values and takes the file's.
    {"set FG_WIDTH=512@1 set FG_HEIGHT=100 set FG_FORMAT=FG_GRAY16 set FG_PROCESSING_GAIN=2.5@1 save roundtrip.mcf", 0,
     "", nullptr, "configuration saved to roundtrip.mcf\n"},
    {"get FG_WIDTH@1 load roundtrip.mcf get FG_WIDTH@1 get FG_HEIGHT get FG_FORMAT get FG_PROCESSING_GAIN@1 get "
     "FG_WIDTH",
     0, "",
     "FG_WIDTH@1 = 1024\nconfiguration loaded from roundtrip.mcf\nFG_WIDTH@1 = 512\nFG_HEIGHT@0 = 100\n"
     "FG_FORMAT@0 = FG_GRAY16 (1)\nFG_PROCESSING_GAIN@1 = 2.5\nFG_WIDTH@0 = 1024\n"},
    {"set FG_PROCESSING_INVERT=FG_ON@1 lut save inverted.lut --port 1", 0, "", nullptr,
     "lookup table of port 1 saved to inverted.lut\n"},
    {"lut load inverted.lut get FG_LUT_TYPE get FG_LUT_CUSTOM_FILE get FG_LUT_VALUE", 0, "",
     "lookup table of port 0 loaded from inverted.lut (FG_LUT_TYPE = LUT_TYPE_CUSTOM)\nFG_LUT_TYPE@0 = LUT_TYPE_CUSTOM "
     "(0)\nFG_LUT_CUSTOM_FILE@0 = \"inverted.lut\"\nFG_LUT_VALUE@0 = 4096 values: 4095, 4094, 4093, 4092, ..., 0\n"},
    // Files the board writes are clean, and load back without a word.
    {"set FG_CAMERASIMULATOR_SELECT_MODE=FG_PIXEL_FREQUENCY@1 set FG_WIDTH=512@1 set FG_IMGTRIGGERINSRC=TRGINSOFTWARE "
     "save clean.mcf lut save clean.lut",
     0, "", nullptr},
    {"check clean.mcf check clean.lut check own.lut", 0, "",
     "clean.mcf: no problems (configuration file)\nclean.lut: no problems (lookup-table file)\n"
     "own.lut: no problems (lookup-table file)\n"},
    {"load clean.mcf", 0, "", nullptr},
    // Files as a whole: line ends, binary content, a short table (the count
    // it states is right, but the table has 4096 entries).
    {"-k check crlf.mcf check binary.mcf check short.lut", 1, "", nullptr,
     "crlf.mcf:1: line ends with a carriage return|binary.mcf: binary file|short.lut:8: nrOfElements=100: the table "
     "has 4096 entries|short.lut: 3996 of 4096 entries missing (first: 100)"},
    // diff compares files and the board parameter by parameter.
    {"save a.mcf set FG_WIDTH=512@1 set FG_FORMAT=FG_GRAY16 save b.mcf", 0, "", nullptr},
    {"diff a.mcf b.mcf diff b.mcf - diff a.mcf -", 0, "", nullptr,
     "PARAMETER    a.mcf        b.mcf\nFG_FORMAT@0  FG_GRAY (3)  FG_GRAY16 (1)\nFG_WIDTH@1   1024         512\n"
     "2 parameters differ (|PARAMETER    b.mcf          board\nFG_FORMAT@0  FG_GRAY16 (1)  FG_GRAY (3)\n"
     "|2 parameters differ|no differences (120 parameters compared)"},
    // reset writes the default values again, of one port or both.
    {kChanges + "reset get FG_WIDTH get FG_XOFFSET get FG_FORMAT@1 get FG_LINEPERIODE@1 get FG_PROCESSING_GAIN get "
                "FG_LUT_VALUE get FG_CAMERASIMULATOR_SELECT_MODE@1",
     0, "", nullptr,
     "port 0: default values written|FG_WIDTH@0 = 1024\nFG_XOFFSET@0 = 0\nFG_FORMAT@1 = FG_GRAY (3)\n"
     "FG_LINEPERIODE@1 = 200\nFG_PROCESSING_GAIN@0 = 1\nFG_LUT_VALUE@0 = 4096 values: 0, 1, 2, 3, ..., 4095\n"
     "FG_CAMERASIMULATOR_SELECT_MODE@1 = FG_LINERATE (1)\n"},
    {kChanges + "reset --port 1 get FG_WIDTH get FG_FORMAT@1", 0, "", nullptr,
     "port 1: default values written|FG_WIDTH@0 = 2048\nFG_FORMAT@1 = FG_GRAY (3)\n"},
};

TEST(ToolCalls, EachCallEndsWithItsStatusMessagesAndOutput) {
    writeFile("garbage.mcf", "this is no configuration\n");
    writeFile("late-error.txt", "set FG_WIDTH=2048\nsave never.mcf\n\nget FG_WIDTH extra\n");
    writeFile("script.txt", "set FG_HEIGHT=77\nget FG_HEIGHT\n");
    writeFile("own.lut", joined(lutLines(4096)));
    writeFile("short.lut", joined(lutLines(100)));
    writeFile("binary.mcf", std::string("[Kamerasektion]\n\0\x01\x02", 19));
    std::string crlf;
    for (const std::string& l : savedDefaults()) crlf += l + "\r\n";
    writeFile("crlf.mcf", crlf);
    for (const char* f : {"absent.mcf", "absent.lut", "never.mcf", "frame-0001.pgm", "roundtrip.mcf", "inverted.lut",
                          "clean.mcf", "clean.lut", "a.mcf", "b.mcf"})
        std::remove(f);
    for (const Call& c : kCalls) {
        std::string words;
        for (const std::string& a : c.args) words += " " + a.substr(0, 60);
        SCOPED_TRACE("appletctl" + words);
        Outcome r = run(c.args, c.input);
        EXPECT_RUN(r, c.status);
        EXPECT_TRUE(hasParts(r.err, c.err));
        EXPECT_TRUE(c.status != 0 || r.err.empty()) << r.err;
        EXPECT_EQ(c.out != nullptr ? c.out : r.out, r.out);
        EXPECT_TRUE(hasParts(r.out, c.shows));
        EXPECT_LT(r.err.size(), 2000u) << "messages cut long arguments";
        EXPECT_TRUE(validUtf8(r.out) && validUtf8(r.err)) << r.err;
    }
    EXPECT_EQ("<missing>", readFile("never.mcf")) << "a usage error anywhere in a script means nothing runs";
    EXPECT_EQ("<missing>", readFile("frame-0001.pgm"));
    std::remove("\xB5s.lut");

    std::string noise;
    for (unsigned i = 0, x = 12345; i < 20000; ++i) noise += static_cast<char>(((x = x * 1103515245u + 12345u) >> 16));
    Outcome r = run("-k -", noise);
    ASSERT_TRUE(r.exited);
    EXPECT_TRUE(r.status == 1 || r.status == 2) << r.status;
}

// ---- info, describe, list ---------------------------------------------------------

TEST(ToolParameters, DescribeShowsEverythingAUserAsksBeforeWriting) {
    Outcome r = run("set FG_FORMAT=FG_GRAY16@1 describe FG_FORMAT@1 describe fg_width describe FG_NR_OF_DMAS");
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
    EXPECT_TRUE(hasParts(r.out.substr(r.out.find("FG_WIDTH@0")),
                         "kind          unsigned 32-bit integer\n|range         32..16384 step 16\n|unit          "
                         "pixel\n|default       1024\n|value         1024\n|description   Image width of the "
                         "acquisition ROI.\n|FG_NR_OF_DMAS@0\n|(no description)"));
}

TEST(ToolList, ListShowsEveryParameterWithEachPortsOwnValuesAndRanges) {
    Outcome r = run("set FG_WIDTH=512@1 list --port 1 list");
    EXPECT_RUN(r, 0);
    ASSERT_TRUE(validUtf8(r.out));
    const size_t split = r.out.find("port 0: 99 parameters\n");
    ASSERT_NE(std::string::npos, split);
    const std::string port1 = r.out.substr(0, split), port0 = r.out.substr(split);
    const std::vector<std::string> ls = lines(port0);
    ASSERT_EQ(101u, ls.size());
    EXPECT_EQ(0u, ls[1].find("NAME")) << ls[1];
    EXPECT_TRUE(contains(port1, "port 1: 99 parameters"));
    const struct {
        const std::string& listing;
        const char* name;
        const char* parts;
    } rows[] = {
        {port0, "FG_WIDTH", " 100 | rw | 1024 | pixel |32..16384 step 16"},
        {port0, "FG_FORMAT", " FG_GRAY |FG_GRAY=3 FG_GRAY10=21 FG_GRAY12=22 FG_GRAY16=1"},
        // The Latin-1 unit µs (bytes B5 73) comes out as UTF-8 (C2 B5 73).
        {port0, "FG_LINEPERIODE", " \xC2\xB5s |0.512..2097.144 step 0.008"},
        {port0, "FG_APPLET_VERSION", " r "},
        {port0, "FG_LUT_VALUE", "4096 values: 0, 1, 2, 3, ..., 4095"},
        {port0, "FG_LUT_SAVE_FILE", "file *.lut"},
        {port0, "FG_IMGTRIGGERINSRC", "TRGINSOFTWARE=-1"},
        {port0, "FG_NR_OF_DMAS", "FG_NR_OF_DMAS "},  // host-level parameters are listed too
        {port0, "FG_XOFFSET", "0..15360 step 16"},
        {port1, "FG_WIDTH", " 512 "},
        {port1, "FG_XOFFSET", "0..15872 step 16"},
        {port1, "FG_LINEEXPOSURE", " \xC2\xB5s "},
    };
    for (const auto& p : rows) EXPECT_TRUE(hasParts(row(p.listing, p.name), p.parts)) << p.name;
}

// ---- configuration, GenApi and lookup-table files ------------------------------------

TEST(ToolFiles, XmlGoesToStandardOutputOrAFileReplacedOnlyWhenComplete) {
    std::remove("port0.xml");
    std::remove("port1.xml");
    Outcome r = run("xml -o port0.xml xml --port 1 --output=port1.xml");
    EXPECT_RUN(r, 0);
    EXPECT_TRUE(contains(r.out, "GenApi description of port 0 written to port0.xml (")) << r.out;
    const std::string p0 = readFile("port0.xml"), p1 = readFile("port1.xml");
    EXPECT_EQ(0u, p0.find("<?xml version=\"1.0\" encoding=\"utf-8\"?>")) << p0.substr(0, 80);
    EXPECT_TRUE(contains(p0, "<RegisterDescription") && contains(p0, "FG_WIDTH"));
    EXPECT_FALSE(p1.empty());
    EXPECT_EQ(p0, run("xml").out.substr(0, p0.size()));

    writeFile("kept.xml", "the old document\n");
    ASSERT_EQ(0, chmod("kept.xml", 0640));
    // A file size limit makes the write fail part-way; the old file stays.
    r = runProgram({"/bin/sh", "-c", "ulimit -f 8; exec \"$0\" \"$@\"", tool(), "xml", "-o", "kept.xml"}, "");
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "xml -o kept.xml: cannot write 'kept.xml': File too large")) << r.err;
    EXPECT_EQ("the old document\n", readFile("kept.xml"));
    EXPECT_EQ(0u, temporaryFilesOf("kept\\.xml")) << "no temporary file is left behind";
    // A complete write replaces it and keeps its permission bits.
    EXPECT_RUN(run("xml -o kept.xml"), 0);
    EXPECT_EQ(p0, readFile("kept.xml"));
    struct stat st;
    ASSERT_EQ(0, stat("kept.xml", &st));
    EXPECT_EQ(0640u, st.st_mode & 07777u);
}

// ---- scripts and the terminal session ---------------------------------------------------

TEST(ToolSession, ATerminalSessionKeepsTheBoardOpenAndGoesOnAfterAMistake) {
    Outcome r = runOnTerminal("-", "set FG_WIDTH=2048\nbogus\nget FG_WIDTH\n\x04");
    EXPECT_RUN(r, 2);  // a mistake in the session shows in the exit status
    EXPECT_EQ("FG_WIDTH@0 = 2048\nFG_WIDTH@0 = 2048\n", r.out);
    EXPECT_TRUE(contains(r.err, "appletctl> ")) << r.err;
    EXPECT_TRUE(contains(r.err, "<stdin>:2: unknown command 'bogus'")) << r.err;
}

// ---- check, load reports, diff, reset -------------------------------------------------

TEST(ToolCheck, EachProblemOfAConfigurationFileIsNamedWithItsLine) {
    const std::vector<std::string> base = savedDefaults();
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
        SCOPED_TRACE(c.message);
        std::vector<std::string> ls = base;
        const unsigned at = lineOf(ls, c.section, c.key);
        ASSERT_GT(at, 0u);
        if (c.replace)
            ls[at - 1] = c.replace;
        else
            ls.erase(ls.begin() + (at - 1));
        writeFile("broken.mcf", joined(ls));
        Outcome r = run("check broken.mcf");
        EXPECT_RUN(r, 1);
        const std::string want = "broken.mcf:" + std::to_string(c.replace ? at : lineOf(ls, c.section, "")) + ": ";
        bool found = false;
        for (const std::string& l : lines(r.out)) found = found || (l.find(want) == 0 && contains(l, c.message));
        EXPECT_TRUE(found) << want << "\nin:\n" << r.out;
        EXPECT_TRUE(contains(r.err, "check broken.mcf: ")) << r.err;
    }
}

TEST(ToolCheck, EachProblemOfALookupTableFileIsNamedWithItsLine) {
    const unsigned e0 = kFirstEntryLine - 1;  // index of entry 0's line
    struct Case {
        unsigned at;          // index of the line edited
        const char* replace;  // nullptr: the line is deleted; "": it is swapped with the next one
        unsigned line;
        const char* message;
    } cases[] = {
        {e0 + 100, "100,5000;", e0 + 101, "entry 100 = 5000 outside the range 0..4095"},
        {e0 + 7, nullptr, e0 + 8, "entry 8 where entry 7 is expected"},
        {e0 + 20, "", e0 + 21, "entry 21 where entry 20 is expected"},
        {7, "nrOfElements=100;", 8, "nrOfElements=100 but the file has 4096 entries"},
        {4, "[red]", 5, "unknown section [red]"},
        {e0 + 10, "10;10;", e0 + 11, "not an entry line"},
        {0, "# something else", 1, "the file does not begin with"},
        {6, nullptr, 5, "key id missing"},  // on the section line
    };
    for (const Case& c : cases) {
        std::vector<std::string> ls = lutLines(4096);
        if (c.replace == nullptr)
            ls.erase(ls.begin() + c.at);
        else if (*c.replace == '\0')
            std::swap(ls[c.at], ls[c.at + 1]);
        else
            ls[c.at] = c.replace;
        writeFile("broken.lut", joined(ls));
        Outcome r = run("check broken.lut");
        EXPECT_RUN(r, 1);
        const std::string want = "broken.lut:" + std::to_string(c.line) + ": " + c.message;
        EXPECT_TRUE(contains(r.out, want)) << want << "\nin:\n" << r.out;
    }
}

TEST(ToolLoad, LoadReportsEachValueTheBoardDidNotTake) {
    std::vector<std::string> ls = savedDefaults();
    const unsigned width = lineOf(ls, "[Port A]", "FG_WIDTH"), format = lineOf(ls, "[Port B]", "FG_FORMAT");
    ls[width - 1] = "FG_WIDTH=99999;";
    ls[format - 1] = "FG_FORMAT=4;";
    ls[lineOf(ls, "[Port B]", "FG_HEIGHT") - 1] = "FG_HEIGHT=512;";
    writeFile("refused.mcf", joined(ls));
    Outcome r = run("-k load refused.mcf get FG_HEIGHT@1");
    EXPECT_RUN(r, 1);
    const std::string ws = std::to_string(width), fs = std::to_string(format);
    for (const std::string& part :
         {"warning: refused.mcf:" + ws + ": FG_WIDTH=99999 in [Port A]: outside the range",
          "load refused.mcf: FG_WIDTH=99999 in [Port A], line " + ws +
              ": refused (-6000 value outside its range or not in its enumeration, range 32..16384 step 16); the "
              "board keeps 1024",
          "FG_FORMAT=4 in [Port B], line " + fs + ": refused (-6000", std::string("the board keeps FG_GRAY (3)")})
        EXPECT_TRUE(contains(r.err, part)) << part << "\nin:\n" << r.err;
    EXPECT_FALSE(contains(r.err, "FG_HEIGHT")) << "a value the board took is not reported";
    EXPECT_EQ("configuration loaded from refused.mcf (2 values not taken)\nFG_HEIGHT@1 = 512\n", r.out);
}

TEST(ToolLoad, LutLoadReportsEntriesTheBoardReadDifferently) {
    // "11,7;" before the line of entry 1 is read by the board as entry 1
    // (the entry reader matches "1," anywhere in a line).
    std::vector<std::string> ls = lutLines(4096);
    ls.insert(ls.begin() + kFirstEntryLine, "11,7;");
    writeFile("shifted.lut", joined(ls));
    Outcome r = run("-k lut load shifted.lut --port 1");
    EXPECT_RUN(r, 1);
    const std::string at = std::to_string(kFirstEntryLine + 1), next = std::to_string(kFirstEntryLine + 2);
    EXPECT_TRUE(contains(r.err, "warning: shifted.lut:" + at + ": entry 11 where entry 1 is expected")) << r.err;
    EXPECT_TRUE(contains(r.err, "entry 1 = 4094 (line " + next + "): the board holds 7")) << r.err;
    // The file says twice what entry 11 is; the first line is taken as the file's word.
    EXPECT_TRUE(contains(r.err, "entry 11 = 7 (line " + at + "): the board holds 4084")) << r.err;
    EXPECT_TRUE(contains(r.out, "(2 entries not as in the file)")) << r.out;
}

// ---- version, completion and manual page --------------------------------------------

TEST(ToolDocuments, VersionCompletionAndManualPage) {
    Outcome v = run("--version");
    EXPECT_RUN(v, 0);
    EXPECT_EQ(0u, v.out.find("appletctl ")) << v.out;
    EXPECT_GT(v.out.size(), std::string("appletctl \n").size());

    const char* completion = std::getenv("APPLETCTL_COMPLETION");
    const char* manpage = std::getenv("APPLETCTL_MANPAGE");
    ASSERT_TRUE(completion && manpage);
    EXPECT_EQ(readFile(completion), run("--completion bash").out) << "the build tree holds the current script";
    struct Case {
        Args words;  // after the tool; the last one is completed
        const char* expected;
    } cases[] = {
        {"desc", "describe\n"},           {"get FG_WID", "FG_WIDTH\n"},
        {"set FG_XOFF", "FG_XOFFSET=\n"}, {"lut lo", "load\n"},
        {"list --po", "--port\n"},        {"help chec", "check\n"},
        {"get FG_WIDTH res", "reset\n"},  {{"xml", "--port", ""}, "0\n1\n"},
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
    EXPECT_TRUE(hasParts(
        m.out,
        "appletctl - drive a frame-grabber board|describe NAME[@P]|lut load FILE [--port P]|--keep-going|EXIT STATUS"));
    EXPECT_EQ("", runProgram({"/bin/sh", "-c", "groff -man -ww -z \"$0\" 2>&1", manpage}, "").out);
}

}  // namespace
