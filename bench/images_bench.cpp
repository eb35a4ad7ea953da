// Drawing a sprite-like picture from the picture pool, side by side with
// cairo painting the same picture from a ready image surface (OVER), and the
// cost of building a scaled copy.
//
// BM_PoolDraw and BM_CairoPaint each draw a 64 x 64 picture (transparent
// surroundings, an opaque disc with soft edges, in flat colours /0 or shaded
// column by column /1) 1000 times at positions across a 480 x 360 world.
// After the runs the ratios are printed; the aim is pool / cairo <= 1.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/images.h"
#include "sprig/packing.h"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kDraws = 1000;

// A disc with soft edges: flat colours (a cartoon sprite) or a colour that
// changes with every column (a shaded one, with no runs inside the disc).
std::vector<uint32_t> SpritePixels(int size, bool shaded)
{
    return SoftDisc(size, size * 0.4, [size, shaded](int x, int, uint32_t alpha) {
        return shaded         ? Word(230, 120 + static_cast<uint32_t>(x & 63), 20, alpha)
               : x < size / 2 ? Word(230, 120, 20, alpha)
                              : Word(250, 220, 60, alpha);
    });
}

// Registers a picture of size x size in the pool under number.
void Register(int32_t number, int size, bool shaded)
{
    RegisterPicture(number, SpritePixels(size, shaded), size, size);
}

// Where draw i lands: spread over the stage, partly off its edges.
void Position(int i, int* x, int* y)
{
    *x = (i * 37) % (kStageWidth + 32) - 32;
    *y = (i * 53) % (kStageHeight + 32) - 32;
}

void BM_PoolDraw(benchmark::State& state)
{
    const bool shaded = state.range(0) != 0;
    Register(300, 64, shaded);
    GWorldPtr world = NewWorld(kStageWidth, kStageHeight);
    Rect src;
    SetRect(&src, 0, 0, 64, 64);
    for (auto _ : state) {
        for (int i = 0; i < kDraws; i++) {
            int x, y;
            Position(i, &x, &y);
            Rect dst;
            SetRect(&dst, static_cast<int16_t>(x), static_cast<int16_t>(y),
                    static_cast<int16_t>(x + 64), static_cast<int16_t>(y + 64));
            StretchImage(300, &src, &dst, world, 0);
        }
        benchmark::ClobberMemory();
    }
    DisposeGWorld(world);
    ResetFreeImage(300);
}

void BM_CairoPaint(benchmark::State& state)
{
    // cairo's own format: premultiplied, native-endian ARGB.
    const std::vector<uint32_t> pixels = SpritePixels(64, state.range(0) != 0);
    cairo_surface_t* sprite = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 64, 64);
    auto* data = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(sprite));
    const int stride = cairo_image_surface_get_stride(sprite) / 4;
    for (int y = 0; y < 64; y++)
        for (int x = 0; x < 64; x++) {
            const uint32_t p = pixels[static_cast<size_t>(y * 64 + x)];
            const uint32_t a = p & 0xFF;
            const uint32_t r = ((p >> 8) & 0xFF) * a / 255;
            const uint32_t g = ((p >> 16) & 0xFF) * a / 255;
            const uint32_t b = (p >> 24) * a / 255;
            data[y * stride + x] = (a << 24) | (r << 16) | (g << 8) | b;
        }
    cairo_surface_mark_dirty(sprite);
    cairo_surface_t* stage =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kStageWidth, kStageHeight);
    cairo_t* cr = cairo_create(stage);
    for (auto _ : state) {
        for (int i = 0; i < kDraws; i++) {
            int x, y;
            Position(i, &x, &y);
            cairo_set_source_surface(cr, sprite, x, y);
            cairo_paint(cr);
        }
        cairo_surface_flush(stage);
        benchmark::ClobberMemory();
    }
    cairo_destroy(cr);
    cairo_surface_destroy(stage);
    cairo_surface_destroy(sprite);
}

// Building the scaled copy of a 256 x 256 picture at a new scale each time.
void BM_GetImageNewScale(benchmark::State& state)
{
    Register(301, 256, false);
    int32_t scale = 41;
    for (auto _ : state) {
        benchmark::DoNotOptimize(gImagePool.GetImage(301, scale, 255));
        scale = scale == 80 ? 41 : scale + 1;
    }
    ResetFreeImage(301);
}

BENCHMARK(BM_PoolDraw)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CairoPaint)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GetImageNewScale)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (const char* arg : {"0", "1"}) {
        const std::string a = std::string("/") + arg;
        std::printf("%s sprite: pool draw / cairo paint = %.2fx (aim <= 1)\n",
                    arg[0] == '1' ? "shaded" : "flat  ",
                    reporter.Time("BM_PoolDraw" + a) / reporter.Time("BM_CairoPaint" + a));
    }
    return 0;
}
