// Collision tests and one picture shown by several sprites, side by side
// with their peers in the same run.
//
// Collision: SprCollision on two sprites of a stage, as a host calls it,
// beside pygame's Mask.overlap on masks of the same pictures at the same
// sizes (set where the alpha is not 0), run in bench/pygame_peer.py with
// Debian's /usr/bin/python3. Each benchmark iteration is kChecks checks;
// the peer's iterations take the CPU time its own thread measured for
// kChecks calls (manual time). The peer also reports its answer, which must
// be the library's.
//
// Shared picture: N sprites showing one 64 x 64 picture at different sizes
// and opacities. BM_SharedFrame draws a stage frame with UpdateControl;
// BM_CairoSharedFrame does the same with ready-scaled cairo copies (clear,
// paint each copy with its alpha, paint the frame over the view).
// BM_SharedDraws and BM_CairoSharedDraws are the sprites' draws alone, each
// on a transparent area (its rectangle cleared first), as in a frame.
//
// Run with repetitions; the ratios printed at the end are of medians (CPU
// time for the library, the peer's own CPU time for pygame), e.g.
//   collision_bench --benchmark_repetitions=9
//       --benchmark_enable_random_interleaving=true
//       --benchmark_report_aggregates_only=true
#include <benchmark/benchmark.h>
#include <cairo.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/engine.h"
#include "sprig/images.h"
#include "sprig/packing.h"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kChecks = 1000;
constexpr int32_t kBall = 300;    // 40 x 40
constexpr int32_t kDiscA = 301;   // 64 x 64
constexpr int32_t kDiscB = 302;   // 64 x 64
constexpr int32_t kScratch = 900; // for reading the pictures as shown

std::vector<uint32_t> DiscPixels(int size, double radius, uint32_t hue)
{
    return SoftDisc(size, radius, [size, hue](int, int y, uint32_t alpha) {
        return y < size / 2 ? Word(hue & 0xFF, 120, 20, alpha)
                            : Word(250, (hue * 7) & 0xFF, 60, alpha);
    });
}

void RegisterPictures()
{
    RegisterPicture(kBall, DiscPixels(40, 18, 10), 40, 40);
    RegisterPicture(kDiscA, DiscPixels(64, 64 * 0.45, 10), 64, 64);
    RegisterPicture(kDiscB, DiscPixels(64, 64 * 0.45, 200), 64, 64);
}

struct Placed
{
    int32_t image;
    short size;
    short opacity;
    double x, y;
};

struct CollisionCase
{
    const char* label;
    Placed a, b;
    bool collide;
};

const CollisionCase kCases[] = {
    {"one picture at sizes 40 and 80, discs overlap",
     {kBall, 40, 255, 100, 100},
     {kBall, 80, 255, 130, 100},
     true},
    {"one picture at sizes 40 and 80, corners only",
     {kBall, 40, 255, 100, 100},
     {kBall, 80, 255, 150, 150},
     false},
    {"one picture at opacities 255 and 128, discs overlap",
     {kBall, 40, 255, 100, 100},
     {kBall, 40, 128, 120, 110},
     true},
    {"two pictures, same size, discs overlap",
     {kDiscA, 40, 255, 100, 100},
     {kDiscB, 40, 255, 130, 130},
     true},
    {"two pictures, same size, corners only",
     {kDiscA, 40, 255, 100, 100},
     {kDiscB, 40, 255, 144, 144},
     false},
    {"two pictures at sizes 80 and 40, discs overlap",
     {kDiscA, 80, 255, 100, 100},
     {kDiscB, 40, 255, 150, 100},
     true},
    {"two pictures at sizes 80 and 40, corners only",
     {kDiscA, 80, 255, 100, 100},
     {kDiscB, 40, 255, 184, 184},
     false},
};
constexpr int kCaseCount = sizeof kCases / sizeof kCases[0];

struct Worlds
{
    Worlds()
    {
        Rect bounds;
        SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
        backdrop = NewWorld(kStageWidth, kStageHeight);
        background = NewWorld(kStageWidth, kStageHeight);
        sprites = NewWorld(kStageWidth, kStageHeight);
        view = HIViewCreateOffscreen(kStageWidth, kStageHeight);
        list = SprInitSprites(backdrop, background, sprites, &bounds);
    }
    ~Worlds()
    {
        SprDeleteList(list);
        HIViewRelease(view);
        DisposeGWorld(sprites);
        DisposeGWorld(background);
        DisposeGWorld(backdrop);
    }
    CSprite* Add(const Placed& p)
    {
        CSprite* s = SprNewSprite(list, 1);
        SprSetImage(s, p.image, 0);
        SprSetSize(s, p.size);
        SprSetOpacity(s, p.opacity);
        SprSetPos(s, &p.x, &p.y);
        SprShow(s, true);
        return s;
    }
    GWorldPtr backdrop = nullptr;
    GWorldPtr background = nullptr;
    GWorldPtr sprites = nullptr;
    HIViewRef view = nullptr;
    CSpriteList* list = nullptr;
};

// The mask of a picture as a sprite shows it: a copy's version at that size
// and opacity, 1 where the alpha is not 0.
std::string MaskBits(int32_t image, short size, short opacity, int* width, int* height)
{
    CopyImage(image, kScratch);
    CImage* shown = gImagePool.GetImage(kScratch, size, opacity);
    *width = shown->width;
    *height = shown->height;
    std::string bits;
    std::vector<uint32_t> row(static_cast<size_t>(*width));
    for (int y = 0; y < *height; y++) {
        shown->UnpackRow(static_cast<uint32_t>(y), row.data());
        for (uint32_t p : row)
            bits += (p & 0xFF) ? '1' : '0';
    }
    ResetFreeImage(kScratch);
    return bits;
}

// pygame_peer.py in a child process, fed the masks and cases.
class PygamePeer
{
  public:
    bool Start()
    {
        int toChild[2], fromChild[2];
        if (pipe(toChild) != 0 || pipe(fromChild) != 0)
            return false;
        mPid = fork();
        if (mPid == 0) {
            dup2(toChild[0], 0);
            dup2(fromChild[1], 1);
            close(toChild[1]);
            close(fromChild[0]);
            const char* script = SPRIG_BENCH_SOURCE_DIR "/pygame_peer.py";
            execl("/usr/bin/python3", "python3", script, static_cast<char*>(nullptr));
            _exit(127);
        }
        close(toChild[0]);
        close(fromChild[1]);
        mTo = fdopen(toChild[1], "w");
        mFrom = fdopen(fromChild[0], "r");
        return mPid > 0 && mTo && mFrom;
    }
    ~PygamePeer()
    {
        if (mTo)
            std::fclose(mTo);
        if (mFrom)
            std::fclose(mFrom);
        if (mPid > 0)
            waitpid(mPid, nullptr, 0);
    }
    void Send(const std::string& line)
    {
        std::fputs(line.c_str(), mTo);
        std::fputc('\n', mTo);
    }
    // The peer's CPU seconds for `count` overlaps of case id, and its answer;
    // false when the peer is gone.
    bool Time(int id, int count, double* seconds, int* hit)
    {
        std::fprintf(mTo, "time %d %d\n", id, count);
        std::fflush(mTo);
        return std::fscanf(mFrom, "%lf %d", seconds, hit) == 2;
    }

  private:
    pid_t mPid = -1;
    FILE* mTo = nullptr;
    FILE* mFrom = nullptr;
};

PygamePeer* gPeer = nullptr;

bool StartPeer()
{
    static PygamePeer peer;
    if (!peer.Start())
        return false;
    Worlds w;
    std::map<std::string, bool> sent;
    for (int id = 0; id < kCaseCount; id++) {
        const CollisionCase& c = kCases[id];
        std::string names[2];
        const Placed* sides[2] = {&c.a, &c.b};
        for (int k = 0; k < 2; k++) {
            const Placed& p = *sides[k];
            names[k] = std::to_string(p.image) + "_" + std::to_string(p.size) + "_" +
                       std::to_string(p.opacity);
            if (sent[names[k]])
                continue;
            int width = 0, height = 0;
            const std::string bits = MaskBits(p.image, p.size, p.opacity, &width, &height);
            peer.Send("mask " + names[k] + " " + std::to_string(width) + " " +
                      std::to_string(height) + " " + bits);
            sent[names[k]] = true;
        }
        CSprite* a = w.Add(c.a);
        CSprite* b = w.Add(c.b);
        Rect ra, rb;
        SprGetRect(a, &ra);
        SprGetRect(b, &rb);
        peer.Send("case " + std::to_string(id) + " " + names[0] + " " + names[1] + " " +
                  std::to_string(rb.left - ra.left) + " " + std::to_string(rb.top - ra.top));
        SprDeleteSprite(b);
        SprDeleteSprite(a);
    }
    gPeer = &peer;
    return true;
}

void BM_SprCollision(benchmark::State& state)
{
    const CollisionCase& c = kCases[state.range(0)];
    Worlds w;
    CSprite* a = w.Add(c.a);
    CSprite* b = w.Add(c.b);
    if ((SprCollision(a, b) == 1) != c.collide)
        state.SkipWithError("unexpected collision answer");
    for (auto _ : state) {
        for (int i = 0; i < kChecks; i++)
            benchmark::DoNotOptimize(SprCollision(a, b));
    }
    state.SetLabel(c.label);
}

void BM_PygameOverlap(benchmark::State& state)
{
    const CollisionCase& c = kCases[state.range(0)];
    if (!gPeer) {
        state.SkipWithError("pygame peer not running (needs /usr/bin/python3 with pygame)");
        return;
    }
    for (auto _ : state) {
        double seconds = 0;
        int hit = 0;
        if (!gPeer->Time(static_cast<int>(state.range(0)), kChecks, &seconds, &hit)) {
            state.SkipWithError("pygame peer stopped");
            break;
        }
        if ((hit == 1) != c.collide) {
            state.SkipWithError("pygame answers otherwise");
            break;
        }
        state.SetIterationTime(seconds);
    }
    state.SetLabel(c.label);
}

// The sprites sharing the 64 x 64 picture: sizes and opacities.
const Placed kShared[] = {
    {kDiscA, 40, 255, 60, 60},   {kDiscA, 80, 255, 180, 90}, {kDiscA, 60, 160, 320, 80},
    {kDiscA, 30, 255, 420, 60},  {kDiscA, 40, 128, 80, 250}, {kDiscA, 100, 255, 220, 250},
    {kDiscA, 50, 200, 380, 220}, {kDiscA, 70, 96, 430, 320},
};

struct SharedStage
{
    explicit SharedStage(int count)
    {
        for (int i = 0; i < count; i++)
            sprites.push_back(w.Add(kShared[i]));
    }
    Worlds w;
    std::vector<CSprite*> sprites;
};

void BM_SharedFrame(benchmark::State& state)
{
    SharedStage stage(static_cast<int>(state.range(0)));
    CGContextRef context = HIViewCreateDrawContext(stage.w.view);
    EventRef event = CreateDrawEvent(nullptr);
    SprUpdateControl(stage.w.list, context, stage.w.view, event);
    for (auto _ : state) {
        SprUpdateControl(stage.w.list, context, stage.w.view, event);
        benchmark::ClobberMemory();
    }
    ReleaseEvent(event);
    CGContextRelease(context);
}

void BM_SharedDraws(benchmark::State& state)
{
    SharedStage stage(static_cast<int>(state.range(0)));
    PixMapHandle pm = GetGWorldPixMap(stage.w.sprites);
    char* base = GetPixBaseAddr(pm);
    const int32_t rowBytes = GetPixRowBytes(pm);
    for (auto _ : state) {
        for (CSprite* s : stage.sprites) {
            // A transparent area to draw on, as in a frame.
            const Rect r = s->mRect;
            const int left = std::max<int>(r.left, 0), right = std::min<int>(r.right, kStageWidth);
            for (int y = std::max<int>(r.top, 0); y < std::min<int>(r.bottom, kStageHeight); y++)
                std::memset(base + y * rowBytes + 4 * left, 0,
                            static_cast<size_t>(right - left) * 4);
            s->Output(stage.w.sprites);
        }
        benchmark::ClobberMemory();
    }
}

// A ready cairo copy (premultiplied, native-endian ARGB) of the picture at
// a sprite's shown size, scaled by cairo once.
cairo_surface_t* CairoCopy(const Placed& p, int* shown)
{
    const std::vector<uint32_t> pixels = DiscPixels(64, 64 * 0.45, 10);
    cairo_surface_t* natural = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 64, 64);
    auto* data = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(natural));
    const int stride = cairo_image_surface_get_stride(natural) / 4;
    for (int y = 0; y < 64; y++)
        for (int x = 0; x < 64; x++) {
            const uint32_t q = pixels[static_cast<size_t>(y * 64 + x)];
            const uint32_t a = q & 0xFF;
            const uint32_t r = ((q >> 8) & 0xFF) * a / 255;
            const uint32_t g = ((q >> 16) & 0xFF) * a / 255;
            const uint32_t b = (q >> 24) * a / 255;
            data[y * stride + x] = (a << 24) | (r << 16) | (g << 8) | b;
        }
    cairo_surface_mark_dirty(natural);
    *shown = p.size * 64 / 40;
    cairo_surface_t* ready = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, *shown, *shown);
    cairo_t* cr = cairo_create(ready);
    cairo_scale(cr, *shown / 64.0, *shown / 64.0);
    cairo_set_source_surface(cr, natural, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(natural);
    return ready;
}

struct CairoShared
{
    explicit CairoShared(int count)
    {
        for (int i = 0; i < count; i++) {
            int shown = 0;
            ready.push_back(CairoCopy(kShared[i], &shown));
            half.push_back(shown / 2);
        }
        frame = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kStageWidth, kStageHeight);
        cr = cairo_create(frame);
    }
    ~CairoShared()
    {
        cairo_destroy(cr);
        cairo_surface_destroy(frame);
        for (cairo_surface_t* s : ready)
            cairo_surface_destroy(s);
    }
    // Each copy drawn on a transparent area (cleared first) or over what
    // the frame holds.
    void PaintCopies(bool clearFirst)
    {
        for (size_t i = 0; i < ready.size(); i++) {
            const Placed& p = kShared[i];
            if (clearFirst) {
                cairo_set_operator(cr, CAIRO_OPERATOR_CLEAR);
                cairo_rectangle(cr, p.x - half[i], p.y - half[i], 2 * half[i], 2 * half[i]);
                cairo_fill(cr);
                cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
            }
            cairo_set_source_surface(cr, ready[i], p.x - half[i], p.y - half[i]);
            if (p.opacity == 255)
                cairo_paint(cr);
            else
                cairo_paint_with_alpha(cr, p.opacity / 255.0);
        }
    }
    std::vector<cairo_surface_t*> ready;
    std::vector<int> half;
    cairo_surface_t* frame;
    cairo_t* cr;
};

void BM_CairoSharedFrame(benchmark::State& state)
{
    CairoShared c(static_cast<int>(state.range(0)));
    Worlds w;
    PixMapHandle pm = GetGWorldPixMap(HIViewGetGWorld(w.view));
    cairo_surface_t* viewSurface = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(GetPixBaseAddr(pm)), CAIRO_FORMAT_ARGB32, kStageWidth,
        kStageHeight, GetPixRowBytes(pm));
    cairo_t* viewCr = cairo_create(viewSurface);
    for (auto _ : state) {
        cairo_set_operator(c.cr, CAIRO_OPERATOR_CLEAR);
        cairo_paint(c.cr);
        cairo_set_operator(c.cr, CAIRO_OPERATOR_OVER);
        c.PaintCopies(false);
        cairo_surface_flush(c.frame);
        cairo_set_source_surface(viewCr, c.frame, 0, 0);
        cairo_paint(viewCr);
        cairo_surface_flush(viewSurface);
        benchmark::ClobberMemory();
    }
    cairo_destroy(viewCr);
    cairo_surface_destroy(viewSurface);
}

void BM_CairoSharedDraws(benchmark::State& state)
{
    CairoShared c(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        c.PaintCopies(true);
        cairo_surface_flush(c.frame);
        benchmark::ClobberMemory();
    }
}

BENCHMARK(BM_SprCollision)->DenseRange(0, kCaseCount - 1)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PygameOverlap)
    ->DenseRange(0, kCaseCount - 1)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SharedFrame)->Arg(4)->Arg(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CairoSharedFrame)->Arg(4)->Arg(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SharedDraws)->Arg(4)->Arg(8)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CairoSharedDraws)->Arg(4)->Arg(8)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RegisterPictures();
    if (!StartPeer())
        std::fprintf(stderr, "pygame peer did not start\n");
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    std::printf("\nmedians; aim <= 1\n");
    for (int id = 0; id < kCaseCount; id++) {
        const std::string arg = "/" + std::to_string(id);
        const double sprig = reporter.Time("BM_SprCollision" + arg) / kChecks;
        const double peer =
            reporter.Time("BM_PygameOverlap" + arg + "/manual_time", Clock::kReal) / kChecks;
        std::printf("%-52s %8.3f us / pygame %8.3f us = %.3fx\n", kCases[id].label, sprig, peer,
                    sprig / peer);
    }
    for (const char* n : {"4", "8"}) {
        const std::string arg = std::string("/") + n;
        std::printf(
            "%s sprites sharing one picture, frame: %.3fx cairo; draws alone: %.3fx cairo\n", n,
            reporter.Time("BM_SharedFrame" + arg) / reporter.Time("BM_CairoSharedFrame" + arg),
            reporter.Time("BM_SharedDraws" + arg) / reporter.Time("BM_CairoSharedDraws" + arg));
    }
    ClearAllImages();
    return 0;
}
