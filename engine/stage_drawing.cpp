// Drawing a stage's sprites into the host's view or drawing context: the
// sprite surface is cleared, every visible sprite that meets the area being
// drawn is composited into it in drawing order, and the surface (enlarged by
// pixel replication when the zoom factor is 2 or more) is composited by its
// alpha over the view.
//
// Areas are compared in view coordinates: a sprite's rectangle is multiplied
// by the zoom factor before it is tested. Where there is no area of the
// host's to test against (a draw event without a region, and UpdateContext),
// the area is the whole sprite surface as it reaches the view, that is its
// bounds multiplied by the factor, so every sprite that can show is drawn.
#include "engine/engine_p.h"
#include "platform/coregraphics.h"
#include "sprig/transfer.h"

namespace {

constexpr uint32_t kTransparent = 0x00000000;

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

} // namespace

void CSpriteList::UpdateControl(CGContextRef context, HIViewRef view, EventRef event)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    FillOffscreen(mSpriteWorld, kTransparent);
    Rect scaled = bounds;
    FactorRect(scaled);

    // The event's region stays the event's; ours is released with the scope.
    OwnedRegion whole;
    RgnHandle area = nullptr;
    if (GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, nullptr, sizeof(RgnHandle),
                          nullptr, &area) != noErr ||
        !area) {
        RectRgn(whole, &scaled);
        area = whole;
    }

    bool drawn = false;
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
        }
    }
    if (!drawn)
        return;

    if (mFactor <= 1) {
        DrawOffscreenToHIView(mSpriteWorld, context, view, kCGImageAlphaFirst);
        return;
    }
    GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled);
    if (!enlarged)
        return;
    DrawOffscreenToHIView(enlarged, context, view, kCGImageAlphaFirst);
    DisposeGWorld(enlarged);
}

void CSpriteList::UpdateContext(CGContextRef context, int32_t x, int32_t y, int32_t width,
                                int32_t height)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    FillOffscreen(mSpriteWorld, kTransparent);
    // The whole surface is drawn, scaled into width x height at (x, y): every
    // sprite on it shows, wherever the host places it.
    Rect clip = bounds;
    FactorRect(clip);

    bool drawn = false;
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
        }
    }
    if (!drawn)
        return;

    if (mFactor <= 1) {
        DrawOffscreenToContext(mSpriteWorld, context, x, y, width, height, kCGImageAlphaFirst);
        return;
    }
    Rect scaled = bounds;
    FactorRect(scaled);
    GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled);
    if (!enlarged)
        return;
    DrawOffscreenToContext(enlarged, context, x, y, width, height, kCGImageAlphaFirst);
    DisposeGWorld(enlarged);
}
