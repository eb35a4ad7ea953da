// The mixing pass, which turns mask coverage into pixels, and the per-pixel
// colour arithmetic the host uses for text shapes and erasing.
//
// Pixel word, alpha not premultiplied:
//     [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
// Colour table entry, as the host writes it:
//     [AAAAAAAA][BBBBBBBB][GGGGGGGG][RRRRRRRR]
// so an entry shifted left by 8 is its colour as a pixel word, alpha 0.
#include <algorithm>
#include <cmath>

#include "paint/paint_p.h"
#include "sprig/blend.h"
#include "sprig/transfer.h"

namespace {

inline uint32_t Red(uint32_t p)
{
    return (p >> 8) & 0xFF;
}
inline uint32_t Green(uint32_t p)
{
    return (p >> 16) & 0xFF;
}
inline uint32_t Blue(uint32_t p)
{
    return p >> 24;
}

inline uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

// The pixel with its alpha scaled by (255 - amount) / 256, colour kept.
inline uint32_t ScaleAlpha(uint32_t p, uint32_t amount)
{
    return (p & 0xFFFFFF00u) | ((((p & 0xFF) * (255 - amount)) >> 8) & 0xFF);
}

// The low 8 bits of v truncated toward zero. Values no integer holds (NaN,
// infinities, beyond 64 bits) give 0 instead of undefined behaviour.
inline uint32_t LowByte(float v)
{
    if (!(std::fabs(v) < 9.2e18f))
        return 0;
    return static_cast<uint32_t>(static_cast<int64_t>(v)) & 0xFF;
}

// 255 above 255, else the low 8 bits of v truncated.
inline uint32_t Clamp255(float v)
{
    return v > 255 ? 255 : LowByte(v);
}

inline uint32_t* PixelAt(Ptr base, int32_t rowBytes, int32_t x, int32_t y)
{
    return reinterpret_cast<uint32_t*>(base + static_cast<std::ptrdiff_t>(y) * rowBytes) + x;
}

} // namespace

bool PaintEraseMix(Rect* rect, OurPS* state, bool erase)
{
    ps locked;
    CPSLocker locker(state, &locked);
    const int32_t left = rect->left;
    const int32_t right = rect->right;
    if (rect->top >= rect->bottom || left >= right)
        return true;
    const uint32_t* table = locked.colorTable;
    for (int32_t y = rect->top; y < rect->bottom; y++) {
        const uint8_t* mask = MaskAtPixel(locked, left, y);
        const uint32_t* src = PixelAt(locked.srcBase, locked.srcRowBytes, left, y);
        uint32_t* dst = PixelAt(locked.dstBase, locked.dstRowBytes, left, y);
        const uint32_t* tex =
            locked.colorBase ? PixelAt(locked.colorBase, locked.colorRowBytes, left, y) : nullptr;
        for (int32_t i = 0; i < right - left; i++) {
            // Coverage above 63 would read before the table; it is full.
            const uint32_t entry = table[63 - std::min<uint32_t>(mask[i], 63)];
            const uint32_t a = entry >> 24;
            if (a == 0)
                continue;
            if (erase) {
                dst[i] = ScaleAlpha(src[i], a);
                continue;
            }
            const uint32_t colour = tex ? tex[i] & 0xFFFFFF00u : entry << 8;
            dst[i] = a == 255 ? colour | 0xFF : sprig::MixPixel(colour | a, src[i]);
        }
    }
    return true;
}

int32_t PaintMix(Rect* rect, OurPS* state)
{
    return PaintEraseMix(rect, state, false) ? 1 : 0;
}

int32_t EraseMix(Rect* rect, OurPS* state)
{
    return PaintEraseMix(rect, state, true) ? 1 : 0;
}

// Over black a shape of coverage t shows t * colour; over white it shows
// t * colour + (1 - t) * 255. The blue channels give t, which then divides
// the colour out of the black rendering.
uint32_t DiffColors(uint32_t onBlack, uint32_t onWhite)
{
    const uint32_t difference = Blue(onWhite) - Blue(onBlack);
    const float t = static_cast<float>(1 + difference / -255.0);
    if (t == 0)
        return 0;
    const uint32_t red = Clamp255(Red(onBlack) / t);
    const uint32_t green = Clamp255(Green(onBlack) / t);
    const uint32_t blue = Clamp255(Blue(onBlack) / t);
    const uint32_t alpha = Clamp255(t * 255);
    return Word(red, green, blue, alpha);
}

void CreateTextShape(GWorldPtr onBlack, GWorldPtr onWhite, GWorldPtr out, Rect* src,
                     const void* dstTopLeft)
{
    const int16_t* topLeft = static_cast<const int16_t*>(dstTopLeft);
    const int32_t dstTop = topLeft[0];
    const int32_t dstLeft = topLeft[1];
    PixMapHandle blackPm = GetGWorldPixMap(onBlack);
    PixMapHandle whitePm = GetGWorldPixMap(onWhite);
    PixMapHandle outPm = GetGWorldPixMap(out);
    LockPixels(blackPm);
    LockPixels(whitePm);
    LockPixels(outPm);
    const int32_t srcRowBytes = GetPixRowBytes(blackPm);
    const int32_t outRowBytes = GetPixRowBytes(outPm);
    const int16_t height = static_cast<int16_t>(src->bottom - src->top);
    const int16_t width = static_cast<int16_t>(src->right - src->left);
    for (int16_t i = 0; i < height; i++) {
        const uint32_t* black =
            PixelAt(GetPixBaseAddr(blackPm), srcRowBytes, src->left, src->top + i);
        const uint32_t* white =
            PixelAt(GetPixBaseAddr(whitePm), srcRowBytes, src->left, src->top + i);
        uint32_t* row = PixelAt(GetPixBaseAddr(outPm), outRowBytes, dstLeft, dstTop + i);
        for (int16_t j = 0; j < width; j++)
            row[j] = DiffColors(black[j], white[j]);
    }
    UnlockPixels(blackPm);
    UnlockPixels(whitePm);
    UnlockPixels(outPm);
}

// The darkest channel sets the coverage M; each channel is then the colour
// that, at coverage M over white, gives the pixel.
uint32_t ReMixTextColors(uint32_t pixel)
{
    const uint32_t invRed = 255 - Red(pixel);
    const uint32_t invGreen = 255 - Green(pixel);
    const uint32_t invBlue = 255 - Blue(pixel);
    const float m =
        static_cast<float>(std::fmax(invRed / 255.0, std::fmax(invBlue / 255.0, invGreen / 255.0)));
    if (m == 0)
        return 0; // white: no coverage
    const uint32_t red = Clamp255(std::roundf(255 - invRed / m));
    const uint32_t green = Clamp255(std::roundf(255 - invGreen / m));
    const uint32_t blue = Clamp255(std::roundf(255 - invBlue / m));
    const uint32_t alpha = Clamp255(static_cast<float>(std::sqrt(static_cast<double>(m)) * 255));
    return Word(red, green, blue, alpha);
}

uint8_t DoubleMix(float f, int v)
{
    return static_cast<uint8_t>(Clamp255(std::roundf(255 - (255 - v) / f)));
}

uint32_t EraseColors(uint32_t amount, uint32_t pixel)
{
    return ScaleAlpha(pixel, amount);
}

void CreateShape(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect)
{
    FoolCopyBits(src, dst, srcRect, dstRect);
}
