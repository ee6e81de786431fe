"""Where a report comes from and goes to."""

from __future__ import annotations

import os
from pathlib import Path

from ..result import open as open_result
from .runs import describe_run


def report(path: str | os.PathLike[str], out: str | os.PathLike[str] | None = None) -> Path:
    """Write a report of a run as one page of HTML, and return its path.

    The page has no script, needs no other file and no network, and stays below 5 MB: warnings, the
    model's cut, coefficients, ledger, slices, surfaces, profiles with their errors, all that is
    known of the run, and what was recorded.

    Parameters
    ----------
    path : ``BASE.nc`` of ``trelrun``.
    out : file of the report; None: ``BASE.html`` beside the result.

    Raises
    ------
    FileNotFoundError; TrelError for a file that is no result; MissingPackage without
    python3-jinja2.
    """
    given = Path(path)
    file = given if given.suffix == ".nc" else given.with_name(given.name + ".nc")
    with open_result(file) as ds:
        page = describe_run(ds, file.absolute())
    return page.write(Path(out) if out else file.with_suffix(".html"))
