// Images drawn one to one at whole pixels into a context on a world are
// composited by the platform itself; these tests hold that drawing to the
// bits cairo leaves, over random worlds, images, places and clips.
#include <cstring>
#include <random>
#include <vector>

#include "tests/platform/cg_fixture.h"

namespace {

// An image's bytes, rowBytes apart, starting `shift` bytes into the block so
// that rows need not be aligned.
struct Picture
{
    int width = 0, height = 0;
    size_t rowBytes = 0, shift = 0;
    uint32_t alphaInfo = kCGImageAlphaFirst;
    std::vector<uint8_t> block;

    const uint8_t* Bytes() const { return block.data() + shift; }
};

// Pixels of every kind the compositor tells apart: runs of transparent and
// opaque pixels (whole groups of four among them) and arbitrary words, in
// any of the image layouts.
Picture RandomPicture(std::mt19937& rng, int maxSide)
{
    const uint32_t kAlphaInfos[] = {kCGImageAlphaPremultipliedLast,
                                    kCGImageAlphaPremultipliedFirst,
                                    kCGImageAlphaLast,
                                    kCGImageAlphaFirst,
                                    kCGImageAlphaNoneSkipLast,
                                    kCGImageAlphaNoneSkipFirst};
    Picture p;
    p.width = 1 + static_cast<int>(rng() % static_cast<uint32_t>(maxSide));
    p.height = 1 + static_cast<int>(rng() % static_cast<uint32_t>(maxSide));
    p.rowBytes = 4 * size_t(p.width) + (rng() % 3) * 4 + (rng() % 4 == 0 ? rng() % 4 : 0);
    p.shift = rng() % 4;
    p.alphaInfo = rng() % 3 == 0 ? kAlphaInfos[rng() % 6] : uint32_t{kCGImageAlphaFirst};
    p.block.assign(p.shift + p.rowBytes * size_t(p.height) + 4, 0);
    for (int v = 0; v < p.height; v++)
        for (int h = 0; h < p.width;) {
            const int run = 1 + static_cast<int>(rng() % (rng() % 2 ? 9 : 40));
            const uint32_t kind = rng() % 4;
            for (int i = 0; i < run && h < p.width; i++, h++) {
                uint32_t word = rng();
                if (kind == 0)
                    word &= 0xFFFFFF00; // alpha 0 in memory's first byte
                else if (kind == 1)
                    word |= 0xFF;
                std::memcpy(p.block.data() + p.shift + size_t(v) * p.rowBytes + 4 * size_t(h),
                            &word, 4);
            }
        }
    return p;
}

// The drawing as cairo does it: the picture converted whole and filled over
// its place within the clip (top-down boxes; none means no clip).
void DrawThroughCairo(GWorldPtr world, const Picture& p, int left, int top,
                      const std::vector<Rect>* clip)
{
    CairoOnWorld cairo(world);
    if (clip) {
        for (const Rect& r : *clip)
            cairo_rectangle(cairo.cr, r.left, r.top, r.right - r.left, r.bottom - r.top);
        cairo_clip(cairo.cr);
    }
    cairo_surface_t* pixels = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, p.width, p.height);
    auto* out = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(pixels));
    const int stride = cairo_image_surface_get_stride(pixels) / 4;
    for (int v = 0; v < p.height; v++) {
        std::vector<uint32_t> row(size_t(p.width));
        std::memcpy(row.data(), p.Bytes() + size_t(v) * p.rowBytes, 4 * row.size());
        ImageRowToCairo(row.data(), out + v * stride, p.width, p.alphaInfo);
    }
    cairo_surface_mark_dirty(pixels);
    cairo_pattern_t* pattern = cairo_pattern_create_for_surface(pixels);
    cairo_matrix_t toImage;
    cairo_matrix_init_translate(&toImage, -left, -top);
    cairo_pattern_set_matrix(pattern, &toImage);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
    cairo_set_source(cairo.cr, pattern);
    cairo_rectangle(cairo.cr, left, top, p.width, p.height);
    cairo_fill(cairo.cr);
    cairo_pattern_destroy(pattern);
    cairo_surface_destroy(pixels);
}

TEST(ImageFastPath, RandomScenesMatchCairoInWorldAndViewContexts)
{
    std::mt19937 rng(20240611);
    uint64_t pixels = 0;
    for (int trial = 0; trial < 1500; trial++) {
        const int width = 1 + static_cast<int>(rng() % 60);
        const int height = 1 + static_cast<int>(rng() % 60);
        const Picture p = RandomPicture(rng, 70);
        const int left = static_cast<int>(rng() % uint32_t(width + p.width + 4)) - p.width - 2;
        const int top = static_cast<int>(rng() % uint32_t(height + p.height + 4)) - p.height - 2;
        // A clip of up to three boxes, possibly narrowed by a second one, or
        // set and then taken away by restoring the state.
        const uint32_t clipKind = rng() % 4;
        std::vector<Rect> first, clip;
        for (uint32_t n = 1 + rng() % 3; n > 0; n--) {
            const int x = static_cast<int>(rng() % uint32_t(width + 4)) - 2;
            const int y = static_cast<int>(rng() % uint32_t(height + 4)) - 2;
            first.push_back(R(x, y, x + 1 + int(rng() % 40), y + 1 + int(rng() % 40)));
        }
        const int x = int(rng() % 20), y = int(rng() % 20);
        const Rect second = R(x, y, width - int(rng() % 20), height - int(rng() % 20));

        Canvas canvas(width, height, rng() % 2 == 0);
        ASSERT_NE(canvas.world, nullptr);
        FillMixed(canvas.world, rng);
        World expected = CopyOf(canvas.world);
        ImageOver image(p.Bytes(), p.width, p.height, p.rowBytes, p.alphaInfo);
        ASSERT_NE(image.image, nullptr);
        canvas.Begin();
        Rect bounds = R(0, 0, width, height);
        const Region firstRegion(first), secondRegion({second});
        CGContextSaveGState(canvas.ctx);
        if (clipKind != 0)
            ClipCGContextToRegion(canvas.ctx, &bounds, firstRegion.handle);
        if (clipKind == 2)
            ClipCGContextToRegion(canvas.ctx, &bounds, secondRegion.handle);
        if (clipKind == 3)
            CGContextRestoreGState(canvas.ctx);
        if (canvas.view) {
            const HIRect place = CGRectMake(left, top, p.width, p.height);
            HIViewDrawCGImage(canvas.ctx, &place, image.image);
        } else {
            CGContextDrawImage(canvas.ctx,
                               CGRectMake(left, height - top - p.height, p.width, p.height),
                               image.image);
        }
        canvas.End();

        // The clip cairo is given: the first boxes, or box by box their
        // intersection with the second.
        for (const Rect& a : first) {
            Rect both = a;
            if (clipKind != 2 || SectRect(&a, &second, &both))
                clip.push_back(both);
        }
        DrawThroughCairo(expected.get(), p, left, top,
                         clipKind == 1 || clipKind == 2 ? &clip : nullptr);
        ASSERT_TRUE(SameWords(canvas.world, expected.get())) << "trial " << trial;
        pixels += uint64_t(p.width) * uint64_t(p.height);
    }
    EXPECT_GT(pixels, 1000000u);
}

TEST(ImageFastPath, AWorldDrawnOverItselfIsReadBeforeItIsChanged)
{
    // The image's memory is the world's own: drawn one pixel right and down,
    // every pixel must come from the world as it was before the drawing.
    std::mt19937 rng(7);
    World world = MakeWorld(20, 12);
    FillMixed(world.get(), rng);
    World expected = CopyOf(world.get());
    const std::vector<uint32_t> words = PixelsOf(world.get());
    const auto* bytes = reinterpret_cast<const uint8_t*>(words.data());
    const Picture p = {20, 12, 80, 0, kCGImageAlphaFirst, {bytes, bytes + 4 * words.size()}};
    DrawThroughCairo(expected.get(), p, 1, 1, nullptr);

    ImageOver image(world.get());
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextDrawImage(ctx, CGRectMake(1, -1, 20, 12), image.image); // y up: one row lower
    QDEndCGContext(world.get(), &ctx);
    EXPECT_TRUE(SameWords(world.get(), expected.get()));
}

} // namespace
