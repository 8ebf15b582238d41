#!/usr/bin/python3
"""Sweep the face of a pipe flange along its axis into graded layers of wedges and hexahedra.

    examples/flange.py [FOLDER]     writes flange.vtu and flange.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math
import pathlib

import numpy as np
from parts import Part, run, solids_of, timed

import meldra3d
from meldra3d import NO_NODE

SURFACE = pathlib.Path(__file__).parent / "data/flange.msh"
LENGTH = 40.0  # mm, along z
SIZES = (1.5, 6.0)  # mm: thickness of the first layer, at the face, and of the last one


def area(points, faces):
    """Area of plane faces, by the cross product of two edges (triangles) or of the diagonals (quadrangles)."""
    a, b, c = (points[faces[:, k]] for k in range(3))
    is_triangle = faces[:, 3] == NO_NODE
    d = points[np.where(is_triangle, faces[:, 0], faces[:, 3])]
    return math.fsum(0.5 * np.linalg.norm(np.cross(c - a, d - b), axis=1))


def make() -> Part:
    # The triangles and quadrangles of the face are the rows of one array.
    surface = meldra3d.read(SURFACE)
    faces, _ = surface.surface()
    swept, volume, seconds = timed(
        lambda: meldra3d.extrude_translate(surface.points, faces, (0, 0, LENGTH), sizes=SIZES)
    )

    # A prism has the volume area times length.
    expected = area(surface.points, faces) * LENGTH

    # The solids of one face follow each other, layer by layer.
    layers = len(swept.solids) // len(faces)
    mesh = solids_of(swept, layer=np.tile(np.arange(1, layers + 1), len(faces)))
    formula = "area times length"
    return Part("flange", len(faces), layers, mesh, "kind", None, "mm", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
