// Images over pixel memory, the data providers that hold the memory, and the
// one colour space. An image never copies its pixels: they are read, and
// converted to cairo's premultiplied form, each time the image is drawn
// (drawn one to one into a world, they are composited straight from memory).
#include <cstring>
#include <new>

#include "platform/cg_context_p.h"
#include "platform/cg_pixels_p.h"

// Every image is device RGB: the colour space carries nothing.
struct CGColorSpace
{
    int unused;
};

namespace {

CGColorSpace* DeviceRGB()
{
    static CGColorSpace space = {0};
    return &space;
}

void RetainProvider(CGDataProviderRef provider)
{
    provider->refs++;
}

} // namespace

extern "C" {

CGDataProviderRef CGDataProviderCreateWithData(void* info, const void* data, size_t size,
                                               CGDataProviderReleaseDataCallback release)
{
    // The release callback reports the size as a 32-bit count.
    if (!data || size > UINT32_MAX)
        return nullptr;
    CGDataProviderRef provider = new (std::nothrow) CGDataProvider;
    if (!provider)
        return nullptr;
    *provider = {1, info, data, size, release};
    return provider;
}

void CGDataProviderRelease(CGDataProviderRef provider)
{
    if (!provider || --provider->refs > 0)
        return;
    if (provider->release)
        provider->release(provider->info, provider->data, static_cast<uint32_t>(provider->size));
    delete provider;
}

CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void)
{
    return DeviceRGB();
}

void CGColorSpaceRelease(CGColorSpaceRef) {}

CGImageRef CGImageCreate(size_t width, size_t height, size_t bitsPerComponent, size_t bitsPerPixel,
                         size_t bytesPerRow, CGColorSpaceRef space, CGBitmapInfo bitmapInfo,
                         CGDataProviderRef provider, const CGFloat* decode, bool shouldInterpolate,
                         CGColorRenderingIntent)
{
    const uint32_t alphaInfo = bitmapInfo & kCGBitmapAlphaInfoMask;
    const uint32_t byteOrder = bitmapInfo & kCGBitmapByteOrderMask;
    if (!provider || !space || decode || bitsPerComponent != 8 || bitsPerPixel != 32)
        return nullptr;
    if (alphaInfo < kCGImageAlphaPremultipliedLast || alphaInfo > kCGImageAlphaNoneSkipFirst ||
        (byteOrder != kCGBitmapByteOrderDefault && byteOrder != kCGBitmapByteOrder32Big) ||
        (bitmapInfo & ~(kCGBitmapAlphaInfoMask | kCGBitmapByteOrderMask)))
        return nullptr;
    // cairo draws images of at most 32767 pixels a side.
    if (width == 0 || height == 0 || width > 32767 || height > 32767 || bytesPerRow < 4 * width)
        return nullptr;
    const uint64_t needed = uint64_t{bytesPerRow} * (height - 1) + 4 * uint64_t{width};
    if (needed > provider->size)
        return nullptr;
    CGImageRef image = new (std::nothrow) CGImage;
    if (!image)
        return nullptr;
    RetainProvider(provider);
    *image = {1,
              static_cast<int32_t>(width),
              static_cast<int32_t>(height),
              bytesPerRow,
              alphaInfo,
              shouldInterpolate,
              provider};
    return image;
}

CGImageRef CGImageRetain(CGImageRef image)
{
    if (image)
        image->refs++;
    return image;
}

void CGImageRelease(CGImageRef image)
{
    if (!image || --image->refs > 0)
        return;
    CGDataProviderRelease(image->provider);
    delete image;
}

size_t CGImageGetWidth(CGImageRef image)
{
    return image ? static_cast<size_t>(image->width) : 0;
}

size_t CGImageGetHeight(CGImageRef image)
{
    return image ? static_cast<size_t>(image->height) : 0;
}

} // extern "C"

cairo_surface_t* CairoSurfaceOfImage(CGImageRef image)
{
    cairo_surface_t* surface =
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, image->width, image->height);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return nullptr;
    }
    cairo_surface_flush(surface);
    uint8_t* dst = cairo_image_surface_get_data(surface);
    const ptrdiff_t dstStride = cairo_image_surface_get_stride(surface);
    const auto* src = static_cast<const uint8_t*>(image->provider->data);
    const bool aligned = reinterpret_cast<uintptr_t>(src) % 4 == 0 && image->bytesPerRow % 4 == 0;
    for (int v = 0; v < image->height; v++, src += image->bytesPerRow, dst += dstStride) {
        auto* out = reinterpret_cast<uint32_t*>(dst);
        if (aligned) {
            ImageRowToCairo(reinterpret_cast<const uint32_t*>(src), out, image->width,
                            image->alphaInfo);
            continue;
        }
        for (int h = 0; h < image->width; h++) {
            uint32_t word;
            std::memcpy(&word, src + 4 * h, 4);
            out[h] = ImagePixelToCairo(word, image->alphaInfo);
        }
    }
    cairo_surface_mark_dirty(surface);
    return surface;
}
