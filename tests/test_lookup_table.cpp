// Lookup table of both ports: the tables the processing parameters compute,
// the single whole-table write per change, user-file mode with ".lut" files
// (round trip, missing and unreadable files), the access flags that follow
// the LUT type, and direct range writes and reads of entries.

#include <algorithm>
#include <cmath>

#include "board_fixture.h"
#include "test_files.h"

using namespace orvtest;

namespace {

const int kLutEntries = 4096;
const uint32_t kProcessing = 3;
const uint32_t kUserFile = 0;

std::vector<uint32_t> identity() {
    std::vector<uint32_t> t(kLutEntries);
    for (int i = 0; i < kLutEntries; ++i) t[i] = i;
    return t;
}

class Lut : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(b.ok()); }
    // Processing mode with the start values: the identity table on both ports.
    void processingMode() {
        for (int port = 0; port < 2; ++port) ASSERT_EQ(0, b.set(FG_LUT_TYPE, kProcessing, port));
        b.clearLog();
    }

    static std::string lutName(int port) { return dp(port, "LookupTable_LookupTable_LUTcontent"); }

    // The whole cached table of a port, read through FG_LUT_VALUE.
    std::vector<uint32_t> table(int port) {
        std::vector<uint32_t> t(kLutEntries, 0xDEADBEEF);
        EXPECT_EQ(0, readRange(port, 0, kLutEntries, t.data()));
        return t;
    }
    int readRange(int port, unsigned index, unsigned count, uint32_t* out) {
        FieldParameterAccess a = fieldAccess(FG_PARAM_TYPE_UINT32_T, index, count, out);
        return Fg_getParameterWithType(b.fg(), FG_LUT_VALUE, &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    }
    // The table as the design holds it.
    std::vector<uint32_t> designTable(int port) {
        std::vector<uint32_t> t(kLutEntries, 0xDEADBEEF);
        const std::string name = lutName(port);
        for (int i = 0; i < kLutEntries; ++i) {
            double v = -1;
            EXPECT_EQ(0, SimBoard_GetFieldElement(b.dev(), name.c_str(), i, &v));
            t[i] = static_cast<uint32_t>(v);
        }
        return t;
    }
    int writeRange(int port, FieldParameterAccess a) {
        return Fg_setParameterWithType(b.fg(), FG_LUT_VALUE, &a, port, FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS);
    }

    // Sets a processing parameter (the invert switch as an integer) that must
    // be accepted and checks that it went to the design as exactly one
    // whole-table write of the new table.
    void process(int id, double v, int port) {
        b.clearLog();
        ASSERT_EQ(0, id == FG_PROCESSING_INVERT ? b.set(id, uint32_t(v), port) : b.setD(id, v, port))
            << id << " = " << v;
        expectOneWholeTableWrite(port);
    }
    void expectOneWholeTableWrite(int port) { expectOneTableWrite(port, 0, table(port)); }
    // One write of `values` from `index` into the port's table, and nothing else.
    void expectOneTableWrite(int port, unsigned index, const std::vector<uint32_t>& values) {
        const std::vector<SimLogEntry> log = b.log();
        ASSERT_EQ(1u, log.size());
        const SimLogEntry& e = log[0];
        EXPECT_EQ(lutName(port), e.name);
        EXPECT_EQ(unsigned(port), e.dma);
        EXPECT_EQ(FG_PARAM_TYPE_STRUCT_FIELDPARAMACCESS, e.type);
        EXPECT_EQ(index, e.fieldIndex);
        ASSERT_EQ(values.size(), size_t(e.fieldCount));
        EXPECT_EQ(values, std::vector<uint32_t>(e.fieldValues, e.fieldValues + e.fieldCount)) << "written values";
    }
    void resetProcessing(int port) {
        ASSERT_EQ(0, b.setD(FG_PROCESSING_OFFSET, 0.0, port));
        ASSERT_EQ(0, b.setD(FG_PROCESSING_GAIN, 1.0, port));
        ASSERT_EQ(0, b.setD(FG_PROCESSING_GAMMA, 1.0, port));
        ASSERT_EQ(0, b.set(FG_PROCESSING_INVERT, 0, port));
    }
    void expectFlagsOfType(int port, uint32_t type) {
        const int file = type == kUserFile ? 7 : 1;
        const int processing = type == kUserFile ? 1 : 7;
        EXPECT_EQ(file, flagsOf(b, FG_LUT_CUSTOM_FILE, port)) << "port " << port << " type " << type;
        for (int id : {FG_PROCESSING_GAIN, FG_PROCESSING_GAMMA, FG_PROCESSING_OFFSET, FG_PROCESSING_INVERT})
            EXPECT_EQ(processing, flagsOf(b, id, port)) << "port " << port << " type " << type << " id " << id;
    }

    Board b;
};

TEST_F(Lut, StartsWithTheIdentityTableInTheDesignAndTheProcessingRecordsOpen) {
    for (int port = 0; port < 2; ++port) {
        EXPECT_EQ(identity(), designTable(port)) << "port " << port;
        EXPECT_EQ(identity(), table(port)) << "port " << port;
        EXPECT_EQ("", b.text(FG_LUT_SAVE_FILE, port));
        expectFlagsOfType(port, kProcessing);
    }
}

TEST_F(Lut, GainGammaAndInvertComputeTheTable) {
    struct Case {
        const char* what;
        std::vector<std::pair<int, double>> settings;  // processing parameters, in order
        uint32_t (*entry)(int i);
    };
    const Case cases[] = {
        {"gain 2 clips at the top",
         {{FG_PROCESSING_GAIN, 2.0}},
         [](int i) { return uint32_t(i < 2048 ? 2 * i : 4095); }},
        {"invert mirrors", {{FG_PROCESSING_INVERT, 1}}, [](int i) { return uint32_t(4095 - i); }},
        {"inverted clipped table",
         {{FG_PROCESSING_INVERT, 1}, {FG_PROCESSING_GAIN, 2.0}},
         [](int i) { return uint32_t(i < 2048 ? 4095 - 2 * i : 0); }},
        {"gamma 2 is the rounded square root",
         {{FG_PROCESSING_GAMMA, 2.0}},
         [](int i) { return uint32_t(std::llround(std::sqrt(i * 4095.0))); }},
    };
    processingMode();
    for (int port = 0; port < 2; ++port) {
        for (const Case& c : cases) {
            SCOPED_TRACE(std::string(c.what) + " port " + std::to_string(port));
            resetProcessing(port);
            for (const auto& s : c.settings) {
                process(s.first, s.second, port);
                EXPECT_EQ(s.second, s.first == FG_PROCESSING_INVERT ? b.u32(s.first, port) : b.dbl(s.first, port));
            }
            const std::vector<uint32_t> t = table(port);
            for (int i = 0; i < kLutEntries; ++i) ASSERT_EQ(c.entry(i), t[i]) << "input " << i;
            EXPECT_EQ(t, designTable(port));
        }
    }
}

TEST_F(Lut, NegativeOffsetCutsTheLowerHalf) {
    processingMode();
    process(FG_PROCESSING_OFFSET, -0.5, 1);
    const std::vector<uint32_t> t = table(1);
    uint64_t sum = 0;
    for (int i = 0; i < 2048; ++i) ASSERT_EQ(0u, t[i]) << "input " << i;
    for (int i = 0; i < kLutEntries; ++i) sum += t[i];
    // (i / 4095.0 - 0.5) * 4095.0 + 0.5 lands just below the integer for many
    // inputs and is truncated: the exact doubles decide.
    EXPECT_EQ(0u, t[2048]);
    EXPECT_EQ(1u, t[2049]);
    EXPECT_EQ(952u, t[3000]);
    EXPECT_EQ(1025u, t[3072]);
    EXPECT_EQ(1952u, t[4000]);
    EXPECT_EQ(2047u, t[4094]);
    EXPECT_EQ(2048u, t[4095]);
    EXPECT_EQ(2097492u, sum);
    EXPECT_EQ(identity(), table(0)) << "port 0 changed with port 1";
}

TEST_F(Lut, InfiniteAndHugePowersSaturate) {
    processingMode();
    // gamma -1: 1 / base, infinite at input 0; everything ends at the top.
    process(FG_PROCESSING_GAMMA, -1.0, 0);
    EXPECT_EQ(std::vector<uint32_t>(kLutEntries, 4095), table(0));
    process(FG_PROCESSING_INVERT, 1, 0);
    EXPECT_EQ(std::vector<uint32_t>(kLutEntries, 0), table(0));

    // gain 4096 with gamma 0.01: base^100 overflows to infinity, giving the top
    // entry (input 0 stays 0).
    resetProcessing(0);
    process(FG_PROCESSING_GAIN, 4096.0, 0);
    process(FG_PROCESSING_GAMMA, 0.01, 0);
    std::vector<uint32_t> expected(kLutEntries, 4095);
    expected[0] = 0;
    EXPECT_EQ(expected, table(0));

    // gamma 0 is accepted: 1 / 0 is infinite.
    resetProcessing(0);
    process(FG_PROCESSING_GAMMA, 0.0, 0);
    const std::vector<uint32_t> t = table(0);
    EXPECT_EQ(0u, t[0]);
    EXPECT_EQ(0u, t[4094]);  // (4094 / 4095)^inf = 0
    EXPECT_EQ(4095u, t[4095]);
}

TEST_F(Lut, ProcessingLimitsIncludeTheirEnds) {
    processingMode();
    struct Case {
        int id;
        double low, high, below, above;
    };
    const Case cases[] = {
        {FG_PROCESSING_OFFSET, -1.0, 1.0, -1.0001, 1.0001},
        {FG_PROCESSING_GAIN, 0.0, 4096.0, -0.001, 4096.001},
        {FG_PROCESSING_GAMMA, -1000.0, 1000.0, -1000.5, 1000.5},
    };
    for (int port = 0; port < 2; ++port) {
        for (const Case& c : cases) {
            for (double v : {c.low, c.high}) {
                process(c.id, v, port);
                EXPECT_EQ(v, b.dbl(c.id, port));
            }
            const std::vector<uint32_t> before = table(port);
            expectRejectedD(b, c.id, c.below, port);
            expectRejectedD(b, c.id, c.above, port);
            EXPECT_EQ(before, table(port));
        }
        for (uint32_t v : {2u, 0xFFFFFFFFu}) expectRejected(b, FG_PROCESSING_INVERT, v, port);
        for (uint32_t v : {1u, 2u, 4u}) expectRejected(b, FG_LUT_TYPE, v, port);
    }
}

TEST_F(Lut, UserFileModeCachesProcessingValuesUntilProcessingReturns) {
    processingMode();
    b.clearLog();
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 0));
    EXPECT_TRUE(b.log().empty()) << "no file name: nothing is loaded";
    expectFlagsOfType(0, kUserFile);
    expectFlagsOfType(1, kProcessing);

    // Processing parameters are taken but do not touch the table.
    ASSERT_EQ(0, b.setD(FG_PROCESSING_GAIN, 2.0, 0));
    ASSERT_EQ(0, b.set(FG_PROCESSING_INVERT, 1, 0));
    EXPECT_TRUE(b.log().empty());
    EXPECT_EQ(2.0, b.dbl(FG_PROCESSING_GAIN, 0));
    EXPECT_EQ(identity(), table(0));

    // Direct writes are accepted in user-file mode...
    FieldParameterInt e = {77, 5};
    ASSERT_EQ(0, Fg_setParameterWithType(b.fg(), FG_LUT_VALUE, &e, 0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT));
    EXPECT_EQ(77u, table(0)[5]);

    // ...and back in processing mode the cached values rebuild the whole table.
    b.clearLog();
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kProcessing, 0));
    expectOneWholeTableWrite(0);
    const std::vector<uint32_t> t = table(0);
    for (int i = 0; i < kLutEntries; ++i) ASSERT_EQ(uint32_t(i < 2048 ? 4095 - 2 * i : 0), t[i]) << "input " << i;
    expectFlagsOfType(0, kProcessing);
}

TEST_F(Lut, SavedFileLoadsBackIdenticallyOnTheOtherPort) {
    processingMode();
    process(FG_PROCESSING_GAMMA, 2.0, 0);
    const std::vector<uint32_t> gamma2 = table(0);

    b.clearLog();
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "port0.lut", 0));
    EXPECT_TRUE(b.log().empty()) << "saving writes nothing to the design";
    EXPECT_EQ("port0.lut", b.text(FG_LUT_SAVE_FILE, 0));
    const std::string saved = readFile("port0.lut");
    const std::string head =
        "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=4096;\nformat=0;\nnumber=0;\n0,0;\n1,64;\n";
    EXPECT_EQ(head, saved.substr(0, head.size()));
    EXPECT_EQ(std::string("\n4095,4095;\n"), saved.substr(saved.size() - 12));

    // Port 1, processing mode: the name is only cached.
    b.clearLog();
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "port0.lut", 1));
    EXPECT_TRUE(b.log().empty());
    EXPECT_EQ(identity(), table(1));
    EXPECT_EQ("port0.lut", b.text(FG_LUT_CUSTOM_FILE, 1));

    // Switching to user-file mode loads it and writes the whole table once.
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 1));
    expectOneWholeTableWrite(1);
    EXPECT_EQ(gamma2, table(1));
    EXPECT_EQ(gamma2, designTable(1));
    expectFlagsOfType(1, kUserFile);
    expectFlagsOfType(0, kProcessing);

    // Saved again from port 1: the same bytes.
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "port1.lut", 1));
    EXPECT_EQ(saved, readFile("port1.lut"));

    // In user-file mode a new name loads at once.
    process(FG_PROCESSING_INVERT, 1, 0);
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "inverted.lut", 0));
    b.clearLog();
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "inverted.lut", 1));
    expectOneWholeTableWrite(1);
    EXPECT_EQ(table(0), table(1));
}

TEST_F(Lut, AShortFileReplacesOnlyTheEntriesItHolds) {
    processingMode();
    writeFile("short.lut",
              "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=3;\nformat=0;\nnumber=0;\n"
              "0,4000;\n1,3000;\n2,2000;\n");
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "short.lut", 0));
    b.clearLog();
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 0));
    expectOneWholeTableWrite(0);
    std::vector<uint32_t> expected = identity();
    expected[0] = 4000;
    expected[1] = 3000;
    expected[2] = 2000;
    EXPECT_EQ(expected, table(0));
}

TEST_F(Lut, MissingFileKeepsTypeNameAndTable) {
    processingMode();
    // Processing mode: a missing name is only cached.
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "missing.lut", 0));
    b.clearLog();
    EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, b.set(FG_LUT_TYPE, kUserFile, 0));
    EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, b.lastError());
    EXPECT_EQ(kProcessing, b.u32(FG_LUT_TYPE, 0));
    EXPECT_TRUE(b.log().empty());
    EXPECT_EQ(identity(), table(0));
    expectFlagsOfType(0, kProcessing);

    // User-file mode with an empty name, then a missing name: the name stays.
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "", 0));
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 0));
    b.clearLog();
    EXPECT_EQ(FG_ERR_FILE_NOT_FOUND, b.setText(FG_LUT_CUSTOM_FILE, "missing.lut", 0));
    EXPECT_EQ("", b.text(FG_LUT_CUSTOM_FILE, 0));
    EXPECT_TRUE(b.log().empty());
    EXPECT_EQ(identity(), table(0));
}

TEST_F(Lut, UnreadableOrUnwritableFilesFailWithFileAccess) {
    processingMode();
    // A table that cannot be read: its element count is absurd.
    writeFile("bad.lut", "# Lut data file v1.1\n\n\n\n[gray]\n\nid=3;\nnrOfElements=-1;\nformat=0;\nnumber=0;\n0,1;\n");
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "bad.lut", 1));
    b.clearLog();
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.set(FG_LUT_TYPE, kUserFile, 1));
    EXPECT_EQ(kProcessing, b.u32(FG_LUT_TYPE, 1));
    expectFlagsOfType(1, kProcessing);

    writeFile("good.lut", "[gray]\nnrOfElements=1;\n0,9;\n");
    ASSERT_EQ(0, b.setText(FG_LUT_CUSTOM_FILE, "good.lut", 1));
    ASSERT_EQ(0, b.set(FG_LUT_TYPE, kUserFile, 1));
    EXPECT_EQ(9u, table(1)[0]);
    b.clearLog();
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.setText(FG_LUT_CUSTOM_FILE, "bad.lut", 1));
    EXPECT_EQ("good.lut", b.text(FG_LUT_CUSTOM_FILE, 1));
    EXPECT_TRUE(b.log().empty());
    EXPECT_EQ(9u, table(1)[0]);

    // A file that cannot be created: the previous save name stays.
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "ok.lut", 1));
    EXPECT_EQ(FG_ERR_FILE_ACCESS, b.setText(FG_LUT_SAVE_FILE, "no-such-directory/x.lut", 1));
    EXPECT_EQ("ok.lut", b.text(FG_LUT_SAVE_FILE, 1));
    // An empty save name is taken and saves nothing.
    ASSERT_EQ(0, b.setText(FG_LUT_SAVE_FILE, "", 1));
    EXPECT_EQ("", b.text(FG_LUT_SAVE_FILE, 1));
}

// A range write sends exactly its range to the design in one write. The cache
// follows the element type of the record: 32-bit elements (signed ones too) are
// copied into it, element records (FIELDPARAMINT) are not, although they are
// checked and sent to the design all the same.
TEST_F(Lut, RangeWritesSendOnlyTheirRangeAndCacheByElementType) {
    processingMode();
    struct Case {
        FgParamTypes vtype;
        unsigned index, count;
        bool cached;
    };
    const Case cases[] = {{FG_PARAM_TYPE_UINT32_T, 4000, 96, true},
                          {FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, 100, 8, false}};
    for (int port = 0; port < 2; ++port) {
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message() << "port " << port << " vtype " << c.vtype);
            ASSERT_EQ(0, b.set(FG_LUT_TYPE, kProcessing, port));  // back to the identity
            std::vector<uint32_t> v(c.count);
            for (unsigned k = 0; k < c.count; ++k) v[k] = 4095 - k;
            b.clearLog();
            ASSERT_EQ(0, writeRange(port, fieldAccess(c.vtype, c.index, c.count, v.data())));
            expectOneTableWrite(port, c.index, v);
            std::vector<uint32_t> sent = identity();
            std::copy(v.begin(), v.end(), sent.begin() + c.index);
            EXPECT_EQ(sent, designTable(port));
            EXPECT_EQ(c.cached ? sent : identity(), table(port));
        }
        int32_t s[2] = {1, 2};
        ASSERT_EQ(0, writeRange(port, fieldAccess(FG_PARAM_TYPE_INT32_T, 0, 2, s)));
        EXPECT_EQ(1u, table(port)[0]);
        EXPECT_EQ(2u, table(port)[1]);
    }
}

TEST_F(Lut, RangeWriteLimits) {
    processingMode();
    std::vector<uint32_t> v(kLutEntries + 1, 7);
    const std::vector<uint32_t> before = table(0);
    struct Case {
        FgParamTypes vtype;
        unsigned index, count;
        int code;
    };
    const Case cases[] = {
        {FG_PARAM_TYPE_UINT32_T, 4000, 97, FG_ERR_VALUE_OUT_OF_RANGE},
        {FG_PARAM_TYPE_UINT32_T, 4096, 0, FG_ERR_VALUE_OUT_OF_RANGE},
        {FG_PARAM_TYPE_UINT32_T, 0, 4097, FG_ERR_VALUE_OUT_OF_RANGE},
        {FG_PARAM_TYPE_UINT32_T, 0xFFFFFFFFu, 2, FG_ERR_VALUE_OUT_OF_RANGE},
        {FG_PARAM_TYPE_UINT32_T, 1, 0xFFFFFFFFu, FG_ERR_VALUE_OUT_OF_RANGE},
        {FG_PARAM_TYPE_DOUBLE, 0, 4, FG_ERR_INVALID_PARAMETER},
        {FG_PARAM_TYPE_UINT64_T, 0, 4, FG_ERR_INVALID_PARAMETER},
    };
    for (const Case& c : cases) {
        b.clearLog();
        EXPECT_EQ(c.code, writeRange(0, fieldAccess(c.vtype, c.index, c.count, v.data())))
            << c.vtype << " " << c.index << " " << c.count;
        EXPECT_TRUE(b.log().empty());
    }
    // A range whose last value is out of range.
    v[3] = 4096;
    EXPECT_EQ(FG_ERR_VALUE_OUT_OF_RANGE, writeRange(0, fieldAccess(FG_PARAM_TYPE_UINT32_T, 10, 4, v.data())));
    EXPECT_EQ(before, table(0));
    // The whole table at once is a valid range.
    std::vector<uint32_t> all(kLutEntries, 4095);
    EXPECT_EQ(0, writeRange(0, fieldAccess(FG_PARAM_TYPE_UINT32_T, 0, kLutEntries, all.data())));
    EXPECT_EQ(all, table(0));
}

TEST_F(Lut, EntryReadsCheckTheirBounds) {
    processingMode();
    ASSERT_EQ(0, b.setD(FG_PROCESSING_GAIN, 2.0, 1));
    uint32_t one[2] = {0, 0};
    EXPECT_EQ(0, readRange(1, 4095, 1, one));
    EXPECT_EQ(4095u, one[0]);
    EXPECT_EQ(0, readRange(1, 10, 2, one));
    EXPECT_EQ(20u, one[0]);
    EXPECT_EQ(22u, one[1]);
    std::vector<uint32_t> big(kLutEntries + 2, 0xAAAAAAAA);
    const unsigned bad[][2] = {{4096, 0}, {0, 4097}, {1, 4096}, {4095, 2}, {0xFFFFFFFFu, 2}};
    for (const auto& ic : bad) {
        EXPECT_EQ(FG_ERR_INVALID_PARAMETER, readRange(1, ic[0], ic[1], big.data())) << ic[0] << " " << ic[1];
        EXPECT_EQ(0xAAAAAAAAu, big[0]);
    }
    // Element records, also under any other type; port 0 is untouched by port 1's gain.
    struct Element {
        int port;
        FgParamTypes type;
        FieldParameterInt e;
        int rc;
        uint32_t value;
    };
    for (const Element& c : {Element{1, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, {0, 1000}, 0, 2000},
                             Element{1, FG_PARAM_TYPE_UINT32_T, {0, 4095}, 0, 4095},
                             Element{1, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, {123, 4096}, FG_ERR_INVALID_PARAMETER, 123},
                             Element{0, FG_PARAM_TYPE_STRUCT_FIELDPARAMINT, {0, 1000}, 0, 1000}}) {
        FieldParameterInt e = c.e;
        EXPECT_EQ(c.rc, Fg_getParameterWithType(b.fg(), FG_LUT_VALUE, &e, c.port, c.type)) << c.e.index;
        EXPECT_EQ(c.value, e.value) << c.e.index;
    }
}

}  // namespace
