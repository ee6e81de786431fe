"""The text files of ``trel``, word by word: docs/result-files.md has their format."""

from __future__ import annotations

import os
import re
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import numpy as np

from ..errors import TrelError

LABEL = re.compile(
    r"[23]D(CW|TD|FDAmp|FDPha)(Absorption|Transmittance|FiberDetector)"
    r"(Top|Bottom|Front|Back|Left|Right|Side|Up|Down|TetraMesh|Mesh)?"
    r"(XYZ|RAZ|RA|XY|YZ|XZ|AZ|DA|A|X|Y|Face|Vertex)?",
    re.IGNORECASE,
)
NUMBERS = {
    "AbsorpPhotonNum": "packets_absorbed",
    "TransmitPhotonNum": "packets_left",
    "SpecularReflectance": "specular_reflectance",
}


@dataclass(frozen=True)
class Block:
    """A number or a grid of a file."""

    wavelength: int
    domain: str
    """``CW``, ``TD``, ``FDAmp``, ``FDPha``."""
    gate: int | None
    detector: int | None
    name: str
    """``absorption``, ``transmittance_top``, ``fibre2_side``, ``camera1``, with ``_total`` if it is
    a number; or one of the values of ``NUMBERS``."""
    axes: str
    """Letters as in the file, first axis first; Face or Vertex; empty for a number."""
    values: np.ndarray


class TextFile:
    """A file, read once from its first word to its last."""

    def __init__(self, path: str | os.PathLike[str]) -> None:
        """Read the words of a file."""
        self.path = path
        self.words = Path(path).read_text().split()
        self.at = 0
        self.wavelength = 0
        self.domain = "CW"
        self.gate: int | None = None
        self.detector: int | None = None
        self.shape: list[int] = []
        ending = os.fspath(path).rsplit(".", 2)[1]
        self.quantity = {"A": "absorption", "T": "transmittance"}.get(ending, "")

    def blocks(self) -> Iterator[Block]:
        """Yield what the file has, in its order."""
        try:
            while self.at < len(self.words):
                block = self._next()
                if block:
                    yield block
        except (ValueError, IndexError) as error:
            raise TrelError(f"{self.path}: broken off, or not of trel ({error})") from None

    def _next(self) -> Block | None:
        """Take the words of one label."""
        word = self._take()
        if word == "Spectrum":
            self.wavelength, self.gate, self.detector = int(self._take()), None, None
        elif word == "Domain":
            self.domain = self._take()
        elif word == "TD":
            self.gate = int(self._take())
            return self._number(f"{self.quantity}_total", "TD")
        elif word.startswith("Count"):
            self._take_counts()
        elif word in NUMBERS:
            return self._number(NUMBERS[word], "")
        elif word == "PhotonFlyTime":
            return self._fly_times()
        elif word.startswith(("TotalDetection", "3DFiberdetector", "HeightResolution")):
            return self._detection(word)
        else:
            return self._labelled(word)
        return None

    def _take(self) -> str:
        self.at += 1
        return self.words[self.at - 1]

    def _array(self, shape: list[int]) -> np.ndarray:
        size = int(np.prod(shape))
        values = np.array(self.words[self.at : self.at + size], dtype=float)
        self.at += size
        return values.reshape(shape)

    def _make(self, name: str, domain: str, axes: str, values: np.ndarray) -> Block:
        return Block(self.wavelength, domain, self.gate, self.detector, name, axes, values)

    def _number(self, name: str, domain: str) -> Block:
        return self._make(name, domain, "", self._array([]))

    def _take_counts(self) -> None:
        self.at -= 1
        names = 0
        while self.words[self.at + names].startswith("Count"):
            names += 1
        self.shape = [int(word) for word in self.words[self.at + names : self.at + 2 * names]]
        self.at += 2 * names

    def _fly_times(self) -> Block:
        count = 0
        for word in self.words[self.at :]:
            if not re.fullmatch(r"[-+.\deE]+", word):
                break
            count += 1
        return self._make("fly_times", "", "", self._array([count // 4, 4]))

    def _detection(self, word: str) -> Block | None:
        if word == "TotalDetection":
            self.detector = int(self._take())
            # Of a fibre the total has a label of its own.
            if self.words[self.at].startswith("3D"):
                return None
            return self._number(f"camera{self.detector}_total", "CW")
        if word == "3DFiberdetector":
            return self._number(f"fibre{self.detector}_total", "CW")
        self.at += 1
        self.shape = self._array([2]).astype(int).tolist()
        self.at += 1
        return self._make(f"camera{self.detector}", "CW", "PIXELS", self._array(self.shape))

    def _labelled(self, word: str) -> Block | None:
        """Take what stands behind a label; other words, as after ``Runtime``, are passed over."""
        found = LABEL.fullmatch(word)
        if not found:
            return None
        domain, quantity, face, axes = (part or "" for part in found.groups())
        fibre = quantity.lower() == "fiberdetector"
        name = f"fibre{self.detector}" if fibre else quantity.lower()
        name += "_" + face.lower().removeprefix("tetra") if face else ""
        if not axes:
            # The total of all gates is that of each in turn.
            block = self._number(f"{name}_total", domain)
            return None if domain == "TD" and not face else block
        tetra = face == "TetraMesh" and axes == "Face"
        values = self._array([*self.shape, 4] if tetra else self.shape)
        return self._make(name, domain, axes.upper(), values)
