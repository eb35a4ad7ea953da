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
#include <cmath>
#include <cstdint>
#include <utility>

#include "engine/engine_p.h"
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

// A line that goes round the stage this many times covers it many times
// over; drawing stops there rather than taking minutes over one call.
constexpr int32_t kMaxPasses = 1 << 20;

struct Point2
{
    double x, y;
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

} // namespace

void CSprite::SetPos(double x, double y)
{
    MakeRect(&mRect);
    if (mVisible)
        mList->AddDisplayRect(CRect(&mRect));
    // The line starts from the pixel the sprite was shown at.
    const double ox = static_cast<int16_t>(SprRound(&mX));
    const double oy = static_cast<int16_t>(SprRound(&mY));
    mX = x;
    mY = y;
    WrapXY();
    MakeRect(&mRect);
    if (mVisible)
        mList->AddDisplayRect(CRect(&mRect));
    mList->DrawLine(ox, oy, x, y, mPenMode, mPenSize, &mPenColor, mOpacity, 0, nullptr, 0);
}

void CSprite::SetPosPaint(double x, double y, uint32_t unused, GWorldPtr unusedWorld, int antialias)
{
    MakeRect(&mRect);
    if (mVisible)
        mList->AddDisplayRect(CRect(&mRect));
    const double ox = mX;
    const double oy = mY;
    mX = x;
    mY = y;
    WrapXY();
    MakeRect(&mRect);
    if (mVisible)
        mList->AddDisplayRect(CRect(&mRect));
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
//   GetClipSide, or a stage of width or height 0, where the shift is 0)
//   would be repeated exactly by the next pass: the loop ends after it.
//   This is what ends the loop for a pen size of 0 or less, whose end point
//   can be clipped without lying on an edge.
// - A line long enough to need more than kMaxPasses pieces stops there.
void CSpriteList::DrawLine(double x1, double y1, double x2, double y2, int penMode, int penSize,
                           RGBColor* penColor, short opacity, uint32_t, GWorldPtr, int antialias)
{
    if (penMode == kPenUp)
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
    if (erase) {
        pixels = GetPortPixMap(mBackgroundWorld);
        rowWords = GetPixRowBytes(pixels) / 4;
        base = GetPixBaseAddr(pixels);
        LockPixels(pixels);
        GetPortBounds(mBackgroundWorld, &world);
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
    CGContextSetLineCap(context, penSize <= 1 ? kCGLineCapSquare : kCGLineCapRound);
    CGContextBeginPath(context);

    // The eraser's margins are at least 2, though its stroke keeps the
    // caller's width.
    if (erase && penSize < 2)
        penSize = 2;
    const bool strokeTwice = penSize == 1 && opacity == 255 && antialias != 0;
    CRect margin = mBounds;
    margin.InflateRect(static_cast<short>(penSize), static_cast<short>(penSize));
    // A zero-length move is lengthened so that it still marks a dot: by 0.1
    // without antialiasing, and by a hair with it. That hair is 1/128 rather
    // than 0.001, since the stroke service keeps path points to 1/256 of a
    // pixel and would drop a segment of 0.001 (and its square caps) as
    // having no length.
    const double dot = antialias ? 1.0 / 128 : 0.1;

    Point2 a = {x1, y1};
    Point2 b = {x2, y2};
    for (int32_t pass = 0; pass < kMaxPasses; pass++) {
        Point2 s = a;
        Point2 e = b;
        const int side =
            GetClipSide(mBounds, SprRound(&s.x), SprRound(&s.y), SprRound(&e.x), SprRound(&e.y));
        ClipLine(margin, a.x, a.y, e.x, e.y);
        ClipLine(margin, b.x, b.y, s.x, s.y);

        Point2 p = s;
        Point2 q = e;
        if (antialias != kExactAntialias) {
            p = {static_cast<double>(SprRound(&s.x)), static_cast<double>(SprRound(&s.y))};
            q = {static_cast<double>(SprRound(&e.x)), static_cast<double>(SprRound(&e.y))};
        }
        if (std::fabs(p.x - q.x) < 0.001 && std::fabs(p.y - q.y) < 0.001)
            q = {p.x + dot, p.y + dot};
        const auto px = static_cast<float>(p.x + o), py = static_cast<float>(p.y + o);
        const auto qx = static_cast<float>(q.x + o), qy = static_cast<float>(q.y + o);
        CGContextMoveToPoint(context, px, py);
        CGContextAddLineToPoint(context, qx, qy);
        if (strokeTwice) {
            CGContextStrokePath(context);
            CGContextMoveToPoint(context, px, py);
            CGContextAddLineToPoint(context, qx, qy);
        }

        CRect touched(std::fmin(s.x, e.x) - penSize, std::fmin(s.y, e.y) - penSize,
                      std::fmax(s.x, e.x) + penSize, std::fmax(s.y, e.y) + penSize);
        AddDisplayRect(touched);
        if (erase) {
            SectRect(&touched, &mBounds, &touched);
            CGContextStrokePath(context);
            // Only pixels of the world are visited, whatever the host's
            // stage rectangle says.
            SectRect(&touched, &world, &touched);
            ErasePass(base, rowWords, touched);
        }

        const Point2 before[2] = {a, b};
        const int32_t width = mBounds.Width();
        const int32_t height = mBounds.Height();
        if (side & kSideLeft) {
            a.x += width;
            b.x += width;
        }
        if (side & kSideTop) {
            a.y += height;
            b.y += height;
        }
        if (side & kSideRight) {
            a.x -= width;
            b.x -= width;
        }
        if (side & kSideBottom) {
            a.y -= height;
            b.y -= height;
        }
        if (e.x == b.x && e.y == b.y)
            break;
        if (before[0].x == a.x && before[0].y == a.y && before[1].x == b.x && before[1].y == b.y)
            break; // the next pass would repeat this one
    }

    if (erase)
        UnlockPixels(pixels);
    else
        CGContextStrokePath(context);
    QDEndCGContext(mBackgroundWorld, &context);
}
