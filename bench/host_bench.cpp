// The cost of the C++ layer: one frame of a stage through sprig::Stage and
// sprig::Sprite beside the same frame through the exported functions.
//
// A 480 x 360 stage at zoom 2 (a 960 x 720 view, as the demo draws) with 100
// sprites of 32 to 64 pixels, a third scaled and a quarter faded, each
// moved every frame. BM_FrameThroughFunctions does what a host of the
// exported functions does: SprSetPos for each sprite, SprUpdate, the
// background enlarged into a view-sized world, and the draw event
// (DrawOffscreenToHIView of backdrop and background, SprUpdateControl with
// the whole view as its region). BM_FrameThroughLayer moves the same
// sprites with Sprite::moveTo and calls Stage::render. Both frames are
// checked to be the same pixels before timing.
//
// The two run interleaved in random order, 15 times each by default; the
// program prints the median and the range of each, in real and in CPU
// time, and the ratio of the medians (the aim: layer / functions <= 1.02).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig.h"
#include "sprig/sprig.hpp"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kZoom = 2;
constexpr int kViewWidth = kStageWidth * kZoom;
constexpr int kViewHeight = kStageHeight * kZoom;
constexpr int kSprites = 100;
constexpr int32_t kFirstPicture = 300;

struct SpriteSpec
{
    int size;    // natural size, 32 to 64
    int scale;   // in fortieths
    int opacity; // 0 to 255
};

SpriteSpec Spec(int i)
{
    return {32 + (i * 13) % 33, i % 3 == 1 ? (i % 2 ? 50 : 30) : 40, i % 4 == 2 ? 160 : 255};
}

std::vector<uint32_t> DiscPixels(int size, uint32_t hue)
{
    return SoftDisc(size, size * 0.45, [size, hue](int, int y, uint32_t alpha) {
        return y < size / 2 ? Word(hue & 0xFF, 120, 20, alpha)
                            : Word(250, (hue * 7) & 0xFF, 60, alpha);
    });
}

// Where sprite i is at frame t.
double X(int i, int t)
{
    return (i * 47) % (kStageWidth + 40) - 20 + 15 * std::sin(0.1 * t + i);
}

double Y(int i, int t)
{
    return (i * 71) % (kStageHeight + 40) - 20 + 15 * std::cos(0.13 * t + i);
}

// The backdrop: sky, opaque.
uint32_t Sky(int y)
{
    return Word(205 + 50 * y / kStageHeight, 228, 255 - 35 * y / kStageHeight, 255);
}

uint32_t* Row(GWorldPtr world, int y)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + y * GetPixRowBytes(pm));
}

void Enlarge(GWorldPtr from, GWorldPtr to)
{
    Rect a, b;
    GetPortBounds(from, &a);
    GetPortBounds(to, &b);
    CopyBits(GetPortBitMapForCopyBits(from), GetPortBitMapForCopyBits(to), &a, &b, srcCopy,
             nullptr);
}

// The scene as a host of the exported functions keeps it.
class FunctionsScene
{
  public:
    FunctionsScene()
        : mBackdrop(NewWorld(kStageWidth, kStageHeight)),
          mBackground(NewWorld(kStageWidth, kStageHeight)),
          mSprites(NewWorld(kStageWidth, kStageHeight)),
          mBigBackdrop(NewWorld(kViewWidth, kViewHeight)),
          mBigBackground(NewWorld(kViewWidth, kViewHeight)),
          mView(HIViewCreateOffscreen(kViewWidth, kViewHeight))
    {
        CImage::Init();
        for (int y = 0; y < kStageHeight; y++)
            std::fill_n(Row(mBackdrop, y), kStageWidth, Sky(y));
        Enlarge(mBackdrop, mBigBackdrop);
        Rect bounds;
        SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
        mList = SprInitSprites(mBackdrop, mBackground, mSprites, &bounds);
        SprSetFactor(mList, kZoom);
        for (int i = 0; i < kSprites; i++) {
            const SpriteSpec s = Spec(i);
            RegisterPicture(kFirstPicture + i, DiscPixels(s.size, static_cast<uint32_t>(i * 37)),
                            s.size, s.size);
            CSprite* sprite = SprNewSprite(mList, i + 1);
            SprSetImage(sprite, kFirstPicture + i, 0);
            SprSetSize(sprite, static_cast<short>(s.scale));
            SprSetOpacity(sprite, static_cast<short>(s.opacity));
            SprShow(sprite, 1);
            mSpriteList.push_back(sprite);
        }
    }

    ~FunctionsScene()
    {
        SprDeleteList(mList);
        HIViewRelease(mView);
        for (GWorldPtr w : {mBackdrop, mBackground, mSprites, mBigBackdrop, mBigBackground})
            DisposeGWorld(w);
        for (int i = 0; i < kSprites; i++)
            ResetFreeImage(kFirstPicture + i);
    }

    void Frame(int t)
    {
        for (int i = 0; i < kSprites; i++) {
            double x = X(i, t), y = Y(i, t);
            SprSetPos(mSpriteList[static_cast<size_t>(i)], &x, &y);
        }
        SprUpdate(mList, mView);
        HIViewClearInvalidRects(mView);
        Enlarge(mBackground, mBigBackground);
        RgnHandle whole = NewRgn();
        SetRectRgn(whole, 0, 0, kViewWidth, kViewHeight);
        EventRef event = CreateDrawEvent(whole);
        DisposeRgn(whole);
        CGContextRef context = HIViewCreateDrawContext(mView);
        DrawOffscreenToHIView(mBigBackdrop, context, mView, kCGImageAlphaFirst);
        DrawOffscreenToHIView(mBigBackground, context, mView, kCGImageAlphaFirst);
        SprUpdateControl(mList, context, mView, event);
        CGContextRelease(context);
        ReleaseEvent(event);
    }

    uint32_t Pixel(int x, int y) const { return Row(HIViewGetGWorld(mView), y)[x]; }

  private:
    GWorldPtr mBackdrop, mBackground, mSprites, mBigBackdrop, mBigBackground;
    HIViewRef mView;
    CSpriteList* mList = nullptr;
    std::vector<CSprite*> mSpriteList;
};

// The same scene through the C++ layer.
class LayerScene
{
  public:
    LayerScene() : mStage(kStageWidth, kStageHeight, kZoom)
    {
        std::vector<uint8_t> sky;
        for (int y = 0; y < kStageHeight; y++)
            for (int x = 0; x < kStageWidth; x++) {
                const uint32_t w = Sky(y);
                sky.insert(sky.end(), {static_cast<uint8_t>(w >> 8), static_cast<uint8_t>(w >> 16),
                                       static_cast<uint8_t>(w >> 24), static_cast<uint8_t>(w)});
            }
        mStage.setBackdrop(
            sprig::Picture::fromRgba(sky, kStageWidth, kStageHeight, 4 * kStageWidth));
        for (int i = 0; i < kSprites; i++) {
            const SpriteSpec s = Spec(i);
            std::vector<uint8_t> rgba;
            for (uint32_t w : DiscPixels(s.size, static_cast<uint32_t>(i * 37)))
                rgba.insert(rgba.end(),
                            {static_cast<uint8_t>(w >> 8), static_cast<uint8_t>(w >> 16),
                             static_cast<uint8_t>(w >> 24), static_cast<uint8_t>(w)});
            sprig::Sprite sprite = mStage.addSprite();
            sprite.setPicture(sprig::Picture::fromRgba(rgba, s.size, s.size, 4 * s.size));
            sprite.setSizeFortieths(s.scale);
            sprite.setOpacity(s.opacity);
            sprite.show();
            mSprites.push_back(std::move(sprite));
        }
    }

    void Frame(int t)
    {
        for (int i = 0; i < kSprites; i++)
            mSprites[static_cast<size_t>(i)].moveTo(X(i, t), Y(i, t));
        benchmark::DoNotOptimize(mStage.render());
    }

    sprig::Image Render() { return mStage.render(); }

  private:
    sprig::Stage mStage;
    std::vector<sprig::Sprite> mSprites;
};

bool SameFrames()
{
    FunctionsScene functions;
    LayerScene layer;
    for (int t = 0; t < 3; t++) {
        functions.Frame(t);
        layer.Frame(t);
    }
    const sprig::Image image = layer.Render();
    for (int y = 0; y < kViewHeight; y++)
        for (int x = 0; x < kViewWidth; x++)
            if (functions.Pixel(x, y) != image.row(y)[x]) {
                std::fprintf(stderr, "the frames differ at (%d, %d)\n", x, y);
                return false;
            }
    return true;
}

template <class Scene>
void RunFrames(benchmark::State& state)
{
    Scene scene;
    int t = 0;
    scene.Frame(t++); // the cached scaled and faded pictures
    for (auto _ : state)
        scene.Frame(t++);
}

void BM_FrameThroughFunctions(benchmark::State& state)
{
    RunFrames<FunctionsScene>(state);
}

void BM_FrameThroughLayer(benchmark::State& state)
{
    RunFrames<LayerScene>(state);
}

BENCHMARK(BM_FrameThroughFunctions)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FrameThroughLayer)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    if (!SameFrames())
        return 1;
    // Interleaved repetitions unless the command line says otherwise.
    InitializeWithDefaults(
        argc, argv, {"--benchmark_repetitions=15", "--benchmark_enable_random_interleaving=true"});
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (const Clock clock : {Clock::kReal, Clock::kCpu}) {
        double functions[3], layer[3];
        if (!reporter.Summary("BM_FrameThroughFunctions", functions, clock) ||
            !reporter.Summary("BM_FrameThroughLayer", layer, clock))
            continue;
        const char* name = clock == Clock::kReal ? "real" : "cpu";
        std::printf("%s time, frame through the functions: median %.0f us (%.0f to %.0f)\n", name,
                    functions[0], functions[1], functions[2]);
        std::printf("%s time, frame through the layer:     median %.0f us (%.0f to %.0f)\n", name,
                    layer[0], layer[1], layer[2]);
        std::printf("%s time, layer / functions = %.3f (aim <= 1.02)\n", name,
                    layer[0] / functions[0]);
    }
    return 0;
}
