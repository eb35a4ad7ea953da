// sprig unpack: a packed picture file into a PNG file.
#include <cstdio>
#include <cstring>
#include <memory>

#include "sprig/packing.h"
#include "tools/command.h"
#include "tools/output_file.h"
#include "tools/packed_file.h"

namespace {

// The picture's pixels, rows 4 * width bytes apart; null when memory runs
// out.
uint32_t* Expand(PackedFile& file)
{
    const int32_t width = file.info.width;
    const int32_t height = file.info.height;
    if (!file.IsSixteenBit()) {
        int32_t w, h, rowBytes;
        return Uncompress(file.words.data(), &w, &h, &rowBytes);
    }
    // Row by row into a plain buffer: worlds are narrower than the widest
    // picture.
    auto* pixels = new (std::nothrow) uint32_t[static_cast<size_t>(width) * height];
    if (!pixels)
        return nullptr;
    const uint8_t* table = file.Bytes() + 12;
    const uint8_t* rows = table + 4 * static_cast<size_t>(height);
    for (int32_t r = 0; r < height; r++) {
        uint32_t entry;
        std::memcpy(&entry, table + 4 * static_cast<size_t>(r), 4);
        UncompressRow16(const_cast<char*>(reinterpret_cast<const char*>(rows + entry)), width,
                        pixels + static_cast<size_t>(r) * width);
    }
    return pixels;
}

int RunUnpack(const std::vector<std::string>& given)
{
    std::vector<std::string> args = given;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&args, &maxPixels, &error))
        return Fail(error);
    for (const std::string& arg : args)
        if (arg.size() > 1 && arg[0] == '-')
            return Fail("unpack: unknown option '" + arg + "' (see sprig unpack --help)");
    if (args.size() != 2)
        return Fail("unpack wants a packed picture file and an output PNG (see sprig unpack "
                    "--help)");
    const std::string& in = args[0];

    OutputFile out;
    PackedFile file;
    if (!out.Open(args[1], {in}, &error) || !LoadPackedFile(in, maxPixels, &file, &error))
        return Fail(error);
    const int32_t width = file.info.width;
    const int32_t height = file.info.height;
    std::unique_ptr<uint32_t[]> pixels;
    try {
        pixels.reset(Expand(file));
    } catch (const std::bad_alloc&) {
    }
    if (!pixels)
        return Fail(in + ": not enough memory to expand a " + std::to_string(width) + " x " +
                    std::to_string(height) + " picture");
    if (!WritePng(out, pixels.get(), width, height, 4 * width, &error) || !out.Commit(&error))
        return Fail(error);
    if (!out.SharesStandardOutput())
        std::printf("wrote %s (%d x %d, from a %s)\n", out.Path().c_str(), width, height,
                    DescribeLayout(file.info).c_str());
    return 0;
}

const CommandRegistration registration({
    "unpack",
    "IN OUT.png [--max-pixels N]",
    "expand a packed picture file into a PNG",
    "Reads IN, a packed picture of the 32-bit layout (current or older\n"
    "encoding) or of the sixteen-bit layout with its 12-byte header, checks it,\n"
    "and writes its pixels to OUT.png with straight alpha.\n"
    "\n" SPRIG_OUTPUT_HELP "\n" SPRIG_MAX_PIXELS_HELP,
    RunUnpack,
});

} // namespace
