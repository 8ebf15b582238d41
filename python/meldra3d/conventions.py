"""Node order and orientation of other tools, as tables.

Tools number the nodes of an element in different orders, and nothing in a file tells. Every table here has the same
meaning: *column j of our element is column* ``table[j]`` *of theirs*. So ``ours = theirs[:, table]`` on reading.

`VTK` and `GMSH` are the orders in the files of those two tools, as measured on their own reference elements (VTK 9.1
and Gmsh 4.8). Two differences reach further than the order of mid-edge nodes:

* A direct tetrahedron of ours is everybody else's inverted one, so all tables exchange its vertices 1 and 2.
* VTK counts the 6-node wedge, and that one alone, the other way round.

meshio, which does the reading and writing, already evens out part of this. `MESHIO` and `MESHIO_FROM_GMSH` say what
is left to do on its arrays, so that nothing is done twice.
"""

from typing import Dict, Tuple

import numpy as np

from .elements import SHAPES, ElementType

NodeOrder = Dict[ElementType, Tuple[int, ...]]

_K = ElementType


def _same(*kinds: ElementType) -> NodeOrder:
    return {kind: tuple(range(SHAPES[kind].nodes)) for kind in kinds}


#: Kinds whose order no tool disputes.
_COMMON: NodeOrder = {
    **_same(_K.NODE, _K.EDGE2, _K.EDGE3, _K.T3, _K.Q4, _K.Q8, _K.Q9, _K.PY5, _K.H8),
    _K.T6: (0, 1, 2, 4, 5, 3),
    _K.TH4: (0, 2, 1, 3),
}

_W15_VTK = (0, 1, 2, 3, 4, 5, 12, 13, 14, 7, 8, 6, 10, 11, 9)

#: Order in VTK files. VTK has no pyramid with 14 nodes.
VTK: NodeOrder = {
    **_COMMON,
    **_same(_K.H20, _K.H27),
    _K.TH10: (0, 2, 1, 3, 5, 4, 6, 7, 9, 8),
    _K.PY13: (0, 1, 2, 3, 4, 9, 10, 11, 12, 5, 6, 7, 8),
    _K.W6: (0, 2, 1, 3, 5, 4),
    _K.W15: _W15_VTK,
    _K.W18: _W15_VTK + (16, 17, 15),
}

_PY13_GMSH = (0, 1, 2, 3, 4, 7, 9, 11, 12, 5, 8, 10, 6)
_W15_GMSH = (0, 1, 2, 3, 4, 5, 8, 10, 11, 9, 7, 6, 14, 13, 12)
_H20_GMSH = (0, 1, 2, 3, 4, 5, 6, 7, 8, 11, 13, 9, 16, 18, 19, 17, 10, 12, 14, 15)

#: Order in Gmsh files.
GMSH: NodeOrder = {
    **_COMMON,
    **_same(_K.W6),
    _K.TH10: (0, 2, 1, 3, 5, 4, 6, 7, 8, 9),
    _K.PY13: _PY13_GMSH,
    _K.PY14: _PY13_GMSH + (13,),
    _K.W15: _W15_GMSH,
    _K.W18: _W15_GMSH + (17, 16, 15),
    _K.H20: _H20_GMSH,
    _K.H27: _H20_GMSH + (22, 23, 21, 24, 20, 25, 26),
}

#: Order in meshio's arrays: VTK's, except for the 6-node wedge, which meshio turns round on reading and writing.
MESHIO: NodeOrder = {**VTK, **_same(_K.W6)}

#: Order in meshio's arrays of a Gmsh file: it brings Gmsh's order to VTK's, but passes these two kinds on unchanged.
MESHIO_FROM_GMSH: NodeOrder = {**MESHIO, _K.W18: GMSH[_K.W18], _K.PY14: GMSH[_K.PY14]}


def from_theirs(cells: np.ndarray, table: Tuple[int, ...]) -> np.ndarray:
    """Bring elements in another tool's node order into ours.

    Parameters
    ----------
    cells : ndarray
        ``(m, k)`` node numbers in the other tool's order.
    table : tuple of int
        The tool's table for this kind of element.

    Returns
    -------
    ndarray
        A new ``(m, k)`` array in our order.

    Examples
    --------
    >>> import numpy as np
    >>> from_theirs(np.array([[10, 11, 12, 13]]), VTK[ElementType.TH4])
    array([[10, 12, 11, 13]])
    """
    return cells[:, table]


def to_theirs(cells: np.ndarray, table: Tuple[int, ...]) -> np.ndarray:
    """Bring elements in our node order into another tool's: the reverse of `from_theirs`.

    Examples
    --------
    >>> import numpy as np
    >>> to_theirs(np.array([[0, 1, 2, 12, 20, 1]]), VTK[ElementType.T6])
    array([[ 0,  1,  2,  1, 12, 20]])
    """
    return cells[:, np.argsort(table)]
