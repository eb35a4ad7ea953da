/** @file
 * sprig: the sprite engine: sprites, the stage that owns them and redraws
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

#include <unordered_map>
#include <vector>

#include "sprig/coregraphics.h"
#include "sprig/foundation.h"

class CSpriteList;

/** One movable picture on a stage. A new sprite is invisible, has no picture
 * and stands in front of all others. */
class SPRIG_EXPORT CSprite
{
  public:
    /** Appended at the end of the list's drawing sequence; nothing is marked. */
    CSprite(CSpriteList* list, int32_t refNum);
    /** @{ */
    /** Marks the sprite's rectangle and leaves the list. */
    ~CSprite();
    CSprite(const CSprite&) = delete;
    CSprite& operator=(const CSprite&) = delete;
    /** @} */

    /** @{ */
    /** Setters mark what they change (see each); those the host may want to
     * undo return the previous value. */
    bool SetVisible(bool shown);        /**< always marks mRect */
    void SetPenColor(RGBColor* colour); /**< marks mRect for a colorized picture */
    void SetOpacity(short opacity);     /**< marks mRect when it changes */
    void SetFrame(short frame);         /**< 0 none, 1 solid, 2 dashed */
    void SetSize(short size);           /**< marks the old and new rectangles */
    short GetSize();
    int32_t SetImage(int32_t image, int32_t unused);
    int32_t SetZOrder(int32_t z);
    /** @} */
    /** Moves to the place a sprite of value z would take; mZ is kept. */
    void SendTo(int32_t z);

    /** @{ */
    /** The bounding rectangle: the scaled picture centred on the rounded
     * position; empty for a sprite without a picture. */
    void MakeRect(Rect* out);
    Rect GetRect();
    /** @} */

    /** Draws the sprite at mRect into target (visible or not). */
    void Output(GWorldPtr target);
    /** Output into the stage's sprite surface, if visible. */
    void Draw();
    /** Output into the stage's background, then marks mRect. */
    void Stamp();
    /** The colour of the stage (background, or backdrop where the background
     * is white) under the sprite's centre. */
    RGBColor GetColorUnder();
    /** Brings the position back into the stage by whole stage sizes, as
     * stepping one stage size at a time would (positions of 2^53 or more by
     * their exact remainder). A stage without width or height, and a
     * position that is not a finite number, are left as they are. */
    void WrapXY();

    /** @{ */
    /** Moves with the pen: the old and new rectangles are marked (when
     * visible), the position wraps, and the pen draws from the old position
     * to (x, y) unwrapped, the stage wrapping the line. SetPos starts the
     * line at the old position rounded to whole pixels and never
     * antialiases; SetPosPaint starts it at the exact old position with the
     * given antialias mode (0 off, 2 on with exact end points, others on
     * with rounded end points). The unnamed arguments are not used. A
     * position that is not a finite number is ignored: the sprite stays,
     * nothing is drawn or marked. */
    void SetPos(double x, double y);
    void SetPosPaint(double x, double y, uint32_t unused, GWorldPtr unusedWorld, int antialias);
    /** @} */
    /** SetPos(mX + dx, mY + dy). */
    void Move(double dx, double dy);

    /** Is there an opaque pixel of the sprite within radius of (h, v)? */
    bool Clicked(int32_t h, int32_t v, int32_t radius);
    /** Is the sprite's pixel at (h, v) opaque? */
    bool PtVisible(short h, short v);
    /** Do the two sprites overlap in pixels that both have non-zero alpha? */
    bool InCollisionWith(CSprite* other);

    CSpriteList* mList; /**< the stage it belongs to */
    int32_t mRefNum;    /**< the host's number for it */
    double mX;          /**< horizontal position of its centre, stage pixels */
    double mY;          /**< vertical position of its centre, stage pixels */
    bool mVisible;      /**< shown (drawn in every frame) */
    bool mWrap;         /**< positions wrap across the stage's edges (true) */
    int32_t mZ;         /**< the value SetZOrder last gave */
    int32_t mImage;     /**< the pool number of its picture; outside 0 to 15999 for none */
    short mSize;        /**< scale in fortieths of the picture's size (40 natural) */
    short mPenMode;     /**< 0 up, 2 erase, others draw */
    short mPenSize;     /**< pen width in pixels */
    short mOpacity;     /**< 0 transparent to 255 opaque */
    RGBColor mPenColor; /**< the pen's colour, and a colorized picture's tint */
    Rect mRect;         /**< where it was last drawn, stage coordinates */
    short mFrame;       /**< 0 no frame, 1 solid, 2 dashed */
};

/** The position of the one find iteration of the library (FindSprite,
 * FindNextSprite): the number of sprites of the sequence before it. */
struct SpriteCursor
{
    size_t index; /**< sprites of the sequence already found */
};

/** The drawing sequence of a stage: its sprites in drawing order, the first
 * drawn first (at the back). It reads as a std::vector<CSprite*> (size,
 * front, back, [], at, iteration both ways, comparison with and conversion
 * to a vector). Behind it stands a balanced tree ordered by place in the
 * sequence, where each subtree knows its count and the smallest z value in
 * it, so that the library finds a sprite's place, places a sprite by z value
 * and takes one out in logarithmic time. The flat vector that iteration reads is rebuilt
 * on the first read after a change.
 *
 * The z value of a sprite in the sequence is the one it had when placed, as
 * CSprite::SetZOrder updates it; a host that writes mZ of a sprite itself
 * does not move it and is not seen by later placements. */
class CSpriteSequence
{
  public:
    typedef CSprite* value_type;                                  /**< as std::vector<CSprite*> */
    typedef std::vector<CSprite*>::const_iterator const_iterator; /**< reads View() */
    typedef const_iterator iterator; /**< read only, as const_iterator */
    typedef std::vector<CSprite*>::const_reverse_iterator
        const_reverse_iterator; /**< reads View() */

    /** The number of places in the sequence. */
    size_t size() const { return mRoot < 0 ? 0 : mNodes[static_cast<size_t>(mRoot)].count; }
    /** True when the sequence holds no sprite. */
    bool empty() const { return mRoot < 0; }
    /** Iteration from the back (drawn first) to the front, as a vector's. */
    /** @{ */
    const_iterator begin() const { return View().begin(); }
    const_iterator end() const { return View().end(); }
    const_reverse_iterator rbegin() const { return View().rbegin(); }
    const_reverse_iterator rend() const { return View().rend(); }
    /** @} */
    /** The sprite at place i, as a vector's [] and at(). */
    /** @{ */
    CSprite* operator[](size_t i) const { return View()[i]; }
    CSprite* at(size_t i) const { return View().at(i); }
    /** @} */
    /** The sprite drawn first (furthest back); the sequence must not be empty. */
    CSprite* front() const { return Node(Outermost(mRoot, true)).sprite; }
    /** The sprite drawn last (in front); the sequence must not be empty. */
    CSprite* back() const { return Node(Outermost(mRoot, false)).sprite; }
    /** A copy of the sequence as a vector. */
    operator std::vector<CSprite*>() const { return View(); }

    /** The sprites in order, as a vector. */
    const std::vector<CSprite*>& View() const
    {
        if (mStale) {
            mView.clear();
            mView.reserve(size());
            for (int32_t t = Outermost(mRoot, true); t >= 0; t = Next(t))
                mView.push_back(Node(t).sprite);
            mStale = false;
        }
        return mView;
    }

    /** Places s at the end (in front of all others). */
    void Append(CSprite* s);
    /** Places s before the first sprite whose z (low 16 bits) is smaller than z, or
     * at the end. */
    void InsertByZ(CSprite* s, int32_t z);
    /** Takes out the first occurrence of s; false when s is not there. */
    bool Remove(CSprite* s);
    /** Takes in s->mZ as the z value of s's places in the sequence. */
    void Rekey(CSprite* s);

  private:
    struct TreeNode
    {
        CSprite* sprite;
        int32_t left, right, parent;
        int32_t twin; // another place of the same sprite, or -1
        uint32_t priority;
        uint32_t count; // nodes in this subtree
        int16_t z;      // the sprite's z, low 16 bits
        int16_t minZ;   // smallest z in this subtree
    };

    const TreeNode& Node(int32_t t) const { return mNodes[static_cast<size_t>(t)]; }
    TreeNode& Node(int32_t t) { return mNodes[static_cast<size_t>(t)]; }
    uint32_t Count(int32_t t) const { return t < 0 ? 0 : Node(t).count; }

    int32_t Outermost(int32_t t, bool leftmost) const
    {
        while (t >= 0 && (leftmost ? Node(t).left : Node(t).right) >= 0)
            t = leftmost ? Node(t).left : Node(t).right;
        return t;
    }
    int32_t Next(int32_t t) const
    {
        if (Node(t).right >= 0)
            return Outermost(Node(t).right, true);
        while (Node(t).parent >= 0 && Node(Node(t).parent).right == t)
            t = Node(t).parent;
        return Node(t).parent;
    }

    int32_t NewNode(CSprite* s);
    void Pull(int32_t t);
    int32_t Merge(int32_t a, int32_t b);
    void Split(int32_t t, uint32_t k, int32_t* left, int32_t* right);
    void InsertAt(uint32_t k, int32_t node);
    uint32_t Rank(int32_t t) const;
    uint32_t FirstBelow(int32_t z) const;
    void Unlink(int32_t t);

    std::vector<TreeNode> mNodes;
    std::vector<int32_t> mFree;
    int32_t mRoot = -1;
    uint32_t mSeed = 0x9E3779B9u;
    std::unordered_map<CSprite*, int32_t> mPlaces; // sprite -> one of its nodes
    mutable std::vector<CSprite*> mView;
    mutable bool mStale = false;
};

/** A sequence and a vector compare by their sprites in order. */
/** @{ */
inline bool operator==(const CSpriteSequence& a, const std::vector<CSprite*>& b)
{
    return a.View() == b;
}
inline bool operator==(const std::vector<CSprite*>& a, const CSpriteSequence& b)
{
    return b == a;
}
inline bool operator!=(const CSpriteSequence& a, const std::vector<CSprite*>& b)
{
    return !(a == b);
}
inline bool operator!=(const std::vector<CSprite*>& a, const CSpriteSequence& b)
{
    return !(b == a);
}

/** @} */

/** One stage. */
class SPRIG_EXPORT CSpriteList
{
  public:
    enum
    {
        kMaxRects = 140
    };

    /** The whole stage is marked at once. The surfaces stay the host's. */
    CSpriteList(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds);
    /** @{ */
    /** Destroys every sprite still on the stage. */
    ~CSpriteList();
    CSpriteList(const CSpriteList&) = delete;
    CSpriteList& operator=(const CSpriteList&) = delete;
    /** @} */

    /** @{ */
    /** New surfaces and stage rectangle; nothing is marked. */
    void ReInit(GWorldPtr backdrop, GWorldPtr background, GWorldPtr sprites, Rect* bounds);
    void BgChanged(GWorldPtr background);
    void SetFactor(uint32_t factor);
    /** @} */

    /** The redisplay table. */
    void InitRedisplayRects();
    /** @{ */
    /** Clips r to the stage, merges it with the pending rectangles it
     * overlaps and stores it. */
    void AddDisplayRect(CRect r);
    void UpdateAll(Rect* r);
    /** @} */
    /** Stage to view coordinates: each coordinate times the factor, 16 bits. */
    void FactorRect(Rect& r);
    /** Invalidates every pending rectangle of the view and empties the table. */
    void Update(HIViewRef view);

    /** The background's colour at (h, v), or the backdrop's where the
     * background is white. */
    RGBColor GetPixel(int h, int v);

    /** The drawing sequence. */
    void AddSprite(CSprite* s);
    /** @{ */
    /** Before the first sprite whose z (its low 16 bits) is smaller than z. */
    void InsertSprite(CSprite* s, int32_t z);
    void DeleteSprite(CSprite* s);
    /** @} */
    /** @{ */
    /** Reference numbers from the front sprite to the back one; 0 at the end. */
    int32_t FindSprite();
    int32_t FindNextSprite();
    /** @} */

    /** Draws the sprites during the view's draw event. */
    void UpdateControl(CGContextRef context, HIViewRef view, EventRef event);
    /** Draws the sprites into a context at (x / 1000, y / 1000), width x height. */
    void UpdateContext(CGContextRef context, int32_t x, int32_t y, int32_t width, int32_t height);

    /** Pen trails. Draws the line from (x1, y1) to (x2, y2) into the
     * background, wrapped around the stage (a piece per edge crossed), and
     * marks each piece. penMode 0 draws nothing, 2 erases (what the stroke
     * covers exactly becomes transparent white), others paint in penColor
     * at the opacity. The unnamed arguments are not used. Coordinates that
     * are not finite numbers draw nothing. A line that goes round the stage
     * thousands of times is cut short: after 16383 pieces, or once its
     * strokes have cost a fixed budget (piece rectangles adding up to 2^26
     * pixels in the path stroked at the end, or to 2^22 pixels where each
     * piece is stroked on its own), both ends move by whole stage sizes
     * until the end lies on the stage and the piece ending there is the
     * last. */
    void DrawLine(double x1, double y1, double x2, double y2, int penMode, int penSize,
                  RGBColor* penColor, short opacity, uint32_t unused, GWorldPtr unusedWorld,
                  int antialias);
    /** The edges of the stage (1 left, 2 top, 4 right, 8 bottom) on which the
     * integer line from (x1, y1) to (x2, y2) leaves it, in 32-bit integers. */
    static int GetClipSide(CRect stage, int x1, int y1, int x2, int y2);
    /** Moves B along the line towards A onto the edges of clip; returns the
     * last edge clipped (0 left, 1 top, 2 right, 3 bottom) or -1. */
    static int ClipLine(CRect& clip, double& ax, double& ay, double& bx, double& by);

    int32_t mRectCount;         /**< rectangles marked in mRects */
    CRect mBounds;              /**< the stage, in stage coordinates */
    CRect mRects[kMaxRects];    /**< the marked redisplay rectangles */
    uint32_t mFactor;           /**< zoom factor from stage to view */
    CSpriteSequence mSprites;   /**< the drawing sequence, back first */
    GWorldPtr mBackdropWorld;   /**< the host's backdrop (read only) */
    GWorldPtr mBackgroundWorld; /**< pen trails and stamps */
    GWorldPtr mSpriteWorld;     /**< where the sprites are composited */
};

/** The find cursor, shared by all stages (one iteration at a time). */
SPRIG_EXPORT extern SpriteCursor* priv;

SPRIG_EXTERN_C_BEGIN

/** The rounding of positions everywhere in the engine: v >= 0 gives
 * trunc(v + 0.5), v < 0 gives trunc(v - 0.499999); so 2.5 gives 3, -2.5
 * gives -2, -2.6 gives -3. Values beyond 32 bits saturate; NaN gives 0. */
SPRIG_EXPORT int32_t SprRound(const double* value);

/** The sprite functions: the host's way into the engine. A stage is handed
 * out as a CSpriteList* and a sprite as a CSprite*; both are opaque handles
 * that stay valid until deleted (deleting a stage deletes its sprites).
 * Arguments declared short are taken from their low 16 bits; Boolean
 * results are 0 or 1.
 *
 * What every function accepts: a null handle, or a null pointer where a
 * value is read or written, makes the function do nothing and return its
 * "nothing" result: 0, null or false (SprSetImage and SprGetImage
 * answer 0 too). Every other number is accepted, with the results stated
 * at each function; positions that are not finite numbers are ignored. A
 * handle that was deleted, or never was one, is not detected.
 *
 * SprUpdateAll, SprUpdate, SprUpdateControl, SprUpdateContext and
 * SprCollision catch every exception raised beneath them (out of memory, or
 * a world that cannot be made while a picture is resized) and report it in
 * their result; the other functions let it pass to the host. */

/** @{ */
/** The offset of the stage's origin in the host's coordinates (0, 0 at
 * start): SetSpriteOrigin sets it, ShiftRect and SprUpdateAll use it. */
SPRIG_EXPORT extern int32_t global_ShiftX_;
SPRIG_EXPORT extern int32_t global_ShiftY_;
/** @} */

/** global_ShiftX_ = origin.h, global_ShiftY_ = origin.v. */
SPRIG_EXPORT void SetSpriteOrigin(Point origin);

/** A stage over the host's three worlds and the stage rectangle *bounds (any
 * rectangle; one without width or height has nowhere to wrap to, and its
 * marks cover nothing); the whole stage is marked. Null, and no stage, when
 * a world or bounds is null (as a world NewGWorld refused is). The worlds
 * should cover the stage rectangle: drawing outside a world is clipped. */
SPRIG_EXPORT CSpriteList* SprInitSprites(GWorldPtr backdrop, GWorldPtr background,
                                         GWorldPtr sprites, Rect* bounds);
/** New worlds and stage rectangle for the stage; nothing is marked. Nothing
 * changes when a world or bounds is null. */
SPRIG_EXPORT void SprReInitSprites(CSpriteList* list, GWorldPtr backdrop, GWorldPtr background,
                                   GWorldPtr sprites, Rect* bounds);
/** A new background world; nothing changes for a null one. */
SPRIG_EXPORT void SprListBgChanged(CSpriteList* list, GWorldPtr background);
/** Destroys the stage and its sprites; nothing for null. */
SPRIG_EXPORT void SprDeleteList(CSpriteList* list);
/** The zoom factor from stage to view coordinates (1 at start); any value,
 * view rectangles keeping the low 16 bits of their products. */
SPRIG_EXPORT void SprSetFactor(CSpriteList* list, uint32_t factor);
/** @{ */
/** Reference numbers from the front sprite to the back one; 0 at the end.
 * One iteration for the whole library: SprFindNextSprite continues the last
 * SprFindSprite, and the stage's sprites must not change in between. */
SPRIG_EXPORT int32_t SprFindSprite(CSpriteList* list);
SPRIG_EXPORT int32_t SprFindNextSprite(CSpriteList* list);
/** @} */
/** Marks the host rectangle *r (moved back by the origin shift, each part
 * taken as 16 bits) for redraw. 1, or 0 when an exception passed or r is
 * null. The flag has no effect. */
SPRIG_EXPORT int32_t SprUpdateAll(CSpriteList* list, Rect* r, Boolean flag);
/** Invalidates every marked rectangle (times the zoom factor) of the view
 * and empties the table. 1, or 0 when an exception passed or list is
 * null. */
SPRIG_EXPORT int32_t SprUpdate(CSpriteList* list, HIViewRef view);
/** From the view's draw event: draws the sprites over the view. On an
 * exception nothing reaches the view. A null context draws nothing; a null
 * view or event is accepted (an event without a region draws the whole
 * surface). */
SPRIG_EXPORT void SprUpdateControl(CSpriteList* list, CGContextRef context, HIViewRef view,
                                   EventRef event);
/** Draws the sprites into a context at (x / 1000, y / 1000), width x height;
 * any values. A null context draws nothing. */
SPRIG_EXPORT void SprUpdateContext(CSpriteList* list, CGContextRef context, int32_t x, int32_t y,
                                   int32_t width, int32_t height);

/** A new sprite: invisible, no picture, in front of all others; any
 * reference number (0 cannot be told from the end of SprFindSprite). */
SPRIG_EXPORT CSprite* SprNewSprite(CSpriteList* list, int32_t refNum);
/** Marks the sprite's area and destroys it; nothing for null. */
SPRIG_EXPORT void SprDeleteSprite(CSprite* sprite);
/** @{ */
/** The previous picture number. Any number: one outside 0 to 15999, or of
 * an empty slot, shows nothing. */
SPRIG_EXPORT int32_t SprSetImage(CSprite* sprite, int32_t image, int32_t unused);
SPRIG_EXPORT int32_t SprGetImage(CSprite* sprite);
/** @} */
/** @{ */
/** The previous visibility. */
SPRIG_EXPORT Boolean SprShow(CSprite* sprite, Boolean shown);
SPRIG_EXPORT Boolean SprIsShow(CSprite* sprite);
/** @} */
/** @{ */
/** Moves with the pen (see CSprite::SetPos, SetPosPaint, Move): *x and *y
 * (or *dx and *dy) may be any finite numbers; NaN or an infinity, or a
 * null pointer, leaves the sprite where it is and draws nothing. A line
 * that goes round the stage thousands of times is cut short (see
 * CSpriteList::DrawLine). antialias: 0 off, 2 on with exact end points,
 * others on with end points rounded to whole pixels. */
SPRIG_EXPORT void SprSetPos(CSprite* sprite, const double* x, const double* y);
SPRIG_EXPORT void SprSetPosPaint(CSprite* sprite, const double* x, const double* y, uint32_t unused,
                                 GWorldPtr unusedWorld, int antialias);
SPRIG_EXPORT void SprMove(CSprite* sprite, const double* dx, const double* dy);
/** @} */
/** @{ */
/** The position, copied into a double the library owns (one for x, one for
 * y), overwritten by the next call of the same function; null for a null
 * sprite. */
SPRIG_EXPORT double* SprGetX(CSprite* sprite);
SPRIG_EXPORT double* SprGetY(CSprite* sprite);
/** @} */
/** The freshly computed rectangle, into *out. */
SPRIG_EXPORT void SprGetRect(CSprite* sprite, Rect* out);
/** Recomputes the stored rectangle; nothing is marked. */
SPRIG_EXPORT void SprRecalculateRect(CSprite* sprite);
/** @{ */
/** Scale in fortieths of the natural size. A negative size shows nothing
 * (it is drawn, hit and collides as a sprite without a picture); one that
 * scales the picture past 32767 pixels cannot be drawn: drawing, stamping
 * and the hit tests throw the error a world that large gives (paramErr),
 * which SprCollision, SprUpdateControl and SprUpdateContext catch. */
SPRIG_EXPORT void SprSetSize(CSprite* sprite, short size);
SPRIG_EXPORT short SprGetSize(CSprite* sprite);
/** @} */
/** @{ */
/** 0 (invisible) to 255 (opaque); other values are handed to the picture
 * code as they are. */
SPRIG_EXPORT void SprSetOpacity(CSprite* sprite, short opacity);
SPRIG_EXPORT short SprGetOpacity(CSprite* sprite);
/** @} */
/** 0 none, 1 solid, 2 dashed; other values draw no frame. */
SPRIG_EXPORT void SprSetFrame(CSprite* sprite, short frame);
/** @{ */
/** The previous z value. Any value; sprites already in the sequence are
 * compared by the low 16 bits of their own z. */
SPRIG_EXPORT int32_t SprSetZ(CSprite* sprite, int32_t z);
SPRIG_EXPORT void SprSendTo(CSprite* sprite, int32_t z);
/** @} */
/** @{ */
/** 0 pen up, 2 erase, others paint; nothing is marked. */
SPRIG_EXPORT void SprSetPenMode(CSprite* sprite, short mode);
SPRIG_EXPORT short SprGetPenMode(CSprite* sprite);
/** @} */
/** @{ */
/** The pen width in pixels; any value (0 or less draws the thinnest line). */
SPRIG_EXPORT void SprSetPenSize(CSprite* sprite, short size);
SPRIG_EXPORT short SprGetPenSize(CSprite* sprite);
SPRIG_EXPORT void SprSetPenColor(CSprite* sprite, unsigned short red, unsigned short green,
                                 unsigned short blue);
SPRIG_EXPORT void SprGetColor(CSprite* sprite, RGBColor* out);
/** @} */
/** The colour of the stage under the sprite's centre, into *out. */
SPRIG_EXPORT void SprGetColorUnder(CSprite* sprite, RGBColor* out);
/** Is an opaque pixel of the sprite within radius of (h, v)? Any values;
 * a radius of 0 or less finds nothing. */
SPRIG_EXPORT Boolean SprClicked(CSprite* sprite, int32_t h, int32_t v, int32_t radius);
/** Is the sprite's pixel at (h, v) opaque? */
SPRIG_EXPORT Boolean SprIsPtVisible(CSprite* sprite, short h, short v);
/** Draws the sprite into the background (visible or not). */
SPRIG_EXPORT void SprStamp(CSprite* sprite);
/** 1 when a and b overlap in opaque pixels, 0 when not (or when either is
 * null), -1 when an exception passed. */
SPRIG_EXPORT int32_t SprCollision(CSprite* a, CSprite* b);

SPRIG_EXTERN_C_END

/** Moves *r by the origin shift (each part taken as 16 bits): stage to host
 * coordinates; nothing for null. Exported with its C++ signature. */
SPRIG_EXPORT void ShiftRect(Rect* r);

#endif
