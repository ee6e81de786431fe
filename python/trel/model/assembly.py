"""The parts of a model from the blocks of its file."""

from __future__ import annotations

import os
from typing import Any

from .fields import Notes
from .parts import Camera, Dye, Fibre, Shape, Shine, Source, Tissue
from .reader import Block, Reader
from .settings import Settings


def read_parts(path: str | os.PathLike[str]) -> dict[str, Any]:
    """Read a file that ``trelrun`` can read; return the fields of the model."""
    reader = Reader(os.fspath(path))
    reader.sort()
    assert reader.properties is not None
    settings = _settings(reader.properties)
    wavelengths = tuple(int(line.at_most(2)[1]) for line in reader.spectra)
    count = len(wavelengths)
    sources, tissues = reader.objects["source"], reader.objects["tissue"]
    return {
        "wavelengths": wavelengths, "settings": settings,
        "sources": tuple(_source(sources[i], settings, count) for i in sorted(sources)),
        "tissues": tuple(_tissue(tissues[i], settings.dimension, count) for i in sorted(tissues)),
        "detectors": tuple((_camera if kind == "camera" else _fibre)(block)
                           for kind, block in reader.detectors),
        "mesh": reader.mesh.quoted_path() if reader.mesh else None,
        "notes": Notes(**{place: tuple(lines) for place, lines in reader.notes.items()})}


def _matrix(block: Block, key: str) -> tuple[bool, str] | None:
    """Return whether a matrix is saved, and its cells; the words stand in either order."""
    words = block.words(key, 2)
    cells = [word for word in words if word not in ("0", "1")]
    return ("0" not in words, cells[0]) if cells else None


def _domain(block: Block, name: str, count: int) -> tuple[float, ...] | None:
    words = block.words(f"domain {name}", count + 1)
    return tuple(float(word) for word in words[1:]) if words else None


def _settings(block: Block) -> Settings:
    """Make the settings; how many objects there are is counted."""
    dimension = 2 if block.word("dimension") == "2d" else 3
    frequency = _domain(block, "fd", 1)
    threads = block.words("threadnum", 1 + 1024)
    return Settings(
        simulation=(block.word("simulationtype") or "blt").upper(), dimension=dimension,
        outermost=block.whole("outermosttissueindex"), ambient=block.real("ambientmediumr"),
        absorption=_matrix(block, "absorptionmatrix"),
        surface=_matrix(block, "transmittancematrix"),
        roi=block.reals("roi", 4 * dimension), cells=block.reals("roiseparation", 2 * dimension),
        fluence=block.switch("fluencerate"), fly_times=block.switch("photonflytime"),
        continuous=_domain(block, "cw", 0) is not None, gates=_domain(block, "td", 3),
        frequency=frequency[0] if frequency else None,
        step_limit=block.whole("stepnummax"), time_limit=block.real("flytimemax"),
        threads=tuple(int(word) for word in threads) or None,
        algorithms=(block.word("mediumalgorithm"), block.word("freespacealgorithm")),
        comment=tuple(block.comment))


def _spectrum(block: Block, index: int, fluorophore: bool) -> Shine | Dye | None:
    numbers = block.reals(f"lightsourcespectrumindex {index}", 5 if fluorophore else 3)
    if numbers is None:
        return None
    if fluorophore:
        lifetime = numbers[4] if len(numbers) > 4 else None
        return Dye(int(numbers[1]), numbers[2], numbers[3], lifetime)
    return Shine(numbers[1], int(numbers[2]))


def _last(words: list[str], either: str, other: str) -> bool:
    """Whether the last of two words, or none of them, is the former."""
    said = [word for word in words if word in (either, other)]
    return not said or said[-1] == either


def _source(block: Block, settings: Settings, count: int) -> Source:
    words = block.words("lightsourceproperty", 99)
    kinds = [word for word in words if word in ("excitation", "emission")]
    emits = kinds[:1] == ["emission"]
    profile = block.words("lightsourceprofile", 2)
    return Source(
        block.shape("lightsource", settings.dimension),
        tuple(_spectrum(block, i + 1, emits) for i in range(count)),
        internal=_last(words, "internal", "external"), solid=_last(words, "solid", "face"),
        specular=not _last(words, "nospecular", "specular"), fluorophore=emits,
        azimuth=block.reals("lightsourceazimuthangle", 2),
        deflection=block.reals("lightsourcedeflectangle", 2),
        direction=block.reals("lightsourcedirection", 3),
        waist=float(profile[1]) if profile else None, comment=tuple(block.comment))


def _tissue(block: Block, dimension: int, count: int) -> Tissue:
    rows = [block.reals(f"tissuespectrumindex {i + 1}", 5) or () for i in range(count)]
    mua, mus, g, n = (tuple(row[i] for row in rows) for i in range(1, 5))
    return Tissue(block.shape("tissue", dimension), mua, mus, g, n, block.start.words[2],
                  tuple(block.comment))


def _camera(block: Block) -> Camera:
    pixels = block.words("detectorresolution", 2)
    return Camera(
        block.word("verticalplane"), block.reals("detectorcenter", 3),
        block.reals("detectornormal", 3), block.reals("detectorsize", 2),
        (int(pixels[0]), int(pixels[1])) if pixels else None, block.real("imagedist"),
        block.real("focallength"), block.real("lensradius"), tuple(block.comment))


def _fibre(block: Block) -> Fibre:
    return Fibre(block.shape("fiberdetector", 3) or Shape(""), tuple(block.comment))
