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
