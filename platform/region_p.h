// Regions are pixman regions; other platform files reach the pixman region
// behind a handle through this header.
#ifndef SPRIG_PLATFORM_REGION_P_H
#define SPRIG_PLATFORM_REGION_P_H

#include <pixman.h>

#include "sprig/platform.h"

struct OpaqueRgnHandle
{
    pixman_region32_t region;
};

inline pixman_region32_t* PixmanRegion(RgnHandle rgn)
{
    return &rgn->region;
}

#endif
