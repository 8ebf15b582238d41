"""Reversal of orientation.

`flip` and its kin exchange columns of a connectivity as the library does, which is not in every kind what geometry
asks for. `reverse` is: it turns solids of every kind round with all their nodes where they belong.
"""

from typing import Callable, Dict, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids
from .elements import SHAPES, ElementType
from .status import check


def flip(cells: ArrayLike, kind: ElementType) -> np.ndarray:
    """Exchange columns so that linear solids turn round: 0 and 2, of wedges also 3 and 5, of hexahedra 4 and 6.

    Parameters
    ----------
    cells : array_like
        ``(m, k)`` node numbers of elements of ``kind``. The numbers are not looked at.
    kind : ElementType
        ``TH4``, ``TH10``, ``PY5``, ``W6``, ``W18``, ``H8`` and ``H27`` are turned round, mid-edge nodes included.
        ``PY14`` is turned round, but two mid-edge nodes change places that should not. ``SOLID_MIX`` means quadratic
        solids of any kind in 27 columns with `NO_NODE` in those unused; its hexahedra are spoiled by an exchange of
        columns 3 and 5. All other kinds, surfaces among them, stay as they are. `reverse` has none of these limits.

    Returns
    -------
    ndarray
        A new ``(m, k)`` array. Flipping it again gives back ``cells``.

    Raises
    ------
    ValueError
        When ``kind`` does not have elements of k columns.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> flip([[10, 11, 12, 13]], ElementType.TH4)
    array([[12, 11, 10, 13]], dtype=uint32)
    >>> flip([[0, 1, 2, 3, 4, 5, 6, 7]], ElementType.H8)
    array([[2, 1, 0, 3, 6, 5, 4, 7]], dtype=uint32)
    """
    status, flipped = _core.flip(as_ids(cells, 0, "cells"), int(kind))
    check("flip", status)
    return flipped


def flip_TH4(cells: ArrayLike) -> np.ndarray:
    """Turn linear tetrahedra round by exchanging columns 0 and 1 (`flip` exchanges 0 and 2).

    Parameters
    ----------
    cells : array_like
        ``(m, 4)`` node numbers.

    Returns
    -------
    ndarray
        A new ``(m, 4)`` array.

    Raises
    ------
    ValueError
        When ``cells`` has not 4 columns.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> flip_TH4([[10, 11, 12, 13]])
    array([[11, 10, 12, 13]], dtype=uint32)
    """
    return _flip_kind("flip_TH4", _core.flip_TH4, cells, 4)


def flip_W6(cells: ArrayLike) -> np.ndarray:
    """Turn linear wedges round by letting their two triangles change places.

    Parameters
    ----------
    cells : array_like
        ``(m, 6)`` node numbers.

    Returns
    -------
    ndarray
        A new ``(m, 6)`` array.

    Raises
    ------
    ValueError
        When ``cells`` has not 6 columns.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> flip_W6([[0, 1, 2, 3, 4, 5]])
    array([[3, 4, 5, 0, 1, 2]], dtype=uint32)
    """
    return _flip_kind("flip_W6", _core.flip_W6, cells, 6)


def flip_H8(cells: ArrayLike) -> np.ndarray:
    """Turn linear hexahedra round by letting the two quadrangles of their ends change places.

    Parameters
    ----------
    cells : array_like
        ``(m, 8)`` node numbers.

    Returns
    -------
    ndarray
        A new ``(m, 8)`` array.

    Raises
    ------
    ValueError
        When ``cells`` has not 8 columns.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> flip_H8([[0, 1, 2, 3, 4, 5, 6, 7]])
    array([[4, 5, 6, 7, 0, 1, 2, 3]], dtype=uint32)
    """
    return _flip_kind("flip_H8", _core.flip_H8, cells, 8)


def _flip_kind(
    form: str, call: Callable[[np.ndarray], Tuple[int, np.ndarray]], cells: ArrayLike, columns: int
) -> np.ndarray:
    status, flipped = call(as_ids(cells, columns, "cells"))
    check(form, status)
    return flipped


_LINEAR: Dict[int, ElementType] = {
    SHAPES[kind].vertices: kind for kind in (ElementType.TH4, ElementType.PY5, ElementType.W6, ElementType.H8)
}


def reverse(kind: ElementType, cells: np.ndarray) -> np.ndarray:
    """Turn solids of one kind round: vertices as `flip` does with the linear kind, the other nodes along with them.

    Parameters
    ----------
    kind : ElementType
        A kind of solid, not a mixed type.
    cells : ndarray
        ``(m, k)`` node numbers.

    Returns
    -------
    ndarray
        A new ``(m, k)`` array of elements of opposite volume. Every node lies amid the vertices that it should.

    Raises
    ------
    ValueError
        When ``kind`` is none of solids.

    Examples
    --------
    >>> reverse(ElementType.PY13, np.arange(13)[None, :])
    array([[ 2,  1,  0,  3,  4,  7,  6,  5,  8, 10,  9, 12, 11]])
    """
    shape = SHAPES.get(kind)
    if shape is None or shape.dimension != 3:
        raise ValueError(f"kind: {ElementType(kind).name} is no kind of solid")
    vertex = flip(np.arange(shape.vertices)[None, :], _LINEAR[shape.vertices])[0]
    amid = [(v,) for v in range(shape.vertices)] + list(shape.edges) + list(shape.centres)
    column = {frozenset(vertices): k for k, vertices in enumerate(amid)}
    return cells[:, [column[frozenset(vertex[v] for v in vertices)] for vertices in amid]]
