#include <gtest/gtest.h>

#include <cairo.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <random>
#include <set>
#include <utility>

#include "platform/coregraphics.h"
#include "tests/test_util.h"

namespace {

// A context on a world with the pen set up as the sprite engine does: stage
// coordinates (y down), a colour from 16-bit channels, a width and caps.
CGContextRef PenContext(GWorldPtr world, bool antialias, double width, CGLineCap cap,
                        RGBColor colour, int opacity)
{
    Rect b;
    GetPortBounds(world, &b);
    CGContextRef ctx = nullptr;
    EXPECT_EQ(QDBeginCGContext(world, &ctx), noErr);
    CGContextSetShouldAntialias(ctx, antialias);
    CGContextTranslateCTM(ctx, 0, b.bottom);
    CGContextScaleCTM(ctx, 1, -1);
    CGContextSetRGBStrokeColor(ctx, colour.red / 65535.0f, colour.green / 65535.0f,
                               colour.blue / 65535.0f, opacity / 255.0f);
    CGContextSetLineWidth(ctx, width);
    CGContextSetLineCap(ctx, cap);
    CGContextBeginPath(ctx);
    return ctx;
}

std::set<std::pair<int, int>> ChangedPixels(GWorldPtr world, GWorldPtr before)
{
    std::set<std::pair<int, int>> changed;
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            if (Pixel(world, h, v) != Pixel(before, h, v))
                changed.insert({h, v});
    return changed;
}

const RGBColor kEraseMarker = {0xFFFF, 0xFF77, 0xFFFF};

TEST(CGContext, EraseMarkerHairlineLandsOnExactWordsAndIsConnected)
{
    World world = MakeWorld(64, 48);
    FillRandom(world.get(), 1);
    World before = MakeWorld(64, 48);
    FillRandom(before.get(), 1);
    // A pen of size 1 without antialiasing: width 0.01, square caps, through
    // pixel centres, as the line drawer strokes the erase marker.
    CGContextRef ctx =
        PenContext(world.get(), false, 1 - 0.99, kCGLineCapSquare, kEraseMarker, 255);
    CGContextMoveToPoint(ctx, 3 + 0.5, 40 + 0.5);
    CGContextAddLineToPoint(ctx, 50 + 0.5, 9 + 0.5);
    CGContextStrokePath(ctx);
    QDEndCGContext(world.get(), &ctx);
    EXPECT_EQ(ctx, nullptr);

    const auto changed = ChangedPixels(world.get(), before.get());
    // One pixel per step along the longer axis, ends included, each next to
    // the one before, every one exactly the marker word.
    ASSERT_EQ(changed.size(), 48u);
    for (const auto& [h, v] : changed)
        EXPECT_EQ(Pixel(world.get(), h, v), 0xFFFEFFFFu) << h << "," << v;
    EXPECT_TRUE(changed.count({3, 40}) && changed.count({50, 9}));
    std::set<int> columns;
    for (const auto& [h, v] : changed) {
        columns.insert(h);
        const bool neighbour = changed.count({h + 1, v}) || changed.count({h + 1, v - 1}) ||
                               changed.count({h + 1, v + 1}) || h == 50;
        EXPECT_TRUE(neighbour) << h << "," << v;
    }
    EXPECT_EQ(columns.size(), 48u);
}

TEST(CGContext, HairlinesOfEverySlopeAreConnectedAndOnePixelWide)
{
    std::mt19937 rng(5);
    for (int i = 0; i < 200; i++) {
        World world = MakeWorld(40, 40);
        const int x0 = static_cast<int>(rng() % 40), y0 = static_cast<int>(rng() % 40);
        const int x1 = static_cast<int>(rng() % 40), y1 = static_cast<int>(rng() % 40);
        CGContextRef ctx =
            PenContext(world.get(), false, 0.01, kCGLineCapSquare, {0, 0, 0xFFFF}, 255);
        CGContextMoveToPoint(ctx, x0 + 0.5, y0 + 0.5);
        CGContextAddLineToPoint(ctx, x1 + 0.5 + (x0 == x1 && y0 == y1 ? 0.1 : 0), y1 + 0.5);
        CGContextStrokePath(ctx);
        QDEndCGContext(world.get(), &ctx);
        int count = 0;
        for (int v = 0; v < 40; v++)
            for (int h = 0; h < 40; h++)
                if (Pixel(world.get(), h, v)) {
                    ASSERT_EQ(Pixel(world.get(), h, v), 0xFF0000FFu);
                    count++;
                }
        ASSERT_EQ(count, std::max(std::abs(x1 - x0), std::abs(y1 - y0)) + 1)
            << x0 << "," << y0 << " -> " << x1 << "," << y1;
        ASSERT_TRUE(Pixel(world.get(), x0, y0) && Pixel(world.get(), x1, y1));
    }
}

TEST(CGContext, StrokeColoursRoundToNearestAndAntialiasedCentredLinesAreExact)
{
    World world = MakeWorld(20, 10);
    FillRandom(world.get(), 2);
    World before = MakeWorld(20, 10);
    FillRandom(before.get(), 2);
    // Width 1 along pixel centres covers whole pixels even when antialiased.
    CGContextRef ctx = PenContext(world.get(), true, 1, kCGLineCapButt, kEraseMarker, 255);
    CGContextMoveToPoint(ctx, 2, 4.5);
    CGContextAddLineToPoint(ctx, 15, 4.5);
    CGContextStrokePath(ctx);
    // 65535 * k / 255 gives k in every channel.
    CGContextSetRGBStrokeColor(ctx, 257 * 17 / 65535.0f, 257 * 128 / 65535.0f, 257 * 254 / 65535.0f,
                               1.0f);
    CGContextMoveToPoint(ctx, 2, 7.5);
    CGContextAddLineToPoint(ctx, 15, 7.5);
    CGContextStrokePath(ctx);
    QDEndCGContext(world.get(), &ctx);
    const auto changed = ChangedPixels(world.get(), before.get());
    EXPECT_EQ(changed.size(), 26u);
    for (int h = 2; h < 15; h++) {
        EXPECT_EQ(Pixel(world.get(), h, 4), 0xFFFEFFFFu) << h;
        EXPECT_EQ(Pixel(world.get(), h, 7), 0xFE8011FFu) << h;
    }
}

TEST(CGContext, PixelsAStrokeDoesNotCoverKeepTheirBits)
{
    // An antialiased, partly transparent wide stroke over random pixels
    // (low alphas, colours above alpha): every pixel cairo gives no coverage
    // keeps its exact word; fully covered pixels over opaque ones come out as
    // a blend, never as the old word mangled.
    World world = MakeWorld(80, 60);
    FillRandom(world.get(), 3);
    World before = MakeWorld(80, 60);
    FillRandom(before.get(), 3);
    CGContextRef ctx =
        PenContext(world.get(), true, 5.3, kCGLineCapRound, {0x1234, 0xABCD, 0x8000}, 200);
    CGContextMoveToPoint(ctx, 7.2, 50.7);
    CGContextAddLineToPoint(ctx, 61.9, 12.1);
    CGContextAddLineToPoint(ctx, 70, 55);
    CGContextStrokePath(ctx);
    QDEndCGContext(world.get(), &ctx);

    // The same stroke's coverage, from cairo on an alpha mask.
    cairo_surface_t* mask = cairo_image_surface_create(CAIRO_FORMAT_A8, 80, 60);
    cairo_t* cr = cairo_create(mask);
    cairo_set_line_width(cr, 5.3);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_move_to(cr, 7.2, 50.7);
    cairo_line_to(cr, 61.9, 12.1);
    cairo_line_to(cr, 70, 55);
    cairo_stroke(cr);
    cairo_surface_flush(mask);
    const unsigned char* coverage = cairo_image_surface_get_data(mask);
    const int stride = cairo_image_surface_get_stride(mask);
    int untouched = 0, covered = 0;
    for (int v = 0; v < 60; v++)
        for (int h = 0; h < 80; h++) {
            const unsigned char c = coverage[v * stride + h];
            if (c == 0) {
                ASSERT_EQ(Pixel(world.get(), h, v), Pixel(before.get(), h, v)) << h << "," << v;
                untouched++;
            } else if (c == 255) {
                covered++;
                // Source over, premultiplied: alpha 200 + a * 55 / 255.
                const uint32_t a = Pixel(before.get(), h, v) & 0xFF;
                const uint32_t expected = 200 + (a * 55 + 127) / 255;
                ASSERT_NEAR(static_cast<int>(Pixel(world.get(), h, v) & 0xFF),
                            static_cast<int>(expected), 1);
            }
        }
    EXPECT_GT(untouched, 3000);
    EXPECT_GT(covered, 300);
    cairo_destroy(cr);
    cairo_surface_destroy(mask);
}

TEST(CGContext, ClipToRegionAndSaveRestore)
{
    World world = MakeWorld(30, 20);
    FillRandom(world.get(), 4);
    World before = MakeWorld(30, 20);
    FillRandom(before.get(), 4);
    RgnHandle region = NewRgn();
    RgnHandle second = NewRgn();
    SetRectRgn(region, 2, 2, 10, 8); // top-down world coordinates
    SetRectRgn(second, 20, 12, 25, 18);
    UnionRgn(region, second, region);
    Rect bounds;
    GetPortBounds(world.get(), &bounds);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextSetRGBStrokeColor(ctx, 1, 0, 0, 1);
    CGContextSaveGState(ctx);
    EXPECT_EQ(ClipCGContextToRegion(ctx, &bounds, region), noErr);
    CGContextSetLineWidth(ctx, 40);
    CGContextMoveToPoint(ctx, 0, 10); // y up: across the whole world
    CGContextAddLineToPoint(ctx, 30, 10);
    CGContextStrokePath(ctx);
    CGContextRestoreGState(ctx);
    CGContextRestoreGState(ctx); // one restore too many does nothing
    // After the restore, no clip and width 1 again: row 19 (y 0.5 up).
    CGContextMoveToPoint(ctx, 0, 0.5);
    CGContextAddLineToPoint(ctx, 30, 0.5);
    CGContextStrokePath(ctx);
    QDEndCGContext(world.get(), &ctx);
    for (int v = 0; v < 20; v++)
        for (int h = 0; h < 30; h++) {
            const bool inRegion = (h >= 2 && h < 10 && v >= 2 && v < 8) ||
                                  (h >= 20 && h < 25 && v >= 12 && v < 18) || v == 19;
            ASSERT_EQ(Pixel(world.get(), h, v), inRegion ? 0x0000FFFFu : Pixel(before.get(), h, v))
                << h << "," << v;
        }
    DisposeRgn(region);
    DisposeRgn(second);
}

TEST(CGContext, StrokeTouchesOnlyTheRowsAroundIt)
{
    // A world whose lower rows sit in memory that faults when touched: a
    // short stroke near the top must neither read nor write them.
    const long page = sysconf(_SC_PAGESIZE);
    const int rowBytes = static_cast<int>(page);
    const int width = rowBytes / 4 - 8, height = 64;
    void* memory = mmap(nullptr, size_t(rowBytes) * height, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    ASSERT_EQ(
        mprotect(static_cast<char*>(memory) + 32 * rowBytes, size_t(rowBytes) * 32, PROT_NONE), 0);
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), height);
    ASSERT_EQ(NewGWorldFromPtr(&world, 32, &bounds, nullptr, nullptr, 0, static_cast<Ptr>(memory),
                               rowBytes),
              noErr);
    CGContextRef ctx = PenContext(world, true, 10, kCGLineCapRound, {0, 0xFFFF, 0}, 255);
    CGContextMoveToPoint(ctx, 100, 10);
    CGContextAddLineToPoint(ctx, 400, 12);
    CGContextStrokePath(ctx);
    QDEndCGContext(world, &ctx);
    EXPECT_EQ(Pixel(world, 200, 11), 0x00FF00FFu);
    EXPECT_EQ(Pixel(world, 200, 30), 0u);
    DisposeGWorld(world);
    munmap(memory, size_t(rowBytes) * height);
}

TEST(CGContext, HostCairoContextIsYUpAndGivesBackItsState)
{
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 10, 8);
    cairo_t* cr = cairo_create(surface);
    cairo_set_line_width(cr, 7);
    CGContextRef ctx = CGContextCreateWithCairo(cr, 8);
    ASSERT_NE(ctx, nullptr);
    CGContextSaveGState(ctx); // left unbalanced on purpose
    CGContextSetRGBStrokeColor(ctx, 0, 0, 1, 1);
    CGContextSetLineWidth(ctx, 1);
    CGContextMoveToPoint(ctx, 0, 0.5); // bottom row
    CGContextAddLineToPoint(ctx, 10, 0.5);
    CGContextStrokePath(ctx);
    CGContextRelease(ctx);
    EXPECT_EQ(cairo_get_line_width(cr), 7);
    cairo_matrix_t m;
    cairo_get_matrix(cr, &m);
    EXPECT_EQ(m.yy, 1);
    EXPECT_EQ(cairo_status(cr), CAIRO_STATUS_SUCCESS);
    cairo_surface_flush(surface);
    const auto* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    EXPECT_EQ(reinterpret_cast<const uint32_t*>(data + 7 * stride)[4], 0xFF0000FFu);
    EXPECT_EQ(reinterpret_cast<const uint32_t*>(data)[4], 0u);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);

    EXPECT_EQ(CGContextCreateWithCairo(nullptr, 0), nullptr);
    CGContextRef none = nullptr;
    EXPECT_EQ(QDBeginCGContext(nullptr, &none), paramErr);
    EXPECT_EQ(none, nullptr);
}

TEST(CGContext, BadArgumentsLeaveTheContextUsable)
{
    World world = MakeWorld(8, 8);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    const CGFloat negative[2] = {-1, 2};
    const CGFloat zeros[2] = {0, 0};
    CGContextSetLineDash(ctx, 0, negative, 2);
    CGContextSetLineDash(ctx, 0, zeros, 2);
    CGContextScaleCTM(ctx, 0, 1);
    CGContextTranslateCTM(ctx, NAN, 0);
    CGContextMoveToPoint(ctx, INFINITY, 0);
    CGContextAddLineToPoint(ctx, 1, 1); // no current point: ignored
    CGContextDrawImage(ctx, CGRectMake(0, 0, 4, 4), nullptr);
    CGContextSetRGBStrokeColor(ctx, 0, 0, 0, 1);
    CGContextStrokeRectWithWidth(ctx, CGRectMake(1, 1, 6, 6), 2);
    QDEndCGContext(world.get(), &ctx);
    EXPECT_EQ(Pixel(world.get(), 1, 1), 0x000000FFu);
    EXPECT_EQ(Pixel(world.get(), 3, 3), 0u);
}

} // namespace
