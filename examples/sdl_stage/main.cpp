// A windowed host: the sprite engine on a stage in an SDL2 window, through
// the library's C++ layer.
//
// Each frame the host moves its sprites and renders the stage; the stage
// draws again only the areas that changed, and the host copies just those
// areas into its window. The stage's pixel words (bytes alpha, red, green,
// blue) are SDL's BGRA8888, so the copy is a plain one row by row.
//
// Keys: arrows move the turtle with its pen down (hold shift for long
// steps, which wrap across the edges); space lifts or lowers the pen; e
// switches between painting and erasing; 1-4 set the pen size; c changes
// colour; a toggles antialiasing; s stamps; q or Esc quits.
//
// Options: --frames N (quit after N frames), --autopilot (the turtle walks
// a figure by itself, pressing the same keys), --screenshot FILE.png (what
// the window shows at the end, read back from it).
#include <SDL.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <sprig/sprig.hpp>

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kZoom = 2;

// A picture of size x size RGBA pixels, pixel(x, y) each.
template <class Pixel>
sprig::Picture MakePicture(int size, Pixel pixel, sprig::Tint tint = sprig::Tint::Off)
{
    std::vector<uint8_t> rgba;
    for (int y = 0; y < size; y++)
        for (int x = 0; x < size; x++) {
            const sprig::Rgba p = pixel(x, y);
            rgba.insert(rgba.end(), {p.red, p.green, p.blue, p.alpha});
        }
    return sprig::Picture::fromRgba(rgba, size, size, 4 * size, tint);
}

// A round picture of the given radius with a soft edge: black and drawn in
// the pen's colour, or shaded orange.
sprig::Picture Disc(int radius, bool penColoured)
{
    const int size = 2 * radius + 1;
    return MakePicture(
        size,
        [=](int x, int y) {
            const double d = std::hypot(x - radius, y - radius);
            const auto a =
                static_cast<uint8_t>(255 * std::fmin(1.0, std::fmax(0.0, radius - d + 0.5)));
            const double light =
                std::fmax(0.0, 1 - std::hypot(x - radius * 0.6, y - radius * 0.6) / size);
            return penColoured ? sprig::Rgba{0, 0, 0, a}
                               : sprig::Rgba{255, static_cast<uint8_t>(120 + 120 * light),
                                             static_cast<uint8_t>(40 + 150 * light), a};
        },
        penColoured ? sprig::Tint::PenColour : sprig::Tint::Off);
}

// Squared paper.
sprig::Picture Paper()
{
    std::vector<uint8_t> rgba;
    for (int y = 0; y < kStageHeight; y++)
        for (int x = 0; x < kStageWidth; x++) {
            const bool line = x % 20 == 0 || y % 20 == 0;
            rgba.insert(rgba.end(), {static_cast<uint8_t>(line ? 214 : 248),
                                     static_cast<uint8_t>(line ? 226 : 250),
                                     static_cast<uint8_t>(line ? 240 : 255), 255});
        }
    return sprig::Picture::fromRgba(rgba, kStageWidth, kStageHeight, 4 * kStageWidth);
}

class Host
{
  public:
    Host()
        : mStage(kStageWidth, kStageHeight, kZoom), mBall(mStage.addSprite()),
          mTurtle(mStage.addSprite())
    {
        mStage.setBackdrop(Paper());
        mBall.setPicture(Disc(14, false));
        mBall.show();
        mTurtle.setPicture(Disc(5, true));
        mTurtle.moveTo(kStageWidth / 2.0, kStageHeight / 2.0);
        mTurtle.setPenMode(sprig::PenMode::Draw);
        mTurtle.setPenSize(2);
        SetColour(0);
        mTurtle.show();
    }

    void Key(SDL_Keycode key, bool shift)
    {
        const double step = shift ? 97 : 6;
        switch (key) {
        case SDLK_LEFT:
            Walk(-step, 0);
            break;
        case SDLK_RIGHT:
            Walk(step, 0);
            break;
        case SDLK_UP:
            Walk(0, -step);
            break;
        case SDLK_DOWN:
            Walk(0, step);
            break;
        case SDLK_SPACE:
            mPenDown = !mPenDown;
            SetPen();
            break;
        case SDLK_e:
            mErasing = !mErasing;
            SetPen();
            break;
        case SDLK_1:
        case SDLK_2:
        case SDLK_3:
        case SDLK_4:
            mTurtle.setPenSize(static_cast<int>(key - SDLK_0));
            break;
        case SDLK_c:
            SetColour(mColour + 1);
            break;
        case SDLK_a:
            mAntialias = !mAntialias;
            SetPen();
            break;
        case SDLK_s:
            mTurtle.stamp();
            break;
        default:
            break;
        }
    }

    // Moves the ball on: it pulses in opacity and grows while it touches
    // the turtle.
    void Tick(int frame)
    {
        mBallX += mBallDX;
        mBallY += mBallDY;
        if (mBallX < 14 || mBallX > kStageWidth - 14)
            mBallDX = -mBallDX;
        if (mBallY < 14 || mBallY > kStageHeight - 14)
            mBallDY = -mBallDY;
        mBall.moveTo(mBallX, mBallY);
        mBall.setSizeFortieths(mBall.touching(mTurtle) ? 60 : 40);
        mBall.setOpacity(static_cast<int>(160 + 95 * std::sin(frame * 0.05)));
    }

    // Renders the stage and copies what changed into the canvas; returns
    // the areas copied.
    std::vector<SDL_Rect> Redraw(SDL_Surface* canvas)
    {
        const sprig::Image frame = mStage.render();
        std::vector<SDL_Rect> copied;
        for (const sprig::Area& a : mStage.changedAreas()) {
            for (int y = a.y; y < a.y + a.height; y++)
                std::memcpy(static_cast<uint8_t*>(canvas->pixels) + y * canvas->pitch + 4 * a.x,
                            frame.row(y).begin() + a.x, 4 * static_cast<size_t>(a.width));
            copied.push_back({a.x, a.y, a.width, a.height});
        }
        return copied;
    }

  private:
    // The eraser draws without antialiasing: every pixel its line covers
    // is wiped clean (an antialiased edge would leave a faint rim).
    void SetPen()
    {
        mTurtle.setPenMode(!mPenDown  ? sprig::PenMode::Up
                           : mErasing ? sprig::PenMode::Erase
                                      : sprig::PenMode::Draw);
        mTurtle.setPenAntialias(mAntialias && !mErasing ? sprig::Antialias::On
                                                        : sprig::Antialias::Off);
    }

    void Walk(double dx, double dy) { mTurtle.moveBy(dx, dy); }

    void SetColour(int index)
    {
        static const sprig::Colour colours[] = {
            {0x20, 0x40, 0xC0}, {0xD0, 0x30, 0x30}, {0x20, 0x90, 0x40}, {0x90, 0x30, 0xB0}};
        mColour = index % 4;
        mTurtle.setPenColour(colours[mColour]);
    }

    sprig::Stage mStage;
    sprig::Sprite mBall;
    sprig::Sprite mTurtle;
    bool mPenDown = true;
    bool mErasing = false;
    bool mAntialias = true;
    int mColour = 0;
    double mBallX = 80, mBallY = 60, mBallDX = 2.5, mBallDY = 1.75;
};

// The keys the autopilot presses on frame `frame`: a square spiral, a few
// long steps that wrap, colour and size changes, a stamp and an erase pass.
std::vector<std::pair<SDL_Keycode, bool>> AutopilotKeys(int frame)
{
    std::vector<std::pair<SDL_Keycode, bool>> keys;
    static const SDL_Keycode turn[4] = {SDLK_RIGHT, SDLK_DOWN, SDLK_LEFT, SDLK_UP};
    int t = frame;
    // Spiral: leg k has 2 + k steps.
    for (int leg = 0; leg < 14; leg++) {
        const int steps = 2 + leg * 2;
        if (t < steps) {
            keys.push_back({turn[leg % 4], false});
            if (t == 0 && leg % 4 == 0)
                keys.push_back({SDLK_c, false});
            return keys;
        }
        t -= steps;
    }
    if (t == 0)
        keys = {{SDLK_3, false}, {SDLK_c, false}};
    else if (t < 6)
        keys = {{SDLK_RIGHT, true}, {SDLK_DOWN, false}}; // wraps across the right edge
    else if (t == 6)
        keys = {{SDLK_s, false}, {SDLK_e, false}, {SDLK_4, false}};
    else if (t < 30)
        keys = {{SDLK_UP, false}, {SDLK_LEFT, false}};
    return keys;
}

// Writes what the window shows as a PNG: its surface, read through cairo
// when its pixels are 32-bit words cairo reads.
void WriteScreenshot(SDL_Window* window, const std::string& path)
{
    SDL_Surface* screen = SDL_GetWindowSurface(window);
    if (!screen || (screen->format->format != SDL_PIXELFORMAT_RGB888 &&
                    screen->format->format != SDL_PIXELFORMAT_ARGB8888)) {
        std::fprintf(stderr, "sdl_stage: cannot read the window's pixels for %s\n", path.c_str());
        return;
    }
    cairo_surface_t* shot = cairo_image_surface_create_for_data(
        static_cast<unsigned char*>(screen->pixels), CAIRO_FORMAT_RGB24, screen->w, screen->h,
        screen->pitch);
    if (cairo_surface_write_to_png(shot, path.c_str()) != CAIRO_STATUS_SUCCESS)
        std::fprintf(stderr, "sdl_stage: cannot write %s\n", path.c_str());
    cairo_surface_destroy(shot);
}

struct WindowDeleter
{
    void operator()(SDL_Window* window) const { SDL_DestroyWindow(window); }
};
struct SurfaceDeleter
{
    void operator()(SDL_Surface* surface) const { SDL_FreeSurface(surface); }
};

int Run(int frames, bool autopilot, const std::string& screenshot)
{
    const int width = kStageWidth * kZoom, height = kStageHeight * kZoom;
    std::unique_ptr<SDL_Window, WindowDeleter> window(
        SDL_CreateWindow("sprig: pen trails (arrows move, space pen, e erase)",
                         SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED, width, height, 0));
    // The stage's pixel words are SDL's BGRA8888.
    std::unique_ptr<SDL_Surface, SurfaceDeleter> canvas(
        SDL_CreateRGBSurfaceWithFormat(0, width, height, 32, SDL_PIXELFORMAT_BGRA8888));
    if (!window || !canvas) {
        std::fprintf(stderr, "sdl_stage: %s\n", SDL_GetError());
        return 1;
    }
    SDL_SetSurfaceBlendMode(canvas.get(), SDL_BLENDMODE_NONE);
    {
        Host host;
        bool running = true;
        for (int frame = 0; running && frame != frames; frame++) {
            SDL_Event event;
            while (SDL_PollEvent(&event)) {
                if (event.type == SDL_QUIT)
                    running = false;
                else if (event.type == SDL_KEYDOWN) {
                    const SDL_Keycode key = event.key.keysym.sym;
                    if (key == SDLK_ESCAPE || key == SDLK_q)
                        running = false;
                    else
                        host.Key(key, (event.key.keysym.mod & KMOD_SHIFT) != 0);
                }
            }
            if (autopilot)
                for (const auto& key : AutopilotKeys(frame))
                    host.Key(key.first, key.second);
            host.Tick(frame);
            std::vector<SDL_Rect> changed = host.Redraw(canvas.get());
            if (!changed.empty()) {
                SDL_Surface* screen = SDL_GetWindowSurface(window.get());
                for (SDL_Rect& r : changed)
                    SDL_BlitSurface(canvas.get(), &r, screen, &r);
                SDL_UpdateWindowSurfaceRects(window.get(), changed.data(),
                                             static_cast<int>(changed.size()));
            }
            SDL_Delay(16);
        }
    }
    if (!screenshot.empty())
        WriteScreenshot(window.get(), screenshot);
    return 0;
}

const char kUsage[] = "usage: sdl_stage [--frames N] [--autopilot] [--screenshot FILE.png]\n"
                      "\n"
                      "Shows a stage in a window. --frames N quits after N frames, --autopilot\n"
                      "walks the turtle by itself, --screenshot writes the last frame to a PNG.\n"
                      "Keys: arrows move the turtle (shift: long steps that wrap across the\n"
                      "edges), space lifts or lowers the pen, e erases, 1-4 pen size, c colour,\n"
                      "a antialiasing, s stamp, q or Esc quits.\n";

} // namespace

int main(int argc, char** argv)
{
    int frames = -1;
    bool autopilot = false;
    std::string screenshot;
    for (int i = 1; i < argc; i++) {
        if (!std::strcmp(argv[i], "--frames") && i + 1 < argc)
            frames = std::atoi(argv[++i]);
        else if (!std::strcmp(argv[i], "--autopilot"))
            autopilot = true;
        else if (!std::strcmp(argv[i], "--screenshot") && i + 1 < argc)
            screenshot = argv[++i];
        else if (!std::strcmp(argv[i], "--help") || !std::strcmp(argv[i], "-h")) {
            std::printf("%s", kUsage);
            return 0;
        } else {
            std::fprintf(stderr, "%s", kUsage);
            return 2;
        }
    }
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        std::fprintf(stderr, "sdl_stage: %s\n", SDL_GetError());
        return 1;
    }
    int status = 1;
    try {
        status = Run(frames, autopilot, screenshot);
    } catch (const sprig::Error& e) {
        std::fprintf(stderr, "sdl_stage: %s\n", e.what());
    }
    SDL_Quit();
    return status;
}
