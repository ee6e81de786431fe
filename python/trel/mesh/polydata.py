"""Surfaces in VTK's legacy files (``DATASET POLYDATA``), as text or binary."""

from __future__ import annotations

from pathlib import Path

import numpy as np

from ..errors import MeshError
from .contents import Mesh

TYPES = {"float": ">f4", "double": ">f8", "int": ">i4", "vtktypeint64": ">i8"}


class Stream:
    """Lines and arrays of a file, from its start on."""

    def __init__(self, path: Path) -> None:
        """Read the file, and of its header whether arrays are binary."""
        self.bytes = path.read_bytes()
        self.at = 0
        self.line(), self.line()
        self.binary = self.words()[0].upper() == "BINARY"

    def line(self) -> str:
        """Return the next line, without its end; nothing at the end of the file."""
        end = self.bytes.find(b"\n", self.at)
        start, self.at = self.at, (end if end >= 0 else len(self.bytes)) + 1
        return self.bytes[start:self.at].decode("latin-1").strip()

    def words(self) -> list[str]:
        """Return the words of the next line that has some; none at the end of the file."""
        while self.at < len(self.bytes):
            words = self.line().split()
            if words:
                return words
        return []

    def array(self, count: int, kind: str) -> np.ndarray:
        """Return that many numbers of a type as VTK names them."""
        dtype = np.dtype(TYPES[kind.lower()])
        if self.binary:
            found = np.frombuffer(self.bytes, dtype, count, self.at)
            self.at += found.nbytes
        else:
            words: list[str] = []
            while len(words) < count:
                words += self.words() or [""]
            found = np.array(words, dtype=float).astype(dtype)
        if len(found) != count:
            raise MeshError(f"got {len(found)} numbers in a row, expected {count}")
        return found


def is_polydata(path: Path) -> bool:
    """Whether a file of VTK holds a surface, not a grid."""
    with open(path, "rb") as file:
        return b"POLYDATA" in file.read(1024).upper()


def read_polydata(path: Path) -> Mesh:
    """Read points and polygons, which become triangles about their first corners."""
    stream = Stream(path)
    points = np.empty((0, 3))
    polygons: list[list[int]] = []
    while words := stream.words():
        keyword = words[0].upper()
        if keyword == "POINTS":
            points = stream.array(3 * int(words[1]), words[2]).reshape(-1, 3)
        elif keyword == "TRIANGLE_STRIPS":
            raise MeshError("it has strips of triangles: cut them into triangles first")
        elif keyword in ("VERTICES", "LINES", "POLYGONS"):
            found = _cells(stream, int(words[1]), int(words[2]))
            polygons += found if keyword == "POLYGONS" else []
        elif keyword in ("POINT_DATA", "CELL_DATA"):
            break
    corners = [[polygon[0], *polygon[k:k + 2]] for polygon in polygons
               for k in range(1, len(polygon) - 1)]
    return Mesh.of(points, np.array(corners, dtype=np.int64).reshape(-1, 3))


def _cells(stream: Stream, count: int, size: int) -> list[list[int]]:
    """Read cells: as lists behind their lengths, or since version 5 behind a list of offsets."""
    here = stream.at
    words = stream.words()
    if words[0].upper() == "OFFSETS":
        offsets = stream.array(count, words[1])
        numbers = stream.array(size, stream.words()[1])
        ends = offsets.tolist()
        return [numbers[a:b].tolist() for a, b in zip(ends, ends[1:])]
    stream.at = here
    row: list[int] = stream.array(size, "int").tolist()
    cells: list[list[int]] = []
    at = 0
    for _ in range(count):
        cells.append(row[at + 1:at + 1 + row[at]])
        at += 1 + row[at]
    return cells
