/** @file
 * sprig: the platform records every part of the library shares.
 *
 * Rectangles, points and colours keep their 16-bit fields in the order the
 * drawing platform defines. Every 32-bit quantity is spelt with a fixed-width
 * type, so these records have the same layout on 32- and 64-bit machines;
 * records that hold an address hold it as a pointer. */
#ifndef SPRIG_TYPES_H
#define SPRIG_TYPES_H

#include <stdint.h>

#include "sprig/export.h"
#include "sprig/version.h"

typedef unsigned char Boolean; /**< 0 false, anything else true */
typedef int16_t OSErr;         /**< noErr or a negative error code */
typedef int32_t OSStatus;      /**< noErr or a negative error code, 32-bit */
typedef uint32_t OSType;       /**< four characters read as a big-endian number */
typedef int32_t Fixed;         /**< a 16.16 fixed-point number */
typedef char* Ptr;             /**< the address of a block of bytes */
typedef Ptr* Handle;           /**< the address of a block's address */

/** Error codes the platform layer reports. */
enum
{
    noErr = 0,
    paramErr = -50,    /**< a negative or unusable size */
    memFullErr = -108, /**< the pixels could not be allocated */
    cDepthErr = -157   /**< a pixel depth other than 32 */
};

/** Covers left <= h < right and top <= v < bottom. */
typedef struct Rect
{
    int16_t top;    /**< first row inside */
    int16_t left;   /**< first column inside */
    int16_t bottom; /**< first row below */
    int16_t right;  /**< first column to the right */
} Rect;

/** A pixel position: vertical first, as the platform orders it. */
typedef struct Point
{
    int16_t v; /**< row, growing downward */
    int16_t h; /**< column, growing rightward */
} Point;

/** Each channel is an intensity from 0 to 0xFFFF. */
typedef struct RGBColor
{
    uint16_t red;   /**< red intensity */
    uint16_t green; /**< green intensity */
    uint16_t blue;  /**< blue intensity */
} RGBColor;

/** An 8 x 8 one-bit pen pattern, one byte a row; the pen draws solid. */
typedef struct Pattern
{
    uint8_t pat[8]; /**< the rows, top first */
} Pattern;

enum
{
    patCopy = 8 /**< the pen mode PenNormal sets */
};

/** The pen of the current port, as GetPenState and SetPenState hand it over. */
typedef struct PenState
{
    Point pnLoc;    /**< where the next line starts */
    Point pnSize;   /**< width (h) and height (v) of the pen in pixels */
    int16_t pnMode; /**< patCopy */
    Pattern pnPat;  /**< the pattern, solid */
} PenState;

/** Flags of a world's pixels: pixelsLocked, or 0. */
typedef uint32_t GWorldFlags;

enum
{
    pixelsLocked = 0x80 /**< GetPixelsState: the pixels are pinned */
};

enum
{
    srcCopy = 0 /**< the one CopyBits transfer mode the platform layer implements */
};

/** The head of a pixel map, as CopyBits sees its source and destination. */
typedef struct BitMap
{
    Ptr baseAddr;     /**< the top-left pixel */
    int16_t rowBytes; /**< byte distance between rows, with the flag 0x8000 */
    Rect bounds;      /**< the map's coordinates */
} BitMap;

/** A colour table; 32-bit worlds have none, so it is always null. */
typedef struct OpaqueColorTable** CTabHandle;

/** A pixel map record. The first three fields are those of a BitMap.
 * rowBytes holds the byte distance between rows with the flag 0x8000 set;
 * readers mask it with 0x7FFF (or 0x3FFF) or call GetPixRowBytes. */
typedef struct PixMap
{
    Ptr baseAddr;            /**< the top-left pixel */
    int16_t rowBytes;        /**< byte distance between rows, with the flag 0x8000 */
    Rect bounds;             /**< the map's coordinates */
    int16_t pmVersion;       /**< 0 */
    int16_t packType;        /**< 0: the pixels are not packed */
    int32_t packSize;        /**< 0 */
    Fixed hRes;              /**< 72 dots an inch, as 16.16 */
    Fixed vRes;              /**< 72 dots an inch, as 16.16 */
    int16_t pixelType;       /**< 16: direct colour */
    int16_t pixelSize;       /**< 32 bits a pixel */
    int16_t cmpCount;        /**< 3 colour components */
    int16_t cmpSize;         /**< 8 bits a component */
    OSType pixelFormat;      /**< 32 */
    CTabHandle pmTable;      /**< null */
    GWorldFlags pixelsState; /**< pixelsLocked while the pixels are pinned */
} PixMap;

typedef PixMap* PixMapPtr;       /**< a pixel map record */
typedef PixMapPtr* PixMapHandle; /**< what GetGWorldPixMap returns */

/** Ports, offscreen worlds and devices are opaque to the library's users.
 * An offscreen world is a colour port, so one type serves all three names. */
typedef struct OpaqueGrafPtr* GrafPtr;
typedef GrafPtr CGrafPtr;                  /**< a colour port: the same as GrafPtr */
typedef CGrafPtr GWorldPtr;                /**< an offscreen world: the same as GrafPtr */
typedef struct OpaqueGDHandle* GDHandle;   /**< a device; always null here */
typedef struct OpaqueRgnHandle* RgnHandle; /**< a region (a pixman region inside) */

#endif
