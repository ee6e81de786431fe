"""A scheduler or a worker as a process, started with what series need."""

from __future__ import annotations

import asyncio
import os
import signal
from collections.abc import AsyncIterator
from contextlib import asynccontextmanager
from pathlib import Path
from typing import Any

from ..errors import TrelError
from ..program import find_program
from .security import Tls, check_address, is_loopback, need_distributed

SAME = ("distributed", "dask", "msgpack", "cloudpickle", "tornado")
"""Modules whose versions have to be those of the scheduler."""


def serve_scheduler(address: str, tls: Tls | None = None, insecure: bool = False) -> None:
    """Be a scheduler at an address, ``tcp://127.0.0.1:8786``, until a signal ends it.

    A worker that is lost costs its job at once, which the client gives to another one. Its pages
    for a browser are for this machine alone.
    """
    host = check_address(address, tls, insecure)
    module = need_distributed()
    asyncio.run(_serve(lambda: module.Scheduler(
        host=host, port=int(address.rpartition(":")[2]), protocol=address.partition(":")[0],
        security=tls.security() if tls else None, dashboard=False,
        dashboard_address="127.0.0.1:0", allowed_failures=0)))


def serve_worker(address: str, tls: Tls | None = None, insecure: bool = False,
                 port: int = 0, threads: int | None = None, folder: str | None = None) -> None:
    """Be a worker of the scheduler at an address until a signal ends it.

    Parameters
    ----------
    address : ``tcp://127.0.0.1:8786``.
    tls, insecure : as of the scheduler.
    port : of the worker itself, for a tunnel; 0: any.
    threads : of each run; None: as many as the process may use.
    folder : for files; None: that of the system for temporary ones.

    It takes one job at a time, and is started anew when a job has killed it. A TrelError tells in
    which version scheduler and worker differ.
    """
    host = check_address(address, tls, insecure)
    module = need_distributed()
    environment = {"TREL_BIN": str(Path(find_program()).parent)}
    if threads:
        environment["TREL_THREADS"] = str(threads)
    security = tls.security() if tls else None
    asyncio.run(_check_versions(module, address, security))
    asyncio.run(_serve(lambda: module.Nanny(
        address, nthreads=1, resources={"node": 1}, memory_limit=None, worker_port=port,
        host="127.0.0.1" if is_loopback(host) else None, env=environment, security=security,
        local_directory=folder or os.environ.get("TMPDIR", "/tmp"), dashboard=False,
        dashboard_address="127.0.0.1:0", quiet=True)))


async def _serve(make: Any) -> None:
    """Run a server until SIGTERM, SIGINT, or its own end."""
    async with _signalled() as stop:
        server = await make()
        print(server.address, flush=True)
        ends = [asyncio.ensure_future(stop.wait()), asyncio.ensure_future(server.finished())]
        await asyncio.wait(ends, return_when=asyncio.FIRST_COMPLETED)
        ends[0].cancel()
        await server.close()


@asynccontextmanager
async def _signalled() -> AsyncIterator[asyncio.Event]:
    """Yield what is set by the signals that end a program."""
    stop, loop = asyncio.Event(), asyncio.get_running_loop()
    for number in (signal.SIGTERM, signal.SIGINT):
        loop.add_signal_handler(number, stop.set)
    yield stop


async def _check_versions(module: Any, address: str, security: Any) -> None:
    try:
        async with module.Client(address, asynchronous=True, security=security, timeout=30,
                                 set_as_default=False) as client:
            found = await client.get_versions()
    except OSError as error:
        raise TrelError(f"{address}: no scheduler answers ({error})") from error
    compare_versions(found, address)


def compare_versions(found: dict[str, Any], address: str) -> None:
    """Raise a TrelError if versions here differ from those of the scheduler."""
    ours, theirs = ({**found[who]["packages"],
                     "python": ".".join(map(str, found[who]["host"]["python"].split(".")[:2]))}
                    for who in ("client", "scheduler"))
    wrong = [f"{name} {ours.get(name)} here, {theirs.get(name)} there"
             for name in ("python", *SAME) if ours.get(name) != theirs.get(name)]
    if wrong:
        raise TrelError(f"{address}: versions differ: {'; '.join(wrong)}")
