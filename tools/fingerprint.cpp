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
#include "tools/world.h"

namespace {

// Worlds keep their row bytes in 14 bits: 4092 pixels of 4 bytes, padded.
constexpr int kMaxWorldWidth = 4092;

bool IsPng(const std::vector<uint8_t>& bytes)
{
    static const uint8_t kMagic[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return bytes.size() >= sizeof kMagic && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

// Reads a PNG into a new world and takes the fingerprint of its pixels.
bool FingerprintPng(const std::string& path, char* fingerprint, std::string* error)
{
    PixelImage image;
    if (!ReadPng(path, &image, error))
        return false;
    if (image.width > kMaxWorldWidth) {
        *error = path + ": " + std::to_string(image.width) + " pixels wide; worlds hold at most " +
                 std::to_string(kMaxWorldWidth);
        return false;
    }
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

// True when the file carries one of the two packed signatures at bytes 4-11.
bool HasPackedSignature(const std::vector<uint8_t>& bytes)
{
    return bytes.size() >= 12 && (std::memcmp(bytes.data() + 4, Signature, 8) == 0 ||
                                  std::memcmp(bytes.data() + 4, OldSignature, 8) == 0);
}

// Checks a packed picture, expands it into a world and takes the fingerprint
// of its pixels. A picture that fails the check is never decoded.
bool FingerprintPacked(const std::string& path, const std::vector<uint8_t>& bytes,
                       const PackedPictureInfo& info, char* fingerprint, std::string* error)
{
    if (info.width > kMaxWorldWidth) {
        *error = path + ": " + std::to_string(info.width) + " pixels wide; worlds hold at most " +
                 std::to_string(kMaxWorldWidth);
        return false;
    }
    // The decoders read whole words: give them an aligned copy.
    std::vector<uint32_t> words((bytes.size() + 3) / 4, 0);
    std::memcpy(words.data(), bytes.data(), bytes.size());
    int32_t width = 0;
    int32_t height = 0;
    int32_t rowBytes = 0;
    GWorldPtr world = UncompressGWorld(words.data(), &width, &height, &rowBytes);
    if (!world) {
        *error = path + ": cannot make a " + std::to_string(info.width) + " x " +
                 std::to_string(info.height) + " world";
        return false;
    }
    WorldPtr owner(world);
    UnlockPixels(GetGWorldPixMap(world));
    GetHashBitmap16(world, fingerprint);
    return true;
}

// One file: prints its line, or reports its problem and returns false.
bool FingerprintFile(const std::string& path)
{
    std::string error;
    std::vector<uint8_t> bytes;
    if (!ReadFileBytes(path, &bytes, &error)) {
        Fail(error);
        return false;
    }
    if (bytes.size() > UINT32_MAX) {
        Fail(path + ": too large to fingerprint (more than 4 GiB)");
        return false;
    }
    char pixels[17];
    if (IsPng(bytes)) {
        if (!FingerprintPng(path, pixels, &error)) {
            Fail(error);
            return false;
        }
    } else {
        PackedPictureInfo info;
        std::memset(&info, 0, sizeof info);
        if (CheckPackedPicture(bytes.data(), bytes.size(), &info)) {
            if (!FingerprintPacked(path, bytes, info, pixels, &error)) {
                Fail(error);
                return false;
            }
        } else if (HasPackedSignature(bytes)) {
            Fail(path + ": damaged packed picture (" + info.reason + ")");
            return false;
        } else {
            Fail(path + ": not a PNG or packed picture");
            return false;
        }
    }
    char md5[33];
    GetHashBitmap32(bytes.data(), static_cast<uint32_t>(bytes.size()), md5);
    if (!md5[0]) {
        Fail(path + ": MD5 is not available from the crypto library");
        return false;
    }
    std::printf("%s %s %s\n", pixels, md5, path.c_str());
    return true;
}

int RunFingerprint(const std::vector<std::string>& args)
{
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
        if (!FingerprintFile(path))
            ok = false;
        std::fflush(stdout);
    }
    return ok ? 0 : 1;
}

const CommandRegistration registration({
    "fingerprint",
    "FILE...",
    "print the pixel fingerprint and the MD5 of picture files",
    "For each PNG file or packed picture, prints one line:\n"
    "\n"
    "  PIXELS MD5 FILE\n"
    "\n"
    "PIXELS is the 16-digit fingerprint of the picture's pixels in a 32-bit world\n"
    "(GetHashBitmap16), MD5 the 32-digit MD5 of the file's bytes (GetHashBitmap32):\n"
    "the two keys a host puts in its fingerprint table. A file that cannot be read\n"
    "or is not a picture is reported on standard error and the others are still\n"
    "done; the exit status is then 1. Packed pictures are checked before they are\n"
    "expanded. Pictures wider than 4092 pixels do not fit a world and are\n"
    "reported too.\n",
    RunFingerprint,
});

} // namespace
