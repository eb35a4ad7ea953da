// Drawing a stage's sprites into the host's view or drawing context: the
// sprite surface is cleared, every visible sprite that meets the area being
// drawn is composited into it in drawing order, and the surface (enlarged by
// pixel replication when the zoom factor is 2 or more) is composited by its
// alpha over the view.
//
// A sprite's rectangle is multiplied by the zoom factor before it is tested
// against the area. The area of a draw event is its region, in view
// coordinates; an event without one stands for the sprite surface's bounds,
// unscaled, so at a factor of 2 or more a sprite whose enlarged rectangle
// lies beyond them is not drawn. Hosts that mean the whole view pass its
// region. UpdateContext tests against the rectangle (x / 1000, y / 1000,
// width, height); for an origin of 1000 units or more, where that rectangle
// would cut off the surface's own left or top, its left or top is 0, so that
// every sprite within the width x height the surface is drawn into shows.
//
// Only the parts of the surface that hold sprites carry anything but
// transparent pixels, and a transparent pixel composited over the view
// leaves it exactly as it was. So when the surface maps pixel for pixel onto
// the view, the view is handed the whole surface together with the union of
// the sprites' boxes, and only the pixels within it are looked at: the view
// receives exactly what handing on the whole surface gives, at the cost of
// the sprites' area alone. Likewise the surface is cleared only where the
// last draw left sprites (see ClearSpriteSurface).
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "engine/engine_p.h"
#include "images/picture_versions_p.h"
#include "platform/coregraphics.h"
#include "sprig/packing.h"
#include "sprig/transfer.h"

namespace {

// Every pixel of the surface, row padding included, made transparent (the
// word 0), as FillOffscreen(surface, 0) does; memset clears the several
// hundred kilobytes of a stage a few times faster than a loop of words.
void ClearSurface(GWorldPtr surface)
{
    Rect bounds;
    GetPortBounds(surface, &bounds);
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    void* base = GetPixBaseAddr(pm);
    if (base && bounds.bottom > 0)
        std::memset(base, 0,
                    static_cast<size_t>(bounds.bottom) * static_cast<size_t>(GetPixRowBytes(pm)));
}

// The rows of box made 0 in pixels whose first row is the surface's row
// origin (rows rowBytes bytes apart).
void ClearBox(uint8_t* pixels, size_t rowBytes, const Rect& box, int origin)
{
    for (int v = box.top; v < box.bottom; v++)
        std::memset(pixels + static_cast<size_t>(v - origin) * rowBytes +
                        4 * static_cast<size_t>(box.left),
                    0, 4 * static_cast<size_t>(box.right - box.left));
}

// The surface cut into cells of 16 x 16 pixels, some of them marked: boxes
// mark the cells they meet, and the marked cells are handed back as boxes,
// one for each run of marked cells in a row of cells, cut to the bounds. A
// cost that grows with the boxes' area, not with their number squared.
class CellGrid
{
  public:
    explicit CellGrid(const Rect& bounds)
        : mBounds(bounds), mColumns((bounds.right + kCell - 1) / kCell),
          mRows((bounds.bottom + kCell - 1) / kCell)
    {
    }

    bool Empty() const { return mCells.empty(); }

    // The cells r meets marked; r lies within the bounds and is not empty.
    void Mark(const Rect& r)
    {
        if (mCells.empty()) {
            mCells.assign(static_cast<size_t>(mColumns) * static_cast<size_t>(mRows), 0);
            mSpans.assign(static_cast<size_t>(mRows), {mColumns, 0});
        }
        const int first = r.left / kCell, last = (r.right - 1) / kCell;
        for (int row = r.top / kCell; row <= (r.bottom - 1) / kCell; row++) {
            std::memset(&mCells[static_cast<size_t>(row * mColumns + first)], 1,
                        static_cast<size_t>(last - first + 1));
            Span& span = mSpans[static_cast<size_t>(row)];
            span.first = std::min(span.first, first);
            span.end = std::max(span.end, last + 1);
        }
    }

    // use(box) for each run of marked cells, row by row, left to right.
    template <class Use>
    void ForEachRun(Use use) const
    {
        for (int row = 0; !mCells.empty() && row < mRows; row++) {
            const uint8_t* cells = &mCells[static_cast<size_t>(row * mColumns)];
            const Span& span = mSpans[static_cast<size_t>(row)];
            for (int column = span.first; column < span.end;) {
                if (!cells[column]) {
                    column++;
                    continue;
                }
                const int first = column;
                while (column < span.end && cells[column])
                    column++;
                use(CellRun(row, first, column));
            }
        }
    }

  private:
    static constexpr int kCell = 16;

    // The columns of a row of cells between its first and last marked one.
    struct Span
    {
        int first, end;
    };

    // The box of cells first <= column < end of a row, cut to the bounds.
    Rect CellRun(int row, int first, int end) const
    {
        Rect r;
        r.left = static_cast<int16_t>(first * kCell);
        r.top = static_cast<int16_t>(row * kCell);
        r.right = static_cast<int16_t>(std::min<int>(end * kCell, mBounds.right));
        r.bottom = static_cast<int16_t>(std::min<int>((row + 1) * kCell, mBounds.bottom));
        return r;
    }

    Rect mBounds;
    int mColumns, mRows;
    std::vector<uint8_t> mCells; // made when the first box is marked
    std::vector<Span> mSpans;
};

// Where the sprite surface may hold pixels other than 0: everything (then
// the whole of its memory, row padding included, is cleared as ClearSurface
// clears it), or a set of boxes, kept as they are while they are few and as
// cells beyond that.
class Dirt
{
  public:
    explicit Dirt(const Rect& bounds) : mBounds(bounds), mCells(bounds) {}

    void MarkAll() { mAll = true; }

    void Mark(const Rect& box)
    {
        Rect r;
        if (mAll || !SectRect(&box, &mBounds, &r))
            return;
        if (mCells.Empty() && mBoxes.size() < kFewBoxes) {
            mBoxes.push_back(r);
            return;
        }
        for (const Rect& b : mBoxes)
            mCells.Mark(b);
        mBoxes.clear();
        mCells.Mark(r);
    }

    // Every pixel that may be other than 0 made 0.
    void Clear(GWorldPtr surface) const
    {
        if (mAll) {
            ClearSurface(surface);
            return;
        }
        StLock lock(surface);
        PixMapHandle pm = GetGWorldPixMap(surface);
        auto* base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
        const auto rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
        const auto clear = [base, rowBytes](const Rect& box) { ClearBox(base, rowBytes, box, 0); };
        for (const Rect& box : mBoxes)
            clear(box);
        mCells.ForEachRun(clear);
    }

  private:
    static constexpr size_t kFewBoxes = 64;
    Rect mBounds;
    bool mAll = false;
    std::vector<Rect> mBoxes; // while there are few
    CellGrid mCells;          // beyond that
};

// What Output does for a sprite without a frame whose picture is drawn at
// its own size: the packed picture's part `source` composited at `place`,
// tinted or not.
struct SpriteDraw
{
    const uint32_t* picture;
    Rect source;
    Rect place;
    bool tinted;
    RGBColor tint;
};

void Composite(GWorldPtr surface, const SpriteDraw& draw)
{
    CompositePackedPicture(draw.picture, &draw.source, surface, &draw.place,
                           draw.tinted ? &draw.tint : nullptr);
}

// The part of a draw within box: the same pixels as the whole draw gives
// there, since each pixel is composited on its own. The target's first row
// stands for the surface's row top.
void CompositeWithin(GWorldPtr target, const SpriteDraw& draw, const Rect& box, int top)
{
    Rect place;
    if (!SectRect(&draw.place, &box, &place))
        return;
    Rect source = draw.source;
    OffsetRect(&source, static_cast<int16_t>(place.left - draw.place.left),
               static_cast<int16_t>(place.top - draw.place.top));
    OffsetRect(&place, 0, static_cast<int16_t>(-top));
    CompositePackedPicture(draw.picture, &source, target, &place,
                           draw.tinted ? &draw.tint : nullptr);
}

// A frame whose sprites are composited into the sprite surface only where
// the view needs them at once; the rest waits until something looks at the
// surface (SetPendingWork). `dirt` covers every pixel that is not 0 once
// the draws are done, and `drawn` the draws' boxes, handed to
// SetDrawnBoxes once the surface is complete.
struct DeferredFrame
{
    explicit DeferredFrame(const Rect& bounds) : dirt(bounds) {}

    Dirt dirt;
    std::vector<SpriteDraw> draws;
    std::vector<Rect> drawn;
};

// The frame's surface made complete: all cleared, every draw done whole.
void Complete(GWorldPtr surface, DeferredFrame& frame)
{
    frame.dirt.Clear(surface);
    StLock lock(surface);
    for (const SpriteDraw& draw : frame.draws)
        Composite(surface, draw);
    SetDrawnBoxes(surface, std::move(frame.drawn));
}

void CompleteDeferred(GWorldPtr surface, void* state)
{
    std::unique_ptr<DeferredFrame> frame(static_cast<DeferredFrame*>(state));
    Complete(surface, *frame);
}

void DropDeferred(void* state)
{
    delete static_cast<DeferredFrame*>(state);
}

// Where the sprite surface may hold pixels other than 0, taken from what the
// last draw left: a deferred frame, or the boxes it drew, or nothing known.
Dirt TakeDirt(GWorldPtr surface, const Rect& bounds)
{
    if (void* state = TakePendingWork(surface)) {
        std::unique_ptr<DeferredFrame> previous(static_cast<DeferredFrame*>(state));
        return std::move(previous->dirt);
    }
    Dirt dirt(bounds);
    std::vector<Rect> drawn;
    if (TakeDrawnBoxes(surface, &drawn)) {
        for (const Rect& box : drawn)
            dirt.Mark(box);
    } else {
        dirt.MarkAll();
    }
    return dirt;
}

// The sprite surface made all transparent, as ClearSurface makes it: where
// the last draw recorded what it drew into (and nothing has written into
// the surface since), only that is cleared, so that a frame that draws a
// few sprites on a large stage costs the sprites' area, not the stage's.
void ClearSpriteSurface(GWorldPtr surface)
{
    Rect bounds;
    GetPortBounds(surface, &bounds);
    TakeDirt(surface, bounds).Clear(surface);
}

// The area the sprites of one draw cover, kept as cells (or, for a few
// sprites, as their own boxes): the boxes hold every pixel added (and a
// little more), however many sprites overlap.
class Cover
{
  public:
    explicit Cover(const Rect& bounds) : mBounds(bounds), mCells(bounds) {}

    // Where a sprite's Output can have changed pixels: its rectangle (the
    // picture and its frame lie within it) with two pixels to spare.
    void AddSprite(const Rect& spriteRect)
    {
        Rect r = spriteRect;
        InsetRect(&r, -2, -2);
        if (!SectRect(&r, &mBounds, &r))
            return;
        if (mExact.size() <= kExactLimit)
            mExact.push_back(r);
        mCells.Mark(r);
    }

    // The boxes (disjoint ones when they are cells), cut to the bounds, each
    // times factor (16-bit, as the stage multiplies rectangles).
    std::vector<Rect> Boxes(uint32_t factor) const
    {
        std::vector<Rect> boxes;
        const auto add = [&boxes, factor](Rect r) {
            if (factor > 1)
                Multiply(r, factor);
            boxes.push_back(r);
        };
        if (mCells.Empty())
            return boxes;
        if (mExact.size() <= kExactLimit) {
            for (const Rect& r : mExact)
                add(r);
            return boxes;
        }
        mCells.ForEachRun(add);
        return boxes;
    }

  private:
    static void Multiply(Rect& r, uint32_t factor)
    {
        r.left = static_cast<int16_t>(static_cast<uint32_t>(r.left) * factor);
        r.top = static_cast<int16_t>(static_cast<uint32_t>(r.top) * factor);
        r.right = static_cast<int16_t>(static_cast<uint32_t>(r.right) * factor);
        r.bottom = static_cast<int16_t>(static_cast<uint32_t>(r.bottom) * factor);
    }

    // Up to this many sprites, their own boxes (which may overlap) are
    // handed back: fewer pixels than whole cells, and few enough boxes.
    static constexpr size_t kExactLimit = 32;
    Rect mBounds;
    CellGrid mCells;
    std::vector<Rect> mExact; // the boxes added, while there are few
};

// A region made by this unit, released at the end of the scope.
class OwnedRegion
{
  public:
    OwnedRegion() : mRegion(NewRgn()) {}
    ~OwnedRegion() { DisposeRgn(mRegion); }
    OwnedRegion(const OwnedRegion&) = delete;
    OwnedRegion& operator=(const OwnedRegion&) = delete;

    operator RgnHandle() const { return mRegion; }

  private:
    RgnHandle mRegion;
};

// The surface enlarged factor times by pixel replication, alpha included, or
// null when no world of that size can be made (then nothing is drawn). A
// new world is all transparent, as the surface is outside the boxes, so only
// the boxes are enlarged (each stage pixel maps to the same block as in an
// enlargement of the whole) unless the scaled bounds lost bits to 16 bits.
GWorldPtr Enlarged(GWorldPtr surface, const Rect& bounds, const Rect& scaled,
                   const std::vector<Rect>& boxes, uint32_t factor)
{
    GWorldPtr enlarged = nullptr;
    if (NewGWorld(&enlarged, 32, &scaled, nullptr, nullptr, 0) != noErr)
        return nullptr;
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    const auto f = static_cast<int32_t>(factor);
    if (int32_t{scaled.right} != bounds.right * f || int32_t{scaled.bottom} != bounds.bottom * f) {
        Rect source = bounds;
        Rect destination = scaled;
        CopyBmBmBg(surface, enlarged, &source, &destination, srcCopy, nullptr, &white);
        return enlarged;
    }
    for (const Rect& box : boxes) {
        Rect source = box;
        Rect destination;
        SetRect(&destination, static_cast<int16_t>(box.left * f), static_cast<int16_t>(box.top * f),
                static_cast<int16_t>(box.right * f), static_cast<int16_t>(box.bottom * f));
        CopyBmBmBg(surface, enlarged, &source, &destination, srcCopy, nullptr, &white);
    }
    return enlarged;
}

// Whether the view maps pixel for pixel onto the surface.
bool ViewFits(HIViewRef view, const Rect& bounds, HIRect* viewBounds)
{
    return HIViewGetBounds(view, viewBounds) == noErr &&
           viewBounds->size.width == bounds.right - bounds.left &&
           viewBounds->size.height == bounds.bottom - bounds.top;
}

// Composites the surface by its alpha over the whole view. When the surface
// and the view have the same size, only the pixels within the sprites'
// boxes are looked at (the rest are transparent, and leave the view as it
// is), and made ready by prepare first when it is given; else all of it is
// scaled over the view.
void HandToView(GWorldPtr surface, CGContextRef context, HIViewRef view,
                const std::vector<Rect>& boxes, PreparePixelsProc prepare = nullptr,
                void* info = nullptr)
{
    Rect bounds;
    GetPortBounds(surface, &bounds);
    HIRect viewBounds;
    if (!ViewFits(view, bounds, &viewBounds)) {
        DrawOffscreenToHIView(surface, context, view, kCGImageAlphaFirst);
        return;
    }
    OwnedRegion area;
    RectsRgn(area, boxes);
    StLock lock(surface);
    PixMapHandle pm = GetGWorldPixMap(surface);
    const size_t rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    const auto height = static_cast<size_t>(bounds.bottom);
    CGDataProviderRef provider =
        CGDataProviderCreateWithData(nullptr, GetPixBaseAddr(pm), height * rowBytes, nullptr);
    CGColorSpaceRef space = CGColorSpaceCreateDeviceRGB();
    CGImageRef image =
        CGImageCreate(static_cast<size_t>(bounds.right), height, 8, 32, rowBytes, space,
                      kCGImageAlphaFirst, provider, nullptr, false, kCGRenderingIntentDefault);
    if (prepare)
        HIViewDrawPreparedCGImage(context, &viewBounds, image, area, prepare, info);
    else
        HIViewDrawCGImageWithin(context, &viewBounds, image, area);
    CGImageRelease(image);
    CGColorSpaceRelease(space);
    CGDataProviderRelease(provider);
}

// What Output(surface) is about to draw for a sprite, found as Output finds
// it (the pool's picture at the sprite's size and opacity, whose fields are
// left as Output leaves them): nothing, one SpriteDraw, or something else
// (a frame, a picture scaled on the way, a picture of the older encoding).
enum class Drawing
{
    kNothing,
    kDraw,
    kOther
};

Drawing DrawingOf(CSprite* sprite, SpriteDraw* draw)
{
    if (sprite->mFrame == 1 || sprite->mFrame == 2)
        return Drawing::kOther;
    CImage* picture = ShownPicture(sprite->mImage, sprite->mSize, sprite->mOpacity);
    if (!picture)
        return Drawing::kNothing;
    // As CImage::Stretch takes the picture's part and place.
    Rect whole;
    SetRect(&whole, 0, 0, static_cast<int16_t>(picture->width),
            static_cast<int16_t>(picture->height));
    Rect source = sprite->mRect;
    OffsetRect(&source, static_cast<int16_t>(-source.left), static_cast<int16_t>(-source.top));
    SectRect(&source, &whole, &source);
    const Rect& place = sprite->mRect;
    if (source.right - source.left != place.right - place.left ||
        source.bottom - source.top != place.bottom - place.top ||
        std::memcmp(picture->data + 1, Signature, 8) != 0)
        return Drawing::kOther;
    picture->native = true;
    picture->width = static_cast<int32_t>(picture->data[4]);
    picture->height = static_cast<int32_t>(picture->data[5]);
    *draw = SpriteDraw{picture->data, source, place, IsColorizedImage(sprite->mImage),
                       sprite->mPenColor};
    return Drawing::kDraw;
}

// A band of the view at most this many rows tall (each band of a cover
// kept as cells) is made ready in a band buffer rather than in the
// surface: the buffer stays in the cache from one band to the next, where
// the surface's rows would be written out to memory (and read in again to
// be cleared the next frame). Taller bands, of a few sprites' own boxes,
// are made ready in the surface.
constexpr int kBandRows = 16;

// A world over a band buffer as wide as the surface, kept from one frame to
// the next by each thread that draws; null when none can be made.
class BandWorld
{
  public:
    BandWorld() = default;
    BandWorld(const BandWorld&) = delete;
    BandWorld& operator=(const BandWorld&) = delete;
    ~BandWorld() { DisposeGWorld(mWorld); }

    GWorldPtr Get(int width)
    {
        if (mWorld || mFailed)
            return mWorld;
        thread_local std::vector<uint32_t> buffer;
        Rect bounds;
        SetRect(&bounds, 0, 0, static_cast<int16_t>(width), kBandRows);
        const size_t words = static_cast<size_t>(width) * kBandRows;
        try {
            if (buffer.size() < words)
                buffer.resize(words);
        } catch (...) {
            mFailed = true;
            return nullptr;
        }
        if (width <= 0 ||
            NewGWorldFromPtr(&mWorld, 0, &bounds, nullptr, nullptr, 0,
                             reinterpret_cast<Ptr>(buffer.data()), 4 * width) != noErr) {
            mWorld = nullptr;
            mFailed = true;
        }
        return mWorld;
    }

  private:
    GWorldPtr mWorld = nullptr;
    bool mFailed = false;
};

// A deferred frame while the view reads the surface: the parts read are
// cleared and drawn first (in the band buffer, or in the surface), or the
// whole surface is completed.
struct Preparation
{
    GWorldPtr surface;
    DeferredFrame* frame;
    bool complete = false;
    // The draws that meet each row of cells, in drawing order: draws
    // rowDraws[rowStart[r]] to rowDraws[rowStart[r + 1] - 1] meet pixel rows
    // kRowCell * r to kRowCell * (r + 1) - 1. Made for the first band.
    std::vector<uint32_t> rowStart, rowDraws, scratch;
    BandWorld band;
};

constexpr int kRowCell = 16;

void IndexRows(Preparation& p, int height)
{
    const int rows = (height + kRowCell - 1) / kRowCell;
    p.rowStart.assign(static_cast<size_t>(rows) + 1, 0);
    const std::vector<SpriteDraw>& draws = p.frame->draws;
    const auto eachRow = [&](auto use) {
        for (size_t i = 0; i < draws.size(); i++) {
            const int top = std::max<int>(draws[i].place.top, 0);
            const int bottom = std::min<int>(draws[i].place.bottom, height);
            for (int r = top / kRowCell; top < bottom && r <= (bottom - 1) / kRowCell; r++)
                use(static_cast<size_t>(r), static_cast<uint32_t>(i));
        }
    };
    eachRow([&](size_t r, uint32_t) { p.rowStart[r + 1]++; });
    for (size_t r = 0; r < static_cast<size_t>(rows); r++)
        p.rowStart[r + 1] += p.rowStart[r];
    p.rowDraws.resize(p.rowStart.back());
    p.scratch.assign(p.rowStart.begin(), p.rowStart.end() - 1);
    eachRow([&](size_t r, uint32_t i) { p.rowDraws[p.scratch[r]++] = i; });
}

// The boxes cleared, and each draw that meets them composited within them,
// in drawing order: in the band buffer when the boxes' rows fit in it (the
// surface is left as it was, and is completed from its dirt as ever), else
// in the surface. Returns where.
PreparedPixels PrepareBoxes(Preparation& p, const Rect* boxes, int32_t count)
{
    Rect bounds;
    GetPortBounds(p.surface, &bounds);
    if (p.rowStart.empty())
        IndexRows(p, bounds.bottom);
    int top = bounds.bottom, bottom = 0;
    for (int32_t i = 0; i < count; i++) {
        Rect box;
        if (SectRect(&boxes[i], &bounds, &box)) {
            top = std::min<int>(top, box.top);
            bottom = std::max<int>(bottom, box.bottom);
        }
    }
    if (top >= bottom)
        return {nullptr, 0, 0};
    GWorldPtr band = bottom - top <= kBandRows ? p.band.Get(bounds.right) : nullptr;
    GWorldPtr target = band ? band : p.surface;
    const int origin = band ? top : 0; // the surface's row at the target's first
    StLock lock(target);
    PixMapHandle pm = GetGWorldPixMap(target);
    auto* base = reinterpret_cast<uint8_t*>(GetPixBaseAddr(pm));
    const auto rowBytes = static_cast<size_t>(GetPixRowBytes(pm));
    for (int32_t i = 0; i < count; i++) {
        Rect box;
        if (SectRect(&boxes[i], &bounds, &box))
            ClearBox(base, rowBytes, box, origin);
    }
    // The draws of the rows of cells the boxes reach: those of one row as
    // they are, those of several merged back into drawing order.
    const size_t first = static_cast<size_t>(top / kRowCell);
    const size_t last = static_cast<size_t>((bottom - 1) / kRowCell);
    const uint32_t* rows = p.rowDraws.data();
    const uint32_t* from = rows + p.rowStart[first];
    const uint32_t* to = rows + p.rowStart[first + 1];
    if (last > first) {
        p.scratch.assign(from, rows + p.rowStart[last + 1]);
        std::sort(p.scratch.begin(), p.scratch.end());
        p.scratch.erase(std::unique(p.scratch.begin(), p.scratch.end()), p.scratch.end());
        from = p.scratch.data();
        to = from + p.scratch.size();
    }
    for (; from < to; from++) {
        const SpriteDraw& draw = p.frame->draws[*from];
        // Rows of a box beyond the band fall outside the band buffer, or
        // on rows of it that are cleared before they are used.
        for (int32_t i = 0; i < count; i++) {
            const Rect& box = boxes[i];
            if (box.left < draw.place.right && draw.place.left < box.right &&
                box.top < draw.place.bottom && draw.place.top < box.bottom)
                CompositeWithin(target, draw, box, origin);
        }
    }
    if (!band)
        return {nullptr, 0, 0};
    return {base, static_cast<ptrdiff_t>(rowBytes), top};
}

PreparedPixels PrepareSurface(void* info, const Rect* boxes, int32_t count)
{
    auto* p = static_cast<Preparation*>(info);
    if (count >= 0) {
        try {
            return PrepareBoxes(*p, boxes, count);
        } catch (...) {
            // No room for the index: the whole surface is made ready.
        }
    }
    p->frame->dirt.Clear(p->surface);
    StLock lock(p->surface);
    for (const SpriteDraw& draw : p->frame->draws)
        Composite(p->surface, draw);
    p->complete = true;
    return {nullptr, 0, 0};
}

// The frame drawn with the sprites composited into the surface only where
// the view reads it, the rest left as deferred work on the surface (done
// at once when the surface's pixels are locked or a context is open on it
// as the frame ends). False, with nothing drawn, when some sprite that
// meets the area is drawn otherwise than as a SpriteDraw, or a picture was
// destroyed while the sprites' pictures were found (one found before might
// be gone).
bool DrawDeferred(CSpriteList& list, CGContextRef context, HIViewRef view, RgnHandle area,
                  DeferredFrame* frame)
{
    GWorldPtr surface = list.mSpriteWorld;
    Rect bounds;
    GetPortBounds(surface, &bounds);
    HIRect viewBounds;
    if (list.mFactor > 1 || !ViewFits(view, bounds, &viewBounds))
        return false;
    const uint64_t destroyed = PicturesDestroyed();
    bool drawn = false;
    Cover cover(bounds);
    Rect extent;
    GetRegionBounds(area, &extent);
    // A picture that cannot be found (or memory that runs out) is left to
    // the plain way, which meets the same failure where Output meets it.
    try {
        for (CSprite* sprite : list.mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            if (list.mFactor != 1)
                list.FactorRect(r);
            if (r.right <= extent.left || r.left >= extent.right || r.bottom <= extent.top ||
                r.top >= extent.bottom || !RectMeetsRgn(&r, area))
                continue;
            SpriteDraw draw;
            const Drawing drawing = DrawingOf(sprite, &draw);
            if (drawing == Drawing::kOther || PicturesDestroyed() != destroyed)
                return false;
            if (drawing == Drawing::kDraw)
                frame->draws.push_back(draw);
            drawn = true;
            cover.AddSprite(sprite->mRect);
        }
        frame->drawn = cover.Boxes(1);
        for (const Rect& box : frame->drawn)
            frame->dirt.Mark(box);
    } catch (...) {
        return false;
    }
    Preparation preparation;
    preparation.surface = surface;
    preparation.frame = frame;
    if (drawn)
        HandToView(surface, context, view, frame->drawn, PrepareSurface, &preparation);
    if (preparation.complete || PixelsInUse(surface)) {
        if (!preparation.complete)
            PrepareSurface(&preparation, nullptr, -1);
        SetDrawnBoxes(surface, std::move(frame->drawn));
        delete frame;
    } else {
        SetPendingWork(surface, PendingWork{CompleteDeferred, DropDeferred, frame});
    }
    return true;
}

} // namespace

void CSpriteList::UpdateControl(CGContextRef context, HIViewRef view, EventRef event)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    std::unique_ptr<DeferredFrame> frame(new DeferredFrame(bounds));
    frame->dirt = TakeDirt(mSpriteWorld, bounds);
    Rect scaled = bounds;
    FactorRect(scaled);

    // The event's region stays the event's; ours is released with the scope.
    OwnedRegion whole;
    RgnHandle area = nullptr;
    if (GetEventParameter(event, kEventParamRgnHandle, typeQDRgnHandle, nullptr, sizeof(RgnHandle),
                          nullptr, &area) != noErr ||
        !area) {
        RectRgn(whole, &bounds);
        area = whole;
    }
    if (DrawDeferred(*this, context, view, area, frame.get())) {
        frame.release();
        return;
    }

    frame->dirt.Clear(mSpriteWorld);
    bool drawn = false;
    Cover cover(bounds);
    Rect extent;
    GetRegionBounds(area, &extent);
    {
        StLock lock(mSpriteWorld);
        for (CSprite* sprite : mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            FactorRect(r);
            // Most sprites of a large stage lie wholly beside the box
            // around the area, which is quicker to tell.
            if (r.right <= extent.left || r.left >= extent.right || r.bottom <= extent.top ||
                r.top >= extent.bottom || !RectMeetsRgn(&r, area))
                continue;
            sprite->Output(mSpriteWorld);
            drawn = true;
            cover.AddSprite(sprite->mRect);
        }
    }
    // Recorded last: handing the surface on locks its pixels, which forgets
    // what was recorded.
    std::vector<Rect> drawnBoxes = cover.Boxes(1);
    if (drawn) {
        if (mFactor <= 1) {
            HandToView(mSpriteWorld, context, view, drawnBoxes);
        } else if (GWorldPtr enlarged =
                       Enlarged(mSpriteWorld, bounds, scaled, drawnBoxes, mFactor)) {
            HandToView(enlarged, context, view, cover.Boxes(mFactor));
            DisposeGWorld(enlarged);
        }
    }
    SetDrawnBoxes(mSpriteWorld, std::move(drawnBoxes));
}

void CSpriteList::UpdateContext(CGContextRef context, int32_t x, int32_t y, int32_t width,
                                int32_t height)
{
    Rect bounds;
    GetPortBounds(mSpriteWorld, &bounds);
    ClearSpriteSurface(mSpriteWorld);
    Rect clip;
    clip.left = x >= 1000 ? 0 : static_cast<int16_t>(x / 1000);
    clip.top = y >= 1000 ? 0 : static_cast<int16_t>(y / 1000);
    clip.right = static_cast<int16_t>(width);
    clip.bottom = static_cast<int16_t>(height);

    bool drawn = false;
    Cover cover(bounds);
    {
        StLock lock(mSpriteWorld);
        for (CSprite* sprite : mSprites) {
            if (!sprite->mVisible)
                continue;
            Rect r = sprite->GetRect();
            FactorRect(r);
            Rect overlap;
            if (!SectRect(&r, &clip, &overlap))
                continue;
            sprite->Output(mSpriteWorld);
            drawn = true;
            cover.AddSprite(sprite->mRect);
        }
    }
    std::vector<Rect> drawnBoxes = cover.Boxes(1);
    if (drawn) {
        if (mFactor <= 1) {
            DrawOffscreenToContext(mSpriteWorld, context, x, y, width, height, kCGImageAlphaFirst);
        } else {
            Rect scaled = bounds;
            FactorRect(scaled);
            if (GWorldPtr enlarged = Enlarged(mSpriteWorld, bounds, scaled, drawnBoxes, mFactor)) {
                DrawOffscreenToContext(enlarged, context, x, y, width, height, kCGImageAlphaFirst);
                DisposeGWorld(enlarged);
            }
        }
    }
    SetDrawnBoxes(mSpriteWorld, std::move(drawnBoxes));
}
