"""One run over machines: packet ranges of one seed as jobs, put together to the result."""

from __future__ import annotations

import math
import os
import re
import secrets
import shutil
import subprocess
from collections.abc import Mapping
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import numpy as np

from .. import program
from ..errors import ModelError, RunError
from ..model.description import Description
from ..result import open as open_result
from ..run.command import Settings, find_base, set_options, whole
from .folder import Folder
from .jobs import Job, digest
from .models import Stored, store_model
from .series import Runner, carry_out, make_runner, program_identity

MOST_PARTS = 60
"""Parts that a round is dealt in at most: more cost more files, fewer more when a part is lost."""
BATCHES = 20
"""Of a run, without the option."""


@dataclass(frozen=True)
class _Total:
    """The packets of a run, in batches of one size."""

    size: int
    """Packets of a batch, of all sources together."""
    batches: int
    told: tuple[str, ...]
    """Options that say so."""

    @classmethod
    def of(cls, size: int, batches: int) -> _Total:
        """Make it of whole batches."""
        told = ("--packets", str(size * batches), "--batches", str(batches))
        return cls(size, batches, told)


def run_over(
    model: Description,
    runner: Any,
    packets: float | None = None,
    seed: int | None = None,
    rel_error: float | None = None,
    of: str = "absorption",
    out: str | os.PathLike[str] | None = None,
    *,
    exits: int | str | None = None,
    batches: int | None = None,
    keep_batches: bool = False,
    elements: bool = False,
    settings: Settings = None,
) -> Any:
    """Run one model in parts by a runner, and return its results, opened.

    The parameters are those of ``Model.run``; ``runner`` is as of ``sweep``. A part has at least
    two batches, so that the 20 of a run make 10 parts; more ``batches`` make up to 60. The result
    is that of the run in one piece, but for the order of its sums. The parts are in the folder
    NAME.parts beside it until it is whole; the same call goes on with them.

    With ``rel_error`` rounds follow each other until it is reached, or all ``packets`` are flown.
    """
    base = find_base(out, model.name).absolute()
    options = {"exits": exits if exits is None or isinstance(exits, str) else whole(exits),
               "keep_batches": keep_batches, "elements": elements}
    words = [word for name, value in options.items() if value not in (None, False)
             for word in (f"--{name.replace('_', '-')}", *([] if value is True else [str(value)]))]
    place = Folder(base.with_name(base.name + ".parts"))
    with place.writing():
        if seed is None:
            seed = int(place.describe().get("root_seed", secrets.randbits(64)))
        stored = store_model(model, place.path)
        path, changes = place.path / stored.model, set_options(settings)
        program.raise_if_wrong(program.check(path, "--no-pilot", *changes), path)
        run = _Run(place, stored, [*words, *changes], seed, make_runner(runner))
        if rel_error is None:
            run.fly(run.total(packets, batches))
            run.merge(base)
        else:
            _go_on(run, base, _Goal(rel_error, of, packets, batches))
    shutil.rmtree(place.path)
    return open_result(base.with_name(base.name + ".nc"))


@dataclass(frozen=True)
class _Goal:
    """Until when a run goes on."""

    rel_error: float
    of: str
    packets: float | None
    batches: int | None

    def is_reached(self, error: float) -> bool:
        """Tell whether a relative error will do."""
        return error <= self.rel_error


class _Run:
    """The parts of one run in a folder."""

    def __init__(self, place: Folder, stored: Stored, options: list[str], seed: int,
                 runner: Runner) -> None:
        self.place = place
        self.stored = stored
        self.options = options
        self.seed = seed
        self.runner = runner
        self.parts: list[Job] = []
        self.flown = 0

    def total(self, packets: float | None, batches: int | None) -> _Total:
        """Return the packets of the run as the program rounds them.

        It refuses a range that is not whole batches, and says how large these are.
        """
        told = [] if packets is None else ["--packets", whole(packets)]
        told += ["--batches", str(batches or BATCHES)]
        path = self.place.path / self.stored.model
        command = [program.find_program(), str(path), *told, "--seed", "1", "--packet-range", "0:1",
                   "--quiet", "-o", "-"]
        done = subprocess.run(command, capture_output=True, text=True, check=False)
        found = re.search(r"which have (\d+) packets each", done.stderr)
        if not found and done.returncode:
            raise RunError("trelrun failed", done.returncode, done.stderr)
        return _Total(int(found[1]) if found else 1, batches or BATCHES, tuple(told))

    def fly(self, total: _Total) -> None:
        """Fly the batches of a total that have not been flown."""
        new = total.batches - self.flown
        count = max(1, min(new // 2, MOST_PARTS))
        borders = [self.flown + new * part // count for part in range(count + 1)]
        self.parts += [self._part(total, low, high) for low, high in zip(borders, borders[1:])]
        self.flown = total.batches
        series = {"parameters": {}, "replicates": 1, "root_seed": self.seed, "common_seeds": True,
                  "quantities": [], "keep": "nc", **program_identity()}
        self.place.plan(series, self.parts)
        carry_out(self.place, self.parts, self.runner, retry=True, strict=True)
        done = self.place.manifest()
        if any(part.key not in done for part in self.parts):
            raise RunError(f"{self.place.path}: parts are missing; the same call goes on")

    def _part(self, total: _Total, low: int, high: int) -> Job:
        """Make the job of the batches from ``low`` to ahead of ``high``."""
        span = f"{low * total.size}:{(high - low) * total.size}"
        options = ("--seed", str(self.seed), *self.options, *total.told, "--packet-range", span)
        told = [self.stored.model, self.stored.files, options, "exact",
                program_identity()["arithmetic"]]
        return Job(digest(told)[:32], {"packets": span}, 0, self.seed, self.stored.model,
                   self.stored.files, options)

    def merge(self, base: Path) -> None:
        """Put the parts together; meshes are looked for beside them."""
        results = self.place.path / "results"
        for file in self.stored.files:
            link = results / Path(file).name
            if not link.exists():
                link.symlink_to(Path("..") / file)
        files = [str(self.place.result(part.key)) for part in self.parts]
        done = subprocess.run([program.find_program(), "--merge", str(base), *files],
                              capture_output=True, text=True, check=False)
        if done.returncode:
            raise RunError("trelrun --merge failed", done.returncode, done.stderr)


def _go_on(run: _Run, base: Path, goal: _Goal) -> None:
    """Fly rounds until the goal is reached, or as many packets as there may be at most.

    The first round is the model's, or all packets if these are fewer. The next has as many batches
    as the error (it falls with the root of the packets) lets expect, but at most four times what
    has been flown.
    """
    total = run.total(None, goal.batches)
    if goal.packets is not None and goal.packets < total.size * total.batches:
        total = run.total(goal.packets, goal.batches)
    most = total.batches * 1000 if goal.packets is None else max(
        total.batches, math.ceil(float(goal.packets) / total.size))
    total = _settle(run, total)
    while True:
        run.fly(total)
        run.merge(base)
        error = relative_error(base.with_name(base.name + ".nc"), goal.of)
        if goal.is_reached(error) or total.batches >= most:
            return
        factor = min(4.0, 1.05 * (error / goal.rel_error) ** 2) if np.isfinite(error) else 4.0
        more = max(total.batches + 2, math.ceil(total.batches * factor))
        total = _Total.of(total.size, min(more, max(most, total.batches + 2)))


def _settle(run: _Run, total: _Total) -> _Total:
    """Return a total whose batches stay as large as they are when there are more of them.

    The program shares packets out to the sources and rounds each share up to whole batches, so
    that the shares of the rounded total may be rounded once more.
    """
    for _ in range(10):
        told = run.total(total.size * total.batches, total.batches)
        if told.size == total.size:
            return told
        total = told
    raise ModelError("the packets of the sources cannot be cut into equal batches: give packets")


def relative_error(path: Path, of: str) -> float:
    """Return the largest relative standard error of a total of a result, over its wavelengths.

    ``of`` is a line of the ledger or a camera, as of ``run_file``; infinite if it has nothing.
    """
    lines: Mapping[str, str] = {"absorption": "absorbed", "transmittance": "escaped"}
    with open_result(path) as data:
        if of.startswith("camera"):
            told = data.trel.total(of)
        else:
            fibre = re.fullmatch(r"fibre(\d+)", of)
            line = f"by detector {fibre[1]}" if fibre else lines.get(of, f"by the face {of}")
            ledger = data.trel.ledger()
            if line not in ledger["ledger_line"]:
                raise ModelError(f"of: got {of!r}, expected absorption, transmittance, a face, "
                                 "fibre2 or camera1")
            told = ledger.sel(ledger_line=line)
        value, error = told["value"].values.ravel(), told["error"].values.ravel()
    lit = value > 0
    if not lit.any() or not np.isfinite(error[lit]).all():
        return math.inf
    return float(np.max(error[lit] / value[lit]))
