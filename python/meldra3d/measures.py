"""Volumes and areas: of a mesh by the library, of each element of a block by NumPy."""

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_points
from .elements import SHAPES, ElementType
from .status import check

# Every solid as tetrahedra of its vertices; the determinant of each counts positive in a direct element. These are
# the splits that the library's volume sums, so that the two agree to rounding.
_TETRAHEDRA = {
    ElementType.TH4: ((3, 0, 1, 2),),
    ElementType.PY5: ((4, 0, 2, 1), (4, 0, 3, 2)),
    ElementType.W6: ((0, 1, 2, 4), (0, 2, 3, 4), (2, 3, 4, 5)),
    ElementType.H8: ((6, 1, 5, 4), (4, 3, 7, 6), (1, 4, 6, 3), (1, 0, 4, 3), (1, 6, 2, 3)),
}
_BY_VERTICES = {SHAPES[kind].vertices: splits for kind, splits in _TETRAHEDRA.items()}


def volume(points: ArrayLike, cells: ArrayLike) -> float:
    """Total volume of a mesh of linear solids; inverted elements count as negative.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, ``(m, 5)`` pyramids, ``(m, 6)`` wedges, or ``(m, 8)`` solids of all kinds with
        `NO_NODE` in the columns that an element does not use.

    Returns
    -------
    float
        In cubic units of the points; 0 for no elements.

    Raises
    ------
    ValueError
        When ``points`` has not 3 columns or ``cells`` is no such mesh.

    Examples
    --------
    >>> volume([[0, 0, 0], [0, 3, 0], [3, 0, 0], [0, 0, 2]], [[0, 1, 2, 3]])
    3.0
    """
    status, total = _core.volume(as_points(points), as_ids(cells, 8, "cells"))
    check("volume", status)
    return total


def signed_volumes(points: np.ndarray, kind: ElementType, cells: np.ndarray) -> np.ndarray:
    """Volume of each solid of a block, negative where the element is inverted.

    Parameters
    ----------
    points : ndarray
        ``(n, 3)`` coordinates.
    kind : ElementType
        A kind of solid; of a quadratic one the vertices count, as if its edges were straight.
    cells : ndarray
        ``(m, k)`` node numbers.

    Returns
    -------
    ndarray
        ``(m,)`` volumes.

    Examples
    --------
    >>> corner = np.array([[0.0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
    >>> 6 * signed_volumes(corner, ElementType.TH4, np.array([[0, 2, 1, 3], [0, 1, 2, 3]]))
    array([ 1., -1.])
    """
    total = np.zeros(len(cells))
    for a, b, c, d in _BY_VERTICES[SHAPES[kind].vertices]:
        origin = points[cells[:, a]]
        edges = [points[cells[:, corner]] - origin for corner in (b, c, d)]
        total += np.einsum("ij,ij->i", edges[0], np.cross(edges[1], edges[2]))
    return total / 6


def areas(points: np.ndarray, kind: ElementType, cells: np.ndarray) -> np.ndarray:
    """Area of each triangle or quadrangle of a block, a warped quadrangle as two triangles.

    Parameters
    ----------
    points : ndarray
        ``(n, 3)`` coordinates.
    kind : ElementType
        A kind of surface element; of a quadratic one the vertices count.
    cells : ndarray
        ``(m, k)`` node numbers.

    Returns
    -------
    ndarray
        ``(m,)`` areas.

    Examples
    --------
    >>> square = np.array([[0.0, 0, 0], [2, 0, 0], [2, 2, 0], [0, 2, 0]])
    >>> areas(square, ElementType.Q4, np.array([[0, 1, 2, 3]]))
    array([4.])
    """
    total = np.zeros(len(cells))
    for b in range(1, SHAPES[kind].vertices - 1):
        origin = points[cells[:, 0]]
        first, second = points[cells[:, b]] - origin, points[cells[:, b + 1]] - origin
        total += np.linalg.norm(np.cross(first, second), axis=1)
    return total / 2
