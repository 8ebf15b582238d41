"""Conversions of order, judged by where the nodes lie."""

import numpy as np
import pytest
from reference_elements import OURS, SHAPE_OF, USUAL, assert_is_ours, raw_element

from meldra3d import (
    NO_NODE,
    _core,
    convert_into_high_order,
    convert_into_linear,
    convert_into_quadratic,
    split_into_H8,
    volume,
)
from meldra3d.convert import NodeCounts
from meldra3d.elements import MIXES, SHAPES
from meldra3d.elements import ElementType as K

LINEAR = MIXES[K.SOLID_MIX]
QUADRATIC = {K.TH4: K.TH10, K.PY5: K.PY14, K.W6: K.W18, K.H8: K.H27}
SERENDIPITY = {K.TH4: K.TH10, K.PY5: K.PY13, K.W6: K.W15, K.H8: K.H20}
SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]


def numbered(columns, rows=3):
    return np.arange(rows * columns, dtype=np.uint32).reshape(rows, columns)


def in_columns(rows, columns):
    cells = np.full((len(rows), columns), NO_NODE, dtype=np.uint32)
    for cell, row in zip(cells, rows):
        cell[: len(row)] = row
    return cells


def linear_row(kind, first=0):
    return list(range(first, first + SHAPES[kind].nodes))


def mixed():
    """Two of each linear kind, apart from one another, in turn: points and 8 columns."""
    x, rows = [], []
    for kind in (*LINEAR, *reversed(LINEAR)):
        rows.append(linear_row(kind, sum(map(len, x))))
        x.append(raw_element(kind, "ours") + [3.0 * len(x), 0, 0])
    return np.concatenate(x), in_columns(rows, 8)


# ---- linear ----


@pytest.mark.parametrize("kind", [kind for kind in SOLIDS if kind not in LINEAR], ids=lambda kind: kind.name)
def test_the_vertices_of_every_quadratic_kind_stay(kind):
    cells = numbered(SHAPES[kind].nodes)
    linear = convert_into_linear(cells)
    np.testing.assert_array_equal(linear, cells[:, : SHAPES[kind].vertices])
    assert linear.flags.c_contiguous and not np.shares_memory(linear, cells)


@pytest.mark.parametrize("columns", [13, 14, 15, 18, 20, 27])
def test_kinds_of_a_mixture_are_told_by_their_unused_columns(columns):
    kinds = [kind for kind in MIXES[K.SOLID_MIX_Q] if SHAPES[kind].nodes <= columns]
    linear = convert_into_linear(in_columns([range(SHAPES[kind].nodes) for kind in kinds], columns))
    np.testing.assert_array_equal(linear, in_columns([range(SHAPES[kind].vertices) for kind in kinds], 8))


@pytest.mark.parametrize("columns", [13, 14, 15, 18])
def test_the_librarys_own_function_would_take_a_pure_matrix_for_hexahedra(columns):
    status, cells = _core.convert_into_linear(numbered(columns))
    assert status == 0
    np.testing.assert_array_equal(cells, numbered(columns)[:, :8])


@pytest.mark.parametrize("columns", [10, 13, 14, 15, 18, 20, 27])
def test_without_elements_the_columns_are_those_of_elements(columns):
    assert convert_into_linear(numbered(columns, 0)).shape == (0, convert_into_linear(numbered(columns)).shape[1])
    assert convert_into_linear([]).shape == (0, 8)


# ---- there and back ----


@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_every_node_of_a_quadratic_element_lies_where_it_should(kind):
    x = raw_element(kind, "ours")
    raised = convert_into_quadratic(x, [range(len(x))])
    assert raised.cells.shape == (1, SHAPES[QUADRATIC[kind]].nodes)
    assert_is_ours(QUADRATIC[kind], raised.points[raised.cells[0]])
    np.testing.assert_array_equal(raised.points[: len(x)], x)
    np.testing.assert_array_equal(convert_into_linear(raised.cells), [range(len(x))])


def test_quadratic_solids_of_all_kinds_become_what_they_were():
    points, cells = mixed()
    raised = convert_into_quadratic(points, cells)
    assert raised.cells.shape == (len(cells), 27)
    for row, kind in zip(raised.cells, (*LINEAR, *reversed(LINEAR))):
        assert (row != NO_NODE).sum() == SHAPES[QUADRATIC[kind]].nodes
        assert_is_ours(QUADRATIC[kind], raised.points[row[row != NO_NODE]])
    np.testing.assert_array_equal(convert_into_linear(raised.cells), cells)


@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_elements_of_one_kind_in_8_columns_become_what_they_were(kind):
    x = raw_element(kind, "ours")
    cells = in_columns([range(len(x))], 8)
    np.testing.assert_array_equal(convert_into_linear(convert_into_quadratic(x, cells).cells), cells)


@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_counts_of_zero_give_the_kinds_without_centres(kind):
    x = raw_element(kind, "ours")
    raised = convert_into_high_order(x, [range(len(x))], 1, quadrangle_nodes=0, hexahedron_nodes=0)
    assert_is_ours(SERENDIPITY[kind], raised.points[raised.cells[0]])


def test_one_node_on_each_edge_is_quadratic():
    points, cells = mixed()
    for a, b in zip(convert_into_quadratic(points, cells), convert_into_high_order(points, cells, 1)):
        np.testing.assert_array_equal(a, b)


# ---- higher orders ----


def nodes_of_a_complete_element(kind, order):
    """Numbers of points of the grids of order `order`, counted one by one."""
    n = range(order + 1)
    inside = {
        K.TH4: lambda i, j, k: i + j + k <= order,
        K.PY5: lambda i, j, k: max(i, j) + k <= order,
        K.W6: lambda i, j, k: i + j <= order,
        K.H8: lambda i, j, k: True,
    }[kind]
    return sum(inside(i, j, k) for i in n for j in n for k in n)


@pytest.mark.parametrize("edge_nodes", [0, 1, 2, 3])
@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_elements_are_complete_unless_told_otherwise(kind, edge_nodes):
    x = raw_element(kind, "ours")
    more = {"pyramid_nodes": 1} if kind is K.PY5 and edge_nodes == 3 else {}  # of 5, which the library cannot make
    raised = convert_into_high_order(x, [range(len(x))], edge_nodes, **more)
    expected = nodes_of_a_complete_element(kind, edge_nodes + 1) - (4 if more else 0)
    assert raised.cells.shape == (1, expected)
    assert len(np.unique(raised.points.round(9), axis=0)) == expected == len(raised.points)


@pytest.mark.parametrize("edge_nodes", range(7))
def test_counts_are_those_of_complete_elements(edge_nodes):
    counts = NodeCounts.of_complete_elements(edge_nodes)
    for kind in LINEAR:
        assert counts.nodes_of(kind) == nodes_of_a_complete_element(kind, edge_nodes + 1)
    assert counts.nodes_of(K.T3) == (edge_nodes + 2) * (edge_nodes + 3) // 2
    assert counts.nodes_of(K.Q4) == (edge_nodes + 2) ** 2


@pytest.mark.parametrize("edge_nodes", [2, 3, 5])
@pytest.mark.parametrize("kind", LINEAR, ids=lambda kind: kind.name)
def test_the_nodes_of_an_edge_run_evenly_from_its_first_vertex_to_its_second(kind, edge_nodes):
    x = raw_element(kind, "ours")
    none = dict.fromkeys([f"{name}_nodes" for name in NodeCounts._fields[1:]], 0)
    raised = convert_into_high_order(x, [range(len(x))], edge_nodes, **none)
    column = len(x)
    for a, b in SHAPES[SERENDIPITY[kind]].edges:
        for i in range(1, edge_nodes + 1):
            expected = x[a] + (x[b] - x[a]) * i / (edge_nodes + 1)
            np.testing.assert_allclose(raised.points[raised.cells[0, column]], expected, atol=1e-12)
            column += 1
    assert column == raised.cells.shape[1]


def test_kinds_that_are_not_there_ask_for_no_count():
    tetrahedron, hexahedron = raw_element(K.TH4, "ours"), raw_element(K.H8, "ours")
    assert convert_into_high_order(hexahedron, [range(8)], 3).cells.shape == (1, 125)
    with pytest.raises(ValueError, match="^hexahedron_nodes: must be 0, 1, 8 or 27; give it where complete"):
        convert_into_high_order(hexahedron, [range(8)], 4)
    with pytest.raises(ValueError, match="^triangle_nodes: must be 0, 1 or 3; give it where complete"):
        convert_into_high_order(tetrahedron, [range(4)], 4)
    wide = convert_into_high_order(tetrahedron, in_columns([range(4)], 8), 4, triangle_nodes=3, tetrahedron_nodes=1)
    assert (wide.cells[0] != NO_NODE).sum() == 4 + 6 * 4 + 4 * 3 + 1


@pytest.mark.parametrize("columns,expected", [(4, 20), (5, 30), (6, 40), (8, 64)])
def test_no_elements_stay_none_with_the_columns_of_elements(columns, expected):
    points = np.eye(3)
    for raised, width in (
        (convert_into_high_order(points, numbered(columns, 0), 2), expected),
        (convert_into_quadratic(points, numbered(columns, 0)), {4: 10, 5: 14, 6: 18, 8: 27}[columns]),
    ):
        assert raised.cells.shape == (0, width) and raised.cells.dtype == np.uint32
        np.testing.assert_array_equal(raised.points, points)
        assert not np.shares_memory(raised.points, points)


def test_counts_of_0_give_copies():
    points, cells = mixed()
    raised = convert_into_high_order(points, cells, 0)
    for given, made in ((points, raised.points), (cells, raised.cells)):
        np.testing.assert_array_equal(made, given)
        assert not np.shares_memory(made, given)


@pytest.mark.parametrize("edge_nodes", [2**31, 2**32 - 1, 2**32, 2**70])
def test_more_nodes_than_numbers_run_out_of_memory(edge_nodes):
    with pytest.raises(MemoryError):
        convert_into_high_order(np.eye(4)[:, :3], [range(4)], edge_nodes, triangle_nodes=0, tetrahedron_nodes=0)


@pytest.mark.parametrize("name", NodeCounts._fields)
def test_a_count_must_be_a_whole_number_of_at_least_0(name):
    arguments = {"edge_nodes": 1, f"{name}_nodes": -1}
    with pytest.raises(ValueError, match=f"^{name}_nodes: must not be negative$"):
        convert_into_high_order(np.eye(4)[:, :3], [range(4)], **arguments)
    with pytest.raises(TypeError):
        convert_into_high_order(np.eye(4)[:, :3], [range(4)], **{**arguments, f"{name}_nodes": 1.0})


# ---- given faces and edges ----


def test_nodes_of_given_triangles_and_edges_are_used_again():
    x = np.concatenate([raw_element(K.TH4, "ours"), np.random.default_rng(3).random((4, 3))])
    raised = convert_into_quadratic(x, [[0, 1, 2, 3]], faces=[[2, 1, 0, 4, 5, 6]], edges=[[3, 1, 7]])
    # edge 0 of the triangle lies opposite its vertex 0
    assert raised.cells[0, 4:].tolist() == [6, 5, 4, 8, 7, 9]
    np.testing.assert_allclose(raised.points[8], (x[0] + x[3]) / 2)
    np.testing.assert_array_equal(raised.points[:8], x)


def test_nodes_of_given_quadrangles_are_used_again_and_bend_the_element():
    x = np.concatenate([raw_element(K.H8, "ours"), np.random.default_rng(3).random((5, 3))])
    raised = convert_into_quadratic(x, [range(8)], faces=[[1, 0, 3, 2, 8, 9, 10, 11, 12]])
    assert raised.cells[0, [8, 11, 10, 9, 24]].tolist() == [8, 9, 10, 11, 12]
    straight = convert_into_quadratic(x[:8], [range(8)])
    assert np.abs(raised.points[raised.cells[0, 26]] - straight.points[straight.cells[0, 26]]).max() > 1e-3


def test_given_triangles_in_9_columns_go_with_8_columns_of_cells():
    x = np.concatenate([raw_element(K.TH4, "ours"), np.zeros((3, 3))])
    raised = convert_into_quadratic(x, in_columns([range(4)], 8), faces=in_columns([[0, 1, 2, 4, 5, 6]], 9))
    assert raised.cells[0, 4:7].tolist() == [4, 5, 6]


def test_given_edges_of_higher_order_are_read_from_either_end():
    x = np.concatenate([raw_element(K.TH4, "ours"), np.zeros((2, 3))])
    raised = convert_into_high_order(x, [range(4)], 2, edges=[[1, 0, 4, 5]])
    assert raised.cells[0, 8:10].tolist() == [5, 4]  # edge 2 of the tetrahedron is 0-1
    created = convert_into_high_order(x, [range(4)], 2, edges=[[1, 0, NO_NODE, NO_NODE]])
    assert created.cells[0, 8:10].min() >= 6


def test_elements_share_the_nodes_between_them():
    x = np.concatenate([raw_element(K.H8, "ours"), raw_element(K.H8, "ours")[4:] + [0, 0, 1]])
    raised = convert_into_quadratic(x, [range(8), range(4, 12)])
    assert len(raised.points) == 3 * 3 * 5
    assert set(raised.cells[0]) & set(raised.cells[1]) == set(raised.cells[0, [4, 5, 6, 7, 12, 13, 14, 15, 25]])


# ---- hexahedra ----


@pytest.mark.parametrize("kind,pieces", [(K.TH4, 4), (K.W6, 6), (K.H8, 8)], ids=["TH4", "W6", "H8"])
def test_the_hexahedra_fill_the_element_one_at_each_vertex(kind, pieces):
    x = np.array(USUAL[SHAPE_OF[kind]], dtype=float)
    if kind is K.TH4:
        x = x[[0, 2, 1, 3]]
    cut = split_into_H8(x, [range(len(x))])
    assert cut.cells.shape == (pieces, 8)
    assert volume(cut.points, cut.cells) == pytest.approx(volume(x, [range(len(x))]))
    assert min(volume(cut.points, [cell]) for cell in cut.cells) > 0
    assert sorted(min(cell) for cell in cut.cells) == list(range(len(x)))
    np.testing.assert_array_equal(cut.points[: len(x)], x)


def test_wedges_and_hexahedra_are_cut_together_and_appended():
    points = np.concatenate([raw_element(K.W6, "ours"), raw_element(K.H8, "ours")])
    cells = in_columns([range(6), range(6, 14)], 8)
    before = numbered(8, 2)
    cut = split_into_H8(points, cells, hexahedra=before)
    assert cut.cells.shape == (2 + 6 + 8, 8)
    np.testing.assert_array_equal(cut.cells[:2], before)
    assert not np.shares_memory(cut.cells, before)
    assert len(cut.points) == 14 + (9 + 5 + 1) + (12 + 6 + 1)


def test_given_quadrangles_and_edges_are_cut_where_they_have_their_nodes():
    x = np.concatenate([raw_element(K.H8, "ours"), np.zeros((6, 3))])
    cut = split_into_H8(x, [range(8)], faces=[[0, 1, 2, 3, 8, 9, 10, 11, 12]], edges=[[4, 0, 13]])
    assert cut.cells[0, :5].tolist() == [0, 8, 12, 11, 13]
    assert len(cut.points) == 14 + (12 - 5) + (6 - 1) + 1


def test_no_solids_give_no_hexahedra():
    cut = split_into_H8(np.eye(3), [])
    assert cut.cells.shape == (0, 8) and cut.cells.dtype == np.uint32
    given = numbered(8, 2)
    np.testing.assert_array_equal(split_into_H8(np.eye(3), [], hexahedra=given).cells, given)


# ---- bad meshes ----


@pytest.mark.parametrize("seed", range(20))
def test_elements_of_any_nodes_become_a_mesh(seed):
    """Repeated nodes, equal elements, faces of many elements, nodes in none."""
    rng = np.random.default_rng(seed)
    nodes = int(rng.integers(1, 12))
    points = rng.random((nodes + 3, 3))
    for kinds, columns in ((LINEAR, 8), ((K.W6, K.H8), 8), ((K.TH4,), 4), ((K.PY5,), 5), ((K.W6,), 6)):
        rows = [rng.integers(0, nodes, SHAPES[kind].nodes) for kind in rng.choice(kinds, 30)]
        cells = in_columns(rows, columns)
        made = [convert_into_quadratic(points, cells), convert_into_high_order(points, cells, 2)]
        if set(kinds) in ({K.W6, K.H8}, {K.TH4}, {K.W6}):
            made.append(split_into_H8(points, cells))
        for done in made:
            assert np.isfinite(done.points).all()
            np.testing.assert_array_equal(done.points[: len(points)], points)
            used = np.unique(done.cells[done.cells != NO_NODE])
            assert used[-1] == len(done.points) - 1 and set(range(len(points), len(done.points))) <= set(used.tolist())
        np.testing.assert_array_equal(convert_into_linear(made[0].cells), cells)


# ---- all of them ----

CALLS = {
    "linear": lambda p, c, f, e: (convert_into_linear(convert_into_quadratic(p, c).cells),),
    "quadratic": lambda p, c, f, e: convert_into_quadratic(p, c, faces=f, edges=e),
    "order": lambda p, c, f, e: convert_into_high_order(p, c, 1, triangle_nodes=1, faces=f, edges=e),
    "hexahedra": lambda p, c, f, e: split_into_H8(p, c, faces=f, edges=e),
}
FACES, EDGES = np.array([[0, 1, 2, 3, 8, 9, 10, 11, 12]]), np.array([[4, 0, 13]])


def arguments():
    points = np.concatenate([raw_element(K.H8, "ours"), np.zeros((6, 3))])
    return [points, numbered(8, 1), FACES.astype(np.uint32), EDGES.astype(np.uint32)]


@pytest.mark.parametrize("name", CALLS)
def test_inputs_keep_every_bit_and_results_own_their_memory(name):
    given = arguments()
    for array in given:
        array.setflags(write=False)
    before = [array.tobytes() for array in given]
    for made in CALLS[name](*given):
        assert made.flags.writeable and made.flags.c_contiguous
        assert not any(np.shares_memory(made, array) for array in given)
        made[...] = 7
    assert [array.tobytes() for array in given] == before


@pytest.mark.parametrize("name", CALLS)
@pytest.mark.parametrize("make", [np.asfortranarray, lambda a: a.astype(a.dtype.newbyteorder(">")),
                                  lambda a: np.repeat(a, 2, axis=0)[::2], np.ndarray.tolist])  # fmt: skip
def test_arrays_of_other_types_and_orders_are_converted(name, make):
    expected = CALLS[name](*arguments())
    for made, right in zip(CALLS[name](*map(make, arguments())), expected):
        np.testing.assert_array_equal(made, right)
        assert made.dtype == right.dtype
