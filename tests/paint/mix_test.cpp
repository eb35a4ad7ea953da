// The mixing pass, the colour functions beside it, and the row blend.
#include <algorithm>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "paint/blend_row_p.h"
#include "sprig/blend.h"
#include "sprig/transfer.h"
#include "tests/paint/paint_fixture.h"

namespace {

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
// Colour table entry: [alpha][blue][green][red].
constexpr uint32_t Entry(uint32_t r, uint32_t g, uint32_t b, uint32_t a)
{
    return (a << 24) | (b << 16) | (g << 8) | r;
}

constexpr uint32_t kUntouched = 0x5A5A5A5A;
constexpr uint32_t kSource = Word(0, 50, 255, 255);

// A 6 x 4 picture: opaque source, destination holding a marker, coverage
// 63 (full) in column 1, 32 in column 2 and 0 elsewhere; the table gives
// full coverage alpha 255 and coverage 32 alpha 128.
struct MixCase : Painting
{
    MixCase() : Painting(6, 4)
    {
        FillWith(src.get(), kSource);
        FillWith(dst.get(), kUntouched);
        for (int y = 0; y < 4; y++) {
            At(mask, 1, y) = 63;
            At(mask, 2, y) = 32;
        }
        table[0] = Entry(10, 20, 30, 255);
        table[31] = Entry(200, 100, 0, 128);
        table[63] = Entry(1, 2, 3, 0); // a colour, but alpha 0
    }
    Rect all = R(0, 0, 6, 4);
};

TEST(PaintMix, FullPartialAndZeroCoverage)
{
    MixCase p;
    // Over a transparent source pixel the entry comes out as it is.
    Pixel(p.src.get(), 2, 0) = Word(9, 9, 9, 0);
    Pixel(p.src.get(), 2, 1) = Word(0, 50, 255, 64);
    EXPECT_EQ(PaintMix(&p.all, &p.state), 1);
    // 128 over opaque: (128 * paint + 127 * under) / 255, truncated.
    const uint32_t partial[] = {Word(200, 100, 0, 128),
                                MyMixColors(Word(200, 100, 0, 128), Word(0, 50, 255, 64)),
                                Word(100, 75, 127, 255), Word(100, 75, 127, 255)};
    std::vector<uint32_t> expected;
    for (int y = 0; y < 4; y++)
        expected.insert(expected.end(), {kUntouched, Word(10, 20, 30, 255), partial[y], kUntouched,
                                         kUntouched, kUntouched});
    EXPECT_EQ(PixelsOf(p.dst.get()), expected);
    EXPECT_EQ(Pixel(p.src.get(), 1, 1), kSource) << "the source is only read";
    // An entry of alpha 254 is blended, not painted solid.
    p.table[31] = Entry(200, 100, 0, 254);
    PaintMix(&p.all, &p.state);
    EXPECT_EQ(Pixel(p.dst.get(), 2, 3), MyMixColors(Word(200, 100, 0, 254), kSource));
}

TEST(PaintMix, ColourSurfaceSuppliesThePaint)
{
    MixCase p;
    World texture = MakeWorld(6, 4);
    FillEach(texture.get(), [](int x, int y) { return Word(x * 40, y * 60, 7, 0x12); });
    p.state.colorWorld = texture.get();
    PaintMix(&p.all, &p.state);
    for (int y = 0; y < 4; y++) {
        EXPECT_EQ(Pixel(p.dst.get(), 1, y), Word(40, y * 60, 7, 255));
        EXPECT_EQ(Pixel(p.dst.get(), 2, y), MyMixColors(Word(80, y * 60, 7, 128), kSource));
        EXPECT_EQ(Pixel(p.dst.get(), 0, y), kUntouched);
    }
    // Row 0 by hand: green (128 * 0 + 127 * 50) / 255 = 24.
    EXPECT_EQ(Pixel(p.dst.get(), 2, 0), Word(40, 24, 130, 255));
}

TEST(PaintMix, EachCoverageLevelPicksItsOwnEntryInsideTheRectangle)
{
    Painting p(8, 8);
    for (uint32_t i = 0; i < 64; i++)
        p.table[i] = Entry(i, i * 2, i * 3, 255);
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++)
            p.At(p.mask, x, y) = static_cast<uint8_t>(x + 8 * y);
    // Only the rectangle is walked, even where the mask has coverage.
    Rect rect = R(1, 2, 7, 6);
    PaintMix(&rect, &p.state);
    EXPECT_TRUE(EachPixel(p.dst.get(), [&](int x, int y) {
        const uint32_t e = static_cast<uint32_t>(63 - (x + 8 * y));
        return Inside(rect, x, y) ? Word(e, e * 2, e * 3, 255) : 0u;
    }));
    // Coverage above 63 is full coverage, not a read before the table.
    p.At(p.mask, 0, 0) = 200;
    rect = R(0, 0, 1, 1);
    PaintMix(&rect, &p.state);
    EXPECT_EQ(Pixel(p.dst.get(), 0, 0), Word(0, 0, 0, 255));
    // An empty or upside-down rectangle writes nothing.
    std::fill(p.mask.begin(), p.mask.end(), 63);
    for (Rect nothing : {R(0, 7, 8, 7), R(0, 7, 8, 6)})
        PaintMix(&nothing, &p.state);
    EXPECT_EQ(Pixel(p.dst.get(), 0, 6), 0u);
    EXPECT_EQ(Pixel(p.dst.get(), 0, 7), 0u);
}

TEST(EraseMix, LowersSourceAlphaAtFullAndHalfCoverage)
{
    // A colour surface changes nothing when erasing.
    for (bool textured : {false, true}) {
        MixCase p;
        World texture = MakeWorld(6, 4);
        if (textured)
            p.state.colorWorld = texture.get();
        Pixel(p.src.get(), 1, 3) = Word(1, 2, 3, 100);
        Pixel(p.src.get(), 2, 3) = Word(1, 2, 3, 200);
        EXPECT_EQ(EraseMix(&p.all, &p.state), 1);
        // (255 * 127) >> 8 = 126; the table's colour is not used.
        std::vector<uint32_t> expected;
        for (int y = 0; y < 4; y++)
            expected.insert(expected.end(),
                            {kUntouched, y < 3 ? Word(0, 50, 255, 0) : Word(1, 2, 3, 0),
                             y < 3 ? Word(0, 50, 255, 126) : Word(1, 2, 3, (200 * 127) >> 8),
                             kUntouched, kUntouched, kUntouched});
        EXPECT_EQ(PixelsOf(p.dst.get()), expected) << textured;
    }
}

TEST(PaintMix, StrokeFromLineToMix)
{
    // A host's sequence: a brush line into a cleared mask, then the mixing
    // pass over the line's reach, on a source with every kind of alpha.
    Painting p(48, 32);
    for (int i = 0; i < 64; i++)
        p.table[i] = Entry(255, 0, 0, static_cast<uint32_t>((63 - i) * 255 / 63));
    FillNumbered(p.src.get(), 11); // every alpha, opaque to transparent
    Rect line = R(10, 10, 30, 12), reach = R(0, 0, 48, 32);
    PaintLineTo(&line, &p.state);
    PaintMix(&reach, &p.state);
    EXPECT_TRUE(EachPixel(p.dst.get(), [&](int x, int y) {
        const uint32_t a = p.At(p.mask, x, y) * 255u / 63;
        return a == 0     ? 0u
               : a == 255 ? Word(255, 0, 0, 255)
                          : MyMixColors(Word(255, 0, 0, a), Pixel(p.src.get(), x, y));
    }));
}

TEST(PaintColours, PixelFunctions)
{
    const uint32_t k = Word(50, 25, 10, 7);
    const uint32_t diff[][3] = {
        {k, k, Word(50, 25, 10, 255)},
        // Blue 10 over black and 138 over white: t = 1 - 128/255.
        {k, Word(0, 0, 138, 0), Word(100, 50, 20, 127)},
        // Channels that overflow are 255.
        {Word(200, 0, 0, 0), Word(0, 0, 100, 0), Word(255, 0, 0, 155)},
        // No coverage at all, and white lighter over black than over white.
        {Word(5, 5, 0, 0), Word(0, 0, 255, 0), 0},
        {Word(5, 5, 40, 0), Word(0, 0, 39, 0), 0},
    };
    for (const auto& [onBlack, onWhite, expected] : diff)
        EXPECT_EQ(DiffColors(onBlack, onWhite), expected) << std::hex << onBlack << " " << onWhite;

    // Mid grey: every channel black, coverage sqrt(128/255). Light
    // red-cyan: red sets M = 55/255.
    const uint32_t text[][2] = {{Word(0, 0, 0, 0), Word(0, 0, 0, 255)},
                                {Word(255, 255, 255, 255), 0},
                                {Word(255, 127, 0, 9), Word(255, 127, 0, 255)},
                                {Word(127, 127, 127, 255), Word(0, 0, 0, 180)},
                                {Word(200, 230, 255, 255), Word(0, 139, 255, 118)}};
    for (const auto& [pixel, expected] : text)
        EXPECT_EQ(ReMixTextColors(pixel), expected) << std::hex << pixel;

    // -255 keeps its low 8 bits; 127.5 rounds away from zero.
    const std::tuple<float, int, int> doubles[] = {{0.5f, 0, 1},     {1.0f, 77, 77},
                                                   {2.0f, 0, 128},   {2.0f, 100, 178},
                                                   {4.0f, 175, 235}, {0.9f, 255, 255}};
    for (const auto& [f, v, expected] : doubles)
        EXPECT_EQ(DoubleMix(f, v), expected) << f << " " << v;

    EXPECT_EQ(EraseColors(128, 0x11223344u), 0x11223321u); // (68 * 127) >> 8 = 33
    EXPECT_EQ(EraseColors(0, 0xAABBCCFFu), 0xAABBCCFEu);
    EXPECT_EQ(EraseColors(255, 0xAABBCCFFu), 0xAABBCC00u);
}

TEST(PaintColours, CreateTextShapeAndCreateShapeWalkTheirRectangles)
{
    World black = MakeWorld(5, 4), white = MakeWorld(5, 4), out = MakeWorld(9, 7);
    // Blue x * 20 + y over black, 40 * y more over white.
    FillEach(black.get(), [](int x, int y) { return Word(x * 10, y * 10, x * 20 + y, 0); });
    FillEach(white.get(), [](int x, int y) { return Word(0, 0, x * 20 + y * 41, 0); });
    Rect src = R(1, 1, 4, 3);
    Point at = {2, 5}; // top 2, left 5
    CreateTextShape(black.get(), white.get(), out.get(), &src, &at);
    EXPECT_TRUE(EachPixel(out.get(), [&](int x, int y) {
        return Inside(R(5, 2, 8, 4), x, y)
                   ? DiffColors(Pixel(black.get(), x - 4, y - 1), Pixel(white.get(), x - 4, y - 1))
                   : 0u;
    }));
    // Blue 21 over black, 61 over white: t = 215/255.
    EXPECT_EQ(Pixel(out.get(), 5, 2), Word(11, 11, 24, 215));
    EXPECT_FALSE(GetPixelsState(GetGWorldPixMap(out.get())) & pixelsLocked);

    // CreateShape copies as FoolCopyBits does.
    World a = MakeWorld(7, 6), b = MakeWorld(7, 6);
    FillNumbered(black.get(), 3);
    Rect from = R(1, 1, 4, 4), to = R(2, 0, 5, 3);
    CreateShape(black.get(), a.get(), &from, &to);
    FoolCopyBits(black.get(), b.get(), &from, &to);
    EXPECT_EQ(PixelsOf(a.get()), PixelsOf(b.get()));
    EXPECT_EQ(Pixel(a.get(), 2, 0), Pixel(black.get(), 1, 1));
    EXPECT_EQ(Pixel(a.get(), 4, 2), Pixel(black.get(), 3, 3));
}

// Every variant of the row blend, and MixColorsRow itself, against the
// library's one blend pixel by pixel.

using sprig::RowBlendVariant;

// The variants, and MixColorsRow as the library calls it.
std::vector<RowBlendVariant> AllBlends()
{
    std::vector<RowBlendVariant> blends = sprig::RowBlendVariants();
    blends.push_back({"MixColorsRow", MixColorsRow});
    return blends;
}

// Blends paint over under with blend in rows of the given lengths (cycled),
// and checks every word against MixPixel.
void ExpectExact(const RowBlendVariant& variant, const std::vector<uint32_t>& paint,
                 const std::vector<uint32_t>& under, const std::vector<int>& lengths)
{
    std::vector<uint32_t> out = under;
    size_t at = 0;
    for (size_t r = 0; at < paint.size(); r++) {
        const size_t n = std::min(paint.size() - at, size_t(lengths[r % lengths.size()]));
        variant.blend(paint.data() + at, out.data() + at, static_cast<int32_t>(n));
        at += n;
    }
    for (size_t i = 0; i < paint.size(); i++)
        ASSERT_EQ(out[i], sprig::MixPixel(paint[i], under[i]))
            << variant.name << ": paint " << std::hex << paint[i] << " under " << under[i]
            << std::dec << " at " << i;
}

TEST(RowBlend, EachVariantRunsOnThisProcessor)
{
    std::vector<std::string> names;
    for (const RowBlendVariant& v : sprig::RowBlendVariants())
        names.push_back(v.name);
    ExpectVariantsOfThisProcessor(names);
}

// Every pair of alphas with random colours, laid out three ways so that the
// groups of four and eight fall in every case: destinations of one alpha
// together (whole groups over transparent or opaque pixels), sources of one
// alpha together (whole groups skipped or copied), and shuffled.
TEST(RowBlend, EveryPairOfAlphasMatchesTheBlend)
{
    std::mt19937 rng(7);
    std::vector<uint32_t> paint, under;
    for (uint32_t da = 0; da < 256; da++)
        for (uint32_t sa = 0; sa < 256; sa++) {
            paint.push_back((rng() & 0xFFFFFF00) | sa);
            under.push_back((rng() & 0xFFFFFF00) | da);
        }
    std::vector<size_t> bySource(paint.size()), shuffled(paint.size());
    for (size_t i = 0; i < paint.size(); i++) {
        bySource[i] = (i % 256) * 256 + i / 256;
        shuffled[i] = i;
    }
    std::shuffle(shuffled.begin(), shuffled.end(), rng);
    auto laidOut = [](const std::vector<uint32_t>& words, const std::vector<size_t>& order) {
        std::vector<uint32_t> out;
        for (size_t i : order)
            out.push_back(words[i]);
        return out;
    };
    for (const RowBlendVariant& v : AllBlends()) {
        ExpectExact(v, paint, under, {4096});
        ExpectExact(v, laidOut(paint, bySource), laidOut(under, bySource), {256, 61, 3, 8, 17});
        ExpectExact(v, laidOut(paint, shuffled), laidOut(under, shuffled),
                    {1, 2, 5, 9, 16, 31, 64, 7, 4, 3, 12});
    }
}

// Rows of every length from 0 to 70 at every start modulo eight, with
// stretches of transparent, opaque and partly transparent sources and
// destinations: every word of the row matches the blend and the words on
// either side are left alone.
TEST(RowBlend, RowsOfEveryLengthTouchOnlyTheirOwnPixels)
{
    constexpr uint32_t kGuard = 0xA5C3E1F0;
    std::mt19937 rng(2024);
    for (const RowBlendVariant& v : AllBlends())
        for (int round = 0; round < 20; round++)
            for (int count = 0; count <= 70; count++)
                for (int start = 1; start <= 8; start++) {
                    std::vector<uint32_t> paint(size_t(count + 16)), under(size_t(count + 16));
                    int srcMode = 0, dstMode = 0;
                    for (int i = 0; i < count; i++) {
                        if (rng() % 5 == 0) {
                            srcMode = static_cast<int>(rng() % 4);
                            dstMode = static_cast<int>(rng() % 4);
                        }
                        paint[size_t(start + i)] = (rng() & 0xFFFFFF00) | RandomAlpha(rng, srcMode);
                        under[size_t(start + i)] = (rng() & 0xFFFFFF00) | RandomAlpha(rng, dstMode);
                    }
                    std::vector<uint32_t> out(under.size(), kGuard);
                    std::copy(under.begin() + start, under.begin() + start + count,
                              out.begin() + start);
                    v.blend(paint.data() + start, out.data() + start, count);
                    for (int i = 0; i < int(out.size()); i++) {
                        const bool inside = i >= start && i < start + count;
                        const uint32_t expected =
                            inside ? sprig::MixPixel(paint[size_t(i)], under[size_t(i)]) : kGuard;
                        ASSERT_EQ(out[size_t(i)], expected)
                            << v.name << ": count " << count << " start " << start << " at "
                            << i - start;
                    }
                }
}

} // namespace
