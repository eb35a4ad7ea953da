// Fuzz target for the picture pool: the input, held in a block of exactly
// its size, is registered as a picture record whose width and height are
// those of its header, as a host loading a file would.
//
// SetCompressedImage must take it exactly when CheckPackedPicture passes it
// (its header then agrees with the record); a refused picture leaves the
// slot's previous picture in place, and the input's bytes, read as pixel
// words and packed with CompressBuffer, are registered instead (so every
// input reaches the drawing code). A picture taken is then used as a host
// uses it, on a small stage: two sprites show it, one at sizes 40, 80 and 20
// and opacities 255 and 128, the other at its natural size; each time the
// stage is drawn, both sprites are hit-tested at several points, tested for
// collision (the same picture at two sizes goes through a temporary copy in
// a free slot) and stamped into the background. Nothing may read outside
// the pool's copy of the picture, and the pool must end with the slots it
// started with.
#include <cstdlib>
#include <cstring>
#include <vector>

#include "fuzz/fuzz_check.h"
#include "sprig/coregraphics.h"
#include "sprig/engine.h"
#include "sprig/images.h"
#include "sprig/packing.h"

namespace {

// An ordinary picture number, and one of the colorized pictures (drawn
// tinted with the sprite's pen colour); the input's last byte picks one.
constexpr int32_t kPlainSlot = 300;
constexpr int32_t kTintedSlot = 7;
int32_t gSlot = kPlainSlot;
constexpr int kStageWidth = 64;
constexpr int kStageHeight = 48;
// Keeps each run quick: scaled copies are built for every size.
constexpr int32_t kMaxSide = 256;
constexpr int64_t kMaxPixels = 1 << 14;

int32_t HeaderWord(const uint8_t* data, size_t size, size_t word)
{
    if (size < 4 * (word + 1))
        return 0;
    int32_t value;
    std::memcpy(&value, data + 4 * word, 4);
    return value;
}

// The picture the slot holds before each registration: 3 x 1, red, clear,
// half-transparent black.
void RegisterPrevious()
{
    const uint32_t pixels[3] = {0x0000FFFF, 0x00000000, 0x00000080};
    uint32_t* packed = CompressBuffer(pixels, 3, 1, 12);
    PictureRecord record = {3, 1, packed[0], packed};
    Require(SetCompressedImage(gSlot, reinterpret_cast<char*>(&record)) == 1);
    std::free(packed);
}

GWorldPtr NewWorld()
{
    GWorldPtr world = nullptr;
    Rect bounds;
    SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
    Require(NewGWorld(&world, 32, &bounds, nullptr, nullptr, 0) == noErr);
    return world;
}

void Draw(CSpriteList* stage, HIViewRef view)
{
    SprUpdate(stage, view);
    EventRef event = CreateDrawEvent(nullptr);
    CGContextRef context = HIViewCreateDrawContext(view);
    SprUpdateControl(stage, context, view, event);
    CGContextRelease(context);
    ReleaseEvent(event);
    HIViewClearInvalidRects(view); // the view records them; keep it from growing
}

void Use(int32_t width, int32_t height)
{
    static GWorldPtr backdrop = NewWorld();
    static GWorldPtr background = NewWorld();
    static GWorldPtr spriteWorld = NewWorld();
    static HIViewRef view = HIViewCreateOffscreen(kStageWidth, kStageHeight);
    const int32_t freeBefore = GetFreeImageNumber();

    Rect bounds;
    SetRect(&bounds, 0, 0, kStageWidth, kStageHeight);
    CSpriteList* stage = SprInitSprites(backdrop, background, spriteWorld, &bounds);
    CSprite* a = SprNewSprite(stage, 1);
    CSprite* b = SprNewSprite(stage, 2);
    SprSetImage(a, gSlot, 0);
    SprSetImage(b, gSlot, 0);
    SprShow(a, 1);
    SprShow(b, 1);
    SprSetPenColor(a, 0x1234, 0xABCD, 0xFFFF);
    const double ax = 30, ay = 22, bx = 36, by = 26;
    SprSetPos(a, &ax, &ay);
    SprSetPos(b, &bx, &by);

    for (short size : {40, 80, 20}) {
        for (short opacity : {255, 128}) {
            SprSetSize(a, size);
            SprSetOpacity(a, opacity);
            Draw(stage, view);
            Rect r;
            SprGetRect(a, &r);
            const int32_t points[][2] = {{r.left, r.top},
                                         {(r.left + r.right) / 2, (r.top + r.bottom) / 2},
                                         {r.right - 1, r.bottom - 1},
                                         {r.right, r.bottom}};
            for (const auto& p : points) {
                SprClicked(a, p[0], p[1], 0);
                SprClicked(a, p[0], p[1], 3);
                SprClicked(b, p[0], p[1], 2);
                SprIsPtVisible(a, static_cast<short>(p[0]), static_cast<short>(p[1]));
                SprIsPtVisible(b, static_cast<short>(p[0]), static_cast<short>(p[1]));
            }
            Require(SprCollision(a, b) >= 0);
            Require(SprCollision(b, a) >= 0);
            SprStamp(a);
        }
    }
    SprStamp(b);
    Draw(stage, view);
    Require(GetImageWidth(gSlot) == width && GetImageHeight(gSlot) == height);
    SprDeleteList(stage);
    Require(GetFreeImageNumber() == freeBefore);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    gSlot = size > 0 && (data[size - 1] & 1) ? kTintedSlot : kPlainSlot;
    RegisterPrevious();
    // The host's copy, exactly as long as the input, so that any read past
    // it is caught.
    void* copy = std::malloc(size ? size : 1);
    if (size)
        std::memcpy(copy, data, size);
    const int32_t width = HeaderWord(data, size, 4);
    const int32_t height = HeaderWord(data, size, 5);
    PictureRecord record = {width, height, static_cast<uint32_t>(size), copy};
    const bool sound = CheckPackedPicture(copy, size, nullptr) != 0;
    const int32_t result = SetCompressedImage(gSlot, reinterpret_cast<char*>(&record));
    std::free(copy); // the pool keeps a copy of its own
    Require(result == (sound ? 1 : 0));
    if (sound) {
        Require(GetImageWidth(gSlot) == width && GetImageHeight(gSlot) == height);
        if (width <= kMaxSide && height <= kMaxSide && int64_t{width} * height <= kMaxPixels)
            Use(width, height);
        ResetFreeImage(gSlot);
        return 0;
    }
    Require(GetImageWidth(gSlot) == 3 && GetImageHeight(gSlot) == 1);

    // Most inputs are refused; their bytes, as pixel words of a picture as
    // wide as the first byte says, still make a sound picture to draw.
    if (size < 5)
        return 0;
    const int32_t pixelWidth = data[0] % 32 + 1;
    const size_t words = (size - 1) / 4;
    const auto pixelHeight = static_cast<int32_t>(words / size_t(pixelWidth));
    if (pixelHeight == 0)
        return 0;
    std::vector<uint32_t> pixels(words);
    std::memcpy(pixels.data(), data + 1, 4 * words);
    uint32_t* packed = CompressBuffer(pixels.data(), pixelWidth, pixelHeight, 4 * pixelWidth);
    Require(packed != nullptr);
    PictureRecord made = {pixelWidth, pixelHeight, packed[0], packed};
    Require(SetCompressedImage(gSlot, reinterpret_cast<char*>(&made)) == 1);
    std::free(packed);
    Use(pixelWidth, pixelHeight);
    ResetFreeImage(gSlot);
    return 0;
}
