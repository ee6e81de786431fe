"""Results of ``trel``: its text files with the axes of their model, as a dataset."""

from __future__ import annotations

import os
import re
import tempfile
from pathlib import Path
from typing import Any

import numpy as np
import xarray as xr

from .. import program
from ..run.command import Settings, set_options
from .textfile import Block, TextFile

ENDING = re.compile(r"\.[ATD]\.(CW|TD|FD)")
AXES = {"X": "x", "Y": "y", "Z": "z", "R": "r", "A": "azimuth", "D": "deflection"}
DOMAINS = {"CW": "", "TD": "_td", "FDAmp": "_fd_amplitude", "FDPha": "_fd_phase", "": ""}
UNITS = dict.fromkeys("xyzr", "mm") | dict.fromkeys(("azimuth", "deflection"), "degree")


def open_text(path: Path, model: Any, settings: Settings) -> xr.Dataset:
    """Open one text file, or all those of a base name that the model's run writes."""
    with tempfile.TemporaryDirectory(prefix="trel-") as folder:
        file = Path(folder) / "model.trl"
        if hasattr(model, "write"):
            model.write(file)
        else:
            file = Path(model)
        told = program.check(file, "--no-pilot", "--rules", "classic", *set_options(settings))
        program.raise_if_wrong(told, file)
        text = file.read_text(errors="replace")
    if ENDING.fullmatch("".join(path.suffixes[-2:])):
        paths = [path]
    else:
        paths = [path.with_name(path.name + ending) for ending in _list_endings(told)]
    found = [file for file in paths if file.exists()]
    if not found:
        raise FileNotFoundError(f"there is none of {', '.join(map(str, paths))}")
    data = _Assembly(told).build([block for file in found for block in TextFile(file).blocks()])
    energy = sum(line["energy"] for source in told["sources"] for line in source["spectra"])
    return data.assign_attrs(
        source="trel, text files",
        rules="classic",
        model=text,
        model_file=os.fspath(model) if isinstance(model, (str, os.PathLike)) else "",
        source_energy=energy,
    )


def _list_endings(told: dict[str, Any]) -> list[str]:
    """Return the endings of the files that a run writes; others of the name are of another run."""
    domains = ["CW", *(["TD"] if told["domains"]["td"] else [])]
    domains += ["FD"] if told["domains"]["fd"] else []
    kinds = [("A", told["absorptionmatrix"]), ("T", told["transmittancematrix"])]
    endings = [f".{kind}.{domain}" for kind, word in kinds if word for domain in domains]
    return endings + ([".D.CW"] if told["detectors"] else [])


class _Assembly:
    """Blocks of files put together by variable, wavelength and gate."""

    def __init__(self, told: dict[str, Any]) -> None:
        self.told = told
        self.flat = told["dimension"] == 2
        self.axes: dict[str, tuple[str, np.ndarray, str]] = {}
        self.detectors = {item["number"]: item for item in told["detectors"]}

    def build(self, blocks: list[Block]) -> xr.Dataset:
        """Return the dataset of all blocks."""
        wavelengths = sorted({block.wavelength for block in blocks})
        groups: dict[str, list[Block]] = {}
        for block in blocks:
            if block.name != "fly_times":
                groups.setdefault(self._name(block), []).append(block)
        made = xr.Dataset(coords={"wavelength": wavelengths})
        made["wavelength"].attrs = {"long_name": "wavelength", "units": "nm"}
        made = made.assign({name: self._join(group, wavelengths) for name, group in groups.items()})
        made = made.assign(self._fly_times(blocks, wavelengths)).assign(self._tissues(wavelengths))
        for axis, (_, borders, units) in self.axes.items():
            label = f"borders of the cells: {axis}"
            bounds = np.stack([borders[:-1], borders[1:]], axis=1)
            attrs = {"units": units, "bounds": f"{axis}_bounds", "long_name": axis}
            made = made.assign_coords({axis: (axis, bounds.mean(axis=1), attrs)})
            attrs = {"units": units, "long_name": label}
            made[f"{axis}_bounds"] = ((axis, "bounds"), bounds, attrs)
        if self.told["domains"]["fd"]:
            attrs = {"units": "MHz", "long_name": "modulation frequency"}
            made["modulation_frequency"] = ((), self.told["domains"]["fd"], attrs)
        return made

    def _name(self, block: Block) -> str:
        name = block.name
        if name == "absorption" and self.told["fluencerate"]:
            name = "fluence_rate"
        if block.axes in ("FACE", "VERTEX"):
            name += "_" + block.axes.lower()
        return name + DOMAINS[block.domain]

    def _join(self, group: list[Block], wavelengths: list[int]) -> xr.DataArray:
        """Return a variable of all wavelengths and gates; NaN where a file has none."""
        gates = self.told["domains"]["td"]
        timed = group[0].gate is not None
        axes = self._find_axes(group[0])
        cells = self._orient(group[0]).shape
        shape = (len(wavelengths), *([gates["gates"]] if timed else []), *cells)
        values = np.full(shape, np.nan)
        for block in group:
            place = (wavelengths.index(block.wavelength), *([block.gate] if timed else []))
            values[place] = self._orient(block)
        units = self._units(group[0])
        if timed:
            values /= gates["step"]
            units = "ps-1" if units == "1" else f"{units} ps-1"
            borders = gates["start"] + gates["step"] * np.arange(gates["gates"] + 1)
            self.axes["time"] = ("time", borders, "ps")
        dims = ("wavelength", *(["time"] if timed else []), *axes)
        return xr.DataArray(values, dims=dims, attrs={"units": units, "long_name": group[0].name})

    def _orient(self, block: Block) -> np.ndarray:
        """Return the values with the deflection, which is stored backwards, in rising order."""
        if block.axes == "DA":
            return block.values[::-1]
        if block.axes == "FACE" and block.values.ndim == 2:
            return np.asarray(block.values[:, 3])
        return block.values

    def _find_axes(self, block: Block) -> list[str]:
        """Return the names of a grid's axes, and keep their borders."""
        if block.axes in ("", "FACE", "VERTEX"):
            return [block.axes.lower()] if block.axes else []
        if block.axes == "PIXELS":
            return self._camera_axes(block)
        fibre = block.name.startswith("fibre")
        names = []
        for letter, count in zip(block.axes, block.values.shape, strict=True):
            axis = AXES[letter]
            low, step = self._find_cells(axis, block.detector if fibre else None)
            name = f"fibre{block.detector}_{axis}" if fibre else axis
            self.axes[name] = (name, low + step * np.arange(count + 1), UNITS[axis])
            names.append(name)
        return names

    def _find_cells(self, axis: str, fibre: int | None) -> tuple[float, float]:
        """Return where the cells along an axis begin, and their width."""
        word = "radius" if axis == "r" else axis
        step = self.told["roiseparation"][word]
        if fibre is None:
            return self.told["roi"][word][0], step
        low = self.detectors[fibre]["shape"]["low"]
        return (0.0 if axis in ("azimuth", "deflection") else low["xyz".index(axis)]), step

    def _camera_axes(self, block: Block) -> list[str]:
        """Return rows and columns, mm on the object plane: m = f / (i - f) times the detector's."""
        camera = self.detectors[block.detector or 0]
        scale = camera["focalLength"] / (camera["imageDistance"] - camera["focalLength"])
        width, height = camera["size"]
        names = [f"{block.name}_y", f"{block.name}_x"]
        for name, count, length in zip(names, block.values.shape, (height, width), strict=True):
            borders = (np.arange(count + 1) / count - 0.5) * length * scale
            self.axes[name] = (name, borders, "mm")
        return names

    def _units(self, block: Block) -> str:
        """Return the unit of a block in the steady state."""
        if block.domain == "FDPha":
            return "degree"
        if not block.axes:
            return "1"
        power = 1 if self.flat else 2
        if block.name == "absorption" and not self.told["fluencerate"]:
            power += 1
        return f"mm-{power}"

    def _fly_times(self, blocks: list[Block], wavelengths: list[int]) -> dict[str, xr.DataArray]:
        """Return place and time of each packet that left, by wavelength in the file's order."""
        made = {}
        rows = [block for block in blocks if block.name == "fly_times"]
        order = [line["wavelength"] for line in self.told["tissues"][0]["spectra"]]
        for block in rows:
            name = f"exits{order.index(block.wavelength) + 1}"
            place, time = block.values[:, :3], block.values[:, 3]
            made[f"{name}_position"] = xr.DataArray(place, dims=(name, "xyz"))
            made[f"{name}_time"] = xr.DataArray(time, dims=name)
            made[f"{name}_position"].attrs = {"units": "mm"}
            made[f"{name}_time"].attrs = {"units": "ps"}
        return made

    def _tissues(self, wavelengths: list[int]) -> dict[str, xr.DataArray]:
        """Return coefficients and names of the tissues."""
        made = {}
        tissues = self.told["tissues"]
        for name in ("mua", "mus", "g", "n"):
            values = [
                [line[name] for tissue in tissues for line in tissue["spectra"]
                 if line["wavelength"] == wavelength]
                for wavelength in wavelengths
            ]
            units = "mm-1" if name in ("mua", "mus") else "1"
            made[name] = xr.DataArray(values, dims=("wavelength", "tissue"), attrs={"units": units})
        made["tissue_name"] = xr.DataArray([tissue["name"] for tissue in tissues], dims="tissue")
        return made
