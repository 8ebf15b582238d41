"""Blocks of solids to cut and open: bricks, and the same block as tetrahedra or with wedges."""

import itertools

import numpy as np

from meldra3d.elements import NO_NODE


def bricks(nx, ny, nz):
    """Points and hexahedra of a block of unit cubes with a corner at the origin."""
    z, y, x = np.meshgrid(np.arange(nz + 1), np.arange(ny + 1), np.arange(nx + 1), indexing="ij")
    points = np.column_stack([x.ravel(), y.ravel(), z.ravel()]).astype(float)

    def node(i, j, k):
        return (k * (ny + 1) + j) * (nx + 1) + i

    k, j, i = (a.ravel() for a in np.meshgrid(np.arange(nz), np.arange(ny), np.arange(nx), indexing="ij"))
    base = [node(i, j, k), node(i + 1, j, k), node(i + 1, j + 1, k), node(i, j + 1, k)]
    above = (nx + 1) * (ny + 1)
    return points, np.column_stack(base + [nodes + above for nodes in base]).astype(np.uint32)


def tetrahedra(hexahedra):
    """Six direct tetrahedra of each brick, around its diagonal; their triangles fit together from brick to brick."""
    corner = {
        (0, 0, 0): 0,
        (1, 0, 0): 1,
        (1, 1, 0): 2,
        (0, 1, 0): 3,
        (0, 0, 1): 4,
        (1, 0, 1): 5,
        (1, 1, 1): 6,
        (0, 1, 1): 7,
    }
    pieces = []
    for order in itertools.permutations(range(3)):
        place, path = [0, 0, 0], [0]
        for axis in order:
            place[axis] = 1
            path.append(corner[tuple(place)])
        even = order in ((0, 1, 2), (1, 2, 0), (2, 0, 1))
        pieces.append([path[0], path[2], path[1], path[3]] if even else path)
    return hexahedra[:, pieces].reshape(-1, 4)


def mixed(hexahedra):
    """The same block with every other brick cut into two wedges by an upright diagonal.

    The solids fit together where a layer has an even number of bricks, so that those above each other are cut alike.
    """
    rows = []
    for e, brick in enumerate(hexahedra):
        if e % 2:
            rows.append(list(brick))
        else:
            rows += [[*brick[[0, 1, 2, 4, 5, 6]], NO_NODE, NO_NODE], [*brick[[0, 2, 3, 4, 6, 7]], NO_NODE, NO_NODE]]
    return np.array(rows, dtype=np.uint32)
