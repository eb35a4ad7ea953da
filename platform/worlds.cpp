// Offscreen worlds, the current port and device, and the port's colours and
// pen. A world is a pixel map over 32-bit pixels with its top-left corner at
// (0,0); its rows are padded to a multiple of 16 bytes.
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/coregraphics.h"
#include "platform/region_p.h"
#include "platform/world_p.h"
#include "sprig/platform.h"

namespace {

constexpr Fixed k72Dpi = 72 << 16;
constexpr OSType k32ARGBPixelFormat = 0x00000020;
constexpr int16_t kRGBDirect = 16;

struct PortState
{
    GrafPtr port = nullptr;
    GDHandle device = nullptr;
    RGBColor fore = {0x0000, 0x0000, 0x0000};
    RGBColor back = {0xFFFF, 0xFFFF, 0xFFFF};
    PenState pen = {{0, 0}, {1, 1}, patCopy, {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}}};
};

PortState gState;

void InitPixMap(PixMap* pm, Ptr base, int32_t rowBytes, int16_t width, int16_t height)
{
    std::memset(pm, 0, sizeof *pm);
    pm->baseAddr = base;
    pm->rowBytes = static_cast<int16_t>(0x8000 | rowBytes);
    SetRect(&pm->bounds, 0, 0, width, height);
    pm->hRes = k72Dpi;
    pm->vRes = k72Dpi;
    pm->pixelType = kRGBDirect;
    pm->pixelSize = 32;
    pm->cmpCount = 3;
    pm->cmpSize = 8;
    pm->pixelFormat = k32ARGBPixelFormat;
}

// Checks the arguments every world shares and works out its size.
OSErr CheckBounds(const Rect* bounds, CTabHandle table, GDHandle device, GWorldFlags flags,
                  int16_t* width, int16_t* height)
{
    if (!bounds || table || device || flags)
        return paramErr;
    const int32_t w = bounds->right - bounds->left;
    const int32_t h = bounds->bottom - bounds->top;
    if (w < 0 || h < 0 || w > 0x7FFF || h > 0x7FFF)
        return paramErr;
    *width = static_cast<int16_t>(w);
    *height = static_cast<int16_t>(h);
    return noErr;
}

OSErr MakeWorld(GWorldPtr* out, Ptr base, uint32_t* owned, int32_t rowBytes, int16_t width,
                int16_t height)
{
    GWorldPtr world = new (std::nothrow) OpaqueGrafPtr;
    RgnHandle clip = world ? NewRgn() : nullptr;
    if (!world || !clip) {
        delete world;
        std::free(owned);
        return memFullErr;
    }
    InitPixMap(&world->pixMap, base, rowBytes, width, height);
    world->pixMapPtr = &world->pixMap;
    world->clipRgn = clip;
    RectRgn(clip, &world->pixMap.bounds);
    world->ownedPixels = owned;
    *out = world;
    return noErr;
}

void FillPortRect(GrafPtr port, int left, int top, int right, int bottom, uint32_t word);

} // namespace

namespace {

// The worlds holding drawn boxes: a stage's sprite surface or two. Never
// destroyed, so that worlds disposed of while the process exits (the pool's
// among them) still find it.
std::vector<GWorldPtr>& WorldsWithBoxes()
{
    static auto* worlds = new std::vector<GWorldPtr>;
    return *worlds;
}

bool SameMap(const PixMap& a, const PixMap& b)
{
    return a.baseAddr == b.baseAddr && RowBytesOf(&a) == RowBytesOf(&b) &&
           EqualRect(&a.bounds, &b.bounds);
}

} // namespace

void ForgetDrawnBoxes(const PixMap* pm)
{
    std::vector<GWorldPtr>& worlds = WorldsWithBoxes();
    for (size_t i = 0; i < worlds.size();) {
        GWorldPtr w = worlds[i];
        if (pm == &w->pixMap || pm == w->pixMapPtr || w->pixMapPtr->baseAddr == pm->baseAddr) {
            w->drawnKnown = false;
            w->drawnBoxes.clear();
            worlds[i] = worlds.back();
            worlds.pop_back();
        } else {
            i++;
        }
    }
}

void SetDrawnBoxes(GWorldPtr world, std::vector<Rect> boxes)
{
    ForgetDrawnBoxes(world->pixMapPtr);
    try {
        WorldsWithBoxes().push_back(world);
    } catch (...) {
        return; // not recorded: the next draw clears the whole world
    }
    world->drawnKnown = true;
    world->drawnOver = *world->pixMapPtr;
    world->drawnBoxes = std::move(boxes);
}

namespace {

// The worlds with pending work: a stage's sprite surface or two. Never
// destroyed, as WorldsWithBoxes.
std::vector<GWorldPtr>& WorldsWithWork()
{
    static auto* worlds = new std::vector<GWorldPtr>;
    return *worlds;
}

// Takes the work off world number i of the list.
PendingWork Detach(size_t i)
{
    std::vector<GWorldPtr>& worlds = WorldsWithWork();
    GWorldPtr w = worlds[i];
    const PendingWork work = w->pending;
    w->pending = PendingWork{};
    worlds[i] = worlds.back();
    worlds.pop_back();
    return work;
}

void Run(GWorldPtr world, const PendingWork& work)
{
    if (!SameMap(world->pendingOver, *world->pixMapPtr)) {
        work.drop(work.state);
        return;
    }
    const GWorldFlags state = world->pixMapPtr->pixelsState;
    work.complete(world, work.state);
    world->pixMapPtr->pixelsState = state;
}

} // namespace

void SetPendingWork(GWorldPtr world, const PendingWork& work)
{
    try {
        WorldsWithWork().push_back(world);
    } catch (...) {
        Run(world, work);
        return;
    }
    world->pending = work;
    world->pendingOver = *world->pixMapPtr;
}

void* TakePendingWork(GWorldPtr world)
{
    std::vector<GWorldPtr>& worlds = WorldsWithWork();
    for (size_t i = 0; i < worlds.size(); i++) {
        if (worlds[i] != world)
            continue;
        const PendingWork work = Detach(i);
        if (SameMap(world->pendingOver, *world->pixMapPtr))
            return work.state;
        work.drop(work.state);
        return nullptr;
    }
    return nullptr;
}

void CompletePendingWork(const PixMap* pm)
{
    std::vector<GWorldPtr>& worlds = WorldsWithWork();
    for (size_t i = 0; i < worlds.size();) {
        GWorldPtr w = worlds[i];
        if (pm == &w->pixMap || pm == w->pixMapPtr || w->pixMapPtr->baseAddr == pm->baseAddr) {
            Run(w, Detach(i));
            i = 0;
        } else {
            i++;
        }
    }
}

void CompleteAllPendingWork()
{
    std::vector<GWorldPtr>& worlds = WorldsWithWork();
    while (!worlds.empty()) {
        GWorldPtr w = worlds.back();
        Run(w, Detach(worlds.size() - 1));
    }
}

bool PixelsInUse(GWorldPtr world)
{
    return (world->pixMapPtr->pixelsState & pixelsLocked) != 0 || world->openContexts > 0;
}

bool TakeDrawnBoxes(GWorldPtr world, std::vector<Rect>* boxes)
{
    const bool known = world->drawnKnown && SameMap(world->drawnOver, *world->pixMapPtr);
    if (known)
        boxes->swap(world->drawnBoxes);
    ForgetDrawnBoxes(world->pixMapPtr);
    return known;
}

GrafPtr CurrentPort()
{
    if (!gState.port) {
        // A port with no pixels, current until the host sets one of its own.
        static OpaqueGrafPtr screen;
        static bool made = false;
        if (!made) {
            InitPixMap(&screen.pixMap, nullptr, 0, 0, 0);
            screen.pixMapPtr = &screen.pixMap;
            screen.clipRgn = NewRgn();
            screen.ownedPixels = nullptr;
            made = true;
        }
        gState.port = &screen;
    }
    return gState.port;
}

extern "C" {

OSErr NewGWorld(GWorldPtr* out, int16_t depth, const Rect* bounds, CTabHandle table,
                GDHandle device, GWorldFlags flags)
{
    *out = nullptr;
    int16_t width = 0;
    int16_t height = 0;
    const OSErr err = CheckBounds(bounds, table, device, flags, &width, &height);
    if (err != noErr)
        return err;
    if (depth != 32 && depth != 0)
        return cDepthErr;
    const int32_t rowBytes = (4 * int32_t{width} + 15) & ~15;
    if (rowBytes > kMaxRowBytes)
        return paramErr;
    // At most 16368 * 32767 bytes; never zero, so a world always has an address.
    const size_t size = static_cast<size_t>(rowBytes) * static_cast<size_t>(height);
    auto* pixels = static_cast<uint32_t*>(std::calloc(size ? size : 16, 1));
    if (!pixels)
        return memFullErr;
    return MakeWorld(out, reinterpret_cast<Ptr>(pixels), pixels, rowBytes, width, height);
}

OSErr NewGWorldFromPtr(GWorldPtr* out, OSType pixelFormat, const Rect* bounds, CTabHandle table,
                       GDHandle device, GWorldFlags flags, Ptr buffer, int32_t rowBytes)
{
    *out = nullptr;
    int16_t width = 0;
    int16_t height = 0;
    const OSErr err = CheckBounds(bounds, table, device, flags, &width, &height);
    if (err != noErr)
        return err;
    if (pixelFormat != 0 && pixelFormat != k32ARGBPixelFormat)
        return cDepthErr;
    if (!buffer || rowBytes < 4 * int32_t{width} || rowBytes > kMaxRowBytes || rowBytes % 4)
        return paramErr;
    return MakeWorld(out, buffer, nullptr, rowBytes, width, height);
}

void DisposeGWorld(GWorldPtr world)
{
    if (!world)
        return;
    if (gState.port == world)
        gState.port = nullptr;
    // Memory the host owns outlives the world, and shows the work done.
    if (world->ownedPixels) {
        const PendingWork work = world->pending;
        if (void* state = TakePendingWork(world))
            work.drop(state);
    }
    CompletePendingWork(world->pixMapPtr);
    ForgetDrawnBoxes(&world->pixMap);
    CGContextRelease(world->parkedContext);
    DisposeRgn(world->clipRgn);
    std::free(world->ownedPixels);
    delete world;
}

void GetGWorld(CGrafPtr* port, GDHandle* device)
{
    *port = CurrentPort();
    if (device)
        *device = gState.device;
}

void SetGWorld(CGrafPtr port, GDHandle device)
{
    gState.port = port;
    gState.device = device;
}

PixMapHandle GetGWorldPixMap(GWorldPtr world)
{
    return &world->pixMapPtr;
}

PixMapHandle GetPortPixMap(CGrafPtr port)
{
    return &port->pixMapPtr;
}

const BitMap* GetPortBitMapForCopyBits(CGrafPtr port)
{
    // A pixel map begins with the fields of a bit map.
    return reinterpret_cast<const BitMap*>(&port->pixMap);
}

Rect* GetPortBounds(CGrafPtr port, Rect* bounds)
{
    *bounds = port->pixMap.bounds;
    return bounds;
}

void GetPortClipRegion(CGrafPtr port, RgnHandle clip)
{
    CopyRgn(port->clipRgn, clip);
}

void SetPortClipRegion(CGrafPtr port, RgnHandle clip)
{
    CopyRgn(clip, port->clipRgn);
}

Ptr GetPixBaseAddr(PixMapHandle pm)
{
    CompletePendingWork(*pm);
    return (*pm)->baseAddr;
}

int32_t GetPixRowBytes(PixMapHandle pm)
{
    return RowBytesOf(*pm);
}

Boolean LockPixels(PixMapHandle pm)
{
    CompletePendingWork(*pm);
    ForgetDrawnBoxes(*pm);
    (*pm)->pixelsState |= pixelsLocked;
    return true;
}

void UnlockPixels(PixMapHandle pm)
{
    (*pm)->pixelsState &= ~GWorldFlags{pixelsLocked};
}

GWorldFlags GetPixelsState(PixMapHandle pm)
{
    return (*pm)->pixelsState;
}

void SetPixelsState(PixMapHandle pm, GWorldFlags state)
{
    (*pm)->pixelsState = state;
}

void HLock(Handle) {}

void HUnlock(Handle) {}

void GetPort(GrafPtr* port)
{
    *port = CurrentPort();
}

void SetPort(GrafPtr port)
{
    gState.port = port;
}

Boolean QDSwapPort(CGrafPtr newPort, CGrafPtr* oldPort)
{
    GrafPtr previous = CurrentPort();
    if (oldPort)
        *oldPort = previous;
    gState.port = newPort;
    return previous != CurrentPort();
}

void RGBForeColor(const RGBColor* colour)
{
    gState.fore = *colour;
}

void RGBBackColor(const RGBColor* colour)
{
    gState.back = *colour;
}

void GetForeColor(RGBColor* colour)
{
    *colour = gState.fore;
}

void GetBackColor(RGBColor* colour)
{
    *colour = gState.back;
}

void GetPenState(PenState* state)
{
    *state = gState.pen;
}

void SetPenState(const PenState* state)
{
    gState.pen = *state;
}

void PenNormal(void)
{
    gState.pen.pnSize = {1, 1};
    gState.pen.pnMode = patCopy;
    std::memset(gState.pen.pnPat.pat, 0xFF, sizeof gState.pen.pnPat.pat);
}

void PenSize(int16_t width, int16_t height)
{
    gState.pen.pnSize.h = width;
    gState.pen.pnSize.v = height;
}

void MoveTo(int16_t h, int16_t v)
{
    gState.pen.pnLoc.h = h;
    gState.pen.pnLoc.v = v;
}

// The pen is a rectangle hanging below and to the right of its location;
// drawing a line paints it at every point of the line (Bresenham), so a pen of
// size 0 paints nothing. Pattern and mode are always those of PenNormal here.
void LineTo(int16_t h, int16_t v)
{
    GrafPtr port = CurrentPort();
    const uint32_t word = OpaqueWordOf(gState.fore);
    const int penW = gState.pen.pnSize.h;
    const int penH = gState.pen.pnSize.v;
    int x = gState.pen.pnLoc.h;
    int y = gState.pen.pnLoc.v;
    const int dx = std::abs(h - x);
    const int dy = -std::abs(v - y);
    const int sx = x < h ? 1 : -1;
    const int sy = y < v ? 1 : -1;
    int error = dx + dy;
    if (penW > 0 && penH > 0) {
        for (;;) {
            FillPortRect(port, x, y, x + penW, y + penH, word);
            if (x == h && y == v)
                break;
            const int e2 = 2 * error;
            if (e2 >= dy) {
                error += dy;
                x += sx;
            }
            if (e2 <= dx) {
                error += dx;
                y += sy;
            }
        }
    }
    MoveTo(h, v);
}

void PaintRect(const Rect* r)
{
    FillPortRect(CurrentPort(), r->left, r->top, r->right, r->bottom, OpaqueWordOf(gState.fore));
}

void GetCPixel(int16_t h, int16_t v, RGBColor* colour)
{
    const PixMap* pm = &CurrentPort()->pixMap;
    CompletePendingWork(pm);
    const Point pt = {v, h};
    if (!PtInRect(pt, &pm->bounds) || !pm->baseAddr) {
        *colour = {0, 0, 0};
        return;
    }
    const uint32_t word = *PixelAt(pm, h, v);
    // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
    colour->red = static_cast<uint16_t>(((word >> 8) & 0xFF) * 0x0101);
    colour->green = static_cast<uint16_t>(((word >> 16) & 0xFF) * 0x0101);
    colour->blue = static_cast<uint16_t>((word >> 24) * 0x0101);
}

} // extern "C"

namespace {

// Fills the part of [left, right) x [top, bottom) that lies in the port's
// bounds and clip region.
void FillPortRect(GrafPtr port, int left, int top, int right, int bottom, uint32_t word)
{
    const PixMap* pm = &port->pixMap;
    if (!pm->baseAddr || right <= left || bottom <= top)
        return;
    CompletePendingWork(pm);
    ForgetDrawnBoxes(pm);
    pixman_region32_t area;
    pixman_region32_init_rect(&area, left, top, static_cast<unsigned>(right - left),
                              static_cast<unsigned>(bottom - top));
    pixman_region32_intersect(&area, &area, PixmanRegion(port->clipRgn));
    pixman_region32_intersect_rect(&area, &area, 0, 0, static_cast<unsigned>(pm->bounds.right),
                                   static_cast<unsigned>(pm->bounds.bottom));
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&area, &count);
    for (int i = 0; i < count; i++) {
        for (int y = boxes[i].y1; y < boxes[i].y2; y++) {
            uint32_t* d = PixelAt(pm, boxes[i].x1, y);
            for (int x = boxes[i].x1; x < boxes[i].x2; x++)
                *d++ = word;
        }
    }
    pixman_region32_fini(&area);
}

} // namespace
