"""Detectors of a model."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import replace
from typing import Self

from . import values
from .fields import Fields
from .parts import Camera, Fibre, Shape
from .values import Numbers

PLANES = {"xy": 2, "xz": 1, "yz": 0}
"""The planes that a camera's normal may lie in, with the axis that each lacks."""


class Detection(Fields):
    """Adds cameras and fibres, which are numbered together in their order."""

    def camera(self, center: Sequence[float], normal: Sequence[float], *,
               size: Numbers = (27.6, 27.6), pixels: Numbers = 128,
               image_distance: float = 72.5403, focal_length: float = 55.0,
               plane: str | None = None) -> Self:
        """Add a camera with its detector at ``center`` (mm), outside of the medium.

        ``normal`` points to the lens, ``image_distance`` (mm) away, and on to the medium. Width and
        height of the detector in mm; ``pixels`` columns and rows. The object plane lies
        F D / (D - F) in front of the lens, for a focal length F below the image distance D: keep it
        off the medium. ``plane`` is the one of xy, xz and yz that the normal lies in; the rows of
        pixels follow each other along the axis that it lacks. The cameras need a surface grid.
        """
        self._need_dimension("camera", 3)
        towards = values.direction(normal)
        fitting = [p for p, axis in PLANES.items() if towards[axis] == 0]
        if not fitting:
            raise values.refuse("normal", normal, "a vector in one of the planes xy, xz and yz")
        chosen = fitting[0] if plane is None else values.word("plane", plane, fitting)
        focal = values.number("focal_length", focal_length, "mm", above=0)
        counts = tuple(values.whole("pixels", p, "columns and rows", 1, 100_000)
                       for p in values.numbers("pixels", pixels, "columns and rows", 2))
        camera = Camera(chosen, values.point("center", center, "mm", 3), towards,
                        values.numbers("size", size, "mm", 2, above=0), counts,
                        values.number("image_distance", image_distance,
                                      "mm, more than the focal length", above=focal), focal)
        return replace(self, detectors=(*self.detectors, camera))

    def fibre(self, center: Sequence[float], radius: Numbers, height: float | None = None
              ) -> Self:
        """Add a fibre in the medium that takes the light that reaches it.

        A cylinder along z of a radius and a height about ``center``, or without a height a ball;
        mm. Its cells have the sizes of the grid's.
        """
        self._need_dimension("fibre", 3)
        if height is None:
            shape = Shape.ellipsoid(radius, center)
        else:
            tall = values.number("height", height, "mm", above=0)
            shape = Shape.cylinder(radius, tall, center)
        return replace(self, detectors=(*self.detectors, Fibre(shape)))
