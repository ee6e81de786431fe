"""Parts of a model: shapes, tissues, light sources and detectors."""

from __future__ import annotations

import os
from collections.abc import Sequence
from dataclasses import dataclass
from typing import Any

from . import values
from .values import Numbers

PLANAR = ("rectangle", "ellipse")
"""Shapes of models in the plane."""
MOST_PACKETS = 4294967295


def put(target: Any, **fields: Any) -> None:
    """Set checked values of a frozen object that is being made."""
    for name, value in fields.items():
        object.__setattr__(target, name, value)


@dataclass(frozen=True)
class Shape:
    """Where a tissue, a source or a fibre is. Lengths in mm; shapes cannot be turned."""

    kind: str
    """cube, cylinder (along z), ellipsoid; rectangle, ellipse; trianglemesh, tetrahedron."""
    half: tuple[float, ...] | None = None
    """Half-lengths along the axes, mm; None of a mesh, or where the file has no such line."""
    center: tuple[float, ...] | None = None
    """In mm; None: the origin."""
    path: str | None = None
    """The mesh file, absolute."""
    scale: float = 1.0
    """Of the vertices of a mesh, about the origin, ahead of ``move``."""
    move: tuple[float, ...] = (0.0, 0.0, 0.0)
    """Added to the vertices of a mesh, mm."""

    @property
    def is_planar(self) -> bool:
        """Whether the shape is one of the plane."""
        return self.kind in PLANAR

    @property
    def is_moved(self) -> bool:
        """Whether the mesh is not as its file has it."""
        return self.scale != 1.0 or any(self.move)

    def corners(self) -> tuple[tuple[float, ...], tuple[float, ...]]:
        """Return the lower and the upper corner, mm; not of a mesh."""
        if self.half is None:
            raise values.refuse("shape", self.kind, "a shape whose extent the model has")
        middle = self.center or (0.0,) * len(self.half)
        return (tuple(c - h for c, h in zip(middle, self.half)),
                tuple(c + h for c, h in zip(middle, self.half)))

    @classmethod
    def point(cls, center: Sequence[float] = (0, 0, 0)) -> Shape:
        """Make a point, for a source; ``center`` in mm, of three numbers or of two in the plane."""
        count = 2 if hasattr(center, "__len__") and len(center) == 2 else 3
        return cls._make("cube" if count == 3 else "rectangle", (0.0,) * count, center)

    @classmethod
    def box(cls, size: Numbers, center: Sequence[float] | None = None) -> Shape:
        """Make a box of ``size`` (x, y, z; one number: a cube), mm.

        Without ``center`` (mm) it stands on z = 0 and reaches to z = size.
        """
        half = tuple(s / 2 for s in values.numbers("size", size, "mm", 3, least=0))
        return cls._make("cube", half, (0.0, 0.0, half[2]) if center is None else center)

    @classmethod
    def cylinder(cls, radius: Numbers, height: float,
                 center: Sequence[float] = (0, 0, 0)) -> Shape:
        """Make a cylinder along z of a radius (or two: along x, along y) and a height, mm."""
        half = (*values.numbers("radius", radius, "mm", 2, above=0),
                values.number("height", height, "mm", least=0) / 2)
        return cls._make("cylinder", half, center)

    @classmethod
    def ellipsoid(cls, radius: Numbers, center: Sequence[float] = (0, 0, 0)) -> Shape:
        """Make an ellipsoid of a radius (a ball) or of semi-axes along x, y and z, mm."""
        return cls._make("ellipsoid", values.numbers("radius", radius, "mm", 3, above=0), center)

    @classmethod
    def rectangle(cls, size: Numbers, center: Sequence[float] = (0, 0)) -> Shape:
        """Make a rectangle of ``size`` (x, y), mm, in the plane."""
        half = tuple(s / 2 for s in values.numbers("size", size, "mm", 2, least=0))
        return cls._make("rectangle", half, center)

    @classmethod
    def ellipse(cls, radius: Numbers, center: Sequence[float] = (0, 0)) -> Shape:
        """Make an ellipse of a radius or of semi-axes along x and y, mm, in the plane."""
        return cls._make("ellipse", values.numbers("radius", radius, "mm", 2, above=0), center)

    @classmethod
    def _make(cls, kind: str, half: tuple[float, ...], center: Any) -> Shape:
        return cls(kind, half, values.point("center", center, "mm", len(half)))

    @classmethod
    def mesh(cls, path: str | os.PathLike[str], scale: float = 1.0,
             move: Sequence[float] = (0, 0, 0)) -> Shape:
        """Make a closed surface of triangles from a file (off, ply, stl, surf).

        A vertex at p in the file is at ``scale * p + move`` in the model: ``scale`` in mm per unit
        of the file, ``move`` in mm.
        """
        return cls("trianglemesh", None, None, mesh_path(path),
                   values.number("scale", scale, "mm per unit of the file", above=0),
                   values.point("move", move, "mm", 3))


def mesh_path(path: str | os.PathLike[str]) -> str:
    """Return the absolute path of a mesh file that is there."""
    full = os.path.abspath(os.fspath(path))
    if not os.path.isfile(full):
        raise values.refuse("mesh file", os.fspath(path), "a file that is there")
    if '"' in full or "\\" in full or "\n" in full:
        raise values.refuse("mesh file", full, "a path without quotes and backslashes")
    return full


@dataclass(frozen=True)
class Tissue:
    """A tissue: its shape, and its coefficients, a value each or one for each wavelength."""

    shape: Shape | None
    mua: tuple[float, ...]
    """Absorption coefficient, 1/mm."""
    mus: tuple[float, ...]
    """Scattering coefficient, 1/mm; not the reduced one, but in the plane."""
    g: tuple[float, ...]
    """Mean cosine of the scattering angle."""
    n: tuple[float, ...]
    """Refractive index."""
    name: str = "tissue"
    comment: tuple[str, ...] = ()

    def __post_init__(self) -> None:
        """Check the coefficients."""
        put(self, mua=values.by_wavelength("mua", self.mua, "1/mm", least=0),
            mus=values.by_wavelength("mus", self.mus, "1/mm", least=0),
            g=values.by_wavelength("g", self.g, "mean cosine", least=-1, most=1),
            n=values.by_wavelength("n", self.n, "refractive index", least=1),
            name=values.one_word("name", self.name))

        if self.shape and self.shape.half is not None:
            half = self.shape.half
            values.point("extent of the tissue", half, "mm", len(half), above=0)

    @classmethod
    def of(cls, shape: Shape | None, mua: Any, mus: Any, g: Any, n: Any, *,
           name: str = "tissue") -> Tissue:
        """Make a tissue of any shape; coefficients as of ``box``."""
        return cls(shape, mua, mus, g, n, name)

    @classmethod
    def box(cls, size: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
            center: Sequence[float] | None = None, name: str = "tissue") -> Tissue:
        """Make a box of ``size`` (x, y, z; one number: a cube), mm.

        Without ``center`` (mm) it stands on z = 0, where light comes in, and reaches to z = size.
        ``mua`` and ``mus`` in 1/mm, ``g`` from -1 to 1, ``n`` from 1: a number, or one for each
        wavelength.
        """
        return cls.of(Shape.box(size, center), mua, mus, g, n, name=name)

    @classmethod
    def cylinder(cls, radius: Numbers, height: float, mua: Numbers, mus: Numbers, g: Numbers,
                 n: Numbers, *, center: Sequence[float] = (0, 0, 0), name: str = "tissue"
                 ) -> Tissue:
        """Make a cylinder along z, of a radius (or two: along x, along y) and a height, mm.

        ``center`` in mm; coefficients as of ``box``.
        """
        return cls.of(Shape.cylinder(radius, height, center), mua, mus, g, n, name=name)

    @classmethod
    def ellipsoid(cls, radius: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                  center: Sequence[float] = (0, 0, 0), name: str = "tissue") -> Tissue:
        """Make an ellipsoid of a radius (a ball) or of semi-axes along x, y and z, mm.

        ``center`` in mm; coefficients as of ``box``.
        """
        return cls.of(Shape.ellipsoid(radius, center), mua, mus, g, n, name=name)

    @classmethod
    def surface(cls, file: str | os.PathLike[str], mua: Numbers, mus: Numbers, g: Numbers,
                n: Numbers, *, scale: float = 1.0, move: Sequence[float] = (0, 0, 0),
                name: str = "tissue") -> Tissue:
        """Make a tissue in a closed surface of triangles, as of ``Shape.mesh``.

        ``scale`` in mm per unit of the file, ``move`` in mm; coefficients as of ``box``.
        """
        return cls.of(Shape.mesh(file, scale, move), mua, mus, g, n, name=name)

    @classmethod
    def rectangle(cls, size: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                  center: Sequence[float] = (0, 0), name: str = "tissue") -> Tissue:
        """Make a rectangle of ``size`` (x, y), mm, in a model of the plane."""
        return cls.of(Shape.rectangle(size, center), mua, mus, g, n, name=name)

    @classmethod
    def ellipse(cls, radius: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                center: Sequence[float] = (0, 0), name: str = "tissue") -> Tissue:
        """Make an ellipse of a radius or of semi-axes along x and y, mm, in the plane."""
        return cls.of(Shape.ellipse(radius, center), mua, mus, g, n, name=name)


@dataclass(frozen=True)
class Shine:
    """What a source launches at a wavelength."""

    energy: float
    """In a unit of your own: results are in the same one."""
    packets: int

    def __post_init__(self) -> None:
        """Check the values."""
        put(self, energy=values.number("energy", self.energy, "your unit of energy", least=0),
            packets=values.whole("packets", self.packets, "packets", 0, MOST_PACKETS))


@dataclass(frozen=True)
class Dye:
    """What a fluorophore emits at a wavelength."""

    excitation: int
    """Wavelength, nm, as in the model's list."""
    quantum_yield: float
    absorption: float
    """Absorption coefficient at the excitation wavelength, 1/mm."""
    lifetime: float | None = 0.0
    """In ps."""

    def __post_init__(self) -> None:
        """Check the values."""
        put(self, excitation=values.whole("excitation", self.excitation, "nm", 1, 2147483647),
            quantum_yield=values.number("quantum_yield", self.quantum_yield, "", least=0, most=1),
            absorption=values.number("absorption", self.absorption, "1/mm", least=0))
        if self.lifetime is not None:
            put(self, lifetime=values.number("lifetime", self.lifetime, "ps", least=0))


@dataclass(frozen=True)
class Source:
    """A light source, or a fluorophore. The angles count from ``direction``; degrees."""

    shape: Shape | None
    spectra: tuple[Shine | Dye | None, ...]
    """For each wavelength."""
    internal: bool = False
    """In the medium; else its packets start where they meet the skin."""
    solid: bool = True
    """All over its volume; else over its surface."""
    specular: bool = False
    """Whether what the surface reflects at entry is taken off."""
    fluorophore: bool = False
    azimuth: tuple[float, ...] | None = None
    """From, to; None: all round."""
    deflection: tuple[float, ...] | None = None
    """From, to; None: 0 to 180."""
    direction: tuple[float, ...] | None = None
    """None: +z."""
    waist: float | None = None
    """Radius W of a Gaussian profile exp(-2 r^2 / W^2), mm."""
    comment: tuple[str, ...] = ()


@dataclass(frozen=True)
class Camera:
    """A camera. What is None stays as the program has it."""

    plane: str | None = None
    """xy, xz or yz: rows of pixels follow each other along the axis that it lacks."""
    center: tuple[float, ...] | None = None
    """Of the detector, mm."""
    normal: tuple[float, ...] | None = None
    """To the lens and on to the medium."""
    size: tuple[float, ...] | None = None
    """Width and height of the detector, mm."""
    pixels: tuple[int, ...] | None = None
    """Columns and rows."""
    image_distance: float | None = None
    """From the lens to the detector, mm."""
    focal_length: float | None = None
    """In mm."""
    lens_radius: float | None = None
    """In mm; without effect on the picture."""
    comment: tuple[str, ...] = ()


@dataclass(frozen=True)
class Fibre:
    """A fibre: a cylinder or an ellipsoid in the medium that collects the packets that reach it."""

    shape: Shape
    comment: tuple[str, ...] = ()
