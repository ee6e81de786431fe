"""Results of examples with few packets, each flown once, and the raw numbers of their files."""

import atexit
import functools
import shutil
import tempfile
from pathlib import Path

import netCDF4
import numpy as np

import trel

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
CELLS = "roiseparation 0.5 0.5 2 1 5 1"
# Counts 12, 8, 14 and three spacings, with corners off zero; time gates.
LATTICE = ("limb", CELLS,
           "roi -15 9 -10 14 -12 9\nroiseparation 2 3 1.5 1 5 1\ndomain td 0 900 300")
LATTICE_CORNER, LATTICE_CELL, LATTICE_COUNTS = (-15, -10, -12), (2, 3, 1.5), (12, 8, 14)
# A last cell of 0.4 mm along x.
UNEVEN = ("limb", CELLS, "roi -15 9.4 -10 14 -12 9\nroiseparation 2 3 1.5 1 5 1")
# The nodule alone, a medium that is a mesh.
SURFACE = ("nodule", "tissuenum 2", "tissuenum 1",
           "tissue 1 fat\ntissueshape cube\ntissuecenter 0 0 10\ntissueaxis 10 10 10\n"
           "tissuespectrumindex 1 0.01 8 0.9 1.44\n", "", "tissue 2 nodule", "tissue 1 nodule")


@functools.cache
def folder():
    made = Path(tempfile.mkdtemp(prefix="trel-tests-"))
    atexit.register(shutil.rmtree, made, ignore_errors=True)
    for mesh in ("nodule.off", "ball-in-box.mesh"):
        shutil.copy(EXAMPLES / mesh, made)
    return made


@functools.cache
def path(name, *changes, packets=4000, seed=1, elements=False):
    """File of a run of an example in whose text the first of each two words became the second."""
    text = (EXAMPLES / f"{name}.trl").read_text()
    for old, new in zip(changes[::2], changes[1::2]):
        assert old in text, old
        text = text.replace(old, new)
    stem = f"{name}-{abs(hash((changes, packets, seed, elements)))}"
    model = folder() / f"{stem}.trl"
    model.write_text(text)
    out = folder() / f"{stem}.nc"
    trel.run_file(model, packets=packets, seed=seed, out=out, progress=False, elements=elements)
    return out


def result(name, *changes, **options):
    return trel.open(path(name, *changes, **options))


@functools.cache
def variables(file):
    # From a copy: HDF5 fails where a file with text is opened twice and closed once.
    with netCDF4.Dataset(shutil.copy(file, f"{file}.raw")) as data:
        return {name: np.ma.getdata(variable[...]) for name, variable in data.variables.items()
                if not name.startswith("state_")}


def raw(file, name):
    """A variable as it lies in the file, with axes from the last to the first: z, y, x."""
    return variables(file)[name]
