// Pen trails: the side and clip arithmetic, the pieces of wrapped lines (as
// background pixels and as marked rectangles), dots, the double stroke, the
// eraser, and where moves start their lines.
#include <algorithm>
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

    // Is (h, v) in a pending rectangle?
    bool InPending(int h, int v)
    {
        for (Rect r : Pending(*list))
            if (!EmptyRect(&r) && h >= r.left && h < r.right && v >= r.top && v < r.bottom)
                return true;
        return false;
    }
};

TEST(ClipArithmetic, SideOfExitAndClippedPoint)
{
    CRect stage(short{0}, short{0}, short{40}, short{30});
    // Out through the right edge only; both outside, but out through the
    // bottom (at x = 34) first; exactly through the corner pixel (39, 29).
    // The first and last pixel columns and rows are inside.
    const int sides[][5] = {{10, 10, 50, 10, 4},   {20, 15, 50, 45, 8}, {19, 14, 59, 44, 12},
                            {10, 10, -10, -30, 2}, {10, 10, 20, 20, 0}, {10, 10, 0, 0, 0},
                            {10, 10, 39, 29, 0},   {10, 10, 40, 29, 4}, {10, 10, 39, 30, 8},
                            {10, 10, 39, -1, 2},   {10, 10, -1, 29, 1}};
    for (const auto& c : sides)
        EXPECT_EQ(CSpriteList::GetClipSide(stage, c[0], c[1], c[2], c[3]), c[4])
            << c[2] << "," << c[3];
    // Products beyond 32 bits wrap instead of trapping.
    EXPECT_NO_FATAL_FAILURE(CSpriteList::GetClipSide(stage, -2000000000, 5, 2000000000, 7));

    // Clipped from (10, 10), the result naming the last edge clipped at (0
    // left, 1 top, 2 right, 3 bottom): left then top lands on the top edge;
    // the clip rectangle's own right edge, not right - 1; ends less than a
    // pixel past the top and the right edge are clipped too.
    // {bx, by, result, clipped x, clipped y}
    const double clips[][5] = {{-10, -30, 1, 5, 0},
                               {50, 10, 2, 40, 10},
                               {20, 20, -1, 20, 20},
                               {20, -0.5, 1, 10 + 100 / 10.5, 0},
                               {-20, 25, 0, 0, 15},
                               {40.5, 20, 2, 40, 10 + 300 / 30.5},
                               {20, 40, 3, 10 + 200 / 30.0, 30}};
    for (const auto& c : clips) {
        double ax = 10, ay = 10, bx = c[0], by = c[1];
        EXPECT_EQ(CSpriteList::ClipLine(stage, ax, ay, bx, by), c[2]) << c[0] << "," << c[1];
        EXPECT_NEAR(bx, c[3], 1e-9);
        EXPECT_NEAR(by, c[4], 1e-9);
        EXPECT_EQ(ax + ay, 20.0);
    }
}

// Lines across edges, drawn in pieces: each piece shifted by the stage size
// from the edge it left by, a wide pen's end shown on both sides of an edge.
TEST_F(Pen, LinesAcrossEdgesAreDrawnInPieces)
{
    // A line and its pen; the red pixels' count (0: not counted); rectangles
    // that each hold a red pixel, and rectangles left clear; the marks.
    auto check = [&](std::vector<double> l, int pen, size_t count, std::vector<Rect> on,
                     std::vector<Rect> off, std::vector<Rect> pending) {
        SCOPED_TRACE(testing::Message() << "to " << l[2] << ", " << l[3]);
        MakeStage(kWidth, kHeight);
        Line(l[0], l[1], l[2], l[3], pen, 0);
        EXPECT_EQ(Pending(*list), pending);
        for (int want = 0; want < 2; want++)
            for (const Rect& r : want ? on : off) {
                size_t red = 0;
                for (int v = r.top; v < r.bottom; v++)
                    for (int h = r.left; h < r.right; h++)
                        red += Pixel(background.get(), h, v) == kRed;
                EXPECT_EQ(red > 0, want == 1) << r;
            }
        // Every drawn pixel lies in a marked piece, and nothing else changed.
        const std::vector<uint32_t> pixels = PixelsOf(background.get());
        const size_t red = std::count(pixels.begin(), pixels.end(), kRed);
        EXPECT_EQ(red + std::count(pixels.begin(), pixels.end(), kClear), pixels.size());
        EXPECT_TRUE(count == 0 || red == count) << red;
        for (int v = 0; v < kHeight; v++)
            for (int h = 0; h < kWidth; h++)
                EXPECT_TRUE(Pixel(background.get(), h, v) != kRed || InPending(h, v))
                    << h << "," << v;
    };
    // Up to the right margin, then in from the left margin to x = 10.
    check({30, 10, 50, 10}, 1, 21,
          {R(30, 10, 31, 11), R(39, 10, 40, 11), R(0, 10, 1, 11), R(10, 10, 11, 11)},
          {R(29, 10, 30, 11), R(11, 10, 12, 11)}, {R(29, 9, 40, 11), R(0, 9, 11, 11)});
    // Right edge at y 26.5, then the bottom edge, then in at the top.
    check({30, 10, 50, 40}, 1, 0,
          {R(30, 10, 31, 11), R(10, 10, 11, 11), R(39, 20, 40, 27), R(0, 29, 5, 30), R(2, 0, 5, 1)},
          {R(20, 15, 21, 16)}, {R(29, 9, 40, 27), R(0, 22, 5, 30), R(1, 0, 11, 11)});
    // Ending in the margin: the pen's end shows on both sides.
    check({30, 10, 41, 10}, 3, 0,
          {R(39, 9, 40, 10), R(39, 10, 40, 11), R(39, 11, 40, 12), R(0, 9, 1, 10), R(0, 10, 1, 11),
           R(0, 11, 1, 12), R(2, 10, 3, 11)},
          {R(20, 10, 21, 11), R(5, 10, 6, 11), R(39, 13, 40, 14)},
          {R(27, 7, 40, 13), R(0, 7, 4, 13)});
}

// A move with the pen up draws and marks nothing. (Dots, and erasers of
// every width, are among the long lines compared with the plain loop.)
TEST_F(Pen, PenUpDrawsNothing)
{
    Line(5, 5, 30, 25, 3, 0, 255, 0);
    EXPECT_EQ(Mismatch(background.get(), kClear), "");
    EXPECT_TRUE(Pending(*list).empty());
}

// Lines whose coordinates are not numbers, pens of no width, long lines and
// a stage without area all end.
TEST_F(Pen, LoopEndsInTheCasesWrappingCannotEnd)
{
    Line(NAN, 5, 10, 10, 1, 0);
    Line(5, 5, INFINITY, 10, 1, 0);
    EXPECT_TRUE(Pending(*list).empty());
    EXPECT_EQ(Mismatch(background.get(), kClear), "");
    for (int size : {0, -1, -5})
        for (int aa : {0, 1, 2}) {
            Line(10, 10, -0.3, -0.2, size, aa);
            Line(10, 10, 45, 35, size, aa);
        }
    // Thousands of pieces, each shifted by a stage size.
    Line(5, 5, 100005, 40005, 2, 0);
    const std::vector<uint32_t> pixels = PixelsOf(background.get());
    EXPECT_GT(std::count(pixels.begin(), pixels.end(), kRed), 400);

    Rect none = R(0, 0, 0, 0);
    list->ReInit(backdrop.get(), background.get(), sprites.get(), &none);
    Line(5, 5, 60, 70, 1, 0);
    Line(5, 5, -60, -70, 3, 1, 255, 2);
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
        ax += (side & 1 ? w : 0) - (side & 4 ? w : 0);
        bx += (side & 1 ? w : 0) - (side & 4 ? w : 0);
        ay += (side & 2 ? h : 0) - (side & 8 ? h : 0);
        by += (side & 2 ? h : 0) - (side & 8 ? h : 0);
        if (ex == bx && ey == by)
            break;
    }
    if (!erase)
        CGContextStrokePath(c);
    QDEndCGContext(list.mBackgroundWorld, &c);
}

// A background of colours, with marker pixels here and there for the eraser.
void Scribble(GWorldPtr world)
{
    std::mt19937 random(11);
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(world, h, v) = random() % 7 == 0 ? kMarker : Word(random() & 0xFF, 90, 40, 255);
}

// Long lines that go round the stage hundreds of times (and a dot), drawn by
// DrawLine (which skips what provably changes nothing) and by the plain
// loop, give the same pixel words and the same pending rectangles; so do
// moves of 10^12 pixels along a row or a column, which end at once: the
// loop would draw the same piece again and again, to no effect once the
// pixels it blends no longer change, so their pixels and marks are those of
// a line that goes round 200 times to the same end. (An antialiased
// eraser's edge pixels never settle: blended toward the marker until they
// are the marker, erased, and blended again. Such a line is cut short, and
// its edges are left as its pieces drawn leave them.)
TEST_F(Pen, LongLinesAsThePlainLoopDrawsThem)
{
    const double x0 = 10.3, y0 = 12.6;
    const double alongRow = x0 + 1e12, upColumn = y0 - 1e12;
    const struct
    {
        double x1, y1, x2, y2, plainX2, plainY2;
    } lines[] = {
        {5.3, 10.6, 5.3 + 40 * 150 + 7.2, 10.6, 0, 0},         // along a row
        {7.5, 3.2, 7.5, 3.2 - 30 * 150 - 11.7, 0, 0},          // along a column
        {5.3, 10.6, 5.3 + 4321.678, 10.6 + 1234.123, 0, 0},    // across
        {3, 4, 3 + 40 * 200 + 0.5, 4 + 2.25, 0, 0},            // nearly along a row
        {20.25, 15.75, 20.25 - 2345.5, 15.75 + 3456.25, 0, 0}, // the other way
        {12.3, 7.7, 12.3, 7.7, 0, 0},                          // a dot, lengthened both ways
        {x0, y0, alongRow, y0, alongRow - 40 * (std::floor(1e12 / 40) - 200), y0},
        {x0, y0, x0, upColumn, x0, upColumn + 30 * (std::floor(1e12 / 30) - 200)},
    };
    // Each way of drawing: one stroke at the end (opaque or not, each
    // antialiasing mode, even pens through pixel corners), a stroke per piece
    // (opaque one-pixel antialiased pen; just short of opaque, one at the
    // end), and erasing.
    const struct
    {
        int mode, size, antialias;
        short opacity;
    } pens[] = {
        {1, 1, 0, 255}, {1, 3, 1, 128}, {1, 2, 1, 255}, {1, 2, 2, 200}, {1, 1, 1, 255},
        {1, 1, 1, 254}, {1, 1, 2, 255}, {2, 1, 0, 255}, {2, 4, 2, 255}, {2, 3, 1, 90},
    };
    World reference = MakeWorld(kWidth, kHeight);
    Rect bounds = R(0, 0, kWidth, kHeight);
    CSpriteList plain(reference.get(), reference.get(), reference.get(), &bounds);
    RGBColor colour = {0x2000, 0xC000, 0x8000};
    for (const auto& pen : pens)
        for (const auto& l : lines) {
            const bool huge = l.plainX2 != 0;
            if (huge && pen.mode == 2 && pen.antialias)
                continue;
            SCOPED_TRACE(testing::Message()
                         << "mode " << pen.mode << " size " << pen.size << " antialias "
                         << pen.antialias << " line to " << l.x2 << ", " << l.y2);
            Scribble(background.get());
            Scribble(reference.get());
            list->InitRedisplayRects();
            plain.InitRedisplayRects();
            list->DrawLine(l.x1, l.y1, l.x2, l.y2, pen.mode, pen.size, &colour, pen.opacity, 0,
                           nullptr, pen.antialias);
            PlainLine(plain, l.x1, l.y1, huge ? l.plainX2 : l.x2, huge ? l.plainY2 : l.y2, pen.mode,
                      pen.size, colour, pen.opacity, pen.antialias);
            EXPECT_EQ(Pending(*list), Pending(plain));
            ASSERT_EQ(Mismatch(background.get(), reference.get()), "");
        }
}

// Across the stage the loop would take billions of passes: the line is cut
// short, and its last piece ends where the sprite lands. On a stage 1000
// pixels wide the first pieces of a steep line stay in a band of columns
// well away from where the line ends.
TEST_F(Pen, LinesCutShortEndWhereTheSpriteLands)
{
    auto* sprite = new CSprite(list.get(), 1);
    sprite->mPenMode = 1;
    sprite->mX = 10;
    sprite->mY = 10;
    sprite->SetPos(10 + 1e12, 10 + 3.7e11);
    int32_t x = SprRound(&sprite->mX), y = SprRound(&sprite->mY);
    EXPECT_TRUE(x >= 0 && x < kWidth && y >= 0 && y < kHeight);
    EXPECT_EQ(Pixel(background.get(), x, y), kBlack);

    MakeStage(1000, 30);
    sprite = new CSprite(list.get(), 1);
    sprite->mPenMode = 1;
    sprite->mX = 100;
    sprite->mY = 10;
    sprite->SetPos(100 + 1000 * (1e6 + 500) + 700, 10 + 1e12);
    x = SprRound(&sprite->mX);
    y = SprRound(&sprite->mY);
    ASSERT_EQ(x, 800);
    ASSERT_EQ(y, 20);
    // The last piece comes in at the top and runs down to (800, 20).
    for (int v = 0; v < 30; v++)
        EXPECT_EQ(Pixel(background.get(), 800, v), v <= 20 ? kBlack : kClear) << v;
    for (int h = 620; h < 1000; h++)
        for (int v = 0; v < 30; v++)
            if (h < 799 || h > 801) {
                ASSERT_EQ(Pixel(background.get(), h, v), kClear) << h << "," << v;
            }
}

} // namespace
