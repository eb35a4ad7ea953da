#!/usr/bin/python3
"""What a Python host pays per sprite move and per collision check with
sprig, beside pygame doing the same, in one run.

    PYTHONPATH=build/python /usr/bin/python3 bench/python_bench.py [--repetitions 9]

Each case runs N operations per repetition; the cases' repetitions are
interleaved in a shuffled order, and each case reports the median and the
range of its per-operation CPU time, and the ratio of medians to its pygame
peer. Moves: sprig's Sprite.move (the engine marks the areas to redraw)
against pygame's Rect.move_ip on a sprite's rect, and the same with the
DirtySprite flag set, as a pygame host that redraws only changes does.
Collisions: two 32 x 32 sprites whose boxes overlap, sprig's
Sprite.touching against pygame.sprite.collide_mask (what a pygame host
calls) and a bare Mask.overlap.
"""

import argparse
import os
import random
import statistics
import time

import numpy as np

os.environ.setdefault("PYGAME_HIDE_SUPPORT_PROMPT", "1")
import pygame  # noqa: E402

import sprig  # noqa: E402


def blob(seed):
    rng = np.random.default_rng(seed)
    ys, xs = np.mgrid[0:32, 0:32] + 0.5
    pixels = rng.integers(0, 256, (32, 32, 4), dtype=np.uint8)
    pixels[..., 3] = np.where(np.hypot(xs - 16, ys - 16) < 15, 255, 0)
    return pixels


def cases(n):
    stage = sprig.Stage(480, 360)
    pa, pb = blob(1), blob(2)
    a = stage.sprite(sprig.Picture.from_array(pa), 100, 100)
    b = stage.sprite(sprig.Picture.from_array(pb), 125, 110)
    stage.render()

    def surface(pixels):
        return pygame.image.frombuffer(pixels.tobytes(), (32, 32), "RGBA")

    ga = pygame.sprite.DirtySprite()
    ga.image = surface(pa)
    ga.rect = ga.image.get_rect(center=(100, 100))
    ga.mask = pygame.mask.from_surface(ga.image, 0)
    gb = pygame.sprite.DirtySprite()
    gb.image = surface(pb)
    gb.rect = gb.image.get_rect(center=(125, 110))
    gb.mask = pygame.mask.from_surface(gb.image, 0)
    assert a.touching(b) == bool(pygame.sprite.collide_mask(ga, gb))

    def sprig_move():
        move = a.move
        for i in range(n):
            move(1 if i & 1 else -1, 0)

    def pygame_move():
        move = ga.rect.move_ip
        for i in range(n):
            move(1 if i & 1 else -1, 0)

    def pygame_move_dirty():
        rect = ga.rect
        for i in range(n):
            rect.move_ip(1 if i & 1 else -1, 0)
            ga.dirty = 1

    def sprig_touching():
        touching = a.touching
        for _ in range(n):
            touching(b)

    def pygame_collide_mask():
        collide = pygame.sprite.collide_mask
        for _ in range(n):
            collide(ga, gb)

    def pygame_overlap():
        overlap = ga.mask.overlap
        offset = (gb.rect.x - ga.rect.x, gb.rect.y - ga.rect.y)
        for _ in range(n):
            overlap(gb.mask, offset)

    def empty_loop():
        for i in range(n):
            pass

    return stage, {
        "move: sprig Sprite.move": (sprig_move, "move: pygame Rect.move_ip"),
        "move: pygame Rect.move_ip": (pygame_move, None),
        "move: pygame move_ip + dirty": (pygame_move_dirty, "move: pygame Rect.move_ip"),
        "collide: sprig Sprite.touching": (sprig_touching, "collide: pygame collide_mask"),
        "collide: pygame collide_mask": (pygame_collide_mask, None),
        "collide: pygame Mask.overlap": (pygame_overlap, "collide: pygame collide_mask"),
        "loop alone (subtracted from none)": (empty_loop, None),
    }


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--repetitions", type=int, default=9)
    parser.add_argument("-n", type=int, default=20000, help="operations per repetition")
    args = parser.parse_args()
    stage, table = cases(args.n)
    times = {name: [] for name in table}
    order = list(table)
    shuffle = random.Random(7)
    for _ in range(args.repetitions):
        shuffle.shuffle(order)
        for name in order:
            start = time.process_time_ns()
            table[name][0]()
            times[name].append((time.process_time_ns() - start) / args.n)
    medians = {name: statistics.median(t) for name, t in times.items()}
    print(f"{args.repetitions} interleaved repetitions of {args.n} operations, CPU ns per operation")
    print(f"{'case':36} {'median':>8} {'range':>17}  ratio to peer")
    for name, (_, peer) in table.items():
        t = times[name]
        ratio = f"{medians[name] / medians[peer]:.2f} x {peer.split(': ')[1]}" if peer else ""
        print(f"{name:36} {medians[name]:8.0f} {min(t):8.0f}-{max(t):<8.0f}  {ratio}")


if __name__ == "__main__":
    main()
