"""Headless turtle graphics on the sprig engine.

    from sprig.turtle import Screen

    screen = Screen(200, 200)
    t = screen.turtle()
    for _ in range(4):
        t.forward(80)
        t.left(90)
    screen.save("square.png")            # or screen.render(): a numpy array

No display is needed, and the same program draws the same pixels on every
run, so a grading script can compare a drawing with the expected one pixel
for pixel (difference()). The vocabulary is the standard turtle module's:
the origin is the centre of the screen, y grows upward, heading 0 points
east and left() turns counterclockwise, in degrees. Colours are (r, g, b)
with channels 0 to 255, "#rrggbb" or a common name ("red", "navy", ...).

At the screen's edges a turtle either comes back in on the opposite edge,
drawing as it goes (mode "wrap", the default), or stops at the edge (mode
"fence"). Screen.record() keeps a frame every few steps, written as an
animated PNG by Screen.save_animation().

The module-level functions (forward, left, pencolor, ...) drive one turtle
on one screen, made on first use, so that a student's script written for the
standard module runs here unchanged: sys.modules["turtle"] = sprig.turtle.
"""

from __future__ import annotations

import math
import os
from typing import Sequence, Union

import numpy as np

from . import Antialias, Picture, Stage
from .apng import AnimatedPng

Colour = Union[str, Sequence[int]]

__all__ = ["Screen", "Turtle", "difference"]

_NAMES = {
    "black": (0, 0, 0), "white": (255, 255, 255), "red": (255, 0, 0),
    "green": (0, 128, 0), "lime": (0, 255, 0), "blue": (0, 0, 255),
    "yellow": (255, 255, 0), "cyan": (0, 255, 255), "magenta": (255, 0, 255),
    "orange": (255, 165, 0), "purple": (128, 0, 128), "brown": (165, 42, 42),
    "pink": (255, 192, 203), "gray": (128, 128, 128), "grey": (128, 128, 128),
    "navy": (0, 0, 128), "gold": (255, 215, 0), "violet": (238, 130, 238),
}


def colour(value: Colour) -> tuple[int, int, int]:
    """(r, g, b) for a colour given as (r, g, b), "#rrggbb" or a name."""
    if isinstance(value, str):
        text = value.strip().lower()
        if text in _NAMES:
            return _NAMES[text]
        if len(text) == 7 and text[0] == "#":
            try:
                return (int(text[1:3], 16), int(text[3:5], 16), int(text[5:7], 16))
            except ValueError:
                pass
        raise ValueError(f"unknown colour {value!r}: use (r, g, b), '#rrggbb' or one of "
                         + ", ".join(sorted(_NAMES)))
    rgb = tuple(value)
    if len(rgb) != 3 or not all(isinstance(c, (int, np.integer)) and 0 <= c <= 255 for c in rgb):
        raise ValueError(f"colour {value!r} must be (r, g, b) with each 0 to 255")
    return (int(rgb[0]), int(rgb[1]), int(rgb[2]))


def difference(a: np.ndarray, b: np.ndarray, tolerance: int = 0) -> int:
    """The number of pixels of two renders in which some channel differs by
    more than tolerance (0: any difference counts)."""
    if a.shape != b.shape:
        raise ValueError(f"difference: the images are {a.shape} and {b.shape}")
    gap = np.abs(a.astype(np.int16) - b.astype(np.int16)).max(axis=-1)
    return int(np.count_nonzero(gap > tolerance))


# The turtle's arrow, one picture per 15 degrees of heading, made on first
# use. They are tinted: only their black pixels show, in the pen colour of
# the turtle showing them, so every turtle shares them whatever its colour.
_ARROW_SIZE = 15
_ARROW_STEP = 15
_arrows: dict[int, Picture] = {}


def _arrow(heading: float) -> Picture:
    step = int(round(heading / _ARROW_STEP)) % (360 // _ARROW_STEP)
    if step not in _arrows:
        angle = math.radians(step * _ARROW_STEP)
        # The classic arrow: tip ahead, two barbs and a notch behind.
        outline = [(7.0, 0.0), (-5.0, 5.0), (-2.0, 0.0), (-5.0, -5.0)]
        c, s = math.cos(angle), math.sin(angle)
        half = _ARROW_SIZE / 2
        points = [(half + x * c - y * s, half - (x * s + y * c)) for x, y in outline]
        ys, xs = np.mgrid[0:_ARROW_SIZE, 0:_ARROW_SIZE] + 0.5
        inside = np.zeros(xs.shape, bool)
        for (x0, y0), (x1, y1) in zip(points, points[1:] + points[:1]):
            crosses = (y0 > ys) != (y1 > ys)
            with np.errstate(divide="ignore", invalid="ignore"):
                at = x0 + (ys - y0) * (x1 - x0) / (y1 - y0)
            inside ^= crosses & (xs < at)
        pixels = np.zeros((_ARROW_SIZE, _ARROW_SIZE, 4), np.uint8)
        pixels[inside, 3] = 255
        _arrows[step] = Picture.from_array(pixels, tinted=True)
    return _arrows[step]


class Screen:
    """A stage of width x height pixels for turtles, shown zoom times as
    large; mode "wrap" or "fence" says what happens at its edges.

    The first screen made is the one Turtle() and the module-level functions
    draw on; Screen() without arguments returns that one, as the standard
    module's does."""

    def __new__(cls, *args, **kwargs):
        if not args and not kwargs and _default_screen is not None:
            return _default_screen
        return super().__new__(cls)

    def __init__(self, width: int = 400, height: int = 400, *, zoom: int = 1,
                 mode: str = "wrap", background: Colour = "white",
                 antialias: Antialias = Antialias.EXACT) -> None:
        if getattr(self, "stage", None) is not None:
            return  # Screen() handing back the screen in use
        if mode not in ("wrap", "fence"):
            raise ValueError(f"Screen: mode {mode!r} is not 'wrap' or 'fence'")
        self.stage = Stage(width, height, zoom)
        self.stage.backdrop = colour(background)
        self.mode = mode
        self.antialias = antialias
        self.turtles: list[Turtle] = []
        self._animation: AnimatedPng | None = None
        self._every = 1
        self._steps = 0
        # The first screen made is the one the module-level functions and
        # Turtle() draw on, as with the standard module's Screen().
        global _default_screen
        if _default_screen is None:
            _default_screen = self

    @property
    def width(self) -> int:
        return self.stage.width

    @property
    def height(self) -> int:
        return self.stage.height

    def turtle(self) -> "Turtle":
        """A new turtle at the centre, heading east, pen down."""
        return Turtle(self)

    def bgcolor(self, value: Colour) -> None:
        self.stage.backdrop = colour(value)

    def clear(self) -> None:
        """Wipes every line and stamp; the turtles stay where they are."""
        self.stage.clear_pen()

    def _nothing(self, *args, **kwargs) -> None:
        """Kept for programs written for the standard module: there is no
        window to set up, title, animate or click."""

    setup = title = tracer = update = exitonclick = mainloop = done = _nothing

    def render(self) -> np.ndarray:
        """The screen as a (height*zoom, width*zoom, 4) uint8 RGBA array."""
        return self.stage.render()

    def save(self, path: str | os.PathLike) -> None:
        """Writes the screen as a PNG file."""
        self.stage.save(path)

    def record(self, every: int = 1, delay_ms: int = 100) -> None:
        """Keeps a frame of the drawing now and after every `every` turtle
        steps (a move or a turn), for save_animation()."""
        if every < 1:
            raise ValueError(f"Screen.record: every {every} is less than 1")
        self._animation = AnimatedPng(delay_ms)
        self._every = every
        self._steps = 0
        self._animation.add(self.render())

    def save_animation(self, path: str | os.PathLike) -> int:
        """Writes the frames kept since record(), and the drawing as it is
        now, as an animated PNG; returns the number of frames."""
        if self._animation is None:
            raise ValueError("Screen.save_animation: call record() first")
        if self._steps % self._every:
            self._animation.add(self.render())
            self._steps = 0
        self._animation.save(path)
        return len(self._animation)

    def _step(self) -> None:
        if self._animation is not None:
            self._steps += 1
            if self._steps % self._every == 0:
                self._animation.add(self.render())

    # Turtle coordinates (origin in the centre, y up) to stage pixels.
    def _to_stage(self, x: float, y: float) -> tuple[float, float]:
        return (self.width / 2 + x, self.height / 2 - y)

    def _from_stage(self, x: float, y: float) -> tuple[float, float]:
        return (x - self.width / 2, self.height / 2 - y)

    def _fence(self, x0: float, y0: float, x1: float, y1: float) -> tuple[float, float]:
        """Where the way from (x0, y0) to (x1, y1), stage pixels, leaves the
        stage, or (x1, y1) when it stays on it."""
        t = 1.0
        for start, end, high in ((x0, x1, self.width - 1), (y0, y1, self.height - 1)):
            if end < -1e-9:
                t = min(t, max(0.0, (0 - start) / (end - start)))
            elif end > high + 1e-9:
                t = min(t, max(0.0, (high - start) / (end - start)))
        return (x0 + (x1 - x0) * t, y0 + (y1 - y0) * t)


class Turtle:
    """A turtle on a screen (a default one, made on first use, when none is
    given): it starts at the centre, heading east (0), pen down, black."""

    def __init__(self, screen: Screen | None = None) -> None:
        self.screen = screen if screen is not None else _screen()
        self._heading = 0.0
        self._sprite = self.screen.stage.sprite(_arrow(0), *self.screen._to_stage(0, 0))
        self._sprite.pen.antialias = self.screen.antialias
        self._sprite.pen.color = (0, 0, 0)
        self._sprite.pen.down()
        self.screen.turtles.append(self)

    # -- where it is
    def position(self) -> tuple[float, float]:
        return self.screen._from_stage(self._sprite.x, self._sprite.y)

    pos = position

    def xcor(self) -> float:
        return self.position()[0]

    def ycor(self) -> float:
        return self.position()[1]

    def heading(self) -> float:
        return self._heading

    def isdown(self) -> bool:
        return self._sprite.pen.mode == "down"

    # -- moving
    def goto(self, x: float | Sequence[float], y: float | None = None) -> None:
        """Moves to (x, y) in a straight line; goto((x, y)) too."""
        if y is None:
            x, y = x  # type: ignore[misc]
        sx, sy = self.screen._to_stage(float(x), float(y))  # type: ignore[arg-type]
        if self.screen.mode == "fence":
            sx, sy = self.screen._fence(self._sprite.x, self._sprite.y, sx, sy)
        self._sprite.goto(sx, sy)
        self.screen._step()

    setpos = setposition = goto

    def forward(self, distance: float) -> None:
        angle = math.radians(self._heading)
        # Exact along the axes: cos(90 degrees) is 6e-17 in floating point.
        dx, dy = (0.0 if abs(v) < 1e-12 else v for v in (math.cos(angle), math.sin(angle)))
        x, y = self.position()
        self.goto(x + distance * dx, y + distance * dy)

    def back(self, distance: float) -> None:
        self.forward(-distance)

    def setx(self, x: float) -> None:
        self.goto(x, self.ycor())

    def sety(self, y: float) -> None:
        self.goto(self.xcor(), y)

    def home(self) -> None:
        self.goto(0, 0)
        self.setheading(0)

    def left(self, angle: float) -> None:
        self.setheading(self._heading + angle)

    def right(self, angle: float) -> None:
        self.setheading(self._heading - angle)

    def setheading(self, angle: float) -> None:
        self._heading = float(angle) % 360.0
        self._sprite.picture = _arrow(self._heading)
        self.screen._step()

    def circle(self, radius: float, extent: float = 360, steps: int | None = None) -> None:
        """An arc (a circle by default) of the given radius, centre radius
        units to the turtle's left (to its right when negative), drawn as
        steps straight pieces (by default as many as the standard module)."""
        if steps is None:
            steps = 1 + int(min(11 + abs(radius) / 6.0, 59.0) * abs(extent) / 360)
        turn = extent / steps
        length = 2.0 * radius * math.sin(math.radians(turn / 2))
        if radius < 0:
            length, turn = -length, -turn
        self.left(turn / 2)
        for _ in range(steps):
            self.forward(length)
            self.left(turn)
        self.left(-turn / 2)

    # -- the pen
    def penup(self) -> None:
        self._sprite.pen.up()

    def pendown(self) -> None:
        self._sprite.pen.down()

    def pensize(self, width: int | None = None) -> int:
        """Sets the line width (1 to 255 pixels) and returns it."""
        if width is not None:
            self._sprite.pen.size = int(width)
        return self._sprite.pen.size

    def pencolor(self, *value) -> tuple[int, int, int]:
        """Sets the colour, given as (r, g, b), r, g, b, '#rrggbb' or a
        name, and returns it."""
        if value:
            self._sprite.pen.color = colour(value[0] if len(value) == 1 else value)
        return self._sprite.pen.color

    def stamp(self) -> None:
        """Leaves a copy of the turtle's arrow on the screen."""
        self._sprite.stamp()

    def hideturtle(self) -> None:
        self._sprite.visible = False

    def showturtle(self) -> None:
        self._sprite.visible = True

    def isvisible(self) -> bool:
        return self._sprite.visible

    def speed(self, speed: object = None) -> int:
        """Drawing is immediate; kept for programs written for the standard
        module."""
        return 0

    fd = forward
    bk = backward = back
    lt = left
    rt = right
    seth = setheading
    pu = up = penup
    pd = down = pendown
    width = pensize
    color = pencolor
    ht = hideturtle
    st = showturtle


_default_screen: Screen | None = None
_default_turtle: Turtle | None = None


def _screen() -> Screen:
    global _default_screen
    if _default_screen is None:
        _default_screen = Screen()
    return _default_screen


def getscreen() -> Screen:
    """The screen the module-level functions draw on."""
    return _screen()


def getturtle() -> Turtle:
    """The turtle the module-level functions drive."""
    global _default_turtle
    if _default_turtle is None:
        _default_turtle = Turtle(_screen())
    return _default_turtle


def reset() -> None:
    """Starts the module-level functions over on a new screen."""
    global _default_screen, _default_turtle
    _default_screen = None
    _default_turtle = None


def bgcolor(value: Colour) -> None:
    _screen().bgcolor(value)


def done(*args, **kwargs) -> None:
    """Nothing to wait for, set up or title: there is no window."""


mainloop = exitonclick = tracer = update = title = setup = done
Pen = RawTurtle = Turtle


def _bind(name: str):
    def call(*args, **kwargs):
        return getattr(getturtle(), name)(*args, **kwargs)

    call.__name__ = name
    call.__doc__ = getattr(Turtle, name).__doc__
    return call


for _name in ("forward fd back bk backward left lt right rt goto setpos setposition setx sety "
              "home setheading seth heading position pos xcor ycor circle penup pu up pendown pd "
              "down isdown pensize width pencolor color stamp hideturtle ht showturtle st "
              "isvisible speed").split():
    globals()[_name] = _bind(_name)
    __all__.append(_name)
__all__ += ["Pen", "RawTurtle", "bgcolor", "done", "exitonclick", "getscreen", "getturtle",
            "mainloop", "reset", "setup", "title", "tracer", "update"]
