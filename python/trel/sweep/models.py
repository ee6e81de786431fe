"""The models of a series: in its folder, with their meshes, under names that tell their content."""

from __future__ import annotations

import hashlib
import os
import shutil
import tempfile
from collections.abc import Callable
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Any

from ..errors import ModelError
from ..model.description import Description
from ..model.meshes import place_meshes, placed_name
from ..model.parts import Shape
from .jobs import Point

Source = Description | str | os.PathLike[str] | Callable[[Point], Any]
"""A model, its file, or a function of the point that returns either."""


@dataclass(frozen=True)
class Stored:
    """A model in the folder of a series; names are those from that folder."""

    model: str
    files: tuple[str, ...]


def read_model(source: Any) -> Description:
    """Return a model as it is, or read it from its file."""
    if isinstance(source, Description):
        return source
    if isinstance(source, (str, os.PathLike)):
        return Description.read(source)
    raise ModelError(f"got {type(source).__name__}, expected a model or the path of its file")


def store_model(model: Description, folder: Path) -> Stored:
    """Write a model and its meshes below ``models`` of the folder, if they are not there yet.

    Names are hashes of the content: what is there is what would be written. So models that share a
    mesh share its file, and the folder may be moved, or sent elsewhere.
    """
    place = folder / "models"
    place.mkdir(exist_ok=True)
    files: list[str] = []

    def keep(path: str) -> str:
        name = _keep_file(Path(path), place)
        files.append(f"models/{name}")
        return str(place / name)

    with tempfile.TemporaryDirectory(prefix="trel-") as scratch:

        def settle(shape: Shape | None) -> Shape | None:
            if shape is None or shape.path is None:
                return shape
            path = shape.path
            if shape.is_moved:
                place_meshes([shape], scratch, "placed")
                path = os.path.join(scratch, placed_name(shape, "placed"))
            return replace(shape, path=keep(path), scale=1.0, move=(0.0, 0.0, 0.0))

        tissues = tuple(replace(part, shape=settle(part.shape)) for part in model.tissues)
        sources = tuple(replace(part, shape=settle(part.shape)) for part in model.sources)
        mesh = None if model.mesh is None else keep(model.mesh)
    text = replace(model, tissues=tissues, sources=sources, mesh=mesh).text(place)
    data = text.encode("utf-8", errors="surrogateescape")
    name = f"{hashlib.sha256(data).hexdigest()[:32]}.trl"
    _write(place / name, data)
    return Stored(f"models/{name}", tuple(sorted(set(files))))


def _keep_file(path: Path, place: Path) -> str:
    with open(path, "rb") as file:
        name = hashlib.file_digest(file, "sha256").hexdigest()[:32] + path.suffix.lower()
    if not (place / name).exists():
        temporary = place / f".{name}.{os.getpid()}"
        shutil.copyfile(path, temporary)
        os.replace(temporary, place / name)
    return name


def _write(path: Path, data: bytes) -> None:
    if not path.exists():
        temporary = path.with_name(f".{path.name}.{os.getpid()}")
        temporary.write_bytes(data)
        os.replace(temporary, path)
