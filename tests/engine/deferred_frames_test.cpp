// Frames whose sprites reach the sprite surface at once only where the
// host's clipped cairo surface reads it, the rest when something looks at
// the surface: runs of frames drawn without a look, then a look by one of
// the ways a host or the library reaches the pixels, against a twin stage
// drawn the plain way (surface cleared, each sprite that meets the area
// composited whole, the whole surface handed on through cairo itself).
#include <cairo.h>

#include <cstring>
#include <random>

#include "platform/cg_context_p.h"
#include "tests/engine/stage_fixture.h"

namespace {

constexpr int kW = 90; // rows of 360 bytes padded to 368
constexpr int kH = 70;
// A colorized picture (tinted with the pen colour) and three plain ones.
constexpr int32_t kPictures[] = {7, 900, 901, 902};

void RegisterRandom(int32_t number, std::mt19937& random)
{
    const int w = 3 + static_cast<int>(random() % 24), h = 3 + static_cast<int>(random() % 20);
    std::vector<uint32_t> pixels;
    for (int i = 0; i < w * h; i++)
        pixels.push_back((i / 5) % 3 ? RandomAlpha(random, 3) | (random() % 4 ? random() << 8 : 0)
                                     : Word(9, 99, 200, 255));
    Register(number, pixels, w);
}

struct Twin
{
    Twin()
        : backdrop(MakeWorld(kW, kH)), background(MakeWorld(kW, kH)), sprites(MakeWorld(kW, kH)),
          host(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kW, kH))
    {
        Rect bounds = R(0, 0, kW, kH);
        list = SprInitSprites(backdrop.get(), background.get(), sprites.get(), &bounds);
    }
    ~Twin()
    {
        SprDeleteList(list);
        cairo_surface_destroy(host);
    }

    // A draw handler's cairo_t, clipped to the damage.
    template <class Draw>
    void Drawing(const std::vector<HIRect>& damage, Draw draw)
    {
        cairo_t* cr = cairo_create(host);
        for (const HIRect& r : damage)
            cairo_rectangle(cr, r.origin.x, r.origin.y, r.size.width, r.size.height);
        cairo_clip(cr);
        CGContextRef context = CGContextCreateWithCairo(cr, 0);
        draw(context);
        CGContextRelease(context);
        cairo_destroy(cr);
    }

    World backdrop, background, sprites;
    cairo_surface_t* host;
    CSpriteList* list;
};

std::string Bytes(const uint8_t* base)
{
    return std::string(reinterpret_cast<const char*>(base), 368 * kH);
}

std::string Bytes(GWorldPtr world)
{
    return Bytes(reinterpret_cast<const uint8_t*>(GetPixBaseAddr(GetGWorldPixMap(world))));
}

std::string HostBytes(cairo_surface_t* s)
{
    cairo_surface_flush(s);
    return std::string(reinterpret_cast<const char*>(cairo_image_surface_get_data(s)),
                       static_cast<size_t>(cairo_image_surface_get_stride(s)) * kH);
}

TEST(DeferredFrames, SurfaceAndHostMatchThePlainWayWheneverLookedAt)
{
    for (unsigned seed = 1; seed <= 6; seed++) {
        std::mt19937 random(seed);
        ClearAllImages();
        for (int32_t number : kPictures)
            RegisterRandom(number, random);
        Twin fast, plain;
        View view(HIViewCreateForHost(kW, kH, nullptr, nullptr));
        std::vector<CSprite*> sprites[2];
        const int count = seed % 2 ? 12 : 60; // few boxes, or cells
        for (int i = 0; i < count; i++)
            for (Twin* t : {&fast, &plain}) {
                CSprite* s = SprNewSprite(t->list, i + 1);
                SprSetImage(s, kPictures[i % 4], 0);
                SprSetPenColor(s, 0x1200, 0xFF00, 0x3400);
                SprShow(s, 1);
                sprites[t == &plain].push_back(s);
            }
        for (int frame = 0; frame < 40; frame++) {
            SCOPED_TRACE(testing::Message() << "seed " << seed << ", frame " << frame);
            for (int k = frame ? static_cast<int>(random() % 4) : count; k >= 0; k--) {
                const size_t i = random() % static_cast<size_t>(count);
                const double x = static_cast<int>(random() % (kW + 20)) - 10.0;
                const double y = static_cast<int>(random() % (kH + 20)) - 10.0;
                const unsigned look = random() % 16;
                for (std::vector<CSprite*>& twin : sprites) {
                    SprSetPos(twin[i], &x, &y);
                    if (look < 3)
                        SprSetSize(twin[i], static_cast<short>(20 + 30 * look));
                    if (look == 3 || look == 4)
                        SprSetOpacity(twin[i], look == 3 ? 90 : 255);
                    if (look == 5 || look == 6)
                        SprSetFrame(twin[i], look == 5 ? 1 : 0);
                    if (look == 7 || look == 8)
                        SprShow(twin[i], look == 8);
                }
            }
            SprUpdate(fast.list, view.get());
            plain.list->InitRedisplayRects();
            std::vector<HIRect> damage;
            RgnHandle area = NewRgn(), one = NewRgn();
            for (int32_t k = 0; k < HIViewCountInvalidRects(view.get()); k++) {
                damage.emplace_back();
                HIViewGetInvalidRect(view.get(), k, &damage.back());
                const HIRect& r = damage.back();
                SetRectRgn(one, static_cast<int16_t>(r.origin.x), static_cast<int16_t>(r.origin.y),
                           static_cast<int16_t>(r.origin.x + r.size.width),
                           static_cast<int16_t>(r.origin.y + r.size.height));
                UnionRgn(area, one, area);
            }
            DisposeRgn(one);
            HIViewClearInvalidRects(view.get());
            if (!damage.empty() && random() % 8 == 0)
                damage[0].origin.x += 0.5; // a clip of half pixels goes through cairo
            const unsigned look = random() % 10;
            PixMapHandle pm = GetGWorldPixMap(fast.sprites.get());
            if (look == 4) // the host holds a lock over the frame and reads the memory
                LockPixels(pm);
            const auto* held = reinterpret_cast<const uint8_t*>(pm[0]->baseAddr);
            EventRef event = CreateDrawEvent(area);
            fast.Drawing(
                damage, [&](CGContextRef c) { SprUpdateControl(fast.list, c, view.get(), event); });
            ReleaseEvent(event);

            // The plain way, with the same area.
            FillOffscreen(plain.sprites.get(), 0);
            bool drawn = false;
            for (CSprite* s : sprites[1]) {
                Rect r = s->GetRect();
                if (s->mVisible && RectInRgn(&r, area)) {
                    s->Output(plain.sprites.get());
                    drawn = true;
                }
            }
            DisposeRgn(area);
            SetPlatformDrawing(false);
            if (drawn)
                plain.Drawing(damage, [&](CGContextRef c) {
                    DrawOffscreenToHIView(plain.sprites.get(), c, view.get(), kCGImageAlphaFirst);
                });
            SetPlatformDrawing(true);
            ASSERT_EQ(HostBytes(fast.host), HostBytes(plain.host));

            const std::string expected = Bytes(plain.sprites.get());
            if (look == 0) {
                EXPECT_EQ(Bytes(fast.sprites.get()), expected);
            } else if (look == 1) {
                LockPixels(pm);
                EXPECT_EQ(Bytes(held), expected);
                UnlockPixels(pm);
            } else if (look == 2) {
                World copy = MakeWorld(kW, kH);
                Rect all = R(0, 0, kW, kH);
                CopyBits(GetPortBitMapForCopyBits(fast.sprites.get()),
                         GetPortBitMapForCopyBits(copy.get()), &all, &all, srcCopy, nullptr);
                const std::string copied = Bytes(copy.get());
                for (int v = 0; v < kH; v++)
                    EXPECT_EQ(copied.substr(368 * v, 4 * kW), expected.substr(368 * v, 4 * kW));
            } else if (look == 3) {
                // A picture the frame drew is replaced: the surface shows the old one.
                RegisterRandom(kPictures[random() % 4], random);
                EXPECT_EQ(Bytes(held), expected);
            } else if (look == 4) {
                EXPECT_EQ(Bytes(held), expected);
                UnlockPixels(pm);
            }
        }
    }
    ClearAllImages();
}

} // namespace
