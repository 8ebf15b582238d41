"""Change of whole meshes: their order, and cuts of all solids into hexahedra.

The solids are the library's work. What a mesh holds beside them goes along: edges, triangles and quadrangles get the
nodes of the solids that they bound, and values on nodes are carried to the new ones.
"""

from typing import Callable, Dict, List, Optional, Sequence, Tuple

import numpy as np

from .convert import Converted, NodeCounts, convert_into_high_order, convert_into_linear
from .elements import NO_NODE, SHAPES, ElementType
from .mesh import Block, Mesh
from .split import split_into_H8

_K = ElementType

#: The linear kind of each kind.
LINEAR: Dict[ElementType, ElementType] = {
    kind: next(k for k, s in SHAPES.items() if (s.dimension, s.vertices) == (shape.dimension, shape.vertices))
    for kind, shape in SHAPES.items()
}

# Nodes on each edge, in each quadrangle, in each triangle, and inside each element, of the kinds that have any.
_PARTS: Dict[Tuple[ElementType, int, int, int, int], ElementType] = {
    (_K.EDGE2, 1, 0, 0, 0): _K.EDGE3,
    (_K.T3, 1, 0, 0, 0): _K.T6,
    (_K.Q4, 1, 0, 0, 0): _K.Q8,
    (_K.Q4, 1, 0, 0, 1): _K.Q9,
    (_K.TH4, 1, 0, 0, 0): _K.TH10,
    (_K.PY5, 1, 0, 0, 0): _K.PY13,
    (_K.PY5, 1, 1, 0, 0): _K.PY14,
    (_K.W6, 1, 0, 0, 0): _K.W15,
    (_K.W6, 1, 1, 0, 0): _K.W18,
    (_K.H8, 1, 0, 0, 0): _K.H20,
    (_K.H8, 1, 1, 0, 1): _K.H27,
}

QUADRATIC = NodeCounts(edge=1, quadrangle=1, triangle=0, hexahedron=1, tetrahedron=0, wedge=0, pyramid=0)
_ONE_EVERYWHERE = NodeCounts(1, 1, 1, 1, 1, 1, 1)


def is_linear(kind: ElementType) -> bool:
    """Whether elements of a kind have no nodes but their vertices."""
    return LINEAR[kind] is kind


def raised_kind(kind: ElementType, counts: NodeCounts) -> ElementType:
    """The kind that elements of a linear kind become with so many nodes; `NONE` when there is none.

    Examples
    --------
    >>> raised_kind(ElementType.H8, QUADRATIC)
    <ElementType.H27: 24>
    """
    if counts.nodes_of(kind) == SHAPES[kind].nodes:
        return kind
    sides = {len(face) for face in SHAPES[kind].faces}
    quadrangle, triangle = (counts.quadrangle if 4 in sides else 0), (counts.triangle if 3 in sides else 0)
    return _PARTS.get((kind, counts.edge, quadrangle, triangle, counts.inside(kind)), _K.NONE)


def lower_order(mesh: Mesh) -> Mesh:
    """Make all elements linear.

    Parameters
    ----------
    mesh : Mesh
        Elements of any order.

    Returns
    -------
    Mesh
        Nodes that only lay on edges, in faces or inside elements are gone; all others keep their order and values, also
        those that were in no element. Values on elements stay with them.

    Examples
    --------
    >>> edge = Mesh([[0, 0, 0], [1, 0, 0], [2, 0, 0]], [(ElementType.EDGE3, [[0, 2, 1]])])
    >>> lower_order(edge).blocks
    [(<ElementType.EDGE2: 2>, array([[0, 1]], dtype=uint32))]
    """
    flat = mesh.split()
    blocks: List[Block] = []
    for kind, cells in flat.blocks:
        if SHAPES[kind].dimension == 3 and not is_linear(kind):
            cells = convert_into_linear(cells)
        blocks.append((LINEAR[kind], cells[:, : SHAPES[kind].vertices]))
    return flat.with_blocks(blocks)


def raise_order(mesh: Mesh, counts: NodeCounts) -> Mesh:
    """Give linear elements nodes on edges, in faces and inside.

    Parameters
    ----------
    mesh : Mesh
        Its solids must be linear. Edges and faces that are of the new order already lend their nodes to the solids.
    counts : NodeCounts
        How many nodes; those of the kinds of this library.

    Returns
    -------
    Mesh
        Blocks as before. Nodes keep their numbers; new ones come behind them. On these, real values are interpolated as
        the coordinates are, and all other values are 0. Values on elements stay with them.

    Raises
    ------
    ValueError
        When there are no linear solids, others beside them, or elements would be of no kind of this library.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> raised = raise_order(Mesh(corner, [(ElementType.TH4, [[0, 1, 2, 3]])], {"z": [0, 0, 0, 1.0]}), QUADRATIC)
    >>> raised.counts(), raised.point_data["z"]
    ({<ElementType.TH10: 15>: 1}, array([0. , 0. , 0. , 1. , 0. , 0. , 0. , 0.5, 0.5, 0.5]))
    """
    flat = mesh.split()
    solids = _linear_solids(flat)
    kinds = {kind for kind, _ in flat.blocks if is_linear(kind) and raised_kind(kind, counts) is _K.NONE}
    if kinds:
        names = ", ".join(f"{SHAPES[kind].name} of {counts.nodes_of(kind):,} nodes" for kind in sorted(kinds))
        raise ValueError(f"would hold {names}, which cannot be written to a file")
    cells = _side_by_side(flat, solids)
    faces, edges = _lent(flat, counts, cells.shape[1])
    points, raised = _convert(flat.points, cells, counts, faces, edges)
    blocks = list(flat.blocks)
    for b, rows in _rows_of(flat, solids).items():
        kind = raised_kind(flat.blocks[b][0], counts)
        blocks[b] = kind, raised[rows, : SHAPES[kind].nodes].copy()
    amid = _NodesAmid(len(points))
    for kind, block in blocks:
        if raised_kind(LINEAR[kind], counts) is kind:
            for k, vertices in enumerate(_amid_which(kind), SHAPES[kind].vertices):
                amid.enter(block, vertices, block[:, k])
    for b, (linear, block) in enumerate(flat.blocks):
        if b not in solids and is_linear(linear):
            kind = raised_kind(linear, counts)
            blocks[b] = kind, np.column_stack([block, amid.find(block, _amid_which(kind))]).astype(np.uint32)
    return _with_new_nodes(
        flat, blocks, flat.cell_data, lambda x: _convert(x, cells, counts, faces, edges).points, amid
    )


def _convert(
    points: np.ndarray,
    cells: np.ndarray,
    counts: NodeCounts,
    faces: Optional[np.ndarray] = None,
    edges: Optional[np.ndarray] = None,
) -> Converted:
    given = {f"{name}_nodes": count for name, count in counts._asdict().items()}
    return convert_into_high_order(points, cells, faces=faces, edges=edges, **given)


def _amid_which(kind: ElementType) -> Tuple[Tuple[int, ...], ...]:
    """The vertices that each node behind the vertices lies amid."""
    return (*SHAPES[kind].edges, *SHAPES[kind].centres)


def cut_into_hexahedra(mesh: Mesh) -> Mesh:
    """Cut all solids into hexahedra, one around each vertex, and the linear edges and faces so that they fit.

    Parameters
    ----------
    mesh : Mesh
        Its solids must be linear tetrahedra, or linear wedges and hexahedra.

    Returns
    -------
    Mesh
        Nodes keep their numbers; new ones come behind them and take values as in `raise_order`. Values on elements
        pass to their pieces. Triangles become three quadrangles, quadrangles four, edges two; what lies beside the
        solids and is not linear stays as it is.

    Raises
    ------
    ValueError
        When there are no such solids, or others.

    Examples
    --------
    >>> corner = [[0, 0, 0], [0, 1, 0], [1, 0, 0], [0, 0, 1]]
    >>> mesh = Mesh(corner, [(ElementType.TH4, [[0, 1, 2, 3]]), (ElementType.T3, [[0, 1, 2]])])
    >>> cut_into_hexahedra(mesh).counts()
    {<ElementType.Q4: 9>: 3, <ElementType.H8: 22>: 4}
    """
    flat = mesh.split()
    solids = _linear_solids(flat)
    found = {flat.blocks[b][0] for b in solids}
    if _K.PY5 in found:
        raise ValueError("holds pyramids, which cannot be cut into hexahedra")
    if _K.TH4 in found and len(found) > 1:
        others = ", ".join(SHAPES[kind].name for kind in sorted(found - {_K.TH4}))
        raise ValueError(f"holds {others} beside tetrahedra, which can be cut only where there are no other solids")
    cells = _side_by_side(flat, solids)
    points, hexahedra = split_into_H8(flat.points, cells)
    amid = _NodesAmid(len(points))
    if any(kind in _PIECES for kind, _ in flat.blocks):
        _enter_refined(amid, flat, solids, cells)

    first = 0
    blocks: List[Block] = []
    data: Dict[str, List[np.ndarray]] = {name: [] for name in flat.cell_data}
    for b, (kind, block) in enumerate(flat.blocks):
        times = 1
        if b in solids:
            times = _HEXAHEDRA[kind]
            last = first + times * len(block)
            blocks.append((_K.H8, hexahedra[first:last].copy()))
            first = last
        elif kind in _PIECES:
            piece_kind, pieces = _PIECES[kind]
            times = len(pieces)
            nodes = amid.find(block, [vertices for piece in pieces for vertices in piece])
            blocks.append((piece_kind, nodes.reshape(len(block) * times, -1).astype(np.uint32)))
        else:
            blocks.append((kind, block))
        for name, arrays in flat.cell_data.items():
            data[name].append(np.repeat(arrays[b], times, axis=0))
    return _with_new_nodes(flat, blocks, data, lambda x: split_into_H8(x, cells).points, amid)


_HEXAHEDRA = {_K.TH4: 4, _K.W6: 6, _K.H8: 8}

# What edges and faces are cut into: of each piece the vertices that its nodes lie amid.
_PIECES = {
    _K.EDGE2: (_K.EDGE2, (((0,), (0, 1)), ((0, 1), (1,)))),
    _K.T3: (_K.Q4, tuple(((k,), (k, (k + 1) % 3), (0, 1, 2), (k, (k + 2) % 3)) for k in range(3))),
    _K.Q4: (_K.Q4, tuple(((k,), (k, (k + 1) % 4), (0, 1, 2, 3), (k, (k + 3) % 4)) for k in range(4))),
}


def _enter_refined(amid: "_NodesAmid", flat: Mesh, solids: List[int], cells: np.ndarray) -> None:
    """Enter the new nodes of the solids that are cut, which are those of a conversion with one node everywhere."""
    refined = _convert(flat.points, cells, _ONE_EVERYWHERE).cells
    for b, rows in _rows_of(flat, solids).items():
        kind = flat.blocks[b][0]
        edges = SHAPES[raised_kind(kind, QUADRATIC)].edges
        for k, vertices in enumerate((*edges, *SHAPES[kind].faces), SHAPES[kind].vertices):
            amid.enter(refined[rows], vertices, refined[rows, k])


def _linear_solids(flat: Mesh) -> List[int]:
    """The blocks that hold solids, all of them linear."""
    solids = [b for b, (kind, _) in enumerate(flat.blocks) if SHAPES[kind].dimension == 3]
    for b in solids:
        kind = flat.blocks[b][0]
        if not is_linear(kind):
            raise ValueError(f"holds {SHAPES[kind].name}, but the solids must be linear")
    if not solids:
        raise ValueError("has no solids")
    return solids


def _side_by_side(flat: Mesh, solids: List[int]) -> np.ndarray:
    """All solids as one connectivity, so that they share their new nodes: 4 columns for tetrahedra, else 8."""
    blocks = [flat.blocks[b] for b in solids]
    columns = 4 if all(kind is _K.TH4 for kind, _ in blocks) else 8
    wide = [np.pad(cells, ((0, 0), (0, columns - cells.shape[1])), constant_values=NO_NODE) for _, cells in blocks]
    return np.concatenate(wide)


def _rows_of(flat: Mesh, solids: List[int]) -> Dict[int, slice]:
    """Where the solids of each block are in the connectivity of all."""
    ends = np.cumsum([0, *(len(flat.blocks[b][1]) for b in solids)]).tolist()
    return {b: slice(first, last) for b, first, last in zip(solids, ends, ends[1:])}


def _lent(flat: Mesh, counts: NodeCounts, columns: int) -> Tuple[np.ndarray, np.ndarray]:
    """Faces and edges of the mesh that are of the new order already, as the library takes them."""

    def of(linear: ElementType) -> List[np.ndarray]:
        kind = raised_kind(linear, counts)
        return [cells for other, cells in flat.blocks if other is kind and not is_linear(kind)]

    triangles, quadrangles = of(_K.T3), (of(_K.Q4) if columns == 8 else [])
    width = counts.nodes_of(_K.T3 if columns == 4 else _K.Q4)
    faces = [np.pad(cells, ((0, 0), (0, width - cells.shape[1])), constant_values=NO_NODE)
             for cells in (*triangles, *quadrangles)]  # fmt: skip
    edges = of(_K.EDGE2)
    none = np.empty((0, 0), dtype=np.uint32)
    return np.concatenate(faces) if faces else none, np.concatenate(edges) if edges else none


class _NodesAmid:
    """Finds nodes by the vertices that they lie amid, in whatever order these come; makes those that no solid has."""

    def __init__(self, nodes: int) -> None:
        self._next = nodes
        self._known: Dict[int, List[Tuple[np.ndarray, Sequence[int], np.ndarray]]] = {}
        self.made: List[np.ndarray] = []  #: vertices of the nodes made, in the order of their numbers

    def enter(self, cells: np.ndarray, vertices: Sequence[int], nodes: np.ndarray) -> None:
        """Enter the nodes amid some of the vertices of each element; those amid more than 4 are never looked for."""
        self._known.setdefault(len(vertices), []).append((cells, vertices, nodes))

    def find(self, cells: np.ndarray, vertices: Sequence[Sequence[int]]) -> np.ndarray:
        """The nodes of each element amid some of its vertices, and others of them, and so on: a column for each."""
        found = np.empty((len(cells), len(vertices)), dtype=np.int64)
        for count in sorted({len(columns) for columns in vertices}):
            places = [k for k, columns in enumerate(vertices) if len(columns) == count]
            sets = cells[:, [list(vertices[k]) for k in places]].reshape(-1, count)
            found[:, places] = self._find(sets).reshape(len(cells), -1)
        return found

    def _find(self, vertices: np.ndarray) -> np.ndarray:
        """The node amid each row of vertices; a single vertex is that node itself."""
        count = vertices.shape[1]
        if count == 1:
            return vertices[:, 0]
        is_asked = np.zeros(self._next, dtype=bool)
        is_asked[vertices.ravel()] = True
        sets, nodes = [np.sort(vertices, axis=1)], [np.full(len(vertices), -1, dtype=np.int64)]
        for cells, columns, their_nodes in self._known.get(count, []):
            known = cells[:, columns]
            near = is_asked[known].all(axis=1)
            sets.append(np.sort(known[near], axis=1))
            nodes.append(their_nodes[near].astype(np.int64))
        all_sets, place = np.unique(np.concatenate(sets), axis=0, return_inverse=True)
        found = np.full(len(all_sets), -1, dtype=np.int64)
        np.maximum.at(found, place, np.concatenate(nodes))
        missing = np.flatnonzero(found < 0)
        if len(missing):
            found[missing] = self._next + np.arange(len(missing))
            self._next += len(missing)
            self.made.append(all_sets[missing])
            self.enter(all_sets[missing], range(count), found[missing])
        return found[place[: len(vertices)]]


def _with_new_nodes(
    flat: Mesh,
    blocks: List[Block],
    cell_data: Dict[str, List[np.ndarray]],
    convert: Callable[[np.ndarray], np.ndarray],
    amid: _NodesAmid,
) -> Mesh:
    """The mesh of these blocks, with coordinates and values for the nodes that are new.

    The library places nodes by weights that depend on the elements alone. So ``convert``, which gives coordinates with
    those of new nodes behind them, interpolates any three values in place of coordinates.
    """

    def extended(x: np.ndarray) -> np.ndarray:
        longer = [convert(x)]
        longer += [x[vertices].mean(axis=1) for vertices in amid.made]
        return np.concatenate(longer)

    points = extended(flat.points)
    on_points = {name: _interpolated(values, len(points), extended) for name, values in flat.point_data.items()}
    return Mesh(points, blocks, on_points, cell_data)


def _interpolated(values: np.ndarray, nodes: int, extended: Callable[[np.ndarray], np.ndarray]) -> np.ndarray:
    """Values on nodes with those of the new ones behind them; ``extended`` interpolates three real numbers at once."""
    given = len(values)
    longer = np.zeros((nodes, *values.shape[1:]), dtype=values.dtype)
    longer[:given] = values
    if values.dtype.kind == "f" and nodes > given:
        columns = values.reshape(given, -1).astype(np.float64)
        new = longer.reshape(nodes, -1)[given:]
        for first in range(0, columns.shape[1], 3):
            part = columns[:, first : first + 3]
            width = part.shape[1]
            new[:, first : first + 3] = extended(np.pad(part, ((0, 0), (0, 3 - width))))[given:, :width]
    return longer
