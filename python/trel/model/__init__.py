"""Models: built, read and written."""

from .description import Description

__all__ = ["Description"]
