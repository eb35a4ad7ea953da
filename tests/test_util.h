// Helpers the test suites share: worlds that dispose of themselves, and
// direct access to their pixel words.
#ifndef SPRIG_TESTS_TEST_UTIL_H
#define SPRIG_TESTS_TEST_UTIL_H

#include <gtest/gtest.h>

#include <memory>

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

// Fills a world with distinct words whose alpha varies too.
inline void FillNumbered(GWorldPtr world, uint32_t seed)
{
    Rect b;
    GetPortBounds(world, &b);
    for (int v = 0; v < b.bottom; v++)
        for (int h = 0; h < b.right; h++)
            Pixel(world, h, v) = (seed + static_cast<uint32_t>(v * 1000 + h)) * 0x9E3779B1u;
}

#endif
