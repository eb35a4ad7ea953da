"""The examples under examples/python run as their users run them."""

import os
import pathlib
import shutil
import subprocess
import sys

import pytest

import sprig

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples" / "python"


# Without a display (SDL's dummy driver), and in a real X window on a
# virtual X server when there is one.
@pytest.mark.parametrize("display", [["--headless"], ["xvfb-run", "-a", "--autopilot"]],
                         ids=["headless", "x11"])
def test_the_window_example_redraws_only_what_changed_and_shows_the_stage(display):
    *wrapper, mode = display
    if wrapper and not shutil.which(wrapper[0]):
        pytest.skip("no xvfb-run here")
    env = {k: v for k, v in os.environ.items() if not (wrapper and k == "SDL_VIDEODRIVER")}
    run = subprocess.run(wrapper + [sys.executable, str(EXAMPLES / "window.py"), mode, "--frames", "80"],
                         capture_output=True, text=True, timeout=120, env=env)
    assert run.returncode == 0, run.stdout + run.stderr
    assert run.stdout.startswith("80 frames,")
    assert "the window shows the last frame: yes" in run.stdout
    assert f"(video driver: {'x11' if wrapper else 'dummy'})" in run.stdout


def test_the_example_autograder(tmp_path):
    run = subprocess.run([sys.executable, str(EXAMPLES / "autograde.py"), "--demo", "--out",
                          str(tmp_path)], capture_output=True, text=True)
    assert run.returncode == 0, run.stderr
    assert "good.py: 10/10, 0 of 48000 pixels differ" in run.stdout
    assert "wrong.py: 0/10" in run.stdout
    assert (sprig.Picture.open(tmp_path / "good_drawing.png").to_array()
            == sprig.Picture.open(tmp_path / "good_expected.png").to_array()).all()
