#!/usr/bin/env python3
"""Runs the models of docs/cookbook.md with few packets, and compares a value of each with what theory,
the literature or the balance of energy says of it.

Usage: cookbookTest.py TRELRUN

The bound is 5 standard errors, which were measured in 14 runs, plus what theory is off by itself: the
random numbers come from the clock, and one run in a million fails by chance. Each model is run with
another absorption as well, and its value must be out of bounds then.
"""

import cmath
import math
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent


def numbers(path, name):
    """What follows each of the lines of that name, up to the next name."""
    parts = re.findall(rf"^{name}\s+([-+.e\d\s]*)", path.read_text(), re.MULTILINE)
    return [[float(word) for word in part.split()] for part in parts]


def diffuse_reflectance(base):
    return numbers(base.with_suffix(".T.CW"), "3DCWTransmittanceBottom")[0][0]


def mean_time(base):
    gates = [rings[4] for rings in numbers(base.with_suffix(".T.TD"), "3DTDTransmittanceBottomRA")]
    return sum(50 * (i + 0.5) * gate for i, gate in enumerate(gates)) / sum(gates)


def lag(base):
    size, phase = (numbers(base.with_suffix(".T.FD"), f"3DFD{kind}TransmittanceTopXY")[0]
                   for kind in ("Amp", "Pha"))
    near = [i for i in range(1600) if math.hypot(i // 40 - 19.5, i % 40 - 19.5) < 15]
    return math.degrees(cmath.phase(sum(cmath.rect(size[i], math.radians(phase[i])) for i in near)))


def red_light_that_left(base):
    """If the balance holds."""
    left = numbers(base.with_suffix(".T.CW"), "3DCWTransmittance")[1][0]
    taken = numbers(base.with_suffix(".A.CW"), "3DCWAbsorption")[1][0]
    return left if abs(left + taken - 1) < 1e-3 else math.nan


def emission(base):
    return (numbers(base.with_suffix(".T.CW"), "3DCWTransmittance")[1][0]
            + numbers(base.with_suffix(".A.CW"), "3DCWAbsorption")[1][0])


def radiance(base):
    pixels = numbers(base.with_suffix(".D.CW"), "DetectionMatrix")[1]
    return sum(pixels) / sum(pixel > 0 for pixel in pixels)


# Model, packets, value, what it should be, its standard error, how much theory is off at most.
JOBS = [
    ("cookbook/layered-skin", 20000, diffuse_reflectance, 0.2375, 0.002, 0.001),
    ("cookbook/pulse-reflectance", 50000, mean_time, 623.8, 10, 6),
    ("modulated-slab", 10000, lag, 24.38, 0.35, 0.4),
    ("cookbook/mouse", 5000, red_light_that_left, 0.2508, 0.0045, 0.001),
    ("cookbook/dyed-inclusion", 5000, emission, 8.89e-5, 5.5e-6, 4e-6),
    ("cookbook/camera", 8000, radiance, 1.407e-4, 2.5e-6, 3e-6),
]


def run(program, name, packets, folder, *arguments):
    text = (ROOT / f"examples/{name}.trl").read_text()
    text = re.sub(r"^(lightsourcespectrumindex \d+ 1\.0) \d+$", rf"\1 {packets}", text, flags=re.M)
    (folder / "model.trl").write_text(text)
    done = subprocess.run([program, "model.trl", "--quiet", "--text", *arguments], cwd=folder, text=True,
                          capture_output=True, check=False)
    return folder / "model", done.stderr


def main():
    problems = []
    for name, packets, value, expected, error, theory in JOBS:
        with tempfile.TemporaryDirectory() as folder:
            base, report = run(sys.argv[1], name, packets, Path(folder))
            got, bound = value(base), 5 * error + theory
            if report or not abs(got - expected) <= bound:
                problems.append(f"{name}: {got}, expected {expected} +- {bound}\n{report}")
            base, _ = run(sys.argv[1], name, packets, Path(folder), "--set", "1.mua=0.05")
            if abs(value(base) - expected) <= bound:
                problems.append(f"{name}: another absorption is not seen")
    print("\n".join(problems) or f"{len(JOBS)} jobs: as expected")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
