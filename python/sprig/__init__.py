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

from ._sprig import Antialias, Error, Frame, Pen, Picture, Sprite, Stage, __version__
from .apng import AnimatedPng



def _made_by_sprig(cls, *args, **kwargs):
    raise TypeError(f"sprig.{cls.__name__} objects come from sprig (Picture.open, "
                    "Picture.from_array, Stage.sprite, Sprite.pen), not from __new__")


# An object of these classes made by __new__ alone would hold nothing.
for _cls in (Picture, Sprite, Pen):
    _cls.__new__ = staticmethod(_made_by_sprig)
del _cls

# A stage is made whole in __new__, so that no Stage object exists without
# its stage behind it (Stage.__new__(Stage, ...) alone included).
_stage_new = Stage.__new__
_stage_init = Stage.__init__


def _new_stage(cls, *args, **kwargs):
    stage = _stage_new(cls)
    _stage_init(stage, *args, **kwargs)
    return stage


def _stage_made(self, *args, **kwargs):
    """Stage(width, height, zoom=1): width 1 to 4092, height 1 to 32767."""


Stage.__new__ = staticmethod(_new_stage)
Stage.__init__ = _stage_made

__all__ = ["Antialias", "AnimatedPng", "Error", "Frame", "Pen", "Picture", "Sprite", "Stage"]
