#include <array>
#include <cmath>
#include <iomanip>

#include "tests/engine/stage_fixture.h"

namespace {

class Sprite : public Stage
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        MakeStage(480, 360);
    }

    // A 10 x 10 picture whose only opaque pixel is (h, v).
    void Dot(int32_t number, int h, int v)
    {
        std::vector<uint32_t> pixels(100, kClear);
        pixels[static_cast<size_t>(v * 10 + h)] = Word(10, 20, 30, 255);
        Register(number, pixels, 10);
    }
};
using HitTest = Sprite;
using SpriteList = Sprite;

TEST_F(Sprite, NewSpriteAndItsRectangle)
{
    auto* first = new CSprite(list.get(), 1);
    auto* second = new CSprite(list.get(), 2);
    EXPECT_EQ(first->mRect, R(0, 0, 0, 0));
    EXPECT_FALSE(first->mVisible);
    EXPECT_EQ(first->mImage, -1);
    EXPECT_EQ(first->GetSize(), 40);
    ASSERT_EQ(list->mSprites.size(), 2u);
    EXPECT_EQ(list->mSprites.back(), second);
    // Making sprites marks nothing: only the stage's own first mark is pending.
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(0, 0, 480, 360)});

    RegisterSolid(300, 41, 30, kRed);
    first->mX = 100.5;
    first->mY = 50.49;
    first->SetImage(300, 0);
    EXPECT_EQ(first->mRect, R(81, 35, 122, 65));
    // (Other sizes and positions follow the plain rectangle of the move
    // paths.) GetRect computes afresh and leaves mRect as it was.
    first->mX = 200;
    EXPECT_EQ(first->GetRect(), R(180, 35, 221, 65));
    EXPECT_EQ(first->mRect, R(81, 35, 122, 65));

    // No picture: an empty rectangle at the rounded position.
    for (int32_t none : {-1, 16000, 301}) {
        first->SetImage(none, 0);
        EXPECT_EQ(first->mRect, R(200, 50, 200, 50)) << none;
    }

    // Positions that round past 32 bits saturate; the rectangle keeps the
    // low 16 bits of the 32-bit arithmetic.
    first->mWrap = false;
    first->SetImage(300, 0);
    first->mX = -1e300; // rounds to INT32_MIN, whose low 16 bits are 0
    first->mY = 1e300;  // rounds to INT32_MAX, low 16 bits -1
    EXPECT_EQ(first->GetRect(), R(-20, -16, 21, 14));

    const double values[] = {2.5, -2.5, -2.6, -0.4, 0.49, 1e300, -1e300, NAN};
    const int32_t expected[] = {3, -2, -3, 0, 0, INT32_MAX, INT32_MIN, 0};
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(SprRound(&values[i]), expected[i]) << values[i];
}

// Which rectangles each setter marks, and when it marks none.
TEST_F(Sprite, SettersMarkWhatTheyChange)
{
    RegisterSolid(300, 10, 10, kRed);
    RegisterSolid(301, 20, 20, kGreen);
    RegisterSolid(5, 10, 10, kBlack); // a colorized picture
    CSprite* s = new CSprite(list.get(), 1);
    s->mX = 50;
    s->mY = 50;
    list->InitRedisplayRects();
    const Rect at50 = R(45, 45, 55, 55);

    // The empty rectangle of no picture takes a slot, which the new one reuses.
    EXPECT_EQ(s->SetImage(300, 0), -1);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{at50});
    list->InitRedisplayRects();

    EXPECT_EQ(s->SetVisible(true), false);
    EXPECT_EQ(s->SetVisible(true), true); // unchanged, and marked again
    EXPECT_EQ(Pending(*list), std::vector<Rect>{at50});
    list->InitRedisplayRects();

    s->SetOpacity(255);
    s->SetFrame(0);
    s->SetPenColor(const_cast<RGBColor*>(&rgbWhite)); // not a colorized picture
    EXPECT_EQ(s->SetImage(300, 77), 300);
    EXPECT_EQ(s->SetZOrder(0), 0);
    EXPECT_EQ(list->mRectCount, 0);
    EXPECT_EQ(s->mPenColor.red, 0xFFFF);

    // Opacity, frame, visibility and pen colour mark the stored rectangle
    // without recomputing it: the sprite was moved without a new rectangle.
    s->mX = 100;
    s->SetOpacity(128);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{at50});
    list->InitRedisplayRects();
    s->SetFrame(3);
    s->SetVisible(false);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{at50});
    list->InitRedisplayRects();
    s->SetImage(5, 0);
    list->InitRedisplayRects();
    RGBColor tint = {0x1234, 0, 0};
    s->SetPenColor(&tint);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(95, 45, 105, 55)});
    list->InitRedisplayRects();

    // Size and picture changes mark the old and the new rectangle, both
    // computed at the current position.
    s->mX = 50;
    s->SetImage(300, 0);
    list->InitRedisplayRects();
    s->mX = 200;
    s->SetSize(80);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(190, 40, 210, 60)});
    s->mX = 300;
    s->SetImage(301, 0);
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(190, 40, 210, 60), R(280, 30, 320, 70)}));
    s->SetSize(40);
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(190, 40, 210, 60), R(280, 30, 320, 70)}));
    list->InitRedisplayRects();

    // A stamp and the destructor mark the stored rectangle, visible or not.
    s->Stamp();
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(290, 40, 310, 60)});
    list->InitRedisplayRects();
    delete s;
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(290, 40, 310, 60)});
    EXPECT_TRUE(list->mSprites.empty());
}

// SetZOrder gives the old value and marks the sprite; SendTo places it by a
// value it does not keep and marks its rectangle. (Where each goes in the
// sequence follows the plain sequence of the sequence paths.)
TEST_F(Sprite, ZOrderAndSendTo)
{
    RegisterSolid(300, 4, 4, kRed);
    CSprite* s = new CSprite(list.get(), 1);
    s->mX = 90;
    s->mY = 10;
    s->SetImage(300, 0);
    list->InitRedisplayRects();
    EXPECT_EQ(s->SetZOrder(-1), 0);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(88, 8, 92, 12)});
    list->InitRedisplayRects();
    s->SendTo(100);
    EXPECT_EQ(s->mZ, -1);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(88, 8, 92, 12)});
}

// Positions come back exactly where stepping by one stage size at a time
// brings them, each step with its own rounding and the fraction kept, on
// stages anywhere; far positions land on the stage.
TEST_F(Sprite, WrapIsTheStepByStepRule)
{
    // {x, y, left, top, right, bottom}: the last ones where taking a
    // remainder in one step would land a last bit away from the steps.
    std::vector<std::array<double, 6>> cases = {{481.25, 10, 0, 0, 480, 360},
                                                {-0.6, 10, 0, 0, 480, 360},
                                                {479.4, 359.5, 0, 0, 480, 360},
                                                {960.0, -361, 0, 0, 480, 360},
                                                {99.5, 70, 100, 50, 200, 70},
                                                {99.4, 70, 100, 50, 200, 70},
                                                {131000.74768665859, 5, -977, 0, -966, 10},
                                                {-1776.0057912554059, 5, 494, 0, 495, 10},
                                                {-130850.48392050607, 5, 710, 0, 712, 10},
                                                {32509.111069134302, 5, -387, 0, -353, 10},
                                                {-524163.74755014695, 5, 684, 0, 689, 10}};
    CSprite* s = new CSprite(list.get(), 1);
    for (const auto& c : cases) {
        Rect bounds = R(static_cast<int>(c[2]), static_cast<int>(c[3]), static_cast<int>(c[4]),
                        static_cast<int>(c[5]));
        list->ReInit(backdrop.get(), background.get(), sprites.get(), &bounds);
        s->mX = c[0];
        s->mY = c[1];
        s->WrapXY();
        ASSERT_EQ(s->mX, StepWrap(c[0], bounds.left, bounds.right))
            << std::setprecision(17) << c[0] << " on " << c[2] << ".." << c[4];
        ASSERT_EQ(s->mY, StepWrap(c[1], bounds.top, bounds.bottom)) << c[1];
    }
    Rect bounds = R(0, 0, 480, 360);
    list->ReInit(backdrop.get(), background.get(), sprites.get(), &bounds);
    for (double far : {1e12, -1e15}) {
        s->mX = s->mY = far;
        s->WrapXY();
        const int32_t x = SprRound(&s->mX), y = SprRound(&s->mY);
        EXPECT_TRUE(x >= 0 && x < 480 && y >= 0 && y < 360) << far;
    }
    s->mWrap = false;
    s->mX = -1000;
    s->WrapXY();
    EXPECT_EQ(s->mX, -1000);
}

TEST_F(Sprite, StageOfZeroSize)
{
    for (Rect b : {R(0, 0, 0, 0), R(0, 0, 480, 0), R(0, 0, 0, 360)}) {
        list->ReInit(backdrop.get(), background.get(), sprites.get(), &b);
        CSprite* s = new CSprite(list.get(), 1);
        s->mX = -1000.25;
        s->mY = 5000;
        s->WrapXY(); // must return
        EXPECT_EQ(s->mX, -1000.25);
        EXPECT_EQ(s->mY, 5000);
        RegisterSolid(300, 4, 4, kRed);
        s->SetImage(300, 0);
        s->SetVisible(true);
        delete s;
    }
    // Every mark of an empty stage clips to nothing.
    list->InitRedisplayRects();
    Rect none = R(0, 0, 0, 0);
    list->ReInit(backdrop.get(), background.get(), sprites.get(), &none);
    Rect r = R(0, 0, 10, 10);
    list->UpdateAll(&r);
    View view(HIViewCreateOffscreen(40, 30));
    list->Update(view.get());
    EXPECT_EQ(HIViewCountInvalidRects(view.get()), 0);
    // Over worlds of no size too, where nothing is drawn either.
    MakeStage(0, 0);
    Show(1, 300, 0, 0)->WrapXY();
    list->Update(view.get());
    EXPECT_EQ(HIViewCountInvalidRects(view.get()), 0);
    Draw(view.get());
    EXPECT_EQ(Mismatch(HIViewGetGWorld(view.get()), kClear), "");
}

// Output draws the picture at mRect, and the frame one pixel above it; a
// colorized picture in the pen colour.
TEST_F(Sprite, OutputStampAndFrame)
{
    MakeStage(20, 20);
    RegisterSolid(300, 6, 4, kRed);
    CSprite* s = Show(1, 300, 10, 10); // rectangle (7, 8, 13, 12)
    ASSERT_EQ(s->mRect, R(7, 8, 13, 12));

    // The frame rectangle (7, 7, 13, 11), one pixel above the sprite's, is
    // stroked through pixel centres half a pixel lower: the line runs on the
    // sprite's own outer pixels.
    auto check = [&](GWorldPtr world, short frame) {
        EXPECT_EQ(Mismatch(world,
                           [frame](int h, int v) {
                               const bool in = h >= 7 && h < 13 && v >= 8 && v < 12;
                               const bool edge = in && (v == 8 || v == 11 || h == 7 || h == 12);
                               return frame == 1 && edge ? kBlack : in ? kRed : kClear;
                           }),
                  "")
            << "frame " << frame;
    };
    for (short frame : {0, 3, 1}) {
        FillOffscreen(sprites.get(), kClear);
        s->SetFrame(frame);
        s->Output(sprites.get());
        check(sprites.get(), frame);
    }
    // Dashed: three on, three off along the outline; some edge pixels stay red.
    FillOffscreen(sprites.get(), kClear);
    s->SetFrame(2);
    s->Draw();
    int black = 0;
    for (int h = 7; h < 13; h++)
        black += Pixel(sprites.get(), h, 8) == kBlack;
    EXPECT_GT(black, 0);
    EXPECT_LT(black, 6);
    EXPECT_EQ(Pixel(sprites.get(), 9, 9), kRed);

    // Hidden: Draw does nothing, Stamp still draws into the background.
    FillOffscreen(sprites.get(), kClear);
    s->SetFrame(0);
    s->SetVisible(false);
    s->Draw();
    s->Stamp();
    EXPECT_EQ(Mismatch(sprites.get(), kClear), "");
    check(background.get(), 0);

    // Scaled to no width, the picture draws nothing but its frame still
    // outlines its place (10, 9, 10, 12): the outline's left side runs on
    // column 10 and its right side on column 9.
    RegisterSolid(301, 4, 40, kRed);
    s->SetImage(301, 0);
    s->SetSize(3);
    s->SetFrame(1);
    ASSERT_EQ(s->mRect, R(10, 9, 10, 12));
    FillOffscreen(sprites.get(), kClear);
    s->Output(sprites.get());
    EXPECT_EQ(Mismatch(sprites.get(),
                       [](int h, int v) {
                           return (h == 9 || h == 10) && v >= 9 && v < 12 ? kBlack : kClear;
                       }),
              "");

    // A colorized picture takes the pen colour for its black pixels.
    FillOffscreen(sprites.get(), kClear);
    Register(7, {kBlack, kBlack, Word(0, 0, 0, 128), kWhite}, 2);
    s = Show(2, 7, 4, 4); // rectangle (3, 3, 5, 5)
    RGBColor pen = {0x4000, 0x8000, 0xC000};
    s->SetPenColor(&pen);
    s->Draw();
    EXPECT_EQ(Pixel(sprites.get(), 3, 3), Word(0x40, 0x80, 0xC0, 255));
    EXPECT_EQ(Pixel(sprites.get(), 4, 3), Word(0x40, 0x80, 0xC0, 255));
    EXPECT_EQ(Pixel(sprites.get(), 4, 4), kClear); // not black: left out
}

TEST_F(HitTest, ClickedNearAnOpaquePixel)
{
    Dot(300, 5, 5);
    CSprite* s = Show(1, 300, 15, 15); // (10, 10, 20, 20): the dot at (15, 15)
    EXPECT_TRUE(s->Clicked(15, 15, 1));
    EXPECT_FALSE(s->Clicked(15, 15, 0)); // radius 0 tests nothing
    EXPECT_TRUE(s->Clicked(17, 15, 2));  // distance 2
    EXPECT_FALSE(s->Clicked(18, 15, 2));
    EXPECT_FALSE(s->Clicked(17, 17, 2)); // distance 2.8
    EXPECT_TRUE(s->Clicked(17, 17, 3));
    EXPECT_TRUE(s->Clicked(5, 15, 11)); // from outside the rectangle
    EXPECT_TRUE(s->Clicked(15, 15, INT32_MAX));
    EXPECT_FALSE(s->Clicked(INT32_MIN, INT32_MAX, INT32_MAX));
    EXPECT_FALSE(s->Clicked(15, 15, -3));

    // The stored rectangle places the picture.
    s->mX = 100;
    EXPECT_TRUE(s->Clicked(15, 15, 1));
    s->SetSize(40);
    EXPECT_FALSE(s->Clicked(15, 15, 1));
    EXPECT_TRUE(s->Clicked(100, 15, 1));

    // Hidden, or without a picture: never clicked, whatever the radius.
    s->SetVisible(false);
    EXPECT_FALSE(s->Clicked(100, 15, 1000));
    s->SetVisible(true);
    s->SetImage(-1, 0);
    EXPECT_FALSE(s->Clicked(100, 15, 1000));
}

TEST_F(HitTest, PointVisible)
{
    std::vector<uint32_t> pixels(100, kRed);
    pixels[0] = kClear;
    pixels[99] = Word(1, 1, 1, 1); // faint still counts
    Register(300, pixels, 10);
    CSprite* s = Show(1, 300, 15, 15); // (10, 10, 20, 20)
    EXPECT_FALSE(s->PtVisible(10, 10));
    EXPECT_TRUE(s->PtVisible(11, 10));
    EXPECT_TRUE(s->PtVisible(19, 19));
    EXPECT_FALSE(s->PtVisible(20, 15)); // right and bottom edges are outside
    EXPECT_FALSE(s->PtVisible(15, 20));
    EXPECT_FALSE(s->PtVisible(9, 15));

    // A fresh rectangle: PtVisible follows the position without MakeRect.
    s->mX = 50;
    EXPECT_FALSE(s->PtVisible(15, 15));
    EXPECT_TRUE(s->PtVisible(50, 15));

    // Scaled and faded as shown: at size 80 each pixel is 2 x 2 (the edge
    // pixels softened by scaling); at opacity 0 nothing is solid.
    s->SetSize(80); // (40, 5, 60, 25)
    EXPECT_TRUE(s->PtVisible(50, 15));
    s->SetOpacity(0);
    EXPECT_FALSE(s->PtVisible(50, 15));
    s->SetOpacity(1);
    EXPECT_TRUE(s->PtVisible(50, 15));

    s->SetVisible(false);
    EXPECT_FALSE(s->PtVisible(50, 15));
}

TEST_F(HitTest, CollisionOfOpaquePixels)
{
    Dot(300, 9, 5);
    Dot(301, 0, 5);
    CSprite* a = Show(1, 300, 15, 15); // (10, 10, 20, 20): dot at (19, 15)
    CSprite* b = Show(2, 301, 24, 15); // (19, 10, 29, 20): dot at (19, 15)
    EXPECT_TRUE(a->InCollisionWith(b));
    EXPECT_TRUE(b->InCollisionWith(a));
    EXPECT_TRUE(a->InCollisionWith(a));

    // (Touching rectangles, solid pixels that miss, the stored and the fresh
    // rectangle and the rows of each picture are among the collision paths'
    // seeded scenes.)

    // Hidden or empty sprites collide with nothing.
    b->SetSize(40);
    b->SetVisible(false);
    EXPECT_FALSE(a->InCollisionWith(b));
    EXPECT_FALSE(b->InCollisionWith(a));
    b->SetVisible(true);

    // An opacity of 0 leaves nothing solid. (Faint pixels and pictures that
    // are gone are among the collision paths' seeded scenes.)
    b->SetOpacity(0);
    EXPECT_FALSE(a->InCollisionWith(b));
}

// Two sprites showing the same picture at sizes 40 and 80 are compared
// through a temporary copy of the picture in a free pool slot; with none
// free, through a copy of its own.
TEST_F(HitTest, SamePictureAtTwoSizes)
{
    std::vector<uint32_t> disc(100, kClear);
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++)
            if ((h - 4.5) * (h - 4.5) + (v - 4.5) * (v - 4.5) <= 16)
                disc[static_cast<size_t>(v * 10 + h)] = kGreen;
    Register(40, disc, 10);
    CSprite* small = Show(1, 40, 50, 50); // (45, 45, 55, 55)
    CSprite* big = Show(2, 40, 70, 50);   // (65, 45, 75, 55)
    // (With a free slot, the temporary copy and the pool's own cached copy
    // are among the collision paths' seeded scenes.)

    // With no free slot, no slot is touched and the answer is the same.
    std::vector<uint32_t> one = {kRed};
    for (int32_t n = 256; n < CImagePool::kSlots; n++)
        Register(n, one, 1);
    ASSERT_EQ(GetFreeImageNumber(), -1);
    big->mX = 60;
    big->SetSize(80);
    EXPECT_TRUE(small->InCollisionWith(big));
    big->mX = 64;
    big->SetSize(80);
    EXPECT_FALSE(small->InCollisionWith(big));
    EXPECT_EQ(GetImageWidth(256), 1);
    EXPECT_EQ(GetImageWidth(CImagePool::kSlots - 1), 1);
}

TEST_F(SpriteList, NewStageIsPendingWholeAndUpdateEmptiesTheTable)
{
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(0, 0, 480, 360)});
    View view(HIViewCreateOffscreen(960, 720));
    list->SetFactor(2);
    list->Update(view.get());
    EXPECT_EQ(Invalidated(view.get()), std::vector<Rect>{R(0, 0, 960, 720)});
    EXPECT_EQ(list->mRectCount, 0);
    HIViewClearInvalidRects(view.get());
    list->Update(view.get());
    EXPECT_EQ(HIViewCountInvalidRects(view.get()), 0);

    // Factor 1 again; empty slots (freed by a merge, or clipped away) are
    // skipped. (How marks merge, clip and fill slots follows the plain table
    // of the move paths.)
    list->SetFactor(1);
    for (Rect r : {R(0, 0, 10, 10), R(20, 0, 30, 10), R(5, 0, 25, 10), R(500, 500, 600, 600),
                   R(-5, 350, 20, 400), R(700, 0, 800, 10)})
        list->UpdateAll(&r);
    ASSERT_EQ(Pending(*list),
              (std::vector<Rect>{R(0, 0, 30, 10), R(0, 350, 20, 360), R(0, 0, 0, 0)}));
    list->Update(view.get());
    EXPECT_EQ(Invalidated(view.get()), (std::vector<Rect>{R(0, 0, 30, 10), R(0, 350, 20, 360)}));
}

// With all 140 slots holding rectangles, a mark that meets none of them is
// merged into the slot it grows least, the first of equal growths. (Random
// marks filling and overflowing the table follow the plain table of the move
// paths.)
TEST_F(SpriteList, FullTableMergesIntoTheNearestSlot)
{
    for (const Rect& extra : {R(10, 0, 12, 2), R(450, 300, 460, 310)}) {
        list->InitRedisplayRects();
        std::vector<Rect> expected;
        for (int j = 0; j < 7; j++)
            for (int i = 0; i < 20; i++) {
                expected.push_back(R(20 * i, 20 * j, 20 * i + 2, 20 * j + 2));
                list->UpdateAll(&expected.back());
            }
        Rect r = extra;
        list->UpdateAll(&r);
        if (extra.left == 10)
            expected[0] = R(0, 0, 12, 2);
        else
            expected[139] = R(380, 120, 460, 310);
        EXPECT_EQ(Pending(*list), expected);
    }
}

// View rectangles are the stage's times the factor, kept in 16 bits.
TEST_F(SpriteList, FactorInSixteenBits)
{
    Rect big = R(0, 0, 20000, 100);
    CSpriteList wide(nullptr, nullptr, nullptr, &big);
    wide.InitRedisplayRects();
    Rect r = R(10000, 0, 12000, 10);
    wide.UpdateAll(&r);
    wide.SetFactor(4);
    Rect f = r;
    wide.FactorRect(f);
    EXPECT_EQ(f, R(-25536, 0, -17536, 40)); // 40000 and 48000 wrapped
    View view(HIViewCreateOffscreen(10, 10));
    wide.Update(view.get());
    HIRect got;
    ASSERT_TRUE(HIViewGetInvalidRect(view.get(), 0, &got));
    EXPECT_EQ(got.origin.x, -25536);
    EXPECT_EQ(got.size.width, 8000);
    EXPECT_EQ(got.size.height, 40);
}

// (The order of the iteration follows the plain sequence of the sequence
// paths.)
TEST_F(SpriteList, FindIterationEndsAndHasOneCursor)
{
    EXPECT_EQ(list->FindSprite(), 0);
    EXPECT_EQ(list->FindNextSprite(), 0);
    for (int32_t ref : {7, 8, 9})
        new CSprite(list.get(), ref);
    EXPECT_EQ(list->FindSprite(), 9);
    for (int32_t ref : {8, 7, 0, 0})
        EXPECT_EQ(list->FindNextSprite(), ref);

    // One cursor for the library: another stage's FindSprite restarts it.
    Rect bounds = R(0, 0, 10, 10);
    CSpriteList other(nullptr, nullptr, nullptr, &bounds);
    new CSprite(&other, 42);
    EXPECT_EQ(other.FindSprite(), 42);
    EXPECT_EQ(list->FindNextSprite(), 0); // the cursor is at other's start
    // A cursor from a longer sequence reads nothing outside a shorter one.
    EXPECT_EQ(list->FindSprite(), 9);
    EXPECT_EQ(other.FindNextSprite(), 42);
}

TEST_F(SpriteList, PixelThroughBackgroundAndBackdrop)
{
    for (int h : {3, 5, 6})
        Pixel(backdrop.get(), h, 4) = Word(10, 20, 30, 255);
    Pixel(background.get(), 3, 4) = kWhite;
    Pixel(background.get(), 5, 4) = Word(255, 255, 255, 0); // transparent white counts as white
    Pixel(background.get(), 6, 4) = Word(255, 255, 254, 255);
    // The sprite surface plays no part.
    Pixel(sprites.get(), 3, 4) = kRed;
    EXPECT_EQ(Channels(list->GetPixel(3, 4)), (std::vector<int>{0x0A0A, 0x1414, 0x1E1E}));
    EXPECT_EQ(Channels(list->GetPixel(5, 4)), (std::vector<int>{0x0A0A, 0x1414, 0x1E1E}));
    EXPECT_EQ(Channels(list->GetPixel(6, 4)), (std::vector<int>{0xFFFF, 0xFFFF, 0xFEFE}));
    // A background pixel of any other colour stands, black included.
    EXPECT_EQ(Channels(list->GetPixel(7, 4)), (std::vector<int>{0, 0, 0}));
}

} // namespace
