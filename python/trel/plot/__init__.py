"""Pictures of models and results: each returns its axes, and takes ``ax=`` to draw on others."""

from .curves import profile, time_curve
from .ledger import ledger
from .maps import camera, difference, phase, slice, surface
from .mesh import mesh
from .modelcut import Drawable

__all__ = [
    "Drawable", "camera", "difference", "ledger", "mesh", "phase", "profile", "slice", "surface",
    "time_curve",
]
