"""The options of ``trelrun`` from the arguments of a run, and where its results go."""

from __future__ import annotations

import os
from collections.abc import Mapping
from pathlib import Path

from ..program import find_program

Settings = Mapping[str, float] | None
"""Coefficients other than the file's, as of ``--set``: ``{"bone.mua": 0.03, "2@650.g": 0.8}``."""


def set_options(settings: Settings) -> list[str]:
    """Return the options for changed coefficients, which a check takes, too."""
    changes = [f"{name}={float(value)!r}" for name, value in (settings or {}).items()]
    return [part for change in changes for part in ("--set", change)]


def find_base(out: str | os.PathLike[str] | None, model: str) -> Path:
    """Return the base name of the results: ``out`` without ``.nc``, or the name in a folder."""
    base = Path(model if out is None else out)
    if base.is_dir() or (out is not None and os.fspath(out).endswith(os.sep)):
        base = base / model
    return base.with_suffix("") if base.suffix == ".nc" else base


def whole(value: float) -> str:
    """Return a count as the program reads it; 1e6 is one, 0.5 is not."""
    if int(value) != value:
        raise ValueError(f"a whole number is expected, not {value}")
    return str(int(value))


def make_command(model: str, base: Path, values: Mapping[str, object]) -> list[str]:
    """Return the command line; ``values`` are options by name, but for None and False.

    An underscore in a name is a dash of the option's, True stands for an option without a value.
    """
    command = [find_program(), model, "-o", os.fspath(base)]
    for name, value in values.items():
        if value is None or value is False:
            continue
        command.append("--" + name.replace("_", "-"))
        if value is not True:
            command.append(str(value))
    return command
