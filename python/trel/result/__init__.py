"""Results: datasets with axes, units and errors, and what is derived from them."""

from .accessor import Results
from .comparing import Comparison, compare
from .opening import open  # noqa: A004
from .quantity import NotRecorded

__all__ = ["Comparison", "NotRecorded", "Results", "compare", "open"]
