"""Media: what a model is made of."""

from __future__ import annotations

import os
from collections.abc import Sequence
from dataclasses import replace
from typing import Any, Self

from . import values
from .fields import Fields
from .parts import Shape, Tissue, mesh_path
from .settings import Settings, usual_grids
from .values import Numbers


class Media(Fields):
    """Makes models of tissues, and adds tissues to them."""

    @classmethod
    def _around(cls, outer: Tissue, wavelengths: Any) -> Self:
        dimension = 2 if outer.shape is not None and outer.shape.is_planar else 3
        settings = usual_grids(Settings(dimension=dimension), outer.shape)
        listed = values.wavelength_list(wavelengths)
        return cls(wavelengths=listed, settings=settings).add(outer)

    @classmethod
    def layers(cls, layers: Sequence[Sequence[Any]], width: float, *,
               names: Sequence[str] | None = None, wavelengths: Any = 650) -> Self:
        """Make a stack of layers ``(thickness, mua, mus, g, n)``, the first one from z = 0 on.

        Light comes in at z = 0 along +z. The stack is a cylinder of the diameter ``width`` (mm)
        about the z axis, wide enough if no light gets to its side; the grids are cylindrical, with
        100 cells along depth and radius. Thickness in mm, ``mua`` and ``mus`` in 1/mm, numbers or
        one for each wavelength (nm).
        """
        radius = values.number("width", width, "mm", above=0) / 2
        if not len(layers):
            raise values.refuse("layers", layers, "at least one (thickness, mua, mus, g, n)")
        told = names or [f"layer{i + 1}" for i in range(len(layers))]
        if len(told) != len(layers):
            raise values.refuse("names", names, f"{len(layers)} names, one for each layer")
        tissues, depth = [], 0.0
        for layer, name in zip(layers, told):
            if not hasattr(layer, "__len__") or len(layer) != 5:
                raise values.refuse("layer", layer, "(thickness mm, mua 1/mm, mus 1/mm, g, n)")
            below = depth + values.number("thickness", layer[0], "mm", above=0)
            place = Shape.cylinder(radius, below - depth, (0, 0, (depth + below) / 2))
            tissues.append(Tissue.of(place, *layer[1:], name=name))
            depth = below
        # The first layer is what the others leave of the whole, which the outermost tissue is.
        tissues[0] = replace(tissues[0], shape=Shape.cylinder(radius, depth, (0, 0, depth / 2)))
        grid = (True, "cylindrical")
        cells = (1.0, 1.0, depth / 100, radius / 100, 360.0)
        settings = Settings(absorption=grid, surface=grid, cells=cells)
        model = cls(wavelengths=values.wavelength_list(wavelengths), settings=settings)
        for tissue in tissues:
            model = model.add(tissue)
        return model

    @classmethod
    def box(cls, size: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
            wavelengths: Any = 650, **place: Any) -> Self:
        """Make a box, with 50 cells along each axis; arguments as of ``Tissue.box``."""
        return cls._around(Tissue.box(size, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def cylinder(cls, radius: Numbers, height: float, mua: Numbers, mus: Numbers, g: Numbers,
                 n: Numbers, *, wavelengths: Any = 650, **place: Any) -> Self:
        """Make a cylinder along z, with 50 cells along each axis; as of ``Tissue.cylinder``."""
        return cls._around(Tissue.cylinder(radius, height, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def ellipsoid(cls, radius: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                  wavelengths: Any = 650, **place: Any) -> Self:
        """Make an ellipsoid, with 50 cells along each axis; as of ``Tissue.ellipsoid``.

        What leaves is saved in cells of 10 degrees of azimuth and deflection.
        """
        return cls._around(Tissue.ellipsoid(radius, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def surface(cls, file: str | os.PathLike[str], mua: Numbers, mus: Numbers, g: Numbers,
                n: Numbers, *, wavelengths: Any = 650, **place: Any) -> Self:
        """Make a medium in a closed surface of triangles; as of ``Tissue.surface``.

        Its cells are of 1 mm: change them by ``grid``.
        """
        return cls._around(Tissue.surface(file, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def rectangle(cls, size: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                  wavelengths: Any = 650, **place: Any) -> Self:
        """Make a rectangle in the plane, with 50 cells along each axis."""
        return cls._around(Tissue.rectangle(size, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def ellipse(cls, radius: Numbers, mua: Numbers, mus: Numbers, g: Numbers, n: Numbers, *,
                wavelengths: Any = 650, **place: Any) -> Self:
        """Make an ellipse in the plane, with 50 cells along each axis."""
        return cls._around(Tissue.ellipse(radius, mua, mus, g, n, **place), wavelengths)

    @classmethod
    def tetrahedra(cls, file: str | os.PathLike[str], regions: Sequence[Sequence[Any]], *,
                   names: Sequence[str] | None = None, wavelengths: Any = 650) -> Self:
        """Make a medium of tetrahedra from a file (am, mesh).

        ``regions`` has ``(mua, mus, g, n)`` of each region in turn, coefficients as of ``box``.
        Lengths in the file are mm, and cells are of 1 mm.
        """
        model = cls(wavelengths=values.wavelength_list(wavelengths), mesh=mesh_path(file),
                    settings=Settings(absorption=(True, "cartesian"), surface=(True, "cartesian")))
        told = names or [f"region{i + 1}" for i in range(len(regions))]
        if len(told) != len(regions) or not len(regions):
            raise values.refuse("names", names, f"{len(regions)} names, one for each region")
        for region, name in zip(regions, told):
            if not hasattr(region, "__len__") or len(region) != 4:
                raise values.refuse("region", region, "(mua 1/mm, mus 1/mm, g, n)")
            model = model.add(Tissue.of(Shape("tetrahedron"), *region, name=name))
        return model

    def add(self, tissue: Tissue) -> Self:
        """Add a tissue. Where several hold a point the smallest one counts, whatever their order.

        Surfaces may touch, and indices may be equal.
        """
        if tissue.shape is not None:
            self._need_dimension(tissue.shape.kind, 2 if tissue.shape.is_planar else 3)
        return replace(self, tissues=(*self.tissues, self._spread(tissue)))

    def _spread(self, tissue: Tissue) -> Tissue:
        """Return the tissue with coefficients for each wavelength."""
        return replace(tissue, **{
            name: values.spread(name, getattr(tissue, name), len(self.wavelengths))
            for name in ("mua", "mus", "g", "n")})

    def change(self, tissue: str | int, *, mua: Numbers | None = None, mus: Numbers | None = None,
               g: Numbers | None = None, n: Numbers | None = None) -> Self:
        """Change coefficients of a tissue, by its number (from 1) or by a name that no other has.

        Coefficients as of ``box``; None: as they are.
        """
        if isinstance(tissue, str):
            named = [i for i, known in enumerate(self.tissues) if known.name == tissue]
            if len(named) != 1:
                raise values.refuse("tissue", tissue, "a name that one tissue has, of "
                                    + ", ".join(known.name for known in self.tissues))
            at = named[0]
        else:
            at = values.whole("tissue", tissue, "number of a tissue", 1, len(self.tissues)) - 1
        given = {"mua": mua, "mus": mus, "g": g, "n": n}
        changed = replace(self.tissues[at], **{k: v for k, v in given.items() if v is not None})
        return replace(self, tissues=(*self.tissues[:at], self._spread(changed),
                                      *self.tissues[at + 1:]))
