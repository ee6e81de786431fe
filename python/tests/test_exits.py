"""What is derived from exits: detectors, errors, other coefficients and sensitivities."""

import numpy as np
import pytest
import trel
import xarray as xr


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    return tmp_path_factory.mktemp("exits")


@pytest.fixture(scope="module")
def layers():
    """Two layers, two sources at two wavelengths, a fibre and cells."""
    model = trel.Model.box((8, 8, 4), [0.1, 0.05], [3, 2], 0.4, 1.4, center=(0, 0, 2),
                           wavelengths=[600, 700], name="lower")
    upper = trel.Tissue.box((8, 8, 1), [0.3, 0.2], [5, 4], 0.4, 1.4, center=(0, 0, 0.5),
                            name="upper")
    model = model.add(upper)
    model = model.pencil(energy=[1, 0.5]).pencil((1, 0, -1), energy=[0.25, 0.25])
    model = model.grid("cartesian", "cartesian", dx=2, dy=2, dz=1)
    return model.fibre((2, 0, 3), 0.5, 1)


@pytest.fixture(scope="module")
def run(layers, folder):
    asked = {"packets": 20000, "seed": 3, "exits": "all", "batches": 100, "threads": 1}
    return layers.run(**asked, out=folder / "run")


@pytest.fixture(scope="module")
def dyed(folder):
    """A dye that turns 600 nm into 700 nm, in a ball."""
    model = trel.Model.box((8, 8, 8), [0.02, 0.01], [2, 3], 0.3, 1.4, wavelengths=[600, 700],
                           center=(0, 0, 4), name="flesh")
    model = model.pencil(energy=[1, 0], packets=[4000, 0]).fluorophore(
        (0, 0, 2), radius=1.5, excitation=600, emission=700, absorption=0.2, quantum_yield=0.5)
    return model.run(seed=4, exits="all", threads=1, out=folder / "dyed")


def test_sums_over_exits_are_the_runs_totals(run):
    for detector, name in [(1, "fibre1_total"), ("top", "transmittance_top_total"),
                           ("left", "transmittance_left_total")]:
        found = run.trel.at({}, detector)
        np.testing.assert_allclose(found.value, run[name], rtol=1e-9)
        # Of 100 batches an error is known to 7 %.
        assert (abs(found.error / run[f"{name}_error"] - 1) < 5 / np.sqrt(2 * 99)).all()
    whole = run.trel.at({}).value
    parts = run.transmittance_total + run.fibre1_total
    np.testing.assert_allclose(whole, parts, rtol=1e-9)
    x, y, z = run.exit_position.values.T
    near = (z < 1e-9) & (np.hypot(x, y) < 3) & (run.exit_detector.values == 0)
    fibre = {"centre": (0, 0, 0), "normal": (0, 0, 1), "radius": 3}
    np.testing.assert_allclose(run.trel.collect(**fibre).value, run.trel.at({}, near).value)
    assert (run.trel.at({}, fibre).error == run.trel.collect(**fibre).error).all()
    mask = z < 2
    np.testing.assert_allclose(run.trel.at({}, mask).value.values,
                               run.trel.at({}).value - run.trel.at({}, ~mask).value)


def part(run, first, end):
    """Return the run of the packets from ``first`` to ``end`` of each source, a share of them."""
    rows = np.flatnonzero((run.exit_packet >= first) & (run.exit_packet < end))
    counts = run.exit_entry_packets.copy(data=np.full(run.sizes["exit_entry"], end - first))
    return run.isel(exit=rows).assign(exit_entry_packets=counts)


def test_errors_are_the_scatter_of_independent_parts(run):
    """In 50 parts of the run, each with packets of its own."""
    count = int(run.exit_entry_packets.min()) // 50
    parts = [part(run, k * count, (k + 1) * count).load() for k in range(50)]
    upper = {"upper": {"mua": 0.2}}
    for derive in (lambda at: at.collect((0, 0, 0), (0, 0, 1), 3, 0.8),
                   lambda at: at.at(upper, "top"), lambda at: at.partial_paths("bottom"),
                   lambda at: at.jacobian()):
        found = [derive(each.trel) for each in parts]
        values = xr.concat([each.value for each in found], "part")
        told = np.sqrt(sum(each.error**2 for each in found) / 50)
        ratio = values.std("part", ddof=1) / told
        assert (abs(ratio - 1) < 5 / np.sqrt(2 * 49)).all()
        # Which packets are together makes no difference to their mean.
        whole = derive(part(run, 0, 50 * count).trel)
        assert (abs(values.mean("part") - whole.value) < 5 * whole.error).all()


def test_zeros_count_and_one_hit_tells_no_error(run):
    exits = part(run, 0, 100).isel(exit=slice(0, 3)).load()
    exits["exit_packet"][:], exits["exit_source"][:], exits["exit_spectrum"][:] = [7, 7, 9], 1, 1
    exits["exit_weight"][:], exits["exit_wavelength"][:] = [0.2, 0.3, 0.1], 600
    found = exits.trel.at({})
    mean = 0.6 / 100
    error = np.sqrt(((0.5**2 + 0.1**2) / 100 - mean**2) / 99)
    np.testing.assert_allclose(found.value, [mean, 0])
    np.testing.assert_allclose(found.error, [error, np.nan])
    alike = exits.assign(exit_path_length=xr.full_like(exits.exit_path_length, 3))
    paths = alike.trel.partial_paths()
    np.testing.assert_allclose([paths.value[0], paths.error[0]], [[3, 3], [0, 0]], atol=1e-12)
    one = exits.trel.at({}, np.array([True, True, False]))
    assert np.isnan(one.error[0]) and one.value[0] == pytest.approx(0.5 / 100)


@pytest.mark.parametrize("position, direction, collected", [
    ((0, 0, 0), (0, 0, -1), True), ((0.9, 0, 0), (0, 0, -1), True),
    ((1.1, 0, 0), (0, 0, -1), False), ((0, 0, 0), (0.38, 0, -1), True),
    ((0, 0, 0), (0.42, 0, -1), False),
    ((0, 0, 4), (0, 0, 1), False), ((0, 0, 2), (0, 0, -1), True), ((0, 0, 2), (0.4, 0, -1), True),
    ((0.5, 0, 2), (0.3, 0, -1), False), ((0, 0, -1), (0, 0, -1), False),
])
def test_a_fibre_takes_what_hits_its_core_within_its_aperture(run, position, direction, collected):
    exits = run.isel(exit=[0]).load()
    way = np.array(direction) / np.linalg.norm(direction)
    exits = exits.assign(exit_position=exits.exit_position.copy(data=[position]),
                         exit_direction=exits.exit_direction.copy(data=[way]))
    exits["exit_detector"][:], exits["exit_weight"][:] = 0, 1
    aperture = np.sin(np.arctan(0.4)) + 1e-9
    told = exits.trel.collect((0, 0, 0), (0, 0, 2), 1, aperture)
    assert bool(told.value.sum() > 0) == collected
    exits["exit_detector"][:] = 1
    assert exits.trel.collect((0, 0, 0), (0, 0, 2), 1, aperture).value.sum() == 0


def test_aperture_counts_in_the_medium_around(run):
    end = "endsimulationproperty"
    text = run.attrs["model"].replace(end, f"ambientmediumr 1.33\n{end}")
    wet = run.assign_attrs(model=text)
    fibre = ((0, 0, 0), (0, 0, 1), 9)
    np.testing.assert_array_equal(wet.trel.collect(*fibre, 0.665).value,
                                  run.trel.collect(*fibre, 0.5).value)
    assert (run.trel.collect(*fibre, 0.5).value < run.trel.collect(*fibre, 0.665).value).all()


def test_other_coefficients_give_what_a_new_run_gives(run, layers, folder):
    settings = {"upper.mua": 0.1, "lower@700.mus": 2.3, "2@600.mus": 4.5}
    new = layers.run(packets=20000, seed=8, settings=settings, threads=1, out=folder / "new")
    changes = {"upper": {"mua": 0.1}, ("lower", 700): {"mus": 2.3}, (2, 600): {"mus": 4.5}}
    for detector, name in (("bottom", "transmittance_bottom_total"),
                           ("top", "transmittance_top_total"), (1, "fibre1_total")):
        old, found = run.trel.at({}, detector), run.trel.at(changes, detector)
        spread = np.hypot(found.error, new[f"{name}_error"])
        assert (abs(found.value - new[name]) < 5 * spread).all()
        if detector == "bottom":
            assert (abs(found.value - old.value) > 5 * spread).all(), "else the test sees nothing"
    again = run.trel.reweighted(changes).trel.reweighted({1: {"mus": 3}, 2: {"mua": 0.3, "mus": 5}})
    assert again.mus.values[0].tolist() == [3, 5] and "absorption" not in again


def slope(run, detector, tissue, step=1e-4):
    """Return the change with mua by the difference of two re-weighted sums."""
    mua = run.mua.sel(tissue=tissue - 1)
    ends = [{(tissue, int(light)): {"mua": float(mua.sel(wavelength=light)) + side * step}
             for light in run.wavelength} for side in (-1, 1)]
    low, high = (run.trel.at(end, detector).value for end in ends)
    return (high - low) / (2 * step)


def test_jacobians_are_derivatives_and_paths_their_logarithms(run, dyed):
    for data, detector in ((run, "bottom"), (run, 1), (dyed, "top")):
        found = data.trel.jacobian(detector)
        summed = found.value.sum("part") if "part" in found.dims else found.value
        summed = summed.sum("wavelength")
        for number in range(1, data.sizes["tissue"] + 1):
            change = slope(data, detector, number).sum()
            np.testing.assert_allclose(summed.isel(tissue=number - 1), change, rtol=1e-4)
        paths = data.trel.partial_paths(detector).value
        paths = paths.sum("leg") if "leg" in paths.dims else paths
        light = data.trel.at({}, detector).value
        np.testing.assert_allclose((paths * light).sum("wavelength"), -summed, rtol=1e-9)
        assert found.value.units == "mm"
    parts = dyed.trel.jacobian().value.sel(tissue="flesh")
    signs = np.sign(parts.sel(part=["sources", "excitation", "emission"]))
    np.testing.assert_array_equal(signs, [[-1, -1, 0], [0, 0, -1]])


def test_emission_is_reweighted_on_both_of_its_ways(dyed):
    """By one exit, with the formula of docs/physics.md."""
    row = int(np.flatnonzero(dyed.exit_conversion)[0])
    one = dyed.isel(exit=[row])
    new = one.trel.reweighted({(1, 600): {"mus": 2.5, "mua": 0.03}, (1, 700): {"mus": 2.8}})
    first, second = (one[f"{head}_path_length"].item() for head in ("exit", "exit_emission"))
    counts = [one[f"{head}_scatterings"].item() for head in ("exit", "exit_emission")]
    up = 1.25 ** counts[0] * np.exp(-0.51 * first)
    back = (2.8 / 3) ** counts[1] * np.exp(0.2 * second)
    assert new.exit_weight.item() == pytest.approx(one.exit_weight.item() * up * back)
    assert first > 0 and second > 0


def test_sensitivity_by_cell_adds_up_to_that_by_tissue(run, dyed):
    for data, detector in ((run, 1), (dyed, None)):
        cells, tissues = (data.trel.jacobian(detector, by=by) for by in ("cell", "tissue"))
        np.testing.assert_allclose(cells.value.sum(["x", "y", "z"]), tissues.value.sum("tissue"),
                                   rtol=1e-9)
        assert cells.value.dims[-3:] == ("x", "y", "z") and cells.value.units == "mm"
        assert np.isnan(cells.error).all()
    for other in (run.trel.reweighted({1: {"mua": 0.2}}), run.trel.scale(power_W=1),
                  run.isel(exit=slice(0, 9))):
        with pytest.raises(trel.NotRecorded, match="open it anew"):
            other.trel.jacobian(1, by="cell")


def test_wrong_detectors_and_coefficients_are_refused(run, dyed):
    at = run.trel
    for call, words in [
        (lambda: at.at({}, "roof"), "front"),
        (lambda: at.at({}, np.ones(3, dtype=bool)), "mask"),
        (lambda: at.collect((0, 0, 0), (0, 0, 0), 1), "normal"),
        (lambda: at.at({"skin": {"mua": 1}}), "lower, upper"),
        (lambda: at.at({3: {"mua": 1}}), "lower, upper"),
        (lambda: at.at({"upper": {"g": 0.5}}), "new run"),
        (lambda: at.at({"upper": {"mua": -1}}), "1/mm"),
        (lambda: at.jacobian("top", by="cell"), "fibre"),
    ]:
        with pytest.raises(ValueError, match=words):
            call()
    uncovered = dyed.assign(exit_entry_packets=dyed.exit_entry_packets * 0)
    with pytest.raises(trel.NotRecorded, match="cover"):
        uncovered.trel.at({})
