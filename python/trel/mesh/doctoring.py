"""What is wrong with a mesh, where it is, and what of it can be mended."""

from __future__ import annotations

import os
import tempfile
from dataclasses import replace
from pathlib import Path

import numpy as np

from ..errors import Finding, MeshError, need
from .contents import Mesh, same_places
from .converting import examine_mesh, number_regions, save
from .examining import Examination
from .mending import edges_of, orient
from .mending import weld as weld_points
from .reading import read
from .writing import SURFACES, VOLUMES, wants_volume

OPEN, NON_MANIFOLD, INVERTED, NEEDLE = 1, 2, 3, 4
"""What the array ``fault`` of a file of culprits says."""
NEEDLE_RATIO = 1e-3
"""Of the height of a regular triangle or the volume of a regular tetrahedron."""


def doctor(file: str | os.PathLike[str], *, culprits: str | os.PathLike[str] | None = None,
           mend: str | os.PathLike[str] | None = None, weld: float = 0.0) -> Examination:
    """Tell what ``trelrun`` finds in a mesh, show where it is, and mend what can be mended.

    Parameters
    ----------
    file : a mesh of any format that ``convert`` reads, lengths in mm.
    culprits : a .vtu for what is wrong (needs python3-meshio): open, non-manifold and inverted
        edges as lines, needles and inverted tetrahedra as cells, with the array ``fault``: 1 open,
        2 non-manifold, 3 inverted, 4 needle. If nothing is wrong there is no such file then.
    mend : a file for the mended mesh, of a format that ``trelrun`` reads: points within ``weld``
        (mm) of each other are one, cells that collapse by that are left out, and all are wound
        alike, triangles outward. Holes stay.

    Returns
    -------
    What ``trelrun`` finds in the file, or, with ``mend``, in the mended one. The culprits are
    those of the same mesh.

    Raises
    ------
    MeshError with the file and the reason if it cannot be read.
    """
    if mend is not None:
        mesh = number_regions(read(file, wants_volume(mend)))
        mesh = orient(weld_points(mesh, weld).placed())
        found = save(mesh, mend)
    else:
        mesh = read(file)
        found = _examine_as_it_is(mesh, file)
    if culprits is not None:
        write_culprits(mesh, culprits)
    return found


def _examine_as_it_is(mesh: Mesh, file: str | os.PathLike[str]) -> Examination:
    """Examine a file; if ``trelrun`` cannot read it, what ``convert`` would make of it."""
    if Path(file).suffix.lower() in (*SURFACES, *VOLUMES):
        try:
            return examine_mesh(mesh, file)
        except MeshError:
            pass
    with tempfile.TemporaryDirectory(prefix="trel-mesh-") as folder:
        copy = Path(folder) / ("mesh.am" if mesh.is_volume else "mesh.off")
        found = save(number_regions(mesh), copy)
    note = Finding("warning", None, "trelrun does not read this file: convert it")
    return replace(found, file=os.fspath(file), findings=(*found.findings, note))


def write_culprits(mesh: Mesh, path: str | os.PathLike[str]) -> None:
    """Write what is wrong with a mesh as a .vtu, or take an old file away if nothing is."""
    meshio = need("meshio", "python3-meshio")
    Path(path).unlink(missing_ok=True)
    edges = np.empty((0, 2), dtype=np.int64) if mesh.is_volume else mesh.corners[:0, :2]
    kinds = np.empty(0, dtype=np.int64)
    cells = _needles(mesh)
    faults = np.where(cells, NEEDLE, 0)
    if mesh.is_volume:
        faults[_inverted(mesh)] = INVERTED
    else:
        edges, kinds = _bad_edges(mesh)
    if not len(edges) and not faults.any():
        return
    blocks = [("line", edges), ("tetra" if mesh.is_volume else "triangle",
                                mesh.corners[faults > 0])]
    data = [kinds, faults[faults > 0]]
    kept = [number for number, (_, block) in enumerate(blocks) if len(block)]
    meshio.Mesh(mesh.points, [blocks[k] for k in kept],
                cell_data={"fault": [data[k] for k in kept]}).write(path, file_format="vtu")


def _bad_edges(mesh: Mesh) -> tuple[np.ndarray, np.ndarray]:
    """Return edges of a surface, (edges, 2), and what is wrong with each."""
    rows, first, counts = edges_of(same_places(mesh.points)[mesh.corners])
    kinds = np.select([counts == 1, counts > 2], [OPEN, NON_MANIFOLD], 0)
    pairs = first[counts == 2]
    kinds[counts == 2] = np.where(rows[pairs, 3] == rows[pairs + 1, 3], INVERTED, 0)
    return rows[first, :2][kinds > 0], kinds[kinds > 0]


def _needles(mesh: Mesh) -> np.ndarray:
    """Tell which cells are needles, (cells,)."""
    longest = mesh.longest_edges()
    if mesh.is_volume:
        return ~(np.abs(mesh.volumes()) >= NEEDLE_RATIO * longest**3 / (6 * np.sqrt(2)))
    a, b, c = (mesh.points[mesh.corners[:, k]] for k in range(3))
    twice_area = np.linalg.norm(np.cross(b - a, c - a), axis=1)
    return ~(twice_area >= NEEDLE_RATIO * longest**2 * np.sqrt(0.75))


def _inverted(mesh: Mesh) -> np.ndarray:
    """Tell which tetrahedra are wound otherwise than most, (cells,)."""
    inward = mesh.volumes() < 0
    return inward if 2 * np.count_nonzero(inward) <= len(inward) else ~inward
