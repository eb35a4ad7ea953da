// sprig show: draws a packed picture through the picture pool the way a
// sprite shows it: at a scale (the pool's cached scaled copy), an opacity
// (its faded copy) and, for colorized pictures, tinted with a pen colour.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "sprig/images.h"
#include "sprig/packing.h"
#include "tools/command.h"
#include "tools/file_io.h"
#include "tools/output_file.h"
#include "tools/packed_file.h"
#include "tools/world.h"

namespace {

// The first colorized number, and a plain one: a tint needs a colorized slot.
constexpr int32_t kColorizedNumber = 0;

bool ParseColour(const std::string& text, RGBColor* colour)
{
    if (text.size() != 6 || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        return false;
    const unsigned long rgb = std::strtoul(text.c_str(), nullptr, 16);
    LongToRGBColor(static_cast<uint32_t>(rgb), colour);
    return true;
}

// Registers the file's picture under number; a sixteen-bit picture is
// expanded and packed again first.
bool Register(PackedFile& file, int32_t number, std::string* error)
{
    std::unique_ptr<uint32_t, FreeDeleter> repacked;
    const uint32_t* packed = file.words.data();
    if (file.IsSixteenBit()) {
        const int32_t width = file.info.width;
        const int32_t height = file.info.height;
        auto* rows = reinterpret_cast<char*>(file.words.data()) + 12;
        WorldPtr world(Uncompress16(rows, width, height));
        if (!world) {
            *error = "a " + std::to_string(width) + " x " + std::to_string(height) +
                     " picture is too large to expand (at most 4092 pixels wide)";
            return false;
        }
        repacked.reset(Compress(world.get(), 0, 0, width, height, false));
        packed = repacked.get();
    }
    if (!packed) {
        *error = "not enough memory to pack the picture";
        return false;
    }
    PictureRecord record = {file.info.width, file.info.height, packed[0], packed};
    if (!SetCompressedImage(number, reinterpret_cast<char*>(&record))) {
        *error = "not enough memory to register the picture";
        return false;
    }
    return true;
}

int RunShow(const std::vector<std::string>& given)
{
    std::vector<std::string> args = given;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&args, &maxPixels, &error))
        return Fail(error);
    std::vector<std::string> paths;
    long scale = 40;
    long opacity = 255;
    RGBColor tint = {0, 0, 0};
    bool tinted = false;
    for (size_t i = 0; i < args.size(); i++) {
        std::string value;
        if (TakeOption(args, i, "--scale", &value)) {
            if (!ParseInt(value, 1, 400, &scale))
                return Fail("--scale wants fortieths from 1 to 400, not '" + value + "'");
        } else if (TakeOption(args, i, "--opacity", &value)) {
            if (!ParseInt(value, 0, 255, &opacity))
                return Fail("--opacity wants a whole number from 0 to 255, not '" + value + "'");
        } else if (TakeOption(args, i, "--tint", &value)) {
            if (!ParseColour(value, &tint))
                return Fail("--tint wants a colour as RRGGBB, not '" + value + "'");
            tinted = true;
        } else if (args[i].size() > 1 && args[i][0] == '-') {
            return Fail("show: unknown option '" + args[i] + "' (see sprig show --help)");
        } else {
            paths.push_back(args[i]);
        }
    }
    if (paths.size() != 2)
        return Fail("show wants a packed picture and an output PNG (see sprig show --help)");

    OutputFile out;
    PackedFile file;
    if (!out.Open(paths[1], {paths[0]}, &error) ||
        !LoadPackedFile(paths[0], maxPixels, &file, &error))
        return Fail(error);
    // The pool's scaled copy is as large as the picture drawn.
    const int64_t shownWidth = int64_t{file.info.width} * scale / 40;
    const int64_t shownHeight = int64_t{file.info.height} * scale / 40;
    if (uint64_t(shownWidth * shownHeight) > maxPixels)
        return Fail(PixelLimitError(paths[0] + " at scale " + std::to_string(scale), shownWidth,
                                    shownHeight, maxPixels));
    const int32_t number = tinted ? kColorizedNumber : GetFreeImageNumber();
    if (!Register(file, number, &error))
        return Fail(paths[0] + ": " + error);

    CImage* picture = nullptr;
    try {
        picture =
            gImagePool.GetImage(number, static_cast<int32_t>(scale), static_cast<short>(opacity));
    } catch (...) {
        return Fail(paths[0] + ": cannot make the picture at scale " + std::to_string(scale) +
                    " (a copy wider than 4092 pixels, or out of memory)");
    }
    const int32_t width = picture ? picture->width : 0;
    const int32_t height = picture ? picture->height : 0;
    if (width <= 0 || height <= 0)
        return Fail(paths[0] + ": at scale " + std::to_string(scale) + " the picture is empty");

    WorldPtr world = NewWorld(width, height, &error);
    if (!world)
        return Fail(paths[0] + ": " + error);
    Rect bounds;
    GetPortBounds(world.get(), &bounds);
    try {
        picture->Stretch(&bounds, &bounds, world.get(), true, tinted ? &tint : nullptr);
    } catch (...) {
        return Fail(paths[0] + ": drawing the picture failed");
    }
    if (!WriteWorldPng(out, world.get(), &error) || !out.Commit(&error))
        return Fail(error);
    if (!out.SharesStandardOutput())
        std::printf("wrote %s (%d x %d, scale %ld, opacity %ld%s)\n", paths[1].c_str(), width,
                    height, scale, opacity, tinted ? ", tinted" : "");
    return 0;
}

const CommandRegistration registration({
    "show",
    "IN OUT.png [--scale N] [--opacity N] [--tint RRGGBB] [--max-pixels N]",
    "draw a packed picture through the picture pool as a sprite shows it",
    "Registers the packed picture IN (either 32-bit encoding or the sixteen-bit\n"
    "layout) in the picture pool and draws it as a sprite would: at --scale N\n"
    "fortieths of its size (40 natural, 80 double; default 40), through the\n"
    "pool's scaled copy; at --opacity N (0 to 255, default 255), through its\n"
    "faded copy; and with --tint, as a colorized picture tinted with the pen\n"
    "colour RRGGBB (black parts take the colour, the rest disappears). Writes\n"
    "the result over a transparent background to OUT.png.\n"
    "\n" SPRIG_OUTPUT_HELP "\n" SPRIG_MAX_PIXELS_HELP
    "The limit holds for the picture drawn at its scale as well.\n",
    RunShow,
});

} // namespace
