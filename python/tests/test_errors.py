"""Bad input raises the Python exception that says what is wrong, with the
library's message, and leaves everything usable."""

import copy

import numpy as np
import pytest

import sprig


def test_bad_input_raises_and_nothing_breaks(red, tmp_path):
    stage = sprig.Stage(20, 20)
    sprite = stage.sprite(red, 5, 5)
    damaged = tmp_path / "damaged.sprig"
    damaged.write_bytes(b"Format01" + bytes(40))
    not_png = tmp_path / "bad.png"
    not_png.write_bytes(b"\x89PNG\r\n\x1a\n" + bytes(20))
    cases = [
        (lambda: sprig.Stage(0, 10), ValueError, "width 0 is outside 1 to 4092"),
        (lambda: sprig.Stage(10, 40000), ValueError, "height 40000"),
        (lambda: sprig.Stage(2000, 10, zoom=3), ValueError, "at most 4092"),
        (lambda: setattr(stage, "zoom", 0), ValueError, "zoom 0"),
        (lambda: setattr(stage, "backdrop", (1, 2)), ValueError, r"\(r, g, b\)"),
        (lambda: setattr(stage, "backdrop", "red"), TypeError, r"\(r, g, b\)"),
        (lambda: setattr(sprite, "opacity", 256), ValueError, "opacity 256 is outside 0 to 255"),
        (lambda: setattr(sprite, "size", -1), ValueError, "outside 0 to 81917.5"),
        (lambda: setattr(sprite, "size", 100000), ValueError, "outside"),
        (lambda: setattr(sprite, "z", 40000), ValueError, "z 40000"),
        (lambda: setattr(sprite, "x", 1e9), ValueError, "x"),
        (lambda: sprite.move(float("nan"), 0), ValueError, "x"),
        (lambda: setattr(sprite, "picture", "red.png"), TypeError, "sprig.Picture"),
        (lambda: setattr(sprite.pen, "size", 0), ValueError, "size 0 is outside 1 to 255"),
        (lambda: setattr(sprite.pen, "color", (0, 0, 256)), ValueError, "not 256"),
        (lambda: setattr(sprite.pen, "color", (0, 0, 1.5)), TypeError, r"\(r, g, b\)"),
        (lambda: setattr(sprite.pen, "antialias", 1), TypeError, "Antialias"),
        (lambda: sprite.hit(1, 1, radius=-1), ValueError, "radius -1 is negative"),
        (lambda: sprite.touching(None), TypeError, ""),
        (lambda: stage.sprite(np.zeros((2, 2, 4), np.uint8)), TypeError, "sprig.Picture"),
        (lambda: stage.render(out=np.zeros((20, 20, 3), np.uint8)), ValueError, r"\(20, 20, 4\)"),
        (lambda: stage.render(out=np.zeros((20, 20, 4), np.uint8)[:, ::-1]), ValueError, "C-contiguous"),
        (lambda: sprig.Picture.from_array(np.zeros((2, 2, 4), np.float32)), TypeError, "uint8"),
        (lambda: sprig.Picture.from_array(np.zeros((2, 2), np.uint8)), ValueError, "x 4"),
        (lambda: sprig.Picture.from_array(np.zeros((0, 2, 4), np.uint8)), ValueError, "1 to 32767"),
        (lambda: sprig.Picture.from_array([[[0, 0, 0, 0]]]), TypeError, ""),
        (lambda: sprig.Picture.open(tmp_path / "missing.png"), FileNotFoundError, "missing.png"),
        (lambda: sprig.Picture.open(tmp_path), OSError, ""),
        (lambda: sprig.Picture.open(damaged), sprig.Error, "damaged.sprig"),
        (lambda: sprig.Picture.open(not_png), sprig.Error, "bad.png"),
        (lambda: stage.save(tmp_path / "no" / "such" / "dir.png"), OSError, "dir.png"),
        (lambda: sprig.AnimatedPng(-1), ValueError, "delay_ms"),
        (lambda: sprig.Stage.__new__(sprig.Stage).render(), TypeError, "incompatible"),
        (lambda: sprig.Stage.__new__(sprig.Stage, 0, 1), ValueError, "width 0"),
        (lambda: copy.copy(sprite), TypeError, "cannot pickle"),
        (lambda: sprig.Pen.__new__(sprig.Pen).down(), TypeError, "not from __new__"),
        (lambda: sprig.Picture.__new__(sprig.Picture).width, TypeError, "not from __new__"),
    ]
    for call, kind, message in cases:
        with pytest.raises(kind, match=message):
            call()
    # Everything still works after all that.
    sprite.move(1, 1)
    assert stage.render()[6, 6].tolist() == [255, 0, 0, 255]
    assert list(tmp_path.iterdir()) != [] and not list(tmp_path.glob("*.png.*"))


def test_tinted_pictures_run_out_with_an_error():
    black = np.zeros((2, 2, 4), np.uint8)
    black[..., 3] = 255
    kept = []
    with pytest.raises(sprig.Error, match="tinted with the pen colour are in use"):
        for _ in range(40):
            kept.append(sprig.Picture.from_array(black, tinted=True))
    kept.clear()
    assert sprig.Picture.from_array(black, tinted=True).tinted
