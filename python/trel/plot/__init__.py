"""Pictures of models and results."""

from .modelcut import Drawable

__all__ = ["Drawable"]
