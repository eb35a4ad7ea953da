// Picture fingerprints (the 16-digit register and MD5) and the table that
// pairs them.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "fingerprints/hash_table_p.h"
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
        // Bottom row first: 0x12, 0x34, then the top row's 0x00, 0x00.
        {1, 2, {{0, 0, 0, 0}, p1234}, "0000341200000000"},
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

TEST(Fingerprint16, SeededRandomWorldsMatchTheShiftRegister)
{
    // Padding words (rows hold a multiple of four pixels) play no part. Even
    // seeds draw every byte from the values that sit on the table's steps.
    const uint8_t edges[] = {0, 3, 4, 11, 12, 19, 20, 243, 244, 251, 252, 255};
    const int sizes[][2] = {{1, 1}, {1, 9}, {9, 1}, {2, 3}, {7, 5}, {16, 16}, {33, 17}, {4092, 2}};
    for (uint32_t seed = 1; seed <= 4; seed++) {
        std::mt19937 random(seed);
        auto next = [&]() -> uint32_t {
            if (seed % 2)
                return static_cast<uint32_t>(random());
            uint32_t word = 0;
            for (int i = 0; i < 4; i++)
                word = word << 8 | edges[random() % 12];
            return word;
        };
        for (const auto& size : sizes) {
            World world = MakeWorld(size[0], size[1]);
            FillEach(world.get(), [&](int, int) { return next(); });
            for (int v = 0; v < size[1]; v++)
                for (int h = size[0]; h % 4 != 0; h++)
                    Pixel(world.get(), h, v) = next();
            EXPECT_EQ(Fingerprint16(world.get()), SlowFingerprint16(world.get()))
                << size[0] << " x " << size[1] << ", seed " << seed;
        }
    }
}

TEST(Fingerprint32, Md5OfRfc1321TextsAndBinhex)
{
    const std::pair<std::string, const char*> cases[] = {
        {"", "D41D8CD98F00B204E9800998ECF8427E"},
        {"abc", "900150983CD24FB0D6963F7D28E17F72"},
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

// A key as the host hands it in: the text's UTF-16 units, then zero units up
// to the key's length (17 for a short key, 33 for a long one).
std::vector<uint16_t> Units(const std::string& text, size_t length)
{
    std::vector<uint16_t> units(length, 0);
    for (size_t i = 0; i < text.size() && i < length; i++)
        units[i] = static_cast<uint8_t>(text[i]);
    return units;
}

std::string Hex16(uint32_t n)
{
    char text[17];
    std::snprintf(text, sizeof text, "%016X", n);
    return text;
}

std::string Hex32(uint32_t n)
{
    char text[33];
    std::snprintf(text, sizeof text, "%032X", n * 7u);
    return text;
}

void Add(const std::string& shortKey, const std::string& longKey, uint32_t value)
{
    EXPECT_EQ(AddHash(Units(shortKey, 17).data(), Units(longKey, 33).data(), value), 1);
}

// The 33 units HashTranslate writes, or "absent" when it answers 0 (and
// then the units must be untouched).
std::string Translate(const std::string& shortKey)
{
    std::vector<uint16_t> out(34, 0xBEEF);
    if (!HashTranslate(Units(shortKey, 17).data(), out.data())) {
        EXPECT_EQ(out, std::vector<uint16_t>(34, 0xBEEF));
        return "absent";
    }
    EXPECT_EQ(out[33], 0xBEEF) << "wrote past 33 units";
    std::string text;
    size_t i = 0;
    for (; i < 33 && out[i] != 0; i++)
        text += static_cast<char>(out[i]);
    for (; i < 33; i++)
        EXPECT_EQ(out[i], 0) << "unit " << i << " after the key";
    return text;
}

// Both lookups answer value (0: absent) and the short key translates to the
// long one.
void ExpectEntry(const std::string& shortKey, const std::string& longKey, uint32_t value)
{
    EXPECT_EQ(HashLookup16(Units(shortKey, 17).data()), value) << shortKey;
    EXPECT_EQ(HashLookup32(Units(longKey, 33).data()), value) << longKey;
    EXPECT_EQ(Translate(shortKey), value ? longKey : "absent");
}

class HashTable : public ::testing::Test
{
  protected:
    void SetUp() override { FreeAllHashMemory(); }
    void TearDown() override
    {
        sprig::SetHashTableRealloc(nullptr);
        FreeAllHashMemory();
    }
};

TEST_F(HashTable, HostSequenceOpenAddCloseLookUp)
{
    const std::string a = "3412000000000000", b = "0000341200000000", c = "ABCDEF0123456789";
    const std::string empty = "D41D8CD98F00B204E9800998ECF8427E",
                      abc = "900150983CD24FB0D6963F7D28E17F72",
                      one = "0CC175B9C0F1B6A831C399E269772661";
    ExpectEntry(a, empty, 0); // no table yet

    EXPECT_EQ(OpenHash(), 1);
    Add(a, empty, 17);
    Add(b, abc, 0xFFFFFFFF);
    Add(a, one, 99);  // duplicate short key
    Add(c, empty, 5); // duplicate long key
    // 17 digits in a short key and 33 in a long one leave no terminator in
    // the stored field; they still compare and translate whole.
    Add("0123456789ABCDEF0", "0123456789ABCDEF0123456789ABCDEF9", 42);
    // Lookups answer while the table is still open.
    EXPECT_EQ(HashLookup16(Units(b, 17).data()), 0xFFFFFFFFu);
    EXPECT_EQ(CloseHash(), 1);

    // Duplicates: the first entry wins, for either key.
    ExpectEntry(a, empty, 17);
    ExpectEntry(b, abc, 0xFFFFFFFF);
    EXPECT_EQ(HashLookup16(Units(c, 17).data()), 5u);
    EXPECT_EQ(HashLookup32(Units(one, 33).data()), 99u);
    ExpectEntry("0123456789ABCDEF0", "0123456789ABCDEF0123456789ABCDEF9", 42);
    // Absent keys, keys that are only a prefix of one, a short key asked as
    // a long one.
    for (const char* absent : {"3412000000000001", "341200000000000", "", "FFFFFFFFFFFFFFFF"})
        ExpectEntry(absent, a, 0);
    // Keys compare as text up to the first zero unit: what follows it in
    // the host's array does not count.
    std::vector<uint16_t> trailing = Units(c, 17);
    trailing[16] = 0;
    EXPECT_EQ(HashLookup16(trailing.data()), 5u);

    FreeAllHashMemory();
    ExpectEntry(a, empty, 0);
    ExpectEntry(b, abc, 0);
    FreeAllHashMemory(); // twice is harmless
}

TEST_F(HashTable, OnlyAnOpenTableTakesEntriesAndOpeningDiscardsTheOld)
{
    Add(Hex16(1), Hex32(1), 1); // before any OpenHash
    EXPECT_EQ(CloseHash(), 1);
    ExpectEntry(Hex16(1), Hex32(1), 0);

    OpenHash();
    Add(Hex16(1), Hex32(1), 1);
    OpenHash();
    ExpectEntry(Hex16(1), Hex32(1), 0);
    Add(Hex16(2), Hex32(2), 2);
    CloseHash();
    // After CloseHash the table is read-only and keeps its entries.
    Add(Hex16(3), Hex32(3), 3);
    ExpectEntry(Hex16(3), Hex32(3), 0);
    ExpectEntry(Hex16(2), Hex32(2), 2);
    OpenHash(); // from the closed state too
    ExpectEntry(Hex16(2), Hex32(2), 0);
    Add(Hex16(3), Hex32(3), 3);
    CloseHash();
    ExpectEntry(Hex16(3), Hex32(3), 3);
    OpenHash();
    CloseHash(); // an empty table closes and answers 0
    ExpectEntry(Hex16(3), Hex32(3), 0);
}

void* NoRoom(void*, size_t)
{
    return nullptr;
}

// Room for the first 5000 entries, none for more.
void* RoomForFiveThousand(void* block, size_t size)
{
    return size > 5000 * 64 ? nullptr : std::realloc(block, size);
}

TEST_F(HashTable, NoRoomLeavesAConsistentTable)
{
    OpenHash();
    Add(Hex16(1), Hex32(1), 1);
    sprig::SetHashTableRealloc(NoRoom);
    EXPECT_EQ(OpenHash(), 1);
    Add(Hex16(2), Hex32(2), 2);
    EXPECT_EQ(CloseHash(), 1);
    ExpectEntry(Hex16(1), Hex32(1), 0); // the old table is gone
    ExpectEntry(Hex16(2), Hex32(2), 0);

    // The table grows past 5000 entries while open; one that cannot grow
    // refuses the 5001st entry and keeps the rest.
    for (bool room : {true, false}) {
        sprig::SetHashTableRealloc(room ? nullptr : RoomForFiveThousand);
        OpenHash();
        for (uint32_t i = 0; i < 12001; i++)
            Add(Hex16(i), Hex32(i), i + 1);
        CloseHash();
        for (uint32_t i : {0u, 1u, 4999u, 5000u, 5001u, 10000u, 12000u, 12001u})
            ExpectEntry(Hex16(i), Hex32(i), i < (room ? 12001u : 5000u) ? i + 1 : 0);
    }
}

TEST(Uni2String, ConvertsUpToTheFirstZeroWithinRoom)
{
    // Only n units; what follows a zero unit does not count; other
    // characters in UTF-8, one that does not fit left off whole; an unpaired
    // surrogate becomes '?'.
    const std::tuple<std::u16string, int32_t, std::string> cases[] = {
        {u"3412000000000000", 17, "3412000000000000"},
        {u"ABC", 3, "ABC"},
        {u"ABCDEF", 3, "ABC"},
        {u"AB", 0, ""},
        {std::u16string(u"AB\0CD", 5), 5, "AB"},
        {u"A\u00E9", 3, "A\xC3\xA9"},
        {u"AB\u00E9", 3, "AB"},
        {u"\U0001F600", 4, "\xF0\x9F\x98\x80"},
        {std::u16string(u"A") + char16_t(0xD800) + u"B", 3, "A?B"},
        {std::u16string(u"A") + char16_t(0xDC00), 2, "A?"},
    };
    char out[40];
    for (const auto& [text, n, expected] : cases) {
        std::memset(out, 'x', sizeof out);
        std::vector<uint16_t> units(text.begin(), text.end());
        units.push_back(0);
        Uni2String(units.data(), out, n);
        EXPECT_EQ(std::string(out), expected);
        EXPECT_EQ(out[n + 1], 'x') << "wrote past n + 1 bytes";
    }
    std::memset(out, 'x', sizeof out);
    Uni2String(nullptr, out, 5);
    EXPECT_EQ(out[0], 0);
}

} // namespace
