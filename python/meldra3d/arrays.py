"""Arrays of callers in the types that the library works on."""

from typing import Optional

import numpy as np
from numpy.typing import ArrayLike

_LARGEST = 0xFFFFFFFF  # of an unsigned 32-bit number; as a node number it means "no node"


def as_points(points: ArrayLike, name: str = "points") -> np.ndarray:
    """Coordinates as the library takes them.

    Parameters
    ----------
    points : array_like
        ``(n, 2)`` or ``(n, 3)`` numbers of any type and order.
    name : str
        Name of the argument in error messages.

    Returns
    -------
    ndarray
        float64 in C order; ``points`` itself when it is that already.

    Raises
    ------
    ValueError
        When the array has not two dimensions or holds no real numbers.
    """
    array = np.asarray(points)
    if array.ndim != 2:
        raise ValueError(f"{name}: expected a two-dimensional array, one node a row, got shape {array.shape}")
    return _as_float64(array, name)


def as_ids(cells: Optional[ArrayLike], columns: int, name: str) -> np.ndarray:
    """Node numbers as the library takes them; what does not fit is refused instead of wrapped.

    Parameters
    ----------
    cells : array_like or None
        ``(m, k)`` whole numbers of any type and order.
    columns : int
        Number of columns of the result when ``cells`` is None or an empty list.
    name : str
        Name of the argument in error messages.

    Returns
    -------
    ndarray
        uint32 in C order; ``cells`` itself when it is that already.

    Raises
    ------
    ValueError
        When the array has not two dimensions, holds no whole numbers, or one of them is negative or too large.
    """
    array = np.asarray([] if cells is None else cells)
    if array.size == 0 and array.ndim == 1:
        array = np.empty((0, columns), dtype=np.uint32)
    if array.ndim != 2:
        raise ValueError(f"{name}: expected a two-dimensional array, one element a row, got shape {array.shape}")
    return _as_uint32(array, name, "element")


def as_id_list(nodes: ArrayLike, name: str) -> np.ndarray:
    """A list of node numbers, converted and checked as by `as_ids`.

    Raises
    ------
    ValueError
        When the array has not one dimension, holds no whole numbers, or one of them is negative or too large.
    """
    array = np.asarray(nodes)
    if array.ndim != 1:
        raise ValueError(f"{name}: expected a list of node numbers, got shape {array.shape}")
    return _as_uint32(array, name, "entry")


def as_numbers(values: ArrayLike, name: str) -> np.ndarray:
    """A list of numbers as a float64 array.

    Raises
    ------
    ValueError
        When the array has not one dimension, or holds no real numbers.
    """
    array = np.asarray(values)
    if array.ndim != 1:
        raise ValueError(f"{name}: expected a list of numbers, got shape {array.shape}")
    return _as_float64(array, name)


def as_vector(vector: ArrayLike, name: str) -> np.ndarray:
    """Three numbers as a float64 array.

    Raises
    ------
    ValueError
        When there are not three, or they are no real numbers.
    """
    array = np.asarray(vector)
    if array.shape != (3,):
        raise ValueError(f"{name}: expected three numbers, got shape {array.shape}")
    return _as_float64(array, name)


def _as_uint32(array: np.ndarray, name: str, place: str) -> np.ndarray:
    """Node numbers in C order. `place` is what a message calls a row of the array."""
    if array.dtype != np.uint32 and array.size > 0:
        if array.dtype.kind not in "iu":
            raise ValueError(f"{name}: node numbers must be integers, got {array.dtype}")
        wrong = (array < 0) | (array > _LARGEST)
        if wrong.any():
            where = tuple(np.argwhere(wrong)[0])
            raise ValueError(
                f"{name}: {place} {where[0]} names node {array[where]}, but node numbers go from 0 to {_LARGEST}"
            )
    return np.require(array, np.uint32, ["C_CONTIGUOUS", "ALIGNED"])


def _as_float64(array: np.ndarray, name: str) -> np.ndarray:
    if array.dtype.kind not in "iuf":
        raise ValueError(f"{name}: expected real numbers, got {array.dtype}")
    return np.require(array, np.float64, ["C_CONTIGUOUS", "ALIGNED"])
