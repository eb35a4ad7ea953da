// The blend over a row: each paint pixel blended over its under pixel with
// the library's blend (sprig::MixPixel).
//
// On x86-64 the row goes in groups of four pixels (SSE2, always present
// there), or of eight where the processor has AVX2 (picked once, at the
// first call). A group whose sources are all transparent is skipped and one
// whose sources are all opaque is copied, as the blend's early exits do.
// Over opaque destinations the blend is exact integer arithmetic per
// channel, n = a * s + (255 - a) * d and n / 255 (dA is exactly 1.0f, so
// f = 255 - a and A = 255), which 16-bit lanes hold:
//
//     pixel   [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
//     lanes   [   B    ][   G    ][   R    ][ A = 255 ]   x 2 pixels per 128 bits
//
// with n / 255 = (n + 1 + (n >> 8)) >> 8 for n <= 65025. Over a
// transparent destination the blend returns the source, or the destination
// where the source is transparent; a group whose destinations are each
// opaque or transparent takes both and picks per pixel. Any other group
// takes the blend's general steps in single-precision lanes, which round
// exactly as the scalar steps do: the same operations in the same order,
// and no fused multiply-add (x86-64 has none by default, and the AVX2
// functions enable AVX2 alone).
//
// Every lane of a group is blended on its own, whatever the group's case,
// so a row's last group may overlap the one before it: it is worked out
// from the destinations as they were and stored after the others, giving
// the overlapped pixels the words they already got. With AVX2 a row of
// four to seven pixels goes as one group of its first four and last four;
// a row of one to three as a group of four filled up with copies of its
// last pixel.
#include "paint/blend_row_p.h"
#include "sprig/blend.h"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace {

void MixColorsRowPlain(const uint32_t* src, uint32_t* dst, int32_t count)
{
    for (int i = 0; i < count; i++)
        dst[i] = sprig::MixPixel(src[i], dst[i]);
}

#if defined(__SSE2__)

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
inline bool MixGroup(__m128i s, __m128i d, __m128i* out)
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

inline __m128i Load4(const uint32_t* p)
{
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
}

inline void Store4(uint32_t* p, __m128i x)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(p), x);
}

// One to three pixels as a group of four, filled up with copies of the last
// pixel so that the group falls in the same case as its real pixels do.
void MixShortRow(const uint32_t* src, uint32_t* dst, int count)
{
    const int second = count > 1 ? 1 : 0;
    const int third = count > 2 ? 2 : second;
    const __m128i s = _mm_set_epi32(static_cast<int>(src[third]), static_cast<int>(src[third]),
                                    static_cast<int>(src[second]), static_cast<int>(src[0]));
    const __m128i d = _mm_set_epi32(static_cast<int>(dst[third]), static_cast<int>(dst[third]),
                                    static_cast<int>(dst[second]), static_cast<int>(dst[0]));
    __m128i mixed;
    if (!MixGroup(s, d, &mixed))
        return;
    dst[0] = static_cast<uint32_t>(_mm_cvtsi128_si32(mixed));
    if (count > 1)
        dst[1] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(mixed, 4)));
    if (count > 2)
        dst[2] = static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(mixed, 8)));
}

void MixColorsRowSse2(const uint32_t* src, uint32_t* dst, int32_t count)
{
    if (count < 4) {
        if (count > 0)
            MixShortRow(src, dst, count);
        return;
    }
    const int last = count - 4;
    __m128i lastMixed;
    const bool storeLast = MixGroup(Load4(src + last), Load4(dst + last), &lastMixed);
    for (int i = 0; i < last; i += 4) {
        __m128i mixed;
        if (MixGroup(Load4(src + i), Load4(dst + i), &mixed))
            Store4(dst + i, mixed);
    }
    if (storeLast)
        Store4(dst + last, lastMixed);
}

// The same steps as above, eight pixels a group.
#define SPRIG_AVX2 inline __attribute__((target("avx2"), always_inline))

SPRIG_AVX2 __m256i BlendOverOpaque8(__m256i s16, __m256i d16)
{
    const __m256i alphaOnly = _mm256_set_epi16(0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, -1);
    const __m256i ff = _mm256_set1_epi16(255);
    __m256i a = _mm256_shufflelo_epi16(s16, _MM_SHUFFLE(0, 0, 0, 0));
    a = _mm256_shufflehi_epi16(a, _MM_SHUFFLE(0, 0, 0, 0));
    const __m256i k = _mm256_sub_epi16(ff, a);
    const __m256i s = _mm256_or_si256(s16, _mm256_and_si256(alphaOnly, ff));
    const __m256i n = _mm256_add_epi16(_mm256_mullo_epi16(a, s), _mm256_mullo_epi16(k, d16));
    const __m256i q =
        _mm256_add_epi16(_mm256_add_epi16(n, _mm256_set1_epi16(1)), _mm256_srli_epi16(n, 8));
    return _mm256_srli_epi16(q, 8);
}

SPRIG_AVX2 __m256i BlendGeneral8(__m256i s, __m256i d, __m256i sa)
{
    const __m256i byteMask = _mm256_set1_epi32(0xFF);
    const __m256 dA = _mm256_mul_ps(_mm256_cvtepi32_ps(_mm256_and_si256(d, byteMask)),
                                    _mm256_set1_ps(0.003921568859368563f));
    const __m256 k = _mm256_cvtepi32_ps(_mm256_sub_epi32(byteMask, sa));
    const __m256 f = _mm256_mul_ps(dA, k);
    const __m256 A = _mm256_sub_ps(_mm256_set1_ps(255.0f),
                                   _mm256_mul_ps(_mm256_sub_ps(_mm256_set1_ps(1.0f), dA), k));
    __m256i out = _mm256_cvttps_epi32(A);
    for (int shift = 8; shift < 32; shift += 8) {
        const __m256i sc = _mm256_and_si256(_mm256_srli_epi32(s, shift), byteMask);
        const __m256i dc = _mm256_and_si256(_mm256_srli_epi32(d, shift), byteMask);
        const __m256 product = _mm256_cvtepi32_ps(_mm256_madd_epi16(sa, sc));
        const __m256 n = _mm256_add_ps(product, _mm256_mul_ps(_mm256_cvtepi32_ps(dc), f));
        const __m256i c = _mm256_cvttps_epi32(_mm256_div_ps(n, A));
        out = _mm256_or_si256(out, _mm256_slli_epi32(c, shift));
    }
    return out;
}

// One bit per pixel of a mask of whole 32-bit lanes.
SPRIG_AVX2 int LaneBits(__m256i mask)
{
    return _mm256_movemask_ps(_mm256_castsi256_ps(mask));
}

SPRIG_AVX2 bool MixGroup8(__m256i s, __m256i d, __m256i* out)
{
    const __m256i alphaMask = _mm256_set1_epi32(0xFF);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i sa = _mm256_and_si256(s, alphaMask);
    const __m256i clear = _mm256_cmpeq_epi32(sa, zero);
    const int clearBits = LaneBits(clear);
    if (clearBits == 0xFF)
        return false;
    const __m256i solid = _mm256_cmpeq_epi32(sa, alphaMask);
    if (LaneBits(solid) == 0xFF) {
        *out = s;
        return true;
    }
    const __m256i da = _mm256_and_si256(d, alphaMask);
    const __m256i bare = _mm256_cmpeq_epi32(da, zero);
    const int bareBits = LaneBits(bare);
    const int underBits = LaneBits(_mm256_cmpeq_epi32(da, alphaMask));
    // Where the source is transparent the result is d, and where the
    // destination is transparent it is the source.
    const __m256i plain = _mm256_blendv_epi8(s, d, clear);
    if (bareBits == 0xFF) {
        *out = plain;
    } else if ((bareBits | underBits) == 0xFF) {
        const __m256i lo =
            BlendOverOpaque8(_mm256_unpacklo_epi8(s, zero), _mm256_unpacklo_epi8(d, zero));
        const __m256i hi =
            BlendOverOpaque8(_mm256_unpackhi_epi8(s, zero), _mm256_unpackhi_epi8(d, zero));
        *out = _mm256_blendv_epi8(_mm256_packus_epi16(lo, hi), plain, bare);
    } else {
        const __m256i mixed = _mm256_blendv_epi8(BlendGeneral8(s, d, sa), s, solid);
        *out = _mm256_blendv_epi8(mixed, d, clear);
    }
    return true;
}

SPRIG_AVX2 __m256i Load8(const uint32_t* p)
{
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

__attribute__((target("avx2"))) void MixColorsRowAvx2(const uint32_t* src, uint32_t* dst,
                                                      int32_t count)
{
    if (count < 4) {
        if (count > 0)
            MixShortRow(src, dst, count);
        return;
    }
    if (count < 8) {
        // The first four and the last four, overlapping, as one group.
        const int last = count - 4;
        const __m256i s = _mm256_set_m128i(Load4(src + last), Load4(src));
        const __m256i d = _mm256_set_m128i(Load4(dst + last), Load4(dst));
        __m256i mixed;
        if (MixGroup8(s, d, &mixed)) {
            Store4(dst + last, _mm256_extracti128_si256(mixed, 1));
            Store4(dst, _mm256_castsi256_si128(mixed));
        }
        return;
    }
    const int last = count - 8;
    __m256i lastMixed;
    const bool storeLast = MixGroup8(Load8(src + last), Load8(dst + last), &lastMixed);
    for (int i = 0; i < last; i += 8) {
        __m256i mixed;
        if (MixGroup8(Load8(src + i), Load8(dst + i), &mixed))
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + i), mixed);
    }
    if (storeLast)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + last), lastMixed);
}

#undef SPRIG_AVX2

bool HasAvx2()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2");
}

#endif

} // namespace

namespace sprig {

std::vector<RowBlendVariant> RowBlendVariants()
{
    std::vector<RowBlendVariant> variants = {{"plain", MixColorsRowPlain}};
#if defined(__SSE2__)
    variants.push_back({"sse2", MixColorsRowSse2});
    if (HasAvx2())
        variants.push_back({"avx2", MixColorsRowAvx2});
#endif
    return variants;
}

} // namespace sprig

extern "C" void MixColorsRow(const uint32_t* src, uint32_t* dst, int32_t count)
{
#if defined(__SSE2__)
    static const sprig::RowBlend blend = HasAvx2() ? MixColorsRowAvx2 : MixColorsRowSse2;
    blend(src, dst, count);
#else
    MixColorsRowPlain(src, dst, count);
#endif
}
