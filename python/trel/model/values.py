"""Values of a model, checked as they come: what is wrong is refused with what was expected."""

from __future__ import annotations

import math
from collections.abc import Sequence
from numbers import Integral, Real
from typing import Any

from ..errors import ModelError

Numbers = float | Sequence[float]
"""One number, or a sequence of them (a list, a tuple, an array)."""

LONGEST_LINE = 254
"""Bytes: what is longer is read as several lines."""


def refuse(name: str, value: Any, expected: str) -> ModelError:
    """Make the error for a value that is none of what was expected."""
    return ModelError(f"{name}: got {value!r}, expected {expected}")


def _plain(value: Any) -> Any:
    """Return what an array of one element holds, and anything else as it is."""
    return value.item() if hasattr(value, "item") and getattr(value, "ndim", 1) == 0 else value


def _bounds(unit: str, least: float | None, above: float | None, most: float | None) -> str:
    """Put an admitted range into words."""
    said = "a finite number"
    if least is not None and most is not None:
        said = f"a number from {least:g} to {most:g}"
    elif least is not None:
        said = f"a number of at least {least:g}"
    elif above is not None:
        said = f"a number above {above:g}"
    return f"{said} ({unit})" if unit else said


def number(name: str, value: Any, unit: str = "", *, least: float | None = None,
           above: float | None = None, most: float | None = None) -> float:
    """Return the value as a finite number within the bounds; the unit is for the message."""
    value = _plain(value)
    good = isinstance(value, Real) and not isinstance(value, bool) and math.isfinite(value)
    good = good and (least is None or value >= least) and (most is None or value <= most)
    if not good or (above is not None and not value > above):
        raise refuse(name, value, _bounds(unit, least, above, most))
    return float(value)


def whole(name: str, value: Any, unit: str, least: int, most: int) -> int:
    """Return the value as a whole number within the bounds; 1e6 is one."""
    value = _plain(value)
    real = isinstance(value, Real) and not isinstance(value, bool) and math.isfinite(value)
    if not real or value != math.floor(value) or not least <= value <= most:
        raise refuse(name, value, f"a whole number from {least} to {most} ({unit})")
    return int(value)


def flag(name: str, value: Any) -> bool:
    """Return True or False, which nothing else stands for."""
    if not isinstance(value, bool):
        raise refuse(name, value, "True or False")
    return value


def word(name: str, value: Any, words: Sequence[str]) -> str:
    """Return one of the words, in any letter case."""
    if not isinstance(value, str) or value.lower() not in words:
        raise refuse(name, value, "one of " + ", ".join(words))
    return value.lower()


def numbers(name: str, value: Any, unit: str, count: int, **bounds: float) -> tuple[float, ...]:
    """Return a sequence of so many numbers; one number stands for all of them."""
    value = _plain(value)
    if isinstance(value, Real):
        return (number(name, value, unit, **bounds),) * count
    return point(name, value, unit, count, **bounds)


def point(name: str, value: Any, unit: str, count: int, **bounds: float) -> tuple[float, ...]:
    """Return a sequence of so many numbers."""
    if isinstance(value, str) or not hasattr(value, "__len__") or len(value) != count:
        raise refuse(name, value, f"{count} numbers ({unit})")
    return tuple(number(name, v, unit, **bounds) for v in value)


def by_wavelength(name: str, value: Any, unit: str, **bounds: float) -> tuple[float, ...]:
    """Return the values by wavelength; a number alone is a tuple of one."""
    value = _plain(value)
    if isinstance(value, str) or (hasattr(value, "__len__") and len(value) == 0):
        raise refuse(name, value, f"a number or one for each wavelength ({unit})")
    count = len(value) if hasattr(value, "__len__") else 1
    return numbers(name, value, unit, count, **bounds)


def spread(name: str, values: tuple[Any, ...], count: int) -> tuple[Any, ...]:
    """Repeat a single value for each of so many wavelengths; refuse another number of them."""
    if len(values) == count:
        return values
    if len(values) != 1:
        raise refuse(name, values, f"one value, or one for each of {count} wavelengths")
    return values * count


def direction(value: Any, count: int = 3) -> tuple[float, ...]:
    """Return a vector of any length but 0."""
    vector = point("direction", value, "a vector of any length but 0", count)
    if not any(vector):
        raise refuse("direction", value, "a vector of any length but 0")
    return vector


def wavelength_list(value: Any) -> tuple[int, ...]:
    """Return wavelengths in nm, whole numbers, none of them twice."""
    value = _plain(value)
    listed = tuple(value) if hasattr(value, "__len__") and not isinstance(value, str) else (value,)
    found = tuple(whole("wavelengths", v, "nm", 1, 2147483647) for v in listed)
    if not found or len(set(found)) < len(found):
        raise refuse("wavelengths", value, "different whole numbers (nm)")
    return found


def one_word(name: str, value: Any) -> str:
    """Return a name: one word, short enough for a line."""
    if not isinstance(value, str) or value.split() != [value] or len(value.encode()) > 200:
        raise refuse(name, value, "one word of at most 200 characters")
    return value


def is_whole(value: Any) -> bool:
    """Whether a value is of an integer type."""
    return isinstance(value, Integral) and not isinstance(value, bool)
