#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "sprig/fingerprints.h"
#include "tests/test_util.h"

namespace {

std::string Fingerprint16(GWorldPtr world)
{
    char out[17];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(GetHashBitmap16(world, out), 1);
    EXPECT_EQ(out[16], 0);
    return std::string(out, strnlen(out, sizeof out));
}

std::string Md5(const std::string& text)
{
    char out[33];
    std::memset(out, 'x', sizeof out);
    EXPECT_EQ(GetHashBitmap32(text.data(), static_cast<uint32_t>(text.size()), out), out);
    EXPECT_EQ(out[32], 0);
    return std::string(out, strnlen(out, sizeof out));
}

void SetBytes(GWorldPtr world, int h, int v, uint8_t alpha, uint8_t red, uint8_t green,
              uint8_t blue)
{
    auto* bytes = reinterpret_cast<uint8_t*>(&Pixel(world, h, v));
    bytes[0] = alpha;
    bytes[1] = red;
    bytes[2] = green;
    bytes[3] = blue;
}

// The digest written out step by step as stated: a row buffer of 16-bit
// values stored high byte first, bottom row first, an array of eight bytes
// shifted one place per byte, and "%02X" per byte.
std::string SlowFingerprint16(const uint8_t* base, size_t rowBytes, int width, int height)
{
    uint8_t d[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    std::vector<uint8_t> rowBuffer(2 * static_cast<size_t>(width));
    for (int y = height - 1; y >= 0; y--) {
        for (int x = 0; x < width; x++) {
            const uint8_t* m = base + static_cast<size_t>(y) * rowBytes + 4 * x;
            const int v = (RGBToWord[m[2]] << 10) | (RGBToWord[m[1]] << 5) | RGBToWord[m[0]];
            rowBuffer[2 * x] = static_cast<uint8_t>(v >> 8);
            rowBuffer[2 * x + 1] = static_cast<uint8_t>(v & 0xFF);
        }
        for (uint8_t b : rowBuffer) {
            const uint8_t c = d[3] ^ d[4] ^ d[7] ^ b;
            for (int i = 7; i >= 1; i--)
                d[i] = d[i - 1];
            d[0] = c;
        }
    }
    char out[17];
    for (int i = 0; i < 8; i++)
        std::snprintf(out + 2 * i, 3, "%02X", d[i]);
    return out;
}

std::string SlowFingerprint16(GWorldPtr world)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    Rect b;
    GetPortBounds(world, &b);
    return SlowFingerprint16(reinterpret_cast<const uint8_t*>(GetPixBaseAddr(pm)),
                             static_cast<size_t>(GetPixRowBytes(pm)), b.right, b.bottom);
}

TEST(Fingerprint16, WorkedExamples)
{
    // Every pixel maps to 0: transparent black, and bytes below 12 whatever
    // the blue.
    World black = MakeWorld(5, 3);
    EXPECT_EQ(Fingerprint16(black.get()), "0000000000000000");
    World dim = MakeWorld(4, 2);
    for (int v = 0; v < 2; v++)
        for (int h = 0; h < 4; h++)
            SetBytes(dim.get(), h, v, 11, static_cast<uint8_t>(h), 7, 0xFF);
    EXPECT_EQ(Fingerprint16(dim.get()), "0000000000000000");

    // Bytes 164, 140, 36 give 0x1234, fed as 0x12 then 0x34.
    World one = MakeWorld(1, 1);
    SetBytes(one.get(), 0, 0, 164, 140, 36, 0x5A);
    EXPECT_EQ(Fingerprint16(one.get()), "3412000000000000");

    // Bottom row first: 0x12, 0x34, then the top row's 0x00, 0x00.
    World tall = MakeWorld(1, 2);
    SetBytes(tall.get(), 0, 1, 164, 140, 36, 0);
    EXPECT_EQ(Fingerprint16(tall.get()), "0000341200000000");
    // The same pixel in the top row is fed last.
    World tall2 = MakeWorld(1, 2);
    SetBytes(tall2.get(), 0, 0, 164, 140, 36, 0);
    EXPECT_EQ(Fingerprint16(tall2.get()), "3412000000000000");

    // The feedback taps d[3] and d[4] come into play from the fifth byte on.
    World taps = MakeWorld(3, 1);
    for (int h = 0; h < 3; h++)
        SetBytes(taps.get(), h, 0, 12, 0, 12, 0); // value 0x0401: bytes 0x04, 0x01
    // Bytes fed: 04 01 04 01 04 01.
    // d after each: [04] [01 04] [04 01 04] [01 04 01 04]
    // 5th: c = d3(04) ^ d4(00) ^ d7 ^ 04 = 00 -> [00 01 04 01 04]
    // 6th: c = d3(01) ^ d4(04) ^ 01 = 04 -> [04 00 01 04 01 04]
    EXPECT_EQ(Fingerprint16(taps.get()), "0400010401040000");

    EXPECT_EQ(Fingerprint16(nullptr), "0000000000000000");
}

TEST(Fingerprint16, AlphaRedGreenCountBlueDoesNot)
{
    std::mt19937 random(7);
    World world = MakeWorld(9, 6);
    FillRandom(world.get(), random);
    SetBytes(world.get(), 4, 3, 0, 100, 100, 100);
    const std::string base = Fingerprint16(world.get());

    SetBytes(world.get(), 4, 3, 0, 100, 100, 255); // only blue changes
    EXPECT_EQ(Fingerprint16(world.get()), base);
    SetBytes(world.get(), 4, 3, 255, 100, 100, 100); // only alpha changes
    EXPECT_NE(Fingerprint16(world.get()), base);
    SetBytes(world.get(), 4, 3, 0, 200, 100, 100); // only red changes
    EXPECT_NE(Fingerprint16(world.get()), base);
    SetBytes(world.get(), 4, 3, 0, 100, 0, 100); // only green changes
    EXPECT_NE(Fingerprint16(world.get()), base);
    // Changes within one 5-bit step do not count: 100 and 103 both reduce to 12.
    SetBytes(world.get(), 4, 3, 0, 103, 100, 100);
    EXPECT_EQ(Fingerprint16(world.get()), base);
}

TEST(Fingerprint16, RowPaddingPlaysNoPart)
{
    std::mt19937 random(11);
    // 3 pixels wide: rows are padded to 16 bytes, one word of padding.
    World world = MakeWorld(3, 4);
    FillRandom(world.get(), random);
    PixMapHandle pm = GetGWorldPixMap(world.get());
    ASSERT_GT(GetPixRowBytes(pm), 12);
    const std::string clean = Fingerprint16(world.get());
    for (int v = 0; v < 4; v++)
        Pixel(world.get(), 3, v) = 0xDEADBEEF;
    EXPECT_EQ(Fingerprint16(world.get()), clean);

    // The same pixels in a world over memory with far longer rows.
    const int32_t wideRowBytes = 64;
    std::vector<uint32_t> memory(static_cast<size_t>(wideRowBytes / 4) * 4, 0xA5A5A5A5u);
    for (int v = 0; v < 4; v++)
        for (int h = 0; h < 3; h++)
            memory[static_cast<size_t>(v * wideRowBytes / 4 + h)] = Pixel(world.get(), h, v);
    GWorldPtr over = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, 3, 4);
    ASSERT_EQ(NewGWorldFromPtr(&over, 32, &bounds, nullptr, nullptr, 0,
                               reinterpret_cast<Ptr>(memory.data()), wideRowBytes),
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
            SetBytes(world.get(), h, v, edges[random() % 12], edges[random() % 12],
                     edges[random() % 12], edges[random() % 12]);
    EXPECT_EQ(Fingerprint16(world.get()), SlowFingerprint16(world.get()));
}

TEST(Fingerprint32, Md5OfRfc1321Texts)
{
    EXPECT_EQ(Md5(""), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(Md5("a"), "0CC175B9C0F1B6A831C399E269772661");
    EXPECT_EQ(Md5("abc"), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(Md5("message digest"), "F96B697D7CB7938D525A2F31AAF161D0");
    EXPECT_EQ(Md5("abcdefghijklmnopqrstuvwxyz"), "C3FCD3D76192E4007DFB496CCA67E13B");
    EXPECT_EQ(Md5("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789"),
              "D174AB98D277D9F5A5611C2C9F419D9F");
    EXPECT_EQ(Md5("1234567890123456789012345678901234567890123456789012345678901234567890"
                  "1234567890"),
              "57EDF4A22BE3C955AC49DA2E2107B67A");
    // Bytes past length play no part, and zero bytes count.
    const char withZero[] = {'a', 'b', 'c', 0, 'x'};
    char out[33];
    EXPECT_EQ(std::string(GetHashBitmap32(withZero, 3, out)), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_NE(std::string(GetHashBitmap32(withZero, 4, out)), "900150983CD24FB0D6963F7D28E17F72");
    EXPECT_EQ(std::string(GetHashBitmap32(nullptr, 0, out)), "D41D8CD98F00B204E9800998ECF8427E");
}

TEST(Fingerprint32, BinhexWritesTwoUppercaseDigits)
{
    unsigned char out[3] = {'x', 'x', 'x'};
    binhex(out, 0xAB);
    EXPECT_EQ(out[0], 'A');
    EXPECT_EQ(out[1], 'B');
    EXPECT_EQ(out[2], 'x');
    binhex(out, 0x0F);
    EXPECT_EQ(out[0], '0');
    EXPECT_EQ(out[1], 'F');
    for (int b = 0; b < 256; b++) {
        char expected[3];
        std::snprintf(expected, sizeof expected, "%02X", b);
        binhex(out, static_cast<unsigned char>(b));
        EXPECT_EQ(out[0], expected[0]) << b;
        EXPECT_EQ(out[1], expected[1]) << b;
    }
}

} // namespace
