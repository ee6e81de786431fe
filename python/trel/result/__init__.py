"""Results: datasets with axes, units and errors, and what is derived from them."""

from .opening import open  # noqa: A004

__all__ = ["open"]
