#!/usr/bin/python3
"""Measures what a scattering costs in models of growing size, and draws it.

Usage: bench/scaling.py [--build DIR] [--runs N] [--work DIR] [--series NAME...]
                        [PICTURE.png]

Balls in a cube, triangles of a sphere, elements of a body of shells, cells of the absorption in a
cube: for each size the instructions per scattering by valgrind, on one and on two threads the
nanoseconds of a processor per scattering, and the seconds before the first packet. All but the last
are differences of a long and a short run, so that what a run costs once cancels. Where valgrind would
take minutes, instructions are not counted. Prints the figures as a table in Markdown. Takes half an
hour, 4 GB of memory, and 300 MB of DIR for the models.
"""

import argparse
import itertools
import math
import runpy
import sys
from pathlib import Path
from types import SimpleNamespace

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

from run import RULES, ROOT, Bench  # noqa: E402

meshes = SimpleNamespace(**runpy.run_path(str(ROOT / "scripts" / "make-meshes.py")))
SCATTERINGS = 150000  # of a run under valgrind, and RATED as many of one for its time
RATED = 40
KINDS = [(rules, threads) for rules in RULES for threads in (1, 2)]


def make_balls(folder, balls):
    """Balls of a third of the distance to the next one in a cube, so that they fill the same share
    of it, however many."""
    side = math.ceil(balls ** (1 / 3) - 1e-9)
    pitch = 60 / side
    centres = itertools.islice(itertools.product(range(side), repeat=3), balls)
    shapes = ["tissueshape cube\ntissuecenter 30 30 30\ntissueaxis 30 30 30"]
    for centre in centres:
        place = " ".join(f"{(x + 0.5) * pitch:g}" for x in centre)
        radius = " ".join([f"{0.3 * pitch:g}"] * 3)
        shapes.append(f"tissueshape ellipsoid\ntissuecenter {place}\ntissueaxis {radius}")
    optics = [(0.005, 1, 0.01, 1.37)] + [(0.01, 1.5, 0.01, 1.37)] * balls
    meshes.write_model(folder / f"balls{balls}.trl", optics, "30.1 30.2 -1", shapes=shapes)
    return f"balls{balls}"


def make_triangles(folder, levels):
    meshes.make_sphere(folder, levels, f"triangles{levels}")
    return f"triangles{levels}"


def make_elements(folder, times):
    meshes.make_shells(folder, times, f"elements{times}")
    return f"elements{times}"


def make_cells(folder, side):
    text = (ROOT / "bench" / "cube.trl").read_text()
    size = f"{60 / side * (1 + 1e-9):.12g}"
    text = text.replace("roiseparation 1 1 1", f"roiseparation {size} {size} {size}")
    (folder / f"cells{side}.trl").write_text(text)
    return f"cells{side}"


SERIES = [  # makers by size, and up to which size instructions are counted
    ("tissues", make_balls, 1e4, {n: n + 1 for n in (1, 10, 100, 1000)}),
    ("triangles", make_triangles, 1e5, {n: 20 * 4 ** n for n in (3, 4, 5, 6, 7, 8)}),
    ("elements", make_elements, 2e5, {n: 6 * (14 * n) ** 3 for n in (1, 2, 3, 4)}),
    ("cells", make_cells, 2e7, {n: n ** 3 for n in (10, 22, 46, 100, 215, 464)})]


def nanoseconds(bench, path, packets, rules, threads, runs):
    """Of all threads together; the least of some runs each, which others disturbed least."""
    def cpu(count):
        return min(bench.run(path, count, threads, rules.words)["cpu"] for _ in range(runs))

    def scatterings(count):
        return bench.run(path, count, 1, rules.counting)["scatterings"]

    short = packets // 5
    return 1e9 * (cpu(packets) - cpu(short)) / (scatterings(packets) - scatterings(short))


def measure(bench, path, size, most_counted, runs):
    """The figures of a model: those before the first packet, instructions, nanoseconds."""
    row = {"size": size}
    for rules in RULES:
        trials = [bench.run(path, 500, 1, rules.counting) for _ in range(runs)]
        probe = round(500 * SCATTERINGS / trials[0]["scatterings"])
        row["ahead", rules.name] = min(trial["load"] + trial["prepare"] for trial in trials)
        row["MB", rules.name] = trials[0]["megabytes"]
        row["count", rules.name] = (math.nan if size > most_counted else
                                    bench.instructions_per_scattering(path, probe, rules))
        for threads in (1, 2):
            row["ns", rules.name, threads] = nanoseconds(bench, path, RATED * probe, rules,
                                                         threads, runs)
    return row


def print_table(name, rows):
    words = [f"{rules.name}, {threads}" for rules, threads in KINDS]
    names = [rules.name for rules in RULES]
    print(f"\n| {name} | " + " | ".join([f"instructions, {n}" for n in names] +
                                        [f"ns, {w}" for w in words] +
                                        [f"ahead, s, {n}" for n in names] +
                                        [f"MB, {n}" for n in names]) + " |")
    print("|" + " --- |" * 11)
    for row in rows:
        print(f"| {row['size']:,} | " + " | ".join(
            [f"{row['count', n]:.0f}".replace("nan", "-") for n in names] +
            [f"{row['ns', rules.name, threads]:.1f}" for rules, threads in KINDS] +
            [f"{row['ahead', n]:.2f}" for n in names] +
            [f"{row['MB', n]:.0f}" for n in names]) + " |", flush=True)


COLOURS = {"classic": "#b0722d", "exact": "#1f5fa8"}
PANELS = [  # from above: the label, how the axis is set, the key, name and style of each curve
    ("instructions per scattering", {"ylim": (0, None)},
     [(("count", name), name, {"color": colour, "marker": "o"}) for name, colour in COLOURS.items()]),
    ("CPU ns per scattering", {"ylim": (0, None)},
     [(("ns", name, threads), f"{name}, threads: {threads}", {"color": colour, "marker": "o", **style})
      for name, colour in COLOURS.items()
      for threads, style in ((1, {}), (2, {"linestyle": "--", "markerfacecolor": "none"}))]),
    ("s before the first packet", {"yscale": "log", "ylim": (1e-3, 10)},
     [(("ahead", name), name, {"color": colour, "marker": "o"}) for name, colour in COLOURS.items()])]


def draw(picture, results):
    figure, panels = plt.subplots(len(PANELS), len(results), squeeze=False, layout="constrained",
                                  figsize=(13.2, 9))
    for row, (label, axis, curves) in zip(panels, PANELS):
        for axes, (name, rows) in zip(row, results):
            for key, title, style in curves:
                axes.plot([row["size"] for row in rows], [row[key] for row in rows], label=title, **style)
            axes.set(xscale="log", xlabel=name, ylabel=label, **axis)
            axes.set_xlim(rows[0]["size"] / 2, rows[-1]["size"] * 2)
            axes.grid(axis="y", color="#dddddd")
            axes.legend(loc="upper center", bbox_to_anchor=(0.5, 1.25), ncol=2, fontsize=8, frameon=False)
    figure.savefig(picture, dpi=100)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("picture", nargs="?", default=ROOT / "docs" / "images" / "scaling.png")
    parser.add_argument("--build", type=Path, default=ROOT / "build" / "release")
    parser.add_argument("--work", type=Path, default=ROOT / "build" / "scaling",
                        help="folder of the models")
    parser.add_argument("--runs", type=int, default=3, help="runs of which the least time is taken")
    parser.add_argument("--series", nargs="*", default=[name for name, *_ in SERIES])
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    bench = Bench(arguments.build)
    arguments.work.mkdir(parents=True, exist_ok=True)
    results = []
    for name, make, most_counted, sizes in SERIES:
        if name not in arguments.series:
            continue
        rows = [measure(bench, arguments.work / f"{make(arguments.work, n)}.trl", size,
                        most_counted, arguments.runs) for n, size in sizes.items()]
        print_table(name, rows)
        results.append((name, rows))
    draw(arguments.picture, results)


if __name__ == "__main__":
    sys.exit(main())
