#include <cairo.h>

#include "platform/coregraphics.h"
#include "tests/engine/stage_fixture.h"

namespace {

class StageDrawing : public Stage
{
  protected:
    // Three overlapping sprites: red at the back, green with a hole in the
    // middle, blue in front, placed by their z values.
    void SetUp() override
    {
        Stage::SetUp();
        RegisterSolid(301, 10, 10, kRed);
        std::vector<uint32_t> green(100, kGreen);
        for (int i : {11, 12, 21, 22})
            green[static_cast<size_t>(i)] = kClear;
        Register(302, green, 10);
        RegisterSolid(303, 6, 6, kBlue);
        blue = Show(3, 303, 17, 15);   // (14, 12, 20, 18)
        green_ = Show(2, 302, 15, 13); // (10, 8, 20, 18), hole (11, 9, 13, 11)
        red = Show(1, 301, 10, 10);    // (5, 5, 15, 15)
        blue->SetZOrder(1);
        green_->SetZOrder(2);
        red->SetZOrder(3);
        ASSERT_EQ(list->mSprites, (std::vector<CSprite*>{red, green_, blue}));
    }

    // What the three sprites show at a stage pixel over a grey background.
    static uint32_t Expected(int h, int v)
    {
        auto in = [&](int l, int t, int r, int b) { return h >= l && h < r && v >= t && v < b; };
        if (in(14, 12, 20, 18))
            return kBlue;
        if (in(10, 8, 20, 18) && !in(11, 9, 13, 11))
            return kGreen;
        return in(5, 5, 15, 15) ? kRed : kGrey;
    }

    // Runs UpdateControl into a host's cairo_t over a recording surface, the
    // event's region made of the rectangles given (none: no region), and
    // tells whether anything was drawn to the view at all.
    bool DrawsAnything(const std::vector<Rect>& area)
    {
        cairo_surface_t* recording =
            cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
        cairo_t* cr = cairo_create(recording);
        View view(HIViewCreateForHost(kWidth, kHeight, nullptr, nullptr));
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        RgnHandle region = area.empty() ? nullptr : RegionOf(area);
        EventRef event = CreateDrawEvent(region);
        DisposeRgn(region);
        list->UpdateControl(context, view.get(), event);
        ReleaseEvent(event);
        CGContextRelease(context);
        cairo_destroy(cr);
        double x, y, w, h;
        cairo_recording_surface_ink_extents(recording, &x, &y, &w, &h);
        cairo_surface_destroy(recording);
        return w > 0 && h > 0;
    }

    CSprite* red = nullptr;
    CSprite* green_ = nullptr;
    CSprite* blue = nullptr;
};

// Through a draw event into a view, and through UpdateContext at (x / 1000,
// y / 1000) of a context whose y axis points up: each stage pixel a block
// of factor x factor pixels.
TEST_F(StageDrawing, ThreeSpritesAtFactorsOneToThree)
{
    for (uint32_t factor : {1u, 2u, 3u}) {
        SCOPED_TRACE(testing::Message() << "factor " << factor);
        const int f = static_cast<int>(factor);
        View view(HIViewCreateOffscreen(kWidth * f, kHeight * f));
        FillOffscreen(HIViewGetGWorld(view.get()), kGrey); // the host's background
        list->SetFactor(factor);
        const Rect whole = R(0, 0, kWidth * f, kHeight * f);
        Draw(view.get(), &whole);
        EXPECT_EQ(Mismatch(HIViewGetGWorld(view.get()),
                           [f](int h, int v) { return Expected(h / f, v / f); }),
                  "");
        // The sprite surface holds the sprites at stage size.
        EXPECT_EQ(Pixel(sprites.get(), 12, 10), kRed); // through the hole
        EXPECT_EQ(Pixel(sprites.get(), 2, 2), kClear);
        EXPECT_EQ(Pixel(sprites.get(), 19, 17), kBlue);

        World target = MakeWorld(kWidth * f + 10, kHeight * f);
        FillOffscreen(target.get(), kGrey);
        InContext(target.get(), [&](CGContextRef context) {
            list->UpdateContext(context, 10000, 0, kWidth * f, kHeight * f);
        });
        EXPECT_EQ(
            Mismatch(target.get(),
                     [f](int h, int v) { return h < 10 ? kGrey : Expected((h - 10) / f, v / f); }),
            "");
    }
}

TEST_F(StageDrawing, OnlyVisibleSpritesInTheAreaAreDrawn)
{
    // Hidden sprites are never composited, even where the area meets them.
    red->SetVisible(false);
    green_->SetVisible(false);
    blue->SetVisible(false);
    Pixel(sprites.get(), 0, 0) = kRed; // cleared by every draw
    EXPECT_FALSE(DrawsAnything({R(0, 0, kWidth, kHeight)}));
    EXPECT_FALSE(DrawsAnything({}));
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    // Nor into a context, even over a target of straight pixels that
    // drawing would have to touch.
    World target = MakeWorld(kWidth, kHeight);
    FillOffscreen(target.get(), 0x12345600);
    InContext(target.get(),
              [&](CGContextRef context) { list->UpdateContext(context, 0, 0, kWidth, kHeight); });
    EXPECT_EQ(Pixel(target.get(), 3, 3), 0x12345600u);

    // An area that no visible sprite meets, though its bounds hold them
    // all: nothing reaches the view, nor the sprite surface.
    red->SetVisible(true);
    green_->SetVisible(true);
    blue->SetVisible(true);
    EXPECT_FALSE(DrawsAnything({R(0, 0, 4, 4), R(21, 19, kWidth, kHeight)}));
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    // (Areas that touch a sprite or meet one at a corner are among the frame
    // paths' damage.)
    // (At factors above 1 the area is in view coordinates, and an event
    // without a region tests the sprites against the surface's bounds,
    // unscaled: the frame sequences compare both with the plain procedure.)
}

} // namespace
