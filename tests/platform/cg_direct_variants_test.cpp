// Every way the platform draws a row of straight alpha-first image pixels,
// against the one-pixel definition it must match.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/cg_direct_p.h"
#include "platform/cg_pixels_p.h"
#include "tests/test_util.h"

namespace {

uint32_t Defined(uint32_t image, uint32_t world)
{
    return OverWorldPixel(ImagePixelToWorld(image, kCGImageAlphaFirst), world);
}

TEST(StraightFirstRow, EachVariantRunsOnThisProcessor)
{
    std::vector<std::string> names;
    for (const StraightFirstRowVariant& v : StraightFirstRowVariants())
        names.push_back(v.name);
    ExpectVariantsOfThisProcessor(names);
}

// Rows of every length from 0 to 80, starting at every byte offset modulo
// four of the image and every word of the world modulo eight, made of
// stretches of transparent, opaque and partly transparent pixels (so that
// whole blocks of sixteen are skipped, copied or mixed): each world word
// matches the definition and the words on either side stay as they were.
TEST(StraightFirstRow, RowsOfEveryLengthMatchTheDefinition)
{
    constexpr uint32_t kGuard = 0x3C5AA5C3;
    std::mt19937 rng(515);
    for (const StraightFirstRowVariant& v : StraightFirstRowVariants())
        for (int round = 0; round < 12; round++)
            for (int width = 0; width <= 80; width++)
                for (int start = 1; start <= 8; start++) {
                    std::vector<uint32_t> image(static_cast<size_t>(width));
                    std::vector<uint32_t> world(size_t(width + 16), kGuard);
                    int mode = 0;
                    for (int i = 0; i < width; i++) {
                        if (rng() % 6 == 0)
                            mode = static_cast<int>(rng() % 4);
                        const uint32_t alpha = mode == 0   ? 0
                                               : mode == 1 ? 255
                                               : mode == 2 ? rng() & 0xFF
                                                           : (rng() & 1) * 255;
                        image[size_t(i)] = (static_cast<uint32_t>(rng()) & 0xFFFFFF00) | alpha;
                        world[size_t(start + i)] = static_cast<uint32_t>(rng());
                    }
                    const std::vector<uint32_t> before = world;
                    std::vector<uint8_t> bytes(size_t(width) * 4 + 4);
                    const size_t shift = rng() % 4;
                    if (width > 0)
                        std::memcpy(bytes.data() + shift, image.data(), size_t(width) * 4);
                    v.row(bytes.data() + shift, world.data() + start, width);
                    for (int i = 0; i < int(world.size()); i++) {
                        const bool inside = i >= start && i < start + width;
                        const uint32_t expected =
                            inside ? Defined(image[size_t(i - start)], before[size_t(i)]) : kGuard;
                        ASSERT_EQ(world[size_t(i)], expected)
                            << v.name << ": width " << width << " start " << start << " at "
                            << i - start;
                    }
                }
}

// Every alpha with every channel value over random world words, in rows of
// 256 pixels of one alpha (whole groups of one kind) and shuffled.
TEST(StraightFirstRow, EveryAlphaAndChannelMatchesTheDefinition)
{
    std::mt19937 rng(16);
    std::vector<uint32_t> image, world;
    for (uint32_t a = 0; a < 256; a++)
        for (uint32_t c = 0; c < 256; c++) {
            const uint32_t other = rng() & 0xFF;
            image.push_back((c << 24) | (other << 16) | ((c ^ 0x5A) << 8) | a);
            world.push_back(static_cast<uint32_t>(rng()));
        }
    std::vector<size_t> order(image.size());
    for (size_t i = 0; i < order.size(); i++)
        order[i] = i;
    std::shuffle(order.begin(), order.end(), rng);
    std::vector<uint32_t> shuffledImage, shuffledWorld;
    for (size_t i : order) {
        shuffledImage.push_back(image[i]);
        shuffledWorld.push_back(world[i]);
    }
    for (const StraightFirstRowVariant& v : StraightFirstRowVariants())
        for (int layout = 0; layout < 2; layout++) {
            const std::vector<uint32_t>& src = layout == 0 ? image : shuffledImage;
            const std::vector<uint32_t>& under = layout == 0 ? world : shuffledWorld;
            std::vector<uint32_t> out = under;
            for (size_t at = 0; at < src.size(); at += 256)
                v.row(reinterpret_cast<const uint8_t*>(src.data() + at), out.data() + at, 256);
            for (size_t i = 0; i < src.size(); i++)
                ASSERT_EQ(out[i], Defined(src[i], under[i]))
                    << v.name << ": image " << std::hex << src[i] << " world " << under[i];
        }
}

} // namespace
