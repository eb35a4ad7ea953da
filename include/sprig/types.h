/* sprig: the platform records every part of the library shares.
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

typedef unsigned char Boolean;
typedef int16_t OSErr;
typedef int32_t OSStatus;
typedef uint32_t OSType;
typedef int32_t Fixed;
typedef char* Ptr;
typedef Ptr* Handle;

/* Error codes the platform layer reports. */
enum
{
    noErr = 0,
    paramErr = -50,    /* a negative or unusable size */
    memFullErr = -108, /* the pixels could not be allocated */
    cDepthErr = -157   /* a pixel depth other than 32 */
};

/* Covers left <= h < right and top <= v < bottom. */
typedef struct Rect
{
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
} Rect;

typedef struct Point
{
    int16_t v;
    int16_t h;
} Point;

/* Each channel is an intensity from 0 to 0xFFFF. */
typedef struct RGBColor
{
    uint16_t red;
    uint16_t green;
    uint16_t blue;
} RGBColor;

typedef struct Pattern
{
    uint8_t pat[8];
} Pattern;

enum
{
    patCopy = 8 /* the pen mode PenNormal sets */
};

typedef struct PenState
{
    Point pnLoc;
    Point pnSize;
    int16_t pnMode;
    Pattern pnPat;
} PenState;

typedef uint32_t GWorldFlags;

enum
{
    pixelsLocked = 0x80 /* GetPixelsState: the pixels are pinned */
};

enum
{
    srcCopy = 0 /* the one CopyBits transfer mode the platform layer implements */
};

/* The head of a pixel map, as CopyBits sees its source and destination. */
typedef struct BitMap
{
    Ptr baseAddr;
    int16_t rowBytes;
    Rect bounds;
} BitMap;

typedef struct OpaqueColorTable** CTabHandle;

/* A pixel map record. The first three fields are those of a BitMap.
 * rowBytes holds the byte distance between rows with the flag 0x8000 set;
 * readers mask it with 0x7FFF (or 0x3FFF) or call GetPixRowBytes. */
typedef struct PixMap
{
    Ptr baseAddr;
    int16_t rowBytes;
    Rect bounds;
    int16_t pmVersion;
    int16_t packType;
    int32_t packSize;
    Fixed hRes;
    Fixed vRes;
    int16_t pixelType;
    int16_t pixelSize;
    int16_t cmpCount;
    int16_t cmpSize;
    OSType pixelFormat;
    CTabHandle pmTable;
    GWorldFlags pixelsState; /* pixelsLocked while the pixels are pinned */
} PixMap;

typedef PixMap* PixMapPtr;
typedef PixMapPtr* PixMapHandle;

/* Ports, offscreen worlds and devices are opaque to the library's users.
 * An offscreen world is a colour port, so one type serves all three names. */
typedef struct OpaqueGrafPtr* GrafPtr;
typedef GrafPtr CGrafPtr;
typedef CGrafPtr GWorldPtr;
typedef struct OpaqueGDHandle* GDHandle;
typedef struct OpaqueRgnHandle* RgnHandle;

#endif
