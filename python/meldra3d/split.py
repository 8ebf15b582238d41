"""Cuts of solids: into hexahedra, and along the diagonals of quadrangles."""

from typing import Dict, List, NamedTuple, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_points
from .elements import NO_NODE, SHAPES, ElementType, split_mixed
from .mesh import Block, Mesh
from .status import check

_K = ElementType
_SOLIDS = (_K.TH4, _K.PY5, _K.W6, _K.H8)


class SplitH8(NamedTuple):
    """What a cut into hexahedra made. Both arrays own their memory."""

    points: np.ndarray  #: (n, 3) float64: the nodes given, then the new ones
    cells: np.ndarray  #: (m, 8) uint32: the hexahedra given, then those of one element after another


def split_into_H8(
    points: ArrayLike,
    cells: ArrayLike,
    *,
    hexahedra: Optional[ArrayLike] = None,
    faces: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
) -> SplitH8:
    """Cut linear tetrahedra, wedges and hexahedra into hexahedra, one around each vertex.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, ``(m, 6)`` wedges, or ``(m, 8)`` wedges and hexahedra with `NO_NODE` in the last two
        columns of wedges. There is no such cut of pyramids, nor of tetrahedra beside other solids.
    hexahedra : array_like, optional
        ``(h, 8)`` hexahedra that the new ones are appended to.
    faces : array_like, optional
        ``(f, 9)`` quadrangles that have their middles and centre already (``Q9``), to be used again, so that two
        meshes fit together. Not for tetrahedra, which have no quadrangles.
    edges : array_like, optional
        ``(e, 3)`` edges likewise: two ends, then the node between them (``EDGE3``).

    Returns
    -------
    SplitH8
        ``(points, cells)``: 4 hexahedra of a tetrahedron, 6 of a wedge, 8 of a hexahedron. Each has the vertex, the
        middles of the edges and the centres of the faces at it, and the centre of its element. Elements that share an
        edge or a face share its new node. Nodes keep their numbers.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> cut = split_into_H8(corner, [[0, 1, 2, 3]])
    >>> len(cut.points), cut.cells[0]
    (15, array([ 0,  5, 13,  6,  7, 11, 14, 12], dtype=uint32))
    """
    p = as_points(points)
    c = as_ids(cells, 8, "cells")
    h = as_ids(hexahedra, 8, "hexahedra")
    f, e = as_ids(faces, 9, "faces"), as_ids(edges, 3, "edges")
    if c.shape[1] == 5 and len(c):  # which the library would give new nodes, but no hexahedra
        raise ValueError("cells: pyramids cannot be cut into hexahedra")
    if c.shape[1] == 4 and len(c) and len(f):
        raise ValueError("faces: tetrahedra have no quadrangles")
    status, new_points, pieces = _core.split_into_H8(p, c, h, f, e)
    check("split_into_H8", status)
    return SplitH8(new_points, pieces)


class SplitQ4(NamedTuple):
    """What a cut along quadrangles made. All arrays own their memory."""

    points: np.ndarray  #: (n, 3) float64: the nodes given, then the centroids
    cells: np.ndarray  #: (m, 8) copies and pieces in the order of the elements
    failed: np.ndarray  #: rows of the elements that could not be cut; nothing of them is in ``cells``


def split_solid_Q4(
    points: ArrayLike,
    cells: ArrayLike,
    quadrangles: ArrayLike,
    diagonals: ArrayLike,
    min_volume: float = 0.0,
) -> SplitQ4:
    """Cut linear solids so that chosen quadrangles of theirs become two triangles each.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 8)`` solids with `NO_NODE` in the columns that an element does not use; also ``(m, 4)`` tetrahedra,
        ``(m, 5)`` pyramids or ``(m, 6)`` wedges.
    quadrangles : array_like
        ``(q, 4)`` node numbers, the cycles of the faces to cut, from any node on and in any direction.
    diagonals : array_like
        For each quadrangle 0 or 1. The bit counts in an element's own listing of the face (``SHAPES[kind].faces``): 0
        joins its first and third node, 1 the others. A quadrangle that runs the other way round stands for the other
        bit. So the two elements at a quadrangle may cut it differently; given in both directions it has a bit for
        each side.
    min_volume : float
        Every piece must have a larger signed volume; otherwise the element fails.

    Returns
    -------
    SplitQ4
        ``(points, cells, failed)``. Opposite faces of a hexahedron with equal bits give two wedges; faces 2 and 3 of
        a wedge with different bits a pyramid and a tetrahedron; face 4 and another with equal bits fail. All others
        are cut into pyramids and tetrahedra around their centroid, a new node, which stays when the cut fails.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.

    Examples
    --------
    >>> cube = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
    >>> split_solid_Q4(cube, [range(8)], [[0, 1, 2, 3], [4, 7, 6, 5]], [0, 0]).cells
    array([[         2,          3,          0,          6,          7,
                     4, 4294967295, 4294967295],
           [         0,          1,          2,          4,          5,
                     6, 4294967295, 4294967295]], dtype=uint32)
    """
    p = as_points(points)
    if p.shape[1] != 3:
        raise ValueError("points: must have 3 columns")
    c = _widened(as_ids(cells, 8, "cells"), len(p))
    q = as_ids(quadrangles, 4, "quadrangles")
    if q.shape[1] != 4:
        raise ValueError("quadrangles: must have 4 columns")
    if (q >= len(p)).any():
        raise ValueError("quadrangles: name a node that does not exist")
    return SplitQ4(*_core.split_solid_Q4(p, c, q, _as_bits(diagonals, len(q)), float(min_volume))[1:])


def _widened(cells: np.ndarray, nodes: int) -> np.ndarray:
    """Linear solids in 8 columns, checked: the library's function checks nothing."""
    if cells.shape[1] not in (4, 5, 6, 8):
        raise ValueError("cells: must have 4, 5, 6 or 8 columns")
    if ((cells >= nodes) & (cells != NO_NODE)).any():
        raise ValueError("cells: name a node that does not exist")
    wide = np.full((len(cells), 8), NO_NODE, dtype=np.uint32)
    wide[:, : cells.shape[1]] = cells
    try:
        kinds = split_mixed(_K.SOLID_MIX, wide)
    except ValueError as error:
        raise ValueError(f"cells: {error}") from None
    if cells.shape[1] != 8 and any(SHAPES[kind].nodes != cells.shape[1] for kind, _ in kinds):
        raise ValueError("cells: NO_NODE goes with 8 columns only")
    return wide if cells.shape[1] != 8 else cells


def _as_bits(diagonals: ArrayLike, count: int) -> np.ndarray:
    bits = np.asarray(diagonals)
    if bits.shape != (count,):
        raise ValueError(f"diagonals: expected {count} numbers, one for each quadrangle, got shape {bits.shape}")
    if bits.size and (bits.dtype.kind not in "iub" or ((bits != 0) & (bits != 1)).any()):
        raise ValueError("diagonals: must be 0 or 1")
    return np.require(bits, np.uint32, ["C_CONTIGUOUS", "ALIGNED"])


def cut_quadrangles(mesh: Mesh, diagonals: np.ndarray, min_volume: float = 0.0) -> Mesh:
    """Cut every quadrangle of a mesh in two triangles, and the solids beside it so that they fit.

    Parameters
    ----------
    mesh : Mesh
        Its linear solids are cut; blocks that are neither solids nor quadrangles stay as they are.
    diagonals : ndarray
        For each quadrangle, block by block, 0 for the diagonal from its first to its third node, 1 for the other.
        Unlike in `split_solid_Q4` this is the same diagonal for the elements on both sides.
    min_volume : float
        Every piece must have a larger signed volume.

    Returns
    -------
    Mesh
        Nodes keep their numbers; new ones, the centroids of solids, come behind them and take the mean of the values
        on the nodes of their solid where those are real numbers, else 0. Values on elements pass to their pieces.

    Raises
    ------
    ValueError
        When the mesh has solids that are not linear, or one cannot be cut.
    """
    flat = mesh.split()
    for kind, _ in flat.blocks:
        if SHAPES[kind].dimension == 3 and kind not in _SOLIDS:
            raise ValueError(f"holds {SHAPES[kind].name}, but only linear solids can be cut")
    solid_blocks = [b for b, (kind, _) in enumerate(flat.blocks) if kind in _SOLIDS]
    wide = [_widened(flat.blocks[b][1], len(flat.points)) for b in solid_blocks]
    cells = np.concatenate(wide) if wide else np.empty((0, 8), dtype=np.uint32)
    quadrangles = [cells for kind, cells in flat.blocks if kind is _K.Q4]
    faces = np.concatenate(quadrangles) if quadrangles else np.empty((0, 4), dtype=np.uint32)

    cells, cycles, bits, is_cut = _as_elements_see_it(cells, faces, np.asarray(diagonals), len(flat.points))
    done = split_solid_Q4(flat.points, cells, cycles, bits, min_volume)
    if len(done.failed):
        raise ValueError(
            f"{len(done.failed):,} solids cannot be cut into pieces of more than {min_volume:g},"
            f" the first of them that of nodes {_nodes(cells[done.failed[0]])}"
        )
    sources = _sources(done.cells, is_cut, len(flat.points))
    return _put_together(flat, solid_blocks, done, cells, sources, np.asarray(diagonals))


def _nodes(row: np.ndarray) -> str:
    return ", ".join(str(node) for node in row[row != NO_NODE])


def _undirected(cycles: np.ndarray) -> np.ndarray:
    """One and the same row for a cycle, wherever it begins and whichever way it runs."""
    first = cycles.argmin(axis=1)[:, None]
    rows = np.take_along_axis(cycles, (first + np.arange(4)) % 4, axis=1)
    backwards = rows[:, 1] > rows[:, 3]
    rows[backwards] = rows[backwards][:, [0, 3, 2, 1]]
    return rows


def _matches(cycles: np.ndarray, quadrangles: np.ndarray, nodes: int) -> np.ndarray:
    """The quadrangle that each cycle is, or -1."""
    found = np.full(len(cycles), -1)
    on_some = np.zeros(nodes, dtype=bool)
    on_some[quadrangles.ravel()] = True
    candidates = np.flatnonzero(on_some[cycles].all(axis=1))
    keys = np.concatenate([_undirected(quadrangles), _undirected(cycles[candidates])])
    _, number = np.unique(keys, axis=0, return_inverse=True)
    quadrangle = np.full(len(keys), -1)
    quadrangle[number[: len(quadrangles)]] = np.arange(len(quadrangles))
    found[candidates] = quadrangle[number[len(quadrangles) :]]
    return found


def _as_elements_see_it(
    cells: np.ndarray, quadrangles: np.ndarray, diagonals: np.ndarray, nodes: int
) -> Tuple[np.ndarray, np.ndarray, np.ndarray, np.ndarray]:
    """The quadrangles from the side of each element, with the bit that means the same diagonal to it.

    Wedges with two quadrangles to cut are numbered so that these are faces 2 and 3, the only ones that the library
    can cut without a new node. Gives the cells, the cycles and their bits, and which elements will be cut.
    """
    cells = cells.copy()
    is_cut = np.zeros(len(cells), dtype=bool)
    cycles: List[np.ndarray] = [np.empty((0, 4), dtype=np.uint32)]
    owners: List[np.ndarray] = [np.empty(0, dtype=np.intp)]
    for kind, rows in split_mixed(_K.SOLID_MIX, cells):
        listed = np.array([face for face in SHAPES[kind].faces if len(face) == 4], dtype=np.intp)
        if len(listed) == 0:
            continue
        found = _matches(cells[rows][:, listed].reshape(-1, 4), quadrangles, nodes).reshape(len(rows), -1)
        if kind is _K.W6:
            found = _turn_wedges(cells, rows, found)
        is_cut[rows] = (found >= 0).any(axis=1)
        marked = found.ravel() >= 0
        cycles.append(cells[rows][:, listed].reshape(-1, 4)[marked])
        owners.append(found.ravel()[marked])
    faces, quadrangle = np.concatenate(cycles), np.concatenate(owners)
    _check_sides(faces)
    ends = quadrangles[quadrangle[:, None], diagonals[quadrangle][:, None] + [0, 2]]
    bits = (faces[:, :1] != ends).all(axis=1).astype(np.uint32)
    return cells, faces, bits, is_cut


def _turn_wedges(cells: np.ndarray, rows: np.ndarray, found: np.ndarray) -> np.ndarray:
    """Renumber wedges whose faces 2, 3, 4 hold two quadrangles, so that face 4 does not. Gives `found` to match."""
    found = found.copy()
    two = (found >= 0).sum(axis=1) == 2
    free = np.argmin(found >= 0, axis=1)
    for face, order, columns in ((0, (1, 2, 0, 4, 5, 3), (1, 2, 0)), (1, (2, 0, 1, 5, 3, 4), (2, 0, 1))):
        mine = two & (free == face)
        cells[rows[mine], :6] = cells[rows[mine]][:, order]
        found[mine] = found[mine][:, columns]
    return found


def _check_sides(faces: np.ndarray) -> None:
    """Refuse two elements that see a quadrangle from the same side: the library would give them one bit."""
    first = faces.argmin(axis=1)[:, None] if len(faces) else np.empty((0, 1), dtype=np.intp)
    rows = np.take_along_axis(faces, (first + np.arange(4)) % 4, axis=1)
    _, place, times = np.unique(rows, axis=0, return_index=True, return_counts=True)
    if (times > 1).any():
        twice = faces[place[np.argmax(times > 1)]]
        raise ValueError(f"two solids lie on the same side of the quadrangle of nodes {_nodes(twice)}")


def _sources(pieces: np.ndarray, is_cut: np.ndarray, nodes: int) -> np.ndarray:
    """The element that each piece comes from. Pieces around a centroid end in it; all other cuts give two."""
    if len(pieces) == 0:
        return np.empty(0, dtype=np.intp)
    last = pieces[np.arange(len(pieces)), (pieces != NO_NODE).sum(axis=1) - 1].astype(np.int64)
    around = np.bincount(last[last >= nodes] - nodes)
    counts = np.ones(len(is_cut), dtype=np.intp)
    piece = previous = 0
    for element in np.flatnonzero(is_cut):
        piece += element - previous
        counts[element] = around[last[piece] - nodes] if last[piece] >= nodes else 2
        piece += counts[element]
        previous = element + 1
    return np.repeat(np.arange(len(is_cut)), counts)


def _put_together(
    flat: Mesh, solid_blocks: List[int], done: SplitQ4, cells: np.ndarray, sources: np.ndarray, diagonals: np.ndarray
) -> Mesh:
    """The mesh of the pieces, with the values of what they come from."""
    blocks: List[Block] = []
    data: Dict[str, List[np.ndarray]] = {name: [] for name in flat.cell_data}

    def add(kind: ElementType, block: np.ndarray, b: int, source: np.ndarray) -> None:
        blocks.append((kind, block))
        for name, arrays in flat.cell_data.items():
            data[name].append(arrays[b][source])

    first_cell = first_quadrangle = 0
    for b, (kind, block) in enumerate(flat.blocks):
        rows = np.arange(len(block))
        if kind is _K.Q4:
            bit = diagonals[first_quadrangle : first_quadrangle + len(block)]
            first_quadrangle += len(block)
            halves = np.array([[(0, 1, 2), (0, 2, 3)], [(1, 2, 3), (1, 3, 0)]])[bit]
            add(_K.T3, block[rows[:, None, None], halves].reshape(-1, 3), b, np.repeat(rows, 2))
        elif b in solid_blocks:
            mine = (sources >= first_cell) & (sources < first_cell + len(block))
            add(_K.SOLID_MIX, done.cells[mine], b, sources[mine] - first_cell)
            first_cell += len(block)
        else:
            add(kind, block, b, rows)
    on_points = {name: _extended(values, done, cells, sources) for name, values in flat.point_data.items()}
    return Mesh(done.points, blocks, on_points, data).split()


def _extended(values: np.ndarray, done: SplitQ4, cells: np.ndarray, sources: np.ndarray) -> np.ndarray:
    """Values on nodes, with those of the centroids behind them."""
    given = len(values)
    longer = np.zeros((len(done.points), *values.shape[1:]), dtype=values.dtype)
    longer[:given] = values
    if values.dtype.kind != "f" or len(longer) == given:
        return longer
    last = done.cells[np.arange(len(done.cells)), (done.cells != NO_NODE).sum(axis=1) - 1]
    for piece in np.flatnonzero((last >= given) & (np.diff(sources, prepend=-1) != 0)):
        solid = cells[sources[piece]]
        longer[last[piece]] = values[solid[solid != NO_NODE]].mean(axis=0)
    return longer
