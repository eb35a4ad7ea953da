"""sprig.turtle against the same drawings made through the Sprite API, its
edges, several turtles, animated PNG output, and the example autograder."""

import hashlib
import math
import struct
import subprocess
import sys
import zlib

import numpy as np
import pytest

import sprig
import sprig.turtle as turtle

def drawn_with_sprites(width, height, strokes):
    """strokes: (colour, size, [(x, y), ...]) in turtle coordinates."""
    stage = sprig.Stage(width, height)
    sprite = stage.sprite(None, width / 2, height / 2)
    sprite.pen.antialias = sprig.Antialias.EXACT
    for colour, size, points in strokes:
        sprite.pen.up()
        sprite.goto(width / 2 + points[0][0], height / 2 - points[0][1])
        sprite.pen.color, sprite.pen.size = colour, size
        sprite.pen.down()
        for x, y in points[1:]:
            sprite.goto(width / 2 + x, height / 2 - y)
    return stage.render()


def test_turtles_draw_what_sprites_draw():
    screen = turtle.Screen(100, 80)
    t, u = screen.turtle(), screen.turtle()
    t.hideturtle(), u.hideturtle()
    t.pencolor("navy"), t.pensize(3)
    t.forward(30), t.left(90), t.forward(20), t.left(135), t.forward(140)  # wraps twice
    u.pencolor("#ff8000")
    u.penup(), u.goto(-40, -30), u.pendown(), u.setheading(-30), u.back(25)
    d = 140 / math.sqrt(2)
    expected = drawn_with_sprites(100, 80, [
        ((0, 0, 128), 3, [(0, 0), (30, 0), (30, 20), (30 - d, 20 - d)]),
        ((255, 128, 0), 1, [(-40, -30), (-40 - 25 * math.cos(math.radians(-30)),
                                         -30 - 25 * math.sin(math.radians(-30)))]),
    ])
    assert turtle.difference(screen.render(), expected) == 0
    assert np.count_nonzero((expected[..., :3] == (0, 0, 128)).all(axis=-1)) > 200
    # Where the turtle ended up: the position wraps as the line does.
    x, y = t.position()
    assert (round(x - (30 - d)) % 100, round(y - (20 - d)) % 80) == (0, 0)


def test_fence_stops_at_the_edge_and_wrap_comes_back():
    fenced = turtle.Screen(60, 40, mode="fence")
    t = fenced.turtle()
    t.hideturtle()
    t.forward(1000)
    assert t.position() == (29, 0)
    t.left(90), t.forward(1000)
    assert t.position() == (29, 20)
    frame = fenced.render()
    assert (frame[:, :30, :3] == 255).all()  # nothing came back in on the left
    wrapped = turtle.Screen(60, 40)
    w = wrapped.turtle()
    w.hideturtle(), w.forward(45)
    assert w.position() == (-15, 0)
    assert (wrapped.render()[20, :10, :3] == 0).all()
    with pytest.raises(ValueError, match="'wrap' or 'fence'"):
        turtle.Screen(mode="bounce")


def test_the_turtle_shows_and_stamps_its_arrow_in_its_colour():
    screen = turtle.Screen(40, 40)
    t = screen.turtle()
    t.pencolor(0, 160, 0)
    t.penup()
    t.stamp()
    t.forward(15)
    frame = screen.render()
    assert frame[20, 20].tolist() == [0, 160, 0, 255]  # the stamp
    assert frame[20, 35].tolist() == [0, 160, 0, 255]  # the turtle
    t.hideturtle()
    assert screen.render()[20, 35].tolist() == [255, 255, 255, 255]
    for bad in ("chartreuse-ish", (0, 0, 300), "#12345"):
        with pytest.raises(ValueError):
            t.pencolor(bad)


def read_apng(path):
    """The frames of an animated PNG, its chunks checked."""
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks = 8, []
    while at < len(data):
        (length,) = struct.unpack(">I", data[at:at + 4])
        kind, body = data[at + 4:at + 8], data[at + 8:at + 8 + length]
        assert struct.unpack(">I", data[at + 8 + length:at + 12 + length])[0] == zlib.crc32(kind + body)
        chunks.append((kind, body))
        at += 12 + length
    width, height = struct.unpack(">II", chunks[0][1][:8])
    frames, sequence = [], 0
    for kind, body in chunks:
        if kind in (b"fcTL", b"fdAT"):
            assert struct.unpack(">I", body[:4])[0] == sequence
            sequence += 1
        if kind in (b"IDAT", b"fdAT"):
            raw = zlib.decompress(body if kind == b"IDAT" else body[4:])
            rows = np.frombuffer(raw, np.uint8).reshape(height, 1 + 4 * width)
            assert not rows[:, 0].any()
            frames.append(rows[:, 1:].reshape(height, width, 4))
    assert struct.unpack(">I", chunks[1][1][:4])[0] == len(frames) and chunks[-1][0] == b"IEND"
    return frames


def test_an_animation_keeps_the_drawing_as_it_grows(tmp_path):
    screen = turtle.Screen(50, 50)
    t = screen.turtle()
    screen.record(every=2)
    expected = [screen.render()]
    for side in range(4):
        t.forward(20)
        t.left(90)
        expected.append(screen.render())
    t.forward(5)
    expected.append(screen.render())
    assert screen.save_animation(tmp_path / "square.png") == 6
    frames = read_apng(tmp_path / "square.png")
    assert len(frames) == 6
    for got, want in zip(frames, expected):
        assert np.array_equal(got, want)


DRAWING = """
import hashlib, sprig.turtle as turtle
s = turtle.Screen(120, 90, zoom=2)
t = s.turtle()
t.pensize(2)
for i in range(36):
    t.pencolor((7 * i, 255 - 7 * i, 128)); t.forward(40 + i); t.left(100)
t.circle(25)
print(hashlib.sha256(s.render().tobytes()).hexdigest())
"""


def test_drawings_are_the_same_in_every_process():
    runs = {subprocess.run([sys.executable, "-c", DRAWING], capture_output=True, text=True,
                           check=True).stdout for _ in range(2)}
    namespace = {"__name__": "drawing"}
    exec(DRAWING.replace("print(", "result = ("), namespace)
    assert runs == {namespace["result"] + "\n"}
