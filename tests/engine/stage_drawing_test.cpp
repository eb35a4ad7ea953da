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
        const Rect whole = R(0, 0, kWidth * f, kHeight * f);
        Draw(view.get(), &whole);
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

// The stage drawn the plain way, step by step: the surface cleared, each
// visible sprite whose rectangle times the factor passes `meets` composited,
// and, when one was, the whole surface (enlarged by replication) handed on.
class PlainStage : public StageDrawing
{
  protected:
    template <typename Meets, typename HandOn>
    void Plain(Meets meets, HandOn handOn)
    {
        FillOffscreen(sprites.get(), 0);
        bool drawn = false;
        for (CSprite* s : list->mSprites) {
            if (!s->mVisible)
                continue;
            Rect r = s->GetRect();
            list->FactorRect(r);
            if (meets(r)) {
                s->Output(sprites.get());
                drawn = true;
            }
        }
        if (!drawn)
            return;
        const int f = static_cast<int>(list->mFactor);
        World enlarged = MakeWorld(kWidth * f, kHeight * f);
        Rect src = R(0, 0, kWidth, kHeight), dst = R(0, 0, kWidth * f, kHeight * f);
        RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
        CopyBmBmBg(sprites.get(), enlarged.get(), &src, &dst, srcCopy, nullptr, &white);
        handOn(f > 1 ? enlarged.get() : sprites.get());
    }

    // A seeded scene of soft sprites, scaled, faded, framed, some hidden and
    // some partly or wholly off the stage.
    void RandomScene(unsigned seed)
    {
        std::mt19937 random(seed);
        std::vector<uint32_t> soft;
        for (int i = 0; i < 48; i++)
            soft.push_back(Word(random() & 0xFF, random() & 0xFF, random() & 0xFF,
                                i % 7 == 0 ? 0 : (i % 5 == 0 ? 255 : random() & 0xFF)));
        Register(300, soft, 8);
        for (int i = 0; i < 6; i++) {
            CSprite* s = Show(i + 1, 300, static_cast<int>(random() % 60) - 10,
                              static_cast<int>(random() % 46) - 8);
            s->SetSize(static_cast<short>(
                std::initializer_list<int>{20, 40, 70, 80}.begin()[random() % 4]));
            s->SetOpacity(static_cast<short>(random() % 3 == 0 ? 170 : 255));
            s->SetFrame(static_cast<short>(random() % 3));
            s->SetVisible(random() % 5 != 0);
        }
    }

    static bool SameWorlds(GWorldPtr a, GWorldPtr b)
    {
        Rect bounds;
        GetPortBounds(a, &bounds);
        for (int v = 0; v < bounds.bottom; v++)
            for (int h = 0; h < bounds.right; h++)
                if (Pixel(a, h, v) != Pixel(b, h, v)) {
                    ADD_FAILURE() << "first difference at " << h << ", " << v;
                    return false;
                }
        return true;
    }
};

// Draw events, with and without a region, at factors 1 to 3, into views of
// the enlarged surface's size (where only the sprites' boxes are handed on)
// and of other sizes: the view's pixels are those of the plain procedure.
TEST_F(PlainStage, DrawEventsGiveThePlainProcedure)
{
    struct Area
    {
        bool none;
        Rect r; // in view coordinates, for a factor of 1
    };
    const Area areas[] = {{true, {}},
                          {false, R(0, 0, 40, 30)},
                          {false, R(3, 4, 17, 9)},
                          {false, R(30, 0, 40, 30)},
                          {false, R(0, 0, 120, 90)}};
    for (unsigned seed = 1; seed <= 6; seed++) {
        RandomScene(seed);
        for (uint32_t factor : {1u, 2u, 3u})
            for (const Area& area : areas)
                for (int wider : {0, 7}) {
                    SCOPED_TRACE(testing::Message()
                                 << "seed " << seed << ", factor " << factor << ", area " << area.r
                                 << (area.none ? " none" : "") << ", view wider by " << wider);
                    list->SetFactor(factor);
                    const int f = static_cast<int>(factor);
                    Rect scaledArea = area.r;
                    list->FactorRect(scaledArea);
                    const Rect& a = area.none ? area.r : scaledArea;
                    const Rect bounds = R(0, 0, kWidth, kHeight);
                    auto meets = [&](const Rect& r) {
                        Rect overlap;
                        return SectRect(&r, area.none ? &bounds : &a, &overlap) != 0;
                    };
                    View view(HIViewCreateOffscreen(kWidth * f + wider, kHeight * f));
                    View plain(HIViewCreateOffscreen(kWidth * f + wider, kHeight * f));
                    FillNumbered(HIViewGetGWorld(view.get()), seed);
                    FillNumbered(HIViewGetGWorld(plain.get()), seed);
                    Draw(view.get(), area.none ? nullptr : &a);
                    World drawnSurface = MakeWorld(kWidth, kHeight);
                    Rect all = bounds;
                    CopyBits(GetPortBitMapForCopyBits(sprites.get()),
                             GetPortBitMapForCopyBits(drawnSurface.get()), &all, &all, srcCopy,
                             nullptr);
                    Plain(meets, [&](GWorldPtr surface) {
                        CGContextRef context = HIViewCreateDrawContext(plain.get());
                        DrawOffscreenToHIView(surface, context, plain.get(), kCGImageAlphaFirst);
                        CGContextRelease(context);
                    });
                    ASSERT_TRUE(SameWorlds(sprites.get(), drawnSurface.get()));
                    ASSERT_TRUE(
                        SameWorlds(HIViewGetGWorld(view.get()), HIViewGetGWorld(plain.get())));
                }
        for (CSprite* s : std::vector<CSprite*>(list->mSprites))
            delete s;
    }
}

// UpdateContext at factors 1 to 3, into contexts smaller and larger than the
// surface, at origins below 1000 units and from 1000 up (where the sprites
// are tested against (0, 0, width, height)).
TEST_F(PlainStage, ContextsGiveThePlainProcedure)
{
    struct Place
    {
        int32_t x, y, width, height;
    };
    const Place places[] = {{0, 0, 40, 30},        {999, 500, 25, 12},     {1000, 0, 40, 30},
                            {12500, 3000, 60, 50}, {-4000, -2000, 30, 20}, {0, 0, 130, 100}};
    for (unsigned seed = 1; seed <= 6; seed++) {
        RandomScene(seed);
        for (uint32_t factor : {1u, 2u, 3u})
            for (const Place& p : places) {
                SCOPED_TRACE(testing::Message()
                             << "seed " << seed << ", factor " << factor << " at " << p.x << ", "
                             << p.y << " size " << p.width << " x " << p.height);
                list->SetFactor(factor);
                const Rect clip = R(p.x >= 1000 ? 0 : p.x / 1000, p.y >= 1000 ? 0 : p.y / 1000,
                                    p.width, p.height);
                auto meets = [&](const Rect& r) {
                    Rect overlap;
                    return SectRect(&r, &clip, &overlap) != 0;
                };
                World target = MakeWorld(150, 110);
                World plain = MakeWorld(150, 110);
                FillNumbered(target.get(), seed);
                FillNumbered(plain.get(), seed);
                CGContextRef context = nullptr;
                ASSERT_EQ(QDBeginCGContext(target.get(), &context), noErr);
                list->UpdateContext(context, p.x, p.y, p.width, p.height);
                QDEndCGContext(target.get(), &context);
                Plain(meets, [&](GWorldPtr surface) {
                    CGContextRef c = nullptr;
                    ASSERT_EQ(QDBeginCGContext(plain.get(), &c), noErr);
                    DrawOffscreenToContext(surface, c, p.x, p.y, p.width, p.height,
                                           kCGImageAlphaFirst);
                    QDEndCGContext(plain.get(), &c);
                });
                ASSERT_TRUE(SameWorlds(target.get(), plain.get()));
            }
        for (CSprite* s : std::vector<CSprite*>(list->mSprites))
            delete s;
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
        Rect bounds = R(0, 0, kW * f, kH * f);
        RgnHandle whole = NewRgn();
        RectRgn(whole, &bounds);
        if (area)
            ClipCGContextToRegion(context, &bounds, area);
        EventRef event = CreateDrawEvent(area ? area : whole);
        list->UpdateControl(context, view, event);
        ReleaseEvent(event);
        DisposeRgn(whole);
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

TEST_F(Redisplay, RandomSettersAtFactorsOneAndTwo)
{
    Run(1, 1);
    SetUp(); // a fresh stage
    Run(2, 2);
}

} // namespace
