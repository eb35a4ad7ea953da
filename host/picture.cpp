// Pictures: PNG, RGBA pixels and packed pictures into the library's pool.
// A picture takes a free number of the pool (from 256 up, or one of the 36
// tinted numbers 0 to 35), and gives it back when its last holder lets go.
#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host_p.h"
#include "sprig/images.h"
#include "sprig/packing.h"

namespace sprig {

Error::Error(const std::string& message) : std::runtime_error(message) {}

Error::~Error() = default;

namespace detail {

void Throw(const std::string& message)
{
    throw Error(message);
}

void StartLibrary()
{
    static bool started = false;
    if (!started) {
        CImage::Init();
        started = true;
    }
}

World MakeWorld(int width, int height, const std::string& call)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    const OSErr err = NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
    if (err != noErr)
        Throw(call + ": cannot make a " + std::to_string(width) + " x " + std::to_string(height) +
              " surface (" +
              (err == memFullErr ? "out of memory" : "error " + std::to_string(err)) + ")");
    return World(world);
}

uint32_t* WorldRow(GWorldPtr world, int y)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) +
                                       static_cast<ptrdiff_t>(y) * GetPixRowBytes(pm));
}

namespace {

constexpr int kMaxPictureSide = 32767;
constexpr int kTintedNumbers = 36; // pool numbers 0 to 35 are drawn in the pen colour

// The tinted numbers this layer holds. A number may also be taken by a host
// that registers pictures itself, which the pool's slot shows.
bool gTintedTaken[kTintedNumbers];

int32_t TakeNumber(Tint tint, const std::string& call)
{
    if (tint == Tint::Off) {
        const int32_t number = GetFreeImageNumber();
        if (number < 0)
            Throw(call + ": the picture pool is full (numbers 256 to 15999 are all taken)");
        return number;
    }
    for (int32_t number = 0; number < kTintedNumbers; number++)
        if (!gTintedTaken[number] && GetImageWidth(number) == 0) {
            gTintedTaken[number] = true;
            return number;
        }
    Throw(call + ": all " + std::to_string(kTintedNumbers) +
          " pictures tinted with the pen colour are in use");
}

void CheckSize(int width, int height, const std::string& call)
{
    if (width < 1 || width > kMaxPictureSide)
        Throw(call + ": width " + std::to_string(width) + " is outside 1 to 32767");
    if (height < 1 || height > kMaxPictureSide)
        Throw(call + ": height " + std::to_string(height) + " is outside 1 to 32767");
}

// Stores a well-formed packed picture in the pool under a number of its own.
std::shared_ptr<PictureSlot> Store(const void* packed, int width, int height, uint32_t size,
                                   Tint tint, const std::string& call)
{
    StartLibrary();
    auto slot = std::make_shared<PictureSlot>();
    slot->tint = tint;
    slot->number = TakeNumber(tint, call);
    PictureRecord record = {width, height, size, packed};
    if (!SetCompressedImage(slot->number, reinterpret_cast<char*>(&record)))
        Throw(call + ": the pool refused the picture (out of memory, or damaged)");
    slot->width = width;
    slot->height = height;
    return slot;
}

struct FreeDeleter
{
    void operator()(uint32_t* block) const { std::free(block); }
};

// Packs pixel words, rows 4 x width bytes apart, and stores the result.
std::shared_ptr<PictureSlot> StoreWords(const std::vector<uint32_t>& words, int width, int height,
                                        Tint tint, const std::string& call)
{
    std::unique_ptr<uint32_t, FreeDeleter> packed(
        CompressBuffer(words.data(), width, height, 4 * width));
    if (!packed)
        Throw(call + ": out of memory packing a " + std::to_string(width) + " x " +
              std::to_string(height) + " picture");
    return Store(packed.get(), width, height, packed.get()[0], tint, call);
}

// A packed picture from outside, checked before the pool sees it.
std::shared_ptr<PictureSlot> StorePacked(const std::vector<uint8_t>& bytes, Tint tint,
                                         const std::string& where)
{
    PackedPictureInfo info;
    if (!CheckPackedPicture(bytes.data(), bytes.size(), &info))
        Throw(where + ": " + info.reason);
    return Store(bytes.data(), info.width, info.height, info.size, tint, where);
}

std::vector<uint8_t> ReadFile(const std::string& path)
{
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file)
        Throw(path + ": cannot open (" + std::strerror(errno) + ")");
    std::vector<uint8_t> bytes;
    uint8_t chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        bytes.insert(bytes.end(), chunk, chunk + got);
    const bool failed = std::ferror(file) != 0;
    std::fclose(file);
    if (failed)
        Throw(path + ": cannot read");
    return bytes;
}

// libpng's simplified reader; `where` names the file or the call.
class PngReader
{
  public:
    PngReader() { mPng.version = PNG_IMAGE_VERSION; }
    ~PngReader() { png_image_free(&mPng); }
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;

    png_image& png() { return mPng; }

    std::shared_ptr<PictureSlot> Finish(Tint tint, const std::string& where)
    {
        if (mPng.width == 0 || mPng.height == 0 || mPng.width > kMaxPictureSide ||
            mPng.height > kMaxPictureSide)
            Throw(where + ": a PNG of " + std::to_string(mPng.width) + " x " +
                  std::to_string(mPng.height) + " pixels is outside 1 to 32767 each way");
        // PNG_FORMAT_ARGB is the pixel word: alpha first, straight alpha.
        mPng.format = PNG_FORMAT_ARGB;
        const int width = static_cast<int>(mPng.width);
        const int height = static_cast<int>(mPng.height);
        std::vector<uint32_t> words(static_cast<size_t>(width) * static_cast<size_t>(height));
        if (!png_image_finish_read(&mPng, nullptr, words.data(), 0, nullptr))
            Throw(where + ": damaged PNG (" + mPng.message + ")");
        return StoreWords(words, width, height, tint, where);
    }

  private:
    png_image mPng{};
};

} // namespace

PictureSlot::~PictureSlot()
{
    if (number < 0)
        return;
    ResetFreeImage(number);
    if (number < kTintedNumbers)
        gTintedTaken[number] = false;
}

} // namespace detail

using detail::Throw;

Picture::Picture(std::shared_ptr<detail::PictureSlot> slot) : mSlot(std::move(slot)) {}

Picture Picture::fromPngFile(const std::string& path, Tint tint)
{
    detail::PngReader reader;
    if (!png_image_begin_read_from_file(&reader.png(), path.c_str()))
        Throw(path + ": not a readable PNG file (" + reader.png().message + ")");
    return Picture(reader.Finish(tint, path));
}

Picture Picture::fromPngBytes(const std::vector<uint8_t>& bytes, Tint tint)
{
    const std::string call = "Picture::fromPngBytes";
    detail::PngReader reader;
    if (!png_image_begin_read_from_memory(&reader.png(), bytes.data(), bytes.size()))
        Throw(call + ": not a PNG (" + reader.png().message + ")");
    return Picture(reader.Finish(tint, call));
}

Picture Picture::fromRgba(const std::vector<uint8_t>& pixels, int width, int height,
                          int strideBytes, Tint tint)
{
    const std::string call = "Picture::fromRgba";
    detail::CheckSize(width, height, call);
    if (strideBytes < 4 * width)
        Throw(call + ": stride " + std::to_string(strideBytes) + " is less than 4 x width " +
              std::to_string(width));
    const size_t needed = static_cast<size_t>(strideBytes) * static_cast<size_t>(height - 1) +
                          4 * static_cast<size_t>(width);
    if (pixels.size() < needed)
        Throw(call + ": " + std::to_string(pixels.size()) + " bytes of pixels, " +
              std::to_string(needed) + " needed for " + std::to_string(width) + " x " +
              std::to_string(height) + " with stride " + std::to_string(strideBytes));
    std::vector<uint32_t> words(static_cast<size_t>(width) * static_cast<size_t>(height));
    uint32_t* word = words.data();
    for (int y = 0; y < height; y++) {
        const uint8_t* rgba = pixels.data() + static_cast<size_t>(y) * strideBytes;
        for (int x = 0; x < width; x++, rgba += 4)
            // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
            *word++ = (uint32_t{rgba[2]} << 24) | (uint32_t{rgba[1]} << 16) |
                      (uint32_t{rgba[0]} << 8) | rgba[3];
    }
    return Picture(detail::StoreWords(words, width, height, tint, call));
}

Picture Picture::fromPackedBytes(const std::vector<uint8_t>& bytes, Tint tint)
{
    return Picture(detail::StorePacked(bytes, tint, "Picture::fromPackedBytes"));
}

Picture Picture::fromPackedFile(const std::string& path, Tint tint)
{
    return Picture(detail::StorePacked(detail::ReadFile(path), tint, path));
}

int Picture::width() const
{
    return mSlot->width;
}

int Picture::height() const
{
    return mSlot->height;
}

Tint Picture::tint() const
{
    return mSlot->tint;
}

bool Picture::sameAs(const Picture& other) const
{
    return mSlot == other.mSlot;
}

std::vector<uint8_t> Picture::rgbaBytes() const
{
    // The pool holds the picture packed; it was checked when it came in.
    PictureRecord record = {};
    GetImageInfo(mSlot->number, reinterpret_cast<char*>(&record));
    int32_t width = 0, height = 0, rowBytes = 0;
    std::unique_ptr<uint32_t[]> words(Uncompress(
        static_cast<uint32_t*>(const_cast<void*>(record.data)), &width, &height, &rowBytes));
    if (!words)
        Throw("Picture::rgbaBytes: out of memory expanding a " + std::to_string(mSlot->width) +
              " x " + std::to_string(mSlot->height) + " picture");
    std::vector<uint8_t> bytes(4 * static_cast<size_t>(width) * static_cast<size_t>(height));
    uint8_t* out = bytes.data();
    for (int y = 0; y < height; y++) {
        const uint32_t* word = words.get() + static_cast<size_t>(y) * (rowBytes / 4);
        for (int x = 0; x < width; x++, word++) {
            // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
            *out++ = static_cast<uint8_t>(*word >> 8);
            *out++ = static_cast<uint8_t>(*word >> 16);
            *out++ = static_cast<uint8_t>(*word >> 24);
            *out++ = static_cast<uint8_t>(*word);
        }
    }
    return bytes;
}

} // namespace sprig
