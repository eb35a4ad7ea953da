#include <gtest/gtest.h>

#include "sprig/foundation.h"
#include "tests/test_util.h"

namespace {

TEST(CRect, ConstructorsStoreLeftTopRightBottomAndKeep16Bits)
{
    static_assert(sizeof(CRect) == sizeof(Rect), "CRect adds no data");
    Rect raw = {10, 20, 30, 40}; // top, left, bottom, right
    // The double constructor truncates toward zero and keeps the low 16 bits;
    // 1e12 is no 32-bit integer, and the truncation's INT32_MIN has low half 0.
    const std::pair<Rect, Rect> cases[] = {
        {CRect(), R(0, 0, 0, 0)},
        {CRect(short{1}, short{2}, short{3}, short{4}), R(1, 2, 3, 4)},
        {CRect(&raw), R(20, 10, 40, 30)},
        {CRect(1.9, -1.9, 2.5, 3.99), R(1, -1, 2, 3)},
        {CRect(70000.0, 0.0, 0.0, 0.0), R(4464, 0, 0, 0)},
        {CRect(-70000.0, 32768.0, 65535.9, -0.99), R(-4464, -32768, -1, 0)},
        {CRect(1e12, -1e12, 0.0, 0.0), R(0, 0, 0, 0)},
    };
    for (const auto& [made, expected] : cases)
        EXPECT_EQ(made, expected);

    CRect r(short{-30000}, short{-20000}, short{30000}, short{20000});
    EXPECT_EQ(r.Width(), -5536); // 60000 in 16 bits
    EXPECT_EQ(r.Height(), -25536);
    // Its edges are ordered, so it is not empty even though its width wrapped.
    EXPECT_FALSE(r.IsRectEmpty());

    r = raw;
    EXPECT_EQ(r, R(20, 10, 40, 30));
    r = CRect(short{-1}, short{-2}, short{-3}, short{-4});
    EXPECT_EQ(r, R(-1, -2, -3, -4));
    r.SetRectEmpty();
    EXPECT_EQ(r, R(0, 0, 0, 0));
    EXPECT_TRUE(r.IsRectEmpty());
}

TEST(CRect, IntersectionUnionAndInflate)
{
    CRect a(short{0}, short{0}, short{10}, short{10});
    CRect b(short{5}, short{-5}, short{20}, short{7});
    CRect far(short{50}, short{50}, short{60}, short{60});
    EXPECT_EQ(a & b, R(5, 0, 10, 7));
    EXPECT_EQ(a | b, R(0, -5, 20, 10));
    EXPECT_EQ(a & far, R(0, 0, 0, 0));
    EXPECT_EQ(a, R(0, 0, 10, 10)); // the binary operators leave both alone
    CRect c = a;
    EXPECT_EQ(c &= b, R(5, 0, 10, 7));
    EXPECT_EQ(c, R(5, 0, 10, 7));
    c = a;
    EXPECT_EQ(c |= b, R(0, -5, 20, 10));
    EXPECT_EQ(c, R(0, -5, 20, 10));
    c = a;
    EXPECT_EQ(c &= far, R(0, 0, 0, 0));
    EXPECT_EQ(c, R(0, 0, 0, 0));
    // Touching edges share no pixel.
    EXPECT_TRUE((a & CRect(short{10}, short{0}, short{20}, short{10})).IsRectEmpty());

    CRect r(short{10}, short{10}, short{18}, short{20});
    r.InflateRect(2, 3);
    EXPECT_EQ(r, R(8, 7, 20, 23));
    r.InflateRect(-2, -3);
    EXPECT_EQ(r, R(10, 10, 18, 20));
    r.InflateRect(-5, 0); // 8 wide, shrunk by 10: collapses
    EXPECT_EQ(r, R(0, 0, 0, 0));
    CRect thin(short{0}, short{0}, short{3}, short{3});
    thin.InflateRect(-1, -1); // one pixel left: still a rectangle
    EXPECT_EQ(thin, R(1, 1, 2, 2));
}

TEST(RectPrimitives, SectUnionEmptyOffsetInsetAndPointTests)
{
    // SectRect may write over an input and reports an empty result.
    Rect a = R(0, 0, 10, 10), b = R(4, 6, 14, 16);
    EXPECT_TRUE(SectRect(&a, &b, &a));
    EXPECT_EQ(a, R(4, 6, 10, 10));
    b = R(10, 0, 20, 10);
    EXPECT_FALSE(SectRect(&a, &b, &a));
    EXPECT_EQ(a, R(0, 0, 0, 0));
    a = R(0, 0, 10, 10);
    b = R(-5, 3, 2, 30);
    UnionRect(&a, &b, &a);
    EXPECT_EQ(a, R(-5, 0, 10, 30));

    for (const auto& [r, empty] :
         {std::pair{R(5, 5, 5, 9), true}, {R(5, 9, 6, 8), true}, {R(5, 5, 6, 6), false}})
        EXPECT_EQ(EmptyRect(&r), empty) << r;

    Rect r = R(32760, -32760, 32767, -32750);
    OffsetRect(&r, 10, -10);
    EXPECT_EQ(r, R(-32766, 32766, -32759, -32760)); // every edge wraps in 16 bits
    r = R(0, 0, 10, 10);
    InsetRect(&r, 5, 0); // width exactly 0
    EXPECT_EQ(r, R(0, 0, 0, 0));

    // Points are (v, h); the bottom and right edges are outside.
    r = R(0, 0, 4, 3);
    for (const auto& [p, inside] : {std::pair{Point{0, 0}, true},
                                    {Point{2, 3}, true},
                                    {Point{3, 0}, false},
                                    {Point{0, 4}, false},
                                    {Point{-1, 0}, false}})
        EXPECT_EQ(PtInRect(p, &r), inside) << p.v << "," << p.h;
}

} // namespace
