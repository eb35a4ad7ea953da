#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <utility>

#include "tests/platform/cg_fixture.h"

namespace {

// A context on a world with the pen set up as the sprite engine does: stage
// coordinates (y down), a colour from 16-bit channels, a width and caps.
CGContextRef PenContext(GWorldPtr world, bool antialias, double width, CGLineCap cap,
                        RGBColor colour, int opacity = 255)
{
    CGContextRef ctx = nullptr;
    EXPECT_EQ(QDBeginCGContext(world, &ctx), noErr);
    CGContextSetShouldAntialias(ctx, antialias);
    CGContextTranslateCTM(ctx, 0, Bounds(world).bottom);
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
    const std::vector<uint32_t> now = PixelsOf(world), then = PixelsOf(before);
    const int width = Bounds(world).right;
    for (size_t i = 0; i < now.size(); i++)
        if (now[i] != then[i])
            changed.insert({int(i) % width, int(i) / width});
    return changed;
}

// A pen of size 1 without antialiasing (width 0.01, square caps, through
// pixel centres, as the line drawer strokes it) over random pixels: one
// pixel per step along the longer axis, ends included, each next to the one
// before and the exact colour word; the erase marker's colour rounds to
// nearest.
TEST(CGContext, HairlinesOfEverySlopeAreOnePixelPerStepInTheExactWord)
{
    std::mt19937 rng(5);
    for (int i = 0; i < 200; i++) {
        World world = MakeWorld(40, 40);
        FillRandom(world.get(), rng);
        const World before = CopyOf(world.get());
        const bool marker = i % 2 == 0;
        const int x0 = static_cast<int>(rng() % 40), y0 = static_cast<int>(rng() % 40);
        const int x1 = static_cast<int>(rng() % 40), y1 = static_cast<int>(rng() % 40);
        CGContextRef ctx =
            PenContext(world.get(), false, 1 - 0.99, kCGLineCapSquare,
                       marker ? RGBColor{0xFFFF, 0xFF77, 0xFFFF} : RGBColor{0, 0, 0xFFFF});
        CGContextMoveToPoint(ctx, x0 + 0.5, y0 + 0.5);
        CGContextAddLineToPoint(ctx, x1 + 0.5 + (x0 == x1 && y0 == y1 ? 0.1 : 0), y1 + 0.5);
        CGContextStrokePath(ctx);
        QDEndCGContext(world.get(), &ctx);
        EXPECT_EQ(ctx, nullptr);
        const auto changed = ChangedPixels(world.get(), before.get());
        const bool steep = std::abs(y1 - y0) > std::abs(x1 - x0);
        std::map<int, int> steps; // along the longer axis: across it
        for (const auto& [h, v] : changed) {
            ASSERT_EQ(Pixel(world.get(), h, v), marker ? 0xFFFEFFFFu : 0xFF0000FFu)
                << h << "," << v;
            steps[steep ? v : h] = steep ? h : v;
        }
        ASSERT_EQ(changed.size(), size_t(std::max(std::abs(x1 - x0), std::abs(y1 - y0)) + 1))
            << x0 << "," << y0 << " -> " << x1 << "," << y1;
        ASSERT_EQ(steps.size(), changed.size());
        ASSERT_TRUE(changed.count({x0, y0}) && changed.count({x1, y1}));
        for (auto at = steps.begin(); std::next(at) != steps.end(); at++)
            ASSERT_LE(std::abs(std::next(at)->second - at->second), 1)
                << "a gap after " << at->first;
    }
}

// Over random words, a wide stroke clipped to a region in a saved state,
// then (after one restore too many) width-1 antialiased lines along pixel
// centres, which cover whole pixels, in colours that round to nearest:
// every stroke lands on exact words and nothing else changes.
TEST(CGContext, StrokesLandOnExactWordsWithinTheClipAndSaveRestore)
{
    World world = MakeWorld(30, 20);
    FillRandom(world.get(), 4);
    const World before = CopyOf(world.get());
    const Region region({R(2, 2, 10, 8), R(20, 12, 25, 18)}); // top-down world coordinates
    Rect bounds = R(0, 0, 30, 20);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextSetRGBStrokeColor(ctx, 1, 0, 0, 1);
    CGContextSaveGState(ctx);
    EXPECT_EQ(ClipCGContextToRegion(ctx, &bounds, region.handle), noErr);
    CGContextSetLineWidth(ctx, 40);
    auto line = [&](double x0, double x1, double y) {
        CGContextMoveToPoint(ctx, x0, y);
        CGContextAddLineToPoint(ctx, x1, y);
        CGContextStrokePath(ctx);
    };
    line(0, 30, 10); // y up: across the whole world
    CGContextRestoreGState(ctx);
    CGContextRestoreGState(ctx);
    line(0, 30, 0.5); // row 19
    CGContextSetRGBStrokeColor(ctx, 1, 0xFF77 / 65535.0f, 1, 1);
    line(2, 15, 4.5); // row 15
    // 65535 * k / 255 gives k in every channel.
    CGContextSetRGBStrokeColor(ctx, 257 * 17 / 65535.0f, 257 * 128 / 65535.0f, 257 * 254 / 65535.0f,
                               1.0f);
    line(2, 15, 7.5); // row 12
    QDEndCGContext(world.get(), &ctx);
    for (int v = 0; v < 20; v++)
        for (int h = 0; h < 30; h++) {
            const bool inRegion = (h >= 2 && h < 10 && v >= 2 && v < 8) ||
                                  (h >= 20 && h < 25 && v >= 12 && v < 18) || v == 19;
            const bool thin = h >= 2 && h < 15 && (v == 15 || v == 12);
            ASSERT_EQ(Pixel(world.get(), h, v), thin       ? (v == 15 ? 0xFFFEFFFFu : 0xFE8011FFu)
                                                : inRegion ? 0x0000FFFFu
                                                           : Pixel(before.get(), h, v))
                << h << "," << v;
        }
}

TEST(CGContext, StrokeTouchesOnlyTheRowsAroundIt)
{
    // A world whose lower rows sit in memory that faults when touched: a
    // short stroke near the top must neither read nor write them.
    const int rowBytes = static_cast<int>(sysconf(_SC_PAGESIZE)), height = 64;
    void* memory = mmap(nullptr, size_t(rowBytes) * height, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    ASSERT_EQ(
        mprotect(static_cast<char*>(memory) + 32 * rowBytes, size_t(rowBytes) * 32, PROT_NONE), 0);
    GWorldPtr world = nullptr;
    Rect bounds = R(0, 0, rowBytes / 4 - 8, height);
    ASSERT_EQ(NewGWorldFromPtr(&world, 32, &bounds, nullptr, nullptr, 0, static_cast<Ptr>(memory),
                               rowBytes),
              noErr);
    CGContextRef ctx = PenContext(world, true, 10, kCGLineCapRound, {0, 0xFFFF, 0});
    CGContextMoveToPoint(ctx, 100, 10);
    CGContextAddLineToPoint(ctx, 400, 12);
    CGContextStrokePath(ctx);
    QDEndCGContext(world, &ctx);
    EXPECT_EQ(Pixel(world, 200, 11), 0x00FF00FFu);
    EXPECT_EQ(Pixel(world, 200, 30), 0u);
    DisposeGWorld(world);
    munmap(memory, size_t(rowBytes) * height);
}

TEST(CGContext, BadArgumentsLeaveTheContextUsable)
{
    World world = MakeWorld(8, 8);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    const CGFloat negative[2] = {-1, 2}, zeros[2] = {0, 0};
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
    EXPECT_EQ(CGContextCreateWithCairo(nullptr, 0), nullptr);
    CGContextRef none = nullptr;
    EXPECT_EQ(QDBeginCGContext(nullptr, &none), paramErr);
    EXPECT_EQ(none, nullptr);
}

} // namespace
