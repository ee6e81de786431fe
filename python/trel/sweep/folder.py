"""The folder of a series: its jobs, its results, and what has been done."""

from __future__ import annotations

import fcntl
import json
import os
import socket
import time
from collections.abc import Iterable, Iterator
from contextlib import contextmanager
from pathlib import Path
from typing import Any

from ..errors import TrelError
from .jobs import Job, Outcome
from .slim import check_result, slim

PATIENCE = 10.0
"""How long (s) to wait for the runs of a process that has ended without them."""


class Folder:
    """``sweep.json``, ``jobs.jsonl``, ``models``, ``results``, ``manifest.jsonl`` and ``lock``."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        """Of a path; nothing is made."""
        self.path = Path(path).absolute()
        self.lock: int | None = None

    @contextmanager
    def writing(self) -> Iterator[Folder]:
        """Make the folder, and hold its lock, which refuses a second writer.

        Runs inherit the lock: where a writer was killed, it is free when they have ended, too.
        """
        (self.path / "results").mkdir(parents=True, exist_ok=True)
        self.lock = os.open(self.path / "lock", os.O_RDWR | os.O_CREAT, 0o666)
        try:
            self._take_lock()
            yield self
        finally:
            os.close(self.lock)
            self.lock = None

    def _take_lock(self) -> None:
        assert self.lock is not None
        end = time.monotonic() + PATIENCE
        while True:
            try:
                fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
                break
            except BlockingIOError:
                told = os.pread(self.lock, 200, 0).decode(errors="replace").strip()
                if _is_alive(told) or time.monotonic() > end:
                    raise TrelError(f"{self.path}: another process writes to this series: "
                                    f"{told}") from None
                time.sleep(0.05)
        os.ftruncate(self.lock, 0)
        os.pwrite(self.lock, f"{socket.gethostname()} {os.getpid()}\n".encode(), 0)

    def describe(self) -> dict[str, Any]:
        """Return what the series is, from ``sweep.json``; empty if it is not there."""
        file = self.path / "sweep.json"
        told: dict[str, Any] = json.loads(file.read_text()) if file.exists() else {}
        return told

    def plan(self, series: dict[str, Any], jobs: Iterable[Job]) -> None:
        """Write what the series is and its jobs."""
        lines = "".join(json.dumps(job.tell()) + "\n" for job in jobs)
        self.write("jobs.jsonl", lines)
        self.write("sweep.json", json.dumps(series, indent=1) + "\n")

    def write(self, name: str, text: str) -> None:
        """Write a file of the folder, whole or not at all."""
        temporary = self.path / f".{name}"
        with open(temporary, "w", encoding="utf-8") as file:
            file.write(text)
            file.flush()
            os.fsync(file.fileno())
        os.replace(temporary, self.path / name)

    def jobs(self) -> list[Job]:
        """Return the jobs of the last plan."""
        file = self.path / "jobs.jsonl"
        if not file.exists():
            raise TrelError(f"{self.path} is not the folder of a series: it has no jobs.jsonl")
        return [Job.read(json.loads(line)) for line in file.read_text().splitlines()]

    def manifest(self) -> dict[str, dict[str, Any]]:
        """Return what has been done, by key; a line that a crash has cut does not count."""
        file = self.path / "manifest.jsonl"
        done: dict[str, dict[str, Any]] = {}
        for line in file.read_text(errors="replace").splitlines() if file.exists() else []:
            try:
                told = json.loads(line)
                done[told["key"]] = told
            except (ValueError, TypeError, KeyError):
                continue
        return done

    def result(self, key: str) -> Path:
        """Return the file of the results of a job."""
        return self.path / "results" / f"{key}.nc"

    def has_begun(self, job: Job) -> bool:
        """Tell whether there is something that a run can go on from."""
        ends = (".nc", ".checkpoint.nc")
        return any((self.path / (job.base + end)).exists() for end in ends)

    def take(self, outcome: Outcome, series: dict[str, Any]) -> None:
        """Enter what came of a job into the manifest, its results in their place before.

        Of the results stays, unless the series keeps them whole, what its table is made of.
        """
        job = outcome.job
        told = {"key": job.key, "status": outcome.status, "point": job.point,
                "replicate": job.replicate, "seed": job.seed, "message": outcome.message,
                "time": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime()), **outcome.details}
        if outcome.status == "done":
            file = self.result(job.key)
            told |= check_result(file, job, series["arithmetic"])
            if series["keep"] != "nc":
                slim(file)
        self._append(json.dumps(told))

    def _append(self, line: str) -> None:
        """Add a line and bring it to the disk; behind one that a crash has cut in a new line."""
        with open(self.path / "manifest.jsonl", "ab+") as file:
            size = file.seek(0, os.SEEK_END)
            if size:
                file.seek(size - 1)
                line = line if file.read(1) == b"\n" else "\n" + line
            file.write(line.encode() + b"\n")
            file.flush()
            os.fsync(file.fileno())


def _is_alive(told: str) -> bool:
    """Tell whether the process that a lock tells of, host and number, may still be there."""
    host, _, number = told.partition(" ")
    if host != socket.gethostname() or not number.isdigit():
        return True
    try:
        os.kill(int(number), 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        return True
    return True
