// Software pixel transfers: raw row copies, alpha-channel operations,
// transparent-colour handling, same-size compositing with the library's
// blend, a CopyBits wrapper and the border measure of 16-bit images.
//
// Each routine walks its worlds with one pointer per surface, stepping by
// 4 bytes per pixel and by the row bytes per row, and leaves the worlds it
// locked unlocked.
#include "transfer/transfer_p.h"

#include <cstring>

#include "platform/coregraphics.h"
#include "sprig/blend.h"

namespace {

struct Pixels
{
    uint8_t* base;
    ptrdiff_t rowBytes;
    Rect bounds;
};

// Locks a world's pixels and reads where they are.
Pixels LockedPixels(GWorldPtr world)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    LockPixels(pm);
    Pixels p;
    p.base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
    p.rowBytes = GetPixRowBytes(pm);
    GetPortBounds(world, &p.bounds);
    return p;
}

void Unlock(GWorldPtr world)
{
    UnlockPixels(GetGWorldPixMap(world));
}

uint32_t* RowOf(const Pixels& p, int v)
{
    return reinterpret_cast<uint32_t*>(p.base + v * p.rowBytes);
}

// A length-prefixed copy of a text of at most 255 characters.
struct PascalString
{
    explicit PascalString(const char* text)
    {
        const size_t n = std::strlen(text);
        bytes[0] = static_cast<unsigned char>(n < 255 ? n : 255);
        std::memcpy(bytes + 1, text, bytes[0]);
    }
    unsigned char bytes[256];
};

void ReportSizeMismatch()
{
    const PascalString error("Unhandled exception occurred while drawing an image. Some graphic "
                             "may not be shown as expected.");
    const PascalString explanation("Please, submit your action log to R&D.");
    int16_t hit = 0;
    StandardAlert(kAlertStopAlert, error.bytes, explanation.bytes, nullptr, &hit);
}

} // namespace

void CompositeSameSize(const uint32_t* src, int32_t srcRowPixels, GWorldPtr dst,
                       const Rect& srcRect, const Rect& dstRect)
{
    Pixels d = LockedPixels(dst);
    Rect clip;
    if (SectRect(&d.bounds, &dstRect, &clip)) {
        const int dx = clip.left - dstRect.left;
        const int dy = clip.top - dstRect.top;
        const int width = clip.right - clip.left;
        const int height = clip.bottom - clip.top;
        const uint32_t* s = src + (ptrdiff_t{srcRect.top} + dy) * srcRowPixels + srcRect.left + dx;
        uint8_t* dRow = reinterpret_cast<uint8_t*>(RowOf(d, clip.top) + clip.left);
        for (int r = 0; r < height; r++, s += srcRowPixels, dRow += d.rowBytes) {
            MixColorsRow(s, reinterpret_cast<uint32_t*>(dRow), width);
        }
    }
    Unlock(dst);
}

void FoolCopyBitsToBuffer(GWorldPtr src, uint32_t* dst, int32_t dstRowPixels, Rect* srcRect,
                          Rect* dstRect)
{
    Pixels s = LockedPixels(src);
    const int width = srcRect->right - srcRect->left;
    // An inverted rectangle has no columns to copy, whatever its height.
    const int height = width > 0 ? srcRect->bottom - srcRect->top : 0;
    const uint8_t* from = reinterpret_cast<const uint8_t*>(RowOf(s, srcRect->top) + srcRect->left);
    uint32_t* to = dst + ptrdiff_t{dstRect->top} * dstRowPixels + dstRect->left;
    for (int r = 0; r < height; r++, from += s.rowBytes, to += dstRowPixels)
        std::memcpy(to, from, static_cast<size_t>(width) * 4);
    Unlock(src);
}

void MyCGCopyRaw(uint32_t* src, int32_t srcRowPixels, GWorldPtr dst, Rect* srcRect, Rect* dstRect,
                 int, bool, bool)
{
    if (srcRect->bottom - srcRect->top != dstRect->bottom - dstRect->top ||
        srcRect->right - srcRect->left != dstRect->right - dstRect->left) {
        ReportSizeMismatch();
        return;
    }
    CompositeSameSize(src, srcRowPixels, dst, *srcRect, *dstRect);
}

extern "C" {

void FoolCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect)
{
    Pixels d = LockedPixels(dst);
    FoolCopyBitsToBuffer(src, reinterpret_cast<uint32_t*>(d.base),
                         static_cast<int32_t>(d.rowBytes / 4), srcRect, dstRect);
    Unlock(dst);
}

void CopyAlpha(GWorldPtr src, GWorldPtr dst)
{
    Pixels s = LockedPixels(src);
    Pixels d = LockedPixels(dst);
    // Both worlds are walked with the source's row distance.
    for (int v = 0; v < s.bounds.bottom; v++) {
        const uint8_t* from = s.base + v * s.rowBytes;
        uint8_t* to = d.base + v * s.rowBytes;
        for (int h = 0; h < s.bounds.right; h++)
            to[4 * h] = from[4 * h]; // alpha is the first byte of a pixel
    }
    Unlock(dst);
    Unlock(src);
}

void ResetAlpha(GWorldPtr world, int32_t opacity)
{
    Pixels p = LockedPixels(world);
    const float factor = static_cast<float>(opacity) / 255.0f;
    for (int v = p.bounds.top; v < p.bounds.bottom; v++) {
        uint32_t* row = RowOf(p, v);
        for (int h = p.bounds.left; h < p.bounds.right; h++) {
            const uint32_t word = row[h];
            const auto alpha = static_cast<int32_t>(static_cast<float>(word & 0xFF) * factor);
            row[h] = (word & 0xFFFFFF00) | (static_cast<uint32_t>(alpha) & 0xFF);
        }
    }
    Unlock(world);
}

void FillOffscreen(GWorldPtr world, uint32_t pixel)
{
    Pixels p = LockedPixels(world);
    const size_t count = static_cast<size_t>(p.bounds.bottom) * static_cast<size_t>(p.rowBytes) / 4;
    uint32_t* word = reinterpret_cast<uint32_t*>(p.base);
    for (size_t i = 0; i < count; i++)
        word[i] = pixel;
    Unlock(world);
}

void CopyTransparent(GWorldPtr src, GWorldPtr dst, uint32_t keyPixel, unsigned char opacity)
{
    Pixels s = LockedPixels(src);
    Pixels d = LockedPixels(dst);
    const uint32_t k = 255u - opacity;
    for (int v = 0; v < s.bounds.bottom; v++) {
        const uint32_t* from = RowOf(s, v);
        uint32_t* to = reinterpret_cast<uint32_t*>(d.base + v * s.rowBytes);
        for (int h = 0; h < s.bounds.right; h++) {
            if (from[h] == keyPixel)
                to[h] = (((to[h] & 0xFF) * k) >> 8) | (to[h] & 0xFFFFFF00);
        }
    }
    Unlock(dst);
    Unlock(src);
}

void CopyBitsAlphaTransparent(GWorldPtr dst, int32_t dstLeft, int32_t dstTop, int32_t width,
                              int32_t height, GWorldPtr src, int32_t srcLeft, int32_t srcTop,
                              uint32_t fillPixel)
{
    Pixels s = LockedPixels(src);
    Pixels d = LockedPixels(dst);
    for (int32_t r = 0; r < height; r++) {
        const uint32_t* from = RowOf(s, srcTop + r) + srcLeft;
        uint32_t* to = RowOf(d, dstTop + r) + dstLeft;
        for (int32_t c = 0; c < width; c++)
            to[c] = (from[c] & 0xFF) ? from[c] : fillPixel;
    }
    Unlock(dst);
    Unlock(src);
}

void CopyBmBmBg(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect, short mode,
                RgnHandle mask, RGBColor* back)
{
    // The colours belong to the port made current here; on this platform they
    // are process-wide, so they are put back for the previous port with it.
    CGrafPtr previous = nullptr;
    const bool changed = QDSwapPort(src, &previous);
    RGBColor savedFore, savedBack;
    GetForeColor(&savedFore);
    GetBackColor(&savedBack);
    const RGBColor black = {0, 0, 0};
    RGBForeColor(&black);
    RGBBackColor(back);
    CopyBits(GetPortBitMapForCopyBits(src), GetPortBitMapForCopyBits(dst), srcRect, dstRect, mode,
             mask);
    if (changed) {
        RGBForeColor(&savedFore);
        RGBBackColor(&savedBack);
        QDSwapPort(previous, nullptr);
    }
    UnlockPixels(GetGWorldPixMap(dst));
    UnlockPixels(GetGWorldPixMap(src));
}

int32_t ReducedRect(uint32_t* out, uint16_t* pixels, uint32_t rowBytes, uint32_t width,
                    int32_t height)
{
    const auto* base = reinterpret_cast<const uint8_t*>(pixels);
    auto at = [&](uint32_t column, int32_t row) {
        return reinterpret_cast<const uint16_t*>(base + size_t(row) * rowBytes)[column];
    };
    auto columnIsUniform = [&](uint32_t column) {
        for (int32_t row = 0; row < height; row++)
            if (at(column, row) != pixels[0])
                return false;
        return true;
    };
    auto rowIsUniform = [&](int32_t row) {
        for (uint32_t column = 0; column < width; column++)
            if (at(column, row) != pixels[0])
                return false;
        return true;
    };
    uint32_t columns = 0;
    while (columns < width / 2 && columnIsUniform(columns) && columnIsUniform(width - 1 - columns))
        columns++;
    int32_t rows = 0;
    while (rows < height / 2 && rowIsUniform(rows) && rowIsUniform(height - 1 - rows))
        rows++;
    out[0] = columns;
    out[1] = static_cast<uint32_t>(rows);
    return 1;
}

} // extern "C"
