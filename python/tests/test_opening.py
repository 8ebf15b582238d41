"""Opening along a surface: against what the place of each element says about the side it lies on."""

import numpy as np
import pytest
from grids import bricks, mixed, tetrahedra

from meldra3d import NO_NODE, ancestors, duplicate_surface_nodes, neighbors, volume
from meldra3d.elements import SHAPES, split_mixed
from meldra3d.elements import ElementType as K

BLOCK, BRICKS = bricks(4, 4, 4)
MESHES = {K.H8: BRICKS, K.TH4: tetrahedra(BRICKS), K.SOLID_MIX: mixed(BRICKS)}


def faces_in(points, cells, kind, chosen):
    """The faces of the mesh that `chosen(centre, normal)` takes, each once, turning as its normal says."""
    found = {}
    for single, rows in [(kind, range(len(cells)))] if kind in SHAPES else split_mixed(kind, cells):
        for face in SHAPES[single].faces:
            for nodes in cells[rows][:, list(face)]:
                x = points[nodes]
                if chosen(x.mean(axis=0), np.cross(x[1] - x[0], x[2] - x[0])):
                    found[tuple(sorted(nodes))] = [*nodes] + [NO_NODE] * (4 - len(nodes))
    width = 3 if kind is K.TH4 else 4
    return np.array(list(found.values()), dtype=np.uint32)[:, :width]


def middle_plane(kind):
    return faces_in(BLOCK, MESHES[kind], kind, lambda centre, normal: abs(centre[2] - 2) < 1e-9 and normal[2] > 1e-9)


def centres(points, cells):
    used = (cells != NO_NODE)[..., None]
    return np.where(used, points[np.where(cells == NO_NODE, 0, cells)], 0).sum(axis=1) / used.sum(axis=1)


def renamed(cells, rows, pairs):
    """Cells with the copies of pairs in place of the nodes, in some rows."""
    name = np.arange(cells[cells != NO_NODE].max() + 1)
    name[pairs[:, 0]] = pairs[:, 1]
    changed = np.where(cells == NO_NODE, NO_NODE, name[np.where(cells == NO_NODE, 0, cells)])
    return np.where(rows[:, None], changed, cells)


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
@pytest.mark.parametrize("plus,minus", [(True, False), (False, True), (True, True)])
def test_a_cut_right_through_parts_the_elements_above_from_those_below(kind, plus, minus):
    cells, surface = MESHES[kind], middle_plane(kind)
    opened = duplicate_surface_nodes(BLOCK, cells, surface, kind, plus=plus, minus=minus)
    copied = len(opened.points) - len(BLOCK)
    assert copied == len(opened.pairs) == 25 * (plus + minus)
    np.testing.assert_array_equal(opened.points[: len(BLOCK)], BLOCK)
    np.testing.assert_array_equal(opened.points[opened.pairs[:, 1]], BLOCK[opened.pairs[:, 0]])
    above = centres(BLOCK, cells)[:, 2] > 2
    expected = cells
    if plus:
        expected = renamed(expected, above, opened.pairs[:25])
    if minus:
        expected = renamed(expected, ~above, opened.pairs[-25:])
    np.testing.assert_array_equal(opened.cells, expected)
    assert volume(opened.points, opened.cells) == pytest.approx(64, rel=1e-14)
    # the two halves can be pulled apart: none of their faces is shared
    across = neighbors(opened.cells, kind)
    inner = across != NO_NODE
    assert (above[np.where(inner, across, 0)] == above[:, None])[inner].all()


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
def test_a_surface_turned_over_exchanges_the_sides(kind):
    cells, surface = MESHES[kind], middle_plane(kind)
    over = surface[:, ::-1].copy()
    for row, old in zip(over, surface):
        if old[-1] == NO_NODE:
            row[:] = [old[2], old[1], old[0], NO_NODE]
    opened = duplicate_surface_nodes(BLOCK, cells, over, kind)
    expected = renamed(cells, centres(BLOCK, cells)[:, 2] < 2, opened.pairs)
    np.testing.assert_array_equal(opened.cells, expected)


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
def test_a_crack_whose_border_is_kept_opens_inside_alone(kind):
    cells, surface = MESHES[kind], middle_plane(kind)
    far = np.abs(BLOCK[:, :2] - 2).max(axis=1)
    inner = surface[(np.where(surface == NO_NODE, 0, far[np.where(surface == NO_NODE, 0, surface)]) <= 1).all(axis=1)]
    border = np.flatnonzero((far == 1) & (BLOCK[:, 2] == 2))
    opened = duplicate_surface_nodes(BLOCK, cells, inner, kind, excluded=[*border, 0, 10**9, NO_NODE, border[0]])
    ((old, new),) = opened.pairs.tolist()
    assert BLOCK[old].tolist() == [2, 2, 2] and new == len(BLOCK)
    above = centres(BLOCK, cells)[:, 2] > 2
    np.testing.assert_array_equal(opened.cells, renamed(cells, above, opened.pairs))


@pytest.mark.parametrize("minus", [False, True])
def test_pairs_follow_the_rows_of_the_surface(minus):
    surface = middle_plane(K.H8)
    pairs = duplicate_surface_nodes(BLOCK, BRICKS, surface, K.H8, plus=not minus, minus=minus).pairs
    met = list(dict.fromkeys(int(node) for row in surface for node in (row[[2, 1, 0, 3]] if minus else row)))
    assert pairs.tolist() == [[node, len(BLOCK) + k] for k, node in enumerate(met)]


def test_neighbours_and_ancestors_given_are_used_and_those_made_are_the_same():
    surface = middle_plane(K.TH4)
    cells = MESHES[K.TH4]
    made = duplicate_surface_nodes(BLOCK, cells, surface, K.TH4)
    across, holders = neighbors(cells, K.TH4), ancestors(cells)
    given = duplicate_surface_nodes(BLOCK, cells, surface, K.TH4, neighbors=across, ancestors=holders)
    np.testing.assert_array_equal(given.cells, made.cells)
    with pytest.raises(ValueError, match="^neighbors: must have a row for each element"):
        duplicate_surface_nodes(BLOCK, cells, surface, K.TH4, neighbors=across[:-1])
    with pytest.raises(ValueError, match="^ancestors: must have an entry for each node"):
        duplicate_surface_nodes(BLOCK, cells, surface, K.TH4, ancestors=holders[:-1])


@pytest.mark.parametrize("wrong", [NO_NODE, 0])
def test_an_opening_that_failed_silently_is_an_error(wrong):
    surface = middle_plane(K.H8)
    holders = ancestors(BRICKS)
    holders[surface[3, 1]] = wrong
    with pytest.raises(ValueError, match="^ancestors: the one of a node of the surface is not an element that holds"):
        duplicate_surface_nodes(BLOCK, BRICKS, surface, K.H8, ancestors=holders)
    kept = duplicate_surface_nodes(BLOCK, BRICKS, surface, K.H8, ancestors=holders, excluded=[surface[3, 1]])
    assert len(kept.pairs) == 24


def test_a_node_of_the_surface_in_no_solid_is_an_error():
    points = np.concatenate([BLOCK, [[9.0, 9, 9]]])
    with pytest.raises(ValueError, match="^ancestors: "):
        duplicate_surface_nodes(points, BRICKS, [[0, 1, 6, 125]], K.H8)


@pytest.mark.parametrize(
    "arguments",
    [
        {"cells": []},
        {"cells": np.empty((0, 8), dtype=np.uint32)},
        {"surface": []},
        {"plus": False},
        {"excluded": np.arange(len(BLOCK))},
    ],
)
def test_where_there_is_nothing_to_open_nothing_changes(arguments):
    given = {"points": BLOCK, "cells": BRICKS, "surface": middle_plane(K.H8), "kind": K.H8, **arguments}
    opened = duplicate_surface_nodes(**given)
    np.testing.assert_array_equal(opened.points, BLOCK)
    assert opened.cells.tolist() == np.asarray(given["cells"]).tolist() and opened.pairs.shape == (0, 2)
    opened.points[...] = opened.cells[...] = 7
    assert BLOCK.max() == 4 and BRICKS.max() == 124


def test_triangles_of_mixed_solids_need_no_fourth_column():
    points, hexahedra = bricks(2, 1, 2)
    cells = mixed(hexahedra)
    wedges = [row for row in cells if row[-1] == NO_NODE and points[row[0], 2] == 1]
    triangles = np.array([row[:3] for row in wedges])
    opened = duplicate_surface_nodes(points, cells, triangles, K.SOLID_MIX)
    padded = np.pad(triangles, ((0, 0), (0, 1)), constant_values=NO_NODE)
    np.testing.assert_array_equal(opened.cells, duplicate_surface_nodes(points, cells, padded, K.SOLID_MIX).cells)
    assert sorted(opened.pairs[:, 0]) == sorted(set(triangles.ravel()))


def test_inputs_keep_every_bit():
    surface = middle_plane(K.H8)
    given = [BLOCK.copy(), BRICKS.copy(), surface.copy(), neighbors(BRICKS, K.H8), ancestors(BRICKS)]
    before = [array.tobytes() for array in given]
    for array in given:
        array.flags.writeable = False
    points, cells, faces, across, holders = given
    opened = duplicate_surface_nodes(points, cells, faces, K.H8, neighbors=across, ancestors=holders, minus=True)
    for array in opened:
        array[...] = 7
    assert [array.tobytes() for array in given] == before
