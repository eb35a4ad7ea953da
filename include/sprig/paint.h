/** @file
 * sprig: paint tools. A soft brush paints on a picture in two stages.
 *
 * 1. Shape tools (PaintSpray, PaintLineTo, PaintRectangle, PaintPaintArc)
 *    raise coverage, 0 (none) to 63 (full), in an 8-bit mask that lies
 *    beside the picture. They touch no pixels.
 * 2. A mixing pass (PaintMix or EraseMix) walks a rectangle of the mask and
 *    turns each coverage value, through a 64-entry colour table, into paint
 *    mixed over the source picture and written to the destination.
 *
 * The host owns every buffer and describes them to each call in an OurPS.
 *
 * Mask geometry: rows of width + 32 bytes, with 16 rows and columns of
 * margin on every side, so (width + 32) x (height + 32) bytes for a painted
 * area of width x height pixels. Surface pixel (x, y) is mask byte
 * (y + 16) * (width + 32) + (x + 16). A brush stamp at (x, y) covers mask
 * rows y .. y + 31 and columns x .. x + 31, that is surface pixels
 * x - 16 .. x + 15 and y - 16 .. y + 15; brush byte (16, 16) lies on the point.
 *
 * Colour table: coverage m selects entry 63 - m (entry 0 is full coverage).
 * An entry is [alpha 24-31][blue 16-23][green 8-15][red 0-7]; alpha 0 leaves
 * the pixel alone.
 *
 * Nothing is checked: step points must stay inside the painted area (the
 * margin absorbs the brush's reach), spray offsets inside the margin, brush
 * bytes within 0..63. */
#ifndef SPRIG_PAINT_H
#define SPRIG_PAINT_H

#include "sprig/foundation.h"

/** The paint state the host fills for every paint call. Numbers are 32 bits,
 * addresses pointer-sized, in this order. */
typedef struct OurPS
{
    int32_t width;        /**< of the painted area; mask rows are width + 32 bytes */
    int32_t aux;          /**< carried into ps, read by no operation */
    GWorldPtr srcWorld;   /**< the picture before this stroke; required */
    GWorldPtr dstWorld;   /**< receives the painted pixels; same size; required */
    uint32_t color;       /**< carried into ps, read by no operation */
    GWorldPtr colorWorld; /**< optional texture that supplies the paint colour */
    uint8_t* brush;       /**< 32 rows of 32 coverage bytes */
    uint8_t* mask;        /**< the coverage mask */
    uint32_t* colorTable; /**< 64 entries, paint per coverage level */
} OurPS;

/** The paint state with its surfaces locked and their pixels reached: filled
 * by CPSLocker and valid while that guard lives. Row bytes are without the
 * pixel map's flag bit; the colour surface's are 0 and its base null when
 * there is none. */
typedef struct ps
{
    int32_t width;         /**< OurPS's width */
    int32_t aux;           /**< OurPS's aux */
    int32_t srcRowBytes;   /**< the source's row bytes */
    uint32_t color;        /**< OurPS's color */
    Ptr srcBase;           /**< the source's first pixel */
    int32_t dstRowBytes;   /**< the destination's row bytes */
    Ptr dstBase;           /**< the destination's first pixel */
    int32_t colorRowBytes; /**< the colour surface's row bytes, or 0 */
    Ptr colorBase;         /**< the colour surface's first pixel, or null */
    uint8_t* brush;        /**< OurPS's brush */
    uint8_t* mask;         /**< OurPS's mask */
    uint32_t* colorTable;  /**< OurPS's colorTable */
} ps;

/** Locks the source, destination and (when present) colour surfaces, in that
 * order, and fills a ps from an OurPS; the destructor releases the locks in
 * the same order. Every paint tool holds one for the length of its call. */
class SPRIG_EXPORT CPSLocker
{
  public:
    /** Locks the surfaces of in and fills out. */
    CPSLocker(const OurPS* in, ps* out);
    ~CPSLocker();
    CPSLocker(const CPSLocker&) = delete;
    CPSLocker& operator=(const CPSLocker&) = delete;

  private:
    StLock* mSrcLock;
    StLock* mDstLock;
    StLock* mColorLock;
};

SPRIG_EXTERN_C_BEGIN

/** Brush stamps made since the last PaintRectangle: PaintRectangle sets it to
 * 0, and every stamp of PaintLineTo and PaintPaintArc adds 1. */
SPRIG_EXPORT extern int32_t counter;

/** Fills the sine and cosine tables the arcs use (every tenth of a degree
 * from 0 to 180); returns 43981 (0xABCD). Call once before painting arcs. */
SPRIG_EXPORT int32_t PaintInit(void);

/** Blends colour 0 and colour 1 by opacity p in 0..31: each channel is
 * c1 * p / 31 + c0 * (31 - p) / 31, the two quotients truncated apart. */
SPRIG_EXPORT void GetColorOpacity(uint32_t r0, uint32_t g0, uint32_t b0, uint32_t r1, uint32_t g1,
                                  uint32_t b1, uint32_t opacity, RGBColor* out);

/** Shape tools. A line is a Rect read as two points, from (left, top) to
 * (right, bottom), in either direction. Each returns 1. */

/** Sprays dots along a line: (dotsPerLine / steps) rounded up at each step
 * point, each dot setting the mask byte at the step point moved by the next
 * offset (column in the low byte, unsigned; row in the high byte, signed) to
 * 63. The offset index starts at first and wraps at count (at least 1). */
SPRIG_EXPORT int32_t PaintSpray(Rect* line, uint16_t* offsets, int32_t first, int32_t count,
                                int32_t dotsPerLine, OurPS* state);
/** Stamps the brush at every step point of the line. */
SPRIG_EXPORT int32_t PaintLineTo(Rect* line, OurPS* state);
/** Sets counter to 0 and stamps the four sides; with fill, the inside (the
 * bottom row and right column excepted) takes the coverage at the top-left
 * corner. */
SPRIG_EXPORT int32_t PaintRectangle(Rect* rect, OurPS* state, bool fill);
/** Stamps the ellipse inscribed in the rectangle; with fill, each stamped row
 * between the two halves takes the coverage at its left end. */
SPRIG_EXPORT int32_t PaintPaintArc(Rect* rect, OurPS* state, bool fill);

/** @{ */
/** The mixing pass over a rectangle of surface pixels. Painting writes opaque
 * paint as it is and mixes partial paint over the source with MyMixColors;
 * erasing lowers the source's alpha by the paint's alpha. Pixels whose
 * coverage maps to alpha 0 are not written; mask bytes above 63 count as
 * full coverage. Returns true. */
SPRIG_EXPORT bool PaintEraseMix(Rect* rect, OurPS* state, bool erase);
SPRIG_EXPORT int32_t PaintMix(Rect* rect, OurPS* state);
SPRIG_EXPORT int32_t EraseMix(Rect* rect, OurPS* state);
/** @} */

/** Colour and coverage of a shape from its rendering over black (onBlack)
 * and over white (onWhite); coverage is judged from the blue channels. */
SPRIG_EXPORT uint32_t DiffColors(uint32_t onBlack, uint32_t onWhite);
/** DiffColors over a rectangle: out at dst + (j, i) takes the colours of
 * onBlack and onWhite at src + (j, i). dstTopLeft points at two int16_t, the
 * top then the left (a Point, or the start of a Rect). onWhite is addressed
 * with onBlack's row bytes. */
SPRIG_EXPORT void CreateTextShape(GWorldPtr onBlack, GWorldPtr onWhite, GWorldPtr out, Rect* src,
                                  const void* dstTopLeft);
/** A dark-on-white pixel as colour with alpha; white gives 0. */
SPRIG_EXPORT uint32_t ReMixTextColors(uint32_t pixel);
/** roundf(255 - (255 - v) / f), 255 above 255, else its low 8 bits. */
SPRIG_EXPORT uint8_t DoubleMix(float f, int v);
/** The pixel with its alpha scaled by (255 - amount) / 256. */
SPRIG_EXPORT uint32_t EraseColors(uint32_t amount, uint32_t pixel);
/** The same operation as FoolCopyBits: a raw copy of srcRect of src to the
 * top-left corner of dstRect in dst. */
SPRIG_EXPORT void CreateShape(GWorldPtr src, GWorldPtr dst, Rect* srcRect, Rect* dstRect);

SPRIG_EXTERN_C_END

#endif
