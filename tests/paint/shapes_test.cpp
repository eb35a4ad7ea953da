// Shape tools: the mask after each tool, byte for byte, and the stamp counter.
#include "tests/paint/paint_fixture.h"

namespace {

Rect Line(int x0, int y0, int x1, int y1)
{
    Rect r;
    r.left = static_cast<int16_t>(x0);
    r.top = static_cast<int16_t>(y0);
    r.right = static_cast<int16_t>(x1);
    r.bottom = static_cast<int16_t>(y1);
    return r;
}

TEST(PaintLineTo, StampsAtEveryStepPoint)
{
    Painting p(24, 20);
    Rect line = Line(0, 0, 3, 1);
    counter = 100;
    EXPECT_EQ(PaintLineTo(&line, &p.state), 1);
    EXPECT_EQ(counter, 104);
    std::vector<uint8_t> expected = p.Blank();
    for (auto [x, y] : {std::pair{0, 0}, {1, 0}, {2, 1}, {3, 1}})
        p.ExpectStamp(expected, x, y);
    EXPECT_MASK(p, expected);

    // A line of length 0 stamps twice on its start.
    Painting q(24, 20);
    line = Line(10, 10, 10, 10);
    counter = 0;
    PaintLineTo(&line, &q.state);
    EXPECT_EQ(counter, 2);
    expected = q.Blank();
    q.ExpectStamp(expected, 10, 10);
    EXPECT_MASK(q, expected);
}

TEST(PaintLineTo, NegativeStepsTruncateTowardZeroAfterTheHalf)
{
    // dx = -2, dy = -5: x steps -0.4, -0.8, -1.2, -1.6, -2.0 land on
    // 0, 0, 0, -1, -1 and y steps -1 .. -5 on 0, -1, -2, -3, -4, so the line
    // stops short of its end point.
    Painting p(24, 20);
    Rect line = Line(5, 5, 3, 0);
    counter = 0;
    PaintLineTo(&line, &p.state);
    EXPECT_EQ(counter, 6);
    std::vector<uint8_t> expected = p.Blank();
    for (auto [x, y] : {std::pair{5, 5}, {5, 5}, {5, 4}, {5, 3}, {4, 2}, {4, 1}})
        p.ExpectStamp(expected, x, y);
    EXPECT_MASK(p, expected);

    // Stamps only raise coverage: a second line over a full mask changes
    // nothing.
    std::fill(p.mask.begin(), p.mask.end(), 63);
    PaintLineTo(&line, &p.state);
    EXPECT_EQ(std::count(p.mask.begin(), p.mask.end(), 63), static_cast<long>(p.mask.size()));
}

TEST(PaintSpray, DotsPerStepRoundUpAndOffsetsWrap)
{
    // Offsets spread over the box, one with a negative row offset.
    uint16_t offsets[7] = {0x0000, 0x0105, 0x0A02, 0x1F1F, 0xFF07, 0x0310, 0x1203};
    auto dot = [](int x, int y, uint16_t o) {
        return std::pair{x + (o & 0xFF), y + static_cast<int8_t>(o >> 8)};
    };

    // 10 dots over 5 step points: 2 at each, offsets 5, 6, 0, 1, ...
    Painting p(40, 20);
    Rect line = Line(4, 2, 8, 2);
    counter = 9;
    EXPECT_EQ(PaintSpray(&line, offsets, 5, 7, 10, &p.state), 1);
    EXPECT_EQ(counter, 9);
    std::vector<uint8_t> expected = p.Blank();
    int index = 5;
    for (int x = 4; x <= 8; x++)
        for (int d = 0; d < 2; d++, index = (index + 1) % 7) {
            auto [mx, my] = dot(x, 2, offsets[index]);
            expected[my * p.Stride() + mx] = 63;
        }
    EXPECT_MASK(p, expected);
    // The index is not handed back: the same call sets the same bytes.
    PaintSpray(&line, offsets, 5, 7, 10, &p.state);
    EXPECT_MASK(p, expected);

    // 13 dots over 5 steps is 2.6 a step: 3 dots at each, 15 in all.
    Painting q(40, 20);
    PaintSpray(&line, offsets, 0, 7, 13, &q.state);
    expected = q.Blank();
    index = 0;
    for (int x = 4; x <= 8; x++)
        for (int d = 0; d < 3; d++, index = (index + 1) % 7) {
            auto [mx, my] = dot(x, 2, offsets[index]);
            expected[my * q.Stride() + mx] = 63;
        }
    EXPECT_MASK(q, expected);

    // 1 dot over 5 steps is 0.2 a step: still one dot at each step.
    Painting r(40, 20);
    uint16_t single = 0x0000;
    PaintSpray(&line, &single, 0, 1, 1, &r.state);
    expected = r.Blank();
    for (int x = 4; x <= 8; x++)
        expected[2 * r.Stride() + x] = 63;
    EXPECT_MASK(r, expected);

    // No dots for 0 or fewer.
    Painting s(40, 20);
    PaintSpray(&line, offsets, 0, 7, 0, &s.state);
    PaintSpray(&line, offsets, 0, 7, -5, &s.state);
    EXPECT_MASK(s, s.Blank());
}

TEST(PaintSpray, StepsAddJustBelowAHalf)
{
    // (0, 0) to (1, 2): x steps 0, 0.5, 1.0. With 0.499 the middle one stays
    // on 0, where a brush line would round it up to 1.
    uint16_t origin = 0;
    Painting p(20, 20);
    Rect line = Line(0, 0, 1, 2);
    PaintSpray(&line, &origin, 0, 1, 3, &p.state);
    std::vector<uint8_t> expected = p.Blank();
    expected[0 * p.Stride() + 0] = 63;
    expected[1 * p.Stride() + 0] = 63;
    expected[2 * p.Stride() + 1] = 63;
    EXPECT_MASK(p, expected);

    // (5, 0) to (4, 2): x steps -0.5 and -1.0 both truncate to 0.
    Painting q(20, 20);
    line = Line(5, 0, 4, 2);
    PaintSpray(&line, &origin, 0, 1, 3, &q.state);
    expected = q.Blank();
    for (int y = 0; y < 3; y++)
        expected[y * q.Stride() + 5] = 63;
    EXPECT_MASK(q, expected);
}

TEST(PaintRectangle, OutlineCountsStampsAndFillTakesTheCornerValue)
{
    Painting p(40, 30);
    Rect rect = Line(5, 6, 15, 11); // 10 x 5
    counter = 77;
    EXPECT_EQ(PaintRectangle(&rect, &p.state, false), 1);
    EXPECT_EQ(counter, 11 + 6 + 11 + 6);
    std::vector<uint8_t> outline = p.Blank();
    for (int x = 5; x <= 15; x++) {
        p.ExpectStamp(outline, x, 6);
        p.ExpectStamp(outline, x, 11);
    }
    for (int y = 6; y <= 11; y++) {
        p.ExpectStamp(outline, 5, y);
        p.ExpectStamp(outline, 15, y);
    }
    EXPECT_MASK(p, outline);

    // Filled, and given with its corners swapped: the same outline, then
    // rows 6..10 and columns 5..14 take the value at surface pixel (5, 6),
    // lower or higher than what the outline put there.
    Painting q(40, 30);
    rect = Line(15, 11, 5, 6);
    PaintRectangle(&rect, &q.state, true);
    std::vector<uint8_t> filled = outline;
    const uint8_t corner = q.At(filled, 5, 6);
    for (int y = 6; y < 11; y++)
        for (int x = 5; x < 15; x++)
            q.At(filled, x, y) = corner;
    ASSERT_NE(filled, outline);
    EXPECT_MASK(q, filled);
    EXPECT_NE(q.At(filled, 15, 8), corner); // the right column keeps the outline
    EXPECT_EQ(counter, 34);
}

TEST(PaintPaintArc, StampsEachNewOffsetAndItsMirror)
{
    PaintInit();
    // Width 1, height 1: both radii 0, nothing painted.
    Painting p(40, 30);
    Rect rect = Line(10, 10, 11, 11);
    counter = 5;
    EXPECT_EQ(PaintPaintArc(&rect, &p.state, true), 1);
    EXPECT_EQ(counter, 5);
    EXPECT_MASK(p, p.Blank());

    // Width 2, height 0: offsets (0, 0), (1, 0), (0, 0) along the half turn.
    rect = Line(10, 10, 12, 10);
    counter = 0;
    PaintPaintArc(&rect, &p.state, false);
    EXPECT_EQ(counter, 6);
    std::vector<uint8_t> expected = p.Blank();
    for (int x = 10; x <= 12; x++)
        p.ExpectStamp(expected, x, 10);
    EXPECT_MASK(p, expected);
}

// rx = 2, ry = 1 about (12, 9): the half turn passes the offsets
// (0,-1) (1,-1) (2,-1) (2,0) (2,1) (1,1) (0,1).
const std::pair<int, int> kSmallEllipse[] = {{0, -1}, {1, -1}, {2, -1}, {2, 0},
                                             {2, 1},  {1, 1},  {0, 1}};

TEST(PaintPaintArc, SmallEllipseOutlineAndFill)
{
    PaintInit();
    Painting p(40, 30);
    Rect rect = Line(10, 8, 14, 10);
    counter = 0;
    PaintPaintArc(&rect, &p.state, false);
    EXPECT_EQ(counter, 14);
    std::vector<uint8_t> expected = p.Blank();
    for (auto [ox, oy] : kSmallEllipse) {
        p.ExpectStamp(expected, 12 + ox, 9 + oy);
        p.ExpectStamp(expected, 12 - ox, 9 + oy);
    }
    EXPECT_MASK(p, expected);

    // With fill, after each pair the row between the two stamps takes the
    // value at its left end; later stamps raise it again.
    Painting q(40, 30);
    PaintPaintArc(&rect, &q.state, true);
    expected = q.Blank();
    for (auto [ox, oy] : kSmallEllipse) {
        q.ExpectStamp(expected, 12 + ox, 9 + oy);
        q.ExpectStamp(expected, 12 - ox, 9 + oy);
        const uint8_t left = q.At(expected, 12 - ox, 9 + oy);
        for (int x = 12 - ox; x < 12 + ox; x++)
            q.At(expected, x, 9 + oy) = left;
    }
    EXPECT_MASK(q, expected);
}

TEST(PaintPaintArc, LargerEllipseStaysSymmetricAndCountsPairs)
{
    PaintInit();
    Painting p(64, 48);
    Rect rect = Line(8, 6, 48, 36); // rx 20, ry 15 about (28, 21)
    counter = 0;
    PaintPaintArc(&rect, &p.state, false);
    EXPECT_EQ(counter % 2, 0);
    // Every distinct offset along a quarter of the ellipse is at least one
    // new stamp pair, and there are no more pairs than table entries.
    EXPECT_GE(counter, 2 * (20 + 15));
    EXPECT_LE(counter, 2 * 1801);
    // The extreme points are stamped: the brush's (16, 16) byte lies on each.
    for (auto [x, y] : {std::pair{28, 6}, {28, 36}, {8, 21}, {48, 21}}) {
        const uint8_t b = p.brush[16 * 32 + 16];
        EXPECT_GE(p.At(p.mask, x, y), b) << x << "," << y;
    }
}

} // namespace
