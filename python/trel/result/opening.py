"""Results from files."""

from __future__ import annotations

import gc
import os
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import xarray as xr

from ..errors import TrelError, need
from ..run.command import Settings
from .classic import open_text

ORDER = ("batch", "wavelength", "time", "r", "azimuth", "deflection", "x", "y", "z")
"""Of the axes of a result, first to last; others keep their place behind."""


def open(  # noqa: A001
    path: str | os.PathLike[str],
    chunks: Any = None,
    model: Any = None,
    settings: Settings = None,
) -> xr.Dataset:
    """Open the results of a run.

    Parameters
    ----------
    path : ``BASE.nc`` of ``trelrun``, with or without its ending; or, with ``model``, the base name
        or one of the text files of ``trel`` (``run``, ``run.A.CW``).
    chunks : None: values are read from the file when they are asked for; else as of
        ``xarray.open_dataset``, with dask.
    model : of text files: the model file, or a ``trel.Model``; their axes come from it.
    settings : of text files: coefficients that differed in their run, as of ``run_file``.

    Returns
    -------
    A dataset of variables with the names, units and axes of docs/result-files.md, the axes in the
    order (batch), wavelength, time, x, y, z; r, azimuth, deflection ahead of z. ``NAME_error`` has
    the standard error of NAME, in its unit. The attributes are those of the file: ``model`` (text),
    ``seed``, ``packets``, ``batches``, ``rules``, ...

    Raises
    ------
    FileNotFoundError; TrelError for a file that is no result, or text files without a model.
    """
    base = Path(path)
    file = base if base.suffix == ".nc" else base.with_name(base.name + ".nc")
    if model is None and file.exists():
        return _open_netcdf(file, chunks)
    if base.suffix == ".nc":
        raise FileNotFoundError(f"{base} is not there")
    if model is None:
        raise TrelError(f"{base}: no such result, and text files need their model: model=FILE.trl")
    return order_axes(open_text(base, model, settings))


def _open_netcdf(path: Path, chunks: Any) -> xr.Dataset:
    if chunks is not None:
        need("dask.array", "python3-dask")
    with nothing_collected():
        names = _list_names(path)
        private = [name for name in names if name.startswith("state_")]
        data = xr.open_dataset(
            path,
            engine="netcdf4",
            chunks=chunks,
            decode_times=False,
            drop_variables=private,
        )
    if not str(data.attrs.get("source", "")).startswith("trelrun"):
        raise TrelError(f"{path} is no result of trelrun")
    ordered = order_axes(data)
    ordered.set_close(data.close)
    return ordered


@contextmanager
def nothing_collected() -> Iterator[None]:
    """Keep the collector of garbage from closing a file that is no longer used.

    It would do so by a call into the library in the midst of another one: netCDF4 1.6.2 reports an
    error of HDF, or crashes, where that happens while a file is opened.
    """
    collects = gc.isenabled()
    gc.disable()
    try:
        yield
    finally:
        if collects:
            gc.enable()


def _list_names(path: Path) -> list[str]:
    import netCDF4

    with netCDF4.Dataset(path) as file:
        return list(file.variables)


def order_axes(data: xr.Dataset) -> xr.Dataset:
    """Bring the axes of all variables into the order (batch, wavelength, time, x, y, z)."""

    def rank(axis: object) -> int:
        # fibre2_x and camera1_x are axes of their own.
        word = str(axis).rpartition("_")[2]
        return ORDER.index(word) if word in ORDER else len(ORDER)

    turned = {
        name: variable.transpose(*sorted(variable.dims, key=rank))
        for name, variable in data.variables.items()
        if variable.ndim > 1
    }
    return data.assign(
        {name: turned[name] for name in data.data_vars if name in turned}
    )
