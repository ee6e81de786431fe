"""Diffusion theory of the cookbook's tissue: what its runs are compared with.

The tissue has an absorption of 0.01/mm, a reduced scattering of 1/mm and the index 1.4, in air.
Light becomes diffuse at the depth ``z0``, and the fluence seems to vanish ``zb`` outside of a plane
surface (extrapolated boundary: T. Farrell, M. Patterson, B. Wilson, Med. Phys. 19 (1992) 879), with
the reflection of diffuse light 0.493.
"""

import numpy as np

mua, musr, n = 0.01, 1.0, 1.4
c = 0.299792458 / n  # mm/ps
D, z0 = 1 / (3 * (mua + musr)), 1 / (mua + musr)
zb = 2 * D * (1 + 0.493) / (1 - 0.493)
k = np.sqrt(mua / D)


def _transmitted(cosine):
    """Share of unpolarised light that leaves at this cosine within the tissue, by Fresnel."""
    outside = np.sqrt(np.maximum(1 - n**2 * (1 - cosine**2), 0))
    s = (n * cosine - outside) / (n * cosine + outside)
    p = (cosine - n * outside) / (cosine + n * outside)
    return np.where(outside > 0, 1 - (s**2 + p**2) / 2, 0)


def half_space(rho, na=1.0):
    """Reflectance of a beam at the distance rho (mm), 1/mm^2, up to a numerical aperture in air.

    A. Kienle, M. Patterson, J. Opt. Soc. Am. A 14 (1997) 246: the radiance of diffusion theory
    at the surface, (fluence + 3 flux cos) / 4 pi, as far as it leaves.
    """
    r1, r2 = np.hypot(z0, rho), np.hypot(z0 + 2 * zb, rho)
    fluence = (np.exp(-k * r1) / r1 - np.exp(-k * r2) / r2) / (4 * np.pi * D)
    flux = (z0 * (k + 1 / r1) * np.exp(-k * r1) / r1**2
            + (z0 + 2 * zb) * (k + 1 / r2) * np.exp(-k * r2) / r2**2) / (4 * np.pi)
    edges = np.linspace(np.sqrt(1 - (na / n) ** 2), 1, 20001)
    cosine = (edges[1:] + edges[:-1]) / 2
    leaves = _transmitted(cosine) * cosine * (edges[1] - edges[0]) / 2
    return fluence * leaves.sum() + 3 * flux * (leaves * cosine).sum()


def ring(inner, outer):
    """Mean reflectance of a ring about the beam (mm), 1/mm^2."""
    rho = np.linspace(inner, outer, 401)
    return np.sum(rho * [half_space(r) for r in rho]) / np.sum(rho)


def spot(distance, radius, na):
    """Light that a fibre on the surface takes: its middle's distance from the beam, mm."""
    rho, turn = np.meshgrid(radius * (np.arange(20) + 0.5) / 20, 2 * np.pi * np.arange(40) / 40)
    places = np.hypot(distance + rho * np.cos(turn), rho * np.sin(turn))
    reflectance = np.vectorize(half_space)(places, na)
    return np.pi * radius**2 * np.sum(rho * reflectance) / np.sum(rho)


def slab_phase(thickness, frequency, width):
    """Lag (degrees) of all light through a square slab (mm) that is modulated at so many MHz.

    Images at both surfaces: D. Contini, F. Martelli, G. Zaccanti, Appl. Opt. 36 (1997) 4587.
    """
    x = np.linspace(-width / 2, width / 2, 401)
    rho = np.hypot(x[:, None], x)
    wave = np.sqrt((mua - 2j * np.pi * frequency * 1e-6 / c) / D)

    def flux(z):
        r = np.hypot(thickness - z, rho)
        return (thickness - z) * (1 / r + wave) * np.exp(-wave * r) / (4 * np.pi * r**2)

    period = 2 * (thickness + 2 * zb)
    through = sum(flux(m * period + z0) - flux(m * period - 2 * zb - z0) for m in range(-5, 6))
    return float(np.degrees(np.angle(through.sum())))


def emission(depth, radius, absorption, quantum_yield):
    """Light that a weak dye in a ball (mm) under a beam emits; its absorption in 1/mm."""
    h = radius * (np.arange(-20, 20) + 0.5) / 20
    points = np.stack(np.meshgrid(h, h, h), -1).reshape(-1, 3)
    x, y, z = points[(points**2).sum(1) < radius**2].T
    r1 = np.sqrt(x**2 + y**2 + (z + depth - z0) ** 2)
    r2 = np.sqrt(x**2 + y**2 + (z + depth + z0 + 2 * zb) ** 2)
    fluence = (np.exp(-k * r1) / r1 - np.exp(-k * r2) / r2) / (4 * np.pi * D)
    return quantum_yield * absorption * fluence.sum() * (h[1] - h[0]) ** 3


def ball_picture(radius, distance, image_distance):
    """Picture (1/sr) of a ball that shines from its centre, over all of the detector.

    By Lambert's law it is a disc of even radiance. Radius of the ball, distance of its centre from
    the lens, and from there to the detector in mm.
    """
    left = (np.sinh(k * zb) + radius * k * np.cosh(k * zb)) / np.sinh(k * (radius + zb))
    radiance = left / (4 * np.pi * radius**2) / np.pi
    return radiance * np.pi * image_distance**2 * radius**2 / (distance**2 - radius**2)


def shells(radii, tissues, glow):
    """Share of its light that each of some balls, one in the other, takes, from inside out.

    Light starts evenly within the radius ``glow``; radii in mm, tissues as (mua, mus, g, n = 1.4).
    """
    r = np.linspace(0, radii[-1], 1001)
    volume, area = 4 / 3 * np.pi * np.diff(r**3), 4 * np.pi * r[1:] ** 2
    layer = np.searchsorted(radii, (r[1:] + r[:-1]) / 2)
    absorption, scattering, g, _ = np.array(tissues)[layer].T
    half = 1.5 * (absorption + scattering * (1 - g)) * r[1]  # half a step over its D
    link = area / (half + np.append(half[1:], zb / D))
    matrix = np.diag(absorption * volume + link + np.append(0, link[:-1]))
    matrix -= np.diag(link[:-1], 1) + np.diag(link[:-1], -1)
    source = np.diff(np.minimum(r, glow) ** 3) / glow**3
    fluence = np.linalg.solve(matrix, source)
    return np.bincount(layer, absorption * volume * fluence)


def layer(distance, absorption, reduced):
    """What 1 mm across x takes of a point's light, at that distance along x in wide tissue, 1/mm.

    The integral over y and z of exp(-k r) / (4 pi D r); coefficients in 1/mm.
    """
    spread = 1 / (3 * (absorption + reduced))
    decay = np.sqrt(absorption / spread)
    return float(absorption * np.exp(-decay * distance) / (2 * spread * decay))
