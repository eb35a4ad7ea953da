"""Pictures shared by the package's tests, made from their pixels."""

import numpy as np
import pytest

import sprig


def square(size, rgba):
    pixels = np.empty((size, size, 4), np.uint8)
    pixels[...] = rgba
    return sprig.Picture.from_array(pixels)


def blob(rng, width, height):
    """A random shape: alpha 0, 1, 128 and 255 in patches, random colours."""
    pixels = rng.integers(0, 256, (height, width, 4), dtype=np.uint8)
    pixels[..., 3] = rng.choice(np.array([0, 0, 1, 128, 255, 255], np.uint8), (height, width))
    return sprig.Picture.from_array(pixels)


@pytest.fixture
def red():
    return square(4, (255, 0, 0, 255))


@pytest.fixture
def rng():
    return np.random.default_rng(20261123)
