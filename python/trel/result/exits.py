"""What is derived from the table of exits, whose launched packets are independent."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np
import xarray as xr

from .origin import ask
from .quantity import NotRecorded, make, units_of

Detector = int | str | Mapping[str, Any] | np.ndarray | xr.DataArray | None
"""A fibre's number; a face; the arguments of ``collect``; or true for each exit that counts."""


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


class PacketSums:
    """Sums over the exits of each launched packet, at each wavelength."""

    def __init__(self, data: xr.Dataset) -> None:
        """Of a result with exits."""
        need_exits(data)
        self.wavelengths = np.atleast_1d(data["wavelength"].values)
        self.packets = data["exit_entry_packets"].values.astype(float)
        if count_exits(data):
            self.entry = entries(data)
            self.packet = data["exit_packet"].values
            self.exit_wavelength = data["exit_wavelength"].values

    def estimate(
        self, amounts: np.ndarray, lights: np.ndarray | None = None
    ) -> tuple[np.ndarray, np.ndarray]:
        """Return mean and standard error of a sum over exits, by wavelength.

        The wavelengths are those of the exits, or ``lights``, one for each.

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
        lights = self.exit_wavelength if lights is None else lights
        for k, wavelength in enumerate(self.wavelengths):
            for entry, count in enumerate(self.packets):
                rows = np.flatnonzero((lights == wavelength) & (self.entry == entry))
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
    return labelled(data, mean, error, (), energy_unit(data), "light that is collected")


def labelled(
    data: xr.Dataset,
    mean: np.ndarray,
    error: np.ndarray,
    axes: tuple[str, ...],
    units: str,
    name: str,
) -> xr.Dataset:
    """Return value and error with their wavelengths, and other axes behind them."""
    axes = ("wavelength", *axes)
    lights = ("wavelength", np.atleast_1d(data["wavelength"].values), data["wavelength"].attrs)
    value = xr.DataArray(mean, dims=axes).assign_coords(wavelength=lights)
    return make(value, xr.DataArray(error, dims=axes), units, name)
