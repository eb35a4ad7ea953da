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

#endif
