"""Random model files, written line by line as people write them, and what is told of a model."""

import random

BOX = """OFF
8 12 0
-9 -9 0
9 -9 0
-9 9 0
9 9 0
-9 -9 18
9 -9 18
-9 9 18
9 9 18
""" + "\n".join(f"3 {face}" for face in (
    "0 2 1", "1 2 3", "4 5 6", "5 7 6", "0 1 4", "1 5 4", "2 6 3", "3 6 7", "0 4 2", "2 4 6",
    "1 3 5", "3 7 5")) + "\n"
TETRAHEDRA = """5
-9 -9 0
9 -9 0
-9 9 0
-9 -9 18
9 9 18
2
1 1 2 3 4
2 2 3 4 5
"""


def told(found):
    """Return what the program says of a model, but for its place and its lines."""
    del found["model"]
    found["findings"] = sorted((f["severity"], f["text"]) for f in found["findings"])
    for mesh in found["meshes"]:
        del mesh["file"]
    return found


class RandomModel:
    """A model file of any kind, by a seed."""

    def __init__(self, seed):
        """Draw what the model is about, then its lines."""
        self.r = random.Random(seed)
        self.planar = self.r.random() < 0.25
        self.mode = self.r.choice(["BLT", "DOT", "FMT"])
        self.wavelengths = self.r.sample(range(400, 1100), self.r.randint(1, 3))
        # A look at a mesh takes as long as one at ten other models.
        self.outer = self.r.choice(["rectangle", "ellipse"] if self.planar else [
            *9 * ["cube", "cylinder", "ellipsoid"], "trianglemesh", "tetrahedron"])
        self.cells = 4 if self.planar else 6
        body = [*self.sources(), *self.tissues(), *self.detectors()]
        self.lines = [*self.head(), *self.properties(), "endsimulationproperty",
                      *(f"spectrum {i + 1} {w}" for i, w in enumerate(self.wavelengths)),
                      *body, "endtrl"]

    def number(self, low, high):
        """Write a number in one of the ways that are read as it."""
        value = self.r.uniform(low, high)
        forms = [repr(value), f"{value:.3f}", f"{value:.6e}", f"{value:.0f}.5"]
        form = self.r.choice(forms)
        return form if low <= float(form) <= high else repr(value)

    def vector(self, low, high):
        """Write as many numbers as a point has."""
        return " ".join(self.number(low, high) for _ in range(2 if self.planar else 3))

    def some(self, *lines):
        """Return some of the lines."""
        return [line for line in lines if self.r.random() < 0.5]

    def head(self):
        """The header, with comments."""
        return ["trl", "format ascii 2." + self.r.choice("012"),
                *self.some("comment of the header", "# about the block")]

    def properties(self):
        """The block; an optional keyword stands or does not."""
        r, number = self.r, self.number
        inner = ["cartesian", "polar" if self.planar else "cylindrical"]
        fitting = {"ellipsoid": "spherical", "ellipse": "polar"}.get(self.outer, "cartesian")
        save = 1 if self.number_of["detector"] else r.randint(0, 1)
        roi = f"{number(-9, -1)} {number(1, 9)} {number(-9, -1)} {number(1, 9)}"
        roi += "" if self.planar else f" {number(-1, 7)} {number(10, 18)}"
        roi += f" 0 {number(2, 9)} {number(0, 90)} {number(180, 360)}"
        cells = " ".join(number(0.5, 20) for _ in range(self.cells))
        found = [
            "dimension " + ("2D" if self.planar else "3d"), f"simulationtype {self.mode}",
            f"spectrumnum {len(self.wavelengths)}", f"lightsourcenum {self.number_of['source']}",
            f"tissuenum {self.number_of['tissue']}", f"detectornum {self.number_of['detector']}",
            f"transmittancematrix {save} {fitting}",
            *self.some(f"absorptionmatrix {r.choice(inner)} {r.randint(0, 1)}",
                       f"fluencerate {r.randint(0, 1)}", f"photonflytime {r.randint(0, 1)}",
                       f"ambientmediumr {number(1, 1.5)}", f"stepnummax {r.randint(1, 10**6)}",
                       f"flytimemax {number(1, 1e5)}", f"threadnum {r.randint(1, 9)}",
                       "mediumalgorithm vrmc", "freespacealgorithm pinhole", "domain cw",
                       "outermosttissueindex 1",
                       "roi " + roi + ("" if self.planar else " 10 170"),
                       f"{r.choice(['roiseparation', 'mediumseparation'])} {cells}")]
        if self.mode != "BLT":
            found += self.some(f"domain td {number(0, 100)} {number(200, 999)} {number(1, 50)}",
                               f"domain fd {number(1, 500)}")
        if self.outer == "tetrahedron":
            found.append("mediumshapetetratype 1")
        return ["simulationproperty", found[0], *r.sample(found[1:], len(found) - 1)]

    def shape(self, kind, prefix, reach, round_only=False):
        """The lines of a body that lies within the reach of the middle of the medium."""
        if kind == "trianglemesh":
            path = self.r.choice(["box.off", '"a folder/box.off"', "a_folder\\box.off"])
            return [f"{prefix}shape {kind}", f"{prefix}path {path}"]
        middle = "0 0" if self.planar else f"0 0 {self.number(8, 10)}"
        if prefix != "tissue" or reach < 9:
            middle = self.vector(-1, 1) if self.planar else f"{self.number(-2, 2)} 1 9"
        return [f"{prefix}shape {kind}", f"{prefix}center {middle}",
                f"{prefix}axis {self.vector(reach / 2, reach)}"]

    def spectra(self, dye):
        """What a source launches at some wavelengths, or a dye emits at one."""
        keyword, number = "lightsourcespectrumindex", self.number
        if dye:
            index = self.r.randrange(len(self.wavelengths))
            return [f"{keyword} {index + 1} {self.wavelengths[0]} {number(0, 1)} {number(0, 1)} "
                    f"{number(0, 999)}"]
        most = len(self.wavelengths)
        chosen = self.r.sample(range(most), self.r.randint(1, most))
        counts = ["1e3", "12345", "7.9", "4294967295"]
        return [f"{keyword} {i + 1} {number(0.1, 3)} {self.r.choice(counts)}" for i in chosen]

    def sources(self):
        """Sources, the first of them a lamp."""
        count = self.r.randint(1, 3)
        self.number_of = {"source": count}
        blocks = []
        for i in range(count):
            dye = self.mode == "FMT" and i > 0 and self.r.random() < 0.6
            kind = self.r.choice(["rectangle", "ellipse"] if self.planar else [
                *20 * ["cube", "cylinder", "ellipsoid"], "trianglemesh"])
            inside = self.mode == "BLT" or dye or self.r.random() < 0.3
            words = ["internal" if inside else self.r.choice(["external", "internal external"]),
                     self.r.choice(["solid", "face"]),
                     "nospecular" if inside else self.r.choice(["specular", "nospecular"])]
            if self.mode == "FMT":
                words.insert(self.r.randint(0, 3), "emission" if dye else "excitation")
                # The first of two decides.
                words += self.r.choice([[], [], ["excitation" if dye else "emission"]])
            lines = self.shape(kind, "lightsource", 1.5)
            lines += [f"lightsourceproperty {' '.join(words)}"]
            lines += self.some("lightsourceazimuthangle "
                               f"{self.number(0, 90)} {self.number(90, 360)}")
            if not self.planar:
                lines += self.some("lightsourcedeflectionangle 0 " + self.number(0, 180),
                                   f"lightsourcedirection {self.vector(-1, 1)}")
            blocks.append([f"lightsource {i + 1}", *lines, *self.spectra(dye)])
        disc = not self.planar and "cylinder" in blocks[0][1] and "face" not in str(blocks[0])
        if disc:
            blocks[0] = [line.rsplit(" ", 1)[0] + " 0" if "axis" in line else line
                         for line in blocks[0]]
            blocks[0].append(f"lightsourceprofile gaussian {self.number(1, 2)}")
        return [line for block in self.r.sample(blocks, count) for line in block]

    def tissues(self):
        """Tissues, the first of them around the others."""
        meshed = self.outer == "tetrahedron"
        count = 2 if meshed else self.r.randint(1, 4)
        self.number_of["tissue"] = count
        found = ["mediumtetrapath tetrahedra.mesh"] if meshed else []
        for i in range(count):
            kinds = ["rectangle", "ellipse"] if self.planar else ["cube", "cylinder", "ellipsoid"]
            lines = [f"tissueshape {self.outer}"] if meshed else self.shape(
                self.r.choice(kinds) if i else self.outer, "tissue", 9 if i == 0 else 2)
            n = self.number
            found += [f"tissue {i + 1} T{i}-\u00e9", *lines,
                      *(f"tissuespectrumindex {j + 1} {n(0.01, 1)} {n(0.1, 20)} {n(-1, 1)} "
                        f"{n(1, 1.6)}" for j in range(len(self.wavelengths)))]
        return found

    def detectors(self):
        """Cameras and fibres in any order."""
        count = 0 if self.planar else self.r.choice([0, 0, 1, 2, 3])
        self.number_of["detector"] = count
        found = []
        for i in range(count):
            if self.r.random() < 0.5:
                found += [f"fiberdetector {count}", *self.shape(
                    self.r.choice(["cylinder", "ellipsoid"]), "fiberdetector", 1.5)]
                continue
            found += ["detectorLens 1", f"VerticalPlane {self.r.choice(['xy', 'yx'])}",
                      f"detectorcenter {self.number(300, 400)} 0 0",
                      f"detectornormal -1 {self.number(-1, 1)} 0",
                      *self.some(f"detectorsize {self.number(1, 9)} {self.number(1, 9)}",
                                 f"detectorresolution {self.r.randint(1, 99)} 64",
                                 f"imagedist {self.number(60, 90)}", "lensradius 12.5",
                                 f"focallength {self.number(20, 55)}")]
        return found

    def text(self):
        """The file: letters of any case, comments, empty lines and tabs."""
        r, found = self.r, []
        for i, line in enumerate(self.lines):
            keyword, blank, rest = line.partition(" ")
            keyword = r.choice([keyword, keyword, keyword.upper(), keyword.capitalize()])
            if i > 3:
                found += r.choice([[], [], [""], ["# a comment, 5 %"], ["  #x"]])
            found.append(r.choice(["", "", " \t"] if i else [""]) + keyword
                         + (blank and r.choice([" ", "\t", "  "])) + rest)
        return r.choice(["\n", "\r\n"]).join(found) + "\n"


def save(folder, seed):
    """Write a random model, and the meshes that it may name; return its path."""
    for below in (folder / "a folder", folder / "a_folder"):
        below.mkdir(exist_ok=True)
        (below / "box.off").write_text(BOX)
    (folder / "box.off").write_text(BOX)
    (folder / "tetrahedra.mesh").write_text(TETRAHEDRA)
    path = folder / "random.trl"
    path.write_bytes(RandomModel(seed).text().encode())
    return path
