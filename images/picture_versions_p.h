// What the images subsystem keeps beside each picture, for as long as the
// picture lives: copies of it at other scales and opacities that are not its
// derived copy at the moment (spares), and a mask of its solid pixels.
//
// A picture's packed pixels never change after it is made, so everything
// kept here stays right until the picture is destroyed (a slot replaced or
// erased, the pool cleared), and is destroyed with it.
//
// The sprite engine's collision test reaches this header directly: it needs
// versions of a picture that leave the pool's cached copies untouched, and
// the solid-pixel masks, neither of which belongs in the exported interface.
#ifndef SPRIG_IMAGES_PICTURE_VERSIONS_P_H
#define SPRIG_IMAGES_PICTURE_VERSIONS_P_H

#include <cstdint>

#include "sprig/images.h"

// How a copy was made from its picture: Resize (the parameter is the scale)
// or ResetOpacity (the parameter is the opacity).
enum class VersionKind : uint8_t
{
    kScaled,
    kFaded
};

// The copies Resize and ResetOpacity make, built from the picture's packed
// pixels and its width and height; the picture itself is left unchanged.
// BuildScaled throws paramErr for a copy wider or taller than 32767.
CImage* BuildScaled(const CImage& source, uint32_t scale);
CImage* BuildFaded(const CImage& source, int opacity);

// Puts the copy that `owner` made as its derived copy (Resize or
// ResetOpacity of the given kind and parameter) in place of the current
// one. The current derived copy is set aside among owner's spares when it
// is one owner made, and destroyed otherwise, as a plain replacement would.
void ReplaceDerived(CImage* owner, CImage* copy, VersionKind kind, int32_t parameter);

// Whether owner keeps a spare it made with that kind and parameter.
bool HasSpare(const CImage* owner, VersionKind kind, int32_t parameter);

// That spare, taken out of the spares and made owner's derived copy (the
// previous one set aside), left exactly as a fresh build would leave it;
// false when there is none.
bool RestoreSpare(CImage* owner, VersionKind kind, int32_t parameter);

// The picture a fresh copy of `natural` (a pool slot's own picture) shows at
// size and opacity, as the pool's GetImage would build it on that copy: the
// scaled copy, then its faded copy. Taken from natural's derived chain or
// spares when they hold it, otherwise built and kept among the spares; the
// derived chain is never changed, nor any picture's fields. The result stays
// valid until the next call into this header or into Resize/ResetOpacity.
CImage* PictureVersion(CImage* natural, int32_t size, short opacity);

// True when some pixel of picture a at (ax + j, ay + i) and the pixel of
// picture b at (bx + j, by + i) both have a non-zero alpha, for 0 <= i <
// rows and 0 <= j < columns; the areas must lie inside the pictures. Reads
// each picture's mask of solid pixels, made on first use.
bool SolidPixelsMeet(CImage* a, int32_t ax, int32_t ay, CImage* b, int32_t bx, int32_t by,
                     int32_t columns, int32_t rows);

// How many pictures have been destroyed so far: a picture handed out stays
// valid for as long as this stays the same. The destructor notes each.
uint64_t PicturesDestroyed();
void NotePictureDestroyed();

// Destroys what is kept for the picture; its destructor calls it.
void ForgetPicture(const CImage* picture);

// The number of spares kept for a picture and the bytes of packed pixels
// all spares hold, for tests.
int32_t SpareCount(const CImage* picture);
uint64_t SpareBytes();

#endif
