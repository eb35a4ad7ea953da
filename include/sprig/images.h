/** @file
 * sprig: pictures and the numbered picture pool.
 *
 * A picture stays packed and is expanded only when its pixels are needed; it
 * caches one derived copy of itself at another scale or opacity. Scale counts
 * fortieths of the natural size (40 natural, 80 double); scaled sizes are
 * (scale * size) / 40, truncated. Opacity runs from 0 (invisible) to 255.
 * Pictures 0 to 35 are colorized: drawn tinted with a sprite's pen colour.
 *
 * Pictures are checked at the door. SetCompressedImage (and the pool's
 * SetImage and SetWinImage) take a picture only when its record holds up:
 * the packed picture passes CheckPackedPicture (sprig/packing.h) over the
 * record's size in bytes, and its header's width and height are the
 * record's. Anything else is refused before anything is stored: the slot
 * keeps the picture it had. CheckPackedPicture on the same bytes gives the
 * reason. Pictures in the pool are therefore sound, and everything that
 * reads them (drawing, stamps, hit tests, collision, scaled and faded
 * copies) relies on that. */
#ifndef SPRIG_IMAGES_H
#define SPRIG_IMAGES_H

#include "sprig/coregraphics.h"
#include "sprig/foundation.h"

/** The form in which a picture enters and leaves the pool: width, height, the
 * packed picture's length in bytes and its address (at byte offset 16). */
typedef struct PictureRecord
{
    int32_t width;    /**< pixels */
    int32_t height;   /**< pixels */
    uint32_t size;    /**< bytes of the packed picture */
    const void* data; /**< the packed picture */
} PictureRecord;

/** One picture of the pool. */
class SPRIG_EXPORT CImage
{
  public:
    /** Sets the two class-wide colours; the host calls it once at start-up. */
    static void Init();

    /** @{ */
    /** Copies the packed picture the record points to (record size bytes).
     * Trusts the record and the picture: a picture from outside the process
     * goes through SetCompressedImage, or passes CheckPackedPicture first. */
    explicit CImage(char* record);
    ~CImage();
    CImage(const CImage&) = delete;
    CImage& operator=(const CImage&) = delete;
    /** @} */

    /** Sets native: whether the picture is kept as it came. */
    void SetNative(bool value);
    /** Sets native to !b and writes the picture record; the address in it is
     * the image's own packed picture, for reading only. */
    void GetInfo(char* record, bool b);
    /** @{ */
    /** A new world holding the picture; the caller disposes of it. */
    GWorldPtr GetMe();
    void UnpackRow(uint32_t row, uint32_t* dst);
    /** @} */

    /** @{ */
    /** Pixel tests; the coordinates must lie inside the picture. */
    bool IsTransparentColor(int32_t x, int32_t y);
    bool IsTransparentRegion(int32_t x, int32_t y, int32_t r);
    /** @} */

    /** @{ */
    /** Make derived a copy at another scale or opacity (unless it is one). */
    void Resize(uint32_t scale);
    void ResetOpacity(int opacity);
    /** @} */
    /** An image of the picture at the given scale, owned by the caller; null
     * unless the scale is this picture's or its derived copy's. */
    CGImageRef GetMyCGImage(uint32_t scale);

    /** Draws the picture (the size of src, from its top-left corner) into dst
     * of dest, tinted with colour when one is given. */
    void Stretch(Rect* src, Rect* dst, GWorldPtr dest, bool antialias, RGBColor* colour);

    /** @{ */
    /** Over every word of the pixel map, padding included: words equal to
     * from (match) or not equal to from (!match) become to. */
    static void ReplaceColor(PixMapHandle pm, int32_t from, int32_t to, bool match);
    static void ReplaceColorInRect(PixMapHandle pm, int32_t from, int32_t to, bool match, Rect* r);
    /** @} */

    static RGBColor mTransColor; /**< the transparent key colour Init sets */
    static RGBColor mFillColor;  /**< the fill key colour Init sets */

    bool native;     /**< kept as it came */
    int32_t width;   /**< pixels */
    int32_t height;  /**< pixels */
    uint32_t size;   /**< bytes of the packed picture */
    uint32_t* data;  /**< the packed picture, owned */
    uint32_t scale;  /**< fortieths of the natural size (40 natural) */
    int32_t opacity; /**< 0 to 255 */
    CImage* derived; /**< the scaled or faded copy, owned, or null */
};

/** The numbered pool: 16000 slots, numbers 0 to 15999. */
class SPRIG_EXPORT CImagePool
{
  public:
    enum
    {
        kSlots = 16000,
        kFirstFree = 256
    };

    CImagePool();
    ~CImagePool();
    CImagePool(const CImagePool&) = delete;
    CImagePool& operator=(const CImagePool&) = delete;

    /** The lowest empty number from 256 up, or -1. */
    int32_t GetFree();
    /** @{ */
    /** Checks the record's picture (see the top of this file), builds the
     * new picture, then replaces the slot's picture; a number above 15999
     * stores nothing. A picture the check refuses throws the 16-bit error
     * code paramErr (a short) before anything changes. */
    void SetImage(int32_t number, char* record);
    void SetWinImage(int32_t number, char* record);
    void GetImageInfo(int32_t number, char* record, bool b);
    void EraseImage(int32_t number);
    /** @} */
    /** The picture to draw at that scale and opacity: the slot's own, its
     * scaled copy, or the faded copy of either (built and cached on demand).
     * A copy replaced by one at another scale or opacity is kept aside (a
     * few per picture, within a bounded total) and comes back, exactly as a
     * new build would be, when asked for again: pictures shown by several
     * sprites at different sizes are not rebuilt on every draw. */
    CImage* GetImage(int32_t number, int32_t scale, short opacity);
    /** @{ */
    /** Stores a copy of picture from under to (a picture of the pool needs
     * no second check). */
    void CopyImage(int32_t from, int32_t to);
    void DeleteAll();
    /** @} */

    /** The slots. Read them freely; store pictures only through SetImage, so
     * that every picture in the pool has been checked. */
    CImage* mImages[kSlots];
};

/** The picture pool of the process. */
SPRIG_EXPORT extern CImagePool gImagePool;

/** Pictures 0 to 35 are colorized: a sprite tints them with its pen colour. */
SPRIG_EXPORT bool IsColorizedImage(int32_t number);
/** The colour of pixel (h, v) of world gw. */
SPRIG_EXPORT void GetColorGWorld(GWorldPtr gw, int32_t h, int32_t v, RGBColor* out);
/** Frees data: the release function of images over pixels the library
 * allocated with malloc. */
SPRIG_EXPORT void CGDataProviderReleaseCallback(void* info, const void* data, uint32_t size);

SPRIG_EXTERN_C_BEGIN

/** The exported picture functions. A number outside 0 to 15999, or an empty
 * slot, gives the null result (0 or null). */

/** Stores a copy of the picture record's packed picture under number. 1 when
 * stored; 0, with the slot's picture left as it was, when the record or its
 * picture is refused (a null record, a null address, a picture that fails
 * CheckPackedPicture over the record's size, a width or height other than
 * the header's) or memory runs out. A number outside 0 to 15999 stores
 * nothing and gives 1. The record's size must not exceed the bytes readable
 * at its address; the pool reads the picture within that size only. */
SPRIG_EXPORT int32_t SetCompressedImage(int32_t number, char* record);
/** @{ */
/** The record of the slot's picture; its address stays the pool's, valid
 * while the picture stays in the pool, and is for reading only. */
SPRIG_EXPORT void GetImageInfo(int32_t number, char* record);
SPRIG_EXPORT int32_t GetFreeImageNumber(void);
SPRIG_EXPORT void CopyImage(int32_t from, int32_t to);
SPRIG_EXPORT int32_t GetImageWidth(int32_t number);
SPRIG_EXPORT int32_t GetImageHeight(int32_t number);
SPRIG_EXPORT int32_t StretchImage(int32_t number, Rect* src, Rect* dst, GWorldPtr dest,
                                  int32_t antialias);
SPRIG_EXPORT GWorldPtr GetImage(int32_t number);
SPRIG_EXPORT CGImageRef GetCGImage(int32_t number, uint32_t scale);
SPRIG_EXPORT void GetColorUnder(GWorldPtr world, int32_t h, int32_t v, RGBColor* colour);
SPRIG_EXPORT void ClearAllImages(void);
SPRIG_EXPORT void GetTransColor(RGBColor* colour);
SPRIG_EXPORT void ReplaceColor(GWorldPtr world, int32_t from, int32_t to);
SPRIG_EXPORT void ReplaceColorInRect(GWorldPtr world, int32_t from, int32_t to, bool match,
                                     Rect* r);
SPRIG_EXPORT void ResetFreeImage(int32_t number);
/** @} */

SPRIG_EXTERN_C_END

#endif
