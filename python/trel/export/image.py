"""Grids in x, y, z as images of equal cells: VTK's .vti, and NIfTI."""

from __future__ import annotations

import base64
import struct
import xml.sax.saxutils
from pathlib import Path

import numpy as np
import xarray as xr

from ..errors import need
from ..plot.values import GRIDS, borders_of, choose, pick
from .arrays import split

AXES = ("x", "y", "z")


def lattice(ds: xr.Dataset, axes: tuple[str, ...]) -> tuple[list[float], list[float], list[int]]:
    """Return corner (mm), cell size (mm) and number of cells along each of these axes.

    A ValueError names the axis whose cells have different widths: an image has one spacing.
    """
    origin, spacing, counts = [], [], []
    for axis in axes:
        edges = borders_of(ds, axis)
        if edges is None:
            raise ValueError(f"{axis} has no borders of cells (the variable {axis}_bounds)")
        widths = np.diff(edges)
        if not np.allclose(widths, widths[0], rtol=1e-6, atol=0):
            odd = widths[np.argmax(np.abs(widths - widths[0]))]
            raise ValueError(
                f"the cells along {axis} are {widths[0]:g} mm wide, but one has {odd:g} mm: an"
                " image has one spacing. Make the roi a whole number of cells, or write .mat"
            )
        origin.append(float(edges[0]))
        spacing.append(float(edges[-1] - edges[0]) / len(widths))
        counts.append(len(widths))
    return origin, spacing, counts


def write_vti(ds: xr.Dataset, path: Path) -> None:
    """Write all grids in x, y, z (of a model in the plane x, y) as data of cells.

    Each wavelength, if there are several, and each time gate is an array of its own, with both in
    its name: ``absorption_td_650nm_25ps``. Numbers are doubles in base64, which all of VTK's
    readers take. Origin and spacing are in mm.
    """
    axes = AXES if _grids(ds, AXES) else AXES[:2]
    names = _grids(ds, axes)
    if not names:
        raise ValueError("the result has no grid in x, y, z: .vti holds no other")
    origin, spacing, counts = lattice(ds, axes)
    flat = 3 - len(axes)
    extent = " ".join(f"0 {count}" for count in counts + [0] * flat)
    places = [" ".join(repr(number) for number in [*row, *[fill] * flat])
              for row, fill in ((origin, 0.0), (spacing, 1.0))]
    with open(path, "w", encoding="ascii") as file:
        file.write('<?xml version="1.0"?>\n<VTKFile type="ImageData" version="1.0" '
                   'byte_order="LittleEndian" header_type="UInt64">\n'
                   f'<ImageData WholeExtent="{extent}" Origin="{places[0]}"'
                   f' Spacing="{places[1]}">\n<Piece Extent="{extent}">\n<CellData>\n')
        for name in names:
            for label, value in split(ds, name):
                file.write(_data_array(label, value.transpose(*axes[::-1]).to_numpy()))
        file.write("</CellData>\n</Piece>\n</ImageData>\n</VTKFile>\n")


def write_nifti(
    ds: xr.Dataset, path: Path, name: str | None = None, wavelength: float | None = None
) -> None:
    """Write one grid as an image; gates become its fourth axis, in ps.

    The affine takes indices to the middles of the cells in mm. NIfTI's axes point right, anterior
    and superior (RAS), and x, y, z of the model are taken as these.
    """
    nibabel = need("nibabel", "python3-nibabel")
    chosen = choose(ds, name, GRIDS)
    if wavelength is None and len(np.atleast_1d(ds.get("wavelength", 0))) > 1:
        raise ValueError("say wavelength= (nm): an image has one")
    value = pick(ds, chosen, wavelength).value
    if not set(AXES) <= set(value.dims):
        raise ValueError(f"{chosen} is no grid in x, y, z")
    origin, spacing, _ = lattice(ds, AXES)
    affine = np.diag([*spacing, 1.0])
    affine[:3, 3] = np.array(origin) + np.array(spacing) / 2
    image = nibabel.Nifti1Image(value.transpose(*AXES, ...).to_numpy().astype(float), affine)
    image.set_sform(affine, code="scanner")
    image.set_qform(affine, code="scanner")
    image.header.set_xyzt_units("mm")
    if value.ndim == 4:
        edges = borders_of(ds, "time")
        if edges is not None:
            image.header["pixdim"][4] = edges[1] - edges[0]
    unit = value.attrs.get("units", "1")
    image.header["descrip"] = f"{chosen}, {unit}; x y z are R A S, mm".encode()[:79]
    nibabel.save(image, path)


def _grids(ds: xr.Dataset, axes: tuple[str, ...]) -> list[str]:
    """List the variables on these axes and perhaps wavelength and time."""
    return [str(name) for name, value in ds.data_vars.items()
            if set(value.dims) - {"wavelength", "time"} == set(axes)
            and not str(name).endswith("_batches") and "transmittance" not in str(name)]


def _data_array(label: str, values: np.ndarray) -> str:
    raw = np.ascontiguousarray(values, dtype="<f8").tobytes()
    text = base64.b64encode(struct.pack("<Q", len(raw)) + raw).decode("ascii")
    quoted = xml.sax.saxutils.quoteattr(label)
    return f'<DataArray type="Float64" Name={quoted} format="binary">\n{text}\n</DataArray>\n'
