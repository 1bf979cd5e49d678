// Lookup-table files: every written form, reading back, and the lenient
// reading rules on hand-made, truncated and hostile files.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Fg_LutFileParser.h"

namespace {

class LutFile : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::strcpy(m_dir, "orvlutXXXXXX");
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

// A table record that owns entries given by the test (not by the reader).
struct Table {
    explicit Table(std::vector<unsigned int> v, unsigned int id = 3, unsigned int format = 0,
                   unsigned char number = 0)
        : entries(std::move(v))
    {
        t.lut = entries.data();
        t.id = id;
        t.nrOfElements = static_cast<unsigned int>(entries.size());
        t.format = format;
        t.number = number;
    }
    std::vector<unsigned int> entries;
    LookupTable t;
};

struct Knee {
    explicit Knee(std::vector<double> v) : entries(std::move(v))
    {
        t.value = entries.data();
        t.reserved = nullptr;
        t.id = 0;
        t.nrOfElements = static_cast<unsigned int>(entries.size());
        t.format = 0;
        t.number = 0;
    }
    std::vector<double> entries;
    KneeLookupTable t;
};

// A table record filled by the reader; releases what the reader allocated.
struct ReadTable {
    ReadTable() { std::memset(&t, 0, sizeof t); }
    ~ReadTable() { Fg_LutFileParser::releaseLut(&t); }
    std::vector<unsigned int> entries() const
    {
        return t.lut != nullptr ? std::vector<unsigned int>(t.lut, t.lut + t.nrOfElements)
                                : std::vector<unsigned int>();
    }
    LookupTable t;
};

struct ReadKnee {
    explicit ReadKnee(unsigned int n) { std::memset(&t, 0, sizeof t); t.nrOfElements = n; }
    ~ReadKnee() { Fg_LutFileParser::releaseLut(&t); }
    std::vector<double> entries() const
    {
        return t.value != nullptr ? std::vector<double>(t.value, t.value + t.nrOfElements)
                                  : std::vector<double>();
    }
    KneeLookupTable t;
};

} // namespace

// --------------------------------------------------------- written forms --

TEST_F(LutFile, SingleTableForm)
{
    Table table({0, 7, 4095});
    const std::string p = path("single.lut");
    {
        Fg_LutFileParser parser;
        ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &table.t));
    }
    EXPECT_EQ("# Lut data file v1.1\n\n\n\n"
              "[gray]\n\n"
              "id=3;\n"
              "nrOfElements=3;\n"
              "format=0;\n"
              "number=0;\n"
              "0,0;\n"
              "1,7;\n"
              "2,4095;\n",
              read(p));
}

TEST_F(LutFile, IdentityTableBeginsAndEndsAsDocumented)
{
    std::vector<unsigned int> identity(4096);
    for (unsigned int i = 0; i < 4096; ++i)
        identity[i] = i;
    Table table(identity);
    const std::string p = path("identity.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &table.t));
    const std::string text = read(p);
    const std::string head =
        "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n0,0;\n1,1;\n";
    EXPECT_EQ(head, text.substr(0, head.size()));
    const std::string tail = "4094,4094;\n4095,4095;\n";
    EXPECT_EQ(tail, text.substr(text.size() - tail.size()));
}

TEST_F(LutFile, SingleTableKeysPrintNumbersAsIntegers)
{
    Table table({1}, 4000000000u, 2, 255);
    const std::string p = path("keys.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &table.t));
    EXPECT_EQ("# Lut data file v1.1\n\n\n\n[gray]\n\n"
              "id=-294967296;\nnrOfElements=1;\nformat=2;\nnumber=255;\n0,1;\n",
              read(p));
}

TEST_F(LutFile, ThreeChannelForm)
{
    Table red({1, 2}, 3), green({3}, 4), blue({}, 5, 1, 9);
    const std::string p = path("rgb.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red.t, &green.t, &blue.t));
    EXPECT_EQ("# Lut data file v1.1\n\n[red]\n\n"
              "id=3;\nnrOfElements=2;\nformat=0;\nnumber=0;\n0,1;\n1,2;\n"
              "\n\n[green]\n\n"
              "id=4;\nnrOfElements=1;\nformat=0;\nnumber=0;\n0,3;\n"
              "\n\n[blue]\n\n"
              "id=5;\nnrOfElements=0;\nformat=1;\nnumber=9;\n",
              read(p));
}

TEST_F(LutFile, KneeForms)
{
    Knee knee({0.0, 0.5, 1.0 / 3.0, -2.25});
    const std::string single = path("knee.lut");
    const std::string triple = path("knee3.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(single.c_str(), &knee.t, "[gray]"));
    EXPECT_EQ("# KneeLut data file v1.0\n\n[gray]\n\n"
              "0,0.000000000000;\n"
              "1,0.500000000000;\n"
              "2,0.333333333333;\n"
              "3,-2.250000000000;\n",
              read(single));

    Knee r({1.0}), g({2.0}), b({0.125});
    ASSERT_EQ(0, parser.saveLutToFile(triple.c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ("# KneeLut data file v1.1\n\n[red]\n\n0,1.000000000000;\n"
              "\n\n[green]\n\n0,2.000000000000;\n"
              "\n\n[blue]\n\n0,0.125000000000;\n",
              read(triple));
}

TEST_F(LutFile, MatrixForm)
{
    const int values[3] = {5, -1, 70000};
    const std::string p = path("matrix.txt");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveMatrixToFile(p.c_str(), "# matrix\n", values, 3));
    EXPECT_EQ("# matrix\nnrOfElements=3;\n0,5;\n1,-1;\n2,70000;\n", read(p));
    int back[3] = {0, 0, 0};
    EXPECT_EQ(-1, parser.getMatrixFromFile(p.c_str(), back, 3));
}

TEST_F(LutFile, KeyAndValueWriters)
{
    const std::string p = path("writers.lut");
    Fg_LutFileParser parser;
    ASSERT_TRUE(parser.setSaveFile(p.c_str()));
    parser.writeLutFileHeader("head\n");
    parser.writeLutFileValue("name", "text", ":");
    parser.writeIntKey("i", -3, "=");
    parser.writeDoubleKey("d", 0.1, "=");
    parser.writeDoubleKey("e", 1e-05, "=");
    parser.writeDoubleKey("f", 10240.0, "=");
    parser.writeIntInt(2, 9, ",");
    parser.writeIntDouble(3, 0.1, ",");
    // Every write is flushed: the file shows it while still open.
    EXPECT_EQ("head\nname:text;\ni=-3;\nd=0.1;\ne=1e-05;\nf=10240;\n2,9;\n3,0.100000000000;\n", read(p));
}

TEST_F(LutFile, CreationFailures)
{
    Table table({1, 2});
    Fg_LutFileParser parser;
    EXPECT_EQ(-1, parser.saveLutToFile(path("no/dir/x.lut").c_str(), &table.t));
    EXPECT_EQ(-1, parser.saveLutToFile(path("null.lut").c_str(), static_cast<const LookupTable*>(nullptr)));
    EXPECT_EQ(-1, parser.saveLutToFile(nullptr, &table.t));
    table.t.lut = nullptr;
    EXPECT_EQ(-1, parser.saveLutToFile(path("nolut.lut").c_str(), &table.t));
    EXPECT_EQ(-1, parser.saveMatrixToFile(path("m.txt").c_str(), "h", nullptr, 2));
    EXPECT_EQ(-1, parser.saveMatrixToFile(path("no/dir/m.txt").c_str(), "h", nullptr, 0));
}

// ------------------------------------------------------------- read back --

TEST_F(LutFile, SingleTableReadsBack)
{
    Table table({0, 1, 4095, 17, 2048}, 7, 2, 200);
    const std::string p = path("back.lut");
    Fg_LutFileParser writer;
    ASSERT_EQ(0, writer.saveLutToFile(p.c_str(), &table.t));

    ReadTable back;
    Fg_LutFileParser reader;
    ASSERT_EQ(0, reader.getLutFromFile(p.c_str(), &back.t, "[gray]"));
    EXPECT_EQ(7u, back.t.id);
    EXPECT_EQ(5u, back.t.nrOfElements);
    EXPECT_EQ(2u, back.t.format);
    EXPECT_EQ(200, back.t.number);
    EXPECT_EQ(table.entries, back.entries());

    // Reading again into the same record replaces (and frees) the entries.
    ASSERT_EQ(0, reader.getLutFromFile(p.c_str(), &back.t, "[gray]"));
    EXPECT_EQ(table.entries, back.entries());
}

TEST_F(LutFile, ThreeChannelReadsBackPerSection)
{
    Table red({1, 2, 3}), green({4, 5, 6}), blue({7, 8, 9});
    const std::string p = path("rgb.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red.t, &green.t, &blue.t));
    ReadTable r, g, b;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ(red.entries, r.entries());
    EXPECT_EQ(green.entries, g.entries());
    EXPECT_EQ(blue.entries, b.entries());
}

TEST_F(LutFile, ThreeChannelKeysComeFromTheFirstSection)
{
    Table red({1, 2}, 3), green({4, 5, 6, 7}, 4), blue({8}, 5);
    const std::string p = path("rgbkeys.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red.t, &green.t, &blue.t));
    ReadTable r, g, b;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ(3u, g.t.id);
    EXPECT_EQ((std::vector<unsigned int>{4, 5}), g.entries());
    EXPECT_EQ((std::vector<unsigned int>{8, 0}), b.entries());
}

TEST_F(LutFile, ThreeChannelFileReadAsGrayIsAllZero)
{
    Table red({1, 2, 3}), green({4, 5, 6}), blue({7, 8, 9});
    const std::string p = path("rgbgray.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red.t, &green.t, &blue.t));
    ReadTable gray;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &gray.t, "[gray]"));
    EXPECT_EQ((std::vector<unsigned int>{0, 0, 0}), gray.entries());
}

TEST_F(LutFile, KneeTablesReadBackWithTheCallersCount)
{
    Knee knee({0.25, -1.5, 1.0 / 3.0});
    const std::string p = path("knee.lut");
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &knee.t, "[gray]"));
    ReadKnee back(4);
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &back.t, "[gray]"));
    const std::vector<double> got = back.entries();
    ASSERT_EQ(4u, got.size());
    EXPECT_EQ(0.25, got[0]);
    EXPECT_EQ(-1.5, got[1]);
    EXPECT_DOUBLE_EQ(0.333333333333, got[2]);
    EXPECT_EQ(0.0, got[3]);

    Knee r({1.0}), g({2.0}), b({3.0});
    const std::string q = path("knee3.lut");
    ASSERT_EQ(0, parser.saveLutToFile(q.c_str(), &r.t, &g.t, &b.t));
    ReadKnee rb(1), gb(1), bb(1);
    ASSERT_EQ(0, parser.getLutFromFile(q.c_str(), &rb.t, &gb.t, &bb.t));
    EXPECT_EQ(std::vector<double>{1.0}, rb.entries());
    EXPECT_EQ(std::vector<double>{2.0}, gb.entries());
    EXPECT_EQ(std::vector<double>{3.0}, bb.entries());
}

TEST_F(LutFile, MissingFileFailsAndReleasesTheOldEntries)
{
    ReadTable table;
    table.t.lut = new unsigned int[4]();
    table.t.nrOfElements = 4;
    Fg_LutFileParser parser;
    EXPECT_EQ(-1, parser.getLutFromFile(path("missing.lut").c_str(), &table.t, "[gray]"));
    EXPECT_EQ(nullptr, table.t.lut);
    EXPECT_FALSE(parser.checkFileExist(path("missing.lut").c_str()));
    EXPECT_TRUE(parser.checkFileType("anything.txt"));
    EXPECT_EQ(-1, parser.getLutFromFile(nullptr, &table.t, "[gray]"));
    EXPECT_EQ(-1, parser.getLutFromFile(path("x").c_str(), static_cast<LookupTable*>(nullptr), "[gray]"));
    ReadTable r, g, b;
    EXPECT_EQ(-1, parser.getLutFromFile(path("missing.lut").c_str(), &r.t, &g.t, &b.t));
    ReadKnee knee(3);
    EXPECT_EQ(-1, parser.getLutFromFile(path("missing.lut").c_str(), &knee.t, "[gray]"));
}

// ----------------------------------------------------- lenient reading --

TEST_F(LutFile, CommentsBetweenEntriesAreSkipped)
{
    const std::string p = write("comments.lut",
                                "# hand made\n"
                                "nrOfElements=4;\n"
                                "[gray]\n"
                                "# first entries\n"
                                "0,10;\n"
                                "\n"
                                "1,11;\n"
                                "# middle\n"
                                "2,12;\n"
                                "; done soon\n"
                                "3,13;\n");
    ReadTable table;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ((std::vector<unsigned int>{10, 11, 12, 13}), table.entries());
}

TEST_F(LutFile, MissingIndexIsTakenFromTheNextLineContainingIt)
{
    std::string content = "nrOfElements=20;\n[gray]\n";
    for (int i = 0; i < 20; ++i)
        if (i != 7)
            content += std::to_string(i) + "," + std::to_string(i) + ";\n";
    const std::string p = write("gap.lut", content);
    ReadTable table;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    std::vector<unsigned int> expected(20, 0);
    for (int i = 0; i < 7; ++i)
        expected[i] = i;
    expected[7] = 17;  // from "17,17;", the first later line containing "7,"
    expected[8] = 18;  // the search goes on after that line
    expected[9] = 19;
    // Entries 10 to 19: the file has ended.
    EXPECT_EQ(expected, table.entries());
}

TEST_F(LutFile, IndexTextMatchesAsSubstring)
{
    const std::string p = write("substr.lut",
                                "nrOfElements=3;\n[gray]\n0,100;\n11,5;\n1,101;\n2,102;\n");
    ReadTable table;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ((std::vector<unsigned int>{100, 5, 102}), table.entries());
}

TEST_F(LutFile, FileWithoutCountGivesAnEmptyTable)
{
    const std::string p = write("nocount.lut", "[gray]\n0,1;\n1,2;\n");
    ReadTable table;
    table.t.nrOfElements = 99;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ(0u, table.t.nrOfElements);
    EXPECT_EQ(0u, table.t.id);
    EXPECT_TRUE(table.entries().empty());
}

TEST_F(LutFile, TextBeforeTheSectionServesKeysButNotEntries)
{
    const std::string p = write("preamble.lut",
                                "0,99;\n"
                                "notes: id=12; nrOfElements=2;\n"
                                "1,98;\n"
                                "[gray]\n"
                                "0,1;\n"
                                "1,2;\n"
                                "id=5;\n");
    ReadTable table;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    // "notes: id=12; ..." is the first line naming both keys; its value is
    // the text after the line's first separator.
    EXPECT_EQ(12u, table.t.id);
    EXPECT_EQ(12u, table.t.nrOfElements);
    std::vector<unsigned int> expected(12, 0);
    expected[0] = 1;
    expected[1] = 2;
    EXPECT_EQ(expected, table.entries());
}

TEST_F(LutFile, LinesWithoutValuesAreNotTaken)
{
    const std::string p = write("novalue.lut",
                                "id=\n"
                                "nrOfElements=3;\n"
                                "format\n"
                                "[gray]\n"
                                "0,\n"
                                "0,4;\n"
                                "1,5;\n"
                                "2,\r\n"
                                "2,6;\r\n");
    ReadTable table;
    table.t.id = 77;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ(0u, table.t.id);
    EXPECT_EQ(0u, table.t.format);
    EXPECT_EQ((std::vector<unsigned int>{4, 5, 6}), table.entries());

    char out[256];
    EXPECT_EQ(-1, parser.parseKeyFromLine("id", out, "='"));
    EXPECT_STREQ("Error", out);
    int value = 3;
    EXPECT_EQ(-1, parser.parseIntKey("format", &value, "='"));
    EXPECT_EQ(3, value);
    EXPECT_EQ(0, parser.parseIntKey("nrOfElements", &value, "='"));
    EXPECT_EQ(3, value);
    double d = 0;
    EXPECT_EQ(0, parser.parseDoubleKey("nrOfElements", &d, "='"));
    EXPECT_EQ(3.0, d);
}

TEST_F(LutFile, TruncatedFileKeepsWhatItHas)
{
    Table table({9, 8, 7, 6, 5, 4});
    const std::string full = path("full.lut");
    Fg_LutFileParser writer;
    ASSERT_EQ(0, writer.saveLutToFile(full.c_str(), &table.t));
    std::string text = read(full);
    text.resize(text.find("3,6;") + 2);  // ends in "3,"
    const std::string cut = write("cut.lut", text);

    ReadTable back;
    Fg_LutFileParser reader;
    ASSERT_EQ(0, reader.getLutFromFile(cut.c_str(), &back.t, "[gray]"));
    EXPECT_EQ(6u, back.t.nrOfElements);
    EXPECT_EQ((std::vector<unsigned int>{9, 8, 7, 0, 0, 0}), back.entries());

    // Cut inside the key lines: no count, no table.
    const std::string early = write("early.lut", text.substr(0, text.find("nrOf") + 6));
    ReadTable none;
    ASSERT_EQ(0, reader.getLutFromFile(early.c_str(), &none.t, "[gray]"));
    EXPECT_TRUE(none.entries().empty());
}

TEST_F(LutFile, LongLinesAreReadInPieces)
{
    const std::string p = write("long.lut",
                                "nrOfElements=3;\n[gray]\n"
                                "0,1" + std::string(600, '0') + ";\n" +
                                std::string(300, '#') + "\n" +
                                std::string(255, ' ') + "1,42;\n" +   // "1,42;" is the second piece
                                "2,2;\n");
    ReadTable table;
    Fg_LutFileParser parser;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    ASSERT_EQ(3u, table.entries().size());
    EXPECT_EQ(2147483647u, table.entries()[0]);  // saturated
    EXPECT_EQ(42u, table.entries()[1]);
    EXPECT_EQ(2u, table.entries()[2]);
}

TEST_F(LutFile, HostileFilesAreHarmless)
{
    Fg_LutFileParser parser;
    {
        std::string noise;
        std::uint32_t x = 987654321u;
        for (int i = 0; i < 200000; ++i) {
            x = x * 1103515245u + 12345u;
            noise.push_back(static_cast<char>(x >> 24));
        }
        const std::string p = write("noise.lut", noise);
        ReadTable table;
        EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
        ReadKnee knee(16);
        EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &knee.t, "[gray]"));
    }
    {
        static const char kNul[] = "nrOfElements=2;\n[gray]\n0,\0" "5;\n0,3;\n1,4\0;\n";
        const std::string p = write("nul.lut", std::string(kNul, sizeof kNul - 1));
        ReadTable table;
        EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
        EXPECT_EQ((std::vector<unsigned int>{3, 4}), table.entries());
    }
    {
        const std::string p = write("huge.lut", "nrOfElements=2000000000;\n[gray]\n0,1;\n");
        ReadTable table;
        EXPECT_EQ(-1, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
        EXPECT_EQ(nullptr, table.t.lut);
        const std::string q = write("negative.lut", "nrOfElements=-1;\n[gray]\n0,1;\n");
        EXPECT_EQ(-1, parser.getLutFromFile(q.c_str(), &table.t, "[gray]"));
        EXPECT_EQ(nullptr, table.t.lut);
    }
    {
        const std::string p = write("empty.lut", "");
        ReadTable table;
        EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
        EXPECT_TRUE(table.entries().empty());
    }
}

TEST_F(LutFile, EntryReadersWithoutAFileOrTargetDoNothing)
{
    Fg_LutFileParser parser;
    int values[2] = {5, 6};
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", "[gray]"));
    EXPECT_EQ(5, values[0]);
    double d[1] = {1.0};
    EXPECT_EQ(0, parser.parseIntDouble(d, 1, ",", "[gray]"));
    EXPECT_EQ(1.0, d[0]);
    const std::string p = write("x.lut", "[gray]\n0,1;\n");
    ASSERT_TRUE(parser.setOpenFile(p.c_str(), true));
    EXPECT_EQ(0, parser.parseIntInt(nullptr, 2, ",", "[gray]"));
    EXPECT_EQ(0, parser.parseIntInt(values, 2, nullptr, "[gray]"));
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", nullptr));
    EXPECT_EQ(0, parser.parseIntInt(values, -4, ",", "[gray]"));
    EXPECT_EQ(5, values[0]);
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", "[gray]"));
    EXPECT_EQ(1, values[0]);
    EXPECT_EQ(6, values[1]);
}
