// A windowed host's frame: the stage's sprites drawn through a context made
// from the host's cairo surface (CGContextCreateWithCairo, a host view and a
// draw event carrying the area drawn, as docs/hosts.md shows), beside cairo
// compositing the same pictures at the same places straight onto the same
// kind of surface.
//
// Whole frames: every sprite drawn, the whole view as the area, at 480 x 360
// and 1920 x 1080 with 10 to 5,000 sprites of 24 to 56 pixels. Incremental
// frames: 1,000 sprites on 1920 x 1080, of which 1, 10 or 100 move each
// frame; sprig marks, invalidates and draws the invalidated rectangles (the
// host's cairo_t clipped to them, as a widget toolkit hands it over), cairo
// redraws the same damaged area: the old and new place of every moved
// sprite, clipped, with every sprite that meets it.
//
// Pairs run interleaved in random order, 9 times each by default; the ratios
// printed at the end are sprig / cairo of the medians of CPU time, with the
// time per sprite for each stage size and sprite count.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig.h"

namespace {

constexpr int kPictures = 24;
constexpr int32_t kFirstPicture = 400;

int PictureSize(int k)
{
    return 24 + (k * 11) % 33;
}

std::vector<uint32_t> PicturePixels(int k)
{
    const int size = PictureSize(k);
    const auto hue = static_cast<uint32_t>(k * 53);
    return SoftDisc(size, size * 0.45, [size, hue](int, int y, uint32_t alpha) {
        return y < size / 2 ? Word(hue & 0xFF, 140, 30, alpha)
                            : Word(240, (hue * 5) & 0xFF, 70, alpha);
    });
}

// The same picture as a cairo surface, premultiplied.
cairo_surface_t* CairoPicture(int k)
{
    const int size = PictureSize(k);
    const std::vector<uint32_t> words = PicturePixels(k);
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_surface_flush(s);
    uint8_t* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    for (int y = 0; y < size; y++) {
        auto* row = reinterpret_cast<uint32_t*>(data + y * stride);
        for (int x = 0; x < size; x++) {
            const uint32_t w = words[static_cast<size_t>(y * size + x)];
            const uint32_t a = w & 0xFF;
            const auto pre = [a](uint32_t c) { return (c * a + 127) / 255; };
            row[x] = (a << 24) | (pre((w >> 8) & 0xFF) << 16) | (pre((w >> 16) & 0xFF) << 8) |
                     pre(w >> 24);
        }
    }
    cairo_surface_mark_dirty(s);
    return s;
}

void RegisterPictures()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    CImage::Init();
    for (int k = 0; k < kPictures; k++)
        RegisterPicture(kFirstPicture + k, PicturePixels(k), PictureSize(k), PictureSize(k));
}

void FillSky(cairo_surface_t* surface)
{
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 0.8, 0.9, 1.0);
    cairo_paint(cr);
    cairo_destroy(cr);
}

// Rectangles a host view was asked to redraw.
void Collect(void* info, const CGRect* r)
{
    static_cast<std::vector<CGRect>*>(info)->push_back(*r);
}

// Sprites at seeded random places on a stage, and the same pictures at the
// same places for cairo.
class Scene
{
  public:
    Scene(int width, int height, int count)
        : mWidth(width), mHeight(height), mBackdrop(NewWorld(width, height)),
          mBackground(NewWorld(width, height)), mSprites(NewWorld(width, height)),
          mHost(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height)),
          mView(HIViewCreateForHost(width, height, Collect, &mInvalid)), mRandom(7)
    {
        RegisterPictures();
        FillSky(mHost);
        for (int k = 0; k < kPictures; k++)
            mCairoPictures.push_back(CairoPicture(k));
        Rect bounds;
        SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
        mList = SprInitSprites(mBackdrop, mBackground, mSprites, &bounds);
        for (int i = 0; i < count; i++) {
            CSprite* sprite = SprNewSprite(mList, i + 1);
            mPicture.push_back(i % kPictures);
            SprSetImage(sprite, kFirstPicture + i % kPictures, 0);
            SprShow(sprite, 1);
            mSpriteList.push_back(sprite);
            mRects.emplace_back();
            Place(static_cast<size_t>(i));
        }
        SprUpdate(mList, mView);
        mInvalid.clear();
        DrawWhole(); // the pool's expanded pictures, and the first full draw
    }

    ~Scene()
    {
        SprDeleteList(mList);
        HIViewRelease(mView);
        for (GWorldPtr w : {mBackdrop, mBackground, mSprites})
            DisposeGWorld(w);
        for (cairo_surface_t* s : mCairoPictures)
            cairo_surface_destroy(s);
        cairo_surface_destroy(mHost);
    }

    size_t Count() const { return mSpriteList.size(); }

    // sprig: the whole view drawn.
    void DrawWhole()
    {
        RgnHandle area = NewRgn();
        SetRectRgn(area, 0, 0, static_cast<int16_t>(mWidth), static_cast<int16_t>(mHeight));
        Draw(area, nullptr);
        DisposeRgn(area);
    }

    // cairo: the whole view drawn.
    void CairoWhole()
    {
        cairo_t* cr = cairo_create(mHost);
        for (size_t i = 0; i < mSpriteList.size(); i++)
            PaintSprite(cr, i);
        cairo_destroy(cr);
    }

    // sprig: `moved` sprites move, the stage invalidates what changed, and
    // the host draws the invalidated rectangles.
    void MoveAndDraw(int moved)
    {
        for (int m = 0; m < moved; m++)
            Place(Next());
        SprUpdate(mList, mView);
        RgnHandle area = NewRgn();
        RgnHandle one = NewRgn();
        for (const CGRect& r : mInvalid) {
            SetRectRgn(one, static_cast<int16_t>(r.origin.x), static_cast<int16_t>(r.origin.y),
                       static_cast<int16_t>(r.origin.x + r.size.width),
                       static_cast<int16_t>(r.origin.y + r.size.height));
            UnionRgn(area, one, area);
        }
        Draw(area, &mInvalid);
        DisposeRgn(one);
        DisposeRgn(area);
        mInvalid.clear();
    }

    // cairo: the same sprites move, and the host redraws their old and new
    // places with every sprite that meets them.
    void CairoMoveAndDraw(int moved)
    {
        std::vector<Rect> damage;
        for (int m = 0; m < moved; m++) {
            const size_t i = Next();
            damage.push_back(mRects[i]);
            Place(i);
            damage.push_back(mRects[i]);
        }
        cairo_t* cr = cairo_create(mHost);
        for (const Rect& r : damage)
            cairo_rectangle(cr, r.left, r.top, r.right - r.left, r.bottom - r.top);
        cairo_clip(cr);
        for (size_t i = 0; i < mSpriteList.size(); i++) {
            const Rect& s = mRects[i];
            const bool meets = std::any_of(damage.begin(), damage.end(), [&s](const Rect& d) {
                return s.left < d.right && d.left < s.right && s.top < d.bottom && d.top < s.bottom;
            });
            if (meets)
                PaintSprite(cr, i);
        }
        cairo_destroy(cr);
    }

  private:
    size_t Next()
    {
        mCursor = (mCursor + 37) % mSpriteList.size();
        return mCursor;
    }

    void Place(size_t i)
    {
        const int size = PictureSize(mPicture[i]);
        std::uniform_int_distribution<int> x(-size / 2, mWidth - size / 2);
        std::uniform_int_distribution<int> y(-size / 2, mHeight - size / 2);
        const double h = x(mRandom), v = y(mRandom);
        SprSetPos(mSpriteList[i], &h, &v);
        SprGetRect(mSpriteList[i], &mRects[i]);
    }

    void PaintSprite(cairo_t* cr, size_t i)
    {
        cairo_set_source_surface(cr, mCairoPictures[static_cast<size_t>(mPicture[i])],
                                 mRects[i].left, mRects[i].top);
        cairo_paint(cr);
    }

    // A draw handler: cr clipped to the rectangles (none: unclipped), the
    // context over it, the event with the area.
    void Draw(RgnHandle area, const std::vector<CGRect>* clip)
    {
        cairo_t* cr = cairo_create(mHost);
        if (clip) {
            for (const CGRect& r : *clip)
                cairo_rectangle(cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
            cairo_clip(cr);
        }
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        EventRef event = CreateDrawEvent(area);
        SprUpdateControl(mList, context, mView, event);
        ReleaseEvent(event);
        CGContextRelease(context);
        cairo_destroy(cr);
    }

    int mWidth, mHeight;
    GWorldPtr mBackdrop, mBackground, mSprites;
    cairo_surface_t* mHost;
    std::vector<CGRect> mInvalid;
    HIViewRef mView;
    std::mt19937 mRandom;
    CSpriteList* mList = nullptr;
    std::vector<CSprite*> mSpriteList;
    std::vector<int> mPicture;
    std::vector<Rect> mRects;
    std::vector<cairo_surface_t*> mCairoPictures;
    size_t mCursor = 0;
};

void SetCounters(benchmark::State& state, const Scene& scene)
{
    state.counters["sprites"] = static_cast<double>(scene.Count());
}

void BM_WholeFrame_Sprig(benchmark::State& state)
{
    Scene scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                static_cast<int>(state.range(2)));
    for (auto _ : state)
        scene.DrawWhole();
    SetCounters(state, scene);
}

void BM_WholeFrame_Cairo(benchmark::State& state)
{
    Scene scene(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)),
                static_cast<int>(state.range(2)));
    for (auto _ : state)
        scene.CairoWhole();
    SetCounters(state, scene);
}

void BM_Incremental_Sprig(benchmark::State& state)
{
    Scene scene(1920, 1080, 1000);
    for (auto _ : state)
        scene.MoveAndDraw(static_cast<int>(state.range(0)));
}

void BM_Incremental_Cairo(benchmark::State& state)
{
    Scene scene(1920, 1080, 1000);
    for (auto _ : state)
        scene.CairoMoveAndDraw(static_cast<int>(state.range(0)));
}

void WholeFrameArgs(benchmark::internal::Benchmark* b)
{
    for (const auto& size : {std::pair<int, int>{480, 360}, {1920, 1080}})
        for (int count : {10, 100, 1000, 5000})
            b->Args({size.first, size.second, count});
}

BENCHMARK(BM_WholeFrame_Sprig)->Apply(WholeFrameArgs)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WholeFrame_Cairo)->Apply(WholeFrameArgs)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Incremental_Sprig)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Incremental_Cairo)->Arg(1)->Arg(10)->Arg(100)->Unit(benchmark::kMicrosecond);

void PrintPair(const RatioReporter& reporter, const std::string& what, const std::string& sprig,
               const std::string& cairo, double sprites)
{
    double s[3], c[3];
    if (!reporter.Summary(sprig, s) || !reporter.Summary(cairo, c))
        return;
    std::printf("%-34s sprig %8.1f us (%.1f-%.1f)  cairo %8.1f us (%.1f-%.1f)  sprig/cairo %.2f",
                what.c_str(), s[0], s[1], s[2], c[0], c[1], c[2], s[0] / c[0]);
    if (sprites > 0)
        std::printf("  per sprite %.3f / %.3f us", s[0] / sprites, c[0] / sprites);
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv)
{
    InitializeWithDefaults(argc, argv,
                           {"--benchmark_repetitions=9",
                            "--benchmark_enable_random_interleaving=true",
                            "--benchmark_min_time=0.1s"});
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nMedians of CPU time per frame; ranges over the repetitions.\n");
    for (const auto& size : {std::pair<int, int>{480, 360}, {1920, 1080}})
        for (int sprites : {10, 100, 1000, 5000}) {
            const std::string args = "/" + std::to_string(size.first) + "/" +
                                     std::to_string(size.second) + "/" + std::to_string(sprites);
            PrintPair(reporter,
                      "whole " + std::to_string(size.first) + "x" + std::to_string(size.second) +
                          ", " + std::to_string(sprites) + " sprites",
                      "BM_WholeFrame_Sprig" + args, "BM_WholeFrame_Cairo" + args, sprites);
        }
    for (int moved : {1, 10, 100})
        PrintPair(reporter, "1920x1080, " + std::to_string(moved) + " of 1000 moved",
                  "BM_Incremental_Sprig/" + std::to_string(moved),
                  "BM_Incremental_Cairo/" + std::to_string(moved), 0);
    return 0;
}
