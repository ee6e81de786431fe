"""What is simulated, what is saved, and how it is run."""

from __future__ import annotations

from typing import Any, Self

from . import values
from .fields import Fields
from .settings import AXES, SIZES, cell_sizes, region

Range = tuple[float, float] | None


class Properties(Fields):
    """Sets the properties of a model."""

    def grid(self, absorption: str | None = None, surface: str | None = None, *,
             x: Range = None, y: Range = None, z: Range = None, radius: Range = None,
             azimuth: Range = None, deflection: Range = None, dx: float | None = None,
             dy: float | None = None, dz: float | None = None, dr: float | None = None,
             dazimuth: float | None = None, ddeflection: float | None = None) -> Self:
        """Set the cells of the results; what is None stays as it is.

        ``absorption`` is cartesian or cylindrical (in the plane cartesian or polar) or off, and
        ``surface``, for what leaves, cartesian on a box and in the plane on a rectangle, cartesian
        or cylindrical on a cylinder, spherical on an ellipsoid, polar on an ellipse, or off.
        ``x`` to ``deflection`` are the range, smallest and largest, in which things are saved,
        ``dx`` to ``ddeflection`` the size of a cell: mm, and degrees for azimuth and deflection.
        """
        ranges = {"x": x, "y": y, "z": z, "radius": radius, "azimuth": azimuth,
                  "deflection": deflection}
        sizes = {"x": dx, "y": dy, "z": dz, "radius": dr, "azimuth": dazimuth,
                 "deflection": ddeflection}
        planar = self.settings.dimension == 2
        for axis in set(ranges) - set(AXES[self.settings.dimension]):
            if ranges[axis] is not None or sizes[axis] is not None:
                raise values.refuse(f"{axis}, {SIZES[axis]}", ranges[axis] or sizes[axis],
                                    "nothing in a model of the plane")
        inner = ("cartesian", "polar") if planar else ("cartesian", "cylindrical")
        outer = ("cartesian", "polar") if planar else ("cartesian", "cylindrical", "spherical")
        return self._set(
            absorption=self._matrix("absorption", absorption, self.settings.absorption, inner),
            surface=self._matrix("surface", surface, self.settings.surface, outer),
            roi=region(self.settings, self._outer_shape(), ranges),
            cells=cell_sizes(self.settings, sizes))

    @staticmethod
    def _matrix(name: str, given: str | None, before: tuple[bool, str] | None,
                words: tuple[str, ...]) -> tuple[bool, str] | None:
        if given is None:
            return before
        told = values.word(name, given, (*words, "off"))
        return (True, told) if told != "off" else (False, before[1] if before else "cartesian")

    def gates(self, start: float, end: float, step: float) -> Self:
        """Save results by time of flight, too: gates of ``step`` from ``start`` to ``end``, ps."""
        self._refuse_glow("gates")
        first = values.number("start", start, "ps", least=0)
        last = values.number("end", end, "ps, behind the start", above=first)
        return self._set(gates=(first, last, values.number("step", step, "ps", above=0)))

    def frequency(self, frequency: float) -> Self:
        """Save amplitude and phase of light modulated with ``frequency``, MHz, too."""
        self._refuse_glow("frequency")
        return self._set(frequency=values.number("frequency", frequency, "MHz", above=0))

    def _refuse_glow(self, name: str) -> None:
        if self.settings.simulation == "BLT":
            raise values.refuse(name, "a model of bioluminescence", "one of another light")

    def fluence(self, saved: bool = True) -> Self:
        """Save the fluence rate in the cells of the absorption."""
        return self._set(fluence=values.flag("fluence", saved))

    def fly_times(self, saved: bool = True) -> Self:
        """Save place and time of each packet that leaves: 32 bytes each."""
        return self._set(fly_times=values.flag("fly_times", saved))

    def ambient(self, n: float) -> Self:
        """Set the refractive index around the medium, 1 or more."""
        return self._set(ambient=values.number("ambient", n, "refractive index", least=1))

    def limits(self, time: float | None = None, steps: int | None = None) -> Self:
        """End packets after a time of flight (ps), or after so many steps; None: no such limit."""
        return self._set(
            time_limit=None if time is None else values.number("time", time, "ps", above=0),
            step_limit=None if steps is None else values.whole("steps", steps, "steps", 1,
                                                               2147483647))

    def threads(self, count: int) -> Self:
        """Set the number of threads that the file names, 1 to 1024; ``trelrun`` has its own."""
        return self._set(threads=(values.whole("threads", count, "threads", 1, 1024),))

    def bioluminescence(self) -> Self:
        """Make the model one of light from within alone, without time or frequency."""
        told: dict[str, Any] = {"gates": self.settings.gates, "frequency": self.settings.frequency}
        for name, given in told.items():
            if given is not None:
                raise values.refuse(name, given, "none in a model of bioluminescence")
        if any(not source.internal or source.fluorophore for source in self.sources):
            raise values.refuse("sources", "one outside, or a fluorophore",
                                "light from within alone")
        return self._set(simulation="BLT")
