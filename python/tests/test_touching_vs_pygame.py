"""touching() against pygame's mask overlap on the same pictures, with masks
from alpha > 0: at the natural size straight from the pictures, and at other
sizes and opacities from what the engine shows (hit() at each pixel)."""

import itertools

import pygame

import sprig
from conftest import blob


def shown_mask(sprite):
    """pygame mask of the sprite's shown pixels, and its top-left corner."""
    left, top, width, height = sprite.bounds
    mask = pygame.mask.Mask((max(width, 1), max(height, 1)))
    for x, y in itertools.product(range(width), range(height)):
        if sprite.hit(left + x, top + y):
            mask.set_at((x, y))
    return mask, (left, top)


def picture_mask(picture):
    pixels = picture.to_array()
    surface = pygame.image.frombuffer(pixels.tobytes(), (picture.width, picture.height), "RGBA")
    return pygame.mask.from_surface(surface, 0)  # set where alpha > 0


def test_touching_agrees_with_mask_overlap(rng):
    stage = sprig.Stage(160, 160)
    pictures = [blob(rng, 9, 7), blob(rng, 6, 11), blob(rng, 13, 13)]
    checked = touching = 0
    for size, opacity in [(100, 255), (100, 100), (50, 255), (150, 255), (250, 40), (300, 1)]:
        for pa, pb in itertools.combinations(pictures, 2):
            a = stage.sprite(pa, 80, 80)
            b = stage.sprite(pb, 80, 80)
            a.size = b.size = size
            a.opacity = b.opacity = opacity
            mask_a, corner_a = shown_mask(a)
            mask_b, corner_b = shown_mask(b)
            if size == 100 and opacity == 255:
                for mask, picture in ((mask_a, pa), (mask_b, pb)):
                    expected = picture_mask(picture)
                    assert mask.get_size() == expected.get_size()
                    assert mask.count() == expected.count() == mask.overlap_area(expected, (0, 0))
            reach = 2 + (max(pa.width, pb.width) * size) // 100
            for dx, dy in itertools.product(range(-reach, reach + 1), repeat=2):
                b.goto(80 + dx, 80 + dy)
                offset = (corner_b[0] + dx - corner_a[0], corner_b[1] + dy - corner_a[1])
                expected = mask_a.overlap(mask_b, offset) is not None
                assert a.touching(b) == expected, (size, opacity, dx, dy)
                assert b.touching(a) == expected
                checked += 1
                touching += expected
            a.remove()
            b.remove()
    assert checked > 3000 and 0 < touching < checked
