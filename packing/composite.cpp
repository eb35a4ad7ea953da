// Drawing a packed picture over a world straight from its packets.
//
// The result is exactly that of expanding the picture and compositing the
// expanded pixels with MyMixColors, but only the rows and columns drawn are
// visited, and a run is handled once: a transparent run is skipped, a long
// opaque run is filled, a few stored pixels over transparent ones are
// copied as the blend would give them, and everything else goes through the
// row blend: longer stretches where they lie, the pixels of short ones
// gathered from all over the picture a batch at a time.
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

#if defined(__SSE2__)
// Four stored pixels as pixel words: the bytes of each 16-bit half swapped,
// then the two halves.
inline __m128i UnswapGroup(__m128i x)
{
    x = _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8));
    return _mm_shufflehi_epi16(_mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)),
                               _MM_SHUFFLE(2, 3, 0, 1));
}
#endif

// n stored pixels (bytes reversed) as pixel words.
inline void UnswapPixels(const uint32_t* stored, uint32_t* out, uint32_t n)
{
#if defined(__SSE2__)
    if (n < 4) {
        for (uint32_t i = 0; i < n; i++)
            out[i] = SwapPixel(stored[i]);
        return;
    }
    // Four at a time, the last four overlapping those before when n is not
    // a multiple of four.
    for (uint32_t i = 0; i + 4 < n; i += 4)
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(out + i),
            UnswapGroup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(stored + i))));
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out + n - 4),
        UnswapGroup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(stored + n - 4))));
#else
    for (uint32_t i = 0; i < n; i++)
        out[i] = SwapPixel(stored[i]);
#endif
}

// Pixels of short stretches, kept with the place each goes to and blended a
// batch at a time with one call of the row blend. A picture's packets cover
// each pixel of the world once, so blending them later gives the same words.
class DeferredBlends
{
  public:
    DeferredBlends() = default;
    DeferredBlends(const DeferredBlends&) = delete;
    DeferredBlends& operator=(const DeferredBlends&) = delete;
    ~DeferredBlends() { Flush(); }

    // Up to three pixels, paint(i) over d[i] for i < n. Three entries are
    // written whatever n is, those past n repeating the last pixel, so that
    // no branch depends on n; only n of them are kept.
    template <typename PaintOf>
    void Add(uint32_t* d, uint32_t n, PaintOf paintOf)
    {
        if (n == 0)
            return;
        const uint32_t last = n - 1;
        const uint32_t second = last < 1 ? last : 1;
        uint32_t** entry = mWhere + mCount;
        mPaint[mCount] = paintOf(0);
        mPaint[mCount + 1] = paintOf(second);
        mPaint[mCount + 2] = paintOf(last);
        mUnder[mCount] = d[0];
        mUnder[mCount + 1] = d[second];
        mUnder[mCount + 2] = d[last];
        entry[0] = d;
        entry[1] = d + second;
        entry[2] = d + last;
        mCount += n;
        if (mCount >= kSize)
            Flush();
    }

    void Flush()
    {
        MixColorsRow(mPaint, mUnder, static_cast<int32_t>(mCount));
        for (uint32_t i = 0; i < mCount; i++)
            *mWhere[i] = mUnder[i];
        mCount = 0;
    }

  private:
    static constexpr uint32_t kSize = 64;
    uint32_t mCount = 0;
    // Room for the two entries past n that Add writes.
    uint32_t mPaint[kSize + 2];
    uint32_t mUnder[kSize + 2];
    uint32_t* mWhere[kSize + 2];
};

// Stretches this short are put off into the batch rather than blended with
// a call of the row blend of their own.
constexpr uint32_t kDeferBelow = 4;
static_assert(kDeferBelow <= 4, "DeferredBlends::Add takes up to three pixels");
// Opaque runs at least this long are filled without blending (at least
// eight, for Fill).
constexpr uint32_t kDirectFill = 8;

// n >= 8 pixels of d set to word.
inline void Fill(uint32_t* d, uint32_t n, uint32_t word)
{
#if defined(__SSE2__)
    // Eight at a time, the last eight overlapping those before when n is not
    // a multiple of eight.
    const __m128i four = _mm_set1_epi32(static_cast<int>(word));
    for (uint32_t i = 0; i + 8 < n; i += 8) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i), four);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(d + i + 4), four);
    }
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 8), four);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 4), four);
#else
    for (uint32_t i = 0; i < n; i++)
        d[i] = word;
#endif
}

// n pixels of one paint over d.
inline void CompositeRun(uint32_t* d, uint32_t n, uint32_t paint, DeferredBlends& later)
{
    const uint32_t alpha = paint & 0xFF;
    if (alpha == 0)
        return;
    if (alpha == 255 && n >= kDirectFill) {
        Fill(d, n, paint);
        return;
    }
    if (n < kDeferBelow) {
        later.Add(d, n, [paint](uint32_t) { return paint; });
        return;
    }
    constexpr uint32_t kChunk = 64;
    uint32_t buffer[kChunk];
    const uint32_t first = n < kChunk ? n : kChunk;
#if defined(__SSE2__)
    const __m128i four = _mm_set1_epi32(static_cast<int>(paint));
    for (uint32_t i = 0; i < first; i += 4)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(buffer + i), four);
#else
    for (uint32_t i = 0; i < first; i++)
        buffer[i] = paint;
#endif
    for (uint32_t done = 0; done < n; done += kChunk) {
        const uint32_t m = n - done < kChunk ? n - done : kChunk;
        MixColorsRow(buffer, d + done, static_cast<int32_t>(m));
    }
}

// n stored pixels over d, tinted or not.
template <bool kTinted>
inline void CompositeStored(uint32_t* d, const uint32_t* stored, uint32_t n, const Paint& paint,
                            DeferredBlends& later)
{
    if (n < kDeferBelow) {
        later.Add(d, n, [stored, &paint](uint32_t i) {
            const uint32_t word = SwapPixel(stored[i]);
            return kTinted ? paint(word) : word;
        });
        return;
    }
#if defined(__SSE2__)
    if (!kTinted && n <= 8) {
        // Four to eight pixels as their first four and last four. Over
        // transparent pixels the blend gives each paint pixel itself, or
        // the pixel under it where the paint is transparent.
        const __m128i d0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d));
        const __m128i d1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + n - 4));
        const __m128i alphas = _mm_set1_epi32(0xFF);
        const __m128i zero = _mm_setzero_si128();
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(_mm_or_si128(d0, d1), alphas), zero)) ==
            0xFFFF) {
            const __m128i s0 =
                UnswapGroup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(stored)));
            const __m128i s1 =
                UnswapGroup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(stored + n - 4)));
            const __m128i clear0 = _mm_cmpeq_epi32(_mm_and_si128(s0, alphas), zero);
            const __m128i clear1 = _mm_cmpeq_epi32(_mm_and_si128(s1, alphas), zero);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d + n - 4),
                             _mm_or_si128(_mm_and_si128(clear1, d1), _mm_andnot_si128(clear1, s1)));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(d),
                             _mm_or_si128(_mm_and_si128(clear0, d0), _mm_andnot_si128(clear0, s0)));
            return;
        }
    }
#endif
    constexpr uint32_t kChunk = 64;
    uint32_t buffer[kChunk];
    for (uint32_t done = 0; done < n; done += kChunk) {
        const uint32_t m = n - done < kChunk ? n - done : kChunk;
        UnswapPixels(stored + done, buffer, m);
        if (kTinted)
            for (uint32_t k = 0; k < m; k++)
                buffer[k] = paint(buffer[k]);
        MixColorsRow(buffer, d + done, static_cast<int32_t>(m));
    }
}

// Columns [0, w) of one row of the current encoding over d, for a picture w
// wide: each packet is drawn whole, up to the width (a damaged row may
// describe more).
template <bool kTinted>
void CompositeWholeRow(const uint32_t* picture, uint32_t row, uint32_t w, uint32_t* d,
                       const Paint& paint, DeferredBlends& later)
{
    const uint32_t* packet = picture + picture[kHeaderWords + row];
    uint32_t left = w; // columns still to draw
    for (;;) {
        const uint32_t control = packet[0];
        const uint32_t count = control & kCountMask;
        const uint32_t m = count < left ? count : left;
        if (control & kRunBit) {
            const uint32_t word = SwapPixel(packet[1]);
            CompositeRun(d, m, kTinted ? paint(word) : word, later);
            packet += 2;
        } else {
            CompositeStored<kTinted>(d, packet + 1, m, paint, later);
            packet += 1 + size_t{count};
        }
        d += m;
        left -= m;
        if ((control & kLastBit) || left == 0)
            break;
    }
}

// Columns [x0, x0 + w) of one row of the current encoding over d: packets
// wholly left of x0 are stepped over, and each packet that meets the
// columns is drawn where it lies.
template <bool kTinted>
void CompositeCurrentRow(const uint32_t* picture, uint32_t row, uint32_t x0, uint32_t w,
                         uint32_t* d, const Paint& paint, DeferredBlends& later)
{
    const uint32_t x1 = x0 + w;
    const uint32_t* packet = picture + picture[kHeaderWords + row];
    uint32_t n = 0; // the column of the packet's first pixel
    for (;;) {
        const uint32_t control = packet[0];
        const uint32_t count = control & kCountMask;
        if (n + count > x0)
            break;
        if (control & kLastBit)
            return;
        packet += control & kRunBit ? 2 : 1 + size_t{count};
        n += count;
    }
    while (n < x1) {
        const uint32_t control = packet[0];
        const uint32_t count = control & kCountMask;
        const uint32_t from = n > x0 ? n : x0;
        const uint32_t to = n + count < x1 ? n + count : x1;
        if (control & kRunBit) {
            if (from < to) {
                const uint32_t word = SwapPixel(packet[1]);
                CompositeRun(d + (from - x0), to - from, kTinted ? paint(word) : word, later);
            }
            packet += 2;
        } else {
            if (from < to)
                CompositeStored<kTinted>(d + (from - x0), packet + 1 + (from - n), to - from, paint,
                                         later);
            packet += 1 + size_t{count};
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
    // Like every same-size composite, this leaves the world's pixels
    // unlocked, also when nothing of the picture lands on it.
    PixMapHandle pm = GetGWorldPixMap(dst);
    LockPixels(pm);
    Rect bounds;
    Rect clip;
    GetPortBounds(dst, &bounds);
    if (!SectRect(&bounds, dstRect, &clip)) {
        UnlockPixels(pm);
        return;
    }
    const auto x0 = static_cast<uint32_t>(srcRect->left + (clip.left - dstRect->left));
    const auto y0 = static_cast<uint32_t>(srcRect->top + (clip.top - dstRect->top));
    const auto w = static_cast<uint32_t>(clip.right - clip.left);
    const auto h = static_cast<uint32_t>(clip.bottom - clip.top);

    Paint paint = {tint != nullptr, 0};
    if (tint)
        paint.tint = (uint32_t{tint->blue} >> 8 << 24) | (uint32_t{tint->green} >> 8 << 16) |
                     (uint32_t{tint->red} >> 8 << 8);

    const int32_t rowBytes = GetPixRowBytes(pm);
    auto* dstRow = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm)) +
                   static_cast<intptr_t>(clip.top) * rowBytes + 4 * intptr_t{clip.left};
    const WordSpan span = UnboundedWords(picture);
    if (IsCurrentEncoding(span)) {
        DeferredBlends later;
        const bool whole = x0 == 0 && w > 0 && w == picture[kWidthWord];
        for (uint32_t r = 0; r < h; r++, dstRow += rowBytes) {
            auto* d = reinterpret_cast<uint32_t*>(dstRow);
            if (whole && tint)
                CompositeWholeRow<true>(picture, y0 + r, w, d, paint, later);
            else if (whole)
                CompositeWholeRow<false>(picture, y0 + r, w, d, paint, later);
            else if (tint)
                CompositeCurrentRow<true>(picture, y0 + r, x0, w, d, paint, later);
            else
                CompositeCurrentRow<false>(picture, y0 + r, x0, w, d, paint, later);
        }
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
