#include "tests/engine/stage_fixture.h"

namespace {

class SpriteList : public Stage
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        MakeStage(480, 360);
    }

    void Mark(int left, int top, int right, int bottom)
    {
        Rect r = R(left, top, right, bottom);
        list->UpdateAll(&r);
    }
};

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
    // skipped.
    list->SetFactor(1);
    Mark(0, 0, 10, 10);
    Mark(20, 0, 30, 10);
    Mark(5, 0, 25, 10);       // merges both into slot 0, frees slot 1
    Mark(500, 500, 600, 600); // outside: stored empty, in the free slot 1
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(0, 0, 30, 10), R(0, 0, 0, 0)}));
    Mark(-5, 350, 20, 400); // clipped to (0, 350, 20, 360), into slot 1
    Mark(700, 0, 800, 10);  // outside again: a new slot 2, left empty
    EXPECT_EQ(Pending(*list),
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

TEST_F(SpriteList, SurfacesAndFactorMarkNothing)
{
    list->InitRedisplayRects();
    World other = MakeWorld(10, 10);
    Rect bounds = R(0, 0, 10, 10);
    list->ReInit(other.get(), other.get(), other.get(), &bounds);
    list->BgChanged(background.get());
    list->SetFactor(3);
    EXPECT_EQ(list->mRectCount, 0);
    EXPECT_EQ(list->mBounds, bounds);
    EXPECT_EQ(list->mBackgroundWorld, background.get());
    EXPECT_EQ(list->mSpriteWorld, other.get());
    EXPECT_EQ(list->mFactor, 3u);
}

TEST_F(SpriteList, FindIteratesFromFrontToBack)
{
    EXPECT_EQ(list->FindSprite(), 0);
    EXPECT_EQ(list->FindNextSprite(), 0);
    for (int32_t ref : {7, 8, 9})
        new CSprite(list.get(), ref);
    EXPECT_EQ(list->FindSprite(), 9);
    EXPECT_EQ(list->FindNextSprite(), 8);
    EXPECT_EQ(list->FindNextSprite(), 7);
    EXPECT_EQ(list->FindNextSprite(), 0);
    EXPECT_EQ(list->FindNextSprite(), 0);
    // A new iteration starts again at the front.
    EXPECT_EQ(list->FindSprite(), 9);

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
    Pixel(backdrop.get(), 3, 4) = Word(10, 20, 30, 255);
    Pixel(backdrop.get(), 5, 4) = Word(10, 20, 30, 255);
    Pixel(backdrop.get(), 6, 4) = Word(10, 20, 30, 255);
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

TEST_F(SpriteList, DestroyingTheStageDestroysItsSprites)
{
    RegisterSolid(300, 4, 4, kRed);
    for (int32_t ref : {1, 2, 3})
        Show(ref, 300, 10 * ref, 10);
    EXPECT_EQ(list->mSprites.size(), 3u);
    list.reset(); // the sanitizer build reports a sprite left behind
    // A sprite removed twice, or one that never was there, changes nothing.
    Rect bounds = R(0, 0, 10, 10);
    CSpriteList other(nullptr, nullptr, nullptr, &bounds);
    CSprite* s = new CSprite(&other, 1);
    other.DeleteSprite(s);
    other.DeleteSprite(s);
    EXPECT_TRUE(other.mSprites.empty());
    other.AddSprite(s);
}

} // namespace
