// What the transfer files share.
#ifndef SPRIG_TRANSFER_TRANSFER_P_H
#define SPRIG_TRANSFER_TRANSFER_P_H

#include "sprig/transfer.h"

// Composites srcRect of a buffer (row length srcRowPixels) over the
// same-size dstRect of dst with MyMixColors, clipped to dst's bounds; the
// source follows the clipped destination.
void CompositeSameSize(const uint32_t* src, int32_t srcRowPixels, GWorldPtr dst,
                       const Rect& srcRect, const Rect& dstRect);


#endif
