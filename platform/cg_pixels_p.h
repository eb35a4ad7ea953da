// Between the library's pixel word and cairo's, in one place.
//
// Our pixel word is stored as the bytes A, R, G, B from the lowest address;
// cairo's CAIRO_FORMAT_ARGB32 is a native-endian word 0xAARRGGBB, stored on
// a little-endian machine as B, G, R, A, with premultiplied colours:
//
//     ours   [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
//     cairo  [AAAAAAAA][RRRRRRRR][GGGGGGGG][BBBBBBBB]
//
// A context opened on a world reads the world's bytes as premultiplied
// pixels, so mirroring a world into cairo's form is a byte reversal, which is
// its own inverse and loses nothing. An image with straight alpha is
// premultiplied on its way in, each channel rounded to nearest.
#ifndef SPRIG_PLATFORM_CG_PIXELS_P_H
#define SPRIG_PLATFORM_CG_PIXELS_P_H

#include <cstddef>
#include <cstdint>

#include "sprig/coregraphics.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the pixel word and cairo's word are laid out for a little-endian machine");

// Our word to cairo's and back: the four bytes reversed.
constexpr uint32_t MirrorWord(uint32_t word)
{
    return __builtin_bswap32(word);
}

// c * a / 255 rounded to nearest, exact for 8-bit c and a.
constexpr uint32_t MultiplyRounded(uint32_t c, uint32_t a)
{
    const uint32_t t = c * a + 128;
    return (t + (t >> 8)) >> 8;
}

// Cairo's word of a straight-alpha colour.
constexpr uint32_t PremultipliedWord(uint32_t a, uint32_t r, uint32_t g, uint32_t b)
{
    if (a == 255)
        return 0xFF000000u | (r << 16) | (g << 8) | b;
    if (a == 0)
        return 0;
    return (a << 24) | (MultiplyRounded(r, a) << 16) | (MultiplyRounded(g, a) << 8) |
           MultiplyRounded(b, a);
}

// Cairo's word of one 32-bit image pixel read as a little-endian word, for
// the alpha layouts images support (memory order is big-endian, so the
// first byte of the pixel is the word's low byte).
constexpr uint32_t ImagePixelToCairo(uint32_t word, uint32_t alphaInfo)
{
    const uint32_t b0 = word & 0xFF;
    const uint32_t b1 = (word >> 8) & 0xFF;
    const uint32_t b2 = (word >> 16) & 0xFF;
    const uint32_t b3 = word >> 24;
    switch (alphaInfo) {
    case kCGImageAlphaPremultipliedLast:
        return (b3 << 24) | (b0 << 16) | (b1 << 8) | b2;
    case kCGImageAlphaPremultipliedFirst:
        return MirrorWord(word);
    case kCGImageAlphaLast:
        return PremultipliedWord(b3, b0, b1, b2);
    case kCGImageAlphaFirst:
        return PremultipliedWord(b0, b1, b2, b3);
    case kCGImageAlphaNoneSkipLast:
        return 0xFF000000u | (b0 << 16) | (b1 << 8) | b2;
    case kCGImageAlphaNoneSkipFirst:
        return 0xFF000000u | (b1 << 16) | (b2 << 8) | b3;
    default:
        return 0;
    }
}

// Our word of an image pixel as cairo would draw it: premultiplied, with
// the alpha in the low byte where a world keeps it.
constexpr uint32_t ImagePixelToWorld(uint32_t word, uint32_t alphaInfo)
{
    return MirrorWord(ImagePixelToCairo(word, alphaInfo));
}

// The 8-bit channel pixman is given for a colour fraction: cairo keeps the
// fraction to the nearest of 65536 steps, and pixman takes the high byte.
inline uint32_t SolidChannel(double fraction)
{
    return static_cast<uint32_t>(fraction * 65535.0 + 0.5) >> 8;
}

// Cairo's word of a solid source of straight fractions (each in [0, 1]):
// every colour is premultiplied in double precision before it is stepped.
inline uint32_t SolidSourceWord(double red, double green, double blue, double alpha)
{
    return SolidChannel(alpha) << 24 | SolidChannel(red * alpha) << 16 |
           SolidChannel(green * alpha) << 8 | SolidChannel(blue * alpha);
}

// A premultiplied pixel over a world's pixel, both in our layout, as pixman's
// OVER computes it: each byte d of the world pixel becomes
// s + d * (255 - alpha(s)) / 255, the product rounded as pixman's MUL_UN8
// rounds it and the sum saturated at 255 (a world's bytes need not be valid
// premultiplied colours):
//
//     [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]   every byte the same rule
constexpr uint32_t OverWorldPixel(uint32_t premultiplied, uint32_t world)
{
    const uint32_t k = 255 - (premultiplied & 0xFF);
    uint32_t out = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t c =
            ((premultiplied >> shift) & 0xFF) + MultiplyRounded((world >> shift) & 0xFF, k);
        out |= (c > 255 ? 255 : c) << shift;
    }
    return out;
}

// c * m / 255 as cairo's span mixing works it out: (t + (t >> 8)) >> 8 with
// t = c * m + 127, which rounds a half down where MultiplyRounded rounds it
// up.
constexpr uint32_t MultiplyForSpans(uint32_t c, uint32_t m)
{
    const uint32_t t = c * m + 127;
    return (t + (t >> 8)) >> 8;
}

// The bytes of an opaque colour mixed over those of a world pixel by a
// coverage m, as cairo mixes an antialiased stroke's edge:
// c * m / 255 + d * (255 - m) / 255, each product rounded as
// MultiplyForSpans rounds it and the sum saturated at 255.
constexpr uint32_t MixByCoverage(uint32_t colour, uint32_t world, uint32_t m)
{
    uint32_t out = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        const uint32_t sum = MultiplyForSpans((colour >> shift) & 0xFF, m) +
                             MultiplyForSpans((world >> shift) & 0xFF, 255 - m);
        out |= (sum > 255 ? 255 : sum) << shift;
    }
    return out;
}

// Draws one row of width image pixels (4 bytes each, any alignment) over
// width world pixels, each exactly as OverWorldPixel(ImagePixelToWorld(..))
// gives it.
void CompositeImageRow(const uint8_t* src, uint32_t* dst, int width, uint32_t alphaInfo);

// The same over width of cairo's premultiplied words (a host's image
// surface): each becomes MirrorWord(OverWorldPixel(ImagePixelToWorld(..),
// MirrorWord(word))), the bits pixman's OVER leaves.
void CompositeImageRowOverCairo(const uint8_t* src, uint32_t* dst, int width, uint32_t alphaInfo);

// Reverses the bytes of every pixel of a block of rows in place.
inline void MirrorRows(uint8_t* firstRow, ptrdiff_t rowBytes, int width, int height)
{
    for (int v = 0; v < height; v++, firstRow += rowBytes) {
        uint32_t* p = reinterpret_cast<uint32_t*>(firstRow);
        int h = 0;
#if defined(__SSE2__)
        // Four words at a time: the bytes of each 16-bit half swapped, then
        // the halves.
        for (; h + 4 <= width; h += 4) {
            auto* four = reinterpret_cast<__m128i*>(p + h);
            __m128i x = _mm_loadu_si128(four);
            x = _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8));
            x = _mm_shufflehi_epi16(_mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)),
                                    _MM_SHUFFLE(2, 3, 0, 1));
            _mm_storeu_si128(four, x);
        }
#endif
        for (; h < width; h++)
            p[h] = MirrorWord(p[h]);
    }
}

// Converts one row of image pixels into cairo's words.
inline void ImageRowToCairo(const uint32_t* src, uint32_t* dst, int width, uint32_t alphaInfo)
{
    for (int h = 0; h < width; h++)
        dst[h] = ImagePixelToCairo(src[h], alphaInfo);
}

#endif
