"""lmi read: which samples, with which times, in how many digits."""
import io
import os
import shlex
import stat
import subprocess

import numpy as np
import pytest

from conftest import LMI, complaint, run, write_wave

HEAD = "Pressure [mmHg],Flow [l/s]\n"


@pytest.mark.parametrize("arguments, text", [
    ("--times frame --start 2 --count 1", "Frame,Pressure [mmHg],Flow [l/s]\n2,-1,4\n"),
    ("--times clock --count 1", "Time,Pressure [mmHg],Flow [l/s]\n2009-07-06T06:00:00.0000,1,6\n"),
    ("--channel 'FL*' --no-header", "6\n4\n5.3\n"),
    ("--channel 1-2 --every 2 --no-header", "1,6\n0.5,5.3\n"),
    ("--separator tab --decimal , --channel flow --start 3", "Flow [l/s]\n5,3\n"),
    ("--decimal , --start 3", "Pressure [mmHg];Flow [l/s]\n0,5;5,3\n"),
    ("--from 0.001 --to 0.002", HEAD + "-1,4\n"),
    ("--from T06:00:00.001 --duration 0.001", HEAD + "-1,4\n"),
    ("--from 2009-07-06T06:00:00.002", HEAD + "0.5,5.3\n"),
    ("--from 0.001 --count 1", HEAD + "-1,4\n"),
    ("--channel 2,1 --start 3", HEAD + "0.5,5.3\n"),
    ("--bins 1 --channel 2", "Flow smallest [l/s],Flow largest [l/s],Flow mean [l/s]\n4,6,5.1\n"),
    ("--bins 2 --channel 1 --times seconds --no-header", "0,1,1,1\n0.001,-1,0.5,-0.25\n"),
    ("--as integer --count 1", "Pressure,Flow\n100,200\n"),
])
def test_selects_and_formats(small, arguments, text):
    assert run("read", small, *shlex.split(arguments)) == text


def test_comments_are_at_their_frames(samples):
    lines = run("read", samples / "edf_multirate.edf", "-b", "2", "--comments", "--times",
                "frame").splitlines()
    assert run("read", samples / "edf_multirate.edf", "-b", "1", "-c", "1", "--comments").splitlines()[
        1:3] == ["9.987,lights off", "37.713,very early"]
    assert lines[0] == "Frame,Resp chest [mV],Comment" and len(lines) == 2001
    # Chosen by its rate, it still has those of the recording, but for the one past the end.
    done = subprocess.run([LMI, "read", samples / "edf_multirate.edf", "-c", "sao2", "--comments"],
                          capture_output=True, text=True)
    assert sum(not line.endswith(",") for line in done.stdout.splitlines()[1:]) == 5
    assert "1 comment at no frame" in done.stderr


def test_all_blocks_are_tables_one_after_the_other(samples):
    text = run("read", samples / "edf_multirate.edf", "--count", "1", "--times", "seconds")
    tables = text.split("\n\n")
    assert [table.split("\n")[0] for table in tables] == [
        "Block,Time [s],EEG Fp1 [uV],ECG II [mkV]", "Block,Time [s],Resp chest [mV]",
        "Block,Time [s],Temp rectal [degC]", "Block,Time [s],SaO2 [%]"]
    assert tables[3] == "Block,Time [s],SaO2 [%]\n4,0,95\n"
    # Sweeps, and what lies between gaps, have their titles once.
    assert run("read", samples / "edf_multirate.edf", "-b", "4", "--count", "2") == "SaO2 [%]\n95\n95.3\n"


def test_digits_are_those_of_the_step_and_give_the_count_back(tmp_path):
    counts = np.random.default_rng(1).integers(-32768, 32768, (4000, 2))
    wave = write_wave(tmp_path / "a.wav", counts)
    short = np.loadtxt(io.StringIO(run("read", wave)), delimiter=",", skiprows=1)
    assert (np.rint(short * 32768) == counts).all()
    exact = np.loadtxt(io.StringIO(run("read", wave, "--digits", "17")), delimiter=",", skiprows=1)
    assert (exact == counts / 32768).all()
    assert len(run("read", wave)) < 0.55 * len(run("read", wave, "--digits", "17"))


def test_what_the_file_lacks_is_read_only_on_demand(tmp_path, samples):
    whole = (samples / "sox_stereo.wav").read_bytes()
    cut = tmp_path / "cut.wav"
    cut.write_bytes(whole[:4044])  # 1,000 of 13,230 frames
    lines = run("read", cut, "--as-written").count("\n") - 1
    filled = run("read", cut, "--as-written", "--fill").count("\n") - 1
    assert (lines, filled) == (1000, 13230)


def test_a_file_gets_its_name_when_it_is_whole(tmp_path, small):
    target = tmp_path / "out.csv"
    run("read", small, "-o", target)
    assert target.read_text() == HEAD + "1,6\n-1,4\n0.5,5.3\n"
    said = complaint("read", small, "-o", target, "--channel", "x")
    assert 'there are 1 "Pressure", 2 "Flow"' in said
    assert target.read_text().startswith(HEAD)
    # Never over what is read, whatever it is called.
    os.link(small, tmp_path / "same.cfwb")
    (tmp_path / "other").symlink_to(small)
    for name in ("small.cfwb", "same.cfwb", "other"):
        assert "would replace" in complaint("read", small, "-o", tmp_path / name)
        (tmp_path / name).unlink() if name != "small.cfwb" else None
    # As it was, for whom it was.
    target.chmod(0o600)
    run("read", small, "-o", target)
    assert stat.S_IMODE(target.stat().st_mode) == 0o600
    os.mkfifo(tmp_path / "pipe")
    reader = subprocess.Popen(["cat", tmp_path / "pipe"], stdout=subprocess.PIPE)
    run("read", small, "-o", tmp_path / "pipe")
    assert reader.communicate()[0] == target.read_bytes()
    (tmp_path / "pipe").unlink()
    assert "Is a directory" in complaint("read", small, "-o", tmp_path)
    assert sorted(p.name for p in tmp_path.iterdir()) == ["out.csv", "small.cfwb"]


@pytest.mark.parametrize("arguments, text", [
    (["--from", "x"], '"x" is no time'),
    (["--from", "2", "--to", "1"], "ends before it begins"),
    (["--block", "2"], "no block 2 among the 1"),
    (["--duration", "1:99"], "is no duration"),
])
def test_says_what_makes_no_sense(small, arguments, text):
    assert text in complaint("read", small, *arguments)


def test_a_clock_needs_a_stated_start(samples):
    for arguments in (["--from", "T12:00"], ["--times", "clock"]):
        assert "states no start" in complaint("read", samples / "sox_stereo.wav", *arguments)
