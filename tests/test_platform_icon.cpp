// The generated applet icon: a valid 32 x 32 RGBA PNG of exactly 3087 bytes,
// every chunk with its checksum, written alike by every run of the generator.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform_support.h"

using namespace platformtest;

namespace {

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

class Icon : public ::testing::Test {
protected:
    void SetUp() override {
        png_ = readFile(iconPath());
        ASSERT_FALSE(png_.empty()) << iconPath();
    }
    std::vector<unsigned char> png_;
};

}  // namespace

TEST_F(Icon, SizeSignatureChunksAndHeader) {
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
}

TEST_F(Icon, GeneratorWritesTheSameBytesAgain) {
    const std::string mkicon = env("ORV_MKICON");
    ASSERT_FALSE(mkicon.empty());
    ASSERT_EQ(0, std::system((mkicon + " again.png").c_str()));
    EXPECT_TRUE(readFile("again.png") == png_);
    std::remove("again.png");
}
