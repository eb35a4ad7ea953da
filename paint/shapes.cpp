// Shape tools: they raise coverage in the mask of an OurPS and touch no
// pixels. A line is walked in n + 1 step points, n the larger of its width
// and height (at least 1); step point i is
//
//     x = left + trunc(double(float(i * dx) / n) + k)
//
// with k = 0.5 for brush lines and 0.499 for sprays. From (0, 0) to (3, 1):
// n = 3, the points (0, 0), (1, 0), (2, 1), (3, 1). Truncation is toward
// zero after k is added, so a step of -1.6 lands on -1 and -0.4 on 0.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "paint/paint_p.h"

namespace {

// Calls visit(x, y) at every step point of the line.
template <typename Visit>
void WalkLine(const Rect& line, double k, Visit visit)
{
    const int32_t left = line.left;
    const int32_t top = line.top;
    const int32_t dx = line.right - left;
    const int32_t dy = line.bottom - top;
    float n = static_cast<float>(std::max(std::abs(dx), std::abs(dy)));
    if (n == 0)
        n = 1;
    for (int32_t i = 0; i < n + 1; i++) {
        const float qx = static_cast<float>(static_cast<int64_t>(i) * dx) / n;
        const float qy = static_cast<float>(static_cast<int64_t>(i) * dy) / n;
        const int32_t x = left + static_cast<int32_t>(static_cast<double>(qx) + k);
        const int32_t y = top + static_cast<int32_t>(static_cast<double>(qy) + k);
        visit(x, y);
    }
}

// Each mask byte under the brush becomes the larger of itself and the
// brush byte.
void Stamp(const ps& state, int32_t x, int32_t y)
{
    const uint8_t* brush = state.brush;
    for (int r = 0; r < 32; r++, brush += 32) {
        uint8_t* row = MaskAt(state, x, y + r);
        for (int c = 0; c < 32; c++)
            row[c] = std::max(row[c], brush[c]);
    }
}

// Mask bytes of surface columns from .. to - 1 in row y take value.
void FillMaskRow(const ps& state, int32_t from, int32_t to, int32_t y, uint8_t value)
{
    if (to > from)
        std::memset(MaskAtPixel(state, from, y), value, static_cast<size_t>(to - from));
}

// Half away from zero.
int32_t RoundAway(double v)
{
    return static_cast<int32_t>(v < 0 ? v - 0.5 : v + 0.5);
}

} // namespace

int32_t PaintSpray(Rect* line, uint16_t* offsets, int32_t first, int32_t count, int32_t dotsPerLine,
                   OurPS* state)
{
    ps locked;
    CPSLocker locker(state, &locked);
    const int32_t dx = line->right - line->left;
    const int32_t dy = line->bottom - line->top;
    float n = static_cast<float>(std::max(std::abs(dx), std::abs(dy)));
    if (n == 0)
        n = 1;
    const float perStep = static_cast<float>(dotsPerLine) / (n + 1);
    if (count < 1)
        return 1; // no offsets to take dots from
    int32_t index = first;
    WalkLine(*line, 0.499, [&](int32_t x, int32_t y) {
        if (!(perStep > 0))
            return;
        for (int32_t dots = 0; dots < perStep; dots++) {
            // [row offset, signed][column offset, unsigned]
            const uint16_t offset = offsets[index];
            const int32_t column = offset & 0xFF;
            const int32_t row = static_cast<int8_t>(offset >> 8);
            *MaskAt(locked, x + column, y + row) = 63;
            index = (index + 1) % count;
        }
    });
    return 1;
}

int32_t PaintLineTo(Rect* line, OurPS* state)
{
    ps locked;
    CPSLocker locker(state, &locked);
    WalkLine(*line, 0.5, [&](int32_t x, int32_t y) {
        counter++;
        Stamp(locked, x, y);
    });
    return 1;
}

int32_t PaintRectangle(Rect* rect, OurPS* state, bool fill)
{
    ps locked;
    CPSLocker locker(state, &locked);
    counter = 0;
    const Rect r = *rect;
    Rect sides[4];
    SetRect(&sides[0], r.left, r.top, r.right, r.top);
    SetRect(&sides[1], r.left, r.top, r.left, r.bottom);
    SetRect(&sides[2], r.right, r.bottom, r.left, r.bottom);
    SetRect(&sides[3], r.right, r.bottom, r.right, r.top);
    for (Rect& side : sides)
        PaintLineTo(&side, state);
    if (fill) {
        const int32_t x0 = std::min(r.left, r.right);
        const int32_t y0 = std::min(r.top, r.bottom);
        const int32_t x1 = std::max(r.left, r.right);
        const int32_t y1 = std::max(r.top, r.bottom);
        const uint8_t value = *MaskAtPixel(locked, x0, y0);
        for (int32_t y = y0; y < y1; y++)
            FillMaskRow(locked, x0, x1, y, value);
    }
    return 1;
}

// The right half of the ellipse comes from the tables, from the top
// (0 degrees) to the bottom (180 degrees); the left half is its mirror.
int32_t PaintPaintArc(Rect* rect, OurPS* state, bool fill)
{
    ps locked;
    CPSLocker locker(state, &locked);
    const int32_t rx = (rect->right - rect->left) / 2;
    const int32_t ry = (rect->bottom - rect->top) / 2;
    const int32_t cx = rect->left + rx;
    const int32_t cy = rect->top + ry;
    if (rx == 0 && ry == 0)
        return 1;
    int32_t px = -10000;
    int32_t py = -12000;
    for (int i = 0; i < kAngleSteps; i++) {
        const int32_t ox = RoundAway(rx * SinTable[i]);
        const int32_t oy = RoundAway(-CosTable[i] * ry);
        if (ox == px && oy == py)
            continue;
        counter++;
        Stamp(locked, cx + ox, cy + oy);
        counter++;
        Stamp(locked, cx - ox, cy + oy);
        if (fill) {
            const int32_t lo = std::min(cx + ox, cx - ox);
            const int32_t hi = std::max(cx + ox, cx - ox);
            FillMaskRow(locked, lo, hi, cy + oy, *MaskAtPixel(locked, lo, cy + oy));
        }
        px = ox;
        py = oy;
    }
    return 1;
}
