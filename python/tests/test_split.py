"""Cuts along quadrangles: the library's, and those that choose the same diagonal on both sides."""

import itertools

import numpy as np
import pytest
from reference_elements import USUAL

from meldra3d import NO_NODE, Mesh, _core, neighbors, split_solid_Q4, volume
from meldra3d.elements import SHAPES
from meldra3d.elements import ElementType as K
from meldra3d.measures import signed_volumes
from meldra3d.split import cut_quadrangles

CUBE = np.array(USUAL["hexahedron"], dtype=float)
PRISM = np.array(USUAL["wedge"], dtype=float)


def used(row):
    return row[row != NO_NODE].tolist()


def test_a_cube_with_one_quadrangle_becomes_five_pyramids_and_two_tetrahedra():
    done = split_solid_Q4(CUBE, [range(8)], [[3, 2, 6, 7]], [0])
    assert [used(row) for row in done.cells] == [
        [0, 3, 7, 4, 8], [1, 5, 6, 2, 8], [0, 4, 5, 1, 8], [3, 6, 2, 8], [6, 3, 7, 8], [0, 1, 2, 3, 8], [4, 7, 6, 5, 8],
    ]  # fmt: skip
    np.testing.assert_array_equal(done.points[:8], CUBE)
    np.testing.assert_allclose(done.points[8], [0.5, 0.5, 0.5])
    assert done.failed.tolist() == [] and done.failed.dtype == np.uint32
    assert volume(done.points, done.cells) == pytest.approx(1)


def test_what_fails_is_listed_and_left_out():
    done = split_solid_Q4(CUBE, [range(8), [0, 1, 3, 4] + 4 * [NO_NODE]], [[3, 2, 6, 7]], [0], min_volume=1)
    assert done.failed.tolist() == [0]
    assert [used(row) for row in done.cells] == [[0, 1, 3, 4]]
    assert len(done.points) == 9


@pytest.mark.parametrize("bits", [[0], (1,), np.array([True]), np.array([1], dtype=np.int8)])
def test_diagonals_of_any_whole_type(bits):
    done = split_solid_Q4(CUBE, [range(8)], [[3, 2, 6, 7]], bits)
    assert used(done.cells[3]) == ([3, 6, 2, 8] if int(bits[0]) == 0 else [2, 7, 6, 8])


def test_solids_of_one_kind_may_come_in_their_own_columns():
    wedge = split_solid_Q4(PRISM, [range(6)], [[2, 1, 4, 5], [0, 2, 5, 3]], [0, 1])
    assert [used(row) for row in wedge.cells] == [[1, 0, 3, 4, 2], [4, 3, 2, 5]]
    tetrahedron = split_solid_Q4(CUBE, [[0, 1, 3, 4]], [], [])
    assert [used(row) for row in tetrahedron.cells] == [[0, 1, 3, 4]]


def test_inputs_are_left_alone_and_results_own_their_memory():
    cells = np.arange(8, dtype=np.uint32)[None, :]
    points = CUBE.copy()
    points.setflags(write=False)
    cells.setflags(write=False)
    done = split_solid_Q4(points, cells, [[3, 2, 6, 7]], [0])
    np.testing.assert_array_equal(points, CUBE)
    assert not np.shares_memory(done.points, points)
    copied = split_solid_Q4(points, cells, [], [])
    assert not np.shares_memory(copied.points, points) and not np.shares_memory(copied.cells, cells)
    assert copied.points.flags.writeable and copied.cells.flags.writeable


def test_no_solids_stay_none():
    done = split_solid_Q4(CUBE, [], [[0, 1, 2, 3]], [1])
    assert done.cells.shape == (0, 8) and done.failed.shape == (0,) and done.points.shape == (8, 3)


H = list(range(8))


@pytest.mark.parametrize(
    "arguments,message",
    [
        ((CUBE[:, :2], [H], [], []), "^points: must have 3 columns"),
        ((CUBE, [H[:7]], [], []), "^cells: must have 4, 5, 6 or 8 columns"),
        ((CUBE, [[8] + H[1:]], [], []), "^cells: name a node that does not exist"),
        ((CUBE, [H[:7] + [NO_NODE]], [], []), "^cells: element 0 does not fill"),
        ((CUBE, [H[:3] + [NO_NODE]], [], []), "^cells: element 0 does not fill"),
        ((CUBE, [H[:5] + [NO_NODE]], [], []), "^cells: NO_NODE goes with 8 columns only"),
        ((CUBE, [H], [[0, 1, 2]], [0]), "^quadrangles: must have 4 columns"),
        ((CUBE, [H], [[0, 1, 2, 8]], [0]), "^quadrangles: name a node that does not exist"),
        ((CUBE, [H], [[0, 1, 2, 3]], []), "^diagonals: expected 1 numbers, one for each quadrangle"),
        ((CUBE, [H], [[0, 1, 2, 3]], [[0]]), "^diagonals: expected 1 numbers"),
        ((CUBE, [H], [[0, 1, 2, 3]], [2]), "^diagonals: must be 0 or 1"),
        ((CUBE, [H], [[0, 1, 2, 3]], [-1]), "^diagonals: must be 0 or 1"),
        ((CUBE, [H], [[0, 1, 2, 3]], [0.0]), "^diagonals: must be 0 or 1"),
    ],
)
def test_bad_arguments_are_named(arguments, message):
    with pytest.raises(ValueError, match=message):
        split_solid_Q4(*arguments)


def test_the_compiled_half_gives_status_0():
    nothing = np.empty((0, 0), dtype=np.uint32)
    status, points, cells, failed = _core.split_solid_Q4(CUBE, nothing, nothing, np.empty(0, dtype=np.uint32), 0.0)
    assert (status, points.shape, cells.shape, failed.shape) == (0, (8, 3), (0, 8), (0,))


# ---- one diagonal for both sides ----


def box(rng, n):
    """n x n x n cells, each a hexahedron, two wedges or six pyramids, numbered from any of their nodes on."""
    side = np.arange(n + 1)
    points = np.stack(np.meshgrid(side, side, side, indexing="ij"), axis=-1).reshape(-1, 3)[:, ::-1].astype(float)
    points = list(points)
    blocks = {K.H8: [], K.W6: [], K.PY5: []}
    # Cells of a column along z are of one kind, so that wedges meet quadrangles with quadrangles.
    kinds = rng.integers(0, 3, (n, n))
    for k, j, i in itertools.product(range(n), repeat=3):
        base = i + (n + 1) * (j + (n + 1) * k)
        up = (n + 1) ** 2
        h = np.array([base, base + 1, base + n + 2, base + n + 1])
        h = np.concatenate([h, h + up])
        if kinds[j, i] == 0:
            for order in [(1, 2, 3, 0, 5, 6, 7, 4)] * rng.integers(4) + [(3, 2, 6, 7, 0, 1, 5, 4)] * rng.integers(4):
                h = h[list(order)]
            blocks[K.H8].append(h)
        elif kinds[j, i] == 1:
            for w in (h[[0, 1, 2, 4, 5, 6]], h[[0, 2, 3, 4, 6, 7]]):
                for order in [(1, 2, 0, 4, 5, 3)] * rng.integers(3) + [(3, 5, 4, 0, 2, 1)] * rng.integers(2):
                    w = w[list(order)]
                blocks[K.W6].append(w)
        else:
            middle = len(points)
            points.append(np.array([i, j, k]) + 0.5)
            for face in SHAPES[K.H8].faces:
                blocks[K.PY5].append([*np.roll(h[list(face)], rng.integers(4)), middle])
    return Mesh(np.array(points), [(kind, cells) for kind, cells in blocks.items() if cells])


def quadrangular_faces(mesh):
    """All of them once, from any node on and in any direction."""
    found = {}
    for kind, cells in mesh.blocks:
        for face in SHAPES[kind].faces:
            if len(face) == 4:
                for cycle in cells[:, face]:
                    found[frozenset(cycle.tolist())] = cycle
    return list(found.values())


def wide(mesh):
    rows = [np.pad(cells, ((0, 0), (0, 8 - cells.shape[1])), constant_values=NO_NODE) for kind, cells in mesh.blocks
            if SHAPES[kind].dimension == 3]  # fmt: skip
    return np.concatenate(rows)


def boundary_faces(mesh):
    cells = wide(mesh)
    outside = neighbors(cells, K.SOLID_MIX) == NO_NODE
    found = []
    for cell, is_open in zip(cells, outside):
        count = int((cell != NO_NODE).sum())
        faces = SHAPES[{4: K.TH4, 5: K.PY5, 6: K.W6, 8: K.H8}[count]].faces
        found += [frozenset(cell[list(face)].tolist()) for face, open_face in zip(faces, is_open) if open_face]
    return sorted(map(sorted, found))


@pytest.mark.parametrize("seed", range(12))
def test_the_cut_mesh_fits_together_as_the_mesh_did(seed):
    rng = np.random.default_rng(seed)
    mesh = box(rng, 3)
    faces = quadrangular_faces(mesh)
    chosen = [np.roll(face[:: rng.choice([1, -1])], rng.integers(4)) for face in faces if rng.random() < 0.3]
    bits = rng.integers(0, 2, len(chosen))
    blocks = [*mesh.blocks, (K.Q4, np.array(chosen))]
    kinds = [len(cells) for _, cells in blocks]
    source = {"element": [np.arange(count) + 1000 * b for b, count in enumerate(kinds)]}
    whole = Mesh(mesh.points, blocks, {"x": mesh.points[:, 0], "xyz": mesh.points}, source)
    cut = cut_quadrangles(whole, bits)

    # Every boundary face is there; those that were chosen are two triangles.
    halves = {}
    for face, bit in zip(chosen, bits):
        a, b, c, d = np.roll(face, -bit).tolist()
        halves[frozenset(face.tolist())] = [sorted([a, b, c]), sorted([c, d, a])]
    expected = []
    for face in boundary_faces(mesh):
        expected += halves.get(frozenset(face), [face])
    assert boundary_faces(cut) == sorted(expected)
    triangles = [cells for kind, cells in cut.blocks if kind is K.T3]
    assert sorted(sorted(t.tolist()) for t in triangles[0]) == sorted(sum(halves.values(), []))

    # Each piece lies in the element that it takes its values from.
    np.testing.assert_allclose(cut.point_data["x"], cut.points[:, 0], atol=1e-12)
    np.testing.assert_allclose(cut.point_data["xyz"], cut.points, atol=1e-12)
    pieces = {}
    for (kind, cells), values in zip(cut.blocks, cut.cell_data["element"]):
        if SHAPES[kind].dimension == 3:
            volumes = signed_volumes(cut.points, kind, cells)
            assert (volumes > 0).all()
            for v, element in zip(volumes, values):
                pieces[element] = pieces.get(element, 0) + v
    for (kind, cells), values in zip(mesh.blocks, source["element"]):
        np.testing.assert_allclose([pieces[e] for e in values], signed_volumes(mesh.points, kind, cells))


@pytest.mark.parametrize("turn", range(3))
@pytest.mark.parametrize("free", range(3))
@pytest.mark.parametrize("bits", [(0, 1), (1, 0), (0, 0), (1, 1)])
def test_a_wedge_is_cut_whichever_two_of_its_quadrangles_are_chosen(turn, free, bits):
    order = np.roll([0, 1, 2], turn)
    wedge = np.concatenate([order, order + 3])
    sides = [[2, 1, 4, 5], [0, 2, 5, 3], [1, 0, 3, 4]]
    chosen = sides[:free] + sides[free + 1 :]
    cut = cut_quadrangles(Mesh(PRISM, [(K.W6, [wedge]), (K.Q4, chosen)]), np.array(bits))
    shared = len(set(np.array(chosen[0])[[bits[0], bits[0] + 2]]) & set(np.array(chosen[1])[[bits[1], bits[1] + 2]]))
    expected = {K.PY5: 1, K.TH4: 1} if shared else {K.PY5: 1, K.TH4: 6}
    assert {kind: n for kind, n in cut.counts().items() if kind is not K.T3} == expected


def test_quadrangles_that_bound_no_solid_are_cut_alone():
    points = np.concatenate([CUBE, CUBE[:4] + [5, 0, 0]])
    mesh = Mesh(points, [(K.H8, [range(8)]), (K.Q4, [[8, 9, 10, 11]]), (K.EDGE2, [[0, 1]])])
    cut = cut_quadrangles(mesh, np.array([1]))
    assert cut.counts() == {K.EDGE2: 1, K.T3: 2, K.H8: 1}
    assert [cells.tolist() for kind, cells in cut.blocks if kind is K.T3] == [[[9, 10, 11], [9, 11, 8]]]
    surface = cut_quadrangles(Mesh(CUBE, [(K.Q4, [[0, 1, 2, 3]])]), np.array([0]))
    assert surface.blocks[0][1].tolist() == [[0, 1, 2], [0, 2, 3]]


def test_two_solids_on_one_side_are_refused():
    apexes = np.array([[0.5, 0.5, 0.5], [0.5, 0.5, 0.6]])
    mesh = Mesh(np.concatenate([CUBE, apexes]), [(K.PY5, [[0, 1, 2, 3, 8], [1, 2, 3, 0, 9]]), (K.Q4, [[0, 1, 2, 3]])])
    with pytest.raises(ValueError, match="^two solids lie on the same side of the quadrangle of nodes"):
        cut_quadrangles(mesh, np.array([0]))
