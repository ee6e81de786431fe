"""What a worker does with a job. Sent to it by value: it has the standard library and no more.

The functions take and return what the standard library has, so that a worker needs the program and
distributed, and not this package.
"""

from __future__ import annotations

import importlib
import os
import shutil
import subprocess
import tempfile
import time
from typing import Any


def run_job(task: dict[str, Any], own: dict[str, bytes]) -> dict[str, Any]:
    """Run a job in a folder of its own, and return what the program said and wrote.

    Parameters
    ----------
    task : ``arguments`` of the program, ``base`` of its results, ``files`` that it reads,
        ``program``, its name and version.
    own : files that this worker has not been sent before, by name. Names tell the content.

    Returns
    -------
    ``kind``: ``ended`` with ``status``, ``stderr``, ``result`` (bytes), ``host``,
    ``seconds``; ``unfit`` with ``message``: this worker cannot take such a job; ``files``: it lacks
    some.
    """
    program, problem = find_program(task["program"])
    if problem:
        return {"kind": "unfit", "message": f"{os.uname().nodename}: {problem}"}
    top, cancelled = look_around()
    store = os.path.join(top, "trel-models")
    os.makedirs(store, exist_ok=True)
    for name, data in own.items():
        place = os.path.join(store, os.path.basename(name))
        with open(place + ".part", "wb") as file:
            file.write(data)
        os.replace(place + ".part", place)
    if any(not os.path.exists(os.path.join(store, os.path.basename(n))) for n in task["files"]):
        return {"kind": "files"}
    begin = time.monotonic()
    scratch = tempfile.mkdtemp(prefix="trel-job-", dir=top)
    try:
        os.symlink(store, os.path.join(scratch, "models"))
        os.mkdir(os.path.join(scratch, "results"))
        threads = os.environ.get("TREL_THREADS")
        command = [program, *task["arguments"], "--quiet", "--checkpoint", "0"]
        status, stderr = follow(command + (["--threads", threads] if threads else []), scratch,
                                cancelled)
        result = os.path.join(scratch, task["base"] + ".nc")
        data = b""
        if status == 0:
            with open(result, "rb") as file:
                data = file.read()
    finally:
        shutil.rmtree(scratch, ignore_errors=True)
    return {"kind": "ended", "status": status, "stderr": stderr, "result": data,
            "host": os.uname().nodename, "seconds": round(time.monotonic() - begin, 3)}


def find_program(wanted: str) -> tuple[str, str]:
    """Return the path of the program, and what is wrong with it: missing, or another version."""
    folder = os.environ.get("TREL_BIN")
    found = shutil.which(os.path.join(folder, "trelrun") if folder else "trelrun")
    if not found:
        return "", f"trelrun was not found in {folder or 'its PATH'}"
    if not shutil.which("setpriv"):
        return "", "setpriv is missing (Debian: util-linux)"
    told = subprocess.run([found, "--version"], capture_output=True, text=True, check=False)
    version = told.stdout.partition("\n")[0]
    return found, "" if version == wanted else f"it has {version or found}, not {wanted}"


def look_around() -> tuple[str, Any]:
    """Return the worker's own folder, and a function that tells whether its task was given up."""
    worker = importlib.import_module("distributed").get_worker()
    key = worker.get_current_task()

    def cancelled() -> bool:
        task = worker.state.tasks.get(key)
        return task is None or task.state in ("cancelled", "released", "forgotten")

    return worker.local_directory, cancelled


def follow(command: list[str], folder: str, cancelled: Any) -> tuple[int, str]:
    """Run a program to its end, or until it was given up; it ends with this process, too.

    Return its exit status and the end of what it said.
    """
    with tempfile.TemporaryFile("w+", errors="replace") as said:
        child = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], cwd=folder,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=said,
                                 start_new_session=True)
        try:
            while child.poll() is None:
                try:
                    child.wait(0.2)
                except subprocess.TimeoutExpired:
                    if cancelled():
                        child.kill()
        finally:
            if child.poll() is None:
                child.kill()
                child.wait()
        said.seek(0)
        return child.returncode, said.read()[-4000:]
