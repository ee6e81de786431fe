"""Models: made, read and written, by what the program says of their files."""

import dataclasses
import os
import re
from pathlib import Path

import pytest
from modelfiles import BOX, save, told

import trel
from trel import Shape, Tissue, program

EXAMPLES = Path(__file__).resolve().parents[2] / "examples"
FILES = sorted([*EXAMPLES.glob("*.trl"), *EXAMPLES.glob("cookbook/*.trl")])
SKIN = [(1, 0.1, 10, 0.9, 1.37), (1, 0.1, 1, 0, 1.37), (2, 0.2, 1, 0.7, 1.37)]
PIECES = 10
MODELS = int(os.environ.get("TREL_MODELS", "150"))


def block(**change):
    """Return a box with a beam."""
    return trel.Model.box(20, 0.02, 10, 0.9, 1.37, **change)


def clean(model):
    """Return what the program says of a model in which it finds nothing to tell."""
    found = model.check()
    assert found["findings"] == []
    return found


def round_trip(path, other, monkeypatch):
    """Read a file and write another: the program says the same of both, and they read alike."""
    seen = []
    real = program.check
    monkeypatch.setattr(program, "check", lambda *asked: seen.append(real(*asked)) or seen[-1])
    model = trel.Model.read(path)
    assert trel.Model.read(model.write(other)) == model
    assert told(seen[0]) == told(seen[1])


@pytest.mark.parametrize("piece", range(PIECES))
def test_random_models_survive(piece, tmp_path, monkeypatch):
    """All kinds of models, with keywords in any order and of any spelling, and odd numbers."""
    (tmp_path / "sub").mkdir()
    for seed in range(piece * MODELS // PIECES, (piece + 1) * MODELS // PIECES):
        path = save(tmp_path, seed)
        other = tmp_path / ("other.trl" if seed % 2 else "sub/other.trl")
        with monkeypatch.context() as patch:
            round_trip(path, other, patch)


@pytest.mark.parametrize("path", FILES, ids=lambda path: path.stem)
def test_examples_survive_with_their_comments(path, tmp_path, monkeypatch):
    round_trip(path, tmp_path / "other.trl", monkeypatch)
    written = (tmp_path / "other.trl").read_text()
    comments = [line for line in path.read_text().splitlines() if line.startswith("#")]
    assert [line for line in written.splitlines() if line.startswith("#")] == comments


def test_comments_stay_with_their_blocks(tmp_path):
    text = block().pencil().text()
    for line in ("simulationproperty", "spectrum 1", "lightsource 1", "tissue 1", "endtrl"):
        text = text.replace(f"\n{line}", f"\n# of {line}\n{line}")
    # Within a block they move ahead of it, behind what stands there.
    text = text.replace("tissueaxis", "# of its size\ntissueaxis") + "# the last\n"
    text = text.replace("2.2\n", "2.2\ncomment free\n")
    (tmp_path / "a.trl").write_text(text)
    again = trel.Model.read(tmp_path / "a.trl").note("one\ntwo").text()
    assert "2.2\ncomment free\n# one\n# two\n\n# of simulationproperty\nsimulationp" in again
    assert "\n# of spectrum 1\nspectrum 1 650\n\n# of lightsource 1\nlightsource 1\n" in again
    assert "\n# of tissue 1\n# of its size\ntissue 1 tissue\n" in again
    assert again.endswith("\n# of endtrl\n# the last\nendtrl\n")


# What to replace in a model with a lamp and a fibre, and words of the error with its line.
LOST = [
    ("tissueshape cube", "tissueshape cube solid", "'solid' has no meaning"),
    ("simulationtype DOT", "simulationtype DOT\nsimulationtype DOT", "a second simulationtype"),
    ("tissueshape cube", "tissueshape cube\ntissueshape cube", "a second tissueshape"),
    ("10 0.9 1.37", "10 0.9 1.37\ntissuespectrumindex 1 1 1 0 1", "a second tissuespectrumindex"),
    ("simulationtype DOT", "domain td 0 1 1\ndomain td 0 2 1\nsimulationtype DOT",
     "a second domain"),
    ("fiberdetector 1", "lightsourceangle 0 0 0\nfiberdetector 1", "lightsourceangle has no eff"),
    ("endtrl\n", "endtrl\n# said\ntissue 2 behind\n", "what follows endtrl"),
    # In pieces, each of which is a comment to the program.
    ("endtrl\n", 300 * "#" + "\nendtrl\n", "more than 254 characters"),
    ("tissueaxis 10", "tissueaxis 10mm", "remedy|= write"),
    ("tissuenum 1", "tissuenum 2", "no line 'tissue 2'"),
    ("tissueshape", "tisueshape", "did you mean 'tissueshape'"),
]


@pytest.mark.parametrize("old, new, words", LOST, ids=[case[2][:20] for case in LOST])
def test_what_cannot_be_kept_is_refused_with_its_line(old, new, words, tmp_path):
    text = block().pencil().fibre((3, 0, 5), 1, 2).text()
    assert text.count(old) == 1
    path = tmp_path / "model.trl"
    path.write_text(text.replace(old, new))
    with pytest.raises(trel.ModelError, match=words) as error:
        trel.Model.read(path)
    odd = [i for i, line in enumerate(path.read_text().split("\n"), 1) if line not in text]
    line = int(re.search(r"(?:trl:|line )(\d+)", str(error.value))[1])
    assert line in odd or path.read_text().split("\n")[line - 1] in new


def test_layers_are_as_those_of_a_file_by_hand():
    model = trel.Model.layers(SKIN, width=40, names=["upper", "middle", "lower"],
                              wavelengths=633).pencil(packets=200_000)
    mine = told(clean(model.grid(dz=0.1, dr=0.2)))
    wanted = told(program.check(EXAMPLES / "cookbook/layered-skin.trl", "--no-pilot"))
    # The file names no thread number, and says all of its beam but the azimuth.
    mine["sources"][0]["azimuth"] = wanted["sources"][0]["azimuth"]
    assert mine == wanted


@pytest.mark.parametrize("thickness", [0.01, 0.13, 0.99, 3.22, 123.456, 1 / 3])
def test_grids_have_as_many_cells_as_they_say(thickness):
    """That a width of a cell is rounded makes no cell more."""
    model = trel.Model.layers([(thickness, 1, 1, 0, 1.4)] * 3, width=thickness * 7.3)
    assert clean(model.pencil())["grids"][0]["axes"] == {"radius": 100, "azimuth": 1, "z": 100}
    found = trel.Model.box((thickness, 2 * thickness, 3.1), 1, 1, 0, 1).pencil().check()
    assert found["grids"][0]["axes"] == {"x": 50, "y": 50, "z": 50}


def test_media_and_tissues_have_their_sizes():
    """Sizes are whole lengths, radii are not; a tissue is where it was put."""
    body = (0.01, 8, 0.9, 1.4)
    media = [
        (trel.Model.box((4, 6, 8), *body), [-2, -3, 0], [2, 3, 8]),
        (trel.Model.cylinder((3, 2), 10, *body, center=(1, 0, 0)), [-2, -2, -5], [4, 2, 5]),
        (trel.Model.ellipsoid((3, 4, 5), *body), [-3, -4, -5], [3, 4, 5]),
        (trel.Model.rectangle((4, 6), *body), [-2, -3, 0], [2, 3, 0]),
        (trel.Model.ellipse(4, *body), [-4, -4, 0], [4, 4, 0])]
    for model, low, high in media:
        shape = clean(model.pencil())["tissues"][0]["shape"]
        assert (shape["low"], shape["high"]) == (low, high)
    inner = Tissue.ellipsoid(2, (0.1, 0.2), 9, 0.9, 1.4, center=(1, 2, 10), name="tumour")
    found = clean(block(wavelengths=[600, 700]).add(inner).pencil())["tissues"][1]
    assert found["name"] == "tumour" and found["shape"]["low"] == [-1, 0, 8]
    assert [s["mua"] for s in found["spectra"]] == [0.1, 0.2]
    assert [s["mus"] for s in found["spectra"]] == [9, 9] and found["liesIn"] == [1]
    changed = block(wavelengths=[600, 700]).add(inner).change("tumour", mua=3).change(1, g=(0, 0.1))
    first, second = clean(changed.pencil())["tissues"]
    assert [(s["mua"], s["g"]) for s in first["spectra"]] == [(0.02, 0), (0.02, 0.1)]
    assert [(s["mua"], s["mus"]) for s in second["spectra"]] == [(3, 9), (3, 9)]


# A source of each kind, and what the program is to say of it.
SOURCES = [
    (lambda m: m.pencil(direction=(1, 0, 1)), {
        "internal": False, "specular": True, "direction": [1, 0, 1], "deflection": [0, 0]}),
    (lambda m: m.disc(2, (0, 1, -3), energy=4, packets=1e4), {
        "shape": ("cylinder", [-2, -1, -3], [2, 3, -3]), "gaussian": None,
        "spectra": [{"wavelength": 650, "packets": 10_000, "energy": 4}]}),
    (lambda m: m.gaussian(1.5, specular=False), {
        "gaussian": 1.5, "specular": False,
        "shape": ("cylinder", [-4.5, -4.5, -1], [4.5, 4.5, -1])}),
    (lambda m: m.plate((0, 4, 2), (-12, 0, 10), (1, 0, 0)), {
        "shape": ("cube", [-12, -2, 9], [-12, 2, 11]), "direction": [1, 0, 0]}),
    (lambda m: m.cone(20, (0, 0, 1), (0, 1, 0), internal=True), {
        "internal": True, "specular": False, "deflection": [0, 20], "azimuth": [0, 360],
        "direction": [0, 1, 0]}),
    (lambda m: m.isotropic((0, 0, 5), radius=(1, 2, 3)), {
        "internal": True, "deflection": [0, 180],
        "shape": ("ellipsoid", [-1, -2, 2], [1, 2, 8])}),
    (lambda m: m.isotropic(shape=Shape.box(2)), {"shape": ("cube", [-1, -1, 0], [1, 1, 2])}),
]


@pytest.mark.parametrize("make, wanted", SOURCES)
def test_sources_are_as_told(make, wanted):
    found = clean(make(block()))["sources"][0]
    shape = found["shape"]
    found["shape"] = (shape["kind"], shape["low"], shape["high"])
    if "direction" in wanted:
        length = sum(x * x for x in wanted["direction"]) ** 0.5
        assert found.pop("direction") == pytest.approx([x / length for x in wanted["direction"]])
    assert {k: found[k] for k in wanted if k in found} == {
        k: v for k, v in wanted.items() if k != "direction"}


def test_fluorescence_bioluminescence_and_properties():
    lamp = block(wavelengths=[670, 710]).pencil(at=670)
    dyed = lamp.fluorophore((0, 0, 10), radius=2, excitation=670, emission=710,
                            quantum_yield=0.3, absorption=0.002, lifetime=1000)
    found = clean(dyed.gates(0, 500, 50).frequency(80).fluence().fly_times().ambient(1.33)
                  .limits(time=900, steps=7).threads(3))
    assert found["sources"][1]["dyes"] == [{"wavelength": 710, "excitation": 670, "yield": 0.3,
                                            "absorption": 0.002, "lifetime": 1000}]
    assert [s["kind"] for s in found["sources"]] == ["excitation", "emission"]
    assert [s["packets"] for s in found["sources"][0]["spectra"]] == [100_000, 0]
    assert found["domains"] == {"cw": True, "fd": 80, "td": {"start": 0, "end": 500, "step": 50,
                                                             "gates": 10}}
    assert [found[key] for key in ("fluencerate", "photonflytime", "ambientRefractiveIndex",
                                   "flytimemax", "stepnummax")] == [True, True, 1.33, 900, 7]
    assert "\nthreadnum 3\n" in block().threads(3).text()
    glow = block().isotropic((0, 0, 5)).bioluminescence()
    assert clean(glow)["simulationType"] == "BLT"
    many = lamp.isotropic((0, 0, 5), energy=(1, 0), packets=(1000, 0)).packets(202_000)
    assert clean(many)["packets"] == 202_000
    assert [s.packets for s in many.sources[1].spectra] == [2000, 0]


def test_detectors_and_grids():
    model = block().pencil().camera((0, -200, 10), (0, 1, 0), pixels=(64, 32), size=(20, 10))
    model = model.fibre((3, 0, 5), 0.5, 4).fibre((0, 3, 5), 1)
    model = model.grid("cylindrical", radius=(0, 8), z=(0, 12), dz=0.5, dr=0.25, dazimuth=90)
    found = clean(model)
    camera, fibre, ball = found["detectors"]
    assert (camera["center"], camera["size"]) == ([0, -200, 10], [20, 10])
    assert camera["pixels"] == [64, 32]
    assert camera["verticalPlane"] == "xy" and camera["normal"] == [0, 1, 0]
    assert (fibre["shape"]["low"], fibre["shape"]["high"]) == ([2.5, -0.5, 3], [3.5, 0.5, 7])
    assert ball["shape"]["kind"] == "ellipsoid"
    assert found["absorptionmatrix"] == "cylindrical"
    assert found["transmittancematrix"] == "cartesian"
    assert found["roi"] == {"x": [-10, 10], "y": [-10, 10], "z": [0, 12], "radius": [0, 8],
                            "azimuth": [0, 360], "deflection": [0, 180]}
    assert found["roiseparation"] == {"x": 0.4, "y": 0.4, "z": 0.5, "radius": 0.25, "azimuth": 90,
                                      "deflection": 10}
    off = clean(block().pencil().grid("off"))
    assert off["absorptionmatrix"] is None and off["transmittancematrix"] == "cartesian"


def test_meshes_are_found_scaled_and_moved(tmp_path):
    below = tmp_path / "my meshes"
    below.mkdir()
    (below / "box.off").write_text(BOX)
    inner = Tissue.surface(below / "box.off", 0.1, 9, 0.9, 1.4, scale=0.5, move=(0, 1, 2))
    model = block().pencil().add(inner)
    plain = trel.Model.surface(below / "box.off", 0.01, 9, 0.9, 1.4).pencil()
    for path in (tmp_path / "model.trl", tmp_path / "another folder/model.trl"):
        path.parent.mkdir(exist_ok=True)
        found = program.check(model.write(path), "--no-pilot")
        assert found["errors"] == 0
        shape = found["tissues"][1]["shape"]
        assert (shape["low"], shape["high"]) == ([-4.5, -3.5, 2], [4.5, 5.5, 11])
        again = trel.Model.read(path)
        assert again.tissues[1].shape.path.startswith(str(path.parent))
    assert clean(plain)["tissues"][0]["shape"]["high"] == [9, 9, 18]
    assert '"my meshes/box.off"' in plain.text(tmp_path)
    assert f'"{below}/box.off"' in plain.text(tmp_path / "another folder")
    cells = EXAMPLES / "ball-in-box.mesh"
    ball = trel.Model.tetrahedra(cells, [(0.01, 8, 0.9, 1.44), (0.2, 12, 0.9, 1.36)]).pencil()
    assert clean(ball)["meshes"][0]["regions"] == 2


# A call that is wrong, and words of the error: the value and the unit that was expected.
WRONG = [
    (lambda m: trel.Model.box(-1, 1, 1, 0, 1.4), r"extent.*got 0.5|size: got -1.*mm"),
    (lambda m: trel.Model.box(0, 1, 1, 0, 1.4), r"above 0 \(mm\)"),
    (lambda m: trel.Model.box((1, 2), 1, 1, 0, 1.4), r"size: .*3 numbers \(mm\)"),
    (lambda m: trel.Model.box("2 cm", 1, 1, 0, 1.4), r"size: got '2 cm'.*mm"),
    (lambda m: trel.Model.box(1, -0.1, 1, 0, 1.4), r"mua: got -0.1.*1/mm"),
    (lambda m: trel.Model.box(1, 1, float("nan"), 0, 1.4), r"mus: got nan.*1/mm"),
    (lambda m: trel.Model.box(1, 1, 1, 1.01, 1.4), r"g: got 1.01.*-1 to 1"),
    (lambda m: trel.Model.box(1, 1, 1, 0, 0.9), r"n: got 0.9.*at least 1 \(refractive"),
    (lambda m: trel.Model.box(1, (1, 2), 1, 0, 1.4), r"mua: .*each of 1 wavelengths"),
    (lambda m: block(wavelengths=650.5), r"wavelengths: got 650.5.*nm"),
    (lambda m: block(wavelengths=[650, 650]), "different whole numbers"),
    (lambda m: block(name="my tissue"), "one word"),
    (lambda m: block(name=201 * "x"), "one word"),
    (lambda m: trel.Model.layers(SKIN, 0), r"width: got 0.*mm"),
    (lambda m: trel.Model.layers([(0, 1, 1, 0, 1)], 1), r"thickness: got 0.*mm"),
    (lambda m: trel.Model.layers([(1, 1, 1, 0)], 1), r"thickness mm, mua 1/mm"),
    (lambda m: trel.Model.surface("none.off", 1, 1, 0, 1), "a file that is there"),
    (lambda m: m.add(Tissue.ellipse(1, 1, 1, 0, 1)), "one of 2"),
    (lambda m: m.change("bone", mua=1), "tissue: got 'bone'.*tissue"),
    (lambda m: m.add(Tissue.box(1, 1, 1, 0, 1)).change("tissue", mua=1), "got 'tissue'"),
    (lambda m: m.change(2, mua=1), "1 to 1"),
    (lambda m: m.change(1, mus=-1), r"mus: got -1.*1/mm"),
    (lambda m: m.pencil(direction=(0, 0, 0)), "any length but 0"),
    (lambda m: m.pencil(energy=-1), "energy: got -1"),
    (lambda m: m.pencil(packets=1.5), r"packets: got 1.5.*whole number"),
    (lambda m: m.pencil(packets=5e9), r"packets: got 5000000000.*4294967295"),
    (lambda m: m.pencil(at=700), r"got 700, expected one of the model's, 650 \(nm\)"),
    (lambda m: m.pencil(specular=1), "True or False"),
    (lambda m: m.disc(1, direction=(1, 0, 0)), "does not lie in the disc"),
    (lambda m: m.gaussian(0), r"waist: got 0.*mm"),
    (lambda m: m.cone(200), r"half_angle: got 200.*degrees"),
    (lambda m: m.cone(20, internal=True, specular=True), "specular: got True"),
    (lambda m: m.bioluminescence().pencil(), "in the medium"),
    (lambda m: m.pencil().bioluminescence(), "within alone"),
    (lambda m: m.bioluminescence().gates(0, 1, 1), "gates: "),
    (lambda m: m.fluorophore(radius=1, excitation=650, emission=650, quantum_yield=1.1,
                             absorption=1), "quantum_yield: got 1.1"),
    (lambda m: m.fluorophore(excitation=650, emission=650, quantum_yield=1, absorption=1),
     r"radius: got 0.0.*mm"),
    (lambda m: m.gates(0, 0, 1), r"end: got 0.*ps"),
    (lambda m: m.gates(0, 9, 0), r"step: got 0.*ps"),
    (lambda m: m.frequency(0), r"frequency: got 0.*MHz"),
    (lambda m: m.limits(time=-1), r"time: got -1.*ps"),
    (lambda m: m.ambient(0.5), "refractive index"),
    (lambda m: m.threads(0), "threads: got 0"),
    (lambda m: m.grid("round"), "cartesian, cylindrical, off"),
    (lambda m: m.grid(x=(1, 0)), r"x: got \(1, 0\).*mm"),
    (lambda m: m.grid(dazimuth=0), r"dazimuth: got 0.*degrees"),
    (lambda m: trel.Model.ellipse(5, 1, 1, 0, 1).grid(z=(0, 1)), "of the plane"),
    (lambda m: m.camera((0, -200, 0), (1, 1, 1)), "planes xy, xz and yz"),
    (lambda m: m.camera((0, -200, 0), (0, 1, 0), image_distance=50), r"image_distance: got 50.*mm"),
    (lambda m: m.fibre((0, 0, 1), 0), r"radius: got 0.*mm"),
    (lambda m: m.packets(10), "a source that has packets"),
    (lambda m: m.note(253 * "x"), "252 characters"),
    (lambda m: dataclasses.replace(m, mesh="/" + 254 * "x").text(), "longer than 254"),
]


@pytest.mark.parametrize("call, words", WRONG, ids=[case[1][:24] for case in WRONG])
def test_wrong_values_are_refused_at_once(call, words):
    with pytest.raises(trel.ModelError, match=words):
        call(block())


def test_methods_leave_their_model_alone():
    class Own(trel.Model):
        """A user's own kind of model."""

    first = Own.box(20, 0.02, 10, 0.9, 1.37)
    text = first.text()
    made = [first.pencil(), first.grid(dx=1), first.note("x"), first.fibre((0, 0, 5), 1),
            first.add(Tissue.ellipsoid(1, 1, 1, 0, 1, center=(0, 0, 5))), first.ambient(1.1)]
    assert first.text() == text and all(type(model) is Own for model in made)
    assert len({model.text() for model in made} | {text}) == 7
