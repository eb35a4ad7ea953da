"""The package as a host uses it: sessions checked by the pixels a render
hands back, redrawing only the changed areas, and lifetimes."""

import gc
import os
import subprocess

import numpy as np
import pytest

import sprig
from conftest import blob, square

WHITE = [255, 255, 255, 255]
RED = [255, 0, 0, 255]
BLUE = [0, 0, 255, 255]


def test_a_host_draws_with_sprites_pens_and_stamps(red, tmp_path):
    stage = sprig.Stage(40, 30, zoom=2)
    assert (stage.width, stage.height, stage.zoom, stage.backdrop) == (40, 30, 2, (255, 255, 255))
    sprite = stage.sprite(red, x=10, y=10)
    assert (sprite.x, sprite.y, sprite.bounds, sprite.visible) == (10, 10, (8, 8, 4, 4), True)
    frame = stage.render()
    assert frame.shape == (60, 80, 4) and frame.dtype == np.uint8
    assert frame[2 * 9, 2 * 9].tolist() == RED and frame[0, 0].tolist() == WHITE
    assert stage.changed_areas == [(0, 0, 80, 60)]

    # A pen line of blue from (10, 20) to (30, 20), then a stamp at its end.
    sprite.pen.color = (0, 0, 255)
    sprite.pen.antialias = False
    sprite.pen.up()
    sprite.goto(10, 20)
    sprite.pen.down()
    sprite.move(20, 0)
    sprite.stamp()
    sprite.pen.up()
    sprite.goto(5, 5)
    frame = stage.render()
    assert frame[2 * 20, 2 * 15].tolist() == BLUE
    assert frame[2 * 20, 2 * 29].tolist() == RED  # the stamp over the line's end
    assert sprite.color_under() == (255, 255, 255)
    sprite.goto(15, 20)
    assert sprite.color_under() == (0, 0, 255)

    # Size, opacity, z and visibility as a user sees them.
    other = stage.sprite(square(4, (0, 0, 255, 255)), x=5, y=5)
    frame = stage.render()
    assert frame[2 * 5, 2 * 5].tolist() == BLUE
    other.z = 1  # behind
    sprite.goto(5, 5)
    assert stage.render()[2 * 5, 2 * 5].tolist() == RED
    sprite.visible = False
    other.opacity = 0
    other.size = 200
    assert (other.size, other.opacity, other.z, other.bounds) == (200, 0, 1, (1, 1, 8, 8))
    assert stage.render()[2 * 5, 2 * 5].tolist() == WHITE

    stage.clear_pen()
    stage.backdrop = (10, 20, 30)
    frame = stage.render()
    assert frame[2 * 20, 2 * 15].tolist() == [10, 20, 30, 255]
    stage.save(tmp_path / "frame.png")
    assert np.array_equal(sprig.Picture.open(tmp_path / "frame.png").to_array(), frame)


def test_render_into_the_last_frame_redraws_only_the_changed_areas(rng):
    stage = sprig.Stage(64, 48, zoom=2)
    sprites = [stage.sprite(blob(rng, 9, 7), x=float(rng.integers(0, 64)), y=float(rng.integers(0, 48)))
               for _ in range(4)]
    sprites[0].pen.down()
    sprites[0].pen.size = 3
    sprites[0].pen.antialias = sprig.Antialias.EXACT
    kept = stage.render()
    for step in range(60):
        sprite = sprites[step % 4]
        sprite.move(float(rng.normal(0, 9)), float(rng.normal(0, 9)))
        if step % 7 == 0:
            sprite.stamp()
        if step % 11 == 0:
            sprite.size = float(rng.choice([50, 100, 150]))
        before = kept.copy()
        assert stage.render(out=kept) is kept
        changed = np.zeros(kept.shape[:2], bool)
        for x, y, w, h in stage.changed_areas:
            changed[y:y + h, x:x + w] = True
        # Outside the changed areas nothing was written; inside, the frame
        # is what a whole render shows.
        assert np.array_equal(kept[~changed], before[~changed])
        assert np.array_equal(kept, stage.render())


def test_pictures_come_and_go_with_their_holders(red, tmp_path):
    pixels = np.zeros((3, 5, 4), np.uint8)
    pixels[..., 0] = np.arange(5) * 50
    pixels[1, :, 3] = [0, 1, 128, 254, 255]
    picture = sprig.Picture.from_array(pixels[:, ::-1][:, ::-1])  # strided input
    assert (picture.width, picture.height, picture.tinted) == (5, 3, False)
    assert np.array_equal(picture.to_array(), pixels)

    stage = sprig.Stage(20, 20)
    sprite = stage.sprite(picture, 10, 10)
    assert sprite.picture == picture and sprite.picture != red
    del picture
    gc.collect()
    assert sprite.picture.to_array()[1, 4].tolist() == [200, 0, 0, 255]
    sprite.picture = None
    assert sprite.picture is None and sprite.bounds[2:] == (0, 0)


def test_sprites_stay_on_their_stage_and_keep_it_alive(red):
    stage = sprig.Stage(20, 20)
    stage.sprite(red, 10, 10)  # dropped by Python, still shown
    assert stage.render()[10, 10].tolist() == RED
    kept = stage.sprite(red, 2, 2)
    pen = kept.pen
    assert stage.sprites[1] == kept and len(stage.sprites) == 2
    del stage
    gc.collect()
    assert kept.stage.render()[10, 10].tolist() == RED
    kept.stage.sprites[0].remove()
    assert kept.stage.render()[10, 10].tolist() == WHITE
    kept.remove()
    assert kept.removed and kept.stage.sprites == []
    for call in (lambda: kept.x, lambda: kept.move(1, 1), lambda: pen.down(), lambda: kept.remove()):
        with pytest.raises(sprig.Error, match="removed"):
            call()


def test_touching_hit_and_sprites_of_other_stages(red):
    stage = sprig.Stage(30, 30)
    a = stage.sprite(red, 10, 10)
    b = stage.sprite(red, 13, 10)
    assert a.touching(b) and b.touching(a)
    b.move(1, 0)  # columns 8..11 beside 12..15
    assert not a.touching(b)
    assert a.hit(11, 10) and not a.hit(12, 10) and a.hit(13, 10, radius=2)
    assert not a.touching(sprig.Stage(30, 30).sprite(red, 10, 10))


@pytest.mark.skipif(not os.environ.get("SPRIG_TOOL"), reason="needs the sprig tool (SPRIG_TOOL)")
def test_packed_pictures_open_like_pngs(rng, tmp_path):
    pixels = rng.integers(0, 256, (7, 10, 4), dtype=np.uint8)
    stage = sprig.Stage(10, 7)
    stage.backdrop = sprig.Picture.from_array(np.dstack([pixels[..., :3], np.full((7, 10), 255, np.uint8)]))
    stage.save(tmp_path / "in.png")
    subprocess.run([os.environ["SPRIG_TOOL"], "pack", str(tmp_path / "in.png"), str(tmp_path / "in.sprig")],
                   check=True)
    packed = sprig.Picture.open(tmp_path / "in.sprig")
    assert np.array_equal(packed.to_array(), sprig.Picture.open(tmp_path / "in.png").to_array())
