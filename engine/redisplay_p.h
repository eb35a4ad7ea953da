// The table of redisplay rectangles: marking an area (AddDisplayRect),
// inline, since every sprite change marks one or two areas and a move's
// marks are most of what it costs.
#ifndef SPRIG_ENGINE_REDISPLAY_P_H
#define SPRIG_ENGINE_REDISPLAY_P_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "sprig/engine.h"

namespace redisplay {

#if defined(__SSE2__)
// A rectangle in the low four 16-bit lanes: [top][left][bottom][right], as
// Rect lies in memory. Every mark of every sprite change runs these over the
// table, so the rectangle stays in one register throughout.
inline __m128i Lanes(const Rect& r)
{
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&r));
}

inline void Put(Rect& r, __m128i lanes)
{
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&r), lanes);
}

// [top][left] of a beside [bottom][right] of b.
inline __m128i Corners(__m128i a, __m128i b)
{
    return _mm_unpacklo_epi32(a, _mm_srli_si128(b, 4));
}

// bottom > top and right > left: the platform's EmptyRect, negated.
inline bool HasArea(__m128i r)
{
    const __m128i across =
        _mm_shufflelo_epi16(r, _MM_SHUFFLE(1, 0, 3, 2)); // [bottom][right][top][left]
    return (_mm_movemask_epi8(_mm_cmpgt_epi16(across, r)) & 0xF) == 0xF;
}
#else
// The rectangle tests of the platform (SectRect, EmptyRect, UnionRect),
// inline.
inline bool Meets(const Rect& a, const Rect& b)
{
    return std::max(a.top, b.top) < std::min(a.bottom, b.bottom) &&
           std::max(a.left, b.left) < std::min(a.right, b.right);
}

inline bool IsEmpty(const Rect& r)
{
    return r.bottom <= r.top || r.right <= r.left;
}

// SectRect(&r, &bounds, &r): the part of r within bounds, (0, 0, 0, 0) when
// there is none.
inline void Clip(Rect& r, const Rect& bounds)
{
    const Rect cut = {std::max(r.top, bounds.top), std::max(r.left, bounds.left),
                      std::min(r.bottom, bounds.bottom), std::min(r.right, bounds.right)};
    r = IsEmpty(cut) ? Rect{0, 0, 0, 0} : cut;
}

inline void Grow(Rect& r, const Rect& by)
{
    r.top = std::min(r.top, by.top);
    r.left = std::min(r.left, by.left);
    r.bottom = std::max(r.bottom, by.bottom);
    r.right = std::max(r.right, by.right);
}
#endif

// r clipped to the stage and merged, in one pass over the slots in index
// order, with every slot it meets, which is freed; the index of the first
// free slot, which takes r, or -1. (The SSE2 pass leaves that slot's old
// rectangle in it for the caller to overwrite.)
inline int32_t MergeMark(CSpriteList& list, Rect& r)
{
    int32_t firstEmpty = -1;
#if defined(__SSE2__)
    __m128i mark = Lanes(r);
    const __m128i stage = Lanes(list.mBounds);
    const __m128i cut = Corners(_mm_max_epi16(mark, stage), _mm_min_epi16(mark, stage));
    mark = HasArea(cut) ? cut : _mm_setzero_si128();
    const int32_t count = list.mRectCount;
    for (int32_t i = 0; i < count; i++) {
        const __m128i slot = Lanes(list.mRects[i]);
        if (HasArea(Corners(_mm_max_epi16(mark, slot), _mm_min_epi16(mark, slot)))) {
            mark = Corners(_mm_min_epi16(mark, slot), _mm_max_epi16(mark, slot));
            // The first slot freed takes the mark at the end; until then
            // no pass reads it again, so it is not cleared in between.
            if (firstEmpty < 0)
                firstEmpty = i;
            else
                Put(list.mRects[i], _mm_setzero_si128());
        } else if (firstEmpty < 0 && !HasArea(slot)) {
            firstEmpty = i;
        }
    }
    Put(r, mark);
#else
    Clip(r, list.mBounds);
    for (int32_t i = 0; i < list.mRectCount; i++) {
        Rect& slot = list.mRects[i];
        if (Meets(r, slot)) {
            Grow(r, slot);
            slot = Rect{0, 0, 0, 0};
        }
        if (firstEmpty < 0 && IsEmpty(slot))
            firstEmpty = i;
    }
#endif
    return firstEmpty;
}

} // namespace redisplay

// A full table whose slots the mark r does not meet: r joins the slot whose
// area grows least, so that it stays covered. Out of line: the calls there
// would cost every other mark its registers.
void MergeIntoFullTable(CSpriteList& list, const Rect& r);

// One pass over the slots in index order: a slot the mark meets is merged
// into it and freed. The mark then takes the first free slot, or a new one.
inline void MarkArea(CSpriteList& list, Rect r)
{
    const int32_t firstEmpty = redisplay::MergeMark(list, r);
    Rect* slot = nullptr;
    if (firstEmpty >= 0)
        slot = &list.mRects[firstEmpty];
    else if (list.mRectCount < CSpriteList::kMaxRects)
        slot = &list.mRects[list.mRectCount++];
    else
        return MergeIntoFullTable(list, r);
    // A mark within a slot leaves the slot as it was: not writing it then
    // spares the next mark's pass the wait for this one's store.
    if (std::memcmp(slot, &r, sizeof r) != 0)
        *slot = r;
}

#endif
