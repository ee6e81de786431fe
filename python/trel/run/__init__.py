"""Runs: trelrun as a child process, its progress and its end."""

from .runnable import Runnable, RunInterrupted, run_file

__all__ = ["RunInterrupted", "Runnable", "run_file"]
