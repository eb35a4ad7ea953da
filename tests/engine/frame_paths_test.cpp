// The fast frame paths against the plain procedure, frame after frame: the
// stage clears only what it drew before and hands the host only the clipped
// part of its sprites; a twin stage run through the same seeded calls clears
// its whole sprite surface, composites every sprite that meets the area and
// hands its whole surface on through cairo's own drawing (a fresh
// premultiplied copy). Host pixels and sprite surfaces must agree word for
// word after every frame.
#include <cairo.h>

#include <cstring>
#include <random>

#include "platform/cg_context_p.h"
#include "tests/engine/stage_fixture.h"
#include "tests/platform/cg_fixture.h"

namespace {

constexpr int kW = 62; // rows of 248 bytes padded to 256
constexpr int kH = 45;
constexpr int kPictures = 4;

// Four pictures, the first a colorized one (tinted with the pen colour) when
// `tinted`.
int32_t PictureNumber(int k, bool tinted)
{
    return tinted && k == 0 ? 7 : 700 + k;
}

enum class Host
{
    kCairo,     // a host's image surface through CGContextCreateWithCairo
    kOffscreen, // an offscreen view's world
    kContext    // UpdateContext into a context on a world
};

// Where UpdateContext draws: x and y in thousandths, and the size. From 1000
// units up the sprites are tested against (0, 0, width, height); below, the
// origin counts too. Place 0 is the enlarged stage's size.
struct Place
{
    int32_t x, y, width, height;
};
const Place kPlaces[] = {{3000, 2000, 0, 0},    {0, 0, 60, 45},         {999, 500, 25, 12},
                         {12500, 3000, 80, 50}, {-4000, -2000, 30, 20}, {0, 0, 190, 140}};

// One call a host makes between frames, applied alike to both stages.
struct Step
{
    enum Kind
    {
        kMove,
        kShow,
        kHide,
        kDelete,
        kAppear,
        kLook,     // size, opacity and frame
        kScribble, // the library writes into the sprite surface
        kNewSurface
    } kind;
    int index;
    double x, y;
    int a, b, c;
};

struct SurfaceDeleter
{
    void operator()(cairo_surface_t* s) const { cairo_surface_destroy(s); }
};

class FrameStage
{
  public:
    // `wider` widens the view past the enlarged stage (boxes are handed on
    // only to a view of the enlarged stage's size).
    FrameStage(Host host, uint32_t factor, unsigned seed, int wider, bool tinted = false)
        : sprites(MakeWorld(kW, kH)), mTinted(tinted), mHost(host),
          mFactor(static_cast<int>(factor)), mViewW(kW * mFactor + wider),
          backdrop(MakeWorld(kW, kH)), background(MakeWorld(kW, kH))
    {
        Rect bounds = R(0, 0, kW, kH);
        list.reset(new CSpriteList(backdrop.get(), background.get(), sprites.get(), &bounds));
        list->SetFactor(factor);
        const int vh = kH * mFactor;
        if (host == Host::kCairo) {
            mSurface.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, mViewW, vh));
            view.reset(HIViewCreateForHost(mViewW, vh, nullptr, nullptr));
            std::mt19937 random(seed);
            auto* data = reinterpret_cast<uint32_t*>(cairo_image_surface_get_data(mSurface.get()));
            for (int i = 0; i < mViewW * vh; i++)
                data[i] = random();
            cairo_surface_mark_dirty(mSurface.get());
        } else {
            view.reset(HIViewCreateOffscreen(mViewW, vh));
            FillNumbered(HIViewGetGWorld(view.get()), seed);
        }
        mTarget = MakeWorld(kW * 3 + 9, kH * 3 + 5);
        FillNumbered(mTarget.get(), seed);
    }

    void Apply(const Step& s)
    {
        if (s.kind == Step::kAppear) {
            CSprite* sprite = SprNewSprite(list.get(), static_cast<int32_t>(mSprites.size() + 1));
            SprSetImage(sprite, PictureNumber(s.a, mTinted), 0);
            SprSetPenColor(sprite, 0x1200, 0xFF00, 0x3400);
            SprSetPos(sprite, &s.x, &s.y);
            SprSetFrame(sprite, static_cast<short>(s.c));
            SprShow(sprite, 1);
            mSprites.push_back(sprite);
            return;
        }
        if (s.kind == Step::kScribble) {
            Scribble(s.a);
            return;
        }
        if (s.kind == Step::kNewSurface) {
            sprites = MakeWorld(kW, kH);
            FillNumbered(sprites.get(), static_cast<uint32_t>(s.a));
            Rect bounds = R(0, 0, kW, kH);
            SprReInitSprites(list.get(), backdrop.get(), background.get(), sprites.get(), &bounds);
            return;
        }
        if (mSprites.empty())
            return;
        CSprite*& sprite = mSprites[static_cast<size_t>(s.index) % mSprites.size()];
        if (!sprite)
            return;
        switch (s.kind) {
        case Step::kMove:
            SprSetPos(sprite, &s.x, &s.y);
            break;
        case Step::kShow:
        case Step::kHide:
            SprShow(sprite, s.kind == Step::kShow);
            break;
        case Step::kDelete:
            SprDeleteSprite(sprite);
            sprite = nullptr;
            break;
        case Step::kLook:
            SprSetSize(sprite, static_cast<short>(s.a));
            SprSetOpacity(sprite, static_cast<short>(s.b));
            SprSetFrame(sprite, static_cast<short>(s.c));
            break;
        default:
            break;
        }
    }

    // The invalidated rectangles (the whole view when `whole`), in view
    // coordinates.
    std::vector<Rect> Damage(bool whole)
    {
        SprUpdate(list.get(), view.get());
        std::vector<Rect> damage = Invalidated(view.get());
        HIViewClearInvalidRects(view.get());
        if (whole)
            damage = {R(0, 0, kW * mFactor, kH * mFactor)};
        return damage;
    }

    // The frame the library's way; an event without a region when `none`.
    // A nudge moves the first damage rectangle of the host's clip by a
    // fraction of a pixel.
    void DrawFast(const std::vector<Rect>& damage, bool none, const Place& p, double nudge = 0)
    {
        if (mHost == Host::kContext) {
            InContext(mTarget.get(), [&](CGContextRef context) {
                list->UpdateContext(context, p.x, p.y, Width(p), Height(p));
            });
            return;
        }
        RgnHandle area = none ? nullptr : RegionOf(damage);
        EventRef event = CreateDrawEvent(area);
        WithContext(
            damage,
            [&](CGContextRef context) { SprUpdateControl(list.get(), context, view.get(), event); },
            nudge);
        ReleaseEvent(event);
        DisposeRgn(area);
    }

    // The frame the plain way: the sprites meeting the area (the stage's
    // own bounds, unscaled, for an event without a region) handed on whole
    // through cairo's own drawing.
    void DrawPlain(const std::vector<Rect>& damage, bool none, const Place& p, double nudge = 0)
    {
        RgnHandle area = RegionOf(damage), spriteArea = NewRgn();
        const Rect clip =
            mHost == Host::kContext
                ? R(p.x >= 1000 ? 0 : p.x / 1000, p.y >= 1000 ? 0 : p.y / 1000, Width(p), Height(p))
                : R(0, 0, kW, kH);
        World enlarged;
        GWorldPtr surface = PlainSurface(
            *list,
            [&](const Rect& r) {
                Rect overlap;
                if (mHost == Host::kContext || none)
                    return SectRect(&r, &clip, &overlap) != 0;
                RectRgn(spriteArea, &r);
                SectRgn(spriteArea, area, spriteArea);
                return !EmptyRgn(spriteArea);
            },
            enlarged);
        DisposeRgn(spriteArea);
        DisposeRgn(area);
        if (!surface)
            return;
        SetPlatformDrawing(false);
        if (mHost == Host::kContext) {
            InContext(mTarget.get(), [&](CGContextRef context) {
                DrawOffscreenToContext(surface, context, p.x, p.y, Width(p), Height(p),
                                       kCGImageAlphaFirst);
            });
        } else {
            WithContext(
                damage,
                [&](CGContextRef context) {
                    DrawOffscreenToHIView(surface, context, view.get(), kCGImageAlphaFirst);
                },
                nudge);
        }
        SetPlatformDrawing(true);
    }

    // The first difference from another stage's host pixels, or "" when there
    // is none.
    std::string HostDifference(const FrameStage& other) const
    {
        if (mHost == Host::kCairo) {
            cairo_surface_flush(mSurface.get());
            cairo_surface_flush(other.mSurface.get());
            const size_t bytes = 4 * static_cast<size_t>(mViewW * kH * mFactor);
            if (std::memcmp(cairo_image_surface_get_data(mSurface.get()),
                            cairo_image_surface_get_data(other.mSurface.get()), bytes) != 0)
                return "the host's surface";
        } else {
            const std::string host =
                mHost == Host::kContext
                    ? Mismatch(mTarget.get(), other.mTarget.get())
                    : Mismatch(HIViewGetGWorld(view.get()), HIViewGetGWorld(other.view.get()));
            if (!host.empty())
                return "host: " + host;
        }
        return "";
    }

    // The sprite surface's bytes, padding included, read through `base`
    // (the surface's own address when null).
    std::string SurfaceBytes(const uint8_t* base = nullptr) const
    {
        PixMapHandle pm = GetGWorldPixMap(sprites.get());
        base = base ? base : reinterpret_cast<const uint8_t*>(GetPixBaseAddr(pm));
        return std::string(reinterpret_cast<const char*>(base), GetPixRowBytes(pm) * size_t{kH});
    }

    World sprites;

  private:
    int32_t Width(const Place& p) const { return p.width ? p.width : kW * mFactor; }
    int32_t Height(const Place& p) const { return p.height ? p.height : kH * mFactor; }

    // A draw handler's context: the host's cairo_t clipped to the damage,
    // or the offscreen view's own context.
    template <typename Draw>
    void WithContext(const std::vector<Rect>& damage, Draw draw, double nudge = 0)
    {
        if (mHost == Host::kOffscreen) {
            CGContextRef context = HIViewCreateDrawContext(view.get());
            draw(context);
            CGContextRelease(context);
            return;
        }
        cairo_t* cr = cairo_create(mSurface.get());
        for (const Rect& r : damage)
            cairo_rectangle(cr, r.left + (&r == damage.data() ? nudge : 0), r.top, r.right - r.left,
                            r.bottom - r.top);
        cairo_clip(cr);
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        draw(context);
        CGContextRelease(context);
        cairo_destroy(cr);
    }

    // Writes into the sprite surface through one of the library's ways.
    void Scribble(int how)
    {
        Rect r = R(5 + how, 3, 30 + how, 20);
        if (how % 3 == 0) {
            FillOffscreen(sprites.get(), Word(10, 200, 30, 90));
        } else if (how % 3 == 1) {
            World source = MakeWorld(kW, kH);
            FillNumbered(source.get(), static_cast<uint32_t>(how));
            CopyBits(GetPortBitMapForCopyBits(source.get()),
                     GetPortBitMapForCopyBits(sprites.get()), &r, &r, srcCopy, nullptr);
        } else {
            AltCGFrameRect(sprites.get(), &r, 0xFFFF, 0, 0, 255, 3, false);
        }
    }

    bool mTinted;
    Host mHost;
    int mFactor, mViewW;
    World backdrop, background, mTarget;
    std::unique_ptr<CSpriteList> list;
    View view;
    std::unique_ptr<cairo_surface_t, SurfaceDeleter> mSurface;
    std::vector<CSprite*> mSprites;
};

// Picture k, a quarter of its pixels black (tinted in the colorized one).
void RegisterPicture(std::mt19937& random, int k, bool tinted)
{
    const int width = 3 + static_cast<int>(random() % 18);
    const int height = 3 + static_cast<int>(random() % 14);
    std::vector<uint32_t> pixels;
    for (int i = 0; i < width * height; i++)
        pixels.push_back((random() % 4 ? random() & 0xFFFFFF00u : 0) | RandomAlpha(random, k));
    Register(PictureNumber(k, tinted), pixels, width);
}

void RegisterPictures(unsigned seed, bool tinted = false)
{
    std::mt19937 random(seed);
    for (int k = 0; k < kPictures; k++)
        RegisterPicture(random, k, tinted);
}

// A frame's calls: mostly moves, now and then any other. The first frame
// brings the sprites: a few, or many (more than a draw keeps boxes of one
// by one).
std::vector<Step> RandomSteps(std::mt19937& random, bool first, bool many)
{
    std::vector<Step> steps;
    const auto place = [&random](int range) {
        return static_cast<double>(static_cast<int>(random() % (range + 30))) - 15;
    };
    const int count = first ? (many ? 45 : 10) : 1 + static_cast<int>(random() % 4);
    for (int i = 0; i < count; i++) {
        Step s{};
        s.index = static_cast<int>(random() % 64);
        s.x = place(kW);
        s.y = place(kH);
        const unsigned pick = first ? 99 : random() % 40;
        s.kind = pick < 20   ? Step::kMove
                 : pick < 23 ? Step::kShow
                 : pick < 26 ? Step::kHide
                 : pick < 28 ? Step::kDelete
                 : pick < 33 ? Step::kLook
                 : pick < 35 ? Step::kScribble
                 : pick < 36 ? Step::kNewSurface
                             : Step::kAppear;
        s.a = s.kind == Step::kLook
                  ? std::initializer_list<int>{20, 40, 70, 80, 120}.begin()[random() % 5]
                  : static_cast<int>(random() % kPictures);
        s.b = random() % 3 == 0 ? 140 : 255;
        s.c = static_cast<int>(random() % 3);
        steps.push_back(s);
    }
    return steps;
}

using FramePaths = Stage;

// Sequences of frames where sprites move, appear, hide, change and are
// deleted, and where the library writes into the sprite surface or the
// host swaps it between frames; at zoom factors 1 to 3, for each way a host
// draws, into views of the enlarged stage's size and wider, with events
// with and without a region and contexts at several places. The last way is
// a host's cairo surface whose clip is now and then a fraction of a pixel off
// and whose sprite surface is looked at only now and then: the sprites reach
// it at once only where the host's surface reads it, the rest when something
// looks at the surface, in one of the ways a host or the library reaches the
// pixels.
TEST_F(FramePaths, FrameSequencesGiveThePlainProcedure)
{
    for (int way = 0; way < 4; way++)
        for (uint32_t factor : {1u, 2u, 3u})
            for (unsigned seed = 1; seed <= (way == 3 ? 6u : 4u); seed++) {
                const bool putOff = way == 3;
                if (putOff && factor > 1)
                    break;
                const Host host = putOff ? Host::kCairo : static_cast<Host>(way);
                RegisterPictures(seed, putOff);
                const int wider = host != Host::kContext && !putOff && seed > 2 ? 7 : 0;
                FrameStage fast(host, factor, seed, wider, putOff),
                    plain(host, factor, seed, wider, putOff);
                std::mt19937 random(putOff ? seed : seed * 7919 + factor);
                for (int frame = 0; frame < (putOff ? 40 : 24); frame++) {
                    SCOPED_TRACE(testing::Message() << "way " << way << ", factor " << factor
                                                    << ", seed " << seed << ", frame " << frame);
                    for (const Step& s : RandomSteps(random, frame == 0, seed % 2 == 0)) {
                        fast.Apply(s);
                        plain.Apply(s);
                    }
                    const bool whole = !putOff && frame % 5 == 0, none = whole && frame % 10 == 5;
                    const Place& place = kPlaces[(frame + seed) % 6];
                    const std::vector<Rect> damage = fast.Damage(whole);
                    ASSERT_EQ(plain.Damage(whole), damage);
                    const double nudge = putOff && !damage.empty() && random() % 8 == 0 ? 0.5 : 0;
                    const unsigned look = putOff ? random() % 10 : 0;
                    PixMapHandle pm = GetGWorldPixMap(fast.sprites.get());
                    if (look == 4) // the host holds a lock over the frame and reads the memory
                        LockPixels(pm);
                    const auto* held = reinterpret_cast<const uint8_t*>(pm[0]->baseAddr);
                    fast.DrawFast(damage, none, place, nudge);
                    plain.DrawPlain(damage, none, place, nudge);
                    ASSERT_EQ(fast.HostDifference(plain), "");

                    const std::string expected = plain.SurfaceBytes();
                    if (look == 0) {
                        ASSERT_EQ(fast.SurfaceBytes(), expected);
                    } else if (look == 1 || look == 4) {
                        if (look == 1)
                            LockPixels(pm);
                        EXPECT_EQ(fast.SurfaceBytes(held), expected);
                        UnlockPixels(pm);
                    } else if (look == 2) {
                        World copy = MakeWorld(kW, kH);
                        Rect all = R(0, 0, kW, kH);
                        CopyBits(GetPortBitMapForCopyBits(fast.sprites.get()),
                                 GetPortBitMapForCopyBits(copy.get()), &all, &all, srcCopy,
                                 nullptr);
                        EXPECT_EQ(Mismatch(copy.get(), plain.sprites.get()), "");
                    } else if (look == 3) {
                        // A picture the frame drew is replaced: the surface shows the old one.
                        RegisterPicture(random, static_cast<int>(random() % kPictures), true);
                        EXPECT_EQ(fast.SurfaceBytes(held), expected);
                    }
                }
            }
}

// A host's cairo surface drawn on directly must end as cairo's own drawing
// leaves it, whatever the image's layout, the clip and the place: clips of
// whole pixels and otherwise, places between pixels, scaled images, a
// translated surface and other surface formats (where cairo draws).
TEST_F(FramePaths, ImagesOverAHostsSurfaceGiveCairosPixels)
{
    constexpr int kSize = 40;
    struct Case
    {
        uint32_t alphaInfo;
        double x, y, w; // the image's place and width, y down from the top
        int clip;       // 0 none, 1 two rectangles, 2 a disc, 3 half pixels
        double dx;      // the host's own translation
        cairo_format_t format;
        double offset; // the surface's device offset
    };
    const uint32_t kFirst = kCGImageAlphaFirst;
    const cairo_format_t kARGB = CAIRO_FORMAT_ARGB32;
    const Case cases[] = {
        {kFirst, 3, 4, 23, 0, 0, kARGB, 0},
        {kFirst, -5, -6, 23, 1, 0, kARGB, 0},
        {kFirst, 30, 30, 23, 1, 2, kARGB, 0},
        {kFirst, 3, 4, 23, 2, 0, kARGB, 0},
        {kFirst, 3, 4, 23, 3, 0, kARGB, 0},
        {kFirst, 3.5, 4, 23, 1, 0, kARGB, 0},
        {kFirst, 3, 4, 30, 1, 0, kARGB, 0},
        {kFirst, 3, 4, 23, 1, 0.5, kARGB, 0},
        {kFirst, 3, 4, 23, 1, 0, CAIRO_FORMAT_RGB24, 0},
        {kFirst, 3, 4, 23, 1, 0, kARGB, 3},
        {kCGImageAlphaLast, 3, 4, 23, 1, 0, kARGB, 0},
        {kCGImageAlphaPremultipliedFirst, 3, 4, 23, 1, 0, kARGB, 0},
        {kCGImageAlphaNoneSkipFirst, 3, 4, 23, 1, 0, kARGB, 0},
    };
    constexpr int kImageW = 23, kImageH = 17, kRow = 4 * kImageW + 8;
    for (unsigned seed = 1; seed <= 3; seed++)
        for (const Case& c : cases) {
            SCOPED_TRACE(testing::Message()
                         << "seed " << seed << ", alpha " << c.alphaInfo << ", at " << c.x << ", "
                         << c.y << ", clip " << c.clip << ", format " << c.format);
            std::mt19937 random(seed);
            std::vector<uint8_t> image(static_cast<size_t>(kRow * kImageH));
            for (uint8_t& byte : image)
                byte = static_cast<uint8_t>(random());
            const int alphaByte = c.alphaInfo == kCGImageAlphaLast ? 3 : 0;
            for (int v = 0; v < kImageH; v++)
                for (int h = 0; h < kImageW; h++)
                    image[static_cast<size_t>(v * kRow + 4 * h + alphaByte)] =
                        static_cast<uint8_t>(RandomAlpha(random, (h / 4 + v) % 4));
            std::vector<uint32_t> start(kSize * kSize);
            for (uint32_t& w : start)
                w = random();
            std::vector<uint32_t> results[2];
            for (int fast = 0; fast < 2; fast++) {
                cairo_surface_t* surface = cairo_image_surface_create(c.format, kSize, kSize);
                std::memcpy(cairo_image_surface_get_data(surface), start.data(), 4 * start.size());
                cairo_surface_mark_dirty(surface);
                cairo_surface_set_device_offset(surface, c.offset, c.offset);
                cairo_t* cr = cairo_create(surface);
                cairo_translate(cr, c.dx, c.dx);
                if (c.clip == 1) {
                    cairo_rectangle(cr, 2, 2, 20, 12);
                    cairo_rectangle(cr, 10, 8, 25, 25);
                } else if (c.clip == 2) {
                    cairo_arc(cr, 20, 20, 13, 0, 6.3);
                } else if (c.clip == 3) {
                    cairo_rectangle(cr, 2.5, 2, 20, 12.5);
                }
                if (c.clip)
                    cairo_clip(cr);
                CGContextRef context = CGContextCreateWithCairo(cr, 0);
                ImageOver picture(image.data(), kImageW, kImageH, kRow, c.alphaInfo);
                ASSERT_NE(picture.image, nullptr);
                const HIRect place = CGRectMake(c.x, c.y, c.w, kImageH);
                SetPlatformDrawing(fast == 1);
                HIViewDrawCGImage(context, &place, picture.image);
                SetPlatformDrawing(true);
                CGContextRelease(context);
                cairo_destroy(cr);
                cairo_surface_flush(surface);
                const auto* data =
                    reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(surface));
                results[fast].assign(data, data + kSize * kSize);
                cairo_surface_destroy(surface);
            }
            EXPECT_NE(results[0], start); // something was drawn
            ASSERT_EQ(results[1], results[0]);
        }
}

} // namespace
