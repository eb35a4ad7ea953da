// sprig check: is a packed picture file well formed?
#include <cstdio>

#include "tools/command.h"
#include "tools/packed_file.h"

namespace {

int RunCheck(const std::vector<std::string>& given)
{
    std::vector<std::string> args = given;
    uint64_t maxPixels = kDefaultMaxPixels;
    std::string error;
    if (!TakeMaxPixels(&args, &maxPixels, &error))
        return Fail(error);
    for (const std::string& arg : args)
        if (arg.size() > 1 && arg[0] == '-')
            return Fail("check: unknown option '" + arg + "' (see sprig check --help)");
    if (args.size() != 1)
        return Fail("check wants one packed picture file (see sprig check --help)");
    PackedFile file;
    if (!LoadPackedFile(args[0], maxPixels, &file, &error))
        return Fail(error);
    std::printf("%s: well formed (%s, %d x %d)\n", args[0].c_str(),
                DescribeLayout(file.info).c_str(), file.info.width, file.info.height);
    return 0;
}

const CommandRegistration registration({
    "check",
    "IN [--max-pixels N]",
    "check that a file holds a well-formed packed picture",
    "Exits with 0 when IN holds exactly one well-formed packed picture (32-bit\n"
    "layout, either encoding, or sixteen-bit layout): header and signature,\n"
    "width and height from 1 to 32767, the size word against the file's\n"
    "length, every row table entry and packet inside the picture, and each\n"
    "row's packets covering exactly its width. Otherwise prints one line naming\n"
    "the file and the first fault found, and exits with 1. A picture larger\n"
    "than the pixel limit, which the other commands would refuse, is reported\n"
    "too.\n"
    "\n" SPRIG_MAX_PIXELS_HELP,
    RunCheck,
});

} // namespace
