// The drawing-context, view, event, alert and scaling services the library
// calls internally. Hosts see only the constructors and readers in
// sprig/coregraphics.h.
//
// Contexts follow the conventions of a CoreGraphics context: paths are
// transformed by the current transformation when they are built, line widths
// and dashes are measured in the user space current when the path is
// stroked, and CGContextSaveGState / CGContextRestoreGState save and restore
// the transformation, clip, colour, line settings and antialiasing. A stroke
// without antialiasing thinner than one device pixel is drawn as a connected
// line one pixel wide.
#ifndef SPRIG_PLATFORM_COREGRAPHICS_H
#define SPRIG_PLATFORM_COREGRAPHICS_H

#include <vector>

#include "sprig/coregraphics.h"

typedef int32_t CGLineCap;
enum
{
    kCGLineCapButt = 0,
    kCGLineCapRound = 1,
    kCGLineCapSquare = 2
};

typedef uint32_t EventParamName;
typedef uint32_t EventParamType;
enum : uint32_t
{
    kEventParamRgnHandle = 0x72676E68, // 'rgnh'
    typeQDRgnHandle = 0x72676E68       // 'rgnh'
};

enum
{
    eventParameterNotFoundErr = -9870,
    errAEBufferTooSmall = -1741
};

typedef int16_t AlertType;
enum
{
    kAlertStopAlert = 0
};

// A length-prefixed string: the first byte is the length of the text.
typedef const unsigned char* ConstStr255Param;
typedef struct AlertStdAlertParamRec AlertStdAlertParamRec;

typedef uint32_t vImagePixelCount;
typedef int32_t vImage_Error;
typedef uint32_t vImage_Flags;

struct vImage_Buffer
{
    void* data;
    vImagePixelCount height;
    vImagePixelCount width;
    size_t rowBytes;
};

enum
{
    kvImageNoError = 0,
    kvImageHighQualityResampling = 8,
    kvImageInvalidParameter = -21773,
    kvImageMemoryAllocationError = -21771
};

inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height)
{
    return CGRect{{x, y}, {width, height}};
}

// What the stage drew into its sprite surface, so that the next draw clears
// only that: SetDrawnBoxes records that every pixel of the world outside the
// boxes is 0; TakeDrawnBoxes hands the boxes back and forgets them, or
// returns false when nothing is known: nothing was recorded, the world's
// pixel map has changed since (other memory, rows or bounds), or its pixels
// were locked, drawn on through a context or copied into since (the ways
// the library writes into a world). A host writing into the memory itself
// is not seen.
void SetDrawnBoxes(GWorldPtr world, std::vector<Rect> boxes);
bool TakeDrawnBoxes(GWorldPtr world, std::vector<Rect>* boxes);

// Work on a world's pixels put off until they are next looked at (the stage
// leaves the parts of its sprite surface that no view needed for later).
// complete(world, state) runs once, with the pixels' lock state kept as it
// was, before the library touches the world's pixels by any other way:
// locking them, reading their address, a context on the world, a transfer
// or fill into or out of it, reading a pixel, disposing of a world over the
// host's memory; and before any picture is destroyed (CompleteAllPendingWork),
// as the work may read pictures. drop(state) frees the state without doing
// the work: when TakePendingWork takes it back, when the world is disposed
// of with its own memory, or when its pixel map was pointed elsewhere.
struct PendingWork
{
    void (*complete)(GWorldPtr world, void* state);
    void (*drop)(void* state);
    void* state;
};
// Sets the world's work; it must have none (take it back first).
void SetPendingWork(GWorldPtr world, const PendingWork& work);
// The state of the work pending on the world, taken back without running
// it; null when there is none, or when the pixel map has changed since it
// was set (the work is then dropped).
void* TakePendingWork(GWorldPtr world);
void CompleteAllPendingWork();
// Whether something may read the world's pixels without a further call:
// they are locked, or a drawing context is open on the world.
bool PixelsInUse(GWorldPtr world);

// A region of the union of rects.
void RectsRgn(RgnHandle rgn, const std::vector<Rect>& rects);
// Whether r and rgn share a pixel: what intersecting rgn with a region made
// from r and testing the result for emptiness tells, without making either.
bool RectMeetsRgn(const Rect* r, RgnHandle rgn);

// Draws image into rect exactly as HIViewDrawCGImage does, given that every
// pixel of the image outside area (in the image's own pixels, y down) is
// transparent: drawn one to one, only the pixels within area are looked at.
OSStatus HIViewDrawCGImageWithin(CGContextRef c, const HIRect* rect, CGImageRef image,
                                 RgnHandle area);
// The same for an image whose pixels are made ready only when asked: before
// any pixel is read, prepare(info, boxes, count) is called with the image's
// pixels about to be read (disjoint boxes in the image's own pixels, y
// down), or with count -1 when any pixel may be read. Drawn one to one, the
// image is read a band at a time, and each call hands over one band: boxes
// from left to right that share their top and bottom, a band below the one
// before. The call says where it made the pixels ready: in rows of
// rowBytes bytes from pixels, the first of them the image's row top, with
// each pixel at four times its column; or, with null pixels, in the image's
// own memory.
struct PreparedPixels
{
    const uint8_t* pixels;
    ptrdiff_t rowBytes;
    int32_t top;
};
using PreparePixelsProc = PreparedPixels (*)(void* info, const Rect* boxes, int32_t count);
OSStatus HIViewDrawPreparedCGImage(CGContextRef c, const HIRect* rect, CGImageRef image,
                                   RgnHandle area, PreparePixelsProc prepare, void* info);

// State and stroking.
void CGContextSaveGState(CGContextRef c);
void CGContextRestoreGState(CGContextRef c);
void CGContextSetShouldAntialias(CGContextRef c, bool antialias);
void CGContextSetRGBStrokeColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue,
                                CGFloat alpha);
void CGContextSetLineWidth(CGContextRef c, CGFloat width);
void CGContextSetLineCap(CGContextRef c, CGLineCap cap);
// count 0 (or lengths that are all 0, or any negative) makes lines solid.
void CGContextSetLineDash(CGContextRef c, CGFloat phase, const CGFloat* lengths, size_t count);
void CGContextTranslateCTM(CGContextRef c, CGFloat tx, CGFloat ty);
// A scale by 0 (which would leave nothing visible) is ignored.
void CGContextScaleCTM(CGContextRef c, CGFloat sx, CGFloat sy);
void CGContextBeginPath(CGContextRef c);
void CGContextMoveToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextAddLineToPoint(CGContextRef c, CGFloat x, CGFloat y);
void CGContextClosePath(CGContextRef c);
void CGContextAddRect(CGContextRef c, CGRect rect);
// Strokes and then empties the current path.
void CGContextStrokePath(CGContextRef c);
// Strokes a rectangle on its own (the current path is emptied), with the
// given width for this stroke only.
void CGContextStrokeRect(CGContextRef c, CGRect rect);
void CGContextStrokeRectWithWidth(CGContextRef c, CGRect rect, CGFloat width);

// Draws the image scaled into rect (its first row at the rect's larger y,
// which is the top in a y-up context) and composites it by its alpha.
void CGContextDrawImage(CGContextRef c, CGRect rect, CGImageRef image);

// Intersects the clip with a region given in the port's top-down
// coordinates; portRect is the port's bounds, which place the region in the
// context's default coordinates.
OSStatus ClipCGContextToRegion(CGContextRef c, const Rect* portRect, RgnHandle region);

// Drawing is finished in the pixels when each call returns; these two only
// flush the target for a host that reads it behind cairo's back.
void CGContextFlush(CGContextRef c);
void CGContextSynchronize(CGContextRef c);

// Views.
OSStatus HIViewSetNeedsDisplayInRect(HIViewRef view, const HIRect* rect, Boolean needsDisplay);
OSStatus HIViewSetNeedsDisplayInRegion(HIViewRef view, RgnHandle region, Boolean needsDisplay);
// Draws the image upright into rect of a y-down context (a view's).
OSStatus HIViewDrawCGImage(CGContextRef c, const HIRect* rect, CGImageRef image);

// The draw event's region: name and type kEventParamRgnHandle /
// typeQDRgnHandle, out pointing at a RgnHandle and size sizeof(RgnHandle)
// (the handle's size on this platform). The region stays the event's.
// Returns eventParameterNotFoundErr when the event carries no region.
OSStatus GetEventParameter(EventRef event, EventParamName name, EventParamType type,
                           EventParamType* outActualType, uint32_t size, uint32_t* outActualSize,
                           void* out);

// Shows a stop alert through the host's handler (by default: both texts on
// standard error) and returns once it has been dismissed.
OSErr StandardAlert(AlertType type, ConstStr255Param error, ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param, int16_t* outItemHit);

// Scales a buffer of 32-bit pixels into another, each of the four channels
// on its own (nothing is premultiplied), with a Lanczos filter; edges extend.
// Returns kvImageNoError, or kvImageInvalidParameter / kvImageMemoryAllocationError.
vImage_Error vImageScale_ARGB8888(const vImage_Buffer* src, const vImage_Buffer* dest,
                                  void* tempBuffer, vImage_Flags flags);

#endif
