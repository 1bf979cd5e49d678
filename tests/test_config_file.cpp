// Camera configuration files: the written forms, the file rules and the
// lookups, including files the parser never wrote itself.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "Fg_ConfigFileParser.h"
#include "Fg_Log.h"

namespace {

// Each test works in a fresh directory below the working directory.
class ConfigFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::strcpy(m_dir, "orvcfgXXXXXX");
        ASSERT_NE(nullptr, mkdtemp(m_dir));
    }
    void TearDown() override
    {
        const std::string cmd = std::string("rm -rf ") + m_dir;
        ASSERT_EQ(0, std::system(cmd.c_str()));
    }
    std::string path(const std::string& name) const { return std::string(m_dir) + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const
    {
        const std::string p = path(name);
        std::FILE* f = std::fopen(p.c_str(), "wb");
        EXPECT_NE(nullptr, f);
        if (f != nullptr) {
            std::fwrite(content.data(), 1, content.size(), f);
            std::fclose(f);
        }
        return p;
    }
    static std::string read(const std::string& p)
    {
        std::string s;
        std::FILE* f = std::fopen(p.c_str(), "rb");
        if (f == nullptr)
            return "<missing>";
        int c;
        while ((c = std::fgetc(f)) != EOF)
            s.push_back(static_cast<char>(c));
        std::fclose(f);
        return s;
    }

    char m_dir[32];
};

// A log directed to a temporary stream (the parser's own reports).
class CapturedLog : public Fg_Log {
public:
    CapturedLog() : m_stream(std::tmpfile()) { attachStream(m_stream); }
    std::string text()
    {
        std::fflush(m_stream);
        std::rewind(m_stream);
        std::string s;
        int c;
        while ((c = std::fgetc(m_stream)) != EOF)
            s.push_back(static_cast<char>(c));
        return s;
    }

private:
    std::FILE* m_stream;
};

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

} // namespace

// ----------------------------------------------------------- file rules --

TEST_F(ConfigFile, TypeRuleLooksForTheExtensionAnywhere)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    EXPECT_TRUE(parser.checkFileType("camera.mcf"));
    EXPECT_TRUE(parser.checkFileType("camera.mcf.txt"));
    EXPECT_TRUE(parser.checkFileType("dir.mcf/camera"));
    EXPECT_FALSE(parser.checkFileType("camera.MCF"));
    EXPECT_FALSE(parser.checkFileType("camera_mcf"));
    EXPECT_FALSE(parser.checkFileType(""));
    EXPECT_FALSE(parser.checkFileType(nullptr));
}

TEST_F(ConfigFile, OpensOnlyExistingFilesOfTheRightType)
{
    const std::string good = write("a.mcf.txt", kSavedFile);
    const std::string upper = write("a.MCF", kSavedFile);
    {
        Fg_ConfigFileParser parser(nullptr, good.c_str(), true);
        EXPECT_TRUE(parser.isOpen());
        int port = -5;
        EXPECT_EQ(0, parser.parseIntKeyFromHeader("AktivePort", &port));
        EXPECT_EQ(0, port);
    }
    {
        Fg_ConfigFileParser parser(nullptr, upper.c_str(), true);
        EXPECT_FALSE(parser.isOpen());
        EXPECT_TRUE(parser.checkFileExist(upper.c_str()));
        char value[256];
        EXPECT_EQ(-8000, parser.parseKeyFromLine("Typ", value));
        EXPECT_STREQ("Error", value);
        int width = 7;
        EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_WIDTH", &width));
        EXPECT_EQ(7, width);
    }
    {
        const std::string missing = path("missing.mcf");
        Fg_ConfigFileParser parser(nullptr, missing.c_str(), false);
        EXPECT_FALSE(parser.isOpen());
        EXPECT_FALSE(parser.checkFileExist(missing.c_str()));
        EXPECT_FALSE(parser.checkFileExist(nullptr));
    }
}

TEST_F(ConfigFile, ReadWriteOpeningKeepsTheContent)
{
    const std::string p = write("rw.mcf", kSavedFile);
    {
        Fg_ConfigFileParser parser(nullptr, p.c_str(), false);
        ASSERT_TRUE(parser.isOpen());
        int width = 0;
        EXPECT_EQ(0, parser.parseIntKeySection(1, "FG_WIDTH", &width));
        EXPECT_EQ(2048, width);
    }
    EXPECT_EQ(kSavedFile, read(p));
}

TEST_F(ConfigFile, SaveFileNeedsTheTypeAndACreatableFile)
{
    CapturedLog log;
    Fg_ConfigFileParser parser(&log, nullptr, false);
    EXPECT_FALSE(parser.setSaveFile(path("camera.txt").c_str()));
    EXPECT_FALSE(parser.setSaveFile(path("no/such/dir/camera.mcf").c_str()));
    EXPECT_FALSE(parser.isOpen());
    EXPECT_EQ("korvaneIV::Error >> Config File is Invalid;\n"
              "korvaneIV::Error >> Config File: fopen failed;\n",
              log.text());

    const std::string p = write("old.mcf", "old content\n");
    EXPECT_TRUE(parser.setSaveFile(p.c_str()));
    EXPECT_EQ("", read(p));
}

// -------------------------------------------------------- written forms --

TEST_F(ConfigFile, WrittenFormsByteForByte)
{
    const std::string p = path("forms.mcf");
    {
        Fg_ConfigFileParser parser(nullptr, nullptr, false);
        ASSERT_TRUE(parser.setSaveFile(p.c_str()));
        parser.writeConfigFileHeader();
        parser.writeConfigFile("Hersteller", "Tervik");
        parser.writeConfigFileIntKey("AktivePort", 0);
        parser.writeConfigFilePortA();
        parser.writeConfigFileIntKey("FG_WIDTH", 1024);
        parser.writeConfigFileIntKey("FG_IMGTRIGGERINSRC", static_cast<int>(4294967295u));
        parser.writeConfigFileIntKey("MIN", -2147483647 - 1);
        parser.writeConfigFileUInt64Key("BIG", UINT64_C(18446744073709551615));
        parser.writeConfigFileDoubleKey("D200", 200.0);
        parser.writeConfigFileDoubleKey("D0112", 0.112);
        parser.writeConfigFileDoubleKey("DTHIRD", 1.0 / 3.0);
        parser.writeConfigFileDoubleKey("D01", 0.1);
        parser.writeConfigFileDoubleKey("D1E5", 1e-05);
        parser.writeConfigFileDoubleKey("D10240", 10240.0);
        parser.writeConfigFileDoubleKey("DNEG", -0.5);
        parser.writeConfigFileDoubleKey("DLARGE", 123456789012345.0);
        parser.writeConfigFile("FG_LUT_CUSTOM_FILE", "");
        parser.writeConfigFileValue("RAW", "x y");
        parser.writeConfigFilePortB();
        parser.writeConfigFileByPort(1);
    }
    EXPECT_EQ("[Kamerasektion]\n"
              "\n"
              "ConfigFileVersion=2.0;\n"
              "Hersteller='Tervik';\n"
              "AktivePort=0;\n"
              "\n"
              "[Port A]\n"
              "FG_WIDTH=1024;\n"
              "FG_IMGTRIGGERINSRC=-1;\n"
              "MIN=-2147483648;\n"
              "BIG=18446744073709551615;\n"
              "D200=200;\n"
              "D0112=0.112;\n"
              "DTHIRD=0.333333333333;\n"
              "D01=0.1;\n"
              "D1E5=1e-05;\n"
              "D10240=10240;\n"
              "DNEG=-0.5;\n"
              "DLARGE=1.23456789012e+14;\n"
              "FG_LUT_CUSTOM_FILE='';\n"
              "RAW=x y;\n"
              "\n"
              "[Port B]\n"
              "\n"
              "[Port B]\n",
              read(p));
}

TEST_F(ConfigFile, EveryWriteReachesTheFileAtOnce)
{
    const std::string p = path("flush.mcf");
    Fg_ConfigFileParser parser(nullptr, nullptr, false);
    ASSERT_TRUE(parser.setSaveFile(p.c_str()));
    parser.writeConfigFileHeader();
    parser.writeConfigFileIntKey("FG_WIDTH", 5);
    // Read while the parser still has the file open.
    EXPECT_EQ("[Kamerasektion]\n\nConfigFileVersion=2.0;\nFG_WIDTH=5;\n", read(p));
}

TEST_F(ConfigFile, WritingWithoutAFileDoesNothing)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, false);
    parser.writeConfigFileHeader();
    parser.writeConfigFile("K", "v");
    parser.writeConfigFile(nullptr, nullptr);
    parser.writeConfigFileIntKey("K", 1);
    parser.writeConfigFileDoubleKey("K", 1.0);
    parser.writeConfigFileUInt64Key("K", 1);
    parser.writeConfigFilePortA();
    EXPECT_FALSE(parser.isOpen());
}

TEST_F(ConfigFile, PortSectionTexts)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    EXPECT_EQ("[Port A]", parser.getPortString(0));
    EXPECT_EQ("[Port B]", parser.getPortString(1));
}

// ------------------------------------------------------------ round trip --

TEST_F(ConfigFile, WrittenValuesReadBack)
{
    const std::string p = path("round.mcf");
    {
        Fg_ConfigFileParser parser(nullptr, nullptr, false);
        ASSERT_TRUE(parser.setSaveFile(p.c_str()));
        parser.writeConfigFileHeader();
        parser.writeConfigFile("Typ", "Orvindel");
        parser.writeConfigFileIntKey("AktivePort", 0);
        for (int port = 0; port < 2; ++port) {
            parser.writeConfigFileByPort(port);
            parser.writeConfigFileIntKey("FG_WIDTH", 1024 + port);
            parser.writeConfigFileIntKey("FG_IMGTRIGGERINSRC", static_cast<int>(4294967295u));
            parser.writeConfigFileDoubleKey("FG_LINEPERIODE", port == 0 ? 0.1 : 1.0 / 3.0);
            parser.writeConfigFileUInt64Key("FG_COUNT", UINT64_C(12345678901234567890));
            parser.writeConfigFile("FG_LUT_CUSTOM_FILE", port == 0 ? "" : "/tmp/table.lut");
        }
    }
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    ASSERT_TRUE(parser.isOpen());
    char text[256];
    EXPECT_EQ(0, parser.parseKeyFromLine("Typ", text));
    EXPECT_STREQ("Orvindel", text);
    int active = -1;
    EXPECT_EQ(0, parser.parseIntKeyFromHeader("AktivePort", &active));
    EXPECT_EQ(0, active);
    for (int port = 0; port < 2; ++port) {
        SCOPED_TRACE(port);
        int width = 0;
        EXPECT_EQ(0, parser.parseIntKeySection(port, "FG_WIDTH", &width));
        EXPECT_EQ(1024 + port, width);
        int source = 0;
        EXPECT_EQ(0, parser.parseIntKeySection(port, "FG_IMGTRIGGERINSRC", &source));
        EXPECT_EQ(4294967295u, static_cast<std::uint32_t>(source));
        double period = 0;
        EXPECT_EQ(0, parser.parseDoubleKeySection(port, "FG_LINEPERIODE", &period));
        EXPECT_NEAR(port == 0 ? 0.1 : 1.0 / 3.0, period, 1e-12);
        std::uint64_t count = 0;
        EXPECT_EQ(0, parser.parseUInt64KeySection(port, "FG_COUNT", &count));
        EXPECT_EQ(UINT64_C(12345678901234567890), count);
        EXPECT_EQ(0, parser.parseKeySection(port, "FG_LUT_CUSTOM_FILE", text));
        EXPECT_STREQ(port == 0 ? "" : "/tmp/table.lut", text);
    }
}

// --------------------------------------------------------------- lookups --

TEST_F(ConfigFile, KeyMustBeFollowedByTheEqualsSign)
{
    const std::string p = write("prefix.mcf",
                                "[Port A]\n"
                                "FG_WIDTH_X=5;\n"
                                " FG_WIDTH=6;\n"
                                "FG_WIDTH =8;\n"
                                "FG_WIDTH=7;\n"
                                "FG_HEIGHT_MAX=9;\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 0;
    EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_WIDTH", &value));
    EXPECT_EQ(7, value);
    value = 42;
    EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_HEIGHT", &value));
    EXPECT_EQ(42, value);
    char text[256];
    EXPECT_EQ(-8000, parser.parseKeySection(0, "FG_HEIGHT", text));
    EXPECT_STREQ("Error", text);
}

TEST_F(ConfigFile, LookupRunsOnPastTheNextSection)
{
    const std::string p = write("runon.mcf",
                                "[Kamerasektion]\n"
                                "FG_ONLY_HEADER=1;\n"
                                "[Port A]\n"
                                "FG_WIDTH=1024;\n"
                                "[Port B]\n"
                                "FG_WIDTH=2048;\n"
                                "FG_HEIGHT=77;\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 0;
    // Port A lacks the key: Port B's value is found.
    EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_HEIGHT", &value));
    EXPECT_EQ(77, value);
    // The search starts after the section line, never before it.
    EXPECT_EQ(0, parser.parseIntKeySection(1, "FG_WIDTH", &value));
    EXPECT_EQ(2048, value);
    value = 5;
    EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_ONLY_HEADER", &value));
    EXPECT_EQ(5, value);
    // A section that is not in the file.
    EXPECT_EQ(-1, parser.parseIntKeySection(2, "FG_WIDTH", &value));
    char text[256];
    EXPECT_EQ(-8000, parser.parseKey("[Port C]", "FG_WIDTH", text));
    EXPECT_STREQ("Error", text);
}

TEST_F(ConfigFile, SectionIsFoundAnywhereInALine)
{
    const std::string p = write("anywhere.mcf",
                                "# copy of [Port B] settings\n"
                                "FG_WIDTH=64;\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 0;
    EXPECT_EQ(0, parser.parseIntKeySection(1, "FG_WIDTH", &value));
    EXPECT_EQ(64, value);
}

TEST_F(ConfigFile, ValueDelimiters)
{
    const std::string p = write("values.mcf",
                                "[Port A]\n"
                                "EMPTY=;\n"
                                "QUOTED='abc';\n"
                                "EMPTYTEXT='';\n"
                                "STOPS='a=b;c';\n"
                                "SPACE='a b';\n"
                                "NOSEMI=12\n"
                                "BARE=\n"
                                "LEAD==;'x;\n"
                                "NUMTEXT=abc;\n"
                                "ERR='No Error here';\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    char text[256];
    EXPECT_EQ(0, parser.parseKeySection(0, "EMPTY", text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "QUOTED", text));
    EXPECT_STREQ("abc", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "EMPTYTEXT", text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "STOPS", text));
    EXPECT_STREQ("a", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "SPACE", text));
    EXPECT_STREQ("a b", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "NOSEMI", text));
    EXPECT_STREQ("12", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "BARE", text));
    EXPECT_STREQ("", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "LEAD", text));
    EXPECT_STREQ("x", text);

    int i = 99;
    EXPECT_EQ(0, parser.parseIntKeySection(0, "EMPTY", &i));
    EXPECT_EQ(0, i);
    double d = 99.0;
    EXPECT_EQ(0, parser.parseDoubleKeySection(0, "EMPTY", &d));
    EXPECT_EQ(0.0, d);
    i = 99;
    EXPECT_EQ(0, parser.parseIntKeySection(0, "NUMTEXT", &i));
    EXPECT_EQ(0, i);
    i = 99;
    EXPECT_EQ(0, parser.parseIntKeySection(0, "NOSEMI", &i));
    EXPECT_EQ(12, i);
    // A value containing the word Error reads as a missing key.
    i = 99;
    EXPECT_EQ(-1, parser.parseIntKeySection(0, "ERR", &i));
    EXPECT_EQ(99, i);
}

TEST_F(ConfigFile, NullArgumentsAreRefused)
{
    const std::string p = write("null.mcf", kSavedFile);
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    char text[256];
    int i = 0;
    double d = 0;
    std::uint64_t u = 0;
    EXPECT_EQ(-1, parser.parseKeySection(0, nullptr, text));
    EXPECT_EQ(-1, parser.parseIntKeySection(0, nullptr, &i));
    EXPECT_EQ(-1, parser.parseDoubleKeySection(0, nullptr, &d));
    EXPECT_EQ(-1, parser.parseUInt64KeySection(0, nullptr, &u));
    EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_WIDTH", nullptr));
    EXPECT_EQ(-8000, parser.parseKey(nullptr, "FG_WIDTH", text));
    EXPECT_EQ(-8000, parser.parseKey("[Port A]", "FG_WIDTH", nullptr));
    EXPECT_EQ(-8000, parser.parseKeyFromLine(nullptr, text));
    EXPECT_EQ(-8000, parser.parseKeyFromLine("Typ", nullptr));
    EXPECT_EQ(-1, parser.parseIntKeyFromHeader(nullptr, &i));
}

TEST_F(ConfigFile, HeaderLookupIsBySubstring)
{
    const std::string p = write("header.mcf", kSavedFile);
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    char text[256];
    EXPECT_EQ(0, parser.parseKeyFromLine("Hersteller", text));
    EXPECT_STREQ("Tervik", text);
    EXPECT_EQ(0, parser.parseKeyFromLine("Typ", text));
    EXPECT_STREQ("Orvindel", text);
    // "Version" first occurs inside the file-version line.
    EXPECT_EQ(0, parser.parseKeyFromLine("Version", text));
    EXPECT_STREQ("2.0;", text);
    // Any line may answer, also one far below the header.
    EXPECT_EQ(0, parser.parseKeyFromLine("LUT_CUSTOM", text));
    EXPECT_STREQ(";", text);
    EXPECT_EQ(-8000, parser.parseKeyFromLine("Seriennummer", text));
    EXPECT_STREQ("Error", text);
}

TEST_F(ConfigFile, HeaderIntegerNeedsTheHeaderSection)
{
    const std::string p = write("noheader.mcf", "[Port A]\nAktivePort=1;\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 9;
    EXPECT_EQ(-1, parser.parseIntKeyFromHeader("AktivePort", &value));
    EXPECT_EQ(9, value);
}

TEST_F(ConfigFile, CarriageReturnLineEnds)
{
    std::string crlf;
    for (const char* c = kSavedFile; *c != '\0'; ++c) {
        if (*c == '\n')
            crlf += '\r';
        crlf += *c;
    }
    const std::string p = write("crlf.mcf", crlf);
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 9;
    // "[Kamerasektion]\r\n" does not contain "[Kamerasektion]\n".
    EXPECT_EQ(-1, parser.parseIntKeyFromHeader("AktivePort", &value));
    EXPECT_EQ(9, value);
    char text[256];
    EXPECT_EQ(0, parser.parseKeyFromLine("Typ", text));
    EXPECT_STREQ("Orvindel", text);
    EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_WIDTH", &value));
    EXPECT_EQ(1024, value);
    EXPECT_EQ(0, parser.parseIntKeySection(1, "FG_WIDTH", &value));
    EXPECT_EQ(2048, value);
    double d = 0;
    EXPECT_EQ(0, parser.parseDoubleKeySection(1, "FG_LINEPERIODE", &d));
    EXPECT_DOUBLE_EQ(0.333333333333, d);
    EXPECT_EQ(0, parser.parseKeySection(1, "FG_LUT_CUSTOM_FILE", text));
    EXPECT_STREQ("/tmp/table.lut", text);
    EXPECT_EQ(0, parser.parseKeySection(0, "FG_LUT_CUSTOM_FILE", text));
    EXPECT_STREQ("", text);
}

TEST_F(ConfigFile, LongLinesAreReadIn255CharacterPieces)
{
    const std::string filler(255, 'x');
    const std::string longText(400, 'v');
    const std::string p = write("long.mcf",
                                "[Port A]\n" +
                                filler + "FG_WIDTH=9;\n" +             // continuation piece
                                "FG_TEXT='" + longText + "';\n" +
                                "FG_HEIGHT=" + std::string(300, '1') + ";\n");
    Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
    int value = 0;
    EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_WIDTH", &value));
    EXPECT_EQ(9, value);
    char text[256];
    EXPECT_EQ(0, parser.parseKeySection(0, "FG_TEXT", text));
    EXPECT_EQ(std::string(255 - std::strlen("FG_TEXT='"), 'v'), text);
    EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_HEIGHT", &value));
    EXPECT_EQ(2147483647, value);  // saturated

    // A section line split over two pieces is found in its second piece.
    const std::string q = write("longsection.mcf", filler + "[Port B]\nFG_WIDTH=3;\n");
    Fg_ConfigFileParser second(nullptr, q.c_str(), true);
    EXPECT_EQ(0, second.parseIntKeySection(1, "FG_WIDTH", &value));
    EXPECT_EQ(3, value);
}

TEST_F(ConfigFile, AwkwardFilesAreHarmless)
{
    int value = 0;
    char text[256];
    {
        const std::string p = write("empty.mcf", "");
        Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
        EXPECT_TRUE(parser.isOpen());
        EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_WIDTH", &value));
        EXPECT_EQ(-8000, parser.parseKeyFromLine("Typ", text));
    }
    {
        const std::string p = write("nonewline.mcf", "[Port A]\nFG_WIDTH=5");
        Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
        EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_WIDTH", &value));
        EXPECT_EQ(5, value);
    }
    {
        const std::string p = write("nul.mcf", std::string("[Port A]\nFG_A=1;\0junk\nFG_B=2;\n\0\0\0", 32));
        Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
        EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_A", &value));
        EXPECT_EQ(1, value);
        EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_B", &value));
        EXPECT_EQ(2, value);
        EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_C", &value));
    }
    {
        std::string noise;
        std::uint32_t x = 12345;
        for (int i = 0; i < 100000; ++i) {
            x = x * 1103515245u + 12345u;
            noise.push_back(static_cast<char>(x >> 24));
        }
        const std::string p = write("noise.mcf", "[Port A]\n" + noise + "\nFG_WIDTH=11;\n");
        Fg_ConfigFileParser parser(nullptr, p.c_str(), true);
        EXPECT_EQ(0, parser.parseIntKeySection(0, "FG_WIDTH", &value));
        EXPECT_EQ(11, value);
        EXPECT_EQ(-1, parser.parseIntKeySection(0, "FG_NOTHERE", &value));
        parser.parseKeyFromLine("=", text);
        EXPECT_LT(std::strlen(text), 256u);
    }
}

// ----------------------------------------------------------- conversion --

TEST(ConfigConversion, IntegerRules)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    int v = 1;
    EXPECT_EQ(0, parser.getIntValue("  -12abc", &v));
    EXPECT_EQ(-12, v);
    EXPECT_EQ(0, parser.getIntValue("+7", &v));
    EXPECT_EQ(7, v);
    EXPECT_EQ(0, parser.getIntValue("abc", &v));
    EXPECT_EQ(0, v);
    EXPECT_EQ(0, parser.getIntValue("", &v));
    EXPECT_EQ(0, v);
    EXPECT_EQ(0, parser.getIntValue("4294967295", &v));
    EXPECT_EQ(2147483647, v);
    EXPECT_EQ(0, parser.getIntValue("-99999999999", &v));
    EXPECT_EQ(-2147483647 - 1, v);
}

TEST(ConfigConversion, UnsignedRulesLeaveTheTargetOnFailure)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    std::uint64_t v = 17;
    EXPECT_EQ(0, parser.getUInt64Value("abc", &v));
    EXPECT_EQ(17u, v);
    EXPECT_EQ(0, parser.getUInt64Value("", &v));
    EXPECT_EQ(17u, v);
    EXPECT_EQ(0, parser.getUInt64Value(" 18446744073709551615;", &v));
    EXPECT_EQ(UINT64_C(18446744073709551615), v);
    EXPECT_EQ(0, parser.getUInt64Value("42x", &v));
    EXPECT_EQ(42u, v);
}

TEST(ConfigConversion, DoubleRules)
{
    Fg_ConfigFileParser parser(nullptr, nullptr, true);
    double v = 1;
    EXPECT_EQ(0, parser.getDoubleValue("1.5e3x", &v));
    EXPECT_EQ(1500.0, v);
    EXPECT_EQ(0, parser.getDoubleValue("nonsense", &v));
    EXPECT_EQ(0.0, v);
    EXPECT_EQ(0, parser.getDoubleValue(" -0.25", &v));
    EXPECT_EQ(-0.25, v);
}
