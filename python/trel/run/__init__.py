"""Runs: trelrun as a child process, its progress and its end."""

from .replay import replay
from .runnable import Runnable, RunInterrupted, run_file

__all__ = ["RunInterrupted", "Runnable", "replay", "run_file"]
