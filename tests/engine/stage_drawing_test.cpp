#include <cairo.h>

#include <functional>
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
        for (int v = 1; v < 3; v++)
            for (int h = 1; h < 3; h++)
                green[static_cast<size_t>(v * 10 + h)] = kClear;
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
        if (in(5, 5, 15, 15))
            return kRed;
        return kGrey;
    }

    static void FillView(HIViewRef view, uint32_t pixel)
    {
        FillOffscreen(HIViewGetGWorld(view), pixel);
    }

    bool SpriteSurfaceClear()
    {
        for (int v = 0; v < kHeight; v++)
            for (int h = 0; h < kWidth; h++)
                if (Pixel(sprites.get(), h, v) != kClear)
                    return false;
        return true;
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
        RgnHandle region = nullptr;
        if (area) {
            region = NewRgn();
            RectRgn(region, area);
        }
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

TEST_F(StageDrawing, ThreeSpritesAtFactorOneAndThree)
{
    ThreeSprites();
    for (uint32_t factor : {1u, 3u}) {
        SCOPED_TRACE(testing::Message() << "factor " << factor);
        const int f = static_cast<int>(factor);
        View view(HIViewCreateOffscreen(kWidth * f, kHeight * f));
        FillView(view.get(), kGrey); // the host's background
        list->SetFactor(factor);
        Draw(view.get());
        for (int v = 0; v < kHeight * f; v++)
            for (int h = 0; h < kWidth * f; h++)
                ASSERT_EQ(ViewPixel(view.get(), h, v), Expected(h / f, v / f)) << h << ", " << v;
        // The sprite surface holds the sprites at stage size.
        EXPECT_EQ(Pixel(sprites.get(), 12, 10), kRed); // through the hole
        EXPECT_EQ(Pixel(sprites.get(), 2, 2), kClear);
        EXPECT_EQ(Pixel(sprites.get(), 19, 17), kBlue);
    }
}

TEST_F(StageDrawing, FadedAndScaledSpritesComposeAsTheirPictures)
{
    // A faded, scaled sprite lands in the sprite surface exactly as the
    // pool's version of the picture drawn by itself.
    std::vector<uint32_t> pixels;
    for (int i = 0; i < 64; i++)
        pixels.push_back(
            Word(static_cast<uint32_t>(i * 4), 200, 100, static_cast<uint32_t>(i * 4 + 3)));
    Register(300, pixels, 8);
    CSprite* s = Show(1, 300, 20, 15);
    s->SetSize(60);
    s->SetOpacity(100);
    ASSERT_EQ(s->mRect, R(14, 9, 26, 21));
    View view(HIViewCreateOffscreen(kWidth, kHeight));
    Draw(view.get());
    World reference = MakeWorld(kWidth, kHeight);
    CImage* picture = gImagePool.GetImage(300, 60, 100);
    ASSERT_EQ(picture->width, 12);
    Rect src = R(0, 0, 12, 12), dst = s->mRect;
    picture->Stretch(&src, &dst, reference.get(), true, nullptr);
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            ASSERT_EQ(Pixel(sprites.get(), h, v), Pixel(reference.get(), h, v)) << h << ", " << v;
    EXPECT_NE(Pixel(sprites.get(), 20, 15), kClear);
}

// Handing on only the boxes of the drawn sprites gives the view exactly what
// compositing the whole surface over it gives, for soft pixels too.
TEST_F(StageDrawing, SameViewAsTheWholeSurface)
{
    std::vector<uint32_t> soft;
    for (int i = 0; i < 48; i++)
        soft.push_back(Word(static_cast<uint32_t>(i * 5), 90, static_cast<uint32_t>(200 - i * 3),
                            static_cast<uint32_t>((i * 37) % 256)));
    Register(300, soft, 8);
    Show(1, 300, 6, 5)->SetOpacity(170);
    Show(2, 300, 9, 7)->SetSize(70);
    Show(3, 300, 30, 20)->SetFrame(2);
    Show(4, 300, 39, 29); // partly off the stage
    for (uint32_t factor : {1u, 2u}) {
        SCOPED_TRACE(testing::Message() << "factor " << factor);
        const int f = static_cast<int>(factor);
        list->SetFactor(factor);
        View view(HIViewCreateOffscreen(kWidth * f, kHeight * f));
        View reference(HIViewCreateOffscreen(kWidth * f, kHeight * f));
        for (HIViewRef v : {view.get(), reference.get()})
            FillNumbered(HIViewGetGWorld(v), 5);
        Draw(view.get());

        World enlarged = MakeWorld(kWidth * f, kHeight * f);
        Rect src = R(0, 0, kWidth, kHeight), dst = R(0, 0, kWidth * f, kHeight * f);
        RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
        CopyBmBmBg(sprites.get(), enlarged.get(), &src, &dst, srcCopy, nullptr, &white);
        CGContextRef context = HIViewCreateDrawContext(reference.get());
        DrawOffscreenToHIView(enlarged.get(), context, reference.get(), kCGImageAlphaFirst);
        CGContextRelease(context);
        for (int v = 0; v < kHeight * f; v++)
            for (int h = 0; h < kWidth * f; h++)
                ASSERT_EQ(ViewPixel(view.get(), h, v), ViewPixel(reference.get(), h, v))
                    << h << ", " << v;
    }
    // A view of another size gets the whole surface, scaled to it.
    list->SetFactor(1);
    View wide(HIViewCreateOffscreen(kWidth * 2, kHeight));
    Draw(wide.get());
    EXPECT_NE(ViewPixel(wide.get(), 60, 20), kClear);
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
    EXPECT_TRUE(SpriteSurfaceClear());

    // An area that no visible sprite meets: nothing reaches the view.
    red->SetVisible(true);
    Rect right = R(20, 0, kWidth, kHeight);
    EXPECT_FALSE(DrawsAnything(&right));
    EXPECT_TRUE(SpriteSurfaceClear());
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
    // Without a region the whole surface, as it reaches the view, is the area.
    red->mX = 35;
    red->mY = 25;
    red->SetSize(40);
    EXPECT_TRUE(DrawsAnything(nullptr));
    EXPECT_EQ(Pixel(sprites.get(), 35, 25), kRed);
}

TEST_F(StageDrawing, EventRegionOfSeveralRectangles)
{
    ThreeSprites();
    blue->SetVisible(false);
    green_->SetVisible(false);
    // An L-shaped area whose bounding box meets red but whose parts do not.
    RgnHandle area = NewRgn(), part = NewRgn();
    SetRectRgn(area, 0, 0, 40, 4);
    SetRectRgn(part, 0, 0, 4, 30);
    UnionRgn(area, part, area);
    EventRef event = CreateDrawEvent(area);
    View view(HIViewCreateOffscreen(kWidth, kHeight));
    FillView(view.get(), kGrey);
    CGContextRef context = HIViewCreateDrawContext(view.get());
    list->UpdateControl(context, view.get(), event);
    EXPECT_TRUE(SpriteSurfaceClear());
    SetRectRgn(part, 14, 0, 16, 30);
    UnionRgn(area, part, area);
    ReleaseEvent(event);
    event = CreateDrawEvent(area);
    list->UpdateControl(context, view.get(), event);
    EXPECT_EQ(ViewPixel(view.get(), 5, 5), kRed);
    CGContextRelease(context);
    ReleaseEvent(event);
    DisposeRgn(part);
    DisposeRgn(area);
}

// UpdateContext draws the surface at (x / 1000, y / 1000) of a context whose
// y axis points up, scaled to width x height.
TEST_F(StageDrawing, IntoAContext)
{
    ThreeSprites();
    for (uint32_t factor : {1u, 2u}) {
        SCOPED_TRACE(testing::Message() << "factor " << factor);
        const int f = static_cast<int>(factor);
        list->SetFactor(factor);
        World target = MakeWorld(kWidth * f + 10, kHeight * f);
        FillOffscreen(target.get(), kGrey);
        CGContextRef context = nullptr;
        ASSERT_EQ(QDBeginCGContext(target.get(), &context), noErr);
        list->UpdateContext(context, 10000, 0, kWidth * f, kHeight * f);
        QDEndCGContext(target.get(), &context);
        for (int v = 0; v < kHeight * f; v++)
            for (int h = 0; h < kWidth * f + 10; h++) {
                const uint32_t want = h < 10 ? kGrey : Expected((h - 10) / f, v / f);
                ASSERT_EQ(Pixel(target.get(), h, v), want) << h << ", " << v;
            }
    }
    // Nothing visible: nothing drawn, even over a target of straight pixels
    // that drawing would have to touch.
    red->SetVisible(false);
    green_->SetVisible(false);
    blue->SetVisible(false);
    list->SetFactor(1);
    World target = MakeWorld(kWidth, kHeight);
    FillOffscreen(target.get(), 0x12345600);
    CGContextRef context = nullptr;
    ASSERT_EQ(QDBeginCGContext(target.get(), &context), noErr);
    list->UpdateContext(context, 0, 0, kWidth, kHeight);
    QDEndCGContext(target.get(), &context);
    EXPECT_EQ(Pixel(target.get(), 3, 3), 0x12345600u);
}

// A stage of zero size draws nothing and marks nothing.
TEST_F(StageDrawing, StageOfZeroSize)
{
    MakeStage(0, 0);
    RegisterSolid(300, 4, 4, kRed);
    CSprite* s = Show(1, 300, 0, 0);
    s->WrapXY();
    View view(HIViewCreateOffscreen(10, 10));
    list->Update(view.get());
    EXPECT_EQ(HIViewCountInvalidRects(view.get()), 0);
    Draw(view.get());
    EXPECT_EQ(ViewPixel(view.get(), 0, 0), kClear);
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
            for (int h = 0; h < kW * f; h++) {
                Point pt;
                pt.h = static_cast<int16_t>(h);
                pt.v = static_cast<int16_t>(v);
                if (!area || PtInRgn(pt, area))
                    ViewPixelRef(view, h, v) = Pixel(background.get(), h / f, v / f);
            }
        CGContextRef context = HIViewCreateDrawContext(view);
        if (area) {
            Rect bounds = R(0, 0, kW * f, kH * f);
            ClipCGContextToRegion(context, &bounds, area);
        }
        EventRef event = CreateDrawEvent(area);
        list->UpdateControl(context, view, event);
        ReleaseEvent(event);
        CGContextRelease(context);
    }

    static uint32_t& ViewPixelRef(HIViewRef view, int h, int v)
    {
        return Pixel(HIViewGetGWorld(view), h, v);
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
            const int changes = 1 + static_cast<int>(random() % 3);
            for (int i = 0; i < changes; i++)
                Step(random, all);
            list->Update(shown.get());
            RgnHandle area = NewRgn();
            for (const Rect& r : Invalidated(shown.get())) {
                RgnHandle one = NewRgn();
                RectRgn(one, &r);
                UnionRgn(area, one, area);
                DisposeRgn(one);
            }
            HIViewClearInvalidRects(shown.get());

            View full(HIViewCreateOffscreen(kW * f, kH * f));
            HostDraw(full.get(), nullptr);
            for (int v = 0; v < kH * f; v++)
                for (int h = 0; h < kW * f; h++) {
                    Point pt;
                    pt.h = static_cast<int16_t>(h);
                    pt.v = static_cast<int16_t>(v);
                    if (ViewPixel(shown.get(), h, v) != ViewPixel(full.get(), h, v)) {
                        changed++;
                        ASSERT_TRUE(PtInRgn(pt, area))
                            << "changed outside the marks at " << h << ", " << v;
                    }
                }
            HostDraw(shown.get(), area);
            DisposeRgn(area);
            for (int v = 0; v < kH * f; v++)
                for (int h = 0; h < kW * f; h++)
                    ASSERT_EQ(ViewPixel(shown.get(), h, v), ViewPixel(full.get(), h, v))
                        << "partial redraw differs at " << h << ", " << v;
        }
        // The sequence must have changed the picture a good deal.
        EXPECT_GT(changed, 1000);
        for (CSprite* s : all)
            delete s;
    }
};

TEST_F(Redisplay, RandomSettersAtFactorOne)
{
    Run(1, 1);
}

TEST_F(Redisplay, RandomSettersAtFactorTwo)
{
    Run(2, 2);
}

} // namespace
