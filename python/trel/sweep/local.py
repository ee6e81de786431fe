"""Jobs as processes on this machine, its cores shared out."""

from __future__ import annotations

import os
import subprocess
import threading
import time
from collections.abc import Generator
from concurrent.futures import ThreadPoolExecutor, as_completed

from ..program import find_program
from ..run.process import guard
from .folder import Folder
from .jobs import ATTEMPTS, Job, Outcome, judge


class Local:
    """Runs jobs side by side; each has its share of the cores as threads."""

    def __init__(self, processes: int | None = None, threads: int | None = None) -> None:
        """Take the number of processes at a time, and of the threads of each.

        None: as many processes as this one may use cores; of fewer jobs each has more threads.
        """
        self.processes = processes
        self.threads = threads
        self._children: set[subprocess.Popen[str]] = set()
        self._lock = threading.Lock()
        self._stopping = False

    def run(self, jobs: list[Job], folder: Folder) -> Generator[Outcome, None, None]:
        """Yield what becomes of the jobs, in the order of their ends.

        Runs end with this process, however it ends; what they have then, they go on from.
        """
        cores = len(os.sched_getaffinity(0))
        processes = self.processes or max(1, min(cores // (self.threads or 1), len(jobs)))
        threads = self.threads or max(1, cores // processes)
        self._stopping = False
        with ThreadPoolExecutor(processes) as pool:
            flying = [pool.submit(self._fly, job, folder, threads) for job in jobs]
            try:
                for done in as_completed(flying):
                    yield done.result()
            finally:
                self._stop()
                pool.shutdown(cancel_futures=True)

    def _fly(self, job: Job, folder: Folder, threads: int) -> Outcome:
        """Run a job, again if its process was killed."""
        for attempt in range(1, ATTEMPTS + 1):
            outcome = self._try(job, folder, threads, attempt)
            if outcome.status != "lost" or self._stopping:
                break
        return outcome

    def _try(self, job: Job, folder: Folder, threads: int, attempt: int) -> Outcome:
        goes_on = ["--continue"] if folder.has_begun(job) else []
        command = guard([find_program(), *job.arguments, *goes_on, "--threads", str(threads),
                         "--quiet"])
        locks = () if folder.lock is None else (folder.lock,)
        begin = time.monotonic()
        with self._lock:
            if self._stopping:
                return Outcome(job, "stopped")
            child = subprocess.Popen(command, cwd=folder.path, stdin=subprocess.DEVNULL,
                                     stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                                     errors="replace", start_new_session=True, pass_fds=locks)
            self._children.add(child)
        stderr = child.communicate()[1]
        with self._lock:
            self._children.discard(child)
        return judge(job, child.returncode, stderr, attempts=attempt, host=os.uname().nodename,
                     wall_seconds=round(time.monotonic() - begin, 3))

    def _stop(self) -> None:
        """End what still runs: it writes what its finished batches have."""
        with self._lock:
            self._stopping = True
            for child in self._children:
                child.terminate()
