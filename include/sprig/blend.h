/** @file
 * sprig: the library's one blend of a paint pixel over another pixel, and
 * its inverse.
 *
 * Pixels are pixel words with straight (not premultiplied) alpha:
 *
 *     [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
 *      31    24  23    16  15     8  7      0
 *
 * MyMixColors(s, d) is the source-over blend of s over d in single
 * precision: with a = alpha(s), dA = alpha(d) / 255, k = 255 - a,
 * f = dA * k and A = 255 - (1 - dA) * k, each channel becomes
 * trunc((a * ch(s) + ch(d) * f) / A) and the alpha trunc(max(A, 0)).
 * Alpha 0 gives d and alpha 255 gives s without any arithmetic. */
#ifndef SPRIG_BLEND_H
#define SPRIG_BLEND_H

#include "sprig/platform.h"

namespace sprig {

/// The blend in inline form, for the library's pixel loops. Two cases need no
/// floating point and give the same bits as the general steps: over an opaque
/// pixel dA is exactly 1.0f, so f = k and A = 255 and each channel is an exact
/// integer quotient by 255; over a transparent pixel f = 0 and A = a, so each
/// channel is (a * ch(s)) / a = ch(s) and the result is s itself.
inline uint32_t MixPixel(uint32_t paint, uint32_t under)
{
    const uint32_t a = paint & 0xFF;
    if (a == 0)
        return under;
    if (a == 255)
        return paint;
    const uint32_t underAlpha = under & 0xFF;
    if (underAlpha == 0)
        return paint;
    const uint32_t k = 255 - a;
    uint32_t out = 0;
    if (underAlpha == 255) {
        out = 0xFF;
        for (int shift = 8; shift < 32; shift += 8) {
            const uint32_t n = a * ((paint >> shift) & 0xFF) + k * ((under >> shift) & 0xFF);
            out |= (n / 255) << shift; // n <= 65025
        }
        return out;
    }
    const float dA = static_cast<float>(underAlpha) * 0.003921568859368563f;
    const float f = dA * static_cast<float>(k);
    const float A = 255.0f - (1.0f - dA) * static_cast<float>(k);
    for (int shift = 8; shift < 32; shift += 8) {
        const int32_t sc = static_cast<int32_t>(a * ((paint >> shift) & 0xFF));
        const float dc = static_cast<float>((under >> shift) & 0xFF);
        out |= static_cast<uint32_t>((static_cast<float>(sc) + dc * f) / A) << shift;
    }
    return out | static_cast<uint32_t>(A > 0.0f ? A : 0.0f);
}

} // namespace sprig

SPRIG_EXTERN_C_BEGIN

/** paint composited over under. */
SPRIG_EXPORT uint32_t MyMixColors(uint32_t paint, uint32_t under);

/** The paint that, mixed over under, gave mixed; 0 when the two alphas give a
 * blend factor of 0 (equal alphas) or none at all (an opaque under). */
SPRIG_EXPORT uint32_t ReMixColors(uint32_t mixed, uint32_t under);

/** Replaces every pixel p of the world's bounds by ReMixColors(p, under), or
 * by under where that is 0: undoes a drawing over a background of under. */
SPRIG_EXPORT void RecreateColors(GWorldPtr world, uint32_t under);

/** Blends count paint pixels over count under pixels, each exactly as
 * MyMixColors does, four at a time where the processor allows. */
SPRIG_EXPORT void MixColorsRow(const uint32_t* paint, uint32_t* under, int32_t count);

SPRIG_EXTERN_C_END

#endif
