#include <gtest/gtest.h>

#include <vector>

#include "sprig/foundation.h"

namespace {

std::vector<uint16_t> Channels(const RGBColor& c)
{
    return {c.red, c.green, c.blue};
}

TEST(ChannelTables, MatchTheirRulesEntryByEntry)
{
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(RGBToWord[i], i < 4 ? 0 : (i - 4) >> 3) << "RGBToWord[" << i << "]";
    for (int i = 0; i < 32; i++)
        EXPECT_EQ(WordToRGB[i], i == 0 ? 0 : i == 31 ? 255 : 8 * (i + 1)) << "WordToRGB[" << i;
}

TEST(ColourConversions, ToShortAndBack)
{
    const RGBColor mixed = {0x8000, 0x07FF, 0x0800};
    const std::pair<const RGBColor*, int> named[] = {
        {&pinkColor, 0x7FFF},    {&rgbWhite, 0x7FFF},  {&keyColor, 0x7FDF},
        {&rgbBlack, 0x0000},     {&fillColor, 0x03FF}, {&yellowKeyColor, 0x7FFF},
        {&mixed, (16 << 10) | 1}};
    for (const auto& [colour, expected] : named)
        EXPECT_EQ(RGBColorToShort(colour), expected) << Channels(*colour)[0];

    RGBColor c;
    ShortToRGBColor(0x8000, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0, 0, 0}));
    ShortToRGBColor((16 << 10) | (1 << 5) | 31, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0x8421, 0x0842, 0xFFFF}));
    LongToRGBColor(0x12345678, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0x3434, 0x5656, 0x7878}));
    LongToRGBColor(0xFFF8FF00, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0xF8F8, 0xFFFF, 0x0000}));

    // Every 16-bit value: bit 15 is ignored and converting back gives the low
    // 15 bits again; every colour keeps the top five bits of each channel.
    for (uint32_t value = 0; value <= 0xFFFF; value++) {
        ShortToRGBColor(static_cast<uint16_t>(value), &c);
        ASSERT_EQ(RGBColorToShort(&c), value & 0x7FFF) << value;
        const auto v = static_cast<uint16_t>(value);
        const RGBColor any = {v, static_cast<uint16_t>(~v), static_cast<uint16_t>(v ^ 0x5A5A)};
        ShortToRGBColor(RGBColorToShort(&any), &c);
        for (int i = 0; i < 3; i++)
            ASSERT_EQ(Channels(c)[i] >> 11, Channels(any)[i] >> 11) << value;
    }
}

TEST(Reduce32To16, ReducesAlphaRedGreenAndPassesOverTheKeyWord)
{
    // The key word leaves its destination alone; one bit away from it is
    // reduced like any other. 0xAA0C1424: bits 0-7 0x24 -> 4, 8-15 0x14 -> 2,
    // 16-23 0x0C -> 1; blue plays no part.
    uint32_t src[5] = {0xFFF8FF00, 0x00FFFFFF, 0x0B0B0B0B, 0xAA0C1424, 0xFFF8FF01};
    std::vector<uint32_t> dst = {0xDEADBEEF, 1, 2, 3, 4};
    Reduce32To16(src, dst.data(), 5, 1, sizeof src, 20);
    EXPECT_EQ(dst, (std::vector<uint32_t>{0xDEADBEEF, 0x7FFF, 0, (1u << 10) | (2u << 5) | 4u,
                                          (30u << 10) | (31u << 5)}));

    // Row bytes 6: rows start at byte 0, 4 (6), 12 and 16 (18).
    std::vector<uint32_t> white(8, 0x00FFFFFF);
    dst.assign(8, 0x11111111);
    Reduce32To16(white.data(), dst.data(), 1, 4, 6, 6);
    EXPECT_EQ(dst, (std::vector<uint32_t>{0x7FFF, 0x7FFF, 0x11111111, 0x7FFF, 0x7FFF, 0x11111111,
                                          0x11111111, 0x11111111}));
    std::vector<uint16_t> small(8, 0x1111);
    std::vector<uint32_t> words = {1, 2, 3, 4, 5, 6, 7, 8};
    // Destination row bytes 3: 16-bit rows start at bytes 0, 2 (3), 6, 8 (9).
    CopyReducedTo16(words.data(), small.data(), 1, 4, 8, 3);
    EXPECT_EQ(small, (std::vector<uint16_t>{1, 3, 0x1111, 5, 7, 0x1111, 0x1111, 0x1111}));

    // Height 0 touches nothing.
    Reduce32To16(white.data(), words.data(), 2, 0, 8, 8);
    CopyReducedTo16(white.data(), small.data(), 2, 0, 8, 4);
    EXPECT_EQ(words, (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(small, (std::vector<uint16_t>{1, 3, 0x1111, 5, 7, 0x1111, 0x1111, 0x1111}));
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
    // The key word's low half, then alpha 255 in the low five bits.
    EXPECT_EQ(std::vector<uint16_t>(packed, packed + 3),
              (std::vector<uint16_t>{0xFF00, 0x7FFF, 0}));
    EXPECT_EQ(std::vector<uint16_t>(packed + 4, packed + 7),
              (std::vector<uint16_t>{0, 0xFF00, 0x001F}));
}

} // namespace
