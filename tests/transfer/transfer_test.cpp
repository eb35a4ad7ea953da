// Copies between worlds, buffers, views and contexts: raw, keyed and
// alpha copies, and the bridge to the platform's drawing.
#include <cmath>
#include <string>
#include <vector>

#include "sprig/blend.h"
#include "sprig/transfer.h"
#include "tests/platform/cg_fixture.h"
#include "transfer/transfer_p.h"

namespace {

bool IsLocked(GWorldPtr world)
{
    return GetPixelsState(GetGWorldPixMap(world)) & pixelsLocked;
}

TEST(Transfer, RawCopiesPlaceTheSourceRectangleAtTheCorner)
{
    World src = MakeWorld(6, 5);
    FillNumbered(src.get(), 3);
    std::vector<uint32_t> buffer(10 * 6, 0xABABABAB);
    Rect s = R(1, 2, 4, 4), d = R(5, 1, 6, 2); // only the top-left corner counts
    FoolCopyBitsToBuffer(src.get(), buffer.data(), 10, &s, &d);
    for (int v = 0; v < 6; v++)
        for (int h = 0; h < 10; h++) {
            const bool inside = v >= 1 && v < 3 && h >= 5 && h < 8;
            EXPECT_EQ(buffer[v * 10 + h], inside ? Pixel(src.get(), h - 4, v + 1) : 0xABABABABu)
                << h << "," << v;
        }
    EXPECT_FALSE(IsLocked(src.get()));

    // A source rectangle whose right lies left of its left copies nothing.
    const std::vector<uint32_t> before = buffer;
    Rect inverted = R(4, 2, 1, 4);
    FoolCopyBitsToBuffer(src.get(), buffer.data(), 10, &inverted, &d);
    EXPECT_EQ(buffer, before);

    World dst = MakeWorld(5, 5);
    Rect d2 = R(2, 3, 2, 3);
    FoolCopyBits(src.get(), dst.get(), &s, &d2);
    EXPECT_EQ(Pixel(dst.get(), 2, 3), Pixel(src.get(), 1, 2));
    EXPECT_EQ(Pixel(dst.get(), 4, 4), Pixel(src.get(), 3, 3));
    EXPECT_EQ(Pixel(dst.get(), 1, 3), 0u);
    EXPECT_FALSE(IsLocked(dst.get()));
}

TEST(Transfer, AlphaOperations)
{
    // ResetAlpha scales every alpha by amount / 255, rows' padding apart.
    const std::vector<uint32_t> colours = {0x11223300, 0x44556600, 0x77889900, 0xFFFFFF00};
    const struct
    {
        int amount;
        std::vector<uint32_t> alphas;
    } cases[] = {{255, {0xFF, 0xC8, 0x01, 0}}, {128, {0x80, 0x64, 0, 0}}, {0, {0, 0, 0, 0}}};
    for (const auto& c : cases) {
        World w = MakeWorld(4, 1);
        for (int h = 0; h < 4; h++)
            Pixel(w.get(), h, 0) = colours[size_t(h)] | cases[0].alphas[size_t(h)];
        ResetAlpha(w.get(), c.amount);
        for (int h = 0; h < 4; h++)
            EXPECT_EQ(Pixel(w.get(), h, 0), colours[size_t(h)] | c.alphas[size_t(h)])
                << "amount " << c.amount << " at " << h;
    }

    World src = MakeWorld(3, 2), dst = MakeWorld(3, 2);
    FillNumbered(src.get(), 11);
    FillNumbered(dst.get(), 29);
    const uint32_t before = Pixel(dst.get(), 2, 1);
    CopyAlpha(src.get(), dst.get());
    EXPECT_EQ(Pixel(dst.get(), 2, 1), (before & 0xFFFFFF00) | (Pixel(src.get(), 2, 1) & 0xFF));
    EXPECT_FALSE(IsLocked(src.get()) || IsLocked(dst.get()));

    // FillOffscreen writes every word of every row, padding included.
    World w = MakeWorld(3, 2); // rows of 16 bytes: 4 words
    ASSERT_EQ(GetPixRowBytes(GetGWorldPixMap(w.get())), 16);
    FillOffscreen(w.get(), 0xFFFFFF00);
    auto* words = reinterpret_cast<uint32_t*>(GetPixBaseAddr(GetGWorldPixMap(w.get())));
    EXPECT_EQ(std::vector<uint32_t>(words, words + 8), std::vector<uint32_t>(8, 0xFFFFFF00u));
}

TEST(Transfer, KeyedCopiesActOnlyWhereTheSourceMatches)
{
    const uint32_t key = 0xFFF8FF00;
    World src = MakeWorld(3, 1), dst = MakeWorld(3, 1);
    Pixel(src.get(), 0, 0) = key;
    Pixel(src.get(), 1, 0) = key | 0x01; // differs only in alpha: no match
    Pixel(src.get(), 2, 0) = key;
    for (int h = 0; h < 3; h++)
        Pixel(dst.get(), h, 0) = h == 2 ? 0x12345680 : 0x123456FF;
    CopyTransparent(src.get(), dst.get(), key, 0);
    EXPECT_EQ(PixelsOf(dst.get()),
              (std::vector<uint32_t>{0x123456FE, 0x123456FF, 0x1234567F})); // 255 * 255 >> 8
    CopyTransparent(src.get(), dst.get(), key, 255);
    EXPECT_EQ(PixelsOf(dst.get()), (std::vector<uint32_t>{0x12345600, 0x123456FF, 0x12345600}));

    // The other keyed copy puts the key where the source's alpha is 0.
    src = MakeWorld(4, 3);
    dst = MakeWorld(5, 5);
    Pixel(src.get(), 1, 1) = 0x12345601;
    Pixel(src.get(), 2, 1) = 0xFFFFFF00;
    Pixel(src.get(), 1, 2) = 0xAABBCCFF;
    Pixel(src.get(), 2, 2) = 0x00000000;
    FillNumbered(dst.get(), 5);
    World expected = CopyOf(dst.get());
    Pixel(expected.get(), 3, 3) = 0x12345601;
    Pixel(expected.get(), 4, 3) = 0xCAFEBABE;
    Pixel(expected.get(), 3, 4) = 0xAABBCCFF;
    Pixel(expected.get(), 4, 4) = 0xCAFEBABE;
    CopyBitsAlphaTransparent(dst.get(), 3, 3, 2, 2, src.get(), 1, 1, 0xCAFEBABE);
    EXPECT_TRUE(SameWords(dst.get(), expected.get()));
}

// The raw copy and the bridge's copy of one size composite the source
// over the destination, clipped to the world; the raw copy refuses other
// sizes with an alert, the bridge's scales them.
TEST(Transfer, SameSizeCopiesCompositeWithinTheWorldOtherSizesAlertOrScale)
{
    std::vector<std::string> alerts;
    SetStandardAlertHandler(
        [](void* info, int16_t type, const char* error, const char* explanation) {
            static_cast<std::vector<std::string>*>(info)->push_back(std::to_string(type) + "|" +
                                                                    error + "|" + explanation);
        },
        &alerts);
    World src = MakeWorld(12, 12), dst = MakeWorld(10, 10);
    FillRandom(src.get(), 7);
    auto* words = reinterpret_cast<uint32_t*>(GetPixBaseAddr(GetGWorldPixMap(src.get())));
    ASSERT_EQ(GetPixRowBytes(GetGWorldPixMap(src.get())), 48);
    FillNumbered(dst.get(), 1);
    const World before = CopyOf(dst.get());

    Rect s = R(0, 0, 10, 10), d = R(0, 0, 10, 11);
    MyCGCopyRaw(words, 12, dst.get(), &s, &d, 4, false, false);
    EXPECT_TRUE(SameWords(dst.get(), before.get()));
    EXPECT_EQ(alerts, std::vector<std::string>{"0|Unhandled exception occurred while drawing an "
                                               "image. Some graphic may not be shown as "
                                               "expected.|Please, submit your action log to R&D."});

    // Half outside the world to the left and below, or past its bottom-right
    // corner: the inside part is composited from the matching source pixels.
    const struct
    {
        Rect src, dst;
    } cases[] = {{R(1, 2, 9, 8), R(-4, 5, 4, 11)}, {R(1, 1, 5, 5), R(7, 8, 11, 12)}};
    for (const auto& c : cases) {
        World raw = CopyOf(before.get()), bits = CopyOf(before.get());
        s = c.src;
        d = c.dst;
        MyCGCopyRaw(words, 12, raw.get(), &s, &d, 4, false, false);
        MyCGCopyBits(src.get(), bits.get(), &s, &d, kCGImageAlphaFirst, false, false);
        EXPECT_TRUE(EachPixel(raw.get(), [&](int h, int v) {
            const uint32_t under = Pixel(before.get(), h, v);
            return Inside(d, h, v)
                       ? MyMixColors(Pixel(src.get(), h - d.left + s.left, v - d.top + s.top),
                                     under)
                       : under;
        })) << d;
        EXPECT_TRUE(SameWords(bits.get(), raw.get())) << d;
        EXPECT_FALSE(IsLocked(raw.get()) || IsLocked(src.get()));
    }
    EXPECT_EQ(alerts.size(), 1u);
    SetStandardAlertHandler(nullptr, nullptr);

    FillWith(src.get(), 0x123456FF);
    s = R(0, 0, 12, 12);
    d = R(0, 0, 10, 10);
    MyCGCopyBits(src.get(), dst.get(), &s, &d, kCGImageAlphaFirst, false, false);
    EXPECT_EQ(PixelsOf(dst.get()), std::vector<uint32_t>(100, 0x123456FFu));
}

TEST(Transfer, CopyBmBmBgReplicatesAndRestoresThePort)
{
    World src = MakeWorld(2, 2), dst = MakeWorld(6, 6), other = MakeWorld(1, 1);
    FillNumbered(src.get(), 9);
    SetGWorld(other.get(), nullptr);
    const RGBColor red = {0xFFFF, 0, 0};
    RGBForeColor(&red);
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    Rect s = R(0, 0, 2, 2), d = R(0, 0, 6, 6);
    LockPixels(GetGWorldPixMap(dst.get()));
    CopyBmBmBg(src.get(), dst.get(), &s, &d, srcCopy, nullptr, &white);
    EXPECT_TRUE(EachPixel(dst.get(), [&](int h, int v) { return Pixel(src.get(), h / 3, v / 3); }));
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_EQ(port, other.get());
    RGBColor fore;
    GetForeColor(&fore);
    EXPECT_EQ(fore.red, 0xFFFF);
    EXPECT_FALSE(IsLocked(dst.get()) || IsLocked(src.get()));
    SetGWorld(nullptr, nullptr);
}

TEST(Transfer, ReducedRectCountsUniformBorders)
{
    // 6 x 4 pixels, rows 16 bytes apart, uniform or for one pixel (column 1
    // of row 2, column 5 of row 0); last, no rows at all, where every column
    // pair counts and no pixel is read.
    const struct
    {
        int odd, width, height;
        uint32_t left, top;
    } cases[] = {{-1, 6, 4, 3, 2}, {2 * 8 + 1, 6, 4, 1, 1}, {5, 6, 4, 0, 0}, {-1, 7, 0, 3, 0}};
    for (const auto& c : cases) {
        std::vector<uint16_t> image(8 * 4, 0x1234);
        if (c.odd >= 0)
            image[size_t(c.odd)] = 0x0001;
        uint32_t out[2] = {99, 99};
        EXPECT_EQ(ReducedRect(out, c.height ? image.data() : nullptr, 16, c.width, c.height), 1);
        EXPECT_EQ(out[0], c.left) << "odd pixel " << c.odd;
        EXPECT_EQ(out[1], c.top) << "odd pixel " << c.odd;
    }
}

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
    FillEach(world.get(), [](int h, int v) {
        return v < 25 ? (h < 50 ? 0x0000FFFF : 0xFF0000FF) : (h < 50 ? 0x12345600 : 0x00FF0080);
    });
    Canvas canvas(200, 100, true);
    FillWith(canvas.world, 0xFFFFFFFF);
    canvas.Begin();
    DrawOffscreenToHIView(world.get(), canvas.ctx, canvas.view, kCGImageAlphaFirst);
    canvas.End();
    // Green at alpha 128 over opaque white: 128 + 127 in green, 127 in red
    // and blue, opaque.
    EXPECT_TRUE(EachPixel(canvas.world, [&](int h, int v) {
        if (std::abs(h - 100) < 3 || std::abs(v - 50) < 3)
            return Pixel(canvas.world, h, v); // filtered seams between quadrants
        return v < 50 ? (h < 100 ? 0x0000FFFFu : 0xFF0000FFu)
                      : (h < 100 ? 0xFFFFFFFFu : 0x7FFF7FFFu);
    }));
    EXPECT_EQ(HIViewCountInvalidRects(canvas.view), 0);
}

// Every pixel of world within inside is word; every other is before's.
testing::AssertionResult WordOnlyWithin(GWorldPtr world, GWorldPtr before, const Rect& inside,
                                        uint32_t word)
{
    return EachPixel(
        world, [&](int h, int v) { return Inside(inside, h, v) ? word : Pixel(before, h, v); });
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
    EXPECT_TRUE(EachPixel(screen.get(), [](int h, int v) {
        return !Inside(R(2, 8, 9, 12), h, v) && !Inside(R(10, 1, 15, 5), h, v) ? 0u
               : h == 3 || h == 10                                             ? 0x0000FFFFu
                                                                               : 0xFF0000FFu;
    }));
}

} // namespace
