// The ways cg_direct.cpp draws a row of straight alpha-first image pixels
// over world pixels, each giving exactly
// OverWorldPixel(ImagePixelToWorld(pixel, kCGImageAlphaFirst), world).
#ifndef SPRIG_PLATFORM_CG_DIRECT_P_H
#define SPRIG_PLATFORM_CG_DIRECT_P_H

#include <cstdint>
#include <vector>

using StraightFirstRow = void (*)(const uint8_t* src, uint32_t* dst, int width);

struct StraightFirstRowVariant
{
    const char* name;
    StraightFirstRow row;
};

// Every variant this processor runs, plainest first; CompositeImageRow uses
// the last one.
std::vector<StraightFirstRowVariant> StraightFirstRowVariants();

#endif
