"""A program that tells what it was asked for and fails on demand, and what tests ask processes."""

import contextlib
import os
import shutil
import time
from pathlib import Path

import trel
from trel.program import find_program

SCRIPT = r"""#!/bin/bash
# Each word of trouble is a file with a part of the command line that it is for.
here={here}
last=
echo "$*" >>$here/log
if [ -e $here/version ] && [ "$*" = --version ]; then
    cat $here/version
    exit
fi
asked() {{ [ -e "$here/$1" ] && [[ "$*" == *"$(<"$here/$1")"*" -o results/"* ]]; }}
if asked kill "$@"; then  # the worker, every time
    kill -9 $PPID
    sleep 60
elif asked hang "$@" && mkdir $here/hung 2>/dev/null; then  # fly for ever, the first time
    words=()
    for word; do
        [ "$last" != --packets ] || word=96000000000
        [ "$last" != --packet-range ] || word=0:96000000000
        words+=("$word")
        last=$word
    done
    echo $$ >$here/hung/pid.part
    mv $here/hung/pid.part $here/hung/pid
    exec {real} "${{words[@]}}"
elif asked stop "$@" && mkdir $here/stopped 2>/dev/null; then  # half way, once
    words=()
    for word; do
        [ "$last" != --packets ] || word=$((word / 2))
        [ "$last" != -o ] || base=$word
        words+=("$word")
        last=$word
    done
    {real} "${{words[@]}}" --batches 10
    /usr/bin/python3 -c 'import netCDF4, sys
netCDF4.Dataset(sys.argv[1], "a").partial = 1' "$base.nc"
    exit 143
fi
exec {real} "$@"
"""


class Program:
    """``trelrun`` in a folder of its own, which TREL_BIN is to name."""

    def __init__(self, folder):
        self.folder = Path(folder)
        self.folder.mkdir()
        script = self.folder / "trelrun"
        script.write_text(SCRIPT.format(here=self.folder, real=find_program()))
        script.chmod(0o755)

    def reset(self):
        """Forget troubles and what was run."""
        for name in ("kill", "hang", "stop", "version", "log"):
            (self.folder / name).unlink(missing_ok=True)
        for name in ("hung", "stopped"):
            shutil.rmtree(self.folder / name, ignore_errors=True)

    def trouble(self, kind, part, again=False):
        (self.folder / kind).write_text(part)
        if again:
            shutil.rmtree(self.folder / "hung")

    def runs(self):
        """Command lines of jobs so far."""
        log = self.folder / "log"
        lines = log.read_text().splitlines() if log.exists() else []
        return [line for line in lines if " -o results/" in line]

    def hung(self):
        """Number of the process that flies for ever, once it does."""
        pid = self.folder / "hung" / "pid"
        wait_for(pid.exists)
        number = int(pid.read_text())
        wait_for(lambda: catches_sigterm(number))
        return number


def wait_for(condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < end, f"not within {seconds} s: {condition}"
        time.sleep(0.02)


def catches_sigterm(number):
    """Whether a process has a handler for the signal: the packets fly."""
    with contextlib.suppress(OSError):
        for line in Path(f"/proc/{number}/status").read_text().splitlines():
            if line.startswith("SigCgt"):
                return bool(int(line.split()[1], 16) >> 14 & 1)
    return False


def is_there(number):
    """Whether a process runs; one that has ended and that nobody has waited for does not."""
    with contextlib.suppress(OSError):
        return Path(f"/proc/{number}/stat").read_text().rpartition(")")[2].split()[0] != "Z"
    return False


def parent(number):
    return int(Path(f"/proc/{number}/stat").read_text().rpartition(")")[2].split()[1])


def block():
    """A small block whose runs take no time."""
    model = trel.Model.layers([(2, 0.05, 5, 0.8, 1.4)], width=10, names=["skin"]).pencil()
    return model.grid("cylindrical", "cylindrical", dz=0.5, dr=0.5).packets(2000)


def environment(**changes):
    """Variables for programs in Python: our package, and what changes; None takes one away."""
    told = {**os.environ, "PYTHONPATH": str(Path(trel.__file__).parents[1]), **changes}
    return {name: str(value) for name, value in told.items() if value is not None}
