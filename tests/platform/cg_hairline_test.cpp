// One-pixel lines on a world are drawn by the platform itself; these tests
// hold them to the bits cairo leaves when it fills the same pixels, and the
// colour they are drawn in to cairo's own colour conversion.
#include <gtest/gtest.h>

#include <cairo.h>

#include <random>
#include <vector>

#include "platform/cg_context_p.h"
#include "platform/cg_pixels_p.h"
#include "tests/test_util.h"

namespace {

TEST(HairlineFastPath, SolidColourWordIsCairosForEveryChannelAndAlpha)
{
    // Pixel (k, a) of a 256 x 256 surface filled with channel k / 255 at
    // alpha a / 255 over transparent, which OVER leaves as the colour's word.
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 256, 256);
    cairo_t* cr = cairo_create(surface);
    for (int a = 0; a < 256; a++)
        for (int k = 0; k < 256; k++) {
            cairo_set_source_rgba(cr, k / 255.0, (255 - k) / 255.0, (k * 7 % 256) / 255.0,
                                  a / 255.0);
            cairo_rectangle(cr, k, a, 1, 1);
            cairo_fill(cr);
        }
    cairo_surface_flush(surface);
    const auto* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int a = 0; a < 256; a++)
        for (int k = 0; k < 256; k++) {
            const uint32_t word = reinterpret_cast<const uint32_t*>(data + a * stride)[k];
            ASSERT_EQ(word, SolidSourceWord(k / 255.0, (255 - k) / 255.0, (k * 7 % 256) / 255.0,
                                            a / 255.0))
                << "channel " << k << " alpha " << a;
        }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

// Draws a random hairline scene into ctx: a path of several pieces, which
// may cross itself and leave the world, in a random colour, sometimes dashed
// and sometimes with the path closed.
void DrawRandomScene(CGContextRef ctx, std::mt19937& rng, int width, int height)
{
    CGContextSetShouldAntialias(ctx, false);
    CGContextSetRGBStrokeColor(ctx, (rng() % 256) / 255.0, (rng() % 256) / 255.0,
                               (rng() % 256) / 255.0, rng() % 3 == 0 ? 1.0 : (rng() % 256) / 255.0);
    CGContextSetLineWidth(ctx, (rng() % 100) / 100.0);
    if (rng() % 4 == 0) {
        const CGFloat dash[2] = {1.0 + rng() % 6, 1.0 + rng() % 4};
        CGContextSetLineDash(ctx, rng() % 3, dash, 2);
    }
    auto coordinate = [&](int side) { return static_cast<double>(rng() % (side + 20)) - 10 + 0.5; };
    CGContextBeginPath(ctx);
    for (int subpath = 1 + static_cast<int>(rng() % 3); subpath > 0; subpath--) {
        CGContextMoveToPoint(ctx, coordinate(width), coordinate(height));
        for (int piece = 1 + static_cast<int>(rng() % 4); piece > 0; piece--)
            CGContextAddLineToPoint(ctx, coordinate(width), coordinate(height));
        if (rng() % 4 == 0)
            CGContextClosePath(ctx);
    }
    CGContextStrokePath(ctx);
}

// Words of every alpha, transparent and opaque ones among them.
std::vector<uint32_t> AnyWords(std::mt19937& rng, int count)
{
    std::vector<uint32_t> words(static_cast<size_t>(count));
    for (uint32_t& word : words)
        word = rng() % 4 == 0 ? (rng() % 2 ? 0 : rng() | 0xFF) : rng();
    return words;
}

// The same scene drawn by the platform and by cairo, over the same words,
// on a world's context and a view's, with and without a clip.
TEST(HairlineFastPath, RandomScenesMatchCairo)
{
    std::mt19937 rng(31337);
    int changedPixels = 0;
    for (int trial = 0; trial < 600; trial++) {
        const int width = 1 + static_cast<int>(rng() % 50);
        const int height = 1 + static_cast<int>(rng() % 50);
        const uint32_t sceneSeed = rng();
        const std::vector<uint32_t> original = AnyWords(rng, width * height);
        const bool view = rng() % 3 == 0;
        const bool clipped = rng() % 3 == 0;
        Rect clipBox;
        SetRect(&clipBox, int16_t(rng() % 20), int16_t(rng() % 20),
                int16_t(width - int(rng() % 20)), int16_t(height - int(rng() % 20)));

        uint32_t result[2][50 * 50];
        for (int platform = 0; platform < 2; platform++) {
            SetPlatformDrawing(platform == 1);
            HIViewRef hiView = view ? HIViewCreateOffscreen(width, height) : nullptr;
            World own = view ? World() : MakeWorld(width, height);
            GWorldPtr world = view ? HIViewGetGWorld(hiView) : own.get();
            ASSERT_NE(world, nullptr);
            for (int v = 0; v < height; v++)
                for (int h = 0; h < width; h++)
                    Pixel(world, h, v) = original[static_cast<size_t>(v * width + h)];
            CGContextRef ctx = nullptr;
            if (view)
                ctx = HIViewCreateDrawContext(hiView);
            else
                ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
            ASSERT_NE(ctx, nullptr);
            if (clipped) {
                Rect bounds;
                GetPortBounds(world, &bounds);
                RgnHandle region = NewRgn();
                RectRgn(region, &clipBox);
                ClipCGContextToRegion(ctx, &bounds, region);
                DisposeRgn(region);
            }
            std::mt19937 scene(sceneSeed);
            DrawRandomScene(ctx, scene, width, height);
            if (view)
                CGContextRelease(ctx);
            else
                QDEndCGContext(world, &ctx);
            for (int v = 0; v < height; v++)
                for (int h = 0; h < width; h++)
                    result[platform][v * width + h] = Pixel(world, h, v);
            HIViewRelease(hiView);
        }
        SetPlatformDrawing(true);
        for (int i = 0; i < width * height; i++) {
            ASSERT_EQ(result[1][i], result[0][i])
                << "trial " << trial << " at " << i % width << "," << i / width;
            changedPixels += result[1][i] != original[static_cast<size_t>(i)];
        }
    }
    // The scenes do draw: thousands of pixels changed.
    EXPECT_GT(changedPixels, 5000);
}

} // namespace
