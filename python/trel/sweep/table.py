"""The table of a series: what its results hold, labelled by the parameters."""

from __future__ import annotations

import re
from collections.abc import Mapping, Sequence
from typing import Any

import numpy as np
import xarray as xr

from ..errors import TrelError
from ..result import NotRecorded
from ..result import open as open_result
from ..result.opening import nothing_collected
from ..result.quantity import take
from .folder import Folder
from .jobs import Job

QUANTITY = re.compile(r"\w+(\(\w+\))?")


def check_quantities(quantities: Sequence[str]) -> list[str]:
    """Return the names of quantities; a TrelError tells how they are written."""
    names = [quantities] if isinstance(quantities, str) else list(quantities)
    for name in names:
        if not QUANTITY.fullmatch(name):
            raise TrelError(f"quantities: got {name!r}, expected a total ('Rd', 'absorption', "
                            "'top', 'fibre2') or a curve ('Rd(r)', 'absorption(z)')")
    return names


def derive(data: xr.Dataset, quantity: str) -> xr.Dataset:
    """Return value and error of a quantity, in its unit, from a result of ``trel.open``."""
    name, _, axis = quantity.rstrip(")").partition("(")
    if name in ("Rd", "reflectance"):
        made = data.trel.Rd(slice(None) if axis else None)
    elif not axis:
        made = data.trel.total(name)
    else:
        sums = [f"{grid}_{axis}" for grid in (f"transmittance_{name}", name)]
        found = [one for one in sums if one in data]
        if not found:
            raise NotRecorded(f"{quantity}: the results have no {' or '.join(sums)}")
        made = take(data, found[0])
    return xr.Dataset(made)


def variable_name(quantity: str) -> str:
    """Return the name of a quantity in the table: that of ``Rd(r)`` is ``Rd_r``."""
    return quantity.replace("(", "_").rstrip(")")


class _Column:
    """A quantity at all points; what is not there is NaN."""

    def __init__(self, quantity: str, shape: tuple[int, ...], first: xr.Dataset) -> None:
        self.quantity = quantity
        self.first = first
        self.values = np.full((2, *shape, *first["value"].shape), np.nan)

    def put(self, place: tuple[int, ...], made: xr.Dataset) -> None:
        """Enter a value and its error; a TrelError if its axes are not those of the others."""
        for axis in self.first["value"].dims:
            one, other = self.first[axis].values, made[axis].values
            if one.shape != other.shape or not np.allclose(one, other, rtol=1e-9, atol=1e-12):
                raise TrelError(f"{self.quantity}: {axis} is not the same at all points; let their "
                                "grids agree, or take a total")
        self.values[(0, *place)] = made["value"].values
        self.values[(1, *place)] = made["error"].values


def make_table(folder: Folder) -> xr.Dataset:
    """Return the table of a series from its folder: see ``sweep``."""
    series, jobs, done = folder.describe(), folder.jobs(), folder.manifest()
    parameters: dict[str, list[Any]] = series["parameters"]
    shape = (*map(len, parameters.values()), series["replicates"])
    places = _list_places(jobs, parameters)
    columns: dict[str, _Column] = {}
    notes = {"status": np.full(shape, "missing", object), "key": np.full(shape, "", object),
             "message": np.full(shape, "", object), "seed": np.zeros(shape, np.uint64),
             "packets": np.zeros(shape, np.int64)}
    for job, place in zip(jobs, places):
        told = done.get(job.key, {})
        notes["key"][place], notes["seed"][place] = job.key, job.seed
        notes["status"][place] = told.get("status", "missing")
        notes["message"][place] = told.get("message", "")
        notes["packets"][place] = told.get("packets", 0)
        if told.get("status") == "done":
            with nothing_collected(), open_result(folder.result(job.key)) as data:
                for quantity in series["quantities"]:
                    made = derive(data, quantity).load()
                    column = columns.setdefault(quantity, _Column(quantity, shape, made))
                    column.put(place, made)
    return _assemble(series, columns, notes)


def _list_places(jobs: list[Job], parameters: Mapping[str, list[Any]]) -> list[tuple[int, ...]]:
    return [(*(parameters[name].index(job.point[name]) for name in parameters), job.replicate)
            for job in jobs]


def _assemble(series: dict[str, Any], columns: Mapping[str, _Column],
              notes: Mapping[str, np.ndarray]) -> xr.Dataset:
    """Make the dataset; a single replicate has no axis."""
    parameters = series["parameters"]
    axes = (*parameters, "replicate")
    coords: dict[str, Any] = {name: (name, values) for name, values in parameters.items()}
    coords["replicate"] = ("replicate", np.arange(series["replicates"]))
    table = xr.Dataset(coords=coords)
    for quantity, column in columns.items():
        name, first = variable_name(quantity), column.first
        for values, ending in zip(column.values, ("", "_error")):
            attributes = dict(first["error" if ending else "value"].attrs)
            if not ending:
                attributes["ancillary_variables"] = f"{name}_error"
            own = {axis: first[axis] for axis in first["value"].dims}
            table = table.assign_coords(own)
            table[name + ending] = ((*axes, *first["value"].dims), values, attributes)
    for name, values in notes.items():
        table[name] = (axes, values.astype(str) if values.dtype == object else values)
    for name in parameters:
        unit = {"mua": "mm-1", "mus": "mm-1", "g": "1", "n": "1"}.get(name.rpartition(".")[2])
        table[name].attrs = {"units": unit} if unit and "." in name else {}
    table.attrs = {"root_seed": str(series["root_seed"]),
                   "common_seeds": int(series["common_seeds"]), "source": series["program"]}
    return table.isel(replicate=0, drop=True) if series["replicates"] == 1 else table
