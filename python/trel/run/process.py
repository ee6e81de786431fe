"""The program as a child process: started, watched, stopped."""

from __future__ import annotations

import json
import shutil
import signal
import subprocess
from collections.abc import Callable
from dataclasses import dataclass
from typing import Any

from ..errors import MissingPackage

Progress = dict[str, Any]
"""A line of ``--progress json``, see docs/trelrun.md."""


@dataclass(frozen=True)
class Ended:
    """How a child ended."""

    status: int
    """As of a process: negative after a signal that it did not handle."""
    stderr: str
    """What it said, without the lines of progress."""
    interrupted: bool
    """Ctrl-C came while it ran, and was passed on to it."""


def guard(command: list[str]) -> list[str]:
    """Return the command, so that SIGTERM ends it when this process ends, however that happens.

    On SIGTERM the program writes what the finished batches have. The system sends it; a function
    that is run between fork and exec could set the same, but is unsafe beside threads.
    """
    setpriv = shutil.which("setpriv")
    if not setpriv:
        raise MissingPackage("setpriv is missing: on Debian, apt-get install util-linux")
    return [setpriv, "--pdeathsig", "TERM", *command]


class Child:
    """A program in a session of its own: a terminal's Ctrl-C does not reach it by itself."""

    def __init__(self, command: list[str], show: Callable[[Progress], None]) -> None:
        """Start it; ``show`` is called with each line of progress that it writes."""
        self.show = show
        self.said: list[str] = []
        self.process = subprocess.Popen(
            guard(command),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL,
            stderr=subprocess.PIPE,
            text=True,
            errors="replace",
            start_new_session=True,
        )

    def follow(self) -> Ended:
        """Wait for its end. Ctrl-C reaches it once as SIGINT; another one kills it."""
        signals = [signal.SIGINT, signal.SIGKILL]
        while True:
            try:
                self._listen()
                break
            except KeyboardInterrupt:
                self.process.send_signal(signals.pop(0) if signals else signal.SIGKILL)
            except BaseException:
                self.process.kill()
                self.process.wait()
                raise
        return Ended(self.process.returncode, "".join(self.said), len(signals) < 2)

    def _listen(self) -> None:
        """Take what it says, up to its end; goes on where an interrupt has left it."""
        stderr = self.process.stderr
        while stderr and not stderr.closed:
            line = stderr.readline()
            if line.startswith("{"):
                self.show(json.loads(line))
            elif line:
                self.said.append(line)
            else:
                stderr.close()
        self.process.wait()
