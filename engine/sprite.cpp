// CSprite: one movable picture on a stage, its rectangle, its setters and
// their marks, drawing and stamping, and wrap-around.
#include <cmath>
#include <cstdint>

#include "engine/engine_p.h"
#include "sprig/transfer.h"

namespace {

constexpr short kNaturalSize = 40;

enum
{
    kNoFrame = 0,
    kSolidFrame = 1,
    kDashedFrame = 2
};

// Beyond this many stage sizes away, a position is brought back with one
// exact remainder instead of a step per stage size.
constexpr double kStepLimit = 64.0;

// Brings p into lo <= SprRound(p) < hi by whole multiples of the extent,
// keeping its fraction. The extent must be positive.
void WrapAxis(double& p, int32_t lo, int32_t hi)
{
    const double extent = static_cast<double>(hi) - lo;
    if (p >= hi + kStepLimit * extent || p < lo - kStepLimit * extent)
        p = lo + std::fmod(p - lo, extent);
    while (SprRound(&p) >= hi)
        p -= extent;
    while (SprRound(&p) < lo)
        p += extent;
}

} // namespace

CImage* ShownPicture(int32_t number, int32_t size, short opacity)
{
    if (number < 0 || number >= CImagePool::kSlots)
        return nullptr;
    const CImage* natural = gImagePool.mImages[number];
    if (!natural)
        return nullptr;
    if (int64_t{size} * natural->width / kNaturalSize <= 0 ||
        int64_t{size} * natural->height / kNaturalSize <= 0)
        return nullptr;
    return gImagePool.GetImage(number, size, opacity);
}

extern "C" int32_t SprRound(const double* value)
{
    const double v = *value;
    if (v >= 0) {
        const double t = v + 0.5;
        return t >= 2147483647.0 ? INT32_MAX : static_cast<int32_t>(t);
    }
    if (v < 0) {
        const double t = v - 0.499999;
        return t <= -2147483648.0 ? INT32_MIN : static_cast<int32_t>(t);
    }
    return 0; // not a number
}

CSprite::CSprite(CSpriteList* list, int32_t refNum)
    : mList(list), mRefNum(refNum), mX(0.0), mY(0.0), mVisible(false), mWrap(true), mZ(0),
      mImage(-1), mSize(kNaturalSize), mPenMode(0), mPenSize(1),
      mOpacity(255), mPenColor{0, 0, 0}, mRect{0, 0, 0, 0}, mFrame(kNoFrame)
{
    MakeRect(&mRect);
    mList->AddSprite(this);
}

CSprite::~CSprite()
{
    mList->AddDisplayRect(CRect(&mRect));
    mList->DeleteSprite(this);
}

bool CSprite::SetVisible(bool shown)
{
    const bool previous = mVisible;
    mVisible = shown;
    mList->AddDisplayRect(CRect(&mRect));
    return previous;
}

void CSprite::SetPenColor(RGBColor* colour)
{
    mPenColor = *colour;
    // Only a colorized picture is drawn in the pen's colour.
    if (IsColorizedImage(mImage))
        mList->AddDisplayRect(CRect(&mRect));
}

void CSprite::SetOpacity(short opacity)
{
    if (opacity == mOpacity)
        return;
    mOpacity = opacity;
    mList->AddDisplayRect(CRect(&mRect));
}

void CSprite::SetFrame(short frame)
{
    if (frame == mFrame)
        return;
    mFrame = frame;
    mList->AddDisplayRect(CRect(&mRect));
}

void CSprite::SetSize(short size)
{
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
    mSize = size;
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
}

short CSprite::GetSize()
{
    return mSize;
}

int32_t CSprite::SetImage(int32_t image, int32_t)
{
    if (image == mImage)
        return mImage;
    const int32_t previous = mImage;
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
    mImage = image;
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
    return previous;
}

int32_t CSprite::SetZOrder(int32_t z)
{
    const int32_t previous = mZ;
    if (z == mZ)
        return previous;
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
    mList->DeleteSprite(this);
    mList->InsertSprite(this, z);
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
    // Stored last: the sprite was placed by the new value while its own old
    // value still stood.
    mZ = z;
    return previous;
}

void CSprite::SendTo(int32_t z)
{
    mList->DeleteSprite(this);
    mList->InsertSprite(this, z);
    MakeRect(&mRect);
    mList->AddDisplayRect(CRect(&mRect));
}

void CSprite::MakeRect(Rect* out)
{
    const int32_t w = GetImageWidth(mImage);
    const int32_t h = GetImageHeight(mImage);
    const auto width = static_cast<int16_t>(mSize * w / kNaturalSize);
    const auto height = static_cast<int16_t>(mSize * h / kNaturalSize);
    const int32_t x = SprRound(&mX);
    const int32_t y = SprRound(&mY);
    out->left = static_cast<int16_t>(x - static_cast<int16_t>(width / 2));
    out->top = static_cast<int16_t>(y - static_cast<int16_t>(height / 2));
    out->right = static_cast<int16_t>(out->left + width);
    out->bottom = static_cast<int16_t>(out->top + height);
}

Rect CSprite::GetRect()
{
    Rect r;
    MakeRect(&r);
    return r;
}

void CSprite::Output(GWorldPtr target)
{
    StLock lock(target);
    CImage* picture = ShownPicture(mImage, mSize, mOpacity);
    if (!picture)
        return;
    RGBColor* tint = IsColorizedImage(mImage) ? &mPenColor : nullptr;
    Rect copy = mRect;
    picture->Stretch(&mRect, &copy, target, true, tint);
    if (mFrame == kSolidFrame || mFrame == kDashedFrame) {
        // A black line one pixel wide, one pixel above the sprite's rectangle.
        OffsetRect(&copy, 0, -1);
        AltCGFrameRect(target, &copy, 0, 0, 0, 255, 1, mFrame == kDashedFrame);
    }
}

void CSprite::Draw()
{
    if (mVisible)
        Output(mList->mSpriteWorld);
}

void CSprite::Stamp()
{
    Output(mList->mBackgroundWorld);
    mList->AddDisplayRect(CRect(&mRect));
}

RGBColor CSprite::GetColorUnder()
{
    return mList->GetPixel(SprRound(&mX), SprRound(&mY));
}

// A stage without width or height (or turned inside out) has nowhere to wrap
// to: the position is left as it is. So is a position that is not a finite
// number.
void CSprite::WrapXY()
{
    if (!mWrap)
        return;
    const CRect& stage = mList->mBounds;
    if (stage.bottom <= stage.top || stage.right <= stage.left)
        return;
    if (!std::isfinite(mX) || !std::isfinite(mY))
        return;
    WrapAxis(mY, stage.top, stage.bottom);
    WrapAxis(mX, stage.left, stage.right);
}
