"""Meshes of solids opened along an inner surface."""

from typing import List, NamedTuple, Optional

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_id_list, as_ids, as_points
from .elements import NO_NODE, ElementType
from .status import check
from .topology import ancestors as find_ancestors
from .topology import neighbors as find_neighbors

_K = ElementType


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

    Around a node on the border of an open surface, as at the front of a crack, both sides meet: all solids may take
    the copy, and nothing is opened. Give such nodes as ``excluded``.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, or ``(m, 8)`` hexahedra or solids of all kinds with `NO_NODE` in the columns that an
        element does not use.
    surface : array_like
        Faces of these solids: ``(s, 3)`` triangles, ``(s, 4)`` quadrangles, or of mixed solids either, with `NO_NODE` in
        the last of 4 columns of triangles.
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
