// The blend of a paint pixel over another pixel (MixPixel in sprig/blend.h)
// and its inverse, which takes a drawing over a known background back to the
// paint that was drawn.
#include "sprig/blend.h"

#include <cmath>

namespace {

// Un-mixes one channel: the difference is signed, the result clamped.
inline uint32_t UnmixChannel(uint32_t mixed, uint32_t under, float t)
{
    const float v =
        static_cast<float>(static_cast<int32_t>(mixed) - static_cast<int32_t>(under)) / t +
        static_cast<float>(under);
    if (v < 0.0f)
        return 0;
    if (v > 255.0f)
        return 255;
    return static_cast<uint32_t>(v);
}

} // namespace

extern "C" {

uint32_t MyMixColors(uint32_t paint, uint32_t under)
{
    return sprig::MixPixel(paint, under);
}

uint32_t ReMixColors(uint32_t mixed, uint32_t under)
{
    const float xb = static_cast<float>(under & 0xFF) / 255.0f;
    const float xm = static_cast<float>(mixed & 0xFF) / 255.0f;
    const float t = (xm - xb) / (1.0f - xb);
    // An opaque background divides by zero: no paint can be recovered from it.
    if (t == 0.0f || !std::isfinite(t))
        return 0;
    uint32_t out = 0;
    for (int shift = 8; shift < 32; shift += 8)
        out |= UnmixChannel((mixed >> shift) & 0xFF, (under >> shift) & 0xFF, t) << shift;
    const float alpha = t * 255.0f;
    // t lies in [-254, 1] for finite t, so the truncation fits an int.
    return out |
           (alpha > 255.0f ? 255u : static_cast<uint32_t>(static_cast<int32_t>(alpha)) & 0xFF);
}

void RecreateColors(GWorldPtr world, uint32_t under)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    LockPixels(pm);
    Rect bounds;
    GetPortBounds(world, &bounds);
    const int32_t rowPixels = GetPixRowBytes(pm) / 4;
    uint32_t* row = reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm));
    for (int v = 0; v < bounds.bottom; v++, row += rowPixels) {
        for (int h = 0; h < bounds.right; h++) {
            const uint32_t paint = ReMixColors(row[h], under);
            row[h] = paint ? paint : under;
        }
    }
    UnlockPixels(pm);
}

} // extern "C"
