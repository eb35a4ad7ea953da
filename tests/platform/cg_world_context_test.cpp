// Contexts on worlds as the line drawer uses them, one per line: a context
// begun after another one ended behaves as a new one, and wide strokes
// leave exactly the bits cairo leaves however far their joins reach.
#include <gtest/gtest.h>

#include <cairo.h>

#include <cstring>
#include <random>
#include <vector>

#include "platform/cg_pixels_p.h"
#include "platform/coregraphics.h"
#include "tests/test_util.h"

namespace {

std::vector<uint32_t> Words(GWorldPtr world)
{
    Rect b;
    GetPortBounds(world, &b);
    std::vector<uint32_t> words;
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            words.push_back(Pixel(world, h, v));
    return words;
}

// A diagonal in the context's current state, from its default user space.
void StrokeDiagonal(CGContextRef ctx)
{
    CGContextBeginPath(ctx);
    CGContextMoveToPoint(ctx, 2, 3);
    CGContextAddLineToPoint(ctx, 27, 17);
    CGContextStrokePath(ctx);
}

TEST(WorldContext, ABeginAfterAnEndStartsAfreshOverTheWorldsPixels)
{
    // What a new context draws: the default state, black, 1 wide, unclipped.
    World fresh = MakeWorld(30, 20);
    FillNumbered(fresh.get(), 4);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(fresh.get(), &ctx), noErr);
    StrokeDiagonal(ctx);
    QDEndCGContext(fresh.get(), &ctx);
    const std::vector<uint32_t> expected = Words(fresh.get());

    // A context left with everything changed, a state saved and not
    // restored and a path begun, then ended.
    World world = MakeWorld(30, 20);
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    CGContextSetRGBStrokeColor(ctx, 1, 0, 0, 0.5);
    CGContextSetLineWidth(ctx, 7);
    CGContextSetLineCap(ctx, kCGLineCapRound);
    CGContextSetShouldAntialias(ctx, false);
    const CGFloat dash[2] = {2, 2};
    CGContextSetLineDash(ctx, 0, dash, 2);
    CGContextSaveGState(ctx);
    CGContextTranslateCTM(ctx, 5, 5);
    Rect bounds, corner;
    GetPortBounds(world.get(), &bounds);
    SetRect(&corner, 0, 0, 4, 4);
    RgnHandle region = NewRgn();
    RectRgn(region, &corner);
    ClipCGContextToRegion(ctx, &bounds, region);
    DisposeRgn(region);
    CGContextMoveToPoint(ctx, 1, 1);
    CGContextAddLineToPoint(ctx, 9, 9);
    QDEndCGContext(world.get(), &ctx);
    EXPECT_EQ(ctx, nullptr);

    // The host changes the pixels in between; the next context draws over
    // what is there now, in the default state.
    FillNumbered(world.get(), 4);
    ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
    StrokeDiagonal(ctx);
    QDEndCGContext(world.get(), &ctx);
    EXPECT_EQ(Words(world.get()), expected);
    EXPECT_NE(Words(world.get()), Words(MakeWorld(30, 20).get()));
}

TEST(WorldContext, AContextFollowsTheWorldsPixelMapWhenAHostMovesIt)
{
    std::vector<uint32_t> first(32 * 20, 0), second(32 * 20, 0);
    Rect bounds;
    SetRect(&bounds, 0, 0, 30, 20);
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorldFromPtr(&world, 0, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(first.data()), 32 * 4),
              noErr);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
    StrokeDiagonal(ctx);
    QDEndCGContext(world, &ctx);
    const std::vector<uint32_t> drawn = first;
    EXPECT_NE(drawn, second);

    // The world now shows other memory, laid out the same way.
    PixMapHandle pm = GetGWorldPixMap(world);
    (*pm)->baseAddr = reinterpret_cast<Ptr>(second.data());
    std::fill(first.begin(), first.end(), 0u);
    ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
    StrokeDiagonal(ctx);
    QDEndCGContext(world, &ctx);
    EXPECT_EQ(second, drawn);
    EXPECT_EQ(first, std::vector<uint32_t>(32 * 20, 0u));
    DisposeGWorld(world); // with its parked context
}

// A wide stroke through a context and through cairo on the same pixels
// (read as cairo's words): polylines with sharp turns, whose mitred joins
// reach far beyond the line, and short pieces with every cap.
TEST(WorldContext, WideStrokesWithSharpJoinsMatchCairo)
{
    std::mt19937 rng(77);
    for (int trial = 0; trial < 300; trial++) {
        const int width = 40, height = 40;
        World world = MakeWorld(width, height);
        FillNumbered(world.get(), static_cast<uint32_t>(trial));
        World expected = MakeWorld(width, height);
        FillNumbered(expected.get(), static_cast<uint32_t>(trial));

        const bool antialias = rng() % 2 == 0;
        const double lineWidth = 1 + (rng() % 60) / 10.0;
        const CGLineCap cap = static_cast<CGLineCap>(rng() % 3);
        const double red = (rng() % 256) / 255.0, alpha = (rng() % 256) / 255.0;
        std::vector<double> points;
        // A zig-zag whose turns are sharp: up to 6 units wide, 10 tall.
        const int corners = 1 + static_cast<int>(rng() % 4);
        double x = 10 + rng() % 20, y = 10 + rng() % 20;
        for (int i = 0; i <= corners; i++) {
            points.push_back(x);
            points.push_back(y);
            x += static_cast<double>(rng() % 7) - 3;
            y += i % 2 ? 10.0 : -10.0;
        }

        CGContextRef ctx = nullptr;
        ASSERT_EQ(QDBeginCGContext(world.get(), &ctx), noErr);
        CGContextSetShouldAntialias(ctx, antialias);
        CGContextSetRGBStrokeColor(ctx, red, 64 / 255.0, 1, alpha);
        CGContextSetLineWidth(ctx, lineWidth);
        CGContextSetLineCap(ctx, cap);
        CGContextMoveToPoint(ctx, points[0], points[1]);
        for (size_t i = 2; i < points.size(); i += 2)
            CGContextAddLineToPoint(ctx, points[i], points[i + 1]);
        CGContextStrokePath(ctx);
        QDEndCGContext(world.get(), &ctx);

        PixMapHandle pm = GetGWorldPixMap(expected.get());
        auto* base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
        const int rowBytes = GetPixRowBytes(pm);
        MirrorRows(base, rowBytes, width, height);
        cairo_surface_t* surface =
            cairo_image_surface_create_for_data(base, CAIRO_FORMAT_ARGB32, width, height, rowBytes);
        cairo_t* cr = cairo_create(surface);
        cairo_translate(cr, 0, height);
        cairo_scale(cr, 1, -1);
        cairo_set_antialias(cr, antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
        cairo_set_source_rgba(cr, red, 64 / 255.0, 1, alpha);
        cairo_set_line_width(cr, lineWidth);
        const cairo_line_cap_t caps[3] = {CAIRO_LINE_CAP_BUTT, CAIRO_LINE_CAP_ROUND,
                                          CAIRO_LINE_CAP_SQUARE};
        cairo_set_line_cap(cr, caps[cap]);
        cairo_move_to(cr, points[0], points[1]);
        for (size_t i = 2; i < points.size(); i += 2)
            cairo_line_to(cr, points[i], points[i + 1]);
        cairo_stroke(cr);
        cairo_destroy(cr);
        cairo_surface_finish(surface);
        cairo_surface_destroy(surface);
        MirrorRows(base, rowBytes, width, height);

        ASSERT_EQ(Words(world.get()), Words(expected.get())) << "trial " << trial;
    }
}

} // namespace
