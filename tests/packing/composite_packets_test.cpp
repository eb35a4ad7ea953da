// Drawing packed pictures whose rows are made of the packets the compositor
// handles one by one: stretches of one to three pixels (put off and blended
// in batches), packets that describe no pixel at all, and short runs beside
// literals, drawn again and again over the same world so that their
// destinations are transparent, opaque and in between.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "sprig/packing.h"
#include "sprig/transfer.h"
#include "tests/packing/packing_util.h"
#include "tests/test_util.h"

namespace {

constexpr uint32_t kRun = 0x80000000;
constexpr uint32_t kLast = 0x40000000;

// The defined path: the picture expanded, tinted as a colorized picture is,
// and composited with the blend.
void ReferenceDraw(uint32_t* picture, Rect s, GWorldPtr dst, Rect d, const RGBColor* tint)
{
    int32_t width = 0, height = 0, rowBytes = 0;
    uint32_t* pixels = Uncompress(picture, &width, &height, &rowBytes);
    ASSERT_NE(pixels, nullptr);
    if (tint) {
        const uint32_t c = (uint32_t{tint->blue} >> 8 << 24) | (uint32_t{tint->green} >> 8 << 16) |
                           (uint32_t{tint->red} >> 8 << 8);
        for (int i = 0; i < rowBytes / 4 * height; i++)
            pixels[i] = (pixels[i] >> 8) == 0 ? (pixels[i] & 0xFF) | c : 0xFF7FFF00;
    }
    MyCGCopyRaw(pixels, rowBytes / 4, dst, &s, &d, 4, false, false);
    delete[] pixels;
}

uint32_t RandomAlphaWord(std::mt19937& rng)
{
    const uint32_t roll = rng() % 4;
    const uint32_t alpha = roll == 0 ? 0 : roll == 1 ? 255 : 1 + rng() % 254;
    // Black now and then, for the tinted drawings.
    const uint32_t colour = rng() % 3 == 0 ? 0 : static_cast<uint32_t>(rng()) & 0xFFFFFF00;
    return colour | alpha;
}

// A picture of the current encoding written packet by packet: each row
// stretches of 1 to 3 pixels (now and then a longer one), runs and literals
// mixed, with packets of no pixels among them.
std::vector<uint32_t> ShortPacketPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> table(static_cast<size_t>(height));
    std::vector<uint32_t> packets;
    const uint32_t first = 6 + static_cast<uint32_t>(height);
    for (int row = 0; row < height; row++) {
        table[static_cast<size_t>(row)] = first + static_cast<uint32_t>(packets.size());
        int n = 0;
        while (n < width) {
            if (rng() % 8 == 0) {
                // A packet of no pixels: a run or an empty literal.
                if (rng() % 2)
                    packets.insert(packets.end(), {kRun, Stored(RandomAlphaWord(rng))});
                else
                    packets.push_back(0);
                continue;
            }
            const int longest = rng() % 6 == 0 ? 12 : 3;
            const int count = std::min(width - n, 1 + static_cast<int>(rng() % longest));
            n += count;
            const uint32_t last = n == width ? kLast : 0;
            if (rng() % 2) {
                packets.insert(packets.end(), {kRun | last | static_cast<uint32_t>(count),
                                               Stored(RandomAlphaWord(rng))});
            } else {
                packets.push_back(last | static_cast<uint32_t>(count));
                for (int k = 0; k < count; k++)
                    packets.push_back(Stored(RandomAlphaWord(rng)));
            }
        }
    }
    table.insert(table.end(), packets.begin(), packets.end());
    return Picture("Format01", width, height, table);
}

TEST(CompositePackedPicture, ShortPacketsMatchExpandingAndCompositing)
{
    std::mt19937 rng(4242);
    const RGBColor tint = {0xA0A0, 0x1010, 0xFFFF};
    for (int round = 0; round < 60; round++) {
        World fast = MakeWorld(90, 20);
        World defined = MakeWorld(90, 20);
        for (int v = 0; v < 20; v++)
            for (int h = 0; h < 90; h++)
                Pixel(fast.get(), h, v) = Pixel(defined.get(), h, v) =
                    rng() % 2 ? 0 : RandomAlphaWord(rng);
        // Several pictures over the same world, each whole or in part,
        // hanging off its edges now and then.
        for (int layer = 0; layer < 6; layer++) {
            const int width = 1 + static_cast<int>(rng() % 70);
            const int height = 1 + static_cast<int>(rng() % 16);
            std::vector<uint32_t> picture = ShortPacketPicture(rng, width, height);
            int sl = 0, sw = width;
            if (rng() % 2) {
                sw = 1 + static_cast<int>(rng() % uint32_t(width));
                sl = static_cast<int>(rng() % uint32_t(width - sw + 1));
            }
            const int dl = static_cast<int>(rng() % 100) - 10;
            const int dt = static_cast<int>(rng() % 24) - 4;
            Rect s, d;
            SetRect(&s, int16_t(sl), 0, int16_t(sl + sw), int16_t(height));
            SetRect(&d, int16_t(dl), int16_t(dt), int16_t(dl + sw), int16_t(dt + height));
            const RGBColor* colour = layer % 4 == 3 ? &tint : nullptr;
            CompositePackedPicture(picture.data(), &s, fast.get(), &d, colour);
            ReferenceDraw(picture.data(), s, defined.get(), d, colour);
        }
        for (int v = 0; v < 20; v++)
            for (int h = 0; h < 90; h++)
                ASSERT_EQ(Pixel(fast.get(), h, v), Pixel(defined.get(), h, v))
                    << "round " << round << " at " << h << "," << v;
    }
}

} // namespace
