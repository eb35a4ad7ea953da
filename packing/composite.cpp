// Drawing a packed picture over a world straight from its packets.
//
// The result is exactly that of expanding the picture and compositing the
// expanded pixels with MyMixColors, but only the rows and columns drawn are
// visited, and a run is handled once: a transparent run is skipped, an
// opaque run is filled, and everything else goes through the row blend.
// Pictures of the older encoding are expanded one row at a time instead.
#include <memory>

#include "packing/packing_p.h"
#include "sprig/blend.h"
#include "sprig/platform.h"

namespace {

constexpr uint32_t kRunBit = 0x80000000;
constexpr uint32_t kLastBit = 0x40000000;
constexpr uint32_t kCountMask = 0x3FFFFFFF;

// The pixel a pixel word is drawn as. Untinted, the word itself. Tinted, a
// black pixel takes the tint's colour, [BBBBBBBB][GGGGGGGG][RRRRRRRR] from the
// high bytes of the colour's channels, and keeps its alpha; every other pixel
// becomes 0xFF7FFF00, which has alpha 0 and so is never drawn (0 serves the
// same).
struct Paint
{
    bool tinted;
    uint32_t tint;

    uint32_t operator()(uint32_t word) const
    {
        if (!tinted)
            return word;
        return (word >> 8) == 0 ? (word & 0xFF) | tint : 0;
    }
};

// Blends n pixels, source(i) for i = 0 .. n - 1, over d through the row
// blend, a stack buffer at a time.
template <typename Source>
inline void CompositeThrough(uint32_t* d, uint32_t n, Source source)
{
    constexpr uint32_t kChunk = 64;
    uint32_t buffer[kChunk];
    for (uint32_t done = 0; done < n; done += kChunk) {
        const uint32_t m = n - done < kChunk ? n - done : kChunk;
        for (uint32_t k = 0; k < m; k++)
            buffer[k] = source(done + k);
        MixColorsRow(buffer, d + done, static_cast<int32_t>(m));
    }
}

// n pixels of the same paint over d: a transparent run is skipped and an
// opaque one filled without blending.
inline void CompositeRun(uint32_t* d, uint32_t n, uint32_t paint)
{
    const uint32_t alpha = paint & 0xFF;
    if (alpha == 0)
        return;
    if (alpha == 255) {
        for (uint32_t i = 0; i < n; i++)
            d[i] = paint;
        return;
    }
    CompositeThrough(d, n, [paint](uint32_t) { return paint; });
}

// n stored pixels (bytes reversed) over d.
inline void CompositeStored(uint32_t* d, const uint32_t* stored, uint32_t n, const Paint& paint)
{
    CompositeThrough(d, n, [&](uint32_t i) { return paint(SwapPixel(stored[i])); });
}

// Columns [x0, x0 + w) of one row of the current encoding over d.
void CompositeCurrentRow(const uint32_t* picture, uint32_t row, uint32_t x0, uint32_t w,
                         uint32_t* d, const Paint& paint)
{
    const uint32_t x1 = x0 + w;
    size_t at = picture[kHeaderWords + row];
    uint32_t n = 0; // the column of the packet's first pixel
    while (n < x1) {
        const uint32_t control = picture[at];
        const uint32_t count = control & kCountMask;
        const uint32_t from = n > x0 ? n : x0;
        const uint32_t to = n + count < x1 ? n + count : x1;
        if (control & kRunBit) {
            if (from < to)
                CompositeRun(d + (from - x0), to - from, paint(SwapPixel(picture[at + 1])));
            at += 2;
        } else {
            if (from < to)
                CompositeStored(d + (from - x0), picture + at + 1 + (from - n), to - from, paint);
            at += 1 + size_t{count};
        }
        n += count;
        if (control & kLastBit)
            break;
    }
}

} // namespace

extern "C" void CompositePackedPicture(const uint32_t* picture, const Rect* srcRect, GWorldPtr dst,
                                       const Rect* dstRect, const RGBColor* tint)
{
    Rect bounds;
    Rect clip;
    GetPortBounds(dst, &bounds);
    if (!SectRect(&bounds, dstRect, &clip))
        return;
    const auto x0 = static_cast<uint32_t>(srcRect->left + (clip.left - dstRect->left));
    const auto y0 = static_cast<uint32_t>(srcRect->top + (clip.top - dstRect->top));
    const auto w = static_cast<uint32_t>(clip.right - clip.left);
    const auto h = static_cast<uint32_t>(clip.bottom - clip.top);

    Paint paint = {tint != nullptr, 0};
    if (tint)
        paint.tint = (uint32_t{tint->blue} >> 8 << 24) | (uint32_t{tint->green} >> 8 << 16) |
                     (uint32_t{tint->red} >> 8 << 8);

    PixMapHandle pm = GetGWorldPixMap(dst);
    LockPixels(pm);
    const int32_t rowBytes = GetPixRowBytes(pm);
    auto* dstRow = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm)) +
                   static_cast<intptr_t>(clip.top) * rowBytes + 4 * intptr_t{clip.left};
    const WordSpan span = UnboundedWords(picture);
    if (IsCurrentEncoding(span)) {
        for (uint32_t r = 0; r < h; r++, dstRow += rowBytes)
            CompositeCurrentRow(picture, y0 + r, x0, w, reinterpret_cast<uint32_t*>(dstRow), paint);
    } else {
        const auto width = static_cast<uint32_t>(picture[kWidthWord]);
        std::unique_ptr<uint32_t[]> row(new uint32_t[width]);
        for (uint32_t r = 0; r < h; r++, dstRow += rowBytes) {
            DecodeRow(span, y0 + r, width, row.get());
            const uint32_t* pixels = row.get() + x0;
            CompositeThrough(reinterpret_cast<uint32_t*>(dstRow), w,
                             [&](uint32_t i) { return paint(pixels[i]); });
        }
    }
    UnlockPixels(pm);
}
