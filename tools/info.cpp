// sprig info: what a packed picture file holds.
#include <cstdio>

#include "tools/command.h"
#include "tools/packed_file.h"

namespace {

int RunInfo(const std::vector<std::string>& given)
{
    std::vector<std::string> args = given;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&args, &maxPixels, &error))
        return Fail(error);
    for (const std::string& arg : args)
        if (arg.size() > 1 && arg[0] == '-')
            return Fail("info: unknown option '" + arg + "' (see sprig info --help)");
    if (args.size() != 1)
        return Fail("info wants one packed picture file (see sprig info --help)");
    PackedFile file;
    if (!LoadPackedFile(args[0], maxPixels, &file, &error))
        return Fail(error);
    const PackedPictureInfo& info = file.info;
    const double raw = 4.0 * info.width * info.height;
    std::printf("file:     %s\n", args[0].c_str());
    std::printf("layout:   %s\n", file.IsSixteenBit() ? "sixteen-bit" : "32-bit");
    std::printf("encoding: %s\n", info.encoding == kPackedCurrent ? "current (Format01)"
                                  : info.encoding == kPackedOlder ? "older (Compress)"
                                                                  : "sixteen-bit run-length");
    std::printf("width:    %d\n", info.width);
    std::printf("height:   %d\n", info.height);
    std::printf("bytes:    %u\n", info.size);
    if (info.encoding == kPackedOlder)
        std::printf("packets:  %u runs, %u single pixels, %u rows filled from the row table\n",
                    info.runs, info.literals, info.filledRows);
    else
        std::printf("packets:  %u runs, %u literals\n", info.runs, info.literals);
    std::printf("ratio:    %.4f of the raw 32-bit size (%.0f bytes)\n", info.size / raw, raw);
    return 0;
}

const CommandRegistration registration({
    "info",
    "IN [--max-pixels N]",
    "describe a packed picture file",
    "Prints the layout, encoding, width, height, size in bytes, packets by kind\n"
    "and the ratio of the size to the raw 32-bit size (4 x width x height) of\n"
    "the packed picture in IN. A damaged file is reported as sprig check does.\n"
    "\n" SPRIG_MAX_PIXELS_HELP,
    RunInfo,
});

} // namespace
