#!/usr/bin/python3
"""Compares BASE.nc of trelrun, number by number, with the text files of the same run.

Usage: labelledTest.py TRELRUN [LIBRARY_WITHOUT_LOCKS]

Axes are compared with what --check says of the region, and cells with text files by label and counts,
so that an order of cells or a bound that is wrong shows: the three counts of each grid differ. Then
it disturbs the writing: what was there stays.
"""

import hashlib
import json
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import xarray

ROOT = Path(__file__).resolve().parent.parent
AXES = {"x": "x", "y": "y", "z": "z", "r": "r", "a": "azimuth", "d": "deflection"}
CHECKED = {"r": "radius"}  # otherwise as in the file
GATES = np.array([0, 40, 80, 90])
DOMAINS = "domain td 0 90 40\ndomain fd 100\nphotonflytime 1\n"
TWO_WAVELENGTHS = {"spectrumnum 1": "spectrumnum 2",
                   "index 1 1.0 300": "index 1 1.0 300\nlightsourcespectrumindex 2 0.5 200",
                   "0.9 1.37": "0.9 1.37\ntissuespectrumindex 2 0.03 8 0.8 1.37"}
# An example, what to replace in it, and what the file must have been compared in.
CASES = [
    ("pencil-beam", {"roiseparation 1 1 1": "roi -3 5 1 10 0 7\nroiseparation 1 2 1.5\n" + DOMAINS,
                     "spectrum 1 650": "spectrum 1 700\nspectrum 2 600", **TWO_WAVELENGTHS},
     "absorption_td transmittance_right_td transmittance_bottom_fd_real"),
    ("pencil-beam", {"roiseparation 1 1 1": "fluencerate 1\nroiseparation 3 4 5\n" + DOMAINS},
     "fluence_rate fluence_rate_td fluence_rate_fd_imag"),
    ("limb-time", {"domain td 0 1000 50\n": DOMAINS, "1 1 3 1 10 1": "1 1 4 2 50 1"},
     "absorption_td transmittance_side_td transmittance_bottom_fd_imag"),
    ("fibers", {"0.25 0.25 0.25 1 45 30": "2 3 0.7 1 50 50\n" + DOMAINS},
     "fibre1_side fibre4_side fibre4_side_td fibre2_top_fd_real"),
    ("cameras", {"128 128": "12 9", "spectrum 1 680": "spectrum 1 680\nspectrum 2 600", **TWO_WAVELENGTHS},
     "camera1 camera2 transmittance_side"),
    ("modulated-slab", {}, "transmittance_left_fd_real"),
    ("ball-in-box", {"0.5 0.5 0.5": "3 2 1\n" + DOMAINS},
     "absorption transmittance_mesh_face_td transmittance_mesh_vertex_fd_real"),
    ("plane", {}, "absorption transmittance_side"),
    ("fluorescence", {}, "absorption"),
]
UNITS = "1 nm mm mm-1 mm-2 mm-3 mm2 mm3 ps degree MHz sr-1 mm-2 sr-1 mm-3 ps-1 mm-2 ps-1 mm-1 ps-1 ps-1 " \
    "degree-1 mm degree-1 mm ps-1"
COUNTERS = {"AbsorpPhotonNum": "packets_absorbed", "TransmitPhotonNum": "packets_left",
            "SpecularReflectance": "specular_reflectance"}


def close(got, text, what):
    """Whether numbers are those of a text file, which has six digits."""
    np.testing.assert_allclose(got, text, rtol=6e-6, atol=1e-300, err_msg=what)


class Comparison:
    """Goes through a text file, and finds each of its numbers in the labelled one."""

    def __init__(self, data, seen):
        self.data, self.seen = data, seen
        self.spectrum = self.gate = self.detector = self.amplitude = None

    def value(self, name, domain):
        """A variable as the text has it: by this wavelength and gate, energy by gate."""
        name += {"cw": "", "td": "_td"}.get(domain, domain)
        self.seen.add(name)
        values = self.data[name].sel(wavelength=self.spectrum)
        return values if domain != "td" else values[self.gate] * np.diff(GATES)[self.gate]

    def name(self, kind, surface):
        if kind == "absorption":
            return "fluence_rate" if "fluence_rate" in self.data else kind
        kind = f"fibre{self.detector}" if kind.startswith("fiber") else kind
        return f"{kind}_{surface}" if surface else kind

    def grid(self, name, domain, values, letters):
        def ordered(grid):
            if letters.startswith("d"):
                grid = grid.isel({grid.dims[-1]: slice(None, None, -1)})
            assert not letters or [d.split("_")[-1] for d in grid.dims[::-1]] == [AXES[c] for c in letters]
            return grid.values.T
        if domain in ("cw", "td"):
            return close(ordered(self.value(name, domain)), values, name)
        real, imag = (ordered(self.value(name, part)) for part in ("_fd_real", "_fd_imag"))
        if domain == "fdamp":
            close(ordered(self.value(name, "_fd_amplitude")), values, name)
            return close(np.hypot(real, imag), values, name)
        close(ordered(self.value(name, "_fd_phase")), values, name)
        np.testing.assert_allclose(np.degrees(np.arctan2(imag, real)), values, atol=2e-3, err_msg=name)

    def compare(self, text):
        words = text.split()
        at, counts = 0, []

        def take(number=1):
            nonlocal at
            at += number
            return np.array(words[at - number:at], float)
        while at < len(words):
            word = words[at]
            at += 1
            if word in ("Spectrum", "Domain", "TotalDetection"):
                self.gate = None
            label = re.fullmatch("[23]d(cw|td|fdamp|fdpha)(absorption|transmittance|fiberdetector)(side|top|"
                                 "bottom|front|back|left|right|up|down|(?:tetra)?mesh|)([xyzrad]*|face|vertex)",
                                 word.lower())
            if word == "Spectrum":
                self.spectrum = int(take()[0])
                self.detector = None
            elif word == "TotalDetection":
                self.detector = int(take()[0])
                if f"camera{self.detector}" in self.data:
                    close(self.value(f"camera{self.detector}_total", "cw"), take()[0], "camera")
            elif word == "3DFiberdetector":
                close(self.value(f"fibre{self.detector}_total", "cw"), take()[0], word)
            elif word == "DetectionMatrix":
                image = self.value(f"camera{self.detector}", "cw").values
                close(image, take(image.size).reshape(image.shape), word)
            elif word.startswith("Count") or word == "HeightResolution":
                more = len([w for w in words[at:at + 2] if w.startswith(("Count", "Width"))])
                at += more
                counts = take(1 + more).astype(int)
            elif word == "TD":
                self.gate = int(take()[0])
                kind = "absorption" if "Absorption" in text else "transmittance"
                kind = f"fibre{self.detector}" if self.detector else kind
                close(self.value(f"{kind}_total", "td"), take()[0], word)
            elif word in COUNTERS:
                close(self.value(COUNTERS[word], "cw"), take()[0], word)
            elif word == "PhotonFlyTime":
                number = list(self.data.wavelength.values).index(self.spectrum) + 1
                exits = np.column_stack([self.data[f"exits{number}_position"], self.data[f"exits{number}_time"]])
                close(exits, take(exits.size).reshape(exits.shape), word)
            elif word in ("Domain", "TotalPhotonNum", "TDAbsorptionNum", "TDFiberDetectorNum",
                          "TDTransmittanceNum"):
                at += 1
            elif word == "Runtime":
                at += 2
            elif label and label[4]:
                name, shape = self.name(label[2], label[3].replace("tetra", "")), tuple(counts)
                if label[4] in ("face", "vertex"):
                    tetra = label[3] == "tetramesh" and label[4] == "face"
                    rows = take(counts[0] * (4 if tetra else 1)).reshape(counts[0], -1)
                    assert not tetra or (rows[:, :3] == self.data.face_vertices).all()
                    self.grid(f"{name}_{label[4]}", label[1], rows[:, -1], "")
                else:
                    self.grid(name, label[1], take(int(np.prod(shape))).reshape(shape), label[4])
            elif label:
                name = "absorption" if label[2] == "absorption" else self.name(label[2], label[3].replace(
                    "tetra", ""))
                ofAll = label[1] == "td" and self.gate is None
                self.gate = slice(None) if ofAll else self.gate
                close(self.value(name + "_total", label[1]).sum(), take()[0], word)
                self.gate = None if ofAll else self.gate
            else:
                raise AssertionError(f"not known: {word}")


def check_axes(data, check):
    for letter, axis in AXES.items():
        if axis not in data.dims:
            continue
        low, high = check["roi"][CHECKED.get(axis, axis)]
        borders = np.append(np.arange(low, high - 1e-9, check["roiseparation"][CHECKED.get(axis, axis)]), high)
        bounds = data[data[axis].attrs["bounds"]].values
        np.testing.assert_allclose(bounds, np.column_stack([borders[:-1], borders[1:]]), err_msg=axis)
        np.testing.assert_allclose(data[axis], bounds.mean(axis=1), err_msg=axis)
    if "time" in data.dims:
        np.testing.assert_allclose(data.time_bounds, np.column_stack([GATES[:-1], GATES[1:]]))


def check_description(folder, data, check):
    for name, variable in data.variables.items():
        assert variable.attrs["long_name"] is not None, name
        is_plain = name in ("tissue_name", "ledger_line") or name.startswith("state_")
        assert is_plain or f" {variable.attrs['units']} " in f" {UNITS} ", name
        assert variable.dtype.kind != "i" or "_FillValue" not in variable.encoding, name
    model = (folder / "model.trl").read_bytes()
    assert data.attrs["Conventions"] == "CF-1.10" and data.attrs["model"] == model.decode()
    assert data.attrs["model_sha256"] == hashlib.sha256(model).hexdigest()
    for path, digest in zip(data.attrs.get("mesh_files", "").split("\n"),
                            data.attrs.get("mesh_sha256", "").split("\n")):
        assert not path or hashlib.sha256(Path(path).read_bytes()).hexdigest() == digest, path
    assert data.attrs["packets"] == check["packets"] and data.attrs["threads"] == 2
    assert list(data.wavelength) == sorted(data.wavelength), data.wavelength
    for i, tissue in enumerate(check["tissues"]):
        assert data.tissue_name[i] == tissue["name"], tissue
        for entry in tissue["spectra"]:
            for key in ("mua", "mus", "g", "n"):
                assert data[key].sel(wavelength=entry["wavelength"])[i] == entry[key], tissue
    header = subprocess.run(["ncdump", "-h", folder / "model.nc"], capture_output=True, text=True).stdout
    assert "\ngroup" not in header and "double mua(wavelength, tissue)" in header, header


def check_batches(data):
    """Means and errors against batches, and projections against cells; the names of all of them."""
    def equal(got, expected, what, size=1.0):
        np.testing.assert_allclose(got.values, expected.values, 1e-9, 1e-12 * float(size), err_msg=what)
    seen = {name for name in data if name.startswith("ledger_")}
    for name in [name for name in data if name.endswith("_batches")]:
        number, batches = name.removesuffix("_batches"), data[name]
        seen |= {name, number, number + "_error"} & set(data)
        if number not in data:
            continue
        size = np.abs(batches).max()
        equal(data[number], batches.mean("batch"), name, size)
        error, hits = batches.std("batch", ddof=1) / 20 ** 0.5, (batches != 0).sum("batch")
        equal(data[number + "_error"], error.where(hits > 1), name, size)
        grid, _, axis = number.rpartition("_")
        if grid not in data or "side" in grid or "_total" in number or axis == "region":
            continue
        cells = data[grid]
        for axis in cells.dims[1:]:
            low, high = data[data[axis].attrs["bounds"]].values.T
            ring, turn = axis.endswith("r"), axis.endswith("azimuth")
            measure = xarray.DataArray((high ** 2 - low ** 2) / 2 if ring else (high - low) / (
                57.29577951308232 if turn else 1), dims=axis)
            cells = (cells * measure).sum(axis) if axis not in batches.dims else cells * (measure / (high - low))
        equal(data[number], cells, number, size)
    for name in [name for name in data if "_fd_real" in name and name + "_batches" in data]:
        real, imag = data[name], data[name.replace("_real", "_imag")]
        polar = [name.replace("_real", part) for part in ("_amplitude", "_phase")]
        equal(data[polar[0]], np.hypot(real, imag), polar[0], real.max())
        equal(data[polar[1]], np.degrees(np.arctan2(imag, real)), polar[1], 180)
        seen |= {number + ending for number in polar for ending in ("", "_error")}
    if "absorption_total" in data:
        line = list(data.ledger_line).index("in the grid's region")
        equal(data.ledger_weight[:, line], data.absorption_total, "ledger")
    return seen


def check_elements(data):
    """The sums of tetrahedra against regions and grid, which are the ledger's; the names of theirs."""
    if "element" not in data.dims:
        return set()
    energy = data.absorption_element * data.element_volume
    by_region = np.array([energy[:, data.element_region == r].sum("element") for r in data.region]).T
    np.testing.assert_allclose(by_region, data.absorption_region, 1e-9)
    np.testing.assert_allclose((data.absorption_element_td * data.element_volume).sum("element"),
                               data.absorption_total_td, 1e-9)
    lines = data.ledger_weight.sel(ledger_line=[f"by tissue {r + 1}" for r in data.region.values])
    np.testing.assert_array_equal(data.absorption_region, lines)
    return {name for name in data if name.startswith("absorption_element")}


def make_model(folder, name, changes):
    text = (ROOT / f"examples/{name}.trl").read_text()
    text = re.sub(r"^(lightsourcespectrumindex \d+ 1\.0) \d+$", r"\1 300", text, flags=re.M)
    for old, new in changes.items():
        assert old in text, old
        text = text.replace(old, new)
    (folder / "model.trl").write_text(text)
    for mesh in re.findall(r"path (\S+)", text):
        shutil.copy(ROOT / "examples" / mesh, folder)


def run(folder, *arguments, **options):
    return subprocess.run([PROGRAM, "model.trl", "--threads", "2", *arguments], cwd=folder, text=True,
                          capture_output=True, timeout=60, **options)


def test_numbers(folder):
    for name, changes, wanted in CASES:
        for old in folder.glob("model.*"):
            old.unlink()
        make_model(folder, name, changes)
        change = ["--set", "1.mua=0.25"]
        log = run(folder, "--text", "--elements", *change).stdout
        check = json.loads(run(folder, "--check", "--json", *change).stdout)
        files = [file for file in folder.glob("model.?.*")]
        assert all(file.name in log for file in files) and "model.nc" in log, log
        seen = set()
        with xarray.open_dataset(folder / "model.nc") as data:
            data.load()
            check_axes(data, check)
            check_description(folder, data, check)
            for file in files:
                Comparison(data, seen).compare(file.read_text())
            seen |= check_elements(data)
            # All that has a wavelength, but for coefficients, was compared.
            left = {n for n, v in data.data_vars.items() if "wavelength" in v.dims} - seen - check_batches(data)
            errors = {n for n in left if n.endswith("_error")}
            assert left - errors == {"mua", "mus", "g", "n"}, left
            for name in errors:
                number = name.removesuffix("_error")
                assert number in seen and data[number].ancillary_variables == name, name
                assert not (data[name] < 0).any(), name
                assert "camera" not in name or not (data[name].values[data[number].values > 0] == 0).any(), name
                assert "absorption" not in name or (data[name] > 0).any(), name
        assert files and set(wanted.split()) <= seen, seen


def test_an_old_file_stays(folder):
    """Whatever keeps the new one from being written."""
    make_model(folder, "pencil-beam", {})
    out = folder / "out"
    out.mkdir()
    old = out / "run.nc"
    old.write_text("old")
    again = ["-o", "out/run", "--seed", "1"]  # to the byte, but for the times of the run
    full = run(folder, *again, "--quiet").returncode, old.stat().st_size
    assert full[0] == 0 and full[1] > 50000 and len(list(out.iterdir())) == 1, full
    limits = [2000, 20000, full[1] // 2, full[1] - 1500]
    for limit in limits:
        old.write_text("old")
        done = run(folder, *again, preexec_fn=lambda size=limit: resource.setrlimit(
            resource.RLIMIT_FSIZE, (size, size)))
        assert done.returncode == 3 and "out/run.nc" in done.stderr and "too large" in done.stderr, done
        assert old.read_text() == "old" and list(out.iterdir()) == [old], limit
    shutil.copy(PROGRAM, folder / "program")
    for path in (out, old):
        path.chmod(0o444 if path == old else 0o777)
    folder.chmod(0o755)
    user = {"preexec_fn": lambda: os.setuid(65534)} if os.geteuid() == 0 else {}
    done = subprocess.run([folder / "program", "model.trl", "-o", "out/run"], cwd=folder, text=True,
                          capture_output=True, timeout=60, **user)
    assert done.returncode == 3 and "out/run.nc: Permission denied" in done.stderr, done
    (out / "folder.nc").mkdir()
    for base, words in (("none/run", "no such folder"), ("out/folder", "no regular file")):
        done = run(folder, "-o", base)
        assert done.returncode == 3 and words in done.stderr and not done.stdout, done
    assert old.read_text() == "old", "an old file"


def test_what_is_asked_for(folder):
    make_model(folder, "pencil-beam", {})
    for arguments, endings in ((["-o", "-"], []), ([], ["nc"]), (["--text", "-o", "-"], []),
                               (["--rules", "classic"], ["CW", "CW"]),
                               (["--text"], ["CW", "CW", "nc"])):
        done = run(folder, *arguments)
        files = sorted(folder.glob("model.*.*")) + sorted(folder.glob("model.nc"))
        assert done.returncode == 0 and [f.name.split(".")[-1] for f in files] == endings, done
        assert ("\nfiles" in done.stdout) == bool(files), done.stdout
        for file in files:
            file.unlink()


def test_odd_texts(folder):
    """A long model, and one that is not UTF-8."""
    make_model(folder, "pencil-beam", {"1 muscle": "1 m\xfcskel", "# A pencil": "# comment\n" * 20000 + "# A"})
    (folder / "model.trl").write_bytes((folder / "model.trl").read_text().encode("latin-1"))
    assert run(folder).returncode == 0
    with xarray.open_dataset(folder / "model.nc") as data:
        assert data.tissue_name[0] == "m?skel" and len(data.attrs["model"]) > 200000, data


def test_without_locks(folder):
    """As on network file systems: a library that is loaded ahead has none."""
    make_model(folder, "pencil-beam", {})
    done = run(folder, env={**os.environ, "LD_PRELOAD": sys.argv[2]})
    assert done.returncode == 0 and not done.stderr, done
    assert xarray.open_dataset(folder / "model.nc").absorption.sum() > 0


def main():
    tests = [test_numbers, test_an_old_file_stays, test_what_is_asked_for, test_odd_texts]
    for test in tests + [test_without_locks] * (len(sys.argv) > 2):
        with tempfile.TemporaryDirectory() as path:
            test(Path(path))
    return 0


PROGRAM = sys.argv[1]
if __name__ == "__main__":
    sys.exit(main())
