#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fingerprints/hash_table_p.h"
#include "sprig/fingerprints.h"

namespace {

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
    // Lookups answer while the table is still open.
    EXPECT_EQ(HashLookup16(Units(b, 17).data()), 0xFFFFFFFFu);
    EXPECT_EQ(CloseHash(), 1);

    // Duplicates: the first entry wins, for either key.
    ExpectEntry(a, empty, 17);
    ExpectEntry(b, abc, 0xFFFFFFFF);
    EXPECT_EQ(HashLookup16(Units(c, 17).data()), 5u);
    EXPECT_EQ(HashLookup32(Units(one, 33).data()), 99u);
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

    FreeAllHashMemory();
    Add(Hex16(4), Hex32(4), 4);
    ExpectEntry(Hex16(4), Hex32(4), 0);
}

TEST_F(HashTable, GrowsPastFiveThousandWhileOpen)
{
    OpenHash();
    for (uint32_t i = 0; i < 12001; i++)
        Add(Hex16(i), Hex32(i), i + 1);
    CloseHash();
    for (uint32_t i : {0u, 1u, 4998u, 4999u, 5000u, 5001u, 9999u, 10000u, 12000u})
        ExpectEntry(Hex16(i), Hex32(i), i + 1);
    ExpectEntry(Hex16(12001), Hex32(12001), 0);
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
    FreeAllHashMemory();

    // With room again, the table works as before.
    sprig::SetHashTableRealloc(nullptr);
    OpenHash();
    Add(Hex16(2), Hex32(2), 2);
    ExpectEntry(Hex16(2), Hex32(2), 2);

    // A table that cannot grow refuses the 5001st entry and keeps the rest.
    sprig::SetHashTableRealloc(RoomForFiveThousand);
    OpenHash();
    for (uint32_t i = 0; i < 5001; i++)
        Add(Hex16(i), Hex32(i), i + 1);
    CloseHash();
    ExpectEntry(Hex16(0), Hex32(0), 1);
    ExpectEntry(Hex16(4999), Hex32(4999), 5000);
    ExpectEntry(Hex16(5000), Hex32(5000), 0);
}

TEST_F(HashTable, KeysThatFillTheirWholeField)
{
    // 17 digits in a short key and 33 in a long one leave no terminator in
    // the stored field; they still compare and translate whole.
    OpenHash();
    Add("0123456789ABCDEF0", "0123456789ABCDEF0123456789ABCDEF9", 42);
    Add("FEDCBA9876543210", Hex32(7), 7);
    CloseHash();
    ExpectEntry("0123456789ABCDEF0", "0123456789ABCDEF0123456789ABCDEF9", 42);
    ExpectEntry("FEDCBA9876543210", Hex32(7), 7);
}

TEST(Uni2String, ConvertsUpToTheFirstZeroWithinRoom)
{
    char out[40];
    auto convert = [&out](const std::u16string& text, int32_t n) {
        std::memset(out, 'x', sizeof out);
        std::vector<uint16_t> units(text.begin(), text.end());
        units.push_back(0);
        Uni2String(units.data(), out, n);
        EXPECT_EQ(out[n + 1], 'x') << "wrote past n + 1 bytes";
        return std::string(out);
    };
    EXPECT_EQ(convert(u"3412000000000000", 17), "3412000000000000");
    EXPECT_EQ(convert(u"ABC", 3), "ABC");
    EXPECT_EQ(convert(u"ABCDEF", 3), "ABC"); // only n units
    EXPECT_EQ(convert(u"AB", 0), "");
    // What follows a zero unit does not count.
    EXPECT_EQ(convert(std::u16string(u"AB\0CD", 5), 5), "AB");
    // Other characters in UTF-8; one that does not fit is left off whole.
    EXPECT_EQ(convert(u"A\u00E9", 3), "A\xC3\xA9");
    EXPECT_EQ(convert(u"AB\u00E9", 3), "AB");
    EXPECT_EQ(convert(u"\U0001F600", 4), "\xF0\x9F\x98\x80");
    // An unpaired surrogate becomes '?'.
    EXPECT_EQ(convert(std::u16string(u"A") + char16_t(0xD800) + u"B", 3), "A?B");
    EXPECT_EQ(convert(std::u16string(u"A") + char16_t(0xDC00), 2), "A?");

    std::memset(out, 'x', sizeof out);
    Uni2String(nullptr, out, 5);
    EXPECT_EQ(out[0], 0);
}

} // namespace
