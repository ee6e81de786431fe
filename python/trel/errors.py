"""What goes wrong, as exceptions that tell where it is and what to do."""

from __future__ import annotations

import importlib
from dataclasses import dataclass
from typing import Any


class TrelError(Exception):
    """Base of all errors of this package."""


@dataclass(frozen=True)
class Finding:
    """What ``trelrun --check --json`` finds in a model."""

    severity: str
    """``error`` or ``warning``."""
    line: int | None
    """From 1; None if it is about the model as a whole."""
    text: str
    remedy: str = ""

    def __str__(self) -> str:
        """Line, text and remedy, as ``trelrun`` prints them."""
        place = f"line {self.line}: " if self.line else ""
        return f"{place}{self.text}" + (f"\n  = {self.remedy}" if self.remedy else "")


class ModelError(TrelError, ValueError):
    """A model that is wrong: what ``trelrun`` finds, or a value that was refused at once."""

    def __init__(self, message: str, findings: tuple[Finding, ...] = ()) -> None:
        """With the findings, if the program has made any."""
        super().__init__("\n".join([message, *map(str, findings)]))
        self.findings = findings


class MeshError(TrelError, ValueError):
    """A mesh that cannot be read, or that has not what is asked of it."""


class RunError(TrelError, RuntimeError):
    """A run that failed: its exit status, and what it said on the standard error."""

    def __init__(self, message: str, status: int | None = None, stderr: str = "") -> None:
        """Status as of a process: negative after a signal."""
        super().__init__(message + (f"\n{stderr.strip()}" if stderr.strip() else ""))
        self.status = status
        self.stderr = stderr


class MissingPackage(TrelError, ImportError):
    """A library that is imported when it is used, and is not there."""


def need(module: str, package: str) -> Any:
    """Import a module that not everyone has; its absence names the Debian package."""
    try:
        return importlib.import_module(module)
    except ImportError as error:
        raise MissingPackage(
            f"this needs the Python module {module}: on Debian, apt-get install {package}"
        ) from error
