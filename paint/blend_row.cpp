// The blend over a row: each paint pixel blended over its under pixel with
// the library's blend (sprig::MixPixel).
//
// On x86-64 the row goes four pixels at a time (SSE2, always present there).
// A group whose four sources are all transparent is skipped and one whose
// four sources are all opaque is copied, as the blend's early exits do. Over
// four opaque destinations the blend is exact integer arithmetic per
// channel, n = a * s + (255 - a) * d and n / 255 (dA is exactly 1.0f, so
// f = 255 - a and A = 255), which 16-bit lanes hold:
//
//     pixel   [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
//     lanes   [   B    ][   G    ][   R    ][ A = 255 ]   x 2 pixels per register
//
// with n / 255 = (n + 1 + (n >> 8)) >> 8 for n <= 65025. Over four
// transparent destinations the blend returns the source, or the destination
// where the source is transparent. Any other group takes the blend's general
// steps in four single-precision lanes at once, which round exactly as the
// scalar steps do (no fused multiply-add: x86-64 has none by default).
#include "sprig/blend.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

void MixColorsRowScalar(const uint32_t* src, uint32_t* dst, int count)
{
    for (int i = 0; i < count; i++)
        dst[i] = sprig::MixPixel(src[i], dst[i]);
}

} // namespace

#if defined(__SSE2__)

namespace {

// Two pixels of a register widened to 16-bit lanes, blended over opaque ones.
inline __m128i BlendOverOpaque(__m128i s16, __m128i d16)
{
    const __m128i alphaOnly = _mm_set_epi16(0, 0, 0, -1, 0, 0, 0, -1);
    const __m128i ff = _mm_set1_epi16(255);
    // Each pixel's alpha in all four of its lanes.
    __m128i a = _mm_shufflelo_epi16(s16, _MM_SHUFFLE(0, 0, 0, 0));
    a = _mm_shufflehi_epi16(a, _MM_SHUFFLE(0, 0, 0, 0));
    const __m128i k = _mm_sub_epi16(ff, a);
    // The source's alpha lane counts as 255: the result's alpha is 255.
    const __m128i s = _mm_or_si128(s16, _mm_and_si128(alphaOnly, ff));
    const __m128i n = _mm_add_epi16(_mm_mullo_epi16(a, s), _mm_mullo_epi16(k, d16));
    const __m128i q = _mm_add_epi16(_mm_add_epi16(n, _mm_set1_epi16(1)), _mm_srli_epi16(n, 8));
    return _mm_srli_epi16(q, 8);
}

// Four pixels over four of any alpha, lane by lane in single precision: the
// blend's general steps in the same order, so each lane rounds exactly as
// the scalar blend does. Sources of alpha 0 and 255 are put right by the
// caller.
inline __m128i BlendGeneral(__m128i s, __m128i d, __m128i sa)
{
    const __m128i byteMask = _mm_set1_epi32(0xFF);
    const __m128 dA =
        _mm_mul_ps(_mm_cvtepi32_ps(_mm_and_si128(d, byteMask)), _mm_set1_ps(0.003921568859368563f));
    const __m128 k = _mm_cvtepi32_ps(_mm_sub_epi32(byteMask, sa));
    const __m128 f = _mm_mul_ps(dA, k);
    const __m128 A =
        _mm_sub_ps(_mm_set1_ps(255.0f), _mm_mul_ps(_mm_sub_ps(_mm_set1_ps(1.0f), dA), k));
    __m128i out = _mm_cvttps_epi32(A);
    for (int shift = 8; shift < 32; shift += 8) {
        const __m128i sc = _mm_and_si128(_mm_srli_epi32(s, shift), byteMask);
        const __m128i dc = _mm_and_si128(_mm_srli_epi32(d, shift), byteMask);
        // a * ch(s) in 32-bit lanes: both factors fit the low 16 bits.
        const __m128 product = _mm_cvtepi32_ps(_mm_madd_epi16(sa, sc));
        const __m128 n = _mm_add_ps(product, _mm_mul_ps(_mm_cvtepi32_ps(dc), f));
        const __m128i c = _mm_cvttps_epi32(_mm_div_ps(n, A));
        out = _mm_or_si128(out, _mm_slli_epi32(c, shift));
    }
    return out;
}

inline __m128i Select(__m128i mask, __m128i ifSet, __m128i otherwise)
{
    return _mm_or_si128(_mm_and_si128(mask, ifSet), _mm_andnot_si128(mask, otherwise));
}

} // namespace

extern "C" void MixColorsRow(const uint32_t* src, uint32_t* dst, int32_t count)
{
    const __m128i alphaMask = _mm_set1_epi32(0xFF);
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi32(-1);
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m128i s = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        // Bytes 0, 4, 8 and 12 are the four alphas.
        const int clearBytes = _mm_movemask_epi8(_mm_cmpeq_epi8(s, zero)) & 0x1111;
        if (clearBytes == 0x1111)
            continue;
        if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, ones)) & 0x1111) == 0x1111) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), s);
            continue;
        }
        const __m128i sa = _mm_and_si128(s, alphaMask);
        const __m128i clear = _mm_cmpeq_epi32(sa, zero);
        const __m128i solid = _mm_cmpeq_epi32(sa, alphaMask);
        const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(dst + i));
        const __m128i da = _mm_and_si128(d, alphaMask);
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(da, alphaMask)) == 0xFFFF) {
            const __m128i lo =
                BlendOverOpaque(_mm_unpacklo_epi8(s, zero), _mm_unpacklo_epi8(d, zero));
            const __m128i hi =
                BlendOverOpaque(_mm_unpackhi_epi8(s, zero), _mm_unpackhi_epi8(d, zero));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), _mm_packus_epi16(lo, hi));
        } else if (_mm_movemask_epi8(_mm_cmpeq_epi32(da, zero)) == 0xFFFF) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), Select(clear, d, s));
        } else {
            const __m128i mixed = Select(solid, s, BlendGeneral(s, d, sa));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + i), Select(clear, d, mixed));
        }
    }
    MixColorsRowScalar(src + i, dst + i, count - i);
}

#else

extern "C" void MixColorsRow(const uint32_t* src, uint32_t* dst, int32_t count)
{
    MixColorsRowScalar(src, dst, count);
}

#endif
