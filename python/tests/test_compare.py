"""Whether two results differ: false alarms, differences that are seen, and what is refused."""

import numpy as np
import pytest
import trel

PAIRS = 200


@pytest.fixture(scope="module")
def folder(tmp_path_factory):
    return tmp_path_factory.mktemp("compare")


@pytest.fixture(scope="module")
def slab():
    model = trel.Model.box((4, 4, 1), 0.5, 4, 0.5, 1.0, center=(0, 0, 0.5), name="slab")
    return model.pencil().grid("cartesian", "cartesian", dx=1, dy=1, dz=0.25).gates(0, 40, 10)


@pytest.fixture(scope="module")
def pair(slab, folder):
    return [slab.run(packets=6000, seed=seed, threads=1, keep_batches=True, out=folder / f"p{seed}")
            for seed in (1, 2)]


@pytest.fixture(scope="module")
def verdicts(slab, folder):
    """Of 200 pairs of runs, cut from a long one: batches are runs of their own."""
    run = slab.run(packets=2 * PAIRS * 20 * 40, batches=2 * PAIRS * 20, seed=11, threads=1,
                   out=folder / "long").load()
    batches = run[[name for name in run.data_vars if name.endswith("_batches")]]
    means = batches.coarsen(batch=20).mean()
    means = means.rename({name: name.removesuffix("_batches") for name in means.data_vars})
    runs = [batches.isel(batch=slice(20 * k, 20 * k + 20)).merge(means.isel(batch=k)).assign_attrs(
        packet_ranges=f"11 {800 * k}:800") for k in range(2 * PAIRS)]
    return [trel.compare(a, b) for a, b in zip(runs[::2], runs[1::2])]


def test_equal_models_give_no_more_alarms_than_they_may(verdicts):
    """Of 200 pairs at 0.1 % at most 2; at 5 % no more than chance has in one of a million tests."""
    adjusted = np.array([float(verdict.tests.p_holm.min()) for verdict in verdicts])
    alarms = [verdict.differs for verdict in verdicts]
    np.testing.assert_array_equal(alarms, adjusted < 0.001)
    assert sum(alarms) <= 0.01 * PAIRS
    expected = 0.05 * PAIRS
    assert 0 < (adjusted < 0.05).sum() < expected + 5 * np.sqrt(expected)


def test_each_test_has_the_level_that_it_tells(verdicts):
    """Without the correction p is uniform: of one total in 200 pairs."""
    tables = [verdict.tests for verdict in verdicts]
    p = np.array([table.p[table["name"] == "absorption_total"].item() for table in tables])
    for level in (0.1, 0.3, 0.5):
        share = np.mean(p < level)
        assert abs(share - level) < 5 * np.sqrt(level * (1 - level) / PAIRS)


def test_a_little_more_absorption_is_seen(slab, pair, folder):
    runs = [slab.run(packets=240000, seed=seed, settings={"slab.mua": mua}, threads=1,
                     out=folder / f"mua{seed}") for seed, mua in ((5, 0.5), (6, 0.51))]
    verdict = trel.compare(*runs)
    assert verdict.differs
    first = verdict.tests.isel(test=0)
    assert first.p_holm < 1e-4 and first.t < -5 and first.a < first.b
    assert "absorption" in str(verdict) and "different" in str(verdict)
    same = trel.compare(*pair)
    assert not same.differs and "no difference" in str(same)


def test_holms_correction_is_that_of_its_definition(pair):
    tests = trel.compare(*pair).tests
    p = tests.p.values
    assert (np.diff(p) >= 0).all() and len(p) > 20
    count = len(p)
    expected = [min(1, max((count - j) * p[j] for j in range(k + 1))) for k in range(count)]
    np.testing.assert_allclose(tests.p_holm, expected)


def test_the_map_shows_cells_that_enough_batches_have_seen(pair):
    verdict = trel.compare(*pair)
    a, b = pair
    for name in ("absorption", "transmittance_top", "absorption_td"):
        filled = [(data[f"{name}_batches"] != 0).sum("batch") for data in pair]
        seen = (filled[0] >= 5) & (filled[1] >= 5)
        error = np.hypot(*[data[f"{name}_batches"].std("batch", ddof=1) for data in pair])
        sigmas = (a[name] - b[name]) / (error / np.sqrt(20))
        np.testing.assert_allclose(verdict.sigmas[name], sigmas.where(seen), rtol=1e-6)
        assert 0 < int(seen.sum())
        # Where the batches are not kept, a cell is left out rather than shown too early.
        bare = [data.drop_vars(f"{name}_batches") for data in pair]
        shown = trel.compare(*bare).sigmas[name].notnull()
        assert not (shown & ~seen).any() and shown.sum() > 0.3 * seen.sum()
    assert not (filled[0] >= 5).all(), "else no cell is left out"


def test_runs_without_grids_are_compared_by_their_ledgers(slab, folder):
    dark = slab.grid("off", "off")
    runs = [dark.run(packets=6000, seed=seed, settings={"slab.mua": mua}, threads=1,
                     out=folder / f"dark{seed}") for seed, mua in ((7, 0.5), (8, 0.6))]
    assert set(trel.compare(*runs).tests["name"].values) == {"ledger_weight"}
    assert trel.compare(*runs).differs


def test_what_cannot_be_compared_is_refused_or_named(slab, pair, folder):
    a, b = pair
    again = slab.run(packets=2000, seed=1, settings={"slab.mua": 0.6}, threads=1, out=folder / "x")
    single = slab.run(packets=2000, batches=1, threads=1, out=folder / "y")
    for other, words in [(again, "seed 1"), (single, "batches"), (b.trel.scale(power_W=1), "W"),
                         (b.assign_coords(wavelength=[700]), "wavelengths")]:
        with pytest.raises(trel.TrelError, match=words):
            trel.compare(a, other)
    part = b.assign_attrs(packet_ranges="1 6000:6000")
    assert not trel.compare(a, part).differs, "other packets of one seed are independent"
    fine = slab.grid(dz=0.125).run(packets=6000, threads=1, out=folder / "z")
    verdict = trel.compare(a, fine)
    assert "absorption_z" in verdict.left_out and "absorption_x" not in verdict.left_out
