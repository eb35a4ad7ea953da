// Pen trails: the side and clip arithmetic, the pieces of wrapped lines (as
// background pixels and as marked rectangles), dots, the double stroke, the
// eraser, and where moves start their lines.
#include <cmath>
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
    // The first and last pixel columns and rows are inside.
    EXPECT_EQ(CSpriteList::GetClipSide(stage, 10, 10, 0, 0), 0);
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
    // Ends less than a pixel past the top and the right edge are clipped too.
    struct Clip
    {
        double bx, by;
        int side;
        double x, y;
    };
    for (const Clip& c :
         {Clip{20, -0.5, 1, 10 + 100 / 10.5, 0}, Clip{40.5, 20, 2, 40, 10 + 300 / 30.5}}) {
        bx = c.bx;
        by = c.by;
        EXPECT_EQ(CSpriteList::ClipLine(stage, ax, ay, bx, by), c.side);
        EXPECT_NEAR(bx, c.x, 1e-9);
        EXPECT_NEAR(by, c.y, 1e-9);
    }
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

    // A round pen's dot is lengthened by 0.001 only: a disc centred on its
    // point, the four pixels around it covered alike.
    MakeStage(kWidth, kHeight);
    Line(10, 10, 10, 10, 2, 1);
    const uint32_t disc = Pixel(background.get(), 10, 10);
    EXPECT_NE(disc, kClear);
    for (int v = 0; v < kHeight; v++)
        for (int h = 0; h < kWidth; h++)
            EXPECT_EQ(Pixel(background.get(), h, v),
                      (h == 9 || h == 10) && (v == 9 || v == 10) ? disc : kClear)
                << h << "," << v;

    // Pen up: nothing drawn, nothing marked.
    Line(5, 5, 30, 25, 3, 0, 255, 0);
    EXPECT_EQ(Where(kRed).size(), 0u);
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

// The line of DrawLine as the plain loop draws it: every pass in full, no
// piece skipped, no limit. The reference for long lines.
void PlainLine(CSpriteList& list, double x1, double y1, double x2, double y2, int penMode,
               int penSize, RGBColor colour, short opacity, int antialias)
{
    const bool erase = penMode == 2;
    const double o = (antialias == 2 || penSize % 2 != 0) ? 0.5 : 0.0;
    if (erase) {
        colour = {0xFFFF, 0xFF77, 0xFFFF};
        opacity = 255;
    }
    CGContextRef c = nullptr;
    ASSERT_EQ(QDBeginCGContext(list.mBackgroundWorld, &c), noErr);
    CGContextSetShouldAntialias(c, antialias != 0);
    CGContextTranslateCTM(c, 0, list.mBounds.Height());
    CGContextScaleCTM(c, 1, -1);
    CGContextSetRGBStrokeColor(c, colour.red / 65535.0f, colour.green / 65535.0f,
                               colour.blue / 65535.0f, opacity / 255.0f);
    CGContextSetLineWidth(c, antialias ? float(penSize) : float(penSize) - 0.99f);
    CGContextSetLineCap(c, penSize <= 1 ? kCGLineCapSquare : kCGLineCapRound);
    CGContextBeginPath(c);
    const double dot = !antialias ? 0.1 : penSize <= 1 ? 1.0 / 128 : 0.001;
    if (erase && penSize < 2)
        penSize = 2;
    const bool twice = penSize == 1 && opacity == 255 && antialias != 0;
    CRect k = list.mBounds;
    k.InflateRect(short(penSize), short(penSize));
    double ax = x1, ay = y1, bx = x2, by = y2;
    for (int pass = 0;; pass++) {
        ASSERT_LT(pass, 100000) << "the plain loop did not end";
        double sx = ax, sy = ay, ex = bx, ey = by;
        const int side = CSpriteList::GetClipSide(list.mBounds, SprRound(&sx), SprRound(&sy),
                                                  SprRound(&ex), SprRound(&ey));
        CSpriteList::ClipLine(k, ax, ay, ex, ey);
        CSpriteList::ClipLine(k, bx, by, sx, sy);
        double px = sx, py = sy, qx = ex, qy = ey;
        if (antialias != 2) {
            px = SprRound(&sx), py = SprRound(&sy), qx = SprRound(&ex), qy = SprRound(&ey);
        }
        if (std::fabs(px - qx) < 0.001 && std::fabs(py - qy) < 0.001)
            qx = px + dot, qy = py + dot;
        for (int times = twice ? 2 : 1; times > 0; times--) {
            CGContextMoveToPoint(c, float(px + o), float(py + o));
            CGContextAddLineToPoint(c, float(qx + o), float(qy + o));
            if (twice && times == 2)
                CGContextStrokePath(c);
        }
        CRect d(std::fmin(sx, ex) - penSize, std::fmin(sy, ey) - penSize,
                std::fmax(sx, ex) + penSize, std::fmax(sy, ey) + penSize);
        list.AddDisplayRect(d);
        if (erase) {
            SectRect(&d, &list.mBounds, &d);
            CGContextStrokePath(c);
            for (int v = d.top; v < d.bottom; v++)
                for (int h = d.left; h < d.right; h++)
                    if (Pixel(list.mBackgroundWorld, h, v) == kMarker)
                        Pixel(list.mBackgroundWorld, h, v) = kErased;
        }
        const double w = list.mBounds.Width(), h = list.mBounds.Height();
        if (side & 1)
            ax += w, bx += w;
        if (side & 2)
            ay += h, by += h;
        if (side & 4)
            ax -= w, bx -= w;
        if (side & 8)
            ay -= h, by -= h;
        if (ex == bx && ey == by)
            break;
    }
    if (!erase)
        CGContextStrokePath(c);
    QDEndCGContext(list.mBackgroundWorld, &c);
}

struct PenCase
{
    int mode, size, antialias;
    short opacity;
};

// Each way of drawing: one stroke at the end (opaque or not, each
// antialiasing mode), a stroke per piece (opaque one-pixel antialiased pen),
// and erasing.
const PenCase kPenCases[] = {
    {1, 1, 0, 255}, {1, 3, 1, 128}, {1, 2, 2, 200}, {1, 1, 1, 255},
    {1, 1, 2, 255}, {2, 1, 0, 255}, {2, 4, 2, 255}, {2, 3, 1, 90},
};

// A background of colours, with marker pixels here and there for the eraser.
void Scribble(GWorldPtr world, int width, int height)
{
    std::mt19937 random(11);
    for (int v = 0; v < height; v++)
        for (int h = 0; h < width; h++)
            Pixel(world, h, v) = random() % 7 == 0 ? kMarker : Word(random() & 0xFF, 90, 40, 255);
}

// Long lines that go round the stage hundreds of times (and a dot), drawn by
// DrawLine (which skips what provably changes nothing) and by the plain
// loop, give the same pixel words and the same pending rectangles.
TEST_F(Pen, LongLinesAsThePlainLoopDrawsThem)
{
    const double lines[][4] = {
        {5.3, 10.6, 5.3 + 40 * 150 + 7.2, 10.6},         // along a row
        {7.5, 3.2, 7.5, 3.2 - 30 * 150 - 11.7},          // along a column
        {5.3, 10.6, 5.3 + 4321.678, 10.6 + 1234.123},    // across
        {3, 4, 3 + 40 * 200 + 0.5, 4 + 2.25},            // nearly along a row
        {20.25, 15.75, 20.25 - 2345.5, 15.75 + 3456.25}, // the other way
        {12.3, 7.7, 12.3, 7.7},                          // a dot, lengthened both ways
    };
    World reference = MakeWorld(kWidth, kHeight);
    Rect bounds = R(0, 0, kWidth, kHeight);
    CSpriteList plain(reference.get(), reference.get(), reference.get(), &bounds);
    for (const PenCase& pen : kPenCases)
        for (const auto& l : lines) {
            Scribble(background.get(), kWidth, kHeight);
            Scribble(reference.get(), kWidth, kHeight);
            RGBColor colour = {0x2000, 0xC000, 0x8000};
            list->InitRedisplayRects();
            plain.InitRedisplayRects();
            list->DrawLine(l[0], l[1], l[2], l[3], pen.mode, pen.size, &colour, pen.opacity, 0,
                           nullptr, pen.antialias);
            PlainLine(plain, l[0], l[1], l[2], l[3], pen.mode, pen.size, colour, pen.opacity,
                      pen.antialias);
            SCOPED_TRACE(testing::Message()
                         << "mode " << pen.mode << " size " << pen.size << " antialias "
                         << pen.antialias << " line to " << l[2] << ", " << l[3]);
            EXPECT_EQ(Pending(*list), Pending(plain));
            for (int v = 0; v < kHeight; v++)
                for (int h = 0; h < kWidth; h++)
                    ASSERT_EQ(Pixel(background.get(), h, v), Pixel(reference.get(), h, v))
                        << h << "," << v;
        }
}

// A move of 10^12 pixels ends at once. Along a row or a column the loop
// would draw the same piece again and again, to no effect once the pixels
// it blends no longer change: the pixels and marks are those of a line that
// goes round 200 times to the same end. (An antialiased eraser's
// edge pixels never settle: blended toward the marker until they are the
// marker, erased, and blended again. Such a line is cut short, and its
// edges are left as its pieces drawn leave them.)
TEST_F(Pen, HugeMovesEndWithTheLoopsPixels)
{
    World reference = MakeWorld(kWidth, kHeight);
    Rect bounds = R(0, 0, kWidth, kHeight);
    CSpriteList plain(reference.get(), reference.get(), reference.get(), &bounds);
    const double x1 = 10.3, y1 = 12.6;
    for (const PenCase& pen : kPenCases)
        for (int axis = 0; axis < 2 && !(pen.mode == 2 && pen.antialias); axis++) {
            // Right along the row, or up the column; and the same end, 200
            // stage sizes from the start.
            const double x2 = axis ? x1 : x1 + 1e12, y2 = axis ? y1 - 1e12 : y1;
            const double extent = axis ? kHeight : kWidth;
            const double near =
                (axis ? y2 : x2) + (axis ? 1 : -1) * extent * (std::floor(1e12 / extent) - 200);
            Scribble(background.get(), kWidth, kHeight);
            Scribble(reference.get(), kWidth, kHeight);
            RGBColor colour = {0x2000, 0xC000, 0x8000};
            list->InitRedisplayRects();
            plain.InitRedisplayRects();
            list->DrawLine(x1, y1, x2, y2, pen.mode, pen.size, &colour, pen.opacity, 0, nullptr,
                           pen.antialias);
            PlainLine(plain, x1, y1, axis ? x2 : near, axis ? near : y2, pen.mode, pen.size, colour,
                      pen.opacity, pen.antialias);
            SCOPED_TRACE(testing::Message() << "mode " << pen.mode << " size " << pen.size
                                            << " antialias " << pen.antialias << " axis " << axis);
            EXPECT_EQ(Pending(*list), Pending(plain));
            for (int v = 0; v < kHeight; v++)
                for (int h = 0; h < kWidth; h++)
                    ASSERT_EQ(Pixel(background.get(), h, v), Pixel(reference.get(), h, v))
                        << h << "," << v;
        }

    // Across the stage the loop would take billions of passes: the line is
    // cut short, and its last piece ends where the sprite lands.
    MakeStage(kWidth, kHeight);
    auto* sprite = new CSprite(list.get(), 1);
    sprite->mPenMode = 1;
    sprite->mX = 10;
    sprite->mY = 10;
    sprite->SetPos(10 + 1e12, 10 + 3.7e11);
    const int32_t x = SprRound(&sprite->mX), y = SprRound(&sprite->mY);
    EXPECT_TRUE(x >= 0 && x < kWidth && y >= 0 && y < kHeight);
    EXPECT_EQ(Pixel(background.get(), x, y), kBlack);
}

} // namespace
