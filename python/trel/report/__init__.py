"""Reports: what a run or a series was and gave, as one page of HTML."""

from .making import report

__all__ = ["report"]
