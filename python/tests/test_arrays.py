"""Arrays on their way into the library and out of it."""

import gc
import os
import threading

import numpy as np
import pytest

import meldra3d
from meldra3d import (
    NO_NODE,
    _core,
    ancestors,
    extrude_line,
    extrude_normal,
    extrude_rotate,
    extrude_spiral,
    extrude_translate,
    neighbors,
    volume,
)
from meldra3d.arrays import as_ids, as_points
from meldra3d.elements import ElementType as K

SQUARE = np.array([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0, 0]], dtype=np.float64)
FACES = np.array([[0, 1, 2, 3], [1, 4, 2, NO_NODE]], dtype=np.uint32)
EDGES = np.array([[0, 1], [1, 4]], dtype=np.uint32)
SOLIDS = np.array([[0, 1, 2, 3, 0, 1, 2, 3]], dtype=np.uint32)
TETRAHEDRA = np.array([[0, 2, 1, 3]], dtype=np.uint32)


def test_arrays_of_the_right_type_are_used_without_a_copy():
    for array, convert in ((SQUARE, as_points(SQUARE)), (FACES, as_ids(FACES, 4, "surface"))):
        assert np.shares_memory(array, convert) and convert is array


def test_the_compiled_half_refuses_what_it_would_have_to_copy():
    for points, cells in [
        (SQUARE.astype(np.float32), TETRAHEDRA),
        (np.asfortranarray(SQUARE), TETRAHEDRA),
        (SQUARE[::2], TETRAHEDRA),
        (SQUARE.astype(">f8"), TETRAHEDRA),
        (SQUARE, TETRAHEDRA.astype(np.int64)),
        (SQUARE, TETRAHEDRA.astype(np.uint16)),
        (SQUARE, TETRAHEDRA.tolist()),
    ]:
        with pytest.raises(TypeError):
            _core.volume(points, cells)
    assert _core.volume(SQUARE, TETRAHEDRA)[0] == 0


def test_read_only_arrays_are_fine():
    points, faces = SQUARE.copy(), FACES.copy()
    points.flags.writeable = faces.flags.writeable = False
    assert len(extrude_translate(points, faces, (0, 0, 1), layers=2).solids) == 4


LINE = np.array([0, 5, 6], dtype=np.uint32)
METRICS = np.tile([1.0, 0, 1, 0, 0, 1], (3, 1))
OTHER_SWEEPS = [
    (extrude_rotate, (np.array([-1.0, 0, 0]), np.array([0.0, -1, 0])), {"layers": 2}),
    (extrude_spiral, (np.array([-1.0, 0, 0]), np.array([0.0, -1, 0]), np.array([0.0, 0, 1])), {"sizes": (0.3, 0.2)}),
    (extrude_normal, (1.0,), {"layers": 2}),
    (extrude_normal, (), {"node_shifts": np.ones((7, 3)), "layers": 2}),
    (extrude_normal, (), {"node_shifts": np.ones((7, 3)), "layers": 0}),
    (extrude_line, (LINE, np.array([0.0, 1, 1])), {"sizes": np.array([1.0, 2, 3])}),
    (extrude_line, (LINE, np.array([0.0, 1, 1])), {"metrics": METRICS}),
]


@pytest.mark.parametrize("call,path,how", OTHER_SWEEPS)
@pytest.mark.parametrize("edges", [EDGES, EDGES[:0]])
def test_inputs_of_the_other_sweeps_lie_in_memory_that_cannot_be_written_to(tmp_path, call, path, how, edges):
    def locked(value):
        if not isinstance(value, np.ndarray) or value.size == 0:
            return value
        file = tmp_path / str(len(os.listdir(tmp_path)))
        file.write_bytes(value.tobytes())
        return np.memmap(file, value.dtype, "r", shape=value.shape)

    points = np.concatenate([SQUARE, [[0, 0, 1], [0, 1, 2]]])
    beyond = np.array([[0, 1, 2, 3], [4, 1, 9, 12]], dtype=np.uint32)  # a sweep along a line would rename 9 and 12
    given = {"solids": SOLIDS, "edges": edges, "sides": beyond, "cap": FACES, **how}
    expected = call(points.copy(), FACES.copy(), *path, **{**given, "sides": beyond.copy()})
    made = call(locked(points), locked(FACES), *map(locked, path), **{name: locked(v) for name, v in given.items()})
    for array, same in zip(made, expected):
        np.testing.assert_array_equal(array, same)
        array[...] = 7  # of memory of its own


@pytest.mark.parametrize("how", [{"layers": 3}, {"sizes": (0.1, 0.4)}, {"layers": 0}])
def test_inputs_keep_every_bit(how):
    given = [array.copy() for array in (SQUARE, FACES, np.array([0.0, 0, 1]), SOLIDS, EDGES, FACES[:1], FACES)]
    before = [array.tobytes() for array in given]
    points, surface, direction, solids, edges, sides, cap = given
    made = extrude_translate(points, surface, direction, **how, solids=solids, edges=edges, sides=sides, cap=cap)
    for array in made:
        array[...] = 7  # must not show through in what was given
    assert [array.tobytes() for array in given] == before


def test_inputs_of_the_read_only_functions_keep_every_bit():
    before = SQUARE.tobytes(), TETRAHEDRA.tobytes(), FACES.tobytes()
    volume(SQUARE, TETRAHEDRA)
    neighbors(FACES, K.FACE_MIX)
    ancestors(FACES)
    assert (SQUARE.tobytes(), TETRAHEDRA.tobytes(), FACES.tobytes()) == before


def test_results_outlive_everything_they_came_from():
    def make():
        points, faces = SQUARE.copy(), FACES.copy()
        made = extrude_translate(points, faces, (0, 0, 1), layers=2, edges=EDGES.copy())
        return (*made, neighbors(faces, K.FACE_MIX), ancestors(faces))

    kept = make()
    expected = [array.copy() for array in kept]
    gc.collect()
    litter = [np.full(array.shape, 3, dtype=array.dtype) for array in kept for _ in range(50)]
    for array, copy in zip(kept, expected):
        np.testing.assert_array_equal(array, copy)
        assert array.flags.c_contiguous and array.flags.writeable
    assert litter


def test_results_are_freed_with_their_last_array():
    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1])

    pages = []
    for _ in range(6):
        swept = extrude_translate(SQUARE, FACES, (0, 0, 1), layers=200_000)  # about 60 MB
        del swept
        pages.append(resident())
    assert pages[-1] - pages[1] < 10_000, pages  # 40 MB; five leaks would be 300


def test_unchanged_points_come_back_as_a_copy():
    made = extrude_translate(SQUARE, FACES, (0, 0, 1), layers=0, solids=SOLIDS, cap=FACES)
    for result, given in ((made.points, SQUARE), (made.solids, SOLIDS), (made.cap, FACES)):
        np.testing.assert_array_equal(result, given)
        assert not np.shares_memory(result, given)


@pytest.mark.parametrize("points", [SQUARE.astype(np.float32), np.asfortranarray(SQUARE), SQUARE.astype(">f8"),
                                    SQUARE.astype(int), SQUARE.tolist(), np.repeat(SQUARE, 2, axis=0)[::2]])  # fmt: skip
@pytest.mark.parametrize("faces", [FACES.astype(np.int64), np.asfortranarray(FACES), FACES.astype(">u4"),
                                   FACES.tolist(), np.repeat(FACES, 2, axis=1)[:, ::2]])  # fmt: skip
def test_other_types_and_orders_are_converted(points, faces):
    expected = extrude_translate(SQUARE, FACES, (0, 0, 1), layers=2)
    for array, other in zip(extrude_translate(points, faces, [0, 0, 1], layers=2), expected):
        np.testing.assert_array_equal(array, other)


def test_unaligned_arrays_are_converted():
    memory = np.zeros(SQUARE.nbytes + 1, dtype=np.uint8)
    unaligned = memory[1:].view(np.float64).reshape(SQUARE.shape)
    unaligned[...] = SQUARE
    assert not unaligned.flags.aligned and as_points(unaligned).flags.aligned
    assert volume(unaligned, TETRAHEDRA) == volume(SQUARE, TETRAHEDRA)


@pytest.mark.parametrize("value,text", [(-1, "-1"), (2**32, "4294967296"), (2**40, "1099511627776")])
def test_node_numbers_that_do_not_fit_are_refused_and_not_wrapped(value, text):
    cells = TETRAHEDRA.astype(np.int64)
    cells[0, 2] = value
    for call in (
        lambda: volume(SQUARE, cells),
        lambda: ancestors(cells),
        lambda: neighbors(cells, K.TH4),
    ):
        with pytest.raises(ValueError, match=f"^cells: element 0 names node {text},"):
            call()


@pytest.mark.parametrize(
    "cells,message",
    [
        (np.zeros((1, 4)), "must be integers, got float64"),
        (np.zeros((1, 4), dtype=bool), "must be integers, got bool"),
        ([["a", "b", "c", "d"]], "must be integers"),
        (np.zeros(4, dtype=int), "two-dimensional"),
        (np.zeros((1, 4, 1), dtype=int), "two-dimensional"),
        (3, "two-dimensional"),
    ],
)
def test_cells_that_are_no_table_of_whole_numbers_are_refused(cells, message):
    with pytest.raises(ValueError, match="^cells: .*" + message):
        volume(SQUARE, cells)


@pytest.mark.parametrize(
    "points,message",
    [
        (SQUARE.astype(complex), "real numbers, got complex128"),
        ([["x", "y", "z"]], "real numbers"),
        (SQUARE[0], "two-dimensional"),
        ([], "two-dimensional"),
    ],
)
def test_points_that_are_no_table_of_numbers_are_refused(points, message):
    with pytest.raises(ValueError, match="^points: .*" + message):
        volume(points, TETRAHEDRA)


def test_calls_from_many_threads_agree():
    expected = extrude_translate(SQUARE, FACES, (0, 0, 1), layers=2000)
    results = [None] * 4

    def work(k):
        results[k] = [extrude_translate(SQUARE, FACES, (0, 0, 1), layers=2000) for _ in range(20)]

    threads = [threading.Thread(target=work, args=(k,)) for k in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    for made in (swept for result in results for swept in result):
        np.testing.assert_array_equal(made.points, expected.points)
        np.testing.assert_array_equal(made.solids, expected.solids)


def test_other_threads_run_during_a_call():
    seen = []  # what the other thread saw each time it ran: the number of the call under way
    under_way = [0]
    stop = threading.Event()

    def watch():
        while not stop.wait(0.0005):
            seen.append(under_way[0])

    watcher = threading.Thread(target=watch)
    watcher.start()
    try:
        for call in range(1, 11):
            under_way[0] = call
            extrude_translate(SQUARE, FACES, (0, 0, 1), layers=500_000)
            under_way[0] = 0
            if seen.count(call) > 3:  # a call that kept the others out could be seen at its two ends only
                break
    finally:
        stop.set()
        watcher.join()
    assert max(seen.count(call) for call in range(1, 11)) > 3


def test_element_types_are_those_of_the_library():
    named = {name[3:]: value for name, value in vars(_core).items() if name.startswith("ET_")}
    assert named == {kind.name: kind.value for kind in K}
    assert len(named) == 24 and K.H27 == 24 and K.FACE_MIX == 5
    assert NO_NODE == 2**32 - 1


def test_the_version_is_that_of_the_library():
    assert meldra3d.version() == "5.6.0.0"
