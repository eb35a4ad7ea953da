// Sprite moves and redisplay marks under seeded random host calls, against
// the plain steps written out here: the rectangle from the picture's size
// and the rounded position, the wrap one stage size at a time, the old and
// new rectangle marked, the line drawn; and the table of redisplay
// rectangles as one merging pass over its slots. Positions, rectangles,
// pending marks, invalidations at every zoom and background pixels agree
// after every call.
#include <cstring>
#include <random>
#include <vector>

#include "tests/engine/stage_fixture.h"

namespace {

// The table as a vector of the slots in use, merged and stored plainly; a
// mark meeting nothing in a full table joins the slot it grows least.
struct PlainTable
{
    CRect bounds;
    std::vector<Rect> slots;

    static int64_t Area(const Rect& r) { return int64_t{r.right - r.left} * (r.bottom - r.top); }

    void Mark(Rect r)
    {
        SectRect(&r, &bounds, &r);
        Rect overlap;
        for (Rect& slot : slots)
            if (SectRect(&r, &slot, &overlap)) {
                UnionRect(&r, &slot, &r);
                slot = R(0, 0, 0, 0);
            }
        for (Rect& slot : slots)
            if (EmptyRect(&slot)) {
                slot = r;
                return;
            }
        if (slots.size() < CSpriteList::kMaxRects) {
            slots.push_back(r);
            return;
        }
        if (EmptyRect(&r))
            return;
        size_t best = 0;
        for (size_t i = 0; i < slots.size(); i++) {
            Rect a, b;
            UnionRect(&r, &slots[i], &a);
            UnionRect(&r, &slots[best], &b);
            if (Area(a) - Area(slots[i]) < Area(b) - Area(slots[best]))
                best = i;
        }
        UnionRect(&r, &slots[best], &slots[best]);
    }
};

// The rectangle of a sprite: the picture's size times mSize / 40, centred
// on the rounded position.
Rect PlainRect(CSprite& s)
{
    const int w = s.mSize * GetImageWidth(s.mImage) / 40;
    const int h = s.mSize * GetImageHeight(s.mImage) / 40;
    const int16_t width = static_cast<int16_t>(w);
    const int16_t height = static_cast<int16_t>(h);
    Rect r;
    r.left = static_cast<int16_t>(SprRound(&s.mX) - width / 2);
    r.top = static_cast<int16_t>(SprRound(&s.mY) - height / 2);
    r.right = static_cast<int16_t>(r.left + width);
    r.bottom = static_cast<int16_t>(r.top + height);
    return r;
}

// SetPos (rounded start, no antialiasing) or SetPosPaint, step by step.
void PlainMove(CSprite& s, double x, double y, bool rounded, int antialias)
{
    s.mRect = PlainRect(s);
    if (s.mVisible)
        s.mList->AddDisplayRect(CRect(&s.mRect));
    double ox = s.mX, oy = s.mY;
    if (rounded) {
        ox = static_cast<int16_t>(SprRound(&s.mX));
        oy = static_cast<int16_t>(SprRound(&s.mY));
    }
    s.mX = x;
    s.mY = y;
    if (s.mWrap) {
        const CRect& b = s.mList->mBounds;
        s.mY = StepWrap(s.mY, b.top, b.bottom);
        s.mX = StepWrap(s.mX, b.left, b.right);
    }
    s.mRect = PlainRect(s);
    if (s.mVisible)
        s.mList->AddDisplayRect(CRect(&s.mRect));
    s.mList->DrawLine(ox, oy, x, y, s.mPenMode, s.mPenSize, &s.mPenColor, s.mOpacity, 0, nullptr,
                      rounded ? 0 : antialias);
}

using MovePaths = Stage;

// Seeds 1 and 2 make large marks that merge, seed 3 small ones that fill the
// table and overflow it; seeds 5 and 6 small ones, some empty or upside down,
// with the table often emptied.
TEST_F(MovePaths, MarksMatchPlainTable)
{
    for (uint32_t seed : {1u, 2u, 3u, 5u, 6u}) {
        MakeStage(kWidth, kHeight);
        PlainTable plain{list->mBounds, Pending(*list)};
        std::mt19937 rng(seed);
        const int span = seed == 3 ? 4 : seed > 3 ? 9 : 20, shift = seed > 3 ? 1 : 0;
        for (int step = 0; step < 3000; step++) {
            if (step % 500 == 499 || (seed > 3 && rng() % 50 == 0)) {
                list->InitRedisplayRects();
                plain.slots.clear();
            }
            const int left = static_cast<int>(rng() % 60) - 10;
            const int top = static_cast<int>(rng() % 50) - 10;
            Rect r = R(left, top, left + static_cast<int>(rng() % span) - shift,
                       top + static_cast<int>(rng() % span) - shift);
            list->AddDisplayRect(CRect(&r));
            plain.Mark(r);
            ASSERT_EQ(Pending(*list), plain.slots) << "seed " << seed << " step " << step;
        }
    }
}

TEST_F(MovePaths, MovesMatchPlainSteps)
{
    RegisterSolid(1, 9, 7, kRed);
    RegisterSolid(2, 1, 1, kGreen);
    RegisterSolid(3, 20, 13, kBlue);
    const int32_t images[] = {1, 2, 3, -1, 9}; // 9 is an empty slot
    const short sizes[] = {40, 40, 0, 20, 41, 60, 83, 400};
    const int kW = 64, kH = 48;
    for (uint32_t seed : {1u, 2u, 3u, 4u}) {
        std::mt19937 rng(seed);
        auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<uint32_t>(n)); };
        World worlds[6];
        for (World& w : worlds)
            w = MakeWorld(kW, kH);
        Rect bounds = R(0, 0, kW, kH);
        CSpriteList fast(worlds[0].get(), worlds[1].get(), worlds[2].get(), &bounds);
        CSpriteList plain(worlds[3].get(), worlds[4].get(), worlds[5].get(), &bounds);
        std::vector<CSprite*> a, b;
        for (int32_t ref = 1; ref <= 4; ref++) {
            a.push_back(new CSprite(&fast, ref));
            b.push_back(new CSprite(&plain, ref));
        }
        View viewA(HIViewCreateOffscreen(kW * 3, kH * 3));
        View viewB(HIViewCreateOffscreen(kW * 3, kH * 3));
        for (int step = 0; step < 4000; step++) {
            const size_t i = static_cast<size_t>(pick(4));
            CSprite& s = *a[i];
            CSprite& t = *b[i];
            switch (pick(12)) {
            case 0: { // settings, the same on both
                const short mode = static_cast<short>(pick(4) == 0 ? 0 : pick(3));
                const short pen = static_cast<short>(1 + pick(4));
                const bool wrap = pick(5) != 0;
                const short opacity = static_cast<short>(pick(2) ? 255 : 128);
                const RGBColor colour = {static_cast<uint16_t>(rng()), 0x8000, 0x1234};
                for (CSprite* x : {&s, &t}) {
                    x->mPenMode = mode;
                    x->mPenSize = pen;
                    x->mWrap = wrap;
                    x->SetOpacity(opacity);
                    x->mPenColor = colour;
                }
                break;
            }
            case 1: {
                const int32_t image = images[pick(5)];
                const short size = sizes[pick(8)];
                const bool shown = pick(4) != 0;
                for (CSprite* x : {&s, &t}) {
                    x->SetImage(image, 0);
                    x->SetSize(size);
                    x->SetVisible(shown);
                }
                break;
            }
            case 2: { // the view invalidated at a zoom
                const uint32_t factor = static_cast<uint32_t>(1 + pick(3));
                fast.SetFactor(factor);
                plain.SetFactor(factor);
                fast.Update(viewA.get());
                plain.Update(viewB.get());
                ASSERT_EQ(Invalidated(viewA.get()), Invalidated(viewB.get()));
                break;
            }
            default: { // a move: small steps mostly, jumps across the stage at times
                const double scale = pick(6) == 0 ? 150.0 : 3.0;
                const double dx = (static_cast<int>(rng() % 2001) - 1000) / 1000.0 * scale;
                const double dy = (static_cast<int>(rng() % 2001) - 1000) / 1000.0 * scale;
                const double halves = (pick(8) - 4) * 0.5; // exact halves round away
                const double x = pick(3) == 0 ? halves + pick(kW) : s.mX + dx;
                const double y = s.mY + dy;
                const int kind = pick(4);
                if (kind == 0) {
                    SprSetPos(&s, &x, &y);
                    PlainMove(t, x, y, true, 0);
                } else if (kind == 1) {
                    SprMove(&s, &dx, &dy);
                    PlainMove(t, t.mX + dx, t.mY + dy, true, 0);
                } else {
                    const int antialias = pick(3);
                    SprSetPosPaint(&s, &x, &y, 0, nullptr, antialias);
                    PlainMove(t, x, y, false, antialias);
                }
            }
            }
            ASSERT_EQ(std::memcmp(&s.mX, &t.mX, sizeof s.mX), 0) << s.mX << " " << t.mX;
            ASSERT_EQ(std::memcmp(&s.mY, &t.mY, sizeof s.mY), 0) << s.mY << " " << t.mY;
            ASSERT_EQ(s.mRect, t.mRect);
            ASSERT_EQ(Pending(fast), Pending(plain)) << "seed " << seed << " step " << step;
            if (step % 8 != 0)
                continue;
            ASSERT_EQ(Mismatch(worlds[1].get(), worlds[4].get()), "")
                << "seed " << seed << " step " << step;
        }
    }
}

} // namespace
