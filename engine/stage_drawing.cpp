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
// the view, only the boxes of the sprites drawn are handed on (disjoint, so
// that no pixel is composited twice): the view receives exactly what handing
// on the whole surface gives, at the cost of the sprites' area alone.
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

// The pixels a sprite's Output can have changed in a surface of the given
// bounds: its rectangle (the picture and its frame lie within it) with two
// pixels to spare, cut to the surface.
void AddDrawnBox(std::vector<Rect>& drawn, const Rect& spriteRect, const Rect& bounds)
{
    Rect r = spriteRect;
    InsetRect(&r, -2, -2);
    if (SectRect(&r, &bounds, &r))
        drawn.push_back(r);
}

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
// null when no world of that size can be made (then nothing is drawn).
GWorldPtr Enlarged(GWorldPtr surface, const Rect& bounds, const Rect& scaled)
{
    GWorldPtr enlarged = nullptr;
    if (NewGWorld(&enlarged, 32, &scaled, nullptr, nullptr, 0) != noErr)
        return nullptr;
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    Rect source = bounds;
    Rect destination = scaled;
    CopyBmBmBg(surface, enlarged, &source, &destination, srcCopy, nullptr, &white);
    return enlarged;
}

// Adds r to a set of disjoint boxes, merging it with every box it meets
// (and the merged box again with every box that one meets).
void AddBox(std::vector<Rect>& boxes, Rect r)
{
    for (size_t i = 0; i < boxes.size();) {
        Rect overlap;
        if (SectRect(&r, &boxes[i], &overlap)) {
            UnionRect(&r, &boxes[i], &r);
            boxes[i] = boxes.back();
            boxes.pop_back();
            i = 0;
        } else {
            i++;
        }
    }
    boxes.push_back(r);
}

// The box of a sprite as drawn into a surface of the given bounds: its
// rectangle (where Output draws, frame included) grown by a pixel of margin,
// times the factor, cut to the surface.
void AddSpriteBox(std::vector<Rect>& boxes, const Rect& spriteRect, uint32_t factor,
                  const Rect& surface)
{
    Rect r = spriteRect;
    InsetRect(&r, -1, -1);
    if (factor > 1) {
        r.left = static_cast<int16_t>(static_cast<uint32_t>(r.left) * factor);
        r.top = static_cast<int16_t>(static_cast<uint32_t>(r.top) * factor);
        r.right = static_cast<int16_t>(static_cast<uint32_t>(r.right) * factor);
        r.bottom = static_cast<int16_t>(static_cast<uint32_t>(r.bottom) * factor);
    }
    if (SectRect(&r, &surface, &r))
        AddBox(boxes, r);
}

// Composites the surface by its alpha over the whole view: only the boxes
// when the surface and the view have the same size, else all of it, scaled.
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
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    const auto* base = reinterpret_cast<const uint8_t*>(GetPixBaseAddr(pm));
    const size_t rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    for (const Rect& box : boxes) {
        const auto width = static_cast<size_t>(box.right - box.left);
        const auto height = static_cast<size_t>(box.bottom - box.top);
        CGDataProviderRef provider = CGDataProviderCreateWithData(
            nullptr,
            base + static_cast<size_t>(box.top) * rowBytes + 4 * static_cast<size_t>(box.left),
            (height - 1) * rowBytes + 4 * width, nullptr);
        CGImageRef image = CGImageCreate(width, height, 8, 32, rowBytes, space, kCGImageAlphaFirst,
                                         provider, nullptr, false, kCGRenderingIntentDefault);
        const HIRect place = CGRectMake(box.left, box.top, width, height);
        HIViewDrawCGImage(context, &place, image);
        CGImageRelease(image);
        CGDataProviderRelease(provider);
    }
    CGColorSpaceRelease(space);
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
    std::vector<Rect> boxes;
    std::vector<Rect> drawnBoxes;
    {
        StLock lock(mSpriteWorld);
        OwnedRegion spriteArea;
        for (CSprite* sprite : mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            FactorRect(r);
            RectRgn(spriteArea, &r);
            SectRgn(spriteArea, area, spriteArea);
            if (EmptyRgn(spriteArea))
                continue;
            sprite->Output(mSpriteWorld);
            drawn = true;
            AddSpriteBox(boxes, sprite->mRect, mFactor, scaled);
            AddDrawnBox(drawnBoxes, sprite->mRect, bounds);
        }
    }
    // Recorded last: handing the surface on locks its pixels, which forgets
    // what was recorded.
    if (drawn) {
        if (mFactor <= 1) {
            HandToView(mSpriteWorld, context, view, boxes);
        } else if (GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled)) {
            HandToView(enlarged, context, view, boxes);
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
    std::vector<Rect> drawnBoxes;
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
            AddDrawnBox(drawnBoxes, sprite->mRect, bounds);
        }
    }
    if (drawn) {
        if (mFactor <= 1) {
            DrawOffscreenToContext(mSpriteWorld, context, x, y, width, height, kCGImageAlphaFirst);
        } else {
            Rect scaled = bounds;
            FactorRect(scaled);
            if (GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled)) {
                DrawOffscreenToContext(enlarged, context, x, y, width, height, kCGImageAlphaFirst);
                DisposeGWorld(enlarged);
            }
        }
    }
    SetDrawnBoxes(mSpriteWorld, std::move(drawnBoxes));
}
