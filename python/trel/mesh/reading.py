"""Mesh files of any format, told apart by their ending and, where that is not enough, content."""

from __future__ import annotations

import contextlib
import gzip
import io
import os
import shutil
import tempfile
import warnings
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import numpy as np

from ..errors import MeshError, MissingPackage, need
from .contents import Mesh
from .polydata import is_polydata, read_polydata
from .textfiles import read_text

TEXT = (".off", ".surf", ".am", ".neu")
FORMATS = {".msh": "gmsh", ".mesh": "medit"}
TETRAHEDRA = ("tetra", "tetra10")
TRIANGLES = ("triangle", "triangle6")
QUADRILATERALS = ("quad", "quad8", "quad9")
FLAT = ("vertex", "line", "line3", "polygon", *TRIANGLES, *QUADRILATERALS)
# What the programs that write meshes call the number of the region that a cell belongs to.
REGIONS = ("gmsh:physical", "medit:ref", "tetgen:ref", "netgen:index", "region", "tissue", "label",
           "labels", "MaterialID", "MaterialIDs", "CellEntityIds", "mat_id", "gmsh:geometrical")


def read(path: str | os.PathLike[str], volume: bool | None = None) -> Mesh:
    """Read a surface or a volume.

    Parameters
    ----------
    path : the file, which may be compressed (``.gz``). ``.off``, ``.surf``, ``.am``, ``.neu``,
        ``.mesh`` (Medit or ours) and what python3-meshio reads: ``.msh``, ``.node`` and ``.ele``,
        ``.vtk``, ``.vtu``, ``.vol``, ``.stl``, ``.ply``, ...
    volume : True: tetrahedra are wanted; False: triangles, and of a file with tetrahedra the
        outer surface of these; None: what there is.

    Raises
    ------
    MeshError with the file and the reason: it cannot be read, or has no such cells.
    """
    file = Path(path)
    if not file.is_file():
        raise MeshError(f"{file}: there is no such file")
    with _unpacked(file) as plain:
        try:
            mesh = _read_plain(plain, volume)
        except MissingPackage:
            raise
        except (Exception, SystemExit) as error:
            raise MeshError(f"{file}: {_reason(error, plain)}") from error
    return mesh.outside() if volume is False and mesh.is_volume else mesh


@contextlib.contextmanager
def _unpacked(path: Path) -> Iterator[Path]:
    if path.suffix.lower() != ".gz":
        yield path
        return
    with tempfile.TemporaryDirectory(prefix="trel-mesh-") as folder:
        plain = Path(folder) / path.stem
        try:
            with gzip.open(path) as packed, open(plain, "wb") as file:
                shutil.copyfileobj(packed, file)
        except (OSError, EOFError) as error:
            raise MeshError(f"{path}: {error}") from error
        yield plain


def _read_plain(path: Path, volume: bool | None) -> Mesh:
    ending = path.suffix.lower()
    if ending in TEXT or (ending == ".mesh" and not _is_medit(path)):
        mesh = read_text(path)
    elif ending == ".vtk" and is_polydata(path):
        mesh = read_polydata(path)
    else:
        mesh = _of_meshio(_read_by_meshio(path))
    if not len(mesh.corners):
        raise MeshError(f"there are no {'tetrahedra' if mesh.is_volume else 'triangles'} in it")
    if volume and not mesh.is_volume:
        raise MeshError("it is a surface, without tetrahedra: fill it by a mesh generator "
                        "(docs/meshes.md), or write a surface (off, ply, stl, surf)")
    return mesh


def _is_medit(path: Path) -> bool:
    with open(path, "rb") as file:
        return b"MeshVersionFormatted" in file.read(4096)


def _read_by_meshio(path: Path) -> Any:
    """Read by meshio, which prints why it cannot, and then ends the program."""
    meshio = need("meshio", "python3-meshio")
    said = io.StringIO()
    try:
        with (contextlib.redirect_stdout(said), contextlib.redirect_stderr(said),
              warnings.catch_warnings()):
            warnings.simplefilter("ignore")
            return meshio.read(path, file_format=FORMATS.get(path.suffix.lower()))
    except SystemExit as error:
        raise MeshError(" ".join(said.getvalue().split()) or str(error)) from error


def _reason(error: BaseException, path: Path) -> str:
    """Return what to tell of an error: which one it is, if it does not say."""
    if isinstance(error, MeshError):
        return str(error)
    if "gmsh:physical" in str(error):
        return ("Gmsh has saved cells without a physical group, too: save it without "
                "Mesh.SaveAll, or by -format msh22")
    kind = f"{path.suffix[1:] or 'format without an ending'} cannot be read"
    return f"{kind}: {type(error).__name__} {error}".strip()


def _of_meshio(found: Any) -> Mesh:
    """Return the tetrahedra, or if there are none the triangles."""
    points = np.asarray(found.points, dtype=float)
    if points.ndim != 2 or points.shape[1] not in (2, 3):
        raise MeshError("it has no points")
    points = np.pad(points, ((0, 0), (0, 3 - points.shape[1])))
    counts = {block.type: 0 for block in found.cells}
    for block in found.cells:
        counts[block.type] += len(block.data)
    solid = [kind for kind in counts if kind not in (*FLAT, *TETRAHEDRA)]
    if solid:
        raise MeshError(f"it has {counts[solid[0]]} cells of the kind {solid[0]}: mesh it with "
                        "tetrahedra (docs/meshes.md)")
    kinds = TETRAHEDRA if any(kind in counts for kind in TETRAHEDRA) else TRIANGLES
    if counts.get("polygon") and kinds == TRIANGLES:
        raise MeshError("it has polygons: cut them into triangles first")
    return _gather(found, points, kinds)


def _gather(found: Any, points: np.ndarray, kinds: tuple[str, ...]) -> Mesh:
    """Put blocks of cells of these kinds together, each quadrilateral as two triangles."""
    size = 4 if kinds == TETRAHEDRA else 3
    data = _region_data(found, kinds)
    corners, groups = [np.empty((0, size), np.int64)], [np.empty(0, np.int64)]
    for number, block in enumerate(found.cells):
        told = np.asarray(data[number]) if data is not None else np.ones(len(block.data), int)
        if block.type in kinds:
            corners.append(block.data[:, :size])
            groups.append(told)
        elif size == 3 and block.type in QUADRILATERALS:
            corners += [block.data[:, [0, 1, 2]], block.data[:, [0, 2, 3]]]
            groups += [told, told]
    names = {int(number): str(name) for name, (number, dimension) in found.field_data.items()
             if dimension == size - 1}
    return Mesh.of(points, np.concatenate(corners), np.concatenate(groups), names)


def _region_data(found: Any, kinds: tuple[str, ...]) -> Any:
    """Return what cells have by block as numbers of regions, whole ones, or None."""
    whole = [name for name, blocks in found.cell_data.items()
             if all(np.asarray(block).ndim == 1
                    and np.all(np.asarray(block) == np.round(block))
                    for block, cells in zip(blocks, found.cells) if cells.type in kinds)]
    known = [name for name in REGIONS if name in whole]
    if known:
        return found.cell_data[known[0]]
    return found.cell_data[whole[0]] if len(whole) == 1 else None
