#!/usr/bin/env python3
"""Runs trelrun on models that are wrong and on command lines that are, and looks at its files.

Usage: trelrunTest.py TRELRUN errors|models|watch|signals
"""

import json
import os
import pty
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
MODEL = (ROOT / "examples/pencil-beam.trl").read_text().replace(" 100000", " 50")
# More packets than any test waits for; and one packet that takes as long.
HUGE = MODEL.replace(" 50\n", " 4000000000\n")
ENDLESS = MODEL.replace("axis 10 10 10", "axis 1e6 1e6 1e6").replace("0.02 10 0.9", "0 1e6 0").replace(
    "external", "internal").replace("roisep", "roi -1 1 -1 1 0 1\nroisep")
ENDLESS = re.sub(r"center 0 0 \S+", "center 0 0 10", ENDLESS)
NODULE = (ROOT / "examples/nodule.trl").read_text().replace(" 50000", " 50")
DYE = (ROOT / "examples/fluorescence.trl").read_text().replace(" 100000", " 50")
GLOW = DYE[DYE.index("lightsource 2"):DYE.index("tissue 1")]
DYES = DYE.replace("lightsourcenum 2", "lightsourcenum 66").replace(
    "tissue 1", "".join(GLOW.replace("source 2", f"source {i}") for i in range(3, 67)) + "tissue 1")
FIBERS = (ROOT / "examples/fibers.trl").read_text().replace(" 100000", " 50")
CAMERA = (ROOT / "examples/cameras.trl").read_text().replace(" 100000", " 50")
MESH = (ROOT / "examples/nodule.off").read_text()

TISSUE = ("endtrl", "tissue 2 x\ntissueshape cube\ntissuecenter {}\ntissueaxis {}\n"
          "tissuespectrumindex 1 0.02 10 0.9 1.4\nendtrl")

# A model, what to replace in it, and words of the message with the text of the line that it names.
WRONG = [
    (MODEL, "tissueaxis", "tisueaxis", "did you mean 'tissueaxis'?", "tisueaxis 10 10 10"),
    (MODEL, "endtrl\n", "", "there is no endtrl", "tissuespectrumindex"),
    (MODEL, "endsimulationproperty", "", "write endsimulationproperty ahead", "spectrum 1"),
    (MODEL, "tissuenum 1", "tissuenum 2", "there is no line 'tissue 2'", "tissuenum 2"),
    (MODEL, "tissue 1", "tissue 2", "tissuenum (line", "tissue 2"),
    (MODEL, "spectrumnum 1", "spectrumnum 2", "is 2, found 1", "lightsource 1"),
    (MODEL, "spectrum 1 650", "spectrum 1 650\nspectrum 2 700", "but spectrumnum (line 8) is 1",
     "spectrum 2 700"),
    (MODEL, "tissuenum 1", "tissuenum 1\ndetectornum 2", "is 2, found 0 lines", "detectornum 2"),
    (MODEL, "tissueshape cube", "tissueaxis 1 1 1\ntissueshape cube", "stands ahead of the line",
     "tissueaxis 1 1 1"),
    (NODULE, "nodule.off", "none.off", "'none.off' cannot be read", "tissuepath none.off"),
    (MODEL, "lightsourcecenter 0 0", "lightsourcecenter 0 50", "none meets the medium",
     "lightsourcecenter 0 50"),
    (NODULE, "nodule.off", "open.off", "is not closed: 3 edges", "tissuepath open.off"),
    (NODULE, "nodule.off", "metres.off", "lies a factor of a thousand", "tissuepath metres.off"),
    (MODEL, "0.02 10", "0,02 10", "write 0.02", "tissuespectrumindex 1 0,02"),
    (MODEL, "0.9 1.37", "0.9 0.37", "write 1 or above", "tissuespectrumindex"),
    (MODEL, "roiseparation", "roi 50 60 -1 1 0 1\nroiseparation", "misses the medium", "roi 50 60"),
    (MODEL.replace("nmatrix 1 cartesian", "nmatrix 1 cylindrical"), "roisep",
     "roi -1 1 -1 1 0 1 90 99\nroisep", "90 to 99, misses the medium", "roi -1 1"),
    (MODEL, " 1.0 50", " 1.0 0", "got 0 packets", "lightsourcespectrumindex 1 1.0 0"),
    (DYE, " 670 0.3 ", " 670 1.3 ", "from 0 to 1", "lightsourcespectrumindex 2 670 1.3"),
    (MODEL, "external solid", "extern solid", "did you mean 'external'?", "lightsourceproperty"),
    (MODEL.replace("tissuenum 1", "tissuenum 2"), TISSUE[0], TISSUE[1].format("0 0 10", "1 1 -1"),
     "half-length 3 of tissue 2 is -1", "tissueaxis 1 1 -1"),
    (MODEL, "roiseparation 1 1 1", "roiseparation 1e-6 1e-6 1e-6", "the memory that is free", "roisep"),
    (MODEL, "roisep", "flytimemax 1 ns\nroisep", "'ns' is not read", "flytimemax 1 ns"),
    (MODEL, "axis 10 10 10", "axis 10 10 10 # mm", "a line of its own", "tissueaxis 10 10 10 #"),
    (MODEL, "0.9 1.37", "0.9 1.37 0", "takes 5 words", "tissuespectrumindex"),
    (MODEL, " 1.0 50", " 1.0 -5", "is taken as 0", "lightsourcespectrumindex 1 1.0 -5"),
    (DYES, "threadnum 1", "threadnum 2", "more than 64 lines of dyes", "lightsourcespectrumindex 2"),
    (CAMERA, "normal -1 0 0", "normal -1 0 1", "not lie in its VerticalPlane", "detectornormal"),
    (CAMERA, "resolution 128", "resolution 0", "has 0 pixels", "detectorresolution"),
    (CAMERA, "imagedist 72.5403", "imagedist 55", "is not above its focal", "imagedist 55"),
    (CAMERA, "center 400 0 0", "center 4 0 0", "stands in the medium", "detectorcenter"),
    (MODEL, "simulationtype DOT", "simulationtype DOTS", "did you mean 'DOT'?", "simulationtype"),
]

# What runs and may not be meant: what to replace in the model, words of the warning and the line that
# it names; without words nothing is told.
FIBER = ("endtrl", "fiberdetector 1\nfiberdetectorshape cylinder\nfiberdetectorcenter {}\n"
         "fiberdetectoraxis {}\nendtrl")
ODD = [
    (*TISSUE, "0 0 10", "400 400 400", "lies deep within tissue 2", "tissueaxis 400"),
    (*TISSUE, "0 0 15", "400 400 400", "lies deep within tissue 2", "tissueaxis 400"),
    (*TISSUE, "0 0 410", "400 400 400", None, None),
    (*TISSUE, "9 0 10", "2 2 2", "sticks out", "tissue 2"),
    (*TISSUE, "9000 0 10", "1 1 1", "nothing of tissue 2 lies", "tissuecenter 9000"),
    ("0.02 10", "0.02 0", "", "", None, None),
    (*FIBER, "0 0 -2", "1 1 0.5", "fibre of detector 1 collects nothing", "fiberdetectoraxis"),
    (*FIBER, "0 0 -1", "1 1 1", None, None),
    (*FIBER, "0 0 10", "500 500 500", "fibre of detector 1", "fiberdetectoraxis"),
    ("axis 1e-6 1e-6", "axis 200 1", "", "", "light source 1 is ten times", "lightsourceaxis"),
    ("roisep", "roi -1e4 1e4 -1e4 1e4 0 1e4\nroisep", "", "", None, None),
    ("roiseparation 1 1", "roi -1e4 1e4 -1e4 1e4 0 1e4\nroiseparation 100 100", "", "",
     "there is one cell", "roi "),
    ("ematrix 1 cartesian", "ematrix 1 spherical", "", "", "cartesian ones are taken",
     "transmittancematrix 1 spherical"),
    ("DOT", "DOT diffuse", "", "", "'diffuse' is not read", "simulationtype DOT diffuse"),
    ("center -3 4 0", "center 60 4 0", "", "", "lies beside the medium", "lightsourcecenter 60"),
    ("axis 2 2 2", "axis 2 2 0", "", "", "has no extent", "lightsourceaxis 2 2 0"),
    ("2 670 0.3", "2 660 0.3", "", "", "takes light of 660, which no", "lightsourcespectrumindex 2 660"),
    ("0.3 0.05", "0.3 0", "", "", "absorbs nothing", "lightsourcespectrumindex 2 670 0.3 0"),
]

# A second and a third tissue, shape or mesh with centre and half-lengths, whether they touch, and
# whether they overlap in part.
RELATED = [
    ("cube -3 0 10 3 3 3", "cube 3 0 10 3 3 3", True, False),
    ("cube 0 -3 10 5 3 0.01", "cube 0 3 10 5 3 0.01", True, False),
    ("cube 0 0 10 3 3 2", "cylinder 0 0 13 1 1 1", True, False),
    ("cube 0 0 10 3 3 2", "cylinder 0 0 13 1 1 0.99", False, False),
    ("box.off", "cube 0 0 4 2 2 1", True, False),
    ("ellipsoid 0 0 10 3 3 3", "ellipsoid 0 0 10 2 2 2", False, False),
    ("ellipsoid 0 0 10 3 3 3", "cube 0 0 13 1 1 1", False, True),
    ("ellipsoid 0 0 10 5 5 5", "vessel.off", False, True),
]
# Its corners in mm: a box, and a vessel of 0.1 mm that runs across its own box.
CORNERS = {
    "box.off": "-2 -2 1\n2 -2 1\n-2 2 1\n2 2 1\n-2 -2 3\n2 -2 3\n-2 2 3\n2 2 3",
    "vessel.off": "-9 -9 1\n-8.9 -9 1\n-9 -8.9 1\n-8.9 -8.9 1\n8.9 8.9 19\n9 8.9 19\n8.9 9 19\n9 9 19",
}
QUADS = "\n3 0 2 1\n3 1 2 3\n3 4 5 6\n3 5 7 6\n3 0 1 4\n3 1 5 4\n3 2 6 3\n3 3 6 7\n3 0 4 2\n3 2 4 6" \
    "\n3 1 3 5\n3 3 7 5\n"

# Arguments behind the model, and the exit status.
COMMANDS = [
    (["--quiet"], 0),
    (["--check"], 0),
    (["--quiet", "--mua", "0.1", "--g", "-0.5", "--set", "muscle.N=1.4e0", "--set", "1@650.mus=5"], 0),
    (["-o", "none/run"], 3),
    (["--set", "2.mua=1"], 2),
    (["--set", "1@700.mua=1"], 2),
    (["--set", "1.n=0.5"], 2),
    *((["--set", change], 2) for change in "1.mua=1,5 1.mua .mua=1 1@x.mua=1 1@-1.mua=1 1.muas=1"
      " 1.mua= 1.mua=1mm 1.mua=1e999 1.g=1.01".split()),
    (["--n", "0.5"], 2),
    (["--rules", "other"], 2),
    (["--threads", "0"], 2),
    *((["--max-seconds", seconds], 2) for seconds in "0 -1 nan inf 1s".split()),
    (["--rules", "classic", "--max-seconds", "1"], 2),
    (["--rules", "classic", "--progress", "json"], 2),
    (["--progress", "dots"], 2),
    *((["--rel-error", error], 2) for error in "0 1 -1 nan 5%".split()),
    *((["--of", total], 2) for total in "camera1 fibre1 side".split()),
    (["--rel-error", "0.1", "--batches", "1"], 2),
    (["--rules", "classic", "--rel-error", "0.1"], 2),
    (["--quiet", "--rel-error", "0.5", "--of", "transmittance"], 0),
    (["--quiet", "--progress", "bar"], 0),
    (["--quiet", "--progress", "json"], 0),
    (["--json"], 2),
    (["--no-pilot"], 2),
    (["--check", "--cut", "z=1"], 2),
    *((["--check", "--json", "--cut", plane], 2) for plane in "z z= r=1 z=1mm z=inf z=1: z=1:0 z=1:2001"
      " z=1:5.5".split()),
    (["--check", "--json", "--rules", "classic", "--cut", "z=1"], 2),
    (["another.trl"], 2),
]


def expect(holds, what):
    if not holds:
        raise AssertionError(what)


class Folder:
    """A folder with the meshes of the models, in which the program runs."""

    def __init__(self, program, path):
        self.program, self.path = program, Path(path)
        rows = MESH.rstrip().split("\n")
        small = [" ".join(str(float(x) / 1000) for x in row.split()) for row in rows[2:164]]
        (self.path / "nodule.off").write_text(MESH)
        for name, corners in CORNERS.items():
            (self.path / name).write_text("OFF\n8 12 0\n" + corners + QUADS)
        (self.path / "metres.off").write_text("\n".join(rows[:2] + small + rows[164:]))
        (self.path / "open.off").write_text("\n".join(rows[:-1]).replace(" 320 ", " 319 "))

    def run(self, model, *arguments):
        (self.path / "model.trl").write_text(model)
        done = subprocess.run([self.program, "model.trl", *arguments], cwd=self.path, timeout=60,
                              capture_output=True, text=True)
        return done.returncode, done.stdout, done.stderr


def test_wrong_models(folder):
    for i, (model, old, new, words, line) in enumerate(WRONG):
        expect(old in model, old)
        text = model.replace(old, new, 1)
        status, _, report = folder.run(text, "--quiet")
        expect(status == 1 and words in report and "      = " in report, f"{new}: {report}")
        shown = [row.split(" | ", 1) for row in report.splitlines() if " | " in row]
        named = [row for number, row in shown if number.strip()
                 and text.splitlines()[int(number) - 1] == row and row.startswith(line)]
        expect(named, f"{new}: no line that begins with {line} in {report}")
        if i % 3:
            continue  # the same findings in another form, and a while longer
        status, check, _ = folder.run(text, "--check", "--json")
        findings = json.loads(check)["findings"]
        expect(status == 1 and any(words in f["text"] + f["remedy"] and f["line"] for f in findings),
               f"{new}: {findings}")


def test_odd_models(folder):
    for old, new, center, axis, words, line in ODD:
        text = (MODEL if old in MODEL else DYE).replace(old, new.format(center, axis), 1)
        text = text.replace("tissuenum 1", f"tissuenum {text.count('tissueaxis')}\ndetectornum "
                            f"{text.count('fiberdetector 1')}")
        status, _, report = folder.run(text, "--quiet")
        told = re.findall(r"trl:\d+: warning: ", report)
        expect(status == 0 and bool(told) == bool(words) and (not words or words in report), report)
        expect(words or not report, report)
        expect(not line or f" | {line}" in report, f"{new}: no {line} in {report}")


def describe(number, body):
    kind, *numbers = body.split()
    lines = f"tissueshape trianglemesh\ntissuepath {kind}"
    if numbers:
        center, axis = " ".join(numbers[:3]), " ".join(numbers[3:])
        lines = f"tissueshape {kind}\ntissuecenter {center}\ntissueaxis {axis}"
    return f"tissue {number} x\n{lines}\ntissuespectrumindex 1 1 1 0 1.4\n"


def test_relations(folder):
    for second, third, touch, overlap in RELATED:
        text = MODEL.replace("tissuenum 1", "tissuenum 3")
        text = text.replace("endtrl", describe(2, second) + describe(3, third) + "endtrl")
        check = json.loads(folder.run(text, "--check", "--json")[1])
        expect((3 in check["tissues"][1]["touches"]) == touch, f"{second}, {third}: {check['tissues']}")
        expect([[o["first"], o["second"]] for o in check["overlaps"]] == [[2, 3]] * overlap,
               f"{second}, {third}: {check['overlaps']}")
        expect(check["overlapPairs"] is None and check["relationPairs"] is None, check)


def test_command_lines(folder):
    for arguments, wanted in COMMANDS:
        status, log, report = folder.run(MODEL, *arguments)
        expect(status == wanted and bool(report) == (wanted != 0), f"{arguments}: {status} {report}")
        expect(bool(log) == (arguments == ["--check"]), f"{arguments}: {log}")
    open_mesh = NODULE.replace("nodule.off", "open.off")
    expect(folder.run(open_mesh, "--allow-open", "--quiet")[0] == 0, "--allow-open")
    expect(folder.run(MODEL)[1].endswith(", exact rules\n"), "the last line of the log")


def test_which_tissue_is_changed(folder):
    """A number is one of a tissue first; a name that two have is none."""
    twins = NODULE.replace("tissue 1 fat", "tissue 1 2").replace("tissue 2 nodule", "tissue 2 2")
    absorption = []
    for model, change in ((NODULE, None), (NODULE, "2.mua=0.7"), (twins, "2.mua=0.7"),
                          (twins, "1.mua=0.7")):
        arguments = ["--set", change] if change else []
        status, text, _ = folder.run(model, "--check", "--json", *arguments)
        expect(status == 0, text)
        absorption.append([t["spectra"][0]["mua"] for t in json.loads(text)["tissues"]])
    own = absorption[0]
    expect(absorption[1:] == [[own[0], 0.7], [own[0], 0.7], [0.7, own[1]]], absorption)
    same = twins.replace("tissue 1 2", "tissue 1 a").replace("tissue 2 2", "tissue 2 a")
    expect(folder.run(same, "--set", "a.mua=0.7")[0] == 2, "a name of two tissues")


def test_what_a_check_tells(folder):
    status, text, _ = folder.run(NODULE, "--check", "--json", "--set", "nodule.mua=0.7")
    check = json.loads(text)
    body, nodule = check["tissues"]
    mesh = check["meshes"][0]
    expect(status == 0 and check["findings"] == [] and check["rules"] == "exact", text)
    expect(body["outermost"] and nodule["liesIn"] == [1], text)
    expect(nodule["spectra"][0]["mua"] == 0.7, text)
    expect(abs(nodule["spectra"][0]["freePath"] - 1 / 12.7) < 1e-9, text)
    expect(mesh["triangles"] == 320 and mesh["bodies"] == 1 and mesh["openEdges"] == 0, text)
    expect(105 < mesh["volume"] < 4 / 3 * 3.15 * 27, text)
    expect(check["sources"][0]["share"] == 1 and check["expectedSeconds"] > 0, text)
    source = check["sources"][0]
    expect(source["deflection"] == [0, 0] and source["azimuth"] == [0, 360], text)
    grid = check["grids"][0]
    expect(grid["axes"] == {"x": 40, "y": 40, "z": 40} and grid["bytes"] == 512000, text)


def test_cut(folder):
    """Tissues by nesting, in the order of the axes, on points that the formulas of the shapes decide."""
    text = MODEL.replace("tissuenum 1", "tissuenum 3").replace("cylindrical", "cartesian")
    text = text.replace("tissueaxis 10 10 10", "tissueaxis 12 10 10").replace(
        "endtrl", describe(2, "ellipsoid 4 -2 10 6 4 3") + describe(3, "cube 6.003 -2.013 11.007 2 1 1.5") + "endtrl")

    def tissue(x, y, z):
        if abs(x - 6.003) < 2 and abs(y + 2.013) < 1 and abs(z - 11.007) < 1.5:
            return 3
        return 2 if ((x - 4) / 6) ** 2 + ((y + 2) / 4) ** 2 + ((z - 10) / 3) ** 2 < 1 else 1

    box = {"x": (-12, 12), "y": (-10, 10), "z": (0, 20)}
    for axis, value, points in (("x", 5.3, 50), ("y", -1.7, 36), ("z", 10.9, 200)):
        status, told, _ = folder.run(text, "--check", "--json", "--no-pilot", "--cut", f"{axis}={value}:{points}")
        check = json.loads(told)
        cut = check["cut"]
        others = [a for a in "xyz" if a != axis]
        longer = max(box[a][1] - box[a][0] for a in others)
        counts = [round(points * (box[a][1] - box[a][0]) / longer) for a in others]
        expect(status == 0 and cut["counts"] == counts and cut["axes"] == others, check)
        expect([cut["low"], cut["high"]] == [[box[a][i] for a in others] for i in (0, 1)], cut["low"])
        for i, row in enumerate(cut["tissues"]):
            for j, found in enumerate(row):
                at = {axis: value}
                for side, (a, k) in enumerate(zip(others, (i, j))):
                    at[a] = box[a][0] + (k + 0.5) / counts[side] * (box[a][1] - box[a][0])
                expect(found == tissue(**at), f"{at}: {found}")
        expect([len(cut["tissues"]), len(row)] == counts, counts)
        source = check["sources"][0]
        expect([source["share"], source["reflected"], check["expectedSeconds"]] == [None] * 3, check)
    outside = json.loads(folder.run(text, "--check", "--json", "--no-pilot", "--cut", "z=-0.1:9")[1])["cut"]
    expect(not any(map(any, outside["tissues"])), outside)
    planar = (ROOT / "examples/plane.trl").read_text()
    cuts = [json.loads(folder.run(planar, "--check", "--json", "--no-pilot", "--cut", plane)[1])["cut"]
            for plane in ("z=0", "z=1", "x=0")]
    expect(cuts[0]["tissues"][0][0] == 0 and cuts[0]["tissues"][100][66] == 1 and cuts[1:] == [None] * 2, cuts)


def test_detectors(folder):
    text = (ROOT / "examples/cameras.trl").read_text().replace("endtrl", FIBER[1].format("0 0 9", "1 1 3"))
    text = text.replace("detectornum 2", "detectornum 3").replace(" 200000", " 50")
    camera, _, fiber = json.loads(folder.run(text, "--check", "--json")[1])["detectors"]
    expect(camera["center"] == [400, 0, 0] and camera["pixels"] == [128, 128], camera)
    expect(fiber["kind"] == "fiber" and fiber["shape"]["high"] == [1, 1, 12], fiber)
    shown = folder.run(text, "--check")[1]
    expect("camera at (400, 0, 0) mm, normal (-1, 0, 0), 7 x 7 mm, 128 x 128" in shown, shown)
    expect("detector 3: fibre: cylinder" in shown and "deflection 0 to 180 degrees" in shown, shown)


def test_the_model_as_read(folder):
    text = DYE.replace("threadnum 1", "domain td 0 100 10\nflytimemax 90\nfluencerate 1")
    check = json.loads(folder.run(text, "--check", "--json")[1])
    expect(check["sources"][1]["dyes"] == [{"wavelength": 710, "excitation": 670, "yield": 0.3,
                                            "absorption": 0.05, "lifetime": 1000}], check)
    expect(check["domains"] == {"cw": True, "td": {"start": 0, "end": 100, "step": 10, "gates": 10},
                                "fd": None}, check["domains"])
    expect(check["roi"]["z"] == [-10, 10] and check["roiseparation"]["radius"] == 1, check["roi"])
    expect([check[key] for key in ("absorptionmatrix", "fluencerate", "photonflytime", "flytimemax",
                                   "stepnummax")] == ["cartesian", True, False, 90, None], check)

# What to replace in the model, and words of the log and of the messages.
ENDS = [
    ("roiseparation", "flytimemax 1\nroiseparation", "ended by flytimemax", "limit of time"),
    ("deflectangle 0 0", "deflectangle 80 80", "reflected at entry 1 1 50", "no light enters"),
]


def test_what_becomes_of_packets(folder):
    for old, new, log_words, words in ENDS:
        model = MODEL.replace(old, new, 1).replace("roi", "ambientmediumr 1.5\nroi", 1)
        status, log, report = folder.run(model, "--batches", "10")
        expect(status == 0 and log_words in " ".join(log.split()) and words in report, f"{new}: {log} {report}")
    check = json.loads(folder.run(model, "--check", "--json")[1])
    expect(check["sources"][0]["reflected"] == 1, check["sources"])


def test_which_files_are_written(folder):
    """All of them are named by the log, and tried before the packets."""
    model = FIBERS.replace("roisep", "domain td 0 100 50\ndomain fd 100\nroisep", 1)
    log = folder.run(model, "--text")[1]
    named = next(row for row in log.splitlines() if row.startswith("files ")).split()[1:]
    expect(sorted(named) == sorted(p.name for p in folder.path.glob("model.*") if p.suffix != ".trl"), log)
    expect(len(named) == 10, log)
    (folder.path / "model.D.FD").unlink()
    (folder.path / "model.D.FD").mkdir()
    status, log, report = folder.run(model, "--text")
    expect(status == 3 and log == "" and "cannot be written: model.D.FD" in report, report)


def test_closed_folder(folder):
    """Nothing is run whose results have no place; the rights of root are given up for that."""
    closed = folder.path / "closed"
    closed.mkdir(mode=0o555)
    if os.geteuid() == 0:
        closed.chmod(0o555)
        os.chmod(folder.path, 0o777)
        (folder.path / "model.trl").write_text(MODEL)
        # The program may lie where nobody but root comes.
        program = shutil.copy(folder.program, folder.path / "program")
        done = subprocess.run([program, "model.trl", "-o", "closed/run"], cwd=folder.path,
                              capture_output=True, text=True, timeout=60,
                              preexec_fn=lambda: os.setuid(65534))
        status, report = done.returncode, done.stderr
    else:
        status, _, report = folder.run(MODEL, "-o", "closed/run")
    expect(status == 3 and "cannot be written: closed/run.nc" in report, report)
    expect(list(closed.iterdir()) == [], "a closed folder")



class Terminal:
    """The program at a terminal of its own, and what it shows there."""

    def __init__(self, folder, model, *arguments):
        (folder.path / "model.trl").write_text(model)
        signal.alarm(60)  # a program that does not end ends the test, and that hangs up on it
        self.pid, self.end = pty.fork()
        if self.pid == 0:
            os.chdir(folder.path)
            os.execv(folder.program, [folder.program, "model.trl", *arguments])
        self.shown = ""

    def read(self, words=None):
        """Up to the words, or to the end."""
        while words is None or not re.search(words, self.shown):
            try:
                self.shown += os.read(self.end, 4096).decode()
            except OSError:  # the program has ended
                break
        return self.shown

    def wait(self):
        shown = self.read().replace("\r\n", "\n")
        status = os.WEXITSTATUS(os.waitpid(self.pid, 0)[1])
        signal.alarm(0)
        return status, shown


def test_progress(folder):
    status, _, report = folder.run(MODEL, "--progress", "json")
    rows = [json.loads(row) for row in report.splitlines()]
    expect(status == 0 and rows[-1]["done"] and rows[-1]["share"] == 1, report)
    expect(rows[-1]["packets"] == rows[-1]["packets_asked"] == 60, report)
    expect(rows[-1]["interactions"] > 50, report)
    for arguments in (["--progress", "none"], []):
        expect(folder.run(MODEL, *arguments)[2] == "", arguments)
    status, shown = Terminal(folder, MODEL).wait()
    expect(status == 0 and re.search(r"\r\[#+\] 100 %.*packets/s.*left *\nat 650", shown), shown)


def test_goal(folder):
    """The error is reached, or packets end the run before."""
    status, log, report = folder.run(MODEL, "--rel-error", "0.04", "--progress", "json")
    last = json.loads(report.splitlines()[-1])
    expect(status == 0 and last["done"] and 0.03 < last["relative_error"] < 0.04, report)
    expect(last["packets"] > 60 and "ended by --rel-error" in log, log)
    status, log, report = folder.run(MODEL, "--rel-error", "1e-4", "--packets", "400")
    expect(status == 0 and "ended by --packets before" in report and "partial" not in log, report)
    expect(": packets 402, of which" in log, log)
    camera = ["--packets", "400", "--seed", "1", "--of"]
    status, log, _ = folder.run(CAMERA, *camera, "camera2", "--rel-error", "0.9")
    expect(status == 0 and "ended by --rel-error: relative error of camera2 0." in log, log)
    expect(re.search(r"\n  camera 2, 1/sr +\S+ +\S+ +\S+\n", log), log)
    status, _, report = folder.run(CAMERA, *camera, "camera3")
    expect(status == 2 and report.rstrip().endswith(", side, camera1, camera2"), report)


def test_limit_of_time(folder):
    """What is written are the finished batches."""
    status, log, report = folder.run(HUGE, "--max-seconds", "1.5", "--progress", "json")
    rows = [json.loads(row) for row in report.splitlines() if row[0] == "{"]
    expect(status == 1 and "partial: " in log and "nothing is written" in report, f"{log} {report}")
    expect(rows and not rows[-1]["done"] and 0 < rows[-1]["packets"] < 4e9, report)
    expect(rows[0]["packets"] <= rows[-1]["packets"] and rows[0]["seconds_left"] < 1.5, report)
    expect(not list(folder.path.glob("model.nc")), "a file without a batch")
    status, log, report = folder.run(HUGE, "--max-seconds", "1.5", "--packets", "1e8", "--batches", "1000000")
    expect(status == 0 and "partial: " in log and "of the finished batches" in report, report)
    expect(list(folder.path.glob("model.nc")), "no file of the finished batches")


def test_signals(folder):
    for model, key, number in ((HUGE, "\x03", 2), (HUGE, None, 15), (ENDLESS, "\x03", 2)):
        run = Terminal(folder, model)
        run.read(r"\r\[.*left")
        start = time.monotonic()
        for pause in (0, 0.1, 2.1) if model is ENDLESS else (0, 0.1):
            time.sleep(pause)  # the second is too soon to end the run
            if key:
                os.write(run.end, key.encode())
            else:
                os.kill(run.pid, signal.SIGTERM)
        status, shown = run.wait()
        expect(status == 128 + number and time.monotonic() - start < 20, f"{status}: {shown}")
        told = f"stopped by signal {number} after" in shown and "] " in shown
        expect(told == (model is HUGE), shown)
    run = Terminal(folder, HUGE, "--packets", "1e8", "--batches", "1000000")
    run.read(r"\r\[.*left")
    time.sleep(1)
    os.write(run.end, b"\x03")
    status, shown = run.wait()
    expect(status == 130 and "the results are of the finished batches" in shown, f"{status}: {shown}")
    expect((folder.path / "model.nc").exists(), "no file of the finished batches")


def test_the_manual(folder):
    """Every option has its row in the manual, and its term on the page that is made of it."""
    done = subprocess.run([folder.program, "--help"], capture_output=True, text=True, check=True)
    options = set(re.findall(r"(?m)^ +(?:-\w,)?(--[a-z-]+)", done.stdout)) - {"--help", "--output"}
    rows = [row for row in (ROOT / "docs/trelrun.md").read_text().split("\n") if row.startswith("| `-")]
    told = set(re.findall(r"--[a-z-]+", " ".join(row.split(" | ")[0] for row in rows)))
    expect(options == told - {"--help"}, sorted(options ^ (told - {"--help"})))
    done = subprocess.run([folder.program, "--version"], capture_output=True, text=True, check=True)
    expect(re.fullmatch(r"trelrun \S+\npackets side by side: [1-8] \(\w+\)\n", done.stdout), done.stdout)
    page = Path(folder.program).with_name("trelrun.1")
    if page.exists():
        terms = set(re.findall(r"--[a-z-]+", page.read_text().replace("\\-", "-")))
        expect(options <= terms, sorted(options - terms))


TESTS = {
    "errors": (test_the_manual, test_wrong_models, test_command_lines, test_closed_folder),
    "watch": (test_progress, test_goal, test_limit_of_time),
    "signals": (test_signals,),
    "models": (test_odd_models, test_relations, test_which_tissue_is_changed, test_what_a_check_tells,
               test_cut, test_detectors, test_the_model_as_read, test_what_becomes_of_packets,
               test_which_files_are_written),
}


def main():
    for test in TESTS[sys.argv[2]]:
        with tempfile.TemporaryDirectory() as path:
            os.chmod(path, 0o755)
            test(Folder(sys.argv[1], path))
    return 0


if __name__ == "__main__":
    sys.exit(main())
