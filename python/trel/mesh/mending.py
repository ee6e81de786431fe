"""What can be mended: points at one place, and cells that are wound the wrong way."""

from __future__ import annotations

from dataclasses import replace

import numpy as np

from ..errors import MeshError, need
from .contents import Mesh, same_places, sorted_runs

MOST_BODIES = 1000
"""A surface of more is a heap of loose triangles, and has no outside."""


def weld(mesh: Mesh, distance: float = 0.0) -> Mesh:
    """Make points within a distance (mm) of each other one, with 0 those at the same place.

    Cells of which two corners become one are left out. Chains of near points become one, too:
    the distance must be well below the length of the shortest edge.
    """
    if not 0 <= distance < np.inf:
        raise MeshError(f"weld: got {distance}, expected a distance in mm, 0 or more")
    first = same_places(mesh.points)
    if distance > 0:
        first = _near_places(mesh.points, first, distance)
    corners = first[mesh.corners]
    ordered = np.sort(corners, axis=1)
    whole = np.all(ordered[:, 1:] != ordered[:, :-1], axis=1)
    return replace(mesh, corners=corners, groups=mesh.groups).only(whole)


def _near_places(points: np.ndarray, first: np.ndarray, distance: float) -> np.ndarray:
    spatial = need("scipy.spatial", "python3-scipy")
    sparse = need("scipy.sparse", "python3-scipy")
    graph = need("scipy.sparse.csgraph", "python3-scipy")
    pairs = spatial.cKDTree(points).query_pairs(distance, output_type="ndarray")
    pairs = np.concatenate([pairs, np.column_stack([np.arange(len(points)), first])])
    links = sparse.coo_matrix((np.ones(len(pairs)), pairs.T), shape=(len(points),) * 2)
    _, label = graph.connected_components(links, directed=False)
    _, lowest = np.unique(label, return_index=True)
    return lowest[label]


def orient(mesh: Mesh) -> Mesh:
    """Wind all tetrahedra to a positive volume, or all triangles so that they look outward.

    Triangles that share an edge by two are wound alike, and each body so that it looks away from
    what it encloses; a body inside another one is a cavity, one inside a cavity is full again.
    """
    if mesh.is_volume:
        corners = mesh.corners.copy()
        inward = mesh.volumes() < 0
        corners[inward, :2] = corners[inward, 1::-1]
        return replace(mesh, corners=corners)
    flipped, body = _wind_alike(same_places(mesh.points)[mesh.corners])
    corners = np.where(flipped[:, None], mesh.corners[:, ::-1], mesh.corners)
    wound = replace(mesh, corners=corners)
    bodies = int(body.max(initial=-1)) + 1
    if bodies > MOST_BODIES:
        raise MeshError(f"the surface falls into {bodies} pieces, which have no outside: weld it")
    for number in range(bodies):
        mine = body == number
        if _looks_inward(wound, mine):
            corners[mine] = corners[mine, ::-1]
    return replace(mesh, corners=corners)


def edges_of(corners: np.ndarray) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
    """Return the edges of triangles (triangles, 3), sorted, with where each run of equal ones is.

    Rows of the first, (edges, 4): lower and higher point, triangle, and whether it runs upward.
    Then where each run begins, and how long it is. Edges of one point are left out.
    """
    ends = np.stack([corners, np.roll(corners, -1, axis=1)], axis=2).reshape(-1, 2)
    triangle = np.repeat(np.arange(len(corners)), 3)
    rows = np.column_stack([np.sort(ends, axis=1), triangle, ends[:, 0] < ends[:, 1]])
    rows = rows[ends[:, 0] != ends[:, 1]]
    order, first = sorted_runs(rows[:, :2])
    return rows[order], first, np.diff([*first, len(rows)])


def _wind_alike(corners: np.ndarray) -> tuple[np.ndarray, np.ndarray]:
    """Tell which triangles to turn over so that bodies are wound alike, and the body of each."""
    rows, first, counts = edges_of(corners)
    pairs = first[counts == 2]
    one, other = rows[pairs], rows[pairs + 1]
    unlike = (one[:, 3] == other[:, 3]).tolist()
    neighbours: list[list[tuple[int, bool]]] = [[] for _ in corners]
    for a, b, turned in zip(one[:, 2].tolist(), other[:, 2].tolist(), unlike):
        neighbours[a].append((b, turned))
        neighbours[b].append((a, turned))
    flipped = [False] * len(corners)
    body = [-1] * len(corners)
    bodies = 0
    for start in range(len(corners)):
        if body[start] >= 0:
            continue
        body[start] = bodies
        front = [start]
        while front:
            here = front.pop()
            for there, turned in neighbours[here]:
                if body[there] < 0:
                    body[there] = bodies
                    flipped[there] = flipped[here] != turned
                    front.append(there)
        bodies += 1
    return np.array(flipped, dtype=bool), np.array(body, dtype=np.int64)


def _looks_inward(mesh: Mesh, mine: np.ndarray) -> bool:
    """Whether a body, given by its triangles, is wound the wrong way round."""
    places = mesh.points[mesh.corners]
    own = places[mine] - places[mine][0, 0]
    volume = np.einsum("ij,ij->", own[:, 0], np.cross(own[:, 1], own[:, 2]))
    start = places[mine][0].mean(axis=0)
    return bool((volume < 0) != (_crossings(places[~mine], start) % 2 == 1))


def _crossings(places: np.ndarray, start: np.ndarray) -> int:
    """Count the triangles (triangles, 3, 3) that a ray from ``start`` in a skew direction meets.

    T. Moeller, B. Trumbore, J. Graphics Tools 2 (1997) 21.
    """
    ray = np.array([0.48219, 0.33170, 0.81082])
    a, b = places[:, 1] - places[:, 0], places[:, 2] - places[:, 0]
    across = np.cross(ray, b)
    scale = np.einsum("ij,ij->i", a, across)
    a, b, across, scale = (array[scale != 0] for array in (a, b, across, scale))
    away = start - places[:, 0][np.einsum("ij,ij->i", places[:, 1] - places[:, 0],
                                          np.cross(ray, places[:, 2] - places[:, 0])) != 0]
    u = np.einsum("ij,ij->i", away, across) / scale
    normal = np.cross(away, a)
    v = normal @ ray / scale
    distance = np.einsum("ij,ij->i", b, normal) / scale
    return int(np.count_nonzero((u >= 0) & (v >= 0) & (u + v <= 1) & (distance > 0)))
