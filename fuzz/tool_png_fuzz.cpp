// Fuzz target for the sprig tool's reading of picture files and its packing.
//
// Every input is read as the tool reads a file (ReadPicture, within a pixel
// limit that keeps each run within a few megabytes): it must never take more
// bytes than its header allows. A PNG, its chunk CRCs made right first so
// that mutations reach the decoder, is decoded with DecodePng, which must
// agree with the header on the size; a decoded picture packs in the 32-bit
// layout to a picture that passes CheckPackedPicture and expands to the same
// pixels, and in the sixteen-bit layout to one that passes
// CheckPackedPicture16 and expands to pixels that give the same 16-bit
// values. Any other input goes through the tool's packed file check, which
// must accept only pictures of the header's size and length.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "sprig/packing.h"
#include "tools/file_io.h"
#include "tools/packed_file.h"

namespace {

constexpr uint64_t kMaxPixels = 1 << 18;

uint32_t BigWord(const uint8_t* p)
{
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

// Rewrites the CRC of every whole chunk after the PNG signature.
void FixChunkCrcs(std::vector<uint8_t>& png)
{
    size_t at = 8;
    while (at + 12 <= png.size()) {
        const uint64_t length = BigWord(&png[at]);
        if (length > png.size() - at - 12)
            break;
        const uLong crc = crc32(0, &png[at + 4], static_cast<uInt>(length + 4));
        for (int i = 0; i < 4; i++)
            png[at + 8 + length + i] = static_cast<uint8_t>(crc >> (24 - 8 * i));
        at += 12 + length;
    }
}

bool Read(const std::vector<uint8_t>& bytes, PictureFile* file)
{
    size_t at = 0;
    const auto read = [&](uint8_t* into, size_t count) -> long {
        const size_t got = std::min(count, bytes.size() - at);
        if (got)
            std::memcpy(into, bytes.data() + at, got);
        at += got;
        return static_cast<long>(got);
    };
    std::string error;
    const bool ok = ReadPicture("input", read, -1, kMaxPixels, file, &error);
    Require(ok || !error.empty());
    if (ok) {
        Require(file->length <= bytes.size());
        Require(!file->length || std::memcmp(file->Bytes(), bytes.data(), file->length) == 0);
        const PictureHeader& header = file->header;
        // The header's bytes, and of a packed picture one byte past its end.
        uint64_t most = kPictureHeaderBytes;
        if (header.SidesInRange() && header.kind != PictureKind::kPng)
            most = std::max(most, header.declaredBytes + 1);
        Require(header.kind == PictureKind::kPng || file->length <= most);
    }
    return ok;
}

void PackBothWays(const PixelImage& image)
{
    const size_t count = image.pixels.size();
    PackedBlock packed;
    Require(PackImage(image, false, &packed));
    PackedPictureInfo info;
    Require(CheckPackedPicture(packed.data.get(), packed.size, &info) && info.size == packed.size);
    int32_t width, height, rowBytes;
    std::unique_ptr<uint32_t[]> pixels(Uncompress(packed.data.get(), &width, &height, &rowBytes));
    Require(width == image.width && height == image.height);
    Require(std::memcmp(pixels.get(), image.pixels.data(), 4 * count) == 0);

    PackedBlock packed16;
    Require(PackImage(image, true, &packed16));
    Require(CheckPackedPicture16(packed16.data.get(), packed16.size, &info) &&
            info.size == packed16.size && info.width == image.width && info.height == image.height);
    const auto* bytes = reinterpret_cast<const uint8_t*>(packed16.data.get());
    std::vector<uint32_t> row(size_t(image.width));
    for (int32_t r = 0; r < image.height; r++) {
        uint32_t entry;
        std::memcpy(&entry, bytes + 12 + 4 * size_t(r), 4);
        char* start =
            reinterpret_cast<char*>(packed16.data.get()) + 12 + 4 * size_t(image.height) + entry;
        Require(UncompressRow16(start, image.width, row.data()) == image.width);
        const uint32_t* original = image.pixels.data() + size_t(r) * image.width;
        for (int32_t h = 0; h < image.width; h++)
            Require(To16(row[size_t(h)]) == To16(original[h]));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> bytes(data, data + size);
    const PictureHeader header = ReadPictureHeader(data, size);
    if (header.kind == PictureKind::kPng)
        FixChunkCrcs(bytes);
    PictureFile file;
    if (!Read(bytes, &file))
        return 0;
    std::string error;
    if (header.kind == PictureKind::kPng) {
        PixelImage image;
        if (!DecodePng("input", file.Bytes(), file.length, kMaxPixels, &image, &error))
            return 0;
        Require(header.hasSize && image.width == header.width && image.height == header.height);
        PackBothWays(image);
        return 0;
    }
    PackedFile packed;
    if (TakePackedFile("input", std::move(file), &packed, &error)) {
        Require(header.SidesInRange());
        Require(packed.info.width == header.width && packed.info.height == header.height);
        Require(packed.length == header.declaredBytes && packed.info.size == packed.length);
    }
    return 0;
}
