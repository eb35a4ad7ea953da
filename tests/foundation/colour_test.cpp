#include <gtest/gtest.h>

#include <vector>

#include "sprig/foundation.h"

namespace {

void ExpectColour(const RGBColor& c, uint16_t red, uint16_t green, uint16_t blue)
{
    EXPECT_EQ(c.red, red);
    EXPECT_EQ(c.green, green);
    EXPECT_EQ(c.blue, blue);
}

TEST(ChannelTables, MatchTheirRulesEntryByEntry)
{
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(RGBToWord[i], i < 4 ? 0 : (i - 4) >> 3) << "RGBToWord[" << i << "]";
    EXPECT_EQ(WordToRGB[0], 0);
    for (int i = 1; i <= 30; i++)
        EXPECT_EQ(WordToRGB[i], 8 * (i + 1)) << "WordToRGB[" << i << "]";
    EXPECT_EQ(WordToRGB[31], 255);
}

TEST(ColourConversions, NamedColoursToShort)
{
    EXPECT_EQ(RGBColorToShort(&pinkColor), 0x7FFF);
    EXPECT_EQ(RGBColorToShort(&rgbWhite), 0x7FFF);
    EXPECT_EQ(RGBColorToShort(&keyColor), 0x7FDF);
    EXPECT_EQ(RGBColorToShort(&rgbBlack), 0x0000);
    EXPECT_EQ(RGBColorToShort(&fillColor), 0x03FF);
    EXPECT_EQ(RGBColorToShort(&yellowKeyColor), 0x7FFF);
    const RGBColor mixed = {0x8000, 0x07FF, 0x0800};
    EXPECT_EQ(RGBColorToShort(&mixed), (16 << 10) | (0 << 5) | 1);
}

TEST(ColourConversions, ShortToColourWidensEveryField)
{
    RGBColor c;
    ShortToRGBColor(0x8000, &c);
    ExpectColour(c, 0, 0, 0);
    ShortToRGBColor((16 << 10) | (1 << 5) | 31, &c);
    ExpectColour(c, 0x8421, 0x0842, 0xFFFF);

    // Every 16-bit value: bit 15 ignored, and converting back gives the low
    // 15 bits again.
    for (uint32_t v = 0; v <= 0xFFFF; v++) {
        ShortToRGBColor(static_cast<uint16_t>(v), &c);
        ASSERT_EQ(RGBColorToShort(&c), v & 0x7FFF) << v;
    }
}

TEST(ColourConversions, ShortKeepsTheTopFiveBitsOfEveryChannel)
{
    for (uint32_t value = 0; value <= 0xFFFF; value++) {
        const auto v = static_cast<uint16_t>(value);
        const RGBColor c = {v, static_cast<uint16_t>(~v), static_cast<uint16_t>(v ^ 0x5A5A)};
        RGBColor back;
        ShortToRGBColor(RGBColorToShort(&c), &back);
        ASSERT_EQ(back.red >> 11, c.red >> 11);
        ASSERT_EQ(back.green >> 11, c.green >> 11);
        ASSERT_EQ(back.blue >> 11, c.blue >> 11);
    }
}

TEST(ColourConversions, LongToColour)
{
    RGBColor c;
    LongToRGBColor(0x12345678, &c);
    ExpectColour(c, 0x3434, 0x5656, 0x7878);
    LongToRGBColor(0xFFF8FF00, &c);
    ExpectColour(c, 0xF8F8, 0xFFFF, 0x0000);
}

TEST(Reduce32To16, ReducesAlphaRedGreenAndPassesOverTheKeyWord)
{
    uint32_t src[5] = {0xFFF8FF00, 0x00FFFFFF, 0x0B0B0B0B, 0xAA0C1424, 0xFFF8FF01};
    uint32_t dst[5] = {0xDEADBEEF, 1, 2, 3, 4};
    Reduce32To16(src, dst, 5, 1, sizeof src, sizeof dst);
    EXPECT_EQ(dst[0], 0xDEADBEEFu); // the key word leaves its destination alone
    EXPECT_EQ(dst[1], 0x00007FFFu);
    EXPECT_EQ(dst[2], 0u);
    // bits 0-7 0x24 -> 4, bits 8-15 0x14 -> 2, bits 16-23 0x0C -> 1; blue plays no part
    EXPECT_EQ(dst[3], (1u << 10) | (2u << 5) | 4u);
    // One bit away from the key is reduced like any other word.
    EXPECT_EQ(dst[4], (30u << 10) | (31u << 5) | 0u);
}

TEST(Reduce32To16, RowOffsetsAccumulateAndRoundDown)
{
    // Row bytes 6: rows start at byte 0, 4 (6), 12 and 16 (18).
    std::vector<uint32_t> src(8, 0x00FFFFFF);
    std::vector<uint32_t> dst(8, 0x11111111);
    Reduce32To16(src.data(), dst.data(), 1, 4, 6, 6);
    EXPECT_EQ(dst, (std::vector<uint32_t>{0x7FFF, 0x7FFF, 0x11111111, 0x7FFF, 0x7FFF, 0x11111111,
                                          0x11111111, 0x11111111}));

    std::vector<uint16_t> small(8, 0x1111);
    std::vector<uint32_t> words = {1, 2, 3, 4, 5, 6, 7, 8};
    // Destination row bytes 3: 16-bit rows start at bytes 0, 2 (3), 6, 8 (9).
    CopyReducedTo16(words.data(), small.data(), 1, 4, 8, 3);
    EXPECT_EQ(small, (std::vector<uint16_t>{1, 3, 0x1111, 5, 7, 0x1111, 0x1111, 0x1111}));
}

TEST(Reduce32To16, HeightZeroTouchesNothing)
{
    uint32_t src[2] = {0x00FFFFFF, 0x00FFFFFF};
    uint32_t dst[2] = {7, 7};
    uint16_t small[2] = {7, 7};
    Reduce32To16(src, dst, 2, 0, 8, 8);
    CopyReducedTo16(src, small, 2, 0, 8, 4);
    EXPECT_TRUE(dst[0] == 7 && dst[1] == 7 && small[0] == 7 && small[1] == 7);
}

TEST(Reduce32To16, KeyWordSurvivesBothStepsOnTheSameBuffer)
{
    // A 3 x 2 block with a padded row, reduced in place, then packed in place
    // into 16-bit rows half as long.
    uint32_t block[8] = {0xFFF8FF00, 0x00FFFFFF, 0x0B0B0B0B, 0x99999999,
                         0x00000000, 0xFFF8FF00, 0x000000FF, 0x99999999};
    Reduce32To16(block, block, 3, 2, 16, 16);
    EXPECT_EQ(block[0], 0xFFF8FF00u);
    EXPECT_EQ(block[5], 0xFFF8FF00u);
    auto* packed = reinterpret_cast<uint16_t*>(block);
    CopyReducedTo16(block, packed, 3, 2, 16, 8);
    EXPECT_EQ(packed[0], 0xFF00); // the key word's low half
    EXPECT_EQ(packed[1], 0x7FFF);
    EXPECT_EQ(packed[2], 0x0000);
    EXPECT_EQ(packed[4], 0x0000);
    EXPECT_EQ(packed[5], 0xFF00);
    EXPECT_EQ(packed[6], 0x001F); // alpha 255 lands in the low five bits
}

} // namespace
