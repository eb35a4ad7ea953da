// sprig fingerprint: the two fingerprints a host keeps in its fingerprint
// table for each picture file: the 16-digit fingerprint of the picture's
// pixels (as a 32-bit world) and the MD5 of the file's bytes.
#include <cstdio>
#include <cstring>
#include <memory>

#include "sprig/fingerprints.h"
#include "sprig/packing.h"
#include "sprig/platform.h"
#include "tools/command.h"
#include "tools/file_io.h"
#include "tools/packed_file.h"
#include "tools/world.h"

namespace {

// Worlds keep their row bytes in 14 bits: 4092 pixels of 4 bytes, padded.
constexpr int kMaxWorldWidth = 4092;

// Copies a decoded PNG into a new world and takes the fingerprint of its
// pixels.
bool FingerprintPng(const std::string& path, const PictureFile& file, uint64_t maxPixels,
                    char* fingerprint, std::string* error)
{
    PixelImage image;
    if (!DecodePng(path, file.Bytes(), file.length, maxPixels, &image, error))
        return false;
    WorldPtr owner = NewWorld(image.width, image.height, error);
    if (!owner) {
        *error = path + ": " + *error;
        return false;
    }
    GWorldPtr world = owner.get();
    PixMapHandle pm = GetGWorldPixMap(world);
    LockPixels(pm);
    char* base = GetPixBaseAddr(pm);
    const size_t rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    const size_t imageRowBytes = 4 * static_cast<size_t>(image.width);
    for (int v = 0; v < image.height; v++)
        std::memcpy(base + static_cast<size_t>(v) * rowBytes,
                    image.pixels.data() + static_cast<size_t>(v) * image.width, imageRowBytes);
    UnlockPixels(pm);
    GetHashBitmap16(world, fingerprint);
    return true;
}

// Expands a checked packed picture of either layout into a world and takes
// the fingerprint of its pixels.
bool FingerprintPacked(const std::string& path, PackedFile& file, char* fingerprint,
                       std::string* error)
{
    const int32_t width = file.info.width;
    const int32_t height = file.info.height;
    int32_t w = 0, h = 0, rowBytes = 0;
    GWorldPtr world =
        file.IsSixteenBit()
            ? Uncompress16(reinterpret_cast<char*>(file.words.data()) + 12, width, height)
            : UncompressGWorld(file.words.data(), &w, &h, &rowBytes);
    if (!world) {
        *error = path + ": cannot make a " + std::to_string(width) + " x " +
                 std::to_string(height) + " world";
        return false;
    }
    WorldPtr owner(world);
    UnlockPixels(GetGWorldPixMap(world));
    GetHashBitmap16(world, fingerprint);
    return true;
}

// One file: prints its line, or says what is wrong with it.
bool FingerprintFile(const std::string& path, uint64_t maxPixels, std::string* error)
{
    PictureFile file;
    if (!ReadPictureFile(path, maxPixels, &file, error))
        return false;
    const PictureHeader header = file.header;
    if (header.kind == PictureKind::kUnknown) {
        *error = path + ": not a PNG or packed picture";
        return false;
    }
    // Refused from the header, before anything is decoded.
    if (header.hasSize && header.width > kMaxWorldWidth) {
        *error = path + ": " + std::to_string(header.width) + " pixels wide; worlds hold at most " +
                 std::to_string(kMaxWorldWidth);
        return false;
    }
    char pixels[17];
    const uint8_t* bytes = file.Bytes();
    size_t length = file.length;
    PackedFile packed;
    if (header.kind == PictureKind::kPng) {
        if (!FingerprintPng(path, file, maxPixels, pixels, error))
            return false;
    } else {
        if (!TakePackedFile(path, std::move(file), &packed, error) ||
            !FingerprintPacked(path, packed, pixels, error))
            return false;
        bytes = packed.Bytes();
        length = packed.length;
    }
    char md5[33];
    GetHashBitmap32(bytes, static_cast<uint32_t>(length), md5);
    if (!md5[0]) {
        *error = path + ": MD5 is not available from the crypto library";
        return false;
    }
    std::printf("%s %s %s\n", pixels, md5, path.c_str());
    return true;
}

int RunFingerprint(const std::vector<std::string>& given)
{
    std::vector<std::string> args = given;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&args, &maxPixels, &error))
        return Fail(error);
    std::vector<std::string> files;
    bool options = true;
    for (const std::string& arg : args) {
        if (options && arg == "--") {
            options = false;
        } else if (options && arg.size() > 1 && arg[0] == '-') {
            return Fail("fingerprint: unexpected option '" + arg +
                        "' (see sprig fingerprint --help)");
        } else {
            files.push_back(arg);
        }
    }
    if (files.empty())
        return Fail("fingerprint: no files given (see sprig fingerprint --help)");
    bool ok = true;
    for (const std::string& path : files) {
        if (!FingerprintFile(path, maxPixels, &error)) {
            Fail(error);
            ok = false;
        }
        std::fflush(stdout);
    }
    return ok ? 0 : 1;
}

const CommandRegistration registration({
    "fingerprint",
    "FILE... [--max-pixels N]",
    "print the pixel fingerprint and the MD5 of picture files",
    "For each PNG file or packed picture (either 32-bit encoding or the\n"
    "sixteen-bit layout), prints one line:\n"
    "\n"
    "  PIXELS MD5 FILE\n"
    "\n"
    "PIXELS is the 16-digit fingerprint of the picture's pixels in a 32-bit world\n"
    "(GetHashBitmap16), MD5 the 32-digit MD5 of the file's bytes (GetHashBitmap32):\n"
    "the two keys a host puts in its fingerprint table. A file that cannot be read\n"
    "or is not a picture is reported on standard error and the others are still\n"
    "done; the exit status is then 1. Packed pictures are checked before they are\n"
    "expanded. Pictures wider than 4092 pixels do not fit a world and are\n"
    "reported too, from their header.\n"
    "\n" SPRIG_MAX_PIXELS_HELP,
    RunFingerprint,
});

} // namespace
