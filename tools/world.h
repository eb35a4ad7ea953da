// Worlds for the sprig tool's commands: owned, made with a clear error, and
// written out as PNG.
#ifndef SPRIG_TOOLS_WORLD_H
#define SPRIG_TOOLS_WORLD_H

#include <memory>
#include <string>

#include "sprig/platform.h"

class OutputFile;

struct WorldDeleter
{
    void operator()(OpaqueGrafPtr* world) const { DisposeGWorld(world); }
};
using WorldPtr = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

// A new world of width x height with transparent black pixels, or null with
// *error saying why.
WorldPtr NewWorld(int width, int height, std::string* error);

// The first pixel word of row v.
uint32_t* WorldRow(GWorldPtr world, int v);

// Writes the whole world as a PNG with straight alpha, to an open output or
// to a file of its own.
bool WriteWorldPng(OutputFile& out, GWorldPtr world, std::string* error);
bool WriteWorldPng(const std::string& path, GWorldPtr world, std::string* error);

#endif
