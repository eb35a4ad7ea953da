#include "tests/engine/stage_fixture.h"

namespace {

class HitTest : public Stage
{
  protected:
    void SetUp() override
    {
        ClearAllImages();
        MakeStage(200, 200);
    }

    // A 10 x 10 picture whose only opaque pixels are those listed.
    void Dots(int32_t number, std::initializer_list<std::pair<int, int>> dots, uint32_t alpha = 255)
    {
        std::vector<uint32_t> pixels(100, kClear);
        for (const auto& d : dots)
            pixels[static_cast<size_t>(d.second * 10 + d.first)] = Word(10, 20, 30, alpha);
        Register(number, pixels, 10);
    }
};

TEST_F(HitTest, ClickedNearAnOpaquePixel)
{
    Dots(300, {{5, 5}});
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
    Dots(300, {{9, 5}});
    Dots(301, {{0, 5}});
    CSprite* a = Show(1, 300, 15, 15); // (10, 10, 20, 20): dot at (19, 15)
    CSprite* b = Show(2, 301, 24, 15); // (19, 10, 29, 20): dot at (19, 15)
    EXPECT_TRUE(a->InCollisionWith(b));
    EXPECT_TRUE(b->InCollisionWith(a));
    EXPECT_TRUE(a->InCollisionWith(a));

    // Rectangles that only touch never collide.
    b->mX = 25;
    b->SetSize(40); // (20, 10, 30, 20)
    EXPECT_FALSE(a->InCollisionWith(b));
    EXPECT_FALSE(b->InCollisionWith(a));

    // Overlapping rectangles whose solid pixels miss each other.
    b->mX = 23;
    b->SetSize(40); // dot at (18, 15)
    EXPECT_FALSE(a->InCollisionWith(b));

    // The other sprite is taken at its fresh rectangle, this one at its
    // stored one.
    b->mX = 24;
    EXPECT_TRUE(a->InCollisionWith(b));
    EXPECT_FALSE(b->InCollisionWith(a));

    // Hidden or empty sprites collide with nothing.
    b->SetSize(40);
    b->SetVisible(false);
    EXPECT_FALSE(a->InCollisionWith(b));
    EXPECT_FALSE(b->InCollisionWith(a));
    b->SetVisible(true);
    b->SetImage(16000, 0);
    EXPECT_FALSE(a->InCollisionWith(b));
    b->SetImage(301, 0);

    // A faint pixel is solid; an opacity of 0 leaves nothing solid.
    b->SetOpacity(1);
    EXPECT_TRUE(a->InCollisionWith(b));
    b->SetOpacity(0);
    EXPECT_FALSE(a->InCollisionWith(b));

    // Sprites at different heights: each picture read from its own top row.
    Dots(302, {{5, 9}});
    Dots(303, {{5, 0}});
    CSprite* c = Show(3, 302, 15, 15); // (10, 10, 20, 20): dot at (15, 19)
    CSprite* d = Show(4, 303, 15, 24); // (10, 19, 20, 29): dot at (15, 19)
    EXPECT_TRUE(c->InCollisionWith(d));
    EXPECT_TRUE(d->InCollisionWith(c));
}

// Two sprites showing the same picture at sizes 40 and 80 are compared
// through a temporary copy of the picture in a free pool slot, which is
// empty again afterwards.
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
    EXPECT_FALSE(small->InCollisionWith(big));
    big->mX = 65;
    big->SetSize(80); // (55, 40, 75, 60): touches only
    EXPECT_FALSE(small->InCollisionWith(big));
    big->mX = 64;
    big->SetSize(80); // (54, 40, 74, 60): the small disc's last column is empty
    EXPECT_FALSE(small->InCollisionWith(big));
    big->mX = 60;
    big->SetSize(80); // (50, 40, 70, 60)
    EXPECT_TRUE(small->InCollisionWith(big));
    EXPECT_TRUE(big->InCollisionWith(small));
    EXPECT_EQ(GetFreeImageNumber(), 256);
    EXPECT_EQ(gImagePool.mImages[256], nullptr);
    // The pool's own picture keeps its cached copy for the sprite that shows it.
    EXPECT_NE(gImagePool.mImages[40]->derived, nullptr);

    // (Both scaled, and other opacities, are among the seeded scenes of
    // the collision paths, which follow the pool's copies too.)

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

} // namespace
