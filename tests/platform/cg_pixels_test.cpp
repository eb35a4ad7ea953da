// The one conversion between our pixel word and cairo's, checked against
// pixman's own reading of the layouts and against a literal rounding.
#include <pixman.h>

#include <cmath>
#include <vector>

#include "tests/platform/cg_fixture.h"

namespace {

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
