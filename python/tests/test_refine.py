"""Whole meshes in another order or cut into hexahedra: what bounds the solids and what is known on nodes goes along."""

import numpy as np
import pytest
from reference_elements import OURS, raw_element

from meldra3d import NO_NODE, Mesh, neighbors, volume
from meldra3d.convert import NodeCounts
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.measures import areas
from meldra3d.refine import QUADRATIC, cut_into_hexahedra, lower_order, raise_order, raised_kind

SERENDIPITY = NodeCounts(1, 0, 0, 0, 0, 0, 0)
RAISED = {
    "quadratic": (QUADRATIC, {K.EDGE2: K.EDGE3, K.T3: K.T6, K.Q4: K.Q9, K.TH4: K.TH10, K.PY5: K.PY14, K.W6: K.W18,
                              K.H8: K.H27, K.NODE: K.NODE}),
    "serendipity": (SERENDIPITY, {K.EDGE2: K.EDGE3, K.T3: K.T6, K.Q4: K.Q8, K.TH4: K.TH10, K.PY5: K.PY13,
                                  K.W6: K.W15, K.H8: K.H20, K.NODE: K.NODE}),
}  # fmt: skip

# A hexahedron with a pyramid upon it, a wedge at its side, and a tetrahedron on a triangle of the wedge.
POINTS = np.array(
    [[0, 0, 0], [1.1, 0, 0], [1, 1.2, 0], [0, 1, 0.1], [0, 0, 1], [1, 0.1, 1], [1, 1, 1.1], [0.1, 1, 1]]
    + [[0.5, 0.4, 2], [1.7, 0.3, 0.1], [1.8, 0.2, 1], [1.4, 0.5, -1]]
)  # fmt: skip
SOLIDS = [
    (K.TH4, [[1, 2, 9, 11]]),
    (K.H8, [range(8)]),
    (K.PY5, [[4, 5, 6, 7, 8]]),
    (K.W6, [[1, 9, 2, 5, 10, 6]]),
]
BOUNDARY = [(K.NODE, [[0]]), (K.EDGE2, [[0, 4], [9, 1]]), (K.T3, [[8, 4, 5], [9, 2, 11]]), (K.Q4, [[5, 1, 0, 4]])]
MESH = Mesh(
    POINTS,
    [*BOUNDARY[:2], *SOLIDS[:2], BOUNDARY[2], *SOLIDS[2:], BOUNDARY[3]],
    {"x": POINTS[:, 0], "xyz": POINTS.astype(np.float32), "grid": np.stack([POINTS] * 3, axis=1), "id": np.arange(12)},
    {"part": [[1], [2, 3], [4], [5], [6, 7], [8], [9], [10]]},
)


def assert_same_mesh(a, b):
    np.testing.assert_array_equal(a.points, b.points)
    assert [kind for kind, _ in a.blocks] == [kind for kind, _ in b.blocks]
    for (_, cells), (_, others) in zip(a.blocks, b.blocks):
        np.testing.assert_array_equal(cells, others)
    for name in {*a.point_data, *b.point_data}:
        np.testing.assert_array_equal(a.point_data[name], b.point_data[name])
        assert a.point_data[name].dtype == b.point_data[name].dtype
    for name in {*a.cell_data, *b.cell_data}:
        for values, others in zip(a.cell_data[name], b.cell_data[name]):
            np.testing.assert_array_equal(values, others)


def assert_values_are_those_of_the_points(mesh):
    np.testing.assert_allclose(mesh.point_data["x"], mesh.points[:, 0], atol=1e-14)
    np.testing.assert_allclose(mesh.point_data["xyz"], mesh.points, atol=1e-6)
    np.testing.assert_allclose(mesh.point_data["grid"], np.stack([mesh.points] * 3, axis=1), atol=1e-14)
    assert mesh.point_data["xyz"].dtype == np.float32
    assert mesh.point_data["id"].tolist() == [*range(12), *[0] * (len(mesh.points) - 12)]


@pytest.mark.parametrize("name", RAISED)
def test_every_element_of_a_mixed_mesh_is_raised_with_the_nodes_of_its_neighbours(name):
    counts, kinds = RAISED[name]
    raised = raise_order(MESH, counts)
    np.testing.assert_array_equal(raised.points[:12], POINTS)
    assert len(np.unique(raised.points.round(12), axis=0)) == len(raised.points), "a node was made twice"
    assert [kind for kind, _ in raised.blocks] == [kinds[kind] for kind, _ in MESH.blocks]
    for (kind, cells), (linear, before) in zip(raised.blocks, MESH.blocks):
        np.testing.assert_array_equal(cells[:, : SHAPES[linear].nodes], before)
        for x in raised.points[cells]:
            for node, amid in enumerate(OURS[kind]):
                np.testing.assert_allclose(x[node], x[list(amid)].mean(axis=0), atol=1e-12)
    assert_values_are_those_of_the_points(raised)
    assert [values.tolist() for values in raised.cell_data["part"]] == [v.tolist() for v in MESH.cell_data["part"]]


@pytest.mark.parametrize("name", RAISED)
def test_lowered_again_it_is_what_it_was(name):
    assert_same_mesh(lower_order(raise_order(MESH, RAISED[name][0])), MESH)


@pytest.mark.parametrize("kind", OURS, ids=lambda kind: kind.name)
def test_every_kind_is_lowered_to_its_vertices(kind):
    x = raw_element(kind, "ours")
    points = np.concatenate([[[9, 9, 9]], x])
    mesh = Mesh(points, [(kind, [np.arange(1, len(points))])], {"x": points[:, 0]}, {"part": [[5]]})
    lowered = lower_order(mesh)
    vertices = SHAPES[kind].vertices
    np.testing.assert_array_equal(lowered.points, points[: 1 + vertices])  # node 0 was in no element before
    np.testing.assert_array_equal(lowered.blocks[0][1], [np.arange(1, 1 + vertices)])
    assert lowered.point_data["x"].tolist() == points[: 1 + vertices, 0].tolist()
    assert lowered.cell_data["part"][0].tolist() == [5]


def test_nodes_that_other_elements_need_stay():
    x = raw_element(K.TH10, "ours")
    mesh = Mesh(x, [(K.TH10, [range(10)]), (K.NODE, [[5]]), (K.EDGE2, [[9, 0]])])
    lowered = lower_order(mesh)
    np.testing.assert_array_equal(lowered.points, x[[0, 1, 2, 3, 5, 9]])
    assert [cells.tolist() for _, cells in lowered.blocks] == [[[0, 1, 2, 3]], [[4]], [[5, 0]]]


def test_solids_in_several_blocks_share_their_nodes():
    x = np.concatenate([raw_element(K.H8, "ours"), raw_element(K.H8, "ours")[4:] + [0, 0, 1]])
    apart = raise_order(Mesh(x, [(K.H8, [range(8)]), (K.H8, [range(4, 12)])]), QUADRATIC)
    together = raise_order(Mesh(x, [(K.H8, [range(8), range(4, 12)])]), QUADRATIC)
    np.testing.assert_array_equal(apart.points, together.points)
    np.testing.assert_array_equal(np.concatenate([cells for _, cells in apart.blocks]), together.blocks[0][1])


def test_faces_and_edges_apart_from_solids_get_nodes_of_their_own_once():
    corners = np.array([[5.0, 0, 0], [6, 0, 0], [6, 2, 0], [5, 2, 0], [7, 1, 0]])
    points = np.concatenate([raw_element(K.TH4, "ours"), corners])
    blocks = [(K.TH4, [range(4)]), (K.Q4, [[4, 5, 6, 7]]), (K.T3, [[6, 5, 8]]), (K.EDGE2, [[5, 6], [6, 5]])]
    raised = raise_order(Mesh(points, blocks, {"x": points[:, 0]}), QUADRATIC)
    _, quadrangle, triangle, edges = (cells for _, cells in raised.blocks)
    assert len(raised.points) == 9 + 6 + 5 + 2
    assert triangle[0, 5] == quadrangle[0, 5] == edges[0, 2] == edges[1, 2]
    np.testing.assert_allclose(raised.points[quadrangle[0, 8]], [5.5, 1, 0])
    np.testing.assert_allclose(raised.points[triangle[0, 3]], [6.5, 0.5, 0])
    np.testing.assert_allclose(raised.point_data["x"], raised.points[:, 0])


def test_linear_faces_share_the_nodes_of_quadratic_ones_apart_from_solids():
    points = np.concatenate([raw_element(K.TH4, "ours"), raw_element(K.T6, "ours") + [5, 0, 0], [[6.0, 6, 0]]])
    blocks = [(K.T3, [[6, 5, 10]]), (K.T6, [range(4, 10)]), (K.TH4, [range(4)])]
    raised = raise_order(Mesh(points, blocks), QUADRATIC)
    assert raised.blocks[0][1][0].tolist()[5] == 7  # amid 5 and 6, the vertices 1 and 2 of the other triangle
    assert len(raised.points) == len(points) + 6 + 2


@pytest.mark.parametrize("wide", [False, True])
def test_quadratic_faces_and_edges_lend_their_nodes_to_the_solids(wide):
    x = raw_element(K.TH4, "ours")
    curved = [x[0] + 0.1, x[1] + 0.2, x[2] + 0.3, x[3] + 0.4]
    points = np.concatenate([x, curved, raw_element(K.H8, "ours") + [5, 0, 0], np.full((5, 3), 0.5)])
    blocks = [(K.T6, [[0, 1, 2, 4, 5, 6]]), (K.EDGE3, [[3, 0, 7]]), (K.TH4, [range(4)])]
    if wide:
        blocks += [(K.H8, [range(8, 16)]), (K.Q9, [[8, 9, 10, 11, 16, 17, 18, 19, 20]])]
    raised = raise_order(Mesh(points, blocks, {"x": points[:, 0]}), QUADRATIC)
    assert raised.blocks[2][1][0, 4:8].tolist() == [4, 5, 6, 7]
    np.testing.assert_array_equal(raised.points[: len(points)], points)
    for (kind, cells), (_, before) in list(zip(raised.blocks, blocks))[:2]:
        np.testing.assert_array_equal(cells, before)
    np.testing.assert_allclose(raised.point_data["x"], raised.points[:, 0], atol=1e-12)
    if wide:
        assert raised.blocks[3][1][0, [8, 9, 10, 11, 24]].tolist() == [16, 17, 18, 19, 20]


@pytest.mark.parametrize(
    "mesh,counts,message",
    [
        (Mesh(POINTS, [(K.T3, [[0, 1, 2]])]), QUADRATIC, "^has no solids$"),
        (Mesh(raw_element(K.H20, "ours"), [(K.H20, [range(20)])]), QUADRATIC,
         "^holds 20-node hexahedra, but the solids must be linear$"),
        (MESH, NodeCounts.of_complete_elements(2),
         "^would hold edges of 4 nodes, triangles of 10 nodes, quadrangles of 16 nodes, tetrahedra of 20 nodes,"
         " pyramids of 30 nodes, wedges of 40 nodes, hexahedra of 64 nodes, which cannot be written"),
        (Mesh(POINTS, [(K.TH4, [[0, 1, 2, 4]])]), QUADRATIC._replace(triangle=1), "tetrahedra of 14 nodes, which cannot"),
        (Mesh(POINTS, [(K.TH4, [[0, 1, 2, 4]])]), QUADRATIC._replace(quadrangle=2), "^quadrangle_nodes: must be a sq"),
    ],
)  # fmt: skip
def test_what_cannot_be_raised_is_refused(mesh, counts, message):
    with pytest.raises(ValueError, match=message):
        raise_order(mesh, counts)


def test_kinds_by_counts():
    assert raised_kind(K.TH4, NodeCounts(0, 0, 0, 0, 0, 0, 0)) is K.TH4
    assert raised_kind(K.T3, NodeCounts(0, 0, 3, 0, 0, 0, 0)) is K.NONE  # as many nodes as T6, but elsewhere
    assert raised_kind(K.H8, NodeCounts(1, 1, 0, 0, 0, 0, 0)) is K.NONE


# ---- hexahedra ----


def solid_volume(mesh):
    return sum(volume(mesh.points, cells) for kind, cells in mesh.blocks if SHAPES[kind].dimension == 3)


CUTS = {
    "tetrahedra": Mesh(
        np.concatenate([raw_element(K.TH4, "ours"), [[0.9, 0.9, 0.9]]]),
        [(K.EDGE2, [[2, 0]]), (K.TH4, [range(4)]), (K.T3, [[1, 2, 0], [0, 3, 4]]), (K.TH4, [[1, 3, 2, 4]])],
    ),
    "wedges and hexahedra": Mesh(
        POINTS,
        [(K.W6, [[1, 9, 2, 5, 10, 6]]), (K.T3, [[1, 2, 9]]), (K.Q4, [[0, 1, 2, 3], [1, 5, 6, 2]]), (K.H8, [range(8)]),
         (K.EDGE2, [[6, 2], [10, 9]])],
    ),
}  # fmt: skip
PIECES = {K.EDGE2: (K.EDGE2, 2), K.T3: (K.Q4, 3), K.Q4: (K.Q4, 4), K.TH4: (K.H8, 4), K.W6: (K.H8, 6), K.H8: (K.H8, 8)}


@pytest.mark.parametrize("name", CUTS)
def test_solids_are_cut_with_the_edges_and_faces_beside_them(name):
    mesh = CUTS[name]
    n = len(mesh.points)
    source = {"source": [100 * b + np.arange(len(cells)) for b, (_, cells) in enumerate(mesh.blocks)]}
    mesh = Mesh(mesh.points, mesh.blocks, {"x": mesh.points[:, 0], "id": np.arange(n)}, source)
    cut = cut_into_hexahedra(mesh)
    np.testing.assert_array_equal(cut.points[:n], mesh.points)
    assert len(np.unique(cut.points.round(12), axis=0)) == len(cut.points), "a node was made twice"
    np.testing.assert_allclose(cut.point_data["x"], cut.points[:, 0], atol=1e-14)
    assert cut.point_data["id"].tolist() == [*range(n), *[0] * (len(cut.points) - n)]

    faces_of_solids = set()
    for (kind, cells), (before, elements), values in zip(cut.blocks, mesh.blocks, cut.cell_data["source"]):
        pieces = PIECES[before][1]
        assert kind is PIECES[before][0] and len(cells) == pieces * len(elements)
        assert values.tolist() == np.repeat(source["source"][int(values[0]) // 100], pieces).tolist()
        vertices = np.repeat(elements, pieces, axis=0)
        assert [set(cell) & set(parent) for cell, parent in zip(cells, vertices)] == [{v} for v in elements.ravel()]
        if kind is K.H8:
            faces_of_solids |= {frozenset(cell[list(face)].tolist()) for cell in cells for face in SHAPES[kind].faces}
        if kind is K.Q4:
            of_parents = areas(mesh.points, before, elements)
            if before is K.T3:
                np.testing.assert_allclose(areas(cut.points, kind, cells).reshape(-1, 3).sum(axis=1), of_parents)
            for cell, parent in zip(cut.points[cells], mesh.points[vertices]):
                assert np.cross(cell[1] - cell[0], cell[3] - cell[0]) @ np.cross(
                    parent[1] - parent[0], parent[2] - parent[0]
                ) > 0, "turned over"  # fmt: skip
    quadrangles = [cells for kind, cells in cut.blocks if kind is K.Q4]
    faces = [[frozenset(cell.tolist()) in faces_of_solids for cell in cells] for cells in quadrangles]
    bounding = [[True] * 3 + [False] * 3] if name == "tetrahedra" else [[True] * 3, [True] * 8]
    assert faces == bounding
    ((halves, edges),) = [(cells, parents) for (kind, cells), (_, parents) in zip(cut.blocks, mesh.blocks)
                          if kind is K.EDGE2]  # fmt: skip
    np.testing.assert_array_equal(halves[::2, 1], halves[1::2, 0])
    np.testing.assert_allclose(cut.points[halves[::2, 1]], mesh.points[edges].mean(axis=1))


def test_no_gap_opens_between_wedges_and_hexahedra():
    cut = cut_into_hexahedra(CUTS["wedges and hexahedra"])
    cells = np.concatenate([cells for kind, cells in cut.blocks if kind is K.H8])
    open_faces = (neighbors(cells, K.H8) == NO_NODE).sum()
    assert open_faces == 5 * 4 + 2 * 3 + 2 * 4
    assert solid_volume(cut) == pytest.approx(solid_volume(CUTS["wedges and hexahedra"]), rel=0.05)  # faces are warped


def test_tetrahedra_keep_their_volume():
    mesh = Mesh(POINTS, [(K.TH4, [[1, 2, 9, 11], [0, 3, 1, 4]])])
    assert solid_volume(cut_into_hexahedra(mesh)) == pytest.approx(solid_volume(mesh))


@pytest.mark.parametrize(
    "mesh,message",
    [
        (MESH, "^holds pyramids, which cannot be cut into hexahedra$"),
        (Mesh(POINTS, [*SOLIDS[:2], SOLIDS[3]]),
         "^holds wedges, hexahedra beside tetrahedra, which can be cut only where there are no other solids$"),
        (Mesh(POINTS, BOUNDARY), "^has no solids$"),
        (Mesh(raw_element(K.W15, "ours"), [(K.W15, [range(15)])]), "^holds 15-node wedges, but the solids must be lin"),
    ],
)  # fmt: skip
def test_what_cannot_be_cut_is_refused(mesh, message):
    with pytest.raises(ValueError, match=message):
        cut_into_hexahedra(mesh)
