// The generated applet icon: a valid 32 x 32 RGBA PNG of exactly 3087 bytes.
// The image data is inflated here (the encoder writes fixed-Huffman deflate
// blocks) to check the encoder, the checksums and the picture.

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

// A small inflater for fixed-Huffman blocks; false on anything else.
class Inflater {
public:
    explicit Inflater(const std::vector<unsigned char>& in) : in_(in) {}
    bool run(std::vector<unsigned char>& out) {
        int bfinal = 0, btype;
        while (bfinal == 0) {
            if (!bits(1, bfinal) || !bits(2, btype) || btype != 1 || !fixedBlock(out)) return false;
        }
        consumed_ = (pos_ + 7) / 8;
        return true;
    }
    size_t consumed() const { return consumed_; }

private:
    bool bits(int n, int& v) {
        v = 0;
        for (int i = 0; i < n; ++i) {
            if (pos_ / 8 >= in_.size()) return false;
            v |= ((in_[pos_ / 8] >> (pos_ % 8)) & 1) << i;
            ++pos_;
        }
        return true;
    }
    bool huff(int n, int& v) {  // n more bits, MSB first, appended to v
        for (int i = 0; i < n; ++i) {
            int b;
            if (!bits(1, b)) return false;
            v = (v << 1) | b;
        }
        return true;
    }
    bool literalLength(int& sym) {  // the fixed code: 7, 8 or 9 bits
        int c = 0;
        if (!huff(7, c)) return false;
        if (c <= 0x17) return sym = 256 + c, true;
        if (!huff(1, c)) return false;
        if (c >= 0x30 && c <= 0xBF) return sym = c - 0x30, true;
        if (c >= 0xC0 && c <= 0xC7) return sym = 280 + c - 0xC0, true;
        if (!huff(1, c)) return false;
        return c >= 0x190 && c <= 0x1FF ? (sym = 144 + c - 0x190, true) : false;
    }
    bool fixedBlock(std::vector<unsigned char>& out) {
        static const int lenBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                                        31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
        static const int lenExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,
                                         2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
        static const int distBase[30] = {1,    2,    3,    4,    5,    7,     9,     13,    17,  25,
                                         33,   49,   65,   97,   129,  193,   257,   385,   513, 769,
                                         1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
        static const int distExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2, 3, 3, 4, 4, 5, 5, 6,
                                          6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};
        for (;;) {
            int sym;
            if (!literalLength(sym)) return false;
            if (sym < 256) {
                out.push_back(static_cast<unsigned char>(sym));
                continue;
            }
            if (sym == 256) return true;
            if (sym > 285) return false;
            int e, d = 0, de;
            if (!bits(lenExtra[sym - 257], e)) return false;
            int len = lenBase[sym - 257] + e;
            if (!huff(5, d) || d > 29) return false;
            if (!bits(distExtra[d], de)) return false;
            size_t dist = static_cast<size_t>(distBase[d] + de);
            if (dist > out.size()) return false;
            for (int i = 0; i < len; ++i) out.push_back(out[out.size() - dist]);
        }
    }
    const std::vector<unsigned char>& in_;
    size_t pos_ = 0;
    size_t consumed_ = 0;
};

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

TEST_F(Icon, ImageDataInflatesWithAValidChecksumToAPicture) {
    std::vector<unsigned char> z;
    for (const Chunk& k : chunks(png_))
        if (k.type == "IDAT") z.insert(z.end(), k.data.begin(), k.data.end());
    ASSERT_GE(z.size(), 6u);
    EXPECT_EQ(8, z[0] & 0x0F) << "deflate";
    EXPECT_EQ(0, ((z[0] << 8) | z[1]) % 31) << "zlib header check";
    std::vector<unsigned char> body(z.begin() + 2, z.end());
    Inflater inf(body);
    std::vector<unsigned char> raw;
    ASSERT_TRUE(inf.run(raw));
    ASSERT_EQ(32u * (1 + 32 * 4), raw.size());
    ASSERT_EQ(inf.consumed() + 4, body.size()) << "Adler-32 follows the deflate data";
    uint32_t a = 1, b = 0;
    for (unsigned char ch : raw) {
        a = (a + ch) % 65521u;
        b = (b + a) % 65521u;
    }
    EXPECT_EQ((b << 16) | a, be32(&body[inf.consumed()]));
    auto alpha = [&raw](int x, int y) { return raw[static_cast<size_t>(y) * 129 + 1 + static_cast<size_t>(x) * 4 + 3]; };
    for (int y = 0; y < 32; ++y) EXPECT_LE(raw[static_cast<size_t>(y) * 129], 4) << "filter type of row " << y;
    EXPECT_EQ(0, alpha(0, 0)) << "transparent corner";
    EXPECT_EQ(255, alpha(16, 16)) << "opaque centre";
    std::vector<std::vector<unsigned char>> colours;
    for (int x = 0; x < 32; ++x) {
        const unsigned char* p = &raw[16 * 129 + 1 + static_cast<size_t>(x) * 4];
        std::vector<unsigned char> c(p, p + 4);
        if (std::find(colours.begin(), colours.end(), c) == colours.end()) colours.push_back(c);
    }
    EXPECT_GE(colours.size(), 2u) << "something is drawn";
}

TEST_F(Icon, GeneratorWritesTheSameBytesAgain) {
    const std::string mkicon = env("ORV_MKICON");
    ASSERT_FALSE(mkicon.empty());
    ASSERT_EQ(0, std::system((mkicon + " again.png").c_str()));
    EXPECT_TRUE(readFile("again.png") == png_);
    std::remove("again.png");
}
