"""Series of runs, and one run over machines."""

from .export import Export
from .local import Local
from .series import collect, count_jobs, sweep

__all__ = ["Export", "Local", "collect", "count_jobs", "sweep"]
