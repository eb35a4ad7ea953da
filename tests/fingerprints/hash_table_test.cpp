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
// to the key's length.
std::vector<uint16_t> Units(const std::u16string& text, size_t length)
{
    std::vector<uint16_t> units(length, 0);
    for (size_t i = 0; i < text.size() && i < length; i++)
        units[i] = text[i];
    return units;
}

std::vector<uint16_t> ShortKey(const std::string& digits)
{
    return Units(std::u16string(digits.begin(), digits.end()), 17);
}

std::vector<uint16_t> LongKey(const std::string& digits)
{
    return Units(std::u16string(digits.begin(), digits.end()), 33);
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

void Add(const std::string& shortDigits, const std::string& longDigits, uint32_t value)
{
    EXPECT_EQ(AddHash(ShortKey(shortDigits).data(), LongKey(longDigits).data(), value), 1);
}

uint32_t Lookup16(const std::string& digits)
{
    return HashLookup16(ShortKey(digits).data());
}

uint32_t Lookup32(const std::string& digits)
{
    return HashLookup32(LongKey(digits).data());
}

// The 33 units HashTranslate writes, or "absent" when it answers 0 (and
// then the units must be untouched).
std::string Translate(const std::string& digits)
{
    std::vector<uint16_t> out(34, 0xBEEF);
    if (!HashTranslate(ShortKey(digits).data(), out.data())) {
        for (uint16_t unit : out)
            EXPECT_EQ(unit, 0xBEEF);
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
    // No table yet: every lookup answers 0.
    EXPECT_EQ(Lookup16("3412000000000000"), 0u);
    EXPECT_EQ(Lookup32("D41D8CD98F00B204E9800998ECF8427E"), 0u);
    EXPECT_EQ(Translate("3412000000000000"), "absent");

    EXPECT_EQ(OpenHash(), 1);
    Add("3412000000000000", "D41D8CD98F00B204E9800998ECF8427E", 17);
    Add("0000341200000000", "900150983CD24FB0D6963F7D28E17F72", 0xFFFFFFFF);
    Add("3412000000000000", "0CC175B9C0F1B6A831C399E269772661", 99); // duplicate short key
    Add("ABCDEF0123456789", "D41D8CD98F00B204E9800998ECF8427E", 5);  // duplicate long key
    // Lookups answer while the table is still open.
    EXPECT_EQ(Lookup16("0000341200000000"), 0xFFFFFFFFu);
    EXPECT_EQ(CloseHash(), 1);

    // Duplicates: the first entry wins, for either key.
    EXPECT_EQ(Lookup16("3412000000000000"), 17u);
    EXPECT_EQ(Lookup32("D41D8CD98F00B204E9800998ECF8427E"), 17u);
    EXPECT_EQ(Lookup16("ABCDEF0123456789"), 5u);
    EXPECT_EQ(Lookup32("0CC175B9C0F1B6A831C399E269772661"), 99u);
    EXPECT_EQ(Lookup32("900150983CD24FB0D6963F7D28E17F72"), 0xFFFFFFFFu);
    EXPECT_EQ(Translate("3412000000000000"), "D41D8CD98F00B204E9800998ECF8427E");
    EXPECT_EQ(Translate("0000341200000000"), "900150983CD24FB0D6963F7D28E17F72");

    // Absent keys, keys that are only a prefix of one, a short key asked as
    // a long one.
    EXPECT_EQ(Lookup16("3412000000000001"), 0u);
    EXPECT_EQ(Lookup16("341200000000000"), 0u);
    EXPECT_EQ(Lookup16(""), 0u);
    EXPECT_EQ(Lookup32("3412000000000000"), 0u);
    EXPECT_EQ(Translate("FFFFFFFFFFFFFFFF"), "absent");

    // Keys compare as text up to the first zero unit: what follows it in
    // the host's array does not count.
    std::vector<uint16_t> trailing = ShortKey("ABCDEF0123456789");
    trailing[16] = 0;
    EXPECT_EQ(HashLookup16(trailing.data()), 5u);

    FreeAllHashMemory();
    EXPECT_EQ(Lookup16("3412000000000000"), 0u);
    EXPECT_EQ(Lookup16("0000341200000000"), 0u);
    EXPECT_EQ(Lookup32("900150983CD24FB0D6963F7D28E17F72"), 0u);
    EXPECT_EQ(Translate("3412000000000000"), "absent");
    FreeAllHashMemory(); // twice is harmless
}

TEST_F(HashTable, OpenHashDiscardsTheOldTable)
{
    OpenHash();
    Add("1111111111111111", Hex32(1), 1);
    OpenHash();
    EXPECT_EQ(Lookup16("1111111111111111"), 0u);
    Add("2222222222222222", Hex32(2), 2);
    CloseHash();
    OpenHash(); // from the closed state too
    EXPECT_EQ(Lookup16("2222222222222222"), 0u);
    Add("3333333333333333", Hex32(3), 3);
    CloseHash();
    EXPECT_EQ(Lookup16("3333333333333333"), 3u);

    // An empty table closes and answers 0.
    OpenHash();
    CloseHash();
    EXPECT_EQ(Lookup16("3333333333333333"), 0u);
    EXPECT_EQ(Translate("3333333333333333"), "absent");
}

TEST_F(HashTable, GrowsPastFiveThousandWhileOpen)
{
    OpenHash();
    const uint32_t count = 12001;
    for (uint32_t i = 0; i < count; i++)
        Add(Hex16(i), Hex32(i), i + 1);
    CloseHash();
    for (uint32_t i : {0u, 1u, 4998u, 4999u, 5000u, 5001u, 9999u, 10000u, 12000u}) {
        EXPECT_EQ(Lookup16(Hex16(i)), i + 1) << i;
        EXPECT_EQ(Lookup32(Hex32(i)), i + 1) << i;
        EXPECT_EQ(Translate(Hex16(i)), Hex32(i)) << i;
    }
    EXPECT_EQ(Lookup16(Hex16(count)), 0u);
}

TEST_F(HashTable, AddsWithoutAnOpenTableAreRefused)
{
    // Before any OpenHash.
    Add("1111111111111111", Hex32(1), 1);
    EXPECT_EQ(Lookup16("1111111111111111"), 0u);
    EXPECT_EQ(CloseHash(), 1);
    EXPECT_EQ(Lookup16("1111111111111111"), 0u);

    // After CloseHash the table is read-only and keeps its entries.
    OpenHash();
    Add("2222222222222222", Hex32(2), 2);
    CloseHash();
    Add("3333333333333333", Hex32(3), 3);
    EXPECT_EQ(Lookup16("3333333333333333"), 0u);
    EXPECT_EQ(Lookup32(Hex32(3)), 0u);
    EXPECT_EQ(Lookup16("2222222222222222"), 2u);

    // After FreeAllHashMemory.
    FreeAllHashMemory();
    Add("4444444444444444", Hex32(4), 4);
    EXPECT_EQ(Lookup16("4444444444444444"), 0u);
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
    Add("1111111111111111", Hex32(1), 1);
    sprig::SetHashTableRealloc(NoRoom);
    EXPECT_EQ(OpenHash(), 1);
    Add("2222222222222222", Hex32(2), 2);
    EXPECT_EQ(CloseHash(), 1);
    EXPECT_EQ(Lookup16("1111111111111111"), 0u); // the old table is gone
    EXPECT_EQ(Lookup16("2222222222222222"), 0u);
    EXPECT_EQ(Lookup32(Hex32(2)), 0u);
    EXPECT_EQ(Translate("2222222222222222"), "absent");
    FreeAllHashMemory();

    // With room again, the table works as before.
    sprig::SetHashTableRealloc(nullptr);
    OpenHash();
    Add("2222222222222222", Hex32(2), 2);
    EXPECT_EQ(Lookup16("2222222222222222"), 2u);

    // A table that cannot grow refuses the 5001st entry and keeps the rest.
    sprig::SetHashTableRealloc(RoomForFiveThousand);
    OpenHash();
    for (uint32_t i = 0; i < 5001; i++)
        Add(Hex16(i), Hex32(i), i + 1);
    CloseHash();
    EXPECT_EQ(Lookup16(Hex16(0)), 1u);
    EXPECT_EQ(Lookup16(Hex16(4999)), 5000u);
    EXPECT_EQ(Lookup16(Hex16(5000)), 0u);
}

TEST_F(HashTable, KeysThatFillTheirWholeField)
{
    // 17 digits in a short key and 33 in a long one leave no terminator in
    // the stored field; they still compare and translate whole.
    OpenHash();
    const std::u16string shortDigits = u"0123456789ABCDEF0";
    const std::u16string longDigits = u"0123456789ABCDEF0123456789ABCDEF9";
    EXPECT_EQ(AddHash(Units(shortDigits, 17).data(), Units(longDigits, 33).data(), 42), 1);
    Add("FEDCBA9876543210", Hex32(7), 7);
    CloseHash();
    EXPECT_EQ(HashLookup16(Units(shortDigits, 17).data()), 42u);
    EXPECT_EQ(HashLookup32(Units(longDigits, 33).data()), 42u);
    std::vector<uint16_t> out(33, 0xBEEF);
    ASSERT_EQ(HashTranslate(Units(shortDigits, 17).data(), out.data()), 1);
    EXPECT_EQ(std::u16string(out.begin(), out.end()), longDigits);
    EXPECT_EQ(Lookup16("FEDCBA9876543210"), 7u);
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
