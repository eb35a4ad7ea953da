#include <gtest/gtest.h>

#include <malloc.h>

#include <random>

#include "tests/packing/packing_util.h"

namespace {

constexpr uint32_t A = 0x11111111, B = 0x22222222, C = 0x33333333;

// The packets Compress writes for one row.
std::vector<uint32_t> PackedRow(const std::vector<uint32_t>& row)
{
    Packed packed(CompressBuffer(row.data(), static_cast<int32_t>(row.size()), 1,
                                 static_cast<int32_t>(4 * row.size())));
    std::vector<uint32_t> words = WordsOf(packed.get());
    EXPECT_EQ(words[6], 7u);
    return std::vector<uint32_t>(words.begin() + 7, words.end());
}

TEST(Compress, PacketSplits)
{
    std::vector<uint32_t> row = {A, B, C, C, C, A};
    EXPECT_EQ(GetCountPixels(row.data(), 6), 2u) << "literal stops before the pair";
    EXPECT_EQ(GetCountPixels(row.data() + 2, 4), 0x80000003u);
    EXPECT_EQ(GetCountPixels(row.data() + 5, 1), 1u);
    EXPECT_EQ(GetCountPixels(row.data(), 2), 1u) << "A B: literal of 1";
    EXPECT_EQ(GetCountPixels(row.data() + 2, 2), 0x80000002u);
    EXPECT_EQ(GetCountPixels(row.data() + 5, 0), 0u) << "nothing left: nothing read";

    EXPECT_EQ(PackedRow({A}), (std::vector<uint32_t>{0x40000001, Stored(A)}));
    EXPECT_EQ(PackedRow({A, A}), (std::vector<uint32_t>{0xC0000002, Stored(A)}));
    EXPECT_EQ(PackedRow({A, B}),
              (std::vector<uint32_t>{0x00000001, Stored(A), 0x40000001, Stored(B)}));
    EXPECT_EQ(PackedRow({A, A, B, B}),
              (std::vector<uint32_t>{0x80000002, Stored(A), 0xC0000002, Stored(B)}));
    EXPECT_EQ(PackedRow({A, B, B}),
              (std::vector<uint32_t>{0x00000001, Stored(A), 0xC0000002, Stored(B)}));
    EXPECT_EQ(PackedRow({A, B, C, C, C, A}),
              (std::vector<uint32_t>{0x00000002, Stored(A), Stored(B), 0x80000003, Stored(C),
                                     0x40000001, Stored(A)}));
    // A long run has no limit but the row.
    std::vector<uint32_t> longRun(5000, C);
    EXPECT_EQ(PackedRow(longRun), (std::vector<uint32_t>{0xC0000000 + 5000, Stored(C)}));

    // Height 0: the header alone, 24 bytes.
    World world = MakeWorld(3, 2);
    Packed empty(Compress(world.get(), 0, 0, 3, 0, true));
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty.get()[0], 24u);
    EXPECT_EQ(empty.get()[5], 0u);
}

// Pictures that exercise the split: long runs, no runs at all, or a small
// palette that makes short runs beside short literals.
void FillRandom(std::mt19937& rng, int kind, uint32_t* row, int width)
{
    std::uniform_int_distribution<uint32_t> any;
    for (int h = 0; h < width; h++) {
        switch (kind) {
        case 0: // long runs
            row[h] = (h == 0 || rng() % 23 == 0) ? any(rng) : row[h - 1];
            break;
        case 1: // no two neighbours equal
            row[h] = static_cast<uint32_t>(h) * 0x01000193u + (any(rng) & 0xFFFF0000);
            if (h > 0 && row[h] == row[h - 1])
                row[h] ^= 1;
            break;
        default: // three colours
            row[h] = std::vector<uint32_t>{0, 0xFFFFFFFF, 0x80402001}[rng() % 3];
            break;
        }
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
        std::vector<uint32_t> source(static_cast<size_t>(width) * height);
        for (int v = 0; v < height; v++) {
            FillRandom(rng, kind, &source[static_cast<size_t>(v) * width], width);
            for (int h = 0; h < width; h++)
                Pixel(world.get(), left + h, top + v) = source[static_cast<size_t>(v) * width + h];
        }
        SCOPED_TRACE(testing::Message()
                     << "trial " << trial << ": " << width << " x " << height << " kind " << kind);

        Packed packed(Compress(world.get(), left, top, width, height, trial & 1));
        ASSERT_TRUE(packed);
        const uint32_t size = packed.get()[0];
        EXPECT_LE(size, 24u + 4u * height + 8u * width * height);
        EXPECT_LT(malloc_usable_size(packed.get()), size + 64u) << "block trimmed";

        // The same pixels from a plain buffer pack to the same bytes.
        Packed fromBuffer(CompressBuffer(source.data(), width, height, 4 * width));
        EXPECT_EQ(WordsOf(packed.get()), WordsOf(fromBuffer.get()));
        if (height > 0) {
            PackedPictureInfo info;
            EXPECT_TRUE(CheckPackedPicture(packed.get(), size, &info)) << info.reason;
        }

        int32_t w, h, rowBytes;
        std::unique_ptr<uint32_t[]> pixels(Uncompress(packed.get(), &w, &h, &rowBytes));
        ASSERT_EQ(w, width);
        ASSERT_EQ(h, height);
        EXPECT_EQ(std::vector<uint32_t>(pixels.get(), pixels.get() + source.size()), source);

        World expanded(UncompressGWorld(packed.get(), &w, &h, &rowBytes));
        ASSERT_TRUE(expanded);
        std::vector<uint32_t> row(static_cast<size_t>(width));
        for (int v = 0; v < height; v++) {
            for (int x = 0; x < width; x++)
                EXPECT_EQ(Pixel(expanded.get(), x, v), source[static_cast<size_t>(v) * width + x]);
            UncompressRow(packed.get(), static_cast<uint32_t>(v), static_cast<uint32_t>(width),
                          row.data());
            EXPECT_TRUE(std::equal(row.begin(), row.end(), source.begin() + v * width));
        }
    }
}

TEST(Compress, WideBufferBeyondWorldLimit)
{
    // Plain buffers are not bound by the widest world.
    const int width = 6000, height = 3;
    std::vector<uint32_t> source(static_cast<size_t>(width + 5) * height, 0x12345678);
    for (size_t i = 0; i < source.size(); i += 7)
        source[i] = static_cast<uint32_t>(i);
    Packed packed(CompressBuffer(source.data(), width, height, 4 * (width + 5)));
    ASSERT_TRUE(packed);
    int32_t w, h, rowBytes;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(packed.get(), &w, &h, &rowBytes));
    for (int v = 0; v < height; v++)
        for (int x = 0; x < width; x++)
            ASSERT_EQ(pixels[static_cast<size_t>(v) * width + x],
                      source[static_cast<size_t>(v) * (width + 5) + x]);
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width - 4), nullptr);
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width + 2), nullptr);
}

} // namespace
