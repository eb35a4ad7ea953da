// Helpers the test suites share: worlds that dispose of themselves, and
// direct access to their pixel words.
#ifndef SPRIG_TESTS_TEST_UTIL_H
#define SPRIG_TESTS_TEST_UTIL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "sprig/foundation.h"

struct WorldDeleter
{
    void operator()(OpaqueGrafPtr* world) const { DisposeGWorld(world); }
};
using World = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

inline World MakeWorld(int width, int height)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    const OSErr err = NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
    EXPECT_EQ(err, noErr);
    return World(world);
}

inline uint32_t& Pixel(GWorldPtr world, int h, int v)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm))[h];
}

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
constexpr uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

// A rectangle written (left, top, right, bottom).
inline Rect R(int left, int top, int right, int bottom)
{
    Rect r;
    SetRect(&r, static_cast<int16_t>(left), static_cast<int16_t>(top), static_cast<int16_t>(right),
            static_cast<int16_t>(bottom));
    return r;
}

inline bool operator==(const Rect& a, const Rect& b)
{
    return EqualRect(&a, &b);
}

inline std::ostream& operator<<(std::ostream& out, const Rect& r)
{
    return out << "(" << r.left << ", " << r.top << ", " << r.right << ", " << r.bottom << ")";
}

// The pixel words of a world (or of its first width x height), row by row.
inline std::vector<uint32_t> PixelsOf(GWorldPtr world, int width = -1, int height = -1)
{
    Rect b;
    GetPortBounds(world, &b);
    std::vector<uint32_t> words;
    for (int v = 0; v < (height < 0 ? b.bottom : height); v++)
        for (int h = 0; h < (width < 0 ? b.right : width); h++)
            words.push_back(Pixel(world, h, v));
    return words;
}

// Whether (h, v) lies within r, its right and bottom edges outside.
inline bool Inside(const Rect& r, int h, int v)
{
    return h >= r.left && h < r.right && v >= r.top && v < r.bottom;
}

// Every pixel of a world holds what expected(h, v) gives; a failure names
// the first that does not.
template <class Expected>
testing::AssertionResult EachPixel(GWorldPtr world, Expected expected)
{
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            if (Pixel(world, h, v) != expected(h, v))
                return testing::AssertionFailure()
                       << "at " << h << "," << v << ": " << std::hex << Pixel(world, h, v)
                       << " instead of " << expected(h, v);
    return testing::AssertionSuccess();
}

// Every pixel of a world set to what make(h, v) gives, row by row.
template <class Make>
void FillEach(GWorldPtr world, Make make)
{
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(world, h, v) = make(h, v);
}

// Every pixel of a world set to word, or to the next number a generator gives.
inline void FillWith(GWorldPtr world, uint32_t word)
{
    FillEach(world, [word](int, int) { return word; });
}
inline void FillRandom(GWorldPtr world, std::mt19937& rng)
{
    FillEach(world, [&rng](int, int) { return static_cast<uint32_t>(rng()); });
}
inline void FillRandom(GWorldPtr world, uint32_t seed)
{
    std::mt19937 rng(seed);
    FillRandom(world, rng);
}

// Fills a world with distinct words whose alpha varies too.
inline void FillNumbered(GWorldPtr world, uint32_t seed)
{
    FillEach(world, [seed](int h, int v) {
        return (seed + static_cast<uint32_t>(v * 1000 + h)) * 0x9E3779B1u;
    });
}

// An alpha drawn mostly from the cases fast rows treat apart: mode 0 gives
// 0, 1 gives 255, 2 any alpha, and anything else a mix of the three.
inline uint32_t RandomAlpha(std::mt19937& rng, int mode)
{
    switch (mode) {
    case 0:
        return 0;
    case 1:
        return 255;
    case 2:
        return rng() & 0xFF;
    default:
        return (rng() & 1) ? ((rng() & 1) ? 0 : 255) : rng() & 0xFF;
    }
}

// The names of a routine's variants, plainest first, are those this
// processor runs: "plain", then "sse2" on x86-64, then "avx2" where the
// processor has it.
inline void ExpectVariantsOfThisProcessor(const std::vector<std::string>& names)
{
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.front(), "plain");
#if defined(__x86_64__)
    EXPECT_NE(std::find(names.begin(), names.end(), "sse2"), names.end());
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2");
    EXPECT_EQ(std::find(names.begin(), names.end(), "avx2") != names.end(), avx2);
    if (avx2) {
        EXPECT_EQ(names.back(), "avx2");
    }
#endif
}

#endif
