#include <cairo.h>

#include "platform/coregraphics.h"
#include "tests/engine/stage_fixture.h"

namespace {

class StageDrawing : public Stage
{
  protected:
    // Three overlapping sprites. (What a draw makes of sprites, at every
    // factor, into views and contexts, follows the plain procedure of the
    // frame paths.)
    void SetUp() override
    {
        Stage::SetUp();
        RegisterSolid(301, 10, 10, kRed);
        RegisterSolid(302, 10, 10, kGreen);
        RegisterSolid(303, 6, 6, kBlue);
        blue = Show(3, 303, 17, 15);   // (14, 12, 20, 18)
        green_ = Show(2, 302, 15, 13); // (10, 8, 20, 18)
        red = Show(1, 301, 10, 10);    // (5, 5, 15, 15)
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
