"""Sweeps of surface meshes into solids."""

import operator
from typing import Any, Callable, NamedTuple, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_id_list, as_ids, as_numbers, as_points, as_vector
from .status import OUT_OF_MEMORY, check

Sizes = Tuple[float, float]


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
    sizes: Optional[Sizes] = None,
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
    path = (as_vector(direction, "direction"),)
    given = (solids, edges, sides, cap)
    return _layered("extrude_translate", points, surface, path, layers, sizes, even_layers, given)


def extrude_rotate(
    points: ArrayLike,
    surface: ArrayLike,
    axis_point: ArrayLike,
    rotation: ArrayLike,
    *,
    layers: Optional[int] = None,
    sizes: Optional[Sizes] = None,
    even_layers: bool = False,
    solids: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
    sides: Optional[ArrayLike] = None,
    cap: Optional[ArrayLike] = None,
) -> Sweep:
    """Sweep a surface about an axis.

    Parameters
    ----------
    points, surface : array_like
        As for `extrude_translate`.
    axis_point : array_like
        A point of the axis, three numbers.
    rotation : array_like
        The whole rotation, three numbers: its direction is that of the axis, its length the angle in radians, by the
        right-hand rule. After a full turn the last level lies on the surface, with nodes of its own all the same.
    layers, sizes, even_layers, solids, edges, sides, cap
        As for `extrude_translate`. The sizes are measured along the way of the first node of the surface, as if its
        whole distance from ``axis_point`` were its radius: place that point on the level of this node.

    Returns
    -------
    Sweep
        Numbered as by `extrude_translate`.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory, or the sizes ask for an absurd number of layers.

    Examples
    --------
    A quarter of a ring about the z axis:

    >>> square = [[1, 0, 0], [2, 0, 0], [2, 0, 1], [1, 0, 1]]
    >>> ring = extrude_rotate(square, [[0, 3, 2, 1]], (0, 0, 0), (0, 0, np.pi / 2), layers=3)
    >>> ring.points[4::4].round(3) + 0.0
    array([[0.866, 0.5  , 0.   ],
           [0.5  , 0.866, 0.   ],
           [0.   , 1.   , 0.   ]])
    """
    path = (as_vector(axis_point, "axis_point"), as_vector(rotation, "rotation"))
    given = (solids, edges, sides, cap)
    return _layered("extrude_rotate", points, surface, path, layers, sizes, even_layers, given)


def extrude_spiral(
    points: ArrayLike,
    surface: ArrayLike,
    axis_point: ArrayLike,
    rotation: ArrayLike,
    shift: ArrayLike,
    *,
    layers: Optional[int] = None,
    sizes: Optional[Sizes] = None,
    even_layers: bool = False,
    solids: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
    sides: Optional[ArrayLike] = None,
    cap: Optional[ArrayLike] = None,
) -> Sweep:
    """Sweep a surface about an axis and along a vector at the same time.

    Each level is the surface turned by a fraction of ``rotation`` and then moved by the same fraction of ``shift``.

    Parameters
    ----------
    points, surface : array_like
        As for `extrude_translate`.
    axis_point, rotation : array_like
        As for `extrude_rotate`; several turns are usual here.
    shift : array_like
        The whole translation, three numbers, often along the axis.
    layers, sizes, even_layers, solids, edges, sides, cap
        As for `extrude_translate`. The sizes are measured along ``shift`` alone: for layers of a length l on a coil of
        radius r that rises by p each turn, give l * p / hypot(2 * pi * r, p).

    Returns
    -------
    Sweep
        Numbered as by `extrude_translate`.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory, or the sizes ask for an absurd number of layers.

    Examples
    --------
    Two turns of a coil that rises by 1.5 each time, the first of them:

    >>> square = [[1, 0, 0], [2, 0, 0], [2, 0, 1], [1, 0, 1]]
    >>> coil = extrude_spiral(square, [[0, 3, 2, 1]], (0, 0, 0), (0, 0, 4 * np.pi), (0, 0, 3), layers=8)
    >>> coil.points[4:20:4].round(3) + 0.0
    array([[ 0.   ,  1.   ,  0.375],
           [-1.   ,  0.   ,  0.75 ],
           [ 0.   , -1.   ,  1.125],
           [ 1.   ,  0.   ,  1.5  ]])
    """
    path = (as_vector(axis_point, "axis_point"), as_vector(rotation, "rotation"), as_vector(shift, "shift"))
    given = (solids, edges, sides, cap)
    return _layered("extrude_spiral", points, surface, path, layers, sizes, even_layers, given)


def extrude_normal(
    points: ArrayLike,
    surface: ArrayLike,
    thickness: Optional[float] = None,
    *,
    node_shifts: Optional[ArrayLike] = None,
    layers: Optional[int] = None,
    sizes: Optional[Sizes] = None,
    even_layers: bool = False,
    solids: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
    sides: Optional[ArrayLike] = None,
    cap: Optional[ArrayLike] = None,
) -> Sweep:
    """Thicken a surface: sweep each node along the normal of the surface there, or along a vector of its own.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    surface : array_like
        As for `extrude_translate`.
    thickness : float, optional
        How far each node moves along its normal (see `normals`), greater than 0. Give either this or ``node_shifts``.
    node_shifts : array_like, optional
        ``(n, 3)``: the whole way of each node, for ``layers`` equal steps. Rows of nodes that are not in the surface
        are not used. With ``layers=0`` there are no solids, but the cap: the surface turned round.
    layers, sizes, even_layers, solids, edges, sides, cap
        As for `extrude_translate`. The sizes are measured along the normals.

    Returns
    -------
    Sweep
        Numbered as by `extrude_translate`.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory, or the sizes ask for an absurd number of layers.

    Examples
    --------
    >>> roof = [[0, 0, 0], [1, 0, 1], [2, 0, 0], [0, 1, 0], [1, 1, 1], [2, 1, 0]]
    >>> swept = extrude_normal(roof, [[0, 1, 4, 3], [1, 2, 5, 4]], 0.2, layers=1)
    >>> swept.points[[6, 7, 10]].round(3) + 0.0
    array([[-0.141,  0.   ,  0.141],
           [ 1.   ,  0.   ,  1.2  ],
           [ 2.141,  0.   ,  0.141]])
    """
    given = (solids, edges, sides, cap)
    if thickness is not None and node_shifts is None:
        return _layered("extrude_normal", points, surface, (float(thickness),), layers, sizes, even_layers, given)
    if thickness is not None or node_shifts is None:
        raise ValueError("thickness, node_shifts: give one of the two")
    if layers is None or sizes is not None:
        raise ValueError("node_shifts: goes with layers, not with sizes")
    form = "extrude_normal by vectors"
    path = (as_points(node_shifts, "node_shifts"), _layer_count(layers, form))
    return _sweep(form, _core.extrude_normal, points, surface, path, given)


def extrude_line(
    points: ArrayLike,
    surface: ArrayLike,
    line: ArrayLike,
    start_direction: Optional[ArrayLike] = None,
    *,
    metrics: Optional[ArrayLike] = None,
    sizes: Optional[ArrayLike] = None,
    solids: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
    sides: Optional[ArrayLike] = None,
    cap: Optional[ArrayLike] = None,
) -> Sweep:
    """Sweep a surface along a polyline of given nodes, one layer for each segment.

    From one node of the line to the next the section moves along, turns as the line does, and may grow. It turns by the
    smallest rotation that takes one direction into the next; a turn of more than 90 degrees is made by its supplement,
    and a reversal not at all. A segment of length 0 turns nothing, and does not turn the segment after it either.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    surface : array_like
        As for `extrude_translate`.
    line : array_like
        Numbers of the nodes of the line, two or more.
    start_direction : array_like, optional
        The direction in which the section looks, three numbers: it is turned into the first segment. Without it the
        section looks along the first segment, and is not turned there.
    metrics : array_like, optional
        ``(len(line), 6)``: the wanted size of the section at each node of the line, in all directions, as rows
        m11 m12 m22 m13 m23 m33. A size h is wanted along a unit vector e when e M e = 1 / h**2. Each node of the section
        moves away from the line, or towards it, by the quotient of the sizes here and at the node of the line before. A
        metric that is missing or not positive definite counts as size 1, and so does the first one always.
    sizes : array_like, optional
        In place of ``metrics``: one size for each node of the line, the first included. One that is missing or not
        greater than 0 counts as 1.
    solids, edges, sides, cap
        As for `extrude_translate`.

    Returns
    -------
    Sweep
        ``(points, solids, sides, cap)``, numbered as by `extrude_translate`, but where the first node of the line is in
        the surface: then the copies of this node are the nodes of the line themselves, the numbers behind close up, and
        there are nn - 1 new nodes on each level. The nodes given keep their numbers.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When there is not enough memory.

    Examples
    --------
    A square that is swept up from its first node and then to the side, where it is half as large:

    >>> points = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 3], [0, -2, 3]]
    >>> swept = extrude_line(points, [[0, 1, 2, 3]], [0, 4, 5], sizes=(1, 1, 0.5))
    >>> swept.solids
    array([[ 0,  1,  2,  3,  4,  6,  7,  8],
           [ 4,  6,  7,  8,  5,  9, 10, 11]], dtype=uint32)
    >>> swept.points[[5, 9, 10, 11]].round(3) + 0.0
    array([[ 0. , -2. ,  3. ],
           [ 0.5, -2. ,  3. ],
           [ 0.5, -2. ,  3.5],
           [ 0. , -2. ,  3.5]])
    """
    nodes = as_id_list(line, "line")
    start = np.zeros(3) if start_direction is None else as_vector(start_direction, "start_direction")
    given = (solids, edges, sides, cap)
    if sizes is not None:
        if metrics is not None:
            raise ValueError("metrics, sizes: give not more than one of the two")
        path = (nodes, start, as_numbers(sizes, "sizes"))
        return _sweep("extrude_line by sizes", _core.extrude_line_by_sizes, points, surface, path, given)
    tensors = np.empty((0, 6)) if metrics is None else as_points(metrics, "metrics")
    path = (nodes, start, tensors)
    return _sweep("extrude_line by metrics", _core.extrude_line_by_metrics, points, surface, path, given)


# ---- what the sweeps share ----

_Given = Tuple[Optional[ArrayLike], Optional[ArrayLike], Optional[ArrayLike], Optional[ArrayLike]]


def _layered(
    name: str,
    points: ArrayLike,
    surface: ArrayLike,
    path: Tuple[Any, ...],
    layers: Optional[int],
    sizes: Optional[Sizes],
    even_layers: bool,
    given: _Given,
) -> Sweep:
    """Run a sweep whose path is divided into layers, by the one of `layers` and `sizes` that there is."""
    export = getattr(_core, name)
    if sizes is not None and layers is None:
        if len(sizes) != 2:
            raise ValueError(f"sizes: expected two numbers, got {len(sizes)}")
        path = (*path, float(sizes[0]), float(sizes[1]), bool(even_layers))
        return _sweep(f"{name} by sizes", export, points, surface, path, given)
    if layers is not None and sizes is None:
        form = f"{name} by layers"
        return _sweep(form, export, points, surface, (*path, _layer_count(layers, form)), given)
    raise ValueError("layers, sizes: give one of the two")


def _layer_count(layers: int, form: str) -> int:
    count = operator.index(layers)
    if count < 0:
        raise ValueError("layers: must not be negative")
    if count > 0xFFFFFFFF:
        check(form, OUT_OF_MEMORY)
    return count


def _sweep(
    form: str,
    export: Callable[..., Any],
    points: ArrayLike,
    surface: ArrayLike,
    path: Tuple[Any, ...],
    given: _Given,
) -> Sweep:
    """Call the full form of a sweep. `path` stands between the surface and the solids; `given` are the solids, edges,
    sides and cap, as they come from the caller."""
    nodes, faces = as_points(points), as_ids(surface, 3, "surface")
    columns = (2 * faces.shape[1], 2, 4, faces.shape[1])
    names = ("solids", "edges", "sides", "cap")
    appended = [as_ids(*argument) for argument in zip(given, columns, names)]
    made = export(nodes, faces, *path, *appended)
    check(f"{form}, in full", made[0])
    return Sweep(*made[1:])
