// Rectangle primitives. Every result keeps 16 bits; emptiness is decided by
// comparing edges, never by a width that could wrap.
#include "sprig/platform.h"

#include <algorithm>

extern "C" {

void SetRect(Rect* r, int16_t left, int16_t top, int16_t right, int16_t bottom)
{
    r->top = top;
    r->left = left;
    r->bottom = bottom;
    r->right = right;
}

Boolean EmptyRect(const Rect* r)
{
    return r->bottom <= r->top || r->right <= r->left;
}

Boolean SectRect(const Rect* a, const Rect* b, Rect* out)
{
    Rect r;
    r.top = std::max(a->top, b->top);
    r.left = std::max(a->left, b->left);
    r.bottom = std::min(a->bottom, b->bottom);
    r.right = std::min(a->right, b->right);
    if (EmptyRect(&r)) {
        SetRect(out, 0, 0, 0, 0);
        return false;
    }
    *out = r;
    return true;
}

void UnionRect(const Rect* a, const Rect* b, Rect* out)
{
    Rect r;
    r.top = std::min(a->top, b->top);
    r.left = std::min(a->left, b->left);
    r.bottom = std::max(a->bottom, b->bottom);
    r.right = std::max(a->right, b->right);
    *out = r;
}

void InsetRect(Rect* r, int16_t dh, int16_t dv)
{
    r->left = static_cast<int16_t>(r->left + dh);
    r->right = static_cast<int16_t>(r->right - dh);
    r->top = static_cast<int16_t>(r->top + dv);
    r->bottom = static_cast<int16_t>(r->bottom - dv);
    if (EmptyRect(r))
        SetRect(r, 0, 0, 0, 0);
}

void OffsetRect(Rect* r, int16_t dh, int16_t dv)
{
    r->left = static_cast<int16_t>(r->left + dh);
    r->right = static_cast<int16_t>(r->right + dh);
    r->top = static_cast<int16_t>(r->top + dv);
    r->bottom = static_cast<int16_t>(r->bottom + dv);
}

Boolean PtInRect(Point pt, const Rect* r)
{
    return pt.h >= r->left && pt.h < r->right && pt.v >= r->top && pt.v < r->bottom;
}

Boolean EqualRect(const Rect* a, const Rect* b)
{
    return a->top == b->top && a->left == b->left && a->bottom == b->bottom && a->right == b->right;
}

} // extern "C"
