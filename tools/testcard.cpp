// sprig testcard: a test card drawn with the library's worlds and written as
// PNG. It shows at a glance that pixels, colours, alpha, the 16-bit colour
// reduction, pixel-replicating CopyBits and pen drawing all come out right.
#include <memory>

#include "sprig/foundation.h"
#include "tools/command.h"
#include "tools/output_file.h"
#include "tools/world.h"

namespace {

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

void PaintBox(int left, int top, int right, int bottom, const RGBColor& colour)
{
    StForeColor fore(const_cast<RGBColor&>(colour));
    Rect r;
    SetRect(&r, static_cast<int16_t>(left), static_cast<int16_t>(top), static_cast<int16_t>(right),
            static_cast<int16_t>(bottom));
    PaintRect(&r);
}

// Eight colour bars across the top half.
void DrawBars(int width, int height)
{
    static const RGBColor bars[8] = {{0xFFFF, 0xFFFF, 0xFFFF}, {0xFFFF, 0xFFFF, 0x0000},
                                     {0x0000, 0xFFFF, 0xFFFF}, {0x0000, 0xFFFF, 0x0000},
                                     {0xFFFF, 0x0000, 0xFFFF}, {0xFFFF, 0x0000, 0x0000},
                                     {0x0000, 0x0000, 0xFFFF}, {0x0000, 0x0000, 0x0000}};
    for (int i = 0; i < 8; i++)
        PaintBox(width * i / 8, 0, width * (i + 1) / 8, height / 2, bars[i]);
}

// A grey ramp, and under it the same ramp through the 16-bit colour
// reduction and back, so that the 5-bit steps show.
void DrawRamps(GWorldPtr world, int width, int top, int rampHeight)
{
    for (int v = top; v < top + rampHeight; v++) {
        uint32_t* row = WorldRow(world, v);
        for (int h = 0; h < width; h++) {
            const uint32_t g = static_cast<uint32_t>(h * 255 / (width - 1));
            row[h] = Word(g, g, g, 255);
        }
    }
    PixMapHandle pm = GetGWorldPixMap(world);
    const int32_t rowBytes = GetPixRowBytes(pm);
    uint32_t* ramp = WorldRow(world, top);
    uint32_t* reduced = WorldRow(world, top + rampHeight);
    // Reduce32To16 reads bits 0-7, 8-15 and 16-23 (alpha, red, green) and
    // puts them at bits 0, 5 and 10.
    Reduce32To16(ramp, reduced, static_cast<uint32_t>(width), static_cast<uint32_t>(rampHeight),
                 static_cast<uint32_t>(rowBytes), static_cast<uint32_t>(rowBytes));
    for (int v = top + rampHeight; v < top + 2 * rampHeight; v++) {
        uint32_t* row = WorldRow(world, v);
        for (int h = 0; h < width; h++) {
            const uint32_t g = WordToRGB[(row[h] >> 5) & 0x1F];
            row[h] = Word(g, g, g, 255);
        }
    }
}

// Red over a checkerboard at 16 levels of alpha: the PNG keeps straight
// alpha, so a viewer shows the checkerboard through.
void DrawAlphaSteps(GWorldPtr world, int width, int top, int stepHeight)
{
    for (int v = top; v < top + stepHeight; v++) {
        uint32_t* row = WorldRow(world, v);
        for (int h = 0; h < width; h++) {
            const uint32_t alpha = static_cast<uint32_t>(h * 16 / width) * 17;
            row[h] = Word(255, 0, 0, alpha);
        }
    }
}

// An 8 x 8 checked tile with a transparent corner, enlarged 4 times by
// CopyBits, which repeats every pixel and its alpha.
void DrawEnlargedTile(GWorldPtr world, int left, int top)
{
    std::string error;
    WorldPtr owner = NewWorld(8, 8, &error);
    if (!owner)
        return;
    GWorldPtr tile = owner.get();
    Rect tileRect;
    GetPortBounds(tile, &tileRect);
    for (int v = 0; v < 8; v++) {
        uint32_t* row = WorldRow(tile, v);
        for (int h = 0; h < 8; h++)
            row[h] = ((h + v) & 1) ? Word(0, 0, 255, 255) : Word(255, 255, 0, 255);
    }
    WorldRow(tile, 0)[0] = Word(255, 255, 255, 0);
    Rect big;
    SetRect(&big, static_cast<int16_t>(left), static_cast<int16_t>(top),
            static_cast<int16_t>(left + 32), static_cast<int16_t>(top + 32));
    CopyBits(GetPortBitMapForCopyBits(tile), GetPortBitMapForCopyBits(world), &tileRect, &big,
             srcCopy, nullptr);
}

// A frame and two diagonals drawn with a 3-pixel pen.
void DrawPenFigure(int left, int top, int size)
{
    RGBColor orange = {0xFFFF, 0x8080, 0x0000};
    StPen pen(3, &orange);
    const auto l = static_cast<int16_t>(left);
    const auto t = static_cast<int16_t>(top);
    const auto r = static_cast<int16_t>(left + size - 3);
    const auto b = static_cast<int16_t>(top + size - 3);
    MoveTo(l, t);
    LineTo(r, t);
    LineTo(r, b);
    LineTo(l, b);
    LineTo(l, t);
    LineTo(r, b);
    MoveTo(r, t);
    LineTo(l, b);
}

int RunTestcard(const std::vector<std::string>& args)
{
    PictureArgs parsed = {"testcard.png", 320, 240};
    std::string error;
    if (!ParsePictureArgs(args, "testcard", 64, 96, &parsed, &error))
        return Fail(error);
    const long width = parsed.width;
    const long height = parsed.height;

    OutputFile out;
    WorldPtr owner = NewWorld(static_cast<int>(width), static_cast<int>(height), &error);
    if (!owner || !out.Open(parsed.out, {}, &error))
        return Fail(error);
    GWorldPtr world = owner.get();
    {
        StGWorld current(world);
        StLock lock(world);
        const int w = static_cast<int>(width);
        const int h = static_cast<int>(height);
        const int band = h / 12;
        DrawBars(w, h);
        DrawRamps(world, w, h / 2, band);
        DrawAlphaSteps(world, w, h / 2 + 2 * band, band);
        const int square = h - (h / 2 + 3 * band) - 4;
        DrawEnlargedTile(world, 4, h / 2 + 3 * band + 2);
        DrawPenFigure(w - square - 4, h / 2 + 3 * band + 2, square);
    }
    if (!WriteWorldPng(out, world, &error) || !out.Commit(&error))
        return Fail(error);
    if (!out.SharesStandardOutput())
        std::printf("wrote %s (%ld x %ld)\n", out.Path().c_str(), width, height);
    return 0;
}

const CommandRegistration registration({
    "testcard",
    "[OUT.png] [--width W] [--height H]",
    "draw a test card with the library's worlds and write it as PNG",
    "Draws colour bars, a grey ramp beside its 16-bit reduction, red at 16 levels\n"
    "of alpha, an 8 x 8 tile enlarged 4 times by CopyBits and a figure drawn with\n"
    "a 3-pixel pen, into a W x H world (default 320 x 240), and writes it to\n"
    "OUT.png (default testcard.png).\n"
    "\n" SPRIG_OUTPUT_HELP,
    RunTestcard,
});

} // namespace
