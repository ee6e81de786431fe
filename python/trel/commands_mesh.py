"""The commands ``trel-tools mesh``: convert, doctor, voxels."""

from __future__ import annotations

import argparse
from pathlib import Path
from typing import Any

from . import mesh

Numbered = tuple[str, float]


def add_mesh(commands: Any) -> None:
    """Add the commands to those of ``trel-tools``."""
    command = commands.add_parser("mesh", help="meshes from anywhere")
    kinds = command.add_subparsers(required=True, metavar="WHAT")
    for add in (_add_convert, _add_doctor, _add_voxels):
        add(kinds)


def _numbered(word: str) -> Numbered:
    name, found, number = word.rpartition("=")
    if not found:
        raise argparse.ArgumentTypeError(f"{word}: write NAME=NUMBER")
    return name, float(number)


def _add_regions(command: Any) -> None:
    command.add_argument("--region", action="append", default=[], metavar="NAME=NUMBER",
                         type=_numbered, help="region of a group of cells; 0 leaves it out; may "
                                              "be repeated")


def _regions(asked: argparse.Namespace) -> dict[str | int, int]:
    return {name: int(number) if number == int(number) else number
            for name, number in asked.region}


def _add_convert(kinds: Any) -> None:
    command = kinds.add_parser("convert", help="write a mesh as trelrun reads it")
    command.add_argument("input", help=".msh, .mesh, .ele, .vol, .vtk, .vtu, .stl, .ply, .off, ...")
    command.add_argument("output", help=".off, .ply, .stl, .surf; of tetrahedra .am, .mesh")
    command.add_argument("--scale", type=float, default=1.0, help="from the file's unit to mm")
    command.add_argument("--center", type=float, nargs=3, metavar=("X", "Y", "Z"),
                         help="where the middle of the box goes, mm")
    command.add_argument("--move", type=float, nargs=3, metavar=("X", "Y", "Z"), default=(0, 0, 0),
                         help="by how much it is moved then, mm")
    command.add_argument("--weld", type=float, default=0.0, metavar="D",
                         help="points within this distance become one, mm; 0 without it")
    _add_regions(command)
    command.set_defaults(do=_convert)


def _convert(asked: argparse.Namespace) -> None:
    print(mesh.convert(asked.input, asked.output, scale=asked.scale, center=asked.center,
                       move=asked.move, weld=asked.weld, regions=_regions(asked)))


def _add_doctor(kinds: Any) -> None:
    command = kinds.add_parser("doctor", help="tell what is wrong with a mesh, and mend it")
    command.add_argument("file")
    command.add_argument("-o", "--out", metavar="CULPRITS.vtu", help="what is wrong, as a file")
    command.add_argument("--mend", metavar="FILE", help="write it welded and wound alike")
    command.add_argument("--weld", type=float, default=0.0, metavar="D",
                         help="with --mend: points within this distance become one, mm")
    command.set_defaults(do=_doctor)


def _doctor(asked: argparse.Namespace) -> int:
    found = mesh.doctor(asked.file, culprits=asked.out, mend=asked.mend, weld=asked.weld)
    print(found)
    if asked.out:
        print(f"culprits: {asked.out if Path(asked.out).exists() else 'none'}")
    return 0 if found.is_usable else 1


def _add_voxels(kinds: Any) -> None:
    command = kinds.add_parser("voxels", help="make tetrahedra of a volume of labels")
    command.add_argument("labels", help=".nii, .nii.gz, or .npy")
    command.add_argument("output", help=".am, .mesh; .off, ... for the outer surface")
    command.add_argument("--spacing", type=float, nargs="+", metavar="D",
                         help="size of a voxel of .npy, mm: one number, or three")
    command.add_argument("--coarsen", type=int, default=1, metavar="N",
                         help="so many voxels along each axis become one")
    command.add_argument("--index", action="append", default=[], metavar="LABEL=N", type=_numbered,
                         help="refractive index of a label, for a warning; may be repeated")
    _add_regions(command)
    command.set_defaults(do=_voxels)


def _voxels(asked: argparse.Namespace) -> None:
    indices = {int(label): n for label, n in asked.index} or None
    made = mesh.voxels(asked.labels, asked.spacing, coarsen=asked.coarsen, indices=indices,
                       regions=_regions(asked))
    print(mesh.save(made, asked.output))
