// The compressor of the 32-bit packed picture (current encoding, "Format01").
//
// Each row is split into packets in one pass, left to right:
//
//   - two equal neighbours start a run, which covers the whole stretch of
//     equal pixels: A A A B -> run of 3 (0x80000003, A);
//   - otherwise a literal collects pixels up to, not including, the first
//     pair of equal neighbours: A B C C -> literal of 2 (0x00000002, A, B),
//     then the run of C;
//   - a literal that reaches the row's end stops one pixel short of it, so
//     the row's last pixel is a literal of 1 of its own:
//     P Q R S -> 0x00000003 P Q R, 0x40000001 S.
//
// The last packet of each row has bit 30 set. A row of one pixel is
// 0x40000001 and the pixel; A A is 0xC0000002, A; A B is 0x00000001, A,
// 0x40000001, B. Runs and literals have no length limit but the row.
//
// The result is written into one malloc block large enough for the worst
// case (24 + 4 x height + 8 x width x height bytes: every packet a literal
// of one pixel) and trimmed once with realloc.
#include <cstdlib>
#include <cstring>

#include "packing/packing_p.h"
#include "sprig/platform.h"

extern "C" {
uint32_t packline[2048];
uint32_t packline2[2048];
}

namespace {

constexpr uint32_t kRunBit = 0x80000000;
constexpr uint32_t kLastBit = 0x40000000;

// The split rule: see the top of the file.
inline uint32_t CountPixels(const uint32_t* p, uint32_t remaining)
{
    if (remaining == 1)
        return 1;
    uint32_t k = 2;
    if (p[0] == p[1]) {
        while (k < remaining && p[k] == p[k - 1])
            k++;
        return kRunBit | k;
    }
    for (;;) {
        if (k == remaining)
            return remaining - 1;
        if (p[k - 1] == p[k])
            return k - 1;
        k++;
    }
}

// Packs one row at out; returns the position after it.
inline uint32_t* PackRow(const uint32_t* src, uint32_t width, uint32_t* out)
{
    uint32_t* lastControl = nullptr;
    uint32_t x = 0;
    while (x < width) {
        const uint32_t control = CountPixels(src + x, width - x);
        const uint32_t count = control & ~kRunBit;
        lastControl = out;
        *out++ = control;
        if (control & kRunBit) {
            *out++ = SwapPixel(src[x]);
        } else {
            for (uint32_t i = 0; i < count; i++)
                out[i] = SwapPixel(src[x + i]);
            out += count;
        }
        x += count;
    }
    if (lastControl)
        *lastControl |= kLastBit;
    return out;
}

} // namespace

uint32_t* PackPixels(const uint32_t* pixels, int32_t width, int32_t height, ptrdiff_t rowWords)
{
    const uint32_t w = width > 0 ? static_cast<uint32_t>(width) : 0;
    const uint32_t h = height > 0 ? static_cast<uint32_t>(height) : 0;
    // The worst case needs 8 bytes a pixel; keep its product inside 64 bits.
    // (A result above 4 GiB cannot be described by its size word and is
    // refused below.)
    if (uint64_t{w} * uint64_t{h} > (uint64_t{1} << 60))
        return nullptr;
    const uint64_t worst = 24 + 4 * uint64_t{h} + 8 * uint64_t{w} * uint64_t{h};
    auto* block = static_cast<uint32_t*>(std::malloc(static_cast<size_t>(worst)));
    if (!block)
        return nullptr;
    block[kSizeWord] = 0;
    std::memcpy(block + kSignatureWord, Signature, 8);
    block[3] = 0;
    block[kWidthWord] = static_cast<uint32_t>(width);
    block[kHeightWord] = static_cast<uint32_t>(height);
    uint32_t* out = block + kHeaderWords + h;
    for (uint32_t r = 0; r < h; r++) {
        block[kHeaderWords + r] = static_cast<uint32_t>(out - block);
        out = PackRow(pixels + static_cast<ptrdiff_t>(r) * rowWords, w, out);
    }
    const size_t length = static_cast<size_t>(out - block) * 4;
    if (length > UINT32_MAX) {
        std::free(block);
        return nullptr;
    }
    block[kSizeWord] = static_cast<uint32_t>(length);
    auto* trimmed = static_cast<uint32_t*>(std::realloc(block, length));
    return trimmed ? trimmed : block;
}

uint32_t GetCountPixels(uint32_t* pixels, uint32_t remaining)
{
    // With no pixels left there is no packet: a literal of none, nothing read.
    if (remaining == 0)
        return 0;
    return CountPixels(pixels, remaining);
}

extern "C" {

uint32_t* Compress(GWorldPtr gw, int32_t left, int32_t top, int32_t width, int32_t height,
                   bool swap)
{
    PixMapHandle pm = GetGWorldPixMap(gw);
    LockPixels(pm);
    auto* base = reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm));
    const ptrdiff_t rowWords = GetPixRowBytes(pm) / 4;
    const uint32_t* src = base + static_cast<ptrdiff_t>(top) * rowWords + left;
    uint32_t* picture = PackPixels(src, width, height, rowWords);
    if (picture && swap)
        SwapBuffer(picture);
    return picture;
}

uint32_t* CompressBuffer(const uint32_t* pixels, int32_t width, int32_t height, int32_t rowBytes)
{
    if ((!pixels && width > 0 && height > 0) || width < 0 || height < 0 || rowBytes % 4 ||
        int64_t{rowBytes} < 4 * int64_t{width})
        return nullptr;
    return PackPixels(pixels, width, height, rowBytes / 4);
}

} // extern "C"
