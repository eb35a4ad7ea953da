// Every way the platform draws a row of straight alpha-first image pixels,
// against the one-pixel definition it must match.
#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "platform/cg_direct_p.h"
#include "tests/platform/cg_fixture.h"

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
                        const uint32_t alpha =
                            mode == 3 ? (rng() & 1) * 255 : RandomAlpha(rng, mode);
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
                        ASSERT_EQ(world[size_t(i)],
                                  inside ? Defined(image[size_t(i - start)], before[size_t(i)])
                                         : kGuard)
                            << v.name << ": width " << width << " start " << start << " at "
                            << i - start;
                    }
                }
}

// Every alpha with every channel value over random world words, in rows of
// 256 pixels of one alpha (whole groups of one kind), then shuffled.
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
    for (int layout = 0; layout < 2; layout++) {
        if (layout == 1) {
            // The same order for both: two generators in the same state.
            std::mt19937 first(rng), second(rng);
            std::shuffle(image.begin(), image.end(), first);
            std::shuffle(world.begin(), world.end(), second);
        }
        for (const StraightFirstRowVariant& v : StraightFirstRowVariants()) {
            std::vector<uint32_t> out = world;
            for (size_t at = 0; at < image.size(); at += 256)
                v.row(reinterpret_cast<const uint8_t*>(image.data() + at), out.data() + at, 256);
            for (size_t i = 0; i < image.size(); i++)
                ASSERT_EQ(out[i], Defined(image[i], world[i]))
                    << v.name << ": image " << std::hex << image[i] << " world " << world[i];
        }
    }
}

} // namespace
