// The bridge from worlds to drawing contexts and back: a world's pixel
// memory is wrapped as an image in place (never copied), drawn scaled and
// composited by alpha, and released again. Contexts opened on a world count
// y upward from its bottom edge, so routines that start from top-down
// rectangles flip them with the height of the area they draw into.
#include <cstdlib>

#include "platform/coregraphics.h"
#include "transfer/transfer_p.h"

namespace {

CGImageRef NewImageOver(const void* pixels, int32_t width, int32_t height, int32_t bitsPerComponent,
                        int32_t bitsPerPixel, int32_t rowBytes, int bitmapInfo,
                        CGDataProviderRef* provider)
{
    *provider = CGDataProviderCreateWithData(
        nullptr, pixels, static_cast<size_t>(height) * static_cast<size_t>(rowBytes), nullptr);
    if (!*provider || width <= 0 || height <= 0)
        return nullptr;
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image =
        CGImageCreate(static_cast<size_t>(width), static_cast<size_t>(height),
                      static_cast<size_t>(bitsPerComponent), static_cast<size_t>(bitsPerPixel),
                      static_cast<size_t>(rowBytes), space, static_cast<CGBitmapInfo>(bitmapInfo),
                      *provider, nullptr, false, kCGRenderingIntentDefault);
    CGColorSpaceRelease(space);
    return image;
}

// Wraps the whole world as an image for the length of draw(image); the image
// is null when the world is empty.
template <class Draw>
void WithWorldImage(GWorldPtr world, int bitmapInfo, Draw draw)
{
    Rect bounds;
    GetPortBounds(world, &bounds);
    PixMapHandle pm = GetGWorldPixMap(world);
    const int16_t cmpSize = (*pm)->cmpSize;
    const int16_t pixelSize = (*pm)->pixelSize;
    const int32_t rowBytes = GetPixRowBytes(pm);
    LockPixels(pm);
    CGDataProviderRef provider = nullptr;
    CGImageRef image =
        NewImageOver(GetPixBaseAddr(pm), bounds.right - bounds.left, bounds.bottom - bounds.top,
                     cmpSize, pixelSize, rowBytes, bitmapInfo, &provider);
    draw(image);
    CGImageRelease(image);
    CGDataProviderRelease(provider);
    UnlockPixels(pm);
}

bool SameRect(const Rect& a, const Rect& b)
{
    return a.top == b.top && a.left == b.left && a.bottom == b.bottom && a.right == b.right;
}

int Width(const Rect& r)
{
    return r.right - r.left;
}

int Height(const Rect& r)
{
    return r.bottom - r.top;
}

} // namespace

void CGCopyBitsToContext(GWorldPtr src, CGContextRef ctx, Rect* srcRect, Rect* dstRect,
                         int bitmapInfo, Rect* ctxBounds)
{
    const int areaHeight = ctxBounds->bottom - ctxBounds->top;
    Rect bounds;
    GetPortBounds(src, &bounds);
    if (SameRect(*srcRect, bounds)) {
        DrawOffscreenToContext(src, ctx, dstRect->left * 1000,
                               (areaHeight - dstRect->bottom) * 1000, Width(*dstRect),
                               Height(*dstRect), bitmapInfo);
        return;
    }
    const int width = Width(*srcRect);
    const int height = Height(*srcRect);
    if (width <= 0 || height <= 0)
        return;
    const int32_t rowBytes = ((width + 3) & ~3) * 4;
    auto* buffer = static_cast<uint32_t*>(
        std::malloc(static_cast<size_t>(height) * static_cast<size_t>(rowBytes)));
    if (!buffer)
        return;
    Rect corner = {0, 0, 0, 0};
    FoolCopyBitsToBuffer(src, buffer, rowBytes / 4, srcRect, &corner);
    CGDataProviderRef provider = nullptr;
    CGImageRef image = NewImageOver(buffer, width, height, 8, 32, rowBytes, bitmapInfo, &provider);
    CGContextDrawImage(
        ctx,
        CGRectMake(dstRect->left, areaHeight - dstRect->bottom, Width(*dstRect), Height(*dstRect)),
        image);
    CGDataProviderRelease(provider);
    CGImageRelease(image);
    std::free(buffer);
}

void AltCGFrameRect(GWorldPtr world, Rect* rect, int32_t red, int32_t green, int32_t blue,
                    int32_t alpha, int32_t lineWidth, bool dashed)
{
    // Odd widths run through pixel centres: the rectangle moves half a pixel
    // right and down and shrinks by one.
    const bool odd = lineWidth % 2 != 0;
    const float o = odd ? -0.5f : 0.0f;
    const float e = odd ? -1.0f : 0.0f;
    Rect bounds;
    GetPortBounds(world, &bounds);
    const CGRect frame = CGRectMake(rect->left - o, (bounds.bottom - rect->bottom) + o,
                                    (rect->right - rect->left) + e, (rect->bottom - rect->top) + e);
    CGContextRef ctx = nullptr;
    if (QDBeginCGContext(world, &ctx) != noErr)
        return;
    CGContextSetRGBStrokeColor(ctx, red / 65535.0, green / 65535.0, blue / 65535.0, alpha / 255.0);
    if (dashed) {
        const CGFloat lengths[2] = {3.0, 3.0};
        CGContextSetLineDash(ctx, 0, lengths, 2);
    }
    CGContextStrokeRectWithWidth(ctx, frame, lineWidth);
    CGContextSynchronize(ctx);
    QDEndCGContext(world, &ctx);
}

extern "C" {

void DrawOffscreenToContext(GWorldPtr world, CGContextRef ctx, int32_t xThousandths,
                            int32_t yThousandths, int32_t width, int32_t height, int bitmapInfo)
{
    const float x = static_cast<float>(xThousandths) / 1000.0f;
    const float y = static_cast<float>(yThousandths) / 1000.0f;
    WithWorldImage(world, bitmapInfo, [&](CGImageRef image) {
        CGContextDrawImage(ctx, CGRectMake(x, y, width, height), image);
    });
}

void DrawOffscreenToHIView(GWorldPtr world, CGContextRef ctx, HIViewRef view, int bitmapInfo)
{
    WithWorldImage(world, bitmapInfo, [&](CGImageRef image) {
        HIRect bounds;
        if (HIViewGetBounds(view, &bounds) == noErr)
            HIViewDrawCGImage(ctx, &bounds, image);
    });
}

OSStatus DrawCGImageToOffscreen(GWorldPtr world, Rect* dstRect, Rect* clipRect, CGImageRef image)
{
    CGContextRef ctx = nullptr;
    const OSStatus err = QDBeginCGContext(world, &ctx);
    if (err != noErr)
        return err;
    if (clipRect) {
        static RgnHandle clip = NewRgn(); // kept for the life of the process
        RectRgn(clip, clipRect);
        CGContextSaveGState(ctx);
        Rect bounds;
        GetPortBounds(world, &bounds);
        ClipCGContextToRegion(ctx, &bounds, clip);
    }
    CGContextDrawImage(
        ctx, CGRectMake(dstRect->left, dstRect->top, Width(*dstRect), Height(*dstRect)), image);
    if (clipRect)
        CGContextRestoreGState(ctx);
    return QDEndCGContext(world, &ctx);
}

void MyCGCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect, int bitmapInfo,
                  bool antialias, bool flush)
{
    if (Height(*srcRect) != Height(*dstRect) || Width(*srcRect) != Width(*dstRect)) {
        CGCopyBits(src, dst, srcRect, dstRect, bitmapInfo, antialias, flush);
        return;
    }
    PixMapHandle pm = GetGWorldPixMap(src);
    LockPixels(pm);
    CompositeSameSize(reinterpret_cast<const uint32_t*>(GetPixBaseAddr(pm)), GetPixRowBytes(pm) / 4,
                      dst, *srcRect, *dstRect);
    UnlockPixels(pm);
}

void CGCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect, int bitmapInfo,
                bool antialias, bool flush)
{
    RgnHandle clip = NewRgn();
    Rect srcBounds, dstBounds;
    GetPortBounds(src, &srcBounds);
    GetPortBounds(dst, &dstBounds);
    CGContextRef ctx = nullptr;
    if (QDBeginCGContext(dst, &ctx) != noErr) {
        DisposeRgn(clip);
        return;
    }
    GetPortClipRegion(dst, clip);
    CGContextSetShouldAntialias(ctx, antialias);
    ClipCGContextToRegion(ctx, &dstBounds, clip);

    GWorldPtr picture = src;
    GWorldPtr temporary = nullptr;
    if (!SameRect(*srcRect, srcBounds)) {
        Rect size;
        SetRect(&size, 0, 0, static_cast<int16_t>(Width(*srcRect)),
                static_cast<int16_t>(Height(*srcRect)));
        // Without a temporary world there is nothing to draw.
        if (NewGWorld(&temporary, 32, &size, nullptr, nullptr, 0) == noErr)
            FoolCopyBits(src, temporary, srcRect, &size);
        picture = temporary;
    }
    if (picture)
        DrawOffscreenToContext(picture, ctx, dstRect->left * 1000,
                               (Height(dstBounds) - dstRect->bottom) * 1000, Width(*dstRect),
                               Height(*dstRect), bitmapInfo);
    DisposeGWorld(temporary);
    if (flush)
        CGContextFlush(ctx);
    else
        CGContextSynchronize(ctx);
    DisposeRgn(clip);
    QDEndCGContext(dst, &ctx);
}

} // extern "C"
