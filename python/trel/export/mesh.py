"""Meshes with what their elements, faces and vertices have: VTK's .vtu."""

from __future__ import annotations

from pathlib import Path

import xarray as xr

from ..errors import need
from .arrays import split

CORNERS = {"element": ("element_vertices", "tetra"), "face": ("face_vertices", "triangle")}


def write_vtu(ds: xr.Dataset, path: Path, cells: str | None = None) -> None:
    """Write tetrahedra (``element``) or triangles (``face``) with all variables that they have.

    Without ``cells`` the tetrahedra if the result has variables of them, else the faces. What
    vertices have goes along. Each wavelength, if there are several, and each time gate is an array
    of its own, with both in its name. Coordinates are in mm.
    """
    meshio = need("meshio", "python3-meshio")
    if "vertex_position" not in ds:
        raise ValueError("the result has no mesh: .vtu holds the surface or the tetrahedra of one")
    if cells is None:
        cells = "element" if _of(ds, "element") else "face"
    if cells not in CORNERS or CORNERS[cells][0] not in ds:
        raise ValueError(f"the result has no {cells}: cells is one of {', '.join(CORNERS)}")
    name, kind = CORNERS[cells]
    data = {label: [value.to_numpy()] for own in _of(ds, cells) for label, value in split(ds, own)}
    for extra in (f"{cells}_region", f"{cells}_area", f"{cells}_volume"):
        if extra in ds:
            data[extra] = [ds[extra].to_numpy()]
    points = {label: value.to_numpy()
              for own in _of(ds, "vertex") for label, value in split(ds, own)}
    mesh = meshio.Mesh(ds["vertex_position"].to_numpy(), [(kind, ds[name].to_numpy())],
                       point_data=points, cell_data=data)
    mesh.write(path, file_format="vtu")


def _of(ds: xr.Dataset, axis: str) -> list[str]:
    """List the results by element, face or vertex, at wavelengths."""
    return [str(name) for name, value in ds.data_vars.items()
            if {"wavelength", axis} <= set(value.dims) <= {"wavelength", "time", axis}]
