"""Runs: trelrun as a child process, its progress and its end."""
