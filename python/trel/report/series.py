"""The sections of the report of a series."""

from __future__ import annotations

import itertools
from collections import Counter
from collections.abc import Iterator
from functools import partial
from pathlib import Path
from typing import Any

import numpy as np
import xarray as xr
from matplotlib.axes import Axes

from ..errors import TrelError
from ..model import Description
from ..plot.curves import draw_line
from ..plot.values import Quantity, label_of
from ..sweep.folder import Folder
from ..sweep.table import make_table
from .models import draw_cuts
from .page import Page, Section, Table, number, shorten
from .runs import LARGE, MOST_WAVELENGTHS

MOST_LINES = 8
"""In one picture."""
MOST_ROWS = 1000
MOST_MESSAGES = 20


def describe_series(path: Path) -> Page:
    """Return the page of the folder of a series; nothing is written there."""
    folder = Folder(path)
    table = make_table(folder)
    counts = Counter(str(status) for status in table["status"].to_numpy().ravel())
    page = Page(f"Report of the series {path.name}", [
        str(table.attrs["source"]), f"{table['status'].size} jobs",
        *(f"{count} {status}" for status, count in sorted(counts.items()))])
    page.add("Warnings", *(_list_warnings(table) or ["None."]))
    _add_model(page, folder)
    _add_table(page, table)
    _add_curves(page, table)
    _add_provenance(page, folder, table)
    return page


def _axes(table: xr.Dataset) -> list[str]:
    return [str(axis) for axis in table["status"].dims]


def _points(table: xr.Dataset, axes: list[str]) -> Iterator[dict[str, int]]:
    """Yield the indices of all combinations of values on some axes, the last fastest."""
    for indices in itertools.product(*(range(table.sizes[axis]) for axis in axes)):
        yield dict(zip(axes, indices))


def _word(value: Any) -> str:
    return str(value) if isinstance(value, str) else f"{value:g}"


def _name(table: xr.Dataset, point: dict[str, int]) -> str:
    """Return a point in words: ``muscle.mua = 0.02``."""
    return ", ".join(f"{axis} = {_word(table[axis].to_numpy()[at])}" for axis, at in point.items())


def _list_quantities(table: xr.Dataset, extra: int) -> list[str]:
    """Return the quantities that have so many axes beside parameters and wavelengths."""
    axes = {*_axes(table), "wavelength"}
    return [str(name) for name in table.data_vars if f"{name}_error" in table
            and len(set(table[name].dims) - axes) == extra]


def _list_warnings(table: xr.Dataset) -> list[str]:
    """Return what became of jobs that are not done, and totals that are not well known."""
    told, missing = [], 0
    for point in _points(table, _axes(table)):
        one = table[["status", "message"]].isel(point)
        status = str(one["status"].item())
        missing += status == "missing"
        if status not in ("done", "missing"):
            told.append(f"{_name(table, point)}: {status}. {one['message'].item()}".strip())
    if len(told) > MOST_MESSAGES:
        told[MOST_MESSAGES:] = [f"{len(told) - MOST_MESSAGES} more jobs are wrong or lost."]
    if missing:
        told.append(f"{missing} jobs have not been done: the same sweep goes on where it was.")
    for name in _list_quantities(table, 0):
        value, error = table[name].to_numpy(), table[f"{name}_error"].to_numpy()
        bad = int(((value != 0) & np.isfinite(value) & ~(error <= LARGE * abs(value))).sum())
        if bad:
            told.append(f"{name}: {bad} values have a standard error above {LARGE:.0%}, or none.")
    return told


def _add_model(page: Page, folder: Folder) -> None:
    section = page.add("Model")
    models = list(dict.fromkeys(job.model for job in folder.jobs() if job.model))
    if len(models) > 1:
        section.words.append(f"The first of {len(models)} models.")
    try:
        for name in models[:1]:
            draw_cuts(page, section, Description.read(folder.path / name))
    except (TrelError, OSError) as error:
        section.words.append(f"There is no picture of the model: {error}")


def _add_table(page: Page, table: xr.Dataset) -> None:
    section = page.add("Table")
    axes, names = _axes(table), _list_quantities(table, 0)
    wavelengths = table["wavelength"].to_numpy() if "wavelength" in table else np.array([])
    head = [_head(table, axis) for axis in axes]
    head += [f"{_head(table, name)}, {wavelength:g} nm" for name in names
             for wavelength in wavelengths]
    points = list(_points(table, axes))
    if len(points) > MOST_ROWS:
        section.words.append(f"The first {MOST_ROWS} of {len(points)} points.")
    rows = []
    for point in points[:MOST_ROWS]:
        one = table.isel(point)
        told = [number(float(value), float(error)) for name in names
                for value, error in zip(one[name].to_numpy(), one[f"{name}_error"].to_numpy())]
        rows.append([*(_word(one[axis].item()) for axis in axes), *told,
                     str(one["packets"].item()), str(one["status"].item())])
    section.tables.append(Table([*head, "packets", "status"], rows))


def _head(table: xr.Dataset, name: str) -> str:
    unit = str(table[name].attrs.get("units", ""))
    return name if unit in ("", "1") else f"{name} ({unit})"


def _add_curves(page: Page, table: xr.Dataset) -> None:
    """Add pictures of totals by a parameter and of curves at points, lines for the others."""
    section = page.add("Curves", "Bars and bands are one standard error to each side.")
    along = max(_axes(table), key=lambda axis: (table[axis].dtype.kind in "fiu", table.sizes[axis]),
                default=None)
    count = min(table.sizes.get("wavelength", 0), MOST_WAVELENGTHS)
    for at in range(count):
        one = table.isel(wavelength=at)
        told = f", {float(one['wavelength']):g} nm"
        for name in _list_quantities(table, 0) if along else []:
            page.draw(section, f"{name} by {along}{told}", partial(_draw_totals, one, name, along))
        for name in _list_quantities(table, 1):
            page.draw(section, f"{name}{told}", partial(_draw_curves, one, name))
    _tell_lines(section, table, along)
    if not section.pictures:
        section.words = ["There is nothing to draw yet."]


def _tell_lines(section: Section, table: xr.Dataset, along: str | None) -> None:
    sizes = [table.sizes[axis] for axis in _axes(table)]
    lines = int(np.prod(sizes)) // (table.sizes[along] if along else 1)
    if lines > MOST_LINES or (_list_quantities(table, 1) and np.prod(sizes) > MOST_LINES):
        section.words.append(f"A picture has {MOST_LINES} lines at most, from the first to the "
                             "last point; the table has all.")


def _spread(points: list[dict[str, int]]) -> list[dict[str, int]]:
    """Return at most as many points as a picture has lines, evenly from the first to the last."""
    chosen = np.linspace(0, len(points) - 1, min(len(points), MOST_LINES)).round().astype(int)
    return [points[at] for at in chosen]


def _draw_totals(table: xr.Dataset, name: str, along: str, ax: Axes) -> None:
    others = [axis for axis in _axes(table) if axis != along]
    for point in _spread(list(_points(table, others))):
        one = table[[name, f"{name}_error"]].isel(point)
        ax.errorbar(table[along].to_numpy(), one[name].to_numpy(), one[f"{name}_error"].to_numpy(),
                    marker="o", markersize=4, capsize=3, label=_name(table, point))
    ax.set(xlabel=_head(table, along), ylabel=label_of(table[name]))
    if others:
        ax.legend(fontsize="small")


def _draw_curves(table: xr.Dataset, name: str, ax: Axes) -> None:
    values = table[name].to_numpy()
    positive = values[values > 0]
    log = bool(positive.size and positive.max() > 100 * positive.min())
    for point in _spread(list(_points(table, _axes(table)))):
        one = table[[name, f"{name}_error"]].isel(point)
        borders: dict[str, np.ndarray | None] = {str(axis): None for axis in one[name].dims}
        draw_line(ax, Quantity(one[name], one[f"{name}_error"].to_numpy(), borders,
                               (_name(table, point),)), log, 1)
    ax.set_title("")
    ax.legend(fontsize="small")


def _add_provenance(page: Page, folder: Folder, table: xr.Dataset) -> None:
    section, told = page.add("Provenance"), folder.describe()
    done = [line for line in folder.manifest().values() if line.get("status") == "done"]
    rows = [["folder", str(folder.path)]]
    for name, values in told.pop("parameters", {}).items():
        rows.append([name, ", ".join(map(_word, values))])
    rows += [[name.replace("_", " "), ", ".join(value) if isinstance(value, list) else str(value)]
             for name, value in told.items()]
    times = sorted(line["time"] for line in done if "time" in line)
    rows += [["first and last result", " to ".join(times[:1] + times[-1:])],
             ["machines", ", ".join(sorted({str(line.get("host", "")) for line in done} - {""}))],
             ["packets of all jobs", str(int(table["packets"].sum()))]]
    section.tables.append(Table(["what", "value"], rows))
    section.listing_title = "The jobs, each a command in that folder:"
    section.listing = shorten("\n".join(job.tell()["command"] for job in folder.jobs()))
