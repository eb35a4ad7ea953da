#include <gtest/gtest.h>

#include <random>
#include <tuple>

#include "tests/packing/packing_util.h"

namespace {

// The packets of one row: (run?, count) pairs, read back from the bytes.
std::vector<std::pair<bool, int>> Packets(const std::vector<uint32_t>& values)
{
    std::vector<uint32_t> literals(2 * values.size());
    std::vector<uint16_t> out(2 * values.size());
    CPackedRow row(const_cast<uint32_t*>(values.data()), static_cast<uint32_t>(values.size()),
                   literals.data(), out.data());
    EXPECT_EQ(row.PackRow(const_cast<uint32_t*>(values.data()),
                          static_cast<uint32_t>(values.size()), literals.data(), nullptr),
              row.GetSize())
        << "measuring gives the written length";
    std::vector<std::pair<bool, int>> packets;
    for (uint32_t at = 0; at < row.GetSize();) {
        const uint8_t header = row.data[at];
        const int count = (header & 0x7F) + 1;
        packets.emplace_back(header & 0x80, count);
        at += header & 0x80 ? 3 : 1 + 2 * count;
    }
    return packets;
}

std::vector<uint32_t> Distinct(int n)
{
    std::vector<uint32_t> values;
    for (int i = 0; i < n; i++)
        values.push_back(static_cast<uint32_t>(i * 3 + 1));
    return values;
}

TEST(SixteenBit, PacketLimits)
{
    using P = std::vector<std::pair<bool, int>>;
    EXPECT_EQ(Packets(std::vector<uint32_t>(300, 0x1234)),
              (P{{true, 128}, {true, 128}, {true, 44}}));
    EXPECT_EQ(Packets(Distinct(128)), (P{{false, 128}}));
    EXPECT_EQ(Packets(Distinct(129)), (P{{false, 127}, {false, 2}}));
    EXPECT_EQ(Packets(Distinct(127)), (P{{false, 127}}));
    EXPECT_EQ(Packets({5}), (P{{false, 1}}));
    std::vector<uint32_t> mixed = Distinct(3);
    mixed.insert(mixed.end(), {9, 9, 9, 4});
    EXPECT_EQ(Packets(mixed), (P{{false, 3}, {true, 3}, {false, 1}}));
    // Whole words are compared, though only the low 16 bits are written.
    EXPECT_EQ(Packets({0x10001, 0x00001}), (P{{false, 2}}));
}

TEST(SixteenBit, PackedDataBytes)
{
    // 3 x 2: 0x001F 0x001F 0x7C00 / 0xFFFF 0x03E0 0x03E0, rows 4 words apart.
    uint32_t values[8] = {0x001F, 0x001F, 0x7C00, 0xAAAA, 0xFFFF, 0x03E0, 0x03E0, 0xBBBB};
    CPackedPict pict(3, 2, 4, values);
    EXPECT_EQ(
        std::vector<uint32_t>({pict.header->Width(), pict.header->Height(), pict.header->Size(),
                               pict.header->GetSize(), pict.rowTable->entries[1]}),
        std::vector<uint32_t>({3, 2, 8 + 12, 12, 6}));
    uint32_t size = 0;
    Packed data(pict.GetPackedData(size));
    const std::vector<uint8_t> expected = {3,    0,    0,    0,    2,    0,    0, 0,
                                           20,   0,    0,    0,                      // header
                                           0,    0,    0,    0,    6,    0,    0, 0, // row table
                                           0x81, 0x1F, 0x00, 0x00, 0x00, 0x7C,       // row 0
                                           0x00, 0xFF, 0xFF, 0x81, 0xE0, 0x03};      // row 1
    const auto* bytes = reinterpret_cast<const uint8_t*>(data.get());
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), expected);

    // Stream operators read back what they wrote.
    uint32_t* cursor = data.get();
    CHeader header;
    CRowTable table(2);
    cursor >> header;
    cursor >> table;
    EXPECT_EQ(header.Size(), 20u);
    EXPECT_EQ(table.entries[1], 6u);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(cursor) - bytes, 20);

    // Blue, blue, red / transparent, green, green.
    World world(Uncompress16(reinterpret_cast<char*>(data.get()) + 12, 3, 2));
    ASSERT_TRUE(world);
    EXPECT_EQ(PixelsOf(world.get()), (std::vector<uint32_t>{0xFF0000FF, 0xFF0000FF, 0x0000FFFF,
                                                            0xFF7FFF00, 0x00FF00FF, 0x00FF00FF}));
}

TEST(SixteenBit, RowDecoding)
{
    // A packet that runs past the width is clipped at it.
    const std::tuple<std::vector<uint8_t>, int32_t, std::vector<uint32_t>> cases[] = {
        {{0x83, 0x1F, 0x00}, 4, {0xFF0000FF, 0xFF0000FF, 0xFF0000FF, 0xFF0000FF}},
        {{0x01, 0x00, 0x7C, 0xE0, 0x03}, 2, {0x0000FFFF, 0x00FF00FF}},
        {{0x03, 0xFF, 0x7F, 0xFE, 0xFF, 0x00, 0x80, 0x21, 0x04},
         4,
         {0xFFFFFFFF, 0xFF7FFF00, 0x000000FF, 0x101010FF}},
        {{0x83, 0x1F, 0x00}, 0, {}},
        {{0x00, 0x1F, 0x00, 0x8A, 0x00, 0x7C},
         5,
         {0xFF0000FF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF}},
    };
    for (auto [bytes, width, expected] : cases) {
        std::vector<uint32_t> dst(7, 0xDEADBEEF);
        EXPECT_EQ(UncompressRow16(reinterpret_cast<char*>(bytes.data()), width, dst.data()), width);
        expected.resize(7, 0xDEADBEEF);
        EXPECT_EQ(dst, expected) << width;
    }
}

TEST(SixteenBit, RandomRoundTrips)
{
    std::mt19937 rng(16);
    for (int trial = 0; trial < 200; trial++) {
        const int width = 1 + static_cast<int>(rng() % (trial < 100 ? 20 : 400));
        const int height = trial % 50 == 0 ? 0 : 1 + static_cast<int>(rng() % 6);
        const int stride = width + static_cast<int>(rng() % 3);
        std::vector<uint32_t> values(static_cast<size_t>(stride) * (height + 1));
        const uint32_t palette = trial % 2 ? 3 : 0x10000;
        for (uint32_t& v : values)
            v = rng() % palette;
        CPackedPict pict(width, height, stride, values.data());
        uint32_t size = 0;
        Packed data(pict.GetPackedData(size));
        PackedPictureInfo info;
        EXPECT_TRUE(height == 0 || CheckPackedPicture16(data.get(), size, &info)) << info.reason;
        World world(Uncompress16(reinterpret_cast<char*>(data.get()) + 12, width, height));
        ASSERT_TRUE(world);
        std::vector<uint32_t> expected;
        for (int v = 0; v < height; v++)
            for (int h = 0; h < width; h++) {
                const uint32_t value = values[static_cast<size_t>(v) * stride + h];
                expected.push_back(value >= 0xFFFE
                                       ? 0xFF7FFF00
                                       : (uint32_t{WordToRGB[value & 31]} << 24) |
                                             (uint32_t{WordToRGB[(value >> 5) & 31]} << 16) |
                                             (uint32_t{WordToRGB[(value >> 10) & 31]} << 8) | 0xFF);
            }
        ASSERT_EQ(PixelsOf(world.get()), expected) << trial;
    }
}

} // namespace
