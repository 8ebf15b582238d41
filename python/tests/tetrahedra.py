"""Meshes of tetrahedra, and searches in them that look at every element."""

import itertools

import numpy as np

from meldra3d.elements import NO_NODE


def grid(cells, jitter=0.0, seed=0, low=(0, 0, 0), high=(1, 1, 1)):
    """A box of `cells` boxes along each axis, each cut into six tetrahedra about a diagonal.

    Inner nodes are moved by up to `jitter` of the size of a box along each axis.
    """
    n = np.array(cells) + 1
    index = np.stack(np.meshgrid(*map(np.arange, n), indexing="ij"), axis=-1).reshape(-1, 3)
    moves = np.random.default_rng(seed).uniform(-jitter, jitter, index.shape)
    inner = ((index > 0) & (index < n - 1)).all(axis=1)
    unit = (index + moves * inner[:, None]) / (n - 1)
    points = low + unit * (np.array(high) - low)

    origins = index[(index < n - 1).all(axis=1)]
    tetrahedra = []
    for axes in itertools.permutations(range(3)):
        corners = [np.zeros(3, dtype=int)]
        for axis in axes:
            corners.append(corners[-1] + np.eye(3, dtype=int)[axis])
        tetrahedra.append([np.ravel_multi_index((origins + corner).T, n) for corner in corners])
    cells = np.ascontiguousarray(np.concatenate([np.array(t).T for t in tetrahedra]), dtype=np.uint32)
    x = points[cells]
    inverted = np.linalg.det(x[:, :3] - x[:, 3:]) < 0
    cells[inverted] = cells[inverted][:, [0, 2, 1, 3]]
    return points, cells


def weights_in_all(points, cells, query):
    """The barycentric weights of a point in each element, by one linear solve for each."""
    corners = np.concatenate([points[cells].transpose(0, 2, 1), np.ones((len(cells), 1, 4))], axis=1)
    return np.linalg.solve(corners, np.append(query, 1.0)[None, :, None])[:, :, 0]


def holding(points, cells, query, tolerance=1e-6):
    """The elements that hold a point."""
    return np.flatnonzero((weights_in_all(points, cells, query) >= -tolerance).all(axis=1))


def nearest(points, cells, query):
    """The node nearest to a point, the lowest of equals; nodes of no element do not count."""
    used = np.unique(cells)
    away = ((points[used] - query) ** 2).sum(axis=1)
    return used[away.argmin()] if len(used) else NO_NODE
