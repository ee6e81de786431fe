"""The surface of a mesh, its faces coloured by what leaves through them."""

from __future__ import annotations

import numpy as np
import xarray as xr
from matplotlib.axes import Axes
from mpl_toolkits.mplot3d.art3d import Poly3DCollection

from .cells import COLOURS, add_colour_bar, colour_scale, new_axes
from .values import choose, pick


def mesh(
    ds: xr.Dataset, name: str | None = None, *, log: bool = True, decades: float = 4,
    wavelength: float | None = None, time: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw the boundary of a medium that is a mesh, with what leaves through each face, mm-2.

    ``name`` is a variable by face, without it ``transmittance_mesh_face``. ``ax`` must be of a 3D
    projection. Inner faces of tetrahedra, through which nothing leaves, are left out.
    """
    chosen = choose(ds, name, ["transmittance_mesh_face", "transmittance_mesh_face_td"])
    quantity = pick(ds, chosen, wavelength, time)
    if quantity.value.dims != ("face",):
        raise ValueError(f"{quantity.value.name} is no quantity by face of a mesh at one time")
    corners = ds["vertex_position"].to_numpy()
    triangles = ds["face_vertices"].to_numpy()
    outer = _outer_faces(ds, len(triangles))
    values = quantity.value.to_numpy()[outer]
    norm = colour_scale(values, log, decades)
    ax = new_axes(ax, projection="3d")
    if ax.name != "3d":
        raise ValueError("a mesh needs axes of a 3D projection: plt.subplot(projection='3d')")
    drawn = Poly3DCollection(corners[triangles[outer]], cmap=COLOURS, norm=norm, edgecolor="none")
    drawn.set_array(np.maximum(values, norm.vmin))
    ax.add_collection3d(drawn)
    used = corners[triangles[outer]].reshape(-1, 3)
    low, high = used.min(axis=0), used.max(axis=0)
    ax.set(xlim=(low[0], high[0]), ylim=(low[1], high[1]), zlim=(low[2], high[2]),
           xlabel="x (mm)", ylabel="y (mm)", zlabel="z (mm)", title=", ".join(quantity.place))
    ax.locator_params(nbins=4)
    ax.set_box_aspect(np.maximum(high - low, 1e-9 * np.ptp(corners)), zoom=0.9)
    add_colour_bar(ax, drawn, quantity.label, shrink=0.7, pad=0.12)
    return ax


def _outer_faces(ds: xr.Dataset, faces: int) -> np.ndarray:
    """Which faces belong to one element only: all of a surface of triangles."""
    if "element_vertices" not in ds:
        return np.arange(faces)
    nodes = ds["element_vertices"].to_numpy()
    sides = np.concatenate([np.delete(nodes, corner, axis=1) for corner in range(4)])
    own, counts = np.unique(np.sort(sides, axis=1), axis=0, return_counts=True)
    boundary = {tuple(side) for side in own[counts == 1]}
    listed = np.sort(ds["face_vertices"].to_numpy(), axis=1)
    return np.flatnonzero([tuple(face) in boundary for face in listed])
