"""The commands of ``trel-tools`` for series: sweep, worker, scheduler."""

from __future__ import annotations

import argparse
from pathlib import Path
from typing import Any

import xarray as xr

from ..errors import TrelError
from .export import Export
from .local import Local
from .machines import Distributed
from .security import Tls
from .series import collect, count_jobs, sweep
from .serving import serve_scheduler, serve_worker


def add_commands(commands: Any) -> None:
    """Add the commands to those of ``trel-tools``."""
    _add_sweep(commands)
    _add_worker(commands)
    _add_scheduler(commands)


def _add_sweep(commands: Any) -> None:
    command = commands.add_parser("sweep", help="run a model over the values of parameters")
    command.add_argument("model", nargs="?", help="MODEL.trl; not with --status, --collect")
    command.add_argument("folder", help="of the series: jobs, results, what is done")
    command.add_argument("--vary", action="append", default=[], metavar="TISSUE.NAME=V,V,...",
                         help="mua, mus (1/mm), g or n of a tissue; may be repeated")
    command.add_argument("--quantities", default="Rd,absorption", metavar="Q,Q,...",
                         help="totals (Rd, absorption, top, fibre2) and curves (Rd(r))")
    command.add_argument("--packets", type=float, help="of each run; else those of the model")
    command.add_argument("--replicates", type=int, default=1, metavar="N")
    command.add_argument("--root-seed", type=int, help="of all seeds; else that of the folder")
    command.add_argument("--common-seeds", action="store_true", help="the same at all points")
    command.add_argument("--rel-error", type=float, metavar="F", help="of each run")
    command.add_argument("--of", default="absorption", metavar="TOTAL", help="of which total")
    command.add_argument("--batches", type=int)
    command.add_argument("--keep", choices=["nc"], help="keep whole results")
    command.add_argument("--retry", action="store_true", help="run again what was wrong or lost")
    command.add_argument("--processes", type=int, help="runs at a time, here")
    command.add_argument("--cores", type=int, help="of each run, here or of a script")
    where = command.add_mutually_exclusive_group()
    where.add_argument("--runner", metavar="ADDRESS", help="of a scheduler, tcp://127.0.0.1:8786")
    where.add_argument("--export", choices=["slurm", "parallel"], help="write a script instead")
    where.add_argument("--status", action="store_true", help="tell how many jobs are done")
    where.add_argument("--collect", action="store_true", help="make the table of what is done")
    command.add_argument("-o", "--out", metavar="TABLE", help="write the table: .nc or .csv")
    _add_security(command)
    command.set_defaults(do=_sweep)


def _add_security(command: argparse.ArgumentParser) -> None:
    command.add_argument("--tls", nargs=3, metavar=("CA", "CERT", "KEY"), help="files, PEM")
    command.add_argument("--insecure", action="store_true",
                         help="let everyone on the network run programs as you")


def _tls(asked: argparse.Namespace) -> Tls | None:
    return Tls(*asked.tls) if asked.tls else None


def _sweep(asked: argparse.Namespace) -> int:
    if asked.status or asked.collect:
        if asked.model:
            raise TrelError("--status and --collect need the folder alone")
        if asked.status:
            for status, count in count_jobs(asked.folder).items():
                print(f"{status}: {count}")
            return 0
        return _show(collect(asked.folder), asked.out)
    if not asked.model or not asked.vary:
        raise TrelError("say MODEL.trl, FOLDER and --vary TISSUE.NAME=V,V,...")
    table = sweep(
        asked.model, _parse_values(asked.vary), asked.folder, asked.quantities.split(","),
        asked.replicates, asked.root_seed, asked.common_seeds, asked.rel_error, _runner(asked),
        asked.keep, packets=asked.packets, of=asked.of, batches=asked.batches, retry=asked.retry)
    if asked.export:
        print(f"{asked.folder}/{asked.export}.sh runs the jobs; then: "
              f"trel-tools sweep --collect {asked.folder}")
        return 0
    return _show(table, asked.out)


def _runner(asked: argparse.Namespace) -> Any:
    if asked.export:
        return Export(asked.export, asked.cores)
    if asked.runner:
        return Distributed(asked.runner, _tls(asked), asked.insecure)
    return Local(asked.processes, asked.cores)


def _parse_values(words: list[str]) -> dict[str, list[float | str]]:
    told: dict[str, list[float | str]] = {}
    for word in words:
        name, found, values = word.partition("=")
        try:
            told[name] = [float(value) for value in values.split(",")]
        except ValueError:
            found = ""
        if not found or "." not in name:
            raise TrelError(f"--vary {word}: write TISSUE.NAME=V,V,...")
    return told


def _show(table: xr.Dataset, out: str | None) -> int:
    """Print the totals of a table, write it; tell by the status whether all is done."""
    if out and Path(out).suffix == ".csv":
        _frame(table).to_csv(out)
    elif out:
        table.to_netcdf(out)
    _print_rows(table)
    return int(bool((table["status"] != "done").any()))


def _frame(table: xr.Dataset) -> Any:
    return table[[name for name in table.data_vars
                  if set(table[name].dims) <= set(table["status"].dims) | {"wavelength"}]
                 ].to_dataframe()


def _print_rows(table: xr.Dataset) -> None:
    """Print a line for each point: what it is, its totals with their errors, its status."""
    axes = [str(axis) for axis in table["status"].dims]
    totals = [str(name) for name in table.data_vars
              if f"{name}_error" in table and set(table[name].dims) <= {*axes, "wavelength"}]
    print("  ".join([*axes, *totals, "status"]))
    rows = table.stack(point_=axes) if axes else table.expand_dims("point_")
    for number in range(rows.sizes["point_"]):
        row = rows.isel(point_=number)
        words = [f"{row[axis].item():g}" if row[axis].dtype.kind in "fi" else str(row[axis].item())
                 for axis in axes]
        for name in totals:
            told = zip(row[name].values.ravel(), row[f"{name}_error"].values.ravel())
            words.append(", ".join(f"{value:.6g} +- {error:.2g}" for value, error in told))
        print("  ".join([*words, str(row["status"].item())]))


def _add_worker(commands: Any) -> None:
    command = commands.add_parser("worker", help="run jobs of series for a scheduler")
    command.add_argument("address", help="of the scheduler: tcp://127.0.0.1:8786")
    command.add_argument("--port", type=int, default=0, help="of the worker, for a tunnel")
    command.add_argument("--threads", type=int, help="of each run; else all cores")
    command.add_argument("--folder", help="for files; else TMPDIR")
    _add_security(command)
    command.set_defaults(do=lambda asked: serve_worker(
        asked.address, _tls(asked), asked.insecure, asked.port, asked.threads, asked.folder))


def _add_scheduler(commands: Any) -> None:
    command = commands.add_parser("scheduler", help="deal jobs of series to workers")
    command.add_argument("address", nargs="?", default="tcp://127.0.0.1:8786")
    _add_security(command)
    command.set_defaults(do=lambda asked: serve_scheduler(
        asked.address, _tls(asked), asked.insecure))
