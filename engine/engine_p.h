// What the engine's units share beyond the public header.
#ifndef SPRIG_ENGINE_ENGINE_P_H
#define SPRIG_ENGINE_ENGINE_P_H

#include "sprig/engine.h"
#include "sprig/images.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Whether a sprite showing picture `number` at `size` shows a picture: not
// for a number outside the pool, an empty slot or a negative size. A size
// that scales the picture past the widest world (32767 pixels) throws the
// error of a world that cannot be made (paramErr), as a world that large
// would when the copy was built.
bool ShowsPicture(int32_t number, int32_t size);

// The picture a sprite shows at that size and opacity (the pool's picture,
// or its cached scaled or faded copy), or null when it shows none.
CImage* ShownPicture(int32_t number, int32_t size, short opacity);

// SprRound, inline for the engine's own moves: v >= 0 becomes the integer
// part of v + 0.5, v < 0 that of v - 0.499999, each held to 32 bits; not a
// number becomes 0.
inline int32_t RoundPosition(double v)
{
    if (v >= 0) {
        const double t = v + 0.5;
        return t >= 2147483647.0 ? INT32_MAX : static_cast<int32_t>(t);
    }
    if (v < 0) {
        const double t = v - 0.499999;
        return t <= -2147483648.0 ? INT32_MIN : static_cast<int32_t>(t);
    }
    return 0;
}

// The size of a sprite (mSize) that shows its picture at its natural size.
constexpr short kNaturalSize = 40;

// The width and height of a sprite's rectangle: its picture's natural size
// times mSize / 40 in 32-bit arithmetic, kept to 16 bits; 0 by 0 without a
// picture. A move reads them once for both of its rectangles.
struct RectSize
{
    int16_t width;
    int16_t height;
};

inline RectSize SpriteRectSize(const CSprite& sprite)
{
    const int32_t number = sprite.mImage;
    const CImage* picture =
        number >= 0 && number < CImagePool::kSlots ? gImagePool.mImages[number] : nullptr;
    const int32_t w = picture ? picture->width : 0;
    const int32_t h = picture ? picture->height : 0;
    // At the natural size the scaling gives the size itself, wherever 40
    // times it fits 32 bits.
    if (sprite.mSize == kNaturalSize && static_cast<uint32_t>(w) <= 0x7FFF &&
        static_cast<uint32_t>(h) <= 0x7FFF)
        return RectSize{static_cast<int16_t>(w), static_cast<int16_t>(h)};
    // 32-bit products wrap as the processor's do.
    const uint32_t size = static_cast<uint32_t>(static_cast<int32_t>(sprite.mSize));
    return RectSize{
        static_cast<int16_t>(static_cast<int32_t>(size * static_cast<uint32_t>(w)) / kNaturalSize),
        static_cast<int16_t>(static_cast<int32_t>(size * static_cast<uint32_t>(h)) / kNaturalSize)};
}

// The sprite's rectangle for that size at the rounded position (x, y):
// half the size (truncated) to the left and above, every edge 16 bits.
inline void PlaceRect(int32_t x, int32_t y, RectSize size, Rect* out)
{
    out->left =
        static_cast<int16_t>(static_cast<uint32_t>(x) - static_cast<uint32_t>(size.width / 2));
    out->top =
        static_cast<int16_t>(static_cast<uint32_t>(y) - static_cast<uint32_t>(size.height / 2));
    out->right = static_cast<int16_t>(int32_t{out->left} + size.width);
    out->bottom = static_cast<int16_t>(int32_t{out->top} + size.height);
}

// PlaceRect for one size at any number of positions, as a move places its
// old and new rectangles. With SSE2 the four edges come from one 16-bit
// addition of the edges' distances from the position, which keeps exactly
// the low 16 bits that PlaceRect keeps.
class RectPlacer
{
  public:
    explicit RectPlacer(RectSize size)
    {
#if defined(__SSE2__)
        const int halfWidth = size.width / 2;
        const int halfHeight = size.height / 2;
        // [top][left][bottom][right], as Rect lies in memory
        mDistances =
            _mm_setr_epi16(static_cast<int16_t>(-halfHeight), static_cast<int16_t>(-halfWidth),
                           static_cast<int16_t>(size.height - halfHeight),
                           static_cast<int16_t>(size.width - halfWidth), 0, 0, 0, 0);
#else
        mSize = size;
#endif
    }

    Rect At(int32_t x, int32_t y) const
    {
        Rect r;
#if defined(__SSE2__)
        const uint32_t yx = static_cast<uint32_t>(x) << 16 | (static_cast<uint32_t>(y) & 0xFFFF);
        const __m128i at = _mm_shuffle_epi32(_mm_cvtsi32_si128(static_cast<int32_t>(yx)), 0);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(&r), _mm_add_epi16(at, mDistances));
#else
        PlaceRect(x, y, mSize, &r);
#endif
        return r;
    }

  private:
#if defined(__SSE2__)
    __m128i mDistances;
#else
    RectSize mSize;
#endif
};

// Brings p into lo <= SprRound(p) < hi by whole multiples of hi - lo,
// keeping its fraction, exactly as stepping by one stage size at a time
// would for |p| < 2^53; hi must be greater than lo.
void WrapCoordinate(double& p, int32_t lo, int32_t hi);

// Invalidates rectangle r of the view (view coordinates).
void ViewSetNeedsDisplayInRect(HIViewRef view, Rect r);

#endif
