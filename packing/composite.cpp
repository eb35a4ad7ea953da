// Drawing a packed picture over a world straight from its packets.
//
// The result is exactly that of expanding the picture and compositing the
// expanded pixels with MyMixColors, but only the rows and columns drawn are
// visited, and a run is handled once: a transparent run is skipped, a long
// opaque run is filled, and everything else goes through the row blend, the
// pixels between two skipped or filled runs in one call.
// Pictures of the older encoding are expanded one row at a time instead.
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// n stored pixels (bytes reversed) as pixel words.
inline void UnswapPixels(const uint32_t* stored, uint32_t* out, uint32_t n)
{
    uint32_t i = 0;
#if defined(__SSE2__)
    for (; i + 4 <= n; i += 4) {
        __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(stored + i));
        // The bytes of each 16-bit half swapped, then the two halves.
        x = _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8));
        x = _mm_shufflehi_epi16(_mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)),
                                _MM_SHUFFLE(2, 3, 0, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), x);
    }
#endif
    for (; i < n; i++)
        out[i] = SwapPixel(stored[i]);
}

// One row drawn a packet at a time: the pixels of consecutive packets that
// need blending are gathered and blended over the row with one call of the
// row blend, transparent runs are skipped, long opaque runs are filled
// without blending, and stretches of a few pixels are blended in place.
class RowComposer
{
  public:
    RowComposer(uint32_t* d, const Paint& paint) : mD(d), mPaint(paint) {}
    ~RowComposer() { Flush(); }
    RowComposer(const RowComposer&) = delete;
    RowComposer& operator=(const RowComposer&) = delete;

    // n pixels of one stored pixel.
    void Run(uint32_t stored, uint32_t n)
    {
        const uint32_t paint = mPaint(SwapPixel(stored));
        const uint32_t alpha = paint & 0xFF;
        if (alpha == 0) {
            Flush();
            mD += n;
            return;
        }
        if (n <= kBlendInPlace) {
            Flush();
            uint32_t* d = mD;
            for (uint32_t i = 0; i < n; i++)
                d[i] = sprig::MixPixel(paint, d[i]);
            mD = d + n;
            return;
        }
        if (alpha == 255 && n >= kDirectFill) {
            Flush();
            uint32_t* d = mD;
            for (uint32_t i = 0; i < n; i++)
                d[i] = paint;
            mD = d + n;
            return;
        }
        while (n > 0) {
            const uint32_t m = Room(n);
            uint32_t* out = mBuffer + mCount;
            for (uint32_t i = 0; i < m; i++)
                out[i] = paint;
            mCount += m;
            n -= m;
        }
    }

    // n stored pixels.
    void Literal(const uint32_t* stored, uint32_t n)
    {
        if (n <= kBlendInPlace) {
            Flush();
            uint32_t* d = mD;
            for (uint32_t i = 0; i < n; i++)
                d[i] = sprig::MixPixel(mPaint(SwapPixel(stored[i])), d[i]);
            mD = d + n;
            return;
        }
        while (n > 0) {
            const uint32_t m = Room(n);
            uint32_t* out = mBuffer + mCount;
            UnswapPixels(stored, out, m);
            if (mPaint.tinted)
                for (uint32_t i = 0; i < m; i++)
                    out[i] = mPaint(out[i]);
            mCount += m;
            stored += m;
            n -= m;
        }
    }

  private:
    // Stretches this short are blended pixel by pixel where they lie,
    // which costs less than gathering them for the row blend.
    static constexpr uint32_t kBlendInPlace = 3;
    // Opaque runs at least this long are filled straight into the row.
    static constexpr uint32_t kDirectFill = 8;
    static constexpr uint32_t kChunk = 64;

    // How many of n pixels fit the buffer, blending what it holds when full.
    uint32_t Room(uint32_t n)
    {
        if (mCount == kChunk)
            Flush();
        return n < kChunk - mCount ? n : kChunk - mCount;
    }

    void Flush()
    {
        if (mCount == 0)
            return;
        MixColorsRow(mBuffer, mD, static_cast<int32_t>(mCount));
        mD += mCount;
        mCount = 0;
    }

    uint32_t* mD; // the row pixel under mBuffer[0]
    const Paint& mPaint;
    uint32_t mCount = 0;
    uint32_t mBuffer[kChunk];
};

// Columns [x0, x0 + w) of one row of the current encoding over d.
void CompositeCurrentRow(const uint32_t* picture, uint32_t row, uint32_t x0, uint32_t w,
                         uint32_t* d, const Paint& paint)
{
    const uint32_t x1 = x0 + w;
    size_t at = picture[kHeaderWords + row];
    uint32_t n = 0; // the column of the packet's first pixel
    // Packets wholly left of the columns drawn.
    for (;;) {
        const uint32_t control = picture[at];
        const uint32_t count = control & kCountMask;
        if (n + count > x0)
            break;
        if (control & kLastBit)
            return;
        at += control & kRunBit ? 2 : 1 + size_t{count};
        n += count;
    }
    RowComposer composer(d, paint);
    while (n < x1) {
        const uint32_t control = picture[at];
        const uint32_t count = control & kCountMask;
        const uint32_t from = n > x0 ? n : x0;
        const uint32_t to = n + count < x1 ? n + count : x1;
        if (control & kRunBit) {
            if (from < to)
                composer.Run(picture[at + 1], to - from);
            at += 2;
        } else {
            if (from < to)
                composer.Literal(picture + at + 1 + (from - n), to - from);
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
