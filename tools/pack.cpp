// sprig pack: a PNG file into a packed picture file.
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "sprig/foundation.h"
#include "sprig/packing.h"
#include "tools/command.h"
#include "tools/file_io.h"

namespace {

struct FreeDeleter
{
    void operator()(void* p) const { std::free(p); }
};

// A pixel word as a 16-bit value: alpha below 128 is transparent (0xFFFF),
// anything else keeps the top five bits of each channel.
// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA] -> [0][RRRRR][GGGGG][BBBBB]
uint32_t To16(uint32_t pixel)
{
    if ((pixel & 0xFF) < 0x80)
        return 0xFFFF;
    return (uint32_t{RGBToWord[(pixel >> 8) & 0xFF]} << 10) |
           (uint32_t{RGBToWord[(pixel >> 16) & 0xFF]} << 5) | RGBToWord[pixel >> 24];
}

int RunPack(const std::vector<std::string>& args)
{
    std::vector<std::string> files;
    bool sixteen = false;
    for (const std::string& arg : args) {
        if (arg == "--sixteen")
            sixteen = true;
        else if (arg.size() > 1 && arg[0] == '-')
            return Fail("pack: unknown option '" + arg + "' (see sprig pack --help)");
        else
            files.push_back(arg);
    }
    if (files.size() != 2)
        return Fail("pack wants an input PNG and an output file (see sprig pack --help)");
    const std::string& in = files[0];
    const std::string& out = files[1];

    PixelImage image;
    std::string error;
    if (!ReadPng(in, &image, &error))
        return Fail(error);
    std::unique_ptr<uint32_t, FreeDeleter> packed;
    uint32_t size = 0;
    if (sixteen) {
        std::vector<uint32_t> values(image.pixels.size());
        for (size_t i = 0; i < values.size(); i++)
            values[i] = To16(image.pixels[i]);
        CPackedPict pict(image.width, image.height, image.width, values.data());
        packed.reset(pict.GetPackedData(size));
    } else {
        packed.reset(
            CompressBuffer(image.pixels.data(), image.width, image.height, 4 * image.width));
        if (packed)
            size = packed.get()[0];
    }
    if (!packed)
        return Fail(in + ": not enough memory to pack a " + std::to_string(image.width) + " x " +
                    std::to_string(image.height) + " picture");
    if (!WriteFileAtomically(out, packed.get(), size, &error))
        return Fail(error);
    const double raw = 4.0 * image.width * image.height;
    std::printf("wrote %s (%d x %d, %u bytes, %.3f of the raw 32-bit size)\n", out.c_str(),
                image.width, image.height, size, size / raw);
    return 0;
}

const CommandRegistration registration({
    "pack",
    "IN.png OUT [--sixteen]",
    "pack a PNG into a packed picture file",
    "Reads IN.png (straight alpha) and writes OUT holding exactly the packed\n"
    "picture's bytes: the current 32-bit encoding, which keeps every pixel.\n"
    "With --sixteen, writes the sixteen-bit layout instead: each colour keeps\n"
    "five bits a channel, and pixels with alpha below 128 become transparent.\n",
    RunPack,
});

} // namespace
