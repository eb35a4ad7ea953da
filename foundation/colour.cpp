#include "sprig/foundation.h"

namespace {

// pinkColor as a pixel word with alpha 0: the reduction passes over it.
constexpr uint32_t kPinkKeyWord = 0xFFF8FF00;

// Widens a 5-bit channel to 16 bits by repeating its bits: 16 gives 0x8421.
inline uint16_t Widen5To16(uint32_t c)
{
    return static_cast<uint16_t>((c << 11) | (c << 6) | (c << 1) | (c >> 4));
}

inline uint32_t Reduce(uint32_t p)
{
    return RGBToWord[p & 0xFF] | (RGBToWord[(p >> 8) & 0xFF] << 5) |
           (RGBToWord[(p >> 16) & 0xFF] << 10);
}

// Rows start at a running byte offset rounded down to the element size.
template <typename T>
inline T* RowStart(T* base, uint64_t offset)
{
    return reinterpret_cast<T*>(reinterpret_cast<uint8_t*>(base) +
                                (offset & ~uint64_t{sizeof(T) - 1}));
}

} // namespace

extern "C" {

uint16_t RGBColorToShort(const RGBColor* colour)
{
    return static_cast<uint16_t>(((colour->red >> 11) << 10) | ((colour->green >> 11) << 5) |
                                 (colour->blue >> 11));
}

void ShortToRGBColor(uint16_t pixel, RGBColor* out)
{
    out->red = Widen5To16((pixel >> 10) & 0x1F);
    out->green = Widen5To16((pixel >> 5) & 0x1F);
    out->blue = Widen5To16(pixel & 0x1F);
}

void LongToRGBColor(uint32_t colour, RGBColor* out)
{
    out->red = static_cast<uint16_t>(((colour >> 16) & 0xFF) * 0x0101);
    out->green = static_cast<uint16_t>(((colour >> 8) & 0xFF) * 0x0101);
    out->blue = static_cast<uint16_t>((colour & 0xFF) * 0x0101);
}

void Reduce32To16(uint32_t* src, uint32_t* dst, uint32_t width, uint32_t height,
                  uint32_t srcRowBytes, uint32_t dstRowBytes)
{
    uint64_t srcOffset = 0;
    uint64_t dstOffset = 0;
    for (uint32_t y = 0; y < height; y++) {
        const uint32_t* s = RowStart(src, srcOffset);
        uint32_t* d = RowStart(dst, dstOffset);
        for (uint32_t x = 0; x < width; x++) {
            const uint32_t p = s[x];
            if (p != kPinkKeyWord)
                d[x] = Reduce(p);
        }
        srcOffset += srcRowBytes;
        dstOffset += dstRowBytes;
    }
}

void CopyReducedTo16(uint32_t* src, uint16_t* dst, uint32_t width, uint32_t height,
                     uint32_t srcRowBytes, uint32_t dstRowBytes)
{
    uint64_t srcOffset = 0;
    uint64_t dstOffset = 0;
    for (uint32_t y = 0; y < height; y++) {
        const uint32_t* s = RowStart(src, srcOffset);
        uint16_t* d = RowStart(dst, dstOffset);
        for (uint32_t x = 0; x < width; x++)
            d[x] = static_cast<uint16_t>(s[x]);
        srcOffset += srcRowBytes;
        dstOffset += dstRowBytes;
    }
}

} // extern "C"
