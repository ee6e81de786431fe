"""Series of runs over the values of parameters."""

from __future__ import annotations

import functools
import gc
import os
import secrets
import tempfile
import warnings
from collections.abc import Generator, Iterator, Mapping, Sequence
from contextlib import closing
from pathlib import Path
from typing import Any, Protocol

import xarray as xr

from ..errors import ModelError, RunError, TrelError
from ..model.description import Description
from ..result import open as open_result
from ..result.opening import nothing_collected
from ..run.command import set_options, whole
from ..run.runnable import run_file
from .export import Export, find_outcome, forget
from .folder import Folder
from .jobs import Job, Outcome, Point, Value, canonical, digest, list_points, seed_of
from .local import Local
from .machines import Distributed
from .models import Source, Stored, read_model, store_model
from .table import check_quantities, make_table


class Runner(Protocol):
    """What runs jobs."""

    def run(self, jobs: list[Job], folder: Folder) -> Generator[Outcome, None, None]:
        """Yield what becomes of each."""


def sweep(
    model: Source,
    parameters: Mapping[str, Sequence[Value]],
    folder: str | os.PathLike[str],
    quantities: Sequence[str] = ("Rd", "absorption"),
    replicates: int = 1,
    root_seed: int | None = None,
    common_seeds: bool = False,
    rel_error: float | None = None,
    runner: Any = None,
    keep: str | None = None,
    *,
    packets: float | None = None,
    of: str = "absorption",
    batches: int | None = None,
    retry: bool = False,
) -> xr.Dataset:
    """Run a model at all combinations of values, and return the table of what came of it.

    Parameters
    ----------
    model : a model, its file, or a function of the point, a dictionary by parameter, that returns
        either. A ModelError of the function is that point's result.
    parameters : values by name. A name with a dot is that of a coefficient as of ``--set``:
        ``muscle.mua`` (1/mm), ``2@650.g``; others are for the function alone.
    folder : where jobs, results and what is done are kept. The same call goes on where it was: what
        is done is not computed again, whatever was added.
    quantities : totals (``Rd``, ``absorption``, ``top``, ``fibre2``, as of ``ds.trel.total``) and
        curves along an axis (``Rd(r)``, ``absorption(z)``).
    replicates : how often each point is run, with seeds of its own.
    root_seed : from which the seeds of all jobs follow; None: that of the folder, else entropy.
    common_seeds : the same seeds at all points, whose differences are then less noisy where paths
        hardly change, and whose errors are not independent.
    rel_error, of : as of ``run_file``.
    runner : None: processes here; the address of a scheduler (``tcp://127.0.0.1:8786``); ``slurm``
        or ``parallel``: a script in the folder, to be started by you; ``Local``, ``Distributed``.
    keep : ``"nc"``: whole results stay in ``results``; None: totals, curves and the ledger.
    packets : of each run, of all sources together; None: those of the model.
    batches : as of ``run_file``.
    retry : run again what was wrong or lost.

    Returns
    -------
    A dataset over the parameters (and ``replicate``, if there are several): each quantity with its
    unit, ``NAME_error``, its standard error, ``status`` (done, wrong, lost, missing), ``message``,
    ``seed``, ``packets`` and ``key``, the name of the file in ``results``. ``Rd(r)`` is ``Rd_r``.

    Raises
    ------
    ModelError for a model that is wrong as a whole; TrelError for a folder in use.
    """
    if keep not in (None, "nc"):
        raise TrelError(f"keep: got {keep!r}, expected 'nc' or None")
    values = _list_values(parameters)
    options = {"packets": None if packets is None else whole(packets), "rel_error": rel_error,
               "of": None if of == "absorption" else of, "batches": batches}
    with Folder(folder).writing() as place:
        before = place.describe()
        if root_seed is None:
            root_seed = int(before.get("root_seed", secrets.randbits(63)))
        series = {"parameters": values, "replicates": replicates, "root_seed": root_seed,
                  "common_seeds": common_seeds, "quantities": check_quantities(quantities),
                  "keep": keep, **program_identity()}
        jobs = list(_Plan(model, series, options, place).jobs())
        place.plan(series, jobs)
        carry_out(place, jobs, make_runner(runner), retry)
        return make_table(place)


def _list_values(parameters: Mapping[str, Sequence[Value]]) -> dict[str, list[Value]]:
    """Return the values as plain numbers and words, each once."""
    told: dict[str, list[Value]] = {}
    for name, given in parameters.items():
        values: list[Any] = [given] if isinstance(given, (str, int, float)) else list(given)
        told[name] = [value if isinstance(value, str) else float(value) for value in values]
        if not values or len({canonical(value) for value in told[name]}) < len(values):
            raise ModelError(f"{name}: got {given!r}, expected different values, one or more")
    return told


@functools.cache
def program_identity() -> dict[str, Any]:
    """Return name, version and arithmetic of the program: those of its results, from a tiny run."""
    with tempfile.TemporaryDirectory(prefix="trel-") as folder:
        path = Description.box(1, 1, 1, 0, 1).pencil().write(Path(folder) / "probe.trl")
        file = Path(folder) / "probe.nc"
        run_file(path, packets=20, seed=1, threads=1, out=file, progress=False)
        with open_result(file) as data:
            return {"program": str(data.attrs["source"]),
                    "arithmetic": int(data.attrs["arithmetic"])}


class _Plan:
    """The jobs of a series."""

    def __init__(self, model: Source, series: Mapping[str, Any], options: Mapping[str, Any],
                 folder: Folder) -> None:
        self.series = series
        self.folder = folder
        self.options = [word for name, value in options.items() if value is not None
                        for word in (f"--{name.replace('_', '-')}", str(value))]
        self.function = model if callable(model) and not isinstance(model, Description) else None
        self.stored: Stored | None = None
        if self.function is None:
            self.stored = self._store(model)

    def jobs(self) -> Iterator[Job]:
        """Yield them, replicates fastest."""
        for point in list_points(self.series["parameters"]):
            stored, problem = self.stored, ""
            if self.function:
                try:
                    stored = self._store(self.function(dict(point)))
                except ModelError as error:
                    stored, problem = None, str(error)
            for replicate in range(self.series["replicates"]):
                yield self._job(point, replicate, stored, problem)

    def _store(self, source: Any) -> Stored:
        return store_model(read_model(source), self.folder.path)

    def _job(self, point: Point, replicate: int, stored: Stored | None, problem: str) -> Job:
        """Make a job; its key tells of model, meshes, settings, seed, packets and arithmetic."""
        counted = {} if self.series["common_seeds"] else point
        seed = seed_of(self.series["root_seed"], counted, replicate)
        settings = {name: float(value) for name, value in point.items() if "." in name}
        told = [stored.model if stored else problem, stored.files if stored else (), seed,
                sorted([name, canonical(value)] for name, value in settings.items()),
                self.options, "exact", self.series["arithmetic"]]
        key = digest(told)[:32]
        options = ("--seed", str(seed), *self.options, *set_options(settings))
        if not stored:
            return Job(key, point, replicate, seed, "", problem=problem)
        return Job(key, point, replicate, seed, stored.model, stored.files, options)


def make_runner(runner: Any) -> Runner:
    """Return the runner that is asked for."""
    if runner is None or runner == "local":
        return Local()
    if runner in ("slurm", "parallel"):
        return Export(runner)
    if isinstance(runner, str) and "://" in runner:
        return Distributed(runner)
    if hasattr(runner, "run"):
        made: Runner = runner
        return made
    raise TrelError(f"runner: got {runner!r}, expected local, slurm, parallel, or the address of a "
                    "scheduler (tcp://127.0.0.1:8786)")


def carry_out(folder: Folder, jobs: list[Job], runner: Runner | None, retry: bool = False,
              strict: bool = False) -> None:
    """Run what the manifest does not have, and enter what becomes of it.

    Without a runner only what has ended already is entered. A job that is not done is a warning, or
    if it is ``strict`` a RunError, which ends the others.
    """
    series, done = folder.describe(), folder.manifest()
    pending: list[Job] = []
    for job in {job.key: job for job in jobs}.values():
        status = done.get(job.key, {}).get("status")
        if status == "done" or (status and not retry):
            continue
        if status:
            forget(job, folder)
        ended = find_outcome(job, folder) if job.model else Outcome(job, "wrong", job.problem)
        if ended:
            _enter(ended, folder, series, strict)
        else:
            pending.append(job)
    if runner and pending:
        # A thread of the runner must not collect garbage that has files open, as this one reads.
        with nothing_collected(), closing(runner.run(pending, folder)) as outcomes:
            for outcome in outcomes:
                if outcome.is_final:
                    _enter(outcome, folder, series, strict)
                gc.collect(1)


def _enter(outcome: Outcome, folder: Folder, series: dict[str, Any], strict: bool) -> None:
    folder.take(outcome, series)
    if outcome.status != "done":
        told = ", ".join(f"{name} {value}" for name, value in outcome.job.point.items())
        told += f": {outcome.message or outcome.status}"
        if strict:
            raise RunError(told)
        warnings.warn(told, stacklevel=4)


def collect(folder: str | os.PathLike[str]) -> xr.Dataset:
    """Return the table of a series from its folder, with what scripts have done since."""
    with Folder(folder).writing() as place:
        carry_out(place, place.jobs(), None)
        return make_table(place)


def count_jobs(folder: str | os.PathLike[str]) -> dict[str, int]:
    """Return how many jobs of a series are done, wrong, lost and missing; writes nothing."""
    place = Folder(folder)
    done = place.manifest()
    counts = dict.fromkeys(("done", "wrong", "lost", "missing"), 0)
    for job in place.jobs():
        counts[done.get(job.key, {}).get("status", "missing")] += 1
    return counts
