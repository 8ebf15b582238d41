"""The sweeps as Python sees them."""

import numpy as np
import pytest

from meldra3d import (
    NO_NODE,
    ElementType,
    Sweep,
    ancestors,
    extrude_line,
    extrude_normal,
    extrude_rotate,
    extrude_spiral,
    extrude_translate,
    neighbors,
    normals,
    volume,
)
from meldra3d.measures import signed_volumes

SQUARE = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]]
MIXED_POINTS = SQUARE + [[2, 0.5, 0]]
MIXED = [[0, 1, 2, 3], [1, 4, 2, NO_NODE]]


def sheet(n=4, size=1.0):
    """A square of n x n quadrangles around the origin, facing +z."""
    x, y = np.meshgrid(*[np.linspace(-size / 2, size / 2, n + 1)] * 2)
    first = (np.arange(n)[:, None] * (n + 1) + np.arange(n)).ravel()
    faces = np.column_stack([first, first + 1, first + n + 2, first + n + 1])
    return np.column_stack([x.ravel(), y.ravel(), np.zeros(x.size)]), faces


def levels(swept, given, surface_nodes):
    """The nodes of a sweep level by level, the surface first; all nodes given are those of the surface."""
    return np.concatenate([given[surface_nodes][None], swept.points[len(given) :].reshape(-1, len(surface_nodes), 3)])


def turned(x, centre, vector, fraction):
    """Points turned about an axis: what is along it stays, what is across turns in its plane."""
    angle = np.linalg.norm(vector)
    axis = vector / angle
    along = np.outer((x - centre) @ axis, axis)
    across = x - centre - along
    return centre + along + np.cos(fraction * angle) * across + np.sin(fraction * angle) * np.cross(axis, across)


# ---- translation ----


def test_a_triangle_becomes_wedges_and_gets_a_cap_that_faces_back():
    swept = extrude_translate(SQUARE[:3], [[0, 1, 2]], (0, 0, 2), layers=1)
    assert isinstance(swept, Sweep)
    assert swept.solids.tolist() == [[0, 1, 2, 3, 4, 5]]
    assert swept.cap.tolist() == [[3, 5, 4]]
    assert swept.sides.shape == (0, 4)
    assert swept.points[3:].tolist() == [[0, 0, 2], [1, 0, 2], [1, 1, 2]]


def test_a_mixed_surface_becomes_wedges_and_hexahedra_with_unused_columns():
    swept = extrude_translate(MIXED_POINTS, MIXED, (0, 0, 1), layers=2)
    assert swept.solids.shape == (4, 8)
    assert (swept.solids[2:, 6:] == NO_NODE).all() and (swept.solids[:2] != NO_NODE).all()
    assert swept.cap.shape == (2, 4) and swept.cap[1, 3] == NO_NODE
    assert volume(swept.points, swept.solids) == pytest.approx(1.5, rel=1e-15)


def test_plane_points_get_z():
    swept = extrude_translate([row[:2] for row in SQUARE], [[0, 1, 2, 3]], (0, 0, 1), layers=1)
    assert swept.points.shape == (8, 3)
    assert swept.points[:, 2].tolist() == [0] * 4 + [1] * 4


def test_sizes_grade_the_layers_and_swapping_them_mirrors_the_levels():
    growing = extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 1), sizes=(0.1, 0.4)).points[::4, 2]
    falling = extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 1), sizes=(0.4, 0.1)).points[::4, 2]
    assert len(growing) == 6 and (np.diff(np.diff(growing)) > 0).all()
    np.testing.assert_allclose(1 - falling[::-1], growing, rtol=0, atol=1e-15)
    ratios = np.diff(growing)[1:] / np.diff(growing)[:-1]
    np.testing.assert_allclose(ratios, 4 ** (1 / 5), rtol=1e-12)


@pytest.mark.parametrize(
    "size,even,expected", [(1 / 0.3, True, 2), (1 / 2.7, True, 2), (1 / 2.9, True, 4), (0.25, False, 4)]
)
def test_even_layers_rounds_to_an_even_number(size, even, expected):
    swept = extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 1), sizes=(size, size), even_layers=even)
    assert len(swept.solids) == expected


def test_edges_become_side_quadrangles_and_given_elements_are_appended_to():
    first = extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 1), layers=1, edges=[[0, 1]])
    assert first.sides.tolist() == [[1, 0, 4, 5]]
    second = extrude_translate(
        first.points, first.cap[:, ::-1], (0, 0, 1), layers=2,
        solids=first.solids, sides=first.sides, cap=first.cap, edges=[[4, 5]],
    )  # fmt: skip
    np.testing.assert_array_equal(second.solids[:1], first.solids)
    np.testing.assert_array_equal(second.sides[:1], first.sides)
    np.testing.assert_array_equal(second.cap[:1], first.cap)
    assert [len(array) for array in second] == [16, 3, 3, 2]
    assert volume(second.points, second.solids) == pytest.approx(2, rel=1e-15)


def test_six_columns_of_given_solids_are_widened_for_a_mixed_surface():
    swept = extrude_translate(MIXED_POINTS, MIXED, (0, 0, 1), layers=1, solids=[[0, 1, 2, 0, 1, 2]])
    assert swept.solids[0].tolist() == [0, 1, 2, 0, 1, 2, NO_NODE, NO_NODE]


@pytest.mark.parametrize("surface", [[], np.empty((0, 3), dtype=np.uint32), np.empty((0, 4), dtype=int)])
def test_an_empty_surface_or_no_layers_make_nothing(surface):
    swept = extrude_translate(SQUARE, surface, (0, 0, 0), sizes=(-1, -1))
    assert swept.points.tolist() == SQUARE
    assert len(swept.solids) == len(swept.sides) == len(swept.cap) == 0
    assert extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 0), layers=0).points.tolist() == SQUARE


def test_layers_of_a_sweep_are_neighbours():
    swept = extrude_translate(MIXED_POINTS, MIXED, (0, 0, 1), layers=2)
    found = neighbors(swept.solids, ElementType.SOLID_MIX)
    assert found.shape == (4, 6)
    pairs = {(element, int(other)) for element, row in enumerate(found) for other in row if other != NO_NODE}
    assert pairs == {(0, 1), (1, 0), (2, 3), (3, 2), (0, 2), (2, 0), (1, 3), (3, 1)}


def test_ancestors_name_the_first_element_of_each_node():
    swept = extrude_translate(MIXED_POINTS, MIXED, (0, 0, 1), layers=1)
    assert ancestors(swept.solids).tolist() == [0, 0, 0, 0, 1, 0, 0, 0, 0, 1]
    assert ancestors([[5, 2]]).tolist() == [NO_NODE, NO_NODE, 0, NO_NODE, NO_NODE, 0]


# ---- rotation and spiral ----

CENTRE, TURN = np.array([0.3, -2.0, 0.5]), np.array([-1.2, 0.4, 0.5])


@pytest.mark.parametrize("shift", [(0, 0, 0), (0.5, -0.25, 2)])
@pytest.mark.parametrize("spacing", [{"layers": 5}, {"sizes": (0.1, 0.5)}, {"sizes": (0.5, 0.1), "even_layers": True}])
def test_levels_of_a_turn_are_the_surface_turned_and_moved(shift, spacing):
    points, faces = sheet(2)
    order = list(dict.fromkeys(faces.ravel()))
    if any(shift):
        swept = extrude_spiral(points, faces, CENTRE, TURN, shift, **spacing)
        length = np.linalg.norm(shift)
    else:
        swept = extrude_rotate(points, faces, CENTRE, TURN, **spacing)
        length = np.linalg.norm(TURN) * np.linalg.norm(points[0] - CENTRE)
    got = levels(swept, points, order)
    count = len(got) - 1
    fractions = np.arange(count + 1) / count
    if "sizes" in spacing:
        a, b = spacing["sizes"]
        exact = length * np.log(b / a) / (b - a)  # of layers, for sizes that grow steadily
        assert count % 2 == 0 if "even_layers" in spacing else abs(count - exact) < 1
        fractions = ((b / a) ** fractions - 1) / (b / a - 1)
    for level, t in zip(got, fractions):
        np.testing.assert_allclose(level, turned(points[order], CENTRE, TURN, t) + t * np.array(shift), atol=1e-14)


def test_a_ring_has_the_volume_of_its_chords_and_the_last_level_has_nodes_of_its_own():
    points, faces = sheet(4)
    n, radius = 12, 3.0
    swept = extrude_rotate(points, faces, (-radius, 0, 0), (0, -2 * np.pi, 0), layers=n)
    assert len(swept.points) == (n + 1) * len(points) and len(np.unique(swept.solids)) == len(swept.points)
    np.testing.assert_allclose(levels(swept, points, list(dict.fromkeys(faces.ravel())))[-1],
                               points[list(dict.fromkeys(faces.ravel()))], atol=1e-14)  # fmt: skip
    assert volume(swept.points, swept.solids) == pytest.approx(radius * n * np.sin(2 * np.pi / n), rel=1e-13)
    assert (signed_volumes(swept.points, ElementType.H8, swept.solids) > 0).all()


def test_the_way_of_the_first_node_from_the_axis_point_is_divided_by_the_sizes():
    for point, expected in [((-3, 0.0, 0), 3), ((-3, 4, 0), 5)]:  # the same axis, but 4 along it
        square = np.array(SQUARE, dtype=float)
        swept = extrude_rotate(square, [[0, 1, 2, 3]], point, (0, -1, 0), sizes=(1, 1))
        assert len(swept.solids) == expected


def test_a_spiral_without_shift_is_one_layer_and_one_without_turn_a_translation():
    assert len(extrude_spiral(SQUARE, [[0, 1, 2, 3]], CENTRE, TURN, (0, 0, 0), sizes=(0.01, 0.01)).solids) == 1
    straight = extrude_spiral(SQUARE, [[0, 1, 2, 3]], CENTRE, (0, 0, 0), (0, 0, 2), sizes=(0.5, 0.25))
    same = extrude_translate(SQUARE, [[0, 1, 2, 3]], (0, 0, 2), sizes=(0.5, 0.25))
    np.testing.assert_allclose(straight.points, same.points, rtol=1e-15)


@pytest.mark.parametrize("sweep,path", [(extrude_rotate, (CENTRE, TURN)), (extrude_spiral, (CENTRE, TURN, (0, 0, 1)))])
def test_the_other_sweeps_append_sides_and_cap_as_the_translation_does(sweep, path):
    given = {"solids": [[0, 1, 2, 0, 1, 2]], "sides": [[0, 1, 2, 3]], "cap": [[0, 1, 2, 3]], "edges": [[0, 1], [2, 3]]}
    swept = sweep(MIXED_POINTS, MIXED, *path, layers=3, **given)
    same = extrude_translate(MIXED_POINTS, MIXED, (0, 0, 1), layers=3, **given)
    for name in ("solids", "sides", "cap"):
        np.testing.assert_array_equal(getattr(swept, name), getattr(same, name))


@pytest.mark.parametrize("rotation", [(0, 0, np.nan), (np.inf, 0, 0)])
def test_a_rotation_that_is_not_finite_makes_no_layers_by_sizes(rotation):
    with pytest.raises(MemoryError):
        extrude_rotate(SQUARE, [[0, 1, 2, 3]], (-1, 0, 0), rotation, sizes=(1, 1))


# ---- normals ----


def bowl(n=6):
    """A sheet on the sphere of radius 5 about (0, 0, 5), facing its centre."""
    points, faces = sheet(n, 4.0)
    points[:, 2] = 5 - np.sqrt(25 - (points[:, :2] ** 2).sum(axis=1))
    return points, faces


@pytest.mark.parametrize(
    "spacing", [{"layers": 4}, {"sizes": (0.05, 0.3)}, {"sizes": (0.3, 0.05), "even_layers": True}]
)
def test_levels_of_a_thickened_surface_lie_along_its_normals(spacing):
    points, faces = bowl()
    order = list(dict.fromkeys(faces.ravel()))
    got = levels(extrude_normal(points, faces, 0.8, **spacing), points, order)
    count = len(got) - 1
    fractions = np.arange(count + 1) / count
    if "sizes" in spacing:
        a, b = spacing["sizes"]
        fractions = ((b / a) ** fractions - 1) / (b / a - 1)
    along = normals(points, faces)[order]
    for level, t in zip(got, fractions):
        np.testing.assert_allclose(level, points[order] + 0.8 * t * along, atol=1e-14)
    inside = np.linalg.norm(points[order] - (0, 0, 5), axis=1).max() - 5
    assert abs(inside) < 1e-14 and (np.linalg.norm(got[-1] - (0, 0, 5), axis=1) < 4.3).all()


def test_nodes_move_along_vectors_of_their_own():
    points, faces = bowl(3)
    shifts = np.random.default_rng(4).normal(size=points.shape) * 0.1 + [0, 0, 1]
    swept = extrude_normal(points, faces, node_shifts=shifts, layers=3)
    order = list(dict.fromkeys(faces.ravel()))
    for k, level in enumerate(levels(swept, points, order)):
        np.testing.assert_allclose(level, points[order] + k / 3 * shifts[order], rtol=1e-14)


def test_no_layers_of_vectors_make_the_cap_alone_and_no_layers_of_a_thickness_nothing():
    shifts = np.ones((5, 3))
    swept = extrude_normal(MIXED_POINTS, MIXED, node_shifts=shifts, layers=0)
    assert swept.cap.tolist() == [[0, 3, 2, 1], [1, 2, 4, NO_NODE]]
    assert (len(swept.points), len(swept.solids), len(swept.sides)) == (5, 0, 0)
    assert len(extrude_normal(MIXED_POINTS, MIXED, 1, layers=0).cap) == 0


def test_vectors_are_needed_of_the_nodes_of_the_surface_alone():
    swept = extrude_normal(MIXED_POINTS, [[0, 1, 2]], node_shifts=[[0, 0, 1]] * 3, layers=1)
    assert swept.points[5:].tolist() == [[0, 0, 1], [1, 0, 1], [1, 1, 1]]
    with pytest.raises(ValueError, match="^surface: .* both points and node_shifts"):
        extrude_normal(MIXED_POINTS, MIXED, node_shifts=[[0, 0, 1]] * 3, layers=1)


def test_a_fold_without_a_normal_stays_where_it_is():
    folded = extrude_normal([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2], [0, 2, 1]], 1, layers=1)
    assert folded.points[3:].tolist() == folded.points[:3].tolist()


# ---- lines ----

BENT = np.array([[0.0, 0, 0], [0, 0, 2], [1, 0, 3.5], [2, -1, 4], [4, -1, 4]])


def turned_into(x, before, after):
    """Vectors turned by the smallest rotation that takes one direction into another."""
    cross = np.cross(before, after)
    angle = np.arctan2(np.linalg.norm(cross), before @ after)
    return x if angle == 0 else turned(x, np.zeros(3), cross / np.linalg.norm(cross) * angle, 1.0)


def along_line(offsets, line, start, scales):
    """The section at each node of a line, as offsets from it."""
    sections = [offsets]
    directions = [np.array(start, dtype=float), *np.diff(line, axis=0)]
    for before, after, scale in zip(directions, directions[1:], scales):
        sections.append(scale(sections[-1]) * turned_into(sections[-1], before, after))
    return sections


def in_one(points, faces, line):
    """The nodes of a section and a line, and the numbers of those of the line."""
    return np.concatenate([points, line]), faces, np.arange(len(points), len(points) + len(line))


@pytest.mark.parametrize("start", [(0, 0, 1), (0.3, -0.2, 1)])
def test_a_section_moves_turns_and_grows_along_a_line(start):
    section, faces = sheet(2)
    points, faces, line = in_one(section, faces, BENT)
    sizes = np.array([2.0, 1, 1.5, 0.5, 1])
    swept = extrude_line(points, faces, line, start, sizes=sizes)
    order = list(dict.fromkeys(faces.ravel()))
    scales = [lambda _, q=q: q for q in sizes[1:] / sizes[:-1]]
    new = swept.points[len(points) :].reshape(len(line) - 1, len(order), 3)
    for got, offsets, centre in zip(new, along_line(section[order], BENT, start, scales)[1:], BENT[1:]):
        np.testing.assert_allclose(got, centre + offsets, atol=1e-14)
    np.testing.assert_array_equal(swept.points[: len(points)], points)


def test_metrics_scale_each_node_by_the_size_along_its_own_offset():
    section, faces = sheet(2)
    points, faces, line = in_one(section, faces, BENT)
    sizes = np.random.default_rng(2).uniform(0.5, 2, (5, 3))  # along x, y and z
    metrics = np.zeros((5, 6))
    metrics[:, [0, 2, 5]] = sizes**-2.0
    metrics[3, 2] = -1  # no metric: counts as size 1

    def size(k, offsets):
        if k in (0, 3):
            return np.ones((len(offsets), 1))
        with np.errstate(invalid="ignore"):
            unit = offsets / np.linalg.norm(offsets, axis=1)[:, None]
        return np.nan_to_num(((unit / sizes[k]) ** 2).sum(axis=1) ** -0.5, nan=1)[:, None]

    scales = [lambda offsets, k=k: size(k, offsets) / size(k - 1, offsets) for k in range(1, 5)]
    swept = extrude_line(points, faces, line, metrics=metrics)
    order = list(dict.fromkeys(faces.ravel()))
    new = swept.points[len(points) :].reshape(4, len(order), 3)
    for got, offsets, centre in zip(new, along_line(section[order], BENT, BENT[1], scales)[1:], BENT[1:]):
        np.testing.assert_allclose(got, centre + offsets, atol=1e-14)


def test_without_a_start_direction_metrics_and_sizes_a_straight_line_is_a_translation():
    points, faces, line = in_one(*sheet(2), np.array([[9.0, 9, 0], [9, 9, 1], [9, 9, 2]]))
    swept = extrude_line(points, faces, line)
    same = extrude_translate(points, faces, (0, 0, 2), layers=2)
    np.testing.assert_array_equal(swept.solids, same.solids)
    np.testing.assert_array_equal(swept.cap, same.cap)
    np.testing.assert_allclose(swept.points, same.points, atol=1e-14)


def test_the_nodes_of_a_line_that_starts_on_the_surface_take_the_place_of_copies():
    points, faces, line = in_one(*sheet(2), BENT[1:])
    middle = int(np.flatnonzero((points == 0).all(axis=1))[0])
    line = np.array([middle, *line])
    swept = extrude_line(points, faces, line, edges=[[middle, middle + 1]])
    apart = extrude_line(*in_one(*sheet(2), BENT), edges=[[middle, middle + 1]])
    assert len(swept.points) == len(points) + 4 * 8
    assert set(line) <= set(swept.solids.ravel()) and set(range(len(swept.points))) == set(swept.solids.ravel())
    for name in ("solids", "sides", "cap"):
        got, expected = (sweep.points[getattr(sweep, name)] for sweep in (swept, apart))
        np.testing.assert_allclose(got, expected, atol=1e-14)
    assert volume(swept.points, swept.solids) == pytest.approx(volume(apart.points, apart.solids), rel=1e-13)


@pytest.mark.parametrize("line", [[[0, 0, 0], [0, 0, 0], [0, 0, 1]], [[0, 0, 0], [0, 0, 1], [0, 0, 0.5]]])
def test_segments_of_length_0_and_reversals_turn_nothing(line):
    section, faces = sheet(1)
    points, faces, nodes = in_one(section, faces, np.array(line, dtype=float))
    swept = extrude_line(points, faces, nodes, (0, 0, 1))
    order = list(dict.fromkeys(faces.ravel()))
    for got, centre in zip(swept.points[len(points) :].reshape(-1, 4, 3), line[1:]):
        np.testing.assert_allclose(got, section[order] + centre, atol=1e-15)
