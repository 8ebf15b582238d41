#!/usr/bin/python3
"""Turn the section of a pipe about an axis: a 90 degree elbow.

    examples/elbow.py [FOLDER]     writes elbow.vtu and elbow.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math

import numpy as np
from parts import Part, annulus, polygon_area, run, solids_of, timed

import meldra3d
from meldra3d import ElementType
from meldra3d.measures import signed_volumes

OUTER, WALL = 114.3 / 2, 6.3  # mm: a DN 100 pipe
BEND = 152.4  # mm: radius of the centre line
ANGLE = math.pi / 2
AROUND, ACROSS, LAYERS = 48, 3, 32


def make() -> Part:
    # The section lies at z = 0. The axis passes it at a distance of BEND, along y.
    points, faces = annulus(np.linspace(OUTER - WALL, OUTER, ACROSS + 1), AROUND)
    swept, volume, seconds = timed(
        lambda: meldra3d.extrude_rotate(points, faces, (BEND, 0, 0), (0, ANGLE, 0), layers=LAYERS)
    )

    # Pappus: area times the way of its centre. Between two levels the nodes go straight: of a thin slice of the
    # section at radius r, the part between two half-planes at an angle of t has the volume r sin(t) in place of r t.
    area = polygon_area(OUTER, AROUND) - polygon_area(OUTER - WALL, AROUND)
    expected = area * BEND * LAYERS * math.sin(ANGLE / LAYERS)

    volumes = signed_volumes(swept.points, ElementType.H8, swept.solids)
    mesh = solids_of(swept, **{"volume, mm³": volumes})
    formula = "A R n sin(θ/n), Pappus with chords in place of arcs"
    return Part("elbow", len(faces), LAYERS, mesh, "volume, mm³", (-50, 22), "mm", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
