"""Meshes of other programs, of labels, and what is wrong with them."""

import gzip
import struct
import warnings

import meshio
import numpy as np
import pytest
from hypothesis import given, settings
from hypothesis import strategies as st

import trel
from trel import program
from trel.tools import main

# A box of 1 x 2 x 3 mm: corners by bits x, y, z, and its six sides, which look outward.
CORNERS = [(x, y, z) for z in (0, 3) for y in (0, 2) for x in (0, 1)]
SIDES = [(0, 2, 3, 1), (4, 5, 7, 6), (0, 1, 5, 4), (2, 6, 7, 3), (0, 4, 6, 2), (1, 3, 7, 5)]
TRIANGLES = [corners for a, b, c, d in SIDES for corners in ((a, b, c), (a, c, d))]


def lines(rows, before=""):
    return "".join(before + " ".join(map(str, row)) + "\n" for row in rows)


def off(points=CORNERS, faces=TRIANGLES):
    text = lines((len(face), *face) for face in faces)
    return f"OFF\n{len(points)} {len(faces)} 0\n{lines(points)}{text}"


def binary_stl(title):
    facets = [struct.pack("<12fH", 0, 0, 0, *np.ravel([CORNERS[k] for k in corners]), 0)
              for corners in TRIANGLES]
    return title.ljust(80) + struct.pack("<I", len(facets)) + b"".join(facets)


def polydata(binary=False, version="3.0"):
    def numbers(rows, kind):
        return np.array(rows, kind).tobytes() + b"\n" if binary else lines(rows).encode()

    text = (f"# vtk DataFile Version {version}\nbox\n{'BINARY' if binary else 'ASCII'}\n"
            "DATASET POLYDATA\nPOINTS 8 float\n").encode() + numbers(CORNERS, ">f4")
    if version == "5.1":
        return (text + b"POLYGONS 7 24\nOFFSETS vtktypeint64\n"
                + numbers([[at] for at in range(0, 28, 4)], ">i8")
                + b"CONNECTIVITY vtktypeint64\n" + numbers(SIDES, ">i8"))
    quads = numbers([(4, *side) for side in SIDES], ">i4")
    return (text + b"LINES 1 4\n" + numbers([(3, 0, 1, 2)], ">i4") + b"POLYGONS 6 30\n" + quads
            + b"POINT_DATA 8\nSCALARS x float\n")


SURFACES = {
    "plain.off": off(),
    "comments.off": "# of a scanner\n\n" + off().replace("OFF\n", "OFF # here\n# and here\n\n"),
    "counts.off": off().replace("OFF\n", "OFF "),
    "colours.off": "COFF" + off([(*corner, 9, 9, 9, 1) for corner in CORNERS])[3:],
    "quads.off": off(faces=SIDES).replace("\n", "\r\n"),
    "unused.off": off([*CORNERS, (50, 50, 50)]),
    "packed.off.gz": gzip.compress(off().encode()),
    "binary.stl": binary_stl(b"of a scanner"),
    "solid.stl": binary_stl(b"solid of a scanner"),
    "text.vtk": polydata(), "binary.vtk": polydata(True), "new.vtk": polydata(version="5.1"),
    "binary5.vtk": polydata(True, "5.1"),
    "box.surf": f"SurfaceMesh\n8\n{lines(CORNERS)}12\n{lines(np.array(TRIANGLES) + 1)}",
}


def put(folder, name, content):
    path = folder / name
    path.write_bytes(content if isinstance(content, bytes) else content.encode())
    return path


@pytest.mark.parametrize("name", SURFACES)
def test_surfaces_of_others_are_the_box(name, tmp_path):
    path = put(tmp_path, name, SURFACES[name])
    found = trel.mesh.convert(path, tmp_path / "out.off")
    assert (found.triangles, found.vertices, found.bodies, found.inverted) == (12, 8, 1, 0)
    assert found.volume == pytest.approx(6) and found.is_usable
    assert (found.low, found.high) == ((0, 0, 0), (1, 2, 3))
    assert "volume: 6 mm^3\nbox: (0, 0, 0) to (1, 2, 3) mm" in str(found)


def two_boxes(names=(7, 4)):
    """A box of 1 x 2 x 3 mm in two regions, of a third and two thirds of it along z."""
    labels = np.array([[[1, 2, 2]]])
    made = trel.mesh.voxels(labels, (1, 2, 1))
    groups = np.array([0, *names])[made.groups]
    return made, groups


def as_meshio(**data):
    made, _ = two_boxes()
    return meshio.Mesh(made.points, [("line", [[0, 1]]), ("tetra", made.corners)],
                       cell_data={key: [value[:1], value] for key, value in data.items()})


def gmsh(path, **options):
    _, groups = two_boxes()
    mesh = as_meshio(**{"gmsh:physical": groups, "gmsh:geometrical": groups})
    mesh.field_data = {"skin": np.array([7, 3]), "bone": np.array([4, 3]),
                       "edge": np.array([7, 1])}
    mesh.write(path, file_format="gmsh22", **options)


def others(path, key=None, **options):
    mesh = as_meshio(**({key: two_boxes()[1]} if key else {}))
    mesh.cells, mesh.cell_data = mesh.cells[1:], {k: v[1:] for k, v in mesh.cell_data.items()}
    mesh.write(path, **options)


def medit(path):
    others(path, "medit:ref", file_format="medit")


def neutral(path):
    made, groups = two_boxes()
    made.corners[::3, :2] = made.corners[::3, 1::-1]  # some are wound inward
    rows = np.column_stack([groups, made.corners + 1])
    path.write_text(f" {len(made.points)}\n{lines(made.points, '  ')} {len(rows)}\n"
                    f"{lines(rows, '  ')} 2\n 1 1 2 3\n 1 1 3 2\n")


# Who writes it, and the names of its groups 4 and 7, which become the regions 1 and 2.
VOLUMES = {
    "two.msh": (lambda path: gmsh(path, binary=False), ("bone", "skin")),
    "binary2.msh": (lambda path: gmsh(path), ("bone", "skin")),
    "medit.mesh": (medit, ("(4 in the file)", "(7 in the file)")),
    "neutral.mesh": (neutral, ("(4 in the file)", "(7 in the file)")),
    "box.vol": (lambda path: others(path, "netgen:index"), None),
    "box.ele": (lambda path: others(path, "tetgen:ref"), ("(4 in the file)", "(7 in the file)")),
    "text.vtk": (lambda path: others(path, "tissue", binary=False, file_format="vtk42"), None),
    "box.vtu": (lambda path: others(path, "anything"), ("(4 in the file)", "(7 in the file)")),
}


@pytest.mark.parametrize("name", VOLUMES)
def test_volumes_of_others_keep_their_regions(name, tmp_path):
    write, names = VOLUMES[name]
    write(tmp_path / name)
    found = trel.mesh.convert(tmp_path / name, tmp_path / "out.am")
    assert found.volume == pytest.approx(6) and (found.elements, found.bodies) == (18, 1)
    assert names is None or found.regions == dict(enumerate(names, 1))
    made = trel.mesh.read(tmp_path / "out.am")
    parts = [np.abs(made.only(made.groups == region).volumes()).sum() for region in (1, 2)]
    assert parts == pytest.approx([4, 2])  # the lower number first, whatever came first
    skin = trel.mesh.convert(tmp_path / name, tmp_path / "out.stl")
    assert (skin.triangles, skin.open_edges, skin.inverted) == (28, 0, 0)
    assert skin.volume == pytest.approx(6)


def test_names_become_numbers(tmp_path):
    path = tmp_path / "two.msh"
    gmsh(path)

    def volumes(**regions):
        trel.mesh.convert(path, tmp_path / "out.mesh", regions=regions)
        made = trel.mesh.read(tmp_path / "out.mesh")
        return [np.abs(made.only(made.groups == region).volumes()).sum()
                for region in np.unique(made.groups)]

    assert volumes(skin=1, bone=2) == pytest.approx([2, 4])
    assert volumes(**{"7": 1, "bone": 1}) == pytest.approx([6])
    assert volumes(skin=0, bone=1) == pytest.approx([4])
    skin = trel.mesh.convert(path, tmp_path / "out.off", regions={"skin": 1, "bone": 0})
    assert (skin.volume, skin.open_edges) == (pytest.approx(2), 0)
    for regions, words in (({"skin": 1}, "say what bone"), ({"fat": 1}, "no 'fat', but bone, skin"),
                           ({"skin": 1, "bone": 3}, "region 2 is missing"),
                           ({"skin": 0, "bone": 0}, "nothing is left")):
        with pytest.raises(trel.MeshError, match=words):
            volumes(**regions)


def test_names_are_those_of_the_cells_dimension(tmp_path):
    groups = np.repeat([4, 7], 6)
    mesh = meshio.Mesh(CORNERS, [("triangle", TRIANGLES)],
                       cell_data={"gmsh:physical": [groups], "gmsh:geometrical": [groups]})
    mesh.field_data = {"wall": np.array([4, 2]), "bone": np.array([4, 3])}
    mesh.write(tmp_path / "box.msh", file_format="gmsh22")
    regions = {"wall": 1, "7": 0}
    found = trel.mesh.convert(tmp_path / "box.msh", tmp_path / "out.off", regions=regions)
    assert (found.triangles, found.open_edges) == (6, 8)


HEXAHEDRON = meshio.Mesh(CORNERS, [("hexahedron", [[0, 1, 3, 2, 4, 5, 7, 6]])])
FAULTS = {
    "none.off": (None, "there is no such file"),
    "word.off": ("OFX\n1 1 0\n", "line 1: got 'OFX'"),
    "cut.off": (off()[:-40], "line [0-9]+: the file ends too early"),
    "short.off": (off().replace("3 0 2 3\n", "3 0 2\n"), "line 11: the face has 2 corners, not 3"),
    "far.off": (off(CORNERS[:-1]), "none of the 7 points"),
    "nowhere.off": (off([("nan", 0, 0), *CORNERS[1:]]), "no finite number"),
    "comma.off": (off([("0,5", 0, 0), *CORNERS[1:]]), "line 3: .*0,5"),
    "cut.off.gz": (gzip.compress(off().encode())[:-20], "end-of-stream"),
    "points.off": (off(faces=[]), "no triangles"),
    "what.xyz": ("1 2 3\n", "format"),
    "bad.ply": ("ply\nformat ascii 1.0\nelement strange 3\nend_header\n", "strange"),
    "bad.msh": ("$MeshFormat\n9.9 0 8\n$EndMeshFormat\n", "9.9"),
    "noise.vtu": ("<VTKFile", "as vtu"),
    "noise.stl": ("no facet\n" * 30, "stl cannot be read|no triangles|no points"),
    "boxes.vtk": (HEXAHEDRON, "1 cells of the kind hexahedron"),
    "control.mesh": ("CONTROL INFO\n", "line 1"),
    "cut.vtk": (polydata(True)[:150], "vtk cannot be read|numbers"),
}


@pytest.mark.parametrize("name", FAULTS)
def test_a_bad_file_is_told_and_nothing_written(name, tmp_path, capfd):
    content, words = FAULTS[name]
    if isinstance(content, meshio.Mesh):
        content.write(tmp_path / name)
    elif content is not None:
        put(tmp_path, name, content)
    before = set(tmp_path.iterdir())
    with pytest.raises(trel.MeshError, match=words) as caught:
        trel.mesh.convert(tmp_path / name, tmp_path / "out.off")
    assert str(tmp_path / name) in str(caught.value)
    assert set(tmp_path.iterdir()) == before
    assert capfd.readouterr() == ("", "")


def test_what_a_format_does_not_hold_is_refused(tmp_path):
    path = put(tmp_path, "box.off", off())
    for out, options, words in (("box.am", {}, "without tetrahedra"),
                                ("box.obj", {}, "written are"), ("o.off", {"scale": 0}, "scale"),
                                ("o.off", {"weld": -1}, "weld"), ("o.off", {"weld": 9}, "nothing")):
        with pytest.raises(trel.MeshError, match=words):
            trel.mesh.convert(path, tmp_path / out, **options)
    (tmp_path / "folder.off").mkdir()
    with pytest.raises(OSError, match="folder.off"):
        trel.mesh.convert(path, tmp_path / "folder.off")
    assert set(tmp_path.iterdir()) == {path, tmp_path / "folder.off"}


@pytest.mark.parametrize("ending", ["off", "ply", "stl", "surf", "am", "mesh"])
def test_written_numbers_come_back(ending, tmp_path):
    made, _ = two_boxes()
    made = made.placed(move=(0.1, 1 / 3, -1e5))
    path = tmp_path / f"out.{ending}"
    found = trel.mesh.save(made, path)
    again = trel.mesh.read(path)
    kept = made if again.is_volume else made.outside()
    np.testing.assert_array_equal(again.points[again.corners], kept.points[kept.corners]) \
        if ending != "stl" else np.testing.assert_allclose(
            np.unique(again.points, axis=0), np.unique(kept.points, axis=0), rtol=1e-6)
    if again.is_volume:
        np.testing.assert_array_equal(again.groups, made.groups)
    assert found.regions.keys() == ({1, 2} if again.is_volume else set())
    assert (found.vertices, found.low[2]) == (len(kept.points), np.float32(-1e5))


def test_places_are_scaled_then_centred_then_moved(tmp_path):
    corners = [CORNERS[k] for k in (0, 1, 2, 4)]
    faces = [(0, 2, 1), (0, 1, 3), (0, 3, 2), (1, 2, 3)]
    path = put(tmp_path, "one.off", off([*corners, (99, 99, 99)], faces))
    found = trel.mesh.convert(path, tmp_path / "o.off", scale=2, center=(0, 0, 5), move=(1, 0, 0))
    assert (found.low, found.high) == ((0, -2, 2), (2, 2, 8))


def test_welding_closes_gaps_up_to_the_distance(tmp_path):
    moved = np.random.default_rng(1).uniform(-1e-3, 1e-3, (12, 3, 3))
    corners = (np.array(CORNERS, float)[np.array(TRIANGLES)] + moved).reshape(-1, 3)
    path = tmp_path / "loose.off"
    # At 1e5 mm floats of 32 bits, as which the program reads them, are 0.008 mm apart.
    for weld, move, edges, vertices in ((False, 0, 36, 36), (0.0, 0, 36, 36), (0.01, 0, 0, 8),
                                        (0.0, 1e5, 0, 8)):
        put(tmp_path, "loose.off", off(corners + move, np.arange(36).reshape(12, 3)))
        found = trel.mesh.convert(path, tmp_path / "o.off", weld=weld)
        assert (found.open_edges, found.vertices) == (edges, vertices)
    # An edge shorter than the distance goes, and its triangles with it.
    put(tmp_path, "loose.off", off())
    found = trel.mesh.convert(path, tmp_path / "o.off", weld=1.1)
    assert found.vertices == 4 and found.triangles < 12


def shell():
    """A box of 5 mm with a cavity of 3 mm and in it a body of 1 mm."""
    labels = np.ones((5, 5, 5), int)
    labels[1:4, 1:4, 1:4] = 0
    labels[2, 2, 2] = 1
    return trel.mesh.voxels(labels, 1).outside()


def counted(path):
    """What a file of culprits has, by fault 1 to 4; nothing if there is no file."""
    if not path.exists():
        return [0, 0, 0, 0]
    faults = np.concatenate(meshio.read(path).cell_data["fault"])
    return [int(np.sum(faults == fault)) for fault in (1, 2, 3, 4)]


@given(seed=st.integers(0, 2**32 - 1))
@settings(max_examples=10)
def test_culprits_are_those_that_the_program_counts(tmp_path_factory, seed):
    folder = tmp_path_factory.mktemp("doctor")
    rng = np.random.default_rng(seed)
    made = shell()
    damage = rng.integers(0, len(made.corners), (4, rng.integers(0, 6)))
    made.corners[damage[0]] = made.corners[damage[0], ::-1]
    made.points[made.corners[damage[1], 0]] = (
        made.points[made.corners[damage[1], 1]] * (1 + 1e-6) + 1e-5)
    kept = np.setdiff1d(np.arange(len(made.corners)), damage[2])
    path, culprits = folder / "bad.off", folder / "bad.vtu"
    trel.mesh.save(made.only(np.concatenate([kept, damage[3]])), path)
    found = trel.mesh.doctor(path, culprits=culprits)
    assert counted(culprits) == [found.open_edges, found.non_manifold_edges, found.inverted,
                                 found.needles]
    assert found.is_usable == (found.open_edges + found.non_manifold_edges == 0)


def test_culprits_of_tetrahedra_lie_where_they_are(tmp_path):
    for turned in ([3], np.delete(np.arange(18), 3)):
        made, _ = two_boxes()
        made.corners[turned, :2] = made.corners[turned, 1::-1]
        trel.mesh.save(made, tmp_path / "bad.am")
        found = trel.mesh.doctor(tmp_path / "bad.am", culprits=tmp_path / "bad.vtu")
        assert (found.inverted, found.needles) == (1, 0)
        shown = meshio.read(tmp_path / "bad.vtu")
        np.testing.assert_array_equal(shown.points[shown.cells[0].data[0]],
                                      made.points[made.corners[3]])
        assert trel.mesh.doctor(tmp_path / "bad.am", mend=tmp_path / "good.am").inverted == 0


def test_needles_are_those_below_a_thousandth(tmp_path):
    low = np.array([0.95e-3, 1.05e-3])  # of the height or the volume of a regular one, side 1
    triangles = [(x, y, 0) for h in low * np.sqrt(0.75) for x, y in ((0, 0), (1, 0), (0.5, h))]
    base = ((0, 0, 0), (1, 0, 0), (0.5, np.sqrt(0.75), 0))
    tetrahedra = [corner for h in low * np.sqrt(2 / 3) for corner in (*base, (0.5, 0.3, h))]
    for points, ending in ((triangles, "off"), (tetrahedra, "am")):
        made = trel.mesh.Mesh.of(np.array(points), np.arange(len(points)).reshape(2, -1))
        trel.mesh.save(made, tmp_path / f"needle.{ending}")
        found = trel.mesh.doctor(tmp_path / f"needle.{ending}", culprits=tmp_path / "needle.vtu")
        assert found.needles == counted(tmp_path / "needle.vtu")[3] == 1


def test_mended_bodies_look_away_from_what_they_enclose(tmp_path):
    made = shell()
    turned = np.random.default_rng(2).random(len(made.corners)) < 0.5
    made.corners[turned] = made.corners[turned, ::-1]
    loose = made.points[made.corners].reshape(-1, 3)  # each triangle with corners of its own
    path = put(tmp_path, "bad.off", off(loose, np.arange(len(loose)).reshape(-1, 3)))
    assert trel.mesh.doctor(path).inverted > 100
    found = trel.mesh.doctor(path, mend=tmp_path / "good.off")
    assert (found.inverted, found.bodies, found.is_usable) == (0, 3, True)
    assert found.volume == pytest.approx(125 - 27 + 1)
    again = trel.mesh.read(tmp_path / "good.off")
    corners = again.points[again.corners]
    signed = np.linalg.det(corners).sum() / 6
    assert signed == pytest.approx(found.volume)


def test_a_flat_surface_is_told_not_run(tmp_path):
    path = put(tmp_path, "flat.off", off(CORNERS[:4], [(0, 1, 3, 2)]))
    found = trel.mesh.doctor(path)
    assert (found.open_edges, found.is_usable) == (4, False)
    assert "not closed" in str(found) and "convert it" in str(found)


def test_voxels_lie_where_their_labels_are(tmp_path):
    labels = np.random.default_rng(3).integers(0, 4, (5, 6, 7))
    made = trel.mesh.voxels(labels, (1, 2, 0.5), origin=(-3, 0, 10))
    found = trel.mesh.save(made, tmp_path / "v.am")
    assert found.volume == pytest.approx(np.count_nonzero(labels)) and found.inverted == 0
    assert found.regions == {1: "label 1", 2: "label 2", 3: "label 3"}
    # The program sees the labels in the middle of each voxel.
    model = trel.Model.tetrahedra(tmp_path / "v.am", [(0.1, 1, 0, 1)] * 3).isotropic((-1, 5, 12))
    model.write(tmp_path / "v.trl")
    for z in range(7):
        told = program.check(tmp_path / "v.trl", "--no-pilot", "--cut", f"z={10.25 + z / 2}:600")
        cut = np.array(told["cut"]["tissues"])
        low, high = told["cut"]["low"], told["cut"]["high"]
        step = (np.array(high) - low) / cut.shape
        middles = [(np.array([-2.5, 1][axis]) + np.arange((5, 6)[axis]) * (1, 2)[axis] - low[axis])
                   / step[axis] for axis in (0, 1)]
        at = np.ix_(*(np.floor(m).astype(int) for m in middles))
        np.testing.assert_array_equal(cut[at], labels[:, :, z])


def test_voxels_share_faces_whole():
    made = trel.mesh.voxels(np.ones((3, 4, 5), int), 1)
    assert made.volumes() == pytest.approx(1 / 6)
    assert len(made.points) == 4 * 5 * 6
    # Of conforming cells only the box is outside: two triangles for each square of its surface.
    assert len(made.outside().corners) == 2 * 2 * (3 * 4 + 4 * 5 + 3 * 5)


@pytest.mark.long
def test_voxels_of_images_follow_their_affine(tmp_path):
    import nibabel
    labels = np.zeros((4, 3, 2), np.int16)
    labels[0, 0, 0], labels[3, 2, 1] = 5, 9
    affine = np.array([[2, 0, 0, 10], [0, 0, 3, 20], [0, 1, 0, 30], [0, 0, 0, 1.0]])
    image = nibabel.Nifti1Image(labels, affine)
    image.header.set_xyzt_units("mm")
    nibabel.save(image, tmp_path / "labels.nii.gz")
    made = trel.mesh.voxels(tmp_path / "labels.nii.gz")
    assert np.all(made.volumes() > 0) and made.names == {1: "label 5", 2: "label 9"}
    for region, voxel in ((1, (0, 0, 0)), (2, (3, 2, 1))):
        own = made.only(made.groups == region).placed().points
        np.testing.assert_allclose((own.min(axis=0) + own.max(axis=0)) / 2,
                                   (affine @ [*voxel, 1])[:3])
        np.testing.assert_allclose(np.ptp(own, axis=0), (2, 3, 1))


def test_coarse_voxels_have_the_label_of_most():
    labels = np.zeros((4, 2, 3), int)
    labels[:2, :, :2] = [[[1, 1], [1, 2]], [[2, 1], [1, 2]]]  # five of label 1
    labels[2:, :, :2] = [[[0, 0], [0, 3]], [[0, 0], [0, 3]]]  # six of none
    labels[:2, :, 2] = 4  # four of eight: the rest is beyond the end, outside
    made = trel.mesh.voxels(labels, (1, 1, 2), coarsen=2)
    assert made.names == {1: "label 1"}
    assert made.volumes().sum() == pytest.approx(2 * 2 * 4)
    np.testing.assert_allclose(made.points.max(axis=0), (2, 2, 4))


def test_voxels_warn_of_steps_that_refract():
    labels = np.array([[[1, 2, 0, 3]]])
    with pytest.warns(UserWarning, match=r"touch: 0 and 3 \(1, 1.4\)\. "):
        trel.mesh.voxels(labels, 1, indices={1: 1, 2: 1, 3: 1.4})
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        trel.mesh.voxels(labels, 1, indices={0: 1.4, 1: 1.4, 2: 1.4, 3: 1.4})
    for bad, words in (({"labels": labels, "spacing": 0}, "spacing"),
                       ({"labels": labels * 0.5, "spacing": 1}, "whole"),
                       ({"labels": labels[0], "spacing": 1}, "axes"),
                       ({"labels": 0 * labels, "spacing": 1}, "outside"),
                       ({"labels": labels, "spacing": 1, "indices": {1: 1.4}}, "label 2"),
                       ({"labels": labels, "spacing": 1, "coarsen": 0}, "coarsen")):
        with pytest.raises(trel.MeshError, match=words):
            trel.mesh.voxels(**bad)


def test_the_shell_does_the_same(tmp_path, capsys, monkeypatch):
    monkeypatch.chdir(tmp_path)
    gmsh("two.msh")
    words = "mesh convert two.msh two.am --scale 10 --center 0 0 0 --region skin=1 --region bone=2"
    assert main(words.split()) == 0
    told = capsys.readouterr().out
    assert "volume: 6000 mm^3\nbox: (-5, -10, -15) to (5, 10, 15) mm\n" in told
    assert "regions: 1 skin, 2 bone" in told
    put(tmp_path, "open.off", off(faces=TRIANGLES[1:]))
    assert main("mesh doctor open.off -o bad.vtu".split()) == 1
    assert "open edges: 3" in capsys.readouterr().out and counted(tmp_path / "bad.vtu")[0] == 3
    assert main("mesh doctor two.am --mend two.mesh -o bad.vtu".split()) == 0
    assert "culprits: none" in capsys.readouterr().out and not (tmp_path / "bad.vtu").exists()
    np.save("labels.npy", np.ones((2, 2, 2), int))
    assert main("mesh voxels labels.npy v.am --spacing 2 --index 1=1.4".split()) == 0
    said = capsys.readouterr()
    assert "volume: 64 mm^3" in said.out and "warning: labels of unequal" in said.err
    assert main(["mesh", "convert", "none.off", "o.off"]) == 1
    assert "none.off: there is no such file" in capsys.readouterr().err
