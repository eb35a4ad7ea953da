// Same-size compositing and strokes through a drawing context.
//
// BM_MyCGCopyRaw composites a 256 x 256 sprite-like picture (transparent
// surroundings, an opaque body, soft edges and a half-transparent band) over
// a world with the library's blend, beside pixman compositing the same
// pixels, premultiplied, with OVER on a8r8g8b8. The argument is the alpha of
// the world beneath: 255 (a stage), 0 (a cleared sprite surface) or 128.
// Destinations are taken in turn from a set of fresh copies, the same way for
// both, so that every run composites over the same pixels.
//
// BM_Stroke draws a 10-pixel round-capped line through a context opened on a
// 480 x 360 world and on a 4000 x 4000 world.
//
// The ratios are printed at the end: MyCGCopyRaw / pixman (aim <= 1.5) and
// large world / small world (aim <= 1.5), each also measured in alternation
// (fastest batch of each side), which holds on a busy machine.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "platform/coregraphics.h"
#include "sprig/blend.h"
#include "sprig/transfer.h"

namespace {

constexpr int kSize = 256;
constexpr int kCopies = 16;

// Cairo's (and pixman's a8r8g8b8) premultiplied form of a pixel word.
uint32_t Premultiplied(uint32_t w)
{
    const uint32_t a = w & 0xFF;
    auto mul = [a](uint32_t c) { return (c * a + 127) / 255; };
    return (a << 24) | (mul((w >> 8) & 0xFF) << 16) | (mul((w >> 16) & 0xFF) << 8) | mul(w >> 24);
}

struct Scene
{
    explicit Scene(uint32_t underAlpha)
    {
        sprite.resize(size_t{kSize} * kSize);
        spritePremultiplied.resize(sprite.size());
        for (int v = 0; v < kSize; v++)
            for (int h = 0; h < kSize; h++) {
                const double d = std::hypot(h - 127.5, v - 127.5);
                int alpha = static_cast<int>(std::lround(255 * (120 - d) / 6));
                alpha = alpha < 0 ? 0 : alpha > 255 ? 255 : alpha;
                if (alpha == 255 && v >= 150 && v < 170)
                    alpha = 128; // a shadow band
                const uint32_t w =
                    Word(static_cast<uint32_t>(h), static_cast<uint32_t>(v),
                         static_cast<uint32_t>((h + v) / 2), static_cast<uint32_t>(alpha));
                sprite[size_t(v) * kSize + h] = w;
                spritePremultiplied[size_t(v) * kSize + h] = Premultiplied(w);
            }
        Rect bounds;
        SetRect(&bounds, 0, 0, kSize, kSize);
        for (int i = 0; i < kCopies; i++) {
            GWorldPtr world = nullptr;
            NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
            worlds.push_back(world);
            peers.push_back(std::vector<uint32_t>(size_t{kSize} * kSize));
        }
        under.resize(size_t{kSize} * kSize);
        for (int v = 0; v < kSize; v++)
            for (int h = 0; h < kSize; h++)
                under[size_t(v) * kSize + h] =
                    Word(static_cast<uint32_t>(v), 200, static_cast<uint32_t>(h), underAlpha);
        Reset();
    }

    ~Scene()
    {
        for (GWorldPtr w : worlds)
            DisposeGWorld(w);
    }

    uint32_t* Row(GWorldPtr world, int v)
    {
        PixMapHandle pm = GetGWorldPixMap(world);
        return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm));
    }

    void Reset()
    {
        for (int i = 0; i < kCopies; i++)
            for (int v = 0; v < kSize; v++)
                for (int h = 0; h < kSize; h++) {
                    const uint32_t w = under[size_t(v) * kSize + h];
                    Row(worlds[i], v)[h] = w;
                    peers[i][size_t(v) * kSize + h] = Premultiplied(w);
                }
    }

    // True when MyCGCopyRaw gives, pixel for pixel, the plain blend's words.
    bool Exact()
    {
        Rect r;
        SetRect(&r, 0, 0, kSize, kSize);
        MyCGCopyRaw(sprite.data(), kSize, worlds[0], &r, &r, kCGImageAlphaFirst, false, false);
        bool exact = true;
        for (int v = 0; v < kSize; v++)
            for (int h = 0; h < kSize; h++)
                exact = exact && Row(worlds[0], v)[h] == MyMixColors(sprite[size_t(v) * kSize + h],
                                                                     under[size_t(v) * kSize + h]);
        Reset();
        return exact;
    }

    std::vector<uint32_t> sprite, spritePremultiplied, under;
    std::vector<GWorldPtr> worlds;
    std::vector<std::vector<uint32_t>> peers;
};

void BM_MyCGCopyRaw(benchmark::State& state)
{
    Scene scene(static_cast<uint32_t>(state.range(0)));
    Rect r;
    SetRect(&r, 0, 0, kSize, kSize);
    int next = 0;
    for (auto _ : state) {
        MyCGCopyRaw(scene.sprite.data(), kSize, scene.worlds[next], &r, &r, kCGImageAlphaFirst,
                    false, false);
        if (++next == kCopies) {
            state.PauseTiming();
            scene.Reset();
            next = 0;
            state.ResumeTiming();
        }
    }
    state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

void BM_PixmanOver(benchmark::State& state)
{
    Scene scene(static_cast<uint32_t>(state.range(0)));
    pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, kSize, kSize,
                                                   scene.spritePremultiplied.data(), kSize * 4);
    std::vector<pixman_image_t*> dst;
    for (auto& peer : scene.peers)
        dst.push_back(
            pixman_image_create_bits(PIXMAN_a8r8g8b8, kSize, kSize, peer.data(), kSize * 4));
    int next = 0;
    for (auto _ : state) {
        pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst[size_t(next)], 0, 0, 0, 0, 0, 0,
                                 kSize, kSize);
        if (++next == kCopies) {
            state.PauseTiming();
            scene.Reset();
            next = 0;
            state.ResumeTiming();
        }
    }
    for (pixman_image_t* d : dst)
        pixman_image_unref(d);
    pixman_image_unref(src);
    state.SetItemsProcessed(state.iterations() * kSize * kSize);
}

// A pen line as the sprite engine draws one: stage coordinates, round caps.
void Stroke(GWorldPtr world, int height)
{
    CGContextRef ctx = nullptr;
    QDBeginCGContext(world, &ctx);
    CGContextSetShouldAntialias(ctx, true);
    CGContextTranslateCTM(ctx, 0, height);
    CGContextScaleCTM(ctx, 1, -1);
    CGContextSetRGBStrokeColor(ctx, 0.2f, 0.4f, 0.8f, 1.0f);
    CGContextSetLineWidth(ctx, 10);
    CGContextSetLineCap(ctx, kCGLineCapRound);
    CGContextBeginPath(ctx);
    CGContextMoveToPoint(ctx, 140, 100);
    CGContextAddLineToPoint(ctx, 340, 260);
    CGContextStrokePath(ctx);
    QDEndCGContext(world, &ctx);
}

void BM_Stroke(benchmark::State& state)
{
    const int width = static_cast<int>(state.range(0)), height = static_cast<int>(state.range(1));
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    if (NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0) != noErr) {
        state.SkipWithError("no world");
        return;
    }
    for (auto _ : state)
        Stroke(world, height);
    DisposeGWorld(world);
}

// On a busy machine the two benchmarks above can see different loads. This
// measures both in alternation: batches of kCopies composites each, the
// fastest batch of each kept, and returns ours / pixman's.
double PairedRatio(uint32_t underAlpha)
{
    Scene scene(underAlpha);
    pixman_image_t* src = pixman_image_create_bits(PIXMAN_a8r8g8b8, kSize, kSize,
                                                   scene.spritePremultiplied.data(), kSize * 4);
    std::vector<pixman_image_t*> dst;
    for (auto& peer : scene.peers)
        dst.push_back(
            pixman_image_create_bits(PIXMAN_a8r8g8b8, kSize, kSize, peer.data(), kSize * 4));
    Rect r;
    SetRect(&r, 0, 0, kSize, kSize);
    using Clock = std::chrono::steady_clock;
    double ours = INFINITY, peer = INFINITY;
    for (int round = 0; round < 300; round++) {
        scene.Reset();
        auto start = Clock::now();
        for (int i = 0; i < kCopies; i++)
            MyCGCopyRaw(scene.sprite.data(), kSize, scene.worlds[size_t(i)], &r, &r,
                        kCGImageAlphaFirst, false, false);
        ours = std::min(ours, std::chrono::duration<double>(Clock::now() - start).count());
        start = Clock::now();
        for (int i = 0; i < kCopies; i++)
            pixman_image_composite32(PIXMAN_OP_OVER, src, nullptr, dst[size_t(i)], 0, 0, 0, 0, 0, 0,
                                     kSize, kSize);
        peer = std::min(peer, std::chrono::duration<double>(Clock::now() - start).count());
    }
    for (pixman_image_t* d : dst)
        pixman_image_unref(d);
    pixman_image_unref(src);
    std::printf("over alpha %3d, fastest of 300 alternating batches: MyCGCopyRaw %.1f us, "
                "pixman %.1f us per picture\n",
                underAlpha, ours * 1e6 / kCopies, peer * 1e6 / kCopies);
    return ours / peer;
}

double PairedStrokeRatio()
{
    GWorldPtr small = nullptr, large = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, 480, 360);
    NewGWorld(&small, 32, &bounds, nullptr, nullptr, 0);
    SetRect(&bounds, 0, 0, 4000, 4000);
    NewGWorld(&large, 32, &bounds, nullptr, nullptr, 0);
    using Clock = std::chrono::steady_clock;
    double times[2] = {INFINITY, INFINITY};
    for (int round = 0; round < 300; round++)
        for (int which = 0; which < 2; which++) {
            const auto start = Clock::now();
            for (int i = 0; i < 8; i++)
                Stroke(which ? large : small, which ? 4000 : 360);
            times[which] =
                std::min(times[which], std::chrono::duration<double>(Clock::now() - start).count());
        }
    DisposeGWorld(small);
    DisposeGWorld(large);
    std::printf("10-pixel stroke, fastest of 300 alternating batches: 480 x 360 %.1f us, "
                "4000 x 4000 %.1f us\n",
                times[0] * 1e6 / 8, times[1] * 1e6 / 8);
    return times[1] / times[0];
}

BENCHMARK(BM_MyCGCopyRaw)->Arg(255)->Arg(0)->Arg(128);
BENCHMARK(BM_PixmanOver)->Arg(255)->Arg(0)->Arg(128);
BENCHMARK(BM_Stroke)->Args({480, 360})->Args({4000, 4000});

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (int alpha : {255, 0, 128}) {
        const std::string arg = "/" + std::to_string(alpha);
        const double ours = reporter.Time("BM_MyCGCopyRaw" + arg);
        const double peer = reporter.Time("BM_PixmanOver" + arg);
        const double paired = PairedRatio(static_cast<uint32_t>(alpha));
        Scene check(static_cast<uint32_t>(alpha));
        std::printf("over alpha %3d: MyCGCopyRaw / pixman OVER = %.2fx (aim <= 1.5; %.2fx in "
                    "the runs above), bit-exact to the blend: %s\n",
                    alpha, paired, ours / peer, check.Exact() ? "yes" : "NO");
    }
    const double small = reporter.Time("BM_Stroke/480/360");
    const double large = reporter.Time("BM_Stroke/4000/4000");
    const double paired = PairedStrokeRatio();
    std::printf("10-pixel stroke: 4000 x 4000 world / 480 x 360 world = %.2fx (aim <= 1.5; "
                "%.2fx in the runs above)\n",
                paired, large / small);
    return 0;
}
