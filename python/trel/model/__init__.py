"""Models: built, read and written."""

from .description import Description
from .parts import Camera, Dye, Fibre, Shape, Shine, Source, Tissue
from .settings import Settings

__all__ = ["Camera", "Description", "Dye", "Fibre", "Settings", "Shape", "Shine", "Source",
           "Tissue"]
