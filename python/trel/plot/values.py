"""What a picture shows: one quantity of a result at one wavelength, with errors and borders."""

from __future__ import annotations

from collections.abc import Iterable
from dataclasses import dataclass

import numpy as np
import xarray as xr

GATED = ("absorption_td", "fluence_rate_td")
GRIDS = ("absorption", "fluence_rate", *GATED)


@dataclass(frozen=True)
class Quantity:
    """A variable at one place of some of its axes, on those that are left."""

    value: xr.DataArray
    error: np.ndarray | None
    """Standard errors on the same axes, NaN where they are not known; None if there are none."""
    borders: dict[str, np.ndarray | None]
    """Of each axis the n + 1 borders of its cells, None if they are not known."""
    place: tuple[str, ...] = ()
    """Where on the other axes, for the title: ``650 nm``, ``y = 0.25 mm``."""

    @property
    def label(self) -> str:
        """Name and unit."""
        return label_of(self.value)

    def edges(self, axis: str) -> np.ndarray:
        """Return the borders of the cells, half-way between the middles if nothing better is known.

        A single middle without borders stands for a cell of 1.
        """
        edges = self.borders[axis]
        if edges is not None:
            return edges
        centres = self.value[axis].to_numpy().astype(float)
        half = np.diff(centres) / 2 if len(centres) > 1 else np.array([0.5])
        inner = centres[:-1] + half[:len(centres) - 1]
        return np.concatenate([[centres[0] - half[0]], inner, [centres[-1] + half[-1]]])

    def at(self, axis: str, where: float | None) -> Quantity:
        """Cut at the cell that holds ``where`` along an axis, in its unit.

        None: where the middle of the axis is, of wavelengths the first. A ValueError tells what
        there is if ``where`` is outside, or a wavelength that the result does not have.
        """
        index = self._cell(axis, where)
        centre, unit = self.value[axis], unit_of(self.value[axis])
        told = f"{float(centre[index]):.4g} {unit}"
        place = told if axis == "wavelength" else f"{axis_name(axis)} = {told}"
        dim = self.value.dims.index(axis)
        error = None if self.error is None else np.take(self.error, index, axis=dim)
        borders = {name: edge for name, edge in self.borders.items() if name != axis}
        return Quantity(self.value.isel({axis: index}), error, borders, (*self.place, place))

    def _cell(self, axis: str, where: float | None) -> int:
        centres = self.value[axis].to_numpy()
        if axis == "wavelength":
            index = 0 if where is None else int(np.argmin(np.abs(centres - where)))
            if where is not None and not np.isclose(centres[index], where):
                known = ", ".join(f"{centre:g}" for centre in centres)
                raise ValueError(f"there is no wavelength {where:g} nm, but {known}")
            return index
        edges = self.edges(axis)
        if where is None:
            where = (edges[0] + edges[-1]) / 2
        if not edges[0] <= where <= edges[-1]:
            unit = unit_of(self.value[axis])
            raise ValueError(f"{axis} {where:g} is outside of {edges[0]:g} to {edges[-1]:g} {unit}")
        return int(np.clip(np.searchsorted(edges, where, "right") - 1, 0, len(centres) - 1))


def unit_of(array: xr.DataArray) -> str:
    """Return the unit as it is drawn, empty for pure numbers: the -3 of ``mm-3`` is raised."""
    words = []
    for word in str(array.attrs.get("units", "")).split():
        name = word.rstrip("-0123456789")
        power = word[len(name):]
        words.append(f"{name}$^{{{power}}}$" if name and power else name)
    return " ".join(words).replace("degree", "°")


def label_of(array: xr.DataArray) -> str:
    """Return the name of a variable or an axis with its unit in brackets."""
    name, unit = array.attrs.get("long_name", array.name or ""), unit_of(array)
    return f"{name} ({unit})" if unit else str(name)


def axis_name(axis: str) -> str:
    """Return the last word of a dimension: ``y`` of ``camera1_y``."""
    return axis.rsplit("_", 1)[-1]


def borders_of(ds: xr.Dataset, axis: str) -> np.ndarray | None:
    """Return the n + 1 borders of the n cells of an axis, or None if they are not in the result."""
    name = ds[axis].attrs.get("bounds", f"{axis}_bounds") if axis in ds else ""
    if name not in ds:
        return None
    bounds = ds[name].transpose(axis, ...).to_numpy()
    return np.append(bounds[:, 0], bounds[-1, 1])


def choose(ds: xr.Dataset, name: str | None, candidates: Iterable[str]) -> str:
    """Find the variable: that of a derived ``value``, the one asked for, or the first there."""
    if name is None and "value" in ds:
        return "value"
    names = [name] if name is not None else list(candidates)
    for found in names:
        if found in ds:
            return found
    there = [str(key) for key in ds.data_vars
             if not str(key).endswith(("_error", "_batches", "_bounds"))]
    raise ValueError(f"the result has no {' or '.join(names)}; it has {', '.join(there)}")


def pick(
    ds: xr.Dataset, name: str, wavelength: float | None = None, time: float | None = None
) -> Quantity:
    """Return a variable at a wavelength (nm; None: the first) and a time of flight (ps).

    ``value`` of a derived Dataset has its errors in ``error``, others in ``NAME_error``. A place on
    an axis that the variable does not have is a ValueError.
    """
    value = ds[name]
    error_name = "error" if name == "value" else f"{name}_error"
    error = ds[error_name].transpose(*value.dims).to_numpy() if error_name in ds else None
    axes = [str(dim) for dim in value.dims]
    quantity = Quantity(value, error, {axis: borders_of(ds, axis) for axis in axes})
    for axis, where in (("wavelength", wavelength), ("time", time)):
        if axis not in axes and where is not None:
            raise ValueError(f"{name} has no axis {axis}")
    if "wavelength" in axes:
        quantity = quantity.at("wavelength", wavelength)
    return quantity if time is None else quantity.at("time", time)
