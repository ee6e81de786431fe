#!/usr/bin/env python3
"""Writes the meshes of the benchmarks and of the mesh examples, with their models.

Usage: make-meshes.py FOLDER [NAME...]     (default: sphere shells head)

sphere  a sphere of 20,480 triangles (sphere.off) as the inner tissue of a cube
shells  a cube of 60 mm with nested spheres of radius 25, 23 and 10 mm, about 20,000 elements
head    five nested ellipsoids like a head, more than 300,000 elements
small   the coarse meshes of examples/: nodule.off and ball-in-box.mesh, without models
organ   the cookbook's organ.stl: binary, in m, as from a scanner, away from the origin

A tetrahedral body is a grid of cubes, each cut into six tetrahedra, whose layers are drawn onto the
surfaces: a grid point at the distance s from the centre, measured along the largest coordinate, goes to
the radius of its layer, so that every cube-shaped layer becomes a sphere or an ellipsoid.
"""
import itertools
import math
import os
import struct
import sys


def icosphere(levels, radius):
    """Corners and triangles of a sphere: an icosahedron, each triangle cut into four per level."""
    t = (1 + math.sqrt(5)) / 2
    corners = [(-1, t, 0), (1, t, 0), (-1, -t, 0), (1, -t, 0), (0, -1, t), (0, 1, t), (0, -1, -t),
               (0, 1, -t), (t, 0, -1), (t, 0, 1), (-t, 0, -1), (-t, 0, 1)]
    faces = [(0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4),
             (11, 10, 2), (10, 7, 6), (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8), (3, 8, 9),
             (4, 9, 5), (2, 4, 11), (6, 2, 10), (8, 6, 7), (9, 8, 1)]
    corners = [scaled(c, 1) for c in corners]
    for _ in range(levels):
        middles = {}

        def middle(a, b):
            key = (min(a, b), max(a, b))
            if key not in middles:
                middles[key] = len(corners)
                corners.append(scaled([x + y for x, y in zip(corners[a], corners[b])], 1))
            return middles[key]

        faces = [f for a, b, c in faces for ab, bc, ca in [(middle(a, b), middle(b, c), middle(c, a))]
                 for f in ((a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca))]
    return [[radius * x for x in c] for c in corners], faces


def scaled(v, length):
    norm = math.sqrt(sum(x * x for x in v))
    return [x * length / norm for x in v]


def write_off(path, corners, faces, centre):
    with open(path, "w") as out:
        out.write("OFF\n%d %d 0\n" % (len(corners), len(faces)))
        for c in corners:
            out.write("%.7g %.7g %.7g\n" % tuple(x + m for x, m in zip(c, centre)))
        for f in faces:
            out.write("3 %d %d %d\n" % f)


def layered_body(layers, place):
    """Tetrahedra (region from 1, four corners from 1) of a grid with the given numbers of layers.

    layers: (region, number of grid layers) from the core outwards; place(point, region, share) puts a
    grid direction of its layer's region, share 0 to 1 through it, into space."""
    bounds = list(itertools.accumulate(n for _, n in layers))
    n = bounds[-1]

    def layer_of(s):
        k = next(i for i, b in enumerate(bounds) if s <= b)
        below = bounds[k - 1] if k else 0
        return k, (s - below) / (bounds[k] - below)

    index = lambda i, j, k: ((i + n) * (2 * n + 1) + j + n) * (2 * n + 1) + k + n + 1
    points = []
    for p in itertools.product(range(-n, n + 1), repeat=3):
        s = max(map(abs, p))
        points.append((0, 0, 0) if s == 0 else place([x / s for x in p], *layer_of(s)))
    elements = []
    for cell in itertools.product(range(-n, n), repeat=3):
        s = max(max(abs(x), abs(x + 1)) for x in cell)
        region = layers[layer_of(s)[0]][0]
        # Six tetrahedra along a diagonal that leads away from the centre, mirrored in each octant, so that
        # neighbouring cells cut their common side alike.
        start = [x if x >= 0 else x + 1 for x in cell]
        step = [1 if x >= 0 else -1 for x in cell]
        for order in itertools.permutations(range(3)):
            corner, corners = list(start), [tuple(start)]
            for axis in order:
                corner[axis] += step[axis]
                corners.append(tuple(corner))
            elements.append([region] + [index(*c) for c in corners])
    return points, elements


def write_mesh(path, points, elements, centre):
    with open(path, "w") as out:
        out.write("%d\n" % len(points))
        for p in points:
            out.write("%.7g %.7g %.7g\n" % tuple(x + m for x, m in zip(p, centre)))
        out.write("%d\n" % len(elements))
        for e in elements:
            out.write("%d %d %d %d %d\n" % tuple(e))


MODEL = """trl
format ascii 2.2
simulationproperty
simulationtype DOT
dimension 3d
spectrumnum 1
lightsourcenum 1
tissuenum {tissuenum}
{property}
absorptionmatrix 1 cartesian
transmittancematrix 1 cartesian
roiseparation 2 2 2
stepnummax 1000000
flytimemax 1000000
endsimulationproperty
spectrum 1 650
lightsource 1
lightsourceshape cube
lightsourcecenter {beam}
lightsourceaxis 1e-6 1e-6 1e-6
lightsourcedeflectangle 0 0
lightsourceproperty external solid nospecular
lightsourcespectrumindex 1 1.0 {packets}
{tissues}
endtrl
"""


def write_model(path, optics, beam, medium=None, shapes=(), packets=100000):
    tissues = ["mediumtetrapath %s" % medium] if medium else []
    for k, o in enumerate(optics, 1):
        tissues.append("tissue %d tissue%d" % (k, k))
        tissues.append("tissueshape tetrahedron" if medium else shapes[k - 1])
        tissues.append("tissuespectrumindex 1 %g %g %g %g" % o)
    with open(path, "w") as out:
        out.write(MODEL.format(tissuenum=len(optics), beam=beam, packets=packets,
                               tissues="\n".join(tissues),
                               property="mediumshapetetratype %d" % bool(medium)))


def make_sphere(folder, levels=5, name="sphere"):
    """As many levels as there are, each with four times the triangles."""
    corners, faces = icosphere(levels, 8)
    write_off(os.path.join(folder, name + ".off"), corners, faces, (15, 15, 12))
    write_model(os.path.join(folder, name + ".trl"), [(0.01, 5, 0.9, 1.37), (0.1, 8, 0.9, 1.45)],
                "15 15.1 -1",
                shapes=["tissueshape cube\ntissuecenter 15 15 15\ntissueaxis 15 15 15",
                        "tissueshape trianglemesh\ntissuepath %s.off" % name])


def place_shells(radii):
    """Spheres but for the last layer, which goes over to a cube."""
    def place(direction, k, share):
        inner = radii[k - 1] if k else 0
        r = inner + share * (radii[k] - inner)
        ball = scaled(direction, r)
        if k < len(radii) - 1:
            return ball
        return [(1 - share) * b + share * r * d for b, d in zip(ball, direction)]
    return place


def make_shells(folder, times=1, name="shells"):
    """With so many times as many grid layers, and its third power as many elements."""
    layers = [(region, n * times) for region, n in [(4, 2), (3, 3), (2, 1), (1, 1)]]
    points, elements = layered_body(layers, place_shells([10, 23, 25, 30]))
    write_mesh(os.path.join(folder, name + ".mesh"), points, elements, (30, 30, 30))
    write_model(os.path.join(folder, name + ".trl"),
                [(0.02, 7, 0.89, 1.37), (0.004, 0.009, 0.89, 1.37), (0.02, 9, 0.89, 1.37),
                 (0.05, 0, 1, 1.37)], "30 30.1 -1", medium=name + ".mesh")


def make_head(folder):
    axes = (1.0, 1.25, 1.1)
    radii = [45, 60, 63, 68, 74]  # white and grey matter, fluid, skull, scalp; mm

    def place(direction, k, share):
        inner = radii[k - 1] if k else 0
        return [a * x for a, x in zip(axes, scaled(direction, inner + share * (radii[k] - inner)))]

    points, elements = layered_body([(5, 10), (4, 5), (3, 1), (2, 2), (1, 2)], place)
    write_mesh(os.path.join(folder, "head.mesh"), points, elements, (80, 95, 85))
    write_model(os.path.join(folder, "head.trl"),
                [(0.019, 7.8, 0.89, 1.37), (0.019, 7.8, 0.89, 1.37), (0.004, 0.009, 0.89, 1.37),
                 (0.02, 9, 0.89, 1.37), (0.08, 40.9, 0.84, 1.37)], "80 95.1 -1", medium="head.mesh")


def make_small(folder):
    corners, faces = icosphere(2, 3)
    write_off(os.path.join(folder, "nodule.off"), corners, faces, (0, 0, 6))
    points, elements = layered_body([(2, 2), (1, 2)], place_shells([5, 10]))
    write_mesh(os.path.join(folder, "ball-in-box.mesh"), points, elements, (0, 0, 10))


def make_organ(folder):
    """An ellipsoid of 30, 24 and 20 mm, with a dent of 6 mm and a bulge of 4 mm."""
    corners, faces = icosphere(3, 1.0)
    points = []
    for c in corners:
        dent, bulge = (math.exp(-4 * sum((x - m) ** 2 for x, m in zip(c, d)))
                       for d in ((0.3, 0.95, 0), (-0.8, -0.3, 0.5)))
        points.append([(x * (a - 6 * dent + 4 * bulge) + m) / 1000
                       for x, a, m in zip(c, (30, 24, 20), (412, -77, 1233))])
    with open(os.path.join(folder, "organ.stl"), "wb") as out:
        out.write(b"organ, surface of a segmentation, m".ljust(80) + struct.pack("<I", len(faces)))
        for f in faces:
            out.write(struct.pack("<12fH", 0, 0, 0, *(x for k in f for x in points[k]), 0))


def main():
    makers = {"sphere": make_sphere, "shells": make_shells, "head": make_head, "small": make_small,
              "organ": make_organ}
    os.makedirs(sys.argv[1], exist_ok=True)
    for name in sys.argv[2:] or ["sphere", "shells", "head"]:
        makers[name](sys.argv[1])


if __name__ == "__main__":
    main()
