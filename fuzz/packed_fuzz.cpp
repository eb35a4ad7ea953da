// Fuzz target for 32-bit packed pictures (both encodings).
//
// Any input goes through the bounded decoder, which must stay inside the
// bytes it is given, and through both paths of CheckPackedPicture (with and
// without a report), which must agree. An input that passes goes, held in a
// block of exactly its size, through every exported decoder (Uncompress,
// UncompressGWorld, UncompressRow), which must agree pixel for pixel; its
// pixels are then packed again, and the new picture must pass the check and
// expand to the same pixels.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "packing/packing_p.h"
#include "sprig/packing.h"
#include "sprig/platform.h"

namespace {

// Keeps each run within a few megabytes: a small valid picture can describe
// 32767 x 32767 pixels.
constexpr uint64_t kMaxPixels = 1 << 18;

bool SmallEnough(int32_t width, int32_t height)
{
    if (width == 0)
        return height >= 0; // no pixels to decode, whatever the height
    return width > 0 && height >= 0 && width <= 32767 && height <= 32767 &&
           uint64_t(width) * uint64_t(height) <= kMaxPixels;
}

void DecodeBounded(const uint32_t* words, size_t count)
{
    const WordSpan span{words, count};
    if (!span.Has(0, kHeaderWords))
        return;
    if (!SmallEnough(static_cast<int32_t>(words[kWidthWord]),
                     static_cast<int32_t>(words[kHeightWord])))
        return;
    int32_t width, height, rowBytes;
    delete[] ExpandPicture(span, &width, &height, &rowBytes);
}

void DecodeValid(const uint32_t* picture, size_t words)
{
    std::vector<uint32_t> exact(picture, picture + words);
    exact.shrink_to_fit();
    int32_t width, height, rowBytes;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(exact.data(), &width, &height, &rowBytes));
    Require(pixels && rowBytes == 4 * width);
    const size_t count = size_t(width) * size_t(height);

    std::unique_ptr<uint32_t[]> bounded(
        ExpandPicture(WordSpan{exact.data(), exact.size()}, &width, &height, &rowBytes));
    Require(std::memcmp(bounded.get(), pixels.get(), 4 * count) == 0);

    std::vector<uint32_t> row(size_t(width) + 1);
    for (int32_t r = 0; r < height; r++) {
        row[size_t(width)] = 0x5EA1C0DE;
        UncompressRow(exact.data(), uint32_t(r), uint32_t(width), row.data());
        Require(row[size_t(width)] == 0x5EA1C0DE);
        Require(std::memcmp(row.data(), pixels.get() + size_t(r) * width, 4 * size_t(width)) == 0);
    }

    if (width <= 4092) {
        int32_t w, h, worldRowBytes;
        GWorldPtr world = UncompressGWorld(exact.data(), &w, &h, &worldRowBytes);
        Require(world != nullptr);
        const auto* base = reinterpret_cast<const uint8_t*>(GetPixBaseAddr(GetGWorldPixMap(world)));
        for (int32_t r = 0; r < height; r++)
            Require(std::memcmp(base + size_t(r) * worldRowBytes, pixels.get() + size_t(r) * width,
                                4 * size_t(width)) == 0);
        DisposeGWorld(world);
    }

    uint32_t* repacked = CompressBuffer(pixels.get(), width, height, rowBytes);
    Require(repacked != nullptr);
    Require(CheckPackedPicture(repacked, repacked[0], nullptr));
    int32_t w2, h2, rowBytes2;
    std::unique_ptr<uint32_t[]> again(Uncompress(repacked, &w2, &h2, &rowBytes2));
    Require(w2 == width && h2 == height);
    Require(std::memcmp(again.get(), pixels.get(), 4 * count) == 0);
    std::free(repacked);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // Whole words, aligned, and no more than the input holds.
    std::vector<uint32_t> words(size / 4);
    if (!words.empty())
        std::memcpy(words.data(), data, 4 * words.size());
    DecodeBounded(words.data(), words.size());

    PackedPictureInfo info;
    const Boolean sound = CheckPackedPicture(data, size, &info);
    // Without info the check takes its quick path: the same verdict.
    Require(CheckPackedPicture(data, size, nullptr) == sound);
    if (!sound)
        return 0;
    if (SmallEnough(info.width, info.height))
        DecodeValid(words.data(), info.size / 4);
    return 0;
}
