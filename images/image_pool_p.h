// The pool's way in for pictures that need no check, shared with the
// library's tests and benchmarks.
#ifndef SPRIG_IMAGES_IMAGE_POOL_P_H
#define SPRIG_IMAGES_IMAGE_POOL_P_H

#include "sprig/images.h"

// True when the record describes a picture the pool takes: a packed picture
// that passes CheckPackedPicture within the record's size, whose header
// gives the record's width and height.
bool RecordFitsPicture(const char* record);

// Stores a copy of the record's picture under number, replacing the slot's
// picture, without checking it; a number above 15999 stores nothing. Only
// for pictures known to be sound: a copy of one the pool holds, or one
// RecordFitsPicture has passed.
void StoreCheckedPicture(CImagePool& pool, int32_t number, char* record);

#endif
