// Worlds, ports, pens, regions and CopyBits; views, draw events, alerts,
// scaling and images of the platform layer.
#include <cstring>
#include <string>
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
    EXPECT_EQ(PixelsOf(world.get()), expected);
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
        EXPECT_TRUE(EachPixel(to, [&](int h, int v) {
            const int x = c.src.left + (h - c.dst.left) * (c.src.right - c.src.left) /
                                           (c.dst.right - c.dst.left);
            const int y = c.src.top +
                          (v - c.dst.top) * (c.src.bottom - c.src.top) / (c.dst.bottom - c.dst.top);
            return Inside(c.dst, h, v) && (!c.masked || (h >= 1 && h < 3))
                       ? Pixel(from.get(), x, y)
                       : Pixel(under.get(), h, v);
        })) << c.dst;
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
    EXPECT_EQ(PixelsOf(dst.get()), std::vector<uint32_t>(4, 0u));
}

// A view's rectangle as (left, top, right, bottom).
Rect Whole(const CGRect& r)
{
    return R(int(r.origin.x), int(r.origin.y), int(r.origin.x + r.size.width),
             int(r.origin.y + r.size.height));
}

TEST(HIView, InvalidationsAreRecordedAndPassedToTheHost)
{
    std::vector<Rect> host;
    HIViewRef view = HIViewCreateForHost(
        300, 200,
        [](void* info, const CGRect* r) {
            static_cast<std::vector<Rect>*>(info)->push_back(Whole(*r));
        },
        &host);
    ASSERT_NE(view, nullptr);
    HIRect got;
    ASSERT_EQ(HIViewGetBounds(view, &got), noErr);
    EXPECT_EQ(Whole(got), R(0, 0, 300, 200));
    EXPECT_EQ(HIViewGetGWorld(view), nullptr);
    EXPECT_EQ(HIViewCreateDrawContext(view), nullptr);

    const HIRect r = CGRectMake(10, 20, 30, 40);
    HIViewSetNeedsDisplayInRect(view, &r, true);
    HIViewSetNeedsDisplayInRect(view, &r, false); // asks for nothing
    HIViewSetNeedsDisplayInRegion(view, Region({R(0, 0, 5, 5), R(100, 50, 110, 60)}).handle, true);
    const std::vector<Rect> expected = {R(10, 20, 40, 60), R(0, 0, 5, 5), R(100, 50, 110, 60)};
    EXPECT_EQ(host, expected);
    ASSERT_EQ(HIViewCountInvalidRects(view), 3);
    for (int i = 0; i < 3; i++) {
        ASSERT_TRUE(HIViewGetInvalidRect(view, i, &got));
        EXPECT_EQ(Whole(got), expected[size_t(i)]);
    }
    EXPECT_FALSE(HIViewGetInvalidRect(view, 3, &got));
    EXPECT_FALSE(HIViewGetInvalidRect(view, -1, &got));
    HIViewClearInvalidRects(view);
    EXPECT_EQ(HIViewCountInvalidRects(view), 0);
    HIViewRelease(view);

    EXPECT_EQ(HIViewCreateOffscreen(5000, 10), nullptr);
    EXPECT_EQ(HIViewCreateForHost(-1, 10, nullptr, nullptr), nullptr);
}

TEST(DrawEvent, CarriesACopyOfItsRegion)
{
    EventRef event = CreateDrawEvent(Region({R(1, 2, 3, 4)}).handle);
    RgnHandle got = nullptr;
    EventParamType type = 0;
    uint32_t size = 0;
    ASSERT_EQ(GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, &type, sizeof got,
                                &size, &got),
              noErr);
    EXPECT_EQ(type, typeQDRgnHandle);
    EXPECT_EQ(size, sizeof got);
    Rect r;
    GetRegionBounds(got, &r);
    EXPECT_EQ(r, R(1, 2, 3, 4));
    EXPECT_EQ(
        GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, nullptr, 4, nullptr, &got),
        errAEBufferTooSmall);
    ReleaseEvent(event);

    EventRef none = CreateDrawEvent(nullptr);
    EXPECT_EQ(GetEventParameter(none, kEventParamRgnHandle, typeQDRgnHandle, nullptr, sizeof got,
                                nullptr, &got),
              eventParameterNotFoundErr);
    ReleaseEvent(none);
}

TEST(StandardAlert, DefaultWritesBothTextsToStandardError)
{
    testing::internal::CaptureStderr();
    int16_t hit = 0;
    EXPECT_EQ(StandardAlert(kAlertStopAlert, reinterpret_cast<const unsigned char*>("\x05Stop!"),
                            reinterpret_cast<const unsigned char*>("\x03Why"), nullptr, &hit),
              noErr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Stop!\nWhy\n");
    EXPECT_EQ(hit, 1);
}

TEST(vImageScale, ScalesEachChannelOnItsOwn)
{
    // Uniform pictures stay uniform at any size, alpha included and without
    // premultiplying: a colour brighter than its alpha survives.
    std::vector<uint32_t> src(16 * 8, 0x80FF2040), dst(7 * 20, 0);
    vImage_Buffer from = {src.data(), 8, 16, 64};
    vImage_Buffer to = {dst.data(), 20, 7, 28};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &to, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    EXPECT_EQ(dst, std::vector<uint32_t>(7 * 20, 0x80FF2040));

    // A hard edge shrinks to a soft one; halves far from it keep their values.
    for (int i = 0; i < 16 * 8; i++)
        src[size_t(i)] = i % 16 < 8 ? 0x000000FF : 0xFFFFFFFF;
    std::vector<uint32_t> half(8 * 4);
    vImage_Buffer small = {half.data(), 4, 8, 32};
    ASSERT_EQ(vImageScale_ARGB8888(&from, &small, nullptr, kvImageHighQualityResampling),
              kvImageNoError);
    EXPECT_EQ(half[0], 0x000000FFu);
    EXPECT_EQ(half[7], 0xFFFFFFFFu);
    const uint32_t red3 = (half[3] >> 8) & 0xFF, red4 = (half[4] >> 8) & 0xFF;
    EXPECT_TRUE(0 < red4 && red3 < red4 && red3 < 255) << red3 << " " << red4;

    vImage_Buffer bad = {dst.data(), 20, 7, 27};
    EXPECT_EQ(vImageScale_ARGB8888(&from, &bad, nullptr, 0), kvImageInvalidParameter);
}

TEST(CGImage, RejectsLayoutsAndSizesItCannotDraw)
{
    std::vector<uint32_t> pixels(4 * 4);
    int released = 0;
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        &released, pixels.data(), pixels.size() * 4,
        [](void* info, const void*, uint32_t size) { *static_cast<int*>(info) += int(size); });
    CGColorSpaceRef rgb = CGColorSpaceCreateDeviceRGB();
    EXPECT_EQ(CGImageCreate(4, 4, 8, 24, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 4, 8, 32, 16, rgb, 7, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 5, 8, 32, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(0, 4, 8, 32, 16, rgb, 4, provider, nullptr, false, 0), nullptr);
    EXPECT_EQ(CGImageCreate(4, 4, 8, 32, 8, rgb, 4, provider, nullptr, false, 0), nullptr);
    CGImageRef image = CGImageCreate(4, 4, 8, 32, 16, rgb, 4, provider, nullptr, false, 0);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(CGImageGetWidth(image), 4u);
    CGDataProviderRelease(provider);
    EXPECT_EQ(released, 0); // the image still holds the data
    CGImageRetain(image);
    CGImageRelease(image);
    EXPECT_EQ(released, 0);
    CGImageRelease(image);
    EXPECT_EQ(released, 64);
}

} // namespace
