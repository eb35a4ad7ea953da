// Every variant of the row blend, and MixColorsRow itself, against the
// library's one blend pixel by pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "paint/blend_row_p.h"
#include "sprig/blend.h"
#include "tests/test_util.h"

namespace {

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
