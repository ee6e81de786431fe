"""Cells of a plane in colours, with axes, units and a colour bar."""

from __future__ import annotations

import textwrap
from typing import Any

import matplotlib.pyplot as plt
import numpy as np
from matplotlib.axes import Axes
from matplotlib.colors import LogNorm, Normalize

from .values import Quantity, axis_name, label_of

COLOURS = "magma"
# Which of two axes runs to the right: the one that stands first here.
TO_THE_RIGHT = ("x", "r", "azimuth", "y", "deflection", "z")
DEPTH_FROM = 1e-9
"""How far above z = 0 a medium may reach whose z is a depth, mm: rounding."""
LONGEST_ARC = 5.0
"""Of the straight pieces that rings are drawn with, degrees."""


def new_axes(ax: Axes | None, **options: Any) -> Axes:
    """Return the axes given, or those of a new figure that keeps its labels apart."""
    if ax is not None:
        return ax
    # That layout cuts the labels of axes in space.
    layout = None if "projection" in options else "constrained"
    return plt.subplots(layout=layout, subplot_kw=options)[1]


def colour_scale(values: np.ndarray, log: bool, decades: float) -> Normalize:
    """From zero, or the least value if that is less, to the largest one.

    A logarithmic scale starts at the least positive value, at most so many decades lower.
    """
    finite = values[np.isfinite(values)]
    highest = float(finite.max()) if finite.size else 0.0
    if log and highest > 0:
        lowest = max(float(finite[finite > 0].min()), highest * 10**-decades)
        return LogNorm(lowest if lowest < highest else highest / 10, highest)
    lowest = float(finite.min()) if finite.size else 0.0
    return Normalize(min(lowest, 0.0), highest if highest > min(lowest, 0.0) else 1.0)


def draw_cells(
    ax: Axes, quantity: Quantity, norm: Normalize, label: str, colours: str = COLOURS
) -> Any:
    """Draw a quantity of two axes as cells of their true widths; what is not known is grey.

    Values below a logarithmic scale have its lowest colour. Radius and azimuth become a disc.
    Axes in mm have the same scale. A depth, that is a z from 0, points down.
    """
    if quantity.value.ndim != 2:
        axes = ", ".join(map(str, quantity.value.dims)) or "none"
        raise ValueError(f"{quantity.value.name} has the axes {axes}: a picture takes two of them")
    right, up = sorted(map(str, quantity.value.dims), key=_rank)
    values = quantity.value.transpose(up, right).to_numpy()
    if isinstance(norm, LogNorm):
        values = np.where(values < norm.vmin, norm.vmin, values)
    edges = [quantity.edges(axis) for axis in (right, up)]
    names = [textwrap.fill(label_of(quantity.value[axis]), 40) for axis in (right, up)]
    alike = all(quantity.value[axis].attrs.get("units") == "mm" for axis in (right, up))
    if (axis_name(right), axis_name(up)) == ("r", "azimuth"):
        edges, values = _disc(edges[0], edges[1], values)
        names, alike = ["x from the axis (mm)", "y from the axis (mm)"], True
    shown = plt.get_cmap(colours).with_extremes(bad="0.8")
    drawn = ax.pcolormesh(*edges, np.ma.masked_invalid(values), norm=norm, cmap=shown)
    ax.set(xlabel=names[0], ylabel=names[1], title=", ".join(quantity.place))
    if alike:
        ax.set_aspect("equal")
    if up == "z" and edges[1].min() >= -DEPTH_FROM and not ax.yaxis_inverted():
        ax.invert_yaxis()
    add_colour_bar(ax, drawn, label)
    return drawn


def add_colour_bar(ax: Axes, drawn: Any, label: str, **options: Any) -> None:
    """Explain the colours; a long name takes several lines."""
    bar = ax.figure.colorbar(drawn, ax=ax, **options)
    bar.set_label(textwrap.fill(label, 42))


def _rank(axis: str) -> int:
    name = axis_name(axis)
    return TO_THE_RIGHT.index(name) if name in TO_THE_RIGHT else len(TO_THE_RIGHT)


def _disc(
    radii: np.ndarray, azimuths: np.ndarray, values: np.ndarray
) -> tuple[list[np.ndarray], np.ndarray]:
    """Return corners in mm of cells (azimuth, r), cut into pieces that look round, and values."""
    pieces = np.maximum(1, np.ceil(np.diff(azimuths) / LONGEST_ARC)).astype(int)
    turns = [np.linspace(low, high, number, endpoint=False)
             for low, high, number in zip(azimuths[:-1], azimuths[1:], pieces)]
    turn = np.radians(np.append(np.concatenate(turns), azimuths[-1]))[:, None]
    return [radii * np.cos(turn), radii * np.sin(turn)], np.repeat(values, pieces, axis=0)
