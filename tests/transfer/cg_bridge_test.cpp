#include <gtest/gtest.h>

#include <cairo.h>

#include <cmath>
#include <random>
#include <vector>

#include "platform/coregraphics.h"
#include "sprig/blend.h"
#include "sprig/transfer.h"
#include "tests/test_util.h"

namespace {

// Coverage of each pixel by the outline AltCGFrameRect strokes, from its
// geometry (supersampled 16 x 16): the rectangle's path runs, in the y-up
// space of the world, from its bottom-left corner right, up, left and back,
// butt caps at dash ends, mitred corners where the dash is on.
double FrameCoverage(const Rect& rect, int worldHeight, int lineWidth, bool dashed, int h, int v)
{
    const bool odd = lineWidth % 2 != 0;
    const double o = odd ? -0.5 : 0, e = odd ? -1 : 0;
    const double X = rect.left - o, Y = (worldHeight - rect.bottom) + o;
    const double W = (rect.right - rect.left) + e, H = (rect.bottom - rect.top) + e;
    const double corners[5][2] = {{X, Y}, {X + W, Y}, {X + W, Y + H}, {X, Y + H}, {X, Y}};
    const double half = lineWidth / 2.0;
    auto on = [&](double s) { return !dashed || std::fmod(s, 6.0) < 3.0; };
    int hits = 0;
    for (int sy = 0; sy < 16; sy++)
        for (int sx = 0; sx < 16; sx++) {
            const double px = h + (sx + 0.5) / 16, py = worldHeight - (v + (sy + 0.5) / 16);
            bool covered = false;
            double start = 0;
            for (int i = 0; i < 4 && !covered; i++) {
                const double ax = corners[i][0], ay = corners[i][1];
                const double bx = corners[i + 1][0], by = corners[i + 1][1];
                const double length = std::hypot(bx - ax, by - ay);
                const double dx = (bx - ax) / length, dy = (by - ay) / length;
                const double t = (px - ax) * dx + (py - ay) * dy;
                const double n = -(px - ax) * dy + (py - ay) * dx;
                if (t >= 0 && t <= length && std::fabs(n) <= half && on(start + t))
                    covered = true;
                // The corner at the end of this side, when the dash runs through it.
                if (i < 3 || !dashed)
                    if (std::fabs(px - bx) <= half && std::fabs(py - by) <= half &&
                        on(start + length))
                        covered = true;
                start += length;
            }
            hits += covered;
        }
    return hits / 256.0;
}

void CheckFrame(int lineWidth, bool dashed, const Rect& rect)
{
    SCOPED_TRACE(testing::Message() << "width " << lineWidth << (dashed ? " dashed" : " solid"));
    const int width = 24, height = 20;
    World world = MakeWorld(width, height);
    FillRandom(world.get(), 17);
    World before = MakeWorld(width, height);
    FillRandom(before.get(), 17);
    Rect r = rect;
    AltCGFrameRect(world.get(), &r, 0xFFFF, 0x8000, 0x0000, 255, lineWidth, dashed);
    int full = 0, partial = 0;
    for (int v = 0; v < height; v++)
        for (int h = 0; h < width; h++) {
            const double c = FrameCoverage(rect, height, lineWidth, dashed, h, v);
            const uint32_t got = Pixel(world.get(), h, v);
            const uint32_t old = Pixel(before.get(), h, v);
            if (c == 0) {
                ASSERT_EQ(got, old) << "untouched " << h << "," << v;
            } else if (c == 1) {
                ASSERT_EQ(got, 0x0080FFFFu) << "covered " << h << "," << v;
                full++;
            } else {
                // Source over in premultiplied form, byte by byte.
                const uint32_t src = 0x0080FFFF;
                for (int lane = 0; lane < 4; lane++) {
                    const double s = (src >> (8 * lane)) & 0xFF, d = (old >> (8 * lane)) & 0xFF;
                    const double expected = s * c + d * (1 - c);
                    ASSERT_NEAR(((got >> (8 * lane)) & 0xFF), expected, 3.0)
                        << "partial " << h << "," << v << " lane " << lane;
                }
                partial++;
            }
        }
    EXPECT_GT(full, 10);
    if (lineWidth % 2 == 0 || !dashed) {
        EXPECT_EQ(partial, 0); // everything on pixel edges
    }
}

TEST(AltCGFrameRect, SolidAndDashedWidthsOneAndTwoPixelByPixel)
{
    // Sizes chosen so that no corner falls on the end of a dash.
    CheckFrame(1, false, R(3, 4, 15, 14));
    CheckFrame(2, false, R(3, 4, 14, 13));
    CheckFrame(1, true, R(3, 4, 15, 14));
    CheckFrame(2, true, R(3, 4, 14, 13));
    // Width 1 on a 100-row world: rows top + 1 to bottom, columns left to right - 1.
    World tall = MakeWorld(10, 100);
    Rect r = R(2, 10, 6, 20);
    AltCGFrameRect(tall.get(), &r, 0, 0, 0xFFFF, 255, 1, false);
    EXPECT_EQ(Pixel(tall.get(), 2, 11), 0xFF0000FFu);
    EXPECT_EQ(Pixel(tall.get(), 5, 20), 0xFF0000FFu);
    EXPECT_EQ(Pixel(tall.get(), 2, 10), 0u);
    EXPECT_EQ(Pixel(tall.get(), 6, 15), 0u);
    EXPECT_EQ(Pixel(tall.get(), 5, 15), 0xFF0000FFu);
}

// Four quadrants: opaque red, opaque blue, transparent, half-alpha green.
void PaintQuadrants(GWorldPtr world)
{
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++) {
            const bool right = h >= b.right / 2, lower = v >= b.bottom / 2;
            Pixel(world, h, v) =
                !lower ? (right ? 0xFF0000FF : 0x0000FFFF) : (right ? 0x00FF0080 : 0x12345600);
        }
}

TEST(DrawOffscreenToHIView, AWorldFillsAViewTwiceItsSize)
{
    World world = MakeWorld(100, 50);
    PaintQuadrants(world.get());
    HIViewRef view = HIViewCreateOffscreen(200, 100);
    GWorldPtr screen = HIViewGetGWorld(view);
    FillWith(screen, 0xFFFFFFFF);
    CGContextRef ctx = HIViewCreateDrawContext(view);
    DrawOffscreenToHIView(world.get(), ctx, view, kCGImageAlphaFirst);
    CGContextRelease(ctx);
    // Green at alpha 128 over opaque white: 128 + 127 in green, 127 in red
    // and blue, opaque.
    const uint32_t greenOverWhite = 0x7FFF7FFF;
    for (int v = 0; v < 100; v++)
        for (int h = 0; h < 200; h++) {
            const int fromEdgeH = std::abs(h - 100) < 3, fromEdgeV = std::abs(v - 50) < 3;
            if (fromEdgeH || fromEdgeV)
                continue; // filtered seams between quadrants
            const uint32_t expected = v < 50 ? (h < 100 ? 0x0000FFFF : 0xFF0000FF)
                                             : (h < 100 ? 0xFFFFFFFF : greenOverWhite);
            ASSERT_EQ(Pixel(screen, h, v), expected) << h << "," << v;
        }
    EXPECT_EQ(HIViewCountInvalidRects(view), 0);
    HIViewRelease(view);
}

TEST(CGCopyBits, DrawsAtAnotherSizeWithinTheClip)
{
    World src = MakeWorld(8, 8);
    FillWith(src.get(), 0x4080C0FF);
    World dst = MakeWorld(40, 30);
    FillRandom(dst.get(), 21);
    World before = MakeWorld(40, 30);
    FillRandom(before.get(), 21);
    RgnHandle clip = NewRgn();
    SetRectRgn(clip, 10, 5, 25, 20);
    SetPortClipRegion(dst.get(), clip);
    Rect s = R(0, 0, 8, 8);
    Rect d = R(4, 3, 36, 27); // four times as large
    CGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, true, false);
    for (int v = 0; v < 30; v++)
        for (int h = 0; h < 40; h++) {
            const bool inside = h >= 10 && h < 25 && v >= 5 && v < 20;
            ASSERT_EQ(Pixel(dst.get(), h, v), inside ? 0x4080C0FFu : Pixel(before.get(), h, v))
                << h << "," << v;
        }

    // A part of the source goes through a temporary world: the right half,
    // transparent there, leaves the destination alone.
    for (int v = 0; v < 8; v++)
        for (int h = 4; h < 8; h++)
            Pixel(src.get(), h, v) = 0xFFFFFF00;
    FillRandom(dst.get(), 22);
    FillRandom(before.get(), 22);
    s = R(2, 0, 6, 8); // two opaque columns, two transparent ones
    d = R(0, 0, 8, 16);
    RectRgn(clip, &d);
    SetPortClipRegion(dst.get(), clip);
    CGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, false, true);
    for (int v = 0; v < 16; v++) {
        EXPECT_EQ(Pixel(dst.get(), 1, v), 0x4080C0FFu) << v;
        EXPECT_EQ(Pixel(dst.get(), 6, v), Pixel(before.get(), 6, v)) << v;
    }
    EXPECT_EQ(Pixel(dst.get(), 1, 16), Pixel(before.get(), 1, 16));
    DisposeRgn(clip);
}

TEST(CGCopyBits, ScaledSoftPictureOverTransparentWhiteKeepsItsColours)
{
    // A picture of one colour whose alpha falls off towards its edges,
    // enlarged the way a picture is resized: drawn over transparent white,
    // then un-mixed from white.
    const uint32_t colour = (90u << 24) | (40u << 16) | (200u << 8);
    World src = MakeWorld(12, 12);
    for (int v = 0; v < 12; v++)
        for (int h = 0; h < 12; h++) {
            const double d = std::hypot(h - 5.5, v - 5.5);
            const int alpha = std::max(0, std::min(255, static_cast<int>(255 * (6 - d) / 3)));
            Pixel(src.get(), h, v) = colour | static_cast<uint32_t>(alpha);
        }
    World dst = MakeWorld(30, 30);
    FillOffscreen(dst.get(), 0xFFFFFF00);
    Rect s = R(0, 0, 12, 12);
    Rect d = R(0, 0, 30, 30);
    CGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, true, false);
    int soft = 0;
    for (int v = 0; v < 30; v++)
        for (int h = 0; h < 30; h++) {
            const uint32_t a = Pixel(dst.get(), h, v) & 0xFF;
            if (a > 0 && a < 255)
                soft++;
        }
    EXPECT_GT(soft, 50);
    RecreateColors(dst.get(), 0xFFFFFF00);
    for (int v = 0; v < 30; v++)
        for (int h = 0; h < 30; h++) {
            const uint32_t p = Pixel(dst.get(), h, v);
            const int a = static_cast<int>(p & 0xFF);
            if (a == 0) {
                ASSERT_EQ(p, 0xFFFFFF00u);
                continue;
            }
            // Rounding in the mix is magnified by 255 / a when it is undone.
            const int tolerance = 2 + 255 / a;
            for (int lane = 1; lane < 4; lane++)
                ASSERT_NEAR(static_cast<int>((p >> (8 * lane)) & 0xFF),
                            static_cast<int>((colour >> (8 * lane)) & 0xFF), tolerance)
                    << h << "," << v << " alpha " << a;
        }
}

TEST(DrawOffscreenToContext, PlacesTheWorldInThousandthsYUp)
{
    World world = MakeWorld(1, 1);
    Pixel(world.get(), 0, 0) = 0x0000FFFF; // opaque red
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 40, 40);
    cairo_t* cr = cairo_create(surface);
    CGContextRef ctx = CGContextCreateWithCairo(cr, 40);
    // The rectangle (12.5, -0.5, 10, 20): x from 12.5 to 22.5, and in the
    // y-down surface from row 20.5 to 40.5.
    DrawOffscreenToContext(world.get(), ctx, 12500, -500, 10, 20, kCGImageAlphaFirst);
    CGContextRelease(ctx);
    cairo_surface_flush(surface);
    const auto* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    auto at = [&](int h, int v) { return reinterpret_cast<const uint32_t*>(data + v * stride)[h]; };
    EXPECT_EQ(at(13, 21), 0xFFFF0000u);
    EXPECT_EQ(at(21, 39), 0xFFFF0000u);
    EXPECT_EQ(at(11, 30), 0u);
    EXPECT_EQ(at(23, 30), 0u);
    EXPECT_EQ(at(15, 19), 0u);
    EXPECT_NEAR(static_cast<int>(at(12, 30) >> 24), 128, 2); // half covered
    EXPECT_NEAR(static_cast<int>(at(15, 20) >> 24), 128, 2);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

TEST(DrawCGImageToOffscreen, ReadsTheDestinationBottomUpAndRespectsTheClip)
{
    World picture = MakeWorld(2, 2);
    FillWith(picture.get(), 0x00FF00FF);
    PixMapHandle pm = GetGWorldPixMap(picture.get());
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        nullptr, GetPixBaseAddr(pm), 2 * size_t(GetPixRowBytes(pm)), nullptr);
    CGImageRef image =
        CGImageCreate(2, 2, 8, 32, size_t(GetPixRowBytes(pm)), CGColorSpaceCreateDeviceRGB(),
                      kCGImageAlphaFirst, provider, nullptr, false, kCGRenderingIntentDefault);
    World world = MakeWorld(10, 10);
    FillRandom(world.get(), 8);
    World before = MakeWorld(10, 10);
    FillRandom(before.get(), 8);
    Rect dst = R(1, 2, 5, 6); // rows 10 - 6 = 4 to 7 counted from the top
    EXPECT_EQ(DrawCGImageToOffscreen(world.get(), &dst, nullptr, image), noErr);
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++) {
            const bool inside = h >= 1 && h < 5 && v >= 4 && v < 8;
            ASSERT_EQ(Pixel(world.get(), h, v), inside ? 0x00FF00FFu : Pixel(before.get(), h, v));
        }
    FillRandom(world.get(), 8);
    Rect clip = R(0, 0, 3, 6);
    EXPECT_EQ(DrawCGImageToOffscreen(world.get(), &dst, &clip, image), noErr);
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++) {
            const bool inside = h >= 1 && h < 3 && v >= 4 && v < 6;
            ASSERT_EQ(Pixel(world.get(), h, v), inside ? 0x00FF00FFu : Pixel(before.get(), h, v));
        }
    CGImageRelease(image);
    CGDataProviderRelease(provider);
}

TEST(CGCopyBitsToContext, WholeWorldsAndPartsLandAtTheFlippedRectangle)
{
    World src = MakeWorld(7, 4);
    FillWith(src.get(), 0xFF0000FF);
    for (int v = 0; v < 4; v++)
        Pixel(src.get(), 1, v) = 0x0000FFFF; // a red column
    HIViewRef view = HIViewCreateOffscreen(20, 12);
    GWorldPtr screen = HIViewGetGWorld(view);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(screen, &ctx), noErr); // y up, 12 tall
    Rect area = R(0, 0, 20, 12);
    Rect whole = R(0, 0, 7, 4);
    Rect at = R(2, 8, 9, 12); // touching the bottom edge: drawn at y = 0
    CGCopyBitsToContext(src.get(), ctx, &whole, &at, kCGImageAlphaFirst, &area);
    Rect part = R(1, 0, 6, 4); // 5 wide: a padded buffer
    Rect at2 = R(10, 1, 15, 5);
    CGCopyBitsToContext(src.get(), ctx, &part, &at2, kCGImageAlphaFirst, &area);
    QDEndCGContext(screen, &ctx);
    for (int v = 8; v < 12; v++) {
        EXPECT_EQ(Pixel(screen, 2, v), 0xFF0000FFu);
        EXPECT_EQ(Pixel(screen, 3, v), 0x0000FFFFu);
        EXPECT_EQ(Pixel(screen, 9, v), 0u);
    }
    EXPECT_EQ(Pixel(screen, 2, 7), 0u);
    for (int v = 1; v < 5; v++) {
        EXPECT_EQ(Pixel(screen, 10, v), 0x0000FFFFu);
        EXPECT_EQ(Pixel(screen, 11, v), 0xFF0000FFu);
        EXPECT_EQ(Pixel(screen, 15, v), 0u);
    }
    EXPECT_EQ(Pixel(screen, 10, 0), 0u);
    HIViewRelease(view);
}

TEST(MyCGCopyBits, SameSizeBlendsInSoftwareOtherSizesScale)
{
    World src = MakeWorld(6, 6);
    FillRandom(src.get(), 31);
    World dst = MakeWorld(8, 8);
    FillRandom(dst.get(), 32);
    World before = MakeWorld(8, 8);
    FillRandom(before.get(), 32);
    Rect s = R(1, 1, 5, 5);
    Rect d = R(5, 6, 9, 10); // clipped to the world's corner
    MyCGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, false, false);
    for (int v = 0; v < 8; v++)
        for (int h = 0; h < 8; h++) {
            uint32_t expected = Pixel(before.get(), h, v);
            if (h >= 5 && v >= 6)
                expected = MyMixColors(Pixel(src.get(), h - 4, v - 5), expected);
            ASSERT_EQ(Pixel(dst.get(), h, v), expected) << h << "," << v;
        }

    FillWith(src.get(), 0x123456FF);
    Rect all = R(0, 0, 6, 6);
    Rect big = R(0, 0, 8, 8);
    MyCGCopyBits(src.get(), dst.get(), &all, &big, kCGImageAlphaFirst, false, false);
    for (int v = 0; v < 8; v++)
        for (int h = 0; h < 8; h++)
            ASSERT_EQ(Pixel(dst.get(), h, v), 0x123456FFu);
}

} // namespace
