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
// with n / 255 = (n + 1 + (n >> 8)) >> 8 for n <= 65025. Over a
// transparent destination the blend returns the source, or the destination
// where the source is transparent; a group whose destinations are each
// opaque or transparent takes both and picks per pixel. Any other group
// takes the blend's general steps in four single-precision lanes at once,
// which round exactly as the scalar steps do (no fused multiply-add: x86-64
// has none by default).
// The last one to three pixels of a row, and so a short row as a whole, go
// as one group too, filled up with copies of the last pixel.
#include "sprig/blend.h"

#if defined(__SSE2__)
#include <emmintrin.h>

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

// Four pixels over four: skipped (d itself) when all four sources are
// transparent, copied when all four are opaque, else blended lane by lane.
// Returns false when dst is to be left as it is.
inline bool MixGroup(__m128i s, const __m128i& d, __m128i* out)
{
    const __m128i alphaMask = _mm_set1_epi32(0xFF);
    const __m128i zero = _mm_setzero_si128();
    const __m128i ones = _mm_set1_epi32(-1);
    // Bytes 0, 4, 8 and 12 are the four alphas.
    if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, zero)) & 0x1111) == 0x1111)
        return false;
    if ((_mm_movemask_epi8(_mm_cmpeq_epi8(s, ones)) & 0x1111) == 0x1111) {
        *out = s;
        return true;
    }
    const __m128i sa = _mm_and_si128(s, alphaMask);
    const __m128i clear = _mm_cmpeq_epi32(sa, zero);
    const __m128i solid = _mm_cmpeq_epi32(sa, alphaMask);
    const __m128i da = _mm_and_si128(d, alphaMask);
    const __m128i under = _mm_cmpeq_epi32(da, alphaMask);
    const __m128i bare = _mm_cmpeq_epi32(da, zero);
    const int opaqueUnder = _mm_movemask_epi8(under);
    const int bareUnder = _mm_movemask_epi8(bare);
    if (bareUnder == 0xFFFF) {
        *out = Select(clear, d, s);
    } else if ((opaqueUnder | bareUnder) == 0xFFFF) {
        // Each destination opaque or transparent: the integer blend where
        // it is opaque (which gives d for a transparent source and s for an
        // opaque one), the source or d where it is transparent.
        const __m128i lo = BlendOverOpaque(_mm_unpacklo_epi8(s, zero), _mm_unpacklo_epi8(d, zero));
        const __m128i hi = BlendOverOpaque(_mm_unpackhi_epi8(s, zero), _mm_unpackhi_epi8(d, zero));
        *out = Select(bare, Select(clear, d, s), _mm_packus_epi16(lo, hi));
    } else {
        const __m128i mixed = Select(solid, s, BlendGeneral(s, d, sa));
        *out = Select(clear, d, mixed);
    }
    return true;
}

} // namespace

extern "C" void MixColorsRow(const uint32_t* src, uint32_t* dst, int32_t count)
{
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        auto* out = reinterpret_cast<__m128i*>(dst + i);
        __m128i mixed;
        if (MixGroup(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i)),
                     _mm_loadu_si128(out), &mixed))
            _mm_storeu_si128(out, mixed);
    }
    const int rest = count - i;
    if (rest <= 0)
        return;
    // The last one to three pixels as a group of four, filled up with
    // copies of the last pixel so that the group falls in the same case as
    // its real pixels do (each lane is blended on its own either way).
    const int second = rest > 1 ? i + 1 : i;
    const int third = rest > 2 ? i + 2 : second;
    const __m128i s = _mm_set_epi32(static_cast<int>(src[third]), static_cast<int>(src[third]),
                                    static_cast<int>(src[second]), static_cast<int>(src[i]));
    const __m128i d = _mm_set_epi32(static_cast<int>(dst[third]), static_cast<int>(dst[third]),
                                    static_cast<int>(dst[second]), static_cast<int>(dst[i]));
    __m128i mixed;
    if (!MixGroup(s, d, &mixed))
        return;
    dst[i] = static_cast<uint32_t>(_mm_cvtsi128_si32(mixed));
    if (rest > 1)
        dst[i + 1] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(mixed, 4)));
    if (rest > 2)
        dst[i + 2] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(mixed, 8)));
}

#else

extern "C" void MixColorsRow(const uint32_t* src, uint32_t* dst, int32_t count)
{
    for (int i = 0; i < count; i++)
        dst[i] = sprig::MixPixel(src[i], dst[i]);
}

#endif
