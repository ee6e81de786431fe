"""Pictures of planes: slices, faces, cameras, phases, differences."""

from __future__ import annotations

import dataclasses
import re
from typing import Any

import numpy as np
import xarray as xr
from matplotlib.axes import Axes
from matplotlib.colors import Normalize

from .cells import colour_scale, draw_cells, new_axes
from .curves import draw_line
from .values import GATED, GRIDS, Quantity, axis_name, choose, pick

MOST_ERROR = 10.0
"""Of phases that set the range of the colours, degrees."""
NORMALS = ("y", "azimuth", "z", "x", "r")


def slice(
    ds: xr.Dataset, name: str | None = None, normal: str | None = None, at: float | None = None, *,
    log: bool = True, decades: float = 6, wavelength: float | None = None,
    time: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw the cells of a grid in a plane, or all cells of a model in the plane.

    ``name`` is a variable on the axes x, y, z or r, azimuth, z: without it the absorption or the
    fluence rate, or ``value`` of a derived Dataset. The plane is across the axis ``normal``
    (without it across y, or the azimuth) at ``at`` (mm or degrees; without it in the middle). The
    colours are logarithmic over so many decades below the largest value, or linear from zero.
    Wavelength in nm (without it the first); time of flight in ps, which a grid of gates needs.
    """
    grids = GRIDS if time is None else GATED
    quantity = pick(ds, choose(ds, name, grids), wavelength, time)
    _refuse_time(quantity)
    if quantity.value.ndim > 2:
        quantity = quantity.at(_normal(quantity, normal), at)
    ax = new_axes(ax)
    draw_cells(ax, quantity, colour_scale(quantity.value.to_numpy(), log, decades), quantity.label)
    return ax


def surface(
    ds: xr.Dataset, face: str | None = None, *, log: bool = True, decades: float = 6,
    wavelength: float | None = None, time: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw what leaves through a face of the medium by its cells, mm-2 (or mm-2 ps-1).

    ``face`` is ``top``, ``bottom``, ``side`` and so on, or the name of a variable such as
    ``transmittance_top_td`` or ``fibre2_top``; without it the first face that there is. The other
    arguments are those of ``slice``.
    """
    if face is not None and face not in ds:
        face = f"transmittance_{face}"
    faces = [str(key) for key in ds.data_vars if _is_face(ds, str(key))]
    quantity = pick(ds, choose(ds, face, faces or ["transmittance_top"]), wavelength, time)
    _refuse_time(quantity)
    ax = new_axes(ax)
    draw_cells(ax, quantity, colour_scale(quantity.value.to_numpy(), log, decades), quantity.label)
    return ax


def camera(
    ds: xr.Dataset, number: int | None = None, *, log: bool = False, decades: float = 3,
    wavelength: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw the picture of a camera: radiance (mm-2 sr-1) on its object plane (mm).

    ``number`` is that of the detector, from 1; without it the first camera.
    """
    cameras = [str(key) for key in ds.data_vars if re.fullmatch(r"camera\d+", str(key))]
    name = None if number is None else f"camera{number}"
    quantity = pick(ds, choose(ds, name, cameras or ["camera1"]), wavelength)
    ax = new_axes(ax)
    draw_cells(ax, quantity, colour_scale(quantity.value.to_numpy(), log, decades), quantity.label)
    if str(quantity.value.name).startswith("camera"):
        ax.set_title(", ".join([str(quantity.value.name), *quantity.place]))
    return ax


def phase(
    ds: xr.Dataset, name: str | None = None, normal: str | None = None, at: float | None = None, *,
    wavelength: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw the phase of the modulation (degrees, a lag is positive) on a face or in a plane.

    ``name`` is a variable that ends in ``_fd_phase``; without it the ``phase`` of a derived
    Dataset, or the first there is. A grid is cut as by ``slice``; cells without light are grey.
    The colours have the range of the phases that are known to 10 degrees, and go round once in 360
    degrees if that is more than half a turn. A phase along one axis is drawn as a line with its
    standard error.
    """
    phases = [str(key) for key in ds.data_vars
              if str(key).endswith("_fd_phase") and "_total_" not in str(key)]
    quantity = pick(ds, choose(ds, name, ["phase", *phases]), wavelength)
    amplitude = str(quantity.value.name).replace("_fd_phase", "_fd_amplitude")
    if amplitude != quantity.value.name and amplitude in ds:
        seen = pick(ds, amplitude, wavelength).value > 0
        quantity = dataclasses.replace(quantity, value=quantity.value.where(seen))
    ax = new_axes(ax)
    if quantity.value.ndim == 1:
        return draw_line(ax, quantity, log=False, sigmas=1)
    if quantity.value.ndim > 2:
        quantity = quantity.at(_normal(quantity, normal), at)
    values = quantity.value.to_numpy()
    known = np.isfinite(values)
    if quantity.error is not None:
        known &= quantity.error < MOST_ERROR
    if known.any() and 0 < np.ptp(values[known]) < 180:
        norm = Normalize(values[known].min(), values[known].max())
        draw_cells(ax, quantity, norm, quantity.label, "viridis")
    else:
        draw_cells(ax, quantity, Normalize(-180, 180), quantity.label, "twilight")
    return ax


def difference(
    compared: Any, name: str | None = None, normal: str | None = None, at: float | None = None, *,
    limit: float = 5, wavelength: float | None = None, time: float | None = None,
    ax: Axes | None = None,
) -> Axes:
    """Draw in a plane by how many standard errors the cells of one result exceed the other's.

    ``compared`` is what ``trel.compare`` returns; the other arguments are those of ``slice``. The
    colours end at ``limit`` standard errors to each side. Cells that fewer than five batches hit
    are grey.
    """
    sigmas = compared.sigmas
    grids = [*GRIDS, *map(str, sigmas.data_vars)] if time is None else GATED
    quantity = pick(sigmas, choose(sigmas, name, grids), wavelength, time)
    _refuse_time(quantity)
    if quantity.value.ndim > 2:
        quantity = quantity.at(_normal(quantity, normal), at)
    ax = new_axes(ax)
    draw_cells(ax, quantity, Normalize(-limit, limit), quantity.label, "RdBu_r")
    return ax


def _normal(quantity: Quantity, normal: str | None) -> str:
    axes = {axis_name(str(dim)): str(dim) for dim in quantity.value.dims}
    found = [name for name in NORMALS if name in axes] if normal is None else [normal]
    if not found or found[0] not in axes:
        told = " or ".join(axes)
        raise ValueError(f"{quantity.value.name} has no axis {normal or ''}: normal is {told}")
    return axes[found[0]]


def _refuse_time(quantity: Quantity) -> None:
    if "time" in quantity.value.dims:
        edges = quantity.edges("time")
        raise ValueError(f"{quantity.value.name} has time gates: say time= from {edges[0]:g} to "
                         f"{edges[-1]:g} ps")


def _is_face(ds: xr.Dataset, name: str) -> bool:
    plain = name.startswith("transmittance") and not name.endswith(("_error", "_batches"))
    return plain and len(set(ds[name].dims) - {"wavelength", "time"}) == 2
