// Packed pictures: the packets each row is split into, the bytes of both
// encodings and of the 16-bit one, the decoders and the validators.
#include <gtest/gtest.h>

#include <malloc.h>

#include <random>
#include <tuple>

#include "packing/packing_p.h"
#include "tests/packing/packing_util.h"

namespace {

constexpr uint32_t P = kP, Q = kQ, R = kR, S = kS;
using Words = std::vector<uint32_t>;
const Words& kPixels = kExamplePixels;

TEST(PackedPicture, WorkedExampleBothWays)
{
    World world = MakeWorld(4, 2);
    FillEach(world.get(), [](int h, int v) { return kPixels[v * 4 + h]; });
    Packed packed(Compress(world.get(), 0, 0, 4, 2, false));
    ASSERT_TRUE(packed);
    EXPECT_EQ(WordsOf(packed.get()), kExample);

    int32_t width = -1, height = -1, rowBytes = -1;
    EXPECT_EQ(Expanded(kExample, &width, &height, &rowBytes), kPixels);
    EXPECT_EQ(std::vector<int32_t>({width, height, rowBytes}), std::vector<int32_t>({4, 2, 16}));
    Words picture = kExample;
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

constexpr uint32_t A = 0x11111111, B = 0x22222222, C = 0x33333333;

TEST(Compress, PacketSplits)
{
    // GetCountPixels: a literal stops before a pair; nothing left, nothing read.
    Words row = {A, B, C, C, C, A};
    const std::tuple<size_t, uint32_t, uint32_t> counts[] = {
        {0, 6, 2}, {2, 4, 0x80000003}, {5, 1, 1}, {0, 2, 1}, {2, 2, 0x80000002}, {5, 0, 0}};
    for (const auto& [at, remaining, expected] : counts)
        EXPECT_EQ(GetCountPixels(row.data() + at, remaining), expected) << at << " " << remaining;

    // The packets Compress writes for one row; a long run has no limit but
    // the row.
    const std::pair<Words, Words> rows[] = {
        {{A}, {0x40000001, Stored(A)}},
        {{A, A}, {0xC0000002, Stored(A)}},
        {{A, B}, {0x00000001, Stored(A), 0x40000001, Stored(B)}},
        {{A, A, B, B}, {0x80000002, Stored(A), 0xC0000002, Stored(B)}},
        {{A, B, B}, {0x00000001, Stored(A), 0xC0000002, Stored(B)}},
        {row, {0x00000002, Stored(A), Stored(B), 0x80000003, Stored(C), 0x40000001, Stored(A)}},
        {Words(5000, C), {0xC0000000 + 5000, Stored(C)}},
    };
    for (const auto& [pixels, packets] : rows) {
        const auto width = static_cast<int32_t>(pixels.size());
        Words rest = {7};
        rest.insert(rest.end(), packets.begin(), packets.end());
        EXPECT_EQ(Packs(pixels, width, 1), Picture("Format01", width, 1, rest)) << width;
    }

    // Height 0: the header alone, 24 bytes.
    World world = MakeWorld(3, 2);
    Packed empty(Compress(world.get(), 0, 0, 3, 0, true));
    ASSERT_TRUE(empty);
    EXPECT_EQ(WordsOf(empty.get()), Picture("Format01", 3, 0, {}));
}

// Pictures that exercise the split: long runs, no runs at all, or a small
// palette that makes short runs beside short literals.
uint32_t NextPixel(std::mt19937& rng, int kind, uint32_t previous, int h)
{
    const uint32_t any = static_cast<uint32_t>(rng());
    switch (kind) {
    case 0: // long runs
        return (h == 0 || rng() % 23 == 0) ? any : previous;
    case 1: { // no two neighbours equal
        const uint32_t p = static_cast<uint32_t>(h) * 0x01000193u + (any & 0xFFFF0000);
        return h > 0 && p == previous ? p ^ 1 : p;
    }
    default: // three colours
        return Words{0, 0xFFFFFFFF, 0x80402001}[any % 3];
    }
}

TEST(Compress, RandomPicturesRoundTripThroughEveryDecoder)
{
    std::mt19937 rng(20240611);
    for (int trial = 0; trial < 400; trial++) {
        const int width = trial < 20 ? 1 : 1 + static_cast<int>(rng() % 70);
        const int height = trial % 37 == 0 ? 0 : 1 + static_cast<int>(rng() % 9);
        const int left = static_cast<int>(rng() % 4), top = static_cast<int>(rng() % 3);
        const int kind = trial % 3;
        World world = MakeWorld(left + width + 2, top + height + 1);
        FillNumbered(world.get(), static_cast<uint32_t>(trial));
        Words source(static_cast<size_t>(width) * height);
        for (size_t i = 0; i < source.size(); i++) {
            const int h = static_cast<int>(i % width), v = static_cast<int>(i / width);
            source[i] = NextPixel(rng, kind, i > 0 ? source[i - 1] : 0, h);
            Pixel(world.get(), left + h, top + v) = source[i];
        }
        SCOPED_TRACE(testing::Message()
                     << "trial " << trial << ": " << width << " x " << height << " kind " << kind);

        Packed packed(Compress(world.get(), left, top, width, height, trial & 1));
        ASSERT_TRUE(packed);
        const uint32_t size = packed.get()[0];
        EXPECT_LE(size, 24u + 4u * height + 8u * width * height);
        EXPECT_LT(malloc_usable_size(packed.get()), size + 64u) << "block trimmed";

        // The same pixels from a plain buffer pack to the same bytes.
        const Words words = WordsOf(packed.get());
        EXPECT_EQ(words, Packs(source, width, height));
        PackedPictureInfo info;
        EXPECT_TRUE(height == 0 || CheckPackedPicture(packed.get(), size, &info)) << info.reason;

        int32_t w, h, rowBytes;
        EXPECT_EQ(Expanded(words, &w, &h, &rowBytes), source);
        ASSERT_EQ(w, width);
        ASSERT_EQ(h, height);
        World expanded(UncompressGWorld(packed.get(), &w, &h, &rowBytes));
        ASSERT_TRUE(expanded);
        EXPECT_EQ(PixelsOf(expanded.get()), source);
        for (int v = 0; v < height; v++)
            EXPECT_EQ(RowOf(words, static_cast<uint32_t>(v), static_cast<uint32_t>(width)),
                      Words(source.begin() + v * width, source.begin() + (v + 1) * width));
    }
}

TEST(Compress, WideBufferBeyondWorldLimit)
{
    // Plain buffers are not bound by the widest world; their rows may be
    // padded, but no closer than a row of pixels nor at a part of a word.
    const int width = 6000, height = 3, stride = width + 5;
    Words source(static_cast<size_t>(stride) * height, 0x12345678), expected;
    for (size_t i = 0; i < source.size(); i += 7)
        source[i] = static_cast<uint32_t>(i);
    for (int v = 0; v < height; v++)
        expected.insert(expected.end(), source.begin() + v * stride,
                        source.begin() + v * stride + width);
    const Words packed = Packs(source, width, height, stride);
    ASSERT_FALSE(packed.empty());
    int32_t w, h, rowBytes;
    EXPECT_EQ(Expanded(packed, &w, &h, &rowBytes), expected);
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width - 4), nullptr);
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width + 2), nullptr);
}

std::string Reason(const Words& words, size_t length = SIZE_MAX)
{
    PackedPictureInfo info;
    const size_t bytes = length == SIZE_MAX ? 4 * words.size() : length;
    EXPECT_FALSE(CheckPackedPicture(words.data(), bytes, &info));
    EXPECT_FALSE(CheckPackedPicture(words.data(), bytes, nullptr))
        << "the quick path: " << info.reason;
    return info.reason;
}

// What the validator counts: encoding, width, height, size, runs,
// literals and filled rows.
std::vector<uint32_t> Counts(const PackedPictureInfo& info)
{
    return {info.encoding, uint32_t(info.width), uint32_t(info.height), info.size,
            info.runs,     info.literals,        info.filledRows};
}

TEST(CheckPackedPicture, GoodPicturesTheirCountsAndEachKindOfDamage)
{
    // Bytes after the picture are allowed.
    const std::tuple<const Words*, size_t, std::vector<uint32_t>> cases[] = {
        {&kExample, 72, {kPackedCurrent, 4, 2, 72, 1, 3, 0}},
        {&kExample, 80, {kPackedCurrent, 4, 2, 72, 1, 3, 0}},
        {&kOlderExample, 44, {kPackedOlder, 3, 2, 44, 1, 1, 1}},
    };
    for (const auto& [words, length, counts] : cases) {
        PackedPictureInfo info;
        ASSERT_TRUE(CheckPackedPicture(words->data(), length, &info)) << info.reason;
        EXPECT_TRUE(CheckPackedPicture(words->data(), length, nullptr));
        EXPECT_EQ(Counts(info), counts);
        EXPECT_STREQ(info.reason, "");
    }

    // Each case sets one word of the example.
    const std::tuple<size_t, uint32_t, const char*> damages[] = {
        {1, 0, "signature is neither"},
        {4, 0, "width 0 is outside 1..32767"},
        {4, 32768, "width 32768"},
        {5, 0xFFFFFFFF, "height -1"},
        {0, 76, "size word says 76 bytes but only 72"},
        {0, 70, "not a whole number of words"},
        {5, 20, "row table of 20 entries runs past"},
        {7, 18, "row 1: table entry 18 points outside"},
        {7, 3, "row 1: table entry 3 points outside"},
        {16, 0x40000002, "row 1: literal of 2 pixels at word 16 runs past"},
        {8, 0xC0000003, "row 0: packets cover 3 of 4 pixels"},
        {8, 0x80000005, "row 0: packets cover more than the width"},
        {10, 0x00000001, "row 0: its last packet lacks the last flag"},
        {8, 0x80000000, "row 0: run of 0 pixels"},
        {12, 0, "row 1: literal of 0 pixels"},
    };
    for (const auto& [at, word, reason] : damages) {
        Words words = kExample;
        words[at] = word;
        EXPECT_NE(Reason(words).find(reason), std::string::npos)
            << "expected '" << reason << "', got '" << Reason(words) << "'";
    }
    Words words = kExample;
    EXPECT_NE(Reason(words, 60).find("size word says 72 bytes but only 60"), std::string::npos);
    EXPECT_NE(Reason(words, 23).find("too few for the 24-byte header"), std::string::npos);
    EXPECT_FALSE(CheckPackedPicture(nullptr, 100, nullptr));
    // A run whose pixel is past the end.
    words[16] = 0xC0000001;
    words[0] = 68;
    words.pop_back();
    EXPECT_NE(Reason(words).find("row 1: run at word 16"), std::string::npos);

    // The older encoding ends a row at bit 30 too, and its table entries
    // must point at its rows.
    Words older = Picture("Compress", 3, 1, {7, 0x00000001, 0x80000002, 5});
    EXPECT_NE(Reason(older).find("row 0: its last packet lacks the last flag"), std::string::npos);
    older[6] = 2;
    EXPECT_NE(Reason(older).find("table entry 2"), std::string::npos);
}

// The packets of one row: (run?, count) pairs, read back from the bytes.
std::vector<std::pair<bool, int>> Packets(const Words& values)
{
    Words literals(2 * values.size());
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

Words Distinct(int n)
{
    Words values;
    for (int i = 0; i < n; i++)
        values.push_back(static_cast<uint32_t>(i * 3 + 1));
    return values;
}

TEST(SixteenBit, PacketLimits)
{
    using P = std::vector<std::pair<bool, int>>;
    EXPECT_EQ(Packets(Words(300, 0x1234)), (P{{true, 128}, {true, 128}, {true, 44}}));
    EXPECT_EQ(Packets(Distinct(128)), (P{{false, 128}}));
    EXPECT_EQ(Packets(Distinct(129)), (P{{false, 127}, {false, 2}}));
    EXPECT_EQ(Packets(Distinct(127)), (P{{false, 127}}));
    EXPECT_EQ(Packets({5}), (P{{false, 1}}));
    Words mixed = Distinct(3);
    mixed.insert(mixed.end(), {9, 9, 9, 4});
    EXPECT_EQ(Packets(mixed), (P{{false, 3}, {true, 3}, {false, 1}}));
    // Whole words are compared, though only the low 16 bits are written.
    EXPECT_EQ(Packets({0x10001, 0x00001}), (P{{false, 2}}));
}

TEST(SixteenBit, PackedDataBytesAndTheirDamage)
{
    // 3 x 2: 0x001F 0x001F 0x7C00 / 0xFFFF 0x03E0 0x03E0, rows 4 words apart.
    uint32_t values[8] = {0x001F, 0x001F, 0x7C00, 0xAAAA, 0xFFFF, 0x03E0, 0x03E0, 0xBBBB};
    CPackedPict pict(3, 2, 4, values);
    uint32_t size = 0;
    Packed data(pict.GetPackedData(size));
    const std::vector<uint8_t> expected = {3,    0,    0,    0,    2,    0,    0, 0,
                                           20,   0,    0,    0,                      // header
                                           0,    0,    0,    0,    6,    0,    0, 0, // row table
                                           0x81, 0x1F, 0x00, 0x00, 0x00, 0x7C,       // row 0
                                           0x00, 0xFF, 0xFF, 0x81, 0xE0, 0x03};      // row 1
    const auto* bytes = reinterpret_cast<const uint8_t*>(data.get());
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + size), expected);
    PackedPictureInfo info;
    ASSERT_TRUE(CheckPackedPicture16(data.get(), size, &info)) << info.reason;
    EXPECT_EQ(Counts(info), (std::vector<uint32_t>{kPacked16, 3, 2, 32, 2, 2, 0}));

    // Stream operators read back what they wrote.
    uint32_t* cursor = data.get();
    CHeader header;
    CRowTable table(2);
    cursor >> header;
    cursor >> table;
    EXPECT_EQ(header.Size(), 20u);
    EXPECT_EQ(table.entries[1], 6u);
    EXPECT_EQ(reinterpret_cast<uint8_t*>(cursor) - bytes, 20);

    // Each case sets one byte (byte 0 to 3 changes nothing) and gives a length.
    const std::tuple<size_t, uint8_t, size_t, const char*> cases[] = {
        {0, 3, 11, "12-byte header"},
        {0, 3, 31, "size word says 20 bytes"},
        {0, 0, 32, "width 0"},
        {6, 1, 32, "height 65538"},
        {16, 18, 32, "row 1: table entry 18"},
        {20, 0x83, 32, "row 0: packets cover more"},
        {8, 19, 32, "row 1: run of 2 pixels at byte 29 runs past"},
        {26, 0x03, 32, "row 1: literal of 4"},
    };
    for (const auto& [at, byte, length, reason] : cases) {
        std::vector<uint8_t> damaged = expected;
        damaged[at] = byte;
        EXPECT_FALSE(CheckPackedPicture16(damaged.data(), length, &info));
        EXPECT_NE(std::string(info.reason).find(reason), std::string::npos)
            << "expected '" << reason << "', got '" << info.reason << "'";
    }
}

TEST(SixteenBit, RowDecoding)
{
    // A packet that runs past the width is clipped at it.
    const std::tuple<std::vector<uint8_t>, int32_t, Words> cases[] = {
        {{0x83, 0x1F, 0x00}, 4, {0xFF0000FF, 0xFF0000FF, 0xFF0000FF, 0xFF0000FF}},
        {{0x03, 0xFF, 0x7F, 0xFE, 0xFF, 0x00, 0x80, 0x21, 0x04},
         4,
         {0xFFFFFFFF, 0xFF7FFF00, 0x000000FF, 0x101010FF}},
        {{0x83, 0x1F, 0x00}, 0, {}},
        {{0x00, 0x1F, 0x00, 0x8A, 0x00, 0x7C},
         5,
         {0xFF0000FF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF, 0x0000FFFF}},
    };
    for (auto [bytes, width, expected] : cases) {
        Words dst(7, 0xDEADBEEF);
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
        Words values(static_cast<size_t>(stride) * (height + 1));
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
        Words expected;
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
