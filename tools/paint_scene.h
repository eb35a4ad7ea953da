// A sample painting made with the library's paint tools alone: soft brush
// lines, a spray, a textured filled ellipse, a rectangle outline and an
// erase stroke. The `sprig paint` command writes it as PNG, and a demo host
// can show it; it uses only the library's exported interface.
#ifndef SPRIG_TOOLS_PAINT_SCENE_H
#define SPRIG_TOOLS_PAINT_SCENE_H

#include <string>

#include "sprig/paint.h"

// The smallest picture the scene fits: every stroke keeps its brush inside.
constexpr int kPaintSceneMinWidth = 64;
constexpr int kPaintSceneMinHeight = 48;

// Paints the scene over the whole of world (32-bit, at least the minimum
// size), laid out for 320 x 240 and stretched to the world's size. The
// world's previous pixels are replaced by paper. On failure (a scratch
// world or buffer that cannot be made) *error says why and world may hold a
// partial painting.
bool PaintSampleScene(GWorldPtr world, std::string* error);

#endif
