"""Results: axes, what is derived from grids and batches, units, and the text files of trel."""

import sys
from pathlib import Path

import netCDF4
import numpy as np
import pytest
import trel


def simulate(model, folder, name, **keywords):
    return model.run(out=folder / name, threads=1, **{"seed": 5, **keywords})


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    return tmp_path_factory.mktemp("results")


@pytest.fixture(scope="module")
def disc():
    """A cylinder in rings that are cut by azimuth, in all domains."""
    model = trel.Model.cylinder((6, 6), 4, 0.05, 2, 0.3, 1.4, center=(0, 0, 2), name="disc")
    cells = {"dr": 1.5, "dazimuth": 90, "dz": 1}
    model = model.pencil().grid("cylindrical", "cylindrical", **cells)
    return model.gates(0, 300, 30).frequency(200)


@pytest.fixture(scope="module")
def run(disc, folder):
    return simulate(disc, folder, "disc", packets=20000, keep_batches=True)


def check(derived, value, batches):
    """Compare with a value and, of its batches, the scatter over sqrt(B)."""
    np.testing.assert_allclose(derived.value, value, rtol=1e-9)
    error = batches.std("batch", ddof=1) / np.sqrt(batches.sizes["batch"])
    np.testing.assert_allclose(derived.error.transpose(*error.dims), error, rtol=1e-9)
    assert (derived.error > 0).all()


def ring_area(run):
    return np.pi * (run.r_bounds[:, 1] ** 2 - run.r_bounds[:, 0] ** 2)


def test_axes_come_in_one_order_and_values_when_they_are_asked_for(run, folder):
    fresh = trel.open(folder / "disc.nc")
    assert not isinstance(fresh["absorption_td"].variable._data, np.ndarray)
    with netCDF4.Dataset(folder / "disc.nc") as file:
        for name, axes in {
            "absorption_td": ("wavelength", "time", "r", "azimuth", "z"),
            "transmittance_side": ("wavelength", "azimuth", "z"),
            "absorption_batches": ("batch", "wavelength", "r", "azimuth", "z"),
            "r_bounds": ("r", "bounds"),
            "exit_entry_packets": None,
        }.items():
            if axes is None:
                assert name not in fresh
                continue
            stored = file[name]
            assert fresh[name].dims == axes
            order = [stored.dimensions.index(axis) for axis in axes]
            np.testing.assert_array_equal(fresh[name], np.transpose(stored[:], order))
    assert not [name for name in fresh.variables if name.startswith("state_")]
    assert fresh.attrs["model"].startswith("trl\n") and fresh.attrs["rules"] == "exact"


def test_what_is_no_result_is_refused(folder, run, monkeypatch):
    monkeypatch.setitem(sys.modules, "dask.array", None)
    with pytest.raises(trel.MissingPackage, match="python3-dask"):
        trel.open(run.encoding["source"], chunks={})
    with netCDF4.Dataset(folder / "other.nc", "w") as file:
        file.source = "a balloon"
    with pytest.raises(trel.TrelError, match="no result"):
        trel.open(folder / "other.nc")
    with pytest.raises(FileNotFoundError):
        trel.open(folder / "nowhere.nc")
    with pytest.raises(trel.TrelError, match="model="):
        trel.open(folder / "nowhere")


def test_rings_and_totals_have_the_scatter_of_their_batches(run):
    total = run.trel.reflectance()
    check(total, run.transmittance_bottom_total, run.transmittance_bottom_total_batches)
    assert run.trel.Rd(face="top").value == run.transmittance_top_total
    cells = run.transmittance_bottom_batches.mean("azimuth")
    rings = run.trel.reflectance(slice(None))
    check(rings, cells.mean("batch"), cells)
    assert (rings.value * ring_area(run)).sum() == pytest.approx(float(total.value))
    picked = run.trel.reflectance([0.1, 1.5, 4.4, 6])
    np.testing.assert_array_equal(picked.r, [0.75, 2.25, 3.75, 5.25])
    np.testing.assert_array_equal(picked.value, rings.value)
    assert (picked.value.units, total.value.units) == ("mm-2", "1")
    with pytest.raises(ValueError, match="0 to 6 mm"):
        run.trel.reflectance(6.1)


def test_light_by_time_of_flight(run, disc, folder):
    cells = run.transmittance_bottom_td_batches.mean("azimuth").sel(r=5.25)
    curve = run.trel.tpsf(5.9)
    lit = (cells > 0).sum("batch") > 1
    check(curve.where(lit, drop=True), cells.mean("batch").where(lit, drop=True),
          cells.where(lit, drop=True))
    np.testing.assert_array_equal(curve.error.notnull(), lit)
    assert not lit.all() and curve.value.units == "mm-2 ps-1"
    assert curve.value.dims == ("wavelength", "time")
    whole = run.trel.tpsf()
    assert whole.value.units == "ps-1" and float(whole.value.sum() * 30) == pytest.approx(
        float(run.trel.reflectance().value), rel=0.05)
    bare = simulate(disc, folder, "bare", packets=2000).trel.tpsf(0.3)
    assert np.isnan(bare.error).all(), "cells of a ring are hit by the same packets"
    assert (bare.value > 0).any()


def test_modulated_light_agrees_with_the_file_and_is_unwrapped(run):
    for face in ("bottom", "top"):
        found = run.trel.frequency(face=face)
        for part in ("amplitude", "phase"):
            name = f"transmittance_{face}_total_fd_{part}"
            np.testing.assert_allclose(found[part], run[name], rtol=1e-9)
            np.testing.assert_allclose(found[f"{part}_error"], run[f"{name}_error"], rtol=1e-6)
    assert found.attrs["modulation_frequency_MHz"] == 200
    assert (found.phase.units, found.amplitude.units) == ("degree", "1")
    rings = run.trel.frequency(slice(None))
    cells = [run[f"transmittance_bottom_fd_{part}"] for part in ("real", "imag")]
    real, imag = (part.mean("azimuth") for part in cells)
    np.testing.assert_allclose(rings.amplitude, np.hypot(real, imag), rtol=1e-9)
    assert rings.amplitude.units == "mm-2" and (rings.phase_error > 0).all()
    # Turned by 130 degrees a ring, the phase goes past 180 and on.
    turn = np.exp(1j * np.radians(130 * np.arange(4)))
    signal = 0.1 * (1 + np.arange(20) / 100)[:, None, None] * turn
    names = [f"transmittance_bottom_fd_{part}_r_batches" for part in ("real", "imag")]
    shapes = (run[names[0]].copy(data=signal.real), run[names[1]].copy(data=signal.imag))
    turned = run.assign(dict(zip(names, shapes)))
    np.testing.assert_allclose(turned.trel.frequency(slice(None)).phase[0], 130 * np.arange(4))
    assert float(turned.trel.frequency(5.0).phase[0]) == pytest.approx(390)


def test_profiles_fluence_and_ledger(run, disc, folder):
    for axis, width, units in (("z", 1, "mm-1"), ("r", 1.5, "mm-1"), ("azimuth", 90, "degree-1")):
        found = run.trel.profile(axis)
        assert float(found.value.sum()) * width == pytest.approx(float(run.absorption_total))
        assert found.value.units == units and (found.error > 0).all()
    assert run.trel.profile("z", of="transmittance_side").value.dims == ("wavelength", "z")
    scored = simulate(disc.fluence(), folder, "fluence", packets=20000)
    for domain, units in (("cw", "mm-2"), ("td", "mm-2 ps-1")):
        derived, direct = (data.trel.fluence(domain) for data in (run, scored))
        np.testing.assert_allclose(derived.value, direct.value, rtol=1e-9)
        np.testing.assert_allclose(derived.error, direct.error, rtol=1e-6)
        assert derived.value.units == direct.value.units == units
    lines = run.trel.ledger()
    leaves = lines.value.sel(ledger_line=["absorbed", "escaped", "reflected at entry"]).sum()
    assert float(leaves) == pytest.approx(1, abs=1e-3)
    escaped = lines.sel(ledger_line="escaped")
    assert 0 < escaped.error < 0.01 and escaped.packets <= 20000 and escaped.mean_time > 10


def test_scaling_turns_all_energy_into_watts(folder):
    glow = trel.Model.box((4, 4, 4), [0.1, 0.02], [4, 3], 0.5, 1.4, wavelengths=[600, 700])
    glow = glow.pencil(energy=[0.5, 1.5]).grid("cartesian", "cartesian", dx=2, dy=2, dz=2)
    glow = glow.frequency(100).fibre((1, 0, 2), 1, 2)
    run = simulate(glow, folder, "two", packets=4000, exits="all")
    watts = run.trel.scale(power_W=5e-3)
    assert float(watts.trel.ledger().value.sel(ledger_line="launched").sum()) == pytest.approx(5e-3)
    for name, units in {"absorption": "W mm-3", "transmittance_top_total": "W", "exit_weight": "W",
                        "absorption_z_batches": "W mm-1", "transmittance_left_error": "W mm-2",
                        "absorption_total_fd_real": "W", "fibre1_total_error": "W"}.items():
        np.testing.assert_allclose(watts[name], run[name] * 5e-3 / 2, rtol=1e-12)
        assert watts[name].units == units
    for name in ("mua", "x", "ledger_mean_time", "exit_path_length", "packets_left",
                 "fibre1_x_bounds", "absorption_fd_phase", "absorption_total_fd_phase_error"):
        np.testing.assert_array_equal(watts[name], run[name])
    one, other = (data.trel.at({}, "bottom") for data in (run, watts))
    np.testing.assert_allclose(other.error, one.error * 5e-3 / 2, rtol=1e-9)
    assert other.value.units == "W" and "0.005 W" in watts.attrs["scaled"]
    assert run.trel.scale(energy_J=1).absorption_x.units == "J mm-1"
    with pytest.raises(ValueError, match="already"):
        watts.trel.scale(power_W=1)


def test_what_is_missing_names_its_keyword(folder, run):
    box = trel.Model.box((4, 4, 4), 0.1, 4, 0.5, 1.4).add(trel.Tissue.box(1, 0.2, 4, 0.5, 1.4))
    lit = box.pencil().grid("cartesian", "cartesian", dx=1, dy=1, dz=1)
    cube = simulate(lit, folder, "cube", packets=200)
    dark = simulate(lit.grid("off", "off"), folder, "dark", packets=200)
    inner = simulate(box.isotropic((0, 0, 2)), folder, "inner", packets=200)
    for data, call, keyword in [
        (cube, lambda at: at.reflectance(1.0), "transmittancematrix 1 cylindrical"),
        (cube, lambda at: at.fluence(), "fluencerate 1"),
        (cube, lambda at: at.tpsf(), "domain td"),
        (cube, lambda at: at.frequency(), "domain fd"),
        (cube, lambda at: at.camera(2), "detectorLens 2"),
        (cube, lambda at: at.collect((0, 0, 0), (0, 0, 1), 1), "exits='all'"),
        (cube, lambda at: at.jacobian(1, by="cell"), "exits='all'"),
        (cube, lambda at: at.profile("r"), "x, y, z"),
        (dark, lambda at: at.profile(), "absorptionmatrix 1"),
        (dark, lambda at: at.reflectance(), "transmittancematrix 1"),
        (inner, lambda at: at.reflectance(), "face='top'"),
        (run, lambda at: at.reflectance(face="front"), "bottom"),
    ]:
        with pytest.raises(trel.NotRecorded) as caught:
            call(data.trel)
        assert keyword in str(caught.value)


@pytest.mark.parametrize("position, direction, face", [
    ((0, 0, -1), (0, 0, 1), "bottom"), ((0.5, 0, 9), (0, 0, -1), "top"),
    ((-5, 0, 2), (1, 0, 0), "back"), ((0, 7, 1), (0, -1, 0), "right"),
    ((6, 0, 5), (-1, 0, -0.5), "front"),
])
def test_light_enters_by_the_face_that_its_axis_meets(folder, position, direction, face):
    box = trel.Model.box((4, 4, 4), 1, 4, 0.5, 1.4, center=(0, 0, 2))
    run = simulate(box.pencil(position, direction), folder, "entry", packets=200)
    assert run.trel.reflectance().value == run[f"transmittance_{face}_total"]


def by_label(path):
    """Return the grids of a text file of one wavelength by label, those of gates stacked."""
    words, found, shape = Path(path).read_text().split(), {}, []
    for k, word in enumerate(words):
        if word.startswith("Count") and not words[k - 1].startswith("Count"):
            names = [name for name in words[k:k + 3] if name.startswith("Count")]
            shape = [int(count) for count in words[k + len(names):k + 2 * len(names)]]
        elif word[1:4] in ("DCW", "DTD", "DFD") and word[-1].isupper() and shape:
            values = np.array(words[k + 1:k + 1 + int(np.prod(shape))], float).reshape(shape)
            found.setdefault(word, []).append(values)
    return {label: np.squeeze(np.stack(grids)) for label, grids in found.items()}


def test_text_files_have_the_names_axes_and_units_of_a_result(disc, folder):
    ball = trel.Model.ellipsoid((3, 3, 3), 0.1, 5, 0.5, 1.4).pencil((0, 0, -9))
    ball = ball.grid("cartesian", "spherical", dx=1, dy=1, dz=1)
    fibres = trel.Model.box((8, 8, 8), 0.1, 2, 0.5, 1.4, center=(0, 0, 4)).pencil()
    fibres = fibres.grid("cartesian", "cartesian", dx=1, dy=2, dz=0.5, dazimuth=45, ddeflection=30)
    fibres = fibres.fibre((1, 0, 2), 2, 3)
    fibres = fibres.camera((0, 0, 300), (0, 0, -1), size=(9, 6), pixels=(9, 6))
    fibres = fibres.fibre((0, 0, 6), 1)
    classic = {}
    for name, model in {"disc": disc, "ball": ball, "fibres": fibres}.items():
        model = model.packets(2000)
        exact = model.run(out=folder / name, threads=1)
        text = classic[name] = model.run(out=folder / name, threads=1, rules="classic")
        assert set(text.variables) <= set(exact.variables)
        for key in text.variables:
            assert text[key].dims == exact[key].dims and text[key].shape == exact[key].shape, key
            if "camera" not in key or key.endswith(("_x", "_y", "_bounds")):
                assert text[key].attrs.get("units") == exact[key].attrs.get("units"), key
            if key in text.coords or key.endswith("_bounds"):
                np.testing.assert_allclose(text[key], exact[key], atol=1e-9)
        kept = {str(key) for key in text.data_vars if text[key].ndim > 2}
        told = {str(key) for key in exact.data_vars if exact[key].ndim > 2 and key[-6:] != "_error"}
        assert kept == {key for key in told if not key.endswith(("_batches", "_real", "_imag"))}
    picture = exact.trel.camera(2)
    assert picture.value.dims == ("wavelength", "camera2_x", "camera2_y")
    assert picture.value.units == "mm-2 sr-1" and picture.value.shape == (1, 9, 6)
    depth = by_label(folder / "ball.T.CW")["3DCWTransmittanceSideDA"]
    opened = trel.open(folder / "ball.T.CW", model=ball)
    assert "absorption" not in opened
    np.testing.assert_array_equal(opened.transmittance_side[0], depth[::-1].T)
    lit = opened.transmittance_side.mean("azimuth")[0]
    assert lit[lit.deflection > 140].mean() > 3 * lit[lit.deflection < 40].mean()
    disc_text = classic["disc"]
    for suffix, label, name, width in [
        (".A.TD", "3DTDAbsorptionRAZ", "absorption_td", 30),
        (".A.FD", "3DFDPhaAbsorptionRAZ", "absorption_fd_phase", 1),
        (".T.CW", "3DCWTransmittanceSideAZ", "transmittance_side", 1),
    ]:
        stored = by_label(f"{folder / 'disc'}{suffix}")[label]
        np.testing.assert_allclose(disc_text[name][0] * width, stored, rtol=1e-12)
    assert disc_text.attrs["rules"] == "classic"
    assert np.isnan(disc_text.trel.reflectance([1.0]).error).all()
    assert disc_text.trel.scale(power_W=2).absorption_total == 2 * disc_text.absorption_total
    with pytest.raises(trel.NotRecorded, match="imaginary"):
        disc_text.trel.frequency()
    with pytest.raises(trel.TrelError, match="broken"):
        (folder / "cut.A.CW").write_text((folder / "ball.A.CW").read_text()[:1000])
        trel.open(folder / "cut.A.CW", model=ball)
