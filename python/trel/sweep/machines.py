"""Jobs on the workers of a scheduler of dask.distributed."""

from __future__ import annotations

import contextlib
import os
import queue
import time
import warnings
from collections import deque
from collections.abc import Generator, Iterator
from dataclasses import dataclass, field
from typing import Any

from ..errors import RunError, need
from . import remote
from .folder import Folder
from .jobs import ATTEMPTS, Job, Outcome, judge
from .security import Tls, check_address, need_distributed
from .serving import compare_versions

GLANCE = 0.25
"""How often (s) workers are looked at."""


class Distributed:
    """Deals jobs to workers, one at a time to each; workers may come and go."""

    def __init__(self, address: str, tls: Tls | None = None, insecure: bool = False,
                 patience: float = 30.0) -> None:
        """Take the address of a scheduler, and how long (s) to wait for a worker that can work."""
        check_address(address, tls, insecure)
        self.address = address
        self.tls = tls
        self.patience = patience

    def run(self, jobs: list[Job], folder: Folder) -> Generator[Outcome, None, None]:
        """Yield what becomes of the jobs; results are in the folder then, and on no worker."""
        pickle = need("cloudpickle", "python3-cloudpickle")
        pickle.register_pickle_by_value(remote)
        try:
            with self._connect() as client:
                compare_versions(client.get_versions(), self.address)
                yield from _Dealer(client, jobs, folder, self).deal()
        finally:
            pickle.unregister_pickle_by_value(remote)

    def _connect(self) -> Any:
        security = self.tls.security() if self.tls else None
        try:
            return need_distributed().Client(self.address, security=security, timeout=10,
                                             set_as_default=False)
        except OSError as error:
            raise RunError(f"{self.address}: no scheduler answers; start one: trel-tools scheduler "
                           f"{self.address}") from error


@dataclass
class _Flight:
    """A job on a worker."""

    job: Job
    address: str
    future: Any


@dataclass
class _Worker:
    """What is known of a worker."""

    sent: set[str] = field(default_factory=set)
    """Files that it has."""
    unfit: str = ""
    """Why it can take no job."""


class _Dealer:
    def __init__(self, client: Any, jobs: list[Job], folder: Folder, asked: Distributed) -> None:
        self.client = client
        self.folder = folder
        self.asked = asked
        self.program = folder.describe()["program"]
        self.pending = deque(jobs)
        self.attempts = dict.fromkeys((job.key for job in jobs), 0)
        self.flying: dict[str, _Flight] = {}
        self.workers: dict[str, _Worker] = {}
        self.ended: queue.Queue[str] = queue.Queue()
        self.idle_since = time.monotonic()

    def deal(self) -> Iterator[Outcome]:
        """Yield the ends of all jobs; what is still out when the caller leaves is given up."""
        try:
            while self.pending or self.flying:
                there = self._look()
                yield from self._give_up_lost(there)
                self._send(there)
                yield from self._listen()
        except OSError as error:
            raise RunError(f"{self.asked.address}: the scheduler is gone ({error}); what is done "
                           "is kept, and the same call goes on") from error
        finally:
            with contextlib.suppress(OSError):
                self.client.cancel([flight.future for flight in self.flying.values()], force=True)

    def _look(self) -> dict[str, Any]:
        """Return the workers that are there; a RunError says why none can take a job."""
        if self.client.status not in ("running", "connecting"):
            raise ConnectionError(f"the connection is {self.client.status}")
        there: dict[str, Any] = self.client.scheduler_info()["workers"]
        for address in set(self.workers) - set(there):
            del self.workers[address]
        for address, told in there.items():
            known = self.workers.setdefault(address, _Worker())
            if told["resources"].get("node", 0) < 1:
                known.unfit = f"{address}: it has no resource node=1"
        if self.flying or any(not worker.unfit for worker in self.workers.values()):
            self.idle_since = time.monotonic()
        elif time.monotonic() - self.idle_since > self.asked.patience:
            reasons = [worker.unfit for worker in self.workers.values()] or [
                f"it has no workers; start one: trel-tools worker {self.asked.address}"]
            raise RunError(f"{self.asked.address}: for {self.asked.patience:g} s no worker could "
                           f"take a job: {'; '.join(reasons)}")
        return there

    def _give_up_lost(self, there: dict[str, Any]) -> Iterator[Outcome]:
        for key, flight in list(self.flying.items()):
            if flight.address not in there and not flight.future.done():
                yield from self._lose(key, f"the worker {flight.address} was lost")

    def _lose(self, key: str, message: str, counts: bool = True) -> Iterator[Outcome]:
        """Give a job to another worker later, or, if that was tried often enough, up."""
        flight = self.flying.pop(key)
        flight.future.cancel(force=True)
        job = flight.job
        self.attempts[job.key] += counts
        if self.attempts[job.key] < ATTEMPTS:
            self.pending.append(job)
        else:
            told = {"attempts": self.attempts[job.key]}
            yield Outcome(job, "lost", message, told)

    def _send(self, there: dict[str, Any]) -> None:
        """Give a job to each worker that has none, with the files that it does not have yet."""
        busy = {flight.address for flight in self.flying.values()}
        for address in there:
            worker = self.workers[address]
            if not self.pending or address in busy or worker.unfit:
                continue
            job = self.pending.popleft()
            files = (job.model, *job.files)
            own = {name: (self.folder.path / name).read_bytes()
                   for name in files if name not in worker.sent}
            task = {"arguments": job.arguments, "base": job.base, "files": files,
                    "program": self.program}
            key = f"trel-{job.key}-{time.monotonic_ns()}"
            with warnings.catch_warnings():
                warnings.simplefilter("ignore")  # a mesh is a large object, and travels once
                future = self.client.submit(remote.run_job, task, own, key=key, pure=False,
                                            workers=[address], resources={"node": 1}, retries=0)
            worker.sent.update(files)
            self.flying[key] = _Flight(job, address, future)
            future.add_done_callback(lambda done: self.ended.put(done.key))

    def _listen(self) -> Iterator[Outcome]:
        """Take what has ended since, or wait a little for something to end."""
        wait = True
        while True:
            try:
                key = self.ended.get(wait, GLANCE)
            except queue.Empty:
                return
            wait = False
            if key in self.flying:
                yield from self._take(key)

    def _take(self, key: str) -> Iterator[Outcome]:
        """Fetch what came of a job, and remove it from the worker."""
        flight = self.flying[key]
        try:
            told = self._fetch(flight)
        except Exception as error:  # whatever a lost worker, or one without room, raises
            reason = f"the worker {flight.address} was lost"
            if type(error).__name__ != "KilledWorker":
                reason = f"{flight.address}: {type(error).__name__}: {error}"[:4000]
            yield from self._lose(key, reason)
            return
        flight.future.release()
        worker = self.workers.get(flight.address, _Worker())
        if told["kind"] == "ended" and told["status"] not in (130, 143, -2, -15):
            del self.flying[key]
            yield from self._end(flight, told)
            return
        if told["kind"] == "unfit":
            worker.unfit = told["message"]
        worker.sent.clear()
        yield from self._lose(key, "", counts=False)

    def _fetch(self, flight: _Flight) -> dict[str, Any]:
        """Return what came back; longer and longer as long as the worker is there."""
        timeout = 10.0
        while True:
            try:
                told: dict[str, Any] = flight.future.result(timeout=timeout)
                return told
            except TimeoutError:
                if flight.address not in self.client.scheduler_info()["workers"]:
                    raise
                timeout *= 2

    def _end(self, flight: _Flight, told: dict[str, Any]) -> Iterator[Outcome]:
        """Write the results of a job that has ended, by itself or by being killed."""
        job = flight.job
        self.attempts[job.key] += 1
        outcome = judge(job, told["status"], told["stderr"], attempts=self.attempts[job.key],
                        host=told["host"], worker=flight.address, wall_seconds=told["seconds"])
        if outcome.status == "lost" and self.attempts[job.key] < ATTEMPTS:
            self.pending.append(job)
            return
        if outcome.status == "done":
            self._write(job, told["result"])
        yield outcome

    def _write(self, job: Job, data: bytes) -> None:
        place = self.folder.result(job.key)
        temporary = place.with_name(f".trel-{place.name}")
        try:
            with open(temporary, "wb") as file:
                file.write(data)
                file.flush()
                os.fsync(file.fileno())
            os.replace(temporary, place)
        except OSError as error:
            raise RunError(f"{place}: the result could not be written: {error}") from error
