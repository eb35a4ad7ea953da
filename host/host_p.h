// The records behind the host layer's classes. The layer is written on the
// library's exported functions alone, as any host could write it: these
// records hold the handles those functions hand out.
#ifndef SPRIG_HOST_HOST_P_H
#define SPRIG_HOST_HOST_P_H

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "sprig/coregraphics.h"
#include "sprig/engine.h"
#include "sprig/sprig.hpp"

namespace sprig {
namespace detail {

// Every failure of the layer leaves through here.
[[noreturn]] void Throw(const std::string& message);

// The image class's two colours are set once, before the first picture or
// stage.
void StartLibrary();

struct WorldDeleter
{
    void operator()(OpaqueGrafPtr* world) const { DisposeGWorld(world); }
};
using World = std::unique_ptr<OpaqueGrafPtr, WorldDeleter>;

// A world of width x height with zeroed pixels; `call` names the caller in
// the error.
World MakeWorld(int width, int height, const std::string& call);

// The pixel word at (x, y) of a world.
uint32_t* WorldRow(GWorldPtr world, int y);

// A picture in the pool under its number, freed with the record.
struct PictureSlot
{
    PictureSlot() = default;
    ~PictureSlot();
    PictureSlot(const PictureSlot&) = delete;
    PictureSlot& operator=(const PictureSlot&) = delete;

    int32_t number = -1;
    int width = 0;
    int height = 0;
    Tint tint = Tint::Off;
};

// The pixels of a view: an offscreen view that an Image may share.
struct ViewPixels
{
    ViewPixels(int width, int height, const std::string& call);
    ~ViewPixels();
    ViewPixels(const ViewPixels&) = delete;
    ViewPixels& operator=(const ViewPixels&) = delete;
    GWorldPtr Pixels() const { return HIViewGetGWorld(view); }

    HIViewRef view = nullptr;
    int width = 0;
    int height = 0;
};

struct SpriteCore;

struct StageCore
{
    StageCore(int width, int height, int zoom);
    ~StageCore();
    StageCore(const StageCore&) = delete;
    StageCore& operator=(const StageCore&) = delete;

    int ViewWidth() const { return width * zoom; }
    int ViewHeight() const { return height * zoom; }
    // The layers as the view shows them: enlarged when zoomed.
    GWorldPtr ShownBackdrop() const { return zoom > 1 ? bigBackdrop.get() : backdrop.get(); }
    GWorldPtr ShownBackground() const { return zoom > 1 ? bigBackground.get() : background.get(); }

    int width;
    int height;
    int zoom;
    World backdrop, background, spriteSurface;
    World bigBackdrop, bigBackground; // view-sized copies when zoom > 1
    std::shared_ptr<ViewPixels> view;
    CSpriteList* list = nullptr;
    Colour backdropColour = {255, 255, 255};
    bool wholeViewChanged = true;            // the next render draws everything
    std::vector<Area> changed;               // by the last render
    std::unordered_set<SpriteCore*> members; // the sprites on the stage
    int32_t nextRefNum = 1;
};

struct SpriteCore
{
    StageCore* stage = nullptr; // null once the stage is gone
    CSprite* sprite = nullptr;
    std::shared_ptr<PictureSlot> picture;
    int z = 0;
    Frame frame = Frame::Off;
    Antialias antialias = Antialias::Off;
};

} // namespace detail
} // namespace sprig

#endif
