"""Where a report comes from and goes to."""

from __future__ import annotations

import os
from pathlib import Path

from ..errors import need
from ..result import open as open_result
from .runs import describe_run
from .series import describe_series


def report(path: str | os.PathLike[str], out: str | os.PathLike[str] | None = None) -> Path:
    """Write a report of a run or a series as one page of HTML, and return its path.

    The page has no script, needs no other file and no network, and stays below 5 MB: warnings, the
    model's cut, coefficients, ledger, slices, surfaces, profiles with their errors, all that is
    known of the run, and what was recorded. Of a series it has the table and its curves.

    Parameters
    ----------
    path : ``BASE.nc`` of ``trelrun``, or the folder of a series.
    out : file of the report; None: ``BASE.html`` beside the result, or ``report.html`` in the
        folder.

    Raises
    ------
    FileNotFoundError; TrelError for what is no result and no series; MissingPackage without
    python3-jinja2.
    """
    need("jinja2", "python3-jinja2")  # ahead of the pictures, which take seconds
    given = Path(path)
    if given.is_dir():
        made = describe_series(given.absolute())
        return made.write(Path(out) if out else given / "report.html")
    file = given if given.suffix == ".nc" else given.with_name(given.name + ".nc")
    with open_result(file) as ds:
        page = describe_run(ds, file.absolute())
    return page.write(Path(out) if out else file.with_suffix(".html"))
