#!/usr/bin/env python3
"""Measures whole runs by both sets of rules: rates, beside a bare loop, and instructions.

Usage: bench/run.py [--build DIR] [--runs N] [--no-instructions] [MODEL...]

Prints two tables in Markdown. The first has the instructions per scattering: those in user space,
counted by valgrind as the difference of two runs of different length, so that reading, set-up and
writing cancel; they do not depend on what else the machine does. Gates and frequency are the model
with time gates or a modulation added. The second has the rates, each the median of runs that take
turns with the bare double loop on the cube and on two threads: million scatterings a second by the
wall's clock and by the processor's, the latter over the bare loop's in the same turn, and what two
threads gain by the wall's clock. "Share" is seconds of the processor over those of the wall: where it
is well below the threads, others had the machine, and "CPU gain" tells what the two had gained on
processors of their own. Then what comes before the first packet and the peak of memory.
The absorbed fraction is checked where it is known. Exit status 1 if a check fails.
"""

import argparse
import os
import re
import statistics
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MESHES = ROOT / "build" / "meshes"  # where scripts/make-meshes.py puts sphere, shells and head


@dataclass
class Model:
    """A model, the packets that take a second or so by the classic rules, those under valgrind,
    which takes fifty times as long, and what is known of it."""
    name: str
    packets: int
    probe: int
    absorbed: float | None = None


MODELS = [Model("cube", 100000, 1800, 0.2726), Model("box", 40000, 1800, 0.7311),
          Model("slab", 1500000, 60000), Model("nested", 30000, 1800),
          Model("sphere", 20000, 1800), Model("shells", 10000, 1800), Model("head", 10000, 1800)]
VARIANTS = {"plain": "", "gates": "domain td 0 2000 200\n", "frequency": "domain fd 100\n"}
LANES, BATCHES = "0", "20"  # by the exact rules: the best number; as many as trelrun takes
YARDSTICK = 150000  # packets of the bare loop


@dataclass
class Rules:
    """A set of rules: words for the program, and how many times as many packets it is given."""
    name: str
    words: tuple
    counting: tuple
    factor: int


RULES = [Rules("classic", (), ("count",), 1),
         Rules("exact", ("exact", LANES, BATCHES), ("exact", LANES), 3)]


def figures(output):
    """What a program prints, by name."""
    words = output.split()
    return dict(zip(words[::2], map(float, words[1::2])))


def run(command):
    """Threads that wait do not spin, so that seconds of the processor are those of work."""
    environment = {**os.environ, "OMP_WAIT_POLICY": "passive"}
    return subprocess.run(command, capture_output=True, text=True, check=True, env=environment)


class Bench:
    def __init__(self, build):
        self.program, self.bare = build / "bench" / "trelBench", build / "bench" / "bare"
        if not (self.program.exists() and self.bare.exists()):
            sys.exit(f"{self.program} or bare is missing: cmake --preset release && "
                     "cmake --build --preset release")

    def path(self, name, variant="plain"):
        """The model, made or varied if need be; variants lie where their meshes would."""
        path = ROOT / "bench" / f"{name}.trl"
        if not path.exists():
            path = MESHES / f"{name}.trl"
        if not path.exists():
            run([ROOT / "scripts" / "make-meshes.py", MESHES, name])
        if variant == "plain":
            return path
        MESHES.mkdir(parents=True, exist_ok=True)
        varied = MESHES / f"{name}-{variant}.trl"
        end = "endsimulationproperty"
        varied.write_text(path.read_text().replace(end, VARIANTS[variant] + end))
        return varied

    def run(self, path, packets, threads, words=()):
        return figures(run([self.program, path, str(packets), str(threads), *words]).stdout)

    def run_bare(self):
        return figures(run([self.bare, "cube", str(YARDSTICK)]).stdout)

    def instructions(self, path, packets, words):
        valgrind = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
        output = run([*valgrind, self.program, path, str(packets), "1", *words])
        return int(re.search(r"Collected : (\d+)", output.stderr).group(1))

    def instructions_per_scattering(self, path, probe, rules):
        """The packets of the short run are the first ones of the long run."""
        words = rules.counting if rules.name == "exact" else ()
        lengths = (probe, probe // 6)
        long, short = [self.instructions(path, packets, words) for packets in lengths]
        many, few = [self.run(path, packets, 1, rules.counting)["scatterings"]
                     for packets in lengths]
        return (long - short) / (many - few)


def check_absorbed(model, packets, absorbed):
    """A packet is absorbed by 0 to 1 of its weight: its deviation is below 1/2. Five of them."""
    bound = 5 * 0.5 / packets ** 0.5
    if model.absorbed is None or abs(absorbed - model.absorbed) <= bound:
        return True
    print(f"{model.name}: absorbed {absorbed}, expected {model.absorbed} within {bound:.4f}",
          file=sys.stderr)
    return False


def count_instructions(bench, models):
    print("| Model | Rules | " + " | ".join(f"Instructions, {v}" for v in VARIANTS) + " |")
    print("|" + " --- |" * (2 + len(VARIANTS)))
    for model in models:
        for rules in RULES:
            counts = [bench.instructions_per_scattering(bench.path(model.name, variant),
                                                        model.probe, rules)
                      for variant in VARIANTS]
            print(f"| {model.name} | {rules.name} | "
                  + " | ".join(f"{count:.0f}" for count in counts) + " |", flush=True)
    print()


@dataclass
class Turn:
    """What the bare loop and a model on one and on two threads took, one after the other."""
    bare: dict
    one: dict
    two: dict


COLUMNS = {  # of the table of rates: from a turn, in which n scatterings were made
    "M/s": lambda t, n: n / 1e6 / t.one["seconds"],
    "M/CPU s": lambda t, n: n / 1e6 / t.one["cpu"],
    "Over bare": lambda t, n: n / t.one["cpu"] * t.bare["cpu"] / t.bare["scatterings"],
    "Share": lambda t, n: t.one["cpu"] / t.one["seconds"],
    "M/s, 2 threads": lambda t, n: n / 1e6 / t.two["seconds"],
    "Gain": lambda t, n: t.one["seconds"] / t.two["seconds"],
    "CPU gain": lambda t, n: 2 * t.one["cpu"] / t.two["cpu"],
    "Share, 2 threads": lambda t, n: t.two["cpu"] / t.two["seconds"]}


def measure_rates(bench, model, rules, runs):
    path, packets = bench.path(model.name), model.packets * rules.factor
    scatterings = bench.run(path, packets, 1, rules.counting)["scatterings"]
    turns = [Turn(bench.run_bare(), bench.run(path, packets, 1, rules.words),
                  bench.run(path, packets, 2, rules.words)) for _ in range(runs)]
    first = turns[0].one
    cells = [model.name, rules.name]
    cells += [f"{statistics.median(column(turn, scatterings) for turn in turns):.2f}"
              for column in COLUMNS.values()]
    cells += [f"{scatterings / packets:.1f}", f"{first['absorbed']:.4f}", f"{first['load']:.2f}",
              f"{first['prepare']:.2f}", f"{first['megabytes']:.0f}"]
    print("| " + " | ".join(cells) + " |", flush=True)
    return all([check_absorbed(model, packets, figures["absorbed"])
                for turn in turns for figures in (turn.one, turn.two)])


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
    if not arguments.no_instructions:
        count_instructions(bench, chosen)
    print(f"| Model | Rules | {' | '.join(COLUMNS)} | Scatterings/packet | Absorbed | Load, s | "
          "Prepare, s | Peak, MB |")
    print("|" + " --- |" * (7 + len(COLUMNS)))
    return 0 if all([measure_rates(bench, model, rules, arguments.runs)
                     for model in chosen for rules in RULES]) else 1


if __name__ == "__main__":
    sys.exit(main())
