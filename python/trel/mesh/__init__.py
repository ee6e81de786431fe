"""Meshes from anywhere: converted, made of labels, looked at and mended."""

from .contents import Mesh
from .converting import convert, save
from .doctoring import doctor
from .examining import Examination
from .labelled import voxels
from .reading import read

__all__ = ["Examination", "Mesh", "convert", "doctor", "read", "save", "voxels"]
