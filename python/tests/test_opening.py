"""Opening along a surface: against what the place of each element says about the side it lies on."""

import numpy as np
import pytest
from grids import bricks, mixed, tetrahedra

from meldra3d import NO_NODE, Mesh, ancestors, duplicate_surface_nodes, flip, neighbors, volume
from meldra3d.elements import SHAPES, split_mixed
from meldra3d.elements import ElementType as K
from meldra3d.opening import faces_at, faces_in_plane, inner_border, open_mesh

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


# ---- whole meshes ----


def solids(kind):
    return Mesh(BLOCK, [(kind, MESHES[kind])])


def as_sets(faces):
    return sorted(tuple(sorted(int(node) for node in row if node != NO_NODE)) for row in faces)


def vector_areas(points, faces):
    return np.array(
        [np.cross(points[row[1]] - points[row[0]], points[row[2]] - points[row[0]]) for row in faces.astype(int)]
    )


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
@pytest.mark.parametrize("up", [1, -2])
def test_faces_in_a_plane_are_all_between_its_elements_and_turn_with_its_normal(kind, up):
    found = faces_in_plane(solids(kind), (0, 0, up), (7, -3, 2))
    assert as_sets(found) == as_sets(middle_plane(kind))
    assert (vector_areas(BLOCK, found)[:, 2] * up > 0).all()


def test_faces_in_a_tilted_plane_are_found_at_any_size():
    turn = np.linalg.qr(np.random.default_rng(2).normal(size=(3, 3)))[0]
    for scale in (1e-6, 1e6):
        mesh = Mesh(scale * (BLOCK @ turn.T) + 3 * scale, solids(K.TH4).blocks)
        found = faces_in_plane(mesh, turn @ [0, 0, 1], scale * (turn @ [0, 0, 2]) + 3 * scale)
        assert as_sets(found) == as_sets(middle_plane(K.TH4))


def test_planes_without_inner_faces_give_none():
    for normal, point in (((0, 0, 1), (0, 0, 0)), ((0, 0, 1), (0, 0, 2.001)), ((1, 1, 1), (2, 2, 2))):
        assert faces_in_plane(solids(K.H8), normal, point).shape == (0, 4)


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
def test_faces_of_another_mesh_are_found_by_their_places_and_keep_their_sense(kind):
    surface = middle_plane(kind)[::2]
    rng = np.random.default_rng(5)
    order = rng.permutation(len(BLOCK))
    number = np.argsort(order)
    points = BLOCK[order] + rng.uniform(-1e-8, 1e-8, BLOCK.shape)
    given = np.where(surface == NO_NODE, NO_NODE, number[np.where(surface == NO_NODE, 0, surface)]).astype(np.uint32)
    given[1::2, :3] = given[1::2, 2::-1]
    found, missing = faces_at(solids(kind), points, given)
    assert missing == 0 and as_sets(found) == as_sets(surface)

    def ways(points, faces):
        """By the centre of each face, whether it turns counter-clockwise seen from above."""
        middles = [np.round(points[[n for n in row if n != NO_NODE]].mean(axis=0), 6) for row in faces.astype(int)]
        return {tuple(middle): area[2] > 0 for middle, area in zip(middles, vector_areas(points, faces))}

    assert ways(BLOCK, found) == ways(points, given)
    assert len(set(ways(points, given).values())) == 2


def test_faces_that_are_not_there_are_counted():
    surface = middle_plane(K.H8)
    lifted = BLOCK + [0, 0, 1e-3]
    assert faces_at(solids(K.H8), lifted, surface)[1] == len(surface)
    outside = BRICKS[:3, :4]  # of the boundary
    found, missing = faces_at(solids(K.H8), BLOCK, np.concatenate([outside, surface[:5], surface[:2]]))
    assert missing == 3 and as_sets(found) == as_sets(surface[:5])
    triangles = middle_plane(K.TH4)  # halves of the faces of hexahedra
    assert faces_at(solids(K.H8), BLOCK, triangles)[1] == len(triangles)
    found, missing = faces_at(solids(K.H8), BLOCK, np.empty((0, 3), dtype=np.uint32))
    assert found.shape == (0, 4) and missing == 0


def test_a_face_of_an_opened_mesh_is_found_among_the_copies_of_its_nodes():
    first, _ = open_mesh(solids(K.H8), middle_plane(K.H8))
    upright = faces_in_plane(solids(K.H8), (1, 0, 0), (2, 0, 0))
    found, missing = faces_at(first, BLOCK, upright)
    assert missing == 0 and len(found) == 16
    second, pairs = open_mesh(first, found)
    assert len(pairs) == 25 + 5  # those at the first opening on both of its sides
    counts = np.unique(second.blocks[0][1], return_counts=True)[1]
    assert len(counts) == len(second.points) and counts.max() == 8
    right, above = centres(BLOCK, BRICKS)[:, 0] > 2, centres(BLOCK, BRICKS)[:, 2] > 2
    part = 2 * right + above
    owners = [set(part[(second.blocks[0][1] == node).any(axis=1)]) for node in range(len(second.points))]
    assert all(len(owner) == 1 for owner in owners)


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
def test_the_border_of_a_surface_inside_is_that_of_the_surface_but_for_edges_outside(kind):
    surface = faces_in_plane(solids(kind), (0, 0, 1), (0, 0, 2))
    assert inner_border(solids(kind), surface).tolist() == []
    x = np.where(surface == NO_NODE, 0, BLOCK[np.where(surface == NO_NODE, 0, surface), 0])
    half = surface[(x <= 2).all(axis=1)]
    front = np.flatnonzero((BLOCK[:, 0] == 2) & (BLOCK[:, 2] == 2))
    assert inner_border(solids(kind), half).tolist() == front.tolist()


@pytest.mark.parametrize("kind", MESHES, ids=lambda kind: kind.name)
@pytest.mark.parametrize("both", [False, True])
def test_a_crack_from_the_outside_opens_up_to_its_front(kind, both):
    surface = faces_in_plane(solids(kind), (0, 0, 1), (0, 0, 2))
    x = np.where(surface == NO_NODE, 0, BLOCK[np.where(surface == NO_NODE, 0, surface), 0])
    opened, pairs = open_mesh(solids(kind), surface[(x <= 2).all(axis=1)], both=both, keep_border=True)
    assert len(pairs) == 10 * (1 + both)
    assert (BLOCK[pairs[:, 0], 0] < 2).all()
    centre = centres(BLOCK, MESHES[kind])
    expected = renamed(MESHES[kind], centre[:, 2] > 2, pairs[:10])
    if both:
        expected = renamed(expected, centre[:, 2] < 2, pairs[10:])
    cells = np.concatenate([np.pad(c, ((0, 0), (0, expected.shape[1] - c.shape[1])), constant_values=NO_NODE)
                            for _, c in opened.blocks])  # fmt: skip
    order = [row for single in ([kind] if kind in SHAPES else [K.W6, K.H8]) for row in
             (range(len(expected)) if kind in SHAPES else dict(split_mixed(kind, expected))[single])]  # fmt: skip
    np.testing.assert_array_equal(cells, expected[order])


def test_values_edges_and_faces_go_with_the_solids_that_they_bound():
    outside = np.array(
        [
            [0, 5, 30, 25], [25, 30, 55, 50], [50, 55, 80, 75],  # up the side x = 0, the plane z = 2 after the second
            [50, 51, 56, 55],  # in the surface
        ]
    )  # fmt: skip
    edges = np.array([[25, 50], [50, 75], [51, 76], [56, 31], [50, 51], [50, 55]])
    mesh = Mesh(
        BLOCK,
        [(K.EDGE2, edges), (K.H8, BRICKS[:40]), (K.Q4, outside), (K.H8, BRICKS[40:]), (K.NODE, [[50]])],
        point_data={"x": BLOCK[:, 0]},
        cell_data={"n": [range(6), range(40), range(4), range(24), [0]]},
    )
    opened, pairs = open_mesh(mesh, middle_plane(K.H8))
    copy = dict(pairs.tolist())
    named = [[[copy.get(n, n) if up else n for n in row] for row, up in zip(rows.tolist(), above)]
             for rows, above in ((outside, [0, 0, 1, 0]), (edges, [0, 1, 1, 0, 0, 0]))]  # fmt: skip
    assert opened.blocks[2][1].tolist() == named[0]
    assert opened.blocks[0][1].tolist() == named[1]
    assert opened.blocks[4][1].tolist() == [[50]]
    assert [kind for kind, _ in opened.blocks] == [kind for kind, _ in mesh.blocks]
    np.testing.assert_array_equal(opened.point_data["x"], opened.points[:, 0])
    assert [values.tolist() for values in opened.cell_data["n"]] == [list(v) for v in mesh.cell_data["n"]]


@pytest.mark.parametrize(
    "blocks,message",
    [([(K.Q4, BRICKS[:, :4])], "^has no solids to open$"), ([(K.TH10, [range(10)])], "^holds 10-node tetrahedra, but")],
)
def test_only_linear_solids_are_opened(blocks, message):
    with pytest.raises(ValueError, match=message):
        open_mesh(Mesh(BLOCK, blocks), middle_plane(K.H8))
    with pytest.raises(ValueError, match=message):
        faces_in_plane(Mesh(BLOCK, blocks), (0, 0, 1), (0, 0, 0))


def test_among_inverted_solids_the_sides_are_exchanged():
    cells = flip(BRICKS, K.H8)
    mesh = Mesh(BLOCK, [(K.H8, cells)])
    opened, pairs = open_mesh(mesh, faces_in_plane(mesh, (0, 0, 1), (0, 0, 2)))
    np.testing.assert_array_equal(opened.blocks[0][1], renamed(cells, centres(BLOCK, cells)[:, 2] < 2, pairs))


def test_three_sheets_that_meet_in_a_line_part_three_pieces():
    mesh = solids(K.H8)
    flat = faces_in_plane(mesh, (0, 0, 1), (0, 0, 2))
    upright = faces_in_plane(mesh, (1, 0, 0), (2, 0, 0))
    upright = upright[BLOCK[upright].mean(axis=1)[:, 2] > 2]
    opened, _ = open_mesh(mesh, flat)
    found, missing = faces_at(opened, BLOCK, upright)
    assert missing == 0 and len(found) == 8
    opened, pairs = open_mesh(opened, found, keep_border=True)
    assert len(pairs) == 15  # the line at the first sheet included, which is no border inside
    piece = np.where(centres(BLOCK, BRICKS)[:, 2] < 2, 0, 1 + (centres(BLOCK, BRICKS)[:, 0] > 2))
    nodes = [np.unique(opened.blocks[0][1][piece == number]) for number in range(3)]
    assert sum(map(len, nodes)) == len(np.unique(np.concatenate(nodes))) == len(opened.points)
