"""Models as text."""

from __future__ import annotations

import os
from collections.abc import Iterable
from typing import TYPE_CHECKING

from ..errors import ModelError
from . import values
from .meshes import placed_name
from .parts import Camera, Dye, Fibre, Shape, Source, Tissue
from .settings import Settings

if TYPE_CHECKING:
    from .description import Description

Lines = list[str]


def real(value: float) -> str:
    """Return a number as text that is read as the same number, without an idle .0."""
    text = repr(float(value))
    return text[:-2] if text.endswith(".0") else text


def join(keyword: str, *words: str | float) -> str:
    """Make a line of a keyword, words and numbers."""
    told = (w if isinstance(w, str) else str(w) if values.is_whole(w) else real(w) for w in words)
    line = " ".join([keyword, *told])
    if len(line.encode(errors="surrogateescape")) > values.LONGEST_LINE:
        raise ModelError(f"{keyword}: the line would be longer than {values.LONGEST_LINE} "
                         "characters, which a model file cannot have")
    return line


def given(keyword: str, numbers: Iterable[float] | None) -> Lines:
    """Make the line of a keyword, or none if there is nothing to say."""
    return [] if numbers is None else [join(keyword, *numbers)]


class Writer:
    """Writes a model for a folder, from which paths in it start."""

    def __init__(self, model: Description, folder: str, stem: str) -> None:
        """Take the stem of the model's file: scaled meshes are named after it."""
        self.model = model
        self.folder = folder
        self.stem = stem

    def text(self) -> str:
        """Return the whole file."""
        model = self.model
        blocks = [["trl", "format ascii 2.2", *model.notes.header],
                  self._properties(model.settings),
                  [*model.notes.spectra,
                   *(join("spectrum", i + 1, w) for i, w in enumerate(model.wavelengths))],
                  *(self._source(i + 1, s) for i, s in enumerate(model.sources))]
        if model.mesh is not None:
            blocks.append([*model.notes.mesh, join("mediumtetrapath", self._path(model.mesh))])
        blocks += [self._tissue(i + 1, t) for i, t in enumerate(model.tissues)]
        blocks += [self._detector(i + 1, d) for i, d in enumerate(model.detectors)]
        blocks.append([*model.notes.end, "endtrl"])
        return "\n\n".join("\n".join(block) for block in blocks) + "\n"

    def _properties(self, told: Settings) -> Lines:
        model = self.model
        lines = [*told.comment, "simulationproperty", join("simulationtype", told.simulation),
                 join("dimension", f"{told.dimension}d"),
                 join("spectrumnum", len(model.wavelengths)),
                 join("lightsourcenum", len(model.sources)),
                 join("tissuenum", len(model.tissues))]
        if model.detectors:
            lines.append(join("detectornum", len(model.detectors)))
        for keyword, word in zip(("mediumalgorithm", "freespacealgorithm"), told.algorithms):
            lines += [join(keyword, word)] if word else []
        if model.mesh is not None:
            lines.append("mediumshapetetratype 1")
        for keyword, matrix in (("absorptionmatrix", told.absorption),
                                ("transmittancematrix", told.surface)):
            lines += [join(keyword, int(matrix[0]), matrix[1])] if matrix else []
        for keyword, switch in (("fluencerate", told.fluence), ("photonflytime", told.fly_times)):
            lines += [join(keyword, int(switch))] if switch is not None else []
        for keyword, number in (("outermosttissueindex", told.outermost),
                                ("ambientmediumr", told.ambient), ("stepnummax", told.step_limit),
                                ("flytimemax", told.time_limit)):
            lines += [join(keyword, number)] if number is not None else []
        lines += given("roi", told.roi) + given("roiseparation", told.cells)
        lines += given("threadnum", told.threads) + self._domains(told)
        return [*lines, "endsimulationproperty"]

    @staticmethod
    def _domains(told: Settings) -> Lines:
        lines = ["domain cw"] if told.continuous else []
        lines += given("domain td", told.gates)
        return lines + ([join("domain fd", told.frequency)] if told.frequency is not None else [])

    def _path(self, path: str, shape: Shape | None = None) -> str:
        if shape is not None and shape.is_moved:
            path = os.path.join(self.folder, placed_name(shape, self.stem))
        below = os.path.relpath(path, self.folder)
        if below.startswith(os.pardir + os.sep):
            below = path
        elif below[1:2] == ":":
            below = os.path.join(os.curdir, below)
        return f'"{below}"' if " " in below or "\t" in below else below

    def _shape(self, prefix: str, shape: Shape | None) -> Lines:
        if shape is None:
            return []
        lines = [join(prefix + "shape", shape.kind)]
        if shape.path is not None:
            lines.append(join(prefix + "path", self._path(shape.path, shape)))
        return lines + given(prefix + "center", shape.center) + given(prefix + "axis", shape.half)

    def _source(self, index: int, source: Source) -> Lines:
        fluorescence = self.model.settings.simulation == "FMT"
        words = [("excitation", "emission")[source.fluorophore]] if fluorescence else []
        words += [("external", "internal")[source.internal], ("face", "solid")[source.solid],
                  ("nospecular", "specular")[source.specular]]
        lines = [*source.comment, join("lightsource", index),
                 *self._shape("lightsource", source.shape), join("lightsourceproperty", *words)]
        lines += given("lightsourceazimuthangle", source.azimuth)
        lines += given("lightsourcedeflectangle", source.deflection)
        lines += given("lightsourcedirection", source.direction)
        if source.waist is not None:
            lines.append(join("lightsourceprofile", "gaussian", source.waist))
        for i, spectrum in enumerate(source.spectra):
            if isinstance(spectrum, Dye):
                lifetime = () if spectrum.lifetime is None else (spectrum.lifetime,)
                lines.append(join("lightsourcespectrumindex", i + 1, spectrum.excitation,
                                  spectrum.quantum_yield, spectrum.absorption, *lifetime))
            elif spectrum is not None:
                lines.append(join("lightsourcespectrumindex", i + 1, spectrum.energy,
                                  spectrum.packets))
        return lines

    def _tissue(self, index: int, tissue: Tissue) -> Lines:
        lines = [*tissue.comment, join("tissue", index, tissue.name),
                 *self._shape("tissue", tissue.shape)]
        rows = zip(tissue.mua, tissue.mus, tissue.g, tissue.n)
        return lines + [join("tissuespectrumindex", i + 1, *row) for i, row in enumerate(rows)]

    def _detector(self, index: int, detector: Camera | Fibre) -> Lines:
        if isinstance(detector, Fibre):
            return [*detector.comment, join("fiberdetector", index),
                    *self._shape("fiberdetector", detector.shape)]
        lines = [*detector.comment, join("detectorLens", index)]
        if detector.plane is not None:
            lines.append(join("VerticalPlane", detector.plane))
        for keyword, numbers in (("detectorcenter", detector.center),
                                 ("detectornormal", detector.normal),
                                 ("detectorsize", detector.size),
                                 ("detectorresolution", detector.pixels)):
            lines += given(keyword, numbers)
        for keyword, length in (("imagedist", detector.image_distance),
                                ("focallength", detector.focal_length),
                                ("lensradius", detector.lens_radius)):
            lines += [] if length is None else [join(keyword, length)]
        return lines
