// Decoders of the 32-bit packed picture.
//
// Layout (little-endian 32-bit words):
//
//     0     size in bytes, header included
//     1-2   "Format01" (current encoding) or anything else (older encoding)
//     3     0
//     4, 5  width, height
//     6...  row table: one word per row, then the rows
//
// A stored pixel is the pixel word with its bytes reversed, so an opaque
// pure red pixel (word 0x0000FFFF) is stored as the bytes 00 00 FF FF.
//
// Current encoding: the table entry of a row is the word offset of its
// first packet. Each packet starts with a control word
//
//     [run:1][last:1][count:30]
//
// and is followed by one stored pixel repeated count times (run) or by count
// stored pixels (literal). A picture 4 x 2 with rows P P P Q and P Q R S:
//
//     word  0      72            size (18 words)
//     words 1-2    "Format01"
//     word  3      0
//     words 4-5    4, 2          width, height
//     words 6-7    8, 12         row table
//     words 8-9    0x80000003 P  run of 3
//     words 10-11  0x40000001 Q  literal of 1, last
//     words 12-15  0x00000003 P Q R
//     words 16-17  0x40000001 S  literal of 1, last
//
// The control word 0x80000003 is stored as the bytes 03 00 00 80.
//
// Older encoding: a table entry with bit 31 set is itself a stored pixel
// filling the whole row; otherwise it is the word offset of the row's items.
// An item is a stored pixel whose word has bit 31 clear (produced once), or
// a run header [1][last:1][count:30] followed by a stored pixel. Bit 30 marks
// the row's last item, also in a single pixel, where it is bit 6 of the
// stored alpha byte. Every pixel of the older encoding has its alpha mapped:
// a stored alpha a with (a & 0x3F) == 1 becomes 0, 0 becomes 255, 255
// becomes 1; other values stay. The whole-row entry 0x81FFFFFF gives the
// pixel word 0xFFFFFF00 (white, alpha 0).
#include <cstring>
#include <new>

#include "packing/packing_p.h"
#include "sprig/platform.h"

extern "C" {
const char Signature[9] = "Format01";
const char OldSignature[9] = "Compress";
}

namespace {

constexpr uint32_t kRunBit = 0x80000000;
constexpr uint32_t kLastBit = 0x40000000;
constexpr uint32_t kCountMask = 0x3FFFFFFF;

#define SPRIG_INLINE inline __attribute__((always_inline))

// Alpha of the older encoding, on a pixel word (alpha in bits 0-7):
// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
inline uint32_t MapOlderAlpha(uint32_t word)
{
    uint32_t a = word & 0xFF;
    if ((a & 0x3F) == 1)
        a = 0;
    else if (a == 0)
        a = 255;
    else if (a == 255)
        a = 1;
    return (word & 0xFFFFFF00) | a;
}

SPRIG_INLINE void Fill(uint32_t* dst, uint32_t count, uint32_t value)
{
    for (uint32_t i = 0; i < count; i++)
        dst[i] = value;
}

SPRIG_INLINE void CopySwapped(uint32_t* dst, const uint32_t* src, uint32_t count)
{
    for (uint32_t i = 0; i < count; i++)
        dst[i] = SwapPixel(src[i]);
}

inline void ZeroRest(uint32_t* dst, uint32_t from, uint32_t width)
{
    if (from < width)
        std::memset(dst + from, 0, size_t{width - from} * 4);
}

// Reads the table entry of a row, or returns false when the table does not
// reach it.
inline bool TableEntry(WordSpan picture, uint32_t row, uint32_t* entry)
{
    const size_t at = kHeaderWords + size_t{row};
    if (!picture.Has(at, 1))
        return false;
    *entry = picture.words[at];
    return true;
}

// The hot loop of every expansion. Its fills and byte-reversing copies are
// plain loops that the compiler vectorizes; the body is built twice, for the
// baseline processor and for AVX2, and CurrentRowDecoder picks one.
SPRIG_INLINE void DecodeCurrentRowBody(WordSpan picture, size_t at, uint32_t width, uint32_t* dst)
{
    uint32_t n = 0;
    while (n < width && picture.Has(at, 1)) {
        const uint32_t control = picture.words[at];
        const uint32_t room = width - n;
        uint32_t count = control & kCountMask;
        if (control & kRunBit) {
            if (!picture.Has(at + 1, 1))
                break;
            if (count > room)
                count = room;
            Fill(dst + n, count, SwapPixel(picture.words[at + 1]));
            at += 2;
        } else {
            const size_t available = picture.count - at - 1;
            const uint32_t take = count < room ? count : room;
            if (take > available) {
                CopySwapped(dst + n, picture.words + at + 1, static_cast<uint32_t>(available));
                n += static_cast<uint32_t>(available);
                break;
            }
            CopySwapped(dst + n, picture.words + at + 1, take);
            at += 1 + size_t{count};
            count = take;
        }
        n += count;
        if (control & kLastBit)
            break;
    }
    ZeroRest(dst, n, width);
}

using CurrentRowDecoder = void (*)(WordSpan, size_t, uint32_t, uint32_t*);

void DecodeCurrentRowPlain(WordSpan picture, size_t at, uint32_t width, uint32_t* dst)
{
    DecodeCurrentRowBody(picture, at, width, dst);
}

__attribute__((target("avx2"))) void DecodeCurrentRowAvx2(WordSpan picture, size_t at,
                                                          uint32_t width, uint32_t* dst)
{
    DecodeCurrentRowBody(picture, at, width, dst);
}

CurrentRowDecoder PickCurrentRowDecoder()
{
    static const CurrentRowDecoder decoder = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") ? DecodeCurrentRowAvx2 : DecodeCurrentRowPlain;
    }();
    return decoder;
}

void DecodeOlderRow(WordSpan picture, uint32_t entry, uint32_t width, uint32_t* dst)
{
    if (entry & kRunBit) {
        Fill(dst, width, MapOlderAlpha(SwapPixel(entry)));
        return;
    }
    size_t at = entry;
    uint32_t n = 0;
    while (n < width && picture.Has(at, 1)) {
        const uint32_t item = picture.words[at];
        if (item & kRunBit) {
            if (!picture.Has(at + 1, 1))
                break;
            uint32_t count = item & kCountMask;
            if (count > width - n)
                count = width - n;
            Fill(dst + n, count, MapOlderAlpha(SwapPixel(picture.words[at + 1])));
            n += count;
            at += 2;
        } else {
            dst[n++] = MapOlderAlpha(SwapPixel(item));
            at += 1;
        }
        if (item & kLastBit)
            break;
    }
    ZeroRest(dst, n, width);
}

void DecodeOlder(WordSpan picture, uint32_t row, uint32_t width, uint32_t* dst)
{
    uint32_t entry = 0;
    if (!TableEntry(picture, row, &entry)) {
        ZeroRest(dst, 0, width);
        return;
    }
    DecodeOlderRow(picture, entry, width, dst);
}

// The row decoder of either encoding, the signature tested by the caller.
void DecodeRowAs(bool current, WordSpan picture, uint32_t row, uint32_t width, uint32_t* dst)
{
    if (!current) {
        DecodeOlder(picture, row, width, dst);
        return;
    }
    uint32_t entry = 0;
    if (!TableEntry(picture, row, &entry)) {
        ZeroRest(dst, 0, width);
        return;
    }
    PickCurrentRowDecoder()(picture, entry, width, dst);
}

inline bool RowInPicture(WordSpan picture, uint32_t row)
{
    if (!picture.Has(kHeightWord, 1))
        return false;
    const auto height = static_cast<int32_t>(picture.words[kHeightWord]);
    return height > 0 && row < static_cast<uint32_t>(height);
}

// Row r of a destination whose rows are rowBytes apart; offsets are rounded
// down to a multiple of 4 bytes.
inline uint32_t* RowAt(void* base, int32_t row, int32_t rowBytes)
{
    const size_t offset = static_cast<size_t>(row) * static_cast<size_t>(rowBytes);
    return reinterpret_cast<uint32_t*>(static_cast<uint8_t*>(base) + (offset & ~size_t{3}));
}

} // namespace

bool IsCurrentEncoding(WordSpan picture)
{
    return picture.Has(kSignatureWord, 2) &&
           std::memcmp(picture.words + kSignatureWord, Signature, 8) == 0;
}

void DecodeRow(WordSpan picture, uint32_t row, uint32_t width, uint32_t* dst)
{
    DecodeRowAs(IsCurrentEncoding(picture), picture, row, width, dst);
}

uint32_t* ExpandPicture(WordSpan picture, int32_t* width, int32_t* height, int32_t* rowBytes)
{
    *width = 0;
    *height = 0;
    *rowBytes = 0;
    if (!picture.Has(0, kHeaderWords))
        return nullptr;
    const auto w = static_cast<int32_t>(picture.words[kWidthWord]);
    const auto h = static_cast<int32_t>(picture.words[kHeightWord]);
    *width = w;
    *height = h;
    if (w < 0 || h < 0 || w > INT32_MAX / 4)
        return nullptr;
    *rowBytes = 4 * w;
    const size_t pixels = static_cast<size_t>(w) * static_cast<size_t>(h);
    auto* buffer = new uint32_t[pixels];
    if (w == 0)
        return buffer; // rows of no pixels: nothing to read, however many
    const bool current = IsCurrentEncoding(picture);
    for (int32_t r = 0; r < h; r++)
        DecodeRowAs(current, picture, static_cast<uint32_t>(r), static_cast<uint32_t>(w),
                    RowAt(buffer, r, *rowBytes));
    return buffer;
}

bool NewExpansionWorld(int32_t width, int32_t height, ExpansionWorld* out)
{
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    GWorldPtr world = nullptr;
    if (NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0) != noErr || !world)
        return false;
    PixMapHandle pm = GetGWorldPixMap(world);
    LockPixels(pm);
    Rect made;
    GetPortBounds(world, &made);
    out->world = world;
    out->base = GetPixBaseAddr(pm);
    out->rowBytes = GetPixRowBytes(pm);
    out->rows = height < made.bottom ? (height > 0 ? height : 0) : made.bottom;
    out->columns = width < made.right ? (width > 0 ? width : 0) : made.right;
    return true;
}

extern "C" {

uint32_t* Uncompress(uint32_t* picture, int32_t* width, int32_t* height, int32_t* rowBytes)
{
    return ExpandPicture(UnboundedWords(picture), width, height, rowBytes);
}

GWorldPtr UncompressGWorld(uint32_t* picture, int32_t* width, int32_t* height, int32_t* rowBytes)
{
    const WordSpan span = UnboundedWords(picture);
    const auto w = static_cast<int32_t>(picture[kWidthWord]);
    const auto h = static_cast<int32_t>(picture[kHeightWord]);
    *width = w;
    *height = h;
    // A world's bounds hold 16 bits. A world of the sizes cut to 16 bits
    // would not hold the picture the out-arguments describe, so a picture
    // outside 0 to 32767 is not expanded at all; rowBytes is stored only
    // once there is a world.
    if (w < 0 || h < 0 || w > INT16_MAX || h > INT16_MAX)
        return nullptr;
    ExpansionWorld made;
    if (!NewExpansionWorld(w, h, &made))
        return nullptr;
    *rowBytes = made.rowBytes;
    const bool current = IsCurrentEncoding(span);
    for (int32_t r = 0; r < made.rows; r++)
        DecodeRowAs(current, span, static_cast<uint32_t>(r), static_cast<uint32_t>(made.columns),
                    RowAt(made.base, r, made.rowBytes));
    return made.world;
}

void UncompressRow(uint32_t* picture, uint32_t row, uint32_t width, uint32_t* dst)
{
    const WordSpan span = UnboundedWords(picture);
    if (!RowInPicture(span, row))
        return;
    DecodeRow(span, row, width, dst);
}

} // extern "C"

void UncompressRowCompress(uint32_t* picture, uint32_t row, uint32_t width, uint32_t* dst)
{
    const WordSpan span = UnboundedWords(picture);
    if (!RowInPicture(span, row))
        return;
    DecodeOlder(span, row, width, dst);
}

int32_t SwapBuffer(uint32_t* picture)
{
    // Pictures are little-endian and so is every machine the library runs
    // on: nothing to reverse.
    return static_cast<int32_t>(picture[kSizeWord] / 4);
}
