#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "sprig/blend.h"
#include "sprig/transfer.h"
#include "tests/test_util.h"
#include "transfer/transfer_p.h"

namespace {

struct Alerts
{
    std::vector<std::string> texts;
    static void Record(void* info, int16_t type, const char* error, const char* explanation)
    {
        auto* self = static_cast<Alerts*>(info);
        self->texts.push_back(std::to_string(type) + "|" + error + "|" + explanation);
    }
};

bool IsLocked(GWorldPtr world)
{
    return GetPixelsState(GetGWorldPixMap(world)) & pixelsLocked;
}

TEST(Transfer, RawCopiesPlaceTheSourceRectangleAtTheCorner)
{
    World src = MakeWorld(6, 5);
    FillNumbered(src.get(), 3);
    std::vector<uint32_t> buffer(10 * 6, 0xABABABAB);
    Rect s = R(1, 2, 4, 4);
    Rect d = R(5, 1, 6, 2); // only the top-left corner counts
    FoolCopyBitsToBuffer(src.get(), buffer.data(), 10, &s, &d);
    for (int v = 0; v < 6; v++)
        for (int h = 0; h < 10; h++) {
            const bool inside = v >= 1 && v < 3 && h >= 5 && h < 8;
            EXPECT_EQ(buffer[v * 10 + h], inside ? Pixel(src.get(), h - 4, v + 1) : 0xABABABABu)
                << h << "," << v;
        }
    EXPECT_FALSE(IsLocked(src.get()));

    // A source rectangle whose right lies left of its left copies nothing.
    const std::vector<uint32_t> before = buffer;
    Rect inverted = R(4, 2, 1, 4);
    FoolCopyBitsToBuffer(src.get(), buffer.data(), 10, &inverted, &d);
    EXPECT_EQ(buffer, before);

    World dst = MakeWorld(5, 5);
    Rect d2 = R(2, 3, 2, 3);
    FoolCopyBits(src.get(), dst.get(), &s, &d2);
    EXPECT_EQ(Pixel(dst.get(), 2, 3), Pixel(src.get(), 1, 2));
    EXPECT_EQ(Pixel(dst.get(), 4, 4), Pixel(src.get(), 3, 3));
    EXPECT_EQ(Pixel(dst.get(), 1, 3), 0u);
    EXPECT_FALSE(IsLocked(dst.get()));
}

TEST(Transfer, AlphaOperations)
{
    World w = MakeWorld(3, 2);
    Pixel(w.get(), 0, 0) = 0x112233FF;
    Pixel(w.get(), 1, 0) = 0x445566C8; // alpha 200
    Pixel(w.get(), 2, 0) = 0x77889901;
    Pixel(w.get(), 0, 1) = 0xFFFFFF00;
    ResetAlpha(w.get(), 255);
    EXPECT_EQ(Pixel(w.get(), 1, 0), 0x445566C8u);
    EXPECT_EQ(Pixel(w.get(), 2, 0), 0x77889901u);
    ResetAlpha(w.get(), 128);
    EXPECT_EQ(Pixel(w.get(), 0, 0), 0x11223380u);
    EXPECT_EQ(Pixel(w.get(), 1, 0), 0x44556664u); // 200 -> 100
    EXPECT_EQ(Pixel(w.get(), 2, 0), 0x77889900u);
    ResetAlpha(w.get(), 0);
    EXPECT_EQ(Pixel(w.get(), 0, 0), 0x11223300u);
    EXPECT_EQ(Pixel(w.get(), 1, 0), 0x44556600u);

    World src = MakeWorld(3, 2);
    FillNumbered(src.get(), 11);
    World dst = MakeWorld(3, 2);
    FillNumbered(dst.get(), 29);
    const uint32_t before = Pixel(dst.get(), 2, 1);
    CopyAlpha(src.get(), dst.get());
    EXPECT_EQ(Pixel(dst.get(), 2, 1), (before & 0xFFFFFF00) | (Pixel(src.get(), 2, 1) & 0xFF));
    EXPECT_FALSE(IsLocked(src.get()) || IsLocked(dst.get()));
}

TEST(Transfer, FillWritesEveryWordOfEveryRowPaddingIncluded)
{
    World w = MakeWorld(3, 2); // rows of 16 bytes: 4 words
    ASSERT_EQ(GetPixRowBytes(GetGWorldPixMap(w.get())), 16);
    FillOffscreen(w.get(), 0xFFFFFF00);
    auto* words = reinterpret_cast<uint32_t*>(GetPixBaseAddr(GetGWorldPixMap(w.get())));
    for (int i = 0; i < 8; i++)
        EXPECT_EQ(words[i], 0xFFFFFF00u) << i;
}

TEST(Transfer, CopyTransparentLowersAlphaUnderTheKeyOnly)
{
    const uint32_t key = 0xFFF8FF00;
    World src = MakeWorld(3, 1);
    Pixel(src.get(), 0, 0) = key;
    Pixel(src.get(), 1, 0) = key | 0x01; // differs only in alpha: no match
    Pixel(src.get(), 2, 0) = key;
    World dst = MakeWorld(3, 1);
    for (int h = 0; h < 3; h++)
        Pixel(dst.get(), h, 0) = 0x123456FF;
    Pixel(dst.get(), 2, 0) = 0x12345680;
    CopyTransparent(src.get(), dst.get(), key, 0);
    EXPECT_EQ(Pixel(dst.get(), 0, 0), 0x123456FEu); // 255 * 255 >> 8
    EXPECT_EQ(Pixel(dst.get(), 1, 0), 0x123456FFu);
    EXPECT_EQ(Pixel(dst.get(), 2, 0), 0x1234567Fu);
    CopyTransparent(src.get(), dst.get(), key, 255);
    EXPECT_EQ(Pixel(dst.get(), 0, 0), 0x12345600u);
    EXPECT_EQ(Pixel(dst.get(), 1, 0), 0x123456FFu);
    EXPECT_EQ(Pixel(dst.get(), 2, 0), 0x12345600u);
}

TEST(Transfer, CopyBitsAlphaTransparentFillsOnlyAlphaZero)
{
    World src = MakeWorld(4, 3);
    Pixel(src.get(), 1, 1) = 0x12345601;
    Pixel(src.get(), 2, 1) = 0xFFFFFF00;
    Pixel(src.get(), 1, 2) = 0xAABBCCFF;
    Pixel(src.get(), 2, 2) = 0x00000000;
    World dst = MakeWorld(5, 5);
    FillNumbered(dst.get(), 5);
    const uint32_t outside = Pixel(dst.get(), 2, 2);
    CopyBitsAlphaTransparent(dst.get(), 3, 3, 2, 2, src.get(), 1, 1, 0xCAFEBABE);
    EXPECT_EQ(Pixel(dst.get(), 3, 3), 0x12345601u);
    EXPECT_EQ(Pixel(dst.get(), 4, 3), 0xCAFEBABEu);
    EXPECT_EQ(Pixel(dst.get(), 3, 4), 0xAABBCCFFu);
    EXPECT_EQ(Pixel(dst.get(), 4, 4), 0xCAFEBABEu);
    EXPECT_EQ(Pixel(dst.get(), 2, 2), outside);
}

TEST(Transfer, CopyRawCompositesClipsAndAlertsOnSizeMismatch)
{
    Alerts alerts;
    SetStandardAlertHandler(&Alerts::Record, &alerts);
    std::vector<uint32_t> buffer(12 * 12);
    std::mt19937 rng(7);
    for (uint32_t& p : buffer)
        p = rng();
    World dst = MakeWorld(10, 10);
    FillNumbered(dst.get(), 1);
    World before = MakeWorld(10, 10);
    FillNumbered(before.get(), 1);

    Rect s = R(0, 0, 10, 10);
    Rect d = R(0, 0, 10, 11);
    MyCGCopyRaw(buffer.data(), 12, dst.get(), &s, &d, 4, false, false);
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++)
            ASSERT_EQ(Pixel(dst.get(), h, v), Pixel(before.get(), h, v));
    ASSERT_EQ(alerts.texts.size(), 1u);
    EXPECT_EQ(alerts.texts[0], "0|Unhandled exception occurred while drawing an image. Some "
                               "graphic may not be shown as expected.|Please, submit your action "
                               "log to R&D.");

    // Half outside the world: the inside half is composited from the
    // matching part of the source.
    s = R(1, 2, 9, 8);
    d = R(-4, 5, 4, 11);
    MyCGCopyRaw(buffer.data(), 12, dst.get(), &s, &d, 4, false, false);
    for (int v = 0; v < 10; v++)
        for (int h = 0; h < 10; h++) {
            uint32_t expected = Pixel(before.get(), h, v);
            if (h < 4 && v >= 5)
                expected = MyMixColors(buffer[(v - 5 + 2) * 12 + (h + 4 + 1)], expected);
            ASSERT_EQ(Pixel(dst.get(), h, v), expected) << h << "," << v;
        }
    EXPECT_EQ(alerts.texts.size(), 1u);
    EXPECT_FALSE(IsLocked(dst.get()));
    SetStandardAlertHandler(nullptr, nullptr);
}

TEST(Transfer, CopyBmBmBgReplicatesAndRestoresThePort)
{
    World src = MakeWorld(2, 2);
    FillNumbered(src.get(), 9);
    World dst = MakeWorld(6, 6);
    World other = MakeWorld(1, 1);
    SetGWorld(other.get(), nullptr);
    const RGBColor red = {0xFFFF, 0, 0};
    RGBForeColor(&red);
    RGBColor white = {0xFFFF, 0xFFFF, 0xFFFF};
    Rect s = R(0, 0, 2, 2);
    Rect d = R(0, 0, 6, 6);
    LockPixels(GetGWorldPixMap(dst.get()));
    CopyBmBmBg(src.get(), dst.get(), &s, &d, srcCopy, nullptr, &white);
    for (int v = 0; v < 6; v++)
        for (int h = 0; h < 6; h++)
            ASSERT_EQ(Pixel(dst.get(), h, v), Pixel(src.get(), h / 3, v / 3));
    GrafPtr port = nullptr;
    GetPort(&port);
    EXPECT_EQ(port, other.get());
    RGBColor fore;
    GetForeColor(&fore);
    EXPECT_EQ(fore.red, 0xFFFF);
    EXPECT_FALSE(IsLocked(dst.get()) || IsLocked(src.get()));
    SetGWorld(nullptr, nullptr);
}

TEST(Transfer, ReducedRectCountsUniformBorders)
{
    std::vector<uint16_t> image(8 * 4, 0x1234); // 6 wide, rows 16 bytes apart
    uint32_t out[2] = {99, 99};
    EXPECT_EQ(ReducedRect(out, image.data(), 16, 6, 4), 1);
    EXPECT_EQ(out[0], 3u);
    EXPECT_EQ(out[1], 2u);

    image[2 * 8 + 1] = 0x0001; // column 1, row 2
    ReducedRect(out, image.data(), 16, 6, 4);
    EXPECT_EQ(out[0], 1u);
    EXPECT_EQ(out[1], 1u);

    std::fill(image.begin(), image.end(), 0x1234);
    image[5] = 0x0001; // column 5, row 0
    ReducedRect(out, image.data(), 16, 6, 4);
    EXPECT_EQ(out[0], 0u);
    EXPECT_EQ(out[1], 0u);

    // No rows: every column pair counts and no pixel is read.
    ReducedRect(out, nullptr, 16, 7, 0);
    EXPECT_EQ(out[0], 3u);
    EXPECT_EQ(out[1], 0u);
}

TEST(MixColorsRow, MatchesThePlainBlendOnMillionsOfPixels)
{
    std::mt19937 rng(99);
    std::vector<uint32_t> src(67), fast(67), plain(67);
    for (int round = 0; round < 150000; round++) {
        const int count = static_cast<int>(rng() % 68);
        // Runs of four share an alpha mode, so whole groups of opaque,
        // transparent and mixed sources and destinations all occur.
        int srcMode = 0, dstMode = 0;
        for (int i = 0; i < count; i++) {
            if (i % 4 == 0) {
                srcMode = static_cast<int>(rng() % 4);
                dstMode = static_cast<int>(rng() % 4);
            }
            src[size_t(i)] = (rng() & 0xFFFFFF00) | RandomAlpha(rng, srcMode);
            fast[size_t(i)] = plain[size_t(i)] = (rng() & 0xFFFFFF00) | RandomAlpha(rng, dstMode);
        }
        MixColorsRow(src.data(), fast.data(), count);
        for (int i = 0; i < count; i++)
            plain[size_t(i)] = MyMixColors(src[size_t(i)], plain[size_t(i)]);
        for (int i = 0; i < count; i++)
            ASSERT_EQ(fast[size_t(i)], plain[size_t(i)])
                << std::hex << src[size_t(i)] << " round " << std::dec << round << " at " << i;
    }
}

} // namespace
