"""Sprite.move and goto take numbers (not strings) as float() does: exact
ints and floats by their own paths, everything else through __float__ or
__index__, with the same errors."""

import fractions

import numpy as np
import pytest

import sprig


class Half:
    def __float__(self):
        return 0.5


class Tenfold(int):
    def __float__(self):  # int() ignores this; float() does not
        return 10.0 * int(self)


def test_numbers_move_as_float_takes_them(red):
    stage = sprig.Stage(300, 200)
    sprite = stage.sprite(red, 10, 10)
    numbers = [3, 0, 2.75, True, np.float64(1.5), np.int64(4), np.float32(0.25),
               fractions.Fraction(7, 4), Half(), Tenfold(2), 10**20 // 10**18]
    for n in numbers:
        sprite.goto(n, n)
        assert (sprite.x, sprite.y) == (float(n), float(n)), repr(n)
        sprite.move(n, 0)
        assert (sprite.x, sprite.y) == (2 * float(n), float(n)), repr(n)


def test_bad_numbers_raise_and_leave_the_sprite(red):
    stage = sprig.Stage(30, 20)
    sprite = stage.sprite(red, 5, 5)
    for bad, kind in [("1", TypeError), (None, TypeError), (10**400, OverflowError),
                      (1j, TypeError)]:
        with pytest.raises(kind):
            sprite.move(bad, 0)
        with pytest.raises(kind):
            sprite.goto(1, bad)
    with pytest.raises(TypeError, match="takes 2 numbers, not 3"):
        sprite.move(1, 2, 3)
    assert (sprite.x, sprite.y) == (5.0, 5.0)
