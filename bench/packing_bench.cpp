// Expanding and packing packed pictures, side by side with memcpy of the
// expanded bytes (the bandwidth limit) and with libpng decoding the same
// picture from a PNG held in memory (what a host would otherwise store);
// and registering a packed picture in the pool, side by side with storing it
// without the check that guards the pool.
//
// Two 256 x 256 pictures: a sprite (transparent surroundings, an opaque
// two-colour shape with soft edges) and noise (every pixel different); the
// registration also takes pairs (runs of two, the most packets a picture of
// that many bytes can hold, the check's worst case). After the runs the
// ratios are printed, each sprig / peer; the aims for the sprite are
// Uncompress / libpng <= 0.10 and Uncompress / memcpy <= 3, and for every
// picture a registration with the check within 1.10 of one without.
//
// Run with --benchmark_repetitions=N --benchmark_enable_random_interleaving
// for medians and ranges over interleaved repetitions.
#include <benchmark/benchmark.h>
#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_pictures.h"
#include "bench/ratio_reporter.h"
#include "images/image_pool_p.h"
#include "sprig/packing.h"

namespace {

constexpr int kSize = 256;

std::vector<uint32_t> SpritePixels()
{
    std::vector<uint32_t> pixels(kSize * kSize);
    for (int y = 0; y < kSize; y++)
        for (int x = 0; x < kSize; x++) {
            const double dx = x + 0.5 - 128, dy = y + 0.5 - 120;
            const uint32_t alpha = SoftDiscAlpha(dx, dy, 100.0);
            const bool inner = dx * dx + (dy + 30) * (dy + 30) < 40 * 40;
            pixels[y * kSize + x] = alpha == 0 ? 0
                                    : inner    ? Word(255, 240, 200, alpha)
                                               : Word(230, 120, 20, alpha);
        }
    return pixels;
}

std::vector<uint32_t> NoisePixels()
{
    std::mt19937 rng(7);
    std::vector<uint32_t> pixels(kSize * kSize);
    for (uint32_t& p : pixels)
        p = static_cast<uint32_t>(rng()) | 0xFF;
    return pixels;
}

// Runs of two: A A B B A A ..., each pair a run packet of its own.
std::vector<uint32_t> PairPixels()
{
    std::vector<uint32_t> pixels(kSize * kSize);
    for (size_t i = 0; i < pixels.size(); i++)
        pixels[i] = (i / 2) % 2 ? Word(10, 20, 30, 255) : Word(200, 100, 50, 128);
    return pixels;
}

enum Kind
{
    kNoise = 0,
    kSprite = 1,
    kPairs = 2
};

struct Subject
{
    std::vector<uint32_t> pixels;
    uint32_t* packed = nullptr;
    std::vector<uint8_t> png;
};

std::vector<uint8_t> EncodePng(const std::vector<uint32_t>& pixels)
{
    png_image image;
    std::memset(&image, 0, sizeof image);
    image.version = PNG_IMAGE_VERSION;
    image.width = kSize;
    image.height = kSize;
    image.format = PNG_FORMAT_ARGB;
    png_alloc_size_t size = 0;
    png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr);
    std::vector<uint8_t> bytes(size);
    if (!png_image_write_to_memory(&image, bytes.data(), &size, 0, pixels.data(), 0, nullptr)) {
        std::fprintf(stderr, "cannot encode PNG: %s\n", image.message);
        std::exit(1);
    }
    bytes.resize(size);
    return bytes;
}

Subject& GetSubject(int64_t kind)
{
    static Subject subjects[3];
    Subject& s = subjects[kind];
    if (!s.packed) {
        s.pixels = kind == kSprite ? SpritePixels() : kind == kNoise ? NoisePixels() : PairPixels();
        s.packed = CompressBuffer(s.pixels.data(), kSize, kSize, 4 * kSize);
        s.png = EncodePng(s.pixels);
    }
    return s;
}

void BM_Uncompress(benchmark::State& state)
{
    Subject& s = GetSubject(state.range(0));
    for (auto _ : state) {
        int32_t width, height, rowBytes;
        uint32_t* pixels = Uncompress(s.packed, &width, &height, &rowBytes);
        benchmark::DoNotOptimize(pixels);
        benchmark::ClobberMemory();
        delete[] pixels;
    }
    state.SetBytesProcessed(state.iterations() * 4 * kSize * kSize);
}

void BM_Memcpy(benchmark::State& state)
{
    Subject& s = GetSubject(state.range(0));
    std::vector<uint32_t> out(s.pixels.size());
    for (auto _ : state) {
        std::memcpy(out.data(), s.pixels.data(), 4 * s.pixels.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * 4 * kSize * kSize);
}

void BM_LibpngDecode(benchmark::State& state)
{
    Subject& s = GetSubject(state.range(0));
    std::vector<uint32_t> out(s.pixels.size());
    for (auto _ : state) {
        png_image image;
        std::memset(&image, 0, sizeof image);
        image.version = PNG_IMAGE_VERSION;
        png_image_begin_read_from_memory(&image, s.png.data(), s.png.size());
        image.format = PNG_FORMAT_ARGB;
        png_image_finish_read(&image, nullptr, out.data(), 0, nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    if (std::memcmp(out.data(), s.pixels.data(), 4 * s.pixels.size()) != 0)
        state.SkipWithError("libpng decoded other pixels");
    state.SetBytesProcessed(state.iterations() * 4 * kSize * kSize);
}

void BM_Compress(benchmark::State& state)
{
    Subject& s = GetSubject(state.range(0));
    for (auto _ : state) {
        uint32_t* packed = CompressBuffer(s.pixels.data(), kSize, kSize, 4 * kSize);
        benchmark::DoNotOptimize(packed);
        std::free(packed);
    }
    state.SetBytesProcessed(state.iterations() * 4 * kSize * kSize);
}

void BM_LibpngEncode(benchmark::State& state)
{
    Subject& s = GetSubject(state.range(0));
    std::vector<uint8_t> out(s.png.size() * 2 + 4096);
    for (auto _ : state) {
        png_image image;
        std::memset(&image, 0, sizeof image);
        image.version = PNG_IMAGE_VERSION;
        image.width = kSize;
        image.height = kSize;
        image.format = PNG_FORMAT_ARGB;
        png_alloc_size_t size = out.size();
        png_image_write_to_memory(&image, out.data(), &size, 0, s.pixels.data(), 0, nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * 4 * kSize * kSize);
}

// Registering the picture in the pool, replacing the slot's picture each
// time: with the check (SetCompressedImage), and storing it unchecked.
constexpr int32_t kSlot = 300;

PictureRecord RecordOf(const Subject& s)
{
    return PictureRecord{kSize, kSize, s.packed[0], s.packed};
}

void BM_Register(benchmark::State& state)
{
    PictureRecord record = RecordOf(GetSubject(state.range(0)));
    for (auto _ : state) {
        const int32_t result = SetCompressedImage(kSlot, reinterpret_cast<char*>(&record));
        benchmark::DoNotOptimize(result);
    }
    if (GetImageWidth(kSlot) != kSize)
        state.SkipWithError("the picture was refused");
    ResetFreeImage(kSlot);
}

void BM_RegisterUnchecked(benchmark::State& state)
{
    PictureRecord record = RecordOf(GetSubject(state.range(0)));
    for (auto _ : state) {
        StoreCheckedPicture(gImagePool, kSlot, reinterpret_cast<char*>(&record));
        benchmark::ClobberMemory();
    }
    ResetFreeImage(kSlot);
}

// Argument 1: the sprite; 0: noise; 2: pairs.
BENCHMARK(BM_Uncompress)->Arg(1)->Arg(0)->Arg(2);
BENCHMARK(BM_Memcpy)->Arg(1)->Arg(0);
BENCHMARK(BM_LibpngDecode)->Arg(1)->Arg(0);
BENCHMARK(BM_Compress)->Arg(1)->Arg(0);
BENCHMARK(BM_LibpngEncode)->Arg(1)->Arg(0);
BENCHMARK(BM_Register)->Arg(1)->Arg(0)->Arg(2);
BENCHMARK(BM_RegisterUnchecked)->Arg(1)->Arg(0)->Arg(2);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (const auto& [arg, name] : {std::pair<const char*, const char*>{"1", "sprite"},
                                    std::pair<const char*, const char*>{"0", "noise"}}) {
        const std::string a = std::string("/") + arg;
        const double expand = reporter.Time("BM_Uncompress" + a);
        const double memcpyTime = reporter.Time("BM_Memcpy" + a);
        const double decode = reporter.Time("BM_LibpngDecode" + a);
        const double pack = reporter.Time("BM_Compress" + a);
        const double encode = reporter.Time("BM_LibpngEncode" + a);
        const Subject& s = GetSubject(arg[0] - '0');
        std::printf("%-6s packed %u bytes, PNG %zu bytes, raw %d bytes\n", name, s.packed[0],
                    s.png.size(), 4 * kSize * kSize);
        std::printf("%-6s expand: Uncompress / libpng decode = %.3f (aim <= 0.10), "
                    "Uncompress / memcpy = %.2f (aim <= 3)\n",
                    name, expand / decode, expand / memcpyTime);
        std::printf("%-6s pack:   Compress / libpng encode = %.3f, Compress / memcpy = %.2f\n",
                    name, pack / encode, pack / memcpyTime);
    }
    for (const auto& [arg, name] : {std::pair<const char*, const char*>{"1", "sprite"},
                                    std::pair<const char*, const char*>{"0", "noise"},
                                    std::pair<const char*, const char*>{"2", "pairs"}}) {
        const std::string a = std::string("/") + arg;
        const std::vector<double>& with = reporter.Repetitions("BM_Register" + a);
        const std::vector<double>& without = reporter.Repetitions("BM_RegisterUnchecked" + a);
        if (with.empty() || with.size() != without.size())
            continue;
        // Repetition i of one against repetition i of the other: with
        // interleaving they ran close together.
        std::vector<double> ratios;
        for (size_t i = 0; i < with.size(); i++)
            ratios.push_back(with[i] / without[i]);
        const Subject& s = GetSubject(arg[0] - '0');
        const double check = RatioReporter::Median(with) - RatioReporter::Median(without);
        std::printf("%-6s register %u bytes: checked %.2f us, unchecked %.2f us (medians of %zu); "
                    "checked / unchecked = %.2f, range %.2f-%.2f (aim <= 1.10); "
                    "the check is %.1f%% of one Uncompress\n",
                    name, s.packed[0], RatioReporter::Median(with) / 1000,
                    RatioReporter::Median(without) / 1000, with.size(),
                    RatioReporter::Median(ratios), *std::min_element(ratios.begin(), ratios.end()),
                    *std::max_element(ratios.begin(), ratios.end()),
                    100 * check / RatioReporter::Median(reporter.Repetitions("BM_Uncompress" + a)));
    }
    return 0;
}
