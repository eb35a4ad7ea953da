#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "sprig/blend.h"
#include "sprig/images.h"
#include "sprig/packing.h"
#include "tests/packing/packing_util.h"
#include "tests/test_util.h"

namespace {

using Words = std::vector<uint32_t>;

// A packed picture of the given pixel words, rows of `width`, kept alive for
// the test; record() describes it as the pool expects.
struct PackedPixels
{
    PackedPixels(const Words& pixels, int width)
        : width(width), height(static_cast<int>(pixels.size()) / width),
          words(Packs(pixels, width, height))
    {
    }
    char* record()
    {
        rec = {width, height, words[0], words.data()};
        return reinterpret_cast<char*>(&rec);
    }
    int width;
    int height;
    Words words;
    PictureRecord rec;
};

constexpr uint32_t kRed = 0x0000FFFF;
constexpr uint32_t kBlackHalf = 0x00000080;
constexpr uint32_t kClear = 0x00000000;

// The words of the world GetImage hands out for a slot, row by row.
Words ServedPixels(int32_t number)
{
    World world(GetImage(number));
    return world ? PixelsOf(world.get()) : Words{};
}

// Pictures live in the global pool: start every test from an empty one.
class Pool : public testing::Test
{
  protected:
    void SetUp() override { ClearAllImages(); }
    void TearDown() override { ClearAllImages(); }
    // Packs the pixels into slot `number` (the pool keeps its own copy).
    static void Store(int32_t number, const Words& pixels, int width)
    {
        PackedPixels packed(pixels, width);
        EXPECT_EQ(SetCompressedImage(number, packed.record()), 1);
    }
};

TEST_F(Pool, NumbersSlotsReplacementAndCopies)
{
    PackedPixels a({kRed, kBlackHalf, kRed}, 3);
    PackedPixels b({kBlackHalf, kBlackHalf}, 1);
    EXPECT_EQ(GetFreeImageNumber(), 256);
    // Out of range: accepted and ignored.
    EXPECT_EQ(SetCompressedImage(16000, a.record()), 1);
    for (int32_t number : {16000, -1, 5})
        EXPECT_EQ(GetImageWidth(number), 0) << number;
    EXPECT_EQ(GetImage(16000), nullptr);

    EXPECT_EQ(SetCompressedImage(5, a.record()), 1);
    EXPECT_EQ(GetImageWidth(5), 3);
    EXPECT_EQ(SetCompressedImage(5, b.record()), 1);
    EXPECT_EQ(GetImageWidth(5), 1);
    EXPECT_EQ(GetImageHeight(5), 2);
    EXPECT_EQ(GetFreeImageNumber(), 256); // numbers below 256 are never handed out

    // The pool copies the packed picture: the caller's buffer can go.
    EXPECT_EQ(SetCompressedImage(256, a.record()), 1);
    const uint32_t size = a.words[0];
    a.words[6] ^= 0xFFFFFFFF;
    EXPECT_EQ(GetFreeImageNumber(), 257);
    EXPECT_EQ(ServedPixels(256), (Words{kRed, kBlackHalf, kRed}));
    a.words[6] ^= 0xFFFFFFFF;

    // Copies are independent, and a copy may replace its own source (the
    // record handed to the store points into the picture it replaces).
    CopyImage(256, 300);
    ResetFreeImage(256);
    ResetFreeImage(256); // empty: nothing happens
    EXPECT_EQ(GetFreeImageNumber(), 256);
    EXPECT_EQ(GetImageWidth(256), 0);
    CopyImage(300, 300);
    EXPECT_EQ(ServedPixels(300), (Words{kRed, kBlackHalf, kRed}));
    PictureRecord info = {};
    GetImageInfo(300, reinterpret_cast<char*>(&info));
    EXPECT_EQ(std::vector<uint32_t>({uint32_t(info.width), uint32_t(info.height), info.size}),
              std::vector<uint32_t>({3, 1, size}));
    EXPECT_EQ(0, memcmp(info.data, a.words.data(), info.size));
    EXPECT_FALSE(gImagePool.mImages[300]->native); // handed out to the host

    // The last free number, and a full pool.
    for (int n = 256; n < CImagePool::kSlots; n++)
        gImagePool.SetImage(n, b.record());
    EXPECT_EQ(GetFreeImageNumber(), -1);
    ResetFreeImage(15999);
    EXPECT_EQ(GetFreeImageNumber(), 15999);
}

TEST_F(Pool, DamagedPicturesAreRefusedAndTheSlotKeepsItsPicture)
{
    const Words keptPixels = {kRed, kBlackHalf, kClear, kRed};
    Store(40, keptPixels, 2);

    std::mt19937 rng(12);
    Words junk(1024);
    for (uint32_t& word : junk)
        word = rng();

    struct Case
    {
        const char* damage;
        const Words* base;
        std::function<void(Words&, PictureRecord&)> apply;
    };
    const Case cases[] = {
        {"record size 0", &kExample, [](auto&, auto& rec) { rec.size = 0; }},
        {"record size 24", &kExample, [](auto&, auto& rec) { rec.size = 24; }},
        {"record size short of the size word", &kExample, [](auto&, auto& rec) { rec.size = 68; }},
        {"older entry 0x7FFFFFFF", &kOlderExample, [](auto& w, auto&) { w[7] = 0x7FFFFFFF; }},
        {"record 65535 x 65535 over 4 x 2", &kExample,
         [](auto&, auto& rec) { rec.width = rec.height = 65535; }},
        {"record one row short", &kExample, [](auto&, auto& rec) { rec.height = 1; }},
        {"null address, size 0", &kExample,
         [](auto&, auto& rec) { rec.data = nullptr, rec.size = 0; }},
        {"4 KB of junk", &junk, [](auto&, auto& rec) { rec.width = 4, rec.height = 2; }},
        {"last flag missing", &kExample, [](auto& w, auto&) { w[16] = 1; }},
    };
    for (const Case& c : cases) {
        Words words = *c.base;
        PictureRecord record = {static_cast<int32_t>(words[4]), static_cast<int32_t>(words[5]),
                                static_cast<uint32_t>(4 * words.size()), words.data()};
        c.apply(words, record);
        auto* bytes = reinterpret_cast<char*>(&record);
        EXPECT_EQ(SetCompressedImage(40, bytes), 0) << c.damage;
        EXPECT_THROW(gImagePool.SetImage(40, bytes), short) << c.damage;
        EXPECT_EQ(SetCompressedImage(16000, bytes), 1) << c.damage; // out of range: as ever
        EXPECT_EQ(GetImageWidth(40), 2) << c.damage;
        EXPECT_EQ(ServedPixels(40), keptPixels) << c.damage;
    }
    EXPECT_EQ(SetCompressedImage(40, nullptr), 0);
    EXPECT_EQ(ServedPixels(40), keptPixels);

    // Sound pictures of both encodings still come in, bytes after the
    // picture included.
    Words padded = kExample;
    padded.push_back(0xDEADBEEF);
    PictureRecord record = {4, 2, 4 * 19, padded.data()};
    EXPECT_EQ(SetCompressedImage(40, reinterpret_cast<char*>(&record)), 1);
    EXPECT_EQ(gImagePool.mImages[40]->size, 76u);
    EXPECT_EQ(ServedPixels(40), kExamplePixels);
    record = {3, 2, 4 * 11, kOlderExample.data()};
    EXPECT_EQ(SetCompressedImage(40, reinterpret_cast<char*>(&record)), 1);
    EXPECT_EQ(GetImageWidth(40), 3);
}

TEST_F(Pool, DerivedCopiesAreCachedOneAtATime)
{
    Store(7, Words(10 * 4, kRed), 10);
    CImage* natural = gImagePool.mImages[7];
    EXPECT_EQ(gImagePool.GetImage(7, 40, 255), natural);
    EXPECT_EQ(natural->GetMyCGImage(80), nullptr); // no copy at that scale yet

    CImage* doubled = gImagePool.GetImage(7, 80, 255);
    ASSERT_NE(doubled, nullptr);
    EXPECT_NE(doubled, natural);
    EXPECT_EQ(std::vector<uint32_t>(
                  {uint32_t(doubled->width), uint32_t(doubled->height), doubled->scale}),
              std::vector<uint32_t>({20, 8, 80}));
    EXPECT_EQ(gImagePool.GetImage(7, 80, 255), doubled); // not rebuilt
    // Core Graphics images only of the scales cached.
    for (auto [scale, width, height] : {std::tuple{40, 10u, 4u}, {80, 20u, 8u}}) {
        CGImageRef made = natural->GetMyCGImage(scale);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(CGImageGetWidth(made), width);
        EXPECT_EQ(CGImageGetHeight(made), height);
        CGImageRelease(made);
    }

    CImage* fadedDouble = gImagePool.GetImage(7, 80, 128);
    EXPECT_EQ(natural->derived, doubled);
    EXPECT_EQ(doubled->derived, fadedDouble);
    EXPECT_EQ(fadedDouble->opacity, 128);
    EXPECT_EQ(gImagePool.GetImage(7, 80, 128), fadedDouble); // the whole chain is reused
    EXPECT_EQ(natural->derived, doubled);

    // A faded natural-size copy replaces the scaled copy, and back again.
    CImage* faded = gImagePool.GetImage(7, 40, 128);
    EXPECT_EQ(natural->derived, faded);
    natural->Resize(80);
    ASSERT_NE(natural->derived, nullptr);
    EXPECT_EQ(natural->derived->scale, 80u);
    EXPECT_EQ(natural->derived->opacity, 255);

    EXPECT_EQ(gImagePool.GetImage(7, 20, 255)->width, 5);
    CImage* narrow = gImagePool.GetImage(7, 1, 255);
    EXPECT_EQ(narrow->width, 0);
    // 65600 wide, which 16 bits would cut to 64: no world, the cached copy stays.
    EXPECT_THROW(gImagePool.GetImage(7, 262400, 255), short);
    EXPECT_EQ(natural->derived, narrow);
}

TEST_F(Pool, ScaledAndFadedCopiesKeepTheirColours)
{
    // An opaque red square in a transparent border: scaling softens the
    // edges over transparent white, and the repair takes the white out again.
    Words pixels(8 * 8, kClear);
    for (int v = 2; v < 6; v++)
        std::fill(pixels.begin() + v * 8 + 2, pixels.begin() + v * 8 + 6, kRed);
    Store(9, pixels, 8);
    World doubled(gImagePool.GetImage(9, 80, 255)->GetMe());
    ASSERT_TRUE(doubled);
    EXPECT_EQ(Pixel(doubled.get(), 8, 8), kRed);
    EXPECT_EQ(Pixel(doubled.get(), 0, 0) & 0xFF, 0u);
    int soft = 0;
    for (uint32_t p : PixelsOf(doubled.get(), 16, 16)) {
        if ((p & 0xFF) == 0)
            continue;
        // Wherever the red shows, it is red, not pink mixed with white.
        EXPECT_GE((p >> 8) & 0xFF, 0xF0u) << std::hex << p;
        EXPECT_LE((p >> 16) & 0xFF, 0x10u) << std::hex << p;
        EXPECT_LE(p >> 24, 0x10u) << std::hex << p;
        soft += (p & 0xFF) != 255;
    }
    EXPECT_GT(soft, 0) << "high-quality scaling softens the edges";

    World faded(gImagePool.GetImage(9, 40, 128)->GetMe());
    EXPECT_EQ(Pixel(faded.get(), 3, 3), 0x0000FF80u); // alpha 255 * 128/255 -> 128
    EXPECT_EQ(Pixel(faded.get(), 0, 0), kClear);
}

TEST_F(Pool, StretchCompositesSameSizeScalesOtherSizesAndTints)
{
    Store(11, {kRed, kBlackHalf, kClear, 0xFFFFFFFF}, 2);
    World dst = MakeWorld(6, 6);
    FillWith(dst.get(), 0x00FF00FF); // opaque green
    Rect src = {5, 5, 7, 7};         // only its size matters
    Rect to = {1, 1, 3, 3};
    EXPECT_EQ(StretchImage(11, &src, &to, dst.get(), 0), 1);
    // Transparent leaves the green untouched.
    EXPECT_EQ(PixelsOf(dst.get(), 4, 3),
              (Words{0x00FF00FF, 0x00FF00FF, 0x00FF00FF, 0x00FF00FF, //
                     0x00FF00FF, kRed, MyMixColors(kBlackHalf, 0x00FF00FF), 0x00FF00FF, 0x00FF00FF,
                     0x00FF00FF, 0xFFFFFFFF, 0x00FF00FF}));

    // A uniform picture drawn at three times its size covers the area.
    Store(12, Words(4, 0xFF0000FF), 2);
    Rect big = {0, 0, 6, 6};
    EXPECT_EQ(StretchImage(12, &src, &big, dst.get(), 0), 1);
    EXPECT_EQ(PixelsOf(dst.get()), Words(36, 0xFF0000FF));
    EXPECT_EQ(StretchImage(13, &src, &big, dst.get(), 0), 0); // empty slot
    EXPECT_EQ(StretchImage(-3, &src, &big, dst.get(), 0), 0);

    // Tinted, black turns into the pen colour and the rest (white becomes
    // 0xFF7FFF00) is transparent.
    PackedPixels tinted({0x000000FF, 0x00000040, 0xFFFFFFFF, 0x0000FFFF}, 4);
    CImage image(tinted.record());
    World row = MakeWorld(4, 1);
    Rect r = {0, 0, 1, 4};
    RGBColor pen = {0x1234, 0xABCD, 0xFFFF};
    image.Stretch(&r, &r, row.get(), false, &pen);
    EXPECT_EQ(PixelsOf(row.get()), (Words{0xFFAB12FF, MyMixColors(0xFFAB1240u, 0u), 0, 0}));
}

TEST(Image, PixelTestsRowsAndInfo)
{
    Words pixels(12, kClear);
    pixels[11] = kBlackHalf; // (3, 2)
    PackedPixels a(pixels, 4);
    CImage image(a.record());
    EXPECT_EQ(std::vector<uint32_t>({image.native, image.scale, uint32_t(image.opacity)}),
              std::vector<uint32_t>({1, 40, 255}));
    EXPECT_FALSE(image.IsTransparentColor(3, 2));
    // A clear pixel and points outside the picture are transparent.
    for (const auto& [x, y] : {std::pair{0, 0}, {4, 2}, {-1, 2}, {3, 3}, {3, -1}})
        EXPECT_TRUE(image.IsTransparentColor(x, y)) << x << "," << y;
    // Radius 0 is an empty area, and (3, 2) lies outside the disc about (0, 0)
    // of radius 3. In 32-bit arithmetic 65536 squared wraps to 0, as does
    // 2^60, so only the centre counts.
    const std::tuple<int, int, int, bool> regions[] = {
        {3, 2, 0, false},     {0, 0, 3, false},    {1, 1, 3, true},       {2, 2, 2, true},
        {1, 1, 65536, false}, {3, 2, 65536, true}, {3, 2, 1 << 30, true},
    };
    for (const auto& [x, y, radius, transparent] : regions)
        EXPECT_EQ(image.IsTransparentRegion(x, y, radius), transparent)
            << x << "," << y << " r " << radius;
    uint32_t row[4] = {9, 9, 9, 9};
    image.UnpackRow(2, row);
    EXPECT_EQ(Words(row, row + 4), (Words{kClear, kClear, kClear, kBlackHalf}));

    PictureRecord info;
    image.GetInfo(reinterpret_cast<char*>(&info), true);
    EXPECT_FALSE(image.native);
    EXPECT_EQ(info.data, image.data);
    image.SetNative(true);
    EXPECT_TRUE(image.native);

    EXPECT_TRUE(IsColorizedImage(35));
    EXPECT_FALSE(IsColorizedImage(36));
    EXPECT_FALSE(IsColorizedImage(-1));
}

TEST(Image, ReplaceColorCoversPaddingAndRectangles)
{
    World world = MakeWorld(3, 2); // 16 row bytes: one padding word per row
    FillWith(world.get(), 0x11111111);
    Pixel(world.get(), 1, 0) = Pixel(world.get(), 1, 1) = 0xAAAAAAAA;
    for (int v = 0; v < 2; v++)
        Pixel(world.get(), 3, v) = 0x11111111;
    // Words other than 0x11111111 become 0x22222222, then 0x11111111 becomes
    // 0x33333333, padding words too, then in row 1, columns 0-1, 0x44444444.
    CImage::ReplaceColor(GetGWorldPixMap(world.get()), 0x11111111, 0x22222222, false);
    ReplaceColor(world.get(), 0x11111111, 0x33333333);
    Rect r = {1, 0, 2, 2};
    ReplaceColorInRect(world.get(), 0x33333333, 0x44444444, true, &r);
    EXPECT_EQ(PixelsOf(world.get(), 4), (Words{0x33333333, 0x22222222, 0x33333333, 0x33333333, //
                                               0x44444444, 0x22222222, 0x33333333, 0x33333333}));

    RGBColor c;
    Pixel(world.get(), 2, 1) = 0x7F0180FF;
    GetColorUnder(world.get(), 2, 1, &c);
    EXPECT_EQ(std::vector<uint16_t>({c.red, c.green, c.blue}),
              std::vector<uint16_t>({0x8080, 0x0101, 0x7F7F}));
    CImage::Init();
    GetTransColor(&c);
    EXPECT_EQ(std::vector<uint16_t>({c.red, c.green, c.blue}),
              std::vector<uint16_t>({0xF8F8, 0xFFFF, 0x0000}));
    // Bits 24-31 of 0xF7FFFF00 play no part.
    const RGBColor& fill = CImage::mFillColor;
    EXPECT_EQ(std::vector<uint16_t>({fill.red, fill.green, fill.blue}),
              std::vector<uint16_t>({0xFFFF, 0xFFFF, 0x0000}));
}

// Everything a host does to pictures, a thousand times over; run under
// LeakSanitizer in CI, so that any picture, copy or buffer left behind fails.
TEST_F(Pool, AThousandPicturesComeAndGoWithoutLeaks)
{
    Words pixels(6 * 5, kClear);
    for (int i = 0; i < 12; i++)
        pixels[static_cast<size_t>(i * 2 + 3)] = i % 3 ? kRed : kBlackHalf;
    PackedPixels a(pixels, 6);
    PackedPixels b({kRed, kBlackHalf, kClear, kRed}, 2);
    World dst = MakeWorld(16, 16);
    Rect src = {0, 0, 5, 6};
    Rect big = {0, 0, 10, 12};
    for (int i = 0; i < 1000; i++) {
        const int32_t number = 256 + i;
        ASSERT_EQ(SetCompressedImage(number, a.record()), 1);
        ASSERT_NE(gImagePool.GetImage(number, 60 + i % 7, static_cast<short>(i % 255)), nullptr);
        ASSERT_NE(gImagePool.GetImage(number, 40, 100), nullptr);
        if (i % 10 == 0) {
            EXPECT_EQ(StretchImage(number, &src, &big, dst.get(), 1), 1);
            CGImageRef image = GetCGImage(number, 40);
            ASSERT_NE(image, nullptr);
            CGImageRelease(image);
            DisposeGWorld(GetImage(number));
        }
        if (i % 3 == 0) {
            ASSERT_EQ(SetCompressedImage(number, b.record()), 1); // replaces the chain
        }
        if (i % 5 == 0)
            CopyImage(number, number - 1 < 256 ? 15999 : number - 1);
        if (i % 7 == 0)
            ResetFreeImage(number);
    }
    EXPECT_EQ(GetImageWidth(256 + 998), 6);
    EXPECT_EQ(GetImageWidth(256 + 999), 2); // replaced
    ClearAllImages();
    EXPECT_EQ(GetFreeImageNumber(), 256);
    EXPECT_EQ(GetImageWidth(15999), 0);
}

} // namespace
