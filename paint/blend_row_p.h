// The variants of the row blend behind MixColorsRow, each giving exactly the
// words of sprig::MixPixel.
#ifndef SPRIG_PAINT_BLEND_ROW_P_H
#define SPRIG_PAINT_BLEND_ROW_P_H

#include <cstdint>
#include <vector>

namespace sprig {

using RowBlend = void (*)(const uint32_t* paint, uint32_t* under, int32_t count);

struct RowBlendVariant
{
    const char* name;
    RowBlend blend;
};

// Every variant this processor runs, plainest first; MixColorsRow uses the
// last one.
std::vector<RowBlendVariant> RowBlendVariants();

} // namespace sprig

#endif
