// CSpriteList: one stage, its drawing sequence, the table of redisplay
// rectangles and the library's find cursor.
#include <algorithm>
#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "engine/engine_p.h"
#include "platform/coregraphics.h"

SpriteCursor* priv = nullptr;

namespace {

// Frees the find cursor when the library is unloaded.
struct CursorRelease
{
    ~CursorRelease()
    {
        delete priv;
        priv = nullptr;
    }
};
CursorRelease gCursorRelease;

int64_t Area(const Rect& r)
{
    return int64_t{r.right - r.left} * (r.bottom - r.top);
}

inline int16_t Times(int16_t coordinate, uint32_t factor)
{
    return static_cast<int16_t>(static_cast<uint32_t>(coordinate) * factor);
}

} // namespace

void ViewSetNeedsDisplayInRect(HIViewRef view, Rect r)
{
    // The platform always offers rectangle invalidation, so the region form
    // is never needed.
    const HIRect rect = CGRectMake(r.left, r.top, r.right - r.left, r.bottom - r.top);
    HIViewSetNeedsDisplayInRect(view, &rect, true);
}

CSpriteList::CSpriteList(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds)
    : mRectCount(0), mBounds(bounds), mFactor(1), mBackdropWorld(backdrop),
      mBackgroundWorld(background), mSpriteWorld(sprites)
{
    for (CRect& slot : mRects)
        slot.SetRectEmpty();
    AddDisplayRect(mBounds);
}

CSpriteList::~CSpriteList()
{
    // Each sprite's destructor takes it out of the sequence.
    while (!mSprites.empty())
        delete mSprites.front();
}

void CSpriteList::ReInit(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds)
{
    mBackdropWorld = backdrop;
    mBackgroundWorld = background;
    mSpriteWorld = sprites;
    mBounds = *bounds;
}

void CSpriteList::BgChanged(GWorldPtr background)
{
    mBackgroundWorld = background;
}

void CSpriteList::SetFactor(uint32_t factor)
{
    mFactor = factor;
}

void CSpriteList::InitRedisplayRects()
{
    mRectCount = 0;
}

namespace {

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
int32_t MergeMark(CSpriteList& list, Rect& r)
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

// A full table whose slots the mark r does not meet: r joins the slot whose
// area grows least, so that it stays covered. Kept out of line: the calls
// here would cost every other mark its registers.
[[gnu::noinline]] void MergeIntoFullTable(CSpriteList& list, const Rect& r)
{
    if (EmptyRect(&r))
        return; // covers nothing
    int32_t best = 0;
    int64_t bestGrowth = INT64_MAX;
    for (int32_t i = 0; i < CSpriteList::kMaxRects; i++) {
        Rect merged;
        UnionRect(&r, &list.mRects[i], &merged);
        const int64_t growth = Area(merged) - Area(list.mRects[i]);
        if (growth < bestGrowth) {
            bestGrowth = growth;
            best = i;
        }
    }
    UnionRect(&r, &list.mRects[best], &list.mRects[best]);
}

} // namespace

// One pass over the slots in index order: a slot the mark meets is merged
// into it and freed. The mark then takes the first free slot, or a new one.
void MarkArea(CSpriteList& list, Rect r)
{
    const int32_t firstEmpty = MergeMark(list, r);
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

void CSpriteList::AddDisplayRect(CRect r)
{
    MarkArea(*this, r);
}

void CSpriteList::UpdateAll(Rect* r)
{
    AddDisplayRect(CRect(r));
}

void CSpriteList::FactorRect(Rect& r)
{
    r.left = Times(r.left, mFactor);
    r.top = Times(r.top, mFactor);
    r.right = Times(r.right, mFactor);
    r.bottom = Times(r.bottom, mFactor);
}

void CSpriteList::Update(HIViewRef view)
{
    for (int32_t i = 0; i < mRectCount; i++) {
        if (mRects[i].IsRectEmpty())
            continue;
        FactorRect(mRects[i]);
        ViewSetNeedsDisplayInRect(view, mRects[i]);
    }
    mRectCount = 0;
}

RGBColor CSpriteList::GetPixel(int h, int v)
{
    RGBColor result = {0xFFFF, 0xFFFF, 0xFFFF};
    {
        StGWorld current(mBackgroundWorld);
        GetCPixel(static_cast<int16_t>(h), static_cast<int16_t>(v), &result);
    }
    if (result.red == 0xFFFF && result.green == 0xFFFF && result.blue == 0xFFFF) {
        StGWorld current(mBackdropWorld);
        GetCPixel(static_cast<int16_t>(h), static_cast<int16_t>(v), &result);
    }
    return result;
}

void CSpriteList::AddSprite(CSprite* s)
{
    mSprites.Append(s);
}

// The sequence runs from high z (at the back) to low z (in front); a sprite
// goes in front of those with the same value. Each sprite's z is compared by
// its low 16 bits.
void CSpriteList::InsertSprite(CSprite* s, int32_t z)
{
    mSprites.InsertByZ(s, z);
}

void CSpriteList::DeleteSprite(CSprite* s)
{
    mSprites.Remove(s);
}

int32_t CSpriteList::FindSprite()
{
    delete priv;
    priv = nullptr;
    priv = new SpriteCursor{mSprites.size()};
    if (mSprites.empty())
        return 0;
    priv->index--;
    return mSprites[priv->index]->mRefNum;
}

// A cursor left by an iteration over a longer sequence (which the host must
// not let happen) is held to this sequence's end, so no sprite outside it is
// ever read.
int32_t CSpriteList::FindNextSprite()
{
    if (!priv || priv->index == 0)
        return 0;
    priv->index = std::min(priv->index, mSprites.size());
    if (priv->index == 0)
        return 0;
    priv->index--;
    return mSprites[priv->index]->mRefNum;
}
