"""The outside of a mesh as polygons."""

from typing import Dict, FrozenSet, List, NamedTuple, Tuple

import numpy as np

from .elements import NO_NODE, SHAPES, ElementType
from .measures import signed_volumes
from .mesh import Block, Mesh
from .topology import neighbors


class Faces(NamedTuple):
    """Polygons with what they belong to."""

    rings: np.ndarray  #: (m, k) nodes around each face, mid-edge nodes included; a short ring repeats its last node
    elements: np.ndarray  #: (m,) element of each face, counted through the blocks of ``mesh.split()``
    kinds: np.ndarray  #: (m,) `ElementType` of that element
    closed: bool  #: whether the faces bound solids; then they turn counter-clockwise seen from outside


def boundary(mesh: Mesh) -> Faces:
    """Find the faces that can be seen of a mesh.

    Parameters
    ----------
    mesh : Mesh
        If it holds solids, the result is the faces that only one solid has, and surface elements are ignored; else
        it is the surface elements.

    Returns
    -------
    Faces
        Without rows when the mesh has neither solids nor surface elements.

    Examples
    --------
    >>> corners = [[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [0, 0, 1], [1, 0, 1], [1, 1, 1], [0, 1, 1]]
    >>> len(boundary(Mesh(corners, [(ElementType.H8, [range(8)])])).rings)
    6
    """
    flat = mesh.split()
    firsts = np.cumsum([0] + [len(cells) for _, cells in flat.blocks])
    dimension = max((SHAPES[kind].dimension for kind, _ in flat.blocks), default=0)
    shown = [b for b, (kind, _) in enumerate(flat.blocks) if SHAPES[kind].dimension == dimension >= 2]
    is_solid = dimension == 3
    free = _free_faces([flat.blocks[b] for b in shown]) if is_solid else []
    parts: List[Tuple[np.ndarray, np.ndarray, ElementType]] = []
    for place, b in enumerate(shown):
        kind, cells = flat.blocks[b]
        for f, ring in enumerate(_rings(kind)):
            rows = np.flatnonzero(free[place][:, f]) if is_solid else np.arange(len(cells))
            nodes = cells[rows][:, ring]
            if is_solid:
                inverted = signed_volumes(mesh.points, kind, cells[rows]) < 0
                nodes[inverted] = nodes[inverted][:, ::-1]
            parts.append((nodes, firsts[b] + rows, kind))
    return _joined(parts, is_solid)


def _rings(kind: ElementType) -> List[List[int]]:
    """The columns around each face of a kind, counter-clockwise seen from outside; a surface element is its own face."""
    shape = SHAPES[kind]
    cycles = [face[::-1] for face in shape.faces] or [tuple(range(shape.vertices))]
    middle: Dict[FrozenSet[int], int] = {frozenset(edge): shape.vertices + e for e, edge in enumerate(shape.edges)}
    rings = []
    for cycle in cycles:
        ring = []
        for start, end in zip(cycle, cycle[1:] + cycle[:1]):
            ring.append(start)
            if middle:
                ring.append(middle[frozenset((start, end))])
        rings.append(ring)
    return rings


def _free_faces(blocks: List[Block]) -> List[np.ndarray]:
    """For each block of solids, which faces of its elements no other element has, ``(m, faces)``.

    A face that more than two elements have counts as one that no other has.
    """
    counts = [len(cells) for _, cells in blocks]
    mixed = np.full((sum(counts), 8), NO_NODE, dtype=np.uint32)
    ends = np.cumsum(counts)
    for (kind, cells), end in zip(blocks, ends):
        vertices = SHAPES[kind].vertices
        mixed[end - len(cells) : end, :vertices] = cells[:, :vertices]
    alone = neighbors(mixed, ElementType.SOLID_MIX) == NO_NODE
    return [alone[end - len(cells) : end, : len(SHAPES[kind].faces)] for (kind, cells), end in zip(blocks, ends)]


def lonely_faces(flat: Mesh) -> Tuple[np.ndarray, np.ndarray]:
    """The vertex cycles ``(f, 4)`` of the faces that have no single neighbour, and their elements."""
    firsts = np.cumsum([0] + [len(cells) for _, cells in flat.blocks])
    solids = [b for b, (kind, _) in enumerate(flat.blocks) if SHAPES[kind].dimension == 3]
    cycles = [np.empty((0, 4), dtype=np.uint32)]
    elements = [np.empty(0, dtype=np.intp)]
    for b, free in zip(solids, _free_faces([flat.blocks[b] for b in solids]) if solids else []):
        kind, cells = flat.blocks[b]
        for f, face in enumerate(SHAPES[kind].faces):
            rows = np.flatnonzero(free[:, f])
            nodes = cells[rows][:, list(face)]
            cycles.append(np.pad(nodes, ((0, 0), (0, 4 - len(face))), constant_values=NO_NODE))
            elements.append(firsts[b] + rows)
    return np.concatenate(cycles), np.concatenate(elements)


def edges_of(cycles: np.ndarray) -> Tuple[np.ndarray, np.ndarray]:
    """The edges ``(e, 2)`` of triangles and quadrangles ``(f, 4)``, the smaller node first, and the face of each.

    An edge comes as often as faces have it.
    """
    following = np.roll(cycles, -1, axis=1)
    following[:, 2] = np.where(cycles[:, 3] == NO_NODE, cycles[:, 0], following[:, 2])
    pairs = np.sort(np.stack([cycles, following], axis=-1).reshape(-1, 2), axis=1)
    is_edge = (pairs[:, 1] != NO_NODE) & (pairs[:, 0] != pairs[:, 1])
    return pairs[is_edge], np.repeat(np.arange(len(cycles)), 4)[is_edge]


def _joined(parts: List[Tuple[np.ndarray, np.ndarray, ElementType]], closed: bool) -> Faces:
    """All parts in one, their rings filled up to the same length."""
    width = max((nodes.shape[1] for nodes, _, _ in parts), default=3)
    rings = [np.pad(nodes, ((0, 0), (0, width - nodes.shape[1])), mode="edge") for nodes, _, _ in parts if len(nodes)]
    elements = [rows for nodes, rows, _ in parts if len(nodes)]
    kinds = [np.full(len(nodes), kind) for nodes, _, kind in parts if len(nodes)]
    if not rings:
        return Faces(np.empty((0, width), dtype=np.uint32), np.empty(0, dtype=int), np.empty(0, dtype=int), closed)
    return Faces(np.concatenate(rings), np.concatenate(elements), np.concatenate(kinds), closed)
