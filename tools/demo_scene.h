// The demo host's scene: a 480 x 360 stage driven through the library's C++
// layer (sprig/sprig.hpp), as a host would drive it. Pictures are made at
// start-up (drawn pixel by pixel, or painted with the paint tools); turtles
// draw figures whose lines wrap across the stage's edges, a star leaves
// stamps, an eraser wipes a track through the trails, and sprites at
// different z, sizes, opacities and frames move over the stage, one
// changing colour while it touches another. Each frame is rendered into the
// stage's view, only its changed areas drawn again.
#ifndef SPRIG_TOOLS_DEMO_SCENE_H
#define SPRIG_TOOLS_DEMO_SCENE_H

#include <cstdint>
#include <optional>
#include <vector>

#include "sprig/sprig.hpp"

constexpr int kDemoStageWidth = 480;
constexpr int kDemoStageHeight = 360;

class DemoScene
{
  public:
    // Makes the pictures, the stage, its sprites and a view of the stage
    // times zoom; throws sprig::Error when something cannot be made.
    DemoScene(int zoom, int frames);

    // Moves everything to where it is at frame `frame` (0 to frames - 1;
    // frames are stepped in order), then renders the view. Returns the
    // number of view areas drawn again for this frame.
    int Step(int frame);

    // The last frame rendered.
    const sprig::Image& Frame() const { return *mFrame; }
    int Width() const { return kDemoStageWidth * mZoom; }
    int Height() const { return kDemoStageHeight * mZoom; }

  private:
    struct Pictures
    {
        sprig::Picture penTip, ball, star, eraser, ghost, painting;
    };
    struct Turtle
    {
        sprig::Sprite sprite;
        std::vector<std::pair<double, double>> moves; // (dx, dy) of each move
        double length = 0;                            // of the whole path
        double drawn = 0;                             // so far
        double start = 0, end = 1;                    // share of the demo's time
    };
    static Pictures MakePictures(sprig::Stage& stage);
    static sprig::Sprite MakePainting(sprig::Stage& stage, const Pictures& pictures);
    static std::vector<Turtle> MakeTurtles(sprig::Stage& stage, const Pictures& pictures);
    static void MoveTurtle(Turtle& turtle, double distance);

    // Made in this order, which is the stage's drawing order.
    int mZoom;
    int mFrames;
    sprig::Stage mStage;
    Pictures mPictures;
    sprig::Sprite mPainting;
    std::vector<Turtle> mTurtles;
    sprig::Sprite mStar, mBall, mGhost;
    std::optional<sprig::Image> mFrame;
    double mBallX = 60, mBallY = 250, mBallDX = 6.5, mBallDY = -1.0;
};

// A checksum of an image's pixels (each row's width only, never padding):
// 64-bit FNV-1a over the pixel words' bytes in memory order.
uint64_t ImageChecksum(const sprig::Image& image);

#endif
