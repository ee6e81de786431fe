#!/usr/bin/env python3
"""Runs the program on every model of examples/ and bench/ with few packets, as a user would.

Usage: examplesTest.py TREL

Checks the log, that nothing is reported, and that the result files can be read without knowledge of
the program: every block has as many numbers as its counts say.
"""

import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PACKETS = 200
LOG = ("\n{model}\n\n{result}\n\n0.02\n\n10\n\n0.9\n\n1.37\nparameter read ok \n\n"
       "run start ......\nconsuming time is {seconds}\nwrite ok \nrun over\n\nsimulation over\n")


def read_blocks(text):
    """Yields (label, product of the counts, numbers) of each block of a result file."""
    lines = text.splitlines()
    cells = None
    for i, line in enumerate(lines):
        words = line.split()
        if words and re.fullmatch("Count\\w+|HeightResolution", words[0]):
            cells = 1
            for word in words[len(words) // 2:]:
                cells *= int(word)
        elif len(words) == 1 and re.fullmatch("[23]D(CW|TD|FDAmp|FDPha)[A-Z]\\w+|DetectionMatrix",
                                              words[0]):
            numbers = 0
            for row in lines[i + 1:]:
                if not re.match("[ -]|\\d+ \\d+ \\d+ ", row):
                    break
                numbers += len([float(word) for word in row.split()])
            # A face of a tetrahedral mesh has its three corners in front of its value.
            per_cell = 4 if words[0].endswith("TetraMeshFace") else 1
            yield words[0], cells and per_cell * cells, numbers


def check_model(program, model, folder):
    text = re.sub(r"^(lightsourcespectrumindex \d+ \S+) \S+$", rf"\g<1> {PACKETS}",
                  model.read_text(), flags=re.MULTILINE)
    path, result = folder / model.name, folder / model.stem
    path.write_text(text)
    for mesh in re.findall(r"^(?:tissue|mediumtetra|lightsource)path (\S+)$", text, re.MULTILINE):
        shutil.copy(model.parent / mesh, folder)
    run = subprocess.run([program, path, result, "0.02", "10", "0.9", "1.37"],
                         capture_output=True, text=True, check=True)
    seconds = re.search(r"consuming time is (\d+)", run.stdout)
    if run.stdout != LOG.format(model=path, result=result, seconds=seconds and seconds.group(1)):
        yield f"unexpected log:\n{run.stdout}"
    if run.stderr:
        yield f"unexpected report:\n{run.stderr}"
    files = sorted(folder.glob(f"{model.stem}.[ATD].*"))
    if not files:
        yield "no result file"
    for file in files:
        blocks = list(read_blocks(file.read_text()))
        if not blocks:
            yield f"{file.name} has no block"
        for label, cells, numbers in blocks:
            if numbers != cells:
                yield f"{file.name}: {label} has {numbers} numbers, expected {cells}"


def main():
    models = sorted(ROOT.glob("examples/*.trl")) + sorted(ROOT.glob("bench/*.trl"))
    problems = [] if models else ["no models"]
    for model in models:
        with tempfile.TemporaryDirectory() as folder:
            found = check_model(sys.argv[1], model, Path(folder))
            problems += [f"{model.name}: {problem}" for problem in found]
    print("\n".join(problems) or f"{len(models)} models: as expected")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
