// The sprite functions: thin wrappers over CSpriteList and CSprite in the
// argument forms a host uses, the library-wide origin shift, and the five
// wrappers that turn any exception beneath them into a result.
#include <cstdint>

#include "engine/engine_p.h"

int32_t global_ShiftX_ = 0;
int32_t global_ShiftY_ = 0;

namespace {

// The results of SprGetX and SprGetY: the host reads them through the
// returned address until the next call of the same function.
double gLastX = 0.0;
double gLastY = 0.0;

// Moves r by (dx, dy), each coordinate kept to 16 bits.
void MoveRect(Rect* r, int16_t dx, int16_t dy)
{
    r->left = static_cast<int16_t>(r->left + dx);
    r->right = static_cast<int16_t>(r->right + dx);
    r->top = static_cast<int16_t>(r->top + dy);
    r->bottom = static_cast<int16_t>(r->bottom + dy);
}

} // namespace

void ShiftRect(Rect* r)
{
    MoveRect(r, static_cast<int16_t>(global_ShiftX_), static_cast<int16_t>(global_ShiftY_));
}

extern "C" {

void SetSpriteOrigin(Point origin)
{
    global_ShiftX_ = origin.h;
    global_ShiftY_ = origin.v;
}

CSpriteList* SprInitSprites(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites,
                            Rect* bounds)
{
    return new CSpriteList(backdrop, background, sprites, bounds);
}

void SprReInitSprites(CSpriteList* list, GWorldPtr backdrop, GWorldPtr background,
                      GWorldPtr sprites, Rect* bounds)
{
    list->ReInit(backdrop, background, sprites, bounds);
}

void SprListBgChanged(CSpriteList* list, GWorldPtr background)
{
    list->BgChanged(background);
}

void SprDeleteList(CSpriteList* list)
{
    delete list;
}

void SprSetFactor(CSpriteList* list, uint32_t factor)
{
    list->SetFactor(factor);
}

int32_t SprFindSprite(CSpriteList* list)
{
    return list->FindSprite();
}

int32_t SprFindNextSprite(CSpriteList* list)
{
    return list->FindNextSprite();
}

int32_t SprUpdateAll(CSpriteList* list, Rect* r, Boolean)
{
    try {
        Rect stage = *r;
        MoveRect(&stage, static_cast<int16_t>(-global_ShiftX_),
                 static_cast<int16_t>(-global_ShiftY_));
        list->UpdateAll(&stage);
        return 1;
    } catch (...) {
        return 0;
    }
}

int32_t SprUpdate(CSpriteList* list, HIViewRef view)
{
    try {
        list->Update(view);
        return 1;
    } catch (...) {
        return 0;
    }
}

void SprUpdateControl(CSpriteList* list, CGContextRef context, HIViewRef view, EventRef event)
{
    try {
        list->UpdateControl(context, view, event);
    } catch (...) {
        // Raised while the sprites were composited: nothing reached the view.
    }
}

void SprUpdateContext(CSpriteList* list, CGContextRef context, int32_t x, int32_t y, int32_t width,
                      int32_t height)
{
    try {
        list->UpdateContext(context, x, y, width, height);
    } catch (...) {
        // As in SprUpdateControl: nothing reached the context.
    }
}

CSprite* SprNewSprite(CSpriteList* list, int32_t refNum)
{
    return new CSprite(list, refNum);
}

void SprDeleteSprite(CSprite* sprite)
{
    delete sprite;
}

int32_t SprSetImage(CSprite* sprite, int32_t image, int32_t unused)
{
    return sprite->SetImage(image, unused);
}

int32_t SprGetImage(CSprite* sprite)
{
    return sprite->mImage;
}

Boolean SprShow(CSprite* sprite, Boolean shown)
{
    return sprite->SetVisible(shown != 0) ? 1 : 0;
}

Boolean SprIsShow(CSprite* sprite)
{
    return sprite->mVisible ? 1 : 0;
}

void SprSetPos(CSprite* sprite, const double* x, const double* y)
{
    sprite->SetPos(*x, *y);
}

void SprSetPosPaint(CSprite* sprite, const double* x, const double* y, uint32_t unused,
                    GWorldPtr unusedWorld, int antialias)
{
    sprite->SetPosPaint(*x, *y, unused, unusedWorld, antialias);
}

void SprMove(CSprite* sprite, const double* dx, const double* dy)
{
    sprite->Move(*dx, *dy);
}

double* SprGetX(CSprite* sprite)
{
    gLastX = sprite->mX;
    return &gLastX;
}

double* SprGetY(CSprite* sprite)
{
    gLastY = sprite->mY;
    return &gLastY;
}

void SprGetRect(CSprite* sprite, Rect* out)
{
    *out = sprite->GetRect();
}

void SprRecalculateRect(CSprite* sprite)
{
    sprite->MakeRect(&sprite->mRect);
}

void SprSetSize(CSprite* sprite, short size)
{
    sprite->SetSize(size);
}

short SprGetSize(CSprite* sprite)
{
    return sprite->GetSize();
}

void SprSetOpacity(CSprite* sprite, short opacity)
{
    sprite->SetOpacity(opacity);
}

short SprGetOpacity(CSprite* sprite)
{
    return sprite->mOpacity;
}

void SprSetFrame(CSprite* sprite, short frame)
{
    sprite->SetFrame(frame);
}

int32_t SprSetZ(CSprite* sprite, int32_t z)
{
    return sprite->SetZOrder(z);
}

void SprSendTo(CSprite* sprite, int32_t z)
{
    sprite->SendTo(z);
}

void SprSetPenMode(CSprite* sprite, short mode)
{
    sprite->mPenMode = mode;
}

short SprGetPenMode(CSprite* sprite)
{
    return sprite->mPenMode;
}

void SprSetPenSize(CSprite* sprite, short size)
{
    sprite->mPenSize = size;
}

short SprGetPenSize(CSprite* sprite)
{
    return sprite->mPenSize;
}

void SprSetPenColor(CSprite* sprite, unsigned short red, unsigned short green, unsigned short blue)
{
    RGBColor colour = {red, green, blue};
    sprite->SetPenColor(&colour);
}

void SprGetColor(CSprite* sprite, RGBColor* out)
{
    *out = sprite->mPenColor;
}

void SprGetColorUnder(CSprite* sprite, RGBColor* out)
{
    *out = sprite->GetColorUnder();
}

Boolean SprClicked(CSprite* sprite, int32_t h, int32_t v, int32_t radius)
{
    return sprite->Clicked(h, v, radius) ? 1 : 0;
}

Boolean SprIsPtVisible(CSprite* sprite, short h, short v)
{
    return sprite->PtVisible(h, v) ? 1 : 0;
}

void SprStamp(CSprite* sprite)
{
    sprite->Stamp();
}

int32_t SprCollision(CSprite* a, CSprite* b)
{
    try {
        return a->InCollisionWith(b) ? 1 : 0;
    } catch (...) {
        return -1;
    }
}

} // extern "C"
