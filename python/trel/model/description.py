"""The description of a model."""

from __future__ import annotations

from dataclasses import dataclass


@dataclass(frozen=True)
class Description:
    """What a model file says."""
