// The drawing sequence under seeded random host calls, against a plain
// vector searched from the front: the order, what each call returns, what
// the find iteration hands out and what a draw puts in the sprite surface
// agree after every call.
#include <algorithm>
#include <map>
#include <random>
#include <vector>

#include "tests/engine/stage_fixture.h"

namespace {

// The sequence as a vector with linear searches.
struct PlainSequence
{
    std::vector<CSprite*> order;
    std::map<CSprite*, int32_t> z;

    void Erase(CSprite* s)
    {
        const auto found = std::find(order.begin(), order.end(), s);
        if (found != order.end())
            order.erase(found);
    }
    void InsertByZ(CSprite* s, int32_t value)
    {
        const auto place = std::find_if(order.begin(), order.end(), [&](CSprite* other) {
            return static_cast<int16_t>(z[other]) < value;
        });
        order.insert(place, s);
    }
};

// Values on both sides of each other, and some whose low 16 bits differ
// from the whole value.
constexpr int32_t kZValues[] = {-3, -1, 0, 1, 2, 3, 32767, 32768, 65537, -70000};

class SequencePaths : public Stage
{
  protected:
    // Clears a world of the stage's size and outputs the visible sprites
    // into it in the plain sequence's order, as a draw of the whole stage.
    void ExpectDrawnInOrder(const PlainSequence& plain)
    {
        View view(HIViewCreateOffscreen(kWidth, kHeight));
        Draw(view.get());
        World expected = MakeWorld(kWidth, kHeight);
        for (CSprite* s : plain.order)
            if (s->mVisible)
                s->Output(expected.get());
        ASSERT_EQ(Mismatch(sprites.get(), expected.get()), "");
    }
};

TEST_F(SequencePaths, HostCallsAgreeWithPlainSequence)
{
    RegisterSolid(300, 9, 9, kRed);
    RegisterSolid(301, 7, 11, kGreen);
    RegisterSolid(302, 13, 5, kBlue);
    for (uint32_t seed : {1u, 2u, 3u, 4u}) {
        MakeStage(kWidth, kHeight);
        std::mt19937 rng(seed);
        auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<uint32_t>(n)); };
        PlainSequence plain;
        int32_t nextRef = 1;
        for (int call = 0; call < 1500; call++) {
            const int what = plain.order.empty() ? 0 : pick(10);
            CSprite* s =
                plain.order.empty()
                    ? nullptr
                    : plain.order[static_cast<size_t>(pick(static_cast<int>(plain.order.size())))];
            const int32_t z = kZValues[pick(10)];
            switch (what) {
            case 0:
            case 1: {
                CSprite* fresh = SprNewSprite(list.get(), nextRef++);
                SprSetImage(fresh, 300 + pick(3), 0);
                const double x = pick(kWidth), y = pick(kHeight);
                SprSetPos(fresh, &x, &y);
                plain.order.push_back(fresh);
                plain.z[fresh] = 0;
                break;
            }
            case 2:
            case 3: {
                const int32_t previous = plain.z[s];
                ASSERT_EQ(SprSetZ(s, z), previous);
                if (z != previous) {
                    plain.Erase(s);
                    plain.InsertByZ(s, z);
                    plain.z[s] = z;
                }
                break;
            }
            case 4:
                SprSendTo(s, z);
                plain.Erase(s);
                plain.InsertByZ(s, z);
                break;
            case 5:
                SprDeleteSprite(s);
                plain.Erase(s);
                plain.z.erase(s);
                break;
            case 6: {
                const Boolean was = s->mVisible ? 1 : 0;
                ASSERT_EQ(SprShow(s, pick(4) != 0), was);
                break;
            }
            case 7:
                ASSERT_NO_FATAL_FAILURE(ExpectDrawnInOrder(plain)) << "seed " << seed;
                break;
            case 8: { // the find iteration runs from the front
                std::vector<int32_t> found, expected;
                for (int32_t r = SprFindSprite(list.get()); r != 0;
                     r = SprFindNextSprite(list.get()))
                    found.push_back(r);
                for (auto f = plain.order.rbegin(); f != plain.order.rend(); ++f)
                    expected.push_back((*f)->mRefNum);
                EXPECT_EQ(found, expected);
                break;
            }
            default:
                ASSERT_EQ(SprGetImage(s), s->mImage);
                break;
            }
            ASSERT_EQ(list->mSprites.size(), plain.order.size());
            ASSERT_EQ(list->mSprites, plain.order) << "seed " << seed << ", call " << call;
            if (!plain.order.empty()) {
                ASSERT_EQ(list->mSprites.front(), plain.order.front());
                ASSERT_EQ(list->mSprites.back(), plain.order.back());
            }
        }
        ASSERT_NO_FATAL_FAILURE(ExpectDrawnInOrder(plain));
        // The stage goes with every sprite still on it.
        SprDeleteList(list.release());
    }
}

// The sequence's own calls, as a C++ host may make them: a sprite placed
// twice leaves by its first place, one that is not there changes nothing.
TEST_F(SequencePaths, DirectCallsWithRepeatedSprites)
{
    std::vector<CSprite*> pool;
    for (int32_t ref = 1; ref <= 12; ref++)
        pool.push_back(new CSprite(list.get(), ref));
    Rect bounds = R(0, 0, kWidth, kHeight);
    CSpriteList other(nullptr, nullptr, nullptr, &bounds);
    PlainSequence plain;
    std::mt19937 rng(99);
    for (CSprite* s : pool)
        plain.z[s] = s->mZ = kZValues[rng() % 10];
    for (int call = 0; call < 4000; call++) {
        CSprite* s = pool[rng() % pool.size()];
        const int32_t z = kZValues[rng() % 10];
        switch (rng() % 3) {
        case 0:
            other.AddSprite(s);
            plain.order.push_back(s);
            break;
        case 1:
            other.InsertSprite(s, z);
            plain.InsertByZ(s, z);
            break;
        default:
            other.DeleteSprite(s);
            plain.Erase(s);
            break;
        }
        ASSERT_EQ(other.mSprites, plain.order) << "call " << call;
    }
    for (CSprite* s : pool)
        while (std::find(other.mSprites.begin(), other.mSprites.end(), s) != other.mSprites.end())
            other.DeleteSprite(s);
    EXPECT_TRUE(other.mSprites.empty());
}

} // namespace
