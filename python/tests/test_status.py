"""Every status code of every form: what provokes it, and which argument the error names."""

import numpy as np
import pytest

from meldra3d import (
    NO_NODE,
    _core,
    ancestors,
    circumcenters,
    convert_into_high_order,
    convert_into_linear,
    convert_into_quadratic,
    dihedral_angles,
    duplicate_surface_nodes,
    extrude_line,
    extrude_normal,
    extrude_rotate,
    extrude_spiral,
    extrude_translate,
    flip,
    flip_H8,
    flip_TH4,
    flip_W6,
    neighbors,
    normals,
    solid_angles,
    split_into_H8,
    volume,
)
from meldra3d.elements import ElementType as K
from meldra3d.status import STATUS, check

POINTS = np.array([[0.0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1], [1, 1, 1]])
TRIANGLES = np.array([[0, 1, 2]], dtype=np.uint32)
TETRAHEDRON = np.array([[0, 1, 2, 3]], dtype=np.uint32)
UP = np.array([0.0, 0, 1])


def ids(columns):
    return np.zeros((1, columns), dtype=np.uint32)


NOTHING = np.empty((0, 0), dtype=np.uint32)

# Good arguments of each form of each sweep, between the surface and the solids.
AXIS = {"axis_point": np.array([-1.0, 0, 0]), "rotation": np.array([0, -0.5, 0])}
PATHS = {
    "extrude_translate": {"direction": UP},
    "extrude_rotate": AXIS,
    "extrude_spiral": {**AXIS, "shift": UP},
    "extrude_normal": {"thickness": 1.0},
}
WAYS = {"sizes": {"sizes": (0.5, 0.5)}, "layers": {"layers": 2}}
GOOD = {f"{name} by {way}": {**path, **spacing} for name, path in PATHS.items() for way, spacing in WAYS.items()}
LINE = {"line": np.array([0, 3, 4], dtype=np.uint32), "start_direction": UP}
GOOD["extrude_normal by vectors"] = {"node_shifts": np.tile(UP, (5, 1)), "layers": 2}
GOOD["extrude_line by metrics"] = {**LINE, "metrics": np.tile([1.0, 0, 1, 0, 0, 1], (3, 1))}
GOOD["extrude_line by sizes"] = {**LINE, "sizes": np.ones(3)}
SWEEPS = {call.__name__: call for call in (extrude_translate, extrude_rotate, extrude_spiral, extrude_normal,
                                           extrude_line)}  # fmt: skip
APPENDED = ["solids", "edges", "sides", "cap"]

# What is put in place of good arguments, and the status that it gives in each form that has them.
WRONG_POINTS = {"points": np.zeros((5, 4))}
WRONG_SURFACE = {"surface": np.array([[0, 1, 5]], dtype=np.uint32)}
WRONG_SOLIDS, WRONG_EDGES, WRONG_SIDES, WRONG_CAP = (
    {name: ids(columns)} for name, columns in zip(APPENDED, (7, 3, 3, 5))
)
WRONG_SIZES = [{"sizes": (0.0, 1.0)}, {"sizes": (1.0, np.nan)}]
COMMON = {-1: WRONG_POINTS, -2: WRONG_SURFACE}


def from_status(first, *wrong):
    """Cases of successive statuses, downwards from the first."""
    return {first - k: case for k, case in enumerate(wrong)}


ALL_APPENDED = (WRONG_SOLIDS, WRONG_EDGES, WRONG_SIDES, WRONG_CAP)
WRONG = {
    "extrude_translate by sizes": {**COMMON, **from_status(-4, *WRONG_SIZES), **from_status(-7, *ALL_APPENDED)},
    "extrude_translate by layers": {**COMMON, -4: {"direction": np.zeros(3)}, **from_status(-7, *ALL_APPENDED)},
    "extrude_rotate by sizes": {**COMMON, **from_status(-5, *WRONG_SIZES), **from_status(-8, *ALL_APPENDED)},
    "extrude_rotate by layers": {**COMMON, -5: {"rotation": np.zeros(3)}, **from_status(-6, *ALL_APPENDED)},
    "extrude_spiral by sizes": {**COMMON, **from_status(-5, *WRONG_SIZES), **from_status(-8, *ALL_APPENDED)},
    "extrude_spiral by layers": {
        **COMMON, -5: {"shift": np.zeros(3)}, -7: WRONG_SOLIDS, -8: WRONG_CAP, -9: WRONG_EDGES, -10: WRONG_SIDES,
    },
    "extrude_normal by sizes": {
        **COMMON, -3: {"thickness": 0.0}, **from_status(-4, *WRONG_SIZES), **from_status(-7, *ALL_APPENDED),
    },
    "extrude_normal by layers": {
        **COMMON, -3: {"thickness": -1.0}, -4: {"thickness": 5e-324}, -5: WRONG_SOLIDS, -6: WRONG_CAP, -8: WRONG_EDGES,
        -9: WRONG_SIDES,
    },
    "extrude_normal by vectors": {**COMMON, -3: {"node_shifts": np.zeros((5, 2))}, **from_status(-5, *ALL_APPENDED)},
    "extrude_line by metrics": {
        **COMMON, -3: {"line": np.array([0, 5], dtype=np.uint32)}, -5: {"metrics": np.zeros((3, 5))},
        **from_status(-6, *ALL_APPENDED),
    },
    "extrude_line by sizes": {
        **COMMON, -3: {"line": np.array([0], dtype=np.uint32)}, **from_status(-6, *ALL_APPENDED),
    },
}  # fmt: skip
FORMS = [f"{form}{full}" for form in WRONG for full in (", in full", "")]


def wrong_in(form):
    """The cases of a form: a short one has no edges, sides and cap."""
    cases = WRONG[form.removesuffix(", in full")]
    short = {status: case for status, case in cases.items() if not {"edges", "sides", "cap"} & set(case)}
    return cases if "in full" in form else short


def good_arguments(form):
    """Good arguments of a form by their names in Python, without those that elements are appended to."""
    return {"points": POINTS, "surface": TRIANGLES, **GOOD[form.removesuffix(", in full")]}


def call_core(form, **changed):
    """Call a form in the compiled half, where arguments go by their positions."""
    arguments = {**good_arguments(form), **dict.fromkeys(APPENDED, NOTHING), **changed}
    positional = []
    for name, value in arguments.items():
        if "in full" in form or name not in ("edges", "sides", "cap"):
            positional += [*value, False] if isinstance(value, tuple) else [value]
    name, way = form.removesuffix(", in full").split(" by ")
    return getattr(_core, f"{name}_by_{way}" if name == "extrude_line" else name)(*positional)


SWEEP_CASES = [(form, status) for form in FORMS for status in wrong_in(form)]


@pytest.mark.parametrize("form,status", SWEEP_CASES)
def test_each_status_of_each_form_of_a_sweep_can_be_provoked(form, status):
    wrong = wrong_in(form)[status]
    result = call_core(form, **wrong)
    assert result[0] == status
    np.testing.assert_array_equal(result[1], wrong.get("points", POINTS))
    assert all(array.size == 0 or set(wrong) & {"solids", "sides", "cap"} for array in result[2:])


@pytest.mark.parametrize("form", FORMS)
def test_all_forms_of_a_sweep_succeed_with_good_arguments(form):
    status, points, solids, *rest = call_core(form)
    assert status == 0
    in_line = "line" in form  # whose nodes take the place of copies of node 0
    assert len(points) == len(POINTS) + (2 if in_line else 3) * len(solids)
    assert solids[0].tolist() == ([0, 1, 2, 3, 5, 6] if in_line else [0, 1, 2, 5, 6, 7])
    assert len(solids) == 2 or "by sizes" in form
    assert [len(array) for array in rest] == ([0, 1] if "in full" in form else [])


def test_the_forms_of_the_translation_agree():
    for form in FORMS[:4]:
        _, points, solids, *_ = call_core(form)
        assert solids.tolist() == [[0, 1, 2, 5, 6, 7], [5, 6, 7, 8, 9, 10]]
        assert points[5:, 2].tolist() == [0.5] * 3 + [1.0] * 3


@pytest.mark.parametrize("form", FORMS)
def test_the_table_has_a_row_for_each_wrong_argument_of_the_form(form):
    assert {status: row[0] for status, row in STATUS[form].items()} == {
        status: next(iter(case)) for status, case in wrong_in(form).items()
    }


def test_the_table_has_no_other_sweeps():
    assert {form for form in STATUS if form.startswith("extrude")} == set(FORMS)


@pytest.mark.parametrize("form,status", [(form, status) for form in WRONG for status in WRONG[form]])
def test_the_error_of_a_sweep_names_the_argument(form, status):
    wrong = WRONG[form][status]
    which = {id(case): f" the {place}" for case, place in zip(WRONG_SIZES, ("first", "second"))}
    with pytest.raises(ValueError, match=f"^{next(iter(wrong))}:{which.get(id(wrong), '')}"):
        SWEEPS[form.split()[0]](**{**good_arguments(form), **wrong})


@pytest.mark.parametrize("sizes,which", [((-1.0, 1.0), "first"), ((np.nan, 1.0), "first"), ((1.0, 0.0), "second"),
                                         ((0.0, 0.0), "first")])  # fmt: skip
def test_sizes_must_be_positive(sizes, which):
    with pytest.raises(ValueError, match=f"^sizes: the {which} must be greater than 0$"):
        extrude_translate(POINTS, TRIANGLES, UP, sizes=sizes)


@pytest.mark.parametrize("sizes", [(1e-300, 1e-300), (1e-300, 1.0)])
def test_sizes_that_ask_for_an_absurd_number_of_layers_run_out_of_memory(sizes):
    with pytest.raises(MemoryError, match="not enough memory"):
        extrude_translate(POINTS, TRIANGLES, UP, sizes=sizes)


@pytest.mark.parametrize("layers", [2**32 - 1, 2**32, 2**70])
def test_more_layers_than_node_numbers_run_out_of_memory(layers):
    with pytest.raises(MemoryError):
        extrude_translate(POINTS, TRIANGLES, UP, layers=layers)


@pytest.mark.parametrize("direction", [(0, 0, np.nan), (np.nan, 0, 0), (0, -np.inf, 0)])
def test_a_direction_that_is_not_finite_is_no_direction(direction):
    with pytest.raises((ValueError, MemoryError)):
        extrude_translate(POINTS, TRIANGLES, direction, layers=2)
    with pytest.raises(MemoryError):
        extrude_translate(POINTS, TRIANGLES, direction, sizes=(1, 1))


@pytest.mark.parametrize(
    "arguments,message",
    [
        ({}, "^layers, sizes: give one of the two"),
        ({"layers": 2, "sizes": (1, 1)}, "^layers, sizes: give one of the two"),
        ({"layers": -1}, "^layers: must not be negative"),
        ({"sizes": (1, 1, 1)}, "^sizes: expected two numbers"),
        ({"layers": 2, "direction": (0, 1)}, "^direction: expected three numbers"),
        ({"layers": 2, "direction": (0, 1, 1j)}, "^direction: expected real numbers"),
    ],
)
def test_arguments_that_never_reach_the_library_are_named_too(arguments, message):
    with pytest.raises(ValueError, match=message):
        extrude_translate(POINTS, TRIANGLES, **{"direction": UP, **arguments})


def test_a_number_of_layers_must_be_whole():
    with pytest.raises(TypeError):
        extrude_translate(POINTS, TRIANGLES, UP, layers=2.5)


@pytest.mark.parametrize(
    "sweep,arguments,message",
    [
        (extrude_rotate, {"layers": 1, "axis_point": (0, 1), "rotation": UP}, "^axis_point: expected three numbers"),
        (extrude_rotate, {"axis_point": UP, "rotation": UP}, "^layers, sizes: give one of the two"),
        (extrude_spiral, {**AXIS, "shift": "up", "layers": 1}, "^shift: expected three numbers"),
        (extrude_normal, {"layers": 1}, "^thickness, node_shifts: give one of the two"),
        (extrude_normal, {"thickness": 1, "node_shifts": POINTS, "layers": 1}, "^thickness, node_shifts: give one"),
        (extrude_normal, {"node_shifts": POINTS}, "^node_shifts: goes with layers"),
        (extrude_normal, {"node_shifts": POINTS, "sizes": (1, 1)}, "^node_shifts: goes with layers"),
        (extrude_normal, {"node_shifts": POINTS, "layers": -1}, "^layers: must not be negative"),
        (extrude_normal, {"node_shifts": UP, "layers": 1}, "^node_shifts: expected a two-dimensional array"),
        (extrude_line, {"line": [[0, 1]]}, "^line: expected a list of node numbers"),
        (extrude_line, {"line": [0, -1]}, "^line: entry 1 names node -1, but node numbers go from 0"),
        (extrude_line, {"line": [0.0, 1]}, "^line: node numbers must be integers"),
        (extrude_line, {"line": [0, 1], "sizes": 2}, "^sizes: expected a list of numbers"),
        (extrude_line, {"line": [0, 1], "sizes": ["a", "b"]}, "^sizes: expected real numbers"),
        (extrude_line, {"line": [0, 1], "metrics": [1, 0, 1, 0, 0, 1]}, "^metrics: expected a two-dimensional array"),
        (extrude_line, {"line": [0, 1], "sizes": [1], "metrics": []}, "^metrics, sizes: give not more than one"),
    ],
)
def test_arguments_of_the_other_sweeps_that_never_reach_the_library_are_named(sweep, arguments, message):
    with pytest.raises(ValueError, match=message):
        sweep(POINTS, TRIANGLES, **arguments)


@pytest.mark.parametrize("layers", [2**32 - 1, 2**70])
def test_more_layers_of_vectors_than_node_numbers_run_out_of_memory(layers):
    with pytest.raises(MemoryError):
        extrude_normal(POINTS, TRIANGLES, node_shifts=POINTS, layers=layers)


def test_the_first_of_two_wrong_arguments_is_named():
    with pytest.raises(ValueError, match="^surface:"):
        extrude_translate(POINTS, [[0, 1, 9]], (0, 0, 1), sizes=(0, 0), solids=ids(7))


def test_volume_names_the_argument():
    assert _core.volume(POINTS[:, :2].copy(), ids(4)) == (-1, 0.0)
    assert _core.volume(POINTS, ids(7)) == (-2, 0.0)
    with pytest.raises(ValueError, match="^points: must have 3 columns"):
        volume(POINTS[:, :2], ids(4))
    for cells in ([[0, 1, 2, 5]], ids(7), [[0, 1, 2, NO_NODE]]):
        with pytest.raises(ValueError, match="^cells: are not linear solids"):
            volume(POINTS, cells)


@pytest.mark.parametrize("call", [solid_angles, dihedral_angles])
def test_angles_name_the_cells(call):
    form = call.__name__
    assert list(STATUS[form]) == [-2]
    for cells in (ids(7), np.array([[0, 1, 2, 5]], dtype=np.uint32)):
        status, least, most = getattr(_core, form)(POINTS, cells, False)
        assert status == -2 and least.shape == most.shape == (1,)
        with pytest.raises(ValueError, match="^cells: are not linear solids on these points$"):
            call(POINTS, cells)


def test_circumcenters_names_the_argument():
    assert set(STATUS["circumcenters"]) == {-1, -2}
    for status, message, points, cells in [
        (-1, "points: must have 3 columns", POINTS[:, :2].copy(), TETRAHEDRON),
        (-2, "cells: are not tetrahedra on these points", POINTS, ids(5)),
        (-2, "cells: are not tetrahedra on these points", POINTS, np.array([[0, 1, 2, 5]], dtype=np.uint32)),
        (-2, "cells: are not tetrahedra on these points", POINTS, NOTHING),
    ]:
        got, centers = _core.circumcenters(points, cells)
        assert got == status and centers.size == 0
        with pytest.raises(ValueError, match=f"^{message}$"):
            circumcenters(points, cells)


WRONG_OPENING = {
    -1: {"points": POINTS[:, :2].copy()},
    -2: {"cells": np.array([[0, 1, 2, 5]], dtype=np.uint32)},
    -3: {"neighbors": ids(5)},
    -4: {"ancestors": np.zeros(3, dtype=np.uint32)},
    -5: {"surface": ids(4)},
    -9: {"kind": K.T3},
}


def test_the_table_of_the_opening_has_a_row_for_each_wrong_argument():
    assert {status: row[0] for status, row in STATUS["duplicate_surface_nodes"].items()} == {
        status: next(iter(wrong)) for status, wrong in WRONG_OPENING.items()
    }


@pytest.mark.parametrize("status", WRONG_OPENING)
def test_each_status_of_the_opening_can_be_provoked_and_names_its_argument(status):
    wrong = WRONG_OPENING[status]
    good = {
        "points": POINTS,
        "cells": TETRAHEDRON,
        "surface": TRIANGLES,
        "kind": K.TH4,
        "neighbors": np.full((1, 4), NO_NODE, dtype=np.uint32),
        "ancestors": np.zeros(4, dtype=np.uint32),
    }
    if status == -9:  # which is seen only where cells and neighbours suit the kind
        good.update(cells=TRIANGLES, neighbors=np.full((1, 3), NO_NODE, dtype=np.uint32))
    given = {**good, **wrong}
    got, points, cells = _core.duplicate_surface_nodes(
        *(given[name] for name in ("points", "cells", "neighbors", "ancestors", "surface")),
        np.empty(0, dtype=np.uint32), True, False, int(given["kind"]),
    )  # fmt: skip
    assert got == status
    np.testing.assert_array_equal(points, given["points"])
    np.testing.assert_array_equal(cells, given["cells"])
    with pytest.raises(ValueError, match=f"^{next(iter(wrong))}: "):
        duplicate_surface_nodes(**given)


def test_an_absurd_node_is_refused_before_lists_of_its_length_are_made():
    with pytest.raises(ValueError, match="^cells: are not solids of this kind on these points$"):
        duplicate_surface_nodes(POINTS, [[0, 1, 2, NO_NODE - 1]], TRIANGLES, K.TH4)


def test_neighbors_names_the_argument():
    fan = np.array([[0, 1, 2], [0, 1, 3], [0, 1, 4]], dtype=np.uint32)
    for status, name, cells, kind, strict in [
        (-1, "cells: do not suit", ids(5), K.TH4, False),
        (-2, "kind:", ids(2), K.EDGE2, False),
        (-3, "cells: more than two", fan, K.T3, True),
    ]:
        assert _core.get_neighbors(cells, int(kind), strict)[0] == status
        with pytest.raises(ValueError, match="^" + name):
            neighbors(cells, kind, strict)
    assert (neighbors(fan, K.T3) == NO_NODE).all()


@pytest.mark.parametrize("kind,columns", [(K.H8, 20), (K.SOLID_MIX, 8), (K.TH4, 0), (K.T3, 4), (-1, 4), (25, 27)])
def test_flip_names_the_kind(kind, columns):
    status, flipped = _core.flip(ids(columns), int(kind))
    assert status == -2 and flipped.shape == (1, columns)
    with pytest.raises(ValueError, match="^kind: does not have elements of this many columns$"):
        flip(ids(columns), kind)


@pytest.mark.parametrize("call,columns", [(flip_TH4, 4), (flip_W6, 6), (flip_H8, 8)])
def test_flips_of_one_kind_name_the_cells(call, columns):
    for wrong in (0, columns - 1, columns + 1, 20):
        assert getattr(_core, call.__name__)(ids(wrong))[0] == -1
        with pytest.raises(ValueError, match=f"^cells: must have {columns} columns$"):
            call(ids(wrong))


# What is put in place of a good argument of a conversion or a cut into hexahedra of one tetrahedron.
WRONG_CONVERSION = {
    -1: {"points": POINTS[:, :2].copy()},
    -2: {"cells": np.array([[0, 1, 2, 5]], dtype=np.uint32)},
    -11: {"faces": ids(7)},
    -12: {"edges": np.array([[0, 1, 5]], dtype=np.uint32)},
}
WRONG_COUNTS = {
    -4: {"quadrangle_nodes": 2},
    -5: {"triangle_nodes": 2},
    -6: {"hexahedron_nodes": 64},
    -7: {"tetrahedron_nodes": 2},
    -9: {"pyramid_nodes": 2},
}
WRONG_HEXAHEDRA = {
    **{status: WRONG_CONVERSION[status] for status in (-1, -2)},
    -3: {"hexahedra": ids(7)},
    -4: {"faces": ids(8)},
    -5: {"edges": ids(2)},
}
COUNTS = ["edge_nodes", "quadrangle_nodes", "triangle_nodes", "hexahedron_nodes", "tetrahedron_nodes", "wedge_nodes",
          "pyramid_nodes"]  # fmt: skip


def core_of(form):
    """The arguments of a form in the compiled half, and how it is called."""
    good = {"points": POINTS, "cells": TETRAHEDRON, "faces": NOTHING, "edges": NOTHING, "hexahedra": NOTHING,
            **dict(zip(COUNTS, (1, 1, 0, 1, 0, 0, 0)))}  # fmt: skip
    call = {
        "convert_into_quadratic": lambda a: [a["points"], a["cells"], a["faces"], a["edges"]],
        "convert_into_high_order": lambda a: [a["points"], a["cells"], [a[name] for name in COUNTS], a["faces"],
                                              a["edges"]],
        "split_into_H8": lambda a: [a["points"], a["cells"], a["hexahedra"], a["faces"], a["edges"]],
    }[form]  # fmt: skip
    return lambda wrong: getattr(_core, form)(*call({**good, **wrong}))


NEW_NODES = {
    "convert_into_quadratic": (convert_into_quadratic, WRONG_CONVERSION),
    "convert_into_high_order": (convert_into_high_order, {**WRONG_CONVERSION, **WRONG_COUNTS}),
    "split_into_H8": (split_into_H8, WRONG_HEXAHEDRA),
}


@pytest.mark.parametrize("form", NEW_NODES)
def test_the_table_of_a_conversion_has_a_row_for_each_wrong_argument(form):
    assert set(STATUS[form]) == set(NEW_NODES[form][1])
    status, points, cells = core_of(form)({})
    assert status == 0 and len(points) > len(POINTS) and len(cells) == (4 if "H8" in form else 1)


@pytest.mark.parametrize("form,status", [(form, status) for form, (_, wrong) in NEW_NODES.items() for status in wrong])
def test_each_status_of_a_conversion_can_be_provoked_and_names_its_argument(form, status):
    call, wrong = NEW_NODES[form][0], NEW_NODES[form][1][status]
    got, points, cells = core_of(form)(wrong)
    assert got == status
    np.testing.assert_array_equal(points, wrong.get("points", POINTS))
    assert len(cells) == (1 if "hexahedra" in wrong else 0)
    arguments = {"points": POINTS, "cells": TETRAHEDRON, **wrong}
    if form == "convert_into_high_order":
        arguments["edge_nodes"] = 1
    with pytest.raises(ValueError, match=f"^{next(iter(wrong))}: "):
        call(**arguments)


@pytest.mark.parametrize("columns", [1, 4, 8, 9, 12, 28])
def test_only_quadratic_solids_become_linear(columns):
    status, cells = _core.convert_into_linear(ids(columns))
    assert status == -1 and cells.shape == (1, columns)
    with pytest.raises(ValueError, match="^cells: must have 10, 13, 14, 15, 18, 20 or 27 columns$"):
        convert_into_linear(ids(columns))


@pytest.mark.parametrize(
    "arguments,message",
    [
        ({"cells": [[0, 1, 2, 3, 4]]}, "^cells: pyramids cannot be cut into hexahedra$"),
        ({"cells": [[0, 1, 2, 3] + 4 * [NO_NODE]]}, "^cells: are not tetrahedra in 4 columns, or"),
        ({"cells": [[0, 1, 2, 3, 4] + 3 * [NO_NODE]]}, "^cells: are not tetrahedra in 4 columns, or"),
        ({"cells": TETRAHEDRON, "faces": ids(9)}, "^faces: tetrahedra have no quadrangles$"),
    ],
)
def test_what_cannot_be_cut_into_hexahedra_is_named(arguments, message):
    with pytest.raises(ValueError, match=message):
        split_into_H8(POINTS, **arguments)


@pytest.mark.parametrize(
    "status,wrong",
    [
        (-1, {"points": POINTS[:, :2].copy()}),
        (-2, WRONG_SURFACE),
        (-3, {"tolerance": -1e-300}),
        (-3, {"tolerance": np.nan}),
    ],
)
def test_normals_names_the_argument(status, wrong):
    arguments = {"points": POINTS, "surface": TRIANGLES, "tolerance": 0.0, "unit": True, **wrong}
    assert _core.normals(*arguments.values())[0] == status
    with pytest.raises(ValueError, match=f"^{next(iter(wrong))}: "):
        normals(**arguments)


def test_every_row_of_the_table_raises_its_argument_and_reason():
    for form, rows in STATUS.items():
        check(form, 0)
        with pytest.raises(MemoryError):
            check(form, -199)
        for status, (argument, reason) in rows.items():
            with pytest.raises(ValueError) as caught:
                check(form, status)
            assert str(caught.value) == f"{argument}: {reason}"


def test_ancestors_has_no_status_of_its_own():
    assert STATUS["ancestors"] == {}
    assert ancestors([]).shape == (0,)
