"""Pictures of models: what is drawn where."""

from pathlib import Path

import matplotlib
import matplotlib.pyplot as plt
import numpy as np
import pytest

import trel
from trel import Tissue
from trel.plot.projection import rays, turned

matplotlib.use("Agg")
EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
BODY = (0.02, 10, 0.9, 1.37)


@pytest.fixture(autouse=True)
def _close_figures():
    yield
    plt.close("all")


def drawn(model, **options):
    """Draw a model, with what matplotlib leaves until it paints."""
    ax = model.plot(points=80, **options)
    ax.figure.canvas.draw()
    return ax


def labels(ax):
    """Return the entries of the legend, wherever it stands."""
    found = [a.get_legend() for a in ax.figure.axes if a.get_legend()]
    return [text.get_text() for text in found[0].get_texts()]


def arrows(ax):
    """Return the start and the way of each arrow, mm."""
    found = [a for a in ax.texts if a.arrow_patch is not None]
    return [(np.array(a.xyann), np.subtract(a.xy, a.xyann)) for a in found]


def colour_at(ax, x, y):
    """Return the colour of the tissue at a place of the picture."""
    image = ax.images[0]
    left, right, bottom, top = image.get_extent()
    values = image.get_array()
    row = int((y - bottom) / (top - bottom) * values.shape[0])
    column = int((x - left) / (right - left) * values.shape[1])
    return image.cmap(image.norm(values[row, column]))


def test_tissues_of_a_cut():
    """Places and colours of three bodies in three planes, and the white outside."""
    model = trel.Model.cylinder(10, 30, *BODY, name="arm").pencil((-12, 0, 0), (1, 0, 0))
    model = model.add(Tissue.ellipsoid((2, 3, 4), *BODY, center=(5, 0, 8), name="ball"))
    for axis, x, y in (("x", 0, 8), ("y", 5, 8), ("z", 5, 0)):
        ax = drawn(model, normal=axis, at={"x": 5, "y": 0, "z": 8}[axis])
        assert labels(ax)[:2] == ["1 arm", "2 ball"]
        assert colour_at(ax, x, y) not in (colour_at(ax, x, -5), (1, 1, 1, 1))
        assert ax.get_xlabel()[0] + ax.get_ylabel()[0] == {"x": "yz", "y": "xz", "z": "xy"}[axis]
    assert colour_at(ax, -9.5, -9.5) == (1, 1, 1, 1)
    assert "2 ball" not in labels(drawn(model, at=6))
    # Without a place the cut goes through the middle of the medium.
    assert drawn(trel.Model.box(20, *BODY).pencil(), normal="z").get_title().startswith("z = 10 mm")


def test_a_beam_enters_from_above_and_z_is_a_depth():
    ax = drawn(trel.Model.layers([(1, *BODY), (2, *BODY)], width=40).pencil())
    (start, way), = arrows(ax)
    assert tuple(start) == (0, -1) and way[0] == 0 and way[1] > 0
    assert ax.yaxis_inverted() and ax.get_aspect() == "auto"
    assert labels(ax) == ["1 layer1", "2 layer2", "grid, cells 0.2 x 0.03 mm", "source 1"]
    limb = drawn(trel.Model.read(EXAMPLES / "limb.trl"), normal="z")
    (start, way), = arrows(limb)
    assert start == pytest.approx([-16, 0]) and way[0] > 0 and abs(way[1]) < 1e-9
    assert not limb.yaxis_inverted() and limb.get_xlim()[0] < -16
    wide = arrows(drawn(trel.Model.box(20, *BODY).disc(4, direction=(1, 0, 1))))
    assert [round(start[0], 3) for start, _ in wide] == [-2.8, 0, 2.8]
    assert all(way[0] == pytest.approx(way[1]) and way[0] > 0 for _, way in wide)


def test_light_across_the_plane_has_a_mark():
    model = trel.Model.cylinder(10, 30, *BODY)
    for y, mark in ((1, "x"), (-1, "o")):
        ax = drawn(model.pencil((0, -20 * y, 0), (0, y, 0)))
        assert arrows(ax) == [] and mark in [line.get_marker() for line in ax.lines]


def test_grid_and_its_cells():
    model = trel.Model.box(20, *BODY).pencil().grid(x=(-4, 6), z=(1, 9), dx=0.5, dz=0.25)
    patch = [p for p in drawn(model).patches if "grid" in p.get_label()][0]
    assert patch.get_bbox().bounds == pytest.approx((-4, 1, 10, 8))
    assert patch.get_label() == "grid, cells 0.5 x 0.25 mm"
    model = trel.Model.cylinder(10, 30, *BODY, center=(3, 0, 0)).pencil()
    model = model.grid("cylindrical", "cylindrical", radius=(0, 6), z=(-9, 9), dazimuth=10)
    for axis, corners in (("y", (-3, -9, 9, 9)), ("z", (-3, -6, 9, 6))):
        ax = drawn(model, normal=axis)
        patch = [p for p in ax.patches if "grid" in p.get_label()][0]
        box = patch.get_extents().transformed(ax.transData.inverted())
        assert [*box.min, *box.max] == pytest.approx(corners, abs=1e-6)
    assert patch.get_label() == "grid, cells 0.2 x 10°"
    assert not any("grid" in label for label in labels(drawn(model.grid("off"))))


def test_cameras_and_fibres():
    model = trel.Model.read(EXAMPLES / "cameras.trl").fibre((0, 0, 0), 2, 6)
    ax = drawn(model, normal="z")
    told = {text.get_text(): text for text in ax.texts if text.get_text()}
    assert set(told) == {"camera 1, 400 mm away", "camera 2, 400 mm away", "fibre 3"}
    # At the edge that it lies behind, looking at the medium.
    right = [way for start, way in arrows(ax) if start[0] > 12]
    below = [way for start, way in arrows(ax) if start[1] < -12]
    assert len(right) == len(below) == 1 and right[0][0] < 0 and below[0][1] > 0
    across = [text.get_text() for text in drawn(model, normal="y").texts]
    assert "camera 2, 400 mm in front" in across


def test_glow_dyes_and_models_in_the_plane():
    ax = drawn(trel.Model.read(EXAMPLES / "fluorescence.trl"), normal="z")
    assert labels(ax)[-1] == "source 2, dye 670 → 710 nm"
    assert len(arrows(drawn(trel.Model.read(EXAMPLES / "bioluminescence.trl")))) == 8
    ax = drawn(trel.Model.read(EXAMPLES / "plane.trl"), normal="x", at=3)
    assert labels(ax)[:3] == ["1 muscle", "2 vessel", "3 bone"] and ax.get_title() == ""
    own = plt.figure().add_subplot()
    assert trel.Model.box(20, *BODY).pencil().plot(ax=own, legend=False) is own
    assert own.get_legend() is None


def test_models_that_are_wrong():
    """A model without light is drawn, one without a medium is not."""
    with pytest.warns(UserWarning, match="the model is wrong"):
        drawn(trel.Model.box(20, *BODY).pencil(packets=0))
    lit = trel.Model.box(20, *BODY).pencil()
    for model, options in ((trel.Model(), {}), (lit, {"normal": "r"})):
        with pytest.raises(trel.ModelError, match="no medium|expected x, y or z"):
            model.plot(**options)


@pytest.mark.parametrize("axis", [(0, 0, 1), (0, 0, -1), (1, 2, 3), (-3, 0.1, -4), (0, 1, 0)])
def test_directions_turn_as_sources_do(axis):
    """The shortest way from +z to the axis; the half turn to -z is one about y."""
    unit = np.array(axis) / np.linalg.norm(axis)
    matrix = turned(np.eye(3), axis)
    assert matrix @ matrix.T == pytest.approx(np.eye(3)) and np.linalg.det(matrix) > 0
    assert matrix[2] == pytest.approx(unit)
    kept = np.cross([0, 0, 1], unit) if np.hypot(*unit[:2]) > 0 else np.array([0, 1, 0])
    assert turned(kept, axis) == pytest.approx(kept)
    cone = {"azimuth": [0, 360], "deflection": [0, 25], "direction": list(axis)}
    assert np.degrees(np.arccos(np.min(rays(cone, False) @ unit))) == pytest.approx(25)
