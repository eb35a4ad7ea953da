#include <gtest/gtest.h>

#include <malloc.h>

#include <random>
#include <tuple>

#include "tests/packing/packing_util.h"

namespace {

constexpr uint32_t A = 0x11111111, B = 0x22222222, C = 0x33333333;
using Words = std::vector<uint32_t>;

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
        Packed packed(CompressBuffer(pixels.data(), width, 1, 4 * width));
        Words rest = {7};
        rest.insert(rest.end(), packets.begin(), packets.end());
        EXPECT_EQ(WordsOf(packed.get()), Picture("Format01", width, 1, rest)) << width;
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
        return std::vector<uint32_t>{0, 0xFFFFFFFF, 0x80402001}[any % 3];
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
        Packed fromBuffer(CompressBuffer(source.data(), width, height, 4 * width));
        const Words words = WordsOf(packed.get());
        EXPECT_EQ(words, WordsOf(fromBuffer.get()));
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
    // Plain buffers are not bound by the widest world.
    const int width = 6000, height = 3;
    Words source(static_cast<size_t>(width + 5) * height, 0x12345678);
    for (size_t i = 0; i < source.size(); i += 7)
        source[i] = static_cast<uint32_t>(i);
    Packed packed(CompressBuffer(source.data(), width, height, 4 * (width + 5)));
    ASSERT_TRUE(packed);
    int32_t w, h, rowBytes;
    const Words pixels = Expanded(WordsOf(packed.get()), &w, &h, &rowBytes);
    for (int v = 0; v < height; v++)
        EXPECT_TRUE(std::equal(pixels.begin() + v * width, pixels.begin() + (v + 1) * width,
                               source.begin() + v * (width + 5)))
            << "row " << v;
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width - 4), nullptr);
    EXPECT_EQ(CompressBuffer(source.data(), width, height, 4 * width + 2), nullptr);
}

} // namespace
