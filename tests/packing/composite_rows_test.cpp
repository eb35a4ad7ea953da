// Drawing packed pictures straight from their rows, for rows longer than
// the compositor gathers at once: long literals, long runs of every alpha
// and short stretches between them, whole and clipped, tinted and not.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "sprig/packing.h"
#include "sprig/transfer.h"
#include "tests/test_util.h"

namespace {

// Stretches of 1 to 150 pixels: transparent, opaque, of one partial alpha
// (runs once packed), or all different (literals once packed).
std::vector<uint32_t> StretchyPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
    size_t i = 0;
    while (i < pixels.size()) {
        const size_t n = std::min(pixels.size() - i, size_t{1} + rng() % (rng() % 2 ? 4 : 150));
        const uint32_t kind = rng() % 5;
        const uint32_t colour = rng() & 0xFFFFFF00;
        for (size_t k = 0; k < n; k++, i++) {
            switch (kind) {
            case 0:
                pixels[i] = rng() % 2 ? 0 : colour; // alpha 0 in either case
                break;
            case 1:
                pixels[i] = colour | 0xFF;
                break;
            case 2:
                pixels[i] = colour | 0x80;
                break;
            case 3:
                pixels[i] = static_cast<uint32_t>(rng());
                break;
            default:
                pixels[i] = rng() % 3 ? 0 : static_cast<uint32_t>(rng()) & 0x000000FF; // black
                break;
            }
        }
    }
    return pixels;
}

TEST(CompositePackedPicture, LongRowsMatchExpandingAndCompositing)
{
    std::mt19937 rng(31337);
    const RGBColor tint = {0x1234, 0xFEDC, 0x8080};
    for (int round = 0; round < 300; round++) {
        const int width = 1 + static_cast<int>(rng() % 400);
        const int height = 1 + static_cast<int>(rng() % 6);
        const std::vector<uint32_t> pixels = StretchyPicture(rng, width, height);
        uint32_t* picture = CompressBuffer(pixels.data(), width, height, 4 * width);
        ASSERT_NE(picture, nullptr);
        // Whole rows half the time, else any part, placed so that it may
        // hang off either side of the world.
        int sl = 0, sw = width;
        if (rng() % 2) {
            sw = 1 + static_cast<int>(rng() % uint32_t(width));
            sl = static_cast<int>(rng() % uint32_t(width - sw + 1));
        }
        const int dl = static_cast<int>(rng() % 300) - 100;
        Rect s, d;
        SetRect(&s, int16_t(sl), 0, int16_t(sl + sw), int16_t(height));
        SetRect(&d, int16_t(dl), 1, int16_t(dl + sw), int16_t(1 + height));

        World fast = MakeWorld(330, 8);
        World defined = MakeWorld(330, 8);
        for (int v = 0; v < 8; v++)
            for (int h = 0; h < 330; h++) {
                const uint32_t roll = rng() % 4;
                Pixel(fast.get(), h, v) = Pixel(defined.get(), h, v) =
                    roll == 0   ? 0
                    : roll == 1 ? static_cast<uint32_t>(rng()) | 0xFF
                                : static_cast<uint32_t>(rng());
            }
        const RGBColor* colour = round % 3 == 1 ? &tint : nullptr;
        CompositePackedPicture(picture, &s, fast.get(), &d, colour);

        int32_t w = 0, h = 0, rowBytes = 0;
        uint32_t* expanded = Uncompress(picture, &w, &h, &rowBytes);
        ASSERT_NE(expanded, nullptr);
        if (colour) {
            const uint32_t c = (uint32_t{tint.blue} >> 8 << 24) |
                               (uint32_t{tint.green} >> 8 << 16) | (uint32_t{tint.red} >> 8 << 8);
            for (int k = 0; k < rowBytes / 4 * h; k++)
                expanded[k] = (expanded[k] >> 8) == 0 ? (expanded[k] & 0xFF) | c : 0xFF7FFF00;
        }
        MyCGCopyRaw(expanded, rowBytes / 4, defined.get(), &s, &d, 4, false, false);
        delete[] expanded;
        std::free(picture);
        for (int v = 0; v < 8; v++)
            for (int x = 0; x < 330; x++)
                ASSERT_EQ(Pixel(fast.get(), x, v), Pixel(defined.get(), x, v))
                    << "round " << round << " at " << x << "," << v;
    }
}

TEST(CompositePackedPicture, ADamagedRowDrawsNoFurtherThanThePictureIsWide)
{
    // A 4 x 1 picture of one opaque run, whose run is then made to claim
    // ten pixels: drawn whole, whole-row or not, only its four columns of
    // the world may change.
    const uint32_t red[4] = {0x0000FFFF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF};
    uint32_t* picture = CompressBuffer(red, 4, 1, 16);
    ASSERT_NE(picture, nullptr);
    uint32_t& control = picture[picture[6]];
    ASSERT_EQ(control & 0x3FFFFFFF, 4u);
    control = (control & ~0x3FFFFFFFu) | 10;
    for (int left = 0; left < 2; left++) {
        World world = MakeWorld(16, 1);
        Rect s, d;
        SetRect(&s, int16_t(left), 0, 4, 1);
        SetRect(&d, 2, 0, int16_t(6 - left), 1);
        CompositePackedPicture(picture, &s, world.get(), &d, nullptr);
        for (int h = 0; h < 16; h++)
            EXPECT_EQ(Pixel(world.get(), h, 0), h >= 2 && h < 6 - left ? 0x0000FFFFu : 0u)
                << "from column " << left << ", at " << h;
    }
    std::free(picture);
}

} // namespace
