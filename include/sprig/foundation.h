/** @file
 * sprig: rectangles, colour conversions, pixel buffers and the guards that
 * save and restore a piece of drawing state for the length of a scope.
 *
 * Pixel word: a 32-bit pixel stored as the bytes alpha, red, green, blue from
 * the lowest address and read as a little-endian uint32_t:
 *
 *     [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
 *      31    24  23    16  15     8  7      0
 *
 * Alpha 0 is transparent, 255 opaque; colours are not premultiplied.
 * 16-bit pixel: x1r5g5b5 (red bits 10-14, green 5-9, blue 0-4). */
#ifndef SPRIG_FOUNDATION_H
#define SPRIG_FOUNDATION_H

#include "sprig/platform.h"

/** A Rect with constructors and set operations; it adds no data, so a CRect*
 * goes wherever a Rect* is expected. */
class SPRIG_EXPORT CRect : public Rect
{
  public:
    CRect();
    /** The rectangle left <= h < right, top <= v < bottom. */
    CRect(short left, short top, short right, short bottom);
    /** @{ */
    /** Each value is truncated toward zero and its low 16 bits are kept. */
    CRect(double left, double top, double right, double bottom);
    explicit CRect(Rect* r);
    CRect(const CRect&) = default;
    /** @} */

    /** @{ */
    /** Computed in 16 bits. */
    short Width() const;
    short Height() const;
    /** @} */

    /** @{ */
    /** Copies the four coordinates. */
    void operator=(Rect r);
    void operator=(CRect r);
    /** @} */
    /** @{ */
    /** Intersection (&) and union (|), as SectRect and UnionRect compute
     * them; the assigning forms also return the result. */
    CRect operator&=(CRect& r);
    CRect operator|=(CRect& r);
    CRect operator&(CRect r) const;
    CRect operator|(CRect r) const;
    /** @} */

    /** No pixel inside: right <= left or bottom <= top. */
    bool IsRectEmpty() const;
    /** Makes the rectangle (0, 0, 0, 0). */
    void SetRectEmpty();
    /** Grows by dx on the left and right and by dy at the top and bottom;
     * a rectangle that shrinks below one pixel becomes (0,0,0,0). */
    void InflateRect(short dx, short dy);
};

SPRIG_EXTERN_C_BEGIN

/** @{ */
/** The channel tables every 16-bit path shares: RGBToWord takes an 8-bit
 * channel to 5 bits (max(0, (i - 4) >> 3)), WordToRGB a 5-bit channel back to
 * 8 bits (0, then 8 * (i + 1), then 255). */
SPRIG_EXPORT extern const uint16_t RGBToWord[256];
SPRIG_EXPORT extern const uint16_t WordToRGB[32];
/** @} */

SPRIG_EXPORT extern const RGBColor rgbWhite;       /**< FFFF FFFF FFFF */
SPRIG_EXPORT extern const RGBColor rgbBlack;       /**< 0000 0000 0000 */
SPRIG_EXPORT extern const RGBColor fillColor;      /**< 0000 FFFF FFFF, cyan */
SPRIG_EXPORT extern const RGBColor yellowKeyColor; /**< FFFF FFFF F8F8 */
SPRIG_EXPORT extern const RGBColor keyColor;       /**< FFFF F7F7 FFFF */
SPRIG_EXPORT extern const RGBColor pinkColor;      /**< FFFF F8F8 FFFF */
SPRIG_EXPORT extern const RGBColor background;     /**< FFFF FFFF FFFF, white */
SPRIG_EXPORT extern const RGBColor foreground;     /**< 0000 0000 0000, black */

/** The top five bits of each channel as a 16-bit pixel; bit 15 is 0. */
SPRIG_EXPORT uint16_t RGBColorToShort(const RGBColor* colour);
/** Each 5-bit field widened to 16 bits by repeating it; bit 15 is ignored. */
SPRIG_EXPORT void ShortToRGBColor(uint16_t pixel, RGBColor* out);
/** Red in bits 16-23, green 8-15, blue 0-7, each byte b becoming b * 0x0101. */
SPRIG_EXPORT void LongToRGBColor(uint32_t colour, RGBColor* out);

/** Reduces each word of a block to a 16-bit colour kept in a 32-bit slot:
 * RGBToWord of bits 0-7, 8-15 and 16-23 at bits 0, 5 and 10. The word
 * 0xFFF8FF00 (pinkColor with alpha 0) is passed over, leaving its
 * destination word as it was. Row offsets accumulate and are rounded down to
 * a multiple of 4 bytes. */
SPRIG_EXPORT void Reduce32To16(uint32_t* src, uint32_t* dst, uint32_t width, uint32_t height,
                               uint32_t srcRowBytes, uint32_t dstRowBytes);
/** Stores the low 16 bits of each source word; destination rows are rounded
 * down to a multiple of 2 bytes. */
SPRIG_EXPORT void CopyReducedTo16(uint32_t* src, uint16_t* dst, uint32_t width, uint32_t height,
                                  uint32_t srcRowBytes, uint32_t dstRowBytes);

SPRIG_EXTERN_C_END

/** A malloc block for width x height pixels, its rows padded to a multiple of
 * 4 pixels; rowBytes receives the padded row length in bytes. The caller
 * frees it with free. A negative size gives null and rowBytes 0. */
SPRIG_EXPORT void* NewImageBuffer(short width, short height, int32_t& rowBytes);

/** Guards: each saves a piece of drawing state on construction and puts it
 * back on destruction; nested guards unwind in reverse order. */

class SPRIG_EXPORT StPort
{
  public:
    StPort();
    /** Saves the current port, then makes port current. */
    explicit StPort(GrafPtr port);
    ~StPort();
    StPort(const StPort&) = delete;
    StPort& operator=(const StPort&) = delete;

  private:
    GrafPtr mSavedPort;
};

/** Keeps the fore colour, and puts it back on destruction. */
class SPRIG_EXPORT StForeColor
{
  public:
    StForeColor();
    /** Saves the fore colour, then sets colour. */
    explicit StForeColor(RGBColor& colour);
    ~StForeColor();
    StForeColor(const StForeColor&) = delete;
    StForeColor& operator=(const StForeColor&) = delete;

  private:
    RGBColor mSavedColor;
};

/** Keeps the back colour, and puts it back on destruction. */
class SPRIG_EXPORT StBackColor
{
  public:
    StBackColor();
    /** Saves the back colour, then sets colour. */
    explicit StBackColor(RGBColor& colour);
    ~StBackColor();
    StBackColor(const StBackColor&) = delete;
    StBackColor& operator=(const StBackColor&) = delete;

  private:
    RGBColor mSavedColor;
};

/** Makes a world current, with no device, for its lifetime. */
class SPRIG_EXPORT StGWorld
{
  public:
    /** Saves the current world and device, then makes world current. */
    explicit StGWorld(GWorldPtr world);
    ~StGWorld();
    StGWorld(const StGWorld&) = delete;
    StGWorld& operator=(const StGWorld&) = delete;

  private:
    CGrafPtr mSavedWorld;
    GDHandle mSavedDevice;
};

/** A normal pen of the given size in the given colour. */
class SPRIG_EXPORT StPen
{
  public:
    /** Saves the pen and fore colour, then sets a size x size pen in colour. */
    StPen(short size, RGBColor* colour);
    ~StPen();
    StPen(const StPen&) = delete;
    StPen& operator=(const StPen&) = delete;

  private:
    PenState mSavedPen;
    RGBColor mSavedColor;
};

/** Pins a pixel map's pixels and restores their previous lock state. */
class SPRIG_EXPORT StLock
{
  public:
    /** @{ */
    /** Pins the pixels of the world, or of the pixel map. */
    explicit StLock(GWorldPtr world);
    explicit StLock(PixMapHandle pixMap);
    /** @} */
    ~StLock();
    StLock(const StLock&) = delete;
    StLock& operator=(const StLock&) = delete;

  private:
    PixMapHandle mPixMap;
    GWorldFlags mSavedState;
};

/** Owns a new world of width x height for its lifetime. When the world cannot
 * be made the constructor throws NewGWorld's error code as a short. */
class SPRIG_EXPORT StOffscreen
{
  public:
    /** Makes the world, as NewGWorld with the given depth does. */
    StOffscreen(uint32_t width, uint32_t height, short depth);
    ~StOffscreen();
    StOffscreen(const StOffscreen&) = delete;
    StOffscreen& operator=(const StOffscreen&) = delete;

    /** The world, owned by the guard. */
    operator GWorldPtr() const { return mWorld; }

  private:
    GWorldPtr mWorld;
};

/** Black on white (or the given colours) for its lifetime. The saved colours
 * live in blocks of their own. */
class SPRIG_EXPORT StColors
{
  public:
    StColors();
    /** Saves both colours, then sets fore and back. */
    StColors(RGBColor& fore, RGBColor& back);
    ~StColors();
    StColors(const StColors&) = delete;
    StColors& operator=(const StColors&) = delete;

  private:
    RGBColor* mSavedFore;
    RGBColor* mSavedBack;
};

#endif
