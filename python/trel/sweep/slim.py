"""Results of jobs: whether they are what was asked for, and their small part."""

from __future__ import annotations

import os
import re
from pathlib import Path
from typing import Any

from ..errors import RunError
from ..result.opening import nothing_collected
from .jobs import Job

PLAIN = {"wavelength", "batch", "bounds", "ledger_line", "tissue", "xyz", "azimuth"}
"""Axes that do not make a grid large; rings are cut by azimuth, too."""
LARGE = re.compile(r"(state|exits?\d*)_|(vertex|face|element)_")
"""Names of what is never kept: sums to go on from, exits, and the parts of meshes."""


def check_result(path: Path, job: Job, arithmetic: int | None) -> dict[str, Any]:
    """Return packets and seconds of a result; a RunError if it is not the one of the job."""
    import netCDF4

    with nothing_collected(), netCDF4.Dataset(path) as file:
        found = {name: file.getncattr(name) for name in file.ncattrs()}
    if int(found.get("partial", 0)):
        raise RunError(f"{path}: the run was stopped before its end")
    if int(found.get("seed", job.seed)) != job.seed:
        raise RunError(f"{path}: it has the seed {found['seed']}, not {job.seed}")
    if arithmetic is not None and int(found["arithmetic"]) != arithmetic:
        raise RunError(f"{path}: made by {found['source']}, whose arithmetic is another one")
    return {"packets": int(found["packets"]), "batches": int(found["batches"]),
            "seconds": float(found["elapsed_seconds"])}


def is_whole(path: Path) -> bool:
    """Tell whether the results of a run are there, and not those of its first batches alone."""
    import netCDF4

    if not path.exists():
        return False
    with nothing_collected(), netCDF4.Dataset(path) as file:
        return not int(getattr(file, "partial", 0))


def slim(path: Path) -> None:
    """Leave of a result file its totals, ledger, coefficients, curves along one axis, and rings.

    Grids of two axes and more (the azimuth not counted), exits, meshes and what a run goes on from
    are left out. The file is replaced as a whole.
    """
    import netCDF4

    temporary = path.with_name(f".trel-{path.name}")
    with (nothing_collected(), netCDF4.Dataset(path) as old,
          netCDF4.Dataset(temporary, "w") as new):
        old.set_auto_maskandscale(False)
        new.setncatts({name: old.getncattr(name) for name in old.ncattrs()})
        for name, variable in old.variables.items():
            axes = [axis for axis in variable.dimensions if axis not in PLAIN]
            if LARGE.match(name) or len(axes) > 1:
                continue
            for axis in variable.dimensions:
                if axis not in new.dimensions:
                    new.createDimension(axis, len(old.dimensions[axis]))
            made = new.createVariable(name, variable.dtype, variable.dimensions)
            made.set_auto_maskandscale(False)
            told = {key: variable.getncattr(key) for key in variable.ncattrs()}
            made.setncatts({key: value for key, value in told.items() if key != "_FillValue"})
            made[...] = variable[...]
    os.replace(temporary, path)
