"""Points in a mesh of tetrahedra: which element holds them, and the values of fields and metrics there."""

from typing import NamedTuple, Optional, Tuple

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_numbers, as_points
from .elements import NO_NODE, ElementType
from .status import OUT_OF_MEMORY, check

#: What may become of points outside the mesh.
OUTSIDE = ("nearest", "nan", "keep")


class Located(NamedTuple):
    """Where points lie in a mesh. A point that no element holds looks like no value: `NO_NODE`, and weights of NaN."""

    elements: np.ndarray  #: (q,) uint32: the element that holds each point
    weights: np.ndarray  #: (q, 4) float64: barycentric weights of the vertices of that element; their sum is 1
    found: np.ndarray  #: (q,) bool: whether there is one


class Locator:
    """A mesh of tetrahedra prepared for searches: its neighbours, ancestors, and a detector of its nodes.

    It holds copies, so that later changes to the arrays do not reach it, and never changes itself: several threads may
    use one locator at the same time, and run side by side, as the interpreter's lock is released in the searches.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, or ``(m, 10)`` quadratic ones, which count by their vertices, as if their edges were
        straight. The positive orientation is that of this library; `flip_TH4` makes it from the other one.

    Raises
    ------
    ValueError
        For a bad argument, which the message names; also when the elements have a negative volume altogether, for
        then next to nothing would be found.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> locator = Locator(corner, [[0, 1, 2, 3]])
    >>> locator.locate([[0.5, 0.25, 0.125], [1, 1, 1]])
    Located(elements=array([         0, 4294967295], dtype=uint32), weights=array([[0.125, 0.25 , 0.5  , 0.125],
           [  nan,   nan,   nan,   nan]]), found=array([ True, False]))
    >>> locator.interpolate([0, 10, 100, 1000], [[0.5, 0.25, 0.125], [1, 1, 0]])
    array([177.5,  10. ])
    >>> locator.nearest([[0.9, 0, 0], [1, 1, 0]])
    array([2, 1], dtype=uint32)
    """

    def __init__(self, points: ArrayLike, cells: ArrayLike) -> None:
        p, c = _tetrahedra(points, cells)
        self._points = np.array(p)
        self._cells = np.array(c)
        self._neighbors = _neighbors(self._cells)
        self._ancestors = _ancestors(self._cells, len(p))
        self._detector = _core.NodeDetector()
        check("tetrahedra", self._detector.reinit(self._points, self._cells))

    def locate(self, queries: ArrayLike, *, tolerance: float = 1e-6) -> Located:
        """Find the elements that hold points; see `locate`."""
        q = _as_queries(queries)
        if len(self._cells) == 0 or len(q) == 0:
            return _none_found(len(q))
        status, elements, local = _core.get_elements_containing_points(
            self._points,
            self._cells,
            self._neighbors,
            self._ancestors,
            self._detector,
            ElementType.TH4,
            q,
            float(tolerance),
        )
        # A status may also tell of the last point that was not found, but then there is an entry for each point.
        if status == OUT_OF_MEMORY or len(elements) != len(q):
            check("locate", status)
        found = elements != NO_NODE
        weights = np.column_stack([local, 1 - local[:, 0] - local[:, 1] - local[:, 2]])
        weights[~found] = np.nan
        return Located(elements, weights, found)

    def nearest(self, queries: ArrayLike) -> np.ndarray:
        """Find the vertex nearest to each point.

        Parameters
        ----------
        queries : array_like
            ``(q, 3)`` coordinates, inside the mesh or not.

        Returns
        -------
        ndarray
            ``(q,)`` uint32 node numbers, of equally near ones the lowest. `NO_NODE` when the mesh has no elements, and
            for a point that is not finite.

        Raises
        ------
        ValueError
            When ``queries`` are no points.
        """
        return self._detector.find_closest(_as_queries(queries))

    def interpolate(
        self, field: ArrayLike, queries: ArrayLike, *, outside: str = "nearest", given: Optional[ArrayLike] = None
    ) -> np.ndarray:
        """Interpolate a field on the nodes at points; see `interpolate`."""
        q = _as_queries(queries)
        f = _as_field(field, len(self._points))
        values = _initial(f, len(q), outside, given)
        if values.size == 0 or len(self._cells) == 0:
            return values
        located = self.locate(q)
        values[located.found] = self.values_at(located, f)[located.found]
        if outside == "nearest" and not located.found.all():
            missed = np.flatnonzero(~located.found)
            closest = self.nearest(q[missed])
            has_one = closest != NO_NODE
            values[missed[has_one]] = f[closest[has_one]]
        return values

    def values_at(self, located: Located, field: ArrayLike) -> np.ndarray:
        """Give the values of a field at points that have been located, so that several fields need one search.

        Parameters
        ----------
        located : Located
            What `locate` of this locator gave.
        field : array_like
            ``(n,)`` numbers or ``(n, ...)`` arrays of numbers, one for each of the points of the mesh.

        Returns
        -------
        ndarray
            ``(q,)`` or ``(q, ...)`` float64; NaN at points that were not found.

        Raises
        ------
        ValueError
            When there is not an entry for each of the points of the mesh.
        """
        f = _as_field(field, len(self._points))
        values = np.full((len(located.found), *f.shape[1:]), np.nan)
        if located.found.any():
            f0, f1, f2, f3 = (f[nodes] for nodes in self._cells[located.elements[located.found]].T)
            ones = (1,) * (f.ndim - 1)
            w0, w1, w2, _ = (w.reshape(-1, *ones) for w in located.weights[located.found].T)
            # In the order of the library's own function, so that both give the same.
            values[located.found] = (f0 - f3) * w0 + (f1 - f3) * w1 + (f2 - f3) * w2 + f3
        return values


def locate(points: ArrayLike, cells: ArrayLike, queries: ArrayLike, *, tolerance: float = 1e-6) -> Located:
    """Find the tetrahedra that hold points.

    Parameters
    ----------
    points, cells : array_like
        The mesh, as for `Locator`, which saves the preparation when one mesh is searched again and again.
    queries : array_like
        ``(q, 3)`` coordinates of the points looked for.
    tolerance : float
        An element holds a point when none of its weights there is below minus this.

    Returns
    -------
    Located
        ``(elements, weights, found)``. On a face shared by two elements either is found, always the same. Elements
        that are inverted or flat end the search that meets them.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> elements, weights, found = locate(corner, [[0, 1, 2, 3]], [[0.5, 0.25, 0.125], [1, 1, 1]])
    >>> found
    array([ True, False])
    >>> weights[0]
    array([0.125, 0.25 , 0.5  , 0.125])
    """
    return Locator(points, cells).locate(queries, tolerance=tolerance)


def interpolate(
    points: ArrayLike,
    cells: ArrayLike,
    field: ArrayLike,
    queries: ArrayLike,
    *,
    outside: str = "nearest",
    given: Optional[ArrayLike] = None,
) -> np.ndarray:
    """Interpolate a field on the nodes of a mesh of tetrahedra at any points.

    Inside an element the values at its vertices are weighted, so that linear fields are reproduced.

    Parameters
    ----------
    points, cells : array_like
        The mesh, as for `Locator`. Of quadratic tetrahedra only the values at their vertices are used.
    field : array_like
        ``(n,)`` numbers or ``(n, ...)`` arrays of numbers, one for each of the points.
    queries : array_like
        ``(q, 3)`` coordinates of the points where values are wanted.
    outside : {'nearest', 'nan', 'keep'}
        What a point that no element holds gets: the value at the nearest vertex, NaN, or what it has in ``given``.
    given : array_like, optional
        ``(q,)`` or ``(q, ...)`` values at the points, with ``outside='keep'`` only.

    Returns
    -------
    ndarray
        ``(q,)`` or ``(q, ...)`` float64. With 'nearest', NaN where there is no nearest vertex: at a point that is not
        finite, and when there are no elements.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> interpolate(corner, [[0, 1, 2, 3]], [0, 10, 100, 1000], [[0.5, 0.25, 0.125], [1, 1, 0]])
    array([177.5,  10. ])
    >>> interpolate(corner, [[0, 1, 2, 3]], [0, 10, 100, 1000], [[1, 1, 0]], outside="keep", given=[7])
    array([7.])
    """
    if outside != "nearest":
        return Locator(points, cells).interpolate(field, queries, outside=outside, given=given)
    p, c = _tetrahedra(points, cells)
    q = _as_queries(queries)
    f = _as_field(field, len(p))
    values = _initial(f, len(q), outside, given)
    if values.size == 0 or len(c) == 0:
        return values
    everything, ancestors, nodes = _with_free_nodes(p, c, q)
    filled = np.concatenate([f, values])
    flat = filled.reshape(len(filled), -1) if f.ndim > 1 else filled
    check("interpolate", _core.interpolate(everything, c, _neighbors(c), ancestors, flat, nodes))
    return filled[len(p) :].copy()


def interpolate_metrics(
    points: ArrayLike,
    cells: ArrayLike,
    metrics: ArrayLike,
    queries: ArrayLike,
    *,
    given: Optional[ArrayLike] = None,
    keep_valid: bool = False,
) -> np.ndarray:
    """Interpolate metrics or sizes on the nodes of a mesh of tetrahedra at any points.

    A metric M asks for the length h along a unit vector e when ``e @ M @ e == 1 / h**2``. Lengths are interpolated
    linearly, along the axes that two metrics have in common.

    Parameters
    ----------
    points, cells : array_like
        The mesh, as for `Locator`.
    metrics : array_like
        ``(n, 6)`` metrics m11, m12, m22, m13, m23, m33, or ``(n,)`` sizes, the same in all directions.
    queries : array_like
        ``(q, 3)`` coordinates of the points where metrics are wanted. One that no element holds takes the metric of the
        nearest vertex.
    given : array_like, optional
        ``(q, 6)`` or ``(q,)`` metrics at the points, which stay where the metrics around a point cannot be combined: one
        of them is not positive definite, or a size not positive. By default these points get NaN.
    keep_valid : bool
        Let points keep what they have in ``given`` when it is positive definite (of sizes, positive and finite).

    Returns
    -------
    ndarray
        ``(q, 6)`` or ``(q,)`` float64.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> half = [[0, 0, 0.5]]
    >>> interpolate_metrics(corner, [[0, 1, 2, 3]], [1, 9, 9, 3], half)
    array([2.])
    >>> metrics = [[h**-2, 0, h**-2, 0, 0, h**-2] for h in (1, 9, 9, 3)]
    >>> interpolate_metrics(corner, [[0, 1, 2, 3]], metrics, half).round(15)
    array([[0.25, 0.  , 0.25, 0.  , 0.  , 0.25]])
    """
    p, c = _tetrahedra(points, cells)
    q = _as_queries(queries)
    m = np.asarray(metrics)
    if m.shape not in ((len(p),), (len(p), 6)):
        check("interpolate_metrics", -5)
    m = _as_field(m, len(p), "metrics")
    values = _initial(m, len(q), "nan" if given is None else "keep", given)
    if len(q) == 0 or len(c) == 0:
        return values
    everything, ancestors, nodes = _with_free_nodes(p, c, q)
    filled = np.concatenate([m, values])
    status = _core.interpolate_metrics(everything, c, _neighbors(c), ancestors, filled, nodes, bool(keep_valid))
    check("interpolate_metrics", status)
    return filled[len(p) :].copy()


# ---- what they share ----


def _none_found(count: int) -> Located:
    elements = np.full(count, NO_NODE, dtype=np.uint32)
    return Located(elements, np.full((count, 4), np.nan), np.zeros(count, dtype=bool))


def _tetrahedra(points: ArrayLike, cells: ArrayLike) -> Tuple[np.ndarray, np.ndarray]:
    """The mesh as the library takes it, quadratic elements by their vertices."""
    p, c = as_points(points), as_ids(cells, 4, "cells")
    if p.shape[1] != 3:
        check("tetrahedra", -1)
    if c.shape[1] not in (4, 10):
        raise ValueError("cells: must have 4 or 10 columns")
    vertices = np.ascontiguousarray(c[:, :4])
    status, total = _core.volume(p, vertices)
    check("tetrahedra", status)
    if total < 0:
        raise ValueError("cells: have a negative volume altogether; flip_TH4 turns tetrahedra round")
    return p, vertices


def _neighbors(cells: np.ndarray) -> np.ndarray:
    status, found = _core.get_neighbors(cells, ElementType.TH4, False)
    check("neighbors", status)
    return found


def _ancestors(cells: np.ndarray, nodes: int) -> np.ndarray:
    """An ancestor for each node; a node that no element holds has none."""
    status, found = _core.get_ancestors(cells)
    check("ancestors", status)
    return np.pad(found, (0, nodes - len(found)), constant_values=NO_NODE)


def _with_free_nodes(p: np.ndarray, cells: np.ndarray, q: np.ndarray) -> Tuple[np.ndarray, np.ndarray, np.ndarray]:
    """The coordinates with points added to them as nodes of no element, the ancestors of all, and the nodes added."""
    total = len(p) + len(q)
    if total > NO_NODE:
        check("interpolate", OUT_OF_MEMORY)
    return np.concatenate([p, q]), _ancestors(cells, total), np.arange(len(p), total, dtype=np.uint32)


def _as_queries(queries: ArrayLike) -> np.ndarray:
    array = np.asarray(queries)
    if array.size == 0 and array.ndim == 1:
        array = np.empty((0, 3))
    q = as_points(array, "queries")
    if q.shape[1] != 3:
        check("locate", -7)
    return q


def _as_field(field: ArrayLike, count: int, name: str = "field") -> np.ndarray:
    array = np.asarray(field)
    if array.ndim == 0 or len(array) != count:
        check("interpolate", -5)
    return as_numbers(array.reshape(-1), name).reshape(array.shape)


def _initial(field: np.ndarray, count: int, outside: str, given: Optional[ArrayLike]) -> np.ndarray:
    """The values of points before they are interpolated: a new array, of NaN or as given."""
    if outside not in OUTSIDE:
        raise ValueError(f"outside: must be one of {', '.join(OUTSIDE)}, not {outside!r}")
    if (outside == "keep") != (given is not None):
        raise ValueError("given: goes with outside='keep', which needs it")
    shape = (count, *field.shape[1:])
    if given is None:
        return np.full(shape, np.nan)
    array = np.asarray(given)
    if array.shape != shape:
        raise ValueError(f"given: expected an array of shape {shape}, as the values on nodes are, got {array.shape}")
    return np.array(as_numbers(array.reshape(-1), "given").reshape(shape))
