// Stroke coverage in an 8-bit scratch surface (cg_coverage_p.h).
//
// The scratch is cleared over the area and the path is stroked on it in
// opaque white with the context's own matrix: an opaque source over nothing
// leaves each pixel of an alpha-only surface exactly at its coverage. The
// scratch shares the world's origin, reaching as far right and down as the
// area does. It could be smaller, but cairo's rasteriser does not give the
// same coverage to a shape moved by whole pixels: sharp joins come out a
// little different.
#include "platform/cg_coverage_p.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr int64_t kMaxScratchBytes = int64_t{1} << 22;

bool SameMatrix(const cairo_matrix_t& a, const cairo_matrix_t& b)
{
    return a.xx == b.xx && a.yx == b.yx && a.xy == b.xy && a.yy == b.yy && a.x0 == b.x0 &&
           a.y0 == b.y0;
}

// Paths compare by their elements' kinds and points (a header element
// leaves part of its storage unset, so the bytes cannot be compared).
bool SamePath(const cairo_path_t* path, const std::vector<cairo_path_data_t>& kept)
{
    if (static_cast<size_t>(path->num_data) != kept.size())
        return false;
    for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
        const cairo_path_data_t* a = &path->data[i];
        const cairo_path_data_t* b = &kept[static_cast<size_t>(i)];
        if (a->header.type != b->header.type || a->header.length != b->header.length)
            return false;
        for (int k = 1; k < a->header.length; k++)
            if (a[k].point.x != b[k].point.x || a[k].point.y != b[k].point.y)
                return false;
    }
    return true;
}

} // namespace

StrokeCoverage::~StrokeCoverage()
{
    cairo_destroy(mCr);
    cairo_surface_destroy(mSurface);
}

bool StrokeCoverage::Reserve(int width, int height)
{
    if (mSurface && cairo_image_surface_get_width(mSurface) >= width &&
        cairo_image_surface_get_height(mSurface) >= height)
        return true;
    if (mSurface) {
        // Grown to hold this area and any as large in either direction.
        width = std::max(width, cairo_image_surface_get_width(mSurface));
        height = std::max(height, cairo_image_surface_get_height(mSurface));
    }
    // Strokes far into a huge world are left to cairo rather than kept
    // with a scratch as large as the world.
    if (int64_t{width} * height > kMaxScratchBytes)
        return false;
    cairo_destroy(mCr);
    cairo_surface_destroy(mSurface);
    mCr = nullptr;
    mKept = false;
    mApplied = false;
    mSurface = cairo_image_surface_create(CAIRO_FORMAT_A8, width, height);
    if (cairo_surface_status(mSurface) == CAIRO_STATUS_SUCCESS) {
        mCr = cairo_create(mSurface);
        if (cairo_status(mCr) == CAIRO_STATUS_SUCCESS)
            return true;
    }
    cairo_destroy(mCr);
    cairo_surface_destroy(mSurface);
    mCr = nullptr;
    mSurface = nullptr;
    return false;
}

// Sets the scratch context's stroke state to stroke's, call by call only
// where it differs from what the context has (each call costs about as
// much as rasterising a short line).
void StrokeCoverage::Apply(const Stroke& stroke, const std::vector<double>& dash)
{
    const Stroke& k = mStroke;
    const bool all = !mApplied;
    if (all)
        cairo_set_source_rgba(mCr, 1, 1, 1, 1);
    if (all || !SameMatrix(stroke.matrix, k.matrix))
        cairo_set_matrix(mCr, &stroke.matrix);
    if (all || stroke.lineWidth != k.lineWidth)
        cairo_set_line_width(mCr, stroke.lineWidth);
    if (all || stroke.miterLimit != k.miterLimit)
        cairo_set_miter_limit(mCr, stroke.miterLimit);
    if (all || stroke.tolerance != k.tolerance)
        cairo_set_tolerance(mCr, stroke.tolerance);
    if (all || stroke.cap != k.cap)
        cairo_set_line_cap(mCr, stroke.cap);
    if (all || stroke.join != k.join)
        cairo_set_line_join(mCr, stroke.join);
    if (all || stroke.antialias != k.antialias)
        cairo_set_antialias(mCr, stroke.antialias);
    if (all || stroke.dashOffset != k.dashOffset || dash != mDash)
        cairo_set_dash(mCr, dash.data(), static_cast<int>(dash.size()), stroke.dashOffset);
    mStroke = stroke;
    mDash = dash;
    mApplied = true;
}

const uint8_t* StrokeCoverage::Make(cairo_t* cr, int x1, int y1, int x2, int y2, int* stride)
{
    Stroke stroke;
    cairo_get_matrix(cr, &stroke.matrix);
    stroke.lineWidth = cairo_get_line_width(cr);
    stroke.miterLimit = cairo_get_miter_limit(cr);
    stroke.tolerance = cairo_get_tolerance(cr);
    stroke.cap = cairo_get_line_cap(cr);
    stroke.join = cairo_get_line_join(cr);
    stroke.antialias = cairo_get_antialias(cr);
    stroke.x1 = x1;
    stroke.y1 = y1;
    stroke.x2 = x2;
    stroke.y2 = y2;
    const int dashCount = cairo_get_dash_count(cr);
    std::vector<double> dash;
    try {
        dash.resize(static_cast<size_t>(dashCount));
    } catch (...) {
        return nullptr;
    }
    cairo_get_dash(cr, dash.data(), &stroke.dashOffset);

    cairo_path_t* path = cairo_copy_path(cr);
    const uint8_t* coverage = nullptr;
    if (path->status == CAIRO_STATUS_SUCCESS) {
        const Stroke& k = mStroke;
        const bool same =
            mKept && SameMatrix(stroke.matrix, k.matrix) && stroke.lineWidth == k.lineWidth &&
            stroke.miterLimit == k.miterLimit && stroke.tolerance == k.tolerance &&
            stroke.dashOffset == k.dashOffset && stroke.cap == k.cap && stroke.join == k.join &&
            stroke.antialias == k.antialias && stroke.x1 == k.x1 && stroke.y1 == k.y1 &&
            stroke.x2 == k.x2 && stroke.y2 == k.y2 && dash == mDash && SamePath(path, mPath);
        if (same) {
            coverage = cairo_image_surface_get_data(mSurface);
        } else if (Reserve(x2, y2)) {
            mKept = false;
            cairo_surface_flush(mSurface);
            uint8_t* pixels = cairo_image_surface_get_data(mSurface);
            const int rowBytes = cairo_image_surface_get_stride(mSurface);
            for (int v = y1; v < y2; v++)
                std::memset(pixels + v * rowBytes + x1, 0, static_cast<size_t>(x2 - x1));
            cairo_surface_mark_dirty(mSurface);

            Apply(stroke, dash);
            cairo_new_path(mCr);
            cairo_append_path(mCr, path);
            cairo_stroke(mCr);
            cairo_surface_flush(mSurface);
            if (cairo_status(mCr) == CAIRO_STATUS_SUCCESS) {
                try {
                    mPath.assign(path->data, path->data + path->num_data);
                    mKept = true;
                } catch (...) {
                    // Served once, not kept.
                }
                coverage = pixels;
            } else {
                // A context in error draws nothing again: start over next time.
                cairo_destroy(mCr);
                cairo_surface_destroy(mSurface);
                mCr = nullptr;
                mSurface = nullptr;
                mApplied = false;
            }
        }
    }
    cairo_path_destroy(path);
    if (!coverage)
        return nullptr;
    *stride = cairo_image_surface_get_stride(mSurface);
    return coverage + y1 * *stride + x1;
}
