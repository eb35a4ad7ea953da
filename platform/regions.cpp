#include <new>
#include <vector>

#include "platform/coregraphics.h"
#include "platform/region_p.h"

extern "C" {

RgnHandle NewRgn(void)
{
    RgnHandle rgn = new OpaqueRgnHandle;
    pixman_region32_init(&rgn->region);
    return rgn;
}

void DisposeRgn(RgnHandle rgn)
{
    if (!rgn)
        return;
    pixman_region32_fini(&rgn->region);
    delete rgn;
}

void SetRectRgn(RgnHandle rgn, int16_t left, int16_t top, int16_t right, int16_t bottom)
{
    pixman_region32_fini(&rgn->region);
    if (right <= left || bottom <= top)
        pixman_region32_init(&rgn->region);
    else
        pixman_region32_init_rect(&rgn->region, left, top, static_cast<unsigned>(right - left),
                                  static_cast<unsigned>(bottom - top));
}

void RectRgn(RgnHandle rgn, const Rect* r)
{
    SetRectRgn(rgn, r->left, r->top, r->right, r->bottom);
}

void SetEmptyRgn(RgnHandle rgn)
{
    pixman_region32_clear(&rgn->region);
}

void CopyRgn(RgnHandle src, RgnHandle dst)
{
    if (src != dst)
        pixman_region32_copy(&dst->region, &src->region);
}

void SectRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    pixman_region32_intersect(&out->region, &a->region, &b->region);
}

void UnionRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    pixman_region32_union(&out->region, &a->region, &b->region);
}

void DiffRgn(RgnHandle a, RgnHandle b, RgnHandle out)
{
    pixman_region32_subtract(&out->region, &a->region, &b->region);
}

void OffsetRgn(RgnHandle rgn, int16_t dh, int16_t dv)
{
    pixman_region32_translate(&rgn->region, dh, dv);
}

Boolean EmptyRgn(RgnHandle rgn)
{
    return !pixman_region32_not_empty(&rgn->region);
}

Boolean EqualRgn(RgnHandle a, RgnHandle b)
{
    return pixman_region32_equal(&a->region, &b->region);
}

Boolean PtInRgn(Point pt, RgnHandle rgn)
{
    return pixman_region32_contains_point(&rgn->region, pt.h, pt.v, nullptr);
}

Boolean RectInRgn(const Rect* r, RgnHandle rgn)
{
    if (EmptyRect(r))
        return false;
    pixman_box32_t box = {r->left, r->top, r->right, r->bottom};
    return pixman_region32_contains_rectangle(&rgn->region, &box) != PIXMAN_REGION_OUT;
}

Rect* GetRegionBounds(RgnHandle rgn, Rect* bounds)
{
    if (EmptyRgn(rgn)) {
        SetRect(bounds, 0, 0, 0, 0);
        return bounds;
    }
    const pixman_box32_t* e = pixman_region32_extents(&rgn->region);
    SetRect(bounds, static_cast<int16_t>(e->x1), static_cast<int16_t>(e->y1),
            static_cast<int16_t>(e->x2), static_cast<int16_t>(e->y2));
    return bounds;
}

} // extern "C"

namespace {

// The union of rects as a pixman region; false when it cannot be made.
bool UnionOf(const std::vector<Rect>& rects, pixman_region32_t* out)
{
    std::vector<pixman_box32_t> boxes;
    boxes.reserve(rects.size());
    for (const Rect& r : rects)
        if (r.left < r.right && r.top < r.bottom)
            boxes.push_back({r.left, r.top, r.right, r.bottom});
    if (pixman_region32_init_rects(out, boxes.data(), static_cast<int>(boxes.size())))
        return true;
    pixman_region32_fini(out);
    return false;
}

} // namespace

void RectsRgn(RgnHandle rgn, const std::vector<Rect>& rects)
{
    pixman_region32_t region;
    if (!UnionOf(rects, &region))
        throw std::bad_alloc();
    const bool copied = pixman_region32_copy(PixmanRegion(rgn), &region);
    pixman_region32_fini(&region);
    if (!copied)
        throw std::bad_alloc();
}

bool RectMeetsRgn(const Rect* r, RgnHandle rgn)
{
    if (r->left >= r->right || r->top >= r->bottom)
        return false;
    const pixman_box32_t box = {r->left, r->top, r->right, r->bottom};
    return pixman_region32_contains_rectangle(PixmanRegion(rgn), &box) != PIXMAN_REGION_OUT;
}
