// Changes of the drawing sequence as a host makes them, on stages of 1k to
// 32k sprites, beside a plain std::vector doing the same job.
//
// BM_SetZ/N: SprSetZ of a random sprite to another value (0 to 99)
// on a stage of N visible sprites; the pending table emptied every 100
// calls, as a host's frame would. BM_VectorSetZ/N: the same moves in a
// std::vector of the N sprites, found and placed by linear search (find,
// erase, find_if, insert).
// BM_DeleteSprite/N: SprDeleteSprite of a random sprite and SprNewSprite
// of one in its stead (so the stage keeps N sprites), per pair.
// BM_VectorDelete/N: find and erase in a std::vector and push_back.
// BM_DeleteList/N: SprDeleteList of a stage of N sprites, per sprite (the
// stage is built with the timer stopped). BM_FreeSprites/N: deleting N
// sprites' worth of heap blocks one by one, the floor of any destruction.
// After the runs each sprig row is printed per call beside its peer.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "sprig/engine.h"
#include "sprig/images.h"

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int32_t kPicture = 300;
constexpr int kCallsPerFrame = 100;
constexpr size_t kPlan = 4096;

struct Stage
{
    Stage()
    {
        Rect bounds;
        SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
        for (GWorldPtr* w : {&backdrop, &background, &sprites})
            *w = NewWorld(kStageWidth, kStageHeight);
        list = SprInitSprites(backdrop, background, sprites, &bounds);
    }
    ~Stage()
    {
        SprDeleteList(list);
        for (GWorldPtr w : {backdrop, background, sprites})
            DisposeGWorld(w);
    }

    CSprite* NewSprite(int32_t ref, std::mt19937& rng)
    {
        CSprite* s = SprNewSprite(list, ref);
        SprSetImage(s, kPicture, 0);
        const double x = rng() % kStageWidth, y = rng() % kStageHeight;
        SprSetPos(s, &x, &y);
        SprShow(s, true);
        return s;
    }

    // Sprites 1 to n, at places drawn from rng.
    std::vector<CSprite*> NewSprites(size_t n, std::mt19937& rng)
    {
        std::vector<CSprite*> made;
        for (size_t i = 0; i < n; i++)
            made.push_back(NewSprite(static_cast<int32_t>(i + 1), rng));
        return made;
    }

    GWorldPtr backdrop = nullptr, background = nullptr, sprites = nullptr;
    CSpriteList* list = nullptr;
};

void RegisterPictureOnce()
{
    static bool done = [] {
        RegisterPicture(kPicture, std::vector<uint32_t>(16 * 16, 0xFF0000FFu), 16, 16);
        return true;
    }();
    (void)done;
}

// Random sprites and steps: each call moves a sprite from its z value z to
// (z + step) % 100 with a step of 1 to 99, so that every call moves it.
struct Plan
{
    Plan(size_t sprites, uint32_t seed)
    {
        std::mt19937 rng(seed);
        for (size_t i = 0; i < kPlan; i++) {
            which.push_back(rng() % sprites);
            steps.push_back(1 + static_cast<int32_t>(rng() % 99));
        }
    }
    int32_t Next(size_t at, int32_t z) const { return (z + steps[at]) % 100; }

    std::vector<size_t> which;
    std::vector<int32_t> steps;
};

void BM_SetZ(benchmark::State& state)
{
    RegisterPictureOnce();
    const auto n = static_cast<size_t>(state.range(0));
    Stage stage;
    std::mt19937 rng(7);
    std::vector<CSprite*> sprites = stage.NewSprites(n, rng);
    const Plan plan(n, 11);
    size_t at = 0;
    for (auto _ : state) {
        if (at % kCallsPerFrame == 0)
            stage.list->InitRedisplayRects();
        CSprite* s = sprites[plan.which[at]];
        benchmark::DoNotOptimize(SprSetZ(s, plan.Next(at, s->mZ)));
        at = (at + 1) % kPlan;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_VectorSetZ(benchmark::State& state)
{
    const auto n = static_cast<size_t>(state.range(0));
    struct Item
    {
        int32_t z;
    };
    std::vector<Item> items(n, Item{0});
    std::vector<Item*> order;
    for (Item& item : items)
        order.push_back(&item);
    const Plan plan(n, 11);
    size_t at = 0;
    for (auto _ : state) {
        Item* item = &items[plan.which[at]];
        const int32_t z = plan.Next(at, item->z);
        order.erase(std::find(order.begin(), order.end(), item));
        order.insert(
            std::find_if(order.begin(), order.end(),
                         [z](const Item* other) { return static_cast<int16_t>(other->z) < z; }),
            item);
        item->z = z;
        benchmark::ClobberMemory();
        at = (at + 1) % kPlan;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_DeleteSprite(benchmark::State& state)
{
    RegisterPictureOnce();
    const auto n = static_cast<size_t>(state.range(0));
    Stage stage;
    std::mt19937 rng(7);
    std::vector<CSprite*> sprites = stage.NewSprites(n, rng);
    int32_t ref = static_cast<int32_t>(n) + 1;
    size_t at = 0;
    for (auto _ : state) {
        if (at++ % kCallsPerFrame == 0)
            stage.list->InitRedisplayRects();
        const size_t i = rng() % n;
        SprDeleteSprite(sprites[i]);
        sprites[i] = SprNewSprite(stage.list, ref++);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_VectorDelete(benchmark::State& state)
{
    const auto n = static_cast<size_t>(state.range(0));
    std::vector<int> items(n + 1);
    std::vector<int*> order;
    for (size_t i = 0; i < n; i++)
        order.push_back(&items[i]);
    std::mt19937 rng(7);
    for (auto _ : state) {
        const auto found = std::find(order.begin(), order.end(), &items[rng() % n]);
        int* item = *found;
        order.erase(found);
        order.push_back(item);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_DeleteList(benchmark::State& state)
{
    RegisterPictureOnce();
    const auto n = static_cast<size_t>(state.range(0));
    std::mt19937 rng(7);
    for (auto _ : state) {
        state.PauseTiming();
        auto* stage = new Stage;
        for (size_t i = 0; i < n; i++)
            stage->NewSprite(static_cast<int32_t>(i + 1), rng);
        state.ResumeTiming();
        SprDeleteList(stage->list);
        stage->list = nullptr;
        state.PauseTiming();
        delete stage;
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}

void BM_FreeSprites(benchmark::State& state)
{
    const auto n = static_cast<size_t>(state.range(0));
    std::vector<char*> blocks(n);
    for (auto _ : state) {
        state.PauseTiming();
        for (char*& b : blocks)
            b = new char[sizeof(CSprite)];
        state.ResumeTiming();
        for (char* b : blocks)
            delete[] b;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}

constexpr int kSizes[] = {1024, 2048, 4096, 8192, 16384, 32768};

void Sizes(benchmark::internal::Benchmark* b)
{
    for (int n : kSizes)
        b->Arg(n);
    b->Unit(benchmark::kNanosecond);
}

BENCHMARK(BM_SetZ)->Apply(Sizes);
BENCHMARK(BM_VectorSetZ)->Apply(Sizes);
BENCHMARK(BM_DeleteSprite)->Apply(Sizes);
BENCHMARK(BM_VectorDelete)->Apply(Sizes);
BENCHMARK(BM_DeleteList)->Apply(Sizes)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FreeSprites)->Apply(Sizes)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (int n : kSizes) {
        const std::string arg = "/" + std::to_string(n);
        std::printf("%6d sprites: SprSetZ %7.0f ns (vector %7.0f ns); SprDeleteSprite+New %7.0f ns "
                    "(vector %7.0f ns); SprDeleteList %6.0f ns/sprite (free %4.0f ns)\n",
                    n, reporter.Time("BM_SetZ" + arg), reporter.Time("BM_VectorSetZ" + arg),
                    reporter.Time("BM_DeleteSprite" + arg), reporter.Time("BM_VectorDelete" + arg),
                    reporter.Time("BM_DeleteList" + arg) * 1000 / n,
                    reporter.Time("BM_FreeSprites" + arg) * 1000 / n);
    }
    return 0;
}
