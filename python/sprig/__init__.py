"""sprig: sprites on a stage, with pens, stamps and pixel-exact collisions.

    import sprig

    stage = sprig.Stage(480, 360)
    ball = sprig.Picture.open("ball.png")
    sprite = stage.sprite(ball, x=240, y=180)
    sprite.pen.down()
    sprite.move(100, 0)            # draws a line
    frame = stage.render()         # (360, 480, 4) uint8 RGBA numpy array
    stage.save("frame.png")

Pixels are numpy arrays of height x width x 4 uint8, red, green, blue and
straight alpha. Colours are (r, g, b) tuples of 0 to 255. Bad arguments
raise ValueError or TypeError, files that cannot be read or written
OSError, and anything else the library cannot do sprig.Error.

sprig.turtle is headless turtle graphics on the same engine.
"""

from ._sprig import Antialias, Error, Frame, Pen, Picture, Sprite, Stage
from .apng import AnimatedPng



def _made_by_sprig(cls, *args, **kwargs):
    raise TypeError(f"sprig.{cls.__name__} objects come from sprig (Picture.open, "
                    "Picture.from_array, Stage.sprite, Sprite.pen), not from __new__")


# An object of these classes made by __new__ alone would hold nothing.
for _cls in (Picture, Sprite, Pen):
    _cls.__new__ = staticmethod(_made_by_sprig)
del _cls

_stage_new = Stage.__new__


def _new_stage(cls, *args, **kwargs):
    if not args and not kwargs:
        raise TypeError("sprig.Stage(width, height, zoom=1) needs a width and a height")
    return _stage_new(cls)


Stage.__new__ = staticmethod(_new_stage)

__all__ = ["Antialias", "AnimatedPng", "Error", "Frame", "Pen", "Picture", "Sprite", "Stage"]
