// A windowed host: the sprite engine on a stage in an SDL2 window.
//
// The window's pixels are a cairo image surface (SDL's ARGB8888 is cairo's
// ARGB32), which the host hands to the library as a drawing context. The
// stage's view is a host view whose invalidations arrive in a callback; the
// host collects them and, once per frame, redraws exactly those areas:
// clipped to them, it presents its backdrop and background and lets
// SprUpdateControl composite the sprites over them, then copies only those
// areas to the window.
//
// Keys: arrows move the turtle with its pen down (hold shift for long
// steps, which wrap across the edges); space lifts or lowers the pen; e
// switches between painting and erasing; 1-4 set the pen size; c changes
// colour; a toggles antialiasing; s stamps; q or Esc quits.
//
// Options: --frames N (quit after N frames), --autopilot (the turtle walks
// a figure by itself, pressing the same keys), --screenshot FILE.png (the
// last frame, written on exit).
#include <SDL.h>
#include <cairo.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <sprig.h>

namespace {

constexpr int kStageWidth = 480;
constexpr int kStageHeight = 360;
constexpr int kZoom = 2;
constexpr int kViewWidth = kStageWidth * kZoom;
constexpr int kViewHeight = kStageHeight * kZoom;

enum
{
    kTipPicture = 1, // colorized: drawn in the pen's colour
    kBallPicture = 300
};

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

uint32_t* Row(GWorldPtr world, int v)
{
    PixMapHandle pm = GetGWorldPixMap(world);
    return reinterpret_cast<uint32_t*>(GetPixBaseAddr(pm) + v * GetPixRowBytes(pm));
}

GWorldPtr MakeWorld(int width, int height)
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, static_cast<int16_t>(width), static_cast<int16_t>(height));
    if (NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0) != noErr) {
        std::fprintf(stderr, "sdl_stage: cannot make a %d x %d world\n", width, height);
        std::exit(1);
    }
    return world;
}

// A round picture of the given radius with a soft edge, packed and
// registered: black for a colorized picture, else shaded orange.
void RegisterDisc(int32_t number, int radius, bool black)
{
    const int size = 2 * radius + 1;
    GWorldPtr world = MakeWorld(size, size);
    for (int y = 0; y < size; y++)
        for (int x = 0; x < size; x++) {
            const double d = std::hypot(x - radius, y - radius);
            const double a = std::fmin(1.0, std::fmax(0.0, radius - d + 0.5));
            const double light =
                std::fmax(0.0, 1 - std::hypot(x - radius * 0.6, y - radius * 0.6) / size);
            Row(world, y)[x] = black ? Word(0, 0, 0, static_cast<uint32_t>(255 * a))
                                     : Word(255, static_cast<uint32_t>(120 + 120 * light),
                                            static_cast<uint32_t>(40 + 150 * light),
                                            static_cast<uint32_t>(255 * a));
        }
    uint32_t* packed = Compress(world, 0, 0, size, size, false);
    PictureRecord record = {size, size, packed[0], packed};
    SetCompressedImage(number, reinterpret_cast<char*>(&record));
    std::free(packed);
    DisposeGWorld(world);
}

// The areas of the view invalidated since the last redraw.
struct Damage
{
    std::vector<SDL_Rect> rects;
};

void Invalidate(void* info, const CGRect* r)
{
    auto* damage = static_cast<Damage*>(info);
    SDL_Rect rect = {static_cast<int>(r->origin.x), static_cast<int>(r->origin.y),
                     static_cast<int>(r->size.width), static_cast<int>(r->size.height)};
    SDL_Rect whole = {0, 0, kViewWidth, kViewHeight};
    if (SDL_IntersectRect(&rect, &whole, &rect))
        damage->rects.push_back(rect);
}

class Host
{
  public:
    Host()
    {
        mBackdrop = MakeWorld(kStageWidth, kStageHeight);
        mBackground = MakeWorld(kStageWidth, kStageHeight);
        mSprites = MakeWorld(kStageWidth, kStageHeight);
        mBigBackdrop = MakeWorld(kViewWidth, kViewHeight);
        mBigBackground = MakeWorld(kViewWidth, kViewHeight);
        // Squared paper.
        for (int y = 0; y < kStageHeight; y++)
            for (int x = 0; x < kStageWidth; x++)
                Row(mBackdrop, y)[x] = (x % 20 == 0 || y % 20 == 0) ? Word(214, 226, 240, 255)
                                                                    : Word(248, 250, 255, 255);
        Enlarge(mBackdrop, mBigBackdrop);

        CImage::Init();
        RegisterDisc(kTipPicture, 5, true);
        RegisterDisc(kBallPicture, 14, false);

        Rect bounds;
        SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
        mList = SprInitSprites(mBackdrop, mBackground, mSprites, &bounds);
        SprSetFactor(mList, kZoom);
        mView = HIViewCreateForHost(kViewWidth, kViewHeight, Invalidate, &mDamage);

        mBall = SprNewSprite(mList, 2);
        SprSetImage(mBall, kBallPicture, 0);
        SprShow(mBall, 1);
        mTurtle = SprNewSprite(mList, 1);
        SprSetImage(mTurtle, kTipPicture, 0);
        Place(mTurtle, kStageWidth / 2.0, kStageHeight / 2.0);
        SprSetPenMode(mTurtle, 1);
        SprSetPenSize(mTurtle, 2);
        SetColour(0);
        SprShow(mTurtle, 1);
    }

    ~Host()
    {
        SprDeleteList(mList);
        HIViewRelease(mView);
        for (GWorldPtr w : {mBackdrop, mBackground, mSprites, mBigBackdrop, mBigBackground})
            DisposeGWorld(w);
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
            SprSetPenMode(mTurtle, PenMode());
            break;
        case SDLK_e:
            mErasing = !mErasing;
            SprSetPenMode(mTurtle, PenMode());
            break;
        case SDLK_1:
        case SDLK_2:
        case SDLK_3:
        case SDLK_4:
            SprSetPenSize(mTurtle, static_cast<short>(key - SDLK_0));
            break;
        case SDLK_c:
            SetColour(mColour + 1);
            break;
        case SDLK_a:
            mAntialias = !mAntialias;
            break;
        case SDLK_s:
            SprStamp(mTurtle);
            break;
        default:
            break;
        }
    }

    // Moves the ball on: it pulses in opacity and grows while it touches
    // the turtle. SprUpdate turns the changes into invalidations.
    void Tick(int frame)
    {
        mBallX += mBallDX;
        mBallY += mBallDY;
        if (mBallX < 14 || mBallX > kStageWidth - 14)
            mBallDX = -mBallDX;
        if (mBallY < 14 || mBallY > kStageHeight - 14)
            mBallDY = -mBallDY;
        Place(mBall, mBallX, mBallY);
        SprSetSize(mBall, SprCollision(mBall, mTurtle) == 1 ? 60 : 40);
        SprSetOpacity(mBall, static_cast<short>(160 + 95 * std::sin(frame * 0.05)));
        SprUpdate(mList, mView); // invalidations arrive in Invalidate
    }

    // Redraws the damaged areas into the canvas; returns them.
    std::vector<SDL_Rect> Redraw(cairo_t* cr)
    {
        std::vector<SDL_Rect> rects;
        rects.swap(mDamage.rects);
        HIViewClearInvalidRects(mView); // the host view's own record
        if (rects.empty())
            return rects;
        Enlarge(mBackground, mBigBackground);
        RgnHandle area = NewRgn();
        RgnHandle one = NewRgn();
        cairo_save(cr);
        for (const SDL_Rect& r : rects) {
            cairo_rectangle(cr, r.x, r.y, r.w, r.h);
            SetRectRgn(one, static_cast<int16_t>(r.x), static_cast<int16_t>(r.y),
                       static_cast<int16_t>(r.x + r.w), static_cast<int16_t>(r.y + r.h));
            UnionRgn(area, one, area);
        }
        cairo_clip(cr);
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        EventRef event = CreateDrawEvent(area);
        DrawOffscreenToHIView(mBigBackdrop, context, mView, kCGImageAlphaFirst);
        DrawOffscreenToHIView(mBigBackground, context, mView, kCGImageAlphaFirst);
        SprUpdateControl(mList, context, mView, event);
        ReleaseEvent(event);
        CGContextRelease(context);
        cairo_restore(cr);
        DisposeRgn(one);
        DisposeRgn(area);
        return rects;
    }

  private:
    short PenMode() const { return mPenDown ? (mErasing ? 2 : 1) : 0; }

    // The eraser walks without antialiasing: every pixel it covers is
    // exactly its marker and so is wiped clean (an antialiased edge would
    // leave faint blends of the marker behind).
    void Walk(double dx, double dy)
    {
        if (mAntialias && !mErasing) {
            double x = *SprGetX(mTurtle) + dx;
            double y = *SprGetY(mTurtle) + dy;
            SprSetPosPaint(mTurtle, &x, &y, 0, nullptr, 1);
        } else {
            SprMove(mTurtle, &dx, &dy);
        }
    }

    void SetColour(int index)
    {
        static const RGBColor colours[] = {{0x2020, 0x4040, 0xC0C0},
                                           {0xD0D0, 0x3030, 0x3030},
                                           {0x2020, 0x9090, 0x4040},
                                           {0x9090, 0x3030, 0xB0B0}};
        mColour = index % 4;
        const RGBColor& c = colours[mColour];
        SprSetPenColor(mTurtle, c.red, c.green, c.blue);
    }

    static void Place(CSprite* sprite, double x, double y) { SprSetPos(sprite, &x, &y); }

    // Pixel replication, as the stage enlarges its sprites.
    static void Enlarge(GWorldPtr from, GWorldPtr to)
    {
        Rect a, b;
        GetPortBounds(from, &a);
        GetPortBounds(to, &b);
        CopyBits(GetPortBitMapForCopyBits(from), GetPortBitMapForCopyBits(to), &a, &b, srcCopy,
                 nullptr);
    }

    GWorldPtr mBackdrop, mBackground, mSprites, mBigBackdrop, mBigBackground;
    CSpriteList* mList;
    HIViewRef mView;
    Damage mDamage;
    CSprite* mTurtle;
    CSprite* mBall;
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
        else {
            std::fprintf(stderr,
                         "usage: sdl_stage [--frames N] [--autopilot] [--screenshot FILE.png]\n");
            return 2;
        }
    }
    if (SDL_Init(SDL_INIT_VIDEO) != 0) {
        std::fprintf(stderr, "sdl_stage: %s\n", SDL_GetError());
        return 1;
    }
    SDL_Window* window = SDL_CreateWindow("sprig: pen trails (arrows move, space pen, e erase)",
                                          SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                                          kViewWidth, kViewHeight, 0);
    SDL_Surface* canvas =
        SDL_CreateRGBSurfaceWithFormat(0, kViewWidth, kViewHeight, 32, SDL_PIXELFORMAT_ARGB8888);
    if (!window || !canvas) {
        std::fprintf(stderr, "sdl_stage: %s\n", SDL_GetError());
        SDL_Quit();
        return 1;
    }
    cairo_surface_t* surface = cairo_image_surface_create_for_data(
        static_cast<unsigned char*>(canvas->pixels), CAIRO_FORMAT_ARGB32, kViewWidth, kViewHeight,
        canvas->pitch);
    cairo_t* cr = cairo_create(surface);

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
            const std::vector<SDL_Rect> damage = host.Redraw(cr);
            if (!damage.empty()) {
                cairo_surface_flush(surface);
                SDL_Surface* screen = SDL_GetWindowSurface(window);
                for (SDL_Rect r : damage)
                    SDL_BlitSurface(canvas, &r, screen, &r);
                SDL_UpdateWindowSurfaceRects(window, damage.data(),
                                             static_cast<int>(damage.size()));
            }
            SDL_Delay(16);
        }
    }
    if (!screenshot.empty()) {
        // What the window shows, read back from its surface when its pixels
        // are 32-bit words cairo can read; else the canvas behind it.
        SDL_Surface* screen = SDL_GetWindowSurface(window);
        cairo_surface_t* shot = surface;
        if (screen && (screen->format->format == SDL_PIXELFORMAT_RGB888 ||
                       screen->format->format == SDL_PIXELFORMAT_ARGB8888))
            shot = cairo_image_surface_create_for_data(static_cast<unsigned char*>(screen->pixels),
                                                       CAIRO_FORMAT_RGB24, screen->w, screen->h,
                                                       screen->pitch);
        cairo_surface_flush(surface);
        if (cairo_surface_write_to_png(shot, screenshot.c_str()) != CAIRO_STATUS_SUCCESS)
            std::fprintf(stderr, "sdl_stage: cannot write %s\n", screenshot.c_str());
        if (shot != surface)
            cairo_surface_destroy(shot);
    }
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    SDL_FreeSurface(canvas);
    SDL_DestroyWindow(window);
    SDL_Quit();
    return 0;
}
