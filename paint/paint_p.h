// Paint tools: what the paint files share and no one else sees.
#ifndef SPRIG_PAINT_PAINT_P_H
#define SPRIG_PAINT_PAINT_P_H

#include <cstddef>

#include "sprig/paint.h"

// sin and cos of i tenths of a degree, i = 0..1800, filled by PaintInit.
// The step is 0.001745329251994, slightly below pi / 1800, so CosTable[900]
// is about 2.97e-13 rather than 0.
constexpr int kAngleSteps = 1801;
extern double SinTable[kAngleSteps];
extern double CosTable[kAngleSteps];

// The mask byte under brush or dot position (x, y): the mask's own
// coordinates, 16 rows and columns ahead of the surface's.
inline uint8_t* MaskAt(const ps& state, int32_t x, int32_t y)
{
    return state.mask + static_cast<std::ptrdiff_t>(y) * (state.width + 32) + x;
}

// The mask byte of surface pixel (x, y).
inline uint8_t* MaskAtPixel(const ps& state, int32_t x, int32_t y)
{
    return MaskAt(state, x + 16, y + 16);
}

#endif
