"""Between the points of a series: interpolation, with both of its errors."""

from __future__ import annotations

from typing import Any

import numpy as np
import xarray as xr

from ..errors import TrelError, need


class Lookup:
    """What ``lookup`` returns: a function of the parameters."""

    def __init__(self, table: xr.Dataset, method: str) -> None:
        """Take the table of a series."""
        if method not in ("cubic", "linear"):
            raise TrelError(f"method: got {method!r}, expected 'cubic' or 'linear'")
        if "replicate" in table["status"].dims:
            table = _join_replicates(table)
        self.method = method
        self.axes: list[Any] = [str(axis) for axis in table["status"].dims]
        words = [axis for axis in self.axes if table[axis].dtype.kind not in "fi"]
        if words:
            raise TrelError(f"{', '.join(words)}: words, between which there is nothing: take one "
                            "of them by .sel first")
        bad = int((table["status"] != "done").sum())
        if bad:
            raise TrelError(f"{bad} points of the series are not done: finish it, or leave out "
                            "values by .sel")
        self.table = table.sortby(self.axes) if self.axes else table
        self.quantities = [str(name) for name in table.data_vars if f"{name}_error" in table]
        self.correlated = bool(table.attrs.get("common_seeds", 0))
        self._left_out: dict[str, list[np.ndarray]] = {}

    def __call__(self, **point: float) -> xr.Dataset:
        """Return all quantities at a point, each with two errors.

        Parameters
        ----------
        point : values of all parameters, in their units, within the range of the series; a name
            with a dot is given as ``**{"muscle.mua": 0.03}``.

        Returns
        -------
        ``NAME``; ``NAME_error``, its standard error, from those of the points and their weights;
        ``NAME_interpolation_error``, what the interpolation itself may be off by.

        The latter is what interpolation from the other values of a parameter misses at the values
        beside the point, each left out in turn, summed over the parameters. Between values it is
        an estimate from above: with one left out they stand twice as far apart. It holds the
        statistical error, too; of a parameter with two values it is not known, and NaN.
        """
        if set(point) != set(self.axes):
            raise TrelError(f"got {', '.join(point) or 'nothing'}, expected values of "
                            f"{', '.join(self.axes)}")
        weights = [self._weights(axis, float(point[axis])) for axis in self.axes]
        made = xr.Dataset()
        for name in self.quantities:
            value, error, missed = self._look(name, weights, point)
            for ending, data, label in (
                    ("", value, ""), ("_error", error, "standard error: "),
                    ("_interpolation_error", missed, "error of the interpolation: ")):
                first = self.table[name]
                own = first.isel({axis: 0 for axis in self.axes}, drop=True)
                told = own.copy(data=data).reset_coords(drop=True)
                made[name + ending] = told
                made[name + ending].attrs = {
                    "units": first.attrs.get("units", "1"),
                    "long_name": label + str(first.attrs.get("long_name", name))}
        return made

    def _weights(self, axis: str, value: float) -> np.ndarray:
        nodes = self.table[axis].values.astype(float)
        if not nodes[0] <= value <= nodes[-1]:
            raise TrelError(f"{axis}: got {value:g}, expected {nodes[0]:g} to {nodes[-1]:g}, which "
                            "the series covers")
        return weigh(nodes, value, self.method)

    def _look(self, name: str, weights: list[np.ndarray], point: dict[str, float]
              ) -> tuple[np.ndarray, np.ndarray, np.ndarray]:
        """Return value, standard error and error of interpolation of a quantity."""
        value, error = self._data(name), self._data(f"{name}_error")
        mean = _sum(value, weights)
        if self.correlated:
            noise = _sum(error, [np.abs(weight) for weight in weights])
        else:
            noise = np.sqrt(_sum(error**2, [weight**2 for weight in weights]))
        missed = np.zeros_like(mean)
        for number, axis in enumerate(self.axes):
            others = [weight if i != number else None for i, weight in enumerate(weights)]
            missed = missed + self._missed(name, number, float(point[axis]), others)
        return mean, noise, missed

    def _data(self, name: str) -> np.ndarray:
        """Return a variable with the parameters as its first axes."""
        return np.asarray(self.table[name].transpose(*self.axes, ...).values)

    def _missed(self, name: str, number: int, at: float, others: list[np.ndarray | None]
                ) -> np.ndarray:
        """Return what leaving out the values beside a point of one axis misses there."""
        if name not in self._left_out:
            self._left_out[name] = [self._leave_out(name, i) for i in range(len(self.axes))]
        nodes = self.table[self.axes[number]].values
        along = self._left_out[name][number]
        if len(nodes) == 1:
            return np.zeros(along.shape[len(self.axes):])
        low = min(max(int(np.searchsorted(nodes, at, side="right")) - 1, 0), len(nodes) - 2)
        beside = np.take(along, [max(low, 1), max(min(low + 1, len(nodes) - 2), 1)], axis=number) \
            if len(nodes) > 2 else along
        for i, weight in reversed(list(enumerate(others))):
            if weight is None:
                beside = np.max(beside, axis=i)
            else:
                beside = np.tensordot(np.abs(weight), beside, (0, i))
        return np.asarray(beside)

    def _leave_out(self, name: str, number: int) -> np.ndarray:
        """Return by point what interpolation from the others of its line misses; NaN at ends."""
        nodes = self.table[self.axes[number]].values.astype(float)
        value = np.moveaxis(self._data(name), number, 0)
        missed = np.full(value.shape, np.nan)
        for i in range(1, len(nodes) - 1):
            rest = np.arange(len(nodes)) != i
            weight = weigh(nodes[rest], nodes[i], self.method)
            missed[i] = np.abs(np.tensordot(weight, value[rest], (0, 0)) - value[i])
        return np.moveaxis(missed, 0, number)


def weigh(nodes: np.ndarray, value: float, method: str) -> np.ndarray:
    """Return the weights of nodes, rising, whose sum of products interpolates at a value.

    Linear between the two beside it; or the cubic spline without a knot at the second and the last
    but one (of three nodes the parabola, of two the line): C. de Boor, A Practical Guide to Splines
    (1978), chapter IV.
    """
    if len(nodes) == 1:
        return np.ones(1)
    unit = np.eye(len(nodes))
    if method == "linear" or len(nodes) == 2:
        return np.array([np.interp(value, nodes, row) for row in unit])
    spline: Any = need("scipy.interpolate", "python3-scipy").CubicSpline(nodes, unit)
    return np.asarray(spline(value))


def _sum(data: np.ndarray, weights: list[np.ndarray]) -> np.ndarray:
    """Sum over the first axes, each with its weights."""
    for weight in weights:
        data = np.tensordot(weight, data, (0, 0))
    return np.asarray(data)


def _join_replicates(table: xr.Dataset) -> xr.Dataset:
    """Return the means over the replicates that are done, as independent runs."""
    done = table["status"] == "done"
    count = done.sum("replicate")
    names = [str(name) for name in table.data_vars if f"{name}_error" in table]
    made = {}
    for name in names:
        error = f"{name}_error"
        axes = table[name].attrs, table[error].attrs
        mean = table[name].where(done, 0).sum("replicate") / count
        spread = (table[error].where(done, 0) ** 2).sum("replicate", skipna=False) ** 0.5 / count
        made[name], made[error] = mean.assign_attrs(axes[0]), spread.assign_attrs(axes[1])
    made["status"] = xr.where(count > 0, "done", "missing")
    return xr.Dataset(made, attrs=table.attrs)


def lookup(table: xr.Dataset, method: str = "cubic") -> Lookup:
    """Return a function that interpolates the table of a series.

    Parameters
    ----------
    table : of ``trel.sweep``, complete, or cut by ``.sel`` to where it is. Replicates are averaged.
    method : ``cubic``: splines along each parameter (python3-scipy); ``linear``.

    ``look = trel.lookup(table)``; ``look(**{"muscle.mua": 0.03, "muscle.mus": 9})`` is a Dataset of
    each quantity with its statistical error and that of the interpolation, see ``Lookup``. Series
    with common seeds have errors that are not independent, and are added as they are.
    """
    return Lookup(table, method)
