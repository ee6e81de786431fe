"""Meshes in memory: a surface of triangles, or a volume of tetrahedra, in groups."""

from __future__ import annotations

from dataclasses import dataclass, field, replace
from typing import Self

import numpy as np

from ..errors import MeshError

FACES = ((1, 2, 3), (0, 3, 2), (0, 1, 3), (0, 2, 1))
"""Corners of the four triangles of a tetrahedron, which look outward if its volume is positive."""


@dataclass(frozen=True)
class Mesh:
    """A surface of triangles, or a volume of tetrahedra."""

    points: np.ndarray
    """(points, 3), mm: floats, finite."""
    corners: np.ndarray
    """(cells, 3) of a surface, (cells, 4) of a volume: numbers of points, from 0."""
    groups: np.ndarray
    """(cells,) numbers of the groups that the cells belong to; of a region from 1, as tissues."""
    names: dict[int, str] = field(default_factory=dict)
    """Names of groups that have one."""

    def __post_init__(self) -> None:
        """Refuse cells without their points, and points that are nowhere."""
        if not np.all(np.isfinite(self.points)):
            raise MeshError("a coordinate is no finite number")
        if self.corners.size and not (
                0 <= self.corners.min() and self.corners.max() < len(self.points)):
            raise MeshError(f"a cell has a corner that is none of the {len(self.points)} points")

    @classmethod
    def of(cls, points: np.ndarray, corners: np.ndarray, groups: np.ndarray | None = None,
           names: dict[int, str] | None = None) -> Self:
        """Make one of what can be made arrays; without groups all cells belong to group 1."""
        listed = np.asarray(corners, dtype=np.int64)
        told = np.ones(len(listed), dtype=np.int64) if groups is None else groups
        return cls(np.asarray(points, dtype=float), listed, np.asarray(told, dtype=np.int64),
                   dict(names or {}))

    @property
    def is_volume(self) -> bool:
        """Whether the cells are tetrahedra."""
        return self.corners.shape[1] == 4

    def only(self, chosen: np.ndarray) -> Self:
        """Return the cells that are chosen, by a mask (cells,) or by their numbers."""
        return replace(self, corners=self.corners[chosen], groups=self.groups[chosen])

    def placed(self, scale: float = 1.0, move: tuple[float, float, float] = (0, 0, 0),
               center: tuple[float, float, float] | None = None) -> Self:
        """Return it scaled about the origin, then with the middle of its box at ``center``, moved.

        ``center`` and ``move`` in mm. Points that no cell uses are left out, and do not count for
        the box.
        """
        used, corners = np.unique(self.corners, return_inverse=True)
        points = self.points[used] * scale
        if center is not None and len(points):
            points = points + (np.asarray(center) - (points.min(axis=0) + points.max(axis=0)) / 2)
        return replace(self, points=points + np.asarray(move, dtype=float),
                       corners=corners.reshape(self.corners.shape))

    def outside(self) -> Self:
        """Return the outer surface of a volume: triangles that one tetrahedron alone has.

        They look outward, and keep the groups of their tetrahedra.
        """
        turned = self.corners.copy()
        inward = self.volumes() < 0
        turned[inward, :2] = turned[inward, 1::-1]
        faces = turned[:, FACES].reshape(-1, 3)
        order, first = sorted_runs(np.sort(faces, axis=1))
        counts = np.diff([*first, len(order)])
        alone = np.sort(order[first[counts == 1]])
        return replace(self, corners=faces[alone], groups=self.groups[alone // 4]).placed()

    def volumes(self) -> np.ndarray:
        """Return the volume of each tetrahedron, mm^3, (cells,): negative if it is wound inward."""
        origin, *others = (self.points[self.corners[:, k]] for k in range(4))
        a, b, c = (other - origin for other in others)
        return np.einsum("ij,ij->i", a, np.cross(b, c)) / 6

    def longest_edges(self) -> np.ndarray:
        """Return the longest edge of each cell, or of a tetrahedron that from corner 0, mm."""
        size = self.corners.shape[1]
        pairs = [(0, k) for k in range(1, size)] + ([] if self.is_volume else [(1, 2)])
        places = self.points[self.corners]
        return np.max([np.linalg.norm(places[:, a] - places[:, b], axis=1) for a, b in pairs],
                      axis=0)


def sorted_runs(rows: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Sort rows (rows, columns) and tell where in that order each run of equal ones begins."""
    order = np.lexsort(rows.T[::-1])
    ordered = rows[order]
    starts = np.ones(len(order), dtype=bool)
    starts[1:] = np.any(ordered[1:] != ordered[:-1], axis=1)
    return order, np.flatnonzero(starts)


def same_places(points: np.ndarray) -> np.ndarray:
    """Return for each point the first one at its place, (points,), as floats of 32 bits.

    That is how ``trelrun`` reads coordinates.
    """
    order, first = sorted_runs(points.astype(np.float32))
    return np.repeat(order[first], np.diff([*first, len(order)]))[np.argsort(order)]
