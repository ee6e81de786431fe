"""Light sources of a model."""

from __future__ import annotations

import math
from collections.abc import Sequence
from dataclasses import replace
from typing import Any, Self

from . import values
from .fields import Fields
from .parts import Dye, Shape, Shine, Source
from .values import Numbers

FORWARD = (0, 0, 1)


class Lights(Fields):
    """Adds light sources.

    Each takes ``energy`` (in a unit of your own) and ``packets``, a number or one for each
    wavelength, and ``at``, the wavelengths at which it shines (nm; None: all of the model).
    ``specular`` takes off what the surface reflects at entry.
    """

    def pencil(self, position: Sequence[float] | None = None,
               direction: Sequence[float] | None = None, *, specular: bool = True,
               energy: Numbers = 1.0, packets: Numbers = 100_000, at: Any = None) -> Self:
        """Add a beam of no width through ``position`` (mm; None: 0, 0, -1) along ``direction``.

        It enters where it meets the medium's skin, from outside; the direction (None: +z, in the
        plane +x) may have any length.
        """
        shape = Shape.point(position if position is not None else self._outside())
        return self._shine(shape, energy, packets, at, **self._straight(direction),
                           specular=values.flag("specular", specular))

    def disc(self, radius: Numbers, center: Sequence[float] = (0, 0, -1),
             direction: Sequence[float] = FORWARD, *, specular: bool = True,
             energy: Numbers = 1.0, packets: Numbers = 100_000, at: Any = None) -> Self:
        """Add an even beam from a disc across z, of a radius (or two) about ``center``, mm.

        The disc is not turned with the direction, which must not lie in it.
        """
        self._need_dimension("disc", 3)
        return self._shine(Shape.cylinder(radius, 0, center), energy, packets, at,
                           **self._across(direction), specular=values.flag("specular", specular))

    def gaussian(self, waist: float, center: Sequence[float] = (0, 0, -1),
                 direction: Sequence[float] = FORWARD, *, radius: float | None = None,
                 specular: bool = True, energy: Numbers = 1.0, packets: Numbers = 100_000,
                 at: Any = None) -> Self:
        """Add a beam with the profile exp(-2 r^2 / waist^2) about ``center``, mm.

        It is cut at ``radius`` (None: three waists) and has its whole energy within.
        """
        width = values.number("waist", waist, "mm", above=0)
        edge = 3 * width if radius is None else values.number("radius", radius, "mm", above=0)
        self._need_dimension("gaussian", 3)
        return self._shine(Shape.cylinder(edge, 0, center), energy, packets, at, waist=width,
                           **self._across(direction), specular=values.flag("specular", specular))

    def plate(self, size: Numbers, center: Sequence[float] | None = None,
              direction: Sequence[float] | None = None, *, specular: bool = True,
              energy: Numbers = 1.0, packets: Numbers = 100_000, at: Any = None) -> Self:
        """Add an even beam from a box of ``size`` (x, y, z), mm: 0 along its direction is a plate.

        In the plane ``size`` has two numbers.
        """
        middle = center if center is not None else self._outside()
        make = Shape.box if self.settings.dimension == 3 else Shape.rectangle
        return self._shine(make(size, middle), energy, packets, at, **self._straight(direction),
                           specular=values.flag("specular", specular))

    def cone(self, half_angle: float, center: Sequence[float] = (0, 0, -1),
             direction: Sequence[float] = FORWARD, *, radius: Numbers = 0.0,
             internal: bool = False, specular: bool | None = None, energy: Numbers = 1.0,
             packets: Numbers = 100_000, at: Any = None) -> Self:
        """Add light from a point, or a disc of ``radius`` (mm) across z, into a cone.

        It is even in the solid angle up to ``half_angle`` (degrees) from ``direction``. With
        ``internal`` it starts in the medium, where nothing is reflected at entry.
        """
        self._need_dimension("cone", 3)
        angle = values.number("half_angle", half_angle, "degrees", above=0, most=180)
        wide = values.numbers("radius", radius, "mm", 2, least=0)
        shape = Shape.cylinder(wide, 0, center) if any(wide) else Shape.point(center)
        inside = values.flag("internal", internal)
        reflects = not inside if specular is None else values.flag("specular", specular)
        if inside and reflects:
            raise values.refuse("specular", True, "False for light that starts in the medium")
        return self._shine(shape, energy, packets, at, internal=inside, deflection=(0.0, angle),
                           direction=values.direction(direction), specular=reflects)

    def isotropic(self, center: Sequence[float] | None = None, *, radius: Numbers = 0.0,
                  shape: Shape | None = None, energy: Numbers = 1.0,
                  packets: Numbers = 100_000, at: Any = None) -> Self:
        """Add light from within into all directions, as of glowing cells.

        It starts in a point, evenly in an ellipsoid of ``radius`` (or semi-axes) about ``center``,
        mm, or in a ``shape``.
        """
        return self._shine(self._body(center, radius, shape), energy, packets, at, internal=True)

    def fluorophore(self, center: Sequence[float] | None = None, *, excitation: int,
                    emission: int, quantum_yield: float, absorption: float,
                    lifetime: float = 0.0, radius: Numbers = 0.0, shape: Shape | None = None
                    ) -> Self:
        """Add a dye, and make the model one of fluorescence.

        It fills an ellipsoid of ``radius`` (or semi-axes) about ``center``, mm, or a ``shape``, in
        whatever tissues lie there, and emits at ``emission`` what light of ``excitation`` (nm)
        excites. ``absorption`` (1/mm) comes on top of the tissue's; ``lifetime`` in ps.
        """
        place = self._body(center, radius, shape)
        if shape is None and not any(values.numbers("radius", radius, "mm", len(place.half or ()))):
            raise values.refuse("radius", radius, "numbers above 0 (mm), or a shape")
        self._index(excitation)
        dye = Dye(excitation, quantum_yield, absorption, lifetime)
        spectra: list[Dye | None] = [None] * len(self.wavelengths)
        spectra[self._index(emission)] = dye
        source = Source(place, tuple(spectra), internal=True, fluorophore=True)
        return replace(self, sources=(*self.sources, source))._set(simulation="FMT")

    def packets(self, total: float) -> Self:
        """Share out so many packets among the sources, in the proportions that they have."""
        wanted = values.whole("packets", total, "packets", 1, 2**53)
        asked = sum(s.packets for source in self.sources for s in source.spectra
                    if isinstance(s, Shine))
        if not asked:
            raise values.refuse("packets", total, "a model with a source that has packets")
        sources = tuple(
            replace(source, spectra=tuple(
                Shine(s.energy, max(round(s.packets * wanted / asked), min(s.packets, 1)))
                if isinstance(s, Shine) else s for s in source.spectra))
            for source in self.sources)
        return replace(self, sources=sources)

    def _index(self, wavelength: Any) -> int:
        if wavelength not in self.wavelengths:
            told = ", ".join(map(str, self.wavelengths))
            raise values.refuse("wavelength", wavelength, f"one of the model's, {told} (nm)")
        return self.wavelengths.index(wavelength)

    def _outside(self) -> tuple[float, ...]:
        if self.settings.dimension == 3:
            return (0.0, 0.0, -1.0)
        outer = self._outer_shape()
        return (outer.corners()[0][0] - 1.0 if outer else 0.0, 0.0)

    def _straight(self, direction: Sequence[float] | None) -> dict[str, Any]:
        """Angles of a beam; in the plane the azimuth says it all."""
        if self.settings.dimension == 2:
            x, y = (1.0, 0.0) if direction is None else values.direction(direction, 2)
            angle = math.degrees(math.atan2(y, x)) % 360.0
            return {"azimuth": (angle, angle)}
        way = None if direction is None else values.direction(direction)
        return {"azimuth": (0.0, 0.0), "deflection": (0.0, 0.0), "direction": way}

    def _across(self, direction: Sequence[float]) -> dict[str, Any]:
        """Angles of a beam from a disc across z."""
        if values.direction(direction)[2] == 0:
            raise values.refuse("direction", direction,
                                "one that does not lie in the disc, which stands across z; "
                                "plate() has other sides")
        return self._straight(direction)

    def _body(self, center: Any, radius: Any, shape: Shape | None) -> Shape:
        """Return the shape of a source in the medium."""
        if shape is not None:
            self._need_dimension(shape.kind, 2 if shape.is_planar else 3)
            return shape
        count = self.settings.dimension
        middle = values.point("center", (0,) * count if center is None else center, "mm", count)
        wide = values.numbers("radius", radius, "mm", count, least=0)
        if not any(wide):
            return Shape.point(middle)
        return Shape.ellipsoid(wide, middle) if count == 3 else Shape.ellipse(wide, middle)

    def _shine(self, shape: Shape, energy: Any, packets: Any, at: Any, **fields: Any) -> Self:
        listed = self.wavelengths if at is None else values.wavelength_list(at)
        self._need_dimension(shape.kind, 2 if shape.is_planar else 3)
        if self.settings.simulation == "BLT" and not fields.get("internal"):
            raise values.refuse("source", "one outside", "one in the medium: this is a model of "
                                "bioluminescence")
        energies = values.spread("energy", values.by_wavelength(
            "energy", energy, "your unit of energy", least=0), len(listed))
        counts = values.spread("packets", values.by_wavelength(
            "packets", packets, "packets", least=0), len(listed))
        spectra: list[Shine | None] = [None] * len(self.wavelengths)
        for wavelength, e, p in zip(listed, energies, counts):
            spectra[self._index(wavelength)] = Shine(e, p)
        source = Source(shape, tuple(spectra), **fields)
        return replace(self, sources=(*self.sources, source))
