#include <gtest/gtest.h>

#include "tests/test_util.h"

namespace {

void Copy(GWorldPtr src, GWorldPtr dst, const Rect& srcRect, const Rect& dstRect,
          RgnHandle mask = nullptr, int16_t mode = srcCopy)
{
    CopyBits(GetPortBitMapForCopyBits(src), GetPortBitMapForCopyBits(dst), &srcRect, &dstRect, mode,
             mask);
}

TEST(CopyBits, EnlargesByPixelReplicationWithAlpha)
{
    World src = MakeWorld(3, 2);
    const uint32_t words[2][3] = {{0x11223300, 0x445566FF, 0x77889901},
                                  {0xAABBCC80, 0x00000000, 0xFFFFFFFE}};
    for (int v = 0; v < 2; v++)
        for (int h = 0; h < 3; h++)
            Pixel(src.get(), h, v) = words[v][h];
    for (int factor : {2, 3}) {
        World dst = MakeWorld(3 * factor + 1, 2 * factor + 1);
        FillNumbered(dst.get(), 7);
        const uint32_t untouched = Pixel(dst.get(), 3 * factor, 2 * factor);
        Copy(src.get(), dst.get(), R(0, 0, 3, 2), R(0, 0, 3 * factor, 2 * factor));
        for (int v = 0; v < 2 * factor; v++)
            for (int h = 0; h < 3 * factor; h++)
                ASSERT_EQ(Pixel(dst.get(), h, v), words[v / factor][h / factor])
                    << "factor " << factor << " at " << h << "," << v;
        EXPECT_EQ(Pixel(dst.get(), 3 * factor, 2 * factor), untouched);
    }
}

TEST(CopyBits, ShrinksPlacesAndClipsToTheDestination)
{
    World src = MakeWorld(4, 4);
    FillNumbered(src.get(), 1);
    World dst = MakeWorld(4, 4);
    Copy(src.get(), dst.get(), R(0, 0, 4, 4), R(1, 1, 3, 3)); // halve: every other pixel
    EXPECT_EQ(Pixel(dst.get(), 1, 1), Pixel(src.get(), 0, 0));
    EXPECT_EQ(Pixel(dst.get(), 2, 1), Pixel(src.get(), 2, 0));
    EXPECT_EQ(Pixel(dst.get(), 2, 2), Pixel(src.get(), 2, 2));
    EXPECT_EQ(Pixel(dst.get(), 0, 0), 0u);
    EXPECT_EQ(Pixel(dst.get(), 3, 3), 0u);

    World small = MakeWorld(2, 2);
    // The destination rectangle hangs off the top-left corner: only the part
    // inside is written, with the source pixels that map there.
    Copy(src.get(), small.get(), R(0, 0, 2, 2), R(-1, -1, 1, 1));
    EXPECT_EQ(Pixel(small.get(), 0, 0), Pixel(src.get(), 1, 1));
    EXPECT_EQ(Pixel(small.get(), 1, 0), 0u);
    EXPECT_EQ(Pixel(small.get(), 0, 1), 0u);
}

TEST(CopyBits, MaskRegionLimitsTheDestination)
{
    World src = MakeWorld(4, 4);
    FillNumbered(src.get(), 3);
    World dst = MakeWorld(4, 4);
    RgnHandle mask = NewRgn();
    Rect m = R(1, 0, 3, 4);
    RectRgn(mask, &m);
    Copy(src.get(), dst.get(), R(0, 0, 4, 4), R(0, 0, 4, 4), mask);
    for (int v = 0; v < 4; v++)
        for (int h = 0; h < 4; h++)
            EXPECT_EQ(Pixel(dst.get(), h, v), (h == 1 || h == 2) ? Pixel(src.get(), h, v) : 0u);
    DisposeRgn(mask);
}

TEST(CopyBits, OverlappingCopyWithinOneWorldReadsTheOriginal)
{
    World world = MakeWorld(4, 1);
    for (int h = 0; h < 4; h++)
        Pixel(world.get(), h, 0) = 0x100u + static_cast<uint32_t>(h);
    Copy(world.get(), world.get(), R(0, 0, 3, 1), R(1, 0, 4, 1));
    EXPECT_EQ(Pixel(world.get(), 0, 0), 0x100u);
    EXPECT_EQ(Pixel(world.get(), 1, 0), 0x100u);
    EXPECT_EQ(Pixel(world.get(), 2, 0), 0x101u);
    EXPECT_EQ(Pixel(world.get(), 3, 0), 0x102u);
}

TEST(CopyBits, OtherModesCopyNothing)
{
    World src = MakeWorld(2, 2);
    FillNumbered(src.get(), 5);
    World dst = MakeWorld(2, 2);
    testing::internal::CaptureStderr();
    Copy(src.get(), dst.get(), R(0, 0, 2, 2), R(0, 0, 2, 2), nullptr, 36 /* transparent */);
    const std::string diagnostic = testing::internal::GetCapturedStderr();
    EXPECT_NE(diagnostic.find("srcCopy"), std::string::npos) << diagnostic;
    EXPECT_EQ(Pixel(dst.get(), 0, 0), 0u);
    EXPECT_EQ(Pixel(dst.get(), 1, 1), 0u);
}

} // namespace
