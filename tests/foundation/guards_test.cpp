#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/test_util.h"

namespace {

bool SameColour(const RGBColor& a, const RGBColor& b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}

RGBColor ForeColour()
{
    RGBColor c;
    GetForeColor(&c);
    return c;
}

RGBColor BackColour()
{
    RGBColor c;
    GetBackColor(&c);
    return c;
}

CGrafPtr CurrentWorld(GDHandle* device = nullptr)
{
    CGrafPtr port;
    GDHandle dev;
    GetGWorld(&port, &dev);
    if (device)
        *device = dev;
    return port;
}

TEST(Guards, NestedWorldsAndPortsUnwindInReverseOrder)
{
    World a = MakeWorld(2, 2);
    World b = MakeWorld(3, 3);
    World c = MakeWorld(1, 1);
    auto fakeDevice = reinterpret_cast<GDHandle>(&c);
    SetGWorld(c.get(), fakeDevice);
    {
        StGWorld outer(a.get());
        GDHandle device;
        EXPECT_EQ(CurrentWorld(&device), a.get());
        EXPECT_EQ(device, nullptr); // a guard sets no device
        {
            StGWorld inner(b.get());
            EXPECT_EQ(CurrentWorld(), b.get());
            {
                StPort port(a.get());
                GrafPtr current;
                GetPort(&current);
                EXPECT_EQ(current, a.get());
            }
            EXPECT_EQ(CurrentWorld(), b.get());
        }
        EXPECT_EQ(CurrentWorld(), a.get());
    }
    GDHandle device;
    EXPECT_EQ(CurrentWorld(&device), c.get());
    EXPECT_EQ(device, fakeDevice);
    SetGWorld(c.get(), nullptr);
}

TEST(Guards, ColourGuardsRestoreWhatTheyFound)
{
    RGBColor start = {0x1234, 0x5678, 0x9ABC};
    RGBColor startBack = {0x0101, 0x0202, 0x0303};
    RGBForeColor(&start);
    RGBBackColor(&startBack);
    {
        RGBColor red = {0xFFFF, 0, 0};
        StForeColor fore(red);
        EXPECT_TRUE(SameColour(ForeColour(), red));
        {
            StForeColor saveOnly;
            RGBColor green = {0, 0xFFFF, 0};
            RGBForeColor(&green);
        }
        EXPECT_TRUE(SameColour(ForeColour(), red));
        RGBColor blue = {0, 0, 0xFFFF};
        StBackColor back(blue);
        EXPECT_TRUE(SameColour(BackColour(), blue));
    }
    EXPECT_TRUE(SameColour(ForeColour(), start));
    EXPECT_TRUE(SameColour(BackColour(), startBack));

    {
        StColors blackOnWhite;
        EXPECT_TRUE(SameColour(ForeColour(), rgbBlack));
        EXPECT_TRUE(SameColour(BackColour(), rgbWhite));
        RGBColor fore = {1, 2, 3};
        RGBColor back = {4, 5, 6};
        {
            StColors chosen(fore, back);
            EXPECT_TRUE(SameColour(ForeColour(), fore));
            EXPECT_TRUE(SameColour(BackColour(), back));
        }
        EXPECT_TRUE(SameColour(ForeColour(), rgbBlack));
        EXPECT_TRUE(SameColour(BackColour(), rgbWhite));
    }
    EXPECT_TRUE(SameColour(ForeColour(), start));
    EXPECT_TRUE(SameColour(BackColour(), startBack));
}

TEST(Guards, PenDrawsWithItsSizeAndColourThenRestoresEverything)
{
    World world = MakeWorld(10, 10);
    StGWorld current(world.get());
    RGBColor before = {0x0000, 0x8080, 0x0000};
    RGBForeColor(&before);
    PenState custom;
    GetPenState(&custom);
    custom.pnLoc = {7, 8};
    custom.pnSize = {0, 2};
    custom.pnMode = 11;
    for (int i = 0; i < 8; i++)
        custom.pnPat.pat[i] = static_cast<uint8_t>(0x55 << (i & 1));
    SetPenState(&custom);
    {
        RGBColor red = {0xFFFF, 0x0000, 0x0000};
        StPen pen(3, &red);
        PenState inside;
        GetPenState(&inside);
        EXPECT_EQ(inside.pnSize.h, 3);
        EXPECT_EQ(inside.pnSize.v, 3);
        EXPECT_EQ(inside.pnMode, patCopy);
        EXPECT_EQ(inside.pnLoc.h, 8); // PenNormal keeps the location
        EXPECT_EQ(inside.pnLoc.v, 7);
        MoveTo(1, 1);
        LineTo(1, 1);
    }
    // The 3 x 3 pen hung below and to the right of (1, 1), opaque red.
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++) {
            const bool inPen = h >= 1 && h < 4 && v >= 1 && v < 4;
            EXPECT_EQ(Pixel(world.get(), h, v), inPen ? 0x0000FFFFu : 0u) << h << "," << v;
        }
    PenState after;
    GetPenState(&after);
    EXPECT_EQ(after.pnLoc.h, 8);
    EXPECT_EQ(after.pnLoc.v, 7);
    EXPECT_EQ(after.pnSize.h, 2);
    EXPECT_EQ(after.pnSize.v, 0);
    EXPECT_EQ(after.pnMode, 11);
    EXPECT_EQ(0, memcmp(after.pnPat.pat, custom.pnPat.pat, 8));
    EXPECT_TRUE(SameColour(ForeColour(), before));
    PenNormal();
}

TEST(Guards, LocksNestAndRestoreThePixelsState)
{
    World world = MakeWorld(4, 4);
    PixMapHandle pm = GetGWorldPixMap(world.get());
    EXPECT_EQ(GetPixelsState(pm) & pixelsLocked, 0u);
    {
        StLock outer(world.get());
        EXPECT_NE(GetPixelsState(pm) & pixelsLocked, 0u);
        {
            StLock inner(pm);
            EXPECT_NE(GetPixelsState(pm) & pixelsLocked, 0u);
        }
        // The inner guard found the pixels locked and leaves them locked.
        EXPECT_NE(GetPixelsState(pm) & pixelsLocked, 0u);
    }
    EXPECT_EQ(GetPixelsState(pm) & pixelsLocked, 0u);

    LockPixels(pm);
    {
        StLock lock(pm);
    }
    EXPECT_NE(GetPixelsState(pm) & pixelsLocked, 0u);
    UnlockPixels(pm);
    UnlockPixels(pm); // unlocking unlocked pixels does no harm
    EXPECT_EQ(GetPixelsState(pm) & pixelsLocked, 0u);
}

TEST(Guards, OffscreenOwnsAWorldOrThrowsTheErrorCode)
{
    {
        StOffscreen offscreen(40, 30, 32);
        GWorldPtr world = offscreen;
        ASSERT_NE(world, nullptr);
        Rect b;
        GetPortBounds(world, &b);
        EXPECT_EQ(b.top, 0);
        EXPECT_EQ(b.left, 0);
        EXPECT_EQ(b.bottom, 30);
        EXPECT_EQ(b.right, 40);
        EXPECT_EQ((*GetGWorldPixMap(world))->pixelSize, 32);
    }
    auto thrownBy = [](uint32_t width, uint32_t height, short depth) -> int {
        try {
            StOffscreen offscreen(width, height, depth);
        } catch (short err) {
            return err;
        }
        return 0;
    };
    EXPECT_EQ(thrownBy(8, 8, 16), cDepthErr);
    EXPECT_EQ(thrownBy(5000, 8, 32), paramErr);  // a row wider than a pixel map holds
    EXPECT_EQ(thrownBy(40000, 8, 32), paramErr); // 16 bits: a negative width
    EXPECT_EQ(thrownBy(1, 1, 32), 0);
}

TEST(ImageBuffer, RowsArePaddedToFourPixels)
{
    struct Case
    {
        short width, height;
        int32_t rowBytes;
    };
    for (const Case& c : {Case{5, 3, 32}, Case{8, 3, 32}, Case{1, 0, 16}, Case{4, 1, 16},
                          Case{0, 2, 0}, Case{9, 2, 48}}) {
        int32_t rowBytes = -1;
        void* block = NewImageBuffer(c.width, c.height, rowBytes);
        EXPECT_EQ(rowBytes, c.rowBytes) << c.width << " x " << c.height;
        const size_t size = static_cast<size_t>(rowBytes) * c.height;
        if (size) {
            ASSERT_NE(block, nullptr);
            // The whole block is ours to write (AddressSanitizer checks the end).
            memset(block, 0xAB, size);
        }
        std::free(block);
    }
    int32_t rowBytes = 99;
    EXPECT_EQ(NewImageBuffer(-1, 5, rowBytes), nullptr);
    EXPECT_EQ(rowBytes, 0);
}

} // namespace
