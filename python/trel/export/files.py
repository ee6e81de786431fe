"""One function for all formats."""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path
from typing import Any

import xarray as xr

from .image import write_nifti, write_vti
from .mesh import write_vtu
from .table import write_csv, write_mat

WRITERS: dict[str, Callable[..., None]] = {
    ".vti": write_vti, ".vtu": write_vtu, ".nii.gz": write_nifti, ".nii": write_nifti,
    ".mat": write_mat, ".csv": write_csv,
}


def export(ds: xr.Dataset, path: str | os.PathLike[str], **options: Any) -> Path:
    """Write a result, or a derived Dataset, in the format that the ending of the path tells.

    Parameters
    ----------
    ds : as of ``trel.open``, or with ``value`` and ``error``.
    path : the file, which is replaced if it is there. ``.vti``: all grids in x, y, z as data of
        cells; ``.vtu``: a mesh with what its elements or faces have; ``.nii.gz``, ``.nii``: one
        grid as an image in mm; ``.mat``: all variables under their names; ``.csv``: one variable
        as rows.
    options : ``name`` of the variable, for ``.nii.gz`` and ``.csv`` (without it the absorption or
        the fluence rate); ``wavelength`` (nm), for ``.nii.gz`` of several; ``cells``, for ``.vtu``:
        ``element`` or ``face``.

    Returns
    -------
    The path. Lengths are in mm throughout.

    Raises
    ------
    ValueError for another ending, and for what a format cannot hold: cells of different widths, or
    on other axes than x, y, z, in images. MissingPackage names the Debian package.
    """
    file = Path(path)
    for ending, write in WRITERS.items():
        if file.name.endswith(ending):
            write(ds, file, **options)
            return file
    raise ValueError(f"{file.name}: known endings are {', '.join(WRITERS)}")
