// A stage driven as a host drives it: three worlds, a sprite list, pictures
// registered in the pool, an offscreen view that records invalidations and
// the draw event that draws the sprites into it.
#ifndef SPRIG_TESTS_ENGINE_STAGE_FIXTURE_H
#define SPRIG_TESTS_ENGINE_STAGE_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "sprig/engine.h"
#include "sprig/images.h"
#include "sprig/packing.h"
#include "sprig/transfer.h"
#include "tests/test_util.h"

constexpr uint32_t kRed = Word(255, 0, 0, 255);
constexpr uint32_t kGreen = Word(0, 255, 0, 255);
constexpr uint32_t kBlue = Word(0, 0, 255, 255);
constexpr uint32_t kBlack = Word(0, 0, 0, 255);
constexpr uint32_t kWhite = Word(255, 255, 255, 255);
constexpr uint32_t kGrey = Word(128, 128, 128, 255);
constexpr uint32_t kClear = 0;

// Registers width x height pixel words (row by row) as picture `number`.
inline void Register(int32_t number, const std::vector<uint32_t>& pixels, int width)
{
    const int height = static_cast<int>(pixels.size()) / width;
    uint32_t* packed = CompressBuffer(pixels.data(), width, height, 4 * width);
    ASSERT_NE(packed, nullptr);
    PictureRecord record = {width, height, packed[0], packed};
    ASSERT_EQ(SetCompressedImage(number, reinterpret_cast<char*>(&record)), 1);
    std::free(packed);
}

// A picture of one colour, width x height, all opaque.
inline void RegisterSolid(int32_t number, int width, int height, uint32_t colour)
{
    Register(number, std::vector<uint32_t>(static_cast<size_t>(width) * height, colour), width);
}

struct ViewDeleter
{
    void operator()(OpaqueHIViewRef* view) const { HIViewRelease(view); }
};
using View = std::unique_ptr<OpaqueHIViewRef, ViewDeleter>;

// The invalidations recorded in a view, as integer rectangles.
inline std::vector<Rect> Invalidated(HIViewRef view)
{
    std::vector<Rect> out;
    for (int32_t i = 0; i < HIViewCountInvalidRects(view); i++) {
        HIRect r;
        HIViewGetInvalidRect(view, i, &r);
        out.push_back(R(static_cast<int>(r.origin.x), static_cast<int>(r.origin.y),
                        static_cast<int>(r.origin.x + r.size.width),
                        static_cast<int>(r.origin.y + r.size.height)));
    }
    return out;
}

// The first pixel of a world whose word is not want(h, v), described, or ""
// when every pixel is as wanted.
template <typename Want>
std::string Mismatch(GWorldPtr world, Want want)
{
    const testing::AssertionResult each = EachPixel(world, want);
    return each ? "" : each.message();
}
inline std::string Mismatch(GWorldPtr world, GWorldPtr expected)
{
    return Mismatch(world, [expected](int h, int v) { return Pixel(expected, h, v); });
}
inline std::string Mismatch(GWorldPtr world, uint32_t word)
{
    return Mismatch(world, [word](int, int) { return word; });
}

// A coordinate wrapped onto lo..hi the plain way: one stage size at a time,
// each step rounded afresh.
inline double StepWrap(double p, int lo, int hi)
{
    while (SprRound(&p) >= hi)
        p -= hi - lo;
    while (SprRound(&p) < lo)
        p += hi - lo;
    return p;
}

// A colour's channels, to compare at once.
inline std::vector<int> Channels(const RGBColor& c)
{
    return {c.red, c.green, c.blue};
}

// Runs draw(context) on a context opened on a world.
template <typename Draw>
void InContext(GWorldPtr world, Draw draw)
{
    CGContextRef context = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &context), noErr);
    draw(context);
    QDEndCGContext(world, &context);
}

// The union of some rectangles, as a region the caller disposes of.
inline RgnHandle RegionOf(const std::vector<Rect>& rects)
{
    RgnHandle area = NewRgn(), one = NewRgn();
    for (const Rect& r : rects) {
        RectRgn(one, &r);
        UnionRgn(area, one, area);
    }
    DisposeRgn(one);
    return area;
}

// The host's draw event: the view's context, an event with the region
// (none when null), UpdateControl.
inline void DrawEvent(CSpriteList& list, HIViewRef view, RgnHandle region)
{
    EventRef event = CreateDrawEvent(region);
    CGContextRef context = HIViewCreateDrawContext(view);
    list.UpdateControl(context, view, event);
    CGContextRelease(context);
    ReleaseEvent(event);
}

// The pending rectangles of a stage, slots in use in order.
inline std::vector<Rect> Pending(const CSpriteList& list)
{
    return std::vector<Rect>(list.mRects, list.mRects + list.mRectCount);
}

// The stage drawn the plain way: the sprite surface cleared and each visible
// sprite whose rectangle times the factor `meets` composited. The surface to
// hand on (enlarged by replication into `enlarged` above factor 1), or null
// when no sprite was drawn.
template <typename Meets>
GWorldPtr PlainSurface(CSpriteList& list, Meets meets, World& enlarged)
{
    GWorldPtr surface = list.mSpriteWorld;
    FillOffscreen(surface, 0);
    bool drawn = false;
    for (CSprite* s : list.mSprites) {
        Rect r = s->GetRect();
        list.FactorRect(r);
        if (s->mVisible && meets(r)) {
            s->Output(surface);
            drawn = true;
        }
    }
    const int f = static_cast<int>(list.mFactor);
    if (!drawn || f == 1)
        return drawn ? surface : nullptr;
    Rect src;
    GetPortBounds(surface, &src);
    Rect dst = R(0, 0, src.right * f, src.bottom * f);
    enlarged = MakeWorld(dst.right, dst.bottom);
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    CopyBmBmBg(surface, enlarged.get(), &src, &dst, srcCopy, nullptr, &white);
    return enlarged.get();
}

class Stage : public testing::Test
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        MakeStage(kWidth, kHeight);
    }
    void TearDown() override
    {
        list.reset();
        ClearAllImages();
    }

    void MakeStage(int width, int height)
    {
        list.reset();
        backdrop = MakeWorld(width, height);
        background = MakeWorld(width, height);
        sprites = MakeWorld(width, height);
        Rect bounds = R(0, 0, width, height);
        list.reset(new CSpriteList(backdrop.get(), background.get(), sprites.get(), &bounds));
    }

    // A visible sprite showing picture `image` centred at (x, y).
    CSprite* Show(int32_t refNum, int32_t image, double x, double y)
    {
        auto* sprite = new CSprite(list.get(), refNum);
        sprite->mX = x;
        sprite->mY = y;
        sprite->SetImage(image, 0);
        sprite->SetVisible(true);
        return sprite;
    }

    // The host's draw event over one rectangle, or with no region.
    void Draw(HIViewRef view, const Rect* area = nullptr)
    {
        RgnHandle region = area ? RegionOf({*area}) : nullptr;
        DrawEvent(*list, view, region);
        DisposeRgn(region);
    }

    static constexpr int kWidth = 40;
    static constexpr int kHeight = 30;
    World backdrop, background, sprites;
    std::unique_ptr<CSpriteList> list;
};

#endif
