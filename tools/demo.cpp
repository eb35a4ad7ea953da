// sprig demo: the demo host. Runs the demo scene (tools/demo_scene.h) for a
// number of frames and writes each frame as a PNG, the whole run as an
// animated PNG, and a checksum of each frame's pixels, into a folder.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "tools/apng.h"
#include "tools/command.h"
#include "tools/demo_scene.h"
#include "tools/output_file.h"

namespace {

constexpr int kFrameDelayMs = 80;

// Makes the folder (and its parents) unless it exists; false with *error
// naming it when it cannot be made or is not a writable folder.
bool MakeFolder(const std::string& path, std::string* error)
{
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        const std::string part = path.substr(0, slash);
        if (!part.empty() && mkdir(part.c_str(), 0777) != 0 && errno != EEXIST) {
            *error = part + ": cannot make the folder (" + std::strerror(errno) + ")";
            return false;
        }
        if (slash == std::string::npos)
            break;
    }
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        *error = path + ": not a folder";
        return false;
    }
    if (access(path.c_str(), W_OK) != 0) {
        *error = path + ": cannot write into the folder (" + std::strerror(errno) + ")";
        return false;
    }
    return true;
}

std::string FrameName(int frame)
{
    char name[32];
    std::snprintf(name, sizeof name, "frame_%03d.png", frame);
    return name;
}

int WriteFrames(const std::string& folder, int zoom, int frames);

int RunDemo(const std::vector<std::string>& args)
{
    long frames = 60;
    long zoom = 2;
    std::string folder = "out/demo";
    for (size_t i = 0; i < args.size(); i++) {
        std::string value;
        if (TakeOption(args, i, "--frames", &value)) {
            if (!ParseInt(value, 1, 999, &frames))
                return Fail("--frames wants a whole number from 1 to 999, not '" + value + "'");
        } else if (TakeOption(args, i, "--zoom", &value)) {
            if (!ParseInt(value, 1, 4, &zoom))
                return Fail("--zoom wants a whole number from 1 to 4, not '" + value + "'");
        } else if (TakeOption(args, i, "--out", &value)) {
            folder = value;
        } else if (args[i] == "--frames" || args[i] == "--zoom" || args[i] == "--out") {
            return Fail(args[i] + " wants a value (see sprig demo --help)");
        } else {
            return Fail("demo: unknown argument '" + args[i] + "' (see sprig demo --help)");
        }
    }
    if (folder.empty())
        return Fail("--out wants a folder");

    std::string error;
    if (!MakeFolder(folder, &error))
        return Fail(error);
    try {
        return WriteFrames(folder, static_cast<int>(zoom), static_cast<int>(frames));
    } catch (const sprig::Error& e) {
        return Fail(e.what());
    }
}

// Runs the scene and writes its frames, animation and checksums; throws
// sprig::Error when the scene cannot be made or a frame cannot be written.
int WriteFrames(const std::string& folder, int zoom, int frames)
{
    std::string error;
    DemoScene scene(zoom, frames);

    AnimatedPng animation(scene.Width(), scene.Height(), kFrameDelayMs);
    std::string checksums;
    const bool showProgress = isatty(STDERR_FILENO);
    long areas = 0;
    for (int frame = 0; frame < frames; frame++) {
        const int invalidated = scene.Step(frame);
        areas += invalidated;
        const sprig::Image& pixels = scene.Frame();
        const std::string name = FrameName(frame);
        pixels.savePng(folder + "/" + name);
        if (!animation.AddFrame(pixels.row(0).begin(), static_cast<int32_t>(pixels.strideBytes())))
            return Fail(folder + "/demo.png: cannot compress frame " + std::to_string(frame));
        char line[64];
        std::snprintf(line, sizeof line, "%s %016" PRIx64 "\n", name.c_str(),
                      ImageChecksum(pixels));
        checksums += line;
        // One progress line, rewritten in place on a terminal.
        std::fprintf(stderr, "%srendering frame %d/%d (%d areas redrawn)%s",
                     showProgress ? "\r" : "", frame + 1, frames, invalidated,
                     showProgress ? "\033[K" : "\n");
    }
    if (showProgress)
        std::fprintf(stderr, "\n");
    if (!animation.Write(folder + "/demo.png", &error))
        return Fail(error);
    if (!WriteOutputFile(folder + "/checksums.txt", checksums.data(), checksums.size(), &error))
        return Fail(error);
    std::printf("wrote %d frames of %d x %d (%ld areas redrawn) and the animation demo.png to "
                "%s\n",
                frames, scene.Width(), scene.Height(), areas, folder.c_str());
    return 0;
}

const CommandRegistration registration({
    "demo",
    "[--frames N] [--zoom Z] [--out DIR]",
    "run the sprite engine's demo scene and write its frames and an animated PNG",
    "Runs a 480 x 360 stage for N frames (default 60): turtles whose pen lines\n"
    "wrap across the stage's edges, a star that leaves stamps, an eraser, a\n"
    "painting made with the paint tools, a ball that changes colour while it\n"
    "touches the painting, and a glow fading in and out. Each frame is rendered\n"
    "by the library's C++ layer (its changed areas drawn again) into a view Z\n"
    "times the stage's size (default 2) and written to DIR (default out/demo)\n"
    "as frame_NNN.png; DIR also gets demo.png, all frames as an animated PNG,\n"
    "and checksums.txt, a 64-bit FNV-1a checksum of each frame's pixel words.\n",
    RunDemo,
});

} // namespace
