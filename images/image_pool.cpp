// The numbered picture pool and the exported picture functions.
//
// Every picture the host hands in is checked before it is stored (see
// RecordFitsPicture), so the pictures in the pool are sound and the decoders
// and drawing code that read them need no checks of their own.
#include <cstring>

#include "images/image_pool_p.h"
#include "sprig/packing.h"

CImagePool gImagePool;

namespace {

inline bool InRange(int32_t number)
{
    return number >= 0 && number < CImagePool::kSlots;
}

// The slot's own picture, or null for an empty slot or a number out of range.
CImage* NaturalPicture(int32_t number)
{
    return InRange(number) ? gImagePool.GetImage(number, 40, 255) : nullptr;
}

} // namespace

bool RecordFitsPicture(const char* recordBytes)
{
    if (!recordBytes)
        return false;
    PictureRecord record;
    std::memcpy(&record, recordBytes, sizeof record);
    if (!CheckPackedPicture(record.data, record.size, nullptr))
        return false;
    // Header words 4 and 5, inside the picture the check has just passed.
    int32_t sides[2];
    std::memcpy(sides, static_cast<const char*>(record.data) + 16, sizeof sides);
    return sides[0] == record.width && sides[1] == record.height;
}

void StoreCheckedPicture(CImagePool& pool, int32_t number, char* record)
{
    if (number > CImagePool::kSlots - 1)
        return;
    // The record may point into the picture being replaced: build first.
    CImage* image = new CImage(record);
    delete pool.mImages[number];
    pool.mImages[number] = image;
}

CImagePool::CImagePool()
{
    for (CImage*& slot : mImages)
        slot = nullptr;
}

CImagePool::~CImagePool()
{
    DeleteAll();
}

int32_t CImagePool::GetFree()
{
    for (int32_t number = kFirstFree; number < kSlots; number++) {
        if (!mImages[number])
            return number;
    }
    return -1;
}

void CImagePool::SetImage(int32_t number, char* record)
{
    if (number > kSlots - 1)
        return;
    if (!RecordFitsPicture(record))
        throw static_cast<short>(paramErr);
    StoreCheckedPicture(*this, number, record);
}

void CImagePool::SetWinImage(int32_t number, char* record)
{
    SetImage(number, record);
}

void CImagePool::GetImageInfo(int32_t number, char* record, bool b)
{
    mImages[number]->GetInfo(record, b);
}

void CImagePool::EraseImage(int32_t number)
{
    delete mImages[number];
    mImages[number] = nullptr;
}

CImage* CImagePool::GetImage(int32_t number, int32_t scale, short opacity)
{
    CImage* picture = mImages[number];
    if (picture && scale != 40) {
        picture->Resize(static_cast<uint32_t>(scale));
        picture = picture->derived;
    }
    if (!picture || opacity == 255)
        return picture;
    picture->ResetOpacity(opacity);
    return picture->derived;
}

void CImagePool::CopyImage(int32_t from, int32_t to)
{
    PictureRecord record;
    GetImageInfo(from, reinterpret_cast<char*>(&record), false);
    // A picture of the pool was checked when it came in.
    StoreCheckedPicture(*this, to, reinterpret_cast<char*>(&record));
}

void CImagePool::DeleteAll()
{
    for (CImage*& slot : mImages) {
        delete slot;
        slot = nullptr;
    }
}

extern "C" {

int32_t SetCompressedImage(int32_t number, char* record)
{
    if (!InRange(number))
        return 1;
    try {
        gImagePool.SetWinImage(number, record);
    } catch (...) {
        return 0;
    }
    return 1;
}

void GetImageInfo(int32_t number, char* record)
{
    if (InRange(number) && gImagePool.mImages[number])
        gImagePool.GetImageInfo(number, record, true);
}

int32_t GetFreeImageNumber(void)
{
    return gImagePool.GetFree();
}

void CopyImage(int32_t from, int32_t to)
{
    if (InRange(from) && InRange(to) && gImagePool.mImages[from])
        gImagePool.CopyImage(from, to);
}

int32_t GetImageWidth(int32_t number)
{
    CImage* picture = NaturalPicture(number);
    return picture ? picture->width : 0;
}

int32_t GetImageHeight(int32_t number)
{
    CImage* picture = NaturalPicture(number);
    return picture ? picture->height : 0;
}

int32_t StretchImage(int32_t number, Rect* src, Rect* dst, GWorldPtr dest, int32_t antialias)
{
    try {
        CImage* picture = NaturalPicture(number);
        if (!picture)
            return 0;
        picture->Stretch(src, dst, dest, antialias != 0, nullptr);
    } catch (...) {
        return 0;
    }
    return 1;
}

GWorldPtr GetImage(int32_t number)
{
    CImage* picture = NaturalPicture(number);
    return picture ? picture->GetMe() : nullptr;
}

CGImageRef GetCGImage(int32_t number, uint32_t scale)
{
    CImage* picture = NaturalPicture(number);
    return picture ? picture->GetMyCGImage(scale) : nullptr;
}

void GetColorUnder(GWorldPtr world, int32_t h, int32_t v, RGBColor* colour)
{
    GetColorGWorld(world, h, v, colour);
}

void ClearAllImages(void)
{
    gImagePool.DeleteAll();
}

void GetTransColor(RGBColor* colour)
{
    *colour = CImage::mTransColor;
}

void ReplaceColor(GWorldPtr world, int32_t from, int32_t to)
{
    CImage::ReplaceColor(GetGWorldPixMap(world), from, to, true);
}

void ReplaceColorInRect(GWorldPtr world, int32_t from, int32_t to, bool match, Rect* r)
{
    CImage::ReplaceColorInRect(GetGWorldPixMap(world), from, to, match, r);
}

void ResetFreeImage(int32_t number)
{
    if (InRange(number))
        gImagePool.EraseImage(number);
}

} // extern "C"
