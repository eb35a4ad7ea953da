// The sprite functions as a host calls them: handles, the origin shift, the
// library-owned results of SprGetX and SprGetY, and the exception guards.
#include <cmath>
#include <functional>
#include <tuple>

#include "tests/engine/stage_fixture.h"

namespace {

// A host's stage, made by SprInitSprites.
class HostStage : public Stage
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        MakeStage(100, 80);
        list.reset(SprInitSprites(backdrop.get(), background.get(), sprites.get(), &list->mBounds));
    }
    void TearDown() override
    {
        Stage::TearDown();
        SetSpriteOrigin(Point{0, 0});
    }
};

TEST_F(HostStage, SpritesThroughTheExportedFunctions)
{
    RegisterSolid(300, 10, 6, kRed);
    CSprite* a = SprNewSprite(list.get(), 7);
    EXPECT_EQ(SprIsShow(a), 0);
    EXPECT_EQ(SprGetImage(a), -1);
    EXPECT_EQ(SprSetImage(a, 300, 99), -1);
    EXPECT_EQ(SprGetImage(a), 300);
    SprShow(a, 1);
    EXPECT_EQ(SprIsShow(a), 1);

    const double x = 30.4, y = 20.6;
    SprSetPos(a, &x, &y);
    Rect r;
    SprGetRect(a, &r);
    EXPECT_EQ(r, R(25, 18, 35, 24));
    SprSetSize(a, 80);
    EXPECT_EQ(SprGetSize(a), 80);
    SprGetRect(a, &r);
    EXPECT_EQ(r, R(20, 15, 40, 27));
    // SprRecalculateRect stores the rectangle without marking it.
    a->mX = 50;
    list->InitRedisplayRects();
    SprRecalculateRect(a);
    EXPECT_EQ(a->mRect, R(40, 15, 60, 27));
    EXPECT_TRUE(Pending(*list).empty());

    SprSetOpacity(a, 128);
    EXPECT_EQ(SprGetOpacity(a), 128);
    SprSetPenMode(a, 2);
    SprSetPenSize(a, 5);
    EXPECT_EQ(SprGetPenMode(a), 2);
    EXPECT_EQ(SprGetPenSize(a), 5);
    // Channels keep their low 16 bits.
    SprSetPenColor(a, static_cast<unsigned short>(0x1FFFF), 0x1234, 0);
    RGBColor c;
    SprGetColor(a, &c);
    EXPECT_EQ(Channels(c), (std::vector<int>{0xFFFF, 0x1234, 0}));

    // (SprSendTo, SprSetZ, SprShow's result and the find iteration follow
    // the plain sequence of the sequence paths.)
    CSprite* b = SprNewSprite(list.get(), 8);

    // SprGetX hands out one double of its own; SprGetY another.
    b->mX = 12.25;
    b->mY = -3.5;
    double* ax = SprGetX(a);
    EXPECT_EQ(*ax, 50.0);
    double* bx = SprGetX(b);
    EXPECT_EQ(ax, bx);
    EXPECT_EQ(*ax, 12.25);
    double* by = SprGetY(b);
    EXPECT_NE(by, bx);
    EXPECT_EQ(*by, -3.5);
    EXPECT_EQ(*bx, 12.25);

    // Colour under the sprite: the backdrop where the background is white.
    Pixel(background.get(), 50, 21) = kWhite;
    Pixel(backdrop.get(), 50, 21) = Word(0x12, 0x34, 0x56, 255);
    a->mY = 21;
    SprGetColorUnder(a, &c);
    EXPECT_EQ(Channels(c), (std::vector<int>{0x1212, 0x3434, 0x5656}));

    // Hit tests and the stamp (a is at size 80, opacity 128).
    SprRecalculateRect(a);
    EXPECT_EQ(SprIsPtVisible(a, 45, 20), 1);
    EXPECT_EQ(SprIsPtVisible(a, 60, 20), 0);
    EXPECT_EQ(SprClicked(a, 61, 20, 3), 1);
    EXPECT_EQ(SprClicked(a, 65, 20, 3), 0);
    EXPECT_EQ(SprCollision(a, a), 1);
    EXPECT_EQ(SprCollision(a, b), 0);
    SprStamp(a);
    EXPECT_EQ(Pixel(background.get(), 45, 20) & 0xFF, 128u);

    SprDeleteSprite(b);
    EXPECT_EQ(list->mSprites.size(), 1u);
    SprDeleteSprite(nullptr);
    SprDeleteList(nullptr);
}

TEST_F(HostStage, OriginShift)
{
    SetSpriteOrigin(Point{20, 10}); // v, h
    EXPECT_EQ(global_ShiftX_, 10);
    EXPECT_EQ(global_ShiftY_, 20);
    list->InitRedisplayRects();
    Rect host = R(15, 25, 45, 65);
    EXPECT_EQ(SprUpdateAll(list.get(), &host, 1), 1);
    EXPECT_EQ(host, R(15, 25, 45, 65)); // the caller's rectangle is left alone
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(5, 5, 35, 45)});
    Rect stage = R(5, 5, 35, 45);
    ShiftRect(&stage);
    EXPECT_EQ(stage, host);

    // Negative offsets, sign-extended from 16 bits; coordinates wrap at 16 bits.
    SetSpriteOrigin(Point{static_cast<int16_t>(0x8000), -1});
    EXPECT_EQ(global_ShiftX_, -1);
    EXPECT_EQ(global_ShiftY_, -32768);
    stage = R(0, 100, 10, 110);
    ShiftRect(&stage);
    EXPECT_EQ(stage, R(-1, -32668, 9, -32658));
}

// A null handle, or a null pointer to read from or write to, does nothing
// and gives the function's "nothing" result.
TEST_F(HostStage, NullHandlesAndPointersDoNothing)
{
    RegisterSolid(300, 4, 4, kRed);
    CSprite* s = Show(5, 300, 20, 20);
    const double x = 20, y = 20;
    list->InitRedisplayRects();
    View view(HIViewCreateOffscreen(100, 80));
    EventRef event = CreateDrawEvent(nullptr);
    CGContextRef context = HIViewCreateDrawContext(view.get());
    Rect r = R(1, 2, 3, 4);
    RGBColor c = {1, 2, 3};
    CSprite* none = nullptr;
    CSpriteList* noList = nullptr;

    // Functions with a result: the "nothing" result.
    const std::vector<std::tuple<const char*, std::function<int64_t()>, int64_t>> results = {
        {"SprFindSprite", [&] { return SprFindSprite(noList); }, 0},
        {"SprFindNextSprite", [&] { return SprFindNextSprite(noList); }, 0},
        {"SprUpdateAll", [&] { return SprUpdateAll(noList, &r, 0); }, 0},
        {"SprUpdateAll rect", [&] { return SprUpdateAll(list.get(), nullptr, 0); }, 0},
        {"SprUpdate", [&] { return SprUpdate(noList, view.get()); }, 0},
        {"SprNewSprite", [&] { return SprNewSprite(noList, 1) != nullptr; }, 0},
        {"SprSetImage", [&] { return SprSetImage(none, 300, 0); }, 0},
        {"SprGetImage", [&] { return SprGetImage(none); }, 0},
        {"SprShow", [&] { return SprShow(none, 1); }, 0},
        {"SprIsShow", [&] { return SprIsShow(none); }, 0},
        {"SprGetX", [&] { return SprGetX(none) != nullptr; }, 0},
        {"SprGetY", [&] { return SprGetY(none) != nullptr; }, 0},
        {"SprGetSize", [&] { return SprGetSize(none); }, 0},
        {"SprGetOpacity", [&] { return SprGetOpacity(none); }, 0},
        {"SprSetZ", [&] { return SprSetZ(none, 4); }, 0},
        {"SprGetPenMode", [&] { return SprGetPenMode(none); }, 0},
        {"SprGetPenSize", [&] { return SprGetPenSize(none); }, 0},
        {"SprClicked", [&] { return SprClicked(none, 20, 20, 5); }, 0},
        {"SprIsPtVisible", [&] { return SprIsPtVisible(none, 20, 20); }, 0},
        {"SprCollision a", [&] { return SprCollision(none, s); }, 0},
        {"SprCollision b", [&] { return SprCollision(s, none); }, 0},
    };
    for (const auto& call : results)
        EXPECT_EQ(std::get<1>(call)(), std::get<2>(call)) << std::get<0>(call);

    // Functions without one: nothing changes (checked below).
    const std::vector<std::function<void()>> actions = {
        [&] { SprReInitSprites(noList, backdrop.get(), background.get(), sprites.get(), &r); },
        [&] { SprListBgChanged(noList, background.get()); },
        [&] { SprSetFactor(noList, 2); },
        [&] { SprUpdateControl(noList, context, view.get(), event); },
        [&] { SprUpdateContext(noList, context, 0, 0, 100, 80); },
        [&] { SprUpdateControl(list.get(), nullptr, view.get(), event); },
        [&] { SprUpdateContext(list.get(), nullptr, 0, 0, 100, 80); },
        [&] { SprSetPos(none, &x, &y); },
        [&] { SprSetPos(s, nullptr, &y); },
        [&] { SprSetPos(s, &x, nullptr); },
        [&] { SprSetPosPaint(none, &x, &y, 0, nullptr, 1); },
        [&] { SprSetPosPaint(s, nullptr, &y, 0, nullptr, 1); },
        [&] { SprMove(none, &x, &y); },
        [&] { SprMove(s, &x, nullptr); },
        [&] { SprGetRect(none, &r); },
        [&] { SprGetRect(s, nullptr); },
        [&] { SprRecalculateRect(none); },
        [&] { SprSetSize(none, 80); },
        [&] { SprSetOpacity(none, 9); },
        [&] { SprSetFrame(none, 1); },
        [&] { SprSendTo(none, 4); },
        [&] { SprSetPenMode(none, 1); },
        [&] { SprSetPenSize(none, 3); },
        [&] { SprSetPenColor(none, 1, 2, 3); },
        [&] { SprGetColor(none, &c); },
        [&] { SprGetColor(s, nullptr); },
        [&] { SprGetColorUnder(none, &c); },
        [&] { SprGetColorUnder(s, nullptr); },
        [&] { SprStamp(none); },
        [] { ShiftRect(nullptr); },
    };
    for (const auto& action : actions)
        action();
    EXPECT_EQ(r, R(1, 2, 3, 4));
    EXPECT_EQ(Channels(c), (std::vector<int>{1, 2, 3}));

    // The stage, the sprite and the background are as they were.
    EXPECT_EQ(list->mFactor, 1u);
    EXPECT_EQ(list->mBackgroundWorld, background.get());
    EXPECT_EQ(list->mBounds, R(0, 0, 100, 80));
    EXPECT_EQ(s->mX, 20.0);
    EXPECT_EQ(s->mY, 20.0);
    EXPECT_EQ(s->mRect, R(18, 18, 22, 22));
    EXPECT_TRUE(Pending(*list).empty());
    EXPECT_EQ(list->mSprites, std::vector<CSprite*>{s});
    EXPECT_EQ(Pixel(background.get(), 20, 20), kClear);
    EXPECT_EQ(HIViewCountInvalidRects(view.get()), 0);
    CGContextRelease(context);
    ReleaseEvent(event);
}

// A stage is made only over three worlds and a stage rectangle (a host whose
// NewGWorld refused a size has a null world); a stage never takes a null
// world in place of one it has.
TEST_F(HostStage, NullWorldsMakeNoStage)
{
    Rect bounds = R(0, 0, 100, 80);
    GWorldPtr a = backdrop.get(), b = background.get(), c = sprites.get();
    EXPECT_EQ(SprInitSprites(nullptr, b, c, &bounds), nullptr);
    EXPECT_EQ(SprInitSprites(a, nullptr, c, &bounds), nullptr);
    EXPECT_EQ(SprInitSprites(a, b, nullptr, &bounds), nullptr);
    EXPECT_EQ(SprInitSprites(a, b, c, nullptr), nullptr);

    World other = MakeWorld(10, 10);
    Rect small = R(0, 0, 10, 10);
    SprReInitSprites(list.get(), nullptr, other.get(), other.get(), &small);
    SprReInitSprites(list.get(), other.get(), nullptr, other.get(), &small);
    SprReInitSprites(list.get(), other.get(), other.get(), nullptr, &small);
    SprReInitSprites(list.get(), other.get(), other.get(), other.get(), nullptr);
    SprListBgChanged(list.get(), nullptr);
    EXPECT_EQ(list->mBackdropWorld, a);
    EXPECT_EQ(list->mBackgroundWorld, b);
    EXPECT_EQ(list->mSpriteWorld, c);
    EXPECT_EQ(list->mBounds, bounds);
    // New surfaces, a new background and a new factor mark nothing.
    list->InitRedisplayRects();
    SprReInitSprites(list.get(), other.get(), other.get(), other.get(), &small);
    SprListBgChanged(list.get(), b);
    SprSetFactor(list.get(), 3);
    EXPECT_EQ(list->mRectCount, 0);
    EXPECT_EQ(list->mBackgroundWorld, b);
    EXPECT_EQ(list->mSpriteWorld, other.get());
    EXPECT_EQ(list->mBounds, small);
    EXPECT_EQ(list->mFactor, 3u);
}

// Positions and moves that are not finite numbers leave the sprite where it
// was, with its pen up or down: nothing drawn, nothing marked.
TEST_F(HostStage, MovesThatAreNotNumbersChangeNothing)
{
    RegisterSolid(300, 4, 4, kRed);
    const double start = 30.25;
    CSprite* s = Show(1, 300, start, start);
    const double inf = INFINITY, finite = 12.5;
    for (short pen : {0, 1, 2})
        for (double bad : {double(NAN), inf, -inf})
            for (int which = 0; which < 6; which++) {
                SprSetPenMode(s, pen);
                list->InitRedisplayRects();
                const double* px = which % 2 ? &bad : &finite;
                const double* py = which % 2 ? &finite : &bad;
                if (which < 2)
                    SprSetPos(s, px, py);
                else if (which < 4)
                    SprSetPosPaint(s, px, py, 0, nullptr, which);
                else
                    SprMove(s, px, py);
                EXPECT_EQ(s->mX, start) << pen << " " << bad << " " << which;
                EXPECT_EQ(s->mY, start);
                EXPECT_EQ(s->mRect, R(28, 28, 32, 32));
                EXPECT_EQ(list->mRectCount, 0);
            }
    EXPECT_EQ(Mismatch(background.get(), kClear), "");
}

// Sizes, pen sizes, z values, factors and origins at the ends of their
// ranges. A size scaling the picture past the widest world raises the error
// of a world that cannot be made; a negative size shows nothing.
TEST_F(HostStage, NumbersAtTheEndsOfTheirRanges)
{
    RegisterSolid(300, 100, 2, kRed);
    CSprite* s = Show(1, 300, 50, 50);
    SprSetFrame(s, 1);
    CSprite* t = Show(2, 300, 50, 50);

    // 26215 fortieths of 100 pixels is 65537: past any world. The exception
    // stops at the five guarded functions and passes through the others.
    View view(HIViewCreateOffscreen(100, 80));
    for (short size : {short{26215}, short{32767}}) {
        SprSetSize(s, size);
        EXPECT_THROW(SprStamp(s), short) << size;
        EXPECT_EQ(SprCollision(s, t), -1);
        EXPECT_THROW(s->Clicked(50, 50, 5), short);
        EXPECT_ANY_THROW(s->InCollisionWith(t));
        EventRef event = CreateDrawEvent(nullptr);
        CGContextRef context = HIViewCreateDrawContext(view.get());
        SprUpdateControl(list.get(), context, view.get(), event);
        SprUpdateContext(list.get(), context, 0, 0, 100, 80);
        CGContextRelease(context);
        ReleaseEvent(event);
        // Nothing reached the view, though the other sprite was drawable.
        EXPECT_EQ(Mismatch(HIViewGetGWorld(view.get()), kClear), "");
        EXPECT_EQ(SprUpdate(list.get(), view.get()), 1);
        Rect r = R(0, 0, 10, 10);
        EXPECT_EQ(SprUpdateAll(list.get(), &r, 0), 1);
    }
    for (short size : {short{-1}, short{-40}, short{-32768}}) {
        SprSetSize(s, size);
        SprStamp(s);
        EXPECT_EQ(SprCollision(s, t), 0) << size;
        EXPECT_EQ(SprCollision(t, s), 0);
        EXPECT_EQ(SprClicked(s, 50, 50, 100), 0);
        EXPECT_EQ(SprIsPtVisible(s, 50, 50), 0);
    }
    EXPECT_EQ(Mismatch(background.get(), kClear), "");

    // Pen sizes at both ends draw and end.
    SprSetSize(s, 40);
    SprSetPenMode(s, 1);
    for (short penSize : {short{32767}, short{-32768}, short{0}}) {
        SprSetPenSize(s, penSize);
        const double dx = 130.5, dy = -77.25;
        SprMove(s, &dx, &dy);
        SprSetPosPaint(s, &dx, &dy, 0, nullptr, 2);
    }
    EXPECT_EQ(SprSetZ(s, INT32_MIN), 0);
    EXPECT_EQ(SprSetZ(t, INT32_MAX), 0);
    EXPECT_EQ(SprSetZ(s, INT32_MAX), INT32_MIN);

    // Factors of 0 and past 16 bits keep 16-bit view rectangles.
    for (uint32_t factor : {0u, 70000u, 0xFFFFFFFFu}) {
        SprSetFactor(list.get(), factor);
        SprUpdateAll(list.get(), &list->mBounds, 0);
        EXPECT_EQ(SprUpdate(list.get(), view.get()), 1);
        DrawEvent(*list, view.get(), nullptr);
        InContext(backdrop.get(), [&](CGContextRef context) {
            SprUpdateContext(list.get(), context, 0, 0, 100, 80);
        });
    }

    // An origin the host wrote past 16 bits is taken by its low 16 bits.
    global_ShiftX_ = INT32_MIN;
    global_ShiftY_ = INT32_MAX;
    list->InitRedisplayRects();
    Rect host = R(10, 10, 20, 20);
    EXPECT_EQ(SprUpdateAll(list.get(), &host, 0), 1);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(10, 11, 20, 21)});
}

} // namespace
