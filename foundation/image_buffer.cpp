#include "sprig/foundation.h"

#include <cstdlib>

void* NewImageBuffer(short width, short height, int32_t& rowBytes)
{
    if (width < 0 || height < 0) {
        rowBytes = 0;
        return nullptr;
    }
    const int32_t paddedWidth = (width + 3) & ~3;
    rowBytes = paddedWidth * 4;
    // At most 32768 * 4 * 32767 bytes: size_t holds it without overflow.
    return std::malloc(static_cast<size_t>(rowBytes) * static_cast<size_t>(height));
}
