"""lmi list: rows, conditions, and the index under all that happens to it."""
import csv
import io
import json
import os
import pathlib
import shutil
import sqlite3
import subprocess
import time

import pytest

from conftest import LMI, complaint, run


def rows(*arguments, status=1):
    return [json.loads(line) for line in run("list", "--jsonl", *arguments, status=status).splitlines()]


def table(index, text):
    with sqlite3.connect(index) as database:
        return database.execute(text).fetchall()


def opened(*arguments):
    """Files that a run with an index opened anew."""
    done = subprocess.run([LMI, "list", *map(str, arguments)], capture_output=True, text=True)
    return int(done.stderr.split(";")[-1].split()[0])


def test_a_row_says_what_a_recording_is(samples):
    by_name = {pathlib.Path(row["path"]).name: row for row in rows(samples)}
    edf = by_name["edf_multirate.edf"]
    assert edf["start"] == "2019-11-05T22:15:30.000" and edf["seconds"] == 20
    assert edf["rates"] == [256, 100, 8, 1] and edf["channels"] == 5 and edf["comments"] == 8
    assert edf["titles"] == ["EEG Fp1", "ECG II", "Resp chest", "Temp rectal", "SaO2"]
    assert by_name["sox_stereo.wav"]["start"] is None
    assert by_name["octave_v4.mat"]["findings"] == ["rate-by-default"]
    hdf5 = by_name["test_file_hdf5.mat"]
    assert hdf5["format"] is None and "v7.3" in hdf5["failure"]
    assert "README.md" not in by_name  # nothing describes it
    table_rows = list(csv.DictReader(io.StringIO(run("list", samples, "--csv", status=1))))
    assert [row["path"] for row in table_rows] == list(row["path"] for row in rows(samples))


@pytest.mark.parametrize("arguments, names", [
    (["--only", "format=EDF"], ["edf_multirate.edf"]),
    (["--only", "titles=eeg*"], ["edf_multirate.edf", "octave_named_v6.mat"]),
    (["--only", "titles=sweep"], ["octave_v4.mat"]),
    (["--only", "seconds=0.2..10", "--only", "format=wave"], ["sox_stereo.wav"]),
    (["--only", "format=cfwb", "--only", "warnings=1.."], []),
    (["--only", "failure=*v7.3*"], ["test_file_hdf5.mat"]),
    (["--only", "rates=8000", "--sort", "seconds", "--reverse"],
     ["test-8000Hz-le-2ch-1byteu.wav", "test-8000Hz-le-4ch-9S-12bit.wav",
      "test-8000Hz-le-3ch-5S-24bit.wav"]),
])
def test_conditions_and_order(samples, arguments, names):
    assert [pathlib.Path(row["path"]).name for row in rows(samples, *arguments)] == names


def test_files_come_from_a_list_too(samples):
    names = "\0".join(str(samples / name) for name in ("demo.lmc", "sox_stereo.wav", "missing.wdq"))
    done = subprocess.run([LMI, "list", "--jsonl", "--files0-from", "-"], input=names, text=True,
                          capture_output=True)
    assert done.returncode == 1 and "3 recordings, 1 failed" in done.stderr
    assert [json.loads(line)["format"] for line in done.stdout.splitlines()] == ["chart", "wave", None]


def test_an_index_opens_what_changed_alone(tmp_path, samples):
    index = tmp_path / "lab.sqlite"
    first = rows(samples, "--index", index)
    count = len(first)
    assert rows(samples, "--index", index) == first == rows(samples)
    assert opened(samples, "--index", index) == 0
    (samples / "sub").mkdir()
    shutil.copy(samples / "demo.lmc", samples / "sub" / "new.lmc")
    os.utime(samples / "sox_stereo.wav", (1, 1))
    (samples / "edf_multirate.edf").unlink()
    assert opened(samples, "--index", index) == 2
    names = {pathlib.Path(path).name for (path,) in table(index, "SELECT path FROM recording")}
    assert len(names) == count and "new.lmc" in names and "edf_multirate.edf" not in names
    assert table(index, "SELECT count(*) FROM comment JOIN recording ON id = recording_id"
                 " WHERE path LIKE '%/new.lmc'") == [(3,)]


def test_a_sidecar_belongs_to_its_recording(tmp_path):
    data, index = tmp_path / "data", tmp_path / "i.sqlite"
    data.mkdir()
    (data / "a.bin").write_bytes(bytes(range(200)))
    assert rows(data, "--index", index, status=0) == []  # nothing describes it
    (data / "a_binheader.txt").write_text("NumAChannels=1\nSamplerate=50\n[Ch0]\nMaxRange=1\nMinRange=-1\n")
    row, = rows(data, "--index", index, status=0)
    assert row["sidecar"] == "a_binheader.txt"


def test_rows_stay_where_their_folder_is_away(tmp_path, samples):
    index = tmp_path / "i.sqlite"
    count = len(rows(samples, "--index", index))
    samples.rename(tmp_path / "away")
    assert "1 failed" in complaint("list", samples, "--index", index)
    samples.mkdir()  # as where a disk isn't mounted
    assert rows(samples, "--index", index, status=0) == []
    assert len(rows("--index", index)) == count + 1  # and the folder that was named as a file


def test_a_link_to_a_folder_is_no_second_one(tmp_path, samples):
    index = tmp_path / "i.sqlite"
    count = len(rows(samples, "--index", index))
    (tmp_path / "link").symlink_to(samples)
    assert opened(str(tmp_path / "link") + "/", "--index", index) == 0
    assert table(index, "SELECT count(*) FROM recording") == [(count,)]


def test_pictures_and_archives_are_no_recordings(tmp_path):
    for name, head in (("a.png", b"\x89PNG\r\n"), ("b.pdf", b"%PDF-1.4"), ("c.npz", b"PK\x03\x04")):
        (tmp_path / name).write_bytes(head + bytes(100))
    (tmp_path / "d.gdf").write_bytes(b"GDF 2.20" + bytes(100))
    row, = rows(tmp_path)
    assert row["path"].endswith("d.gdf") and "General Data Format" in row["failure"]


def test_says_which_conditions_make_sense(samples):
    assert "seconds is a number" in complaint("list", samples, "--only", "seconds=abc", status=2)
    assert "there are path, size" in complaint("list", samples, "--only", "fmt=edf", status=2)


def test_the_index_has_what_its_schema_says(tmp_path, samples):
    index = tmp_path / "lab.sqlite"
    run("list", samples / "edf_multirate.edf", samples / "octave_v4.mat", "--index", index)
    assert table(index, "SELECT block, position, number, title, unit FROM channel"
                 " JOIN recording ON id = recording_id WHERE path LIKE '%.edf' LIMIT 2") == [
        (1, 1, 1, "EEG Fp1", "uV"), (1, 2, 5, "ECG II", "mkV")]
    assert table(index, "SELECT time, duration, text FROM comment WHERE number = 3") == [
        (3.25, 2.0, "Apnea")]
    assert table(index, "SELECT is_warning, code, channel FROM finding") == [
        (0, "rate-by-default", None)]
    assert table(index, "PRAGMA user_version") == [(1,)]
    assert table(index, "PRAGMA foreign_key_check") == []


@pytest.mark.parametrize("content, text", [
    (b"no database", "file is not a database"),
    (None, "a database of something else"),
])
def test_never_writes_into_what_is_no_index(tmp_path, samples, content, text):
    index = tmp_path / "mine"
    if content is None:
        with sqlite3.connect(index) as database:
            database.execute("CREATE TABLE own (x)")
    else:
        index.write_bytes(content)
    before = index.read_bytes()
    assert text in complaint("list", samples, "--index", index)
    assert index.read_bytes() == before


def test_an_index_survives_being_killed_and_shared(tmp_path, samples):
    folder = tmp_path / "many"
    for i in range(12):
        shutil.copytree(samples, folder / f"d{i:02}")
    index = tmp_path / "i.sqlite"
    command = [LMI, "list", "--quiet", "--index", str(index), str(folder)]
    quiet = dict(stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    began = time.monotonic()
    subprocess.run(command, **quiet)
    whole = time.monotonic() - began
    expected = table(index, "SELECT path, findings, failure FROM recording ORDER BY path")
    index.unlink()
    for i in range(100):
        child = subprocess.Popen(command, **quiet)
        try:
            child.wait(whole * (i % 20) / 20)
        except subprocess.TimeoutExpired:
            child.kill()
            child.wait()
        if index.exists() and i % 10 == 9:
            assert table(index, "PRAGMA integrity_check") == [("ok",)]
            index.unlink()
            pathlib.Path(f"{index}-journal").unlink(missing_ok=True)
    several = [subprocess.Popen(command, **quiet) for _ in range(3)]
    assert [child.wait() for child in several] == [1, 1, 1]  # one sample can't be opened
    assert table(index, "SELECT path, findings, failure FROM recording ORDER BY path") == expected
