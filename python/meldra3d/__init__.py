"""Mesh tools for finite elements."""

from .elements import NO_NODE, ElementType
from .files import MeshFileError, MeshFileWarning, read, write
from .mesh import Mesh

__all__ = ["NO_NODE", "ElementType", "Mesh", "MeshFileError", "MeshFileWarning", "read", "write"]
