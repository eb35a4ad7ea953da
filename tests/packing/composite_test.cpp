// CompositePackedPicture against the defined path (the picture expanded,
// tinted, composited with the blend), bit for bit: pictures of the older
// encoding, of rows longer than the compositor gathers at once (runs and
// literals of every alpha), and of the short packets it handles one by one,
// drawn again and again over the same world; whole and clipped, tinted and
// not.
#include <gtest/gtest.h>

#include <functional>
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

// A word of alpha 0, 255 or in between, black now and then (for the tint).
uint32_t RandomAlphaWord(std::mt19937& rng)
{
    const uint32_t roll = rng() % 4;
    const uint32_t alpha = roll == 0 ? 0 : roll == 1 ? 255 : 1 + rng() % 254;
    return (rng() % 3 == 0 ? 0 : static_cast<uint32_t>(rng()) & 0xFFFFFF00) | alpha;
}

// Stretches of 1 to 150 pixels: transparent (black or not), opaque, of one
// partial alpha (runs once packed), or all different (literals once packed).
std::vector<uint32_t> StretchyPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
    for (size_t i = 0; i < pixels.size();) {
        const size_t n = std::min(pixels.size() - i, size_t{1} + rng() % (rng() % 2 ? 4 : 150));
        const uint32_t kind = rng() % 5, colour = rng() & 0xFFFFFF00;
        for (size_t k = 0; k < n; k++, i++) {
            const uint32_t any = static_cast<uint32_t>(rng());
            const uint32_t words[] = {rng() % 2 ? 0 : colour, colour | 0xFF, colour | 0x80, any,
                                      rng() % 3 ? 0 : any & 0xFF};
            pixels[i] = words[kind];
        }
    }
    return Packs(pixels, width, height);
}

// The older encoding, written by hand: every row a sequence of runs, the
// last flagged, and now and then a whole row filled from its table entry.
std::vector<uint32_t> OlderPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> words = Picture("Compress", width, height, {});
    words.resize(6 + static_cast<size_t>(height));
    for (size_t row = 6; row < 6 + static_cast<size_t>(height); row++) {
        if (rng() % 5 == 0) {
            words[row] = kRun | (static_cast<uint32_t>(rng()) >> 1);
            continue;
        }
        words[row] = static_cast<uint32_t>(words.size());
        for (int n = 0; n < width;) {
            const int count = std::min(width - n, 1 + static_cast<int>(rng() % 5));
            n += count;
            words.insert(words.end(),
                         {kRun | (n == width ? kLast : 0) | static_cast<uint32_t>(count),
                          static_cast<uint32_t>(rng())});
        }
    }
    words[0] = static_cast<uint32_t>(4 * words.size());
    return words;
}

// The current encoding written packet by packet: each row stretches of 1 to
// 3 pixels (now and then a longer one), runs and literals mixed, with
// packets of no pixels among them.
std::vector<uint32_t> ShortPacketPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> table(static_cast<size_t>(height)), packets;
    for (int row = 0; row < height; row++) {
        table[static_cast<size_t>(row)] = static_cast<uint32_t>(6 + height + packets.size());
        for (int n = 0; n < width;) {
            if (rng() % 8 == 0) { // a run of no pixels or an empty literal
                if (rng() % 2)
                    packets.insert(packets.end(), {kRun, Stored(RandomAlphaWord(rng))});
                else
                    packets.push_back(0);
                continue;
            }
            const int count =
                std::min(width - n, 1 + static_cast<int>(rng() % (rng() % 6 == 0 ? 12 : 3)));
            n += count;
            const uint32_t control = (n == width ? kLast : 0) | static_cast<uint32_t>(count);
            if (rng() % 2) {
                packets.insert(packets.end(), {kRun | control, Stored(RandomAlphaWord(rng))});
                continue;
            }
            packets.push_back(control);
            for (int k = 0; k < count; k++)
                packets.push_back(Stored(RandomAlphaWord(rng)));
        }
    }
    table.insert(table.end(), packets.begin(), packets.end());
    return Picture("Format01", width, height, table);
}

TEST(CompositePackedPicture, MatchesExpandingAndCompositingBitForBit)
{
    struct Kind
    {
        const char* name;
        int worldWidth, worldHeight, widest, tallest, rounds, layers;
        std::function<std::vector<uint32_t>(std::mt19937&, int, int)> make;
    };
    const Kind kinds[] = {
        {"older", 30, 12, 40, 12, 100, 1, OlderPicture},
        {"long rows", 330, 8, 400, 6, 300, 1, StretchyPicture},
        {"short packets", 90, 20, 70, 16, 60, 6, ShortPacketPicture},
    };
    std::mt19937 rng(2024);
    const RGBColor tints[] = {{0x8000, 0x40FF, 0xFF01}, {0x1234, 0xFEDC, 0x8080}};
    for (const Kind& kind : kinds)
        for (int round = 0; round < kind.rounds; round++) {
            World fast = MakeWorld(kind.worldWidth, kind.worldHeight);
            World defined = MakeWorld(kind.worldWidth, kind.worldHeight);
            // Every word of the rows, padding too.
            const int rowWords = GetPixRowBytes(GetGWorldPixMap(fast.get())) / 4;
            for (int v = 0; v < kind.worldHeight; v++)
                for (int h = 0; h < rowWords; h++) {
                    const uint32_t roll = rng() % 4, any = static_cast<uint32_t>(rng());
                    Pixel(fast.get(), h, v) = Pixel(defined.get(), h, v) =
                        roll == 0   ? 0
                        : roll == 1 ? any | 0xFF
                        : roll == 2 ? RandomAlphaWord(rng)
                                    : any;
                }
            // Both leave the world unlocked, also when nothing lands on it.
            LockPixels(GetGWorldPixMap(fast.get()));
            LockPixels(GetGWorldPixMap(defined.get()));
            // Pictures whole or in part, hanging off the world's edges now
            // and then.
            for (int layer = 0; layer < kind.layers; layer++) {
                const int width = 1 + static_cast<int>(rng() % kind.widest);
                const int height = 1 + static_cast<int>(rng() % kind.tallest);
                std::vector<uint32_t> picture = kind.make(rng, width, height);
                Rect s = R(0, 0, width, height);
                if (rng() % 2) {
                    const int sw = 1 + static_cast<int>(rng() % width);
                    const int sh = 1 + static_cast<int>(rng() % height);
                    s = R(0, 0, sw, sh);
                    OffsetRect(&s, static_cast<int16_t>(rng() % (width - sw + 1)),
                               static_cast<int16_t>(rng() % (height - sh + 1)));
                }
                const int sw = s.right - s.left, sh = s.bottom - s.top;
                const int dl = static_cast<int>(rng() % (kind.worldWidth + sw)) - sw / 2;
                const int dt = static_cast<int>(rng() % (kind.worldHeight + sh)) - sh / 2;
                Rect d = R(dl, dt, dl + sw, dt + sh);
                const RGBColor* tint = (round + layer) % 3 == 1 ? &tints[layer % 2] : nullptr;
                CompositePackedPicture(picture.data(), &s, fast.get(), &d, tint);
                ReferenceDraw(picture.data(), s, defined.get(), d, tint);
            }
            ASSERT_EQ(GetPixelsState(GetGWorldPixMap(fast.get())),
                      GetPixelsState(GetGWorldPixMap(defined.get())));
            ASSERT_EQ(PixelsOf(fast.get(), rowWords), PixelsOf(defined.get(), rowWords))
                << kind.name << ", round " << round;
        }
}

TEST(CompositePackedPicture, ADamagedRowDrawsNoFurtherThanThePictureIsWide)
{
    // A 4 x 1 picture of one opaque run, whose run is then made to claim
    // ten pixels: drawn whole, whole-row or not, only its four columns of
    // the world may change.
    std::vector<uint32_t> picture = Packs({0x0000FFFF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF}, 4, 1);
    uint32_t& control = picture[picture[6]];
    ASSERT_EQ(control & 0x3FFFFFFF, 4u);
    control = (control & ~0x3FFFFFFFu) | 10;
    for (int left = 0; left < 2; left++) {
        World world = MakeWorld(16, 1);
        Rect s = R(left, 0, 4, 1), d = R(2, 0, 6 - left, 1);
        CompositePackedPicture(picture.data(), &s, world.get(), &d, nullptr);
        EXPECT_TRUE(
            EachPixel(world.get(), [&](int h, int) { return Inside(d, h, 0) ? 0x0000FFFFu : 0u; }))
            << "from column " << left;
    }
}

} // namespace
