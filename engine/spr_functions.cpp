// The sprite functions: thin wrappers over CSpriteList and CSprite in the
// argument forms a host uses, the library-wide origin shift, and the five
// wrappers that turn any exception beneath them into a result.
//
// A null handle, or a null pointer where a value is read or written, makes a
// function do nothing and return its "nothing" result: 0, null or false, and
// -1 (no picture) for the picture number. A stage is made only over three
// worlds and a stage rectangle, so a stage never holds a null world.
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

// The low 16 bits of -value, without the overflow of negating INT32_MIN.
inline int16_t Negated(int32_t value)
{
    return static_cast<int16_t>(0u - static_cast<uint32_t>(value));
}

bool MakesAStage(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, const Rect* bounds)
{
    return backdrop && background && sprites && bounds;
}

} // namespace

void ShiftRect(Rect* r)
{
    if (!r)
        return;
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
    if (!MakesAStage(backdrop, background, sprites, bounds))
        return nullptr;
    return new CSpriteList(backdrop, background, sprites, bounds);
}

void SprReInitSprites(CSpriteList* list, GWorldPtr backdrop, GWorldPtr background,
                      GWorldPtr sprites, Rect* bounds)
{
    if (list && MakesAStage(backdrop, background, sprites, bounds))
        list->ReInit(backdrop, background, sprites, bounds);
}

void SprListBgChanged(CSpriteList* list, GWorldPtr background)
{
    if (list && background)
        list->BgChanged(background);
}

void SprDeleteList(CSpriteList* list)
{
    delete list;
}

void SprSetFactor(CSpriteList* list, uint32_t factor)
{
    if (list)
        list->SetFactor(factor);
}

int32_t SprFindSprite(CSpriteList* list)
{
    return list ? list->FindSprite() : 0;
}

int32_t SprFindNextSprite(CSpriteList* list)
{
    return list ? list->FindNextSprite() : 0;
}

int32_t SprUpdateAll(CSpriteList* list, Rect* r, Boolean)
{
    if (!list || !r)
        return 0;
    try {
        Rect stage = *r;
        MoveRect(&stage, Negated(global_ShiftX_), Negated(global_ShiftY_));
        list->UpdateAll(&stage);
        return 1;
    } catch (...) {
        return 0;
    }
}

int32_t SprUpdate(CSpriteList* list, HIViewRef view)
{
    if (!list)
        return 0;
    try {
        list->Update(view);
        return 1;
    } catch (...) {
        return 0;
    }
}

void SprUpdateControl(CSpriteList* list, CGContextRef context, HIViewRef view, EventRef event)
{
    if (!list || !context)
        return;
    try {
        list->UpdateControl(context, view, event);
    } catch (...) {
        // Raised while the sprites were composited: nothing reached the view.
    }
}

void SprUpdateContext(CSpriteList* list, CGContextRef context, int32_t x, int32_t y, int32_t width,
                      int32_t height)
{
    if (!list || !context)
        return;
    try {
        list->UpdateContext(context, x, y, width, height);
    } catch (...) {
        // As in SprUpdateControl: nothing reached the context.
    }
}

CSprite* SprNewSprite(CSpriteList* list, int32_t refNum)
{
    return list ? new CSprite(list, refNum) : nullptr;
}

void SprDeleteSprite(CSprite* sprite)
{
    delete sprite;
}

int32_t SprSetImage(CSprite* sprite, int32_t image, int32_t unused)
{
    return sprite ? sprite->SetImage(image, unused) : 0;
}

int32_t SprGetImage(CSprite* sprite)
{
    return sprite ? sprite->mImage : 0;
}

Boolean SprShow(CSprite* sprite, Boolean shown)
{
    return sprite && sprite->SetVisible(shown != 0) ? 1 : 0;
}

Boolean SprIsShow(CSprite* sprite)
{
    return sprite && sprite->mVisible ? 1 : 0;
}

void SprSetPos(CSprite* sprite, const double* x, const double* y)
{
    if (sprite && x && y)
        sprite->SetPos(*x, *y);
}

void SprSetPosPaint(CSprite* sprite, const double* x, const double* y, uint32_t unused,
                    GWorldPtr unusedWorld, int antialias)
{
    if (sprite && x && y)
        sprite->SetPosPaint(*x, *y, unused, unusedWorld, antialias);
}

void SprMove(CSprite* sprite, const double* dx, const double* dy)
{
    if (sprite && dx && dy)
        sprite->Move(*dx, *dy);
}

double* SprGetX(CSprite* sprite)
{
    if (!sprite)
        return nullptr;
    gLastX = sprite->mX;
    return &gLastX;
}

double* SprGetY(CSprite* sprite)
{
    if (!sprite)
        return nullptr;
    gLastY = sprite->mY;
    return &gLastY;
}

void SprGetRect(CSprite* sprite, Rect* out)
{
    if (sprite && out)
        *out = sprite->GetRect();
}

void SprRecalculateRect(CSprite* sprite)
{
    if (sprite)
        sprite->MakeRect(&sprite->mRect);
}

void SprSetSize(CSprite* sprite, short size)
{
    if (sprite)
        sprite->SetSize(size);
}

short SprGetSize(CSprite* sprite)
{
    return sprite ? sprite->GetSize() : 0;
}

void SprSetOpacity(CSprite* sprite, short opacity)
{
    if (sprite)
        sprite->SetOpacity(opacity);
}

short SprGetOpacity(CSprite* sprite)
{
    return sprite ? sprite->mOpacity : 0;
}

void SprSetFrame(CSprite* sprite, short frame)
{
    if (sprite)
        sprite->SetFrame(frame);
}

int32_t SprSetZ(CSprite* sprite, int32_t z)
{
    return sprite ? sprite->SetZOrder(z) : 0;
}

void SprSendTo(CSprite* sprite, int32_t z)
{
    if (sprite)
        sprite->SendTo(z);
}

void SprSetPenMode(CSprite* sprite, short mode)
{
    if (sprite)
        sprite->mPenMode = mode;
}

short SprGetPenMode(CSprite* sprite)
{
    return sprite ? sprite->mPenMode : 0;
}

void SprSetPenSize(CSprite* sprite, short size)
{
    if (sprite)
        sprite->mPenSize = size;
}

short SprGetPenSize(CSprite* sprite)
{
    return sprite ? sprite->mPenSize : 0;
}

void SprSetPenColor(CSprite* sprite, unsigned short red, unsigned short green, unsigned short blue)
{
    if (!sprite)
        return;
    RGBColor colour = {red, green, blue};
    sprite->SetPenColor(&colour);
}

void SprGetColor(CSprite* sprite, RGBColor* out)
{
    if (sprite && out)
        *out = sprite->mPenColor;
}

void SprGetColorUnder(CSprite* sprite, RGBColor* out)
{
    if (sprite && out)
        *out = sprite->GetColorUnder();
}

Boolean SprClicked(CSprite* sprite, int32_t h, int32_t v, int32_t radius)
{
    return sprite && sprite->Clicked(h, v, radius) ? 1 : 0;
}

Boolean SprIsPtVisible(CSprite* sprite, short h, short v)
{
    return sprite && sprite->PtVisible(h, v) ? 1 : 0;
}

void SprStamp(CSprite* sprite)
{
    if (sprite)
        sprite->Stamp();
}

int32_t SprCollision(CSprite* a, CSprite* b)
{
    if (!a || !b)
        return 0;
    try {
        return a->InCollisionWith(b) ? 1 : 0;
    } catch (...) {
        return -1;
    }
}

} // extern "C"
