// Contexts on worlds as the line drawer uses them, one per line: a context
// begun after another one ended behaves as a new one, and wide strokes
// leave exactly the bits cairo leaves however far their joins reach.
#include <random>
#include <vector>

#include "tests/platform/cg_fixture.h"

namespace {

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

} // namespace
