"""lmi plot: that a picture is there, and shows what it must; how it looks is looked at."""
import struct

import numpy as np
import pytest

from conftest import complaint, run, write_wave


def test_one_sample_of_a_million_is_seen(tmp_path):
    x = np.zeros((1_000_000, 1), int)
    x[612_345] = 30_000
    wave = write_wave(tmp_path / "a.wav", x)
    run("plot", wave, "-o", tmp_path / "a.png", "--width", "1000", "--lane-height", "200")
    png = (tmp_path / "a.png").read_bytes()
    assert struct.unpack(">II", png[16:24])[0] == 1000
    columns = run("plot", wave).splitlines()
    marked = [line for line in columns if any("⠀" < c <= "⣿" for c in line)]
    top = marked[0].rstrip()
    # Columns 12 to 78 hold the samples; the peak is at 61 % of them.
    assert 12 + round(0.612 * 67) - 1 <= len(top) - 1 <= 12 + round(0.612 * 67) + 1


@pytest.mark.parametrize("ending, start", [("png", b"\x89PNG"), ("svg", b"<?xml"), ("pdf", b"%PDF")])
def test_kinds_of_files(tmp_path, samples, ending, start):
    target = tmp_path / f"p.{ending.upper()}"
    run("plot", samples / "edf_multirate.edf", "-o", target, "--compare", "-c", "1-2")
    assert target.read_bytes().startswith(start)


def test_comments_are_cut_between_characters(tmp_path, samples):
    for width in range(300, 420, 7):
        run("plot", samples / "edf_multirate.edf", "-o", tmp_path / "a.svg", "--width", width)


def test_values_that_no_tick_tells_apart(tmp_path):
    import scipy.io
    scipy.io.savemat(tmp_path / "a.mat", {"x": 1e17 + np.array([[0.0], [16.0]])})
    run("plot", tmp_path / "a.mat", "-o", tmp_path / "a.png", timeout=20)


def test_the_terminal_shows_times_clock_and_comments(samples):
    text = run("plot", samples / "edf_multirate.edf", "--from", "5", "--to", "15")
    for part in ("EEG Fp1 [uV]", "SaO2 [%]", "22:15:40", "7.500 s  Spike äö μ", "^1"):
        assert part in text, part
    assert "lights off" not in text


def test_says_why_there_is_no_picture(tmp_path, samples):
    assert "must end in" in complaint("plot", samples / "demo.lmc", "-o", "x.gif", status=2)
    assert "no channel" in complaint("plot", samples / "demo.lmc", "-o", tmp_path / "x.png", "-c", "9")
    assert "no sample" in complaint("plot", samples / "demo.lmc", "--from", "9")
    assert not (tmp_path / "x.png").exists()
