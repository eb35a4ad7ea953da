// Helpers the platform and transfer tests share: copies of worlds, images
// over pixel memory, contexts on a world or on an offscreen view, and cairo
// drawing straight onto a world's words, the reference the platform's own
// drawing is held to.
#ifndef SPRIG_TESTS_PLATFORM_CG_FIXTURE_H
#define SPRIG_TESTS_PLATFORM_CG_FIXTURE_H

#include <gtest/gtest.h>

#include <cairo.h>
#include <pixman.h>

#include <random>
#include <vector>

#include "platform/cg_pixels_p.h"
#include "platform/coregraphics.h"
#include "tests/test_util.h"

inline Rect Bounds(GWorldPtr world)
{
    Rect b;
    GetPortBounds(world, &b);
    return b;
}

// A new world of the same size holding the same words.
inline World CopyOf(GWorldPtr world)
{
    const Rect b = Bounds(world);
    World copy = MakeWorld(b.right, b.bottom);
    FillEach(copy.get(), [world](int h, int v) { return Pixel(world, h, v); });
    return copy;
}

// Two worlds of one size hold the same words; a failure names the first
// that differs.
inline testing::AssertionResult SameWords(GWorldPtr actual, GWorldPtr expected)
{
    return EachPixel(actual, [expected](int h, int v) { return Pixel(expected, h, v); });
}

// Words of every alpha, transparent and opaque ones among them.
inline void FillMixed(GWorldPtr world, std::mt19937& rng)
{
    const Rect b = Bounds(world);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(world, h, v) = rng() % 5 == 0 ? (rng() % 2 ? 0 : rng() | 0xFF) : rng();
}

// A region made of boxes, disposed of with it.
struct Region
{
    RgnHandle handle = NewRgn();

    explicit Region(const std::vector<Rect>& boxes)
    {
        RgnHandle box = NewRgn();
        for (const Rect& r : boxes) {
            RectRgn(box, &r);
            UnionRgn(handle, box, handle);
        }
        DisposeRgn(box);
    }
    Region(const Region&) = delete;
    ~Region() { DisposeRgn(handle); }
};

// An image over pixel memory (or over a world's own pixels), released with
// its provider.
struct ImageOver
{
    CGDataProviderRef provider = nullptr;
    CGImageRef image = nullptr;

    ImageOver(const void* bytes, int width, int height, size_t rowBytes,
              uint32_t alphaInfo = kCGImageAlphaFirst)
    {
        provider = CGDataProviderCreateWithData(nullptr, bytes, rowBytes * size_t(height), nullptr);
        CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
        image = CGImageCreate(size_t(width), size_t(height), 8, 32, rowBytes, space, alphaInfo,
                              provider, nullptr, false, kCGRenderingIntentDefault);
        CGColorSpaceRelease(space);
    }
    explicit ImageOver(GWorldPtr world)
        : ImageOver(GetPixBaseAddr(GetGWorldPixMap(world)), Bounds(world).right,
                    Bounds(world).bottom, size_t(GetPixRowBytes(GetGWorldPixMap(world))))
    {
    }
    ~ImageOver()
    {
        CGImageRelease(image);
        CGDataProviderRelease(provider);
    }
};

// A context on a new world, or on an offscreen view's world (whose context
// is y-down where a world's is y-up); End finishes it as its kind is
// finished.
struct Canvas
{
    HIViewRef view = nullptr;
    World own;
    GWorldPtr world = nullptr;
    CGContextRef ctx = nullptr;

    Canvas(int width, int height, bool onView)
    {
        view = onView ? HIViewCreateOffscreen(width, height) : nullptr;
        own = onView ? World() : MakeWorld(width, height);
        world = onView ? HIViewGetGWorld(view) : own.get();
    }
    void Begin()
    {
        if (view)
            ctx = HIViewCreateDrawContext(view);
        else
            EXPECT_EQ(QDBeginCGContext(world, &ctx), noErr);
        ASSERT_NE(ctx, nullptr);
    }
    void End()
    {
        if (view)
            CGContextRelease(ctx);
        else
            QDEndCGContext(world, &ctx);
    }
    ~Canvas() { HIViewRelease(view); }
};

// Cairo drawing on a world's words, read as cairo's premultiplied words
// while it lasts (y up when asked, as a world's context is).
struct CairoOnWorld
{
    uint8_t* base;
    int rowBytes, width, height;
    cairo_surface_t* surface;
    cairo_t* cr;

    explicit CairoOnWorld(GWorldPtr world, bool yUp = false)
    {
        PixMapHandle pm = GetGWorldPixMap(world);
        base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
        rowBytes = GetPixRowBytes(pm);
        width = Bounds(world).right;
        height = Bounds(world).bottom;
        MirrorRows(base, rowBytes, width, height);
        surface =
            cairo_image_surface_create_for_data(base, CAIRO_FORMAT_ARGB32, width, height, rowBytes);
        cr = cairo_create(surface);
        if (yUp) {
            cairo_translate(cr, 0, height);
            cairo_scale(cr, 1, -1);
        }
    }
    ~CairoOnWorld()
    {
        cairo_destroy(cr);
        cairo_surface_finish(surface);
        cairo_surface_destroy(surface);
        MirrorRows(base, rowBytes, width, height);
    }
};

// pixman composites src (in srcFormat) onto dst (in dstFormat) with op,
// both width x height words with no row padding.
inline void PixmanComposite(pixman_op_t op, pixman_format_code_t srcFormat, uint32_t* src,
                            pixman_format_code_t dstFormat, uint32_t* dst, int width, int height)
{
    pixman_image_t* from = pixman_image_create_bits(srcFormat, width, height, src, width * 4);
    pixman_image_t* to = pixman_image_create_bits(dstFormat, width, height, dst, width * 4);
    pixman_image_composite32(op, from, nullptr, to, 0, 0, 0, 0, 0, 0, width, height);
    pixman_image_unref(from);
    pixman_image_unref(to);
}

#endif
