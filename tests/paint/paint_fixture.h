// A small painting set-up for the paint tool tests: source and destination
// worlds, a coverage mask with its 16-pixel margin, a lopsided brush (no two
// rows or columns alike, so a misplaced or mirrored stamp shows) and a colour
// table, all tied together in an OurPS.
#ifndef SPRIG_TESTS_PAINT_PAINT_FIXTURE_H
#define SPRIG_TESTS_PAINT_PAINT_FIXTURE_H

#include <algorithm>
#include <vector>

#include "sprig/paint.h"
#include "tests/test_util.h"

struct Painting
{
    Painting(int width, int height)
        : width(width), height(height), src(MakeWorld(width, height)),
          dst(MakeWorld(width, height)), mask(static_cast<size_t>((width + 32) * (height + 32)), 0),
          brush(1024), state{width,        0,           src.get(), dst.get(), 0, nullptr,
                             brush.data(), mask.data(), table}
    {
        for (int r = 0; r < 32; r++)
            for (int c = 0; c < 32; c++)
                brush[r * 32 + c] = static_cast<uint8_t>((r * 5 + c * 3 + (r * c) % 7) % 64);
    }

    // The mask as the tests expect it, built one stamp at a time.
    std::vector<uint8_t> Blank() const { return std::vector<uint8_t>(mask.size(), 0); }
    size_t Stride() const { return static_cast<size_t>(width + 32); }
    void ExpectStamp(std::vector<uint8_t>& m, int x, int y) const
    {
        for (int r = 0; r < 32; r++)
            for (int c = 0; c < 32; c++) {
                uint8_t& b = m[(y + r) * Stride() + x + c];
                b = std::max(b, brush[r * 32 + c]);
            }
    }
    // Surface pixel (x, y) of a mask.
    uint8_t& At(std::vector<uint8_t>& m, int x, int y) const
    {
        return m[(y + 16) * Stride() + x + 16];
    }

    int width;
    int height;
    World src;
    World dst;
    std::vector<uint8_t> mask;
    std::vector<uint8_t> brush;
    uint32_t table[64] = {};
    OurPS state;
};

// The first differing mask byte as "(column, row) in the mask", or "".
inline std::string FirstMaskDifference(const std::vector<uint8_t>& actual,
                                       const std::vector<uint8_t>& expected, int stride)
{
    for (size_t i = 0; i < actual.size(); i++)
        if (actual[i] != expected[i])
            return "mask byte (" + std::to_string(i % stride) + ", " + std::to_string(i / stride) +
                   ") is " + std::to_string(actual[i]) + ", expected " +
                   std::to_string(expected[i]);
    return "";
}

#define EXPECT_MASK(painting, expected)                                                            \
    EXPECT_EQ(FirstMaskDifference((painting).mask, (expected), (painting).width + 32), "")

#endif
