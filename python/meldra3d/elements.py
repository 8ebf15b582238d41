"""Element types and their local numbering, as data.

A connectivity is an ``(m, k)`` array of node numbers, one element a row. This module says what its columns mean:
how many there are for each kind, which nodes are vertices, which node lies on which edge and which nodes bound which
face. Everything else in the package that needs a numbering reads it from here.
"""

from enum import IntEnum
from typing import Dict, NamedTuple, Tuple

import numpy as np

from . import _core

#: Marks a column of a mixed connectivity that holds no node, and a face without a neighbour.
NO_NODE: int = _core.NO_NODE


class ElementType(IntEnum):
    """The element types of the library, with the values it uses."""

    NONE = _core.ET_NONE  #: no element
    NODE = _core.ET_NODE  #: one node
    EDGE2 = _core.ET_EDGE2  #: linear edge
    EDGE3 = _core.ET_EDGE3  #: quadratic edge: two ends, then the node between them
    FACE_MIX = _core.ET_FACE_MIX  #: triangles and quadrangles, 4 columns
    FACE_MIX_Q = _core.ET_FACE_MIX_Q  #: quadratic triangles and quadrangles, 9 columns
    T3 = _core.ET_T3  #: linear triangle
    T6 = _core.ET_T6  #: quadratic triangle
    Q4 = _core.ET_Q4  #: linear quadrangle
    Q8 = _core.ET_Q8  #: quadrangle with mid-edge nodes
    Q9 = _core.ET_Q9  #: quadrangle with mid-edge nodes and a centre
    SOLID_MIX = _core.ET_SOLID_MIX  #: tetrahedra, pyramids, wedges and hexahedra, 8 columns
    SOLID_MIX_Q = _core.ET_SOLID_MIX_Q  #: the quadratic solids together, up to 27 columns
    TH4 = _core.ET_TH4  #: linear tetrahedron
    TH10 = _core.ET_TH10  #: tetrahedron with mid-edge nodes
    PY5 = _core.ET_PY5  #: linear pyramid
    PY13 = _core.ET_PY13  #: pyramid with mid-edge nodes
    PY14 = _core.ET_PY14  #: pyramid with mid-edge nodes and the centre of its base
    W6 = _core.ET_W6  #: linear wedge (triangular prism)
    W15 = _core.ET_W15  #: wedge with mid-edge nodes
    W18 = _core.ET_W18  #: wedge with mid-edge nodes and the centres of its quadrangles
    H8 = _core.ET_H8  #: linear hexahedron
    H20 = _core.ET_H20  #: hexahedron with mid-edge nodes
    H27 = _core.ET_H27  #: hexahedron with mid-edge nodes, face centres and a centre


class Shape(NamedTuple):
    """One kind of element: what each column of its connectivity is.

    Columns come in this order: vertices, one node for each of ``edges``, one for each of ``centres``.
    """

    name: str  #: in words, plural
    dimension: int  #: 0 node, 1 edge, 2 surface, 3 solid
    vertices: int  #: number of vertices
    edges: Tuple[Tuple[int, ...], ...]  #: the two vertices that each mid-edge node lies between
    centres: Tuple[Tuple[int, ...], ...]  #: the vertices that each centre node lies amid
    faces: Tuple[Tuple[int, ...], ...]  #: vertex cycles, clockwise seen from outside a direct element

    @property
    def nodes(self) -> int:
        """Number of columns."""
        return self.vertices + len(self.edges) + len(self.centres)


_LINE = ((0, 1),)
# Edge k of a triangle lies opposite vertex k; edge k of a quadrangle begins at vertex k.
_TRIANGLE = ((1, 2), (2, 0), (0, 1))
_QUADRANGLE = ((0, 1), (1, 2), (2, 3), (3, 0))
_TETRAHEDRON = ((1, 2), (2, 0), (0, 1), (0, 3), (1, 3), (2, 3))
_PYRAMID = ((0, 4), (1, 4), (2, 4), (3, 4), (0, 1), (1, 2), (2, 3), (3, 0))
_WEDGE = ((0, 3), (1, 4), (2, 5), (1, 2), (2, 0), (0, 1), (4, 5), (5, 3), (3, 4))
_HEXAHEDRON = ((0, 1), (1, 2), (2, 3), (3, 0), (4, 5), (5, 6), (6, 7), (7, 4), (0, 4), (1, 5), (2, 6), (3, 7))

# A direct hexahedron, wedge or pyramid has its base (the first vertices) counter-clockwise seen from the opposite
# vertices; a direct tetrahedron has vertices 0, 1, 2 clockwise seen from vertex 3. With that difference the faces
# of every kind turn clockwise seen from outside.
_TETRAHEDRON_FACES = ((1, 2, 3), (2, 0, 3), (0, 1, 3), (2, 1, 0))
_PYRAMID_FACES = ((0, 4, 1), (1, 4, 2), (2, 4, 3), (3, 4, 0), (0, 1, 2, 3))
_WEDGE_FACES = ((0, 1, 2), (3, 5, 4), (2, 1, 4, 5), (0, 2, 5, 3), (1, 0, 3, 4))
_HEXAHEDRON_FACES = ((0, 3, 7, 4), (1, 5, 6, 2), (0, 4, 5, 1), (3, 2, 6, 7), (0, 1, 2, 3), (4, 7, 6, 5))

_BASE = ((0, 1, 2, 3),)
_WEDGE_CENTRES = ((1, 2, 5, 4), (2, 0, 3, 5), (0, 1, 4, 3))
_HEXAHEDRON_CENTRES = (
    (0, 3, 7, 4),
    (1, 2, 6, 5),
    (0, 1, 5, 4),
    (2, 3, 7, 6),
    (0, 1, 2, 3),
    (4, 5, 6, 7),
    (0, 1, 2, 3, 4, 5, 6, 7),
)

_K = ElementType

#: The shape of every kind that is one kind (the mixed types hold several).
SHAPES: Dict[ElementType, Shape] = {
    _K.NODE: Shape("nodes", 0, 1, (), (), ()),
    _K.EDGE2: Shape("edges", 1, 2, (), (), ()),
    _K.EDGE3: Shape("quadratic edges", 1, 2, _LINE, (), ()),
    _K.T3: Shape("triangles", 2, 3, (), (), ()),
    _K.T6: Shape("6-node triangles", 2, 3, _TRIANGLE, (), ()),
    _K.Q4: Shape("quadrangles", 2, 4, (), (), ()),
    _K.Q8: Shape("8-node quadrangles", 2, 4, _QUADRANGLE, (), ()),
    _K.Q9: Shape("9-node quadrangles", 2, 4, _QUADRANGLE, _BASE, ()),
    _K.TH4: Shape("tetrahedra", 3, 4, (), (), _TETRAHEDRON_FACES),
    _K.TH10: Shape("10-node tetrahedra", 3, 4, _TETRAHEDRON, (), _TETRAHEDRON_FACES),
    _K.PY5: Shape("pyramids", 3, 5, (), (), _PYRAMID_FACES),
    _K.PY13: Shape("13-node pyramids", 3, 5, _PYRAMID, (), _PYRAMID_FACES),
    _K.PY14: Shape("14-node pyramids", 3, 5, _PYRAMID, _BASE, _PYRAMID_FACES),
    _K.W6: Shape("wedges", 3, 6, (), (), _WEDGE_FACES),
    _K.W15: Shape("15-node wedges", 3, 6, _WEDGE, (), _WEDGE_FACES),
    _K.W18: Shape("18-node wedges", 3, 6, _WEDGE, _WEDGE_CENTRES, _WEDGE_FACES),
    _K.H8: Shape("hexahedra", 3, 8, (), (), _HEXAHEDRON_FACES),
    _K.H20: Shape("20-node hexahedra", 3, 8, _HEXAHEDRON, (), _HEXAHEDRON_FACES),
    _K.H27: Shape("27-node hexahedra", 3, 8, _HEXAHEDRON, _HEXAHEDRON_CENTRES, _HEXAHEDRON_FACES),
}

#: The kinds that each mixed type may hold.
MIXES: Dict[ElementType, Tuple[ElementType, ...]] = {
    _K.FACE_MIX: (_K.T3, _K.Q4),
    _K.FACE_MIX_Q: (_K.T6, _K.Q9),
    _K.SOLID_MIX: (_K.TH4, _K.PY5, _K.W6, _K.H8),
    _K.SOLID_MIX_Q: (_K.TH10, _K.PY13, _K.PY14, _K.W15, _K.W18, _K.H20, _K.H27),
}


def split_mixed(kind: ElementType, cells: np.ndarray) -> "list[tuple[ElementType, np.ndarray]]":
    """Find the elements of each kind in a mixed connectivity.

    Parameters
    ----------
    kind : ElementType
        One of the keys of `MIXES`.
    cells : ndarray
        ``(m, k)`` node numbers. An element fills the first columns and holds `NO_NODE` in the others; columns that
        none of the elements needs may be left out.

    Returns
    -------
    list of (ElementType, ndarray)
        The kinds present, in the order of `MIXES`, and the rows of ``cells`` that are of that kind.

    Raises
    ------
    ValueError
        When an element's used columns are not those of any kind.

    Examples
    --------
    >>> import numpy as np
    >>> cells = np.array([[0, 1, 2, NO_NODE], [0, 2, 3, 4], [4, 3, 5, NO_NODE]], dtype=np.uint32)
    >>> [(found.name, rows.tolist()) for found, rows in split_mixed(ElementType.FACE_MIX, cells)]
    [('T3', [0, 2]), ('Q4', [1])]
    """
    used = cells != NO_NODE
    count = used.sum(axis=1)
    is_tail = (used == (np.arange(cells.shape[1]) < count[:, None])).all(axis=1)
    found = []
    known = np.zeros(len(cells), dtype=bool)
    for single in MIXES[kind]:
        mine = is_tail & (count == SHAPES[single].nodes)
        known |= mine
        if mine.any():
            found.append((single, np.flatnonzero(mine)))
    if not known.all():
        raise ValueError(f"element {int(np.argmin(known))} does not fill the columns of any kind of {kind.name}")
    return found
