"""Tools for surface meshes."""

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_points
from .status import check


def normals(points: ArrayLike, surface: ArrayLike, *, tolerance: float = 0.0, unit: bool = True) -> np.ndarray:
    """Normal of a surface at each node: the mean of the faces there, weighted by the angle of each face at the node.

    These weights make the normal independent of how plane faces are cut into triangles and quadrangles. The faces turn
    counter-clockwise seen from the tip of a normal.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    surface : array_like
        ``(m, 3)`` triangles, or ``(m, 4)`` triangles and quadrangles with `NO_NODE` in the last column of triangles.
    tolerance : float
        A sum of angles times unit normals that is not longer than this counts as no normal.
    unit : bool
        Whether to scale the normals to length 1; otherwise they are the sums of angles, in radians, times unit normals.

    Returns
    -------
    ndarray
        ``(n, 3)`` float64; zero where there is no face or no normal.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory.

    Examples
    --------
    A corner of three squares, each cut in two at will:

    >>> corner = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [0, 1, 1]]
    >>> faces = [[0, 1, 2], [0, 2, 3], [0, 4, 1], [4, 5, 1], [0, 3, 4], [3, 6, 4]]
    >>> normals(corner, faces)[0].round(3)
    array([0.577, 0.577, 0.577])
    """
    status, found = _core.normals(as_points(points), as_ids(surface, 3, "surface"), float(tolerance), bool(unit))
    check("normals", status)
    result: np.ndarray = found
    return result
