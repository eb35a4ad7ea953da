// sprig unpack: a packed picture file into a PNG file.
#include <cstdio>
#include <cstring>
#include <memory>

#include "sprig/packing.h"
#include "tools/command.h"
#include "tools/file_io.h"
#include "tools/packed_file.h"

namespace {

int RunUnpack(const std::vector<std::string>& args)
{
    for (const std::string& arg : args)
        if (arg.size() > 1 && arg[0] == '-')
            return Fail("unpack: unknown option '" + arg + "' (see sprig unpack --help)");
    if (args.size() != 2)
        return Fail("unpack wants a packed picture file and an output PNG (see sprig unpack "
                    "--help)");
    const std::string& in = args[0];
    const std::string& out = args[1];

    PackedFile file;
    std::string error;
    if (!LoadPackedFile(in, &file, &error))
        return Fail(error);
    const int32_t width = file.info.width;
    const int32_t height = file.info.height;
    std::unique_ptr<uint32_t[]> pixels;
    int32_t rowBytes = 4 * width;
    try {
        if (file.IsSixteenBit()) {
            // Row by row into a plain buffer: worlds are narrower than the
            // widest picture.
            pixels.reset(new uint32_t[static_cast<size_t>(width) * height]);
            const uint8_t* table = file.Bytes() + 12;
            const uint8_t* rows = table + 4 * static_cast<size_t>(height);
            for (int32_t r = 0; r < height; r++) {
                uint32_t entry;
                std::memcpy(&entry, table + 4 * static_cast<size_t>(r), 4);
                UncompressRow16(const_cast<char*>(reinterpret_cast<const char*>(rows + entry)),
                                width, pixels.get() + static_cast<size_t>(r) * width);
            }
        } else {
            int32_t w, h;
            pixels.reset(Uncompress(file.words.data(), &w, &h, &rowBytes));
        }
    } catch (const std::bad_alloc&) {
        return Fail(in + ": not enough memory to expand a " + std::to_string(width) + " x " +
                    std::to_string(height) + " picture");
    }
    if (!WritePng(out, pixels.get(), width, height, rowBytes, &error))
        return Fail(error);
    std::printf("wrote %s (%d x %d, from a %s)\n", out.c_str(), width, height,
                DescribeLayout(file.info).c_str());
    return 0;
}

const CommandRegistration registration({
    "unpack",
    "IN OUT.png",
    "expand a packed picture file into a PNG",
    "Reads IN, a packed picture of the 32-bit layout (current or older\n"
    "encoding) or of the sixteen-bit layout with its 12-byte header, checks it,\n"
    "and writes its pixels to OUT.png with straight alpha.\n",
    RunUnpack,
});

} // namespace
