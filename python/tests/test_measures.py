"""Volumes, areas, angles and centres of single elements against the library and against other formulas."""

import itertools

import numpy as np
import pytest
from grids import bricks, mixed
from reference_elements import OURS, SHAPE_OF, USUAL, raw_element, six_volumes

from meldra3d import NO_NODE, circumcenters, dihedral_angles, flip, solid_angles, volume
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas, signed_volumes

SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
def test_the_volume_of_an_element_is_the_librarys(kind):
    x = raw_element(kind, "ours")
    cells = np.arange(len(x))[None, :]
    one = signed_volumes(x, kind, cells)
    assert one[0] == pytest.approx(six_volumes(kind, x) / 6, rel=1e-14)
    assert one.sum() == pytest.approx(volume(x, cells[:, : SHAPES[kind].vertices]), rel=1e-14)


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
def test_a_mirrored_element_has_the_negative_volume(kind):
    x = raw_element(kind, "ours")
    mirrored = x * [1, 1, -1]
    points, count = np.concatenate([x, mirrored]), len(x)
    first, second = signed_volumes(points, kind, np.arange(2 * count).reshape(2, count))
    assert first > 0 and second == pytest.approx(-first, rel=1e-14)


@pytest.mark.parametrize("kind", [k for k in OURS if SHAPE_OF[k] in ("triangle", "quadrangle")], ids=lambda k: k.name)
def test_the_area_of_a_plane_element_is_that_of_its_polygon(kind):
    x = raw_element(kind, "ours") * [1, 1, 0]
    corners = x[: SHAPES[kind].vertices]
    shoelace = 0.5 * np.cross(corners, np.roll(corners, -1, axis=0))[:, 2].sum()
    tilt = np.array([[1, 0, 0], [0, 0.6, -0.8], [0, 0.8, 0.6]])
    assert areas(x @ tilt.T, kind, np.arange(len(x))[None, :])[0] == pytest.approx(shoelace, rel=1e-14)


@pytest.mark.parametrize(
    "points,expected",
    [
        ([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]], -1 / 6),
        ([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0.5, 0.5, 1]], 1 / 3),
        ([[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1]], 1 / 2),
        ([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]], 1),
    ],
)
def test_plain_elements_have_the_volumes_of_the_school_book(points, expected):
    assert volume(points, [list(range(len(points)))]) == pytest.approx(expected, rel=1e-15)


def test_no_elements_have_no_volume():
    assert volume([[0.0, 0]], []) == 0.0


# ---- angles ----

LINEAR = (K.TH4, K.PY5, K.W6, K.H8)
ROOT = np.sqrt(0.5)
REGULAR = {  # the vertices of elements whose edges are all 1 long, in our order
    K.TH4: np.array([[ROOT, 0, 0], [0, ROOT, 0], [0, 0, ROOT], [ROOT, ROOT, ROOT]])[[0, 2, 1, 3]],
    K.PY5: np.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0.5, 0.5, ROOT]]),
    K.W6: np.array([[x, y, z] for z in (0, 1) for x, y in ((0, 0), (1, 0), (0.5, np.sqrt(0.75)))]),
    K.H8: np.array(USUAL["hexahedron"], dtype=float),
}


def one(points):
    return np.arange(len(points))[None, :]


def unit(vectors):
    return vectors / np.linalg.norm(vectors, axis=-1, keepdims=True)


def angle_of_cone(directions):
    """Solid angle of the convex cone around three or more directions: the excess of its spherical polygon's angles."""
    total = 0.0
    for before, at, after in zip(np.roll(directions, 1, axis=0), directions, np.roll(directions, -1, axis=0)):
        first, second = (unit(np.cross(at, other)) for other in (before, after))
        total += np.arccos(np.clip(first @ second, -1, 1))
    return total - (len(directions) - 2) * np.pi


def neighbours_around(kind, vertex):
    """The vertices joined to one, each beside the next in a face."""
    beside = {}
    for face in SHAPES[kind].faces:
        if vertex in face:
            place = face.index(vertex)
            beside[face[place - 1]] = face[(place + 1) % len(face)]
    ring = [next(iter(beside))]
    while len(ring) < len(beside):
        ring.append(beside[ring[-1]])
    return ring


def expected_solid_angles(kind, x):
    rings = [neighbours_around(kind, vertex) for vertex in range(len(x))]
    return np.array([angle_of_cone(unit(x[ring] - x[vertex])) for vertex, ring in enumerate(rings)])


def expected_dihedral_angles(kind, x):
    """At each edge the angle between its two faces, each as a direction across the edge that lies in the face."""
    angles = []
    for a, b in itertools.combinations(range(len(x)), 2):
        beside = []
        for face in SHAPES[kind].faces:
            if a in face and b in face and (face.index(a) - face.index(b)) % len(face) in (1, len(face) - 1):
                (other,) = {face[face.index(a) - 1], face[(face.index(a) + 1) % len(face)]} - {b}
                along = unit(x[b] - x[a])
                beside.append(unit((x[other] - x[a]) - ((x[other] - x[a]) @ along) * along))
        if beside:
            angles.append(np.arccos(beside[0] @ beside[1]))
    return np.array(angles)


def sheared(kind, seed):
    """An element with plane faces and no symmetry: a regular one stretched at random."""
    matrix = np.eye(3) + np.random.default_rng(seed).uniform(-0.25, 0.25, (3, 3))
    return REGULAR[kind] @ matrix.T


@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_angles_of_a_regular_element_are_1_as_parts_and_those_of_geometry_in_radians(kind):
    x = REGULAR[kind]
    assert signed_volumes(x, kind, one(x))[0] > 0
    for measure, expected in (
        (solid_angles, expected_solid_angles(kind, x)),
        (dihedral_angles, expected_dihedral_angles(kind, x)),
    ):
        np.testing.assert_allclose(measure(x, one(x), True), 1, rtol=1e-13)
        plain = measure(x, one(x))
        assert plain.least[0] == pytest.approx(expected.min(), rel=1e-14)
        assert plain.most[0] == pytest.approx(expected.max(), rel=1e-14)


@pytest.mark.parametrize("seed", range(5))
@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_solid_angles_are_the_excess_of_spherical_polygons(kind, seed):
    x = sheared(kind, seed)
    expected = expected_solid_angles(kind, x)
    least, most = solid_angles(x, one(x))
    assert least[0] == pytest.approx(expected.min(), abs=1e-12)
    assert most[0] == pytest.approx(expected.max(), abs=1e-12)


@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_solid_angles_of_mirrored_elements_are_negative(kind):
    x = sheared(kind, 9)
    least, most = solid_angles(x, one(x))
    mirrored = solid_angles(x * [1, -1, 1], one(x))
    np.testing.assert_allclose(mirrored, [-most, -least], rtol=1e-12)


@pytest.mark.parametrize("seed", range(5))
@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_dihedral_angles_are_those_between_directions_across_the_edges(kind, seed):
    x = sheared(kind, seed)
    expected = expected_dihedral_angles(kind, x)
    assert len(expected) == {K.TH4: 6, K.PY5: 8, K.W6: 9, K.H8: 12}[kind]
    least, most = dihedral_angles(x, one(x))
    assert least[0] == pytest.approx(expected.min(), abs=1e-12)
    assert most[0] == pytest.approx(expected.max(), abs=1e-12)


def test_solid_angles_around_a_node_fill_the_sphere():
    axes = np.concatenate([np.eye(3), -np.eye(3)]) * [1, 2, 3]
    points = np.concatenate([axes, [[0.0, 0, 0]]])
    cells = np.array([[x, y, z, 6] for x in (0, 3) for y in (1, 4) for z in (2, 5)], dtype=np.uint32)
    inverted = signed_volumes(points, K.TH4, cells) < 0
    cells[inverted] = flip(cells[inverted], K.TH4)
    most = solid_angles(points, cells).most  # at the middle, where the edges are at right angles
    assert most.sum() == pytest.approx(4 * np.pi, rel=1e-14)


def test_unused_columns_count_as_corners_of_angle_0_and_not_as_edges():
    points, hexahedra = bricks(2, 1, 1)
    cells = mixed(hexahedra)
    alone = solid_angles(points, cells[:2, :6])
    both = solid_angles(points, cells)
    assert (alone.least > 0.5).all()
    np.testing.assert_array_equal(both.least[:2], 0)
    np.testing.assert_array_equal(both.most[:2], alone.most)
    assert both.least[2] == pytest.approx(np.pi / 2)
    np.testing.assert_array_equal(
        dihedral_angles(points, cells).least[:2], dihedral_angles(points, cells[:2, :6]).least
    )


@pytest.mark.parametrize("measure", [solid_angles, dihedral_angles])
def test_no_elements_have_no_angles(measure):
    for cells in ([], np.empty((0, 4), dtype=np.uint32)):
        least, most = measure([[0.0, 0, 0]], cells)
        assert least.shape == most.shape == (0,)


@pytest.mark.parametrize("measure", [solid_angles, dihedral_angles])
def test_points_of_a_plane_lie_at_z_0(measure):
    square = np.array([[0.0, 0], [0, 1], [1, 0], [1, 1]])
    flat = np.column_stack([square, np.zeros(4)])
    np.testing.assert_array_equal(measure(square, [[0, 1, 2, 3]]), measure(flat, [[0, 1, 2, 3]]))


# ---- centres of spheres ----


def test_circumcenters_are_as_far_from_all_nodes_and_solve_the_equations_of_that():
    rng = np.random.default_rng(4)
    points = rng.uniform(size=(40, 3))
    cells = rng.permuted(np.tile(np.arange(40), (300, 1)), axis=1)[:, :4]
    cells = cells[np.abs(signed_volumes(points, K.TH4, cells)) > 1e-3]
    inverted = signed_volumes(points, K.TH4, cells) < 0
    cells[inverted] = flip(cells[inverted], K.TH4)
    corner, rest = points[cells[:, :1]], points[cells[:, 1:]]
    expected = corner[:, 0] + np.linalg.solve(2 * (rest - corner), ((rest - corner) ** 2).sum(axis=2))
    np.testing.assert_allclose(circumcenters(points, cells), expected, rtol=1e-9, atol=1e-9)


def test_inverted_and_flat_tetrahedra_get_the_centre_of_a_face_or_a_node():
    points = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [1, 1, 0], [2, 0, 0]]
    centers = circumcenters(points, [[0, 1, 2, 3], [0, 1, 2, 4], [3, 0, 1, 5]])
    np.testing.assert_allclose(centers, [[1 / 3] * 3, [0.5, 0.5, 0], [2, 0, 0]], atol=1e-15)


def test_no_tetrahedra_have_no_centres():
    for cells in ([], np.empty((0, 4), dtype=np.uint32)):
        assert circumcenters([[0.0, 0, 0]], cells).shape == (0, 3)
        assert circumcenters(np.empty((0, 3)), cells).shape == (0, 3)


def test_a_mesh_with_unused_columns_has_no_circumcenters():
    with pytest.raises(ValueError, match="^cells: are not tetrahedra"):
        circumcenters(REGULAR[K.TH4], [[0, 1, 2, 3] + 4 * [NO_NODE]])
