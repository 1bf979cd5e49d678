// Camera configuration files: the written forms, the file rules and the
// lookups, including files the parser never wrote itself.

#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>

#include "Fg_ConfigFileParser.h"
#include "support_files.h"

using supporttest::CapturedLog;

namespace {

class ConfigFile : public supporttest::ScratchDir {
protected:
    // A parser reading a file of the given content.
    std::unique_ptr<Fg_ConfigFileParser> open(const std::string& content) {
        const std::string p = write("test.mcf", content);
        return std::unique_ptr<Fg_ConfigFileParser>(new Fg_ConfigFileParser(nullptr, p.c_str(), true));
    }
};

int lookup(Fg_ConfigFileParser& p, int port, const char* key, int* v) { return p.parseIntKeySection(port, key, v); }
int lookup(Fg_ConfigFileParser& p, int port, const char* key, double* v) {
    return p.parseDoubleKeySection(port, key, v);
}
int lookup(Fg_ConfigFileParser& p, int port, const char* key, std::uint64_t* v) {
    return p.parseUInt64KeySection(port, key, v);
}

// A numeric lookup in a port section: the value found, or the failure code
// followed by the target, which must be untouched (it starts as 4242).
template <typename T = int>
std::string value(Fg_ConfigFileParser& p, int port, const char* key) {
    T v = T(4242);
    const int rc = lookup(p, port, key, &v);
    std::ostringstream out;
    out.precision(12);
    if (rc != 0) out << "rc " << rc << " ";
    out << v;
    return out.str();
}

// A text lookup (in a port section, or by the header rule for port -1): the
// text found, or the failure code followed by the text stored.
std::string text(Fg_ConfigFileParser& p, int port, const char* key) {
    char buf[256] = "untouched";
    const int rc = port < 0 ? p.parseKeyFromLine(key, buf) : p.parseKeySection(port, key, buf);
    return rc == 0 ? std::string(buf) : "rc " + std::to_string(rc) + " " + buf;
}

std::string headerInt(Fg_ConfigFileParser& p, const char* key) {
    int v = 4242;
    const int rc = p.parseIntKeyFromHeader(key, &v);
    return (rc == 0 ? "" : "rc " + std::to_string(rc) + " ") + std::to_string(v);
}

const char kSavedFile[] =
    "[Kamerasektion]\n"
    "\n"
    "ConfigFileVersion=2.0;\n"
    "Hersteller='Tervik';\n"
    "Typ='Orvindel';\n"
    "Version='3.0.2.4';\n"
    "LoadAppletId=41;\n"
    "AktivePort=0;\n"
    "\n"
    "[Port A]\n"
    "FG_WIDTH=1024;\n"
    "FG_LINEPERIODE=200;\n"
    "FG_IMGTRIGGERINSRC=-1;\n"
    "FG_LUT_CUSTOM_FILE='';\n"
    "\n"
    "[Port B]\n"
    "FG_WIDTH=2048;\n"
    "FG_LINEPERIODE=0.333333333333;\n"
    "FG_IMGTRIGGERINSRC=3;\n"
    "FG_LUT_CUSTOM_FILE='/tmp/table.lut';\n";

}  // namespace

// ----------------------------------------------------------- file rules --

TEST_F(ConfigFile, OpensOnlyExistingFilesWithTheExtensionAnywhereInTheName) {
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    for (const char* name : {"camera.mcf", "camera.mcf.txt", "dir.mcf/camera"}) EXPECT_TRUE(parser.checkFileType(name));
    for (const char* name : {"camera.MCF", "camera_mcf", "", static_cast<const char*>(nullptr)})
        EXPECT_FALSE(parser.checkFileType(name)) << (name ? name : "NULL");

    const std::string upper = write("a.MCF", kSavedFile);
    Fg_ConfigFileParser wrongType(nullptr, upper.c_str(), true);
    EXPECT_FALSE(wrongType.isOpen());
    EXPECT_TRUE(wrongType.checkFileExist(upper.c_str()));
    // without a file every lookup fails and leaves its target
    EXPECT_EQ("rc -8000 Error", text(wrongType, -1, "Typ"));
    EXPECT_EQ("rc -1 4242", value(wrongType, 0, "FG_WIDTH"));

    // opening a missing file for writing does not create it
    const std::string missing = path("missing.mcf");
    Fg_ConfigFileParser notThere(nullptr, missing.c_str(), false);
    EXPECT_FALSE(notThere.isOpen());
    EXPECT_FALSE(notThere.checkFileExist(missing.c_str()));
    EXPECT_FALSE(notThere.checkFileExist(nullptr));

    // opening an existing file for writing keeps its content
    const std::string p = write("rw.mcf", kSavedFile);
    {
        Fg_ConfigFileParser parser(nullptr, p.c_str(), false);
        ASSERT_TRUE(parser.isOpen());
        EXPECT_EQ("2048", value(parser, 1, "FG_WIDTH"));
    }
    EXPECT_EQ(kSavedFile, read(p));
}

TEST_F(ConfigFile, SaveFileNeedsTheTypeAndACreatableFile) {
    CapturedLog log;
    Fg_ConfigFileParser parser(&log, nullptr, false);
    EXPECT_FALSE(parser.setSaveFile(path("camera.txt").c_str()));
    EXPECT_FALSE(parser.setSaveFile(path("no/such/dir/camera.mcf").c_str()));
    EXPECT_FALSE(parser.isOpen());
    // writing without a file does nothing
    parser.writeConfigFileHeader();
    parser.writeConfigFile("K", "v");
    parser.writeConfigFile(nullptr, nullptr);
    parser.writeConfigFileIntKey("K", 1);
    parser.writeConfigFileDoubleKey("K", 1.0);
    parser.writeConfigFileUInt64Key("K", 1);
    parser.writeConfigFilePortA();
    EXPECT_FALSE(parser.isOpen());
    EXPECT_EQ(
        "korvaneIV::Error >> Config File is Invalid;\n"
        "korvaneIV::Error >> Config File: fopen failed;\n",
        log.text());
    const std::string p = write("old.mcf", "old content\n");
    EXPECT_TRUE(parser.setSaveFile(p.c_str()));
    EXPECT_EQ("old content\n", read(p)) << "replaced only when the save is finished";
    EXPECT_TRUE(parser.finishSave());
    EXPECT_EQ("", read(p));
}

// -------------------------------------------------------- written forms --

TEST_F(ConfigFile, WrittenFormsByteForByteOnceTheParserEnds) {
    const std::string p = path("forms.mcf");
    {
        Fg_ConfigFileParser parser(nullptr, nullptr, false);
        ASSERT_TRUE(parser.setSaveFile(p.c_str()));
        parser.writeConfigFileHeader();
        parser.writeConfigFile("Hersteller", "Tervik");
        parser.writeConfigFileIntKey("AktivePort", 0);
        EXPECT_EQ("<missing>", read(p)) << "no file before the save is finished";
        parser.writeConfigFilePortA();
        parser.writeConfigFileIntKey("FG_WIDTH", 1024);
        parser.writeConfigFileIntKey("FG_IMGTRIGGERINSRC", static_cast<int>(4294967295u));
        parser.writeConfigFileIntKey("MIN", -2147483647 - 1);
        parser.writeConfigFileUInt64Key("BIG", UINT64_C(18446744073709551615));
        const struct {
            const char* key;
            double value;
        } doubles[] = {{"D200", 200.0}, {"D0112", 0.112},    {"DTHIRD", 1.0 / 3.0}, {"D01", 0.1},
                       {"D1E5", 1e-05}, {"D10240", 10240.0}, {"DNEG", -0.5},        {"DLARGE", 123456789012345.0}};
        for (const auto& d : doubles) parser.writeConfigFileDoubleKey(d.key, d.value);
        parser.writeConfigFile("FG_LUT_CUSTOM_FILE", "");
        parser.writeConfigFileValue("RAW", "x y");
        parser.writeConfigFilePortB();
        parser.writeConfigFileByPort(1);
    }
    EXPECT_EQ(
        "[Kamerasektion]\n\nConfigFileVersion=2.0;\nHersteller='Tervik';\nAktivePort=0;\n"
        "\n[Port A]\n"
        "FG_WIDTH=1024;\nFG_IMGTRIGGERINSRC=-1;\nMIN=-2147483648;\nBIG=18446744073709551615;\n"
        "D200=200;\nD0112=0.112;\nDTHIRD=0.333333333333;\nD01=0.1;\nD1E5=1e-05;\nD10240=10240;\n"
        "DNEG=-0.5;\nDLARGE=1.23456789012e+14;\n"
        "FG_LUT_CUSTOM_FILE='';\nRAW=x y;\n"
        "\n[Port B]\n"
        "\n[Port B]\n",
        read(p));
}

// --------------------------------------------------------------- lookups --

TEST_F(ConfigFile, KeyMustBeFollowedByTheEqualsSign) {
    auto parser = open("[Port A]\nFG_WIDTH_X=5;\n FG_WIDTH=6;\nFG_WIDTH =8;\nFG_WIDTH=7;\nFG_HEIGHT_MAX=9;\n");
    EXPECT_EQ("7", value(*parser, 0, "FG_WIDTH"));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "FG_HEIGHT"));
    EXPECT_EQ("rc -8000 Error", text(*parser, 0, "FG_HEIGHT"));
}

TEST_F(ConfigFile, SectionIsFoundAnywhereInALineAndTheLookupRunsOnPastTheNextSection) {
    auto parser = open(
        "[Kamerasektion]\nFG_ONLY_HEADER=1;\n[Port A]\nFG_WIDTH=1024;\n# copy of [Port B] settings\n"
        "FG_WIDTH=2048;\nFG_HEIGHT=77;\n");
    EXPECT_EQ("77", value(*parser, 0, "FG_HEIGHT")) << "Port A lacks the key: Port B's value is found";
    EXPECT_EQ("2048", value(*parser, 1, "FG_WIDTH")) << "the search starts after the section line";
    EXPECT_EQ("2048", value<std::uint64_t>(*parser, 1, "FG_WIDTH"));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "FG_ONLY_HEADER"));
    EXPECT_EQ("rc -1 4242", value(*parser, 2, "FG_WIDTH")) << "a section that is not in the file";
    char buf[256];
    EXPECT_EQ(-8000, parser->parseKey("[Port C]", "FG_WIDTH", buf));
    EXPECT_STREQ("Error", buf);
}

TEST_F(ConfigFile, ValueDelimiters) {
    auto parser = open(
        "[Port A]\nEMPTY=;\nQUOTED='abc';\nEMPTYTEXT='';\nSTOPS='a=b;c';\nSPACE='a b';\nNOSEMI=12\n"
        "BARE=\nLEAD==;'x;\nNUMTEXT=abc;\nERR='No Error here';\n");
    const struct {
        const char* key;
        const char* text;
    } texts[] = {{"EMPTY", ""},    {"QUOTED", "abc"}, {"EMPTYTEXT", ""}, {"STOPS", "a"},
                 {"SPACE", "a b"}, {"NOSEMI", "12"},  {"BARE", ""},      {"LEAD", "x"}};
    for (const auto& c : texts) EXPECT_EQ(c.text, text(*parser, 0, c.key)) << c.key;
    EXPECT_EQ("0", value(*parser, 0, "EMPTY"));
    EXPECT_EQ("0", value<double>(*parser, 0, "EMPTY"));
    EXPECT_EQ("0", value(*parser, 0, "NUMTEXT"));
    EXPECT_EQ("12", value(*parser, 0, "NOSEMI"));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "ERR")) << "a value containing the word Error reads as a missing key";
}

TEST_F(ConfigFile, NullArgumentsAreRefused) {
    auto parser = open(kSavedFile);
    char buf[256];
    EXPECT_EQ(-1, parser->parseKeySection(0, nullptr, buf));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, nullptr));
    EXPECT_EQ("rc -1 4242", value<double>(*parser, 0, nullptr));
    EXPECT_EQ("rc -1 4242", value<std::uint64_t>(*parser, 0, nullptr));
    EXPECT_EQ(-1, parser->parseIntKeySection(0, "FG_WIDTH", nullptr));
    EXPECT_EQ(-8000, parser->parseKey(nullptr, "FG_WIDTH", buf));
    EXPECT_EQ(-8000, parser->parseKey("[Port A]", "FG_WIDTH", nullptr));
    EXPECT_EQ(-8000, parser->parseKeyFromLine(nullptr, buf));
    EXPECT_EQ(-8000, parser->parseKeyFromLine("Typ", nullptr));
    EXPECT_EQ("rc -1 4242", headerInt(*parser, nullptr));
}

TEST_F(ConfigFile, HeaderLookupIsBySubstringAndTheHeaderIntegerNeedsTheHeaderSection) {
    auto parser = open(kSavedFile);
    EXPECT_EQ("Tervik", text(*parser, -1, "Hersteller"));
    EXPECT_EQ("Orvindel", text(*parser, -1, "Typ"));
    EXPECT_EQ("2.0;", text(*parser, -1, "Version")) << "first found inside the file-version line";
    EXPECT_EQ(";", text(*parser, -1, "LUT_CUSTOM")) << "any line may answer, also one far below the header";
    EXPECT_EQ("rc -8000 Error", text(*parser, -1, "Seriennummer"));
    auto noHeader = open("[Port A]\nAktivePort=1;\n");
    EXPECT_EQ("rc -1 4242", headerInt(*noHeader, "AktivePort"));
}

TEST_F(ConfigFile, LongLinesAreReadIn255CharacterPieces) {
    const std::string filler(255, 'x');
    auto parser = open("[Port A]\n" + filler + "FG_WIDTH=9;\n" +  // continuation piece
                       "FG_TEXT='" + std::string(400, 'v') + "';\nFG_HEIGHT=" + std::string(300, '1') + ";\n");
    EXPECT_EQ("9", value(*parser, 0, "FG_WIDTH"));
    EXPECT_EQ(std::string(255 - std::strlen("FG_TEXT='"), 'v'), text(*parser, 0, "FG_TEXT"));
    EXPECT_EQ("2147483647", value(*parser, 0, "FG_HEIGHT"));  // saturated
    // A section line split over two pieces is found in its second piece.
    auto second = open(filler + "[Port B]\nFG_WIDTH=3;\n");
    EXPECT_EQ("3", value(*second, 1, "FG_WIDTH"));
}

TEST_F(ConfigFile, AwkwardFilesAreHarmless) {
    auto parser = open("");
    EXPECT_TRUE(parser->isOpen());
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "FG_WIDTH"));
    EXPECT_EQ("rc -8000 Error", text(*parser, -1, "Typ"));
    parser = open("[Port A]\nFG_WIDTH=5");
    EXPECT_EQ("5", value(*parser, 0, "FG_WIDTH"));
    parser = open(std::string("[Port A]\nFG_A=1;\0junk\nFG_B=2;\n\0\0\0", 32));
    EXPECT_EQ("1", value(*parser, 0, "FG_A"));
    EXPECT_EQ("2", value(*parser, 0, "FG_B"));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "FG_C"));
    std::string noise;
    for (std::uint32_t i = 0, x = 12345; i < 100000; ++i)
        noise.push_back(static_cast<char>((x = x * 1103515245u + 12345u) >> 24));
    parser = open("[Port A]\n" + noise + "\nFG_WIDTH=11;\n");
    EXPECT_EQ("11", value(*parser, 0, "FG_WIDTH"));
    EXPECT_EQ("rc -1 4242", value(*parser, 0, "FG_NOTHERE"));
    char buf[256];
    parser->parseKeyFromLine("=", buf);
    EXPECT_LT(std::strlen(buf), 256u);
}

// ----------------------------------------------------------- conversion --

TEST(ConfigConversion, IntegerUnsignedAndDoubleRules) {
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    // What each conversion makes of a text, starting from 17 (a failed
    // unsigned conversion leaves it).
    const struct {
        char kind;  // 'i' int, 'u' unsigned 64-bit, 'd' double
        const char* text;
        const char* value;
    } cases[] = {
        {'i', "  -12abc", "-12"},
        {'i', "+7", "7"},
        {'i', "abc", "0"},
        {'i', "", "0"},
        {'i', "4294967295", "2147483647"},
        {'i', "-99999999999", "-2147483648"},
        {'u', "abc", "17"},
        {'u', "", "17"},
        {'u', " 18446744073709551615;", "18446744073709551615"},
        {'u', "42x", "42"},
        {'d', "1.5e3x", "1500"},
        {'d', "nonsense", "0"},
        {'d', " -0.25", "-0.25"},
    };
    for (const auto& c : cases) {
        int i = 17;
        std::uint64_t u = 17;
        double d = 17;
        EXPECT_EQ(0, c.kind == 'i'   ? parser.getIntValue(c.text, &i)
                     : c.kind == 'u' ? parser.getUInt64Value(c.text, &u)
                                     : parser.getDoubleValue(c.text, &d));
        std::ostringstream out;
        out.precision(12);
        c.kind == 'i' ? out << i : c.kind == 'u' ? out << u : out << d;
        EXPECT_EQ(c.value, out.str()) << c.kind << " '" << c.text << "'";
    }
}
