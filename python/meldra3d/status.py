"""What the library's status codes mean, by the names that arguments have in Python.

A status names an argument by its position in the library's fullest form of a function, which is not its position in
every form. Where a number of layers takes the place of the two sizes, the codes of the two forms mix: of a rotation by
layers, -9 is the closing faces, -5 a path without length. -11 and -12 are arguments 3 and 4 of a conversion to second
order. Hence a table for each form rather than a rule.
"""

from typing import Dict, Tuple

#: Status of a call that ran out of memory, or would have needed node numbers beyond 32 bits.
OUT_OF_MEMORY = -199

_POINTS = ("points", "must have 2 or 3 columns")
_POINTS_IN_SPACE = ("points", "must have 3 columns")
_SURFACE = ("surface", "is not a mesh of triangles and quadrangles on these points")
_LINEAR_SOLIDS = ("cells", "are not linear solids on these points")
_FIRST_SIZE = ("sizes", "the first must be greater than 0")
_LAST_SIZE = ("sizes", "the second must be greater than 0")
_SOLIDS = ("solids", "must have 6 or 8 columns")
_EDGES = ("edges", "must have 2 columns")
_SIDES = ("sides", "must have 4 columns")
_CAP = ("cap", "must have 3 or 4 columns")
_THICKNESS = ("thickness", "must be greater than 0")
_LINE = ("line", "must name at least two of the points")

_TURN_BY_SIZES = {
    -1: _POINTS,
    -2: _SURFACE,
    -5: _FIRST_SIZE,
    -6: _LAST_SIZE,
    -8: _SOLIDS,
    -9: _EDGES,
    -10: _SIDES,
    -11: _CAP,
}
_SWEEPS = {
    "extrude_translate by sizes": {
        -1: _POINTS,
        -2: _SURFACE,
        -4: _FIRST_SIZE,
        -5: _LAST_SIZE,
        -7: _SOLIDS,
        -8: _EDGES,
        -9: _SIDES,
        -10: _CAP,
    },
    "extrude_translate by layers": {
        -1: _POINTS,
        -2: _SURFACE,
        -4: ("direction", "must have a length greater than 0"),
        -7: _SOLIDS,
        -8: _EDGES,
        -9: _SIDES,
        -10: _CAP,
    },
    "extrude_rotate by sizes": _TURN_BY_SIZES,
    "extrude_rotate by layers": {
        -1: _POINTS,
        -2: _SURFACE,
        -5: ("rotation", "must not be zero, nor may the first node of the surface lie at axis_point"),
        -6: _SOLIDS,
        -7: _EDGES,
        -8: _SIDES,
        -9: _CAP,
    },
    "extrude_spiral by sizes": _TURN_BY_SIZES,
    "extrude_spiral by layers": {
        -1: _POINTS,
        -2: _SURFACE,
        -5: ("shift", "must have a length greater than 0"),
        -7: _SOLIDS,
        -8: _CAP,
        -9: _EDGES,
        -10: _SIDES,
    },
    "extrude_normal by sizes": {
        -1: _POINTS_IN_SPACE,
        -2: _SURFACE,
        -3: _THICKNESS,
        -4: _FIRST_SIZE,
        -5: _LAST_SIZE,
        -7: _SOLIDS,
        -8: _EDGES,
        -9: _SIDES,
        -10: _CAP,
    },
    "extrude_normal by layers": {
        -1: _POINTS_IN_SPACE,
        -2: _SURFACE,
        -3: _THICKNESS,
        -4: ("thickness", "is too small to be divided into so many layers"),
        -5: _SOLIDS,
        -6: _CAP,
        -8: _EDGES,
        -9: _SIDES,
    },
    "extrude_normal by vectors": {
        -1: _POINTS_IN_SPACE,
        -2: ("surface", "is not a mesh of triangles and quadrangles on nodes that have both points and node_shifts"),
        -3: ("node_shifts", "must have 3 columns"),
        -5: _SOLIDS,
        -6: _EDGES,
        -7: _SIDES,
        -8: _CAP,
    },
    "extrude_line by metrics": {
        -1: _POINTS_IN_SPACE,
        -2: _SURFACE,
        -3: _LINE,
        -5: ("metrics", "must have 6 columns"),
        -6: _SOLIDS,
        -7: _EDGES,
        -8: _SIDES,
        -9: _CAP,
    },
    "extrude_line by sizes": {
        -1: _POINTS_IN_SPACE,
        -2: _SURFACE,
        -3: _LINE,
        -6: _SOLIDS,
        -7: _EDGES,
        -8: _SIDES,
        -9: _CAP,
    },
}
_CONVERSION = {
    -1: _POINTS_IN_SPACE,
    -2: _LINEAR_SOLIDS,
    -11: ("faces", "must have as many columns as such faces have nodes, and name nodes that exist"),
    -12: ("edges", "must have as many columns as such edges have nodes, and name nodes that exist"),
}

_TETRAHEDRA = ("cells", "are not tetrahedra on these points")
_TETRAHEDRAL_SEARCH = {
    -1: _POINTS_IN_SPACE,
    -2: _TETRAHEDRA,
    -3: ("neighbors", "must have an element or NO_NODE for each face of each element"),
    -4: ("ancestors", "must be elements of the mesh or NO_NODE"),
}

#: For each form of each function: status -> (argument, what is wrong with it).
STATUS: Dict[str, Dict[int, Tuple[str, str]]] = {
    **{f"{form}, in full": rows for form, rows in _SWEEPS.items()},
    **{
        form: {status: row for status, row in rows.items() if row not in (_EDGES, _SIDES, _CAP)}
        for form, rows in _SWEEPS.items()
    },
    "flip": {-2: ("kind", "does not have elements of this many columns")},
    "flip_TH4": {-1: ("cells", "must have 4 columns")},
    "flip_W6": {-1: ("cells", "must have 6 columns")},
    "flip_H8": {-1: ("cells", "must have 8 columns")},
    "convert_into_linear": {-1: ("cells", "must have 10, 13, 14, 15, 18, 20 or 27 columns")},
    "convert_into_quadratic": _CONVERSION,
    "convert_into_high_order": {
        **_CONVERSION,
        -4: ("quadrangle_nodes", "must be a square"),
        -5: ("triangle_nodes", "must be 0, 1 or 3; give it where complete elements have more"),
        -6: ("hexahedron_nodes", "must be 0, 1, 8 or 27; give it where complete elements have more"),
        -7: ("tetrahedron_nodes", "must be 0 or 1; give it where complete elements have more"),
        -9: ("pyramid_nodes", "must be 0 or 1; give it where complete elements have more"),
    },
    "split_into_H8": {
        -1: _POINTS_IN_SPACE,
        -2: ("cells", "are not tetrahedra in 4 columns, or wedges and hexahedra in 6 or 8, on these points"),
        -3: ("hexahedra", "must have 8 columns"),
        -4: ("faces", "must have 9 columns and name nodes that exist"),
        -5: ("edges", "must have 3 columns and name nodes that exist"),
    },
    "volume": {
        -1: _POINTS_IN_SPACE,
        -2: _LINEAR_SOLIDS,
    },
    "solid_angles": {-2: _LINEAR_SOLIDS},
    "dihedral_angles": {-2: _LINEAR_SOLIDS},
    "circumcenters": {
        -1: _POINTS_IN_SPACE,
        -2: ("cells", "are not tetrahedra on these points"),
    },
    "duplicate_surface_nodes": {
        -1: _POINTS_IN_SPACE,
        -2: ("cells", "are not solids of this kind on these points"),
        -3: ("neighbors", "must have a row for each element and a column for each face, and name elements that exist"),
        -4: ("ancestors", "must have an entry for each node of the cells"),
        -5: ("surface", "is not made of the faces that solids of this kind have, on these points"),
        -9: ("kind", "must be TH4, H8 or SOLID_MIX"),
    },
    "tetrahedra": {
        -1: _POINTS_IN_SPACE,
        -2: _TETRAHEDRA,
    },
    "locate": {
        **_TETRAHEDRAL_SEARCH,
        -6: ("kind", "must be a kind of tetrahedron"),
        -7: ("queries", "must have 3 columns"),
    },
    "interpolate": {
        **_TETRAHEDRAL_SEARCH,
        -5: ("field", "must have an entry for each of the points"),
        -6: ("nodes", "must name nodes that exist"),
    },
    "interpolate_metrics": {
        **_TETRAHEDRAL_SEARCH,
        -5: ("metrics", "must be 6 numbers or 1 for each of the points"),
        -6: ("nodes", "must name nodes that exist"),
    },
    "neighbors": {
        -1: ("cells", "do not suit this kind of element"),
        -2: ("kind", "must be a kind of surface or solid"),
        -3: ("cells", "more than two elements share a face"),
    },
    "ancestors": {},
    "normals": {
        -1: _POINTS_IN_SPACE,
        -2: _SURFACE,
        -3: ("tolerance", "must not be negative"),
    },
}


def check(form: str, status: int) -> None:
    """Raise what a status stands for; 0 is success.

    Parameters
    ----------
    form : str
        One of the keys of `STATUS`.
    status : int
        What the library returned.

    Raises
    ------
    ValueError
        For a bad argument; the message begins with its name.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> check("volume", 0)
    >>> check("volume", -1)
    Traceback (most recent call last):
    ValueError: points: must have 3 columns
    """
    if status >= 0:
        return
    if status == OUT_OF_MEMORY:
        raise MemoryError("not enough memory, or more nodes than 32-bit numbers can count")
    argument, trouble = STATUS[form][status]
    raise ValueError(f"{argument}: {trouble}")
