#!/usr/bin/python3
"""Grow layers on the skin of a wing along its normals, thin at the skin and thicker outwards: a boundary layer.

    examples/wing.py [FOLDER]     writes wing.vtu and wing.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math
import pathlib

import numpy as np
from parts import Part, run, solids_of, timed

import meldra3d

SKIN = pathlib.Path(__file__).parent / "data/wing.msh"
THICKNESS = 0.08  # m, of all layers; the chord is 1 m
SIZES = (0.0005, 0.014)  # m: thickness of the first layer and of the last one


def profile_area(points):
    """Area inside the nodes at the end y = 0 of the span, by the shoelace formula."""
    x, z = points[np.abs(points[:, 1]) < 1e-9][:, [0, 2]].T
    order = np.argsort(np.arctan2(z, x - 0.5))  # from the middle of the chord each node is seen in another direction
    x, z = x[order], z[order]
    return 0.5 * math.fsum(x * np.roll(z, -1) - z * np.roll(x, -1))


def make() -> Part:
    skin = meldra3d.read(SKIN)
    faces, _ = skin.surface()
    swept, volume, seconds = timed(lambda: meldra3d.extrude_normal(skin.points, faces, THICKNESS, sizes=SIZES))
    layers = len(swept.solids) // len(faces)

    # Profile and chord are the same all along the span, and so are the layers. Their volume is the area between the
    # outermost profile and that of the skin, times the span.
    outermost = swept.points[np.unique(swept.cap)]
    expected = (profile_area(outermost) - profile_area(skin.points)) * np.ptp(skin.points[:, 1])

    mesh = solids_of(swept, layer=np.tile(np.arange(1, layers + 1), len(faces)))
    formula = "area between two profiles (shoelace formula), times span"
    return Part("wing", len(faces), layers, mesh, "layer", (-122, 20), "m", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
