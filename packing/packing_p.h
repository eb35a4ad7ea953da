// The packing subsystem's internal decoders and encoder. Every decoder reads
// through a span, checks the words (or bytes) it still has before each
// control word, and stops each row at its width. The exported calls, which
// receive only a pointer, pass an unbounded span, so a picture that obeys
// the layout decodes exactly as it always has.
#ifndef SPRIG_PACKING_PACKING_P_H
#define SPRIG_PACKING_PACKING_P_H

#include <cstddef>
#include <cstdint>

#include "sprig/packing.h"

// 32-bit words of a packed picture, counted from its first word.
struct WordSpan
{
    const uint32_t* words;
    size_t count;

    bool Has(size_t at, size_t n) const { return n <= count && at <= count - n; }
};

// Bytes of a sixteen-bit packed picture, counted from its row table.
struct ByteSpan
{
    const uint8_t* bytes;
    size_t count;

    bool Has(size_t at, size_t n) const { return n <= count && at <= count - n; }
};

constexpr size_t kUnbounded = SIZE_MAX / 8;

inline WordSpan UnboundedWords(const uint32_t* picture)
{
    return WordSpan{picture, kUnbounded};
}

inline ByteSpan UnboundedBytes(const void* picture)
{
    return ByteSpan{static_cast<const uint8_t*>(picture), kUnbounded};
}

// Header words of the 32-bit layout.
enum : size_t
{
    kSizeWord = 0,
    kSignatureWord = 1,
    kWidthWord = 4,
    kHeightWord = 5,
    kHeaderWords = 6
};

// Stored pixel <-> pixel word: the four bytes reversed.
inline uint32_t SwapPixel(uint32_t v)
{
    return __builtin_bswap32(v);
}

// True when words 1 and 2 hold "Format01".
bool IsCurrentEncoding(WordSpan picture);

// Decodes row `row` into dst[0 .. width - 1] with the encoding the signature
// selects. Pixels a damaged row does not describe are set to 0.
void DecodeRow(WordSpan picture, uint32_t row, uint32_t width, uint32_t* dst);

// Expands the picture as Uncompress does, reading only inside the span.
uint32_t* ExpandPicture(WordSpan picture, int32_t* width, int32_t* height, int32_t* rowBytes);

// Decodes one sixteen-bit row starting at byte `at` of the span into
// dst[0 .. width - 1]; returns the pixels written. A packet that would run
// past the width is clipped.
int32_t DecodeRow16(ByteSpan span, size_t at, int32_t width, uint32_t* dst);

// A new 32-bit world for expanding a picture of width x height, its pixels
// locked. The world's bounds keep 16 bits of each size, so rows and columns
// say how much of the picture it holds (never more than width and height).
struct ExpansionWorld
{
    GWorldPtr world;
    char* base;
    int32_t rowBytes;
    int32_t rows;
    int32_t columns;
};

// False, with nothing made, when the world cannot be made.
bool NewExpansionWorld(int32_t width, int32_t height, ExpansionWorld* out);

// Packs width x height pixels, rows rowWords apart, into a new malloc block
// of the current encoding; null when the size cannot be represented or
// memory runs out.
uint32_t* PackPixels(const uint32_t* pixels, int32_t width, int32_t height, ptrdiff_t rowWords);

#endif
