"""Bodies and directions of a model, projected onto the plane of a cut."""

from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Any

import numpy as np

if TYPE_CHECKING:
    from matplotlib.patches import Patch

NAMES = ("x", "y", "z")


class Frame:
    """What the picture of a cut holds, in mm along its two axes."""

    def __init__(self, told: dict[str, Any]) -> None:
        """Begin with the medium's box."""
        cut = told["cut"]
        self.axis: str = cut["axis"]
        self.names: list[str] = cut["axes"]
        self.low = np.array(cut["low"], dtype=float)
        self.high = np.array(cut["high"], dtype=float)
        self.steps = (self.high - self.low) / cut["counts"]
        self.size = float(max(self.high - self.low))
        self.middle = (self.low + self.high) / 2
        extent = self.high - self.low
        self.is_even = bool(max(extent) <= 4 * min(extent))
        # What lengths of arrows count by, along each axis.
        self.scale = np.full(2, self.size) if self.is_even else extent
        self.center = np.zeros(3)
        self.center[[NAMES.index(n) for n in self.names]] = self.middle
        self.center[NAMES.index(self.axis)] = cut["value"]
        # Of the medium: what lies further off than its size is not drawn where it is.
        self.inner = (self.low.copy(), self.high.copy())
        self.cameras = [d for d in told["detectors"] if d["kind"] == "camera"]
        self.is_down = self.names[1] == "z" and self._comes_down(told)

    @staticmethod
    def _comes_down(told: dict[str, Any]) -> bool:
        """Whether light enters along +z, so that z is a depth."""
        return any(not s["internal"] and rays(s, told["dimension"] == 2)[0][2] > 0.5
                   for s in told["sources"] if s["kind"] != "emission")

    @property
    def towards_viewer(self) -> float:
        """Return the sign of the cut's axis on the way to who looks at the picture."""
        flipped = -1.0 if self.is_down else 1.0
        return -flipped if self.axis == "y" else flipped

    def project(self, point: Sequence[float]) -> tuple[float, float]:
        """Return the two coordinates of a point in the plane."""
        first, second = (float(point[NAMES.index(n)]) for n in self.names)
        return first, second

    def include(self, low: Sequence[float], high: Sequence[float]) -> None:
        """Widen the picture to hold what is not further off than the medium is large."""
        for corner in (np.asarray(low), np.asarray(high)):
            corner = np.clip(corner, self.inner[0] - self.scale, self.inner[1] + self.scale)
            self.low = np.minimum(self.low, corner)
            self.high = np.maximum(self.high, corner)

    def settle(self) -> None:
        """Leave some room around, and more if there are cameras."""
        margin = (0.04 + 0.14 * bool(self.cameras)) * self.scale
        self.low = self.low - margin
        self.high = self.high + margin

    def holds(self, place: np.ndarray) -> bool:
        """Whether a place is in the picture."""
        return bool(np.all(place >= self.low) and np.all(place <= self.high))

    def edge(self, place: np.ndarray) -> np.ndarray:
        """Return where the way from the middle to a place beyond the picture leaves it."""
        way = place - self.middle
        with np.errstate(divide="ignore", invalid="ignore"):
            reach = np.where(way > 0, self.high - self.middle, self.low - self.middle) / way
        return self.middle + way * 0.97 * float(np.nanmin(np.where(way == 0, np.nan, reach)))

    def starts(self, low: Sequence[float], high: Sequence[float]) -> list[np.ndarray]:
        """Return the middle of a body, and two more points of one that is wide."""
        first, last = np.asarray(low), np.asarray(high)
        if max(last - first) < 0.05 * self.size:
            return [(first + last) / 2]
        return [first + part * (last - first) for part in (0.15, 0.5, 0.85)]


def outline(kind: str, low: Sequence[float], high: Sequence[float], **style: Any) -> Patch:
    """Make the outline of a body: round, or the box that it fills."""
    from matplotlib.patches import Ellipse, Rectangle
    extent = np.subtract(high, low)
    style = {"facecolor": "none", **style}
    if kind in ("ellipsoid", "ellipse", "cylinder"):
        middle = np.add(low, high) / 2
        return Ellipse((middle[0], middle[1]), extent[0], extent[1], **style)
    if kind.endswith("trianglemesh"):
        style["linestyle"] = ":"
    return Rectangle((low[0], low[1]), extent[0], extent[1], **style)


def turned(local: np.ndarray, axis: Sequence[float]) -> np.ndarray:
    """Turn directions by the shortest rotation that takes +z to an axis, as sources do.

    To -z that is a half turn about y. Rodrigues' formula in the form without angles:
    v + u x v + u x (u x v) / (1 + c), with u = z x axis and c = z . axis.
    """
    unit = np.asarray(axis, dtype=float) / np.linalg.norm(axis)
    if unit[2] < -1 + 1e-12:
        return np.asarray(local * np.array([-1.0, 1.0, -1.0]))
    u = np.array([-unit[1], unit[0], 0.0])
    once = np.cross(u, local)
    return np.asarray(local + once + np.cross(u, once) / (1 + unit[2]))


def is_isotropic(source: dict[str, Any], planar: bool) -> bool:
    """Whether the light of a source goes everywhere."""
    turn, up = (source[k][1] - source[k][0] for k in ("azimuth", "deflection"))
    return bool(turn >= 360 and (planar or up >= 180))


def rays(source: dict[str, Any], planar: bool) -> np.ndarray:
    """Return some unit vectors that a source's light starts along, (n, 3); one of a beam."""
    azimuth = np.radians(_some(source["azimuth"], 8))
    if planar:
        return np.stack([np.cos(azimuth), np.sin(azimuth), 0 * azimuth], axis=-1)
    deflection = np.radians(_some(source["deflection"], 3))
    theta, phi = (a.ravel() for a in np.meshgrid(deflection, azimuth))
    local = np.stack([np.sin(theta) * np.cos(phi), np.sin(theta) * np.sin(phi), np.cos(theta)], -1)
    return np.unique(np.round(turned(local, source["direction"]), 9), axis=0)


def _some(between: Sequence[float], count: int) -> np.ndarray:
    """Return some angles of a range, degrees; of a whole turn its end is its start."""
    low, high = between
    if high - low < 1e-9:
        return np.array([low])
    return np.linspace(low, high, count, endpoint=high - low < 360)
