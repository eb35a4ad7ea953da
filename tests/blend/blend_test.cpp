#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "sprig/blend.h"
#include "tests/test_util.h"

namespace {

uint32_t Ch(uint32_t p, int i)
{
    return (p >> (8 * (i + 1))) & 0xFF;
}

// A literal transcription of the blend's steps, no shortcuts.
uint32_t ReferenceMix(uint32_t s, uint32_t d)
{
    const uint32_t a = s & 0xFF;
    if (a == 0)
        return d;
    if (a == 255)
        return s;
    const float dA = static_cast<float>(d & 0xFF) * 0.003921568859368563f;
    const int k = 255 - static_cast<int>(a);
    const float f = dA * k;
    const float A = 255 - (1 - dA) * k;
    uint32_t out = 0;
    for (int i = 0; i < 3; i++) {
        const float v = (static_cast<int>(a * Ch(s, i)) + Ch(d, i) * f) / A;
        const int c = static_cast<int>(v);
        EXPECT_LE(c, 255); // a channel never spills into its neighbour
        out |= static_cast<uint32_t>(c) << (8 * (i + 1));
    }
    return out | static_cast<uint32_t>(static_cast<int>(std::fmax(A, 0.0f)));
}

TEST(Blend, WorkedExamples)
{
    const uint32_t cases[][3] = {
        // Half paint over opaque: (128 * paint + 127 * under) / 255, truncated.
        {Word(200, 10, 255, 128), Word(0, 100, 255, 255), Word(100, 54, 255, 255)},
        // Alpha 0 paint returns the pixel beneath bit for bit, alpha 255 the paint.
        {0x12345600, 0xDEADBE7F, 0xDEADBE7F},
        {0x123456FF, 0xDEADBE7F, 0x123456FF},
        // Over alpha 0 the paint's own channels and alpha come out.
        {Word(13, 200, 255, 128), 0xFFFFFF00, Word(13, 200, 255, 128)},
        // Partial over partial: alpha 255 - (1 - 100/255) * 155 = 160.78,
        // truncated; red 255 * 100 / 160.78 = 158.6, blue 255 * 60.78 / 160.78.
        {Word(255, 0, 0, 100), Word(0, 0, 255, 100), Word(158, 0, 96, 160)},
    };
    for (const auto& [paint, under, expected] : cases) {
        EXPECT_EQ(MyMixColors(paint, under), expected) << std::hex << paint << " over " << under;
        EXPECT_EQ(ReferenceMix(paint, under), expected);
    }
}

TEST(Blend, MatchesTheStatedArithmetic)
{
    std::mt19937 rng(20240611);
    // Every paint alpha over every under alpha, colours varied per lane.
    for (uint32_t a = 0; a < 256; a++)
        for (uint32_t da = 0; da < 256; da++)
            for (int j = 0; j < 16; j++) {
                const uint32_t s = (rng() & 0xFFFFFF00) | a;
                const uint32_t d = (rng() & 0xFFFFFF00) | da;
                ASSERT_EQ(MyMixColors(s, d), ReferenceMix(s, d)) << std::hex << s << " " << d;
            }
    // Over opaque and over transparent pixels the blend takes shortcuts:
    // every paint alpha and every pair of channel values.
    for (uint32_t a = 1; a < 255; a++)
        for (uint32_t sc = 0; sc < 256; sc++)
            for (uint32_t dc = 0; dc < 256; dc += 3)
                for (uint32_t da : {0u, 255u}) {
                    const uint32_t s = Word(sc, 255 - sc, sc ^ 0x5A, a);
                    const uint32_t d = Word(dc, (dc * 7) & 0xFF, 255 - dc, da);
                    ASSERT_EQ(MyMixColors(s, d), ReferenceMix(s, d))
                        << std::hex << s << " over " << d;
                }
}

TEST(ReMix, EqualAlphasAnOpaqueBackgroundAndANegativeFactor)
{
    for (const auto& [mixed, background] : {std::pair{0x11223380u, 0x44556680u},
                                            {0x00000000u, 0xFFFFFF00u},
                                            {0x112233FFu, 0x445566FFu},
                                            {0x11223380u, 0x445566FFu}})
        EXPECT_EQ(ReMixColors(mixed, background), 0u) << std::hex << mixed;

    // Mixed alpha below the background's gives a factor
    // t = (51/255 - 153/255) / (1 - 153/255) = -1: alpha keeps the low 8 bits
    // of t * 255 = -255, which are 1; a channel is -10 / t + 20 = 30.
    EXPECT_EQ(ReMixColors(Word(10, 10, 10, 51), Word(20, 20, 20, 153)), Word(30, 30, 30, 1));

    World w = MakeWorld(3, 2);
    Pixel(w.get(), 0, 0) = 0x12345600; // alpha 0: t = 0
    Pixel(w.get(), 1, 0) = 0xFFFFFFFF; // opaque white: white again
    Pixel(w.get(), 2, 1) = 0x8080FF80; // half alpha, mixed with white
    RecreateColors(w.get(), 0xFFFFFF00);
    // Channel c at alpha a from white: 255 + (c - 255) / (a / 255): red 255
    // stays; green and blue 128 become 255 - 127 * 255 / 128 = 1.99 -> 1.
    EXPECT_EQ(PixelsOf(w.get()),
              (std::vector<uint32_t>{0xFFFFFF00, 0xFFFFFFFF, 0xFFFFFF00, 0xFFFFFF00, 0xFFFFFF00,
                                     Word(255, 1, 1, 128)}));
}

TEST(ReMix, UndoesAMixOverTransparentWhite)
{
    // Painting c at alpha a over transparent white and un-mixing it gives c
    // back within the rounding of the mix (half a step, magnified by 255 / a)
    // and one step of truncation, with alpha a.
    for (uint32_t a = 1; a < 256; a++) {
        for (uint32_t c = 0; c < 256; c++) {
            const uint32_t mixedChannel = (c * a + 255 * (255 - a) + 127) / 255;
            const uint32_t paint =
                ReMixColors(Word(mixedChannel, mixedChannel, mixedChannel, a), 0xFFFFFF00);
            ASSERT_EQ(paint & 0xFF, a);
            const int back = static_cast<int>(Ch(paint, 0));
            ASSERT_LE(std::abs(back - static_cast<int>(c)),
                      1 + (128 + static_cast<int>(a) - 1) / static_cast<int>(a))
                << "c " << c << " a " << a;
            // The stated formula, step by step.
            const float t = (a / 255.0f - 0.0f) / (1.0f - 0.0f);
            const float v = static_cast<float>(static_cast<int>(mixedChannel) - 255) / t + 255.0f;
            ASSERT_EQ(Ch(paint, 0), v < 0 ? 0 : v > 255 ? 255 : static_cast<uint32_t>(v));
        }
    }
}

} // namespace
