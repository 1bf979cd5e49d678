// The design runtime of the simulated platform: the generated design image,
// hand-written designs, and malformed, truncated or binary input.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "hap_internal.h"
#include "platform_support.h"

using namespace platformtest;

namespace {

struct DesignDeleter {
    void operator()(fpga_design* d) const { HapUnloadHapFile(d); }
};
using Design = std::unique_ptr<fpga_design, DesignDeleter>;

// Loads exactly `n` bytes from a heap buffer of that size, so that a read past
// the end is caught by the address sanitizer.
fpga_design* loadExact(const char* data, size_t n) {
    std::unique_ptr<char[]> buf(new char[n == 0 ? 1 : n]);
    if (n > 0) std::memcpy(buf.get(), data, n);
    return HapLoadDesignFromBuffer(buf.get(), static_cast<uint32_t>(n), 1);
}

struct ExpectedParam {
    std::string name;
    int kind;
    unsigned count;
    bool readOnly;
};

int kindOf(const char* k) {
    std::string s(k);
    if (s == "U32") return HAP_KIND_U32;
    if (s == "U64") return HAP_KIND_U64;
    if (s == "DOUBLE") return HAP_KIND_DOUBLE;
    if (s == "TEXT") return HAP_KIND_TEXT;
    if (s == "UFIELD") return HAP_KIND_UFIELD;
    return HAP_KIND_DFIELD;
}

// The design parameters the applet expects, with their full names.
std::vector<ExpectedParam> expectedParams() {
    std::vector<ExpectedParam> port, board, shared;
#define DESIGN_PARAM_PORT(NAME, KIND, COUNT, ACCESS)                                                    \
    port.push_back({"Device1_Process0_" #NAME, kindOf(#KIND), COUNT, std::string(#ACCESS) == "RO"}); \
    port.push_back({"Device1_Process1_" #NAME, kindOf(#KIND), COUNT, std::string(#ACCESS) == "RO"});
#define DESIGN_PARAM_BOARD(NAME, KIND, COUNT, ACCESS) \
    board.push_back({"Device1_Process0_" #NAME, kindOf(#KIND), COUNT, std::string(#ACCESS) == "RO"});
#define DESIGN_PARAM_SHARED(NAME, KIND, COUNT, ACCESS) \
    shared.push_back({"Device1_Process2_" #NAME, kindOf(#KIND), COUNT, std::string(#ACCESS) == "RO"});
#include "design_params.def"
    std::vector<ExpectedParam> all = port;
    all.insert(all.end(), board.begin(), board.end());
    all.insert(all.end(), shared.begin(), shared.end());
    return all;
}

const HapParameterInfo* findParam(fpga_design* d, const std::string& name) {
    for (int i = 0; i < HapGetNrOfParameter(d); ++i) {
        const HapParameterInfo* p = HapGetParameter(d, i);
        if (p && name == p->name) return p;
    }
    return nullptr;
}

class GeneratedImage : public ::testing::Test {
protected:
    void SetUp() override {
        bytes_ = readFile(designImagePath());
        ASSERT_FALSE(bytes_.empty()) << designImagePath();
        design_.reset(HapLoadDesignFromBuffer(bytes_.data(), static_cast<uint32_t>(bytes_.size()), 1));
        ASSERT_NE(nullptr, design_);
    }
    std::vector<unsigned char> bytes_;
    Design design_;
};

}  // namespace

// ---- the generated image ------------------------------------------------------------

TEST_F(GeneratedImage, HasTheDesignImageSize) { EXPECT_EQ(7866434u, bytes_.size()); }

TEST_F(GeneratedImage, HoldsEveryDesignParameterWithFullNameKindCountAndAccess) {
    const std::vector<ExpectedParam> expected = expectedParams();
    ASSERT_EQ(154u, expected.size());
    ASSERT_EQ(154, HapGetNrOfParameter(design_.get()));
    std::set<std::string> seen;
    for (const ExpectedParam& e : expected) {
        const HapParameterInfo* p = findParam(design_.get(), e.name);
        ASSERT_NE(nullptr, p) << e.name;
        EXPECT_EQ(e.kind, p->kind) << e.name;
        EXPECT_EQ(e.count, p->count) << e.name;
        EXPECT_EQ(e.readOnly ? 1 : 0, p->readOnly) << e.name;
        seen.insert(p->name);
    }
    EXPECT_EQ(154u, seen.size());
    EXPECT_STREQ("Orvindel", HapGetDesignName(design_.get()));
}

TEST_F(GeneratedImage, LiveStatusValuesStartPlausible) {
    fpga_design* d = design_.get();
    auto dbl = [d](const char* n) {
        const HapParameterInfo* p = findParam(d, n);
        EXPECT_NE(nullptr, p) << n;
        return p ? p->initialD : NAN;
    };
    for (const char* t : {"Device1_Process0_BoardStatus_FpgaTemperature", "Device1_Process0_BoardStatus_CxpChipTemperature",
                          "Device1_Process0_BoardStatus_RamChipTemperature",
                          "Device1_Process0_BoardStatus_CxpPowerRegulatorTemperature",
                          "Device1_Process0_BoardStatus_PowerRegulatorTemperature"}) {
        EXPECT_GE(dbl(t), 45.0) << t;
        EXPECT_LE(dbl(t), 60.0) << t;
    }
    EXPECT_NEAR(1.0, dbl("Device1_Process0_BoardStatus_FpgaVccInt"), 0.05);
    EXPECT_NEAR(1.8, dbl("Device1_Process0_BoardStatus_FpgaVccAux"), 0.05);
    EXPECT_NEAR(12.0, dbl("Device1_Process0_BoardStatus_BoardPower"), 1.0);

    const HapParameterInfo* dna = findParam(d, "Device1_Process0_BoardStatus_FpgaDNA");
    ASSERT_NE(nullptr, dna);
    EXPECT_GE(dna->initialU, uint64_t{1} << 56);
    EXPECT_LT(dna->initialU, uint64_t{1} << 57);

    for (const char* f : {"Device1_Process0_BoardStatus_ChannelCurrent", "Device1_Process0_BoardStatus_ChannelVoltage"}) {
        const HapParameterInfo* p = findParam(d, f);
        ASSERT_NE(nullptr, p) << f;
        ASSERT_EQ(4u, p->nrOfInitialElements) << f;
        for (unsigned i = 0; i < 4; ++i) EXPECT_GT(p->initialDElements[i], 0.0) << f << " " << i;
    }
    const HapParameterInfo* uid = findParam(d, "Device1_Process0_AppletProperties_AppletUid");
    ASSERT_NE(nullptr, uid);
    EXPECT_STREQ("d27e4a90-1c5b-4e38-2a6d-91f3b0c7e825", uid->initialText);
    const HapParameterInfo* built = findParam(d, "Device1_Process0_AppletProperties_BuildTime");
    ASSERT_NE(nullptr, built);
    EXPECT_STREQ("2017-08-09 08:27:32", built->initialText);
    for (int port = 0; port < 2; ++port) {
        std::string pre = "Device1_Process" + std::to_string(port) + "_";
        for (const char* n : {"Overflow_OverflowOccurred", "Buffer_0_DRAM_A_0_FillLevel", "Buffer_0_DRAM_A_1_FillLevel"}) {
            const HapParameterInfo* p = findParam(d, pre + n);
            ASSERT_NE(nullptr, p) << pre + n;
            EXPECT_EQ(0u, p->initialU) << pre + n;
        }
    }
    const HapParameterInfo* in = findParam(d, "Device1_Process2_Trigger_InputStatus_Status");
    ASSERT_NE(nullptr, in);
    EXPECT_EQ(0u, in->initialU);
}

TEST_F(GeneratedImage, EventsAreContiguousWithBothOverflowEventsOfKindOne) {
    fpga_design* d = design_.get();
    int count = 0;
    while (HapGetEvent(d, count) != nullptr) ++count;
    EXPECT_GE(count, 4);
    EXPECT_EQ(count, HapGetEventRange(d));
    bool kind0 = false, p0 = false, p1 = false;
    for (int i = 0; i < count; ++i) {
        const HapEvent* e = HapGetEvent(d, i);
        ASSERT_NE(nullptr, e->name);
        if (e->kind == 0) kind0 = true;
        if (std::string(e->name) == "Device1_Process0_Overflow_Overflow") {
            p0 = true;
            EXPECT_EQ(1, e->kind);
        }
        if (std::string(e->name) == "Device1_Process1_Overflow_Overflow") {
            p1 = true;
            EXPECT_EQ(1, e->kind);
        }
    }
    EXPECT_TRUE(kind0);
    EXPECT_TRUE(p0);
    EXPECT_TRUE(p1);
    EXPECT_EQ(nullptr, HapGetEvent(d, -1));
    EXPECT_EQ(nullptr, HapGetEvent(d, 64));
}

TEST_F(GeneratedImage, RegistersOfSeveralWidthsAndDirections) {
    fpga_design* d = design_.get();
    const int n = HapGetNrOfRegister(d);
    ASSERT_GE(n, 5);
    std::set<int> widths, directions, numbers;
    for (int pos = 1; pos <= n; ++pos) {
        const char* name = HapGetRegisterName(d, pos);
        ASSERT_NE(nullptr, name) << pos;
        int number = HapGetRegisterByName(d, name);
        EXPECT_GT(number, 0) << name;
        numbers.insert(number);
        widths.insert(HapGetRegisterBitRange(d, number));
        directions.insert(HapGetRegisterDirection(d, number));
    }
    EXPECT_EQ(static_cast<size_t>(n), numbers.size());
    for (int w : {8, 16, 32, 40, 64}) EXPECT_TRUE(widths.count(w)) << w;
    for (int dir : {0, 1, 2}) EXPECT_TRUE(directions.count(dir)) << dir;
    EXPECT_EQ(nullptr, HapGetRegisterName(d, 0));
    EXPECT_EQ(nullptr, HapGetRegisterName(d, n + 1));
}

TEST_F(GeneratedImage, FileAndBufferLoadsAgree) {
    Design fromFile(HapLoadHapFileWithType(designImagePath().c_str(), HAP_FILE_TYPE_DEFAULT, 1));
    ASSERT_NE(nullptr, fromFile);
    ASSERT_EQ(HapGetNrOfParameter(design_.get()), HapGetNrOfParameter(fromFile.get()));
    for (int i = 0; i < HapGetNrOfParameter(fromFile.get()); ++i)
        EXPECT_STREQ(HapGetParameter(design_.get(), i)->name, HapGetParameter(fromFile.get(), i)->name);
    EXPECT_EQ(HapGetNrOfRegister(design_.get()), HapGetNrOfRegister(fromFile.get()));
}

TEST_F(GeneratedImage, GeneratorWritesTheSameBytesAgain) {
    const std::string mkhap = env("ORV_MKHAP");
    ASSERT_FALSE(mkhap.empty());
    const std::string out = "regenerated.hap";
    ASSERT_EQ(0, std::system((mkhap + " " + out).c_str()));
    EXPECT_TRUE(readFile(out) == bytes_);
    std::remove(out.c_str());
}

TEST_F(GeneratedImage, ManifestCutBeforeItsEndIsRejected) {
    const char* endLine = "\nend\n";
    const unsigned char* base = bytes_.data();
    const unsigned char* at = std::search(base, base + bytes_.size(), endLine, endLine + 5);
    ASSERT_NE(base + bytes_.size(), at);
    const size_t manifestEnd = static_cast<size_t>(at - base) + 5;
    EXPECT_EQ(nullptr, loadExact(reinterpret_cast<const char*>(base), manifestEnd - 1));
    EXPECT_EQ(nullptr, loadExact(reinterpret_cast<const char*>(base), manifestEnd / 2));
    Design exact(loadExact(reinterpret_cast<const char*>(base), manifestEnd));
    EXPECT_NE(nullptr, exact);
}

// ---- a hand-written design -------------------------------------------------------------

TEST(HandWrittenDesign, SparseEventsAreFoundByTheirIndex) {
    Design d(loadText(smallDesign()));
    ASSERT_NE(nullptr, d);
    const HapEvent* e5 = HapGetEvent(d.get(), 5);
    ASSERT_NE(nullptr, e5);
    EXPECT_STREQ("Device1_Process1_Overflow_Overflow", e5->name);
    EXPECT_EQ(1, e5->kind);
    EXPECT_EQ(nullptr, HapGetEvent(d.get(), 3));
    EXPECT_EQ(nullptr, HapGetEvent(d.get(), 4));
    ASSERT_NE(nullptr, HapGetEvent(d.get(), 2));
    EXPECT_EQ(0, HapGetEvent(d.get(), 2)->kind);
    EXPECT_EQ(nullptr, HapGetEvent(d.get(), 1));
    EXPECT_EQ(6, HapGetEventRange(d.get()));
}

TEST(HandWrittenDesign, RegisterPositionsAndNumbersDiffer) {
    Design d(loadText(smallDesign()));
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(3, HapGetNrOfRegister(d.get()));
    EXPECT_STREQ("Narrow", HapGetRegisterName(d.get(), 1));
    EXPECT_STREQ("Wide", HapGetRegisterName(d.get(), 2));
    EXPECT_STREQ("Readonly", HapGetRegisterName(d.get(), 3));
    EXPECT_EQ(3, HapGetRegisterByName(d.get(), "Narrow"));
    EXPECT_EQ(10, HapGetRegisterByName(d.get(), "Wide"));
    EXPECT_EQ(8, HapGetRegisterBitRange(d.get(), 3));
    EXPECT_EQ(40, HapGetRegisterBitRange(d.get(), 10));
    EXPECT_EQ(2, HapGetRegisterDirection(d.get(), 10));
    EXPECT_EQ(0, HapGetRegisterDirection(d.get(), 11));
    // unknown names and numbers (a position is not a number)
    EXPECT_EQ(0, HapGetRegisterByName(d.get(), "Nope"));
    EXPECT_EQ(0, HapGetRegisterByName(d.get(), nullptr));
    EXPECT_EQ(0, HapGetRegisterBitRange(d.get(), 2));
    EXPECT_EQ(-1, HapGetRegisterDirection(d.get(), 2));
}

TEST(HandWrittenDesign, ParameterInitialValuesOfEveryKind) {
    Design d(loadText(smallDesign()));
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(13, HapGetNrOfParameter(d.get()));
    EXPECT_EQ(1024u, findParam(d.get(), "Device1_Process0_Block_Width")->initialU);
    EXPECT_EQ(0x1FFFFFFFFFull, findParam(d.get(), "Device1_Process0_Block_Big")->initialU);
    EXPECT_DOUBLE_EQ(12.5, findParam(d.get(), "Device1_Process0_Block_Period")->initialD);
    EXPECT_STREQ("hello small world", findParam(d.get(), "Device1_Process0_Props_Name")->initialText);
    EXPECT_STREQ("", findParam(d.get(), "Device1_Process0_Props_Note")->initialText);
    const HapParameterInfo* values = findParam(d.get(), "Device1_Process0_Table_Values");
    ASSERT_EQ(3u, values->nrOfInitialElements);
    EXPECT_EQ(8u, values->count);
    EXPECT_EQ(3u, values->initialUElements[2]);
    const HapParameterInfo* currents = findParam(d.get(), "Device1_Process0_Table_Currents");
    ASSERT_EQ(4u, currents->nrOfInitialElements);
    EXPECT_DOUBLE_EQ(1.5, currents->initialDElements[3]);
    EXPECT_EQ(1, currents->readOnly);
    EXPECT_EQ(nullptr, HapGetParameter(d.get(), 13));
    EXPECT_EQ(nullptr, HapGetParameter(d.get(), -1));
}

TEST(HandWrittenDesign, CommentsBlankLinesCarriageReturnsAndTrailingBytesAreAccepted) {
    std::string text =
        "TERVIK-HAP 1\r\n"
        "# a comment\r\n"
        "\r\n"
        "   \t\r\n"
        "param  A\tU32  1 RW   5\r\n"
        "end\r\n";
    text += std::string("\0\xff\x01 garbage\nmore", 17);
    Design d(loadText(text));
    ASSERT_NE(nullptr, d);
    ASSERT_EQ(1, HapGetNrOfParameter(d.get()));
    EXPECT_STREQ("A", HapGetParameter(d.get(), 0)->name);
    EXPECT_EQ(5u, HapGetParameter(d.get(), 0)->initialU);
}

TEST(HandWrittenDesign, AnEmptyDesignIsValid) {
    Design d(loadText("TERVIK-HAP 1\nend\n"));
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(0, HapGetNrOfParameter(d.get()));
    EXPECT_EQ(0, HapGetNrOfRegister(d.get()));
    EXPECT_EQ(nullptr, HapGetEvent(d.get(), 0));
}

TEST(HandWrittenDesign, LoadsFromAFile) {
    ASSERT_TRUE(writeFile("small.hap", smallDesign()));
    Design d(HapLoadHapFileWithType("small.hap", HAP_FILE_TYPE_DEFAULT, 1));
    ASSERT_NE(nullptr, d);
    EXPECT_EQ(3, HapGetNrOfRegister(d.get()));
    std::remove("small.hap");
}

// ---- rejected input ---------------------------------------------------------------

TEST(RejectedDesign, NullEmptyAndMissingInputs) {
    EXPECT_EQ(nullptr, HapLoadDesignFromBuffer(nullptr, 100, 1));
    EXPECT_EQ(nullptr, HapLoadDesignFromBuffer("TERVIK-HAP 1\nend\n", 0, 1));
    EXPECT_EQ(nullptr, HapLoadHapFileWithType(nullptr, HAP_FILE_TYPE_DEFAULT, 1));
    EXPECT_EQ(nullptr, HapLoadHapFileWithType("", HAP_FILE_TYPE_DEFAULT, 1));
    EXPECT_EQ(nullptr, HapLoadHapFileWithType("does/not/exist.hap", HAP_FILE_TYPE_DEFAULT, 1));
    EXPECT_EQ(nullptr, HapLoadHapFileWithType(".", HAP_FILE_TYPE_DEFAULT, 1));  // a directory
}

TEST(RejectedDesign, QueriesOnNoDesignAnswerNothing) {
    EXPECT_EQ(nullptr, HapGetEvent(nullptr, 0));
    EXPECT_EQ(0, HapGetNrOfRegister(nullptr));
    EXPECT_EQ(nullptr, HapGetRegisterName(nullptr, 1));
    EXPECT_EQ(0, HapGetRegisterByName(nullptr, "A"));
    EXPECT_EQ(0, HapGetRegisterBitRange(nullptr, 1));
    EXPECT_EQ(-1, HapGetRegisterDirection(nullptr, 1));
    EXPECT_EQ(0, HapGetNrOfParameter(nullptr));
    EXPECT_EQ(nullptr, HapGetParameter(nullptr, 0));
    HapUnloadHapFile(nullptr);
}

TEST(RejectedDesign, EveryTruncationIsRejected) {
    const std::string text = smallDesign();
    for (size_t n = 0; n < text.size(); ++n) {
        fpga_design* d = loadExact(text.data(), n);
        EXPECT_EQ(nullptr, d) << "accepted a prefix of " << n << " bytes";
        HapUnloadHapFile(d);
    }
    Design full(loadExact(text.data(), text.size()));
    EXPECT_NE(nullptr, full);
}

TEST(RejectedDesign, MalformedManifests) {
    const char* bodies[] = {
        "bogus line\n",
        "param A U16 1 RW\n",
        "param A U32 0 RW\n",
        "param A U32 2 RW\n",
        "param A UFIELD 0 RW\n",
        "param A UFIELD 1048577 RW\n",
        "param A U32 1 WO\n",
        "param A U32 1\n",
        "param A U32 1 RW 4294967296\n",
        "param A U32 1 RW -1\n",
        "param A U32 1 RW 12abc\n",
        "param A U32 1 RW 1 2\n",
        "param A DOUBLE 1 RW x\n",
        "param A U64 1 RW 18446744073709551616\n",
        "param A UFIELD 2 RW 1,2,3\n",
        "param A UFIELD 4 RW 1,,3\n",
        "param A DFIELD 4 RW 1.0,zz\n",
        "param A U32 1 RW\nparam A U32 1 RW\n",
        "event 0 1\n",
        "event -1 1 E\n",
        "event 1024 1 E\n",
        "event 0 256 E\n",
        "event 0 1 E\nevent 0 1 F\n",
        "event 0 1 E\nevent 1 1 E\n",
        "register 0 R 8 2\n",
        "register 1000000 R 8 2\n",
        "register 1 R 0 2\n",
        "register 1 R 65 2\n",
        "register 1 R 8 3\n",
        "register 1 R 8\n",
        "register 1 R 8 2\nregister 1 S 8 2\n",
        "register 1 R 8 2\nregister 2 R 8 2\n",
        "design\n",
        "end now\n",
    };
    for (const char* body : bodies) {
        std::string text = std::string("TERVIK-HAP 1\n") + body + "end\n";
        fpga_design* d = loadText(text);
        EXPECT_EQ(nullptr, d) << body;
        HapUnloadHapFile(d);
    }
    const char* heads[] = {"TERVIK-HAP 2\nend\n", "tervik-hap 1\nend\n", " TERVIK-HAP 1\nend\n",
                           "\nTERVIK-HAP 1\nend\n", "TERVIK-HAP 1 \nend\n", "end\n"};
    for (const char* text : heads) EXPECT_EQ(nullptr, loadText(text)) << text;
    // a NUL byte inside the manifest
    std::string withNul("TERVIK-HAP 1\nparam A U32 1 RW\0\nend\n", 35);
    EXPECT_EQ(nullptr, loadText(withNul));
    // a name longer than 255 characters and a text longer than 255 characters
    EXPECT_EQ(nullptr, loadText("TERVIK-HAP 1\nparam " + std::string(256, 'N') + " U32 1 RW\nend\n"));
    EXPECT_EQ(nullptr, loadText("TERVIK-HAP 1\nparam T TEXT 1 RW " + std::string(256, 't') + "\nend\n"));
    Design longest(loadText("TERVIK-HAP 1\nparam T TEXT 1 RW " + std::string(255, 't') + "\nend\n"));
    EXPECT_NE(nullptr, longest);
}

TEST(RejectedDesign, BinaryAndMutatedInputNeverCrashes) {
    uint32_t x = 12345;
    auto next = [&x]() {
        x = x * 1103515245u + 12345u;
        return x >> 16;
    };
    // random bytes, with and without the magic line in front
    for (int round = 0; round < 200; ++round) {
        std::string junk(1 + next() % 600, '\0');
        for (char& c : junk) c = static_cast<char>(next());
        EXPECT_EQ(nullptr, loadExact(junk.data(), junk.size()));
        std::string magic = "TERVIK-HAP 1\n" + junk;
        HapUnloadHapFile(loadExact(magic.data(), magic.size()));
    }
    // single-byte mutations of a valid design: loaded or refused, never broken
    const std::string text = smallDesign();
    for (int round = 0; round < 3000; ++round) {
        std::string m = text;
        m[next() % m.size()] = static_cast<char>(next());
        fpga_design* d = loadExact(m.data(), m.size());
        if (d != nullptr) {
            for (int i = 0; i < HapGetNrOfParameter(d); ++i) ASSERT_NE(nullptr, HapGetParameter(d, i)->name);
            for (int i = 0; i < 8; ++i) HapGetEvent(d, i);
            for (int p = 1; p <= HapGetNrOfRegister(d); ++p)
                HapGetRegisterBitRange(d, HapGetRegisterByName(d, HapGetRegisterName(d, p)));
        }
        HapUnloadHapFile(d);
    }
}
