"""Whole meshes examined: what is wrong with them, and how well their solids are shaped."""

from typing import Any, List, NamedTuple

import numpy as np

from .boundary import edges_of, lonely_faces
from .elements import SHAPES, ElementType
from .measures import areas, dihedral_angles, signed_volumes, solid_angles
from .mesh import Block, Mesh

_FLAT = 1e-12  # of the volume of a cube as large as the element, or of the area of a square
_TURNED = -1e-9  # steradians: a corner between edges of a plane is off 0 by rounding


class Finding(NamedTuple):
    """One thing that may be wrong with a mesh, and where it is."""

    what: str  #: in words, plural
    total: int  #: how many there are; 0 when all is well
    places: np.ndarray  #: numbers of the elements or nodes concerned, increasing, counted from 0 through all blocks
    of: str  #: what ``places`` numbers: "elements" or "nodes"


def check_mesh(mesh: Mesh) -> List[Finding]:
    """Look for what makes a mesh unfit for a computation.

    Parameters
    ----------
    mesh : Mesh
        Any mesh. Of quadratic elements the vertices count in what is measured.

    Returns
    -------
    list of Finding
        One for each of the following, found or not:

        - inverted solids, of negative volume;
        - solids with an inverted corner: the three edges there turn the wrong way, though the volume is not negative;
        - flat elements: a volume below 1e-12 of a cube that is as wide as the element, an area below 1e-12 of such a
          square, an edge of length 0;
        - elements that have a node twice;
        - faces that more than two solids share;
        - edges at which an odd number of faces of the boundary meet, so that it is not closed; the boundary are the
          faces that one solid has;
        - nodes in no element.

    Examples
    --------
    >>> corners = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1], [5, 5, 5]]
    >>> [found for found in check_mesh(Mesh(corners, [(ElementType.TH4, [[0, 1, 2, 3]])])) if found.total]
    [Finding(what='nodes in no element', total=1, places=array([4]), of='nodes')]
    """
    flat = mesh.split()
    unused = _found("nodes in no element", [np.flatnonzero(~flat.used_nodes())], "nodes")
    return [*_misshapen(flat), _with_repeated_nodes(flat), *_faults_between(flat), unused]


def _misshapen(flat: Mesh) -> List[Finding]:
    inverted, turned, thin = [], [], []
    first = 0
    for kind, cells in flat.blocks:
        shape = SHAPES[kind]
        corners = cells[:, : shape.vertices]
        if shape.dimension > 0:
            width = np.linalg.norm(np.ptp(flat.points[corners], axis=1), axis=1)
            size = _sizes(flat.points, kind, cells)
            is_flat = np.abs(size) <= _FLAT * width**shape.dimension
            thin.append(first + np.flatnonzero(is_flat))
            if shape.dimension == 3:
                is_inverted = (size < 0) & ~is_flat
                inverted.append(first + np.flatnonzero(is_inverted))
                at_corner = (solid_angles(flat.points, corners).least < _TURNED) & ~is_inverted & ~is_flat
                turned.append(first + np.flatnonzero(at_corner))
        first += len(cells)
    return [
        _found("inverted solids", inverted, "elements"),
        _found("solids with an inverted corner", turned, "elements"),
        _found("flat elements", thin, "elements"),
    ]


def _sizes(points: np.ndarray, kind: ElementType, cells: np.ndarray) -> np.ndarray:
    """Volume, area or length of each element, by its vertices."""
    if SHAPES[kind].dimension == 3:
        return signed_volumes(points, kind, cells)
    if SHAPES[kind].dimension == 2:
        return areas(points, kind, cells)
    return np.asarray(np.linalg.norm(points[cells[:, 1]] - points[cells[:, 0]], axis=1))


def _with_repeated_nodes(flat: Mesh) -> Finding:
    found = []
    first = 0
    for _, cells in flat.blocks:
        nodes = np.sort(cells, axis=1)
        found.append(first + np.flatnonzero((nodes[:, 1:] == nodes[:, :-1]).any(axis=1)))
        first += len(cells)
    return _found("elements that have a node twice", found, "elements")


def _faults_between(flat: Mesh) -> List[Finding]:
    """Faces shared too often, and edges where the boundary is open."""
    cycles, elements = lonely_faces(flat)
    _, same, counts = np.unique(np.sort(cycles, axis=1), axis=0, return_inverse=True, return_counts=True)
    shared = counts[same.ravel()] > 2
    crowded = Finding(
        "faces that more than two solids share", int((counts > 2).sum()), np.unique(elements[shared]), "elements"
    )
    edges, meeting = np.unique(edges_of(cycles[~shared])[0], axis=0, return_counts=True)
    odd = edges[meeting % 2 == 1]
    return [crowded, Finding("edges at which the boundary is not closed", len(odd), np.unique(odd), "nodes")]


def _found(what: str, parts: List[np.ndarray], of: str) -> Finding:
    places = np.concatenate([np.empty(0, dtype=np.intp), *parts])
    return Finding(what, len(places), places, of)


#: What `measure_mesh` gives of each solid: a name, and the unit or what 1 stands for.
MEASURES = {
    "volume": "",
    "least solid angle": "1 is that of the regular element",
    "greatest solid angle": "1 is that of the regular element",
    "least dihedral angle": "degrees",
    "greatest dihedral angle": "degrees",
}


class Measured(NamedTuple):
    """The solids of one kind and their measures."""

    kind: ElementType
    elements: np.ndarray  #: (m,) numbers of the solids, counted from 0 through all blocks of the mesh
    values: np.ndarray  #: (m, 5) float64, in the order of `MEASURES`


def measure_mesh(mesh: Mesh) -> List[Measured]:
    """Measure volume and angles of each solid.

    Parameters
    ----------
    mesh : Mesh
        Edges and surface elements in it are passed over. Quadratic solids are measured by their vertices, as if their
        edges were straight.

    Returns
    -------
    list of Measured
        One for each kind of solid present, in the order of `ElementType`.

    Examples
    --------
    >>> corners = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> (measured,) = measure_mesh(Mesh(corners, [(ElementType.TH4, [[0, 1, 2, 3]])]))
    >>> dict(zip(MEASURES, measured.values[0].round(2).tolist()))["least dihedral angle"]
    54.74
    """
    flat = mesh.split()
    numbers: Any = {}
    values: Any = {}
    first = 0
    for kind, cells in flat.blocks:
        if SHAPES[kind].dimension == 3:
            numbers.setdefault(kind, []).append(np.arange(first, first + len(cells)))
            values.setdefault(kind, []).append(_measures_of(flat.points, (kind, cells)))
        first += len(cells)
    return [Measured(kind, np.concatenate(numbers[kind]), np.concatenate(values[kind])) for kind in sorted(numbers)]


def _measures_of(points: np.ndarray, block: Block) -> np.ndarray:
    kind, cells = block
    vertices = cells[:, : SHAPES[kind].vertices]
    solid = solid_angles(points, vertices, normalized=True)
    dihedral = dihedral_angles(points, vertices)
    return np.column_stack([signed_volumes(points, kind, cells), *solid, *np.degrees(dihedral)])
