#include <gtest/gtest.h>

#include "sprig/foundation.h"

namespace {

void ExpectRect(const Rect& r, int left, int top, int right, int bottom)
{
    EXPECT_EQ(r.left, left);
    EXPECT_EQ(r.top, top);
    EXPECT_EQ(r.right, right);
    EXPECT_EQ(r.bottom, bottom);
}

TEST(CRect, ConstructorsStoreLeftTopRightBottom)
{
    ExpectRect(CRect(), 0, 0, 0, 0);
    ExpectRect(CRect(short{1}, short{2}, short{3}, short{4}), 1, 2, 3, 4);
    Rect raw = {10, 20, 30, 40}; // top, left, bottom, right
    ExpectRect(CRect(&raw), 20, 10, 40, 30);
    static_assert(sizeof(CRect) == sizeof(Rect), "CRect adds no data");
}

TEST(CRect, DoubleConstructorTruncatesTowardZeroAndKeeps16Bits)
{
    ExpectRect(CRect(1.9, -1.9, 2.5, 3.99), 1, -1, 2, 3);
    ExpectRect(CRect(70000.0, 0.0, 0.0, 0.0), 4464, 0, 0, 0);
    ExpectRect(CRect(-70000.0, 32768.0, 65535.9, -0.99), -4464, -32768, -1, 0);
    // No 32-bit integer: the truncation gives INT32_MIN, whose low half is 0.
    ExpectRect(CRect(1e12, -1e12, 0.0, 0.0), 0, 0, 0, 0);
}

TEST(CRect, WidthAndHeightWrapIn16Bits)
{
    CRect r(short{-30000}, short{-20000}, short{30000}, short{20000});
    EXPECT_EQ(r.Width(), static_cast<short>(60000)); // -5536
    EXPECT_EQ(r.Width(), -5536);
    EXPECT_EQ(r.Height(), -25536);
    // Its edges are ordered, so it is not empty even though its width wrapped.
    EXPECT_FALSE(r.IsRectEmpty());
}

TEST(CRect, IntersectionAndUnionOperators)
{
    CRect a(short{0}, short{0}, short{10}, short{10});
    CRect b(short{5}, short{-5}, short{20}, short{7});
    ExpectRect(a & b, 5, 0, 10, 7);
    ExpectRect(a | b, 0, -5, 20, 10);
    ExpectRect(a, 0, 0, 10, 10); // the binary operators leave both alone

    CRect c = a;
    ExpectRect(c &= b, 5, 0, 10, 7);
    ExpectRect(c, 5, 0, 10, 7);
    c = a;
    ExpectRect(c |= b, 0, -5, 20, 10);
    ExpectRect(c, 0, -5, 20, 10);

    CRect far(short{50}, short{50}, short{60}, short{60});
    ExpectRect(a & far, 0, 0, 0, 0);
    CRect d = a;
    ExpectRect(d &= far, 0, 0, 0, 0);
    ExpectRect(d, 0, 0, 0, 0);
    // Touching edges share no pixel.
    CRect touching(short{10}, short{0}, short{20}, short{10});
    EXPECT_TRUE((a & touching).IsRectEmpty());
}

TEST(CRect, AssignmentFromRectAndCRect)
{
    CRect r;
    Rect raw = {1, 2, 3, 4};
    r = raw;
    ExpectRect(r, 2, 1, 4, 3);
    r = CRect(short{-1}, short{-2}, short{-3}, short{-4});
    ExpectRect(r, -1, -2, -3, -4);
    r.SetRectEmpty();
    ExpectRect(r, 0, 0, 0, 0);
    EXPECT_TRUE(r.IsRectEmpty());
}

TEST(CRect, InflateGrowsBothSidesAndCollapsesWhenTooSmall)
{
    CRect r(short{10}, short{10}, short{18}, short{20});
    r.InflateRect(2, 3);
    ExpectRect(r, 8, 7, 20, 23);
    r.InflateRect(-2, -3);
    ExpectRect(r, 10, 10, 18, 20);
    r.InflateRect(-5, 0); // 8 wide, shrunk by 10
    ExpectRect(r, 0, 0, 0, 0);
    CRect thin(short{0}, short{0}, short{3}, short{3});
    thin.InflateRect(-1, -1); // one pixel left: still a rectangle
    ExpectRect(thin, 1, 1, 2, 2);
}

TEST(RectPrimitives, SectRectAllowsOutputAliasAndReportsEmpty)
{
    Rect a, b;
    SetRect(&a, 0, 0, 10, 10);
    SetRect(&b, 4, 6, 14, 16);
    EXPECT_TRUE(SectRect(&a, &b, &a));
    ExpectRect(a, 4, 6, 10, 10);
    SetRect(&b, 10, 0, 20, 10);
    EXPECT_FALSE(SectRect(&a, &b, &a));
    ExpectRect(a, 0, 0, 0, 0);

    SetRect(&a, 0, 0, 10, 10);
    SetRect(&b, -5, 3, 2, 30);
    UnionRect(&a, &b, &a);
    ExpectRect(a, -5, 0, 10, 30);
}

TEST(RectPrimitives, EmptyOffsetAndPointTests)
{
    Rect r;
    SetRect(&r, 5, 5, 5, 9);
    EXPECT_TRUE(EmptyRect(&r));
    SetRect(&r, 5, 9, 6, 8);
    EXPECT_TRUE(EmptyRect(&r));
    SetRect(&r, 5, 5, 6, 6);
    EXPECT_FALSE(EmptyRect(&r));

    SetRect(&r, 32760, -32760, 32767, -32750);
    OffsetRect(&r, 10, -10);
    ExpectRect(r, -32766, 32766, -32759, -32760); // every edge wraps in 16 bits

    SetRect(&r, 0, 0, 4, 3);
    EXPECT_TRUE(PtInRect(Point{0, 0}, &r));
    EXPECT_TRUE(PtInRect(Point{2, 3}, &r));  // v 2, h 3
    EXPECT_FALSE(PtInRect(Point{3, 0}, &r)); // bottom edge is outside
    EXPECT_FALSE(PtInRect(Point{0, 4}, &r)); // right edge is outside
    EXPECT_FALSE(PtInRect(Point{-1, 0}, &r));

    Rect inset;
    SetRect(&inset, 0, 0, 10, 10);
    InsetRect(&inset, 5, 0); // width exactly 0
    ExpectRect(inset, 0, 0, 0, 0);
}

} // namespace
