"""Models that run: what the user calls."""

from __future__ import annotations

import os
import tempfile
import warnings
from collections.abc import Callable, Mapping
from pathlib import Path
from typing import Any

from .. import program
from ..errors import RunError
from .command import Settings, find_base, make_command, set_options, whole
from .process import Child, Ended
from .progress import Choice, make_display

open_result: Callable[..., Any] | None = None
"""Opens the file of results that a run has written; without it a run returns its path."""

run_over: Callable[..., Any] | None = None
"""Runs a model in parts by a runner: set by what stands right of this part."""


class RunInterrupted(KeyboardInterrupt):
    """Ctrl-C while packets flew; the exception that a run raises then."""

    def __init__(self, result: Any) -> None:
        """With what the finished batches have; None if no batch was finished."""
        kept = "no batch was finished" if result is None else "result has the finished batches"
        super().__init__(f"the run was interrupted: {kept}")
        self.result = result


def run_file(
    path: str | os.PathLike[str],
    packets: float | None = None,
    seed: int | None = None,
    rel_error: float | None = None,
    of: str = "absorption",
    max_seconds: float | None = None,
    threads: int | None = None,
    out: str | os.PathLike[str] | None = None,
    progress: Choice = None,
    *,
    exits: int | str | None = None,
    batches: int | None = None,
    keep_batches: bool = False,
    elements: bool = False,
    rules: str = "exact",
    settings: Settings = None,
    name: str | None = None,
) -> Any:
    """Run a model file and return its results, opened as by ``trel.open``.

    Parameters
    ----------
    path : the model, a ``.trl`` file.
    packets : of all sources together; None: those of the file. The energy stays.
    seed : 0 to 2**64 - 1; None: fresh entropy. It is stored in the attribute ``seed``.
    rel_error : go on until the relative standard error of the total ``of`` is below this fraction.
    of : ``absorption``, ``transmittance``, a face (``top``, ...), ``fibre2``, ``camera1``.
    max_seconds : stop the packets then; the result is that of the finished batches.
    threads : 1 to 1024; None: as many as the process may use.
    out : file of the results, or the folder for it; None: NAME.nc in the current folder.
    progress : None: a bar on a terminal or in a notebook; True: everywhere; False: none; or a
        function, called once a second with a dictionary of share, packets, packets_asked,
        interactions, packets_per_second, seconds, seconds_left, relative_error and done.
    exits : record the exits of the first packets, as many or ``"all"``.
    batches : runs on a smaller scale, from whose scatter the errors come; None: 20.
    keep_batches : the result has the grids of every batch, for errors of sums of cells.
    elements : of a tetrahedral medium the result has the absorption by tetrahedron.
    rules : ``exact``, or ``classic`` for the text files of ``trel``, without errors.
    settings : changed coefficients (1/mm for mua and mus) by ``TISSUE.NAME`` or
        ``TISSUE@WAVELENGTH.NAME``, NAME one of mua, mus, g, n: ``{"bone.mua": 0.03}``.
    name : of the results, without ``out``; None: that of the file.

    A ModelError tells what is wrong in the model, a RunError that the run failed; RunInterrupted,
    on Ctrl-C, has the partial result. What the program warns of is a warning.
    """
    values = {
        "packets": None if packets is None else whole(packets),
        "seed": seed,
        "rel_error": rel_error,
        "of": None if of == "absorption" else of,
        "max_seconds": max_seconds,
        "threads": threads,
        "exits": exits if exits is None or isinstance(exits, str) else whole(exits),
        "batches": batches,
        "keep_batches": keep_batches,
        "elements": elements,
        "rules": rules,
        "progress": None if rules == "classic" else "json",
    }
    base = find_base(out, name or Path(path).stem)
    return _run(path, base, values, settings, progress)


def _run(
    path: str | os.PathLike[str],
    base: Path,
    values: Mapping[str, object],
    settings: Settings,
    progress: Choice,
) -> Any:
    """Run the program with these options, and open or judge what comes of it."""
    changes = set_options(settings)
    command = make_command(os.fspath(path), base, values) + changes
    made = base.with_name(base.name + ".nc")
    before = _identity(made)
    ended = _follow(command, progress)
    is_new = _identity(made) != before
    if ended.interrupted:
        raise RunInterrupted(_open(made) if is_new else None)
    rules = str(values["rules"])
    _judge(ended, path, [*changes, "--rules", rules])
    if rules == "classic":
        return _open(base, model=path, settings=settings)
    return _open(made)


def _follow(command: list[str], progress: Choice) -> Ended:
    display = make_display(progress)
    try:
        return Child(command, display.show).follow()
    finally:
        display.close()


def _identity(path: Path) -> tuple[int, int] | None:
    """Return what differs of a file that was written anew; None if it is not there."""
    try:
        status = path.stat()
    except FileNotFoundError:
        return None
    return status.st_ino, status.st_mtime_ns


def _open(path: Path, **details: Any) -> Any:
    return open_result(path, **details) if open_result else path


def _judge(ended: Ended, path: str | os.PathLike[str], options: list[str]) -> None:
    """Raise what went wrong; what the program has said of a run that succeeded is a warning."""
    if ended.status == 0:
        for line in ended.stderr.splitlines():
            if ": warning: " in line:
                warnings.warn(line.split(": warning: ", 1)[1], stacklevel=4)
        return
    if ended.status == 1:
        program.raise_if_wrong(program.check(path, *options), path)
    raise RunError(f"trelrun failed with status {ended.status}", ended.status, ended.stderr)


def _run_over(model: Runnable, runner: Any, keywords: dict[str, Any]) -> Any:
    """Run a model by a runner; what only one process can do is refused."""
    if keywords.pop("rules") != "exact" or run_over is None:
        raise ValueError("a runner runs by the exact rules alone")
    keywords.pop("progress")
    for name in ("max_seconds", "threads"):
        if keywords.pop(name) is not None:
            raise ValueError(f"{name} says nothing to a runner")
    return run_over(model, runner, **keywords)


class Runnable:
    """What a model does with the program; a part of ``trel.Model``."""

    name: str

    def write(self, path: str | os.PathLike[str]) -> Path:
        """Write the model to a file."""
        raise NotImplementedError

    def run(
        self,
        packets: float | None = None,
        seed: int | None = None,
        rel_error: float | None = None,
        of: str = "absorption",
        max_seconds: float | None = None,
        threads: int | None = None,
        out: str | os.PathLike[str] | None = None,
        progress: Choice = None,
        *,
        exits: int | str | None = None,
        batches: int | None = None,
        keep_batches: bool = False,
        elements: bool = False,
        rules: str = "exact",
        settings: Settings = None,
        runner: Any = None,
    ) -> Any:
        """Run the model and open its results.

        The parameters, in their units, and the errors are those of ``run_file``. ``out`` is
        MODEL.nc in the current folder unless it is given, MODEL the name of the file that the
        model was read from, or ``model``.

        ``runner``, as of ``trel.sweep``, deals the packets of the run to machines, whole batches
        and at least two a job, and merges them: more ``batches`` make smaller jobs. The same call
        goes on with the folder NAME.parts of one that was stopped. It takes no ``max_seconds`` or
        ``threads``, and has no bar.
        """
        keywords = {key: value for key, value in locals().items() if key not in ("self", "runner")}
        if runner is not None:
            return _run_over(self, runner, keywords)
        with tempfile.TemporaryDirectory(prefix="trel-") as folder:
            path = Path(folder) / f"{self.name}.trl"
            self.write(path)
            return run_file(path, **keywords)
