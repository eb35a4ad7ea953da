// Packed picture files for the sprig tool: a file holds exactly one packed
// picture, of the 32-bit layout (either encoding) or the sixteen-bit layout.
#ifndef SPRIG_TOOLS_PACKED_FILE_H
#define SPRIG_TOOLS_PACKED_FILE_H

#include <cstdint>
#include <string>
#include <vector>

#include "sprig/packing.h"

struct PackedFile
{
    std::vector<uint32_t> words; // the file's bytes, word-aligned, zero-padded
    size_t length = 0;           // the file's length in bytes
    PackedPictureInfo info = {};

    bool IsSixteenBit() const { return info.encoding == kPacked16; }
    const uint8_t* Bytes() const { return reinterpret_cast<const uint8_t*>(words.data()); }
};

// Reads a file and checks that it holds one well-formed packed picture and
// nothing after it. On failure, *error names the file and the fault.
bool LoadPackedFile(const std::string& path, PackedFile* file, std::string* error);

// "current encoding (Format01)" and the like.
std::string DescribeLayout(const PackedPictureInfo& info);

#endif
