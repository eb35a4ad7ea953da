// The offscreen world behind a GWorldPtr, and the pixel helpers the platform
// files share.
#ifndef SPRIG_PLATFORM_WORLD_P_H
#define SPRIG_PLATFORM_WORLD_P_H

#include <vector>

#include "platform/coregraphics.h"
#include "sprig/platform.h"

// The widest row a pixel map's 16-bit row-bytes field can describe: readers
// mask it with 0x3FFF.
constexpr int32_t kMaxRowBytes = 0x3FFF;

struct CGContext;

struct OpaqueGrafPtr
{
    PixMap pixMap;
    PixMapPtr pixMapPtr; // what the world's PixMapHandle points at
    RgnHandle clipRgn;
    uint32_t* ownedPixels; // null when the caller owns the pixel memory
    // The drawing context last ended on the world, kept for its next one.
    CGContext* parkedContext = nullptr;
    // The boxes the stage last drew into the world as its sprite surface,
    // outside which every pixel is 0, while `drawnOver` still matches the
    // pixel map (see SetDrawnBoxes).
    bool drawnKnown = false;
    PixMap drawnOver{};
    std::vector<Rect> drawnBoxes;
    // Work put off on the world's pixels (see SetPendingWork), made while
    // the pixel map was `pendingOver`.
    PendingWork pending{};
    PixMap pendingOver{};
    // Drawing contexts open on the world (begun and not yet ended).
    int32_t openContexts = 0;
};

// Forgets the drawn boxes of every world whose pixel map is pm: its pixels
// are about to be written by other means.
void ForgetDrawnBoxes(const PixMap* pm);

// Does the work pending on every world whose pixel map is pm (or shares its
// memory): its pixels are about to be read or written by other means.
void CompletePendingWork(const PixMap* pm);

// The port drawing calls act on (never null: a port with no pixels stands in
// until the host sets one).
GrafPtr CurrentPort();

// Rows of a pixel map, from the record itself.
inline int32_t RowBytesOf(const PixMap* pm)
{
    return pm->rowBytes & 0x7FFF;
}

inline uint32_t* PixelAt(const PixMap* pm, int h, int v)
{
    return reinterpret_cast<uint32_t*>(pm->baseAddr + static_cast<intptr_t>(v) * RowBytesOf(pm)) +
           h;
}

// A 16-bit intensity to 8 bits, rounded to nearest: 257 * k gives k and
// 0xFF77 gives 254.
constexpr uint32_t ChannelTo8(uint16_t c)
{
    return (uint32_t{c} * 255 + 32767) / 65535;
}

// An opaque pixel word of a colour:
// [BBBBBBBB][GGGGGGGG][RRRRRRRR][11111111]
constexpr uint32_t OpaqueWordOf(const RGBColor& c)
{
    return (ChannelTo8(c.blue) << 24) | (ChannelTo8(c.green) << 16) | (ChannelTo8(c.red) << 8) |
           0xFF;
}

#endif
