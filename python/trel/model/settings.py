"""What is simulated, what is saved, and how it is run."""

from __future__ import annotations

from dataclasses import dataclass, replace
from typing import Any

from . import values
from .parts import Shape

AXES = {3: ("x", "y", "z", "radius", "azimuth", "deflection"),
        2: ("x", "y", "radius", "azimuth")}
"""Of the grids, in the order of the file, by the dimension."""
SIZES = {"x": "dx", "y": "dy", "z": "dz", "radius": "dr", "azimuth": "dazimuth",
         "deflection": "ddeflection"}
ANGLES = {"azimuth": 360.0, "deflection": 180.0}
"""Axes in degrees, and how far they reach."""


@dataclass(frozen=True)
class Settings:
    """The block of properties of a model. What is None stays as the program has it."""

    simulation: str = "DOT"
    """DOT: light from outside or from within; BLT: bioluminescence; FMT: fluorescence."""
    dimension: int = 3
    outermost: int | None = None
    """Number of the tissue that bounds the medium."""
    ambient: float | None = None
    """Refractive index around the medium."""
    absorption: tuple[bool, str] | None = None
    """Whether the absorption is saved, and in which cells."""
    surface: tuple[bool, str] | None = None
    """Whether what leaves is saved, and in which cells."""
    roi: tuple[float, ...] | None = None
    """From, to along each axis: mm, degrees."""
    cells: tuple[float, ...] | None = None
    """Size of a cell along each axis: mm, degrees."""
    fluence: bool | None = None
    fly_times: bool | None = None
    continuous: bool = False
    """Whether the file asks for what it gets anyway, continuous light."""
    gates: tuple[float, ...] | None = None
    """Start, end and step, ps."""
    frequency: float | None = None
    """Of the modulation, MHz."""
    step_limit: int | None = None
    time_limit: float | None = None
    """In ps."""
    threads: tuple[int, ...] | None = None
    """Their number, and the seeds that follow it in the file."""
    algorithms: tuple[str | None, str | None] = (None, None)
    """In the medium, and in free space."""
    comment: tuple[str, ...] = ()


def usual_grids(settings: Settings, outer: Shape | None) -> Settings:
    """Give a model grids that fit its outer shape: 50 cells along each axis."""
    if outer is None or outer.half is None:
        return settings
    words = {"ellipsoid": "spherical", "ellipse": "polar"}
    lengths = [2 * h / 50 for h in outer.half]
    cells = (*lengths, max(outer.half[:2]) / 50, 10.0)
    return replace(settings, absorption=(True, "cartesian"),
                   surface=(True, words.get(outer.kind, "cartesian")),
                   cells=cells if outer.is_planar else (*cells, 10.0))


def _widest(axis: str, outer: Shape | None) -> tuple[float, float]:
    """Return the range of an axis over the whole medium."""
    if axis in ANGLES:
        return 0.0, ANGLES[axis]
    if outer is None or outer.half is None:
        raise values.refuse(axis, None, "x, y, z and radius all together: the extent of the "
                            "medium is in its mesh (mm)")
    low, high = outer.corners()
    if axis == "radius":
        return 0.0, max(outer.half[:2])
    at = "xyz".index(axis)
    return low[at], high[at]


def region(settings: Settings, outer: Shape | None, ranges: dict[str, Any]
           ) -> tuple[float, ...] | None:
    """Return the numbers of the region: given ranges, those that were there, the whole medium."""
    if all(given is None for given in ranges.values()):
        return settings.roi
    found: list[float] = []
    for i, axis in enumerate(AXES[settings.dimension]):
        before = (settings.roi or ())[2 * i:2 * i + 2]
        given = ranges[axis]
        unit = "degrees" if axis in ANGLES else "mm"
        if given is not None:
            low, high = values.point(axis, given, f"smallest and largest, {unit}", 2)
            if not low < high:
                raise values.refuse(axis, given, f"the smaller number first ({unit})")
            found += [low, high]
        else:
            found += before if len(before) == 2 else _widest(axis, outer)
    return tuple(found)


def cell_sizes(settings: Settings, sizes: dict[str, Any]) -> tuple[float, ...] | None:
    """Return the sizes of cells: given ones, those that were there, 1."""
    if all(given is None for given in sizes.values()):
        return settings.cells
    found = []
    for i, axis in enumerate(AXES[settings.dimension]):
        before = (settings.cells or ())[i:i + 1]
        unit = "degrees" if axis in ANGLES else "mm"
        given = sizes[axis]
        found.append(values.number(SIZES[axis], given, unit, above=0) if given is not None
                     else before[0] if before else 1.0)
    return tuple(found)
