// The demo scene, written on the library's C++ layer as a host would write
// it: pictures from pixels, a stage with a backdrop, sprites with pens, and
// a render per frame. Only the sample painting is made with the paint tools
// of the exported functions, which the layer leaves to hosts.
#include "tools/demo_scene.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <string>

#include "tools/paint_scene.h"
#include "tools/world.h"

namespace {

using sprig::Rgba;

constexpr double kPi = 3.14159265358979323846;

uint8_t Channel(double v)
{
    return static_cast<uint8_t>(std::clamp(std::lround(v), 0L, 255L));
}

// The share of pixel (x, y) inside a shape, from 4 x 4 samples.
double Coverage(const std::function<bool(double, double)>& inside, int x, int y)
{
    int hits = 0;
    for (int i = 0; i < 4; i++)
        for (int j = 0; j < 4; j++)
            hits += inside(x + (j + 0.5) / 4, y + (i + 0.5) / 4);
    return hits / 16.0;
}

// A picture drawn pixel by pixel.
sprig::Picture MakePicture(int width, int height, const std::function<Rgba(int, int)>& pixel,
                           sprig::Tint tint = sprig::Tint::Off)
{
    std::vector<uint8_t> rgba;
    rgba.reserve(4 * static_cast<size_t>(width) * static_cast<size_t>(height));
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++) {
            const Rgba p = pixel(x, y);
            rgba.insert(rgba.end(), {p.red, p.green, p.blue, p.alpha});
        }
    return sprig::Picture::fromRgba(rgba, width, height, 4 * width, tint);
}

// A black disc with a soft edge: tinted, it becomes a disc of the pen colour.
sprig::Picture Disc(int size, double centre, double radius)
{
    return MakePicture(
        size, size,
        [=](int x, int y) {
            const double c = Coverage(
                [=](double u, double v) { return std::hypot(u - centre, v - centre) <= radius; }, x,
                y);
            return Rgba{0, 0, 0, Channel(255 * c)};
        },
        sprig::Tint::PenColour);
}

bool InStar(double u, double v, double cx, double cy, double outer, double inner)
{
    // Ten corners, alternately outer and inner, the first pointing up.
    double xs[10], ys[10];
    for (int i = 0; i < 10; i++) {
        const double r = (i % 2) ? inner : outer;
        const double a = -kPi / 2 + i * kPi / 5;
        xs[i] = cx + r * std::cos(a);
        ys[i] = cy + r * std::sin(a);
    }
    bool in = false;
    for (int i = 0, j = 9; i < 10; j = i++) {
        if ((ys[i] > v) != (ys[j] > v) &&
            u < (xs[j] - xs[i]) * (v - ys[i]) / (ys[j] - ys[i]) + xs[i])
            in = !in;
    }
    return in;
}

// A gold star with an orange rim and a lighter middle.
sprig::Picture Star()
{
    return MakePicture(37, 37, [](int x, int y) {
        const double all =
            Coverage([](double u, double v) { return InStar(u, v, 18.5, 19.5, 18, 7.5); }, x, y);
        const double body =
            Coverage([](double u, double v) { return InStar(u, v, 18.5, 19.5, 14.5, 5.5); }, x, y);
        const double shine = std::max(0.0, 1 - std::hypot(x - 16.0, y - 15.0) / 12);
        const double r = 235 + 20 * shine * body;
        const double g = 120 + body * (70 + 60 * shine);
        const double b = 20 + body * (20 + 80 * shine);
        return Rgba{Channel(r), Channel(g), Channel(b), Channel(255 * all)};
    });
}

// A pink eraser block with a darker band.
sprig::Picture Eraser()
{
    return MakePicture(30, 18, [](int x, int y) {
        const double c = Coverage(
            [](double u, double v) {
                const double dx = std::max({2.5 - u, u - 27.5, 0.0});
                const double dy = std::max({2.5 - v, v - 15.5, 0.0});
                return std::hypot(dx, dy) <= 2.5;
            },
            x, y);
        const bool band = x >= 19 && x <= 22;
        return band ? Rgba{90, 90, 170, Channel(255 * c)}
                    : Rgba{250, 150, static_cast<uint8_t>(170 - 2 * y), Channel(255 * c)};
    });
}

// A violet glow that fades out from its middle.
sprig::Picture Ghost()
{
    return MakePicture(48, 48, [](int x, int y) {
        const double d = std::hypot(x + 0.5 - 24, y + 0.5 - 24) / 23.5;
        const double a = d >= 1 ? 0 : std::pow(1 - d * d, 1.5);
        const double ring = std::exp(-std::pow((d - 0.55) / 0.08, 2));
        return Rgba{Channel(150 + 90 * ring), Channel(90 + 120 * ring), 240,
                    Channel(235 * std::max(a, ring))};
    });
}

// The paint tools' sample painting, at half its natural size. The tools
// paint into a world of the exported interface; its pixel words (bytes
// alpha, red, green, blue) become RGBA.
sprig::Picture Painting()
{
    const int width = 160, height = 120;
    std::string error;
    WorldPtr world = NewWorld(width, height, &error);
    if (!world || !PaintSampleScene(world.get(), &error))
        throw sprig::Error("painting the sample picture: " + error);
    std::vector<uint8_t> rgba;
    for (int y = 0; y < height; y++) {
        const uint32_t* row = WorldRow(world.get(), y);
        for (int x = 0; x < width; x++)
            rgba.insert(rgba.end(),
                        {static_cast<uint8_t>(row[x] >> 8), static_cast<uint8_t>(row[x] >> 16),
                         static_cast<uint8_t>(row[x] >> 24), static_cast<uint8_t>(row[x])});
    }
    return sprig::Picture::fromRgba(rgba, width, height, 4 * width);
}

// Sky from light blue to warm white, with a faint grid every 40 pixels.
sprig::Picture Sky()
{
    return MakePicture(kDemoStageWidth, kDemoStageHeight, [](int x, int y) {
        const double t = static_cast<double>(y) / (kDemoStageHeight - 1);
        const double dim = x % 40 == 0 || y % 40 == 0 ? 0.93 : 1.0;
        return Rgba{Channel(dim * (205 + 50 * t)), Channel(dim * (228 + 16 * t)),
                    Channel(dim * (255 - 35 * t)), 255};
    });
}

// A smooth 0 -> 1 -> 0 wave over one cycle.
double Wave(double t)
{
    return 0.5 - 0.5 * std::cos(2 * kPi * t);
}

} // namespace

DemoScene::Pictures DemoScene::MakePictures(sprig::Stage& stage)
{
    stage.setBackdrop(Sky());
    return Pictures{Disc(15, 7.5, 6.0), Disc(29, 14.5, 13.5), Star(), Eraser(), Ghost(),
                    Painting()};
}

// Turtles: a five-pointed star of long lines that wrap across every edge, a
// square spiral drawn with a hairline pen, a wave across the stage twice
// over, and an eraser.
std::vector<DemoScene::Turtle> DemoScene::MakeTurtles(sprig::Stage& stage, const Pictures& pictures)
{
    struct Pen
    {
        double x, y;
        sprig::Colour colour;
        int size;
        sprig::Antialias antialias;
        double start, end;
    };
    const Pen pens[4] = {
        {240, 200, {0xE0, 0x30, 0x30}, 4, sprig::Antialias::On, 0.0, 0.7},
        {110, 120, {0x20, 0x50, 0xD0}, 1, sprig::Antialias::Off, 0.05, 0.9},
        {0, 300, {0x20, 0x9A, 0x50}, 2, sprig::Antialias::Exact, 0.1, 0.95},
        {20, 150, {0, 0, 0}, 12, sprig::Antialias::Off, 0.7, 0.97},
    };
    std::vector<Turtle> turtles;
    for (const Pen& pen : pens) {
        const bool eraser = &pen == &pens[3];
        Turtle t{stage.addSprite(), {}, 0, 0, pen.start, pen.end};
        t.sprite.setPicture(eraser ? pictures.eraser : pictures.penTip);
        t.sprite.setPenColour(pen.colour);
        t.sprite.moveTo(pen.x, pen.y); // the pen is still up
        t.sprite.setPenSize(pen.size);
        t.sprite.setPenMode(eraser ? sprig::PenMode::Erase : sprig::PenMode::Draw);
        t.sprite.setPenAntialias(pen.antialias);
        t.sprite.setVisible(!eraser);
        turtles.push_back(std::move(t));
    }
    for (int k = 0; k < 5; k++) {
        const double a = -kPi / 2 + k * 4 * kPi / 5 + 0.3;
        turtles[0].moves.push_back({340 * std::cos(a), 340 * std::sin(a)});
    }
    for (int k = 0; k < 26; k++) {
        const double step = 12.0 * (k / 2 + 1);
        const int d = k % 4;
        turtles[1].moves.push_back({d == 0   ? step
                                    : d == 2 ? -step
                                             : 0.0,
                                    d == 1   ? step
                                    : d == 3 ? -step
                                             : 0.0});
    }
    for (int k = 0; k < 160; k++) {
        const double x0 = 6.0 * k, x1 = 6.0 * (k + 1);
        turtles[2].moves.push_back(
            {6.0, 36 * (std::sin(x1 / 38) - std::sin(x0 / 38)) + 0.25 * std::sin(x1 / 11)});
    }
    turtles[3].moves = {{440, 0}, {-380, 140}, {360, 0}};
    for (Turtle& t : turtles)
        for (const auto& m : t.moves)
            t.length += std::hypot(m.first, m.second);
    return turtles;
}

// At the back: the painting, in a dashed frame.
sprig::Sprite DemoScene::MakePainting(sprig::Stage& stage, const Pictures& pictures)
{
    sprig::Sprite painting = stage.addSprite();
    painting.setPicture(pictures.painting);
    painting.setZ(10);
    painting.setFrame(sprig::Frame::Dashed);
    painting.moveTo(350, 250);
    painting.show();
    return painting;
}

// The star leaves stamps of itself as it crosses the top; a ball bounces
// about and changes colour, frame and size while it touches the painting;
// in front of all, a glow fades in and out.
DemoScene::DemoScene(int zoom, int frames)
    : mZoom(zoom), mFrames(std::max(frames, 1)), mStage(kDemoStageWidth, kDemoStageHeight, zoom),
      mPictures(MakePictures(mStage)), mPainting(MakePainting(mStage, mPictures)),
      mTurtles(MakeTurtles(mStage, mPictures)), mStar(mStage.addSprite()),
      mBall(mStage.addSprite()), mGhost(mStage.addSprite())
{
    mStar.setPicture(mPictures.star);
    mStar.moveTo(30, 56);
    mStar.show();

    mBall.setPicture(mPictures.ball);
    mBall.setPenColour({0x10, 0x90, 0xA0});
    mBall.moveTo(mBallX, mBallY);
    mBall.show();

    mGhost.setPicture(mPictures.ghost);
    mGhost.setZ(-10);
    mGhost.moveTo(130, 250);
    mGhost.show();
}

void DemoScene::MoveTurtle(Turtle& turtle, double distance)
{
    distance = std::min(distance, turtle.length);
    double walked = 0;
    for (const auto& m : turtle.moves) {
        const double len = std::hypot(m.first, m.second);
        const double from = std::max(turtle.drawn, walked);
        const double to = std::min(distance, walked + len);
        // From where the sprite is (wrapped into the stage) on by the move:
        // the line wraps with it.
        if (to > from && len > 0)
            turtle.sprite.moveBy(m.first * (to - from) / len, m.second * (to - from) / len);
        walked += len;
        if (walked >= distance)
            break;
    }
    turtle.drawn = std::max(turtle.drawn, distance);
}

int DemoScene::Step(int frame)
{
    const double t = mFrames > 1 ? static_cast<double>(frame) / (mFrames - 1) : 1.0;
    const double previous = mFrames > 1 ? static_cast<double>(frame - 1) / (mFrames - 1) : 0.0;

    for (size_t i = 0; i < mTurtles.size(); i++) {
        Turtle& turtle = mTurtles[i];
        const double share = std::clamp((t - turtle.start) / (turtle.end - turtle.start), 0.0, 1.0);
        if (i == 3)
            turtle.sprite.setVisible(t >= turtle.start && t <= turtle.end + 0.05);
        MoveTurtle(turtle, share * turtle.length);
    }

    // The star crosses the top, growing and shrinking, and stamps itself at
    // four points of its way.
    mStar.setSizeFortieths(static_cast<int>(32 + 28 * Wave(2 * t)));
    mStar.moveTo(30 + 420 * t, 56 + 14 * std::sin(6 * kPi * t));
    for (double at : {0.15, 0.38, 0.62, 0.85})
        if (previous < at && t >= at)
            mStar.stamp();

    // The painting sways and breathes.
    mPainting.setSizeFortieths(static_cast<int>(34 + 12 * Wave(2 * t)));
    mPainting.moveTo(350 + 40 * std::sin(2 * kPi * t), 250);

    // The ball bounces off the stage's edges at the same speed whatever the
    // number of frames.
    const double speed = 60.0 / std::max(mFrames, 2);
    mBallX += mBallDX * speed;
    mBallY += mBallDY * speed;
    if (mBallX < 16 || mBallX > kDemoStageWidth - 16) {
        mBallDX = -mBallDX;
        mBallX = std::clamp(mBallX, 16.0, kDemoStageWidth - 16.0);
    }
    if (mBallY < 16 || mBallY > kDemoStageHeight - 16) {
        mBallDY = -mBallDY;
        mBallY = std::clamp(mBallY, 16.0, kDemoStageHeight - 16.0);
    }
    mBall.moveTo(mBallX, mBallY);
    const bool hit = mBall.touching(mPainting);
    mBall.setPenColour(hit ? sprig::Colour{0xE8, 0x20, 0x40} : sprig::Colour{0x10, 0x90, 0xA0});
    mBall.setFrame(hit ? sprig::Frame::Solid : sprig::Frame::Off);
    mBall.setSizeFortieths(hit ? 56 : 40);

    // The glow circles and fades.
    mGhost.setOpacity(static_cast<int>(30 + 225 * Wave(t)));
    mGhost.moveTo(130 + 60 * std::cos(2 * kPi * t), 240 + 40 * std::sin(2 * kPi * t));

    mFrame = mStage.render();
    return static_cast<int>(mStage.changedAreas().size());
}

uint64_t ImageChecksum(const sprig::Image& image)
{
    uint64_t hash = 1469598103934665603ull;
    for (int y = 0; y < image.height(); y++) {
        const sprig::Image::Row row = image.row(y);
        const auto* bytes = reinterpret_cast<const uint8_t*>(row.begin());
        for (size_t i = 0; i < 4 * row.size(); i++) {
            hash ^= bytes[i];
            hash *= 1099511628211ull;
        }
    }
    return hash;
}
