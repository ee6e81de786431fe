"""The manual's layouts and ways from other programs, and mesh files of Debian's packages."""

import os
import re
import shutil
import subprocess
import tarfile
from pathlib import Path

import numpy as np
import pytest

import trel
from trel import program

ROOT = Path(__file__).resolve().parents[2]
MANUAL = (ROOT / "docs" / "meshes.md").read_text()
SECTIONS = dict(re.findall(r"^##+ ([^\n]+)\n(.*?)(?=^##|\Z)", MANUAL, re.MULTILINE | re.DOTALL))


def run(*command, cwd, **options):
    done = subprocess.run(command, cwd=cwd, text=True, capture_output=True, check=False, **options)
    assert done.returncode == 0, f"{command}\n{done.stdout}\n{done.stderr}"
    return done.stdout


@pytest.mark.parametrize("ending", ["off", "surf", "ply", "stl", "am", "mesh"])
def test_the_layouts_in_the_manual_are_a_tetrahedron(ending, tmp_path):
    path = tmp_path / f"one.{ending}"
    path.write_text(re.search(rf"^```{ending}\n(.*?)^```", MANUAL, re.MULTILINE | re.DOTALL)[1])
    found = trel.mesh.doctor(path)
    assert found.findings == () and found.volume == pytest.approx(1 / 6)
    assert (found.vertices, found.bodies, found.inverted, found.open_edges) == (4, 1, 0, 0)


# What the way makes, its regions, the least share and the volume of its shapes, mm^3.
WAYS = {
    "From Gmsh": ("head.am", 2, (0.97, 4 / 3 * np.pi * 16**3)),
    "From TetGen": ("box.am", 2, (0.9999, 8000)),
    "From Netgen": ("ball.am", 2, (0.95, 4 / 3 * np.pi * 8**3)),
    "From a scanner's STL": ("organ.am", 1, (0.9999, 59270.8)),
}


@pytest.mark.long
@pytest.mark.parametrize("way", WAYS)
def test_the_way_from_other_programs_ends_in_a_result(way, tmp_path):
    script, = re.findall(r"^```sh\n(.*?)^```", SECTIONS[way], re.MULTILINE | re.DOTALL)
    shutil.copy(ROOT / "examples" / "cookbook" / "organ.stl", tmp_path)
    tools = tmp_path / "bin"
    tools.mkdir()
    (tools / "trelrun").symlink_to(program.find_program())
    (tools / "trel-tools").symlink_to(ROOT / "python" / "trel-tools")
    env = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "TREL_BIN": str(tools),
           "PYTHONPATH": str(ROOT / "python")}
    run("bash", "-euc", script, cwd=tmp_path, env=env)
    name, regions, (least, volume) = WAYS[way]
    mesh = trel.mesh.read(tmp_path / name)
    assert set(mesh.groups) == set(range(1, regions + 1))
    assert least * volume <= mesh.volumes().sum() <= volume * (1 + 1e-6)
    if way == "From Netgen":
        assert trel.mesh.read(tmp_path / "ball.vol").names == {1: "nodule", 2: "ball"}
    result, = tmp_path.glob("*.nc")
    ledger = trel.open(result).trel.ledger().sel(wavelength=650)
    assert ledger.value.sel(ledger_line="absorbed") > 0.01
    parts = [f"by tissue {region}" for region in range(1, regions + 1)]
    assert np.all(ledger.value.sel(ledger_line=parts) > 0)


@pytest.mark.long
def test_the_cookbooks_brain_is_what_gmsh_makes(tmp_path):
    geometry = ROOT / "examples/cookbook/brain.geo"
    for options, name in (("", "brain.msh"), ("-bin", "binary.msh"), ("-format msh22", "old.msh"),
                          ("", "brain.mesh"), ("", "brain.vtk")):
        run("gmsh", "-3", geometry, *options.split(), "-o", name, cwd=tmp_path)
        made = trel.mesh.convert(tmp_path / name, tmp_path / "made.am", scale=10)
        kept = trel.mesh.convert(ROOT / "examples/cookbook/brain.msh.gz", tmp_path / "kept.am",
                                 scale=10)
        assert made.volume == pytest.approx(kept.volume, rel=0.005)
        if name.endswith(".msh"):
            assert made.regions == kept.regions
            assert list(made.regions.values()) == ["white", "grey", "liquor", "skull", "scalp"]
    run("gmsh", "-3", geometry, "-save_all", "-o", "all.msh", cwd=tmp_path)
    with pytest.raises(trel.MeshError, match="all.msh: .*Mesh.SaveAll"):
        trel.mesh.convert(tmp_path / "all.msh", tmp_path / "made.am")


# Files as packages have them: how many triangles and tetrahedra, or why they do not load.
PACKAGES = {
    "libcgal-demo": {
        "data/meshes/elephant.off": (5558, 0),
        "data/meshes/camel.off": (19536, 0),
        "data/meshes/femur.off": (7798, 0),
        "data/meshes/torus_quad.off": (50, 0),
        "data/meshes/mpi.off": (180, 0),
        "data/meshes/hand.off": (2390, 0),
        "data/meshes/pig.stl": (16848, 0),
        "data/meshes/sphere.stl": (320, 0),
        "data/meshes/sphere.ply": (320, 0),
        "data/meshes/colored_tetra.ply": "element edge",
        "examples/Tetrahedral_remeshing/data/sphere.mesh": (0, 3586),
    },
    "python3-sfepy": {
        "meshes/3d/cylinder.vtk": (0, 1348),
        "meshes/3d/cylinder_in_box.mesh": (0, 3344),
        "meshes/3d/elbow.mesh": (0, 8161),
        "meshes/3d/unit_ball.mesh": (0, 1110),
        "meshes/various_formats/msh_tetra.msh": (0, 127),
        "meshes/various_formats/octahedron.node": (0, 1224),
        "meshes/3d/block.mesh": "hexahedron",
    },
    "gmsh-doc": {
        "tutorial/t13_data.stl.gz": (1580, 0),
        "stl_to_cartesian/lever.stl.gz": (774, 0),
        "tutorial/view5.msh": "msh cannot be read",
    },
    "netgen-doc": {"examples/part1.stl": (380, 0), "examples/hinge.stl": (1212, 0)},
}


@pytest.mark.long
def test_mesh_files_of_debian_load_as_they_are(tmp_path):
    loaded = 0
    for package, files in PACKAGES.items():
        folder = tmp_path / package
        folder.mkdir()
        run("apt-get", "-o", "APT::Sandbox::User=root", "download", package, cwd=folder)
        archive, = folder.glob("*.deb")
        run("dpkg-deb", "-x", archive, folder, cwd=folder)
        for packed in folder.rglob("*.tar.gz"):
            with tarfile.open(packed) as archive:
                archive.extractall(folder)
        paths = [path for path in folder.rglob("*") if path.is_file()]
        for name, expected in files.items():
            path = next(path for path in paths if str(path).endswith(name))
            if isinstance(expected, str):
                with pytest.raises(trel.MeshError, match=expected):
                    trel.mesh.convert(path, tmp_path / "out.off")
                continue
            out = tmp_path / ("out.am" if expected[1] else "out.off")
            found = trel.mesh.convert(path, out)
            counted = (0 if expected[1] else found.triangles, found.elements)
            assert counted == expected, name
            loaded += 1
    assert loaded >= 15
