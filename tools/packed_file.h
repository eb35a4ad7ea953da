// Packed picture files for the sprig tool: a file holds exactly one packed
// picture, of the 32-bit layout (either encoding) or the sixteen-bit layout.
#ifndef SPRIG_TOOLS_PACKED_FILE_H
#define SPRIG_TOOLS_PACKED_FILE_H

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "sprig/packing.h"
#include "tools/file_io.h"

struct PackedFile
{
    std::vector<uint32_t> words; // the file's bytes, word-aligned, zero-padded
    size_t length = 0;           // the file's length in bytes
    PackedPictureInfo info = {};

    bool IsSixteenBit() const { return info.encoding == kPacked16; }
    const uint8_t* Bytes() const { return reinterpret_cast<const uint8_t*>(words.data()); }
};

// Checks that a file read by ReadPictureFile holds one well-formed packed
// picture and nothing after it, and takes its bytes. On failure, *error
// names the file and the fault.
bool TakePackedFile(const std::string& path, PictureFile&& file, PackedFile* packed,
                    std::string* error);

// ReadPictureFile, then TakePackedFile.
bool LoadPackedFile(const std::string& path, uint64_t maxPixels, PackedFile* file,
                    std::string* error);

// "current encoding (Format01)" and the like.
std::string DescribeLayout(const PackedPictureInfo& info);

struct FreeDeleter
{
    void operator()(void* block) const { std::free(block); }
};

struct PackedBlock
{
    std::unique_ptr<uint32_t, FreeDeleter> data;
    uint32_t size = 0; // bytes
};

// Packs a picture in the current 32-bit encoding, which keeps every pixel,
// or with `sixteen` in the sixteen-bit layout: five bits a channel, and
// alpha below 128 transparent. False when memory runs out.
bool PackImage(PixelImage image, bool sixteen, PackedBlock* packed);

// A pixel word as the 16-bit value PackImage stores for it.
uint32_t To16(uint32_t pixel);

#endif
