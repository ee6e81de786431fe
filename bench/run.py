#!/usr/bin/env python3
"""Measures whole runs: packets and scatterings per second, instructions per scattering.

Usage: bench/run.py [--build DIR] [--runs N] [--no-instructions] [MODEL...]

Prints a table in Markdown: rates, and what comes before the first packet (reading the model with its
meshes, building the look-up tables) with the peak of memory. Instructions are those in user space, counted by valgrind as the
difference of two runs of different length, so that reading, set-up and writing cancel; they do not
depend on what else the machine does, while the times do. The absorbed fraction is checked where it
is known. Exit status 1 if a check fails.
"""

import argparse
import re
import statistics
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


@dataclass
class Model:
    """A model, the number of packets that takes a second or two, and what is known of it."""
    name: str
    packets: int
    absorbed: float | None


MODELS = [Model("cube", 100000, 0.2726), Model("box", 40000, 0.7311), Model("nested", 30000, None),
          Model("sphere", 20000, None), Model("shells", 10000, None), Model("head", 10000, None)]
MESHES = ROOT / "build" / "meshes"  # where scripts/make-meshes.py puts the last three
SHORT, LONG = 300, 1800  # packets under valgrind, which takes fifty times as long


class Bench:
    def __init__(self, build):
        self.program = build / "bench" / "trelBench"
        if not self.program.exists():
            sys.exit(f"{self.program} is missing: cmake --preset release && "
                     "cmake --build --preset release")

    def command(self, model, packets, threads, *more):
        path = ROOT / "bench" / f"{model.name}.trl"
        if not path.exists():
            path = MESHES / f"{model.name}.trl"
        if not path.exists():
            subprocess.run([ROOT / "scripts" / "make-meshes.py", MESHES, model.name], check=True)
        return [str(self.program), str(path), str(packets), str(threads), *more]

    def run(self, *arguments):
        """The figures that the program prints, by name."""
        output = subprocess.run(self.command(*arguments), capture_output=True, text=True, check=True)
        words = output.stdout.split()
        return dict(zip(words[::2], map(float, words[1::2])))

    def scatterings(self, model, packets):
        return self.run(model, packets, 1, "count")["scatterings"]

    def instructions(self, model, packets):
        valgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
        output = subprocess.run(valgrind + self.command(model, packets, 1), capture_output=True,
                                text=True, check=True)
        return int(re.search(r"Collected : (\d+)", output.stderr).group(1))

    def instructions_per_scattering(self, model):
        """The packets of the short run are the first ones of the long run."""
        more = self.instructions(model, LONG) - self.instructions(model, SHORT)
        return more / (self.scatterings(model, LONG) - self.scatterings(model, SHORT))


def check_absorbed(model, figures):
    """A packet is absorbed by 0 to 1 of its weight: its deviation is below 1/2. Five of them."""
    if model.absorbed is None:
        return True
    bound = 5 * 0.5 / model.packets ** 0.5
    if abs(figures["absorbed"] - model.absorbed) <= bound:
        return True
    print(f"{model.name}: absorbed {figures['absorbed']}, expected {model.absorbed} within "
          f"{bound:.4f}", file=sys.stderr)
    return False


def measure(bench, model, arguments):
    per_packet = bench.scatterings(model, model.packets) / model.packets
    instructions = "-"
    if not arguments.no_instructions:
        instructions = f"{bench.instructions_per_scattering(model):.0f}"
    good, first = True, None
    for threads in (1, 2):
        runs = [bench.run(model, model.packets, threads) for _ in range(arguments.runs)]
        good = all([check_absorbed(model, figures) for figures in runs]) and good
        seconds = statistics.median(figures["seconds"] for figures in runs)
        first = first or seconds
        rate = model.packets / seconds
        print(f"| {model.name} | {threads} | {rate:,.0f} | {rate * per_packet / 1e6:.2f} | "
              f"{first / seconds:.2f} | {instructions} | {per_packet:.1f} | "
              f"{runs[0]['absorbed']:.4f} | {runs[0]['load']:.2f} | {runs[0]['prepare']:.2f} | "
              f"{runs[0]['megabytes']:.0f} |", flush=True)
    return good


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("models", nargs="*", help="names of models; default: all")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release")
    parser.add_argument("--runs", type=int, default=5, help="runs of which the median is taken")
    parser.add_argument("--no-instructions", action="store_true", help="do without valgrind")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    bench = Bench(arguments.build)
    chosen = [m for m in MODELS if not arguments.models or m.name in arguments.models]
    print("| Model | Threads | Packets/s | Million scatterings/s | Speed-up | "
          "Instructions/scattering | Scatterings/packet | Absorbed | Load, s | Prepare, s | "
          "Peak, MB |")
    print("|" + " --- |" * 11)
    return 0 if all([measure(bench, model, arguments) for model in chosen]) else 1


if __name__ == "__main__":
    sys.exit(main())
