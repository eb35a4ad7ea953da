// Every way the platform draws a row of straight alpha-first image pixels,
// against the one-pixel definition it must match and against pixman; and
// the conversion between our pixel word and cairo's beneath them.
#include <pixman.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/cg_direct_p.h"
#include "tests/platform/cg_fixture.h"

namespace {

uint32_t Defined(uint32_t image, uint32_t world)
{
    return OverWorldPixel(ImagePixelToWorld(image, kCGImageAlphaFirst), world);
}

TEST(StraightFirstRow, EachVariantRunsOnThisProcessor)
{
    std::vector<std::string> names;
    for (const StraightFirstRowVariant& v : StraightFirstRowVariants())
        names.push_back(v.name);
    ExpectVariantsOfThisProcessor(names);
}

// Rows of every length from 0 to 80, starting at every byte offset modulo
// four of the image and every word of the world modulo eight, made of
// stretches of transparent, opaque and partly transparent pixels (so that
// whole blocks of sixteen are skipped, copied or mixed): each world word
// matches the definition and the words on either side stay as they were.
TEST(StraightFirstRow, RowsOfEveryLengthMatchTheDefinition)
{
    constexpr uint32_t kGuard = 0x3C5AA5C3;
    std::mt19937 rng(515);
    for (const StraightFirstRowVariant& v : StraightFirstRowVariants())
        for (int round = 0; round < 12; round++)
            for (int width = 0; width <= 80; width++)
                for (int start = 1; start <= 8; start++) {
                    std::vector<uint32_t> image(static_cast<size_t>(width));
                    std::vector<uint32_t> world(size_t(width + 16), kGuard);
                    int mode = 0;
                    for (int i = 0; i < width; i++) {
                        if (rng() % 6 == 0)
                            mode = static_cast<int>(rng() % 4);
                        const uint32_t alpha =
                            mode == 3 ? (rng() & 1) * 255 : RandomAlpha(rng, mode);
                        image[size_t(i)] = (static_cast<uint32_t>(rng()) & 0xFFFFFF00) | alpha;
                        world[size_t(start + i)] = static_cast<uint32_t>(rng());
                    }
                    const std::vector<uint32_t> before = world;
                    std::vector<uint8_t> bytes(size_t(width) * 4 + 4);
                    const size_t shift = rng() % 4;
                    if (width > 0)
                        std::memcpy(bytes.data() + shift, image.data(), size_t(width) * 4);
                    v.row(bytes.data() + shift, world.data() + start, width);
                    for (int i = 0; i < int(world.size()); i++) {
                        const bool inside = i >= start && i < start + width;
                        ASSERT_EQ(world[size_t(i)],
                                  inside ? Defined(image[size_t(i - start)], before[size_t(i)])
                                         : kGuard)
                            << v.name << ": width " << width << " start " << start << " at "
                            << i - start;
                    }
                }
}

// Straight pixels (a, c, c ^ 0x5A, 255 - c) over world pixels whose four
// bytes are d, d + 64, d + 128 and d + 192: every alpha, channel and world
// byte, 4,194,304 pixels, in rows of one alpha (whole groups of one kind),
// then shuffled. A context drawing the whole image, and each variant row by
// row, leave what pixman's OVER leaves.
TEST(StraightFirstRow, EveryAlphaChannelAndWorldByteMatchesPixmansOver)
{
    constexpr int kWidth = 1024, kHeight = 4096;
    std::vector<uint32_t> image(size_t{kWidth} * kHeight), world(image.size());
    std::vector<uint32_t> cairoSource(image.size()), expected(image.size());
    World drawn = MakeWorld(kWidth, kHeight);
    for (uint32_t i = 0; i < image.size(); i++) {
        const uint32_t a = i >> 14, c = (i >> 6) & 0xFF, d = i & 63;
        image[i] = (c << 24) | ((c ^ 0x5A) << 16) | ((255 - c) << 8) | a;
        world[i] = ((d + 192) << 24) | ((d + 128) << 16) | ((d + 64) << 8) | d;
        Pixel(drawn.get(), int(i % kWidth), int(i / kWidth)) = world[i];
        cairoSource[i] = ImagePixelToCairo(image[i], kCGImageAlphaFirst);
        expected[i] = MirrorWord(world[i]);
    }
    PixmanComposite(PIXMAN_OP_OVER, PIXMAN_a8r8g8b8, cairoSource.data(), PIXMAN_a8r8g8b8,
                    expected.data(), kWidth, kHeight);
    for (uint32_t& word : expected)
        word = MirrorWord(word);

    ImageOver over(image.data(), kWidth, kHeight, kWidth * 4);
    CGContextRef ctx = nullptr;
    ASSERT_EQ(QDBeginCGContext(drawn.get(), &ctx), noErr);
    CGContextDrawImage(ctx, CGRectMake(0, 0, kWidth, kHeight), over.image);
    QDEndCGContext(drawn.get(), &ctx);
    ASSERT_EQ(PixelsOf(drawn.get()), expected) << "the context";
    for (int layout = 0; layout < 2; layout++) {
        if (layout == 1) {
            // One order for all three: generators in the same state.
            std::mt19937 first(16), second(16), third(16);
            std::shuffle(image.begin(), image.end(), first);
            std::shuffle(world.begin(), world.end(), second);
            std::shuffle(expected.begin(), expected.end(), third);
        }
        for (const StraightFirstRowVariant& v : StraightFirstRowVariants()) {
            std::vector<uint32_t> out = world;
            for (size_t at = 0; at < image.size(); at += kWidth)
                v.row(reinterpret_cast<const uint8_t*>(image.data() + at), out.data() + at, kWidth);
            for (size_t i = 0; i < image.size(); i++)
                ASSERT_EQ(out[i], expected[i])
                    << v.name << ": image " << std::hex << image[i] << " world " << world[i];
        }
    }
}

// The one conversion between our pixel word and cairo's, checked against
// pixman's own reading of the layouts and against a literal rounding.

TEST(CairoPixels, MirrorIsPixmansReadingOfOurLayout)
{
    // Our word is pixman's b8g8r8a8; cairo's is a8r8g8b8. Let pixman convert
    // 2^24 words covering every value of the three low bytes (the high byte
    // runs through all 256 values as well) and compare with the mirror.
    const int width = 4096, height = 4096;
    std::vector<uint32_t> ours(size_t{width} * height), theirs(ours.size());
    for (uint32_t i = 0; i < ours.size(); i++)
        ours[i] = i | ((i * 0x9Du) << 24);
    PixmanComposite(PIXMAN_OP_SRC, PIXMAN_b8g8r8a8, ours.data(), PIXMAN_a8r8g8b8, theirs.data(),
                    width, height);
    for (size_t i = 0; i < ours.size(); i++) {
        ASSERT_EQ(MirrorWord(ours[i]), theirs[i]) << std::hex << ours[i];
        ASSERT_EQ(MirrorWord(MirrorWord(ours[i])), ours[i]);
    }
    for (int lane = 0; lane < 4; lane++)
        for (uint32_t b = 0; b < 256; b++)
            ASSERT_EQ(MirrorWord(b << (8 * lane)), b << (8 * (3 - lane)));
}

TEST(CairoPixels, StraightAlphaIsPremultipliedRoundedToNearest)
{
    auto rounded = [](uint32_t c, uint32_t a) {
        return static_cast<uint32_t>(std::floor(c * a / 255.0 + 0.5));
    };
    for (uint32_t a = 0; a < 256; a++)
        for (uint32_t c = 0; c < 256; c++)
            // The colour in each lane in turn; the other lanes hold 255 - c.
            for (int lane = 0; lane < 3; lane++) {
                uint32_t word = a;
                for (int l = 0; l < 3; l++)
                    word |= (l == lane ? c : 255 - c) << (8 * (l + 1));
                const uint32_t out = ImagePixelToCairo(word, kCGImageAlphaFirst);
                ASSERT_EQ(out >> 24, a);
                // ours: red lane 0 -> cairo bits 16-23, green 8-15, blue 0-7
                ASSERT_EQ((out >> (16 - 8 * lane)) & 0xFF, rounded(c, a))
                    << "a " << a << " c " << c << " lane " << lane;
                ASSERT_EQ((out >> (16 - 8 * ((lane + 1) % 3))) & 0xFF, rounded(255 - c, a));
            }
}

TEST(CairoPixels, OtherImageLayouts)
{
    // Memory A R G B = 0x80, 0xFF, 0x40, 0x00 (little-endian word 0x0040FF80).
    EXPECT_EQ(ImagePixelToCairo(0x0040FF80, kCGImageAlphaPremultipliedFirst), 0x80FF4000u);
    EXPECT_EQ(ImagePixelToCairo(0x0040FF80, kCGImageAlphaNoneSkipFirst), 0xFFFF4000u);
    EXPECT_EQ(ImagePixelToCairo(0x0040FF80, kCGImageAlphaFirst), 0x80802000u);
    // Memory R G B A = 0xFF, 0x40, 0x00, 0x80.
    EXPECT_EQ(ImagePixelToCairo(0x800040FF, kCGImageAlphaPremultipliedLast), 0x80FF4000u);
    EXPECT_EQ(ImagePixelToCairo(0x800040FF, kCGImageAlphaLast), 0x80802000u);
    EXPECT_EQ(ImagePixelToCairo(0x800040FF, kCGImageAlphaNoneSkipLast), 0xFFFF4000u);
}

} // namespace
