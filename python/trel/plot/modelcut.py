"""A cut through a model: tissues, sources, detectors and grids, as a look before the run."""

from __future__ import annotations

import warnings
from typing import TYPE_CHECKING, Any, cast

import numpy as np

from ..errors import ModelError
from ..model import Description
from ..program import findings_of
from .projection import NAMES, Frame, is_isotropic, outline, rays

if TYPE_CHECKING:
    from matplotlib.axes import Axes

LIGHT, DYE, DETECTOR, GRID = "#c1121f", "#2a7f3f", "#1d3f8f", "0.35"
"""Colours of what is drawn over the tissues."""
BEHIND = {"facecolor": "white", "alpha": 0.7, "linewidth": 0, "pad": 1}
"""Box of words that stand in the picture."""


class Drawable:
    """Draws a model."""

    def plot(self, normal: str = "y", at: float | None = None, *, ax: Axes | None = None,
             points: int = 400, legend: bool = True) -> Axes:
        """Draw the cut through the plane across ``normal`` at ``at`` (mm) and return its axes.

        Without ``at`` the plane goes through the middle of the medium; a model of the plane has
        one cut. The tissues are those that ``trelrun`` finds at ``points`` (1 to 2000) along the
        longer side. Sources, detectors and the region of the absorption grid are projected onto
        the plane; a camera beyond the picture is told at its edge. z points down where light comes
        in along it, as depth is drawn. Both axes have one scale, unless one is four times as long
        as the other. Errors in the model are warned of; a ModelError is raised if the medium has no
        bounds.
        """
        model = cast(Description, self)
        told = look(model, normal, at, points)
        side = ax
        if ax is None:
            import matplotlib.pyplot as plt
            figure = plt.figure(figsize=(8, 5), layout="constrained")
            grid = figure.add_gridspec(1, 2, width_ratios=(3, 1))
            side = figure.add_subplot(grid[1])
            side.set_axis_off()
            ax = figure.add_subplot(grid[0])
        handles = ModelCut(told, ax).draw()
        if legend and side is not None:
            place = "best" if side is ax else "upper left"
            side.legend(handles=handles, fontsize="small", loc=place)
        return ax


def look(model: Description, axis: str, value: float | None, points: int) -> dict[str, Any]:
    """Ask the program for the cut."""
    if axis not in NAMES:
        raise ModelError(f"axis: got {axis!r}, expected x, y or z")
    if model.settings.dimension == 2:
        axis, value = "z", 0.0
    if value is None:
        value = middle(model, NAMES.index(axis))
    told = model.check("--cut", f"{axis}={float(value)!r}:{points}")
    errors = [f for f in findings_of(told) if f.severity == "error"]
    if not told.get("cut"):
        raise ModelError("there is no medium to draw", tuple(errors))
    if errors:
        warnings.warn("the model is wrong:\n" + "\n".join(map(str, errors)), stacklevel=3)
    return told


def middle(model: Description, axis: int) -> float:
    """Return the middle of the medium's box along an axis, mm."""
    cut = model.check("--cut", ("y=0:1", "z=0:1", "y=0:1")[axis]).get("cut")
    if not cut:
        return 0.0
    side = cut["axes"].index(NAMES[axis])
    return (cut["low"][side] + cut["high"][side]) / 2


class ModelCut:
    """The picture of a cut that ``trelrun --check --json --cut`` has told."""

    def __init__(self, told: dict[str, Any], ax: Axes) -> None:
        """Find out what fits into the picture."""
        self.told = told
        self.ax = ax
        self.frame = Frame(told)
        self.handles: list[Any] = []

    def draw(self) -> list[Any]:
        """Draw all; return the entries of the legend."""
        self._tissues()
        if self.told["absorptionmatrix"] is not None:
            self._grid()
        for source in self.told["sources"]:
            self._source(source)
        for detector in self.told["detectors"]:
            if detector["kind"] == "fiber":
                self._fibre(detector)
        self._finish()
        return self.handles

    def _tissues(self) -> None:
        from matplotlib.colors import ListedColormap
        from matplotlib.patches import Patch
        cut = self.told["cut"]
        numbers = np.array(cut["tissues"])
        tissues = self.told["tissues"]
        colours = [_colour(i) for i in range(len(tissues))]
        (left, bottom), (right, top) = cut["low"], cut["high"]
        self.ax.imshow(numbers.T, origin="lower", extent=(left, right, bottom, top),
                       cmap=ListedColormap(["white", *colours]), interpolation="nearest",
                       vmin=-0.5, vmax=len(tissues) + 0.5)
        inside = np.pad(numbers > 0, 1)
        x, y = (np.linspace(low - step / 2, high + step / 2, count + 2)
                for low, high, count, step in zip(cut["low"], cut["high"], cut["counts"],
                                                  self.frame.steps))
        self.ax.contour(x, y, inside.T, levels=[0.5], colors="0.4", linewidths=0.8)
        there = set(np.unique(numbers)) - {0}
        self.handles += [Patch(facecolor=colours[t["number"] - 1], edgecolor="0.5",
                               label=f"{t['number']} {t['name']}")
                         for t in tissues if t["number"] in there]

    def _grid(self) -> None:
        roi, sizes = self.told["roi"], self.told["roiseparation"]
        frame = self.frame
        if self.told["absorptionmatrix"] == "cartesian":
            low, high = ([roi[n][i] for n in frame.names] for i in (0, 1))
            kind = "cube"
        else:
            reach = roi["radius"][1]
            center = frame.center
            low, high = ([roi["z"][i] if n == "z" else center["xyz".index(n)] + sign * reach
                          for n in frame.names] for i, sign in ((0, -1), (1, 1)))
            kind = "ellipsoid" if frame.axis == "z" else "cube"
        names = list(frame.names)
        if self.told["absorptionmatrix"] != "cartesian":
            names = ["radius", "azimuth" if frame.axis == "z" else "z"]
        told = " x ".join(f"{sizes[n]:g}{'°' if n == 'azimuth' else ''}" for n in names)
        patch = outline(kind, low, high, edgecolor=GRID, linestyle=(0, (5, 3)), linewidth=1.1,
                        label=f"grid, cells {told}" + ("" if names[-1] == "azimuth" else " mm"))
        self.ax.add_patch(patch)
        self.handles.append(patch)

    def _source(self, source: dict[str, Any]) -> None:
        from matplotlib.lines import Line2D
        shape = source["shape"]
        if shape is None:
            return
        emits = source["kind"] == "emission"
        colour = DYE if emits else LIGHT
        low, high = (self.frame.project(shape[k]) for k in ("low", "high"))
        self.frame.include(low, high)
        self._body(shape, low, high, colour)
        label = f"source {source['number']}"
        if emits:
            label += ", dye " + ", ".join(f"{d['excitation']} → {d['wavelength']} nm"
                                          for d in source["dyes"])
        else:
            self._light(source, low, high)
        self.handles.append(Line2D([], [], color=colour, marker=">" if not emits else None,
                                   linestyle="-", label=label))

    def _body(self, shape: dict[str, Any], low: Any, high: Any, colour: str) -> None:
        extent = np.subtract(high, low)
        if max(extent) < 0.01 * self.frame.size:
            self.ax.plot(*np.add(low, high) / 2, marker="o", markersize=3.5, color=colour, zorder=5)
            return
        kind = shape["kind"]
        if kind == "cylinder" and self.frame.axis != "z":
            kind = "cube"
        patch = outline(kind, low, high, edgecolor=colour, linewidth=1.6, zorder=5)
        self.ax.add_patch(patch)

    def _light(self, source: dict[str, Any], low: Any, high: Any) -> None:
        """Arrows of some directions of a source; a ring or a cross of a beam across the plane."""
        frame, planar = self.frame, self.told["dimension"] == 2
        center = np.add(low, high) / 2
        if is_isotropic(source, planar):
            for angle in np.radians(np.arange(0, 360, 45)):
                self._arrow(center, (np.cos(angle), np.sin(angle)), 0.09)
            return
        directions = rays(source, planar)
        for start in frame.starts(low, high) if len(directions) == 1 else [center]:
            for direction in directions:
                way = frame.project(direction)
                if np.hypot(*way) > 0.05:
                    self._arrow(start, way, 0.22)
                elif len(directions) == 1:
                    ahead = direction[NAMES.index(frame.axis)] * frame.towards_viewer
                    self.ax.plot(*start, marker="o" if ahead > 0 else "x", markersize=9,
                                 markerfacecolor="none", color=LIGHT, zorder=6)

    def _arrow(self, start: Any, way: Any, length: float) -> None:
        tip = np.add(start, np.multiply(way, length * self.frame.scale))
        self.ax.annotate("", tip, start, zorder=6, annotation_clip=False,
                         arrowprops={"arrowstyle": "-|>", "color": LIGHT, "linewidth": 1.4,
                                     "shrinkA": 0, "shrinkB": 0})
        self.frame.include(tip, tip)

    def _fibre(self, detector: dict[str, Any]) -> None:
        shape = detector["shape"]
        if shape is None:
            return
        low, high = (self.frame.project(shape[k]) for k in ("low", "high"))
        self.frame.include(low, high)
        self._body(shape, low, high, DETECTOR)
        self._name(f"fibre {detector['number']}", np.add(low, high) / 2)

    def _name(self, text: str, place: Any) -> None:
        self.ax.annotate(text, place, xytext=(5, 5), textcoords="offset points", color=DETECTOR,
                         fontsize="small", zorder=7, bbox=BEHIND)

    def _cameras(self) -> None:
        """Draw the cameras, last of all: those beyond the picture stand at its edge."""
        frame, across = self.frame, []
        for camera in frame.cameras:
            view = np.array(frame.project(camera["normal"]))
            if np.hypot(*view) < 0.05:
                across.append(self._camera_across(camera))
            else:
                self._camera(camera, view / np.hypot(*view))
        if across:
            self.ax.annotate("\n".join(across), (0.02, 0.98), xycoords="axes fraction", va="top",
                             color=DETECTOR, fontsize="small", zorder=7, bbox=BEHIND)

    def _camera_across(self, camera: dict[str, Any]) -> str:
        """Tell of a camera that looks across the plane."""
        away = camera["normal"][NAMES.index(self.frame.axis)] * self.frame.towards_viewer < 0
        return (f"camera {camera['number']}, {self._distance(camera):.4g} mm "
                + ("in front" if away else "behind"))

    def _distance(self, camera: dict[str, Any]) -> float:
        return float(np.linalg.norm(np.subtract(camera["center"], self.frame.center)))

    def _camera(self, camera: dict[str, Any], view: Any) -> None:
        """Draw the detector's plane, and an arrow that shows where it looks."""
        frame = self.frame
        place = np.array(frame.project(camera["center"]))
        text = f"camera {camera['number']}"
        if not frame.holds(place):
            place = frame.edge(place)
            text += f", {self._distance(camera):.4g} mm away"
        self.ax.annotate("", place + view * 0.1 * frame.scale, place, zorder=6,
                         arrowprops={"arrowstyle": "-|>", "color": DETECTOR, "linewidth": 1.4,
                                     "linestyle": "--"})
        side = np.array([-view[1], view[0]]) * 0.04 * frame.scale
        ends = np.array([place - side, place + side])
        self.ax.plot(ends[:, 0], ends[:, 1], color=DETECTOR, linewidth=3, zorder=6)
        sideways = abs(view[0]) > abs(view[1])
        self.ax.annotate(text, place, xytext=(0, 16) if sideways else (16, 0),
                         textcoords="offset points", color=DETECTOR, fontsize="small",
                         rotation=90 if sideways else 0, ha="center" if sideways else "left",
                         va="bottom" if sideways else "center", zorder=7, bbox=BEHIND)

    def _finish(self) -> None:
        frame, ax = self.frame, self.ax
        frame.settle()
        self._cameras()
        (left, bottom), (right, top) = frame.low, frame.high
        ax.set_xlim(left, right)
        ax.set_ylim(*((top, bottom) if frame.is_down else (bottom, top)))
        ax.set_aspect("equal" if frame.is_even else "auto")
        ax.set_xlabel(f"{frame.names[0]} / mm")
        ax.set_ylabel(f"{frame.names[1]} / mm")
        if self.told["dimension"] == 3:
            ax.set_title(f"{frame.axis} = {self.told['cut']['value']:g} mm"
                         + ("" if frame.is_even else ", axes of different scales"))


def _colour(index: int) -> Any:
    """Return a pale colour for a tissue; there are twelve, then they repeat."""
    import matplotlib
    order = (0, 1, 3, 4, 2, 6, 10, 7, 9, 5, 8, 11)
    return matplotlib.colormaps["Set3"](order[index % 12])
