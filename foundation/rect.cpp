#include "sprig/foundation.h"

CRect::CRect() : Rect{0, 0, 0, 0} {}

CRect::CRect(short left, short top, short right, short bottom) : Rect()
{
    SetRect(this, left, top, right, bottom);
}

// Truncate toward zero to 32 bits, then keep the low 16 bits: 70000.0 gives
// 4464. A value with no 32-bit integer (out of range, or not a number) becomes
// INT32_MIN, as the processor's truncating conversion gives it, whose low 16
// bits are 0.
static short TruncateTo16(double value)
{
    int32_t whole = INT32_MIN;
    if (value > -2147483649.0 && value < 2147483648.0)
        whole = static_cast<int32_t>(value);
    return static_cast<short>(static_cast<uint16_t>(static_cast<uint32_t>(whole)));
}

CRect::CRect(double left, double top, double right, double bottom) : Rect()
{
    SetRect(this, TruncateTo16(left), TruncateTo16(top), TruncateTo16(right), TruncateTo16(bottom));
}

CRect::CRect(Rect* r) : Rect(*r) {}

short CRect::Width() const
{
    return static_cast<short>(right - left);
}

short CRect::Height() const
{
    return static_cast<short>(bottom - top);
}

void CRect::operator=(Rect r)
{
    top = r.top;
    left = r.left;
    bottom = r.bottom;
    right = r.right;
}

void CRect::operator=(CRect r)
{
    *this = static_cast<Rect>(r);
}

CRect CRect::operator&=(CRect& r)
{
    SectRect(this, &r, this);
    return *this;
}

CRect CRect::operator|=(CRect& r)
{
    UnionRect(this, &r, this);
    return *this;
}

CRect CRect::operator&(CRect r) const
{
    CRect result;
    SectRect(this, &r, &result);
    return result;
}

CRect CRect::operator|(CRect r) const
{
    CRect result;
    UnionRect(this, &r, &result);
    return result;
}

bool CRect::IsRectEmpty() const
{
    return EmptyRect(this);
}

void CRect::SetRectEmpty()
{
    SetRect(this, 0, 0, 0, 0);
}

void CRect::InflateRect(short dx, short dy)
{
    InsetRect(this, static_cast<int16_t>(-dx), static_cast<int16_t>(-dy));
}
