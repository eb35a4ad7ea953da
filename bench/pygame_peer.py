"""pygame's Mask.overlap as the peer of collision_bench, driven over pipes.

collision_bench starts this script with /usr/bin/python3 (Debian's python3
with python3-pygame) and sends one command a line on standard input:

    mask NAME WIDTH HEIGHT BITS   a mask; BITS is WIDTH x HEIGHT of 0 and 1,
                                  row by row (1 where the alpha is not 0)
    case ID A B DX DY             overlap of mask B placed at (DX, DY) over A
    time ID COUNT                 runs case ID COUNT times

and reads one line back for each `time`: the thread's CPU seconds the COUNT
calls took, and whether the masks overlap (1 or 0). A bound method and a
prepared offset keep the loop as short as a Python host can make it.
"""

import os
import sys
import time

os.environ.setdefault("PYGAME_HIDE_SUPPORT_PROMPT", "1")
import pygame  # noqa: E402


def make_mask(width, height, bits):
    mask = pygame.mask.Mask((width, height))
    for y in range(height):
        row = bits[y * width:(y + 1) * width]
        for x, bit in enumerate(row):
            if bit == "1":
                mask.set_at((x, y), 1)
    return mask


def main():
    masks = {}
    cases = {}
    for line in sys.stdin:
        words = line.split()
        if not words:
            continue
        if words[0] == "mask":
            name, width, height = words[1], int(words[2]), int(words[3])
            masks[name] = make_mask(width, height, words[4] if len(words) > 4 else "")
        elif words[0] == "case":
            cases[words[1]] = (masks[words[2]], masks[words[3]],
                               (int(words[4]), int(words[5])))
        elif words[0] == "time":
            a, b, offset = cases[words[1]]
            overlap = a.overlap
            runs = range(int(words[2]))
            start = time.thread_time_ns()
            for _ in runs:
                overlap(b, offset)
            elapsed = time.thread_time_ns() - start
            hit = 1 if overlap(b, offset) is not None else 0
            sys.stdout.write("%.9f %d\n" % (elapsed * 1e-9, hit))
            sys.stdout.flush()


if __name__ == "__main__":
    main()
