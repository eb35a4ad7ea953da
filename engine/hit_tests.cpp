// Pixel-exact hit tests and collision of sprites, on the pictures as the
// sprites show them (scaled and faded): a pixel counts when its alpha is not
// 0, however faint.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/engine_p.h"

namespace {

// The largest radius whose square fits 32 bits, the arithmetic of the
// picture's own test.
constexpr int32_t kMaxRadius = 46340;

inline bool Solid(uint32_t pixel)
{
    return (pixel & 0xFF) != 0; // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
}

// The second sprite's picture when it shows the same pool picture as the
// first at another size or opacity. The pool keeps one scaled or faded copy
// per slot, so this version is made from a copy of the picture in a free
// slot, which is erased again when the test ends. When the pool has no free
// slot, the copy is made outside the pool instead: the answer is the same.
class SecondVersion
{
  public:
    SecondVersion(int32_t number, int32_t size, short opacity) : mSlot(gImagePool.GetFree())
    {
        if (mSlot >= 0) {
            gImagePool.CopyImage(number, mSlot);
            try {
                mPicture = ShownPicture(mSlot, size, opacity);
            } catch (...) {
                gImagePool.EraseImage(mSlot);
                throw;
            }
            return;
        }
        PictureRecord record;
        gImagePool.GetImageInfo(number, reinterpret_cast<char*>(&record), false);
        mOwn.reset(new CImage(reinterpret_cast<char*>(&record)));
        // The lookup of the pool (scaled copy, then its faded copy) on a
        // picture of our own.
        CImage* p = mOwn.get();
        if (size != 40) {
            p->Resize(static_cast<uint32_t>(size));
            p = p->derived;
        }
        if (opacity != 255) {
            p->ResetOpacity(opacity);
            p = p->derived;
        }
        mPicture = p;
    }
    ~SecondVersion()
    {
        if (mSlot >= 0)
            gImagePool.EraseImage(mSlot);
    }
    SecondVersion(const SecondVersion&) = delete;
    SecondVersion& operator=(const SecondVersion&) = delete;

    CImage* Picture() const { return mPicture; }

  private:
    int32_t mSlot;
    std::unique_ptr<CImage> mOwn;
    CImage* mPicture = nullptr;
};

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

// Only the overlap of the two rectangles is visited, one row of each picture
// at a time, top to bottom and left to right, and the first pair of solid
// pixels ends the test. Rows and columns outside a picture (a stored
// rectangle older than the picture) count as transparent.
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
    std::unique_ptr<SecondVersion> copy;
    CImage* pictureB = nullptr;
    if (other->mImage == mImage && (other->mSize != mSize || other->mOpacity != mOpacity)) {
        // Asked of the size alone: a lookup in the pool would replace the
        // cached copy that pictureA may be.
        if (!ShowsPicture(other->mImage, other->mSize))
            return false;
        copy.reset(new SecondVersion(other->mImage, other->mSize, other->mOpacity));
        pictureB = copy->Picture();
    } else {
        pictureB = ShownPicture(other->mImage, other->mSize, other->mOpacity);
    }
    if (!pictureB)
        return false;

    std::vector<uint32_t> rowA(static_cast<size_t>(std::max(pictureA->width, 1)));
    std::vector<uint32_t> rowB(static_cast<size_t>(std::max(pictureB->width, 1)));
    // The overlap in each picture's own coordinates, cut to the picture.
    const int32_t ax = s.left - mRect.left, ay = s.top - mRect.top;
    const int32_t bx = s.left - b.left, by = s.top - b.top;
    const int32_t columns =
        std::min({s.right - s.left, pictureA->width - ax, pictureB->width - bx});
    const int32_t rows = std::min({s.bottom - s.top, pictureA->height - ay, pictureB->height - by});
    for (int32_t i = 0; i < rows; i++) {
        pictureA->UnpackRow(static_cast<uint32_t>(ay + i), rowA.data());
        pictureB->UnpackRow(static_cast<uint32_t>(by + i), rowB.data());
        const uint32_t* a = rowA.data() + ax;
        const uint32_t* p = rowB.data() + bx;
        for (int32_t j = 0; j < columns; j++) {
            if (Solid(a[j]) && Solid(p[j]))
                return true;
        }
    }
    return false;
}
