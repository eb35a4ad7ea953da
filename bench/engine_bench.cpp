// One frame of a stage, side by side with cairo doing the same job, and the
// cost of a collision test.
//
// BM_StageFrame: 100 sprites of 32 to 64 pixels on a 480 x 360 stage, a
// third of them scaled and a quarter faded, drawn by UpdateControl into an
// offscreen view (the sprite surface cleared, the sprites composited, the
// surface composited over the view).
// BM_CairoFrame: the same sprites from ready cairo image surfaces (already
// at their shown size; faded ones painted with an alpha) composited onto a
// cleared cairo surface, which is then painted over the view's pixels.
// After the runs the ratio is printed; the aim is stage / cairo <= 1.
//
// BM_Collision: InCollisionWith for two overlapping 64 x 64 sprites, /0
// where their discs overlap, /1 where only their transparent corners do
// (the whole overlap is scanned).
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/engine.h"
#include "sprig/images.h"
#include "sprig/packing.h"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kSprites = 100;
constexpr int32_t kFirstPicture = 300;

// A disc with soft edges in two flat colours, size x size.
std::vector<uint32_t> DiscPixels(int size, uint32_t hue)
{
    return SoftDisc(size, size * 0.45, [size, hue](int, int y, uint32_t alpha) {
        return y < size / 2 ? Word(hue & 0xFF, 120, 20, alpha)
                            : Word(250, (hue * 7) & 0xFF, 60, alpha);
    });
}

void Register(int32_t number, int size, uint32_t hue)
{
    RegisterPicture(number, DiscPixels(size, hue), size, size);
}

// The scene: sprite i shows its own picture (so each keeps its cached copy).
struct SpriteSpec
{
    int size;    // natural size, 32 to 64
    short scale; // in fortieths
    short alpha; // opacity
    int x, y;    // centre
};

std::vector<SpriteSpec> Scene()
{
    std::vector<SpriteSpec> scene;
    for (int i = 0; i < kSprites; i++) {
        SpriteSpec s;
        s.size = 32 + (i * 13) % 33;
        s.scale = i % 3 == 1 ? (i % 2 ? 50 : 30) : 40;
        s.alpha = i % 4 == 2 ? 160 : 255;
        s.x = (i * 47) % (kStageWidth + 40) - 20;
        s.y = (i * 71) % (kStageHeight + 40) - 20;
        scene.push_back(s);
    }
    return scene;
}

struct WorldsAndView
{
    WorldsAndView()
    {
        backdrop = NewWorld(kStageWidth, kStageHeight);
        background = NewWorld(kStageWidth, kStageHeight);
        sprites = NewWorld(kStageWidth, kStageHeight);
        view = HIViewCreateOffscreen(kStageWidth, kStageHeight);
    }
    ~WorldsAndView()
    {
        HIViewRelease(view);
        DisposeGWorld(sprites);
        DisposeGWorld(background);
        DisposeGWorld(backdrop);
    }
    GWorldPtr backdrop = nullptr;
    GWorldPtr background = nullptr;
    GWorldPtr sprites = nullptr;
    HIViewRef view = nullptr;
};

void BM_StageFrame(benchmark::State& state)
{
    const std::vector<SpriteSpec> scene = Scene();
    WorldsAndView w;
    Rect bounds;
    SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
    CSpriteList list(w.backdrop, w.background, w.sprites, &bounds);
    for (int i = 0; i < kSprites; i++) {
        const SpriteSpec& s = scene[static_cast<size_t>(i)];
        Register(kFirstPicture + i, s.size, static_cast<uint32_t>(i * 37));
        auto* sprite = new CSprite(&list, i + 1);
        sprite->mX = s.x;
        sprite->mY = s.y;
        sprite->SetImage(kFirstPicture + i, 0);
        sprite->SetSize(s.scale);
        sprite->SetOpacity(s.alpha);
        sprite->SetVisible(true);
    }
    CGContextRef context = HIViewCreateDrawContext(w.view);
    EventRef event = CreateDrawEvent(nullptr);
    list.UpdateControl(context, w.view, event); // builds the cached copies
    for (auto _ : state) {
        list.UpdateControl(context, w.view, event);
        benchmark::ClobberMemory();
    }
    ReleaseEvent(event);
    CGContextRelease(context);
    ClearAllImages();
}

// A cairo surface (premultiplied, native-endian ARGB) of the disc, scaled
// to its shown size by cairo once.
cairo_surface_t* CairoSprite(const SpriteSpec& s, uint32_t hue, int* shown)
{
    const std::vector<uint32_t> pixels = DiscPixels(s.size, hue);
    cairo_surface_t* natural = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, s.size, s.size);
    auto* data = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(natural));
    const int stride = cairo_image_surface_get_stride(natural) / 4;
    for (int y = 0; y < s.size; y++)
        for (int x = 0; x < s.size; x++) {
            const uint32_t p = pixels[static_cast<size_t>(y * s.size + x)];
            const uint32_t a = p & 0xFF;
            const uint32_t r = ((p >> 8) & 0xFF) * a / 255;
            const uint32_t g = ((p >> 16) & 0xFF) * a / 255;
            const uint32_t b = (p >> 24) * a / 255;
            data[y * stride + x] = (a << 24) | (r << 16) | (g << 8) | b;
        }
    cairo_surface_mark_dirty(natural);
    *shown = s.scale * s.size / 40;
    cairo_surface_t* ready = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, *shown, *shown);
    cairo_t* cr = cairo_create(ready);
    cairo_scale(cr, static_cast<double>(*shown) / s.size, static_cast<double>(*shown) / s.size);
    cairo_set_source_surface(cr, natural, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(natural);
    return ready;
}

void BM_CairoFrame(benchmark::State& state)
{
    const std::vector<SpriteSpec> scene = Scene();
    std::vector<cairo_surface_t*> ready;
    std::vector<int> shown;
    for (int i = 0; i < kSprites; i++) {
        int size = 0;
        ready.push_back(
            CairoSprite(scene[static_cast<size_t>(i)], static_cast<uint32_t>(i * 37), &size));
        shown.push_back(size);
    }
    WorldsAndView w;
    cairo_surface_t* frame =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kStageWidth, kStageHeight);
    cairo_t* cr = cairo_create(frame);
    // The view's pixels, as a cairo surface of its own format.
    GWorldPtr viewWorld = HIViewGetGWorld(w.view);
    PixMapHandle pm = GetGWorldPixMap(viewWorld);
    cairo_surface_t* viewSurface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(GetPixBaseAddr(pm)), CAIRO_FORMAT_ARGB32, kStageWidth,
        kStageHeight, GetPixRowBytes(pm));
    cairo_t* viewCr = cairo_create(viewSurface);
    for (auto _ : state) {
        cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
        cairo_paint(cr);
        cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
        for (int i = 0; i < kSprites; i++) {
            const SpriteSpec& s = scene[static_cast<size_t>(i)];
            const int half = shown[static_cast<size_t>(i)] / 2;
            cairo_set_source_surface(cr, ready[static_cast<size_t>(i)], s.x - half, s.y - half);
            if (s.alpha == 255)
                cairo_paint(cr);
            else
                cairo_paint_with_alpha(cr, s.alpha / 255.0);
        }
        cairo_surface_flush(frame);
        cairo_set_source_surface(viewCr, frame, 0, 0);
        cairo_paint(viewCr);
        cairo_surface_flush(viewSurface);
        benchmark::ClobberMemory();
    }
    cairo_destroy(viewCr);
    cairo_surface_destroy(viewSurface);
    cairo_destroy(cr);
    cairo_surface_destroy(frame);
    for (cairo_surface_t* s : ready)
        cairo_surface_destroy(s);
}

void BM_Collision(benchmark::State& state)
{
    WorldsAndView w;
    Rect bounds;
    SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
    CSpriteList list(w.backdrop, w.background, w.sprites, &bounds);
    Register(kFirstPicture, 64, 10);
    Register(kFirstPicture + 1, 64, 200);
    auto* a = new CSprite(&list, 1);
    auto* b = new CSprite(&list, 2);
    a->mX = 100;
    a->mY = 100;
    // /0: discs overlap; /1: only the corners of the rectangles (20 x 20).
    const double offset = state.range(0) == 0 ? 30 : 44;
    b->mX = 100 + offset;
    b->mY = 100 + offset;
    for (CSprite* s : {a, b}) {
        s->SetImage(s == a ? kFirstPicture : kFirstPicture + 1, 0);
        s->SetVisible(true);
    }
    const bool expected = state.range(0) == 0;
    if (a->InCollisionWith(b) != expected)
        state.SkipWithError("unexpected collision answer");
    for (auto _ : state)
        benchmark::DoNotOptimize(a->InCollisionWith(b));
    state.SetItemsProcessed(state.iterations());
    ClearAllImages();
}

BENCHMARK(BM_StageFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CairoFrame)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Collision)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::printf("stage frame / cairo frame = %.2fx (aim <= 1)\n",
                reporter.Time("BM_StageFrame") / reporter.Time("BM_CairoFrame"));
    for (const char* arg : {"0", "1"})
        std::printf("collision checks per second, %s: %.0f\n",
                    arg[0] == '0' ? "discs overlap   " : "corners only    ",
                    1e6 / reporter.Time(std::string("BM_Collision/") + arg));
    return 0;
}
