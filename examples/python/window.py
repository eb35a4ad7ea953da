#!/usr/bin/python3
"""A sprig stage in a pygame window.

Arrow keys walk a turtle with its pen down (shift: long steps that wrap
across the edges), space lifts or lowers the pen, e erases, c changes the
colour, s stamps, q or Esc quits. Each frame the stage draws again only
what changed, and only those areas are copied to the window.

    /usr/bin/python3 examples/python/window.py
    /usr/bin/python3 examples/python/window.py --autopilot --frames 60  # walks by itself
    /usr/bin/python3 examples/python/window.py --headless --frames 60   # and needs no display

With --autopilot the turtle walks a figure by itself; --headless (SDL's
dummy video driver) implies it. At the end the program checks that the
window shows exactly the stage's last frame (exit status 1 if not).
"""

import argparse
import os
import sys

import numpy as np

import sprig

COLOURS = [(200, 40, 40), (30, 120, 220), (20, 150, 60), (230, 150, 0)]
STEP = 3


def turtle_picture():
    """A green disc with a dark rim, 13 x 13."""
    ys, xs = np.mgrid[0:13, 0:13] + 0.5
    d = np.hypot(xs - 6.5, ys - 6.5)
    pixels = np.zeros((13, 13, 4), np.uint8)
    pixels[d < 6.5] = (20, 90, 40, 255)
    pixels[d < 5] = (90, 200, 110, 255)
    return sprig.Picture.from_array(pixels)


def main():
    parser = argparse.ArgumentParser(description="A sprig stage in a pygame window.")
    parser.add_argument("--headless", action="store_true",
                        help="no display (SDL_VIDEODRIVER=dummy); the turtle walks by itself")
    parser.add_argument("--autopilot", action="store_true", help="the turtle walks by itself")
    parser.add_argument("--frames", type=int, default=0, help="stop after this many frames")
    parser.add_argument("--zoom", type=int, default=2)
    args = parser.parse_args()
    args.autopilot = args.autopilot or args.headless
    if args.headless:
        os.environ["SDL_VIDEODRIVER"] = "dummy"
        os.environ.setdefault("SDL_AUDIODRIVER", "dummy")
    os.environ.setdefault("PYGAME_HIDE_SUPPORT_PROMPT", "1")
    import pygame

    stage = sprig.Stage(320, 240, zoom=args.zoom)
    stage.backdrop = (250, 248, 240)
    walker = stage.sprite(turtle_picture(), x=160, y=120)
    walker.pen.color = COLOURS[0]
    walker.pen.size = 2
    walker.pen.antialias = sprig.Antialias.ON
    walker.pen.down()
    colour = 0

    pygame.display.init()  # the window only: no sound, no joysticks
    window = pygame.display.set_mode((320 * args.zoom, 240 * args.zoom))
    pygame.display.set_caption("sprig stage")
    clock = pygame.time.Clock()
    frame = stage.render()  # a new window shows all of it
    window.blit(pygame.image.frombuffer(frame.tobytes(), frame.shape[1::-1], "RGBA"), (0, 0))
    pygame.display.flip()

    autopilot = [(STEP, 0)] * 20 + [(0, STEP)] * 15 + [(-STEP, -STEP)] * 10 + [(40, 25)] * 6
    count, drawn_areas = 0, 0
    running = True
    while running:
        for event in pygame.event.get():
            if event.type == pygame.QUIT:
                running = False
            elif event.type == pygame.KEYDOWN:
                if event.key in (pygame.K_q, pygame.K_ESCAPE):
                    running = False
                elif event.key == pygame.K_SPACE:
                    walker.pen.up() if walker.pen.mode != "up" else walker.pen.down()
                elif event.key == pygame.K_e:
                    walker.pen.erase()
                    walker.pen.antialias = False
                elif event.key == pygame.K_c:
                    colour = (colour + 1) % len(COLOURS)
                    walker.pen.color = COLOURS[colour]
                    walker.pen.antialias = True
                elif event.key == pygame.K_s:
                    walker.stamp()
        if args.autopilot:
            walker.move(*autopilot[count % len(autopilot)])
            if count % 17 == 16:
                walker.stamp()
        else:
            keys = pygame.key.get_pressed()
            step = STEP * (15 if keys[pygame.K_LSHIFT] or keys[pygame.K_RSHIFT] else 1)
            dx = (keys[pygame.K_RIGHT] - keys[pygame.K_LEFT]) * step
            dy = (keys[pygame.K_DOWN] - keys[pygame.K_UP]) * step
            if dx or dy:
                walker.move(dx, dy)

        # Only the areas that changed are drawn again, and copied.
        stage.render(out=frame)
        rects = []
        for x, y, w, h in stage.changed_areas:
            part = np.ascontiguousarray(frame[y:y + h, x:x + w])
            window.blit(pygame.image.frombuffer(part.tobytes(), (w, h), "RGBA"), (x, y))
            rects.append(pygame.Rect(x, y, w, h))
        pygame.display.update(rects)
        drawn_areas += len(rects)
        count += 1
        if args.frames and count >= args.frames:
            running = False
        if not args.headless:
            clock.tick(60)

    shown = pygame.surfarray.pixels3d(window).transpose(1, 0, 2)
    same = np.array_equal(shown, stage.render()[..., :3])
    print(f"{count} frames, {drawn_areas} areas drawn again; "
          f"the window shows the last frame: {'yes' if same else 'no'} "
          f"(video driver: {pygame.display.get_driver()})")
    pygame.quit()
    return 0 if same else 1


if __name__ == "__main__":
    sys.exit(main())
