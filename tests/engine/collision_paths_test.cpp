// The collision test and the copies the pool keeps, against the plain
// procedure on seeded random scenes: versions built on fresh copies of the
// pictures (which have no history to reuse), rows unpacked one at a time,
// and a model of the derived copies each slot shows and of its native flag
// through the sequences of pool calls a host makes.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

#include "images/picture_versions_p.h"
#include "tests/engine/stage_fixture.h"

namespace {

const int32_t kSlots[] = {7, 41, 256, 257};
const short kSizes[] = {40, 40, 20, 33, 60, 80, 120, 200}; // up to 120 columns
const short kOpacities[] = {255, 255, 255, 200, 128, 64, 3, 1};

// Rows of every kind the collision meets: empty, opaque runs, faint pixels
// that fading turns transparent, and mixtures.
std::vector<uint32_t> RandomPicture(std::mt19937& rng, int width, int height)
{
    std::vector<uint32_t> pixels(static_cast<size_t>(width) * height);
    for (int y = 0; y < height; y++) {
        const int kind = static_cast<int>(rng() % 5);
        const uint32_t colour = rng() & 0xFFFFFF00;
        for (int x = 0; x < width; x++) {
            uint32_t alpha = 0;
            if (kind == 1)
                alpha = x > width / 4 ? 255 : 0;
            else if (kind == 2)
                alpha = rng() % 3 == 0 ? 1 + rng() % 3 : 0;
            else if (kind == 3)
                alpha = RandomAlpha(rng, 3);
            else if (kind == 4)
                alpha = (x + y) % 5 == 0 ? 255 : 0;
            pixels[static_cast<size_t>(y * width + x)] = alpha ? (colour | alpha) : 0;
        }
    }
    return pixels;
}

void RegisterRandom(std::mt19937& rng, int32_t number)
{
    const int width = 1 + static_cast<int>(rng() % 24);
    const int height = 1 + static_cast<int>(rng() % 24);
    Register(number, RandomPicture(rng, width, height), width);
}

struct Level
{
    bool scaled;
    int32_t parameter;
};

std::vector<Level> LevelsFor(int32_t size, short opacity)
{
    std::vector<Level> levels;
    if (size != 40)
        levels.push_back({true, size});
    if (opacity != 255)
        levels.push_back({false, opacity});
    return levels;
}

// What a fresh copy of the slot's picture shows through the levels, built
// with Resize and ResetOpacity on pictures of no history. The slot's own
// picture is only read (its native flag is left alone).
class Fresh
{
  public:
    Fresh(int32_t number, const std::vector<Level>& levels)
    {
        const CImage* natural = gImagePool.mImages[number];
        PictureRecord record = {natural->width, natural->height, natural->size, natural->data};
        mCopy.reset(new CImage(reinterpret_cast<char*>(&record)));
        mShown = mCopy.get();
        for (const Level& level : levels) {
            if (level.scaled)
                mShown->Resize(static_cast<uint32_t>(level.parameter));
            else
                mShown->ResetOpacity(level.parameter);
            mShown = mShown->derived;
        }
    }
    CImage* Shown() const { return mShown; }

  private:
    std::unique_ptr<CImage> mCopy;
    CImage* mShown;
};

void ExpectSamePicture(const CImage* actual, const CImage* expected)
{
    ASSERT_NE(actual, nullptr);
    ASSERT_EQ(std::tie(actual->width, actual->height, actual->scale, actual->opacity, actual->size),
              std::tie(expected->width, expected->height, expected->scale, expected->opacity,
                       expected->size));
    EXPECT_EQ(std::memcmp(actual->data, expected->data, actual->size), 0);
}

// What the plain procedure leaves in a slot: its native flag and the chain
// of derived copies.
struct SlotModel
{
    bool native = true;
    std::vector<Level> chain;
};

class CollisionPaths : public Stage
{
  protected:
    bool Shows(int32_t number) const { return mModel.count(number) != 0; }

    // The pool's lookup as the plain procedure does it; true when the
    // result is the slot's own picture.
    bool Lookup(int32_t number, int32_t size, short opacity)
    {
        SlotModel& m = mModel[number];
        if (size != 40) {
            if (m.chain.empty() || !m.chain[0].scaled || m.chain[0].parameter != size) {
                m.chain = {{true, size}};
                m.native = true;
            }
            if (opacity != 255 && (m.chain.size() < 2 || m.chain[1].parameter != opacity)) {
                m.chain.resize(1);
                m.chain.push_back({false, opacity});
            }
            return false;
        }
        if (opacity != 255) {
            if (m.chain.empty() || m.chain[0].scaled || m.chain[0].parameter != opacity) {
                m.chain = {{false, opacity}};
                m.native = true;
            }
            return false;
        }
        return true;
    }

    // The collision as described: the second version of a shared picture
    // from a temporary copy, both pictures' rows unpacked one at a time.
    bool PlainCollision(CSprite* a, CSprite* b)
    {
        if (!a->mVisible || !b->mVisible)
            return false;
        const Rect rb = b->GetRect();
        Rect s;
        if (!SectRect(&a->mRect, &rb, &s) || !Shows(a->mImage))
            return false;
        const bool naturalA = Lookup(a->mImage, a->mSize, a->mOpacity);
        bool naturalB = false;
        if (b->mImage == a->mImage && (b->mSize != a->mSize || b->mOpacity != a->mOpacity)) {
            mModel[b->mImage].native = true; // GetInfo(record, false) of the copy
        } else {
            if (!Shows(b->mImage))
                return false;
            naturalB = Lookup(b->mImage, b->mSize, b->mOpacity);
        }
        const Fresh fa(a->mImage, LevelsFor(a->mSize, a->mOpacity));
        const Fresh fb(b->mImage, LevelsFor(b->mSize, b->mOpacity));
        CImage* pa = fa.Shown();
        CImage* pb = fb.Shown();
        std::vector<uint32_t> rowA(static_cast<size_t>(pa->width) + 1);
        std::vector<uint32_t> rowB(static_cast<size_t>(pb->width) + 1);
        bool hit = false;
        bool visited = false;
        for (int y = s.top; y < s.bottom && !hit; y++) {
            const int ya = y - a->mRect.top, yb = y - rb.top;
            if (ya >= pa->height || yb >= pb->height)
                break;
            visited = true;
            pa->UnpackRow(static_cast<uint32_t>(ya), rowA.data());
            pb->UnpackRow(static_cast<uint32_t>(yb), rowB.data());
            for (int x = s.left; x < s.right && !hit; x++) {
                const int xa = x - a->mRect.left, xb = x - rb.left;
                if (xa >= pa->width || xb >= pb->width)
                    break;
                hit = (rowA[static_cast<size_t>(xa)] & 0xFF) &&
                      (rowB[static_cast<size_t>(xb)] & 0xFF);
            }
        }
        if (visited && naturalA)
            mModel[a->mImage].native = true;
        if (visited && naturalB)
            mModel[b->mImage].native = true;
        return hit;
    }

    void ExpectPoolAsModel()
    {
        int32_t free = -1;
        for (int32_t n = 256; n < CImagePool::kSlots && free < 0; n++)
            free = Shows(n) ? -1 : n;
        EXPECT_EQ(GetFreeImageNumber(), free);
        for (int32_t n : kSlots) {
            const CImage* p = gImagePool.mImages[n];
            ASSERT_EQ(p != nullptr, Shows(n)) << "slot " << n;
            if (!p)
                continue;
            const SlotModel& m = mModel[n];
            EXPECT_EQ(p->native, m.native) << "slot " << n;
            const CImage* d = p->derived;
            for (size_t i = 0; i < m.chain.size(); i++) {
                const Fresh fresh(n, std::vector<Level>(m.chain.begin(), m.chain.begin() + i + 1));
                ExpectSamePicture(d, fresh.Shown());
                if (!d)
                    return;
                EXPECT_TRUE(d->native);
                d = d->derived;
            }
            EXPECT_EQ(d, nullptr) << "slot " << n;
        }
    }

    // A host reads a shown picture's record, which takes the native flag.
    void ReadRecord(int32_t number)
    {
        if (!Shows(number))
            return;
        PictureRecord record;
        GetImageInfo(number, reinterpret_cast<char*>(&record));
        mModel[number].native = false;
    }

    void Place(std::mt19937& rng, CSprite* sprite)
    {
        if (rng() % 3 == 0)
            sprite->SetImage(kSlots[rng() % 4], 0);
        if (rng() % 2)
            sprite->SetOpacity(kOpacities[rng() % 8]);
        sprite->mX = -10.0 + rng() % 60;
        sprite->mY = -10.0 + rng() % 50;
        sprite->SetSize(kSizes[rng() % 8]); // recomputes mRect
    }

    std::map<int32_t, SlotModel> mModel;
};

TEST_F(CollisionPaths, CollisionsDrawsAndPoolCallsFollowThePlainProcedure)
{
    World fast = MakeWorld(kWidth, kHeight);
    World plain = MakeWorld(kWidth, kHeight);
    int collisions = 0, hits = 0;
    for (uint32_t seed = 1; seed <= 10; seed++) {
        std::mt19937 rng(seed);
        ClearAllImages();
        mModel.clear();
        for (int32_t n : kSlots) {
            RegisterRandom(rng, n);
            mModel[n] = SlotModel();
        }
        std::vector<CSprite*> shown;
        for (int i = 0; i < 3; i++) {
            shown.push_back(Show(i + 1, kSlots[rng() % 4], 20, 15));
            Place(rng, shown.back());
        }
        for (int step = 0; step < 250; step++) {
            const int32_t slot = kSlots[rng() % 4];
            CSprite* a = shown[rng() % 3];
            CSprite* b = shown[rng() % 3];
            switch (rng() % 14) {
            case 0:
                RegisterRandom(rng, slot);
                mModel[slot] = SlotModel();
                break;
            case 1:
                if (Shows(slot)) {
                    const int32_t to = kSlots[rng() % 4];
                    CopyImage(slot, to);
                    mModel[slot].native = true;
                    mModel[to] = SlotModel();
                }
                break;
            case 2:
                ResetFreeImage(slot);
                mModel.erase(slot);
                break;
            case 3:
                ReadRecord(slot);
                break;
            case 4: {
                const short size = kSizes[rng() % 8];
                const short opacity = kOpacities[rng() % 8];
                CImage* got = Shows(slot) ? gImagePool.GetImage(slot, size, opacity) : nullptr;
                if (got) {
                    Lookup(slot, size, opacity);
                    ExpectSamePicture(got, Fresh(slot, LevelsFor(size, opacity)).Shown());
                }
                break;
            }
            case 5:
                if (Shows(a->mImage)) {
                    FillNumbered(fast.get(), seed);
                    FillNumbered(plain.get(), seed);
                    a->Output(fast.get());
                    if (Lookup(a->mImage, a->mSize, a->mOpacity))
                        mModel[a->mImage].native = true; // Stretch sets it
                    const Fresh fresh(a->mImage, LevelsFor(a->mSize, a->mOpacity));
                    Rect r = a->mRect, d = a->mRect;
                    fresh.Shown()->Stretch(&r, &d, plain.get(), true,
                                           IsColorizedImage(a->mImage) ? &a->mPenColor : nullptr);
                    ASSERT_EQ(Mismatch(fast.get(), plain.get()), "")
                        << "seed " << seed << " step " << step;
                }
                break;
            default: {
                if (rng() % 2)
                    Place(rng, a);
                if (rng() % 6 == 0) {
                    // A new picture under the rectangle of the old one.
                    RegisterRandom(rng, a->mImage);
                    mModel[a->mImage] = SlotModel();
                }
                for (CSprite* s : {a, b}) // the host reads the records between frames
                    if (rng() % 3 == 0)
                        ReadRecord(s->mImage);
                if (rng() % 4 == 0) {
                    // Corners only: b's rectangle just reaches a corner of a's.
                    b->mX = a->mX + (a->mRect.right - a->mRect.left) / 2.0 + rng() % 6;
                    b->mY = a->mY + (a->mRect.bottom - a->mRect.top) / 2.0 + rng() % 6;
                    b->SetSize(b->mSize);
                }
                const bool expected = PlainCollision(a, b);
                ASSERT_EQ(a->InCollisionWith(b), expected) << "seed " << seed << " step " << step;
                collisions++;
                hits += expected;
                break;
            }
            }
            ExpectPoolAsModel();
            if (HasFailure())
                FAIL() << "seed " << seed << " step " << step;
        }
    }
    // The scenes meet both answers often.
    EXPECT_GT(hits, collisions / 10);
    EXPECT_LT(hits, collisions - collisions / 10);
}

// Spares stay within their bounds and go with their picture; a picture too
// large for a mask of its solid pixels is tested on its rows.
TEST_F(CollisionPaths, SparesAreBoundedAndLargePicturesUseTheirRows)
{
    std::mt19937 rng(99);
    RegisterRandom(rng, 300);
    CImage* natural = gImagePool.mImages[300];
    for (short size = 41; size < 61; size++)
        ASSERT_NE(gImagePool.GetImage(300, size, 255), nullptr);
    EXPECT_EQ(SpareCount(natural), 8);
    // The eight set aside last (scales 52 to 59) are kept.
    CImage* again = gImagePool.GetImage(300, 52, 255);
    EXPECT_EQ(SpareCount(natural), 8);
    ExpectSamePicture(again, Fresh(300, {{true, 52}}).Shown());
    EXPECT_GT(SpareBytes(), 0u);
    ResetFreeImage(300);
    EXPECT_EQ(SpareBytes(), 0u);

    // 2048 x 4100: its mask would pass the limit. A diagonal band of solid
    // pixels, compared with a small square at several places.
    const int width = 2048, height = 4100;
    std::vector<uint32_t> band(static_cast<size_t>(width) * height, 0);
    for (int y = 0; y < height; y++)
        for (int x = y / 2; x < y / 2 + 3 && x < width; x++)
            band[static_cast<size_t>(y) * width + x] = kRed;
    Register(301, band, width);
    RegisterSolid(302, 4, 4, kBlue);
    CSprite* big = Show(1, 301, width / 2, height / 2);
    CSprite* square = Show(2, 302, 0, 0);
    const struct
    {
        int x, y;
        bool hit;
    } cases[] = {{1000, 2000, true}, {1010, 2000, false}, {998, 2000, true},
                 {990, 2000, false}, {2, 2, true},        {2048, 4098, false}};
    for (const auto& c : cases) {
        square->mX = c.x + 2;
        square->mY = c.y + 2;
        square->SetSize(40);
        EXPECT_EQ(big->InCollisionWith(square), c.hit) << c.x << "," << c.y;
        EXPECT_EQ(square->InCollisionWith(big), c.hit) << c.x << "," << c.y;
    }
}

} // namespace
