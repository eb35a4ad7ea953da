// The demo scene. Everything goes through the library's exported functions,
// as in a host: pictures are registered with SetCompressedImage, sprites are
// driven with the Spr functions, and each frame is drawn the way a view's
// draw event draws it: the host presents its backdrop and background, then
// SprUpdateControl composites the sprites over them.
#include "tools/demo_scene.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <vector>

#include "sprig/images.h"
#include "sprig/packing.h"
#include "sprig/transfer.h"
#include "tools/paint_scene.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

// Picture numbers: 0 to 35 are colorized (drawn in the sprite's pen colour
// where the picture is black).
enum
{
    kPenTipPicture = 1,
    kBallPicture = 2,
    kStarPicture = 300,
    kEraserPicture = 301,
    kPaintingPicture = 302,
    kGhostPicture = 303
};

enum
{
    kPenUp = 0,
    kPenPaint = 1,
    kPenErase = 2
};

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

uint32_t Channel(double v)
{
    return static_cast<uint32_t>(std::clamp(std::lround(v), 0L, 255L));
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

// Packs a world and registers it under number.
bool RegisterWorld(int32_t number, GWorldPtr world, int width, int height, std::string* error)
{
    uint32_t* packed = Compress(world, 0, 0, width, height, false);
    if (!packed) {
        *error = "not enough memory to pack a picture";
        return false;
    }
    PictureRecord record = {width, height, packed[0], packed};
    const int32_t done = SetCompressedImage(number, reinterpret_cast<char*>(&record));
    std::free(packed);
    if (!done) {
        *error = "not enough memory to register a picture";
        return false;
    }
    return true;
}

// A picture drawn pixel by pixel, packed and registered.
bool MakePicture(int32_t number, int width, int height,
                 const std::function<uint32_t(int, int)>& pixel, std::string* error)
{
    WorldPtr world = NewWorld(width, height, error);
    if (!world)
        return false;
    for (int y = 0; y < height; y++) {
        uint32_t* row = WorldRow(world.get(), y);
        for (int x = 0; x < width; x++)
            row[x] = pixel(x, y);
    }
    return RegisterWorld(number, world.get(), width, height, error);
}

// A black disc with a soft edge: tinted, it becomes a disc of the pen colour.
std::function<uint32_t(int, int)> Disc(double centre, double radius)
{
    return [=](int x, int y) {
        const double c = Coverage(
            [=](double u, double v) { return std::hypot(u - centre, v - centre) <= radius; }, x, y);
        return Word(0, 0, 0, Channel(255 * c));
    };
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

bool MakePictures(std::string* error)
{
    if (!MakePicture(kPenTipPicture, 15, 15, Disc(7.5, 6.0), error) ||
        !MakePicture(kBallPicture, 29, 29, Disc(14.5, 13.5), error))
        return false;

    // A gold star with an orange rim and a lighter middle.
    const bool star = MakePicture(
        kStarPicture, 37, 37,
        [](int x, int y) {
            const double all = Coverage(
                [](double u, double v) { return InStar(u, v, 18.5, 19.5, 18, 7.5); }, x, y);
            const double body = Coverage(
                [](double u, double v) { return InStar(u, v, 18.5, 19.5, 14.5, 5.5); }, x, y);
            const double shine = std::max(0.0, 1 - std::hypot(x - 16.0, y - 15.0) / 12);
            const double r = 235 + 20 * shine * body;
            const double g = 120 + body * (70 + 60 * shine);
            const double b = 20 + body * (20 + 80 * shine);
            return Word(Channel(r), Channel(g), Channel(b), Channel(255 * all));
        },
        error);
    if (!star)
        return false;

    // A pink eraser block with a darker band.
    const bool eraser = MakePicture(
        kEraserPicture, 30, 18,
        [](int x, int y) {
            const double c = Coverage(
                [](double u, double v) {
                    const double dx = std::max({2.5 - u, u - 27.5, 0.0});
                    const double dy = std::max({2.5 - v, v - 15.5, 0.0});
                    return std::hypot(dx, dy) <= 2.5;
                },
                x, y);
            const bool band = x >= 19 && x <= 22;
            return band ? Word(90, 90, 170, Channel(255 * c))
                        : Word(250, 150, 170 - 2 * y, Channel(255 * c));
        },
        error);
    if (!eraser)
        return false;

    // A violet glow that fades out from its middle.
    const bool ghost = MakePicture(
        kGhostPicture, 48, 48,
        [](int x, int y) {
            const double d = std::hypot(x + 0.5 - 24, y + 0.5 - 24) / 23.5;
            const double a = d >= 1 ? 0 : std::pow(1 - d * d, 1.5);
            const double ring = std::exp(-std::pow((d - 0.55) / 0.08, 2));
            return Word(Channel(150 + 90 * ring), Channel(90 + 120 * ring), 240,
                        Channel(235 * std::max(a, ring)));
        },
        error);
    if (!ghost)
        return false;

    // The paint tools' sample painting, at half its natural size.
    const int width = 160, height = 120;
    WorldPtr painting = NewWorld(width, height, error);
    if (!painting || !PaintSampleScene(painting.get(), error))
        return false;
    return RegisterWorld(kPaintingPicture, painting.get(), width, height, error);
}

// Sky from light blue to warm white, with a faint grid every 40 pixels.
void PaintBackdrop(GWorldPtr backdrop)
{
    for (int y = 0; y < kDemoStageHeight; y++) {
        uint32_t* row = WorldRow(backdrop, y);
        const double t = static_cast<double>(y) / (kDemoStageHeight - 1);
        for (int x = 0; x < kDemoStageWidth; x++) {
            const bool grid = x % 40 == 0 || y % 40 == 0;
            const double dim = grid ? 0.93 : 1.0;
            row[x] = Word(Channel(dim * (205 + 50 * t)), Channel(dim * (228 + 16 * t)),
                          Channel(dim * (255 - 35 * t)), 255);
        }
    }
}

void SetPos(CSprite* sprite, double x, double y)
{
    SprSetPos(sprite, &x, &y);
}

// A smooth 0 -> 1 -> 0 wave over one cycle.
double Wave(double t)
{
    return 0.5 - 0.5 * std::cos(2 * kPi * t);
}

} // namespace

// A sprite whose pen follows a path of straight moves, a share of it per
// frame, within its part of the demo's time.
struct DemoScene::Turtle
{
    CSprite* sprite = nullptr;
    std::vector<std::pair<double, double>> moves; // (dx, dy) of each move
    double length = 0;                            // of the whole path
    double drawn = 0;                             // so far
    double start = 0, end = 1;                    // share of the demo's time
    int antialias = 0;
    bool relative = false; // SprMove rather than SprSetPosPaint
};

DemoScene::DemoScene() : mTurtles(new Turtle[4]) {}

DemoScene::~DemoScene()
{
    SprDeleteList(mList);
    if (mView)
        HIViewRelease(mView);
}

bool DemoScene::Init(int zoom, int frames, std::string* error)
{
    mZoom = zoom;
    mFrames = std::max(frames, 1);
    CImage::Init();
    if (!(mBackdrop = NewWorld(kDemoStageWidth, kDemoStageHeight, error)) ||
        !(mBackground = NewWorld(kDemoStageWidth, kDemoStageHeight, error)) ||
        !(mSprites = NewWorld(kDemoStageWidth, kDemoStageHeight, error)))
        return false;
    if (zoom > 1 && (!(mBigBackdrop = NewWorld(Width(), Height(), error)) ||
                     !(mBigBackground = NewWorld(Width(), Height(), error))))
        return false;
    mView = HIViewCreateOffscreen(Width(), Height());
    if (!mView) {
        *error =
            "cannot make a " + std::to_string(Width()) + " x " + std::to_string(Height()) + " view";
        return false;
    }
    PaintBackdrop(mBackdrop.get());
    if (mBigBackdrop) {
        Rect from, to;
        GetPortBounds(mBackdrop.get(), &from);
        GetPortBounds(mBigBackdrop.get(), &to);
        CopyBits(GetPortBitMapForCopyBits(mBackdrop.get()),
                 GetPortBitMapForCopyBits(mBigBackdrop.get()), &from, &to, srcCopy, nullptr);
    }
    if (!MakePictures(error))
        return false;

    Rect bounds;
    SetRect(&bounds, 0, 0, kDemoStageWidth, kDemoStageHeight);
    mList = SprInitSprites(mBackdrop.get(), mBackground.get(), mSprites.get(), &bounds);
    SprSetFactor(mList, static_cast<uint32_t>(zoom));

    // At the back: the painting, in a dashed frame.
    mPainting = SprNewSprite(mList, 1);
    SprSetImage(mPainting, kPaintingPicture, 0);
    SprSetZ(mPainting, 10);
    SprSetFrame(mPainting, 2);
    SetPos(mPainting, 350, 250);
    SprShow(mPainting, 1);

    // Turtles: a five-pointed star of long lines that wrap across every
    // edge, a square spiral drawn with a hairline pen, a wave across the
    // stage twice over, and an eraser.
    struct Pen
    {
        double x, y;
        RGBColor colour;
        short size;
        int antialias;
        double start, end;
    };
    const Pen pens[4] = {
        {240, 200, {0xE0E0, 0x3030, 0x3030}, 4, 1, 0.0, 0.7},
        {110, 120, {0x2020, 0x5050, 0xD0D0}, 1, 1, 0.05, 0.9},
        {0, 300, {0x2020, 0x9A9A, 0x5050}, 2, 2, 0.1, 0.95},
        {20, 150, {0, 0, 0}, 12, 0, 0.7, 0.97},
    };
    for (int i = 0; i < 4; i++) {
        Turtle& t = mTurtles[static_cast<size_t>(i)];
        t.sprite = SprNewSprite(mList, 10 + i);
        const bool eraser = i == 3;
        SprSetImage(t.sprite, eraser ? kEraserPicture : kPenTipPicture, 0);
        SprSetPenColor(t.sprite, pens[i].colour.red, pens[i].colour.green, pens[i].colour.blue);
        SetPos(t.sprite, pens[i].x, pens[i].y); // the pen is still up
        SprSetPenSize(t.sprite, pens[i].size);
        SprSetPenMode(t.sprite, eraser ? kPenErase : kPenPaint);
        t.antialias = pens[i].antialias;
        t.start = pens[i].start;
        t.end = pens[i].end;
        t.relative = i == 1;
        SprShow(t.sprite, eraser ? 0 : 1);
    }
    for (int k = 0; k < 5; k++) {
        const double a = -kPi / 2 + k * 4 * kPi / 5 + 0.3;
        mTurtles[0].moves.push_back({340 * std::cos(a), 340 * std::sin(a)});
    }
    for (int k = 0; k < 26; k++) {
        const double step = 12.0 * (k / 2 + 1);
        const int d = k % 4;
        mTurtles[1].moves.push_back({d == 0   ? step
                                     : d == 2 ? -step
                                              : 0.0,
                                     d == 1   ? step
                                     : d == 3 ? -step
                                              : 0.0});
    }
    for (int k = 0; k < 160; k++) {
        const double x0 = 6.0 * k, x1 = 6.0 * (k + 1);
        mTurtles[2].moves.push_back(
            {6.0, 36 * (std::sin(x1 / 38) - std::sin(x0 / 38)) + 0.25 * std::sin(x1 / 11)});
    }
    mTurtles[3].moves = {{440, 0}, {-380, 140}, {360, 0}};
    for (int i = 0; i < 4; i++)
        for (const auto& m : mTurtles[static_cast<size_t>(i)].moves)
            mTurtles[static_cast<size_t>(i)].length += std::hypot(m.first, m.second);

    // The star leaves stamps of itself as it crosses the top.
    mStar = SprNewSprite(mList, 20);
    SprSetImage(mStar, kStarPicture, 0);
    SetPos(mStar, 30, 56);
    SprShow(mStar, 1);

    // A ball that bounces about and changes colour, frame and size while it
    // touches the painting.
    mBall = SprNewSprite(mList, 21);
    SprSetImage(mBall, kBallPicture, 0);
    SprSetPenColor(mBall, 0x1010, 0x9090, 0xA0A0);
    SetPos(mBall, mBallX, mBallY);
    SprShow(mBall, 1);

    // In front of all: a glow that fades in and out.
    mGhost = SprNewSprite(mList, 22);
    SprSetImage(mGhost, kGhostPicture, 0);
    SprSetZ(mGhost, -10);
    SetPos(mGhost, 130, 250);
    SprShow(mGhost, 1);
    return true;
}

void DemoScene::MoveTurtle(Turtle& turtle, double distance)
{
    distance = std::min(distance, turtle.length);
    double walked = 0;
    for (const auto& m : turtle.moves) {
        const double len = std::hypot(m.first, m.second);
        const double from = std::max(turtle.drawn, walked);
        const double to = std::min(distance, walked + len);
        if (to > from && len > 0) {
            double dx = m.first * (to - from) / len;
            double dy = m.second * (to - from) / len;
            if (turtle.relative) {
                SprMove(turtle.sprite, &dx, &dy);
            } else {
                // From where the sprite is (wrapped into the stage) on by
                // the move: the line wraps with it.
                double x = *SprGetX(turtle.sprite) + dx;
                double y = *SprGetY(turtle.sprite) + dy;
                SprSetPosPaint(turtle.sprite, &x, &y, 0, nullptr, turtle.antialias);
            }
        }
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

    for (int i = 0; i < 4; i++) {
        Turtle& turtle = mTurtles[static_cast<size_t>(i)];
        const double share = std::clamp((t - turtle.start) / (turtle.end - turtle.start), 0.0, 1.0);
        if (i == 3)
            SprShow(turtle.sprite, t >= turtle.start && t <= turtle.end + 0.05 ? 1 : 0);
        MoveTurtle(turtle, share * turtle.length);
    }

    // The star crosses the top, growing and shrinking, and stamps itself at
    // four points of its way.
    SprSetSize(mStar, static_cast<short>(32 + 28 * Wave(2 * t)));
    SetPos(mStar, 30 + 420 * t, 56 + 14 * std::sin(6 * kPi * t));
    for (double at : {0.15, 0.38, 0.62, 0.85})
        if (previous < at && t >= at)
            SprStamp(mStar);

    // The painting sways and breathes.
    SprSetSize(mPainting, static_cast<short>(34 + 12 * Wave(2 * t)));
    SetPos(mPainting, 350 + 40 * std::sin(2 * kPi * t), 250);

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
    SetPos(mBall, mBallX, mBallY);
    const bool hit = SprCollision(mBall, mPainting) == 1;
    if (hit)
        SprSetPenColor(mBall, 0xE8E8, 0x2020, 0x4040);
    else
        SprSetPenColor(mBall, 0x1010, 0x9090, 0xA0A0);
    SprSetFrame(mBall, hit ? 1 : 0);
    SprSetSize(mBall, hit ? 56 : 40);

    // The glow circles and fades.
    SprSetOpacity(mGhost, static_cast<short>(30 + 225 * Wave(t)));
    SetPos(mGhost, 130 + 60 * std::cos(2 * kPi * t), 240 + 40 * std::sin(2 * kPi * t));

    SprUpdate(mList, mView);
    const int invalidated = HIViewCountInvalidRects(mView);
    HIViewClearInvalidRects(mView);
    Draw();
    return invalidated;
}

// The view's draw event: the host's backdrop and background (enlarged by
// pixel replication, as the stage enlarges its sprites), then the sprites.
void DemoScene::Draw()
{
    GWorldPtr backdrop = mBackdrop.get();
    GWorldPtr background = mBackground.get();
    if (mZoom > 1) {
        Rect from, to;
        GetPortBounds(mBackground.get(), &from);
        GetPortBounds(mBigBackground.get(), &to);
        CopyBits(GetPortBitMapForCopyBits(mBackground.get()),
                 GetPortBitMapForCopyBits(mBigBackground.get()), &from, &to, srcCopy, nullptr);
        backdrop = mBigBackdrop.get();
        background = mBigBackground.get();
    }
    // The whole view is drawn, and the event says so with its region.
    RgnHandle whole = NewRgn();
    SetRectRgn(whole, 0, 0, static_cast<int16_t>(Width()), static_cast<int16_t>(Height()));
    EventRef event = CreateDrawEvent(whole);
    DisposeRgn(whole);
    CGContextRef context = HIViewCreateDrawContext(mView);
    DrawOffscreenToHIView(backdrop, context, mView, kCGImageAlphaFirst);
    DrawOffscreenToHIView(background, context, mView, kCGImageAlphaFirst);
    SprUpdateControl(mList, context, mView, event);
    ReleaseEvent(event);
    CGContextRelease(context);
}

GWorldPtr DemoScene::Frame() const
{
    return HIViewGetGWorld(mView);
}

uint64_t WorldChecksum(GWorldPtr world)
{
    Rect bounds;
    GetPortBounds(world, &bounds);
    uint64_t hash = 1469598103934665603ull;
    for (int y = 0; y < bounds.bottom; y++) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(WorldRow(world, y));
        for (int i = 0; i < 4 * bounds.right; i++) {
            hash ^= bytes[i];
            hash *= 1099511628211ull;
        }
    }
    return hash;
}
