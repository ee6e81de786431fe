"""What happens inside of the medium, and in all: profiles, fluence, pictures and the ledger."""

from __future__ import annotations

import re

import numpy as np
import xarray as xr

from .quantity import NotRecorded, make, take, units_of

ENERGY = re.compile(
    r"(absorption|fluence_rate|transmittance|fibre\d+|camera\d+|sensitivity)(_|$)"
    r"|(ledger_(weight|time|path)(_|$)|exit_weight$)"
)
"""Variables that are proportional to the energy of the sources, or are phases or borders."""
NO_ENERGY = re.compile(r".*(_phase(_|$)|_bounds$)")
DYES = ("by dyes", "dyes, without emission", "dyes, converted")


def find_grid(data: xr.Dataset) -> str:
    """Return the name of the grid in the medium, ``absorption`` or ``fluence_rate``."""
    for name in ("absorption", "fluence_rate"):
        if name in data:
            return name
    raise NotRecorded(
        "nothing was recorded in the medium: write 'absorptionmatrix 1 cartesian' into the model"
    )


def profile(data: xr.Dataset, axis: str, of: str | None) -> xr.Dataset:
    """Return a grid summed onto an axis, with the error of the sums."""
    name = of or find_grid(data)
    if name not in data:
        raise NotRecorded(f"the result has no grid '{name}'")
    axes = [str(own) for own in data[name].dims if own not in ("wavelength", "time")]
    if axis not in axes:
        raise NotRecorded(f"{name} has the axes {', '.join(axes)}, not {axis}")
    if f"{name}_{axis}" in data:
        return take(data, f"{name}_{axis}")
    if len(axes) == 1 and "time" not in data[name].dims:
        return take(data, name)
    raise NotRecorded(f"the result has no sums of {name} along {axis}: text files have none")


def fluence(data: xr.Dataset, domain: str) -> xr.Dataset:
    """Return the fluence rate, or absorption over mua where that is the same."""
    if domain not in ("cw", "td"):
        raise ValueError(f"domain is 'cw' or 'td', not {domain!r}")
    ending = "" if domain == "cw" else "_td"
    if f"fluence_rate{ending}" in data:
        return take(data, f"fluence_rate{ending}")
    name = f"absorption{ending}"
    if domain == "td" and "time" not in data.variables:
        raise NotRecorded("not recorded: write 'domain td START END STEP' (ps) into the model")
    if name not in data or not _is_uniform(data):
        raise NotRecorded("not recorded: write 'fluencerate 1' into the model")
    mua = data["mua"].isel(tissue=0, drop=True)
    absorbed = take(data, name)
    units = units_of(data, name).replace("mm-3", "mm-2").replace("mm-1", "1")
    if "z" not in data[name].dims:
        units = units_of(data, name).replace("mm-2", "mm-1")
    return make(absorbed.value / mua, absorbed.error / mua, units, "fluence rate")


def _is_uniform(data: xr.Dataset) -> bool:
    """Tell whether absorption is mua times the fluence rate everywhere in the medium."""
    if "mua" not in data or data.attrs.get("rules") == "classic":
        return False
    mua = data["mua"]
    dyed = data["ledger_weight"].where(data["ledger_line"].isin(DYES), 0)
    return bool((mua == mua.isel(tissue=0)).all() and (mua > 0).all() and (dyed == 0).all())


def camera(data: xr.Dataset, number: int) -> xr.Dataset:
    """Return the picture of a camera."""
    name = f"camera{number}"
    if name not in data:
        there = sorted(str(key) for key in data.data_vars if re.fullmatch(r"camera\d+", str(key)))
        raise NotRecorded(
            f"no picture of detector {number}; those of the result: {', '.join(there) or 'none'}. "
            f"Write 'detectorLens {number}' with 'transmittancematrix 1 ...' into the model"
        )
    return take(data, name)


def ledger(data: xr.Dataset) -> xr.Dataset:
    """Return what became of the light, with packets, shares and mean times and paths."""
    if "ledger_weight" not in data:
        raise NotRecorded("only results of trelrun by the exact rules have a ledger")
    weight = name_lines(data)
    made = take(weight, "ledger_weight")
    launched = made.value.sel(ledger_line="launched")
    made["share"] = (made.value / launched.where(launched > 0)).drop_vars("ledger_line")
    made["share"].attrs = {"long_name": "share of what was launched", "units": "1"}
    made["packets"] = weight["ledger_packets"].where(weight["ledger_packets"] >= 0)
    for quantity in ("mean_time", "mean_path"):
        for ending in ("", "_error"):
            made[quantity + ending] = weight[f"ledger_{quantity}{ending}"]
    return made


def name_lines(data: xr.Dataset) -> xr.Dataset:
    """Return the ledger's part of a result, with the names of its lines as the axis."""
    lines = data[[str(name) for name in data.data_vars if str(name).startswith("ledger_")]]
    return lines.assign_coords(ledger_line=data["ledger_line"].values)


def scale(data: xr.Dataset, power_W: float | None, energy_J: float | None) -> xr.Dataset:
    """Return the result in watts or joules of the light that all sources launch together."""
    if (power_W is None) == (energy_J is None):
        raise ValueError("give either power_W (watts) or energy_J (joules)")
    if "scaled" in data.attrs:
        raise ValueError(f"the result is scaled already: {data.attrs['scaled']}")
    amount, unit = (power_W, "W") if power_W is not None else (energy_J, "J")
    launched = float(launched_by_sources(data))
    if not launched > 0:
        raise NotRecorded("the sources of this result launch no energy")
    factor = float(amount or 0.0) / launched
    changed = {}
    for name, variable in data.data_vars.items():
        if ENERGY.match(str(name)) and not NO_ENERGY.match(str(name)):
            units = units_of(data, str(name))
            changed[name] = (variable * factor).assign_attrs(variable.attrs)
            changed[name].attrs["units"] = unit if units == "1" else f"{unit} {units}"
    told = f"energy {launched:g} of the sources = {amount:g} {unit}"
    return data.assign(changed).assign_attrs(scaled=told)


def launched_by_sources(data: xr.Dataset) -> np.float64:
    """Return the energy that the sources launch at all wavelengths, in the model's unit."""
    if "ledger_weight" in data:
        weight = name_lines(data)["ledger_weight"].sum("wavelength")
        return np.float64(weight.sel(ledger_line="launched") - weight.sel(ledger_line="by dyes"))
    if "source_energy" in data.attrs:
        return np.float64(data.attrs["source_energy"])
    raise NotRecorded("the result does not tell what its sources launched: it has no ledger")
