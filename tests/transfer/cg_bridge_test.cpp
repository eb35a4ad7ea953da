#include <cmath>
#include <vector>

#include "sprig/blend.h"
#include "sprig/transfer.h"
#include "tests/platform/cg_fixture.h"

namespace {

// The outline as cairo strokes it on the world's words, y up: odd widths
// run through pixel centres, mitred corners, dashes of 3 on and 3 off.
TEST(AltCGFrameRect, SolidAndDashedOutlinesMatchCairo)
{
    for (int lineWidth : {1, 2, 3})
        for (bool dashed : {false, true}) {
            SCOPED_TRACE(testing::Message() << "width " << lineWidth << (dashed ? " dashed" : ""));
            World world = MakeWorld(24, 20);
            FillRandom(world.get(), 17);
            const World expected = CopyOf(world.get());
            Rect rect = lineWidth == 1 ? R(3, 4, 15, 14) : R(3, 4, 14, 13);
            AltCGFrameRect(world.get(), &rect, 0xFFFF, 0x8000, 0x0000, 255, lineWidth, dashed);
            {
                CairoOnWorld cairo(expected.get(), true);
                const double o = lineWidth % 2 != 0 ? 0.5 : 0, dash[2] = {3, 3};
                cairo_set_source_rgba(cairo.cr, 1, 0x8000 / 65535.0, 0, 1);
                cairo_set_line_width(cairo.cr, lineWidth);
                cairo_set_dash(cairo.cr, dash, dashed ? 2 : 0, 0);
                cairo_rectangle(cairo.cr, rect.left + o, 20 - rect.bottom - o,
                                rect.right - rect.left - 2 * o, rect.bottom - rect.top - 2 * o);
                cairo_stroke(cairo.cr);
            }
            EXPECT_TRUE(SameWords(world.get(), expected.get()));
        }
    // Width 1 on a 100-row world: rows top + 1 to bottom, columns left to right - 1.
    World tall = MakeWorld(10, 100);
    Rect r = R(2, 10, 6, 20);
    AltCGFrameRect(tall.get(), &r, 0, 0, 0xFFFF, 255, 1, false);
    EXPECT_EQ(Pixel(tall.get(), 2, 11), 0xFF0000FFu);
    EXPECT_EQ(Pixel(tall.get(), 5, 20), 0xFF0000FFu);
    EXPECT_EQ(Pixel(tall.get(), 5, 15), 0xFF0000FFu);
    EXPECT_EQ(Pixel(tall.get(), 2, 10), 0u);
    EXPECT_EQ(Pixel(tall.get(), 6, 15), 0u);
}

TEST(DrawOffscreenToHIView, AWorldFillsAViewTwiceItsSize)
{
    // Four quadrants: opaque red, opaque blue, transparent, half-alpha green.
    World world = MakeWorld(100, 50);
    for (int v = 0; v < 50; v++)
        for (int h = 0; h < 100; h++)
            Pixel(world.get(), h, v) =
                v < 25 ? (h < 50 ? 0x0000FFFF : 0xFF0000FF) : (h < 50 ? 0x12345600 : 0x00FF0080);
    Canvas canvas(200, 100, true);
    FillWith(canvas.world, 0xFFFFFFFF);
    canvas.Begin();
    DrawOffscreenToHIView(world.get(), canvas.ctx, canvas.view, kCGImageAlphaFirst);
    canvas.End();
    // Green at alpha 128 over opaque white: 128 + 127 in green, 127 in red
    // and blue, opaque.
    for (int v = 0; v < 100; v++)
        for (int h = 0; h < 200; h++) {
            if (std::abs(h - 100) < 3 || std::abs(v - 50) < 3)
                continue; // filtered seams between quadrants
            const uint32_t expected =
                v < 50 ? (h < 100 ? 0x0000FFFF : 0xFF0000FF) : (h < 100 ? 0xFFFFFFFF : 0x7FFF7FFF);
            ASSERT_EQ(Pixel(canvas.world, h, v), expected) << h << "," << v;
        }
    EXPECT_EQ(HIViewCountInvalidRects(canvas.view), 0);
}

// Every pixel of world within inside is word; every other is before's.
testing::AssertionResult WordOnlyWithin(GWorldPtr world, GWorldPtr before, const Rect& inside,
                                        uint32_t word)
{
    const Rect b = Bounds(world);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++) {
            const bool in =
                h >= inside.left && h < inside.right && v >= inside.top && v < inside.bottom;
            if (Pixel(world, h, v) != (in ? word : Pixel(before, h, v)))
                return testing::AssertionFailure() << "at " << h << "," << v;
        }
    return testing::AssertionSuccess();
}

TEST(CGCopyBits, DrawsAtAnotherSizeWithinTheClip)
{
    World src = MakeWorld(8, 8), dst = MakeWorld(40, 30);
    FillWith(src.get(), 0x4080C0FF);
    FillRandom(dst.get(), 21);
    World before = CopyOf(dst.get());
    SetPortClipRegion(dst.get(), Region({R(10, 5, 25, 20)}).handle);
    Rect s = R(0, 0, 8, 8), d = R(4, 3, 36, 27); // four times as large
    CGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, true, false);
    EXPECT_TRUE(WordOnlyWithin(dst.get(), before.get(), R(10, 5, 25, 20), 0x4080C0FF));

    // A part of the source goes through a temporary world: the right half,
    // transparent there, leaves the destination alone.
    for (int v = 0; v < 8; v++)
        for (int h = 4; h < 8; h++)
            Pixel(src.get(), h, v) = 0xFFFFFF00;
    FillRandom(dst.get(), 22);
    before = CopyOf(dst.get());
    s = R(2, 0, 6, 8); // two opaque columns, two transparent ones
    d = R(0, 0, 8, 16);
    SetPortClipRegion(dst.get(), Region({d}).handle);
    CGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, false, true);
    for (int v = 0; v < 16; v++) {
        EXPECT_EQ(Pixel(dst.get(), 1, v), 0x4080C0FFu) << v;
        EXPECT_EQ(Pixel(dst.get(), 6, v), Pixel(before.get(), 6, v)) << v;
    }
    EXPECT_EQ(Pixel(dst.get(), 1, 16), Pixel(before.get(), 1, 16));
}

// On a host's cairo context, which gets its own state back when the
// context made over it is released, however that was left.
TEST(DrawOffscreenToContext, PlacesTheWorldInThousandthsYUpOnAHostsCairoContext)
{
    World world = MakeWorld(1, 1);
    Pixel(world.get(), 0, 0) = 0x0000FFFF; // opaque red
    World surface = MakeWorld(40, 40);
    {
        CairoOnWorld cairo(surface.get());
        cairo_set_line_width(cairo.cr, 7);
        CGContextRef ctx = CGContextCreateWithCairo(cairo.cr, 40);
        ASSERT_NE(ctx, nullptr);
        CGContextSaveGState(ctx); // left unbalanced on purpose
        CGContextSetLineWidth(ctx, 1);
        // The rectangle (12.5, -0.5, 10, 20): x from 12.5 to 22.5, and in the
        // y-down surface from row 20.5 to 40.5.
        DrawOffscreenToContext(world.get(), ctx, 12500, -500, 10, 20, kCGImageAlphaFirst);
        CGContextRelease(ctx);
        EXPECT_EQ(cairo_get_line_width(cairo.cr), 7);
        cairo_matrix_t m;
        cairo_get_matrix(cairo.cr, &m);
        EXPECT_EQ(m.yy, 1);
        EXPECT_EQ(cairo_status(cairo.cr), CAIRO_STATUS_SUCCESS);
    }
    auto at = [&](int h, int v) { return MirrorWord(Pixel(surface.get(), h, v)); };
    EXPECT_EQ(at(13, 21), 0xFFFF0000u);
    EXPECT_EQ(at(21, 39), 0xFFFF0000u);
    EXPECT_EQ(at(11, 30), 0u);
    EXPECT_EQ(at(23, 30), 0u);
    EXPECT_EQ(at(15, 19), 0u);
    EXPECT_NEAR(static_cast<int>(at(12, 30) >> 24), 128, 2); // half covered
    EXPECT_NEAR(static_cast<int>(at(15, 20) >> 24), 128, 2);
}

TEST(DrawCGImageToOffscreen, ReadsTheDestinationBottomUpAndRespectsTheClip)
{
    World picture = MakeWorld(2, 2);
    FillWith(picture.get(), 0x00FF00FF);
    ImageOver image(picture.get());
    Rect dst = R(1, 2, 5, 6), clip = R(0, 0, 3, 6); // rows 10 - 6 = 4 to 7 counted from the top
    for (Rect* clipRect : {static_cast<Rect*>(nullptr), &clip}) {
        World world = MakeWorld(10, 10);
        FillRandom(world.get(), 8);
        const World before = CopyOf(world.get());
        EXPECT_EQ(DrawCGImageToOffscreen(world.get(), &dst, clipRect, image.image), noErr);
        EXPECT_TRUE(WordOnlyWithin(world.get(), before.get(),
                                   clipRect ? R(1, 4, 3, 6) : R(1, 4, 5, 8), 0x00FF00FF));
    }
}

TEST(CGCopyBitsToContext, WholeWorldsAndPartsLandAtTheFlippedRectangle)
{
    World src = MakeWorld(7, 4);
    FillWith(src.get(), 0xFF0000FF);
    for (int v = 0; v < 4; v++)
        Pixel(src.get(), 1, v) = 0x0000FFFF; // a red column
    World screen = MakeWorld(20, 12);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(screen.get(), &ctx), noErr);                   // y up, 12 tall
    Rect area = R(0, 0, 20, 12), whole = R(0, 0, 7, 4), part = R(1, 0, 6, 4); // part: padded rows
    Rect at = R(2, 8, 9, 12), at2 = R(10, 1, 15, 5); // at touches the bottom edge: y = 0
    CGCopyBitsToContext(src.get(), ctx, &whole, &at, kCGImageAlphaFirst, &area);
    CGCopyBitsToContext(src.get(), ctx, &part, &at2, kCGImageAlphaFirst, &area);
    QDEndCGContext(screen.get(), &ctx);
    for (int v = 0; v < 12; v++)
        for (int h = 0; h < 20; h++) {
            const bool first = h >= 2 && h < 9 && v >= 8,
                       second = h >= 10 && h < 15 && v >= 1 && v < 5;
            ASSERT_EQ(Pixel(screen.get(), h, v), !first && !second   ? 0u
                                                 : h == 3 || h == 10 ? 0x0000FFFFu
                                                                     : 0xFF0000FFu)
                << h << "," << v;
        }
}

} // namespace
