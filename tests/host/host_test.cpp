// The C++ layer as hosts use it: whole sessions checked by the pixels a
// render hands back, the errors a host meets, and lifetimes.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <optional>
#include <random>

#include "sprig/images.h"
#include "sprig/sprig.hpp"
#include "tests/packing/packing_util.h"

namespace {

using sprig::Colour;
using sprig::Rgba;

const Rgba kWhite = {255, 255, 255, 255};
const Rgba kRed = {255, 0, 0, 255};
const Rgba kBlue = {0, 0, 255, 255};

// A picture of one colour.
sprig::Picture Square(int size, Rgba colour, sprig::Tint tint = sprig::Tint::Off)
{
    std::vector<uint8_t> rgba;
    for (int i = 0; i < size * size; i++)
        rgba.insert(rgba.end(), {colour.red, colour.green, colour.blue, colour.alpha});
    return sprig::Picture::fromRgba(rgba, size, size, 4 * size, tint);
}

// A soft disc, opaque in the middle.
sprig::Picture Disc(int size)
{
    std::vector<uint8_t> rgba;
    for (int y = 0; y < size; y++)
        for (int x = 0; x < size; x++) {
            const double d = std::hypot(x + 0.5 - size / 2.0, y + 0.5 - size / 2.0);
            const double a = std::fmin(1.0, std::fmax(0.0, size / 2.0 - d));
            rgba.insert(rgba.end(),
                        {static_cast<uint8_t>(40 * x), static_cast<uint8_t>(200 - 9 * y), 90,
                         static_cast<uint8_t>(255 * a)});
        }
    return sprig::Picture::fromRgba(rgba, size, size, 4 * size);
}

// A sprite of the stage showing the picture at (x, y).
sprig::Sprite Shown(sprig::Stage& stage, const sprig::Picture& picture, double x, double y)
{
    sprig::Sprite sprite = stage.addSprite();
    sprite.setPicture(picture);
    sprite.moveTo(x, y);
    sprite.show();
    return sprite;
}

// A stage pixel a render is expected to show: at zoom 2, all four view
// pixels of it.
struct Probe
{
    int x, y;
    Rgba colour;
};

void ExpectPixels(const sprig::Image& image, int zoom, std::initializer_list<Probe> probes)
{
    for (const Probe& p : probes) {
        EXPECT_EQ(image.pixel(zoom * p.x, zoom * p.y), p.colour) << "at " << p.x << ", " << p.y;
        EXPECT_EQ(image.pixel(zoom * p.x + zoom - 1, zoom * p.y + zoom - 1), p.colour);
    }
}

TEST(HostLayer, AHostDrawsWithSpritesPensAndStamps)
{
    sprig::Stage stage(40, 30, 2);
    sprig::Sprite sprite = Shown(stage, Square(4, kRed), 10, 10);
    sprig::Image frame = stage.render();
    ASSERT_EQ(frame.width(), 80);
    ASSERT_EQ(frame.height(), 60);
    EXPECT_EQ(stage.changedAreas(), (std::vector<sprig::Area>{{0, 0, 80, 60}}));
    EXPECT_EQ(sprite.bounds(), (sprig::Area{8, 8, 4, 4}));
    ExpectPixels(frame, 2, {{8, 8, kRed}, {11, 11, kRed}, {12, 11, kWhite}});
    EXPECT_EQ(frame.row(16)[16], 0x0000FFFFu); // pixel word: alpha, red, green, blue
    EXPECT_TRUE(stage.render().width() == 80 && stage.changedAreas().empty());

    // A hairline pen from (10, 10) to (30, 10), then a stamp left behind.
    sprite.setPenMode(sprig::PenMode::Draw);
    sprite.setPenColour({0, 0, 255});
    sprite.moveTo(30, 10);
    sprite.stamp();
    sprite.setPenMode(sprig::PenMode::Up);
    sprite.moveTo(10, 25);
    frame = stage.render();
    for (int x = 13; x < 28; x++)
        ExpectPixels(frame, 2, {{x, 10, kBlue}});
    // Beside the line; the stamp; the sprite; where the sprite was.
    ExpectPixels(frame, 2, {{20, 12, kWhite}, {29, 9, kRed}, {10, 25, kRed}, {10, 8, kWhite}});
    const std::vector<sprig::Area> changed = stage.changedAreas();
    ASSERT_FALSE(changed.empty());
    for (const sprig::Area& a : changed)
        EXPECT_LT(a.width * a.height, 80 * 60);

    // The colour under the sprite: the trail, else the backdrop.
    sprite.moveTo(20, 10);
    EXPECT_EQ(sprite.colourUnder(), (Colour{0, 0, 255}));
    sprite.moveTo(20, 20);
    EXPECT_EQ(sprite.colourUnder(), (Colour{255, 255, 255}));
    stage.setBackdrop(Colour{10, 20, 30});
    EXPECT_EQ(sprite.colourUnder(), (Colour{10, 20, 30}));

    // Erasing the line's middle, then clearing everything.
    const Rgba backdrop = {10, 20, 30, 255};
    sprite.moveTo(15, 10);
    sprite.setPenMode(sprig::PenMode::Erase);
    sprite.setPenSize(3);
    sprite.moveTo(25, 10);
    sprite.hide();
    ExpectPixels(stage.render(), 2, {{20, 10, backdrop}, {13, 10, kBlue}});
    stage.clearPenTrails();
    ExpectPixels(stage.render(), 2, {{13, 10, backdrop}, {29, 9, backdrop}});

    stage.setZoom(1);
    EXPECT_EQ(stage.render().width(), 40);
    EXPECT_EQ(stage.changedAreas(), (std::vector<sprig::Area>{{0, 0, 40, 30}}));
}

TEST(HostLayer, SpritesStackScaleFadeTintAndTouch)
{
    sprig::Stage stage(40, 30);
    sprig::Sprite back = Shown(stage, Square(6, kRed), 20, 15);
    sprig::Sprite front = Shown(stage, Square(3, {0, 0, 0, 255}, sprig::Tint::PenColour), 20, 15);
    front.setPenColour({0, 255, 0});
    // Tinted, in front; then behind sprites of smaller z.
    ExpectPixels(stage.render(), 1, {{20, 15, {0, 255, 0, 255}}});
    EXPECT_TRUE(back.touching(front));
    EXPECT_TRUE(back.hit(22, 17));
    EXPECT_FALSE(back.hit(30, 17));
    EXPECT_TRUE(back.hit(30, 17, 10));
    front.setZ(5);
    EXPECT_EQ(front.z(), 5);
    ExpectPixels(stage.render(), 1, {{20, 15, kRed}});
    front.setZ(-5);
    back.setOpacity(0);
    ExpectPixels(stage.render(), 1, {{18, 13, kWhite}});
    back.setOpacity(255);
    back.setSizeFortieths(80);
    EXPECT_EQ(back.bounds(), (sprig::Area{14, 9, 12, 12}));
    back.setSizePercent(50);
    EXPECT_EQ(back.sizeFortieths(), 20);
    EXPECT_EQ(back.bounds(), (sprig::Area{19, 14, 3, 3}));
    back.setSizePercent(100);
    back.setFrame(sprig::Frame::Solid);
    ExpectPixels(stage.render(), 1, {{17, 12, {0, 0, 0, 255}}, {22, 17, {0, 0, 0, 255}}});
    back.moveTo(33, 15);
    EXPECT_FALSE(back.touching(front));
    front.hide();
    back.moveTo(20, 15);
    EXPECT_FALSE(back.touching(front));

    // What a host reads back is what it set.
    front.setPenMode(sprig::PenMode::Erase);
    front.setPenAntialias(sprig::Antialias::Exact);
    front.setPenSize(7);
    EXPECT_EQ(front.penMode(), sprig::PenMode::Erase);
    EXPECT_EQ(front.penAntialias(), sprig::Antialias::Exact);
    EXPECT_EQ(front.penSize(), 7);
    EXPECT_EQ(front.penColour(), (Colour{0, 255, 0}));
    EXPECT_EQ(back.frame(), sprig::Frame::Solid);
    EXPECT_TRUE(front.picture()->sameAs(*front.picture()));
    EXPECT_FALSE(front.picture()->sameAs(*back.picture()));
    back.moveBy(500.5, -31); // wraps round the stage by whole stage sizes
    EXPECT_DOUBLE_EQ(back.x(), 0.5);
    EXPECT_DOUBLE_EQ(back.y(), 14);
}

// A render draws again only what changed; it must give what drawing the
// whole view gives, and the areas it reports must hold every pixel that
// changed.
TEST(HostLayer, DrawingOnlyTheChangedAreasMatchesDrawingTheWholeView)
{
    const sprig::Picture pictures[] = {Disc(9), Disc(14), Square(5, {30, 60, 90, 128}),
                                       Square(4, {0, 0, 0, 255}, sprig::Tint::PenColour)};
    for (int zoom : {1, 2, 3}) {
        std::mt19937 rng(7 + zoom);
        sprig::Stage changed(64, 48, zoom), whole(64, 48, zoom);
        std::vector<sprig::Sprite> a, b;
        for (int i = 0; i < 6; i++) {
            a.push_back(changed.addSprite());
            b.push_back(whole.addSprite());
        }
        // What a host may do to a sprite, moves twice as often as the rest.
        using Step = std::function<void(sprig::Sprite&, int value, double x, double y)>;
        const Step steps[] = {
            [&](sprig::Sprite& s, int v, double, double) { s.setPicture(pictures[v % 4]); },
            [](sprig::Sprite& s, int v, double, double) { s.setVisible(v % 3 != 0); },
            [](sprig::Sprite& s, int v, double, double) { s.setSizeFortieths(20 + v % 60); },
            [](sprig::Sprite& s, int v, double, double) { s.setOpacity(v); },
            [](sprig::Sprite& s, int v, double, double) {
                s.setFrame(static_cast<sprig::Frame>(v % 3));
                s.setZ(v % 7 - 3);
            },
            [](sprig::Sprite& s, int v, double, double) {
                s.setPenMode(static_cast<sprig::PenMode>(v % 3));
                s.setPenAntialias(static_cast<sprig::Antialias>(v / 3 % 3));
                s.setPenSize(1 + v % 5);
                s.setPenColour({static_cast<uint8_t>(v), 90, 200});
            },
            [](sprig::Sprite& s, int, double, double) { s.stamp(); },
            [](sprig::Sprite& s, int, double x, double y) { s.moveTo(x, y); },
            [](sprig::Sprite& s, int, double x, double y) { s.moveTo(x, y); },
        };
        sprig::Image before = changed.render();
        for (int frame = 0; frame < 60; frame++) {
            for (int k = 0; k < 3; k++) {
                const double x = static_cast<int>(rng() % 90) - 13.5,
                             y = static_cast<int>(rng() % 70) - 11.25;
                const int value = static_cast<int>(rng() % 256);
                const Step& step = steps[rng() % 9];
                const size_t i = rng() % a.size();
                step(a[i], value, x, y);
                step(b[i], value, x, y);
            }
            whole.setBackdrop(Colour{255, 255, 255}); // the whole view is drawn again
            const sprig::Image mine = changed.render();
            const sprig::Image all = whole.render();
            const std::vector<sprig::Area> areas = changed.changedAreas();
            for (int y = 0; y < all.height(); y++)
                for (int x = 0; x < all.width(); x++) {
                    ASSERT_EQ(mine.row(y)[x], all.row(y)[x])
                        << "zoom " << zoom << ", frame " << frame << ", at " << x << ", " << y;
                    if (mine.row(y)[x] == before.row(y)[x])
                        continue;
                    ASSERT_TRUE(std::any_of(areas.begin(), areas.end(),
                                            [&](const sprig::Area& r) {
                                                return x >= r.x && x < r.x + r.width && y >= r.y &&
                                                       y < r.y + r.height;
                                            }))
                        << "changed outside the areas at " << x << ", " << y;
                }
            before = mine;
        }
    }
}

// Packed bytes of a 2 x 2 picture.
std::vector<uint8_t> PackedSquare()
{
    const std::vector<uint32_t> words =
        Packs({0x0000FFFF, 0x0000FFFF, 0xFF0000FF, 0xFF0000FF}, 2, 2);
    const auto* bytes = reinterpret_cast<const uint8_t*>(words.data());
    return {bytes, bytes + 4 * words.size()};
}

TEST(HostLayer, BadPicturesAndArgumentsThrowNamingThem)
{
    sprig::Stage stage(40, 30);
    sprig::Sprite sprite = stage.addSprite();
    const std::vector<uint8_t> packed = PackedSquare();
    std::vector<uint8_t> truncated = packed;
    truncated.resize(packed.size() - 4);
    std::vector<uint8_t> wrongCount = packed;
    wrongCount[28] ^= 1; // the first row's first packet count
    const std::vector<uint8_t> pixels(4 * 4 * 4, 0);
    std::vector<sprig::Picture> tinted;
    struct Case
    {
        std::function<void()> call;
        std::string message;
    };
    const Case cases[] = {
        {[&] { sprig::Picture::fromRgba(pixels, 0, 4, 16); }, "Picture::fromRgba: width 0"},
        {[&] { sprig::Picture::fromRgba(pixels, 4, 4, 12); }, "stride 12"},
        {[&] { sprig::Picture::fromRgba(pixels, 4, 5, 16); }, "64 bytes of pixels, 80 needed"},
        {[&] { sprig::Picture::fromPngBytes(packed); }, "Picture::fromPngBytes: not a PNG"},
        {[&] { sprig::Picture::fromPngFile("/nonexistent/a.png"); }, "/nonexistent/a.png"},
        {[&] { sprig::Picture::fromPackedFile("/nonexistent/a.sprig"); }, "/nonexistent/a.sprig"},
        {[&] { sprig::Picture::fromPackedBytes(truncated); }, "Picture::fromPackedBytes: "},
        {[&] { sprig::Picture::fromPackedBytes(wrongCount); }, "Picture::fromPackedBytes: "},
        {[&] { sprig::Stage(0, 10); }, "Stage: width 0 is outside 1 to 4092"},
        {[&] { sprig::Stage(10, 40000); }, "Stage: height 40000"},
        {[&] { sprig::Stage(480, 360, 9); }, "zoom 9 makes a 4320 x 3240 view"},
        {[&] { stage.setZoom(0); }, "Stage::setZoom: zoom 0"},
        {[&] { sprite.setOpacity(300); }, "Sprite::setOpacity: opacity 300"},
        {[&] { sprite.setPenSize(0); }, "Sprite::setPenSize: size 0"},
        {[&] { sprite.setSizeFortieths(-1); }, "Sprite::setSizeFortieths: size -1"},
        {[&] { sprite.setSizePercent(NAN); }, "Sprite::setSizePercent: size nan"},
        {[&] { sprite.setZ(40000); }, "Sprite::setZ: z 40000"},
        {[&] { sprite.moveTo(NAN, 1); }, "Sprite::moveTo: x nan is outside -32768 to 32767"},
        {[&] { sprite.moveTo(1, 1e19); }, "Sprite::moveTo: y 1"},
        {[&] { sprite.moveBy(1, INFINITY); }, "Sprite::moveBy: y + dy inf"},
        {[&] { sprite.hit(1, 1, -2); }, "Sprite::hit: radius -2"},
        {[&] { sprite.setFrame(static_cast<sprig::Frame>(7)); }, "Sprite::setFrame: frame 7"},
        {[&] { stage.render().pixel(40, 0); }, "Image::pixel: (40, 0) is outside the 40 x 30"},
        {[&] { stage.render().row(-1); }, "Image::row: y -1"},
        {[&] { stage.render().savePng("/nonexistent/frame.png"); }, "/nonexistent/frame.png"},
        {[&] {
             sprite.setPicture(Square(200, kRed));
             sprite.setSizeFortieths(1000);
         },
         "at size 1000 fortieths would be 5000 x 5000"},
        // 36 pictures at most may be tinted.
        {[&] {
             for (int i = 0; i < 37; i++)
                 tinted.push_back(Square(1, kRed, sprig::Tint::PenColour));
         },
         "all 36 pictures tinted"},
    };
    for (const Case& c : cases) {
        try {
            c.call();
            ADD_FAILURE() << "no error for " << c.message;
        } catch (const sprig::Error& e) {
            EXPECT_NE(std::string(e.what()).find(c.message), std::string::npos)
                << "'" << e.what() << "' does not say '" << c.message << "'";
            EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos);
        }
    }

    // A well-formed packed picture is taken as it is.
    const sprig::Sprite packedSprite = Shown(stage, sprig::Picture::fromPackedBytes(packed), 5, 5);
    EXPECT_EQ(stage.render().pixel(4, 5), (Rgba{0, 0, 255, 255}));

    // Letting go of a tinted picture makes room for another.
    ASSERT_EQ(tinted.size(), 36u);
    tinted.pop_back();
    EXPECT_NO_THROW(tinted.push_back(Square(1, kRed, sprig::Tint::PenColour)));
}

TEST(HostLayer, LifetimesCannotGoWrongAndCyclesLeaveNothingBehind)
{
    const int32_t firstFree = GetFreeImageNumber();
    std::optional<sprig::Sprite> survivor;
    std::optional<sprig::Image> kept;
    {
        sprig::Stage stage(20, 20);
        sprig::Sprite sprite = stage.addSprite();
        {
            // The host drops its picture: the sprite keeps showing it.
            sprig::Picture picture = Square(4, kRed);
            EXPECT_EQ(GetFreeImageNumber(), firstFree + 1);
            sprite.setPicture(picture);
        }
        EXPECT_EQ(GetFreeImageNumber(), firstFree + 1);
        sprite.moveTo(10, 10);
        sprite.show();
        const sprig::Image first = stage.render();
        EXPECT_EQ(first.pixel(10, 10), kRed);

        // An image a host holds stays as it was through later renders.
        sprite.moveTo(3, 3);
        const sprig::Image second = stage.render();
        EXPECT_EQ(first.pixel(10, 10), kRed);
        EXPECT_EQ(second.pixel(10, 10), kWhite);
        EXPECT_EQ(second.pixel(3, 3), kRed);
        kept = second;

        // A sprite replaced by another leaves the stage.
        sprig::Sprite other = Shown(stage, *sprite.picture(), 15, 15);
        sprite = std::move(other);
        EXPECT_THROW(other.show(), sprig::Error);
        const sprig::Image third = stage.render();
        EXPECT_EQ(third.pixel(3, 3), kWhite);
        EXPECT_EQ(third.pixel(15, 15), kRed);
        survivor.emplace(std::move(sprite));
        sprig::Stage movedTo = std::move(stage);
        EXPECT_THROW(stage.render(), sprig::Error);
        EXPECT_NO_THROW(survivor->moveBy(1, 1));
    }
    // The stage is gone: its sprite shows nothing and let go of its picture;
    // the image keeps its pixels.
    EXPECT_EQ(GetFreeImageNumber(), firstFree);
    try {
        survivor->moveTo(1, 1);
        ADD_FAILURE() << "a sprite of a stage that is gone moved";
    } catch (const sprig::Error& e) {
        EXPECT_STREQ(e.what(), "Sprite::moveTo: the sprite's stage no longer exists");
    }
    survivor.reset();
    EXPECT_EQ(kept->pixel(3, 3), kRed);

    // Stages, sprites and pictures made and dropped many times over give
    // back every pool number (and, under LeakSanitizer, every byte).
    for (int i = 0; i < 10000; i++) {
        sprig::Stage stage(8, 8, 1 + i % 2);
        sprig::Sprite sprite =
            Shown(stage, Square(2, kRed, i % 3 ? sprig::Tint::Off : sprig::Tint::PenColour), 0, 0);
        sprite.setPenMode(sprig::PenMode::Draw);
        sprite.moveTo(i % 8, 5);
        if (i % 2)
            stage.render();
        if (i % 5 == 0) {
            EXPECT_THROW(sprite.setOpacity(-1), sprig::Error);
        }
    }
    EXPECT_EQ(GetFreeImageNumber(), firstFree);
}

// Picture::rgbaBytes hands back the pixels a picture was made from: alpha 0,
// 1, 254 and 255 beside one another, with colours under each, a run of one
// colour beside literals, on an odd width; rows given with padding come back
// without it; copies share the pixels; a 1 x 1 picture round-trips too.
TEST(HostLayer, PicturePixelsComeBackAsTheyWentIn)
{
    const int width = 5, height = 3, stride = 4 * width + 8;
    std::vector<uint8_t> padded(static_cast<size_t>(stride) * height, 0xEE), expected;
    const uint8_t alphas[] = {0, 1, 254, 255, 255};
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const uint8_t pixel[4] = {static_cast<uint8_t>(40 * x), static_cast<uint8_t>(90 * y),
                                      static_cast<uint8_t>(x == 4 ? 7 : 200 + y),
                                      alphas[(x + y) % 5]};
            std::copy(pixel, pixel + 4, padded.begin() + y * stride + 4 * x);
            expected.insert(expected.end(), pixel, pixel + 4);
        }
    const sprig::Picture picture = sprig::Picture::fromRgba(padded, width, height, stride);
    EXPECT_EQ(picture.rgbaBytes(), expected);
    const sprig::Picture copy = picture;
    EXPECT_EQ(copy.rgbaBytes(), expected);
    const std::vector<uint8_t> one = {1, 2, 3, 4};
    EXPECT_EQ(sprig::Picture::fromRgba(one, 1, 1, 4).rgbaBytes(), one);
}

} // namespace
