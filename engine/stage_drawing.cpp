// Drawing a stage's sprites into the host's view or drawing context: the
// sprite surface is cleared, every visible sprite that meets the area being
// drawn is composited into it in drawing order, and the surface (enlarged by
// pixel replication when the zoom factor is 2 or more) is composited by its
// alpha over the view.
//
// A sprite's rectangle is multiplied by the zoom factor before it is tested
// against the area. The area of a draw event is its region, in view
// coordinates; an event without one stands for the sprite surface's bounds,
// unscaled, so at a factor of 2 or more a sprite whose enlarged rectangle
// lies beyond them is not drawn. Hosts that mean the whole view pass its
// region. UpdateContext tests against the rectangle (x / 1000, y / 1000,
// width, height); for an origin of 1000 units or more, where that rectangle
// would cut off the surface's own left or top, its left or top is 0, so that
// every sprite within the width x height the surface is drawn into shows.
//
// Only the parts of the surface that hold sprites carry anything but
// transparent pixels, and a transparent pixel composited over the view
// leaves it exactly as it was. So when the surface maps pixel for pixel onto
// the view, the view is handed the whole surface together with the union of
// the sprites' boxes, and only the pixels within it are looked at: the view
// receives exactly what handing on the whole surface gives, at the cost of
// the sprites' area alone. Likewise the surface is cleared only where the
// last draw left sprites (see ClearSpriteSurface).
#include <algorithm>
#include <cstring>
#include <vector>

#include "engine/engine_p.h"
#include "platform/coregraphics.h"
#include "sprig/transfer.h"

namespace {

// Every pixel of the surface, row padding included, made transparent (the
// word 0), as FillOffscreen(surface, 0) does; memset clears the several
// hundred kilobytes of a stage a few times faster than a loop of words.
void ClearSurface(GWorldPtr surface)
{
    Rect bounds;
    GetPortBounds(surface, &bounds);
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    void* base = GetPixBaseAddr(pm);
    if (base && bounds.bottom > 0)
        std::memset(base, 0,
                    static_cast<size_t>(bounds.bottom) * static_cast<size_t>(GetPixRowBytes(pm)));
}

// The sprite surface made all transparent, as ClearSurface makes it. Where
// the last draw recorded the boxes it drew into (and nothing has written
// into the surface since), every other pixel is 0 already, and only those
// boxes are cleared: a frame that draws a few sprites on a large stage then
// costs the sprites' area, not the stage's.
void ClearSpriteSurface(GWorldPtr surface)
{
    std::vector<Rect> drawn;
    if (!TakeDrawnBoxes(surface, &drawn)) {
        ClearSurface(surface);
        return;
    }
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    auto* base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
    const auto rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    for (const Rect& box : drawn)
        for (int v = box.top; v < box.bottom; v++)
            std::memset(base + static_cast<size_t>(v) * rowBytes +
                            4 * static_cast<size_t>(box.left),
                        0, 4 * static_cast<size_t>(box.right - box.left));
}

// The area the sprites of one draw cover, kept as cells of 16 x 16 pixels
// of the surface: adding a sprite's box marks the cells it meets, and the
// cover hands back the marked cells as disjoint boxes, a run of cells in a
// row of cells each (or, for a few sprites, their own boxes). The boxes hold
// every pixel added (and a little more), however many sprites overlap, at a
// cost that grows with the sprites' area, not with their number squared.
class Cover
{
  public:
    explicit Cover(const Rect& bounds)
        : mBounds(bounds), mColumns((bounds.right + kCell - 1) / kCell),
          mRows((bounds.bottom + kCell - 1) / kCell)
    {
    }

    // Where a sprite's Output can have changed pixels: its rectangle (the
    // picture and its frame lie within it) with two pixels to spare.
    void AddSprite(const Rect& spriteRect)
    {
        Rect r = spriteRect;
        InsetRect(&r, -2, -2);
        if (!SectRect(&r, &mBounds, &r))
            return;
        if (mExact.size() <= kExactLimit)
            mExact.push_back(r);
        if (mCells.empty()) {
            mCells.assign(static_cast<size_t>(mColumns) * static_cast<size_t>(mRows), 0);
            mSpans.assign(static_cast<size_t>(mRows), {mColumns, 0});
        }
        const int first = r.left / kCell, last = (r.right - 1) / kCell;
        for (int row = r.top / kCell; row <= (r.bottom - 1) / kCell; row++) {
            std::memset(&mCells[static_cast<size_t>(row * mColumns + first)], 1,
                        static_cast<size_t>(last - first + 1));
            Span& span = mSpans[static_cast<size_t>(row)];
            span.first = std::min(span.first, first);
            span.end = std::max(span.end, last + 1);
        }
    }

    // The boxes (disjoint ones when they are cells), cut to the bounds, each
    // times factor (16-bit, as the stage multiplies rectangles).
    std::vector<Rect> Boxes(uint32_t factor) const
    {
        std::vector<Rect> boxes;
        if (mCells.empty())
            return boxes;
        if (mExact.size() <= kExactLimit) {
            for (Rect r : mExact) {
                if (factor > 1)
                    Multiply(r, factor);
                boxes.push_back(r);
            }
            return boxes;
        }
        for (int row = 0; row < mRows; row++) {
            const uint8_t* cells = &mCells[static_cast<size_t>(row * mColumns)];
            const Span& span = mSpans[static_cast<size_t>(row)];
            for (int column = span.first; column < span.end;) {
                if (!cells[column]) {
                    column++;
                    continue;
                }
                const int first = column;
                while (column < span.end && cells[column])
                    column++;
                Rect r;
                r.left = static_cast<int16_t>(first * kCell);
                r.top = static_cast<int16_t>(row * kCell);
                r.right = static_cast<int16_t>(std::min<int>(column * kCell, mBounds.right));
                r.bottom = static_cast<int16_t>(std::min<int>((row + 1) * kCell, mBounds.bottom));
                if (factor > 1)
                    Multiply(r, factor);
                boxes.push_back(r);
            }
        }
        return boxes;
    }

  private:
    // The columns of a row of cells between its first and last marked one.
    struct Span
    {
        int first, end;
    };

    static void Multiply(Rect& r, uint32_t factor)
    {
        r.left = static_cast<int16_t>(static_cast<uint32_t>(r.left) * factor);
        r.top = static_cast<int16_t>(static_cast<uint32_t>(r.top) * factor);
        r.right = static_cast<int16_t>(static_cast<uint32_t>(r.right) * factor);
        r.bottom = static_cast<int16_t>(static_cast<uint32_t>(r.bottom) * factor);
    }

    static constexpr int kCell = 16;
    // Up to this many sprites, their own boxes (which may overlap) are
    // handed back: fewer pixels than whole cells, and few enough boxes.
    static constexpr size_t kExactLimit = 32;
    Rect mBounds;
    int mColumns, mRows;
    std::vector<uint8_t> mCells; // made when the first sprite is added
    std::vector<Span> mSpans;
    std::vector<Rect> mExact; // the boxes added, while there are few
};

// A region made by this unit, released at the end of the scope.
class OwnedRegion
{
  public:
    OwnedRegion() : mRegion(NewRgn()) {}
    ~OwnedRegion() { DisposeRgn(mRegion); }
    OwnedRegion(const OwnedRegion&) = delete;
    OwnedRegion& operator=(const OwnedRegion&) = delete;

    operator RgnHandle() const { return mRegion; }

  private:
    RgnHandle mRegion;
};

// The surface enlarged factor times by pixel replication, alpha included, or
// null when no world of that size can be made (then nothing is drawn). A
// new world is all transparent, as the surface is outside the boxes, so only
// the boxes are enlarged (each stage pixel maps to the same block as in an
// enlargement of the whole) unless the scaled bounds lost bits to 16 bits.
GWorldPtr Enlarged(GWorldPtr surface, const Rect& bounds, const Rect& scaled,
                   const std::vector<Rect>& boxes, uint32_t factor)
{
    GWorldPtr enlarged = nullptr;
    if (NewGWorld(&enlarged, 32, &scaled, nullptr, nullptr, 0) != noErr)
        return nullptr;
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    const auto f = static_cast<int32_t>(factor);
    if (int32_t{scaled.right} != bounds.right * f || int32_t{scaled.bottom} != bounds.bottom * f) {
        Rect source = bounds;
        Rect destination = scaled;
        CopyBmBmBg(surface, enlarged, &source, &destination, srcCopy, nullptr, &white);
        return enlarged;
    }
    for (const Rect& box : boxes) {
        Rect source = box;
        Rect destination;
        SetRect(&destination, static_cast<int16_t>(box.left * f), static_cast<int16_t>(box.top * f),
                static_cast<int16_t>(box.right * f), static_cast<int16_t>(box.bottom * f));
        CopyBmBmBg(surface, enlarged, &source, &destination, srcCopy, nullptr, &white);
    }
    return enlarged;
}

// Composites the surface by its alpha over the whole view. When the surface
// and the view have the same size, only the pixels within the sprites'
// boxes are looked at (the rest are transparent, and leave the view as it
// is); else all of it is scaled over the view.
void HandToView(GWorldPtr surface, CGContextRef context, HIViewRef view,
                const std::vector<Rect>& boxes)
{
    Rect bounds;
    GetPortBounds(surface, &bounds);
    HIRect viewBounds;
    if (HIViewGetBounds(view, &viewBounds) != noErr ||
        viewBounds.size.width != bounds.right - bounds.left ||
        viewBounds.size.height != bounds.bottom - bounds.top) {
        DrawOffscreenToHIView(surface, context, view, kCGImageAlphaFirst);
        return;
    }
    OwnedRegion area;
    RectsRgn(area, boxes);
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    const size_t rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    const auto height = static_cast<size_t>(bounds.bottom);
    CGDataProviderRef provider =
        CGDataProviderCreateWithData(nullptr, GetPixBaseAddr(pm), height * rowBytes, nullptr);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image =
        CGImageCreate(static_cast<size_t>(bounds.right), height, 8, 32, rowBytes, space,
                      kCGImageAlphaFirst, provider, nullptr, false, kCGRenderingIntentDefault);
    HIViewDrawCGImageWithin(context, &viewBounds, image, area);
    CGImageRelease(image);
    CGColorSpaceRelease(space);
    CGDataProviderRelease(provider);
}

} // namespace

void CSpriteList::UpdateControl(CGContextRef context, HIViewRef view, EventRef event)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    ClearSpriteSurface(mSpriteWorld);
    Rect scaled = bounds;
    FactorRect(scaled);

    // The event's region stays the event's; ours is released with the scope.
    OwnedRegion whole;
    RgnHandle area = nullptr;
    if (GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, nullptr, sizeof(RgnHandle),
                          nullptr, &area) != noErr ||
        !area) {
        RectRgn(whole, &bounds);
        area = whole;
    }

    bool drawn = false;
    Cover cover(bounds);
    Rect extent;
    GetRegionBounds(area, &extent);
    {
        StLock lock(mSpriteWorld);
        for (CSprite* sprite : mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            FactorRect(r);
            // Most sprites of a large stage lie wholly beside the box
            // around the area, which is quicker to tell.
            if (r.right <= extent.left || r.left >= extent.right || r.bottom <= extent.top ||
                r.top >= extent.bottom || !RectMeetsRgn(&r, area))
                continue;
            sprite->Output(mSpriteWorld);
            drawn = true;
            cover.AddSprite(sprite->mRect);
        }
    }
    // Recorded last: handing the surface on locks its pixels, which forgets
    // what was recorded.
    std::vector<Rect> drawnBoxes = cover.Boxes(1);
    if (drawn) {
        if (mFactor <= 1) {
            HandToView(mSpriteWorld, context, view, drawnBoxes);
        } else if (GWorldPtr enlarged =
                       Enlarged(mSpriteWorld, bounds, scaled, drawnBoxes, mFactor)) {
            HandToView(enlarged, context, view, cover.Boxes(mFactor));
            DisposeGWorld(enlarged);
        }
    }
    SetDrawnBoxes(mSpriteWorld, std::move(drawnBoxes));
}

void CSpriteList::UpdateContext(CGContextRef context, int32_t x, int32_t y, int32_t width,
                                int32_t height)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    ClearSpriteSurface(mSpriteWorld);
    Rect clip;
    clip.left = x >= 1000 ? 0 : static_cast<int16_t>(x / 1000);
    clip.top = y >= 1000 ? 0 : static_cast<int16_t>(y / 1000);
    clip.right = static_cast<int16_t>(width);
    clip.bottom = static_cast<int16_t>(height);

    bool drawn = false;
    Cover cover(bounds);
    {
        StLock lock(mSpriteWorld);
        for (CSprite* sprite : mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            FactorRect(r);
            Rect overlap;
            if (!SectRect(&r, &clip, &overlap))
                continue;
            sprite->Output(mSpriteWorld);
            drawn = true;
            cover.AddSprite(sprite->mRect);
        }
    }
    std::vector<Rect> drawnBoxes = cover.Boxes(1);
    if (drawn) {
        if (mFactor <= 1) {
            DrawOffscreenToContext(mSpriteWorld, context, x, y, width, height, kCGImageAlphaFirst);
        } else {
            Rect scaled = bounds;
            FactorRect(scaled);
            if (GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled, drawnBoxes, mFactor)) {
                DrawOffscreenToContext(enlarged, context, x, y, width, height, kCGImageAlphaFirst);
                DisposeGWorld(enlarged);
            }
        }
    }
    SetDrawnBoxes(mSpriteWorld, std::move(drawnBoxes));
}
