// Lookup-table files: every written form, reading back, and the lenient
// reading rules on hand-made, truncated and hostile files.

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "Fg_LutFileParser.h"
#include "support_files.h"

namespace {

using Entries = std::vector<unsigned int>;
using Doubles = std::vector<double>;

// Table records that own entries given by the test (not by the reader).
struct Table {
    explicit Table(Entries v, unsigned int id = 3, unsigned int format = 0, unsigned char number = 0)
        : entries(std::move(v)), t{entries.data(), id, static_cast<unsigned int>(entries.size()), format, number} {}
    Entries entries;
    LookupTable t;
};

struct Knee {
    explicit Knee(Doubles v) : entries(std::move(v)) {
        std::memset(&t, 0, sizeof t);
        t.value = entries.data();
        t.nrOfElements = static_cast<unsigned int>(entries.size());
    }
    Doubles entries;
    KneeLookupTable t;
};

const unsigned int* valuesOf(const LookupTable& t) { return t.lut; }
const double* valuesOf(const KneeLookupTable& t) { return t.value; }

// A table record filled by the reader (`n`: the count a knee reader is given);
// releases what the reader allocated.
template <typename Record>
struct Read {
    explicit Read(unsigned int n = 0) {
        std::memset(&t, 0, sizeof t);
        t.nrOfElements = n;
    }
    ~Read() { Fg_LutFileParser::releaseLut(&t); }
    auto entries() const {
        using Value = std::remove_const_t<std::remove_pointer_t<decltype(valuesOf(t))>>;
        const Value* v = valuesOf(t);
        return v != nullptr ? std::vector<Value>(v, v + t.nrOfElements) : std::vector<Value>();
    }
    Record t;
};
using ReadTable = Read<LookupTable>;
using ReadKnee = Read<KneeLookupTable>;

class LutFile : public supporttest::ScratchDir {
protected:
    // The entries of the section "[gray]" read from a file with the given content.
    Entries gray(const std::string& content) {
        ReadTable table;
        EXPECT_EQ(0, parser.getLutFromFile(write("gray.lut", content).c_str(), &table.t, "[gray]"));
        return table.entries();
    }
    Fg_LutFileParser parser;
};

}  // namespace

// --------------------------------------------------------- written forms --

TEST_F(LutFile, WrittenFormsByteForByte) {
    Table keys({1}, 4000000000u, 2, 255);  // keys are printed as integers
    Table red({1, 2}, 3), green({3}, 4), blue({}, 5, 1, 9);
    Knee knee({0.0, 0.5, 1.0 / 3.0, -2.25}), r({1.0}), g({2.0}), b({0.125});
    ASSERT_EQ(0, parser.saveLutToFile(path("keys.lut").c_str(), &keys.t));
    ASSERT_EQ(0, parser.saveLutToFile(path("rgb.lut").c_str(), &red.t, &green.t, &blue.t));
    ASSERT_EQ(0, parser.saveLutToFile(path("knee.lut").c_str(), &knee.t, "[gray]"));
    ASSERT_EQ(0, parser.saveLutToFile(path("knee3.lut").c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ(
        std::string(
            "# Lut data file v1.1\n\n\n\n[gray]\n\nid=-294967296;\nnrOfElements=1;\nformat=2;\nnumber=255;\n0,1;\n"),
        read(path("keys.lut")));
    EXPECT_EQ(
        "# Lut data file v1.1\n\n[red]\n\nid=3;\nnrOfElements=2;\nformat=0;\nnumber=0;\n0,1;\n1,2;\n"
        "\n\n[green]\n\nid=4;\nnrOfElements=1;\nformat=0;\nnumber=0;\n0,3;\n"
        "\n\n[blue]\n\nid=5;\nnrOfElements=0;\nformat=1;\nnumber=9;\n",
        read(path("rgb.lut")));
    EXPECT_EQ(
        "# KneeLut data file v1.0\n\n[gray]\n\n0,0.000000000000;\n1,0.500000000000;\n2,0.333333333333;\n"
        "3,-2.250000000000;\n",
        read(path("knee.lut")));
    EXPECT_EQ(
        "# KneeLut data file v1.1\n\n[red]\n\n0,1.000000000000;\n\n\n[green]\n\n0,2.000000000000;\n"
        "\n\n[blue]\n\n0,0.125000000000;\n",
        read(path("knee3.lut")));
}

TEST_F(LutFile, MatrixFormAndTheKeyAndEntryWriters) {
    const int values[3] = {5, -1, 70000};
    const std::string p = path("matrix.txt");
    ASSERT_EQ(0, parser.saveMatrixToFile(p.c_str(), "# matrix\n", values, 3));
    EXPECT_EQ("# matrix\nnrOfElements=3;\n0,5;\n1,-1;\n2,70000;\n", read(p));
    int back[3] = {0, 0, 0};
    EXPECT_EQ(-1, parser.getMatrixFromFile(p.c_str(), back, 3));

    const std::string w = path("writers.lut");
    {
        Fg_LutFileParser writer;
        ASSERT_TRUE(writer.setSaveFile(w.c_str()));
        writer.writeLutFileHeader("head\n");
        writer.writeLutFileValue("name", "text", ":");
        writer.writeIntKey("i", -3, "=");
        writer.writeDoubleKey("d", 0.1, "=");
        writer.writeDoubleKey("e", 1e-05, "=");
        writer.writeDoubleKey("f", 10240.0, "=");
        writer.writeIntInt(2, 9, ",");
        writer.writeIntDouble(3, 0.1, ",");
        EXPECT_EQ("<missing>", read(w)) << "the file appears when the parser closes it";
    }
    EXPECT_EQ("head\nname:text;\ni=-3;\nd=0.1;\ne=1e-05;\nf=10240;\n2,9;\n3,0.100000000000;\n", read(w));
}

TEST_F(LutFile, CreationFailures) {
    Table table({1, 2});
    EXPECT_EQ(-1, parser.saveLutToFile(path("no/dir/x.lut").c_str(), &table.t));
    EXPECT_EQ(-1, parser.saveLutToFile(path("null.lut").c_str(), static_cast<const LookupTable*>(nullptr)));
    EXPECT_EQ(-1, parser.saveLutToFile(nullptr, &table.t));
    table.t.lut = nullptr;
    EXPECT_EQ(-1, parser.saveLutToFile(path("nolut.lut").c_str(), &table.t));
    EXPECT_EQ(-1, parser.saveMatrixToFile(path("m.txt").c_str(), "h", nullptr, 2));
    EXPECT_EQ(-1, parser.saveMatrixToFile(path("no/dir/m.txt").c_str(), "h", nullptr, 0));
}

// ------------------------------------------------------------- read back --

TEST_F(LutFile, TablesReadBack) {
    Table table({0, 1, 4095, 17, 2048}, 7, 2, 200);
    const std::string p = path("back.lut");
    ASSERT_EQ(0, Fg_LutFileParser().saveLutToFile(p.c_str(), &table.t));
    ReadTable back;
    for (int pass = 0; pass < 2; ++pass) {  // reading again into the same record replaces (and frees) the entries
        ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &back.t, "[gray]"));
        EXPECT_EQ(7u, back.t.id);
        EXPECT_EQ(2u, back.t.format);
        EXPECT_EQ(200, back.t.number);
        EXPECT_EQ(table.entries, back.entries());
    }
    // Knee tables take the caller's count.
    Knee knee({0.25, -1.5, 1.0 / 3.0}), r({1.0}), g({2.0}), b({3.0});
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &knee.t, "[gray]"));
    ReadKnee kneeBack(4), rb(1), gb(1), bb(1);
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &kneeBack.t, "[gray]"));
    EXPECT_EQ((Doubles{0.25, -1.5, 0.333333333333, 0.0}), kneeBack.entries());
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &r.t, &g.t, &b.t));
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &rb.t, &gb.t, &bb.t));
    EXPECT_EQ((std::vector<Doubles>{{1.0}, {2.0}, {3.0}}),
              (std::vector<Doubles>{rb.entries(), gb.entries(), bb.entries()}));
}

TEST_F(LutFile, ThreeChannelReadsBackPerSectionWithTheKeysOfTheFirstSection) {
    Table red({1, 2, 3}), green({4, 5, 6}), blue({7, 8, 9});
    const std::string p = path("rgb.lut");
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red.t, &green.t, &blue.t));
    ReadTable r, g, b, gray;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ((std::vector<Entries>{red.entries, green.entries, blue.entries}),
              (std::vector<Entries>{r.entries(), g.entries(), b.entries()}));
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &gray.t, "[gray]"));
    EXPECT_EQ((Entries{0, 0, 0}), gray.entries()) << "a three-channel file read as gray";

    Table red2({1, 2}, 3), green4({4, 5, 6, 7}, 4), blue1({8}, 5);
    ASSERT_EQ(0, parser.saveLutToFile(p.c_str(), &red2.t, &green4.t, &blue1.t));
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &r.t, &g.t, &b.t));
    EXPECT_EQ(3u, g.t.id);
    EXPECT_EQ((Entries{4, 5}), g.entries());
    EXPECT_EQ((Entries{8, 0}), b.entries());
}

TEST_F(LutFile, MissingFileFailsAndReleasesTheOldEntries) {
    const std::string missing = path("missing.lut");
    ReadTable table, r, g, b;
    table.t.lut = new unsigned int[4]();
    table.t.nrOfElements = 4;
    EXPECT_EQ(-1, parser.getLutFromFile(missing.c_str(), &table.t, "[gray]"));
    EXPECT_EQ(nullptr, table.t.lut);
    EXPECT_FALSE(parser.checkFileExist(missing.c_str()));
    EXPECT_TRUE(parser.checkFileType("anything.txt"));
    EXPECT_EQ(-1, parser.getLutFromFile(nullptr, &table.t, "[gray]"));
    EXPECT_EQ(-1, parser.getLutFromFile(path("x").c_str(), static_cast<LookupTable*>(nullptr), "[gray]"));
    EXPECT_EQ(-1, parser.getLutFromFile(missing.c_str(), &r.t, &g.t, &b.t));
    ReadKnee knee(3);
    EXPECT_EQ(-1, parser.getLutFromFile(missing.c_str(), &knee.t, "[gray]"));
}

// ----------------------------------------------------- lenient reading --

TEST_F(LutFile, EntryLinesAreFoundBySubstringAfterTheSection) {
    // comments between the entries are passed over
    EXPECT_EQ((Entries{10, 11, 12, 13}), gray("# hand made\nnrOfElements=4;\n[gray]\n# first entries\n0,10;\n\n"
                                              "1,11;\n# middle\n2,12;\n; done soon\n3,13;\n"));
    // a line "11,5;" before the line for index 1 is taken as entry 1
    EXPECT_EQ((Entries{100, 5, 102}), gray("nrOfElements=3;\n[gray]\n0,100;\n11,5;\n1,101;\n2,102;\n"));
    // a missing index is taken from the next line containing it ("17,17;"), the
    // search goes on after that line, and the entries after the end stay 0
    std::string gap = "nrOfElements=20;\n[gray]\n";
    for (int i = 0; i < 20; ++i)
        if (i != 7) gap += std::to_string(i) + "," + std::to_string(i) + ";\n";
    EXPECT_EQ((Entries{0, 1, 2, 3, 4, 5, 6, 17, 18, 19, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), gray(gap));
    // long lines are read in pieces: "1,42;" is the second piece of its line
    EXPECT_EQ((Entries{2147483647u /* saturated */, 42, 2}),
              gray("nrOfElements=3;\n[gray]\n0,1" + std::string(600, '0') + ";\n" + std::string(300, '#') + "\n" +
                   std::string(255, ' ') + "1,42;\n2,2;\n"));
}

TEST_F(LutFile, KeysComeFromTheFirstLineNamingThemAnywhereInTheFile) {
    ReadTable table;
    table.t.nrOfElements = 99;
    ASSERT_EQ(0, parser.getLutFromFile(write("nocount.lut", "[gray]\n0,1;\n1,2;\n").c_str(), &table.t, "[gray]"));
    EXPECT_EQ(0u, table.t.nrOfElements) << "a file without a count gives an empty table";
    EXPECT_EQ(0u, table.t.id);
    EXPECT_TRUE(table.entries().empty());

    // text before the section serves the keys but not the entries; the value of
    // "notes: id=12; nrOfElements=2;" is the text after the line's first separator
    const std::string p =
        write("preamble.lut", "0,99;\nnotes: id=12; nrOfElements=2;\n1,98;\n[gray]\n0,1;\n1,2;\nid=5;\n");
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ(12u, table.t.id);
    EXPECT_EQ((Entries{1, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}), table.entries());
}

TEST_F(LutFile, LinesWithoutValuesAreNotTaken) {
    const std::string p = write("novalue.lut", "id=\nnrOfElements=3;\nformat\n[gray]\n0,\n0,4;\n1,5;\n2,\r\n2,6;\r\n");
    ReadTable table;
    table.t.id = 77;
    ASSERT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    EXPECT_EQ(0u, table.t.id);
    EXPECT_EQ(0u, table.t.format);
    EXPECT_EQ((Entries{4, 5, 6}), table.entries());

    char out[256];
    EXPECT_EQ(-1, parser.parseKeyFromLine("id", out, "='"));
    EXPECT_STREQ("Error", out);
    int value = 3;
    EXPECT_EQ(-1, parser.parseIntKey("format", &value, "='"));
    EXPECT_EQ(3, value);
    value = 0;
    EXPECT_EQ(0, parser.parseIntKey("nrOfElements", &value, "='"));
    EXPECT_EQ(3, value);
    double d = 0;
    EXPECT_EQ(0, parser.parseDoubleKey("nrOfElements", &d, "='"));
    EXPECT_EQ(3.0, d);
}

TEST_F(LutFile, TruncatedFileKeepsWhatItHas) {
    Table table({9, 8, 7, 6, 5, 4});
    ASSERT_EQ(0, Fg_LutFileParser().saveLutToFile(path("full.lut").c_str(), &table.t));
    std::string text = read(path("full.lut"));
    text.resize(text.find("3,6;") + 2);  // ends in "3,"
    ReadTable back;
    ASSERT_EQ(0, parser.getLutFromFile(write("cut.lut", text).c_str(), &back.t, "[gray]"));
    EXPECT_EQ(6u, back.t.nrOfElements);
    EXPECT_EQ((Entries{9, 8, 7, 0, 0, 0}), back.entries());
    // cut inside the key lines: no count, no table
    EXPECT_TRUE(gray(text.substr(0, text.find("nrOf") + 6)).empty());
}

TEST_F(LutFile, HostileFilesAreHarmless) {
    std::string noise;
    for (std::uint32_t i = 0, x = 987654321u; i < 200000; ++i)
        noise.push_back(static_cast<char>((x = x * 1103515245u + 12345u) >> 24));
    const std::string p = write("noise.lut", noise);
    ReadTable table;
    EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &table.t, "[gray]"));
    ReadKnee knee(16);
    EXPECT_EQ(0, parser.getLutFromFile(p.c_str(), &knee.t, "[gray]"));

    static const char kNul[] =
        "nrOfElements=2;\n[gray]\n0,\0"
        "5;\n0,3;\n1,4\0;\n";
    EXPECT_EQ((Entries{3, 4}), gray(std::string(kNul, sizeof kNul - 1)));
    EXPECT_TRUE(gray("").empty());
    for (const char* count : {"2000000000", "-1"}) {
        ReadTable huge;
        const std::string q = write("huge.lut", std::string("nrOfElements=") + count + ";\n[gray]\n0,1;\n");
        EXPECT_EQ(-1, parser.getLutFromFile(q.c_str(), &huge.t, "[gray]")) << count;
        EXPECT_EQ(nullptr, huge.t.lut);
    }
}

TEST_F(LutFile, EntryReadersWithoutAFileOrTargetDoNothing) {
    int values[2] = {5, 6};
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", "[gray]"));
    EXPECT_EQ(5, values[0]);
    double d[1] = {1.0};
    EXPECT_EQ(0, parser.parseIntDouble(d, 1, ",", "[gray]"));
    EXPECT_EQ(1.0, d[0]);
    ASSERT_TRUE(parser.setOpenFile(write("x.lut", "[gray]\n0,1;\n").c_str(), true));
    EXPECT_EQ(0, parser.parseIntInt(nullptr, 2, ",", "[gray]"));
    EXPECT_EQ(0, parser.parseIntInt(values, 2, nullptr, "[gray]"));
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", nullptr));
    EXPECT_EQ(0, parser.parseIntInt(values, -4, ",", "[gray]"));
    EXPECT_EQ(5, values[0]);
    EXPECT_EQ(0, parser.parseIntInt(values, 2, ",", "[gray]"));
    EXPECT_EQ(1, values[0]);
    EXPECT_EQ(6, values[1]);
}
