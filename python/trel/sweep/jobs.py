"""Jobs of a series: the points, their seeds and keys, and how a job ended."""

from __future__ import annotations

import hashlib
import itertools
import json
import shlex
from collections.abc import Iterator, Mapping, Sequence
from dataclasses import dataclass, field
from decimal import Decimal
from typing import Any

from ..errors import ModelError

Value = float | str
Point = dict[str, Value]
"""Values by parameter: a coefficient as of ``--set``, or what a function of the user's takes."""


def canonical(value: Value) -> str:
    """Return a value as text that does not depend on how it was written: 1, 1.0 and 1e0 are "1".

    A number is the shortest decimal that is read as the same number, without an exponent.
    """
    if isinstance(value, str):
        return json.dumps(value)
    number = Decimal(repr(float(value)))
    if not number.is_finite():
        raise ModelError(f"got {value!r}, expected a finite number or a word")
    return format(number.normalize(), "f") if number else "0"


def digest(told: Any) -> str:
    """Return the SHA-256 of what is told, as JSON, in hexadecimal digits."""
    text = json.dumps(told, sort_keys=True, separators=(",", ":"))
    return hashlib.sha256(text.encode()).hexdigest()


def seed_of(root_seed: int, point: Mapping[str, Value], replicate: int) -> int:
    """Return the seed of a job: the first 64 bits of SHA-256 of (root seed, point, replicate).

    The point counts by its values in canonical decimal, whatever the order of the parameters, so
    that another value of a parameter changes no seed but its own.
    """
    told = [root_seed, sorted([name, canonical(point[name])] for name in point), replicate]
    return int(digest(told)[:16], 16)


def list_points(parameters: Mapping[str, Sequence[Value]]) -> Iterator[Point]:
    """Yield each combination of the values, the last parameter fastest."""
    for values in itertools.product(*parameters.values()):
        yield dict(zip(parameters, values))


@dataclass(frozen=True)
class Job:
    """One run of ``trelrun``."""

    key: str
    """Of all that its numbers depend on; the name of its results."""
    point: Point
    replicate: int
    seed: int
    model: str
    """The model file, from the folder of the series; empty if there could be none."""
    files: tuple[str, ...] = ()
    """Meshes that the model names, from the folder of the series."""
    options: tuple[str, ...] = ()
    """Of the command line, all but where the results go and the threads."""
    problem: str = ""
    """Why there is no model at this point."""

    @property
    def base(self) -> str:
        """Base name of the results, from the folder of the series."""
        return f"results/{self.key}"

    @property
    def arguments(self) -> list[str]:
        """The arguments of ``trelrun``, as of its folder."""
        return [self.model, *self.options, "-o", self.base]

    def tell(self) -> dict[str, Any]:
        """Return the line of ``jobs.jsonl``, with the command of a shell in the folder."""
        command = shlex.join(["trelrun", *self.arguments]) if self.model else ""
        return {"key": self.key, "command": command, "point": self.point,
                "replicate": self.replicate, "seed": self.seed, "model": self.model,
                "files": self.files, "options": self.options, "problem": self.problem}

    @classmethod
    def read(cls, line: Mapping[str, Any]) -> Job:
        """Make it of the line of ``jobs.jsonl``."""
        return cls(line["key"], line["point"], line["replicate"], line["seed"], line["model"],
                   tuple(line["files"]), tuple(line["options"]), line["problem"])


ATTEMPTS = 3
"""How often a job is begun whose machine or process is lost."""


@dataclass(frozen=True)
class Outcome:
    """How a job ended; its results, if it is ``done``, are in their place."""

    job: Job
    status: str
    """``done``; ``wrong``: the model, or the run failed; ``lost``: as often as it was tried;
    ``stopped``: to go on later, which is no result."""
    message: str = ""
    details: dict[str, Any] = field(default_factory=dict)
    """Where it ran and the like, for the manifest."""

    @property
    def is_final(self) -> bool:
        """Whether the job is not to be run again."""
        return self.status != "stopped"


def judge(job: Job, status: int, stderr: str, **details: Any) -> Outcome:
    """Tell how the program ended, by its exit status (docs/trelrun.md, Exit status)."""
    words = {0: "done", 1: "wrong", 2: "wrong", 130: "stopped", 143: "stopped"}
    message = "" if status == 0 else stderr.strip()[-4000:] or f"trelrun ended by {status}"
    return Outcome(job, words.get(status, "lost"), message, details)
