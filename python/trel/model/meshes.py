"""Meshes that a model scales or moves: written anew, since a model file cannot say so."""

from __future__ import annotations

import hashlib
import os
from collections.abc import Iterable
from pathlib import Path

import numpy as np

from ..errors import ModelError, need
from .parts import Shape


def placed_name(shape: Shape, stem: str) -> str:
    """Return the name of the file that a scaled or moved mesh gets beside a model."""
    key = hashlib.sha256(repr((shape.path, shape.scale, shape.move)).encode()).hexdigest()
    return f"{stem}-{Path(shape.path or '').stem}-{key[:8]}.off"


def place_meshes(shapes: Iterable[Shape | None], folder: str, stem: str) -> None:
    """Write the scaled and moved meshes of a model into its folder, as OFF."""
    for shape in shapes:
        if shape is not None and shape.path is not None and shape.is_moved:
            _write_placed(shape, os.path.join(folder, placed_name(shape, stem)))


def _write_placed(shape: Shape, path: str) -> None:
    meshio = need("meshio", "python3-meshio")
    try:
        mesh = meshio.read(shape.path)
    except (Exception, SystemExit) as error:
        raise ModelError(f"{shape.path}: cannot be read to scale or move it (off, ply, stl): "
                         f"{error}") from error
    triangles = mesh.get_cells_type("triangle")
    if len(triangles) == 0:
        raise ModelError(f"{shape.path}: got no triangles, expected a surface of them")
    points = np.asarray(mesh.points, dtype=float) * shape.scale + np.asarray(shape.move)
    lines = ["OFF", f"{len(points)} {len(triangles)} 0"]
    lines += [" ".join(map(repr, point)) for point in points.tolist()]
    lines += [f"3 {a} {b} {c}" for a, b, c in triangles.tolist()]
    Path(path).write_text("\n".join(lines) + "\n", encoding="ascii")
