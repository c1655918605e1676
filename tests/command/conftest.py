"""What the tests of the command share: the command, and recordings to run it on.

LMI names the command; it is run as a user would, and its output is read back with the tools that the
output is for.
"""
import os
import pathlib
import shutil
import struct
import subprocess

import numpy as np
import pytest

LMI = os.environ.get("LMI", "lmi")
SAMPLES = pathlib.Path(__file__).parents[2] / "samples"


def run(*arguments, status=0, **options):
    """Runs lmi and gives its standard output; fails where its exit status is another."""
    done = subprocess.run([LMI, *map(str, arguments)], capture_output=True, text=True, **options)
    assert done.returncode == status, (arguments, done.returncode, done.stdout[-2000:], done.stderr)
    return done.stdout


def complaint(*arguments, status=1, **options):
    """Runs lmi, which must end with this status, and gives what it says on standard error."""
    done = subprocess.run([LMI, *map(str, arguments)], capture_output=True, text=True, **options)
    assert done.returncode == status, (arguments, done.returncode, done.stdout[-2000:], done.stderr)
    return done.stderr


@pytest.fixture
def samples(tmp_path):
    """A copy of the recordings of samples/, each of which opens."""
    folder = tmp_path / "samples"
    shutil.copytree(SAMPLES, folder)
    return folder


def write_wave(path, counts, rate=1000):
    """A wave file of 16 bits; counts: (frames, channels), from -32768 to 32767."""
    counts = np.asarray(counts, "<i2")
    frames, channels = counts.shape
    head = struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + counts.nbytes, b"WAVE", b"fmt ", 16, 1,
                       channels, rate, rate * channels * 2, channels * 2, 16, b"data", counts.nbytes)
    pathlib.Path(path).write_bytes(head + counts.tobytes())
    return path


@pytest.fixture
def small(tmp_path):
    """Three frames of two channels at 1000 Hz from 2009-07-06 06:00: Pressure 1, -1, 0.5 mmHg by
    counts 100, -100, 50, and Flow 6, 4, 5.3 l/s by 200, -200, 60."""
    head = struct.pack("<4sid5idd4i", b"CFWB", 1, 1e-3, 2009, 7, 6, 6, 0, 0.0, 0.0, 2, 3, 0, 3)
    for title, unit, scale, offset in ((b"Pressure", b"mmHg", 0.01, 0), (b"Flow", b"l/s", 0.005, 1000)):
        head += struct.pack("<32s32s4d", title, unit, scale, offset, 0, 0)
    path = tmp_path / "small.cfwb"
    path.write_bytes(head + np.array([100, 200, -100, -200, 50, 60], "<i2").tobytes())
    return path
