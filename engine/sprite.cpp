// CSprite: one movable picture on a stage, its rectangle, its setters and
// their marks, drawing and stamping, and wrap-around.
#include <algorithm>
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

// From this magnitude on a double has no fraction left and one step of a
// stage size is no longer exact: such a position is brought back by its
// exact remainder. Below it, wrapping is exactly the step-by-step rule.
constexpr double kExactSteps = 9007199254740992.0; // 2^53

// The widest or tallest picture a world can hold.
constexpr uint32_t kWidestPicture = 0x7FFF;

// SprRound's rule, inlined where every sprite of a stage is rounded.
inline int32_t RoundToPixel(double v)
{
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

// 32-bit products and differences wrap as the processor's do.
inline int32_t Product32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

inline int32_t Difference32(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline int16_t Low16(int32_t value)
{
    return static_cast<int16_t>(value);
}

} // namespace

bool ShowsPicture(int32_t number, int32_t size)
{
    if (number < 0 || number >= CImagePool::kSlots || size < 0)
        return false;
    const CImage* natural = gImagePool.mImages[number];
    if (!natural)
        return false;
    // The pool scales in unsigned 32-bit arithmetic.
    const uint32_t scale = static_cast<uint32_t>(size);
    if (scale * static_cast<uint32_t>(natural->width) / kNaturalSize > kWidestPicture ||
        scale * static_cast<uint32_t>(natural->height) / kNaturalSize > kWidestPicture)
        throw static_cast<short>(paramErr);
    return true;
}

CImage* ShownPicture(int32_t number, int32_t size, short opacity)
{
    return ShowsPicture(number, size) ? gImagePool.GetImage(number, size, opacity) : nullptr;
}

// The rule is: down by the extent while p rounds to hi or more, then up by
// it while p rounds below lo.
//
// Steps that move p toward zero are exact (p and the extent are whole
// multiples of p's last bit, and the result is smaller), so a run of them
// is taken as one exact subtraction of k extents, stopping an extent or two
// short of where the steps would start to cross zero or reach the stage.
// The steps that remain (at most about 32768 of them, across the 16-bit
// stage) are taken one by one, with the rounding each may have.
void WrapCoordinate(double& p, int32_t lo, int32_t hi)
{
    const double extent = static_cast<double>(hi) - lo;
    if (std::fabs(p) >= kExactSteps)
        p = std::fmod(p, extent);

    // Every value at or above this rounds to hi or more, and is positive.
    const double above = std::max(hi, 0) + extent;
    if (p > above + extent) {
        for (double k = std::floor((p - above) / extent); k > 0; k--) {
            const double stepped = p - k * extent;
            if (stepped >= above) {
                p = stepped;
                break;
            }
        }
    }
    while (SprRound(&p) >= hi)
        p -= extent;

    // Every value at or below this rounds below lo, and is negative.
    const double below = std::min(lo, 0) - extent;
    if (p < below - extent) {
        for (double k = std::floor((below - p) / extent); k > 0; k--) {
            const double stepped = p + k * extent;
            if (stepped <= below) {
                p = stepped;
                break;
            }
        }
    }
    while (SprRound(&p) < lo)
        p += extent;
}

extern "C" int32_t SprRound(const double* value)
{
    return RoundToPixel(*value);
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
    mList->mSprites.Rekey(this);
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
    // GetImageWidth and GetImageHeight of mImage, with one look into the
    // pool: a stage computes every sprite's rectangle for each frame.
    const CImage* natural =
        mImage >= 0 && mImage < CImagePool::kSlots ? gImagePool.mImages[mImage] : nullptr;
    const int32_t w = natural ? natural->width : 0;
    const int32_t h = natural ? natural->height : 0;
    const int16_t width = Low16(Product32(mSize, w) / kNaturalSize);
    const int16_t height = Low16(Product32(mSize, h) / kNaturalSize);
    const int32_t x = RoundToPixel(mX);
    const int32_t y = RoundToPixel(mY);
    out->left = Low16(Difference32(x, static_cast<int16_t>(width / 2)));
    out->top = Low16(Difference32(y, static_cast<int16_t>(height / 2)));
    out->right = Low16(int32_t{out->left} + width);
    out->bottom = Low16(int32_t{out->top} + height);
}

Rect CSprite::GetRect()
{
    Rect r;
    MakeRect(&r);
    return r;
}

void CSprite::Output(GWorldPtr target)
{
    if (!target)
        return;
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
    WrapCoordinate(mY, stage.top, stage.bottom);
    WrapCoordinate(mX, stage.left, stage.right);
}
