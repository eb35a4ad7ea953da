// The paint state: locking an OurPS, the angle tables and GetColorOpacity.
#include <tuple>

#include "paint/paint_p.h"
#include "tests/paint/paint_fixture.h"

namespace {

TEST(PaintState, InitFillsTablesAndAnswersABCD)
{
    EXPECT_EQ(PaintInit(), 0xABCD);
    EXPECT_EQ(SinTable[0], 0.0);
    EXPECT_EQ(CosTable[0], 1.0);
    // The step sits just below pi / 1800, so the quarter and half turns
    // miss zero by a little.
    EXPECT_EQ(SinTable[900], 1.0);
    EXPECT_NEAR(CosTable[900], 2.97e-13, 0.01e-13);
    EXPECT_EQ(CosTable[1800], -1.0);
    EXPECT_NEAR(SinTable[1800], 5.93e-13, 0.01e-13);
    EXPECT_NEAR(SinTable[300], 0.5, 1e-12);
    EXPECT_LT(SinTable[300], 0.5);
}

// Every field of a locked state, to compare two at once.
auto Fields(const ps& s)
{
    return std::tie(s.width, s.aux, s.srcRowBytes, s.color, s.srcBase, s.dstRowBytes, s.dstBase,
                    s.colorRowBytes, s.colorBase, s.brush, s.mask, s.colorTable);
}

TEST(PaintState, LockerFillsLockedStateAndUnlocksAfter)
{
    Painting p(8, 6);
    World colour = MakeWorld(8, 6);
    p.state.aux = -7;
    p.state.color = 0xDEADBEEF;
    PixMapHandle pms[3] = {GetGWorldPixMap(p.src.get()), GetGWorldPixMap(p.dst.get()),
                           GetGWorldPixMap(colour.get())};
    auto locks = [&pms] {
        std::vector<bool> out;
        for (PixMapHandle pm : pms)
            out.push_back(GetPixelsState(pm) & pixelsLocked);
        return out;
    };
    // The pixel map keeps its flag bit; the locked state drops it.
    ASSERT_NE((*pms[0])->rowBytes & 0x8000, 0);
    const Ptr src = GetPixBaseAddr(pms[0]), dst = GetPixBaseAddr(pms[1]);
    ps expected = {8,   -7, 32,      0xDEADBEEF,     src,           32,
                   dst, 0,  nullptr, p.brush.data(), p.mask.data(), p.table};
    for (bool withColour : {false, true}) {
        if (withColour) {
            p.state.colorWorld = colour.get();
            expected.colorRowBytes = 32;
            expected.colorBase = GetPixBaseAddr(pms[2]);
        }
        {
            ps locked;
            CPSLocker locker(&p.state, &locked);
            EXPECT_TRUE(Fields(locked) == Fields(expected)) << withColour;
            EXPECT_EQ(locks(), (std::vector<bool>{true, true, withColour}));
        }
        EXPECT_EQ(locks(), (std::vector<bool>{false, false, false}));
    }
    // A surface the host had locked stays locked.
    LockPixels(pms[0]);
    {
        ps locked;
        CPSLocker locker(&p.state, &locked);
    }
    EXPECT_EQ(locks(), (std::vector<bool>{true, false, false}));
    UnlockPixels(pms[0]);
}

TEST(PaintState, ColorOpacityTruncatesEachShareApart)
{
    // Two shares truncated apart: 20 * 15 / 31 = 9 and 10 * 16 / 31 = 5.
    const std::vector<int> cases[] = {
        {0, 0, 0, 31, 31, 31, 15, 15, 15, 15},
        {0xFFFF, 0xFFFF, 0xFFFF, 0, 0, 0, 15, 33824, 33824, 33824},
        {10, 20, 30, 20, 10, 0, 15, 5 + 9, 10 + 4, 15},
        {1, 2, 3, 40000, 50000, 60000, 31, 40000, 50000, 60000},
        {1, 2, 3, 40000, 50000, 60000, 0, 1, 2, 3},
    };
    for (const std::vector<int>& c : cases) {
        RGBColor out;
        GetColorOpacity(c[0], c[1], c[2], c[3], c[4], c[5], c[6], &out);
        EXPECT_EQ((std::vector<int>{out.red, out.green, out.blue}),
                  std::vector<int>(c.begin() + 7, c.end()))
            << c[0] << " " << c[3] << " " << c[6];
    }
}

} // namespace
