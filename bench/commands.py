#!/usr/bin/env python3
"""Measures the commands of lmi as whole processes, beside what does the same or moves the same bytes.

Usage: commands.py LMI FOLDER. Makes its recordings in the folder, runs each pair in turn, and prints the
best of five rounds as a table of docs/measurements.md: the time, and how many times as long the other
one takes, or how many times as long as the limit.
"""
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import time

import numpy as np

ROUNDS = 5
QUIET = dict(stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
LMI = os.path.abspath(sys.argv[1])
FOLDER = pathlib.Path(sys.argv[2])
SAMPLES = pathlib.Path(__file__).parents[1] / "samples"


def wave_head(channels, size):
    return struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + size, b"WAVE", b"fmt ", 16, 1, channels,
                       44100, 44100 * channels * 2, channels * 2, 16, b"data", size)


def make_inputs():
    FOLDER.mkdir(parents=True, exist_ok=True)
    random = np.random.default_rng(1)
    for name, channels, size in (("stereo.wav", 2, 60_000_000), ("eight.wav", 8, 200_000_000)):
        if not (FOLDER / name).exists():
            counts = random.integers(-32768, 32768, size // 2).astype("<i2")
            (FOLDER / name).write_bytes(wave_head(channels, size) + counts.tobytes())
    with open(FOLDER / "large.bin", "wb") as large:  # takes no room on the disk
        large.truncate(10 << 30)
    (FOLDER / "large_binheader.txt").write_text("NumAChannels=8\nSamplerate=10000\n" + "".join(
        f"[Ch{c}]\nMaxRange=1\nMinRange=-1\n" for c in range(8)))
    tree = FOLDER / "tree"
    if not tree.exists():
        sources = [p for p in sorted(SAMPLES.iterdir()) if p.suffix not in (".json", ".md")]
        for i in range(10_000):
            source = sources[i % len(sources)]
            folder = tree / f"{i // 500:02}"
            folder.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, folder / f"{i:05}-{source.name}")


def seconds(command, before=None):
    if before:
        before()
    began = time.perf_counter()
    subprocess.run(command, **QUIET)
    return time.perf_counter() - began


def best(*commands, before=None):
    """The best time of each, run in turn."""
    rounds = [[seconds(command, before) for command in commands] for _ in range(ROUNDS)]
    return [min(times) for times in zip(*rounds)]


def row(what, mine, limit="", other=""):
    print(f"| {what} | {mine} | {limit} | {other} |", flush=True)


def compare(what, mine, limit=None, other=None, name=""):
    times = best(*[command for command in (mine, limit, other) if command])
    row(what, f"{times[0] * 1000:.0f} ms", f"{times[0] / times[1]:.2f}" if limit else "",
        f"{name} {times[-1] / times[0]:.1f}" if other else "")


def peak(command):
    """MiB of memory that the process had at most. A process begins with the memory of the one that
    started it, so a small one does."""
    starter = ("import os, subprocess, sys\n"
               "child = subprocess.Popen(sys.argv[1:], stdout=subprocess.DEVNULL,"
               " stderr=subprocess.DEVNULL)\n"
               "print(os.wait4(child.pid, 0)[2].ru_maxrss / 1024)")
    done = subprocess.run([sys.executable, "-S", "-c", starter, *command], capture_output=True)
    return float(done.stdout)


def main():
    make_inputs()
    out = FOLDER / "out"
    out.mkdir(exist_ok=True)
    stereo, eight, large = (str(FOLDER / n) for n in ("stereo.wav", "eight.wav", "large.bin"))
    tree, index = str(FOLDER / "tree"), FOLDER / "index.sqlite"
    copy = lambda source: ["cp", source, str(out / "copy")]
    print("| what | lmi | over the limit | others, times slower |\n|---|---|---|---|")
    for what, command, before in (
            ("list of 10,000 files", [LMI, "list", tree], None),
            ("list of 10,000 files, with a new index", [LMI, "list", tree, "--index", str(index)],
             lambda: index.unlink(missing_ok=True)),
            ("the same again, nothing changed", [LMI, "list", tree, "--index", str(index)], None),
            ("check of 10,000 files", [LMI, "check", tree], None)):
        time_of, = best(command, before=before)
        row(what, f"{time_of * 1000:.0f} ms", "", f"{10_000 / time_of:.0f} files a second")
    compare("CSV of 30 million samples", [LMI, "read", stereo, "--times", "seconds"],
            other=["sox", stereo, "-t", "dat", "-"], name="sox")
    compare("export to wave, 200 MB; the limit is a copy",
            [LMI, "export", eight, "-o", str(out / "a.wav"), "-q"], limit=copy(eight))
    compare("export to NumPy counts, 200 MB; the limit is a copy",
            [LMI, "export", eight, "-o", str(out / "a.npy"), "--as", "integer", "-q"], limit=copy(eight))
    compare("stats of 200 MB; the limit is reading it", [LMI, "stats", eight],
            limit=[LMI, "read", eight, "--format", "raw"])
    compare("plot of 200 MB; the limit is reading it",
            [LMI, "plot", eight, "-o", str(out / "a.png")],
            limit=[LMI, "read", eight, "--format", "raw"])
    for what, arguments in (("info --scan", ["info", "--scan"]), ("check", ["check"]),
                            ("list", ["list"]), ("stats", ["stats"]),
                            ("plot", ["plot", "-o", str(out / "l.svg")]),
                            ("read, each 1,000th frame", ["read", "--every", "1000"])):
        row(f"peak memory: {what} of 10 GB", f"{peak([LMI, *arguments, large]):.1f} MiB")


if __name__ == "__main__":
    main()
