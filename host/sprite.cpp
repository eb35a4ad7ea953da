// Sprites: one engine sprite each, with the picture it shows held so that
// the picture stays in the pool while it is shown.
#include <cmath>

#include "host/host_p.h"
#include "sprig/images.h"

namespace sprig {

using detail::SpriteCore;
using detail::Throw;

namespace {

constexpr int kMaxShownWidth = 4092; // a scaled picture is made in a world
constexpr int kMaxShownHeight = 32767;
constexpr int kMaxPenSize = 255;
constexpr double kMinPosition = -32768;
constexpr double kMaxPosition = 32767;

// Takes the engine's sprite off its stage; nothing once the stage is gone.
void Release(SpriteCore* core) noexcept
{
    if (!core || !core->stage)
        return;
    core->stage->members.erase(core);
    SprDeleteSprite(core->sprite);
}

// Positions stay within the platform's 16-bit coordinates, where every
// rectangle and pixel of a stage lies; a position beyond them is a host's
// mistake, reported rather than wrapped onto the stage.
void CheckPosition(double value, const char* name, const char* call)
{
    if (!(value >= kMinPosition && value <= kMaxPosition))
        Throw(std::string(call) + ": " + name + " " + std::to_string(value) +
              " is outside -32768 to 32767");
}

// A picture shown at a size other than its own is scaled into a world.
void CheckShownSize(const detail::PictureSlot* picture, int fortieths, const char* call)
{
    if (!picture || fortieths == 40)
        return;
    const int64_t width = int64_t{picture->width} * fortieths / 40;
    const int64_t height = int64_t{picture->height} * fortieths / 40;
    if (width > kMaxShownWidth || height > kMaxShownHeight)
        Throw(std::string(call) + ": a " + std::to_string(picture->width) + " x " +
              std::to_string(picture->height) + " picture at size " + std::to_string(fortieths) +
              " fortieths would be " + std::to_string(width) + " x " + std::to_string(height) +
              " pixels; at most 4092 x 32767 can be shown");
}

uint8_t Channel8(uint16_t channel)
{
    return static_cast<uint8_t>(channel >> 8);
}

} // namespace

Sprite::Sprite(std::unique_ptr<SpriteCore> core) : mCore(std::move(core)) {}

Sprite::Sprite(Sprite&& other) noexcept = default;

Sprite& Sprite::operator=(Sprite&& other) noexcept
{
    if (this != &other) {
        Release(mCore.get());
        mCore = std::move(other.mCore);
    }
    return *this;
}

Sprite::~Sprite()
{
    Release(mCore.get());
}

SpriteCore& Sprite::core(const char* call) const
{
    if (!mCore)
        Throw(std::string(call) + ": the sprite was moved away");
    if (!mCore->stage)
        Throw(std::string(call) + ": the sprite's stage no longer exists");
    return *mCore;
}

double Sprite::x() const
{
    return *SprGetX(core("Sprite::x").sprite);
}

double Sprite::y() const
{
    return *SprGetY(core("Sprite::y").sprite);
}

void Sprite::moveTo(double x, double y)
{
    SpriteCore& c = core("Sprite::moveTo");
    CheckPosition(x, "x", "Sprite::moveTo");
    CheckPosition(y, "y", "Sprite::moveTo");
    // The pen starts at the exact old position; without antialiasing the
    // line's ends are rounded to whole pixels all the same.
    SprSetPosPaint(c.sprite, &x, &y, 0, nullptr, static_cast<int>(c.antialias));
}

void Sprite::moveBy(double dx, double dy)
{
    SpriteCore& c = core("Sprite::moveBy");
    double x = *SprGetX(c.sprite) + dx;
    double y = *SprGetY(c.sprite) + dy;
    CheckPosition(x, "x + dx", "Sprite::moveBy");
    CheckPosition(y, "y + dy", "Sprite::moveBy");
    SprSetPosPaint(c.sprite, &x, &y, 0, nullptr, static_cast<int>(c.antialias));
}

Area Sprite::bounds() const
{
    Rect r;
    SprGetRect(core("Sprite::bounds").sprite, &r);
    return Area{r.left, r.top, r.right - r.left, r.bottom - r.top};
}

void Sprite::setPicture(const Picture& picture)
{
    SpriteCore& c = core("Sprite::setPicture");
    CheckShownSize(picture.mSlot.get(), SprGetSize(c.sprite), "Sprite::setPicture");
    // The picture shown before leaves the pool only once it is not shown.
    std::shared_ptr<detail::PictureSlot> before = std::move(c.picture);
    c.picture = picture.mSlot;
    SprSetImage(c.sprite, c.picture->number, 0);
}

void Sprite::removePicture()
{
    SpriteCore& c = core("Sprite::removePicture");
    SprSetImage(c.sprite, -1, 0);
    c.picture.reset();
}

std::optional<Picture> Sprite::picture() const
{
    const SpriteCore& c = core("Sprite::picture");
    if (!c.picture)
        return std::nullopt;
    return Picture(c.picture);
}

void Sprite::setSizeFortieths(int fortieths)
{
    SpriteCore& c = core("Sprite::setSizeFortieths");
    if (fortieths < 0 || fortieths > 32767)
        Throw("Sprite::setSizeFortieths: size " + std::to_string(fortieths) +
              " is outside 0 to 32767");
    CheckShownSize(c.picture.get(), fortieths, "Sprite::setSizeFortieths");
    SprSetSize(c.sprite, static_cast<short>(fortieths));
}

int Sprite::sizeFortieths() const
{
    return SprGetSize(core("Sprite::sizeFortieths").sprite);
}

void Sprite::setSizePercent(double percent)
{
    core("Sprite::setSizePercent");
    if (!(percent >= 0 && percent <= 32767 * 2.5))
        Throw("Sprite::setSizePercent: size " + std::to_string(percent) +
              " % is outside 0 to 81917.5");
    setSizeFortieths(static_cast<int>(std::lround(percent * 0.4)));
}

double Sprite::sizePercent() const
{
    return SprGetSize(core("Sprite::sizePercent").sprite) * 2.5;
}

void Sprite::setOpacity(int opacity)
{
    SpriteCore& c = core("Sprite::setOpacity");
    if (opacity < 0 || opacity > 255)
        Throw("Sprite::setOpacity: opacity " + std::to_string(opacity) + " is outside 0 to 255");
    SprSetOpacity(c.sprite, static_cast<short>(opacity));
}

int Sprite::opacity() const
{
    return SprGetOpacity(core("Sprite::opacity").sprite);
}

void Sprite::setVisible(bool visible)
{
    SprShow(core("Sprite::setVisible").sprite, visible ? 1 : 0);
}

void Sprite::show()
{
    SprShow(core("Sprite::show").sprite, 1);
}

void Sprite::hide()
{
    SprShow(core("Sprite::hide").sprite, 0);
}

bool Sprite::visible() const
{
    return SprIsShow(core("Sprite::visible").sprite) != 0;
}

void Sprite::setZ(int z)
{
    SpriteCore& c = core("Sprite::setZ");
    if (z < -32768 || z > 32767)
        Throw("Sprite::setZ: z " + std::to_string(z) + " is outside -32768 to 32767");
    SprSetZ(c.sprite, z);
    c.z = z;
}

int Sprite::z() const
{
    return core("Sprite::z").z;
}

void Sprite::setFrame(Frame frame)
{
    SpriteCore& c = core("Sprite::setFrame");
    if (frame != Frame::Off && frame != Frame::Solid && frame != Frame::Dashed)
        Throw("Sprite::setFrame: frame " + std::to_string(static_cast<int>(frame)) +
              " is not Off, Solid or Dashed");
    SprSetFrame(c.sprite, static_cast<short>(frame));
    c.frame = frame;
}

Frame Sprite::frame() const
{
    return core("Sprite::frame").frame;
}

void Sprite::setPenMode(PenMode mode)
{
    SpriteCore& c = core("Sprite::setPenMode");
    if (mode != PenMode::Up && mode != PenMode::Draw && mode != PenMode::Erase)
        Throw("Sprite::setPenMode: mode " + std::to_string(static_cast<int>(mode)) +
              " is not Up, Draw or Erase");
    SprSetPenMode(c.sprite, static_cast<short>(mode));
}

PenMode Sprite::penMode() const
{
    // The engine reads 0 as up, 2 as erase and any other mode as drawing.
    switch (SprGetPenMode(core("Sprite::penMode").sprite)) {
    case 0:
        return PenMode::Up;
    case 2:
        return PenMode::Erase;
    default:
        return PenMode::Draw;
    }
}

void Sprite::setPenSize(int pixels)
{
    SpriteCore& c = core("Sprite::setPenSize");
    if (pixels < 1 || pixels > kMaxPenSize)
        Throw("Sprite::setPenSize: size " + std::to_string(pixels) + " is outside 1 to 255");
    SprSetPenSize(c.sprite, static_cast<short>(pixels));
}

int Sprite::penSize() const
{
    return SprGetPenSize(core("Sprite::penSize").sprite);
}

void Sprite::setPenColour(Colour colour)
{
    // 257 x k spreads an 8-bit channel over 16 bits: 0xFF becomes 0xFFFF.
    SprSetPenColor(core("Sprite::setPenColour").sprite, static_cast<uint16_t>(colour.red * 257),
                   static_cast<uint16_t>(colour.green * 257),
                   static_cast<uint16_t>(colour.blue * 257));
}

Colour Sprite::penColour() const
{
    RGBColor c;
    SprGetColor(core("Sprite::penColour").sprite, &c);
    return Colour{Channel8(c.red), Channel8(c.green), Channel8(c.blue)};
}

void Sprite::setPenAntialias(Antialias antialias)
{
    SpriteCore& c = core("Sprite::setPenAntialias");
    if (antialias != Antialias::Off && antialias != Antialias::On && antialias != Antialias::Exact)
        Throw("Sprite::setPenAntialias: " + std::to_string(static_cast<int>(antialias)) +
              " is not Off, On or Exact");
    c.antialias = antialias;
}

Antialias Sprite::penAntialias() const
{
    return core("Sprite::penAntialias").antialias;
}

void Sprite::stamp()
{
    SprStamp(core("Sprite::stamp").sprite);
}

bool Sprite::touching(const Sprite& other) const
{
    const SpriteCore& a = core("Sprite::touching");
    const SpriteCore& b = other.core("Sprite::touching");
    if (a.stage != b.stage)
        return false;
    const int32_t result = SprCollision(a.sprite, b.sprite);
    if (result < 0)
        Throw("Sprite::touching: out of memory");
    return result == 1;
}

bool Sprite::hit(int x, int y, int radius) const
{
    const SpriteCore& c = core("Sprite::hit");
    if (radius < 0)
        Throw("Sprite::hit: radius " + std::to_string(radius) + " is negative");
    if (x < -32768 || x > 32767 || y < -32768 || y > 32767)
        return false;
    // The click test finds nothing within radius 0; the pixel itself is
    // asked for on its own.
    if (radius == 0)
        return SprIsPtVisible(c.sprite, static_cast<short>(x), static_cast<short>(y)) != 0;
    return SprClicked(c.sprite, x, y, radius) != 0;
}

Colour Sprite::colourUnder() const
{
    const SpriteCore& c = core("Sprite::colourUnder");
    RGBColor colour;
    SprGetColorUnder(c.sprite, &colour);
    // The engine reads through to the backdrop where the background is
    // white; a clear background (a new stage's, or cleared) shows it too.
    const int32_t h = SprRound(SprGetX(c.sprite));
    const int32_t v = SprRound(SprGetY(c.sprite));
    const detail::StageCore& s = *c.stage;
    if (h >= 0 && h < s.width && v >= 0 && v < s.height &&
        (detail::WorldRow(s.background.get(), v)[h] & 0xFF) == 0)
        GetColorUnder(s.backdrop.get(), h, v, &colour);
    return Colour{Channel8(colour.red), Channel8(colour.green), Channel8(colour.blue)};
}

} // namespace sprig
