"""The description of a model."""

from __future__ import annotations

import os
import tempfile
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Any, Self

from .. import program
from . import values
from .assembly import read_parts
from .detection import Detection
from .lights import Lights
from .media import Media
from .meshes import place_meshes
from .properties import Properties
from .writer import Writer


@dataclass(frozen=True)
class Description(Media, Lights, Detection, Properties):
    """What a model file says. Methods return new models; none changes the one that it is called on.

    Lengths in mm, coefficients in 1/mm, times in ps, angles in degrees, wavelengths in nm.
    """

    @classmethod
    def read(cls, path: str | os.PathLike[str]) -> Self:
        """Read a model file.

        Comments are kept ahead of the block that they stand in. A ModelError tells the line of what
        ``trelrun`` refuses, and of what could not be kept: words without a meaning, a second line
        of the same keyword.
        """
        told = program.check(path, "--no-pilot")
        program.raise_if_wrong(told, path)
        return cls(name=Path(path).stem, **read_parts(path))

    def text(self, folder: str | os.PathLike[str] = ".", stem: str = "model") -> str:
        """Return the model as the text of a file in a folder, from which the paths in it start.

        Meshes that are not below it have their absolute paths. Numbers are read back as they are.
        """
        return Writer(self, os.path.abspath(os.fspath(folder)), stem).text()

    def write(self, path: str | os.PathLike[str]) -> Path:
        """Write the model, and meshes that it scales or moves beside it; return the path."""
        full = Path(path).absolute()
        text = self.text(full.parent, full.stem)
        shapes = [tissue.shape for tissue in self.tissues]
        shapes += [source.shape for source in self.sources]
        place_meshes(shapes, str(full.parent), full.stem)
        full.write_text(text, encoding="utf-8", errors="surrogateescape")
        return full

    def check(self, *options: str) -> dict[str, Any]:
        """Return what ``trelrun --check --json`` says of the model, without flying packets."""
        with tempfile.TemporaryDirectory() as folder:
            return program.check(self.write(Path(folder) / "model.trl"), "--no-pilot", *options)

    def note(self, text: str) -> Self:
        """Add a comment at the head of the file; text of several lines makes several."""
        lines = []
        for line in text.splitlines():
            if len(line.encode()) + 2 > values.LONGEST_LINE:
                raise values.refuse("note", line, "at most 252 characters in a line")
            lines.append(f"# {line}")
        return replace(self, notes=replace(self.notes, header=(*self.notes.header, *lines)))
