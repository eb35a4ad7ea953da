// What the engine's units share beyond the public header.
#ifndef SPRIG_ENGINE_ENGINE_P_H
#define SPRIG_ENGINE_ENGINE_P_H

#include "sprig/engine.h"
#include "sprig/images.h"

// Whether a sprite showing picture `number` at `size` shows a picture: not
// for a number outside the pool, an empty slot or a negative size. A size
// that scales the picture past the widest world (32767 pixels) throws the
// error of a world that cannot be made (paramErr), as a world that large
// would when the copy was built.
bool ShowsPicture(int32_t number, int32_t size);

// The picture a sprite shows at that size and opacity (the pool's picture,
// or its cached scaled or faded copy), or null when it shows none.
CImage* ShownPicture(int32_t number, int32_t size, short opacity);

// Brings p into lo <= SprRound(p) < hi by whole multiples of hi - lo,
// keeping its fraction, exactly as stepping by one stage size at a time
// would for |p| < 2^53; hi must be greater than lo.
void WrapCoordinate(double& p, int32_t lo, int32_t hi);

// Invalidates rectangle r of the view (view coordinates).
void ViewSetNeedsDisplayInRect(HIViewRef view, Rect r);

#endif
