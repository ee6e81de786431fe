"""How light that leaves depends on the tissues that it went through, from the table of exits."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import xarray as xr

from .exits import (
    Detector,
    PacketSums,
    count_exits,
    energy_unit,
    entries,
    labelled,
    need_exits,
    weights,
)
from .quantity import NotRecorded, multiply_units

LEGS = {"excitation": "exit_", "emission": "exit_emission_"}
"""Ways up to a dye's conversion, or of what no dye emitted, and behind it."""


def path(data: xr.Dataset, leg: str, quantity: str) -> np.ndarray:
    """Return ``scatterings`` or ``path_length`` (mm) of each exit by tissue."""
    return np.asarray(data[f"{LEGS[leg]}{quantity}"].values, dtype=float)


def list_legs(data: xr.Dataset) -> list[str]:
    """Return the ways that packets of the result have: two with dyes."""
    return [leg for leg, head in LEGS.items() if f"{head}path_length" in data]


def start_wavelengths(data: xr.Dataset) -> np.ndarray:
    """Return for each exit the wavelength that its packet was launched at."""
    return np.asarray(data["exit_entry_wavelength"].values[entries(data)])


def _need_some(data: xr.Dataset) -> None:
    if not count_exits(data):
        raise NotRecorded("none of the packets that the table covers has left: record more exits")


def partial_paths(data: xr.Dataset, detector: Detector) -> xr.Dataset:
    """Return the mean path in each tissue, by weight.

    A ratio R of two sums over packets, T / W: to first order its error is that of the sum of
    t - R w, over W (W. G. Cochran, Sampling Techniques, 1977, ch. 6).
    """
    sums, weight = PacketSums(data), weights(data, detector)
    _need_some(data)
    total = sums.estimate(weight)[0]
    legs = list_legs(data)
    values, errors = [], []
    for leg in legs:
        length = path(data, leg, "path_length")
        spent, spread = sums.estimate(weight[:, None] * length)
        with np.errstate(divide="ignore", invalid="ignore"):
            ratio = spent / total[:, None]
            own = ratio[_index(sums, data)]
            error = sums.estimate(weight[:, None] * (length - own))[1] / total[:, None]
        values.append(ratio)
        # Paths that are all alike have no scatter; one path alone tells no error.
        errors.append(np.where(np.isnan(spread), np.nan, np.nan_to_num(error)))
    return _stack(data, values, errors, "leg", legs, "mm", "mean path")


def _index(sums: PacketSums, data: xr.Dataset) -> np.ndarray:
    """Return for each exit the index of its wavelength; beside those asked for any does."""
    index = np.searchsorted(sums.wavelengths, data["exit_wavelength"].values)
    return np.minimum(index, len(sums.wavelengths) - 1)


def jacobian(data: xr.Dataset, detector: Detector) -> xr.Dataset:
    """Return the change of the light that counts with the absorption of each tissue.

    d w / d mua = -w L (docs/physics.md, Sensitivity).
    """
    sums, weight = PacketSums(data), weights(data, detector)
    units = multiply_units(energy_unit(data), "mm")
    _need_some(data)
    emitted = data["exit_conversion"].values > 0
    parts = {"sources": ("excitation", ~emitted)}
    if len(list_legs(data)) > 1:
        parts |= {"excitation": ("excitation", emitted), "emission": ("emission", emitted)}
    found = []
    for leg, counts in parts.values():
        lengths = path(data, leg, "path_length")
        lights = start_wavelengths(data) if leg == "excitation" else sums.exit_wavelength
        found.append(sums.estimate(-(weight * counts)[:, None] * lengths, lights))
    values, errors = zip(*found, strict=True)
    return _stack(data, values, errors, "part", list(parts), units, "change with mua")


def _stack(
    data: xr.Dataset, values: Any, errors: Any, axis: str, names: list[str], units: str, told: str
) -> xr.Dataset:
    """Label values by wavelength and tissue, and by leg or part if there are several."""
    tissues = {"tissue": data["tissue_name"].values}
    if len(names) == 1:
        made = labelled(data, values[0], errors[0], ("tissue",), units, told)
        return made.assign_coords(tissues)
    value, error = np.stack(values, axis=1), np.stack(errors, axis=1)
    made = labelled(data, value, error, (axis, "tissue"), units, told)
    return made.assign_coords({**tissues, axis: names})


def reweighted(data: xr.Dataset, coefficients: Mapping[Any, Mapping[str, float]]) -> xr.Dataset:
    """Return the exits as they would be at other coefficients.

    Each weight times, for every tissue i on its way (docs/physics.md, Other coefficients),

        (mus_i' / mus_i)^k_i exp(-(mus_i' - mus_i) L_i) exp(-(mua_i' - mua_i) L_i)
    """
    need_exits(data)
    new = _changed(data, coefficients)
    kept = [str(name) for name in data.data_vars if str(name).startswith("exit_")]
    kept += ["mua", "mus", "g", "n", "tissue_name"]
    if count_exits(data):
        factor = np.ones(count_exits(data))
        for leg in list_legs(data):
            own = data["exit_wavelength"].values
            at = start_wavelengths(data) if leg == "excitation" else own
            index = np.searchsorted(data["wavelength"].values, at)
            factor *= _factor(data, new, leg, index)
        weight = data["exit_weight"]
        new["exit_weight"] = (weight * factor).assign_attrs(weight.attrs)
    return data[kept].assign(new)


def _factor(
    data: xr.Dataset, new: Mapping[str, xr.DataArray], leg: str, index: np.ndarray
) -> np.ndarray:
    """Return the factor of each exit for one leg, flown at the wavelengths of this index."""
    length, scatterings = path(data, leg, "path_length"), path(data, leg, "scatterings")
    mua, mus = (new[name].values - data[name].values for name in ("mua", "mus"))
    old = data["mus"].values
    with np.errstate(divide="ignore"):
        logarithm = np.log(np.divide(new["mus"].values, old, out=np.ones_like(old), where=old > 0))
    # Where no scattering remains, log 0 stands only for those that have scattered.
    hit = scatterings > 0
    powers = np.multiply(scatterings, logarithm[index], out=np.zeros_like(length), where=hit)
    return np.asarray(np.exp((powers - (mua + mus)[index] * length).sum(axis=1)))


def _changed(
    data: xr.Dataset, coefficients: Mapping[Any, Mapping[str, float]]
) -> dict[str, xr.DataArray]:
    """Return mua and mus (1/mm) with the changes."""
    new = {name: data[name].copy(deep=True) for name in ("mua", "mus")}
    for key, changes in coefficients.items():
        tissue, wavelength = key if isinstance(key, tuple) else (key, None)
        place: dict[str, Any] = {"tissue": _find_tissue(data, tissue)}
        if wavelength is not None:
            place["wavelength"] = int(np.flatnonzero(data["wavelength"] == wavelength)[0])
        for name, value in changes.items():
            if name not in new:
                raise ValueError(f"{name} cannot be changed without a new run; mua and mus can")
            if not 0 <= value < np.inf:
                raise ValueError(f"{name} is 0 or above, in 1/mm, not {value}")
            if name == "mus" and (data["mus"].isel(place) == 0).any() and value != 0:
                raise ValueError(f"tissue {tissue} scatters nowhere: only its mua can change")
            new[name][place] = value
    return new


def _find_tissue(data: xr.Dataset, tissue: int | str) -> int:
    """Return the index of a tissue by its number, from 1, or its name."""
    names = [str(name) for name in data["tissue_name"].values]
    if isinstance(tissue, str):
        found = [k for k, name in enumerate(names) if name == tissue]
        if len(found) == 1:
            return found[0]
    elif 1 <= tissue <= len(names):
        return tissue - 1
    raise ValueError(f"no single tissue {tissue!r}: there are {', '.join(names)}, by number from 1")
