// Fingerprints of bitmaps: a 16-digit shift-register digest of a world's
// pixels reduced to 16-bit colour, and the 32-digit MD5 of a byte buffer.
//
// The 16-digit digest keeps eight bytes d[0..7], all 0 at the start. Each
// byte b fed in computes c = d[3] ^ d[4] ^ d[7] ^ b from the state before it,
// moves d[0..6] up to d[1..7] and puts c in d[0]. The digits are d[0] first.
// Rows are fed bottom row first; each pixel of a row gives two bytes, the
// high byte of its 16-bit value first.
//
// Worked example: a 1 x 1 world whose pixel bytes in memory are 164, 140,
// 36 and anything (alpha, red, green, blue). RGBToWord gives 20, 17 and 4,
// so the pixel's value is (4 << 10) | (17 << 5) | 20 = 0x1234. Feeding 0x12
// leaves d[0] = 0x12; feeding 0x34 moves it to d[1] and leaves d[0] = 0x34:
// the fingerprint is 3412000000000000.
#include <openssl/evp.h>

#include "sprig/fingerprints.h"
#include "sprig/foundation.h"

namespace {

// The eight digest bytes in one word: d[i] is bits 8i to 8i + 7, so feeding
// a byte is a shift left by 8 with the new byte in the low lane.
//     [d7][d6][d5][d4][d3][d2][d1][d0]
inline uint64_t FeedByte(uint64_t state, uint32_t byte)
{
    const uint64_t c = ((state >> 24) ^ (state >> 32) ^ (state >> 56) ^ byte) & 0xFF;
    return (state << 8) | c;
}

// The 16-bit colour of a pixel's first three bytes in memory, alpha, red and
// green: [0][green 5][red 5][alpha 5]. Blue does not enter.
inline uint32_t ReducedPixel(const uint8_t* pixel)
{
    return (uint32_t{RGBToWord[pixel[2]]} << 10) | (uint32_t{RGBToWord[pixel[1]]} << 5) |
           RGBToWord[pixel[0]];
}

inline char HexDigit(unsigned nibble)
{
    return static_cast<char>(nibble <= 9 ? '0' + nibble : 'A' + nibble - 10);
}

} // namespace

extern "C" {

int32_t GetHashBitmap16(GWorldPtr world, char* out)
{
    uint64_t state = 0;
    if (world) {
        StLock lock(world);
        PixMapHandle pm = GetPortPixMap(world);
        Rect bounds;
        GetPortBounds(world, &bounds);
        const auto* base = reinterpret_cast<const uint8_t*>(GetPixBaseAddr(pm));
        const size_t rowBytes = static_cast<size_t>(GetPixRowBytes(pm) & 0x3FFF);
        const int width = bounds.right;
        for (int v = bounds.bottom - 1; v >= 0; v--) {
            const uint8_t* pixel = base + static_cast<size_t>(v) * rowBytes;
            for (int h = 0; h < width; h++, pixel += 4) {
                const uint32_t value = ReducedPixel(pixel);
                state = FeedByte(state, value >> 8);
                state = FeedByte(state, value & 0xFF);
            }
        }
    }
    for (int i = 0; i < 8; i++) {
        const unsigned byte = static_cast<unsigned>(state >> (8 * i)) & 0xFF;
        out[2 * i] = HexDigit(byte >> 4);
        out[2 * i + 1] = HexDigit(byte & 15);
    }
    out[16] = 0;
    return 1;
}

char* GetHashBitmap32(const void* data, uint32_t length, char* out)
{
    static const unsigned char kNothing = 0;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int digestLength = 0;
    if (!data)
        length = 0;
    if (!EVP_Digest(data ? data : &kNothing, length, digest, &digestLength, EVP_md5(), nullptr) ||
        digestLength != 16) {
        out[0] = 0;
        return out;
    }
    for (unsigned i = 0; i < 16; i++)
        binhex(reinterpret_cast<unsigned char*>(out) + 2 * i, digest[i]);
    out[32] = 0;
    return out;
}

void binhex(unsigned char* out, unsigned char byte)
{
    out[0] = static_cast<unsigned char>(HexDigit(byte >> 4));
    out[1] = static_cast<unsigned char>(HexDigit(byte & 15));
}

} // extern "C"
