"""Series of runs, and one run over machines."""

from .export import Export
from .local import Local
from .lookup import lookup
from .machines import Distributed
from .ranges import run_over
from .security import Tls
from .series import collect, count_jobs, sweep
from .serving import serve_scheduler, serve_worker

__all__ = ["Distributed", "Export", "Local", "Tls", "collect", "count_jobs", "lookup",
           "run_over", "serve_scheduler", "serve_worker", "sweep"]
