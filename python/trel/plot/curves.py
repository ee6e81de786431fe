"""Pictures of lines: profiles and curves in time, with their errors as a band."""

from __future__ import annotations

import textwrap

import numpy as np
import xarray as xr
from matplotlib.axes import Axes

from .cells import new_axes
from .values import GRIDS, Quantity, choose, label_of, pick


def profile(
    ds: xr.Dataset, name: str | None = None, along: str = "z", *, log: bool = False,
    sigmas: float = 1, wavelength: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw a quantity along an axis, summed over the others, with its standard error as a band.

    ``name`` is a grid, whose sum onto the axis ``along`` is drawn (``absorption`` along ``z`` is
    the variable ``absorption_z``), or a variable of one axis; without it the absorption or the
    fluence rate, or ``value`` of a derived Dataset. The band has ``sigmas`` standard errors to
    each side, and is missing where these are not known.
    """
    names = [f"{grid}_{along}" for grid in (GRIDS if name is None else [name])]
    if name is not None and names[0] in ds:
        name = names[0]
    quantity = pick(ds, choose(ds, name, names), wavelength)
    return draw_line(new_axes(ax), quantity, log, sigmas)


def time_curve(
    ds: xr.Dataset, name: str | None = None, *, log: bool = True, sigmas: float = 1,
    wavelength: float | None = None, ax: Axes | None = None,
) -> Axes:
    """Draw a total by its time of flight, per ps, with its standard error as a band.

    ``name`` is a variable with gates and no other axis: without it all that leaves, or that is
    absorbed, or ``value`` of a derived Dataset.
    """
    totals = [str(key) for key in ds.data_vars
              if str(key).endswith("_total_td") and str(key).startswith("transmittance")]
    names = ["transmittance_total_td", *totals, "absorption_total_td", "fluence_rate_total_td"]
    quantity = pick(ds, choose(ds, name, names), wavelength)
    if quantity.value.dims != ("time",):
        raise ValueError(f"{quantity.value.name} is no curve in time: it has the axes "
                         + ", ".join(map(str, quantity.value.dims)))
    return draw_line(new_axes(ax), quantity, log, sigmas)


def draw_line(ax: Axes, quantity: Quantity, log: bool, sigmas: float) -> Axes:
    """Draw a quantity of one axis: steps as wide as the cells, or points if these are not known."""
    if quantity.value.ndim != 1:
        axes = ", ".join(map(str, quantity.value.dims)) or "none"
        raise ValueError(f"{quantity.value.name} has the axes {axes}: a line takes one of them")
    axis = str(quantity.value.dims[0])
    values, edges = quantity.value.to_numpy().astype(float), quantity.borders[axis]
    if edges is None:
        places, how = quantity.value[axis].to_numpy(), {"marker": "o", "markersize": 4}
    else:
        places, how = np.repeat(edges, 2)[1:-1], {}
        values = np.repeat(values, 2)
    if log:
        ax.set_yscale("log", nonpositive="mask")
    (line,) = ax.plot(places, values, label=", ".join(quantity.place), **how)
    if quantity.error is not None and np.isfinite(quantity.error).any():
        error = sigmas * (quantity.error if edges is None else np.repeat(quantity.error, 2))
        low = values - error
        if log:  # down to the foot of the picture where the band reaches zero
            low = np.where(low > 0, low, np.nextafter(0, 1))
            _keep_limits(ax, values)
        ax.fill_between(places, low, values + error, color=line.get_color(), alpha=0.3, lw=0)
    ax.set_xlabel(textwrap.fill(label_of(quantity.value[axis]), 50))
    ax.set_ylabel(textwrap.fill(quantity.label, 42))
    ax.set_title(", ".join(quantity.place))
    ax.margins(x=0)
    return ax


def _keep_limits(ax: Axes, values: np.ndarray) -> None:
    """Let the positive values of all lines, and no band, set a logarithmic axis."""
    positive = [np.asarray(line.get_ydata(), float) for line in ax.get_lines()] + [values]
    shown = np.concatenate(positive)
    shown = shown[np.isfinite(shown) & (shown > 0)]
    if shown.size:
        ax.set_ylim(shown.min() / 2, shown.max() * 2)
