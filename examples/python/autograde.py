#!/usr/bin/python3
"""An autograder for turtle exercises, headless, with sprig.turtle.

A student hands in a script written for the standard turtle module. The
grader runs it with `turtle` standing for sprig.turtle on a fresh screen,
runs the reference solution the same way, and compares the two drawings
pixel for pixel (or within a tolerance), turtles hidden. It prints a score
and writes the student's drawing, the expected one and a picture of the
differences.

    /usr/bin/python3 examples/python/autograde.py student.py
    /usr/bin/python3 examples/python/autograde.py --demo      # grade two built-in attempts
"""

import argparse
import pathlib
import runpy
import sys

import numpy as np

import sprig
import sprig.turtle

# The exercise: a red five-pointed star, 120 long each side, pen 3 wide.
REFERENCE = """
import turtle
t = turtle.Turtle()
t.pencolor("red")
t.pensize(3)
t.penup()
t.goto(-60, 20)
t.pendown()
for _ in range(5):
    t.forward(120)
    t.right(144)
"""

# A correct attempt written differently, and one with a wrong angle.
ATTEMPTS = {
    "good": """
from turtle import *
screen = Screen()
screen.title("star")
color(255, 0, 0)
width(3)
up(); setpos((-60, 20)); down()
for side in range(5):
    fd(120); rt(144)
screen.exitonclick()
""",
    "wrong": """
import turtle
turtle.pencolor("red"); turtle.pensize(3)
turtle.penup(); turtle.goto(-60, 20); turtle.pendown()
for _ in range(5):
    turtle.forward(120); turtle.right(140)
""",
}


def draw(source, path="<submission>"):
    """Runs a turtle script on a fresh 240 x 200 screen; its drawing."""
    sprig.turtle.reset()
    screen = sprig.turtle.Screen(240, 200)
    saved = sys.modules.get("turtle")
    sys.modules["turtle"] = sprig.turtle
    try:
        exec(compile(source, path, "exec"), {"__name__": "__main__"})
    finally:
        if saved is not None:
            sys.modules["turtle"] = saved
        else:
            del sys.modules["turtle"]
    for t in screen.turtles:
        t.hideturtle()
    return screen.render()


def grade(source, name, out, tolerance):
    expected = draw(REFERENCE, "<reference>")
    try:
        got = draw(source, name)
    except Exception as e:  # the student's script failed
        print(f"{name}: 0/10, the script stopped: {type(e).__name__}: {e}")
        return 0
    wrong = sprig.turtle.difference(got, expected, tolerance)
    inked = int(np.count_nonzero((expected[..., :3] != 255).any(axis=-1)))
    score = max(0, round(10 * (1 - wrong / max(inked, 1))))
    out.mkdir(parents=True, exist_ok=True)
    diff = np.full_like(got, 255)
    diff[(got != expected).any(axis=-1)] = (255, 0, 255, 255)
    for image, suffix in ((got, "drawing"), (expected, "expected"), (diff, "differences")):
        stage = sprig.Stage(image.shape[1], image.shape[0])
        stage.backdrop = sprig.Picture.from_array(image)
        stage.save(out / f"{pathlib.Path(name).stem}_{suffix}.png")
    print(f"{name}: {score}/10, {wrong} of {got.shape[0] * got.shape[1]} pixels differ "
          f"(tolerance {tolerance})")
    return score


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("scripts", nargs="*", help="students' turtle scripts")
    parser.add_argument("--demo", action="store_true", help="grade two built-in attempts")
    parser.add_argument("--tolerance", type=int, default=0, help="per channel, 0 to 255")
    parser.add_argument("--out", type=pathlib.Path, default=pathlib.Path("out/grading"))
    args = parser.parse_args()
    if not args.scripts and not args.demo:
        parser.error("give scripts to grade, or --demo")
    scores = [grade(pathlib.Path(p).read_text(), p, args.out, args.tolerance) for p in args.scripts]
    if args.demo:
        scores += [grade(source, f"{name}.py", args.out, args.tolerance)
                   for name, source in ATTEMPTS.items()]
    return 0 if scores else 1


if __name__ == "__main__":
    sys.exit(main())
