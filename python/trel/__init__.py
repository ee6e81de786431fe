"""Light in tissue by Monte Carlo: models, runs, results and pictures.

The physics is that of the program ``trelrun``, which is started as a process: nothing here computes
how light moves, and nothing here reads a model in another way than that program does.
"""

from . import mesh, optics, plot
from .errors import MeshError, MissingPackage, ModelError, RunError, TrelError
from .export import export
from .model import Description, Shape, Tissue
from .report import report
from .result import Comparison, NotRecorded, compare, open  # noqa: A004
from .run import Runnable, RunInterrupted, run_file
from .run import runnable as _runnable
from .sweep import Distributed, Export, Local, Tls, lookup, sweep
from .sweep import run_over as _run_over

# A run does not know what opens its results, or deals it to machines: these know how runs are made.
_runnable.open_result = open
_runnable.run_over = _run_over


class Model(Description, Runnable, plot.Drawable):
    """A model of tissue, light sources and detectors, and what is done with it."""


__all__ = [
    "Comparison",
    "MeshError",
    "Distributed",
    "Export",
    "Local",
    "MissingPackage",
    "Model",
    "ModelError",
    "NotRecorded",
    "RunError",
    "RunInterrupted",
    "Shape",
    "Tissue",
    "Tls",
    "TrelError",
    "compare",
    "export",
    "mesh",
    "lookup",
    "open",
    "optics",
    "plot",
    "report",
    "run_file",
    "sweep",
]
__version__ = "2.2.0"
