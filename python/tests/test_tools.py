"""The command: what it prints and writes, its exit status, and one message for what goes wrong."""

import os
import re
import subprocess
import sys
from pathlib import Path

import matplotlib.pyplot as plt
import pytest
from runs import EXAMPLES, LATTICE, SURFACE, path

from trel import tools

COMMAND = Path(tools.__file__).resolve().parents[1] / "trel-tools"
LIMB = str(EXAMPLES / "limb.trl")


@pytest.fixture(autouse=True)
def _elsewhere(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    yield
    plt.close("all")


def call(capsys, *words):
    """Exit status, standard output and standard error."""
    try:
        status = tools.main([str(word) for word in words])
    except SystemExit as end:
        status = end.code
    out = capsys.readouterr()
    return status, out.out, out.err


def test_runs_and_tells_of_them(capsys):
    status, out, err = call(capsys, "run", LIMB, "--packets", 2000, "--seed", 5, "--set",
                            "bone.mua=0.3", "-o", "a.nc", "--exits", "all")
    assert status == 0 and err == "" and "results: " in out
    status, out, _ = call(capsys, "info", "a.nc")
    assert status == 0
    for line in (r"packets: 2000", r"seed: 5", r"  x: 60, -14.75 to 14.75 mm",
                 r"  absorption \(wavelength, x, y, z\) mm-3 \+-",
                 r"  absorption_total, 750 nm: 0\.4\d+ \+- 0\.00\d+", r"  exit_weight \(.*\) 1"):
        assert re.search(line, out), line
    assert call(capsys, "run", LIMB, "--packets", 1000, "--seed", 6, "--quiet") == (0, "", "")
    assert Path("limb.nc").exists()
    status, out, _ = call(capsys, "compare", "a.nc", "limb.nc", "-o", "ab.png")
    assert Path("ab.png").stat().st_size > 5000 and ("no difference" in out) == (status == 0)


@pytest.mark.parametrize("words", [
    ("{limb}", "--normal", "z", "--at", "2"), ("{nc}",), ("{nc}", "--linear"),
    ("{nc}", "--what", "slice", "--time", "100", "--normal", "x", "--decades", "2"),
    ("{nc}", "--what", "profile", "--along", "x", "--log"), ("{nc}", "--what", "time"),
    ("{nc}", "--what", "surface", "--face", "side"), ("{nc}", "--what", "ledger"),
    ("{surface}", "--what", "mesh"),
])
def test_draws(words, capsys):
    files = {"limb": LIMB, "nc": path(*LATTICE), "surface": path(*SURFACE)}
    said = call(capsys, "plot", *(word.format(**files) for word in words), "-o", "x.png")
    assert said == (0, "", "")
    image = plt.imread("x.png")
    assert image.shape[0] > 300 and image[..., :3].std() > 0.05


def test_exports(capsys):
    for words in (("a.vti",), ("a.mat",), ("a.csv", "--name", "absorption_y")):
        assert call(capsys, "export", path(*LATTICE), *words) == (0, "", "")
        assert Path(words[0]).stat().st_size > 400
    assert len(Path("a.csv").read_text().splitlines()) == 1 + 8
    assert call(capsys, "export", path(*SURFACE), "a.vtu", "--cells", "face")[0] == 0


@pytest.mark.parametrize("words, status, message", [
    ((), 2, "required: COMMAND"), (("draw", "x"), 2, "invalid choice"),
    (("info", "none.nc"), 1, "none.nc is not there"),
    (("info", LIMB), 1, ""),
    (("run", "none.trl"), 1, "none.trl"),
    (("run", LIMB, "--set", "bone.mua"), 1, "write TISSUE.NAME=VALUE"),
    (("run", LIMB, "--set", "leg.mua=1"), 1, "no such tissue"),
    (("check", "bad.trl"), 1, None),
    (("plot", "{nc}", "--what", "ledger", "--at", "3"), 1, "--at says nothing of ledger"),
    (("plot", LIMB, "--log"), 1, "--log says nothing of a model"),
    (("plot", "{nc}", "--at", "99"), 1, "outside of -10 to 14 mm"),
    (("plot", "{nc}", "--what", "camera"), 1, "no camera1"),
    (("export", "{nc}", "a.xyz"), 1, "known endings"),
    (("export", "{nc}", "a.vti", "--cells", "face"), 1, "does not take"),
    (("export", "{nc}", "none/a.vti"), 1, "none/a.vti"),
    (("compare", "{nc}", "{nc}"), 1, "packets"),
])
def test_what_goes_wrong_is_one_message(words, status, message, capsys):
    Path("bad.trl").write_text(Path(LIMB).read_text().replace("tissueaxis", "tisueaxis"))
    got, out, err = call(capsys, *(word.format(nc=path(*LATTICE)) for word in words))
    assert got == status
    if message is None:
        assert "did you mean 'tissueaxis'" in out and "errors" in out and err == ""
    else:
        assert message in err and "Traceback" not in err and "trel-tools: " in err


def test_the_command_itself():
    done = subprocess.run([COMMAND, "check", LIMB], text=True, capture_output=True, check=False)
    assert (done.returncode, done.stderr) == (0, "") and "limb.trl: 0 errors" in done.stdout
    # Who reads no further is no fault.
    command = f"'{COMMAND}' info '{path(*LATTICE)}' | true"
    done = subprocess.run(["bash", "-c", command], text=True, capture_output=True, check=False,
                          env=dict(os.environ))
    assert done.stderr == ""


def test_opening_is_safe_from_the_collector_of_garbage():
    lines = f"""
import gc, trel
gc.set_threshold(20, 2, 2)
for _ in range(25):
    ring = [trel.open('{path(*LATTICE)}')]
    ring.append(ring)
    del ring
"""
    done = subprocess.run([sys.executable, "-c", lines], cwd=COMMAND.parent, check=False)
    assert done.returncode == 0
