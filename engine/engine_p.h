// What the engine's units share beyond the public header.
#ifndef SPRIG_ENGINE_ENGINE_P_H
#define SPRIG_ENGINE_ENGINE_P_H

#include "sprig/engine.h"
#include "sprig/images.h"

// The picture a sprite shows at that size and opacity (the pool's picture,
// or its cached scaled or faded copy), or null when it shows nothing: a
// number outside the pool, an empty slot, or a size that leaves the picture
// no pixels (so that no copy of width or height 0 is ever built).
CImage* ShownPicture(int32_t number, int32_t size, short opacity);

// Invalidates rectangle r of the view (view coordinates).
void ViewSetNeedsDisplayInRect(HIViewRef view, Rect r);

#endif
