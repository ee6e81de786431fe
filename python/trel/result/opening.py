"""Results from files."""

from __future__ import annotations

import gc
import os
import weakref
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

import netCDF4
import xarray as xr
from xarray.backends.file_manager import FileManager

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
    handle = _Handle(path)
    names = handle.acquire().variables
    private = [name for name in names if name.startswith("state_")]
    data = xr.open_dataset(
        xr.backends.NetCDF4DataStore(handle),
        chunks=chunks,
        decode_times=False,
        drop_variables=private,
    )
    data.encoding["source"] = os.path.abspath(path)
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


_handles: weakref.WeakValueDictionary[Any, Any] = weakref.WeakValueDictionary()
"""What is open, by file."""


class _Handle(FileManager):
    """A file that is opened once, however many datasets read it, and closed behind the last.

    HDF5 1.10 lets a variable of text that was opened twice point at the handle that was the first:
    once that is closed, the next opening fails or crashes.
    """

    def __init__(self, path: Path) -> None:
        self._path = path
        status = path.stat()
        key = status.st_dev, status.st_ino, status.st_mtime_ns, status.st_size
        self._file = _handles.get(key)
        if self._file is None:
            self._file = _handles[key] = netCDF4.Dataset(path)

    def acquire(self, needs_lock: bool = True) -> Any:
        return self._file

    @contextmanager
    def acquire_context(self, needs_lock: bool = True) -> Iterator[Any]:
        yield self._file

    def close(self, needs_lock: bool = True) -> None:
        """Leave the file to the others."""

    def __reduce__(self) -> tuple[Any, ...]:
        """Open it again where a dataset arrives that was sent to another process."""
        return _Handle, (self._path,)


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
