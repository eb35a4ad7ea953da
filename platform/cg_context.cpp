// Drawing contexts on cairo.
//
// A context opened on a world draws into a cairo image surface laid over the
// world's own pixel memory. Between drawing calls the memory holds our pixel
// words; for each drawing, the device-pixel rectangle the drawing can touch
// (its extents, within the clip and the world) is mirrored into cairo's form
// in place, drawn on, and mirrored back (cg_pixels_p.h). The mirror is a byte
// reversal, so every pixel the drawing leaves alone keeps its exact bits, and
// a pen line on a large stage costs only the pixels around the line.
//
// An image drawn one to one at a whole-pixel place, within no clip or a clip
// of whole pixels, does not go through cairo at all: it is composited in
// place from its own pixels with cairo's arithmetic (cg_direct.cpp). For that
// the context keeps its clip in device pixels beside cairo's, state by state.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "platform/cg_context_p.h"
#include "platform/cg_pixels_p.h"
#include "platform/region_p.h"
#include "platform/world_p.h"

namespace {

bool gPlatformDrawing = true;

// A rectangle of device pixels, x1 <= x < x2, y1 <= y < y2.
struct PixelBox
{
    int x1, y1, x2, y2;

    bool Empty() const { return x2 <= x1 || y2 <= y1; }
};

PixelBox Intersect(const PixelBox& a, const PixelBox& b)
{
    return {std::max(a.x1, b.x1), std::max(a.y1, b.y1), std::min(a.x2, b.x2), std::min(a.y2, b.y2)};
}

int ClampToInt(double v)
{
    constexpr double kLimit = 1 << 30;
    if (!(v > -kLimit)) // also catches NaN
        return -(1 << 30);
    if (v > kLimit)
        return 1 << 30;
    return static_cast<int>(v);
}

// A number of whole pixels small enough that sums of a few stay exact.
bool WholePixels(double v)
{
    return std::floor(v) == v && std::fabs(v) <= (1 << 24);
}

// The device pixels under a rectangle of the current user space, grown by
// margin pixels on every side.
PixelBox DeviceBoxOf(cairo_t* cr, double x1, double y1, double x2, double y2, int margin)
{
    double xs[4] = {x1, x2, x1, x2};
    double ys[4] = {y1, y1, y2, y2};
    double minX = std::numeric_limits<double>::infinity();
    double minY = minX;
    double maxX = -minX;
    double maxY = -minX;
    for (int i = 0; i < 4; i++) {
        cairo_user_to_device(cr, &xs[i], &ys[i]);
        minX = std::min(minX, xs[i]);
        maxX = std::max(maxX, xs[i]);
        minY = std::min(minY, ys[i]);
        maxY = std::max(maxY, ys[i]);
    }
    return {ClampToInt(std::floor(minX)) - margin, ClampToInt(std::floor(minY)) - margin,
            ClampToInt(std::ceil(maxX)) + margin, ClampToInt(std::ceil(maxY)) + margin};
}

// The device pixels of the world that a drawing confined to box can change.
PixelBox TouchableArea(CGContextRef c, const PixelBox& box)
{
    double x1, y1, x2, y2;
    cairo_clip_extents(c->cr, &x1, &y1, &x2, &y2);
    PixelBox area = Intersect(box, DeviceBoxOf(c->cr, x1, y1, x2, y2, 0));
    const PixMap* pm = &c->world->pixMap;
    return Intersect(area, {0, 0, pm->bounds.right, pm->bounds.bottom});
}

// Runs draw() with the pixels of area in cairo's form; the rest of the world
// is never looked at.
template <class Draw>
void DrawIntoWorld(CGContextRef c, const PixelBox& area, Draw draw)
{
    if (area.Empty())
        return;
    const PixMap* pm = &c->world->pixMap;
    const ptrdiff_t rowBytes = RowBytesOf(pm);
    uint8_t* first = reinterpret_cast<uint8_t*>(pm->baseAddr) + area.y1 * rowBytes + area.x1 * 4;
    const int width = area.x2 - area.x1;
    const int height = area.y2 - area.y1;
    cairo_surface_flush(c->worldSurface);
    MirrorRows(first, rowBytes, width, height);
    cairo_surface_mark_dirty_rectangle(c->worldSurface, area.x1, area.y1, width, height);
    draw();
    cairo_surface_flush(c->worldSurface);
    MirrorRows(first, rowBytes, width, height);
    cairo_surface_mark_dirty_rectangle(c->worldSurface, area.x1, area.y1, width, height);
}

// How many device pixels one unit of user space spans (for the uniform
// scales the library uses).
double DeviceScale(cairo_t* cr)
{
    cairo_matrix_t m;
    cairo_get_matrix(cr, &m);
    return std::sqrt(std::fabs(m.xx * m.yy - m.xy * m.yx));
}

bool IsHairline(cairo_t* cr)
{
    return cairo_get_antialias(cr) == CAIRO_ANTIALIAS_NONE &&
           cairo_get_line_width(cr) * DeviceScale(cr) < 1.0;
}

// The pixels of a stroke one pixel wide: each segment of the flattened path
// is walked from the pixel holding its start to the pixel holding its end
// (Bresenham), so consecutive segments join without gaps; pixels are kept in
// horizontal runs. Dashes are measured along the path in user space.
class Hairline
{
  public:
    struct Run
    {
        int x, y, width;
    };

    Hairline(cairo_t* cr, const PixelBox& limit) : mLimit(limit)
    {
        const int count = cairo_get_dash_count(cr);
        if (count > 0) {
            mDash.resize(static_cast<size_t>(count));
            cairo_get_dash(cr, mDash.data(), &mDashOffset);
            for (double d : mDash)
                mPeriod += d;
        }
        const double scale = DeviceScale(cr);
        mUserPerDevice = scale > 0 ? 1.0 / scale : 0.0;

        cairo_path_t* path = cairo_copy_path_flat(cr);
        double startX = 0, startY = 0, x = 0, y = 0;
        for (int i = 0; i < path->num_data; i += path->data[i].header.length) {
            const cairo_path_data_t* d = &path->data[i];
            if (d->header.type == CAIRO_PATH_MOVE_TO) {
                startX = x = d[1].point.x;
                startY = y = d[1].point.y;
                cairo_user_to_device(cr, &startX, &startY);
                x = startX;
                y = startY;
                mDistance = 0;
                mHaveLast = false;
            } else if (d->header.type == CAIRO_PATH_LINE_TO) {
                double nx = d[1].point.x, ny = d[1].point.y;
                cairo_user_to_device(cr, &nx, &ny);
                Segment(x, y, nx, ny);
                x = nx;
                y = ny;
            } else if (d->header.type == CAIRO_PATH_CLOSE_PATH) {
                Segment(x, y, startX, startY);
                x = startX;
                y = startY;
            }
        }
        cairo_path_destroy(path);
    }

    const std::vector<Run>& Runs() const { return mRuns; }

    // Sorts the runs by row and column and joins those that overlap or
    // touch, so that each pixel lies in one run. (A path that crosses itself
    // or comes back reaches some pixels more than once.)
    void MakeDisjoint()
    {
        std::sort(mRuns.begin(), mRuns.end(),
                  [](const Run& a, const Run& b) { return a.y != b.y ? a.y < b.y : a.x < b.x; });
        size_t kept = 0;
        for (size_t i = 0; i < mRuns.size(); i++) {
            const Run& r = mRuns[i];
            Run* last = kept > 0 ? &mRuns[kept - 1] : nullptr;
            if (last && last->y == r.y && r.x <= last->x + last->width)
                last->width = std::max(last->width, r.x + r.width - last->x);
            else
                mRuns[kept++] = r;
        }
        mRuns.resize(kept);
    }

    PixelBox Bounds() const
    {
        PixelBox box = {0, 0, 0, 0};
        bool first = true;
        for (const Run& r : mRuns) {
            const PixelBox b = {r.x, r.y, r.x + r.width, r.y + 1};
            box = first ? b
                        : PixelBox{std::min(box.x1, b.x1), std::min(box.y1, b.y1),
                                   std::max(box.x2, b.x2), std::max(box.y2, b.y2)};
            first = false;
        }
        return box;
    }

  private:
    bool DashOn(double distance) const
    {
        if (mDash.empty() || mPeriod <= 0)
            return true;
        double pos = std::fmod(distance + mDashOffset, mPeriod);
        if (pos < 0)
            pos += mPeriod;
        for (size_t i = 0; i < mDash.size(); i++) {
            if (pos < mDash[i])
                return i % 2 == 0;
            pos -= mDash[i];
        }
        return false;
    }

    void Segment(double x0, double y0, double x1, double y1)
    {
        const double length = std::hypot(x1 - x0, y1 - y0) * mUserPerDevice;
        if (!std::isfinite(length))
            return;
        const double startDistance = mDistance;
        mDistance += length;
        // A segment reaching far outside the area that can be drawn is cut
        // down to it first, so that its walk stays short.
        if (!Inside(x0, y0) || !Inside(x1, y1)) {
            double t0 = 0, t1 = 1;
            if (!ClipSegment(x0, y0, x1, y1, &t0, &t1))
                return;
            const double dx = x1 - x0, dy = y1 - y0;
            const double cx0 = x0 + t0 * dx, cy0 = y0 + t0 * dy;
            x1 = x0 + t1 * dx;
            y1 = y0 + t1 * dy;
            x0 = cx0;
            y0 = cy0;
        }
        int px = static_cast<int>(std::floor(x0)), py = static_cast<int>(std::floor(y0));
        const int qx = static_cast<int>(std::floor(x1)), qy = static_cast<int>(std::floor(y1));
        const int dx = std::abs(qx - px), dy = -std::abs(qy - py);
        const int sx = px < qx ? 1 : -1, sy = py < qy ? 1 : -1;
        const int steps = std::max(dx, -dy);
        int error = dx + dy;
        for (int k = 0;; k++) {
            const double along = steps ? length * k / steps : 0.0;
            if (DashOn(startDistance + along))
                Add(px, py);
            if (px == qx && py == qy)
                break;
            const int e2 = 2 * error;
            if (e2 >= dy) {
                error += dy;
                px += sx;
            }
            if (e2 <= dx) {
                error += dx;
                py += sy;
            }
        }
    }

    bool Inside(double x, double y) const
    {
        return x >= mLimit.x1 - 2 && x <= mLimit.x2 + 2 && y >= mLimit.y1 - 2 && y <= mLimit.y2 + 2;
    }

    // Liang-Barsky against the limit grown by two pixels.
    bool ClipSegment(double x0, double y0, double x1, double y1, double* t0, double* t1) const
    {
        const double p[4] = {-(x1 - x0), x1 - x0, -(y1 - y0), y1 - y0};
        const double q[4] = {x0 - (mLimit.x1 - 2), (mLimit.x2 + 2) - x0, y0 - (mLimit.y1 - 2),
                             (mLimit.y2 + 2) - y0};
        for (int i = 0; i < 4; i++) {
            if (p[i] == 0) {
                if (q[i] < 0)
                    return false;
                continue;
            }
            const double r = q[i] / p[i];
            if (p[i] < 0)
                *t0 = std::max(*t0, r);
            else
                *t1 = std::min(*t1, r);
        }
        return *t0 <= *t1;
    }

    void Add(int x, int y)
    {
        if (mHaveLast && x == mLastX && y == mLastY)
            return; // the joint of two segments
        mHaveLast = true;
        mLastX = x;
        mLastY = y;
        if (!mRuns.empty()) {
            Run& last = mRuns.back();
            if (last.y == y && last.x + last.width == x) {
                last.width++;
                return;
            }
        }
        mRuns.push_back({x, y, 1});
    }

    PixelBox mLimit;
    std::vector<double> mDash;
    double mDashOffset = 0;
    double mPeriod = 0;
    double mUserPerDevice = 1;
    double mDistance = 0;
    bool mHaveLast = false;
    int mLastX = 0, mLastY = 0;
    std::vector<Run> mRuns;
};

PixelBox NoLimit()
{
    return {-(1 << 30), -(1 << 30), 1 << 30, 1 << 30};
}

// The part of box inside the clip, as boxes, to draw(box) one at a time.
template <class Draw>
void ForEachClippedBox(const DeviceClip& clip, const PixelBox& box, Draw draw)
{
    if (clip.Which() == DeviceClip::kEverything) {
        draw(box);
        return;
    }
    int count = 0;
    const pixman_box32_t* boxes =
        pixman_region32_rectangles(const_cast<pixman_region32_t*>(clip.Region()), &count);
    for (int i = 0; i < count; i++) {
        const PixelBox part = Intersect(box, {boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2});
        if (!part.Empty())
            draw(part);
    }
}

// The colour of a context whose drawing the platform may do itself: its
// source is one colour, drawn OVER, and platform drawing is on. False
// otherwise.
bool PlatformDrawsColour(cairo_t* cr, double* red, double* green, double* blue, double* alpha)
{
    return gPlatformDrawing && cairo_get_operator(cr) == CAIRO_OPERATOR_OVER &&
           cairo_pattern_get_rgba(cairo_get_source(cr), red, green, blue, alpha) ==
               CAIRO_STATUS_SUCCESS;
}

// Composites the pixels of a one-pixel line in the context's colour straight
// into its world, leaving the bits cairo's fill of the same pixels leaves: a
// solid colour OVER each pixel once (OverWorldPixel), within the clip.
// Returns false, having drawn nothing, when the drawing is not of that kind:
// a clip of other than whole pixels, another operator, or a source other
// than one colour.
bool StrokeHairlineDirectly(CGContextRef c, Hairline& line)
{
    cairo_t* cr = c->cr;
    const DeviceClip& clip = c->clips.back();
    double red, green, blue, alpha;
    if (clip.Which() == DeviceClip::kUnknown ||
        !PlatformDrawsColour(cr, &red, &green, &blue, &alpha))
        return false;
    const uint32_t source = MirrorWord(SolidSourceWord(red, green, blue, alpha));
    if ((source & 0xFF) == 0)
        return true; // OVER by nothing leaves every pixel as it is
    line.MakeDisjoint();
    const PixMap* pm = &c->world->pixMap;
    const ptrdiff_t rowBytes = RowBytesOf(pm);
    auto* pixels = reinterpret_cast<uint8_t*>(pm->baseAddr);
    const PixelBox world = {0, 0, pm->bounds.right, pm->bounds.bottom};
    cairo_surface_flush(c->worldSurface);
    for (const Hairline::Run& r : line.Runs()) {
        const PixelBox run = Intersect({r.x, r.y, r.x + r.width, r.y + 1}, world);
        if (run.Empty())
            continue;
        ForEachClippedBox(clip, run, [&](const PixelBox& part) {
            auto* row = reinterpret_cast<uint32_t*>(pixels + part.y1 * rowBytes);
            for (int h = part.x1; h < part.x2; h++)
                row[h] = OverWorldPixel(source, row[h]);
        });
    }
    const PixelBox touched = Intersect(line.Bounds(), world);
    if (!touched.Empty())
        cairo_surface_mark_dirty_rectangle(c->worldSurface, touched.x1, touched.y1,
                                           touched.x2 - touched.x1, touched.y2 - touched.y1);
    return true;
}

void StrokeHairline(CGContextRef c)
{
    cairo_t* cr = c->cr;
    PixelBox limit = NoLimit();
    if (c->world)
        limit = TouchableArea(c, limit);
    Hairline line(cr, limit);
    cairo_new_path(cr);
    if (line.Runs().empty())
        return;
    if (c->world && StrokeHairlineDirectly(c, line))
        return;
    auto fill = [&] {
        cairo_save(cr);
        cairo_identity_matrix(cr);
        for (const Hairline::Run& r : line.Runs())
            cairo_rectangle(cr, r.x, r.y, r.width, 1);
        cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
        cairo_fill(cr);
        cairo_restore(cr);
    };
    if (c->world)
        DrawIntoWorld(c, TouchableArea(c, line.Bounds()), fill);
    else
        fill();
}

// A box of user space holding everything a stroke of the current path can
// cover, found without stroking it: the path's extents grown by the
// farthest the pen reaches beyond the path. Across a line that is half the
// line width, at a square cap's corners sqrt(2) times that, and at a
// mitred join (where a subpath turns) up to the miter limit times it.
void StrokeReach(cairo_t* cr, double* x1, double* y1, double* x2, double* y2)
{
    cairo_path_extents(cr, x1, y1, x2, y2);
    bool joins = false;
    cairo_path_t* path = cairo_copy_path(cr);
    int pieces = 0; // of the subpath so far
    for (int i = 0; i < path->num_data && !joins; i += path->data[i].header.length) {
        if (path->data[i].header.type == CAIRO_PATH_MOVE_TO)
            pieces = 0;
        else
            joins = ++pieces > 1;
    }
    cairo_path_destroy(path);
    double reach = std::sqrt(2.0);
    if (joins && cairo_get_line_join(cr) == CAIRO_LINE_JOIN_MITER)
        reach = std::max(reach, cairo_get_miter_limit(cr));
    reach *= cairo_get_line_width(cr) / 2;
    *x1 -= reach;
    *y1 -= reach;
    *x2 += reach;
    *y2 += reach;
}

// Strokes the current path, antialiased, in an opaque colour into the
// context's world without handing the world to cairo: cairo works out only
// the stroke's coverage of the area (StrokeCoverage), and each covered
// pixel is mixed with the colour by it, with the bits cairo's own stroke
// leaves. Returns false, having drawn nothing, when the stroke is not of
// that kind: not antialiased (cairo's own path for those is the faster), a
// colour that is not opaque, another operator, a clip, or a matrix other
// than whole-pixel moves and flips. The path is left for the caller.
bool StrokeOpaqueDirectly(CGContextRef c, const PixelBox& area)
{
    cairo_t* cr = c->cr;
    double red, green, blue, alpha;
    if (c->clips.back().Which() != DeviceClip::kEverything ||
        cairo_get_antialias(cr) == CAIRO_ANTIALIAS_NONE ||
        !PlatformDrawsColour(cr, &red, &green, &blue, &alpha) || alpha != 1.0)
        return false;
    cairo_matrix_t m;
    cairo_get_matrix(cr, &m);
    if (std::fabs(m.xx) != 1 || std::fabs(m.yy) != 1 || m.xy != 0 || m.yx != 0 ||
        !WholePixels(m.x0) || !WholePixels(m.y0))
        return false;
    if (!c->coverage)
        c->coverage = new (std::nothrow) StrokeCoverage;
    int stride = 0;
    const uint8_t* coverage =
        c->coverage ? c->coverage->Make(cr, area.x1, area.y1, area.x2, area.y2, &stride) : nullptr;
    if (!coverage)
        return false;

    const uint32_t colour = MirrorWord(SolidSourceWord(red, green, blue, 1.0));
    const PixMap* pm = &c->world->pixMap;
    const ptrdiff_t rowBytes = RowBytesOf(pm);
    auto* first = reinterpret_cast<uint8_t*>(pm->baseAddr) + area.y1 * rowBytes + area.x1 * 4;
    const int width = area.x2 - area.x1;
    cairo_surface_flush(c->worldSurface);
    for (int v = 0; v < area.y2 - area.y1; v++, coverage += stride) {
        auto* row = reinterpret_cast<uint32_t*>(first + v * rowBytes);
        for (int h = 0; h < width; h++) {
            // Most of the area is not covered at all: eight shares of 0
            // are passed over at once.
            uint64_t eight;
            while (h + 8 <= width && (std::memcpy(&eight, coverage + h, 8), eight == 0))
                h += 8;
            if (h == width)
                break;
            const uint32_t share = coverage[h];
            if (share == 255)
                row[h] = colour;
            else if (share != 0)
                row[h] = MixByCoverage(colour, row[h], share);
        }
    }
    cairo_surface_mark_dirty_rectangle(c->worldSurface, area.x1, area.y1, width, area.y2 - area.y1);
    return true;
}

void StrokeCurrentPath(CGContextRef c)
{
    cairo_t* cr = c->cr;
    if (IsHairline(cr)) {
        StrokeHairline(c);
        return;
    }
    if (!c->world) {
        cairo_stroke(cr);
        return;
    }
    double x1, y1, x2, y2;
    StrokeReach(cr, &x1, &y1, &x2, &y2);
    const PixelBox area = TouchableArea(c, DeviceBoxOf(cr, x1, y1, x2, y2, 1));
    if (area.Empty() || StrokeOpaqueDirectly(c, area))
        cairo_new_path(cr);
    else
        DrawIntoWorld(c, area, [cr] { cairo_stroke(cr); });
}

CGRect Standardized(CGRect r)
{
    if (r.size.width < 0) {
        r.origin.x += r.size.width;
        r.size.width = -r.size.width;
    }
    if (r.size.height < 0) {
        r.origin.y += r.size.height;
        r.size.height = -r.size.height;
    }
    return r;
}

bool Finite(double a, double b)
{
    return std::isfinite(a) && std::isfinite(b);
}

// A fraction to the nearest of the 256 steps of an 8-bit channel, as a
// fraction again: cairo takes k / 255 to exactly k.
double ChannelFraction(CGFloat f)
{
    if (!(f > 0))
        return 0;
    if (f >= 1)
        return 1;
    return std::floor(f * 255.0 + 0.5) / 255.0;
}

// Runs draw() with the current path put aside, for calls that build paths
// of their own without changing the caller's.
template <class Draw>
void KeepingPath(cairo_t* cr, Draw draw)
{
    cairo_path_t* path = cairo_copy_path(cr);
    cairo_new_path(cr);
    draw();
    cairo_new_path(cr);
    if (path->status == CAIRO_STATUS_SUCCESS)
        cairo_append_path(cr, path);
    cairo_path_destroy(path);
}

// A new context's state is that of a fresh CoreGraphics context: lines 1
// wide with butt caps and mitred joins, opaque black, antialiased.
void SetDefaultState(cairo_t* cr)
{
    cairo_set_line_width(cr, 1.0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
    cairo_set_miter_limit(cr, 10.0);
    cairo_set_dash(cr, nullptr, 0, 0);
    cairo_set_source_rgba(cr, 0, 0, 0, 1);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_set_operator(cr, CAIRO_OPERATOR_OVER);
    cairo_new_path(cr);
}

// Has the pixels of the image being drawn made ready before they are read
// (HIViewDrawPreparedCGImage): all of them (count -1), or the boxes given in
// device pixels, the image's top-left pixel lying at (left, top), written
// into rects (whose room is reserved: when it is short, all are made ready).
// Returns where the boxes were made ready (null pixels: in the image).
PreparedPixels PreparePixels(CGContextRef c, const pixman_box32_t* boxes, int count, int left,
                             int top, std::vector<Rect>* rects = nullptr)
{
    const PreparePixelsProc prepare = c->preparePixels;
    if (!prepare)
        return {nullptr, 0, 0};
    if (count < 0 || !rects || rects->capacity() < static_cast<size_t>(count)) {
        c->preparePixels = nullptr;
        prepare(c->prepareInfo, nullptr, -1);
        return {nullptr, 0, 0};
    }
    rects->clear();
    for (int i = 0; i < count; i++) {
        Rect r;
        SetRect(&r, static_cast<int16_t>(boxes[i].x1 - left),
                static_cast<int16_t>(boxes[i].y1 - top), static_cast<int16_t>(boxes[i].x2 - left),
                static_cast<int16_t>(boxes[i].y2 - top));
        rects->push_back(r);
    }
    return prepare(c->prepareInfo, rects->data(), count);
}

// Do the image's bytes and the bytes pixels to pixels + size overlap?
bool SharesMemory(CGImageRef image, const uint8_t* pixels, ptrdiff_t size)
{
    const auto start = reinterpret_cast<uintptr_t>(pixels);
    const auto end = start + static_cast<uintptr_t>(size);
    const auto dataStart = reinterpret_cast<uintptr_t>(image->provider->data);
    return dataStart < end && start < dataStart + image->provider->size;
}

// Composites the pixels of part (device pixels) of an image, read from
// data (rows bytesPerRow bytes apart) whose first pixel lies at (left,
// top), row by row with compositeRow, into pixels (rows stride bytes apart)
// of surface, and tells cairo they changed.
template <class CompositeRow>
void CompositeImagePart(CGImageRef image, const uint8_t* data, ptrdiff_t bytesPerRow, int left,
                        int top, const PixelBox& part, uint8_t* pixels, ptrdiff_t stride,
                        cairo_surface_t* surface, CompositeRow compositeRow)
{
    const uint8_t* src = data + (part.y1 - top) * bytesPerRow + 4 * (part.x1 - left);
    uint8_t* dst = pixels + part.y1 * stride + 4 * part.x1;
    for (int v = part.y1; v < part.y2; v++, src += bytesPerRow, dst += stride)
        compositeRow(src, reinterpret_cast<uint32_t*>(dst), part.x2 - part.x1, image->alphaInfo);
    cairo_surface_mark_dirty_rectangle(surface, part.x1, part.y1, part.x2 - part.x1,
                                       part.y2 - part.y1);
}

// Draws an image one to one at a whole-pixel place of a context on a world
// straight from the image's pixels (cg_direct.cpp), leaving the world as
// cairo would. Returns false, having drawn nothing, when the drawing is not
// of that kind: scaled, turned, between pixels, clipped to other than whole
// pixels, or from memory that overlaps the world's.
bool DrawImageDirectly(CGContextRef c, double x, double y, double w, double h, CGImageRef image)
{
    const DeviceClip& clip = c->clips.back();
    if (!gPlatformDrawing || w != image->width || h != image->height ||
        clip.Which() == DeviceClip::kUnknown)
        return false;
    cairo_matrix_t m;
    cairo_get_matrix(c->cr, &m);
    // The image's first row lies at user y + h, which this matrix puts at
    // the top of the drawing in device space.
    if (m.xx != 1 || m.yx != 0 || m.xy != 0 || m.yy != -1 || !WholePixels(m.x0) ||
        !WholePixels(m.y0) || !WholePixels(x) || !WholePixels(y))
        return false;
    const int left = static_cast<int>(m.x0 + x);
    const int top = static_cast<int>(m.y0 - (y + h));

    const PixMap* pm = &c->world->pixMap;
    const ptrdiff_t rowBytes = RowBytesOf(pm);
    auto* pixels = reinterpret_cast<uint8_t*>(pm->baseAddr);
    if (SharesMemory(image, pixels, rowBytes * pm->bounds.bottom))
        return false;

    const PixelBox box = Intersect({left, top, left + image->width, top + image->height},
                                   {0, 0, pm->bounds.right, pm->bounds.bottom});
    if (box.Empty())
        return true;
    PreparePixels(c, nullptr, -1, 0, 0);
    cairo_surface_flush(c->worldSurface);
    ForEachClippedBox(clip, box, [&](const PixelBox& part) {
        CompositeImagePart(image, static_cast<const uint8_t*>(image->provider->data),
                           static_cast<ptrdiff_t>(image->bytesPerRow), left, top, part, pixels,
                           rowBytes, c->worldSurface, CompositeImageRow);
    });
    return true;
}

// The parts of box (device pixels) that the clip of cr lets through, as
// disjoint boxes, when the clip is a set of whole pixels; false otherwise.
// Device space must be the target's pixels (no device offset or scale).
bool ClipWithin(cairo_t* cr, const PixelBox& box, pixman_region32_t* parts)
{
    bool whole = true;
    KeepingPath(cr, [&] {
        cairo_save(cr);
        cairo_identity_matrix(cr);
        cairo_rectangle(cr, box.x1, box.y1, box.x2 - box.x1, box.y2 - box.y1);
        cairo_clip(cr);
        cairo_rectangle_list_t* list = cairo_copy_clip_rectangle_list(cr);
        cairo_restore(cr);
        whole = list->status == CAIRO_STATUS_SUCCESS;
        // Made in one go: a region grown a rectangle at a time costs the
        // square of the many rectangles a damaged frame's clip can have.
        std::vector<pixman_box32_t> boxes;
        try {
            boxes.reserve(whole ? static_cast<size_t>(list->num_rectangles) : 0);
        } catch (...) {
            whole = false;
        }
        for (int i = 0; whole && i < list->num_rectangles; i++) {
            const cairo_rectangle_t& r = list->rectangles[i];
            whole = WholePixels(r.x) && WholePixels(r.y) && WholePixels(r.width) &&
                    WholePixels(r.height);
            if (whole && r.width > 0 && r.height > 0)
                boxes.push_back({static_cast<int32_t>(r.x), static_cast<int32_t>(r.y),
                                 static_cast<int32_t>(r.x + r.width),
                                 static_cast<int32_t>(r.y + r.height)});
        }
        cairo_rectangle_list_destroy(list);
        if (whole) {
            pixman_region32_fini(parts);
            whole = pixman_region32_init_rects(parts, boxes.data(), static_cast<int>(boxes.size()));
        }
    });
    return whole;
}

// Draws an image one to one at a whole-pixel place over a host's cairo
// image surface straight from the image's pixels, within cairo's clip: only
// the clipped part of the image is read, nothing is allocated, and the
// surface is left with the bits cairo's own drawing leaves (the image
// premultiplied, then OVER; cg_direct.cpp). Returns false, having drawn
// nothing, when the drawing is not of that kind: scaled, turned, between
// pixels, another operator, a target other than an ARGB32 image surface
// without device offset or scale, a clip of other than whole pixels, or
// image memory that overlaps the target's.
bool DrawImageOverCairo(CGContextRef c, double x, double y, double w, double h, CGImageRef image)
{
    cairo_t* cr = c->cr;
    if (!gPlatformDrawing || w != image->width || h != image->height ||
        cairo_get_operator(cr) != CAIRO_OPERATOR_OVER)
        return false;
    cairo_surface_t* target = cairo_get_group_target(cr);
    if (cairo_surface_get_type(target) != CAIRO_SURFACE_TYPE_IMAGE ||
        cairo_image_surface_get_format(target) != CAIRO_FORMAT_ARGB32)
        return false;
    double ox, oy, sx, sy;
    cairo_surface_get_device_offset(target, &ox, &oy);
    cairo_surface_get_device_scale(target, &sx, &sy);
    if (ox != 0 || oy != 0 || sx != 1 || sy != 1)
        return false;
    cairo_matrix_t m;
    cairo_get_matrix(cr, &m);
    // As in DrawImageDirectly: the image's first row lies at user y + h.
    if (m.xx != 1 || m.yx != 0 || m.xy != 0 || m.yy != -1 || !WholePixels(m.x0) ||
        !WholePixels(m.y0) || !WholePixels(x) || !WholePixels(y))
        return false;
    const int left = static_cast<int>(m.x0 + x);
    const int top = static_cast<int>(m.y0 - (y + h));

    auto* pixels = cairo_image_surface_get_data(target);
    const ptrdiff_t stride = cairo_image_surface_get_stride(target);
    const int targetWidth = cairo_image_surface_get_width(target);
    const int targetHeight = cairo_image_surface_get_height(target);
    if (!pixels || SharesMemory(image, pixels, stride * targetHeight))
        return false;

    const PixelBox box = Intersect({left, top, left + image->width, top + image->height},
                                   {0, 0, targetWidth, targetHeight});
    if (box.Empty())
        return true;
    pixman_region32_t parts;
    pixman_region32_init(&parts);
    if (!ClipWithin(cr, box, &parts)) {
        pixman_region32_fini(&parts);
        return false;
    }
    if (c->imageArea) {
        pixman_region32_t area;
        pixman_region32_init(&area);
        bool placed = pixman_region32_copy(&area, c->imageArea);
        pixman_region32_translate(&area, left, top);
        placed = placed && pixman_region32_intersect(&parts, &parts, &area);
        pixman_region32_fini(&area);
        if (!placed) {
            pixman_region32_fini(&parts);
            return false;
        }
    }
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(&parts, &count);
    std::vector<Rect> rects;
    if (c->preparePixels) {
        try {
            rects.reserve(static_cast<size_t>(count));
        } catch (...) {
            PreparePixels(c, nullptr, -1, 0, 0);
        }
    }
    cairo_surface_flush(target);
    // Where each band's pixels are read: the image, or where they were made
    // ready.
    const PreparedPixels whole = {static_cast<const uint8_t*>(image->provider->data),
                                  static_cast<ptrdiff_t>(image->bytesPerRow), 0};
    PreparedPixels source = whole;
    for (int i = 0; i < count; i++) {
        // A band of boxes (a region's boxes of one band share their top) is
        // made ready just before it is drawn, while it is in the cache.
        if (i == 0 || boxes[i].y1 != boxes[i - 1].y1) {
            int end = i + 1;
            while (end < count && boxes[end].y1 == boxes[i].y1)
                end++;
            const PreparedPixels ready = PreparePixels(c, boxes + i, end - i, left, top, &rects);
            source = ready.pixels ? ready : whole;
        }
        const PixelBox part = Intersect(box, {boxes[i].x1, boxes[i].y1, boxes[i].x2, boxes[i].y2});
        if (part.Empty())
            continue;
        CompositeImagePart(image, source.pixels, source.rowBytes, left, top + source.top, part,
                           pixels, stride, target, CompositeImageRowOverCairo);
    }
    pixman_region32_fini(&parts);
    return true;
}

// The clip in device pixels of the boxes of region placed as
// ClipCGContextToRegion places them: each box's corners through the
// context's default user space.
void RecordClip(CGContextRef c, const Rect* portRect, RgnHandle region)
{
    DeviceClip& clip = c->clips.back();
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(PixmanRegion(region), &count);
    std::vector<pixman_box32_t> device;
    try {
        device.reserve(static_cast<size_t>(count));
    } catch (...) {
        clip.Forget();
        return;
    }
    for (int i = 0; i < count; i++) {
        const pixman_box32_t& b = boxes[i];
        double x1 = b.x1 - portRect->left, x2 = b.x2 - portRect->left;
        double y1 = c->yUp ? portRect->bottom - b.y2 : b.y1 - portRect->top;
        double y2 = y1 + (b.y2 - b.y1);
        cairo_matrix_transform_point(&c->base, &x1, &y1);
        cairo_matrix_transform_point(&c->base, &x2, &y2);
        if (!WholePixels(x1) || !WholePixels(y1) || !WholePixels(x2) || !WholePixels(y2)) {
            clip.Forget();
            return;
        }
        device.push_back(
            {static_cast<int32_t>(std::min(x1, x2)), static_cast<int32_t>(std::min(y1, y2)),
             static_cast<int32_t>(std::max(x1, x2)), static_cast<int32_t>(std::max(y1, y2))});
    }
    pixman_region32_t placed;
    if (!pixman_region32_init_rects(&placed, device.data(), static_cast<int>(device.size()))) {
        pixman_region32_fini(&placed);
        clip.Forget();
        return;
    }
    clip.Intersect(&placed);
    pixman_region32_fini(&placed);
}

// A context starts unclipped; false when even that cannot be recorded.
bool StartClips(CGContextRef c)
{
    try {
        c->clips.emplace_back();
    } catch (...) {
        return false;
    }
    return true;
}

// Puts an ended context on a world back into the state it was opened in,
// ready to serve the world's next QDBeginCGContext. False when it cannot
// serve again.
bool ResetForParking(CGContextRef c)
{
    cairo_t* cr = c->cr;
    if (cairo_status(cr) != CAIRO_STATUS_SUCCESS)
        return false;
    for (; c->savedStates > 0; c->savedStates--)
        cairo_restore(cr);
    cairo_restore(cr);
    cairo_save(cr);
    cairo_new_path(cr);
    c->clips.clear();
    if (!StartClips(c))
        return false;
    cairo_surface_flush(c->worldSurface);
    return cairo_status(cr) == CAIRO_STATUS_SUCCESS;
}

// Whether a parked context still lies over the world's pixels: a host may
// have pointed the world's pixel map elsewhere in the meantime.
bool StillOver(CGContextRef c, GWorldPtr world)
{
    const PixMap* pm = &world->pixMap;
    cairo_surface_t* s = c->worldSurface;
    return cairo_image_surface_get_data(s) == reinterpret_cast<unsigned char*>(pm->baseAddr) &&
           cairo_image_surface_get_width(s) == pm->bounds.right - pm->bounds.left &&
           cairo_image_surface_get_height(s) == pm->bounds.bottom - pm->bounds.top &&
           cairo_image_surface_get_stride(s) == RowBytesOf(pm);
}

} // namespace

CGContextRef OpenWorldContext(GWorldPtr world, bool yUp)
{
    const PixMap* pm = &world->pixMap;
    CompletePendingWork(pm);
    const int width = pm->bounds.right - pm->bounds.left;
    const int height = pm->bounds.bottom - pm->bounds.top;
    cairo_surface_t* surface =
        cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pm->baseAddr),
                                            CAIRO_FORMAT_ARGB32, width, height, RowBytesOf(pm));
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return nullptr;
    }
    cairo_t* cr = cairo_create(surface);
    CGContextRef c =
        cairo_status(cr) == CAIRO_STATUS_SUCCESS ? new (std::nothrow) CGContext : nullptr;
    if (c && !StartClips(c)) {
        delete c;
        c = nullptr;
    }
    if (!c) {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
        return nullptr;
    }
    if (yUp)
        cairo_matrix_init(&c->base, 1, 0, 0, -1, 0, height);
    else
        cairo_matrix_init_identity(&c->base);
    cairo_set_matrix(cr, &c->base);
    SetDefaultState(cr);
    // The state a new context starts in, to go back to when the context is
    // parked for the world's next drawing.
    cairo_save(cr);
    c->cr = cr;
    c->yUp = yUp;
    c->savedStates = 0;
    c->world = world;
    c->worldSurface = surface;
    return c;
}

void SetPlatformDrawing(bool enabled)
{
    gPlatformDrawing = enabled;
}

extern "C" {

OSStatus QDBeginCGContext(CGrafPtr port, CGContextRef* context)
{
    if (!context)
        return paramErr;
    *context = nullptr;
    if (!port || !port->pixMap.baseAddr || port->pixMap.pixelSize != 32)
        return paramErr;
    CompletePendingWork(port->pixMapPtr);
    ForgetDrawnBoxes(port->pixMapPtr);
    // Opening a cairo surface and context costs more than drawing many a
    // short line, so the world's last context is used again when it can be.
    CGContextRef parked = port->parkedContext;
    port->parkedContext = nullptr;
    if (parked && StillOver(parked, port)) {
        cairo_surface_mark_dirty(parked->worldSurface); // the pixels may have changed
        *context = parked;
        port->openContexts++;
        return noErr;
    }
    CGContextRelease(parked);
    *context = OpenWorldContext(port, true);
    if (!*context)
        return memFullErr;
    port->openContexts++;
    return noErr;
}

OSStatus QDEndCGContext(CGrafPtr port, CGContextRef* context)
{
    if (!context || !*context || (*context)->world != port)
        return paramErr;
    CGContextRef c = *context;
    *context = nullptr;
    port->openContexts--;
    if (!port->parkedContext && c->yUp && ResetForParking(c))
        port->parkedContext = c;
    else
        CGContextRelease(c);
    return noErr;
}

CGContextRef CGContextCreateWithCairo(cairo_t* cr, CGFloat height)
{
    if (!cr || cairo_status(cr) != CAIRO_STATUS_SUCCESS || !std::isfinite(height))
        return nullptr;
    CGContextRef c = new (std::nothrow) CGContext;
    if (c && !StartClips(c)) {
        delete c;
        c = nullptr;
    }
    if (!c)
        return nullptr;
    c->cr = cairo_reference(cr);
    cairo_save(cr);
    if (height > 0) {
        cairo_translate(cr, 0, height);
        cairo_scale(cr, 1, -1);
    }
    cairo_get_matrix(cr, &c->base);
    SetDefaultState(cr);
    c->yUp = height > 0;
    c->savedStates = 0;
    c->world = nullptr;
    c->worldSurface = nullptr;
    return c;
}

void CGContextRelease(CGContextRef c)
{
    if (!c)
        return;
    delete c->coverage;
    if (c->world) {
        cairo_destroy(c->cr);
        cairo_surface_finish(c->worldSurface);
        cairo_surface_destroy(c->worldSurface);
    } else {
        for (; c->savedStates > 0; c->savedStates--)
            cairo_restore(c->cr);
        cairo_restore(c->cr);
        cairo_destroy(c->cr);
    }
    delete c;
}

} // extern "C"

void CGContextSaveGState(CGContextRef c)
{
    cairo_save(c->cr);
    c->savedStates++;
    try {
        const DeviceClip current = c->clips.back();
        c->clips.push_back(current);
    } catch (...) {
        // The record no longer matches cairo's states: from now on only
        // cairo draws on this context.
        for (DeviceClip& clip : c->clips)
            clip.Forget();
    }
}

void CGContextRestoreGState(CGContextRef c)
{
    if (c->savedStates == 0)
        return;
    cairo_restore(c->cr);
    c->savedStates--;
    if (c->clips.size() > 1)
        c->clips.pop_back();
}

void CGContextSetShouldAntialias(CGContextRef c, bool antialias)
{
    cairo_set_antialias(c->cr, antialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
}

void CGContextSetRGBStrokeColor(CGContextRef c, CGFloat red, CGFloat green, CGFloat blue,
                                CGFloat alpha)
{
    cairo_set_source_rgba(c->cr, ChannelFraction(red), ChannelFraction(green),
                          ChannelFraction(blue), ChannelFraction(alpha));
}

void CGContextSetLineWidth(CGContextRef c, CGFloat width)
{
    cairo_set_line_width(c->cr, width > 0 ? width : 0);
}

void CGContextSetLineCap(CGContextRef c, CGLineCap cap)
{
    switch (cap) {
    case kCGLineCapRound:
        cairo_set_line_cap(c->cr, CAIRO_LINE_CAP_ROUND);
        break;
    case kCGLineCapSquare:
        cairo_set_line_cap(c->cr, CAIRO_LINE_CAP_SQUARE);
        break;
    default:
        cairo_set_line_cap(c->cr, CAIRO_LINE_CAP_BUTT);
        break;
    }
}

void CGContextSetLineDash(CGContextRef c, CGFloat phase, const CGFloat* lengths, size_t count)
{
    bool usable = lengths && count > 0 && std::isfinite(phase);
    bool anyLength = false;
    for (size_t i = 0; usable && i < count; i++) {
        usable = std::isfinite(lengths[i]) && lengths[i] >= 0;
        anyLength = anyLength || lengths[i] > 0;
    }
    if (usable && anyLength)
        cairo_set_dash(c->cr, lengths, static_cast<int>(count), phase);
    else
        cairo_set_dash(c->cr, nullptr, 0, 0);
}

void CGContextTranslateCTM(CGContextRef c, CGFloat tx, CGFloat ty)
{
    if (Finite(tx, ty))
        cairo_translate(c->cr, tx, ty);
}

void CGContextScaleCTM(CGContextRef c, CGFloat sx, CGFloat sy)
{
    if (Finite(sx, sy) && sx != 0 && sy != 0)
        cairo_scale(c->cr, sx, sy);
}

void CGContextBeginPath(CGContextRef c)
{
    cairo_new_path(c->cr);
}

void CGContextMoveToPoint(CGContextRef c, CGFloat x, CGFloat y)
{
    if (Finite(x, y))
        cairo_move_to(c->cr, x, y);
}

void CGContextAddLineToPoint(CGContextRef c, CGFloat x, CGFloat y)
{
    if (Finite(x, y) && cairo_has_current_point(c->cr))
        cairo_line_to(c->cr, x, y);
}

void CGContextClosePath(CGContextRef c)
{
    cairo_close_path(c->cr);
}

void CGContextAddRect(CGContextRef c, CGRect rect)
{
    rect = Standardized(rect);
    if (Finite(rect.origin.x, rect.origin.y) && Finite(rect.size.width, rect.size.height))
        cairo_rectangle(c->cr, rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
}

void CGContextStrokePath(CGContextRef c)
{
    StrokeCurrentPath(c);
}

void CGContextStrokeRect(CGContextRef c, CGRect rect)
{
    cairo_new_path(c->cr);
    CGContextAddRect(c, rect);
    StrokeCurrentPath(c);
}

void CGContextStrokeRectWithWidth(CGContextRef c, CGRect rect, CGFloat width)
{
    cairo_save(c->cr);
    CGContextSetLineWidth(c, width);
    CGContextStrokeRect(c, rect);
    cairo_restore(c->cr);
}

void CGContextDrawImage(CGContextRef c, CGRect rect, CGImageRef image)
{
    rect = Standardized(rect);
    const double x = rect.origin.x, y = rect.origin.y;
    const double w = rect.size.width, h = rect.size.height;
    if (!image || !Finite(x, y) || !Finite(w, h) || w == 0 || h == 0)
        return;
    cairo_t* cr = c->cr;
    PixelBox area = {0, 0, 0, 0};
    if (c->world) {
        area = TouchableArea(c, DeviceBoxOf(cr, x, y, x + w, y + h, 1));
        if (area.Empty() || DrawImageDirectly(c, x, y, w, h, image))
            return;
    } else if (DrawImageOverCairo(c, x, y, w, h, image)) {
        return;
    }
    PreparePixels(c, nullptr, -1, 0, 0);
    cairo_surface_t* pixels = CairoSurfaceOfImage(image);
    if (!pixels)
        return;
    cairo_pattern_t* pattern = cairo_pattern_create_for_surface(pixels);
    // User space to image space: the image's first row lies at y + h.
    cairo_matrix_t toImage;
    cairo_matrix_init(&toImage, image->width / w, 0, 0, -image->height / h, -x * image->width / w,
                      (y + h) * image->height / h);
    cairo_pattern_set_matrix(pattern, &toImage);
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(pattern, CAIRO_FILTER_GOOD);
    KeepingPath(cr, [&] {
        cairo_save(cr);
        cairo_set_source(cr, pattern);
        cairo_rectangle(cr, x, y, w, h);
        if (c->world)
            DrawIntoWorld(c, area, [cr] { cairo_fill(cr); });
        else
            cairo_fill(cr);
        cairo_restore(cr);
    });
    cairo_pattern_destroy(pattern);
    cairo_surface_destroy(pixels);
}

OSStatus ClipCGContextToRegion(CGContextRef c, const Rect* portRect, RgnHandle region)
{
    if (!c || !portRect || !region)
        return paramErr;
    cairo_t* cr = c->cr;
    KeepingPath(cr, [&] {
        cairo_matrix_t current;
        cairo_get_matrix(cr, &current);
        cairo_set_matrix(cr, &c->base);
        int count = 0;
        const pixman_box32_t* boxes = pixman_region32_rectangles(PixmanRegion(region), &count);
        for (int i = 0; i < count; i++) {
            const pixman_box32_t& b = boxes[i];
            const double y = c->yUp ? portRect->bottom - b.y2 : b.y1 - portRect->top;
            cairo_rectangle(cr, b.x1 - portRect->left, y, b.x2 - b.x1, b.y2 - b.y1);
        }
        // An empty path clips everything away.
        cairo_set_fill_rule(cr, CAIRO_FILL_RULE_WINDING);
        cairo_clip(cr);
        cairo_set_matrix(cr, &current);
    });
    RecordClip(c, portRect, region);
    return noErr;
}

void CGContextFlush(CGContextRef c)
{
    cairo_surface_flush(cairo_get_target(c->cr));
}

void CGContextSynchronize(CGContextRef c)
{
    cairo_surface_flush(cairo_get_target(c->cr));
}
