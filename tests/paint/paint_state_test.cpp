// The paint state: locking an OurPS, the angle tables and GetColorOpacity.
#include "paint/paint_p.h"
#include "tests/paint/paint_fixture.h"

namespace {

TEST(PaintState, InitFillsTablesAndAnswersABCD)
{
    EXPECT_EQ(PaintInit(), 43981);
    EXPECT_EQ(PaintInit(), 0xABCD);
    EXPECT_EQ(SinTable[0], 0.0);
    EXPECT_EQ(CosTable[0], 1.0);
    // The step sits just below pi / 1800, so the quarter and half turns
    // miss zero by a little.
    EXPECT_EQ(SinTable[900], 1.0);
    EXPECT_NEAR(CosTable[900], 2.97e-13, 0.01e-13);
    EXPECT_GT(CosTable[900], 0.0);
    EXPECT_EQ(CosTable[1800], -1.0);
    EXPECT_NEAR(SinTable[1800], 5.93e-13, 0.01e-13);
    EXPECT_NEAR(SinTable[300], 0.5, 1e-12);
    EXPECT_LT(SinTable[300], 0.5);
}

TEST(PaintState, LockerFillsLockedStateAndUnlocksAfter)
{
    Painting p(8, 6);
    World colour = MakeWorld(8, 6);
    p.state.aux = -7;
    p.state.color = 0xDEADBEEF;
    PixMapHandle srcPm = GetGWorldPixMap(p.src.get());
    PixMapHandle dstPm = GetGWorldPixMap(p.dst.get());
    PixMapHandle colourPm = GetGWorldPixMap(colour.get());
    // The pixel map keeps its flag bit; the locked state drops it.
    ASSERT_NE((*srcPm)->rowBytes & 0x8000, 0);
    {
        ps locked;
        CPSLocker locker(&p.state, &locked);
        EXPECT_EQ(locked.width, 8);
        EXPECT_EQ(locked.aux, -7);
        EXPECT_EQ(locked.color, 0xDEADBEEFu);
        EXPECT_EQ(locked.srcRowBytes, 32);
        EXPECT_EQ(locked.dstRowBytes, 32);
        EXPECT_EQ(locked.srcBase, GetPixBaseAddr(srcPm));
        EXPECT_EQ(locked.dstBase, GetPixBaseAddr(dstPm));
        EXPECT_EQ(locked.colorRowBytes, 0);
        EXPECT_EQ(locked.colorBase, nullptr);
        EXPECT_EQ(locked.brush, p.brush.data());
        EXPECT_EQ(locked.mask, p.mask.data());
        EXPECT_EQ(locked.colorTable, p.table);
        EXPECT_TRUE(GetPixelsState(srcPm) & pixelsLocked);
        EXPECT_TRUE(GetPixelsState(dstPm) & pixelsLocked);
        EXPECT_FALSE(GetPixelsState(colourPm) & pixelsLocked);
    }
    EXPECT_FALSE(GetPixelsState(srcPm) & pixelsLocked);
    EXPECT_FALSE(GetPixelsState(dstPm) & pixelsLocked);

    p.state.colorWorld = colour.get();
    {
        ps locked;
        CPSLocker locker(&p.state, &locked);
        EXPECT_EQ(locked.colorRowBytes, 32);
        EXPECT_EQ(locked.colorBase, GetPixBaseAddr(colourPm));
        EXPECT_TRUE(GetPixelsState(colourPm) & pixelsLocked);
    }
    EXPECT_FALSE(GetPixelsState(colourPm) & pixelsLocked);

    // A surface the host had locked stays locked.
    LockPixels(srcPm);
    {
        ps locked;
        CPSLocker locker(&p.state, &locked);
    }
    EXPECT_TRUE(GetPixelsState(srcPm) & pixelsLocked);
    UnlockPixels(srcPm);
}

TEST(PaintState, ColorOpacityTruncatesEachShareApart)
{
    RGBColor out;
    GetColorOpacity(0, 0, 0, 31, 31, 31, 15, &out);
    EXPECT_EQ(out.red, 15);
    EXPECT_EQ(out.green, 15);
    EXPECT_EQ(out.blue, 15);
    GetColorOpacity(0xFFFF, 0xFFFF, 0xFFFF, 0, 0, 0, 15, &out);
    EXPECT_EQ(out.red, 33824);
    // Two shares truncated apart: 20 * 15 / 31 = 9 and 10 * 16 / 31 = 5.
    GetColorOpacity(10, 20, 30, 20, 10, 0, 15, &out);
    EXPECT_EQ(out.red, 5 + 9);
    EXPECT_EQ(out.green, 10 + 4);
    EXPECT_EQ(out.blue, 15 + 0);
    GetColorOpacity(1, 2, 3, 40000, 50000, 60000, 31, &out);
    EXPECT_EQ(out.red, 40000);
    EXPECT_EQ(out.green, 50000);
    EXPECT_EQ(out.blue, 60000);
    GetColorOpacity(1, 2, 3, 40000, 50000, 60000, 0, &out);
    EXPECT_EQ(out.red, 1);
    EXPECT_EQ(out.green, 2);
    EXPECT_EQ(out.blue, 3);
}

} // namespace
