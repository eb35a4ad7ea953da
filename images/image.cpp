// CImage: one picture of the pool, kept packed and expanded when its pixels
// are needed, with one cached copy of itself at another scale or opacity.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "images/picture_versions_p.h"
#include "platform/coregraphics.h"
#include "sprig/blend.h"
#include "sprig/images.h"
#include "sprig/packing.h"
#include "sprig/transfer.h"

RGBColor CImage::mTransColor = {0, 0, 0};
RGBColor CImage::mFillColor = {0, 0, 0};

namespace {

constexpr uint32_t kNaturalScale = 40;
constexpr int32_t kOpaque = 255;
constexpr uint32_t kTransparentWhite = 0xFFFFFF00;
// What a tinted picture shows where the picture is not black: alpha 0, red
// 0xFF, green 0x7F, blue 0xFF.
constexpr uint32_t kTintMissWord = 0xFF7FFF00;

struct WorldDeleter
{
    void operator()(OpaqueGrafPtr* world) const { DisposeGWorld(world); }
};
using OwnedWorld = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

struct ArrayDeleter
{
    void operator()(uint32_t* pixels) const { delete[] pixels; }
};
using OwnedPixels = std::unique_ptr<uint32_t, ArrayDeleter>;

struct FreeDeleter
{
    void operator()(void* block) const { std::free(block); }
};

// The disc test of IsTransparentRegion is 32-bit signed arithmetic whose
// overflow wraps: a radius of 65536 reaches only the centre.
inline int32_t Minus32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline int32_t Plus32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

inline int32_t Square32(int32_t a)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(a));
}

inline uint32_t Scaled(uint32_t scale, int32_t size)
{
    return (scale * static_cast<uint32_t>(size)) / kNaturalScale;
}

// The picture record an image is built from.
PictureRecord MakeRecord(int32_t width, int32_t height, uint32_t size, const void* data)
{
    PictureRecord record;
    record.width = width;
    record.height = height;
    record.size = size;
    record.data = data;
    return record;
}

// Packs a whole world into a new image: the size word of the packed picture
// is its length.
CImage* PackIntoImage(GWorldPtr world, int32_t width, int32_t height)
{
    std::unique_ptr<uint32_t, FreeDeleter> packed(Compress(world, 0, 0, width, height, false));
    if (!packed)
        throw std::bad_alloc();
    PictureRecord record = MakeRecord(width, height, packed.get()[0], packed.get());
    return new CImage(reinterpret_cast<char*>(&record));
}

// What expanding the whole picture leaves in width and height: the sides
// its header gives.
void RefreshSides(CImage* picture)
{
    picture->width = static_cast<int32_t>(picture->data[4]);
    picture->height = static_cast<int32_t>(picture->data[5]);
}

} // namespace

void CImage::Init()
{
    LongToRGBColor(0xFFF8FF00, &mTransColor);
    LongToRGBColor(0xF7FFFF00, &mFillColor);
}

CImage::CImage(char* recordBytes)
    : native(true), width(0), height(0), size(0), data(nullptr), scale(kNaturalScale),
      opacity(kOpaque), derived(nullptr)
{
    PictureRecord record;
    std::memcpy(&record, recordBytes, sizeof record);
    width = record.width;
    height = record.height;
    size = record.size;
    data = static_cast<uint32_t*>(std::malloc(size ? size : 1));
    if (!data)
        throw std::bad_alloc();
    if (size)
        std::memcpy(data, record.data, size);
}

CImage::~CImage()
{
    // Work put off on a surface may still read this picture's pixels.
    CompleteAllPendingWork();
    NotePictureDestroyed();
    ForgetPicture(this);
    std::free(data);
    delete derived;
}

void CImage::SetNative(bool value)
{
    native = value;
}

void CImage::GetInfo(char* recordBytes, bool b)
{
    native = !b;
    const PictureRecord record = MakeRecord(width, height, size, data);
    std::memcpy(recordBytes, &record, sizeof record);
}

GWorldPtr CImage::GetMe()
{
    native = true;
    int32_t rowBytes = 0;
    return UncompressGWorld(data, &width, &height, &rowBytes);
}

void CImage::UnpackRow(uint32_t row, uint32_t* dst)
{
    native = true;
    UncompressRow(data, row, static_cast<uint32_t>(width), dst);
}

bool CImage::IsTransparentColor(int32_t x, int32_t y)
{
    native = true;
    // Nothing lies outside the picture: such a point is transparent.
    if (x < 0 || y < 0 || x >= width || y >= height)
        return true;
    std::unique_ptr<uint32_t[]> row(new uint32_t[static_cast<size_t>(width)]);
    UncompressRow(data, static_cast<uint32_t>(y), static_cast<uint32_t>(width), row.get());
    return (row[static_cast<size_t>(x)] & 0xFF) == 0;
}

bool CImage::IsTransparentRegion(int32_t x, int32_t y, int32_t r)
{
    const int32_t x0 = Minus32(x, r) > 0 ? Minus32(x, r) : 0;
    const int32_t x1 = Plus32(x, r) < width ? Plus32(x, r) : width;
    const int32_t y0 = Minus32(y, r) > 0 ? Minus32(y, r) : 0;
    const int32_t y1 = Plus32(y, r) < height ? Plus32(y, r) : height;
    if (x0 >= x1 || y0 >= y1)
        return false;
    const int32_t reach = Square32(r);
    std::unique_ptr<uint32_t[]> row(new uint32_t[static_cast<size_t>(width)]);
    for (int32_t py = y0; py < y1; py++) {
        UncompressRow(data, static_cast<uint32_t>(py), static_cast<uint32_t>(width), row.get());
        const int32_t dy2 = Square32(Minus32(py, y));
        for (int32_t px = x0; px < x1; px++) {
            if (reach >= Plus32(Square32(Minus32(px, x)), dy2) &&
                (row[static_cast<size_t>(px)] & 0xFF) != 0)
                return true;
        }
    }
    return false;
}

// The pixels of a copy of the picture at another scale, drawn through a
// drawing context over transparent white. Reads the picture only.
CImage* BuildScaled(const CImage& source, uint32_t newScale)
{
    const uint32_t w = Scaled(newScale, source.width);
    const uint32_t h = Scaled(newScale, source.height);
    // The world's bounds keep 16 bits of each size: a copy larger than that
    // cannot be made (a world of the cut size would be packed as w x h).
    if (w > INT16_MAX || h > INT16_MAX)
        throw static_cast<short>(paramErr);
    StOffscreen temporary(w, h, 32);
    StGWorld current(temporary);

    int32_t width = 0, height = 0, rowBytes = 0;
    OwnedWorld expanded(UncompressGWorld(source.data, &width, &height, &rowBytes));
    if (!expanded)
        throw static_cast<short>(memFullErr);
    CGContextRef context = nullptr;
    const OSStatus err = QDBeginCGContext(temporary, &context);
    if (err != noErr)
        throw static_cast<short>(err);
    CGContextSetShouldAntialias(context, true);
    // The picture is drawn over transparent white; RecreateColors below takes
    // the white back out of the edges the scaling softened.
    FillOffscreen(temporary, kTransparentWhite);
    PixMapHandle pm = GetGWorldPixMap(expanded.get());
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGDataProviderRef provider = CGDataProviderCreateWithData(
        nullptr, GetPixBaseAddr(pm), static_cast<size_t>(rowBytes) * static_cast<size_t>(height),
        nullptr);
    CGImageRef image =
        CGImageCreate(static_cast<size_t>(width), static_cast<size_t>(height),
                      static_cast<size_t>((*pm)->cmpSize), static_cast<size_t>((*pm)->pixelSize),
                      static_cast<size_t>(rowBytes), space, kCGImageAlphaFirst, provider, nullptr,
                      false, kCGRenderingIntentDefault);
    CGContextDrawImage(context, CGRectMake(0, 0, w, h), image);
    CGDataProviderRelease(provider);
    CGImageRelease(image);
    CGColorSpaceRelease(space);
    QDEndCGContext(temporary, &context);
    expanded.reset();

    RecreateColors(temporary, kTransparentWhite);
    CImage* scaled = PackIntoImage(temporary, static_cast<int32_t>(w), static_cast<int32_t>(h));
    scaled->opacity = kOpaque;
    scaled->scale = newScale;
    return scaled;
}

// The pixels of a copy of the picture with its alpha scaled to the opacity.
// Reads the picture only.
CImage* BuildFaded(const CImage& source, int newOpacity)
{
    int32_t width = 0, height = 0, rowBytes = 0;
    OwnedWorld expanded(UncompressGWorld(source.data, &width, &height, &rowBytes));
    if (!expanded)
        throw static_cast<short>(memFullErr);
    ResetAlpha(expanded.get(), newOpacity);
    CImage* faded = PackIntoImage(expanded.get(), width, height);
    faded->opacity = newOpacity;
    return faded;
}

// A copy made before at this scale comes back from the spares: the same
// pixels a new build gives, without the scaling.
void CImage::Resize(uint32_t newScale)
{
    if (derived && derived->scale == newScale)
        return;
    if (scale == newScale)
        return;
    if (Scaled(newScale, width) > INT16_MAX || Scaled(newScale, height) > INT16_MAX)
        throw static_cast<short>(paramErr);
    std::unique_ptr<CImage> scaled;
    if (!HasSpare(this, VersionKind::kScaled, static_cast<int32_t>(newScale)))
        scaled.reset(BuildScaled(*this, newScale));
    native = true;
    RefreshSides(this);
    if (scaled)
        ReplaceDerived(this, scaled.release(), VersionKind::kScaled,
                       static_cast<int32_t>(newScale));
    else
        RestoreSpare(this, VersionKind::kScaled, static_cast<int32_t>(newScale));
}

void CImage::ResetOpacity(int newOpacity)
{
    if (derived && derived->opacity == newOpacity)
        return;
    if (opacity == newOpacity)
        return;
    std::unique_ptr<CImage> faded;
    if (!HasSpare(this, VersionKind::kFaded, newOpacity))
        faded.reset(BuildFaded(*this, newOpacity));
    native = true;
    RefreshSides(this);
    if (faded)
        ReplaceDerived(this, faded.release(), VersionKind::kFaded, newOpacity);
    else
        RestoreSpare(this, VersionKind::kFaded, newOpacity);
}

void CImage::Stretch(Rect* src, Rect* dst, GWorldPtr dest, bool antialias, RGBColor* colour)
{
    Rect whole;
    SetRect(&whole, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    Rect s = *src;
    OffsetRect(&s, static_cast<int16_t>(-s.left), static_cast<int16_t>(-s.top));
    SectRect(&s, &whole, &s);
    Rect d = *dst;

    native = true;
    if (s.right - s.left == d.right - d.left && s.bottom - s.top == d.bottom - d.top) {
        // Same size: composite straight from the packed rows of the area
        // drawn, which gives the pixels of expanding the whole picture and
        // compositing it with MyCGCopyRaw, at a fraction of the cost.
        width = static_cast<int32_t>(data[4]);
        height = static_cast<int32_t>(data[5]);
        CompositePackedPicture(data, &s, dest, &d, colour);
        return;
    }

    int32_t rowBytes = 0;
    OwnedPixels pixels(Uncompress(data, &width, &height, &rowBytes));
    if (colour) {
        // [BBBBBBBB][GGGGGGGG][RRRRRRRR][00000000] from the colour's high bytes
        const uint32_t tint = (uint32_t{colour->blue} >> 8 << 24) |
                              (uint32_t{colour->green} >> 8 << 16) |
                              (uint32_t{colour->red} >> 8 << 8);
        const size_t count = static_cast<size_t>(rowBytes / 4) * static_cast<size_t>(height);
        uint32_t* p = pixels.get();
        for (size_t i = 0; i < count; i++, p++)
            *p = (*p >> 8) == 0 ? ((*p & 0xFF) | tint) : kTintMissWord;
    }
    GWorldPtr wrapped = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    const OSErr err = NewGWorldFromPtr(&wrapped, 0, &bounds, nullptr, nullptr, 0,
                                       reinterpret_cast<Ptr>(pixels.get()), rowBytes);
    if (err != noErr)
        throw static_cast<short>(err);
    OwnedWorld temporary(wrapped);
    CGCopyBits(wrapped, dest, &s, &d, kCGImageAlphaFirst, antialias, false);
    UnlockPixels(GetGWorldPixMap(wrapped));
}

void CImage::ReplaceColor(PixMapHandle pm, int32_t from, int32_t to, bool match)
{
    StLock lock(pm);
    const PixMap* map = *pm;
    // The row-bytes field as a 16-bit value with the flag bit cleared.
    const int32_t rowBytes = static_cast<uint16_t>(map->rowBytes) & 0x7FFF;
    const int32_t words = rowBytes * (map->bounds.bottom - map->bounds.top) / 4;
    auto* p = reinterpret_cast<uint32_t*>(map->baseAddr);
    const auto f = static_cast<uint32_t>(from);
    const auto t = static_cast<uint32_t>(to);
    for (int32_t i = 0; i < words; i++, p++) {
        if ((*p == f) == match)
            *p = t;
    }
}

void CImage::ReplaceColorInRect(PixMapHandle pm, int32_t from, int32_t to, bool match, Rect* r)
{
    StLock lock(pm);
    const PixMap* map = *pm;
    const int32_t rowPixels = (static_cast<uint16_t>(map->rowBytes) & 0x7FFF) / 4;
    const auto f = static_cast<uint32_t>(from);
    const auto t = static_cast<uint32_t>(to);
    for (int32_t y = r->top; y < r->bottom; y++) {
        uint32_t* p = reinterpret_cast<uint32_t*>(map->baseAddr) +
                      static_cast<intptr_t>(rowPixels) * y + r->left;
        for (int32_t x = r->left; x < r->right; x++, p++) {
            if ((*p == f) == match)
                *p = t;
        }
    }
}

// Only a scale this picture or its derived copy stands at is served; any
// other request gives a null image. The pixels are always scaled from this
// picture. When the scaling fails, the image falls back to the unscaled
// pixels, described with their own size and row length.
CGImageRef CImage::GetMyCGImage(uint32_t requested)
{
    if (requested != scale && !(derived && requested == derived->scale))
        return nullptr;
    size_t w = Scaled(requested, width);
    size_t h = Scaled(requested, height);

    native = true;
    int32_t sourceRowBytes = 0;
    OwnedWorld expanded(UncompressGWorld(data, &width, &height, &sourceRowBytes));
    if (!expanded)
        return nullptr;
    PixMapHandle pm = GetGWorldPixMap(expanded.get());
    LockPixels(pm);
    const vImage_Buffer source = {GetPixBaseAddr(pm), static_cast<vImagePixelCount>(height),
                                  static_cast<vImagePixelCount>(width),
                                  static_cast<size_t>(sourceRowBytes)};

    size_t rowBytes = ((4 * w) | 15) + 1;
    std::unique_ptr<uint8_t, FreeDeleter> pixels(
        static_cast<uint8_t*>(std::malloc(rowBytes * (h ? h : 1))));
    if (!pixels)
        throw std::bad_alloc();
    const vImage_Buffer destination = {pixels.get(), static_cast<vImagePixelCount>(h),
                                       static_cast<vImagePixelCount>(w), rowBytes};
    const vImage_Error err =
        vImageScale_ARGB8888(&source, &destination, nullptr, kvImageHighQualityResampling);
    if (err != kvImageNoError) {
        std::printf("Scaling failed with %ld\n", static_cast<long>(err));
        w = static_cast<size_t>(width);
        h = static_cast<size_t>(height);
        rowBytes = static_cast<size_t>(sourceRowBytes);
        pixels.reset(static_cast<uint8_t*>(std::malloc(rowBytes * (h ? h : 1))));
        if (!pixels)
            throw std::bad_alloc();
        std::memcpy(pixels.get(), source.data, rowBytes * h);
    }

    CGDataProviderRef provider = CGDataProviderCreateWithData(
        nullptr, pixels.release(), h * rowBytes, CGDataProviderReleaseCallback);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image = CGImageCreate(w, h, 8, 32, rowBytes, space, kCGImageAlphaFirst, provider,
                                     nullptr, false, kCGRenderingIntentDefault);
    CGColorSpaceRelease(space);
    CGDataProviderRelease(provider);
    return image;
}

bool IsColorizedImage(int32_t number)
{
    return static_cast<uint32_t>(number) <= 35;
}

void GetColorGWorld(GWorldPtr gw, int32_t h, int32_t v, RGBColor* out)
{
    StGWorld current(gw);
    GetCPixel(static_cast<int16_t>(h), static_cast<int16_t>(v), out);
}

void CGDataProviderReleaseCallback(void*, const void* data, uint32_t)
{
    std::free(const_cast<void*>(data));
}
