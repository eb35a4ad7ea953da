// Views, draw events and the stop alert.
//
// A view is its bounds, a record of the rectangles invalidated in it, the
// host's invalidation callback and, for an offscreen view, a world that
// stands for its window's pixels.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "platform/cg_context_p.h"
#include "platform/region_p.h"
#include "platform/world_p.h"

struct OpaqueHIViewRef
{
    int32_t width;
    int32_t height;
    GWorldPtr world;
    HIViewInvalidateProc proc;
    void* info;
    std::vector<CGRect> invalid;
};

struct OpaqueEventRef
{
    RgnHandle region; // owned; null when the event carries none
};

namespace {

struct AlertHandler
{
    StandardAlertHandler handler = nullptr;
    void* info = nullptr;
};

AlertHandler gAlert;

void Invalidate(HIViewRef view, const CGRect& rect)
{
    view->invalid.push_back(rect);
    if (view->proc)
        view->proc(view->info, &rect);
}

std::string TextOf(ConstStr255Param s)
{
    return s ? std::string(reinterpret_cast<const char*>(s + 1), s[0]) : std::string();
}

HIViewRef NewView(int32_t width, int32_t height)
{
    if (width < 0 || height < 0)
        return nullptr;
    HIViewRef view = new (std::nothrow) OpaqueHIViewRef;
    if (!view)
        return nullptr;
    view->width = width;
    view->height = height;
    view->world = nullptr;
    view->proc = nullptr;
    view->info = nullptr;
    return view;
}

} // namespace

extern "C" {

HIViewRef HIViewCreateOffscreen(int32_t width, int32_t height)
{
    if (width > 0x7FFF || height > 0x7FFF)
        return nullptr;
    HIViewRef view = NewView(width, height);
    if (!view)
        return nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    if (NewGWorld(&view->world, 32, &bounds, nullptr, nullptr, 0) != noErr) {
        delete view;
        return nullptr;
    }
    return view;
}

HIViewRef HIViewCreateForHost(int32_t width, int32_t height, HIViewInvalidateProc proc, void* info)
{
    HIViewRef view = NewView(width, height);
    if (view) {
        view->proc = proc;
        view->info = info;
    }
    return view;
}

void HIViewRelease(HIViewRef view)
{
    if (!view)
        return;
    DisposeGWorld(view->world);
    delete view;
}

OSStatus HIViewGetBounds(HIViewRef view, HIRect* bounds)
{
    if (!view || !bounds)
        return paramErr;
    *bounds = CGRectMake(0, 0, view->width, view->height);
    return noErr;
}

GWorldPtr HIViewGetGWorld(HIViewRef view)
{
    return view ? view->world : nullptr;
}

CGContextRef HIViewCreateDrawContext(HIViewRef view)
{
    return view && view->world ? OpenWorldContext(view->world, false) : nullptr;
}

int32_t HIViewCountInvalidRects(HIViewRef view)
{
    return view ? static_cast<int32_t>(view->invalid.size()) : 0;
}

Boolean HIViewGetInvalidRect(HIViewRef view, int32_t index, HIRect* rect)
{
    if (!view || !rect || index < 0 || static_cast<size_t>(index) >= view->invalid.size())
        return false;
    *rect = view->invalid[static_cast<size_t>(index)];
    return true;
}

void HIViewClearInvalidRects(HIViewRef view)
{
    if (view)
        view->invalid.clear();
}

EventRef CreateDrawEvent(RgnHandle region)
{
    EventRef event = new (std::nothrow) OpaqueEventRef;
    if (!event)
        return nullptr;
    event->region = nullptr;
    if (region) {
        event->region = NewRgn();
        CopyRgn(region, event->region);
    }
    return event;
}

void ReleaseEvent(EventRef event)
{
    if (!event)
        return;
    DisposeRgn(event->region);
    delete event;
}

void SetStandardAlertHandler(StandardAlertHandler handler, void* info)
{
    gAlert.handler = handler;
    gAlert.info = handler ? info : nullptr;
}

} // extern "C"

OSStatus HIViewSetNeedsDisplayInRect(HIViewRef view, const HIRect* rect, Boolean needsDisplay)
{
    if (!view || !rect)
        return paramErr;
    if (needsDisplay)
        Invalidate(view, *rect);
    return noErr;
}

OSStatus HIViewSetNeedsDisplayInRegion(HIViewRef view, RgnHandle region, Boolean needsDisplay)
{
    if (!view || !region)
        return paramErr;
    if (!needsDisplay)
        return noErr;
    int count = 0;
    const pixman_box32_t* boxes = pixman_region32_rectangles(PixmanRegion(region), &count);
    for (int i = 0; i < count; i++)
        Invalidate(view, CGRectMake(boxes[i].x1, boxes[i].y1, boxes[i].x2 - boxes[i].x1,
                                    boxes[i].y2 - boxes[i].y1));
    return noErr;
}

OSStatus HIViewDrawCGImage(CGContextRef c, const HIRect* rect, CGImageRef image)
{
    if (!c || !rect || !image)
        return paramErr;
    // Turn the rectangle upside down about its own middle, so that the
    // image's first row, which a context draws at the rectangle's larger y,
    // lands at its top.
    CGContextSaveGState(c);
    CGContextTranslateCTM(c, 0, 2 * rect->origin.y + rect->size.height);
    CGContextScaleCTM(c, 1, -1);
    CGContextDrawImage(c, *rect, image);
    CGContextRestoreGState(c);
    return noErr;
}

OSStatus HIViewDrawCGImageWithin(CGContextRef c, const HIRect* rect, CGImageRef image,
                                 RgnHandle area)
{
    if (!c || !area)
        return HIViewDrawCGImage(c, rect, image);
    c->imageArea = PixmanRegion(area);
    const OSStatus status = HIViewDrawCGImage(c, rect, image);
    c->imageArea = nullptr;
    return status;
}

OSStatus HIViewDrawPreparedCGImage(CGContextRef c, const HIRect* rect, CGImageRef image,
                                   RgnHandle area, PreparePixelsProc prepare, void* info)
{
    if (!c || !area) {
        prepare(info, nullptr, -1);
        return HIViewDrawCGImage(c, rect, image);
    }
    c->preparePixels = prepare;
    c->prepareInfo = info;
    const OSStatus status = HIViewDrawCGImageWithin(c, rect, image, area);
    c->preparePixels = nullptr;
    c->prepareInfo = nullptr;
    return status;
}

OSStatus GetEventParameter(EventRef event, EventParamName name, EventParamType type,
                           EventParamType* outActualType, uint32_t size, uint32_t* outActualSize,
                           void* out)
{
    if (!event || name != kEventParamRgnHandle || type != typeQDRgnHandle || !event->region)
        return eventParameterNotFoundErr;
    if (size < sizeof(RgnHandle) || !out)
        return errAEBufferTooSmall;
    *static_cast<RgnHandle*>(out) = event->region;
    if (outActualType)
        *outActualType = typeQDRgnHandle;
    if (outActualSize)
        *outActualSize = sizeof(RgnHandle);
    return noErr;
}

OSErr StandardAlert(AlertType type, ConstStr255Param error, ConstStr255Param explanation,
                    const AlertStdAlertParamRec*, int16_t* outItemHit)
{
    const std::string errorText = TextOf(error);
    const std::string explanationText = TextOf(explanation);
    if (gAlert.handler)
        gAlert.handler(gAlert.info, type, errorText.c_str(), explanationText.c_str());
    else
        std::fprintf(stderr, "%s\n%s\n", errorText.c_str(), explanationText.c_str());
    if (outItemHit)
        *outItemHit = 1; // the OK button
    return noErr;
}
