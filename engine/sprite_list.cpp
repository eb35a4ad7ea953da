// CSpriteList: one stage, its drawing sequence, the table of redisplay
// rectangles and the library's find cursor.
#include <algorithm>
#include <cstdint>

#include "engine/engine_p.h"
#include "engine/redisplay_p.h"
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

void MergeIntoFullTable(CSpriteList& list, const Rect& r)
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
