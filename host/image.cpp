// Images: the pixels of a stage's view, shared with the host, and written
// as PNG.
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host_p.h"

namespace sprig {

namespace detail {

ViewPixels::ViewPixels(int width, int height, const std::string& call)
    : view(HIViewCreateOffscreen(width, height)), width(width), height(height)
{
    if (!view)
        Throw(call + ": cannot make a " + std::to_string(width) + " x " + std::to_string(height) +
              " view (out of memory)");
}

ViewPixels::~ViewPixels()
{
    HIViewRelease(view);
}

} // namespace detail

using detail::Throw;

Image::Image(std::shared_ptr<const detail::ViewPixels> pixels) : mPixels(std::move(pixels)) {}

int Image::width() const
{
    return mPixels->width;
}

int Image::height() const
{
    return mPixels->height;
}

Image::Row Image::row(int y) const
{
    if (y < 0 || y >= mPixels->height)
        Throw("Image::row: y " + std::to_string(y) + " is outside 0 to " +
              std::to_string(mPixels->height - 1));
    return Row(detail::WorldRow(mPixels->Pixels(), y), static_cast<size_t>(mPixels->width));
}

size_t Image::strideBytes() const
{
    return static_cast<size_t>(GetPixRowBytes(GetGWorldPixMap(mPixels->Pixels())));
}

Rgba Image::pixel(int x, int y) const
{
    if (x < 0 || x >= mPixels->width || y < 0 || y >= mPixels->height)
        Throw("Image::pixel: (" + std::to_string(x) + ", " + std::to_string(y) +
              ") is outside the " + std::to_string(mPixels->width) + " x " +
              std::to_string(mPixels->height) + " image");
    const uint32_t word = detail::WorldRow(mPixels->Pixels(), y)[x];
    // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
    return Rgba{static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word >> 16),
                static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word)};
}

std::vector<uint8_t> Image::rgbaBytes() const
{
    std::vector<uint8_t> bytes(4 * static_cast<size_t>(mPixels->width) *
                               static_cast<size_t>(mPixels->height));
    uint8_t* out = bytes.data();
    for (int y = 0; y < mPixels->height; y++) {
        const uint32_t* word = detail::WorldRow(mPixels->Pixels(), y);
        for (int x = 0; x < mPixels->width; x++, word++) {
            *out++ = static_cast<uint8_t>(*word >> 8);
            *out++ = static_cast<uint8_t>(*word >> 16);
            *out++ = static_cast<uint8_t>(*word >> 24);
            *out++ = static_cast<uint8_t>(*word);
        }
    }
    return bytes;
}

void Image::savePng(const std::string& path) const
{
    // Written beside the file and renamed over it once complete, with the
    // permissions of a new file (mkstemp makes it private).
    std::string temporary = path + ".XXXXXX";
    const int fd = mkstemp(&temporary[0]);
    if (fd < 0)
        Throw(path + ": cannot create (" + std::strerror(errno) + ")");
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    FILE* file = fdopen(fd, "wb");
    if (!file) {
        const int err = errno;
        close(fd);
        unlink(temporary.c_str());
        Throw(path + ": cannot create (" + std::strerror(err) + ")");
    }
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(mPixels->width);
    png.height = static_cast<png_uint_32>(mPixels->height);
    png.format = PNG_FORMAT_ARGB;
    // For 8-bit channels the row stride counts bytes.
    std::string problem;
    if (!png_image_write_to_stdio(&png, file, 0, detail::WorldRow(mPixels->Pixels(), 0),
                                  static_cast<png_int_32>(strideBytes()), nullptr))
        problem = png.message;
    png_image_free(&png);
    if (std::fflush(file) != 0 && problem.empty())
        problem = std::strerror(errno);
    if (std::fclose(file) != 0 && problem.empty())
        problem = std::strerror(errno);
    if (problem.empty() && std::rename(temporary.c_str(), path.c_str()) != 0)
        problem = std::strerror(errno);
    if (!problem.empty()) {
        unlink(temporary.c_str());
        Throw(path + ": cannot write (" + problem + ")");
    }
}

} // namespace sprig
