"""The node order tables, judged by where the nodes lie."""

import itertools

import numpy as np
import pytest
from reference_elements import OURS, SHAPE_OF, USUAL, assert_is_ours, nodes_at, raw_element, six_volumes, vertices

from meldra3d import conventions
from meldra3d.elements import MIXES, NO_NODE, SHAPES, split_mixed
from meldra3d.elements import ElementType as K

TABLES = {"vtk": conventions.VTK, "gmsh": conventions.GMSH}
CASES = [(tool, kind) for tool, table in TABLES.items() for kind in table]


@pytest.mark.parametrize("kind", OURS, ids=lambda kind: kind.name)
def test_reference_nodes_of_a_kind_all_lie_apart(kind):
    x = raw_element(kind, "ours")
    gaps = [np.linalg.norm(a - b) for a, b in itertools.combinations(x, 2)]
    assert not gaps or min(gaps) > 0.02


@pytest.mark.parametrize("kind", OURS, ids=lambda kind: kind.name)
def test_shapes_describe_the_numbering_of_the_library(kind):
    shape = SHAPES[kind]
    listed = [(k,) for k in range(shape.vertices)] + list(shape.edges) + list(shape.centres)
    assert listed == OURS[kind]
    assert shape.nodes == len(OURS[kind])
    assert shape.vertices == len(USUAL[SHAPE_OF[kind]])


@pytest.mark.parametrize("kind", [k for k in OURS if k >= K.TH4], ids=lambda kind: kind.name)
def test_faces_of_a_direct_solid_turn_clockwise_seen_from_outside_and_close(kind):
    x = raw_element(kind, "ours")
    assert six_volumes(kind, x) > 0
    walked = set()
    for face in SHAPES[kind].faces:
        normal = np.cross(x[face[1]] - x[face[0]], x[face[2]] - x[face[1]])
        outward = x[list(face)].mean(axis=0) - x[: SHAPES[kind].vertices].mean(axis=0)
        assert normal @ outward < 0
        walked |= {(face[i - 1], face[i]) for i in range(len(face))}
    assert {(b, a) for a, b in walked} == walked


@pytest.mark.parametrize("tool,kind", CASES, ids=lambda v: v if isinstance(v, str) else v.name)
def test_an_element_in_raw_order_becomes_ours(tool, kind):
    raw = raw_element(kind, tool)
    assert_is_ours(kind, conventions.from_theirs(raw[None, :, :], TABLES[tool][kind])[0])


@pytest.mark.parametrize("tool,kind", CASES, ids=lambda v: v if isinstance(v, str) else v.name)
def test_writing_is_the_reverse_of_reading(tool, kind):
    table = TABLES[tool][kind]
    theirs = np.arange(len(table))[None, :] + 100
    ours = conventions.from_theirs(theirs, table)
    np.testing.assert_array_equal(conventions.to_theirs(ours, table), theirs)


@pytest.mark.parametrize("tool,kind", CASES, ids=lambda v: v if isinstance(v, str) else v.name)
def test_the_check_sees_any_two_nodes_exchanged(tool, kind):
    x = conventions.from_theirs(raw_element(kind, tool)[None, :, :], TABLES[tool][kind])[0]
    shape = SHAPES[kind]
    may_turn = shape.nodes == shape.vertices or shape.dimension == 1
    for a, b in itertools.combinations(range(len(x)), 2):
        if may_turn and b < shape.vertices:
            continue  # turned round, an edge or a linear element is as good as before
        order = list(range(len(x)))
        order[a], order[b] = b, a
        with pytest.raises(AssertionError):
            assert_is_ours(kind, x[order])


def test_every_kind_of_the_library_has_its_tables():
    assert set(OURS) == set(SHAPES)
    assert set(conventions.GMSH) == set(SHAPES)
    assert set(conventions.VTK) == set(SHAPES) - {K.PY14}


def test_a_usual_tetrahedron_is_inverted_by_our_rule_and_the_table_turns_it():
    x = nodes_at(vertices(K.TH4, "vtk"), OURS[K.TH4])
    assert six_volumes(K.TH4, x) < 0
    assert six_volumes(K.TH4, x[list(conventions.VTK[K.TH4])]) > 0


@pytest.mark.parametrize("mixed", MIXES, ids=lambda kind: kind.name)
def test_a_mixed_connectivity_is_taken_apart_by_kind(mixed):
    width = max(SHAPES[kind].nodes for kind in MIXES[mixed])
    kinds = [kind for kind in reversed(MIXES[mixed]) for _ in range(2)]
    cells = np.full((len(kinds), width), NO_NODE, dtype=np.uint32)
    for row, kind in zip(cells, kinds):
        row[: SHAPES[kind].nodes] = np.arange(SHAPES[kind].nodes)
    found = split_mixed(mixed, cells)
    assert [kind for kind, _ in found] == list(MIXES[mixed])
    for kind, rows in found:
        assert [kinds[row] for row in rows] == [kind, kind]


@pytest.mark.parametrize("row", [[0, 1, NO_NODE, 3], [0, 1, NO_NODE, NO_NODE], [NO_NODE, 1, 2, 3]])
def test_a_mixed_element_with_a_hole_or_too_few_nodes_is_refused(row):
    cells = np.array([[0, 1, 2, NO_NODE], row], dtype=np.uint32)
    with pytest.raises(ValueError, match="element 1 .*FACE_MIX"):
        split_mixed(K.FACE_MIX, cells)
