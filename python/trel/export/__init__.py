"""Results in the formats of other programs."""

from .files import export

__all__ = ["export"]
