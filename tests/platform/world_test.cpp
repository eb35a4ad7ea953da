#include <cstring>
#include <vector>

#include "tests/platform/cg_fixture.h"

namespace {

TEST(Worlds, PixelMapDescribesThirtyTwoBitPixelsFromTheOrigin)
{
    for (int width : {1, 3, 4, 5, 480, 4092}) {
        World world = MakeWorld(width, 7);
        ASSERT_NE(world, nullptr);
        PixMapHandle pm = GetGWorldPixMap(world.get());
        EXPECT_EQ(pm, GetPortPixMap(world.get()));
        const PixMap& map = **pm;
        const int rowBytes = GetPixRowBytes(pm);
        EXPECT_EQ(map.rowBytes & 0xFFFF, rowBytes | 0x8000) << "flag bit marks a pixel map";
        EXPECT_TRUE(rowBytes >= 4 * width && rowBytes % 16 == 0 && rowBytes <= 0x3FFF) << rowBytes;
        if (width == 3) {
            EXPECT_EQ(rowBytes, 16);
        }
        EXPECT_EQ(map.pixelSize, 32);
        EXPECT_EQ(map.cmpSize, 8);
        EXPECT_EQ(map.baseAddr, GetPixBaseAddr(pm));
        EXPECT_EQ(Bounds(world.get()), map.bounds);
        EXPECT_EQ(Bounds(world.get()), R(0, 0, width, 7));
        // New pixels are transparent black, padding included.
        const std::vector<uint8_t> zero(static_cast<size_t>(rowBytes) * 7, 0);
        EXPECT_EQ(0, memcmp(map.baseAddr, zero.data(), zero.size()));
    }
}

TEST(Worlds, SizesAreMadeAtTheOriginOrRefusedWithNoWorld)
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
          Case{0, 0, 4092, 1, 32, 0, noErr}, Case{10, 20, 15, 23, 0, 0, noErr}}) {
        GWorldPtr world = reinterpret_cast<GWorldPtr>(&world);
        Rect bounds = R(c.left, c.top, c.right, c.bottom);
        EXPECT_EQ(NewGWorld(&world, c.depth, &bounds, nullptr, nullptr, c.flags), c.expected)
            << bounds << " depth " << c.depth;
        EXPECT_EQ(world != nullptr, c.expected == noErr);
        if (world) {
            EXPECT_EQ(Bounds(world), R(0, 0, c.right - c.left, c.bottom - c.top));
        }
        DisposeGWorld(world);
    }
}

TEST(Worlds, WorldOverCallersMemory)
{
    std::vector<uint32_t> pixels(6 * 2, 0x11223344);
    GWorldPtr world = nullptr;
    Rect bounds = R(0, 0, 5, 2);
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

// The colour GetCPixel reads, as (red, green, blue).
std::vector<int> ReadPixel(int h, int v)
{
    RGBColor c = {1, 1, 1};
    GetCPixel(static_cast<int16_t>(h), static_cast<int16_t>(v), &c);
    return {c.red, c.green, c.blue};
}

TEST(Ports, GetCPixelSwapsAndDisposedPortsStopBeingCurrent)
{
    // Each channel of the current world widened; transparent white reads
    // as white; outside the world, black.
    World world = MakeWorld(3, 2);
    Pixel(world.get(), 2, 1) = 0x7F0180FF; // blue 0x7F, green 0x01, red 0x80, alpha 0xFF
    Pixel(world.get(), 0, 0) = 0xFFFFFF00;
    {
        StGWorld current(world.get());
        EXPECT_EQ(ReadPixel(2, 1), (std::vector<int>{0x8080, 0x0101, 0x7F7F}));
        EXPECT_EQ(ReadPixel(0, 0), (std::vector<int>{0xFFFF, 0xFFFF, 0xFFFF}));
        EXPECT_EQ(ReadPixel(3, 0), (std::vector<int>{0, 0, 0}));
    }

    World a = MakeWorld(1, 1), b = MakeWorld(1, 1);
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
    // A port with no pixels reads black and does not crash.
    EXPECT_EQ(ReadPixel(0, 0), (std::vector<int>{0, 0, 0}));
    Rect r = R(0, 0, 5, 5);
    PaintRect(&r);
}

TEST(Pens, LinesClipToTheWorldAndRoundColoursToNearest)
{
    World world = MakeWorld(6, 4);
    StGWorld current(world.get());
    RGBColor colour = {0xFFFF, 0xFF77, 0x0101};
    StPen pen(2, &colour);
    MoveTo(-3, 2);
    LineTo(8, 2); // runs off both sides
    PenState state;
    GetPenState(&state);
    EXPECT_EQ(state.pnLoc.h, 8);
    EXPECT_EQ(state.pnLoc.v, 2);
    PenSize(0, 0);
    MoveTo(0, 0);
    LineTo(5, 0); // an empty pen paints nothing
    // Blue 1, green 254, red 255, opaque, on the two lower rows.
    std::vector<uint32_t> expected(24, 0u);
    std::fill(expected.begin() + 12, expected.end(), 0x01FEFFFFu);
    EXPECT_EQ(Words(world.get()), expected);
}

TEST(Regions, RectanglesIntersectionsAndEmptiness)
{
    RgnHandle a = NewRgn(), b = NewRgn(), out = NewRgn();
    EXPECT_TRUE(EmptyRgn(a));
    Rect r = R(0, 0, 10, 10), bounds;
    RectRgn(a, &r);
    r = R(5, 5, 20, 8);
    RectRgn(b, &r);
    SectRgn(a, b, out);
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

    r = R(20, 0, 30, 10);
    RectRgn(b, &r);
    SectRgn(a, b, out);
    EXPECT_TRUE(EmptyRgn(out));
    r = R(5, 5, 5, 9); // an empty rectangle makes an empty region
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
