// sprig paint: a sample painting made with the paint tools, written as PNG,
// to show how the soft brush, spray, shapes and eraser look.
#include <cstdio>
#include <memory>

#include "tools/command.h"
#include "tools/output_file.h"
#include "tools/paint_scene.h"
#include "tools/world.h"

namespace {

int RunPaint(const std::vector<std::string>& args)
{
    PictureArgs parsed = {"paint.png", 320, 240};
    std::string error;
    if (!ParsePictureArgs(args, "paint", kPaintSceneMinWidth, kPaintSceneMinHeight, &parsed,
                          &error))
        return Fail(error);
    const long width = parsed.width;
    const long height = parsed.height;

    OutputFile out;
    WorldPtr world = NewWorld(static_cast<int>(width), static_cast<int>(height), &error);
    if (!world)
        return Fail(error);
    if (!out.Open(parsed.out, {}, &error) || !PaintSampleScene(world.get(), &error) ||
        !WriteWorldPng(out, world.get(), &error) || !out.Commit(&error))
        return Fail(error);
    if (!out.SharesStandardOutput())
        std::printf("wrote %s (%ld x %ld)\n", out.Path().c_str(), width, height);
    return 0;
}

const CommandRegistration registration({
    "paint",
    "[OUT.png] [--width W] [--height H]",
    "paint a sample picture with the paint tools and write it as PNG",
    "Paints on warm paper, with the library's paint tools only: a zigzag of soft\n"
    "round brush lines, a spray of dots, an ellipse filled with a texture, a\n"
    "rectangle outline, and an erase stroke that leaves a transparent track.\n"
    "The picture is W x H (default 320 x 240, at least 64 x 48) and goes to\n"
    "OUT.png (default paint.png).\n"
    "\n" SPRIG_OUTPUT_HELP,
    RunPaint,
});

} // namespace
