// Moving sprites with their pens, and the pen line: a straight stroke into
// the stage's background that leaves the stage on one edge and comes back in
// on the opposite one.
//
// A line is drawn in pieces, one pass per piece. Each pass clips a copy of
// the line to the stage grown by the pen size (so that a wide pen's end
// shows on both sides of an edge), adds that piece to the path, marks it,
// and then shifts the whole line by one stage width or height away from the
// edge its end left by (GetClipSide). The loop ends with the first piece
// whose end needed no clipping and no shift.
//
// A long line passes over the stage again and again, mostly in pieces
// already drawn. Such a piece is drawn and marked as any other, except where
// that provably changes nothing: a stroke covers the union of its path, so a
// piece already in the path is not added again; and a pass that repeats the
// pass before it, when that one changed no pixel and no mark, would change
// nothing either, so it is skipped. Every pixel and every mark comes out as
// the plain loop leaves them.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "engine/engine_p.h"
#include "engine/redisplay_p.h"
#include "platform/coregraphics.h"

namespace {

enum
{
    kPenUp = 0,
    kPenErase = 2
};

enum
{
    kExactAntialias = 2 // on, with end points left unrounded
};

enum
{
    kSideLeft = 1,
    kSideTop = 2,
    kSideRight = 4,
    kSideBottom = 8
};

// The erase marker: this colour at opacity 255 lands as the pixel word
// 0xFFFEFFFF, which the erase pass turns into transparent white.
constexpr RGBColor kEraseMarkerColour = {0xFFFF, 0xFF77, 0xFFFF};
constexpr uint32_t kEraseMarker = 0xFFFEFFFF; // [FF blue][FE green][FF red][FF alpha]
constexpr uint32_t kErased = 0xFFFFFF00;      // transparent white

// A line that needs this many pieces or more (one that goes round the stage
// thousands of times, and could take the loop hours) is drawn as its first
// kMaxPieces - 1 pieces and its last piece, the one that ends where the
// line ends.
constexpr int32_t kMaxPieces = 1 << 14;

// Stroking costs about the area of the pieces stroked, and more as a path
// gathers pieces that cross: a line is also cut short (to its last piece)
// once the rectangles of the different pieces in the path stroked at the
// end add up to kMaxPathArea pixels, or, where each piece is stroked on its
// own (erasing, and an opaque one-pixel pen with antialiasing), once the
// rectangles of the pieces stroked add up to kMaxStrokedArea pixels.
constexpr int64_t kMaxPathArea = int64_t{1} << 26;
constexpr int64_t kMaxStrokedArea = int64_t{1} << 22;

// Pieces from this one on are remembered, so that a piece already in the
// path is not added again. The short lines of ordinary moves keep no record.
constexpr int32_t kRememberPiecesFrom = 4;

// How far a stroke can reach beyond its path, beyond the pen size: a square
// cap's corner and the antialiased edge.
constexpr int kStrokeReach = 4;

struct Point2
{
    double x, y;
};

// A piece as the path and the redisplay table see it: the two points of
// its segment (offset and single precision, as the path takes them) and its
// redisplay rectangle.
struct Piece
{
    float x1, y1, x2, y2;
    Rect mark;

    bool SameSegment(const Piece& other) const
    {
        return x1 == other.x1 && y1 == other.y1 && x2 == other.x2 && y2 == other.y2;
    }
    bool operator==(const Piece& other) const
    {
        return SameSegment(other) && EqualRect(&mark, &other.mark);
    }
};

struct SegmentHash
{
    size_t operator()(const Piece& p) const
    {
        size_t hash = 0;
        for (float f : {p.x1, p.y1, p.x2, p.y2}) {
            uint32_t bits;
            const float value = f + 0.0f; // -0 and 0 are the same point
            std::memcpy(&bits, &value, sizeof bits);
            hash = hash * 1000003u ^ bits;
        }
        return hash;
    }
};

struct SegmentEqual
{
    bool operator()(const Piece& a, const Piece& b) const { return a.SameSegment(b); }
};

// c + (toward - c) * (edge - from) / (other - from) on 32-bit values: the
// product is formed first and then divided, truncating toward zero. The
// product is kept wide, so that long lines, whose products leave 32 bits,
// still clip where they cross the edge; the result fits 32 bits, since it
// lies between c and toward.
inline int32_t Interpolate(int32_t c, int32_t toward, int32_t edge, int32_t from, int32_t other)
{
    const __int128 product = static_cast<__int128>(int64_t{toward} - c) * (int64_t{edge} - from);
    return static_cast<int32_t>(c + product / (int64_t{other} - from));
}

// Turns the exact marker pixels of r (already cut to the stage) into
// transparent white; anything else, edge pixels blended from the marker
// included, stays.
void ErasePass(char* base, int32_t rowWords, const Rect& r)
{
    for (int v = r.top; v < r.bottom; v++) {
        uint32_t* row = reinterpret_cast<uint32_t*>(base) + static_cast<ptrdiff_t>(v) * rowWords;
        for (int h = r.left; h < r.right; h++)
            if (row[h] == kEraseMarker)
                row[h] = kErased;
    }
}

// Moves both ends of the line by the same whole stage sizes, so that the
// end lies on the stage as a sprite's position wraps; false when the stage
// has no area to wrap into.
bool ToLastPiece(const CRect& stage, Point2& a, Point2& b)
{
    if (stage.right <= stage.left || stage.bottom <= stage.top)
        return false;
    Point2 end = b;
    WrapCoordinate(end.y, stage.top, stage.bottom);
    WrapCoordinate(end.x, stage.left, stage.right);
    a.x += end.x - b.x;
    a.y += end.y - b.y;
    b = end;
    return true;
}

// Moves both ends of the line by a stage size away from each side named,
// in the order left, top, right, bottom, with the width and height taken
// afresh each time; false when that leaves them where they were.
bool ShiftAcross(const CRect& stage, int side, Point2& a, Point2& b)
{
    const Point2 before[2] = {a, b};
    if (side & kSideLeft) {
        a.x += stage.Width();
        b.x += stage.Width();
    }
    if (side & kSideTop) {
        a.y += stage.Height();
        b.y += stage.Height();
    }
    if (side & kSideRight) {
        a.x -= stage.Width();
        b.x -= stage.Width();
    }
    if (side & kSideBottom) {
        a.y -= stage.Height();
        b.y -= stage.Height();
    }
    return before[0].x != a.x || before[0].y != a.y || before[1].x != b.x || before[1].y != b.y;
}

// One pass's piece of the line from a to b: the side of the stage its end
// leaves by, its end clipped to the margin, and its segment and rectangle.
struct Cut
{
    int side;
    Point2 end;
    Piece piece;
};

Cut CutPiece(const CRect& stage, CRect& margin, Point2& a, Point2& b, int antialias, double o,
             double dot, int penSize)
{
    Point2 s = a;
    Point2 e = b;
    Cut cut;
    cut.side = CSpriteList::GetClipSide(stage, SprRound(&s.x), SprRound(&s.y), SprRound(&e.x),
                                        SprRound(&e.y));
    CSpriteList::ClipLine(margin, a.x, a.y, e.x, e.y);
    CSpriteList::ClipLine(margin, b.x, b.y, s.x, s.y);
    cut.end = e;

    Point2 p = s;
    Point2 q = e;
    if (antialias != kExactAntialias) {
        p = {static_cast<double>(SprRound(&s.x)), static_cast<double>(SprRound(&s.y))};
        q = {static_cast<double>(SprRound(&e.x)), static_cast<double>(SprRound(&e.y))};
    }
    if (std::fabs(p.x - q.x) < 0.001 && std::fabs(p.y - q.y) < 0.001)
        q = {p.x + dot, p.y + dot};
    cut.piece.x1 = static_cast<float>(p.x + o);
    cut.piece.y1 = static_cast<float>(p.y + o);
    cut.piece.x2 = static_cast<float>(q.x + o);
    cut.piece.y2 = static_cast<float>(q.y + o);
    cut.piece.mark = CRect(std::fmin(s.x, e.x) - penSize, std::fmin(s.y, e.y) - penSize,
                           std::fmax(s.x, e.x) + penSize, std::fmax(s.y, e.y) + penSize);
    return cut;
}

// The pixels of part of the background and the whole redisplay table, to
// tell whether a pass changed anything.
class PassRecord
{
  public:
    // Without memory for the pixels, the record says the pass changed
    // something, which only costs the passes after it their skipping.
    void Take(GWorldPtr world, const Rect& box, const CSpriteList& list)
    {
        mBox = box;
        mTaken = false;
        try {
            mPixels.clear();
            ForEachRow(world, [this](const uint32_t* row, int count) {
                mPixels.insert(mPixels.end(), row, row + count);
            });
        } catch (const std::bad_alloc&) {
            return;
        }
        mRectCount = list.mRectCount;
        std::copy(list.mRects, list.mRects + list.mRectCount, mRects);
        mTaken = true;
    }

    bool Unchanged(GWorldPtr world, const CSpriteList& list) const
    {
        if (!mTaken || list.mRectCount != mRectCount)
            return false;
        for (int32_t i = 0; i < mRectCount; i++)
            if (!EqualRect(&list.mRects[i], &mRects[i]))
                return false;
        size_t at = 0;
        bool same = true;
        ForEachRow(world, [&](const uint32_t* row, int count) {
            same =
                same && std::equal(row, row + count, mPixels.begin() + static_cast<ptrdiff_t>(at));
            at += static_cast<size_t>(count);
        });
        return same;
    }

  private:
    template <class Visit>
    void ForEachRow(GWorldPtr world, Visit visit) const
    {
        if (EmptyRect(&mBox))
            return;
        PixMapHandle pm = GetPortPixMap(world);
        const char* base = GetPixBaseAddr(pm);
        const int32_t rowBytes = GetPixRowBytes(pm);
        for (int v = mBox.top; v < mBox.bottom; v++)
            visit(reinterpret_cast<const uint32_t*>(base + static_cast<ptrdiff_t>(v) * rowBytes) +
                      mBox.left,
                  mBox.right - mBox.left);
    }

    Rect mBox = {0, 0, 0, 0};
    bool mTaken = false;
    std::vector<uint32_t> mPixels;
    int32_t mRectCount = 0;
    Rect mRects[CSpriteList::kMaxRects];
};

// Draws and marks the pieces of one line, as the loop defines each pass:
// the segment added to the path (and stroked at once when a stroke is
// wanted per piece), the piece's rectangle marked, and in erase mode the
// stroke and the erase pass over the rectangle cut to the stage.
class PieceDrawer
{
  public:
    PieceDrawer(CSpriteList& list, CGContextRef context, int penSize, bool erase, bool strokeTwice,
                char* base, int32_t rowWords, const Rect& world)
        : mList(list), mContext(context), mPenSize(penSize), mErase(erase),
          mStrokeTwice(strokeTwice), mBase(base), mRowWords(rowWords), mWorld(world)
    {
    }

    void Draw(const Piece& piece, int32_t pass)
    {
        const bool repeat = mHavePrevious && piece == mPrevious;
        if (repeat && mSettled)
            return; // the same pass on the same pixels and table changes nothing
        if (repeat) {
            mRecord.Take(mList.mBackgroundWorld, PerPieceStroke() ? Reach(piece) : Rect{0, 0, 0, 0},
                         mList);
            Apply(piece, pass, repeat);
            mSettled = mRecord.Unchanged(mList.mBackgroundWorld, mList);
        } else {
            Apply(piece, pass, repeat);
            mSettled = false;
        }
        mPrevious = piece;
        mHavePrevious = true;
    }

    // Did the last pass repeat the one before it and change nothing?
    bool Settled() const { return mSettled; }

    // Have the pieces stroked so far cost as much as a line may?
    bool OverBudget() const
    {
        return mStrokedArea > (PerPieceStroke() ? kMaxStrokedArea : kMaxPathArea);
    }

  private:
    // Is the background stroked at each piece, rather than once at the end?
    bool PerPieceStroke() const { return mStrokeTwice || mErase; }

    void Apply(const Piece& piece, int32_t pass, bool repeat)
    {
        if (PerPieceStroke() || Unseen(piece, pass, repeat)) {
            AddSegment(piece);
            mStrokedArea += AreaInWorld(piece.mark);
        }
        if (mStrokeTwice) {
            CGContextStrokePath(mContext);
            AddSegment(piece);
        }
        CRect mark;
        mark = piece.mark;
        mList.AddDisplayRect(mark);
        if (mErase) {
            SectRect(&mark, &mList.mBounds, &mark);
            CGContextStrokePath(mContext);
            // Only pixels of the world are visited, whatever the host's
            // stage rectangle says.
            SectRect(&mark, &mWorld, &mark);
            ErasePass(mBase, mRowWords, mark);
        }
    }

    // Is the segment not yet in the path that is stroked at the end?
    bool Unseen(const Piece& piece, int32_t pass, bool repeat)
    {
        if (repeat)
            return false; // the pass before added it
        if (pass < kRememberPiecesFrom)
            return true;
        try {
            return mInPath.insert(piece).second;
        } catch (const std::bad_alloc&) {
            return true; // a second copy in the path changes nothing either
        }
    }

    void AddSegment(const Piece& piece)
    {
        CGContextMoveToPoint(mContext, piece.x1, piece.y1);
        CGContextAddLineToPoint(mContext, piece.x2, piece.y2);
    }

    int64_t AreaInWorld(Rect r) const
    {
        if (!SectRect(&r, &mWorld, &r))
            return 1;
        return int64_t{r.right - r.left} * (r.bottom - r.top);
    }

    // The pixels a stroke of the piece can touch, cut to the world.
    Rect Reach(const Piece& piece) const
    {
        const double reach = std::abs(mPenSize) + kStrokeReach;
        Rect box = CRect(std::floor(std::fmin(piece.x1, piece.x2) - reach),
                         std::floor(std::fmin(piece.y1, piece.y2) - reach),
                         std::ceil(std::fmax(piece.x1, piece.x2) + reach),
                         std::ceil(std::fmax(piece.y1, piece.y2) + reach));
        if (!SectRect(&box, &mWorld, &box))
            SetRect(&box, 0, 0, 0, 0);
        return box;
    }

    CSpriteList& mList;
    CGContextRef mContext;
    int mPenSize;
    bool mErase;
    bool mStrokeTwice;
    char* mBase;
    int32_t mRowWords;
    Rect mWorld;
    Piece mPrevious = {};
    bool mHavePrevious = false;
    bool mSettled = false;
    int64_t mStrokedArea = 0;
    PassRecord mRecord;
    std::unordered_set<Piece, SegmentHash, SegmentEqual> mInPath;
};

// The part of a move that every move shares: the old rectangle marked, the
// position stored and wrapped, the new rectangle marked. Both rectangles
// come from one reading of the picture's size (nothing in between changes
// the picture, its pool slot or mSize), and the wrap is skipped when both
// coordinates already round onto the stage, where it would change nothing.
inline void MoveAndMark(CSprite& sprite, double x, double y)
{
    const RectPlacer place(SpriteRectSize(sprite));
    sprite.mRect = place.At(RoundPosition(sprite.mX), RoundPosition(sprite.mY));
    if (sprite.mVisible)
        MarkArea(*sprite.mList, sprite.mRect);
    sprite.mX = x;
    sprite.mY = y;
    int32_t h = RoundPosition(x);
    int32_t v = RoundPosition(y);
    const CRect& stage = sprite.mList->mBounds;
    if (sprite.mWrap &&
        !(h >= stage.left && h < stage.right && v >= stage.top && v < stage.bottom)) {
        sprite.WrapXY();
        h = RoundPosition(sprite.mX);
        v = RoundPosition(sprite.mY);
    }
    sprite.mRect = place.At(h, v);
    if (sprite.mVisible)
        MarkArea(*sprite.mList, sprite.mRect);
}

} // namespace

// A position that is not a finite number leaves the sprite where it is:
// nothing moves, nothing is drawn, nothing is marked. A move with the pen up
// keeps nothing for a line, so nothing is held across its marks.
void CSprite::SetPos(double x, double y)
{
    if (!std::isfinite(x) || !std::isfinite(y))
        return;
    if (mPenMode == kPenUp) {
        MoveAndMark(*this, x, y);
        return;
    }
    // The line starts from the pixel the sprite was shown at.
    const double ox = static_cast<int16_t>(RoundPosition(mX));
    const double oy = static_cast<int16_t>(RoundPosition(mY));
    MoveAndMark(*this, x, y);
    mList->DrawLine(ox, oy, x, y, mPenMode, mPenSize, &mPenColor, mOpacity, 0, nullptr, 0);
}

void CSprite::SetPosPaint(double x, double y, uint32_t unused, GWorldPtr unusedWorld, int antialias)
{
    if (!std::isfinite(x) || !std::isfinite(y))
        return;
    if (mPenMode == kPenUp) {
        MoveAndMark(*this, x, y);
        return;
    }
    const double ox = mX;
    const double oy = mY;
    MoveAndMark(*this, x, y);
    mList->DrawLine(ox, oy, x, y, mPenMode, mPenSize, &mPenColor, mOpacity, unused, unusedWorld,
                    antialias);
}

void CSprite::Move(double dx, double dy)
{
    SetPos(mX + dx, mY + dy);
}

int CSpriteList::GetClipSide(CRect stage, int x1, int y1, int x2, int y2)
{
    const int32_t left = stage.left;
    const int32_t top = stage.top;
    const int32_t lastColumn = stage.right - 1;
    const int32_t lastRow = stage.bottom - 1;

    int side = 0;
    if (left > x2)
        side |= kSideLeft;
    if (top > y2)
        side |= kSideTop;
    if (x2 > lastColumn)
        side |= kSideRight;
    if (y2 > lastRow)
        side |= kSideBottom;

    int32_t cx = x2;
    int32_t cy = y2;
    if (left > x2 && x2 != x1) {
        cy = Interpolate(cy, y1, left, cx, x1);
        cx = left;
    }
    if (cy < top && cy != y1) {
        cx = Interpolate(cx, x1, top, cy, y1);
        cy = top;
    }
    if (cx > lastColumn && cx != x1) {
        cy = Interpolate(cy, y1, lastColumn, cx, x1);
        cx = lastColumn;
    }
    if (cy > lastRow && cy != y1) {
        cx = Interpolate(cx, x1, lastRow, cy, y1);
        cy = lastRow;
    }

    if (cx != left)
        side &= ~kSideLeft;
    if (cx != lastColumn)
        side &= ~kSideRight;
    if (cy != top)
        side &= ~kSideTop;
    if (cy != lastRow)
        side &= ~kSideBottom;
    return side;
}

int CSpriteList::ClipLine(CRect& clip, double& ax, double& ay, double& bx, double& by)
{
    const double left = clip.left;
    const double top = clip.top;
    const double right = clip.right;
    const double bottom = clip.bottom;
    int result = -1;
    if (left > bx && bx != ax) {
        by = by + (ay - by) * (left - bx) / (ax - bx);
        bx = left;
        result = 0;
    }
    if (top > by && by != ay) {
        bx = bx + (ax - bx) * (top - by) / (ay - by);
        by = top;
        result = 1;
    }
    if (bx > right && bx != ax) {
        by = by + (ay - by) * (right - bx) / (ax - bx);
        bx = right;
        result = 2;
    }
    if (by > bottom && by != ay) {
        bx = bx + (ax - bx) * (bottom - by) / (ay - by);
        by = bottom;
        result = 3;
    }
    return result;
}

// How the loop ends where the wrapping alone would not end it:
// - Coordinates that are not finite numbers draw nothing and mark nothing
//   (they never compare equal, and a stroke through them has no place).
// - A pass that shifts neither end of the line (no edge named by
//   GetClipSide, or a stage of width or height 0, where the shift is 0) is
//   repeated, as the loop would repeat it for ever, until a repetition
//   changes no pixel and no mark: from there on every repetition would
//   leave everything as it is. This is what ends the loop for a pen size of
//   0 or less, whose end point can be clipped without lying on an edge.
// - A line that needs kMaxPieces pieces or more, or whose pieces cost
//   more than the stroking budget above, is cut short: after the pieces drawn so far, both ends are
//   moved by whole stage sizes until the end lies on the stage (as a sprite's position wraps), and
//   the piece that ends there is the last.
void CSpriteList::DrawLine(double x1, double y1, double x2, double y2, int penMode, int penSize,
                           RGBColor* penColor, short opacity, uint32_t, GWorldPtr, int antialias)
{
    if (penMode == kPenUp || !mBackgroundWorld)
        return;
    if (!std::isfinite(x1) || !std::isfinite(y1) || !std::isfinite(x2) || !std::isfinite(y2))
        return;

    // Odd widths and exact lines run through pixel centres.
    const double o = (antialias == kExactAntialias || penSize % 2 != 0) ? 0.5 : 0.0;
    const bool erase = penMode == kPenErase;
    RGBColor colour = *penColor;
    char* base = nullptr;
    int32_t rowWords = 0;
    PixMapHandle pixels = nullptr;
    Rect world = {0, 0, 0, 0};
    GetPortBounds(mBackgroundWorld, &world);
    if (erase) {
        pixels = GetPortPixMap(mBackgroundWorld);
        rowWords = GetPixRowBytes(pixels) / 4;
        base = GetPixBaseAddr(pixels);
        LockPixels(pixels);
        colour = kEraseMarkerColour;
        opacity = 255;
    }

    CGContextRef context = nullptr;
    QDBeginCGContext(mBackgroundWorld, &context);
    if (!context) {
        if (erase)
            UnlockPixels(pixels);
        return;
    }
    CGContextSetShouldAntialias(context, antialias != 0);
    // Stage coordinates, y down from the top-left corner.
    CGContextTranslateCTM(context, 0, mBounds.Height());
    CGContextScaleCTM(context, 1, -1);
    CGContextSetRGBStrokeColor(context, colour.red / 65535.0f, colour.green / 65535.0f,
                               colour.blue / 65535.0f, opacity / 255.0f);
    CGContextSetLineWidth(context, antialias ? static_cast<float>(penSize)
                                             : static_cast<float>(penSize) - 0.99f);
    const bool squareCaps = penSize <= 1;
    CGContextSetLineCap(context, squareCaps ? kCGLineCapSquare : kCGLineCapRound);
    CGContextBeginPath(context);

    // The eraser's margins are at least 2, though its stroke keeps the
    // caller's width.
    if (erase && penSize < 2)
        penSize = 2;
    const bool strokeTwice = penSize == 1 && opacity == 255 && antialias != 0;
    CRect margin = mBounds;
    margin.InflateRect(static_cast<short>(penSize), static_cast<short>(penSize));
    // A zero-length move is lengthened so that it still marks a dot: by 0.1
    // without antialiasing, and by 0.001 with it. The stroke service keeps
    // path points to 1/256 of a pixel: a segment of 0.001 stays a round dot
    // with round caps, but with square caps it would be dropped as having no
    // length, so a square-capped dot is lengthened by 1/128 instead.
    const double dot = !antialias ? 0.1 : squareCaps ? 1.0 / 128 : 0.001;

    PieceDrawer drawer(*this, context, penSize, erase, strokeTwice, base, rowWords, world);
    Point2 a = {x1, y1};
    Point2 b = {x2, y2};
    bool cutShort = false;
    for (int32_t pass = 0; pass < kMaxPieces; pass++) {
        if (!cutShort && (pass == kMaxPieces - 1 || drawer.OverBudget())) {
            if (!ToLastPiece(mBounds, a, b))
                break;
            cutShort = true;
        }
        const Cut cut = CutPiece(mBounds, margin, a, b, antialias, o, dot, penSize);
        drawer.Draw(cut.piece, pass);

        const bool shifted = ShiftAcross(mBounds, cut.side, a, b);
        if (cut.end.x == b.x && cut.end.y == b.y)
            break;
        if (!shifted && drawer.Settled())
            break; // every further pass would repeat this one to no effect
    }

    if (erase)
        UnlockPixels(pixels);
    else
        CGContextStrokePath(context);
    QDEndCGContext(mBackgroundWorld, &context);
}
