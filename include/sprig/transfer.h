/** @file
 * sprig: pixel transfers between worlds and buffers, and drawing worlds
 * through drawing contexts.
 *
 * Worlds have their top-left corner at (0,0), so rectangles are pixel
 * indices. Rectangles are trusted: only the destinations of MyCGCopyRaw and
 * MyCGCopyBits are clipped (to the destination world); every other
 * rectangle, block and row count must lie inside its world or buffer.
 * Same-size compositing blends each pixel with MyMixColors (sprig/blend.h);
 * pictures of another size are scaled and composited by a drawing context
 * opened on the destination, which reads the destination's bytes as
 * premultiplied pixels (sprig/coregraphics.h). bitmapInfo is the image
 * layout handed to the context; the library always passes
 * kCGImageAlphaFirst (4), the pixel word with straight alpha. */
#ifndef SPRIG_TRANSFER_H
#define SPRIG_TRANSFER_H

#include "sprig/coregraphics.h"

/** Raw copies: srcRect of src to the buffer (row length dstRowPixels pixels)
 * at dstRect's top-left corner; only srcRect's size counts. */
SPRIG_EXPORT void FoolCopyBitsToBuffer(GWorldPtr src, uint32_t* dst, int32_t dstRowPixels,
                                       Rect* srcRect, Rect* dstRect);

/** Composites srcRect of a buffer (row length srcRowPixels) over the
 * same-size dstRect of dst, clipped to dst. Rectangles of different sizes
 * draw nothing and show a stop alert. antialias, flush and bitmapInfo are
 * not used. */
SPRIG_EXPORT void MyCGCopyRaw(uint32_t* src, int32_t srcRowPixels, GWorldPtr dst, Rect* srcRect,
                              Rect* dstRect, int bitmapInfo, bool antialias, bool flush);

/** Copies srcRect of src onto ctx at dstRect (top-down in an area ctxBounds
 * tall, scaled and composited by alpha); the context's own state applies. */
SPRIG_EXPORT void CGCopyBitsToContext(GWorldPtr src, CGContextRef ctx, Rect* srcRect, Rect* dstRect,
                                      int bitmapInfo, Rect* ctxBounds);

/** Strokes the outline of rect into the world: red, green and blue 0..65535,
 * alpha 0..255, solid or dashed 3 on 3 off. */
SPRIG_EXPORT void AltCGFrameRect(GWorldPtr world, Rect* rect, int32_t red, int32_t green,
                                 int32_t blue, int32_t alpha, int32_t lineWidth, bool dashed);

SPRIG_EXTERN_C_BEGIN

/** Copies the pixels of srcRect of src, unscaled and alpha included, to dst
 * with their top-left corner at dstRect's; the rectangles must lie inside
 * their worlds. */
SPRIG_EXPORT void FoolCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect);
/** Copies each pixel's alpha byte from src to dst (same size and row bytes). */
SPRIG_EXPORT void CopyAlpha(GWorldPtr src, GWorldPtr dst);
/** Scales every alpha by opacity / 255 (0..255), truncating. */
SPRIG_EXPORT void ResetAlpha(GWorldPtr world, int32_t opacity);
/** Writes pixel into every word of the world's memory, row padding included. */
SPRIG_EXPORT void FillOffscreen(GWorldPtr world, uint32_t pixel);
/** Where src's word equals keyPixel exactly, multiplies dst's alpha by
 * (255 - opacity) / 256 (same size and row bytes). */
SPRIG_EXPORT void CopyTransparent(GWorldPtr src, GWorldPtr dst, uint32_t keyPixel,
                                  unsigned char opacity);
/** Copies a width x height block, putting fillPixel where the source's alpha
 * is 0. */
SPRIG_EXPORT void CopyBitsAlphaTransparent(GWorldPtr dst, int32_t dstLeft, int32_t dstTop,
                                           int32_t width, int32_t height, GWorldPtr src,
                                           int32_t srcLeft, int32_t srcTop, uint32_t fillPixel);
/** CopyBits from src to dst with a black foreground and back as the
 * background colour; leaves both worlds' pixels unlocked. */
SPRIG_EXPORT void CopyBmBmBg(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect, short mode,
                             RgnHandle mask, RGBColor* back);
/** out[0]: columns, out[1]: rows, counted in pairs from the edges of a 16-bit
 * image inward, that have the colour of its top-left pixel. Returns 1. */
SPRIG_EXPORT int32_t ReducedRect(uint32_t* out, uint16_t* pixels, uint32_t rowBytes, uint32_t width,
                                 int32_t height);

/** Draws the whole world scaled into the rectangle at (x / 1000, y / 1000)
 * of size width x height in ctx's coordinates (y up), composited by alpha. */
SPRIG_EXPORT void DrawOffscreenToContext(GWorldPtr world, CGContextRef ctx, int32_t xThousandths,
                                         int32_t yThousandths, int32_t width, int32_t height,
                                         int bitmapInfo);
/** Draws the whole world scaled over the view's whole bounds through the
 * view's (y-down) context. */
SPRIG_EXPORT void DrawOffscreenToHIView(GWorldPtr world, CGContextRef ctx, HIViewRef view,
                                        int bitmapInfo);
/** Draws image into the world at dstRect read bottom-up (dstRect.top is the
 * distance from the world's bottom edge), within clipRect (top-down) when
 * given. Returns the context's error, or 0. */
SPRIG_EXPORT OSStatus DrawCGImageToOffscreen(GWorldPtr world, Rect* dstRect, Rect* clipRect,
                                             CGImageRef image);
/** Same-size rectangles: composited pixel by pixel as MyCGCopyRaw does;
 * others: CGCopyBits. */
SPRIG_EXPORT void MyCGCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect,
                               int bitmapInfo, bool antialias, bool flush);
/** Draws srcRect of src scaled into dstRect of dst, composited by alpha,
 * within dst's clip region, antialiased or not. */
SPRIG_EXPORT void CGCopyBits(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect,
                             int bitmapInfo, bool antialias, bool flush);

SPRIG_EXTERN_C_END

#endif
