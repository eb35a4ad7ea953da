/* sprig: the sprite engine: sprites, the stage that owns them and redraws
 * what changed, stage drawing, hit tests and collision.
 *
 * A stage (CSpriteList) is a rectangle of stage coordinates with three
 * surfaces the host owns: the backdrop (lowest, read only), the background
 * (stamps and pen trails go into it) and the sprite surface (the visible
 * sprites are composited into it for every draw of the view). Its sprites
 * (CSprite) are kept in drawing order, first drawn first (at the back).
 *
 * Every change of a sprite's look marks the stage rectangle it affects in a
 * table of 140 redisplay rectangles, where overlapping marks merge. Update
 * turns the marks into invalidations of the host's view (multiplied by the
 * zoom factor); in the view's draw event the host draws its backdrop and
 * background and then calls UpdateControl (or UpdateContext), which draws
 * the sprites over them.
 *
 * Sprites show pictures of the pool (sprig/images.h) by number, scaled in
 * fortieths of the natural size and faded by an opacity from 0 to 255. A
 * number outside 0 to 15999 or an empty slot shows nothing. */
#ifndef SPRIG_ENGINE_H
#define SPRIG_ENGINE_H

#include <stddef.h>

#include <vector>

#include "sprig/coregraphics.h"
#include "sprig/foundation.h"

class CSpriteList;

/* One movable picture on a stage. A new sprite is invisible, has no picture
 * and stands in front of all others. */
class SPRIG_EXPORT CSprite
{
  public:
    /* Appended at the end of the list's drawing sequence; nothing is marked. */
    CSprite(CSpriteList* list, int32_t refNum);
    /* Marks the sprite's rectangle and leaves the list. */
    ~CSprite();
    CSprite(const CSprite&) = delete;
    CSprite& operator=(const CSprite&) = delete;

    /* Setters mark what they change (see each); those the host may want to
     * undo return the previous value. */
    bool SetVisible(bool shown);        /* always marks mRect */
    void SetPenColor(RGBColor* colour); /* marks mRect for a colorized picture */
    void SetOpacity(short opacity);     /* marks mRect when it changes */
    void SetFrame(short frame);         /* 0 none, 1 solid, 2 dashed */
    void SetSize(short size);           /* marks the old and new rectangles */
    short GetSize();
    int32_t SetImage(int32_t image, int32_t unused);
    int32_t SetZOrder(int32_t z);
    /* Moves to the place a sprite of value z would take; mZ is kept. */
    void SendTo(int32_t z);

    /* The bounding rectangle: the scaled picture centred on the rounded
     * position; empty for a sprite without a picture. */
    void MakeRect(Rect* out);
    Rect GetRect();

    /* Draws the sprite at mRect into target (visible or not). */
    void Output(GWorldPtr target);
    /* Output into the stage's sprite surface, if visible. */
    void Draw();
    /* Output into the stage's background, then marks mRect. */
    void Stamp();
    /* The colour of the stage (background, or backdrop where the background
     * is white) under the sprite's centre. */
    RGBColor GetColorUnder();
    /* Brings the position back into the stage by whole stage sizes. */
    void WrapXY();

    /* Is there an opaque pixel of the sprite within radius of (h, v)? */
    bool Clicked(int32_t h, int32_t v, int32_t radius);
    /* Is the sprite's pixel at (h, v) opaque? */
    bool PtVisible(short h, short v);
    /* Do the two sprites overlap in pixels that both have non-zero alpha? */
    bool InCollisionWith(CSprite* other);

    CSpriteList* mList;
    int32_t mRefNum;
    double mX;
    double mY;
    bool mVisible;
    bool mWrap;
    int32_t mZ;
    int32_t mImage;
    short mSize;
    short mPenMode;
    short mPenSize;
    short mOpacity;
    RGBColor mPenColor;
    Rect mRect;
    short mFrame;
};

/* The position of the one find iteration of the library (FindSprite,
 * FindNextSprite): the number of sprites of the sequence before it. */
struct SpriteCursor
{
    size_t index;
};

/* One stage. */
class SPRIG_EXPORT CSpriteList
{
  public:
    enum
    {
        kMaxRects = 140
    };

    /* The whole stage is marked at once. The surfaces stay the host's. */
    CSpriteList(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds);
    /* Destroys every sprite still on the stage. */
    ~CSpriteList();
    CSpriteList(const CSpriteList&) = delete;
    CSpriteList& operator=(const CSpriteList&) = delete;

    /* New surfaces and stage rectangle; nothing is marked. */
    void ReInit(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds);
    void BgChanged(GWorldPtr background);
    void SetFactor(uint32_t factor);

    /* The redisplay table. */
    void InitRedisplayRects();
    /* Clips r to the stage, merges it with the pending rectangles it
     * overlaps and stores it. */
    void AddDisplayRect(CRect r);
    void UpdateAll(Rect* r);
    /* Stage to view coordinates: each coordinate times the factor, 16 bits. */
    void FactorRect(Rect& r);
    /* Invalidates every pending rectangle of the view and empties the table. */
    void Update(HIViewRef view);

    RGBColor GetPixel(int h, int v);

    /* The drawing sequence. */
    void AddSprite(CSprite* s);
    /* Before the first sprite whose z (its low 16 bits) is smaller than z. */
    void InsertSprite(CSprite* s, int32_t z);
    void DeleteSprite(CSprite* s);
    /* Reference numbers from the front sprite to the back one; 0 at the end. */
    int32_t FindSprite();
    int32_t FindNextSprite();

    /* Draws the sprites during the view's draw event. */
    void UpdateControl(CGContextRef context, HIViewRef view, EventRef event);
    /* Draws the sprites into a context at (x / 1000, y / 1000), width x height. */
    void UpdateContext(CGContextRef context, int32_t x, int32_t y, int32_t width, int32_t height);

    int32_t mRectCount;
    CRect mBounds;
    CRect mRects[kMaxRects];
    uint32_t mFactor;
    std::vector<CSprite*> mSprites;
    GWorldPtr mBackdropWorld;
    GWorldPtr mBackgroundWorld;
    GWorldPtr mSpriteWorld;
};

/* The find cursor, shared by all stages (one iteration at a time). */
SPRIG_EXPORT extern SpriteCursor* priv;

SPRIG_EXTERN_C_BEGIN

/* The rounding of positions everywhere in the engine: v >= 0 gives
 * trunc(v + 0.5), v < 0 gives trunc(v - 0.499999); so 2.5 gives 3, -2.5
 * gives -2, -2.6 gives -3. Values beyond 32 bits saturate; NaN gives 0. */
SPRIG_EXPORT int32_t SprRound(const double* value);

SPRIG_EXTERN_C_END

#endif
