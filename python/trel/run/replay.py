"""The exits of a result flown again, for how their light changes with each cell."""

from __future__ import annotations

import os
import subprocess
import tempfile
from pathlib import Path

from .. import program
from ..errors import RunError
from .command import make_command


def replay(
    result: str | os.PathLike[str],
    model: str | os.PathLike[str] | None = None,
    text: str = "",
    changes: str = "",
    detector: int | None = None,
    out: str | os.PathLike[str] = "sensitivity",
) -> Path:
    """Fly the exits of a result file again; return the file of the sensitivities (mm, by cell).

    Parameters
    ----------
    result : a file of results with exits.
    model : the model file, if it is there; else it is written from ``text``.
    changes : the result's attribute ``changed_coefficients``, a line for each.
    detector : the number of a fibre; None: all that leaves.
    out : base name of the new file, without ``.nc``.

    Raises
    ------
    RunError if the program or the model is another one than that of the result.
    """
    base = Path(out)
    with tempfile.TemporaryDirectory(prefix="trel-") as folder:
        source = Path(folder) / "model.trl"
        if model is not None and Path(model).is_file():
            source = Path(model)
        else:
            source.write_text(text)
        values = {"replay": os.fspath(result), "detector": detector, "quiet": True}
        command = make_command(os.fspath(source), base, values)
        command += [part for line in changes.splitlines() for part in ("--set", line)]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        if done.returncode == 1:
            program.raise_if_wrong(program.check(source), source)
    if done.returncode:
        raise RunError("trelrun --replay failed", done.returncode, done.stderr)
    return base.with_name(base.name + ".nc")
