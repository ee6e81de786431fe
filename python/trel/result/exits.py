"""What is derived from the table of exits, whose launched packets are independent."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import xarray as xr

from .origin import ask
from .quantity import NotRecorded, make, multiply_units, units_of

Detector = int | str | Mapping[str, Any] | np.ndarray | xr.DataArray | None
"""A fibre's number; a face; the arguments of ``collect``; or true for each exit that counts."""

LEGS = {"excitation": "exit_", "emission": "exit_emission_"}
"""Ways up to a dye's conversion, or of what no dye emitted, and behind it."""


def need_exits(data: xr.Dataset) -> None:
    """Raise NotRecorded if the result has no table of exits, or one that lacks a source."""
    if "exit_entry_packets" not in data:
        raise NotRecorded("no exits were recorded: run with exits='all', or as many as are needed")
    if not (data["exit_entry_packets"] > 0).all():
        raise NotRecorded("the exits cover no packet of one of the sources: record more of them")


def count_exits(data: xr.Dataset) -> int:
    """Return the number of rows; without an exit a file has no such axis."""
    return data.sizes.get("exit", 0)


def entries(data: xr.Dataset) -> np.ndarray:
    """Return for each exit the index of its source and spectrum among the entries."""
    index = np.zeros(count_exits(data), dtype=int)
    own = data["exit_source"].values, data["exit_spectrum"].values
    pairs = zip(data["exit_entry_source"].values, data["exit_entry_spectrum"].values, strict=True)
    for k, (source, spectrum) in enumerate(pairs):
        index[(own[0] == source) & (own[1] == spectrum)] = k
    return index


def select(data: xr.Dataset, detector: Detector) -> np.ndarray:
    """Return for each exit whether it counts."""
    need_exits(data)
    count = count_exits(data)
    if count == 0 or detector is None:
        return np.ones(count, dtype=bool)
    if isinstance(detector, Mapping):
        return aperture(data, **detector)
    if isinstance(detector, str):
        return data["exit_face"].values == _number_of_face(data, detector)
    if isinstance(detector, (int, np.integer)) and not isinstance(detector, bool):
        return data["exit_detector"].values == detector
    mask = np.asarray(detector)
    if mask.shape != (count,) or mask.dtype != bool:
        raise ValueError(f"a mask is true or false for each of the {count} exits")
    return mask


def _number_of_face(data: xr.Dataset, face: str) -> int:
    words = [item.split() for item in data["exit_face"].attrs["comment"].split(",")]
    numbers = {" ".join(name): int(number) for number, *name in words}
    if face not in numbers:
        raise ValueError(f"no face '{face}', but {', '.join(numbers)}")
    return numbers[face]


def aperture(
    data: xr.Dataset, centre: Any, normal: Any, radius: float, na: float = np.inf
) -> np.ndarray:
    """Return which exits pass the disc of a fibre's end within its aperture.

    Behind the surface light goes straight on to the plane of the disc. A fibre of the model has
    kept what it collected.
    """
    look = np.asarray(normal, dtype=float)
    if look.shape != (3,) or not np.linalg.norm(look) > 0 or not radius > 0 or not na > 0:
        raise ValueError("normal is a vector in space, radius (mm) and na are above 0")
    look = look / np.linalg.norm(look)
    position, direction = data["exit_position"].values, data["exit_direction"].values
    against = -direction @ look
    ahead = (position - np.asarray(centre, dtype=float)) @ look
    with np.errstate(divide="ignore", invalid="ignore"):
        way = np.where(against > 0, ahead / against, np.nan)
        offset = position + way[:, None] * direction - centre
        # Exits on the plane itself are within rounding of it.
        hit = (way > -1e-6) & (np.linalg.norm(offset, axis=1) <= radius)
    sine = np.sqrt(np.clip(1 - against**2, 0, None))
    outside = data["exit_detector"].values == 0
    return hit & outside & (sine * _index_outside(data, na) <= na)


def _index_outside(data: xr.Dataset, na: float) -> float:
    return 1.0 if np.isinf(na) else float(ask(data)["ambientRefractiveIndex"])


def path(data: xr.Dataset, leg: str, quantity: str) -> np.ndarray:
    """Return ``scatterings`` or ``path_length`` (mm) of each exit by tissue."""
    return np.asarray(data[f"{LEGS[leg]}{quantity}"].values, dtype=float)


def list_legs(data: xr.Dataset) -> list[str]:
    """Return the ways that packets of the result have: two with dyes."""
    return [leg for leg, head in LEGS.items() if f"{head}path_length" in data]


class PacketSums:
    """Sums over the exits of each launched packet, at each wavelength."""

    def __init__(self, data: xr.Dataset) -> None:
        """Of a result with exits."""
        need_exits(data)
        self.wavelengths = data["wavelength"]
        self.packets = data["exit_entry_packets"].values.astype(float)
        if count_exits(data):
            self.entry = entries(data)
            self.packet = data["exit_packet"].values
            self.exit_wavelength = data["exit_wavelength"].values

    def estimate(self, amounts: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
        """Return mean and standard error of a sum over exits, by wavelength.

        ``amounts`` has what each exit adds, if its launched packet had all the energy of its source
        and spectrum, (exit, ...). With x the total of a launched packet, N of which are covered,

            mean = sum of x / N,   error^2 = (sum of x^2 / N - mean^2) / (N - 1)

        with the packets that nothing comes of as zeros; sources and spectra add up, and so do the
        squares of their errors. It is NaN where fewer than two packets have anything.
        """
        shape = (len(self.wavelengths), *amounts.shape[1:])
        mean, variance = np.zeros(shape), np.zeros(shape)
        filled = np.zeros(shape, dtype=int)
        if len(amounts) == 0:
            return mean, np.full(shape, np.nan)
        for k, wavelength in enumerate(self.wavelengths.values):
            for entry, count in enumerate(self.packets):
                rows = np.flatnonzero((self.exit_wavelength == wavelength) & (self.entry == entry))
                totals = self._by_packet(amounts, rows)
                own = totals.sum(axis=0) / count
                mean[k] += own
                filled[k] += (totals != 0).sum(axis=0)
                with np.errstate(divide="ignore", invalid="ignore"):
                    variance[k] += ((totals**2).sum(axis=0) / count - own**2) / (count - 1)
        return mean, np.sqrt(np.where(filled > 1, np.maximum(variance, 0), np.nan))

    def _by_packet(self, amounts: np.ndarray, rows: np.ndarray) -> np.ndarray:
        if len(rows) == 0:
            return np.zeros((0, *amounts.shape[1:]))
        order = rows[np.argsort(self.packet[rows], kind="stable")]
        numbers = self.packet[order]
        starts = np.flatnonzero(np.append(True, numbers[1:] != numbers[:-1]))
        return np.add.reduceat(amounts[order], starts, axis=0)


def weights(data: xr.Dataset, detector: Detector) -> np.ndarray:
    """Return the weight of each exit, 0 for those that do not count."""
    chosen = select(data, detector)
    return data["exit_weight"].values * chosen if len(chosen) else np.zeros(0)


def energy_unit(data: xr.Dataset) -> str:
    """Return the unit of the exits' weight."""
    return units_of(data, "exit_weight") if count_exits(data) else "1"


def collect(data: xr.Dataset, detector: Detector) -> xr.Dataset:
    """Return the light of the exits that count."""
    sums = PacketSums(data)
    mean, error = sums.estimate(weights(data, detector))
    return _label(data, mean, error, (), energy_unit(data), "light that is collected")


def partial_paths(data: xr.Dataset, detector: Detector) -> xr.Dataset:
    """Return the mean path in each tissue, by weight.

    A ratio R of two sums over packets, T / W: to first order its error is that of the sum of
    t - R w, over W (W. G. Cochran, Sampling Techniques, 1977, ch. 6).
    """
    sums, weight = PacketSums(data), weights(data, detector)
    total = sums.estimate(weight)[0]
    legs = list_legs(data)
    values, errors = [], []
    for leg in legs:
        length = path(data, leg, "path_length")
        spent = sums.estimate(weight[:, None] * length)[0]
        with np.errstate(divide="ignore", invalid="ignore"):
            ratio = spent / total[:, None]
            own = ratio[_index(sums, data)]
            error = sums.estimate(weight[:, None] * (length - own))[1] / total[:, None]
        values.append(ratio)
        errors.append(error)
    return _stack(data, values, errors, "leg", legs, "mm", "mean path")


def _index(sums: PacketSums, data: xr.Dataset) -> np.ndarray:
    """Return for each exit the index of its wavelength."""
    return np.searchsorted(sums.wavelengths.values, data["exit_wavelength"].values)


def jacobian(data: xr.Dataset, detector: Detector) -> xr.Dataset:
    """Return the change of the light that counts with the absorption of each tissue.

    d w / d mua = -w L (docs/physics.md, Sensitivity).
    """
    sums, weight = PacketSums(data), weights(data, detector)
    units = multiply_units(energy_unit(data), "mm")
    emitted = data["exit_conversion"].values > 0 if count_exits(data) else np.zeros(0, dtype=bool)
    parts = {"sources": ("excitation", ~emitted)}
    if len(list_legs(data)) > 1:
        parts |= {"excitation": ("excitation", emitted), "emission": ("emission", emitted)}
    found = []
    for leg, counts in parts.values():
        lengths = path(data, leg, "path_length")
        found.append(sums.estimate(-(weight * counts)[:, None] * lengths))
    values, errors = zip(*found, strict=True)
    return _stack(data, values, errors, "part", list(parts), units, "change with mua")


def _stack(
    data: xr.Dataset, values: Any, errors: Any, axis: str, names: list[str], units: str, label: str
) -> xr.Dataset:
    """Label values by wavelength and tissue, and by leg or part if there are several."""
    tissues = {"tissue": data["tissue_name"].values}
    if len(names) == 1:
        made = _label(data, values[0], errors[0], ("tissue",), units, label)
        return made.assign_coords(tissues)
    value, error = np.stack(values, axis=1), np.stack(errors, axis=1)
    made = _label(data, value, error, (axis, "tissue"), units, label)
    return made.assign_coords({**tissues, axis: names})


def _label(
    data: xr.Dataset,
    mean: np.ndarray,
    error: np.ndarray,
    axes: tuple[str, ...],
    units: str,
    label: str,
) -> xr.Dataset:
    axes = ("wavelength", *axes)
    value = xr.DataArray(mean, dims=axes).assign_coords(wavelength=data["wavelength"])
    return make(value, xr.DataArray(error, dims=axes), units, label)


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
        start = data["exit_entry_wavelength"].values[entries(data)]
        for leg in list_legs(data):
            at = start if leg == "excitation" else data["exit_wavelength"].values
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
    powers = np.multiply(scatterings, logarithm[index], out=np.zeros_like(length),
                         where=scatterings > 0)
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
