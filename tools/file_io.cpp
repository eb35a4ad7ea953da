#include "tools/file_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string SystemError(const std::string& path, const char* what)
{
    return path + ": " + what + ": " + std::strerror(errno);
}

// Opens a new temporary file in the directory of path.
FILE* OpenTemporaryBeside(const std::string& path, std::string* tempPath)
{
    *tempPath = path + ".XXXXXX";
    const int fd = mkstemp(&(*tempPath)[0]);
    if (fd < 0)
        return nullptr;
    // mkstemp makes the file private; give it the permissions of a new file.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(fd, 0666 & ~mask);
    FILE* file = fdopen(fd, "wb");
    if (!file) {
        close(fd);
        unlink(tempPath->c_str());
    }
    return file;
}

// Closes the temporary file and moves it into place, or removes it.
bool Finish(FILE* file, const std::string& tempPath, const std::string& path, bool ok,
            std::string* error)
{
    if (std::fflush(file) != 0 && ok) {
        *error = SystemError(path, "cannot write");
        ok = false;
    }
    if (std::fclose(file) != 0 && ok) {
        *error = SystemError(path, "cannot write");
        ok = false;
    }
    if (ok && std::rename(tempPath.c_str(), path.c_str()) != 0) {
        *error = SystemError(path, "cannot write");
        ok = false;
    }
    if (!ok)
        unlink(tempPath.c_str());
    return ok;
}

} // namespace

bool ReadPng(const std::string& path, PixelImage* image, std::string* error)
{
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&png, path.c_str())) {
        *error = path + ": not a readable PNG file (" + png.message + ")";
        return false;
    }
    if (png.width == 0 || png.height == 0 || png.width > 32767 || png.height > 32767) {
        *error = path + ": a PNG of " + std::to_string(png.width) + " x " +
                 std::to_string(png.height) + " pixels is outside 1..32767 each way";
        png_image_free(&png);
        return false;
    }
    // PNG_FORMAT_ARGB is our pixel layout: alpha first, straight alpha.
    png.format = PNG_FORMAT_ARGB;
    image->width = static_cast<int>(png.width);
    image->height = static_cast<int>(png.height);
    try {
        image->pixels.assign(static_cast<size_t>(png.width) * png.height, 0);
    } catch (const std::bad_alloc&) {
        *error = path + ": not enough memory for the picture";
        png_image_free(&png);
        return false;
    }
    if (!png_image_finish_read(&png, nullptr, image->pixels.data(), 0, nullptr)) {
        *error = path + ": damaged PNG file (" + png.message + ")";
        png_image_free(&png);
        return false;
    }
    return true;
}

bool WritePng(const std::string& path, const uint32_t* pixels, int width, int height,
              int32_t rowBytes, std::string* error)
{
    std::string tempPath;
    FILE* file = OpenTemporaryBeside(path, &tempPath);
    if (!file) {
        *error = SystemError(path, "cannot create");
        return false;
    }
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(width);
    png.height = static_cast<png_uint_32>(height);
    png.format = PNG_FORMAT_ARGB;
    // For 8-bit components the row stride counts bytes.
    const bool ok = png_image_write_to_stdio(&png, file, 0, pixels, rowBytes, nullptr) != 0;
    if (!ok)
        *error = path + ": cannot encode PNG (" + png.message + ")";
    png_image_free(&png);
    return Finish(file, tempPath, path, ok, error);
}

bool ReadFileBytes(const std::string& path, std::vector<uint8_t>* bytes, std::string* error)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        *error = SystemError(path, "cannot open");
        return false;
    }
    bytes->clear();
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        bytes->insert(bytes->end(), chunk, chunk + got);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed) {
        *error = SystemError(path, "cannot read");
        return false;
    }
    return true;
}

bool WriteFileAtomically(const std::string& path, const void* data, size_t size, std::string* error)
{
    std::string tempPath;
    FILE* file = OpenTemporaryBeside(path, &tempPath);
    if (!file) {
        *error = SystemError(path, "cannot create");
        return false;
    }
    const bool ok = std::fwrite(data, 1, size, file) == size;
    if (!ok)
        *error = SystemError(path, "cannot write");
    return Finish(file, tempPath, path, ok, error);
}
