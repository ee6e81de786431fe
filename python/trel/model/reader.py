"""Model files as parts of a model.

``trelrun`` has looked at the file before: what it refuses does not come here. What is left is to
keep all that the lines say, or to tell the line that cannot be kept.
"""

from __future__ import annotations

import os
import re
from collections.abc import Callable

from ..errors import ModelError
from . import values
from .parts import Shape

ALIASES = {
    "environment": "dimension", "detectorlensnum": "detectornum",
    "phantomalgorithm": "mediumalgorithm", "mediumseparation": "roiseparation",
    "lightsourceazimuthalangle": "lightsourceazimuthangle",
    "lightsourcedeflectionangle": "lightsourcedeflectangle"}
SHAPES = {"mctrianglemesh": "trianglemesh", "mctetrahedron": "tetrahedron"}
DOMAINS = {"0": "cw", "1": "td", "2": "fd"}
IDLE = ("lightsourceangle", "tissueangle", "lightsourcetype")
"""Keywords that say nothing: a model has no place for them."""
SELECTING = {"lightsource": "source", "tissue": "tissue", "detectorlens": "camera",
             "fiberdetector": "fibre"}


class Line:
    """A line of the file, split into words."""

    def __init__(self, number: int, text: str, path: str) -> None:
        """Split the line; the number counts from 1."""
        self.number = number
        self.text = text.rstrip("\r")
        self.path = path
        self.words = [w for w in re.split("[ \t\r\n]+", self.text) if w]
        key = self.words[0].lower() if self.words else ""
        self.key = ALIASES.get(key, key)

    def wrong(self, text: str) -> ModelError:
        """Make the error that tells this line."""
        return ModelError(f"{self.path}:{self.number}: {text}: {self.text.strip()}")

    def at_most(self, count: int) -> list[str]:
        """Return the words behind the keyword; more of them could not be kept."""
        if len(self.words) - 1 > count:
            raise self.wrong(f"'{self.words[count + 1]}' has no meaning here and is not kept")
        return self.words[1:]

    def reals(self, most: int) -> tuple[float, ...]:
        """Return up to so many numbers."""
        return tuple(float(w) for w in self.at_most(most))

    def quoted_path(self) -> str:
        """Return the path that the line names, absolute; it starts at the folder of the file."""
        found = re.search('"([^"]*)"(.*)', self.text)
        if found and found[2].strip():
            raise self.wrong("what stands behind the path is not kept")
        told = (found[1] if found else self.at_most(1)[0]).replace("\\", "/")
        folder = os.path.dirname(os.path.abspath(self.path))
        below = os.path.normpath(os.path.join(folder, told.lstrip("/")))
        as_it_stands = told.startswith("/") and not os.path.exists(below)
        return os.path.normpath(told) if as_it_stands else below


class Block:
    """The lines of one object: each keyword once, but where ``several`` may stand."""

    def __init__(self, start: Line, comment: list[str]) -> None:
        """Begin with the line that selects the object."""
        self.start = start
        self.comment = comment
        self.lines: dict[str, Line] = {}

    def put(self, line: Line, comment: list[str]) -> None:
        """Take a line of the object; comments move ahead of the block."""
        key = line.key
        if key in ("lightsourcespectrumindex", "tissuespectrumindex"):
            key = f"{key} {int(line.words[1])}"
        elif key == "domain":
            told = line.words[1].lower()
            key = f"domain {DOMAINS.get(told, told)}"
        if key in self.lines:
            raise line.wrong(f"a second {line.words[0]}, of which one could not be kept")
        if key == "lightsourceproperty" and any("spectrumindex" in k for k in self.lines):
            raise line.wrong("lightsourceproperty stands behind lightsourcespectrumindex")
        self.lines[key] = line
        self.comment += comment

    def reals(self, key: str, most: int) -> tuple[float, ...] | None:
        """Return the numbers of a keyword, None without it."""
        return self.lines[key].reals(most) if key in self.lines else None

    def real(self, key: str) -> float | None:
        """Return the number of a keyword, None without it."""
        found = self.reals(key, 1)
        return found[0] if found else None

    def words(self, key: str, most: int) -> list[str]:
        """Return the words of a keyword in small letters, none without it."""
        return [w.lower() for w in self.lines[key].at_most(most)] if key in self.lines else []

    def word(self, key: str) -> str | None:
        """Return the word of a keyword, None without it."""
        words = self.words(key, 1)
        return words[0] if words else None

    def whole(self, key: str) -> int | None:
        """Return the whole number of a keyword, None without it."""
        words = self.words(key, 1)
        return int(words[0]) if words else None

    def switch(self, key: str) -> bool | None:
        """Return whether a keyword says 1; None without it."""
        told = self.word(key)
        if told not in (None, "0", "1"):
            raise self.lines[key].wrong("expected 0 or 1")
        return None if told is None else told == "1"

    def shape(self, prefix: str, count: int) -> Shape | None:
        """Return the shape of the object, None without one."""
        kind = self.word(prefix + "shape")
        if kind is None:
            return None
        path = self.lines.get(prefix + "path")
        return Shape(SHAPES.get(kind, kind), self.reals(prefix + "axis", count),
                     self.reals(prefix + "center", count), path.quoted_path() if path else None)


class Reader:
    """Sorts the lines of a file into the blocks that they belong to."""

    def __init__(self, path: str) -> None:
        """Take the lines of a file that ``trelrun`` can read."""
        with open(path, encoding="utf-8", errors="surrogateescape", newline="") as file:
            text = file.read()
        self.lines = [Line(i + 1, t, path) for i, t in enumerate(text.split("\n"))]
        for line in self.lines:
            if len(line.text.encode(errors="surrogateescape")) > values.LONGEST_LINE:
                raise line.wrong(f"more than {values.LONGEST_LINE} characters")
        self.pending: list[str] = []
        self.properties: Block | None = None
        self.mesh: Line | None = None
        self.spectra: list[Line] = []
        self.objects: dict[str, dict[int, Block]] = {"source": {}, "tissue": {}}
        self.detectors: list[tuple[str, Block]] = []
        self.current: dict[str, Block] = {}
        self.notes: dict[str, list[str]] = {"header": [], "spectra": [], "mesh": [], "end": []}

    def sort(self) -> None:
        """Go through the file; each part of it begins where the one ahead of it ends."""
        self.lines[0].at_most(0)
        takers: list[Callable[[Line], bool]] = [self._header, self._property, self._object]
        for line in self.lines[1:]:
            if not line.words:
                continue
            if line.words[0].startswith("#"):
                self.pending.append(line.text.strip())
            elif not takers:
                raise line.wrong("what follows endtrl is not read, and is not kept")
            elif takers[0](line):
                takers.pop(0)
        self.notes["end"] += self.pending

    def _take_comment(self) -> list[str]:
        taken, self.pending = self.pending, []
        return taken

    def _header(self, line: Line) -> bool:
        """Take a line of the header; True for the first one behind it, which begins the block."""
        if line.key == "format":
            line.at_most(2)
            return False
        if line.key == "comment":
            self.notes["header"] += [*self._take_comment(), line.text.strip()]
            return False
        if line.key != "simulationproperty":
            raise line.wrong("expected simulationproperty; the line is not read")
        line.at_most(0)
        self.properties = Block(line, self._take_comment())
        return True

    def _property(self, line: Line) -> bool:
        """Take a line of the block of properties; True for its end."""
        if line.key == "endsimulationproperty":
            line.at_most(0)
            return True
        assert self.properties is not None
        self.properties.put(line, self._take_comment())
        return False

    def _object(self, line: Line) -> bool:
        """Take a line of wavelengths, sources, tissues and detectors; True for the end."""
        if line.key == "endtrl":
            line.at_most(0)
            return True
        if line.key in IDLE:
            raise line.wrong(f"{line.words[0]} has no effect, and is not kept")
        if line.key == "spectrum":
            self.spectra.append(line)
            self.notes["spectra"] += self._take_comment()
        elif line.key == "mediumtetrapath":
            if self.mesh is not None:
                raise line.wrong("a second mediumtetrapath")
            self.mesh = line
            self.notes["mesh"] += self._take_comment()
        elif line.key in SELECTING:
            self._select(line, SELECTING[line.key])
        else:
            self.current[self._owner(line.key)].put(line, self._take_comment())
        return False

    @staticmethod
    def _owner(key: str) -> str:
        for prefix, owner in (("lightsource", "source"), ("tissue", "tissue"),
                              ("fiberdetector", "fibre")):
            if key.startswith(prefix):
                return owner
        return "camera"

    def _select(self, line: Line, kind: str) -> None:
        block = Block(line, self._take_comment())
        self.current[kind] = block
        if kind not in self.objects:
            line.at_most(1)
            self.detectors.append((kind, block))
            return
        index = int(line.at_most(2 if kind == "tissue" else 1)[0])
        if index in self.objects[kind]:
            raise line.wrong(f"a second {line.words[0]} {index}")
        self.objects[kind][index] = block
