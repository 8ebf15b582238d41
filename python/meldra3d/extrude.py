"""Sweeps of surface meshes into solids."""

import operator
from typing import NamedTuple, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_points, as_vector
from .status import OUT_OF_MEMORY, check


class Sweep(NamedTuple):
    """What a sweep made. All arrays own their memory."""

    points: np.ndarray  #: (n, 3) float64: the nodes given, then the new ones level by level
    solids: np.ndarray  #: (m, 6) wedges, or (m, 8) with `NO_NODE` in the last two columns of wedges
    sides: np.ndarray  #: (q, 4) quadrangles swept from edges
    cap: np.ndarray  #: faces that close the last layer, facing back, in as many columns as the surface


def extrude_translate(
    points: ArrayLike,
    surface: ArrayLike,
    direction: ArrayLike,
    *,
    layers: Optional[int] = None,
    sizes: Optional[Tuple[float, float]] = None,
    even_layers: bool = False,
    solids: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
    sides: Optional[ArrayLike] = None,
    cap: Optional[ArrayLike] = None,
) -> Sweep:
    """Sweep a surface along a straight vector: triangles become wedges, quadrangles hexahedra.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates, or ``(n, 2)`` at z = 0.
    surface : array_like
        ``(m, 3)`` triangles, or ``(m, 4)`` triangles and quadrangles with `NO_NODE` in the last column of triangles.
        The solids are direct when the direction points to the side from which the faces turn counter-clockwise.
    direction : array_like
        The whole translation, three numbers.
    layers : int, optional
        Number of equal layers. Give either this or ``sizes``. 0 does nothing.
    sizes : (float, float), optional
        Thickness wanted of the first and of the last layer, both greater than 0. The layers between are graded
        geometrically, and their number is chosen so that the sizes are met as nearly as a whole number allows.
    even_layers : bool
        With ``sizes``: make the number of layers even.
    solids, sides, cap : array_like, optional
        Elements to append to, of 6 or 8, of 4, and of 3 or 4 columns.
    edges : array_like, optional
        ``(e, 2)`` edges of the surface to sweep into side quadrangles.

    Returns
    -------
    Sweep
        ``(points, solids, sides, cap)``. With nn nodes in the surface and n points given, the copy of the j-th of
        them (in order of first appearance) on level k = 1, 2, ... is node ``n + (k - 1) * nn + j``; the solid of face
        i and layer k is row ``i * layers + k - 1`` behind those given.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory, or the sizes ask for an absurd number of layers.

    Examples
    --------
    >>> square = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]]
    >>> swept = extrude_translate(square, [[0, 1, 2, 3]], (0, 0, 1), layers=2)
    >>> swept.solids
    array([[ 0,  1,  2,  3,  4,  5,  6,  7],
           [ 4,  5,  6,  7,  8,  9, 10, 11]], dtype=uint32)
    >>> extrude_translate(square, [[0, 1, 2, 3]], (0, 0, 1), sizes=(0.1, 0.4)).points[4::4, 2].round(3)
    array([0.107, 0.247, 0.432, 0.677, 1.   ])
    """
    p = as_points(points)
    s = as_ids(surface, 3, "surface")
    d = as_vector(direction, "direction")
    appended = (
        as_ids(solids, 2 * s.shape[1], "solids"),
        as_ids(edges, 2, "edges"),
        as_ids(sides, 4, "sides"),
        as_ids(cap, s.shape[1], "cap"),
    )
    if sizes is not None and layers is None:
        if len(sizes) != 2:
            raise ValueError(f"sizes: expected two numbers, got {len(sizes)}")
        form = "extrude_translate by sizes, in full"
        made = _core.extrude_translate(p, s, d, float(sizes[0]), float(sizes[1]), bool(even_layers), *appended)
    elif layers is not None and sizes is None:
        count = operator.index(layers)
        if count < 0:
            raise ValueError("layers: must not be negative")
        form = "extrude_translate by layers, in full"
        if count > 0xFFFFFFFF:
            check(form, OUT_OF_MEMORY)
        made = _core.extrude_translate(p, s, d, count, *appended)
    else:
        raise ValueError("layers, sizes: give one of the two")
    check(form, made[0])
    return Sweep(*made[1:])
