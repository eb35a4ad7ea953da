// The sample painting. Each stroke is what a painting host does: clear the
// coverage mask, run shape tools into it, run the mixing pass over the
// strokes' reach from the picture (source) into a scratch copy
// (destination), and copy the reach back so that the next stroke starts
// from the result.
#include "tools/paint_scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "tools/world.h"

namespace {

// [BBBBBBBB][GGGGGGGG][RRRRRRRR][AAAAAAAA]
uint32_t Word(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha)
{
    return (blue << 24) | (green << 16) | (red << 8) | alpha;
}

// A soft round brush: full coverage within 3 pixels of its centre, fading
// to nothing 11 pixels out.
void MakeSoftBrush(uint8_t* brush)
{
    for (int r = 0; r < 32; r++)
        for (int c = 0; c < 32; c++) {
            const double d = std::hypot(c - 16, r - 16);
            const double t = std::clamp((11.0 - d) / 8.0, 0.0, 1.0);
            brush[r * 32 + c] = static_cast<uint8_t>(std::lround(63 * t * t * (3 - 2 * t)));
        }
}

class Painter
{
  public:
    Painter(GWorldPtr picture, WorldPtr scratch, int width, int height)
        : mPicture(picture), mScratch(std::move(scratch)), mWidth(width), mHeight(height),
          mMask(static_cast<size_t>(width + 32) * static_cast<size_t>(height + 32)), mBrush(1024)
    {
        MakeSoftBrush(mBrush.data());
        mState.width = width;
        mState.aux = 0;
        mState.srcWorld = mPicture;
        mState.dstWorld = mScratch.get();
        mState.color = 0;
        mState.colorWorld = nullptr;
        mState.brush = mBrush.data();
        mState.mask = mMask.data();
        mState.colorTable = mTable;
        SyncScratch(0, 0, width, height);
    }

    // Scene coordinates (320 x 240) to picture pixels.
    int16_t X(int x) const { return static_cast<int16_t>(x * (mWidth - 1) / 319); }
    int16_t Y(int y) const { return static_cast<int16_t>(y * (mHeight - 1) / 239); }
    Rect Scene(int x0, int y0, int x1, int y1) const
    {
        Rect r;
        SetRect(&r, X(x0), Y(y0), X(x1), Y(y1));
        return r;
    }

    OurPS* State() { return &mState; }

    // Coverage m paints red, green, blue at alpha m * 255 / 63.
    void UseColour(uint32_t red, uint32_t green, uint32_t blue)
    {
        for (uint32_t m = 0; m < 64; m++)
            mTable[63 - m] = ((m * 255 / 63) << 24) | (blue << 16) | (green << 8) | red;
    }

    void UseTexture(GWorldPtr texture) { mState.colorWorld = texture; }

    void BeginStroke() { std::fill(mMask.begin(), mMask.end(), 0); }

    // Mixes the stroke over the rectangle a stroke can reach from shapes
    // within bounds, and makes the result the picture.
    void EndStroke(const Rect& bounds, bool erase)
    {
        Rect reach;
        SetRect(&reach, static_cast<int16_t>(std::max(0, std::min(bounds.left, bounds.right) - 16)),
                static_cast<int16_t>(std::max(0, std::min(bounds.top, bounds.bottom) - 16)),
                static_cast<int16_t>(std::min(mWidth, std::max(bounds.left, bounds.right) + 16)),
                static_cast<int16_t>(std::min(mHeight, std::max(bounds.top, bounds.bottom) + 16)));
        if (erase)
            EraseMix(&reach, &mState);
        else
            PaintMix(&reach, &mState);
        for (int v = reach.top; v < reach.bottom; v++)
            std::memcpy(WorldRow(mPicture, v) + reach.left,
                        WorldRow(mScratch.get(), v) + reach.left,
                        static_cast<size_t>(reach.right - reach.left) * 4);
        mState.colorWorld = nullptr;
    }

  private:
    void SyncScratch(int left, int top, int right, int bottom)
    {
        for (int v = top; v < bottom; v++)
            std::memcpy(WorldRow(mScratch.get(), v) + left, WorldRow(mPicture, v) + left,
                        static_cast<size_t>(right - left) * 4);
    }

    GWorldPtr mPicture;
    WorldPtr mScratch;
    int mWidth;
    int mHeight;
    std::vector<uint8_t> mMask;
    std::vector<uint8_t> mBrush;
    uint32_t mTable[64];
    OurPS mState;
};

// Warm paper, a little darker toward the bottom.
void LayPaper(GWorldPtr world, int width, int height)
{
    for (int v = 0; v < height; v++) {
        const uint32_t shade = static_cast<uint32_t>(18 * v / std::max(1, height - 1));
        uint32_t* row = WorldRow(world, v);
        for (int h = 0; h < width; h++)
            row[h] = Word(250 - shade, 244 - shade, 228 - shade, 255);
    }
}

// Orange to red across, lighter at the top: the ellipse's texture.
void MakeSunsetTexture(GWorldPtr texture, int width, int height)
{
    for (int v = 0; v < height; v++) {
        uint32_t* row = WorldRow(texture, v);
        const uint32_t light =
            static_cast<uint32_t>(40 * (height - 1 - v) / std::max(1, height - 1));
        for (int h = 0; h < width; h++) {
            const uint32_t across = static_cast<uint32_t>(150 * h / std::max(1, width - 1));
            row[h] = Word(255, std::min(255u, 180 - across + light), 30 + light / 2, 255);
        }
    }
}

Rect Bounds(const Rect* lines, size_t count)
{
    Rect b = lines[0];
    for (size_t i = 0; i < count; i++) {
        b.left = std::min({b.left, lines[i].left, lines[i].right});
        b.right = std::max({b.right, lines[i].left, lines[i].right});
        b.top = std::min({b.top, lines[i].top, lines[i].bottom});
        b.bottom = std::max({b.bottom, lines[i].top, lines[i].bottom});
    }
    return b;
}

} // namespace

bool PaintSampleScene(GWorldPtr world, std::string* error)
{
    Rect bounds;
    GetPortBounds(world, &bounds);
    const int width = bounds.right;
    const int height = bounds.bottom;
    if (width < kPaintSceneMinWidth || height < kPaintSceneMinHeight) {
        *error = "the picture is " + std::to_string(width) + " x " + std::to_string(height) +
                 ", smaller than " + std::to_string(kPaintSceneMinWidth) + " x " +
                 std::to_string(kPaintSceneMinHeight);
        return false;
    }
    WorldPtr scratch = NewWorld(width, height, error);
    WorldPtr texture = NewWorld(width, height, error);
    if (!scratch || !texture)
        return false;
    PaintInit();
    LayPaper(world, width, height);
    MakeSunsetTexture(texture.get(), width, height);
    Painter painter(world, std::move(scratch), width, height);

    // A zigzag of soft brush lines in one stroke: where segments meet the
    // coverage is the larger of the two, never doubled.
    const Rect zigzag[] = {painter.Scene(28, 38, 88, 92), painter.Scene(88, 92, 150, 38),
                           painter.Scene(150, 38, 212, 92), painter.Scene(212, 92, 292, 44)};
    painter.BeginStroke();
    painter.UseColour(30, 60, 160);
    for (Rect line : zigzag)
        PaintLineTo(&line, painter.State());
    painter.EndStroke(Bounds(zigzag, 4), false);

    // A spray of green dots, scattered over each step's brush box.
    uint16_t offsets[509];
    uint32_t seed = 12345;
    for (uint16_t& offset : offsets) {
        seed = seed * 1103515245u + 12345u;
        const uint32_t column = (seed >> 8) & 31;
        const uint32_t row = (seed >> 16) & 31;
        offset = static_cast<uint16_t>((row << 8) | column);
    }
    Rect spray = painter.Scene(24, 214, 150, 150);
    painter.BeginStroke();
    painter.UseColour(40, 150, 70);
    PaintSpray(&spray, offsets, 0, 509, 2400, painter.State());
    painter.EndStroke(spray, false);

    // A filled ellipse painted with the texture.
    Rect ellipse = painter.Scene(172, 112, 292, 206);
    painter.BeginStroke();
    painter.UseColour(255, 255, 255);
    painter.UseTexture(texture.get());
    PaintPaintArc(&ellipse, painter.State(), true);
    painter.EndStroke(ellipse, false);

    // A rectangle outline in purple, partly over the spray.
    Rect box = painter.Scene(40, 118, 140, 178);
    painter.BeginStroke();
    painter.UseColour(120, 40, 140);
    PaintRectangle(&box, painter.State(), false);
    painter.EndStroke(box, false);

    // An erase stroke through the zigzag and the ellipse: the picture turns
    // transparent along it, softly at the edges.
    Rect erase = painter.Scene(110, 20, 250, 226);
    painter.BeginStroke();
    painter.UseColour(0, 0, 0);
    PaintLineTo(&erase, painter.State());
    painter.EndStroke(erase, true);
    return true;
}
