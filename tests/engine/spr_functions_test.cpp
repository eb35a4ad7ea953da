// The sprite functions as a host calls them: handles, the origin shift, the
// library-owned results of SprGetX and SprGetY, and the exception guards.
#include "tests/engine/stage_fixture.h"

namespace {

// A host's stage: the three worlds and the list made by SprInitSprites.
class HostStage : public testing::Test
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        backdrop = MakeWorld(100, 80);
        background = MakeWorld(100, 80);
        sprites = MakeWorld(100, 80);
        Rect bounds = R(0, 0, 100, 80);
        list = SprInitSprites(backdrop.get(), background.get(), sprites.get(), &bounds);
    }
    void TearDown() override
    {
        SprDeleteList(list);
        ClearAllImages();
        Point none = {0, 0};
        SetSpriteOrigin(none);
    }

    World backdrop, background, sprites;
    CSpriteList* list = nullptr;
};

TEST_F(HostStage, SpritesThroughTheExportedFunctions)
{
    const double values[] = {2.5, -2.5, -2.6, -0.4};
    const int32_t rounded[] = {3, -2, -3, 0};
    for (int i = 0; i < 4; i++)
        EXPECT_EQ(SprRound(&values[i]), rounded[i]) << values[i];

    RegisterSolid(300, 10, 6, kRed);
    CSprite* a = SprNewSprite(list, 7);
    EXPECT_EQ(SprIsShow(a), 0);
    EXPECT_EQ(SprGetImage(a), -1);
    EXPECT_EQ(SprSetImage(a, 300, 99), -1);
    EXPECT_EQ(SprGetImage(a), 300);
    EXPECT_EQ(SprShow(a, 1), 0);
    EXPECT_EQ(SprIsShow(a), 1);
    EXPECT_EQ(SprShow(a, 1), 1);

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
    EXPECT_EQ(c.red, 0xFFFF);
    EXPECT_EQ(c.green, 0x1234);
    EXPECT_EQ(c.blue, 0);

    CSprite* b = SprNewSprite(list, 8);
    EXPECT_EQ(SprSetZ(b, 5), 0);
    EXPECT_EQ(SprSetZ(b, 3), 5);
    EXPECT_EQ(SprFindSprite(list), 7); // b went behind a
    EXPECT_EQ(SprFindNextSprite(list), 8);
    EXPECT_EQ(SprFindNextSprite(list), 0);
    SprSendTo(a, 10);
    EXPECT_EQ(SprFindSprite(list), 8);

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
    EXPECT_EQ(c.red, 0x1212);
    EXPECT_EQ(c.green, 0x3434);
    EXPECT_EQ(c.blue, 0x5656);

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
    Point origin;
    origin.h = 10;
    origin.v = 20;
    SetSpriteOrigin(origin);
    EXPECT_EQ(global_ShiftX_, 10);
    EXPECT_EQ(global_ShiftY_, 20);
    list->InitRedisplayRects();
    Rect host = R(15, 25, 45, 65);
    EXPECT_EQ(SprUpdateAll(list, &host, 1), 1);
    EXPECT_EQ(host, R(15, 25, 45, 65)); // the caller's rectangle is left alone
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(5, 5, 35, 45)});
    Rect stage = R(5, 5, 35, 45);
    ShiftRect(&stage);
    EXPECT_EQ(stage, host);

    // Negative offsets, sign-extended from 16 bits; coordinates wrap at 16 bits.
    origin.h = -1;
    origin.v = static_cast<int16_t>(0x8000);
    SetSpriteOrigin(origin);
    EXPECT_EQ(global_ShiftX_, -1);
    EXPECT_EQ(global_ShiftY_, -32768);
    stage = R(0, 100, 10, 110);
    ShiftRect(&stage);
    EXPECT_EQ(stage, R(-1, -32668, 9, -32658));
}

TEST_F(HostStage, UpdateAndDrawThroughTheView)
{
    RegisterSolid(300, 4, 4, kBlue);
    CSprite* s = SprNewSprite(list, 1);
    SprSetImage(s, 300, 0);
    SprShow(s, 1);
    SprSetPenMode(s, 1);
    SprSetPenSize(s, 1);
    SprSetPenColor(s, 0, 0xFFFF, 0);
    const double x = 20, y = 20, dx = 30, dy = 0;
    SprSetPos(s, &x, &y);
    SprMove(s, &dx, &dy);
    EXPECT_EQ(Pixel(background.get(), 35, 20), kGreen);

    SprSetFactor(list, 2);
    View view(HIViewCreateOffscreen(200, 160));
    HIViewClearInvalidRects(view.get());
    EXPECT_EQ(SprUpdate(list, view.get()), 1);
    EXPECT_GT(HIViewCountInvalidRects(view.get()), 0);
    EventRef event = CreateDrawEvent(nullptr);
    CGContextRef context = HIViewCreateDrawContext(view.get());
    SprUpdateControl(list, context, view.get(), event);
    CGContextRelease(context);
    ReleaseEvent(event);
    // The sprite at (50, 20), each stage pixel a 2 x 2 block of the view.
    EXPECT_EQ(ViewPixel(view.get(), 96, 36), kBlue);
    EXPECT_EQ(ViewPixel(view.get(), 103, 43), kBlue);
    EXPECT_EQ(ViewPixel(view.get(), 104, 44), kClear);
}

// A sprite scaled past the widest world cannot be resized: the exception
// stops at the five guarded functions and passes through the others.
TEST_F(HostStage, GuardsTurnExceptionsIntoResults)
{
    RegisterSolid(300, 100, 2, kRed);
    CSprite* huge = SprNewSprite(list, 1);
    SprSetImage(huge, 300, 0);
    SprShow(huge, 1);
    SprSetSize(huge, 2000); // 5000 pixels wide
    CSprite* other = SprNewSprite(list, 2);
    SprSetImage(other, 300, 0);
    SprShow(other, 1);
    EXPECT_ANY_THROW(huge->InCollisionWith(other));
    EXPECT_EQ(SprCollision(huge, other), -1);
    EXPECT_ANY_THROW(SprStamp(huge));

    View view(HIViewCreateOffscreen(100, 80));
    EventRef event = CreateDrawEvent(nullptr);
    CGContextRef context = HIViewCreateDrawContext(view.get());
    SprUpdateControl(list, context, view.get(), event);
    SprUpdateContext(list, context, 0, 0, 100, 80);
    CGContextRelease(context);
    ReleaseEvent(event);
    // Nothing reached the view, though the other sprite was drawable.
    for (int v = 0; v < 80; v++)
        for (int h = 0; h < 100; h++)
            ASSERT_EQ(ViewPixel(view.get(), h, v), kClear) << h << "," << v;
    EXPECT_EQ(SprUpdate(list, view.get()), 1);
    Rect r = R(0, 0, 10, 10);
    EXPECT_EQ(SprUpdateAll(list, &r, 0), 1);
}

} // namespace
