/** @file
 * sprig: drawing contexts, images over pixel memory, views and draw events.
 *
 * The library draws through a small drawing-context service built on cairo:
 *
 * - A context opened on a world (QDBeginCGContext) draws into the world's own
 *   pixels. Its origin is the world's bottom-left corner and its y axis points
 *   up. It reads the world's bytes (alpha, red, green, blue) as premultiplied
 *   pixels; pixels a drawing does not touch keep their exact bits.
 * - A context made from a host's cairo_t (CGContextCreateWithCairo) draws
 *   through that cairo_t.
 * - An image (CGImageCreate) wraps pixel memory without copying it. Images
 *   with alpha-first information (kCGImageAlphaFirst, the library's pixel
 *   word) hold straight alpha and are premultiplied as they are drawn.
 * - A view (HIViewRef) has bounds, records the rectangles invalidated in it
 *   and passes them to the host's callback; an offscreen view is backed by a
 *   world for headless hosts and tests.
 * - A draw event (EventRef) carries the region of a view being drawn.
 *
 * Colours given as fractions round to the nearest 8-bit value. */
#ifndef SPRIG_COREGRAPHICS_H
#define SPRIG_COREGRAPHICS_H

#include <stddef.h>

#include "sprig/platform.h"

typedef struct _cairo cairo_t; /**< cairo's drawing context, as cairo.h declares it */

typedef double CGFloat; /**< a coordinate or length of a drawing context */

/** A position in a drawing context's coordinates. */
typedef struct CGPoint
{
    CGFloat x; /**< rightward */
    CGFloat y; /**< upward in a context, downward in a view */
} CGPoint;

/** A width and a height. */
typedef struct CGSize
{
    CGFloat width;  /**< horizontal extent */
    CGFloat height; /**< vertical extent */
} CGSize;

/** A rectangle: its origin (lowest x and y) and its size. */
typedef struct CGRect
{
    CGPoint origin; /**< the corner of lowest x and y */
    CGSize size;    /**< width and height */
} CGRect;

typedef CGRect HIRect; /**< a rectangle of a view, y growing downward */

typedef struct CGContext* CGContextRef;           /**< a drawing context */
typedef struct CGImage* CGImageRef;               /**< an image of 32-bit pixels */
typedef struct CGDataProvider* CGDataProviderRef; /**< the bytes behind an image */
typedef struct CGColorSpace* CGColorSpaceRef;     /**< a colour space; device RGB only */
typedef struct OpaqueHIViewRef* HIViewRef;        /**< a view: the host's window or widget */
typedef struct OpaqueEventRef* EventRef;          /**< a view's draw event */

typedef uint32_t CGBitmapInfo;          /**< a CGImageAlphaInfo value */
typedef int32_t CGColorRenderingIntent; /**< ignored; pass 0 */

/** The layout of an image's 32-bit pixels, in memory order (the default,
 * big-endian byte order). */
enum
{
    kCGImageAlphaPremultipliedLast = 1,  /**< R G B A, premultiplied */
    kCGImageAlphaPremultipliedFirst = 2, /**< A R G B, premultiplied */
    kCGImageAlphaLast = 3,               /**< R G B A, straight */
    kCGImageAlphaFirst = 4,              /**< A R G B, straight: the pixel word */
    kCGImageAlphaNoneSkipLast = 5,       /**< R G B x, opaque */
    kCGImageAlphaNoneSkipFirst = 6,      /**< x R G B, opaque */
    kCGBitmapAlphaInfoMask = 0x1F,
    kCGBitmapByteOrderMask = 0x7000,
    kCGBitmapByteOrderDefault = 0,
    kCGBitmapByteOrder32Big = 4 << 12
};

enum
{
    kCGRenderingIntentDefault = 0
};

/** Called once when the last image using a provider lets go of its data. */
typedef void (*CGDataProviderReleaseDataCallback)(void* info, const void* data, uint32_t size);

/** Called for every rectangle invalidated in a host's view, in view
 * coordinates (top-left origin, y down). */
typedef void (*HIViewInvalidateProc)(void* info, const CGRect* rect);

/** Shows a stop alert: the two texts of StandardAlert as C strings. */
typedef void (*StandardAlertHandler)(void* info, int16_t alertType, const char* error,
                                     const char* explanation);

SPRIG_EXTERN_C_BEGIN

/** @{ */
/** Images over pixel memory. CGImageCreate accepts 8 bits per component,
 * 32 bits per pixel, the default or 32-bit big-endian byte order and the
 * alpha layouts above; it returns null for anything else, for an empty size
 * and for data too short for the rows. The image keeps the provider (and so
 * the pixel memory) until it is released; pixels are read when it is drawn. */
SPRIG_EXPORT CGDataProviderRef CGDataProviderCreateWithData(
    void* info, const void* data, size_t size, CGDataProviderReleaseDataCallback release);
SPRIG_EXPORT void CGDataProviderRelease(CGDataProviderRef provider);
SPRIG_EXPORT CGColorSpaceRef CGColorSpaceCreateDeviceRGB(void);
SPRIG_EXPORT void CGColorSpaceRelease(CGColorSpaceRef space);
SPRIG_EXPORT CGImageRef CGImageCreate(size_t width, size_t height, size_t bitsPerComponent,
                                      size_t bitsPerPixel, size_t bytesPerRow,
                                      CGColorSpaceRef space, CGBitmapInfo bitmapInfo,
                                      CGDataProviderRef provider, const CGFloat* decode,
                                      bool shouldInterpolate, CGColorRenderingIntent intent);
SPRIG_EXPORT CGImageRef CGImageRetain(CGImageRef image);
SPRIG_EXPORT void CGImageRelease(CGImageRef image);
SPRIG_EXPORT size_t CGImageGetWidth(CGImageRef image);
SPRIG_EXPORT size_t CGImageGetHeight(CGImageRef image);
/** @} */

/** @{ */
/** A context over a world's pixels, y up from the bottom-left corner.
 * Returns paramErr for a null port, a port without pixels or a world whose
 * pixels are not 32 bits deep, memFullErr when the context cannot be made.
 * QDEndCGContext releases the context and sets *context to null. */
SPRIG_EXPORT OSStatus QDBeginCGContext(CGrafPtr port, CGContextRef* context);
SPRIG_EXPORT OSStatus QDEndCGContext(CGrafPtr port, CGContextRef* context);
/** @} */

/** A context that draws through a host's cairo_t, from the state cr has now;
 * releasing the context puts cr's state back.
 * With height > 0 its y axis points up from the bottom edge of an area that
 * many units tall, the convention DrawOffscreenToContext and
 * CGCopyBitsToContext assume. With height 0 it keeps cr's own axes, y down:
 * the convention of a view's draw event (DrawOffscreenToHIView,
 * SprUpdateControl). Returns null when cr is null or in an error state. */
SPRIG_EXPORT CGContextRef CGContextCreateWithCairo(cairo_t* cr, CGFloat height);
/** Releases a context from CGContextCreateWithCairo or HIViewCreateDrawContext. */
SPRIG_EXPORT void CGContextRelease(CGContextRef context);

/** A view backed by a world of its own, of width x height (at most 4092 x
 * 32767), cleared to transparent black: a headless host's window. */
SPRIG_EXPORT HIViewRef HIViewCreateOffscreen(int32_t width, int32_t height);
/** A view standing for a host's widget of width x height: invalidations go to
 * proc (which may be null) and are recorded. */
SPRIG_EXPORT HIViewRef HIViewCreateForHost(int32_t width, int32_t height, HIViewInvalidateProc proc,
                                           void* info);
/** Frees a view and, for an offscreen view, its world. */
SPRIG_EXPORT void HIViewRelease(HIViewRef view);
/** (0, 0, width, height). */
SPRIG_EXPORT OSStatus HIViewGetBounds(HIViewRef view, HIRect* bounds);
/** The world behind an offscreen view (owned by the view), or null. */
SPRIG_EXPORT GWorldPtr HIViewGetGWorld(HIViewRef view);
/** The context a draw event of an offscreen view hands over: the view's world
 * in view coordinates, y down. Null for a host's view. */
SPRIG_EXPORT CGContextRef HIViewCreateDrawContext(HIViewRef view);
/** @{ */
/** The rectangles invalidated since the view was made or last cleared, in
 * order, in view coordinates. */
SPRIG_EXPORT int32_t HIViewCountInvalidRects(HIViewRef view);
SPRIG_EXPORT Boolean HIViewGetInvalidRect(HIViewRef view, int32_t index, HIRect* rect);
SPRIG_EXPORT void HIViewClearInvalidRects(HIViewRef view);
/** @} */

/** @{ */
/** A draw event carrying a copy of region (in view coordinates), or no region
 * when region is null. */
SPRIG_EXPORT EventRef CreateDrawEvent(RgnHandle region);
SPRIG_EXPORT void ReleaseEvent(EventRef event);
/** @} */

/** Installs the handler of stop alerts; null puts back the default, which
 * writes the two texts to standard error, one line each. */
SPRIG_EXPORT void SetStandardAlertHandler(StandardAlertHandler handler, void* info);

SPRIG_EXTERN_C_END

#endif
