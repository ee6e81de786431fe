"""Series: their jobs, their folder, scripts for batch systems, and what their tables say."""

import hashlib
import json
import os
import shutil
import signal
import subprocess
import sys
from pathlib import Path

import numpy as np
import pytest
import sweeping
import trel
import xarray as xr
from trel.sweep.folder import Folder
from trel.tools import main

QUANTITIES = ["Rd", "Rd(r)", "absorption", "absorption(z)"]
MUA = {"skin.mua": [0.02, 0.05]}
EXAMPLES = Path(__file__).resolve().parents[2] / "examples"


@pytest.fixture
def program(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    made = sweeping.Program(tmp_path / "bin")
    monkeypatch.setenv("TREL_BIN", str(made.folder))
    return made


def assert_same_numbers(one, other):
    assert set(one.data_vars) == set(other.data_vars)
    for name in one.data_vars:
        if one[name].dtype.kind == "f":
            np.testing.assert_allclose(one[name], other[name], rtol=1e-9, err_msg=name)
        else:
            np.testing.assert_array_equal(one[name], other[name], err_msg=name)


def test_the_table_has_the_numbers_of_single_runs(program):
    values = {**MUA, "1.mus": [5, 9]}
    table = trel.sweep(sweeping.block(), values, "s", QUANTITIES, root_seed=3, packets=1e3,
                       keep="nc")
    assert table.Rd.dims == ("skin.mua", "1.mus", "wavelength") and table.Rd.units == "1"
    assert table.absorption_z.units == "mm-1" and table["1.mus"].units == "mm-1"
    point = table.isel({"skin.mua": 1, "1.mus": 0})
    run = sweeping.block().run(1e3, seed=int(point.seed), threads=1, out="one",
                               settings={"skin.mua": 0.05, "1.mus": 5})
    for name, made in [("Rd", run.trel.Rd()), ("Rd_r", run.trel.Rd(slice(None))),
                       ("absorption", run.trel.total()), ("absorption_z", run.trel.profile())]:
        np.testing.assert_allclose(point[name], made.value, rtol=1e-9)
        np.testing.assert_allclose(point[f"{name}_error"], made.error, rtol=1e-9)
    whole = trel.open(f"s/results/{point.key.item()}.nc")
    np.testing.assert_allclose(whole.absorption, run.absorption, rtol=1e-9)
    assert len(program.runs()) == 4
    small = trel.sweep(sweeping.block(), values, "t", QUANTITIES, root_seed=3, packets=1e3)
    assert_same_numbers(small, table)
    kept = trel.open(f"t/results/{point.key.item()}.nc")
    assert "absorption" not in kept and "absorption_total" in kept
    assert kept.trel.ledger().sizes == whole.trel.ledger().sizes


def test_what_is_done_is_not_computed_again(program):
    first = trel.sweep(sweeping.block(), {**MUA, "skin.g": [0.8]}, "s", root_seed=1, replicates=2)
    assert len(program.runs()) == 4
    # The same numbers in other words, two more values, another quantity, no seed.
    more = trel.sweep(sweeping.block(), {"skin.g": [8e-1, 0.7], "skin.mua": [5e-2, 0.1, 0.02]}, "s",
                      ["Rd", "top"], replicates=2)
    assert len(program.runs()) == 4 + 8 and int(more.attrs["root_seed"]) == 1
    old = more.sel({"skin.mua": [0.02, 0.05], "skin.g": [0.8]})
    np.testing.assert_array_equal(old.seed.transpose(*first.seed.dims), first.seed)
    np.testing.assert_array_equal(old.Rd.transpose(*first.Rd.dims), first.Rd)
    assert len(np.unique(more.seed)) == 12
    other = trel.sweep(sweeping.block(), {"skin.g": [0.8, 0.7]}, "s", common_seeds=True,
                       replicates=2)
    assert len(np.unique(other.seed)) == 2 and (other.seed[0] == other.seed[1]).all()
    # Other packets and another model are other runs.
    trel.sweep(sweeping.block(), {"skin.g": [0.8]}, "s", packets=1000)
    trel.sweep(sweeping.block().ambient(1.2), {"skin.g": [0.8]}, "s")
    assert len(program.runs()) == 12 + 4 + 2


def test_seeds_are_those_of_the_manual(program):
    table = trel.sweep(sweeping.block(), {"skin.mus": [1e1], "skin.mua": [0.02]}, "s", root_seed=7)
    text = '[7,[["skin.mua","0.02"],["skin.mus","10"]],0]'
    seed = int.from_bytes(hashlib.sha256(text.encode()).digest()[:8], "big")
    assert int(table.seed) == seed
    job = json.loads(Path("s/jobs.jsonl").read_text())
    # The command of a job gives its numbers in any shell.
    shutil.copytree("s", "copy")
    shutil.rmtree("copy/results")
    Path("copy/results").mkdir()
    subprocess.run(job["command"] + " --quiet", shell=True, cwd="copy", check=True,
                   env=sweeping.environment(PATH=f"{program.folder}:{os.environ['PATH']}"))
    again = trel.open(f"copy/results/{job['key']}").trel.Rd()
    np.testing.assert_allclose(again.value.squeeze(), table.Rd.squeeze(), rtol=1e-9)


CLIENT = """
import sys, sweeping, trel
trel.sweep(sweeping.block(), {"skin.mua": [0.02, 0.03, 0.04, 0.05]}, sys.argv[1], root_seed=2,
           packets=int(sys.argv[2]), runner=trel.Local(1, 1))
"""


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGKILL])
def test_a_stopped_series_goes_on(program, number):
    values = {"skin.mua": [0.02, 0.03, 0.04, 0.05]}
    program.trouble("hang", "skin.mua=0.04")
    client = subprocess.Popen([sys.executable, "-c", CLIENT, "s", "2000"],
                              env=sweeping.environment(PYTHONPATH=":".join(sys.path)))
    hung = program.hung()
    sweeping.wait_for(lambda: len(Folder("s").manifest()) == 2)
    client.send_signal(number)
    client.wait(60)
    sweeping.wait_for(lambda: not sweeping.is_there(hung))
    before = Folder("s").manifest()
    assert len(before) == 2 and all(told["status"] == "done" for told in before.values())
    # It has flown more packets than were asked for: of those there is nothing to go on from.
    for file in Path("s/results").glob("*.checkpoint.nc"):
        file.unlink()
    for file in Path("s/results").glob("*.nc"):
        if file.stem not in before:
            file.unlink()
    table = trel.sweep(sweeping.block(), values, "s", packets=2000)
    assert len(program.runs()) == 3 + 2 and (table.status == "done").all()
    assert_same_numbers(table, trel.sweep(sweeping.block(), values, "t", root_seed=2, packets=2000))


def test_a_stopped_job_goes_on(program):
    program.trouble("stop", "skin.mua=0.05")
    options = {"root_seed": 5, "packets": 2e3, "runner": trel.Local(1, 1)}
    table = trel.sweep(sweeping.block(), MUA, "s", **options)
    assert table.status.values.tolist() == ["done", "missing"]
    table = trel.sweep(sweeping.block(), MUA, "s", **options)
    assert "--continue" in program.runs()[-1] and len(program.runs()) == 3
    assert_same_numbers(table, trel.sweep(sweeping.block(), MUA, "t", **options))


def test_a_crash_between_result_and_manifest_loses_nothing(program):
    table = trel.sweep(sweeping.block(), MUA, "s", packets=1000)
    manifest = Path("s/manifest.jsonl")
    manifest.write_text(manifest.read_text()[:-30])
    assert_same_numbers(trel.sweep(sweeping.block(), MUA, "s", packets=1000), table)
    assert len(program.runs()) == 2 and len(Folder("s").manifest()) == 2
    # A result of another seed is none of this job.
    files = sorted(Path("s/results").glob("*.nc"))
    files[1].unlink()
    shutil.copy(files[0], files[1])
    manifest.unlink()
    with pytest.raises(trel.RunError, match="seed"):
        trel.sweep(sweeping.block(), MUA, "s", packets=1000)


def test_two_writers_are_refused(program):
    with Folder("s").writing():
        with pytest.raises(trel.TrelError, match="another process writes"):
            trel.sweep(sweeping.block(), MUA, "s", packets=100)
    trel.sweep(sweeping.block(), MUA, "s", packets=100)


def test_wrong_models_are_results(program):
    def beam(point):
        if point["x"] > 9:
            raise trel.ModelError("beside the table")
        block = trel.Model.box(6, 0.02, 5, 0.9, 1.4, name="t")
        return block.pencil((point["x"], 0, -1)).packets(500)

    values = {"x": [0, 1, 8, 10], "t.mua": [0.2, -1]}
    with pytest.warns(UserWarning):
        table = trel.sweep(beam, values, "s", ["absorption"])
    good = table.status.values == "done"
    assert good.tolist() == [[True, False], [True, False], [False, False], [False, False]]
    assert (np.isfinite(table.absorption.values[..., 0]) == good).all()
    messages = table.message.values
    assert "mua must be" in messages[0, 1] and "beside" in messages[3, 0] and messages[2, 0]
    count = len(program.runs())
    trel.sweep(beam, values, "s", ["absorption"])
    assert len(program.runs()) == count
    with pytest.warns(UserWarning):
        trel.sweep(beam, values, "s", ["absorption"], retry=True)
    assert len(program.runs()) == count + 4
    for wrong in ({"skin.mua": []}, {"skin.mua": [0.1, 1e-1]}, {"skin.mua": [float("nan")]}):
        with pytest.raises(trel.ModelError):
            trel.sweep(sweeping.block(), wrong, "s")


def test_models_take_their_meshes_with_them(program):
    model = trel.Model.read(EXAMPLES / "nodule.trl").packets(500)
    trel.sweep(model, {"fat.mua": [0.01]}, "s", ["absorption"], root_seed=1)
    shutil.move("s", "elsewhere")
    table = trel.sweep(EXAMPLES / "nodule.trl", {"fat.mua": [0.01, 0.02]}, "elsewhere",
                       ["absorption"], packets=500)
    assert (table.status == "done").all()
    assert len(list(Path("elsewhere/models").glob("*.off"))) == 1


def test_slurm_and_parallel_do_the_same_jobs(program):
    options = {"root_seed": 5, "packets": 2e3}
    values = {"skin.mua": [0.02, 0.05, 0.1]}
    table = trel.sweep(sweeping.block(), values, "local", **options)
    for kind in ("slurm", "parallel"):
        empty = trel.sweep(sweeping.block(), values, kind, runner=kind, **options)
        assert (empty.status == "missing").all()
    assert main(["sweep", "--collect", "slurm"]) == 1
    program.trouble("stop", "skin.mua=0.05")
    Path("bin/scontrol").write_text(f"#!/bin/sh\necho $* >>{program.folder}/requeued\n")
    Path("bin/scontrol").chmod(0o755)
    path = f"{program.folder}:{os.environ['PATH']}"
    ends = []
    for task in (1, 2, 3, 2):
        variables = sweeping.environment(PATH=path, SLURM_ARRAY_TASK_ID=task, SLURM_ARRAY_JOB_ID=77,
                                         SLURM_CPUS_PER_TASK=1, SLURM_SUBMIT_DIR="slurm")
        done = subprocess.run(["bash", "slurm/slurm.sh"], env=variables, check=False)
        ends.append(done.returncode)
    assert ends == [0, 143, 0, 0]
    assert Path("bin/requeued").read_text() == "requeue 77_2\n"
    assert "--continue" in program.runs()[-1]
    subprocess.run(["bash", "parallel/parallel.sh", "--jobs", "2"], check=True)
    for kind in ("slurm", "parallel"):
        assert main(["sweep", "--collect", kind, "-o", f"{kind}.nc"]) == 0
        with xr.open_dataset(f"{kind}.nc") as collected:
            assert_same_numbers(collected, table)


def test_the_command_runs_tells_and_collects(program, capsys):
    sweeping.block().write("skin.trl")
    words = ["sweep", "skin.trl", "s", "--vary", "skin.mua=0.02,0.05", "--packets", "1e3"]
    assert main([*words, "--root-seed", "4", "--quantities", "Rd,Rd(r)", "-o", "t.csv"]) == 0
    told = capsys.readouterr().out.splitlines()
    table = trel.sweep("skin.trl", MUA, "s", packets=1e3)
    assert told[0] == "skin.mua  Rd  status" and len(told) == 3
    assert told[2].startswith(f"0.05  {table.Rd.values[1, 0]:.6g} +- ")
    assert f"{table.Rd.values[1, 0]:.10}" in Path("t.csv").read_text()
    assert len(program.runs()) == 2
    assert main(["sweep", "--status", "s"]) == 0
    assert capsys.readouterr().out == "done: 2\nwrong: 0\nlost: 0\nmissing: 0\n"
    for wrong in (["sweep", "skin.trl", "s"], ["sweep", "skin.trl", "s", "--vary", "mua=1"],
                  ["sweep", "--status", "nowhere"], ["worker", "tcp://10.0.0.1:8786"],
                  ["scheduler", "tcp://0.0.0.0:8786"], ["scheduler", "tls://127.0.0.1:8786"]):
        assert main(wrong) == 1
        assert capsys.readouterr().err.startswith("trel-tools: ")


def test_a_run_in_parts_is_the_run(program):
    model = trel.Model.read(EXAMPLES / "nodule.trl").grid(dx=4, dy=4, dz=4)
    asked = {"packets": 2.1e3, "seed": 7, "exits": 500, "batches": 9}
    one = model.run(**asked, out="one")

    class Half:  # what is left by a runner that was ended
        def run(self, jobs, folder):
            yield from trel.Local().run(jobs[:2], folder)

    with pytest.raises(trel.RunError, match="missing"):
        model.run(**asked, out="many", runner=Half())
    many = model.run(**asked, out="many", runner="local")
    assert len(program.runs()) == 4 and not Path("many.parts").exists()
    ranges = sorted(int(line.split("--packet-range ")[1].split(":")[0]) for line in program.runs())
    assert len(set(ranges)) == 4
    assert one.attrs["packets"] == many.attrs["packets"] and many.attrs["batches"] == 9
    for name in one.data_vars:
        if one[name].dtype.kind == "f":
            np.testing.assert_allclose(one[name], many[name], rtol=1e-9, err_msg=name)
    for name, value in (("threads", 2), ("max_seconds", 5), ("rules", "classic")):
        with pytest.raises(ValueError, match=name if name != "rules" else "rules"):
            model.run(runner="local", **{name: value})


def test_a_run_in_parts_goes_on_until_the_error_is_small(program):
    model = sweeping.block().packets(4000)
    run = model.run(packets=1e6, rel_error=0.01, of="bottom", runner="local", seed=1, batches=8,
                    out="a")
    face = run.trel.ledger().sel(ledger_line="by the face bottom").squeeze()
    assert face.error / face.value <= 0.01 and 4000 < run.attrs["packets"] < 1e6
    few = model.run(packets=5000, rel_error=1e-9, runner="local", batches=8, out="b")
    assert few.attrs["packets"] == 5000


def test_between_points_both_errors_are_told(program):
    rng = np.random.default_rng(1)
    x, y = np.array([1, 2, 3, 5, 8.0]), np.array([0.1, 0.2, 0.4, 0.5])

    def table(values, error=0.01, **attributes):
        shape = (len(x), len(y))
        return xr.Dataset({"Q": (("x", "y"), values, {"units": "mm-2"}),
                           "Q_error": (("x", "y"), np.full(shape, error)),
                           "status": (("x", "y"), np.full(shape, "done"))},
                          coords={"x": x, "y": y}, attrs=attributes)

    def cubic(x, y):
        return x**3 - 4 * x * y**3 + y

    exact = trel.lookup(table(cubic(x[:, None], y)))(x=4.2, y=0.33)
    assert exact.Q.units == "mm-2" and abs(exact.Q - cubic(4.2, 0.33)) < 1e-9
    at_node = trel.lookup(table(cubic(x[:, None], y)), "linear")(x=3, y=0.2)
    assert float(at_node.Q) == cubic(3, 0.2) and abs(at_node.Q_error - 0.01) < 1e-12
    # The told statistical error is the scatter of noisy tables.
    noisy = [trel.lookup(table(rng.normal(0, 0.01, (5, 4)))) for _ in range(400)]
    found = np.array([look(x=6, y=0.3).Q for look in noisy])
    told = float(noisy[0](x=6, y=0.3).Q_error)
    assert abs(found.std() / told - 1) < 5 / np.sqrt(2 * 400)
    together = trel.lookup(table(np.zeros((5, 4)), common_seeds=1))(x=6, y=0.3)
    assert told < float(together.Q_error)
    # That of the interpolation is no smaller than what it misses.
    curved = np.exp(-x[:, None]) * np.sin(3 * y)
    for method in ("cubic", "linear"):
        look = trel.lookup(table(curved), method)
        for px, py in rng.uniform([1, 0.1], [8, 0.5], (20, 2)):
            made = look(x=px, y=py)
            missed = abs(made.Q - np.exp(-px) * np.sin(3 * py))
            assert missed <= made.Q_interpolation_error and made.Q_interpolation_error < 0.3
    with pytest.raises(trel.TrelError, match="1 to 8"):
        look(x=9, y=0.3)
    part = table(curved)
    part.status[0, 0] = "wrong"
    with pytest.raises(trel.TrelError, match="1 points"):
        trel.lookup(part)
