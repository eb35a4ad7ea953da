#include "tests/platform/cg_fixture.h"

namespace {

// Each destination pixel within the destination rectangle, the world and
// the mask takes the source pixel its place maps to (nearest, alpha and
// all); every other pixel keeps its word.
TEST(CopyBits, CopiesTheNearestSourcePixelsWithinTheWorldAndTheMask)
{
    struct Case
    {
        Rect src, dst;
        bool masked = false, oneWorld = false;
    };
    const Case cases[] = {
        {R(0, 0, 3, 2), R(0, 0, 6, 4)}, // enlarged by replication
        {R(0, 0, 3, 2), R(0, 0, 9, 6)},
        {R(0, 0, 4, 4), R(1, 1, 3, 3)},              // halved: every other pixel
        {R(0, 0, 2, 2), R(-1, -1, 1, 1)},            // hanging off the top-left corner
        {R(0, 0, 4, 4), R(0, 0, 4, 4), true},        // within the mask's two columns
        {R(0, 0, 3, 1), R(1, 0, 4, 1), false, true}, // overlapping: the original is read
    };
    for (const Case& c : cases) {
        World src = MakeWorld(4, 4), dst = MakeWorld(10, 7);
        FillNumbered(src.get(), 1);
        FillNumbered(dst.get(), 2);
        GWorldPtr to = c.oneWorld ? src.get() : dst.get();
        const World from = CopyOf(src.get()), under = CopyOf(to);
        const Region mask({R(1, 0, 3, 4)});
        CopyBits(GetPortBitMapForCopyBits(src.get()), GetPortBitMapForCopyBits(to), &c.src, &c.dst,
                 srcCopy, c.masked ? mask.handle : nullptr);
        const Rect b = Bounds(to);
        for (int v = 0; v < b.bottom; v++)
            for (int h = 0; h < b.right; h++) {
                const bool inside = h >= c.dst.left && h < c.dst.right && v >= c.dst.top &&
                                    v < c.dst.bottom && (!c.masked || (h >= 1 && h < 3));
                const int x = c.src.left + (h - c.dst.left) * (c.src.right - c.src.left) /
                                               (c.dst.right - c.dst.left);
                const int y = c.src.top + (v - c.dst.top) * (c.src.bottom - c.src.top) /
                                              (c.dst.bottom - c.dst.top);
                ASSERT_EQ(Pixel(to, h, v),
                          inside ? Pixel(from.get(), x, y) : Pixel(under.get(), h, v))
                    << c.dst << " at " << h << "," << v;
            }
    }
}

TEST(CopyBits, OtherModesCopyNothing)
{
    World src = MakeWorld(2, 2), dst = MakeWorld(2, 2);
    FillNumbered(src.get(), 5);
    const Rect r = R(0, 0, 2, 2);
    testing::internal::CaptureStderr();
    CopyBits(GetPortBitMapForCopyBits(src.get()), GetPortBitMapForCopyBits(dst.get()), &r, &r,
             36 /* transparent */, nullptr);
    const std::string diagnostic = testing::internal::GetCapturedStderr();
    EXPECT_NE(diagnostic.find("srcCopy"), std::string::npos) << diagnostic;
    EXPECT_EQ(Words(dst.get()), std::vector<uint32_t>(4, 0u));
}

} // namespace
