"""What ``trelrun --check --json`` finds in a mesh."""

from __future__ import annotations

import os
import shutil
import tempfile
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from ..errors import Finding, MeshError
from ..program import check, findings_of
from .writing import wants_volume

# The mesh is the medium, of as many tissues as it has regions; no packet is flown.
PROBE = """trl
format ascii 2.2
simulationproperty
simulationtype DOT
dimension 3d
spectrumnum 1
lightsourcenum 1
tissuenum {tissues}
{kind}
absorptionmatrix 0 cartesian
transmittancematrix 0 cartesian
endsimulationproperty
spectrum 1 650
lightsource 1
lightsourceshape cube
lightsourceaxis 1e-6 1e-6 1e-6
lightsourceproperty internal solid nospecular
lightsourcespectrumindex 1 1 1
"""


@dataclass(frozen=True)
class Examination:
    """What ``trelrun`` finds in a mesh file; lengths in mm, the volume in mm^3."""

    file: str
    vertices: int
    triangles: int
    """Of a volume: those of its outer surface and between its regions."""
    elements: int
    """Tetrahedra; 0 of a surface."""
    regions: dict[int, str]
    """Names by number, from 1, of a volume; without a name the number is one."""
    bodies: int
    """Parts without a common vertex."""
    volume: float
    low: tuple[float, ...]
    high: tuple[float, ...]
    open_edges: int
    """Edges with one triangle."""
    non_manifold_edges: int
    """Edges with more than two."""
    inverted: int
    """Edges whose triangles face opposite sides, or tetrahedra wound otherwise than most."""
    needles: int
    """Of less than a thousandth of the height or volume of a regular one."""
    findings: tuple[Finding, ...]

    @property
    def is_usable(self) -> bool:
        """Whether ``trelrun`` has found no error."""
        return all(finding.severity != "error" for finding in self.findings)

    def __str__(self) -> str:
        """Tell all of it, a line for each."""
        def place(corner: tuple[float, ...]) -> str:
            return "(" + ", ".join(f"{x:.6g}" for x in corner) + ")"

        cells = f"{self.elements} tetrahedra" if self.elements else f"{self.triangles} triangles"
        lines = [f"{self.file}: {self.vertices} vertices, {cells}",
                 f"volume: {self.volume:.6g} mm^3", f"box: {place(self.low)} to "
                 f"{place(self.high)} mm", f"bodies: {self.bodies}",
                 f"open edges: {self.open_edges}, non-manifold: {self.non_manifold_edges}",
                 f"inverted: {self.inverted}, needles: {self.needles}"]
        if self.regions:
            lines.append("regions: " + ", ".join(
                f"{number} {name}".strip() for number, name in self.regions.items()))
        return "\n".join([*lines, *(f"{f.severity}: {f.text}" for f in self.findings)])


def examine(path: str | os.PathLike[str], regions: int = 1,
            names: dict[int, str] | None = None) -> Examination:
    """Let ``trelrun`` look at a mesh file of one of its formats.

    ``regions`` is the number of regions of a volume, ``names`` has names of some of them. A
    MeshError if the program cannot read the file.
    """
    told = _check(Path(path), regions)
    findings = tuple(Finding(f.severity, None, f.text, f.remedy) for f in findings_of(told))
    found = next(iter(told.get("meshes", [])), None)
    if found is None or not found["triangles"]:
        raise MeshError("\n".join([f"{path}: trelrun cannot read it", *map(str, findings)]))
    known = names or {}
    return Examination(
        os.fspath(path), found["vertices"], found["triangles"], found["elements"],
        {number: known.get(number, "") for number in range(1, found["regions"] + 1)},
        found["bodies"], found["volume"], tuple(found["low"]), tuple(found["high"]),
        found["openEdges"], found["nonManifoldEdges"], found["inverted"], found["needles"],
        findings)


def _check(path: Path, regions: int) -> dict[str, Any]:
    """Check a model of nothing but the mesh, which lies beside it under a plain name."""
    volume = wants_volume(path)
    with tempfile.TemporaryDirectory(prefix="trel-mesh-") as folder:
        mesh = Path(folder) / f"mesh{path.suffix}"
        try:
            mesh.symlink_to(path.resolve())
        except OSError:
            shutil.copy(path, mesh)
        kind = "mediumshapetetratype 1" if volume else "outermosttissueindex 1"
        text = PROBE.format(tissues=regions if volume else 1, kind=kind)
        text += f"mediumtetrapath {mesh.name}\n" if volume else ""
        shape = "tetrahedron" if volume else f"trianglemesh\ntissuepath {mesh.name}"
        for number in range(1, (regions if volume else 1) + 1):
            text += (f"tissue {number} t{number}\ntissueshape {shape}\n"
                     "tissuespectrumindex 1 0.01 1 0 1\n")
        model = Path(folder) / "mesh.trl"
        model.write_text(text + "endtrl\n", encoding="ascii")
        return check(model, "--no-pilot")
