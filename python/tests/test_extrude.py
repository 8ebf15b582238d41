"""The translation sweep as Python sees it."""

import numpy as np
import pytest

from meldra3d import NO_NODE, ElementType, Sweep, ancestors, extrude_translate, neighbors, volume

SQUARE = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]]
MIXED_POINTS = SQUARE + [[2, 0.5, 0]]
MIXED = [[0, 1, 2, 3], [1, 4, 2, NO_NODE]]


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
