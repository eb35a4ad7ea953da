// Animated PNG writer.
//
// An animated PNG is a PNG whose IHDR is followed by an acTL chunk (frame
// count, plays) and, for each frame, an fcTL chunk (sequence number, size,
// offset, delay, disposal) and its image data: IDAT for the first frame, so
// that a reader without animation shows it, fdAT (a sequence number, then
// the same kind of data) for the others. Every chunk is length, type, data,
// CRC-32 of type and data, with big-endian numbers. Image data is the zlib
// stream of the rows, each row a filter byte (0 here) and its RGBA bytes.
#include "tools/apng.h"

#include <zlib.h>

#include "tools/output_file.h"

namespace {

void Put32(std::vector<uint8_t>& out, uint32_t v)
{
    out.push_back(static_cast<uint8_t>(v >> 24));
    out.push_back(static_cast<uint8_t>(v >> 16));
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

void Put16(std::vector<uint8_t>& out, uint16_t v)
{
    out.push_back(static_cast<uint8_t>(v >> 8));
    out.push_back(static_cast<uint8_t>(v));
}

void PutChunk(std::vector<uint8_t>& out, const char* type, const uint8_t* data, size_t size)
{
    Put32(out, static_cast<uint32_t>(size));
    const size_t start = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data, data + size);
    const uLong crc = crc32(0, out.data() + start, static_cast<uInt>(out.size() - start));
    Put32(out, static_cast<uint32_t>(crc));
}

void PutChunk(std::vector<uint8_t>& out, const char* type, const std::vector<uint8_t>& data)
{
    PutChunk(out, type, data.data(), data.size());
}

// The zlib stream of a frame's rows, or empty when compression fails.
std::vector<uint8_t> CompressFrame(const uint32_t* pixels, int32_t rowBytes, int width, int height)
{
    std::vector<uint8_t> raw;
    raw.reserve(static_cast<size_t>(height) * (1 + 4 * static_cast<size_t>(width)));
    for (int y = 0; y < height; y++) {
        raw.push_back(0); // filter: none
        const uint32_t* row = reinterpret_cast<const uint32_t*>(
            reinterpret_cast<const uint8_t*>(pixels) + static_cast<size_t>(y) * rowBytes);
        for (int x = 0; x < width; x++) {
            // [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA] -> R, G, B, A
            const uint32_t p = row[x];
            raw.push_back(static_cast<uint8_t>(p >> 8));
            raw.push_back(static_cast<uint8_t>(p >> 16));
            raw.push_back(static_cast<uint8_t>(p >> 24));
            raw.push_back(static_cast<uint8_t>(p));
        }
    }
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> packed(size);
    if (compress2(packed.data(), &size, raw.data(), static_cast<uLong>(raw.size()), 6) != Z_OK)
        return {};
    packed.resize(size);
    return packed;
}

} // namespace

AnimatedPng::AnimatedPng(int width, int height, int delayMs)
    : mWidth(width), mHeight(height), mDelayMs(delayMs)
{
}

bool AnimatedPng::AddFrame(const uint32_t* pixels, int32_t rowBytes)
{
    std::vector<uint8_t> data = CompressFrame(pixels, rowBytes, mWidth, mHeight);
    if (data.empty())
        return false;
    std::vector<uint8_t> control;
    Put32(control, mSequence++);
    Put32(control, static_cast<uint32_t>(mWidth));
    Put32(control, static_cast<uint32_t>(mHeight));
    Put32(control, 0); // x offset
    Put32(control, 0); // y offset
    Put16(control, static_cast<uint16_t>(mDelayMs));
    Put16(control, 1000); // delay denominator: milliseconds
    control.push_back(0); // dispose: none
    control.push_back(0); // blend: source (the frame replaces the canvas)
    PutChunk(mChunks, "fcTL", control);
    if (mFrames == 0) {
        PutChunk(mChunks, "IDAT", data);
    } else {
        std::vector<uint8_t> frameData;
        frameData.reserve(4 + data.size());
        Put32(frameData, mSequence++);
        frameData.insert(frameData.end(), data.begin(), data.end());
        PutChunk(mChunks, "fdAT", frameData);
    }
    mFrames++;
    return true;
}

bool AnimatedPng::Write(const std::string& path, std::string* error) const
{
    if (mFrames == 0 || mWidth <= 0 || mHeight <= 0) {
        *error = path + ": no frames to write";
        return false;
    }
    static const uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    std::vector<uint8_t> out(kSignature, kSignature + 8);

    std::vector<uint8_t> header;
    Put32(header, static_cast<uint32_t>(mWidth));
    Put32(header, static_cast<uint32_t>(mHeight));
    header.insert(header.end(), {8, 6, 0, 0, 0}); // 8 bits, RGBA, deflate, filters, no interlace
    PutChunk(out, "IHDR", header);

    std::vector<uint8_t> animation;
    Put32(animation, static_cast<uint32_t>(mFrames));
    Put32(animation, 0); // loop forever
    PutChunk(out, "acTL", animation);

    out.insert(out.end(), mChunks.begin(), mChunks.end());
    PutChunk(out, "IEND", nullptr, 0);
    return WriteOutputFile(path, out.data(), out.size(), error);
}
