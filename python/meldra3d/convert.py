"""Change of the order of solids: nodes on edges, in faces and in elements are created or dropped."""

import operator
from typing import Dict, NamedTuple, Optional

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids, as_points
from .elements import NO_NODE, SHAPES, ElementType
from .status import OUT_OF_MEMORY, check

_K = ElementType
_LARGEST_ID = 0xFFFFFFFF


class Converted(NamedTuple):
    """A mesh of another order. Both arrays own their memory."""

    points: np.ndarray  #: (n, 3) float64: the nodes given, then the new ones
    cells: np.ndarray  #: (m, k) uint32: the elements in their order, vertices first


# Columns of the linear kind by those of the quadratic one. Of 20 and 27 columns not all need be in use.
_LINEAR_COLUMNS = {10: 4, 13: 5, 14: 5, 15: 6, 18: 6, 20: 8, 27: 8}


def convert_into_linear(cells: ArrayLike) -> np.ndarray:
    """Drop the high-order nodes of quadratic solids.

    Parameters
    ----------
    cells : array_like
        ``(m, 10)`` tetrahedra, or solids of several kinds in 13, 14, 15, 18, 20 or 27 columns (``SOLID_MIX_Q``), with
        `NO_NODE` in those that an element does not use.

    Returns
    -------
    ndarray
        The vertices: ``(m, 4)`` from 10 columns; ``(m, 5)`` from 13 or 14 columns and ``(m, 6)`` from 15 or 18 when
        every column of every element is in use, so that all are pyramids or wedges; else ``(m, 8)`` with `NO_NODE`
        in the columns that an element does not use (``SOLID_MIX``). So what `convert_into_quadratic` made of linear
        solids becomes what it was.

    Raises
    ------
    ValueError
        When ``cells`` has another number of columns.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> convert_into_linear([range(10)])
    array([[0, 1, 2, 3]], dtype=uint32)
    >>> convert_into_linear([range(18)])
    array([[0, 1, 2, 3, 4, 5]], dtype=uint32)
    """
    c = as_ids(cells, 27, "cells")
    columns = c.shape[1]
    linear_columns = _LINEAR_COLUMNS.get(columns, columns)
    if len(c) == 0:
        return np.empty((0, linear_columns), dtype=np.uint32)
    if columns in (13, 14, 15, 18):
        # The library tells a kind by its first unused column: without one it would take all for hexahedra.
        if (c == NO_NODE).any():
            linear_columns = 8
        c = np.pad(c, ((0, 0), (0, 27 - columns)), constant_values=NO_NODE)
    status, linear = _core.convert_into_linear(c)
    check("convert_into_linear", status)
    return linear if linear.shape[1] == linear_columns else linear[:, :linear_columns].copy()


def convert_into_quadratic(
    points: ArrayLike, cells: ArrayLike, *, faces: Optional[ArrayLike] = None, edges: Optional[ArrayLike] = None
) -> Converted:
    """Give linear solids a node on each edge, and one in each quadrangle and each hexahedron.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        ``(m, 4)`` tetrahedra, ``(m, 5)`` pyramids, ``(m, 6)`` wedges, or ``(m, 8)`` solids of any kind with `NO_NODE`
        in the columns that an element does not use.
    faces : array_like, optional
        Faces that have their nodes already, to be used again, so that two meshes fit together: ``(f, 6)`` triangles
        (``T6``) for cells of 4 columns; ``(f, 9)`` for cells of 8, quadrangles (``Q9``) and triangles with `NO_NODE` in
        the last three columns; either for cells of 5 or 6.
    edges : array_like, optional
        ``(e, 3)`` edges likewise: two ends, then the node between them (``EDGE3``).

    Returns
    -------
    Converted
        ``(points, cells)``: 10, 14, 18 or 27 columns (``TH10``, ``PY14``, ``W18``, ``SOLID_MIX_Q``) for 4, 5, 6 or 8.
        Nodes keep their numbers. Elements that share an edge or a face share its nodes. New nodes lie at the middle
        of the vertices around them, or amid the given nodes of their face or element.

    Raises
    ------
    ValueError
        For a bad argument, which the message names.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 2, 0], [2, 0, 0], [0, 0, 2]]
    >>> raised = convert_into_quadratic(corner, [[0, 1, 2, 3]])
    >>> raised.cells
    array([[0, 1, 2, 3, 4, 5, 6, 7, 8, 9]], dtype=uint32)
    >>> raised.points[4]
    array([1., 1., 0.])
    >>> convert_into_linear(raised.cells)
    array([[0, 1, 2, 3]], dtype=uint32)
    """
    p = as_points(points)
    c = as_ids(cells, 8, "cells")
    f, e = as_ids(faces, 9, "faces"), as_ids(edges, 3, "edges")
    status, new_points, converted = _core.convert_into_quadratic(p, c, f, e)
    check("convert_into_quadratic", status)
    return Converted(new_points, converted if len(c) else _no_cells(c, NodeCounts(1, 1, 0, 1, 0, 0, 0)))


def convert_into_high_order(
    points: ArrayLike,
    cells: ArrayLike,
    edge_nodes: int,
    *,
    quadrangle_nodes: Optional[int] = None,
    triangle_nodes: Optional[int] = None,
    hexahedron_nodes: Optional[int] = None,
    tetrahedron_nodes: Optional[int] = None,
    wedge_nodes: Optional[int] = None,
    pyramid_nodes: Optional[int] = None,
    faces: Optional[ArrayLike] = None,
    edges: Optional[ArrayLike] = None,
) -> Converted:
    """Give linear solids nodes on edges, in faces and inside.

    Each count that is not given is that of complete (Lagrange) elements with so many nodes on an edge; the library
    makes complete elements of all kinds up to 2 nodes on an edge, pyramids apart up to 3.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates.
    cells : array_like
        As in `convert_into_quadratic`.
    edge_nodes : int
        Nodes inside each edge, any number.
    quadrangle_nodes, triangle_nodes : int, optional
        Nodes inside each face: a square; 0, 1 or 3.
    hexahedron_nodes, tetrahedron_nodes, wedge_nodes, pyramid_nodes : int, optional
        Nodes inside each element: 0, 1, 8 or 27; 0 or 1; any number; 0 or 1.
    faces, edges : array_like, optional
        Faces and edges that have their nodes already, as in `convert_into_quadratic`, with the columns of these
        counts: vertices, nodes of each edge, nodes inside. A `NO_NODE` in place of a node has it created.

    Returns
    -------
    Converted
        ``(points, cells)``. Columns of an element: vertices; nodes of its edges, from the first vertex of each to the
        second; nodes of its faces; nodes inside; `NO_NODE`, where there are 8 columns in ``cells`` and another kind
        would have more. The order inside each group is that of the library's page on numbering. Nodes keep their
        numbers, and elements that share an edge or a face share its nodes. When all counts are 0, copies of what was
        given.

    Raises
    ------
    ValueError
        For a bad argument, which the message names; also when complete elements of a kind that is there have more
        nodes than can be made.
    MemoryError
        When memory ran out, or nodes would need larger numbers than 32 bits hold.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 3, 0], [3, 0, 0], [0, 0, 3]]
    >>> cubic = convert_into_high_order(corner, [[0, 1, 2, 3]], 2)
    >>> cubic.cells.shape
    (1, 20)
    >>> cubic.points[4:6]
    array([[1., 2., 0.],
           [2., 1., 0.]])
    """
    p = as_points(points)
    c = as_ids(cells, 8, "cells")
    f, e = as_ids(faces, 0, "faces"), as_ids(edges, 0, "edges")
    counts = NodeCounts.of_complete_elements(_as_count(edge_nodes, "edge_nodes")).restricted_to(c)
    given = {
        "quadrangle": quadrangle_nodes,
        "triangle": triangle_nodes,
        "hexahedron": hexahedron_nodes,
        "tetrahedron": tetrahedron_nodes,
        "wedge": wedge_nodes,
        "pyramid": pyramid_nodes,
    }
    counts = counts._replace(
        **{name: _as_count(count, f"{name}_nodes") for name, count in given.items() if count is not None}
    )
    if max(counts) > _LARGEST_ID:
        check("convert_into_high_order", OUT_OF_MEMORY)
    if not any(counts):
        return Converted(p.copy(), c.copy())
    status, new_points, converted = _core.convert_into_high_order(p, c, counts, f, e)
    check("convert_into_high_order", status)
    return Converted(new_points, converted if len(c) else _no_cells(c, counts))


def _as_count(value: int, name: str) -> int:
    count = operator.index(value)
    if count < 0:
        raise ValueError(f"{name}: must not be negative")
    return count


class NodeCounts(NamedTuple):
    """How many nodes a conversion creates inside each part of the elements, in the order of the library's arguments."""

    edge: int
    quadrangle: int
    triangle: int
    hexahedron: int
    tetrahedron: int
    wedge: int
    pyramid: int

    @classmethod
    def of_complete_elements(cls, edge: int) -> "NodeCounts":
        """The counts of Lagrange elements with so many nodes inside each edge.

        Examples
        --------
        >>> NodeCounts.of_complete_elements(2)
        NodeCounts(edge=2, quadrangle=4, triangle=1, hexahedron=8, tetrahedron=0, wedge=2, pyramid=1)
        """
        triangle = edge * (edge - 1) // 2
        return cls(
            edge=edge,
            quadrangle=edge**2,
            triangle=triangle,
            hexahedron=edge**3,
            tetrahedron=edge * (edge - 1) * (edge - 2) // 6,
            wedge=triangle * edge,
            pyramid=edge * (edge - 1) * (2 * edge - 1) // 6,
        )

    def restricted_to(self, cells: np.ndarray) -> "NodeCounts":
        """The same without counts that the library cannot take, where none of the solids has such a part."""
        columns = cells.shape[1]
        vertices = set(np.unique((cells != NO_NODE).sum(axis=1)).tolist()) if columns == 8 else {columns}
        has = {
            "edge": True,
            "quadrangle": bool(vertices & {5, 6, 8}),
            "triangle": bool(vertices & {4, 5, 6}),
            "hexahedron": 8 in vertices,
            "tetrahedron": 4 in vertices,
            "wedge": 6 in vertices,
            "pyramid": 5 in vertices,
        }
        largest = {"triangle": 3, "hexahedron": 27, "tetrahedron": 1, "pyramid": 1}
        return NodeCounts(*(
            count if has[name] or count <= largest.get(name, _LARGEST_ID) else 0
            for name, count in self._asdict().items()
        ))  # fmt: skip

    def nodes_of(self, kind: ElementType) -> int:
        """Number of nodes that elements of a linear kind have after the conversion.

        Examples
        --------
        >>> NodeCounts.of_complete_elements(1).nodes_of(ElementType.W6)
        18
        """
        shape = SHAPES[kind]
        faces = [len(face) for face in shape.faces]
        total = shape.vertices + _EDGES[kind] * self.edge
        return total + faces.count(4) * self.quadrangle + faces.count(3) * self.triangle + self.inside(kind)

    def inside(self, kind: ElementType) -> int:
        """Number of nodes inside solids of a linear kind, or inside triangles or quadrangles."""
        place = {
            _K.T3: self.triangle,
            _K.Q4: self.quadrangle,
            _K.TH4: self.tetrahedron,
            _K.PY5: self.pyramid,
            _K.W6: self.wedge,
            _K.H8: self.hexahedron,
        }
        return place.get(kind, 0)


# Number of edges of each linear kind.
_EDGES: Dict[ElementType, int] = {
    linear: len(SHAPES[quadratic].edges)
    for linear, quadratic in (
        (_K.NODE, _K.NODE), (_K.EDGE2, _K.EDGE3), (_K.T3, _K.T6), (_K.Q4, _K.Q8),
        (_K.TH4, _K.TH10), (_K.PY5, _K.PY13), (_K.W6, _K.W15), (_K.H8, _K.H20),
    )
}  # fmt: skip


def _no_cells(cells: np.ndarray, counts: NodeCounts) -> np.ndarray:
    """The result of a conversion of no elements, with the columns that elements would have."""
    kinds = (_K.TH4, _K.PY5, _K.W6, _K.H8)
    columns = [counts.nodes_of(kind) for kind in kinds if cells.shape[1] in (8, SHAPES[kind].nodes)]
    return np.empty((0, max(columns, default=0)), dtype=np.uint32)
