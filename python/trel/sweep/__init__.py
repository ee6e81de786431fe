"""Series of runs, and one run over machines."""

from .export import Export
from .local import Local
from .machines import Distributed
from .security import Tls
from .series import collect, count_jobs, sweep
from .serving import serve_scheduler, serve_worker

__all__ = ["Distributed", "Export", "Local", "Tls", "collect", "count_jobs", "serve_scheduler",
           "serve_worker", "sweep"]
