#!/usr/bin/python3
"""Open a penny-shaped crack inside a block, pull its faces apart and fill the gap with cohesive elements.

    examples/crack.py [FOLDER]     writes crack.vtu and crack.png into FOLDER (by default out)

Run it with the package on the path, as scripts/demo.sh does.
"""

import math
import time

import numpy as np
from parts import Part, polygon_area, run

import meldra3d
from meldra3d import NO_NODE, ElementType, Mesh
from meldra3d.measures import signed_volumes
from meldra3d.opening import faces_in_plane, inner_border

RADIUS, OPENING = 10.0, 2.8  # mm: the crack, and how far its faces move at the middle, up and down
WIDTH, HEIGHT = 15.0, 11.5  # mm: half of the block
AROUND, INSIDE, OUTSIDE, LAYERS = 48, 8, 6, 22
NEARER = 2.0  # how much thinner layers are at the crack: z goes with sinh(NEARER z)


def section():
    """A square of rings of quadrangles about a fan of triangles; the rings are circles up to the crack's front."""
    angle = np.arange(AROUND) * 2 * math.pi / AROUND
    direction = np.column_stack([np.cos(angle), np.sin(angle)])
    edge = WIDTH / np.abs(direction).max(axis=1)
    outwards = np.linspace(0, 1, OUTSIDE + 1)[1:, None] ** 1.6
    radii = np.concatenate([np.tile(rings_of_crack()[1:, None], AROUND), RADIUS + outwards * (edge - RADIUS)])
    points = np.concatenate([np.zeros((1, 2)), (radii[..., None] * direction).reshape(-1, 2)])

    ring = 1 + np.arange(AROUND)
    ahead = np.roll(ring, -1)
    fan = np.column_stack([np.zeros(AROUND), ring, ahead, np.full(AROUND, NO_NODE)])
    rings = [np.column_stack([ring, ring + AROUND, ahead + AROUND, ahead]) + k * AROUND for k in range(len(radii) - 1)]
    return points, np.concatenate([fan, *rings]).astype(np.uint32)


def rings_of_crack():
    """Radii that become dense towards the front, where the gap closes steeply."""
    return RADIUS * np.sin(np.linspace(0, math.pi / 2, INSIDE + 1))


def block():
    """The section swept from bottom to top, in layers that are thinner towards the middle."""
    points, faces = section()
    points = np.column_stack([points, np.full(len(points), -1.0)])
    swept = meldra3d.extrude_translate(points, faces, (0, 0, 2), layers=LAYERS)
    z = swept.points[:, 2]
    z[np.abs(z) < 1e-9] = 0
    z[:] = HEIGHT * np.sinh(NEARER * z) / math.sinh(NEARER)
    return Mesh(swept.points, [(ElementType.SOLID_MIX, swept.solids)])


def movement(radius, z=0.0):
    """How far nodes move: at the crack as its faces do in an elastic body under tension, and less away from it."""
    away = np.abs(z) / HEIGHT
    reach = RADIUS * (1 + 0.5 * away)
    return OPENING * np.maximum(0, 1 - (radius / reach) ** 2) ** (0.5 + 1.5 * away) * (1 - away) ** 2


def pulled(points, copies):
    """Points above the crack moved up and those below moved down; those on the outside stay."""
    up = np.where(points[:, 2] > 0, 1, -1)
    up[copies] = 1
    way = movement(np.hypot(points[:, 0], points[:, 1]), points[:, 2])
    return points + np.outer(up * way, [0, 0, 1])


def cohesive(surface, pairs):
    """Elements between the faces: from each node below to its copy above.

    A triangle gives a wedge and a quadrangle a hexahedron, or at the front, where two nodes have no copies, a wedge
    that lies on its side.
    """
    above = np.arange(max(surface[surface != NO_NODE].max(), pairs.max()) + 1, dtype=np.uint32)
    above[pairs[:, 0]] = pairs[:, 1]
    wedges, hexahedra = [], []
    for row in surface:
        if row[3] == NO_NODE:
            wedges.append([*row[:3], *above[row[:3]]])
        elif (above[row] != row).all():
            hexahedra.append([*row, *above[row]])
        else:
            while above[row[0]] == row[0] or above[row[1]] == row[1]:
                row = np.roll(row, 1)
            a, b, c, d = row
            wedges.append([a, d, above[a], b, c, above[b]])
    return np.array(wedges, dtype=np.uint32), np.array(hexahedra, dtype=np.uint32)


def opening_volume():
    """Volume between the faces from their movement alone.

    A ring of the crack lies between two regular polygons, of radii a and b and areas c a² and c b². From one to the
    other the gap goes straight from u to v, so that its volume is the integral of 2 c r times the gap over r.
    """
    radii = rings_of_crack()
    gap = 2 * movement(radii)
    a, b, u, v = radii[:-1], radii[1:], gap[:-1], gap[1:]
    return polygon_area(1, AROUND) * math.fsum((b - a) * (u * (2 * a + b) + v * (a + 2 * b)) / 3)


def total_volume(points, blocks):
    return math.fsum(signed_volumes(points, kind, cells).sum() for kind, cells in blocks)


def half_of(mesh):
    """The solids behind the plane y = 0, for a view of both faces of the crack."""
    kept = [(kind, cells[mesh.points[cells][..., 1].mean(axis=1) > 0]) for kind, cells in mesh.blocks]
    used = np.unique(np.concatenate([cells.ravel() for _, cells in kept]))
    blocks = [(kind, np.searchsorted(used, cells)) for kind, cells in kept]
    return Mesh(mesh.points[used], blocks, {name: values[used] for name, values in mesh.point_data.items()})


def make() -> Part:
    whole = block()
    ((kind, cells),) = whole.blocks
    middle = faces_in_plane(whole, (0, 0, 1), (0, 0, 0))
    radius = np.append(np.hypot(whole.points[:, 0], whole.points[:, 1]), np.zeros(1))
    inside = radius[np.where(middle == NO_NODE, len(whole.points), middle)].max(axis=1) < RADIUS * (1 + 1e-9)
    surface = middle[inside]

    start = time.perf_counter()
    front = inner_border(whole, surface)
    opened = meldra3d.duplicate_surface_nodes(whole.points, cells, surface, kind, excluded=front)
    seconds = time.perf_counter() - start
    wedges, hexahedra = cohesive(surface, opened.pairs)
    between = [(ElementType.W6, wedges), (ElementType.H8, hexahedra)]
    points = pulled(opened.points, opened.pairs[:, 1])

    solids = Mesh(points, [(kind, opened.cells)], {"moved up, mm": points[:, 2] - opened.points[:, 2]}).split()
    count = sum(len(elements) for _, elements in solids.blocks)
    mesh = Mesh(points, solids.blocks + between, solids.point_data)
    mesh.cell_data["cohesive"] = [np.full(len(c), b >= len(solids.blocks)) for b, (_, c) in enumerate(mesh.blocks)]

    gap, size = opening_volume(), 8 * WIDTH**2 * HEIGHT
    checks = [
        ("copies", len(opened.pairs), 1 + (INSIDE - 1) * AROUND),
        ("nodes at the front", len(front), AROUND),
        ("cohesive wedges", len(wedges), 2 * AROUND),
        ("cohesive hexahedra", len(hexahedra), (INSIDE - 2) * AROUND),
        ("volume of the solids before they move", total_volume(opened.points, solids.blocks), size),
        ("volume of the solids after it", total_volume(points, solids.blocks), size - gap),
        ("solids", count, AROUND * (INSIDE + OUTSIDE) * LAYERS),
    ]
    formula = "sum of c (b - a) (u (2a + b) + v (a + 2b)) / 3 over the rings of the crack"
    volume = total_volume(points, between)
    return Part("crack", len(surface), LAYERS, mesh, "moved up, mm", (-74, 6), "mm", volume, gap, formula, seconds,
                checks, half_of(solids))  # fmt: skip


if __name__ == "__main__":
    run(make)
