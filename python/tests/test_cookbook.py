"""The cookbook's scripts give what theory or the literature says, and stay short."""

import runpy
from pathlib import Path

import matplotlib.pyplot as plt
import pytest

import trel

FOLDER = Path(__file__).resolve().parents[2] / "examples" / "cookbook"
PACKETS = {"brain_mesh": 5_000, "camera": 5_000, "dyed_inclusion": 5_000, "fibre_probe": 60_000,
           "fit": 20_000, "frequency_domain": 10_000, "layered_skin": 20_000, "mouse": 5_000,
           "organ_surface": 10_000, "series": 10_000, "tpsf": 60_000}


@pytest.mark.parametrize("name", PACKETS)
def test_the_value_is_the_reference(name, tmp_path, monkeypatch):
    run, sweep = trel.Model.run, trel.sweep

    def run_few(model, packets, **options):
        out = tmp_path / f"{name}.nc"
        return run(model, PACKETS[name], seed=1, out=out, progress=False, **options)

    def sweep_few(model, values, folder, *quantities, packets, **options):
        return sweep(model, values, tmp_path / folder, *quantities, root_seed=1,
                     packets=PACKETS[name], **options)

    monkeypatch.setattr(trel.Model, "run", run_few)
    monkeypatch.chdir(tmp_path)
    monkeypatch.setattr(trel, "sweep", sweep_few)
    monkeypatch.syspath_prepend(FOLDER)
    names = runpy.run_path(str(FOLDER / f"{name}.py"))
    value, error = float(names["result"].value), float(names["result"].error)
    reference = names["reference"]
    assert 0 < error < 0.1 * reference
    assert abs(value - reference) < 5 * error
    # Every picture has something to show.
    for number in plt.get_fignums():
        assert any(axes.has_data() for axes in plt.figure(number).axes)
    plt.close("all")


def test_a_wrong_coefficient_is_seen(tmp_path, monkeypatch):
    monkeypatch.syspath_prepend(FOLDER)
    run = trel.Model.run

    def run_other(model, packets, **options):
        changed = {"layer1.mua": 0.2}
        return run(model, 20_000, seed=1, out=tmp_path / "other.nc", settings=changed)

    monkeypatch.setattr(trel.Model, "run", run_other)
    names = runpy.run_path(str(FOLDER / "layered_skin.py"))
    plt.close("all")
    assert abs(float(names["result"].value) - names["reference"]) > 5 * names["result"].error


def test_each_job_takes_fifteen_lines():
    scripts = {path.stem: path.read_text() for path in FOLDER.glob("*.py")}
    assert set(scripts) - {"diffusion"} == set(PACKETS)
    for name in PACKETS:
        lines = [line for line in scripts[name].splitlines() if line and not line.startswith("#")]
        assert len(lines) <= 15, name
        assert all(len(line) <= 100 and ";" not in line for line in lines), name


def test_the_manual_shows_the_scripts_as_they_are():
    manual = (FOLDER.parents[1] / "docs" / "cookbook.md").read_text()
    for name in PACKETS:
        script = (FOLDER / f"{name}.py").read_text()
        assert script.split("\n", 2)[2].strip() in manual, name
