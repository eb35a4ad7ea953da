// What the transfer files share.
#ifndef SPRIG_TRANSFER_TRANSFER_P_H
#define SPRIG_TRANSFER_TRANSFER_P_H

#include "sprig/transfer.h"

// Composites srcRect of a buffer (row length srcRowPixels) over the
// same-size dstRect of dst with MyMixColors, clipped to dst's bounds; the
// source follows the clipped destination.
void CompositeSameSize(const uint32_t* src, int32_t srcRowPixels, GWorldPtr dst,
                       const Rect& srcRect, const Rect& dstRect);

// Blends count source pixels over count destination pixels with the
// library's blend; CompositeRowScalar is the plain loop the faster one is
// checked against.
void CompositeRow(const uint32_t* src, uint32_t* dst, int count);
void CompositeRowScalar(const uint32_t* src, uint32_t* dst, int count);

#endif
