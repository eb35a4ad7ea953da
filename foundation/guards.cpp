#include "sprig/foundation.h"

StPort::StPort()
{
    GetPort(&mSavedPort);
}

StPort::StPort(GrafPtr port)
{
    GetPort(&mSavedPort);
    SetPort(port);
}

StPort::~StPort()
{
    SetPort(mSavedPort);
}

StForeColor::StForeColor()
{
    GetForeColor(&mSavedColor);
}

StForeColor::StForeColor(RGBColor& colour)
{
    GetForeColor(&mSavedColor);
    RGBForeColor(&colour);
}

StForeColor::~StForeColor()
{
    RGBForeColor(&mSavedColor);
}

StBackColor::StBackColor()
{
    GetBackColor(&mSavedColor);
}

StBackColor::StBackColor(RGBColor& colour)
{
    GetBackColor(&mSavedColor);
    RGBBackColor(&colour);
}

StBackColor::~StBackColor()
{
    RGBBackColor(&mSavedColor);
}

StGWorld::StGWorld(GWorldPtr world)
{
    GetGWorld(&mSavedWorld, &mSavedDevice);
    SetGWorld(world, nullptr);
}

StGWorld::~StGWorld()
{
    SetGWorld(mSavedWorld, mSavedDevice);
}

StPen::StPen(short size, RGBColor* colour)
{
    GetPenState(&mSavedPen);
    GetForeColor(&mSavedColor);
    PenNormal();
    PenSize(size, size);
    RGBForeColor(colour);
}

StPen::~StPen()
{
    SetPenState(&mSavedPen);
    RGBForeColor(&mSavedColor);
}

StLock::StLock(GWorldPtr world) : StLock(GetPortPixMap(world)) {}

StLock::StLock(PixMapHandle pixMap) : mPixMap(pixMap)
{
    HLock(reinterpret_cast<Handle>(mPixMap));
    mSavedState = GetPixelsState(mPixMap);
    LockPixels(mPixMap);
}

StLock::~StLock()
{
    SetPixelsState(mPixMap, mSavedState);
    HUnlock(reinterpret_cast<Handle>(mPixMap));
}

StOffscreen::StOffscreen(uint32_t width, uint32_t height, short depth) : mWorld(nullptr)
{
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    const OSErr err = NewGWorld(&mWorld, depth, &bounds, nullptr, nullptr, 0);
    if (err != noErr)
        throw static_cast<short>(err);
}

StOffscreen::~StOffscreen()
{
    DisposeGWorld(mWorld);
}

StColors::StColors()
    : StColors(const_cast<RGBColor&>(foreground), const_cast<RGBColor&>(background))
{
}

StColors::StColors(RGBColor& fore, RGBColor& back) : mSavedFore(nullptr), mSavedBack(nullptr)
{
    mSavedFore = new RGBColor;
    GetForeColor(mSavedFore);
    RGBForeColor(&fore);
    try {
        mSavedBack = new RGBColor;
    } catch (...) {
        // The destructor will not run: put the foreground back and free it here.
        RGBForeColor(mSavedFore);
        delete mSavedFore;
        throw;
    }
    GetBackColor(mSavedBack);
    RGBBackColor(&back);
}

StColors::~StColors()
{
    if (mSavedFore) {
        RGBForeColor(mSavedFore);
        delete mSavedFore;
    }
    if (mSavedBack) {
        RGBBackColor(mSavedBack);
        delete mSavedBack;
    }
}
