"""What a model consists of."""

from __future__ import annotations

from dataclasses import dataclass, field, replace
from typing import Any, Self

from . import values
from .parts import Camera, Fibre, Shape, Source, Tissue
from .settings import Settings


@dataclass(frozen=True)
class Notes:
    """Comments of a file ahead of what has no room for its own."""

    header: tuple[str, ...] = ()
    spectra: tuple[str, ...] = ()
    mesh: tuple[str, ...] = ()
    end: tuple[str, ...] = ()


@dataclass(frozen=True)
class Fields:
    """The parts of a model, from which each group of methods makes new models."""

    wavelengths: tuple[int, ...] = (650,)
    """In nm."""
    tissues: tuple[Tissue, ...] = ()
    sources: tuple[Source, ...] = ()
    detectors: tuple[Camera | Fibre, ...] = ()
    settings: Settings = field(default_factory=Settings)
    mesh: str | None = None
    """The file of a medium of tetrahedra, absolute."""
    notes: Notes = field(default_factory=Notes)
    name: str = field(default="model", compare=False)
    """Of its results: that of the file that it was read from, without folder and ending."""

    def _set(self, **settings: Any) -> Self:
        """Return the model with other settings."""
        return replace(self, settings=replace(self.settings, **settings))

    def _outer_shape(self) -> Shape | None:
        """Return the shape of the outermost tissue, if it is none of tetrahedra."""
        index = (self.settings.outermost or 1) - 1
        if self.mesh is not None or not 0 <= index < len(self.tissues):
            return None
        return self.tissues[index].shape

    def _need_dimension(self, what: str, dimension: int) -> None:
        """Refuse what is not for models of this dimension."""
        if self.settings.dimension != dimension:
            raise values.refuse(what, f"a model of {self.settings.dimension} dimensions",
                                f"one of {dimension}")
