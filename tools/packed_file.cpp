#include "tools/packed_file.h"

#include <cstring>
#include <new>

#include "sprig/foundation.h"

bool TakePackedFile(const std::string& path, PictureFile&& file, PackedFile* packed,
                    std::string* error)
{
    const PictureHeader& header = file.header;
    PackedPictureInfo& info = packed->info;
    std::memset(&info, 0, sizeof info);
    if (header.kind == PictureKind::kPng) {
        *error = path + ": a PNG file, not a packed picture (see sprig pack)";
        return false;
    }
    if (header.kind == PictureKind::kPacked) {
        if (!CheckPackedPicture(file.Bytes(), file.length, &info)) {
            *error = path + ": damaged packed picture: " + info.reason;
            return false;
        }
    } else if (!CheckPackedPicture16(file.Bytes(), file.length, &info)) {
        *error = path + ": not a packed picture (no \"" + Signature + "\" or \"" + OldSignature +
                 "\" signature; as a sixteen-bit packed picture: " + info.reason + ")";
        return false;
    }
    // Bytes after the picture were read only as far as the first; a regular
    // file's length tells how many there are.
    if (file.length > info.size) {
        const std::string count = file.fileSize > int64_t{info.size}
                                      ? std::to_string(uint64_t(file.fileSize) - info.size) + " "
                                      : "";
        *error = path + ": " + count + "stray bytes after the end of the picture (byte " +
                 std::to_string(info.size) + ")";
        return false;
    }
    packed->length = file.length;
    packed->words = std::move(file.words);
    return true;
}

bool LoadPackedFile(const std::string& path, uint64_t maxPixels, PackedFile* file,
                    std::string* error)
{
    PictureFile read;
    return ReadPictureFile(path, maxPixels, &read, error) &&
           TakePackedFile(path, std::move(read), file, error);
}

std::string DescribeLayout(const PackedPictureInfo& info)
{
    switch (info.encoding) {
    case kPackedCurrent:
        return std::string("32-bit packed picture, current encoding (") + Signature + ")";
    case kPackedOlder:
        return std::string("32-bit packed picture, older encoding (") + OldSignature + ")";
    case kPacked16:
        return "sixteen-bit packed picture";
    default:
        return "unknown";
    }
}

// Alpha below 128 is transparent (0xFFFF); anything else keeps the top five
// bits of each channel.
// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA] -> [0][RRRRR][GGGGG][BBBBB]
uint32_t To16(uint32_t pixel)
{
    if ((pixel & 0xFF) < 0x80)
        return 0xFFFF;
    return (uint32_t{RGBToWord[(pixel >> 8) & 0xFF]} << 10) |
           (uint32_t{RGBToWord[(pixel >> 16) & 0xFF]} << 5) | RGBToWord[pixel >> 24];
}

bool PackImage(PixelImage image, bool sixteen, PackedBlock* packed)
{
    if (!sixteen) {
        packed->data.reset(
            CompressBuffer(image.pixels.data(), image.width, image.height, 4 * image.width));
        packed->size = packed->data ? packed->data.get()[0] : 0;
        return packed->data != nullptr;
    }
    // The values take the pixels' place: a picture at the limit is not held
    // twice.
    for (uint32_t& pixel : image.pixels)
        pixel = To16(pixel);
    try {
        CPackedPict pict(image.width, image.height, image.width, image.pixels.data());
        image.pixels = std::vector<uint32_t>();
        packed->data.reset(pict.GetPackedData(packed->size));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return packed->data != nullptr;
}
