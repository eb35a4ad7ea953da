// CompositePackedPicture against the defined path (the picture expanded,
// tinted, composited with the blend), bit for bit: pictures of long runs and
// every alpha, of the older encoding, of rows longer than the compositor
// gathers at once, and of the short packets it handles one by one, drawn
// again and again over the same world; whole and clipped, tinted and not.
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

// The first `width` words of each row (padding too, where wider than the
// world) alike in both worlds; the first difference is reported.
::testing::AssertionResult SamePixels(GWorldPtr fast, GWorldPtr defined, int width, int height)
{
    for (int v = 0; v < height; v++)
        for (int h = 0; h < width; h++)
            if (Pixel(fast, h, v) != Pixel(defined, h, v))
                return ::testing::AssertionFailure() << "differs at " << h << "," << v;
    return ::testing::AssertionSuccess();
}

// Pixels with long runs and every kind of alpha: 0, 255 and in between.
std::vector<uint32_t> RandomPicture(std::mt19937& rng, int width, int height)
{
    const uint32_t palette[] = {0x00000000, 0xFFFFFF00, 0x0000FFFF, 0x000000FF,
                                0x12345680, 0x00000001, 0xFF0000FE, 0x00000040};
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
    uint32_t current = 0;
    for (uint32_t& p : pixels) {
        const uint32_t roll = rng() % 16;
        if (roll < 3)
            current = palette[rng() % 8];
        else if (roll < 5)
            current = static_cast<uint32_t>(rng());
        p = current;
    }
    return pixels;
}

// The older encoding, written by hand: every row a sequence of runs, the
// last flagged, and now and then a whole row filled from its table entry.
std::vector<uint32_t> OlderPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> words = {0,
                                   0x706D6F43,
                                   0x73736572,
                                   0, // size, "Compress", 0
                                   static_cast<uint32_t>(width),
                                   static_cast<uint32_t>(height)};
    words.resize(6 + static_cast<size_t>(height));
    for (int row = 0; row < height; row++) {
        if (rng() % 5 == 0) {
            words[6 + static_cast<size_t>(row)] = 0x80000000 | (static_cast<uint32_t>(rng()) >> 1);
            continue;
        }
        words[6 + static_cast<size_t>(row)] = static_cast<uint32_t>(words.size());
        int n = 0;
        while (n < width) {
            const int count = std::min(width - n, 1 + static_cast<int>(rng() % 5));
            n += count;
            words.push_back(0x80000000 | (n == width ? 0x40000000 : 0) |
                            static_cast<uint32_t>(count));
            words.push_back(static_cast<uint32_t>(rng()));
        }
    }
    words[0] = static_cast<uint32_t>(4 * words.size());
    return words;
}

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

TEST(CompositePackedPicture, MatchesExpandingAndCompositingBitForBit)
{
    std::mt19937 rng(2024);
    const RGBColor tint = {0x8000, 0x40FF, 0xFF01};
    for (int round = 0; round < 400; round++) {
        const int width = 1 + static_cast<int>(rng() % 40);
        const int height = 1 + static_cast<int>(rng() % 12);
        const bool older = round % 4 == 3;
        std::vector<uint32_t> olderWords;
        uint32_t* picture = nullptr;
        if (older) {
            olderWords = OlderPicture(rng, width, height);
            picture = olderWords.data();
        } else {
            const std::vector<uint32_t> pixels = RandomPicture(rng, width, height);
            picture = CompressBuffer(pixels.data(), width, height, 4 * width);
        }
        // A part of the picture, drawn where it may hang off the world.
        const int sw = 1 + static_cast<int>(rng() % width);
        const int sh = 1 + static_cast<int>(rng() % height);
        const int sl = static_cast<int>(rng() % (width - sw + 1));
        const int st = static_cast<int>(rng() % (height - sh + 1));
        const int dl = static_cast<int>(rng() % 40) - 10;
        const int dt = static_cast<int>(rng() % 20) - 5;
        Rect s, d;
        SetRect(&s, static_cast<int16_t>(sl), static_cast<int16_t>(st),
                static_cast<int16_t>(sl + sw), static_cast<int16_t>(st + sh));
        SetRect(&d, static_cast<int16_t>(dl), static_cast<int16_t>(dt),
                static_cast<int16_t>(dl + sw), static_cast<int16_t>(dt + sh));

        World fast = MakeWorld(30, 12);
        World defined = MakeWorld(30, 12);
        for (int v = 0; v < 12; v++)
            for (int h = 0; h < 32; h++) // padding words too
                Pixel(fast.get(), h, v) = Pixel(defined.get(), h, v) =
                    rng() % 3 ? static_cast<uint32_t>(rng()) : 0;
        const RGBColor* colour = round % 3 == 1 ? &tint : nullptr;
        // Both leave the world unlocked, also when nothing lands on it.
        LockPixels(GetGWorldPixMap(fast.get()));
        LockPixels(GetGWorldPixMap(defined.get()));
        CompositePackedPicture(picture, &s, fast.get(), &d, colour);
        ReferenceDraw(picture, s, defined.get(), d, colour);
        ASSERT_EQ(GetPixelsState(GetGWorldPixMap(fast.get())),
                  GetPixelsState(GetGWorldPixMap(defined.get())))
            << "round " << round;
        ASSERT_TRUE(SamePixels(fast.get(), defined.get(), 32, 12))
            << round << (older ? " older" : "");
        if (!older)
            std::free(picture);
    }
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

        ReferenceDraw(picture, s, defined.get(), d, colour);
        std::free(picture);
        ASSERT_TRUE(SamePixels(fast.get(), defined.get(), 330, 8)) << "round " << round;
    }
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
        ASSERT_TRUE(SamePixels(fast.get(), defined.get(), 90, 20)) << "round " << round;
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
