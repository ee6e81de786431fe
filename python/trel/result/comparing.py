"""Whether two results differ by more than chance."""

from __future__ import annotations

from dataclasses import dataclass, field
from functools import cached_property
from typing import Any

import numpy as np
import xarray as xr

from ..errors import TrelError, need
from .quantity import NotRecorded, units_of

FILLED = 5
"""Batches that must have scored something, for their scatter to tell an error."""
ROUNDING = 1e-9
"""Relative difference that sums in another order may have."""


@dataclass(frozen=True)
class Comparison:
    """What ``compare`` has found. ``print`` tells it in words."""

    differs: bool
    """Whether any test is significant at the level."""
    level: float
    """Chance of a false alarm among all tests together."""
    tests: xr.Dataset
    """A row for each test, the most significant first: ``name``, ``place`` (wavelength and axis),
    ``a``, ``b``, ``t`` (difference over its error), ``p`` and ``p_holm``, by ``test``."""
    left_out: tuple[str, ...]
    """Variables that only one of them has, or on other axes."""
    _pair: tuple[xr.Dataset, xr.Dataset] = field(repr=False)

    @cached_property
    def sigmas(self) -> xr.Dataset:
        """The difference a - b of each cell over its standard error, by grid.

        NaN where fewer than five batches of one of them have anything. Where the grids of the
        batches were not kept that number is bounded from below by value and error. Some cells of
        many are beyond three sigmas by chance: the verdict is not made of them.
        """
        a, b = self._pair
        maps = {}
        for name in _list_grids(a, b):
            spread = np.hypot(a[f"{name}_error"], b[f"{name}_error"])
            enough = (_filled_cells(a, name) >= FILLED) & (_filled_cells(b, name) >= FILLED)
            maps[name] = ((a[name] - b[name]) / spread).where(enough & (spread > 0))
            label = f"difference in sigmas: {a[name].attrs.get('long_name', name)}"
            maps[name].attrs = {"long_name": label, "units": "1"}
        return xr.Dataset(maps)

    def __str__(self) -> str:
        """Tell the verdict and the tests that made it."""
        count = self.tests.sizes["test"]
        if not self.differs:
            return f"no difference at the level {self.level:g} in {count} tests"
        found = self.tests.isel(test=np.flatnonzero(self.tests["p_holm"] < self.level))
        lines = [f"different at the level {self.level:g}: {found.sizes['test']} of {count} tests"]
        for k in range(min(5, found.sizes["test"])):
            row = found.isel(test=k)
            lines.append(
                f"  {row['name'].item()} {row['place'].item()}: {row['a'].item():.5g} and "
                f"{row['b'].item():.5g}, t = {row['t'].item():.1f}"
            )
        return "\n".join(lines)


def compare(a: xr.Dataset, b: xr.Dataset, level: float = 0.001) -> Comparison:
    """Tell whether two results differ by more than chance.

    Totals, projections (of grids onto an axis) and the lines of the ledger are compared by
    Student's t with unequal variances (B. L. Welch, Biometrika 34 (1947) 28), from the scatter of
    their batches, those of which at least five batches of both have something. Holm's correction
    (S. Holm, Scand. J. Statist. 6 (1979) 65) holds the chance of any false alarm among all of them
    below ``level``. Both runs must be of packets of their own, whatever their numbers of packets
    and batches are.

    Returns
    -------
    A ``Comparison``: ``differs``, the table ``tests``, and ``sigmas``, a map of the cells.

    Raises
    ------
    TrelError if the results have packets in common, units, wavelengths or nothing that fits;
    NotRecorded if one has no batches.
    """
    _refuse_common_packets(a, b)
    _refuse_other_lights(a, b)
    names, left_out = _list_sums(a, b)
    rows = [row for name in names for row in _test(name, a, b)]
    if not rows:
        raise NotRecorded("nothing to compare: no total of both has something in five batches")
    rows.sort(key=lambda row: (row["p"], -abs(row["t"])))
    for row, adjusted in zip(rows, _holm([row["p"] for row in rows]), strict=True):
        row["p_holm"] = adjusted
    table = xr.Dataset({key: ("test", [row[key] for row in rows]) for key in rows[0]})
    differs = bool((table["p_holm"] < level).any())
    return Comparison(differs, level, table, tuple(left_out), (a, b))


def _packets(data: xr.Dataset) -> list[tuple[int, int, int]]:
    """Return seed, first packet and end of each range of packets of a result."""
    ranges = []
    for line in str(data.attrs.get("packet_ranges", "")).splitlines():
        seed, _, numbers = line.partition(" ")
        first, _, count = numbers.partition(":")
        ranges.append((int(seed), int(first), int(first) + int(count)))
    return ranges


def _refuse_common_packets(a: xr.Dataset, b: xr.Dataset) -> None:
    for seed, first, end in _packets(a):
        for other, begin, stop in _packets(b):
            if seed == other and begin < end and first < stop:
                raise TrelError(
                    f"both results have packets of seed {seed}: they are no independent samples. "
                    "Run one of them with another seed"
                )


def _refuse_other_lights(a: xr.Dataset, b: xr.Dataset) -> None:
    if not np.array_equal(a["wavelength"], b["wavelength"]):
        raise TrelError(f"wavelengths differ: {a.wavelength.values} and {b.wavelength.values} nm")
    for data in (a, b):
        if data.sizes.get("batch", 1) < 2:
            raise NotRecorded("a result without batches has no errors: text files, or batches=1")


def _is_sum(data: xr.Dataset, name: str) -> bool:
    """Tell totals and projections from grids."""
    head, _, axis = name.rpartition("_")
    own = [str(known).rpartition("_")[2] for known in data[name].dims]
    return "_total" in name or (head in data and own[-1:] == [axis])


def _list_sums(a: xr.Dataset, b: xr.Dataset) -> tuple[list[str], list[str]]:
    """Return the totals and projections of both, and what cannot be compared."""
    tail = "_batches"
    names: list[str] = []
    left_out: list[str] = []
    for key in sorted({*map(str, a.data_vars), *map(str, b.data_vars)}):
        name = key.removesuffix(tail)
        if name == key or not any(name in data and _is_sum(data, name) for data in (a, b)):
            continue
        (names if key in a and key in b and _fits(a, b, name) else left_out).append(name)
    # What became of the light, by tissue and face: the lines that both have.
    if all("ledger_weight_batches" in data for data in (a, b)):
        (names if _fits(a, b, "ledger_weight") else left_out).append("ledger_weight")
    return names, left_out


def _fits(a: xr.Dataset, b: xr.Dataset, name: str) -> bool:
    """Tell whether a variable is there twice on the same axes; refuse it in two units."""
    if name not in a or name not in b or a[name].dims != b[name].dims:
        return False
    if units_of(a, name) != units_of(b, name):
        raise TrelError(f"{name} is in {units_of(a, name)} and in {units_of(b, name)}")
    axes = [axis for axis in a[name].dims if axis in a.coords]
    return a[name].shape == b[name].shape and all(
        _are_same(a[axis].values, b[axis].values) for axis in axes
    )


def _are_same(a: np.ndarray, b: np.ndarray) -> bool:
    """Tell whether two axes are the same: numbers to within rounding, or names."""
    if a.dtype.kind == "f":
        return np.allclose(a, b, rtol=1e-9, atol=1e-9)
    return np.array_equal(a, b)


def _test(name: str, a: xr.Dataset, b: xr.Dataset) -> list[dict[str, Any]]:
    """Return a row for each element of a variable that both have seen often enough."""
    first, second = (data[f"{name}_batches"].values for data in (a, b))
    mean = first.mean(axis=0), second.mean(axis=0)
    parts = [each.var(axis=0, ddof=1) / len(each) for each in (first, second)]
    variance = parts[0] + parts[1]
    filled = [(each != 0).sum(axis=0) >= FILLED for each in (first, second)]
    difference = mean[0] - mean[1]
    scale = np.maximum(abs(mean[0]), abs(mean[1]))
    difference = np.where(abs(difference) > ROUNDING * scale, difference, 0.0)
    with np.errstate(divide="ignore", invalid="ignore"):
        t = np.where(difference == 0, 0.0, difference / np.sqrt(variance))
        freedom = variance**2 / sum(
            part**2 / (len(each) - 1) for part, each in zip(parts, (first, second), strict=True)
        )
    freedom = np.where(variance > 0, freedom, 1.0)
    p = 2 * need("scipy.special", "python3-scipy").stdtr(freedom, -abs(t))
    return [
        {
            "name": name,
            "place": _place(a[name], at),
            "a": float(mean[0][at]),
            "b": float(mean[1][at]),
            "t": float(t[at]),
            "p": float(p[at]),
        }
        for at in zip(*np.nonzero(filled[0] & filled[1]), strict=True)
    ]


def _place(variable: xr.DataArray, at: tuple[int, ...]) -> str:
    """Return where an element lies, as ``650 nm, z 3.5 mm``."""
    parts = []
    for axis, index in zip(variable.dims, at, strict=True):
        if axis in variable.coords:
            middle = variable[axis].values[index]
            units = variable[axis].attrs.get("units", "")
            head = "" if axis == "wavelength" else f"{axis} "
            parts.append(f"{head}{middle:g} {units}" if np.isreal(middle) else f"{head}{middle}")
        else:
            parts.append(f"{axis} {index + 1}")
    return ", ".join(parts)


def _holm(p: list[float]) -> np.ndarray:
    """Return the adjusted p of tests that are in the order of p."""
    count = len(p)
    return np.minimum(1, np.maximum.accumulate(np.array(p) * np.arange(count, 0, -1)))


def _list_grids(a: xr.Dataset, b: xr.Dataset) -> list[str]:
    """Return the grids of cells that both have on the same axes, with errors."""
    return [
        str(name)
        for name in a.data_vars
        if f"{name}_error" in a
        and f"{name}_error" in b
        and a[name].ndim > 1
        and not str(name).startswith("ledger_")
        and not _is_sum(a, str(name))
        and _fits(a, b, str(name))
    ]


def _filled_cells(data: xr.Dataset, name: str) -> xr.DataArray:
    """Return how many batches have something in each cell, or no less than that.

    Of k filled batches of B, <x^2> >= <x>^2 B / k (Cauchy), so that with the relative error e of
    the mean k >= B / (1 + (B - 1) e^2), equal if they have the same.
    """
    if f"{name}_batches" in data:
        return (data[f"{name}_batches"] != 0).sum("batch")
    relative = data[f"{name}_error"] / data[name]
    count = float(data.attrs["batches"])
    return count / (1 + (count - 1) * relative**2) * (1 + ROUNDING)
