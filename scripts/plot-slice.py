#!/usr/bin/env python3
"""Draws a slice of the absorption in a result file (.A.CW, Cartesian) as a PNG, by gnuplot: any
slice of a model in space, the whole of one in the plane.

Also an example of reading a result file: see read_block().
"""

import argparse
import subprocess
import sys

AXES = "xyz"


def read_block(path, spectrum):
    """The axes, the counts and the rows of the block: rows[ix * count_y + iy][iz]. A model in the
    plane has the axes x, z (of one cell) and y."""
    with open(path, encoding="ascii") as file:
        lines = iter(file)
        axes, counts, current = AXES, None, 0
        for line in lines:
            words = line.split()
            if words[:1] == ["Spectrum"]:
                current += 1
            elif words[:2] == ["CountX", "CountY"]:
                counts = [int(word) for word in words[len(words) // 2:]]
                if len(counts) == 2:
                    axes, counts = "xzy", [counts[0], 1, counts[1]]
            elif words in (["3DCWAbsorptionXYZ"], ["2DCWAbsorptionXY"]) and current == spectrum:
                rows = [next(lines).split() for _ in range(counts[0] * counts[1])]
                return axes, counts, rows
    sys.exit(f"{path} has no Cartesian absorption for spectrum {spectrum}")


def cut(axes, counts, rows, normal, index):
    """The slice as rows along the second of the two axes that remain, lowest first."""
    remaining = [axis for axis in range(3) if axis != normal]
    across, up = remaining
    place = [0, 0, 0]
    place[normal] = index
    picture = []
    for place[up] in range(counts[up]):
        line = []
        for place[across] in range(counts[across]):
            line.append(rows[place[0] * counts[1] + place[1]][place[2]])
        picture.append(line)
    return (axes[across], axes[up]), picture


def gnuplot_script(arguments, names, picture):
    (u, v), cell = arguments.corner, arguments.cell
    highest = max(float(value) for line in picture for value in line) or 1.0
    width, height = len(picture[0]) * cell, len(picture) * cell
    data = "\n".join(" ".join(line) for line in picture)
    title = arguments.title.replace('"', "'").replace("_", "\\_")
    return f"""
set terminal pngcairo size 720,640 font ",12"
set output "{arguments.picture}"
set title "{title}"
set xlabel "{names[0]} (mm)"
set ylabel "{names[1]} (mm)"
set xrange [{u}:{u + width}]
set yrange [{v}:{v + height}]
set size ratio -1
set logscale cb
set cbrange [{highest * 10 ** -arguments.decades}:{highest}]
set format cb "10^{{%T}}"
set palette defined (0 "#000004", 1 "#3b0f70", 2 "#8c2981", 3 "#de4968", 4 "#fe9f6d", 5 "#fcfdbf")
set tics out nomirror
unset key
plot "-" matrix using ({u}+($1+0.5)*{cell}):({v}+($2+0.5)*{cell}):($3 > 0 ? $3 : NaN) with image
{data}
e
"""


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("result", help="file of absorption, .A.CW")
    parser.add_argument("picture", help="PNG file to write")
    parser.add_argument("--spectrum", type=int, default=1, help="which spectrum, from 1")
    parser.add_argument("--normal", choices=AXES, default="y", help="axis across the slice")
    parser.add_argument("--slice", type=int, help="cell along that axis, from 0; default: middle")
    parser.add_argument("--from", dest="corner", type=float, nargs=2, default=(0, 0),
                        metavar=("U", "V"), help="lower left corner, mm; default 0 0")
    parser.add_argument("--cell", type=float, default=1.0, help="cell size, mm; default 1")
    parser.add_argument("--decades", type=int, default=6, help="range of colours; default 6")
    parser.add_argument("--title", default="Absorbed power")
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    axes, counts, rows = read_block(arguments.result, arguments.spectrum)
    normal = AXES.index(arguments.normal)
    index = counts[normal] // 2 if arguments.slice is None else arguments.slice
    if not 0 <= index < counts[normal]:
        sys.exit(f"--slice: {index} is not one of the {counts[normal]} cells along the axis")
    names, picture = cut(axes, counts, rows, normal, index)
    script = gnuplot_script(arguments, names, picture)
    return subprocess.run(["gnuplot"], input=script, text=True, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
