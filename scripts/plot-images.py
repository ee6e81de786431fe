#!/usr/bin/env python3
"""Draws the images of the plane detectors in a result file (.D.CW) side by side, by gnuplot."""

import subprocess
import sys


def read_images(path):
    """The images of the first spectrum, each a list of rows of numbers."""
    with open(path, encoding="ascii") as file:
        lines = iter(file)
        images, height = [], 0
        for line in lines:
            words = line.split()
            if words[:1] == ["Spectrum"] and images:
                break
            if words[:1] == ["HeightResolution"]:
                height = int(words[2])
            elif words == ["DetectionMatrix"]:
                images.append([next(lines).split() for _ in range(height)])
    return images


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: plot-images.py RESULT.D.CW PICTURE.png")
    images = read_images(sys.argv[1])
    if not images:
        sys.exit(f"{sys.argv[1]} has no images")
    script = f"""
set terminal pngcairo size {440 * len(images)},400 font ",12"
set output "{sys.argv[2]}"
set multiplot layout 1,{len(images)}
set size ratio -1
set autoscale fix
set palette defined (0 "#000004", 1 "#3b0f70", 2 "#8c2981", 3 "#de4968", 4 "#fe9f6d", 5 "#fcfdbf")
set format cb "%.1e"
set xlabel "column"
set ylabel "row"
set tics out nomirror
unset key
"""
    for number, image in enumerate(images, 1):
        data = "\n".join(" ".join(row) for row in image)
        script += f'set title "Detector {number}"\nplot "-" matrix with image\n{data}\ne\n'
    return subprocess.run(["gnuplot"], input=script, text=True, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
