#!/usr/bin/python3
"""Sweep the section of a pipe along bent lines, where it becomes narrower: the four pipes of an exhaust manifold.

    examples/manifold.py [FOLDER]     writes manifold.vtu and manifold.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math

import numpy as np
from parts import Part, annulus, polygon_area, run, solids_of, timed

import meldra3d
from meldra3d import Sweep

OUTER, INNER = 22.0, 18.0  # mm: radii of the pipes at the ports
AROUND, ACROSS = 32, 2
LAST_SIZE = 0.7  # of the section, at the end
BEND = 55.0  # mm: radius of the bends
STEP = 8.0  # mm: length of a layer, or a little less

# Corners of the lines, in mm. The ports lie in a row along x; the ends lie two by two.
LINES = [
    np.array([(port, 0, 0), (port, reach, 0), (port, reach, -95), (end, reach, -230), (end, reach, -330)], dtype=float)
    for port, reach, end in ((-165, 122, -18), (-55, 84, -18), (55, 84, 18), (165, 122, 18))
]


def unit(vector):
    return vector / np.linalg.norm(vector)


def cut(length):
    """The ends of the segments of a piece, as fractions of its length."""
    return np.linspace(0, 1, math.ceil(length / STEP) + 1)[1:, None]


def rounded(corners):
    """A polyline whose corners are rounded: arcs and the straight pieces between them, all cut into segments."""
    points = corners[:1]
    for before, corner, after in zip(corners, corners[1:], corners[2:]):
        a, b = unit(corner - before), unit(after - corner)
        angle = math.acos(a @ b)
        start = corner - BEND * math.tan(angle / 2) * a
        t = angle * cut(BEND * angle)
        arc = start + BEND * (np.sin(t) * a + (1 - np.cos(t)) * unit(b - (a @ b) * a))
        points = np.concatenate([points, straight(points[-1], start), arc])
    return np.concatenate([points, straight(points[-1], corners[-1])])


def straight(start, end):
    return start + cut(np.linalg.norm(end - start)) * (end - start)


def sizes_along(line):
    """1 at the port, and LAST_SIZE at the end of a line, with a smooth change between them."""
    way = np.concatenate([[0], np.cumsum(np.linalg.norm(np.diff(line, axis=0), axis=1))])
    return 1 + (LAST_SIZE - 1) * 0.5 * (1 - np.cos(math.pi * way / way[-1]))


def sweep_all(section, faces, lines) -> Sweep:
    """One pipe after the other, each appended to those before."""
    points, solids = np.empty((0, 3)), None
    for line in lines:
        first = len(points)
        # The section faces +y, the way that the lines begin.
        ring = np.column_stack([-section[:, 0], np.zeros(len(section)), section[:, 1]]) + line[0]
        nodes = first + len(ring) + np.arange(len(line))
        swept = meldra3d.extrude_line(
            np.concatenate([points, ring, line]), faces + first, nodes, sizes=sizes_along(line), solids=solids
        )
        points, solids = swept.points, swept.solids
    return swept


def exact_volume(line, area):
    """Volume of a pipe from its line alone.

    The section at each node is plane, across the segment before the node, and lies about the line. On the way along a
    segment of length L it becomes q times as large and turns by φ. The nodes go straight, so that after the part s of
    the way the section is (1 - s) times the first plus s times the second. What it sweeps through is its area
    across the segment, integrated over L: A L (2 cos φ + q + q cos φ + 2 q²) / 6, which is a frustum where φ = 0.
    """
    steps = np.diff(line, axis=0)
    length = np.linalg.norm(steps, axis=1)
    direction = steps / length[:, None]
    cosine = np.concatenate([[1], np.sum(direction[1:] * direction[:-1], axis=1)])
    sizes = sizes_along(line)
    q = sizes[1:] / sizes[:-1]
    return math.fsum(area * sizes[:-1] ** 2 * length * (2 * cosine + q + q * cosine + 2 * q**2) / 6)


def make() -> Part:
    # The section is its own mirror image in the plane of each bend. Between two levels that are not parallel the faces of
    # hexahedra are warped, and the library cuts them along diagonals; what one half of a pipe loses by that the
    # other half gains.
    section, faces = annulus(np.linspace(INNER, OUTER, ACROSS + 1), AROUND)
    lines = [rounded(corners) for corners in LINES]
    layers = sum(len(line) - 1 for line in lines)
    swept, volume, seconds = timed(lambda: sweep_all(section, faces, lines))

    area = polygon_area(OUTER, AROUND) - polygon_area(INNER, AROUND)
    expected = math.fsum(exact_volume(line, area) for line in lines)

    # The lines lie inside the pipes and belong to no element: their nodes are left out.
    used, numbers = np.unique(swept.solids, return_inverse=True)
    swept = swept._replace(points=swept.points[used], solids=numbers.reshape(swept.solids.shape))
    bores = [np.tile(INNER * (size[1:] + size[:-1]), len(faces)) for size in map(sizes_along, lines)]
    mesh = solids_of(swept, **{"bore, mm": np.concatenate(bores)})
    formula = "sum of A L (2 cos φ + q + q cos φ + 2 q²) / 6 over all segments"
    return Part("manifold", len(faces), layers, mesh, "bore, mm", (-35, 25), "mm", volume, expected, formula, seconds)


if __name__ == "__main__":
    run(make)
