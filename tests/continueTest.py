#!/usr/bin/python3
"""Cuts runs of trelrun into parts, by their batches, by signals and by force, and compares what the
parts are put together to with the run in one piece.

Usage: continueTest.py TRELRUN [KILLS]
"""

import os
import random
import resource
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

import netCDF4
import numpy as np

EXAMPLES = Path(__file__).resolve().parent.parent / "examples"
MODELS = ("pencil-beam", "fluorescence", "limb-time", "modulated-slab", "cameras", "fibers")
OPTIONS = {"limb-time": ["--keep-batches"], "fluorescence": ["--exits", "all"], "fibers": ["--exits", "900"]}
SAME_RUN = ["--seed", "5", "--packets", "2000"]


class Folder:
    def __init__(self, program, path):
        self.program, self.path = os.path.abspath(program), Path(path)

    def run(self, *arguments, status=0, **options):
        done = subprocess.run([self.program, "--quiet", *arguments], cwd=self.path, text=True,
                              capture_output=True, timeout=120, **options)
        assert done.returncode == status, f"{arguments}: {done.returncode} {done.stderr}"
        return done.stderr

    def start(self, *arguments):
        return subprocess.Popen([self.program, "--quiet", *arguments], cwd=self.path,
                                stderr=subprocess.PIPE)


def same(folder, got, wanted, tolerance):
    """All numbers, of a variable's largest; errors, from differences of sums, are less sure."""
    with netCDF4.Dataset(folder.path / got) as a, netCDF4.Dataset(folder.path / wanted) as b:
        assert set(a.variables) == set(b.variables), f"{got}: {set(a.variables) ^ set(b.variables)}"
        for name, variable in a.variables.items():
            if variable.dtype is str:
                continue
            x, y = (np.ma.filled(f[name][...].astype(float), np.nan) for f in (a, b))
            if name.startswith("exit_"):
                np.testing.assert_array_equal(x, y, f"{got}: {name}")
                continue
            sure = tolerance * (1e4 if "_error" in name else 1.0)
            scale = np.nanmax(np.abs(y), initial=1e-300, where=np.isfinite(y))
            np.testing.assert_allclose(x, y, rtol=0, atol=sure * scale, err_msg=f"{got}: {name}")


def test_parts(folder):
    """Half and half on one thread are the whole to the last digit; threads and ranges round."""
    for model in MODELS:
        model = [str(EXAMPLES / (model + ".trl")), *OPTIONS.get(model, [])]
        folder.run(*model, *SAME_RUN, "--threads", "1", "-o", "whole")
        folder.run(*model, "--seed", "5", "--packets", "1000", "--batches", "10", "--threads", "1", "-o", "half")
        folder.run(*model, "--continue", "--batches", "20", "--threads", "1", "-o", "half")
        same(folder, "half.nc", "whole.nc", 0.0)
        folder.run(*model, *SAME_RUN, "--threads", "3", "-o", "three")
        same(folder, "three.nc", "whole.nc", 1e-12)
        with netCDF4.Dataset(folder.path / "whole.nc") as whole:
            batch = int(whole.packets) // 20
        parts = []
        for first, batches in ((15, 5), (0, 8), (8, 7)):
            parts.append(f"part{first}")
            folder.run(*model, *SAME_RUN, "--packet-range", f"{first * batch}:{batches * batch}", "-o", parts[-1])
        folder.run("--merge", "merged.nc", *parts)
        same(folder, "merged.nc", "whole.nc", 1e-12)
    # Parts with a gap between them have the exits of their own packets, which can be flown again.
    folder.run("--merge", "gap", "part15", "part0")
    folder.run(model[0], "--replay", "gap.nc", "-o", "again")
    assert "no beginning of one run" in folder.run(model[0], "--continue", "-o", "gap", status=3)
    with netCDF4.Dataset(folder.path / "gap.nc") as gap:
        covered, first, end = (int(gap["exit_entry_" + name][0]) for name in ("packets", "first", "end"))
        last = int(gap["exit_packet"][-1])
        assert (first, end, covered) == (0, last + 1, last + 1 - 700) and len(gap["exit_packet"]) >= 900


def test_changes(folder):
    """Parts have the coefficients of the command line, and need no model; seeds are kept apart."""
    model = folder.path / "model.trl"
    model.write_text((EXAMPLES / "pencil-beam.trl").read_text())
    for seed in "12":
        folder.run("model.trl", "--mua", "0.3", "--packets", "400", "--seed", seed, "--exits", "9", "-o", seed)
    model.unlink()
    assert "different seeds have the same numbers" in folder.run("--merge", "both", "1", "2.nc")
    with netCDF4.Dataset(folder.path / "both.nc") as both:
        assert both.packet_ranges == "1 0:400\n2 0:400" and "seed" not in both.ncattrs()
        means = [netCDF4.Dataset(folder.path / f"{seed}.nc")["absorption_total"][0] for seed in "12"]
        np.testing.assert_allclose(both["absorption_total"][0], np.mean(means), rtol=1e-12)
        assert both["mua"][0, 0] == 0.3
    assert not [name for name in os.listdir(folder.path) if name.endswith(".tmp")]


def test_stops(folder, kills):
    """By force again and again, and by a signal: the run goes on to the same end."""
    path = str(EXAMPLES / "pencil-beam.trl")
    run = [path, "--seed", "5", "--packets", "60000", "--exits", "all"]
    folder.run(*run, "-o", "whole")
    for number in [signal.SIGKILL] * kills + [signal.SIGTERM]:
        kept = (folder.path / "cut.checkpoint.nc").exists()
        more = [path, "--continue"] if kept else run
        process = folder.start(*more, "--checkpoint", "0.1", "-o", "cut", "--batches", "20")
        try:
            process.wait(random.uniform(0.05, 0.4))
        except subprocess.TimeoutExpired:
            process.send_signal(number)
        process.communicate(timeout=60)
        assert process.returncode in (0, -signal.SIGKILL, -signal.SIGTERM, 143), process.returncode
        if process.returncode == 143:
            assert (folder.path / "cut.checkpoint.nc").exists()
    there = any((folder.path / name).exists() for name in ("cut.nc", "cut.checkpoint.nc"))
    folder.run(*([path, "--continue"] if there else run), "-o", "cut")
    same(folder, "cut.nc", "whole.nc", 1e-12)
    left = [name for name in os.listdir(folder.path) if name not in ("cut.nc", "whole.nc")]
    assert all(name.startswith(".") or "tmp" in name for name in left), left


def test_refusals(folder):
    path = str(EXAMPLES / "pencil-beam.trl")
    limb = str(EXAMPLES / "limb.trl")
    folder.run(path, *SAME_RUN, "-o", "a")
    folder.run(path, *SAME_RUN, "-o", "some", "--exits", "50")
    folder.run(path, *SAME_RUN, "-o", "one", "--batches", "1")
    (folder.path / "text.nc").write_text("no result")
    cameras = str(EXAMPLES / "cameras.trl")
    folder.run(cameras, *SAME_RUN, "-o", "old")
    with netCDF4.Dataset(folder.path / "old.nc", "a") as old:
        old.renameVariable("state_cameras_by_batch", "state_other")
    before = (folder.path / "a.nc").read_bytes()
    (folder.path / "cut.nc").write_bytes(before[:len(before) // 2])
    for words, status, told in (
            (["a.trl"], 1, "cannot be opened"),
            ([path, "--continue", "-o", "none"], 3, "none.nc: it cannot be opened"),
            ([path, "--continue", "-o", "text"], 3, "damaged, or of another program"),
            ([path, "--continue", "-o", "cut"], 3, "cut.nc: it "),
            ([path, "--continue", "-o", "one"], 3, "no state of a run in batches"),
            ([path, "--continue", "-o", "-"], 2, "no result to go on from"),
            ([cameras, "--continue", "-o", "old"], 3, "old.nc is of an earlier version, without the cameras'"),
            ([limb, "--continue", "-o", "a"], 1, "the model is not that of a.nc"),
            ([path, "--continue", "-o", "a", "--mus", "9"], 1, "a coefficient"),
            ([path, "--continue", "-o", "a", "--seed", "6"], 1, "the seed"),
            ([path, "--continue", "-o", "a", "--exits", "50"], 1, "in no table of exits: a.nc has none"),
            ([path, "--continue", "-o", "some", "--exits", "all"], 1, "--exits is not that of some.nc, which is 50"),
            ([path, "--continue", "-o", "a", "--batches", "19"], 1, "20 batches of 100 packets already"),
            ([path, *SAME_RUN, "--packet-range", "150:100"], 1, "100:100 and 200:100"),
            ([path, *SAME_RUN, "--packet-range", "1900:200"], 1, "not in the run"),
            ([path, "--packet-range", "5"], 2, "FIRST:COUNT"),
            (["--merge", "b", "a", "a"], 3, "both have packet 0 of seed 5"),
            (["--merge", "b", "a", "text"], 3, "text.nc: it is damaged"),
            (["--merge", "b", "a", "a", "--seed", "1"], 2, "--merge")):
        report = folder.run(*words, status=status)
        assert told in report, f"{words}: {report}"
    assert (folder.path / "a.nc").read_bytes() == before
    assert not (folder.path / "b.nc").exists()


def test_damage(folder):
    """Bytes that are not as they were: refused, or read as they are, but never a crash."""
    path = str(EXAMPLES / "pencil-beam.trl")
    folder.run(path, *SAME_RUN, "--exits", "all", "-o", "a")
    sound = (folder.path / "a.nc").read_bytes()
    numbers = random.Random(7)
    for _ in range(12):
        damaged = bytearray(sound)
        for _ in range(20):
            damaged[numbers.randrange(len(damaged))] = numbers.randrange(256)
        (folder.path / "a.nc").write_bytes(damaged)
        done = subprocess.run([folder.program, path, "--continue", "-o", "a", "--quiet"], cwd=folder.path,
                              capture_output=True, timeout=120)
        assert done.returncode in (0, 1, 3), f"{done.returncode}: {done.stderr}"


def test_no_room(folder):
    """Checkpoints that find no room are told once, and cost nothing else."""
    limit = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
    report = folder.run(str(EXAMPLES / "pencil-beam.trl"), "--packets", "20000", "--checkpoint", "0.1", "-o", "a",
                        status=3, preexec_fn=limit)
    assert report.count("no checkpoint") <= 1 and "Could not write a.nc" in report, report
    assert os.listdir(folder.path) == [], os.listdir(folder.path)


def main():
    kills = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    for test in (test_parts, test_changes, lambda folder: test_stops(folder, kills), test_refusals, test_damage,
                 test_no_room):
        with tempfile.TemporaryDirectory() as path:
            test(Folder(sys.argv[1], path))


if __name__ == "__main__":
    sys.exit(main())
