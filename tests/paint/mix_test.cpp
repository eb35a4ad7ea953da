// The mixing pass and the colour functions beside it.
#include <tuple>

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
    for (int y = 0; y < 8; y++)
        for (int x = 0; x < 8; x++) {
            const uint32_t e = static_cast<uint32_t>(63 - (x + 8 * y));
            const bool inside = x >= 1 && x < 7 && y >= 2 && y < 6;
            EXPECT_EQ(Pixel(p.dst.get(), x, y), inside ? Word(e, e * 2, e * 3, 255) : 0u)
                << x << "," << y;
        }
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
    for (int y = 0; y < 32; y++)
        for (int x = 0; x < 48; x++) {
            const uint32_t a = p.At(p.mask, x, y) * 255u / 63;
            const uint32_t expected =
                a == 0     ? 0u
                : a == 255 ? Word(255, 0, 0, 255)
                           : MyMixColors(Word(255, 0, 0, a), Pixel(p.src.get(), x, y));
            ASSERT_EQ(Pixel(p.dst.get(), x, y), expected) << x << "," << y;
        }
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
    for (int y = 0; y < 7; y++)
        for (int x = 0; x < 9; x++) {
            const bool inside = x >= 5 && x < 8 && y >= 2 && y < 4;
            const uint32_t expected = inside ? DiffColors(Pixel(black.get(), x - 4, y - 1),
                                                          Pixel(white.get(), x - 4, y - 1))
                                             : 0u;
            EXPECT_EQ(Pixel(out.get(), x, y), expected) << x << "," << y;
        }
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

} // namespace
