"""Normals of surfaces as Python sees them."""

import numpy as np
import pytest

from meldra3d import NO_NODE, normals

# a roof of a quadrangle and a triangle that meet at the edge from node 1 to node 2
ROOF = np.array([[0.0, 0, 0], [2, 0, 1], [2, 3, 1], [0, 3, 0], [5, 1, -2]])
FACES = [[0, 1, 2, 3], [1, 4, 2, NO_NODE]]


def corner(x, i, before, after):
    """Unit normal of a corner times its angle."""
    a, b = x[after] - x[i], x[before] - x[i]
    cross = np.cross(a, b)
    return cross / np.linalg.norm(cross) * np.arctan2(np.linalg.norm(cross), a @ b)


def test_normals_are_the_corners_weighted_by_their_angles():
    expected = np.zeros((5, 3))
    for ring in ([0, 1, 2, 3], [1, 4, 2]):
        for k, node in enumerate(ring):
            expected[node] += corner(ROOF, node, ring[k - 1], ring[(k + 1) % len(ring)])
    np.testing.assert_allclose(normals(ROOF, FACES, unit=False), expected, rtol=1e-14, atol=1e-15)
    units = expected / np.linalg.norm(expected, axis=1)[:, None]
    np.testing.assert_allclose(normals(ROOF, FACES), units, rtol=1e-14, atol=1e-15)


def test_a_cut_of_a_plane_face_changes_nothing():
    cut = [[0, 1, 2], [0, 2, 3], [1, 4, 2]]
    np.testing.assert_allclose(normals(ROOF, cut), normals(ROOF, FACES), rtol=1e-14, atol=1e-15)


def test_nodes_without_faces_or_below_the_tolerance_have_no_normal():
    assert normals(ROOF, [[0, 1, 2]])[3:].tolist() == [[0, 0, 0], [0, 0, 0]]
    lengths = np.linalg.norm(normals(ROOF, FACES, unit=False), axis=1)
    kept = normals(ROOF, FACES, tolerance=np.median(lengths))
    assert ((kept != 0).any(axis=1) == (lengths > np.median(lengths))).all()


@pytest.mark.parametrize("surface", [[], np.empty((0, 4), dtype=int)])
def test_without_faces_all_normals_are_zero(surface):
    assert normals(ROOF, surface).tolist() == np.zeros((5, 3)).tolist()


def test_the_points_stay_as_they_are_and_the_result_has_memory_of_its_own():
    points = ROOF.copy()
    found = normals(points, FACES)
    assert (points == ROOF).all() and not np.shares_memory(points, found)
