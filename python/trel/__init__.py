"""Light in tissue by Monte Carlo: models, runs, results and pictures.

The physics is that of the program ``trelrun``, which is started as a process: nothing here computes
how light moves, and nothing here reads a model in another way than that program does.
"""

from . import optics
from .errors import MissingPackage, ModelError, RunError, TrelError
from .model import Description, Shape, Tissue
from .plot import Drawable


class Model(Description, Drawable):
    """A model of tissue, light sources and detectors, and what is done with it."""


__all__ = ["MissingPackage", "Model", "ModelError", "RunError", "Shape", "Tissue",
           "TrelError", "optics"]
__version__ = "2.2.0"
