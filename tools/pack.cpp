// sprig pack: a PNG file into a packed picture file.
#include <cstdio>

#include "tools/command.h"
#include "tools/file_io.h"
#include "tools/output_file.h"
#include "tools/packed_file.h"

namespace {

int RunPack(const std::vector<std::string>& args)
{
    std::vector<std::string> files = args;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&files, &maxPixels, &error))
        return Fail(error);
    bool sixteen = false;
    for (size_t i = 0; i < files.size();) {
        if (files[i] == "--sixteen") {
            sixteen = true;
            files.erase(files.begin() + long(i));
        } else if (files[i].size() > 1 && files[i][0] == '-') {
            return Fail("pack: unknown option '" + files[i] + "' (see sprig pack --help)");
        } else {
            i++;
        }
    }
    if (files.size() != 2)
        return Fail("pack wants an input PNG and an output file (see sprig pack --help)");
    const std::string& in = files[0];

    // The output first: a bad one is reported before any work, and the
    // temporary file is there to clean up whenever the command stops.
    OutputFile out;
    PixelImage image;
    if (!out.Open(files[1], {in}, &error) || !ReadPng(in, maxPixels, &image, &error))
        return Fail(error);
    const int width = image.width;
    const int height = image.height;
    PackedBlock packed;
    if (!PackImage(std::move(image), sixteen, &packed))
        return Fail(in + ": not enough memory to pack a " + std::to_string(width) + " x " +
                    std::to_string(height) + " picture");
    if (!out.Write(packed.data.get(), packed.size, &error) || !out.Commit(&error))
        return Fail(error);
    if (!out.SharesStandardOutput())
        std::printf("wrote %s (%d x %d, %u bytes, %.3f of the raw 32-bit size)\n",
                    out.Path().c_str(), width, height, packed.size,
                    packed.size / (4.0 * width * height));
    return 0;
}

const CommandRegistration registration({
    "pack",
    "IN.png OUT [--sixteen] [--max-pixels N]",
    "pack a PNG into a packed picture file",
    "Reads IN.png (straight alpha) and writes OUT holding exactly the packed\n"
    "picture's bytes: the current 32-bit encoding, which keeps every pixel.\n"
    "With --sixteen, writes the sixteen-bit layout instead: each colour keeps\n"
    "five bits a channel, and pixels with alpha below 128 become transparent.\n"
    "\n" SPRIG_OUTPUT_HELP "\n" SPRIG_MAX_PIXELS_HELP,
    RunPack,
});

} // namespace
