"""Flips: the library's, and the reversal that keeps every node where it belongs."""

import numpy as np
import pytest
from reference_elements import OURS, assert_is_ours, raw_element

from meldra3d import NO_NODE, flip, flip_H8, flip_TH4, flip_W6
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.flip import reverse

SOLIDS = [kind for kind in OURS if SHAPES[kind].dimension == 3]
UNCHANGED = [K.PY13, K.W15, K.H20, *(kind for kind in OURS if SHAPES[kind].dimension < 3)]


def numbered(columns, rows=3):
    return np.arange(rows * columns, dtype=np.uint32).reshape(rows, columns)


@pytest.mark.parametrize(
    "call,columns,order",
    [
        (lambda cells: flip(cells, K.TH4), 4, [2, 1, 0, 3]),
        (lambda cells: flip(cells, K.PY14), 14, [2, 1, 0, 3, 4, 7, 8, 5, 6, 10, 9, 12, 11, 13]),
        (lambda cells: flip(cells, K.SOLID_MIX), 27, [2, 1, 0, 5, 6, 3, 4, 7, 9, 8, 11, 10, 13, 12,
                                                      15, 14, 18, 17, 16, 19, 23, 22, 21, 20, 24, 25, 26]),
        (flip_TH4, 4, [1, 0, 2, 3]),
        (flip_W6, 6, [3, 4, 5, 0, 1, 2]),
        (flip_H8, 8, [4, 5, 6, 7, 0, 1, 2, 3]),
    ],
)  # fmt: skip
def test_columns_change_places(call, columns, order):
    cells = numbered(columns)
    np.testing.assert_array_equal(call(cells), cells[:, order])
    np.testing.assert_array_equal(call(call(cells)), cells)


@pytest.mark.parametrize("kind", UNCHANGED, ids=lambda kind: kind.name)
def test_other_kinds_stay_as_they_are(kind):
    cells = numbered(SHAPES[kind].nodes)
    np.testing.assert_array_equal(flip(cells, kind), cells)


def test_kinds_of_the_mixture_are_told_by_unused_columns():
    cells = np.full((2, 27), NO_NODE, dtype=np.uint32)
    cells[0, :10] = range(10)
    cells[1, :18] = range(18)
    flipped = flip(cells, K.SOLID_MIX)
    np.testing.assert_array_equal(flipped[:1, :10], flip(cells[:1, :10], K.TH10))
    np.testing.assert_array_equal(flipped[1:, :18], flip(cells[1:, :18], K.W18))
    assert (flipped[0, 10:] == NO_NODE).all() and (flipped[1, 18:] == NO_NODE).all()


@pytest.mark.parametrize("call", [lambda cells: flip(cells, K.H8), flip_H8])
def test_the_input_is_left_alone_and_the_result_owns_its_memory(call):
    cells = numbered(8)
    cells.setflags(write=False)
    flipped = call(cells)
    np.testing.assert_array_equal(cells, numbered(8))
    assert not np.shares_memory(flipped, cells)
    assert flipped.flags.writeable and flipped.dtype == np.uint32


@pytest.mark.parametrize("make", [np.asfortranarray, lambda a: a.astype(np.int64), lambda a: a[::-1][::-1], list])
def test_arrays_of_other_types_and_orders_are_converted(make):
    np.testing.assert_array_equal(flip(make(numbered(6)), K.W6), numbered(6)[:, [2, 1, 0, 5, 4, 3]])


def test_no_elements_stay_none():
    assert flip([], K.H8).shape == (0, 0)
    assert flip(numbered(5, 0), K.H8).shape == (0, 5)
    assert flip_TH4([]).shape == (0, 4)
    assert flip_H8(numbered(3, 0)).shape == (0, 3)


@pytest.mark.parametrize("kind", SOLIDS, ids=lambda kind: kind.name)
def test_a_reversed_element_is_the_mirror_image_of_a_direct_one(kind):
    x = raw_element(kind, "ours")
    turned = reverse(kind, np.arange(len(x))[None, :])[0]
    assert_is_ours(kind, x)
    assert_is_ours(kind, x[turned] * [1, 1, -1])


@pytest.mark.parametrize("kind", [K.TH4, K.TH10, K.PY5, K.W6, K.W18, K.H8, K.H27], ids=lambda kind: kind.name)
def test_where_the_librarys_flip_is_right_the_reversal_is_the_same(kind):
    cells = numbered(SHAPES[kind].nodes)
    np.testing.assert_array_equal(reverse(kind, cells), flip(cells, kind))


def test_the_reversal_of_a_14_node_pyramid_differs_in_two_nodes():
    cells = numbered(14, 1)
    assert np.flatnonzero(reverse(K.PY14, cells)[0] != flip(cells, K.PY14)[0]).tolist() == [6, 8]


@pytest.mark.parametrize("kind", [K.T3, K.Q9, K.EDGE2, K.NODE, K.SOLID_MIX, K.NONE], ids=lambda kind: kind.name)
def test_only_single_kinds_of_solids_are_reversed(kind):
    with pytest.raises(ValueError, match=f"^kind: {kind.name} is no kind of solid"):
        reverse(kind, numbered(4))
