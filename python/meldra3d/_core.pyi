"""The compiled half of the package. It takes arrays of exactly these types in C order and returns the library's status
first; the functions of the package convert, check and explain."""

from typing import Final, Sequence, Tuple, overload

import numpy as np
from numpy.typing import NDArray

Points = NDArray[np.float64]
Ids = NDArray[np.uint32]

NO_NODE: Final[int]
ET_NONE: Final[int]
ET_NODE: Final[int]
ET_EDGE2: Final[int]
ET_EDGE3: Final[int]
ET_FACE_MIX: Final[int]
ET_FACE_MIX_Q: Final[int]
ET_T3: Final[int]
ET_T6: Final[int]
ET_Q4: Final[int]
ET_Q8: Final[int]
ET_Q9: Final[int]
ET_SOLID_MIX: Final[int]
ET_SOLID_MIX_Q: Final[int]
ET_TH4: Final[int]
ET_TH10: Final[int]
ET_PY5: Final[int]
ET_PY13: Final[int]
ET_PY14: Final[int]
ET_W6: Final[int]
ET_W15: Final[int]
ET_W18: Final[int]
ET_H8: Final[int]
ET_H20: Final[int]
ET_H27: Final[int]

def version() -> str: ...
@overload
def extrude_translate(
    points: Points,
    surface: Ids,
    direction: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_translate(
    points: Points,
    surface: Ids,
    direction: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_translate(
    points: Points,
    surface: Ids,
    direction: Points,
    layers: int,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_translate(
    points: Points,
    surface: Ids,
    direction: Points,
    layers: int,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_rotate(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_rotate(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_rotate(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    layers: int,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_rotate(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    layers: int,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_spiral(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    shift: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_spiral(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    shift: Points,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_spiral(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    shift: Points,
    layers: int,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_spiral(
    points: Points,
    surface: Ids,
    axis_point: Points,
    rotation: Points,
    shift: Points,
    layers: int,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    thickness: float,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    thickness: float,
    size_start: float,
    size_end: float,
    even_layers: bool,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    thickness: float,
    layers: int,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    thickness: float,
    layers: int,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    node_shifts: Points,
    layers: int,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_normal(
    points: Points,
    surface: Ids,
    node_shifts: Points,
    layers: int,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_line_by_metrics(
    points: Points,
    surface: Ids,
    line: Ids,
    start_direction: Points,
    metrics: Points,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_line_by_metrics(
    points: Points,
    surface: Ids,
    line: Ids,
    start_direction: Points,
    metrics: Points,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
@overload
def extrude_line_by_sizes(
    points: Points,
    surface: Ids,
    line: Ids,
    start_direction: Points,
    sizes: Points,
    solids: Ids,
    edges: Ids,
    sides: Ids,
    cap: Ids,
) -> Tuple[int, Points, Ids, Ids, Ids]: ...
@overload
def extrude_line_by_sizes(
    points: Points,
    surface: Ids,
    line: Ids,
    start_direction: Points,
    sizes: Points,
    solids: Ids,
) -> Tuple[int, Points, Ids]: ...
def flip(cells: Ids, kind: int) -> Tuple[int, Ids]: ...
def flip_TH4(cells: Ids) -> Tuple[int, Ids]: ...
def flip_W6(cells: Ids) -> Tuple[int, Ids]: ...
def flip_H8(cells: Ids) -> Tuple[int, Ids]: ...
def convert_into_linear(cells: Ids) -> Tuple[int, Ids]: ...
def convert_into_quadratic(points: Points, cells: Ids, faces: Ids, edges: Ids) -> Tuple[int, Points, Ids]: ...
def convert_into_high_order(
    points: Points, cells: Ids, counts: Sequence[int], faces: Ids, edges: Ids
) -> Tuple[int, Points, Ids]: ...
def split_into_H8(points: Points, cells: Ids, hexahedra: Ids, faces: Ids, edges: Ids) -> Tuple[int, Points, Ids]: ...
def split_solid_Q4(
    points: Points, cells: Ids, quadrangles: Ids, diagonals: Ids, min_volume: float
) -> Tuple[int, Points, Ids, Ids]: ...
def volume(points: Points, cells: Ids) -> Tuple[int, float]: ...
def solid_angles(points: Points, cells: Ids, normalized: bool) -> Tuple[int, Points, Points]: ...
def dihedral_angles(points: Points, cells: Ids, normalized: bool) -> Tuple[int, Points, Points]: ...
def circumcenters(points: Points, cells: Ids) -> Tuple[int, Points]: ...
def duplicate_surface_nodes(
    points: Points,
    cells: Ids,
    neighbors: Ids,
    ancestors: Ids,
    surface: Ids,
    excluded: Ids,
    plus: bool,
    minus: bool,
    kind: int,
) -> Tuple[int, Points, Ids]: ...
def normals(points: Points, surface: Ids, tolerance: float, unit: bool) -> Tuple[int, Points]: ...
def get_neighbors(cells: Ids, kind: int, strict: bool) -> Tuple[int, Ids]: ...
def get_ancestors(cells: Ids) -> Tuple[int, Ids]: ...

class NodeDetector:
    def __init__(self) -> None: ...
    def reinit(self, points: Points, cells: Ids) -> int: ...
    def find_closest(self, queries: Points) -> Ids: ...

def get_elements_containing_points(
    points: Points,
    cells: Ids,
    neighbors: Ids,
    ancestors: Ids,
    detector: NodeDetector,
    kind: int,
    queries: Points,
    tolerance: float,
) -> Tuple[int, Ids, Points]: ...
def interpolate(points: Points, cells: Ids, neighbors: Ids, ancestors: Ids, field: Points, nodes: Ids) -> int: ...
def interpolate_metrics(
    points: Points, cells: Ids, neighbors: Ids, ancestors: Ids, metrics: Points, nodes: Ids, keep_valid: bool
) -> int: ...
