#include <gtest/gtest.h>

#include "packing/packing_p.h"
#include "tests/packing/packing_util.h"

namespace {

// Four different pixel words (alpha in bits 0-7).
constexpr uint32_t P = 0x0000FFFF; // opaque pure red
constexpr uint32_t Q = 0x11223380;
constexpr uint32_t R = 0xFFFFFF00; // transparent white
constexpr uint32_t S = 0x12345601;

const std::vector<uint32_t> kExample = {72,         0x6D726F46, 0x31307461, 0,          4,
                                        2,          8,          12,         0x80000003, Stored(P),
                                        0x40000001, Stored(Q),  0x00000003, Stored(P),  Stored(Q),
                                        Stored(R),  0x40000001, Stored(S)};

TEST(PackedPicture, WorkedExampleBothWays)
{
    // Packing: the rows P P P Q and P Q R S give the example word for word.
    World world = MakeWorld(4, 2);
    const uint32_t rows[2][4] = {{P, P, P, Q}, {P, Q, R, S}};
    for (int v = 0; v < 2; v++)
        for (int h = 0; h < 4; h++)
            Pixel(world.get(), h, v) = rows[v][h];
    Packed packed(Compress(world.get(), 0, 0, 4, 2, false));
    ASSERT_TRUE(packed);
    EXPECT_EQ(WordsOf(packed.get()), kExample);
    const auto* bytes = reinterpret_cast<const uint8_t*>(packed.get());
    EXPECT_EQ(std::memcmp(bytes + 4, "Format01", 8), 0);
    const uint8_t red[4] = {0x00, 0x00, 0xFF, 0xFF};
    const uint8_t control[4] = {0x03, 0x00, 0x00, 0x80};
    EXPECT_EQ(std::memcmp(bytes + 36, red, 4), 0);
    EXPECT_EQ(std::memcmp(bytes + 32, control, 4), 0);

    // Expanding, with each decoder.
    std::vector<uint32_t> picture = kExample;
    int32_t width = -1, height = -1, rowBytes = -1;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(picture.data(), &width, &height, &rowBytes));
    EXPECT_EQ(width, 4);
    EXPECT_EQ(height, 2);
    EXPECT_EQ(rowBytes, 16);
    for (int v = 0; v < 2; v++)
        for (int h = 0; h < 4; h++)
            EXPECT_EQ(pixels[v * 4 + h], rows[v][h]) << h << "," << v;

    World expanded(UncompressGWorld(picture.data(), &width, &height, &rowBytes));
    ASSERT_TRUE(expanded);
    EXPECT_EQ(rowBytes, GetPixRowBytes(GetGWorldPixMap(expanded.get())));
    for (int v = 0; v < 2; v++)
        for (int h = 0; h < 4; h++)
            EXPECT_EQ(Pixel(expanded.get(), h, v), rows[v][h]);

    uint32_t row[5] = {0, 0, 0, 0, 0xDEADBEEF};
    UncompressRow(picture.data(), 1, 4, row);
    EXPECT_EQ(std::vector<uint32_t>(row, row + 5), (std::vector<uint32_t>{P, Q, R, S, 0xDEADBEEF}));

    EXPECT_EQ(SwapBuffer(picture.data()), 18);
    EXPECT_EQ(picture, kExample);

    // A signature one byte off in either end is the older encoding's.
    for (size_t at : {4, 11}) {
        std::vector<uint32_t> other = kExample;
        reinterpret_cast<uint8_t*>(other.data())[at] ^= 1;
        uint32_t older[4], got[4];
        for (uint32_t r = 0; r < 2; r++) {
            UncompressRowCompress(other.data(), r, 4, older);
            UncompressRow(other.data(), r, 4, got);
            EXPECT_EQ(std::vector<uint32_t>(got, got + 4), std::vector<uint32_t>(older, older + 4));
        }
        EXPECT_NE(older[0], P) << "the older reading differs from the current one";
    }
}

TEST(PackedPicture, OlderEncodingAlphaMappingAndWholeRows)
{
    // Row 0 is filled from its entry; row 1 holds single pixels and a run;
    // row 2 a run that ends the row.
    auto single = [](uint32_t rgb, uint32_t alpha) { return (alpha << 24) | rgb; };
    const std::vector<uint32_t> items = {single(0x102030, 0x01),
                                         single(0x102030, 0x00),
                                         single(0x405060, 0x3F),
                                         0x80000002,
                                         single(0x708090, 0xFF),
                                         single(0xA0B0C0, 0x7F) | 0x40000000,
                                         0xC0000006,
                                         single(0x010203, 0xC1)};
    std::vector<uint32_t> rest = {0x81FFFFFF, 9, 15};
    rest.insert(rest.end(), items.begin(), items.end());
    for (const char* signature : {"Compress", "\0\0\0\0\0\0\0\0"}) {
        std::vector<uint32_t> picture = Picture(signature, 6, 3, rest);
        int32_t width, height, rowBytes;
        std::unique_ptr<uint32_t[]> pixels(Uncompress(picture.data(), &width, &height, &rowBytes));
        const std::vector<uint32_t> expected = {
            0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, // entry
            0x30201000, 0x302010FF, 0x6050403F, 0x90807001, 0x90807001, 0xC0B0A07F, // items
            0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x03020100};
        EXPECT_EQ(std::vector<uint32_t>(pixels.get(), pixels.get() + 18), expected) << signature;

        uint32_t row[6];
        for (uint32_t r = 0; r < 3; r++) {
            UncompressRowCompress(picture.data(), r, 6, row);
            EXPECT_EQ(
                std::vector<uint32_t>(row, row + 6),
                std::vector<uint32_t>(expected.begin() + 6 * r, expected.begin() + 6 * r + 6));
            std::fill(row, row + 6, 0);
            UncompressRow(picture.data(), r, 6, row);
            EXPECT_EQ(row[5], expected[6 * r + 5]);
        }
    }
    // Every alpha byte through the mapping, in a whole-row entry (bit 31 set)
    // and in a run pixel.
    for (uint32_t a = 0; a < 256; a++) {
        const uint32_t expect = (a & 0x3F) == 1 ? 0 : a == 0 ? 255 : a == 255 ? 1 : a;
        std::vector<uint32_t> picture =
            Picture("Compress", 2, 1, {7, 0xC0000002, (a << 24) | 0x00ABCDEF});
        uint32_t row[2];
        UncompressRow(picture.data(), 0, 2, row);
        EXPECT_EQ(row[1], 0xEFCDAB00 | expect) << a;
        if (a & 0x80) {
            picture[6] = (a << 24) | 0x00ABCDEF;
            UncompressRow(picture.data(), 0, 2, row);
            EXPECT_EQ(row[0], 0xEFCDAB00 | expect) << a;
        }
    }
}

TEST(PackedPicture, EmptyAndOneRunPictures)
{
    std::vector<uint32_t> empty = Picture("Format01", 5, 0, {});
    int32_t width, height, rowBytes;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(empty.data(), &width, &height, &rowBytes));
    EXPECT_TRUE(pixels);
    EXPECT_EQ(width, 5);
    EXPECT_EQ(height, 0);
    EXPECT_EQ(rowBytes, 20);

    std::vector<uint32_t> run = Picture("Format01", 7, 1, {7, 0xC0000007, Stored(Q)});
    pixels.reset(Uncompress(run.data(), &width, &height, &rowBytes));
    for (int h = 0; h < 7; h++)
        EXPECT_EQ(pixels[h], Q);

    // A negative size gives no buffer instead of a huge allocation.
    std::vector<uint32_t> negative = Picture("Format01", -3, 2, {});
    EXPECT_EQ(Uncompress(negative.data(), &width, &height, &rowBytes), nullptr);
    EXPECT_EQ(width, -3);
    // A world that cannot be made (negative, wider than a world can be, or
    // a width that 16 bits would cut to 3) stores the size but leaves rowBytes alone.
    std::vector<uint32_t> wide = Picture("Format01", 5000, 1, {7, 0xC0000000 + 5000, Stored(Q)});
    std::vector<uint32_t> cut = Picture("Format01", 65539, 1, {7, 0xC0000000 + 65539, Stored(Q)});
    for (std::vector<uint32_t>* picture : {&negative, &wide, &cut}) {
        rowBytes = 77;
        EXPECT_EQ(UncompressGWorld(picture->data(), &width, &height, &rowBytes), nullptr);
        EXPECT_EQ(width, static_cast<int32_t>((*picture)[4]));
        EXPECT_EQ(rowBytes, 77);
    }
    // The tallest world there is: 32767 rows, each the one run of row 0.
    std::vector<uint32_t> tall = Picture("Format01", 1, 32767, {});
    tall.insert(tall.end(), 32767, 6 + 32767);
    tall.insert(tall.end(), {0xC0000001, Stored(Q)});
    tall[0] = static_cast<uint32_t>(4 * tall.size());
    World world(UncompressGWorld(tall.data(), &width, &height, &rowBytes));
    ASSERT_TRUE(world);
    EXPECT_EQ(Pixel(world.get(), 0, 32766), Q);
}

TEST(PackedPicture, DamagedRowsStayInsideTheirRow)
{
    // Counts that overrun the width, a missing last flag, a row that falls
    // short: the decoders stop at the width and clear what is not described.
    std::vector<uint32_t> picture = Picture("Format01", 4, 3, {9, 11, 16});
    const std::vector<uint32_t> body = {0x80000005, Stored(P),            // run of 5 in 4
                                        0x00000002, Stored(Q), Stored(R), // no last flag
                                        0x80000005, Stored(S),            //
                                        0x40000003, Stored(S), Stored(P), Stored(Q)}; // 3 of 4
    picture.insert(picture.end(), body.begin(), body.end());
    picture[0] = static_cast<uint32_t>(4 * picture.size());
    uint32_t row[6];
    std::fill(row, row + 6, 0xDEADBEEF);
    UncompressRow(picture.data(), 0, 4, row);
    EXPECT_EQ(std::vector<uint32_t>(row, row + 5), (std::vector<uint32_t>{P, P, P, P, 0xDEADBEEF}));
    UncompressRow(picture.data(), 1, 4, row);
    EXPECT_EQ(std::vector<uint32_t>(row, row + 5), (std::vector<uint32_t>{Q, R, S, S, 0xDEADBEEF}));
    std::fill(row, row + 6, 0xDEADBEEF); // the one pixel the row leaves is cleared
    UncompressRow(picture.data(), 2, 4, row);
    EXPECT_EQ(std::vector<uint32_t>(row, row + 5), (std::vector<uint32_t>{S, P, Q, 0, 0xDEADBEEF}));
    std::fill(row, row + 6, 0xDEADBEEF);
    UncompressRow(picture.data(), 3, 4, row);
    EXPECT_EQ(row[0], 0xDEADBEEF) << "a row outside the picture writes nothing";

    // Through a bounded span, a picture cut short anywhere decodes without
    // reading past its end (checked by the sanitizers) and clears the rest.
    const std::vector<uint32_t> whole = kExample;
    for (size_t words = 0; words <= whole.size(); words++) {
        std::vector<uint32_t> cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(words));
        cut.shrink_to_fit();
        int32_t width, height, rowBytes;
        std::unique_ptr<uint32_t[]> pixels(
            ExpandPicture(WordSpan{cut.data(), cut.size()}, &width, &height, &rowBytes));
        if (words < 6) {
            EXPECT_EQ(pixels, nullptr);
            continue;
        }
        ASSERT_TRUE(pixels);
        const uint32_t full[8] = {P, P, P, Q, P, Q, R, S};
        const size_t have = words == whole.size() ? 8 : words >= 12 ? 4 : 0;
        for (size_t i = 0; i < have; i++)
            EXPECT_EQ(pixels[i], full[i]) << words << " words, pixel " << i;
        EXPECT_EQ(pixels[7], words == whole.size() ? S : 0u) << words;
    }
}

} // namespace
