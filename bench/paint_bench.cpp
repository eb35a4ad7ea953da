// A soft brush stroke on a 480 x 360 picture: a 200-pixel PaintLineTo of a
// 32 x 32 soft round brush followed by PaintMix over the line's reach,
// beside cairo stroking a 32-pixel round-capped line of the same length
// with a soft radial-gradient source onto a surface over the same pixels.
// Prints the ratio of the two times (ours / cairo's) at the end.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/paint.h"

namespace {

constexpr int kWidth = 480;
constexpr int kHeight = 360;
constexpr int kLineLeft = 140;
constexpr int kLineRight = 340;
constexpr int kLineY = 180;

struct Picture
{
    Picture()
    {
        src = NewWorld(kWidth, kHeight);
        dst = NewWorld(kWidth, kHeight);
        for (GWorldPtr world : {src, dst}) {
            PixMapHandle pm = GetGWorldPixMap(world);
            for (int v = 0; v < kHeight; v++) {
                auto* row =
                    reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm));
                for (int h = 0; h < kWidth; h++)
                    row[h] = 0xE4F4FAFFu - static_cast<uint32_t>(v / 20) * 0x01010100u;
            }
        }
    }
    ~Picture()
    {
        DisposeGWorld(src);
        DisposeGWorld(dst);
    }
    GWorldPtr src = nullptr;
    GWorldPtr dst = nullptr;
};

void SprigBrushLine(benchmark::State& state)
{
    Picture picture;
    std::vector<uint8_t> mask(static_cast<size_t>((kWidth + 32) * (kHeight + 32)));
    std::vector<uint8_t> brush(1024);
    for (int r = 0; r < 32; r++)
        for (int c = 0; c < 32; c++) {
            const double t = std::fmax(0.0, 1.0 - std::hypot(c - 16, r - 16) / 16.0);
            brush[r * 32 + c] = static_cast<uint8_t>(std::lround(63 * t));
        }
    uint32_t table[64];
    for (uint32_t m = 0; m < 64; m++)
        table[63 - m] = ((m * 255 / 63) << 24) | 0x00A03C1Eu;
    OurPS ps = {kWidth, 0, picture.src, picture.dst, 0, nullptr, brush.data(), mask.data(), table};
    Rect line;
    SetRect(&line, kLineLeft, kLineY, kLineRight, kLineY);
    Rect reach;
    SetRect(&reach, kLineLeft - 16, kLineY - 16, kLineRight + 16, kLineY + 16);
    for (auto _ : state) {
        PaintLineTo(&line, &ps);
        PaintMix(&reach, &ps);
        benchmark::ClobberMemory();
    }
}

void CairoGradientStroke(benchmark::State& state)
{
    Picture picture;
    PixMapHandle pm = GetGWorldPixMap(picture.dst);
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(GetPixBaseAddr(pm)), CAIRO_FORMAT_ARGB32, kWidth, kHeight,
        GetPixRowBytes(pm));
    cairo_t* cr = cairo_create(surface);
    const double cx = (kLineLeft + kLineRight) / 2.0;
    cairo_pattern_t* soft = cairo_pattern_create_radial(cx, kLineY, 0, cx, kLineY, 116);
    cairo_pattern_add_color_stop_rgba(soft, 0, 0.12, 0.24, 0.63, 1);
    cairo_pattern_add_color_stop_rgba(soft, 1, 0.12, 0.24, 0.63, 0);
    cairo_set_source(cr, soft);
    cairo_set_line_width(cr, 32);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    for (auto _ : state) {
        cairo_move_to(cr, kLineLeft, kLineY);
        cairo_line_to(cr, kLineRight, kLineY);
        cairo_stroke(cr);
        cairo_surface_flush(surface);
        benchmark::ClobberMemory();
    }
    cairo_pattern_destroy(soft);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

BENCHMARK(SprigBrushLine);
BENCHMARK(CairoGradientStroke);

} // namespace

int main(int argc, char** argv)
{
    PaintInit();
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("brush line + PaintMix / cairo gradient stroke: %.2f\n",
                reporter.Time("SprigBrushLine") / reporter.Time("CairoGradientStroke"));
    benchmark::Shutdown();
    return 0;
}
