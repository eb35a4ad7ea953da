// Contexts on worlds and views: hairlines and wide strokes land on exact
// words (held to cairo's bits where the platform draws them itself), within
// the clip and the rows around them; a context begun after another ended
// starts afresh.
#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "platform/cg_context_p.h"
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
    EXPECT_TRUE(EachPixel(world.get(), [&](int h, int v) {
        const bool inRegion =
            Inside(R(2, 2, 10, 8), h, v) || Inside(R(20, 12, 25, 18), h, v) || v == 19;
        const bool thin = h >= 2 && h < 15 && (v == 15 || v == 12);
        return thin       ? (v == 15 ? 0xFFFEFFFFu : 0xFE8011FFu)
               : inRegion ? 0x0000FFFFu
                          : Pixel(before.get(), h, v);
    }));
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

// Contexts on worlds as the line drawer uses them, one per line: a context
// begun after another one ended behaves as a new one, and wide strokes
// leave exactly the bits cairo leaves however far their joins reach.

// A diagonal in the context's current state, from its default user space.
void StrokeDiagonal(GWorldPtr world)
{
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
    CGContextBeginPath(ctx);
    CGContextMoveToPoint(ctx, 2, 3);
    CGContextAddLineToPoint(ctx, 27, 17);
    CGContextStrokePath(ctx);
    QDEndCGContext(world, &ctx);
}

// A context begun after another one ended behaves as a new one: it draws
// in the default state (black, 1 wide, unclipped) over what the world holds
// now, in the memory its pixel map shows now.
TEST(WorldContext, ABeginAfterAnEndStartsAfreshOverTheWorldsPixelsWhereverTheyAre)
{
    World fresh = MakeWorld(30, 20);
    FillNumbered(fresh.get(), 4);
    StrokeDiagonal(fresh.get());

    std::vector<uint32_t> first(32 * 20, 0), second(32 * 20, 0);
    Rect bounds = R(0, 0, 30, 20), corner = R(0, 0, 4, 4);
    GWorldPtr world = nullptr;
    ASSERT_EQ(NewGWorldFromPtr(&world, 0, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(first.data()), 32 * 4),
              noErr);
    // A context left with everything changed, a state saved and not
    // restored and a path begun, then ended.
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
    CGContextSetRGBStrokeColor(ctx, 1, 0, 0, 0.5);
    CGContextSetLineWidth(ctx, 7);
    CGContextSetLineCap(ctx, kCGLineCapRound);
    CGContextSetShouldAntialias(ctx, false);
    const CGFloat dash[2] = {2, 2};
    CGContextSetLineDash(ctx, 0, dash, 2);
    CGContextSaveGState(ctx);
    CGContextTranslateCTM(ctx, 5, 5);
    ClipCGContextToRegion(ctx, &bounds, Region({corner}).handle);
    CGContextMoveToPoint(ctx, 1, 1);
    CGContextAddLineToPoint(ctx, 9, 9);
    QDEndCGContext(world, &ctx);
    EXPECT_EQ(ctx, nullptr);

    // The host points the world at other memory, laid out the same way, and
    // fills it; the old memory stays as it is.
    (*GetGWorldPixMap(world))->baseAddr = reinterpret_cast<Ptr>(second.data());
    FillNumbered(world, 4);
    const std::vector<uint32_t> old = first;
    StrokeDiagonal(world);
    EXPECT_EQ(PixelsOf(world), PixelsOf(fresh.get()));
    EXPECT_NE(PixelsOf(world), PixelsOf(MakeWorld(30, 20).get()));
    EXPECT_EQ(first, old);
    DisposeGWorld(world); // with its parked context
}

// A stroke as the tests draw it, through a context and straight with cairo.
struct Stroke
{
    bool antialias = true;
    double width = 1;
    int cap = 0; // butt, round, square
    double red = 0, alpha = 1;
    bool dashed = false;
    std::vector<double> points; // x, y, x, y, ...
};

// Polylines with sharp turns, whose mitred joins reach far beyond the line,
// or single short pieces as a pen draws them; opaque or not.
Stroke RandomStroke(std::mt19937& rng)
{
    Stroke s;
    s.antialias = rng() % 2 == 0;
    s.width = 1 + (rng() % 60) / 10.0;
    s.cap = static_cast<int>(rng() % 3);
    s.red = (rng() % 256) / 255.0;
    s.alpha = rng() % 2 ? 1.0 : (rng() % 256) / 255.0;
    s.dashed = rng() % 5 == 0;
    const bool zigzag = rng() % 2 == 0;
    const int corners = zigzag ? 1 + static_cast<int>(rng() % 4) : 1;
    double x = static_cast<double>(rng() % 50) - 5 + (rng() % 4) / 4.0;
    double y = static_cast<double>(rng() % 50) - 5 + (rng() % 4) / 4.0;
    for (int i = 0; i <= corners; i++) {
        s.points.insert(s.points.end(), {x, y});
        x += zigzag ? static_cast<double>(rng() % 7) - 3 : (rng() % 41) / 4.0 - 5;
        y += zigzag ? (i % 2 ? 10.0 : -10.0) : (rng() % 41) / 4.0 - 5;
    }
    return s;
}

// Draws the strokes through a context on world and through cairo on
// expected (read as cairo's words); both must then hold the same words. In
// the context's default space (y up), or in the stage's (y down) as the
// sprite engine sets it up.
void DrawBothWays(GWorldPtr world, GWorldPtr expected, const std::vector<Stroke>& strokes,
                  bool yDown = false)
{
    static const CGFloat kDash[2] = {3, 2};
    static const cairo_line_cap_t kCaps[3] = {CAIRO_LINE_CAP_BUTT, CAIRO_LINE_CAP_ROUND,
                                              CAIRO_LINE_CAP_SQUARE};
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(world, &ctx), noErr);
    if (yDown) {
        CGContextTranslateCTM(ctx, 0, Bounds(world).bottom);
        CGContextScaleCTM(ctx, 1, -1);
    }
    CairoOnWorld cairo(expected, !yDown);
    cairo_t* cr = cairo.cr;
    for (const Stroke& s : strokes) {
        CGContextSetShouldAntialias(ctx, s.antialias);
        CGContextSetRGBStrokeColor(ctx, s.red, 64 / 255.0, 1, s.alpha);
        CGContextSetLineWidth(ctx, s.width);
        CGContextSetLineCap(ctx, static_cast<CGLineCap>(s.cap));
        CGContextSetLineDash(ctx, 1, s.dashed ? kDash : nullptr, s.dashed ? 2 : 0);
        cairo_set_antialias(cr, s.antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
        cairo_set_source_rgba(cr, s.red, 64 / 255.0, 1, s.alpha);
        cairo_set_line_width(cr, s.width);
        cairo_set_line_cap(cr, kCaps[s.cap]);
        cairo_set_dash(cr, s.dashed ? kDash : nullptr, s.dashed ? 2 : 0, 1);
        CGContextMoveToPoint(ctx, s.points[0], s.points[1]);
        cairo_move_to(cr, s.points[0], s.points[1]);
        for (size_t i = 2; i < s.points.size(); i += 2) {
            CGContextAddLineToPoint(ctx, s.points[i], s.points[i + 1]);
            cairo_line_to(cr, s.points[i], s.points[i + 1]);
        }
        CGContextStrokePath(ctx);
        cairo_stroke(cr);
    }
    QDEndCGContext(world, &ctx);
}

// One to three strokes in a row: the same stroke again, or one that differs
// from it in a single respect; a quarter of them in the stage's space.
TEST(WorldContext, StrokesMatchCairoRepeatedOrChanged)
{
    std::mt19937 rng(77);
    int opaque = 0, repeated = 0;
    for (int trial = 0; trial < 600; trial++) {
        World world = MakeWorld(40, 40);
        FillNumbered(world.get(), static_cast<uint32_t>(trial));
        World expected = CopyOf(world.get());
        std::vector<Stroke> strokes = {RandomStroke(rng)};
        for (int n = static_cast<int>(rng() % 3); n > 0; n--) {
            Stroke next = strokes.back();
            switch (rng() % 6) {
            case 0:
                next.antialias = !next.antialias;
                break;
            case 1:
                next.width += 0.5;
                break;
            case 2:
                next.cap = (next.cap + 1) % 3;
                break;
            case 3:
                next.points.back() += 1;
                break;
            default:
                repeated++;
            }
            strokes.push_back(next);
        }
        for (const Stroke& s : strokes)
            opaque += s.alpha == 1.0;
        DrawBothWays(world.get(), expected.get(), strokes, trial % 4 == 3);
        ASSERT_TRUE(SameWords(world.get(), expected.get())) << "trial " << trial;
    }
    EXPECT_GT(opaque, 400);
    EXPECT_GT(repeated, 150);
}

// A stroke far from the origin of a large world, where the coverage scratch
// would be as large as the world, is still drawn and still exact; then one
// near the origin of the same world.
TEST(WorldContext, StrokesFarIntoALargeWorldMatchCairo)
{
    World world = MakeWorld(4000, 1200);
    World expected = MakeWorld(4000, 1200);
    Stroke far;
    far.width = 3;
    far.cap = 1;
    far.red = 200 / 255.0;
    far.points = {3990.25, 10.5, 3975.0, 3.75};
    Stroke near = far;
    near.points = {3.25, 1190.5, 12.0, 1185.75};
    DrawBothWays(world.get(), expected.get(), {far, near});
    ASSERT_TRUE(SameWords(world.get(), expected.get()));
    const std::vector<uint32_t> words = PixelsOf(world.get());
    EXPECT_GT(words.size() - size_t(std::count(words.begin(), words.end(), 0u)), 60u);
}

// One-pixel lines on a world are drawn by the platform itself; these tests
// hold them to the bits cairo leaves when it fills the same pixels, and the
// colour they are drawn in to cairo's own colour conversion.

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
