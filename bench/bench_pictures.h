// Pictures the benchmarks draw: pixel words, soft-edged discs, worlds, and
// registering a picture in the pool.
#ifndef SPRIG_BENCH_BENCH_PICTURES_H
#define SPRIG_BENCH_BENCH_PICTURES_H

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "sprig/images.h"
#include "sprig/packing.h"
#include "sprig/platform.h"

// A 32-bit world of width x height pixels at the origin.
inline GWorldPtr NewWorld(int width, int height)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
    return world;
}

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
inline uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

// The alpha of a pixel whose centre lies (dx, dy) from the centre of a disc
// of the given radius: coverage falls from 1 to 0 over two pixels at the edge.
inline uint32_t SoftDiscAlpha(double dx, double dy, double radius)
{
    const double r = std::hypot(dx, dy);
    const double cover = std::fmin(1.0, std::fmax(0.0, (radius - r) / 2.0));
    return static_cast<uint32_t>(std::lround(cover * 255));
}

// size x size pixels of a soft-edged disc of the given radius centred in the
// picture: colourAt(x, y, alpha) gives each pixel the disc covers, and the
// rest are 0.
template <class ColourAt>
std::vector<uint32_t> SoftDisc(int size, double radius, ColourAt colourAt)
{
    std::vector<uint32_t> pixels(static_cast<size_t>(size) * size);
    const double centre = size / 2.0;
    for (int y = 0; y < size; y++)
        for (int x = 0; x < size; x++) {
            const uint32_t alpha = SoftDiscAlpha(x + 0.5 - centre, y + 0.5 - centre, radius);
            pixels[static_cast<size_t>(y * size + x)] = alpha == 0 ? 0 : colourAt(x, y, alpha);
        }
    return pixels;
}

// Packs width x height pixels and registers them in the pool under number.
inline void RegisterPicture(int32_t number, const std::vector<uint32_t>& pixels, int width,
                            int height)
{
    uint32_t* packed = CompressBuffer(pixels.data(), width, height, 4 * width);
    PictureRecord record = {width, height, packed[0], packed};
    SetCompressedImage(number, reinterpret_cast<char*>(&record));
    std::free(packed);
}

#endif
