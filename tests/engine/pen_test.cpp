// Pen trails: the side and clip arithmetic, the pieces of wrapped lines (as
// background pixels and as marked rectangles), dots, the double stroke, the
// eraser, and where moves start their lines.
#include <random>

#include "platform/coregraphics.h"
#include "tests/engine/stage_fixture.h"

namespace {

constexpr uint32_t kMarker = 0xFFFEFFFF;
constexpr uint32_t kErased = 0xFFFFFF00;

class Pen : public Stage
{
  protected:
    // A paint line in opaque red, the pending table emptied first.
    void Line(double x1, double y1, double x2, double y2, int penSize, int antialias,
              short opacity = 255, int penMode = 1)
    {
        list->InitRedisplayRects();
        RGBColor red = {0xFFFF, 0, 0};
        list->DrawLine(x1, y1, x2, y2, penMode, penSize, &red, opacity, 0, nullptr, antialias);
    }

    // The pixels of the background holding `word`, as (h, v) pairs.
    std::vector<std::pair<int, int>> Where(uint32_t word)
    {
        std::vector<std::pair<int, int>> found;
        for (int v = 0; v < kHeight; v++)
            for (int h = 0; h < kWidth; h++)
                if (Pixel(background.get(), h, v) == word)
                    found.push_back({h, v});
        return found;
    }

    // Is (h, v) in a pending rectangle, or within `slack` pixels of one?
    bool InPending(int h, int v, int slack = 0)
    {
        Point pt;
        pt.h = static_cast<int16_t>(h);
        pt.v = static_cast<int16_t>(v);
        for (Rect r : Pending(*list)) {
            if (EmptyRect(&r))
                continue;
            InsetRect(&r, static_cast<int16_t>(-slack), static_cast<int16_t>(-slack));
            if (PtInRect(pt, &r))
                return true;
        }
        return false;
    }
};

TEST(ClipArithmetic, SideOfExitAndClippedPoint)
{
    CRect stage(short{0}, short{0}, short{40}, short{30});
    // Out through the right edge only.
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, 50, 10), 4);
    // Both end coordinates outside, but the line leaves through the bottom
    // (at x = 34) before it reaches the right edge.
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 20, 15, 50, 45), 8);
    // Exactly through the corner pixel (39, 29).
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 19, 14, 59, 44), 12);
    // Left, then top: the clipped end lands on the top edge.
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, -10, -30), 2);
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, 20, 20), 0);
    // The last pixel column and row are inside.
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, 39, 29), 0);
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, 40, 29), 4);
    // Products beyond 32 bits wrap instead of trapping.
    EXPECT_NO_FATAL_FAILURE(CSpriteList::GetClipSide(stage, -2000000000, 5, 2000000000, 7));

    double ax = 10, ay = 10, bx = -10, by = -30;
    EXPECT_EQ(CSpriteList::ClipLine(stage, ax, ay, bx, by), 1);
    EXPECT_DOUBLE_EQ(bx, 5.0);
    EXPECT_DOUBLE_EQ(by, 0.0);
    EXPECT_EQ(ax, 10.0);
    EXPECT_EQ(ay, 10.0);
    // The clip rectangle's own right edge, not right - 1.
    bx = 50;
    by = 10;
    EXPECT_EQ(CSpriteList::ClipLine(stage, ax, ay, bx, by), 2);
    EXPECT_DOUBLE_EQ(bx, 40.0);
    EXPECT_DOUBLE_EQ(by, 10.0);
    bx = 20;
    by = 20;
    EXPECT_EQ(CSpriteList::ClipLine(stage, ax, ay, bx, by), -1);
}

TEST_F(Pen, LineAcrossOneEdgeIsDrawnInTwoPieces)
{
    Line(30, 10, 50, 10, 1, 0);
    // Up to the right margin, then shifted left by the stage width from the
    // left margin to x = 10.
    for (int h = 0; h < kWidth; h++)
        EXPECT_EQ(Pixel(background.get(), h, 10), (h <= 10 || h >= 30) ? kRed : kClear) << h;
    EXPECT_EQ(Where(kRed).size(), 11u + 10u);
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(29, 9, 40, 11), R(0, 9, 11, 11)}));
}

TEST_F(Pen, LineAcrossTwoEdgesIsDrawnInThreePieces)
{
    Line(30, 10, 50, 40, 1, 0);
    // Right edge at y 26.5, then the bottom edge, then in at the top.
    EXPECT_EQ(Pending(*list),
              (std::vector<Rect>{R(29, 9, 40, 27), R(0, 22, 5, 30), R(1, 0, 11, 11)}));
    EXPECT_EQ(Pixel(background.get(), 30, 10), kRed);
    EXPECT_EQ(Pixel(background.get(), 10, 10), kRed);
    bool bottomRow = false, topRow = false, rightColumn = false;
    for (int h = 0; h <= 4; h++)
        bottomRow = bottomRow || Pixel(background.get(), h, 29) == kRed;
    for (int h = 2; h <= 4; h++)
        topRow = topRow || Pixel(background.get(), h, 0) == kRed;
    for (int v = 20; v <= 26; v++)
        rightColumn = rightColumn || Pixel(background.get(), 39, v) == kRed;
    EXPECT_TRUE(bottomRow && topRow && rightColumn);
    // Every drawn pixel lies in a marked piece, and nothing else changed.
    const auto red = Where(kRed);
    EXPECT_GT(red.size(), 30u);
    for (const auto& p : red)
        EXPECT_TRUE(InPending(p.first, p.second)) << p.first << "," << p.second;
    EXPECT_EQ(red.size() + Where(kClear).size(), size_t{kWidth} * kHeight);
}

TEST_F(Pen, LineEndingInTheMarginShowsOnBothSides)
{
    Line(30, 10, 41, 10, 3, 0);
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(27, 7, 40, 13), R(0, 7, 4, 13)}));
    for (int v = 9; v <= 11; v++) {
        EXPECT_EQ(Pixel(background.get(), 39, v), kRed) << v;
        EXPECT_EQ(Pixel(background.get(), 0, v), kRed) << v;
    }
    EXPECT_EQ(Pixel(background.get(), 2, 10), kRed); // the round end
    EXPECT_EQ(Pixel(background.get(), 20, 10), kClear);
    EXPECT_EQ(Pixel(background.get(), 5, 10), kClear);
    EXPECT_EQ(Pixel(background.get(), 39, 13), kClear);
}

TEST_F(Pen, ZeroLengthMovesMarkADot)
{
    Line(10, 10, 10, 10, 1, 0);
    EXPECT_EQ(Where(kRed), (std::vector<std::pair<int, int>>{{10, 10}}));
    EXPECT_EQ(Where(kClear).size(), size_t{kWidth} * kHeight - 1);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(9, 9, 11, 11)});

    // Antialiased, the dot is a touch of red (its square cap, turned along
    // the lengthened segment, leans at most a pixel past its mark).
    Line(20, 20, 20, 20, 1, 1);
    const uint32_t dot = Pixel(background.get(), 20, 20);
    EXPECT_NE(dot & 0xFF, 0u);
    EXPECT_GE((dot >> 8) & 0xFF, 0xF0u); // red, give or take the rounding of a faint pixel
    EXPECT_EQ(dot >> 16, 0u);
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            if (Pixel(background.get(), h, v) != kClear && !(h == 10 && v == 10)) {
                EXPECT_TRUE(h >= 19 && h <= 21 && v >= 19 && v <= 21) << h << "," << v;
            }
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(19, 19, 21, 21)});

    // Pen up: nothing drawn, nothing marked.
    Line(5, 5, 30, 25, 3, 0, 255, 0);
    EXPECT_EQ(Where(kRed).size(), 1u);
    EXPECT_TRUE(Pending(*list).empty());
}

// The same segment through the drawing context by hand, `times` times.
void StrokeByHand(GWorldPtr world, int height, double x1, double y1, double x2, double y2,
                  float alpha, int times)
{
    CGContextRef c = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &c), noErr);
    CGContextSetShouldAntialias(c, true);
    CGContextTranslateCTM(c, 0, height);
    CGContextScaleCTM(c, 1, -1);
    CGContextSetRGBStrokeColor(c, 1, 0, 0, alpha);
    CGContextSetLineWidth(c, 1);
    CGContextSetLineCap(c, kCGLineCapSquare);
    for (int i = 0; i < times; i++) {
        CGContextBeginPath(c);
        CGContextMoveToPoint(c, x1 + 0.5, y1 + 0.5);
        CGContextAddLineToPoint(c, x2 + 0.5, y2 + 0.5);
        CGContextStrokePath(c);
    }
    QDEndCGContext(world, &c);
}

TEST_F(Pen, OpaqueHairlinesAreStrokedTwice)
{
    World reference = MakeWorld(kWidth, kHeight);
    // A line between pixel rows, so that its edges are partly covered.
    Line(5, 9.75, 30, 9.75, 1, 2, 255);
    StrokeByHand(reference.get(), kHeight, 5, 9.75, 30, 9.75, 1.0f, 2);
    const uint32_t twice = Pixel(background.get(), 15, 10);
    EXPECT_GT(twice & 0xFF, 0u);
    EXPECT_LT(twice & 0xFF, 255u);
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            ASSERT_EQ(Pixel(background.get(), h, v), Pixel(reference.get(), h, v)) << h << "," << v;

    // At opacity 254 once only: fainter than the double stroke.
    MakeStage(kWidth, kHeight);
    reference = MakeWorld(kWidth, kHeight);
    Line(5, 9.75, 30, 9.75, 1, 2, 254);
    StrokeByHand(reference.get(), kHeight, 5, 9.75, 30, 9.75, 254 / 255.0f, 1);
    EXPECT_LT(Pixel(background.get(), 15, 10) & 0xFF, twice & 0xFF);
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            ASSERT_EQ(Pixel(background.get(), h, v), Pixel(reference.get(), h, v)) << h << "," << v;
}

TEST_F(Pen, EraseLeavesOnlyExactMarkerPixelsTransparent)
{
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            Pixel(background.get(), h, v) = kGreen;
    Pixel(background.get(), 20, 8) = kMarker;  // in the eraser's mark, off its stroke
    Pixel(background.get(), 20, 20) = kMarker; // outside the mark
    Line(5, 10, 30, 10, 1, 0, 100, 2);
    // Stroked one pixel wide, marked with a margin of 2.
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(3, 8, 32, 12)});
    for (int h = 0; h < kWidth; h++)
        EXPECT_EQ(Pixel(background.get(), h, 10), (h >= 5 && h <= 30) ? kErased : kGreen) << h;
    EXPECT_EQ(Pixel(background.get(), 20, 8), kErased);
    EXPECT_EQ(Pixel(background.get(), 20, 9), kGreen);
    EXPECT_EQ(Pixel(background.get(), 20, 11), kGreen);
    EXPECT_EQ(Pixel(background.get(), 20, 20), kMarker);

    // Antialiased and wide: the blended edge keeps its colour, only the
    // fully covered middle goes.
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            Pixel(background.get(), h, v) = kGreen;
    Line(5, 15.25, 30, 15.6, 4, 2, 255, 2);
    size_t erased = 0, blended = 0;
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++) {
            const uint32_t p = Pixel(background.get(), h, v);
            EXPECT_NE(p, kMarker);
            if (p == kErased)
                erased++;
            else if (p != kGreen) {
                blended++;
                EXPECT_EQ(p & 0xFF, 255u) << h << "," << v; // a blend over opaque green
            }
        }
    EXPECT_GT(erased, 50u);
    EXPECT_GT(blended, 20u);
}

TEST_F(Pen, MovesStartFromTheRoundedOrTheExactPosition)
{
    auto* sprite = new CSprite(list.get(), 1);
    sprite->mPenMode = 1;
    sprite->mX = 10.6;
    sprite->mY = 10.6;
    list->InitRedisplayRects();
    sprite->SetPos(20, 10.6);
    // From (11, 11): the mark of the line starts at x 10.
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(10, 9, 21, 12)});

    sprite->mX = 10.6;
    list->InitRedisplayRects();
    sprite->SetPosPaint(20, 10.6, 0, nullptr, 0);
    EXPECT_EQ(Pending(*list), std::vector<Rect>{R(9, 9, 21, 11)});

    // Move adds to the position; the sprite wraps while its line runs on
    // past the edge and comes back in from the left.
    MakeStage(kWidth, kHeight);
    sprite = new CSprite(list.get(), 1);
    sprite->mPenMode = 1;
    sprite->mX = 30;
    sprite->mY = 10;
    sprite->Move(15, 0);
    EXPECT_EQ(sprite->mX, 5.0);
    EXPECT_EQ(sprite->mY, 10.0);
    for (int h = 0; h < kWidth; h++)
        EXPECT_EQ(Pixel(background.get(), h, 10), (h <= 5 || h >= 30) ? kBlack : kClear) << h;
}

TEST_F(Pen, PenUpMovesMarkTheSpriteOnly)
{
    RegisterSolid(300, 4, 4, kBlue);
    CSprite* sprite = Show(1, 300, 10, 10);
    list->InitRedisplayRects();
    sprite->SetPos(20, 12);
    EXPECT_EQ(Pending(*list), (std::vector<Rect>{R(8, 8, 12, 12), R(18, 10, 22, 14)}));
    EXPECT_EQ(Where(kClear).size(), size_t{kWidth} * kHeight);
}

// Lines whose coordinates are not numbers, pens of no width, long lines and
// a stage without area all end.
TEST_F(Pen, LoopEndsInTheCasesWrappingCannotEnd)
{
    Line(NAN, 5, 10, 10, 1, 0);
    Line(5, 5, INFINITY, 10, 1, 0);
    EXPECT_TRUE(Pending(*list).empty());
    EXPECT_EQ(Where(kClear).size(), size_t{kWidth} * kHeight);
    for (int size : {0, -1, -5})
        for (int aa : {0, 1, 2}) {
            Line(10, 10, -0.3, -0.2, size, aa);
            Line(10, 10, 45, 35, size, aa);
        }
    // Thousands of pieces, each shifted by a stage size.
    Line(5, 5, 100005, 40005, 2, 0);
    EXPECT_GT(Where(kRed).size(), 400u);

    Rect none = R(0, 0, 0, 0);
    list->ReInit(backdrop.get(), background.get(), sprites.get(), &none);
    Line(5, 5, 60, 70, 1, 0);
    Line(5, 5, -60, -70, 3, 1, 255, 2);
}

// A seeded run of moves with the pen up, painting and erasing, and stamps,
// on whole-pixel positions: every background piece of every line is marked.
// A piece clipped at a margin can end at a fraction of a pixel: its stroke
// starts from the rounded point while its mark reaches the truncated one, so
// a changed pixel may lie one pixel beyond the marks, never further.
TEST_F(Pen, EveryChangedPixelIsMarked)
{
    MakeStage(64, 48);
    RegisterSolid(300, 5, 3, kBlue);
    CSprite* sprite = Show(1, 300, 20, 20);
    std::mt19937 random(7);
    auto pick = [&random](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    std::vector<uint32_t> before(64 * 48);
    for (int step = 0; step < 400; step++) {
        for (int v = 0; v < 48; v++)
            for (int h = 0; h < 64; h++)
                before[static_cast<size_t>(v * 64 + h)] = Pixel(background.get(), h, v);
        list->InitRedisplayRects();
        sprite->mPenMode = static_cast<short>(pick(0, 5) == 0 ? 2 : 1);
        const int antialias = pick(0, 1);
        // An antialiased one-pixel pen's square cap can lean a pixel past
        // its mark; the other pens keep within it.
        sprite->mPenSize = static_cast<short>(antialias ? pick(2, 4) : pick(1, 4));
        RGBColor colour = {static_cast<uint16_t>(pick(0, 0xFFFF)), 0x4000, 0x8000};
        sprite->SetPenColor(&colour);
        const int what = pick(0, 9);
        if (what == 0) {
            sprite->Stamp();
        } else if (what < 4) {
            const int dx = pick(-90, 90);
            const int dy = pick(-70, 70);
            sprite->Move(dx, dy);
        } else {
            const int x = pick(-100, 160);
            const int y = pick(-100, 140);
            sprite->SetPosPaint(x, y, 0, nullptr, antialias);
        }
        for (int v = 0; v < 48; v++)
            for (int h = 0; h < 64; h++) {
                if (Pixel(background.get(), h, v) != before[static_cast<size_t>(v * 64 + h)]) {
                    ASSERT_TRUE(InPending(h, v, 1))
                        << "step " << step << " pixel " << h << "," << v;
                }
            }
    }
}

} // namespace
