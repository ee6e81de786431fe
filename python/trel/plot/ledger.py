"""The ledger as bars: what became of the light."""

from __future__ import annotations

import re

import numpy as np
import xarray as xr
from matplotlib.axes import Axes

from .cells import new_axes
from .values import choose, pick, unit_of

PARTS = ("by ", "in the grid", "dyes, ", "converted by", "conversion's")
"""How the lines begin that are parts of the one above them."""


def ledger(ds: xr.Dataset, *, wavelength: float | None = None, ax: Axes | None = None) -> Axes:
    """Draw the ledger of a wavelength (nm; without it the first) as bars.

    They are in the unit of the sources' energy, or in W or J of a scaled result. Dark bars add up
    to what was launched, light ones are parts of the dark one above them; lines of nothing are left
    out. Each bar has its standard error as a whisker, and both as numbers.
    """
    quantity = pick(ds, choose(ds, None, ["ledger_weight"]), wavelength)
    weights = quantity.value.to_numpy()
    errors = np.full(weights.shape, np.nan) if quantity.error is None else quantity.error
    shown = np.flatnonzero(weights)
    lines = [str(line) for line in ds["ledger_line"].to_numpy()[shown]]
    ax = new_axes(ax)
    for row, (index, line) in enumerate(zip(shown, lines)):
        part = line.startswith(PARTS)
        ax.barh(row, weights[index], color="#9fbfdf" if part else "#1f5fa8",
                height=0.6 if part else 0.8, xerr=np.nan_to_num(errors[index]), ecolor="0.2")
        ax.annotate(_number(weights[index], errors[index]), (max(weights[index], 0), row),
                    xytext=(5, 0), textcoords="offset points", va="center", fontsize="small")
    names = [_named(ds, line) for line in lines]
    ax.set_yticks(range(len(lines)), [name + "    " * line.startswith(PARTS)
                                      for name, line in zip(names, lines)])
    ax.invert_yaxis()
    ax.set_xlim(min(0, weights.min()), 1.35 * max(weights.max(), np.finfo(float).tiny))
    ax.spines[["top", "right"]].set_visible(False)
    units = {"W": "power (W)", "J": "energy (J)"}
    label = units.get(unit_of(quantity.value), "energy, in the unit of the sources")
    ax.set(xlabel=label, title=", ".join(quantity.place))
    return ax


def _named(ds: xr.Dataset, line: str) -> str:
    """Give a line the name of its tissue: ``by tissue 2, bone``."""
    found = re.fullmatch(r"by tissue (\d+)", line)
    if found and "tissue_name" in ds:
        names = ds["tissue_name"].to_numpy()
        number = int(found[1])
        if number <= len(names) and str(names[number - 1]).strip():
            return f"{line}, {names[number - 1]}"
    return line


def _number(value: float, error: float) -> str:
    """Value and standard error to the two digits of the error that count."""
    if not np.isfinite(error) or error <= 0:
        return f"{value:.4g}"
    digits = max(0, 1 - int(np.floor(np.log10(error))))
    if digits > 6:
        return f"{value:.3g} ± {error:.1g}"
    return f"{value:.{digits}f} ± {error:.{digits}f}"
