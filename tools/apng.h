// Animated PNG: a sequence of frames of the same size in one PNG file that
// browsers and image viewers play (and that shows its first frame anywhere
// else).
#ifndef SPRIG_TOOLS_APNG_H
#define SPRIG_TOOLS_APNG_H

#include <cstdint>
#include <string>
#include <vector>

// Collects frames one at a time (each compressed as it comes, so that only
// the compressed data is kept) and writes them as one animated PNG that
// loops forever, each frame shown for delayMs milliseconds.
class AnimatedPng
{
  public:
    AnimatedPng(int width, int height, int delayMs);

    // Adds a frame of pixel words (bytes alpha, red, green, blue), rows
    // rowBytes apart. False when it cannot be compressed.
    bool AddFrame(const uint32_t* pixels, int32_t rowBytes);
    size_t FrameCount() const { return mFrames; }

    // Writes the file whole or not at all; on failure *error names the file
    // and the problem.
    bool Write(const std::string& path, std::string* error) const;

  private:
    int mWidth;
    int mHeight;
    int mDelayMs;
    size_t mFrames = 0;
    uint32_t mSequence = 0;
    std::vector<uint8_t> mChunks; // fcTL, IDAT / fdAT of every frame so far
};

#endif
