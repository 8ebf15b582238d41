#!/usr/bin/python3
"""Turn and raise the section of a wire at the same time: a helical spring.

    examples/spring.py [FOLDER]     writes spring.vtu and spring.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math

import numpy as np
from parts import Part, polygon_area, run, solids_of, timed

import meldra3d

WIRE, COIL, PITCH = 4.0, 22.0, 13.0  # mm: radius of the wire and of the coil, rise of each turn
TURNS, STEPS = 4, 60  # layers in each turn
SIDE, RINGS = 6, 3  # edges of the square in the middle of the wire, and rings of quadrangles round it


def disc(radius, side, rings):
    """A disc of quadrangles, counter-clockwise: a rounded square in the middle, and rings about it."""
    x, y = np.meshgrid(*[np.linspace(-1, 1, side + 1)] * 2)
    core = np.column_stack([x.ravel(), y.ravel()])
    node = np.arange(len(core)).reshape(side + 1, side + 1)
    quadrangles = [np.stack([node[:-1, :-1], node[:-1, 1:], node[1:, 1:], node[1:, :-1]], axis=-1).reshape(-1, 4)]
    # The nodes along the rim of the square, counter-clockwise, and where they go to on the circle.
    rim = np.concatenate([node[0, :-1], node[:-1, -1], node[-1, :0:-1], node[:0:-1, 0]])
    angle = (np.arange(len(rim)) / side - 1.5) * math.pi / 2
    circle = np.column_stack([np.cos(angle), np.sin(angle)])
    # The sides of the square bulge a little, so that its corners are less sharp.
    bulge = np.maximum(abs(x), abs(y)).ravel() * 0.12 * (2 - (core**2).sum(axis=1))
    core *= 0.42 * (1 + bulge)[:, None]
    points = [core] + [core[rim] + (circle - core[rim]) * k / rings for k in range(1, rings + 1)]
    for k in range(rings):
        inner = rim if k == 0 else outer
        outer = len(core) + k * len(rim) + np.arange(len(rim))
        quadrangles.append(np.stack([inner, outer, np.roll(outer, -1), np.roll(inner, -1)], axis=-1))
    return radius * np.concatenate(points), np.concatenate(quadrangles)


def make() -> Part:
    section, faces = disc(WIRE, SIDE, RINGS)
    # Between two levels the faces of hexahedra are warped, and the library cuts them along diagonals that follow from
    # where an element begins. Elements that are mirror images of each other but begin one corner apart are cut
    # along opposite diagonals. So what the one half of the wire loses the other half gains.
    left = section[faces, 0].mean(axis=1) < 0
    faces[left] = np.roll(faces[left], 1, axis=1)
    points = np.column_stack([COIL + section[:, 0], np.zeros(len(section)), section[:, 1]])
    faces = faces[:, ::-1]  # facing +y, the way of the sweep

    turn, rise, layers = 2 * math.pi * TURNS, PITCH * TURNS, STEPS * TURNS
    swept, volume, seconds = timed(
        lambda: meldra3d.extrude_spiral(points, faces, (0, 0, 0), (0, 0, turn), (0, 0, rise), layers=layers)
    )

    # Pappus as for a ring: raising a section along its own plane adds nothing to the volume that it sweeps.
    expected = polygon_area(WIRE, 4 * SIDE) * COIL * layers * math.sin(turn / layers)

    turns = np.tile((np.arange(layers) + 0.5) / STEPS, len(faces))
    mesh = solids_of(swept, turn=turns)
    formula = "A R n sin(θ/n), Pappus with chords in place of arcs"
    return Part("spring", len(faces), layers, mesh, "turn", (-60, 20), "mm", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
