// Picture::rgbaBytes hands back the pixels a picture was made from.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "sprig/sprig.hpp"

namespace {

TEST(PicturePixels, ComeBackAsTheyWentIn)
{
    // Alpha 0, 1, 254 and 255 beside one another, with colours under each,
    // a run of one colour beside literals, on an odd width; rows given with
    // padding come back without it.
    const int width = 5, height = 3, stride = 4 * width + 8;
    std::vector<uint8_t> padded(static_cast<size_t>(stride) * height, 0xEE);
    std::vector<uint8_t> expected;
    const uint8_t alphas[] = {0, 1, 254, 255, 255};
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const uint8_t pixel[4] = {static_cast<uint8_t>(40 * x), static_cast<uint8_t>(90 * y),
                                      static_cast<uint8_t>(x == 4 ? 7 : 200 + y),
                                      alphas[(x + y) % 5]};
            std::copy(pixel, pixel + 4, padded.begin() + y * stride + 4 * x);
            expected.insert(expected.end(), pixel, pixel + 4);
        }
    const sprig::Picture picture = sprig::Picture::fromRgba(padded, width, height, stride);
    EXPECT_EQ(picture.rgbaBytes(), expected);

    // Copies share the pixels; a 1 x 1 picture round-trips too.
    const sprig::Picture copy = picture;
    EXPECT_EQ(copy.rgbaBytes(), expected);
    const std::vector<uint8_t> one = {1, 2, 3, 4};
    EXPECT_EQ(sprig::Picture::fromRgba(one, 1, 1, 4).rgbaBytes(), one);
}

} // namespace
