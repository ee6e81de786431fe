"""Files for other programs hold the numbers, places and units of the result."""

import base64
import csv
import os
import struct
import subprocess
import sys
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import numpy as np
import pytest
import xarray as xr
from runs import LATTICE, LATTICE_CELL, LATTICE_CORNER, LATTICE_COUNTS, SURFACE, UNEVEN
from runs import path, raw, result

import trel
from trel.errors import MissingPackage

GLOW = ("bioluminescence", "roiseparation 1 1 1", "roiseparation 2 5 8")
BALL = {"name": "ball-in-box", "elements": True}
FIBRES = ("fibers", "roiseparation 0.25 0.25 0.25", "roiseparation 1 1 1")
PLANE = ("plane",)
ROOT = Path(__file__).resolve().parents[2]


def read_vti(file):
    """Extent, origin, spacing and the arrays of the cells, as the format's description has them."""
    image = ElementTree.parse(file).getroot().find("ImageData")
    numbers = [[float(word) for word in image.get(name).split()]
               for name in ("WholeExtent", "Origin", "Spacing")]
    assert image.find("Piece").get("Extent") == image.get("WholeExtent")
    arrays = {}
    for array in image.iter("DataArray"):
        assert (array.get("type"), array.get("format")) == ("Float64", "binary")
        block = base64.b64decode(array.text)
        (size,) = struct.unpack("<Q", block[:8])
        assert len(block) == 8 + size
        arrays[array.get("Name")] = np.frombuffer(block[8:], "<f8")
    return numbers, arrays


def test_vti_has_the_lattice_of_the_model_and_x_fastest(tmp_path):
    (extent, origin, spacing), arrays = read_vti(trel.export(result(*LATTICE), tmp_path / "a.vti"))
    assert extent[1::2] == list(LATTICE_COUNTS) and extent[::2] == [0, 0, 0]
    assert origin == list(LATTICE_CORNER) and spacing == list(LATTICE_CELL)
    # The file of the run has the axes z, y, x: as it lies there x is the fastest.
    assert np.array_equal(arrays["absorption"], raw(path(*LATTICE), "absorption")[0].ravel())
    gates = raw(path(*LATTICE), "absorption_td_error")[0]
    for gate, middle in zip(gates, (150, 450, 750)):
        shown = arrays[f"absorption_td_error_{middle}ps"]
        assert np.array_equal(shown, gate.ravel(), equal_nan=True)
    assert len(arrays) == 2 + 6


def test_vti_keeps_wavelengths_apart_and_holds_planes(tmp_path):
    _, arrays = read_vti(trel.export(result(*GLOW), tmp_path / "a.vti"))
    for number, wavelength in enumerate((600, 680)):
        data = raw(path(*GLOW), "fluence_rate")[number]
        assert np.array_equal(arrays[f"fluence_rate_{wavelength}nm"], data.ravel())
    (extent, _, _), arrays = read_vti(trel.export(result(*PLANE), tmp_path / "b.vti"))
    data = raw(path(*PLANE), "absorption")[0]
    assert extent == [0, data.shape[1], 0, data.shape[0], 0, 0]
    assert np.array_equal(arrays["absorption"], data.ravel())


def test_vtu_has_elements_or_faces(tmp_path):
    import meshio
    file = path(**BALL)
    for cells, kind, names in (("element", "tetra", ["absorption_element", "element_volume"]),
                               ("face", "triangle", ["transmittance_mesh_face", "face_area"])):
        mesh = meshio.read(trel.export(trel.open(file), tmp_path / f"{cells}.vtu", cells=cells))
        assert np.array_equal(mesh.points, raw(file, "vertex_position"))
        assert np.array_equal(mesh.cells_dict[kind], raw(file, f"{cells}_vertices"))
        for name in names:
            assert np.array_equal(mesh.cell_data[name][0], raw(file, name).ravel())
        vertex = raw(file, "transmittance_mesh_vertex")[0]
        assert np.array_equal(mesh.point_data["transmittance_mesh_vertex"], vertex)
    # Without being told: what the result has.
    for ds, kind in ((trel.open(file), "tetra"), (result(*SURFACE), "triangle")):
        assert list(meshio.read(trel.export(ds, tmp_path / "c.vtu")).cells_dict) == [kind]


def test_mat_has_all_variables_as_matlab_reads_the_file(tmp_path):
    from scipy.io import loadmat
    for file in (path(*LATTICE), path(**BALL), path(*FIBRES)):
        ds = trel.open(file)
        mat = loadmat(trel.export(ds, tmp_path / "a.mat"))
        for name in map(str, ds.variables):
            data = raw(file, name)
            if data.dtype == object:
                assert [str(cell[0]) for cell in mat[name].ravel()] == list(data)
                continue
            assert np.array_equal(mat[name].reshape(-1, order="F"), data.ravel(), equal_nan=True)
            assert mat[name].shape[:data.ndim] == data.shape[::-1], name
        assert mat["units"]["absorption"][0, 0][0] == "mm-3"
        assert mat["attributes"]["seed"][0, 0].item() == 1


def test_csv_has_a_row_for_each_cell(tmp_path):
    file = path(*LATTICE)
    with open(trel.export(result(*LATTICE), tmp_path / "a.csv"), newline="") as text:
        head, *rows = csv.reader(text)
    assert head == ["wavelength (nm)", "x (mm)", "y (mm)", "z (mm)", "absorption (mm-3)",
                    "absorption_error (mm-3)"]
    numbers = np.array(rows, float)
    index = np.round((numbers[:, 1:4] - LATTICE_CORNER) / LATTICE_CELL - 0.5).astype(int)
    assert np.allclose(numbers[:, 1:4], LATTICE_CORNER + (index + 0.5) * np.array(LATTICE_CELL))
    assert len({tuple(row) for row in index}) == np.prod(LATTICE_COUNTS) == len(rows)
    for column, name in ((4, "absorption"), (5, "absorption_error")):
        data = raw(file, name)[0][tuple(index[:, ::-1].T)]
        assert np.array_equal(numbers[:, column], data, equal_nan=True)
    derived = xr.Dataset({"value": ("r", [1.5, 2], {"units": "mm-2"}), "error": ("r", [0.1, 0.2])},
                         {"r": ("r", [0.5, 1], {"units": "mm"})})
    assert (trel.export(derived, tmp_path / "b.csv").read_text()
            == "r (mm),value (mm-2),error\n0.5,1.5,0.1\n1.0,2.0,0.2\n")


@pytest.mark.parametrize("model, ending, words", [
    (UNEVEN, ".vti", "along x are 2 mm wide, but one has 0.4 mm"),
    (("limb-time",), ".vti", "no grid in x, y, z"),
    (LATTICE, ".vtu", "no mesh"),
    (SURFACE, ".vtk", "known endings are .vti, .vtu"),
])
def test_what_a_format_cannot_hold_is_refused(model, ending, words, tmp_path):
    with pytest.raises(ValueError, match=words):
        trel.export(result(*model), tmp_path / f"a{ending}")
    assert not list(tmp_path.iterdir())


@pytest.mark.parametrize("module, package, ending", [
    ("meshio", "python3-meshio", ".vtu"), ("scipy.io", "python3-scipy", ".mat"),
    ("nibabel", "python3-nibabel", ".nii.gz"),
])
def test_a_missing_library_names_its_package(module, package, ending, tmp_path, monkeypatch):
    monkeypatch.setitem(sys.modules, module, None)
    with pytest.raises(MissingPackage, match=f"apt-get install {package}"):
        trel.export(result(*SURFACE), tmp_path / f"a{ending}")


@pytest.mark.long
def test_vtk_finds_the_values_at_their_places(tmp_path):
    from vtkmodules.vtkIOXML import vtkXMLImageDataReader, vtkXMLUnstructuredGridReader
    for model, reader, name in ((LATTICE, vtkXMLImageDataReader(), "absorption_td_450ps"),
                                (BALL, vtkXMLUnstructuredGridReader(), "absorption_element")):
        ds = result(**model) if model is BALL else result(*model)
        reader.SetFileName(str(trel.export(ds, tmp_path / ("a.vtu" if model is BALL else "a.vti"))))
        reader.Update()
        data = reader.GetOutput()
        assert (data.GetBounds() == pytest.approx((-10, 10, -10, 10, 0, 20)) if model is BALL else
                data.GetBounds() == (-15, 9, -10, 14, -12, 9))
        array = data.GetCellData().GetArray(name)
        if model is BALL:
            middles = ds["vertex_position"].values[ds["element_vertices"].values].mean(axis=1)
            values = ds[name].values[0]
        else:
            grid = ds["absorption_td"].isel(wavelength=0, time=1)
            middles = np.stack(np.meshgrid(ds.x, ds.y, ds.z, indexing="ij"), -1).reshape(-1, 3)
            values = grid.values.ravel()
        for middle, value in list(zip(middles, values))[::7]:
            cell = data.FindCell(middle, None, 0, 1e-9, _reference(), [0.0] * 3, [0.0] * 8)
            assert array.GetTuple1(cell) == value


def _reference():
    from vtkmodules.vtkCommonCore import reference
    return reference(0)


@pytest.mark.long
def test_nifti_maps_indices_to_mm(tmp_path):
    import nibabel
    image = nibabel.load(trel.export(result(*LATTICE), tmp_path / "a.nii.gz", name="absorption_td"))
    assert image.shape == (*LATTICE_COUNTS, 3) and nibabel.aff2axcodes(image.affine) == tuple("RAS")
    corner = image.affine @ [-0.5, -0.5, -0.5, 1]
    assert corner[:3] == pytest.approx(LATTICE_CORNER)
    assert image.header.get_zooms() == pytest.approx((*LATTICE_CELL, 300))
    assert image.header.get_xyzt_units()[0] == "mm"
    data = raw(path(*LATTICE), "absorption_td")[0]
    assert np.array_equal(image.get_fdata(), data.transpose(3, 2, 1, 0))
    with pytest.raises(ValueError, match="say wavelength="):
        trel.export(result(*GLOW), tmp_path / "b.nii")
    image = nibabel.load(trel.export(result(*GLOW), tmp_path / "b.nii", wavelength=680))
    assert np.array_equal(image.get_fdata(), raw(path(*GLOW), "fluence_rate")[1].T)


@pytest.mark.long
def test_octave_runs_models_and_reads_results_alike(tmp_path):
    file = path(**BALL)
    mat = trel.export(trel.open(file), tmp_path / "a.mat")
    lines = f"""
pkg load netcdf
addpath('{ROOT}/matlab');
[read, units] = trelread('{file}');
mat = load('{mat}');
for name = fieldnames(mat)'
  if isnumeric(mat.(name{{1}})) && ~isequaln(double(mat.(name{{1}})), double(read.(name{{1}})))
    error('%s differs', name{{1}});
  end
end
assert(units.absorption, 'mm-3');
assert(read.attributes.rules, 'exact');
[result, log] = trelrun('{ROOT}/examples/pencil-beam.trl', 'packets', 2000, 'seed', 3, ...
                        'keep-batches', true, 'set', '1.mua=0.05', 'o', 'it''s.nc');
assert(size(result.absorption_batches), [20 20 20 1 20]);
assert(result.mua, 0.05); assert(double(result.attributes.seed), 3);
assert(~isempty(strfind(log, 'absorbed')));
for what = {{@() trelrun('none.trl'), @() trelread('none.nc'), @() trelrun('none.trl', 'seed')}}
  try
    what{{1}}();
    told = '';
  catch problem
    told = problem.message;
  end
  assert(~isempty(regexp(told, 'cannot be opened|is not there|names and values')));
end
disp('all is well');
"""
    done = subprocess.run(["octave-cli", "--norc", "--eval", lines], cwd=tmp_path, text=True,
                          capture_output=True, check=False, env=dict(os.environ))
    assert done.stdout.strip().endswith("all is well"), done.stderr
