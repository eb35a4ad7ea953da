#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "tests/packing/packing_util.h"

namespace {

// 4 x 2, rows P P P Q and P Q R S: a run, a literal of 3 and two literals of 1.
std::vector<uint32_t> Example()
{
    return Picture("Format01", 4, 2,
                   {8, 12, 0x80000003, 1, 0x40000001, 2, 0x00000003, 1, 2, 3, 0x40000001, 4});
}

std::string Reason(const std::vector<uint32_t>& words, size_t length = SIZE_MAX)
{
    PackedPictureInfo info;
    const size_t bytes = length == SIZE_MAX ? 4 * words.size() : length;
    EXPECT_FALSE(CheckPackedPicture(words.data(), bytes, &info));
    EXPECT_FALSE(CheckPackedPicture(words.data(), bytes, nullptr))
        << "the quick path: " << info.reason;
    return info.reason;
}

TEST(CheckPackedPicture, GoodPicturesAndTheirCounts)
{
    std::vector<uint32_t> good = Example();
    PackedPictureInfo info;
    ASSERT_TRUE(CheckPackedPicture(good.data(), 72, &info)) << info.reason;
    EXPECT_EQ(info.encoding, uint32_t{kPackedCurrent});
    EXPECT_EQ(info.width, 4);
    EXPECT_EQ(info.height, 2);
    EXPECT_EQ(info.size, 72u);
    EXPECT_EQ(info.runs, 1u);
    EXPECT_EQ(info.literals, 3u);
    EXPECT_STREQ(info.reason, "");
    EXPECT_TRUE(CheckPackedPicture(good.data(), 80, nullptr)) << "bytes after the picture";

    // Older encoding: a filled row, single pixels and a run.
    std::vector<uint32_t> older =
        Picture("Compress", 3, 2, {0x81FFFFFF, 8, 0x00000001, 0xC0000002, 5});
    ASSERT_TRUE(CheckPackedPicture(older.data(), 4 * older.size(), &info)) << info.reason;
    EXPECT_TRUE(CheckPackedPicture(older.data(), 4 * older.size(), nullptr));
    EXPECT_EQ(info.encoding, uint32_t{kPackedOlder});
    EXPECT_EQ(info.filledRows, 1u);
    EXPECT_EQ(info.runs, 1u);
    EXPECT_EQ(info.literals, 1u);
}

TEST(CheckPackedPicture, EachKindOfDamage)
{
    const std::vector<std::pair<std::function<void(std::vector<uint32_t>&)>, const char*>> cases = {
        {[](auto& w) { w[1] = 0; }, "signature is neither"},
        {[](auto& w) { w[4] = 0; }, "width 0 is outside 1..32767"},
        {[](auto& w) { w[4] = 32768; }, "width 32768"},
        {[](auto& w) { w[5] = 0xFFFFFFFF; }, "height -1"},
        {[](auto& w) { w[0] = 76; }, "size word says 76 bytes but only 72"},
        {[](auto& w) { w[0] = 70; }, "not a whole number of words"},
        {[](auto& w) { w[5] = 20; }, "row table of 20 entries runs past"},
        {[](auto& w) { w[7] = 18; }, "row 1: table entry 18 points outside"},
        {[](auto& w) { w[7] = 3; }, "row 1: table entry 3 points outside"},
        {[](auto& w) { w[16] = 0x40000002; }, "row 1: literal of 2 pixels at word 16 runs past"},
        {[](auto& w) {
             w[16] = 0xC0000001;
             w[0] = 68;
             w.pop_back();
         },
         "row 1: run at word 16"},
        {[](auto& w) { w[8] = 0xC0000003; }, "row 0: packets cover 3 of 4 pixels"},
        {[](auto& w) { w[8] = 0x80000005; }, "row 0: packets cover more than the width"},
        {[](auto& w) { w[10] = 0x00000001; }, "row 0: its last packet lacks the last flag"},
        {[](auto& w) { w[8] = 0x80000000; }, "row 0: run of 0 pixels"},
        {[](auto& w) { w[12] = 0; }, "row 1: literal of 0 pixels"},
    };
    for (const auto& [damage, reason] : cases) {
        std::vector<uint32_t> words = Example();
        damage(words);
        EXPECT_NE(Reason(words).find(reason), std::string::npos)
            << "expected '" << reason << "', got '" << Reason(words) << "'";
    }
    std::vector<uint32_t> words = Example();
    EXPECT_NE(Reason(words, 60).find("size word says 72 bytes but only 60"), std::string::npos);
    EXPECT_NE(Reason(words, 23).find("too few for the 24-byte header"), std::string::npos);
    EXPECT_FALSE(CheckPackedPicture(nullptr, 100, nullptr));

    // The older encoding ends a row at bit 30 too, and its table entries
    // must point at its rows.
    std::vector<uint32_t> older = Picture("Compress", 3, 1, {7, 0x00000001, 0x80000002, 5});
    EXPECT_NE(Reason(older).find("row 0: its last packet lacks the last flag"), std::string::npos);
    older[6] = 2;
    EXPECT_NE(Reason(older).find("table entry 2"), std::string::npos);
}

TEST(CheckPackedPicture16, GoodAndDamaged)
{
    uint32_t values[6] = {7, 7, 7, 1, 2, 3};
    CPackedPict pict(3, 2, 3, values);
    uint32_t size = 0;
    Packed data(pict.GetPackedData(size));
    PackedPictureInfo info;
    ASSERT_TRUE(CheckPackedPicture16(data.get(), size, &info)) << info.reason;
    EXPECT_EQ(info.encoding, uint32_t{kPacked16});
    EXPECT_EQ(info.runs, 1u);
    EXPECT_EQ(info.literals, 1u);
    EXPECT_EQ(info.size, size);

    // Bytes: header 12, table 8, row 0 = 82 07 00, row 1 = 02 01 00 02 00 03 00;
    // each case sets one byte (byte 0 to 3 changes nothing) and gives a length.
    ASSERT_EQ(size, 30u);
    const std::tuple<size_t, uint8_t, size_t, const char*> cases[] = {
        {0, 3, 11, "12-byte header"},
        {0, 3, 29, "size word says 18 bytes"},
        {0, 0, 30, "width 0"},
        {6, 1, 30, "height 65538"},
        {16, 18, 30, "row 1: table entry 18"},
        {20, 0x83, 30, "row 0: packets cover more"},
        {8, 17, 30, "row 1: literal of 3 pixels at byte 23"},
        {23, 0x03, 30, "row 1: literal of 4"},
    };
    for (const auto& [at, byte, length, reason] : cases) {
        std::vector<uint8_t> bytes(reinterpret_cast<uint8_t*>(data.get()),
                                   reinterpret_cast<uint8_t*>(data.get()) + size);
        bytes[at] = byte;
        EXPECT_FALSE(CheckPackedPicture16(bytes.data(), length, &info));
        EXPECT_NE(std::string(info.reason).find(reason), std::string::npos)
            << "expected '" << reason << "', got '" << info.reason << "'";
    }
}

} // namespace
