/** @file
 * sprig: the library for hosts in today's C++.
 *
 *     #include <sprig/sprig.hpp>
 *
 *     sprig::Stage stage(480, 360);
 *     sprig::Picture ball = sprig::Picture::fromPngFile("ball.png");
 *     sprig::Sprite sprite = stage.addSprite();
 *     sprite.setPicture(ball);
 *     sprite.moveTo(240, 180);
 *     sprite.show();
 *     stage.render().savePng("frame.png");
 *
 * A Stage is a rectangle of stage pixels (y grows downward) with three
 * layers: the backdrop (a colour or a picture), the background (where pens
 * draw and sprites leave stamps) and the sprites, drawn in front. render()
 * draws them into the stage's view, the stage times its zoom factor, and
 * hands the view's pixels back as an Image.
 *
 * Ownership is what it looks like: a Picture is shared by its copies and by
 * the sprites that show it, and is freed when the last of them lets go; a
 * Sprite belongs to whoever holds it and leaves the stage when it is
 * destroyed; a Stage owns its layers and its view. Nothing is freed by hand.
 * A Sprite may outlive its Stage: from then on it shows nothing, destroying
 * it is harmless, and every other call throws sprig::Error. An Image keeps
 * its pixels after its Stage is gone.
 *
 * Every failure throws sprig::Error (a std::runtime_error) whose message
 * names the call and the argument at fault. Calls come from one thread.
 *
 * This header declares only names in namespace sprig (and the SPRIG_ macros
 * of sprig/export.h, with sprig_version() and the SPRIG_VERSION_ macros of
 * sprig/version.h); the library's other headers are never included, so a
 * host's own names cannot clash with them.
 *
 * Pixel word: where this interface hands out 32-bit pixels, each is stored
 * as the bytes alpha, red, green, blue from its lowest address (a
 * little-endian uint32_t reads [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]),
 * with straight (not premultiplied) alpha: libpng's PNG_FORMAT_ARGB, and
 * SDL's SDL_PIXELFORMAT_BGRA8888. */
#ifndef SPRIG_SPRIG_HPP
#define SPRIG_SPRIG_HPP

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "sprig/export.h"
#include "sprig/version.h"

/** Members a host never calls stay out of libsprig.so's interface. */
#if defined(__GNUC__) || defined(__clang__)
#define SPRIG_HOST_INTERNAL __attribute__((visibility("hidden")))
#else
#define SPRIG_HOST_INTERNAL
#endif

namespace sprig {

namespace detail {
struct PictureSlot;
struct SpriteCore;
struct StageCore;
struct ViewPixels;
} // namespace detail

/** What every call of this interface throws when it cannot do what it was
 * asked: the message names the call and the argument at fault. */
class SPRIG_EXPORT Error : public std::runtime_error
{
  public:
    /** An error whose what() is message. */
    explicit Error(const std::string& message);
    ~Error() override;
};

/** An opaque colour, 8 bits a channel. */
struct Colour
{
    std::uint8_t red = 0;   /**< 0 to 255 */
    std::uint8_t green = 0; /**< 0 to 255 */
    std::uint8_t blue = 0;  /**< 0 to 255 */
};

/** @{ */
/** Equal when every channel is. */
inline bool operator==(Colour a, Colour b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue;
}
inline bool operator!=(Colour a, Colour b)
{
    return !(a == b);
}
/** @} */

/** One pixel of an Image: 8 bits a channel, straight alpha (255 opaque). */
struct Rgba
{
    std::uint8_t red = 0;   /**< 0 to 255 */
    std::uint8_t green = 0; /**< 0 to 255 */
    std::uint8_t blue = 0;  /**< 0 to 255 */
    std::uint8_t alpha = 0; /**< 0 transparent to 255 opaque */
};

/** @{ */
/** Equal when every channel is. */
inline bool operator==(Rgba a, Rgba b)
{
    return a.red == b.red && a.green == b.green && a.blue == b.blue && a.alpha == b.alpha;
}
inline bool operator!=(Rgba a, Rgba b)
{
    return !(a == b);
}
/** @} */

/** A rectangle of whole pixels: x to x + width - 1, y to y + height - 1. */
struct Area
{
    int x = 0;      /**< left column */
    int y = 0;      /**< top row */
    int width = 0;  /**< columns */
    int height = 0; /**< rows */
};

/** @{ */
/** Equal when all four numbers are. */
inline bool operator==(const Area& a, const Area& b)
{
    return a.x == b.x && a.y == b.y && a.width == b.width && a.height == b.height;
}
inline bool operator!=(const Area& a, const Area& b)
{
    return !(a == b);
}
/** @} */

/** What a sprite's pen does as the sprite moves. */
enum class PenMode
{
    Up,   /**< draws nothing */
    Draw, /**< draws a line in the pen colour, at the sprite's opacity */
    Erase /**< wipes what the line covers back to a clear background (smooth
             edges, with Antialias::On or Exact, leave a faint rim) */
};

/** How a pen line is drawn. */
enum class Antialias
{
    Off,  /**< hard edges, ends on whole pixels */
    On,   /**< smooth edges, ends on whole pixels */
    Exact /**< smooth edges, ends exactly where the sprite was and went */
};

/** The frame drawn round a sprite, one pixel wide and black. */
enum class Frame
{
    Off,
    Solid,
    Dashed
};

/** How a picture is coloured when a sprite shows it. (No enumerator is
 * called None, which X11's headers define as a macro.) */
enum class Tint
{
    Off,      /**< as it is */
    PenColour /**< only its black pixels show, in the sprite's pen colour, keeping
                 their alpha; at most 36 such pictures exist at a time */
};

/** A picture in the library's pool. Copies share one picture; it leaves the
 * pool when the last copy, and the last sprite showing it, lets go. Pictures
 * are at most 32767 pixels each way. */
class SPRIG_EXPORT Picture
{
  public:
    /** @{ */
    /** A PNG file or its bytes, any colour type, read with straight alpha. */
    static Picture fromPngFile(const std::string& path, Tint tint = Tint::Off);
    static Picture fromPngBytes(const std::vector<std::uint8_t>& bytes, Tint tint = Tint::Off);
    /** @} */
    /** width x height pixels of 4 bytes, red, green, blue and straight alpha,
     * rows strideBytes apart (at least 4 x width). */
    static Picture fromRgba(const std::vector<std::uint8_t>& pixels, int width, int height,
                            int strideBytes, Tint tint = Tint::Off);
    /** @{ */
    /** A packed picture (the library's run-length format, as `sprig pack`
     * writes it). It is checked first: a damaged one throws with the reason. */
    static Picture fromPackedBytes(const std::vector<std::uint8_t>& bytes, Tint tint = Tint::Off);
    static Picture fromPackedFile(const std::string& path, Tint tint = Tint::Off);
    /** @} */

    /** @{ */
    /** Copies share; a moved-from Picture is still a copy (moves copy). */
    Picture(const Picture&) = default;
    Picture& operator=(const Picture&) = default;
    /** @} */

    /** @{ */
    /** The natural size in pixels. */
    int width() const;
    int height() const;
    /** @} */
    /** How sprites show it. */
    Tint tint() const;
    /** Whether the two are copies of one picture. */
    bool sameAs(const Picture& other) const;
    /** The picture's pixels as red, green, blue, alpha bytes (straight
     * alpha), rows 4 x width() apart: what fromRgba takes. */
    std::vector<std::uint8_t> rgbaBytes() const;

  private:
    friend class Sprite;
    friend class Stage;
    SPRIG_HOST_INTERNAL explicit Picture(std::shared_ptr<detail::PictureSlot> slot);
    std::shared_ptr<detail::PictureSlot> mSlot;
};

/** The pixels of a rendered view. Copies share them; an Image keeps them
 * after its Stage is gone, and a later render never changes them. */
class SPRIG_EXPORT Image
{
  public:
    /** One row: width() pixel words (see the top of this file). */
    class Row
    {
      public:
        /** @{ */
        /** The row's words, left to right, for range-for. */
        const std::uint32_t* begin() const { return mBegin; }
        const std::uint32_t* end() const { return mBegin + mSize; }
        /** @} */
        /** The number of pixels: the image's width. */
        std::size_t size() const { return mSize; }
        /** The word of column x (0 to size() - 1, unchecked). */
        std::uint32_t operator[](std::size_t x) const { return mBegin[x]; }

      private:
        friend class Image;
        Row(const std::uint32_t* begin, std::size_t size) : mBegin(begin), mSize(size) {}
        const std::uint32_t* mBegin;
        std::size_t mSize;
    };

    /** @{ */
    /** Copies share; a moved-from Image is still a copy (moves copy). */
    Image(const Image&) = default;
    Image& operator=(const Image&) = default;
    /** @} */

    /** @{ */
    /** The view's size in pixels: the stage's times its zoom. */
    int width() const;
    int height() const;
    /** @} */
    /** Row y, 0 at the top; throws sprig::Error outside 0 to height() - 1. */
    Row row(int y) const;
    /** @{ */
    /** Bytes from the start of one row to the start of the next. */
    std::size_t strideBytes() const;
    Rgba pixel(int x, int y) const;
    /** @} */
    /** All pixels as red, green, blue, alpha bytes, rows 4 x width() apart. */
    std::vector<std::uint8_t> rgbaBytes() const;
    /** Writes the image as a PNG with straight alpha: the file is written
     * whole or not at all. */
    void savePng(const std::string& path) const;

  private:
    friend class Stage;
    SPRIG_HOST_INTERNAL explicit Image(std::shared_ptr<const detail::ViewPixels> pixels);
    std::shared_ptr<const detail::ViewPixels> mPixels;
};

/** A movable picture on a stage, made by Stage::addSprite. A new sprite is
 * hidden, has no picture, stands in front of the others at (0, 0), and has
 * its pen up. Positions are in stage pixels, y down; a sprite that leaves
 * the stage comes back in on the opposite edge. Destroying a Sprite takes
 * it off its stage. */
class SPRIG_EXPORT Sprite
{
  public:
    /** @{ */
    /** Takes over other's sprite; other is left empty, and every call on it
     * but destruction and assignment throws sprig::Error. */
    Sprite(Sprite&& other) noexcept;
    Sprite& operator=(Sprite&& other) noexcept;
    /** @} */
    ~Sprite();
    Sprite(const Sprite&) = delete;
    Sprite& operator=(const Sprite&) = delete;

    /** @{ */
    /** The centre of the sprite's picture. */
    double x() const;
    double y() const;
    /** @} */
    /** Moves the sprite; its pen draws the way from where it was, the line
     * wrapping across the stage's edges as the sprite does. x and y (and
     * for moveBy, x() + dx and y() + dy) lie within -32768 to 32767. */
    void moveTo(double x, double y);
    /** moveTo(x() + dx, y() + dy). */
    void moveBy(double dx, double dy);
    /** The stage pixels the picture covers (empty without a picture). */
    Area bounds() const;

    /** Shows picture (sharing it) from now on. */
    void setPicture(const Picture& picture);
    /** Shows no picture from now on. */
    void removePicture();
    /** The picture shown, if any. */
    std::optional<Picture> picture() const;
    /** @{ */
    /** The size in fortieths of the picture's natural size: 40 natural, 80
     * double, 20 half; 0 to 32767, and shown at most 4092 pixels wide. */
    void setSizeFortieths(int fortieths);
    int sizeFortieths() const;
    /** @} */
    /** @{ */
    /** The same in percent, to the nearest fortieth (2.5 %). */
    void setSizePercent(double percent);
    double sizePercent() const;
    /** @} */
    /** @{ */
    /** 0 (invisible) to 255 (opaque); the pen draws at this opacity too. */
    void setOpacity(int opacity);
    int opacity() const;
    void setVisible(bool visible);
    void show();
    void hide();
    bool visible() const;
    /** @} */
    /** @{ */
    /** Stacking: a sprite given a larger z moves behind those of smaller z,
     * and in front of those with the same z; -32768 to 32767. */
    void setZ(int z);
    int z() const;
    void setFrame(Frame frame);
    Frame frame() const;
    /** @} */

    /** @{ */
    /** What the pen does as the sprite moves; PenMode::Up at first. */
    void setPenMode(PenMode mode);
    PenMode penMode() const;
    /** @} */
    /** @{ */
    /** The line width in stage pixels, 1 to 255. */
    void setPenSize(int pixels);
    int penSize() const;
    void setPenColour(Colour colour);
    Colour penColour() const;
    void setPenAntialias(Antialias antialias);
    Antialias penAntialias() const;
    /** @} */

    /** Draws the sprite into the background, shown or not. */
    void stamp();
    /** Whether both are shown and overlap in pixels that are not fully
     * transparent; false for sprites of different stages. */
    bool touching(const Sprite& other) const;
    /** Whether the shown sprite has a pixel that is not fully transparent at
     * the stage pixel (x, y) (radius 0) or near it: within radius pixels,
     * in the columns x - radius to x + radius - 1 and the same rows. */
    bool hit(int x, int y, int radius = 0) const;
    /** The colour the stage shows under the sprite's centre, sprites left
     * out: the pen trails and stamps there, or the backdrop where the
     * background is clear (transparent) or white. */
    Colour colourUnder() const;

  private:
    friend class Stage;
    SPRIG_HOST_INTERNAL explicit Sprite(std::unique_ptr<detail::SpriteCore> core);
    SPRIG_HOST_INTERNAL detail::SpriteCore& core(const char* call) const;
    std::unique_ptr<detail::SpriteCore> mCore;
};

/** A stage of width x height pixels (1 to 4092 wide, 1 to 32767 high), shown
 * in a view zoom times as large (each stage pixel a zoom x zoom block; the
 * view at most 4092 pixels wide). The backdrop starts white, the background
 * clear. */
class SPRIG_EXPORT Stage
{
  public:
    /** Throws sprig::Error for a size or zoom outside the limits above. */
    Stage(int width, int height, int zoom = 1);
    ~Stage();
    /** @{ */
    /** Takes over other's stage with its sprites; other is left empty, and
     * every call on it but destruction and assignment throws sprig::Error. */
    Stage(Stage&& other) noexcept;
    Stage& operator=(Stage&& other) noexcept;
    /** @} */
    Stage(const Stage&) = delete;
    Stage& operator=(const Stage&) = delete;

    /** @{ */
    /** The size in stage pixels. */
    int width() const;
    int height() const;
    /** @} */
    /** @{ */
    /** View pixels a stage pixel takes each way; 1 or more, within the
     * limits above. */
    int zoom() const;
    void setZoom(int zoom);
    /** @} */

    /** A backdrop of one colour. */
    void setBackdrop(Colour colour);
    /** The picture at its natural size, centred, over the backdrop colour. */
    void setBackdrop(const Picture& picture);
    /** Empties the background: every pen trail and stamp goes. */
    void clearPenTrails();

    /** A new sprite on this stage, as Sprite describes it. */
    Sprite addSprite();

    /** Brings the view up to date and returns its pixels. Only the areas
     * that changed since the last render are drawn again. */
    Image render();
    /** The areas of the view the last render() drew again, disjoint, in view
     * pixels: what a windowed host copies to the screen. The first render
     * and those after setZoom or a backdrop change redraw the whole view. */
    std::vector<Area> changedAreas() const;

  private:
    SPRIG_HOST_INTERNAL detail::StageCore& core(const char* call) const;
    std::unique_ptr<detail::StageCore> mCore;
};

} // namespace sprig

#undef SPRIG_HOST_INTERNAL

#endif
