#include <gtest/gtest.h>

#include <vector>

#include "tests/test_util.h"

namespace {

TEST(Worlds, PixelMapDescribesThirtyTwoBitPixelsFromTheOrigin)
{
    for (int width : {1, 3, 4, 5, 480, 4092}) {
        World world = MakeWorld(width, 7);
        ASSERT_NE(world, nullptr);
        PixMapHandle pm = GetGWorldPixMap(world.get());
        EXPECT_EQ(pm, GetPortPixMap(world.get()));
        const PixMap& map = **pm;
        EXPECT_NE(map.rowBytes & 0x8000, 0) << "flag bit marks a pixel map";
        EXPECT_EQ(map.rowBytes & 0x7FFF, GetPixRowBytes(pm));
        EXPECT_GE(GetPixRowBytes(pm), 4 * width);
        EXPECT_EQ(GetPixRowBytes(pm) % 16, 0);
        EXPECT_LE(GetPixRowBytes(pm), 0x3FFF);
        EXPECT_EQ(map.pixelSize, 32);
        EXPECT_EQ(map.cmpSize, 8);
        EXPECT_EQ(map.baseAddr, GetPixBaseAddr(pm));
        Rect bounds;
        GetPortBounds(world.get(), &bounds);
        EXPECT_TRUE(EqualRect(&bounds, &map.bounds));
        EXPECT_EQ(bounds, R(0, 0, width, 7));
        // New pixels are transparent black, padding included.
        const auto* bytes = reinterpret_cast<const uint8_t*>(map.baseAddr);
        std::vector<uint8_t> zero(static_cast<size_t>(GetPixRowBytes(pm)) * 7, 0);
        EXPECT_EQ(0, memcmp(bytes, zero.data(), zero.size()));
    }
    World three = MakeWorld(3, 1);
    EXPECT_EQ(GetPixRowBytes(GetGWorldPixMap(three.get())), 16);
}

TEST(Worlds, BoundsAreMovedToTheOrigin)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 10, 20, 15, 23);
    ASSERT_EQ(NewGWorld(&world, 0, &bounds, nullptr, nullptr, 0), noErr);
    Rect got;
    GetPortBounds(world, &got);
    EXPECT_EQ(got, R(0, 0, 5, 3));
    DisposeGWorld(world);
}

TEST(Worlds, UnmakeableSizesGiveAnErrorAndNoWorld)
{
    struct Case
    {
        int left, top, right, bottom;
        int16_t depth;
        GWorldFlags flags;
        OSErr expected;
    };
    for (const Case& c :
         {Case{0, 0, -1, 5, 32, 0, paramErr}, Case{0, 0, 5, -1, 32, 0, paramErr},
          Case{0, 0, 4093, 1, 32, 0, paramErr}, Case{-32768, 0, 32767, 1, 32, 0, paramErr},
          Case{0, 0, 4, 4, 16, 0, cDepthErr}, Case{0, 0, 4, 4, 1, 0, cDepthErr},
          Case{0, 0, 4, 4, 32, 4, paramErr}, Case{0, 0, 0, 0, 32, 0, noErr},
          Case{0, 0, 4092, 1, 32, 0, noErr}}) {
        GWorldPtr world = reinterpret_cast<GWorldPtr>(&world);
        Rect bounds;
        SetRect(&bounds, static_cast<int16_t>(c.left), static_cast<int16_t>(c.top),
                static_cast<int16_t>(c.right), static_cast<int16_t>(c.bottom));
        EXPECT_EQ(NewGWorld(&world, c.depth, &bounds, nullptr, nullptr, c.flags), c.expected)
            << c.left << "," << c.top << "," << c.right << "," << c.bottom << " depth " << c.depth;
        EXPECT_EQ(world != nullptr, c.expected == noErr);
        DisposeGWorld(world);
    }
}

TEST(Worlds, WorldOverCallersMemory)
{
    std::vector<uint32_t> pixels(6 * 2, 0x11223344);
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, 5, 2);
    ASSERT_EQ(NewGWorldFromPtr(&world, 0, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(pixels.data()), 24),
              noErr);
    PixMapHandle pm = GetGWorldPixMap(world);
    EXPECT_EQ(GetPixBaseAddr(pm), reinterpret_cast<Ptr>(pixels.data()));
    EXPECT_EQ(GetPixRowBytes(pm), 24);
    EXPECT_EQ(Pixel(world, 0, 1), 0x11223344u);
    DisposeGWorld(world); // the memory stays the caller's
    EXPECT_EQ(pixels[11], 0x11223344u);

    EXPECT_EQ(NewGWorldFromPtr(&world, 0, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(pixels.data()), 16),
              paramErr); // rows shorter than the width
    EXPECT_EQ(world, nullptr);
}

TEST(Worlds, GetCPixelWidensEachChannelOfTheCurrentWorld)
{
    World world = MakeWorld(3, 2);
    Pixel(world.get(), 2, 1) = 0x7F0180FF; // blue 0x7F, green 0x01, red 0x80, alpha 0xFF
    Pixel(world.get(), 0, 0) = 0xFFFFFF00; // transparent white reads as white
    StGWorld current(world.get());
    RGBColor c;
    GetCPixel(2, 1, &c);
    EXPECT_EQ(c.red, 0x8080);
    EXPECT_EQ(c.green, 0x0101);
    EXPECT_EQ(c.blue, 0x7F7F);
    GetCPixel(0, 0, &c);
    EXPECT_EQ(c.red, 0xFFFF);
    EXPECT_EQ(c.green, 0xFFFF);
    EXPECT_EQ(c.blue, 0xFFFF);
    GetCPixel(3, 0, &c); // outside the world
    EXPECT_EQ(c.red | c.green | c.blue, 0);
}

TEST(Ports, SwapReportsAChangeAndDisposedPortsStopBeingCurrent)
{
    World a = MakeWorld(1, 1);
    World b = MakeWorld(1, 1);
    SetPort(a.get());
    CGrafPtr old = nullptr;
    EXPECT_TRUE(QDSwapPort(b.get(), &old));
    EXPECT_EQ(old, a.get());
    EXPECT_FALSE(QDSwapPort(b.get(), nullptr));
    GrafPtr port;
    GetPort(&port);
    EXPECT_EQ(port, b.get());

    World doomed = MakeWorld(2, 2);
    SetPort(doomed.get());
    doomed.reset();
    GetPort(&port);
    EXPECT_NE(port, nullptr);
    EXPECT_NE(port, a.get());
    RGBColor c = {1, 1, 1};
    GetCPixel(0, 0, &c); // a port with no pixels reads black and does not crash
    EXPECT_EQ(c.red, 0);
    Rect r;
    SetRect(&r, 0, 0, 5, 5);
    PaintRect(&r);
}

TEST(Pens, LinesClipToTheWorldAndRoundColoursToNearest)
{
    World world = MakeWorld(6, 4);
    StGWorld current(world.get());
    RGBColor colour = {0xFFFF, 0xFF77, 0x0101};
    StPen pen(2, &colour);
    MoveTo(-3, 2);
    LineTo(8, 2);                          // runs off both sides
    const uint32_t expected = 0x01FEFFFFu; // blue 1, green 254, red 255, opaque
    for (int v = 0; v < 4; v++)
        for (int h = 0; h < 6; h++)
            EXPECT_EQ(Pixel(world.get(), h, v), v >= 2 ? expected : 0u) << h << "," << v;
    PenState state;
    GetPenState(&state);
    EXPECT_EQ(state.pnLoc.h, 8);
    EXPECT_EQ(state.pnLoc.v, 2);
    PenSize(0, 0);
    MoveTo(0, 0);
    LineTo(5, 0); // an empty pen paints nothing
    EXPECT_EQ(Pixel(world.get(), 3, 0), 0u);
}

TEST(Regions, RectanglesIntersectionsAndEmptiness)
{
    RgnHandle a = NewRgn();
    RgnHandle b = NewRgn();
    RgnHandle out = NewRgn();
    EXPECT_TRUE(EmptyRgn(a));
    Rect r;
    SetRect(&r, 0, 0, 10, 10);
    RectRgn(a, &r);
    SetRect(&r, 5, 5, 20, 8);
    RectRgn(b, &r);
    SectRgn(a, b, out);
    Rect bounds;
    GetRegionBounds(out, &bounds);
    EXPECT_EQ(bounds, R(5, 5, 10, 8));
    EXPECT_TRUE(PtInRgn(Point{7, 9}, out));
    EXPECT_FALSE(PtInRgn(Point{8, 9}, out));

    UnionRgn(a, b, out);
    EXPECT_TRUE(PtInRgn(Point{6, 19}, out));
    EXPECT_FALSE(PtInRgn(Point{12, 12}, out));
    DiffRgn(out, a, out);
    EXPECT_FALSE(PtInRgn(Point{6, 6}, out));
    OffsetRgn(out, -10, 0);
    EXPECT_TRUE(PtInRgn(Point{6, 0}, out));

    SetRect(&r, 20, 0, 30, 10);
    RectRgn(b, &r);
    SectRgn(a, b, out);
    EXPECT_TRUE(EmptyRgn(out));
    SetRect(&r, 5, 5, 5, 9); // an empty rectangle makes an empty region
    RectRgn(b, &r);
    EXPECT_TRUE(EmptyRgn(b));
    GetRegionBounds(b, &bounds);
    EXPECT_TRUE(EmptyRect(&bounds));
    DisposeRgn(a);
    DisposeRgn(b);
    DisposeRgn(out);
    DisposeRgn(nullptr);
}

} // namespace
