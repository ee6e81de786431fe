"""Numbers under the names of the result: MATLAB's .mat, and .csv."""

from __future__ import annotations

import csv
import itertools
from pathlib import Path
from typing import Any

import xarray as xr

from ..errors import need
from ..plot.values import GRIDS, axis_name, choose

COMPONENTS = ("bounds", "xyz", "corner", "node", "tissue", "region", "ledger_line")
PLACES = ("x", "y", "r", "deflection", "azimuth", "z")
OUTER = ("time", "wavelength", "batch")


def write_mat(ds: xr.Dataset, path: Path) -> None:
    """Write all variables under their names, with axes as MATLAB's ``ncread`` gives them.

    These are x, y, z, time, wavelength; vectors are columns. ``units`` is a struct of the units by
    variable, ``attributes`` one of the attributes of the result (model, seed, packets, ...).
    """
    scipy_io = need("scipy.io", "python3-scipy")
    content: dict[str, Any] = {}
    units: dict[str, str] = {}
    for key, variable in ds.variables.items():
        name = str(key)
        values = variable.transpose(*sorted(variable.dims, key=_matlab_rank)).to_numpy()
        content[name] = values.astype(object) if values.dtype.kind in "OUS" else values
        if "units" in variable.attrs:
            units[name] = str(variable.attrs["units"])
    content["units"] = units
    content["attributes"] = {str(key): value for key, value in ds.attrs.items()}
    scipy_io.savemat(path, content, long_field_names=True, do_compression=True, oned_as="column",
                     appendmat=False)


def write_csv(ds: xr.Dataset, path: Path, name: str | None = None) -> None:
    """Write a row for each cell: its place on the axes, the value, and its standard error if known.

    The first line has the names with their units. Numbers have all their digits.
    """
    chosen = choose(ds, name, GRIDS)
    columns = [chosen]
    error = "error" if chosen == "value" else f"{chosen}_error"
    if error in ds:
        columns.append(error)
    dims = [str(dim) for dim in ds[chosen].dims]
    places = [ds[dim].to_numpy().tolist() for dim in dims]
    numbers = [ds[column].transpose(*dims).to_numpy().ravel().tolist() for column in columns]
    with open(path, "w", newline="", encoding="utf-8") as file:
        rows = csv.writer(file, lineterminator="\n")
        rows.writerow([_headed(ds[key]) for key in dims + columns])
        cells = zip(itertools.product(*places), zip(*numbers))
        rows.writerows([*place, *row] for place, row in cells)


def _headed(array: xr.DataArray) -> str:
    unit = array.attrs.get("units", "")
    return f"{array.name} ({unit})" if unit and unit != "1" else str(array.name)


def _matlab_rank(dim: object) -> int:
    """Components first, then places, then what is counted, then times, wavelengths and batches."""
    name = str(dim)
    if name in COMPONENTS:
        return 0
    if axis_name(name) in PLACES:
        return 1 + PLACES.index(axis_name(name))
    return 20 + OUTER.index(name) if name in OUTER else 10
