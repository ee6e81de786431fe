"""Optical properties of tissue: power laws of scattering, and mixtures of spectra.

No table comes with the package: spectra are read from files that say where they are from.
"""

from __future__ import annotations

import csv
import os
from collections.abc import Sequence
from pathlib import Path
from typing import Any

import numpy as np
import xarray as xr

from .errors import ModelError

REFERENCE = 500.0
"""Wavelength, nm, at which the amplitude of a power law is told."""


def scattering(wavelengths: float | Sequence[float], a: float, b: float,
               rayleigh: float = 0.0) -> np.ndarray:
    """Return the reduced scattering coefficient mus' (1/mm) by a power law.

    mus' = a (rayleigh (w / 500 nm)^-4 + (1 - rayleigh) (w / 500 nm)^-b), with ``a`` the
    coefficient at 500 nm in 1/mm (a tenth of one in 1/cm), ``b`` the power of the Mie part, and
    ``rayleigh`` the share of the Rayleigh part at 500 nm, 0 to 1: S. L. Jacques, Phys. Med. Biol.
    58 (2013) R37, equations 1 and 2, where values for tissues stand. ``wavelengths`` in nm, above
    0; the result has their shape.
    """
    w = np.asarray(wavelengths, dtype=float)
    if not (np.all(np.isfinite(w)) and np.all(w > 0)):
        raise ModelError(f"wavelengths: got {wavelengths!r}, expected numbers above 0 (nm)")
    if not (np.isfinite(a) and a >= 0):
        raise ModelError(f"a: got {a!r}, expected a number of at least 0 (1/mm)")
    if not np.isfinite(b):
        raise ModelError(f"b: got {b!r}, expected a finite number (power)")
    if not 0 <= rayleigh <= 1:
        raise ModelError(f"rayleigh: got {rayleigh!r}, expected a share from 0 to 1")
    ratio = w / REFERENCE
    return np.asarray(a * (rayleigh * ratio ** -4.0 + (1 - rayleigh) * ratio ** -float(b)))


def mus_from_reduced(reduced: float | Sequence[float] | np.ndarray,
                     g: float | Sequence[float]) -> np.ndarray:
    """Return mus = mus' / (1 - g), 1/mm, of a reduced coefficient mus' (1/mm); -1 <= g < 1."""
    coefficient, cosine = np.asarray(reduced, dtype=float), np.asarray(g, dtype=float)
    if not np.all(coefficient >= 0):
        raise ModelError(f"reduced: got {reduced!r}, expected numbers of at least 0 (1/mm)")
    if not (np.all(cosine >= -1) and np.all(cosine < 1)):
        raise ModelError(f"g: got {g!r}, expected numbers from -1 to below 1 (mean cosine)")
    return np.asarray(coefficient / (1 - cosine))


def read_spectra(path: str | os.PathLike[str]) -> xr.Dataset:
    """Read absorption spectra from a CSV file whose header tells unit and source.

    ::

        # source: where the numbers are from
        # unit: 1/mm per mmol/l
        nm, HbO2, Hb
        650, 0.0008, 0.0086

    The unit is 1/mm, or 1/mm per unit of amount. Coefficients for the decadic logarithm are to be
    multiplied by ln 10 first. The result has a variable for each column over ``wavelength`` (nm,
    rising), with the attributes ``units`` and ``source``. A ModelError tells what is missing.
    """
    header: dict[str, str] = {}
    rows: list[tuple[int, list[str]]] = []
    text = Path(path).read_text(encoding="utf-8-sig")
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("#"):
            name, _, told = line[1:].partition(":")
            header.setdefault(name.strip().lower(), told.strip())
        elif line.strip():
            rows.append((number, [word.strip() for word in next(csv.reader([line]))]))
    for name in ("source", "unit"):
        if not header.get(name):
            raise ModelError(f"{path}: there is no line '# {name}: ...' that tells its {name}")
    unit = header["unit"]
    if unit.split(" per ")[0].strip() not in ("1/mm", "mm-1", "mm^-1"):
        raise ModelError(f"{path}: unit: got {unit!r}, expected 1/mm, or 1/mm per unit of amount")
    return _table(path, rows, {"units": unit, "source": header["source"]})


def _table(path: str | os.PathLike[str], rows: list[tuple[int, list[str]]],
           attributes: dict[str, str]) -> xr.Dataset:
    """Make spectra of the row of names and the rows of numbers."""
    names = rows[0][1] if rows else []
    if len(names) < 2 or names[0].lower() != "nm" or len(set(names)) < len(names) or "" in names:
        raise ModelError(f"{path}: expected a row of different names, the first of them nm")
    table = []
    for number, row in rows[1:]:
        try:
            table.append([float(word) for word in row])
            good = len(row) == len(names) and bool(np.all(np.isfinite(table[-1])))
        except ValueError:
            good = False
        if not good:
            raise ModelError(f"{path}:{number}: expected {len(names)} numbers")
    values = np.array(table).reshape(-1, len(names))
    if len(values) == 0 or np.any(np.diff(values[:, 0]) <= 0):
        raise ModelError(f"{path}: expected wavelengths that rise from row to row (nm)")
    spectra = xr.Dataset(
        {name: ("wavelength", values[:, i], attributes) for i, name in enumerate(names) if i},
        coords={"wavelength": ("wavelength", values[:, 0], {"units": "nm"})})
    return spectra


def mix(spectra: xr.Dataset, wavelengths: float | Sequence[float], **amounts: Any) -> np.ndarray:
    """Return the absorption coefficient (1/mm) of a mixture: the sum of amount times spectrum.

    Each amount is in the unit that the spectrum is told per (of one in 1/mm: a share). Spectra are
    interpolated linearly; ``wavelengths`` (nm) beyond theirs are refused. The result has the shape
    of ``wavelengths``.
    """
    w = np.asarray(wavelengths, dtype=float)
    known = spectra["wavelength"].values
    if not (np.all(w >= known[0]) and np.all(w <= known[-1])):
        raise ModelError(f"wavelengths: got {wavelengths!r}, expected {known[0]:g} to "
                         f"{known[-1]:g} (nm), which the spectra cover")
    total = np.zeros(w.shape)
    for name, amount in amounts.items():
        if name not in spectra:
            told = ", ".join(map(str, spectra.data_vars))
            raise ModelError(f"{name}: there is no such spectrum, only {told}")
        if not (np.isfinite(amount) and amount >= 0):
            unit = spectra[name].attrs["units"].partition(" per ")[2] or "a share"
            raise ModelError(f"{name}: got {amount!r}, expected a number of at least 0 ({unit})")
        total += amount * np.interp(w, known, spectra[name].values)
    return total
