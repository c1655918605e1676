"""lmi info, check, explain and formats: for people and for programs."""
import json
import pathlib
import subprocess

import jsonschema
import numpy as np
import pytest

from conftest import LMI, SAMPLES, complaint, run, write_wave

SCHEMA = json.loads((pathlib.Path(__file__).parents[2] / "docs/info.schema.json").read_text())


def test_json_is_as_its_schema_says(samples):
    all_of_it = json.loads(run("info", "--json", "--scan", samples, "missing.wdq", status=1))
    jsonschema.validate(all_of_it, SCHEMA)
    edf = next(r for r in all_of_it if r.get("FileTitle") == "edf_multirate.edf")
    assert edf["Blocks"][3]["Channels"][0]["Extremes"] == pytest.approx([95, 97.9], abs=2e-3)
    assert edf["Blocks"][0]["Comments"][2]["Time"] == 3.25


def test_what_json_has_no_number_for_is_a_text(tmp_path):
    import scipy.io
    scipy.io.savemat(tmp_path / "a.mat", {"x": np.array([[np.nan], [np.inf], [1.0]])})
    both = json.loads(run("info", "--json", "--scan", tmp_path / "a.mat"))
    jsonschema.validate(both, SCHEMA)
    assert both[0]["Blocks"][0]["Channels"][0]["First"] == ["NaN", "Infinity", 1.0]


def test_wide_characters_take_two_columns(tmp_path):
    rec = tmp_path / "a.wav"
    write_wave(rec, np.zeros((9, 2), int))
    (tmp_path / "a_wavheader.txt").write_text(
        "[Ch0]\nMaxRange=1\nMinRange=-1\nName=脳波\n[Ch1]\nMaxRange=1\nMinRange=-1\nName=abcd\n")
    lines = run("info", rec, "--code-page", "65001").splitlines()
    first, second = (next(line for line in lines if title in line) for title in ("脳波", "abcd"))
    place = first.index("脳波")
    assert second.index("abcd") == place
    assert first[place + 2:] == second[place + 4:]


def test_colours_quiet_and_the_last_line(samples):
    red = "\x1b[31m"
    assert red not in run("check", samples, status=1)
    assert red in run("check", samples, "--color", "always", status=1)
    assert "note" in run("check", samples / "octave_v4.mat")
    assert run("check", samples / "octave_v4.mat", "--quiet") == ""
    said = complaint("check", samples)
    assert said.startswith("16 recordings, ") and ", 1 failed; 3 other files passed over" in said
    assert complaint("check", samples, "--quiet") == ""


def test_explains_a_value_by_the_fields_it_comes_from(samples):
    text = run("explain", samples / "edf_multirate.edf", "--channel", "ecg ii", "--sample", "3")
    for part in ("physical minimum", "-5000", "digital maximum", "count -732", "= -111.62 mkV",
                 "= -0.11162 mV", "Formula, as written"):
        assert part in text, part
    position = next(line for line in text.splitlines() if "physical minimum  " in line).split()[0]
    data = (SAMPLES / "edf_multirate.edf").read_bytes()
    assert data[int(position):int(position) + 8] == b"-5000   "
    assert "LMImport shows the same" in run("explain", samples / "demo.lmc")


def test_says_what_there_is_for_a_mistyped_command():
    assert 'no command "lst"; there are list, info' in complaint("lst", status=2)


def test_ends_as_it_should_where_nothing_can_be_said(samples):
    for command in ("stats", "check", "list"):
        with open("/dev/full", "w") as full:
            run_status = subprocess.run([LMI, command, samples], stdout=subprocess.DEVNULL,
                                        stderr=full).returncode
        assert run_status == 1


def test_formats_are_told_whole():
    told = json.loads(run("formats", "--json"))
    formats = told["Read"]
    assert {f["Id"] for f in told["Written"]} == {"csv", "tsv", "npy", "npz", "mat", "wav", "edf", "hdf5"}
    windaq = next(f for f in formats if f["Id"] == "windaq")
    assert windaq["Endings"] == "*.wdq;*.wdh;*.whc" and "packed" in windaq["Limits"].lower()
    assert all(f["Published"] and f["Written"] and f["Versions"] for f in formats)
