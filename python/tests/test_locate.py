"""Searches and interpolation in meshes of tetrahedra against searches through all elements."""

import concurrent.futures

import numpy as np
import pytest
import tetrahedra

from meldra3d import (
    NO_NODE,
    Locator,
    _core,
    ancestors,
    convert_into_quadratic,
    flip_TH4,
    interpolate,
    interpolate_metrics,
    locate,
    neighbors,
)
from meldra3d.elements import ElementType as K
from meldra3d.status import STATUS, check

# A box 2 x 1 x 1.5, and points in and around it; nodes of no element lie first, last and outside.
BOX, CELLS = tetrahedra.grid((4, 3, 3), jitter=0.25, seed=1, high=(2, 1, 1.5))
POINTS = np.concatenate([[[0.51, 0.5, 0.52]], BOX, [[9.0, 9, 9]]])
CELLS = CELLS + np.uint32(1)
QUERIES = np.random.default_rng(2).uniform((-0.4, -0.3, -0.3), (2.4, 1.3, 1.8), (400, 3))
INSIDE = ((QUERIES > 0) & (QUERIES < (2, 1, 1.5))).all(axis=1)
NAN = np.array([[np.nan, 0, 0], [0, np.inf, 0]])


def linear(x):
    return x @ [3.0, -2.0, 0.5] + 7


def smooth(x):
    """Three components at each point."""
    return np.column_stack([np.sin(x[:, 0]), x[:, 1] * x[:, 2], np.exp(x[:, 2])])


# ---- location ----


def test_an_element_is_found_where_a_search_through_all_finds_one():
    elements, weights, found = locate(POINTS, CELLS, QUERIES)
    assert 50 < INSIDE.sum() < 350
    np.testing.assert_array_equal(found, INSIDE)
    assert elements.dtype == np.uint32 and weights.shape == (400, 4) and found.dtype == bool
    for query, element, weight in zip(QUERIES[found], elements[found], weights[found]):
        assert element in tetrahedra.holding(POINTS, CELLS, query)
        np.testing.assert_allclose(weight, tetrahedra.weights_in_all(POINTS, CELLS, query)[element], atol=1e-12)
        assert weight.sum() == pytest.approx(1, abs=1e-15)


def test_a_point_outside_never_looks_like_a_value():
    elements, weights, found = locate(POINTS, CELLS, np.concatenate([QUERIES[~INSIDE], NAN]))
    assert not found.any() and (elements == NO_NODE).all() and np.isnan(weights).all()


def test_nodes_are_found_in_an_element_that_has_them():
    elements, weights, found = locate(POINTS, CELLS, BOX)
    assert found.all()
    nodes = np.arange(len(BOX)) + 1
    assert (CELLS[elements] == nodes[:, None]).any(axis=1).all()
    np.testing.assert_allclose(weights[CELLS[elements] == nodes[:, None]], 1, atol=1e-12)


def test_the_tolerance_is_relative_to_the_element():
    corner = [[0, 0, 0], [0, 10, 0], [10, 0, 0], [0, 0, 10]]
    query = [[2, 2, -1]]  # weight -0.1 of the last node
    assert not locate(corner, [[0, 1, 2, 3]], [[2, 2, -1]], tolerance=0.09).found[0]
    # A point outside the box of the nodes is not looked for at all.
    assert not locate(corner, [[0, 1, 2, 3]], query, tolerance=0.11).found[0]
    outside = [[4, 4, 3]]  # inside the box; weight -0.1 of the first node
    assert not locate(corner, [[0, 1, 2, 3]], outside, tolerance=0.09).found[0]
    located = locate(corner, [[0, 1, 2, 3]], outside, tolerance=0.11)
    np.testing.assert_allclose(located.weights, [[-0.1, 0.4, 0.4, 0.3]], atol=1e-15)
    assert not locate(corner, [[0, 1, 2, 3]], [[1, 1, 1]], tolerance=np.nan).found[0]


def test_quadratic_tetrahedra_count_by_their_vertices():
    raised = convert_into_quadratic(POINTS, CELLS)
    got, expected = locate(raised.points, raised.cells, QUERIES), locate(POINTS, CELLS, QUERIES)
    for one, other in zip(got, expected):
        np.testing.assert_array_equal(one, other)


def test_points_and_elements_of_any_type_are_taken_and_left_alone():
    points, cells, queries = POINTS.tolist(), CELLS.astype(np.int64), np.asfortranarray(QUERIES)
    for one, other in zip(locate(points, cells, queries), locate(POINTS, CELLS, QUERIES)):
        np.testing.assert_array_equal(one, other)
    before = [array.copy() for array in (POINTS, CELLS, QUERIES)]
    interpolate(POINTS, CELLS, linear(POINTS), QUERIES)
    for one, other in zip(before, (POINTS, CELLS, QUERIES)):
        np.testing.assert_array_equal(one, other)


@pytest.mark.parametrize("points,cells", [([], []), (POINTS, []), (POINTS, np.empty((0, 10), dtype=int))])
def test_a_mesh_without_elements_holds_nothing(points, cells):
    p = np.reshape(points, (-1, 3))
    elements, weights, found = locate(p, cells, QUERIES)
    assert (elements == NO_NODE).all() and np.isnan(weights).all() and not found.any() and len(found) == 400
    assert np.isnan(interpolate(p, cells, np.zeros(len(p)), QUERIES)).all()
    assert np.isnan(Locator(p, cells).interpolate(np.zeros(len(p)), QUERIES)).all()
    assert np.isnan(interpolate_metrics(p, cells, np.ones(len(p)), QUERIES)).all()
    assert (Locator(p, cells).nearest(QUERIES) == NO_NODE).all()


@pytest.mark.parametrize("none", [[], np.empty((0, 3))])
def test_no_points_give_empty_results(none):
    elements, weights, found = locate(POINTS, CELLS, none)
    assert elements.shape == (0,) and weights.shape == (0, 4) and found.shape == (0,)
    assert interpolate(POINTS, CELLS, smooth(POINTS), none).shape == (0, 3)
    assert interpolate_metrics(POINTS, CELLS, np.ones(len(POINTS)), none).shape == (0,)
    assert Locator(POINTS, CELLS).nearest(none).shape == (0,)


def test_an_inverted_element_hides_what_lies_in_it_only_from_itself():
    points, cells = tetrahedra.grid((1, 1, 1))
    query = points[cells[3]].mean(axis=0)
    cells[3:4] = flip_TH4(cells[3:4])
    assert not locate(points, cells, [query]).found[0]
    assert locate(points, cells, [points[cells[0]].mean(axis=0)]).elements[0] == 0


# ---- the nearest vertex ----


def test_the_nearest_vertex_is_that_of_a_search_through_all():
    got = Locator(POINTS, CELLS).nearest(QUERIES)
    assert got.tolist() == [tetrahedra.nearest(POINTS, CELLS, query) for query in QUERIES]


def test_of_equally_near_vertices_the_lowest_is_taken():
    points, cells = tetrahedra.grid((2, 2, 2))
    assert Locator(points, cells).nearest([[0.25, 0.25, 0.25], [0.75, 0.5, 0.5]]).tolist() == [0, 13]
    assert (Locator(points, cells).nearest(NAN) == NO_NODE).all()


# ---- fields ----

FORMS = {
    "function": interpolate,
    "locator": lambda points, cells, *rest, **options: Locator(points, cells).interpolate(*rest, **options),
}
both_forms = pytest.mark.parametrize("call", FORMS.values(), ids=FORMS)


@both_forms
def test_linear_fields_are_reproduced(call):
    values = call(POINTS, CELLS, linear(POINTS), QUERIES, outside="nan")
    np.testing.assert_allclose(values[INSIDE], linear(QUERIES[INSIDE]), rtol=0, atol=1e-12)
    assert np.isnan(values[~INSIDE]).all()
    rows = call(POINTS, CELLS, POINTS, QUERIES)
    np.testing.assert_allclose(rows[INSIDE], QUERIES[INSIDE], rtol=0, atol=1e-12)


@both_forms
def test_points_outside_take_the_value_of_the_nearest_vertex(call):
    field = smooth(POINTS)
    values = call(POINTS, CELLS, field, QUERIES[~INSIDE])
    expected = [field[tetrahedra.nearest(POINTS, CELLS, query)] for query in QUERIES[~INSIDE]]
    np.testing.assert_array_equal(values, expected)


@both_forms
def test_points_inside_take_the_mean_weighted_by_a_search_through_all(call):
    field = smooth(POINTS)
    values = call(POINTS, CELLS, field, QUERIES[INSIDE])
    for query, value in zip(QUERIES[INSIDE], values):
        element = tetrahedra.holding(POINTS, CELLS, query)[0]
        weights = tetrahedra.weights_in_all(POINTS, CELLS, query)[element]
        np.testing.assert_allclose(value, weights @ field[CELLS[element]], rtol=0, atol=1e-12)


@both_forms
def test_points_outside_keep_what_is_given(call):
    given = np.arange(1200.0).reshape(400, 3)
    before = given.copy()
    values = call(POINTS, CELLS, smooth(POINTS), QUERIES, outside="keep", given=given)
    np.testing.assert_array_equal(values[~INSIDE], given[~INSIDE])
    np.testing.assert_array_equal(values[INSIDE], interpolate(POINTS, CELLS, smooth(POINTS), QUERIES[INSIDE]))
    np.testing.assert_array_equal(given, before)


@both_forms
def test_points_that_are_not_finite_get_no_value(call):
    assert np.isnan(call(POINTS, CELLS, linear(POINTS), NAN)).all()
    assert call(POINTS, CELLS, linear(POINTS), NAN, outside="keep", given=[1, 2]).tolist() == [1, 2]


@both_forms
def test_fields_of_any_shape_and_type_are_taken(call):
    tensors = np.multiply.outer(linear(POINTS), np.arange(6).reshape(2, 3))
    values = call(POINTS, CELLS, tensors, QUERIES[INSIDE])
    expected = np.multiply.outer(linear(QUERIES[INSIDE]), np.arange(6).reshape(2, 3))
    np.testing.assert_allclose(values, expected, rtol=0, atol=1e-11)
    counts = call(POINTS, CELLS, np.arange(len(POINTS)), QUERIES)
    assert counts.dtype == np.float64 and counts.shape == (400,)
    assert call(POINTS, CELLS, np.empty((len(POINTS), 0)), QUERIES).shape == (400, 0)


def test_both_forms_give_the_same():
    values = interpolate(POINTS, CELLS, smooth(POINTS), QUERIES)
    np.testing.assert_array_equal(Locator(POINTS, CELLS).interpolate(smooth(POINTS), QUERIES), values)


def test_values_at_nodes_of_no_element_have_no_part():
    field = linear(POINTS)
    field[[0, -1]] = np.nan
    assert np.isfinite(interpolate(POINTS, CELLS, field, np.concatenate([QUERIES, POINTS]))).all()


# ---- metrics ----


def isotropic(sizes):
    return np.multiply.outer(sizes**-2.0, [1.0, 0, 1, 0, 0, 1])


def test_sizes_are_interpolated_linearly():
    sizes = 0.1 + POINTS[:, 0] ** 2 + POINTS[:, 1]
    got = interpolate_metrics(POINTS, CELLS, sizes, QUERIES)
    np.testing.assert_allclose(got, interpolate(POINTS, CELLS, sizes, QUERIES), rtol=1e-13)
    metrics = interpolate_metrics(POINTS, CELLS, isotropic(sizes), QUERIES)
    np.testing.assert_allclose(metrics, isotropic(got), rtol=1e-9, atol=1e-9)


def test_lengths_along_common_axes_are_interpolated():
    turn, _ = np.linalg.qr(np.random.default_rng(3).normal(size=(3, 3)))
    lengths = 1 + np.column_stack([POINTS[:, 0], POINTS[:, 1] ** 2, np.abs(POINTS[:, 2])])

    def packed(h):
        m = np.einsum("ik,nk,jk->nij", turn, h**-2.0, turn)
        return m[:, [0, 0, 1, 0, 1, 2], [0, 1, 1, 2, 2, 2]]

    got = interpolate_metrics(POINTS, CELLS, packed(lengths), QUERIES)
    np.testing.assert_allclose(got, packed(interpolate(POINTS, CELLS, lengths, QUERIES)), rtol=1e-8, atol=1e-9)


def test_valid_metrics_are_kept_if_wanted():
    sizes = np.full(len(POINTS), 2.0)
    given = np.tile([5.0, 0, -1, np.nan], 100)
    kept = interpolate_metrics(POINTS, CELLS, sizes, QUERIES, given=given, keep_valid=True)
    np.testing.assert_allclose(kept, np.tile([5.0, 2, 2, 2], 100), rtol=1e-15)
    np.testing.assert_allclose(interpolate_metrics(POINTS, CELLS, sizes, QUERIES, given=given), 2.0, rtol=1e-15)
    metrics, given = isotropic(sizes), np.tile([[1.0, 0, 1, 0, 0, 1], [1, 2, 1, 0, 0, 1]], (200, 1))
    kept = interpolate_metrics(POINTS, CELLS, metrics, QUERIES, given=given, keep_valid=True)
    np.testing.assert_array_equal(kept[::2], given[::2])
    np.testing.assert_allclose(kept[1::2], np.tile([0.25, 0, 0.25, 0, 0, 0.25], (200, 1)), atol=1e-14)


def test_what_cannot_be_combined_leaves_what_was_given():
    corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    queries = [[0.2, 0.2, 0.2], [0.2, 0.2, 0]]  # the second has no weight at the last node
    sizes = [1, 1, 1, -1]
    np.testing.assert_array_equal(interpolate_metrics(corner, [[0, 1, 2, 3]], sizes, queries), [np.nan, 1])
    assert interpolate_metrics(corner, [[0, 1, 2, 3]], sizes, queries, given=[7, 7]).tolist() == [7, 1]


# ---- one mesh, many searches ----


def test_several_threads_find_the_same_as_one():
    points, cells = tetrahedra.grid((12, 12, 12), jitter=0.2)
    queries = np.random.default_rng(4).uniform(-0.1, 1.1, (20000, 3))
    locator = Locator(points, cells)
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        for call in (locator.locate, locator.nearest, lambda q: locator.interpolate(points, q)):
            slices = list(pool.map(call, np.array_split(queries, 16)))
            whole = call(queries)
            if isinstance(whole, np.ndarray):
                np.testing.assert_array_equal(np.concatenate(slices), whole)
            else:
                for k, one in enumerate(whole):
                    np.testing.assert_array_equal(np.concatenate([part[k] for part in slices]), one)


def test_a_locator_keeps_the_mesh_that_it_was_made_from():
    points, cells = POINTS.copy(), CELLS.copy()
    locator = Locator(points, cells)
    points[:], cells[:] = np.nan, NO_NODE
    np.testing.assert_array_equal(locator.locate(QUERIES).found, INSIDE)


# ---- bad arguments ----

GOOD = {"points": POINTS, "cells": CELLS, "queries": QUERIES}
FIELD = linear(POINTS)
REFUSED = {
    "flat points": ({"points": POINTS[:, :2]}, "points: must have 3 columns"),
    "points in words": ({"points": [["a", "b", "c"]]}, "points: expected real numbers"),
    "five columns": ({"cells": [[0, 1, 2, 3, 4]]}, "cells: must have 4 or 10 columns"),
    "a node that is not there": ({"cells": [[0, 1, 2, len(POINTS)]]}, "cells: are not tetrahedra on these points"),
    "no node": ({"cells": [[0, 1, 2, NO_NODE]]}, "cells: are not tetrahedra on these points"),
    "inverted": ({"cells": flip_TH4(CELLS)}, "cells: have a negative volume altogether; flip_TH4 turns"),
    "flat queries": ({"queries": QUERIES[:, :2]}, "queries: must have 3 columns"),
    "one query alone": ({"queries": QUERIES[0]}, "queries: expected a two-dimensional array"),
    "complex queries": ({"queries": QUERIES * 1j}, "queries: expected real numbers"),
}


@pytest.mark.parametrize("wrong,message", REFUSED.values(), ids=REFUSED)
def test_a_bad_mesh_or_point_is_named(wrong, message):
    arguments = {**GOOD, **wrong}
    mesh, queries = (arguments["points"], arguments["cells"]), arguments["queries"]
    size = np.zeros(len(arguments["points"]))
    for call in (
        lambda: locate(*mesh, queries),
        lambda: interpolate(*mesh, size, queries),
        lambda: interpolate_metrics(*mesh, size, queries),
        lambda: Locator(*mesh).nearest(queries),
    ):
        with pytest.raises(ValueError, match=f"^{message}"):
            call()


@pytest.mark.parametrize(
    "options,message",
    [
        ({"field": FIELD[1:]}, "^field: must have an entry for each of the points$"),
        ({"field": 1.0}, "^field: must have an entry"),
        ({"field": FIELD * 1j}, "^field: expected real numbers"),
        ({"outside": "far"}, "^outside: must be one of nearest, nan, keep, not 'far'$"),
        ({"outside": "keep"}, "^given: goes with outside='keep', which needs it$"),
        ({"given": np.zeros(400)}, "^given: goes with outside='keep'"),
        ({"outside": "keep", "given": np.zeros(399)}, r"^given: expected an array of shape \(400,\)"),
        ({"outside": "keep", "given": np.zeros(400) * 1j}, "^given: expected real numbers"),
    ],
)
@both_forms
def test_a_bad_field_is_named(call, options, message):
    with pytest.raises(ValueError, match=message):
        call(POINTS, CELLS, **{"field": FIELD, "queries": QUERIES, **options})


@pytest.mark.parametrize(
    "options,message",
    [
        ({"metrics": np.ones((len(POINTS), 3))}, "^metrics: must be 6 numbers or 1 for each of the points$"),
        ({"metrics": np.ones(3)}, "^metrics: must be 6 numbers"),
        ({"metrics": FIELD * 1j}, "^metrics: expected real numbers"),
        ({"given": np.zeros((400, 6))}, "^given: expected an array of shape"),
    ],
)
def test_a_bad_metric_is_named(options, message):
    with pytest.raises(ValueError, match=message):
        interpolate_metrics(POINTS, CELLS, **{"metrics": FIELD, "queries": QUERIES, **options})


# ---- the status codes ----


def prepared():
    detector = _core.NodeDetector()
    assert detector.reinit(POINTS, CELLS) == 0
    everything = np.concatenate([POINTS, QUERIES])
    nodes = np.arange(len(POINTS), len(everything), dtype=np.uint32)
    mesh = {"points": everything, "cells": CELLS, "neighbors": neighbors(CELLS, K.TH4), "ancestors": ancestors(CELLS)}
    all_ancestors = np.pad(mesh["ancestors"], (0, len(everything) - len(mesh["ancestors"])), constant_values=NO_NODE)
    return {
        "locate": {**mesh, "detector": detector, "kind": int(K.TH4), "queries": QUERIES, "tolerance": 1e-6},
        "interpolate": {**mesh, "field": linear(everything), "nodes": nodes},
        "interpolate_metrics": {
            **mesh, "ancestors": all_ancestors, "metrics": np.ones(len(everything)), "nodes": nodes,
            "keep_valid": False,
        },
    }  # fmt: skip


CORE = {
    "locate": _core.get_elements_containing_points,
    "interpolate": _core.interpolate,
    "interpolate_metrics": _core.interpolate_metrics,
}
WRONG_MESH = {
    -1: [{"points": np.zeros((9, 2))}],
    -2: [{"cells": np.full((1, 4), 10**6, dtype=np.uint32)}, {"cells": np.zeros((1, 5), dtype=np.uint32)}],
    -3: [
        {"neighbors": np.full((len(CELLS), 4), len(CELLS), dtype=np.uint32)},
        {"neighbors": np.full((1, 4), NO_NODE, dtype=np.uint32)},
    ],
    -4: [{"ancestors": np.full(3, len(CELLS), dtype=np.uint32)}],
}
CUBE = {"cells": np.arange(8, dtype=np.uint32)[None], "neighbors": np.full((1, 6), NO_NODE, dtype=np.uint32),
        "ancestors": np.zeros(8, dtype=np.uint32), "kind": int(K.H8)}  # fmt: skip
BAD_NODES = {"nodes": np.full(1, 10**6, dtype=np.uint32)}
WRONG = {
    "locate": {**WRONG_MESH, -6: [CUBE], -7: [{"queries": QUERIES[:, :2].copy()}]},
    "interpolate": {**WRONG_MESH, -5: [{"field": np.zeros(3)}, {"field": np.zeros((3, 2))}], -6: [BAD_NODES]},
    "interpolate_metrics": {
        # The numbers in the mesh are not checked here.
        **WRONG_MESH,
        -2: WRONG_MESH[-2][1:],
        -3: WRONG_MESH[-3][1:],
        -5: [{"metrics": np.zeros(3)}, {"metrics": np.zeros((3, 6))}],
        -6: [BAD_NODES],
    },
}


@pytest.mark.parametrize(
    "form,status,wrong",
    [(form, status, wrong) for form, rows in WRONG.items() for status, cases in rows.items() for wrong in cases],
)
def test_each_status_can_be_provoked_and_has_a_row(form, status, wrong):
    got = CORE[form](**{**prepared()[form], **wrong})
    assert (got[0] if form == "locate" else got) == status
    argument, reason = STATUS[form][status]
    assert argument in wrong
    with pytest.raises(ValueError, match=f"^{argument}: {reason}$"):
        check(form, status)


@pytest.mark.parametrize("form", WRONG)
def test_the_table_has_a_row_for_each_status(form):
    assert set(STATUS[form]) == set(WRONG[form])
    got = CORE[form](**prepared()[form])
    assert (got[0] if form == "locate" else got) == 0


@pytest.mark.parametrize("status,wrong", [(-1, {"points": POINTS[:, :2].copy()}), (-2, {"cells": CELLS * 1000})])
def test_a_detector_tells_what_is_wrong_with_its_mesh(status, wrong):
    arguments = {"points": POINTS, "cells": CELLS, **wrong}
    assert _core.NodeDetector().reinit(**arguments) == status
    assert STATUS["tetrahedra"][status][0] in wrong


def test_values_that_may_not_be_written_are_refused():
    arguments = prepared()["interpolate"]
    arguments["field"].flags.writeable = False
    with pytest.raises(ValueError, match="writeable"):
        _core.interpolate(**arguments)
