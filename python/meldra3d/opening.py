"""Meshes of solids opened along an inner surface."""

from typing import Any, List, NamedTuple, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_id_list, as_ids, as_points
from .boundary import edges_of, lonely_faces
from .elements import NO_NODE, SHAPES, ElementType, split_mixed
from .mesh import Block, Mesh
from .status import check
from .topology import ancestors as find_ancestors
from .topology import neighbors as find_neighbors

_K = ElementType
_NEAR = 1e-8  # of the size of a mesh: a node this near to a plane lies in it, and nodes this near are at one place


class Opened(NamedTuple):
    """A mesh opened along a surface. All arrays own their memory."""

    points: np.ndarray  #: (n, 3) float64: the nodes given, then the copies
    cells: np.ndarray  #: (m, k) uint32: the solids, with copies in place of nodes on the sides asked for
    pairs: np.ndarray  #: (p, 2) uint32: each copied node and its copy; with two sides, those of the plus side first


def duplicate_surface_nodes(
    points: ArrayLike,
    cells: ArrayLike,
    surface: ArrayLike,
    kind: ElementType,
    *,
    excluded: Optional[ArrayLike] = None,
    plus: bool = True,
    minus: bool = False,
    neighbors: Optional[ArrayLike] = None,
    ancestors: Optional[ArrayLike] = None,
) -> Opened:
    """Open a mesh of solids along an inner surface, so that the solids on its two sides share no nodes there.

    Each node of the surface gets a copy at the same place, which the solids on one side around the node take; with both
    sides two copies, and the node itself is left to none of these solids. The plus side is the one that the normal of
    the surface points into, if the solids are direct.

    At the border of an open surface, as at the front of a crack, both sides meet, and solids of either may take the
    copies. Give the nodes there as ``excluded``.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, or ``(m, 8)`` hexahedra or solids of all kinds with `NO_NODE` in the columns that an
        element does not use.
    surface : array_like
        Faces of these solids: ``(s, 3)`` triangles, ``(s, 4)`` quadrangles, or of mixed solids either, with `NO_NODE`
        in the last of 4 columns of triangles.
    kind : ElementType
        ``TH4``, ``H8`` or ``SOLID_MIX``.
    excluded : array_like, optional
        Nodes to keep as they are; those that the surface does not have count for nothing.
    plus, minus : bool
        Which sides take copies. With neither, nothing changes.
    neighbors, ancestors : array_like, optional
        What the functions of these names give of ``cells``; made here unless given.

    Returns
    -------
    Opened
        ``(points, cells, pairs)``. Copies are numbered as the nodes first come in ``surface``, row by row; for the
        minus side each row is read with its first and third node exchanged. A node whose faces belong to no solid has
        a copy that no solid uses.

    Raises
    ------
    ValueError
        For a bad argument, which the message names; ``ancestors`` also when the one of a node to be copied is not an
        element that holds it. A node of the surface that no solid holds has none.
    MemoryError
        When memory ran out, or nodes would need larger numbers than 32 bits hold.

    Examples
    --------
    Two tetrahedra with the triangle between them:

    >>> points = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1], [0, 0, -1]]
    >>> opened = duplicate_surface_nodes(points, [[0, 1, 2, 3], [0, 2, 1, 4]], [[0, 2, 1]], ElementType.TH4)
    >>> opened.cells
    array([[5, 7, 6, 3],
           [0, 2, 1, 4]], dtype=uint32)
    >>> opened.pairs
    array([[0, 5],
           [2, 6],
           [1, 7]], dtype=uint32)
    """
    p = as_points(points)
    c = as_ids(cells, 8, "cells")
    faces = as_ids(surface, 4, "surface")
    if kind == _K.SOLID_MIX and faces.shape[1] == 3:
        faces = np.pad(faces, ((0, 0), (0, 1)), constant_values=NO_NODE)
    kept = as_id_list([] if excluded is None else excluded, "excluded")
    # The library refuses a node beyond the points before it looks at neighbours and ancestors, whose lists would be as
    # long as the largest number.
    sound = p.shape[1] == 3 and c.size > 0 and not ((c >= len(p)) & (c != NO_NODE)).any()
    nothing = np.empty((0, 0), dtype=np.uint32)
    if neighbors is not None:
        across = as_ids(neighbors, 0, "neighbors")
    else:
        across = find_neighbors(c, kind) if sound else nothing
    if ancestors is not None:
        holders = as_id_list(ancestors, "ancestors")
    else:
        holders = find_ancestors(c) if sound else nothing.ravel()
    added, new_points, new_cells = _core.duplicate_surface_nodes(
        p, c, across, holders, faces, kept, bool(plus), bool(minus), int(kind)
    )
    check("duplicate_surface_nodes", added)
    asked = c.size > 0 and faces.size > 0
    passes = [faces] * (asked and plus) + [_exchanged(faces)] * (asked and minus)
    old = np.concatenate([np.empty(0, dtype=np.uint32), *(_first_met(rows, kept) for rows in passes)])
    if added != len(old):  # the one failure that the library does not tell
        raise ValueError("ancestors: the one of a node of the surface is not an element that holds the node")
    pairs = np.column_stack([old, len(p) + np.arange(len(old), dtype=np.uint32)]).astype(np.uint32)
    return Opened(new_points, new_cells if c.size else c.copy(), pairs)


def _exchanged(faces: np.ndarray) -> np.ndarray:
    """Faces that turn the other way, as the library reads them for the minus side."""
    order: List[int] = [2, 1, 0, *range(3, faces.shape[1])]
    return faces[:, order]


def _first_met(faces: np.ndarray, kept: np.ndarray) -> np.ndarray:
    """The nodes of faces that are not kept, each once, in the order in which they come."""
    nodes = faces[(faces != NO_NODE) & ~np.isin(faces, kept)]
    met, places = np.unique(nodes, return_index=True)
    return met[np.argsort(places)]


# ---- whole meshes ----


def open_mesh(
    mesh: Mesh, surface: np.ndarray, *, both: bool = False, keep_border: bool = False
) -> Tuple[Mesh, np.ndarray]:
    """Open a mesh along faces between its solids, with the edges, faces and values that it has beside them.

    Parameters
    ----------
    mesh : Mesh
        Its solids must be linear.
    surface : ndarray
        ``(s, 4)`` faces of solids, with `NO_NODE` in the last column of triangles, as `faces_in_plane` and
        `faces_at` give them.
    both : bool
        Whether the solids on both sides take copies of the nodes, or those alone that the normal points to (among
        direct solids; among inverted ones those across).
    keep_border : bool
        Whether the border of the surface inside the mesh stays closed.

    Returns
    -------
    mesh : Mesh
        Nodes keep their numbers and copies follow, with the values of their nodes. Faces and edges beside the solids
        take copies along with the solids that they bound; those in the surface itself stay as they are.
    pairs : ndarray
        ``(p, 2)`` each copied node and its copy; with both sides, those of the plus side first.

    Raises
    ------
    ValueError
        When the mesh has no solids or such that are not linear.

    Examples
    --------
    >>> cubes = [[0, 1, 2, 3, 4, 5, 6, 7], [4, 5, 6, 7, 8, 9, 10, 11]]
    >>> points = [[x, y, z] for z in range(3) for x, y in ((0, 0), (1, 0), (1, 1), (0, 1))]
    >>> mesh = Mesh(points, [(ElementType.H8, cubes)])
    >>> opened, pairs = open_mesh(mesh, faces_in_plane(mesh, (0, 0, 1), (0, 0, 1)))
    >>> len(opened.points), sorted(pairs[:, 0].tolist())
    (16, [4, 5, 6, 7])
    """
    flat = mesh.split()
    kind, cells = _solids_of(flat)
    faces = surface if kind is not _K.TH4 else surface[:, :3]
    opened = duplicate_surface_nodes(
        flat.points,
        cells,
        faces,
        kind,
        excluded=inner_border(flat, surface) if keep_border else None,
        minus=both,
    )
    source = np.concatenate([np.arange(len(flat.points)), opened.pairs[:, 0]])
    renamed = _Renamed(_in_8_columns(cells), _in_8_columns(opened.cells), surface)
    blocks: List[Block] = []
    first = 0
    for single, nodes in flat.blocks:
        if SHAPES[single].dimension == 3:
            blocks.append((single, opened.cells[first : first + len(nodes), : nodes.shape[1]]))
            first += len(nodes)
        else:
            blocks.append((single, renamed.of(single, nodes)))
    values = {name: array[source] for name, array in flat.point_data.items()}
    return Mesh(opened.points, blocks, values, flat.cell_data), opened.pairs


def faces_in_plane(mesh: Mesh, normal: ArrayLike, point: ArrayLike) -> np.ndarray:
    """Find the faces between two solids that lie in a plane.

    Parameters
    ----------
    mesh : Mesh
        Its solids must be linear.
    normal, point : array_like
        A vector across the plane, of any length, and a point in it.

    Returns
    -------
    ndarray
        ``(s, 4)`` faces with `NO_NODE` in the last column of triangles, counter-clockwise seen from the tip of the
        normal. All nodes of a face lie within 1e-8 of the size of the mesh from the plane.
    """
    cycles = _inner_faces(mesh)
    across = np.asarray(normal, dtype=float) / np.linalg.norm(normal)
    away = np.abs((mesh.points - np.asarray(point, dtype=float)) @ across)
    near = away <= _NEAR * np.linalg.norm(np.ptp(mesh.points, axis=0))
    found = cycles[_of_each(near, cycles, True).all(axis=1)]
    return _turned(found, _area_vectors(mesh.points, found) @ across < 0)


def faces_at(mesh: Mesh, points: np.ndarray, faces: np.ndarray) -> Tuple[np.ndarray, int]:
    """Find the faces between two solids that are where faces of another mesh are.

    Faces are compared by the places of their vertices, whatever numbers the nodes have: two places are the same within
    1e-8 of the size of the mesh.

    Parameters
    ----------
    mesh : Mesh
        Its solids must be linear.
    points, faces : ndarray
        ``(n, 3)`` coordinates and ``(s, 3)`` triangles, or ``(s, 4)`` with `NO_NODE` in the last column of triangles.

    Returns
    -------
    found : ndarray
        ``(s, 4)`` faces of solids that turn as those given, with `NO_NODE` in the last column of triangles.
    missing : int
        How many of the faces given are not there.
    """
    given = np.pad(faces, ((0, 0), (0, 4 - faces.shape[1])), constant_values=NO_NODE)
    cycles = _inner_faces(mesh)
    near = _NEAR * float(np.linalg.norm(np.ptp(mesh.points, axis=0)))
    at = points[given[given != NO_NODE]]
    if len(at) == 0:
        return np.empty((0, 4), dtype=np.uint32), 0
    is_close = ((mesh.points >= at.min(axis=0) - near) & (mesh.points <= at.max(axis=0) + near)).all(axis=1)
    cycles = cycles[_of_each(is_close, cycles, True).all(axis=1)]
    # One list of all nodes, the given ones behind those of the mesh, and places in their stead.
    moved = np.where(given == NO_NODE, NO_NODE, given + np.uint32(len(mesh.points)))
    both = np.concatenate([cycles, moved])
    everywhere = np.concatenate([mesh.points, points])
    nodes = np.unique(both[both != NO_NODE])
    place = np.arange(len(everywhere))
    place[nodes] = nodes[_places(everywhere[nodes], near)]
    rows = np.sort(_of_each(place, both, NO_NODE), axis=1)
    _, same = np.unique(rows, axis=0, return_inverse=True)
    ours, theirs = same.ravel()[: len(cycles)], same.ravel()[len(cycles) :]
    like = dict(zip(theirs.tolist(), range(len(given))))  # a given face for each place of one
    chosen = np.flatnonzero(np.isin(ours, theirs))
    wanted = given[[like[k] for k in ours[chosen].tolist()]]
    along = np.einsum("ij,ij->i", _area_vectors(mesh.points, cycles[chosen]), _area_vectors(points, wanted))
    return _turned(cycles[chosen], along < 0), int((~np.isin(theirs, ours)).sum())


def inner_border(mesh: Mesh, surface: np.ndarray) -> np.ndarray:
    """Find the nodes on the border of a surface that lies between solids, as far as the border is inside the mesh.

    Parameters
    ----------
    mesh : Mesh
        The solids.
    surface : ndarray
        ``(s, 4)`` faces of solids, with `NO_NODE` in the last column of triangles.

    Returns
    -------
    ndarray
        The ends of the edges that one face of the surface has and no face of the boundary of the solids, increasing.
    """
    edges, counts = np.unique(edges_of(surface)[0], axis=0, return_counts=True)
    border = edges[counts == 1]
    outside = np.unique(edges_of(lonely_faces(mesh.split())[0])[0], axis=0)
    _, same, counts = np.unique(np.concatenate([border, outside]), axis=0, return_inverse=True, return_counts=True)
    return np.unique(border[counts[same.ravel()[: len(border)]] == 1])


class _Renamed:
    """Copies in place of nodes, for faces and edges that bound solids."""

    def __init__(self, before: np.ndarray, after: np.ndarray, surface: np.ndarray) -> None:
        changed = (before != after).any(axis=1)
        self._before, self._after = before[changed], after[changed]
        self._surface = {2: edges_of(surface)[0], 3: surface[surface[:, 3] == NO_NODE, :3], 4: surface}

    def of(self, kind: ElementType, cells: np.ndarray) -> np.ndarray:
        """The nodes of elements after the opening. All solids at a face or edge outside of the surface agree on it."""
        if kind not in (_K.EDGE2, _K.T3, _K.Q4):
            return cells
        width = SHAPES[kind].nodes
        solids = _sub_entities(self._before, width)
        _, same = np.unique(
            np.sort(np.concatenate([solids[0], self._surface[width], cells]), axis=1), axis=0, return_inverse=True
        )
        same = same.ravel()
        ours, blocked, theirs = np.split(same, [len(solids[0]), len(solids[0]) + len(self._surface[width])])
        holder = np.full(same.max(initial=-1) + 1, -1)
        holder[ours] = solids[1]
        holder[blocked] = -1
        rows = np.flatnonzero(holder[theirs] >= 0)
        names = cells.copy()
        old, new = self._before[holder[theirs[rows]]], self._after[holder[theirs[rows]]]
        for column in range(width):
            at = (old == cells[rows, column][:, None]).argmax(axis=1)
            names[rows, column] = new[np.arange(len(rows)), at]
        return names


def _sub_entities(cells: np.ndarray, width: int) -> Tuple[np.ndarray, np.ndarray]:
    """The edges (width 2), triangles (3) or quadrangles (4) of solids in 8 columns, and the solid of each."""
    cycles, rows, _ = _faces_of(cells)
    if width == 2:
        edges, faces = edges_of(cycles)
        return edges, rows[faces]
    fits = (cycles[:, 3] == NO_NODE) == (width == 3)
    return cycles[fits, :width], rows[fits]


def check_linear(flat: Mesh) -> None:
    """Raise a ValueError when a mesh has no solids, or such that are not linear."""
    kinds = [kind for kind in flat.counts() if SHAPES[kind].dimension == 3]
    if not kinds:
        raise ValueError("has no solids to open")
    for kind in kinds:
        if SHAPES[kind].edges:
            raise ValueError(f"holds {SHAPES[kind].name}, but the solids must be linear")


def _solids_of(flat: Mesh) -> Tuple[ElementType, np.ndarray]:
    """The solids of all blocks in one array, as `duplicate_surface_nodes` takes them."""
    check_linear(flat)
    blocks = [(kind, cells) for kind, cells in flat.blocks if SHAPES[kind].dimension == 3]
    kinds = sorted({kind for kind, _ in blocks})
    if kinds == [_K.TH4]:
        return _K.TH4, np.concatenate([cells for _, cells in blocks])
    return (_K.H8 if kinds == [_K.H8] else _K.SOLID_MIX), np.concatenate([_in_8_columns(cells) for _, cells in blocks])


def _in_8_columns(cells: np.ndarray) -> np.ndarray:
    return np.pad(cells, ((0, 0), (0, 8 - cells.shape[1])), constant_values=NO_NODE)


def _faces_of(cells: np.ndarray) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
    """The cycles ``(f, 4)`` of all faces of solids in 8 columns, the solid of each, and which of its faces it is."""
    cycles, solids, places = [np.empty((0, 4), dtype=np.uint32)], [np.empty(0, dtype=np.intp)], [np.empty(0, np.intp)]
    for kind, mine in split_mixed(_K.SOLID_MIX, cells):
        for f, face in enumerate(SHAPES[kind].faces):
            cycles.append(np.pad(cells[mine][:, list(face)], ((0, 0), (0, 4 - len(face))), constant_values=NO_NODE))
            solids.append(mine)
            places.append(np.full(len(mine), f))
    return np.concatenate(cycles), np.concatenate(solids), np.concatenate(places)


def _inner_faces(mesh: Mesh) -> np.ndarray:
    """The cycles ``(f, 4)`` of the faces between two solids, each once."""
    cells = _in_8_columns(_solids_of(mesh.split())[1])
    cycles, solids, places = _faces_of(cells)
    beyond = find_neighbors(cells, _K.SOLID_MIX)[solids, places]
    return cycles[(beyond != NO_NODE) & (solids < beyond)]


def _of_each(values: np.ndarray, nodes: np.ndarray, otherwise: Any) -> np.ndarray:
    """The values of nodes, and something else where there is no node."""
    is_node = nodes != NO_NODE
    return np.where(is_node, values[np.where(is_node, nodes, 0)], otherwise)


def _area_vectors(points: np.ndarray, cycles: np.ndarray) -> np.ndarray:
    """The normals of triangles and quadrangles, twice as long as the area."""
    a, b, c = (points[cycles[:, k]] for k in range(3))
    d = points[np.where(cycles[:, 3] == NO_NODE, cycles[:, 0], cycles[:, 3])]
    return np.asarray(np.cross(c - a, d - b))


def _turned(cycles: np.ndarray, chosen: np.ndarray) -> np.ndarray:
    """Cycles of which the chosen ones run the other way."""
    return np.where(chosen[:, None], cycles[:, [2, 1, 0, 3]], cycles)


def _places(points: np.ndarray, near: float) -> np.ndarray:
    """For each point the first that is at its place. Places are chains of points nearer to each other than `near`."""
    label = np.arange(len(points))
    scaled = (points - points.min(axis=0)) / (2 * near) if near > 0 else points
    while True:
        before = label.copy()
        # Two points so near share a box in one at least of eight grids, each half a box from the next.
        for shift in np.ndindex(2, 2, 2):
            _, box = np.unique(np.floor(scaled + np.array(shift) / 2), axis=0, return_inverse=True)
            least = np.full(box.max() + 1, len(points))
            np.minimum.at(least, box.ravel(), label)
            label = least[box.ravel()]
        if (label == before).all():
            return label
