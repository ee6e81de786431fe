"""Runs: what is asked of the program, what comes back, and how it is stopped."""

import contextlib
import os
import signal
import subprocess
import sys
import time
import warnings
from pathlib import Path

import numpy as np
import pytest
import trel
from trel.run import progress

LONG = 1e8
"""Packets that nobody waits for."""


@pytest.fixture(autouse=True)
def in_folder_of_its_own(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)


@pytest.fixture
def block():
    model = trel.Model.box((10, 10, 5), 0.05, 5, 0.8, 1.4, name="block")
    return model.pencil().grid("cartesian", "cartesian", dx=2, dy=2, dz=1)


def children():
    """Return the processes that this one has started and that still run."""
    found = []
    for status in Path("/proc").glob("[0-9]*/stat"):
        try:
            state, parent = status.read_text().rpartition(")")[2].split()[:2]
        except OSError:
            continue
        if int(parent) == os.getpid() and state != "Z":
            found.append(int(status.parent.name))
    return found


def test_what_is_asked_for_is_what_the_result_tells(block):
    asked = {"packets": 2e3, "seed": 2**63 + 7, "batches": 10, "exits": 500, "keep_batches": True}
    first = block.run(**asked, threads=1, settings={"block.mua": 0.06, "1@650.g": 0.7})
    assert Path("model.nc").exists()
    told = first.attrs
    assert (told["packets"], told["seed"], told["batches"]) == (2000, 2**63 + 7, 10)
    assert told["exits_asked"] == "500" and told["threads"] == 1
    assert (first.mua.item(), first.g.item()) == (0.06, 0.7)
    assert first.absorption_batches.sizes["batch"] == 10
    again = block.run(**asked, threads=2, settings={"block.mua": 0.06, "block.g": 0.7}, out="b.nc")
    np.testing.assert_allclose(again.absorption, first.absorption, rtol=1e-9)
    one, other = (block.run(packets=40, threads=1, out="c") for _ in range(2))
    assert one.attrs["seed"] != other.attrs["seed"]
    assert not np.array_equal(one.absorption, other.absorption)


def test_results_go_where_they_are_sent(block):
    os.mkdir("folder")
    block.write("beam.trl")
    trel.Model.read("beam.trl").pencil().run(packets=20, threads=1)
    assert Path("beam.nc").exists()
    Path("beam.nc").unlink()
    for out, name, file in [
        (None, None, "beam.nc"),
        ("folder", None, "folder/beam.nc"),
        ("folder/v1.5", None, "folder/v1.5.nc"),
        ("x.nc", None, "x.nc"),
        (None, "other", "other.nc"),
    ]:
        trel.run_file("beam.trl", packets=20, out=out, name=name, threads=1)
        assert Path(file).exists(), file
    assert trel.open("x").sizes == trel.open(Path("x.nc")).sizes


def test_a_run_goes_on_until_the_error_is_small(block):
    run = block.run(packets=2e5, rel_error=0.02, of="top", batches=4000, threads=1)
    error = run.transmittance_top_total_error / run.transmittance_top_total
    assert error < 0.02 and run.attrs["packets"] < 2e5


def test_classic_rules_give_text_files(block):
    run = block.run(rules="classic", threads=1, settings={"block.mua": 0.1})
    assert run.attrs["rules"] == "classic" and run.mua.item() == 0.1
    assert not [name for name in run.data_vars if name.endswith("_error")]
    assert abs(run.absorption_total + run.transmittance_total - 1) < 0.05


def test_what_is_wrong_is_told(block, tmp_path):
    text = block.text().replace("tissuespectrumindex 1 0.05", "tissuespectrumindex 1 -0.05")
    Path("wrong.trl").write_text(text)
    line = 1 + next(k for k, row in enumerate(text.splitlines()) if "-0.05" in row)
    with pytest.raises(trel.ModelError, match="-0.05") as caught:
        trel.run_file("wrong.trl")
    assert caught.value.findings[0].line == line and caught.value.findings[0].remedy
    for wrong, error, words in [
        ({"of": "camera3"}, trel.RunError, "camera3"),
        ({"settings": {"nobody.mua": 1}}, trel.RunError, "nobody"),
        ({"rules": "classic", "seed": 3}, trel.RunError, "seed"),
        ({"packets": 0.5}, ValueError, "whole number"),
    ]:
        with pytest.raises(error, match=words):
            block.run(**wrong)
    assert not list(tmp_path.glob("*.nc"))


def test_progress_goes_to_a_function_and_warnings_are_warnings(block):
    seen = []
    with pytest.warns(UserWarning, match="--max-seconds"):
        run = block.run(packets=LONG, batches=100000, max_seconds=2.2, progress=seen.append)
    assert len(seen) >= 2 and seen[0]["packets"] < seen[-1]["packets"] < LONG
    assert "partial" in run.attrs


@pytest.mark.parametrize("has_tqdm", [True, False])
def test_a_bar_is_drawn_with_and_without_tqdm(has_tqdm, monkeypatch, capsys, block):
    if not has_tqdm:
        monkeypatch.setitem(sys.modules, "tqdm.auto", None)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        block.run(packets=2000, threads=1, progress=True)
    drawn = capsys.readouterr().err
    assert "100" in drawn and "+-" in drawn and drawn.endswith("\n")
    block.run(packets=2000, threads=1)
    assert capsys.readouterr().err == ""


def test_a_bar_follows_a_goal_that_moves(capsys):
    lines = progress.Lines()
    for share, asked in ((0.9, 1000), (0.1, 100000)):
        lines.show({"share": share, "packets_asked": asked, "relative_error": None})
    lines.close()
    assert capsys.readouterr().err.split("\r")[2] == " 10 % of 1e+05 packets\n"


def test_an_error_of_the_users_function_stops_the_program(block):
    before = children()

    def fail(now):
        raise LookupError("mine")

    with pytest.raises(LookupError, match="mine"):
        block.run(packets=LONG, progress=fail)
    assert children() == before


def test_an_interrupt_carries_the_finished_batches(block):
    block.run(packets=20)
    for times, batches in ((1, 100000), (1, 2), (2, 100000)):
        left = [signal.SIGINT] * times

        def interrupt(now, left=left):
            if left:
                os.kill(os.getpid(), left.pop())

        with pytest.raises(KeyboardInterrupt) as caught:
            block.run(packets=LONG, batches=batches, progress=interrupt)
        result = caught.value.result
        if (times, batches) == (1, 100000):
            assert "partial" in result.attrs and 0 < result.attrs["packets"] < LONG
            Path("model.nc").unlink()
            block.run(packets=20)
        elif times == 1:
            assert result is None, "the file is that of the run before"
    assert not children()


SCRIPT = """
import sys, trel
model = trel.Model.box((10, 10, 5), 0.05, 5, 0.8, 1.4).pencil()
say = lambda now: print("flying", flush=True)
try:
    model.run(packets=1e8, batches=100000, progress=say, out="long")
except trel.RunInterrupted as stop:
    print("partial" in stop.result.attrs, len(stop.result.transmittance_total))
"""


@pytest.fixture
def session():
    """Start a script that runs long, as a terminal's foreground job does."""
    command = [sys.executable, "-c", SCRIPT]
    with subprocess.Popen(
        command, stdout=subprocess.PIPE, text=True, start_new_session=True
    ) as job:
        assert job.stdout.readline() == "flying\n"
        tasks = Path(f"/proc/{job.pid}/task/{job.pid}/children").read_text().split()
        yield job, [int(task) for task in tasks]
        job.kill()
        for task in tasks:
            with contextlib.suppress(ProcessLookupError):
                os.kill(int(task), signal.SIGKILL)


def test_a_terminals_interrupt_reaches_the_program_once(session):
    job, (program,) = session
    assert os.getsid(program) != os.getsid(job.pid)
    os.killpg(job.pid, signal.SIGINT)
    said = job.stdout.read().splitlines()
    assert said[-1] == "True 1" and job.wait() == 0


def test_a_killed_session_leaves_no_program_behind(session):
    job, (program,) = session
    job.send_signal(signal.SIGKILL)
    job.wait()
    end = time.monotonic() + 20
    while Path(f"/proc/{program}").exists() and time.monotonic() < end:
        time.sleep(0.05)
    assert not Path(f"/proc/{program}").exists()
    assert "partial" in trel.open("long").attrs
