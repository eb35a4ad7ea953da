// Files for the sprig tool: PNG pictures in the library's pixel layout, and
// outputs that are written whole or not at all.
#ifndef SPRIG_TOOLS_FILE_IO_H
#define SPRIG_TOOLS_FILE_IO_H

#include <cstdint>
#include <string>
#include <vector>

// 32-bit pixels, bytes alpha, red, green, blue in memory, straight alpha,
// rows 4 * width bytes apart.
struct PixelImage
{
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;
};

// Reads a PNG of at most 32767 x 32767 pixels. On failure, *error names the
// file and the problem.
bool ReadPng(const std::string& path, PixelImage* image, std::string* error);

// Writes pixels with the given row distance as a PNG with straight alpha.
bool WritePng(const std::string& path, const uint32_t* pixels, int width, int height,
              int32_t rowBytes, std::string* error);

bool ReadFileBytes(const std::string& path, std::vector<uint8_t>* bytes, std::string* error);

// Writes to a temporary file beside path and renames it into place, so that
// path holds either the whole output or what it held before.
bool WriteFileAtomically(const std::string& path, const void* data, size_t size,
                         std::string* error);

#endif
