"""What `lmi export` writes, read by the programs that it is for, and compared with `lmi read`."""
import csv
import io
import json
import os
import re
import shutil
import signal
import subprocess
import time

import h5py
import numpy
import pytest
import scipy.io
import xarray

from conftest import LMI, SAMPLES, complaint, run, write_wave

NAMES = sorted(path.name for path in SAMPLES.iterdir()
               if path.suffix not in (".json", ".md") and path.name != "test_file_hdf5.mat")
STEP = 0.05  # counts come back to a twentieth of a step


def blocks_of(path):
    return json.loads(run("info", "--json", path))[0]["Blocks"]


def read(path, block=1, *options):
    """Frames by channels, as exact as they are."""
    text = run("read", path, "--block", block, "--digits", 17, *options)
    rows = list(csv.reader(io.StringIO(text)))[1:]
    return numpy.array(rows, float).reshape(len(rows), -1)


def export(path, tmp_path, ending, *options):
    target = tmp_path / f"exported{ending}"
    run("export", path, "-o", target, "-q", *options)
    return target


def files_of(target, blocks):
    """Those of a format that holds one block."""
    return [target if i == 0 else target.with_stem(f"{target.stem}-block{i + 1}")
            for i in range(len(blocks))]


def same(found, expected):
    return found.shape == expected.shape and numpy.array_equal(found, expected, equal_nan=True)


def steps_of(block):
    return numpy.array([abs(channel["ChannelDoubleA"]) for channel in block["Channels"]])


@pytest.mark.parametrize("name", NAMES)
def test_numpy(samples, tmp_path, name):
    path = samples / name
    blocks = blocks_of(path)
    archive = numpy.load(export(path, tmp_path, ".npz"))
    arrays = [numpy.load(file) for file in files_of(export(path, tmp_path, ".npy"), blocks)]
    counts = numpy.load(export(path, tmp_path, ".npz", "--as", "integer"))
    for i, block in enumerate(blocks, 1):
        expected = read(path, i)
        assert same(arrays[i - 1], expected) and same(archive[f"block{i}"], expected)
        assert archive[f"block{i}_rate"] == block["SamplingRate"]
        assert list(archive[f"block{i}_titles"]) == [c["ChannelTitle"] for c in block["Channels"]]
        if not block["RealSamples"]:
            values = counts[f"block{i}"] * counts[f"block{i}_factor"] + counts[f"block{i}_offset"]
            assert numpy.allclose(values, expected, rtol=1e-12, atol=min(steps_of(block)) * 1e-9)


@pytest.mark.parametrize("name", NAMES)
def test_matlab(samples, tmp_path, name):
    path = samples / name
    blocks = blocks_of(path)
    target = export(path, tmp_path, ".mat")
    loaded = scipy.io.loadmat(target, chars_as_strings=True)
    script = f"load {target}; "
    for i, block in enumerate(blocks, 1):
        found = loaded[f"block{i}"][0, 0]
        assert same(found["data"].astype(float), read(path, i))
        assert found["rate"] == block["SamplingRate"]
        titles = ["".join(title[0]) for title in found["titles"]]
        assert titles == [channel["ChannelTitle"] for channel in block["Channels"]]
        script += f"printf('%.17g ', block{i}.data); puts(['|' block{i}.titles{{end}} \"\\n\"]); "
    done = subprocess.run(["octave-cli", "--quiet", "--eval", script], capture_output=True,
                          encoding="latin-1", check=True)
    for i, (line, block) in enumerate(zip(done.stdout.split("\n"), blocks), 1):
        numbers, title = line.split("|", 1)
        expected = read(path, i)
        assert same(numpy.array(numbers.split(), float), expected.ravel(order="F"))
        wanted = block["Channels"][-1]["ChannelTitle"]
        assert not wanted.isascii() or title == wanted


@pytest.mark.parametrize("name", NAMES)
def test_hdf5(samples, tmp_path, name):
    path = samples / name
    target = export(path, tmp_path, ".h5")
    counts = export(path, tmp_path, ".hdf5", "--as", "integer")
    with h5py.File(target) as file:
        for i, block in enumerate(blocks_of(path), 1):
            expected = read(path, i)
            group = file[f"block{i}"]
            assert group.attrs["sampling_rate"] == block["SamplingRate"]
            channels = sorted((group[key] for key in group if key != "time"),
                              key=lambda dataset: dataset.attrs["channel"])
            assert same(numpy.array(channels, float).T, expected)
            units = [channel.attrs.get("units", "") for channel in channels]
            assert sorted(units) == sorted(c["ChannelUnitName"] for c in block["Channels"])
            for source in (target, counts):  # by their scale factors, counts become values
                with xarray.open_dataset(source, group=f"block{i}", engine="h5netcdf") as table:
                    for channel in channels:
                        column = table[channel.name.split("/")[-1]]
                        assert numpy.allclose(column, channel, rtol=1e-12, atol=1e-12)
                        assert column.dims == ("time",)
                    assert numpy.allclose(numpy.diff(table.time), 1 / block["SamplingRate"])


@pytest.mark.filterwarnings("ignore:Chunk")
@pytest.mark.parametrize("name", NAMES)
def test_wave(samples, tmp_path, name):
    path = samples / name
    blocks = blocks_of(path)
    for file, block, i in zip(files_of(export(path, tmp_path, ".wav"), blocks), blocks, range(1, 99)):
        expected = read(path, i)
        if block["RealSamples"]:
            expected = expected.astype(numpy.float32).astype(float)
            allowed = numpy.zeros(expected.shape[1])
        else:
            allowed = steps_of(block) * STEP
        back, = blocks_of(file)
        found = read(file)
        assert found.shape == expected.shape
        assert numpy.all((abs(found - expected) <= allowed) | (found == expected)
                         | numpy.isnan(expected))
        assert back["SamplingRate"] == numpy.float32(block["SamplingRate"])
        assert [c["ChannelTitle"] for c in back["Channels"]] == \
            [c["ChannelTitle"] for c in block["Channels"]]
        rate, data = scipy.io.wavfile.read(file)
        assert rate == max(1, round(block["SamplingRate"])) and len(data) == len(expected)
        if block["RealSamples"] is False and block["SampleBits"] == 16:
            assert same(data.reshape(expected.shape).astype(float), read(path, i, "--as", "integer"))
        shown = subprocess.run(["soxi", "-s", file], capture_output=True, text=True, check=True)
        assert int(shown.stdout) == len(expected)


def edf_header(path):
    """The fields that decide what a file means, by the published layout."""
    data = path.read_bytes()
    signals = int(data[252:256])
    texts = {}
    place = 256
    for field, width in (("label", 16), ("transducer", 80), ("unit", 8), ("low", 8), ("high", 8),
                         ("lowest", 8), ("highest", 8), ("filter", 80), ("frames", 8)):
        texts[field] = [data[place + i * width:place + (i + 1) * width].decode("ascii").strip()
                        for i in range(signals)]
        place += signals * width
    texts["size"] = len(data)
    texts["plus"] = data[192:197].decode()
    texts["records"] = int(data[236:244])
    texts["seconds"] = float(data[244:252])
    words = numpy.frombuffer(data[256 * (signals + 1):], "<i2").reshape(texts["records"], -1)
    ends = numpy.cumsum([0] + [int(frames) for frames in texts["frames"]])
    texts["signals"] = [words[:, a:b] for a, b in zip(ends, ends[1:])]
    return texts


def allowed_in_edf(block, values):
    if not block["RealSamples"] and block["SampleBits"] <= 16:
        return steps_of(block) * STEP
    span = numpy.nanmax(values, 0) - numpy.nanmin(values, 0)
    counts = 0 if block["RealSamples"] else steps_of(block) * STEP
    return numpy.maximum(counts, span / 65535 + abs(values).max(0) * 1e-5)


def is_among(column, allowed, path, rate):
    """Whether a signal has these values, and nothing but padding after them."""
    for i, block in enumerate(blocks_of(path), 1):
        if abs(block["SamplingRate"] / rate - 1) > 1e-6 or block["SizeChannel"] < len(column):
            continue
        for found, channel in zip(read(path, i).T, block["Channels"]):
            power = re.match(r"E(-?\d+)", channel["ChannelUnitName"])
            found = found[:len(column)] * (10.0 ** int(power[1]) if power else 1)
            if numpy.all(abs(found - column) <= allowed):
                return True
    return False


@pytest.mark.parametrize("name", NAMES)
def test_edf(samples, tmp_path, name):
    path = samples / name
    export(path, tmp_path, ".edf")
    files = sorted(tmp_path.glob("exported*.edf"))
    for number, block in enumerate(blocks_of(path), 1):
        values = read(path, number)
        for column, allowed in zip(values.T, allowed_in_edf(block, values)):
            assert any(is_among(column, allowed, file, block["SamplingRate"]) for file in files)
    for file in files:
        header = edf_header(file)
        assert header["plus"] == "EDF+C" and header["size"] % 2 == 0
        stamps = header["signals"][header["label"].index("EDF Annotations")]
        onsets = [float(record.tobytes().split(b"\x14")[0]) for record in stamps]
        for k, record in enumerate(stamps):
            assert 0 <= onsets[0] < 1 and abs(onsets[k] - onsets[0] - k * header["seconds"]) < 1e-3 and record.tobytes()[-1] == 0


@pytest.mark.parametrize("frames", [1, 5, 30])
def test_edf_keeps_the_length_of_short_recordings(tmp_path, frames):
    counts = numpy.arange(frames)[:, None] * 100 - 1000
    wave = write_wave(tmp_path / "short.wav", counts, rate=100)
    run("export", wave, "-o", tmp_path / "short.edf")
    assert (read(tmp_path / "short.edf").shape[0], frames) == (frames, frames)


def test_edf_keeps_gaps_and_comments(samples, tmp_path):
    """Of a recording of five signals at four rates, the records from 10 s on are made 100 s later."""
    path = samples / "edf_multirate.edf"
    whole = export(path, tmp_path, ".edf")
    header = edf_header(whole)
    data = bytearray(whole.read_bytes())
    data[192:197] = b"EDF+D"
    start = 256 * (len(header["label"]) + 1)
    size = (len(data) - start) // header["records"]
    place = sum(2 * int(n) for n in header["frames"][:header["label"].index("EDF Annotations")])
    for k in range(10, header["records"]):
        at = start + k * size + place
        old = f"+{k}".encode() + b"\x14\x14\0"
        assert data[at:at + len(old)] == old
        data[at:at + len(old) + 1] = f"+{k + 100}".encode() + b"\x14\x14\0"
    gapped = tmp_path / "gapped.edf"
    gapped.write_bytes(data)
    again = tmp_path / "again.edf"
    run("export", gapped, "-o", again)
    assert edf_header(again)["plus"] == "EDF+D"
    for one, other in ((path, whole), (gapped, again)):
        found, expected = blocks_of(other), blocks_of(one)
        assert len(found) == len(expected)
        for a, b in zip(found, expected):
            for key in ("StartTime", "SizeChannel", "SamplingRate", "Start", "Comments"):
                assert a[key] == b[key]
            assert [c["ChannelTitle"] for c in a["Channels"]] == \
                [c["ChannelTitle"] for c in b["Channels"]]
    assert {block["StartTime"] for block in blocks_of(again)} == {0, 110}


@pytest.mark.parametrize("name", NAMES)
def test_text(samples, tmp_path, name):
    path = samples / name
    for ending, separator in ((".csv", ","), (".tsv", "\t")):
        text = export(path, tmp_path, ending, "--block", 1).read_text()
        titles, *rows = csv.reader(io.StringIO(text), delimiter=separator)
        block = blocks_of(path)[0]
        assert titles[0] == "Time [s]" and titles[-1] == "Comment" and len(rows) == block["SizeChannel"]
        values = numpy.array([row[1:-1] for row in rows], float)
        assert numpy.allclose(values, read(path), rtol=1e-12, atol=max(steps_of(block)) * STEP)
        assert (sum(1 for row in rows if row[-1]) > 0) == (block["CommentCount"] > 0)


@pytest.mark.skipif("LMI_LARGE_FILES" not in os.environ, reason="takes 10 GB and a minute")
def test_large_archive_and_wave(tmp_path):
    """Above 4 GiB, with the 64-bit fields of both."""
    source = tmp_path / "long.raw"
    with open(source, "wb") as file:
        file.truncate(2 ** 32 + 4000)
        file.seek(-2, 2)
        file.write(b"\x07\0")
    target = tmp_path / "long.npz"
    run("export", source, "-o", target, "--as", "integer", "--channels", 2, "-q")
    assert list(numpy.load(target)["block1"][-1]) == [0, 7]
    target.unlink()
    target = tmp_path / "long.wav"
    run("export", source, "-o", target, "--channels", 2, "-q")
    with open(target, "rb") as file:
        assert file.read(4) == b"RF64"
    last = blocks_of(target)[0]["SizeChannel"]
    assert run("read", target, "--as", "integer", "--start", last, "--no-header") == "0,7\n"


def test_what_is_written_where(samples, tmp_path):
    """A tree of recordings stays one, names that are equal are kept apart, nothing is overwritten."""
    tree = tmp_path / "tree"
    (tree / "deep").mkdir(parents=True)
    for name in ("x.edf", "deep/x.edf"):
        shutil.copy(samples / "edf_multirate.edf", tree / name)
    for name in ("x.lmc", "sound.wav"):
        shutil.copy(samples / ("demo.lmc" if name == "x.lmc" else "sox_stereo.wav"), tree / name)
    (tree / "broken.edf").write_bytes(b"0       nothing")
    said = complaint("export", tree, "-o", f"{tmp_path}/out/", "--to", "npz")
    assert sorted(str(p.relative_to(tmp_path / "out")) for p in (tmp_path / "out").rglob("*.*")) == \
        ["deep/x.npz", "sound.npz", "x-2.npz", "x.npz"]
    assert "broken.edf" in said and "x-2.npz" in said
    before = (tree / "sound.wav").read_bytes()
    assert "replace" in complaint("export", tree / "sound.wav", "-o", tree / "sound.wav")
    run("export", tree / "sound.wav", "-o", tree, "--to", "wav", "-q")
    assert (tree / "sound.wav").read_bytes() == before and (tree / "sound-2.wav").exists()


@pytest.mark.parametrize("options, wanted", [
    (["-o", "x.unknown"], "--to"),
    (["-o", "x.npy", "--bits", "16"], "--bits"),
    (["-o", "x.edf", "--as", "single"], "--as"),
    (["demo.lmc", "-o", "x.npy"], "folder"),
])
def test_command_lines_that_make_no_sense(samples, options, wanted):
    assert wanted in complaint("export", "demo.lmc", *options, status=2, cwd=samples)


def test_losses_are_said(samples, tmp_path):
    path = samples / "demo.lmc"
    for ending, words in ((".npy", "titles, units, rate, start, comments, notes"),
                          (".wav", "comments, notes"), (".csv", "start, notes")):
        target = tmp_path / f"x{ending}"
        assert f"not kept: {words}" in complaint("export", path, "-o", target, status=0)
        assert complaint("export", path, "-o", target, "-q", status=0) == ""


@pytest.mark.parametrize("ending", [".csv", ".npy", ".npz", ".mat", ".wav", ".edf", ".h5"])
def test_a_full_disk_leaves_nothing(tmp_path, ending):
    """No file may grow past what the shell allows, as on a disk that is full."""
    source = tmp_path / "long.raw"
    source.write_bytes(numpy.random.default_rng(1).integers(-9999, 9999, 2 ** 20, "i2").tobytes())
    folder = tmp_path / "out"
    folder.mkdir()
    done = subprocess.run(
        ["bash", "-c", f"ulimit -f 512; trap '' XFSZ; exec \"$0\" export {source} -o {folder}/x{ending}",
         LMI], capture_output=True, text=True)
    assert done.returncode == 1 and "x" + ending in done.stderr, done.stderr
    assert list(folder.iterdir()) == []


def test_an_interrupt_leaves_nothing(tmp_path):
    source = tmp_path / "long.raw"
    with open(source, "wb") as file:
        file.truncate(2 ** 28)
    for ending in (".npz", ".wav", ".edf", ".h5", ".mat", ".csv"):
        folder = tmp_path / ending
        folder.mkdir()
        with subprocess.Popen([LMI, "export", source, "-o", folder / f"x{ending}", "-q"],
                              stderr=subprocess.DEVNULL) as process:
            while process.poll() is None and not list(folder.iterdir()):
                time.sleep(0.01)
            process.send_signal(signal.SIGINT)
            assert process.wait(timeout=60) == 130
        assert list(folder.iterdir()) == []


def test_texts_beyond_ascii(samples, tmp_path):
    """Titles and units of an EDF file in Windows-1252, through every format."""
    data = bytearray((samples / "edf_multirate.edf").read_bytes())
    data[256:272] = "Größe µ".encode("cp1252").ljust(16)
    path = tmp_path / "umlaut.edf"
    path.write_bytes(data)
    block, = (b for b in blocks_of(path) if b["Channels"][0]["ChannelGlobalIndex"] == 1)
    number = block["BlockIndex"]
    titles = [channel["ChannelTitle"] for channel in block["Channels"]]
    assert "Größe µ" in titles
    archive = numpy.load(export(path, tmp_path, ".npz"))
    assert list(archive[f"block{number}_titles"]) == titles
    loaded = scipy.io.loadmat(export(path, tmp_path, ".mat"))[f"block{number}"][0, 0]
    assert ["".join(title[0]) for title in loaded["titles"]] == titles
    with h5py.File(export(path, tmp_path, ".h5")) as file:
        assert file[f"block{number}/Größe µ"].attrs["long_name"] == "Größe µ"
    wave = export(path, tmp_path, ".wav", "--block", number)
    assert [channel["ChannelTitle"] for channel in blocks_of(wave)[0]["Channels"]] == titles
    assert edf_header(export(path, tmp_path, ".edf"))["label"][0] == "Grosse u"
