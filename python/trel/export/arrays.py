"""Variables as one array for each wavelength and gate, for formats without these axes."""

from __future__ import annotations

from collections.abc import Iterator

import xarray as xr


def split(ds: xr.Dataset, name: str) -> Iterator[tuple[str, xr.DataArray]]:
    """Give a name and the values at each wavelength, if there are several, and each time gate.

    The name has both, the gate by its middle: ``absorption_td_650nm_25ps``.
    """
    value = ds[name]
    many = "wavelength" in value.dims and ds.sizes["wavelength"] > 1
    lights = range(ds.sizes["wavelength"]) if "wavelength" in value.dims else [None]
    gates = range(ds.sizes["time"]) if "time" in value.dims else [None]
    for light in lights:
        for gate in gates:
            label = name
            place = {}
            if light is not None:
                place["wavelength"] = light
                label += f"_{float(ds['wavelength'][light]):g}nm" if many else ""
            if gate is not None:
                place["time"] = gate
                label += f"_{float(ds['time'][gate]):g}ps"
            yield label, value.isel(place)
