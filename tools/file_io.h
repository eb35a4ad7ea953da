// Picture files coming into the sprig tool: read within a pixel limit that
// is checked from the file's first bytes, before anything is allocated for
// the picture, and PNG pictures decoded in the library's pixel layout.
#ifndef SPRIG_TOOLS_FILE_IO_H
#define SPRIG_TOOLS_FILE_IO_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The default limit, 8192 x 8192 pixels: 256 MiB as 32-bit pixels.
constexpr uint64_t kDefaultMaxPixels = uint64_t{8192} * 8192;
// The largest picture any of the layouts holds, 32767 x 32767.
constexpr uint64_t kLargestMaxPixels = uint64_t{32767} * 32767;

// A file is read no further than 8 bytes for each pixel and 4 for each row
// its header announces (the most a packed picture takes: a control word per
// pixel, a row table; a 16-bit RGBA PNG stored without compression takes as
// much), plus 16 MiB for headers and a PNG's other chunks.
constexpr uint64_t kFileBytesPerPixel = 8;
constexpr uint64_t kFileBytesPerRow = 4;
constexpr uint64_t kFileBytesSlack = uint64_t{16} << 20;

// 32-bit pixels, bytes alpha, red, green, blue in memory, straight alpha,
// rows 4 * width bytes apart.
struct PixelImage
{
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;
};

enum class PictureKind
{
    kUnknown,
    kPng,
    kPacked,   // 32-bit layout, either signature
    kPacked16, // no signature, but a sixteen-bit header of a sensible size
};

// What a file's first bytes (up to kPictureHeaderBytes) say.
struct PictureHeader
{
    PictureKind kind = PictureKind::kUnknown;
    bool hasSize = false; // width and height were there to read
    int64_t width = 0;
    int64_t height = 0;
    uint64_t declaredBytes = 0; // a packed picture's length from its size word

    bool SidesInRange() const
    {
        return hasSize && width >= 1 && height >= 1 && width <= 32767 && height <= 32767;
    }
};

constexpr size_t kPictureHeaderBytes = 24;

PictureHeader ReadPictureHeader(const uint8_t* bytes, size_t length);

// A picture file read whole, within the limits.
struct PictureFile
{
    PictureHeader header;
    std::vector<uint32_t> words; // the bytes, word-aligned, zero-padded
    size_t length = 0;           // bytes read
    int64_t fileSize = -1;       // of a regular file; -1 for pipes and devices

    const uint8_t* Bytes() const { return reinterpret_cast<const uint8_t*>(words.data()); }
};

// Reads a picture file. Its first bytes tell its kind and size; a picture of
// more than maxPixels is refused then, unread. The rest is read only as far
// as the header allows: a packed picture up to the length its size word
// gives, plus one byte to see whether anything follows; a PNG up to the
// bound above. On failure, *error names the file and the problem.
bool ReadPictureFile(const std::string& path, uint64_t maxPixels, PictureFile* file,
                     std::string* error);

// The same from any source: read(into, count) returns the bytes it gave,
// 0 at the end, -1 on an error (with errno set). fileSize is the source's
// length when known, else -1.
bool ReadPicture(const std::string& name, const std::function<long(uint8_t*, size_t)>& read,
                 int64_t fileSize, uint64_t maxPixels, PictureFile* file, std::string* error);

// "NAME: a W x H picture has N pixels, more than the limit of M (see
// --max-pixels)".
std::string PixelLimitError(const std::string& name, int64_t width, int64_t height,
                            uint64_t maxPixels);

// Decodes a PNG held in memory, refusing from its header a picture outside
// 1..32767 either way or of more than maxPixels.
bool DecodePng(const std::string& name, const uint8_t* bytes, size_t length, uint64_t maxPixels,
               PixelImage* image, std::string* error);

// ReadPictureFile, then DecodePng; a file that is not a PNG is refused.
bool ReadPng(const std::string& path, uint64_t maxPixels, PixelImage* image, std::string* error);

#endif
