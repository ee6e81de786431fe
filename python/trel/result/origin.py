"""What a result's model says, as the program understands it."""

from __future__ import annotations

import tempfile
from functools import lru_cache
from pathlib import Path
from typing import Any

import numpy as np
import xarray as xr

from .. import program
from .quantity import NotRecorded

BOX = (("back", "front"), ("left", "right"), ("bottom", "top"))
"""Faces of a box by axis, the lower one first."""
RECTANGLE = (("left", "right"), ("down", "up"))


@lru_cache(maxsize=32)
def _check(text: str) -> dict[str, Any]:
    with tempfile.TemporaryDirectory(prefix="trel-") as folder:
        path = Path(folder) / "model.trl"
        path.write_text(text)
        return program.check(path, "--no-pilot")


def ask(data: xr.Dataset) -> dict[str, Any]:
    """Return what ``trelrun --check --json`` says of the model of a result, meshes left aside."""
    if "model" not in data.attrs:
        raise NotRecorded("the result does not tell its model: the attribute 'model' is gone")
    return _check(str(data.attrs["model"]))


def list_faces(data: xr.Dataset) -> list[str]:
    """Return the faces whose transmittance the result has: ``top``, ``side``, ``mesh_face``."""
    head, tail = "transmittance_", "_total"
    return [
        str(name)[len(head) : -len(tail)]
        for name in data.data_vars
        if str(name).startswith(head) and str(name).endswith(tail) and name != "transmittance_total"
    ]


def find_face(data: xr.Dataset, face: str | None) -> str:
    """Return a face of the result: the one asked for, else the one that light enters by."""
    known = list_faces(data)
    if not known:
        raise NotRecorded(
            "no transmittance was recorded: write 'transmittancematrix 1 cartesian' into the model "
            "(or cylindrical, polar, spherical)"
        )
    chosen = face or find_entry_face(data)
    if chosen not in known:
        raise NotRecorded(f"no face '{chosen}' in the result, but {', '.join(known)}: mind the roi")
    return chosen


def find_entry_face(data: xr.Dataset) -> str:
    """Return the face that the axes of all sources outside of the medium meet first."""
    told = ask(data)
    outer = next(tissue["shape"] for tissue in told["tissues"] if tissue["outermost"])
    if outer is None or "mesh" in outer["kind"]:
        return "mesh"
    dimension = told["dimension"]
    faces = {
        _meet(outer, _center(source["shape"]), _axis(source, dimension), dimension)
        for source in told["sources"]
        if not source["internal"] and source["spectra"]
    }
    if len(faces) != 1 or None in faces:
        raise NotRecorded("no single face that light enters by: say which one, face='top'")
    return str(faces.pop())


def _center(shape: dict[str, Any]) -> np.ndarray:
    return (np.array(shape["low"]) + shape["high"]) / 2


def _axis(source: dict[str, Any], dimension: int) -> np.ndarray:
    """Return the middle of a source's directions as a unit vector; NaN if none stands out."""
    azimuth, deflection = np.radians(source["azimuth"]), np.radians(source["deflection"])
    if dimension == 2:
        middle = azimuth.mean() if np.ptp(azimuth) < np.pi else np.nan
        return np.array([np.cos(middle), np.sin(middle)])
    direction = np.array(source["direction"]) / np.linalg.norm(source["direction"])
    if deflection[0] == 0 and deflection[1] < np.pi / 2:
        return direction
    if np.ptp(azimuth) < np.pi and direction[2] == 1:
        around, down = azimuth.mean(), deflection.mean()
        flat = np.sin(down) * np.array([np.cos(around), np.sin(around)])
        return np.append(flat, np.cos(down))
    return np.full(3, np.nan)


def _meet(outer: dict[str, Any], start: np.ndarray, axis: np.ndarray, dimension: int) -> str | None:
    """Return the face of the outer shape that a ray meets; None if it meets none."""
    low, high = np.array(outer["low"])[:dimension], np.array(outer["high"])[:dimension]
    start = start[:dimension]
    if np.isnan(axis).any():
        return None
    with np.errstate(divide="ignore", invalid="ignore"):
        ways = np.where(axis == 0, -np.inf, (np.where(axis > 0, low, high) - start) / axis)
    k = int(np.argmax(ways))
    kind = str(outer["kind"])
    if kind in ("ellipsoid", "ellipse") or (kind == "cylinder" and k < 2):
        return "side"
    return (BOX if dimension == 3 else RECTANGLE)[k][0 if axis[k] > 0 else 1]
