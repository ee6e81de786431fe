#!/usr/bin/env python3
"""Runs the program while memory or threads run out: a run ends in a report, never in a crash.

Usage: scarcityTest.py TREL FAILING_MEMORY_LIBRARY [STRIDE]

On each of three models allocation k fails, once or from then on, for every k up to 100 and for every
STRIDE-th (default 7) beyond. A run that reports nothing must have written what a whole run writes.
Where the system starts fewer threads than wanted, the run takes those and says so, once.
"""

import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

TREL, LIBRARY = (str(Path(argument).resolve()) for argument in sys.argv[1:3])
STRIDE = int(sys.argv[3]) if len(sys.argv) > 3 else 7
HEAD = """trl
simulationproperty
simulationtype DOT
dimension 3d
spectrumnum 1
lightsourcenum 1
tissuenum {tissues}
detectornum 2
transmittancematrix 1 cartesian
photonflytime 1
roiseparation 0.4 0.4 0.4
domain td 0 100 50
threadnum {threads}
{more}endsimulationproperty
spectrum 1 650
lightsource 1
lightsourceshape cube
lightsourceproperty internal solid nospecular
lightsourceaxis 0.1 0.1 0.1
lightsourcespectrumindex 1 1 20
tissue 1 body
"""
BODY = """tissuecenter 0 0 0
tissueaxis 1 1 1
tissuespectrumindex 1 0.1 10 0.9 1.37
"""
DETECTORS = """detectorlens 1
detectorcenter 0 0 400
detectorresolution 4 4
fiberdetector 2
fiberdetectorshape cylinder
fiberdetectorcenter 0 0 0.5
fiberdetectoraxis 0.2 0.2 0.2
"""
CORNERS = [(x, y, z) for z in (-1, 1) for y in (-1, 1) for x in (-1, 1)]
TRIANGLES = [(0, 2, 3), (0, 3, 1), (4, 5, 7), (4, 7, 6), (0, 1, 5), (0, 5, 4), (2, 6, 7), (2, 7, 3),
             (0, 4, 6), (0, 6, 2), (1, 3, 7), (1, 7, 5)]
TETRAHEDRA = [(0, 1, 3, 7), (0, 3, 2, 7), (0, 2, 6, 7), (0, 6, 4, 7), (0, 4, 5, 7), (0, 5, 1, 7)]
# What the OpenMP run-time and the C library say when they end the process themselves.
NOT_OURS = re.compile(r"^\n?libgomp: (Out of memory allocating \d+ bytes|Thread creation failed: .*)\n\Z"
                      r"|^Fatal glibc error: failed to register TLS destructor: out of memory\n\Z",
                      re.MULTILINE)


def rows(table, shift=0, before=""):
    return "".join(f"{before}{' '.join(str(n + shift) for n in row)}\n" for row in table)


def write_models(folder):
    """The models by name: shapes, a triangle mesh, and tetrahedra on two threads."""
    (folder / "cube.off").write_text(f"OFF\n8 12 0\n{rows(CORNERS)}{rows(TRIANGLES, 0, '3 ')}")
    (folder / "cube.mesh").write_text(f"8\n{rows(CORNERS)}6\n{rows(TETRAHEDRA, 1, '1 ')}")
    inner = "tissue 2 core\ntissueshape ellipsoid\n" + BODY.replace("1 1 1", "0.3 0.3 0.3").replace("1.37", "1.4")
    models = {
        "shapes": HEAD.format(tissues=2, threads=1, more="") + "tissueshape cube\n" + BODY + inner +
        DETECTORS,
        "triangles": HEAD.format(tissues=1, threads=1, more="") +
        "tissueshape trianglemesh\ntissuepath cube.off\n" + BODY + DETECTORS.split("fiber")[0],
        "tetrahedra": HEAD.format(tissues=1, threads=2, more="mediumshapetetratype 1\n") +
        "tissueshape tetrahedron\n" + BODY + "mediumtetrapath cube.mesh\n" + DETECTORS}
    for name, text in models.items():
        (folder / f"{name}.trl").write_text(text + "endtrl\n")
    return models


def run(folder, name, label, **environment):
    """Status, standard error and result files of a run."""
    output = folder / f"{name}.{label}"
    output.mkdir()
    run = subprocess.run([TREL, f"{name}.trl", output / "r", "0.1", "10", "0.9", "1.37"], cwd=folder,
                         env=os.environ | {"LD_PRELOAD": LIBRARY} | environment,
                         capture_output=True, text=True, timeout=120)
    return run.returncode, run.stderr, {f.name: f.read_bytes() for f in output.iterdir()}


def check_model(folder, name, pool):
    status, report, whole = run(folder, name, "whole", TREL_COUNT=str(folder / "count"))
    count = int((folder / "count").read_text())
    if status != 0 or report or not whole:
        yield f"status {status}, files {sorted(whole)}: {report}"
    # Threads add in any order.
    comparable = name != "tetrahedra"

    def check(variable, k):
        status, report, files = run(folder, name, f"{variable}.{k}", **{variable: str(k)})
        silent = not report and comparable and files != whole
        if silent or (status != 0 and not NOT_OURS.search(report)):
            return f"{variable}={k}: status {status}, files {sorted(files)}: {report}"
        return None

    ks = [k for k in range(1, count + 1) if k <= 100 or k % STRIDE == 0]
    yield from filter(None, pool.map(lambda job: check(*job),
                                     [(v, k) for v in ("TREL_FAIL_AT", "TREL_FAIL_FROM") for k in ks]))
    print(f"{name}: {count} allocations, {2 * len(ks)} runs")


def check_threads(folder):
    """A stack that does not fit, and a limit on processes, which only others than root are under."""
    folder.chmod(0o777)
    program = shutil.copy(TREL, folder)
    is_root = os.geteuid() == 0
    few = 3 if is_root else 1  # of a user without other processes, or with many
    limits = [({"OMP_STACKSIZE": "200000G"}, 1, {}),
              ({"OMP_STACKSIZE": "rubbish", "GOMP_STACKSIZE": " 200000 g "}, 1, {}),
              ({}, few, {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_NPROC, (few, few)),
                         **({"user": 64321} if is_root else {})}),
              ({"OMP_STACKSIZE": "512"}, 8, {})]
    for name in ("shapes", "triangles", "tetrahedra"):
        model = folder / f"{name}8.trl"
        model.write_text(re.sub(r"threadnum \d", "threadnum 8", (folder / f"{name}.trl").read_text()))
        for environment, threads, more in limits:
            run = subprocess.run([program, model, folder / "out", "0.1", "10", "0.9", "1.37"],
                                 env=os.environ | environment, capture_output=True, text=True, **more)
            said = re.findall(r"threadnum: got 8 threads, of which the system starts (\d+)", run.stderr)
            if said != [str(threads)] * (threads < 8) or "write ok" not in run.stdout:
                yield f"{name}, {environment}: expected {threads} threads: {run.stderr}{run.stdout}"
            for file in folder.glob("out.*"):
                file.unlink()


def main():
    problems = []
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(2) as pool:
        for name in write_models(Path(folder)):
            problems += [f"{name}: {problem}" for problem in check_model(Path(folder), name, pool)]
        problems += check_threads(Path(folder))
    print("\n".join(problems) or "as expected")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
