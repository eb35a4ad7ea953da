// The objects behind the drawing-context handles, shared by the platform's
// cg_*.cpp files.
#ifndef SPRIG_PLATFORM_CG_CONTEXT_P_H
#define SPRIG_PLATFORM_CG_CONTEXT_P_H

#include <cairo.h>

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
};

// A new cairo image in cairo's premultiplied form holding the image's pixels,
// or null when it cannot be made. The caller destroys it.
cairo_surface_t* CairoSurfaceOfImage(CGImageRef image);

// A context over a world's pixels: y up from the bottom-left corner, or the
// world's own y-down axes.
CGContextRef OpenWorldContext(GWorldPtr world, bool yUp);

#endif
