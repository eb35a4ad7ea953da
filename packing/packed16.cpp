// The sixteen-bit packed picture: its writer classes and its decoder.
//
// Layout (byte-oriented, multi-byte numbers little-endian):
//
//     0      width
//     4      height
//     8      size: bytes after this 12-byte header (row table and rows)
//     12     row table: height 32-bit byte offsets, counted from the first
//            byte after the table
//     ...    rows, one after another, without padding
//
// A row is a sequence of packets with no end mark; their counts add up to
// the width. Each packet starts with one header byte [run:1][count - 1:7]:
// a run is followed by one 16-bit x1r5g5b5 value (3 bytes in all), a
// literal by count values (1 + 2 x count bytes); values are stored low byte
// first. A 3 x 1 picture of 0x001F 0x001F 0x7C00:
//
//     03 00 00 00  01 00 00 00  0B 00 00 00    width 3, height 1, size 11
//     00 00 00 00                              row 0 at offset 0
//     81 1F 00                                 run of 2 of 0x001F
//     00 00 7C                                 literal of 1: 0x7C00
//
// Expanded, each value becomes an opaque pixel through WordToRGB, channel by
// channel; 0xFFFE and 0xFFFF become the transparent pixel word 0xFF7FFF00.
// The writer makes runs of at most 128 values and literals of at most 127,
// or 128 when a single value of the row would be left after it.
#include <cstdlib>
#include <cstring>
#include <new>

#include "packing/packing_p.h"
#include "sprig/foundation.h"

namespace {

constexpr uint32_t kMaxRun = 128;
constexpr uint32_t kMaxLiteral = 127;
constexpr uint32_t kTransparentWord = 0xFF7FFF00;

// A 16-bit value as a pixel word:
// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
inline uint32_t Expand16(uint32_t v)
{
    if (v >= 0xFFFE)
        return kTransparentWord;
    return (uint32_t{WordToRGB[v & 31]} << 24) | (uint32_t{WordToRGB[(v >> 5) & 31]} << 16) |
           (uint32_t{WordToRGB[(v >> 10) & 31]} << 8) | 0xFF;
}

inline uint32_t Value16(const uint8_t* p)
{
    return uint32_t{p[0]} | (uint32_t{p[1]} << 8);
}

inline void Store16(uint8_t* p, uint32_t value)
{
    p[0] = static_cast<uint8_t>(value);
    p[1] = static_cast<uint8_t>(value >> 8);
}

inline uint32_t LoadWord(const uint32_t* at)
{
    uint32_t word;
    std::memcpy(&word, at, 4);
    return word;
}

inline void StoreWord(uint32_t* at, uint32_t word)
{
    std::memcpy(at, &word, 4);
}

inline uint32_t* Advance(uint32_t* cursor, size_t bytes)
{
    return reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(cursor) + bytes);
}

// The length of the run that starts at values[i], at most kMaxRun.
inline uint32_t RunLength(const uint32_t* values, uint32_t i, uint32_t width)
{
    uint32_t length = 1;
    while (i + length < width && length < kMaxRun && values[i + length] == values[i])
        length++;
    return length;
}

} // namespace

int32_t DecodeRow16(ByteSpan span, size_t at, int32_t width, uint32_t* dst)
{
    int32_t n = 0;
    while (n < width && span.Has(at, 1)) {
        const uint8_t header = span.bytes[at];
        const int32_t count = (header & 0x7F) + 1;
        const int32_t room = width - n;
        const int32_t take = count < room ? count : room;
        if (header & 0x80) {
            if (!span.Has(at + 1, 2))
                break;
            const uint32_t pixel = Expand16(Value16(span.bytes + at + 1));
            for (int32_t i = 0; i < take; i++)
                dst[n + i] = pixel;
            at += 3;
        } else {
            if (!span.Has(at + 1, 2 * size_t(count)))
                break;
            const uint8_t* p = span.bytes + at + 1;
            for (int32_t i = 0; i < take; i++)
                dst[n + i] = Expand16(Value16(p + 2 * i));
            at += 1 + 2 * size_t(count);
        }
        n += take;
    }
    return n;
}

int32_t UncompressRow16(char* row, int32_t width, uint32_t* dst)
{
    if (width <= 0)
        return 0;
    return DecodeRow16(UnboundedBytes(row), 0, width, dst);
}

extern "C" GWorldPtr Uncompress16(char* picture, int32_t width, int32_t height)
{
    ExpansionWorld made;
    if (!NewExpansionWorld(width, height, &made))
        return nullptr;
    // Read only the table entries of the rows the world holds.
    const uint32_t rows = height > 0 ? static_cast<uint32_t>(height) : 0;
    const auto decoded = static_cast<uint32_t>(made.rows);
    CRowTable table(decoded);
    auto* cursor = reinterpret_cast<uint32_t*>(picture);
    cursor >> table;
    const ByteSpan span = UnboundedBytes(picture);
    const size_t rowsStart = 4 * size_t{rows};
    for (uint32_t r = 0; r < decoded; r++) {
        auto* dst =
            reinterpret_cast<uint32_t*>(made.base + static_cast<ptrdiff_t>(r) * made.rowBytes);
        DecodeRow16(span, rowsStart + table.entries[r], made.columns, dst);
    }
    UnlockPixels(GetGWorldPixMap(made.world));
    return made.world;
}

CHeader::CHeader() : width(0), height(0), size(0) {}

CHeader::CHeader(uint32_t width_, uint32_t height_, uint32_t size_)
    : width(width_), height(height_), size(size_)
{
}

CRowTable::CRowTable(uint32_t count_) : entries(new uint32_t[count_]()), count(count_) {}

CRowTable::CRowTable(CPicture& picture)
    : entries(new uint32_t[picture.rowCount]()), count(picture.rowCount)
{
    uint32_t offset = 0;
    for (uint32_t r = 0; r < count; r++) {
        entries[r] = offset;
        offset += picture.rows[r]->GetSize();
    }
}

CRowTable::~CRowTable()
{
    delete[] entries;
}

CPacket::CPacket() : header(0) {}

CSequencePacket::CSequencePacket(uint32_t value, uint32_t count)
{
    header = static_cast<uint8_t>(((count - 1) & 0xFF) | 0x80);
    Store16(reinterpret_cast<uint8_t*>(this) + 1, value);
}

uint32_t CSequencePacket::Size() const
{
    return 3;
}

CSimplePacket::CSimplePacket(const uint32_t* values, uint32_t count)
{
    header = static_cast<uint8_t>(count - 1);
    uint8_t* out = reinterpret_cast<uint8_t*>(this) + 1;
    for (uint32_t i = 0; i < count; i++)
        Store16(out + 2 * i, values[i]);
}

uint32_t CSimplePacket::Size() const
{
    return 2 * uint32_t{header} + 3;
}

uint32_t CPackedRow::PackRow(uint32_t* values, uint32_t width, uint32_t* literals, uint32_t* out)
{
    auto* at = reinterpret_cast<uint8_t*>(out);
    uint32_t length = 0;
    const uint32_t last = width - 1;
    uint32_t i = 0;
    while (i < width) {
        if (i < last && values[i] == values[i + 1]) {
            const uint32_t run = RunLength(values, i, width);
            if (at)
                length += (new (at + length) CSequencePacket(values[i], run))->Size();
            else
                length += 3;
            i += run;
            continue;
        }
        uint32_t count = 0;
        uint32_t j = i;
        for (;;) {
            literals[count++] = values[j++];
            if (j >= width || count == kMaxLiteral)
                break;
            if (j < last && values[j] == values[j + 1])
                break;
        }
        if (j == last)
            literals[count++] = values[j++];
        if (at)
            length += (new (at + length) CSimplePacket(literals, count))->Size();
        else
            length += 1 + 2 * count;
        i = j;
    }
    return length;
}

CPackedRow::CPackedRow(uint32_t* values, uint32_t width, uint32_t* literals, uint16_t* out)
    : size(PackRow(values, width, literals, reinterpret_cast<uint32_t*>(out))),
      data(new uint8_t[size])
{
    std::memcpy(data, out, size);
}

CPackedRow::~CPackedRow()
{
    delete[] data;
}

CPicture::CPicture(uint32_t width, uint32_t height, uint32_t stride, uint32_t* values) : rowCount(0)
{
    // One literal buffer and one row buffer serve every row; a row never
    // needs more than 3 bytes a value.
    uint32_t* literals = new uint32_t[2 * size_t{width}];
    uint16_t* rowBuffer = new uint16_t[2 * size_t{width}];
    try {
        rows.reserve(height);
        for (uint32_t r = 0; r < height; r++)
            rows.push_back(new CPackedRow(values + size_t{r} * stride, width, literals, rowBuffer));
    } catch (...) {
        for (CPackedRow* row : rows)
            delete row;
        delete[] literals;
        delete[] rowBuffer;
        throw;
    }
    delete[] literals;
    delete[] rowBuffer;
    rowCount = static_cast<uint32_t>(rows.size());
}

CPicture::~CPicture()
{
    for (CPackedRow* row : rows)
        delete row;
}

uint32_t CPicture::GetSize() const
{
    uint32_t total = 0;
    for (uint32_t r = 0; r < rowCount; r++)
        total += rows[r]->GetSize();
    return total;
}

CPackedPict::CPackedPict(int32_t width, int32_t height, int32_t stride, uint32_t* values)
    : picture(nullptr), rowTable(nullptr), header(nullptr)
{
    const uint32_t w = width > 0 ? static_cast<uint32_t>(width) : 0;
    const uint32_t h = height > 0 ? static_cast<uint32_t>(height) : 0;
    picture = new CPicture(w, h, static_cast<uint32_t>(stride), values);
    try {
        rowTable = new CRowTable(*picture);
        header = new CHeader(w, h, picture->GetSize() + 4 * rowTable->count);
    } catch (...) {
        delete rowTable;
        delete picture;
        throw;
    }
}

CPackedPict::~CPackedPict()
{
    delete header;
    delete rowTable;
    delete picture;
}

uint32_t* CPackedPict::GetPackedData(uint32_t& size)
{
    size = picture->GetSize() + 4 * rowTable->count + header->GetSize();
    auto* block = static_cast<uint32_t*>(std::malloc(size));
    if (!block)
        return nullptr;
    uint32_t* cursor = block;
    cursor << *header;
    cursor << *rowTable;
    cursor << *picture;
    return block;
}

uint32_t* operator<<(uint32_t*& cursor, CHeader& header)
{
    StoreWord(cursor, header.width);
    StoreWord(cursor + 1, header.height);
    StoreWord(cursor + 2, header.size);
    cursor = Advance(cursor, 12);
    return cursor;
}

uint32_t* operator>>(uint32_t*& cursor, CHeader& header)
{
    header.width = LoadWord(cursor);
    header.height = LoadWord(cursor + 1);
    header.size = LoadWord(cursor + 2);
    cursor = Advance(cursor, 12);
    return cursor;
}

uint32_t* operator<<(uint32_t*& cursor, CRowTable& table)
{
    std::memcpy(cursor, table.entries, 4 * size_t{table.count});
    cursor = Advance(cursor, 4 * size_t{table.count});
    return cursor;
}

uint32_t* operator>>(uint32_t*& cursor, CRowTable& table)
{
    std::memcpy(table.entries, cursor, 4 * size_t{table.count});
    cursor = Advance(cursor, 4 * size_t{table.count});
    return cursor;
}

uint32_t* operator<<(uint32_t*& cursor, CPackedRow& row)
{
    std::memcpy(cursor, row.data, row.size);
    cursor = Advance(cursor, row.size);
    return cursor;
}

uint32_t* operator<<(uint32_t*& cursor, CPicture& picture)
{
    for (uint32_t r = 0; r < picture.rowCount; r++)
        cursor << *picture.rows[r];
    return cursor;
}
