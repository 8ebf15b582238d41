"""A mesh as it comes from a file or goes into one."""

from dataclasses import dataclass, field
from typing import Any, Dict, List, Tuple

import numpy as np

from .arrays import as_ids
from .elements import MIXES, NO_NODE, SHAPES, ElementType, split_mixed

Block = Tuple[ElementType, np.ndarray]


@dataclass(eq=False)
class Mesh:
    """Nodes, elements by kind, and values on both.

    Parameters
    ----------
    points : array_like
        ``(n, 3)`` coordinates; ``(n, 2)`` is taken as lying at z = 0.
    blocks : list of (ElementType, array_like)
        Elements of one kind (or mixed type) as ``(m, k)`` node numbers in the order and orientation of this library.
    point_data : dict of str to array_like, optional
        Values on the nodes: arrays of length n.
    cell_data : dict of str to list of array_like, optional
        Values on the elements: one array for each block, of the block's length.

    Raises
    ------
    ValueError
        When shapes do not fit together, a coordinate is not finite, or an element names a node that does not exist.

    Examples
    --------
    >>> mesh = Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [(ElementType.T3, [[0, 1, 2]])], cell_data={"part": [[7]]})
    >>> mesh.counts()
    {<ElementType.T3: 7>: 1}
    """

    points: np.ndarray
    blocks: List[Block]
    point_data: Dict[str, np.ndarray] = field(default_factory=dict)
    cell_data: Dict[str, List[np.ndarray]] = field(default_factory=dict)

    def __post_init__(self) -> None:
        points = np.asarray(self.points, dtype=np.float64)
        if points.ndim != 2 or points.shape[1] not in (2, 3):
            raise ValueError(f"points: expected n x 3 coordinates, got shape {points.shape}")
        if points.shape[1] == 2:
            points = np.column_stack([points, np.zeros(len(points))])
        finite = np.isfinite(points).all(axis=1)
        if not finite.all():
            raise ValueError(f"points: node {int(np.argmin(finite))} has a coordinate that is not finite")
        self.points = np.ascontiguousarray(points)
        self.blocks = [(ElementType(kind), self._checked(ElementType(kind), cells)) for kind, cells in self.blocks]
        self.point_data = {name: np.asarray(values) for name, values in self.point_data.items()}
        self.cell_data = {name: [np.asarray(v) for v in values] for name, values in self.cell_data.items()}
        self._check_data()

    def _checked(self, kind: ElementType, cells: np.ndarray) -> np.ndarray:
        cells = as_ids(cells, 0, kind.name)
        wrong = (cells >= len(self.points)) & (cells != NO_NODE)
        if wrong.any():
            row, column = np.argwhere(wrong)[0]
            raise ValueError(
                f"{kind.name}: element {row} names node {cells[row, column]},"
                f" but the nodes are numbered 0 to {len(self.points) - 1}"
            )
        if kind in SHAPES:
            fits = cells.shape[1] == SHAPES[kind].nodes and not (cells == NO_NODE).any()
        else:
            fits = kind in MIXES and cells.shape[1] <= max(SHAPES[single].nodes for single in MIXES[kind])
        if not fits:
            raise ValueError(f"{kind.name}: an array of shape {cells.shape} is no such block of elements")
        return cells

    def _check_data(self) -> None:
        for name, values in self.point_data.items():
            if values.ndim == 0 or len(values) != len(self.points):
                raise ValueError(f"point_data: {name!r} has not one value for each of {len(self.points)} nodes")
        lengths = [len(cells) for _, cells in self.blocks]
        for name, arrays in self.cell_data.items():
            if any(v.ndim == 0 for v in arrays) or [len(v) for v in arrays] != lengths:
                raise ValueError(f"cell_data: {name!r} has not one value for each element of each block")

    def split(self) -> "Mesh":
        """Take mixed blocks apart, so that every block holds one kind; values on elements move along.

        Returns
        -------
        Mesh
            Shares its arrays with this one where nothing had to be moved. Blocks without elements are left out.
        """
        blocks: List[Block] = []
        data: Dict[str, List[np.ndarray]] = {name: [] for name in self.cell_data}
        for b, (kind, cells) in enumerate(self.blocks):
            if len(cells) == 0:
                continue
            parts: List[Tuple[ElementType, Any]]
            parts = [(kind, slice(None))] if kind in SHAPES else list(split_mixed(kind, cells))
            for single, rows in parts:
                blocks.append((single, np.ascontiguousarray(cells[rows, : SHAPES[single].nodes])))
                for name, arrays in self.cell_data.items():
                    data[name].append(arrays[b][rows])
        return Mesh(self.points, blocks, self.point_data, data)

    def with_blocks(self, blocks: List[Block]) -> "Mesh":
        """Put smaller elements in the place of each block's, as many as it has.

        Returns
        -------
        Mesh
            Nodes that are in none of the new elements are gone; the others keep their order and values, also those that
            were in no element before.
        """
        kept = ~self.used_nodes() | self._used(blocks)
        number = np.cumsum(kept, dtype=np.int64) - 1
        return Mesh(
            self.points[kept],
            [(kind, number[cells].astype(np.uint32)) for kind, cells in blocks],
            {name: values[kept] for name, values in self.point_data.items()},
            self.cell_data,
        )

    def used_nodes(self) -> np.ndarray:
        """Which nodes are in an element, ``(n,)`` booleans."""
        return self._used(self.split().blocks)

    def _used(self, blocks: List[Block]) -> np.ndarray:
        used = np.zeros(len(self.points), dtype=bool)
        for _, cells in blocks:
            used[cells.ravel()] = True
        return used

    def counts(self) -> Dict[ElementType, int]:
        """Number of elements of each kind present, mixed blocks counted by what they hold."""
        counts: Dict[ElementType, int] = {}
        for kind, cells in self.split().blocks:
            counts[kind] = counts.get(kind, 0) + len(cells)
        return dict(sorted(counts.items()))

    def surface(self) -> Tuple[np.ndarray, Dict[str, np.ndarray]]:
        """Gather the linear triangles and quadrangles, block by block.

        Returns
        -------
        faces : ndarray
            ``(m, 3)`` when all are triangles, otherwise ``(m, 4)`` with `NO_NODE` in the last column of triangles;
            no rows when the mesh has no such faces.
        data : dict of str to ndarray
            The values of ``cell_data`` on these faces.
        """
        flat = self.split()
        chosen = [b for b, (kind, _) in enumerate(flat.blocks) if kind in (ElementType.T3, ElementType.Q4)]
        if not chosen:
            return np.empty((0, 3), dtype=np.uint32), {}
        width = max(flat.blocks[b][1].shape[1] for b in chosen)
        faces = np.full((sum(len(flat.blocks[b][1]) for b in chosen), width), NO_NODE, dtype=np.uint32)
        row = 0
        for b in chosen:
            cells = flat.blocks[b][1]
            faces[row : row + len(cells), : cells.shape[1]] = cells
            row += len(cells)
        data = {name: np.concatenate([arrays[b] for b in chosen]) for name, arrays in flat.cell_data.items()}
        return faces, data
