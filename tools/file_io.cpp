#include "tools/file_io.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <png.h>

#include "sprig/packing.h"

namespace {

const uint8_t kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

uint32_t LittleWord(const uint8_t* p)
{
    return uint32_t{p[0]} | uint32_t{p[1]} << 8 | uint32_t{p[2]} << 16 | uint32_t{p[3]} << 24;
}

uint32_t BigWord(const uint8_t* p)
{
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | uint32_t{p[3]};
}

std::string SizeText(int64_t width, int64_t height)
{
    return std::to_string(width) + " x " + std::to_string(height);
}

bool SidesInRange(int64_t width, int64_t height)
{
    return width >= 1 && height >= 1 && width <= 32767 && height <= 32767;
}

std::string SidesError(const std::string& name, int64_t width, int64_t height)
{
    return name + ": a PNG of " + SizeText(width, height) + " pixels is outside 1..32767 each way";
}

// The most bytes read for a picture of width x height (sides in range).
uint64_t MaxFileBytes(int64_t width, int64_t height)
{
    return kFileBytesPerPixel * uint64_t(width) * uint64_t(height) +
           kFileBytesPerRow * uint64_t(height) + kFileBytesSlack;
}

// Reads from `read` until the file holds upTo bytes or the source ends,
// growing the buffer as the bytes come (to fileSize + 1 at once when the
// length is known). False on a read error.
bool Fill(const std::function<long(uint8_t*, size_t)>& read, int64_t fileSize, uint64_t upTo,
          PictureFile* file)
{
    while (file->length < upTo) {
        uint64_t capacity = 4 * uint64_t{file->words.size()};
        if (file->length == capacity) {
            const uint64_t known = fileSize >= 0 ? uint64_t(fileSize) + 1 : 0;
            capacity = std::min(upTo, std::max({2 * capacity, uint64_t{65536}, known}));
            file->words.resize((capacity + 3) / 4);
        }
        const size_t wanted = static_cast<size_t>(std::min(capacity, upTo) - file->length);
        const long got =
            read(reinterpret_cast<uint8_t*>(file->words.data()) + file->length, wanted);
        if (got < 0)
            return false;
        if (got == 0)
            break;
        file->length += static_cast<size_t>(got);
    }
    return true;
}

// The first chunk after the signature whose length runs past the end of the
// bytes: libpng would allocate that length before finding out.
bool FindOverlongChunk(const uint8_t* bytes, size_t length, std::string* problem)
{
    size_t at = 8;
    while (at + 8 <= length) {
        const uint64_t chunk = BigWord(bytes + at);
        const std::string type(reinterpret_cast<const char*>(bytes + at + 4), 4);
        if (chunk > length - at - 8) {
            *problem = "a chunk of " + std::to_string(chunk) + " bytes at byte " +
                       std::to_string(at) + " runs past the end of the file";
            return true;
        }
        if (type == "IEND")
            break;
        at += 12 + chunk;
    }
    return false;
}

} // namespace

PictureHeader ReadPictureHeader(const uint8_t* bytes, size_t length)
{
    PictureHeader header;
    if (length >= 8 && std::memcmp(bytes, kPngSignature, 8) == 0) {
        header.kind = PictureKind::kPng;
        // IHDR comes first: length, "IHDR", width, height (big-endian).
        if (length >= 24 && std::memcmp(bytes + 12, "IHDR", 4) == 0) {
            header.hasSize = true;
            header.width = BigWord(bytes + 16);
            header.height = BigWord(bytes + 20);
        }
        return header;
    }
    if (length >= 12 && (std::memcmp(bytes + 4, Signature, 8) == 0 ||
                         std::memcmp(bytes + 4, OldSignature, 8) == 0)) {
        header.kind = PictureKind::kPacked;
        header.declaredBytes = LittleWord(bytes);
        if (length >= 24) {
            header.hasSize = true;
            header.width = static_cast<int32_t>(LittleWord(bytes + 16));
            header.height = static_cast<int32_t>(LittleWord(bytes + 20));
        }
        return header;
    }
    // Without a signature, only a sensible sixteen-bit header makes the
    // file worth reading further.
    if (length >= 12 && SidesInRange(LittleWord(bytes), LittleWord(bytes + 4))) {
        header.kind = PictureKind::kPacked16;
        header.hasSize = true;
        header.width = LittleWord(bytes);
        header.height = LittleWord(bytes + 4);
        header.declaredBytes = uint64_t{LittleWord(bytes + 8)} + 12;
    }
    return header;
}

std::string PixelLimitError(const std::string& name, int64_t width, int64_t height,
                            uint64_t maxPixels)
{
    return name + ": a " + SizeText(width, height) + " picture has " +
           std::to_string(uint64_t(width) * uint64_t(height)) + " pixels, more than the limit of " +
           std::to_string(maxPixels) + " (see --max-pixels)";
}

bool ReadPicture(const std::string& name, const std::function<long(uint8_t*, size_t)>& read,
                 int64_t fileSize, uint64_t maxPixels, PictureFile* file, std::string* error)
{
    *file = PictureFile();
    file->fileSize = fileSize;
    if (!Fill(read, fileSize, kPictureHeaderBytes, file)) {
        *error = name + ": cannot read: " + std::strerror(errno);
        return false;
    }
    const PictureHeader header = ReadPictureHeader(file->Bytes(), file->length);
    file->header = header;
    const bool png = header.kind == PictureKind::kPng;
    // By default nothing more: the header alone shows what is wrong.
    uint64_t upTo = file->length;
    uint64_t bound = 0;
    std::string most; // "N bytes the tool reads for a W x H picture"
    if (png && header.hasSize && !header.SidesInRange()) {
        *error = SidesError(name, header.width, header.height);
        return false;
    }
    if (header.SidesInRange()) {
        if (uint64_t(header.width) * uint64_t(header.height) > maxPixels) {
            *error = PixelLimitError(name, header.width, header.height, maxPixels);
            return false;
        }
        bound = MaxFileBytes(header.width, header.height);
        most = std::to_string(bound) + " bytes the tool reads for a " +
               SizeText(header.width, header.height) + " picture";
        if (png && fileSize >= 0 && uint64_t(fileSize) > bound) {
            *error = name + ": " + std::to_string(fileSize) + " bytes, more than the " + most;
            return false;
        }
        if (!png && header.declaredBytes > bound) {
            *error = name + ": the size word says " + std::to_string(header.declaredBytes) +
                     " bytes, more than the " + most;
            return false;
        }
        // One byte more than the picture may take tells whether more follow.
        upTo = (png ? bound : header.declaredBytes) + 1;
    } else if (png) {
        upTo = kFileBytesSlack; // no size to go by: let the decoder say what is wrong
    }
    if (!Fill(read, fileSize, upTo, file)) {
        *error = name + ": cannot read: " + std::strerror(errno);
        return false;
    }
    if (png && bound && file->length > bound) {
        *error = name + ": more than the " + most;
        return false;
    }
    file->words.resize((file->length + 3) / 4);
    return true;
}

bool ReadPictureFile(const std::string& path, uint64_t maxPixels, PictureFile* file,
                     std::string* error)
{
    std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(path.c_str(), "rb"), &std::fclose);
    struct stat info;
    if (!stream || fstat(fileno(stream.get()), &info) != 0) {
        *error = path + ": cannot open: " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(info.st_mode)) {
        *error = path + ": a folder, not a picture file";
        return false;
    }
    FILE* in = stream.get();
    const auto read = [in](uint8_t* into, size_t count) -> long {
        const size_t got = std::fread(into, 1, count, in);
        return got == 0 && std::ferror(in) ? -1 : static_cast<long>(got);
    };
    return ReadPicture(path, read, S_ISREG(info.st_mode) ? int64_t{info.st_size} : -1, maxPixels,
                       file, error);
}

bool DecodePng(const std::string& name, const uint8_t* bytes, size_t length, uint64_t maxPixels,
               PixelImage* image, std::string* error)
{
    std::string problem;
    if (length >= 8 && std::memcmp(bytes, kPngSignature, 8) == 0 &&
        FindOverlongChunk(bytes, length, &problem)) {
        *error = name + ": damaged PNG file (" + problem + ")";
        return false;
    }
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, bytes, length)) {
        *error = name + ": not a readable PNG file (" + png.message + ")";
        return false;
    }
    const int64_t width = png.width;
    const int64_t height = png.height;
    if (!SidesInRange(width, height) || uint64_t(width) * uint64_t(height) > maxPixels) {
        *error = SidesInRange(width, height) ? PixelLimitError(name, width, height, maxPixels)
                                             : SidesError(name, width, height);
        png_image_free(&png);
        return false;
    }
    // PNG_FORMAT_ARGB is our pixel layout: alpha first, straight alpha.
    png.format = PNG_FORMAT_ARGB;
    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    try {
        image->pixels.assign(static_cast<size_t>(width * height), 0);
    } catch (const std::bad_alloc&) {
        *error = name + ": not enough memory for a " + SizeText(width, height) + " picture";
        png_image_free(&png);
        return false;
    }
    if (!png_image_finish_read(&png, nullptr, image->pixels.data(), 0, nullptr)) {
        *error = name + ": damaged PNG file (" + png.message + ")";
        png_image_free(&png);
        return false;
    }
    return true;
}

bool ReadPng(const std::string& path, uint64_t maxPixels, PixelImage* image, std::string* error)
{
    PictureFile file;
    if (!ReadPictureFile(path, maxPixels, &file, error))
        return false;
    if (file.header.kind != PictureKind::kPng) {
        *error = path + ": not a PNG file";
        return false;
    }
    return DecodePng(path, file.Bytes(), file.length, maxPixels, image, error);
}
