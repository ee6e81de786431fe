"""The model of a result in a report: its cut, and what the program warns of."""

from __future__ import annotations

import hashlib
import re
import tempfile
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from functools import partial
from pathlib import Path
from typing import Any

import xarray as xr
from matplotlib.axes import Axes

from .. import program
from ..errors import TrelError
from ..model import Description
from ..plot.modelcut import ModelCut, look
from .page import Page, Section


@dataclass(frozen=True)
class Placed:
    """A model as a file, with its meshes where they are now."""

    path: Path
    problems: tuple[str, ...]
    """Meshes that are missing, or are others than those of the run."""
    is_whole: bool
    """Whether all meshes are there."""


@contextmanager
def place_model(ds: xr.Dataset, folder: Path) -> Iterator[Placed | None]:
    """Write the model of a result to a file for a while; meshes may have moved to ``folder``.

    None if the result does not have its model.
    """
    if "model" not in ds.attrs:
        yield None
        return
    meshes = str(ds.attrs.get("mesh_files", "")).splitlines()
    hashes = str(ds.attrs.get("mesh_sha256", "")).splitlines()
    text, problems, is_whole = str(ds.attrs["model"]), [], True
    for mesh, told in zip(meshes, hashes):
        name = Path(mesh).name
        found = next((file for file in (Path(mesh), folder / name) if file.is_file()), None)
        if found is None:
            is_whole = False
            problems.append(f"The mesh {mesh} is not there any more.")
            continue
        if hashlib.sha256(found.read_bytes()).hexdigest() != told.split()[0]:
            problems.append(f"The mesh {found} has been changed since the run.")
        text = _point_to(text, found.absolute())
    with tempfile.TemporaryDirectory(prefix="trel-") as scratch:
        path = Path(scratch) / "model.trl"
        path.write_text(text, encoding="utf-8", errors="surrogateescape")
        yield Placed(path, tuple(problems), is_whole)


def _point_to(text: str, file: Path) -> str:
    """Let the lines of a model that name a mesh, with quotes or without, name the file there."""
    name = re.escape(file.name)
    lines = rf"""^([ \t]*\w*path)[ \t]+("([^"\n]*/)?{name}"|([^\s"]*/)?{name}(?=\s|$))"""
    return re.sub(lines, lambda line: f'{line[1]} "{file}"', text, flags=re.M | re.I)


def list_warnings(ds: xr.Dataset, folder: Path) -> list[str]:
    """Return what the program warns of in the model of a result, with its coefficients."""
    with place_model(ds, folder) as placed:
        if placed is None:
            return ["The result does not have its model."]
        if not placed.is_whole:
            return [*placed.problems, "So the model could not be checked."]
        options = ["--no-pilot", "--rules", str(ds.attrs.get("rules", "exact"))]
        for change in str(ds.attrs.get("changed_coefficients", "")).splitlines():
            options += ["--set", change]
        findings = program.findings_of(program.check(placed.path, *options))
    return [*placed.problems,
            *(f"The program's {finding.severity}: {finding}" for finding in findings)]


def add_model(page: Page, ds: xr.Dataset, folder: Path) -> Section:
    """Add a section with cuts through the model of a result."""
    section = page.add("Model")
    with place_model(ds, folder) as placed:
        if placed is None:
            section.words.append("The result does not have its model.")
        elif not placed.is_whole:
            section.words += [*placed.problems, "So there is no picture of the model."]
        else:
            try:
                draw_cuts(page, section, Description.read(placed.path))
            except TrelError as error:
                section.words.append(f"There is no picture of the model: {error}")
    return section


def draw_cuts(page: Page, section: Section, model: Description) -> None:
    """Draw a model across y and z, or in its plane."""
    flat = model.settings.dimension == 2
    for axis in ("z",) if flat else ("y", "z"):
        told = look(model, axis, None, 300)
        caption = "The model" if flat else f"The model, cut across {axis}"
        page.draw(section, f"{caption}, with sources, detectors and the grid",
                  partial(_draw_cut, told), (7.5, 4.5))


def _draw_cut(told: dict[str, Any], ax: Axes) -> None:
    """Draw a cut with its legend beside it."""
    ax.legend(handles=ModelCut(told, ax).draw(), fontsize="small", loc="upper left",
              bbox_to_anchor=(1.02, 1), borderaxespad=0)
