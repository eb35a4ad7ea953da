// Images drawn one to one at whole pixels into a context on a world are
// composited by the platform itself; these tests hold that drawing to the
// bits cairo and pixman leave, over random worlds, images, places and clips.
#include <gtest/gtest.h>

#include <cairo.h>
#include <pixman.h>

#include <cstring>
#include <random>
#include <vector>

#include "platform/cg_pixels_p.h"
#include "platform/coregraphics.h"
#include "tests/test_util.h"

namespace {

const uint32_t kAlphaInfos[] = {kCGImageAlphaPremultipliedLast,
                                kCGImageAlphaPremultipliedFirst,
                                kCGImageAlphaLast,
                                kCGImageAlphaFirst,
                                kCGImageAlphaNoneSkipLast,
                                kCGImageAlphaNoneSkipFirst};

// An image's bytes, rowBytes apart, starting `shift` bytes into the block so
// that rows need not be aligned.
struct Picture
{
    int width = 0;
    int height = 0;
    size_t rowBytes = 0;
    size_t shift = 0;
    uint32_t alphaInfo = kCGImageAlphaFirst;
    std::vector<uint8_t> block;

    const uint8_t* Bytes() const { return block.data() + shift; }
    uint32_t Word(int h, int v) const
    {
        uint32_t word;
        std::memcpy(&word, Bytes() + static_cast<size_t>(v) * rowBytes + 4 * size_t(h), 4);
        return word;
    }
};

// Pixels of every kind the compositor tells apart: runs of transparent and
// opaque pixels (whole groups of four among them) and arbitrary words.
Picture RandomPicture(std::mt19937& rng, int maxSide)
{
    Picture p;
    p.width = 1 + static_cast<int>(rng() % static_cast<uint32_t>(maxSide));
    p.height = 1 + static_cast<int>(rng() % static_cast<uint32_t>(maxSide));
    p.rowBytes = 4 * size_t(p.width) + (rng() % 3) * 4 + (rng() % 4 == 0 ? rng() % 4 : 0);
    p.shift = rng() % 4;
    p.alphaInfo = rng() % 3 == 0 ? kAlphaInfos[rng() % 6] : uint32_t{kCGImageAlphaFirst};
    p.block.assign(p.shift + p.rowBytes * size_t(p.height) + 4, 0);
    for (int v = 0; v < p.height; v++) {
        int h = 0;
        while (h < p.width) {
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
    }
    return p;
}

// The image over the picture's bytes; the caller releases both.
CGImageRef ImageOf(const Picture& p, CGDataProviderRef* provider)
{
    *provider = CGDataProviderCreateWithData(nullptr, p.Bytes(), p.block.size() - p.shift, nullptr);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image =
        CGImageCreate(size_t(p.width), size_t(p.height), 8, 32, p.rowBytes, space, p.alphaInfo,
                      *provider, nullptr, false, kCGRenderingIntentDefault);
    CGColorSpaceRelease(space);
    return image;
}

void FillMixed(GWorldPtr world, std::mt19937& rng)
{
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(world, h, v) = rng() % 5 == 0 ? (rng() % 2 ? 0 : rng() | 0xFF) : rng();
}

// The drawing as cairo does it: the world read as cairo's premultiplied
// words, the picture converted whole, filled over its place within the clip
// (top-down boxes; none means no clip), and the world read back.
void DrawThroughCairo(GWorldPtr world, const Picture& p, int left, int top,
                      const std::vector<Rect>* clip)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    Rect b;
    GetPortBounds(world, &b);
    auto* base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
    const int rowBytes = GetPixRowBytes(pm);
    MirrorRows(base, rowBytes, b.right, b.bottom);
    cairo_surface_t* target =
        cairo_image_surface_create_for_data(base, CAIRO_FORMAT_ARGB32, b.right, b.bottom, rowBytes);
    cairo_t* cr = cairo_create(target);
    if (clip) {
        for (const Rect& r : *clip)
            cairo_rectangle(cr, r.left, r.top, r.right - r.left, r.bottom - r.top);
        cairo_clip(cr);
    }
    cairo_surface_t* pixels = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, p.width, p.height);
    auto* out = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(pixels));
    const int stride = cairo_image_surface_get_stride(pixels) / 4;
    for (int v = 0; v < p.height; v++)
        for (int h = 0; h < p.width; h++)
            out[v * stride + h] = ImagePixelToCairo(p.Word(h, v), p.alphaInfo);
    cairo_surface_mark_dirty(pixels);
    cairo_pattern_t* pattern = cairo_pattern_create_for_surface(pixels);
    cairo_matrix_t toImage;
    cairo_matrix_init_translate(&toImage, -left, -top);
    cairo_pattern_set_matrix(pattern, &toImage);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
    cairo_set_source(cr, pattern);
    cairo_rectangle(cr, left, top, p.width, p.height);
    cairo_fill(cr);
    cairo_destroy(cr);
    cairo_pattern_destroy(pattern);
    cairo_surface_destroy(pixels);
    cairo_surface_finish(target);
    cairo_surface_destroy(target);
    MirrorRows(base, rowBytes, b.right, b.bottom);
}

RgnHandle RegionOf(const std::vector<Rect>& boxes)
{
    RgnHandle region = NewRgn();
    RgnHandle box = NewRgn();
    for (const Rect& r : boxes) {
        RectRgn(box, &r);
        UnionRgn(region, box, region);
    }
    DisposeRgn(box);
    return region;
}

void ExpectSameWorlds(GWorldPtr actual, GWorldPtr expected, int trial)
{
    Rect b;
    GetPortBounds(actual, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            ASSERT_EQ(Pixel(actual, h, v), Pixel(expected, h, v))
                << "trial " << trial << " at " << h << "," << v;
}

void CopyWorld(GWorldPtr from, GWorldPtr to)
{
    Rect b;
    GetPortBounds(from, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(to, h, v) = Pixel(from, h, v);
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
        std::vector<Rect> first, second;
        for (uint32_t n = 1 + rng() % 3; n > 0; n--) {
            const int x = static_cast<int>(rng() % uint32_t(width + 4)) - 2;
            const int y = static_cast<int>(rng() % uint32_t(height + 4)) - 2;
            Rect r;
            SetRect(&r, int16_t(x), int16_t(y), int16_t(x + 1 + int(rng() % 40)),
                    int16_t(y + 1 + int(rng() % 40)));
            first.push_back(r);
        }
        Rect r;
        SetRect(&r, int16_t(rng() % 20), int16_t(rng() % 20), int16_t(width - int(rng() % 20)),
                int16_t(height - int(rng() % 20)));
        second.push_back(r);

        const bool view = rng() % 2 == 0;
        HIViewRef hiView = view ? HIViewCreateOffscreen(width, height) : nullptr;
        World own = view ? World() : MakeWorld(width, height);
        GWorldPtr world = view ? HIViewGetGWorld(hiView) : own.get();
        ASSERT_NE(world, nullptr);
        FillMixed(world, rng);
        World expected = MakeWorld(width, height);
        CopyWorld(world, expected.get());

        CGDataProviderRef provider = nullptr;
        CGImageRef image = ImageOf(p, &provider);
        ASSERT_NE(image, nullptr);
        CGContextRef ctx = nullptr;
        if (view)
            ctx = HIViewCreateDrawContext(hiView);
        else
            ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
        ASSERT_NE(ctx, nullptr);
        Rect bounds;
        GetPortBounds(world, &bounds);
        RgnHandle firstRegion = RegionOf(first);
        RgnHandle secondRegion = RegionOf(second);
        CGContextSaveGState(ctx);
        if (clipKind != 0)
            ClipCGContextToRegion(ctx, &bounds, firstRegion);
        if (clipKind == 2)
            ClipCGContextToRegion(ctx, &bounds, secondRegion);
        if (clipKind == 3)
            CGContextRestoreGState(ctx);
        if (view) {
            const HIRect place = CGRectMake(left, top, p.width, p.height);
            HIViewDrawCGImage(ctx, &place, image);
        } else {
            CGContextDrawImage(ctx, CGRectMake(left, height - top - p.height, p.width, p.height),
                               image);
        }
        if (view)
            CGContextRelease(ctx);
        else
            QDEndCGContext(world, &ctx);
        CGImageRelease(image);
        CGDataProviderRelease(provider);
        DisposeRgn(firstRegion);
        DisposeRgn(secondRegion);

        std::vector<Rect> clip = first;
        if (clipKind == 2) {
            // The intersection of the two clips, box by box.
            clip.clear();
            for (const Rect& a : first) {
                Rect both;
                if (SectRect(&a, &second[0], &both))
                    clip.push_back(both);
            }
        }
        DrawThroughCairo(expected.get(), p, left, top,
                         clipKind == 1 || clipKind == 2 ? &clip : nullptr);
        ExpectSameWorlds(world, expected.get(), trial);
        HIViewRelease(hiView);
        pixels += uint64_t(p.width) * uint64_t(p.height);
    }
    EXPECT_GT(pixels, 1000000u);
}

TEST(ImageFastPath, EveryAlphaChannelAndWorldByteMatchesPixmansOver)
{
    // Straight pixels (a, c, c, c) over world pixels whose four bytes are
    // d, d + 64, d + 128 and d + 192: every alpha, channel and world byte,
    // 4,194,304 pixels, drawn by the context and by pixman's OVER.
    constexpr int kWidth = 1024;
    constexpr int kHeight = 4096;
    World world = MakeWorld(kWidth, kHeight);
    World picture = MakeWorld(kWidth, kHeight);
    std::vector<uint32_t> cairoSource(size_t{kWidth} * kHeight);
    std::vector<uint32_t> cairoWorld(size_t{kWidth} * kHeight);
    for (uint32_t i = 0; i < uint32_t{kWidth} * kHeight; i++) {
        const uint32_t a = i >> 14, c = (i >> 6) & 0xFF, d = i & 63;
        const uint32_t straight = (c << 24) | (c << 16) | (c << 8) | a;
        const uint32_t under = ((d + 192) << 24) | ((d + 128) << 16) | ((d + 64) << 8) | d;
        const int h = static_cast<int>(i % kWidth), v = static_cast<int>(i / kWidth);
        Pixel(picture.get(), h, v) = straight;
        Pixel(world.get(), h, v) = under;
        cairoSource[i] = ImagePixelToCairo(straight, kCGImageAlphaFirst);
        cairoWorld[i] = MirrorWord(under);
    }
    pixman_image_t* src =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, cairoSource.data(), kWidth * 4);
    pixman_image_t* dst =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, kWidth, kHeight, cairoWorld.data(), kWidth * 4);
    pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst, 0, 0, 0, 0, 0, 0, kWidth, kHeight);
    pixman_image_unref(src);
    pixman_image_unref(dst);

    PixMapHandle pm = GetGWorldPixMap(picture.get());
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        nullptr, GetPixBaseAddr(pm), size_t{kHeight} * size_t(GetPixRowBytes(pm)), nullptr);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image =
        CGImageCreate(kWidth, kHeight, 8, 32, size_t(GetPixRowBytes(pm)), space, kCGImageAlphaFirst,
                      provider, nullptr, false, kCGRenderingIntentDefault);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextDrawImage(ctx, CGRectMake(0, 0, kWidth, kHeight), image);
    QDEndCGContext(world.get(), &ctx);
    CGImageRelease(image);
    CGDataProviderRelease(provider);
    CGColorSpaceRelease(space);
    for (uint32_t i = 0; i < uint32_t{kWidth} * kHeight; i++)
        ASSERT_EQ(Pixel(world.get(), static_cast<int>(i % kWidth), static_cast<int>(i / kWidth)),
                  MirrorWord(cairoWorld[i]))
            << "alpha " << (i >> 14) << " channel " << ((i >> 6) & 0xFF) << " under " << (i & 63);
}

TEST(ImageFastPath, AWorldDrawnOverItselfIsReadBeforeItIsChanged)
{
    // The image's memory is the world's own: drawn one pixel right and down,
    // every pixel must come from the world as it was before the drawing.
    std::mt19937 rng(7);
    World world = MakeWorld(20, 12);
    FillMixed(world.get(), rng);
    World expected = MakeWorld(20, 12);
    CopyWorld(world.get(), expected.get());
    PixMapHandle pm = GetGWorldPixMap(world.get());
    Picture p;
    p.width = 20;
    p.height = 12;
    p.rowBytes = size_t(GetPixRowBytes(pm));
    p.block.assign(GetPixBaseAddr(pm), GetPixBaseAddr(pm) + 12 * p.rowBytes);
    DrawThroughCairo(expected.get(), p, 1, 1, nullptr);

    CGDataProviderRef provider =
        CGDataProviderCreateWithData(nullptr, GetPixBaseAddr(pm), 12 * p.rowBytes, nullptr);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image = CGImageCreate(20, 12, 8, 32, p.rowBytes, space, kCGImageAlphaFirst, provider,
                                     nullptr, false, kCGRenderingIntentDefault);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextDrawImage(ctx, CGRectMake(1, -1, 20, 12), image); // y up: one row lower
    QDEndCGContext(world.get(), &ctx);
    CGImageRelease(image);
    CGDataProviderRelease(provider);
    CGColorSpaceRelease(space);
    ExpectSameWorlds(world.get(), expected.get(), 0);
}

} // namespace
