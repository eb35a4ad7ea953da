"""Type stubs for sprig: the extension module's classes, as the package exports them."""

import enum
import os
from typing import Optional, Sequence, Tuple, Union

import numpy as np
import numpy.typing as npt

from .apng import AnimatedPng as AnimatedPng

__version__: str

RGB = Tuple[int, int, int]
ColourLike = Sequence[int]
PathLike = Union[str, bytes, os.PathLike]
Area = Tuple[int, int, int, int]

class Error(RuntimeError):
    """A damaged picture file, a full picture pool, no memory, a removed sprite."""

class Frame(enum.Enum):
    OFF: int
    SOLID: int
    DASHED: int

class Antialias(enum.Enum):
    OFF: int
    ON: int
    EXACT: int

class Picture:
    @staticmethod
    def open(path: PathLike, tinted: bool = False) -> Picture:
        """A PNG file or a packed picture file; OSError when it cannot be read, Error when damaged."""
    @staticmethod
    def from_array(pixels: npt.NDArray[np.uint8], tinted: bool = False) -> Picture:
        """A picture from a height x width x 4 uint8 RGBA array (straight alpha)."""
    @property
    def width(self) -> int: ...
    @property
    def height(self) -> int: ...
    @property
    def tinted(self) -> bool: ...
    def to_array(self) -> npt.NDArray[np.uint8]:
        """The pixels as a new height x width x 4 uint8 RGBA array."""
    def __eq__(self, other: object) -> bool: ...
    def __hash__(self) -> int: ...

class Pen:
    def down(self) -> None: ...
    def up(self) -> None: ...
    def erase(self) -> None: ...
    @property
    def mode(self) -> str:
        """'up', 'down' or 'erase'."""
    color: RGB
    """(r, g, b), each 0 to 255 (set with any sequence of three ints)."""
    size: int
    """Line width in stage pixels, 1 to 255."""
    @property
    def antialias(self) -> Antialias: ...
    @antialias.setter
    def antialias(self, value: Union[Antialias, bool]) -> None: ...

class Sprite:
    x: float
    y: float
    size: float
    """Percent of the picture's natural size."""
    opacity: int
    visible: bool
    z: int
    frame: Frame
    @property
    def picture(self) -> Optional[Picture]: ...
    @picture.setter
    def picture(self, value: Optional[Picture]) -> None: ...
    @property
    def bounds(self) -> Area: ...
    @property
    def pen(self) -> Pen: ...
    @property
    def stage(self) -> Stage: ...
    @property
    def removed(self) -> bool: ...
    def move(self, dx: float, dy: float, /) -> None: ...
    def goto(self, x: float, y: float, /) -> None: ...
    def stamp(self) -> None: ...
    def touching(self, other: Sprite, /) -> bool: ...
    def hit(self, x: int, y: int, radius: int = 0) -> bool: ...
    def color_under(self) -> RGB: ...
    def remove(self) -> None: ...

class Stage:
    def __init__(self, width: int, height: int, zoom: int = 1) -> None: ...
    @property
    def width(self) -> int: ...
    @property
    def height(self) -> int: ...
    zoom: int
    @property
    def backdrop(self) -> Union[RGB, Picture]: ...
    @backdrop.setter
    def backdrop(self, value: Union[ColourLike, Picture]) -> None: ...
    def sprite(self, picture: Optional[Picture] = None, x: float = 0.0, y: float = 0.0,
               visible: bool = True) -> Sprite: ...
    @property
    def sprites(self) -> list[Sprite]: ...
    def clear_pen(self) -> None: ...
    def render(self, out: Optional[npt.NDArray[np.uint8]] = None) -> npt.NDArray[np.uint8]:
        """(height*zoom, width*zoom, 4) uint8 RGBA; with out, only the changed areas are written."""
    @property
    def changed_areas(self) -> list[Area]: ...
    def save(self, path: PathLike) -> None: ...
