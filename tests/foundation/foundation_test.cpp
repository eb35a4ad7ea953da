// Rectangles, colours and their conversions, and the guards that save and
// restore drawing state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <tuple>
#include <vector>

#include "sprig/foundation.h"
#include "tests/test_util.h"

namespace {

TEST(CRect, ConstructorsStoreLeftTopRightBottomAndKeep16Bits)
{
    static_assert(sizeof(CRect) == sizeof(Rect), "CRect adds no data");
    Rect raw = {10, 20, 30, 40}; // top, left, bottom, right
    // The double constructor truncates toward zero and keeps the low 16 bits;
    // 1e12 is no 32-bit integer, and the truncation's INT32_MIN has low half 0.
    const std::pair<Rect, Rect> cases[] = {
        {CRect(), R(0, 0, 0, 0)},
        {CRect(short{1}, short{2}, short{3}, short{4}), R(1, 2, 3, 4)},
        {CRect(&raw), R(20, 10, 40, 30)},
        {CRect(1.9, -1.9, 2.5, 3.99), R(1, -1, 2, 3)},
        {CRect(70000.0, 0.0, 0.0, 0.0), R(4464, 0, 0, 0)},
        {CRect(-70000.0, 32768.0, 65535.9, -0.99), R(-4464, -32768, -1, 0)},
        {CRect(1e12, -1e12, 0.0, 0.0), R(0, 0, 0, 0)},
    };
    for (const auto& [made, expected] : cases)
        EXPECT_EQ(made, expected);

    CRect r(short{-30000}, short{-20000}, short{30000}, short{20000});
    EXPECT_EQ(r.Width(), -5536); // 60000 in 16 bits
    EXPECT_EQ(r.Height(), -25536);
    // Its edges are ordered, so it is not empty even though its width wrapped.
    EXPECT_FALSE(r.IsRectEmpty());

    r = raw;
    EXPECT_EQ(r, R(20, 10, 40, 30));
    r.SetRectEmpty();
    EXPECT_EQ(r, R(0, 0, 0, 0));
    EXPECT_TRUE(r.IsRectEmpty());
}

TEST(CRect, IntersectionUnionAndInflate)
{
    // Overlapping, far apart, and touching edges (which share no pixel):
    // the binary operators leave both alone, the compound ones change the
    // left; SectRect and UnionRect, writing over their first input, agree.
    CRect a(short{0}, short{0}, short{10}, short{10});
    std::tuple<CRect, Rect, Rect> cases[] = {
        {CRect(short{5}, short{-5}, short{20}, short{7}), R(5, 0, 10, 7), R(0, -5, 20, 10)},
        {CRect(short{50}, short{50}, short{60}, short{60}), R(0, 0, 0, 0), R(0, 0, 60, 60)},
        {CRect(short{10}, short{0}, short{20}, short{10}), R(0, 0, 0, 0), R(0, 0, 20, 10)},
        {CRect(short{4}, short{6}, short{14}, short{16}), R(4, 6, 10, 10), R(0, 0, 14, 16)},
        {CRect(short{-5}, short{3}, short{2}, short{30}), R(0, 3, 2, 10), R(-5, 0, 10, 30)},
    };
    for (auto& [b, both, either] : cases) {
        EXPECT_EQ(a & b, both);
        EXPECT_EQ(a | b, either);
        CRect c = a, d = a;
        EXPECT_EQ(c &= b, both);
        EXPECT_EQ(d |= b, either);
        EXPECT_EQ(std::vector<Rect>({a, c, d}), std::vector<Rect>({R(0, 0, 10, 10), both, either}));
        Rect s = a, u = a;
        EXPECT_EQ(SectRect(&s, &b, &s), both.right != 0) << b;
        UnionRect(&u, &b, &u);
        EXPECT_EQ(std::vector<Rect>({s, u}), std::vector<Rect>({both, either})) << b;
    }
    // 8 wide shrunk by 10 collapses; 3 wide shrunk by 2 keeps one pixel.
    const std::tuple<Rect, int, int, Rect> inflations[] = {
        {R(10, 10, 18, 20), 2, 3, R(8, 7, 20, 23)},
        {R(10, 10, 18, 20), -5, 0, R(0, 0, 0, 0)},
        {R(0, 0, 3, 3), -1, -1, R(1, 1, 2, 2)},
    };
    for (const auto& [from, dh, dv, expected] : inflations) {
        CRect r;
        r = from;
        r.InflateRect(dh, dv);
        EXPECT_EQ(r, expected) << from;
    }
}

TEST(RectPrimitives, SectUnionEmptyOffsetInsetAndPointTests)
{
    for (const auto& [r, empty] :
         {std::pair{R(5, 5, 5, 9), true}, {R(5, 9, 6, 8), true}, {R(5, 5, 6, 6), false}})
        EXPECT_EQ(EmptyRect(&r), empty) << r;

    Rect r = R(32760, -32760, 32767, -32750);
    OffsetRect(&r, 10, -10);
    EXPECT_EQ(r, R(-32766, 32766, -32759, -32760)); // every edge wraps in 16 bits
    r = R(0, 0, 10, 10);
    InsetRect(&r, 5, 0); // width exactly 0
    EXPECT_EQ(r, R(0, 0, 0, 0));

    // Points are (v, h); the bottom and right edges are outside.
    r = R(0, 0, 4, 3);
    for (const auto& [p, inside] : {std::pair{Point{0, 0}, true},
                                    {Point{2, 3}, true},
                                    {Point{3, 0}, false},
                                    {Point{0, 4}, false},
                                    {Point{-1, 0}, false}})
        EXPECT_EQ(PtInRect(p, &r), inside) << p.v << "," << p.h;
}

std::vector<uint16_t> Channels(const RGBColor& c)
{
    return {c.red, c.green, c.blue};
}

TEST(ChannelTables, MatchTheirRulesEntryByEntry)
{
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(RGBToWord[i], i < 4 ? 0 : (i - 4) >> 3) << "RGBToWord[" << i << "]";
    for (int i = 0; i < 32; i++)
        EXPECT_EQ(WordToRGB[i], i == 0 ? 0 : i == 31 ? 255 : 8 * (i + 1)) << "WordToRGB[" << i;
}

TEST(ColourConversions, ToShortAndBack)
{
    const RGBColor mixed = {0x8000, 0x07FF, 0x0800};
    const std::pair<const RGBColor*, int> named[] = {
        {&pinkColor, 0x7FFF},    {&rgbWhite, 0x7FFF},  {&keyColor, 0x7FDF},
        {&rgbBlack, 0x0000},     {&fillColor, 0x03FF}, {&yellowKeyColor, 0x7FFF},
        {&mixed, (16 << 10) | 1}};
    for (const auto& [colour, expected] : named)
        EXPECT_EQ(RGBColorToShort(colour), expected) << Channels(*colour)[0];

    RGBColor c;
    ShortToRGBColor((16 << 10) | (1 << 5) | 31, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0x8421, 0x0842, 0xFFFF}));
    LongToRGBColor(0x12345678, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0x3434, 0x5656, 0x7878}));
    LongToRGBColor(0xFFF8FF00, &c);
    EXPECT_EQ(Channels(c), (std::vector<uint16_t>{0xF8F8, 0xFFFF, 0x0000}));

    // Every 16-bit value: bit 15 is ignored and converting back gives the low
    // 15 bits again; every colour keeps the top five bits of each channel.
    for (uint32_t value = 0; value <= 0xFFFF; value++) {
        ShortToRGBColor(static_cast<uint16_t>(value), &c);
        ASSERT_EQ(RGBColorToShort(&c), value & 0x7FFF) << value;
        const auto v = static_cast<uint16_t>(value);
        const RGBColor any = {v, static_cast<uint16_t>(~v), static_cast<uint16_t>(v ^ 0x5A5A)};
        ShortToRGBColor(RGBColorToShort(&any), &c);
        for (int i = 0; i < 3; i++)
            ASSERT_EQ(Channels(c)[i] >> 11, Channels(any)[i] >> 11) << value;
    }
}

TEST(Reduce32To16, ReducesAlphaRedGreenPassesOverTheKeyWordAndWorksInPlace)
{
    // The key word leaves its destination alone; one bit away from it is
    // reduced like any other. 0xAA0C1424: bits 0-7 0x24 -> 4, 8-15 0x14 -> 2,
    // 16-23 0x0C -> 1; blue plays no part.
    uint32_t src[5] = {0xFFF8FF00, 0x00FFFFFF, 0x0B0B0B0B, 0xAA0C1424, 0xFFF8FF01};
    std::vector<uint32_t> dst = {0xDEADBEEF, 1, 2, 3, 4};
    Reduce32To16(src, dst.data(), 5, 1, sizeof src, 20);
    EXPECT_EQ(dst, (std::vector<uint32_t>{0xDEADBEEF, 0x7FFF, 0, (1u << 10) | (2u << 5) | 4u,
                                          (30u << 10) | (31u << 5)}));

    // Row bytes 6: rows start at byte 0, 4 (6), 12 and 16 (18).
    std::vector<uint32_t> white(8, 0x00FFFFFF);
    dst.assign(8, 0x11111111);
    Reduce32To16(white.data(), dst.data(), 1, 4, 6, 6);
    EXPECT_EQ(dst, (std::vector<uint32_t>{0x7FFF, 0x7FFF, 0x11111111, 0x7FFF, 0x7FFF, 0x11111111,
                                          0x11111111, 0x11111111}));
    std::vector<uint16_t> small(8, 0x1111);
    std::vector<uint32_t> words = {1, 2, 3, 4, 5, 6, 7, 8};
    // Destination row bytes 3: 16-bit rows start at bytes 0, 2 (3), 6, 8 (9).
    CopyReducedTo16(words.data(), small.data(), 1, 4, 8, 3);
    EXPECT_EQ(small, (std::vector<uint16_t>{1, 3, 0x1111, 5, 7, 0x1111, 0x1111, 0x1111}));

    // Height 0 touches nothing.
    Reduce32To16(white.data(), words.data(), 2, 0, 8, 8);
    CopyReducedTo16(white.data(), small.data(), 2, 0, 8, 4);
    EXPECT_EQ(words, (std::vector<uint32_t>{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(small, (std::vector<uint16_t>{1, 3, 0x1111, 5, 7, 0x1111, 0x1111, 0x1111}));

    // A 3 x 2 block with a padded row, reduced in place, then packed in place
    // into 16-bit rows half as long.
    uint32_t block[8] = {0xFFF8FF00, 0x00FFFFFF, 0x0B0B0B0B, 0x99999999,
                         0x00000000, 0xFFF8FF00, 0x000000FF, 0x99999999};
    Reduce32To16(block, block, 3, 2, 16, 16);
    EXPECT_EQ(block[0], 0xFFF8FF00u);
    EXPECT_EQ(block[5], 0xFFF8FF00u);
    auto* packed = reinterpret_cast<uint16_t*>(block);
    CopyReducedTo16(block, packed, 3, 2, 16, 8);
    // The key word's low half, then alpha 255 in the low five bits.
    EXPECT_EQ(std::vector<uint16_t>(packed, packed + 3),
              (std::vector<uint16_t>{0xFF00, 0x7FFF, 0}));
    EXPECT_EQ(std::vector<uint16_t>(packed + 4, packed + 7),
              (std::vector<uint16_t>{0, 0xFF00, 0x001F}));
}

// A foreground and background colour, six channels.
std::vector<uint16_t> Pair(const RGBColor& f, const RGBColor& b)
{
    return {f.red, f.green, f.blue, b.red, b.green, b.blue};
}

// The current foreground then background colour.
std::vector<uint16_t> Colours()
{
    RGBColor f, b;
    GetForeColor(&f);
    GetBackColor(&b);
    return Pair(f, b);
}

CGrafPtr CurrentWorld(GDHandle* device = nullptr)
{
    CGrafPtr port;
    GDHandle dev;
    GetGWorld(&port, &dev);
    if (device)
        *device = dev;
    return port;
}

TEST(Guards, NestedWorldsAndPortsUnwindInReverseOrder)
{
    World a = MakeWorld(2, 2), b = MakeWorld(3, 3), c = MakeWorld(1, 1);
    auto fakeDevice = reinterpret_cast<GDHandle>(&c);
    SetGWorld(c.get(), fakeDevice);
    GDHandle device;
    {
        StGWorld outer(a.get());
        EXPECT_EQ(CurrentWorld(&device), a.get());
        EXPECT_EQ(device, nullptr); // a guard sets no device
        {
            StGWorld inner(b.get());
            {
                StPort port(a.get());
                GrafPtr current;
                GetPort(&current);
                EXPECT_EQ(current, a.get());
            }
            EXPECT_EQ(CurrentWorld(), b.get());
        }
        EXPECT_EQ(CurrentWorld(), a.get());
    }
    EXPECT_EQ(CurrentWorld(&device), c.get());
    EXPECT_EQ(device, fakeDevice);
    SetGWorld(c.get(), nullptr);
}

TEST(Guards, ColourGuardsRestoreWhatTheyFound)
{
    const RGBColor fore = {0x1234, 0x5678, 0x9ABC}, back = {0x0101, 0x0202, 0x0303};
    RGBColor red = {0xFFFF, 0, 0}, green = {0, 0xFFFF, 0}, blue = {0, 0, 0xFFFF};
    RGBForeColor(&fore);
    RGBBackColor(&back);
    {
        StForeColor foreGuard(red);
        {
            StForeColor saveOnly;
            RGBForeColor(&green);
        }
        EXPECT_EQ(Colours(), Pair(red, back));
        StBackColor backGuard(blue);
        {
            StColors blackOnWhite;
            EXPECT_EQ(Colours(), Pair(rgbBlack, rgbWhite));
            {
                StColors chosen(blue, green);
                EXPECT_EQ(Colours(), Pair(blue, green));
            }
            EXPECT_EQ(Colours(), Pair(rgbBlack, rgbWhite));
        }
        EXPECT_EQ(Colours(), Pair(red, blue));
    }
    EXPECT_EQ(Colours(), Pair(fore, back));
}

// The pen's size (h, v), mode, location (h, v) and pattern.
std::vector<int> Pen()
{
    PenState now;
    GetPenState(&now);
    std::vector<int> fields = {now.pnSize.h, now.pnSize.v, now.pnMode, now.pnLoc.h, now.pnLoc.v};
    fields.insert(fields.end(), now.pnPat.pat, now.pnPat.pat + 8);
    return fields;
}

TEST(Guards, PenDrawsWithItsSizeAndColourThenRestoresEverything)
{
    World world = MakeWorld(10, 10);
    StGWorld current(world.get());
    const RGBColor before = {0x0000, 0x8080, 0x0000};
    RGBForeColor(&before);
    const std::vector<uint16_t> colours = Colours();
    PenState custom;
    GetPenState(&custom);
    custom.pnLoc = {7, 8};
    custom.pnSize = {0, 2};
    custom.pnMode = 11;
    for (int i = 0; i < 8; i++)
        custom.pnPat.pat[i] = static_cast<uint8_t>(0x55 << (i & 1));
    SetPenState(&custom);
    {
        RGBColor red = {0xFFFF, 0x0000, 0x0000};
        StPen pen(3, &red);
        std::vector<int> inside = Pen();
        inside.resize(5); // PenNormal keeps the location
        EXPECT_EQ(inside, (std::vector<int>{3, 3, patCopy, 8, 7}));
        MoveTo(1, 1);
        LineTo(1, 1);
    }
    // The 3 x 3 pen hung below and to the right of (1, 1), opaque red.
    EXPECT_TRUE(EachPixel(
        world.get(), [](int h, int v) { return Inside(R(1, 1, 4, 4), h, v) ? 0x0000FFFFu : 0u; }));
    EXPECT_EQ(Pen(),
              (std::vector<int>{2, 0, 11, 8, 7, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA}));
    EXPECT_EQ(Colours(), colours);
    PenNormal();
}

TEST(Guards, LocksNestAndRestoreThePixelsState)
{
    World world = MakeWorld(4, 4);
    PixMapHandle pm = GetGWorldPixMap(world.get());
    auto locked = [pm] { return (GetPixelsState(pm) & pixelsLocked) != 0; };
    EXPECT_FALSE(locked());
    {
        StLock outer(world.get());
        EXPECT_TRUE(locked());
        {
            StLock inner(pm);
        }
        // The inner guard found the pixels locked and leaves them locked.
        EXPECT_TRUE(locked());
    }
    EXPECT_FALSE(locked());
}

TEST(Guards, OffscreenOwnsAWorldOrThrowsTheErrorCode)
{
    {
        StOffscreen offscreen(40, 30, 32);
        GWorldPtr world = offscreen;
        ASSERT_NE(world, nullptr);
        Rect b;
        GetPortBounds(world, &b);
        EXPECT_EQ(b, R(0, 0, 40, 30));
        EXPECT_EQ((*GetGWorldPixMap(world))->pixelSize, 32);
    }
    auto thrownBy = [](uint32_t width, uint32_t height, short depth) -> int {
        try {
            StOffscreen offscreen(width, height, depth);
        } catch (short err) {
            return err;
        }
        return 0;
    };
    EXPECT_EQ(thrownBy(8, 8, 16), cDepthErr);
    EXPECT_EQ(thrownBy(5000, 8, 32), paramErr);  // a row wider than a pixel map holds
    EXPECT_EQ(thrownBy(40000, 8, 32), paramErr); // 16 bits: a negative width
    EXPECT_EQ(thrownBy(1, 1, 32), 0);
}

TEST(ImageBuffer, RowsArePaddedToFourPixels)
{
    const std::tuple<short, short, int32_t> cases[] = {
        {5, 3, 32}, {8, 3, 32}, {1, 0, 16}, {4, 1, 16}, {0, 2, 0}, {9, 2, 48}, {-1, 5, 0}};
    for (const auto& [width, height, expected] : cases) {
        int32_t rowBytes = -1;
        void* block = NewImageBuffer(width, height, rowBytes);
        EXPECT_EQ(rowBytes, expected) << width << " x " << height;
        const size_t size = static_cast<size_t>(rowBytes) * height;
        if (width < 0) {
            EXPECT_EQ(block, nullptr);
        }
        // The whole block is ours to write (AddressSanitizer checks the end).
        if (size) {
            ASSERT_NE(block, nullptr);
            memset(block, 0xAB, size);
        }
        std::free(block);
    }
}

} // namespace
