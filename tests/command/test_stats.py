"""lmi stats: against NumPy, and what is suspicious by hand."""
import json

import numpy as np

from conftest import run, write_wave


def stats(*arguments):
    return [json.loads(line) for line in run("stats", "--jsonl", *arguments).splitlines()]


def test_numbers_are_those_of_numpy(tmp_path):
    counts = np.random.default_rng(2).integers(-3000, 9000, (100_003, 3))
    found = stats(write_wave(tmp_path / "a.wav", counts))
    values = counts / 32768
    for c, one in enumerate(found):
        assert (one["smallest"], one["largest"]) == (values[:, c].min(), values[:, c].max())
        for key, expected in (("mean", values[:, c].mean()), ("deviation", values[:, c].std()),
                              ("rms", np.sqrt((values[:, c] ** 2).mean()))):
            assert abs(one[key] - expected) < 1e-12, key
        assert (one["samples"], one["full_scale_runs"], one["flat_runs"]) == (100_003, 0, 0)


def test_clipping_and_flat_lines(tmp_path):
    x = np.arange(40_000) * 7919 % 20_001 - 10_000  # no two neighbours are equal
    x[100:105] = 32767   # a run of five
    x[200] = -32768      # one alone is no run
    x[300:302] = -32768
    x[8_190:9_400] = 5   # 1.21 s, over the end of a piece
    x[30_000:30_900] = 5   # 0.9 s
    x[-1_000:] = 77
    one, = stats(write_wave(tmp_path / "a.wav", x[:, None]))
    assert (one["full_scale_runs"], one["full_scale_samples"]) == (2, 7)
    assert (one["flat_runs"], one["longest_flat"], one["longest_flat_start"]) == (2, 1.21, 8.19)


def test_runs_go_on_where_the_work_is_cut(tmp_path):
    """Long recordings are cut in equal stretches, one for each processor."""
    x = np.arange(1_200_000) * 7919 % 20_001 - 10_000
    x[599_300:600_600] = 4  # 1.3 s over the middle
    x[:2000] = 32767        # a run from the start, of 2 s
    x[-3:] = 32767
    one, = stats(write_wave(tmp_path / "a.wav", x[:, None]))
    assert (one["flat_runs"], one["longest_flat"], one["longest_flat_start"]) == (2, 2, 0)
    assert (one["full_scale_runs"], one["full_scale_samples"]) == (2, 2003)
    assert abs(one["mean"] - x.mean() / 32768) < 1e-12
    flat, = stats(write_wave(tmp_path / "b.wav", np.full((1_100_000, 1), -32768)))
    assert (flat["flat_runs"], flat["longest_flat"], flat["full_scale_runs"]) == (1, 1100, 1)
    assert flat["full_scale_samples"] == 1_100_000


def test_real_samples_and_blocks(tmp_path, samples):
    floats = [one for one in stats(samples / "test-44100Hz-2ch-32bit-float-le.wav")]
    assert [one["samples"] for one in floats] == [441, 441]
    # The variables of a MATLAB file are things of their own; the pieces of a channel are one.
    assert len(stats(samples / "octave_v4.mat")) == 5
    both = stats(samples / "edf_multirate.edf", "--channel", "5", "--from", "1", "--to", "3")
    assert [(one["title"], one["samples"]) for one in both] == [("ECG II", 512)]


def test_what_is_not_a_number_is_counted(tmp_path):
    import scipy.io
    values = np.array([1.0, np.nan, 3.0, np.inf])
    scipy.io.savemat(tmp_path / "a.mat", {"x": values[:3, None], "y": values[1:2, None] * [[1], [1]]})
    by_samples = {one["samples"]: one for one in stats(tmp_path / "a.mat")}
    assert (by_samples[3]["nan"], by_samples[3]["mean"], by_samples[3]["largest"]) == (1, 2, 3)
    assert (by_samples[2]["nan"], by_samples[2]["mean"]) == (2, "NaN")
