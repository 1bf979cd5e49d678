// appletctl grab run as a user runs it: the written PGM and PNG files decoded
// independently and compared with the images the SDK values describe.
#include <gtest/gtest.h>

#include <csetjmp>
#include <cstdio>
#include <string>
#include <vector>

#include "tool_run.h"

#ifdef TEST_HAVE_PNG
#include <png.h>
#endif

using namespace tooltest;

namespace {

// ---- grab ------------------------------------------------------------------------------

// A decoded image file: its size, its bit depth (PGM: from maxval; PNG: the
// sample depth) and every sample.
struct Decoded {
    bool ok = false;
    std::string why;
    uint32_t width = 0, height = 0, maxval = 0, depth = 0;
    std::vector<uint32_t> samples;
};

Decoded readPgm(const std::string& path) {
    Decoded d;
    const std::string f = readFile(path);
    int pos = 0;  // the header, then the one whitespace before the samples
    if (std::sscanf(f.c_str(), "P5 %u %u %u%n", &d.width, &d.height, &d.maxval, &pos) != 3 || d.maxval == 0 ||
        d.maxval > 65535 || std::isspace(static_cast<unsigned char>(f[size_t(pos)])) == 0)
        return d.why = path + ": no binary PGM header", d;
    const size_t bytes = d.maxval > 255 ? 2 : 1, n = size_t(d.width) * d.height, at = size_t(pos) + 1;
    if (f.size() - at != n * bytes) return d.why = path + ": " + std::to_string(f.size() - at) + " sample bytes", d;
    for (size_t i = 0; i < n; ++i) {
        const unsigned char* p = reinterpret_cast<const unsigned char*>(f.data() + at + i * bytes);
        d.samples.push_back(bytes == 1 ? p[0] : uint32_t(p[0]) << 8 | p[1]);
    }
    while ((1u << d.depth) - 1 < d.maxval) ++d.depth;
    d.ok = true;
    return d;
}

#ifdef TEST_HAVE_PNG
void pngFailed(png_structp png, png_const_charp) { png_longjmp(png, 1); }

Decoded readPng(std::FILE* f, const std::string& path) {
    Decoded d;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, pngFailed, nullptr);
    png_infop info = png_create_info_struct(png);
    std::vector<png_byte> row;
    if (setjmp(png_jmpbuf(png))) {
        d.why = path + ": not a PNG libpng reads";
    } else {
        png_init_io(png, f);
        png_read_info(png, info);
        d.width = png_get_image_width(png, info);
        d.height = png_get_image_height(png, info);
        d.depth = png_get_bit_depth(png, info);
        d.maxval = (1u << d.depth) - 1;
        if (png_get_color_type(png, info) != PNG_COLOR_TYPE_GRAY) png_error(png, "not grayscale");
        row.resize(png_get_rowbytes(png, info));
        for (uint32_t y = 0; y < d.height; ++y) {
            png_read_row(png, row.data(), nullptr);
            for (uint32_t x = 0; x < d.width; ++x)
                d.samples.push_back(d.depth == 16 ? uint32_t(row[2 * x]) << 8 | row[2 * x + 1] : row[x]);
        }
        png_read_end(png, nullptr);
        d.ok = true;
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return d;
}
#endif

Decoded readImage(const std::string& path) {
#ifdef TEST_HAVE_PNG
    if (path.size() > 4 && path.compare(path.size() - 4, 4, ".png") == 0) {
        std::FILE* f = std::fopen(path.c_str(), "rb");
        Decoded d;
        if (f == nullptr) return d.why = path + ": missing", d;
        d = readPng(f, path);
        std::fclose(f);
        return d;
    }
#endif
    return readPgm(path);
}

// What the test sets through the SDK: the camera simulator's pattern, the
// camera depth, the region and the output format; the processing table is
// the identity (gain 1, gamma 1, offset 0).
struct GrabCase {
    const char* name;
    unsigned port;
    uint32_t pixelFormat;  // Mono8 257, Mono10 258, Mono12 259
    uint32_t format;       // FG_GRAY 3, FG_GRAY10 21, FG_GRAY12 22, FG_GRAY16 1
    uint32_t alignment;    // right 0, left 1
    uint32_t pattern;      // horizontal 1, vertical 2, diagonal 3
    const char* type;      // ".pgm", ".png"
    bool strip;
    uint32_t frames;
};

const uint32_t kSimWidth = 96, kSimHeight = 8, kOffset = 200, kWidth = 64, kHeight = 8;

// The value of the 12-bit path at picture `pic` (from 1), region row and
// column: the simulator's counter (rolling one step per generated frame) as a
// pixel of the camera's depth at the top of the 12 bits.
uint32_t pathValue(const GrabCase& g, uint32_t pic, uint32_t row, uint32_t x) {
    if (x >= kSimWidth) return 0;
    const uint32_t depth = g.pixelFormat == 259 ? 12 : g.pixelFormat == 258 ? 10 : 8;
    const uint64_t line = uint64_t(pic - 1) * kHeight + row, frame = line / kSimHeight, y = line % kSimHeight;
    const uint64_t c = (g.pattern != 2 ? x : 0) + (g.pattern != 1 ? y % 256 : 0) + kOffset + frame % 256;
    return static_cast<uint32_t>((c & ((1u << depth) - 1)) << (12 - depth));
}

// The bits of the delivered pixels and the value a file holds for a pixel:
// PGM the value as the format carries it, PNG 16-bit that value scaled to 16 bits.
uint32_t formatBits(const GrabCase& g) { return g.format == 3 ? 8 : g.format == 21 ? 10 : g.format == 22 ? 12 : 16; }
uint32_t fileValue(const GrabCase& g, uint32_t v, bool png) {
    const uint32_t bits = formatBits(g);
    const uint32_t value = bits == 8 ? v >> 4 : bits == 10 ? v >> 2 : bits == 12 ? v : v << (g.alignment ? 4 : 0);
    return png && bits > 8 ? value << (16 - bits) : value;
}

TEST(ToolGrab, FramesDecodeToTheImagesTheSdkValuesDescribe) {
    const GrabCase cases[] = {
        {"gray8", 0, 257, 3, 1, 3, ".pgm", false, 3},        {"gray10-right", 0, 258, 21, 0, 3, ".pgm", false, 2},
        {"gray10-left", 0, 258, 21, 1, 3, ".png", false, 2}, {"gray12-left", 1, 259, 22, 1, 1, ".pgm", false, 2},
        {"gray16-right", 0, 259, 1, 0, 3, ".png", false, 2}, {"gray16-left-strip", 0, 257, 1, 1, 3, ".pgm", true, 4},
        {"gray8-strip", 1, 257, 3, 0, 2, ".png", true, 3},
    };
    for (const GrabCase& g : cases) {
        SCOPED_TRACE(g.name);
        const std::string base = std::string("grab_") + g.name;
        auto set = [&](const char* name, uint32_t v) {
            return std::string("set ") + name + "=" + std::to_string(v) + "@" + std::to_string(g.port) + " ";
        };
        const std::string command =
            set("FG_CAMERASIMULATOR_ENABLE", 1) + set("FG_CAMERASIMULATOR_WIDTH", kSimWidth) +
            set("FG_CAMERASIMULATOR_HEIGHT", kSimHeight) + set("FG_CAMERASIMULATOR_PATTERN", g.pattern) +
            set("FG_CAMERASIMULATOR_PATTERN_OFFSET", kOffset) + set("FG_CAMERASIMULATOR_ROLL", 1) +
            set("FG_PIXELFORMAT", g.pixelFormat) + set("FG_WIDTH", kWidth) + set("FG_HEIGHT", kHeight) +
            set("FG_FORMAT", g.format) + set("FG_BITALIGNMENT", g.alignment) + "grab --port " + std::to_string(g.port) +
            " -n " + std::to_string(g.frames) + " -o " + base + (g.strip ? "" : "-%03d") + g.type +
            (g.strip ? " --strip" : "");
        const bool png = std::string(g.type) == ".png";
        Outcome r = run(command);
#ifndef TEST_HAVE_PNG
        if (png) {
            EXPECT_RUN(r, 2);
            EXPECT_TRUE(contains(r.err, "writes no PNG")) << r.err;
            continue;
        }
#endif
        EXPECT_RUN(r, 0);
        EXPECT_TRUE(contains(r.out, "port " + std::to_string(g.port) + ": " + std::to_string(g.frames) + " frames"))
            << r.out;
        EXPECT_EQ("", r.err) << "no progress line when standard error is no terminal";
        const uint32_t files = g.strip ? 1 : g.frames, rows = g.strip ? kHeight * g.frames : kHeight;
        const uint32_t depth = png ? (formatBits(g) > 8 ? 16 : 8) : formatBits(g);
        for (uint32_t k = 1; k <= files; ++k) {
            char name[128];
            std::snprintf(name, sizeof name, "%s-%03u%s", base.c_str(), k, g.type);
            const std::string path = g.strip ? base + g.type : name;
            const Decoded d = readImage(path);
            ASSERT_TRUE(d.ok) << d.why;
            EXPECT_EQ(kWidth, d.width);
            ASSERT_EQ(rows, d.height);
            EXPECT_EQ(depth, d.depth);
            EXPECT_EQ((1u << depth) - 1, d.maxval);
            size_t wrong = 0;
            for (uint32_t y = 0; y < rows; ++y)
                for (uint32_t x = 0; x < kWidth; ++x) {
                    const uint32_t want =
                        fileValue(g, pathValue(g, g.strip ? 1 + y / kHeight : k, y % kHeight, x), png);
                    if (d.samples[size_t(y) * kWidth + x] != want && wrong++ < 3)
                        ADD_FAILURE() << path << " pixel (" << x << ", " << y
                                      << "): " << d.samples[size_t(y) * kWidth + x] << ", expected " << want;
                }
            EXPECT_EQ(0u, wrong) << path;
        }
    }
}

TEST(ToolGrab, ATriggeredPortWithoutTriggerTimesOutAndLeavesTheOldStrip) {
    writeFile("grab_kept.pgm", "the old strip\n");
    const std::string triggered = "set FG_HEIGHT=8 set FG_IMGTRIGGERMODE=ASYNC_TRIGGER set FG_IMGTRIGGERINSRC=-1 ";
    Outcome r = run((triggered + "grab -n 2 --timeout 1 --strip -o grab_kept.pgm").c_str());
    EXPECT_RUN(r, 1);
    EXPECT_TRUE(contains(r.err, "time-out: picture 1 did not come within 1 s (0 of 2 frames written)")) << r.err;
    EXPECT_TRUE(contains(r.err, "grab_kept.pgm not written")) << r.err;
    EXPECT_EQ("the old strip\n", readFile("grab_kept.pgm"));
    EXPECT_EQ(0u, temporaryFilesOf("grab_kept\\.pgm"));

    // One software trigger per frame brings the frames.
    EXPECT_RUN(run((triggered + "grab -n 3 -t 2 --software-trigger -o grab_trig.pgm").c_str()), 0);
    for (const char* f : {"grab_trig-0001.pgm", "grab_trig-0002.pgm", "grab_trig-0003.pgm"}) {
        const Decoded d = readPgm(f);
        EXPECT_TRUE(d.ok && d.width == 1024 && d.height == 8 && d.maxval == 255)
            << f << " " << d.why << d.width << "x" << d.height << " max " << d.maxval;
    }
}

TEST(ToolGrab, ProgressLineOnATerminal) {
    Outcome r = runOnTerminal("set FG_HEIGHT=8 grab -n 3 -o grab_tty-%d.pgm", "");
    EXPECT_RUN(r, 0);
    EXPECT_TRUE(hasParts(r.err, "grab: 3/3 frames| fps | MB/s  0 lost"));
}

}  // namespace
