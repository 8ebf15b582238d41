"""Volumes, areas, angles and centres of elements.

What the library exports it computes; the volume and the area of each single element NumPy does.
"""

from typing import NamedTuple

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


class Angles(NamedTuple):
    """The smallest and the largest angle of each element. Both arrays own their memory."""

    least: np.ndarray  #: (m,) float64
    most: np.ndarray  #: (m,) float64


def solid_angles(points: ArrayLike, cells: ArrayLike, normalized: bool = False) -> Angles:
    """Smallest and largest solid angle at the corners of each element.

    The angle between the three edges at a corner is positive in direct elements and negative at a corner that is
    inverted. The apex of a pyramid is the sum of two such corners.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates; of ``(n, 2)`` all lie at z = 0.
    cells : array_like
        ``(m, 4)`` tetrahedra, ``(m, 5)`` pyramids, ``(m, 6)`` wedges, or ``(m, 8)`` solids of all kinds with
        `NO_NODE` in the columns that an element does not use. In the last form these columns take part as corners of
        angle 0: the smallest angle of a sound tetrahedron, pyramid or wedge is 0 there.
    normalized : bool
        Whether to scale the angles so that each corner of the regular element of its kind has 1 (of pyramids: the one
        whose edges are all equal).

    Returns
    -------
    Angles
        ``(least, most)`` in steradians, or as parts of the regular element's angle.

    Raises
    ------
    ValueError
        When ``cells`` is no such mesh.

    Examples
    --------
    An octant between three axes:

    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> angles = solid_angles(corner, [[0, 1, 2, 3]])
    >>> (angles.most / (4 * np.pi)).round(15)
    array([0.125])
    """
    status, least, most = _core.solid_angles(as_points(points), as_ids(cells, 8, "cells"), bool(normalized))
    check("solid_angles", status)
    return Angles(least, most)


def dihedral_angles(points: ArrayLike, cells: ArrayLike, normalized: bool = False) -> Angles:
    """Smallest and largest angle between the two faces at the edges of each element.

    The angle is measured inside the element, from 0 to pi, and is 0 where a face has no area. A quadrangle has the
    normal of its first three nodes in the order of the library's page on numbering.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates; of ``(n, 2)`` all lie at z = 0.
    cells : array_like
        ``(m, 4)`` tetrahedra, ``(m, 5)`` pyramids, ``(m, 6)`` wedges, or ``(m, 8)`` solids of all kinds with
        `NO_NODE` in the columns that an element does not use.
    normalized : bool
        Whether to scale the angles so that each edge of the regular element of its kind has 1 (of pyramids and wedges:
        the one whose edges are all equal).

    Returns
    -------
    Angles
        ``(least, most)`` in radians, or as parts of the regular element's angle.

    Raises
    ------
    ValueError
        When ``cells`` is no such mesh.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> angles = dihedral_angles(corner, [[0, 1, 2, 3]])
    >>> np.degrees(angles.least).round(2), np.degrees(angles.most).round(2)
    (array([54.74]), array([90.]))
    """
    status, least, most = _core.dihedral_angles(as_points(points), as_ids(cells, 8, "cells"), bool(normalized))
    check("dihedral_angles", status)
    return Angles(least, most)


def circumcenters(points: ArrayLike, cells: ArrayLike) -> np.ndarray:
    """Centres of the spheres through the nodes of tetrahedra.

    The tetrahedra must be direct as this library has it: of positive `volume`, nodes 0, 1, 2 clockwise seen from
    node 3. Of an inverted or flat one the result is the centre of the circle through nodes 1, 2, 3, and where these lie
    on a line, node 3. None of these is an error, so look at the volumes first; `flip` turns inverted elements round.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra.

    Returns
    -------
    ndarray
        ``(m, 3)`` float64.

    Raises
    ------
    ValueError
        When ``points`` has not 3 columns or ``cells`` are not tetrahedra on them.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> circumcenters([[0, 0, 0], [0, 2, 0], [2, 0, 0], [0, 0, 2]], [[0, 1, 2, 3]])
    array([[1., 1., 1.]])
    """
    status, centers = _core.circumcenters(as_points(points), as_ids(cells, 4, "cells"))
    check("circumcenters", status)
    result: np.ndarray = centers
    return result


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
