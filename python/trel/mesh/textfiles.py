"""Readers of small text formats: those of ``trelrun``, and OFF as others write it."""

from __future__ import annotations

import re
from collections.abc import Iterator
from pathlib import Path

import numpy as np

from ..errors import MeshError
from .contents import Mesh


class Lines:
    """The lines of a text file that say something, split into words."""

    def __init__(self, path: Path, comment: str = "#") -> None:
        """Read the file; what stands behind ``comment`` says nothing."""
        self._numbered = self._split(path, comment)
        self.number = 0

    def _split(self, path: Path, comment: str) -> Iterator[list[str]]:
        with open(path, encoding="latin-1") as file:
            for self.number, line in enumerate(file, 1):
                words = line.partition(comment)[0].split()
                if words:
                    yield words

    def __iter__(self) -> Iterator[list[str]]:
        """Give the lines that are left."""
        return self._numbered

    def next(self) -> list[str]:
        """Return the next line; at the end of the file that is an error."""
        words = next(self._numbered, None)
        if words is None:
            raise MeshError("the file ends too early")
        return words

    def count(self) -> int:
        """Return the number that a line begins with."""
        return int(self.next()[0])

    def rows(self, count: int, columns: int, kind: type = float) -> np.ndarray:
        """Return the first columns of that many lines, (count, columns)."""
        found: np.ndarray = np.empty((count, columns), dtype=kind)
        for row in found:
            words = self.next()[:columns]
            if len(words) < columns:
                raise MeshError(f"got {len(words)} numbers, expected {columns}")
            row[:] = [kind(word) for word in words]
        return found


def read_text(path: Path) -> Mesh:
    """Read OFF, SURF, AM, or MESH (Netgen neutral), whichever the ending tells.

    A MeshError names the line of what is wrong.
    """
    readers = {".off": _read_off, ".surf": _read_surf, ".am": _read_am, ".mesh": _read_neutral,
               ".neu": _read_neutral}
    lines = Lines(path)
    try:
        return readers[path.suffix.lower()](lines)
    except (MeshError, ValueError, IndexError) as error:
        raise MeshError(f"line {lines.number}: {error}") from error


def _read_off(lines: Lines) -> Mesh:
    """Read OFF with comments, counts on its first line, normals, colours and polygons.

    A polygon becomes triangles about its first corner, which is right if it is convex.
    """
    first = lines.next()
    if not re.fullmatch(r"(ST)?C?N?OFF", first[0].upper()) or "BINARY" in first[1:]:
        raise MeshError(f"got {' '.join(first)!r}, expected OFF, as text, of three dimensions")
    counts = first[1:] or lines.next()
    points = lines.rows(int(counts[0]), 3)
    corners: list[list[int]] = []
    for _ in range(int(counts[1])):
        words = lines.next()
        polygon = [int(word) for word in words[1:1 + int(words[0])]]
        if len(polygon) != int(words[0]):
            raise MeshError(f"the face has {len(polygon)} corners, not {words[0]}")
        corners += ([polygon[0], *polygon[k:k + 2]] for k in range(1, len(polygon) - 1))
    return Mesh.of(points, np.array(corners, dtype=np.int64).reshape(-1, 3))


def _read_surf(lines: Lines) -> Mesh:
    if lines.next()[0].lower() != "surfacemesh":
        raise MeshError("the first line is not surfacemesh")
    points = lines.rows(lines.count(), 3)
    return Mesh.of(points, lines.rows(lines.count(), 3, int) - 1)


def _read_neutral(lines: Lines) -> Mesh:
    """Read points, and tetrahedra behind the numbers of their regions; what follows is surface."""
    points = lines.rows(lines.count(), 3)
    rows = lines.rows(lines.count(), 5, int)
    return Mesh.of(points, rows[:, 1:] - 1, rows[:, 0])


def _read_am(lines: Lines) -> Mesh:
    counts: dict[str, int] = {}
    for words in lines:
        if words[0].startswith("@"):
            break
        if len(words) > 1 and words[0].lower() in ("nnodes", "ntetrahedra"):
            counts[words[0].lower()] = int(words[1])
    if len(counts) != 2:
        raise MeshError("nNodes or nTetrahedra is missing ahead of the first @ (as text)")
    points = lines.rows(counts["nnodes"], 3)
    lines.next()
    corners = lines.rows(counts["ntetrahedra"], 4, int) - 1
    lines.next()
    return Mesh.of(points, corners, lines.rows(counts["ntetrahedra"], 1, int)[:, 0] + 1)
