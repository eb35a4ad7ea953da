// Checks of packed pictures that come from outside the process.
//
// A picture that passes is one that every decoder expands without reading
// outside the bytes it was given: each row table entry points at the
// picture's rows, each packet lies whole inside the picture, and each row's
// packets cover exactly its width. The first fault found is reported as a
// short reason, such as
//
//     row 3: literal of 9 pixels at word 40 runs past the end of the picture
//
// and counts of the packets by kind are gathered on the way for a caller
// that wants to describe the picture.
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "packing/packing_p.h"

namespace {

constexpr uint32_t kRunBit = 0x80000000;
constexpr uint32_t kLastBit = 0x40000000;
constexpr uint32_t kCountMask = 0x3FFFFFFF;
constexpr int32_t kMaxSide = 32767;

// Every failure of a check goes through here.
__attribute__((format(printf, 2, 3))) Boolean Reject(PackedPictureInfo* info, const char* format,
                                                     ...)
{
    va_list args;
    va_start(args, format);
    std::vsnprintf(info->reason, sizeof info->reason, format, args);
    va_end(args);
    return 0;
}

// Unaligned reads: the bytes may come straight from a file buffer.
class ByteReader
{
  public:
    explicit ByteReader(const void* bytes) : mBytes(static_cast<const uint8_t*>(bytes)) {}

    uint32_t Word(size_t byteOffset) const
    {
        uint32_t word;
        std::memcpy(&word, mBytes + byteOffset, 4);
        return word;
    }

    uint8_t Byte(size_t byteOffset) const { return mBytes[byteOffset]; }

  private:
    const uint8_t* mBytes;
};

Boolean CheckSide(PackedPictureInfo* info, const char* name, int64_t value)
{
    if (value < 1 || value > kMaxSide)
        return Reject(info, "%s %lld is outside 1..%d", name, static_cast<long long>(value),
                      kMaxSide);
    return 1;
}

// Walks one row of either 32-bit encoding from word `at`.
Boolean CheckRow(PackedPictureInfo* info, const ByteReader& in, size_t words, int32_t row,
                 size_t at, bool older)
{
    const auto width = static_cast<uint64_t>(info->width);
    uint64_t covered = 0;
    for (;;) {
        if (at >= words)
            return Reject(info,
                          "row %d: packets run past the end of the picture after %llu of "
                          "%llu pixels",
                          row, static_cast<unsigned long long>(covered),
                          static_cast<unsigned long long>(width));
        const uint32_t control = in.Word(4 * at);
        uint32_t count = 1;
        if (control & kRunBit) {
            count = control & kCountMask;
            if (count == 0)
                return Reject(info, "row %d: run of 0 pixels at word %zu", row, at);
            if (at + 2 > words)
                return Reject(info, "row %d: run at word %zu runs past the end of the picture", row,
                              at);
            at += 2;
            info->runs++;
        } else if (older) {
            at += 1;
            info->literals++;
        } else {
            count = control & kCountMask;
            if (count == 0)
                return Reject(info, "row %d: literal of 0 pixels at word %zu", row, at);
            if (at + 1 + count > words)
                return Reject(info,
                              "row %d: literal of %u pixels at word %zu runs past the end of the "
                              "picture",
                              row, count, at);
            at += 1 + size_t{count};
            info->literals++;
        }
        if (count > width - covered)
            return Reject(info, "row %d: packets cover more than the width of %llu pixels", row,
                          static_cast<unsigned long long>(width));
        covered += count;
        if (control & kLastBit) {
            if (covered != width)
                return Reject(info, "row %d: packets cover %llu of %llu pixels", row,
                              static_cast<unsigned long long>(covered),
                              static_cast<unsigned long long>(width));
            return 1;
        }
        if (covered == width)
            return Reject(info, "row %d: its last packet lacks the last flag", row);
    }
}

Boolean CheckRow16(PackedPictureInfo* info, const ByteReader& in, size_t rowsEnd, int32_t row,
                   size_t at)
{
    const int32_t width = info->width;
    int32_t covered = 0;
    while (covered < width) {
        if (at >= rowsEnd)
            return Reject(info,
                          "row %d: packets run past the end of the picture after %d of %d "
                          "pixels",
                          row, covered, width);
        const uint8_t header = in.Byte(at);
        const int32_t count = (header & 0x7F) + 1;
        const size_t length = header & 0x80 ? 3 : 1 + 2 * size_t(count);
        if (at + length > rowsEnd)
            return Reject(info,
                          "row %d: %s of %d pixels at byte %zu runs past the end of the "
                          "picture",
                          row, header & 0x80 ? "run" : "literal", count, at);
        if (count > width - covered)
            return Reject(info, "row %d: packets cover more than the width of %d pixels", row,
                          width);
        if (header & 0x80)
            info->runs++;
        else
            info->literals++;
        covered += count;
        at += length;
    }
    return 1;
}

Boolean CheckPicture(const void* bytes, size_t length, PackedPictureInfo* info)
{
    if (length < 4 * kHeaderWords)
        return Reject(info, "%zu bytes are too few for the 24-byte header", length);
    if (!bytes)
        return Reject(info, "no picture");
    const ByteReader in(bytes);
    const auto* raw = static_cast<const uint8_t*>(bytes);
    bool older = false;
    if (std::memcmp(raw + 4, Signature, 8) == 0) {
        info->encoding = kPackedCurrent;
    } else if (std::memcmp(raw + 4, OldSignature, 8) == 0) {
        info->encoding = kPackedOlder;
        older = true;
    } else {
        return Reject(info, "the signature is neither \"%s\" nor \"%s\"", Signature, OldSignature);
    }
    info->width = static_cast<int32_t>(in.Word(4 * kWidthWord));
    info->height = static_cast<int32_t>(in.Word(4 * kHeightWord));
    info->size = in.Word(0);
    if (!CheckSide(info, "width", info->width) || !CheckSide(info, "height", info->height))
        return 0;
    if (info->size % 4 || info->size < 4 * kHeaderWords)
        return Reject(info, "size word %u is not a whole number of words from 24 up", info->size);
    if (info->size > length)
        return Reject(info, "size word says %u bytes but only %zu are there", info->size, length);
    const size_t words = info->size / 4;
    const size_t rowsStart = kHeaderWords + size_t(info->height);
    if (rowsStart > words)
        return Reject(info, "the row table of %d entries runs past the end of the picture",
                      info->height);
    for (int32_t r = 0; r < info->height; r++) {
        const uint32_t entry = in.Word(4 * (kHeaderWords + size_t(r)));
        if (older && (entry & kRunBit)) {
            info->filledRows++;
            continue;
        }
        if (entry < rowsStart || entry >= words)
            return Reject(info, "row %d: table entry %u points outside the picture's rows", r,
                          entry);
        if (!CheckRow(info, in, words, r, entry, older))
            return 0;
    }
    return 1;
}

Boolean CheckPicture16(const void* bytes, size_t length, PackedPictureInfo* info)
{
    info->encoding = kPacked16;
    if (length < 12)
        return Reject(info, "%zu bytes are too few for the 12-byte header", length);
    if (!bytes)
        return Reject(info, "no picture");
    const ByteReader in(bytes);
    const uint32_t width = in.Word(0);
    const uint32_t height = in.Word(4);
    const uint32_t size = in.Word(8);
    info->width = static_cast<int32_t>(width);
    info->height = static_cast<int32_t>(height);
    info->size = size + 12 < size ? UINT32_MAX : size + 12;
    if (!CheckSide(info, "width", width) || !CheckSide(info, "height", height))
        return 0;
    if (size > length - 12)
        return Reject(info, "size word says %u bytes after the header but only %zu are there", size,
                      length - 12);
    const size_t tableEnd = 12 + 4 * size_t{height};
    const size_t end = 12 + size_t{size};
    if (tableEnd > end)
        return Reject(info, "the row table of %u entries runs past the end of the picture", height);
    for (uint32_t r = 0; r < height; r++) {
        const uint32_t entry = in.Word(12 + 4 * size_t{r});
        if (entry >= end - tableEnd)
            return Reject(info, "row %u: table entry %u points outside the picture's rows", r,
                          entry);
        if (!CheckRow16(info, in, end, static_cast<int32_t>(r), tableEnd + entry))
            return 0;
    }
    return 1;
}

// The verdict of CheckPicture alone, for callers that want no reason and
// no counts (the picture pool checks every picture it stores this way).
// The same tests along the same walk, so the same answer; but each row is
// one tight loop that reads each packet's control word once. The kinds of
// packet are told apart by a branch, not a select: a run's length does not
// depend on its control word, so once the branch is predicted the walk
// over a row of runs does not wait for each word to be read.
template <bool kOlder>
bool RowIsSound(const uint8_t* bytes, size_t words, size_t at, uint64_t width)
{
    uint64_t covered = 0;
    for (;;) {
        // Room for the control word and, but for an older single pixel, at
        // least one more: no packet of 0 pixels passes.
        if (at + (kOlder ? 1 : 2) > words)
            return false;
        uint32_t control;
        std::memcpy(&control, bytes + 4 * at, 4);
        uint32_t count;
        if (control & kRunBit) {
            if (kOlder && at + 2 > words)
                return false;
            count = control & kCountMask;
            at += 2;
            asm("" : "+r"(at)); // keeps the branch: see above
        } else if (kOlder) {
            count = 1;
            at += 1;
        } else {
            count = control & kCountMask;
            at += 1 + size_t{count};
            if (at > words)
                return false;
        }
        if (count == 0)
            return false;
        covered += count;
        if (covered >= width || (control & kLastBit)) // the row must end here, and exactly
            return covered == width && (control & kLastBit);
    }
}

bool IsSoundPicture(const void* picture, size_t length)
{
    if (length < 4 * kHeaderWords || !picture)
        return false;
    const auto* bytes = static_cast<const uint8_t*>(picture);
    const bool current = std::memcmp(bytes + 4, Signature, 8) == 0;
    if (!current && std::memcmp(bytes + 4, OldSignature, 8) != 0)
        return false;
    int32_t width, height;
    uint32_t size;
    std::memcpy(&size, bytes, 4);
    std::memcpy(&width, bytes + 4 * kWidthWord, 4);
    std::memcpy(&height, bytes + 4 * kHeightWord, 4);
    if (width < 1 || width > kMaxSide || height < 1 || height > kMaxSide)
        return false;
    if (size % 4 || size < 4 * kHeaderWords || size > length)
        return false;
    const size_t words = size / 4;
    const size_t rowsStart = kHeaderWords + size_t(height);
    if (rowsStart > words)
        return false;
    for (size_t r = 0; r < size_t(height); r++) {
        uint32_t entry;
        std::memcpy(&entry, bytes + 4 * (kHeaderWords + r), 4);
        if (!current && (entry & kRunBit))
            continue;
        if (entry < rowsStart || entry >= words)
            return false;
        const bool sound = current ? RowIsSound<false>(bytes, words, entry, uint64_t(width))
                                   : RowIsSound<true>(bytes, words, entry, uint64_t(width));
        if (!sound)
            return false;
    }
    return true;
}

} // namespace

extern "C" {

Boolean CheckPackedPicture(const void* bytes, size_t length, PackedPictureInfo* info)
{
    if (!info)
        return IsSoundPicture(bytes, length);
    std::memset(info, 0, sizeof *info);
    return CheckPicture(bytes, length, info);
}

Boolean CheckPackedPicture16(const void* bytes, size_t length, PackedPictureInfo* info)
{
    PackedPictureInfo scratch;
    PackedPictureInfo* out = info ? info : &scratch;
    std::memset(out, 0, sizeof *out);
    return CheckPicture16(bytes, length, out);
}

} // extern "C"
