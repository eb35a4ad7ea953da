#include <cairo.h>

#include <random>

#include "platform/coregraphics.h"
#include "tests/engine/stage_fixture.h"

namespace {

class StageDrawing : public Stage
{
  protected:
    // Three overlapping sprites: red at the back, green with a hole in the
    // middle, blue in front, placed by their z values.
    void ThreeSprites()
    {
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

    // Runs UpdateControl into a host's cairo_t over a recording surface and
    // tells whether anything was drawn to the view at all.
    bool DrawsAnything(const Rect* area)
    {
        cairo_surface_t* recording =
            cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
        cairo_t* cr = cairo_create(recording);
        View view(HIViewCreateForHost(kWidth, kHeight, nullptr, nullptr));
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        RgnHandle region = area ? RegionOf({*area}) : nullptr;
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
    ThreeSprites();
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
    ThreeSprites();
    // Hidden sprites are never composited, even where the area meets them.
    red->SetVisible(false);
    green_->SetVisible(false);
    blue->SetVisible(false);
    Pixel(sprites.get(), 0, 0) = kRed; // cleared by every draw
    Rect all = R(0, 0, kWidth, kHeight);
    EXPECT_FALSE(DrawsAnything(&all));
    EXPECT_FALSE(DrawsAnything(nullptr));
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    // Nor into a context, even over a target of straight pixels that
    // drawing would have to touch.
    World target = MakeWorld(kWidth, kHeight);
    FillOffscreen(target.get(), 0x12345600);
    InContext(target.get(),
              [&](CGContextRef context) { list->UpdateContext(context, 0, 0, kWidth, kHeight); });
    EXPECT_EQ(Pixel(target.get(), 3, 3), 0x12345600u);

    // An area that no visible sprite meets: nothing reaches the view.
    red->SetVisible(true);
    Rect right = R(20, 0, kWidth, kHeight);
    EXPECT_FALSE(DrawsAnything(&right));
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    Rect touching = R(15, 0, kWidth, kHeight); // red ends at 15
    EXPECT_FALSE(DrawsAnything(&touching));

    // A sprite that meets the area is drawn whole.
    Rect corner = R(14, 14, 15, 15);
    EXPECT_TRUE(DrawsAnything(&corner));
    EXPECT_EQ(Pixel(sprites.get(), 5, 5), kRed);
    EXPECT_EQ(Pixel(sprites.get(), 14, 14), kRed);

    // At factor 3 the area is in view coordinates.
    list->SetFactor(3);
    Rect scaledCorner = R(42, 42, 45, 45);
    EXPECT_TRUE(DrawsAnything(&scaledCorner));
    EXPECT_FALSE(DrawsAnything(&corner)); // (15, 15, 45, 45) in the view
    Rect outside = R(45, 0, 120, 90);
    EXPECT_FALSE(DrawsAnything(&outside));
    // Without a region the area is the surface's bounds, unscaled: red at
    // (15, 15, 45, 45) in the view meets them; moved to (90, 60, 120, 90),
    // it no longer does, though it shows in the view.
    EXPECT_TRUE(DrawsAnything(nullptr));
    red->mX = 35;
    red->mY = 25;
    red->SetSize(40);
    EXPECT_FALSE(DrawsAnything(nullptr));
    Rect whole = R(0, 0, 120, 90);
    EXPECT_TRUE(DrawsAnything(&whole));
    EXPECT_EQ(Pixel(sprites.get(), 35, 25), kRed);
}

TEST_F(StageDrawing, EventRegionOfSeveralRectangles)
{
    ThreeSprites();
    blue->SetVisible(false);
    green_->SetVisible(false);
    View view(HIViewCreateOffscreen(kWidth, kHeight));
    // An L-shaped area whose bounding box meets red but whose parts do not;
    // then a third part that does.
    RgnHandle area = RegionOf({R(0, 0, 40, 4), R(0, 0, 4, 30)});
    DrawEvent(*list, view.get(), area);
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    DisposeRgn(area);
    area = RegionOf({R(0, 0, 40, 4), R(0, 0, 4, 30), R(14, 0, 16, 30)});
    DrawEvent(*list, view.get(), area);
    EXPECT_EQ(ViewPixel(view.get(), 5, 5), kRed);
    DisposeRgn(area);
}

// The redisplay contract, checked on a seeded random sequence of the
// setters a host calls: every pixel that changes between two frames lies in
// a rectangle the stage invalidated, and redrawing only those rectangles
// (the host's background, then the sprites clipped to the area) gives the
// frame that drawing everything gives.
class Redisplay : public Stage
{
  protected:
    static constexpr int kW = 64;
    static constexpr int kH = 48;

    void SetUp() override
    {
        ClearAllImages();
        MakeStage(kW, kH);
        // The host's background: opaque, patterned.
        for (int v = 0; v < kH; v++)
            for (int h = 0; h < kW; h++)
                Pixel(background.get(), h, v) =
                    Word(static_cast<uint32_t>(h * 4), static_cast<uint32_t>(v * 5), 90, 255);
        std::mt19937 random(11);
        for (int32_t number : {300, 301, 302}) {
            const int w = 5 + static_cast<int>(random() % 9),
                      hgt = 5 + static_cast<int>(random() % 9);
            std::vector<uint32_t> pixels;
            for (int i = 0; i < w * hgt; i++) {
                const uint32_t alpha = (i % 5 == 0) ? 0 : (i % 3 == 0 ? 128 : 255);
                pixels.push_back(alpha ? Word(static_cast<uint32_t>(random() & 0xFF),
                                              static_cast<uint32_t>(random() & 0xFF), 40, alpha)
                                       : kClear);
            }
            Register(number, pixels, w);
        }
        Register(3, {kBlack, kBlack, kClear, kBlack, Word(0, 0, 0, 100), kBlack}, 3);
    }

    // The host's draw of the view within area (everything when null): its
    // background in the area, then the sprites, clipped to the area.
    void HostDraw(HIViewRef view, RgnHandle area)
    {
        const int f = static_cast<int>(list->mFactor);
        for (int v = 0; v < kH * f; v++)
            for (int h = 0; h < kW * f; h++)
                if (!area || PtInRgn(At(h, v), area))
                    Pixel(HIViewGetGWorld(view), h, v) = Pixel(background.get(), h / f, v / f);
        CGContextRef context = HIViewCreateDrawContext(view);
        Rect bounds = R(0, 0, kW * f, kH * f);
        RgnHandle whole = RegionOf({bounds});
        if (area)
            ClipCGContextToRegion(context, &bounds, area);
        EventRef event = CreateDrawEvent(area ? area : whole);
        list->UpdateControl(context, view, event);
        ReleaseEvent(event);
        DisposeRgn(whole);
        CGContextRelease(context);
    }

    static Point At(int h, int v)
    {
        Point pt;
        pt.h = static_cast<int16_t>(h);
        pt.v = static_cast<int16_t>(v);
        return pt;
    }

    void Step(std::mt19937& random, std::vector<CSprite*>& all)
    {
        CSprite*& s = all[random() % all.size()];
        auto pick = [&](std::initializer_list<int> values) {
            return values.begin()[random() % values.size()];
        };
        switch (random() % 11) {
        case 0:
            s->SetVisible(random() % 3 != 0);
            break;
        case 1:
            s->SetOpacity(static_cast<short>(pick({255, 255, 128, 40, 0})));
            break;
        case 2:
            s->SetFrame(static_cast<short>(pick({0, 0, 1, 2, 3})));
            break;
        case 3:
            s->SetSize(static_cast<short>(pick({20, 40, 40, 60, 80})));
            break;
        case 4:
            s->SetImage(pick({300, 301, 302, 3, -1}), 0);
            break;
        case 5:
            s->SetZOrder(static_cast<int32_t>(random() % 11) - 5);
            break;
        case 6:
            s->SendTo(static_cast<int32_t>(random() % 11) - 5);
            break;
        case 7: // a move: the old rectangle, then the new one
            s->SetVisible(s->mVisible);
            s->mX = static_cast<double>(random() % 800) / 10.0 - 8;
            s->mY = static_cast<double>(random() % 600) / 10.0 - 6;
            s->SetSize(s->mSize);
            break;
        case 8: {
            RGBColor c = {static_cast<uint16_t>(random()), static_cast<uint16_t>(random()),
                          static_cast<uint16_t>(random())};
            s->SetPenColor(&c);
            break;
        }
        case 9:
            if (random() % 4 == 0)
                s->Stamp();
            break;
        case 10: {
            const int32_t ref = s->mRefNum;
            delete s;
            s = new CSprite(list.get(), ref);
            break;
        }
        }
    }

    void Run(uint32_t factor, unsigned seed)
    {
        list->SetFactor(factor);
        const int f = static_cast<int>(factor);
        std::mt19937 random(seed);
        std::vector<CSprite*> all;
        for (int i = 0; i < 8; i++) {
            all.push_back(Show(i + 1, 300 + i % 3, random() % kW, random() % kH));
            all.back()->SetZOrder(static_cast<int32_t>(random() % 5));
        }
        View shown(HIViewCreateOffscreen(kW * f, kH * f));
        HostDraw(shown.get(), nullptr);
        list->Update(shown.get());
        HIViewClearInvalidRects(shown.get());

        int64_t changed = 0;
        for (int frame = 0; frame < 150; frame++) {
            SCOPED_TRACE(testing::Message() << "frame " << frame);
            for (int i = 1 + static_cast<int>(random() % 3); i > 0; i--)
                Step(random, all);
            list->Update(shown.get());
            RgnHandle area = RegionOf(Invalidated(shown.get()));
            HIViewClearInvalidRects(shown.get());

            View full(HIViewCreateOffscreen(kW * f, kH * f));
            HostDraw(full.get(), nullptr);
            for (int v = 0; v < kH * f; v++)
                for (int h = 0; h < kW * f; h++)
                    if (ViewPixel(shown.get(), h, v) != ViewPixel(full.get(), h, v)) {
                        changed++;
                        ASSERT_TRUE(PtInRgn(At(h, v), area))
                            << "changed outside the marks at " << h << ", " << v;
                    }
            HostDraw(shown.get(), area);
            DisposeRgn(area);
            ASSERT_EQ(Mismatch(HIViewGetGWorld(shown.get()), HIViewGetGWorld(full.get())), "")
                << "the partial redraw";
        }
        // The sequence must have changed the picture a good deal.
        EXPECT_GT(changed, 1000);
        for (CSprite* s : all)
            delete s;
    }
};

TEST_F(Redisplay, RandomSettersAtFactorsOneAndTwo)
{
    Run(1, 1);
    SetUp(); // a fresh stage
    Run(2, 2);
}

} // namespace
