#include <array>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "sprig/fingerprints.h"
#include "tests/test_util.h"

namespace {

using Bytes = std::array<uint8_t, 4>; // alpha, red, green, blue as stored

std::string Fingerprint16(GWorldPtr world)
{
    char out[17];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(GetHashBitmap16(world, out), 1);
    EXPECT_EQ(out[16], 0);
    return std::string(out, strnlen(out, sizeof out));
}

void SetBytes(GWorldPtr world, int h, int v, const Bytes& bytes)
{
    std::memcpy(&Pixel(world, h, v), bytes.data(), 4);
}

// The digest written out step by step: a row buffer of 16-bit values stored
// high byte first, bottom row first, an array of eight bytes shifted one
// place per byte, and "%02X" per byte.
std::string SlowFingerprint16(GWorldPtr world)
{
    Rect b;
    GetPortBounds(world, &b);
    uint8_t d[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<uint8_t> rowBuffer(2 * static_cast<size_t>(b.right));
    for (int y = b.bottom - 1; y >= 0; y--) {
        for (int x = 0; x < b.right; x++) {
            const auto* m = reinterpret_cast<const uint8_t*>(&Pixel(world, x, y));
            const int v = (RGBToWord[m[2]] << 10) | (RGBToWord[m[1]] << 5) | RGBToWord[m[0]];
            rowBuffer[2 * x] = static_cast<uint8_t>(v >> 8);
            rowBuffer[2 * x + 1] = static_cast<uint8_t>(v & 0xFF);
        }
        for (uint8_t byte : rowBuffer) {
            const uint8_t c = d[3] ^ d[4] ^ d[7] ^ byte;
            std::memmove(d + 1, d, 7);
            d[0] = c;
        }
    }
    char out[17];
    for (int i = 0; i < 8; i++)
        std::snprintf(out + 2 * i, 3, "%02X", d[i]);
    return out;
}

TEST(Fingerprint16, WorkedExamples)
{
    struct Case
    {
        int width, height;
        std::vector<Bytes> pixels; // row by row; the rest stay 0
        const char* digest;
    };
    const Bytes p1234 = {164, 140, 36, 0x5A}; // 0x1234, fed as 0x12 then 0x34
    const Case cases[] = {
        {5, 3, {}, "0000000000000000"},
        // Bytes below 12 reduce to 0 whatever the blue.
        {2, 1, {{11, 0, 7, 0xFF}, {11, 3, 7, 0xFF}}, "0000000000000000"},
        {1, 1, {p1234}, "3412000000000000"},
        // Bottom row first: 0x12, 0x34, then the top row's 0x00, 0x00.
        {1, 2, {{0, 0, 0, 0}, p1234}, "0000341200000000"},
        {1, 2, {p1234}, "3412000000000000"},
        // 0x0401 three times: bytes 04 01 04 01 04 01. The feedback taps d[3]
        // and d[4] come into play from the fifth byte on:
        // [04] [01 04] [04 01 04] [01 04 01 04]
        // 5th: c = d3(04) ^ d4(00) ^ d7 ^ 04 = 00 -> [00 01 04 01 04]
        // 6th: c = d3(01) ^ d4(04) ^ 01 = 04 -> [04 00 01 04 01 04]
        {3, 1, {{12, 0, 12, 0}, {12, 0, 12, 0}, {12, 0, 12, 0}}, "0400010401040000"},
    };
    for (const Case& c : cases) {
        World world = MakeWorld(c.width, c.height);
        for (size_t i = 0; i < c.pixels.size(); i++)
            SetBytes(world.get(), static_cast<int>(i) % c.width, static_cast<int>(i) / c.width,
                     c.pixels[i]);
        EXPECT_EQ(Fingerprint16(world.get()), c.digest) << c.width << " x " << c.height;
    }
    EXPECT_EQ(Fingerprint16(nullptr), "0000000000000000");
}

TEST(Fingerprint16, AlphaRedGreenCountBlueAndPaddingDoNot)
{
    World world = MakeWorld(9, 6);
    FillRandom(world.get(), 7);
    SetBytes(world.get(), 4, 3, {0, 100, 100, 100});
    const std::string base = Fingerprint16(world.get());
    // 100 and 103 both reduce to 12: a change within one 5-bit step.
    const std::pair<Bytes, bool> changes[] = {{{0, 100, 100, 255}, true},
                                              {{255, 100, 100, 100}, false},
                                              {{0, 200, 100, 100}, false},
                                              {{0, 100, 0, 100}, false},
                                              {{0, 103, 100, 100}, true}};
    for (const auto& [bytes, same] : changes) {
        SetBytes(world.get(), 4, 3, bytes);
        EXPECT_EQ(Fingerprint16(world.get()) == base, same) << int(bytes[0]) << int(bytes[1]);
    }

    // 3 pixels wide: rows are padded to 16 bytes, one word of padding.
    World narrow = MakeWorld(3, 4);
    FillRandom(narrow.get(), 11);
    ASSERT_GT(GetPixRowBytes(GetGWorldPixMap(narrow.get())), 12);
    const std::string clean = Fingerprint16(narrow.get());
    for (int v = 0; v < 4; v++)
        Pixel(narrow.get(), 3, v) = 0xDEADBEEF;
    EXPECT_EQ(Fingerprint16(narrow.get()), clean);
    // The same pixels in a world over memory with far longer rows.
    std::vector<uint32_t> memory(16 * 4, 0xA5A5A5A5u);
    for (int v = 0; v < 4; v++)
        for (int h = 0; h < 3; h++)
            memory[static_cast<size_t>(v * 16 + h)] = Pixel(narrow.get(), h, v);
    GWorldPtr over = nullptr;
    Rect bounds = R(0, 0, 3, 4);
    ASSERT_EQ(NewGWorldFromPtr(&over, 32, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(memory.data()), 64),
              noErr);
    World owner(over);
    EXPECT_EQ(Fingerprint16(over), clean);
}

TEST(Fingerprint16, SeededRandomWorldsMatchTheShiftRegister)
{
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {2, 3}, {7, 5}, {16, 16}, {33, 17}, {4092, 2}};
    for (uint32_t seed = 1; seed <= 4; seed++) {
        std::mt19937 random(seed);
        for (const auto& size : sizes) {
            World world = MakeWorld(size[0], size[1]);
            FillRandom(world.get(), random);
            EXPECT_EQ(Fingerprint16(world.get()), SlowFingerprint16(world.get()))
                << size[0] << " x " << size[1] << ", seed " << seed;
        }
    }
    // Random bytes drawn from the values that sit on the table's steps.
    std::mt19937 random(99);
    const uint8_t edges[] = {0, 3, 4, 11, 12, 19, 20, 243, 244, 251, 252, 255};
    World world = MakeWorld(31, 13);
    for (int v = 0; v < 13; v++)
        for (int h = 0; h < 31; h++)
            SetBytes(world.get(), h, v,
                     {edges[random() % 12], edges[random() % 12], edges[random() % 12],
                      edges[random() % 12]});
    EXPECT_EQ(Fingerprint16(world.get()), SlowFingerprint16(world.get()));
}

TEST(Fingerprint32, Md5OfRfc1321TextsAndBinhex)
{
    const std::pair<std::string, const char*> cases[] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"a", "0CC175B9C0F1B6A831C399E269772661"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
        {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
        {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "D174AB98D277D9F5A5611C2C9F419D9F"},
        {"1234567890123456789012345678901234567890123456789012345678901234567890"
         "1234567890",
         "57EDF4A22BE3C955AC49DA2E2107B67A"},
    };
    char out[33];
    for (const auto& [text, digest] : cases) {
        std::memset(out, 'x', sizeof out);
        EXPECT_EQ(GetHashBitmap32(text.data(), static_cast<uint32_t>(text.size()), out), out);
        EXPECT_STREQ(out, digest) << text;
    }
    // Bytes past length play no part, and zero bytes count.
    const char withZero[] = {'a', 'b', 'c', 0, 'x'};
    EXPECT_STREQ(GetHashBitmap32(withZero, 3, out), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_STRNE(GetHashBitmap32(withZero, 4, out), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_STREQ(GetHashBitmap32(nullptr, 0, out), "D41D8CD98F00B204E9800998ECF8427E");

    unsigned char two[3] = {'x', 'x', 'x'};
    for (int b = 0; b < 256; b++) {
        char expected[3];
        std::snprintf(expected, sizeof expected, "%02X", b);
        binhex(two, static_cast<unsigned char>(b));
        EXPECT_EQ(std::string(two, two + 3), std::string(expected) + "x") << b;
    }
}

} // namespace
