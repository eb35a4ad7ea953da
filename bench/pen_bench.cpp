// Pen trails, side by side with cairo stroking the same segments.
//
// BM_PenMoves/S/A: 10,000 moves of 1 to 10 pixels in random directions of a
// sprite whose pen is down, pen size S (1 or 3), antialiasing A (0 off, 1
// on), on a 480 x 360 stage: CSprite::SetPosPaint, each move a line drawn
// into the background through a drawing context on it and marked for
// redisplay (the pending table emptied every 100 moves, as a host's frame
// would).
// BM_CairoStrokes/S/A: the same 10,000 segments stroked one by one with
// cairo onto a 480 x 360 image surface, with the same width, caps, colour
// and antialiasing.
// After the runs the ratio of each pair (median CPU time) is printed; the
// aim is <= 1.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/engine.h"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kMoves = 10000;
constexpr int kMovesPerFrame = 100;

struct Move
{
    double dx, dy;
};

// The same seeded walk for every run: lengths 1 to 10, any direction.
const std::vector<Move>& Walk()
{
    static const std::vector<Move> walk = [] {
        std::mt19937 random(1234);
        std::uniform_real_distribution<double> length(1.0, 10.0);
        std::uniform_real_distribution<double> angle(0.0, 2 * 3.14159265358979);
        std::vector<Move> moves;
        for (int i = 0; i < kMoves; i++) {
            const double l = length(random), a = angle(random);
            moves.push_back({l * std::cos(a), l * std::sin(a)});
        }
        return moves;
    }();
    return walk;
}

void BM_PenMoves(benchmark::State& state)
{
    const auto penSize = static_cast<short>(state.range(0));
    const int antialias = static_cast<int>(state.range(1));
    GWorldPtr backdrop = NewWorld(kStageWidth, kStageHeight);
    GWorldPtr background = NewWorld(kStageWidth, kStageHeight);
    GWorldPtr sprites = NewWorld(kStageWidth, kStageHeight);
    Rect bounds;
    SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
    CSpriteList list(backdrop, background, sprites, &bounds);
    auto* sprite = new CSprite(&list, 1);
    sprite->mPenMode = 1;
    sprite->mPenSize = penSize;
    RGBColor colour = {0x2020, 0x6060, 0xC0C0};
    sprite->SetPenColor(&colour);
    const std::vector<Move>& walk = Walk();
    for (auto _ : state) {
        sprite->mX = kStageWidth / 2.0;
        sprite->mY = kStageHeight / 2.0;
        for (int i = 0; i < kMoves; i++) {
            if (i % kMovesPerFrame == 0)
                list.InitRedisplayRects();
            sprite->SetPosPaint(sprite->mX + walk[static_cast<size_t>(i)].dx,
                                sprite->mY + walk[static_cast<size_t>(i)].dy, 0, nullptr,
                                antialias);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kMoves);
    DisposeGWorld(backdrop);
    DisposeGWorld(background);
    DisposeGWorld(sprites);
}

void BM_CairoStrokes(benchmark::State& state)
{
    const int penSize = static_cast<int>(state.range(0));
    const bool antialias = state.range(1) != 0;
    cairo_surface_t* surface =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kStageWidth, kStageHeight);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgba(cr, 0x20 / 255.0, 0x60 / 255.0, 0xC0 / 255.0, 1.0);
    cairo_set_line_width(cr, penSize);
    cairo_set_line_cap(cr, penSize <= 1 ? CAIRO_LINE_CAP_SQUARE : CAIRO_LINE_CAP_ROUND);
    cairo_set_antialias(cr, antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    const double o = penSize % 2 ? 0.5 : 0.0;
    const std::vector<Move>& walk = Walk();
    for (auto _ : state) {
        double x = kStageWidth / 2.0, y = kStageHeight / 2.0;
        for (int i = 0; i < kMoves; i++) {
            const double nx = x + walk[static_cast<size_t>(i)].dx;
            const double ny = y + walk[static_cast<size_t>(i)].dy;
            cairo_move_to(cr, x + o, y + o);
            cairo_line_to(cr, nx + o, ny + o);
            cairo_stroke(cr);
            // The walk stays on the surface, wrapping as the stage does.
            x = std::fmod(nx + kStageWidth, kStageWidth);
            y = std::fmod(ny + kStageHeight, kStageHeight);
        }
        cairo_surface_flush(surface);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kMoves);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

void PenArguments(benchmark::internal::Benchmark* b)
{
    for (int size : {1, 3})
        for (int antialias : {0, 1})
            b->Args({size, antialias});
    b->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_PenMoves)->Apply(PenArguments);
BENCHMARK(BM_CairoStrokes)->Apply(PenArguments);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (const char* size : {"1", "3"})
        for (const char* antialias : {"0", "1"}) {
            const std::string args = std::string("/") + size + "/" + antialias;
            std::printf("pen moves / cairo strokes, pen size %s, antialias %s: %.2fx (aim <= 1)\n",
                        size, antialias[0] == '1' ? "on " : "off",
                        reporter.Time("BM_PenMoves" + args) /
                            reporter.Time("BM_CairoStrokes" + args));
        }
    return 0;
}
