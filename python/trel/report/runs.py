"""The sections of the report of a run."""

from __future__ import annotations

import re
from functools import partial
from pathlib import Path

import numpy as np
import xarray as xr
from matplotlib.axes import Axes

from .. import plot
from ..plot.values import GATED, GRIDS
from .models import add_model, list_warnings
from .page import Page, Section, Table, number, shorten

LARGE = 0.05
"""Relative standard error of a total that is worth a warning."""
LARGE_OF_CELLS = 0.2
"""The same of the cell in the middle, when they are sorted by their errors."""
MOST_WAVELENGTHS = 3
"""How many are drawn; tables have all."""
FIRST = ("model_file", "source", "rules", "packets", "batches", "seed", "partial", "date",
         "processor", "threads", "elapsed_seconds", "cpu_seconds")
"""Attributes that are told ahead of the others."""


def describe_run(ds: xr.Dataset, file: Path) -> Page:
    """Return the page of a result of ``trelrun``."""
    attrs = ds.attrs
    page = Page(f"Report of {file.name}", [
        str(attrs.get("source", "")), f"{attrs.get('rules')} rules",
        f"{int(attrs.get('packets', 0)):,} packets".replace(",", " "), str(attrs.get("date", ""))])
    page.add("Warnings", *(list_large_errors(ds) + list_warnings(ds, file.parent)
                           or ["None."]))
    add_model(page, ds, file.parent)
    add_coefficients(page, ds)
    _add_ledger(page, ds)
    _add_slices(page, ds)
    _add_surfaces(page, ds)
    _add_profiles(page, ds)
    _add_provenance(page, ds)
    _add_recorded(page, ds)
    return page


def _wavelengths(ds: xr.Dataset) -> list[float]:
    return [float(value) for value in ds["wavelength"].to_numpy()[:MOST_WAVELENGTHS]]


def _list_variables(ds: xr.Dataset) -> list[str]:
    """Return the variables that are no errors, batches or borders of others."""
    endings = ("_error", "_batches", "_bounds")
    return [str(name) for name in ds.data_vars if not str(name).endswith(endings)]


def list_large_errors(ds: xr.Dataset) -> list[str]:
    """Return warnings of a run that was stopped, and of what is not well known."""
    told = []
    if ds.attrs.get("partial"):
        told.append("The run was stopped before all packets were flown: the result is partial, and "
                    "--continue goes on with it.")
    if ds.sizes["wavelength"] > MOST_WAVELENGTHS:
        told.append(f"Pictures show the first {MOST_WAVELENGTHS} of {ds.sizes['wavelength']} "
                    "wavelengths.")
    for name in _list_variables(ds):
        if not name.endswith("_total") or f"{name}_error" not in ds:
            continue
        for at, wavelength in enumerate(ds["wavelength"].to_numpy()):
            value, error = float(ds[name][at]), float(ds[f"{name}_error"][at])
            if value and not error <= LARGE * abs(value):
                known = (f"{error / abs(value):.0%} of it" if np.isfinite(error)
                         else "not known, as fewer than two batches hit it")
                told.append(f"The standard error of {name} at {wavelength:g} nm is {known}.")
    return told + [words for name in GRIDS if name in ds for words in _judge_cells(ds, name)]


def _judge_cells(ds: xr.Dataset, name: str) -> list[str]:
    """Tell of a grid most of whose cells are badly known."""
    if f"{name}_error" not in ds:
        return []
    value, error = ds[name].to_numpy(), ds[f"{name}_error"].to_numpy()
    hit = value > 0
    if not hit.any():
        return [f"No light reached the cells of {name}."]
    relative = np.nan_to_num(error[hit] / value[hit], nan=np.inf)
    middle = float(np.median(relative))
    if middle <= LARGE_OF_CELLS:
        return []
    known = f"above {middle:.0%}" if np.isfinite(middle) else "that is not known"
    return [f"Of the cells of {name} that light reached, half have a standard error {known}."]


def add_coefficients(page: Page, ds: xr.Dataset) -> None:
    """Add a section with the coefficients that were in force."""
    section = page.add("Coefficients")
    changed = str(ds.attrs.get("changed_coefficients", "")).splitlines()
    if changed:
        section.words.append("Changed for this run: " + ", ".join(changed))
    names = [name for name in ("mua", "mus", "g", "n") if name in ds]
    units = [str(ds[name].attrs.get("units", "")).replace("mm-1", "1/mm") for name in names]
    head = [f"{name} ({unit})" if unit not in ("", "1") else name
            for name, unit in zip(names, units)]
    rows = [[f"{wavelength:g}", str(tissue + 1),
             str(ds["tissue_name"].to_numpy()[tissue]) if "tissue_name" in ds else "",
             *(f"{float(ds[name][at, tissue]):.6g}" for name in names)]
            for at, wavelength in enumerate(ds["wavelength"].to_numpy())
            for tissue in range(ds.sizes.get("tissue", 0))]
    section.tables.append(Table(["wavelength (nm)", "tissue", "name", *head], rows))


def _add_ledger(page: Page, ds: xr.Dataset) -> None:
    section = page.add("Ledger")
    totals = [name for name in _list_variables(ds) if name.endswith("_total")]
    section.tables.append(Table(["total", "wavelength (nm)", "value", "relative error"], [
        _total_row(ds, name, at) for name in totals for at in range(ds.sizes["wavelength"])]))
    if "ledger_weight" not in ds:
        section.words.append("The result has no ledger: only those by the exact rules have.")
        return
    told = ds.trel.ledger()
    rows = []
    for wavelength in told["wavelength"].to_numpy():
        for line in told["ledger_line"].to_numpy():
            one = told.sel(wavelength=wavelength, ledger_line=line)
            if one["value"]:
                cells = (number(float(one[name]), float(one.get(f"{name}_error", np.nan)))
                         for name in ("packets", "mean_time", "mean_path"))
                rows.append([f"{wavelength:g}", str(line),
                             number(float(one["value"]), float(one["error"])),
                             f"{float(one['share']):.4%}", *cells])
    section.tables.append(Table(["wavelength (nm)", "what became of the light", "energy", "share",
                                 "packets", "mean time (ps)", "mean path (mm)"], rows))
    for wavelength in _wavelengths(ds):
        page.draw(section, f"What became of the light, {wavelength:g} nm",
                  partial(plot.ledger, ds, wavelength=wavelength), (8, 5))


def _total_row(ds: xr.Dataset, name: str, at: int) -> list[str]:
    value = float(ds[name][at])
    error = float(ds[f"{name}_error"][at]) if f"{name}_error" in ds else np.nan
    share = f"{error / abs(value):.2%}" if value and np.isfinite(error) else ""
    return [name[:-6].replace("_", " "), f"{ds['wavelength'].to_numpy()[at]:g}",
            number(value, error), share]


def _add_slices(page: Page, ds: xr.Dataset) -> None:
    section = page.add("Slices")
    for wavelength in _wavelengths(ds):
        for name in GRIDS:
            if name not in ds or (name in GATED and name[:-3] in ds):
                continue  # the sum over the gates is there
            time = _brightest_gate(ds, name)
            axes = [axis for axis in map(str, ds[name].dims) if axis not in ("wavelength", "time")]
            normals = [axis for axis in ("y", "azimuth", "z") if axis in axes]
            places: list[str | None] = [*normals] if len(axes) == 3 else [None]
            for normal in places:
                place = f", across {normal} in the middle" if normal else ""
                page.draw(section, f"{name.replace('_', ' ')}, {wavelength:g} nm{place}",
                          partial(plot.slice, ds, name, normal, wavelength=wavelength, time=time))
    _draw_phase(page, section, ds, "absorption_|fluence_rate_")
    if not section.pictures:
        section.words.append("Nothing was recorded in the medium.")


def _brightest_gate(ds: xr.Dataset, name: str) -> float | None:
    """Return the time of flight (ps) at which a grid of gates holds most; None without gates."""
    if "time" not in ds[name].dims:
        return None
    sums = ds[name].sum([axis for axis in ds[name].dims if axis != "time"]).to_numpy()
    return float(ds["time"].to_numpy()[int(np.argmax(sums))])


def _draw_phase(page: Page, section: Section, ds: xr.Dataset, names: str) -> None:
    phases = [name for name in _list_variables(ds)
              if name.endswith("_fd_phase") and "_total_" not in name and re.match(names, name)]
    for name in phases:
        page.draw(section, name.replace("_", " "),
                  partial(plot.phase, ds, name))


def _add_surfaces(page: Page, ds: xr.Dataset) -> None:
    section = page.add("Surfaces and detectors")
    faces = [name for name in _list_variables(ds)
             if re.match(r"transmittance_|fibre\d+_", name) and "_fd_" not in name
             and len(ds[name].dims) == 3 and {"wavelength"} == set(ds[name].dims) & {
                 "wavelength", "time"}]
    for wavelength in _wavelengths(ds):
        for name in faces:
            page.draw(section, f"{name.replace('_', ' ')}, {wavelength:g} nm",
                      partial(plot.surface, ds, name, wavelength=wavelength))
        for name in _list_variables(ds):
            if re.fullmatch(r"camera\d+", name):
                page.draw(section, f"{name}, {wavelength:g} nm",
                          partial(plot.camera, ds, int(name[6:]), wavelength=wavelength))
        if "transmittance_mesh_face" in ds:
            page.draw(section, f"What leaves through the mesh, {wavelength:g} nm",
                      partial(plot.mesh, ds, wavelength=wavelength), (6, 5), projection="3d")
    _draw_phase(page, section, ds, r"transmittance_|fibre\d+_")
    if not section.pictures:
        section.words.append("There are no pictures of surfaces, nor of cameras.")


def _add_profiles(page: Page, ds: xr.Dataset) -> None:
    section = page.add("Profiles", "Bands are one standard error to each side.")
    for name in _list_variables(ds):
        if not re.match(r"(absorption|fluence_rate|transmittance|fibre\d+)_", name):
            continue
        axes = set(map(str, ds[name].dims))
        if len(axes) != 2 or axes & {"element", "face", "vertex", "region"} or "_fd_" in name:
            continue
        page.draw(section, name.replace("_", " "),
                  partial(_draw_profile, ds, name), (6, 3.6))
    if not section.pictures:
        section.words = ["No profiles were recorded."]


def _draw_profile(ds: xr.Dataset, name: str, ax: Axes) -> None:
    """Draw a variable of one axis at some wavelengths; logarithmic over more than two decades."""
    values = ds[name].to_numpy()
    positive = values[values > 0]
    log = bool(positive.size and positive.max() > 100 * positive.min())
    wavelengths = _wavelengths(ds)
    for wavelength in wavelengths:
        plot.profile(ds, name, log=log, wavelength=wavelength, ax=ax)
    if len(wavelengths) > 1:
        ax.set_title("")
        ax.legend(fontsize="small")


def _add_provenance(page: Page, ds: xr.Dataset) -> None:
    names = [name for name in FIRST if name in ds.attrs]
    names += [str(name) for name in ds.attrs if name not in (*FIRST, "model")]
    section = page.add("Provenance")
    section.tables.append(Table(["attribute", "value"], [
        [name.replace("_", " "), str(ds.attrs[name])] for name in names]))
    if "model" in ds.attrs:
        section.listing_title = "The text of the model:"
        section.listing = shorten(str(ds.attrs["model"]))


def _add_recorded(page: Page, ds: xr.Dataset) -> None:
    section = page.add("Recorded")
    axes = [str(dim) for dim in ds.dims if dim in ds.coords and ds[dim].dtype.kind in "fiu"]
    section.tables.append(Table(["axis", "cells", "from", "to", "unit"], [
        [axis, str(ds.sizes[axis]), f"{ds[axis].to_numpy()[0]:g}", f"{ds[axis].to_numpy()[-1]:g}",
         str(ds[axis].attrs.get("units", ""))] for axis in axes if ds.sizes[axis]]))
    section.tables.append(Table(["variable", "axes", "unit", "error", "batches"], [
        [name, ", ".join(map(str, ds[name].dims)), str(ds[name].attrs.get("units", "")),
         "yes" if f"{name}_error" in ds else "", "yes" if f"{name}_batches" in ds else ""]
        for name in _list_variables(ds)]))
