"""Meshes of any format to those that ``trelrun`` reads."""

from __future__ import annotations

import os
from collections.abc import Mapping
from dataclasses import replace
from typing import Literal

import numpy as np

from ..errors import MeshError
from .contents import Mesh
from .examining import Examination, examine
from .mending import weld as weld_points
from .reading import read
from .writing import wants_volume, write

Place = tuple[float, float, float]
MOST_REGIONS = 32767


def convert(input: str | os.PathLike[str], output: str | os.PathLike[str], *,  # noqa: A002
            scale: float = 1.0, move: Place = (0, 0, 0), center: Place | None = None,
            weld: float | Literal[False] = 0.0,
            regions: Mapping[str | int, int] | None = None) -> Examination:
    """Write a mesh in a format that ``trelrun`` reads, and tell what ``trelrun`` finds in it.

    Parameters
    ----------
    input : Gmsh (.msh), Medit (.mesh), TetGen (.node with .ele), Netgen (.vol, neutral .mesh), VTK
        (.vtk, .vtu), STL, PLY, OFF, SURF, AM, or what else python3-meshio reads; also as .gz.
    output : .off, .ply, .stl, .surf for a surface, .am, .mesh for tetrahedra. Of tetrahedra the
        outer surface is written.
    scale : factor from the file's unit of length to mm: 1000 for m, 25.4 for inches.
    center : where the middle of the box goes, mm, after ``scale``.
    move : by how much it is moved then, mm.
    weld : points within this distance (mm) become one: with 0 those at the same place, with False
        none. Cells that collapse are left out.
    regions : the region, from 1, of each group of cells, by its name or number in the file; 0
        leaves it out. Several may become one region. Without it the groups are numbered as their
        numbers in the file rise. Region r is tissue r of the model.

    Returns
    -------
    What was found in what was written: printed, it tells volume, box, bodies, edges, regions.

    Raises
    ------
    MeshError with the file and the reason.
    """
    if not (np.isfinite(scale) and scale > 0):
        raise MeshError(f"scale: got {scale}, expected a factor above 0")
    wanted = wants_volume(output)
    mesh = read(input) if regions else read(input, volume=wanted)
    mesh = number_regions(mesh, regions)
    if wanted and not mesh.is_volume:
        raise MeshError(f"{input}: it is a surface, without tetrahedra")
    if mesh.is_volume and not wanted:
        mesh = mesh.outside()
    mesh = mesh.placed(scale)
    if weld is not False:
        mesh = weld_points(mesh, weld)
    return save(mesh.placed(center=center, move=move), output)


def save(mesh: Mesh, path: str | os.PathLike[str]) -> Examination:
    """Write a mesh, of a volume the outer surface if the format holds no other, and examine it.

    Groups of a volume must be regions, from 1 without a gap. Formats as of ``convert``.
    """
    kept = mesh if wants_volume(path) else mesh.outside() if mesh.is_volume else mesh
    write(kept, path)
    return examine_mesh(kept, path)


def examine_mesh(mesh: Mesh, path: str | os.PathLike[str]) -> Examination:
    """Examine the file that a mesh was written to."""
    return examine(path, min(max(int(mesh.groups.max()), 1), MOST_REGIONS), mesh.names)


def number_regions(mesh: Mesh, regions: Mapping[str | int, int] | None = None) -> Mesh:
    """Give the groups of a mesh numbers from 1 without a gap; ``regions`` as of ``convert``."""
    groups = np.unique(mesh.groups).tolist()
    if regions:
        to = _chosen(mesh, groups, regions)
    else:
        to = {group: number for number, group in enumerate(groups, 1)}
    missing = set(range(1, max(to.values()) + 1)) - set(to.values())
    if missing:
        raise MeshError(f"region {min(missing)} is missing: regions are 1, 2, ... without a gap")
    names: dict[int, str] = {}
    for group in groups:
        own = mesh.names.get(group, "" if to[group] == group else f"({group} in the file)")
        names[to[group]] = "+".join(filter(None, [names.get(to[group], ""), own]))
    numbered = np.array([to[group] for group in groups])[np.searchsorted(groups, mesh.groups)]
    return replace(mesh, groups=numbered, names=names).only(numbered > 0)


def _chosen(mesh: Mesh, groups: list[int], regions: Mapping[str | int, int]) -> dict[int, int]:
    """Return the region of each group, by the names or numbers that ``regions`` has."""
    told = {group: mesh.names.get(group, str(group)) for group in groups}
    to: dict[int, int] = {}
    for key, number in regions.items():
        found = [group for group in groups if key in (group, str(group), mesh.names.get(group))]
        if not found:
            raise MeshError(f"regions: the mesh has no {key!r}, but {', '.join(told.values())}")
        if number < 0 or number != int(number):
            raise MeshError(f"regions: got {number} for {key!r}, expected 0, 1, 2, ...")
        to.update(dict.fromkeys(found, int(number)))
    left = [told[group] for group in groups if group not in to]
    if left:
        raise MeshError(f"regions: say what {', '.join(left)} become; 0 leaves them out")
    if not any(to.values()):
        raise MeshError("regions: nothing is left of the mesh")
    return to
