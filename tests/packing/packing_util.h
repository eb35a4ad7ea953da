// Helpers the packing tests share.
#ifndef SPRIG_TESTS_PACKING_UTIL_H
#define SPRIG_TESTS_PACKING_UTIL_H

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "sprig/packing.h"
#include "tests/test_util.h"

struct FreeDeleter
{
    void operator()(void* p) const { std::free(p); }
};
using Packed = std::unique_ptr<uint32_t, FreeDeleter>;

// The words of a malloc'd packed picture, its size taken from word 0.
inline std::vector<uint32_t> WordsOf(const uint32_t* picture)
{
    return std::vector<uint32_t>(picture, picture + picture[0] / 4);
}

// The words CompressBuffer packs pixels into, rows `stride` words apart
// (none when it refuses them).
inline std::vector<uint32_t> Packs(const std::vector<uint32_t>& pixels, int width, int height,
                                   int stride = 0)
{
    Packed packed(CompressBuffer(pixels.data(), width, height, 4 * (stride ? stride : width)));
    EXPECT_TRUE(packed);
    return packed ? WordsOf(packed.get()) : std::vector<uint32_t>{};
}

// A pixel word stored as a packed picture holds it: bytes reversed.
inline uint32_t Stored(uint32_t pixel)
{
    return __builtin_bswap32(pixel);
}

// A 32-bit packed picture header followed by the given words.
inline std::vector<uint32_t> Picture(const char* signature, int32_t width, int32_t height,
                                     std::vector<uint32_t> rest)
{
    std::vector<uint32_t> words(6);
    std::memcpy(&words[1], signature, 8);
    words[4] = static_cast<uint32_t>(width);
    words[5] = static_cast<uint32_t>(height);
    words.insert(words.end(), rest.begin(), rest.end());
    words[0] = static_cast<uint32_t>(4 * words.size());
    return words;
}

// Four different pixel words (alpha in bits 0-7) and the 4 x 2 picture of
// rows P P P Q and P Q R S: a run, a literal of 3 and two literals of 1.
constexpr uint32_t kP = 0x0000FFFF; // opaque pure red
constexpr uint32_t kQ = 0x11223380;
constexpr uint32_t kR = 0xFFFFFF00; // transparent white
constexpr uint32_t kS = 0x12345601;
inline const std::vector<uint32_t> kExamplePixels = {kP, kP, kP, kQ, kP, kQ, kR, kS};
inline const std::vector<uint32_t> kExample = {
    72,         0x6D726F46, 0x31307461, 0,          4,          2,
    8,          12,         0x80000003, Stored(kP), 0x40000001, Stored(kQ),
    0x00000003, Stored(kP), Stored(kQ), Stored(kR), 0x40000001, Stored(kS)};
// 3 x 2 in the older encoding: a row filled from its table entry, then a
// single pixel and a run.
inline const std::vector<uint32_t> kOlderExample =
    Picture("Compress", 3, 2, {0x81FFFFFF, 8, 0x00000001, 0xC0000002, 5});

// The pixels Uncompress expands a picture to (none when it gives no buffer),
// with the size it reports.
inline std::vector<uint32_t> Expanded(const std::vector<uint32_t>& picture, int32_t* width,
                                      int32_t* height, int32_t* rowBytes)
{
    std::vector<uint32_t> words = picture;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(words.data(), width, height, rowBytes));
    if (!pixels)
        return {};
    return std::vector<uint32_t>(pixels.get(), pixels.get() + *rowBytes / 4 * *height);
}

// Row `row` as UncompressRow (or another row decoder) writes it into `width`
// words, the words past them holding a guard that must stay.
inline std::vector<uint32_t>
RowOf(const std::vector<uint32_t>& picture, uint32_t row, uint32_t width,
      void (*decode)(uint32_t*, uint32_t, uint32_t, uint32_t*) = UncompressRow)
{
    std::vector<uint32_t> words = picture, out(width + 2, 0xDEADBEEF);
    decode(words.data(), row, width, out.data());
    EXPECT_EQ(out[width], 0xDEADBEEF) << "row " << row << " wrote past its width";
    out.resize(width);
    return out;
}

#endif
