"""The sensitivity of light to the absorption of each cell, which needs the packets once more."""

from __future__ import annotations

import hashlib
import tempfile
from pathlib import Path
from typing import Any

import numpy as np
import xarray as xr

from ..run import replay
from .exits import need_exits
from .opening import open as open_file
from .quantity import NotRecorded, make, multiply_units, units_of

PARTS = ("sensitivity", "sensitivity_excitation", "sensitivity_emission")


def jacobian_of_cells(data: xr.Dataset, detector: Any) -> xr.Dataset:
    """Return the change of a fibre's light with mua by cell, mm; the error is not known."""
    need_exits(data)
    if detector is not None and not isinstance(detector, (int, np.integer)):
        raise ValueError("by cell: detector is the number of a fibre, or None for all that leaves")
    source = _find_source(data)
    with tempfile.TemporaryDirectory(prefix="trel-") as folder:
        path = replay(
            source,
            _find_model(data),
            text=str(data.attrs["model"]),
            changes=str(data.attrs.get("changed_coefficients", "")),
            detector=None if detector is None else int(detector),
            out=Path(folder) / "sensitivity",
        )
        flown = open_file(path).load()
        flown.close()
    names = [name for name in PARTS if name in flown]
    value = flown[names[0]]
    if len(names) > 1:
        parts = xr.concat([flown[name] for name in names], "part")
        value = parts.assign_coords(part=["sources", "excitation", "emission"])
        value = value.transpose("wavelength", "part", ...)
    units = multiply_units("1", units_of(flown, names[0]))
    return make(value, np.nan, units, "change with mua of the cell")


def _find_source(data: xr.Dataset) -> str:
    """Return the file of a result, if its exits are still the same."""
    source = data.encoding.get("source")
    if source and Path(source).is_file():
        with open_file(source) as stored:
            own = "exit_weight" in stored and "exit_weight" in data
            if own and np.array_equal(stored["exit_weight"], data["exit_weight"]):
                return str(source)
    raise NotRecorded("the packets are flown again from the file of the result: open it anew")


def _find_model(data: xr.Dataset) -> str | None:
    """Return the model file, if it is still the one of the result: its meshes lie beside it."""
    path = Path(str(data.attrs.get("model_file", "")))
    if path.is_file():
        if hashlib.sha256(path.read_bytes()).hexdigest() == data.attrs.get("model_sha256"):
            return str(path)
    return None
