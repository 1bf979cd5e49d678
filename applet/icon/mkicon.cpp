// Writes the applet icon: a 32 x 32 RGBA PNG of exactly 3087 bytes.
//
//   mkicon <output file>
//
// The picture is a white "O" on a dark blue rounded square (shaded from top
// to bottom), crossed by an orange scan line. The image data is compressed
// with a small deflate encoder (LZ77 with fixed Huffman codes); a tEXt
// "Comment" chunk pads the file to its exact size. Nothing depends on the time or the machine: every build writes the
// same bytes.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kSize = 32;
constexpr size_t kFileSize = 3087;

// ---- checksums ----------------------------------------------------------------

uint32_t crc32(const unsigned char* p, size_t n, uint32_t crc = 0) {
    static uint32_t table[256];
    static bool ready = false;
    if (!ready) {
        for (uint32_t i = 0; i < 256; ++i) {
            uint32_t c = i;
            for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[i] = c;
        }
        ready = true;
    }
    crc = ~crc;
    for (size_t i = 0; i < n; ++i) crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

uint32_t adler32(const std::vector<unsigned char>& d) {
    uint32_t a = 1, b = 0;
    for (unsigned char c : d) {
        a = (a + c) % 65521u;
        b = (b + a) % 65521u;
    }
    return (b << 16) | a;
}

// ---- deflate with fixed Huffman codes -------------------------------------------------

class BitWriter {
public:
    void bits(uint32_t value, int n) {  // LSB first
        for (int i = 0; i < n; ++i) {
            if (value & (1u << i)) cur_ |= static_cast<unsigned char>(1u << fill_);
            if (++fill_ == 8) flushByte();
        }
    }
    void huffman(uint32_t code, int n) {  // Huffman codes go MSB first
        for (int i = n - 1; i >= 0; --i) bits((code >> i) & 1u, 1);
    }
    std::vector<unsigned char> finish() {
        if (fill_ > 0) flushByte();
        return out_;
    }

private:
    void flushByte() {
        out_.push_back(cur_);
        cur_ = 0;
        fill_ = 0;
    }
    std::vector<unsigned char> out_;
    unsigned char cur_ = 0;
    int fill_ = 0;
};

void literal(BitWriter& w, int sym) {
    if (sym < 144)
        w.huffman(0x30u + static_cast<uint32_t>(sym), 8);
    else if (sym < 256)
        w.huffman(0x190u + static_cast<uint32_t>(sym - 144), 9);
    else if (sym < 280)
        w.huffman(static_cast<uint32_t>(sym - 256), 7);
    else
        w.huffman(0xC0u + static_cast<uint32_t>(sym - 280), 8);
}

const int kLenBase[29] = {3,  4,  5,  6,  7,  8,  9,  10, 11,  13,  15,  17,  19,  23, 27,
                          31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258};
const int kLenExtra[29] = {0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 5, 5, 5, 5, 0};
const int kDistBase[30] = {1,   2,   3,   4,   5,   7,    9,    13,   17,   25,   33,   49,   65,    97,    129,
                           193, 257, 385, 513, 769, 1025, 1537, 2049, 3073, 4097, 6145, 8193, 12289, 16385, 24577};
const int kDistExtra[30] = {0, 0, 0, 0, 1, 1, 2, 2,  3,  3,  4,  4,  5,  5,  6,
                            6, 7, 7, 8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13};

void match(BitWriter& w, int len, int dist) {
    int li = 28;
    while (kLenBase[li] > len) --li;
    literal(w, 257 + li);
    w.bits(static_cast<uint32_t>(len - kLenBase[li]), kLenExtra[li]);
    int di = 29;
    while (kDistBase[di] > dist) --di;
    w.huffman(static_cast<uint32_t>(di), 5);
    w.bits(static_cast<uint32_t>(dist - kDistBase[di]), kDistExtra[di]);
}

// One final block with fixed codes; greedy longest-match search over the whole
// (small) input.
std::vector<unsigned char> deflateFixed(const std::vector<unsigned char>& in) {
    BitWriter w;
    w.bits(1, 1);  // BFINAL
    w.bits(1, 2);  // BTYPE = fixed Huffman
    const size_t n = in.size();
    size_t i = 0;
    while (i < n) {
        int bestLen = 0, bestDist = 0;
        const size_t maxLen = std::min<size_t>(258, n - i);
        const size_t window = std::min<size_t>(i, 32768);
        for (size_t dist = 1; dist <= window && maxLen >= 3; ++dist) {
            size_t len = 0;
            const unsigned char* a = &in[i];
            const unsigned char* b = &in[i - dist];
            while (len < maxLen && a[len] == b[len]) ++len;
            if (static_cast<int>(len) > bestLen) {
                bestLen = static_cast<int>(len);
                bestDist = static_cast<int>(dist);
                if (len == maxLen) break;
            }
        }
        if (bestLen >= 3) {
            match(w, bestLen, bestDist);
            i += static_cast<size_t>(bestLen);
        } else {
            literal(w, in[i]);
            ++i;
        }
    }
    literal(w, 256);  // end of block
    return w.finish();
}

// ---- the picture ----------------------------------------------------------------------

struct Rgba {
    unsigned char r, g, b, a;
};

Rgba pixel(int x, int y) {
    const Rgba clear{0, 0, 0, 0};
    // the ground darkens from top to bottom
    const Rgba ground{static_cast<unsigned char>(0x2C - y / 3), static_cast<unsigned char>(0x4E - y / 2),
                      static_cast<unsigned char>(0x7C - y), 0xFF};
    const Rgba ring{0xF2, 0xF5, 0xF8, 0xFF};
    const Rgba scan{0xFF, 0x8C, 0x1A, 0xFF};
    // rounded square, corner radius 6
    const int r = 6;
    int cx = x < r ? r : (x > kSize - 1 - r ? kSize - 1 - r : x);
    int cy = y < r ? r : (y > kSize - 1 - r ? kSize - 1 - r : y);
    int dx = x - cx, dy = y - cy;
    if (dx * dx + dy * dy > r * r) return clear;
    // the scan line
    if ((y == 15 || y == 16) && x >= 3 && x <= 28) return scan;
    // the "O": a ring around the centre (15.5, 15.5), in doubled coordinates
    int ox = 2 * x + 1 - kSize, oy = 2 * y + 1 - kSize;
    int d2 = ox * ox + oy * oy;
    if (d2 >= 14 * 14 && d2 <= 22 * 22) return ring;
    return ground;
}

// ---- PNG --------------------------------------------------------------------------------

void put32(std::vector<unsigned char>& v, uint32_t x) {
    v.push_back(static_cast<unsigned char>(x >> 24));
    v.push_back(static_cast<unsigned char>(x >> 16));
    v.push_back(static_cast<unsigned char>(x >> 8));
    v.push_back(static_cast<unsigned char>(x));
}

void chunk(std::vector<unsigned char>& png, const char* type, const std::vector<unsigned char>& data) {
    put32(png, static_cast<uint32_t>(data.size()));
    std::vector<unsigned char> body(type, type + 4);
    body.insert(body.end(), data.begin(), data.end());
    png.insert(png.end(), body.begin(), body.end());
    put32(png, crc32(body.data(), body.size()));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <output file>\n", argv[0]);
        return 2;
    }
    // Raw scan lines: filter byte 0, then RGBA pixels.
    std::vector<unsigned char> raw;
    for (int y = 0; y < kSize; ++y) {
        raw.push_back(0);
        for (int x = 0; x < kSize; ++x) {
            Rgba p = pixel(x, y);
            raw.insert(raw.end(), {p.r, p.g, p.b, p.a});
        }
    }
    std::vector<unsigned char> z = {0x78, 0x01};
    std::vector<unsigned char> deflated = deflateFixed(raw);
    z.insert(z.end(), deflated.begin(), deflated.end());
    put32(z, adler32(raw));

    std::vector<unsigned char> ihdr;
    put32(ihdr, kSize);
    put32(ihdr, kSize);
    ihdr.insert(ihdr.end(), {8, 6, 0, 0, 0});  // 8 bit, RGBA, deflate, adaptive filter, no interlace

    const size_t fixedPart = 8 + (12 + 13) + (12 + z.size()) + (12 + 8) + 12;
    if (fixedPart > kFileSize) {
        std::fprintf(stderr, "mkicon: image data too large (%zu bytes)\n", z.size());
        return 1;
    }
    const size_t textLen = kFileSize - fixedPart;
    std::vector<unsigned char> text;
    const char* kw = "Comment";
    text.insert(text.end(), kw, kw + 8);  // keyword and its NUL
    const std::string words =
        "Orvindel acquisition applet: two CoaXPress grayscale line scan cameras, "
        "12 bit processing and lookup table. ";
    for (size_t i = 0; i < textLen; ++i) text.push_back(static_cast<unsigned char>(words[i % words.size()]));

    std::vector<unsigned char> png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    chunk(png, "IHDR", ihdr);
    chunk(png, "IDAT", z);
    chunk(png, "tEXt", text);
    chunk(png, "IEND", {});
    if (png.size() != kFileSize) {
        std::fprintf(stderr, "mkicon: size %zu instead of %zu\n", png.size(), kFileSize);
        return 1;
    }
    std::string tmp = std::string(argv[1]) + ".tmp";
    FILE* f = std::fopen(tmp.c_str(), "wb");
    if (f == nullptr) {
        std::perror(tmp.c_str());
        return 1;
    }
    bool ok = std::fwrite(png.data(), 1, png.size(), f) == png.size();
    ok = (std::fclose(f) == 0) && ok;
    if (!ok || std::rename(tmp.c_str(), argv[1]) != 0) {
        std::perror(argv[1]);
        std::remove(tmp.c_str());
        return 1;
    }
    return 0;
}
