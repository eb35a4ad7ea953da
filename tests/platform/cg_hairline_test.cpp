// One-pixel lines on a world are drawn by the platform itself; these tests
// hold them to the bits cairo leaves when it fills the same pixels, and the
// colour they are drawn in to cairo's own colour conversion.
#include <random>
#include <vector>

#include "platform/cg_context_p.h"
#include "tests/platform/cg_fixture.h"

namespace {

TEST(HairlineFastPath, SolidColourWordIsCairosForEveryChannelAndAlpha)
{
    // Pixel (k, a) of a 256 x 256 world filled by cairo with channel k / 255
    // at alpha a / 255 over transparent, which OVER leaves as the colour's
    // word.
    World world = MakeWorld(256, 256);
    {
        CairoOnWorld cairo(world.get());
        for (int a = 0; a < 256; a++)
            for (int k = 0; k < 256; k++) {
                cairo_set_source_rgba(cairo.cr, k / 255.0, (255 - k) / 255.0, (k * 7 % 256) / 255.0,
                                      a / 255.0);
                cairo_rectangle(cairo.cr, k, a, 1, 1);
                cairo_fill(cairo.cr);
            }
    }
    for (int a = 0; a < 256; a++)
        for (int k = 0; k < 256; k++)
            ASSERT_EQ(
                MirrorWord(Pixel(world.get(), k, a)),
                SolidSourceWord(k / 255.0, (255 - k) / 255.0, (k * 7 % 256) / 255.0, a / 255.0))
                << "channel " << k << " alpha " << a;
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

// The same scene drawn by the platform and by cairo, over the same words,
// on a world's context and a view's, with and without a clip.
TEST(HairlineFastPath, RandomScenesMatchCairo)
{
    std::mt19937 rng(31337);
    int changedPixels = 0;
    for (int trial = 0; trial < 600; trial++) {
        const int width = 1 + static_cast<int>(rng() % 50);
        const int height = 1 + static_cast<int>(rng() % 50);
        const uint32_t sceneSeed = rng(), wordSeed = rng();
        const bool view = rng() % 3 == 0, clipped = rng() % 3 == 0;
        const int x = int(rng() % 20), y = int(rng() % 20);
        Rect clipBox = R(x, y, width - int(rng() % 20), height - int(rng() % 20));
        std::vector<uint32_t> result[2], original;
        for (int platform = 0; platform < 2; platform++) {
            SetPlatformDrawing(platform == 1);
            Canvas canvas(width, height, view);
            ASSERT_NE(canvas.world, nullptr);
            std::mt19937 words(wordSeed);
            FillMixed(canvas.world, words);
            original = PixelsOf(canvas.world);
            canvas.Begin();
            if (clipped) {
                Rect bounds = R(0, 0, width, height);
                ClipCGContextToRegion(canvas.ctx, &bounds, Region({clipBox}).handle);
            }
            std::mt19937 scene(sceneSeed);
            DrawRandomScene(canvas.ctx, scene, width, height);
            canvas.End();
            result[platform] = PixelsOf(canvas.world);
        }
        SetPlatformDrawing(true);
        for (size_t i = 0; i < original.size(); i++) {
            ASSERT_EQ(result[1][i], result[0][i])
                << "trial " << trial << " at " << i % size_t(width) << "," << i / size_t(width);
            changedPixels += result[1][i] != original[i];
        }
    }
    // The scenes do draw: thousands of pixels changed.
    EXPECT_GT(changedPixels, 5000);
}

} // namespace
