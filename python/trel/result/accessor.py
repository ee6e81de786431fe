"""The accessor ``ds.trel``: what is derived from a result."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import xarray as xr

from . import exits, inside, paths, surface
from .sensitivity import jacobian_of_cells


@xr.register_dataset_accessor("trel")
class Results:
    """What is derived from a result of ``trel.open``.

    Methods return a Dataset of ``value`` and ``error``, the standard error, with their units in
    the attributes; the error is NaN where it is not known. What was not recorded raises
    ``NotRecorded``, which says how it is. The dimension ``wavelength`` stays:
    ``.sel(wavelength=650)``.
    """

    def __init__(self, data: xr.Dataset) -> None:
        """Of a dataset."""
        self._data = data

    def reflectance(self, r: surface.Radii = None, face: str | None = None) -> xr.Dataset:
        """Return the diffuse reflectance, what leaves by the face that light enters by.

        Parameters
        ----------
        r : None: the total, in the unit of the sources' energy (1). Else distances from the axis
            (mm): a number or several, for the rings that hold them, or a slice, ``slice(None)`` for
            all: per area, mm-2, (wavelength, r). Rings need a cylinder as the outermost tissue and
            'transmittancematrix 1 cylindrical'.
        face : None: where the axes of the sources meet the outermost shape; or ``top``, ...: the
            transmittance of any face.

        What the surface reflects at once ("specular") is no part of it. Errors come from batches.
        """
        return surface.reflectance(self._data, r, face)

    Rd = reflectance

    def profile(self, axis: str = "z", of: str | None = None) -> xr.Dataset:
        """Return a grid summed over its other axes, by width along ``axis``.

        Absorption: energy per mm of depth, mm-1, or per degree; of a fluence rate 1, mm degree-1.
        ``of``: another grid (``transmittance_top``, ``fibre1_side``, ...); of a grid by time of
        flight (``absorption_td``) the sum over its gates. Errors come from batches.
        """
        return inside.profile(self._data, axis, of)

    def tpsf(self, rho: surface.Radii = None, face: str | None = None) -> xr.Dataset:
        """Return what leaves by a face by time of flight, of a pulse at 0 ps.

        ``rho`` (mm) and ``face`` are as of ``reflectance``: None for the whole face, ps-1; else
        (wavelength, r, time) by area, mm-2 ps-1, the mean over each ring. Of rings that were cut by
        azimuth the error is known only of a run with ``keep_batches=True``.
        """
        return surface.tpsf(self._data, rho, face)

    def frequency(self, rho: surface.Radii = None, face: str | None = None) -> xr.Dataset:
        """Return amplitude and phase of modulated light that leaves by a face.

        ``rho`` (mm) and ``face`` are as of ``reflectance``. A Dataset of ``amplitude`` (1; of rings
        mm-2), ``phase`` (degrees, a lag is positive; of rings followed from the axis outwards
        without jumps of 360) and of the errors of both, ``amplitude_error`` and ``phase_error``,
        from batches. The attribute ``modulation_frequency_MHz`` tells the frequency.
        """
        return surface.frequency(self._data, rho, face)

    def fluence(self, domain: str = "cw") -> xr.Dataset:
        """Return the fluence rate by cell, mm-2 (in the plane mm-1), of 'fluencerate 1'.

        Without it the absorption over mua, if that is one number in the whole medium and no dye
        takes light. ``domain="td"``: by time of flight, mm-2 ps-1.
        """
        return inside.fluence(self._data, domain)

    def camera(self, number: int) -> xr.Dataset:
        """Return the picture of a camera, radiance in mm-2 sr-1; by ``trel`` in mm-2, times pi.

        Axes ``camera1_x`` and ``camera1_y``: mm on the object plane from its middle, along columns
        and rows.
        """
        return inside.camera(self._data, number)

    def ledger(self) -> xr.Dataset:
        """Return what became of the light, by ``ledger_line`` (names) and wavelength.

        ``value`` and ``error`` (weight, in the unit of the sources' energy), ``share`` of what was
        launched, ``packets`` (NaN where none start or end), of what leaves ``mean_time`` (ps) and
        ``mean_path`` (mm) with their errors.
        """
        return inside.ledger(self._data)

    def scale(self, power_W: float | None = None, energy_J: float | None = None) -> xr.Dataset:
        """Return the whole result for light of a power (W) or energy (J).

        That much is what all sources launch, at all wavelengths together; all that is proportional
        to it is multiplied, errors and batches too, and has units such as W mm-2. The attribute
        ``scaled`` tells by what; a result is scaled once. The values are read now.
        """
        return inside.scale(self._data, power_W, energy_J)

    def collect(
        self, centre: Any, normal: Any, radius: float, na: float = float("inf")
    ) -> xr.Dataset:
        """Return the light that a fibre outside of the medium collects, from the exits.

        Parameters
        ----------
        centre : of the fibre's end, on the surface or in front of it, mm, 3 numbers.
        normal : the way that the fibre looks, to the medium; of any length.
        radius : of its core, mm.
        na : numerical aperture, the sine of the greatest angle times the index around the medium.

        The value is in the unit of the sources' energy, by wavelength. The error is that of the sum
        over the launched packets, zeros counted. Reflection at the fibre's end is left out.
        """
        fibre = {"centre": centre, "normal": normal, "radius": radius, "na": na}
        return exits.collect(self._data, fibre)

    def at(
        self, coefficients: Mapping[Any, Mapping[str, float]], detector: exits.Detector = None
    ) -> xr.Dataset:
        """Return the light of a detector at other coefficients, from the exits, without a new run.

        Parameters
        ----------
        coefficients : new ones (1/mm) by tissue, ``{"bone": {"mua": 0.03, "mus": 9}}``; a tissue is
            a name, a number from 1, or a pair of either and a wavelength.
        detector : the number of a fibre of the model; a face (``"top"``); a dictionary of the
            arguments of ``collect``; true or false for each exit; None: all that leaves.

        Value and error as of ``collect``; the error grows with the distance from the old ones.
        """
        return exits.collect(self.reweighted(coefficients), detector)

    def reweighted(self, coefficients: Mapping[Any, Mapping[str, float]]) -> xr.Dataset:
        """Return the table of exits at other coefficients, as of ``at``: a result without grids."""
        return paths.reweighted(self._data, coefficients)

    def partial_paths(self, detector: exits.Detector = None) -> xr.Dataset:
        """Return the mean path in each tissue of the light of a detector, mm, by weight.

        By wavelength and tissue (names), with dyes by ``leg`` too: up to the conversion and behind
        it. ``detector`` is as of ``at``. The error comes from the launched packets.
        """
        return paths.partial_paths(self._data, detector)

    def jacobian(self, detector: exits.Detector = None, by: str = "tissue") -> xr.Dataset:
        """Return the change of a detector's light with the absorption coefficient, mm.

        Parameters
        ----------
        detector : as of ``at``; by cell only the number of a fibre, or None.
        by : ``tissue``: (wavelength, tissue), with errors from the launched packets; ``cell``: on
            the axes of the absorption grid, without errors. That flies the packets again.

        The value is negative, the energy's unit times mm. The wavelength is that of the
        coefficient. With dyes there is a dimension ``part``: ``sources`` for light that no dye
        emitted; of what dyes emitted, ``excitation`` for the way up to the dye, at the wavelength
        of that way, and ``emission`` for the way from there.
        """
        if by == "tissue":
            return paths.jacobian(self._data, detector)
        if by != "cell":
            raise ValueError(f"by is 'tissue' or 'cell', not {by!r}")
        return jacobian_of_cells(self._data, detector)
