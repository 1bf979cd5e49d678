// The design runtime of the simulated platform: the generated design image,
// hand-written designs, and malformed, truncated or binary input; and the
// generated applet icon: a valid 32 x 32 RGBA PNG of exactly 3087 bytes, every
// chunk with its checksum, written alike by every run of the generator.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <tuple>

#include "check_table.h"
#include "hap_internal.h"
#include "platform_support.h"

using namespace platformtest;

namespace {

// Loads exactly `n` bytes from a heap buffer of that size, so that a read past
// the end is caught by the address sanitizer.
fpga_design* loadExact(const char* data, size_t n) {
    std::unique_ptr<char[]> buf(new char[n == 0 ? 1 : n]);
    if (n > 0) std::memcpy(buf.get(), data, n);
    return HapLoadDesignFromBuffer(buf.get(), static_cast<uint32_t>(n), 1);
}

const HapParameterInfo* findParam(fpga_design* d, const std::string& name) {
    for (int i = 0; i < HapGetNrOfParameter(d); ++i) {
        const HapParameterInfo* p = HapGetParameter(d, i);
        if (p && name == p->name) return p;
    }
    return nullptr;
}

uint32_t be32(const unsigned char* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}

uint32_t crc32(const unsigned char* p, size_t n) {
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = 0; i < n; ++i) {
        c ^= p[i];
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    }
    return ~c;
}

struct Chunk {
    std::string type;
    std::vector<unsigned char> data;
    bool crcOk;
};

std::vector<Chunk> chunks(const std::vector<unsigned char>& png) {
    std::vector<Chunk> out;
    size_t p = 8;
    while (p + 12 <= png.size()) {
        uint32_t n = be32(&png[p]);
        if (p + 12 + n > png.size()) break;
        Chunk c;
        c.type.assign(reinterpret_cast<const char*>(&png[p + 4]), 4);
        c.data.assign(png.begin() + static_cast<long>(p + 8), png.begin() + static_cast<long>(p + 8 + n));
        c.crcOk = crc32(&png[p + 4], n + 4) == be32(&png[p + 8 + n]);
        out.push_back(c);
        p += 12 + n;
    }
    return out;
}

// The generator named by the environment variable `tool` writes `bytes` again.
void expectRegenerated(const char* tool, const char* file, const std::vector<unsigned char>& bytes) {
    const std::string path = env(tool);
    ASSERT_FALSE(path.empty()) << tool;
    ASSERT_EQ(0, std::system((path + " " + file).c_str()));
    EXPECT_TRUE(readFile(file) == bytes) << tool;
    std::remove(file);
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

TEST_F(GeneratedImage, SizeNameParametersFileLoadAndTheGeneratorWritesTheSameBytesAgain) {
    EXPECT_EQ(7866434u, bytes_.size());
    EXPECT_STREQ("Orvindel", HapGetDesignName(design_.get()));
    EXPECT_EQ(154, HapGetNrOfParameter(design_.get()));
    Design fromFile(loadImage());
    ASSERT_NE(nullptr, fromFile);
    ASSERT_EQ(HapGetNrOfParameter(design_.get()), HapGetNrOfParameter(fromFile.get()));
    for (int i = 0; i < HapGetNrOfParameter(fromFile.get()); ++i)
        EXPECT_STREQ(HapGetParameter(design_.get(), i)->name, HapGetParameter(fromFile.get(), i)->name);
    EXPECT_EQ(HapGetNrOfRegister(design_.get()), HapGetNrOfRegister(fromFile.get()));
    expectRegenerated("ORV_MKHAP", "regenerated.hap", bytes_);
}

TEST_F(GeneratedImage, ManifestCutBeforeItsEndIsRejected) {
    const char* endLine = "\nend\n";
    const char* base = reinterpret_cast<const char*>(bytes_.data());
    const char* at = std::search(base, base + bytes_.size(), endLine, endLine + 5);
    ASSERT_NE(base + bytes_.size(), at);
    const size_t manifestEnd = static_cast<size_t>(at - base) + 5;
    checktable::expectNull({loadExact(base, manifestEnd - 1), loadExact(base, manifestEnd / 2)});
    Design exact(loadExact(base, manifestEnd));
    EXPECT_NE(nullptr, exact);
}

// Boards opened with the same image share its parsed design; each load still
// gets a handle of its own, and only the manifest decides what is shared.
TEST(DesignReload, EachLoadHasItsOwnHandleAndOnlyTheManifestDecides) {
    const std::string manifest = "TERVIK-HAP 1\nparam P U32 1 RW 7\nregister 5 R 8 2\nend\n";
    const std::string padded = manifest + "padding, never read \x01\x7f";
    Design first(loadExact(manifest.data(), manifest.size()));
    fpga_design* second = loadExact(padded.data(), padded.size());
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    EXPECT_NE(first.get(), second);
    HapUnloadHapFile(second);  // the other handle keeps its design
    EXPECT_EQ(7u, HapGetParameter(first.get(), 0)->initialU);
    EXPECT_EQ(8, HapGetRegisterBitRange(first.get(), 5));
    // A buffer that ends inside a manifest seen before is still refused...
    EXPECT_EQ(nullptr, loadExact(manifest.data(), manifest.size() - 1));
    // ...and a manifest one byte apart is a design of its own.
    std::string other = manifest;
    other[other.find(" 7\n") + 1] = '9';
    Design changed(loadExact(other.data(), other.size()));
    ASSERT_NE(nullptr, changed);
    EXPECT_EQ(9u, HapGetParameter(changed.get(), 0)->initialU);
    EXPECT_EQ(7u, HapGetParameter(first.get(), 0)->initialU);
}

// ---- a hand-written design -------------------------------------------------------------

TEST(HandWrittenDesign, SparseEventsRegistersAndInitialValuesOfEveryKind) {
    ASSERT_TRUE(writeFile("small.hap", smallDesign()));
    Design d(HapLoadHapFileWithType("small.hap", HAP_FILE_TYPE_DEFAULT, 1));
    std::remove("small.hap");
    ASSERT_NE(nullptr, d);
    fpga_design* s = d.get();
    // events by their index, with gaps
    ASSERT_NE(nullptr, HapGetEvent(s, 5));
    EXPECT_STREQ("Device1_Process1_Overflow_Overflow", HapGetEvent(s, 5)->name);
    EXPECT_EQ(1, HapGetEvent(s, 5)->kind);
    ASSERT_NE(nullptr, HapGetEvent(s, 2));
    EXPECT_EQ(0, HapGetEvent(s, 2)->kind);
    for (int gap : {1, 3, 4}) EXPECT_EQ(nullptr, HapGetEvent(s, gap)) << gap;
    EXPECT_EQ(6, HapGetEventRange(s));
    // register positions and numbers differ: position, name, number, bits, direction
    EXPECT_EQ(3, HapGetNrOfRegister(s));
    const std::tuple<int, const char*, int, int, int> registers[] = {
        {1, "Narrow", 3, 8, 2}, {2, "Wide", 10, 40, 2}, {3, "Readonly", 11, 16, 0}};
    for (const auto& r : registers) {
        EXPECT_STREQ(std::get<1>(r), HapGetRegisterName(s, std::get<0>(r)));
        const int number = HapGetRegisterByName(s, std::get<1>(r));
        EXPECT_EQ((std::vector<int>{std::get<2>(r), std::get<3>(r), std::get<4>(r)}),
                  (std::vector<int>{number, HapGetRegisterBitRange(s, number), HapGetRegisterDirection(s, number)}));
    }
    // unknown names; a position is not a number
    checktable::expectAll(
        0, {HapGetRegisterByName(s, "Nope"), HapGetRegisterByName(s, nullptr), HapGetRegisterBitRange(s, 2)});
    EXPECT_EQ(-1, HapGetRegisterDirection(s, 2));
    // initial values
    EXPECT_EQ(13, HapGetNrOfParameter(s));
    EXPECT_EQ(1024u, findParam(s, "Device1_Process0_Block_Width")->initialU);
    EXPECT_EQ(0x1FFFFFFFFFull, findParam(s, "Device1_Process0_Block_Big")->initialU);
    EXPECT_DOUBLE_EQ(12.5, findParam(s, "Device1_Process0_Block_Period")->initialD);
    EXPECT_STREQ("hello small world", findParam(s, "Device1_Process0_Props_Name")->initialText);
    EXPECT_STREQ("", findParam(s, "Device1_Process0_Props_Note")->initialText);
    const HapParameterInfo* values = findParam(s, "Device1_Process0_Table_Values");
    ASSERT_EQ(3u, values->nrOfInitialElements);
    EXPECT_EQ(8u, values->count);
    EXPECT_EQ(3u, values->initialUElements[2]);
    const HapParameterInfo* currents = findParam(s, "Device1_Process0_Table_Currents");
    ASSERT_EQ(4u, currents->nrOfInitialElements);
    EXPECT_DOUBLE_EQ(1.5, currents->initialDElements[3]);
    EXPECT_EQ(1, currents->readOnly);
    checktable::expectNull({HapGetParameter(s, 13), HapGetParameter(s, -1)});
}

TEST(HandWrittenDesign, CommentsBlankLinesCarriageReturnsAndTrailingBytesAreAccepted) {
    std::string text = "TERVIK-HAP 1\r\n# a comment\r\n\r\n   \t\r\nparam  A\tU32  1 RW   5\r\nend\r\n";
    text += std::string("\0\xff\x01 garbage\nmore", 17);
    Design d(loadText(text));
    ASSERT_NE(nullptr, d);
    ASSERT_EQ(1, HapGetNrOfParameter(d.get()));
    EXPECT_STREQ("A", HapGetParameter(d.get(), 0)->name);
    EXPECT_EQ(5u, HapGetParameter(d.get(), 0)->initialU);
    Design empty(loadText("TERVIK-HAP 1\nend\n"));
    ASSERT_NE(nullptr, empty) << "an empty design is valid";
    EXPECT_EQ(0, HapGetNrOfParameter(empty.get()));
    EXPECT_EQ(0, HapGetNrOfRegister(empty.get()));
    EXPECT_EQ(nullptr, HapGetEvent(empty.get(), 0));
}

// ---- rejected input ---------------------------------------------------------------

TEST(RejectedDesign, NullEmptyAndMissingInputsAndQueriesOnNoDesign) {
    checktable::expectNull(
        {HapLoadDesignFromBuffer(nullptr, 100, 1), HapLoadDesignFromBuffer("TERVIK-HAP 1\nend\n", 0, 1)});
    for (const char* file : {static_cast<const char*>(nullptr), "", "does/not/exist.hap", "." /* a directory */})
        EXPECT_EQ(nullptr, HapLoadHapFileWithType(file, HAP_FILE_TYPE_DEFAULT, 1)) << (file ? file : "NULL");
    checktable::expectNull({HapGetEvent(nullptr, 0), HapGetRegisterName(nullptr, 1), HapGetParameter(nullptr, 0)});
    checktable::expectAll(0, {HapGetNrOfRegister(nullptr), HapGetRegisterByName(nullptr, "A"),
                              HapGetRegisterBitRange(nullptr, 1), HapGetNrOfParameter(nullptr)});
    EXPECT_EQ(-1, HapGetRegisterDirection(nullptr, 1));
    HapUnloadHapFile(nullptr);
}

TEST(RejectedDesign, MalformedManifests) {
    const char* bodies[] = {"bogus line\n",
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
                            "end now\n"};
    for (const char* body : bodies) {
        std::string text = std::string("TERVIK-HAP 1\n") + body + "end\n";
        fpga_design* d = loadText(text);
        EXPECT_EQ(nullptr, d) << body;
        HapUnloadHapFile(d);
    }
    const char* heads[] = {"TERVIK-HAP 2\nend\n",   "tervik-hap 1\nend\n",  " TERVIK-HAP 1\nend\n",
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

// ---- the generated icon ---------------------------------------------------------

TEST(GeneratedIcon, SizeSignatureChunksAndHeaderAndTheGeneratorWritesTheSameBytesAgain) {
    const std::vector<unsigned char> png_ = readFile(iconPath());
    EXPECT_EQ(3087u, png_.size());
    const unsigned char sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    ASSERT_TRUE(std::equal(sig, sig + 8, png_.begin()));
    std::vector<Chunk> c = chunks(png_);
    ASSERT_GE(c.size(), 3u);
    EXPECT_EQ("IHDR", c.front().type);
    EXPECT_EQ("IEND", c.back().type);
    EXPECT_TRUE(c.back().data.empty());
    size_t total = 8;
    for (const Chunk& k : c) {
        EXPECT_TRUE(k.crcOk) << k.type;
        total += 12 + k.data.size();
    }
    EXPECT_EQ(png_.size(), total) << "no bytes outside the chunks";
    // 32 x 32, bit depth 8, RGBA, deflate, adaptive filtering, no interlace
    const std::vector<unsigned char>& h = c.front().data;
    ASSERT_EQ(13u, h.size());
    EXPECT_EQ(32u, be32(&h[0]));
    EXPECT_EQ(32u, be32(&h[4]));
    EXPECT_EQ((std::vector<unsigned char>{8, 6, 0, 0, 0}), std::vector<unsigned char>(h.begin() + 8, h.end()));
    expectRegenerated("ORV_MKICON", "again.png", png_);
}
