#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "sprig/packing.h"
#include "sprig/transfer.h"
#include "tests/test_util.h"

namespace {

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

// The defined path: expand the whole picture, tint it, composite it.
void ReferenceDraw(uint32_t* picture, Rect s, GWorldPtr dst, Rect d, const RGBColor* tint)
{
    int32_t width = 0, height = 0, rowBytes = 0;
    uint32_t* pixels = Uncompress(picture, &width, &height, &rowBytes);
    if (tint) {
        const uint32_t c = (uint32_t{tint->blue} >> 8 << 24) | (uint32_t{tint->green} >> 8 << 16) |
                           (uint32_t{tint->red} >> 8 << 8);
        for (int i = 0; i < width * height; i++)
            pixels[i] = (pixels[i] >> 8) == 0 ? (pixels[i] & 0xFF) | c : 0xFF7FFF00;
    }
    MyCGCopyRaw(pixels, rowBytes / 4, dst, &s, &d, 4, false, false);
    delete[] pixels;
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
        for (int v = 0; v < 12; v++)
            for (int h = 0; h < 32; h++)
                ASSERT_EQ(Pixel(fast.get(), h, v), Pixel(defined.get(), h, v))
                    << "round " << round << (older ? " (older)" : "") << " at " << h << "," << v;
        if (!older)
            std::free(picture);
    }
}

} // namespace
