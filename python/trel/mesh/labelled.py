"""Volumes of labels, as segmentation gives them, as meshes of tetrahedra."""

from __future__ import annotations

import itertools
import os
import warnings
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import Any

import numpy as np

from ..errors import MeshError, need
from .contents import Mesh
from .converting import number_regions

# Along a diagonal of the cell: each order of the axes is the path of one tetrahedron.
PATHS = np.array([[np.eye(3, dtype=int)[list(order[:k])].sum(axis=0) for k in range(4)]
                  for order in itertools.permutations(range(3))])


def voxels(labels: Any, spacing: Sequence[float] | float | None = None, *,
           origin: Sequence[float] = (0, 0, 0), coarsen: int = 1,
           regions: Mapping[str | int, int] | None = None,
           indices: Mapping[int, float] | None = None) -> Mesh:
    """Make six tetrahedra of each voxel of a volume of labels.

    Parameters
    ----------
    labels : (x, y, z) whole numbers; 0 is outside. Or a NIfTI file (needs python3-nibabel), or a
        .npy file.
    spacing : size of a voxel along each axis, mm, or one for all. Of NIfTI the file tells it, and
        where voxels lie, too (its units are mm, or as its header says).
    origin : corner of the first voxel, mm; not for NIfTI.
    coarsen : so many voxels along each axis become one, which has the label that most of them
        have, the least if there are several. What is beyond whole ones at the end counts as
        outside.
    regions : region of each label, as of ``convert``; without it labels are numbered as they rise.
    indices : refractive index of each label, and of 0 (1 without it): a warning if unequal ones
        touch. The surface is a staircase: light is refracted and reflected by faces along the axes,
        not by the organ's, and up to half as much again of surface lets it through.

    Returns
    -------
    The mesh, points in mm, groups the regions: ``trel.mesh.save(mesh, "head.am")``.

    Raises
    ------
    MeshError for labels, spacings and regions that cannot be.
    """
    values, affine = _labels(labels, spacing, origin)
    if coarsen < 1 or coarsen != int(coarsen):
        raise MeshError(f"coarsen: got {coarsen}, expected a whole number from 1")
    if coarsen > 1:
        values = _coarsened(values, int(coarsen))
        affine = affine @ np.diag([coarsen, coarsen, coarsen, 1.0])
    if indices is not None:
        _warn_of_steps(values, indices)
    filled = np.argwhere(values)
    if not len(filled):
        raise MeshError("all labels are 0, which is outside")
    groups = values[tuple(filled.T)]
    counts = np.array(values.shape) + 1
    corners = np.ravel_multi_index(
        tuple((filled[:, None, None, :] + PATHS).transpose(3, 0, 1, 2)), tuple(counts))
    used, numbered = np.unique(corners, return_inverse=True)
    lattice = np.column_stack(np.unravel_index(used, tuple(counts)))
    points = lattice @ affine[:3, :3].T + affine[:3, 3]
    wound = numbered.reshape(-1, 4)
    # Paths of odd orders run the other way round, and an affine may be a mirror.
    odd = np.tile(np.linalg.det(PATHS[:, 1:].astype(float)) * np.linalg.det(affine) < 0,
                  len(filled))
    wound[odd, :2] = wound[odd, 1::-1]
    names = {int(label): f"label {label}" for label in np.unique(groups)}
    return number_regions(Mesh.of(points, wound, np.repeat(groups, 6), names), regions)


def _labels(labels: Any, spacing: Any, origin: Sequence[float]) -> tuple[np.ndarray, np.ndarray]:
    """Return whole numbers (x, y, z), and the affine from corners of voxels to mm."""
    affine = np.eye(4)
    if isinstance(labels, (str, os.PathLike)) and Path(labels).suffix != ".npy":
        if spacing is not None:
            raise MeshError("spacing: the file tells it")
        labels, affine = _nifti(Path(labels))
    else:
        if isinstance(labels, (str, os.PathLike)):
            labels = np.load(labels)
        size = np.broadcast_to(np.asarray(np.nan if spacing is None else spacing, float), 3)
        if not np.all((size > 0) & np.isfinite(size)):
            raise MeshError(f"spacing: got {spacing}, expected the size of a voxel, mm")
        affine[:3, :3], affine[:3, 3] = np.diag(size), origin
    values = np.asarray(labels)
    if values.ndim != 3 or not values.size:
        raise MeshError(f"labels: got {values.ndim} axes, expected x, y, z")
    whole = np.round(values.astype(float)).astype(np.int64)
    if np.any(whole != values) or whole.min() < 0:
        raise MeshError("labels: expected whole numbers, 0 or more")
    return whole, affine


def _nifti(path: Path) -> tuple[np.ndarray, np.ndarray]:
    nibabel = need("nibabel", "python3-nibabel")
    try:
        image = nibabel.load(path)
        values = np.asanyarray(image.dataobj)
    except Exception as error:
        raise MeshError(f"{path}: {error}") from error
    unit = {"meter": 1e3, "micron": 1e-3}.get(image.header.get_xyzt_units()[0], 1.0)
    affine = np.diag([unit, unit, unit, 1.0]) @ image.affine
    # The file's affine leads to the middles of voxels.
    shift = np.eye(4)
    shift[:3, 3] = -0.5
    return values.reshape(values.shape[:3]) if values.shape[3:] == (1,) else values, affine @ shift


def _coarsened(values: np.ndarray, factor: int) -> np.ndarray:
    """Return the label that most voxels of each block have."""
    padded = np.pad(values, [(0, -size % factor) for size in values.shape])
    shape = [part for size in padded.shape for part in (size // factor, factor)]
    blocks = padded.reshape(shape).transpose(0, 2, 4, 1, 3, 5)
    best = np.zeros(blocks.shape[:3], dtype=np.int64)
    most = np.full(blocks.shape[:3], -1)
    for label in np.unique(values):
        count = np.count_nonzero(blocks == label, axis=(3, 4, 5))
        best[count > most] = label
        most = np.maximum(most, count)
    return best


def _warn_of_steps(values: np.ndarray, indices: Mapping[int, float]) -> None:
    """Warn if labels of unequal refractive indices touch."""
    known = {0: 1.0, **indices}
    missing = set(np.unique(values).tolist()) - set(known)
    if missing:
        raise MeshError(f"indices: there is none of label {min(missing)}")
    padded = np.pad(values, 1)
    touching: set[tuple[int, int]] = set()
    for axis in range(3):
        pairs = np.stack([np.delete(padded, 0, axis), np.delete(padded, -1, axis)], -1)
        unlike = pairs[pairs[..., 0] != pairs[..., 1]]
        touching |= {(int(a), int(b)) for a, b in np.unique(np.sort(unlike, axis=1), axis=0)}
    steps = sorted(pair for pair in touching if known[pair[0]] != known[pair[1]])
    if steps:
        told = ", ".join(f"{a} and {b} ({known[a]:g}, {known[b]:g})" for a, b in steps[:5])
        warnings.warn(f"labels of unequal refractive indices touch: {told}. Voxels have a stepped "
                      "surface, which refracts and reflects otherwise than a smooth one: use "
                      "equal indices, or a mesh with a smooth surface", stacklevel=3)
