// Pixel-exact hit tests and collision of sprites, on the pictures as the
// sprites show them (scaled and faded): a pixel counts when its alpha is not
// 0, however faint.
#include <algorithm>
#include <cstdint>

#include "engine/engine_p.h"
#include "images/picture_versions_p.h"

namespace {

// The largest radius whose square fits 32 bits, the arithmetic of the
// picture's own test.
constexpr int32_t kMaxRadius = 46340;

} // namespace

// The stored rectangle places the picture; the point is not tested against
// it first, since the picture's test keeps to the picture. A point farther
// than the radius from every pixel of the picture is answered at once.
bool CSprite::Clicked(int32_t h, int32_t v, int32_t radius)
{
    if (!mVisible)
        return false;
    CImage* picture = ShownPicture(mImage, mSize, mOpacity);
    if (!picture)
        return false;
    radius = std::min(radius, kMaxRadius);
    const int64_t x = int64_t{h} - mRect.left;
    const int64_t y = int64_t{v} - mRect.top;
    if (radius <= 0 || x <= -radius || y <= -radius || x >= picture->width + int64_t{radius} ||
        y >= picture->height + int64_t{radius})
        return false;
    return picture->IsTransparentRegion(static_cast<int32_t>(x), static_cast<int32_t>(y), radius);
}

bool CSprite::PtVisible(short h, short v)
{
    if (!mVisible)
        return false;
    Rect r;
    MakeRect(&r);
    Point pt;
    pt.h = h;
    pt.v = v;
    if (!PtInRect(pt, &r))
        return false;
    CImage* picture = ShownPicture(mImage, mSize, mOpacity);
    if (!picture || h - r.left >= picture->width || v - r.top >= picture->height)
        return false;
    return !picture->IsTransparentColor(h - r.left, v - r.top);
}

// Only the overlap of the two rectangles is tested, on masks of the two
// pictures' solid pixels, and the first pair of solid pixels ends the test.
// Rows and columns outside a picture (a stored rectangle older than the
// picture) count as transparent.
//
// When the other sprite shows the same picture at another size or opacity,
// its version is the one a temporary copy of the picture would show: the
// pool keeps one scaled or faded copy per slot, which this sprite's picture
// may be. That version is kept beside the pool's picture and reused, and
// the pool's cached copies are left as they are. The temporary copy would
// take a free slot and free it again, and its record would be taken with
// GetInfo(record, false), which sets the picture's native flag; the flag is
// set here too. UnpackRow would set the flag of both pictures tested when
// a row is visited.
bool CSprite::InCollisionWith(CSprite* other)
{
    if (!mVisible || !other->mVisible)
        return false;
    const Rect b = other->GetRect();
    Rect s;
    if (!SectRect(&mRect, &b, &s))
        return false;

    CImage* pictureA = ShownPicture(mImage, mSize, mOpacity);
    if (!pictureA)
        return false;
    CImage* pictureB = nullptr;
    bool unpackedB = true;
    if (other->mImage == mImage && (other->mSize != mSize || other->mOpacity != mOpacity)) {
        // Asked of the size alone: a lookup in the pool would replace the
        // cached copy that pictureA may be.
        if (!ShowsPicture(other->mImage, other->mSize))
            return false;
        CImage* natural = gImagePool.mImages[other->mImage];
        natural->native = true;
        pictureB = PictureVersion(natural, other->mSize, other->mOpacity);
        unpackedB = false;
    } else {
        pictureB = ShownPicture(other->mImage, other->mSize, other->mOpacity);
    }
    if (!pictureB)
        return false;

    // The overlap in each picture's own coordinates, cut to the picture.
    const int32_t ax = s.left - mRect.left, ay = s.top - mRect.top;
    const int32_t bx = s.left - b.left, by = s.top - b.top;
    const int32_t columns =
        std::min({s.right - s.left, pictureA->width - ax, pictureB->width - bx});
    const int32_t rows = std::min({s.bottom - s.top, pictureA->height - ay, pictureB->height - by});
    if (rows <= 0)
        return false;
    pictureA->native = true;
    if (unpackedB)
        pictureB->native = true;
    return columns > 0 && SolidPixelsMeet(pictureA, ax, ay, pictureB, bx, by, columns, rows);
}
