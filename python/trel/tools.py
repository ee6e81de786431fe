"""The command ``trel-tools``: models, runs, results and pictures from the shell."""

from __future__ import annotations

import argparse
import functools
import inspect
import os
import sys
import warnings
from collections.abc import Callable
from pathlib import Path
from typing import Any

import matplotlib
import xarray as xr

import trel

from . import commands_mesh, plot, program
from .errors import TrelError
from .sweep.command import add_commands as add_series

PICTURES: dict[str, Callable[..., Any]] = {
    "slice": plot.slice, "profile": plot.profile, "time": plot.time_curve, "surface": plot.surface,
    "mesh": plot.mesh, "camera": plot.camera, "phase": plot.phase, "ledger": plot.ledger,
}


def main(arguments: list[str] | None = None) -> int:
    """Do what the command line says; return the exit status.

    0: done. 1: it failed, or ``check`` found errors, or ``compare`` a difference. 2: the command
    line is wrong. What went wrong is one message on the standard error.
    """
    asked = _make_parser().parse_args(arguments)
    matplotlib.use("Agg")
    try:
        with warnings.catch_warnings():
            warnings.showwarning = _show_warning
            warnings.simplefilter("ignore", DeprecationWarning)  # of libraries among themselves
            return int(asked.do(asked) or 0)
    except BrokenPipeError:  # who reads the output has seen enough
        sys.stdout = open(os.devnull, "w", encoding="utf-8")
        return 1
    except KeyboardInterrupt:
        print("trel-tools: interrupted", file=sys.stderr)
        return 130
    except (TrelError, ValueError, OSError) as error:
        print(f"trel-tools: {error}", file=sys.stderr)
        return 1


def _show_warning(message: Any, *_: Any, **__: Any) -> None:
    print(f"trel-tools: warning: {message}", file=sys.stderr)


def _make_parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="trel-tools", description="Models, runs, results and pictures of light in tissue.",
        epilog="trel-tools COMMAND --help tells the options of a command.")
    parser.add_argument("--version", action="version", version=f"trel-tools {trel.__version__}")
    commands = parser.add_subparsers(required=True, metavar="COMMAND")
    for add in (_add_info, _add_check, _add_run, _add_plot, _add_export, _add_compare,
                _add_report, commands_mesh.add_mesh, add_series):
        add(commands)
    return parser


def _add_info(commands: Any) -> None:
    command = commands.add_parser("info", help="tell what a result holds")
    command.add_argument("file", help="BASE.nc")
    command.set_defaults(do=_info)


def _info(asked: argparse.Namespace) -> None:
    ds = trel.open(asked.file)
    for name in ("source", "rules", "model_file", "packets", "batches", "seed", "partial", "date",
                 "elapsed_seconds"):
        if name in ds.attrs:
            print(f"{name.replace('_', ' ')}: {ds.attrs[name]}")
    print("\naxes")
    for name in (str(dim) for dim in ds.dims if dim in ds.coords):
        values, unit = ds[name].to_numpy(), ds[name].attrs.get("units", "")
        print(f"  {name}: {len(values)}, {values[0]} to {values[-1]} {unit}")
    print("\nvariables")
    errors = [str(name) for name in ds.data_vars if str(name).endswith("_error")]
    for name in map(str, ds.data_vars):
        if not name.endswith(("_error", "_batches", "_bounds", "_total")):
            axes = ", ".join(map(str, ds[name].dims))
            with_error = "+-" if f"{name}_error" in errors else ""
            print(f"  {name} ({axes}) {ds[name].attrs.get('units', '')} {with_error}".rstrip())
    print()
    _print_totals(ds)


def _print_totals(ds: xr.Dataset) -> None:
    """Print the total of each grid at each wavelength (nm) with its standard error."""
    print("totals")
    for name in map(str, ds.data_vars):
        if not name.endswith("_total"):
            continue
        for number, wavelength in enumerate(ds["wavelength"].to_numpy()):
            error = ds.get(f"{name}_error")
            told = "" if error is None else f" +- {float(error[number]):.2g}"
            unit = ds[name].attrs.get("units", "1").replace("1", "", 1)
            print(f"  {name}, {wavelength} nm: {float(ds[name][number]):.6g}{told} {unit}".rstrip())


def _add_check(commands: Any) -> None:
    command = commands.add_parser("check", help="tell what is wrong with a model")
    command.add_argument("model", help="MODEL.trl")
    command.set_defaults(do=_check)


def _check(asked: argparse.Namespace) -> int:
    told = program.check(asked.model)
    for finding in program.findings_of(told):
        print(f"{finding.severity}: {finding}")
    print(f"{asked.model}: {told['errors']} errors, {told['warnings']} warnings")
    return 1 if told["errors"] else 0


def _add_run(commands: Any) -> None:
    command = commands.add_parser("run", help="run a model")
    command.add_argument("model", help="MODEL.trl")
    command.add_argument("-o", "--out", help="file of the results; else MODEL.nc here")
    command.add_argument("--packets", type=float, help="of all sources together")
    command.add_argument("--seed", type=int, help="else fresh entropy, which is stored")
    command.add_argument("--rel-error", type=float, metavar="F",
                         help="go on until the relative standard error of a total is below it")
    command.add_argument("--of", default="absorption", metavar="TOTAL", help="which total that is")
    command.add_argument("--max-seconds", type=float, metavar="T", help="stop the packets then")
    command.add_argument("--threads", type=int)
    command.add_argument("--batches", type=int)
    command.add_argument("--exits", metavar="N", help="keep what leaves: a number, or all")
    command.add_argument("--keep-batches", action="store_true", help="keep the grids of batches")
    command.add_argument("--elements", action="store_true", help="absorption by tetrahedron, too")
    command.add_argument("--set", action="append", default=[], metavar="TISSUE.NAME=VALUE",
                         help="mua, mus (1/mm), g or n of a tissue; may be repeated")
    command.add_argument("--quiet", action="store_true", help="no bar, no totals")
    command.set_defaults(do=_run)


def _run(asked: argparse.Namespace) -> None:
    options = {key: value for key, value in vars(asked).items()
               if key in inspect.signature(trel.run_file).parameters}
    settings = {}
    for word in asked.set:
        name, found, value = word.partition("=")
        if not found:
            raise ValueError(f"--set {word}: write TISSUE.NAME=VALUE")
        settings[name] = float(value)
    if asked.exits not in (None, "all"):
        options["exits"] = int(float(asked.exits))
    options["progress"] = False if asked.quiet else None
    ds = trel.run_file(asked.model, settings=settings, **options)
    if not asked.quiet:
        print(f"results: {ds.encoding.get('source', '')}")
        _print_totals(ds)


def _add_plot(commands: Any) -> None:
    command = commands.add_parser("plot", help="draw a model or a result")
    command.add_argument("file", help="MODEL.trl or BASE.nc")
    command.add_argument("-o", "--out", help="the picture: .png, .pdf, .svg; else FILE.png")
    command.add_argument("--what", choices=PICTURES, default="slice", help="of a result")
    command.add_argument("--name", help="variable; else the first that fits")
    command.add_argument("--face", help="of a surface: top, side, ...")
    command.add_argument("--number", type=int, help="of a camera")
    command.add_argument("--normal", help="axis across the plane of a slice: x, y, z, azimuth, r")
    command.add_argument("--at", type=float, help="where on that axis, mm or degrees")
    command.add_argument("--along", help="axis of a profile")
    command.add_argument("--wavelength", type=float, help="nm")
    command.add_argument("--time", type=float, help="time of flight, ps")
    command.add_argument("--log", action="store_true", default=None)
    command.add_argument("--linear", action="store_false", dest="log")
    command.add_argument("--decades", type=float, help="of a logarithmic scale of colours")
    command.set_defaults(do=_plot)


def _plot(asked: argparse.Namespace) -> None:
    if Path(asked.file).suffix == ".trl":
        what = "a model"
        draw = _draw_model(trel.Model.read(asked.file))
    else:
        what = asked.what
        draw = functools.partial(PICTURES[what], trel.open(asked.file))
    known = inspect.signature(draw).parameters
    options = {}
    for key in ("name", "face", "number", "normal", "at", "along", "wavelength", "time", "log",
                "decades"):
        value = getattr(asked, key)
        if value is None:
            continue
        if key not in known:
            raise ValueError(f"--{key} says nothing of {what}")
        options[key] = value
    ax = draw(**options)
    _save(ax, asked.out or Path(asked.file).with_suffix(".png").name)


def _draw_model(model: trel.Model) -> Callable[..., Any]:
    return lambda normal="y", at=None: model.plot(normal, at)


def _save(ax: Any, path: str) -> None:
    """Write a picture with all its labels, also those beside the axes."""
    ax.figure.savefig(path, dpi=120, bbox_inches="tight")


def _add_export(commands: Any) -> None:
    command = commands.add_parser("export", help="write a result for another program")
    command.add_argument("file", help="BASE.nc")
    command.add_argument("out", help=".vti, .vtu, .nii.gz, .mat or .csv")
    command.add_argument("--name", help="variable, for .nii.gz and .csv")
    command.add_argument("--wavelength", type=float, help="nm, for .nii.gz")
    command.add_argument("--cells", choices=["element", "face"], help="for .vtu")
    command.set_defaults(do=_export)


def _export(asked: argparse.Namespace) -> None:
    options = {key: getattr(asked, key) for key in ("name", "wavelength", "cells")
               if getattr(asked, key) is not None}
    try:
        trel.export(trel.open(asked.file), asked.out, **options)
    except TypeError as error:
        raise ValueError(f"an option that {asked.out} does not take: {error}") from error


def _add_compare(commands: Any) -> None:
    command = commands.add_parser("compare", help="tell whether two results differ")
    command.add_argument("one", help="A.nc")
    command.add_argument("other", help="B.nc")
    command.add_argument("--level", type=float, default=0.001, help="chance of a false alarm")
    command.add_argument("-o", "--out", help="picture of the difference in standard errors")
    command.set_defaults(do=_compare)


def _compare(asked: argparse.Namespace) -> int:
    found = trel.compare(trel.open(asked.one), trel.open(asked.other), asked.level)
    print(found)
    if asked.out:
        _save(plot.difference(found), asked.out)
    return 1 if found.differs else 0


def _add_report(commands: Any) -> None:
    command = commands.add_parser("report", help="write a page of HTML about a run or a series")
    command.add_argument("file", help="BASE.nc, or the folder of a series")
    command.add_argument("-o", "--out", help="file of the page; else BASE.html, or report.html in "
                                             "the folder")
    command.set_defaults(do=lambda asked: print(f"report: {trel.report(asked.file, asked.out)}"))


if __name__ == "__main__":
    sys.exit(main())
