// The paint state: locking an OurPS into a ps, the angle tables, the stamp
// counter and the one colour blend that works on 5-bit opacities.
#include <cmath>

#include "paint/paint_p.h"

double SinTable[kAngleSteps];
double CosTable[kAngleSteps];

int32_t counter = 0;

namespace {

// Row bytes without the pixel map's flag bit, and the base address.
void ReadPixMap(GWorldPtr world, int32_t* rowBytes, Ptr* base)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    *rowBytes = (*pm)->rowBytes & 0x7FFF;
    *base = (*pm)->baseAddr;
}

} // namespace

CPSLocker::CPSLocker(const OurPS* in, ps* out)
    : mSrcLock(nullptr), mDstLock(nullptr), mColorLock(nullptr)
{
    try {
        if (in->srcWorld)
            mSrcLock = new StLock(in->srcWorld);
        if (in->dstWorld)
            mDstLock = new StLock(in->dstWorld);
        if (in->colorWorld)
            mColorLock = new StLock(in->colorWorld);
    } catch (...) {
        delete mSrcLock;
        delete mDstLock;
        throw;
    }

    out->width = in->width;
    out->aux = in->aux;
    out->color = in->color;
    ReadPixMap(in->srcWorld, &out->srcRowBytes, &out->srcBase);
    ReadPixMap(in->dstWorld, &out->dstRowBytes, &out->dstBase);
    if (in->colorWorld) {
        ReadPixMap(in->colorWorld, &out->colorRowBytes, &out->colorBase);
    } else {
        out->colorRowBytes = 0;
        out->colorBase = nullptr;
    }
    out->brush = in->brush;
    out->mask = in->mask;
    out->colorTable = in->colorTable;
}

// Released in the order they were taken: source, destination, colour.
CPSLocker::~CPSLocker()
{
    delete mSrcLock;
    delete mDstLock;
    delete mColorLock;
}

int32_t PaintInit(void)
{
    for (int i = 0; i < kAngleSteps; i++) {
        const double x = i * 0.001745329251994;
        SinTable[i] = std::sin(x);
        CosTable[i] = std::cos(x);
    }
    return 43981;
}

void GetColorOpacity(uint32_t r0, uint32_t g0, uint32_t b0, uint32_t r1, uint32_t g1, uint32_t b1,
                     uint32_t opacity, RGBColor* out)
{
    const uint32_t p = opacity;
    const uint32_t q = 31 - p;
    out->red = static_cast<uint16_t>(r1 * p / 31 + r0 * q / 31);
    out->green = static_cast<uint16_t>(g1 * p / 31 + g0 * q / 31);
    out->blue = static_cast<uint16_t>(b1 * p / 31 + b0 * q / 31);
}
