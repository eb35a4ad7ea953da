// Stages: the three layers, the sprite engine's stage over them, and the
// view they are drawn into.
//
// render() draws what the engine marked as changed since the last render.
// The backdrop is always opaque, so a part of the view is drawn again from
// the layers alone, whatever it held: the backdrop, then the background,
// then the sprites, each composited by its alpha. The whole view goes
// through the view's draw event (DrawOffscreenToHIView, SprUpdateControl
// with the whole view as the event's region); a part of it through a world
// laid over just that part of the view's pixels, into whose context the
// layers are drawn one to one with SprUpdateContext. Both composite each
// pixel alike, so a part drawn again matches the whole view drawn again.
#include <algorithm>

#include "host/host_p.h"
#include "sprig/images.h"
#include "sprig/transfer.h"

namespace sprig {

namespace detail {

namespace {

constexpr int kMaxWorldWidth = 4092;
constexpr int kMaxHeight = 32767;

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
uint32_t OpaqueWord(Colour c)
{
    return (uint32_t{c.blue} << 24) | (uint32_t{c.green} << 16) | (uint32_t{c.red} << 8) | 0xFF;
}

Rect BoundsOf(GWorldPtr world)
{
    Rect bounds;
    GetPortBounds(world, &bounds);
    return bounds;
}

// Pixel replication from one world onto a part of another.
void Enlarge(GWorldPtr from, const Rect& fromRect, GWorldPtr to, const Rect& toRect)
{
    CopyBits(GetPortBitMapForCopyBits(from), GetPortBitMapForCopyBits(to), &fromRect, &toRect,
             srcCopy, nullptr);
}

// Owners of the drawing objects a render makes.
struct ContextRelease
{
    void operator()(CGContext* context) const { CGContextRelease(context); }
};
struct EventRelease
{
    void operator()(OpaqueEventRef* event) const { ReleaseEvent(event); }
};
struct RegionRelease
{
    void operator()(OpaqueRgnHandle* region) const { DisposeRgn(region); }
};

// Adds r to a set of disjoint rectangles, merged with each one it meets
// (and the merged one again with each that one meets).
void AddDisjoint(std::vector<Rect>& areas, Rect r)
{
    for (size_t i = 0; i < areas.size();) {
        Rect overlap;
        if (SectRect(&r, &areas[i], &overlap)) {
            UnionRect(&r, &areas[i], &r);
            areas[i] = areas.back();
            areas.pop_back();
            i = 0;
        } else {
            i++;
        }
    }
    areas.push_back(r);
}

} // namespace

StageCore::StageCore(int width, int height, int zoom) : width(width), height(height), zoom(zoom)
{
    StartLibrary();
    const std::string call = "Stage";
    backdrop = MakeWorld(width, height, call);
    background = MakeWorld(width, height, call);
    spriteSurface = MakeWorld(width, height, call);
    FillOffscreen(backdrop.get(), OpaqueWord(backdropColour));
    if (zoom > 1) {
        bigBackdrop = MakeWorld(ViewWidth(), ViewHeight(), call);
        bigBackground = MakeWorld(ViewWidth(), ViewHeight(), call);
        Enlarge(backdrop.get(), BoundsOf(backdrop.get()), bigBackdrop.get(),
                BoundsOf(bigBackdrop.get()));
    }
    view = std::make_shared<ViewPixels>(ViewWidth(), ViewHeight(), call);
    Rect bounds = BoundsOf(backdrop.get());
    list = SprInitSprites(backdrop.get(), background.get(), spriteSurface.get(), &bounds);
    SprSetFactor(list, static_cast<uint32_t>(zoom));
}

StageCore::~StageCore()
{
    // The engine's sprites go with its stage; the host's Sprite handles stay,
    // showing nothing, and let go of their pictures now.
    SprDeleteList(list);
    for (SpriteCore* member : members) {
        member->stage = nullptr;
        member->sprite = nullptr;
        member->picture.reset();
    }
}

} // namespace detail

using detail::StageCore;
using detail::Throw;

namespace {

void CheckStageSize(int width, int height, int zoom, const std::string& call)
{
    if (width < 1 || width > detail::kMaxWorldWidth)
        Throw(call + ": width " + std::to_string(width) + " is outside 1 to 4092");
    if (height < 1 || height > detail::kMaxHeight)
        Throw(call + ": height " + std::to_string(height) + " is outside 1 to 32767");
    if (zoom < 1)
        Throw(call + ": zoom " + std::to_string(zoom) + " is less than 1");
    if (int64_t{width} * zoom > detail::kMaxWorldWidth ||
        int64_t{height} * zoom > detail::kMaxHeight)
        Throw(call + ": zoom " + std::to_string(zoom) + " makes a " +
              std::to_string(int64_t{width} * zoom) + " x " +
              std::to_string(int64_t{height} * zoom) +
              " view; a view is at most 4092 x 32767 pixels");
}

} // namespace

Stage::Stage(int width, int height, int zoom)
{
    CheckStageSize(width, height, zoom, "Stage");
    mCore = std::make_unique<StageCore>(width, height, zoom);
}

Stage::~Stage() = default;
Stage::Stage(Stage&& other) noexcept = default;
Stage& Stage::operator=(Stage&& other) noexcept = default;

StageCore& Stage::core(const char* call) const
{
    if (!mCore)
        Throw(std::string(call) + ": the stage was moved away");
    return *mCore;
}

int Stage::width() const
{
    return core("Stage::width").width;
}

int Stage::height() const
{
    return core("Stage::height").height;
}

int Stage::zoom() const
{
    return core("Stage::zoom").zoom;
}

void Stage::setZoom(int zoom)
{
    StageCore& s = core("Stage::setZoom");
    if (zoom == s.zoom)
        return;
    const std::string call = "Stage::setZoom";
    CheckStageSize(s.width, s.height, zoom, call);
    // Everything new is made before anything changes.
    const int viewWidth = s.width * zoom;
    const int viewHeight = s.height * zoom;
    detail::World bigBackdrop, bigBackground;
    if (zoom > 1) {
        bigBackdrop = detail::MakeWorld(viewWidth, viewHeight, call);
        bigBackground = detail::MakeWorld(viewWidth, viewHeight, call);
    }
    auto view = std::make_shared<detail::ViewPixels>(viewWidth, viewHeight, call);
    s.zoom = zoom;
    s.bigBackdrop = std::move(bigBackdrop);
    s.bigBackground = std::move(bigBackground);
    s.view = std::move(view);
    if (zoom > 1)
        detail::Enlarge(s.backdrop.get(), detail::BoundsOf(s.backdrop.get()), s.bigBackdrop.get(),
                        detail::BoundsOf(s.bigBackdrop.get()));
    SprSetFactor(s.list, static_cast<uint32_t>(zoom));
    s.wholeViewChanged = true;
}

void Stage::setBackdrop(Colour colour)
{
    StageCore& s = core("Stage::setBackdrop");
    s.backdropColour = colour;
    FillOffscreen(s.backdrop.get(), detail::OpaqueWord(colour));
    if (s.zoom > 1)
        FillOffscreen(s.bigBackdrop.get(), detail::OpaqueWord(colour));
    s.wholeViewChanged = true;
}

void Stage::setBackdrop(const Picture& picture)
{
    StageCore& s = core("Stage::setBackdrop");
    const detail::PictureSlot& slot = *picture.mSlot;
    FillOffscreen(s.backdrop.get(), detail::OpaqueWord(s.backdropColour));
    Rect from, to;
    SetRect(&from, 0, 0, static_cast<int16_t>(slot.width), static_cast<int16_t>(slot.height));
    to = from;
    OffsetRect(&to, static_cast<int16_t>((s.width - slot.width) / 2),
               static_cast<int16_t>((s.height - slot.height) / 2));
    if (!StretchImage(slot.number, &from, &to, s.backdrop.get(), 0))
        Throw("Stage::setBackdrop: cannot draw the " + std::to_string(slot.width) + " x " +
              std::to_string(slot.height) + " picture (out of memory)");
    if (s.zoom > 1)
        detail::Enlarge(s.backdrop.get(), detail::BoundsOf(s.backdrop.get()), s.bigBackdrop.get(),
                        detail::BoundsOf(s.bigBackdrop.get()));
    s.wholeViewChanged = true;
}

void Stage::clearPenTrails()
{
    StageCore& s = core("Stage::clearPenTrails");
    FillOffscreen(s.background.get(), 0);
    s.wholeViewChanged = true;
}

Sprite Stage::addSprite()
{
    StageCore& s = core("Stage::addSprite");
    auto sprite = std::make_unique<detail::SpriteCore>();
    s.members.insert(sprite.get());
    try {
        sprite->sprite = SprNewSprite(s.list, s.nextRefNum);
    } catch (...) {
        s.members.erase(sprite.get());
        throw;
    }
    s.nextRefNum = s.nextRefNum == INT32_MAX ? 1 : s.nextRefNum + 1;
    sprite->stage = &s;
    return Sprite(std::move(sprite));
}

namespace {

// The view rectangles the engine marked since the last render, each grown
// by a stage pixel, cut to the view and made disjoint. The engine marks a
// pen line's box truncated to whole pixels, without the half pixel by
// which it places lines, so a smooth line can reach a pixel past its mark.
std::vector<Rect> TakeChangedAreas(StageCore& s)
{
    HIViewRef view = s.view->view;
    if (!SprUpdate(s.list, view))
        Throw("Stage::render: out of memory");
    Rect whole;
    SetRect(&whole, 0, 0, static_cast<int16_t>(s.ViewWidth()),
            static_cast<int16_t>(s.ViewHeight()));
    std::vector<Rect> areas;
    if (s.wholeViewChanged) {
        areas.push_back(whole);
    } else {
        const int32_t count = HIViewCountInvalidRects(view);
        for (int32_t i = 0; i < count; i++) {
            HIRect r;
            HIViewGetInvalidRect(view, i, &r);
            const int left = static_cast<int>(r.origin.x) - s.zoom;
            const int top = static_cast<int>(r.origin.y) - s.zoom;
            const int right = static_cast<int>(r.origin.x + r.size.width) + s.zoom;
            const int bottom = static_cast<int>(r.origin.y + r.size.height) + s.zoom;
            Rect area;
            SetRect(&area, static_cast<int16_t>(std::max(left, 0)),
                    static_cast<int16_t>(std::max(top, 0)),
                    static_cast<int16_t>(std::min(right, s.ViewWidth())),
                    static_cast<int16_t>(std::min(bottom, s.ViewHeight())));
            if (!EmptyRect(&area))
                detail::AddDisjoint(areas, area);
        }
    }
    HIViewClearInvalidRects(view);
    return areas;
}

// An Image the host holds never changes: while one shares the view's
// pixels, a render draws into a copy of them (or into fresh pixels when it
// draws all of them anyway).
void MakeViewOwn(StageCore& s, bool keepPixels)
{
    if (s.view.use_count() == 1)
        return;
    auto own = std::make_shared<detail::ViewPixels>(s.ViewWidth(), s.ViewHeight(), "Stage::render");
    if (keepPixels)
        for (int y = 0; y < s.ViewHeight(); y++)
            std::copy_n(detail::WorldRow(s.view->Pixels(), y), s.ViewWidth(),
                        detail::WorldRow(own->Pixels(), y));
    s.view = std::move(own);
}

void DrawWholeView(StageCore& s)
{
    HIViewRef view = s.view->view;
    std::unique_ptr<OpaqueRgnHandle, detail::RegionRelease> whole(NewRgn());
    SetRectRgn(whole.get(), 0, 0, static_cast<int16_t>(s.ViewWidth()),
               static_cast<int16_t>(s.ViewHeight()));
    std::unique_ptr<OpaqueEventRef, detail::EventRelease> event(CreateDrawEvent(whole.get()));
    std::unique_ptr<CGContext, detail::ContextRelease> context(HIViewCreateDrawContext(view));
    if (!event || !context)
        Throw("Stage::render: out of memory");
    DrawOffscreenToHIView(s.ShownBackdrop(), context.get(), view, kCGImageAlphaFirst);
    DrawOffscreenToHIView(s.ShownBackground(), context.get(), view, kCGImageAlphaFirst);
    SprUpdateControl(s.list, context.get(), view, event.get());
}

// Draws the area r of the view through a world over just those pixels.
// The layers are placed one to one, offset so that the view's pixel (x, y)
// lands on the world's (x - r.left, y - r.top); contexts on a world count y
// up from its bottom edge.
void DrawPartOfView(StageCore& s, const Rect& r)
{
    GWorldPtr pixels = s.view->Pixels();
    PixMapHandle pm = GetGWorldPixMap(pixels);
    const int32_t rowBytes = GetPixRowBytes(pm);
    Ptr first = GetPixBaseAddr(pm) + static_cast<ptrdiff_t>(r.top) * rowBytes + 4 * r.left;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(r.right - r.left),
            static_cast<int16_t>(r.bottom - r.top));
    GWorldPtr part = nullptr;
    if (NewGWorldFromPtr(&part, 32, &bounds, nullptr, nullptr, 0, first, rowBytes) != noErr)
        Throw("Stage::render: out of memory");
    detail::World partOwner(part);
    CGContextRef context = nullptr;
    if (QDBeginCGContext(part, &context) != noErr)
        Throw("Stage::render: out of memory");
    const int32_t x = -1000 * r.left;
    const int32_t y = -1000 * (s.ViewHeight() - r.bottom);
    DrawOffscreenToContext(s.ShownBackdrop(), context, x, y, s.ViewWidth(), s.ViewHeight(),
                           kCGImageAlphaFirst);
    DrawOffscreenToContext(s.ShownBackground(), context, x, y, s.ViewWidth(), s.ViewHeight(),
                           kCGImageAlphaFirst);
    SprUpdateContext(s.list, context, x, y, s.ViewWidth(), s.ViewHeight());
    QDEndCGContext(part, &context);
}

} // namespace

Image Stage::render()
{
    StageCore& s = core("Stage::render");
    const std::vector<Rect> areas = TakeChangedAreas(s);
    s.changed.clear();
    if (areas.empty())
        return Image(s.view);
    Rect box = areas.front();
    for (const Rect& area : areas)
        UnionRect(&box, &area, &box);
    const bool whole =
        box.left == 0 && box.top == 0 && box.right == s.ViewWidth() && box.bottom == s.ViewHeight();
    MakeViewOwn(s, !whole);
    if (s.zoom > 1) {
        Rect stagePart;
        SetRect(&stagePart, static_cast<int16_t>(box.left / s.zoom),
                static_cast<int16_t>(box.top / s.zoom), static_cast<int16_t>(box.right / s.zoom),
                static_cast<int16_t>(box.bottom / s.zoom));
        detail::Enlarge(s.background.get(), stagePart, s.bigBackground.get(), box);
    }
    if (whole)
        DrawWholeView(s);
    else
        DrawPartOfView(s, box);

    s.wholeViewChanged = false;
    for (const Rect& area : areas)
        s.changed.push_back(
            Area{area.left, area.top, area.right - area.left, area.bottom - area.top});
    return Image(s.view);
}

std::vector<Area> Stage::changedAreas() const
{
    return core("Stage::changedAreas").changed;
}

} // namespace sprig
