// The demo host's scene: a 480 x 360 stage driven through the exported
// sprite functions alone, as a host would drive it. Pictures are made at
// start-up (drawn pixel by pixel, or painted with the paint tools) and
// packed with Compress; turtles draw figures whose lines wrap across the
// stage's edges, a star leaves stamps, an eraser wipes a track through the
// trails, and sprites at different z, sizes, opacities and frames move over
// the stage, one changing colour while it collides with another. Each frame
// is drawn into an offscreen view through SprUpdate and SprUpdateControl.
#ifndef SPRIG_TOOLS_DEMO_SCENE_H
#define SPRIG_TOOLS_DEMO_SCENE_H

#include <memory>
#include <string>

#include "sprig/coregraphics.h"
#include "sprig/engine.h"
#include "tools/world.h"

constexpr int kDemoStageWidth = 480;
constexpr int kDemoStageHeight = 360;

class DemoScene
{
  public:
    DemoScene();
    ~DemoScene();
    DemoScene(const DemoScene&) = delete;
    DemoScene& operator=(const DemoScene&) = delete;

    // Makes the worlds, pictures, stage, sprites and a view of the stage
    // times zoom. On failure *error says why.
    bool Init(int zoom, int frames, std::string* error);

    // Moves everything to where it is at frame `frame` (0 to frames - 1;
    // frames are stepped in order), then redraws the view. Returns the
    // number of view rectangles the stage invalidated for this frame.
    int Step(int frame);

    // The view's pixels (owned by the view).
    GWorldPtr Frame() const;
    int Width() const { return kDemoStageWidth * mZoom; }
    int Height() const { return kDemoStageHeight * mZoom; }

  private:
    struct Turtle;
    void Draw();
    void MoveTurtle(Turtle& turtle, double distance);

    int mZoom = 1;
    int mFrames = 1;
    WorldPtr mBackdrop, mBackground, mSprites;
    WorldPtr mBigBackdrop, mBigBackground; // the two layers at view size
    CSpriteList* mList = nullptr;
    HIViewRef mView = nullptr;
    std::unique_ptr<Turtle[]> mTurtles;
    CSprite* mStar = nullptr;
    CSprite* mPainting = nullptr;
    CSprite* mBall = nullptr;
    CSprite* mGhost = nullptr;
    double mBallX = 60, mBallY = 250, mBallDX = 6.5, mBallDY = -1.0;
};

// A checksum of a world's pixels (each row's width only, never padding):
// 64-bit FNV-1a over the pixel words' bytes in memory order.
uint64_t WorldChecksum(GWorldPtr world);

#endif
