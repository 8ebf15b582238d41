"""One element of every kind, numbered as VTK, Gmsh and this library number it, built from geometry alone.

A numbering is written down as a list of nodes, and a node as the vertices it lies amid: ``(2,)`` is vertex 2,
``(0, 4)`` the middle of the edge between vertices 0 and 4. The lists for VTK and Gmsh are transcribed from those
tools' own descriptions of their cells, ours from the description of this library, and none is derived from another,
so that a table that turns one into the other can be judged by where the nodes lie.

The vertices have no symmetry, so a node that sits at the middle of the wrong edge is never at the right place.
"""

import numpy as np

from meldra3d.elements import ElementType as K


def _corners(count):
    return [(k,) for k in range(count)]


_TRIANGLE = [(0, 0, 0), (1, 0, 0), (0, 1, 0)]
_SQUARE = [(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0)]


def _lifted(base):
    return [(x, y, 1) for x, y, _ in base]


#: Vertices of each shape, oriented as nearly all tools have it: the base counter-clockwise seen from the other side.
USUAL = {
    "node": [(0, 0, 0)],
    "edge": [(0, 0, 0), (1, 0, 0)],
    "triangle": _TRIANGLE,
    "quadrangle": _SQUARE,
    "tetrahedron": _TRIANGLE + [(0, 0, 1)],
    "pyramid": _SQUARE + [(0.5, 0.5, 1)],
    "wedge": _TRIANGLE + _lifted(_TRIANGLE),
    "hexahedron": _SQUARE + _lifted(_SQUARE),
}

SHAPE_OF = {
    K.NODE: "node", K.EDGE2: "edge", K.EDGE3: "edge", K.T3: "triangle", K.T6: "triangle",
    K.Q4: "quadrangle", K.Q8: "quadrangle", K.Q9: "quadrangle", K.TH4: "tetrahedron", K.TH10: "tetrahedron",
    K.PY5: "pyramid", K.PY13: "pyramid", K.PY14: "pyramid", K.W6: "wedge", K.W15: "wedge", K.W18: "wedge",
    K.H8: "hexahedron", K.H20: "hexahedron", K.H27: "hexahedron",
}  # fmt: skip

_LINEAR = {
    K.NODE: _corners(1), K.EDGE2: _corners(2), K.T3: _corners(3), K.Q4: _corners(4), K.TH4: _corners(4),
    K.PY5: _corners(5), K.W6: _corners(6), K.H8: _corners(8),
}  # fmt: skip

_QUAD_EDGES = [(0, 1), (1, 2), (2, 3), (3, 0)]
_ALL_8 = tuple(range(8))

# ---- ours ----
_TH10 = _corners(4) + [(1, 2), (2, 0), (0, 1), (0, 3), (1, 3), (2, 3)]
_PY13 = _corners(5) + [(0, 4), (1, 4), (2, 4), (3, 4), (0, 1), (1, 2), (2, 3), (3, 0)]
_W15 = _corners(6) + [(0, 3), (1, 4), (2, 5), (1, 2), (2, 0), (0, 1), (4, 5), (5, 3), (3, 4)]
_H20 = _corners(8) + [
    (0, 1), (1, 2), (2, 3), (3, 0), (4, 5), (5, 6), (6, 7), (7, 4), (0, 4), (1, 5), (2, 6), (3, 7),
]  # fmt: skip
OURS = {
    **_LINEAR,
    K.EDGE3: _corners(2) + [(0, 1)],
    K.T6: _corners(3) + [(1, 2), (2, 0), (0, 1)],
    K.Q8: _corners(4) + _QUAD_EDGES,
    K.Q9: _corners(4) + _QUAD_EDGES + [(0, 1, 2, 3)],
    K.TH10: _TH10,
    K.PY13: _PY13,
    K.PY14: _PY13 + [(0, 1, 2, 3)],
    K.W15: _W15,
    K.W18: _W15 + [(1, 2, 5, 4), (2, 0, 3, 5), (0, 1, 4, 3)],
    K.H20: _H20,
    K.H27: _H20 + [(0, 3, 7, 4), (1, 2, 6, 5), (0, 1, 5, 4), (2, 3, 7, 6), (0, 1, 2, 3), (4, 5, 6, 7), _ALL_8],
}

# ---- VTK: the classes vtkQuadraticTetra, vtkQuadraticPyramid, vtkQuadraticWedge, vtkBiQuadraticQuadraticWedge,
#      vtkQuadraticHexahedron and vtkTriQuadraticHexahedron; in all of them edges first, then faces, then the centre ----
_VTK_W15 = _corners(6) + [(0, 1), (1, 2), (2, 0), (3, 4), (4, 5), (5, 3), (0, 3), (1, 4), (2, 5)]
_VTK_H20 = _corners(8) + [
    (0, 1), (1, 2), (2, 3), (3, 0), (4, 5), (5, 6), (6, 7), (7, 4), (0, 4), (1, 5), (2, 6), (3, 7),
]  # fmt: skip
VTK_RAW = {
    **_LINEAR,
    K.EDGE3: _corners(2) + [(0, 1)],
    K.T6: _corners(3) + [(0, 1), (1, 2), (2, 0)],
    K.Q8: _corners(4) + _QUAD_EDGES,
    K.Q9: _corners(4) + _QUAD_EDGES + [(0, 1, 2, 3)],
    K.TH10: _corners(4) + [(0, 1), (1, 2), (2, 0), (0, 3), (1, 3), (2, 3)],
    K.PY13: _corners(5) + _QUAD_EDGES + [(0, 4), (1, 4), (2, 4), (3, 4)],
    K.W15: _VTK_W15,
    K.W18: _VTK_W15 + [(0, 1, 4, 3), (1, 2, 5, 4), (2, 0, 3, 5)],
    K.H20: _VTK_H20,
    K.H27: _VTK_H20 + [(0, 3, 7, 4), (1, 2, 6, 5), (0, 1, 5, 4), (2, 3, 7, 6), (0, 1, 2, 3), (4, 5, 6, 7), _ALL_8],
}
#: VTK's cell type numbers.
VTK_NUMBER = {
    K.NODE: 1, K.EDGE2: 3, K.T3: 5, K.Q4: 9, K.TH4: 10, K.H8: 12, K.W6: 13, K.PY5: 14, K.EDGE3: 21, K.T6: 22,
    K.Q8: 23, K.TH10: 24, K.H20: 25, K.W15: 26, K.PY13: 27, K.Q9: 28, K.H27: 29, K.W18: 32,
}  # fmt: skip

# ---- Gmsh: "Node ordering" in its manual; edges of solids in lexicographic order but for the tetrahedron's last two ----
_GMSH_PY13 = _corners(5) + [(0, 1), (0, 3), (0, 4), (1, 2), (1, 4), (2, 3), (2, 4), (3, 4)]
_GMSH_W15 = _corners(6) + [(0, 1), (0, 2), (0, 3), (1, 2), (1, 4), (2, 5), (3, 4), (3, 5), (4, 5)]
_GMSH_H20 = _corners(8) + [
    (0, 1), (0, 3), (0, 4), (1, 2), (1, 5), (2, 3), (2, 6), (3, 7), (4, 5), (4, 7), (5, 6), (6, 7),
]  # fmt: skip
GMSH_RAW = {
    **_LINEAR,
    K.EDGE3: _corners(2) + [(0, 1)],
    K.T6: _corners(3) + [(0, 1), (1, 2), (2, 0)],
    K.Q8: _corners(4) + _QUAD_EDGES,
    K.Q9: _corners(4) + _QUAD_EDGES + [(0, 1, 2, 3)],
    K.TH10: _corners(4) + [(0, 1), (1, 2), (2, 0), (3, 0), (2, 3), (1, 3)],
    K.PY13: _GMSH_PY13,
    K.PY14: _GMSH_PY13 + [(0, 1, 2, 3)],
    K.W15: _GMSH_W15,
    K.W18: _GMSH_W15 + [(0, 1, 4, 3), (0, 2, 5, 3), (1, 2, 5, 4)],
    K.H20: _GMSH_H20,
    K.H27: _GMSH_H20 + [(0, 1, 2, 3), (0, 1, 5, 4), (0, 3, 7, 4), (1, 2, 6, 5), (2, 3, 7, 6), (4, 5, 6, 7), _ALL_8],
}
#: Gmsh's element type numbers.
GMSH_NUMBER = {
    K.EDGE2: 1, K.T3: 2, K.Q4: 3, K.TH4: 4, K.H8: 5, K.W6: 6, K.PY5: 7, K.EDGE3: 8, K.T6: 9, K.Q9: 10, K.TH10: 11,
    K.H27: 12, K.W18: 13, K.PY14: 14, K.NODE: 15, K.Q8: 16, K.H20: 17, K.W15: 18, K.PY13: 19,
}  # fmt: skip


def vertices(kind, tool):
    """Vertices of a well-oriented element of `tool` ("vtk", "gmsh", "ours"), irregular enough that no two means agree."""
    shape = SHAPE_OF[kind]
    usual = np.array(USUAL[shape], dtype=float)
    if (kind is K.W6 and tool == "vtk") or (shape == "tetrahedron" and tool == "ours"):
        usual[:, [0, 1]] = usual[:, [1, 0]]  # a mirror image
    rng = np.random.default_rng(20 + len(usual))
    return usual + rng.uniform(-0.12, 0.12, usual.shape)


def nodes_at(corners, numbering):
    """Coordinates of all nodes of an element whose vertices are `corners`."""
    return np.array([corners[list(amid)].mean(axis=0) for amid in numbering])


def raw_element(kind, tool):
    """Coordinates of a well-formed element in the raw order of a tool's files, one row a node."""
    numbering = {"vtk": VTK_RAW, "gmsh": GMSH_RAW, "ours": OURS}[tool][kind]
    return nodes_at(vertices(kind, tool), numbering)


def _det(x, i, j, k, m):
    return float(np.linalg.det([x[j] - x[i], x[k] - x[i], x[m] - x[i]]))


def six_volumes(kind, x):
    """Six times the signed volume by this library's rule, from the vertices of one element."""
    shape = SHAPE_OF[kind]
    if shape == "tetrahedron":
        return _det(x, 3, 0, 1, 2)
    if shape == "pyramid":
        return float(np.dot(np.cross(x[2] - x[4], x[1] - x[3]), x[0] - x[4]))
    if shape == "wedge":
        return _det(x, 0, 1, 2, 4) + _det(x, 0, 2, 3, 4) + _det(x, 2, 3, 4, 5)
    return (
        _det(x, 6, 1, 5, 4) + _det(x, 4, 3, 7, 6) + _det(x, 1, 4, 6, 3) + _det(x, 1, 0, 4, 3) + _det(x, 1, 6, 2, 3)
    )  # fmt: skip


def assert_is_ours(kind, x, tolerance=1e-12):
    """Check that the nodes `x` of one element lie where our numbering of `kind` says, and that it is direct."""
    numbering = OURS[kind]
    assert len(x) == len(numbering)
    corners = x[: len(USUAL[SHAPE_OF[kind]])]
    for node, amid in enumerate(numbering):
        middle = corners[list(amid)].mean(axis=0)
        assert np.linalg.norm(x[node] - middle) <= tolerance, f"{kind.name}: node {node} is not amid vertices {amid}"
    if kind >= K.TH4:
        assert six_volumes(kind, x) > 0.5, f"{kind.name} is inverted"
    elif SHAPE_OF[kind] in ("triangle", "quadrangle"):
        turn = np.cross(corners[1] - corners[0], corners[2] - corners[1])[2]
        assert turn > 0.5, f"{kind.name} turned over"
