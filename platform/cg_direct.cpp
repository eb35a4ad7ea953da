// An image drawn one to one over a world's pixels without going through
// cairo: each image pixel is premultiplied and composited OVER the world
// pixel in place, with exactly the arithmetic cairo and pixman use
// (cg_pixels_p.h), so the world ends up with the bits cairo would have left.
//
// Images of straight alpha-first pixels (the sprite surfaces) go four pixels
// at a time on x86-64 (SSE2, always present there): a group of four
// transparent pixels is skipped, four opaque ones are copied (premultiplying
// an opaque pixel changes nothing, and OVER by an opaque pixel is the pixel),
// and any other group is worked in 16-bit lanes, two pixels a register
// (sixteen transparent or sixteen opaque pixels are found with one test);
// where the processor has AVX2 (picked once), eight pixels a group:
//
//     pixel   [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
//     lanes   [   B    ][   G    ][   R    ][   A    ]   x 2 per 128 bits
//
// premultiplied = MUL(pixel, [a, a, a, 255]) and
// result = premultiplied + MUL(world, 255 - a), saturated, where
// MUL(x, y) = (t + (t >> 8)) >> 8 with t = x * y + 128 (pixman's MUL_UN8),
// worked in the lanes as the high half of t * 257.
#include <cstring>

#include "platform/cg_direct_p.h"
#include "platform/cg_pixels_p.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace {

inline uint32_t LoadWord(const uint8_t* p)
{
    uint32_t word;
    std::memcpy(&word, p, 4);
    return word;
}

void CompositeImageRowScalar(const uint8_t* src, uint32_t* dst, int width, uint32_t alphaInfo)
{
    for (int h = 0; h < width; h++, src += 4)
        dst[h] = OverWorldPixel(ImagePixelToWorld(LoadWord(src), alphaInfo), dst[h]);
}

#if defined(__SSE2__)

// MUL_UN8 in each 16-bit lane of x and y (both at most 255), with a high
// multiply: (t + (t >> 8)) >> 8 = (t * 257) >> 16 for every 16-bit t (with
// t = 256h + l, both sides are h plus one exactly when h + l reaches 256).
inline __m128i MultiplyLanes(__m128i x, __m128i y)
{
    const __m128i t = _mm_add_epi16(_mm_mullo_epi16(x, y), _mm_set1_epi16(0x80));
    return _mm_mulhi_epu16(t, _mm_set1_epi16(257));
}

// Two straight pixels widened to 16-bit lanes: their premultiplied form and
// the world pixels' share that shows through, as two halves of the sum.
inline void OverLanes(__m128i s16, __m128i d16, __m128i* premultiplied, __m128i* shown)
{
    const __m128i alphaLanes = _mm_set_epi16(0, 0, 0, -1, 0, 0, 0, -1);
    const __m128i ff = _mm_set1_epi16(255);
    // Each pixel's alpha in all four of its lanes.
    __m128i a = _mm_shufflelo_epi16(s16, _MM_SHUFFLE(0, 0, 0, 0));
    a = _mm_shufflehi_epi16(a, _MM_SHUFFLE(0, 0, 0, 0));
    const __m128i factor =
        _mm_or_si128(_mm_andnot_si128(alphaLanes, a), _mm_and_si128(alphaLanes, ff));
    *premultiplied = MultiplyLanes(s16, factor);
    *shown = MultiplyLanes(d16, _mm_sub_epi16(ff, a));
}

// The alpha bytes (0, 4, 8 and 12) of x that equal those of y, as bits 0,
// 4, 8 and 12.
inline int SameAlphas(__m128i x, __m128i y)
{
    return _mm_movemask_epi8(_mm_cmpeq_epi8(x, y)) & 0x1111;
}

// Four words with their bytes reversed: cairo's words to ours and back.
inline __m128i MirrorGroup(__m128i x)
{
    x = _mm_or_si128(_mm_slli_epi16(x, 8), _mm_srli_epi16(x, 8));
    return _mm_shufflehi_epi16(_mm_shufflelo_epi16(x, _MM_SHUFFLE(2, 3, 0, 1)),
                               _MM_SHUFFLE(2, 3, 0, 1));
}

// The rows below composite over our world words, or over cairo's (kCairo),
// whose bytes are the mirror of ours: those are mirrored on the way in and
// out, and the arithmetic in between is the same.
template <bool kCairo>
inline __m128i Destination(__m128i x)
{
    return kCairo ? MirrorGroup(x) : x;
}

// Four straight pixels over four world pixels.
template <bool kCairo>
inline void CompositeGroup(__m128i s, uint32_t* dst)
{
    const __m128i zero = _mm_setzero_si128();
    if (SameAlphas(s, zero) == 0x1111)
        return;
    auto* out = reinterpret_cast<__m128i*>(dst);
    if (SameAlphas(s, _mm_set1_epi32(-1)) == 0x1111) {
        _mm_storeu_si128(out, Destination<kCairo>(s));
        return;
    }
    const __m128i d = Destination<kCairo>(_mm_loadu_si128(out));
    __m128i pLo, sLo, pHi, sHi;
    OverLanes(_mm_unpacklo_epi8(s, zero), _mm_unpacklo_epi8(d, zero), &pLo, &sLo);
    OverLanes(_mm_unpackhi_epi8(s, zero), _mm_unpackhi_epi8(d, zero), &pHi, &sHi);
    _mm_storeu_si128(out, Destination<kCairo>(_mm_adds_epu8(_mm_packus_epi16(pLo, pHi),
                                                            _mm_packus_epi16(sLo, sHi))));
}

template <bool kCairo>
void StraightFirstRowSse2(const uint8_t* src, uint32_t* dst, int width)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi32(-1);
    int h = 0;
    // Sixteen pixels at a time, skipped or copied whole when all are
    // transparent or all opaque (a sprite surface is mostly either).
    for (; h + 16 <= width; h += 16, src += 64) {
        __m128i s[4];
        for (int k = 0; k < 4; k++)
            s[k] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 16 * k));
        const __m128i any = _mm_or_si128(_mm_or_si128(s[0], s[1]), _mm_or_si128(s[2], s[3]));
        if (SameAlphas(any, zero) == 0x1111)
            continue;
        const __m128i all = _mm_and_si128(_mm_and_si128(s[0], s[1]), _mm_and_si128(s[2], s[3]));
        if (SameAlphas(all, ones) == 0x1111) {
            for (int k = 0; k < 4; k++)
                _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + h + 4 * k),
                                 Destination<kCairo>(s[k]));
            continue;
        }
        for (int k = 0; k < 4; k++)
            CompositeGroup<kCairo>(s[k], dst + h + 4 * k);
    }
    for (; h + 4 <= width; h += 4, src += 16)
        CompositeGroup<kCairo>(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src)), dst + h);
    if (!kCairo) {
        CompositeImageRowScalar(src, dst + h, width - h, kCGImageAlphaFirst);
        return;
    }
    for (; h < width; h++, src += 4)
        dst[h] = MirrorWord(OverWorldPixel(ImagePixelToWorld(LoadWord(src), kCGImageAlphaFirst),
                                           MirrorWord(dst[h])));
}

void CompositeStraightFirstRow(const uint8_t* src, uint32_t* dst, int width)
{
    StraightFirstRowSse2<false>(src, dst, width);
}

void CompositeStraightFirstRowOverCairo(const uint8_t* src, uint32_t* dst, int width)
{
    StraightFirstRowSse2<true>(src, dst, width);
}

// The same with AVX2: sixteen pixels in two registers, other groups eight
// pixels at a time, in the same 16-bit lanes (unpacking and packing keep to
// each 128-bit half, so every pixel is worked out exactly as above).
#define SPRIG_AVX2 inline __attribute__((target("avx2"), always_inline))

SPRIG_AVX2 __m256i MultiplyLanes8(__m256i x, __m256i y)
{
    const __m256i t = _mm256_add_epi16(_mm256_mullo_epi16(x, y), _mm256_set1_epi16(0x80));
    return _mm256_mulhi_epu16(t, _mm256_set1_epi16(257));
}

SPRIG_AVX2 void OverLanes8(__m256i s16, __m256i d16, __m256i* premultiplied, __m256i* shown)
{
    const __m256i ff = _mm256_set1_epi16(255);
    // Each pixel's alpha (the low byte of its first lane) in all four of its
    // lanes, and [255, a, a, a] with 255 in the alpha lanes.
    const __m256i spread = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 8, -1, 8, -1, 8, -1, 8, -1,
                                            0, -1, 0, -1, 0, -1, 0, -1, 8, -1, 8, -1, 8, -1, 8, -1);
    const __m256i a = _mm256_shuffle_epi8(s16, spread);
    const __m256i factor = _mm256_blend_epi16(a, ff, 0x11);
    *premultiplied = MultiplyLanes8(s16, factor);
    *shown = MultiplyLanes8(d16, _mm256_sub_epi16(ff, a));
}

// The alpha bytes of x that equal those of y, as bits 0, 4, 8, ... 28.
SPRIG_AVX2 uint32_t SameAlphas8(__m256i x, __m256i y)
{
    return static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(x, y))) & 0x11111111u;
}

// Eight words with their bytes reversed.
SPRIG_AVX2 __m256i MirrorGroup8(__m256i x)
{
    const __m256i reverse = _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12,
                                             3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    return _mm256_shuffle_epi8(x, reverse);
}

template <bool kCairo>
SPRIG_AVX2 __m256i Destination8(__m256i x)
{
    return kCairo ? MirrorGroup8(x) : x;
}

// Eight straight pixels over eight destination words, the result in the
// destination's byte order.
template <bool kCairo>
SPRIG_AVX2 __m256i Over8(__m256i s, __m256i destination)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i d = Destination8<kCairo>(destination);
    __m256i pLo, sLo, pHi, sHi;
    OverLanes8(_mm256_unpacklo_epi8(s, zero), _mm256_unpacklo_epi8(d, zero), &pLo, &sLo);
    OverLanes8(_mm256_unpackhi_epi8(s, zero), _mm256_unpackhi_epi8(d, zero), &pHi, &sHi);
    return Destination8<kCairo>(
        _mm256_adds_epu8(_mm256_packus_epi16(pLo, pHi), _mm256_packus_epi16(sLo, sHi)));
}

// Eight straight pixels over eight world pixels.
template <bool kCairo>
SPRIG_AVX2 void CompositeGroup8(__m256i s, uint32_t* dst)
{
    const __m256i zero = _mm256_setzero_si256();
    if (SameAlphas8(s, zero) == 0x11111111u)
        return;
    auto* out = reinterpret_cast<__m256i*>(dst);
    if (SameAlphas8(s, _mm256_set1_epi32(-1)) == 0x11111111u) {
        _mm256_storeu_si256(out, Destination8<kCairo>(s));
        return;
    }
    _mm256_storeu_si256(out, Over8<kCairo>(s, _mm256_loadu_si256(out)));
}

template <bool kCairo>
__attribute__((target("avx2"))) void StraightFirstRowAvx2(const uint8_t* src, uint32_t* dst,
                                                          int width)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i ones = _mm256_set1_epi32(-1);
    int h = 0;
    for (; h + 16 <= width; h += 16, src += 64) {
        const __m256i s0 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src));
        const __m256i s1 = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + 32));
        if (SameAlphas8(_mm256_or_si256(s0, s1), zero) == 0x11111111u)
            continue;
        if (SameAlphas8(_mm256_and_si256(s0, s1), ones) == 0x11111111u) {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + h), Destination8<kCairo>(s0));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + h + 8), Destination8<kCairo>(s1));
            continue;
        }
        CompositeGroup8<kCairo>(s0, dst + h);
        CompositeGroup8<kCairo>(s1, dst + h + 8);
    }
    if (h + 8 <= width) {
        CompositeGroup8<kCairo>(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(src)), dst + h);
        h += 8;
        src += 32;
    }
    // The last pixels (fewer than eight) as one group whose missing pixels
    // are transparent: masked loads read none of the bytes beyond the row,
    // and the masked store leaves the words beyond it as they are.
    if (h < width) {
        const __m256i lanes = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        const __m256i mask = _mm256_cmpgt_epi32(_mm256_set1_epi32(width - h), lanes);
        const __m256i s = _mm256_maskload_epi32(reinterpret_cast<const int*>(src), mask);
        auto* out = reinterpret_cast<int*>(dst + h);
        if (SameAlphas8(s, zero) != 0x11111111u)
            _mm256_maskstore_epi32(out, mask, Over8<kCairo>(s, _mm256_maskload_epi32(out, mask)));
    }
    // Clean upper halves before any further code: SSE instructions without
    // the VEX prefix run far slower after 256-bit ones until they are
    // cleared, and the compiler does not always clear them before a call.
    _mm256_zeroupper();
}

void CompositeStraightFirstRowAvx2(const uint8_t* src, uint32_t* dst, int width)
{
    StraightFirstRowAvx2<false>(src, dst, width);
}

void CompositeStraightFirstRowOverCairoAvx2(const uint8_t* src, uint32_t* dst, int width)
{
    StraightFirstRowAvx2<true>(src, dst, width);
}

#undef SPRIG_AVX2

bool HasAvx2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

#endif

void CompositeStraightFirstRowPlain(const uint8_t* src, uint32_t* dst, int width)
{
    CompositeImageRowScalar(src, dst, width, kCGImageAlphaFirst);
}

} // namespace

std::vector<StraightFirstRowVariant> StraightFirstRowVariants()
{
    std::vector<StraightFirstRowVariant> variants = {{"plain", CompositeStraightFirstRowPlain}};
#if defined(__SSE2__)
    variants.push_back({"sse2", CompositeStraightFirstRow});
    if (HasAvx2())
        variants.push_back({"avx2", CompositeStraightFirstRowAvx2});
#endif
    return variants;
}

void CompositeImageRow(const uint8_t* src, uint32_t* dst, int width, uint32_t alphaInfo)
{
#if defined(__SSE2__)
    if (alphaInfo == kCGImageAlphaFirst) {
        static const StraightFirstRow row =
            HasAvx2() ? CompositeStraightFirstRowAvx2 : CompositeStraightFirstRow;
        row(src, dst, width);
        return;
    }
#endif
    CompositeImageRowScalar(src, dst, width, alphaInfo);
}

void CompositeImageRowOverCairo(const uint8_t* src, uint32_t* dst, int width, uint32_t alphaInfo)
{
#if defined(__SSE2__)
    if (alphaInfo == kCGImageAlphaFirst) {
        static const StraightFirstRow row =
            HasAvx2() ? CompositeStraightFirstRowOverCairoAvx2 : CompositeStraightFirstRowOverCairo;
        row(src, dst, width);
        return;
    }
#endif
    for (int h = 0; h < width; h++, src += 4)
        dst[h] = MirrorWord(
            OverWorldPixel(ImagePixelToWorld(LoadWord(src), alphaInfo), MirrorWord(dst[h])));
}
