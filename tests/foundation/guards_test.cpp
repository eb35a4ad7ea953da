#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "tests/test_util.h"

namespace {

// The current foreground then background colour, six channels.
std::vector<uint16_t> Colours()
{
    RGBColor f, b;
    GetForeColor(&f);
    GetBackColor(&b);
    return {f.red, f.green, f.blue, b.red, b.green, b.blue};
}

std::vector<uint16_t> Pair(const RGBColor& f, const RGBColor& b)
{
    return {f.red, f.green, f.blue, b.red, b.green, b.blue};
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
    World a = MakeWorld(2, 2), b = MakeWorld(3, 3), c = MakeWorld(1, 1);
    auto fakeDevice = reinterpret_cast<GDHandle>(&c);
    SetGWorld(c.get(), fakeDevice);
    GDHandle device;
    {
        StGWorld outer(a.get());
        EXPECT_EQ(CurrentWorld(&device), a.get());
        EXPECT_EQ(device, nullptr); // a guard sets no device
        {
            StGWorld inner(b.get());
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
    EXPECT_EQ(CurrentWorld(&device), c.get());
    EXPECT_EQ(device, fakeDevice);
    SetGWorld(c.get(), nullptr);
}

TEST(Guards, ColourGuardsRestoreWhatTheyFound)
{
    const RGBColor fore = {0x1234, 0x5678, 0x9ABC}, back = {0x0101, 0x0202, 0x0303};
    RGBColor red = {0xFFFF, 0, 0}, green = {0, 0xFFFF, 0}, blue = {0, 0, 0xFFFF};
    RGBForeColor(&fore);
    RGBBackColor(&back);
    {
        StForeColor foreGuard(red);
        {
            StForeColor saveOnly;
            RGBForeColor(&green);
        }
        EXPECT_EQ(Colours(), Pair(red, back));
        StBackColor backGuard(blue);
        EXPECT_EQ(Colours(), Pair(red, blue));
    }
    EXPECT_EQ(Colours(), Pair(fore, back));
    {
        StColors blackOnWhite;
        EXPECT_EQ(Colours(), Pair(rgbBlack, rgbWhite));
        {
            StColors chosen(blue, green);
            EXPECT_EQ(Colours(), Pair(blue, green));
        }
        EXPECT_EQ(Colours(), Pair(rgbBlack, rgbWhite));
    }
    EXPECT_EQ(Colours(), Pair(fore, back));
}

TEST(Guards, PenDrawsWithItsSizeAndColourThenRestoresEverything)
{
    World world = MakeWorld(10, 10);
    StGWorld current(world.get());
    const RGBColor before = {0x0000, 0x8080, 0x0000};
    RGBForeColor(&before);
    const std::vector<uint16_t> colours = Colours();
    PenState custom;
    GetPenState(&custom);
    custom.pnLoc = {7, 8};
    custom.pnSize = {0, 2};
    custom.pnMode = 11;
    for (int i = 0; i < 8; i++)
        custom.pnPat.pat[i] = static_cast<uint8_t>(0x55 << (i & 1));
    SetPenState(&custom);
    auto expectPen = [](short sizeH, short sizeV, short mode, const uint8_t* pattern) {
        PenState now;
        GetPenState(&now);
        EXPECT_EQ(now.pnSize.h, sizeH);
        EXPECT_EQ(now.pnSize.v, sizeV);
        EXPECT_EQ(now.pnMode, mode);
        EXPECT_EQ(now.pnLoc.h, 8); // PenNormal keeps the location
        EXPECT_EQ(now.pnLoc.v, 7);
        if (pattern) {
            EXPECT_EQ(0, memcmp(now.pnPat.pat, pattern, 8));
        }
    };
    {
        RGBColor red = {0xFFFF, 0x0000, 0x0000};
        StPen pen(3, &red);
        expectPen(3, 3, patCopy, nullptr);
        MoveTo(1, 1);
        LineTo(1, 1);
    }
    // The 3 x 3 pen hung below and to the right of (1, 1), opaque red.
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++) {
            const bool inPen = h >= 1 && h < 4 && v >= 1 && v < 4;
            EXPECT_EQ(Pixel(world.get(), h, v), inPen ? 0x0000FFFFu : 0u) << h << "," << v;
        }
    expectPen(2, 0, 11, custom.pnPat.pat);
    EXPECT_EQ(Colours(), colours);
    PenNormal();
}

TEST(Guards, LocksNestAndRestoreThePixelsState)
{
    World world = MakeWorld(4, 4);
    PixMapHandle pm = GetGWorldPixMap(world.get());
    auto locked = [pm] { return (GetPixelsState(pm) & pixelsLocked) != 0; };
    EXPECT_FALSE(locked());
    {
        StLock outer(world.get());
        EXPECT_TRUE(locked());
        {
            StLock inner(pm);
        }
        // The inner guard found the pixels locked and leaves them locked.
        EXPECT_TRUE(locked());
    }
    EXPECT_FALSE(locked());
    LockPixels(pm);
    {
        StLock lock(pm);
    }
    EXPECT_TRUE(locked());
    UnlockPixels(pm);
    UnlockPixels(pm); // unlocking unlocked pixels does no harm
    EXPECT_FALSE(locked());
}

TEST(Guards, OffscreenOwnsAWorldOrThrowsTheErrorCode)
{
    {
        StOffscreen offscreen(40, 30, 32);
        GWorldPtr world = offscreen;
        ASSERT_NE(world, nullptr);
        Rect b;
        GetPortBounds(world, &b);
        EXPECT_EQ(b, R(0, 0, 40, 30));
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
                          Case{0, 2, 0}, Case{9, 2, 48}, Case{-1, 5, 0}}) {
        int32_t rowBytes = -1;
        void* block = NewImageBuffer(c.width, c.height, rowBytes);
        EXPECT_EQ(rowBytes, c.rowBytes) << c.width << " x " << c.height;
        const size_t size = static_cast<size_t>(rowBytes) * c.height;
        if (c.width < 0) {
            EXPECT_EQ(block, nullptr);
        }
        // The whole block is ours to write (AddressSanitizer checks the end).
        if (size) {
            ASSERT_NE(block, nullptr);
            memset(block, 0xAB, size);
        }
        std::free(block);
    }
}

} // namespace
