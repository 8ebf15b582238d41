"""Which element lies next to which."""

import numpy as np
from numpy.typing import ArrayLike

from . import _core
from .arrays import as_ids
from .elements import ElementType
from .status import check


def neighbors(cells: ArrayLike, kind: ElementType, strict: bool = False) -> np.ndarray:
    """Find the element across each face of each element (of surfaces: across each edge).

    Parameters
    ----------
    cells : array_like
        ``(m, k)`` node numbers of elements of ``kind``.
    kind : ElementType
        A kind of surface or solid, or a mixed type.
    strict : bool
        Refuse a mesh in which more than two elements share a face. Otherwise such a face counts as boundary.

    Returns
    -------
    ndarray
        ``(m, faces)`` uint32: in column k the element across face k, `NO_NODE` on the boundary.

    Raises
    ------
    ValueError
        When ``cells`` does not suit ``kind``, ``kind`` has no neighbours, or a face is shared too often.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> neighbors([[0, 1, 2], [2, 1, 3]], ElementType.T3)
    array([[         1, 4294967295, 4294967295],
           [4294967295, 4294967295,          0]], dtype=uint32)
    """
    status, found = _core.get_neighbors(as_ids(cells, 0, "cells"), int(kind), bool(strict))
    check("neighbors", status)
    return found


def ancestors(cells: ArrayLike) -> np.ndarray:
    """Find one element of each node: the first that holds it.

    Parameters
    ----------
    cells : array_like
        ``(m, k)`` node numbers of any kind of element.

    Returns
    -------
    ndarray
        uint32, one entry for each node number up to the largest in use: the element, or `NO_NODE` for a node that no
        element holds.

    Raises
    ------
    ValueError
        When ``cells`` holds no node numbers.
    MemoryError
        When memory ran out.

    Examples
    --------
    >>> ancestors([[0, 1, 2], [2, 1, 4]])
    array([         0,          0,          0, 4294967295,          1],
          dtype=uint32)
    """
    status, found = _core.get_ancestors(as_ids(cells, 0, "cells"))
    check("ancestors", status)
    return found
