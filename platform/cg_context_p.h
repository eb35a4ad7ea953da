// The objects behind the drawing-context handles, shared by the platform's
// cg_*.cpp files.
#ifndef SPRIG_PLATFORM_CG_CONTEXT_P_H
#define SPRIG_PLATFORM_CG_CONTEXT_P_H

#include <cairo.h>
#include <pixman.h>

#include <vector>

#include "platform/cg_coverage_p.h"
#include "platform/coregraphics.h"

struct CGDataProvider
{
    int32_t refs;
    void* info;
    const void* data;
    size_t size;
    CGDataProviderReleaseDataCallback release;
};

struct CGImage
{
    int32_t refs;
    int32_t width;
    int32_t height;
    size_t bytesPerRow;
    uint32_t alphaInfo;
    bool shouldInterpolate;
    CGDataProviderRef provider;
};

// The clip of a context in device pixels, kept beside cairo's so that
// drawing that goes around cairo can respect it: everything, a region, or
// not known (a clip that is not a set of whole pixels, or one that could
// not be recorded), in which case only cairo may draw.
class DeviceClip
{
  public:
    enum Kind
    {
        kEverything,
        kRegion,
        kUnknown
    };

    DeviceClip() { pixman_region32_init(&mRegion); }
    DeviceClip(const DeviceClip& other) : mKind(other.mKind)
    {
        pixman_region32_init(&mRegion);
        if (mKind == kRegion && !pixman_region32_copy(&mRegion, &other.mRegion))
            mKind = kUnknown;
    }
    DeviceClip& operator=(const DeviceClip&) = delete;
    ~DeviceClip() { pixman_region32_fini(&mRegion); }

    Kind Which() const { return mKind; }
    const pixman_region32_t* Region() const { return &mRegion; }

    // Narrows the clip to its part inside region.
    void Intersect(const pixman_region32_t* region)
    {
        bool ok = true;
        if (mKind == kEverything)
            ok = pixman_region32_copy(&mRegion, region);
        else if (mKind == kRegion)
            ok = pixman_region32_intersect(&mRegion, &mRegion, region);
        mKind = mKind == kUnknown || !ok ? kUnknown : kRegion;
    }

    void Forget() { mKind = kUnknown; }

  private:
    Kind mKind = kEverything;
    pixman_region32_t mRegion;
};

struct CGContext
{
    cairo_t* cr;
    // The default user space: y up from the bottom edge, or the target's own
    // y-down axes (a view's context).
    cairo_matrix_t base;
    bool yUp;
    int32_t savedStates; // CGContextSaveGState calls not yet restored
    // A context on a world draws into a cairo surface over the world's own
    // pixels (null for a host's cairo_t).
    GWorldPtr world;
    cairo_surface_t* worldSurface;
    // The clip of each saved state and, last, the current one.
    std::vector<DeviceClip> clips;
    // Scratch for strokes drawn around cairo; made when first needed.
    StrokeCoverage* coverage = nullptr;
    // While HIViewDrawCGImageWithin draws: the image pixels outside which
    // every pixel is transparent, so that drawing one to one need not look
    // at them (null otherwise).
    const pixman_region32_t* imageArea = nullptr;
    // While HIViewDrawPreparedCGImage draws: what makes the image's pixels
    // ready before they are read (null otherwise, and once all are ready).
    PreparePixelsProc preparePixels = nullptr;
    void* prepareInfo = nullptr;
};

// A new cairo image in cairo's premultiplied form holding the image's pixels,
// or null when it cannot be made. The caller destroys it.
cairo_surface_t* CairoSurfaceOfImage(CGImageRef image);

// Whether drawings the platform can do with exactly cairo's result on a
// world (images placed one to one, one-pixel lines) are done by the
// platform, as they are by default, or left to cairo. Turned off only to
// compare the two.
void SetPlatformDrawing(bool enabled);

// A context over a world's pixels: y up from the bottom-left corner, or the
// world's own y-down axes.
CGContextRef OpenWorldContext(GWorldPtr world, bool yUp);

#endif
