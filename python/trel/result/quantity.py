"""Values with their standard errors and units."""

from __future__ import annotations

from collections.abc import Hashable
from typing import Any

import numpy as np
import xarray as xr

from ..errors import TrelError


class NotRecorded(TrelError, LookupError):
    """What a result does not have; the message says which keyword of the model records it."""


def make(value: xr.DataArray, error: xr.DataArray | float, units: str, name: str) -> xr.Dataset:
    """Return a dataset of ``value`` and ``error``, both in these units; NaN: not known."""
    error = xr.zeros_like(value, dtype=float) + error
    made = xr.Dataset({"value": value.reset_coords(drop=True), "error": error}, attrs={})
    made["value"].attrs = {
        "long_name": name,
        "units": units,
        "ancillary_variables": "error",
    }
    made["error"].attrs = {"long_name": f"standard error: {name}", "units": units}
    return made


def units_of(data: xr.Dataset, name: str) -> str:
    """Return the unit of a variable as text, ``1`` if it has none."""
    return str(data[name].attrs.get("units", "1"))


def multiply_units(first: str, second: str) -> str:
    """Return the unit of a product: ``W`` and ``mm-2`` make ``W mm-2``."""
    return " ".join(unit for unit in (first, second) if unit != "1") or "1"


def take(data: xr.Dataset, name: str) -> xr.Dataset:
    """Return a variable of the file with the error that the file has, else NaN."""
    error: Any = data[f"{name}_error"] if f"{name}_error" in data else np.nan
    label = str(data[name].attrs.get("long_name", name))
    return make(data[name], error, units_of(data, name), label)


def scatter(batches: xr.DataArray) -> xr.DataArray:
    """Return the standard error of the mean over ``batch``, from the scatter of the batches.

    Docs/physics.md, Errors: sqrt((<x^2> - <x>^2) / (B - 1)); NaN where fewer than two batches have
    anything, since one hit does not tell how rare hits are.
    """
    error = batches.std("batch", ddof=1) / np.sqrt(batches.sizes["batch"])
    return error.where((batches != 0).sum("batch") > 1)


def sum_cells(
    data: xr.Dataset, name: str, weight: xr.DataArray, axes: list[Hashable]
) -> xr.Dataset:
    """Sum the cells of a grid, each times its weight, over axes.

    The error is that of the sum in each batch if the run kept the grids of the batches; of a single
    cell it is the cell's own; else it is not known: cells are hit by the same packets.
    """
    cells = data[name]
    value = (cells * weight).sum(axes)
    label = str(cells.attrs.get("long_name", name))
    error: Any = np.nan
    if f"{name}_batches" in data:
        error = scatter((data[f"{name}_batches"] * weight).sum(axes))
    elif all(cells.sizes[axis] == 1 for axis in axes) and f"{name}_error" in data:
        error = (data[f"{name}_error"] * abs(weight)).sum(axes, skipna=False)
    return make(value, error, units_of(data, name), label)


def polar(real: xr.DataArray, imag: xr.DataArray) -> tuple[Any, Any, Any, Any]:
    """Return amplitude, its error, phase (degrees) and its error, from the batches of both parts.

    To first order in the scatter of both parts and its covariance: docs/physics.md, Errors.
    """
    mean = real.mean("batch"), imag.mean("batch")
    amplitude = np.hypot(*mean)
    along = (real * mean[0] + imag * mean[1]) / amplitude
    across = (imag * mean[0] - real * mean[1]) / amplitude**2
    phase = np.degrees(np.arctan2(mean[1], mean[0]))
    filled = ((real != 0) | (imag != 0)).sum("batch") > 1
    count = np.sqrt(real.sizes["batch"])
    errors = [part.std("batch", ddof=1).where(filled) / count for part in (along, across)]
    return amplitude, errors[0], phase, np.degrees(errors[1])
