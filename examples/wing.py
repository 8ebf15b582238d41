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


def profile_at(points, y):
    """The nodes `(n, 2)` of the profile at one end of the span, as x and z, counter-clockwise."""
    profile = points[np.abs(points[:, 1] - y) < 1e-9][:, [0, 2]]
    x, z = profile.T
    return profile[np.argsort(np.arctan2(z, x - 0.5))]  # each in another direction from the middle of the chord


def grown(profile, distance):
    """A profile whose nodes have moved outwards, each half-way between the normals of its two edges."""
    edge = np.roll(profile, -1, axis=0) - profile
    normal = np.column_stack([edge[:, 1], -edge[:, 0]]) / np.linalg.norm(edge, axis=1)[:, None]
    both = normal + np.roll(normal, 1, axis=0)
    return profile + distance * both / np.linalg.norm(both, axis=1)[:, None]


def area(polygon):
    """By the shoelace formula."""
    x, y = polygon.T
    return 0.5 * math.fsum(x * np.roll(y, -1) - y * np.roll(x, -1))


def make() -> Part:
    skin = meldra3d.read(SKIN)
    faces, _ = skin.surface()
    swept, volume, seconds = timed(lambda: meldra3d.extrude_normal(skin.points, faces, THICKNESS, sizes=SIZES))
    layers = len(swept.solids) // len(faces)

    # Profile and chord are the same all along the span, and so are the layers: their volume is an area times the span.
    y = skin.points[:, 1]
    profile = profile_at(skin.points, y.min())
    expected = (area(grown(profile, THICKNESS)) - area(profile)) * (y.max() - y.min())

    mesh = solids_of(swept, layer=np.tile(np.arange(1, layers + 1), len(faces)))
    formula = "area between profile and grown profile (shoelace formula), times span"
    return Part("wing", len(faces), layers, mesh, "layer", (-122, 20), "m", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
