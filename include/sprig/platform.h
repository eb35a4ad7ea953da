/** @file
 * sprig: the drawing platform's operations on rectangles, regions, offscreen
 * worlds, ports, colours and pens.
 *
 * The library does its pixel work through these calls, and a host uses the
 * same calls to make the worlds it hands in and to read their pixels. Worlds
 * always have their top-left corner at (0,0) and 32-bit pixels laid out in
 * memory as alpha, red, green, blue, with straight (not premultiplied)
 * alpha. All state (the current port, device, colours and pen) belongs to
 * the calling process; the calls assume a single thread. */
#ifndef SPRIG_PLATFORM_H
#define SPRIG_PLATFORM_H

#include "sprig/types.h"

SPRIG_EXTERN_C_BEGIN

/** @{ */
/** Rectangles. All arithmetic keeps 16 bits. */
SPRIG_EXPORT void SetRect(Rect* r, int16_t left, int16_t top, int16_t right, int16_t bottom);
SPRIG_EXPORT Boolean SectRect(const Rect* a, const Rect* b, Rect* out);
SPRIG_EXPORT void UnionRect(const Rect* a, const Rect* b, Rect* out);
SPRIG_EXPORT Boolean EmptyRect(const Rect* r);
SPRIG_EXPORT void InsetRect(Rect* r, int16_t dh, int16_t dv);
SPRIG_EXPORT void OffsetRect(Rect* r, int16_t dh, int16_t dv);
SPRIG_EXPORT Boolean PtInRect(Point pt, const Rect* r);
SPRIG_EXPORT Boolean EqualRect(const Rect* a, const Rect* b);
/** @} */

/** @{ */
/** Regions: sets of pixels made of rectangles. */
SPRIG_EXPORT RgnHandle NewRgn(void);
SPRIG_EXPORT void DisposeRgn(RgnHandle rgn);
SPRIG_EXPORT void RectRgn(RgnHandle rgn, const Rect* r);
SPRIG_EXPORT void SetRectRgn(RgnHandle rgn, int16_t left, int16_t top, int16_t right,
                             int16_t bottom);
SPRIG_EXPORT void SetEmptyRgn(RgnHandle rgn);
SPRIG_EXPORT void CopyRgn(RgnHandle src, RgnHandle dst);
SPRIG_EXPORT void SectRgn(RgnHandle a, RgnHandle b, RgnHandle out);
SPRIG_EXPORT void UnionRgn(RgnHandle a, RgnHandle b, RgnHandle out);
SPRIG_EXPORT void DiffRgn(RgnHandle a, RgnHandle b, RgnHandle out);
SPRIG_EXPORT void OffsetRgn(RgnHandle rgn, int16_t dh, int16_t dv);
SPRIG_EXPORT Boolean EmptyRgn(RgnHandle rgn);
SPRIG_EXPORT Boolean EqualRgn(RgnHandle a, RgnHandle b);
SPRIG_EXPORT Boolean PtInRgn(Point pt, RgnHandle rgn);
SPRIG_EXPORT Boolean RectInRgn(const Rect* r, RgnHandle rgn);
SPRIG_EXPORT Rect* GetRegionBounds(RgnHandle rgn, Rect* bounds);
/** @} */

/** Offscreen worlds. NewGWorld makes a world of depth 32 (0 also means 32)
 * with bounds (0, 0, bottom - top, right - left) and zeroed pixels; the
 * table, device and flags must be null, null and 0. It returns noErr, or
 * paramErr for a negative size or a row too long for a pixel map (more than
 * 4092 pixels), cDepthErr for another depth, memFullErr when the pixels
 * cannot be allocated; on error *out is null. */
SPRIG_EXPORT OSErr NewGWorld(GWorldPtr* out, int16_t depth, const Rect* bounds, CTabHandle table,
                             GDHandle device, GWorldFlags flags);
/** @{ */
/** A world over pixel memory the caller owns and keeps alive; rowBytes is the
 * byte distance between its rows (at least 4 x width). pixelFormat is 0 or 32. */
SPRIG_EXPORT OSErr NewGWorldFromPtr(GWorldPtr* out, OSType pixelFormat, const Rect* bounds,
                                    CTabHandle table, GDHandle device, GWorldFlags flags,
                                    Ptr buffer, int32_t rowBytes);
SPRIG_EXPORT void DisposeGWorld(GWorldPtr world);
SPRIG_EXPORT void GetGWorld(CGrafPtr* port, GDHandle* device);
SPRIG_EXPORT void SetGWorld(CGrafPtr port, GDHandle device);
SPRIG_EXPORT PixMapHandle GetGWorldPixMap(GWorldPtr world);
SPRIG_EXPORT PixMapHandle GetPortPixMap(CGrafPtr port);
SPRIG_EXPORT const BitMap* GetPortBitMapForCopyBits(CGrafPtr port);
SPRIG_EXPORT Rect* GetPortBounds(CGrafPtr port, Rect* bounds);
SPRIG_EXPORT void GetPortClipRegion(CGrafPtr port, RgnHandle clip);
SPRIG_EXPORT void SetPortClipRegion(CGrafPtr port, RgnHandle clip);
/** @} */

/** @{ */
/** Pixel maps. */
SPRIG_EXPORT Ptr GetPixBaseAddr(PixMapHandle pm);
SPRIG_EXPORT int32_t GetPixRowBytes(PixMapHandle pm);
SPRIG_EXPORT Boolean LockPixels(PixMapHandle pm);
SPRIG_EXPORT void UnlockPixels(PixMapHandle pm);
SPRIG_EXPORT GWorldFlags GetPixelsState(PixMapHandle pm);
SPRIG_EXPORT void SetPixelsState(PixMapHandle pm, GWorldFlags state);
/** @} */
/** @{ */
/** Memory never moves on this platform: pinning a handle changes nothing. */
SPRIG_EXPORT void HLock(Handle h);
SPRIG_EXPORT void HUnlock(Handle h);
/** @} */

/** @{ */
/** The current port. */
SPRIG_EXPORT void GetPort(GrafPtr* port);
SPRIG_EXPORT void SetPort(GrafPtr port);
SPRIG_EXPORT Boolean QDSwapPort(CGrafPtr newPort, CGrafPtr* oldPort);
/** @} */

/** @{ */
/** Colours and pen of the current port. */
SPRIG_EXPORT void RGBForeColor(const RGBColor* colour);
SPRIG_EXPORT void RGBBackColor(const RGBColor* colour);
SPRIG_EXPORT void GetForeColor(RGBColor* colour);
SPRIG_EXPORT void GetBackColor(RGBColor* colour);
SPRIG_EXPORT void GetPenState(PenState* state);
SPRIG_EXPORT void SetPenState(const PenState* state);
SPRIG_EXPORT void PenNormal(void);
SPRIG_EXPORT void PenSize(int16_t width, int16_t height);
SPRIG_EXPORT void MoveTo(int16_t h, int16_t v);
/** @} */
/** @{ */
/** Paints the pen's rectangle along the line from the pen location to (h, v)
 * in the foreground colour, opaque, clipped to the port's bounds; the pen
 * location moves to (h, v). */
SPRIG_EXPORT void LineTo(int16_t h, int16_t v);
SPRIG_EXPORT void PaintRect(const Rect* r);
/** @} */

/** The colour of pixel (h, v) of the current world, each 8-bit channel b
 * widened to b * 0x0101; black outside the world. */
SPRIG_EXPORT void GetCPixel(int16_t h, int16_t v, RGBColor* colour);

/** Block transfer from srcRect of src to dstRect of dst, scaling by pixel
 * replication (nearest neighbour) and copying all four bytes of each pixel,
 * restricted to the mask region when one is given and to the destination's
 * bounds. Only srcCopy is implemented; another mode copies nothing and is
 * reported once on standard error. */
SPRIG_EXPORT void CopyBits(const BitMap* src, const BitMap* dst, const Rect* srcRect,
                           const Rect* dstRect, int16_t mode, RgnHandle mask);

SPRIG_EXTERN_C_END

#endif
