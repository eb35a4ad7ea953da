#include <gtest/gtest.h>

#include "packing/packing_p.h"
#include "tests/packing/packing_util.h"

namespace {

// Four different pixel words (alpha in bits 0-7).
constexpr uint32_t P = 0x0000FFFF; // opaque pure red
constexpr uint32_t Q = 0x11223380;
constexpr uint32_t R = 0xFFFFFF00; // transparent white
constexpr uint32_t S = 0x12345601;
using Words = std::vector<uint32_t>;

// The rows P P P Q and P Q R S: a run, a literal of 3 and two literals of 1.
const Words kPixels = {P, P, P, Q, P, Q, R, S};
const Words kExample = {72,         0x6D726F46, 0x31307461, 0,         4,          2,
                        8,          12,         0x80000003, Stored(P), 0x40000001, Stored(Q),
                        0x00000003, Stored(P),  Stored(Q),  Stored(R), 0x40000001, Stored(S)};

TEST(PackedPicture, WorkedExampleBothWays)
{
    World world = WorldOf(4, kPixels);
    Packed packed(Compress(world.get(), 0, 0, 4, 2, false));
    ASSERT_TRUE(packed);
    EXPECT_EQ(WordsOf(packed.get()), kExample);
    // The signature's bytes, then the run's control word and its red pixel.
    const auto* bytes = reinterpret_cast<const uint8_t*>(packed.get());
    EXPECT_EQ(std::string(bytes + 4, bytes + 12), "Format01");
    EXPECT_EQ(std::vector<uint8_t>(bytes + 32, bytes + 40),
              (std::vector<uint8_t>{0x03, 0x00, 0x00, 0x80, 0x00, 0x00, 0xFF, 0xFF}));

    int32_t width = -1, height = -1, rowBytes = -1;
    EXPECT_EQ(Expanded(kExample, &width, &height, &rowBytes), kPixels);
    EXPECT_EQ(std::vector<int32_t>({width, height, rowBytes}), std::vector<int32_t>({4, 2, 16}));
    Words picture = kExample;
    World expanded(UncompressGWorld(picture.data(), &width, &height, &rowBytes));
    ASSERT_TRUE(expanded);
    EXPECT_EQ(rowBytes, GetPixRowBytes(GetGWorldPixMap(expanded.get())));
    EXPECT_EQ(PixelsOf(expanded.get()), kPixels);
    EXPECT_EQ(RowOf(kExample, 1, 4), (Words{P, Q, R, S}));
    EXPECT_EQ(SwapBuffer(picture.data()), 18);
    EXPECT_EQ(picture, kExample);

    // A signature one byte off in either end is the older encoding's.
    for (size_t at : {4, 11}) {
        Words other = kExample;
        reinterpret_cast<uint8_t*>(other.data())[at] ^= 1;
        for (uint32_t r = 0; r < 2; r++)
            EXPECT_EQ(RowOf(other, r, 4), RowOf(other, r, 4, UncompressRowCompress));
        EXPECT_NE(RowOf(other, 0, 4)[0], P) << "the older reading differs from the current one";
    }
}

TEST(PackedPicture, OlderEncodingAlphaMappingAndWholeRows)
{
    // Row 0 is filled from its entry; row 1 holds single pixels and a run;
    // row 2 a run that ends the row. A single pixel is (alpha << 24) | rgb.
    const Words rest = {0x81FFFFFF, 9,          15,
                        0x01102030, 0x00102030, 0x3F405060,
                        0x80000002, 0xFF708090, 0x7FA0B0C0 | 0x40000000,
                        0xC0000006, 0xC1010203};
    const Words expected = {
        0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00, // entry
        0x30201000, 0x302010FF, 0x6050403F, 0x90807001, 0x90807001, 0xC0B0A07F, // items
        0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x03020100, 0x03020100};
    for (const char* signature : {"Compress", "\0\0\0\0\0\0\0\0"}) {
        const Words picture = Picture(signature, 6, 3, rest);
        int32_t width, height, rowBytes;
        EXPECT_EQ(Expanded(picture, &width, &height, &rowBytes), expected) << signature;
        for (uint32_t r = 0; r < 3; r++) {
            const Words row(expected.begin() + 6 * r, expected.begin() + 6 * r + 6);
            EXPECT_EQ(RowOf(picture, r, 6, UncompressRowCompress), row);
            EXPECT_EQ(RowOf(picture, r, 6), row);
        }
    }
    // Every alpha byte through the mapping, in a run pixel and (with bit 31
    // set) in a whole-row entry.
    for (uint32_t a = 0; a < 256; a++) {
        const uint32_t expect = 0xEFCDAB00 | ((a & 0x3F) == 1 ? 0
                                              : a == 0        ? 255
                                              : a == 255      ? 1
                                                              : a);
        Words picture = Picture("Compress", 2, 1, {7, 0xC0000002, (a << 24) | 0x00ABCDEF});
        EXPECT_EQ(RowOf(picture, 0, 2), (Words{expect, expect})) << a;
        picture[6] = (a << 24) | 0x00ABCDEF;
        if (a & 0x80) {
            EXPECT_EQ(RowOf(picture, 0, 2)[0], expect) << a;
        }
    }
}

TEST(PackedPicture, EmptyOneRunAndUnmakeablePictures)
{
    int32_t width, height, rowBytes;
    Words empty = Picture("Format01", 5, 0, {});
    EXPECT_TRUE(std::unique_ptr<uint32_t[]>(Uncompress(empty.data(), &width, &height, &rowBytes)));
    EXPECT_EQ(std::vector<int32_t>({width, height, rowBytes}), std::vector<int32_t>({5, 0, 20}));
    EXPECT_EQ(
        Expanded(Picture("Format01", 7, 1, {7, 0xC0000007, Stored(Q)}), &width, &height, &rowBytes),
        Words(7, Q));
    EXPECT_EQ(rowBytes, 28);

    // A negative size gives no buffer instead of a huge allocation.
    Words negative = Picture("Format01", -3, 2, {});
    EXPECT_EQ(Uncompress(negative.data(), &width, &height, &rowBytes), nullptr);
    EXPECT_EQ(width, -3);
    // A world that cannot be made (negative, wider than a world can be, or
    // a width that 16 bits would cut to 3) stores the size but leaves
    // rowBytes alone.
    Words wide = Picture("Format01", 5000, 1, {7, 0xC0000000 + 5000, Stored(Q)});
    Words cut = Picture("Format01", 65539, 1, {7, 0xC0000000 + 65539, Stored(Q)});
    for (Words* picture : {&negative, &wide, &cut}) {
        rowBytes = 77;
        EXPECT_EQ(UncompressGWorld(picture->data(), &width, &height, &rowBytes), nullptr);
        EXPECT_EQ(width, static_cast<int32_t>((*picture)[4]));
        EXPECT_EQ(rowBytes, 77);
    }
    // The tallest world there is: 32767 rows, each the one run of row 0.
    Words tall = Picture("Format01", 1, 32767, {});
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
    const Words picture = Picture("Format01", 4, 3,
                                  {9, 11, 16, 0x80000005, Stored(P),              // run of 5 in 4
                                   0x00000002, Stored(Q), Stored(R),              // no last flag
                                   0x80000005, Stored(S),                         //
                                   0x40000003, Stored(S), Stored(P), Stored(Q)}); // 3 of 4
    EXPECT_EQ(RowOf(picture, 0, 4), (Words{P, P, P, P}));
    EXPECT_EQ(RowOf(picture, 1, 4), (Words{Q, R, S, S}));
    EXPECT_EQ(RowOf(picture, 2, 4), (Words{S, P, Q, 0}));
    EXPECT_EQ(RowOf(picture, 3, 4), Words(4, 0xDEADBEEF)) << "a row outside writes nothing";

    // Through a bounded span, a picture cut short anywhere decodes without
    // reading past its end (checked by the sanitizers) and clears the rest.
    for (size_t words = 0; words <= kExample.size(); words++) {
        Words cut(kExample.begin(), kExample.begin() + static_cast<ptrdiff_t>(words));
        cut.shrink_to_fit();
        int32_t width, height, rowBytes;
        std::unique_ptr<uint32_t[]> pixels(
            ExpandPicture(WordSpan{cut.data(), cut.size()}, &width, &height, &rowBytes));
        ASSERT_EQ(pixels != nullptr, words >= 6) << words;
        if (words < 6)
            continue;
        const size_t have = words == kExample.size() ? 8 : words >= 12 ? 4 : 0;
        for (size_t i = 0; i < have; i++)
            EXPECT_EQ(pixels[i], kPixels[i]) << words << " words, pixel " << i;
        EXPECT_EQ(pixels[7], words == kExample.size() ? S : 0u) << words;
    }
}

} // namespace
