"""The mesh formats that ``trelrun`` reads."""

from __future__ import annotations

import os
from collections.abc import Callable, Iterator
from pathlib import Path

import numpy as np

from ..errors import MeshError
from .contents import Mesh

SURFACES = (".off", ".ply", ".stl", ".surf")
VOLUMES = (".am", ".mesh")


def wants_volume(path: str | os.PathLike[str]) -> bool:
    """Whether a file of this ending holds tetrahedra; a MeshError for other endings."""
    ending = Path(path).suffix.lower()
    if ending not in (*SURFACES, *VOLUMES):
        raise MeshError(f"{path}: written are {', '.join(SURFACES)} (surfaces) and "
                        f"{', '.join(VOLUMES)} (tetrahedra)")
    return ending in VOLUMES


def write(mesh: Mesh, path: str | os.PathLike[str]) -> None:
    """Write a mesh in the format that the ending tells, whole or not at all.

    Numbers have all their digits. Groups of a volume must be its regions, from 1 without a gap.
    """
    file = Path(path)
    if wants_volume(file) != mesh.is_volume:
        raise MeshError(f"{file}: this format holds no "
                        f"{'tetrahedra' if mesh.is_volume else 'triangles alone'}")
    if not len(mesh.corners):
        raise MeshError(f"{file}: nothing is left to be written")
    unfinished = file.with_name(f".{file.name}.part")
    try:
        with open(unfinished, "w", encoding="ascii") as out:
            out.writelines(WRITERS[file.suffix.lower()](mesh))
        os.replace(unfinished, file)
    finally:
        unfinished.unlink(missing_ok=True)


def _rows(array: np.ndarray, before: str = "") -> Iterator[str]:
    """Give a line for each row; of floats as many digits as they need."""
    form = before + " ".join(["%r" if array.dtype.kind == "f" else "%d"] * array.shape[1]) + "\n"
    for start in range(0, len(array), 100_000):
        yield "".join([form % tuple(row) for row in array[start:start + 100_000].tolist()])


def _off(mesh: Mesh) -> Iterator[str]:
    yield f"OFF\n{len(mesh.points)} {len(mesh.corners)} 0\n"
    yield from _rows(mesh.points)
    yield from _rows(mesh.corners, "3 ")


def _ply(mesh: Mesh) -> Iterator[str]:
    yield (f"ply\nformat ascii 1.0\nelement vertex {len(mesh.points)}\nproperty double x\n"
           f"property double y\nproperty double z\nelement face {len(mesh.corners)}\n"
           "property list uchar int vertex_indices\nend_header\n")
    yield from _rows(mesh.points)
    yield from _rows(mesh.corners, "3 ")


def _stl(mesh: Mesh) -> Iterator[str]:
    places = mesh.points[mesh.corners]
    normals = np.cross(places[:, 1] - places[:, 0], places[:, 2] - places[:, 0])
    lengths = np.linalg.norm(normals, axis=1, keepdims=True)
    normals = np.divide(normals, lengths, out=np.zeros_like(normals), where=lengths > 0)
    vertex = "vertex %r %r %r\n"
    form = f"facet normal %g %g %g\nouter loop\n{3 * vertex}endloop\nendfacet\n"
    yield "solid mesh\n"
    for normal, corners in zip(normals.tolist(), places.reshape(-1, 9).tolist()):
        yield form % (*normal, *corners)
    yield "endsolid mesh\n"


def _surf(mesh: Mesh) -> Iterator[str]:
    yield f"surfacemesh\n{len(mesh.points)}\n"
    yield from _rows(mesh.points)
    yield f"{len(mesh.corners)}\n"
    yield from _rows(mesh.corners + 1)


def _am(mesh: Mesh) -> Iterator[str]:
    yield (f"# Tetrahedra\nnNodes {len(mesh.points)}\n"
           f"nTetrahedra {len(mesh.corners)}\n")
    for number, name in sorted(mesh.names.items()):
        yield f"# region {number}: {' '.join(name.encode('ascii', 'replace').decode().split())}\n"
    yield "@1\n"
    yield from _rows(mesh.points)
    yield "@2\n"
    yield from _rows(mesh.corners + 1)
    yield "@3\n"
    yield from _rows(mesh.groups[:, None] - 1)


def _neutral(mesh: Mesh) -> Iterator[str]:
    yield f"{len(mesh.points)}\n"
    yield from _rows(mesh.points)
    yield f"{len(mesh.corners)}\n"
    yield from _rows(np.column_stack([mesh.groups, mesh.corners + 1]))


WRITERS: dict[str, Callable[[Mesh], Iterator[str]]] = {
    ".off": _off, ".ply": _ply, ".stl": _stl, ".surf": _surf, ".am": _am, ".mesh": _neutral,
}
