"""The program ``trelrun``: where it is, and what it says of a model."""

from __future__ import annotations

import json
import os
import shutil
import subprocess
from pathlib import Path
from typing import Any

from .errors import Finding, ModelError, RunError


def find_program(name: str = "trelrun") -> str:
    """Path of a program: in the folder TREL_BIN, beside the package, or on the PATH.

    Beside the package are the folder ``bin`` of the prefix that it is installed in, and
    ``build/release`` of the source tree that it lies in.
    """
    package = Path(__file__).resolve().parent
    folders = [package.parents[i] / "bin" for i in range(1, min(5, len(package.parents)))]
    folders.append(package.parents[1] / "build" / "release")
    if "TREL_BIN" in os.environ:
        folders = [Path(os.environ["TREL_BIN"])]
    for folder in folders:
        found = shutil.which(str(folder / name))
        if found:
            return found
    found = None if "TREL_BIN" in os.environ else shutil.which(name)
    if not found:
        raise RunError(f"{name} was not found: set TREL_BIN to the folder that it is in")
    return found


def check(path: str | os.PathLike[str], *options: str) -> dict[str, Any]:
    """Return what ``trelrun --check --json`` says of a model file, findings included."""
    command = [find_program(), "--check", "--json", *options, os.fspath(path)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    try:
        told: dict[str, Any] = json.loads(done.stdout)
    except json.JSONDecodeError:
        raise RunError("trelrun --check --json failed", done.returncode, done.stderr) from None
    return told


def findings_of(told: dict[str, Any]) -> tuple[Finding, ...]:
    """List the findings in what ``check`` returned, the errors first."""
    found = [
        Finding(f["severity"], f["line"], f["text"], f.get("remedy") or "")
        for f in told["findings"]
    ]
    return tuple(sorted(found, key=lambda finding: finding.severity != "error"))


def raise_if_wrong(told: dict[str, Any], path: str | os.PathLike[str]) -> None:
    """Raise a ModelError if ``check`` has found errors."""
    errors = tuple(f for f in findings_of(told) if f.severity == "error")
    if errors:
        raise ModelError(f"{os.fspath(path)}: the model is wrong", errors)
