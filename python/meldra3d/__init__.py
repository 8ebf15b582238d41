"""Mesh tools for three-dimensional finite elements.

Points are ``(n, 3)`` float64 arrays and elements ``(m, k)`` uint32 arrays of node numbers, one element a row. Arrays of
these types in C order are used as they are, without a copy; others are converted. No function changes its inputs, and
all results own their memory.

A bad argument raises ValueError with a message that begins with the argument's name.
"""

from . import _core
from .convert import Converted, convert_into_high_order, convert_into_linear, convert_into_quadratic
from .draw import draw
from .elements import NO_NODE, ElementType
from .extrude import Sweep, extrude_line, extrude_normal, extrude_rotate, extrude_spiral, extrude_translate
from .files import MeshFileError, MeshFileWarning, read, write
from .flip import flip, flip_H8, flip_TH4, flip_W6
from .locate import Located, Locator, interpolate, interpolate_metrics, locate
from .measures import Angles, circumcenters, dihedral_angles, solid_angles, volume
from .mesh import Mesh
from .opening import Opened, duplicate_surface_nodes
from .quality import MEASURES, Finding, Measured, check_mesh, measure_mesh
from .split import SplitH8, SplitQ4, split_into_H8, split_solid_Q4
from .surfaces import normals
from .topology import ancestors, neighbors

__all__ = [
    "MEASURES",
    "NO_NODE",
    "Angles",
    "Converted",
    "ElementType",
    "Finding",
    "Located",
    "Locator",
    "Measured",
    "Mesh",
    "MeshFileError",
    "MeshFileWarning",
    "Opened",
    "SplitH8",
    "SplitQ4",
    "Sweep",
    "ancestors",
    "check_mesh",
    "circumcenters",
    "convert_into_high_order",
    "convert_into_linear",
    "convert_into_quadratic",
    "dihedral_angles",
    "draw",
    "duplicate_surface_nodes",
    "extrude_line",
    "extrude_normal",
    "extrude_rotate",
    "extrude_spiral",
    "extrude_translate",
    "flip",
    "flip_H8",
    "flip_TH4",
    "flip_W6",
    "interpolate",
    "interpolate_metrics",
    "locate",
    "measure_mesh",
    "neighbors",
    "normals",
    "read",
    "solid_angles",
    "split_into_H8",
    "split_solid_Q4",
    "version",
    "volume",
    "write",
]


def version() -> str:
    """Version of the library in use.

    Examples
    --------
    >>> version().count(".")
    3
    """
    return _core.version()
