#include "tools/world.h"

#include "tools/output_file.h"

WorldPtr NewWorld(int width, int height, std::string* error)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    const OSErr err = width > 0x7FFF || height > 0x7FFF
                          ? OSErr{paramErr}
                          : NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0);
    if (err != noErr) {
        *error = "cannot make a " + std::to_string(width) + " x " + std::to_string(height) +
                 " world (error " + std::to_string(err) +
                 (err == paramErr ? ": at most 4092 pixels wide)" : ")");
        return nullptr;
    }
    return WorldPtr(world);
}

uint32_t* WorldRow(GWorldPtr world, int v)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm));
}

bool WriteWorldPng(OutputFile& out, GWorldPtr world, std::string* error)
{
    Rect bounds;
    GetPortBounds(world, &bounds);
    PixMapHandle pm = GetGWorldPixMap(world);
    return WritePng(out, reinterpret_cast<const uint32_t*>(GetPixBaseAddr(pm)), bounds.right,
                    bounds.bottom, GetPixRowBytes(pm), error);
}

bool WriteWorldPng(const std::string& path, GWorldPtr world, std::string* error)
{
    OutputFile out;
    return out.Open(path, {}, error) && WriteWorldPng(out, world, error) && out.Commit(error);
}
