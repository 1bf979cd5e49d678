#include "image_files.h"

#include <cctype>
#include <csetjmp>
#include <cstdio>
#include <cstring>

#ifdef APPLETCTL_HAVE_PNG
#include <png.h>
#endif

#include "text_util.h"

namespace appletctl {
namespace {

const uint32_t kMaxSide = 0x7fffffffu;  // what PNG allows; PGM is held to the same
const size_t kBufferBytes = 1 << 16;

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool endsWith(const std::string& s, const char* tail) {
    const size_t n = std::strlen(tail);
    return s.size() > n && s.compare(s.size() - n, n, tail) == 0;
}

// One row into the file's samples: the value of each pixel (PGM) or the value
// scaled to the sample depth (PNG), most significant byte first.
void convertRow(const unsigned char* in, unsigned char* out, uint32_t width, const PixelLayout& l, bool scale) {
    const unsigned maxval = (1u << l.bitsPerPixel) - 1;
    if (l.bytesPerPixel == 1) {
        const unsigned shift = scale ? 8 - l.bitsPerPixel : 0;
        for (uint32_t x = 0; x < width; ++x) out[x] = static_cast<unsigned char>((in[x] & maxval) << shift);
        return;
    }
    const unsigned down = l.leftAligned ? 16 - l.bitsPerPixel : 0;
    const unsigned up = scale ? 16 - l.bitsPerPixel : 0;
    for (uint32_t x = 0; x < width; ++x) {
        unsigned v = static_cast<unsigned>(in[2 * x]) | static_cast<unsigned>(in[2 * x + 1]) << 8;
        v = ((v >> down) & maxval) << up;
        out[2 * x] = static_cast<unsigned char>(v >> 8);
        out[2 * x + 1] = static_cast<unsigned char>(v);
    }
}

}  // namespace

#ifdef APPLETCTL_HAVE_PNG
// libpng reports errors by longjmp: every call into it goes through one of the
// small functions below that set the jump target and hold no object with a
// destructor.
struct ImageWriter::Png {
    png_structp png = nullptr;
    png_infop info = nullptr;
    ImageWriter* owner = nullptr;
    char message[160] = {0};

    ~Png() { png_destroy_write_struct(&png, info ? &info : nullptr); }

    static void onError(png_structp png, png_const_charp msg) {
        Png* p = static_cast<Png*>(png_get_error_ptr(png));
        if (p && !p->message[0]) std::snprintf(p->message, sizeof p->message, "%s", msg ? msg : "PNG error");
        png_longjmp(png, 1);
    }
    static void onWarning(png_structp, png_const_charp) {}
    static void onWrite(png_structp png, png_bytep data, size_t size) {
        Png* p = static_cast<Png*>(png_get_io_ptr(png));
        if (!p->owner->put(data, size)) png_error(png, "write failed");
    }
    static void onFlush(png_structp) {}

    bool start(uint32_t width, uint32_t height, int depth, int significant) {
        if (setjmp(png_jmpbuf(png))) return false;
        png_set_write_fn(png, this, onWrite, onFlush);
        // Grabbing is about speed: the fastest compression, one filter
        // instead of trying all five on every row.
        png_set_compression_level(png, 1);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        png_set_IHDR(png, info, width, height, depth, PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE,
                     PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_color_8 bits;
        std::memset(&bits, 0, sizeof bits);
        bits.gray = static_cast<png_byte>(significant);
        if (significant != depth) png_set_sBIT(png, info, &bits);
        png_write_info(png, info);
        return true;
    }
    bool row(unsigned char* samples) {
        if (setjmp(png_jmpbuf(png))) return false;
        png_write_row(png, samples);
        return true;
    }
    bool end() {
        if (setjmp(png_jmpbuf(png))) return false;
        png_write_end(png, info);
        return true;
    }
};
#else
struct ImageWriter::Png {};
#endif

bool pngAvailable() {
#ifdef APPLETCTL_HAVE_PNG
    return true;
#else
    return false;
#endif
}

bool imageTypeOf(const std::string& name, ImageType* type) {
    const std::string l = lower(name);
    if (endsWith(l, ".pgm"))
        *type = ImageType::Pgm;
    else if (endsWith(l, ".png"))
        *type = ImageType::Png;
    else
        return false;
    return true;
}

const char* imageTypeName(ImageType type) { return type == ImageType::Png ? "PNG" : "PGM"; }

namespace {

// Walks the pattern: literal text to `out`, the number directive through
// `number`; false at a directive that is not allowed.
bool expand(const std::string& pattern, uint64_t number, std::string* out, int* directives) {
    *directives = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') {
            out->push_back(pattern[i]);
            continue;
        }
        if (++i < pattern.size() && pattern[i] == '%') {
            out->push_back('%');
            continue;
        }
        const bool zero = i < pattern.size() && pattern[i] == '0';
        if (zero) ++i;
        size_t width = 0, digits = 0;
        while (i < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[i])) && digits < 3) {
            width = width * 10 + static_cast<size_t>(pattern[i++] - '0');
            ++digits;
        }
        if (i >= pattern.size() || pattern[i] != 'd' || width > 19) return false;
        ++*directives;
        const std::string n = std::to_string(number);
        if (n.size() < width) out->append(width - n.size(), zero ? '0' : ' ');
        *out += n;
    }
    return true;
}

}  // namespace

bool checkImageName(const std::string& pattern, std::string* why) {
    std::string name;
    int directives = 0;
    if (!expand(pattern, 1, &name, &directives) || directives > 1) {
        *why = "'" + visible(shorten(pattern)) +
               "': a name may hold one number directive, %d or %0Nd such as frame-%04d.pgm (%% for a percent sign)";
        return false;
    }
    ImageType type;
    if (!imageTypeOf(name, &type)) {
        *why = "'" + visible(shorten(pattern)) + "': the name must end in .pgm or .png";
        return false;
    }
    if (type == ImageType::Png && !pngAvailable()) {
        *why = "'" + visible(shorten(pattern)) + "': this build of appletctl writes no PNG (write .pgm)";
        return false;
    }
    return true;
}

bool hasNumberDirective(const std::string& pattern) {
    std::string name;
    int directives = 0;
    return expand(pattern, 0, &name, &directives) && directives > 0;
}

std::string imageFileName(const std::string& pattern, uint64_t number) {
    std::string name;
    int directives = 0;
    expand(pattern, number, &name, &directives);
    return name;
}

ImageWriter::ImageWriter() = default;
ImageWriter::~ImageWriter() { discard(); }

bool ImageWriter::fail(const std::string& why) {
    if (error_.empty()) error_ = why;
    discard();
    return false;
}

void ImageWriter::discard() {
    png_.reset();
    file_.discard();
    open_ = false;
    buffer_.clear();
}

bool ImageWriter::put(const void* data, size_t size) {
    const unsigned char* p = static_cast<const unsigned char*>(data);
    if (buffer_.size() + size > kBufferBytes && !flush()) return false;
    if (size >= kBufferBytes) return file_.write(p, size);
    buffer_.insert(buffer_.end(), p, p + size);
    return true;
}

bool ImageWriter::flush() {
    if (buffer_.empty()) return true;
    const bool ok = file_.write(buffer_.data(), buffer_.size());
    buffer_.clear();
    return ok;
}

bool ImageWriter::open(const std::string& path, ImageType type, const PixelLayout& layout, uint32_t width,
                       uint32_t height) {
    discard();
    path_ = path;
    error_.clear();
    type_ = type;
    layout_ = layout;
    width_ = width;
    height_ = height;
    rowsDone_ = 0;
    const std::string name = "'" + visible(shorten(path)) + "'";
    if (layout.bytesPerPixel < 1 || layout.bytesPerPixel > 2 || layout.bitsPerPixel < 1 ||
        layout.bitsPerPixel > 8 * layout.bytesPerPixel)
        return fail("cannot write " + name + ": " + std::to_string(layout.bitsPerPixel) + " bits in " +
                    std::to_string(layout.bytesPerPixel) + " bytes per pixel is no pixel format of an image file");
    if (width == 0 || height == 0 || width > kMaxSide || height > kMaxSide)
        return fail("cannot write " + name + ": an image of " + std::to_string(width) + " x " + std::to_string(height) +
                    " pixels");
    if (type == ImageType::Png && !pngAvailable())
        return fail("cannot write " + name + ": this build of appletctl writes no PNG (write .pgm)");
    if (static_cast<uint64_t>(width) * layout.bytesPerPixel > SIZE_MAX / 2)
        return fail("cannot write " + name + ": lines too long");
    row_.resize(static_cast<size_t>(width) * layout.bytesPerPixel);
    buffer_.reserve(kBufferBytes);
    if (!file_.open(path)) return fail(file_.error());
    open_ = true;
    if (type == ImageType::Pgm) {
        const unsigned maxval = (1u << layout.bitsPerPixel) - 1;
        const std::string header =
            "P5\n" + std::to_string(width) + " " + std::to_string(height) + "\n" + std::to_string(maxval) + "\n";
        if (!put(header.data(), header.size())) return fail(file_.error());
        return true;
    }
#ifdef APPLETCTL_HAVE_PNG
    png_.reset(new Png);
    png_->owner = this;
    png_->png = png_create_write_struct(PNG_LIBPNG_VER_STRING, png_.get(), Png::onError, Png::onWarning);
    if (png_->png) png_->info = png_create_info_struct(png_->png);
    if (!png_->png || !png_->info) return fail("cannot write " + name + ": out of memory");
    const int depth = static_cast<int>(8 * layout.bytesPerPixel);
    if (!png_->start(width, height, depth, static_cast<int>(layout.bitsPerPixel)))
        return fail(file_.error().empty() ? "cannot write " + name + ": " + png_->message : file_.error());
#endif
    return true;
}

bool ImageWriter::writeRows(const void* rows, uint32_t count) {
    if (!open_) return fail(error_.empty() ? "cannot write: no image started" : error_);
    if (count > height_ - rowsDone_)
        return fail("cannot write '" + visible(shorten(path_)) + "': more than the " + std::to_string(height_) +
                    " lines of the image");
    const unsigned char* in = static_cast<const unsigned char*>(rows);
    const size_t stride = row_.size();
    const bool png = type_ == ImageType::Png;
    for (uint32_t y = 0; y < count; ++y, in += stride) {
        convertRow(in, row_.data(), width_, layout_, png);
#ifdef APPLETCTL_HAVE_PNG
        if (png) {
            if (!png_->row(row_.data()))
                return fail(file_.error().empty() ? "cannot write '" + visible(shorten(path_)) + "': " + png_->message
                                                  : file_.error());
            continue;
        }
#endif
        if (!put(row_.data(), stride)) return fail(file_.error());
    }
    rowsDone_ += count;
    return true;
}

bool ImageWriter::commit() {
    if (!open_) return fail(error_.empty() ? "cannot write: no image started" : error_);
    if (rowsDone_ != height_)
        return fail("cannot write '" + visible(shorten(path_)) + "': " + std::to_string(rowsDone_) + " of " +
                    std::to_string(height_) + " lines written");
#ifdef APPLETCTL_HAVE_PNG
    if (type_ == ImageType::Png && !png_->end())
        return fail(file_.error().empty() ? "cannot write '" + visible(shorten(path_)) + "': " + png_->message
                                          : file_.error());
#endif
    if (!flush() || !file_.commit()) return fail(file_.error());
    png_.reset();
    open_ = false;
    return true;
}

bool writeImageFile(const std::string& path, ImageType type, const PixelLayout& layout, uint32_t width, uint32_t height,
                    const void* pixels, std::string* error) {
    ImageWriter w;
    if (w.open(path, type, layout, width, height) && w.writeRows(pixels, height) && w.commit()) return true;
    if (error) *error = w.error();
    return false;
}

}  // namespace appletctl
