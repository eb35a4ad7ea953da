// CopyBits: block transfer between 32-bit pixel maps with scaling by pixel
// replication. Destination pixel (x, y) of dstRect takes source pixel
//
//     srcRect.left + (x - dstRect.left) * srcWidth / dstWidth
//     srcRect.top  + (y - dstRect.top) * srcHeight / dstHeight
//
// (integer division), so enlarging by k repeats every source pixel k times in
// each direction. All four bytes travel: alpha is copied like the colours.
#include <cstdio>
#include <vector>

#include "platform/region_p.h"
#include "platform/world_p.h"

namespace {

// Reports a refused call once per kind of refusal, on standard error.
void Refuse(bool* reported, const char* message, int value)
{
    if (*reported)
        return;
    *reported = true;
    std::fprintf(stderr, "sprig: CopyBits: %s (%d); nothing copied\n", message, value);
}

bool IsDirect32(const BitMap* bits)
{
    return (bits->rowBytes & 0x8000) && reinterpret_cast<const PixMap*>(bits)->pixelSize == 32;
}

// Source columns (or rows) for each destination column (or row) of dstRect.
std::vector<int> NearestIndices(int srcStart, int srcLength, int dstLength)
{
    std::vector<int> index(static_cast<size_t>(dstLength));
    for (int i = 0; i < dstLength; i++)
        index[static_cast<size_t>(i)] =
            srcStart + static_cast<int>(int64_t{i} * srcLength / dstLength);
    return index;
}

} // namespace

extern "C" void CopyBits(const BitMap* srcBits, const BitMap* dstBits, const Rect* srcRect,
                         const Rect* dstRect, int16_t mode, RgnHandle mask)
{
    static bool reportedMode = false;
    static bool reportedDepth = false;
    if (mode != srcCopy) {
        Refuse(&reportedMode, "only the transfer mode srcCopy (0) is supported, not", mode);
        return;
    }
    if (!IsDirect32(srcBits) || !IsDirect32(dstBits)) {
        Refuse(&reportedDepth, "only 32-bit pixel maps are supported; row bytes field",
               !IsDirect32(srcBits) ? srcBits->rowBytes : dstBits->rowBytes);
        return;
    }
    if (EmptyRect(srcRect) || EmptyRect(dstRect))
        return;

    const auto* src = reinterpret_cast<const PixMap*>(srcBits);
    const auto* dst = reinterpret_cast<const PixMap*>(dstBits);
    CompletePendingWork(src);
    CompletePendingWork(dst);
    ForgetDrawnBoxes(dst);
    const int srcW = srcRect->right - srcRect->left;
    const int srcH = srcRect->bottom - srcRect->top;
    const int dstW = dstRect->right - dstRect->left;
    const int dstH = dstRect->bottom - dstRect->top;
    const std::vector<int> column = NearestIndices(srcRect->left, srcW, dstW);
    const std::vector<int> row = NearestIndices(srcRect->top, srcH, dstH);

    // The area written: dstRect within the destination's bounds and the mask,
    // less the pixels whose source lies outside the source's bounds.
    pixman_region32_t area;
    pixman_region32_init_rect(&area, dstRect->left, dstRect->top, static_cast<unsigned>(dstW),
                              static_cast<unsigned>(dstH));
    pixman_region32_intersect_rect(&area, &area, dst->bounds.left, dst->bounds.top,
                                   static_cast<unsigned>(dst->bounds.right - dst->bounds.left),
                                   static_cast<unsigned>(dst->bounds.bottom - dst->bounds.top));
    if (mask)
        pixman_region32_intersect(&area, &area, PixmanRegion(mask));

    // A transfer within one pixel map reads from a copy of its source rows, so
    // that no source pixel is overwritten before it is read.
    std::vector<uint32_t> snapshot;
    const uint8_t* srcBase = reinterpret_cast<const uint8_t*>(src->baseAddr);
    intptr_t srcRowBytes = RowBytesOf(src);
    if (src->baseAddr == dst->baseAddr) {
        const int rows = src->bounds.bottom - src->bounds.top;
        snapshot.assign(static_cast<const uint32_t*>(static_cast<const void*>(srcBase)),
                        static_cast<const uint32_t*>(static_cast<const void*>(
                            srcBase + static_cast<intptr_t>(rows) * srcRowBytes)));
        srcBase = reinterpret_cast<const uint8_t*>(snapshot.data());
    }

    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&area, &count);
    for (int i = 0; i < count; i++) {
        const pixman_box32_t& box = boxes[i];
        for (int y = box.y1; y < box.y2; y++) {
            const int sy = row[static_cast<size_t>(y - dstRect->top)];
            if (sy < src->bounds.top || sy >= src->bounds.bottom)
                continue;
            const auto* s = reinterpret_cast<const uint32_t*>(srcBase + static_cast<intptr_t>(sy) *
                                                                            srcRowBytes);
            uint32_t* d = PixelAt(dst, box.x1, y);
            const int* sx = &column[static_cast<size_t>(box.x1 - dstRect->left)];
            for (int x = box.x1; x < box.x2; x++, d++, sx++) {
                if (*sx >= src->bounds.left && *sx < src->bounds.right)
                    *d = s[*sx];
            }
        }
    }
    pixman_region32_fini(&area);
}
