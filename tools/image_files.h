// Image files of grabbed frames: binary PGM for every bit depth and, where the
// build has libpng, 8- and 16-bit grayscale PNG. Files go through AtomicFile:
// written whole or not at all.
//
// Input: rows of `width` pixels without padding, one byte per pixel or
// little-endian 16-bit words holding a `bitsPerPixel`-wide value at bit 0
// (right aligned) or with its top bit at bit 15 (left aligned).
//
// What the files hold:
// - PGM: maxval 2^bits - 1 and each pixel's value as the frame holds it
//   (left-aligned values are shifted back down, so a 10-bit pixel reads
//   0..1023 either way); one byte per sample for 8 bits, else two bytes, most
//   significant first.
// - PNG: 8 bits as an 8-bit grayscale image; 10, 12 and 16 bits as a 16-bit
//   grayscale image with each value scaled to the full range (shifted left by
//   16 - bits) and an sBIT chunk naming the significant bits.
// Bits above the value's width in a container are ignored.
#ifndef APPLETCTL_IMAGE_FILES_H
#define APPLETCTL_IMAGE_FILES_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "atomic_file.h"

namespace appletctl {

enum class ImageType { Pgm, Png };

struct PixelLayout {
    uint32_t bitsPerPixel = 8;   // significant bits: 1..16 (8 at most with one byte)
    uint32_t bytesPerPixel = 1;  // 1, or 2 for little-endian 16-bit words
    bool leftAligned = false;    // 16-bit words: the value's top bit at bit 15
};

// Whether this build writes PNG (the 32-bit build leaves libpng out).
bool pngAvailable();
// The type a file name asks for by its extension (.pgm, .png, any letter
// case); false for any other name.
bool imageTypeOf(const std::string& name, ImageType* type);
const char* imageTypeName(ImageType type);  // "PGM", "PNG"

// Names of numbered images: a pattern holds at most one number directive,
// %d or %0Nd with N up to 19 ("frame-%04d.pgm"), and %% for a percent sign.
// False with the reason when the pattern has any other directive or its
// type is neither PGM nor, in builds with libpng, PNG.
bool checkImageName(const std::string& pattern, std::string* why);
bool hasNumberDirective(const std::string& pattern);
// The name for `number` (a pattern without directive stays as it is).
std::string imageFileName(const std::string& pattern, uint64_t number);

// One image written row by row, so that a tall image need not be held in
// memory.
class ImageWriter {
public:
    ImageWriter();
    ~ImageWriter();  // an image not committed is discarded
    ImageWriter(const ImageWriter&) = delete;
    ImageWriter& operator=(const ImageWriter&) = delete;

    // Starts `path` for an image of width x height pixels; false with error()
    // set (a layout or size the type cannot hold, PNG not built, the file).
    bool open(const std::string& path, ImageType type, const PixelLayout& layout, uint32_t width, uint32_t height);
    // Appends `count` rows (count * width * bytesPerPixel bytes); false with
    // error() set, also for rows beyond the height given to open().
    bool writeRows(const void* rows, uint32_t count);
    // Completes the file (every row must have been written) and puts it in
    // place; false with error() set, the old file then left as it was.
    bool commit();
    void discard();

    // "cannot write 'frame-0001.png': No space left on device"
    const std::string& error() const { return error_; }
    // Bytes of the file written so far.
    uint64_t written() const { return file_.written(); }

    struct Png;  // libpng's state (only in builds with libpng)

private:
    bool fail(const std::string& why);
    bool put(const void* data, size_t size);
    bool flush();

    AtomicFile file_;
    std::string path_, error_;
    ImageType type_ = ImageType::Pgm;
    PixelLayout layout_;
    uint32_t width_ = 0, height_ = 0, rowsDone_ = 0;
    bool open_ = false;
    std::vector<unsigned char> row_, buffer_;
    std::unique_ptr<Png> png_;
};

// A whole image at once: width * height pixels at `pixels`.
bool writeImageFile(const std::string& path, ImageType type, const PixelLayout& layout, uint32_t width, uint32_t height,
                    const void* pixels, std::string* error);

}  // namespace appletctl

#endif  // APPLETCTL_IMAGE_FILES_H
