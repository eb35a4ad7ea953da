// The paint tools: the paint state (locking an OurPS, the angle tables,
// GetColorOpacity), then the shape tools: the mask after each tool, byte
// for byte, and the stamp counter.

#include <tuple>

#include "paint/paint_p.h"
#include "tests/paint/paint_fixture.h"

namespace {

TEST(PaintState, InitFillsTablesAndAnswersABCD)
{
    EXPECT_EQ(PaintInit(), 0xABCD);
    EXPECT_EQ(SinTable[0], 0.0);
    EXPECT_EQ(CosTable[0], 1.0);
    // The step sits just below pi / 1800, so the quarter and half turns
    // miss zero by a little.
    EXPECT_EQ(SinTable[900], 1.0);
    EXPECT_NEAR(CosTable[900], 2.97e-13, 0.01e-13);
    EXPECT_EQ(CosTable[1800], -1.0);
    EXPECT_NEAR(SinTable[1800], 5.93e-13, 0.01e-13);
    EXPECT_NEAR(SinTable[300], 0.5, 1e-12);
    EXPECT_LT(SinTable[300], 0.5);
}

// Every field of a locked state, to compare two at once.
auto Fields(const ps& s)
{
    return std::tie(s.width, s.aux, s.srcRowBytes, s.color, s.srcBase, s.dstRowBytes, s.dstBase,
                    s.colorRowBytes, s.colorBase, s.brush, s.mask, s.colorTable);
}

TEST(PaintState, LockerFillsLockedStateAndUnlocksAfter)
{
    Painting p(8, 6);
    World colour = MakeWorld(8, 6);
    p.state.aux = -7;
    p.state.color = 0xDEADBEEF;
    PixMapHandle pms[3] = {GetGWorldPixMap(p.src.get()), GetGWorldPixMap(p.dst.get()),
                           GetGWorldPixMap(colour.get())};
    auto locks = [&pms] {
        std::vector<bool> out;
        for (PixMapHandle pm : pms)
            out.push_back(GetPixelsState(pm) & pixelsLocked);
        return out;
    };
    // The pixel map keeps its flag bit; the locked state drops it.
    ASSERT_NE((*pms[0])->rowBytes & 0x8000, 0);
    const Ptr src = GetPixBaseAddr(pms[0]), dst = GetPixBaseAddr(pms[1]);
    ps expected = {8,   -7, 32,      0xDEADBEEF,     src,           32,
                   dst, 0,  nullptr, p.brush.data(), p.mask.data(), p.table};
    for (bool withColour : {false, true}) {
        if (withColour) {
            p.state.colorWorld = colour.get();
            expected.colorRowBytes = 32;
            expected.colorBase = GetPixBaseAddr(pms[2]);
            LockPixels(pms[0]); // a surface the host had locked stays locked
        }
        {
            ps locked;
            CPSLocker locker(&p.state, &locked);
            EXPECT_TRUE(Fields(locked) == Fields(expected)) << withColour;
            EXPECT_EQ(locks(), (std::vector<bool>{true, true, withColour}));
        }
        EXPECT_EQ(locks(), (std::vector<bool>{withColour, false, false}));
    }
    UnlockPixels(pms[0]);
}

TEST(PaintState, ColorOpacityTruncatesEachShareApart)
{
    // Two shares truncated apart: 20 * 15 / 31 = 9 and 10 * 16 / 31 = 5.
    const std::vector<int> cases[] = {
        {0, 0, 0, 31, 31, 31, 15, 15, 15, 15},
        {0xFFFF, 0xFFFF, 0xFFFF, 0, 0, 0, 15, 33824, 33824, 33824},
        {10, 20, 30, 20, 10, 0, 15, 5 + 9, 10 + 4, 15},
        {1, 2, 3, 40000, 50000, 60000, 31, 40000, 50000, 60000},
        {1, 2, 3, 40000, 50000, 60000, 0, 1, 2, 3},
    };
    for (const std::vector<int>& c : cases) {
        RGBColor out;
        GetColorOpacity(c[0], c[1], c[2], c[3], c[4], c[5], c[6], &out);
        EXPECT_EQ((std::vector<int>{out.red, out.green, out.blue}),
                  std::vector<int>(c.begin() + 7, c.end()))
            << c[0] << " " << c[3] << " " << c[6];
    }
}

using Points = std::vector<std::pair<int, int>>;

// A blank mask with the brush stamped at each point.
std::vector<uint8_t> Stamped(const Painting& p, const Points& points)
{
    std::vector<uint8_t> mask = p.Blank();
    for (auto [x, y] : points)
        p.ExpectStamp(mask, x, y);
    return mask;
}

// A blank mask with full coverage at each surface point.
std::vector<uint8_t> Dotted(const Painting& p, const Points& points)
{
    std::vector<uint8_t> mask = p.Blank();
    for (auto [x, y] : points)
        mask[y * p.Stride() + x] = 63;
    return mask;
}

TEST(PaintLineTo, StampsAtEveryStepPoint)
{
    // (5, 5) to (3, 0): dx = -2, dy = -5: x steps -0.4, -0.8, -1.2, -1.6,
    // -2.0 land on 0, 0, 0, -1, -1 (truncated toward zero after the half)
    // and y steps on 0, -1, -2, -3, -4, so the line stops short of its end.
    // A line of length 0 stamps twice on its start.
    const std::pair<Rect, Points> cases[] = {
        {R(0, 0, 3, 1), {{0, 0}, {1, 0}, {2, 1}, {3, 1}}},
        {R(10, 10, 10, 10), {{10, 10}, {10, 10}}},
        {R(5, 5, 3, 0), {{5, 5}, {5, 5}, {5, 4}, {5, 3}, {4, 2}, {4, 1}}},
    };
    for (auto [line, points] : cases) {
        Painting p(24, 20);
        counter = 100;
        EXPECT_EQ(PaintLineTo(&line, &p.state), 1);
        EXPECT_EQ(counter, 100 + static_cast<int>(points.size())) << line;
        EXPECT_MASK(p, Stamped(p, points));
        // Stamps only raise coverage: a second line over a full mask
        // changes nothing.
        std::fill(p.mask.begin(), p.mask.end(), 63);
        PaintLineTo(&line, &p.state);
        EXPECT_EQ(std::count(p.mask.begin(), p.mask.end(), 63), static_cast<long>(p.mask.size()));
    }
}

TEST(PaintSpray, DotsPerStepRoundUpOffsetsWrapAndStepsAddJustBelowAHalf)
{
    // Offsets (row << 8 | column) spread over the box, one with a negative
    // row offset; and one offset of none.
    uint16_t offsets[7] = {0x0000, 0x0105, 0x0A02, 0x1F1F, 0xFF07, 0x0310, 0x1203}, origin = 0;
    const Rect line = R(4, 2, 8, 2);
    // Along (4, 2) to (8, 2), 10 dots over 5 step points are 2 at each,
    // offsets 5, 6, 0, 1, ...; 13 dots are 2.6 a step: 3 at each, 15 in all.
    // One dot over 5 steps is 0.2 a step: still one at each step. (0, 0) to
    // (1, 2): x steps 0, 0.5, 1.0; with 0.499 the middle one stays on 0,
    // where a brush line would round it up to 1. (5, 0) to (4, 2): x steps
    // -0.5 and -1.0 both truncate to 0. No dots for 0 or fewer.
    const Points two = {{20, 5},  {7, 20}, {5, 2},  {10, 3},  {8, 12},
                        {37, 33}, {14, 1}, {23, 5}, {11, 20}, {8, 2}};
    const Points three = {{4, 2},  {9, 3},  {6, 12},  {36, 33}, {12, 1}, {21, 5},  {9, 20}, {6, 2},
                          {11, 3}, {9, 12}, {38, 33}, {14, 1},  {24, 5}, {11, 20}, {8, 2}};
    const std::tuple<Rect, uint16_t*, int, int, int, Points> cases[] = {
        {line, offsets, 5, 7, 10, two},
        {line, offsets, 0, 7, 13, three},
        {line, &origin, 0, 1, 1, {{4, 2}, {5, 2}, {6, 2}, {7, 2}, {8, 2}}},
        {R(0, 0, 1, 2), &origin, 0, 1, 3, {{0, 0}, {0, 1}, {1, 2}}},
        {R(5, 0, 4, 2), &origin, 0, 1, 3, {{5, 0}, {5, 1}, {5, 2}}},
        {line, &origin, 0, 1, 0, {}},
        {line, &origin, 0, 1, -5, {}},
    };
    for (auto [from, table, first, size, count, points] : cases) {
        Painting p(40, 20);
        counter = 9;
        EXPECT_EQ(PaintSpray(&from, table, first, size, count, &p.state), 1);
        EXPECT_EQ(counter, 9);
        EXPECT_MASK(p, Dotted(p, points));
        // The index is not handed back: the same call sets the same bytes.
        PaintSpray(&from, table, first, size, count, &p.state);
        EXPECT_MASK(p, Dotted(p, points));
    }
}

TEST(PaintRectangle, OutlineCountsStampsAndFillTakesTheCornerValue)
{
    Painting p(40, 30);
    Rect rect = R(5, 6, 15, 11); // 10 x 5
    counter = 77;
    EXPECT_EQ(PaintRectangle(&rect, &p.state, false), 1);
    EXPECT_EQ(counter, 11 + 6 + 11 + 6);
    Points edge;
    for (int x = 5; x <= 15; x++)
        edge.insert(edge.end(), {{x, 6}, {x, 11}});
    for (int y = 6; y <= 11; y++)
        edge.insert(edge.end(), {{5, y}, {15, y}});
    const std::vector<uint8_t> outline = Stamped(p, edge);
    EXPECT_MASK(p, outline);

    // Filled, and given with its corners swapped: the same outline, then
    // rows 6..10 and columns 5..14 take the value at surface pixel (5, 6),
    // lower or higher than what the outline put there.
    Painting q(40, 30);
    rect = R(15, 11, 5, 6);
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

TEST(PaintPaintArc, SmallShapesStampEachNewOffsetAndItsMirror)
{
    PaintInit();
    // Width 1, height 1: both radii 0, nothing painted. Width 2, height 0:
    // offsets (0, 0), (1, 0), (0, 0) along the half turn.
    Painting p(40, 30);
    Rect rect = R(10, 10, 11, 11);
    counter = 5;
    EXPECT_EQ(PaintPaintArc(&rect, &p.state, true), 1);
    EXPECT_EQ(counter, 5);
    EXPECT_MASK(p, p.Blank());
    rect = R(10, 10, 12, 10);
    counter = 0;
    PaintPaintArc(&rect, &p.state, false);
    EXPECT_EQ(counter, 6);
    EXPECT_MASK(p, Stamped(p, {{10, 10}, {11, 10}, {12, 10}}));

    // rx = 2, ry = 1 about (12, 9): the half turn passes these offsets.
    // With fill, after each pair the row between the two stamps takes the
    // value at its left end; later stamps raise it again.
    const Points ellipse = {{0, -1}, {1, -1}, {2, -1}, {2, 0}, {2, 1}, {1, 1}, {0, 1}};
    rect = R(10, 8, 14, 10);
    for (bool fill : {false, true}) {
        Painting q(40, 30);
        counter = 0;
        PaintPaintArc(&rect, &q.state, fill);
        EXPECT_EQ(counter, 14);
        std::vector<uint8_t> expected = q.Blank();
        for (auto [ox, oy] : ellipse) {
            q.ExpectStamp(expected, 12 + ox, 9 + oy);
            q.ExpectStamp(expected, 12 - ox, 9 + oy);
            const uint8_t left = q.At(expected, 12 - ox, 9 + oy);
            for (int x = 12 - ox; fill && x < 12 + ox; x++)
                q.At(expected, x, 9 + oy) = left;
        }
        EXPECT_MASK(q, expected);
    }
}

TEST(PaintPaintArc, LargerEllipseStaysSymmetricAndCountsPairs)
{
    PaintInit();
    Painting p(64, 48);
    Rect rect = R(8, 6, 48, 36); // rx 20, ry 15 about (28, 21)
    counter = 0;
    PaintPaintArc(&rect, &p.state, false);
    EXPECT_EQ(counter % 2, 0);
    // Every distinct offset along a quarter of the ellipse is at least one
    // new stamp pair, and there are no more pairs than table entries.
    EXPECT_GE(counter, 2 * (20 + 15));
    EXPECT_LE(counter, 2 * 1801);
    // The extreme points are stamped: the brush's (16, 16) byte lies on each.
    for (auto [x, y] : {std::pair{28, 6}, {28, 36}, {8, 21}, {48, 21}})
        EXPECT_GE(p.At(p.mask, x, y), p.brush[16 * 32 + 16]) << x << "," << y;
}

} // namespace
