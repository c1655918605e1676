"""What the tests of the command share: the command, and recordings to run it on.

LMI names the command; it is run as a user would, and its output is read back with the tools that the
output is for.
"""
import os
import pathlib
import shutil
import subprocess

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
