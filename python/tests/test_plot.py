"""Pictures show the numbers of the result where they belong, and all of their labels."""

import matplotlib.pyplot as plt
import numpy as np
import pytest
import xarray as xr
from matplotlib.collections import PolyCollection, QuadMesh
from matplotlib.colors import LogNorm
from runs import LATTICE, SURFACE, path, raw, result

import trel
from trel import plot
from trel.plot.cells import colour_scale

BEAM = ("pencil-beam",)
CYLINDRICAL = ("limb-time",)
BALL = ("ball-in-box",)


@pytest.fixture(autouse=True)
def _close():
    yield
    plt.close("all")


def mesh_of(ax):
    """Colours of the cells, and their corners."""
    (mesh,) = [artist for artist in ax.collections if isinstance(artist, QuadMesh)]
    corners = mesh.get_coordinates()
    return mesh.get_array().reshape(np.array(corners.shape[:2]) - 1), corners


@pytest.mark.parametrize("normal, at, index, axes", [
    ("z", -6.1, (3, slice(None), slice(None)), ("x", "y")),
    ("y", 13.9, (slice(None), 7, slice(None)), ("x", "z")),
    ("x", None, (slice(None), slice(None), 6), ("y", "z")),
])
def test_slices_are_the_planes_of_the_grid(normal, at, index, axes):
    ds = result(*LATTICE)
    ax = plot.slice(ds, "absorption", normal, at, log=False)
    shown, corners = mesh_of(ax)
    assert np.array_equal(shown, raw(path(*LATTICE), "absorption")[0][index])
    edges = [ds[f"{axis}_bounds"].values for axis in axes]
    for across, bounds in zip((corners[0, :, 0], corners[:, 0, 1]), edges):
        assert np.array_equal(across, [*bounds[:, 0], bounds[-1, 1]])
    assert (ax.get_xlabel(), ax.get_ylabel()) == tuple(f"{axis} (mm)" for axis in axes)
    assert ax.get_aspect() == 1 and not ax.yaxis_inverted()
    cut = {"z": "z = -6.75 mm", "y": "y = 12.5 mm", "x": "x = -2 mm"}[normal]
    assert ax.get_title() == f"750 nm, {cut}"
    assert "mm$^{-3}$" in ax.figure.axes[1].get_ylabel()


def test_a_gate_is_drawn_and_depth_points_down():
    ax = plot.slice(result(*LATTICE), "absorption_td", "z", 0, time=899, log=False)
    assert np.array_equal(mesh_of(ax)[0], raw(path(*LATTICE), "absorption_td")[0, 2, 8])
    assert "time = 750 ps" in ax.get_title()
    assert plot.slice(result(*BEAM)).yaxis_inverted()
    assert not plot.slice(result(*BEAM), normal="z").yaxis_inverted()


def test_cells_of_a_disc_lie_at_their_radius_and_azimuth():
    ds = result(*CYLINDRICAL)
    shown, corners = mesh_of(plot.slice(ds, normal="z", at=1, time=20, log=False))
    middles = (corners[:-1, :-1] + corners[1:, :-1] + corners[:-1, 1:] + corners[1:, 1:]) / 4
    radius = np.hypot(*np.moveaxis(middles, -1, 0))
    azimuth = np.degrees(np.arctan2(middles[..., 1], middles[..., 0])) % 360
    grid = ds["absorption_td"].isel(wavelength=0, time=0).sel(z=1.5)
    expected = grid.sel(r=xr.DataArray(radius), azimuth=xr.DataArray(azimuth), method="nearest")
    assert np.array_equal(shown, expected) and shown.max() > 20 * np.median(expected)


def test_scales_of_colours():
    values = np.array([0, np.nan, 1e-9, 2, 20])
    for log, decades, expected in ((True, 3, (0.02, 20)), (True, 99, (1e-9, 20)),
                                   (False, 3, (0, 20))):
        norm = colour_scale(values, log, decades)
        assert (norm.vmin, norm.vmax) == pytest.approx(expected, rel=1e-12)
        assert isinstance(norm, LogNorm) == log
    for flat, log, expected in (([0, 0], True, (0, 1)), ([5, 5], True, (0.5, 5)),
                                ([-3, 1], False, (-3, 1)), ([np.nan], True, (0, 1))):
        norm = colour_scale(np.array(flat, float), log, 3)
        assert (norm.vmin, norm.vmax) == pytest.approx(expected)
    ds = xr.Dataset({"value": (("x", "y"), [[0, np.nan], [1e-9, 1]])},
                    {"x": ("x", [1, 2]), "y": ("y", [1, 2])})
    shown = mesh_of(plot.slice(ds, decades=3))[0]
    assert shown.mask.tolist() == [[False, False], [True, False]]
    assert shown.filled(-1) == pytest.approx(np.array([[1e-3, 1e-3], [-1, 1]]))


def test_bands_are_the_errors():
    ds = result(*LATTICE)
    values, errors = (raw(path(*LATTICE), f"absorption_y{end}")[0] for end in ("", "_error"))
    ax = plot.profile(ds, along="y", sigmas=2)
    (line,), (band,) = ax.get_lines(), ax.collections
    assert np.array_equal(line.get_ydata(), np.repeat(values, 2))
    assert line.get_xdata()[[0, 1, 2, -1]].tolist() == [-10, -7, -7, 14]
    corners = band.get_paths()[0].vertices
    at = {round(x, 6) for x in corners[:, 0]}
    assert at == {-10 + 3 * i for i in range(9)}
    low, high = (set(np.round(values + sign * 2 * errors, 12)) for sign in (-1, 1))
    assert set(np.round(corners[:, 1], 12)) == low | high
    # A derived quantity without errors and borders: points, no band. Two lines in one picture.
    derived = xr.Dataset({"value": ("r", [3.0, 2, 1]), "error": ("r", [np.nan] * 3)},
                         {"r": ("r", [1.0, 2, 3])})
    same = plot.profile(derived, ax=ax)
    assert same is ax and len(ax.get_lines()) == 2 and len(ax.collections) == 1
    assert ax.get_lines()[1].get_xdata().tolist() == [1, 2, 3]


def test_logarithmic_bands_leave_the_values_in_sight():
    times = xr.Dataset({"value": ("time", [1.0, 1e-3, 0]), "error": ("time", [0.1, 2e-3, 0])},
                       {"time": ("time", [5.0, 15, 25], {"units": "ps", "long_name": "time"})})
    ax = plot.time_curve(times)
    assert ax.get_yscale() == "log" and ax.get_ylim() == pytest.approx((5e-4, 2))
    assert ax.get_xlabel() == "time (ps)"
    ax = plot.time_curve(result(*LATTICE), "absorption_total_td")
    gates = raw(path(*LATTICE), "absorption_total_td")[0]
    assert np.array_equal(ax.get_lines()[0].get_ydata(), np.repeat(gates, 2))


def test_cameras_faces_and_phases():
    ds = result("cameras")
    for number, name in ((None, "camera1"), (2, "camera2")):
        ax = plot.camera(ds, number)
        assert np.array_equal(mesh_of(ax)[0], raw(path("cameras"), name)[0])
        assert name in ax.get_title() and "sr$^{-1}$" in ax.figure.axes[1].get_ylabel()
    shown, _ = mesh_of(plot.surface(ds, "side", log=False))
    assert np.array_equal(shown, raw(path("cameras"), "transmittance_side")[0])
    slab = path("modulated-slab")
    shown, _ = mesh_of(plot.phase(trel.open(slab), "transmittance_top_fd_phase"))
    phases, lit = (raw(slab, f"transmittance_top_fd_{part}")[0] for part in ("phase", "amplitude"))
    assert np.array_equal(shown.mask, lit == 0) and shown.mask.any()
    assert np.array_equal(shown.compressed(), phases[lit > 0])
    turned = xr.Dataset({"phase": (("x", "y"), [[-170.0, 170]], {"units": "degree"})},
                        {"x": ("x", [0.0]), "y": ("y", [0.0, 1])})
    (cells,) = plot.phase(turned).collections
    assert (cells.norm.vmin, cells.norm.vmax) == (-180, 180)


def test_the_ledger_adds_up():
    ds = result(*LATTICE)
    ax = plot.ledger(ds)
    labels = [label.get_text() for label in ax.get_yticklabels()]
    widths = dict(zip((label.strip() for label in labels), (bar.get_width() for bar in ax.patches)))
    assert "by tissue 2, bone" in widths and "lost in clear tissue" not in widths
    dark = {label: widths[label] for label in labels if not label.endswith(" ")}
    assert dark.pop("launched") == pytest.approx(1) == pytest.approx(sum(dark.values()), abs=1e-9)
    assert len(dark) < len(widths) - 4
    texts = [text.get_text() for text in ax.texts]
    assert ax.get_xlabel() == "energy, in the unit of the sources"
    assert plot.ledger(ds.trel.scale(power_W=5e-3)).get_xlabel() == "power (W)"
    error = float(ds["ledger_weight_error"][0][list(ds["ledger_line"].values).index("absorbed")])
    assert float(texts[labels.index("absorbed")].split("±")[1]) == pytest.approx(error, rel=0.05)


def test_meshes_show_their_outside():
    # A box with edges of 20 mm; a ball of 3 mm as a mesh, somewhat smaller than the ball.
    for model, area in ((BALL, (2400, 1e-9)), (SURFACE, (36 * np.pi, 0.05))):
        ax = plot.mesh(result(*model))
        (faces,) = [a for a in ax.collections if isinstance(a, PolyCollection)]
        corners = faces._vec[:3].T.reshape(-1, 3, 3)
        sides = np.cross(corners[:, 1] - corners[:, 0], corners[:, 2] - corners[:, 0])
        assert np.linalg.norm(sides, axis=1).sum() / 2 == pytest.approx(area[0], rel=area[1])
        values = faces.get_array()
        lit = values > values.min()
        data = raw(path(*model), "transmittance_mesh_face")[0]
        assert np.isin(values[lit], data).all() and data.max() == values.max()


def test_differences_are_in_standard_errors():
    one, other = (path("limb", "roiseparation 0.5 0.5", "roiseparation 5 5", seed=seed)
                  for seed in (1, 2))
    found = trel.compare(trel.open(one), trel.open(other))
    shown, _ = mesh_of(plot.difference(found, "absorption", "z", 0))
    (a, da), (b, db) = ([raw(file, f"absorption{end}")[0, 7] for end in ("", "_error")]
                        for file in (one, other))
    sigmas = (a - b) / np.hypot(da, db)
    assert shown.count() > 20
    assert shown.compressed() == pytest.approx(sigmas[~shown.mask])


@pytest.mark.parametrize("draw, words", [
    (lambda ds: plot.slice(ds, "nonesuch"), "no nonesuch; it has .*absorption"),
    (lambda ds: plot.slice(ds, at=99), "y 99 is outside of -10 to 14 mm"),
    (lambda ds: plot.slice(ds, normal="r"), "no axis r: normal is x or y or z"),
    (lambda ds: plot.slice(ds, wavelength=600), "no wavelength 600 nm, but 750"),
    (lambda ds: plot.slice(ds, "absorption_td"), "say time= from 0 to 900 ps"),
    (lambda ds: plot.slice(ds, "absorption_td", time=901), "time 901 is outside"),
    (lambda ds: plot.slice(ds, "absorption", time=1), "absorption has no axis time"),
    (lambda ds: plot.profile(ds, "transmittance_side", "x"), "axes azimuth, z: a line takes one"),
    (lambda ds: plot.time_curve(ds, "absorption"), "no curve in time"),
    (lambda ds: plot.camera(ds), "no camera1"),
    (lambda ds: plot.mesh(ds), "no transmittance_mesh_face"),
])
def test_what_cannot_be_drawn_is_told(draw, words):
    with pytest.raises(ValueError, match=words):
        draw(result(*LATTICE))


@pytest.mark.parametrize("draw", [
    lambda: plot.slice(result(*LATTICE), normal="z"), lambda: plot.profile(result(*LATTICE)),
    lambda: plot.time_curve(result(*LATTICE)), lambda: plot.surface(result(*LATTICE), "side"),
    lambda: plot.ledger(result(*LATTICE)), lambda: plot.camera(result("cameras"), log=True),
    lambda: plot.phase(result("modulated-slab")), lambda: plot.mesh(result(*BALL)),
    lambda: plot.slice(result(*CYLINDRICAL), time=100),
])
def test_all_labels_lie_in_the_picture(draw):
    figure = draw().figure
    figure.canvas.draw()
    box = figure.get_tightbbox(figure.canvas.get_renderer())
    width, height = figure.get_size_inches()
    assert box.x0 > 0 and box.y0 > 0 and box.x1 < width and box.y1 < height
