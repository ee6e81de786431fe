"""What leaves through a face: by distance from the axis, time of flight and modulation."""

from __future__ import annotations

from collections.abc import Sequence

import numpy as np
import xarray as xr

from .origin import find_face
from .quantity import NotRecorded, make, polar, sum_cells, take, units_of

Radii = float | Sequence[float] | slice | None
"""Distances from the axis, mm: one or several, a range as a slice, or None."""


def reflectance(data: xr.Dataset, r: Radii, face: str | None) -> xr.Dataset:
    """Return what leaves through a face, in all or by ring."""
    face = find_face(data, face)
    if r is None:
        return take(data, f"transmittance_{face}_total")
    rings = _by_ring(data, f"transmittance_{face}")
    return _pick(data, rings, r)


def tpsf(data: xr.Dataset, rho: Radii, face: str | None) -> xr.Dataset:
    """Return what leaves through a face by time of flight, in all or by ring."""
    _need(data, "time", "'domain td START END STEP' (ps)")
    face = find_face(data, face)
    if rho is None:
        return take(data, f"transmittance_{face}_total_td")
    return _pick(data, _by_ring(data, f"transmittance_{face}_td"), rho)


def frequency(data: xr.Dataset, rho: Radii, face: str | None) -> xr.Dataset:
    """Return amplitude and phase of what leaves through a face, in all or by ring."""
    _need(data, "modulation_frequency", "'domain fd FREQUENCY' (MHz)")
    face = find_face(data, face)
    name = f"transmittance_{face}"
    if f"{name}_total_fd_real" not in data:
        raise NotRecorded("text files of trel have no real and imaginary part to be added")
    if rho is None:
        return _polar(data, f"{name}_total_fd", xr.DataArray(1.0), f"{name}_total")
    _need_rings(data, name)
    turned = _polar(data, f"{name}_fd", _ring_factor(data, name), name)
    return _pick(data, _unwrap(turned), rho)


def _need(data: xr.Dataset, name: str, keyword: str) -> None:
    if name not in data.variables:
        raise NotRecorded(f"not recorded: write {keyword} into the model")


def _need_rings(data: xr.Dataset, name: str) -> None:
    if name not in data or "r" not in data[name].dims:
        raise NotRecorded(
            f"{name} has no rings: take a cylinder about the beam as the outermost tissue, with "
            "'transmittancematrix 1 cylindrical'; or record exits, and collect them"
        )


def _ring_factor(data: xr.Dataset, name: str) -> xr.DataArray:
    """Return width over area (1/mm) of the rings, or of the parts of them that were recorded."""
    bounds = data["r_bounds"]
    inner, outer = bounds.isel(bounds=0), bounds.isel(bounds=1)
    angle = np.radians(_widths(data, "azimuth").sum())
    return (outer - inner) / ((outer**2 - inner**2) / 2 * angle)


def _widths(data: xr.Dataset, axis: str) -> xr.DataArray:
    return data[f"{axis}_bounds"].diff("bounds").isel(bounds=0)


def _by_ring(data: xr.Dataset, name: str) -> xr.Dataset:
    """Return the mean over each ring, from its projection or its cells."""
    _need_rings(data, name)
    label, units = str(data[name].attrs.get("long_name", name)), units_of(data, name)
    # The projection of a grid by time is the sum over its gates.
    if f"{name}_r" in data and "time" not in data[name].dims:
        along, factor = take(data, f"{name}_r"), _ring_factor(data, name)
        return make(along.value * factor, along.error * factor, units, label)
    share = _widths(data, "azimuth")
    return sum_cells(data, name, share / share.sum(), ["azimuth"])


def _polar(data: xr.Dataset, name: str, factor: xr.DataArray, plain: str) -> xr.Dataset:
    """Return amplitude and phase of a total, or of rings by the projections of both parts."""
    ending = "_r" if "r" in factor.dims else ""
    real, imag = (f"{name}_{part}{ending}" for part in ("real", "imag"))
    if f"{real}_batches" in data:
        parts = (data[f"{real}_batches"] * factor, data[f"{imag}_batches"] * factor)
        amplitude, amplitude_error, phase, phase_error = polar(*parts)
    else:
        mean = data[real] * factor, data[imag] * factor
        amplitude, phase = np.hypot(*mean), np.degrees(np.arctan2(mean[1], mean[0]))
        amplitude_error = phase_error = xr.full_like(amplitude, np.nan)
    units = units_of(data, plain)
    made = xr.Dataset(
        {
            "amplitude": amplitude,
            "amplitude_error": amplitude_error,
            "phase": phase,
            "phase_error": phase_error,
        }
    )
    for key in made.data_vars:
        made[key].attrs = {"units": "degree" if "phase" in str(key) else units}
    made.attrs["modulation_frequency_MHz"] = float(data["modulation_frequency"])
    return made


def _unwrap(turned: xr.Dataset) -> xr.Dataset:
    """Follow the phase from the axis outwards without jumps; dark rings are passed over."""

    def follow(phase: np.ndarray) -> np.ndarray:
        known = np.isfinite(phase)
        phase = phase.copy()
        phase[known] = np.unwrap(phase[known], period=360)
        return phase

    lit = turned["phase"].where(turned["amplitude"] > 0)
    phase = xr.apply_ufunc(
        follow, lit, input_core_dims=[["r"]], output_core_dims=[["r"]], vectorize=True
    )
    return turned.assign(phase=phase.transpose(*lit.dims).assign_attrs(turned["phase"].attrs))


def _pick(data: xr.Dataset, rings: xr.Dataset, r: Radii) -> xr.Dataset:
    """Return the rings that hold these distances from the axis (mm)."""
    if isinstance(r, slice):
        return rings.sel(r=r)
    bounds = data["r_bounds"].values
    asked = np.atleast_1d(np.asarray(r, dtype=float))
    if (asked < bounds[0, 0]).any() or (asked > bounds[-1, 1]).any():
        raise ValueError(f"r is from {bounds[0, 0]:g} to {bounds[-1, 1]:g} mm, not {r}")
    index = np.minimum(np.searchsorted(bounds[:, 1], asked, side="right"), len(bounds) - 1)
    return rings.isel(r=int(index[0]) if isinstance(r, (int, float)) else index)
